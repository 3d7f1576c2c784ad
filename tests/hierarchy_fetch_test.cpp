// Fetch with bRetainHierarchy end to end on a project file of the store (the
// Access statements of the pipeline run on the store's Jet dialect) and on its
// copy on the server (in the server's own dialect): the keys come in tree
// order with the ancestors of the hits, and the work tables are empty again
// after every Fetch. The tree is tests/data/hierarchy_tree.sql;
// every expected order below is worked out from it by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "closure_test_support.h"
#include "engine/query_engine.h"
#include "model/query_def.h"
#include "sql_test_support.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

class HierarchyFetch : public ::testing::TestWithParam<test::StoreKind> {
 protected:
  void SetUp() override {
    VLQ_USE_STORE(store, GetParam());
    store.Exec(test::ReadGolden("hierarchy_tree.sql"));
  }
  bool OnServer() const { return GetParam() == test::StoreKind::Server; }

  // The first column of a successful Fetch of "ReqType.Prefix(PR) " and
  // sQuery; the work tables must be empty afterwards.
  Rows FetchRows(const std::shared_ptr<Project>& project, const std::string& sQuery, bool bRetainHierarchy = true) {
    Rows rows;
    std::string info;
    std::shared_ptr<QueryDef> def;
    const auto result = engine.Fetch(eBTRequirements, eQLTByPrefix, project, sQuery, info, rows, def, bRetainHierarchy);
    EXPECT_EQ(result, eQEENone) << sQuery << ": " << info;
    EXPECT_EQ(info, project->GUID()) << sQuery;
    EXPECT_EQ(test::WorkTableRows(*project), 0) << sQuery;
    return rows;
  }
  Keys Fetch(const std::string& sQuery, bool bRetainHierarchy = true) {
    if (!project) project = store.Open();
    return test::KeysOf(FetchRows(project, sQuery, bRetainHierarchy));
  }

  test::StoreFixture store;
  std::shared_ptr<Project> project;
  QueryEngine engine;
};

TEST_P(HierarchyFetch, ParentsComeBeforeChildrenAndSiblingsFollowTheSort) {
  struct Row {
    const char* query;
    Keys keys;
  };
  const Row rows[] = {
      // Without a sort siblings follow their tags. 41 has no parent (there is
      // no 4): it is a root, sorted among the roots.
      {"ReqType.Prefix(PR)", {10, 11, 111, 112, 12, 13, 20, 21, 30, 41}},
      {"ReqType.Prefix(PR) PR.Sort(Rank Order Asc)", {10, 13, 11, 111, 112, 12, 30, 20, 21, 41}},
      {"ReqType.Prefix(PR) PR.Sort(Rank Order Desc)", {41, 20, 21, 30, 10, 12, 11, 112, 111, 13}},
      // The multi-select sort aggregates every statement of the run; the
      // requirements without a value sort first, then by tag.
      {"ReqType.Prefix(PR) PR.Sort(Tags Order Asc)", {41, 20, 21, 30, 10, 11, 111, 112, 12, 13}},
      // 30 has two matching items and still comes once.
      {"ReqType.Prefix(PR) PR.Criteria(Tags In Red, Blue)", {10, 20, 30}},
      // Another type with the same tags is no ancestor.
      {"ReqType.Prefix(SR)", {70}},
  };
  for (const Row& row : rows) EXPECT_EQ(Fetch(row.query), row.keys) << row.query;
}

TEST_P(HierarchyFetch, AncestorsOfTheHitsAreAddedOnce) {
  struct Row {
    const char* query;
    Keys keys;
  };
  const Row rows[] = {
      // A hit at level 3 whose parent and root are no hits: three rows, root first.
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 1)", {10, 11, 111}},
      // 10 is a hit and the root of the other hit: it stands once.
      {"ReqType.Prefix(PR) PR.Criteria(Rank <= 2)", {10, 11, 111}},
      // Ancestors sort among themselves by the query's order too.
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 9 OR Rank = 4) PR.Sort(Rank Order Desc)", {20, 21, 10, 11, 112}},
      // A hit whose parent is missing from the data is a root of its own.
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 10)", {41}},
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 100)", {}},
  };
  for (const Row& row : rows) EXPECT_EQ(Fetch(row.query), row.keys) << row.query;
}

