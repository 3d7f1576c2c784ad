// Questions to the database about its schema: does a view, table or column
// exist, and what are the schema and catalogue names of the connection. A
// probe that fails answers "not there": the statement that needs the object
// then fails when it runs, with the database's own words.
#include "engine/mod_main.h"
#include "model/text_util.h"
#include "sql/query_sql.h"

namespace vlq {

namespace {

// Kinds of database object in the probes.
constexpr int kKindColumn = 4;
constexpr int kKindTable = 20;
constexpr int kKindView = 23;

}  // namespace

std::string QuerySql::BaseSchemaName_() {
  std::string name;
  modMain::HandleAndLeave("QuerySql.BaseSchemaName_", [&] {
    if (!sSchemaName_.empty()) {
      name = sSchemaName_.substr(0, sSchemaName_.size() - 1);
    } else if (oDataServices_) {
      // Without a schema of its own the login's default schema applies.
      name = oDataServices_->ConnectionAttribute("User Name");
    }
  });
  return name;
}

std::string QuerySql::SQLServerDatabaseName_(const ProjStructSpecifier* oSpec) {
  std::string name;
  modMain::HandleAndLeave("QuerySql.SQLServerDatabaseName_", [&] {
    if (lDatabaseType_ != eDBTSQLServer) return;
    if (oSpec != nullptr) name = oSpec->DatabaseName();
    else if (oDataServices_) name = oDataServices_->ConnectionAttribute("Current Catalog");
  });
  return name;
}

bool QuerySql::IsDBViewPresent_(const std::string& sViewName) {
  switch (lDatabaseType_) {
    case eDBTAccess:
      return IsAccessObjectPresent_(kKindView, {}, sViewName, {});
    case eDBTOracle:
      return IsOracleObjectPresent_(kKindView, {}, sViewName, {});
    case eDBTSQLServer:
      return IsSQLServerObjectPresent_(kKindView, {}, sViewName, {});
    case eDBTDB2:
      return IsDB2ObjectPresent_(kKindView, {}, sViewName, {});
    case eDBTPostgreSQL:
      return IsPostgreSQLObjectPresent_(kKindView, {}, sViewName, {});
    default:
      // The second Access form doesn't probe: creation is tried each time and
      // an existing view is no failure.
      return false;
  }
}

bool QuerySql::IsAccessObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                      const std::string& sColumn) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsAccessObjectPresent_", [&] {
    if (lKind == kKindColumn || lKind == kKindTable || lKind == kKindView) {
      present = IsInDBSchema_(lKind, sTable, sView, sColumn);
    }
  });
  return present;
}

namespace {

// True if the statement gives at least one row; an empty statement isn't run.
template <class Execute>
bool HasRows(const std::string& sql, Execute&& execute) {
  if (sql.empty()) return false;
  const std::shared_ptr<ResultSet> rs = execute(sql);
  if (!rs) return false;
  const bool bof = rs->AtBOF();
  return !bof && !rs->AtEOF();
}

}  // namespace

bool QuerySql::IsOracleObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                      const std::string& sColumn) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsOracleObjectPresent_", [&] {
    const std::string S = text::Upper(BaseSchemaName_());
    std::string sql;
    switch (lKind) {
      case kKindTable:
        sql = "SELECT Table_Name FROM all_tables WHERE Owner = '" + S + "' AND Table_Name = '" + text::Upper(sTable) +
              "'";
        break;
      case kKindView:
        sql = "SELECT View_Name FROM all_views WHERE Owner = '" + S + "' AND View_Name = '" + text::Upper(sView) + "'";
        break;
      case kKindColumn:
        sql = "SELECT Column_Name FROM all_tab_columns WHERE Owner = '" + S + "' AND Table_Name = '" +
              text::Upper(sTable) + "' AND Column_Name = '" + text::Upper(sColumn) + "'";
        break;
      default:
        break;
    }
    present = HasRows(sql, [this](const std::string& s) { return ExecuteSQLStatement_(s); });
  });
  return present;
}

bool QuerySql::IsSQLServerObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                         const std::string& sColumn) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsSQLServerObjectPresent_", [&] {
    const std::string S = BaseSchemaName_();
    std::string sql;
    switch (lKind) {
      case kKindTable:
        sql = "sp_tables '" + sTable + "', '" + S + "'";
        break;
      case kKindView:
        sql = "sp_tables '" + sView + "', '" + S + "'";
        break;
      case kKindColumn:
        sql = "sp_columns '" + sTable + "', '" + S + "', '" + SQLServerDatabaseName_(nullptr) + "', '" + sColumn + "'";
        break;
      default:
        break;
    }
    present = HasRows(sql, [this](const std::string& s) { return ExecuteSQLStatement_(s); });
  });
  return present;
}

bool QuerySql::IsDB2ObjectPresent_(int lKind, const std::string& /*sTable*/, const std::string& sView,
                                   const std::string& /*sColumn*/) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsDB2ObjectPresent_", [&] {
    if (lKind != kKindView) return;
    const std::string sql = "SELECT viewname FROM syscat.views WHERE viewschema = '" + text::Upper(BaseSchemaName_()) +
                            "' AND viewname = '" + text::Upper(sView) + "'";
    present = HasRows(sql, [this](const std::string& s) { return ExecuteSQLStatement_(s); });
  });
  return present;
}

// The standard information schema. Names that were written without quotes
// are kept in lower case there: they compare in capitals.
bool QuerySql::IsPostgreSQLObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                          const std::string& sColumn) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsPostgreSQLObjectPresent_", [&] {
    const std::string where = "WHERE UPPER(table_schema) = '" + text::Upper(BaseSchemaName_()) + "' AND ";
    std::string sql;
    switch (lKind) {
      case kKindTable:
        sql = "SELECT table_name FROM information_schema.tables " + where + "UPPER(table_name) = '" +
              text::Upper(sTable) + "' AND table_type = 'BASE TABLE'";
        break;
      case kKindView:
        sql = "SELECT table_name FROM information_schema.views " + where + "UPPER(table_name) = '" +
              text::Upper(sView) + "'";
        break;
      case kKindColumn:
        sql = "SELECT column_name FROM information_schema.columns " + where + "UPPER(table_name) = '" +
              text::Upper(sTable) + "' AND UPPER(column_name) = '" + text::Upper(sColumn) + "'";
        break;
      default:
        break;
    }
    present = HasRows(sql, [this](const std::string& s) { return ExecuteSQLStatement_(s); });
  });
  return present;
}

// A table or view exists if the columns rowset of the connection lists a column
// of it. Names compare exactly, case included.
bool QuerySql::IsInDBSchema_(int lKind, const std::string& sTable, const std::string& sView,
                             const std::string& sColumn) {
  bool present = false;
  modMain::HandleAndLeave("QuerySql.IsInDBSchema_", [&] {
    std::string name;
    switch (lKind) {
      case kKindColumn:
        if (sTable.empty() || sColumn.empty()) return;
        name = sTable;
        break;
      case kKindTable:
        if (sTable.empty()) return;
        name = sTable;
        break;
      case kKindView:
        if (sView.empty()) return;
        name = sView;
        break;
      default:
        return;
    }
    if (!oDataServices_) return;
    const std::vector<SchemaColumn> rows = oDataServices_->OpenSchema(kKindColumn);
    for (const SchemaColumn& row : rows) {
      if (row.TABLE_NAME == name && (lKind != kKindColumn || row.COLUMN_NAME == sColumn)) {
        present = true;
        return;
      }
    }
  });
  return present;
}

}  // namespace vlq
