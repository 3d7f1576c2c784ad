#include "platform/sqlite_project_manager.h"

#include "model/text_util.h"
#include "platform/sqlite_project.h"

namespace vlq::platform {

std::shared_ptr<SqliteProjectManager> SqliteProjectManager::Create() {
  return std::shared_ptr<SqliteProjectManager>(new SqliteProjectManager());
}

SqliteProjectManager::~SqliteProjectManager() = default;

std::shared_ptr<Project> SqliteProjectManager::Open(const std::filesystem::path& file, std::string_view user) {
  const std::filesystem::path canonical = CanonicalProjectPath(file);
  for (const auto& project : open_) {
    auto sqlite = std::dynamic_pointer_cast<SqliteProject>(project);
    if (sqlite && sqlite->CanonicalFile() == canonical) return project;
  }
  std::shared_ptr<Project> project = SqliteProject::Open(file, user, weak_from_this(), overrides_, bReadOnly_);
  open_.push_back(project);
  return project;
}

void SqliteProjectManager::OverrideConnectionProperty(std::string name, std::string value) {
  // One entry per property, whatever the case of its name.
  for (auto it = overrides_.begin(); it != overrides_.end(); ++it) {
    if (text::EqualsNoCase(it->first, name)) {
      overrides_.erase(it);
      break;
    }
  }
  overrides_[std::move(name)] = std::move(value);
}

std::string SqliteProjectManager::ConnectionKey() const { return "VlQueryEngine.SqliteProjectStore"; }

std::shared_ptr<Project> SqliteProjectManager::GetProject(std::string_view prefix) {
  for (const auto& project : open_) {
    if (text::EqualsNoCase(project->Prefix(), prefix)) return project;
  }
  return nullptr;
}

std::shared_ptr<Project> SqliteProjectManager::OpenProjectsItem(std::string_view prefix) { return GetProject(prefix); }

std::vector<std::shared_ptr<Project>> SqliteProjectManager::OpenProjects() const { return open_; }

}  // namespace vlq::platform
