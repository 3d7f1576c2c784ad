#include "platform/sqlite_schema.h"

#include <sqlite3.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>

#include "model/text_util.h"
#include "platform/sqlite_connection.h"
#include "platform/sqlite_project_manager.h"

namespace vlq::platform {
namespace schema {
namespace {

// Column declarations. Text compares without regard to case, as Jet compares
// it. Dates and times are ISO text "YYYY-MM-DD HH:MM:SS", which sorts and
// compares as the dates do. A free attribute value keeps the type it was
// written with (no affinity): text, whole or real number.
constexpr std::string_view kKey = "INTEGER PRIMARY KEY";
constexpr std::string_view kInt = "INTEGER";
constexpr std::string_view kText = "TEXT COLLATE NOCASE";
constexpr std::string_view kDate = "TEXT";
constexpr std::string_view kAny = "COLLATE NOCASE";

}  // namespace

const std::vector<TableDef>& Tables() {
  static const std::vector<TableDef> tables = {
      // The project service's structure.
      {"VLPROJECT", {{"ID", kKey}, {"GUID", kText}, {"PREFIX", kText}, {"NAME", kText}}},
      {"VLREQUIREMENTTYPES", {{"ID", kKey}, {"PREFIX", kText}, {"NAME", kText}, {"GUID", kText}}},
      {"VLATTRIBUTES",
       {{"ID", kKey}, {"REQUIREMENTTYPEID", kInt}, {"LABEL", kText}, {"GUID", kText}, {"DATATYPE", kInt}}},
      {"VLUSERDEFINEDLISTITEMS",
       {{"FIELDID", kInt}, {"ITEMID", kInt}, {"ITEMRANK", kInt}, {"ITEMTEXT", kText}, {"GUID", kText}}},
      {"VLUSERDEFINEDLISTVALUES", {{"REQUIREMENTID", kInt}, {"FIELDID", kInt}, {"LISTITEMID", kInt}}},
      {"VLUSERDEFINEDFIELDVALUES", {{"REQUIREMENTID", kInt}, {"FIELDID", kInt}, {"FIELDVALUE", kAny}}},
      {"VLUSERS",
       {{"ID", kKey}, {"FULLNAME", kText}, {"GUID", kText}, {"GROUPID", kInt}, {"PRIVILEGED", "INTEGER DEFAULT 0"}}},
      {"VLGROUPS", {{"ID", kKey}, {"NAME", kText}}},
      {"VLDOCUMENTS", {{"ID", kKey}, {"NAME", kText}, {"GUID", kText}}},
      {"VLEXTERNALPROJECTS",
       {{"RELKEY", kInt},
        {"PREFIX", kText},
        {"GUID", kText},
        {"PATH", "TEXT"},
        {"FILENAME", "TEXT"},
        {"ISDELETED", "INTEGER DEFAULT 0"}}},
      {"VLCONNECTIONPROPERTIES", {{"NAME", kText}, {"VALUE", "TEXT"}}},
      // Requirements.
      {"VLREQUIREMENTS",
       {{"ID", kKey},
        {"REQUIREMENTTYPEID", kInt},
        {"REQUIREMENTNAME", kText},
        {"REQUIREMENTTEXT", kText},
        {"REQUIREMENTPREFIX", kText},
        {"LONGTAGNUMBER", kText},
        {"VERSIONNUMBER", kInt},
        {"VERSIONDATETIME", kDate},
        {"VERSIONREASON", kText},
        {"VERSIONUSERID", kInt},
        {"SUSPECTDATETIME", kDate},
        {"BOOKMARKDOCUMENTID", kInt},
        {"BOOKMARKNAME", kText},
        {"DOCUMENTPOSITION", kInt},
        {"FLAGS", "INTEGER DEFAULT 0"}}},
      {"VLPROJECTREQUIREMENTS", {{"PROJECTID", kInt}, {"REQUIREMENTID", kInt}}},
      {"VLTORELATIONSHIPS",
       {{"REQUIREMENTID", kInt},
        {"TOID", kInt},
        {"EXTERNALPROJECTID", "INTEGER DEFAULT 0"},
        {"EXTERNALPROJECTTOID", "INTEGER DEFAULT 0"},
        {"TYPE", "INTEGER DEFAULT 0"},
        {"STATE", "INTEGER DEFAULT 0"}}},
      {"VLPACKAGES", {{"ID", kKey}, {"NAME", kText}}},
      {"VLPACKAGEELEMENTS", {{"PACKAGEID", kInt}, {"REQUIREMENTID", kInt}}},
      // Discussions.
      {"VLDISCUSSIONS",
       {{"ID", kKey},
        {"ROOTID", kInt},
        {"PARENTID", "INTEGER DEFAULT 0"},
        {"SUBJECT", kText},
        {"AUTHORID", kInt},
        {"PRIORITY", kInt},
        {"STATUS", kInt},
        {"SUBMITDATETIME", kDate},
        {"RESTRICTED", "INTEGER DEFAULT 0"}}},
      {"VLPROJECTDISCUSSIONS", {{"PROJECTID", kInt}, {"DISCUSSIONID", kInt}}},
      {"VLDISCUSSIONREQUIREMENTS", {{"DISCUSSIONID", kInt}, {"REQUIREMENTID", kInt}}},
      {"VLDISCUSSIONUSERS", {{"DISCUSSIONID", kInt}, {"USERID", kInt}}},
      {"VLDISCUSSIONGROUPS", {{"DISCUSSIONID", kInt}, {"GROUPID", kInt}}},
      {"VLDISCUSSIONSREAD", {{"DISCUSSIONID", kInt}, {"USERID", kInt}}},
      // Work tables, shared by all sessions and told apart by SESSIONID.
      {"VLTRACETABLETEMP",
       {{"ROOTID", kInt}, {"PROJECTID", kInt}, {"ID", kInt}, {"LVL", kInt}, {"SESSIONID", kInt}, {"STATUS", kInt}}},
      {"VLTRACETABLEINDIR", {{"ID", kInt}, {"SESSIONID", kInt}}},
      {"VLHIERARCHYTABLETEMP", {{"SESSIONID", kInt}, {"REQUIREMENTKEY", kInt}, {"LONGTAGNUMBER", kText}}},
      // DATAORDER numbers the rows in the order of insertion, also for an
      // INSERT ... SELECT ... ORDER BY: the tree order of a hierarchy rests on it.
      {"VLHIERARCHYORDEREDLEVELSTEMP",
       {{"DATAORDER", "INTEGER PRIMARY KEY AUTOINCREMENT"},
        {"SESSIONID", kInt},
        {"REQUIREMENTID", kInt},
        {"LONGTAGNUMBER", kText}}},
      {"VLHIERARCHYFINALORDERTEMP",
       {{"SESSIONID", kInt}, {"REQUIREMENTID", kInt}, {"LONGTAGNUMBER", kText}, {"ORDERTAG", kText}}},
  };
  return tables;
}

const std::vector<IndexDef>& Indexes() {
  // What the engine's statements look up: traces from both ends, project
  // membership, values by attribute and requirement, work rows by session.
  static const std::vector<IndexDef> indexes = {
      {"VLIX_REQUIREMENTS_TYPE", "VLREQUIREMENTS", "REQUIREMENTTYPEID"},
      {"VLIX_REQUIREMENTS_TAG", "VLREQUIREMENTS", "LONGTAGNUMBER"},
      {"VLIX_PROJECTREQUIREMENTS_PROJECT", "VLPROJECTREQUIREMENTS", "PROJECTID, REQUIREMENTID"},
      {"VLIX_PROJECTREQUIREMENTS_REQ", "VLPROJECTREQUIREMENTS", "REQUIREMENTID"},
      {"VLIX_TORELATIONSHIPS_FROM", "VLTORELATIONSHIPS", "REQUIREMENTID, EXTERNALPROJECTID"},
      {"VLIX_TORELATIONSHIPS_TO", "VLTORELATIONSHIPS", "TOID, EXTERNALPROJECTTOID"},
      {"VLIX_PACKAGEELEMENTS_REQ", "VLPACKAGEELEMENTS", "REQUIREMENTID"},
      {"VLIX_PACKAGEELEMENTS_PACKAGE", "VLPACKAGEELEMENTS", "PACKAGEID"},
      {"VLIX_LISTVALUES_FIELD", "VLUSERDEFINEDLISTVALUES", "FIELDID, REQUIREMENTID"},
      {"VLIX_LISTVALUES_REQ", "VLUSERDEFINEDLISTVALUES", "REQUIREMENTID"},
      {"VLIX_LISTITEMS_FIELD", "VLUSERDEFINEDLISTITEMS", "FIELDID, ITEMID"},
      {"VLIX_FIELDVALUES_FIELD", "VLUSERDEFINEDFIELDVALUES", "FIELDID, REQUIREMENTID"},
      {"VLIX_FIELDVALUES_REQ", "VLUSERDEFINEDFIELDVALUES", "REQUIREMENTID"},
      {"VLIX_ATTRIBUTES_TYPE", "VLATTRIBUTES", "REQUIREMENTTYPEID"},
      {"VLIX_DISCUSSIONS_ROOT", "VLDISCUSSIONS", "ROOTID"},
      {"VLIX_PROJECTDISCUSSIONS_PROJECT", "VLPROJECTDISCUSSIONS", "PROJECTID, DISCUSSIONID"},
      {"VLIX_PROJECTDISCUSSIONS_DISC", "VLPROJECTDISCUSSIONS", "DISCUSSIONID"},
      {"VLIX_DISCREQ_DISC", "VLDISCUSSIONREQUIREMENTS", "DISCUSSIONID"},
      {"VLIX_DISCREQ_REQ", "VLDISCUSSIONREQUIREMENTS", "REQUIREMENTID"},
      {"VLIX_DISCUSERS_DISC", "VLDISCUSSIONUSERS", "DISCUSSIONID, USERID"},
      {"VLIX_DISCGROUPS_DISC", "VLDISCUSSIONGROUPS", "DISCUSSIONID, GROUPID"},
      {"VLIX_DISCREAD_DISC", "VLDISCUSSIONSREAD", "DISCUSSIONID, USERID"},
      {"VLIX_DISCREAD_USER", "VLDISCUSSIONSREAD", "USERID"},
      {"VLIX_TRACETEMP_LEVEL", "VLTRACETABLETEMP", "SESSIONID, LVL"},
      {"VLIX_TRACETEMP_ID", "VLTRACETABLETEMP", "SESSIONID, ID"},
      {"VLIX_TRACEINDIR_SESSION", "VLTRACETABLEINDIR", "SESSIONID, ID"},
      {"VLIX_HIERTEMP_SESSION", "VLHIERARCHYTABLETEMP", "SESSIONID, REQUIREMENTKEY"},
      {"VLIX_HIERTEMP_TAG", "VLHIERARCHYTABLETEMP", "SESSIONID, LONGTAGNUMBER"},
      {"VLIX_HIERLEVELS_SESSION", "VLHIERARCHYORDEREDLEVELSTEMP", "SESSIONID"},
      {"VLIX_HIERFINAL_TAG", "VLHIERARCHYFINALORDERTEMP", "SESSIONID, LONGTAGNUMBER"},
  };
  return indexes;
}

std::string AttrViewName(long attrKey) { return "VLATTRVALUESVIEW_" + std::to_string(attrKey); }

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

std::string NewGuid() {
  static thread_local std::mt19937_64 rng{std::random_device{}()};
  const std::uint64_t a = rng();
  const std::uint64_t b = rng();
  char buf[48];
  std::snprintf(buf, sizeof buf, "{%08X-%04X-4%03X-%04X-%012llX}", static_cast<unsigned>(a >> 32),
                static_cast<unsigned>((a >> 16) & 0xFFFF), static_cast<unsigned>(a & 0xFFF),
                static_cast<unsigned>(0x8000 | ((b >> 48) & 0x3FFF)),
                static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFull));
  return buf;
}

}  // namespace schema

namespace {

constexpr const char* kEnsureSource = "EnsureSchema";

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
        sql += std::string(table.Columns[i].Name) + " " + std::string(table.Columns[i].Declaration);
      }
      plan.push_back(sql + ")");
      continue;
    }
    if (it->second.type != "table") continue;  // a view of that name serves as it is
    for (const schema::ColumnDef& column : table.Columns) {
      if (it->second.columns.count(std::string(column.Name))) continue;
      // A column added later can't be the key; it keeps its type and collation.
      std::string declaration(column.Declaration);
      if (text::StartsWithNoCase(declaration, "INTEGER PRIMARY KEY")) declaration = "INTEGER";
      plan.push_back("ALTER TABLE " + Quoted(it->first) + " ADD COLUMN " + std::string(column.Name) + " " +
                     declaration);
    }
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

void ClearStaleWorkRows(::sqlite3* db) {
  // The work rows of a session live in temporary tables of its connection;
  // rows in the file's own tables were left by a run that was cut short.
  for (const schema::TableDef& table : schema::Tables()) {
    const std::string name(table.Name);
    if (!name.starts_with("VLTRACETABLE") && !name.starts_with("VLHIERARCHY")) continue;
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
