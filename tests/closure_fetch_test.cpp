// Trace filters end to end: QueryEngine::Fetch on a project (a file, and its
// copy on the server) with a small trace graph, direct and indirect, both
// directions, with status, NOT, several destinations, destination criteria
// and ALL. The expected keys are
// read off the graph below; after every Fetch the work tables are empty again.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "closure_test_support.h"

namespace vlq {
namespace {

// Types PR (key 5, the base), SR (7) and MR (8). SR has the list attribute
// Priority (21): High (8), Low (9). Traces (S: suspect):
//
//   101 -> 201 High                   direct
//   102 -> 202 Low  S                 direct, suspect
//   103 -> 201 High, 103 -> 202 Low   direct to both
//   104 -> 301 -> 201                 two steps
//   105 -> 302 S -> 303 -> 202        three steps, the first suspect
//   106 -> 304 <-> 305                a cycle that reaches no SR
//   107                               no trace from it; 204 (SR) -> 107
//   108 -> 306 <-> 307 -> 203         a cycle on the way to an SR without priority
//   109 -> 310 -> 311 -> ... -> 315 -> 201   seven steps
//   205 (SR) -> 309 -> 106            106 is traced from an SR over one step
class TraceWorld : public ::testing::TestWithParam<test::StoreKind> {
 protected:
  void SetUp() override {
    VLQ_USE_STORE(store_, GetParam());
    test::AddWorkedRelationshipTypes(store_);
    store_.AddReqType(8, "MR");
    for (long key = 101; key <= 109; ++key) Add(key, 5);
    for (long key = 201; key <= 205; ++key) Add(key, 7);
    for (long key = 301; key <= 315; ++key) Add(key, 8);
    store_.ChooseItem(201, 21, 8);
    store_.ChooseItem(202, 21, 9);
    const std::tuple<long, long, bool> traces[] = {
        {101, 201, false}, {102, 202, true},  {103, 201, false}, {103, 202, false}, {104, 301, false},
        {301, 201, false}, {105, 302, true},  {302, 303, false}, {303, 202, false}, {106, 304, false},
        {304, 305, false}, {305, 304, false}, {204, 107, false}, {108, 306, false}, {306, 307, false},
        {307, 306, false}, {307, 203, false}, {109, 310, false}, {310, 311, false}, {311, 312, false},
        {312, 313, false}, {313, 314, false}, {314, 315, false}, {315, 201, false}, {205, 309, false},
        {309, 106, false},
    };
    for (const auto& [from, to, suspect] : traces) store_.AddTrace(from, to, suspect);
    project_ = std::make_shared<test::RecordingProject>(store_.Open());
  }

  void Add(long key, long type) { store_.AddRequirement(key, type, test::LongTag({key})); }

  // The keys that Fetch gives for the sections behind "ReqType.Prefix(PR) ",
  // in order; the work tables must be empty again afterwards.
  std::vector<long> Fetch(const std::string& sections) {
    QueryEngine engine;
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    const auto result =
        engine.Fetch(eBTRequirements, eQLTByPrefix, project_, "ReqType.Prefix(PR) " + sections, info, rows, def);
    EXPECT_EQ(result, eQEENone) << info;
    EXPECT_EQ(info, project_->GUID());
    EXPECT_EQ(test::WorkTableRows(*project_), 0) << sections;
    return test::KeysOf(rows);
  }

