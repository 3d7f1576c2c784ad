#pragma once
// Conversions of expression values shared by the typed query model: a value as
// a whole number, a value as the text a user of the locale writes (and the
// locale reads back), and the leading number of a text.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/variant.h"

namespace vlq::typed_values {

// The text as a 32-bit whole number by the locale's numeric conversion, a
// fraction rounded half to even; nullopt when the text isn't numeric or the
// number doesn't fit.
std::optional<long> TextToWhole(std::string_view sText);

// A value as a 32-bit whole number: whole numbers as they are, real numbers
// rounded half to even, booleans as -1 and 0, texts by TextToWhole; nullopt
// for anything else or a number that doesn't fit.
std::optional<long> ValueToWhole(const Variant& value);

// A value as the locale writes it, so that the locale's conversions read it
// back: real numbers with the locale's decimal separator, dates in the
// locale's short date form with the time of day behind when there is one.
std::string ValueText(const Variant& value);

// The value of the longest start of the text that reads as a number, blanks
// passed over, with a decimal point; 0 when there is none: "2x" gives 2.
double LeadingNumber(std::string_view sText);

// The levels of a dotted whole number such as 2.1.3, each 1 to 10 digits
// (the width of a level of a tag number), blanks around the whole allowed;
// nullopt for any other text.
std::optional<std::vector<std::int64_t>> DottedWholeNumber(std::string_view sText);

}  // namespace vlq::typed_values
