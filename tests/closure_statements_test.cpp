// The relationship and closure statements byte for byte: the worked filter in
// its direct and closure forms, the negated ALL test, the destination
// subquery, the whole requirement statement, and every statement of the
// closure in each dialect. The statements run on a real project file; the
// random session id is written as 123 for the comparison.
#include <gtest/gtest.h>

#include "closure_test_support.h"
#include "engine/mod_main.h"

namespace vlq {
namespace {

using test::ReadGolden;
using test::WithSession123;

constexpr const char* kSuspectToSR = "TRACED-TO In SR AND STATUS = \"SUSPECT\"";
constexpr const char* kSuspectToSRIndirect = "TRACED-TO In SR AND STATUS = \"SUSPECT\" AND DIRECT-ONLY = \"FALSE\"";
constexpr const char* kNotSuspectToSRIndirect =
    "TRACED-TO In SR AND NOT STATUS = \"SUSPECT\" AND DIRECT-ONLY = \"FALSE\"";

// A filter whose session id can't be mistaken for another number of a statement.
std::shared_ptr<TypedCompRelExpression> AddDistinctRelationship(
    QuerySql& sql, std::string_view text, const std::vector<std::pair<std::string, std::string>>& criteria = {}) {
  std::shared_ptr<TypedCompRelExpression> rel;
  do {
    rel = test::AddRelationship(sql, text, criteria);
  } while (rel && !test::IsDistinctSessionId(rel->SessionID()));
  return rel;
}

class ClosureStatements : public ::testing::Test {
 protected:
  void SetUp() override { test::AddWorkedRelationshipTypes(store_); }

  // The store's project in a dialect, its statements recorded.
  std::shared_ptr<test::RecordingProject> Open(const std::string& dbmsnamecode = "1", const std::string& schema = "") {
    return std::make_shared<test::RecordingProject>(test::OpenAs(store_, dbmsnamecode, schema, manager_));
  }

  test::StoreFixture store_;
  std::shared_ptr<platform::StoreProjectManager> manager_;
};

TEST_F(ClosureStatements, WorkedFilterInItsDirectAndClosureForms) {
  auto project = Open();
  QuerySql sql;
  test::BindRequirementQuery(sql, project);
  std::string text;
  std::string info;

  auto direct = test::AddRelationship(sql, kSuspectToSR);
  ASSERT_TRUE(direct);
  ASSERT_EQ(sql.RelationshipToSql(*direct, false, text, info, true), eQEENone) << info;
  EXPECT_TRUE(test::MatchesGolden(text, "closure_direct_access.sql"));
  EXPECT_TRUE(project->Statements().empty()) << "a direct filter writes nothing";

  auto indirect = AddDistinctRelationship(sql, kSuspectToSRIndirect);
  ASSERT_TRUE(indirect);
  ASSERT_EQ(sql.RelationshipToSql(*indirect, false, text, info, true), eQEENone) << info;
  EXPECT_TRUE(test::MatchesGolden(WithSession123(text, indirect->SessionID()), "closure_indirect_access.sql"));
  // The closure ran at once, and the filter is indirect again afterwards.
  EXPECT_FALSE(project->Statements().empty());
  EXPECT_FALSE(indirect->DirectOnly());
  EXPECT_TRUE(sql.IndirTraceRecordsWritten);
}

TEST_F(ClosureStatements, AllCriterionGivesTheNegatedSecondTest) {
  auto project = Open();
  QuerySql sql;
  test::BindRequirementQuery(sql, project);
  auto rel = test::AddRelationship(sql, kSuspectToSR, {{"SR", "Priority All = High"}});
  ASSERT_TRUE(rel);
  ASSERT_TRUE(rel->HasAllExpr());
  std::string first;
  std::string second;
  std::string info;
  ASSERT_EQ(sql.RelationshipToSql(*rel, true, second, info, true), eQEENone) << info;
  EXPECT_TRUE(test::MatchesGolden(second, "closure_not_all_access.sql"));
  // The first test holds the term as written, with the status term.
  ASSERT_EQ(sql.RelationshipToSql(*rel, false, first, info, true), eQEENone) << info;
  EXPECT_NE(first.find("(VLATTRVALUESVIEW_21.LISTITEMID = 8)"), std::string::npos) << first;
  EXPECT_EQ(first.find(" NOT "), std::string::npos) << first;
  EXPECT_NE(first.find("STATE=1 )"), std::string::npos) << first;

  // Both tests stand in the statement, the second on a line of its own.
  std::string rels;
  ASSERT_EQ(sql.RelationshipsToSQL(rels, info), eQEENone) << info;
  EXPECT_EQ(rels, " (" + first + ") " + "\r\nAND  (" + second + ") ");
}

TEST_F(ClosureStatements, DestinationSubqueryOnSQLServerWithASchema) {
  auto project = Open("5", "PROJ1.");
  QuerySql sql;
  test::BindRequirementQuery(sql, project);
  auto rel = test::AddRelationship(sql, "TRACED-TO In SR", {{"SR", "Priority = High"}});
  ASSERT_TRUE(rel);
  std::string text;
  std::string info;
  ASSERT_EQ(sql.TCRelExprCritSQLServerSQL(*rel->DestProjStruSpecs().Item(1), "PROJ1.VLTORELATIONSHIPS.TOID",
                                          *rel->TypedComplexExpressions().Item(1), text, info),
            eQEENone);
  EXPECT_TRUE(test::MatchesGolden(text, "closure_criteria_sqlserver_proj1.sql"));
  // DB2 names no package tables, and nothing else differs here.
  std::string db2;
  ASSERT_EQ(sql.TCRelExprCritDB2SQL(*rel->DestProjStruSpecs().Item(1), "PROJ1.VLTORELATIONSHIPS.TOID",
                                    *rel->TypedComplexExpressions().Item(1), db2, info),
            eQEENone);
  EXPECT_EQ(db2, text);
}

TEST_F(ClosureStatements, RelationshipStandsBehindTheCriteriaOfTheRequirementStatement) {
  auto project = Open();
  QueryEngine engine;
  std::string info;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project,
                            std::string("ReqType.Prefix(PR) PR.RelCriteria(") + kSuspectToSR + ")", info, def),
            eQEENone)
      << info;
  EXPECT_TRUE(test::MatchesGolden(info, "closure_statement_access.sql"));
}

