#include "sql/query_sql.h"

#include "engine/mod_main.h"
#include "model/text_util.h"

namespace vlq {

QuerySql::QuerySql() {
  modMain::LogInfo("QuerySQL::Class_Initialize");
  Reset();
}

QuerySql::~QuerySql() {
  modMain::IgnoreAndGoOn([] { modMain::LogInfo("QuerySQL::Class_Terminate"); });
}

std::string QuerySql::ClassVersion() const { return modMain::ComponentVersion(); }

void QuerySql::Reset() {
  modMain::IgnoreAndGoOn([this] {
    oBaseProject_.reset();
    oDataServices_.reset();
    eQueryReturnType_ = eBTNone;
    eLookupType_ = eQLTNone;
    eReqQueryScope_ = eVLSUnknown;
    oBaseProjStruSpec_.Reset();
    cTypedCompExprs_.Clear();
    cTypedCompRelExprs_.Clear();
    cTypedSortExprs_.Clear();
    cAttrViewKeys_.Clear();
    cSortViewKeys_.Clear();
    NeedsMinAggregate = JoinDiscussions = JoinUsers = JoinDocuments = false;
    JoinPackageElements = JoinPackages = false;
    DiscJoinRequirements = DiscJoinRead = DiscJoinUsers = DiscJoinGroups = DiscJoinAuthors = false;
    DiscIncludeResponses = DiscSortRequirements = IndirTraceRecordsWritten = false;
    bCountOnly_ = false;
    lDatabaseType_ = eDBTAccess;
    sSchemaName_.clear();
    HierLevelTerms.clear();
    treeLevelExprs_.clear();
    WorkFailure.reset();
    // RetainHierarchy stays: the engine sets it anew for each build.
  });
}

void QuerySql::Close() {
  modMain::IgnoreAndGoOn([this] {
    oBaseProject_.reset();
    oDataServices_.reset();
    cTypedCompExprs_.Clear();
    cTypedCompRelExprs_.Clear();
    cTypedSortExprs_.Clear();
    cAttrViewKeys_.Clear();
    cSortViewKeys_.Clear();
  });
}

void QuerySql::QueryReturnType(enumQueryReturnTypes eQueryReturnType) {
  if (eQueryReturnType >= eBTRequirements && eQueryReturnType <= eBTDiscussions) eQueryReturnType_ = eQueryReturnType;
}

void QuerySql::LookupType(enumQueryLookupTypes eLookupType) {
  eLookupType_ = (eLookupType >= eQLTByPrefix && eLookupType <= eQLTByGUID) ? eLookupType : eQLTNone;
  modMain::SetModuleLookupType(eLookupType_);
}

void QuerySql::ReqQueryScope(enumReqQueryScope eScope) {
  eReqQueryScope_ = (eScope == eVLSReqType || eScope == eVLSProject) ? eScope : eVLSUnknown;
}

void QuerySql::DatabaseType(long lDatabaseType) {
  switch (lDatabaseType) {
    case eDBTAccess:
    case eDBTOracle:
    case eDBTAccess2:
    case eDBTSQLServer:
    case eDBTDB2:
    case eDBTPostgreSQL:
      lDatabaseType_ = lDatabaseType;
      break;
    default:
      break;  // 2, 6 and every other value leave the dialect as it was
  }
}

void QuerySql::BaseProject(std::shared_ptr<Project> oBaseProject) {
  modMain::HandleAndLeave("QuerySql.BaseKey", [&] {
    oBaseProject_ = std::move(oBaseProject);
    oBaseProjStruSpec_.Reset();
    oDataServices_.reset();
    lDatabaseType_ = eDBTAccess;
    sSchemaName_.clear();
    if (oBaseProject_ && !UpdateRelatedBaseProjInfo()) {
      modMain::CentralErrorHandler(
          "QuerySql.BaseKey", {},
          Failure(kUnexpectedFailureNumber, "QuerySql.BaseKey",
                  "Internal Error: Unable to get ADO connection from Base Project"));
    }
  });
}

bool QuerySql::UpdateRelatedBaseProjInfo() {
  if (!oBaseProject_) return false;
  long lDBType = 0;
  std::string sSchema;
  std::string sDatabase;
  std::string sServer;
  std::shared_ptr<DataServices> dataServices;
  if (!modMain::GetConnectionInfo(oBaseProject_, dataServices, lDBType, sSchema, sDatabase, sServer)) return false;
  oDataServices_ = std::move(dataServices);
  DatabaseType(lDBType);
  sSchemaName_ = sSchema;
  return true;
}

enumQueryEngineError QuerySql::ResolveBaseProjStructSpecifier(std::string_view sPrefix, std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.ResolveBaseProjStructSpecifier", [&] {
    if (!oBaseProject_) {
      sErrInfo = modMain::Message(14024);
      result = eQEEProjectNothing;
      return;
    }
    if (eQueryReturnType_ != eBTRequirements) {
      sErrInfo = modMain::Message(14027);
      result = eQEEInvalidBaseQueryType;
      return;
    }
    result = oBaseProjStruSpec_.ResolveKeysAndPrefixes(oBaseProject_, sPrefix, eLookupType_, sErrInfo);
    if (result == eQEENone && !oBaseProjStruSpec_.IsStructKeyResolved()) {
      // REQUIREMENT and DISCUSSION are the words of whole-project queries,
      // not requirement types a base section can name.
      sErrInfo = modMain::MessageWithArg(oBaseProjStruSpec_.IsExtProj() ? 14121 : 14120, std::string(sPrefix));
      result = eQEEUnknownExprPrefix;
    }
    if (result != eQEENone || oBaseProjStruSpec_.IsBaseProjStruSpec()) return;

    // The base type lies in an external project: the builder moves there.
    modMain::IgnoreAndGoOn([&] {
      std::shared_ptr<Project> external;
      auto refs = oBaseProject_->GetExtProjects();
      if (refs) {
        auto ref = refs->Item(oBaseProjStruSpec_.GUID(), eItemByGUID);
        if (ref) external = ref->GetProject();
      }
      oBaseProject_ = std::move(external);
    });
    if (!oBaseProject_) {
      sErrInfo = modMain::MessageWithArg(14008, oBaseProjStruSpec_.ProjPrefix());
      result = eQEEExtProjClosed;
      return;
    }
    if (!UpdateRelatedBaseProjInfo()) {
      sErrInfo = modMain::Message(14026);
      result = eQEEDataServicesNothing;
    }
  });
  return result;
}

