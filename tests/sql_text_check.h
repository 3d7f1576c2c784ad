#pragma once
// What a test can tell about an SQL statement from its text alone, in every
// dialect the engine writes: a small lexer that knows '...' literals (with ''
// inside), #...# date literals and quoted names ("...", [...], `...`), the
// form problems that no database would accept, and the shape of a statement,
// in which literals and numbers no longer count.
//
//   FormProblems("SELECT ID FROM T WHERE (A = 1 AND)")  -> {"connector AND before )"}
//   Shape("WHERE NAME = 'it''s' AND N > 12")            -> "WHERE NAME = '?' AND N > #"

#include <string>
#include <string_view>
#include <vector>

namespace vlq::test::sqltext {

struct Token {
  enum Kind { kWord, kNumber, kString, kDate, kName, kSymbol };
  Kind kind = kWord;
  std::string text;  // as written; a literal with its quotes
};

// The tokens of a statement. What the lexer can't close (a literal, a quoted
// name) goes to *problem, if given, and ends the list.
std::vector<Token> Lex(std::string_view sql, std::string* problem = nullptr);

// Everything in the text that keeps it from being one well formed statement:
// unbalanced parentheses, an empty "()", a connector with nothing to connect,
// a comparison without its right side, a statement separator or a comment
// outside the literals, an unclosed literal. Empty when none is found.
std::vector<std::string> FormProblems(std::string_view sql);

// The statement with every string and date literal replaced by one
// placeholder, every number (a leading minus sign included) by "#", and the
// tokens joined by single blanks: two statements with the same shape differ
// only in their literals and numbers.
std::string Shape(std::string_view sql);

}  // namespace vlq::test::sqltext
