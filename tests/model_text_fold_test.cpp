// Names compare by Unicode case folding. A fold may change the length of a
// text ("ẞ" is "ss", "ſ" is "s"), so a match in a query is reported in bytes of
// the query's own text; and a byte of no UTF-8 character equals only itself.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "model/collection.h"
#include "model/text_util.h"

namespace vlq {
namespace {

constexpr std::size_t npos = std::string_view::npos;

TEST(TextFold, EqualsNoCaseForAllOfUnicode) {
  const struct {
    std::string a;
    std::string b;
    bool equal;
  } rows[] = {
      {"GRÖSSE", "Größe", true},
      {"ÄR", "är", true},
      {"STRAẞE", "strasse", true},
      {"ſtatus", "STATUS", true},
      {"\u212Aey", "KEY", true},  // the Kelvin sign
      {"ÉLODIE", "Élodie", true},
      {"ﬁle", "FILE", true},
      {"É", "E", false},  // an accent is no case
      {"ß", "s", false},
      {"Größe", "Größer", false},
      {"", "", true},
      // Bytes of no character: each equals itself, and nothing else.
      {"a\xFF" "b", "A\xFF" "B", true},
      {"\xFF", "\xFE", false},
      {"\xC3", "\xC3\xA4", false},
      {"\xC3", "ä", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(text::EqualsNoCase(row.a, row.b), row.equal) << row.a << " / " << row.b;
    EXPECT_EQ(text::EqualsNoCase(row.b, row.a), row.equal) << row.b << " / " << row.a;
    EXPECT_EQ(text::Fold(row.a) == text::Fold(row.b), row.equal) << row.a << " / " << row.b;
  }
}

TEST(TextFold, FindNoCaseGivesPositionAndLengthInTheSearchedText) {
  const struct {
    std::string hay;
    std::string needle;
    std::size_t from;
    std::size_t position;
    std::size_t length;
  } rows[] = {
      {"ReqType.Prefix(PR)", "reqtype.prefix", 0, 0, 14},
      {"x strasse.Criteria(", "STRAẞE.Criteria", 0, 2, 16},   // shorter than the keyword
      {"x ſtraſſe.Criteria(", "STRASSE.Criteria", 0, 2, 19},  // longer
      {"a ß b", "SS", 0, 2, 2},
      {"a ss b", "ß", 0, 2, 2},
      {"aß", "s", 0, npos, 0},  // half of a character is no match
      {"ſa sa", "sa", 1, 4, 2},  // a search from the middle of a character starts behind it
      {"är är", "ÄR", 1, 4, 3},
      {"\xC3\xA4", "\xC3", 0, npos, 0},
      {"a\xC3" "b", "\xC3" "B", 0, 1, 2},
      {"abc", "", 2, 2, 0},
      {"abc", "c", 4, npos, 0},
  };
  for (const auto& row : rows) {
    std::size_t length = 0;
    EXPECT_EQ(text::FindNoCase(row.hay, row.needle, row.from, &length), row.position) << row.hay << " / " << row.needle;
    if (row.position != npos) {
      EXPECT_EQ(length, row.length) << row.hay << " / " << row.needle;
    }
  }
}

// Texts made of pieces with several spellings each; a needle is a stretch of
// a text spelled again. The search must find it (or an earlier match), and
// what it reports must be a stretch of the text equal to the needle.
TEST(TextFold, FindMatchesWhatEqualsTakesAsEqualOnGeneratedTexts) {
  const std::vector<std::vector<std::string>> pieces = {
      {"a", "A"},
      {"s", "S", "ſ"},
      {"ss", "ß", "ẞ", "SS", "ſſ"},
      {"k", "K", "\u212A"},
      {"ä", "Ä"},
      {"fi", "ﬁ", "FI"},
      {"é", "É"},
      {".", "."},
      {" ", " "},
      {"\xFF", "\xFF"},
      {"\xC0", "\xC0"},
      {"\x80", "\x80"},
  };
  std::mt19937 random(20240610);
  const auto pick = [&random](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
  for (int round = 0; round < 3000; ++round) {
    const std::size_t count = 1 + pick(20);
    std::string hay;
    std::vector<std::size_t> starts;
    std::vector<std::size_t> kinds;
    for (std::size_t i = 0; i < count; ++i) {
      kinds.push_back(pick(pieces.size()));
      starts.push_back(hay.size());
      hay += pieces[kinds.back()][pick(pieces[kinds.back()].size())];
    }
    const std::size_t first = pick(count);
    const std::size_t last = first + pick(count - first);
    std::string needle;
    for (std::size_t i = first; i <= last; ++i) needle += pieces[kinds[i]][pick(pieces[kinds[i]].size())];

    std::size_t length = 0;
    const std::size_t at = text::FindNoCase(hay, needle, 0, &length);
    ASSERT_NE(at, npos) << hay << " / " << needle;
    EXPECT_LE(at, starts[first]) << hay << " / " << needle;
    EXPECT_TRUE(text::EqualsNoCase(hay.substr(at, length), needle)) << hay << " / " << needle;
    std::size_t prefixLength = 0;
    EXPECT_TRUE(text::StartsWithNoCase(std::string_view(hay).substr(at), needle, &prefixLength));
    EXPECT_EQ(prefixLength, length) << hay << " / " << needle;
  }
}

TEST(Collection, KeysFoldForAllOfUnicodeAndKeepTheirSpelling) {
  Collection<int> c;
  EXPECT_TRUE(c.Add(1, "Größe"));
  EXPECT_FALSE(c.Add(2, "GRÖSSE"));
  EXPECT_TRUE(c.Add(3, "Grosse"));  // an accent is no case: another key
  ASSERT_NE(c.Item("GRÖẞE"), nullptr);
  EXPECT_EQ(*c.Item("GRÖẞE"), 1);
  EXPECT_EQ(*c.Item("grosse"), 3);
  EXPECT_EQ(c.KeyAt(1), "Größe");
}

}  // namespace
}  // namespace vlq
