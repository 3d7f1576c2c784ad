// The schema of a project file: what CreateProjectFile writes, what
// EnsureSchema adds to a file made elsewhere, and the attribute views.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using test::LongTag;
using test::StoreFixture;
using test::TempDir;

// Rows of a query on a plain connection, every cell as text ("NULL" for NULL).
std::vector<std::vector<std::string>> Query(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sqlite3_errmsg(db) << " in " << sql;
    return {};
  }
  std::vector<std::vector<std::string>> rows;
  while (sqlite3_step(stmt) == SQLITE_ROW) {
    std::vector<std::string> row;
    for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, c));
      row.push_back(text ? text : "NULL");
    }
    rows.push_back(row);
  }
  sqlite3_finalize(stmt);
  return rows;
}

std::set<std::string> Columns(sqlite3* db, const std::string& table) {
  std::set<std::string> out;
  for (const auto& row : Query(db, "SELECT name FROM pragma_table_info('" + table + "')")) out.insert(row[0]);
  return out;
}

TEST(StoreSchema, NewFileHoldsEveryTableAndColumnTheEngineAndTheServiceRead) {
  // The names as the engine's statements and the project service use them.
  const std::map<std::string, std::vector<std::string>> expected = {
      {"VLREQUIREMENTS",
       {"ID", "REQUIREMENTTYPEID", "REQUIREMENTNAME", "REQUIREMENTTEXT", "REQUIREMENTPREFIX", "LONGTAGNUMBER",
        "VERSIONNUMBER", "VERSIONDATETIME", "VERSIONREASON", "VERSIONUSERID", "SUSPECTDATETIME",
        "BOOKMARKDOCUMENTID", "BOOKMARKNAME", "DOCUMENTPOSITION", "FLAGS"}},
      {"VLPROJECTREQUIREMENTS", {"PROJECTID", "REQUIREMENTID"}},
      {"VLTORELATIONSHIPS", {"REQUIREMENTID", "TOID", "EXTERNALPROJECTID", "EXTERNALPROJECTTOID", "TYPE", "STATE"}},
      {"VLUSERS", {"ID", "FULLNAME", "GUID", "GROUPID", "PRIVILEGED"}},
      {"VLGROUPS", {"ID", "NAME"}},
      {"VLDOCUMENTS", {"ID", "NAME", "GUID"}},
      {"VLPACKAGES", {"ID", "NAME"}},
      {"VLPACKAGEELEMENTS", {"PACKAGEID", "REQUIREMENTID"}},
      {"VLUSERDEFINEDLISTVALUES", {"REQUIREMENTID", "FIELDID", "LISTITEMID"}},
      {"VLUSERDEFINEDLISTITEMS", {"FIELDID", "ITEMID", "ITEMRANK", "ITEMTEXT", "GUID"}},
      {"VLUSERDEFINEDFIELDVALUES", {"REQUIREMENTID", "FIELDID", "FIELDVALUE"}},
      {"VLDISCUSSIONS",
       {"ID", "ROOTID", "PARENTID", "SUBJECT", "AUTHORID", "PRIORITY", "STATUS", "SUBMITDATETIME", "RESTRICTED"}},
      {"VLPROJECTDISCUSSIONS", {"PROJECTID", "DISCUSSIONID"}},
      {"VLDISCUSSIONREQUIREMENTS", {"DISCUSSIONID", "REQUIREMENTID"}},
      {"VLDISCUSSIONUSERS", {"DISCUSSIONID", "USERID"}},
      {"VLDISCUSSIONGROUPS", {"DISCUSSIONID", "GROUPID"}},
      {"VLDISCUSSIONSREAD", {"DISCUSSIONID", "USERID"}},
      {"VLTRACETABLETEMP", {"ROOTID", "PROJECTID", "ID", "LVL", "SESSIONID", "STATUS"}},
      {"VLTRACETABLEINDIR", {"ID", "SESSIONID"}},
      {"VLHIERARCHYTABLETEMP", {"SESSIONID", "REQUIREMENTKEY", "LONGTAGNUMBER"}},
      {"VLHIERARCHYORDEREDLEVELSTEMP", {"SESSIONID", "REQUIREMENTID", "LONGTAGNUMBER", "DATAORDER"}},
      {"VLHIERARCHYFINALORDERTEMP", {"SESSIONID", "REQUIREMENTID", "LONGTAGNUMBER", "ORDERTAG"}},
      {"VLPROJECT", {"ID", "GUID", "PREFIX", "NAME"}},
      {"VLREQUIREMENTTYPES", {"ID", "PREFIX", "NAME", "GUID"}},
      {"VLATTRIBUTES", {"ID", "REQUIREMENTTYPEID", "LABEL", "GUID", "DATATYPE"}},
      {"VLEXTERNALPROJECTS", {"RELKEY", "PREFIX", "GUID", "PATH", "FILENAME", "ISDELETED"}},
      {"VLCONNECTIONPROPERTIES", {"NAME", "VALUE"}},
  };
  StoreFixture store(test::ProjectInfo(7, "ABC", "Alpha", "{G-7}"));
  for (const auto& [table, columns] : expected) {
    const std::set<std::string> have = Columns(store.Db(), table);
    for (const std::string& column : columns) EXPECT_TRUE(have.count(column)) << table << "." << column;
  }
  EXPECT_EQ(Query(store.Db(), "SELECT ID, GUID, PREFIX, NAME FROM VLPROJECT"),
            (std::vector<std::vector<std::string>>{{"7", "{G-7}", "ABC", "Alpha"}}));
}

