#include "platform/jet_dialect.h"

#include <sqlite3.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "model/date_serial.h"
#include "model/text_util.h"
#include "services/failure.h"

namespace vlq::platform::jet {
namespace {

constexpr const char* kRewriteSource = "JetDialect.Rewrite";

// ---- Tokens ----------------------------------------------------------------------
//
// The rewrite works on a token list of the whole statement. Every token keeps
// its source text; a rewrite sets a replacement or a prefix, and the output is
// the concatenation of all tokens, so that blanks and line breaks stay as the
// engine wrote them.

enum class TokKind { Space, Comment, String, QuotedId, Word, Number, Date, Punct };

struct Tok {
  TokKind kind;
  std::string_view text;
  std::optional<std::string> replacement;
  std::string prefix;
};

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsWordStart(char c) { return IsAlpha(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80; }
bool IsWordChar(char c) { return IsWordStart(c) || IsDigit(c) || c == '$'; }

// End of a quoted run that opens at i with `open` and closes with `close`; a
// doubled closing character inside stands for itself. An unterminated run
// ends with the text (SQLite then reports it).
std::size_t QuotedEnd(std::string_view s, std::size_t i, char close) {
  std::size_t j = i + 1;
  while (j < s.size()) {
    if (s[j] == close) {
      if (j + 1 < s.size() && s[j + 1] == close && close != ']') {
        j += 2;
        continue;
      }
      return j + 1;
    }
    ++j;
  }
  return s.size();
}

std::vector<Tok> Tokenize(std::string_view s) {
  std::vector<Tok> toks;
  std::size_t i = 0;
  const std::size_t n = s.size();
  auto push = [&](TokKind kind, std::size_t end) {
    toks.push_back(Tok{kind, s.substr(i, end - i), std::nullopt, {}});
    i = end;
  };
  while (i < n) {
    const char c = s[i];
    if (IsSpace(c)) {
      std::size_t j = i;
      while (j < n && IsSpace(s[j])) ++j;
      push(TokKind::Space, j);
    } else if (c == '-' && i + 1 < n && s[i + 1] == '-') {
      std::size_t j = s.find('\n', i);
      push(TokKind::Comment, j == std::string_view::npos ? n : j);
    } else if (c == '/' && i + 1 < n && s[i + 1] == '*') {
      std::size_t j = s.find("*/", i + 2);
      push(TokKind::Comment, j == std::string_view::npos ? n : j + 2);
    } else if (c == '\'') {
      push(TokKind::String, QuotedEnd(s, i, '\''));
    } else if (c == '"') {
      push(TokKind::QuotedId, QuotedEnd(s, i, '"'));
    } else if (c == '`') {
      push(TokKind::QuotedId, QuotedEnd(s, i, '`'));
    } else if (c == '[') {
      push(TokKind::QuotedId, QuotedEnd(s, i, ']'));
    } else if (IsWordStart(c)) {
      std::size_t j = i;
      while (j < n && IsWordChar(s[j])) ++j;
      push(TokKind::Word, j);
    } else if (IsDigit(c) || (c == '.' && i + 1 < n && IsDigit(s[i + 1]))) {
      std::size_t j = i;
      while (j < n) {
        if (IsWordChar(s[j]) || s[j] == '.') {
          ++j;
        } else if ((s[j] == '+' || s[j] == '-') && (s[j - 1] == 'e' || s[j - 1] == 'E') && j + 1 < n &&
                   IsDigit(s[j + 1])) {
          ++j;
        } else {
          break;
        }
      }
      push(TokKind::Number, j);
    } else if (c == '#') {
      // A date literal is #...# on one line whose content reads as a date;
      // anything else is a lone "#" that SQLite will refuse.
      std::size_t j = i + 1;
      while (j < n && j - i < 48 && s[j] != '#' && s[j] != '\n') ++j;
      std::optional<std::string> iso;
      if (j < n && s[j] == '#') iso = DateLiteralToIso(s.substr(i + 1, j - i - 1));
      if (iso) {
        push(TokKind::Date, j + 1);
        toks.back().replacement = "'" + *iso + "'";
      } else {
        push(TokKind::Punct, i + 1);
      }
    } else {
      push(TokKind::Punct, i + 1);
    }
  }
  return toks;
}

bool Significant(const Tok& t) { return t.kind != TokKind::Space && t.kind != TokKind::Comment; }
bool IsPunct(const Tok& t, char c) { return t.kind == TokKind::Punct && t.text.size() == 1 && t.text[0] == c; }
bool IsWord(const Tok& t, std::string_view word) {
  return t.kind == TokKind::Word && text::EqualsNoCaseAscii(t.text, word);
}

// Index of the next (or previous) significant token, or npos.
std::size_t NextSig(const std::vector<Tok>& toks, std::size_t i) {
  for (std::size_t j = i + 1; j < toks.size(); ++j) {
    if (Significant(toks[j])) return j;
  }
  return std::string_view::npos;
}
std::size_t PrevSig(const std::vector<Tok>& toks, std::size_t i) {
  for (std::size_t j = i; j-- > 0;) {
    if (Significant(toks[j])) return j;
  }
  return std::string_view::npos;
}

// The token that closes the parenthesis opened at i; the last token when it
// isn't closed.
std::size_t MatchingParen(const std::vector<Tok>& toks, std::size_t i) {
  int depth = 0;
  for (std::size_t j = i; j < toks.size(); ++j) {
    if (IsPunct(toks[j], '(')) ++depth;
    if (IsPunct(toks[j], ')') && --depth == 0) return j;
  }
  return toks.size() - 1;
}

// ---- Function names and operators ------------------------------------------------

constexpr std::array<std::string_view, 12> kJetFunctions = {
    "ISNULL", "ISNUMERIC", "CLNG", "CDBL", "CDATE", "CSTR", "VAL", "MID", "LEN", "LEFT", "STRING", "INSTR"};

bool IsJetFunction(std::string_view word) {
  for (std::string_view f : kJetFunctions) {
    if (text::EqualsNoCaseAscii(word, f)) return true;
  }
  return false;
}

void RewriteOperatorsAndCalls(std::vector<Tok>& toks) {
  for (std::size_t i = 0; i < toks.size(); ++i) {
    Tok& t = toks[i];
    if (IsPunct(t, '&')) {
      t.replacement = "||";
    } else if (IsPunct(t, '\\')) {
      t.replacement = "/";
    } else if (t.kind == TokKind::Word) {
      // A word behind a "." is a column or table name, never an operator or a
      // function of the dialect.
      const std::size_t prev = PrevSig(toks, i);
      if (prev != std::string_view::npos && IsPunct(toks[prev], '.')) continue;
      if (IsWord(t, "MOD")) {
        t.replacement = "%";
        continue;
      }
      const std::size_t next = NextSig(toks, i);
      if (next != std::string_view::npos && IsPunct(toks[next], '(') && IsJetFunction(t.text)) {
        t.replacement = "JET_" + text::Upper(t.text);
      }
    }
  }
}

// ---- Disjunctions of one column ------------------------------------------------
//
// The engine writes a list criterion with several items as a parenthesised
// disjunction "(V.LISTITEMID= 34 OR V.LISTITEMID= 35)" on the right side of an
// outer join of the attribute's view. SQLite (3.40) doesn't see that such a
// disjunction is false for the outer join's NULL row: it keeps the join outer,
// may not merge the view into the query and materialises the whole view for
// it. The group gets a companion term that SQLite does see through,
// "((...) AND V.LISTITEMID = V.LISTITEMID)". The value is the same in every
// context: for a NULL column both forms are NULL, otherwise the companion
// term is true.

// End of a column reference (name, or names joined by dots) that starts at i;
// npos when none starts there. `ref` gets its text without blanks.
std::size_t ColumnRefEnd(const std::vector<Tok>& toks, std::size_t i, std::string& ref) {
  ref.clear();
  std::size_t j = i;
  while (j != std::string_view::npos && j < toks.size() &&
         (toks[j].kind == TokKind::Word || toks[j].kind == TokKind::QuotedId)) {
    if (toks[j].kind == TokKind::Word && (IsWord(toks[j], "OR") || IsWord(toks[j], "AND") || IsWord(toks[j], "NOT")))
      break;
    ref += toks[j].text;
    const std::size_t dot = NextSig(toks, j);
    if (dot == std::string_view::npos || !IsPunct(toks[dot], '.')) return ref.empty() ? std::string_view::npos : dot;
    ref += '.';
    j = NextSig(toks, dot);
  }
  return std::string_view::npos;
}

// After "ref = literal" starting at i: the next significant token, npos when
// the tokens there aren't that form.
std::size_t EqualityEnd(const std::vector<Tok>& toks, std::size_t i, std::string& ref) {
  const std::size_t eq = ColumnRefEnd(toks, i, ref);
  if (eq == std::string_view::npos || !IsPunct(toks[eq], '=')) return std::string_view::npos;
  const std::size_t lit = NextSig(toks, eq);
  if (lit == std::string_view::npos || (toks[lit].kind != TokKind::Number && toks[lit].kind != TokKind::String))
    return std::string_view::npos;
  return NextSig(toks, lit);
}

void MarkColumnDisjunctions(std::vector<Tok>& toks) {
  std::string first;
  std::string other;
  for (std::size_t open = 0; open < toks.size(); ++open) {
    if (!IsPunct(toks[open], '(')) continue;
    const std::size_t start = NextSig(toks, open);
    if (start == std::string_view::npos) break;
    std::size_t at = EqualityEnd(toks, start, first);
    int terms = 1;
    while (at != std::string_view::npos && IsWord(toks[at], "OR")) {
      const std::size_t next = NextSig(toks, at);
      at = next == std::string_view::npos ? next : EqualityEnd(toks, next, other);
      if (at == std::string_view::npos || other != first) {
        at = std::string_view::npos;
        break;
      }
      ++terms;
    }
    if (at == std::string_view::npos || terms < 2 || !IsPunct(toks[at], ')')) continue;
    toks[open].prefix += "(";
    toks[at].prefix += ") AND " + first + " = " + first;
    open = at;
  }
}

// ---- External databases -------------------------------------------------------

std::string Unquote(std::string_view quoted) {
  if (quoted.size() < 2) return {};
  const char q = quoted.front();
  std::string out;
  for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
    out += quoted[i];
    if (quoted[i] == q && quoted[i + 1] == q) ++i;
  }
  return out;
}

[[noreturn]] void RefuseClause(std::string_view why, std::string_view clause) {
  throw Failure(SQLITE_ERROR, kRewriteSource, std::string(why) + ": IN " + std::string(clause));
}

// The FROM keyword whose clause holds the external-database clause at inClause:
// the nearest FROM in front of it on the same parenthesis level.
std::size_t FindOwningFrom(const std::vector<Tok>& toks, std::size_t inClause, std::string_view clause) {
  static constexpr std::array<std::string_view, 9> kClauseWords = {
      "SELECT", "WHERE", "GROUP", "HAVING", "ORDER", "UNION", "SET", "VALUES", "INTO"};
  int depth = 0;
  for (std::size_t j = inClause; j-- > 0;) {
    const Tok& t = toks[j];
    if (!Significant(t)) continue;
    if (IsPunct(t, ')')) {
      ++depth;
    } else if (IsPunct(t, '(')) {
      if (depth == 0) break;
      --depth;
    } else if (depth == 0 && t.kind == TokKind::Word) {
      if (IsWord(t, "FROM")) return j;
      for (std::string_view w : kClauseWords) {
        if (IsWord(t, w)) RefuseClause("An external database clause must close a FROM clause", clause);
      }
    }
  }
  RefuseClause("An external database clause must close a FROM clause", clause);
}

// Qualifies the table names of the FROM clause between from and end with the
// schema: the names behind FROM, behind JOIN and behind the commas of the table
// list, also inside parenthesised joins. Subqueries keep their own names, and
// so do names that carry a schema already.
void QualifyTables(std::vector<Tok>& toks, std::size_t from, std::size_t end, const std::string& schema) {
  std::vector<char> parens;  // 'g' a group of joins, 'e' an expression
  bool expectTable = true;
  for (std::size_t i = from + 1; i < end; ++i) {
    Tok& t = toks[i];
    if (!Significant(t)) continue;
    if (IsPunct(t, '(')) {
      const std::size_t next = NextSig(toks, i);
      if (next != std::string_view::npos && next < end &&
          (IsWord(toks[next], "SELECT") || IsWord(toks[next], "WITH") || IsWord(toks[next], "VALUES"))) {
        i = MatchingParen(toks, i);
        expectTable = false;
        continue;
      }
      parens.push_back(expectTable ? 'g' : 'e');
    } else if (IsPunct(t, ')')) {
      if (!parens.empty()) parens.pop_back();
      expectTable = false;
    } else if (IsPunct(t, ',')) {
      if (parens.empty() || parens.back() == 'g') expectTable = true;
    } else if (IsWord(t, "JOIN")) {
      expectTable = true;
    } else if (IsWord(t, "ON") || IsWord(t, "USING")) {
      expectTable = false;
    } else if (expectTable && (t.kind == TokKind::Word || t.kind == TokKind::QuotedId)) {
      const std::size_t next = NextSig(toks, i);
      const bool qualified = next != std::string_view::npos && IsPunct(toks[next], '.');
      if (!qualified) t.prefix = schema + ".";
      expectTable = false;
    } else {
      expectTable = false;
    }
  }
}

void RewriteExternalDatabases(std::vector<Tok>& toks, const ExternalResolver& resolver) {
  for (std::size_t i = 0; i < toks.size(); ++i) {
    if (!IsWord(toks[i], "IN")) continue;
    const std::size_t prev = PrevSig(toks, i);
    if (prev != std::string_view::npos && IsPunct(toks[prev], '.')) continue;
    const std::size_t lit = NextSig(toks, i);
    if (lit == std::string_view::npos) continue;
    const bool quoted = toks[lit].kind == TokKind::String ||
                        (toks[lit].kind == TokKind::QuotedId && toks[lit].text.front() == '"');
    if (!quoted) continue;
    const std::string_view clause = toks[lit].text;
    const std::string path = Unquote(clause);
    if (text::TrimView(path).empty()) RefuseClause("An external database clause needs a file path", clause);
    if (!resolver) RefuseClause("No external database can be reached from here", clause);
    const std::size_t from = FindOwningFrom(toks, i, clause);
    const std::string schema = resolver(path);
    if (!schema.empty()) QualifyTables(toks, from, i, schema);
    toks[i].replacement = std::string();
    toks[lit].replacement = std::string();
    i = lit;
  }
}

// ---- Dates ------------------------------------------------------------------------

struct Scanner {
  std::string_view s;
  std::size_t i = 0;
  void SkipBlanks() {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
  }
  bool AtEnd() const { return i >= s.size(); }
  // Up to maxDigits digits; the count read goes to digits.
  std::optional<int> Number(int maxDigits, int& digits) {
    int v = 0;
    digits = 0;
    while (i < s.size() && IsDigit(s[i]) && digits < maxDigits) {
      v = v * 10 + (s[i] - '0');
      ++i;
      ++digits;
    }
    if (digits == 0) return std::nullopt;
    return v;
  }
  bool Eat(char c) {
    if (i < s.size() && s[i] == c) {
      ++i;
      return true;
    }
    return false;
  }
};

// Reads h:mm[:ss] [AM|PM] into c.
bool ReadTime(Scanner& sc, CivilDateTime& c) {
  int digits = 0;
  auto h = sc.Number(2, digits);
  if (!h || !sc.Eat(':')) return false;
  auto m = sc.Number(2, digits);
  if (!m || digits != 2) return false;
  int sec = 0;
  if (sc.Eat(':')) {
    auto sv = sc.Number(2, digits);
    if (!sv || digits != 2) return false;
    sec = *sv;
  }
  int hour = *h;
  sc.SkipBlanks();
  if (!sc.AtEnd()) {
    std::string_view rest = sc.s.substr(sc.i);
    if (text::EqualsNoCaseAscii(rest, "AM") || text::EqualsNoCaseAscii(rest, "PM")) {
      if (hour < 1 || hour > 12) return false;
      const bool pm = text::EqualsNoCaseAscii(rest, "PM");
      hour = hour % 12 + (pm ? 12 : 0);
      sc.i = sc.s.size();
    }
  }
  c.hour = hour;
  c.minute = *m;
  c.second = sec;
  return c.hour <= 23 && c.minute <= 59 && c.second <= 59;
}

int ExpandYear(int year, int digits) {
  if (digits <= 2) return year < 30 ? 2000 + year : 1900 + year;
  return year;
}

std::optional<CivilDateTime> ParseDateText(std::string_view raw) {
  Scanner sc{text::TrimView(raw)};
  while (!sc.s.empty() && IsSpace(sc.s.back())) sc.s.remove_suffix(1);
  if (sc.s.empty()) return std::nullopt;
  CivilDateTime c;  // 1899-12-30 00:00:00
  // A bare time of day.
  {
    Scanner probe = sc;
    int digits = 0;
    if (probe.Number(2, digits) && probe.Eat(':')) {
      if (!ReadTime(sc, c) || !sc.AtEnd()) return std::nullopt;
      return c;
    }
  }
  int d1 = 0, d2 = 0, d3 = 0;
  auto a = sc.Number(4, d1);
  if (!a || sc.AtEnd()) return std::nullopt;
  const char sep = sc.s[sc.i];
  if (sep != '-' && sep != '/') return std::nullopt;
  ++sc.i;
  auto b = sc.Number(2, d2);
  if (!b || !sc.Eat(sep)) return std::nullopt;
  auto y = sc.Number(4, d3);
  if (!y) return std::nullopt;
  if (d1 == 4) {  // yyyy-mm-dd
    if (d3 > 2) return std::nullopt;
    c.year = *a;
    c.month = *b;
    c.day = *y;
  } else {  // m-d-yyyy, the order of the engine's literals
    if (d1 > 2) return std::nullopt;
    c.month = *a;
    c.day = *b;
    c.year = ExpandYear(*y, d3);
  }
  if (!date_serial::IsValidCivilDate(c.year, c.month, c.day)) return std::nullopt;
  if (!sc.AtEnd()) {
    if (sc.s[sc.i] != ' ' && sc.s[sc.i] != 'T') return std::nullopt;
    ++sc.i;
    sc.SkipBlanks();
    if (!ReadTime(sc, c) || !sc.AtEnd()) return std::nullopt;
  }
  return c;
}

std::string IsoText(const CivilDateTime& c) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", c.year, c.month, c.day, c.hour, c.minute,
                c.second);
  return buf;
}

