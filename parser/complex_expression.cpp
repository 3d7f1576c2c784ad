#include "parser/complex_expression.h"

#include <algorithm>
#include <optional>

#include "engine/mod_main.h"
#include "model/text_util.h"
#include "parser/read_context.h"
#include "parser/simple_expression.h"

namespace vlq {
namespace {

constexpr std::size_t npos = std::string_view::npos;

std::shared_ptr<Token> MakeToken(enumTokenType eType) {
  auto oToken = std::make_shared<Token>();
  oToken->SetTokenType(eType);
  return oToken;
}

// The order of tokens: what may follow the previous token. 0 when the order
// holds, else the failure and its message number.
enumQueryEngineError CheckOrder(const Token* pPrevious, enumTokenType eCurrent, long& lMessage) {
  const bool bConnector = eCurrent == eTTAndConnector || eCurrent == eTTOrConnector;
  if (!pPrevious) {
    if (!bConnector) return eQEENone;
    lMessage = 14127;
    return eQEEExprStartErr;
  }
  switch (pPrevious->TokenType()) {
    case eTTExpression:
    case eTTComplexExpression:
      if (bConnector) return eQEENone;
      lMessage = 14124;
      return eQEEExprConnErr;
    case eTTNotOperator:
      if (eCurrent == eTTComplexExpression) return eQEENone;
      lMessage = 14126;
      return eQEEExprConnErr;
    case eTTAndConnector:
    case eTTOrConnector:
      if (eCurrent == eTTExpression || eCurrent == eTTComplexExpression || eCurrent == eTTNotOperator) {
        return eQEENone;
      }
      lMessage = 14123;
      return eQEEExprConnErr;
    default:
      return eQEENone;
  }
}

}  // namespace

std::string ComplexExpression::ClassVersion() const { return modMain::ComponentVersion(); }

void ComplexExpression::Reset() {
  modMain::IgnoreAndGoOn([&] {
    cTokens_.Clear();
    pContext_ = nullptr;
    nBegin_ = nEnd_ = 0;
    sLastTokenizeErrInfo_.clear();
    eLastTokenizeErr_ = eQEENone;
    bSortExpression_ = false;
    bContainsOrToken_ = false;
    bContainsComplexExpressionToken_ = false;
  });
}

void ComplexExpression::TrimRemaining_() {
  if (!pContext_) return;
  const std::string_view sText = pContext_->View();
  while (nBegin_ < nEnd_ && sText[nBegin_] == ' ') ++nBegin_;
  while (nEnd_ > nBegin_ && sText[nEnd_ - 1] == ' ') --nEnd_;
}

bool ComplexExpression::Tokenize(std::string_view sExpression, bool bIsSort) {
  bool bResult = false;
  modMain::HandleAndLeave("ComplexExpression.Tokenize", [&] {
    // The one copy of the text: every token and expression of the list, down
    // to the deepest sub-list, reads its part of it in place.
    parser::ReadContext oContext(std::make_shared<const std::string>(text::TrimView(sExpression)));
    bResult = TokenizeWindow_(oContext, 0, oContext.View().size(), bIsSort, 0);
  });
  return bResult;
}

bool ComplexExpression::TokenizeWindow_(parser::ReadContext& oContext, std::size_t nBegin, std::size_t nEnd,
                                        bool bIsSort, int nDepth) {
  enumQueryEngineError eResult = eQEENone;
  std::string sErrorInfo;
  modMain::HandleAndLeave("ComplexExpression.Tokenize", [&] {
    Reset();
    bSortExpression_ = bIsSort;
    nDepth_ = nDepth;
    pContext_ = &oContext;
    nBegin_ = nBegin;
    nEnd_ = nEnd;
    TrimRemaining_();
    if (nBegin_ >= nEnd_) {
      eResult = eQEEMissingExprPrefix;
      sErrorInfo = modMain::Message(14122);
      return;
    }
    const Token* pPrevious = nullptr;
    while (nBegin_ < nEnd_) {
      std::shared_ptr<Token> oToken;
      eResult = ExtractFirstToken(oToken, sErrorInfo);
      if (eResult != eQEENone) break;
      if (!oToken) {
        // An empty pair of parentheses says nothing; reading past it would
        // drop the rest of the list without a word.
        eResult = eQEEMissingExprValue;
        sErrorInfo = modMain::Message(14132);
        break;
      }
      const enumTokenType eType = oToken->TokenType();
      if (eType == eTTComplexExpression || eType == eTTTypedCompExpression) bContainsComplexExpressionToken_ = true;
      if (eType == eTTOrConnector) bContainsOrToken_ = true;
      long lMessage = 0;
      eResult = CheckOrder(pPrevious, eType, lMessage);
      if (eResult != eQEENone) {
        sErrorInfo = modMain::Message(lMessage);
        break;
      }
      cTokens_.Add(oToken);
      pPrevious = oToken.get();
      TrimRemaining_();
    }
    // A list that ends in a connector or a NOT leaves it with nothing to
    // join or negate; the statement would not run.
    if (eResult == eQEENone && pPrevious) {
      switch (pPrevious->TokenType()) {
        case eTTAndConnector:
        case eTTOrConnector:
          eResult = eQEEExprConnErr;
          sErrorInfo = modMain::Message(14131);
          break;
        case eTTNotOperator:
          eResult = eQEEExprConnErr;
          sErrorInfo = modMain::Message(14126);
          break;
        default:
          break;
      }
    }
  });
  // The text belongs to the caller of Tokenize; nothing is left to read.
  pContext_ = nullptr;
  nBegin_ = nEnd_ = 0;
  eLastTokenizeErr_ = eResult;
  sLastTokenizeErrInfo_ = sErrorInfo;
  return eResult == eQEENone;
}

enumQueryEngineError ComplexExpression::ExtractFirstToken(std::shared_ptr<Token>& oToken, std::string& sErrorInfo) {
  enumQueryEngineError eResult = eQEENone;
  modMain::HandleAndLeave("ComplexExpression.ExtractFirstToken", [&] {
    // Outside Tokenize there is nothing left to read.
    std::optional<parser::ReadContext> oEmpty;
    if (!pContext_) {
      pContext_ = &oEmpty.emplace(std::make_shared<const std::string>());
      nBegin_ = nEnd_ = 0;
    }
    struct Restore {
      ComplexExpression& self;
      const std::optional<parser::ReadContext>& oEmpty;
      ~Restore() {
        if (oEmpty && self.pContext_ == &*oEmpty) self.pContext_ = nullptr;
      }
    } restore{*this, oEmpty};

    TrimRemaining_();
    const std::string_view sRemaining = pContext_->View().substr(nBegin_, nEnd_ - nBegin_);
    // Keywords are compared by their letters alone, with no word boundary:
    // "Origin" begins with OR.
    if (text::StartsWithNoCase(sRemaining, "AND")) {
      oToken = MakeToken(eTTAndConnector);
      oToken->SetTokenValue("AND");
      nBegin_ += 3;
      TrimRemaining_();
      return;
    }
    if (text::StartsWithNoCase(sRemaining, "OR")) {
      oToken = MakeToken(eTTOrConnector);
      oToken->SetTokenValue("OR");
      nBegin_ += 2;
      TrimRemaining_();
      return;
    }
    if (!sRemaining.empty() && sRemaining.front() == '(') {
      // The group is read where it stands; all of it counts as read.
      const std::size_t nClose = pContext_->GroupClose(nBegin_, nEnd_);
      const std::size_t nInnerBegin = nBegin_ + 1;
      const std::size_t nInnerEnd = nClose == npos ? nEnd_ : nClose;
      nBegin_ = nClose == npos ? nEnd_ : nClose + 1;
      TrimRemaining_();
      if (text::TrimView(pContext_->View().substr(nInnerBegin, nInnerEnd - nInnerBegin)).empty()) return;
      if (nDepth_ >= kMaxNestingDepth) {
        eResult = eQEEValueTooLong;
        sErrorInfo = modMain::MessageWithArg(14130, std::to_string(kMaxNestingDepth));
        return;
      }
      auto oChild = std::make_shared<ComplexExpression>();
      // A sub-list of a sort list isn't itself a sort list.
      if (oChild->TokenizeWindow_(*pContext_, nInnerBegin, nInnerEnd, false, nDepth_ + 1)) {
        oToken = MakeToken(eTTComplexExpression);
        oToken->SetTokenObject(oChild);
        bContainsComplexExpressionToken_ = true;
        if (oChild->ContainsOrToken()) bContainsOrToken_ = true;
      } else {
        eResult = oChild->LastTokenizeErr();
        sErrorInfo = oChild->LastTokenizeErrInfo();
      }
      return;
    }
    // The simple reader is asked first; NOT as a token of its own arises only
    // where no expression can be read, as before a parenthesised list.
    auto oExpr = std::make_shared<SimpleExpression>();
    long lConsumed = 0;
    eResult = oExpr->ResolveFromWindow_(*pContext_, nBegin_, nEnd_, lConsumed, sErrorInfo, bSortExpression_);
    if (eResult == eQEENone) {
      oToken = MakeToken(eTTExpression);
      oToken->SetTokenObject(oExpr);
      nBegin_ += std::min(static_cast<std::size_t>(lConsumed > 0 ? lConsumed : 0), nEnd_ - nBegin_);
      TrimRemaining_();
    } else if (text::StartsWithNoCase(sRemaining, "NOT")) {
      oToken = MakeToken(eTTNotOperator);
      oToken->SetTokenValue("NOT");
      nBegin_ += 3;
      TrimRemaining_();
      eResult = eQEENone;
      sErrorInfo.clear();
    }
  });
  return eResult;
}

}  // namespace vlq
