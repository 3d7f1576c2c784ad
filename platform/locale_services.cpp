#include "platform/locale_services.h"

#include <unicode/datefmt.h>
#include <unicode/dcfmtsym.h>
#include <unicode/dtfmtsym.h>
#include <unicode/locid.h>
#include <unicode/numsys.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <set>
#include <vector>

#include "model/text_util.h"
#include "services/failure.h"

namespace vlq::platform {
namespace {

using DateOrder = LocaleConventions::DateOrder;

// ---- Blanks and marks -----------------------------------------------------------------

// Marks that only set the direction of the text around them.
constexpr std::array<std::string_view, 3> kDirectionMarks = {"\u200E", "\u200F", "\u061C"};
// Blanks besides the space and the tab: the no-break spaces that ICU's
// patterns hold and that text formatted by them carries.
constexpr std::array<std::string_view, 4> kWideBlanks = {"\u00A0", "\u202F", "\u2009", "\u2007"};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The length of the blank at the start of s, 0 when there is none.
std::size_t BlankLength(std::string_view s) {
  if (s.empty()) return 0;
  if (s.front() == ' ' || s.front() == '\t') return 1;
  for (std::string_view blank : kWideBlanks) {
    if (s.substr(0, blank.size()) == blank) return blank.size();
  }
  return 0;
}

std::size_t TrailingBlankLength(std::string_view s) {
  if (s.empty()) return 0;
  if (s.back() == ' ' || s.back() == '\t') return 1;
  for (std::string_view blank : kWideBlanks) {
    if (s.size() >= blank.size() && s.substr(s.size() - blank.size()) == blank) return blank.size();
  }
  return 0;
}

std::string_view TrimBlanks(std::string_view s) {
  while (std::size_t n = BlankLength(s)) s.remove_prefix(n);
  while (std::size_t n = TrailingBlankLength(s)) s.remove_suffix(n);
  return s;
}

// The text without direction marks, its blanks at both ends trimmed.
std::string Normalized(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    bool mark = false;
    for (std::string_view m : kDirectionMarks) {
      if (s.substr(i, m.size()) == m) {
        i += m.size();
        mark = true;
        break;
      }
    }
    if (!mark) out += s[i++];
  }
  return std::string(TrimBlanks(out));
}

// A reader over the text of a number, date or time.
class Cursor {
 public:
  explicit Cursor(std::string_view s) : s_(s) {}

  bool AtEnd() const { return pos_ == s_.size(); }
  std::string_view Rest() const { return s_.substr(pos_); }

  // A run of minDigits..maxDigits digits that no further digit follows.
  std::optional<int> Digits(std::size_t minDigits, std::size_t maxDigits, std::size_t* count = nullptr) {
    std::size_t n = 0;
    int value = 0;
    while (pos_ + n < s_.size() && IsDigit(s_[pos_ + n])) {
      if (++n > maxDigits) return std::nullopt;
      value = value * 10 + (s_[pos_ + n - 1] - '0');
    }
    if (n < minDigits) return std::nullopt;
    pos_ += n;
    if (count != nullptr) *count = n;
    return value;
  }

  // One digit.
  std::optional<char> Digit() {
    if (pos_ < s_.size() && IsDigit(s_[pos_])) return s_[pos_++];
    return std::nullopt;
  }