// ---- Values of the functions -------------------------------------------------------

// A number as Jet reads one from text: blanks around, a sign, digits with one
// decimal point, an exponent.
std::optional<double> ParseNumber(std::string_view s) {
  while (!s.empty() && IsSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsSpace(s.back())) s.remove_suffix(1);
  if (s.empty()) return std::nullopt;
  std::size_t i = 0;
  if (s[i] == '+' || s[i] == '-') ++i;
  bool digits = false;
  while (i < s.size() && IsDigit(s[i])) {
    ++i;
    digits = true;
  }
  if (i < s.size() && s[i] == '.') {
    ++i;
    while (i < s.size() && IsDigit(s[i])) {
      ++i;
      digits = true;
    }
  }
  if (!digits) return std::nullopt;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    bool exp = false;
    while (i < s.size() && IsDigit(s[i])) {
      ++i;
      exp = true;
    }
    if (!exp) return std::nullopt;
  }
  if (i != s.size()) return std::nullopt;
  return std::strtod(std::string(s).c_str(), nullptr);
}

std::string_view ValueText(sqlite3_value* v) {
  const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
  return p ? std::string_view(p, static_cast<std::size_t>(sqlite3_value_bytes(v))) : std::string_view();
}

// The number in a value: numbers as they are, text when it reads as one.
std::optional<double> NumberOf(sqlite3_value* v) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
      return static_cast<double>(sqlite3_value_int64(v));
    case SQLITE_FLOAT:
      return sqlite3_value_double(v);
    case SQLITE_TEXT:
      return ParseNumber(ValueText(v));
    default:
      return std::nullopt;
  }
}

