#include "platform/store_project.h"

#include <cstdlib>
#include <unordered_map>

#include "model/text_util.h"
#include "platform/project_location.h"
#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"

namespace vlq::platform {

long CellWhole(const Variant& cell) {
  if (cell.IsWhole()) return static_cast<long>(cell.Whole());
  if (cell.IsReal()) return static_cast<long>(cell.Real());
  if (cell.IsBoolean()) return cell.Boolean() ? 1 : 0;
  if (cell.IsText()) return std::strtol(cell.Text().c_str(), nullptr, 10);
  return 0;
}

std::string CellText(const Variant& cell) { return cell.IsText() ? cell.Text() : cell.ToText(); }

// ---- External project references --------------------------------------------------

StoreExtProject::StoreExtProject(Row row, std::string_view referringLocation,
                                 std::weak_ptr<StoreProjectManager> manager, std::string userName)
    : row_(std::move(row)), manager_(std::move(manager)), userName_(std::move(userName)) {
  location_ = ReferencedLocation(referringLocation, row_.Path, row_.FileName);
  if (!location_.empty()) {
    try {
      identity_ = LocationIdentity(location_);
    } catch (const Failure&) {
      identity_.clear();
    }
  }
  fileName_ = row_.FileName;
  if (IsServerLocation(location_)) {
    const ServerLocation server = ParseServerLocation(location_);
    path_ = server.ConnectionUri;
    fileName_ = server.Schema;
  } else if (!location_.empty()) {
    const std::filesystem::path file(location_);
    path_ = file.parent_path().string();
    if (path_.empty() || path_.back() != '/') path_ += '/';
    fileName_ = file.filename().string();
  } else {
    // A row that names nothing keeps its directory as it would read for a file.
    std::filesystem::path dir(row_.Path);
    if (!IsServerLocation(referringLocation) && (dir.empty() || dir.is_relative())) {
      dir = std::filesystem::absolute(referringLocation).parent_path() / dir;
    }
    path_ = dir.lexically_normal().string();
    if (path_.empty() || path_.back() != '/') path_ += '/';
  }
}

bool StoreExtProject::IsFile() const { return !location_.empty() && !IsServerLocation(location_); }

std::shared_ptr<Project> StoreExtProject::Open() {
  constexpr const char* kSource = "ExtProject.Open";
  auto manager = manager_.lock();
  if (!manager) throw Failure(kFailureNotSupported, kSource, "The project manager of this reference is gone");
  if (location_.empty()) {
    throw Failure(kFailureBadLocation, kSource,
                  "The external project reference " + std::to_string(row_.RelKey) + " names no project (PATH \"" +
                      row_.Path + "\", FILENAME \"" + row_.FileName + "\")");
  }
  return manager->OpenAsUserOrDefault(location_, userName_);
}

std::shared_ptr<Project> StoreExtProject::GetProject() const {
  auto manager = manager_.lock();
  if (identity_.empty() || !manager) return nullptr;
  return manager->FindOpen(identity_);
}

std::shared_ptr<ExtProject> StoreExtProjects::Item(std::string_view value, ItemLookupKind kind) const {
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

// ---- StoreProject -------------------------------------------------------------------

StoreProject::StoreProject(std::weak_ptr<StoreProjectManager> manager, std::string location, std::string identity)
    : manager_(std::move(manager)), location_(std::move(location)), identity_(std::move(identity)) {}

std::shared_ptr<ProjectManager> StoreProject::Manager() const { return manager_.lock(); }

const ReqType* StoreProject::GetReqType(long key) const {
  for (const ReqType& type : reqTypes_) {
    if (type.Key == key) return &type;
  }
  return nullptr;
}

std::shared_ptr<DataServices> StoreProject::GetDataServices(std::string_view) { return dataServices_; }

StoreProject::Properties StoreProject::LoadStructure(const RowReader& read, std::string_view user,
                                                     Properties storeProperties,
                                                     const std::map<std::string, std::string>& overrides,
                                                     std::string_view source) {
  using Cells = std::vector<Variant>;
  bool bProjectRow = false;
  read("SELECT ID, GUID, PREFIX, NAME FROM VLPROJECT ORDER BY ID LIMIT 1", [&](const Cells& row) {
    bProjectRow = true;
    key_ = CellWhole(row[0]);
    guid_ = CellText(row[1]);
    prefix_ = CellText(row[2]);
    name_ = CellText(row[3]);
  });
  if (!bProjectRow) {
    throw Failure(kFailureItemNotFound, std::string(source),
                  "The project " + location_ + " has no project row in VLPROJECT");
  }

  std::unordered_map<long, bool> privileged;
  read("SELECT ID, FULLNAME, GUID, GROUPID, PRIVILEGED FROM VLUSERS ORDER BY ID", [&](const Cells& row) {
    User u{CellWhole(row[0]), CellText(row[1]), CellText(row[2]), CellWhole(row[3])};
    privileged[u.Key] = CellWhole(row[4]) != 0;
    users_.push_back(std::move(u));
  });
  read("SELECT ID, NAME FROM VLGROUPS ORDER BY ID", [&](const Cells& row) {
    groups_.push_back(Group{CellWhole(row[0]), CellText(row[1])});
  });
  read("SELECT ID, NAME, GUID FROM VLDOCUMENTS ORDER BY ID", [&](const Cells& row) {
    documents_.push_back(Document{CellWhole(row[0]), CellText(row[1]), CellText(row[2])});
  });
  read("SELECT ID, PREFIX, GUID FROM VLREQUIREMENTTYPES ORDER BY ID", [&](const Cells& row) {
    reqTypes_.push_back(ReqType{CellWhole(row[0]), CellText(row[1]), CellText(row[2]), {}});
  });
  {
    std::unordered_map<long, std::vector<ListItem>> items;
    read("SELECT FIELDID, ITEMID, ITEMTEXT, GUID FROM VLUSERDEFINEDLISTITEMS ORDER BY FIELDID, ITEMRANK, ITEMID",
         [&](const Cells& row) {
           items[CellWhole(row[0])].push_back(ListItem{CellWhole(row[1]), CellText(row[2]), CellText(row[3])});
         });
    read("SELECT ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE FROM VLATTRIBUTES ORDER BY ID", [&](const Cells& row) {
      Attr a;
      a.Key = CellWhole(row[0]);
      a.Label = CellText(row[2]);
      a.GUID = CellText(row[3]);
      a.DataType = static_cast<int>(CellWhole(row[4]));
      a.IsEdit = a.DataType != 0 && a.DataType != 10;
      if (auto it = items.find(a.Key); it != items.end()) a.ListItems = it->second;
      const long type = CellWhole(row[1]);
      for (ReqType& t : reqTypes_) {
        if (t.Key == type) {
          t.Attrs.push_back(std::move(a));
          break;
        }
      }
    });
  }

  // The current user: by key or by name, or the lowest key; none in a project
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
      throw Failure(kFailureItemNotFound, std::string(source),
                    "The project " + location_ + " has no user \"" + std::string(user) + "\"");
    }
  }
  if (current) {
    currentUser_ = current->Key;
    currentUserName_ = current->Name;
    privileged_ = privileged[current->Key];
  }

