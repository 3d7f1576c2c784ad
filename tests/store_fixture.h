#pragma once
// Test helper: a project file of the SQLite store in a temporary directory,
// and small writers for the data that the engine reads.
//
//   vlq::test::StoreFixture store;                      // <tmp>/project.vlp, project key 1, prefix PRJ
//   vlq::test::StoreFixture other(vlq::test::ProjectInfo(2, "EXT"), "ext.vlp");
//   store.AddReqType(5, "PR");
//   store.AddAttr(12, 5, "Priority", vlq::eADTList);    // also makes VLATTRVALUESVIEW_12
//   store.AddListItem(12, 34, 1, "High");
//   store.AddRequirement(100, 5, vlq::test::LongTag({1}));
//   store.ChooseItem(100, 12, 34);
//   auto project = store.Open();                        // through a StoreProjectManager
//
// The same data on the tests' server: store.UseStore(StoreKind::Server) before
// Open, and Open copies the file (with its external projects) into a new
// schema and opens that. Tests of answers run on both stores with
// TEST_P and INSTANTIATE_TEST_SUITE_P(Stores, Suite, test::kBothStores,
// test::StoreKindName), and VLQ_USE_STORE(store, GetParam()) first in SetUp,
// which skips the server's run where there is no server.
//
// Write the data before Open: a project reads its structure (types,
// attributes, users, references) once, when it opens. The writers use a plain
// SQLite connection of their own (Db()), in WAL mode like the store's, and
// throw std::runtime_error with SQLite's message when a statement fails.
// The directory and everything in it go when the fixture goes.

#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/enums.h"
#include "model/variant.h"
#include "pg_fixture.h"
#include "platform/project_copy.h"
#include "platform/store_project_manager.h"

namespace vlq::test {

// A new empty directory under the system's temporary directory, removed with
// its contents at the end of the object's life.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlq_store_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("can't make a temporary directory");
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// LONGTAGNUMBER of a requirement: ten zero-padded digits for each level, the
// root number first. LongTag({1, 2}) is "00000000010000000002".
inline std::string LongTag(std::initializer_list<long> levels) {
  std::string out;
  for (long level : levels) {
    std::string digits = std::to_string(level);
    out += std::string(digits.size() < 10 ? 10 - digits.size() : 0, '0') + digits;
  }
  return out;
}

// The project row of a new file.
inline platform::NewProjectInfo ProjectInfo(long key, std::string prefix, std::string name = "Project",
                                            std::string guid = {}) {
  platform::NewProjectInfo info;
  info.Key = key;
  info.Prefix = std::move(prefix);
  info.Name = std::move(name);
  info.GUID = std::move(guid);
  return info;
}

// A row of VLREQUIREMENTS: key, type and tag, the other columns set as needed
// before AddRequirement. ProjectKey -1 puts the requirement into the fixture's
// own project (VLPROJECTREQUIREMENTS).
struct Requirement {
  Requirement(long key, long typeKey, std::string tag) : Key(key), TypeKey(typeKey), Tag(std::move(tag)) {}
  long Key;
  long TypeKey;
  std::string Tag;
  std::string Prefix;
  std::string Name;
  std::string Text;
  long Version = 1;
  std::string VersionDateTime = "2003-04-05 13:07:09";
  std::string Reason;
  long AuthorKey = 0;
  long DocumentKey = 0;
  long Flags = 0;
  long ProjectKey = -1;
};

// Where a test's project lives: the fixture's file, or a copy of it on the
// tests' server.
enum class StoreKind { File, Server };

inline const auto kBothStores = ::testing::Values(StoreKind::File, StoreKind::Server);
inline std::string StoreKindName(const ::testing::TestParamInfo<StoreKind>& info) {
  return info.param == StoreKind::File ? "File" : "Server";
}
inline void PrintTo(StoreKind kind, std::ostream* out) { *out << (kind == StoreKind::File ? "file" : "server"); }

class StoreFixture {
 public:
  // Makes <temporary directory>/<fileName> with CreateProjectFile.
  explicit StoreFixture(platform::NewProjectInfo info = {}, const std::string& fileName = "project.vlp")
      : info_(std::move(info)) {
    file_ = dir_.Path() / fileName;
    platform::CreateProjectFile(file_, info_);
    Connect(file_);
  }
  ~StoreFixture() {
    manager_.reset();
    sqlite3_close_v2(db_);
  }
  StoreFixture(const StoreFixture&) = delete;
  StoreFixture& operator=(const StoreFixture&) = delete;

