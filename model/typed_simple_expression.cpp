#include "model/typed_simple_expression.h"

#include <algorithm>

#include "engine/mod_main.h"
#include "engine/system_attr_tables.h"
#include "model/text_util.h"
#include "model/typed_values.h"
#include "parser/simple_expression.h"

namespace vlq {
namespace {

constexpr std::string_view kNoEntry = "<NO ENTRY>";

// A word in double quotes as the reader reads it back: a quote inside is
// doubled.
std::string Quoted(std::string_view sText) {
  std::string sOut = "\"";
  for (char c : sText) {
    sOut += c;
    if (c == '"') sOut += '"';
  }
  return sOut + "\"";
}

bool IsNoEntry(std::string_view sText) { return text::EqualsNoCase(sText, kNoEntry); }

bool IsOrderOperator(enumExpressionOperator eOp) { return eOp == eEOOrder || eOp == eEOShortOrder; }

// The item of a list attribute named by a value: by its text or GUID (case
// does not count) or by its key, as the lookup type says.
const ListItem* FindListItem(const Attr* pAttr, enumQueryLookupTypes eLookupType, std::string_view sValue) {
  if (!pAttr) return nullptr;
  std::optional<long> key;
  if (eLookupType == eQLTByKey) {
    key = typed_values::TextToWhole(sValue);
    if (!key) return nullptr;
  }
  for (const ListItem& item : pAttr->ListItems) {
    switch (eLookupType) {
      case eQLTByPrefix:
        if (text::EqualsNoCase(item.Text, sValue)) return &item;
        break;
      case eQLTByKey:
        if (item.Key == *key) return &item;
        break;
      case eQLTByGUID:
        if (text::EqualsNoCase(item.GUID, sValue)) return &item;
        break;
      default:
        return nullptr;
    }
  }
  return nullptr;
}

template <class T, class Name>
const T* FindByName(const std::vector<T>& items, std::string_view sWanted, Name name) {
  for (const T& item : items) {
    if (text::EqualsNoCase(name(item), sWanted)) return &item;
  }
  return nullptr;
}

}  // namespace

TypedSimpleExpression::TypedSimpleExpression() : oSimpleExpression_(std::make_shared<SimpleExpression>()) {}
TypedSimpleExpression::~TypedSimpleExpression() = default;

std::string TypedSimpleExpression::ClassVersion() const { return modMain::ComponentVersion(); }

// ---- Read-through properties -------------------------------------------------------

bool TypedSimpleExpression::ExprNot() const { return oSimpleExpression_ && oSimpleExpression_->ExprNot(); }

enumExpressionOperator TypedSimpleExpression::Operator() const {
  return oSimpleExpression_ ? oSimpleExpression_->Operator() : eEOUnknown;
}

Variant TypedSimpleExpression::Value() const {
  return oSimpleExpression_ ? oSimpleExpression_->Value() : Variant(false);
}

Variant TypedSimpleExpression::HighValue() const {
  return oSimpleExpression_ ? oSimpleExpression_->HighValue() : Variant(false);
}

bool TypedSimpleExpression::IsAllExpr() const { return oSimpleExpression_ && oSimpleExpression_->IsAllExpr(); }

void TypedSimpleExpression::SetExprNot(bool b) {
  if (oSimpleExpression_) oSimpleExpression_->SetExprNot(b);
}

void TypedSimpleExpression::SetOperator(enumExpressionOperator e) {
  if (oSimpleExpression_) oSimpleExpression_->SetOperator(e);
}

void TypedSimpleExpression::SetValue(Variant v) {
  if (oSimpleExpression_) oSimpleExpression_->SetValue(std::move(v));
}

void TypedSimpleExpression::SetHighValue(Variant v) {
  if (oSimpleExpression_) oSimpleExpression_->SetHighValue(std::move(v));
}

// ---- Failures ---------------------------------------------------------------------------

enumQueryEngineError TypedSimpleExpression::Fail_(enumQueryEngineError eError, std::string sMessage,
                                                  std::string& sErrInfo) {
  sErrInfo = std::move(sMessage);
  eBuildErrNumber_ = eError;
  sBuildErrString_ = sErrInfo;
  return eError;
}

enumQueryEngineError TypedSimpleExpression::SoftFail_(bool bStopOnErr, enumQueryEngineError eError,
                                                      std::string sMessage, std::string& sErrInfo) {
  Fail_(eError, std::move(sMessage), sErrInfo);
  return bStopOnErr ? eError : eQEENone;
}

// ---- Resolution -------------------------------------------------------------------------

enumQueryEngineError TypedSimpleExpression::ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                           enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                                           std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("TypedSimpleExpression.ResolveForType",
                          [&] { result = ResolveForType_(bStopOnErr, oProj, eLookupType, eScope, sErrInfo); });
  if (result != eQEENone) {
    eBuildErrNumber_ = result;
    sBuildErrString_ = sErrInfo;
  }
  return result;
}

