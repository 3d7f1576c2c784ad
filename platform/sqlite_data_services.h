#pragma once
// DataServices over one SQLite connection of the project store. Every
// statement passes through the Jet dialect's rewrite and runs to its end inside
// Execute, so that the next statement sees what it wrote; its rows are then
// held by a RowResultSet.

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/jet_dialect.h"
#include "platform/row_result_set.h"
#include "platform/sqlite_connection.h"
#include "services/data_services.h"

namespace vlq::platform {

class SqliteDataServices : public DataServices {
 public:
  using Properties = std::vector<std::pair<std::string, std::string>>;

  // properties: the connection properties by name (compared without regard to
  // case); userName: "User Name" of the connection; resolver: serves the
  // external-database clauses of the statements.
  SqliteDataServices(std::shared_ptr<SqliteConnection> connection, Properties properties, std::string userName,
                     jet::ExternalResolver resolver);

  // Runs exactly one statement: text behind it other than blanks, line breaks
  // and its closing ";" is refused, and nothing runs. Failures carry SQLite's
  // extended result code (or the numbers of sqlite_connection.h where the
  // engine reacts to them), the source "DataServices.Execute", and SQLite's
  // message with the statement.
  std::shared_ptr<ResultSet> Execute(std::string_view sql, long& lRowsAffected) override;
  std::string ConnectionProperty(std::string_view name) override;
  // "User Name": the current user's name; "Current Catalog": the file's stem.
  std::string ConnectionAttribute(std::string_view name) override;
  // Kind 4: the columns of all tables and views of the file, names as stored.
  std::vector<SchemaColumn> OpenSchema(int kind) override;

  const std::shared_ptr<SqliteConnection>& Connection() const { return connection_; }

 private:
  std::shared_ptr<SqliteConnection> connection_;
  Properties properties_;
  std::string userName_;
  jet::ExternalResolver resolver_;
};

}  // namespace vlq::platform
