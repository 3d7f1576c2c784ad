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

  // How much of a time of day the text of a date value writes: 0 none (a date
  // alone, or no date), 2 hours and minutes, 3 hours, minutes and seconds. A
  // date written without a time stands for its whole day. This default counts
  // the time separators (LocaleInfo(30)) in the text, which serves a locale
  // whose dates don't hold that separator.
  virtual int TimePartsWritten(std::string_view sText) const {
    const std::string separator = LocaleInfo(30);
    if (separator.empty()) return 0;
    int parts = 1;
    for (std::size_t at = sText.find(separator); at != std::string_view::npos && parts < 3;
         at = sText.find(separator, at + separator.size())) {
      ++parts;
    }
    return parts == 1 ? 0 : parts;
  }
};

}  // namespace vlq
