#pragma once
// The word reader of the query language as the expression readers use it.
// modMain::ExtractQueryBaseCriteria and modMain::DataBetweenParens (mod_main.h)
// are the public forms; the readers of parser/ call these to read a word of a
// working text in which one character counts as blanked, and to find the end
// of a parenthesised group without copying or blanking the text.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vlq::modMain {

// ExtractQueryBaseCriteria over sText, where the character at nBlankAt (from
// 0; npos for none) reads as a blank. Failures are handled as in
// ExtractQueryBaseCriteria: the word read so far comes back.
std::string ReadQueryWord(std::string_view sText, std::size_t nBlankAt, bool bInList, long& lConsumed);

// Where a parenthesised group ends. sText[nStart] is "(". Quotes switch the
// counting of parentheses off and on. nClose is the index of the ")" that
// brings closes level with opens, or npos when the text ends first; then the
// group runs to the end of sText.
struct ParenGroup {
  std::size_t nClose = std::string_view::npos;
};

// Scans the group at nStart. When pNested is given, every "(" met outside
// quotes after nStart is recorded there with its matching ")" (npos when
// unclosed), as (index, close): a later scan starting at such an index would
// find exactly that close, so a caller may cache them.
ParenGroup ScanParenGroup(std::string_view sText, std::size_t nStart,
                          std::vector<std::pair<std::size_t, std::size_t>>* pNested = nullptr);

}  // namespace vlq::modMain
