// The vocabulary of system attributes: the public SystemAttributes class, the
// text and GUID tables of modMain, and the reading of an attribute word by
// base type and lookup type.

#include "model/system_attributes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/system_attr_tables.h"

namespace vlq {
namespace {

std::string Guid(const std::string& xx) { return "{B9FA15" + xx + "-4209-11D4-9A75-0010A4F40007}"; }

struct PropertyRow {
  std::string (SystemAttributes::*property)(enumSystemAttribute_ReturnTypes) const;
  int key;
  const char* text;
  const char* xx;
};

TEST(SystemAttributes, EveryPropertyGivesKeyTextAndGuid) {
  const std::vector<PropertyRow> rows = {
      {&SystemAttributes::Key, -1, "KEY", "71"},
      {&SystemAttributes::Tag, -2, "TAG", "72"},
      {&SystemAttributes::RootTagNumber, -3, "ROOTTAG#", "73"},
      {&SystemAttributes::Text, -4, "TEXT", "74"},
      {&SystemAttributes::AuthorName, -5, "AUTHORNAME", "75"},
      {&SystemAttributes::AuthorKey, -6, "AUTHORKEY", "76"},
      {&SystemAttributes::LocationName, -7, "LOCATIONNAME", "78"},
      {&SystemAttributes::LocationKey, -8, "LOCATIONKEY", "79"},
      {&SystemAttributes::Revision, -9, "REVISION", "7B"},
      {&SystemAttributes::Reason, -12, "REASON", "7C"},
      {&SystemAttributes::DiscussionKey, -13, "DISCUSSIONKEY", "7D"},
      {&SystemAttributes::DiscussionStatus, -14, "DISCUSSIONSTATUS", "7E"},
      {&SystemAttributes::KeyScalar, -15, "KEYSCALAR", "7F"},
      {&SystemAttributes::HierarchyLevel, -16, "HIERLEVEL", "80"},
      {&SystemAttributes::DateTime, -17, "DATETIME", "81"},
      {&SystemAttributes::SuspectDateTime, -24, "SUSPECTDATETIME", "92"},
      {&SystemAttributes::BookmarkName, -18, "BOOKMARKNAME", "82"},
      {&SystemAttributes::IsDocTextCurrent, -19, "ISDOCTEXTCURRENT", "83"},
      {&SystemAttributes::Name, -20, "NAME", "84"},
      {&SystemAttributes::DocumentPosition, -21, "DOCPOSITION", "85"},
      {&SystemAttributes::PackageKey, -22, "PACKAGEKEY", "90"},
      {&SystemAttributes::PackageName, -23, "PACKAGENAME", "91"},
      {&SystemAttributes::TracedTo, -100, "TRACED-TO", "86"},
      {&SystemAttributes::TracedFrom, -101, "TRACED-FROM", "87"},
      {&SystemAttributes::Status, -102, "STATUS", "88"},
      {&SystemAttributes::DirectOnly, -103, "DIRECT-ONLY", "89"},
  };
  ASSERT_EQ(rows.size(), 26U);
  const SystemAttributes attributes;
  for (const PropertyRow& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ((attributes.*row.property)(eKey), std::to_string(row.key));
    EXPECT_EQ((attributes.*row.property)(ePrefix), row.text);
    EXPECT_EQ((attributes.*row.property)(eGuid), Guid(row.xx));
    EXPECT_EQ((attributes.*row.property)(static_cast<enumSystemAttribute_ReturnTypes>(0)), "");
    EXPECT_EQ((attributes.*row.property)(static_cast<enumSystemAttribute_ReturnTypes>(4)), "");
  }
}

TEST(SystemAttributes, QueryTextOfAuthorAndLocationIsTheShortForm) {
  // The public class names the table's form; the query text writes the other.
  const SystemAttributes attributes;
  EXPECT_EQ(attributes.AuthorKey(ePrefix), "AUTHORKEY");
  EXPECT_EQ(modMain::SystemAttrEnumToString(eSAKReqAuthorKey), "AUTHOR");
  EXPECT_EQ(modMain::SystemAttrEnumToGUID_(eSAKReqAuthorKey), Guid("77"));
  EXPECT_EQ(modMain::SystemAttrEnumToString(eSAKReqLocationKey), "LOCATION");
  EXPECT_EQ(modMain::SystemAttrEnumToGUID_(eSAKReqLocationKey), Guid("7A"));
}

TEST(SystemAttributes, TextAndGuidTablesGiveZeroOutsideTheirKeys) {
  for (int key = -24; key <= -1; ++key) {
    const auto eKey = static_cast<enumSystemAttrKey>(key);
    const bool exists = key != -10 && key != -11;
    EXPECT_EQ(modMain::SystemAttrEnumToString(eKey) != "0", exists) << key;
    EXPECT_EQ(modMain::SystemAttrEnumToGUID_(eKey) != "0", exists) << key;
  }
  for (int key : {0, -25, -100, -201, -209}) {
    EXPECT_EQ(modMain::SystemAttrEnumToString(static_cast<enumSystemAttrKey>(key)), "0") << key;
    EXPECT_EQ(modMain::SystemAttrEnumToGUID_(static_cast<enumSystemAttrKey>(key)), "0") << key;
  }
  EXPECT_EQ(modMain::SysRelAttrEnumToString(eSAKRelTraceTo), "TRACED-TO");
  EXPECT_EQ(modMain::SysRelAttrEnumToString(eSAKRelDirectOnly), "DIRECT-ONLY");
  EXPECT_EQ(modMain::SysRelAttrEnumToGUID_(eSAKRelTraceFrom), Guid("87"));
  EXPECT_EQ(modMain::SysRelAttrEnumToGUID_(eSAKRelStatus), Guid("88"));
  for (int key : {-1, -99, -104, -201}) {
    EXPECT_EQ(modMain::SysRelAttrEnumToString(static_cast<enumSystemAttrKey>(key)), "0") << key;
    EXPECT_EQ(modMain::SysRelAttrEnumToGUID_(static_cast<enumSystemAttrKey>(key)), "0") << key;
  }
}

struct WordRow {
  enumQueryReturnTypes base;
  enumQueryLookupTypes lookup;
  std::string word;
  int expected;
};

TEST(SystemAttributes, WordsByBaseTypeAndLookupType) {
  const std::vector<WordRow> rows = {
      // Requirements by text: trimmed, any case, both forms of author and location.
      {eBTRequirements, eQLTByPrefix, " author ", -6},
      {eBTRequirements, eQLTByPrefix, "AuthorKey", -6},
      {eBTRequirements, eQLTByPrefix, "AUTHORNAME", -5},
      {eBTRequirements, eQLTByPrefix, "location", -8},
      {eBTRequirements, eQLTByPrefix, "LOCATIONKEY", -8},
      {eBTRequirements, eQLTByPrefix, "RootTag#", -3},
      {eBTRequirements, eQLTByPrefix, "SuspectDateTime", -24},
      {eBTRequirements, eQLTByPrefix, "TRACED-TO", 0},  // trace words belong to the relationship section
      {eBTRequirements, eQLTByPrefix, "SUBJECT", 0},
      {eBTRequirements, eQLTByPrefix, "Priority", 0},
      // Requirements by key: the number itself, in three ranges.
      {eBTRequirements, eQLTByKey, "-1", -1},
      {eBTRequirements, eQLTByKey, "-9", -9},
      {eBTRequirements, eQLTByKey, "-10", 0},
      {eBTRequirements, eQLTByKey, "-11", 0},
      {eBTRequirements, eQLTByKey, "-12", -12},
      {eBTRequirements, eQLTByKey, " -24 ", -24},
      {eBTRequirements, eQLTByKey, "-25", 0},
      {eBTRequirements, eQLTByKey, "-100", -100},
      {eBTRequirements, eQLTByKey, "-103", -103},
      {eBTRequirements, eQLTByKey, "-104", 0},
      {eBTRequirements, eQLTByKey, "KEY", 0},
      {eBTRequirements, eQLTByKey, "12", 0},
      // Requirements by GUID, both GUIDs of author and location.
      {eBTRequirements, eQLTByGUID, Guid("76"), -6},
      {eBTRequirements, eQLTByGUID, Guid("77"), -6},
      {eBTRequirements, eQLTByGUID, Guid("79"), -8},
      {eBTRequirements, eQLTByGUID, Guid("7A"), -8},
      {eBTRequirements, eQLTByGUID, "{b9fa1571-4209-11d4-9a75-0010a4f40007}", -1},
      {eBTRequirements, eQLTByGUID, Guid("86"), 0},
      {eBTRequirements, eQLTByGUID, "-1", 0},
      // Discussions by text have their own words; by key and GUID the number.
      {eBTDiscussions, eQLTByPrefix, "subject", -201},
      {eBTDiscussions, eQLTByPrefix, "AUTHOR", -203},
      {eBTDiscussions, eQLTByPrefix, "KEY", -209},
      {eBTDiscussions, eQLTByPrefix, "STATUS", -206},
      {eBTDiscussions, eQLTByPrefix, "HASREAD", -212},
      {eBTDiscussions, eQLTByPrefix, "TAG", 0},
      {eBTDiscussions, eQLTByKey, "-209", -209},
      {eBTDiscussions, eQLTByKey, "-201", -201},
      {eBTDiscussions, eQLTByKey, "-214", -214},
      {eBTDiscussions, eQLTByKey, "-200", 0},
      {eBTDiscussions, eQLTByKey, "-215", 0},
      {eBTDiscussions, eQLTByKey, "-1", 0},
      {eBTDiscussions, eQLTByKey, "KEY", 0},
      {eBTDiscussions, eQLTByGUID, "-205", -205},
      // Documents and unknown lookup types have no system attributes.
      {eBTDocuments, eQLTByPrefix, "KEY", 0},
      {eBTRequirements, eQLTNone, "KEY", 0},
      {eBTNone, eQLTByPrefix, "KEY", 0},
  };
  for (const WordRow& row : rows) {
    EXPECT_EQ(modMain::SystemAttrStringToEnum(row.base, row.word, row.lookup), row.expected)
        << "base " << row.base << ", lookup " << row.lookup << ", word " << row.word;
  }
}

}  // namespace
}  // namespace vlq
