#pragma once
// TypedComplexExpression: one expression list checked against a project. It
// holds no token list of its own: ResolveForType walks the tokens of its parsed
// ComplexExpression and changes them in place, so that each Token then holds a
// typed object instead of the parsed one.

#include <memory>
#include <string>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/proj_struct_specifier.h"
#include "services/project.h"

namespace vlq {

class ComplexExpression;
class Token;

class TypedComplexExpression {
 public:
  TypedComplexExpression();
  ~TypedComplexExpression();

  enumQueryReturnTypes BaseType() const { return eBaseType_; }
  std::string TypeKey() const { return oProjStruSpec_.StructKey(); }
  // The tokens of the parsed list; nullptr when there is none.
  const Collection<std::shared_ptr<Token>>* Tokens() const;
  std::string QueryString(enumQueryLookupTypes eLookupType) const;
  std::string ClassName() const { return "TypedComplexExpression"; }
  std::string ClassVersion() const;
  const Collection<std::string>& AttrKeys() const { return cAttrKeys_; }
  bool HasAllExpr() const { return bHasAllExpr_; }
  const ProjStructSpecifier& ProjStruSpec() const { return oProjStruSpec_; }

  // ---- For the classes of the component ----
  void SetBaseType(enumQueryReturnTypes e) { eBaseType_ = e; }
  const std::shared_ptr<ComplexExpression>& GetComplexExpression() const { return oComplexExpression_; }
  void SetComplexExpression(std::shared_ptr<ComplexExpression> oExpr) { oComplexExpression_ = std::move(oExpr); }
  void SetProjStruSpec(const ProjStructSpecifier& oSpec) { oSpec.MakeCopy(oProjStruSpec_); }
  Collection<std::string>& MutableAttrKeys() { return cAttrKeys_; }
  void SetHasAllExpr(bool b) { bHasAllExpr_ = b; }
  enumQueryEngineError ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                      enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                      std::string& sErrInfo);
  void Reset();

 private:
  enumQueryReturnTypes eBaseType_ = eBTNone;
  ProjStructSpecifier oProjStruSpec_;
  std::shared_ptr<ComplexExpression> oComplexExpression_;
  Collection<std::string> cAttrKeys_;
  bool bHasAllExpr_ = false;
};

}  // namespace vlq
