// TypedCompRelExpression: the relationship section read against a project,
// its failures, its destination criteria and its query text.

#include "model/typed_comp_rel_expression.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "memory_project.h"
#include "model/typed_complex_expression.h"
#include "parser/complex_expression.h"
#include "typed_test_support.h"

namespace vlq {
namespace {

using test::MakeSampleProject;
using test::SampleGUID;

std::string SysGuid(const std::string& xx) { return "{B9FA15" + xx + "-4209-11D4-9A75-0010A4F40007}"; }

struct Rel {
  std::shared_ptr<TypedCompRelExpression> expr = std::make_shared<TypedCompRelExpression>();
  enumQueryEngineError result = eQEENone;
  std::string errInfo;
};

Rel ReadRel(const std::shared_ptr<Project>& project, std::string_view text, enumQueryLookupTypes lookup = eQLTByPrefix,
            bool stopOnErr = true, std::string source = "") {
  if (source.empty()) source = lookup == eQLTByPrefix ? "PR" : lookup == eQLTByKey ? "5" : SampleGUID('T', 5);
  modMain::SetModuleLookupType(lookup);
  auto parsed = std::make_shared<ComplexExpression>();
  EXPECT_TRUE(parsed->Tokenize(text)) << parsed->LastTokenizeErrInfo();
  ProjStructSpecifier spec;
  std::string specErr;
  EXPECT_EQ(spec.ResolveKeysAndPrefixes(project, source, lookup, specErr), eQEENone) << specErr;
  Rel rel;
  rel.expr->SetSourceProjStruSpec(spec);
  rel.result = rel.expr->ResolveForType(stopOnErr, project, lookup, parsed, rel.errInfo);
  return rel;
}

TEST(TypedCompRelExpression, FullFilterInAllThreeForms) {
  auto project = MakeSampleProject();
  const Rel rel = ReadRel(project, "TRACED-TO In SR, EXT.PR AND STATUS = SUSPECT AND DIRECT-ONLY = \"FALSE\"");
  ASSERT_EQ(rel.result, eQEENone) << rel.errInfo;
  const TypedCompRelExpression& e = *rel.expr;
  EXPECT_EQ(e.RelType(), eRTTraceTo);
  EXPECT_EQ(e.RelOperator(), eEOIN);
  EXPECT_EQ(e.StatusType(), eSTSuspect);
  EXPECT_FALSE(e.DirectOnly());
  EXPECT_TRUE(e.NeedsTransClosure());
  EXPECT_EQ(e.SourceReqTypeKey(), "5");
  ASSERT_EQ(e.DestProjStruSpecs().Count(), 2U);
  EXPECT_TRUE(e.DestProjStruSpecs().Contains("7"));
  EXPECT_TRUE(e.DestProjStruSpecs().Contains("1.5"));

  EXPECT_EQ(e.QueryString(eQLTByPrefix),
            "TRACED-TO In SR, EXT.PR AND STATUS = \"SUSPECT\"  AND DIRECT-ONLY = \"FALSE\"");
  EXPECT_EQ(e.QueryString(eQLTByKey), " -100 In 7, 1.5 AND -102 = 1  AND -103 = \"FALSE\"");
  EXPECT_EQ(e.QueryString(eQLTByGUID), SysGuid("86") + " In " + SampleGUID('T', 7) +
                                           ", {99999999-2222-3333-4444-555555555555}.{E0000000-0000-0000-0000-"
                                           "000000000005} AND " +
                                           SysGuid("88") + " = \"SUSPECT\"  AND " + SysGuid("89") + " = \"FALSE\"");
  EXPECT_EQ(e.QueryString(eQLTNone), "");

  // Each form read again by its lookup type writes the same text.
  for (enumQueryLookupTypes form : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
    const Rel again = ReadRel(project, e.QueryString(form), form);
    ASSERT_EQ(again.result, eQEENone) << again.errInfo;
    for (enumQueryLookupTypes other : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
      EXPECT_EQ(again.expr->QueryString(other), e.QueryString(other)) << form << " " << other;
    }
  }
}

struct FlagRow {
  std::string text;
  enumQueryLookupTypes lookup;
  enumRelType relType;
  enumStatusType status;
  bool directOnly;
  bool closure;
  bool exprNot;
  std::string byPrefix;
};

TEST(TypedCompRelExpression, DirectionStatusAndDirectOnly) {
  auto project = MakeSampleProject();
  const std::vector<FlagRow> rows = {
      {"TRACED-FROM In SR", eQLTByPrefix, eRTTraceFrom, eSTAny, true, false, false, "TRACED-FROM In SR"},
      {"traced-to In SR AND DIRECT-ONLY = TRUE", eQLTByPrefix, eRTTraceTo, eSTAny, true, false, false,
       "TRACED-TO In SR"},
      {"TRACED-TO In SR AND NOT DIRECT-ONLY = TRUE", eQLTByPrefix, eRTTraceTo, eSTAny, false, false, false,
       "TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\""},
      {"TRACED-TO In SR AND NOT DIRECT-ONLY = FALSE", eQLTByPrefix, eRTTraceTo, eSTAny, true, true, false,
       "TRACED-TO In SR"},
      {"NOT TRACED-TO In SR, sr AND NOT STATUS = suspect", eQLTByPrefix, eRTTraceTo, eSTNotSuspect, true, false, true,
       " NOT TRACED-TO In SR AND NOT STATUS = \"SUSPECT\" "},
      // The key forms are trace words under any lookup type; by prefix only
      // the text of TRACED-TO counts as TRACED-TO.
      {"-100 In SR", eQLTByPrefix, eRTTraceFrom, eSTAny, true, false, false, "TRACED-FROM In SR"},
      {"-101 In 7", eQLTByKey, eRTTraceFrom, eSTAny, true, false, false, "TRACED-FROM In SR"},
      {"-100 In 7 AND -102 = 2", eQLTByKey, eRTTraceTo, eSTNotSuspect, true, false, false,
       "TRACED-TO In SR AND NOT STATUS = \"SUSPECT\" "},
      {"-100 In 7 AND NOT STATUS = 2", eQLTByKey, eRTTraceTo, eSTSuspect, true, false, false,
       "TRACED-TO In SR AND STATUS = \"SUSPECT\" "},
      // By key the direction is read from the number: the text is a trace
      // word, but not -100.
      {"TRACED-TO In 7", eQLTByKey, eRTTraceFrom, eSTAny, true, false, false, "TRACED-FROM In SR"},
      // Two trace expressions of one direction name their destinations together.
      {"TRACED-TO In SR AND TRACED-TO In sr", eQLTByPrefix, eRTTraceTo, eSTAny, true, false, false,
       "TRACED-TO In SR"},
  };
  for (const FlagRow& row : rows) {
    SCOPED_TRACE(row.text);
    const Rel rel = ReadRel(project, row.text, row.lookup);
    ASSERT_EQ(rel.result, eQEENone) << rel.errInfo;
    EXPECT_EQ(rel.expr->RelType(), row.relType);
    EXPECT_EQ(rel.expr->StatusType(), row.status);
    EXPECT_EQ(rel.expr->DirectOnly(), row.directOnly);
    EXPECT_EQ(rel.expr->NeedsTransClosure(), row.closure);
    EXPECT_EQ(rel.expr->ExprNot(), row.exprNot);
    EXPECT_EQ(rel.expr->DestProjStruSpecs().Count(), 1U);
    EXPECT_EQ(rel.expr->QueryString(eQLTByPrefix), row.byPrefix);
  }
  // The key form of a status that isn't suspect.
  EXPECT_EQ(ReadRel(project, "TRACED-TO In SR AND NOT STATUS = SUSPECT").expr->QueryString(eQLTByKey),
            " -100 In 7 AND -102 = 2 ");
}

TEST(TypedCompRelExpression, SourceInAnExternalProjectNeedsTheClosure) {
  auto project = MakeSampleProject();
  const Rel rel = ReadRel(project, "TRACED-TO In PR", eQLTByPrefix, true, "EXT.PR");
  ASSERT_EQ(rel.result, eQEENone) << rel.errInfo;
  EXPECT_TRUE(rel.expr->DirectOnly());
  EXPECT_TRUE(rel.expr->NeedsTransClosure());
  EXPECT_EQ(rel.expr->SourceReqTypeKey(), "5");
  EXPECT_TRUE(rel.expr->SourceProjStruSpec().IsExtProj());
}

struct RelFailureRow {
  std::string text;
  enumQueryLookupTypes lookup;
  enumQueryEngineError code;
  std::string message;
};

TEST(TypedCompRelExpression, FailuresGiveTheirCodesAndMessages) {
  auto project = MakeSampleProject();
  using modMain::MessageWithArg;
  const std::vector<RelFailureRow> rows = {
      {"TRACED-TO = SR", eQLTByPrefix, eQEEExpressionNothing, MessageWithArg(14056, "TRACED-TO = SR")},
      {"TRACED-TO In SR AND STATUS = maybe", eQLTByPrefix, eQEEInvalidAttrData, MessageWithArg(14057, "maybe")},
      {"TRACED-TO In 7 AND -102 = 3", eQLTByKey, eQEEInvalidAttrData, MessageWithArg(14057, "3")},
      {"TRACED-TO In SR AND DIRECT-ONLY = maybe", eQLTByPrefix, eQEEInvalidAttrData, MessageWithArg(14058, "maybe")},
      {"TRACED-TO In SR AND Priority = High", eQLTByPrefix, eQEEUnknownExprPrefix, MessageWithArg(14059, "Priority")},
      {"TRACED-TO In XX", eQLTByPrefix, eQEEUnknownExprPrefix, MessageWithArg(14120, "XX")},
      {"TRACED-TO In NOEXT.PR", eQLTByPrefix, eQEEExtProjUnknown, MessageWithArg(14116, "NOEXT")},
      // A base word is no requirement type a trace reaches.
      {"TRACED-TO In REQUIREMENT", eQLTByPrefix, eQEEUnknownExprPrefix, MessageWithArg(14120, "REQUIREMENT")},
      // A section is a conjunction of one word of each kind: anything that
      // would be passed over or would replace an earlier word is refused.
      {"TRACED-TO In SR OR STATUS = SUSPECT", eQLTByPrefix, eQEEExprConnErr, modMain::Message(14136)},
      {"TRACED-TO In SR AND (STATUS = SUSPECT)", eQLTByPrefix, eQEEExprConnErr, modMain::Message(14136)},
      {"TRACED-TO In SR AND TRACED-FROM In PR", eQLTByPrefix, eQEEExprConnErr, modMain::Message(14138)},
      {"TRACED-TO In SR AND NOT TRACED-TO In PR", eQLTByPrefix, eQEEExprConnErr,
       MessageWithArg(14139, "TRACED-TO")},
      {"TRACED-TO In SR AND STATUS = SUSPECT AND NOT STATUS = SUSPECT", eQLTByPrefix, eQEEExprConnErr,
       MessageWithArg(14139, "STATUS")},
      {"TRACED-TO In SR AND DIRECT-ONLY = TRUE AND DIRECT-ONLY = FALSE", eQLTByPrefix, eQEEExprConnErr,
       MessageWithArg(14139, "DIRECT-ONLY")},
  };
  for (const RelFailureRow& row : rows) {
    SCOPED_TRACE(row.text);
    const Rel rel = ReadRel(project, row.text, row.lookup);
    EXPECT_EQ(rel.result, row.code);
    EXPECT_EQ(rel.errInfo, row.message);
  }
  TypedCompRelExpression empty;
  std::string errInfo;
  EXPECT_EQ(empty.ResolveForType(true, project, eQLTByPrefix, nullptr, errInfo), eQEEExpressionNothing);
  EXPECT_EQ(errInfo, modMain::Message(14054));
}

TEST(TypedCompRelExpression, UnresolvedDestinationUnderBuild) {
  auto project = MakeSampleProject();
  const Rel validate = ReadRel(project, "TRACED-TO In SR, XX AND STATUS = SUSPECT");
  EXPECT_EQ(validate.result, eQEEUnknownExprPrefix);
  EXPECT_EQ(validate.expr->BuildErrNumber(), eQEEUnknownExprPrefix);

  // A build records the failure and reads no further: the status stays unread.
  const Rel build = ReadRel(project, "TRACED-TO In SR, XX AND STATUS = SUSPECT", eQLTByPrefix, false);
  EXPECT_EQ(build.result, eQEENone);
  EXPECT_EQ(build.expr->BuildErrNumber(), eQEEUnknownExprPrefix);
  EXPECT_EQ(build.expr->BuildErrString(), modMain::MessageWithArg(14120, "XX"));
  EXPECT_EQ(build.expr->DestProjStruSpecs().Count(), 1U);
  EXPECT_EQ(build.expr->StatusType(), eSTAny);
}

TEST(TypedCompRelExpression, DestinationCriteria) {
  auto project = MakeSampleProject();
  const Rel rel = ReadRel(project, "TRACED-TO In SR, EXT.PR");
  ASSERT_EQ(rel.result, eQEENone);
  TypedCompRelExpression& e = *rel.expr;
  const ProjStructSpecifier& sr = *e.DestProjStruSpecs().Item(1);
  const ProjStructSpecifier& ext = *e.DestProjStruSpecs().Item(2);

  const test::TypedList srCriteria = test::TypeList(project, "Priority All = High", [] {
    test::TypeOptions o;
    o.spec = "SR";
    return o;
  }());
  ASSERT_EQ(srCriteria.result, eQEENone) << srCriteria.errInfo;
  std::string errInfo = "old";
  EXPECT_EQ(e.AddTypedComplexExpression(srCriteria.typed, nullptr, errInfo), eQEEProjStruSpecNothing);
  EXPECT_EQ(errInfo, modMain::Message(14053));
  EXPECT_EQ(e.AddTypedComplexExpression(srCriteria.typed, &sr, errInfo), eQEENone);
  EXPECT_EQ(errInfo, "");
  EXPECT_TRUE(e.HasAllExpr());
  EXPECT_EQ(e.AddTypedComplexExpression(srCriteria.typed, &sr, errInfo), eQEECritRelCritMultiple);
  EXPECT_EQ(errInfo, modMain::MessageWithArg(14062, "7"));

  ProjStructSpecifier pr;
  ASSERT_EQ(pr.ResolveKeysAndPrefixes(project, "PR", eQLTByPrefix, errInfo), eQEENone);
  EXPECT_EQ(e.AddTypedComplexExpression(srCriteria.typed, &pr, errInfo), eQEECritNoRelCrit);
  EXPECT_EQ(errInfo, modMain::MessageWithArg(14061, "5"));
  EXPECT_EQ(e.AddTypedComplexExpression(srCriteria.typed, &ext, errInfo), eQEENone);
  EXPECT_EQ(e.TypedComplexExpressions().Count(), 2U);
}

TEST(TypedCompRelExpression, IllegalReferencesGoByDatabaseType) {
  auto project = MakeSampleProject();
  ProjStructSpecifier base;
  std::string errInfo;
  ASSERT_EQ(base.ResolveKeysAndPrefixes(project, "PR", eQLTByPrefix, errInfo), eQEENone);

  // Another project file of the same database type is no illegal reference.
  EXPECT_FALSE(ReadRel(project, "TRACED-TO In SR, EXT.PR").expr->HasIllegalReference(base));
  const Rel other = ReadRel(project, "TRACED-TO In SR, OLD.UR");
  ASSERT_EQ(other.result, eQEENone) << other.errInfo;
  EXPECT_TRUE(other.expr->HasIllegalReference(base));
  EXPECT_FALSE(other.expr->TypedComplexExpressionsHasIllegalReference(base));

  ProjStructSpecifier oldType;
  ASSERT_EQ(oldType.ResolveKeysAndPrefixes(project, "OLD.UR", eQLTByPrefix, errInfo), eQEENone);
  auto criteria = std::make_shared<TypedComplexExpression>();
  criteria->SetProjStruSpec(oldType);
  ASSERT_EQ(other.expr->AddTypedComplexExpression(criteria, &oldType, errInfo), eQEENone) << errInfo;
  EXPECT_TRUE(other.expr->TypedComplexExpressionsHasIllegalReference(base));

  TypedCompRelExpression empty;
  EXPECT_FALSE(empty.HasIllegalReference(base));
  EXPECT_FALSE(empty.TypedComplexExpressionsHasIllegalReference(base));
  EXPECT_EQ(empty.SourceReqTypeKey(), "");
}

TEST(TypedCompRelExpression, SessionIdsAreNineDigitsAtMost) {
  std::set<long> seen;
  for (int i = 0; i < 50; ++i) {
    const long id = MakeSessionID();
    EXPECT_GE(id, 0);
    EXPECT_LE(id, 999999999);
    seen.insert(id);
  }
  // Seeded from the clock anew on each call, the ids are not all the same.
  EXPECT_GT(seen.size(), 1U);
  TypedCompRelExpression a;
  EXPECT_GE(a.SessionID(), 0);
}

}  // namespace
}  // namespace vlq
