#include "platform/sqlite_project.h"

#include <sqlite3.h>

#include <algorithm>
#include <unordered_map>

#include "model/text_util.h"
#include "platform/sqlite_project_manager.h"

namespace vlq::platform {
namespace {

constexpr const char* kOpenSource = "SqliteProjectManager.Open";

// The path without its extension, as the engine cuts it for an external
// database clause: behind the last "." that follows the last "\" or ":".
std::string PathWithoutExtension(std::string_view path) {
  const std::size_t sep = path.find_last_of("\\:");
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos || (sep != std::string_view::npos && dot < sep)) return std::string(path);
  return std::string(path.substr(0, dot));
}

std::string MatchKey(std::string_view path) { return text::Upper(PathWithoutExtension(path)); }

std::shared_ptr<SqliteProject> FindOpen(const std::shared_ptr<SqliteProjectManager>& manager,
                                        const std::filesystem::path& canonical) {
  if (!manager) return nullptr;
  for (const auto& project : manager->OpenProjects()) {
    auto sqlite = std::dynamic_pointer_cast<SqliteProject>(project);
    if (sqlite && sqlite->CanonicalFile() == canonical) return sqlite;
  }
  return nullptr;
}

// Opens a file through the manager as the named user, or as the default user
// when that user isn't in the file.
std::shared_ptr<Project> OpenAsUserOrDefault(SqliteProjectManager& manager, const std::filesystem::path& file,
                                             const std::string& userName) {
  if (!userName.empty()) {
    try {
      return manager.Open(file, userName);
    } catch (const Failure& f) {
      if (f.Number() != kFailureItemNotFound) throw;
    }
  }
  return manager.Open(file);
}

}  // namespace

std::filesystem::path CanonicalProjectPath(const std::filesystem::path& file) {
  std::error_code ec;
  auto canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(file, ec), ec);
  if (ec) return std::filesystem::absolute(file).lexically_normal();
  return canonical;
}

// ---- External project references --------------------------------------------------

SqliteExtProject::SqliteExtProject(Row row, const std::filesystem::path& referringDir,
                                   std::weak_ptr<SqliteProjectManager> manager, std::string userName)
    : row_(std::move(row)), manager_(std::move(manager)), userName_(std::move(userName)) {
  std::filesystem::path dir(row_.Path);
  if (dir.empty() || dir.is_relative()) dir = referringDir / dir;
  dir = dir.lexically_normal();
  directory_ = dir.string();
  if (directory_.empty() || directory_.back() != '/') directory_ += '/';
  file_ = (std::filesystem::path(directory_) / row_.FileName).lexically_normal();
}

std::shared_ptr<Project> SqliteExtProject::Open() {
  constexpr const char* kSource = "ExtProject.Open";
  auto manager = manager_.lock();
  if (!manager) throw Failure(kFailureNotSupported, kSource, "The project manager of this reference is gone");
  if (row_.FileName.empty()) {
    throw Failure(SQLITE_CANTOPEN, kSource,
                  "The external project reference " + std::to_string(row_.RelKey) + " names no file");
  }
  return OpenAsUserOrDefault(*manager, file_, userName_);
}

std::shared_ptr<Project> SqliteExtProject::GetProject() const {
  if (row_.FileName.empty()) return nullptr;
  return FindOpen(manager_.lock(), CanonicalProjectPath(file_));
}

std::shared_ptr<ExtProject> SqliteExtProjects::Item(std::string_view value, ItemLookupKind kind) const {
  switch (kind) {
    case eItemByKey: {
      if (!text::IsDecimalWhole(value)) return nullptr;
      const long key = std::stol(text::Trim(value));
      for (const auto& item : items_) {
        if (item->RelKey() == key) return item;
      }
      return nullptr;
    }
    case eItemByPosition: {
      if (!text::IsDecimalWhole(value)) return nullptr;
      const long position = std::stol(text::Trim(value));
      if (position < 1 || position > Count()) return nullptr;
      return items_[static_cast<std::size_t>(position - 1)];
    }
    case eItemByGUID:
      for (const auto& item : items_) {
        if (text::EqualsNoCase(item->GUID(), value)) return item;
      }
      return nullptr;
    case eItemByPrefix:
      for (const auto& item : items_) {
        if (text::EqualsNoCase(item->Prefix(), value)) return item;
      }
      return nullptr;
  }
  return nullptr;
}

// ---- SqliteProject ------------------------------------------------------------------