  bool Char(char c) {
    if (pos_ < s_.size() && s_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  // Exactly these bytes.
  bool Exact(std::string_view text) {
    if (text.empty() || Rest().substr(0, text.size()) != text) return false;
    pos_ += text.size();
    return true;
  }

  std::size_t Blanks() {
    const std::size_t start = pos_;
    while (std::size_t n = BlankLength(Rest())) pos_ += n;
    return pos_ - start;
  }

  // A separator or word of the locale: each blank in it stands for any run of
  // blanks, none included; letters compare without regard to case. On false
  // the cursor is where it was.
  bool Literal(std::string_view literal) {
    if (literal.empty()) return false;
    const std::size_t start = pos_;
    while (!literal.empty()) {
      if (const std::size_t n = BlankLength(literal)) {
        literal.remove_prefix(n);
        Blanks();
        continue;
      }
      std::size_t chunk = 0;
      while (chunk < literal.size() && BlankLength(literal.substr(chunk)) == 0) ++chunk;
      std::size_t matched = 0;
      if (!text::StartsWithNoCase(Rest(), literal.substr(0, chunk), &matched)) {
        pos_ = start;
        return false;
      }
      pos_ += matched;
      literal.remove_prefix(chunk);
    }
    return true;
  }

  // The text of the locale if it stands here; the cursor stays otherwise.
  void Optional(std::string_view literal) {
    if (!literal.empty()) Literal(literal);
  }

 private:
  std::string_view s_;
  std::size_t pos_ = 0;
};

// ---- Reading dates and times ------------------------------------------------------------

// A year of 2 digits is read in the window 1930..2029, as a user who writes
// 1/2/05 means 2005.
int FullYear(int year, std::size_t digits) {
  if (digits == 4) return year;
  return year < 30 ? 2000 + year : 1900 + year;
}

bool ReadIsoDate(Cursor& in, CivilDateTime& out) {
  Cursor at = in;
  const auto year = at.Digits(4, 4);
  if (!year || !at.Char('-')) return false;
  const auto month = at.Digits(1, 2);
  if (!month || !at.Char('-')) return false;
  const auto day = at.Digits(1, 2);
  if (!day) return false;
  out.year = *year;
  out.month = *month;
  out.day = *day;
  in = at;
  return true;
}

// YYYY-MM-DD, or the locale's own order and separators. On false the cursor
// is left anywhere.
bool ReadDate(Cursor& in, const LocaleConventions& locale, CivilDateTime& out) {
  if (ReadIsoDate(in, out)) return true;
  const auto year = [&]() -> bool {
    std::size_t digits = 0;
    const auto y = in.Digits(2, 4, &digits);
    if (!y || digits == 3) return false;
    out.year = FullYear(*y, digits);
    return true;
  };
  const auto part = [&](int& field) -> bool {
    const auto value = in.Digits(1, 2);
    if (value) field = *value;
    return value.has_value();
  };
  bool read = false;
  switch (locale.dateOrder) {
    case DateOrder::MonthDayYear:
      read = part(out.month) && in.Literal(locale.dateSeparator) && part(out.day) &&
             in.Literal(locale.dateSeparator2) && year();
      break;
    case DateOrder::DayMonthYear:
      read = part(out.day) && in.Literal(locale.dateSeparator) && part(out.month) &&
             in.Literal(locale.dateSeparator2) && year();
      break;
    case DateOrder::YearMonthDay:
      read = year() && in.Literal(locale.dateSeparator) && part(out.month) && in.Literal(locale.dateSeparator2) &&
             part(out.day);
      break;
  }
  if (read) in.Optional(locale.dateSuffix);
  return read;
}

// The AM or PM word of the locale at the cursor: true and pm set when there is
// one.
bool ReadAmPm(Cursor& in, const LocaleConventions& locale, bool& pm) {
  if (in.Literal(locale.amWord)) {
    pm = false;
    return true;
  }
  if (in.Literal(locale.pmWord)) {
    pm = true;
    return true;
  }
  return false;
}

// h:mm, h:mm:ss, with ":" or the locale's separator, and with a 12-hour clock
// the AM or PM word where the locale puts it. parts: 2, or 3 with seconds. On
// false the cursor is left anywhere.
bool ReadTime(Cursor& in, const LocaleConventions& locale, CivilDateTime& out, int& parts) {
  bool marked = false;
  bool pm = false;
  if (locale.twelveHourClock && locale.amPmBeforeTime) {
    Cursor marker = in;
    if (ReadAmPm(marker, locale, pm)) {
      marker.Blanks();
      marked = true;
      in = marker;
    }
  }
  const auto hour = in.Digits(1, 2);
  if (!hour) return false;
  // The separator that stands between hours and minutes is the one of the
  // seconds too.
  std::string_view separator = ":";
  if (!in.Char(':')) {
    if (locale.timeSeparator == ":" || !in.Literal(locale.timeSeparator)) return false;
    separator = locale.timeSeparator;
  }
  const auto minute = in.Digits(2, 2);
  if (!minute) return false;
  int second = 0;
  parts = 2;
  {
    Cursor seconds = in;
    if (separator == ":" ? seconds.Char(':') : seconds.Literal(separator)) {
      const auto s = seconds.Digits(2, 2);
      if (!s) return false;
      second = *s;
      parts = 3;
      in = seconds;
    }
  }
  if (locale.twelveHourClock && !locale.amPmBeforeTime) {
    Cursor marker = in;
    marker.Blanks();
    if (ReadAmPm(marker, locale, pm)) {
      marked = true;
      in = marker;
    }
  }
  int h = *hour;
  if (marked) {
    if (h < 1 || h > 12) return false;
    h = (h % 12) + (pm ? 12 : 0);
  }
  out.hour = h;
  out.minute = *minute;
  out.second = second;
  return true;
}

// A date, and behind it, after blanks, a time: the whole text. timeParts
// receives 0 for a date alone.
std::optional<DateSerial> ReadDateAndTime(std::string_view s, const LocaleConventions& locale, int& timeParts) {
  CivilDateTime civil;
  Cursor in(s);
  timeParts = 0;
  if (!ReadDate(in, locale, civil)) return std::nullopt;
  if (!in.AtEnd() && (in.Blanks() == 0 || !ReadTime(in, locale, civil, timeParts))) return std::nullopt;
  if (!in.AtEnd()) return std::nullopt;
  return date_serial::FromCivil(civil);
}

// A time alone, the whole text, on day 0.
std::optional<DateSerial> ReadTimeAlone(std::string_view s, const LocaleConventions& locale, int& timeParts) {
  CivilDateTime civil;
  Cursor in(s);
  if (!ReadTime(in, locale, civil, timeParts) || !in.AtEnd()) return std::nullopt;
  return date_serial::FromCivil(civil);
}

// ---- The conventions from ICU's data ----------------------------------------------------

std::string Utf8(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

// The text of a pattern or symbol as the conventions keep it: without
// direction marks, its wide blanks as spaces.
std::string ConventionText(const icu::UnicodeString& s) {
  std::string out = Utf8(s);
  for (std::string_view mark : kDirectionMarks) {
    for (std::size_t at = out.find(mark); at != std::string::npos; at = out.find(mark, at)) out.erase(at, mark.size());
  }
  for (std::string_view blank : kWideBlanks) {
    for (std::size_t at = out.find(blank); at != std::string::npos; at = out.find(blank, at)) {
      out.replace(at, blank.size(), " ");
    }
  }
  return out;
}

// One part of a date or time pattern: a field (a run of one pattern letter)
// or the literal text between fields.
struct PatternPart {
  char16_t letter = 0;  // 0 for literal text
  int count = 0;
  icu::UnicodeString literal;
};

// Splits a pattern: letters A-Z and a-z are fields, text in single quotes is
// literal, two single quotes are one.
std::vector<PatternPart> SplitPattern(const icu::UnicodeString& pattern) {
  std::vector<PatternPart> parts;
  const auto literal = [&parts](char16_t c) {
    if (parts.empty() || parts.back().letter != 0) parts.emplace_back();
    parts.back().literal.append(c);
  };
  bool quoted = false;
  for (int32_t i = 0; i < pattern.length(); ++i) {
    const char16_t c = pattern.charAt(i);
    if (c == u'\'') {
      if (i + 1 < pattern.length() && pattern.charAt(i + 1) == u'\'') {
        literal(c);
        ++i;
      } else {
        quoted = !quoted;
      }
    } else if (!quoted && ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'))) {
      if (!parts.empty() && parts.back().letter == c) {
        ++parts.back().count;
      } else {
        parts.push_back(PatternPart{c, 1, {}});
      }
    } else {
      literal(c);
    }
  }
  return parts;
}

icu::UnicodeString PatternOf(icu::DateFormat* format) {
  icu::UnicodeString pattern;
  if (auto* simple = dynamic_cast<icu::SimpleDateFormat*>(format)) simple->toPattern(pattern);
  return pattern;
}

// The order, separators and widths of the short date pattern. A pattern that
// isn't three numeric parts with separators between them (none in ICU's data
// today) leaves the dates of the locale in the form YYYY-MM-DD.
void TakeDatePattern(const icu::UnicodeString& pattern, LocaleConventions& c) {
  std::string order;                // the letters of the fields, M for L too
  std::vector<std::string> behind;  // the literal text behind each field
  bool numeric = true;
  for (const PatternPart& part : SplitPattern(pattern)) {
    if (part.letter == 0) {
      if (!behind.empty()) behind.back() = ConventionText(part.literal);
      continue;
    }
    const char letter = part.letter == u'L' ? 'M' : static_cast<char>(part.letter);
    if ((letter != 'y' && letter != 'M' && letter != 'd') || (letter != 'y' && part.count > 2)) numeric = false;
    order += letter;
    behind.emplace_back();
    if (letter == 'd') c.shortDateTwoDigitDay = part.count == 2;
    if (letter == 'M') c.shortDateTwoDigitMonth = part.count == 2;
  }
  if (numeric && behind.size() == 3 && !behind[0].empty() && !behind[1].empty() &&
      (order == "Mdy" || order == "dMy" || order == "yMd")) {
    c.dateOrder = order == "Mdy" ? DateOrder::MonthDayYear
                  : order == "dMy" ? DateOrder::DayMonthYear
                                   : DateOrder::YearMonthDay;
    c.dateSeparator = behind[0];
    c.dateSeparator2 = behind[1];
    c.dateSuffix = behind[2];
    while (const std::size_t n = TrailingBlankLength(c.dateSuffix)) c.dateSuffix.resize(c.dateSuffix.size() - n);
    return;
  }
  c.dateOrder = DateOrder::YearMonthDay;
  c.dateSeparator = c.dateSeparator2 = "-";
  c.dateSuffix.clear();
  c.shortDateTwoDigitDay = c.shortDateTwoDigitMonth = true;
}

// The separator of hours and minutes and the clock of the short time pattern.
// A pattern without hours, a separator and minutes in a row leaves ":" and a
// 24-hour clock.
void TakeTimePattern(const icu::UnicodeString& pattern, LocaleConventions& c) {
  const std::vector<PatternPart> parts = SplitPattern(pattern);
  c.timeSeparator = ":";
  c.twelveHourClock = false;
  c.amPmBeforeTime = false;
  std::size_t hour = parts.size();
  std::size_t marker = parts.size();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const char16_t letter = parts[i].letter;
    if (hour == parts.size() && (letter == u'H' || letter == u'h' || letter == u'K' || letter == u'k')) hour = i;
    if (marker == parts.size() && (letter == u'a' || letter == u'b' || letter == u'B')) marker = i;
  }
  if (hour + 2 >= parts.size() || parts[hour + 1].letter != 0 || parts[hour + 2].letter != u'm') return;
  const std::string separator = ConventionText(parts[hour + 1].literal);
  if (TrimBlanks(separator).empty()) return;
  c.timeSeparator = separator;
  const char16_t letter = parts[hour].letter;
  c.twelveHourClock = (letter == u'h' || letter == u'K') && marker != parts.size();
  c.amPmBeforeTime = c.twelveHourClock && marker < hour;
}

// The locales that ICU has data for, each with its likely script and region
// filled in, so that "zh-CN" finds zh_Hans_CN and "en" finds en_US.
const std::set<std::string>& AvailableLocales() {
  static const std::set<std::string> available = [] {
    std::set<std::string> names;
    int32_t count = 0;
    const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
    for (int32_t i = 0; i < count; ++i) {
      UErrorCode status = U_ZERO_ERROR;
      icu::Locale full(locales[i]);
      full.addLikelySubtags(status);
      if (U_SUCCESS(status)) names.insert(full.getName());
    }
    return names;
  }();
  return available;
}

std::optional<LocaleConventions> ConventionsFromIcu(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  LocaleConventions c;
  c.name = locale.toLanguageTag<std::string>(status);

  // Numbers in Latin digits, whatever digits the locale writes by default.
  std::unique_ptr<icu::NumberingSystem> latin(icu::NumberingSystem::createInstanceByName("latn", status));
  if (U_FAILURE(status) || !latin) return std::nullopt;
  const icu::DecimalFormatSymbols symbols(locale, *latin, status);
  if (U_FAILURE(status)) return std::nullopt;
  c.decimalSeparator = ConventionText(symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
  c.minusSign = ConventionText(symbols.getSymbol(icu::DecimalFormatSymbols::kMinusSignSymbol));
  c.plusSign = ConventionText(symbols.getSymbol(icu::DecimalFormatSymbols::kPlusSignSymbol));
  if (c.decimalSeparator.empty()) c.decimalSeparator = ".";

  // Dates of the Gregorian calendar, whatever calendar the locale counts in.
  icu::Locale gregorian(locale);
  gregorian.setKeywordValue("calendar", "gregorian", status);
  if (U_FAILURE(status)) return std::nullopt;
  const std::unique_ptr<icu::DateFormat> date(icu::DateFormat::createDateInstance(icu::DateFormat::kShort, gregorian));
  const std::unique_ptr<icu::DateFormat> time(icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, gregorian));
  if (!date || !time) return std::nullopt;
  TakeDatePattern(PatternOf(date.get()), c);
  TakeTimePattern(PatternOf(time.get()), c);

  const icu::DateFormatSymbols dateSymbols(gregorian, status);
  if (U_FAILURE(status)) return std::nullopt;
  int32_t count = 0;
  const icu::UnicodeString* amPm = dateSymbols.getAmPmStrings(count);
  if (count >= 2) {
    c.amWord = std::string(TrimBlanks(ConventionText(amPm[0])));
    c.pmWord = std::string(TrimBlanks(ConventionText(amPm[1])));
  }
  if (c.amWord.empty() || c.pmWord.empty() || text::EqualsNoCase(c.amWord, c.pmWord)) c.twelveHourClock = false;
  return c;
}

const LocaleConventions& DefaultConventions() {
  static const LocaleConventions conventions = FindLocaleConventions("en-US").value_or(LocaleConventions{});
  return conventions;
}

}  // namespace

std::optional<LocaleConventions> FindLocaleConventions(std::string_view sName) {
  std::string tag(TrimBlanks(sName));
  for (char& c : tag) {
    if (c == '_') c = '-';
  }
  if (tag.empty()) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale parsed = icu::Locale::forLanguageTag(tag, status);
  if (U_FAILURE(status) || parsed.isBogus()) return std::nullopt;
  const icu::Locale base(parsed.getBaseName());
  if (base.isBogus() || std::string_view(base.getLanguage()).empty()) return std::nullopt;
  icu::Locale full(base);
  full.addLikelySubtags(status);
  if (U_FAILURE(status) || AvailableLocales().count(full.getName()) == 0) return std::nullopt;
  return ConventionsFromIcu(base);
}

std::shared_ptr<LocaleServices> MakeLocaleServices(std::string_view sName) {
  auto conventions = FindLocaleConventions(sName);
  if (!conventions) return nullptr;
  return std::make_shared<StandardLocaleServices>(std::move(*conventions));
}

StandardLocaleServices::StandardLocaleServices() : conventions_(DefaultConventions()) {}

std::string StandardLocaleServices::LocaleInfo(int lItem) const {
  switch (lItem) {
    case 14:
      return conventions_.decimalSeparator;
    case 29:
      return conventions_.dateSeparator;
    case 30:
      return conventions_.timeSeparator;
    case 92:
      return conventions_.name;
    default:
      return {};
  }
}

std::string StandardLocaleServices::FormatNumber(double dValue, int /*lDigits*/, int /*lLeadingDigit*/) const {
  if (!std::isfinite(dValue)) {
    throw Failure(kUnexpectedFailureNumber, "LocaleServices.FormatNumber", "a number that isn't finite has no text");
  }
  if (dValue == 0.0) return "0";  // also -0
  const double magnitude = std::fabs(dValue);
  const auto format = magnitude >= 1e21 || magnitude < 1e-7 ? std::chars_format::scientific : std::chars_format::fixed;
  std::array<char, 128> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), dValue, format);
  return std::string(buffer.data(), result.ptr);
}

