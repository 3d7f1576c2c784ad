// Trace filters as SQL. Each relationship filter of a requirement query
// becomes a membership test of VLREQUIREMENTS.ID: in a subquery over
// VLTORELATIONSHIPS for direct traces, or in the rows that the closure wrote to
// VLTRACETABLEINDIR for the filter's session. An ALL criterion adds a second,
// negated test that drops requirements with a destination failing it.
#include <optional>
#include <vector>

#include "engine/mod_main.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// The negated copy of an ALL term for the second test: same attribute,
// operator and values, the opposite ExprNot. It gets a parsed expression of
// its own, since operator, value and negation live there.
std::shared_ptr<TypedSimpleExpression> NegatedCopy(const TypedSimpleExpression& oSource) {
  auto oCopy = std::make_shared<TypedSimpleExpression>();
  oCopy->SetSimpleExpression(std::make_shared<SimpleExpression>());
  oCopy->SetExprNot(!oSource.ExprNot());
  oCopy->SetProjStruSpec(oSource.ProjStruSpec());
  oCopy->SetAttrKey(oSource.AttrKey());
  oCopy->SetBaseType(oSource.BaseType());
  oCopy->SetOperator(oSource.Operator());
  oCopy->SetIsSystemAttr(oSource.IsSystemAttr());
  oCopy->SetIsEdit(oSource.IsEdit());
  oCopy->SetAttrDataType(oSource.AttrDataType());
  oCopy->SetListItemKey(oSource.ListItemKey());
  switch (oSource.Operator()) {
    case eEOBetween:
      oCopy->SetValue(oSource.Value());
      oCopy->SetHighValue(oSource.HighValue());
      break;
    case eEOIN:
      for (long lKey : oSource.ListItemKeys()) oCopy->MutableListItemKeys().Add(lKey, std::to_string(lKey));
      oCopy->MutableListItemValues() = oSource.ListItemValues();
      break;
    default:
      oCopy->SetValue(oSource.Value());
      break;
  }
  return oCopy;
}

// A planned token of the NOT ALL list: a connector (no expression) or a term.
struct PlannedToken {
  enumTokenType eType = eTTUnknown;
  std::shared_ptr<TypedSimpleExpression> oExpr;
};

// A ComplexExpression takes its tokens only by reading a text. The list is
// read from a text of the same shape (one placeholder expression per term,
// the connectors as words) and each term's token then takes its typed copy,
// as typing does with the tokens of a query.
std::shared_ptr<ComplexExpression> MakeTokenList(const std::vector<PlannedToken>& plan) {
  auto oList = std::make_shared<ComplexExpression>();
  if (plan.empty()) return oList;
  std::string sShape;
  for (const PlannedToken& planned : plan) {
    if (!sShape.empty()) sShape += ' ';
    sShape += planned.eType == eTTAndConnector  ? "AND"
              : planned.eType == eTTOrConnector ? "OR"
                                                : "X = 1";
  }
  if (!oList->Tokenize(sShape) || oList->Tokens().Count() != plan.size()) {
    throw Failure(kUnexpectedFailureNumber, "QuerySql.MakeNotAllTCExpr",
                  "The negated ALL criterion could not be put together: " + sShape);
  }
  std::size_t position = 1;
  for (const PlannedToken& planned : plan) {
    const std::shared_ptr<Token>& oToken = *oList->Tokens().Item(position++);
    if (planned.oExpr) {
      oToken->SetTokenType(eTTTypedExpression);
      oToken->SetTokenObject(planned.oExpr);
    }
  }
  return oList;
}

}  // namespace

enumQueryEngineError QuerySql::RelationshipsToSQL(std::string& sRel, std::string& sErrInfo) {
  sRel.clear();
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.RelationshipsToSQL", [&] {
    bool bFirst = true;
    for (const std::shared_ptr<TypedCompRelExpression>& oRelExpr : cTypedCompRelExprs_) {
      if (!oRelExpr) continue;
      std::string s1;
      std::string s2;
      result = RelationshipToSql(*oRelExpr, false, s1, sErrInfo, true);
      if (result != eQEENone) return;
      if (oRelExpr->HasAllExpr()) {
        result = RelationshipToSql(*oRelExpr, true, s2, sErrInfo, true);
        if (result != eQEENone) return;
      }
      // A filter that names no destination (a section with only a status or
      // direct-only term) traces to nothing in particular: it adds no test.
      if (s1.empty() && s2.empty()) continue;
      if (!bFirst) sRel += " " + std::string(nlAND) + " ";
      bFirst = false;
      // The NOT of a filter stands in front of its first test only.
      if (oRelExpr->ExprNot()) sRel += " " + std::string(NOT) + " ";
      if (!s1.empty()) sRel += " (" + s1 + ") ";
      if (!s2.empty()) sRel += std::string(nlAND) + " (" + s2 + ") ";
    }
  });
  return result;
}

