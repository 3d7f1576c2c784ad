// The Add operations of QuerySql: each takes the parsed list of one section,
// makes its typed object, types it against the base project and keeps it for
// the statement.

#include "engine/mod_main.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "sql/query_sql.h"

namespace vlq {

enumQueryEngineError QuerySql::AddTypedComplexExpression(bool& bStopOnErr,
                                                         const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                         const ProjStructSpecifier& oProjStruSpec,
                                                         std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.AddTypedComplexExpression", [&] {
    sErrInfo.clear();
    if (!oBaseProject_) {
      sErrInfo = modMain::Message(14029);
      result = eQEEProjectNothing;
      return;
    }
    if (!oCompExpr) {
      sErrInfo = modMain::Message(14030);
      result = eQEEExpressionNothing;
      return;
    }
    auto oTyped = std::make_shared<TypedComplexExpression>();
    oTyped->SetComplexExpression(oCompExpr);
    oTyped->SetBaseType(eQueryReturnType_);
    oTyped->SetProjStruSpec(oProjStruSpec);
    // Only a list on a specifier of the base project or of an external one is
    // typed here.
    if (oProjStruSpec.IsBaseProjStruSpec() || oProjStruSpec.IsExtProj()) {
      result = oTyped->ResolveForType(bStopOnErr, oBaseProject_, eLookupType_, eReqQueryScope_, sErrInfo);
      if (result != eQEENone) return;
    }
    cTypedCompExprs_.Add(std::move(oTyped));
  });
  return result;
}

enumQueryEngineError QuerySql::AddTypedSortExpression(bool& bStopOnErr,
                                                      const std::shared_ptr<ComplexExpression>& oSortExpr,
                                                      const ProjStructSpecifier& oProjStruSpec, std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.AddTypedSortExpression", [&] {
    sErrInfo.clear();
    if (!oBaseProject_) {
      result = eQEEProjectNothing;
      return;
    }
    if (!oSortExpr) {
      result = eQEEExpressionNothing;
      return;
    }
    // A sort list is a sequence of sort expressions: a NOT or a group would
    // be passed over by the ORDER BY without a word.
    for (const std::shared_ptr<Token>& oToken : oSortExpr->Tokens()) {
      const enumTokenType eType = oToken->TokenType();
      if (eType == eTTAndConnector || eType == eTTOrConnector) continue;
      const auto oSimple = eType == eTTExpression ? oToken->AsSimpleExpression() : nullptr;
      if (!oSimple || oSimple->ExprNot()) {
        sErrInfo = modMain::Message(14137);
        result = eQEEExprConnErr;
        return;
      }
    }
    auto oTyped = std::make_shared<TypedComplexExpression>();
    oTyped->SetComplexExpression(oSortExpr);
    oTyped->SetBaseType(eQueryReturnType_);
    oTyped->SetProjStruSpec(oProjStruSpec);
    result = oTyped->ResolveForType(bStopOnErr, oBaseProject_, eLookupType_, eReqQueryScope_, sErrInfo);
    if (result != eQEENone) return;
    cTypedSortExprs_.Add(std::move(oTyped));
  });
  return result;
}

enumQueryEngineError QuerySql::AddTypedCompRelExpression(bool& bStopOnErr,
                                                         const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                         const ProjStructSpecifier& oProjStruSpec,
                                                         Collection<ProjStructSpecifier>& cDestProjStruSpecs,
                                                         std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.AddTypedCompRelExpression", [&] {
    sErrInfo.clear();
    cDestProjStruSpecs.Clear();
    if (!oBaseProject_) {
      result = eQEEProjectNothing;
      return;
    }
    if (!oCompExpr) {
      result = eQEEExpressionNothing;
      return;
    }
    auto oRel = std::make_shared<TypedCompRelExpression>();
    oRel->SetSourceProjStruSpec(oProjStruSpec);
    result = oRel->ResolveForType(bStopOnErr, oBaseProject_, eLookupType_, oCompExpr, sErrInfo);
    if (result != eQEENone) return;
    // Traces into a project on another kind of database can't be followed.
    if (oRel->HasIllegalReference(oBaseProjStruSpec_)) {
      sErrInfo = modMain::Message(14128);
      result = eQEEIllegalProjectReference;
      return;
    }
    cTypedCompRelExprs_.Add(oRel);
    for (const ProjStructSpecifier& oDest : oRel->DestProjStruSpecs()) {
      cDestProjStruSpecs.Add(oDest, oDest.CorrectRelKey());
    }
  });
  return result;
}

}  // namespace vlq
