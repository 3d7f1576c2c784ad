#pragma once
// The database access of a project as the engine sees it. The engine opens no
// connection and closes none: DataServices comes open from the project.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/variant.h"

namespace vlq {

// The rows of one executed statement, with a cursor for reading row by row.
class ResultSet {
 public:
  virtual ~ResultSet() = default;
  // All rows, column-major: Rows[column][row], both from 0. A NULL cell is
  // Variant::Null(), told apart from every value. A statement without rows
  // gives one empty vector per column (or none when there are no columns).
  virtual Rows GetRows() = 0;
  // True before the first row (BOF) or behind the last (EOF); both are true
  // for an empty result.
  virtual bool AtBOF() const = 0;
  virtual bool AtEOF() const = 0;
  virtual void MoveNext() = 0;
  // The value of the current row at a column position from 0.
  virtual Variant Field(int index) const = 0;
};

// A row of the schema rowset of the columns of all tables and views.
struct SchemaColumn {
  std::string TABLE_NAME;
  std::string COLUMN_NAME;
};

class DataServices {
 public:
  virtual ~DataServices() = default;
  // Runs exactly one statement. lRowsAffected receives the number of rows that
  // an INSERT, UPDATE or DELETE changed. A failing statement throws Failure
  // with a number, a source and a description. The statement is final when
  // the call returns.
  virtual std::shared_ptr<ResultSet> Execute(std::string_view sql, long& lRowsAffected) = 0;
  // ConnectionProperties.Item(name).Value: "dbmsnamecode", "schema",
  // "database", "server". Throws Failure for a property that doesn't exist.
  virtual std::string ConnectionProperty(std::string_view name) = 0;
  // A property of the connection itself: "User Name", "Current Catalog".
  virtual std::string ConnectionAttribute(std::string_view name) = 0;
  // OpenSchema(kind); kind 4 is the columns of all tables and views.
  virtual std::vector<SchemaColumn> OpenSchema(int kind) = 0;
};

}  // namespace vlq
