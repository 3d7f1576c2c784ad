// The two word readers of modMain: one word of a query (bare, quoted, doubled
// quotes, the decimal comma) and the text between a pair of parentheses.

#include <gtest/gtest.h>

#include <string>

#include "engine/mod_main.h"
#include "parser_test_support.h"

namespace vlq {
namespace {

struct WordCase {
  const char* sText;
  bool bInList;
  const char* sWord;
  long lConsumed;
};

void PrintTo(const WordCase& c, std::ostream* os) { *os << "[" << c.sText << "]" << (c.bInList ? " in list" : ""); }

class ExtractQueryBaseCriteriaTest : public ::testing::TestWithParam<WordCase> {};

TEST_P(ExtractQueryBaseCriteriaTest, ReadsOneWord) {
  const WordCase& c = GetParam();
  long lConsumed = -1;
  EXPECT_EQ(modMain::ExtractQueryBaseCriteria(c.sText, lConsumed, c.bInList), c.sWord);
  EXPECT_EQ(lConsumed, c.lConsumed);
}

INSTANTIATE_TEST_SUITE_P(Words, ExtractQueryBaseCriteriaTest,
                         ::testing::Values(
                             // A bare word ends at a blank, a parenthesis, a comparison sign or a
                             // comma, none of which it consumes.
                             WordCase{"abc def", false, "abc", 3}, WordCase{"abc=1", false, "abc", 3},
                             WordCase{"a<b", false, "a", 1}, WordCase{"a>b", false, "a", 1},
                             WordCase{"a(b", false, "a", 1}, WordCase{"a)b", false, "a", 1},
                             // The first character is taken whatever it is.
                             WordCase{"(a", false, "(a", 2}, WordCase{",x", true, ",x", 2},
                             WordCase{"=", false, "=", 1},
                             // A quote ends a bare word and is left for the next one.
                             WordCase{"abc\"def\"", false, "abc", 3},
                             // Quoted: data up to the closing quote, which is consumed.
                             WordCase{"\"a b\" c", false, "a b", 5}, WordCase{"\"a) (b,c\"x", true, "a) (b,c", 9},
                             WordCase{"\"a\"b", false, "a", 3},
                             // Doubled quotes are one quote character and count two.
                             WordCase{"\"say \"\"hi\"\"\"", false, "say \"hi\"", 12}, WordCase{"\"\"", false, "", 2},
                             WordCase{"\"\"\"\"", false, "\"", 4}, WordCase{"ab\"\"cd", false, "ab\"cd", 6},
                             WordCase{"\"\"\"x\" y", false, "\"x", 5},
                             // An unclosed quote runs to the end of the text.
                             WordCase{"\"unclosed text", false, "unclosed text", 14},
                             // Leading blanks are kept and counted.
                             WordCase{"  ab cd", false, "  ab", 4}, WordCase{"", false, "", 0},
                             // With a decimal point the comma always ends a word.
                             WordCase{"1,5", false, "1", 1}, WordCase{"1,5", true, "1", 1}));

TEST(ExtractQueryBaseCriteriaLocaleTest, DecimalCommaKeepsNumberOutsideInLists) {
  testing_support::ScopedCommaLocale comma;
  long lConsumed = 0;
  EXPECT_EQ(modMain::ExtractQueryBaseCriteria("1,5 x", lConsumed, false), "1,5");
  EXPECT_EQ(lConsumed, 3);
  EXPECT_EQ(modMain::ExtractQueryBaseCriteria("1,5 x", lConsumed, true), "1");
  EXPECT_EQ(lConsumed, 1);
}

struct ParensCase {
  const char* sText;
  std::size_t lStart;
  const char* sResult;
  const char* sTextAfter;
};

void PrintTo(const ParensCase& c, std::ostream* os) { *os << "[" << c.sText << "] at " << c.lStart; }

class DataBetweenParensTest : public ::testing::TestWithParam<ParensCase> {};

TEST_P(DataBetweenParensTest, TakesTheGroupAndBlanksIt) {
  const ParensCase& c = GetParam();
  std::string sText = c.sText;
  EXPECT_EQ(modMain::DataBetweenParens(sText, c.lStart), c.sResult);
  EXPECT_EQ(sText, c.sTextAfter);
}

INSTANTIATE_TEST_SUITE_P(
    Groups, DataBetweenParensTest,
    ::testing::Values(
        ParensCase{"(a = 1) rest", 1, "a = 1", "        rest"}, ParensCase{"x(a)y", 2, "a", "x   y"},
        // No "(" at the start: nothing is read, nothing blanked.
        ParensCase{"x(a)", 1, "", "x(a)"}, ParensCase{"(a)", 0, "", "(a)"}, ParensCase{"(a)", 4, "", "(a)"},
        // Nested groups keep their parentheses; the close that levels the
        // count ends the walk.
        ParensCase{"((a) OR (b)) c", 1, "(a) OR (b)", "             c"},
        // Parentheses in quotes are data; the quotes stay.
        ParensCase{"(Name = \"a)b\") x", 1, "Name = \"a)b\"", "               x"},
        // Unbalanced: the rest of the text, without an error.
        ParensCase{"(a = 1", 1, "a = 1", "      "}, ParensCase{"(a = \")\"", 1, "a = \")\"", "        "},
        ParensCase{"(  ) b", 1, "", "     b"}));

}  // namespace
}  // namespace vlq
