#include "platform/project_copy.h"

#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "model/date_serial.h"
#include "model/text_util.h"
#include "platform/pg_connection.h"
#include "platform/pg_project.h"
#include "platform/pg_schema.h"
#include "platform/project_location.h"
#include "platform/project_schema.h"
#include "platform/sqlite_connection.h"
#include "platform/sqlite_project.h"
#include "platform/store_project_manager.h"

namespace vlq::platform {
namespace {

constexpr const char* kSource = "CopyProject";

using Row = std::vector<Variant>;
using RowSink = std::function<void(const Row&)>;

// A project to copy and where its copy goes.
struct Node {
  std::shared_ptr<StoreProject> Project;
  std::string Target;      // the copy's location
  std::string TargetName;  // what a relative reference names it by: the file name or the schema
};

// ---- Reading the rows of a source ---------------------------------------------------

std::string ColumnList(const schema::TableDef& table) {
  std::string out;
  for (const schema::ColumnDef& column : table.Columns) out += (out.empty() ? "" : ", ") + std::string(column.Name);
  return out;
}

std::optional<std::int64_t> WholeOf(std::string_view text) {
  std::int64_t value = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || ptr != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

// A date as both stores keep the engine's dates: "YYYY-MM-DD HH:MM:SS".
std::string IsoText(DateSerial date) {
  const CivilDateTime c = date_serial::ToCivil(date);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", c.year, c.month, c.day, c.hour, c.minute,
                c.second);
  return buffer;
}

// A free value as the server keeps it (text), with the type that its
// attribute's data type tells.
Variant FreeValueOf(const std::string& text, int dataType) {
  if (schema::IsNumericDataType(dataType)) {
    if (auto whole = WholeOf(text)) return Variant(static_cast<long long>(*whole));
    char* end = nullptr;
    const double real = std::strtod(text.c_str(), &end);
    if (!text.empty() && end == text.c_str() + text.size()) return Variant(real);
  }
  return Variant(text);
}

// The data types of the attributes of a server project, by key.
std::map<long, int> AttributeTypes(PgConnection& connection, const std::string& schema) {
  std::map<long, int> types;
  PgResult rows = connection.Exec("SELECT ID, DATATYPE FROM " + PgQuoted(schema) + ".VLATTRIBUTES", kSource);
  for (int r = 0; r < rows.RowCount(); ++r)
    types[static_cast<long>(rows.Whole(r, 0))] = static_cast<int>(rows.Whole(r, 1));
  return types;
}

void ReadRows(const StoreProject& project, const schema::TableDef& table, const RowSink& sink) {
  Row row(table.Columns.size());
  if (const auto* file = dynamic_cast<const SqliteProject*>(&project)) {
    SqliteStatement rows(file->Connection()->Handle(),
                         "SELECT " + ColumnList(table) + " FROM " + std::string(table.Name), kSource);
    while (rows.Step()) {
      for (std::size_t c = 0; c < row.size(); ++c) row[c] = rows.Value(static_cast<int>(c));
      sink(row);
    }
    return;
  }
  const auto& server = dynamic_cast<const PgProject&>(project);
  PgConnection& connection = *server.Connection();
  std::map<long, int> attributeTypes;
  std::size_t fieldColumn = row.size();
  for (std::size_t c = 0; c < row.size(); ++c) {
    if (table.Columns[c].Kind == schema::ColumnKind::Value) {
      attributeTypes = AttributeTypes(connection, server.Server().Schema);
      for (std::size_t f = 0; f < row.size(); ++f) {
        if (table.Columns[f].Name == "FIELDID") fieldColumn = f;
      }
    }
  }
  connection.ForEachRow(
      "SELECT " + ColumnList(table) + " FROM " + PgQuoted(server.Server().Schema) + "." + std::string(table.Name),
      kSource, {}, [&](const PgResult& result) {
        for (std::size_t c = 0; c < row.size(); ++c) {
          const int at = static_cast<int>(c);
          if (result.IsNull(0, at)) {
            row[c] = Variant::Null();
            continue;
          }
          switch (table.Columns[c].Kind) {
            case schema::ColumnKind::Key:
            case schema::ColumnKind::Whole:
            case schema::ColumnKind::WholeZero:
            case schema::ColumnKind::InsertionOrder:
              row[c] = Variant(static_cast<long long>(result.Whole(0, at)));
              break;
            case schema::ColumnKind::Value: {
              const long field =
                  fieldColumn < row.size() ? static_cast<long>(result.Whole(0, static_cast<int>(fieldColumn))) : 0;
              const auto type = attributeTypes.find(field);
              row[c] = FreeValueOf(result.Text(0, at), type == attributeTypes.end() ? -1 : type->second);
              break;
            }
            default:
              // Text, and dates in the ISO form that both stores keep.
              row[c] = Variant(result.Text(0, at));
          }
        }
        sink(row);
      });
}

// ---- Naming the copies --------------------------------------------------------------

// A prefix as part of a name: lower-case letters and digits, "_" for the rest.
std::string Slug(std::string_view prefix) {
  std::string out;
  for (char c : prefix) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    out += ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) ? c : '_';
  }
  return out.empty() ? "ext" : out;
}