  test::StoreFixture store_;
  std::shared_ptr<test::RecordingProject> project_;
};

class TransitiveClosure : public ::testing::TestWithParam<test::StoreKind> {};
class RelationshipAll : public ::testing::TestWithParam<test::StoreKind> {};
class RelationshipExternal : public ::testing::TestWithParam<test::StoreKind> {};

using Keys = std::vector<long>;
const std::string kIndirect = " AND DIRECT-ONLY = \"FALSE\"";

TEST_P(TraceWorld, DirectTraces) {
  const struct {
    std::string sections;
    Keys expected;
  } rows[] = {
      {"PR.RelCriteria(TRACED-TO In SR)", {101, 102, 103}},
      {"PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"TRUE\")", {101, 102, 103}},
      {"PR.RelCriteria(TRACED-TO In SR AND STATUS = \"SUSPECT\")", {102}},
      {"PR.RelCriteria(TRACED-TO In SR AND NOT STATUS = \"SUSPECT\")", {101, 103}},
      {"PR.RelCriteria(NOT TRACED-TO In SR)", {104, 105, 106, 107, 108, 109}},
      // Either destination will do.
      {"PR.RelCriteria(TRACED-TO In SR, MR)", {101, 102, 103, 104, 105, 106, 108, 109}},
      {"PR.RelCriteria(TRACED-FROM In SR)", {107}},
      // Criteria on the far end.
      {"PR.RelCriteria(TRACED-TO In SR) SR.Criteria(Priority = High)", {101, 103}},
      {"PR.RelCriteria(TRACED-TO In SR) SR.Criteria(NOT ( Priority = High))", {102, 103}},
      // ALL: every SR traced to must be High; 103 also traces to a Low one.
      {"PR.RelCriteria(TRACED-TO In SR) SR.Criteria(Priority All = High)", {101}},
      {"PR.RelCriteria(TRACED-TO In SR) SR.Criteria(Priority All = Low)", {102}},
      {"PR.RelCriteria(TRACED-TO In SR) SR.Criteria(Priority All In High, Low)", {101, 102, 103}},
  };
  for (const auto& row : rows) EXPECT_EQ(Fetch(row.sections), row.expected) << row.sections;
}

TEST_P(TraceWorld, IndirectTraces) {
  const struct {
    std::string sections;
    Keys expected;
  } rows[] = {
      // 104, 105 and 109 reach an SR over chains of two, three and seven
      // steps, 108 through a cycle; 106 only circles.
      {"PR.RelCriteria(TRACED-TO In SR" + kIndirect + ")", {101, 102, 103, 104, 105, 108, 109}},
      // A chain is suspect if any step of it is; the last step's status
      // doesn't count, the direct hit at its end is taken as it is.
      {"PR.RelCriteria(TRACED-TO In SR AND STATUS = \"SUSPECT\"" + kIndirect + ")", {102, 105}},
      {"PR.RelCriteria(TRACED-TO In SR AND NOT STATUS = \"SUSPECT\"" + kIndirect + ")", {101, 103, 104, 108, 109}},
      {"PR.RelCriteria(NOT TRACED-TO In SR" + kIndirect + ")", {106, 107}},
      // The criteria apply to the last requirement of a chain.
      {"PR.RelCriteria(TRACED-TO In SR" + kIndirect + ") SR.Criteria(Priority = High)", {101, 103, 104, 109}},
      // The closure writes a negated criterion into several statements; it
      // means the same in each (203, with no priority, is no match).
      {"PR.RelCriteria(TRACED-TO In SR" + kIndirect + ") SR.Criteria(NOT ( Priority = High))", {102, 103, 105}},
      {"PR.RelCriteria(TRACED-FROM In SR" + kIndirect + ")", {106, 107}},
      {"PR.RelCriteria(TRACED-TO In MR" + kIndirect + ")", {104, 105, 106, 108, 109}},
      // Two indirect filters, two sessions: both must hold.
      {"PR.RelCriteria(TRACED-TO In SR" + kIndirect + ") PR.RelCriteria(TRACED-TO In MR" + kIndirect + ")",
       {104, 105, 108, 109}},
  };
  for (const auto& row : rows) EXPECT_EQ(Fetch(row.sections), row.expected) << row.sections;
}

// The statements of one Fetch with two indirect filters, as the database saw
// them: each closure on its own session, the second one clearing its session
// first, the main statement, and the rows of both sessions deleted on the way
// out. The cycles end the walk once they close: the longest chain (109, seven
// steps) sets the levels, and the eighth adds no row.
TEST_P(TraceWorld, StatementsOfAFetchWithTwoIndirectFilters) {
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project_,
                         "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR" + kIndirect +
                             ") PR.RelCriteria(TRACED-FROM In SR" + kIndirect + ")",
                         info, rows, def),
            eQEENone)
      << info;
  const auto& sent = project_->Statements();
  ASSERT_EQ(def->RelExpressions().Count(), 2U);
  const std::string first = std::to_string((*def->RelExpressions().Item(1))->SessionID());
  const std::string second = std::to_string((*def->RelExpressions().Item(2))->SessionID());

