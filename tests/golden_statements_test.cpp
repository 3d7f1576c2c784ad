// The worked statements, byte for byte: the criteria-and-sort query in every
// dialect, the aggregate of a whole-project sort on a multi-select list, and
// the sort view that such a sort creates.
#include <gtest/gtest.h>

#include <cctype>

#include "parser/complex_expression.h"
#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

using test::ReadGolden;

constexpr const char* kCriteriaAndSort =
    "ReqType.Prefix(PR) PR.Criteria(Priority = High AND Desc Like \"abc%\") PR.Sort(Num Order Desc)";

TEST(GoldenStatements, CriteriaAndSortInEveryDialect) {
  test::StoreFixture store;
  test::AddWorkedExampleAttributes(store);
  struct Row {
    const char* dbmsnamecode;
    const char* schema;
    const char* golden;
  };
  const Row rows[] = {
      {"1", "", "criteria_sort_access.sql"},
      {"5", "PROJ1.", "criteria_sort_sqlserver_proj1.sql"},
      // DB2 differs from SQL Server only in date and tag functions, which this
      // query has none of.
      {"7", "PROJ1.", "criteria_sort_sqlserver_proj1.sql"},
      {"3", "PROJ1.", "criteria_sort_oracle_proj1.sql"},
      {"8", "PROJ1.", "criteria_sort_postgresql_proj1.sql"},
  };
  for (const Row& row : rows) {
    std::shared_ptr<platform::StoreProjectManager> manager;
    auto project = test::OpenAs(store, row.dbmsnamecode, row.schema, manager);
    QueryEngine engine;
    std::string info;
    std::shared_ptr<QueryDef> def;
    ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, kCriteriaAndSort, info, def), eQEENone)
        << info;
    EXPECT_TRUE(test::MatchesGolden(info, row.golden)) << "dbmsnamecode " << row.dbmsnamecode;
  }
}

// A whole-project query can't name an attribute of a type, so the builder is
// driven directly: the sort is resolved against the type and the scope then
// widened to the project.
TEST(GoldenStatements, WholeProjectSortOnAMultiSelectListAggregatesAndCreatesItsSortView) {
  test::StoreFixture store;
  test::AddWorkedExampleAttributes(store);
  store.AddRequirement(test::Req(1, 5, 1));
  store.AddRequirement(test::Req(2, 5, 2));
  store.AddRequirement(test::Req(3, 5, 3));
  store.ChooseItem(1, 15, 36);  // Green, rank 3
  store.ChooseItem(2, 15, 34);  // Red, rank 2, and
  store.ChooseItem(2, 15, 35);  // Blue, rank 1: sorts by 1
  auto project = store.Open();

  QuerySql sql;
  sql.BaseProject(project);
  sql.QueryReturnType(eBTRequirements);
  sql.LookupType(eQLTByPrefix);
  sql.ReqQueryScope(eVLSReqType);
  std::string info;
  ASSERT_EQ(sql.ResolveBaseProjStructSpecifier("PR", info), eQEENone) << info;
  auto sort = std::make_shared<ComplexExpression>();
  ASSERT_TRUE(sort->Tokenize("Tags Order Asc", true));
  bool stopOnErr = true;
  ASSERT_EQ(sql.AddTypedSortExpression(stopOnErr, sort, sql.BaseProjStruSpec(), info), eQEENone) << info;
  sql.ReqQueryScope(eVLSProject);

  std::string statement;
  ASSERT_EQ(sql.CurrSQLStatement(statement, info), eQEENone);
  EXPECT_TRUE(test::MatchesGolden(statement, "aggregate_sort_access.sql"));

  // The view was created as the store keeps it, text and all.
  sqlite3_stmt* stmt = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(store.Db(), "SELECT sql FROM sqlite_master WHERE name = 'VLATTRVALUESSORTVIEW_15'",
                               -1, &stmt, nullptr),
            SQLITE_OK);
  ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
  const std::string created = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
  sqlite3_finalize(stmt);
  EXPECT_TRUE(test::MatchesGolden(created, "sort_view_15_access.sql"));

  // And the statement runs: no item sorts first, then by the lowest rank.
  auto rs = sql.ExecuteSQLStatement_(statement);
  ASSERT_TRUE(rs);
  EXPECT_EQ(test::KeysOf(rs->GetRows()), (std::vector<long>{3, 2, 1}));
}

