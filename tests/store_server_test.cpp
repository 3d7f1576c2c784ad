// The project store on a PostgreSQL server: projects in schemas, the schema
// completed on opening, DataServices (statement kinds, one statement per call,
// failures and their numbers, types in GetRows, case-blind text as in the file
// store), references between files and server projects.

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "model/date_serial.h"
#include "model/text_util.h"
#include "pg_fixture.h"
#include "platform/pg_connection.h"
#include "platform/project_copy.h"
#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using platform::PgFailureNumber;
using platform::StoreProjectManager;
using test::PgSchema;

// The first column of a statement's rows, as text.
std::vector<std::string> FirstColumn(DataServices& data, const std::string& sql) {
  long affected = 0;
  const Rows rows = data.Execute(sql, affected)->GetRows();
  std::vector<std::string> out;
  if (!rows.empty()) {
    for (const Variant& cell : rows[0]) out.push_back(cell.IsNull() ? "<null>" : cell.ToText());
  }
  return out;
}

class ServerProject : public ::testing::Test {
 protected:
  void SetUp() override {
    VLQ_REQUIRE_PG();
    schema_ = std::make_unique<PgSchema>();
    platform::CreateProject(schema_->Uri(), test::ProjectInfo(7, "SRV", "Server", "{S-7}"));
    manager_ = StoreProjectManager::Create();
    project_ = manager_->Open(schema_->Uri());
    data_ = project_->GetDataServices(manager_->ConnectionKey());
  }
  // Expects Execute to fail with that number, the source of Execute, and a
  // description that tells the state and the statement.
  void ExpectFailure(const std::string& sql, long number, const std::string& state) {
    long affected = 0;
    try {
      data_->Execute(sql, affected);
      ADD_FAILURE() << "ran: " << sql;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), number) << sql << "\n" << f.Description();
      EXPECT_EQ(f.Source(), "DataServices.Execute");
      EXPECT_NE(f.Description().find(state), std::string::npos) << f.Description();
      EXPECT_NE(f.Description().find(sql), std::string::npos) << f.Description();
    }
  }

  std::unique_ptr<PgSchema> schema_;
  std::shared_ptr<StoreProjectManager> manager_;
  std::shared_ptr<Project> project_;
  std::shared_ptr<DataServices> data_;
};

TEST_F(ServerProject, OpensWithTheConnectionPropertiesOfItsSchema) {
  EXPECT_EQ(project_->Key(), 7);
  EXPECT_EQ(project_->Prefix(), "SRV");
  EXPECT_EQ(project_->GUID(), "{S-7}");
  EXPECT_EQ(data_->ConnectionProperty("dbmsnamecode"), "8");
  EXPECT_EQ(data_->ConnectionProperty("Schema"), schema_->Name() + ".");
  EXPECT_EQ(data_->ConnectionProperty("database"), "vlq");
  EXPECT_EQ(data_->ConnectionProperty("server"), schema_->Db().Host());
  EXPECT_EQ(data_->ConnectionAttribute("User Name"), "vlq");
  EXPECT_EQ(data_->ConnectionAttribute("Current Catalog"), "vlq");
  EXPECT_THROW(data_->ConnectionProperty("password"), Failure);

  // Another spelling of the URI is the same project.
  std::string upper = schema_->Uri();
  upper.replace(upper.find(schema_->Name()), schema_->Name().size(), text::Upper(schema_->Name()));
  EXPECT_EQ(manager_->Open(upper), project_);

  // The project's rows and the manager's overrides replace the store's values.
  schema_->Exec("INSERT INTO " + schema_->Name() + ".VLCONNECTIONPROPERTIES VALUES ('SCHEMA', 'PROJ1.')");
  auto other = StoreProjectManager::Create();
  other->OverrideConnectionProperty("dbmsnamecode", "5");
  auto data = other->Open(schema_->Uri())->GetDataServices("");
  EXPECT_EQ(data->ConnectionProperty("schema"), "PROJ1.");
  EXPECT_EQ(data->ConnectionProperty("dbmsnamecode"), "5");

  try {
    platform::CreateProject(schema_->Uri(), test::ProjectInfo(8, "TWO"));
    ADD_FAILURE() << "a second project in one schema";
  } catch (const Failure& f) {
    EXPECT_EQ(f.Number(), platform::kFailureObjectExists);
  }
}