  std::vector<std::string> kinds;
  for (const auto& statement : sent) {
    EXPECT_FALSE(statement.failed) << statement.sql;
    const std::string s = test::Unqualified(statement.sql);
    // The session a statement belongs to: the one whose id it names.
    const std::string session = test::WithSession123(s, std::stol(second)) != s ? "2" : "1";
    if (s.rfind("INSERT INTO  VLTRACETABLEINDIR", 0) == 0) kinds.push_back("hits" + session);
    else if (s.rfind("INSERT INTO VLTRACETABLETEMP", 0) == 0) kinds.push_back("level" + session);
    else if (s.rfind("INSERT INTO VLTRACETABLEINDIR", 0) == 0) kinds.push_back("roots" + session);
    else if (s.rfind("DELETE \r\nFROM VLTRACETABLEINDIR", 0) == 0) kinds.push_back("deleteIndir" + session);
    else if (s.rfind("DELETE \r\nFROM VLTRACETABLETEMP", 0) == 0) kinds.push_back("deleteTemp" + session);
    else if (s.rfind("SELECT", 0) == 0) kinds.push_back("select");
    else kinds.push_back("?" + s);
  }
  std::vector<std::string> expected{"hits1"};
  expected.insert(expected.end(), 8, "level1");
  expected.insert(expected.end(), {"roots1", "deleteIndir2", "deleteTemp2", "hits2"});
  // Traced from an SR: 106 over 309 (one step), then 205; 205 traces on to
  // nothing, so the third level adds no row.
  expected.insert(expected.end(), 3, "level2");
  expected.insert(expected.end(),
                  {"roots2", "select", "deleteIndir1", "deleteTemp1", "deleteIndir2", "deleteTemp2"});
  EXPECT_EQ(kinds, expected);
  EXPECT_NE(first, second);
  // The second closure: one direct hit (107), two levels with rows, one
  // without, and its root 106.
  const std::size_t hits2 = 1 + 8 + 1 + 2;
  ASSERT_GE(sent.size(), hits2 + 5);
  EXPECT_EQ(sent[hits2].rows, 1);
  EXPECT_EQ(sent[hits2 + 1].rows, 1);
  EXPECT_EQ(sent[hits2 + 2].rows, 1);
  EXPECT_EQ(sent[hits2 + 3].rows, 0);
  EXPECT_EQ(sent[hits2 + 4].rows, 1);
  // No requirement traces to an SR and is traced from one.
  EXPECT_EQ(test::KeysOf(rows), (Keys{}));
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
}

// A chain A -> B -> C with C of the destination type: A is no direct hit;
// level 1 writes (A, B), level 2 (A, C), level 3 nothing and ends the walk.
TEST_P(TransitiveClosure, ChainOfTwoStepsIsWalkedLevelByLevel) {
  test::StoreFixture store;
  VLQ_USE_STORE(store, GetParam());
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(8, "MR");
  store.AddRequirement(1, 5, test::LongTag({1}));
  store.AddRequirement(2, 8, test::LongTag({2}));
  store.AddRequirement(3, 7, test::LongTag({3}));
  store.AddRequirement(4, 5, test::LongTag({4}));  // no trace
  store.AddTrace(1, 2);
  store.AddTrace(2, 3);
  auto project = std::make_shared<test::RecordingProject>(store.Open());
  QuerySql sql;
  test::BindRequirementQuery(sql, project);
  auto rel = test::AddRelationship(sql, "TRACED-TO In SR" + kIndirect);
  ASSERT_TRUE(rel);
  std::string info;
  ASSERT_EQ(sql.BuildTransClosure(*rel, info), eQEENone) << info;

  const std::string S = std::to_string(rel->SessionID());
  EXPECT_EQ(test::ScalarOf(*project, "SELECT COUNT(*) FROM VLTRACETABLETEMP WHERE SESSIONID=" + S +
                                         " AND ROOTID=1 AND ((ID=2 AND LVL=1) OR (ID=3 AND LVL=2))"),
            2);
  EXPECT_EQ(test::ScalarOf(*project, "SELECT COUNT(*) FROM VLTRACETABLETEMP WHERE SESSIONID=" + S), 2);
  // Only the root of the chain is a hit.
  EXPECT_EQ(test::ScalarOf(*project, "SELECT COUNT(*) FROM VLTRACETABLEINDIR WHERE SESSIONID=" + S + " AND ID=1"), 1);
  EXPECT_EQ(test::ScalarOf(*project, "SELECT COUNT(*) FROM VLTRACETABLEINDIR WHERE SESSIONID=" + S), 1);
  const auto& sent = project->Statements();
  ASSERT_EQ(sent.size(), 5U);  // hits, levels 1 to 3, roots
  EXPECT_EQ(sent[0].rows, 0);
  EXPECT_EQ(sent[1].rows, 1);
  EXPECT_EQ(sent[2].rows, 1);
  EXPECT_EQ(sent[3].rows, 0);
  EXPECT_EQ(sent[4].rows, 1);

  // Built again, the closure clears its session first; the filter stays
  // indirect.
  ASSERT_EQ(sql.BuildTransClosure(*rel, info), eQEENone) << info;
  ASSERT_EQ(sent.size(), 12U);
  EXPECT_EQ(test::Unqualified(sent[5].sql).rfind("DELETE \r\nFROM VLTRACETABLEINDIR \r\nWHERE SESSIONID=" + S, 0), 0U);
  EXPECT_EQ(sent[5].rows, 1);
  EXPECT_EQ(test::Unqualified(sent[6].sql).rfind("DELETE \r\nFROM VLTRACETABLETEMP \r\nWHERE SESSIONID=" + S, 0), 0U);
  EXPECT_EQ(sent[6].rows, 2);
  EXPECT_EQ(test::ScalarOf(*project, "SELECT COUNT(*) FROM VLTRACETABLEINDIR WHERE SESSIONID=" + S), 1);
  EXPECT_FALSE(rel->DirectOnly());

  ASSERT_EQ(sql.DumpSessionIndirTraceRecords(rel->SessionID(), info), eQEENone);
  EXPECT_EQ(test::WorkTableRows(*project), 0);
}

