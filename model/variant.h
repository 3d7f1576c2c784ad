#pragma once
// The variant value of the engine: what a parsed or typed expression value, a
// token's text and a result cell hold. It is empty, null, a whole number, a real
// number, a date, a boolean or a text; object references live elsewhere (a Token
// holds its object beside its text).

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "model/date_serial.h"

namespace vlq {

class Variant {
 public:
  enum class Kind { Empty, Null, Whole, Real, Date, Boolean, Text };

  Variant() = default;
  Variant(int value) : value_(static_cast<std::int64_t>(value)) {}
  Variant(long value) : value_(static_cast<std::int64_t>(value)) {}
  Variant(long long value) : value_(static_cast<std::int64_t>(value)) {}
  Variant(double value) : value_(value) {}
  Variant(DateSerial value) : value_(value) {}
  Variant(bool value) : value_(value) {}
  Variant(std::string value) : value_(std::move(value)) {}
  Variant(std::string_view value) : value_(std::string(value)) {}
  Variant(const char* value) : value_(std::string(value)) {}

  static Variant Null() {
    Variant v;
    v.value_ = NullTag{};
    return v;
  }

  Kind kind() const { return static_cast<Kind>(value_.index()); }
  bool IsEmpty() const { return kind() == Kind::Empty; }
  bool IsNull() const { return kind() == Kind::Null; }
  bool IsWhole() const { return kind() == Kind::Whole; }
  bool IsReal() const { return kind() == Kind::Real; }
  bool IsDate() const { return kind() == Kind::Date; }
  bool IsBoolean() const { return kind() == Kind::Boolean; }
  bool IsText() const { return kind() == Kind::Text; }
  bool IsNumber() const { return IsWhole() || IsReal(); }

  // Accessors for a value of the kind asked for; anything else gives the
  // kind's zero value, never a failure.
  std::int64_t Whole() const;
  double Real() const;  // a whole number is widened
  DateSerial Date() const;
  bool Boolean() const;
  const std::string& Text() const;

  // The value as text, as a query would write it: whole and real numbers in
  // plain decimal with a point, booleans as "True"/"False", dates as
  // M/D/YYYY with the time of day when it has one, empty and null as "".
  std::string ToText() const;

  friend bool operator==(const Variant&, const Variant&) = default;

 private:
  struct EmptyTag {
    friend bool operator==(EmptyTag, EmptyTag) = default;
  };
  struct NullTag {
    friend bool operator==(NullTag, NullTag) = default;
  };
  std::variant<EmptyTag, NullTag, std::int64_t, double, DateSerial, bool, std::string> value_;
};

// Rows of a result set, column-major: Rows[column][row], both from 0.
using Rows = std::vector<std::vector<Variant>>;

}  // namespace vlq