TEST(ServerStore, WhatIsNoProjectFailsAndIsLeftAlone) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  auto manager = StoreProjectManager::Create();
  struct Case {
    std::string location;
    long number;
  };
  const std::vector<Case> cases{
      {schema.Uri(), platform::kFailureItemNotFound},  // no such schema
      {PgSchema::UriOf("x") + "-y", platform::kFailureBadLocation},
      {"postgresql:///vlq?host=/nonexistent&schema=s", PgFailureNumber(platform::kPgCantConnect)},
  };
  for (const Case& c : cases) {
    try {
      manager->Open(c.location);
      ADD_FAILURE() << c.location;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), c.number) << c.location << ": " << f.Description();
    }
  }
  EXPECT_EQ(schema.Exec("SELECT 1 FROM pg_namespace WHERE nspname = $1", {schema.Name()}).RowCount(), 0);
  EXPECT_TRUE(manager->OpenProjects().empty());
}

TEST(ServerStore, OpeningCompletesASchemaMadeWithPlainSqlAndChangesNothingThere) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  const std::string s = schema.Name();
  for (const std::string& sql : std::vector<std::string>{
           "CREATE SCHEMA " + s,
           "CREATE TABLE " + s + ".VLPROJECT (ID integer, GUID text, PREFIX text, NAME text)",
           "INSERT INTO " + s + ".VLPROJECT VALUES (4, '{P-4}', 'PLN', 'Plain')",
           "CREATE TABLE " + s + ".VLATTRIBUTES (ID integer, REQUIREMENTTYPEID integer, LABEL text, GUID text, " +
               "DATATYPE integer, EXTRA text)",
           "INSERT INTO " + s + ".VLATTRIBUTES VALUES (12, 5, 'Priority', '{A}', 0, 'kept'), " +
               "(13, 5, 'Cost', '{B}', 3, 'kept')",
           "CREATE TABLE " + s + ".VLUSERDEFINEDFIELDVALUES (REQUIREMENTID integer, FIELDID integer)",
       }) {
    schema.Exec(sql);
  }
  const auto objects = [&] {
    return schema
        .Exec(
            "SELECT count(*) FROM pg_class AS c JOIN pg_namespace AS n ON n.oid = c.relnamespace "
            "WHERE n.nspname = $1",
            {s})
        .Whole(0, 0);
  };
  auto project = StoreProjectManager::Create()->Open(schema.Uri());
  EXPECT_EQ(project->Prefix(), "PLN");
  const auto before = objects();
  StoreProjectManager::Create()->Open(schema.Uri());
  EXPECT_EQ(objects(), before);

  const auto column = [&](const std::string& table, const std::string& name) {
    platform::PgResult type = schema.Exec(
        "SELECT data_type FROM information_schema.columns WHERE table_schema = $1 AND table_name = $2 "
        "AND column_name = $3",
        {s, table, name});
    return type.RowCount() ? type.Text(0, 0) : std::string("missing");
  };
  EXPECT_EQ(column("vlattributes", "id"), "integer");  // as it was
  EXPECT_EQ(column("vlattributes", "extra"), "text");
  EXPECT_EQ(column("vluserdefinedfieldvalues", "fieldvalue"), "USER-DEFINED");  // added, case-blind
  EXPECT_EQ(column("vlrequirements", "versiondatetime"), "timestamp without time zone");
  EXPECT_EQ(column("vlattrvaluesview_12", "itemrank"), "bigint");
  EXPECT_EQ(column("vlattrvaluesview_13", "fieldvalue"), "numeric");
  EXPECT_EQ(schema.Exec("SELECT EXTRA FROM " + s + ".VLATTRIBUTES WHERE ID = 12").Text(0, 0), "kept");
}

