#pragma once
// The demo project of the tool (and its external project) in a temporary
// directory, opened in the store's own dialect and, through managers of their
// own, in every other dialect with and without a schema; each project records
// the statements sent to its database. Beside the engine's connections the
// world keeps connections of its own to both files, to read the work tables
// in the files, a checksum of the data and the owners of requirement and
// discussion keys; the work tables of each engine connection (temporary
// tables of that connection) it reads through that connection.
//
//   DemoWorld world(120, 11);
//   auto& own = world.Own();                  // dbmsnamecode 1 as the file has it
//   engine.Validate(..., own.Project, ...);
//   own.Project->Statements();                // what went to the database
//   world.WorkRows();                         // 0 when every work table is empty
//   world.Server();                           // the demo copied to the tests' server, opened there

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "closure_test_support.h"
#include "demo_project.h"
#include "platform/store_project.h"
#include "platform/store_project_manager.h"
#include "store_fixture.h"

namespace vlq::test {

class DemoWorld {
 public:
  struct Dialect {
    std::string Code;    // dbmsnamecode
    std::string Schema;  // as the connection property holds it, with its dot
    std::shared_ptr<platform::StoreProjectManager> Manager;
    std::shared_ptr<RecordingProject> Project;
    bool OnServer = false;  // a project of the server's store, not of the file
    std::string Name() const {
      return OnServer ? "server" : "dbms " + Code + (Schema.empty() ? "" : " schema " + Schema);
    }
  };

  static constexpr const char* kWorkTables[] = {"VLTRACETABLEINDIR", "VLTRACETABLETEMP", "VLHIERARCHYTABLETEMP",
                                                "VLHIERARCHYORDEREDLEVELSTEMP", "VLHIERARCHYFINALORDERTEMP"};

  DemoWorld(long requirements, std::uint64_t seed) {
    main_ = dir_.Path() / "demo.vlp";
    tools::DemoOptions options;
    options.Requirements = requirements;
    options.Seed = seed;
    tools::MakeDemoProject(main_, options);
    ext_ = tools::DemoExtFile(main_);
    own_ = OpenDialect("", "");
    for (const char* code : {"1", "3", "4", "5", "7", "8"}) {
      for (const char* schema : {"", "PROJ1."}) {
        if (std::string(code) == "1" && *schema == '\0') continue;  // the store's own
        foreign_.push_back(OpenDialect(code, schema));
      }
    }
    files_[0] = Inspect(main_);
    files_[1] = Inspect(ext_);
    for (int f = 0; f < 2; ++f) LoadOwners(f);
  }
  ~DemoWorld() {
    own_ = {};
    foreign_.clear();
    server_.reset();
    serverSchema_.reset();
    for (sqlite3* db : files_) sqlite3_close_v2(db);
  }
  DemoWorld(const DemoWorld&) = delete;
  DemoWorld& operator=(const DemoWorld&) = delete;

  Dialect& Own() { return own_; }
  // The demo project and its external project copied into a new schema of
  // the tests' server, opened there in the server's dialect; made on first
  // use. Needs the tests' server.
  Dialect& Server() {
    if (!server_) {
      serverSchema_ = std::make_unique<PgSchema>();
      platform::CopyProject(main_.string(), serverSchema_->Uri());
      server_ = std::make_unique<Dialect>();
      server_->Code = "8";
      server_->OnServer = true;
      server_->Manager = platform::StoreProjectManager::Create();
      server_->Project = std::make_shared<RecordingProject>(server_->Manager->Open(serverSchema_->Uri()));
    }
    return *server_;
  }
  std::vector<Dialect>& Foreign() { return foreign_; }
  const std::filesystem::path& MainFile() const { return main_; }

  // The rows in the work tables, and which tables hold them: those of both
  // files, read through connections of the world's own, and the temporary
  // ones of the connections of the dialect's projects (all dialects when
  // none is named), read through their DataServices.
  long WorkRows(const Dialect* dialect = nullptr, std::string* where = nullptr) const {
    long total = 0;
    const auto note = [&](const std::string& place, long rows) {
      if (rows != 0 && where) *where += place + ": " + std::to_string(rows) + "; ";
      total += rows;
    };
    // A store that keeps its work tables in one place only lacks the other:
    // a table that isn't there holds no rows.
    for (int f = 0; f < 2; ++f) {
      for (const char* table : kWorkTables) {
        long rows = 0;
        try {
          rows = Scalar(files_[f], std::string("SELECT COUNT(*) FROM main.") + table);
        } catch (const std::exception&) {
        }
        note(std::string(f ? "ext file " : "file ") + table, rows);
      }
    }
    ForEachConnection(dialect, [&](const std::string& name, DataServices& data, const std::string& place) {
      for (const char* table : kWorkTables) {
        long rows = 0;
        try {
          long affected = 0;
          const Rows result = data.Execute("SELECT COUNT(*) FROM " + place + table, affected)->GetRows();
          rows = result.empty() || result[0].empty() ? 0 : static_cast<long>(result[0][0].Whole());
        } catch (const std::exception&) {
        }
        note(name + " " + table, rows);
      }
    });
    return total;
  }

