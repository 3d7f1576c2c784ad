// The statements of results in tree order, byte for byte in every dialect:
// the main statement rewritten as the INSERT of its hits, the INSERT of the
// ancestors, the level statements with their joins, the ORDERTAG statements
// and the final SELECT. Expected texts are files with their CR LF kept.
#include <gtest/gtest.h>

#include <string>

#include "engine/mod_main.h"
#include "hierarchy/hierarchy_statements.h"
#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

using test::ReadGolden;

constexpr long kSession = 123456789;

// A builder in a dialect, bound to no project: enough for statement text.
void SetDialect(QuerySql& sql, long lDatabaseType, const std::string& sSchema) {
  sql.Reset();
  sql.DatabaseType(lDatabaseType);
  sql.SchemaName(sSchema);
  sql.QueryReturnType(eBTRequirements);
  sql.ReqQueryScope(eVLSReqType);
}

// Every dialect with the name its expected files carry; Access2 takes the
// Access statements.
struct Dialect {
  long db;
  const char* schema;
  std::string name;
};
const Dialect kDialects[] = {{1, "", "access"},
                             {4, "", "access"},
                             {3, "PROJ1.", "oracle_proj1"},
                             {5, "PROJ1.", "sqlserver_proj1"},
                             {7, "PROJ1.", "db2_proj1"},
                             {8, "PROJ1.", "postgresql_proj1"}};

void SetAllJoins(QuerySql& sql) {
  sql.JoinDiscussions = true;
  sql.JoinPackageElements = true;
  sql.JoinPackages = true;
  sql.JoinUsers = true;
  sql.JoinDocuments = true;
  sql.AttrViewKeys().Add("12");
  sql.AttrViewKeys().Add("13");
  sql.SortViewKeys().Add("15");
}

TEST(HierarchyStatements, MainStatementBecomesTheInsertOfItsHits) {
  // The ORDER BY goes and a requirement stands once. An aggregated statement
  // aggregates all three columns and keeps its GROUP BY. Access2 takes the
  // Access statements.
  struct Row {
    long db;
    const char* schema;
    const char* input;
    const char* golden;
  };
  const Row rows[] = {
      {1, "", "base_type_access.sql", "hierarchy_extend_access.sql"},
      {4, "", "base_type_access.sql", "hierarchy_extend_access.sql"},
      {1, "", "aggregate_sort_access.sql", "hierarchy_extend_aggregate_access.sql"},
      {3, "PROJ1.", "criteria_sort_oracle_proj1.sql", "hierarchy_extend_oracle_proj1.sql"},
      {5, "PROJ1.", "criteria_sort_sqlserver_proj1.sql", "hierarchy_extend_sqlserver_proj1.sql"},
      {7, "PROJ1.", "criteria_sort_sqlserver_proj1.sql", "hierarchy_extend_db2_proj1.sql"},
      {8, "PROJ1.", "criteria_sort_postgresql_proj1.sql", "hierarchy_extend_postgresql_proj1.sql"},
  };
  for (const Row& row : rows) {
    QuerySql sql;
    SetDialect(sql, row.db, row.schema);
    std::string statement = ReadGolden(row.input);
    ASSERT_FALSE(statement.empty()) << row.input;
    EXPECT_EQ(sql.ExtendHierarchySQL_(statement, kSession), eQEENone);
    EXPECT_TRUE(test::MatchesGolden(statement, row.golden)) << row.db << " " << row.input;
  }
}

TEST(HierarchyStatements, AncestorsOfALevelInEveryDialect) {
  for (const Dialect& d : kDialects) {
    QuerySql sql;
    SetDialect(sql, d.db, d.schema);
    EXPECT_TRUE(
        test::MatchesGolden(hierarchy::AncestorsSQL(sql, kSession, 3, "1"), "hierarchy_ancestors_" + d.name + ".sql"))
        << d.db;
  }
}

TEST(HierarchyStatements, JoinsOfTheLevelStatementWithEveryFlag) {
  // Every table beyond the base join is an outer join; DB2 has no empty line
  // in front of the package joins.
  QuerySql sql;
  SetDialect(sql, 1, "PROJ1.");  // Access writes bare names whatever the schema
  SetAllJoins(sql);
  EXPECT_TRUE(test::MatchesGolden(sql.GenerateAccessFROMClauseForHierarchy_(), "hierarchy_from_access_all.sql"));
  SetDialect(sql, 7, "PROJ1.");
  SetAllJoins(sql);
  EXPECT_TRUE(test::MatchesGolden(sql.GenerateDB2FROMClauseForHierarchy_(), "hierarchy_from_db2_all_proj1.sql"));
  SetDialect(sql, 3, "PROJ1.");
  SetAllJoins(sql);
  EXPECT_TRUE(test::MatchesGolden(sql.GenerateOracleFROMClauseForHierarchy_(), "hierarchy_from_oracle_all_proj1.sql"));
  EXPECT_TRUE(
      test::MatchesGolden(sql.GenerateOracleWHEREClauseForHierarchy_(), "hierarchy_where_oracle_all_proj1.sql"));
  // PostgreSQL takes the nested joins of Access, with the schema.
  SetDialect(sql, 8, "PROJ1.");
  SetAllJoins(sql);
  EXPECT_TRUE(
      test::MatchesGolden(sql.GenerateAccessFROMClauseForHierarchy_(), "hierarchy_from_postgresql_all_proj1.sql"));
}

