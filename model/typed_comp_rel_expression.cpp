#include "model/typed_comp_rel_expression.h"

#include <chrono>
#include <cstdio>
#include <random>

#include "engine/mod_main.h"
#include "engine/system_attr_tables.h"
#include "model/text_util.h"
#include "model/typed_complex_expression.h"
#include "model/typed_values.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"

namespace vlq {

long MakeSessionID() {
  long lSessionID = 0;
  modMain::HandleAndLeave("modMain.MakeSessionID", [&] {
    // Seeded anew from the clock on each call.
    const auto ticks = std::chrono::high_resolution_clock::now().time_since_epoch().count();
    std::mt19937 generator(static_cast<std::mt19937::result_type>(ticks ^ (ticks >> 32)));
    // One draw of single precision, widened to double.
    const float fDraw = std::uniform_real_distribution<float>(0.0F, 1.0F)(generator);
    const double dDraw = static_cast<double>(fDraw);
    // Its decimal text: the rightmost nine characters, without a leading point.
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.15g", dDraw);
    std::string sText = buffer;
    if (sText.size() > 9) sText = sText.substr(sText.size() - 9);
    if (!sText.empty() && sText.front() == '.') sText.erase(0, 1);
    double dValue = 0.0;
    if (std::sscanf(sText.c_str(), "%lf", &dValue) == 1) {
      if (const auto lWhole = typed_values::ValueToWhole(Variant(dValue))) lSessionID = *lWhole;
    }
    if (lSessionID < 0) lSessionID = -lSessionID;
  });
  return lSessionID;
}

TypedCompRelExpression::TypedCompRelExpression() : lSessionID_(MakeSessionID()) {}
TypedCompRelExpression::~TypedCompRelExpression() = default;

std::string TypedCompRelExpression::ClassVersion() const { return modMain::ComponentVersion(); }

std::string TypedCompRelExpression::SourceReqTypeKey() const {
  return oSourceProjStruSpec_.IsProjKeyResolved() ? oSourceProjStruSpec_.StructKey() : std::string();
}

namespace {

std::string SpecifierText(const ProjStructSpecifier& spec, enumQueryLookupTypes eLookupType) {
  switch (eLookupType) {
    case eQLTByPrefix:
      return spec.StructPrefix();
    case eQLTByKey:
      return spec.StructKey();
    default:
      return spec.StructGUID();
  }
}

// The three forms of a trace relationship attribute: text, decimal key, GUID.
bool IsRelAttrWord(std::string_view sWord, enumSystemAttrKey eKey) {
  return sWord == std::to_string(static_cast<int>(eKey)) ||
         text::EqualsNoCase(sWord, modMain::SysRelAttrEnumToString(eKey)) ||
         text::EqualsNoCase(sWord, modMain::SysRelAttrEnumToGUID_(eKey));
}

}  // namespace

enumQueryEngineError TypedCompRelExpression::ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                            enumQueryLookupTypes eLookupType,
                                                            const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                            std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("TypedCompRelExpression.ResolveForType",
                          [&] { result = ResolveForType_(bStopOnErr, oProj, eLookupType, oCompExpr, sErrInfo); });
  return result;
}

