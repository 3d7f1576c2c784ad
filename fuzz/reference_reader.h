#pragma once
// A second reader of expression lists, written the plain way: every step works
// on a copy of the text, overwrites what it has read with blanks and trims the
// copy, and a doubled quote is deleted from the text. It is slow (the square
// of the length) and simple, and the engine's reader, which works on windows
// of one shared text, must give exactly its results. The fuzzer and the
// regression test compare the two on every input.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "model/text_util.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"

namespace vlq::reference {

inline std::string Trim(const std::string& s) { return text::Trim(s); }

inline bool StartsNoCase(const std::string& s, const std::string& w) {
  return text::Upper(s.substr(0, w.size())) == text::Upper(w);
}

// The word reader, step by step, deleting the second of two quotes.
inline std::string ExtractWord(std::string sText, long& lConsumed, bool bInList) {
  std::string sResult;
  lConsumed = 0;
  bool bInQuotes = false;
  bool bStarted = false;
  for (std::size_t i = 0; i < sText.size(); ++i) {
    const char c = sText[i];
    const char d = i + 1 < sText.size() ? sText[i + 1] : '\0';
    const bool bDQuote = i + 1 < sText.size() && d == '"';
    if (bInQuotes && c == '"' && !bDQuote) {
      ++lConsumed;
      break;
    }
    if (bInQuotes && c == '"' && bDQuote) {
      sText.erase(i + 1, 1);
      ++lConsumed;
      sResult += c;
      ++lConsumed;
      continue;
    }
    if (bInQuotes) {
      sResult += c;
      ++lConsumed;
      continue;
    }
    if (c == '"' && (!bDQuote || !bStarted)) {
      if (bStarted) break;
      bInQuotes = true;
      ++lConsumed;
      continue;
    }
    if (c == '"' && bDQuote) {
      sText.erase(i + 1, 1);
      sResult += c;
      lConsumed += 2;
      continue;
    }
    if (bStarted && std::string(" ()=<>,").find(c) != std::string::npos) {
      if (!(c == ',' && !bInList && modMain::Locale().LocaleInfo(14) == ",")) break;
    } else if (!bStarted && c != ' ') {
      bStarted = true;
    }
    sResult += c;
    ++lConsumed;
  }
  return sResult;
}

// The text between parentheses, blanking each character as it is walked.
inline std::string BetweenParens(std::string& sText, std::size_t lStart) {
  if (lStart < 1 || lStart > sText.size() || sText[lStart - 1] != '(') return {};
  std::string sResult;
  long lOpens = 0;
  long lCloses = 0;
  bool bInQuotes = false;
  for (std::size_t i = lStart - 1; i < sText.size(); ++i) {
    const char c = sText[i];
    sText[i] = ' ';
    if (c == '"') {
      bInQuotes = !bInQuotes;
      sResult += c;
      continue;
    }
    if (bInQuotes) {
      sResult += c;
      continue;
    }
    if (c == '(') {
      if (i != lStart - 1) sResult += c;
      ++lOpens;
    } else if (c == ')') {
      ++lCloses;
      if (lOpens == lCloses) break;
      sResult += c;
    } else {
      sResult += c;
    }
  }
  return Trim(sResult);
}

struct Simple {
  enumQueryEngineError eResult = eQEENone;
  std::string sErrInfo;
  long lExprLen = 0;
  std::string sAttr;
  int eOp = 0;
  std::string sValue;
  std::string sHigh;
  bool bNot = false;
  bool bAll = false;
  bool bSort = false;
  std::vector<std::string> aItems;
  std::string sOrg;
};

// Blanks at most 255 characters at the head of S, then trims it.
inline void Blank(std::string& S, std::size_t n, bool bTrim = true) {
  const std::size_t k = std::min({n, std::size_t{255}, S.size()});
  for (std::size_t i = 0; i < k; ++i) S[i] = ' ';
  if (bTrim) S = Trim(S);
}

inline Simple ResolveSimple(const std::string& sExpr, bool bIsSort) {
  Simple r;
  r.bSort = bIsSort;
  std::string S = Trim(sExpr);
  r.sOrg = S;
  auto finish = [&] { r.lExprLen = static_cast<long>(sExpr.size() - S.size()); };
  if (StartsNoCase(S, "Not")) {
    r.bNot = true;
    Blank(S, 3);
  }
  long n = 0;
  std::string w = ExtractWord(S, n, false);
  if (n < 1) {
    r.eResult = eQEEMissingExprValue;
    r.sErrInfo = modMain::MessageWithArg(14018, sExpr);
    finish();
    return r;
  }
  if (n >= 256) {
    r.eResult = eQEEValueTooLong;
    r.sErrInfo = modMain::MessageWithArg(14017, S);
    finish();
    return r;
  }
  r.sAttr = w;
  Blank(S, static_cast<std::size_t>(n));
  if (S.size() >= 3 && StartsNoCase(S, "All")) {
    r.bAll = true;
    Blank(S, 3);
  } else if (S.size() >= 3 && StartsNoCase(S, "Any")) {
    Blank(S, 3);
  }
  for (int i = 1;; ++i) {
    const std::string op = modMain::OpEnumToString(static_cast<enumExpressionOperator>(i));
    if (op.empty()) break;
    if (StartsNoCase(S, op)) {
      r.eOp = i;
      break;
    }
  }
  if (r.eOp == 0) {
    r.eResult = eQEEMissingExprOperator;
    r.sErrInfo = modMain::MessageWithArg(14019, sExpr);
    finish();
    return r;
  }
  Blank(S, modMain::OpEnumToString(static_cast<enumExpressionOperator>(r.eOp)).size());
  if (S.empty()) {
    r.eResult = eQEEMissingExprValue;
    r.sErrInfo = modMain::MessageWithArg(14022, sExpr);
    finish();
    return r;
  }
  if (r.eOp == eEOBetween) {
    const std::size_t p0 = text::Upper(S).find(" AND ");
    if (p0 == std::string::npos) {
      r.eResult = eQEEBetweenMissingAnd;
      r.sErrInfo = modMain::MessageWithArg(14020, "");
      finish();
      return r;
    }
    const std::size_t p = p0 + 1;
    const std::string low = Trim(S.substr(0, p - 1));
    r.sValue = ExtractWord(low, n, false);
    if (!Trim(low.substr(std::min(low.size(), static_cast<std::size_t>(std::max(0L, n))))).empty()) {
      r.eResult = eQEEBetweenMissingAnd;
      r.sErrInfo = modMain::MessageWithArg(14020, low);
      finish();
      return r;
    }
    r.sHigh = ExtractWord(S.substr(p - 1 + 5), n, false);
    Blank(S, p + 5 + static_cast<std::size_t>(n));
  } else if (r.eOp == eEOIN) {
    bool bMore = true;
    while (bMore) {
      const std::string item = ExtractWord(S, n, true);
      if (n < 1) break;
      const bool bKnown = std::any_of(r.aItems.begin(), r.aItems.end(),
                                      [&](const std::string& x) { return text::EqualsNoCase(x, item); });
      if (!bKnown) r.aItems.push_back(item);
      Blank(S, static_cast<std::size_t>(n), false);
      std::size_t i = 0;
      while (i < S.size() && S[i] == ' ') ++i;
      if (i < S.size()) {
        if (S[i] == ',') S[i] = ' ';
        else bMore = false;
      }
      S = Trim(S);
    }
    if (r.aItems.empty()) {
      r.eResult = eQEEInMissingItems;
      r.sErrInfo = modMain::MessageWithArg(14021, sExpr);
    }
  } else {
    r.sValue = ExtractWord(S, n, false);
    Blank(S, static_cast<std::size_t>(n));
  }
  finish();
  return r;
}

struct List;
struct Item {
  int eType = 0;
  std::string sText;
  std::shared_ptr<Simple> oSimple;
  std::shared_ptr<List> oList;
};
struct List {
  enumQueryEngineError eResult = eQEENone;
  std::string sErrInfo;
  bool bSort = false;
  bool bOr = false;
  bool bComplex = false;
  std::vector<Item> aTokens;
};

inline List Tokenize(const std::string& sExpression, bool bIsSort, int nDepth = 0) {
  List r;
  r.bSort = bIsSort;
  std::string rest = Trim(sExpression);
  if (rest.empty()) {
    r.eResult = eQEEMissingExprPrefix;
    r.sErrInfo = modMain::Message(14122);
    return r;
  }
  const Item* pPrev = nullptr;
  while (!Trim(rest).empty()) {
    rest = Trim(rest);
    Item tok;
    if (StartsNoCase(rest, "AND")) {
      tok.eType = eTTAndConnector;
      tok.sText = "AND";
      Blank(rest, 3);
    } else if (StartsNoCase(rest, "OR")) {
      tok.eType = eTTOrConnector;
      tok.sText = "OR";
      Blank(rest, 2);
    } else if (rest[0] == '(') {
      const std::string inner = BetweenParens(rest, 1);
      rest = Trim(rest);
      if (Trim(inner).empty()) {
        r.eResult = eQEEMissingExprValue;
        r.sErrInfo = modMain::Message(14132);
        return r;
      } else if (nDepth >= ComplexExpression::kMaxNestingDepth) {
        r.eResult = eQEEValueTooLong;
        r.sErrInfo = modMain::MessageWithArg(14130, std::to_string(ComplexExpression::kMaxNestingDepth));
        return r;
      } else {
        auto child = std::make_shared<List>(Tokenize(inner, false, nDepth + 1));
        if (child->eResult != eQEENone) {
          r.eResult = child->eResult;
          r.sErrInfo = child->sErrInfo;
          return r;
        }
        tok.eType = eTTComplexExpression;
        tok.oList = child;
        r.bComplex = true;
        if (child->bOr) r.bOr = true;
      }
    } else {
      auto simple = std::make_shared<Simple>(ResolveSimple(rest, bIsSort));
      if (simple->eResult == eQEENone) {
        tok.eType = eTTExpression;
        tok.oSimple = simple;
        rest = Trim(rest.substr(static_cast<std::size_t>(simple->lExprLen)));
      } else if (StartsNoCase(rest, "NOT")) {
        tok.eType = eTTNotOperator;
        tok.sText = "NOT";
        Blank(rest, 3);
      } else {
        r.eResult = simple->eResult;
        r.sErrInfo = simple->sErrInfo;
        return r;
      }
    }
    if (tok.eType == eTTComplexExpression) r.bComplex = true;
    if (tok.eType == eTTOrConnector) r.bOr = true;
    long lMessage = 0;
    const bool bConn = tok.eType == eTTAndConnector || tok.eType == eTTOrConnector;
    if (!pPrev) {
      if (bConn) lMessage = 14127;
    } else if (pPrev->eType == eTTExpression || pPrev->eType == eTTComplexExpression) {
      if (!bConn) lMessage = 14124;
    } else if (pPrev->eType == eTTNotOperator) {
      if (tok.eType != eTTComplexExpression) lMessage = 14126;
    } else if (!(tok.eType == eTTExpression || tok.eType == eTTComplexExpression || tok.eType == eTTNotOperator)) {
      lMessage = 14123;
    }
    if (lMessage) {
      r.eResult = lMessage == 14127 ? eQEEExprStartErr : eQEEExprConnErr;
      r.sErrInfo = modMain::Message(lMessage);
      return r;
    }
    r.aTokens.push_back(std::move(tok));
    pPrev = &r.aTokens.back();
  }
  if (pPrev && (pPrev->eType == eTTAndConnector || pPrev->eType == eTTOrConnector)) {
    r.eResult = eQEEExprConnErr;
    r.sErrInfo = modMain::Message(14131);
  } else if (pPrev && pPrev->eType == eTTNotOperator) {
    r.eResult = eQEEExprConnErr;
    r.sErrInfo = modMain::Message(14126);
  }
  return r;
}

// ---- Comparison with the engine's objects: the first difference, or empty ----

inline std::string Diff(const Simple& ref, const SimpleExpression& e, const std::string& where) {
  std::ostringstream os;
  std::vector<std::string> items(e.ListItemPrefixes().begin(), e.ListItemPrefixes().end());
  if (ref.sAttr != e.AttrPrefix()) os << where << ": attr [" << ref.sAttr << "] vs [" << e.AttrPrefix() << "]";
  else if (ref.eOp != e.Operator()) os << where << ": operator " << ref.eOp << " vs " << e.Operator();
  else if (ref.bNot != e.ExprNot()) os << where << ": ExprNot";
  else if (ref.bAll != e.IsAllExpr()) os << where << ": IsAllExpr";
  else if (ref.bSort != e.SortExpression()) os << where << ": SortExpression";
  else if (ref.aItems != items) os << where << ": In items";
  else if (ref.sOrg != e.OrgExprString()) os << where << ": OrgExprString";
  else if (ref.eResult == eQEENone && Variant(ref.sValue) != e.Value()) os << where << ": value";
  else if (ref.eOp == eEOBetween && ref.eResult == eQEENone && Variant(ref.sHigh) != e.HighValue())
    os << where << ": high value";
  return os.str();
}

inline std::string Diff(const List& ref, const ComplexExpression& e, const std::string& where) {
  std::ostringstream os;
  if (ref.eResult != e.LastTokenizeErr()) {
    os << where << ": result " << ref.eResult << " vs " << e.LastTokenizeErr();
    return os.str();
  }
  if (ref.sErrInfo != e.LastTokenizeErrInfo()) return where + ": error text [" + ref.sErrInfo + "] vs [" + e.LastTokenizeErrInfo() + "]";
  if (ref.bSort != e.SortExpression()) return where + ": SortExpression";
  if (ref.bOr != e.ContainsOrToken()) return where + ": ContainsOrToken";
  if (ref.bComplex != e.ContainsComplexExpressionToken()) return where + ": ContainsComplexExpressionToken";
  if (ref.aTokens.size() != e.Tokens().Count()) {
    os << where << ": " << ref.aTokens.size() << " tokens vs " << e.Tokens().Count();
    return os.str();
  }
  for (std::size_t i = 0; i < ref.aTokens.size(); ++i) {
    const Item& r = ref.aTokens[i];
    const Token& t = **e.Tokens().Item(i + 1);
    const std::string at = where + "/" + std::to_string(i + 1);
    if (r.eType != t.TokenType()) return at + ": token type";
    if (r.oSimple) {
      if (auto d = Diff(*r.oSimple, *t.AsSimpleExpression(), at); !d.empty()) return d;
    } else if (r.oList) {
      if (auto d = Diff(*r.oList, *t.AsComplexExpression(), at); !d.empty()) return d;
    } else if (r.sText != t.Text()) {
      return at + ": text";
    }
  }
  return {};
}

}  // namespace vlq::reference
