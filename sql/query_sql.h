#pragma once
// QuerySql: the SQL builder. One QueryEngine owns one QuerySql for its whole
// life. The engine tells it the project, the kind of query and the lookup type,
// hands it typed criteria, relationship and sort expressions one at a time, and
// asks for the statement with CurrSQLStatement. It holds the state of the one
// query under construction, takes its dialect from the project's connection and
// owns the vocabulary of SQL words, tables and columns.
//
// The class spans several folders: state and vocabulary here and in
// sql/query_sql.cpp, the statement assemblers, expression, attribute and sort
// operations in sql/, statement execution and name qualification in database/,
// the trace closure in closure/ and hierarchy retention in hierarchy/.
//
// State grows from one Reset to the next; the join flags are set while the
// criteria and sort texts are written and read afterwards by the FROM clause.

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/proj_struct_specifier.h"
#include "model/variant.h"
#include "services/failure.h"
#include "services/project.h"

namespace vlq {

class ComplexExpression;
class TypedComplexExpression;
class TypedCompRelExpression;
class TypedSimpleExpression;

// Expression context handed down the walk of ExpressionsToSQL.
enum eExpressionContext : int { eContextBase = 1, eContextRelDest = 2 };

class QuerySql {
 public:
  QuerySql();
  ~QuerySql();
  QuerySql(const QuerySql&) = delete;
  QuerySql& operator=(const QuerySql&) = delete;

  std::string ClassName() const { return "QuerySql"; }
  std::string ClassVersion() const;

  // ---- State ----
  void Reset();
  enumQueryReturnTypes QueryReturnType() const { return eQueryReturnType_; }
  void QueryReturnType(enumQueryReturnTypes eQueryReturnType);
  enumQueryLookupTypes LookupType() const { return eLookupType_; }
  void LookupType(enumQueryLookupTypes eLookupType);
  enumReqQueryScope ReqQueryScope() const { return eReqQueryScope_; }
  void ReqQueryScope(enumReqQueryScope eScope);
  long DatabaseType() const { return lDatabaseType_; }
  void DatabaseType(long lDatabaseType);
  const std::string& SchemaName() const { return sSchemaName_; }
  void SchemaName(std::string sSchemaName) { sSchemaName_ = std::move(sSchemaName); }
  const std::shared_ptr<Project>& BaseProject() const { return oBaseProject_; }
  void BaseProject(std::shared_ptr<Project> oBaseProject);
  bool UpdateRelatedBaseProjInfo();
  const std::shared_ptr<DataServices>& GetDataServices() const { return oDataServices_; }
  ProjStructSpecifier& BaseProjStruSpec() { return oBaseProjStruSpec_; }
  const ProjStructSpecifier& BaseProjStruSpec() const { return oBaseProjStruSpec_; }
  bool CountOnly() const { return bCountOnly_; }
  void CountOnly(bool b) { bCountOnly_ = b; }
  bool RetainHierarchy() const { return bRetainHierarchy_; }
  void RetainHierarchy(bool b) { bRetainHierarchy_ = b; }
  // Off, the statements that fill the work tables are written but not run.
  bool RunWorkStatements() const { return bRunWorkStatements_; }
  void RunWorkStatements(bool b) { bRunWorkStatements_ = b; }

  Collection<std::shared_ptr<TypedComplexExpression>>& TypedCompExprs() { return cTypedCompExprs_; }
  Collection<std::shared_ptr<TypedCompRelExpression>>& TypedCompRelExprs() { return cTypedCompRelExprs_; }
  Collection<std::shared_ptr<TypedComplexExpression>>& TypedSortExprs() { return cTypedSortExprs_; }
  KeyedSet& AttrViewKeys() { return cAttrViewKeys_; }
  KeyedSet& SortViewKeys() { return cSortViewKeys_; }