enumQueryEngineError TypedSimpleExpression::ResolveForType_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                            enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                                            std::string& sErrInfo) {
  if (!oProj) return Fail_(eQEEProjectNothing, modMain::Message(14063), sErrInfo);
  if (!oSimpleExpression_) throw Failure(91, "TypedSimpleExpression.ResolveForType", "No expression to resolve");
  SimpleExpression& expr = *oSimpleExpression_;

  // Order and O sort; in criteria they would compare nothing.
  if (!expr.SortExpression() && IsOrderOperator(expr.Operator())) {
    return Fail_(eQEEInvalidListOperator,
                 modMain::MessageWithArg(14133, expr.AttrPrefix() + " " + modMain::OpEnumToString(expr.Operator())),
                 sErrInfo);
  }
  const std::string sAttr = text::Upper(text::TrimView(expr.AttrPrefix()));
  if (eLookupType == eQLTByKey && !modMain::IsNumeric(sAttr)) {
    return Fail_(eQEEReqTypeAttrKeyNotNumeric, modMain::MessageWithArg(14064, sAttr), sErrInfo);
  }

  // The attribute text decides first whether it is a system attribute, so an
  // attribute of a requirement type with a system attribute's name can't be
  // named in a query.
  bool bFound = false;
  const enumSystemAttrKey eSysKey = modMain::SystemAttrStringToEnum(eBaseType_, sAttr, eLookupType);
  if (eSysKey != eSAKUnknown) {
    const enumQueryEngineError eResult = ResolveSystemAttr(eSysKey, eLookupType, sErrInfo);
    if (eResult != eQEENone) return eResult;
    bIsSystemAttr_ = true;
    sAttrKey_ = std::to_string(static_cast<int>(eSysKey));
    sAttrPrefix_ = modMain::SystemAttrEnumToString(eSysKey);
    sAttrGUID_ = modMain::SystemAttrEnumToGUID_(eSysKey);
    bFound = true;
  } else if (eScope != eVLSReqType) {
    return Fail_(eQEEProjReqQueryUnknownAttr, modMain::MessageWithArg(14065, sAttr), sErrInfo);
  }

  const auto finish = [&]() -> enumQueryEngineError {
    if (!bFound) return SoftFail_(bStopOnErr, eQEEUnknownExprPrefix, modMain::Message(14083), sErrInfo);
    return eQEENone;
  };

  switch (eBaseType_) {
    case eBTDocuments:
      return Fail_(eQEEDocsUnsupported, modMain::Message(14078), sErrInfo);
    case eBTDiscussions: {
      // A discussion query has no requirement type: only system attributes
      // get here, and their values are checked by the attribute.
      if (expr.SortExpression()) return ResolveSort_(eLookupType, sErrInfo);
      const enumQueryEngineError eResult = ResolveDiscussionValue_(bStopOnErr, oProj, eLookupType, sErrInfo);
      if (eResult != eQEENone) return eResult;
      return finish();
    }
    case eBTRequirements:
      break;
    default:
      return Fail_(eQEEInvalidBaseQueryType, modMain::Message(14027), sErrInfo);
  }

  // An attribute that the requirement type defines.
  const Attr* pAttr = nullptr;
  if (!bIsSystemAttr_ && eScope == eVLSReqType) {
    const ReqType* pReqType = nullptr;
    const std::string& sTypeKey = oProjStruSpec_.StructKey();
    if (text::IsDecimalWhole(sTypeKey)) {
      if (const auto lTypeKey = typed_values::TextToWhole(sTypeKey)) pReqType = oProj->GetReqType(*lTypeKey);
    }
    pAttr = GetAttr(eLookupType, pReqType, expr.AttrPrefix());
    if (!pAttr) {
      // The rest of the expression stays unresolved.
      return SoftFail_(bStopOnErr, eQEEUnknownExprPrefix, modMain::MessageWithArg(14066, expr.AttrPrefix()), sErrInfo);
    }
    sAttrKey_ = std::to_string(pAttr->Key);
    sAttrPrefix_ = pAttr->Label;
    sAttrGUID_ = pAttr->GUID;
    bIsEdit_ = pAttr->IsEdit;
    lAttrDataType_ = pAttr->DataType;
    bFound = true;
  }

  if (expr.SortExpression()) return ResolveSort_(eLookupType, sErrInfo);

  const enumQueryEngineError eResult = bIsEdit_
                                           ? ResolveFreeValue_(sErrInfo)
                                           : ResolveListValue_(bStopOnErr, oProj, eLookupType, eScope, pAttr, sErrInfo);
  if (eResult != eQEENone) return eResult;
  return finish();
}

enumQueryEngineError TypedSimpleExpression::ResolveSort_(enumQueryLookupTypes eLookupType, std::string& sErrInfo) {
  if (!IsOrderOperator(Operator())) return Fail_(eQEEInvalidListOperator, modMain::Message(14067), sErrInfo);
  const enumOrderSpecifier eOrder = modMain::OrdStringToEnum(typed_values::ValueText(Value()), eLookupType);
  if (eOrder == eOrdNone) return Fail_(eQEEUnknownSortConstant, modMain::Message(14068), sErrInfo);
  SetValue(Variant(static_cast<long>(eOrder)));
  return eQEENone;
}

