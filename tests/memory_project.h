#pragma once
// An in-memory project for tests that touch no SQL: requirement types with
// their attributes and list items, users, groups, documents and external
// project references, all plain data that a test fills as it needs. It has a
// connection (a manager, data services with the four connection properties)
// so that specifiers resolve against it, but its data services run no
// statement: Execute throws.
//
//   auto project = vlq::test::MemoryProject::Make(1, "PRJ", "{...}");
//   project->AddReqType({5, "PR", "{...}", {}});
//   project->AddAttr("PR", {12, "Priority", "{...}", 0, false, {{34, "High", "{...}"}}});
//
// MakeSampleProject() gives a ready project that the typed-model tests share.

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/text_util.h"
#include "services/failure.h"
#include "services/project.h"

namespace vlq::test {

class MemoryDataServices : public DataServices {
 public:
  std::map<std::string, std::string> Properties{
      {"dbmsnamecode", "1"}, {"schema", ""}, {"database", "memory"}, {"server", ""}};

  std::shared_ptr<ResultSet> Execute(std::string_view sql, long& /*lRowsAffected*/) override {
    throw Failure(-2147217900, "MemoryDataServices.Execute",
                  "An in-memory project runs no statement: " + std::string(sql));
  }
  std::string ConnectionProperty(std::string_view name) override {
    auto it = Properties.find(std::string(name));
    if (it == Properties.end()) throw Failure(3265, "MemoryDataServices", "No such property: " + std::string(name));
    return it->second;
  }
  std::string ConnectionAttribute(std::string_view /*name*/) override { return {}; }
  std::vector<SchemaColumn> OpenSchema(int /*kind*/) override { return {}; }
};

// The manager that all memory projects of a test share: it knows the open ones
// by prefix.
class MemoryProjectManager : public ProjectManager {
 public:
  std::string ConnectionKey() const override { return "memory"; }
  std::shared_ptr<Project> GetProject(std::string_view prefix) override { return Find(prefix); }
  std::shared_ptr<Project> OpenProjectsItem(std::string_view prefix) override { return Find(prefix); }

  void Register(const std::shared_ptr<Project>& project) { open_.push_back(project); }
  void Unregister(const Project* project) {
    std::erase_if(open_, [project](const std::weak_ptr<Project>& p) {
      auto locked = p.lock();
      return !locked || locked.get() == project;
    });
  }

 private:
  std::shared_ptr<Project> Find(std::string_view prefix) const {
    for (const auto& weak : open_) {
      if (auto project = weak.lock(); project && text::EqualsNoCase(project->Prefix(), prefix)) return project;
    }
    return nullptr;
  }
  std::vector<std::weak_ptr<Project>> open_;
};

class MemoryExtProject : public ExtProject {
 public:
  long relKey = 0;
  std::string prefix;
  std::string guid;
  std::string path = "./";
  std::string fileName;
  bool deleted = false;
  bool open = true;
  // The project the reference leads to; GetProject gives it only while open.
  std::shared_ptr<Project> target;

  long RelKey() const override { return relKey; }
  std::string Prefix() const override { return prefix; }
  std::string GUID() const override { return guid; }
  std::string Path() const override { return path; }
  std::string FileName() const override { return fileName; }
  bool IsDeleted() const override { return deleted; }
  bool IsOpen() const override { return open; }
  std::shared_ptr<Project> Open() override {
    if (!target) return nullptr;
    open = true;
    return target;
  }
  std::shared_ptr<Project> GetProject() const override { return open ? target : nullptr; }
};

class MemoryExtProjects : public ExtProjects {
 public:
  std::vector<std::shared_ptr<MemoryExtProject>> items;