std::string RealText(double d) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15g", d);
  return buf;
}

// The value as text, as CStr gives it.
std::string TextOf(sqlite3_value* v) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
      return std::to_string(sqlite3_value_int64(v));
    case SQLITE_FLOAT:
      return RealText(sqlite3_value_double(v));
    default:
      return std::string(ValueText(v));
  }
}

void ResultText(sqlite3_context* ctx, const std::string& s) {
  sqlite3_result_text(ctx, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
}

void ResultNumber(sqlite3_context* ctx, double d) {
  if (std::nearbyint(d) == d && std::fabs(d) < 9.0e15) {
    sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(d));
  } else {
    sqlite3_result_double(ctx, d);
  }
}

bool AnyNull(int argc, sqlite3_value** argv) {
  for (int i = 0; i < argc; ++i) {
    if (sqlite3_value_type(argv[i]) == SQLITE_NULL) return true;
  }
  return false;
}

// UTF-8: byte offset of the character with index chars (0-based), clamped to
// the end, and the count of characters.
std::size_t ByteOffset(std::string_view s, std::int64_t chars) {
  std::size_t i = 0;
  while (i < s.size() && chars > 0) {
    ++i;
    while (i < s.size() && (static_cast<unsigned char>(s[i]) & 0xC0) == 0x80) ++i;
    --chars;
  }
  return i;
}
std::int64_t CharCount(std::string_view s) {
  std::int64_t n = 0;
  for (char c : s) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
  }
  return n;
}