enumQueryEngineError TypedSimpleExpression::ResolveFreeValue_(std::string& sErrInfo) {
  SimpleExpression& expr = *oSimpleExpression_;
  // The root tag number names a place in the tree, level by level: only a
  // dotted whole number is one, and every requirement has one, so "<NO
  // ENTRY>" names none.
  const bool bRootTag = bIsSystemAttr_ && sAttrKey_ == std::to_string(static_cast<int>(eSAKReqRootTagNbr));
  const auto rootTagLevels = [](const Variant& value) {
    return typed_values::DottedWholeNumber(typed_values::ValueText(value));
  };
  const auto refuseRootTag = [&](const Variant& value) {
    return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14134, typed_values::ValueText(value)), sErrInfo);
  };
  // No entry is the absence of a value: a requirement has it or not, so it
  // can't be a bound of a range, a pattern, or less or greater than a value.
  const auto refuseNoEntry = [&](const Variant& value) {
    return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14145, typed_values::ValueText(value)), sErrInfo);
  };
  switch (expr.Operator()) {
    case eEOEquals:
    case eEONotEquals:
    case eEOIN:
      break;
    case eEOBetween:
      if (IsNoEntry(typed_values::ValueText(expr.HighValue()))) return refuseNoEntry(expr.HighValue());
      [[fallthrough]];
    default:
      if (IsNoEntry(typed_values::ValueText(expr.Value()))) return refuseNoEntry(expr.Value());
      break;
  }
  switch (expr.Operator()) {
    case eEOBetween: {
      Variant low = expr.Value();
      if (!IsValidDataForType(low, lAttrDataType_)) {
        return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14074, typed_values::ValueText(expr.Value())),
                     sErrInfo);
      }
      Variant high = expr.HighValue();
      if (!IsValidDataForType(high, lAttrDataType_)) {
        return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14075, typed_values::ValueText(expr.HighValue())),
                     sErrInfo);
      }
      if (bRootTag) {
        const auto lowLevels = rootTagLevels(low);
        if (!lowLevels) return refuseRootTag(low);
        const auto highLevels = rootTagLevels(high);
        if (!highLevels) return refuseRootTag(high);
        // The leading levels are compared by "=", Between applies to the
        // last: both ends must lie under the same parent.
        if (lowLevels->size() != highLevels->size() ||
            !std::equal(lowLevels->begin(), lowLevels->end() - 1, highLevels->begin())) {
          return Fail_(
              eQEEInvalidAttrData,
              modMain::MessageWithArg(14142, typed_values::ValueText(low) + " And " + typed_values::ValueText(high)),
              sErrInfo);
        }
      }
      expr.SetValue(std::move(low));
      expr.SetHighValue(std::move(high));
      return eQEENone;
    }
    case eEOIN:
      // Each item is checked and kept in its typed form: the statement tests
      // the attribute against each of them.
      aListItemValues_.clear();
      for (const std::string& sItem : expr.ListItemPrefixes()) {
        Variant item(sItem);
        if (!IsValidDataForType(item, lAttrDataType_)) {
          return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14076, sItem), sErrInfo);
        }
        if (bRootTag && !rootTagLevels(item)) return refuseRootTag(item);
        if (std::find(aListItemValues_.begin(), aListItemValues_.end(), item) == aListItemValues_.end()) {
          aListItemValues_.push_back(std::move(item));
        }
      }
      return eQEENone;
    default: {
      Variant value = expr.Value();
      if (!IsValidDataForType(value, lAttrDataType_)) {
        return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14077, typed_values::ValueText(expr.Value())),
                     sErrInfo);
      }
      if (bRootTag && !rootTagLevels(value)) return refuseRootTag(value);
      // ULike compares in upper case; numbers, dates and booleans have no case.
      if (expr.Operator() == eEOULike && value.IsText()) value = Variant(text::Upper(value.Text()));
      expr.SetValue(std::move(value));
      return eQEENone;
    }
  }
}

