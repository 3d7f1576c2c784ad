// Answers that mean what the query says, on a small project whose answers are
// worked out by hand from the data below, not from the engine's output; in a
// file and on the server.
//
//   PR (key 5)                              SR (key 7)
//   101  tag 1      Linux, Windows  doc 7   201  tag 1
//   102  tag 1.1    Linux           doc 0   202  tag 2
//   103  tag 2      Windows         none    203  tag 3
//   104  tag 2.1    (no platform)   doc 8
//   105  tag 2.1.1  Mac             doc 7
//
//   Traces: 101->201 suspect, 102->202, 103->104, 104->105 suspect, 105->203,
//           104->101, 101->103.
//   Packages: Core (1) holds 101 and 103, Extra (2) holds 103.
//   Owner (list): 101 Ann, 102 Bob. Title (text): 101 "alpha", 102 "beta".
//   Discussions: 1 on 101, 2 on no requirement, 3 on 102 and 103.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "closure_test_support.h"
#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "model/query_def.h"
#include "sql_test_support.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

class Answers : public ::testing::TestWithParam<test::StoreKind> {
 protected:
  void SetUp() override {
    VLQ_USE_STORE(store_, GetParam());
    store_.AddReqType(5, "PR");
    store_.AddReqType(7, "SR");
    store_.AddAttr(15, 5, "Platforms", eADTMultiSelectList);
    store_.AddListItem(15, 50, 1, "Linux");
    store_.AddListItem(15, 51, 2, "Windows");
    store_.AddListItem(15, 52, 3, "Mac");
    store_.AddAttr(12, 5, "Owner", eADTList);
    store_.AddListItem(12, 34, 1, "Ann");
    store_.AddListItem(12, 35, 2, "Bob");
    store_.AddAttr(13, 5, "Title", eADTText);
    const struct {
      long key;
      std::string tag;
      long document;  // -1: no value at all
    } prs[] = {{101, test::LongTag({1}), 7},
               {102, test::LongTag({1, 1}), 0},
               {103, test::LongTag({2}), -1},
               {104, test::LongTag({2, 1}), 8},
               {105, test::LongTag({2, 1, 1}), 7}};
    for (const auto& pr : prs) {
      test::Requirement r(pr.key, 5, pr.tag);
      r.DocumentKey = pr.document < 0 ? 0 : pr.document;
      store_.AddRequirement(r);
      if (pr.document < 0) store_.Exec("UPDATE VLREQUIREMENTS SET BOOKMARKDOCUMENTID = NULL WHERE ID = 103");
    }
    for (long key : {201L, 202L, 203L}) store_.AddRequirement(key, 7, test::LongTag({key - 200}));
    store_.InsertRow("VLDOCUMENTS", {{"ID", 7}, {"NAME", "Manual"}, {"GUID", "{D7}"}});
    store_.InsertRow("VLDOCUMENTS", {{"ID", 8}, {"NAME", "Guide"}, {"GUID", "{D8}"}});
    for (const auto& [req, item] : std::vector<std::pair<long, long>>{{101, 50}, {101, 51}, {102, 50}, {103, 51},
                                                                       {105, 52}}) {
      store_.ChooseItem(req, 15, item);
    }
    store_.ChooseItem(101, 12, 34);
    store_.ChooseItem(102, 12, 35);
    store_.SetValue(101, 13, "alpha");
    store_.SetValue(102, 13, "beta");
    const struct {
      long from, to;
      bool suspect;
    } traces[] = {{101, 201, true}, {102, 202, false}, {103, 104, false}, {104, 105, true},
                  {105, 203, false}, {104, 101, false}, {101, 103, false}};
    for (const auto& t : traces) store_.AddTrace(t.from, t.to, t.suspect);
    store_.InsertRow("VLPACKAGES", {{"ID", 1}, {"NAME", "Core"}});
    store_.InsertRow("VLPACKAGES", {{"ID", 2}, {"NAME", "Extra"}});
    for (const auto& [package, req] : std::vector<std::pair<long, long>>{{1, 101}, {1, 103}, {2, 103}}) {
      store_.InsertRow("VLPACKAGEELEMENTS", {{"PACKAGEID", package}, {"REQUIREMENTID", req}});
    }
    store_.AddUser(1, "Ann", 0, true);
    for (long id : {1L, 2L, 3L}) {
      store_.InsertRow("VLDISCUSSIONS", {{"ID", id},
                                         {"ROOTID", id},
                                         {"PARENTID", 0},
                                         {"SUBJECT", "d" + std::to_string(id)},
                                         {"AUTHORID", 1},
                                         {"PRIORITY", 1},
                                         {"STATUS", 1},
                                         {"SUBMITDATETIME", "2003-04-05 13:07:09"},
                                         {"RESTRICTED", 1}});
      store_.InsertRow("VLPROJECTDISCUSSIONS", {{"PROJECTID", 1}, {"DISCUSSIONID", id}});
    }
    for (const auto& [discussion, req] : std::vector<std::pair<long, long>>{{1, 101}, {3, 102}, {3, 103}}) {
      store_.InsertRow("VLDISCUSSIONREQUIREMENTS", {{"DISCUSSIONID", discussion}, {"REQUIREMENTID", req}});
    }
    project_ = store_.Open();
  }

