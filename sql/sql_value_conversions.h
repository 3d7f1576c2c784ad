#pragma once
// Conversions of expression values that the SQL builders share: the no-entry
// word, and values as dates and whole numbers by the locale's rules. A value
// that doesn't convert is an unexpected failure (vlq::Failure): the builder's
// handler logs it and the text built so far is used.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/date_serial.h"
#include "model/variant.h"

namespace vlq::sqlconv {

// The value is the query language's word for a missing value, in any case.
bool IsNoEntry(const Variant& value);

// The value as a date: a date as it is, a number as a date serial, a text by the
// locale's date conversion; nullopt for anything else.
std::optional<DateSerial> AsDate(const Variant& value);
// The same, failing with Failure where there is no date.
DateSerial ToDate(const Variant& value, std::string_view sSource);

// The value as a 32-bit whole number, halves rounded to even; a text by the
// locale's number conversion, empty as 0. Fails with Failure otherwise.
long ToLong(const Variant& value, std::string_view sSource);

// The terms of an In list joined by a connector (with its blanks and line
// break). A long list is written in parenthesised groups of at most 64 terms,
// groups of groups beyond that: a flat chain of thousands of terms is deeper
// than the databases' SQL parsers take. Up to 64 terms the text is the plain
// join.
std::string JoinInTerms(const std::vector<std::string>& terms, std::string_view connector);

}  // namespace vlq::sqlconv
