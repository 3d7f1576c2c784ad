#include "sql_text_check.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace vlq::test::sqltext {
namespace {

bool IsWordStart(char c) {
  const auto u = static_cast<unsigned char>(c);
  return std::isalpha(u) || c == '_' || c == '$' || u >= 0x80;
}
bool IsWordChar(char c) { return IsWordStart(c) || std::isdigit(static_cast<unsigned char>(c)); }
bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

std::string Upper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::toupper(c); });
  return out;
}

// Reads a quoted item from text[at] (the opening character) to its closing
// character; a doubled closing character stands for one. Gives the position
// behind it, or npos when it isn't closed.
std::size_t SkipQuoted(std::string_view text, std::size_t at, char close, bool doubledIsData) {
  for (std::size_t i = at + 1; i < text.size(); ++i) {
    if (text[i] != close) continue;
    if (doubledIsData && i + 1 < text.size() && text[i + 1] == close) {
      ++i;
      continue;
    }
    return i + 1;
  }
  return std::string_view::npos;
}

bool IsOperand(const Token& t) {
  return t.kind == Token::kWord || t.kind == Token::kNumber || t.kind == Token::kString || t.kind == Token::kDate ||
         t.kind == Token::kName || (t.kind == Token::kSymbol && t.text == ")");
}
bool IsLiteral(const Token& t) {
  return t.kind == Token::kNumber || t.kind == Token::kString || t.kind == Token::kDate;
}
bool IsWord(const Token& t, std::string_view word) { return t.kind == Token::kWord && Upper(t.text) == word; }
bool IsSymbol(const Token& t, std::string_view symbol) { return t.kind == Token::kSymbol && t.text == symbol; }
bool IsConnector(const Token& t) { return IsWord(t, "AND") || IsWord(t, "OR"); }
bool IsComparison(const Token& t) {
  static const std::set<std::string, std::less<>> kSigns{"=", "<>", "<", "<=", ">", ">=", "!="};
  return t.kind == Token::kSymbol && kSigns.count(t.text) > 0;
}
// Words that begin a clause: nothing that a connector or a comparison waits
// for can be one of them.
bool IsClauseWord(const Token& t) {
  static const std::set<std::string, std::less<>> kWords{"FROM",   "WHERE", "ORDER",  "GROUP",
                                                         "HAVING", "UNION", "VALUES", "INTO"};
  return t.kind == Token::kWord && kWords.count(Upper(t.text)) > 0;
}
// Calls without arguments that a dialect may write.
bool IsNoArgumentFunction(const Token& t) {
  static const std::set<std::string, std::less<>> kWords{"NOW",        "GETDATE", "SYSDATE", "CURRENT_TIMESTAMP",
                                                         "ROW_NUMBER", "RAND",    "RANDOM",  "NEWID"};
  return t.kind == Token::kWord && kWords.count(Upper(t.text)) > 0;
}

}  // namespace

std::vector<Token> Lex(std::string_view sql, std::string* problem) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  const auto fail = [&](std::string what) {
    if (problem) *problem = std::move(what);
    return tokens;
  };
  while (i < sql.size()) {
    const char c = sql[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
      continue;
    }
    const std::size_t start = i;
    Token token;
    if (c == '\'' || c == '"' || c == '`' || c == '[' || c == '#') {
      const char close = c == '[' ? ']' : c;
      const std::size_t end = SkipQuoted(sql, i, close, c != '#');
      if (end == std::string_view::npos) {
        return fail(std::string("unclosed ") + c + " from offset " + std::to_string(start));
      }
      token.kind = c == '\'' ? Token::kString : c == '#' ? Token::kDate : Token::kName;
      i = end;
    } else if (IsDigit(c) || (c == '.' && i + 1 < sql.size() && IsDigit(sql[i + 1]))) {
      token.kind = Token::kNumber;
      while (i < sql.size() && IsDigit(sql[i])) ++i;
      if (i < sql.size() && sql[i] == '.') {
        ++i;
        while (i < sql.size() && IsDigit(sql[i])) ++i;
      }
      if (i < sql.size() && (sql[i] == 'e' || sql[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < sql.size() && (sql[j] == '+' || sql[j] == '-')) ++j;
        if (j < sql.size() && IsDigit(sql[j])) {
          i = j;
          while (i < sql.size() && IsDigit(sql[i])) ++i;
        }
      }
      // "1abc" is no number and no name of any dialect: keep it as one word.
      if (i < sql.size() && IsWordStart(sql[i])) {
        token.kind = Token::kWord;
        while (i < sql.size() && IsWordChar(sql[i])) ++i;
      }
    } else if (IsWordStart(c)) {
      token.kind = Token::kWord;
      while (i < sql.size() && IsWordChar(sql[i])) ++i;
    } else {
      token.kind = Token::kSymbol;
      static const char* const kPairs[] = {"<>", "<=", ">=", "!=", "||", "--", "/*", "*/"};
      i += 1;
      for (const char* pair : kPairs) {
        if (sql.substr(start, 2) == pair) {
          i = start + 2;
          break;
        }
      }
    }
    token.text = std::string(sql.substr(start, i - start));
    tokens.push_back(std::move(token));
  }
  return tokens;
}