TEST_F(ServerProject, ExecuteRunsEveryKindOfStatementToItsEnd) {
  struct Step {
    std::string sql;
    long affected;
    std::vector<std::string> rows;
  };
  // Each statement sees what the ones before it wrote.
  const std::vector<Step> steps{
      {"INSERT INTO VLGROUPS (ID, NAME) VALUES (1, 'a')", 1, {}},
      {"INSERT INTO VLGROUPS (ID, NAME) SELECT ID + 10, NAME FROM VLGROUPS", 1, {}},
      {"UPDATE VLGROUPS SET NAME = 'b' WHERE ID > 0", 2, {}},
      {"CREATE TABLE VLGROUPCOPY AS SELECT * FROM VLGROUPS", 0, {}},
      {"CREATE VIEW VLGROUPVIEW AS SELECT ID FROM VLGROUPCOPY", 0, {}},
      {"SELECT ID FROM VLGROUPVIEW ORDER BY ID", 0, {"1", "11"}},
      {"DELETE FROM VLGROUPS WHERE ID = 11", 1, {}},
      {"DROP TABLE VLGROUPCOPY CASCADE", 0, {}},
      {"SELECT COUNT(*) FROM VLGROUPS", 0, {"1"}},
      {"SELECT ID FROM VLGROUPS WHERE ID > 5", 0, {}},
      // Text behind the statement: a closing ";" and a comment are no statement.
      {"DELETE FROM VLGROUPS WHERE ID = 99;", 0, {}},
      {"SELECT 2 -- the answer\n", 0, {"2"}},
  };
  for (const Step& step : steps) {
    long affected = -1;
    const Rows rows = data_->Execute(step.sql, affected)->GetRows();
    EXPECT_EQ(affected, step.affected) << step.sql;
    std::vector<std::string> first;
    if (!rows.empty()) {
      for (const Variant& cell : rows[0]) first.push_back(cell.ToText());
    }
    EXPECT_EQ(first, step.rows) << step.sql;
  }
}

TEST_F(ServerProject, ASecondStatementIsRefusedAndNothingRuns) {
  long affected = 0;
  data_->Execute("INSERT INTO VLGROUPS (ID, NAME) VALUES (1, 'a')", affected);
  for (const std::string& sql : {std::string("SELECT 1; DELETE FROM VLGROUPS"),
                                 std::string("DELETE FROM VLGROUPS; SELECT 1"), std::string(" ; "), std::string()}) {
    EXPECT_THROW(data_->Execute(sql, affected), Failure) << sql;
  }
  EXPECT_EQ(FirstColumn(*data_, "SELECT COUNT(*) FROM VLGROUPS"), std::vector<std::string>{"1"});
  try {
    data_->Execute("SELECT 1; SELECT 2", affected);
  } catch (const Failure& f) {
    EXPECT_NE(f.Description().find("Only one statement"), std::string::npos) << f.Description();
  }
}

TEST_F(ServerProject, FailuresCarryTheNumbersTheEngineReactsTo) {
  long affected = 0;
  data_->Execute("CREATE VIEW VLSORTPROBE AS SELECT 1 AS ONE", affected);
  ExpectFailure("CREATE VIEW VLSORTPROBE AS SELECT 1 AS ONE", platform::kFailureObjectExists, "42P07");
  ExpectFailure("CREATE TABLE VLGROUPS (ID bigint)", platform::kFailureObjectExists, "42P07");
  ExpectFailure("SELECT * FROM VLNOSUCHTABLE", PgFailureNumber("42P01"), "42P01");
  ExpectFailure("SELEC 1", PgFailureNumber("42601"), "42601");
  ExpectFailure("INSERT INTO VLPROJECT (ID) VALUES (7)", PgFailureNumber("23505"), "23505");
  EXPECT_NE(PgFailureNumber("42P01"), PgFailureNumber("42601"));

  // A missing right, and a write where only reading is allowed.
  const std::string role = schema_->Name() + "_reader";
  schema_->Exec("CREATE ROLE " + role);
  data_->Execute("SET ROLE " + role, affected);
  ExpectFailure("INSERT INTO " + schema_->Name() + ".VLGROUPS (ID, NAME) VALUES (5, 'x')",
                platform::kFailureNoPermission, "42501");
  data_->Execute("RESET ROLE", affected);
  schema_->Exec("DROP ROLE " + role);
  data_->Execute("SET default_transaction_read_only = on", affected);
  ExpectFailure("INSERT INTO VLGROUPS (ID, NAME) VALUES (5, 'x')", platform::kFailureNoPermission, "25006");
  data_->Execute("SET default_transaction_read_only = off", affected);
}