class Namer {
 public:
  explicit Namer(const std::string& mainTarget) : server_(IsServerLocation(mainTarget)) {
    if (server_) {
      main_ = ParseServerLocation(mainTarget);
      used_.insert(main_.Schema);
    } else {
      file_ = std::filesystem::absolute(mainTarget).lexically_normal();
      used_.insert(text::Upper(file_.filename().string()));
    }
  }

  // The location of the main project's copy and the name that references use.
  std::pair<std::string, std::string> Main() const {
    if (server_) return {main_.Uri(), main_.Schema};
    return {file_.string(), file_.filename().string()};
  }

  // The location of an external project's copy, by the prefix it is known by.
  std::pair<std::string, std::string> External(std::string_view prefix) {
    for (int n = 1;; ++n) {
      const std::string suffix = n == 1 ? "" : "_" + std::to_string(n);
      if (server_) {
        std::string schema = main_.Schema + "_" + Slug(prefix);
        schema = schema.substr(0, 63 - suffix.size()) + suffix;
        if (used_.insert(schema).second) {
          const ServerLocation location = main_.WithSchema(schema);
          return {location.Uri(), location.Schema};
        }
      } else {
        const std::string extension = file_.has_extension() ? file_.extension().string() : ".vlp";
        const std::string name = file_.stem().string() + "-" + Slug(prefix) + suffix + extension;
        if (used_.insert(text::Upper(name)).second) return {(file_.parent_path() / name).string(), name};
      }
    }
  }

 private:
  bool server_;
  ServerLocation main_;
  std::filesystem::path file_;
  std::set<std::string> used_;
};

// The projects to copy: the project, then every project it references,
// directly or through others, once each, with their copies' names.
std::vector<Node> Gather(StoreProjectManager& manager, const std::string& from, const std::string& to) {
  std::vector<Node> nodes;
  std::map<std::string, std::size_t> byIdentity;
  auto main = std::dynamic_pointer_cast<StoreProject>(manager.Open(from));
  Namer namer(to);
  const auto [target, name] = namer.Main();
  nodes.push_back(Node{main, target, name});
  byIdentity[main->Identity()] = 0;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::shared_ptr<StoreProject> project = nodes[i].Project;
    for (const auto& ref : project->ExtProjectItems()) {
      std::shared_ptr<StoreProject> referenced;
      try {
        referenced = std::dynamic_pointer_cast<StoreProject>(ref->Open());
      } catch (const Failure& f) {
        if (ref->IsDeleted()) continue;
        throw Failure(f.Number(), kSource,
                      "The project " + project->Location() + " references " + ref->Prefix() +
                          ", which can't be opened, so it can't come along: " + f.Description());
      }
      if (!referenced || byIdentity.count(referenced->Identity())) continue;
      const auto [extTarget, extName] = namer.External(ref->Prefix());
      byIdentity[referenced->Identity()] = nodes.size();
      nodes.push_back(Node{referenced, extTarget, extName});
    }
  }
  return nodes;
}

// The rows of VLEXTERNALPROJECTS name the copies, in the relative form.
class ReferenceRewriter {
 public:
  explicit ReferenceRewriter(const std::vector<Node>& nodes) {
    for (const Node& node : nodes) names_[node.Project->Identity()] = node.TargetName;
  }
  void Rewrite(const Node& node, const schema::TableDef& table, Row& row) const {
    if (table.Name != "VLEXTERNALPROJECTS") return;
    std::size_t path = 0;
    std::size_t file = 0;
    for (std::size_t c = 0; c < table.Columns.size(); ++c) {
      if (table.Columns[c].Name == "PATH") path = c;
      if (table.Columns[c].Name == "FILENAME") file = c;
    }
    const std::string location = ReferencedLocation(node.Project->Location(), CellText(row[path]), CellText(row[file]));
    if (location.empty()) return;
    std::string identity;
    try {
      identity = LocationIdentity(location);
    } catch (const Failure&) {
      return;
    }
    if (auto it = names_.find(identity); it != names_.end()) {
      row[path] = Variant(std::string());
      row[file] = Variant(it->second);
    }
  }