  Keys Fetch(const std::string& query, bool hierarchy = false, enumQueryReturnTypes type = eBTRequirements) {
    QueryEngine engine;
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Fetch(type, eQLTByPrefix, project_, query, info, rows, def, hierarchy), eQEENone)
        << query << ": " << info;
    EXPECT_EQ(test::WorkTableRows(*project_), 0);
    return test::KeysOf(rows);
  }
  static std::set<long> Set(const Keys& keys) { return {keys.begin(), keys.end()}; }

  test::StoreFixture store_;
  std::shared_ptr<Project> project_;
};

TEST_P(Answers, TheStatusAppliesToTheTraceWhateverItsDestination) {
  // Suspect traces of PR: 101->201 (an SR) and 104->105 (a PR).
  for (const char* destinations : {"SR, PR", "PR, SR"}) {
    for (const char* indirect : {"", " AND DIRECT-ONLY = \"FALSE\""}) {
      const std::string query = std::string("ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In ") + destinations +
                                " AND STATUS = \"SUSPECT\"" + indirect + ")";
      if (*indirect == '\0') {
        EXPECT_EQ(Fetch(query), (Keys{101, 104})) << query;
      } else {
        // Over chains, a chain with a suspect step counts: 103->104->105 and
        // 104->101->201 too; 102 reaches only 202, over a clean step.
        EXPECT_EQ(Fetch(query), (Keys{101, 103, 104})) << query;
      }
    }
  }
}

TEST_P(Answers, CountCountsWhatFetchReturns) {
  const char* queries[] = {
      "ReqType.Prefix(PR) PR.Criteria(Platforms In Linux, Windows)",
      "ReqType.Prefix(PR) PR.Criteria(PackageKey In 1, 2)",
      "ReqType.Prefix(PR) PR.Criteria(PackageName Like \"%\")",
      "ReqType.Prefix(PR) PR.Sort(PackageName Order Asc)",
      "REQUIREMENT.Criteria(PackageKey In 1, 2)",
  };
  for (const char* query : queries) {
    const Keys keys = Fetch(query);
    const Keys count = Fetch(std::string("COUNT ") + query);
    ASSERT_EQ(count.size(), 1U) << query;
    EXPECT_EQ(count[0], static_cast<long>(Set(keys).size())) << query;
  }
  const Keys discussions = Fetch("DISCUSSION.Sort(RequirementKey Order Asc)", false, eBTDiscussions);
  const Keys discussionCount = Fetch("COUNT DISCUSSION.Sort(RequirementKey Order Asc)", false, eBTDiscussions);
  EXPECT_EQ(discussionCount, (Keys{static_cast<long>(discussions.size())}));
}