  // Join flags and the aggregate, set by the expression builders.
  bool NeedsMinAggregate = false;
  bool JoinDiscussions = false;
  bool JoinUsers = false;
  bool JoinDocuments = false;
  bool JoinPackageElements = false;
  bool JoinPackages = false;
  bool DiscJoinRequirements = false;
  bool DiscJoinRead = false;
  bool DiscJoinUsers = false;
  bool DiscJoinGroups = false;
  bool DiscJoinAuthors = false;
  bool DiscIncludeResponses = false;
  // The discussion statement joins the requirements for a sort alone: an
  // outer join, so that a discussion without one stays.
  bool DiscSortRequirements = false;
  bool IndirTraceRecordsWritten = false;
  // The first failure of a statement that fills the closure or hierarchy work
  // tables since the last Reset. The operation that met it handled and
  // logged it; Fetch raises it rather than answer from half-filled tables.
  std::optional<Failure> WorkFailure;
  // The hierarchy level criteria kept aside while RetainHierarchy is on, each
  // a whole condition on the finished tree; the final statement ANDs them.
  std::vector<std::string> HierLevelTerms;

  // ---- Building ----
  enumQueryEngineError ResolveBaseProjStructSpecifier(std::string_view sPrefix, std::string& sErrInfo);
  enumQueryEngineError AddTypedComplexExpression(bool& bStopOnErr, const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                 const ProjStructSpecifier& oProjStruSpec, std::string& sErrInfo);
  enumQueryEngineError AddTypedCompRelExpression(bool& bStopOnErr, const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                 const ProjStructSpecifier& oProjStruSpec,
                                                 Collection<ProjStructSpecifier>& cDestProjStruSpecs,
                                                 std::string& sErrInfo);
  enumQueryEngineError AddTypedSortExpression(bool& bStopOnErr, const std::shared_ptr<ComplexExpression>& oSortExpr,
                                              const ProjStructSpecifier& oProjStruSpec, std::string& sErrInfo);
  enumQueryEngineError CurrSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  // Deletes the rows of a relationship filter's closure session.
  enumQueryEngineError DumpSessionIndirTraceRecords(long lSessionID, std::string& sErrInfo);
  // Drops the project, its database access and the six expression and key
  // collections (CloseQueryEngine).
  void Close();

  // ---- Requirement and discussion statements ----
  enumQueryEngineError CurrAccessSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrOracleSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrSQLServerReqSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrAccessDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrOracleDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrSQLServerDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo);

  // ---- Expressions to SQL ----
  enumQueryEngineError ExpressionsToSQL(const Collection<std::shared_ptr<TypedComplexExpression>>& cExprs,
                                        std::string& sSql, bool bNot = false,
                                        eExpressionContext eContext = eContextBase);
  std::string ComplexExpressionToSQL(const TypedComplexExpression& oExpr, bool& bNot, eExpressionContext eContext);
  std::string SimpleExpressionToSQL(TypedSimpleExpression& oExpr, eExpressionContext eContext);
  std::string ExprValToSQL(const TypedSimpleExpression& oExpr, bool bHighValue, long lListItemKey);
  std::string ExprValueToSQL_(const TypedSimpleExpression& oExpr, Variant value);
  std::string ValueToSQL(const Variant& value);
  std::string SystemAttrExpressionToSQL(TypedSimpleExpression& oExpr, eExpressionContext eContext);
  std::string ReqTypeExpressionToSQL(const TypedSimpleExpression& oExpr);
  std::string MembershipExpressionToSQL_(const TypedSimpleExpression& oExpr, long K, bool N, enumExpressionOperator O);
  std::string LocationExpressionToSQL_(const TypedSimpleExpression& oExpr, bool N, enumExpressionOperator O);
  // The literal of a LIKE pattern with what the dialect needs behind it: on
  // PostgreSQL, where the backslash escapes by default, the backslash is
  // named as the escape character and doubled in the pattern, so that it
  // matches itself as in the other databases.
  std::string LikePatternToSQL_(const std::string& sLiteral) const;
  std::string GetTimeSeparator_();
  bool IsTimeSpecified_(std::string_view sValue);
  bool AreSecondsSpecified_(std::string_view sValue);

