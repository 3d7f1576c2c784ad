// Results in tree order against a model: on generated trees (seeded) the keys
// of Fetch with bRetainHierarchy must be the hits of the same query without
// it, their ancestors added, in the order a plain walk of the tree gives:
// roots first, each parent before its children, siblings in the query's
// order. The trees have gaps (a requirement whose parent doesn't exist is a
// root), two types with the same tags, and would-be parents that belong to
// another project in the same file.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "closure_test_support.h"
#include "engine/query_engine.h"
#include "model/query_def.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

constexpr long kRank = 40;  // whole number attribute of PR

struct Node {
  long key = 0;
  long type = 0;
  std::string tag;
  std::optional<long> rank;
};

enum class Order { Tag, RankAsc, RankDesc, TypeAndTag };

// The tree order of a set of hits over the nodes of the base project.
Keys TreeOrder(const std::map<long, Node>& nodes, const Keys& hits, Order order) {
  std::map<std::pair<long, std::string>, long> byTag;  // (type, tag) -> key
  for (const auto& [key, node] : nodes) byTag[{node.type, node.tag}] = key;
  const auto parentOf = [&](const Node& node) -> std::optional<long> {
    if (node.tag.size() <= 10) return std::nullopt;
    auto it = byTag.find({node.type, node.tag.substr(0, node.tag.size() - 10)});
    if (it == byTag.end()) return std::nullopt;
    return it->second;
  };
  std::set<long> rows;
  for (long hit : hits) {
    for (std::optional<long> at = hit; at && rows.insert(*at).second; at = parentOf(nodes.at(*at))) {
    }
  }
  // Siblings: by the sort value (none sorts first when rising, last when
  // falling), then by tag.
  const auto before = [&](long a, long b) {
    const Node& x = nodes.at(a);
    const Node& y = nodes.at(b);
    switch (order) {
      case Order::Tag:
        break;
      case Order::TypeAndTag:
        if (x.type != y.type) return x.type < y.type;
        break;
      case Order::RankAsc:
        if (x.rank != y.rank) return !x.rank || (y.rank && *x.rank < *y.rank);
        break;
      case Order::RankDesc:
        if (x.rank != y.rank) return !y.rank || (x.rank && *x.rank > *y.rank);
        break;
    }
    return x.tag < y.tag;
  };
  std::map<long, Keys> children;
  Keys roots;
  for (long key : rows) {
    const std::optional<long> parent = parentOf(nodes.at(key));
    if (parent && rows.count(*parent)) {
      children[*parent].push_back(key);
    } else {
      roots.push_back(key);
    }
  }
  Keys out;
  const auto walk = [&](auto&& self, Keys level) -> void {
    std::sort(level.begin(), level.end(), before);
    for (long key : level) {
      out.push_back(key);
      self(self, children[key]);
    }
  };
  walk(walk, roots);
  return out;
}

// Two types, PR (5) and SR (7), each a random tree of about 80 requirements
// up to six levels deep, with the same shape of tags; some requirements are
// left out (their children become roots) and some moved to project 2.
std::map<long, Node> Generate(test::StoreFixture& store, unsigned seed) {
  std::mt19937 rng(seed);
  const auto chance = [&](double p) { return std::uniform_real_distribution<double>(0, 1)(rng) < p; };
  store.AddReqType(5, "PR");
  store.AddReqType(7, "SR");
  store.AddAttr(kRank, 5, "Rank", eADTWholeNumber);
  std::map<long, Node> inProject;
  for (long type : {5L, 7L}) {
    std::vector<std::vector<long>> paths{{}};  // the tags made so far, as numbers
    std::map<std::vector<long>, long> childCount;
    for (int i = 0; i < 80; ++i) {
      std::vector<long> parent = paths[rng() % paths.size()];
      if (parent.size() >= 6) parent.pop_back();
      std::vector<long> path = parent;
      path.push_back(++childCount[parent] + (chance(0.2) ? 5 : 0));
      childCount[parent] = path.back();
      paths.push_back(path);
      Node node;
      node.key = type * 1000 + i;
      node.type = type;
      for (long n : path) node.tag += test::LongTag({n});
      if (type == 5 && chance(0.85)) node.rank = static_cast<long>(rng() % 30);
      const bool gap = chance(0.08);
      if (gap && chance(0.5)) continue;  // missing from the file
      test::Requirement r(node.key, type, node.tag);
      if (gap) r.ProjectKey = 2;  // present, but in another project
      store.AddRequirement(r);
      if (node.rank) store.SetValue(node.key, kRank, Variant(static_cast<long long>(*node.rank)));
      if (!gap) inProject[node.key] = node;
    }
  }
  return inProject;
}

class HierarchyModel : public ::testing::TestWithParam<unsigned> {};

TEST_P(HierarchyModel, TreeOrderIsTheHitsAndTheirAncestorsWalkedInTheQuerysOrder) {
  test::StoreFixture store;
  const std::map<long, Node> nodes = Generate(store, GetParam());
  auto project = store.Open();
  QueryEngine engine;
  const auto fetch = [&](const std::string& query, bool bTree) {
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, query, info, rows, def, bTree), eQEENone)
        << query << ": " << info;
    EXPECT_EQ(test::WorkTableRows(*project), 0) << query;
    return test::KeysOf(rows);
  };
  const struct {
    std::string query;
    Order order;
  } rows[] = {
      {"ReqType.Prefix(PR) PR.Criteria(Rank <= 4)", Order::Tag},
      {"ReqType.Prefix(PR) PR.Criteria(Rank >= 20) PR.Sort(Rank Order Asc)", Order::RankAsc},
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 7 OR Rank = 11) PR.Sort(Rank Order Desc)", Order::RankDesc},
      {"ReqType.Prefix(PR) PR.Sort(Rank Order Asc)", Order::RankAsc},
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 100)", Order::Tag},
      {"ReqType.Prefix(SR)", Order::Tag},
      // The whole project: each type's tree under its own roots.
      {"", Order::TypeAndTag},
  };
  for (const auto& row : rows) {
    const Keys hits = fetch(row.query, false);
    EXPECT_EQ(fetch(row.query, true), TreeOrder(nodes, hits, row.order)) << "seed " << GetParam() << ": " << row.query;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HierarchyModel, ::testing::Values(1U, 2U, 3U, 4U));

}  // namespace
}  // namespace vlq
