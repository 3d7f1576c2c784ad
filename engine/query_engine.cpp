#include "engine/query_engine.h"

#include <functional>
#include <set>

#include "engine/mod_main.h"
#include "model/query_def.h"
#include "model/text_util.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"
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
    sUnreadText_.clear();
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

// ---- The size of a query ------------------------------------------------------------

namespace {

// The most expressions a query may hold, over all its sections: the statement
// chains them with AND and OR, and the databases' SQL parsers refuse chains
// much deeper than this (SQLite at 1000).
constexpr std::size_t kMaxExpressions = 256;
// The most attribute views (a user attribute named in the query, a sort on a
// multi-select list) one statement joins: Jet joins at most 32 tables, eight
// of which a statement may need for itself.
constexpr std::size_t kMaxAttributeViews = 24;

struct QuerySize {
  std::size_t expressions = 0;
  std::set<std::string> attributes;  // user attributes named anywhere
  std::size_t sortViews = 0;         // sorts on multi-select lists
};

void Measure(const Collection<std::shared_ptr<Token>>* tokens, bool bSort, QuerySize& size) {
  if (!tokens) return;
  for (const std::shared_ptr<Token>& token : *tokens) {
    if (const auto typed = token->AsTypedSimpleExpression()) {
      ++size.expressions;
      if (typed->IsSystemAttr()) continue;
      if (bSort && typed->AttrDataType() == eADTMultiSelectList) {
        ++size.sortViews;
      } else {
        size.attributes.insert(typed->AttrKey());
      }
    } else if (token->AsSimpleExpression()) {
      ++size.expressions;  // not resolved (a build)
    } else if (const auto child = token->AsTypedComplexExpression()) {
      Measure(child->Tokens(), bSort, size);
    } else if (const auto parsed = token->AsComplexExpression()) {
      Measure(&parsed->Tokens(), bSort, size);
    }
  }
}

}  // namespace

enumQueryEngineError QueryEngine::CheckQuerySize_(std::string& sErrorInfo) {
  QuerySql& sql = *oQuerySql_;
  QuerySize size;
  for (const auto& oExpr : sql.TypedCompExprs()) Measure(oExpr->Tokens(), false, size);
  for (const auto& oExpr : sql.TypedSortExprs()) Measure(oExpr->Tokens(), true, size);
  for (const auto& oRel : sql.TypedCompRelExprs()) {
    size.expressions += 1 + oRel->DestProjStruSpecs().Count();
    for (const auto& oCrit : oRel->TypedComplexExpressions()) Measure(oCrit->Tokens(), false, size);
  }
  if (size.expressions > kMaxExpressions) {
    sErrorInfo = modMain::MessageWithArg(14141, std::to_string(kMaxExpressions));
    return eQEEValueTooLong;
  }
  if (size.attributes.size() + size.sortViews > kMaxAttributeViews) {
    sErrorInfo = modMain::MessageWithArg(14143, std::to_string(kMaxAttributeViews));
    return eQEEValueTooLong;
  }
  return eQEENone;
}

// ---- Public operations --------------------------------------------------------------

// After CloseQueryEngine the engine has no builder: every operation answers
// with eQEENoQuery and says so.
bool QueryEngine::IsClosed_(std::string& sErrorInfo) const {
  if (oQuerySql_) return false;
  sErrorInfo = modMain::Message(14135);
  return true;
}

