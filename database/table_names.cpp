// Statement execution and the names under which tables are written in SQL.
#include "engine/mod_main.h"
#include "model/text_util.h"
#include "sql/query_sql.h"

namespace vlq {

std::shared_ptr<ResultSet> QuerySql::ExecuteSQLStatement_(std::string_view sSql) {
  // Failures are raised to the caller with their number, source and description.
  if (!oDataServices_) return nullptr;
  long lRowsAffected = 0;
  return oDataServices_->Execute(sSql, lRowsAffected);
}

long QuerySql::ExecuteWorkStatement_(std::string_view sSql, std::shared_ptr<ResultSet>* pRows) {
  if (!oDataServices_ || !bRunWorkStatements_) return 0;
  if (modMain::LoggingOn()) modMain::LogInfo("ANSI SQL query submitted:  " + std::string(sSql));
  long lRowsAffected = 0;
  try {
    std::shared_ptr<ResultSet> rows = oDataServices_->Execute(sSql, lRowsAffected);
    if (pRows) *pRows = std::move(rows);
  } catch (...) {
    if (!WorkFailure) WorkFailure = modMain::AsFailure(std::current_exception(), "DataServices.Execute");
    throw;
  }
  return lRowsAffected;
}

std::string QuerySql::BaseTableAndSchema(std::string_view sTable) const {
  const bool qualified = lDatabaseType_ == eDBTOracle || lDatabaseType_ == eDBTSQLServer || lDatabaseType_ == eDBTDB2 ||
                         lDatabaseType_ == eDBTPostgreSQL;
  if (qualified && !sSchemaName_.empty()) return sSchemaName_ + std::string(sTable);
  return std::string(sTable);
}

std::string QuerySql::SpecTableAndSchema(const ProjStructSpecifier* oSpec, std::string_view sTable) const {
  if (oSpec == nullptr) return {};
  const std::string dbType = oSpec->DBType();
  if ((dbType == "3" || dbType == "5" || dbType == "8") && !oSpec->Schema().empty())
    return oSpec->Schema() + std::string(sTable);
  return std::string(sTable);
}

std::string QuerySql::TableAndSchema(const ProjStructSpecifier* oSpec, std::string_view sTable) const {
  if (oSpec == nullptr) return {};
  std::string projectGUID;
  modMain::IgnoreAndGoOn([&] {
    if (oBaseProject_) projectGUID = oBaseProject_->GUID();
  });
  if (text::EqualsNoCase(oSpec->GUID(), projectGUID)) return BaseTableAndSchema(sTable);
  return SpecTableAndSchema(oSpec, sTable);
}

std::string QuerySql::DatabaseSchemaAndTable(const ProjStructSpecifier* oSpec, std::string_view sTable) const {
  std::string name = TableAndSchema(oSpec, sTable);
  if (oSpec != nullptr && !oSpec->IsBaseProjStruSpec() && lDatabaseType_ == eDBTSQLServer &&
      !oSpec->DatabaseName().empty()) {
    name = oSpec->DatabaseName() + "." + name;
  }
  return name;
}

std::string QuerySql::OracleServerName_(const ProjStructSpecifier* oSpec) const {
  if (oSpec == nullptr || oSpec->IsBaseProjStruSpec()) return {};
  if (!oSpec->ServerName().empty() && !text::EqualsNoCase(oSpec->ServerName(), oBaseProjStruSpec_.ServerName()))
    return "@" + oSpec->ServerName();
  return {};
}

}  // namespace vlq
