#include "parser/simple_expression.h"

#include <algorithm>

#include "engine/mod_main.h"
#include "engine/mod_main_words.h"
#include "model/text_util.h"
#include "parser/read_context.h"

namespace vlq {
namespace {

constexpr std::size_t npos = std::string_view::npos;
// The most characters one step of reading takes off the working text; a word
// whose source is longer leaves the rest of it to be read as what follows.
constexpr std::size_t kMaxBlank = 255;

// The working text of one expression: the window [b, e) of sExpr, the
// characters before b taken as read.
struct WorkingText {
  std::string_view sExpr;
  std::size_t b = 0;
  std::size_t e = 0;

  char At(std::size_t i) const { return sExpr[i]; }
  std::size_t Size() const { return e - b; }
  bool Empty() const { return b >= e; }
  void Trim() {
    while (b < e && At(b) == ' ') ++b;
    while (e > b && At(e - 1) == ' ') --e;
  }
  // Takes n characters, at most kMaxBlank of them, off the head.
  void Skip(std::size_t n) { b += std::min({n, kMaxBlank, Size()}); }
  void Blank(std::size_t n) {
    Skip(n);
    Trim();
  }
  bool StartsWithNoCase(std::string_view sWord) const {
    if (Size() < sWord.size()) return false;
    for (std::size_t i = 0; i < sWord.size(); ++i) {
      if (text::UpperAscii(At(b + i)) != text::UpperAscii(sWord[i])) return false;
    }
    return true;
  }
  // A word from the head, with its source length in n.
  std::string ReadWord(bool bInList, long& n) const {
    return modMain::ReadQueryWord(sExpr.substr(b, e - b), npos, bInList, n);
  }
};

std::size_t Count(long n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }

}  // namespace

bool SimpleExpression::Reset() {
  modMain::IgnoreAndGoOn([&] {
    sAttrPrefix_.clear();
    eOperator_ = eEOUnknown;
    vValue_ = Variant(std::string());
    bExprNot_ = false;
    cListItemPrefixes_.Clear();
    bSortExpression_ = false;
    bIsAllExpr_ = false;
    oOrgText_.reset();
    nOrgBegin_ = nOrgEnd_ = 0;
  });
  return true;
}

void SimpleExpression::SetAttrPrefix(std::string_view sAttrPrefix) {
  modMain::HandleAndLeave("SimpleExpression.AttrPrefix", [&] { sAttrPrefix_ = text::Upper(text::TrimView(sAttrPrefix)); });
}

std::string SimpleExpression::OrgExprString() const {
  std::string sText;
  modMain::HandleAndLeave("SimpleExpression.OrgExprString", [&] {
    if (oOrgText_) sText.assign(*oOrgText_, nOrgBegin_, nOrgEnd_ - nOrgBegin_);
  });
  return sText;
}

std::string SimpleExpression::ClassVersion() const { return modMain::ComponentVersion(); }

enumQueryEngineError SimpleExpression::ResolveFromString(std::string_view sExpr, long& lExprLen,
                                                         std::string& sErrInfo, bool bIsSort) {
  enumQueryEngineError eResult = eQEENone;
  lExprLen = 0;
  modMain::HandleAndLeave("SimpleExpression.ResolveFromString", [&] {
    parser::ReadContext oContext(std::make_shared<const std::string>(sExpr));
    eResult = ResolveFromWindow_(oContext, 0, sExpr.size(), lExprLen, sErrInfo, bIsSort);
  });
  return eResult;
}

enumQueryEngineError SimpleExpression::ResolveFromWindow_(parser::ReadContext& oContext, std::size_t nBegin,
                                                          std::size_t nEnd, long& lExprLen,
                                                          std::string& sErrInfo, bool bIsSort) {
  enumQueryEngineError eResult = eQEENone;
  const std::string_view sExpr = oContext.View().substr(nBegin, nEnd - nBegin);
  WorkingText S{sExpr, 0, sExpr.size()};
  lExprLen = 0;

  modMain::HandleAndLeave("SimpleExpression.ResolveFromString", [&] {
    Reset();
    bSortExpression_ = bIsSort;
    S.Trim();
    oOrgText_ = oContext.Text();
    nOrgBegin_ = nBegin + S.b;
    nOrgEnd_ = nBegin + S.e;

    // "Not" is tested by its letters alone: "Notes" is a negated "es".
    if (S.StartsWithNoCase("Not")) {
      bExprNot_ = true;
      S.Blank(3);
    }

    long n = 0;
    std::string sWord = S.ReadWord(false, n);
    if (n < 1) {
      eResult = eQEEMissingExprValue;
      sErrInfo = modMain::MessageWithArg(14018, std::string(sExpr));
      return;
    }
    if (Count(n) > kMaxBlank) {
      eResult = eQEEValueTooLong;
      sErrInfo = modMain::MessageWithArg(14017, std::string(sExpr.substr(S.b, S.Size())));
      return;
    }
    sAttrPrefix_ = std::move(sWord);
    S.Blank(Count(n));

    if (S.StartsWithNoCase("All")) {
      bIsAllExpr_ = true;
      S.Blank(3);
    } else if (S.StartsWithNoCase("Any")) {
      S.Blank(3);
    }

    // The operator table gives the order of the tests: longer signs before
    // their heads, and no word boundary, so "Inside" begins with "In".
    std::size_t nOpLength = 0;
    for (int i = 1;; ++i) {
      const std::string sOp = modMain::OpEnumToString(static_cast<enumExpressionOperator>(i));
      if (sOp.empty()) break;
      if (S.StartsWithNoCase(sOp)) {
        eOperator_ = static_cast<enumExpressionOperator>(i);
        nOpLength = sOp.size();
        break;
      }
    }
    if (eOperator_ == eEOUnknown) {
      eResult = eQEEMissingExprOperator;
      sErrInfo = modMain::MessageWithArg(14019, std::string(sExpr));
      return;
    }
    S.Blank(nOpLength);
    if (S.Empty()) {
      eResult = eQEEMissingExprValue;
      sErrInfo = modMain::MessageWithArg(14022, std::string(sExpr));
      return;
    }

    if (eOperator_ == eEOBetween) {
      // The first " AND " splits the two words, quotes or not.
      const std::size_t nAnd = oContext.FindBetweenAnd(nBegin + S.b);
      if (nAnd == npos || nAnd + 5 > nBegin + S.e) {
        eResult = eQEEBetweenMissingAnd;
        sErrInfo = modMain::MessageWithArg(14020, vValue_.ToText());
        return;
      }
      const std::size_t p = nAnd - nBegin - S.b;  // from 0
      long nLow = 0;
      const std::string_view sLow = text::TrimView(sExpr.substr(S.b, p));
      vValue_ = modMain::ReadQueryWord(sLow, npos, false, nLow);
      // One word stands before the AND: anything more would be lost unread.
      if (!text::TrimView(sLow.substr(std::min(sLow.size(), Count(nLow)))).empty()) {
        eResult = eQEEBetweenMissingAnd;
        sErrInfo = modMain::MessageWithArg(14020, std::string(sLow));
        return;
      }
      long nHigh = 0;
      vHighValue_ = modMain::ReadQueryWord(sExpr.substr(S.b + p + 5, S.e - (S.b + p + 5)), npos, false, nHigh);
      // One character more than the high word goes: the one directly behind it.
      S.Blank(p + 6 + Count(nHigh));
    } else if (eOperator_ == eEOIN) {
      bool bItem = true;
      bool bMore = true;
      while (bItem && bMore) {
        // An item in quotes is read whole in every form of the query, so that
        // the keyed text of a list of free values (a name with a blank)
        // reads back as it was written.
        long nItem = 0;
        const std::string sItem = S.ReadWord(true, nItem);
        if (nItem < 1) {
          bItem = false;
          break;
        }
        cListItemPrefixes_.Add(sItem, sItem);
        S.Skip(Count(nItem));
        std::size_t i = S.b;
        while (i < S.e && S.At(i) == ' ') ++i;
        if (i < S.e) {
          if (S.At(i) == ',') {
            S.b = i + 1;
          } else {
            bMore = false;
          }
        }
        S.Trim();
      }
      if (cListItemPrefixes_.Empty()) {
        eResult = eQEEInMissingItems;
        sErrInfo = modMain::MessageWithArg(14021, std::string(sExpr));
        return;
      }
    } else {
      long nValue = 0;
      vValue_ = S.ReadWord(false, nValue);
      S.Blank(Count(nValue));
    }
  });
  lExprLen = static_cast<long>(sExpr.size() - S.Size());
  return eResult;
}

}  // namespace vlq