TEST_F(ClosureStatements, ClosureDriverStatements) {
  struct Row {
    const char* dbmsnamecode;
    const char* filter;
    const char* first;
    const char* last;
  };
  const Row rows[] = {
      {"1", kSuspectToSRIndirect, "closure_first_access.sql", "closure_last_access.sql"},
      {"1", kNotSuspectToSRIndirect, "closure_first_access_clean.sql", "closure_last_access_clean.sql"},
      // SQL Server, DB2 and the second Access code write the Access text.
      {"4", kNotSuspectToSRIndirect, "closure_first_access_clean.sql", "closure_last_access_clean.sql"},
      {"5", kSuspectToSRIndirect, "closure_first_access.sql", "closure_last_access.sql"},
      {"7", kSuspectToSRIndirect, "closure_first_access.sql", "closure_last_access.sql"},
      {"8", kSuspectToSRIndirect, "closure_first_access.sql", "closure_last_access.sql"},
      {"3", kNotSuspectToSRIndirect, "closure_first_oracle_clean.sql", "closure_last_oracle_clean.sql"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.dbmsnamecode) + " " + row.filter);
    auto project = Open(row.dbmsnamecode);
    QuerySql sql;
    test::BindRequirementQuery(sql, project);
    auto rel = AddDistinctRelationship(sql, row.filter);
    ASSERT_TRUE(rel);
    std::string info;
    ASSERT_EQ(sql.BuildTransClosure(*rel, info), eQEENone) << info;
    const auto& sent = project->Statements();
    // No trace in the file: the first level adds no row and ends the walk.
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_TRUE(test::MatchesGolden(WithSession123(sent[0].sql, rel->SessionID()), row.first));
    EXPECT_TRUE(test::MatchesGolden(WithSession123(sent[2].sql, rel->SessionID()), row.last));
    for (const auto& statement : sent) EXPECT_FALSE(statement.failed) << statement.sql;

    // The session's rows are deleted table by table.
    ASSERT_EQ(sql.DumpSessionIndirTraceRecords(rel->SessionID(), info), eQEENone) << info;
    ASSERT_EQ(sent.size(), 5U);
    EXPECT_TRUE(test::MatchesGolden(WithSession123(sent[3].sql, rel->SessionID()), "closure_delete_indir_access.sql"));
    EXPECT_TRUE(test::MatchesGolden(WithSession123(sent[4].sql, rel->SessionID()), "closure_delete_temp_access.sql"));
  }
}