std::string Utf8(std::int64_t code) {
  std::string out;
  if (code < 0 || code > 0x10FFFF) return out;
  const auto u = static_cast<std::uint32_t>(code);
  if (u < 0x80) {
    out += static_cast<char>(u);
  } else if (u < 0x800) {
    out += static_cast<char>(0xC0 | (u >> 6));
    out += static_cast<char>(0x80 | (u & 0x3F));
  } else if (u < 0x10000) {
    out += static_cast<char>(0xE0 | (u >> 12));
    out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (u & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (u >> 18));
    out += static_cast<char>(0x80 | ((u >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (u & 0x3F));
  }
  return out;
}

// ---- The functions ----------------------------------------------------------------

void FnIsNull(sqlite3_context* ctx, int, sqlite3_value** argv) {
  sqlite3_result_int(ctx, sqlite3_value_type(argv[0]) == SQLITE_NULL ? 1 : 0);
}

void FnIsNumeric(sqlite3_context* ctx, int, sqlite3_value** argv) {
  sqlite3_result_int(ctx, NumberOf(argv[0]).has_value() ? 1 : 0);
}

void FnCLng(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto d = NumberOf(argv[0]);
  if (!d || !std::isfinite(*d) || std::fabs(*d) > 9.2e18) return sqlite3_result_null(ctx);
  sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(std::nearbyint(*d)));
}

void FnCDbl(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto d = NumberOf(argv[0]);
  if (!d) return sqlite3_result_null(ctx);
  sqlite3_result_double(ctx, *d);
}

void FnCDate(sqlite3_context* ctx, int, sqlite3_value** argv) {
  std::optional<CivilDateTime> civil;
  if (auto d = NumberOf(argv[0])) {
    // Date serials of the years 100 to 9999.
    if (std::isfinite(*d) && *d > -657435.0 && *d < 2958466.0) civil = date_serial::ToCivil(DateSerial{*d});
  } else if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) {
    civil = ParseDateText(ValueText(argv[0]));
  }
  if (!civil || !date_serial::IsValidCivilDate(civil->year, civil->month, civil->day)) {
    return sqlite3_result_null(ctx);
  }
  ResultText(ctx, IsoText(*civil));
}

