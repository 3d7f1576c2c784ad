// The shrinker of failing queries: what it gives still fails, is smaller,
// keeps the base section (COUNT may go) and never runs two words into one.

#include "query_shrinker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vlq::test {
namespace {

TEST(QueryShrinker, KeepsTheFailureTheBaseSectionAndTheWordBoundaries) {
  const struct {
    const char* query;
    std::vector<const char*> needles;  // the query "fails" while it holds all of them
    const char* smallest;
  } rows[] = {
      {"ReqType.Prefix(PR) PR.Criteria(a = 1 AND (Name = x OR b = 2)) PR.Sort(Name Order Asc)",
       {"Name = x"},
       "ReqType.Prefix(PR) Name = x"},
      {"COUNT ReqType.Prefix(PR) PR.Criteria(a = 1 and (((b In x, y))))",
       {"and", "b In"},
       "ReqType.Prefix(PR) and b In"},
      {"DISCUSSION.Criteria(Subject = \"a (b) \"\"c\"\"\" OR Key = 1)", {"\"a (b) \"\"c\"\"\""}, "\"a (b) \"\"c\"\"\""},
  };
  for (const auto& row : rows) {
    int tries = 0;
    const std::string small = ShrinkQuery(row.query, [&](const std::string& text) {
      ++tries;
      return std::all_of(row.needles.begin(), row.needles.end(),
                         [&](const char* needle) { return text.find(needle) != std::string::npos; });
    });
    EXPECT_EQ(small, row.smallest) << row.query;
    EXPECT_LE(tries, 400);
  }
}

}  // namespace
}  // namespace vlq::test
