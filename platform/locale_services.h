#pragma once
// Locale services of the platform: the conventions of a few locales, kept in a
// small table of our own, and exact, strict conversions of the text a user of
// the locale writes. The conversions decide which values a query accepts for a
// number, date or boolean attribute, so they accept a fixed, documented set of
// forms and nothing else (no thousands separators, no hexadecimal, no month
// names, no guessing of day and month order).
//
// Locales: "en-US" (the default), "en-GB", "de-DE", "fr-FR". A general locale
// library would bring parsers that are more lenient than the engine wants and
// short date patterns with two-digit years; the engine needs only a handful of
// conventions per locale, so a table serves better.
//
// Accepted forms, with D day, M month (1 or 2 digits), Y year (4 digits, or 2
// digits read as 1930..2029), h hour (1 or 2 digits), mm and ss 2 digits; blanks
// (spaces, tabs) around the whole text are allowed:
//
//   numbers   [+|-] digits [<decimal separator> digits] [(e|E) [+|-] digits],
//             at least one digit before or after the separator; a finite double
//   dates     YYYY-MM-DD in every locale; en-US M/D/Y; en-GB, fr-FR D/M/Y;
//             de-DE D.M.Y
//   times     h:mm or h:mm:ss, 0..23 hours; en-US and en-GB also with AM or PM
//             behind (blank optional, any case), 1..12 hours
//   together  a date, one or more blanks, a time
//   booleans  "True" or "False" in any case, or a number: 0 false, other true
//
// A time alone is the time of day 0 (30 December 1899). Impossible dates and
// times (2/30/2000, 24:00, 12:60) are refused, as are years before 100.
//
// Thread safety: the objects don't change after construction.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "services/locale_services.h"

namespace vlq::platform {

struct LocaleConventions {
  enum class DateOrder { MonthDayYear, DayMonthYear };

  std::string name = "en-US";
  char decimalSeparator = '.';
  char dateSeparator = '/';
  DateOrder dateOrder = DateOrder::MonthDayYear;
  char timeSeparator = ':';
  // AM and PM may stand behind a time.
  bool twelveHourClock = true;
  // The short date writes day and month with two digits (01.02.2000).
  bool shortDateTwoDigits = false;
};

class StandardLocaleServices : public LocaleServices {
 public:
  // en-US.
  StandardLocaleServices() = default;
  explicit StandardLocaleServices(LocaleConventions conventions) : conventions_(std::move(conventions)) {}

  const LocaleConventions& Conventions() const { return conventions_; }

  // 14: the decimal separator; 29: the date separator; 30: the time separator;
  // 92: the locale's name. Empty for any other item.
  std::string LocaleInfo(int lItem) const override;
  // The shortest text that reads back as the same double, with a decimal
  // point whatever the locale, no thousands separators, in plain digits from
  // 1e-7 up to 1e21 and in exponent form (1e+300) beyond. lDigits and
  // lLeadingDigit are accepted for the interface and don't change the text.
  // A value that isn't finite has no text: it throws vlq::Failure.
  std::string FormatNumber(double dValue, int lDigits, int lLeadingDigit) const override;

  std::optional<double> TextToNumber(std::string_view sText) const override;
  std::optional<DateSerial> TextToDate(std::string_view sText) const override;
  std::optional<DateSerial> TextToTime(std::string_view sText) const override;
  std::optional<bool> TextToBoolean(std::string_view sText) const override;
  // en-US 1/2/2000, en-GB and fr-FR 02/01/2000, de-DE 02.01.2000; it reads back
  // through TextToDate.
  std::string ShortDateText(DateSerial date) const override;

 private:
  LocaleConventions conventions_;
};

// The conventions of a locale of the table, by name without regard to case,
// "_" and "-" alike (de_DE is de-DE); nullopt for a locale not in the table.
std::optional<LocaleConventions> FindLocaleConventions(std::string_view sName);

// The locale services of that name, or nullptr for a locale not in the table.
std::shared_ptr<LocaleServices> MakeLocaleServices(std::string_view sName);

}  // namespace vlq::platform