void FnCStr(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
  ResultText(ctx, TextOf(argv[0]));
}

// Val reads the number at the head of a text, skipping blanks anywhere in it:
// "  12 3abc" is 123, "abc" is 0.
void FnVal(sqlite3_context* ctx, int, sqlite3_value** argv) {
  const int type = sqlite3_value_type(argv[0]);
  if (type == SQLITE_NULL) return sqlite3_result_null(ctx);
  if (type == SQLITE_INTEGER || type == SQLITE_FLOAT) return sqlite3_result_value(ctx, argv[0]);
  std::string compact;
  for (char c : ValueText(argv[0])) {
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') compact += c;
  }
  std::size_t i = 0;
  if (i < compact.size() && (compact[i] == '+' || compact[i] == '-')) ++i;
  while (i < compact.size() && IsDigit(compact[i])) ++i;
  if (i < compact.size() && compact[i] == '.') {
    ++i;
    while (i < compact.size() && IsDigit(compact[i])) ++i;
  }
  if (i < compact.size() && (compact[i] == 'e' || compact[i] == 'E')) {
    std::size_t j = i + 1;
    if (j < compact.size() && (compact[j] == '+' || compact[j] == '-')) ++j;
    if (j < compact.size() && IsDigit(compact[j])) {
      while (j < compact.size() && IsDigit(compact[j])) ++j;
      i = j;
    }
  }
  const auto d = ParseNumber(std::string_view(compact).substr(0, i));
  ResultNumber(ctx, d.value_or(0.0));
}

