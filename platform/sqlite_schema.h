#pragma once
// The schema of a project file: the tables, columns and indexes of
// project_schema.h as SQLite declares them, and the attribute views.
// EnsureSchema and CreateProjectFile (declared in store_project_manager.h)
// are built on this.

#include <string>

#include "platform/project_schema.h"

namespace vlq::platform::schema {

// The CREATE VIEW statement of an attribute's view: one row per chosen item
// for list (0) and multi-select list (10) attributes, with the item's rank and
// FIELDVALUE NULL; one row per value for every other data type, with
// LISTITEMID and ITEMRANK NULL.
std::string AttrViewSql(long attrKey, int dataType);

}  // namespace vlq::platform::schema
