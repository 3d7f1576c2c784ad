#include "platform/sqlite_data_services.h"

#include <sqlite3.h>

#include <regex>

#include "model/text_util.h"
#include "platform/project_schema.h"

namespace vlq::platform {
namespace {

constexpr const char* kExecuteSource = "DataServices.Execute";

bool OnlyBlanks(std::string_view s) {
  for (char c : s) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
  }
  return true;
}

// SQLite's message, the statement as the caller wrote it and, where the
// dialect changed it, as it ran.
std::string Describe(std::string_view message, std::string_view sql, std::string_view run) {
  std::string out(message);
  out += "\nStatement: ";
  out += sql;
  if (run != sql) {
    out += "\nRun as: ";
    out += run;
  }
  return out;
}

// The work table and session of a statement that deletes one session's rows
// of a work table ("DELETE FROM <table> WHERE SESSIONID=<n>", blanks and line
// breaks as the engine writes them); empty otherwise.
std::pair<std::string, std::string> SessionDelete(std::string_view sql) {
  if (!text::StartsWithNoCase(text::TrimView(sql), "DELETE")) return {};
  static const std::regex pattern(R"(^\s*DELETE\s+FROM\s+([A-Za-z_][A-Za-z0-9_]*)\s+WHERE\s+SESSIONID\s*=\s*(-?\d+)\s*$)",
                                  std::regex::icase);
  std::match_results<std::string_view::const_iterator> m;
  if (!std::regex_match(sql.begin(), sql.end(), m, pattern)) return {};
  const schema::TableDef* table = schema::FindTable(m[1].str());
  if (!table || !table->WorkTable) return {};
  return {std::string(table->Name), m[2].str()};
}

// A work table holds the rows of this connection's sessions only. When the
// session being deleted is the only one in it, the table is emptied as a
// whole, which SQLite does by dropping its pages instead of removing row
// after row from every index (seconds for a large closure). Answers the rows
// deleted, or -1 when the statement must run as it is.
long DeleteWholeSession(::sqlite3* db, const std::string& table, const std::string& session) {
  // Each bound is read from an index on the session, and so is the test for
  // rows without one (which the statement as written would keep).
  const std::string T = "temp." + table;
  const std::string probeSql = "SELECT (SELECT MIN(SESSIONID) FROM " + T + "), (SELECT MAX(SESSIONID) FROM " + T +
                               "), EXISTS (SELECT 1 FROM " + T + " WHERE SESSIONID IS NULL)";
  ::sqlite3_stmt* probe = nullptr;
  bool whole = false;
  bool empty = false;
  if (sqlite3_prepare_v2(db, probeSql.c_str(), -1, &probe, nullptr) == SQLITE_OK && sqlite3_step(probe) == SQLITE_ROW) {
    const auto textAt = [&](int column) {
      const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(probe, column));
      return std::string(p ? p : "");
    };
    const bool noNulls = sqlite3_column_int(probe, 2) == 0;
    empty = noNulls && sqlite3_column_type(probe, 0) == SQLITE_NULL;
    whole = noNulls && textAt(0) == session && textAt(1) == session;
  }
  sqlite3_finalize(probe);
  if (empty) return 0;
  if (!whole || sqlite3_exec(db, ("DELETE FROM " + T).c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) return -1;
  return static_cast<long>(sqlite3_changes64(db));
}

}  // namespace

// ---- SqliteDataServices --------------------------------------------------------------

SqliteDataServices::SqliteDataServices(std::shared_ptr<SqliteConnection> connection, Properties properties,
                                       std::string userName, jet::ExternalResolver resolver)
    : connection_(std::move(connection)),
      properties_(std::move(properties)),
      userName_(std::move(userName)),
      resolver_(std::move(resolver)) {}