enumQueryEngineError QuerySql::CurrSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  sSqlStatement.clear();
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.CurrSQLStatement", [&] {
    const bool access = lDatabaseType_ == eDBTAccess || lDatabaseType_ == eDBTAccess2;
    // DB2 and PostgreSQL take the nested joins of SQL Server.
    const bool sqlServer =
        lDatabaseType_ == eDBTSQLServer || lDatabaseType_ == eDBTDB2 || lDatabaseType_ == eDBTPostgreSQL;
    if (eQueryReturnType_ == eBTRequirements) {
      if (access) result = CurrAccessSQLStatement(sSqlStatement, sErrInfo);
      else if (lDatabaseType_ == eDBTOracle) result = CurrOracleSQLStatement(sSqlStatement, sErrInfo);
      else if (sqlServer) result = CurrSQLServerReqSQLStatement(sSqlStatement, sErrInfo);
    } else if (eQueryReturnType_ == eBTDiscussions) {
      if (access) result = CurrAccessDiscSQLStatement(sSqlStatement, sErrInfo);
      else if (lDatabaseType_ == eDBTOracle) result = CurrOracleDiscSQLStatement(sSqlStatement, sErrInfo);
      else if (sqlServer) result = CurrSQLServerDiscSQLStatement(sSqlStatement, sErrInfo);
    }
  });
  return result;
}

}  // namespace vlq
