#pragma once
// Locale services of the platform: the conventions of every locale that ICU
// has data for, and exact, strict conversions of the text a user of the locale
// writes. The conversions decide which values a query accepts for a number,
// date or boolean attribute, so they accept a fixed, documented set of forms
// and nothing else (no thousands separators, no hexadecimal, no month names,
// no guessing of day and month order). ICU supplies the conventions only; its
// own parsers are more lenient than the engine wants, so the reading is ours.
//
// The conventions of a locale come from ICU's data for it: the decimal
// separator and the signs of its number symbols (always in Latin digits), the
// order of day, month and year, their separators and the text behind the year
// from its short date pattern of the Gregorian calendar, the separator of hours
// and minutes and whether it uses a 12-hour clock from its short time pattern,
// and its AM and PM words. Blanks of any width in ICU's patterns count as a
// blank; the marks that only set the direction of text (U+200E, U+200F,
// U+061C) are dropped from the conventions and from the texts read.
//
// Accepted forms, with D day, M month (1 or 2 digits), Y year (4 digits, or 2
// digits read as 1930..2029), h hour (1 or 2 digits), mm and ss 2 digits, all
// in ASCII digits; blanks (space, tab, no-break spaces) around the whole text
// are allowed:
//
//   numbers   sign digits [<decimal separator> digits] [(e|E) sign digits],
//             at least one digit before or after the separator, the sign
//             optional: "+", "-" or the locale's own plus or minus sign
//             ("−" in sv-SE); a finite double
//   dates     YYYY-MM-DD in every locale, and D, M and Y in the locale's order
//             with its separators (1/2/2000 en-US, 02.01.2000 de-DE,
//             2000/01/02 ja-JP), the locale's text behind the year optional
//             (2000. 1. 2. ko-KR)
//   times     h:mm or h:mm:ss in every locale, and the same with the locale's
//             separator (13.07 fi-FI), 0..23 hours; where the locale writes a
//             12-hour clock, also with its AM or PM word in front or behind as
//             the locale puts it (1:07 PM en-US, 오후 1:07 ko-KR), 1..12 hours
//   together  a date, one or more blanks, a time
//   booleans  "True" or "False" in any case, or a number: 0 false, other true
//
// In the locale's separators and words a blank stands for any run of blanks,
// none included, and letters compare without regard to case. A time alone is
// the time of day 0 (30 December 1899). Impossible dates and times (2/30/2000,
// 24:00, 12:60) are refused, as are years before 100.
//
// Thread safety: the objects don't change after construction.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "services/locale_services.h"

namespace vlq::platform {

// The conventions of one locale; the defaults are those of en-US.
struct LocaleConventions {
  enum class DateOrder { MonthDayYear, DayMonthYear, YearMonthDay };

  std::string name = "en-US";
  std::string decimalSeparator = ".";
  // Read besides "-" and "+", which every locale reads.
  std::string minusSign = "-";
  std::string plusSign = "+";

  DateOrder dateOrder = DateOrder::MonthDayYear;
  // Between the first and second, and the second and third part of a date.
  std::string dateSeparator = "/";
  std::string dateSeparator2 = "/";
  // Behind the third part (ko-KR "."): written, and optional when read.
  std::string dateSuffix;
  // The short date writes day and month with two digits (01.02.2000).
  bool shortDateTwoDigitDay = false;
  bool shortDateTwoDigitMonth = false;

  std::string timeSeparator = ":";
  // AM and PM may stand with a time, before it or behind it.
  bool twelveHourClock = true;
  bool amPmBeforeTime = false;
  std::string amWord = "AM";
  std::string pmWord = "PM";
};

class StandardLocaleServices : public LocaleServices {
 public:
  // en-US.
  StandardLocaleServices();
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
  // A time alone: a text that reads as a date (12.10.20 in fi-FI) is none.
  std::optional<DateSerial> TextToTime(std::string_view sText) const override;
  std::optional<bool> TextToBoolean(std::string_view sText) const override;
  // Day, month and a year of four digits in the locale's order, with its
  // separators and its text behind the year: en-US 1/2/2000, de-DE 02.01.2000,
  // ja-JP 2000/01/02. It reads back through TextToDate.
  std::string ShortDateText(DateSerial date) const override;
  // Read as TextToDate reads; a text that isn't a date counts the separators.
  int TimePartsWritten(std::string_view sText) const override;

 private:
  LocaleConventions conventions_;
};

// The conventions of a locale by its name: a language tag as "de-CH",
// "pt-BR", "sr-Latn-RS", "_" and "-" alike and case not counting. The
// language, script and region choose the locale; extensions of the tag (such
// as other digits or calendars) are not read. nullopt for a name that isn't a
// language tag or names a locale that ICU has no data for (xx-XX, de-US).
std::optional<LocaleConventions> FindLocaleConventions(std::string_view sName);

// The locale services of that name, or nullptr for a locale without data.
std::shared_ptr<LocaleServices> MakeLocaleServices(std::string_view sName);

}  // namespace vlq::platform