std::shared_ptr<ResultSet> SqliteDataServices::Execute(std::string_view sql, long& lRowsAffected) {
  lRowsAffected = 0;
  std::string run;
  try {
    run = jet::Rewrite(sql, resolver_);
  } catch (const Failure& f) {
    throw Failure(f.Number(), kExecuteSource, Describe(f.Description(), sql, sql));
  }

  // A file that can't be written keeps what the engine creates (the sort
  // views of multi-select lists) as temporary objects of the connection.
  if (connection_->IsReadOnly() && text::StartsWithNoCase(text::TrimView(run), "CREATE VIEW ")) {
    const std::size_t at = run.find_first_not_of(" \t\r\n");
    run.insert(at + std::string_view("CREATE ").size(), "TEMP ");
  }

  ::sqlite3* db = connection_->Handle();
  if (const auto [table, session] = SessionDelete(run); !table.empty()) {
    const long rows = DeleteWholeSession(db, table, session);
    if (rows >= 0) {
      lRowsAffected = rows;
      return std::make_shared<RowResultSet>(Rows(), 0);
    }
  }
  ::sqlite3_stmt* raw = nullptr;
  const char* rest = nullptr;
  const int prepared = sqlite3_prepare_v2(db, run.data(), static_cast<int>(run.size()), &raw, &rest);
  std::unique_ptr<::sqlite3_stmt, int (*)(::sqlite3_stmt*)> stmt(raw, sqlite3_finalize);
  if (prepared != SQLITE_OK) {
    const std::string message = sqlite3_errmsg(db);
    throw Failure(SqliteFailureNumber(sqlite3_extended_errcode(db), message), kExecuteSource,
                  Describe(message, sql, run));
  }
  if (!stmt) throw Failure(SQLITE_MISUSE, kExecuteSource, Describe("There is no statement to run", sql, run));
  const std::string_view tail(rest, static_cast<std::size_t>(run.data() + run.size() - rest));
  if (!OnlyBlanks(tail)) {
    throw Failure(SQLITE_MISUSE, kExecuteSource,
                  Describe("Only one statement may be run per call; nothing was run, since text follows the "
                           "first statement: " +
                               std::string(text::TrimView(tail)),
                           sql, run));
  }

  const sqlite3_int64 changesBefore = sqlite3_total_changes64(db);
  const int columns = sqlite3_column_count(stmt.get());
  Rows rows(static_cast<std::size_t>(columns));
  std::size_t count = 0;
  int rc = SQLITE_OK;
  while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) {
    for (int c = 0; c < columns; ++c) rows[static_cast<std::size_t>(c)].push_back(ColumnValue(stmt.get(), c));
    ++count;
  }
  if (rc != SQLITE_DONE) {
    const std::string message = sqlite3_errmsg(db);
    throw Failure(SqliteFailureNumber(sqlite3_extended_errcode(db), message), kExecuteSource,
                  Describe(message, sql, run));
  }
  // Only INSERT, UPDATE and DELETE change rows; the total counts exactly those.
  if (!sqlite3_stmt_readonly(stmt.get())) {
    lRowsAffected = static_cast<long>(sqlite3_total_changes64(db) - changesBefore);
  }
  return std::make_shared<RowResultSet>(std::move(rows), count);
}

std::string SqliteDataServices::ConnectionProperty(std::string_view name) {
  for (const auto& [key, value] : properties_) {
    if (text::EqualsNoCase(key, name)) return value;
  }
  throw Failure(kFailureItemNotFound, "DataServices.ConnectionProperty",
                "The connection has no property \"" + std::string(name) + "\"");
}

std::string SqliteDataServices::ConnectionAttribute(std::string_view name) {
  if (text::EqualsNoCase(name, "User Name")) return userName_;
  if (text::EqualsNoCase(name, "Current Catalog")) return connection_->File().stem().string();
  throw Failure(kFailureItemNotFound, "DataServices.ConnectionAttribute",
                "The connection has no attribute \"" + std::string(name) + "\"");
}

std::vector<SchemaColumn> SqliteDataServices::OpenSchema(int kind) {
  constexpr const char* kSource = "DataServices.OpenSchema";
  if (kind != 4) {
    throw Failure(kFailureNotSupported, kSource,
                  "Only the columns rowset (4) is offered, not schema kind " + std::to_string(kind));
  }
  ::sqlite3* db = connection_->Handle();
  std::vector<std::string> objects;
  {
    // The file's tables and views, then the connection's temporary ones
    // (the work tables, and what a read-only file lacks).
    SqliteStatement list(db,
                         "SELECT name FROM (SELECT name, type, 0 AS part, rowid AS at FROM sqlite_master "
                         "UNION ALL SELECT name, type, 1, rowid FROM sqlite_temp_master) "
                         "WHERE type IN ('table', 'view') "
                         "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY part, at",
                         kSource);
    while (list.Step()) objects.push_back(list.Text(0));
  }
  std::vector<SchemaColumn> out;
  for (const std::string& object : objects) {
    // A view whose tables are gone has no columns to show; it is left out
    // rather than failing the whole rowset.
    try {
      SqliteStatement columns(db, "SELECT name FROM pragma_table_info(?1)", kSource);
      columns.Bind(1, object);
      std::vector<SchemaColumn> found;
      while (columns.Step()) found.push_back(SchemaColumn{object, columns.Text(0)});
      out.insert(out.end(), found.begin(), found.end());
    } catch (const Failure&) {
    }
  }
  return out;
}

}  // namespace vlq::platform
