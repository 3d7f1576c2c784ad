#pragma once
// TypedCompRelExpression: the typed form of one trace filter: which requirement
// types the source type must trace to or from, whether the trace must be
// suspect, whether indirect traces count, and the criteria on the destination
// side.

#include <memory>
#include <string>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/proj_struct_specifier.h"
#include "services/project.h"

namespace vlq {

class ComplexExpression;
class TypedComplexExpression;

class TypedCompRelExpression {
 public:
  TypedCompRelExpression();
  ~TypedCompRelExpression();

  // ---- Public ----
  std::string SourceReqTypeKey() const;
  enumRelType RelType() const { return eRelType_; }
  enumStatusType StatusType() const { return eStatusType_; }
  bool DirectOnly() const { return bDirectOnly_; }
  bool ExprNot() const { return bExprNot_; }
  std::string QueryString(enumQueryLookupTypes eLookupType) const;
  std::string ClassName() const { return "TypedCompRelExpression"; }
  std::string ClassVersion() const;
  // Destination criteria, each under the CorrectRelKey of its destination.
  const Collection<std::shared_ptr<TypedComplexExpression>>& TypedComplexExpressions() const {
    return cTypedComplexExpressions_;
  }
  // Destinations, each under its CorrectRelKey.
  const Collection<ProjStructSpecifier>& DestProjStruSpecs() const { return cDestProjStruSpecs_; }
  const ProjStructSpecifier& SourceProjStruSpec() const { return oSourceProjStruSpec_; }
  enumQueryEngineError BuildErrNumber() const { return eBuildErrNumber_; }
  const std::string& BuildErrString() const { return sBuildErrString_; }
  bool TypedComplexExpressionsHasIllegalReference(const ProjStructSpecifier& BaseProject) const;
  bool HasIllegalReference(const ProjStructSpecifier& BaseProject) const;

  // ---- For the classes of the component ----
  enumQueryEngineError ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                      enumQueryLookupTypes eLookupType,
                                      const std::shared_ptr<ComplexExpression>& oCompExpr, std::string& sErrInfo);
  enumQueryEngineError AddTypedComplexExpression(const std::shared_ptr<TypedComplexExpression>& oTypedCompExpr,
                                                 const ProjStructSpecifier* oDestSpec, std::string& sErrInfo);
  enumExpressionOperator RelOperator() const { return eRelOperator_; }
  bool HasAllExpr() const { return bHasAllExpr_; }
  bool NeedsTransClosure() const { return bNeedsTransClosure_; }
  long SessionID() const { return lSessionID_; }
  void SetDirectOnly(bool b) { bDirectOnly_ = b; }
  void SetSourceProjStruSpec(const ProjStructSpecifier& oSpec) { oSpec.MakeCopy(oSourceProjStruSpec_); }

 private:
  enumQueryEngineError ResolveForType_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                       enumQueryLookupTypes eLookupType,
                                       const std::shared_ptr<ComplexExpression>& oCompExpr, std::string& sErrInfo);

  bool bExprNot_ = false;
  ProjStructSpecifier oSourceProjStruSpec_;
  Collection<ProjStructSpecifier> cDestProjStruSpecs_;
  enumExpressionOperator eRelOperator_ = eEOUnknown;
  enumRelType eRelType_ = eRTUnknown;
  enumStatusType eStatusType_ = eSTAny;
  Collection<std::shared_ptr<TypedComplexExpression>> cTypedComplexExpressions_;
  bool bHasAllExpr_ = false;
  bool bNeedsTransClosure_ = false;
  enumQueryEngineError eBuildErrNumber_ = eQEENone;
  std::string sBuildErrString_;
  long lSessionID_ = 0;
  bool bDirectOnly_ = true;
};

// A random whole number of at most nine digits, seeded from the clock: the
// identity of one closure or hierarchy session's rows in the work tables.
long MakeSessionID();

}  // namespace vlq