enumQueryEngineError TypedSimpleExpression::ResolveListValue_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                                              enumQueryLookupTypes eLookupType,
                                                              enumReqQueryScope eScope, const Attr* pAttr,
                                                              std::string& sErrInfo) {
  SimpleExpression& expr = *oSimpleExpression_;
  const enumExpressionOperator eOp = expr.Operator();
  if (eOp != eEOEquals && eOp != eEONotEquals && eOp != eEOIN) {
    return Fail_(eQEEInvalidListOperator, modMain::MessageWithArg(14069, modMain::OpEnumToString(eOp)), sErrInfo);
  }
  const bool bReqTypeAttr = !bIsSystemAttr_ && eScope == eVLSReqType;
  const enumSystemAttrKey eSysKey = bIsSystemAttr_ ? static_cast<enumSystemAttrKey>(std::stoi(sAttrKey_)) : eSAKUnknown;

  if (eOp == eEOIN) {
    for (const std::string& sItem : expr.ListItemPrefixes()) {
      const std::string sI = text::Upper(text::TrimView(sItem));
      if (eLookupType == eQLTByKey && !modMain::IsNumeric(sI)) {
        return Fail_(eQEEListItemKeyNotNumeric, modMain::MessageWithArg(14070, sI), sErrInfo);
      }
      bool bMatched = false;
      if (bReqTypeAttr) {
        if (sI == kNoEntry || sI.empty() || sI == "0") {
          cListItemKeys_.Add(0, "0");
          cListItemPrefixes_.Add(std::string(kNoEntry), kNoEntry);
          cListItemGUIDs_.Add(std::string(kNoEntry), kNoEntry);
          bMatched = true;
        } else if (const ListItem* pItem = FindListItem(pAttr, eLookupType, sI)) {
          cListItemKeys_.Add(pItem->Key, std::to_string(pItem->Key));
          cListItemPrefixes_.Add(pItem->Text, pItem->Text);
          cListItemGUIDs_.Add(pItem->GUID, pItem->GUID);
          bMatched = true;
        }
      } else {
        std::string sValue = sI;
        std::string sDisplay;
        std::string sGUID;
        bool bSoftFailed = false;
        const enumQueryEngineError eResult = ResolveSystemAttrData_(bStopOnErr, oProj, eLookupType, eSysKey, sValue,
                                                                    sDisplay, sGUID, sErrInfo, bSoftFailed);
        if (eResult != eQEENone) return eResult;
        // A value the project doesn't know has been recorded with its own
        // words; the item is left out of the statement, not of the text.
        if (bSoftFailed) {
          aUnknownItems_.push_back(text::Trim(sItem));
          continue;
        }
        if (const auto lKey = typed_values::ValueToWhole(expr.Value())) {
          cListItemKeys_.Add(*lKey, std::to_string(*lKey));
          // A value that is no project object (a key, a number) has no name
          // or GUID of its own: every form writes the number it stands for.
          const std::string sShown = sDisplay.empty() ? std::to_string(*lKey) : sDisplay;
          cListItemPrefixes_.Add(sShown, sShown);
          const std::string sGUIDForm = sGUID.empty() ? std::to_string(*lKey) : sGUID;
          cListItemGUIDs_.Add(sGUIDForm, sGUIDForm);
          bMatched = true;
        }
      }
      if (!bMatched) {
        const enumQueryEngineError eResult =
            SoftFail_(bStopOnErr, eQEEUnknownOperandListItemPrefix,
                      modMain::MessageWithArg(14072, sI + " " + expr.OrgExprString()), sErrInfo);
        if (eResult != eQEENone) return eResult;
        aUnknownItems_.push_back(text::Trim(sItem));
      }
    }
    return eQEENone;
  }

  // "=" and "<>": one value.
  if (bReqTypeAttr) {
    const std::string sValue = typed_values::ValueText(expr.Value());
    if (eLookupType == eQLTByKey && !modMain::IsNumeric(sValue) && !IsNoEntry(sValue)) {
      return Fail_(eQEEListItemKeyNotNumeric, modMain::MessageWithArg(14070, sValue), sErrInfo);
    }
    if (IsNoEntry(sValue) || text::TrimView(sValue).empty() ||
        (eLookupType == eQLTByKey && text::TrimView(sValue) == "0")) {
      lListItemKey_ = 0;
      sListItemPrefix_ = Quoted(kNoEntry);
      return eQEENone;
    }
    if (const ListItem* pItem = FindListItem(pAttr, eLookupType, sValue)) {
      lListItemKey_ = pItem->Key;
      sListItemPrefix_ = pItem->Text;
      sListItemGUID_ = pItem->GUID;
      return eQEENone;
    }
    sUnknownValue_ = text::Trim(sValue);
    return SoftFail_(bStopOnErr, eQEEUnknownOperandListItemPrefix, modMain::MessageWithArg(14073, sValue), sErrInfo);
  }

  std::string sValue = typed_values::ValueText(expr.Value());
  const std::string sWritten = text::Trim(sValue);
  std::string sDisplay;
  std::string sGUID;
  bool bSoftFailed = false;
  const enumQueryEngineError eResult =
      ResolveSystemAttrData_(bStopOnErr, oProj, eLookupType, eSysKey, sValue, sDisplay, sGUID, sErrInfo, bSoftFailed);
  if (bSoftFailed) sUnknownValue_ = sWritten;
  if (eResult != eQEENone || bSoftFailed) return eResult;
  if (const auto lKey = typed_values::ValueToWhole(expr.Value())) lListItemKey_ = *lKey;
  // The text by name shows the name of the user or document, by GUID its
  // GUID; a plain number stands as itself in every form.
  sListItemPrefix_ = sDisplay.empty() ? typed_values::ValueText(expr.Value()) : sDisplay;
  sListItemGUID_ = sGUID.empty() ? sListItemPrefix_ : sGUID;
  return eQEENone;
}