enumQueryEngineError TypedCompRelExpression::ResolveForType_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                             enumQueryLookupTypes eLookupType,
                                                             const std::shared_ptr<ComplexExpression>& oCompExpr,
                                                             std::string& sErrInfo) {
  if (!oCompExpr) {
    sErrInfo = modMain::Message(14054);
    return eQEEExpressionNothing;
  }
  if (!oSourceProjStruSpec_.IsProjKeyResolved()) {
    const enumQueryEngineError eResult = oSourceProjStruSpec_.ResolveKeysAndPrefixes(
        oProj, SpecifierText(oSourceProjStruSpec_, eLookupType), eLookupType, sErrInfo);
    if (eResult != eQEENone) return eResult;
  }
  // Traces into or out of another project are found through the closure
  // tables, direct ones too.
  if (oSourceProjStruSpec_.IsExtProj()) bNeedsTransClosure_ = true;

  // A relationship section is a conjunction: OR, NOT before a group and
  // groups have no meaning in it, and a second word of one kind would
  // silently replace the first, so each is refused.
  bool bHasTrace = false;
  bool bHasStatus = false;
  bool bHasDirectOnly = false;
  for (const std::shared_ptr<Token>& oToken : oCompExpr->Tokens()) {
    if (oToken->TokenType() == eTTAndConnector) continue;
    const std::shared_ptr<SimpleExpression> oExpr =
        oToken->TokenType() == eTTExpression ? oToken->AsSimpleExpression() : nullptr;
    if (!oExpr) {
      sErrInfo = modMain::Message(14136);
      return eQEEExprConnErr;
    }
    const std::string sWord = text::Upper(text::TrimView(oExpr->AttrPrefix()));
    const auto repeated = [&](bool& bSeen, enumSystemAttrKey eKey) {
      if (!bSeen) {
        bSeen = true;
        return false;
      }
      sErrInfo = modMain::MessageWithArg(14139, modMain::SysRelAttrEnumToString(eKey));
      return true;
    };

    if (IsRelAttrWord(sWord, eSAKRelTraceTo) || IsRelAttrWord(sWord, eSAKRelTraceFrom)) {
      // The direction goes by the form of the lookup type; any other form of
      // a trace word counts as TRACED-FROM.
      bool bTraceTo = false;
      switch (eLookupType) {
        case eQLTByPrefix:
          bTraceTo =
              text::EqualsNoCase(text::TrimView(oExpr->AttrPrefix()), modMain::SysRelAttrEnumToString(eSAKRelTraceTo));
          break;
        case eQLTByKey: {
          const auto lKey = typed_values::TextToWhole(oExpr->AttrPrefix());
          bTraceTo = lKey && *lKey == eSAKRelTraceTo;
          break;
        }
        case eQLTByGUID:
          bTraceTo =
              text::EqualsNoCase(text::TrimView(oExpr->AttrPrefix()), modMain::SysRelAttrEnumToGUID_(eSAKRelTraceTo));
          break;
        default:
          break;
      }
      const enumRelType eRelType = bTraceTo ? eRTTraceTo : eRTTraceFrom;
      if (bHasTrace && eRelType != eRelType_) {
        sErrInfo = modMain::Message(14138);
        return eQEEExprConnErr;
      }
      if (bHasTrace && oExpr->ExprNot() != bExprNot_) {
        sErrInfo = modMain::MessageWithArg(
            14139, modMain::SysRelAttrEnumToString(bTraceTo ? eSAKRelTraceTo : eSAKRelTraceFrom));
        return eQEEExprConnErr;
      }
      bHasTrace = true;
      eRelType_ = eRelType;
      if (oExpr->Operator() != eEOIN) {
        sErrInfo = modMain::MessageWithArg(14056, oExpr->OrgExprString());
        return eQEEExpressionNothing;
      }
      eRelOperator_ = eEOIN;
      for (const std::string& sItem : oExpr->ListItemPrefixes()) {
        ProjStructSpecifier oDest;
        enumQueryEngineError eResult = oDest.ResolveKeysAndPrefixes(oProj, sItem, eLookupType, sErrInfo);
        if (eResult == eQEENone && !oDest.IsStructKeyResolved()) {
          // REQUIREMENT and DISCUSSION name no requirement type that a trace
          // could reach.
          sErrInfo = modMain::MessageWithArg(oDest.IsExtProj() ? 14121 : 14120, sItem);
          eResult = eQEEUnknownExprPrefix;
        }
        if (eResult != eQEENone) {
          // A destination that doesn't resolve ends the reading of the
          // section; a build records it and goes on with the query.
          eBuildErrNumber_ = eResult;
          sBuildErrString_ = sErrInfo;
          return bStopOnErr ? eResult : eQEENone;
        }
        const std::string sKey = oDest.CorrectRelKey();
        const bool bExternal = oDest.IsExtProj();
        cDestProjStruSpecs_.Add(std::move(oDest), sKey);
        if (bExternal) bNeedsTransClosure_ = true;
      }
      bExprNot_ = oExpr->ExprNot();
    } else if (IsRelAttrWord(sWord, eSAKRelStatus)) {
      if (repeated(bHasStatus, eSAKRelStatus)) return eQEEExprConnErr;
      const std::string sValue = typed_values::ValueText(oExpr->Value());
      eStatusType_ = eSTAny;
      bool bValid = false;
      if (eLookupType == eQLTByPrefix || eLookupType == eQLTByGUID) {
        if (text::Upper(sValue) == "SUSPECT") {
          eStatusType_ = oExpr->ExprNot() ? eSTNotSuspect : eSTSuspect;
          bValid = true;
        }
      } else if (eLookupType == eQLTByKey) {
        const auto number = modMain::Locale().TextToNumber(sValue);
        if (number && (*number == 1.0 || *number == 2.0)) {
          const bool bSuspect = (*number == 1.0) != oExpr->ExprNot();
          eStatusType_ = bSuspect ? eSTSuspect : eSTNotSuspect;
          bValid = true;
        }
      }
      if (!bValid) {
        sErrInfo = modMain::MessageWithArg(14057, sValue);
        return eQEEInvalidAttrData;
      }
    } else if (IsRelAttrWord(sWord, eSAKRelDirectOnly)) {
      if (repeated(bHasDirectOnly, eSAKRelDirectOnly)) return eQEEExprConnErr;
      const std::string sValue = typed_values::ValueText(oExpr->Value());
      const std::string sFlag = text::Upper(text::TrimView(sValue));
      if (sFlag == "TRUE") {
        bDirectOnly_ = true;
      } else if (sFlag == "FALSE") {
        bDirectOnly_ = false;
        bNeedsTransClosure_ = true;
      } else {
        sErrInfo = modMain::MessageWithArg(14058, sValue);
        return eQEEInvalidAttrData;
      }
      if (oExpr->ExprNot()) bDirectOnly_ = !bDirectOnly_;
    } else {
      sErrInfo = modMain::MessageWithArg(14059, oExpr->AttrPrefix());
      return eQEEUnknownExprPrefix;
    }
  }
  return eQEENone;
}