using LevelOperation = enumQueryEngineError (QuerySql::*)(const TypedCompRelExpression&, long&, bool&,
                                                          std::string&);

TEST_F(ClosureStatements, LevelStatementsInEachDialect) {
  struct Row {
    const char* dbmsnamecode;
    const char* schema;
    LevelOperation operation;
    long level;
    const char* filter;
    const char* golden;
  };
  const LevelOperation access = &QuerySql::BuildAccessTransClosureLevel;
  const LevelOperation oracle = &QuerySql::BuildOracleTransClosureLevel;
  const LevelOperation sqlServer = &QuerySql::BuildSQLServerTransClosureLevel;
  const LevelOperation db2 = &QuerySql::BuildDB2TransClosureLevel;
  const char* to = "TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\"";
  const char* from = "TRACED-FROM In SR AND DIRECT-ONLY = \"FALSE\"";
  const Row rows[] = {
      {"1", "", access, 1, to, "closure_level1_to_access.sql"},
      {"1", "", access, 1, from, "closure_level1_from_access.sql"},
      {"1", "", access, 2, to, "closure_level2_to_access.sql"},
      {"1", "", access, 2, from, "closure_level2_from_access.sql"},
      {"3", "PROJ1.", oracle, 1, to, "closure_level1_to_oracle_proj1.sql"},
      {"3", "PROJ1.", oracle, 1, from, "closure_level1_from_oracle_proj1.sql"},
      {"3", "PROJ1.", oracle, 2, to, "closure_level2_to_oracle_proj1.sql"},
      {"3", "PROJ1.", oracle, 2, from, "closure_level2_from_oracle_proj1.sql"},
      {"5", "PROJ1.", sqlServer, 1, to, "closure_level1_to_sqlserver_proj1.sql"},
      {"5", "PROJ1.", sqlServer, 2, to, "closure_level2_to_sqlserver_proj1.sql"},
      {"5", "PROJ1.", sqlServer, 2, from, "closure_level2_from_sqlserver_proj1.sql"},
      {"7", "PROJ1.", db2, 1, to, "closure_level1_to_sqlserver_proj1.sql"},
      {"7", "PROJ1.", db2, 2, to, "closure_level2_to_sqlserver_proj1.sql"},
      {"7", "PROJ1.", db2, 2, from, "closure_level2_from_sqlserver_proj1.sql"},
      // PostgreSQL walks the closure in the statements of SQL Server.
      {"8", "PROJ1.", sqlServer, 1, to, "closure_level1_to_sqlserver_proj1.sql"},
      {"8", "PROJ1.", sqlServer, 2, from, "closure_level2_from_sqlserver_proj1.sql"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.golden);
    auto project = Open(row.dbmsnamecode, row.schema);
    QuerySql sql;
    test::BindRequirementQuery(sql, project);
    auto rel = AddDistinctRelationship(sql, row.filter);
    ASSERT_TRUE(rel);
    long level = row.level;
    bool moreRows = true;
    std::string info;
    ASSERT_EQ((sql.*row.operation)(*rel, level, moreRows, info), eQEENone) << info;
    EXPECT_EQ(level, row.level);
    ASSERT_EQ(project->Statements().size(), 1U);
    const test::RecordedStatement& sent = project->Statements().back();
    EXPECT_TRUE(test::MatchesGolden(WithSession123(sent.sql, rel->SessionID()), row.golden));
    if (sent.failed) {
      // The store has no schema PROJ1: the failure is handled, and the flag
      // keeps its value so that the walk goes on.
      EXPECT_TRUE(moreRows);
    } else {
      EXPECT_FALSE(moreRows) << "no trace, no row";
    }
  }
}

TEST_F(ClosureStatements, LevelWithoutDatabaseAccessSendsNothing) {
  QuerySql sql;
  TypedCompRelExpression rel;
  long level = 1;
  bool moreRows = true;
  std::string info;
  EXPECT_EQ(sql.BuildAccessTransClosureLevel(rel, level, moreRows, info), eQEEDataServicesNothing);
  EXPECT_EQ(info, modMain::Message(14026));
  EXPECT_TRUE(moreRows);
}

}  // namespace
}  // namespace vlq
