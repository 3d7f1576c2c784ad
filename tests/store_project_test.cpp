// The project service over the store: opening files, users, structure,
// external project references and connection properties.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using platform::StoreProjectManager;
using test::StoreFixture;
using test::TempDir;

void ExecPlain(sqlite3* db, const char* sql) { ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db); }

// A project written with the SQLite C API alone, in the shape another tool
// might give it: only the structure tables, some columns missing.
class PlainProjectFile : public ::testing::Test {
 protected:
  void SetUp() override {
    file_ = dir_.Path() / "sub" / "Plain.vlp";
    std::filesystem::create_directories(file_.parent_path());
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file_.string().c_str(), &db), SQLITE_OK);
    ExecPlain(db,
              "CREATE TABLE VLPROJECT (ID INTEGER, GUID TEXT, PREFIX TEXT, NAME TEXT);"
              "INSERT INTO VLPROJECT VALUES (4, '{P-4}', 'PLN', 'Plain');"
              "CREATE TABLE VLUSERS (ID INTEGER, FULLNAME TEXT, GUID TEXT, GROUPID INTEGER, PRIVILEGED INTEGER);"
              "INSERT INTO VLUSERS VALUES (9, 'Zoe', '{U-9}', 2, 1), (3, 'Bob', '{U-3}', 1, 0);"
              "CREATE TABLE VLGROUPS (ID INTEGER, NAME TEXT);"
              "INSERT INTO VLGROUPS VALUES (2, 'Admins'), (1, 'Staff');"
              "CREATE TABLE VLDOCUMENTS (ID INTEGER, NAME TEXT, GUID TEXT);"
              "INSERT INTO VLDOCUMENTS VALUES (1, 'Spec.doc', '{D-1}');"
              "CREATE TABLE VLREQUIREMENTTYPES (ID INTEGER, PREFIX TEXT, NAME TEXT, GUID TEXT);"
              "INSERT INTO VLREQUIREMENTTYPES VALUES (5, 'PR', 'Product', '{T-5}'), (6, 'SR', 'System', '{T-6}');"
              "CREATE TABLE VLATTRIBUTES (ID INTEGER, REQUIREMENTTYPEID INTEGER, LABEL TEXT, GUID TEXT, "
              "DATATYPE INTEGER);"
              "INSERT INTO VLATTRIBUTES VALUES (12, 5, 'Priority', '{A-12}', 0), (13, 5, 'Comment', '{A-13}', 1), "
              "(15, 5, 'Platforms', '{A-15}', 10), (16, 6, 'Due', '{A-16}', 4);"
              "CREATE TABLE VLUSERDEFINEDLISTITEMS (FIELDID INTEGER, ITEMID INTEGER, ITEMRANK INTEGER, "
              "ITEMTEXT TEXT, GUID TEXT);"
              "INSERT INTO VLUSERDEFINEDLISTITEMS VALUES (12, 34, 2, 'High', '{I-34}'), (12, 35, 1, 'Low', '{I-35}');"
              "CREATE TABLE VLEXTERNALPROJECTS (RELKEY INTEGER, PREFIX TEXT, GUID TEXT, PATH TEXT, FILENAME TEXT, "
              "ISDELETED INTEGER);"
              "INSERT INTO VLEXTERNALPROJECTS VALUES (1, 'OLD', '{E-1}', 'ext', 'Gone.vlp', 1), "
              "(2, 'EXT', '{E-2}', '../ext', 'Ext.vlp', 0);"
              "CREATE TABLE VLCONNECTIONPROPERTIES (NAME TEXT, VALUE TEXT);"
              "INSERT INTO VLCONNECTIONPROPERTIES VALUES ('Schema', 'PROJ1.'), ('server', 'db1');");
    sqlite3_close(db);
  }
  TempDir dir_;
  std::filesystem::path file_;
};

