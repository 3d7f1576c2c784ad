#include "platform/pg_data_services.h"

#include <libpq-fe.h>

#include "model/text_util.h"
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
  return std::make_shared<RowResultSet>(std::move(rows), static_cast<std::size_t>(count));
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
