#include "engine/query_engine.h"

#include "engine/mod_main.h"
#include "model/query_def.h"
#include "model/typed_comp_rel_expression.h"
#include "model/text_util.h"
#include "sql/query_sql.h"

namespace vlq {

QueryEngine::QueryEngine() {
  modMain::Main();
  modMain::ReadOutputMode();
  modMain::LogInfo("QueryEngine::Class_Initialize");
  oQuerySql_ = std::make_unique<QuerySql>();
  ResetEngine_();
}

QueryEngine::~QueryEngine() {
  modMain::IgnoreAndGoOn([] { modMain::LogInfo("QueryEngine::Class_Terminate"); });
}

std::string QueryEngine::ClassVersion() const { return modMain::ComponentVersion(); }

void QueryEngine::ResetEngine_() {
  modMain::IgnoreAndGoOn([this] {
    if (oQuerySql_) {
      oQuerySql_->Reset();
      oQuerySql_->ReqQueryScope(eVLSUnknown);
    }
    sWorkingText_.clear();
    sSqlText_.clear();
    bStopOnErr_ = true;
  });
}

void QueryEngine::CloseQueryEngine() {
  modMain::IgnoreAndGoOn([this] {
    if (oQuerySql_) {
      oQuerySql_->BaseProject(nullptr);
      oQuerySql_->Close();
    }
    oQuerySql_.reset();
  });
}

// ---- Public operations --------------------------------------------------------------

enumQueryEngineError QueryEngine::Validate(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                           const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                           std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  std::shared_ptr<Project> project = oProj;
  const enumQueryEngineError result =
      Validate_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  DumpIndirTraceRecords_(sErrorInfo);
  if (oQuerySql_) oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Validate2(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                            const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                            std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  std::shared_ptr<Project> project = oProj;
  const enumQueryEngineError result =
      Validate2_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  if (oQuerySql_) oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Build(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                        const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                        std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  std::shared_ptr<Project> project = oProj;
  enumQueryEngineError result =
      Validate_(false, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  if (result == eQEENone) result = DumpIndirTraceRecords_(sErrorInfo);
  if (oQuerySql_) oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Fetch(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                        const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                        std::string& sErrorInfo, Rows& aResults,
                                        std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy) {
  // Unexpected failures, a failing statement above all, go on to the caller
  // with "QueryEngine.Fetch" as their source; the builder keeps its project
  // until the next run and aResults stays as it was.
  return modMain::Raise("QueryEngine.Fetch", [&]() -> enumQueryEngineError {
    enumQueryEngineError result = eQEENone;
    std::shared_ptr<Project> project = oProj;
    const auto finish = [&] {
      if (oQuerySql_) oQuerySql_->BaseProject(nullptr);
      return result;
    };
    if (!project) {
      sErrorInfo = modMain::Message(14013);
      result = eQEEProjectNothing;
      return finish();
    }
    result = Validate_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef,
                       bRetainHierarchy);
    if (result != eQEENone) return finish();

    long lSessionId = 0;
    if (bRetainHierarchy) {
      result = ChangeSQLToRetainHierarchy_(sSqlText_, lSessionId, sErrorInfo);
      if (result != eQEENone) return finish();
    }
    modMain::LogInfo("ANSI SQL query submitted:  " + sSqlText_);

    std::shared_ptr<DataServices> dataServices;
    if (auto manager = project->Manager()) dataServices = project->GetDataServices(manager->ConnectionKey());
    if (!dataServices) {
      sErrorInfo = modMain::Message(14052);
      result = eQEEDataServicesNothing;
      return finish();
    }
    // A query that makes no statement (document queries, and discussion
    // queries until their statements exist) has no rows to fetch.
    if (!text::TrimView(sSqlText_).empty()) {
      long lRowsAffected = 0;
      std::shared_ptr<ResultSet> resultSet = dataServices->Execute(sSqlText_, lRowsAffected);
      aResults = resultSet ? resultSet->GetRows() : Rows{};
    } else {
      aResults = Rows{};
    }

    result = DumpIndirTraceRecords_(sErrorInfo);
    if (bRetainHierarchy) {
      result = DumpHierarchyRecords_(lSessionId, sErrorInfo);
      if (result != eQEENone) return finish();
    }
    sErrorInfo = project->GUID();
    return finish();
  });
}

// ---- The pipeline -----------------------------------------------------------------------

enumQueryEngineError QueryEngine::Validate_(bool bStopOnErr, enumQueryReturnTypes eQueryReturnType,
                                            enumQueryLookupTypes eLookupType, std::shared_ptr<Project>& oProj,
                                            std::string_view sQuery, std::string& sErrorInfo,
                                            std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy) {
  return RunPipeline_(true, "Validate", bStopOnErr, eQueryReturnType, eLookupType, oProj, sQuery, sErrorInfo,
                      oQueryDef, bRetainHierarchy);
}

enumQueryEngineError QueryEngine::Validate2_(bool bStopOnErr, enumQueryReturnTypes eQueryReturnType,
                                             enumQueryLookupTypes eLookupType, std::shared_ptr<Project>& oProj,
                                             std::string_view sQuery, std::string& sErrorInfo,
                                             std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy) {
  return RunPipeline_(false, "Validate2_", bStopOnErr, eQueryReturnType, eLookupType, oProj, sQuery, sErrorInfo,
                      oQueryDef, bRetainHierarchy);
}

enumQueryEngineError QueryEngine::RunPipeline_(bool bMakeSql, const char* sProcName, bool bStopOnErr,
                                               enumQueryReturnTypes eQueryReturnType,
                                               enumQueryLookupTypes eLookupType, std::shared_ptr<Project>& oProj,
                                               std::string_view sQuery, std::string& sErrorInfo,
                                               std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave(sProcName, [&] {
    if (modMain::LoggingOn()) {
      modMain::LogEvents({{"Velarit Query Language query submitted:  " + std::string(sQuery), eEventInformation},
                          {std::string("bRetainHierarchy flag = ") + (bRetainHierarchy ? "True" : "False"),
                           eEventInformation}});
    }
    ResetEngine_();
    bStopOnErr_ = bStopOnErr;
    sErrorInfo.clear();
    sWorkingText_ = text::Trim(sQuery);

    if (!oProj) {
      sErrorInfo = modMain::Message(14013);
      result = eQEEProjectNothing;
      return;
    }
    QuerySql& sql = *oQuerySql_;
    sql.BaseProject(oProj);
    sql.RetainHierarchy(bRetainHierarchy);

    if (eQueryReturnType < eBTRequirements || eQueryReturnType > eBTDiscussions) {
      sErrorInfo = modMain::Message(14002);
      result = eQEEInvalidBaseQueryType;
      return;
    }
    sql.QueryReturnType(eQueryReturnType);
    if (modMain::ValidateLookupType(eLookupType) != eQEENone) {
      sErrorInfo = modMain::Message(14003);
      result = eQEEInvalidLookupType;
      return;
    }
    sql.LookupType(eLookupType);

    // The sections, each blanking out what it has read.
    if ((result = ExtractKeywordCount_(sErrorInfo)) != eQEENone) return;
    if ((result = ExtractQueryBasePrefix(sErrorInfo)) != eQEENone) return;
    if ((result = ExtractQueryBaseCriteria(sErrorInfo)) != eQEENone) return;
    if (eQueryReturnType == eBTRequirements && sql.ReqQueryScope() == eVLSReqType) {
      if ((result = ExtractQueryBaseRelCriteria(sErrorInfo)) != eQEENone) return;
      if ((result = ExtractQueryBaseRelCritCriteria(sErrorInfo)) != eQEENone) return;
    }
    if ((result = ExtractQueryBaseSortCriteria(sErrorInfo)) != eQEENone) return;

    if (bMakeSql) {
      result = sql.CurrSQLStatement(sSqlText_, sErrorInfo);
      if (result == eQEENone) sErrorInfo = sSqlText_;
    }

    oQueryDef = std::make_shared<QueryDef>();
    oQueryDef->SaveLastQueryInfo(sql);

    if (sql.BaseProject() && sql.BaseProject()->GUID() != oProj->GUID()) oProj = sql.BaseProject();

    const std::string leftover = text::Trim(sWorkingText_);
    if (!leftover.empty()) sErrorInfo += "\r\n" + modMain::MessageWithArg(14004, leftover);

    if (eQueryReturnType == eBTRequirements && sql.ReqQueryScope() == eVLSProject) {
      if (!leftover.empty() && leftover != "\r\n") {
        sErrorInfo = modMain::MessageWithArg(14005, leftover);
        result = eQEEProjWideQueryExtraString;
      } else if (sql.BaseProject()) {
        sErrorInfo = modMain::MessageWithArg(14006, sql.BaseProject()->GUID());
      }
    }
  });
  return result;
}

// ---- Wrappers of the builder's closure and hierarchy operations -------------------------

enumQueryEngineError QueryEngine::ChangeSQLToRetainHierarchy_(std::string& sSql, long& lSessionId,
                                                              std::string& /*sErrorInfo*/) {
  if (!oQuerySql_) return eQEENone;
  return oQuerySql_->ChangeSQLToRetainHierarchy(sSql, lSessionId);
}

enumQueryEngineError QueryEngine::DumpHierarchyRecords_(long lSessionId, std::string& sErrorInfo) {
  if (!oQuerySql_) return eQEENone;
  return oQuerySql_->DumpHierarchyRecords(lSessionId, sErrorInfo);
}

enumQueryEngineError QueryEngine::DumpIndirTraceRecords_(std::string& sErrorInfo) {
  // Each relationship filter has its own session in the work tables. Every
  // session is deleted, whatever became of the one before; the result is the
  // last one's.
  if (!oQuerySql_) return eQEENone;
  enumQueryEngineError result = eQEENone;
  for (const std::shared_ptr<TypedCompRelExpression>& oRelExpr : oQuerySql_->TypedCompRelExprs()) {
    if (oRelExpr) result = oQuerySql_->DumpSessionIndirTraceRecords(oRelExpr->SessionID(), sErrorInfo);
  }
  return result;
}

enumExpressionOperator QueryEngine::OpStringToEnum(std::string_view sOpString) const {
  return modMain::OpStringToEnum(sOpString);
}
std::string QueryEngine::OpEnumToString(enumExpressionOperator eOp) const { return modMain::OpEnumToString(eOp); }
enumOrderSpecifier QueryEngine::OrdStringToEnum(std::string_view sOrdString, enumQueryLookupTypes eLookupType) const {
  return modMain::OrdStringToEnum(sOrdString, eLookupType);
}
std::string QueryEngine::OrdEnumToString(enumOrderSpecifier eOrd) const { return modMain::OrdEnumToString(eOrd); }

}  // namespace vlq