// Chains of 50 and 51 steps to a requirement with a direct hit: the walk stops
// at level 50, so only the shorter one counts.
TEST_P(TransitiveClosure, ChainsAreFollowedForFiftyLevels) {
  test::StoreFixture store;
  VLQ_USE_STORE(store, GetParam());
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(8, "MR");
  store.AddRequirement(9000, 7, test::LongTag({9000}));
  for (long root : {1000L, 2000L}) {
    store.AddRequirement(root, 5, test::LongTag({root}));
    const long steps = root == 1000 ? 50 : 51;
    long previous = root;
    for (long i = 1; i <= steps; ++i) {
      store.AddRequirement(root + i, 8, test::LongTag({root + i}));
      store.AddTrace(previous, root + i);
      previous = root + i;
    }
    store.AddTrace(previous, 9000);
  }
  auto project = std::make_shared<test::RecordingProject>(store.Open());
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project,
                         "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR" + kIndirect + ")", info, rows, def),
            eQEENone)
      << info;
  EXPECT_EQ(test::KeysOf(rows), (Keys{1000}));
  long levels = 0;
  for (const auto& statement : project->Statements()) {
    if (test::Unqualified(statement.sql).rfind("INSERT INTO VLTRACETABLETEMP", 0) == 0) {
      ++levels;
      EXPECT_GT(statement.rows, 0) << "level " << levels;
    }
  }
  EXPECT_EQ(levels, 50);
  EXPECT_EQ(test::WorkTableRows(*project), 0);
}

