// The walk over criteria lists: how lists and sections are joined, and how a
// NOT is pushed down to the leaves by De Morgan's rule. The expected texts are
// put together from the conditions of the single expressions, so that these
// tests are about the joining alone.
#include <gtest/gtest.h>

#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

class SqlExpressions : public ::testing::Test {
 protected:
  void SetUp() override {
    test::AddWorkedExampleAttributes(store);
    project = store.Open();
  }

  // The typed criteria of a query, as the engine makes them (without SQL).
  std::shared_ptr<QueryDef> Typed(const std::string& sections) {
    std::string info;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) " + sections, info, def),
              eQEENone)
        << info;
    return def;
  }

  // The WHERE text of the criteria of a query.
  std::string Where(const std::string& sections, QuerySql& sql) {
    auto def = Typed(sections);
    std::string text;
    if (def) sql.ExpressionsToSQL(def->ComplexExpressions(), text);
    return text;
  }
  std::string Where(const std::string& sections) {
    QuerySql sql;
    sql.BaseProject(project);
    return Where(sections, sql);
  }

  // The condition of one expression, written on its own.
  std::string Cond(const std::string& expression) {
    auto def = Typed("PR.Criteria(" + expression + ")");
    std::vector<std::shared_ptr<TypedSimpleExpression>> simple;
    if (def && !def->ComplexExpressions().Empty()) test::CollectSimple(**def->ComplexExpressions().Item(1), simple);
    QuerySql sql;
    sql.BaseProject(project);
    return simple.size() == 1 ? sql.ReqTypeExpressionToSQL(*simple[0]) : "<?>";
  }

  test::StoreFixture store;
  std::shared_ptr<Project> project;
  QueryEngine engine;
};

const std::string AND = " \r\nAND ";
const std::string OR = " \r\nOR ";

TEST_F(SqlExpressions, OneExpressionStandsWithoutParentheses) {
  EXPECT_EQ(Where("PR.Criteria(Desc = abc)"), " " + Cond("Desc = abc"));
}

TEST_F(SqlExpressions, ConnectorsOfAListAndTheSectionsOfACollection) {
  EXPECT_EQ(Where("PR.Criteria(Desc = abc Or Num = 3 And Priority = High)"),
            " (" + Cond("Desc = abc") + OR + Cond("Num = 3") + AND + Cond("Priority = High") + ")");
  // Two sections are joined by AND, each further one in its own parentheses.
  EXPECT_EQ(Where("PR.Criteria(Desc = abc) PR.Criteria(Num = 3)"),
            "( " + Cond("Desc = abc") + "\r\nAND ( " + Cond("Num = 3") + "))");
  EXPECT_EQ(Where("PR.Criteria(Desc = abc) PR.Criteria(Num = 3) PR.Criteria(Num > 1)"),
            "( " + Cond("Desc = abc") + "\r\nAND ( " + Cond("Num = 3") + ")\r\nAND ( " + Cond("Num > 1") + "))");
  // A sub-list keeps its parentheses.
  EXPECT_EQ(Where("PR.Criteria(Desc = abc And (Num = 3 Or Num = 4))"),
            " (" + Cond("Desc = abc") + AND + "((" + Cond("Num = 3") + OR + Cond("Num = 4") + "))" + ")");
}

TEST_F(SqlExpressions, NotOverASubListNegatesEachLeafAndExchangesTheConnectors) {
  EXPECT_EQ(Where("PR.Criteria(Not (\"Desc\" = abc And Num = 3))"),
            " ((" + std::string("(") + Cond("Not Desc = abc") + OR + Cond("Not Num = 3") + ")" + "))");
  EXPECT_EQ(Where("PR.Criteria(Not (\"Desc\" = abc Or (Num = 3 And Priority = High)))"),
            " (((" + Cond("Not Desc = abc") + AND + "((" + Cond("Not Num = 3") + OR + Cond("Not Priority = High") +
                "))" + ")))");
}

TEST_F(SqlExpressions, ALeafThatIsNegatedAlreadyStandsPlainUnderANot) {
  EXPECT_EQ(Where("PR.Criteria(Not (Not \"Desc\" = abc))"), " ((" + Cond("Desc = abc") + "))");
}

TEST_F(SqlExpressions, ANotInsideANotNegatesOnce) {
  EXPECT_EQ(Where("PR.Criteria(Not (\"Desc\" = abc And Not (\"Num\" = 3)))"),
            " (((" + Cond("Not Desc = abc") + OR + "(" + Cond("Not Num = 3") + ")" + ")))");
}

// (A NOT before a sub-list is a token of its own when the sub-list starts with
// a quoted attribute; otherwise the reader takes it for a negated expression.)
//
// A NOT negates the sub-list behind it and nothing after it: the rest of the
// list and the other sections stand as written.
TEST_F(SqlExpressions, ANotReachesNoFurtherThanItsSubList) {
  EXPECT_EQ(Where("PR.Criteria(Not (\"Desc\" = abc) And Num = 3)"),
            " ((" + Cond("Not Desc = abc") + ")" + AND + Cond("Num = 3") + ")");
  EXPECT_EQ(Where("PR.Criteria(Num = 3 Or Not (\"Desc\" = abc Or Num = 4) Or Priority = High)"),
            " (" + Cond("Num = 3") + OR + "((" + Cond("Not Desc = abc") + AND + Cond("Not Num = 4") + "))" + OR +
                Cond("Priority = High") + ")");
  EXPECT_EQ(Where("PR.Criteria(Not (\"Desc\" = abc)) PR.Criteria(Num = 3)"),
            "( ((" + Cond("Not Desc = abc") + "))" + "\r\nAND ( " + Cond("Num = 3") + "))");
}

TEST_F(SqlExpressions, ViewKeysAndTheAggregateOfAMultiSelectList) {
  QuerySql sql;
  sql.BaseProject(project);
  Where("PR.Criteria(Num = 3 And Desc = a Or Num = 4)", sql);
  EXPECT_EQ(std::vector<std::string>(sql.AttrViewKeys().begin(), sql.AttrViewKeys().end()),
            (std::vector<std::string>{"14", "13"}));
  EXPECT_FALSE(sql.NeedsMinAggregate);
  Where("PR.Criteria(Tags = Red)", sql);
  EXPECT_TRUE(sql.NeedsMinAggregate);

  // On the destination side of a relationship the view stands in a subquery
  // with joins of its own: the base statement doesn't join it.
  QuerySql dest;
  dest.BaseProject(project);
  auto def = Typed("PR.Criteria(Tags = Red)");
  std::string text;
  dest.ExpressionsToSQL(def->ComplexExpressions(), text, false, eContextRelDest);
  EXPECT_FALSE(dest.NeedsMinAggregate);
  EXPECT_FALSE(dest.AttrViewKeys().Contains("15"));
}

}  // namespace
}  // namespace vlq