TEST(StoreSchema, NewFileGetsARandomGuidAndRefusesAnExistingFile) {
  TempDir dir;
  platform::CreateProjectFile(dir.Path() / "a.vlp", {});
  platform::CreateProjectFile(dir.Path() / "b.vlp", {});
  auto guidOf = [&](const char* name) {
    sqlite3* db = nullptr;
    sqlite3_open((dir.Path() / name).string().c_str(), &db);
    auto rows = Query(db, "SELECT GUID FROM VLPROJECT");
    sqlite3_close(db);
    return rows.at(0).at(0);
  };
  const std::string a = guidOf("a.vlp");
  EXPECT_EQ(a.size(), 38u);
  EXPECT_EQ(a.front(), '{');
  EXPECT_EQ(a.back(), '}');
  EXPECT_NE(a, guidOf("b.vlp"));
  EXPECT_THROW(platform::CreateProjectFile(dir.Path() / "a.vlp", {}), Failure);
}

TEST(StoreSchema, TextComparesWithoutCaseAndDatesAsIsoText) {
  StoreFixture store;
  store.AddReqType(5, "PR");
  test::Requirement r(1, 5, LongTag({1}));
  r.Name = "Engine Start";
  r.VersionDateTime = "2003-04-05 13:07:09";
  store.AddRequirement(r);
  EXPECT_EQ(Query(store.Db(), "SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTNAME = 'ENGINE start'").size(), 1u);
  EXPECT_EQ(Query(store.Db(), "SELECT ID FROM VLREQUIREMENTS WHERE VERSIONDATETIME BETWEEN "
                              "'2003-04-05 00:00:00' AND '2003-04-05 23:59:59'")
                .size(),
            1u);
}

TEST(StoreSchema, AttributeViewsGiveOneRowPerChosenItemOrValue) {
  StoreFixture store;
  store.AddReqType(5, "PR");
  store.AddAttr(12, 5, "Priority", eADTList);
  store.AddAttr(13, 5, "Comment", eADTText);
  store.AddAttr(15, 5, "Platforms", eADTMultiSelectList);
  store.AddListItem(12, 34, 2, "High");
  store.AddListItem(15, 50, 7, "Linux");
  store.AddListItem(15, 51, 3, "Mac");
  store.AddRequirement(1, 5, LongTag({1}));
  store.AddRequirement(2, 5, LongTag({2}));
  store.ChooseItem(1, 12, 34);
  store.ChooseItem(1, 15, 50);
  store.ChooseItem(1, 15, 51);
  store.SetValue(2, 13, "abc");

  using Table = std::vector<std::vector<std::string>>;
  const std::string cols = "SELECT REQUIREMENTID, LISTITEMID, FIELDVALUE, ITEMRANK FROM ";
  EXPECT_EQ(Query(store.Db(), cols + "VLATTRVALUESVIEW_12"), (Table{{"1", "34", "NULL", "2"}}));
  EXPECT_EQ(Query(store.Db(), cols + "VLATTRVALUESVIEW_13"), (Table{{"2", "NULL", "abc", "NULL"}}));
  EXPECT_EQ(Query(store.Db(), cols + "VLATTRVALUESVIEW_15 ORDER BY ITEMRANK"),
            (Table{{"1", "51", "NULL", "3"}, {"1", "50", "NULL", "7"}}));
  // A free text value keeps the case-blind comparison of its column.
  EXPECT_EQ(Query(store.Db(), "SELECT REQUIREMENTID FROM VLATTRVALUESVIEW_13 WHERE FIELDVALUE = 'ABC'"),
            (Table{{"2"}}));
}

