// SimpleExpression.ResolveFromString: the fields read from one expression, the
// count of characters it takes, and its failures.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "parser/simple_expression.h"
#include "parser_test_support.h"

namespace vlq {
namespace {

std::vector<std::string> Items(const SimpleExpression& oExpr) {
  return {oExpr.ListItemPrefixes().begin(), oExpr.ListItemPrefixes().end()};
}

struct ReadCase {
  std::string sExpr;
  std::string sAttr;
  enumExpressionOperator eOp;
  std::string sValue;
  long lExprLen;  // -1: the whole text
  bool bExprNot = false;
  bool bIsAll = false;
  std::vector<std::string> aItems = {};
  std::string sHigh = {};
};

void PrintTo(const ReadCase& c, std::ostream* os) { *os << "[" << c.sExpr << "]"; }

class SimpleExpressionReadTest : public ::testing::TestWithParam<ReadCase> {};

TEST_P(SimpleExpressionReadTest, ReadsFields) {
  const ReadCase& c = GetParam();
  SimpleExpression oExpr;
  long lExprLen = -1;
  std::string sErrInfo;
  ASSERT_EQ(oExpr.ResolveFromString(c.sExpr, lExprLen, sErrInfo), eQEENone) << sErrInfo;
  EXPECT_EQ(oExpr.AttrPrefix(), c.sAttr);
  EXPECT_EQ(oExpr.Operator(), c.eOp);
  EXPECT_EQ(oExpr.Value(), Variant(c.sValue));
  EXPECT_EQ(oExpr.ExprNot(), c.bExprNot);
  EXPECT_EQ(oExpr.IsAllExpr(), c.bIsAll);
  EXPECT_EQ(Items(oExpr), c.aItems);
  if (!c.sHigh.empty()) {
    EXPECT_EQ(oExpr.HighValue(), Variant(c.sHigh));
  }
  EXPECT_EQ(lExprLen, c.lExprLen < 0 ? static_cast<long>(c.sExpr.size()) : c.lExprLen);
  EXPECT_TRUE(sErrInfo.empty());
}

const std::string k300(300, 'v');

INSTANTIATE_TEST_SUITE_P(
    Expressions, SimpleExpressionReadTest,
    ::testing::Values(
        // Blanks around operators are optional; longer signs win.
        ReadCase{"a>=1", "a", eEOGreaterThanOrEqual, "1", -1}, ReadCase{"a<>1", "a", eEONotEquals, "1", -1},
        ReadCase{"a<1 AND b", "a", eEOLessThan, "1", 4}, ReadCase{"  a = 1  ", "a", eEOEquals, "1", -1},
        ReadCase{"x = \"say \"\"hi\"\"\"", "x", eEOEquals, "say \"hi\"", -1},
        ReadCase{"Name = \"\"", "Name", eEOEquals, "", -1},
        // A bare value may begin with "(" and leaves ")" behind.
        ReadCase{"x = (1)", "x", eEOEquals, "(1", 6},
        // Not, All and Any are tested by their letters alone.
        ReadCase{"Not Priority = High", "Priority", eEOEquals, "High", -1, true},
        ReadCase{"Notes = 1", "es", eEOEquals, "1", -1, true},
        ReadCase{"\"Not Here\" = 1", "Not Here", eEOEquals, "1", -1}, ReadCase{"a Any = 1", "a", eEOEquals, "1", -1},
        ReadCase{"a All > 2", "a", eEOGreaterThan, "2", -1, false, true},
        // Operators have no word boundary; "O" alone is the short order.
        ReadCase{"Name Order Asc", "Name", eEOOrder, "Asc", -1}, ReadCase{"Key O 2", "Key", eEOShortOrder, "2", -1},
        ReadCase{"Key Ord Asc", "Key", eEOShortOrder, "rd", 8},
        ReadCase{"Text ulike \"%a%\"", "Text", eEOULike, "%a%", -1},
        // Between: through the blank behind the high word.
        ReadCase{"a Between 1 And 2 AND b = 3", "a", eEOBetween, "1", 18, false, false, {}, "2"},
        ReadCase{"\"Due Date\" between 1/1/2003 and 3/1/2003",
                 "Due Date",
                 eEOBetween,
                 "1/1/2003",
                 -1,
                 false,
                 false,
                 {},
                 "3/1/2003"},
        // The first " AND " wins, quotes or not.
        ReadCase{"a Between \"x and y\" And \"z\"", "a", eEOBetween, "x", 20, false, false, {}, "y"},
        // In lists: commas part the items, duplicates (any case) are dropped.
        ReadCase{"a In x, y, z", "a", eEOIN, "", -1, false, false, {"x", "y", "z"}},
        ReadCase{"a In x y", "a", eEOIN, "", 7, false, false, {"x"}},
        ReadCase{"a In (x, y)", "a", eEOIN, "", 10, false, false, {"(x", "y"}},
        ReadCase{"a In x,", "a", eEOIN, "", -1, false, false, {"x"}},
        ReadCase{"a In ,x", "a", eEOIN, "", -1, false, false, {",x"}},
        ReadCase{"a In High, HIGH,high", "a", eEOIN, "", -1, false, false, {"High"}},
        ReadCase{"a In \"ab cd\", x", "a", eEOIN, "", -1, false, false, {"ab cd", "x"}},
        ReadCase{"a Inside 1", "a", eEOIN, "", 9, false, false, {"side"}},
        // Only 255 characters of a long value are taken.
        ReadCase{"a = " + k300, "a", eEOEquals, k300, 4 + 255},
        // A comma ends a number under a decimal point.
        ReadCase{"Size = 1,5", "Size", eEOEquals, "1", 8}));

struct FailCase {
  std::string sExpr;
  enumQueryEngineError eResult;
  long lMessage;
  std::string sArg;  // the message argument
  long lExprLen;
};

void PrintTo(const FailCase& c, std::ostream* os) { *os << "[" << c.sExpr << "]"; }

class SimpleExpressionFailTest : public ::testing::TestWithParam<FailCase> {};

TEST_P(SimpleExpressionFailTest, FailsWithCodeAndMessage) {
  const FailCase& c = GetParam();
  SimpleExpression oExpr;
  long lExprLen = -1;
  std::string sErrInfo;
  EXPECT_EQ(oExpr.ResolveFromString(c.sExpr, lExprLen, sErrInfo), c.eResult);
  EXPECT_EQ(sErrInfo, modMain::MessageWithArg(c.lMessage, c.sArg));
  EXPECT_EQ(lExprLen, c.lExprLen);
}

const std::string k255(255, 'a');

INSTANTIATE_TEST_SUITE_P(
    Failures, SimpleExpressionFailTest,
    ::testing::Values(FailCase{"Priority", eQEEMissingExprOperator, 14019, "Priority", 8},
                      FailCase{"Priority =", eQEEMissingExprValue, 14022, "Priority =", 10},
                      FailCase{"Not", eQEEMissingExprValue, 14018, "Not", 3},
                      FailCase{"", eQEEMissingExprValue, 14018, "", 0},
                      FailCase{"a Anything = 1", eQEEMissingExprOperator, 14019, "a Anything = 1", 5},
                      FailCase{"a Between 1", eQEEBetweenMissingAnd, 14020, "", 10},
                      FailCase{"a Between 1 And", eQEEBetweenMissingAnd, 14020, "", 10},
                      // One word before the AND: the rest would be lost unread.
                      FailCase{"a Between 1 OR 1=1 And 2", eQEEBetweenMissingAnd, 14020, "", 10},
                      // The attribute limit counts the source, quotes included.
                      FailCase{k255 + "x = 1", eQEEValueTooLong, 14017, k255 + "x = 1", 0},
                      FailCase{"\"" + std::string(254, 'a') + "\" = 1", eQEEValueTooLong, 14017,
                               "\"" + std::string(254, 'a') + "\" = 1", 0},
                      FailCase{"Not " + k255 + "x = 1", eQEEValueTooLong, 14017, k255 + "x = 1", 4}));

TEST(SimpleExpressionTest, LongestAttributeIs255) {
  SimpleExpression oExpr;
  long lExprLen = 0;
  std::string sErrInfo;
  EXPECT_EQ(oExpr.ResolveFromString(k255 + " = 1", lExprLen, sErrInfo), eQEENone);
  EXPECT_EQ(oExpr.AttrPrefix(), k255);
}

TEST(SimpleExpressionTest, KeyedInListReadsQuotedItemsWhole) {
  testing_support::ScopedLookupType byKey(eQLTByKey);
  struct Case {
    std::string sExpr;
    enumQueryEngineError eResult;
    std::vector<std::string> aItems;
    long lExprLen;
  };
  const Case cases[] = {
      {"a In \"12\", \"13\"", eQEENone, {"12", "13"}, 15},
      // A free value with a blank, as the keyed text of a name writes it.
      {"a In \"ab cd\", x", eQEENone, {"ab cd", "x"}, 15},
      {"a In \"Release 2.0\", \"a \"\"b\"\"\"", eQEENone, {"Release 2.0", "a \"b\""}, 29},
  };
  for (const Case& c : cases) {
    SimpleExpression oExpr;
    long lExprLen = 0;
    std::string sErrInfo;
    EXPECT_EQ(oExpr.ResolveFromString(c.sExpr, lExprLen, sErrInfo), c.eResult) << c.sExpr;
    EXPECT_EQ(Items(oExpr), c.aItems) << c.sExpr;
    EXPECT_EQ(lExprLen, c.lExprLen) << c.sExpr;
    if (c.eResult == eQEEInMissingItems) {
      EXPECT_EQ(sErrInfo, modMain::MessageWithArg(14021, c.sExpr));
    }
  }
}

TEST(SimpleExpressionTest, DecimalCommaLocaleKeepsCommaInValue) {
  testing_support::ScopedCommaLocale comma;
  SimpleExpression oExpr;
  long lExprLen = 0;
  std::string sErrInfo;
  ASSERT_EQ(oExpr.ResolveFromString("Size = 1,5", lExprLen, sErrInfo), eQEENone);
  EXPECT_EQ(oExpr.Value(), Variant("1,5"));
  EXPECT_EQ(lExprLen, 10);
  // In an In list the comma still separates.
  ASSERT_EQ(oExpr.ResolveFromString("Size In 1,5", lExprLen, sErrInfo), eQEENone);
  EXPECT_EQ(Items(oExpr), (std::vector<std::string>{"1", "5"}));
}

TEST(SimpleExpressionTest, ResolveStartsOverAndKeepsWordsAsWritten) {
  SimpleExpression oExpr;
  long lExprLen = 0;
  std::string sErrInfo;
  ASSERT_EQ(oExpr.ResolveFromString("Not a All In x, y", lExprLen, sErrInfo, true), eQEENone);
  EXPECT_TRUE(oExpr.SortExpression());
  ASSERT_EQ(oExpr.ResolveFromString("priority = high", lExprLen, sErrInfo), eQEENone);
  EXPECT_FALSE(oExpr.ExprNot());
  EXPECT_FALSE(oExpr.IsAllExpr());
  EXPECT_FALSE(oExpr.SortExpression());
  EXPECT_TRUE(oExpr.ListItemPrefixes().Empty());
  EXPECT_EQ(oExpr.AttrPrefix(), "priority");
  EXPECT_EQ(oExpr.OrgExprString(), "priority = high");
  // From outside, the attribute is trimmed and upper-cased.
  oExpr.SetAttrPrefix("  due date ");
  EXPECT_EQ(oExpr.AttrPrefix(), "DUE DATE");
}

}  // namespace
}  // namespace vlq