// The second test of a filter with several destinations concerns only those
// whose criterion has an ALL term: a user asking that all SR traced to be High
// doesn't expect the MR destinations, with their own plain criterion, to be
// held to anything in that test.
TEST_P(RelationshipAll, DestinationWithoutAllTermStaysOutOfTheSecondTest) {
  test::StoreFixture store;
  VLQ_USE_STORE(store, GetParam());
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(8, "MR");
  store.AddAttr(31, 8, "Risk", eADTList);
  store.AddListItem(31, 11, 1, "Big");
  store.AddListItem(31, 12, 2, "Small");
  for (long key : {120L, 121L, 122L, 123L}) store.AddRequirement(key, 5, test::LongTag({key}));
  store.AddRequirement(201, 7, test::LongTag({201}));
  store.AddRequirement(202, 7, test::LongTag({202}));
  store.AddRequirement(320, 8, test::LongTag({320}));
  store.AddRequirement(321, 8, test::LongTag({321}));
  store.ChooseItem(201, 21, 8);   // High
  store.ChooseItem(202, 21, 9);   // Low
  store.ChooseItem(320, 31, 11);  // Big
  store.ChooseItem(321, 31, 12);  // Small
  store.AddTrace(120, 201);       // all SR High
  store.AddTrace(120, 321);
  store.AddTrace(121, 320);       // no SR at all, a Big MR
  store.AddTrace(122, 202);       // a Low SR
  store.AddTrace(122, 320);
  store.AddTrace(123, 321);       // only a Small MR: no destination passes
  auto project = std::make_shared<test::RecordingProject>(store.Open());

  QuerySql sql;
  test::BindRequirementQuery(sql, project);
  auto rel = test::AddRelationship(sql, "TRACED-TO In SR, MR", {{"SR", "Priority All = High"}, {"MR", "Risk = Big"}});
  ASSERT_TRUE(rel);
  std::string second;
  std::string info;
  ASSERT_EQ(sql.RelationshipToSql(*rel, true, second, info, true), eQEENone) << info;
  second = test::Unqualified(second);
  EXPECT_EQ(second.find("\r\nOR  (VLTORELATIONSHIPS.TYPE"), std::string::npos) << second;
  EXPECT_EQ(second.find("VLATTRVALUESVIEW_31"), std::string::npos) << second;
  EXPECT_NE(second.find("REQUIREMENTTYPEID=7"), std::string::npos) << second;

  QueryEngine engine;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project,
                         "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR, MR) SR.Criteria(Priority All = High) "
                         "MR.Criteria(Risk = Big)",
                         info, rows, def),
            eQEENone)
      << info;
  // 120 passes with its High SR, 121 with its Big MR and no SR to fail; 122
  // has a Low SR, 123 no destination that passes.
  EXPECT_EQ(test::KeysOf(rows), (Keys{120, 121}));
}

// A destination in another project file: the direct subquery reads that
// file's tables through the external-database clause, and a chain through the
// base project reaches it as well.
TEST_P(RelationshipExternal, DestinationInAnotherProjectFile) {
  // The other file's project has a key of its own; the destination's
  // subquery names it.
  test::StoreFixture ext({4, "EXT", "External", "{E0000000-0000-0000-0000-0000000000EE}"}, "ext.vlp");
  ext.AddReqType(6, "XR");
  ext.AddReqType(7, "YR");
  ext.AddRequirement(901, 6, test::LongTag({1}));
  ext.AddRequirement(902, 7, test::LongTag({2}));

  test::StoreFixture store;
  VLQ_USE_STORE(store, GetParam());
  test::AddWorkedRelationshipTypes(store);
  store.AddReqType(8, "MR");
  store.AddExtProject(3, "EXT", "{E0000000-0000-0000-0000-0000000000EE}", ext.Dir().string(), "ext.vlp");
  for (long key : {101L, 102L, 103L, 104L}) store.AddRequirement(key, 5, test::LongTag({key}));
  store.AddRequirement(305, 8, test::LongTag({305}));
  store.AddTrace(101, 901, false, 0, 3);  // to EXT.XR
  store.AddTrace(102, 902, false, 0, 3);  // to EXT.YR
  store.AddTrace(103, 305);               // over MR 305 to EXT.XR
  store.AddTrace(305, 901, false, 0, 3);
  store.AddTrace(104, 901);               // 901 of this project: there is none
  auto project = store.Open();

  const struct {
    std::string sections;
    Keys expected;
  } rows[] = {
      {"PR.RelCriteria(TRACED-TO In EXT.XR)", {101}},
      {"PR.RelCriteria(TRACED-TO In EXT.YR)", {102}},
      {"PR.RelCriteria(TRACED-TO In EXT.XR" + kIndirect + ")", {101, 103}},
  };
  for (const auto& row : rows) {
    QueryEngine engine;
    std::string info;
    Rows result;
    std::shared_ptr<QueryDef> def;
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) " + row.sections, info,
                           result, def),
              eQEENone)
        << info;
    EXPECT_EQ(test::KeysOf(result), row.expected) << row.sections;
    EXPECT_EQ(test::WorkTableRows(*project), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, TraceWorld, test::kBothStores, test::StoreKindName);
INSTANTIATE_TEST_SUITE_P(Stores, TransitiveClosure, test::kBothStores, test::StoreKindName);
INSTANTIATE_TEST_SUITE_P(Stores, RelationshipAll, test::kBothStores, test::StoreKindName);
INSTANTIATE_TEST_SUITE_P(Stores, RelationshipExternal, test::kBothStores, test::StoreKindName);

}  // namespace
}  // namespace vlq