TEST(StoreSchema, EnsureSchemaCompletesAPlainFileAndKeepsWhatIsThere) {
  TempDir dir;
  const std::string file = (dir.Path() / "plain.vlp").string();
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  // A users table of another shape, an attribute without a view, one whose
  // view exists with a definition of its own, and an index that misleads the
  // planner.
  ASSERT_EQ(sqlite3_exec(db,
                         "CREATE TABLE VLPROJECTREQUIREMENTS (PROJECTID INTEGER, REQUIREMENTID INTEGER);"
                         "CREATE INDEX VLIX_PROJECTREQUIREMENTS_PROJECT ON VLPROJECTREQUIREMENTS (PROJECTID, "
                         "REQUIREMENTID);"
                         "CREATE TABLE VLUSERS (ID INTEGER, FULLNAME TEXT, EXTRA TEXT);"
                         "INSERT INTO VLUSERS VALUES (3, 'Ann', 'kept');"
                         "CREATE TABLE VLATTRIBUTES (ID INTEGER, REQUIREMENTTYPEID INTEGER, LABEL TEXT, GUID TEXT, "
                         "DATATYPE INTEGER);"
                         "INSERT INTO VLATTRIBUTES VALUES (21, 5, 'Size', '{A}', 2), (22, 5, 'Kind', '{B}', 0);"
                         "CREATE VIEW VLATTRVALUESVIEW_22 AS SELECT 1 AS REQUIREMENTID, 2 AS LISTITEMID, "
                         "NULL AS FIELDVALUE, 3 AS ITEMRANK;",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);

  platform::EnsureSchema(db);

  auto sql = [&](const std::string& name) {
    auto rows = Query(db, "SELECT sql FROM sqlite_master WHERE name = '" + name + "'");
    return rows.empty() ? std::string() : rows[0][0];
  };
  const std::set<std::string> users = Columns(db, "VLUSERS");
  EXPECT_TRUE(users.count("EXTRA"));
  EXPECT_TRUE(users.count("GUID"));
  EXPECT_TRUE(users.count("PRIVILEGED"));
  EXPECT_EQ(Query(db, "SELECT ID, FULLNAME, EXTRA FROM VLUSERS"),
            (std::vector<std::vector<std::string>>{{"3", "Ann", "kept"}}));
  EXPECT_NE(sql("VLREQUIREMENTS"), "");
  EXPECT_NE(sql("VLIX_TORELATIONSHIPS_TO"), "");
  EXPECT_EQ(sql("VLIX_PROJECTREQUIREMENTS_PROJECT"), "");
  EXPECT_NE(sql("VLATTRVALUESVIEW_21"), "");
  EXPECT_NE(sql("VLATTRVALUESVIEW_22").find("3 AS ITEMRANK"), std::string::npos);

  // A second run finds nothing to do.
  const auto before = Query(db, "SELECT type, name, sql FROM sqlite_master ORDER BY name");
  platform::EnsureSchema(db);
  EXPECT_EQ(Query(db, "SELECT type, name, sql FROM sqlite_master ORDER BY name"), before);
  sqlite3_close(db);
}

TEST(StoreSchema, DataOrderNumbersRowsInTheOrderOfInsertion) {
  StoreFixture store;
  store.Exec(
      "INSERT INTO VLHIERARCHYTABLETEMP (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) VALUES (9, 1, 'c'), (9, 2, 'a'), "
      "(9, 3, 'b');"
      "INSERT INTO VLHIERARCHYORDEREDLEVELSTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER) "
      "SELECT SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER FROM VLHIERARCHYTABLETEMP ORDER BY LONGTAGNUMBER DESC;");
  EXPECT_EQ(Query(store.Db(), "SELECT REQUIREMENTID FROM VLHIERARCHYORDEREDLEVELSTEMP ORDER BY DATAORDER"),
            (std::vector<std::vector<std::string>>{{"1"}, {"3"}, {"2"}}));
}

// The cost of the engine's joins must follow what they read: the lookups of
// the attribute views and of the traces go through indexes, not scans.
TEST(StoreSchema, TheEnginesLookupsUseIndexes) {
  StoreFixture store;
  store.AddReqType(5, "PR");
  store.AddAttr(13, 5, "Comment", eADTText);
  store.AddAttr(12, 5, "Priority", eADTList);
  const std::vector<std::string> statements = {
      "SELECT VLREQUIREMENTS.ID FROM ((VLREQUIREMENTS INNER JOIN VLPROJECTREQUIREMENTS ON "
      "VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID) LEFT JOIN VLATTRVALUESVIEW_13 ON VLREQUIREMENTS.ID = "
      "VLATTRVALUESVIEW_13.REQUIREMENTID) LEFT JOIN VLATTRVALUESVIEW_12 ON VLREQUIREMENTS.ID = "
      "VLATTRVALUESVIEW_12.REQUIREMENTID WHERE VLPROJECTREQUIREMENTS.PROJECTID=1",
      "SELECT REQUIREMENTID FROM VLTORELATIONSHIPS WHERE TOID = 5 AND EXTERNALPROJECTTOID = 0",
      "SELECT TOID FROM VLTORELATIONSHIPS WHERE REQUIREMENTID = 5 AND EXTERNALPROJECTID = 0",
      "SELECT ID FROM VLTRACETABLETEMP WHERE SESSIONID = 7 AND LVL = 2",
  };
  for (const std::string& statement : statements) {
    for (const auto& row : Query(store.Db(), "EXPLAIN QUERY PLAN " + statement)) {
      // Only the driving requirement tables may be walked whole.
      const std::string& detail = row.back();
      const bool scan = detail.rfind("SCAN ", 0) == 0;
      const bool driving = detail == "SCAN VLREQUIREMENTS" || detail == "SCAN VLPROJECTREQUIREMENTS";
      EXPECT_TRUE(!scan || driving) << detail << "\nin " << statement;
    }
  }
}

}  // namespace
}  // namespace vlq