TEST_P(HierarchyFetch, CountIncludesTheAncestors) {
  project = store.Open();
  const Rows tree = FetchRows(project, "count ReqType.Prefix(PR) PR.Criteria(Rank = 1)");
  ASSERT_EQ(tree.size(), 1U);
  ASSERT_EQ(tree[0].size(), 1U);
  EXPECT_EQ(tree[0][0].Whole(), 3);
  const Rows plain = FetchRows(project, "count ReqType.Prefix(PR) PR.Criteria(Rank = 1)", false);
  EXPECT_EQ(plain[0][0].Whole(), 1);
}

TEST_P(HierarchyFetch, LevelCriterionCutsTheFinishedTree) {
  // The roots only; the search itself isn't narrowed by the level.
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(HIERLEVEL = 0)"), (Keys{10, 20, 30}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(HIERLEVEL = 1) PR.Sort(Rank Order Asc)"), (Keys{13, 11, 12, 21, 41}));
  // The hit is at level 2; its root, an ancestor, is what the level keeps.
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(HIERLEVEL = 0 AND Rank = 1)"), (Keys{10}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(HIERLEVEL = 0 AND Rank = 1)", false), (Keys{}));
}

TEST_P(HierarchyFetch, LevelCutsTheTreeOnlyWhereEveryHitMustMeetIt) {
  struct Row {
    const char* criteria;
    Keys keys;
  };
  const Row rows[] = {
      // Every operator cuts the finished tree, "<>" and ranges included.
      {"HIERLEVEL <> 0", {11, 111, 112, 12, 13, 21, 41}},
      {"HIERLEVEL > 1", {111, 112}},
      {"HIERLEVEL Between 1 And 1", {11, 12, 13, 21, 41}},
      // Inside a group joined by AND: the hits are 10, 111, 13 and 21; the
      // tree adds 11 and 20, the level takes the roots away.
      {"(HIERLEVEL >= 1 AND Rank < 5)", {11, 111, 13, 21}},
      // Beside an OR or under a NOT the level narrows the search, as without
      // a tree: the hits are 111 and the roots, or 111 and 13.
      {"Rank = 1 OR HIERLEVEL = 0", {10, 11, 111, 20, 30}},
      {"NOT HIERLEVEL = 0 AND Rank <= 3", {10, 11, 111, 13}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Fetch(std::string("ReqType.Prefix(PR) PR.Criteria(") + row.criteria + ")"), row.keys) << row.criteria;
  }
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(HIERLEVEL <> 0)", false), (Keys{11, 111, 112, 12, 13, 21, 41}));
}

TEST_P(HierarchyFetch, Access2ProjectsTakeTheAccessStatements) {
  if (OnServer()) GTEST_SKIP() << "a dialect of the project file";
  std::shared_ptr<platform::StoreProjectManager> manager;
  project = test::OpenAs(store, "4", "", manager);
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Rank = 9) PR.Sort(Rank Order Asc)"), (Keys{10, 11, 112}));
}

