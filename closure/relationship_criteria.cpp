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

bool NamesAttr(const std::shared_ptr<TypedComplexExpression>& oCrit, enumSystemAttrKey eKey) {
  return oCrit && oCrit->AttrKeys().Contains(std::to_string(static_cast<int>(eKey)));
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
  Namer T;                   // a table of the base project
  bool bPackageElements = false;
  bool bPackages = false;
  std::string sExternal;     // the external-database clause, Access only
  std::string sProjectValue; // the value of the project term
};

std::string NestedJoinSubquery(const QuerySql& oSql, const ProjStructSpecifier& oDest,
                               const std::vector<std::string>& userKeys, const std::string& sCrit,
                               const NestedShape& shape) {
  const std::string REQ = shape.D(VLREQUIREMENTS);
  const std::string PREQ = shape.D(VLPROJECTREQUIREMENTS);
  const std::string INNER_JOIN = std::string(INNER) + std::string(JOIN);
  std::string s = std::string(SELECT) + REQ + ".ID" + std::string(CRLF) + std::string(FROM);
  // Every join but the second discussion table closes one parenthesis.
  const std::size_t parens = userKeys.size() + (oSql.RelJoinDiscussions ? 1 : 0) +
                             (shape.bPackageElements ? 1 : 0) + (shape.bPackages ? 1 : 0) + 1;
  s.append(parens, '(');
  s += REQ + " " + INNER_JOIN + PREQ + " " + std::string(nlON) + REQ + ".ID=" + PREQ + ".REQUIREMENTID " + ")";
  for (const std::string& sKey : userKeys) {
    const std::string VIEW = shape.D(std::string(VLATTRVALUESVIEW_) + sKey);
    s += " " + std::string(nlLEFT) + std::string(JOIN) + VIEW + " " + std::string(nlON) + " " + REQ + ".ID" + " =" +
         " " + VIEW + ".REQUIREMENTID" + ")";
  }
  if (oSql.RelJoinDiscussions) {
    const std::string DR = shape.D(VLDISCUSSIONREQUIREMENTS);
    const std::string DISC = shape.D(VLDISCUSSIONS);
    s += " " + INNER_JOIN + DR + " " + std::string(nlON) + " " + REQ + ".ID" + " =" + " " + DR + ".REQUIREMENTID" +
         ")" + " " + INNER_JOIN + DISC + " " + std::string(nlON) + DR + ".DISCUSSIONID=" + DISC + ".ID" + " ";
  }
  if (shape.bPackageElements) {
    const std::string PE = shape.T(VLPACKAGEELEMENTS);
    s += INNER_JOIN + PE + " " + std::string(nlON) + shape.T(VLREQUIREMENTS) + ".ID=" + PE + ".REQUIREMENTID" + ")" +
         " ";
  }
  if (shape.bPackages) {
    const std::string PE = shape.T(VLPACKAGEELEMENTS);
    const std::string PK = shape.T(VLPACKAGES);
    s += INNER_JOIN + PK + " " + std::string(nlON) + PE + ".PACKAGEID=" + PK + ".ID" + ")" + " ";
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
    shape.T = shape.D;
    shape.bPackageElements = JoinPackageElements;
    shape.bPackages = JoinPackages;
    // Jet reads the tables of another project from its file.
    if (!oDest.IsBaseProjStruSpec()) {
      shape.sExternal = " " + std::string(IN) + " " + modMain::JetDatabasePathLiteral(oDest.ExtProjFilePath(), ".mdb") + " ";
    }
    // The project term names the project whose file the subquery reads: the
    // base project for its own types, the destination's project for a type in
    // another file (each project file keeps its own project key).
    shape.sProjectValue = oDest.IsBaseProjStruSpec() ? ValueToSQL(Variant(oBaseProject_ ? oBaseProject_->Key() : 0L))
                                                     : oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(*this, oDest, UserKeys(oCrit), sCrit, shape));
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
    shape.T = [&](std::string_view table) { return BaseTableAndSchema(table); };
    shape.bPackageElements = JoinPackageElements;
    shape.bPackages = JoinPackages;
    shape.sProjectValue = oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(*this, oDest, UserKeys(oCrit), sCrit, shape));
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
    shape.T = [&](std::string_view table) { return BaseTableAndSchema(table); };
    // The DB2 subquery names no package tables, unless the destination's own
    // criterion compares a package: then it joins them as SQL Server does,
    // since the criterion names their columns.
    const bool bPackageName = NamesAttr(oCrit, eSAKReqPackageName);
    shape.bPackageElements = JoinPackageElements && (bPackageName || NamesAttr(oCrit, eSAKReqPackageKey));
    shape.bPackages = JoinPackages && bPackageName;
    shape.sProjectValue = oDest.ProjKey();
    sSql = InSubquery(sKeyColumn, NestedJoinSubquery(*this, oDest, UserKeys(oCrit), sCrit, shape));
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
    const auto T = [&](std::string_view table) { return BaseTableAndSchema(table); };
    // The database link stands behind each table of the FROM list only.
    const std::string O = OracleServerName_(&oDest);
    const std::vector<std::string> userKeys = UserKeys(oCrit);
    const std::string REQ = S(VLREQUIREMENTS);
    const std::string PREQ = S(VLPROJECTREQUIREMENTS);
    const std::string DR = S(VLDISCUSSIONREQUIREMENTS);
    const std::string DISC = S(VLDISCUSSIONS);
    const std::string PE = T(VLPACKAGEELEMENTS);
    const std::string PK = T(VLPACKAGES);

    std::string s = std::string(SELECT) + REQ + ".ID" + std::string(CRLF) + std::string(FROM) + REQ + O + ", " +
                    PREQ + O;
    for (const std::string& sKey : userKeys) s += ", " + S(std::string(VLATTRVALUESVIEW_) + sKey) + O;
    if (RelJoinDiscussions) s += ", " + DR + O + ", " + DISC + O;
    if (JoinPackageElements) s += ", " + PE;
    if (JoinPackages) s += ", " + PK;
    s += " " + std::string(nlWHERE) + REQ + ".ID=" + PREQ + ".REQUIREMENTID " + " " + std::string(nlAND) + PREQ +
         ".PROJECTID=" + oDest.ProjKey() + " " + std::string(nlAND) + REQ + ".REQUIREMENTTYPEID=" + oDest.StructKey();
    for (const std::string& sKey : userKeys) {
      s += " " + std::string(nlAND) + " " + REQ + ".ID" + " =" + " " + S(std::string(VLATTRVALUESVIEW_) + sKey) +
           ".REQUIREMENTID" + " " + std::string(ORACLE_OUTER);
    }
    if (RelJoinDiscussions) {
      s += " " + std::string(nlAND) + " " + REQ + ".ID" + " =" + " " + DR + ".REQUIREMENTID" + " " +
           std::string(ORACLE_OUTER) + " " + std::string(nlAND) + " " + DR + ".DISCUSSIONID" + " =" + " " + DISC +
           ".ID";
    }
    if (JoinPackageElements) s += " " + std::string(nlAND) + T(VLREQUIREMENTS) + ".ID=" + PE + ".REQUIREMENTID";
    if (JoinPackages) s += " " + std::string(nlAND) + PE + ".PACKAGEID=" + PK + ".ID";
    if (!sCrit.empty()) s += " " + std::string(nlAND) + sCrit;
    sSql = InSubquery(sKeyColumn, s);
  });
  return eQEENone;
}

}  // namespace vlq