// Another session creates a view and keeps its transaction open; this one,
// creating the same view, waits for it and then finds the name taken. For the
// engine that is a view that exists, as if it had come first.
TEST_F(ServerProject, TwoSessionsCreatingOneViewAtOnceBothFindItThere) {
  auto other = StoreProjectManager::Create();
  auto otherData = other->Open(schema_->Uri())->GetDataServices("");
  const std::string backend = FirstColumn(*data_, "SELECT pg_backend_pid()").at(0);
  const std::string view = "CREATE VIEW VLATTRVALUESSORTVIEW_1 AS SELECT 1 AS ONE";
  long affected = 0;
  otherData->Execute("BEGIN", affected);
  otherData->Execute(view, affected);
  long number = 0;
  std::thread creator([&] {
    long rows = 0;
    try {
      data_->Execute(view, rows);
    } catch (const Failure& f) {
      number = f.Number();
    }
  });
  for (int i = 0; i < 3000 && schema_->Exec("SELECT 1 FROM pg_stat_activity WHERE pid = $1 AND wait_event_type = "
                                            "'Lock'",
                                            {backend})
                                      .RowCount() == 0;
       ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  otherData->Execute("COMMIT", affected);
  creator.join();
  EXPECT_EQ(number, platform::kFailureObjectExists);
}

TEST_F(ServerProject, GetRowsTellsNullsAndTypesApart) {
  long affected = 0;
  const Rows rows =
      data_
          ->Execute(
              "SELECT NULL, CAST(7 AS bigint), CAST(8 AS integer), CAST(2.5 AS double precision), CAST(3 AS numeric), "
              "CAST(3.25 AS numeric), TIMESTAMP '2003-04-05 13:07:09', DATE '2003-04-05', TIME '06:00:00', 'Text', "
              "true",
              affected)
          ->GetRows();
  ASSERT_EQ(rows.size(), 11u);
  for (const auto& column : rows) ASSERT_EQ(column.size(), 1u);
  EXPECT_TRUE(rows[0][0].IsNull());
  EXPECT_EQ(rows[1][0], Variant(7));
  EXPECT_EQ(rows[2][0], Variant(8));
  EXPECT_EQ(rows[3][0], Variant(2.5));
  EXPECT_EQ(rows[4][0], Variant(3));
  EXPECT_EQ(rows[5][0], Variant(3.25));
  EXPECT_EQ(rows[6][0], Variant(*date_serial::FromCivil({2003, 4, 5, 13, 7, 9})));
  EXPECT_EQ(rows[7][0], Variant(*date_serial::FromCivil({2003, 4, 5, 0, 0, 0})));
  EXPECT_EQ(rows[8][0], Variant(DateSerial{0.25}));
  EXPECT_EQ(rows[9][0], Variant("Text"));
  EXPECT_EQ(rows[10][0], Variant(true));

  // Column-major, a NULL among values, and no rows at all.
  const Rows two =
      data_->Execute("SELECT ID, NAME FROM (VALUES (1, 'a'), (2, NULL)) AS T (ID, NAME)", affected)->GetRows();
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[0], (std::vector<Variant>{Variant(1), Variant(2)}));
  EXPECT_EQ(two[1], (std::vector<Variant>{Variant("a"), Variant::Null()}));
  auto none = data_->Execute("SELECT ID, NAME FROM VLGROUPS", affected);
  EXPECT_TRUE(none->AtBOF());
  EXPECT_TRUE(none->AtEOF());
  EXPECT_EQ(none->GetRows(), (Rows{{}, {}}));
}

TEST_F(ServerProject, OpenSchemaListsTheColumnsOfItsOwnSchemaAsTheEngineWritesThem) {
  PgSchema other;
  platform::CreateProject(other.Uri(), test::ProjectInfo(8, "OTH"));
  other.Exec("CREATE TABLE " + other.Name() + ".VLONLYTHERE (ID bigint)");
  schema_->Exec("CREATE VIEW " + schema_->Name() + ".\"MixedCase\" AS SELECT 1 AS \"Col\"");
  const std::vector<SchemaColumn> columns = data_->OpenSchema(4);
  const auto has = [&](const std::string& table, const std::string& column) {
    for (const SchemaColumn& c : columns) {
      if (c.TABLE_NAME == table && c.COLUMN_NAME == column) return true;
    }
    return false;
  };
  EXPECT_TRUE(has("VLREQUIREMENTS", "LONGTAGNUMBER"));
  EXPECT_TRUE(has("VLHIERARCHYORDEREDLEVELSTEMP", "DATAORDER"));
  EXPECT_TRUE(has("MixedCase", "Col"));
  EXPECT_FALSE(has("VLONLYTHERE", "ID"));
  EXPECT_THROW(data_->OpenSchema(20), Failure);
}