  const std::filesystem::path& Dir() const { return dir_.Path(); }
  const std::filesystem::path& File() const { return file_; }
  long ProjectKey() const { return info_.Key; }
  ::sqlite3* Db() const { return db_; }

  // Runs SQL (several statements allowed) on the fixture's connection.
  void Exec(const std::string& sql) const {
    char* error = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      std::string message = error ? error : "unknown error";
      sqlite3_free(error);
      throw std::runtime_error(message + " in: " + sql);
    }
  }

  // Inserts one row; the values are bound with their own type (empty and null
  // as NULL, booleans as 0/1, dates as their serial number).
  void InsertRow(std::string_view table, const std::vector<std::pair<std::string, Variant>>& columns) const {
    std::string names;
    std::string marks;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      names += (i ? ", " : "") + columns[i].first;
      marks += (i ? ", ?" : "?");
    }
    const std::string sql = "INSERT INTO " + std::string(table) + " (" + names + ") VALUES (" + marks + ")";
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
      throw std::runtime_error(std::string(sqlite3_errmsg(db_)) + " in: " + sql);
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const int at = static_cast<int>(i + 1);
      const Variant& v = columns[i].second;
      if (v.IsWhole()) {
        sqlite3_bind_int64(stmt, at, v.Whole());
      } else if (v.IsReal()) {
        sqlite3_bind_double(stmt, at, v.Real());
      } else if (v.IsBoolean()) {
        sqlite3_bind_int(stmt, at, v.Boolean() ? 1 : 0);
      } else if (v.IsDate()) {
        sqlite3_bind_double(stmt, at, v.Date().serial);
      } else if (v.IsText()) {
        sqlite3_bind_text(stmt, at, v.Text().c_str(), static_cast<int>(v.Text().size()), SQLITE_TRANSIENT);
      } else {
        sqlite3_bind_null(stmt, at);
      }
    }
    const int rc = sqlite3_step(stmt);
    const std::string message = sqlite3_errmsg(db_);
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE) throw std::runtime_error(message + " in: " + sql);
  }

  void AddReqType(long key, const std::string& prefix, const std::string& guid = {}) const {
    InsertRow("VLREQUIREMENTTYPES", {{"ID", key}, {"PREFIX", prefix}, {"NAME", prefix}, {"GUID", GuidOr(guid, key)}});
  }

  // Adds an attribute of a requirement type (dataType: the values of
  // AttrDataType) and makes its attribute view.
  void AddAttr(long key, long reqTypeKey, const std::string& label, int dataType, const std::string& guid = {}) const {
    InsertRow("VLATTRIBUTES", {{"ID", key},
                               {"REQUIREMENTTYPEID", reqTypeKey},
                               {"LABEL", label},
                               {"GUID", GuidOr(guid, key)},
                               {"DATATYPE", dataType}});
    platform::EnsureSchema(db_);
  }

  void AddListItem(long attrKey, long itemKey, long rank, const std::string& text,
                   const std::string& guid = {}) const {
    InsertRow("VLUSERDEFINEDLISTITEMS", {{"FIELDID", attrKey},
                                         {"ITEMID", itemKey},
                                         {"ITEMRANK", rank},
                                         {"ITEMTEXT", text},
                                         {"GUID", GuidOr(guid, itemKey)}});
  }

  void AddRequirement(long key, long typeKey, const std::string& tag) const {
    AddRequirement(Requirement(key, typeKey, tag));
  }
  void AddRequirement(const Requirement& r) const {
    InsertRow("VLREQUIREMENTS", {{"ID", r.Key},
                                 {"REQUIREMENTTYPEID", r.TypeKey},
                                 {"REQUIREMENTNAME", r.Name},
                                 {"REQUIREMENTTEXT", r.Text},
                                 {"REQUIREMENTPREFIX", r.Prefix},
                                 {"LONGTAGNUMBER", r.Tag},
                                 {"VERSIONNUMBER", r.Version},
                                 {"VERSIONDATETIME", r.VersionDateTime},
                                 {"VERSIONREASON", r.Reason},
                                 {"VERSIONUSERID", r.AuthorKey},
                                 {"BOOKMARKDOCUMENTID", r.DocumentKey},
                                 {"FLAGS", r.Flags}});
    InsertRow("VLPROJECTREQUIREMENTS",
              {{"PROJECTID", r.ProjectKey == -1 ? info_.Key : r.ProjectKey}, {"REQUIREMENTID", r.Key}});
  }

  // A free value: text, whole or real number as it is stored (a date as whole
  // days since 1901-01-01, a time as whole seconds since midnight).
  void SetValue(long reqKey, long attrKey, const Variant& value) const {
    InsertRow("VLUSERDEFINEDFIELDVALUES", {{"REQUIREMENTID", reqKey}, {"FIELDID", attrKey}, {"FIELDVALUE", value}});
  }

  // A chosen item of a list or multi-select list attribute.
  void ChooseItem(long reqKey, long attrKey, long itemKey) const {
    InsertRow("VLUSERDEFINEDLISTVALUES", {{"REQUIREMENTID", reqKey}, {"FIELDID", attrKey}, {"LISTITEMID", itemKey}});
  }

  void AddUser(long key, const std::string& name, long groupKey = 0, bool privileged = false) const {
    InsertRow("VLUSERS", {{"ID", key},
                          {"FULLNAME", name},
                          {"GUID", GuidOr({}, key)},
                          {"GROUPID", groupKey},
                          {"PRIVILEGED", privileged ? 1 : 0}});
  }

  void AddGroup(long key, const std::string& name) const { InsertRow("VLGROUPS", {{"ID", key}, {"NAME", name}}); }

  // A trace from one requirement to another; the project keys are the
  // references' RELKEY, 0 for this project.
  void AddTrace(long fromKey, long toKey, bool suspect = false, long fromProject = 0, long toProject = 0) const {
    InsertRow("VLTORELATIONSHIPS", {{"REQUIREMENTID", fromKey},
                                    {"TOID", toKey},
                                    {"EXTERNALPROJECTID", fromProject},
                                    {"EXTERNALPROJECTTOID", toProject},
                                    {"TYPE", 0},
                                    {"STATE", suspect ? 1 : 0}});
  }

  // A reference to another project file: path is its directory (relative to
  // this file's directory, or absolute), fileName the file in it.
  void AddExtProject(long relKey, const std::string& prefix, const std::string& guid, const std::string& path,
                     const std::string& fileName, bool deleted = false) const {
    InsertRow("VLEXTERNALPROJECTS", {{"RELKEY", relKey},
                                     {"PREFIX", prefix},
                                     {"GUID", guid},
                                     {"PATH", path},
                                     {"FILENAME", fileName},
                                     {"ISDELETED", deleted ? 1 : 0}});
  }

  // The fixture's manager (made on first use) and the project opened through
  // it as the given user (empty: the lowest key).
  const std::shared_ptr<platform::StoreProjectManager>& Manager() {
    if (!manager_) manager_ = platform::StoreProjectManager::Create();
    return manager_;
  }
  std::shared_ptr<Project> Open(std::string_view user = {}) {
    if (kind_ == StoreKind::File) return Manager()->Open(file_, user);
    if (!schema_) schema_ = std::make_unique<PgSchema>();
    platform::CopyOptions options;
    options.Replace = true;
    platform::CopyProject(file_.string(), schema_->Uri(), options);
    return Manager()->Open(schema_->Uri(), user);
  }

  // The store that Open opens the project in.
  void UseStore(StoreKind kind) { kind_ = kind; }
  // Whether Open can open the project in the chosen store: the server's
  // store needs the tests' server.
  bool StoreAvailable() const { return kind_ == StoreKind::File || !PgTestServer().empty(); }

 private:
  void Connect(const std::filesystem::path& file) {
    if (sqlite3_open_v2(file.string().c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
      throw std::runtime_error("can't open " + file.string());
    }
    sqlite3_busy_timeout(db_, 30000);
    // Test data needs no flush to the disk at every row.
    Exec("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF");
  }
  static std::string GuidOr(const std::string& guid, long key) {
    return guid.empty() ? "{00000000-0000-0000-0000-" + LongTag({key}).substr(0, 10) + "00}" : guid;
  }

  TempDir dir_;
  platform::NewProjectInfo info_;
  std::filesystem::path file_;
  ::sqlite3* db_ = nullptr;
  std::shared_ptr<platform::StoreProjectManager> manager_;
  StoreKind kind_ = StoreKind::File;
  std::unique_ptr<PgSchema> schema_;  // the server's copy, made by the first Open
};

// Chooses the store of a parameterised test's fixture, or skips the test
// where that store can't be had.
#define VLQ_USE_STORE(store, kind)                                                   \
  (store).UseStore(kind);                                                            \
  if (!(store).StoreAvailable())                                                     \
  GTEST_SKIP() << "No PostgreSQL server for the tests: run them under ctest, which " \
                  "starts one"

}  // namespace vlq::test