enumQueryEngineError TypedCompRelExpression::AddTypedComplexExpression(
    const std::shared_ptr<TypedComplexExpression>& oTypedCompExpr, const ProjStructSpecifier* oDestSpec,
    std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("TypedCompRelExpression.AddTypedComplexExpression", [&] {
    sErrInfo.clear();
    if (!oDestSpec) {
      sErrInfo = modMain::Message(14053);
      result = eQEEProjStruSpecNothing;
      return;
    }
    const std::string sKey = oDestSpec->CorrectRelKey();
    if (!cDestProjStruSpecs_.Contains(sKey)) {
      sErrInfo = modMain::MessageWithArg(14061, sKey);
      result = eQEECritNoRelCrit;
      return;
    }
    if (cTypedComplexExpressions_.Contains(sKey)) {
      sErrInfo = modMain::MessageWithArg(14062, sKey);
      result = eQEECritRelCritMultiple;
      return;
    }
    cTypedComplexExpressions_.Add(oTypedCompExpr, sKey);
    if (oTypedCompExpr && oTypedCompExpr->HasAllExpr()) bHasAllExpr_ = true;
  });
  return result;
}

bool TypedCompRelExpression::HasIllegalReference(const ProjStructSpecifier& BaseProject) const {
  bool bIllegal = false;
  modMain::HandleAndLeave("TypedCompRelExpression.HasIllegalReference", [&] {
    for (const ProjStructSpecifier& oDest : cDestProjStruSpecs_) {
      if (oDest.DBType() != BaseProject.DBType()) {
        bIllegal = true;
        return;
      }
    }
  });
  return bIllegal;
}

bool TypedCompRelExpression::TypedComplexExpressionsHasIllegalReference(const ProjStructSpecifier& BaseProject) const {
  bool bIllegal = false;
  modMain::HandleAndLeave("TypedCompRelExpression.TypedComplexExpressionsHasIllegalReference", [&] {
    for (const auto& oExpr : cTypedComplexExpressions_) {
      if (oExpr && oExpr->ProjStruSpec().DBType() != BaseProject.DBType()) {
        bIllegal = true;
        return;
      }
    }
  });
  return bIllegal;
}

std::string TypedCompRelExpression::QueryString(enumQueryLookupTypes eLookupType) const {
  std::string s;
  modMain::HandleAndLeave("TypedCompRelExpression.QueryString", [&] {
    if (eLookupType != eQLTByPrefix && eLookupType != eQLTByKey && eLookupType != eQLTByGUID) return;
    if (bExprNot_) s += " NOT ";
    const enumSystemAttrKey eTrace = eRelType_ == eRTTraceTo ? eSAKRelTraceTo : eSAKRelTraceFrom;
    // The text, key or GUID of a trace relationship attribute.
    const auto word = [eLookupType](enumSystemAttrKey eKey) {
      switch (eLookupType) {
        case eQLTByPrefix:
          return modMain::SysRelAttrEnumToString(eKey);
        case eQLTByKey:
          return std::to_string(static_cast<int>(eKey));
        default:
          return modMain::SysRelAttrEnumToGUID_(eKey);
      }
    };
    if (eLookupType == eQLTByKey) s += ' ';
    s += word(eTrace) + " ";
    s += modMain::OpEnumToString(eRelOperator_) + " ";
    bool bFirst = true;
    for (const ProjStructSpecifier& oDest : cDestProjStruSpecs_) {
      if (!bFirst) s += ", ";
      bFirst = false;
      s += eLookupType == eQLTByPrefix ? oDest.CorrectPrefix()
           : eLookupType == eQLTByKey  ? oDest.CorrectRelKey()
                                       : oDest.CorrectGUID();
    }
    if (eStatusType_ != eSTAny) {
      if (eLookupType == eQLTByKey) {
        s += " AND " + word(eSAKRelStatus) + " = " + (eStatusType_ == eSTSuspect ? "1" : "2") + " ";
      } else {
        s += eStatusType_ == eSTSuspect ? " AND " : " AND NOT ";
        s += word(eSAKRelStatus) + " = \"SUSPECT\" ";
      }
    }
    if (!bDirectOnly_) s += " AND " + word(eSAKRelDirectOnly) + " = \"FALSE\"";
  });
  return s;
}

}  // namespace vlq
