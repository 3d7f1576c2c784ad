// Indirect trace filters against a model: on generated projects (seeded) the
// keys that Fetch gives must be those that a plain walk over the same traces,
// read back from the file, finds. The projects hold cycles, chains of 49, 50
// and 51 steps, steps through another project, suspect steps and
// requirements of a second project in the same file.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "closure_test_support.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

constexpr long kBaseType = 5;    // PR
constexpr long kDestType = 7;    // SR, list attribute Priority (21): High (8), Low (9)
constexpr long kMiddleType = 8;  // MR
constexpr long kPriority = 21;
constexpr long kHigh = 8;
constexpr long kOtherProject = 2;  // a second project in the same file
constexpr long kExternal = 3;      // traces into and out of another project file
constexpr int kMaxSteps = 50;

enum class Status { Any, Suspect, Clean };

struct Trace {
  long from, to, fromProject, toProject;
  int state;
};

// The project's traces and requirements, read back from the file.
struct World {
  std::vector<Trace> traces;
  std::map<long, long> typeOf;    // every requirement of the file
  std::set<long> inProject;       // requirements of the base project
  std::set<long> high;            // requirements with Priority High

  explicit World(const test::StoreFixture& store) {
    Read(store, "SELECT REQUIREMENTID, TOID, EXTERNALPROJECTID, EXTERNALPROJECTTOID, STATE FROM VLTORELATIONSHIPS "
                "WHERE TYPE = 0",
         [&](sqlite3_stmt* s) {
           traces.push_back({Int(s, 0), Int(s, 1), Int(s, 2), Int(s, 3), static_cast<int>(Int(s, 4))});
         });
    Read(store, "SELECT ID, REQUIREMENTTYPEID FROM VLREQUIREMENTS", [&](sqlite3_stmt* s) { typeOf[Int(s, 0)] = Int(s, 1); });
    Read(store, "SELECT REQUIREMENTID FROM VLPROJECTREQUIREMENTS WHERE PROJECTID = " +
                    std::to_string(store.ProjectKey()),
         [&](sqlite3_stmt* s) { inProject.insert(Int(s, 0)); });
    Read(store, "SELECT REQUIREMENTID FROM VLUSERDEFINEDLISTVALUES WHERE FIELDID = 21 AND LISTITEMID = 8",
         [&](sqlite3_stmt* s) { high.insert(Int(s, 0)); });
  }

