#pragma once
// What every store's project has in common: the structure that the project
// service hands out (users, groups, documents, requirement types with their
// attributes and list items, external project references), read once when
// the project opens with the same statements in every store; the choice of the
// current user; and the connection properties, the store's own values
// replaced by the project's rows of VLCONNECTIONPROPERTIES, replaced by the
// manager's overrides. SqliteProject (a project file) and PgProject (a schema
// on a server) derive from it; their data stays in the store and is reached
// through DataServices.
//
// The manager holds its open projects; a project and its references hold the
// manager weakly (no cycle). Keep the manager while its projects are in use:
// without it Manager() is empty, and the engine finds no connection.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/variant.h"
#include "services/project.h"

namespace vlq::platform {

class StoreProjectManager;

// A row of VLEXTERNALPROJECTS, with the location it names (project_location.h).
class StoreExtProject : public ExtProject {
 public:
  struct Row {
    long RelKey = 0;
    std::string Prefix;
    std::string GUID;
    std::string Path;
    std::string FileName;
    bool IsDeleted = false;
  };

  StoreExtProject(Row row, std::string_view referringLocation, std::weak_ptr<StoreProjectManager> manager,
                  std::string userName);

  long RelKey() const override { return row_.RelKey; }
  std::string Prefix() const override { return row_.Prefix; }
  std::string GUID() const override { return row_.GUID; }
  // A file: its directory as an absolute path with the closing "/", so that
  // Path and FileName joined name the file. A server project: the URI of its
  // database, and its schema as FileName.
  std::string Path() const override { return path_; }
  std::string FileName() const override { return fileName_; }
  bool IsDeleted() const override { return row_.IsDeleted; }
  bool IsOpen() const override { return GetProject() != nullptr; }
  // Opens the project through the manager, which keeps it open, as the
  // referring project's current user where that user exists there, else as
  // the default user. Throws Failure.
  std::shared_ptr<Project> Open() override;
  std::shared_ptr<Project> GetProject() const override;

  const Row& Data() const { return row_; }
  // The project file's absolute path or the server URI; empty when the row
  // names nothing.
  const std::string& Location() const { return location_; }
  bool IsFile() const;

 private:
  Row row_;
  std::string location_;
  std::string identity_;  // of the location; empty when it can't be told
  std::string path_;
  std::string fileName_;
  std::weak_ptr<StoreProjectManager> manager_;
  std::string userName_;
};

class StoreExtProjects : public ExtProjects {
 public:
  explicit StoreExtProjects(std::vector<std::shared_ptr<StoreExtProject>> items) : items_(std::move(items)) {}
  long Count() const override { return static_cast<long>(items_.size()); }
  std::shared_ptr<ExtProject> Item(std::string_view value, ItemLookupKind kind) const override;
  const std::vector<std::shared_ptr<StoreExtProject>>& Items() const { return items_; }

 private:
  std::vector<std::shared_ptr<StoreExtProject>> items_;
};

class StoreProject : public Project {
 public:
  using Properties = std::vector<std::pair<std::string, std::string>>;
  // Runs a SELECT of the store and calls onRow with each row's cells.
  using RowReader =
      std::function<void(std::string_view sql, const std::function<void(const std::vector<Variant>&)>& onRow)>;

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
  // The file's absolute path, or the server URI with its schema.
  const std::string& Location() const { return location_; }
  // What tells two names of this project apart (LocationIdentity).
  const std::string& Identity() const { return identity_; }
  const std::vector<std::shared_ptr<StoreExtProject>>& ExtProjectItems() const { return extProjects_->Items(); }

 protected:
  StoreProject(std::weak_ptr<StoreProjectManager> manager, std::string location, std::string identity);

  // Reads the structure with read and chooses the current user (a name or a
  // decimal key; empty: the lowest key; a user that isn't there fails with
  // kFailureItemNotFound). Gives the connection properties: storeProperties,
  // replaced by the rows of VLCONNECTIONPROPERTIES, replaced by overrides.
  // Throws Failure with source.
  Properties LoadStructure(const RowReader& read, std::string_view user, Properties storeProperties,
                           const std::map<std::string, std::string>& overrides, std::string_view source);
  void SetDataServices(std::shared_ptr<DataServices> dataServices) { dataServices_ = std::move(dataServices); }
  const std::weak_ptr<StoreProjectManager>& ManagerRef() const { return manager_; }

 private:
  std::weak_ptr<StoreProjectManager> manager_;
  std::string location_;
  std::string identity_;
  std::shared_ptr<DataServices> dataServices_;
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
  std::shared_ptr<StoreExtProjects> extProjects_;
};

// A cell read by a RowReader as a whole number (NULL: 0; text as its leading
// digits, as SQLite reads it) and as text (NULL: "").
long CellWhole(const Variant& cell);
std::string CellText(const Variant& cell);

}  // namespace vlq::platform