// Mid(text, start[, length]), start from 1.
void FnMid(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (AnyNull(argc, argv)) return sqlite3_result_null(ctx);
  const std::string s = TextOf(argv[0]);
  const std::int64_t start = sqlite3_value_int64(argv[1]);
  if (start < 1) return sqlite3_result_error(ctx, "Mid: the start must be 1 or more", -1);
  const std::size_t b = ByteOffset(s, start - 1);
  std::size_t e = s.size();
  if (argc > 2) {
    const std::int64_t len = sqlite3_value_int64(argv[2]);
    if (len < 0) return sqlite3_result_error(ctx, "Mid: the length must not be negative", -1);
    e = b + ByteOffset(std::string_view(s).substr(b), len);
  }
  ResultText(ctx, s.substr(b, e - b));
}

void FnLen(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
  if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) return sqlite3_result_int64(ctx, CharCount(ValueText(argv[0])));
  sqlite3_result_int64(ctx, CharCount(TextOf(argv[0])));
}

void FnLeft(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (AnyNull(argc, argv)) return sqlite3_result_null(ctx);
  const std::int64_t len = sqlite3_value_int64(argv[1]);
  if (len < 0) return sqlite3_result_error(ctx, "Left: the length must not be negative", -1);
  if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) {
    // Text is read where it stands, without a copy: a tree order calls this
    // for every row.
    const std::string_view s = ValueText(argv[0]);
    const std::size_t n = ByteOffset(s, len);
    return sqlite3_result_text(ctx, s.data(), static_cast<int>(n), SQLITE_TRANSIENT);
  }
  const std::string s = TextOf(argv[0]);
  ResultText(ctx, s.substr(0, ByteOffset(s, len)));
}

