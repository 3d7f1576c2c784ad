#pragma once
// The embedded project store: a project is one SQLite file (extension .vlp).
// SqliteProjectManager holds the open projects of a host, opens project files,
// and serves the project service and DataServices over them.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "services/project.h"

struct sqlite3;

namespace vlq::platform {

struct NewProjectInfo {
  long Key = 1;
  std::string Prefix = "PRJ";
  std::string Name = "Project";
  std::string GUID;  // empty: a new random GUID in braces
};

// Writes a new project file: the whole schema and the VLPROJECT row, nothing
// else. Fails with Failure when the file exists already or can't be written.
void CreateProjectFile(const std::filesystem::path& file, const NewProjectInfo& info);

// Creates in an open SQLite connection whatever of the schema is missing
// (tables, indexes, the attribute view of every attribute) and changes nothing
// that is there. Opening a project runs it.
void EnsureSchema(::sqlite3* db);

// Deletes rows that the file's own work tables hold: the store keeps a
// session's work rows in temporary tables of its connection, so rows in the
// file come only from a run that was cut short in an older version.
void ClearStaleWorkRows(::sqlite3* db);

class SqliteProjectManager : public ProjectManager,
                             public std::enable_shared_from_this<SqliteProjectManager> {
 public:
  static std::shared_ptr<SqliteProjectManager> Create();
  ~SqliteProjectManager() override;

  // Opens a project file as the given user: a user name or a decimal user key;
  // empty means the user with the lowest key. A user that doesn't exist fails
  // with Failure; a project without users opens with no current user (key 0).
  // A file that is open already is handed out again.
  std::shared_ptr<Project> Open(const std::filesystem::path& file, std::string_view user = {});

  // Opens every project from now on for reading only, as if its file were
  // write-protected (a file that is opens so anyway).
  void OpenReadOnly(bool bReadOnly) { bReadOnly_ = bReadOnly; }
  bool ReadOnly() const { return bReadOnly_; }

  // Replaces a connection property ("dbmsnamecode", "schema", "database",
  // "server") in every project that this manager opens from now on, over the
  // project's own rows of VLCONNECTIONPROPERTIES. The tools use it to make SQL
  // text for another dialect.
  void OverrideConnectionProperty(std::string name, std::string value);

  // ProjectManager
  std::string ConnectionKey() const override;
  std::shared_ptr<Project> GetProject(std::string_view prefix) override;
  std::shared_ptr<Project> OpenProjectsItem(std::string_view prefix) override;

  // The open projects, in order of opening.
  std::vector<std::shared_ptr<Project>> OpenProjects() const;

  const std::map<std::string, std::string>& ConnectionOverrides() const { return overrides_; }

 private:
  SqliteProjectManager() = default;
  std::vector<std::shared_ptr<Project>> open_;
  std::map<std::string, std::string> overrides_;
  bool bReadOnly_ = false;
};

}  // namespace vlq::platform