enumQueryEngineError TypedSimpleExpression::ResolveDiscussionValue_(bool bStopOnErr,
                                                                    const std::shared_ptr<Project>& oProj,
                                                                    enumQueryLookupTypes eLookupType,
                                                                    std::string& sErrInfo) {
  SimpleExpression& expr = *oSimpleExpression_;
  const enumSystemAttrKey eSysKey = bIsSystemAttr_ ? static_cast<enumSystemAttrKey>(std::stoi(sAttrKey_)) : eSAKUnknown;
  std::string sDisplay;
  std::string sGUID;
  bool bSoftFailed = false;
  if (expr.Operator() != eEOIN) {
    std::string sValue = typed_values::ValueText(expr.Value());
    const enumQueryEngineError eResult =
        ResolveSystemAttrData_(bStopOnErr, oProj, eLookupType, eSysKey, sValue, sDisplay, sGUID, sErrInfo, bSoftFailed);
    if (eResult != eQEENone) return eResult;
    if (expr.Operator() == eEOBetween) {
      // The high end of a range is checked and typed as the low end is.
      Variant high = expr.HighValue();
      if (!IsValidDataForType(high, lAttrDataType_)) {
        return Fail_(eQEEInvalidAttrData, modMain::MessageWithArg(14094, typed_values::ValueText(expr.HighValue())),
                     sErrInfo);
      }
      expr.SetHighValue(std::move(high));
    }
    if (!bIsEdit_) {
      if (const auto lKey = typed_values::ValueToWhole(expr.Value())) lListItemKey_ = *lKey;
    }
    return eQEENone;
  }
  for (const std::string& sItem : expr.ListItemPrefixes()) {
    std::string sValue = sItem;
    const enumQueryEngineError eResult =
        ResolveSystemAttrData_(bStopOnErr, oProj, eLookupType, eSysKey, sValue, sDisplay, sGUID, sErrInfo, bSoftFailed);
    if (eResult != eQEENone) return eResult;
    if (const auto lKey = typed_values::ValueToWhole(expr.Value())) cListItemKeys_.Add(*lKey, std::to_string(*lKey));
  }
  return eQEENone;
}

const Attr* TypedSimpleExpression::GetAttr(enumQueryLookupTypes eLookupType, const ReqType* oReqType,
                                           std::string_view sAttr) {
  if (!oReqType) return nullptr;
  std::optional<long> key;
  if (eLookupType == eQLTByKey) {
    key = typed_values::TextToWhole(sAttr);
    if (!key) return nullptr;
  }
  for (const Attr& attr : oReqType->Attrs) {
    switch (eLookupType) {
      case eQLTByPrefix:
        if (text::EqualsNoCase(attr.Label, sAttr)) return &attr;
        break;
      case eQLTByKey:
        if (attr.Key == *key) return &attr;
        break;
      case eQLTByGUID:
        if (text::EqualsNoCase(attr.GUID, sAttr)) return &attr;
        break;
      default:
        return nullptr;
    }
  }
  return nullptr;
}

bool TypedSimpleExpression::IsValidDataForType(Variant& value, long eDataType) {
  bool bValid = false;
  try {
    const std::string sText = typed_values::ValueText(value);
    if (IsNoEntry(sText)) return true;
    LocaleServices& locale = modMain::Locale();
    switch (eDataType) {
      case eADTList:
      case eADTText:
        bValid = true;
        break;
      case eADTWholeNumber: {
        // Valid only when the number has no fraction and fits 32 bits.
        const auto number = locale.TextToNumber(sText);
        if (!number) break;
        const auto whole = typed_values::TextToWhole(sText);
        if (whole && static_cast<double>(*whole) == *number) {
          value = Variant(*whole);
          bValid = true;
        }
        break;
      }
      case eADTRealNumber:
        if (const auto number = locale.TextToNumber(sText)) {
          value = Variant(*number);
          bValid = true;
        }
        break;
      case eADTDate:
        bValid = locale.TextToDate(sText).has_value() && sText.find(':') == std::string::npos;
        break;
      case eADTTime:
        // A time of day alone: a date in any of the locale's forms is refused.
        bValid = locale.TextToTime(sText).has_value();
        break;
      case eADTBoolean:
        if (const auto flag = locale.TextToBoolean(sText)) {
          value = Variant(*flag);
          bValid = true;
        }
        break;
      case eADTDateTime:
        if (const auto date = locale.TextToDate(sText)) {
          value = Variant(*date);
          bValid = true;
        }
        break;
      default:
        break;
    }
  } catch (...) {
    // A conversion that fails makes the value invalid, nothing more.
    bValid = false;
  }
  return bValid;
}

// ---- System attributes ------------------------------------------------------------------

