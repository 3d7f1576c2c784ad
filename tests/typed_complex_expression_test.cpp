// TypedComplexExpression: typing a list in place, what it gathers from its
// sub-lists, its query text with connectors, groups and NOT, and the Add
// operations of QuerySql that make it.

#include "model/typed_complex_expression.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "memory_project.h"
#include "model/typed_simple_expression.h"
#include "parser/complex_expression.h"
#include "parser/token.h"
#include "sql/query_sql.h"
#include "typed_test_support.h"

namespace vlq {
namespace {

using test::MakeSampleProject;
using test::SampleGUID;
using test::TypeList;
using test::TypeOptions;

TypeOptions Form(enumQueryLookupTypes lookup) {
  TypeOptions o;
  o.lookup = lookup;
  o.spec = lookup == eQLTByPrefix ? "PR" : lookup == eQLTByKey ? "5" : SampleGUID('T', 5);
  return o;
}

TEST(TypedComplexExpression, TypesTheSameTokensInPlace) {
  auto project = MakeSampleProject();
  modMain::SetModuleLookupType(eQLTByPrefix);
  auto parsed = std::make_shared<ComplexExpression>();
  ASSERT_TRUE(parsed->Tokenize("Priority = High OR (Difficulty = 2 AND Priority = Low)"));
  std::vector<Token*> before;
  for (const auto& token : parsed->Tokens()) before.push_back(token.get());

  ProjStructSpecifier spec;
  std::string errInfo;
  ASSERT_EQ(spec.ResolveKeysAndPrefixes(project, "PR", eQLTByPrefix, errInfo), eQEENone);
  TypedComplexExpression typed;
  typed.SetComplexExpression(parsed);
  typed.SetBaseType(eBTRequirements);
  typed.SetProjStruSpec(spec);
  ASSERT_EQ(typed.ResolveForType(true, project, eQLTByPrefix, eVLSReqType, errInfo), eQEENone) << errInfo;

  // The very collection and tokens of the parsed list now hold typed objects.
  ASSERT_EQ(typed.Tokens(), &parsed->Tokens());
  ASSERT_EQ(parsed->Tokens().Count(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(parsed->Tokens().Item(i + 1)->get(), before[i]);
  const auto& tokens = parsed->Tokens();
  EXPECT_EQ((*tokens.Item(1))->TokenType(), eTTTypedExpression);
  EXPECT_EQ((*tokens.Item(2))->TokenType(), eTTOrConnector);
  ASSERT_EQ((*tokens.Item(3))->TokenType(), eTTTypedCompExpression);
  const auto child = (*tokens.Item(3))->AsTypedComplexExpression();
  ASSERT_TRUE(child);
  EXPECT_EQ((*child->Tokens()->Item(1))->TokenType(), eTTTypedExpression);

  // Attribute keys in order of first use, at each level; each list has its
  // own copy of the specifier.
  ASSERT_EQ(typed.AttrKeys().Count(), 2U);
  EXPECT_EQ(*typed.AttrKeys().Item(1), "12");
  EXPECT_EQ(*typed.AttrKeys().Item(2), "14");
  ASSERT_EQ(child->AttrKeys().Count(), 2U);
  EXPECT_EQ(*child->AttrKeys().Item(1), "14");
  EXPECT_EQ(*child->AttrKeys().Item(2), "12");
  EXPECT_EQ(typed.TypeKey(), "5");
  EXPECT_EQ(child->TypeKey(), "5");
  EXPECT_NE(&child->ProjStruSpec(), &typed.ProjStruSpec());
  EXPECT_FALSE(typed.HasAllExpr());
}

TEST(TypedComplexExpression, AllExpressionOfASubListMarksTheOuterList) {
  auto project = MakeSampleProject();
  const test::TypedList list = TypeList(project, "Priority = High AND ((Tags All = Red))");
  ASSERT_EQ(list.result, eQEENone) << list.errInfo;
  EXPECT_TRUE(list.typed->HasAllExpr());
}

TEST(TypedComplexExpression, FailureInASubListLeavesTheListHalfTyped) {
  auto project = MakeSampleProject();
  const test::TypedList list = TypeList(project, "Priority = High AND (Difficulty = x)");
  EXPECT_EQ(list.result, eQEEInvalidAttrData);
  EXPECT_EQ(list.errInfo, modMain::MessageWithArg(14077, "x"));
  EXPECT_EQ((*list.expression->Tokens().Item(1))->TokenType(), eTTTypedExpression);
  EXPECT_EQ((*list.expression->Tokens().Item(3))->TokenType(), eTTComplexExpression);
}

TEST(TypedComplexExpression, BaseWordIsResolvedAgainAndFailsByGuid) {
  auto project = MakeSampleProject();
  // By key the base word is its own key and resolves.
  const test::TypedList byKey = TypeList(project, "-15 > 1", test::ProjectWide(eQLTByKey));
  EXPECT_EQ(byKey.result, eQEENone) << byKey.errInfo;
  EXPECT_EQ(byKey.typed->TypeKey(), "REQUIREMENT");
  // A base word has no GUID, so a project-wide list can't be read by GUID.
  const test::TypedList byGuid =
      TypeList(project, "{B9FA157F-4209-11D4-9A75-0010A4F40007} > 1", test::ProjectWide(eQLTByGUID));
  EXPECT_EQ(byGuid.result, eQEEUnknownExprPrefix);
  EXPECT_EQ(byGuid.errInfo, modMain::MessageWithArg(14120, ""));
}

TEST(TypedComplexExpression, QueryTextOfConnectorsAndGroups) {
  auto project = MakeSampleProject();
  const test::TypedList list = TypeList(project, "Priority = High or Difficulty = 2 and ((Priority = Low))");
  ASSERT_EQ(list.result, eQEENone) << list.errInfo;
  EXPECT_EQ(list.typed->QueryString(eQLTByPrefix),
            "\"Priority\" = \"High\" OR \"Difficulty\" = 2 AND ((\"Priority\" = \"Low\"))");
  EXPECT_EQ(list.typed->QueryString(eQLTByKey), "12 = 34 OR 14 = 2 AND ((12 = 36))");
  EXPECT_EQ(list.typed->QueryString(eQLTNone), "");

  TypedComplexExpression empty;
  EXPECT_EQ(empty.Tokens(), nullptr);
  EXPECT_EQ(empty.QueryString(eQLTByPrefix), "");
  EXPECT_EQ(empty.ClassName(), "TypedComplexExpression");
}

// NOT before a group is written "NOT ( ": the blank keeps the reader from
// taking "(" and the first word of the group for one attribute word.
TEST(TypedComplexExpression, NotTokenWritesBackToTheSameList) {
  auto project = MakeSampleProject();
  const test::TypedList list = TypeList(project, "NOT (\"Priority\" = High) AND Difficulty = 1");
  ASSERT_EQ(list.result, eQEENone) << list.errInfo;
  ASSERT_EQ((*list.expression->Tokens().Item(1))->TokenType(), eTTNotOperator);
  EXPECT_EQ(list.typed->QueryString(eQLTByPrefix), "NOT ( \"Priority\" = \"High\") AND \"Difficulty\" = 1");
  EXPECT_EQ(list.typed->QueryString(eQLTByKey), "NOT ( 12 = 34) AND 14 = 1");
  EXPECT_EQ(list.typed->QueryString(eQLTByGUID),
            "NOT ( " + SampleGUID('A', 12) + " = " + SampleGUID('I', 34) + ") AND " + SampleGUID('A', 14) + " = 1");

  // Each form, read again by its lookup type, gives the same list.
  const std::vector<std::string> lists = {
      "NOT (\"Priority\" = High) AND Difficulty = 1",
      "Difficulty = 1 OR NOT (\"Priority\" = High OR Not Tags = Red)",
      "NOT ((Priority = High) AND NOT (\"Cost\" > 2.5))",
      "NOT (Not Priority = High)",
      "(NOT (\"Author\" In Ann, Bob)) AND NOT (\"Due\" Between 1/2/2000 And 3/4/2005)",
  };
  for (const std::string& text : lists) {
    SCOPED_TRACE(text);
    const test::TypedList first = TypeList(project, text);
    ASSERT_EQ(first.result, eQEENone) << first.errInfo;
    for (enumQueryLookupTypes form : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
      const std::string written = first.typed->QueryString(form);
      SCOPED_TRACE(written);
      const test::TypedList again = TypeList(project, written, Form(form));
      ASSERT_EQ(again.result, eQEENone) << again.errInfo;
      EXPECT_EQ(again.expression->Tokens().Count(), first.expression->Tokens().Count());
      for (enumQueryLookupTypes other : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
        EXPECT_EQ(again.typed->QueryString(other), first.typed->QueryString(other));
      }
    }
  }
}

// ---- QuerySql: the Add operations ----------------------------------------------------------

class QuerySqlAdds : public ::testing::Test {
 protected:
  void SetUp() override {
    project_ = MakeSampleProject();
    sql_.BaseProject(project_);
    sql_.QueryReturnType(eBTRequirements);
    sql_.LookupType(eQLTByPrefix);
    sql_.ReqQueryScope(eVLSReqType);
    std::string errInfo;
    ASSERT_EQ(sql_.ResolveBaseProjStructSpecifier("PR", errInfo), eQEENone) << errInfo;
  }
  static std::shared_ptr<ComplexExpression> Parse(std::string_view text, bool sort = false) {
    auto parsed = std::make_shared<ComplexExpression>();
    EXPECT_TRUE(parsed->Tokenize(text, sort));
    return parsed;
  }

  std::shared_ptr<test::MemoryProject> project_;
  QuerySql sql_;
};

TEST_F(QuerySqlAdds, CriteriaAndSortListsAreTypedAndKept) {
  bool stop = true;
  std::string errInfo;
  EXPECT_EQ(sql_.AddTypedComplexExpression(stop, Parse("Priority = High"), sql_.BaseProjStruSpec(), errInfo), eQEENone);
  EXPECT_EQ(sql_.AddTypedSortExpression(stop, Parse("Difficulty Order Desc", true), sql_.BaseProjStruSpec(), errInfo),
            eQEENone);
  ASSERT_EQ(sql_.TypedCompExprs().Count(), 1U);
  ASSERT_EQ(sql_.TypedSortExprs().Count(), 1U);
  EXPECT_EQ((*sql_.TypedCompExprs().Item(1))->QueryString(eQLTByKey), "12 = 34");
  EXPECT_EQ((*sql_.TypedSortExprs().Item(1))->QueryString(eQLTByKey), "14 Order 2");
  EXPECT_EQ((*sql_.TypedCompExprs().Item(1))->BaseType(), eBTRequirements);

  // A list that fails is not kept.
  EXPECT_EQ(sql_.AddTypedComplexExpression(stop, Parse("Priority = Huge"), sql_.BaseProjStruSpec(), errInfo),
            eQEEUnknownOperandListItemPrefix);
  EXPECT_EQ(errInfo, modMain::MessageWithArg(14073, "Huge"));
  EXPECT_EQ(sql_.TypedCompExprs().Count(), 1U);
  // Under a build it is kept, with the failure on its expression.
  bool build = false;
  EXPECT_EQ(sql_.AddTypedComplexExpression(build, Parse("Priority = Huge"), sql_.BaseProjStruSpec(), errInfo),
            eQEENone);
  EXPECT_EQ(sql_.TypedCompExprs().Count(), 2U);
}

TEST_F(QuerySqlAdds, MissingProjectOrList) {
  bool stop = true;
  std::string errInfo = "old";
  EXPECT_EQ(sql_.AddTypedComplexExpression(stop, nullptr, sql_.BaseProjStruSpec(), errInfo), eQEEExpressionNothing);
  EXPECT_EQ(errInfo, modMain::Message(14030));
  errInfo = "old";
  EXPECT_EQ(sql_.AddTypedSortExpression(stop, nullptr, sql_.BaseProjStruSpec(), errInfo), eQEEExpressionNothing);
  EXPECT_EQ(errInfo, "");
  Collection<ProjStructSpecifier> destinations;
  errInfo = "old";
  EXPECT_EQ(sql_.AddTypedCompRelExpression(stop, nullptr, sql_.BaseProjStruSpec(), destinations, errInfo),
            eQEEExpressionNothing);
  EXPECT_EQ(errInfo, "");

  sql_.Reset();
  EXPECT_EQ(sql_.AddTypedComplexExpression(stop, Parse("Priority = High"), sql_.BaseProjStruSpec(), errInfo),
            eQEEProjectNothing);
  EXPECT_EQ(errInfo, modMain::Message(14029));
  errInfo = "old";
  EXPECT_EQ(sql_.AddTypedSortExpression(stop, Parse("Name Order Asc", true), sql_.BaseProjStruSpec(), errInfo),
            eQEEProjectNothing);
  EXPECT_EQ(errInfo, "");
  EXPECT_EQ(
      sql_.AddTypedCompRelExpression(stop, Parse("TRACED-TO In SR"), sql_.BaseProjStruSpec(), destinations, errInfo),
      eQEEProjectNothing);
}

TEST_F(QuerySqlAdds, RelationshipListGivesItsDestinations) {
  bool stop = true;
  std::string errInfo;
  Collection<ProjStructSpecifier> destinations;
  destinations.Add(ProjStructSpecifier(), "stale");
  ASSERT_EQ(sql_.AddTypedCompRelExpression(stop, Parse("TRACED-TO In SR, EXT.PR"), sql_.BaseProjStruSpec(),
                                           destinations, errInfo),
            eQEENone)
      << errInfo;
  ASSERT_EQ(destinations.Count(), 2U);
  EXPECT_EQ(destinations.Item(1)->CorrectRelKey(), "7");
  EXPECT_EQ(destinations.Item(2)->CorrectRelKey(), "1.5");
  EXPECT_EQ(sql_.TypedCompRelExprs().Count(), 1U);

  // A destination on another kind of database is refused and not kept.
  EXPECT_EQ(sql_.AddTypedCompRelExpression(stop, Parse("TRACED-TO In SR, OLD.UR"), sql_.BaseProjStruSpec(),
                                           destinations, errInfo),
            eQEEIllegalProjectReference);
  EXPECT_EQ(errInfo, modMain::Message(14128));
  EXPECT_EQ(sql_.TypedCompRelExprs().Count(), 1U);
  EXPECT_TRUE(destinations.Empty());
}

}  // namespace
}  // namespace vlq
