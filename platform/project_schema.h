#pragma once
// The schema of a project, the same in every store: the engine's tables, the
// structure tables of the project service, the work tables and their indexes.
// Columns are described by what they hold; each store turns that into its own
// column declarations (sqlite_schema.cpp, pg_schema.cpp), and the copy
// between stores moves exactly these tables and columns.

#include <string>
#include <string_view>
#include <vector>

namespace vlq::platform::schema {

enum class ColumnKind {
  Key,            // a whole number that is the table's key
  Whole,          // a whole number
  WholeZero,      // a whole number, 0 where an insert leaves it out
  Text,           // text that compares, sorts and matches LIKE without regard to case
  ExactText,      // text compared as it is (paths, file names, property values)
  DateTime,       // a date and time of day, whole seconds
  Value,          // a free attribute value: text, or a whole or real number
  InsertionOrder  // a whole number that the store counts up in the order rows are inserted
};

struct ColumnDef {
  std::string_view Name;
  ColumnKind Kind;
};

struct TableDef {
  std::string_view Name;
  std::vector<ColumnDef> Columns;
  bool WorkTable = false;  // rows of running sessions, told apart by SESSIONID
};

struct IndexDef {
  std::string_view Name;
  std::string_view Table;
  std::string_view Columns;  // as CREATE INDEX takes them: "FIELDID, REQUIREMENTID"
};

// Every table of a project, with every column that the engine's statements or
// the project service read, in an order in which they can be filled.
const std::vector<TableDef>& Tables();
const std::vector<IndexDef>& Indexes();
// Indexes that projects made before had and that now mislead the planner:
// removed where they are found, when the project is opened for writing.
const std::vector<std::string_view>& RetiredIndexes();
// The table of that name (compared without regard to case); nullptr for none.
const TableDef* FindTable(std::string_view name);

// "VLATTRVALUESVIEW_" and the key.
std::string AttrViewName(long attrKey);

// The attribute data types whose free values are numbers: whole and real
// numbers, dates as whole days since 1901-01-01, times as whole seconds since
// midnight.
bool IsNumericDataType(int dataType);
// List and multi-select list attributes, whose values are chosen items.
bool IsListDataType(int dataType);

// A new random GUID in braces and capitals: {8-4-4-4-12 hex digits}.
std::string NewGuid();

}  // namespace vlq::platform::schema