enumQueryEngineError TypedSimpleExpression::ResolveSystemAttr(enumSystemAttrKey eAttr,
                                                              enumQueryLookupTypes /*eLookupType*/,
                                                              std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("TypedSimpleExpression.ResolveSystemAttr", [&] {
    const enumExpressionOperator eOp = Operator();
    const auto type = [&](bool bIsEdit, long lDataType) {
      bIsEdit_ = bIsEdit;
      lAttrDataType_ = lDataType;
    };
    // A sort expression passes every operator check.
    const auto require = [&](bool bAllowed, long lMessage) {
      if (!bAllowed && !IsOrderOperator(eOp)) result = Fail_(eQEESystemAttrOp, modMain::Message(lMessage), sErrInfo);
    };
    const bool bKeyOperator = eOp == eEOEquals || eOp == eEONotEquals || eOp == eEOIN;
    switch (eAttr) {
      case eSAKReqTag:
      case eSAKReqRootTagNbr:
      case eSAKReqText:
      case eSAKReqRevision:
      case eSAKReqReason:
      case eSAKReqBookmarkName:
      case eSAKReqName:
      case eSAKReqPackageName:
      case eSAKRelStatus:
      case eSAKRelDirectOnly:
        type(true, eADTText);
        break;
      case eSAKReqKeyScalar:
      case eSAKReqHierLevel:
      case eSAKReqDocPosition:
        type(true, eADTWholeNumber);
        require(eOp != eEOIN, 14089);
        break;
      case eSAKReqRevDateTime:
      case eSAKReqSuspectDateTime:
        type(true, eADTDateTime);
        require(eOp != eEOIN, 14089);
        break;
      case eSAKReqIsDocTextCurrent:
        // A flag test: true or false, and its negation.
        type(true, eADTBoolean);
        require(eOp == eEOEquals || eOp == eEONotEquals, 14140);
        break;
      case eSAKReqKey:
        type(false, eADTList);
        require(bKeyOperator, 14086);
        break;
      case eSAKReqAuthorName:
      case eSAKReqAuthorKey:
        type(false, eADTList);
        require(bKeyOperator, 14084);
        break;
      case eSAKReqLocationName:
      case eSAKReqLocationKey:
        type(false, eADTList);
        require(bKeyOperator, 14085);
        break;
      case eSAKReqDiscussionKey:
        type(false, eADTList);
        require(bKeyOperator, 14087);
        break;
      case eSAKReqDiscussionStatus:
        type(false, eADTList);
        require(bKeyOperator, 14088);
        break;
      case eSAKReqPackageKey:
        type(false, eADTList);
        require(bKeyOperator, 14129);
        break;
      case eSAKDiscSubject:
        type(true, eADTText);
        require(eOp == eEOEquals || eOp == eEOLike, 14093);
        break;
      case eSAKDiscSubmitDate:
        type(true, eADTDateTime);
        require(eOp != eEOIN, 14091);
        break;
      case eSAKDiscResponses:
      case eSAKDiscHasRead:
        type(true, eADTBoolean);
        require(eOp == eEOEquals, 14090);
        break;
      case eSAKDiscReqKey:
      case eSAKDiscAuthor:
      case eSAKDiscAuthorKey:
      case eSAKDiscPriority:
      case eSAKDiscStatus:
      case eSAKDiscGroup:
      case eSAKDiscGroupKey:
      case eSAKDiscDiscussionKey:
      case eSAKDiscUser:
      case eSAKDiscUserKey:
        type(false, eADTList);
        require(bKeyOperator, 14092);
        break;
      default:
        // The trace words reach here only by key; they keep the defaults.
        break;
    }
  });
  return result;
}

enumQueryEngineError TypedSimpleExpression::ResolveSystemAttrData(
    bool bStopOnErr, const std::shared_ptr<Project>& oProj, enumQueryLookupTypes eLookupType, enumSystemAttrKey eKey,
    std::string& sValue, std::string& sDisplay, std::string& sGUID, std::string& sErrInfo) {
  bool bSoftFailed = false;
  return ResolveSystemAttrData_(bStopOnErr, oProj, eLookupType, eKey, sValue, sDisplay, sGUID, sErrInfo, bSoftFailed);
}

