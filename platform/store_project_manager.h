#pragma once
// The project stores of the platform. A project lives in a project file
// (SQLite, extension .vlp) or in a schema of a database on a PostgreSQL
// server, named by a postgresql:// URI (project_location.h tells the forms).
// StoreProjectManager holds the open projects of a host, opens either kind,
// and serves the project service and DataServices over them; a reference
// from one project to another may cross from one kind to the other.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "services/project.h"

struct sqlite3;

namespace vlq::platform {

class StoreProject;

struct NewProjectInfo {
  long Key = 1;
  std::string Prefix = "PRJ";
  std::string Name = "Project";
  std::string GUID;  // empty: a new random GUID in braces
};

// Writes a new project: the whole schema and the VLPROJECT row, nothing else.
// A file must not exist yet; on a server the schema is made, and must not
// hold a project yet. Throws Failure, leaving nothing behind.
void CreateProject(const std::string& location, const NewProjectInfo& info);

// Writes a new project file, as CreateProject does for a file.
void CreateProjectFile(const std::filesystem::path& file, const NewProjectInfo& info);

// Creates in an open SQLite connection whatever of the schema is missing
// (tables, indexes, the attribute view of every attribute) and changes nothing
// that is there. Opening a project file runs it. A file that can't be
// written gets what it lacks as temporary tables and views of the connection.
void EnsureSchema(::sqlite3* db);

// Deletes rows that a project file's own work tables hold: the file store
// keeps a session's work rows in temporary tables of its connection, so rows
// in the file come only from a run of an older version that was cut short.
void ClearStaleWorkRows(::sqlite3* db);

class StoreProjectManager : public ProjectManager, public std::enable_shared_from_this<StoreProjectManager> {
 public:
  static std::shared_ptr<StoreProjectManager> Create();
  ~StoreProjectManager() override;

  // Opens a project file or a server project as the given user: a user name
  // or a decimal user key; empty means the user with the lowest key. A user
  // that doesn't exist fails with Failure; a project without users opens with
  // no current user (key 0). A project that is open already is handed out
  // again. A missing file, or a server schema that doesn't exist, fails.
  std::shared_ptr<Project> Open(const std::string& location, std::string_view user = {});
  // Opens a project as the named user where that user exists there, else as
  // the default user: how a reference opens the project it names.
  std::shared_ptr<Project> OpenAsUserOrDefault(const std::string& location, const std::string& userName);

  // Opens every project file from now on for reading only, as if it were
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
  const std::vector<std::shared_ptr<StoreProject>>& OpenProjects() const { return open_; }
  // The open project of that identity (LocationIdentity), nullptr for none.
  std::shared_ptr<StoreProject> FindOpen(const std::string& identity) const;

  const std::map<std::string, std::string>& ConnectionOverrides() const { return overrides_; }

 private:
  StoreProjectManager() = default;
  std::vector<std::shared_ptr<StoreProject>> open_;
  std::map<std::string, std::string> overrides_;
  bool bReadOnly_ = false;
};

}  // namespace vlq::platform
