// The two word readers of modMain: one word of a query, bare or quoted, and the
// text between a pair of parentheses.

#include "engine/mod_main_words.h"

#include <optional>

#include "engine/mod_main.h"
#include "model/text_util.h"

namespace vlq::modMain {
namespace {

// Characters that end a bare word once it has started.
bool EndsBareWord(char c) {
  switch (c) {
    case ' ':
    case '(':
    case ')':
    case '=':
    case '<':
    case '>':
    case ',':
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string ReadQueryWord(std::string_view sText, std::size_t nBlankAt, bool bInList, long& lConsumed) {
  std::string sResult;
  lConsumed = 0;
  HandleAndLeave("modMain.ExtractQueryBaseCriteria", [&] {
    const std::size_t n = sText.size();
    auto at = [&](std::size_t i) { return i == nBlankAt ? ' ' : sText[i]; };
    // Asked of the locale only when a comma could belong to a number.
    std::optional<bool> bDecimalComma;
    bool bInQuotes = false;
    bool bStarted = false;
    std::size_t i = 0;
    while (i < n) {
      const char c = at(i);
      const bool bNextIsQuote = i + 1 < n && at(i + 1) == '"';
      if (c == '"') {
        if (bInQuotes && !bNextIsQuote) {
          // The closing quote belongs to the word.
          ++lConsumed;
          return;
        }
        if (bNextIsQuote && (bInQuotes || bStarted)) {
          // Two quotes are one quote character, inside quotes or in a bare
          // word; the source characters are both consumed. A word that
          // begins with a quote is a quoted word, so that "" is the empty
          // word and """" a lone quote, as a quoted value is written.
          sResult += '"';
          lConsumed += 2;
          i += 2;
          continue;
        }
        // A single quote outside quotes: the start of a quoted word, or the
        // end of a bare one (left for the next word).
        if (bStarted) return;
        bInQuotes = true;
        ++lConsumed;
        ++i;
        continue;
      }
      if (!bInQuotes) {
        if (bStarted && EndsBareWord(c)) {
          if (c != ',' || bInList) return;
          if (!bDecimalComma) bDecimalComma = Locale().LocaleInfo(14) == ",";
          if (!*bDecimalComma) return;
        } else if (!bStarted && c != ' ') {
          bStarted = true;
        }
      }
      sResult += c;
      ++lConsumed;
      ++i;
    }
  });
  return sResult;
}

std::string ExtractQueryBaseCriteria(std::string_view sText, long& lConsumed, bool bInList) {
  return ReadQueryWord(sText, std::string_view::npos, bInList, lConsumed);
}

ParenGroup ScanParenGroup(std::string_view sText, std::size_t nStart,
                          std::vector<std::pair<std::size_t, std::size_t>>* pNested) {
  ParenGroup group;
  // Open groups inside this one, as indexes into pNested.
  std::vector<std::size_t> open;
  long lDepth = 0;
  bool bInQuotes = false;
  for (std::size_t i = nStart; i < sText.size(); ++i) {
    const char c = sText[i];
    if (c == '"') {
      bInQuotes = !bInQuotes;
    } else if (bInQuotes) {
      continue;
    } else if (c == '(') {
      ++lDepth;
      if (pNested && i != nStart) {
        open.push_back(pNested->size());
        pNested->emplace_back(i, std::string_view::npos);
      }
    } else if (c == ')') {
      --lDepth;
      if (lDepth == 0) {
        group.nClose = i;
        break;
      }
      if (pNested && !open.empty()) {
        (*pNested)[open.back()].second = i;
        open.pop_back();
      }
    }
  }
  return group;
}

std::string DataBetweenParens(std::string& sText, std::size_t lStart) {
  std::string sResult;
  HandleAndLeave("modMain.DataBetweenParens", [&] {
    if (lStart < 1 || lStart > sText.size() || sText[lStart - 1] != '(') return;
    const std::size_t nStart = lStart - 1;
    const ParenGroup group = ScanParenGroup(sText, nStart);
    // Everything walked over is blanked, the closing parenthesis included;
    // what lies between the parentheses, quotes and all, is the result.
    const std::size_t nInnerEnd = group.nClose == std::string_view::npos ? sText.size() : group.nClose;
    const std::size_t nWalked = group.nClose == std::string_view::npos ? sText.size() - nStart : group.nClose + 1 - nStart;
    sResult = text::Trim(std::string_view(sText).substr(nStart + 1, nInnerEnd - nStart - 1));
    sText.replace(nStart, nWalked, nWalked, ' ');
  });
  return sResult;
}

}  // namespace vlq::modMain