enumQueryEngineError TypedSimpleExpression::ResolveSystemAttrData_(
    bool bStopOnErr, const std::shared_ptr<Project>& oProj, enumQueryLookupTypes eLookupType, enumSystemAttrKey eAttr,
    std::string& sValue, std::string& sDisplay, std::string& sGUID, std::string& sErrInfo, bool& bSoftFailed) {
  enumQueryEngineError result = eQEENone;
  bSoftFailed = false;
  modMain::HandleAndLeave("TypedSimpleExpression.ResolveSystemAttrData", [&] {
    const std::string sV = sValue;
    const auto fail = [&](enumQueryEngineError eError, long lMessage, const std::string& sArg) {
      result = Fail_(eError, modMain::MessageWithArg(lMessage, sArg), sErrInfo);
    };
    const auto softFail = [&](enumQueryEngineError eError, long lMessage) {
      result = SoftFail_(bStopOnErr, eError, modMain::MessageWithArg(lMessage, sV), sErrInfo);
      bSoftFailed = result == eQEENone;
    };

    Variant checked(sV);
    if (!IsValidDataForType(checked, lAttrDataType_)) {
      fail(eQEEInvalidAttrData, 14094, sV);
      return;
    }
    const std::string sU = text::Upper(text::TrimView(sV));
    sDisplay.clear();
    sGUID.clear();

    // The user, group or document that a value names.
    const auto userBy = [&](enumQueryLookupTypes eBy) -> const User* {
      return FindByName(oProj->Users(), sU, [eBy](const User& user) {
        return eBy == eQLTByPrefix ? user.Name : eBy == eQLTByKey ? std::to_string(user.Key) : user.GUID;
      });
    };
    const auto groupBy = [&](enumQueryLookupTypes eBy) -> const Group* {
      return FindByName(oProj->Groups(), sU, [eBy](const Group& group) {
        return eBy == eQLTByPrefix ? group.Name : std::to_string(group.Key);
      });
    };
    const auto documentBy = [&](enumQueryLookupTypes eBy) -> const Document* {
      return FindByName(oProj->Documents(), sU, [eBy](const Document& document) {
        return eBy == eQLTByPrefix ? document.Name : eBy == eQLTByKey ? std::to_string(document.Key) : document.GUID;
      });
    };
    const auto needProject = [&] {
      if (!oProj) throw Failure(91, "TypedSimpleExpression.ResolveSystemAttrData", "No project");
    };

    switch (eAttr) {
      // ---- Requirements: the form of the value follows the lookup type ----
      case eSAKReqKey:
      case eSAKReqDiscussionKey:
      case eSAKReqDiscussionStatus:
      case eSAKReqPackageKey:
        if (const auto lKey = typed_values::TextToWhole(sU)) {
          SetValue(Variant(*lKey));
        } else {
          fail(eQEEListItemKeyNotNumeric, 14099, sU);
        }
        break;
      case eSAKReqAuthorName:
      case eSAKReqAuthorKey: {
        // No entry; by key also 0, the key the keyed text writes for it.
        if (sU == kNoEntry || (eLookupType == eQLTByKey && sU == "0")) {
          sValue = "0";
          SetValue(Variant("0"));
          sDisplay = std::string(kNoEntry);
          sGUID = std::string(kNoEntry);
          break;
        }
        needProject();
        if (const User* pUser = userBy(eLookupType)) {
          SetValue(Variant(pUser->Key));
          sDisplay = pUser->Name;
          sGUID = pUser->GUID;
        } else if (eAttr == eSAKReqAuthorName) {
          softFail(eQEEUnknownUserName, 14095);
        } else {
          softFail(eQEEUnknownUserKey, 14096);
        }
        break;
      }
      case eSAKReqLocationName:
      case eSAKReqLocationKey: {
        if (sU.empty() || sU == "0" || sU == "DATABASE") {
          SetValue(Variant("0"));
          sDisplay = "DATABASE";
          sGUID = "0";
          break;
        }
        needProject();
        if (const Document* pDocument = documentBy(eLookupType)) {
          SetValue(Variant(pDocument->Key));
          sDisplay = pDocument->Name;
          sGUID = pDocument->GUID;
        } else if (eAttr == eSAKReqLocationName) {
          softFail(eQEEUnknownLocationName, 14097);
        } else {
          softFail(eQEEUnknownLocationKey, 14098);
        }
        break;
      }

      // ---- Discussions: the form of the value follows the attribute ----
      case eSAKDiscReqKey:
        if (const auto lKey = typed_values::TextToWhole(sV)) {
          SetValue(Variant(*lKey));
        } else {
          fail(eQEEReqKeyNotNumeric, 14109, sV);
        }
        break;
      case eSAKDiscDiscussionKey:
        // A discussion key is a whole number, in a comparison and in an In
        // list alike, so that In carries the keys of its items.
        if (const auto lKey = typed_values::TextToWhole(sU)) {
          SetValue(Variant(*lKey));
        } else {
          fail(eQEEListItemKeyNotNumeric, 14099, sU);
        }
        break;
      case eSAKDiscAuthor:
      case eSAKDiscAuthorKey:
      case eSAKDiscUser:
      case eSAKDiscUserKey: {
        needProject();
        const bool bByName = eAttr == eSAKDiscAuthor || eAttr == eSAKDiscUser;
        if (const User* pUser = userBy(bByName ? eQLTByPrefix : eQLTByKey)) {
          SetValue(Variant(pUser->Key));
        } else if (eAttr == eSAKDiscAuthor) {
          fail(eQEEUnknownUserName, 14095, sV);
        } else if (eAttr == eSAKDiscAuthorKey) {
          fail(eQEEUnknownUserKey, 14096, sV);
        } else if (eAttr == eSAKDiscUser) {
          fail(eQEEUnknownUserName, 14103, sV);
        } else {
          fail(eQEEUnknownUserKey, 14104, sV);
        }
        break;
      }
      case eSAKDiscGroup:
      case eSAKDiscGroupKey:
        needProject();
        if (const Group* pGroup = groupBy(eAttr == eSAKDiscGroup ? eQLTByPrefix : eQLTByKey)) {
          SetValue(Variant(pGroup->Key));
        } else if (eAttr == eSAKDiscGroup) {
          fail(eQEEUnknownUserName, 14105, sV);
        } else {
          fail(eQEEUnknownUserKey, 14106, sV);
        }
        break;
      case eSAKDiscPriority: {
        const double dPriority = typed_values::LeadingNumber(sV);
        if (dPriority >= 1.0 && dPriority <= 3.0) {
          SetValue(Variant(dPriority));
        } else {
          fail(eQEEInvalidDiscPriority, 14107, sV);
        }
        break;
      }
      case eSAKDiscStatus: {
        const double dStatus = typed_values::LeadingNumber(sV);
        if (dStatus >= 1.0 && dStatus <= 2.0) {
          SetValue(Variant(dStatus));
        } else {
          fail(eQEEInvalidDiscStatus, 14108, sV);
        }
        break;
      }
      case eSAKDiscSubmitDate:
        if (const auto date = modMain::Locale().TextToDate(sV)) SetValue(Variant(*date));
        break;
      case eSAKDiscResponses:
        if (const auto flag = modMain::Locale().TextToBoolean(sV)) {
          SetValue(Variant(*flag));
        } else {
          fail(eQEEInvalidAttrData, 14110, sV);
        }
        break;
      case eSAKDiscHasRead: {
        const auto flag = modMain::Locale().TextToBoolean(sV);
        if (!flag) {
          fail(eQEEInvalidAttrData, 14111, sV);
          break;
        }
        if (!oProj) {
          result = Fail_(eQEEProjectNothing, modMain::Message(14013), sErrInfo);
          break;
        }
        // The sign carries the truth: the current user's key for read, the
        // key negated for not read.
        const long lUser = oProj->CurrentUserKey();
        SetValue(Variant(*flag ? lUser : -lUser));
        break;
      }
      default:
        // Free requirement attributes and the rest keep their value.
        break;
    }
  });
  return result;
}

