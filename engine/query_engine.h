#pragma once
// QueryEngine: the public entry of the component. A caller hands it a query
// string in the Velarit Query Language and an open project, and gets back a
// result code, a text in sErrorInfo, a QueryDef and, from Fetch, the keys of the
// matching requirements or discussions.
//
// Threads: one thread at a time uses an engine. Engines on one thread share the
// thread's message catalogue, output mode and lookup type, so they may be used in
// turn but not inside each other's calls.
//
// Ownership: the caller owns the QueryDef it receives and lends the engine the
// project for the length of a call.

#include <memory>
#include <string>
#include <string_view>

#include "engine/enums.h"
#include "model/variant.h"
#include "services/project.h"

namespace vlq {

class QueryDef;
class QuerySql;
class ProjStructSpecifier;
class TypedCompRelExpression;

class QueryEngine {
 public:
  QueryEngine();
  ~QueryEngine();
  QueryEngine(const QueryEngine&) = delete;
  QueryEngine& operator=(const QueryEngine&) = delete;

  // Checks the syntax and the references of a query, makes its SQL statement
  // and reports what it finds; does not run the query.
  enumQueryEngineError Validate(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef);
  // The same checks without making SQL.
  enumQueryEngineError Validate2(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                 const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                 std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef);
  // Makes a QueryDef; a reference that doesn't resolve stops nothing.
  enumQueryEngineError Build(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                             const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                             std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef);
  // Checks the query as Validate does, runs it and returns the item keys in
  // aResults (column-major; the first column holds the keys). An unexpected
  // failure, a failing statement above all, is thrown as Failure with the
  // source "QueryEngine.Fetch"; so is a failing statement of the trace closure
  // or of the tree order, whose answer would be partial. The rows the run
  // wrote to the work tables are removed on every way out.
  enumQueryEngineError Fetch(enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                             const std::shared_ptr<Project>& oProj, std::string_view sQuery,
                             std::string& sErrorInfo, Rows& aResults, std::shared_ptr<QueryDef>& oQueryDef,
                             bool bRetainHierarchy = false);

  std::string ClassName() const { return "QueryEngine"; }
  std::string ClassVersion() const;

  // Frees the builder and all other state. The engine takes no queries after
  // it: each operation then answers eQEENoQuery with message 14135.
  void CloseQueryEngine();

  enumExpressionOperator OpStringToEnum(std::string_view sOpString) const;
  std::string OpEnumToString(enumExpressionOperator eOp) const;
  enumOrderSpecifier OrdStringToEnum(std::string_view sOrdString, enumQueryLookupTypes eLookupType) const;
  std::string OrdEnumToString(enumOrderSpecifier eOrd) const;

  // The statement of the latest run as the builder made it, whatever the
  // scope (Validate hands a project-wide query's statement to nobody). For
  // tools that show the SQL of a query; empty after Validate2.
  const std::string& LastSqlStatement() const { return sSqlText_; }
  // The text of the latest run's query that no section read (trimmed; empty
  // when all was read). Fetch hands the project's GUID to the caller in
  // sErrorInfo, so a tool learns of unread text here.
  const std::string& LastUnreadText() const { return sUnreadText_; }

 private:
  enumQueryEngineError Validate_(bool bStopOnErr, enumQueryReturnTypes eQueryReturnType,
                                 enumQueryLookupTypes eLookupType, std::shared_ptr<Project>& oProj,
                                 std::string_view sQuery, std::string& sErrorInfo,
                                 std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy);
  enumQueryEngineError Validate2_(bool bStopOnErr, enumQueryReturnTypes eQueryReturnType,
                                  enumQueryLookupTypes eLookupType, std::shared_ptr<Project>& oProj,
                                  std::string_view sQuery, std::string& sErrorInfo,
                                  std::shared_ptr<QueryDef>& oQueryDef, bool bRetainHierarchy);
  // The pipeline shared by Validate_ (bMakeSql) and Validate2_.
  enumQueryEngineError RunPipeline_(bool bMakeSql, const char* sProcName, bool bStopOnErr,
                                    enumQueryReturnTypes eQueryReturnType, enumQueryLookupTypes eLookupType,
                                    std::shared_ptr<Project>& oProj, std::string_view sQuery,
                                    std::string& sErrorInfo, std::shared_ptr<QueryDef>& oQueryDef,
                                    bool bRetainHierarchy);
  void ResetEngine_();
  // Refuses a query too large for the statement to run: too many expressions,
  // or too many attributes for one statement to join.
  enumQueryEngineError CheckQuerySize_(std::string& sErrorInfo);
  // True, with its message in sErrorInfo, once CloseQueryEngine has run.
  bool IsClosed_(std::string& sErrorInfo) const;

  enumQueryEngineError ChangeSQLToRetainHierarchy_(std::string& sSql, long& lSessionId, std::string& sErrorInfo);
  enumQueryEngineError DumpHierarchyRecords_(long lSessionId, std::string& sErrorInfo);
  enumQueryEngineError DumpIndirTraceRecords_(std::string& sErrorInfo);

  // The section operations: each reads its sections from the working text and
  // blanks out what it has consumed.
  enumQueryEngineError ExtractKeywordCount_(std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryBasePrefix(std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryBaseCriteria(std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryCriteria(const ProjStructSpecifier& spec, std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryBaseRelCriteria(std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryRelationships(const ProjStructSpecifier& spec, std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryBaseRelCritCriteria(std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryRelCritCriteria(const std::shared_ptr<TypedCompRelExpression>& oRelExpr,
                                                   const ProjStructSpecifier& oDest, std::string& sErrorInfo);
  enumQueryEngineError ExtractQueryBaseSortCriteria(std::string& sErrorInfo);
  enumQueryEngineError ExtractQuerySorts(const ProjStructSpecifier& spec, std::string& sErrorInfo);

  std::unique_ptr<QuerySql> oQuerySql_;
  std::string sWorkingText_;
  std::string sSqlText_;
  std::string sUnreadText_;
  bool bStopOnErr_ = true;
};

}  // namespace vlq