// The statements of one run, in order, as the store received them.
TEST_P(HierarchyFetch, StatementsOfARunOnTheStore) {
  struct Expected {
    std::string start;
    long rows;  // rows changed; -1: not looked at
  };
  const auto check = [](const std::vector<test::RecordedStatement>& statements, const std::vector<Expected>& expected) {
    ASSERT_EQ(statements.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_FALSE(statements[i].failed) << statements[i].sql;
      EXPECT_EQ(test::Unqualified(statements[i].sql).rfind(expected[i].start, 0), 0U) << i << ": " << statements[i].sql;
      if (expected[i].rows >= 0) {
        EXPECT_EQ(statements[i].rows, expected[i].rows) << statements[i].sql;
      }
    }
  };
  const char* kHits =
      "INSERT INTO VLHIERARCHYTABLETEMP (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) \r\nSELECT DISTINCT ";
  const char* kAncestors =
      "INSERT INTO VLHIERARCHYTABLETEMP (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) \r\nSELECT "
      "DISTINCT ";
  const std::string kLevels = std::string("SELECT MAX(") + (OnServer() ? "CHAR_LENGTH" : "LEN") +
                              "(LONGTAGNUMBER)) / 10 AS Levels FROM VLHIERARCHYTABLETEMP WHERE SESSIONID = ";
  const char* kLevel = "INSERT INTO VLHIERARCHYORDEREDLEVELSTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER)\r\n";
  const char* kOrderTag = "INSERT INTO VLHIERARCHYFINALORDERTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER, ORDERTAG)";
  const char* kFinal = "SELECT VLHIERARCHYFINALORDERTEMP.REQUIREMENTID \r\n";
  const std::vector<Expected> deletes = {{"DELETE \r\nFROM VLHIERARCHYTABLETEMP\r\nWHERE SESSIONID=", 3},
                                         {"DELETE \r\nFROM VLHIERARCHYORDEREDLEVELSTEMP\r\nWHERE SESSIONID=", 3},
                                         {"DELETE \r\nFROM VLHIERARCHYFINALORDERTEMP\r\nWHERE SESSIONID=", 3}};

  auto recording = std::make_shared<test::RecordingProject>(store.Open());
  EXPECT_EQ(test::KeysOf(FetchRows(recording, "ReqType.Prefix(PR) PR.Criteria(Rank = 1)")), (Keys{10, 11, 111}));
  // The hit at level 3, its parent, then its root; the level count once to
  // walk up, once to order.
  std::vector<Expected> expected = {{kHits, 1},     {kLevels, -1},  {kAncestors, 1}, {kAncestors, 1},
                                    {kLevels, -1},  {kLevel, 1},    {kLevel, 1},     {kLevel, 1},
                                    {kOrderTag, 1}, {kOrderTag, 1}, {kOrderTag, 1},  {kFinal, -1}};
  expected.insert(expected.end(), deletes.begin(), deletes.end());
  check(recording->Statements(), expected);

  // Nothing found: no level has rows, so no level or ORDERTAG statement runs.
  recording = std::make_shared<test::RecordingProject>(store.Open());
  EXPECT_EQ(test::KeysOf(FetchRows(recording, "ReqType.Prefix(PR) PR.Criteria(Rank = 100)")), Keys{});
  expected = {{kHits, 0}, {kLevels, -1}, {kLevels, -1}, {kFinal, -1}};
  for (Expected d : deletes) expected.push_back({d.start, 0});
  check(recording->Statements(), expected);
}

// A statement of the pipeline that fails leaves no true tree: Fetch raises it
// and removes the session's rows, whichever table the failure is in.
TEST_P(HierarchyFetch, AFailingStatementRaisesAndLeavesNoRows) {
  if (OnServer()) GTEST_SKIP() << "the failure is injected by a trigger of the file's connection";
  for (const char* table : {"VLHIERARCHYTABLETEMP", "VLHIERARCHYORDEREDLEVELSTEMP", "VLHIERARCHYFINALORDERTEMP"}) {
    SCOPED_TRACE(table);
    auto failing = store.Open();
    test::FailInsertsInto(*failing, table);
    Rows rows;
    std::string info;
    std::shared_ptr<QueryDef> def;
    EXPECT_THROW(engine.Fetch(eBTRequirements, eQLTByPrefix, failing, "ReqType.Prefix(PR) PR.Criteria(Rank = 1)", info,
                              rows, def, true),
                 Failure);
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(test::WorkTableRows(*failing), 0);
    long changed = 0;
    failing->GetDataServices("")->Execute(std::string("DROP TRIGGER VLFAIL_") + table, changed);
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, HierarchyFetch, test::kBothStores, test::StoreKindName);

}  // namespace
}  // namespace vlq
