#include "platform/sqlite_schema.h"

#include <sqlite3.h>

#include <map>
#include <set>

#include "model/text_util.h"
#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"

namespace vlq::platform {
namespace schema {

std::string AttrViewSql(long attrKey, int dataType) {
  const std::string key = std::to_string(attrKey);
  // Each view reads one table, so that SQLite can fold it into the engine's
  // LEFT JOIN and use the (FIELDID, REQUIREMENTID) index; the rank of a list
  // item comes from a lookup on (FIELDID, ITEMID).
  if (dataType == 0 || dataType == 10) {
    return "CREATE VIEW IF NOT EXISTS " + AttrViewName(attrKey) +
           " AS SELECT V.REQUIREMENTID AS REQUIREMENTID, V.LISTITEMID AS LISTITEMID, NULL AS FIELDVALUE, "
           "(SELECT MIN(I.ITEMRANK) FROM VLUSERDEFINEDLISTITEMS AS I WHERE I.FIELDID = V.FIELDID "
           "AND I.ITEMID = V.LISTITEMID) AS ITEMRANK FROM VLUSERDEFINEDLISTVALUES AS V WHERE V.FIELDID = " +
           key;
  }
  return "CREATE VIEW IF NOT EXISTS " + AttrViewName(attrKey) +
         " AS SELECT F.REQUIREMENTID AS REQUIREMENTID, NULL AS LISTITEMID, F.FIELDVALUE AS FIELDVALUE, "
         "NULL AS ITEMRANK FROM VLUSERDEFINEDFIELDVALUES AS F WHERE F.FIELDID = " +
         key;
}

}  // namespace schema

namespace {

constexpr const char* kEnsureSource = "EnsureSchema";

// Column declarations. Text compares without regard to case, as Jet compares
// it. Dates and times are ISO text "YYYY-MM-DD HH:MM:SS", which sorts and
// compares as the dates do. A free attribute value keeps the type it was
// written with (no affinity): text, whole or real number. A column added to a
// table that is there can't be its key; it keeps its type and collation.
std::string Declaration(schema::ColumnKind kind, bool bAdded) {
  using schema::ColumnKind;
  switch (kind) {
    case ColumnKind::Key:
      return bAdded ? "INTEGER" : "INTEGER PRIMARY KEY";
    case ColumnKind::Whole:
      return "INTEGER";
    case ColumnKind::WholeZero:
      return "INTEGER DEFAULT 0";
    case ColumnKind::Text:
      return "TEXT COLLATE NOCASE";
    case ColumnKind::ExactText:
    case ColumnKind::DateTime:
      return "TEXT";
    case ColumnKind::Value:
      return "COLLATE NOCASE";
    case ColumnKind::InsertionOrder:
      return bAdded ? "INTEGER" : "INTEGER PRIMARY KEY AUTOINCREMENT";
  }
  return "";
}

struct ObjectInfo {
  std::string type;               // table, view, index
  std::set<std::string> columns;  // of a table, in capitals
};
using Objects = std::map<std::string, ObjectInfo>;  // by name in capitals

std::string Quoted(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

Objects ReadObjects(::sqlite3* db) {
  Objects objects;
  {
    SqliteStatement list(db, "SELECT type, name FROM sqlite_master WHERE type IN ('table', 'view', 'index')",
                         kEnsureSource);
    while (list.Step()) objects[text::Upper(list.Text(1))].type = list.Text(0);
  }
  for (auto& [name, info] : objects) {
    if (info.type != "table") continue;
    SqliteStatement columns(db, "SELECT name FROM pragma_table_info(?1)", kEnsureSource);
    columns.Bind(1, name);
    while (columns.Step()) info.columns.insert(text::Upper(columns.Text(0)));
  }
  return objects;
}

bool IsTable(const Objects& objects, std::string_view name) {
  auto it = objects.find(std::string(name));
  return it != objects.end() && it->second.type == "table";
}

// The statements that add the missing tables, columns and indexes.
std::vector<std::string> PlanStructure(const Objects& objects) {
  std::vector<std::string> plan;
  for (const schema::TableDef& table : schema::Tables()) {
    auto it = objects.find(std::string(table.Name));
    if (it == objects.end()) {
      std::string sql = "CREATE TABLE IF NOT EXISTS " + std::string(table.Name) + " (";
      for (std::size_t i = 0; i < table.Columns.size(); ++i) {
        if (i > 0) sql += ", ";
        sql += std::string(table.Columns[i].Name) + " " + Declaration(table.Columns[i].Kind, false);
      }
      plan.push_back(sql + ")");
      continue;
    }
    if (it->second.type != "table") continue;  // a view of that name serves as it is
    for (const schema::ColumnDef& column : table.Columns) {
      if (it->second.columns.count(std::string(column.Name))) continue;
      plan.push_back("ALTER TABLE " + Quoted(it->first) + " ADD COLUMN " + std::string(column.Name) + " " +
                     Declaration(column.Kind, true));
    }
  }
  for (std::string_view retired : schema::RetiredIndexes()) {
    if (objects.count(std::string(retired))) plan.push_back("DROP INDEX IF EXISTS " + std::string(retired));
  }
  for (const schema::IndexDef& index : schema::Indexes()) {
    if (objects.count(std::string(index.Name))) continue;
    if (objects.count(std::string(index.Table)) && !IsTable(objects, index.Table)) continue;
    plan.push_back("CREATE INDEX IF NOT EXISTS " + std::string(index.Name) + " ON " + std::string(index.Table) +
                   " (" + std::string(index.Columns) + ")");
  }
  return plan;
}

// The statements that add the missing attribute views. Reads VLATTRIBUTES,
// so the structure must be complete.
std::vector<std::string> PlanViews(::sqlite3* db, const Objects& objects) {
  std::vector<std::string> plan;
  auto attrs = objects.find("VLATTRIBUTES");
  if (attrs == objects.end() || attrs->second.type != "table" || !attrs->second.columns.count("ID") ||
      !attrs->second.columns.count("DATATYPE")) {
    return plan;
  }
  SqliteStatement list(db, "SELECT ID, DATATYPE FROM VLATTRIBUTES ORDER BY ID", kEnsureSource);
  while (list.Step()) {
    if (list.IsNull(0) || list.Int(0) <= 0) continue;  // no view name for such a key
    const long key = static_cast<long>(list.Int(0));
    if (objects.count(schema::AttrViewName(key))) continue;
    plan.push_back(schema::AttrViewSql(key, list.IsNull(1) ? -1 : static_cast<int>(list.Int(1))));
  }
  return plan;
}

void Run(::sqlite3* db, const std::string& sql) {
  char* error = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
  sqlite3_free(error);
  if (rc != SQLITE_OK) throw SqliteFailure(db, kEnsureSource, sql);
}

// A file that can't be written gets what it lacks as temporary tables and
// views of the connection, so that the engine's statements find every name;
// indexes and added columns it goes without.
void EnsureTemporarySchema(::sqlite3* db, const Objects& objects) {
  std::vector<std::string> plan = PlanStructure(objects);
  for (const std::string& sql : PlanViews(db, objects)) plan.push_back(sql);
  for (std::string sql : plan) {
    for (std::string_view create : {"CREATE TABLE ", "CREATE VIEW "}) {
      if (sql.rfind(create, 0) == 0) {
        sql.insert(std::string_view("CREATE ").size(), "TEMP ");
        Run(db, sql);
      }
    }
  }
}

}  // namespace

void CreateWorkTables(::sqlite3* db) {
  for (const schema::TableDef& table : schema::Tables()) {
    if (!table.WorkTable) continue;
    std::string sql = "CREATE TEMP TABLE IF NOT EXISTS " + std::string(table.Name) + " (";
    for (std::size_t i = 0; i < table.Columns.size(); ++i) {
      if (i > 0) sql += ", ";
      sql += std::string(table.Columns[i].Name) + " " + Declaration(table.Columns[i].Kind, false);
    }
    Run(db, sql + ")");
  }
  for (const schema::IndexDef& index : schema::Indexes()) {
    const schema::TableDef* table = schema::FindTable(index.Table);
    if (!table || !table->WorkTable) continue;
    Run(db, "CREATE INDEX IF NOT EXISTS temp." + std::string(index.Name) + " ON " + std::string(index.Table) + " (" +
                std::string(index.Columns) + ")");
  }
}

void ClearStaleWorkRows(::sqlite3* db) {
  // The work rows of a session live in temporary tables of its connection;
  // rows in the file's own tables were left by a run that was cut short.
  for (const schema::TableDef& table : schema::Tables()) {
    if (!table.WorkTable) continue;
    const std::string name(table.Name);
    bool stale = false;
    {
      SqliteStatement probe(db, "SELECT 1 FROM main." + name + " LIMIT 1", kEnsureSource);
      stale = probe.Step();
    }
    if (stale) Run(db, "DELETE FROM main." + name);
  }
}

void EnsureSchema(::sqlite3* db) {
  // Most opens find everything in place: look first without a write lock.
  {
    const Objects objects = ReadObjects(db);
    if (PlanStructure(objects).empty() && PlanViews(db, objects).empty()) return;
    if (sqlite3_db_readonly(db, "main") == 1) {
      EnsureTemporarySchema(db, objects);
      return;
    }
  }
  // Another process may be doing the same: plan again under the write lock.
  const bool ownTransaction = sqlite3_get_autocommit(db) != 0;
  Run(db, ownTransaction ? "BEGIN IMMEDIATE" : "SAVEPOINT VLENSURESCHEMA");
  try {
    for (const std::string& sql : PlanStructure(ReadObjects(db))) Run(db, sql);
    const Objects objects = ReadObjects(db);
    for (const std::string& sql : PlanViews(db, objects)) Run(db, sql);
    Run(db, ownTransaction ? "COMMIT" : "RELEASE VLENSURESCHEMA");
  } catch (...) {
    sqlite3_exec(db, ownTransaction ? "ROLLBACK" : "ROLLBACK TO VLENSURESCHEMA; RELEASE VLENSURESCHEMA", nullptr,
                 nullptr, nullptr);
    throw;
  }
}

void CreateProjectFile(const std::filesystem::path& file, const NewProjectInfo& info) {
  constexpr const char* kSource = "CreateProjectFile";
  std::error_code ec;
  if (std::filesystem::exists(file, ec)) {
    throw Failure(SQLITE_CANTOPEN, kSource, "The project file " + file.string() + " exists already");
  }
  try {
    auto conn = SqliteConnection::Open(file, true);
    EnsureSchema(conn->Handle());
    SqliteStatement insert(conn->Handle(), "INSERT INTO VLPROJECT (ID, GUID, PREFIX, NAME) VALUES (?1, ?2, ?3, ?4)",
                           kSource);
    insert.Bind(1, static_cast<std::int64_t>(info.Key));
    insert.Bind(2, info.GUID.empty() ? schema::NewGuid() : info.GUID);
    insert.Bind(3, info.Prefix);
    insert.Bind(4, info.Name);
    insert.Step();
  } catch (...) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(file.string() + suffix, ec);
    }
    throw;
  }
}

}  // namespace vlq::platform