enumQueryEngineError QuerySql::RelationshipToSql(TypedCompRelExpression& oRelExpr, bool bNotAll, std::string& sSql,
                                                 std::string& sErrInfo, bool bWithStatus) {
  sSql.clear();
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.RelationshipToSql", [&] {
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    std::string s = " " + REQ + ".ID";

    if (!oRelExpr.DirectOnly() && !bNotAll) {
      // Indirect traces: the closure fills VLTRACETABLEINDIR for this
      // filter's session now, before the main statement is sent.
      const std::string INDIR = BaseTableAndSchema(VLTRACETABLEINDIR);
      s += " " + std::string(IN) + "(" + std::string(SELECT) + INDIR + ".ID" + " " + std::string(nlFROM) + INDIR +
           " " + std::string(nlWHERE) + "SESSIONID" + std::string(EQ) + ValueToSQL(Variant(oRelExpr.SessionID())) +
           ")";
      sSql = s;
      result = BuildTransClosure(oRelExpr, sErrInfo);
      return;
    }

    const bool bTraceTo = oRelExpr.RelType() == eRTTraceTo;
    const std::string REL = BaseTableAndSchema(VLTORELATIONSHIPS);
    const std::string sSelected = REL + (bTraceTo ? ".REQUIREMENTID" : ".TOID");
    const std::string sKeyColumn = REL + (bTraceTo ? ".TOID" : ".REQUIREMENTID");

    // "NOT" takes the blank in front of it, so that one blank stands
    // between it and IN.
    if (bNotAll) s += " NOT";
    s += " " + std::string(IN) + " " + "(" + std::string(SELECT) + sSelected + " " + std::string(nlFROM) + REL + " " +
         std::string(nlWHERE);

    // The status term tests the trace itself, whatever its destination: with
    // several destinations their OR stands in parentheses in front of it.
    const bool bStatusTerm = bWithStatus && !bNotAll && oRelExpr.StatusType() != eSTAny;
    const bool bGrouped = bStatusTerm && oRelExpr.DestProjStruSpecs().Count() > 1;
    if (bGrouped) s += "(";
    bool bAnyDestination = false;
    for (const ProjStructSpecifier& oDest : oRelExpr.DestProjStruSpecs()) {
      const auto* pFound = oRelExpr.TypedComplexExpressions().Item(oDest.CorrectRelKey());
      const std::shared_ptr<TypedComplexExpression> oCrit = pFound ? *pFound : nullptr;
      // The second test concerns the destinations with an ALL term only: a
      // destination without criterion, or whose criterion has no ALL term,
      // has nothing that all its requirements must meet.
      if (bNotAll && (!oCrit || !oCrit->HasAllExpr())) continue;

      if (bAnyDestination) s += std::string(nlOR) + " ";
      bAnyDestination = true;
      s += "(" + REL + ".TYPE" + " = 0 " + std::string(nlAND) + " ";
      const std::string P = oDest.IsBaseProjStruSpec() ? std::string("0") : oDest.ProjRelKey();
      if (bTraceTo) {
        s += REL + ".EXTERNALPROJECTID" + std::string(EQ) + "0" + " " + std::string(nlAND) + REL +
             ".EXTERNALPROJECTTOID" + std::string(EQ) + P;
      } else {
        s += REL + ".EXTERNALPROJECTID" + std::string(EQ) + P + " " + std::string(nlAND) + REL +
             ".EXTERNALPROJECTTOID" + std::string(EQ) + "0";
      }
      s += " ";

      std::shared_ptr<TypedComplexExpression> oDestCrit = oCrit;
      if (bNotAll) {
        std::shared_ptr<TypedComplexExpression> oNotAll = std::make_shared<TypedComplexExpression>();
        result = MakeNotAllTCExpr(oCrit, oNotAll, sErrInfo);
        if (result != eQEENone) return;
        oDestCrit = oNotAll;
      }
      std::string sCrit;
      switch (lDatabaseType_) {
        case eDBTAccess:
        case eDBTAccess2:
          result = TCRelExprCritAccessSQL(oDest, sKeyColumn, oDestCrit, sCrit, sErrInfo);
          break;
        case eDBTOracle:
          result = TCRelExprCritOracleSQL(oDest, sKeyColumn, oDestCrit, sCrit, sErrInfo);
          break;
        case eDBTSQLServer:
        case eDBTPostgreSQL:  // the nested joins of SQL Server
          result = TCRelExprCritSQLServerSQL(oDest, sKeyColumn, oDestCrit, sCrit, sErrInfo);
          break;
        case eDBTDB2:
          result = TCRelExprCritDB2SQL(oDest, sKeyColumn, oDestCrit, sCrit, sErrInfo);
          break;
        default:
          break;
      }
      if (result != eQEENone) return;
      s += std::string(nlAND) + sCrit + " ";
      s += ")";
    }
    // Without a destination there is no subquery to write.
    if (!bAnyDestination) return;
    if (bGrouped) s += ")";

    if (bStatusTerm) {
      if (oRelExpr.StatusType() == eSTSuspect) {
        s += " " + std::string(nlAND) + " " + REL + ".STATE" + std::string(EQ) + "1 ";
      } else if (oRelExpr.StatusType() == eSTNotSuspect) {
        s += " " + std::string(nlAND) + " " + REL + ".STATE" + std::string(EQ) + "0 ";
      }
    }
    s += ")";
    sSql = std::move(s);
  });
  return result;
}

