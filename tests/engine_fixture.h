#pragma once
// A small two-project world on real SQLite files for the engine's tests:
// project PRJ (key 1) with requirement types PR (key 5) and SR (key 7), and an
// external project EXT (key 9) beside it with its own type PR (key 5).
//
// Requirements of PRJ, with their tags (ten digits a level):
//   PR: 101 "0000000002", 102 "0000000001", 103 "00000000010000000001"
//   SR: 201 "0000000001", 202 "0000000003"
//   301 is of type PR but belongs to project 2, so no query of PRJ sees it.
// Requirements of EXT: 901 "0000000001", 902 "0000000002".
// Users of PRJ: 3 "Ann" (group 2), 4 "Bob" (group 2, privileged).
// Type PR has the multi-select list attribute Platforms (key 15) with the
// items Linux (key 1, rank 2) and Windows (key 2, rank 1).

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/store_project_manager.h"

namespace vlq::test {

inline constexpr const char* kProjectGUID = "{11111111-2222-3333-4444-555555555555}";
inline constexpr const char* kExtGUID = "{99999999-2222-3333-4444-555555555555}";

inline void ExecSql(const std::filesystem::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  if (sqlite3_open(file.string().c_str(), &db) != SQLITE_OK) throw std::runtime_error("open failed");
  char* error = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
  std::string message = error != nullptr ? error : "";
  sqlite3_free(error);
  sqlite3_close(db);
  if (rc != SQLITE_OK) throw std::runtime_error("fixture SQL failed: " + message + "\n" + sql);
}

class TwoProjectWorld {
 public:
  TwoProjectWorld() {
    dir_ = std::filesystem::temp_directory_path() /
           ("vlq-engine-" + std::to_string(::getpid()) + "-" + std::to_string(counter_++));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    main_ = dir_ / "prj.vlp";
    ext_ = dir_ / "ext.vlp";
    platform::CreateProjectFile(main_, {1, "PRJ", "Project", kProjectGUID});
    platform::CreateProjectFile(ext_, {9, "EXT", "External", kExtGUID});
    ExecSql(main_, R"(
      INSERT INTO VLREQUIREMENTTYPES (ID, PREFIX, NAME, GUID) VALUES
        (5, 'PR', 'Product requirements', '{A0000000-0000-0000-0000-000000000005}'),
        (7, 'SR', 'Software requirements', '{A0000000-0000-0000-0000-000000000007}');
      INSERT INTO VLGROUPS (ID, NAME) VALUES (2, 'Team');
      INSERT INTO VLATTRIBUTES (ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE) VALUES
        (15, 5, 'Platforms', '{B0000000-0000-0000-0000-000000000015}', 10);
      INSERT INTO VLUSERDEFINEDLISTITEMS (FIELDID, ITEMID, ITEMRANK, ITEMTEXT, GUID) VALUES
        (15, 1, 2, 'Linux', '{C1}'), (15, 2, 1, 'Windows', '{C2}');
      INSERT INTO VLUSERS (ID, FULLNAME, GUID, GROUPID, PRIVILEGED) VALUES
        (3, 'Ann', '{U3}', 2, 0), (4, 'Bob', '{U4}', 2, 1);
      INSERT INTO VLREQUIREMENTS (ID, REQUIREMENTTYPEID, REQUIREMENTPREFIX, LONGTAGNUMBER) VALUES
        (101, 5, 'PR', '0000000002'), (102, 5, 'PR', '0000000001'), (103, 5, 'PR', '00000000010000000001'),
        (201, 7, 'SR', '0000000001'), (202, 7, 'SR', '0000000003'), (301, 5, 'PR', '0000000004');
      INSERT INTO VLPROJECTREQUIREMENTS (PROJECTID, REQUIREMENTID) VALUES
        (1, 101), (1, 102), (1, 103), (1, 201), (1, 202), (2, 301);
      INSERT INTO VLEXTERNALPROJECTS (RELKEY, PREFIX, GUID, PATH, FILENAME, ISDELETED) VALUES
        (1, 'EXT', ')" + std::string(kExtGUID) + R"(', '.', 'ext.vlp', 0);
    )");
    ExecSql(ext_, R"(
      INSERT INTO VLREQUIREMENTTYPES (ID, PREFIX, NAME, GUID) VALUES
        (5, 'PR', 'External requirements', '{E0000000-0000-0000-0000-000000000005}');
      INSERT INTO VLREQUIREMENTS (ID, REQUIREMENTTYPEID, REQUIREMENTPREFIX, LONGTAGNUMBER) VALUES
        (901, 5, 'PR', '0000000001'), (902, 5, 'PR', '0000000002');
      INSERT INTO VLPROJECTREQUIREMENTS (PROJECTID, REQUIREMENTID) VALUES (9, 901), (9, 902);
    )");
  }
  ~TwoProjectWorld() {
    manager_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // Opens PRJ through a new manager, with connection property overrides.
  std::shared_ptr<Project> Open(const std::string& dbmsnamecode = "", const std::string& schema = "",
                                const std::string& user = "") {
    manager_ = platform::StoreProjectManager::Create();
    if (!dbmsnamecode.empty()) manager_->OverrideConnectionProperty("dbmsnamecode", dbmsnamecode);
    if (!schema.empty()) manager_->OverrideConnectionProperty("schema", schema);
    return manager_->Open(main_, user);
  }

  const std::filesystem::path& MainFile() const { return main_; }
  const std::filesystem::path& ExtFile() const { return ext_; }
  const std::filesystem::path& Dir() const { return dir_; }

 private:
  static inline int counter_ = 0;
  std::filesystem::path dir_;
  std::filesystem::path main_;
  std::filesystem::path ext_;
  std::shared_ptr<platform::StoreProjectManager> manager_;
};

}  // namespace vlq::test