std::optional<double> StandardLocaleServices::TextToNumber(std::string_view sText) const {
  const std::string normalized = Normalized(sText);
  Cursor in(normalized);
  // The text rewritten in the form std::from_chars reads: a decimal point and
  // no "+".
  std::string plain;
  plain.reserve(normalized.size());
  const auto sign = [&] {
    if (in.Char('-') || in.Exact(conventions_.minusSign)) {
      plain += '-';
    } else if (!in.Char('+')) {
      in.Exact(conventions_.plusSign);
    }
  };
  const auto digits = [&] {
    std::size_t n = 0;
    while (const auto digit = in.Digit()) {
      plain += *digit;
      ++n;
    }
    return n;
  };
  sign();
  std::size_t mantissaDigits = digits();
  if (in.Exact(conventions_.decimalSeparator)) {
    plain += '.';
    mantissaDigits += digits();
  }
  if (mantissaDigits == 0) return std::nullopt;
  if (in.Char('e') || in.Char('E')) {
    plain += 'e';
    sign();
    if (digits() == 0) return std::nullopt;
  }
  if (!in.AtEnd()) return std::nullopt;
  double value = 0.0;
  const auto [end, ec] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  // Out of range (1e400, 1e-400) is refused, as the conversion would overflow.
  if (ec != std::errc() || end != plain.data() + plain.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<DateSerial> StandardLocaleServices::TextToDate(std::string_view sText) const {
  const std::string s = Normalized(sText);
  int timeParts = 0;
  if (auto date = ReadDateAndTime(s, conventions_, timeParts)) return date;
  // No date in front: a time alone, on day 0.
  return ReadTimeAlone(s, conventions_, timeParts);
}

std::optional<DateSerial> StandardLocaleServices::TextToTime(std::string_view sText) const {
  const std::string s = Normalized(sText);
  int timeParts = 0;
  auto time = ReadTimeAlone(s, conventions_, timeParts);
  if (time && ReadDateAndTime(s, conventions_, timeParts)) return std::nullopt;
  return time;
}

std::optional<bool> StandardLocaleServices::TextToBoolean(std::string_view sText) const {
  const std::string s = Normalized(sText);
  if (text::EqualsNoCase(s, "True")) return true;
  if (text::EqualsNoCase(s, "False")) return false;
  if (auto number = TextToNumber(s)) return *number != 0.0;
  return std::nullopt;
}

std::string StandardLocaleServices::ShortDateText(DateSerial date) const {
  const CivilDateTime c = date_serial::ToCivil(date);
  const auto part = [](int value, bool twoDigits) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, twoDigits ? "%02d" : "%d", value);
    return std::string(buffer);
  };
  const std::string day = part(c.day, conventions_.shortDateTwoDigitDay);
  const std::string month = part(c.month, conventions_.shortDateTwoDigitMonth);
  char year[16];
  std::snprintf(year, sizeof year, "%04d", c.year);
  const std::string& s1 = conventions_.dateSeparator;
  const std::string& s2 = conventions_.dateSeparator2;
  switch (conventions_.dateOrder) {
    case DateOrder::MonthDayYear:
      return month + s1 + day + s2 + year + conventions_.dateSuffix;
    case DateOrder::DayMonthYear:
      return day + s1 + month + s2 + year + conventions_.dateSuffix;
    case DateOrder::YearMonthDay:
      return year + s1 + month + s2 + day + conventions_.dateSuffix;
  }
  return {};
}

int StandardLocaleServices::TimePartsWritten(std::string_view sText) const {
  const std::string s = Normalized(sText);
  int timeParts = 0;
  if (ReadDateAndTime(s, conventions_, timeParts)) return timeParts;
  if (ReadTimeAlone(s, conventions_, timeParts)) return timeParts;
  // Not a date of the locale: counted as any locale's text is.
  return LocaleServices::TimePartsWritten(sText);
}

}  // namespace vlq::platform