std::vector<std::string> FormProblems(std::string_view sql) {
  std::vector<std::string> problems;
  std::string lexProblem;
  const std::vector<Token> t = Lex(sql, &lexProblem);
  if (!lexProblem.empty()) problems.push_back(lexProblem);
  if (t.empty()) {
    problems.push_back("empty statement");
    return problems;
  }
  long depth = 0;
  const auto at = [&](std::size_t k) -> const Token* { return k < t.size() ? &t[k] : nullptr; };
  for (std::size_t k = 0; k < t.size(); ++k) {
    const Token& cur = t[k];
    const Token* prev = k > 0 ? &t[k - 1] : nullptr;
    const Token* next = at(k + 1);
    const bool nextEnds = !next || IsSymbol(*next, ")") || IsSymbol(*next, ",") || IsClauseWord(*next);
    if (IsSymbol(cur, ";")) problems.push_back("statement separator ; outside a literal");
    if (IsSymbol(cur, "--") || IsSymbol(cur, "/*") || IsSymbol(cur, "*/")) {
      problems.push_back("comment mark " + cur.text + " outside a literal");
    }
    if (IsSymbol(cur, "(")) {
      ++depth;
      if (next && IsSymbol(*next, ")") && !(prev && IsNoArgumentFunction(*prev))) {
        problems.push_back("empty ()" + (prev ? " behind " + prev->text : std::string()));
      }
    }
    if (IsSymbol(cur, ")") && --depth < 0) {
      problems.push_back("unbalanced ) at token " + std::to_string(k));
      depth = 0;
    }
    if (IsConnector(cur)) {
      const std::string word = Upper(cur.text);
      if (!prev || IsSymbol(*prev, "(") || IsSymbol(*prev, ",") || IsConnector(*prev) || IsWord(*prev, "WHERE")) {
        problems.push_back("connector " + word + " without a left side");
      }
      if (nextEnds) {
        problems.push_back("connector " + word + (next ? " before " + next->text : std::string(" at the end")));
      }
    }
    if (IsWord(cur, "NOT") && (nextEnds || IsConnector(*next))) {
      problems.push_back(std::string("NOT ") + (next ? "before " + next->text : "at the end"));
    }
    if (IsWord(cur, "WHERE") && (nextEnds || IsConnector(*next))) problems.push_back("empty WHERE");
    if (IsComparison(cur)) {
      if (nextEnds || IsConnector(*next)) problems.push_back("comparison " + cur.text + " without a right side");
      if (!prev || !IsOperand(*prev)) problems.push_back("comparison " + cur.text + " without a left side");
    }
    if (IsSymbol(cur, ",") &&
        (!next || IsSymbol(*next, ")") || IsSymbol(*next, ",") || !prev || IsSymbol(*prev, "("))) {
      problems.push_back("empty item in a list");
    }
    if (IsLiteral(cur) && next && IsLiteral(*next)) {
      problems.push_back("two literals in a row: " + cur.text + " " + next->text);
    }
  }
  if (depth > 0) problems.push_back(std::to_string(depth) + " unclosed (");
  return problems;
}

std::string Shape(std::string_view sql) {
  std::string problem;
  const std::vector<Token> tokens = Lex(sql, &problem);
  std::string out;
  for (std::size_t k = 0; k < tokens.size(); ++k) {
    const Token& cur = tokens[k];
    std::string piece;
    if (cur.kind == Token::kString) {
      piece = "'?'";
    } else if (cur.kind == Token::kDate) {
      piece = "#?#";
    } else if (cur.kind == Token::kNumber) {
      piece = "#";
    } else if (IsSymbol(cur, "-") && k + 1 < tokens.size() && tokens[k + 1].kind == Token::kNumber &&
               (k == 0 || !IsOperand(tokens[k - 1]))) {
      piece = "#";
      ++k;
    } else {
      piece = cur.text;
    }
    if (!out.empty()) out += ' ';
    out += piece;
  }
  // A statement that doesn't lex keeps its unread rest, so that it differs
  // from every statement that does.
  if (!problem.empty()) out += " <" + problem + ">";
  return out;
}

}  // namespace vlq::test::sqltext