// String(count, character): the character as text (its first character) or
// as a character code.
void FnString(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (AnyNull(argc, argv)) return sqlite3_result_null(ctx);
  const std::int64_t count = sqlite3_value_int64(argv[0]);
  if (count < 0) return sqlite3_result_error(ctx, "String: the count must not be negative", -1);
  std::string unit;
  if (sqlite3_value_type(argv[1]) == SQLITE_TEXT) {
    const std::string s = TextOf(argv[1]);
    unit = s.substr(0, ByteOffset(s, 1));
  } else {
    unit = Utf8(sqlite3_value_int64(argv[1]));
  }
  if (unit.empty()) return sqlite3_result_error(ctx, "String: no character to repeat", -1);
  if (static_cast<std::uint64_t>(count) * unit.size() > 100000000u) return sqlite3_result_error_toobig(ctx);
  std::string out;
  out.reserve(static_cast<std::size_t>(count) * unit.size());
  for (std::int64_t i = 0; i < count; ++i) out += unit;
  ResultText(ctx, out);
}

// InStr([start,] text, sought[, compare]): the position from 1 of sought in
// text from start on, 0 when it isn't there. compare 0 compares exactly,
// otherwise (the default) without regard to ASCII case.
void FnInStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  int first = 0;
  std::int64_t start = 1;
  if (argc >= 3) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    start = sqlite3_value_int64(argv[0]);
    first = 1;
  }
  if (start < 1) return sqlite3_result_error(ctx, "InStr: the start must be 1 or more", -1);
  if (sqlite3_value_type(argv[first]) == SQLITE_NULL || sqlite3_value_type(argv[first + 1]) == SQLITE_NULL) {
    return sqlite3_result_null(ctx);
  }
  const bool exact = argc == 4 && sqlite3_value_int64(argv[3]) == 0;
  const std::string hay = TextOf(argv[first]);
  const std::string needle = TextOf(argv[first + 1]);
  const std::size_t from = ByteOffset(hay, start - 1);
  if (start - 1 > CharCount(hay)) return sqlite3_result_int(ctx, 0);
  std::size_t pos = exact ? hay.find(needle, from) : text::FindNoCaseAscii(hay, needle, from);
  if (pos == std::string::npos) return sqlite3_result_int(ctx, 0);
  sqlite3_result_int64(ctx, CharCount(std::string_view(hay).substr(0, pos)) + 1);
}

