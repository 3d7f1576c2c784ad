#pragma once
// One input of the reader fuzzer, checked: the engine's readers against the
// plain reference reader, with the invariants of their results. Shared by the
// fuzz target and the test that replays the kept findings.
//
// Input: the first byte holds switches (bit 0 sort list, bit 1 keyed lookup
// type, bit 2 a locale with a decimal comma; bits 3 to 7 a start position for
// DataBetweenParens, 0 meaning the first "("); the rest is the text.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/mod_main.h"
#include "fuzz/reference_reader.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "services/components.h"
#include "services/locale_services.h"

namespace vlq::reference {

class CommaLocale : public LocaleServices {
 public:
  std::string LocaleInfo(int lItem) const override { return lItem == 14 ? "," : ":"; }
  std::string FormatNumber(double dValue, int, int) const override { return std::to_string(dValue); }
  std::optional<double> TextToNumber(std::string_view) const override { return std::nullopt; }
  std::optional<DateSerial> TextToDate(std::string_view) const override { return std::nullopt; }
  std::optional<DateSerial> TextToTime(std::string_view) const override { return std::nullopt; }
  std::optional<bool> TextToBoolean(std::string_view) const override { return std::nullopt; }
  std::string ShortDateText(DateSerial) const override { return {}; }
};

// The first difference found, or the empty string.
inline std::string CheckReaderInput(std::string_view sInput) {
  if (sInput.empty()) return {};
  const auto flags = static_cast<std::uint8_t>(sInput[0]);
  const std::string sText(sInput.substr(1));
  const bool bSort = (flags & 1) != 0;

  struct Scope {
    enumQueryLookupTypes eOld = modMain::ModuleLookupType();
    bool bComma = false;
    ~Scope() {
      modMain::SetModuleLookupType(eOld);
      if (bComma) modMain::SetLocale(DefaultComponentFactories().localeServices());
    }
  } scope;
  modMain::SetModuleLookupType((flags & 2) ? eQLTByKey : eQLTByPrefix);
  if (flags & 4) {
    scope.bComma = true;
    modMain::SetLocale(std::make_shared<CommaLocale>());
  }

  // The word reader.
  for (bool bInList : {false, true}) {
    long lEngine = -1;
    long lRef = -1;
    const std::string sEngine = modMain::ExtractQueryBaseCriteria(sText, lEngine, bInList);
    const std::string sRef = ExtractWord(sText, lRef, bInList);
    if (sEngine != sRef || lEngine != lRef) return "ExtractQueryBaseCriteria differs";
    if (lEngine < 0 || static_cast<std::size_t>(lEngine) > sText.size()) return "ExtractQueryBaseCriteria count";
  }

  // The group reader, at the position the switches give or the first "(".
  {
    std::size_t lStart = flags >> 3;
    if (lStart == 0) lStart = sText.find('(') == std::string::npos ? 1 : sText.find('(') + 1;
    std::string sEngineText = sText;
    std::string sRefText = sText;
    const std::string sEngine = modMain::DataBetweenParens(sEngineText, lStart);
    const std::string sRef = BetweenParens(sRefText, lStart);
    if (sEngine != sRef) return "DataBetweenParens result differs";
    if (sEngineText != sRefText) return "DataBetweenParens blanking differs";
  }

  // One expression.
  {
    SimpleExpression oExpr;
    long lExprLen = -1;
    std::string sErrInfo;
    const enumQueryEngineError eResult = oExpr.ResolveFromString(sText, lExprLen, sErrInfo, bSort);
    const Simple ref = ResolveSimple(sText, bSort);
    if (eResult != ref.eResult) return "ResolveFromString result differs";
    if (sErrInfo != ref.sErrInfo) return "ResolveFromString error text differs";
    if (lExprLen != ref.lExprLen) return "ResolveFromString lExprLen differs";
    if (lExprLen < 0 || static_cast<std::size_t>(lExprLen) > sText.size()) return "lExprLen out of range";
    if (auto d = Diff(ref, oExpr, "ResolveFromString"); !d.empty()) return d;
  }

  // The list, as a criteria list and as a sort list.
  for (bool bIsSort : {false, true}) {
    ComplexExpression oList;
    const bool bOk = oList.Tokenize(sText, bIsSort);
    const List ref = Tokenize(sText, bIsSort);
    if (bOk != (ref.eResult == eQEENone)) return "Tokenize success differs";
    if (auto d = Diff(ref, oList, bIsSort ? "Sort" : "Criteria"); !d.empty()) return d;
  }
  return {};
}

}  // namespace vlq::reference