TEST_F(PlainProjectFile, OpensWithItsStructureAndTheLowestUser) {
  auto manager = StoreProjectManager::Create();
  auto project = manager->Open(file_);
  EXPECT_EQ(project->Key(), 4);
  EXPECT_EQ(project->GUID(), "{P-4}");
  EXPECT_EQ(project->Prefix(), "PLN");
  EXPECT_TRUE(project->IsConnected());
  EXPECT_EQ(project->Manager(), manager);

  EXPECT_EQ(project->CurrentUserKey(), 3);
  EXPECT_FALSE(project->CurrentUserIsPrivileged());
  ASSERT_EQ(project->Users().size(), 2u);
  EXPECT_EQ(project->Users()[0].Name, "Bob");
  EXPECT_EQ(project->Users()[0].GroupKey, 1);
  EXPECT_EQ(project->Users()[1].GUID, "{U-9}");
  ASSERT_EQ(project->Groups().size(), 2u);
  EXPECT_EQ(project->Groups()[0].Name, "Staff");
  ASSERT_EQ(project->Documents().size(), 1u);
  EXPECT_EQ(project->Documents()[0].GUID, "{D-1}");

  ASSERT_EQ(project->ReqTypes().size(), 2u);
  const ReqType* pr = project->GetReqType(5);
  ASSERT_NE(pr, nullptr);
  EXPECT_EQ(pr->Prefix, "PR");
  EXPECT_EQ(pr->GUID, "{T-5}");
  ASSERT_EQ(pr->Attrs.size(), 3u);
  EXPECT_EQ(pr->Attrs[0].Label, "Priority");
  EXPECT_FALSE(pr->Attrs[0].IsEdit);
  EXPECT_TRUE(pr->Attrs[1].IsEdit);
  EXPECT_FALSE(pr->Attrs[2].IsEdit);  // multi-select list
  ASSERT_EQ(pr->Attrs[0].ListItems.size(), 2u);
  EXPECT_EQ(pr->Attrs[0].ListItems[0].Text, "Low");  // by rank
  EXPECT_EQ(pr->Attrs[0].ListItems[1].Key, 34);
  EXPECT_EQ(project->GetReqType(6)->Attrs[0].DataType, 4);
  EXPECT_EQ(project->GetReqType(7), nullptr);

  // The engine's tables and every attribute view were added on opening.
  auto data = project->GetDataServices(manager->ConnectionKey());
  ASSERT_NE(data, nullptr);
  long rows = 0;
  for (const char* view : {"VLATTRVALUESVIEW_12", "VLATTRVALUESVIEW_13", "VLATTRVALUESVIEW_15",
                           "VLATTRVALUESVIEW_16", "VLREQUIREMENTS", "VLTRACETABLEINDIR"}) {
    EXPECT_NO_THROW(data->Execute(std::string("SELECT * FROM ") + view, rows)) << view;
  }
}

TEST_F(PlainProjectFile, ConnectionPropertiesComeFromTheStoreTheFileAndTheManager) {
  auto manager = StoreProjectManager::Create();
  manager->OverrideConnectionProperty("DBMSNAMECODE", "5");
  auto data = manager->Open(file_)->GetDataServices(manager->ConnectionKey());
  EXPECT_EQ(data->ConnectionProperty("dbmsnamecode"), "5");
  EXPECT_EQ(data->ConnectionProperty("schema"), "PROJ1.");
  EXPECT_EQ(data->ConnectionProperty("Server"), "db1");
  EXPECT_EQ(std::filesystem::path(data->ConnectionProperty("database")), std::filesystem::absolute(file_));
  EXPECT_THROW(data->ConnectionProperty("password"), Failure);
  EXPECT_EQ(data->ConnectionAttribute("User Name"), "Bob");
  EXPECT_EQ(data->ConnectionAttribute("Current Catalog"), "Plain");

  // Without overrides the store speaks the Access dialect.
  auto other = StoreProjectManager::Create();
  EXPECT_EQ(other->Open(file_)->GetDataServices(other->ConnectionKey())->ConnectionProperty("dbmsnamecode"), "1");
}

TEST_F(PlainProjectFile, TheCurrentUserIsChosenByNameOrKey) {
  struct Case {
    std::string user;
    long key;
    bool privileged;
  };
  for (const Case& c : std::vector<Case>{{"", 3, false}, {"9", 9, true}, {"zoe", 9, true}, {"Bob", 3, false}}) {
    auto project = StoreProjectManager::Create()->Open(file_, c.user);
    EXPECT_EQ(project->CurrentUserKey(), c.key) << c.user;
    EXPECT_EQ(project->CurrentUserIsPrivileged(), c.privileged) << c.user;
  }
  for (const char* unknown : {"Eve", "4"}) {
    try {
      StoreProjectManager::Create()->Open(file_, unknown);
      ADD_FAILURE() << unknown;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), platform::kFailureItemNotFound);
      EXPECT_NE(f.Description().find(unknown), std::string::npos);
    }
  }
}

