#pragma once
// Locale services: the decimal separator, the text of numbers and dates, and
// the locale's conversions of text to numbers, dates and booleans.

#include <optional>
#include <string>
#include <string_view>

#include "model/date_serial.h"

namespace vlq {

class LocaleServices {
 public:
  virtual ~LocaleServices() = default;
  // LocaleInfo(14): the decimal separator; LocaleInfo(30): the time separator.
  virtual std::string LocaleInfo(int lItem) const = 0;
  // FormatNumber(value, 3, 1): the plain text of a real number that the
  // database accepts, with a decimal point whatever the locale.
  virtual std::string FormatNumber(double dValue, int lDigits, int lLeadingDigit) const = 0;

  // Conversions of the text a user of the locale writes; nullopt where the
  // locale doesn't read the text as such.
  virtual std::optional<double> TextToNumber(std::string_view sText) const = 0;
  virtual std::optional<DateSerial> TextToDate(std::string_view sText) const = 0;
  // A time of day alone, with no date in front: the time on day 0.
  virtual std::optional<DateSerial> TextToTime(std::string_view sText) const = 0;
  virtual std::optional<bool> TextToBoolean(std::string_view sText) const = 0;
  // The short date of the locale (1/2/2000 in en-US).
  virtual std::string ShortDateText(DateSerial date) const = 0;
};

}  // namespace vlq