TEST(HierarchyStatements, LevelStatementsInEveryDialect) {
  struct Row {
    long db;
    const char* schema;
    long level;
    bool discussionsAndUsers;  // aggregated, with GROUP BY
    bool attrView12;
    const char* golden;
  };
  const Row rows[] = {
      {1, "", 2, false, false, "hierarchy_level_access.sql"},
      {4, "", 2, false, false, "hierarchy_level_access.sql"},
      {5, "PROJ1.", 1, true, false, "hierarchy_level_sqlserver_proj1.sql"},
      {3, "PROJ1.", 3, false, true, "hierarchy_level_oracle_proj1.sql"},
      {7, "PROJ1.", 2, false, false, "hierarchy_level_db2_proj1.sql"},
      {8, "PROJ1.", 2, true, true, "hierarchy_level_postgresql_proj1.sql"},
  };
  for (const Row& row : rows) {
    QuerySql sql;
    SetDialect(sql, row.db, row.schema);
    if (row.discussionsAndUsers) sql.JoinDiscussions = sql.JoinUsers = true;
    if (row.attrView12) sql.AttrViewKeys().Add("12");
    std::string orderBy, groupBy, info;
    sql.SortOrderToSQL(orderBy, groupBy, info);
    const std::string head = hierarchy::LevelHeadSQL(sql, kSession);
    EXPECT_TRUE(test::MatchesGolden(hierarchy::LevelSQL(sql, head, kSession, row.level, orderBy, groupBy), row.golden))
        << row.db;
  }
}

TEST(HierarchyStatements, OrderTagStatementsOfTheRootsAndOfADeeperLevel) {
  for (const Dialect& d : kDialects) {
    QuerySql sql;
    SetDialect(sql, d.db, d.schema);
    for (long level : {1L, 3L}) {
      const std::string golden = "hierarchy_final_order_" + d.name + "_" + std::to_string(level) + ".sql";
      EXPECT_TRUE(test::MatchesGolden(hierarchy::FinalOrderSQL(sql, kSession, level), golden)) << d.db << " " << golden;
    }
  }
}

// A query of one type: every row of the session is of that type, so the
// parent tests and the ORDERTAG statements leave out the requirements' types.
TEST(HierarchyStatements, StatementsOfAQueryOfOneTypeTestNoTypes) {
  for (const Dialect& d : kDialects) {
    QuerySql sql;
    SetDialect(sql, d.db, d.schema);
    sql.BaseProjStruSpec().SetStructKey("5");
    // The ancestors keep the child's type (a constant would mislead a
    // planner): the same text as without a type.
    EXPECT_TRUE(
        test::MatchesGolden(hierarchy::AncestorsSQL(sql, kSession, 3, "1"), "hierarchy_ancestors_" + d.name + ".sql"))
        << d.db;
    // Sorted by tag alone, a level reads the work table and nothing else.
    std::string orderBy, groupBy, info;
    sql.SortOrderToSQL(orderBy, groupBy, info);
    ASSERT_TRUE(hierarchy::LevelsReadWorkTableOnly(sql, orderBy)) << d.db;
    const std::string head = hierarchy::LevelHeadSQL(sql, kSession, true);
    EXPECT_TRUE(test::MatchesGolden(hierarchy::LevelSQL(sql, head, kSession, 2, orderBy, groupBy, true),
                                    "hierarchy_typed_level_" + d.name + ".sql"))
        << d.db;
    for (long level : {1L, 3L}) {
      const std::string golden = "hierarchy_typed_final_order_" + d.name + "_" + std::to_string(level) + ".sql";
      EXPECT_TRUE(test::MatchesGolden(hierarchy::FinalOrderSQL(sql, kSession, level), golden)) << d.db << " " << golden;
    }
  }
}

TEST(HierarchyStatements, FinalStatementWithLevelCriterionAndCount) {
  QuerySql sql;
  SetDialect(sql, 1, "");
  EXPECT_TRUE(test::MatchesGolden(sql.FinalHierarchySQL_(kSession), "hierarchy_final_access.sql"));
  sql.HierLevelTerms = {"((LEN(VLHIERARCHYFINALORDERTEMP.LONGTAGNUMBER) / 10) - 1) =  0"};
  EXPECT_TRUE(test::MatchesGolden(sql.FinalHierarchySQL_(kSession), "hierarchy_final_level_access.sql"));

  SetDialect(sql, 5, "PROJ1.");
  sql.CountOnly(true);
  sql.HierLevelTerms = {"((DATALENGTH(PROJ1.VLHIERARCHYFINALORDERTEMP.LONGTAGNUMBER) / 10) - 1) <=  1"};
  EXPECT_TRUE(test::MatchesGolden(sql.FinalHierarchySQL_(kSession), "hierarchy_final_count_sqlserver_proj1.sql"));
}

TEST(HierarchyStatements, DeletingASessionNeedsDatabaseAccess) {
  QuerySql sql;
  std::string info;
  EXPECT_EQ(sql.DumpHierarchyRecords(kSession, info), eQEEDataServicesNothing);
  EXPECT_EQ(info, modMain::Message(14052));
}

}  // namespace
}  // namespace vlq