  static long Int(sqlite3_stmt* s, int column) { return static_cast<long>(sqlite3_column_int64(s, column)); }
  template <typename F>
  static void Read(const test::StoreFixture& store, const std::string& sql, F each) {
    sqlite3_stmt* stmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(store.Db(), sql.c_str(), -1, &stmt, nullptr), SQLITE_OK) << sql;
    while (sqlite3_step(stmt) == SQLITE_ROW) each(stmt);
    sqlite3_finalize(stmt);
  }

  bool OfType(long key, long type) const {
    auto it = typeOf.find(key);
    return it != typeOf.end() && it->second == type;
  }
  bool InBase(long key, long type) const { return OfType(key, type) && inProject.count(key); }
  static bool StatusOk(int state, Status status) {
    return status == Status::Any || (status == Status::Suspect ? state == 1 : state == 0);
  }

  // The keys of the base type that the filter keeps. bTo: TRACED-TO (else
  // TRACED-FROM); bHighOnly: the destinations must have Priority High.
  Keys Expected(bool bTo, Status status, bool bHighOnly, bool bNot) const {
    const auto destination = [&](long key) { return InBase(key, kDestType) && (!bHighOnly || high.count(key)); };
    // A direct trace within the base project from key to a destination.
    const auto direct = [&](long key, Status st) {
      for (const Trace& t : traces) {
        if (t.fromProject != 0 || t.toProject != 0 || !StatusOk(t.state, st)) continue;
        if (bTo ? (t.from == key && destination(t.to)) : (t.to == key && destination(t.from))) return true;
      }
      return false;
    };
    // The steps from (project, key): (project, key, state) at the other end.
    std::map<std::pair<long, long>, std::vector<std::tuple<long, long, int>>> steps;
    for (const Trace& t : traces) {
      if (bTo) {
        steps[{t.fromProject, t.from}].emplace_back(t.toProject, t.to, t.state);
      } else {
        steps[{t.toProject, t.to}].emplace_back(t.fromProject, t.from, t.state);
      }
    }

    std::set<long> kept;
    for (const auto& [key, type] : typeOf) {
      if (type != kBaseType || !inProject.count(key)) continue;
      if (direct(key, status)) {
        kept.insert(key);
        continue;
      }
      // Every (project, requirement, chain status) within kMaxSteps steps.
      std::set<std::tuple<long, long, int>> reached;
      std::vector<std::tuple<long, long, int>> frontier{{0, key, 0}};
      for (int level = 1; level <= kMaxSteps && !frontier.empty(); ++level) {
        std::vector<std::tuple<long, long, int>> next;
        for (const auto& [project, at, chain] : frontier) {
          auto it = steps.find({project, at});
          if (it == steps.end()) continue;
          for (const auto& [toProject, to, state] : it->second) {
            // The first step's status is the chain's; a suspect chain stays so.
            const int status = level == 1 ? state : (chain == 1 ? 1 : state);
            if (reached.insert({toProject, to, status}).second) next.emplace_back(toProject, to, status);
          }
        }
        frontier = std::move(next);
      }
      for (const auto& [project, at, chain] : reached) {
        if (project == 0 && inProject.count(at) && typeOf.count(at) && StatusOk(chain, status) &&
            direct(at, Status::Any)) {
          kept.insert(key);
          break;
        }
      }
    }
    Keys keys;
    for (const auto& [key, type] : typeOf) {
      if (type == kBaseType && inProject.count(key) && kept.count(key) != bNot) keys.push_back(key);
    }
    return keys;
  }
};

// A project of about 300 requirements: PR 1000.., SR 2000.., MR 3000.. in a
// random trace graph, and three dedicated chains of MR (4000..) that need 49,
// 50 and 51 steps before their last, direct trace to a High SR.
void Generate(test::StoreFixture& store, unsigned seed) {
  std::mt19937 rng(seed);
  const auto chance = [&](double p) { return std::uniform_real_distribution<double>(0, 1)(rng) < p; };
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(kMiddleType, "MR");
  std::vector<long> all;
  const auto add = [&](long key, long type, bool otherProject = false) {
    test::Requirement r(key, type, test::LongTag({key}));
    if (otherProject) r.ProjectKey = kOtherProject;
    store.AddRequirement(r);
    if (!otherProject) all.push_back(key);
  };
  for (long k = 0; k < 30; ++k) add(1000 + k, kBaseType);
  for (long k = 0; k < 15; ++k) {
    add(2000 + k, kDestType);
    if (chance(0.7)) store.ChooseItem(2000 + k, kPriority, chance(0.5) ? kHigh : 9);
  }
  for (long k = 0; k < 40; ++k) add(3000 + k, kMiddleType);
  // Requirements of another project in the file: never a hit, never a
  // destination, but a chain may pass through them.
  add(1900, kBaseType, true);
  add(2900, kDestType, true);
  store.ChooseItem(2900, kPriority, kHigh);
  all.push_back(1900);
  all.push_back(2900);

  std::uniform_int_distribution<std::size_t> pick(0, all.size() - 1);
  for (int i = 0; i < 140; ++i) {
    const long from = all[pick(rng)];
    const long to = all[pick(rng)];
    store.AddTrace(from, to, chance(0.15));
  }
  // Steps through the other project file: its keys overlap this file's, so
  // only the project tells them apart.
  for (int i = 0; i < 12; ++i) {
    const long there = 3000 + static_cast<long>(pick(rng) % 40);
    store.AddTrace(all[pick(rng)], there, chance(0.2), 0, kExternal);
    store.AddTrace(there, all[pick(rng)], chance(0.2), kExternal, 0);
  }

  long next = 4000;
  for (int length : {49, 50, 51}) {
    const long root = 1000 + static_cast<long>(pick(rng) % 30);
    long at = root;
    const int suspectStep = chance(0.5) ? static_cast<int>(rng() % static_cast<unsigned>(length)) : -1;
    for (int step = 0; step < length; ++step) {
      add(next, kMiddleType);
      store.AddTrace(at, next, step == suspectStep);
      at = next++;
    }
    store.AddTrace(at, 2000 + static_cast<long>(pick(rng) % 15), false);
  }
  // A High SR at the end of every chain, whatever the random values chose.
  store.Exec("DELETE FROM VLUSERDEFINEDLISTVALUES WHERE REQUIREMENTID IN (SELECT TOID FROM VLTORELATIONSHIPS "
             "WHERE REQUIREMENTID >= 4000)");
  store.Exec("INSERT INTO VLUSERDEFINEDLISTVALUES (REQUIREMENTID, FIELDID, LISTITEMID) SELECT DISTINCT TOID, 21, 8 "
             "FROM VLTORELATIONSHIPS WHERE REQUIREMENTID >= 4000 AND TOID < 3000");
}

