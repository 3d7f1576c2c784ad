#pragma once
// ComplexExpression: an expression list, the text inside a criteria,
// relationship or sort section, as a flat list of tokens in text order: one
// for each expression, connector, NOT and parenthesised sub-list (a child
// ComplexExpression). AND and OR have no precedence here; only parentheses
// group. It knows nothing of the project: the typed layer later replaces the
// expression objects of the same tokens in place.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "engine/enums.h"
#include "model/collection.h"
#include "parser/token.h"

namespace vlq {

namespace parser {
class ReadContext;
}

class ComplexExpression {
 public:
  // The deepest nesting of parentheses a list may have: eQEEValueTooLong with
  // message 14130 beyond it. Each level becomes up to three levels of
  // parentheses in the statement, which may stand inside a trace subquery
  // within a closure statement; the databases' SQL parsers give up on deep
  // nesting (SQLite's near 100 levels), so the limit is set where every
  // accepted list still runs in each of them, with a margin.
  static constexpr int kMaxNestingDepth = 12;

  ComplexExpression() = default;

  // Reads sExpression into Tokens; true when the whole list was read. On
  // false, LastTokenizeErr and LastTokenizeErrInfo tell why, and Tokens holds
  // the tokens made up to there. bIsSort: a sort list.
  bool Tokenize(std::string_view sExpression, bool bIsSort = false);
  const Collection<std::shared_ptr<Token>>& Tokens() const { return cTokens_; }
  enumQueryEngineError LastTokenizeErr() const { return eLastTokenizeErr_; }
  const std::string& LastTokenizeErrInfo() const { return sLastTokenizeErrInfo_; }
  bool SortExpression() const { return bSortExpression_; }
  void SetSortExpression(bool bSortExpression) { bSortExpression_ = bSortExpression; }
  std::string ClassName() const { return "ComplexExpression"; }
  std::string ClassVersion() const;
  // An OR stands in this list or in a sub-list at any depth.
  bool ContainsOrToken() const { return bContainsOrToken_; }
  // This list has a sub-list.
  bool ContainsComplexExpressionToken() const { return bContainsComplexExpressionToken_; }

  // ---- For the classes of the component ----
  void Reset();
  // Reads the next token from the head of the text still to be read.
  enumQueryEngineError ExtractFirstToken(std::shared_ptr<Token>& oToken, std::string& sErrorInfo);

 private:
  // Tokenize over the window [nBegin, nEnd) of the context's text: a sub-list
  // reads its part of its parent's text in place.
  bool TokenizeWindow_(parser::ReadContext& oContext, std::size_t nBegin, std::size_t nEnd, bool bIsSort,
                       int nDepth);
  void TrimRemaining_();

  Collection<std::shared_ptr<Token>> cTokens_;
  bool bSortExpression_ = false;
  enumQueryEngineError eLastTokenizeErr_ = eQEENone;
  std::string sLastTokenizeErrInfo_;
  bool bContainsOrToken_ = false;
  bool bContainsComplexExpressionToken_ = false;
  // How deep this list lies in the parentheses of its text: 0 at the top.
  int nDepth_ = 0;

  // The text still to be read: the window [nBegin_, nEnd_) of the context's
  // text, which is there only during Tokenize. What has been read lies in
  // front of nBegin_ and is never looked at again.
  parser::ReadContext* pContext_ = nullptr;
  std::size_t nBegin_ = 0;
  std::size_t nEnd_ = 0;
};

}  // namespace vlq