enumQueryEngineError QuerySql::MakeNotAllTCExpr(const std::shared_ptr<TypedComplexExpression>& oCrit,
                                                std::shared_ptr<TypedComplexExpression>& oNotAll,
                                                std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.MakeNotAllTCExpr", [&] {
    if (!oNotAll) oNotAll = std::make_shared<TypedComplexExpression>();
    oNotAll->SetComplexExpression(std::make_shared<ComplexExpression>());
    oNotAll->MutableAttrKeys().Clear();
    if (!oCrit) return;
    oNotAll->SetBaseType(oCrit->BaseType());
    oNotAll->SetProjStruSpec(oCrit->ProjStruSpec());
    const Collection<std::shared_ptr<Token>>* pTokens = oCrit->Tokens();
    if (!pTokens) return;

    std::vector<PlannedToken> plan;
    // Index in plan of the connector added last, while it is still there.
    std::optional<std::size_t> lastConnector;
    for (const std::shared_ptr<Token>& oToken : *pTokens) {
      if (!oToken) continue;
      switch (oToken->TokenType()) {
        case eTTAndConnector:
        case eTTOrConnector:
          // Connectors are kept as they stand, between terms that are kept.
          if (!plan.empty()) {
            plan.push_back({oToken->TokenType(), nullptr});
            lastConnector = plan.size() - 1;
          }
          break;
        case eTTTypedExpression: {
          const std::shared_ptr<TypedSimpleExpression> oSource = oToken->AsTypedSimpleExpression();
          if (!oSource) break;
          if (!oSource->IsAllExpr()) {
            // A plain term is left out, and so is the connector that led to it.
            if (lastConnector) {
              plan.erase(plan.begin() + static_cast<std::ptrdiff_t>(*lastConnector));
              lastConnector.reset();
            }
            break;
          }
          plan.push_back({eTTTypedExpression, NegatedCopy(*oSource)});
          oNotAll->MutableAttrKeys().Add(oSource->AttrKey(), oSource->AttrKey());
          break;
        }
        case eTTTypedCompExpression:
          // ALL inside parentheses can't be negated term by term.
          sErrInfo = modMain::Message(14041);
          result = eQEERelCritAllTooComplex;
          return;
        default:
          break;
      }
    }
    oNotAll->SetComplexExpression(MakeTokenList(plan));
  });
  return result;
}

}  // namespace vlq
