// The condition on the destination of a trace, one function per dialect:
// the destination key column IN the requirements of the destination type that
// meet the destination's criteria. The subquery reads the destination's own
// tables, so that it can reach into another project or database.
#include <charconv>
#include <functional>
#include <utility>
#include <vector>

#include "engine/mod_main.h"
#include "model/text_util.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/token.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

using Namer = std::function<std::string(std::string_view)>;

// The keys of the user attributes of a criterion (those that read as numbers
// above 0): each needs its attribute view in the subquery.
std::vector<std::string> UserKeys(const std::shared_ptr<TypedComplexExpression>& oCrit) {
  std::vector<std::string> keys;
  if (!oCrit) return keys;
  for (const std::string& sKey : oCrit->AttrKeys()) {
    const std::string sTrimmed = text::Trim(sKey);
    long lKey = 0;
    const auto [end, ec] = std::from_chars(sTrimmed.data(), sTrimmed.data() + sTrimmed.size(), lKey);
    if (ec == std::errc() && end == sTrimmed.data() + sTrimmed.size() && lKey > 0) keys.push_back(sKey);
  }
  return keys;
}

void CollectNots(const TypedComplexExpression& oExpr,
                 std::vector<std::pair<std::shared_ptr<TypedSimpleExpression>, bool>>& nots) {
  const auto* pTokens = oExpr.Tokens();
  if (!pTokens) return;
  for (const std::shared_ptr<Token>& oToken : *pTokens) {
    if (!oToken) continue;
    if (auto oSimple = oToken->AsTypedSimpleExpression()) nots.emplace_back(oSimple, oSimple->ExprNot());
    if (auto oChild = oToken->AsTypedComplexExpression()) CollectNots(*oChild, nots);
  }
}

// The criterion as SQL in the destination context, starting with a blank;
// empty without a criterion. The walk pushes a NOT down by flipping the leaves
// on the expression objects themselves; they are put back afterwards, so that
// the criterion reads the same each time it is written: the closure writes it
// into three statements.
std::string CriterionText(QuerySql& oSql, const std::shared_ptr<TypedComplexExpression>& oCrit) {
  std::string sCrit;
  if (!oCrit) return sCrit;
  std::vector<std::pair<std::shared_ptr<TypedSimpleExpression>, bool>> nots;
  CollectNots(*oCrit, nots);
  Collection<std::shared_ptr<TypedComplexExpression>> cExprs;
  cExprs.Add(oCrit);
  oSql.ExpressionsToSQL(cExprs, sCrit, false, eContextRelDest);
  for (auto& [oSimple, bNot] : nots) oSimple->SetExprNot(bNot);
  return sCrit;
}

// What shapes the nested-join subquery of Access, SQL Server and DB2.
struct NestedShape {
  Namer D;                   // a table of the destination
  std::string sExternal;     // the external-database clause, Access only
  std::string sProjectValue; // the value of the project term
};

std::string NestedJoinSubquery(const ProjStructSpecifier& oDest, const std::vector<std::string>& userKeys,
                               const std::string& sCrit, const NestedShape& shape) {
  const std::string REQ = shape.D(VLREQUIREMENTS);
  const std::string PREQ = shape.D(VLPROJECTREQUIREMENTS);
  const std::string INNER_JOIN = std::string(INNER) + std::string(JOIN);
  std::string s = std::string(SELECT) + REQ + ".ID" + std::string(CRLF) + std::string(FROM);
  // Every join closes one parenthesis. What a requirement holds many of
  // (packages, discussions) its criteria test by membership subqueries of
  // their own, so only the attribute views are joined.
  const std::size_t parens = userKeys.size() + 1;
  s.append(parens, '(');
  s += REQ + " " + INNER_JOIN + PREQ + " " + std::string(nlON) + REQ + ".ID=" + PREQ + ".REQUIREMENTID " + ")";
  for (const std::string& sKey : userKeys) {
    const std::string VIEW = shape.D(std::string(VLATTRVALUESVIEW_) + sKey);
    s += " " + std::string(nlLEFT) + std::string(JOIN) + VIEW + " " + std::string(nlON) + " " + REQ + ".ID" + " =" +
         " " + VIEW + ".REQUIREMENTID" + ")";
  }
  s += shape.sExternal;
  s += " " + std::string(nlWHERE) + PREQ + ".PROJECTID=" + shape.sProjectValue + " " + std::string(nlAND) + REQ +
       ".REQUIREMENTTYPEID=" + oDest.StructKey();
  if (!sCrit.empty()) s += " " + std::string(nlAND) + sCrit;
  return s;
}

