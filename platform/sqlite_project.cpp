#include "platform/sqlite_project.h"

#include <sqlite3.h>

#include <algorithm>
#include <vector>

#include "model/text_util.h"
#include "platform/project_location.h"
#include "platform/store_project_manager.h"

namespace vlq::platform {
namespace {

constexpr const char* kOpenSource = "StoreProjectManager.Open";

// The path without its extension, as the engine cuts it for an external
// database clause: behind the last "." that follows the last "\" or ":".
std::string PathWithoutExtension(std::string_view path) {
  const std::size_t sep = path.find_last_of("\\:");
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos || (sep != std::string_view::npos && dot < sep)) return std::string(path);
  return std::string(path.substr(0, dot));
}

// The engine writes the path in capitals; it names the file whose path is the
// same without regard to case.
std::string MatchKey(std::string_view path) { return text::Fold(PathWithoutExtension(path)); }

}  // namespace

SqliteProject::SqliteProject(Token, std::weak_ptr<StoreProjectManager> manager, const std::filesystem::path& file)
    : StoreProject(std::move(manager), std::filesystem::absolute(file).lexically_normal().string(),
                   LocationIdentity(file.string())),
      file_(std::filesystem::absolute(file).lexically_normal()) {}

std::shared_ptr<SqliteProject> SqliteProject::Open(const std::filesystem::path& file, std::string_view user,
                                                   std::weak_ptr<StoreProjectManager> manager,
                                                   const std::map<std::string, std::string>& overrides,
                                                   bool bReadOnly) {
  auto project = std::make_shared<SqliteProject>(Token{}, std::move(manager), file);
  std::error_code ec;
  if (!std::filesystem::is_regular_file(project->file_, ec)) {
    throw Failure(SQLITE_CANTOPEN, kOpenSource, "The project file " + project->file_.string() + " does not exist");
  }
  project->connection_ = SqliteConnection::Open(project->file_, false, bReadOnly);
  ::sqlite3* db = project->connection_->Handle();
  EnsureSchema(db);
  if (!project->connection_->IsReadOnly()) ClearStaleWorkRows(db);

  const auto read = [db](std::string_view sql, const std::function<void(const std::vector<Variant>&)>& onRow) {
    SqliteStatement rows(db, sql, kOpenSource);
    std::vector<Variant> cells(static_cast<std::size_t>(rows.ColumnCount()));
    while (rows.Step()) {
      for (std::size_t c = 0; c < cells.size(); ++c) cells[c] = rows.Value(static_cast<int>(c));
      onRow(cells);
    }
  };
  SqliteDataServices::Properties properties = project->LoadStructure(
      read, user, {{"dbmsnamecode", "1"}, {"schema", ""}, {"database", project->file_.string()}, {"server", ""}},
      overrides, kOpenSource);

  std::weak_ptr<SqliteProject> weak = project;
  project->SetDataServices(std::make_shared<SqliteDataServices>(
      project->connection_, std::move(properties), project->CurrentUserName(), [weak](std::string_view path) {
        auto self = weak.lock();
        if (!self) {
          throw Failure(kFailureNotSupported, "DataServices.Execute",
                        "The project of this connection is closed; its external databases can't be reached");
        }
        return self->ResolveExternalDatabase(path);
      }));
  return project;
}

std::string SqliteProject::ResolveExternalDatabase(std::string_view path) {
  constexpr const char* kSource = "DataServices.Execute";
  auto manager = ManagerRef().lock();
  std::vector<std::string> known{Location()};
  const auto addReferences = [&known](const StoreProject& project) {
    for (const auto& ext : project.ExtProjectItems()) {
      if (ext->IsFile()) known.push_back(ext->Location());
    }
  };
  addReferences(*this);
  if (manager) {
    for (const auto& project : manager->OpenProjects()) {
      if (IsServerLocation(project->Location())) continue;
      known.push_back(project->Location());
      addReferences(*project);
    }
  }
  const std::string target = MatchKey(path);
  auto found =
      std::find_if(known.begin(), known.end(), [&](const std::string& file) { return MatchKey(file) == target; });
  if (found == known.end()) {
    throw Failure(SQLITE_CANTOPEN, kSource,
                  "The external database '" + std::string(path) + "' names no known project file");
  }
  const std::string identity = LocationIdentity(*found);
  if (identity == Identity()) return {};
  std::error_code ec;
  if (!std::filesystem::exists(identity, ec)) {
    throw Failure(
        SQLITE_CANTOPEN, kSource,
        "The external database '" + std::string(path) + "' is the project file " + *found + ", which does not exist");
  }
  // Opening it through the manager makes sure that its schema and attribute
  // views are complete before its tables are read here.
  if (manager && !manager->FindOpen(identity)) manager->OpenAsUserOrDefault(*found, CurrentUserName());
  return connection_->AttachedSchema(identity, kSource);
}

}  // namespace vlq::platform
