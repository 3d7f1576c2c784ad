#include "platform/pg_data_services.h"

#include <libpq-fe.h>

#include "model/text_util.h"
#include "platform/project_schema.h"
#include "platform/row_result_set.h"
#include "platform/sqlite_connection.h"

namespace vlq::platform {
namespace {

constexpr const char* kExecuteSource = "DataServices.Execute";

// A name that the server keeps in lower case was written without quotes; the
// engine writes it in capitals.
std::string AsWritten(const std::string& name) {
  for (char c : name) {
    if (c >= 'A' && c <= 'Z') return name;
  }
  return text::Upper(name);
}

// The work table that a DELETE clears rows of, by its name in capitals; empty
// for any other statement.
std::string ClearedWorkTable(std::string_view sql) {
  constexpr std::string_view kBlanks = " \t\r\n";
  // The next word of the statement at `at` is `word`; `at` then stands
  // behind it and the blanks that follow.
  std::size_t at = 0;
  const auto word = [&](std::string_view expected) {
    at = sql.find_first_not_of(kBlanks, at);
    if (at == std::string_view::npos || !text::StartsWithNoCase(sql.substr(at), expected)) return false;
    at = sql.find_first_not_of(kBlanks, at + expected.size());
    return at != std::string_view::npos;
  };
  if (!word("DELETE") || !word("FROM")) return {};
  const std::size_t end = sql.find_first_of(" \t\r\n", at);
  std::string_view name = sql.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at);
  if (const std::size_t dot = name.rfind('.'); dot != std::string_view::npos) name.remove_prefix(dot + 1);
  const schema::TableDef* table = schema::FindTable(name);
  return table && table->WorkTable ? std::string(table->Name) : std::string();
}

}  // namespace

PgDataServices::PgDataServices(std::shared_ptr<PgConnection> connection, Properties properties, std::string schema)
    : connection_(std::move(connection)), properties_(std::move(properties)), schema_(std::move(schema)) {}

std::shared_ptr<ResultSet> PgDataServices::Execute(std::string_view sql, long& lRowsAffected) {
  lRowsAffected = 0;
  PgResult result;
  try {
    // The extended protocol takes one statement only: the server refuses a
    // second one before anything runs.
    result = connection_->Exec(sql, kExecuteSource);
  } catch (const Failure& f) {
    if (f.Number() == PgFailureNumber("42601") && f.Description().find("multiple commands") != std::string::npos) {
      throw Failure(f.Number(), kExecuteSource,
                    "Only one statement may be run per call; nothing was run, since text follows the first "
                    "statement\nStatement: " +
                        std::string(sql));
    }
    throw;
  }
  const int columns = result.ColumnCount();
  const int count = result.RowCount();
  Rows rows(static_cast<std::size_t>(columns));
  for (int c = 0; c < columns; ++c) {
    auto& column = rows[static_cast<std::size_t>(c)];
    column.reserve(static_cast<std::size_t>(count));
    for (int r = 0; r < count; ++r) column.push_back(result.Value(r, c));
  }
  const std::string status = PQcmdStatus(result.Handle());
  if (status.starts_with("INSERT ") || status.starts_with("UPDATE ") || status.starts_with("DELETE ") ||
      status.starts_with("MERGE ")) {
    lRowsAffected = std::strtol(PQcmdTuples(result.Handle()), nullptr, 10);
  }
  if (lRowsAffected > 0 && status.starts_with("DELETE ")) ShrinkIfEmpty(ClearedWorkTable(sql));
  return std::make_shared<RowResultSet>(std::move(rows), static_cast<std::size_t>(count));
}

void PgDataServices::ShrinkIfEmpty(const std::string& table) {
  // Inside a transaction of the caller's, BEGIN and COMMIT would be its.
  if (table.empty() || PQtransactionStatus(connection_->Handle()) != PQTRANS_IDLE) return;
  // A work table that the last session has left empty is given back its
  // pages. Deleted rows leave pages behind, and an ANALYZE that then finds
  // the pages but no row has the planner count every later session's rows
  // as none at all; a table without pages is estimated by its size instead.
  // Only when no other session uses the table (NOWAIT) and it is empty.
  const std::string name = PgQuoted(schema_) + "." + table;
  try {
    connection_->Exec("BEGIN", kExecuteSource);
    connection_->Exec("LOCK TABLE " + name + " IN ACCESS EXCLUSIVE MODE NOWAIT", kExecuteSource);
    if (connection_->Exec("SELECT 1 FROM " + name + " LIMIT 1", kExecuteSource).RowCount() == 0) {
      connection_->Exec("TRUNCATE " + name, kExecuteSource);
    }
    connection_->Exec("COMMIT", kExecuteSource);
  } catch (const Failure&) {
    // Another session holds the table: it stays as it is.
    try {
      connection_->Exec("ROLLBACK", kExecuteSource);
    } catch (const Failure&) {
    }
  }
}

std::string PgDataServices::ConnectionProperty(std::string_view name) {
  for (const auto& [key, value] : properties_) {
    if (text::EqualsNoCase(key, name)) return value;
  }
  throw Failure(kFailureItemNotFound, "DataServices.ConnectionProperty",
                "The connection has no property \"" + std::string(name) + "\"");
}

std::string PgDataServices::ConnectionAttribute(std::string_view name) {
  if (text::EqualsNoCase(name, "User Name")) return connection_->User();
  if (text::EqualsNoCase(name, "Current Catalog")) return connection_->Database();
  throw Failure(kFailureItemNotFound, "DataServices.ConnectionAttribute",
                "The connection has no attribute \"" + std::string(name) + "\"");
}

std::vector<SchemaColumn> PgDataServices::OpenSchema(int kind) {
  constexpr const char* kSource = "DataServices.OpenSchema";
  if (kind != 4) {
    throw Failure(kFailureNotSupported, kSource,
                  "Only the columns rowset (4) is offered, not schema kind " + std::to_string(kind));
  }
  PgResult rows = connection_->Exec(
      "SELECT table_name, column_name FROM information_schema.columns WHERE table_schema = $1 "
      "ORDER BY table_name, ordinal_position",
      kSource, {schema_});
  std::vector<SchemaColumn> out;
  out.reserve(static_cast<std::size_t>(rows.RowCount()));
  for (int r = 0; r < rows.RowCount(); ++r) {
    out.push_back(SchemaColumn{AsWritten(rows.Text(r, 0)), AsWritten(rows.Text(r, 1))});
  }
  return out;
}

}  // namespace vlq::platform