  // Empties the work tables of both files and of the dialect's connections
  // (all dialects when none is named).
  void ClearWorkTables(const Dialect* dialect = nullptr) const {
    for (const std::filesystem::path& file : {main_, ext_}) {
      sqlite3* db = nullptr;
      if (sqlite3_open_v2(file.string().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_busy_timeout(db, 30000);
        for (const char* table : kWorkTables) {
          sqlite3_exec(db, (std::string("DELETE FROM main.") + table).c_str(), nullptr, nullptr, nullptr);
        }
      }
      sqlite3_close_v2(db);
    }
    ForEachConnection(dialect, [&](const std::string&, DataServices& data, const std::string& place) {
      for (const char* table : kWorkTables) {
        try {
          long rows = 0;
          data.Execute("DELETE FROM " + place + table, rows);
        } catch (const std::exception&) {
        }
      }
    });
  }

  // A checksum of every table of both files but the work tables: their
  // definitions and every value, in row order.
  std::uint64_t DataChecksum() const {
    std::uint64_t hash = 1469598103934665603ull;
    const auto mix = [&hash](const void* data, std::size_t size) {
      const auto* bytes = static_cast<const unsigned char*>(data);
      for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
    };
    for (sqlite3* db : files_) {
      std::vector<std::pair<std::string, std::string>> tables;
      ForEachRow(db, "SELECT name, sql FROM sqlite_master WHERE type = 'table' ORDER BY name",
                 [&](sqlite3_stmt* s) { tables.emplace_back(Text(s, 0), Text(s, 1)); });
      for (const auto& [name, sql] : tables) {
        mix(name.data(), name.size());
        mix(sql.data(), sql.size());
        if (IsWorkTable(name) || name == "sqlite_sequence") continue;
        ForEachRow(db, "SELECT * FROM \"" + name + "\" ORDER BY rowid", [&](sqlite3_stmt* s) {
          for (int c = 0; c < sqlite3_column_count(s); ++c) {
            const int type = sqlite3_column_type(s, c);
            mix(&type, sizeof type);
            const auto* blob = sqlite3_column_blob(s, c);
            mix(blob, static_cast<std::size_t>(sqlite3_column_bytes(s, c)));
          }
        });
      }
    }
    return hash;
  }

  // The requirement type of a requirement of a project (file 0 the main
  // project, 1 the external one); 0 when the project holds no such key.
  long RequirementType(int file, long projectKey, long key) const {
    const auto project = requirements_[file].find(projectKey);
    if (project == requirements_[file].end()) return 0;
    const auto found = project->second.find(key);
    return found == project->second.end() ? 0 : found->second;
  }
  // True when `ancestor` stands above `key` in the tree of their type: its
  // tag number is a shorter head of the other's, ten digits a level.
  bool IsAncestor(int file, long ancestor, long key) const {
    const auto a = tags_[file].find(ancestor);
    const auto k = tags_[file].find(key);
    if (a == tags_[file].end() || k == tags_[file].end() || a->second.first != k->second.first) return false;
    const std::string& above = a->second.second;
    const std::string& below = k->second.second;
    return above.size() < below.size() && above.size() % 10 == 0 && below.compare(0, above.size(), above) == 0;
  }
  bool IsDiscussionOf(long projectKey, long key) const {
    const auto project = discussions_.find(projectKey);
    return project != discussions_.end() && project->second.count(key) > 0;
  }

 private:
  // Calls each(name, DataServices, place) for every project open in the
  // dialect's manager, past the recording, so that these reads aren't counted
  // as the engine's statements. place qualifies a work table: the temporary
  // tables of a file's connection, the project's own schema on the server.
  template <class F>
  void ForEachConnection(const Dialect* dialect, F&& each) const {
    std::vector<const Dialect*> dialects;
    if (dialect) {
      dialects.push_back(dialect);
    } else {
      dialects.push_back(&own_);
      for (const Dialect& d : foreign_) dialects.push_back(&d);
      if (server_) dialects.push_back(server_.get());
    }
    for (const Dialect* d : dialects) {
      for (const std::shared_ptr<platform::StoreProject>& project : d->Manager->OpenProjects()) {
        const std::shared_ptr<DataServices> data = project->GetDataServices(d->Manager->ConnectionKey());
        if (data) each(d->Name() + " " + project->Prefix(), *data, d->OnServer ? "" : "temp.");
      }
    }
  }

  static bool IsWorkTable(const std::string& name) {
    for (const char* table : kWorkTables) {
      if (name == table) return true;
    }
    return false;
  }

  Dialect OpenDialect(const std::string& code, const std::string& schema) {
    Dialect d;
    d.Code = code.empty() ? "1" : code;
    d.Schema = schema;
    d.Manager = platform::StoreProjectManager::Create();
    if (!code.empty()) d.Manager->OverrideConnectionProperty("dbmsnamecode", code);
    if (!schema.empty()) d.Manager->OverrideConnectionProperty("schema", schema);
    d.Project = std::make_shared<RecordingProject>(d.Manager->Open(main_.string()));
    return d;
  }

  static sqlite3* Inspect(const std::filesystem::path& file) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.string().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      throw std::runtime_error("can't open " + file.string());
    }
    sqlite3_busy_timeout(db, 30000);
    return db;
  }