// A trace filter's text as the statement holds it: " (" s1 ") " behind the
// AND of the criteria, and the NOT form of an ALL criterion behind it. The
// texts are those of the closure tests; here they stand in a whole statement,
// which is then run.
class GoldenRelationships : public ::testing::Test {
 protected:
  void SetUp() override {
    store.AddReqType(5, "PR");
    store.AddReqType(7, "SR");
    store.AddAttr(21, 7, "Risk", eADTList);
    store.AddListItem(21, 8, 1, "Hi");
    store.AddListItem(21, 9, 2, "Lo");
    for (long key : {1, 2, 3}) store.AddRequirement(test::Req(key, 5, key));
    for (long key : {11, 12}) store.AddRequirement(test::Req(key, 7, key));
    store.ChooseItem(11, 21, 8);
    store.ChooseItem(12, 21, 9);
    store.AddTrace(1, 11, true);
    store.AddTrace(2, 11, false);
    store.AddTrace(2, 12, true);
    store.AddTrace(3, 12, true);
    project = store.Open();
  }

  std::string Statement(const std::string& sections, Rows& rows) {
    std::string info;
    std::shared_ptr<QueryDef> def;
    const std::string query = "ReqType.Prefix(PR) " + sections;
    EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, query, info, def), eQEENone) << info;
    std::string fetched;
    EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, query, fetched, rows, def), eQEENone) << fetched;
    return info;
  }

  test::StoreFixture store;
  std::shared_ptr<Project> project;
  QueryEngine engine;
};

TEST_F(GoldenRelationships, DirectTraceToASuspectDestination) {
  Rows rows;
  const std::string statement =
      Statement("PR.RelCriteria(TRACED-TO In SR AND STATUS = \"SUSPECT\" AND DIRECT-ONLY = \"TRUE\")", rows);
  const std::string s1 = ReadGolden("closure_direct_access.sql");
  EXPECT_NE(statement.find(" \r\nAND  (" + s1 + ") "), std::string::npos) << statement;
  EXPECT_EQ(test::KeysOf(rows), (std::vector<long>{1, 2, 3}));
}

TEST_F(GoldenRelationships, IndirectTraceReadsTheClosureOfItsSession) {
  Rows rows;
  const std::string statement = Statement("PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\")", rows);
  const std::string marker = "WHERE SESSIONID=";
  const std::size_t at = statement.find(marker);
  ASSERT_NE(at, std::string::npos) << statement;
  std::size_t end = at + marker.size();
  while (end < statement.size() && std::isdigit(static_cast<unsigned char>(statement[end]))) ++end;
  const std::string withSession123 = statement.substr(0, at + marker.size()) + "123" + statement.substr(end);
  const std::string s1 = ReadGolden("closure_indirect_access.sql");
  EXPECT_NE(withSession123.find(" \r\nAND  (" + s1 + ") "), std::string::npos) << statement;
  EXPECT_EQ(test::KeysOf(rows), (std::vector<long>{1, 2, 3}));
}

TEST_F(GoldenRelationships, AllCriterionAddsTheNotFormOfTheDirectSubquery) {
  Rows rows;
  const std::string statement = Statement(
      "PR.RelCriteria(TRACED-TO In SR AND STATUS = \"SUSPECT\" AND DIRECT-ONLY = \"TRUE\") SR.Criteria(Risk All = Hi)",
      rows);
  // The ALL example names attribute 21 and item 8, as this project does.
  const std::string s2 = ReadGolden("closure_not_all_access.sql");
  EXPECT_NE(statement.find("\r\nAND  (" + s2 + ") "), std::string::npos) << statement;
  // 1 traces (suspect) to 11 only, which is Hi; 2 traces to 12 (Lo) as well;
  // 3 traces to 12 alone.
  EXPECT_EQ(test::KeysOf(rows), (std::vector<long>{1}));
}

}  // namespace
}  // namespace vlq
