#include "platform/locale_services.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "model/text_util.h"
#include "services/failure.h"

namespace vlq::platform {
namespace {

using DateOrder = LocaleConventions::DateOrder;

const std::array<LocaleConventions, 4>& LocaleTable() {
  static const std::array<LocaleConventions, 4> table{{
      {"en-US", '.', '/', DateOrder::MonthDayYear, ':', true, false},
      {"en-GB", '.', '/', DateOrder::DayMonthYear, ':', true, true},
      {"de-DE", ',', '.', DateOrder::DayMonthYear, ':', false, true},
      {"fr-FR", ',', '/', DateOrder::DayMonthYear, ':', false, true},
  }};
  return table;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// A reader over the text of a date or time.
class Cursor {
 public:
  explicit Cursor(std::string_view s) : s_(s) {}

  bool AtEnd() const { return pos_ == s_.size(); }

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

  bool Char(char c) {
    if (pos_ < s_.size() && s_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  bool WordNoCase(std::string_view word) {
    if (text::StartsWithNoCase(s_.substr(pos_), word)) {
      pos_ += word.size();
      return true;
    }
    return false;
  }

  std::size_t Blanks() {
    const std::size_t start = pos_;
    while (pos_ < s_.size() && IsBlank(s_[pos_])) ++pos_;
    return pos_ - start;
  }

 private:
  std::string_view s_;
  std::size_t pos_ = 0;
};

// A year of 2 digits is read in the window 1930..2029, as a user who writes
// 1/2/05 means 2005.
int FullYear(int year, std::size_t digits) {
  if (digits == 4) return year;
  return year < 30 ? 2000 + year : 1900 + year;
}

// YYYY-MM-DD, or the locale's own order and separator. On false the cursor
// is left anywhere.
bool ReadDate(Cursor& in, const LocaleConventions& locale, CivilDateTime& out) {
  std::size_t yearDigits = 0;
  if (auto year = in.Digits(4, 4)) {
    if (!in.Char('-')) return false;
    auto month = in.Digits(1, 2);
    if (!month || !in.Char('-')) return false;
    auto day = in.Digits(1, 2);
    if (!day) return false;
    out.year = *year;
    out.month = *month;
    out.day = *day;
    return true;
  }
  auto first = in.Digits(1, 2);
  if (!first || !in.Char(locale.dateSeparator)) return false;
  auto second = in.Digits(1, 2);
  if (!second || !in.Char(locale.dateSeparator)) return false;
  auto year = in.Digits(2, 4, &yearDigits);
  if (!year || yearDigits == 3) return false;
  out.year = FullYear(*year, yearDigits);
  out.month = locale.dateOrder == DateOrder::MonthDayYear ? *first : *second;
  out.day = locale.dateOrder == DateOrder::MonthDayYear ? *second : *first;
  return true;
}

// h:mm, h:mm:ss, and with a 12-hour clock AM or PM behind.
bool ReadTime(Cursor& in, const LocaleConventions& locale, CivilDateTime& out) {
  auto hour = in.Digits(1, 2);
  if (!hour || !in.Char(locale.timeSeparator)) return false;
  auto minute = in.Digits(2, 2);
  if (!minute) return false;
  int second = 0;
  if (in.Char(locale.timeSeparator)) {
    auto s = in.Digits(2, 2);
    if (!s) return false;
    second = *s;
  }
  int h = *hour;
  if (locale.twelveHourClock) {
    Cursor marker = in;
    marker.Blanks();
    const bool am = marker.WordNoCase("AM");
    const bool pm = !am && marker.WordNoCase("PM");
    if (am || pm) {
      if (h < 1 || h > 12) return false;
      h = (h % 12) + (pm ? 12 : 0);
      in = marker;
    }
  }
  out.hour = h;
  out.minute = *minute;
  out.second = second;
  return true;
}

}  // namespace

std::optional<LocaleConventions> FindLocaleConventions(std::string_view sName) {
  std::string wanted(TrimBlanks(sName));
  for (char& c : wanted) {
    if (c == '_') c = '-';
  }
  for (const LocaleConventions& locale : LocaleTable()) {
    if (text::EqualsNoCase(locale.name, wanted)) return locale;
  }
  return std::nullopt;
}

std::shared_ptr<LocaleServices> MakeLocaleServices(std::string_view sName) {
  auto conventions = FindLocaleConventions(sName);
  if (!conventions) return nullptr;
  return std::make_shared<StandardLocaleServices>(std::move(*conventions));
}

std::string StandardLocaleServices::LocaleInfo(int lItem) const {
  switch (lItem) {
    case 14:
      return std::string(1, conventions_.decimalSeparator);
    case 29:
      return std::string(1, conventions_.dateSeparator);
    case 30:
      return std::string(1, conventions_.timeSeparator);
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
  const std::string_view s = TrimBlanks(sText);
  // The text rewritten in the form std::from_chars reads: a decimal point and
  // no "+".
  std::string plain;
  plain.reserve(s.size());
  std::size_t i = 0;
  const auto sign = [&] {
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
      if (s[i] == '-') plain += '-';
      ++i;
    }
  };
  const auto digits = [&] {
    const std::size_t start = i;
    while (i < s.size() && IsDigit(s[i])) plain += s[i++];
    return i - start;
  };
  sign();
  std::size_t mantissaDigits = digits();
  if (i < s.size() && s[i] == conventions_.decimalSeparator) {
    plain += '.';
    ++i;
    mantissaDigits += digits();
  }
  if (mantissaDigits == 0) return std::nullopt;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    plain += 'e';
    ++i;
    sign();
    if (digits() == 0) return std::nullopt;
  }
  if (i != s.size()) return std::nullopt;
  double value = 0.0;
  const auto [end, ec] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  // Out of range (1e400, 1e-400) is refused, as the conversion would overflow.
  if (ec != std::errc() || end != plain.data() + plain.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<DateSerial> StandardLocaleServices::TextToDate(std::string_view sText) const {
  const std::string_view s = TrimBlanks(sText);
  CivilDateTime civil;  // 30 December 1899, 00:00:00
  Cursor in(s);
  if (ReadDate(in, conventions_, civil)) {
    if (!in.AtEnd() && (in.Blanks() == 0 || !ReadTime(in, conventions_, civil))) return std::nullopt;
  } else {
    // No date in front: a time alone, on day 0.
    civil = CivilDateTime{};
    in = Cursor(s);
    if (!ReadTime(in, conventions_, civil)) return std::nullopt;
  }
  if (!in.AtEnd()) return std::nullopt;
  return date_serial::FromCivil(civil);
}

std::optional<DateSerial> StandardLocaleServices::TextToTime(std::string_view sText) const {
  CivilDateTime civil;  // day 0
  Cursor in(TrimBlanks(sText));
  if (!ReadTime(in, conventions_, civil) || !in.AtEnd()) return std::nullopt;
  return date_serial::FromCivil(civil);
}

std::optional<bool> StandardLocaleServices::TextToBoolean(std::string_view sText) const {
  const std::string_view s = TrimBlanks(sText);
  if (text::EqualsNoCase(s, "True")) return true;
  if (text::EqualsNoCase(s, "False")) return false;
  if (auto number = TextToNumber(s)) return *number != 0.0;
  return std::nullopt;
}

std::string StandardLocaleServices::ShortDateText(DateSerial date) const {
  const CivilDateTime c = date_serial::ToCivil(date);
  const bool monthFirst = conventions_.dateOrder == DateOrder::MonthDayYear;
  const int first = monthFirst ? c.month : c.day;
  const int second = monthFirst ? c.day : c.month;
  const char sep = conventions_.dateSeparator;
  char buffer[64];
  if (conventions_.shortDateTwoDigits) {
    std::snprintf(buffer, sizeof buffer, "%02d%c%02d%c%04d", first, sep, second, sep, c.year);
  } else {
    std::snprintf(buffer, sizeof buffer, "%d%c%d%c%04d", first, sep, second, sep, c.year);
  }
  return buffer;
}

}  // namespace vlq::platform