 private:
  std::map<std::string, std::string> names_;
};

// ---- Writing project files ----------------------------------------------------------

void Bind(::sqlite3_stmt* stmt, int at, const Variant& value) {
  if (value.IsWhole()) {
    sqlite3_bind_int64(stmt, at, value.Whole());
  } else if (value.IsReal()) {
    sqlite3_bind_double(stmt, at, value.Real());
  } else if (value.IsBoolean()) {
    sqlite3_bind_int(stmt, at, value.Boolean() ? 1 : 0);
  } else if (value.IsText() || value.IsDate()) {
    const std::string text = value.IsText() ? value.Text() : IsoText(value.Date());
    sqlite3_bind_text(stmt, at, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  } else {
    sqlite3_bind_null(stmt, at);
  }
}

void WriteFile(const Node& node, const std::filesystem::path& file, const ReferenceRewriter& rewriter) {
  auto connection = SqliteConnection::Open(file, true);
  ::sqlite3* db = connection->Handle();
  EnsureSchema(db);
  connection->Exec("BEGIN IMMEDIATE", kSource);
  for (const schema::TableDef& table : schema::Tables()) {
    if (table.WorkTable) continue;
    std::string marks;
    for (std::size_t c = 0; c < table.Columns.size(); ++c) marks += c ? ", ?" : "?";
    const std::string sql =
        "INSERT INTO " + std::string(table.Name) + " (" + ColumnList(table) + ") VALUES (" + marks + ")";
    ::sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) throw SqliteFailure(db, kSource, sql);
    std::unique_ptr<::sqlite3_stmt, int (*)(::sqlite3_stmt*)> insert(raw, sqlite3_finalize);
    ReadRows(*node.Project, table, [&](const Row& read) {
      Row row = read;
      rewriter.Rewrite(node, table, row);
      sqlite3_reset(insert.get());
      for (std::size_t c = 0; c < row.size(); ++c) Bind(insert.get(), static_cast<int>(c + 1), row[c]);
      if (sqlite3_step(insert.get()) != SQLITE_DONE) throw SqliteFailure(db, kSource, sql);
    });
  }
  connection->Exec("COMMIT", kSource);
  // The attribute views, now that the attributes are there.
  EnsureSchema(db);
}

std::filesystem::path TemporaryBeside(const std::filesystem::path& target) {
  std::string pattern = (target.parent_path() / ("." + target.filename().string() + ".copy-XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) {
    throw Failure(SQLITE_CANTOPEN, kSource, "Can't write a file beside " + target.string());
  }
  ::close(fd);
  std::filesystem::remove(pattern);
  return pattern;
}

void RemoveDatabaseFile(const std::filesystem::path& file) {
  std::error_code ec;
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(file.string() + suffix, ec);
}

void WriteFiles(const std::vector<Node>& nodes, const ReferenceRewriter& rewriter) {
  std::vector<std::filesystem::path> temporaries;
  try {
    for (const Node& node : nodes) {
      temporaries.push_back(TemporaryBeside(node.Target));
      WriteFile(node, temporaries.back(), rewriter);
    }
  } catch (...) {
    for (const auto& file : temporaries) RemoveDatabaseFile(file);
    throw;
  }
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    // A journal of the file replaced must not be taken for the new file's.
    std::error_code ec;
    for (const char* suffix : {"-wal", "-shm", "-journal"}) std::filesystem::remove(nodes[i].Target + suffix, ec);
    std::filesystem::rename(temporaries[i], nodes[i].Target);
  }
}

// ---- Writing to a server ------------------------------------------------------------

std::string RealText(double value) {
  char buffer[64];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, ec == std::errc() ? end : buffer);
  // A real number that reads like a whole one keeps its point, so that it
  // reads back as a real number.
  if (text.find_first_of(".eEn") == std::string::npos) text += ".0";
  return text;
}

