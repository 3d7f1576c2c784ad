#pragma once
// Small text helpers shared by every subsystem: ASCII case folding, trimming
// of blanks, and the numeric test of the engine's keys.

#include <string>
#include <string_view>

namespace vlq::text {

char UpperAscii(char c);
std::string Upper(std::string_view s);
bool EqualsNoCase(std::string_view a, std::string_view b);
// Position (from 0) of the first occurrence of needle in hay, both compared in
// upper case; npos when there is none.
std::size_t FindNoCase(std::string_view hay, std::string_view needle, std::size_t from = 0);
bool StartsWithNoCase(std::string_view s, std::string_view prefix);

// Trimming removes blanks (spaces) only, at both ends.
std::string_view TrimView(std::string_view s);
std::string Trim(std::string_view s);
std::string_view TrimLeftView(std::string_view s);

// A decimal whole number with an optional sign and nothing else: the form of
// keys in a query.
bool IsDecimalWhole(std::string_view s);

}  // namespace vlq::text