  // ---- Sort order ----
  enumQueryEngineError SortOrderToSQL(std::string& sOrderBy, std::string& sGroupBy, std::string& sErrInfo);
  std::string GetDataTypeConversionFunctionString_(long lDatabaseType, long lDataType, const std::string& sColumn);
  enumQueryEngineError CreateSortView_(const std::string& sViewName, long lAttrKey);
  std::string BuildRootTagNbrSQL(int nOffset, const TypedSimpleExpression& oExpr);

  // ---- Relationships and the trace closure (closure/) ----
  // All relationship filters of the query as one boolean text for the WHERE
  // clause; empty without filters. Runs the closure of every filter that
  // isn't limited to direct traces, so it writes to the work tables.
  enumQueryEngineError RelationshipsToSQL(std::string& sRel, std::string& sErrInfo);
  // One test of one filter: the membership of VLREQUIREMENTS.ID in the
  // subquery of its traces. bNotAll: the second test of an ALL criterion,
  // always direct and without status. bWithStatus: the filter's status term.
  enumQueryEngineError RelationshipToSql(TypedCompRelExpression& oRelExpr, bool bNotAll, std::string& sSql,
                                         std::string& sErrInfo, bool bWithStatus);
  // Gives oNotAll (made when empty) a new token list: the ALL terms of oCrit,
  // each negated, with the connectors between them.
  enumQueryEngineError MakeNotAllTCExpr(const std::shared_ptr<TypedComplexExpression>& oCrit,
                                        std::shared_ptr<TypedComplexExpression>& oNotAll, std::string& sErrInfo);
  // sKeyColumn IN the requirements of the destination type that meet oCrit
  // (may be empty), in whichever project the destination lies.
  enumQueryEngineError TCRelExprCritAccessSQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                              const std::shared_ptr<TypedComplexExpression>& oCrit,
                                              std::string& sSql, std::string& sErrInfo);
  enumQueryEngineError TCRelExprCritOracleSQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                              const std::shared_ptr<TypedComplexExpression>& oCrit,
                                              std::string& sSql, std::string& sErrInfo);
  enumQueryEngineError TCRelExprCritSQLServerSQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                                 const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                 std::string& sSql, std::string& sErrInfo);
  enumQueryEngineError TCRelExprCritDB2SQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                           const std::shared_ptr<TypedComplexExpression>& oCrit, std::string& sSql,
                                           std::string& sErrInfo);
  // Works out the indirect traces of a filter into VLTRACETABLEINDIR under
  // its SessionID.
  enumQueryEngineError BuildTransClosure(TypedCompRelExpression& oRelExpr, std::string& sErrInfo);
  // One level of the closure: lLevel from 1; bMoreRows tells whether the
  // level inserted rows.
  enumQueryEngineError BuildAccessTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                    bool& bMoreRows, std::string& sErrInfo);
  enumQueryEngineError BuildOracleTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                    bool& bMoreRows, std::string& sErrInfo);
  enumQueryEngineError BuildSQLServerTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                       bool& bMoreRows, std::string& sErrInfo);
  enumQueryEngineError BuildDB2TransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                 bool& bMoreRows, std::string& sErrInfo);

  // ---- Database helpers ----
  std::shared_ptr<ResultSet> ExecuteSQLStatement_(std::string_view sSql);
  // Runs a statement of the closure or the hierarchy pipeline, logged when
  // SQL logging is on, and gives the rows it changed. A failure is kept in
  // WorkFailure (the first one) and goes on to the caller.
  long ExecuteWorkStatement_(std::string_view sSql, std::shared_ptr<ResultSet>* pRows = nullptr);
  std::string BaseTableAndSchema(std::string_view sTable) const;
  std::string SpecTableAndSchema(const ProjStructSpecifier* oSpec, std::string_view sTable) const;
  std::string TableAndSchema(const ProjStructSpecifier* oSpec, std::string_view sTable) const;
  std::string DatabaseSchemaAndTable(const ProjStructSpecifier* oSpec, std::string_view sTable) const;
  std::string OracleServerName_(const ProjStructSpecifier* oSpec) const;
  std::string BaseSchemaName_();
  std::string SQLServerDatabaseName_(const ProjStructSpecifier* oSpec);
  bool IsDBViewPresent_(const std::string& sViewName);
  bool IsAccessObjectPresent_(int lKind, const std::string& sTable, const std::string& sView, const std::string& sColumn);
  bool IsOracleObjectPresent_(int lKind, const std::string& sTable, const std::string& sView, const std::string& sColumn);
  bool IsSQLServerObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                 const std::string& sColumn);
  bool IsDB2ObjectPresent_(int lKind, const std::string& sTable, const std::string& sView, const std::string& sColumn);
  bool IsPostgreSQLObjectPresent_(int lKind, const std::string& sTable, const std::string& sView,
                                  const std::string& sColumn);
  bool IsInDBSchema_(int lKind, const std::string& sTable, const std::string& sView, const std::string& sColumn);

  // ---- Hierarchy retention (hierarchy/) ----
  // Runs the finished main statement sSql, rewritten, into the hierarchy work
  // tables under a new session (lSessionID, out) and replaces sSql by the
  // SELECT of that session's rows in tree order: each parent before its
  // children, siblings in the query's sort order, the ancestors of the hits
  // added. sSql stays as it was on a nonzero result.
  enumQueryEngineError ChangeSQLToRetainHierarchy(std::string& sSql, long& lSessionID);
  // Deletes the rows of a hierarchy session from the three work tables.
  enumQueryEngineError DumpHierarchyRecords(long lSessionID, std::string& sErrInfo);
  enumQueryEngineError PopulateHierarchyTable_(const std::string& sSql, long& lSessionID);
  long GetNextHierarchySessionID_();
  // The main statement as the INSERT of its hits into VLHIERARCHYTABLETEMP.
  enumQueryEngineError ExtendHierarchySQL_(std::string& sSql, long lSessionID);
  enumQueryEngineError OrderLevels_(long lSessionID);
  enumQueryEngineError OrderLevelsForDB2_(long lSessionID);
  enumQueryEngineError FinalOrder_(long lSessionID, long lLevels);
  std::string FinalHierarchySQL_(long lSessionID);
  std::string GenerateAccessFROMClauseForHierarchy_();
  std::string GenerateDB2FROMClauseForHierarchy_();
  std::string GenerateOracleFROMClauseForHierarchy_();
  std::string GenerateOracleWHEREClauseForHierarchy_();

 private:
  enumQueryEngineError CurrReqSQLStatement_(long lDialect, std::string& sSqlStatement, std::string& sErrInfo);
  enumQueryEngineError CurrDiscSQLStatement_(long lDialect, std::string& sSqlStatement, std::string& sErrInfo);

  long lDatabaseType_ = eDBTAccess;
  std::string sSchemaName_;
  enumQueryReturnTypes eQueryReturnType_ = eBTNone;
  enumQueryLookupTypes eLookupType_ = eQLTNone;
  std::shared_ptr<Project> oBaseProject_;
  std::shared_ptr<DataServices> oDataServices_;
  ProjStructSpecifier oBaseProjStruSpec_;
  enumReqQueryScope eReqQueryScope_ = eVLSUnknown;
  Collection<std::shared_ptr<TypedComplexExpression>> cTypedCompExprs_;
  Collection<std::shared_ptr<TypedCompRelExpression>> cTypedCompRelExprs_;
  Collection<std::shared_ptr<TypedComplexExpression>> cTypedSortExprs_;
  KeyedSet cAttrViewKeys_;
  KeyedSet cSortViewKeys_;
  bool bCountOnly_ = false;
  bool bRetainHierarchy_ = false;
  bool bRunWorkStatements_ = true;
  // The level comparisons of the base criteria that cut the finished tree:
  // those that every hit must meet, not negated, outside any OR.
  std::set<const TypedSimpleExpression*> treeLevelExprs_;
  std::string sTimeSeparator_;
  bool bTimeSeparatorRead_ = false;
};

}  // namespace vlq
