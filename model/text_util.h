#pragma once
// Small text helpers shared by every subsystem: comparison of names without
// regard to case, ASCII capitals for SQL text, trimming of blanks, and the
// numeric test of the engine's keys.

#include <string>
#include <string_view>

namespace vlq::text {

// ---- Names, compared without regard to case ------------------------------------
//
// Names in a query (section keywords, type prefixes, GUIDs, attribute labels,
// list items, users, groups, documents) compare by full Unicode case folding:
// "GRÖSSE" equals "Größe", "ÄR" equals "är", "STRAẞE" equals "strasse". Texts
// are UTF-8. A byte that doesn't belong to a well-formed UTF-8 character is a
// character of its own that equals only itself, so every text compares, and
// compares the same way in each of these operations.

// The folded form of s: equal for exactly the texts that EqualsNoCase takes as
// equal. Use it as the key of a map; it isn't text to show.
std::string Fold(std::string_view s);
bool EqualsNoCase(std::string_view a, std::string_view b);
// Whether s begins with whole characters whose folded form is that of prefix.
// *matchLength (when given) receives how many bytes of s they take, which
// differs from prefix.size() where folding changes the length ("ſ" is "s").
bool StartsWithNoCase(std::string_view s, std::string_view prefix, std::size_t* matchLength = nullptr);
// The byte position of the first match of needle in hay at or after from, or
// npos; a match starts and ends on character boundaries of hay. *matchLength
// (when given) receives the bytes of hay that the match takes. It reads hay
// from `from` only as far as the match, at each character it passes comparing
// no more than the needle; ASCII characters take the quick way of a byte
// search.
std::size_t FindNoCase(std::string_view hay, std::string_view needle, std::size_t from = 0,
                       std::size_t* matchLength = nullptr);

// ---- SQL text: ASCII capitals ------------------------------------------------------
//
// The capitals the engine writes into SQL (a tag, a value compared with a
// column in capitals, catalogue names, the path of an external database),
// where the database's own rules compare: a to z in capitals, every other byte
// as it is, the form that the store's case-blind comparisons (SQLite's NOCASE
// and LIKE know the ASCII letters only) meet. Never the way to compare two
// names.
char UpperAscii(char c);
std::string Upper(std::string_view s);
// ASCII case only, as SQL words and the database's functions compare text.
bool EqualsNoCaseAscii(std::string_view a, std::string_view b);
std::size_t FindNoCaseAscii(std::string_view hay, std::string_view needle, std::size_t from = 0);

// Trimming removes blanks (spaces) only, at both ends.
std::string_view TrimView(std::string_view s);
std::string Trim(std::string_view s);
std::string_view TrimLeftView(std::string_view s);

// A decimal whole number with an optional sign and nothing else: the form of
// keys in a query.
bool IsDecimalWhole(std::string_view s);

}  // namespace vlq::text
