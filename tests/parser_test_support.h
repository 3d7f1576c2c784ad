#pragma once
// Helpers of the expression reader tests: a locale whose decimal separator is
// a comma, and scopes that set the thread's locale and lookup type for one test.

#include <memory>
#include <optional>
#include <string>

#include "engine/mod_main.h"
#include "services/components.h"
#include "services/locale_services.h"

namespace vlq::testing_support {

// Only the decimal separator matters to the readers.
class CommaDecimalLocale : public LocaleServices {
 public:
  std::string LocaleInfo(int lItem) const override { return lItem == 14 ? "," : ":"; }
  std::string FormatNumber(double dValue, int, int) const override { return std::to_string(dValue); }
  std::optional<double> TextToNumber(std::string_view) const override { return std::nullopt; }
  std::optional<DateSerial> TextToDate(std::string_view) const override { return std::nullopt; }
  std::optional<DateSerial> TextToTime(std::string_view) const override { return std::nullopt; }
  std::optional<bool> TextToBoolean(std::string_view) const override { return std::nullopt; }
  std::string ShortDateText(DateSerial) const override { return {}; }
};

class ScopedCommaLocale {
 public:
  ScopedCommaLocale() { modMain::SetLocale(std::make_shared<CommaDecimalLocale>()); }
  ~ScopedCommaLocale() { modMain::SetLocale(DefaultComponentFactories().localeServices()); }
  ScopedCommaLocale(const ScopedCommaLocale&) = delete;
  ScopedCommaLocale& operator=(const ScopedCommaLocale&) = delete;
};

class ScopedLookupType {
 public:
  explicit ScopedLookupType(enumQueryLookupTypes eLookupType) : eOld_(modMain::ModuleLookupType()) {
    modMain::SetModuleLookupType(eLookupType);
  }
  ~ScopedLookupType() { modMain::SetModuleLookupType(eOld_); }
  ScopedLookupType(const ScopedLookupType&) = delete;
  ScopedLookupType& operator=(const ScopedLookupType&) = delete;

 private:
  enumQueryLookupTypes eOld_;
};

}  // namespace vlq::testing_support