std::shared_ptr<SqliteProject> SqliteProject::Open(const std::filesystem::path& file, std::string_view user,
                                                   std::weak_ptr<SqliteProjectManager> manager,
                                                   const std::map<std::string, std::string>& overrides,
                                                   bool bReadOnly) {
  auto project = std::make_shared<SqliteProject>(Token{});
  project->manager_ = std::move(manager);
  project->file_ = std::filesystem::absolute(file).lexically_normal();
  project->canonical_ = CanonicalProjectPath(file);
  std::error_code ec;
  if (!std::filesystem::is_regular_file(project->file_, ec)) {
    throw Failure(SQLITE_CANTOPEN, kOpenSource, "The project file " + project->file_.string() + " does not exist");
  }
  project->connection_ = SqliteConnection::Open(project->file_, false, bReadOnly);
  EnsureSchema(project->connection_->Handle());
  if (!project->connection_->IsReadOnly()) ClearStaleWorkRows(project->connection_->Handle());
  project->Load(user, overrides);
  return project;
}

void SqliteProject::Load(std::string_view user, const std::map<std::string, std::string>& overrides) {
  ::sqlite3* db = connection_->Handle();
  {
    SqliteStatement row(db, "SELECT ID, GUID, PREFIX, NAME FROM VLPROJECT ORDER BY ID LIMIT 1", kOpenSource);
    if (!row.Step()) {
      throw Failure(kFailureItemNotFound, kOpenSource,
                    "The project file " + file_.string() + " has no project row in VLPROJECT");
    }
    key_ = static_cast<long>(row.Int(0));
    guid_ = row.Text(1);
    prefix_ = row.Text(2);
    name_ = row.Text(3);
  }

  std::unordered_map<long, bool> privileged;
  {
    SqliteStatement rows(db, "SELECT ID, FULLNAME, GUID, GROUPID, PRIVILEGED FROM VLUSERS ORDER BY ID", kOpenSource);
    while (rows.Step()) {
      User u{static_cast<long>(rows.Int(0)), rows.Text(1), rows.Text(2), static_cast<long>(rows.Int(3))};
      privileged[u.Key] = rows.Int(4) != 0;
      users_.push_back(std::move(u));
    }
  }
  {
    SqliteStatement rows(db, "SELECT ID, NAME FROM VLGROUPS ORDER BY ID", kOpenSource);
    while (rows.Step()) groups_.push_back(Group{static_cast<long>(rows.Int(0)), rows.Text(1)});
  }
  {
    SqliteStatement rows(db, "SELECT ID, NAME, GUID FROM VLDOCUMENTS ORDER BY ID", kOpenSource);
    while (rows.Step()) documents_.push_back(Document{static_cast<long>(rows.Int(0)), rows.Text(1), rows.Text(2)});
  }
  {
    SqliteStatement rows(db, "SELECT ID, PREFIX, GUID FROM VLREQUIREMENTTYPES ORDER BY ID", kOpenSource);
    while (rows.Step()) reqTypes_.push_back(ReqType{static_cast<long>(rows.Int(0)), rows.Text(1), rows.Text(2), {}});
  }
  {
    std::unordered_map<long, std::vector<ListItem>> items;
    SqliteStatement itemRows(db,
                             "SELECT FIELDID, ITEMID, ITEMTEXT, GUID FROM VLUSERDEFINEDLISTITEMS "
                             "ORDER BY FIELDID, ITEMRANK, ITEMID",
                             kOpenSource);
    while (itemRows.Step()) {
      items[static_cast<long>(itemRows.Int(0))].push_back(
          ListItem{static_cast<long>(itemRows.Int(1)), itemRows.Text(2), itemRows.Text(3)});
    }
    SqliteStatement rows(db, "SELECT ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE FROM VLATTRIBUTES ORDER BY ID",
                         kOpenSource);
    while (rows.Step()) {
      Attr a;
      a.Key = static_cast<long>(rows.Int(0));
      a.Label = rows.Text(2);
      a.GUID = rows.Text(3);
      a.DataType = static_cast<int>(rows.Int(4));
      a.IsEdit = a.DataType != 0 && a.DataType != 10;
      if (auto it = items.find(a.Key); it != items.end()) a.ListItems = it->second;
      const long type = static_cast<long>(rows.Int(1));
      for (ReqType& t : reqTypes_) {
        if (t.Key == type) {
          t.Attrs.push_back(std::move(a));
          break;
        }
      }
    }
  }

  // The current user: by key or by name, or the lowest key; none in a file
  // without users.
  const User* current = nullptr;
  if (user.empty()) {
    if (!users_.empty()) current = &users_.front();
  } else {
    if (text::IsDecimalWhole(user)) {
      const long key = std::stol(text::Trim(user));
      for (const User& u : users_) {
        if (u.Key == key) current = &u;
      }
    }
    if (!current) {
      for (const User& u : users_) {
        if (!current && text::EqualsNoCase(u.Name, user)) current = &u;
      }
    }
    if (!current) {
      throw Failure(kFailureItemNotFound, kOpenSource,
                    "The project file " + file_.string() + " has no user \"" + std::string(user) + "\"");
    }
  }
  if (current) {
    currentUser_ = current->Key;
    currentUserName_ = current->Name;
    privileged_ = privileged[current->Key];
  }

  {
    std::vector<std::shared_ptr<SqliteExtProject>> refs;
    SqliteStatement rows(db, "SELECT RELKEY, PREFIX, GUID, PATH, FILENAME, ISDELETED FROM VLEXTERNALPROJECTS",
                         kOpenSource);
    while (rows.Step()) {
      SqliteExtProject::Row r{static_cast<long>(rows.Int(0)), rows.Text(1), rows.Text(2),
                              rows.Text(3), rows.Text(4), rows.Int(5) != 0};
      refs.push_back(
          std::make_shared<SqliteExtProject>(std::move(r), file_.parent_path(), manager_, currentUserName_));
    }
    extProjects_ = std::make_shared<SqliteExtProjects>(std::move(refs));
  }

  // Connection properties: the store's own values, replaced by the file's
  // rows of VLCONNECTIONPROPERTIES, replaced by the manager's overrides.
  SqliteDataServices::Properties properties = {
      {"dbmsnamecode", "1"}, {"schema", ""}, {"database", file_.string()}, {"server", ""}};
  auto put = [&properties](const std::string& name, const std::string& value) {
    for (auto& [key, old] : properties) {
      if (text::EqualsNoCase(key, name)) {
        old = value;
        return;
      }
    }
    properties.emplace_back(name, value);
  };
  {
    SqliteStatement rows(db, "SELECT NAME, VALUE FROM VLCONNECTIONPROPERTIES", kOpenSource);
    while (rows.Step()) {
      if (!rows.IsNull(0)) put(rows.Text(0), rows.Text(1));
    }
  }
  for (const auto& [name, value] : overrides) put(name, value);

  std::weak_ptr<SqliteProject> weak = weak_from_this();
  dataServices_ = std::make_shared<SqliteDataServices>(
      connection_, std::move(properties), currentUserName_, [weak](std::string_view path) {
        auto self = weak.lock();
        if (!self) {
          throw Failure(kFailureNotSupported, "DataServices.Execute",
                        "The project of this connection is closed; its external databases can't be reached");
        }
        return self->ResolveExternalDatabase(path);
      });
}

