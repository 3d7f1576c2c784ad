// TypedSimpleExpression: the checks of ResolveForType with their codes and
// messages, the value rules of the data types and of the system attributes,
// and the three forms of its query text.

#include "model/typed_simple_expression.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "memory_project.h"
#include "model/date_serial.h"
#include "parser/simple_expression.h"
#include "typed_test_support.h"

namespace vlq {
namespace {

using test::MakeSampleProject;
using test::SampleGUID;
using test::TypeList;
using test::TypeOptions;

std::string SysGuid(const std::string& xx) { return "{B9FA15" + xx + "-4209-11D4-9A75-0010A4F40007}"; }

// ---- IsValidDataForType -------------------------------------------------------------------

struct DataRow {
  std::string text;
  long type;
  bool valid;
  Variant converted;  // what the value becomes when valid
};

TEST(TypedSimpleExpressionData, ValidityAndConversionByDataType) {
  const Variant kSame;  // marks "unchanged"
  const std::vector<DataRow> rows = {
      {"<no entry>", eADTWholeNumber, true, kSame},
      {"anything", eADTList, true, kSame},
      {"1", eADTWholeNumber, true, Variant(1L)},
      {"1.0", eADTWholeNumber, true, Variant(1L)},
      {"1.5", eADTWholeNumber, false, kSame},
      {"2147483647", eADTWholeNumber, true, Variant(2147483647L)},
      {"2147483648", eADTWholeNumber, false, kSame},
      {"2.5", eADTRealNumber, true, Variant(2.5)},
      {"x", eADTRealNumber, false, kSame},
      {"1/2/2000", eADTDate, true, kSame},
      {"12:30", eADTDate, false, kSame},
      {"1/2/2000 12:30", eADTDate, false, kSame},
      {"12:30", eADTTime, true, kSame},
      {"1/2/2000", eADTTime, false, kSame},
      {"True", eADTBoolean, true, Variant(true)},
      {"maybe", eADTBoolean, false, kSame},
      {"1/2/2000 12:30", eADTDateTime, true, Variant(*date_serial::FromCivil(CivilDateTime{2000, 1, 2, 12, 30, 0}))},
      {"1", eADTMultiSelectList, false, kSame},
      {"1", 7, false, kSame},
  };
  for (const DataRow& row : rows) {
    SCOPED_TRACE(row.text + " as type " + std::to_string(row.type));
    Variant value(row.text);
    EXPECT_EQ(TypedSimpleExpression::IsValidDataForType(value, row.type), row.valid);
    EXPECT_EQ(value, row.converted.IsEmpty() ? Variant(row.text) : row.converted);
  }
  // A value that is typed already is checked through its text.
  Variant whole(5L);
  EXPECT_TRUE(TypedSimpleExpression::IsValidDataForType(whole, eADTWholeNumber));
  EXPECT_EQ(whole, Variant(5L));
}

// ---- ResolveForType failures ---------------------------------------------------------------

struct FailureRow {
  std::string query;
  TypeOptions options;
  enumQueryEngineError code;
  std::string message;  // the expected words, from the catalogue
};

TypeOptions ByKey() {
  TypeOptions o;
  o.lookup = eQLTByKey;
  o.spec = "5";
  return o;
}
TypeOptions Sort() {
  TypeOptions o;
  o.sort = true;
  return o;
}
TypeOptions WithBase(enumQueryReturnTypes base, enumReqQueryScope scope) {
  TypeOptions o;
  o.base = base;
  o.scope = scope;
  return o;
}

TEST(TypedSimpleExpressionResolve, FailuresGiveTheirCodesAndMessages) {
  auto project = MakeSampleProject();
  using modMain::Message;
  using modMain::MessageWithArg;
  TypeOptions discussionsOnType = test::Discussions();
  discussionsOnType.scope = eVLSReqType;
  const std::vector<FailureRow> rows = {
      {"Priority = 34", ByKey(), eQEEReqTypeAttrKeyNotNumeric, MessageWithArg(14064, "PRIORITY")},
      {"Priority = High", test::ProjectWide(), eQEEProjReqQueryUnknownAttr, MessageWithArg(14065, "PRIORITY")},
      {"Unknown = 1", {}, eQEEUnknownExprPrefix, MessageWithArg(14066, "Unknown")},
      {"-10 = 1", ByKey(), eQEEUnknownExprPrefix, MessageWithArg(14066, "-10")},
      {"Priority = High", WithBase(eBTDocuments, eVLSReqType), eQEEDocsUnsupported, Message(14078)},
      {"Priority = High", WithBase(eBTDocuments, eVLSProject), eQEEProjReqQueryUnknownAttr,
       MessageWithArg(14065, "PRIORITY")},
      {"Priority = High", WithBase(eBTNone, eVLSReqType), eQEEInvalidBaseQueryType, Message(14027)},
      {"Priority Like High", {}, eQEEInvalidListOperator, MessageWithArg(14069, "Like")},
      {"Priority = High", Sort(), eQEEInvalidListOperator, Message(14067)},
      {"Priority Order Up", Sort(), eQEEUnknownSortConstant, Message(14068)},
      {"12 = abc", ByKey(), eQEEListItemKeyNotNumeric, MessageWithArg(14070, "abc")},
      {"Priority In High, Huge",
       {},
       eQEEUnknownOperandListItemPrefix,
       MessageWithArg(14072, "HUGE Priority In High, Huge")},
      {"Priority = Huge", {}, eQEEUnknownOperandListItemPrefix, MessageWithArg(14073, "Huge")},
      {"Difficulty Between x And 5", {}, eQEEInvalidAttrData, MessageWithArg(14074, "x")},
      {"Difficulty Between 1 And y", {}, eQEEInvalidAttrData, MessageWithArg(14075, "y")},
      {"Difficulty In 1, 2.5", {}, eQEEInvalidAttrData, MessageWithArg(14076, "2.5")},
      {"Difficulty = 1.5", {}, eQEEInvalidAttrData, MessageWithArg(14077, "1.5")},
      {"Due = 12:30", {}, eQEEInvalidAttrData, MessageWithArg(14077, "12:30")},
      // No entry is the absence of a value: only = and <> take it.
      {"Due Like \"<No Entry>\"", {}, eQEEInvalidAttrData, MessageWithArg(14145, "<No Entry>")},
      {"Difficulty < \"<NO ENTRY>\"", {}, eQEEInvalidAttrData, MessageWithArg(14145, "<NO ENTRY>")},
      {"Difficulty Between 1 And \"<NO ENTRY>\"", {}, eQEEInvalidAttrData, MessageWithArg(14145, "<NO ENTRY>")},
      // A discussion expression of no known attribute in a requirement type's
      // scope runs to the end without finding its attribute.
      {"Foo = 1", discussionsOnType, eQEEUnknownExprPrefix, Message(14083)},
      // System attributes: operators and values.
      {"KeyScalar In 1, 2", {}, eQEESystemAttrOp, Message(14089)},
      {"Author Like Ann", {}, eQEESystemAttrOp, Message(14084)},
      {"Author = Zed", {}, eQEEUnknownUserKey, MessageWithArg(14096, "Zed")},
      {"AuthorName = Zed", {}, eQEEUnknownUserName, MessageWithArg(14095, "Zed")},
      {"Location = \"<NO ENTRY>\"", {}, eQEEUnknownLocationKey, MessageWithArg(14098, "<NO ENTRY>")},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE(row.query);
    const test::TypedList list = TypeList(project, row.query, row.options);
    EXPECT_EQ(list.result, row.code);
    EXPECT_EQ(list.errInfo, row.message);
  }
}

TEST(TypedSimpleExpressionResolve, DiscussionPriorityRangeAndDiscussionValueRule) {
  auto project = MakeSampleProject();
  EXPECT_EQ(TypeList(project, "Priority = 2.5", test::Discussions()).Simple()->Value(), Variant(2.5));
  EXPECT_EQ(TypeList(project, "Priority = 2x", test::Discussions()).Simple()->Value(), Variant(2.0));
  for (const char* refused : {"Priority = 0", "Priority = 4", "Priority = x"}) {
    EXPECT_EQ(TypeList(project, refused, test::Discussions()).result, eQEEInvalidDiscPriority) << refused;
  }
}

TEST(TypedSimpleExpressionResolve, FailureIsKeptInBuildErrNumber) {
  auto project = MakeSampleProject();
  const test::TypedList list = TypeList(project, "Priority = High AND Difficulty = 1.5");
  ASSERT_EQ(list.result, eQEEInvalidAttrData);
  // The first expression was typed; the second failed and stays parsed.
  ASSERT_TRUE(list.Simple(1));
  EXPECT_EQ(list.Simple(1)->BuildErrNumber(), eQEENone);
  EXPECT_EQ((*list.expression->Tokens().Item(3))->TokenType(), eTTExpression);

  TypedSimpleExpression direct;
  std::string errInfo;
  EXPECT_EQ(direct.ResolveForType(true, nullptr, eQLTByPrefix, eVLSReqType, errInfo), eQEEProjectNothing);
  EXPECT_EQ(errInfo, modMain::Message(14063));
  EXPECT_EQ(direct.BuildErrNumber(), eQEEProjectNothing);
  EXPECT_EQ(direct.BuildErrString(), modMain::Message(14063));
}

// ---- Soft failures under a build -----------------------------------------------------------

TEST(TypedSimpleExpressionResolve, BuildRecordsWhatTheProjectDoesNotKnow) {
  auto project = MakeSampleProject();
  TypeOptions build;
  build.stopOnErr = false;

  {  // An unknown attribute: recorded, the expression stays in the list unresolved.
    const test::TypedList list = TypeList(project, "Unknown = 1 AND Priority = High", build);
    EXPECT_EQ(list.result, eQEENone);
    ASSERT_TRUE(list.Simple(1));
    EXPECT_EQ(list.Simple(1)->BuildErrNumber(), eQEEUnknownExprPrefix);
    EXPECT_EQ(list.Simple(1)->BuildErrString(), modMain::MessageWithArg(14066, "Unknown"));
    EXPECT_EQ(list.Simple(1)->AttrKey(), "");
    ASSERT_TRUE(list.Simple(3));
    EXPECT_EQ(list.Simple(3)->ListItemKey(), 34);
    EXPECT_EQ(list.typed->AttrKeys().Count(), 1U);
  }
  {  // A value not in the list: ListItemKey stays 0.
    const test::TypedList list = TypeList(project, "Priority = Huge", build);
    EXPECT_EQ(list.result, eQEENone);
    EXPECT_EQ(list.Simple()->BuildErrNumber(), eQEEUnknownOperandListItemPrefix);
    EXPECT_EQ(list.Simple()->ListItemKey(), 0);
  }
  {  // An unknown item in the middle of In doesn't keep the later ones out.
    const test::TypedList list = TypeList(project, "Priority In High, Huge, Low", build);
    EXPECT_EQ(list.result, eQEENone);
    const auto& typed = *list.Simple();
    EXPECT_EQ(typed.BuildErrNumber(), eQEEUnknownOperandListItemPrefix);
    ASSERT_EQ(typed.ListItemKeys().Count(), 2U);
    EXPECT_EQ(*typed.ListItemKeys().Item(1), 34);
    EXPECT_EQ(*typed.ListItemKeys().Item(2), 36);
  }
  {  // The same for users; the unknown one is left out of all three lists.
    const test::TypedList list = TypeList(project, "Author In Ann, Zed, Bob", build);
    EXPECT_EQ(list.result, eQEENone);
    const auto& typed = *list.Simple();
    EXPECT_EQ(typed.BuildErrNumber(), eQEEUnknownUserKey);
    EXPECT_EQ(typed.BuildErrString(), modMain::MessageWithArg(14096, "ZED"));
    ASSERT_EQ(typed.ListItemKeys().Count(), 2U);
    EXPECT_EQ(*typed.ListItemKeys().Item(2), 4);
    EXPECT_EQ(typed.ListItemPrefixes().Count(), 2U);
  }
  {  // Under Validate the same expression fails.
    EXPECT_EQ(TypeList(project, "Priority = Huge").result, eQEEUnknownOperandListItemPrefix);
  }
}

// ---- Values of attributes ------------------------------------------------------------------

TEST(TypedSimpleExpressionResolve, FreeValuesTakeTheirTypedForm) {
  auto project = MakeSampleProject();
  EXPECT_EQ(TypeList(project, "Difficulty = 2147483648").result, eQEEInvalidAttrData);
  EXPECT_EQ(TypeList(project, "Cost >= 2.5").Simple()->Value(), Variant(2.5));
  EXPECT_EQ(TypeList(project, "Title ULike abc").Simple()->Value(), Variant("ABC"));
  EXPECT_EQ(TypeList(project, "Title Like abc").Simple()->Value(), Variant("abc"));
  EXPECT_EQ(TypeList(project, "Difficulty = \"<no entry>\"").Simple()->Value(), Variant("<no entry>"));

  const auto between = TypeList(project, "Difficulty Between 1 And 5").Simple();
  EXPECT_EQ(between->Value(), Variant(1L));
  EXPECT_EQ(between->HighValue(), Variant(5L));
  // In on a free attribute checks its items and keeps none of them.
  const auto in = TypeList(project, "Difficulty In 1, 2").Simple();
  EXPECT_EQ(in->ListItemKeys().Count(), 0U);
  EXPECT_TRUE(in->IsEdit());
}

TEST(TypedSimpleExpressionResolve, ListValuesResolveToItems) {
  auto project = MakeSampleProject();
  const auto eq = TypeList(project, "priority = HIGH").Simple();
  EXPECT_EQ(eq->AttrKey(), "12");
  EXPECT_EQ(eq->AttrPrefix(), "Priority");
  EXPECT_EQ(eq->AttrGUID(), SampleGUID('A', 12));
  EXPECT_FALSE(eq->IsEdit());
  EXPECT_FALSE(eq->IsSystemAttr());
  EXPECT_EQ(eq->ListItemKey(), 34);
  EXPECT_EQ(eq->ListItemPrefix(), "High");
  EXPECT_EQ(eq->ListItemGUID(), SampleGUID('I', 34));

  const auto none = TypeList(project, "Priority <> \"<no entry>\"").Simple();
  EXPECT_EQ(none->ListItemKey(), 0);
  EXPECT_EQ(none->ListItemPrefix(), "\"<NO ENTRY>\"");

  // In: repeated items count once; "0" and "<NO ENTRY>" mean no entry.
  const auto in = TypeList(project, "Priority In High, HIGH, \"<NO ENTRY>\", 0, Low").Simple();
  ASSERT_EQ(in->ListItemKeys().Count(), 3U);
  EXPECT_EQ(*in->ListItemKeys().Item(1), 34);
  EXPECT_EQ(*in->ListItemKeys().Item(2), 0);
  EXPECT_EQ(*in->ListItemKeys().Item(3), 36);
  EXPECT_EQ(in->ListItemPrefixes().Count(), 3U);
  EXPECT_EQ(in->ListItemGUIDs().Count(), 3U);

  // By key and by GUID.
  TypeOptions byGuid;
  byGuid.lookup = eQLTByGUID;
  byGuid.spec = SampleGUID('T', 5);
  EXPECT_EQ(TypeList(project, "12 = 35", ByKey()).Simple()->ListItemKey(), 35);
  const std::string guidQuery = SampleGUID('A', 12) + " In " + SampleGUID('I', 36) + ", " + SampleGUID('I', 34);
  const auto byGuidIn = TypeList(project, guidQuery, byGuid).Simple();
  ASSERT_EQ(byGuidIn->ListItemKeys().Count(), 2U);
  EXPECT_EQ(*byGuidIn->ListItemKeys().Item(1), 36);
}

TEST(TypedSimpleExpressionResolve, SystemAttributeNamesDecideFirst) {
  auto project = MakeSampleProject();
  // PR has an attribute "Key", which the system attribute KEY hides.
  const auto key = TypeList(project, "Key = 5").Simple();
  EXPECT_TRUE(key->IsSystemAttr());
  EXPECT_EQ(key->AttrKey(), "-1");
  EXPECT_EQ(key->ListItemKey(), 5);

  // AUTHOR and AUTHORKEY are one attribute, written back as AUTHOR; by prefix
  // both take a user's name.
  const auto author = TypeList(project, "AuthorKey = bob").Simple();
  EXPECT_EQ(author->AttrKey(), "-6");
  EXPECT_EQ(author->AttrPrefix(), "AUTHOR");
  EXPECT_EQ(author->AttrGUID(), SysGuid("77"));
  EXPECT_EQ(author->ListItemKey(), 4);
  EXPECT_EQ(author->ListItemPrefix(), "Bob");
  EXPECT_EQ(TypeList(project, "Author = \"<NO ENTRY>\"").Simple()->ListItemKey(), 0);
  EXPECT_EQ(TypeList(project, "Location = DATABASE").Simple()->ListItemKey(), 0);
  EXPECT_EQ(TypeList(project, "Location = Spec").Simple()->ListItemKey(), 8);

  // System attributes are the only attributes of a whole-project query.
  const auto tag = TypeList(project, "Tag In a, b", test::ProjectWide()).Simple();
  EXPECT_EQ(tag->AttrDataType(), eADTText);
  EXPECT_TRUE(tag->IsEdit());
}

TEST(TypedSimpleExpressionResolve, SortValuesBecomeOrderNumbers) {
  auto project = MakeSampleProject();
  EXPECT_EQ(TypeList(project, "Difficulty Order Desc", Sort()).Simple()->Value(), Variant(2L));
  EXPECT_EQ(TypeList(project, "Priority O +", Sort()).Simple()->Value(), Variant(1L));
  TypeOptions keyedSort = ByKey();
  keyedSort.sort = true;
  EXPECT_EQ(TypeList(project, "14 O 2", keyedSort).Simple()->Value(), Variant(2L));
  EXPECT_EQ(TypeList(project, "14 O 3", keyedSort).result, eQEEUnknownSortConstant);
  // A sort on a system attribute passes the operator checks.
  EXPECT_EQ(TypeList(project, "KeyScalar Order Asc", Sort()).result, eQEENone);
}

// ---- System attributes: operators and values -----------------------------------------------

std::shared_ptr<TypedSimpleExpression> Expr(enumExpressionOperator op, Variant value = Variant("")) {
  auto simple = std::make_shared<SimpleExpression>();
  simple->SetOperator(op);
  simple->SetValue(std::move(value));
  auto typed = std::make_shared<TypedSimpleExpression>();
  typed->SetSimpleExpression(simple);
  return typed;
}

struct OperatorRow {
  int key;
  enumExpressionOperator op;
  long message;  // 0: allowed
  bool isEdit;
  long dataType;
};

TEST(SystemAttributeResolve, OperatorsAndDataTypesByAttribute) {
  const std::vector<OperatorRow> rows = {
      {-2, eEOIN, 0, true, eADTText},
      {-15, eEOIN, 14089, true, eADTWholeNumber},
      {-17, eEOIN, 14089, true, eADTDateTime},
      {-19, eEONotEquals, 0, true, eADTBoolean},
      {-19, eEOIN, 14140, true, eADTBoolean},
      {-19, eEOLessThan, 14140, true, eADTBoolean},
      {-1, eEOLike, 14086, false, eADTList},
      {-5, eEOLessThan, 14084, false, eADTList},
      {-7, eEOBetween, 14085, false, eADTList},
      {-13, eEOGreaterThan, 14087, false, eADTList},
      {-14, eEOLike, 14088, false, eADTList},
      {-22, eEOULike, 14129, false, eADTList},
      {-201, eEOLike, 0, true, eADTText},
      {-201, eEONotEquals, 14093, true, eADTText},
      {-210, eEOIN, 14091, true, eADTDateTime},
      {-211, eEOEquals, 0, true, eADTBoolean},
      {-212, eEONotEquals, 14090, true, eADTBoolean},
      {-208, eEOLike, 14092, false, eADTList},
  };
  for (const OperatorRow& row : rows) {
    SCOPED_TRACE(std::to_string(row.key) + " with " + modMain::OpEnumToString(row.op));
    auto typed = Expr(row.op);
    std::string errInfo;
    const enumQueryEngineError result =
        typed->ResolveSystemAttr(static_cast<enumSystemAttrKey>(row.key), eQLTByPrefix, errInfo);
    EXPECT_EQ(result, row.message == 0 ? eQEENone : eQEESystemAttrOp);
    EXPECT_EQ(errInfo, row.message == 0 ? std::string() : modMain::Message(row.message));
    EXPECT_EQ(typed->BuildErrNumber(), result);
    EXPECT_EQ(typed->IsEdit(), row.isEdit);
    EXPECT_EQ(typed->AttrDataType(), row.dataType);
  }
  // The trace words keep the defaults.
  auto trace = Expr(eEOLike);
  std::string errInfo;
  EXPECT_EQ(trace->ResolveSystemAttr(eSAKRelTraceTo, eQLTByKey, errInfo), eQEENone);
  EXPECT_FALSE(trace->IsEdit());
  EXPECT_EQ(trace->AttrDataType(), 0);
}

struct ValueRow {
  int key;
  enumQueryLookupTypes lookup;
  std::string value;
  bool stopOnErr;
  enumQueryEngineError code;
  long message;      // 0: none
  std::string arg;   // the message's argument
  Variant expected;  // Value afterwards; empty: as it was
  std::string display;
  std::string guid;
};

TEST(SystemAttributeResolve, ValuesByAttribute) {
  auto project = MakeSampleProject();
  const Variant kKept;
  const Variant kDate(*date_serial::FromCivil(CivilDateTime{2000, 1, 2}));
  const std::vector<ValueRow> rows = {
      // Requirements: keys, users and documents by the lookup type.
      {-1, eQLTByPrefix, " 15 ", true, eQEENone, 0, "", Variant(15L), "", ""},
      {-1, eQLTByKey, "x", true, eQEEListItemKeyNotNumeric, 14099, "X", kKept, "", ""},
      {-13, eQLTByPrefix, "abc", false, eQEEListItemKeyNotNumeric, 14099, "ABC", kKept, "", ""},
      {-5, eQLTByPrefix, "ann", true, eQEENone, 0, "", Variant(3L), "Ann", SampleGUID('U', 3)},
      {-6, eQLTByPrefix, "Bob", true, eQEENone, 0, "", Variant(4L), "Bob", SampleGUID('U', 4)},
      {-6, eQLTByGUID, "{u0000000-0000-0000-0000-000000000003}", true, eQEENone, 0, "", Variant(3L), "Ann",
       SampleGUID('U', 3)},
      {-5, eQLTByKey, "Ann", true, eQEEUnknownUserName, 14095, "Ann", kKept, "", ""},
      {-6, eQLTByPrefix, "Zed", true, eQEEUnknownUserKey, 14096, "Zed", kKept, "", ""},
      {-6, eQLTByPrefix, "Zed", false, eQEENone, 14096, "Zed", kKept, "", ""},
      {-6, eQLTByPrefix, "<no entry>", true, eQEENone, 0, "", Variant("0"), "<NO ENTRY>", "<NO ENTRY>"},
      {-7, eQLTByPrefix, "spec", true, eQEENone, 0, "", Variant(8L), "Spec", SampleGUID('D', 8)},
      {-8, eQLTByKey, "8", true, eQEENone, 0, "", Variant(8L), "Spec", SampleGUID('D', 8)},
      {-8, eQLTByPrefix, "database", true, eQEENone, 0, "", Variant("0"), "DATABASE", "0"},
      {-8, eQLTByKey, "<NO ENTRY>", true, eQEEUnknownLocationKey, 14098, "<NO ENTRY>", kKept, "", ""},
      {-7, eQLTByPrefix, "Nothing", false, eQEENone, 14097, "Nothing", kKept, "", ""},
      // Discussions: the form follows the attribute, and every failure is hard.
      {-202, eQLTByPrefix, "17", false, eQEENone, 0, "", Variant(17L), "", ""},
      {-202, eQLTByPrefix, "x", false, eQEEReqKeyNotNumeric, 14109, "x", kKept, "", ""},
      {-203, eQLTByPrefix, "Zed", false, eQEEUnknownUserName, 14095, "Zed", kKept, "", ""},
      {-204, eQLTByPrefix, "Ann", false, eQEEUnknownUserKey, 14096, "Ann", kKept, "", ""},
      {-213, eQLTByPrefix, "Zed", false, eQEEUnknownUserName, 14103, "Zed", kKept, "", ""},
      {-214, eQLTByPrefix, "9", false, eQEEUnknownUserKey, 14104, "9", kKept, "", ""},
      {-207, eQLTByPrefix, "team", false, eQEENone, 0, "", Variant(2L), "", ""},
      {-207, eQLTByPrefix, "x", false, eQEEUnknownUserName, 14105, "x", kKept, "", ""},
      {-208, eQLTByPrefix, "3", false, eQEEUnknownUserKey, 14106, "3", kKept, "", ""},
      {-205, eQLTByPrefix, "2.5", false, eQEENone, 0, "", Variant(2.5), "", ""},
      {-205, eQLTByPrefix, "4", false, eQEEInvalidDiscPriority, 14107, "4", kKept, "", ""},
      {-206, eQLTByPrefix, " 2 ", false, eQEENone, 0, "", Variant(2.0), "", ""},
      {-206, eQLTByPrefix, "3", false, eQEEInvalidDiscStatus, 14108, "3", kKept, "", ""},
      {-210, eQLTByPrefix, "1/2/2000", false, eQEENone, 0, "", kDate, "", ""},
      {-210, eQLTByPrefix, "x", false, eQEEInvalidAttrData, 14094, "x", kKept, "", ""},
      {-211, eQLTByPrefix, "true", false, eQEENone, 0, "", Variant(true), "", ""},
      {-212, eQLTByPrefix, "True", false, eQEENone, 0, "", Variant(3L), "", ""},
      {-212, eQLTByPrefix, "FALSE", false, eQEENone, 0, "", Variant(-3L), "", ""},
      {-212, eQLTByPrefix, "maybe", false, eQEEInvalidAttrData, 14094, "maybe", kKept, "", ""},
      {-209, eQLTByPrefix, "15", false, eQEENone, 0, "", Variant(15L), "", ""},
  };
  for (const ValueRow& row : rows) {
    SCOPED_TRACE(std::to_string(row.key) + " = " + row.value + " by " + std::to_string(row.lookup));
    auto typed = Expr(eEOEquals, Variant(row.value));
    std::string errInfo;
    const auto eKey = static_cast<enumSystemAttrKey>(row.key);
    ASSERT_EQ(typed->ResolveSystemAttr(eKey, row.lookup, errInfo), eQEENone);
    std::string value = row.value;
    std::string display = "stale";
    std::string guid = "stale";
    const enumQueryEngineError result =
        typed->ResolveSystemAttrData(row.stopOnErr, project, row.lookup, eKey, value, display, guid, errInfo);
    EXPECT_EQ(result, row.code);
    const std::string message = row.message == 0 ? std::string() : modMain::MessageWithArg(row.message, row.arg);
    EXPECT_EQ(typed->BuildErrString(), message);
    if (row.message != 0) {
      EXPECT_EQ(errInfo, message);
    }
    EXPECT_EQ(typed->Value(), row.expected.IsEmpty() ? Variant(row.value) : row.expected);
    if (result == eQEENone && row.message == 0) {
      EXPECT_EQ(display, row.display);
      EXPECT_EQ(guid, row.guid);
    }
  }
}

TEST(SystemAttributeResolve, NoEntryAuthorSetsTheValueTextToZero) {
  auto project = MakeSampleProject();
  auto typed = Expr(eEOEquals, Variant("<NO ENTRY>"));
  std::string errInfo;
  ASSERT_EQ(typed->ResolveSystemAttr(eSAKReqAuthorName, eQLTByPrefix, errInfo), eQEENone);
  std::string value = "<NO ENTRY>";
  std::string display;
  std::string guid;
  EXPECT_EQ(typed->ResolveSystemAttrData(true, project, eQLTByPrefix, eSAKReqAuthorName, value, display, guid, errInfo),
            eQEENone);
  EXPECT_EQ(value, "0");

  // Has read without a project.
  auto hasRead = Expr(eEOEquals, Variant("True"));
  ASSERT_EQ(hasRead->ResolveSystemAttr(eSAKDiscHasRead, eQLTByPrefix, errInfo), eQEENone);
  value = "True";
  EXPECT_EQ(hasRead->ResolveSystemAttrData(true, nullptr, eQLTByPrefix, eSAKDiscHasRead, value, display, guid, errInfo),
            eQEEProjectNothing);
  EXPECT_EQ(errInfo, modMain::Message(14013));
}

// ---- Query text ------------------------------------------------------------------------------

struct TextRow {
  std::string query;  // read by prefix
  TypeOptions options;
  std::string byPrefix;
  std::string byKey;
  std::string byGuid;
};

TEST(TypedSimpleExpressionText, ThreeFormsOfTheQueryText) {
  auto project = MakeSampleProject();
  const auto A = [](long key) { return SampleGUID('A', key); };
  const auto I = [](long key) { return SampleGUID('I', key); };
  const auto U = [](long key) { return SampleGUID('U', key); };
  const std::vector<TextRow> rows = {
      {"Priority = High", {}, "\"Priority\" = \"High\"", "12 = 34", A(12) + " = " + I(34)},
      {"Not Priority <> Low", {}, " NOT \"Priority\" <> \"Low\"", " NOT 12 <> 36", " NOT " + A(12) + " <> " + I(36)},
      {"Priority In High, \"<NO ENTRY>\", Low",
       {},
       "\"Priority\" In \"High\", \"<NO ENTRY>\", \"Low\"",
       "12 In 34, 0, 36",
       A(12) + " In " + I(34) + ", \"<NO ENTRY>\", " + I(36)},
      {"Priority = \"<no entry>\"",
       {},
       "\"Priority\" = \"<NO ENTRY>\"",
       "12 = \"<NO ENTRY>\"",
       A(12) + " = \"<NO ENTRY>\""},
      {"Tags All = Red", {}, "\"Tags\"  ALL = \"Red\"", "19  ALL = 41", A(19) + "  ALL = " + I(41)},
      {"Difficulty Between 1 And 5",
       {},
       "\"Difficulty\" Between 1 AND 5",
       "14 Between 1 AND 5",
       A(14) + " Between 1 AND 5"},
      {"Due Between 1/2/2000 And 2/3/2001",
       {},
       "\"Due\" Between \"1/2/2000\" AND \"2/3/2001\"",
       "17 Between \"1/2/2000\" AND \"2/3/2001\"",
       A(17) + " Between \"1/2/2000\" AND \"2/3/2001\""},
      {"Title ULike abc", {}, "\"Title\" ULike \"ABC\"", "15 ULike \"ABC\"", A(15) + " ULike \"ABC\""},
      {"Title In a, b", {}, "\"Title\" In \"a\", \"b\"", "15 In \"a\", \"b\"", A(15) + " In \"a\", \"b\""},
      {"Difficulty = \"<no entry>\"",
       {},
       "\"Difficulty\" = \"<NO ENTRY>\"",
       "14 = \"<NO ENTRY>\"",
       A(14) + " = \"<NO ENTRY>\""},
      {"Author = Ann", {}, "\"AUTHOR\" = \"Ann\"", "-6 = 3", SysGuid("77") + " = " + U(3)},
      {"AuthorName In Ann, Bob",
       {},
       "\"AUTHORNAME\" In \"Ann\", \"Bob\"",
       "-5 In 3, 4",
       SysGuid("75") + " In " + U(3) + ", " + U(4)},
      {"Key In 5, 6", {}, "\"KEY\" In \"5\", \"6\"", "-1 In 5, 6", SysGuid("71") + " In 5, 6"},
      {"Location In Spec, Database",
       {},
       "\"LOCATION\" In \"Spec\", \"DATABASE\"",
       "-8 In 8, 0",
       SysGuid("7A") + " In " + SampleGUID('D', 8) + ", 0"},
      {"IsDocTextCurrent = True", {}, "\"ISDOCTEXTCURRENT\" = True", "-19 = True", SysGuid("83") + " = True"},
      {"DateTime >= 1/2/2000",
       {},
       "\"DATETIME\" >= \"1/2/2000\"",
       "-17 >= \"1/2/2000\"",
       SysGuid("81") + " >= \"1/2/2000\""},
      {"Difficulty Order Desc", Sort(), "\"Difficulty\" Order  DESC", "14 Order 2", A(14) + " Order  DESC"},
      {"Priority O +", Sort(), "\"Priority\" O  ASC", "12 O 1", A(12) + " O  ASC"},
      // Discussion attributes have no text or GUID in the tables.
      {"Subject Like \"%a%\"", test::Discussions(), "\"0\" Like \"%a%\"", "-201 Like \"%a%\"", "0 Like \"%a%\""},
  };
  for (const TextRow& row : rows) {
    SCOPED_TRACE(row.query);
    const test::TypedList list = TypeList(project, row.query, row.options);
    ASSERT_EQ(list.result, eQEENone) << list.errInfo;
    const auto typed = list.Simple();
    ASSERT_TRUE(typed);
    EXPECT_EQ(typed->QueryString(eQLTByPrefix), row.byPrefix);
    EXPECT_EQ(typed->QueryString(eQLTByKey), row.byKey);
    EXPECT_EQ(typed->QueryString(eQLTByGUID), row.byGuid);
    EXPECT_EQ(typed->QueryString(eQLTNone), "");
    EXPECT_EQ(typed->QueryString(static_cast<enumQueryLookupTypes>(4)), "");
  }
}

}  // namespace
}  // namespace vlq
