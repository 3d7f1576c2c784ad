// A typed query writes itself back as a query string in each lookup form, and
// that text, read again by the same form, gives the same definition. Tested
// through the engine's pipeline on an in-memory project with written queries;
// random queries over the demo project read back in the property test.

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "memory_project.h"
#include "model/query_def.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/token.h"

namespace vlq {
namespace {

using test::MakeSampleProject;
using test::SampleGUID;

constexpr std::array<enumQueryLookupTypes, 3> kForms{eQLTByPrefix, eQLTByKey, eQLTByGUID};

struct Built {
  enumQueryEngineError result = eQEENone;
  std::string errorInfo;
  std::shared_ptr<QueryDef> def;
};

Built ReadQuery(const std::shared_ptr<Project>& project, enumQueryLookupTypes lookup, const std::string& query) {
  QueryEngine engine;
  Built built;
  built.result = engine.Validate2(eBTRequirements, lookup, project, query, built.errorInfo, built.def);
  return built;
}

// The query read by prefix, then each form of it read by its own lookup type,
// must write back the same three forms. A project-wide query has no GUID form
// that can be read again (its base word has no GUID), so it is tried by
// prefix and by key.
void ExpectRoundTrip(const std::shared_ptr<Project>& project, const std::string& query) {
  SCOPED_TRACE(query);
  const Built first = ReadQuery(project, eQLTByPrefix, query);
  ASSERT_EQ(first.result, eQEENone) << first.errorInfo;
  ASSERT_TRUE(first.def);
  const bool projectWide = first.def->Scope() == eVLSProject;
  for (enumQueryLookupTypes form : kForms) {
    if (projectWide && form == eQLTByGUID) continue;
    const std::string text = first.def->QueryString(form);
    SCOPED_TRACE("form " + std::to_string(form) + ": " + text);
    const Built again = ReadQuery(project, form, text);
    ASSERT_EQ(again.result, eQEENone) << again.errorInfo;
    ASSERT_TRUE(again.def);
    for (enumQueryLookupTypes other : kForms) {
      if (projectWide && other == eQLTByGUID) continue;
      EXPECT_EQ(again.def->QueryString(other), first.def->QueryString(other)) << "written in form " << other;
    }
  }
}

// The project of the acceptance example: list attribute Priority (key 12,
// item High key 34) and whole-number attribute Difficulty (key 14) on PR (5).
TEST(TypedRoundTrip, AcceptanceExampleWritesAllThreeForms) {
  auto project = MakeSampleProject();
  const Built built = ReadQuery(project, eQLTByPrefix,
                                "ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Difficulty Order Desc)");
  ASSERT_EQ(built.result, eQEENone) << built.errorInfo;
  ASSERT_TRUE(built.def);
  EXPECT_EQ(built.def->QueryString(eQLTByPrefix),
            "ReqType.Prefix(PR)  PR.Criteria(\"Priority\" = \"High\") PR.Sort(\"Difficulty\" Order  DESC)");
  EXPECT_EQ(built.def->QueryString(eQLTByKey), "ReqType.Key(5)  5.Criteria(12 = 34) 5.Sort(14 Order 2)");
  EXPECT_EQ(built.def->KeyedQuery(), built.def->QueryString(eQLTByKey));
  const std::string pr = SampleGUID('T', 5);
  EXPECT_EQ(built.def->QueryString(eQLTByGUID), "ReqType.GUID(" + pr + ")  " + pr + ".Criteria(" + SampleGUID('A', 12) +
                                                    " = " + SampleGUID('I', 34) + ") " + pr + ".Sort(" +
                                                    SampleGUID('A', 14) + " Order  DESC)");
  ExpectRoundTrip(project, "ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Difficulty Order Desc)");
}

TEST(TypedRoundTrip, WrittenQueries) {
  auto project = MakeSampleProject();
  const std::vector<std::string> queries = {
      "ReqType.Prefix(PR) PR.Criteria(Priority In High, Low AND Not Difficulty > 3)",
      "ReqType.Prefix(PR) PR.Criteria(Priority In High, \"<NO ENTRY>\") PR.Criteria(Cost <= 2.5)",
      "ReqType.Prefix(PR) PR.Criteria(Title ULike \"%log%\" OR (Due Between 1/2/2003 And 3/1/2003))",
      "ReqType.Prefix(PR) PR.Criteria(Start >= 9:30 AND Tags All In Red, Green)",
      "ReqType.Prefix(PR) PR.Criteria(NOT (\"Priority\" = High OR Difficulty = 2))",
      "ReqType.Prefix(PR) PR.Criteria(Author In Ann, Bob AND Location In Spec, Database)",
      "ReqType.Prefix(PR) PR.Criteria(Author = \"<NO ENTRY>\" OR Key = 7)",
      "ReqType.Prefix(PR) PR.Criteria(Key In 101, 102 OR KeyScalar Between 1 And 9)",
      "ReqType.Prefix(PR) PR.Criteria(DateTime >= \"1/2/2000 10:30\" AND IsDocTextCurrent = False)",
      "ReqType.Prefix(PR) PR.Criteria(Tag = \"PR1.2\" AND RootTag# = \"1.2\")",
      "ReqType.Prefix(PR) PR.Sort(Priority Order Asc) PR.Sort(Name O Desc)",
      "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR, EXT.PR AND STATUS = \"SUSPECT\") "
      "SR.Criteria(Priority = High) EXT.PR.Criteria(Priority = High)",
      "ReqType.Prefix(PR) PR.Criteria(Difficulty = 1) PR.RelCriteria(NOT TRACED-FROM In SR AND DIRECT-ONLY = FALSE)",
      "ReqType.Prefix(EXT.PR) EXT.PR.Criteria(Priority = High)",
      "REQUIREMENT.Criteria(Text Like \"%log%\" AND Author In Bob) REQUIREMENT.Sort(Name Order Desc)",
  };
  for (const std::string& query : queries) ExpectRoundTrip(project, query);
}

// A build keeps what the project doesn't know on the expression; a validation
// of the same query fails with it.
TEST(TypedRoundTrip, BuildKeepsUnresolvedValuesOnTheDefinition) {
  auto project = MakeSampleProject();
  const std::string query = "ReqType.Prefix(PR) PR.Criteria(Priority = Huge AND Difficulty = 3)";
  QueryEngine engine;
  std::string errorInfo;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Build(eBTRequirements, eQLTByPrefix, project, query, errorInfo, def), eQEENone) << errorInfo;
  ASSERT_TRUE(def);
  ASSERT_EQ(def->ComplexExpressions().Count(), 1U);
  const auto& tokens = *(*def->ComplexExpressions().Item(1))->Tokens();
  const auto unresolved = (*tokens.Item(1))->AsTypedSimpleExpression();
  ASSERT_TRUE(unresolved);
  EXPECT_EQ(unresolved->BuildErrNumber(), eQEEUnknownOperandListItemPrefix);
  EXPECT_EQ(unresolved->BuildErrString(), modMain::MessageWithArg(14073, "Huge"));
  EXPECT_TRUE((*tokens.Item(3))->AsTypedSimpleExpression());

  const Built validated = ReadQuery(project, eQLTByPrefix, query);
  EXPECT_EQ(validated.result, eQEEUnknownOperandListItemPrefix);
  EXPECT_EQ(validated.errorInfo, modMain::MessageWithArg(14073, "Huge"));
  // An attribute of a requirement type in a whole-project query.
  const Built projectWide = ReadQuery(project, eQLTByPrefix, "REQUIREMENT.Criteria(Priority = High)");
  EXPECT_EQ(projectWide.result, eQEEProjReqQueryUnknownAttr);
  EXPECT_EQ(projectWide.errorInfo, modMain::MessageWithArg(14065, "PRIORITY"));
}

}  // namespace
}  // namespace vlq