TEST_P(Answers, EachItemComesOnceAndASortNeverFilters) {
  EXPECT_EQ(Fetch("REQUIREMENT.Criteria(PackageKey In 1, 2)"), (Keys{101, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(PackageName Like \"%\")"), (Keys{101, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Platforms In Linux, Windows)"), (Keys{101, 102, 103}));
  // Without a package first (no value sorts low), then by the first package's
  // name; the tag decides among equals.
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Sort(PackageName Order Asc)"), (Keys{102, 104, 105, 101, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Sort(PackageKey Order Desc)"), (Keys{101, 103, 102, 104, 105}));
  // Discussions: 2 has no requirement and stays; 3 with two stands once.
  EXPECT_EQ(Set(Fetch("DISCUSSION.Sort(RequirementKey Order Asc)", false, eBTDiscussions)), (std::set<long>{1, 2, 3}));
  EXPECT_EQ(Fetch("DISCUSSION.Sort(RequirementKey Order Asc)", false, eBTDiscussions).size(), 3U);
}

TEST_P(Answers, ANegatedItemOfAMultiSelectListMeansNotHoldingIt) {
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Platforms = Linux)"), (Keys{103, 104, 105}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Platforms In Linux)"), (Keys{103, 104, 105}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Platforms <> Linux)"), (Keys{103, 104, 105}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Platforms <> Linux)"), (Keys{101, 102}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Platforms = \"<NO ENTRY>\")"), (Keys{104}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Platforms <> \"<NO ENTRY>\")"), (Keys{101, 102, 103, 105}));
}

TEST_P(Answers, TheDatabaseAsLocationIsNoDocument) {
  const Keys withDocument{101, 104, 105};
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Location <> DATABASE)"), withDocument);
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Location In DATABASE)"), withDocument);
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Location = DATABASE)"), withDocument);
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Location = DATABASE)"), (Keys{102, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Location In DATABASE)"), (Keys{102, 103}));
  // Not in the manual: the guide, and the requirements in no document.
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Location <> Manual)"), (Keys{102, 103, 104}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Location In Manual, DATABASE)"), (Keys{104}));
}

TEST_P(Answers, RootTagNumberAndItsComplement) {
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(RootTag# = 2.1)"), (Keys{104, 105}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(RootTag# <> 2.1)"), (Keys{101, 102, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not RootTag# = 2.1)"), (Keys{101, 102, 103}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(RootTag# In 1.1, 2.1)"), (Keys{102, 104, 105}));
}

TEST_P(Answers, NoEntryAndItsNegation) {
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Owner = \"<NO ENTRY>\")"), (Keys{103, 104, 105}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Owner <> \"<NO ENTRY>\")"), (Keys{101, 102}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Title <> \"<no entry>\")"), (Keys{101, 102}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Not Title = \"<NO ENTRY>\")"), (Keys{101, 102}));
}

TEST_P(Answers, TreeOrderOfAWholeProjectQuery) {
  // Each type's tree under its own roots, the types in the order of the flat
  // query, each key once.
  const Keys tree{101, 102, 103, 104, 105, 201, 202, 203};
  EXPECT_EQ(Fetch("", true), tree);
  EXPECT_EQ(Fetch("COUNT", true), (Keys{static_cast<long>(tree.size())}));
  // A hit's ancestors of its own type come with it, of no other type.
  EXPECT_EQ(Fetch("REQUIREMENT.Criteria(Key In 105, 202)", true), (Keys{103, 104, 105, 202}));
}

TEST_P(Answers, DiscussionsHaveNoTreeOrder) {
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  EXPECT_EQ(engine.Fetch(eBTDiscussions, eQLTByPrefix, project_, "", info, rows, def, true),
            eQEEInvalidBaseQueryType);
  EXPECT_EQ(info, modMain::Message(14144));
}

INSTANTIATE_TEST_SUITE_P(Stores, Answers, test::kBothStores, test::StoreKindName);

}  // namespace
}  // namespace vlq
