#include "model/typed_values.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/mod_main.h"

namespace vlq::typed_values {
namespace {

std::optional<long> RealToWhole(double d) {
  if (!std::isfinite(d)) return std::nullopt;
  // Half to even, as the conversion of a real number to a whole one does.
  const double rounded = std::nearbyint(d);
  if (rounded < static_cast<double>(std::numeric_limits<std::int32_t>::min()) ||
      rounded > static_cast<double>(std::numeric_limits<std::int32_t>::max())) {
    return std::nullopt;
  }
  return static_cast<long>(rounded);
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::optional<long> TextToWhole(std::string_view sText) {
  const auto number = modMain::Locale().TextToNumber(sText);
  if (!number) return std::nullopt;
  return RealToWhole(*number);
}

std::optional<long> ValueToWhole(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Whole: {
      const std::int64_t w = value.Whole();
      if (w < std::numeric_limits<std::int32_t>::min() || w > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
      }
      return static_cast<long>(w);
    }
    case Variant::Kind::Real:
      return RealToWhole(value.Real());
    case Variant::Kind::Boolean:
      return value.Boolean() ? -1L : 0L;
    case Variant::Kind::Text:
      return TextToWhole(value.Text());
    default:
      return std::nullopt;
  }
}

std::string ValueText(const Variant& value) {
  switch (value.kind()) {
    case Variant::Kind::Real: {
      std::string text = value.ToText();
      const std::string separator = modMain::Locale().LocaleInfo(14);
      const std::size_t point = text.find('.');
      if (point != std::string::npos && !separator.empty()) text.replace(point, 1, separator);
      return text;
    }
    case Variant::Kind::Date: {
      const DateSerial date = value.Date();
      const bool hasTime = date_serial::HasTimeOfDay(date);
      std::string text;
      // A time of day alone is written without the day it counts from.
      if (!(hasTime && date.serial >= 0.0 && date.serial < 1.0)) text = modMain::Locale().ShortDateText(date);
      if (hasTime) {
        const CivilDateTime c = date_serial::ToCivil(date);
        std::string separator = modMain::Locale().LocaleInfo(30);
        if (separator.empty()) separator = ":";
        // A locale's separator may be a word of several characters.
        const auto twoDigits = [](int n) { return (n < 10 ? "0" : "") + std::to_string(n); };
        if (!text.empty()) text += ' ';
        text += std::to_string(c.hour) + separator + twoDigits(c.minute) + separator + twoDigits(c.second);
      }
      return text;
    }
    default:
      return value.ToText();
  }
}

double LeadingNumber(std::string_view sText) {
  std::string plain;
  plain.reserve(sText.size());
  for (char c : sText) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') plain += c;
  }
  std::size_t i = 0;
  std::string number;
  if (i < plain.size() && (plain[i] == '+' || plain[i] == '-')) {
    if (plain[i] == '-') number += '-';
    ++i;
  }
  std::size_t digits = 0;
  while (i < plain.size() && IsDigit(plain[i])) number += plain[i++], ++digits;
  if (i < plain.size() && plain[i] == '.') {
    number += '.';
    ++i;
    while (i < plain.size() && IsDigit(plain[i])) number += plain[i++], ++digits;
  }
  if (digits == 0) return 0.0;
  if (i < plain.size() && (plain[i] == 'e' || plain[i] == 'E')) {
    std::size_t j = i + 1;
    std::string exponent = "e";
    if (j < plain.size() && (plain[j] == '+' || plain[j] == '-')) {
      if (plain[j] == '-') exponent += '-';
      ++j;
    }
    std::size_t exponentDigits = 0;
    while (j < plain.size() && IsDigit(plain[j])) exponent += plain[j++], ++exponentDigits;
    if (exponentDigits > 0) number += exponent;
  }
  double value = 0.0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (ec != std::errc() || !std::isfinite(value)) return 0.0;
  (void)end;
  return value;
}

std::optional<std::vector<std::int64_t>> DottedWholeNumber(std::string_view sText) {
  while (!sText.empty() && sText.front() == ' ') sText.remove_prefix(1);
  while (!sText.empty() && sText.back() == ' ') sText.remove_suffix(1);
  std::vector<std::int64_t> levels;
  std::size_t i = 0;
  while (true) {
    const std::size_t start = i;
    std::int64_t level = 0;
    while (i < sText.size() && IsDigit(sText[i])) {
      if (i - start == 10) return std::nullopt;
      level = level * 10 + (sText[i++] - '0');
    }
    if (i == start) return std::nullopt;
    levels.push_back(level);
    if (i == sText.size()) return levels;
    if (sText[i] != '.') return std::nullopt;
    ++i;
  }
}

}  // namespace vlq::typed_values
