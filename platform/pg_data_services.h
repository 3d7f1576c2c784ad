#pragma once
// DataServices over the connection of a server project. Statements run as
// they are written, one per call, each in a transaction of its own, so that
// the next statement sees what it wrote; the rows are then held by a
// RowResultSet, typed as PgCellValue reads them. A DELETE that leaves a work
// table empty, while no other session uses it, has the table truncated.

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/pg_connection.h"
#include "services/data_services.h"

namespace vlq::platform {

class PgDataServices : public DataServices {
 public:
  using Properties = std::vector<std::pair<std::string, std::string>>;

  // properties: the connection properties by name (compared without regard to
  // case); schema: the project's schema, whose tables and views OpenSchema
  // lists.
  PgDataServices(std::shared_ptr<PgConnection> connection, Properties properties, std::string schema);

  // Runs exactly one statement: the server refuses text behind it other than
  // blanks, comments and a closing ";", and then nothing runs. lRowsAffected
  // is the count of an INSERT, UPDATE or DELETE (MERGE too), else 0. Failures
  // carry the number of the SQLSTATE (PgFailureNumber), the source
  // "DataServices.Execute", and the server's message with the statement.
  std::shared_ptr<ResultSet> Execute(std::string_view sql, long& lRowsAffected) override;
  std::string ConnectionProperty(std::string_view name) override;
  // "User Name": the login of the connection; "Current Catalog": the database.
  std::string ConnectionAttribute(std::string_view name) override;
  // Kind 4: the columns of the tables and views of the project's schema, in
  // capitals where the server keeps a name in lower case (a name written
  // without quotes), else as stored.
  std::vector<SchemaColumn> OpenSchema(int kind) override;

  const std::shared_ptr<PgConnection>& Connection() const { return connection_; }

 private:
  void ShrinkIfEmpty(const std::string& table);

  std::shared_ptr<PgConnection> connection_;
  Properties properties_;
  std::string schema_;
};

}  // namespace vlq::platform