std::shared_ptr<ProjectManager> SqliteProject::Manager() const { return manager_.lock(); }

const ReqType* SqliteProject::GetReqType(long key) const {
  for (const ReqType& type : reqTypes_) {
    if (type.Key == key) return &type;
  }
  return nullptr;
}

std::shared_ptr<DataServices> SqliteProject::GetDataServices(std::string_view) { return dataServices_; }

std::string SqliteProject::ResolveExternalDatabase(std::string_view path) {
  constexpr const char* kSource = "DataServices.Execute";
  auto manager = manager_.lock();
  std::vector<std::filesystem::path> known{file_};
  for (const auto& ext : extProjects_->Items()) known.push_back(ext->File());
  if (manager) {
    for (const auto& project : manager->OpenProjects()) {
      auto sqlite = std::dynamic_pointer_cast<SqliteProject>(project);
      if (!sqlite) continue;
      known.push_back(sqlite->File());
      for (const auto& ext : sqlite->extProjects_->Items()) known.push_back(ext->File());
    }
  }
  const std::string target = MatchKey(path);
  auto found = std::find_if(known.begin(), known.end(),
                            [&](const std::filesystem::path& file) { return MatchKey(file.string()) == target; });
  if (found == known.end()) {
    throw Failure(SQLITE_CANTOPEN, kSource,
                  "The external database '" + std::string(path) + "' names no known project file");
  }
  const std::filesystem::path canonical = CanonicalProjectPath(*found);
  if (canonical == canonical_) return {};
  std::error_code ec;
  if (!std::filesystem::exists(canonical, ec)) {
    throw Failure(SQLITE_CANTOPEN, kSource,
                  "The external database '" + std::string(path) + "' is the project file " + found->string() +
                      ", which does not exist");
  }
  // Opening it through the manager makes sure that its schema and attribute
  // views are complete before its tables are read here.
  if (manager && !FindOpen(manager, canonical)) OpenAsUserOrDefault(*manager, *found, currentUserName_);
  return connection_->AttachedSchema(canonical, kSource);
}

}  // namespace vlq::platform