  {
    std::vector<std::shared_ptr<StoreExtProject>> refs;
    read("SELECT RELKEY, PREFIX, GUID, PATH, FILENAME, ISDELETED FROM VLEXTERNALPROJECTS", [&](const Cells& row) {
      StoreExtProject::Row r{CellWhole(row[0]), CellText(row[1]), CellText(row[2]),
                             CellText(row[3]),  CellText(row[4]), CellWhole(row[5]) != 0};
      refs.push_back(std::make_shared<StoreExtProject>(std::move(r), location_, manager_, currentUserName_));
    });
    extProjects_ = std::make_shared<StoreExtProjects>(std::move(refs));
  }

  // Connection properties: the store's own values, replaced by the project's
  // rows of VLCONNECTIONPROPERTIES, replaced by the manager's overrides.
  auto put = [&storeProperties](const std::string& name, const std::string& value) {
    for (auto& [key, old] : storeProperties) {
      if (text::EqualsNoCase(key, name)) {
        old = value;
        return;
      }
    }
    storeProperties.emplace_back(name, value);
  };
  read("SELECT NAME, VALUE FROM VLCONNECTIONPROPERTIES", [&](const Cells& row) {
    if (!row[0].IsNull()) put(CellText(row[0]), CellText(row[1]));
  });
  for (const auto& [name, value] : overrides) put(name, value);
  return storeProperties;
}

}  // namespace vlq::platform