// The same data in a file and, copied, on the server: every statement of a
// generated set gives the same answer on both. Names and free values are
// drawn from alphabets that tell case-blind from case-sensitive text, ASCII
// from other letters, and numbers from text.
TEST(ServerStore, TextAndValuesCompareAsInTheFileStore) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  test::StoreFixture file;
  file.AddReqType(1, "PR");
  file.AddAttr(10, 1, "Cost", eADTRealNumber);
  file.AddAttr(11, 1, "Source", eADTText);
  const std::vector<std::string> letters{"a", "A", "b", "B", "_", "%", " ", "\xC3\xA4", "\xC3\x84", "1"};
  std::mt19937 rng(13);
  const auto word = [&] {
    std::string w;
    for (int n = 1 + static_cast<int>(rng() % 3); n > 0; --n) w += letters[rng() % letters.size()];
    return w;
  };
  for (long id = 1; id <= 120; ++id) {
    test::Requirement r(id, 1, test::LongTag({id}));
    r.Name = word();
    file.AddRequirement(r);
    if (rng() % 4)
      file.SetValue(id, 10, rng() % 2 ? Variant(static_cast<long>(rng() % 7)) : Variant((rng() % 70) / 10.0));
    if (rng() % 4) file.SetValue(id, 11, Variant(word()));
  }
  platform::CopyProject(file.File().string(), schema.Uri());
  auto fileData = file.Open()->GetDataServices("");
  auto manager = StoreProjectManager::Create();
  auto serverData = manager->Open(schema.Uri())->GetDataServices("");

  std::vector<std::string> statements{
      "SELECT ID FROM VLREQUIREMENTS ORDER BY REQUIREMENTNAME, ID",
      "SELECT COUNT(DISTINCT REQUIREMENTNAME) FROM VLREQUIREMENTS",
      "SELECT REQUIREMENTID FROM VLATTRVALUESVIEW_10 ORDER BY FIELDVALUE, REQUIREMENTID",
      "SELECT REQUIREMENTID FROM VLATTRVALUESVIEW_11 ORDER BY FIELDVALUE, REQUIREMENTID",
  };
  for (int i = 0; i < 40; ++i) {
    const std::string literal = word();
    for (const char* op : {" = '", " < '", " >= '", " LIKE '", " <> '"}) {
      statements.push_back("SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTNAME" + std::string(op) + literal +
                           "' ORDER BY ID");
      statements.push_back("SELECT REQUIREMENTID FROM VLATTRVALUESVIEW_11 WHERE FIELDVALUE" + std::string(op) +
                           literal + "' ORDER BY REQUIREMENTID");
    }
    statements.push_back("SELECT REQUIREMENTID FROM VLATTRVALUESVIEW_10 WHERE FIELDVALUE > " +
                         std::to_string(rng() % 70 / 10.0).substr(0, 3) + " ORDER BY REQUIREMENTID");
    statements.push_back("SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTNAME IN ('" + word() + "', '" + word() +
                         "') ORDER BY ID");
  }
  for (const std::string& sql : statements) {
    EXPECT_EQ(FirstColumn(*serverData, sql), FirstColumn(*fileData, sql)) << sql;
  }
}

TEST(ServerStore, ReferencesLeadFromFilesToServerProjectsAndBack) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  const std::string ext = schema.Name() + "_ext";
  platform::CreateProject(schema.Uri(), test::ProjectInfo(1, "MAIN"));
  platform::CreateProject(PgSchema::UriOf(ext), test::ProjectInfo(2, "SEXT"));
  test::StoreFixture file(test::ProjectInfo(3, "FILE"), "File.vlp");
  // From the file to the main project by the server's URI; from there to
  // another schema of the same database and back to the file.
  file.AddExtProject(1, "MAIN", "{M}", platform::ParseServerLocation(schema.Uri()).ConnectionUri, schema.Name());
  schema.Exec("INSERT INTO " + schema.Name() + ".VLEXTERNALPROJECTS VALUES (1, 'SEXT', '{E}', '', $1, 0), " +
                  "(2, 'FILE', '{F}', $2, 'File.vlp', 0)",
              {ext, file.Dir().string()});

  auto fileProject = file.Open();
  auto main = fileProject->GetExtProjects()->Item("MAIN", eItemByPrefix);
  EXPECT_EQ(main->FileName(), schema.Name());
  EXPECT_FALSE(main->IsOpen());
  auto server = main->Open();
  ASSERT_NE(server, nullptr);
  EXPECT_EQ(server->Prefix(), "MAIN");
  EXPECT_EQ(main->GetProject(), server);

  auto refs = server->GetExtProjects();
  auto sext = refs->Item("SEXT", eItemByPrefix);
  EXPECT_EQ(sext->FileName(), ext);
  EXPECT_EQ(sext->Open()->Key(), 2);
  // The way back ends at the file that is open already.
  EXPECT_EQ(refs->Item("FILE", eItemByPrefix)->Open(), fileProject);
  EXPECT_EQ(file.Manager()->OpenProjects().size(), 3u);
}

}  // namespace
}  // namespace vlq