std::optional<std::string> ServerText(const Variant& value) {
  if (value.IsWhole()) return std::to_string(value.Whole());
  if (value.IsReal()) return RealText(value.Real());
  if (value.IsBoolean()) return value.Boolean() ? "1" : "0";
  if (value.IsText()) return value.Text();
  if (value.IsDate()) return IsoText(value.Date());
  return std::nullopt;
}

bool SchemaHoldsStoreTables(PgConnection& connection, const std::string& schema) {
  PgResult found = connection.Exec(
      "SELECT upper(c.relname) FROM pg_class AS c JOIN pg_namespace AS n ON n.oid = c.relnamespace "
      "WHERE n.nspname = $1 AND c.relkind IN ('r', 'p', 'v')",
      kSource, {schema});
  for (int r = 0; r < found.RowCount(); ++r) {
    if (schema::FindTable(found.Text(r, 0))) return true;
  }
  return false;
}

void WriteServer(PgConnection& connection, const std::vector<Node>& nodes, const ReferenceRewriter& rewriter) {
  connection.Exec("BEGIN", kSource);
  try {
    for (const Node& node : nodes) {
      const std::string schema = ParseServerLocation(node.Target).Schema;
      if (PgSchemaOid(connection, schema) != 0) DropPgProjectTables(connection, schema);
      // Rows load faster into tables without indexes; the indexes and the
      // attribute views follow the rows.
      EnsurePgSchema(connection, schema, PgSchemaWork::CreateTables);
      for (const schema::TableDef& table : schema::Tables()) {
        if (table.WorkTable) continue;
        connection.CopyIn(
            "COPY " + PgQuoted(schema) + "." + std::string(table.Name) + " (" + ColumnList(table) + ") FROM STDIN",
            kSource, [&](PgConnection::CopyWriter& writer) {
              std::vector<std::optional<std::string>> cells(table.Columns.size());
              ReadRows(*node.Project, table, [&](const Row& read) {
                Row row = read;
                rewriter.Rewrite(node, table, row);
                for (std::size_t c = 0; c < row.size(); ++c) cells[c] = ServerText(row[c]);
                writer.Row(cells);
              });
            });
      }
      EnsurePgSchema(connection, schema);
      // The planner's statistics, so that the first queries on the copy don't
      // take it for empty.
      for (const schema::TableDef& table : schema::Tables()) {
        connection.Exec("ANALYZE " + PgQuoted(schema) + "." + std::string(table.Name), kSource);
      }
    }
    connection.Exec("COMMIT", kSource);
  } catch (...) {
    try {
      connection.Exec("ROLLBACK", kSource);
    } catch (const Failure&) {
    }
    throw;
  }
}

}  // namespace

std::vector<CopiedProject> CopyProject(const std::string& from, const std::string& to, const CopyOptions& options) {
  auto manager = StoreProjectManager::Create();
  const std::vector<Node> nodes = Gather(*manager, from, to);
  const bool bServer = IsServerLocation(to);

  std::set<std::string> sources;
  for (const Node& node : nodes) sources.insert(node.Project->Identity());
  for (const Node& node : nodes) {
    if (sources.count(LocationIdentity(node.Target))) {
      throw Failure(
          kFailureBadLocation, kSource,
          "The copy " + node.Target + " would overwrite a project that is copied: " + node.Project->Location());
    }
  }

  std::shared_ptr<PgConnection> server;
  if (bServer) server = PgConnection::Open(ParseServerLocation(to).ConnectionUri, kSource);
  std::vector<std::string> existing;
  for (const Node& node : nodes) {
    const bool bExists = bServer ? SchemaHoldsStoreTables(*server, ParseServerLocation(node.Target).Schema)
                                 : std::filesystem::exists(node.Target);
    if (bExists) existing.push_back(node.Target);
  }
  if (!existing.empty() && !options.Replace) {
    std::string list;
    for (const std::string& target : existing) list += "\n  " + target;
    throw Failure(kFailureObjectExists, kSource,
                  "Nothing was copied: these projects exist already (replace them with --replace):" + list);
  }

  const ReferenceRewriter rewriter(nodes);
  if (bServer) {
    WriteServer(*server, nodes, rewriter);
  } else {
    WriteFiles(nodes, rewriter);
  }

  std::vector<CopiedProject> copied;
  for (const Node& node : nodes)
    copied.push_back(CopiedProject{node.Project->Location(), node.Target, node.Project->Prefix()});
  return copied;
}

}  // namespace vlq::platform