  long Count() const override { return static_cast<long>(items.size()); }
  std::shared_ptr<ExtProject> Item(std::string_view value, ItemLookupKind kind) const override {
    if (kind == eItemByPosition) {
      const long position = std::stol(std::string(value));
      if (position < 1 || position > Count()) return nullptr;
      return items[static_cast<std::size_t>(position - 1)];
    }
    for (const auto& item : items) {
      const bool match = kind == eItemByKey    ? std::to_string(item->relKey) == value
                         : kind == eItemByGUID ? text::EqualsNoCase(item->guid, value)
                                               : text::EqualsNoCase(item->prefix, value);
      if (match) return item;
    }
    return nullptr;
  }
};

class MemoryProject : public Project, public std::enable_shared_from_this<MemoryProject> {
 public:
  long key = 0;
  std::string guid;
  std::string prefix;
  bool connected = true;
  long currentUserKey = 0;
  bool privileged = false;
  std::vector<User> users;
  std::vector<Group> groups;
  std::vector<Document> documents;
  std::vector<ReqType> reqTypes;
  std::shared_ptr<MemoryExtProjects> extProjects = std::make_shared<MemoryExtProjects>();
  std::shared_ptr<MemoryProjectManager> manager;
  std::shared_ptr<MemoryDataServices> dataServices = std::make_shared<MemoryDataServices>();

  // A project registered as open with the manager (a new manager when none is
  // given).
  static std::shared_ptr<MemoryProject> Make(long lKey, std::string sPrefix, std::string sGUID,
                                             std::shared_ptr<MemoryProjectManager> oManager = nullptr) {
    auto project = std::make_shared<MemoryProject>();
    project->key = lKey;
    project->prefix = std::move(sPrefix);
    project->guid = std::move(sGUID);
    project->manager = oManager ? std::move(oManager) : std::make_shared<MemoryProjectManager>();
    project->manager->Register(project);
    return project;
  }

  // ---- Filling ----
  ReqType& AddReqType(ReqType type) { return reqTypes.emplace_back(std::move(type)); }
  // Adds an attribute to the requirement type of that prefix.
  Attr& AddAttr(std::string_view sTypePrefix, Attr attr) {
    return Type(sTypePrefix).Attrs.emplace_back(std::move(attr));
  }
  ReqType& Type(std::string_view sTypePrefix) {
    for (ReqType& type : reqTypes) {
      if (text::EqualsNoCase(type.Prefix, sTypePrefix)) return type;
    }
    throw std::logic_error("no requirement type " + std::string(sTypePrefix));
  }
  // A reference from this project to another, under a relative key.
  std::shared_ptr<MemoryExtProject> AddExtProject(long lRelKey, const std::shared_ptr<MemoryProject>& oTarget) {
    auto ref = std::make_shared<MemoryExtProject>();
    ref->relKey = lRelKey;
    ref->prefix = oTarget->prefix;
    ref->guid = oTarget->guid;
    ref->fileName = text::Upper(oTarget->prefix) + ".vlp";
    ref->target = oTarget;
    extProjects->items.push_back(ref);
    return ref;
  }

