#pragma once
// An open project file: the Project of the project service over the store.
// The structure (users, groups, documents, requirement types with their
// attributes and list items, external project references) is read once when
// the project opens; the data stays in the file and is reached through
// DataServices.
//
// The manager holds its open projects; a project and its references hold the
// manager weakly (no cycle). Keep the manager while its projects are in use:
// without it Manager() is empty, and the engine finds no connection.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite_connection.h"
#include "platform/sqlite_data_services.h"
#include "services/project.h"

namespace vlq::platform {

class SqliteProjectManager;

// A row of VLEXTERNALPROJECTS, with the file it names. PATH is a directory;
// a relative one (or none) lies in the directory of the referring file.
class SqliteExtProject : public ExtProject {
 public:
  struct Row {
    long RelKey = 0;
    std::string Prefix;
    std::string GUID;
    std::string Path;
    std::string FileName;
    bool IsDeleted = false;
  };

  SqliteExtProject(Row row, const std::filesystem::path& referringDir, std::weak_ptr<SqliteProjectManager> manager,
                   std::string userName);

  long RelKey() const override { return row_.RelKey; }
  std::string Prefix() const override { return row_.Prefix; }
  std::string GUID() const override { return row_.GUID; }
  // The directory as an absolute path with its closing "/", so that Path and
  // FileName joined directly name the file.
  std::string Path() const override { return directory_; }
  std::string FileName() const override { return row_.FileName; }
  bool IsDeleted() const override { return row_.IsDeleted; }
  bool IsOpen() const override { return GetProject() != nullptr; }
  // Opens the file through the manager, which keeps it open, as the referring
  // project's current user where that user exists there, else as the default
  // user. Throws Failure.
  std::shared_ptr<Project> Open() override;
  std::shared_ptr<Project> GetProject() const override;

  // The absolute path of the file.
  const std::filesystem::path& File() const { return file_; }

 private:
  Row row_;
  std::string directory_;
  std::filesystem::path file_;
  std::weak_ptr<SqliteProjectManager> manager_;
  std::string userName_;
};

class SqliteExtProjects : public ExtProjects {
 public:
  explicit SqliteExtProjects(std::vector<std::shared_ptr<SqliteExtProject>> items) : items_(std::move(items)) {}
  long Count() const override { return static_cast<long>(items_.size()); }
  std::shared_ptr<ExtProject> Item(std::string_view value, ItemLookupKind kind) const override;
  const std::vector<std::shared_ptr<SqliteExtProject>>& Items() const { return items_; }

 private:
  std::vector<std::shared_ptr<SqliteExtProject>> items_;
};

class SqliteProject : public Project, public std::enable_shared_from_this<SqliteProject> {
  struct Token {};

 public:
  // Opens a project file as a user (name or decimal key; empty: the lowest
  // key), after creating what is missing of the schema. overrides replace
  // connection properties over the file's own. Throws Failure.
  static std::shared_ptr<SqliteProject> Open(const std::filesystem::path& file, std::string_view user,
                                             std::weak_ptr<SqliteProjectManager> manager,
                                             const std::map<std::string, std::string>& overrides,
                                             bool bReadOnly = false);
  explicit SqliteProject(Token) {}

  long Key() const override { return key_; }
  std::string GUID() const override { return guid_; }
  std::string Prefix() const override { return prefix_; }
  bool IsConnected() const override { return true; }
  long CurrentUserKey() const override { return currentUser_; }
  bool CurrentUserIsPrivileged() const override { return privileged_; }
  std::shared_ptr<ProjectManager> Manager() const override;
  const std::vector<User>& Users() const override { return users_; }
  const std::vector<Group>& Groups() const override { return groups_; }
  const std::vector<Document>& Documents() const override { return documents_; }
  const std::vector<ReqType>& ReqTypes() const override { return reqTypes_; }
  const ReqType* GetReqType(long key) const override;
  std::shared_ptr<ExtProjects> GetExtProjects() const override { return extProjects_; }
  // The same DataServices for every connection key.
  std::shared_ptr<DataServices> GetDataServices(std::string_view connectionKey) override;

  const std::string& Name() const { return name_; }
  // The current user's name; empty without a current user.
  const std::string& CurrentUserName() const { return currentUserName_; }
  // The file as an absolute path, and as the canonical path that tells two
  // names of one file apart.
  const std::filesystem::path& File() const { return file_; }
  const std::filesystem::path& CanonicalFile() const { return canonical_; }
  const std::shared_ptr<SqliteConnection>& Connection() const { return connection_; }

  // The schema under which the file named by an external-database clause is
  // attached to this project's connection ("" for this file itself). The
  // path is matched without regard to case and to its extension against the
  // known project files: this project's references, the projects open in the
  // manager and their references. A file found is opened through the
  // manager. Throws Failure for a path that names no known project file.
  std::string ResolveExternalDatabase(std::string_view path);

 private:
  void Load(std::string_view user, const std::map<std::string, std::string>& overrides);

  std::filesystem::path file_;
  std::filesystem::path canonical_;
  std::weak_ptr<SqliteProjectManager> manager_;
  std::shared_ptr<SqliteConnection> connection_;
  std::shared_ptr<SqliteDataServices> dataServices_;
  long key_ = 0;
  std::string guid_;
  std::string prefix_;
  std::string name_;
  long currentUser_ = 0;
  std::string currentUserName_;
  bool privileged_ = false;
  std::vector<User> users_;
  std::vector<Group> groups_;
  std::vector<Document> documents_;
  std::vector<ReqType> reqTypes_;
  std::shared_ptr<SqliteExtProjects> extProjects_;
};

// The canonical form of a project file's path, for telling files apart.
std::filesystem::path CanonicalProjectPath(const std::filesystem::path& file);

}  // namespace vlq::platform
