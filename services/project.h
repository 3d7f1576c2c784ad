#pragma once
// The object model of an open project, as the engine relies on it. The engine
// only reads it and changes no project data. A host application puts its own
// object model behind these interfaces; platform/ has the SQLite project store.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "services/data_services.h"

namespace vlq {

// Structure elements are plain values: the project hands out what it holds.
struct ListItem {
  long Key = 0;
  std::string Text;
  std::string GUID;
};

struct Attr {
  long Key = 0;
  std::string Label;
  std::string GUID;
  int DataType = 0;     // the values of AttrDataType
  bool IsEdit = false;  // true: a free value; false: a list
  std::vector<ListItem> ListItems;
};

struct ReqType {
  long Key = 0;
  std::string Prefix;
  std::string GUID;
  std::vector<Attr> Attrs;
};

struct User {
  long Key = 0;
  std::string Name;
  std::string GUID;
  long GroupKey = 0;
};

struct Group {
  long Key = 0;
  std::string Name;
};

struct Document {
  long Key = 0;
  std::string Name;
  std::string GUID;
};

class Project;
class ProjectManager;

// Lookup kinds of Item: by key, by position from 1, by GUID, by prefix.
enum ItemLookupKind : int { eItemByKey = 1, eItemByPosition = 2, eItemByGUID = 3, eItemByPrefix = 4 };

// A reference from a project to another project file.
class ExtProject {
 public:
  virtual ~ExtProject() = default;
  virtual long RelKey() const = 0;
  virtual std::string Prefix() const = 0;
  virtual std::string GUID() const = 0;
  virtual std::string Path() const = 0;
  virtual std::string FileName() const = 0;
  virtual bool IsDeleted() const = 0;
  virtual bool IsOpen() const = 0;
  // Open(0, 0): opens the referenced project and keeps it open. Throws Failure
  // or gives nullptr when it can't.
  virtual std::shared_ptr<Project> Open() = 0;
  // The open project, nullptr while it isn't open.
  virtual std::shared_ptr<Project> GetProject() const = 0;
};

class ExtProjects {
 public:
  virtual ~ExtProjects() = default;
  virtual long Count() const = 0;
  // Item(value, kind); nullptr (or Failure) when nothing is found. By prefix
  // and GUID the comparison ignores case; by key the value is decimal text.
  virtual std::shared_ptr<ExtProject> Item(std::string_view value, ItemLookupKind kind) const = 0;
};

class ProjectManager {
 public:
  virtual ~ProjectManager() = default;
  // Client.ConnectionKey.
  virtual std::string ConnectionKey() const = 0;
  // GetProject(prefix, 4) and OpenProjects.Item(prefix, 4): the open project of
  // that prefix, nullptr (or Failure) when none is open.
  virtual std::shared_ptr<Project> GetProject(std::string_view prefix) = 0;
  virtual std::shared_ptr<Project> OpenProjectsItem(std::string_view prefix) = 0;
};

class Project {
 public:
  virtual ~Project() = default;
  virtual long Key() const = 0;
  virtual std::string GUID() const = 0;
  virtual std::string Prefix() const = 0;
  virtual bool IsConnected() const = 0;
  virtual long CurrentUserKey() const = 0;
  // True: the current user sees every discussion, with no restriction.
  virtual bool CurrentUserIsPrivileged() const = 0;
  virtual std::shared_ptr<ProjectManager> Manager() const = 0;
  virtual const std::vector<User>& Users() const = 0;
  virtual const std::vector<Group>& Groups() const = 0;
  virtual const std::vector<Document>& Documents() const = 0;
  virtual const std::vector<ReqType>& ReqTypes() const = 0;
  // GetReqType(key, 1); nullptr when there is no such type.
  virtual const ReqType* GetReqType(long key) const = 0;
  virtual std::shared_ptr<ExtProjects> GetExtProjects() const = 0;
  // DataServices(connection key); nullptr when the project can't supply one.
  virtual std::shared_ptr<DataServices> GetDataServices(std::string_view connectionKey) = 0;
};

}  // namespace vlq