  // ---- Project ----
  long Key() const override { return key; }
  std::string GUID() const override { return guid; }
  std::string Prefix() const override { return prefix; }
  bool IsConnected() const override { return connected; }
  long CurrentUserKey() const override { return currentUserKey; }
  bool CurrentUserIsPrivileged() const override { return privileged; }
  std::shared_ptr<ProjectManager> Manager() const override { return manager; }
  const std::vector<User>& Users() const override { return users; }
  const std::vector<Group>& Groups() const override { return groups; }
  const std::vector<Document>& Documents() const override { return documents; }
  const std::vector<ReqType>& ReqTypes() const override { return reqTypes; }
  const ReqType* GetReqType(long lKey) const override {
    for (const ReqType& type : reqTypes) {
      if (type.Key == lKey) return &type;
    }
    return nullptr;
  }
  std::shared_ptr<ExtProjects> GetExtProjects() const override { return extProjects; }
  std::shared_ptr<DataServices> GetDataServices(std::string_view connectionKey) override {
    return connectionKey == "memory" ? dataServices : nullptr;
  }
};

// GUIDs of the sample project: {A0000000-0000-0000-0000-0000000000nn} with nn
// the element's key in decimal, and a letter in front for the kind of
// element (T type, A attribute, I list item, U user, D document).
inline std::string SampleGUID(char cKind, long lKey) {
  std::string digits = std::to_string(lKey);
  digits.insert(0, 12 - digits.size(), '0');
  return std::string("{") + cKind + "0000000-0000-0000-0000-" + digits + "}";
}

// The sample project PRJ (key 1) of the typed-model tests:
//   PR (type 5): Priority (list 12: High 34, Medium 35, Low 36),
//     Difficulty (whole number 14), Title (text 15), Cost (real number 16),
//     Due (date 17), Start (time 18), Tags (multi-select list 19: Red 41,
//     Green 42), and a list named "Key" (21, item One 51) that the system
//     attribute KEY shadows
//   SR (type 7): Priority (list 22: High 61, Low 62)
//   users Ann 3 and Bob 4 (group Team 2), current user Ann; document Spec 8
//   external project EXT (relative key 1, project key 9) with PR (type 5)
//     holding Priority (list 12: High 34); a second reference OLD (relative
//     key 2) to a project on another database type (dbmsnamecode 5).
inline std::shared_ptr<MemoryProject> MakeSampleProject() {
  auto project = MemoryProject::Make(1, "PRJ", "{11111111-2222-3333-4444-555555555555}");
  project->currentUserKey = 3;
  project->AddReqType({5, "PR", SampleGUID('T', 5), {}});
  project->AddReqType({7, "SR", SampleGUID('T', 7), {}});
  project->AddAttr(
      "PR",
      {12,
       "Priority",
       SampleGUID('A', 12),
       0,
       false,
       {{34, "High", SampleGUID('I', 34)}, {35, "Medium", SampleGUID('I', 35)}, {36, "Low", SampleGUID('I', 36)}}});
  project->AddAttr("PR", {14, "Difficulty", SampleGUID('A', 14), 2, true, {}});
  project->AddAttr("PR", {15, "Title", SampleGUID('A', 15), 1, true, {}});
  project->AddAttr("PR", {16, "Cost", SampleGUID('A', 16), 3, true, {}});
  project->AddAttr("PR", {17, "Due", SampleGUID('A', 17), 4, true, {}});
  project->AddAttr("PR", {18, "Start", SampleGUID('A', 18), 5, true, {}});
  project->AddAttr("PR", {19,
                          "Tags",
                          SampleGUID('A', 19),
                          10,
                          false,
                          {{41, "Red", SampleGUID('I', 41)}, {42, "Green", SampleGUID('I', 42)}}});
  project->AddAttr("PR", {21, "Key", SampleGUID('A', 21), 0, false, {{51, "One", SampleGUID('I', 51)}}});
  project->AddAttr("SR", {22,
                          "Priority",
                          SampleGUID('A', 22),
                          0,
                          false,
                          {{61, "High", SampleGUID('I', 61)}, {62, "Low", SampleGUID('I', 62)}}});
  project->users = {{3, "Ann", SampleGUID('U', 3), 2}, {4, "Bob", SampleGUID('U', 4), 2}};
  project->groups = {{2, "Team"}};
  project->documents = {{8, "Spec", SampleGUID('D', 8)}};

  auto external = MemoryProject::Make(9, "EXT", "{99999999-2222-3333-4444-555555555555}", project->manager);
  external->AddReqType({5, "PR", "{E0000000-0000-0000-0000-000000000005}", {}});
  external->AddAttr("PR", {12,
                           "Priority",
                           "{E0000000-0000-0000-0000-000000000012}",
                           0,
                           false,
                           {{34, "High", "{E0000000-0000-0000-0000-000000000034}"}}});
  project->AddExtProject(1, external);

  auto other = MemoryProject::Make(11, "OLD", "{77777777-2222-3333-4444-555555555555}", project->manager);
  other->dataServices->Properties["dbmsnamecode"] = "5";
  other->AddReqType({3, "UR", "{F0000000-0000-0000-0000-000000000003}", {}});
  project->AddExtProject(2, other);
  // The references keep the external projects alive.
  return project;
}

}  // namespace vlq::test
