#pragma once
// The schema of a project file: the engine's tables, the structure tables of
// the project service, the work tables, their indexes and the attribute views.
// EnsureSchema and CreateProjectFile (declared in sqlite_project_manager.h)
// are built on this.

#include <string>
#include <string_view>
#include <vector>

namespace vlq::platform::schema {

struct ColumnDef {
  std::string_view Name;
  std::string_view Declaration;  // type, collation and key as CREATE TABLE takes them
};

struct TableDef {
  std::string_view Name;
  std::vector<ColumnDef> Columns;
};

struct IndexDef {
  std::string_view Name;
  std::string_view Table;
  std::string_view Columns;  // as CREATE INDEX takes them: "FIELDID, REQUIREMENTID"
};

// Every table of a project file, with every column that the engine's
// statements or the project service read.
const std::vector<TableDef>& Tables();
const std::vector<IndexDef>& Indexes();

// "VLATTRVALUESVIEW_" and the key.
std::string AttrViewName(long attrKey);

// The CREATE VIEW statement of an attribute's view: one row per chosen item
// for list (0) and multi-select list (10) attributes, with the item's rank and
// FIELDVALUE NULL; one row per value for every other data type, with
// LISTITEMID and ITEMRANK NULL.
std::string AttrViewSql(long attrKey, int dataType);

// A new random GUID in braces and capitals: {8-4-4-4-12 hex digits}.
std::string NewGuid();

}  // namespace vlq::platform::schema
