// The size limits of a query: what the engine accepts at its limits runs on a
// real file in every shape of statement (base, trace destination, closure,
// tree order), and one step beyond is refused with a clear message.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "closure_test_support.h"
#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "model/query_def.h"
#include "parser/complex_expression.h"
#include "sql_test_support.h"
#include "store_fixture.h"

namespace vlq {
namespace {

// PR (key 5) with the whole-number attributes A1 to A30 (keys 101 to 130) and
// the list Level (key 200: Low 1, High 2); SR (key 7) with the same list and
// the multi-select list Tags (key 310: Red, Blue).
// PR 1 -> SR 11 -> SR 12, and PR 2 without traces.
class QueryLimits : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.AddReqType(5, "PR");
    store_.AddReqType(7, "SR");
    for (int i = 1; i <= 30; ++i) store_.AddAttr(100 + i, 5, "A" + std::to_string(i), eADTWholeNumber);
    for (long type : {5L, 7L}) {
      const long attr = type == 5 ? 200 : 300;
      store_.AddAttr(attr, type, "Level", eADTList);
      store_.AddListItem(attr, attr + 1, 1, "Low");
      store_.AddListItem(attr, attr + 2, 2, "High");
    }
    store_.AddAttr(310, 7, "Tags", eADTMultiSelectList);
    store_.AddListItem(310, 311, 1, "Red");
    store_.AddListItem(310, 312, 2, "Blue");
    store_.AddRequirement(1, 5, test::LongTag({1}));
    store_.AddRequirement(2, 5, test::LongTag({1, 1}));
    store_.AddRequirement(11, 7, test::LongTag({1}));
    store_.AddRequirement(12, 7, test::LongTag({2}));
    store_.SetValue(1, 101, 5);
    store_.ChooseItem(1, 200, 202);
    store_.ChooseItem(12, 300, 302);
    store_.AddTrace(1, 11);
    store_.AddTrace(11, 12);
    project_ = store_.Open();
  }

  // Fetches with and without tree order; the result code of both.
  enumQueryEngineError Fetch(const std::string& query, std::string& info, std::vector<long>* keys = nullptr) {
    enumQueryEngineError result = eQEENone;
    for (bool hierarchy : {false, true}) {
      QueryEngine engine;
      Rows rows;
      std::shared_ptr<QueryDef> def;
      result = engine.Fetch(eBTRequirements, eQLTByPrefix, project_, query, info, rows, def, hierarchy);
      if (result != eQEENone) return result;
      if (keys && !hierarchy) *keys = test::KeysOf(rows);
      EXPECT_EQ(test::WorkTableRows(*project_), 0) << query;
    }
    return result;
  }

  test::StoreFixture store_;
  std::shared_ptr<Project> project_;
};

// Lists nested as deep as the limit allows, in the shape that gives the
// statement the most parentheses: two groups a level, a NOT before the outer,
// each with two tokens. The leaf begins with a quoted attribute, so that a
// NOT in front of it is read as a NOT before a group.
std::string Nested(int depth, const std::string& leaf) {
  std::string text = leaf + " AND " + leaf;
  for (int i = 0; i < depth; ++i) text = "NOT (" + leaf + " OR (" + text + "))";
  return text;
}

TEST_F(QueryLimits, TheDeepestNestingRunsInEveryStatement) {
  const int depth = ComplexExpression::kMaxNestingDepth / 2;
  const std::string base = Nested(depth, "\"A1\" = 5");
  // The multi-select list under NOT takes a subquery of its own.
  const std::string dest = Nested(depth, "\"Tags\" In Red, Blue");
  const std::vector<std::string> queries = {
      "ReqType.Prefix(PR) PR.Criteria(" + base + ")",
      "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR) SR.Criteria(" + dest + ")",
      "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\") SR.Criteria(" + dest + ")",
      "ReqType.Prefix(PR) PR.Criteria(" + base +
          ") PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\") "
          "SR.Criteria(" +
          dest + ")",
  };
  for (const std::string& query : queries) {
    std::string info;
    EXPECT_EQ(Fetch(query, info), eQEENone) << info << "\n" << query;
  }
  // One level more is refused.
  std::string info;
  std::string deeper = "A1 = 5";
  for (int i = 0; i <= ComplexExpression::kMaxNestingDepth; ++i) deeper = "(" + deeper + ")";
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(" + deeper + ")", info), eQEEValueTooLong);
  EXPECT_EQ(info, modMain::MessageWithArg(14130, std::to_string(ComplexExpression::kMaxNestingDepth)));
}

TEST_F(QueryLimits, AsManyExpressionsAsTheLimitAllowsRun) {
  // 256 expressions: in one list, and in as many criteria sections.
  std::string list = "A1 = 5";
  std::string sections = "ReqType.Prefix(PR)";
  for (int i = 1; i < 256; ++i) list += " OR A1 = " + std::to_string(i);
  for (int i = 0; i < 256; ++i) sections += " PR.Criteria(A1 > " + std::to_string(i % 5) + ")";
  std::string info;
  std::vector<long> keys;
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(" + list + ")", info, &keys), eQEENone) << info;
  EXPECT_EQ(keys, (std::vector<long>{1}));
  EXPECT_EQ(Fetch(sections, info, &keys), eQEENone) << info;
  EXPECT_EQ(keys, (std::vector<long>{1}));
  // One more is refused, wherever it stands.
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(" + list + ") PR.Sort(A2 Order Asc)", info), eQEEValueTooLong);
  EXPECT_EQ(info, modMain::MessageWithArg(14141, "256"));
}

TEST_F(QueryLimits, LongInListsRun) {
  std::string keys = "1";
  std::string values = "5";
  for (int i = 100; i < 5000; ++i) {
    keys += ", " + std::to_string(i);
    values += ", " + std::to_string(i);
  }
  std::string info;
  std::vector<long> found;
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(Key In " + keys + ")", info, &found), eQEENone) << info;
  EXPECT_EQ(found, (std::vector<long>{1}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(A1 In " + values + ")", info, &found), eQEENone) << info;
  EXPECT_EQ(found, (std::vector<long>{1}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(NOT Key In " + keys + ")", info, &found), eQEENone) << info;
  EXPECT_EQ(found, (std::vector<long>{2}));
}

TEST_F(QueryLimits, AttributesUpToTheLimitRun) {
  std::string criteria;
  for (int i = 1; i <= 24; ++i) criteria += (i > 1 ? " OR A" : "A") + std::to_string(i) + " = 5";
  std::string info;
  std::vector<long> keys;
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(" + criteria + ")", info, &keys), eQEENone) << info;
  EXPECT_EQ(keys, (std::vector<long>{1}));
  EXPECT_EQ(Fetch("ReqType.Prefix(PR) PR.Criteria(" + criteria + ") PR.Sort(A25 Order Asc)", info), eQEEValueTooLong);
  EXPECT_EQ(info, modMain::MessageWithArg(14143, "24"));
}

}  // namespace
}  // namespace vlq
