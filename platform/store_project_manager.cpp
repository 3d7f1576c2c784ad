#include "platform/store_project_manager.h"

#include "model/text_util.h"
#include "platform/pg_project.h"
#include "platform/pg_schema.h"
#include "platform/project_location.h"
#include "platform/sqlite_project.h"
#include "services/failure.h"

namespace vlq::platform {

void CreateProject(const std::string& location, const NewProjectInfo& info) {
  if (IsServerLocation(location)) {
    CreateServerProject(ParseServerLocation(location), info);
  } else {
    CreateProjectFile(location, info);
  }
}

std::shared_ptr<StoreProjectManager> StoreProjectManager::Create() {
  return std::shared_ptr<StoreProjectManager>(new StoreProjectManager());
}

StoreProjectManager::~StoreProjectManager() = default;

std::shared_ptr<Project> StoreProjectManager::Open(const std::string& location, std::string_view user) {
  if (auto open = FindOpen(LocationIdentity(location))) return open;
  std::shared_ptr<StoreProject> project;
  if (IsServerLocation(location)) {
    project = PgProject::Open(ParseServerLocation(location), user, weak_from_this(), overrides_);
  } else {
    project = SqliteProject::Open(location, user, weak_from_this(), overrides_, bReadOnly_);
  }
  open_.push_back(project);
  return project;
}

std::shared_ptr<Project> StoreProjectManager::OpenAsUserOrDefault(const std::string& location,
                                                                  const std::string& userName) {
  if (!userName.empty()) {
    try {
      return Open(location, userName);
    } catch (const Failure& f) {
      if (f.Number() != kFailureItemNotFound) throw;
    }
  }
  return Open(location);
}

std::shared_ptr<StoreProject> StoreProjectManager::FindOpen(const std::string& identity) const {
  for (const auto& project : open_) {
    if (project->Identity() == identity) return project;
  }
  return nullptr;
}

void StoreProjectManager::OverrideConnectionProperty(std::string name, std::string value) {
  // One entry per property, whatever the case of its name.
  for (auto it = overrides_.begin(); it != overrides_.end(); ++it) {
    if (text::EqualsNoCase(it->first, name)) {
      overrides_.erase(it);
      break;
    }
  }
  overrides_[std::move(name)] = std::move(value);
}

std::string StoreProjectManager::ConnectionKey() const { return "VlQueryEngine.ProjectStore"; }

std::shared_ptr<Project> StoreProjectManager::GetProject(std::string_view prefix) {
  for (const auto& project : open_) {
    if (text::EqualsNoCase(project->Prefix(), prefix)) return project;
  }
  return nullptr;
}

std::shared_ptr<Project> StoreProjectManager::OpenProjectsItem(std::string_view prefix) { return GetProject(prefix); }

}  // namespace vlq::platform