// ---- Query text --------------------------------------------------------------------------

std::string TypedSimpleExpression::QueryString(enumQueryLookupTypes eLookupType) const {
  std::string sText;
  modMain::HandleAndLeave("TypedSimpleExpression.CurrKeyedExpr", [&] { sText = QueryString_(eLookupType); });
  return sText;
}

std::string TypedSimpleExpression::SortWord_(enumQueryLookupTypes eLookupType) const {
  const std::string sValue = typed_values::ValueText(Value());
  if (eLookupType == eQLTByKey) return sValue;
  const auto number = modMain::Locale().TextToNumber(sValue);
  return number && *number == 2.0 ? " DESC" : " ASC";
}

std::string TypedSimpleExpression::QueryString_(enumQueryLookupTypes eLookupType) const {
  if (eLookupType != eQLTByPrefix && eLookupType != eQLTByKey && eLookupType != eQLTByGUID) return {};
  std::string s;
  if (ExprNot()) s += " NOT ";
  switch (eLookupType) {
    case eQLTByPrefix:
      s += Quoted(sAttrPrefix_);
      break;
    case eQLTByKey:
      s += sAttrKey_;
      break;
    default:
      s += sAttrGUID_;
      break;
  }
  s += ' ';
  if (IsAllExpr()) s += " ALL ";
  const enumExpressionOperator eOp = Operator();
  s += modMain::OpEnumToString(eOp);
  s += ' ';

  if (lAttrDataType_ != eADTList && lAttrDataType_ != eADTMultiSelectList) {
    const bool bQuoted = lAttrDataType_ == eADTText || lAttrDataType_ == eADTDate || lAttrDataType_ == eADTTime ||
                         lAttrDataType_ == eADTDateTime;
    const auto valueText = [bQuoted](const Variant& value) {
      const std::string sValue = typed_values::ValueText(value);
      return bQuoted ? Quoted(sValue) : sValue;
    };
    if (eOp == eEOBetween) {
      s += valueText(Value()) + " AND " + valueText(HighValue());
    } else if (eOp == eEOIN) {
      std::string sList;
      for (const Variant& item : aListItemValues_) {
        if (!sList.empty()) sList += ", ";
        // A comma parts the items of the list, so an item that holds one (a
        // real number under a decimal comma) is written in quotes.
        const std::string sItem = typed_values::ValueText(item);
        sList += IsNoEntry(sItem) || sItem.find(',') != std::string::npos ? Quoted(sItem) : valueText(item);
      }
      s += sList;
    } else if (IsOrderOperator(eOp)) {
      s += SortWord_(eLookupType);
    } else if (IsNoEntry(typed_values::ValueText(Value()))) {
      s += Quoted(kNoEntry);
    } else {
      s += valueText(Value());
    }
    return s;
  }

  if (IsOrderOperator(eOp)) {
    s += SortWord_(eLookupType);
  } else if (eOp == eEOIN) {
    std::string sList;
    const auto append = [&sList](const std::string& sItem) {
      if (!sList.empty()) sList += ", ";
      sList += sItem;
    };
    switch (eLookupType) {
      case eQLTByPrefix:
        for (const std::string& sItem : cListItemPrefixes_) append(Quoted(sItem));
        break;
      case eQLTByKey:
        for (long lKey : cListItemKeys_) append(std::to_string(lKey));
        break;
      default:
        for (const std::string& sItem : cListItemGUIDs_) append(IsNoEntry(sItem) ? Quoted(sItem) : sItem);
        break;
    }
    for (const std::string& sItem : aUnknownItems_) append(Quoted(sItem));
    s += sList;
  } else if (sUnknownValue_) {
    s += Quoted(*sUnknownValue_);
  } else if (lListItemKey_ == 0 && !bIsSystemAttr_) {
    s += Quoted(kNoEntry);
  } else {
    // A system attribute's 0 is a value of its own (the database as
    // location, no package, no discussion), written as such.
    switch (eLookupType) {
      case eQLTByPrefix:
        s += Quoted(sListItemPrefix_);
        break;
      case eQLTByKey:
        s += std::to_string(lListItemKey_);
        break;
      default:
        s += IsNoEntry(sListItemGUID_) ? Quoted(sListItemGUID_) : sListItemGUID_;
        break;
    }
  }
  return s;
}

}  // namespace vlq
