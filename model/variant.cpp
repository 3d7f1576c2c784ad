#include "model/variant.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace vlq {

std::int64_t Variant::Whole() const {
  if (const auto* v = std::get_if<std::int64_t>(&value_)) return *v;
  return 0;
}

double Variant::Real() const {
  if (const auto* v = std::get_if<double>(&value_)) return *v;
  if (const auto* v = std::get_if<std::int64_t>(&value_)) return static_cast<double>(*v);
  return 0.0;
}

DateSerial Variant::Date() const {
  if (const auto* v = std::get_if<DateSerial>(&value_)) return *v;
  return {};
}

bool Variant::Boolean() const {
  if (const auto* v = std::get_if<bool>(&value_)) return *v;
  return false;
}

const std::string& Variant::Text() const {
  static const std::string kEmpty;
  if (const auto* v = std::get_if<std::string>(&value_)) return *v;
  return kEmpty;
}

std::string Variant::ToText() const {
  switch (kind()) {
    case Kind::Empty:
    case Kind::Null:
      return {};
    case Kind::Whole:
      return std::to_string(Whole());
    case Kind::Real: {
      const double d = Real();
      if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 1e15) {
        return std::to_string(static_cast<std::int64_t>(d));
      }
      // The shortest text that reads back to the same number.
      char buffer[64];
      auto result = std::to_chars(buffer, buffer + sizeof buffer, d);
      return std::string(buffer, result.ptr);
    }
    case Kind::Date: {
      const CivilDateTime c = date_serial::ToCivil(Date());
      char buffer[64];
      if (date_serial::HasTimeOfDay(Date())) {
        std::snprintf(buffer, sizeof buffer, "%d/%d/%04d %02d:%02d:%02d", c.month, c.day, c.year, c.hour,
                      c.minute, c.second);
      } else {
        std::snprintf(buffer, sizeof buffer, "%d/%d/%04d", c.month, c.day, c.year);
      }
      return buffer;
    }
    case Kind::Boolean:
      return Boolean() ? "True" : "False";
    case Kind::Text:
      return Text();
  }
  return {};
}

}  // namespace vlq