  template <class F>
  static void ForEachRow(sqlite3* db, const std::string& sql, F&& each) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
      throw std::runtime_error(std::string(sqlite3_errmsg(db)) + " in " + sql);
    }
    while (sqlite3_step(stmt) == SQLITE_ROW) each(stmt);
    sqlite3_finalize(stmt);
  }
  static std::string Text(sqlite3_stmt* s, int column) {
    const auto* text = sqlite3_column_text(s, column);
    return text ? reinterpret_cast<const char*>(text) : "";
  }
  static long Scalar(sqlite3* db, const std::string& sql) {
    long value = -1;
    ForEachRow(db, sql, [&](sqlite3_stmt* s) { value = static_cast<long>(sqlite3_column_int64(s, 0)); });
    return value;
  }

  void LoadOwners(int file) {
    ForEachRow(files_[file],
               "SELECT P.PROJECTID, R.ID, R.REQUIREMENTTYPEID FROM VLREQUIREMENTS AS R "
               "INNER JOIN VLPROJECTREQUIREMENTS AS P ON P.REQUIREMENTID = R.ID",
               [&](sqlite3_stmt* s) {
                 requirements_[file][static_cast<long>(sqlite3_column_int64(s, 0))]
                              [static_cast<long>(sqlite3_column_int64(s, 1))] =
                                  static_cast<long>(sqlite3_column_int64(s, 2));
               });
    ForEachRow(files_[file], "SELECT ID, REQUIREMENTTYPEID, LONGTAGNUMBER FROM VLREQUIREMENTS", [&](sqlite3_stmt* s) {
      tags_[file][static_cast<long>(sqlite3_column_int64(s, 0))] = {static_cast<long>(sqlite3_column_int64(s, 1)),
                                                                    Text(s, 2)};
    });
    if (file != 0) return;
    // A response belongs to the project of the head of its thread.
    ForEachRow(files_[file],
               "SELECT P.PROJECTID, D.ID FROM VLDISCUSSIONS AS D "
               "INNER JOIN VLPROJECTDISCUSSIONS AS P ON P.DISCUSSIONID = D.ROOTID",
               [&](sqlite3_stmt* s) {
                 discussions_[static_cast<long>(sqlite3_column_int64(s, 0))].insert(
                     static_cast<long>(sqlite3_column_int64(s, 1)));
               });
  }

  TempDir dir_;
  std::filesystem::path main_;
  std::filesystem::path ext_;
  Dialect own_;
  std::vector<Dialect> foreign_;
  std::unique_ptr<PgSchema> serverSchema_;
  std::unique_ptr<Dialect> server_;
  sqlite3* files_[2] = {nullptr, nullptr};
  std::map<long, std::map<long, long>> requirements_[2];
  std::map<long, std::pair<long, std::string>> tags_[2];  // key: type and tag number
  std::map<long, std::set<long>> discussions_;
};

}  // namespace vlq::test