enumQueryEngineError QueryEngine::Validate(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                           const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                           std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  if (IsClosed_(sErrorInfo)) return eQEENoQuery;
  std::shared_ptr<Project> project = oProj;
  const enumQueryEngineError result =
      Validate_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  DumpIndirTraceRecords_(sErrorInfo);
  oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Validate2(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                            const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                            std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  if (IsClosed_(sErrorInfo)) return eQEENoQuery;
  std::shared_ptr<Project> project = oProj;
  const enumQueryEngineError result =
      Validate2_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Build(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                        const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                        std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef) {
  if (IsClosed_(sErrorInfo)) return eQEENoQuery;
  std::shared_ptr<Project> project = oProj;
  enumQueryEngineError result =
      Validate_(false, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef, false);
  // The closure rows go whatever the build gave; a failure of their removal
  // is the result only of a build that succeeded.
  std::string sDumpInfo;
  const enumQueryEngineError eDump = DumpIndirTraceRecords_(sDumpInfo);
  if (result == eQEENone && eDump != eQEENone) {
    result = eDump;
    sErrorInfo = sDumpInfo;
  }
  oQuerySql_->BaseProject(nullptr);
  return result;
}

enumQueryEngineError QueryEngine::Fetch(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                        const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                        std::string& sErrorInfo, Rows& aResults,
                                        std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy) {
  if (IsClosed_(sErrorInfo)) return eQEENoQuery;
  // The rows this run writes to the work tables (its closure sessions and its
  // hierarchy session) go on every way out, a raised failure included.
  long lSessionId = 0;
  bool bHierarchyRun = false;
  bool bDumped = false;
  const auto dump = [&](std::string& sInfo) {
    bDumped = true;
    enumQueryEngineError result = DumpIndirTraceRecords_(sInfo);
    if (bHierarchyRun) {
      const enumQueryEngineError eHierarchy = DumpHierarchyRecords_(lSessionId, sInfo);
      if (eHierarchy != eQEENone) result = eHierarchy;
    }
    return result;
  };
  struct DumpOnRaise {
    const std::function<void()> run;
    ~DumpOnRaise() { run(); }
  } dumpOnRaise{[&] {
    if (bDumped || !oQuerySql_) return;
    std::string sIgnored;
    modMain::IgnoreAndGoOn([&] { dump(sIgnored); });
  }};

  // Unexpected failures, a failing statement above all, go on to the caller
  // with "QueryEngine.Fetch" as their source; aResults stays as it was.
  return modMain::Raise("QueryEngine.Fetch", [&]() -> enumQueryEngineError {
    enumQueryEngineError result = eQEENone;
    std::shared_ptr<Project> project = oProj;
    const auto finish = [&] {
      oQuerySql_->BaseProject(nullptr);
      return result;
    };
    // A statement that filled the closure or hierarchy tables failed: an
    // answer read from them would be partial, so the failure is raised.
    const auto raiseWorkFailure = [&] {
      if (!oQuerySql_->WorkFailure) return;
      const Failure failure = *oQuerySql_->WorkFailure;
      std::string sIgnored;
      dump(sIgnored);
      oQuerySql_->BaseProject(nullptr);
      throw failure;
    };
    if (!project) {
      sErrorInfo = modMain::Message(14013);
      result = eQEEProjectNothing;
      return finish();
    }
    // Tree order is the order of requirements' tags; discussions have none,
    // and their answer would be empty without a word.
    if (bRetainHierarchy && eQueryReturnType == eBTDiscussions) {
      sErrorInfo = modMain::Message(14144);
      result = eQEEInvalidBaseQueryType;
      return finish();
    }
    result = Validate_(true, eQueryReturnType, eLookupType, project, sQuery, sErrorInfo, oQueryDef,
                       bRetainHierarchy);
    raiseWorkFailure();
    if (result != eQEENone) {
      std::string sIgnored;
      dump(sIgnored);
      return finish();
    }

    if (bRetainHierarchy) {
      bHierarchyRun = true;
      result = ChangeSQLToRetainHierarchy_(sSqlText_, lSessionId, sErrorInfo);
      raiseWorkFailure();
      if (result != eQEENone) {
        std::string sIgnored;
        dump(sIgnored);
        return finish();
      }
    }
    modMain::LogInfo("ANSI SQL query submitted:  " + sSqlText_);

    std::shared_ptr<DataServices> dataServices;
    if (auto manager = project->Manager()) dataServices = project->GetDataServices(manager->ConnectionKey());
    if (!dataServices) {
      std::string sIgnored;
      dump(sIgnored);
      sErrorInfo = modMain::Message(14052);
      result = eQEEDataServicesNothing;
      return finish();
    }
    // A query that makes no statement (document queries) has no rows to fetch.
    if (!text::TrimView(sSqlText_).empty()) {
      long lRowsAffected = 0;
      std::shared_ptr<ResultSet> resultSet = dataServices->Execute(sSqlText_, lRowsAffected);
      aResults = resultSet ? resultSet->GetRows() : Rows{};
    } else {
      aResults = Rows{};
    }

    result = dump(sErrorInfo);
    if (result != eQEENone) return finish();
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
    // A build that goes on past a failed expression writes its statements
    // but runs none of them: the database would only refuse them.
    sql.RunWorkStatements(bStopOnErr);

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
    if ((result = CheckQuerySize_(sErrorInfo)) != eQEENone) return;

    if (bMakeSql) {
      result = sql.CurrSQLStatement(sSqlText_, sErrorInfo);
      if (result == eQEENone) sErrorInfo = sSqlText_;
    }

    oQueryDef = std::make_shared<QueryDef>();
    oQueryDef->SaveLastQueryInfo(sql);

    if (sql.BaseProject() && sql.BaseProject()->GUID() != oProj->GUID()) oProj = sql.BaseProject();

    const std::string leftover = text::Trim(sWorkingText_);
    sUnreadText_ = leftover;
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
