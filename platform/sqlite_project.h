#pragma once
// An open project file: the project of the store on SQLite. What every store's
// project has in common (the structure, the current user, the references and
// the connection properties) is StoreProject's; this class opens the file,
// completes its schema, and resolves the external-database clauses of the Jet
// dialect against the project files it knows.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/sqlite_connection.h"
#include "platform/sqlite_data_services.h"
#include "platform/store_project.h"

namespace vlq::platform {

class SqliteProject : public StoreProject, public std::enable_shared_from_this<SqliteProject> {
  struct Token {};

 public:
  // Opens a project file as a user (name or decimal key; empty: the lowest
  // key), after creating what is missing of the schema. overrides replace
  // connection properties over the file's own. Throws Failure.
  static std::shared_ptr<SqliteProject> Open(const std::filesystem::path& file, std::string_view user,
                                             std::weak_ptr<StoreProjectManager> manager,
                                             const std::map<std::string, std::string>& overrides,
                                             bool bReadOnly = false);
  SqliteProject(Token, std::weak_ptr<StoreProjectManager> manager, const std::filesystem::path& file);

  // The file as an absolute path.
  const std::filesystem::path& File() const { return file_; }
  const std::shared_ptr<SqliteConnection>& Connection() const { return connection_; }

  // The schema under which the file named by an external-database clause is
  // attached to this project's connection ("" for this file itself). The
  // path is matched without regard to case and to its extension against the
  // known project files: this project's references, the projects open in the
  // manager and their references. A file found is opened through the
  // manager. Throws Failure for a path that names no known project file.
  std::string ResolveExternalDatabase(std::string_view path);

 private:
  std::filesystem::path file_;
  std::shared_ptr<SqliteConnection> connection_;
};

}  // namespace vlq::platform