// IIf for an SQLite older than its own iif(); SQLite's evaluates only the
// branch it takes, this one both.
void FnIIf(sqlite3_context* ctx, int, sqlite3_value** argv) {
  const auto cond = NumberOf(argv[0]);
  sqlite3_result_value(ctx, (cond && *cond != 0.0) ? argv[1] : argv[2]);
}

using Fn = void (*)(sqlite3_context*, int, sqlite3_value**);

void Register(sqlite3* db, const char* name, int argc, Fn fn) {
  const int rc = sqlite3_create_function_v2(db, name, argc, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS,
                                            nullptr, fn, nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    throw Failure(rc, "JetDialect.RegisterFunctions",
                  std::string("Can't register the function ") + name + ": " + sqlite3_errmsg(db));
  }
}

}  // namespace

std::optional<std::string> DateLiteralToIso(std::string_view text) {
  auto civil = ParseDateText(text);
  if (!civil) return std::nullopt;
  return IsoText(*civil);
}

std::string Rewrite(std::string_view sql, const ExternalResolver& resolver) {
  std::vector<Tok> toks = Tokenize(sql);
  RewriteOperatorsAndCalls(toks);
  MarkColumnDisjunctions(toks);
  RewriteExternalDatabases(toks, resolver);
  std::string out;
  out.reserve(sql.size() + 32);
  for (const Tok& t : toks) {
    out += t.prefix;
    if (t.replacement) {
      out += *t.replacement;
    } else {
      out += t.text;
    }
  }
  return out;
}

void RegisterFunctions(::sqlite3* db) {
  Register(db, "JET_ISNULL", 1, FnIsNull);
  Register(db, "JET_ISNUMERIC", 1, FnIsNumeric);
  Register(db, "JET_CLNG", 1, FnCLng);
  Register(db, "JET_CDBL", 1, FnCDbl);
  Register(db, "JET_CDATE", 1, FnCDate);
  Register(db, "JET_CSTR", 1, FnCStr);
  Register(db, "JET_VAL", 1, FnVal);
  Register(db, "JET_MID", 2, FnMid);
  Register(db, "JET_MID", 3, FnMid);
  Register(db, "JET_LEN", 1, FnLen);
  Register(db, "JET_LEFT", 2, FnLeft);
  Register(db, "JET_STRING", 2, FnString);
  Register(db, "JET_INSTR", 2, FnInStr);
  Register(db, "JET_INSTR", 3, FnInStr);
  Register(db, "JET_INSTR", 4, FnInStr);
  if (sqlite3_libversion_number() < 3032000) Register(db, "IIF", 3, FnIIf);
}

}  // namespace vlq::platform::jet
