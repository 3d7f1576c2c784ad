// ComplexExpression.Tokenize: token lists, their order rules, sub-lists, NOT,
// and the tokens of a list that fails.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "engine/mod_main.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"
#include "parser_test_support.h"
#include "services/components.h"

namespace vlq {
namespace {

// The tokens as one line: "E:attr" for an expression, the connector or NOT
// text, and a sub-list in parentheses.
std::string Shape(const ComplexExpression& oList) {
  std::string sOut;
  for (const auto& oToken : oList.Tokens()) {
    if (!sOut.empty()) sOut += ' ';
    switch (oToken->TokenType()) {
      case eTTExpression:
        sOut += "E:" + oToken->AsSimpleExpression()->AttrPrefix();
        break;
      case eTTComplexExpression:
        sOut += "(" + Shape(*oToken->AsComplexExpression()) + ")";
        break;
      default:
        sOut += oToken->Text();
    }
  }
  return sOut;
}

struct TokenizeCase {
  const char* sText;
  enumQueryEngineError eResult;
  long lMessage;  // 0: no message
  const char* sShape;
  bool bContainsOr;
  bool bContainsComplex;
  const char* sArg = nullptr;  // the message argument, if it has one
};

void PrintTo(const TokenizeCase& c, std::ostream* os) { *os << "[" << c.sText << "]"; }

class TokenizeTest : public ::testing::TestWithParam<TokenizeCase> {};

TEST_P(TokenizeTest, MakesTokensInOrder) {
  const TokenizeCase& c = GetParam();
  ComplexExpression oList;
  EXPECT_EQ(oList.Tokenize(c.sText), c.eResult == eQEENone);
  EXPECT_EQ(oList.LastTokenizeErr(), c.eResult);
  const std::string sInfo = !c.lMessage ? std::string()
                            : c.sArg    ? modMain::MessageWithArg(c.lMessage, c.sArg)
                                        : modMain::Message(c.lMessage);
  EXPECT_EQ(oList.LastTokenizeErrInfo(), sInfo);
  EXPECT_EQ(Shape(oList), c.sShape);
  EXPECT_EQ(oList.ContainsOrToken(), c.bContainsOr);
  EXPECT_EQ(oList.ContainsComplexExpressionToken(), c.bContainsComplex);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, TokenizeTest,
    ::testing::Values(
        TokenizeCase{"a = 1 and b = 2 Or c = 3", eQEENone, 0, "E:a AND E:b OR E:c", true, false},
        // A list neither begins nor ends with a connector.
        TokenizeCase{"a = 1 AND", eQEEExprConnErr, 14131, "E:a AND", false, false},
        TokenizeCase{"AND a = 1", eQEEExprStartErr, 14127, "", false, false},
        TokenizeCase{"a = 1 b = 2", eQEEExprConnErr, 14124, "E:a", false, false},
        TokenizeCase{"a = 1 OR OR b = 2", eQEEExprConnErr, 14123, "E:a OR", true, false},
        TokenizeCase{"(a = 1) (b = 2)", eQEEExprConnErr, 14124, "(E:a)", false, true},
        TokenizeCase{"", eQEEMissingExprPrefix, 14122, "", false, false},
        // Connectors are found by their letters, with no word boundary.
        TokenizeCase{"Origin = 1", eQEEExprStartErr, 14127, "", true, false},
        TokenizeCase{"a = 1 Origin = 2", eQEENone, 0, "E:a OR E:igin", true, false},
        TokenizeCase{"\"Origin\" = 1", eQEENone, 0, "E:Origin", false, false},
        // Sub-lists, nested to any depth; an OR below counts.
        TokenizeCase{"(a = 1 OR b = 2) AND c = 3", eQEENone, 0, "(E:a OR E:b) AND E:c", true, true},
        TokenizeCase{"a = 1 AND (b = 1 AND (c = 1 OR d = 1))", eQEENone, 0, "E:a AND (E:b AND (E:c OR E:d))", true,
                     true},
        TokenizeCase{"(a = 1", eQEENone, 0, "(E:a)", false, true},
        TokenizeCase{"(a = \"x)\" OR b = 1) AND c = 1", eQEENone, 0, "(E:a OR E:b) AND E:c", true, true},
        // A failure below surfaces with the sub-list's code and text.
        TokenizeCase{"a = 1 AND (a = 1 b = 2)", eQEEExprConnErr, 14124, "E:a AND", false, false},
        // NOT is a token only where no expression can be read.
        TokenizeCase{"NOT (\"a\" = 1)", eQEENone, 0, "NOT (E:a)", false, true},
        TokenizeCase{"NOT (a = 1)", eQEEMissingExprOperator, 14019, "E:(a", false, false, ")"},
        TokenizeCase{"NOT AND a = 1", eQEEExprConnErr, 14126, "NOT", false, false},
        TokenizeCase{"Not", eQEEExprConnErr, 14126, "NOT", false, false},
        TokenizeCase{"a = 1 AND NOT (\"b\" = 1 OR c = 2)", eQEENone, 0, "E:a AND NOT (E:b OR E:c)", true, true},
        // An empty group says nothing and is refused.
        TokenizeCase{"a = 1 AND () OR b = 2", eQEEMissingExprValue, 14132, "E:a AND", false, false},
        // Between and In take their whole value part.
        TokenizeCase{"a Between 1 And 2 AND b = 3", eQEENone, 0, "E:a AND E:b", false, false},
        TokenizeCase{"a In x, y OR b In z", eQEENone, 0, "E:a OR E:b", true, false},
        // What an In list leaves is read as the next expression.
        TokenizeCase{"a In x y", eQEEMissingExprOperator, 14019, "E:a", false, false, "y"},
        TokenizeCase{"a In x y = 1", eQEEExprConnErr, 14124, "E:a", false, false},
        TokenizeCase{"a Between \"x and y\" And \"z\"", eQEEMissingExprOperator, 14019, "E:a AND", false, false,
                     "\"z\""}));

TEST(TokenizeTest, ExpressionsKeepTheRestOfTheirList) {
  ComplexExpression oList;
  ASSERT_TRUE(oList.Tokenize("  a = 1 AND (b = 2 OR c = 3) AND d = 4  "));
  const auto& oTokens = oList.Tokens();
  EXPECT_EQ((*oTokens.Item(1))->AsSimpleExpression()->OrgExprString(), "a = 1 AND (b = 2 OR c = 3) AND d = 4");
  const auto oChild = (*oTokens.Item(3))->AsComplexExpression();
  ASSERT_TRUE(oChild);
  // Inside a sub-list the rest ends with the sub-list.
  EXPECT_EQ((*oChild->Tokens().Item(3))->AsSimpleExpression()->OrgExprString(), "c = 3");
  EXPECT_EQ((*oTokens.Item(5))->AsSimpleExpression()->OrgExprString(), "d = 4");
}

TEST(TokenizeTest, SortFlagReachesExpressionsButNotSubLists) {
  ComplexExpression oList;
  ASSERT_TRUE(oList.Tokenize("Name Order Asc AND (Key O 2)", true));
  EXPECT_TRUE(oList.SortExpression());
  EXPECT_TRUE((*oList.Tokens().Item(1))->AsSimpleExpression()->SortExpression());
  const auto oChild = (*oList.Tokens().Item(3))->AsComplexExpression();
  EXPECT_FALSE(oChild->SortExpression());
  EXPECT_FALSE((*oChild->Tokens().Item(1))->AsSimpleExpression()->SortExpression());
}

TEST(TokenizeTest, SecondTokenizeStartsOver) {
  ComplexExpression oList;
  EXPECT_FALSE(oList.Tokenize("a = 1 OR b = 2 c = 3"));
  EXPECT_EQ(oList.Tokens().Count(), 3u);
  EXPECT_TRUE(oList.Tokenize("(d = 4)"));
  EXPECT_EQ(Shape(oList), "(E:d)");
  EXPECT_EQ(oList.LastTokenizeErr(), eQEENone);
  EXPECT_TRUE(oList.LastTokenizeErrInfo().empty());
  EXPECT_FALSE(oList.ContainsOrToken());
}

TEST(TokenizeTest, LongValueLeavesItsRestAsNextToken) {
  // Only 255 characters of the quoted value are taken; what follows them reads
  // as an expression behind an expression.
  const std::string sValue = std::string(254, 'x') + "b = 2";
  ComplexExpression oList;
  EXPECT_FALSE(oList.Tokenize("a = \"" + sValue + "\""));
  EXPECT_EQ(oList.LastTokenizeErr(), eQEEExprConnErr);
  EXPECT_EQ(oList.LastTokenizeErrInfo(), modMain::Message(14124));
  ASSERT_EQ(oList.Tokens().Count(), 1u);
  EXPECT_EQ((*oList.Tokens().Item(1))->AsSimpleExpression()->Value(), Variant(sValue));
}

TEST(TokenizeTest, DecimalCommaDependsOnLocale) {
  ComplexExpression oList;
  EXPECT_FALSE(oList.Tokenize("Size = 1,5"));
  EXPECT_EQ(oList.LastTokenizeErr(), eQEEMissingExprOperator);
  testing_support::ScopedCommaLocale comma;
  ASSERT_TRUE(oList.Tokenize("Size = 1,5 AND b In 1,5"));
  EXPECT_EQ((*oList.Tokens().Item(1))->AsSimpleExpression()->Value(), Variant("1,5"));
  EXPECT_EQ((*oList.Tokens().Item(3))->AsSimpleExpression()->ListItemPrefixes().Count(), 2u);
}

TEST(TokenizeTest, NestingIsReadUpToTheLimit) {
  const int kDepth = ComplexExpression::kMaxNestingDepth;
  const auto nested = [](int depth) { return std::string(depth, '(') + "a = 1" + std::string(depth, ')'); };
  ComplexExpression oList;
  ASSERT_TRUE(oList.Tokenize(nested(kDepth)));
  const ComplexExpression* pList = &oList;
  int depth = 0;
  while (pList->Tokens().Count() == 1 && (*pList->Tokens().Item(1))->TokenType() == eTTComplexExpression) {
    pList = (*pList->Tokens().Item(1))->AsComplexExpression().get();
    ++depth;
  }
  EXPECT_EQ(depth, kDepth);
  EXPECT_EQ(Shape(*pList), "E:a");
  // One level more is refused, also when the text never closes.
  for (const std::string& sText : {nested(kDepth + 1), std::string(100000, '(')}) {
    EXPECT_FALSE(oList.Tokenize(sText));
    EXPECT_EQ(oList.LastTokenizeErr(), eQEEValueTooLong);
    EXPECT_EQ(oList.LastTokenizeErrInfo(), modMain::MessageWithArg(14130, std::to_string(kDepth)));
  }
}

// A log that keeps its events, under an output mode with logging on.
class KeptEvents : public EventLog {
 public:
  explicit KeptEvents(std::vector<std::string>& events) : events_(events) {}
  void Open(std::string_view, EventLogMode) override {}
  void Write(std::string_view sText, EventType eType) override {
    if (eType == eEventError) events_.emplace_back(sText);
  }
  void SetOff() override {}

 private:
  std::vector<std::string>& events_;
};
class LoggingOn : public SettingsStore {
 public:
  std::string GetSetting(std::string_view, std::string_view, std::string_view, std::string_view) const override {
    return "1";
  }
};

}  // namespace
}  // namespace vlq