std::string InSubquery(std::string_view sKeyColumn, const std::string& sSubquery) {
  return std::string(sKeyColumn) + " " + std::string(IN) + "(" + sSubquery + ")";
}

}  // namespace

enumQueryEngineError QuerySql::TCRelExprCritAccessSQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                                      const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                      std::string& sSql, std::string& sErrInfo) {
  (void)sErrInfo;
  sSql.clear();
  modMain::HandleAndLeave("QuerySql.TCRelExprCritAccessSQL", [&] {
    const std::string sCrit = CriterionText(*this, oCrit);
    NestedShape shape;
    shape.D = [](std::string_view table) { return std::string(table); };
    // Jet reads the tables of another project from its file.
    if (!oDest.IsBaseProjStruSpec()) {
      shape.sExternal = " " + std::string(IN) + " " + modMain::JetDatabasePathLiteral(oDest.ExtProjFilePath(), ".mdb") + " ";
    }
    // The project term names the project whose file the subquery reads: the
    // base project for its own types, the destination's project for a type in
    // another file (each project file keeps its own project key).
    shape.sProjectValue = oDest.IsBaseProjStruSpec() ? ValueToSQL(Variant(oBaseProject_ ? oBaseProject_->Key() : 0L))
                                                     : oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(oDest, UserKeys(oCrit), sCrit, shape));
  });
  return eQEENone;
}

enumQueryEngineError QuerySql::TCRelExprCritSQLServerSQL(const ProjStructSpecifier& oDest,
                                                         std::string_view sKeyColumn,
                                                         const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                         std::string& sSql, std::string& sErrInfo) {
  (void)sErrInfo;
  sSql.clear();
  modMain::HandleAndLeave("QuerySql.TCRelExprCritSQLServerSQL", [&] {
    const std::string sCrit = CriterionText(*this, oCrit);
    NestedShape shape;
    shape.D = [&](std::string_view table) { return DatabaseSchemaAndTable(&oDest, table); };
    shape.sProjectValue = oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(oDest, UserKeys(oCrit), sCrit, shape));
  });
  return eQEENone;
}

enumQueryEngineError QuerySql::TCRelExprCritDB2SQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                                   const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                   std::string& sSql, std::string& sErrInfo) {
  (void)sErrInfo;
  sSql.clear();
  modMain::HandleAndLeave("QuerySql.TCRelExprCritDB2SQL", [&] {
    const std::string sCrit = CriterionText(*this, oCrit);
    NestedShape shape;
    shape.D = [&](std::string_view table) { return DatabaseSchemaAndTable(&oDest, table); };
    shape.sProjectValue = oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(oDest, UserKeys(oCrit), sCrit, shape));
  });
  return eQEENone;
}

enumQueryEngineError QuerySql::TCRelExprCritOracleSQL(const ProjStructSpecifier& oDest, std::string_view sKeyColumn,
                                                      const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                      std::string& sSql, std::string& sErrInfo) {
  (void)sErrInfo;
  sSql.clear();
  modMain::HandleAndLeave("QuerySql.TCRelExprCritOracleSQL", [&] {
    const std::string sCrit = CriterionText(*this, oCrit);
    const auto S = [&](std::string_view table) { return TableAndSchema(&oDest, table); };
    // The database link stands behind each table of the FROM list only.
    const std::string O = OracleServerName_(&oDest);
    const std::vector<std::string> userKeys = UserKeys(oCrit);
    const std::string REQ = S(VLREQUIREMENTS);
    const std::string PREQ = S(VLPROJECTREQUIREMENTS);

    std::string s = std::string(SELECT) + REQ + ".ID" + std::string(CRLF) + std::string(FROM) + REQ + O + ", " +
                    PREQ + O;
    for (const std::string& sKey : userKeys) s += ", " + S(std::string(VLATTRVALUESVIEW_) + sKey) + O;
    s += " " + std::string(nlWHERE) + REQ + ".ID=" + PREQ + ".REQUIREMENTID " + " " + std::string(nlAND) + PREQ +
         ".PROJECTID=" + oDest.ProjKey() + " " + std::string(nlAND) + REQ + ".REQUIREMENTTYPEID=" + oDest.StructKey();
    for (const std::string& sKey : userKeys) {
      s += " " + std::string(nlAND) + " " + REQ + ".ID" + " =" + " " + S(std::string(VLATTRVALUESVIEW_) + sKey) +
           ".REQUIREMENTID" + " " + std::string(ORACLE_OUTER);
    }
    if (!sCrit.empty()) s += " " + std::string(nlAND) + sCrit;
    sSql = InSubquery(sKeyColumn, s);
  });
  return eQEENone;
}

}  // namespace vlq
