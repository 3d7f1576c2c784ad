// The schema probes and the names of the connection, on a real project file:
// the columns rowset answers for Access, and a probe whose statement the
// database can't run says that the object isn't there.
#include <gtest/gtest.h>

#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

class SqlSchemaProbes : public ::testing::Test {
 protected:
  void SetUp() override {
    test::AddWorkedExampleAttributes(store);
    store.AddUser(3, "Ann");
  }
  QuerySql& Bound(const std::string& dbmsnamecode, const std::string& schema = "") {
    project = test::OpenAs(store, dbmsnamecode, schema, manager);
    sql = std::make_unique<QuerySql>();
    sql->BaseProject(project);
    return *sql;
  }

  test::StoreFixture store;
  std::shared_ptr<platform::StoreProjectManager> manager;
  std::shared_ptr<Project> project;
  std::unique_ptr<QuerySql> sql;
};

TEST_F(SqlSchemaProbes, TablesViewsAndColumnsByTheColumnsRowset) {
  QuerySql& q = Bound("1");
  struct Row {
    int kind;
    const char* table;
    const char* view;
    const char* column;
    bool present;
  };
  const Row rows[] = {
      {20, "VLREQUIREMENTS", "", "", true},
      {20, "vlrequirements", "", "", false},  // names compare exactly
      {20, "VLNOSUCHTABLE", "", "", false},
      {20, "", "VLREQUIREMENTS", "", false},  // a table is asked by its table name
      {23, "", "VLATTRVALUESVIEW_12", "", true},
      {23, "VLATTRVALUESVIEW_12", "", "", false},
      {23, "", "VLATTRVALUESSORTVIEW_15", "", false},
      {4, "VLREQUIREMENTS", "", "LONGTAGNUMBER", true},
      {4, "VLREQUIREMENTS", "", "longtagnumber", false},
      {4, "VLREQUIREMENTS", "", "", false},
      {4, "VLATTRVALUESVIEW_15", "", "ITEMRANK", true},
      {5, "VLREQUIREMENTS", "VLREQUIREMENTS", "ID", false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(q.IsInDBSchema_(row.kind, row.table, row.view, row.column), row.present)
        << row.kind << " " << row.table << row.view << " " << row.column;
    EXPECT_EQ(q.IsAccessObjectPresent_(row.kind, row.table, row.view, row.column), row.present);
  }
  EXPECT_TRUE(q.IsDBViewPresent_("VLATTRVALUESVIEW_12"));
  EXPECT_FALSE(q.IsDBViewPresent_("VLATTRVALUESVIEW_99"));
}

TEST_F(SqlSchemaProbes, ViewProbesOfTheOtherDialects) {
  // The second Access form never probes.
  EXPECT_FALSE(Bound("4").IsDBViewPresent_("VLATTRVALUESVIEW_12"));
  // The catalogues of the other databases aren't in the store: their probe
  // statements fail, which answers "not there".
  for (const char* code : {"3", "5", "7"}) {
    EXPECT_FALSE(Bound(code, "PROJ1.").IsDBViewPresent_("VLATTRVALUESVIEW_12")) << code;
  }
  EXPECT_FALSE(Bound("3").IsOracleObjectPresent_(20, "VLREQUIREMENTS", "", ""));
  EXPECT_FALSE(Bound("5").IsSQLServerObjectPresent_(4, "VLREQUIREMENTS", "", "ID"));
  EXPECT_FALSE(Bound("7").IsDB2ObjectPresent_(20, "VLREQUIREMENTS", "", ""));
}

TEST_F(SqlSchemaProbes, NamesOfTheConnection) {
  EXPECT_EQ(Bound("3", "PROJ1.").BaseSchemaName_(), "PROJ1");
  // Without a schema: the login of the connection.
  QuerySql& q = Bound("3");
  auto dataServices = project->GetDataServices(manager->ConnectionKey());
  ASSERT_TRUE(dataServices);
  EXPECT_EQ(q.BaseSchemaName_(), dataServices->ConnectionAttribute("User Name"));
  EXPECT_EQ(QuerySql().BaseSchemaName_(), "");

  EXPECT_EQ(Bound("5").SQLServerDatabaseName_(nullptr), "project");  // the current catalog
  ProjStructSpecifier spec;
  spec.SetDatabaseName("OTHERDB");
  EXPECT_EQ(Bound("5").SQLServerDatabaseName_(&spec), "OTHERDB");
  EXPECT_EQ(Bound("1").SQLServerDatabaseName_(&spec), "");
}

}  // namespace
}  // namespace vlq