TEST(StoreProject, AProjectWithoutUsersHasNoCurrentUser) {
  StoreFixture store;
  auto project = store.Open();
  EXPECT_EQ(project->CurrentUserKey(), 0);
  EXPECT_FALSE(project->CurrentUserIsPrivileged());
  EXPECT_EQ(project->GetDataServices("")->ConnectionAttribute("User Name"), "");
}

TEST(StoreProject, OpenProjectsAreFoundByPrefixAndHandedOutAgain) {
  StoreFixture a(test::ProjectInfo(1, "Main"));
  auto manager = a.Manager();
  auto project = a.Open();
  EXPECT_EQ(manager->Open(a.Dir() / "." / a.File().filename()), project);
  EXPECT_EQ(manager->GetProject("MAIN"), project);
  EXPECT_EQ(manager->OpenProjectsItem("main"), project);
  EXPECT_EQ(manager->GetProject("OTHER"), nullptr);
  EXPECT_EQ(manager->OpenProjects().size(), 1u);
  EXPECT_THROW(manager->Open(a.Dir() / "missing.vlp"), Failure);
  EXPECT_FALSE(std::filesystem::exists(a.Dir() / "missing.vlp"));
}

TEST(StoreProject, ExternalReferencesAreLookedUpAndOpenedThroughTheManager) {
  StoreFixture main(test::ProjectInfo(1, "MAIN"));
  std::filesystem::create_directories(main.Dir() / "ext");
  platform::CreateProjectFile(main.Dir() / "ext" / "Ext.vlp", test::ProjectInfo(2, "EXT", "Ext", "{E-2}"));
  main.AddUser(3, "Bob");
  main.AddExtProject(1, "OLD", "{E-1}", "ext", "Gone.vlp", true);
  main.AddExtProject(2, "EXT", "{E-2}", "ext", "Ext.vlp");
  auto project = main.Open();
  auto refs = project->GetExtProjects();
  ASSERT_EQ(refs->Count(), 2);

  EXPECT_EQ(refs->Item("2", eItemByKey)->Prefix(), "EXT");
  EXPECT_EQ(refs->Item("1", eItemByPosition)->Prefix(), "OLD");
  EXPECT_TRUE(refs->Item("1", eItemByPosition)->IsDeleted());
  EXPECT_EQ(refs->Item("{e-2}", eItemByGUID)->RelKey(), 2);
  EXPECT_EQ(refs->Item("ext", eItemByPrefix)->RelKey(), 2);
  EXPECT_EQ(refs->Item("3", eItemByPosition), nullptr);
  EXPECT_EQ(refs->Item("x", eItemByKey), nullptr);
  EXPECT_EQ(refs->Item("NONE", eItemByPrefix), nullptr);

  auto ref = refs->Item("EXT", eItemByPrefix);
  // The relative PATH lies in the referring file's directory.
  EXPECT_EQ(std::filesystem::path(ref->Path() + ref->FileName()), std::filesystem::absolute(main.Dir() / "ext" / "Ext.vlp"));
  EXPECT_FALSE(ref->IsOpen());
  EXPECT_EQ(ref->GetProject(), nullptr);
  auto ext = ref->Open();
  ASSERT_NE(ext, nullptr);
  EXPECT_EQ(ext->Prefix(), "EXT");
  EXPECT_EQ(ext->CurrentUserKey(), 0);  // Bob is no user there
  EXPECT_TRUE(ref->IsOpen());
  EXPECT_EQ(ref->GetProject(), ext);
  EXPECT_EQ(main.Manager()->GetProject("EXT"), ext);
  EXPECT_EQ(ref->Open(), ext);

  EXPECT_THROW(refs->Item("OLD", eItemByPrefix)->Open(), Failure);  // its file is not there
}

}  // namespace
}  // namespace vlq
