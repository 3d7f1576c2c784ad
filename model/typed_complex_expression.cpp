#include "model/typed_complex_expression.h"

#include "engine/mod_main.h"
#include "model/typed_simple_expression.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"

namespace vlq {

TypedComplexExpression::TypedComplexExpression() = default;
TypedComplexExpression::~TypedComplexExpression() = default;

std::string TypedComplexExpression::ClassVersion() const { return modMain::ComponentVersion(); }

const Collection<std::shared_ptr<Token>>* TypedComplexExpression::Tokens() const {
  return oComplexExpression_ ? &oComplexExpression_->Tokens() : nullptr;
}

void TypedComplexExpression::Reset() {
  cAttrKeys_.Clear();
  oProjStruSpec_.Reset();
  bHasAllExpr_ = false;
}

enumQueryEngineError TypedComplexExpression::ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                            enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                                            std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("TypedComplexExpression.ResolveForType", [&] {
    // A specifier that isn't resolved yet (a base word never is) is resolved
    // here from its own text of the lookup type.
    if (!oProjStruSpec_.IsProjKeyResolved()) {
      const std::string sSpecifier = eLookupType == eQLTByPrefix ? oProjStruSpec_.StructPrefix()
                                     : eLookupType == eQLTByKey  ? oProjStruSpec_.StructKey()
                                                                 : oProjStruSpec_.StructGUID();
      result = oProjStruSpec_.ResolveKeysAndPrefixes(oProj, sSpecifier, eLookupType, sErrInfo);
      if (result != eQEENone) return;
    }
    if (!oComplexExpression_) return;

    // The tokens are typed in place: the parsed list, this object and the
    // query definition all see the same Token objects.
    for (const std::shared_ptr<Token>& oToken : oComplexExpression_->Tokens()) {
      switch (oToken->TokenType()) {
        case eTTExpression: {
          auto oTyped = std::make_shared<TypedSimpleExpression>();
          oTyped->SetBaseType(eBaseType_);
          oTyped->SetProjStruSpec(oProjStruSpec_);
          oTyped->SetSimpleExpression(oToken->AsSimpleExpression());
          result = oTyped->ResolveForType(bStopOnErr, oProj, eLookupType, eScope, sErrInfo);
          if (result != eQEENone) return;
          oToken->SetTokenType(eTTTypedExpression);
          oToken->SetTokenObject(oTyped);
          // An attribute left unresolved by a build has no key to join on.
          if (!oTyped->AttrKey().empty()) cAttrKeys_.Add(oTyped->AttrKey(), oTyped->AttrKey());
          if (oTyped->IsAllExpr()) bHasAllExpr_ = true;
          break;
        }
        case eTTComplexExpression: {
          auto oChild = std::make_shared<TypedComplexExpression>();
          oChild->SetComplexExpression(oToken->AsComplexExpression());
          oChild->SetBaseType(eBaseType_);
          oChild->SetProjStruSpec(oProjStruSpec_);
          result = oChild->ResolveForType(bStopOnErr, oProj, eLookupType, eScope, sErrInfo);
          if (result != eQEENone) return;
          oToken->SetTokenType(eTTTypedCompExpression);
          oToken->SetTokenObject(oChild);
          for (const std::string& sKey : oChild->AttrKeys()) cAttrKeys_.Add(sKey, sKey);
          if (oChild->HasAllExpr()) bHasAllExpr_ = true;
          break;
        }
        default:
          // Connectors and NOT stay as they are.
          break;
      }
    }
  });
  return result;
}

std::string TypedComplexExpression::QueryString(enumQueryLookupTypes eLookupType) const {
  std::string sText;
  modMain::HandleAndLeave("TypedComplexExpression.QueryString", [&] {
    if (eLookupType != eQLTByPrefix && eLookupType != eQLTByKey && eLookupType != eQLTByGUID) return;
    if (!oComplexExpression_) return;
    bool bAfterNot = false;
    for (const std::shared_ptr<Token>& oToken : oComplexExpression_->Tokens()) {
      switch (oToken->TokenType()) {
        case eTTAndConnector:
          sText += " AND ";
          break;
        case eTTOrConnector:
          sText += " OR ";
          break;
        case eTTNotOperator:
          sText += "NOT ";
          break;
        case eTTTypedExpression:
          if (auto oTyped = oToken->AsTypedSimpleExpression()) sText += oTyped->QueryString(eLookupType);
          break;
        case eTTTypedCompExpression:
          if (auto oChild = oToken->AsTypedComplexExpression()) {
            // Behind NOT the group opens with a blank: read back, "NOT (" and
            // a word glued to the parenthesis would make one negated
            // expression of an attribute "(word" instead of NOT and a group.
            sText += bAfterNot ? "( " : "(";
            sText += oChild->QueryString(eLookupType);
            sText += ")";
          }
          break;
        default:
          break;
      }
      bAfterNot = oToken->TokenType() == eTTNotOperator;
    }
  });
  return sText;
}

}  // namespace vlq