class ClosureModel : public ::testing::TestWithParam<unsigned> {};

TEST_P(ClosureModel, IndirectFiltersKeepWhatAPlainWalkFinds) {
  test::StoreFixture store;
  Generate(store, GetParam());
  const World world(store);
  auto project = store.Open();
  QueryEngine engine;
  int filters = 0;
  for (bool bTo : {true, false}) {
    for (Status status : {Status::Any, Status::Suspect, Status::Clean}) {
      for (bool bHigh : {false, true}) {
        for (bool bNot : {false, true}) {
          if (bNot && (status != Status::Any || bHigh)) continue;
          std::string rel = std::string(bNot ? "NOT " : "") + (bTo ? "TRACED-TO" : "TRACED-FROM") + " In SR";
          if (status == Status::Suspect) rel += " AND STATUS = \"SUSPECT\"";
          if (status == Status::Clean) rel += " AND NOT STATUS = \"SUSPECT\"";
          const std::string query = "ReqType.Prefix(PR) PR.RelCriteria(" + rel + " AND DIRECT-ONLY = \"FALSE\")" +
                                    (bHigh ? " SR.Criteria(Priority = High)" : "");
          std::string info;
          Rows rows;
          std::shared_ptr<QueryDef> def;
          ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, query, info, rows, def), eQEENone)
              << query << ": " << info;
          Keys keys = test::KeysOf(rows);
          std::sort(keys.begin(), keys.end());
          EXPECT_EQ(keys, world.Expected(bTo, status, bHigh, bNot)) << "seed " << GetParam() << ": " << query;
          EXPECT_EQ(test::WorkTableRows(*project), 0) << query;
          ++filters;
        }
      }
    }
  }
  EXPECT_EQ(filters, 14);
}

TEST(ClosureModelChains, FiftyStepsReachTheDestinationAndFiftyOneDoNot) {
  // The generated chains, checked apart from the random graph: a project
  // with the chains alone.
  test::StoreFixture store;
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(kMiddleType, "MR");
  store.AddRequirement(2000, kDestType, test::LongTag({1}));
  long next = 4000;
  for (long root : {1049L, 1050L, 1051L}) {
    store.AddRequirement(root, kBaseType, test::LongTag({root}));
    long at = root;
    for (long step = 0; step < root - 1000; ++step) {
      store.AddRequirement(next, kMiddleType, test::LongTag({next}));
      store.AddTrace(at, next);
      at = next++;
    }
    store.AddTrace(at, 2000);
  }
  // A cycle on the way must not stop a chain short of its end.
  store.AddTrace(4010, 1049);
  auto project = store.Open();
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project,
                         "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\")", info, rows,
                         def),
            eQEENone)
      << info;
  EXPECT_EQ(test::KeysOf(rows), (Keys{1049, 1050}));
}

INSTANTIATE_TEST_SUITE_P(Seeds, ClosureModel, ::testing::Values(1U, 2U, 3U, 4U, 5U));

}  // namespace
}  // namespace vlq
