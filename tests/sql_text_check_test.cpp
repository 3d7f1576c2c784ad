// The statement checker of the property tests: it must pass every statement
// the engine is known to write well (the golden statements of all dialects)
// and catch the forms that no database accepts.

#include "sql_text_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "sql_test_support.h"

namespace vlq::test {
namespace {

TEST(SqlTextCheck, GoldenStatementsOfEveryDialectAreSound) {
  long checked = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VLQ_TEST_DATA_DIR)) {
    if (entry.path().extension() != ".sql") continue;
    const std::string sql = ReadGolden(entry.path().filename().string());
    if (sql.rfind("--", 0) == 0) continue;  // a script of test data, not a statement
    EXPECT_EQ(sqltext::FormProblems(sql), std::vector<std::string>{}) << entry.path().filename();
    ++checked;
  }
  EXPECT_GT(checked, 40);
}

TEST(SqlTextCheck, FindsWhatNoDatabaseAccepts) {
  const struct {
    const char* sql;
    const char* problem;
  } rows[] = {
      {"SELECT ID FROM T WHERE (A = 1", "1 unclosed ("},
      {"SELECT ID FROM T WHERE A = 1)", "unbalanced ) at token 8"},
      {"SELECT ID FROM T WHERE A IN ()", "empty () behind IN"},
      {"SELECT ID FROM T WHERE (A = 1 AND)", "connector AND before )"},
      {"SELECT ID FROM T WHERE A = 1 OR", "connector OR at the end"},
      {"SELECT ID FROM T WHERE A = 1 AND ORDER BY ID", "connector AND before ORDER"},
      {"SELECT ID FROM T WHERE (OR A = 1)", "connector OR without a left side"},
      {"SELECT ID FROM T WHERE NOT )", "NOT before )"},
      {"SELECT ID FROM T WHERE A >= AND B = 1", "comparison >= without a right side"},
      {"SELECT ID FROM T WHERE A IN (1, )", "empty item in a list"},
      {"SELECT ID FROM T WHERE A = 1; DELETE FROM T", "statement separator ; outside a literal"},
      {"SELECT ID FROM T WHERE A = 1 -- rest", "comment mark -- outside a literal"},
      {"SELECT ID FROM T WHERE A = 'it''s", "unclosed ' from offset 27"},
      {"SELECT ID FROM T WHERE D = #1/2/2000", "unclosed # from offset 27"},
      {"SELECT ID FROM T WHERE A BETWEEN 1 AND 1 2", "two literals in a row: 1 2"},
  };
  for (const auto& row : rows) {
    const std::vector<std::string> problems = sqltext::FormProblems(row.sql);
    EXPECT_NE(std::find(problems.begin(), problems.end(), row.problem), problems.end())
        << row.sql << "\n first problem: " << (problems.empty() ? "none" : problems.front());
  }
}

TEST(SqlTextCheck, LiteralsAndNumbersDontCountInTheShape) {
  EXPECT_EQ(sqltext::Shape("WHERE N = 'it''s; --' AND D < #1/2/2000# AND K IN (-12, 3.5)"),
            "WHERE N = '?' AND D < #?# AND K IN ( # , # )");
  EXPECT_EQ(sqltext::Shape("WHERE N = 'a' AND X = 1"), sqltext::Shape("WHERE N = 'b'' OR 1=1' AND X = 99"));
  EXPECT_NE(sqltext::Shape("WHERE X BETWEEN 1 AND 2"), sqltext::Shape("WHERE X BETWEEN 1 AND 1 OR 1=1"));
}

}  // namespace
}  // namespace vlq::test
