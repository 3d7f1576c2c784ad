#include "engine/system_attr_tables.h"

#include <array>
#include <optional>

#include "engine/mod_main.h"
#include "model/text_util.h"
#include "model/typed_values.h"

namespace vlq::modMain {
namespace {

struct AttrWords {
  enumSystemAttrKey eKey;
  std::string_view sTableText;    // what SystemAttributes gives
  std::string_view sTableDigits;  // xx of the GUID that SystemAttributes gives
  std::string_view sQueryText;    // what the query text writes
  std::string_view sQueryDigits;  // xx of the GUID that the query text writes
};

// Requirement attributes. Author and location have two forms: the table's
// (AUTHORKEY, LOCATIONKEY) and the shorter one that the query text writes.
constexpr std::array<AttrWords, 22> kReqAttrs{{
    {eSAKReqKey, "KEY", "71", "KEY", "71"},
    {eSAKReqTag, "TAG", "72", "TAG", "72"},
    {eSAKReqRootTagNbr, "ROOTTAG#", "73", "ROOTTAG#", "73"},
    {eSAKReqText, "TEXT", "74", "TEXT", "74"},
    {eSAKReqAuthorName, "AUTHORNAME", "75", "AUTHORNAME", "75"},
    {eSAKReqAuthorKey, "AUTHORKEY", "76", "AUTHOR", "77"},
    {eSAKReqLocationName, "LOCATIONNAME", "78", "LOCATIONNAME", "78"},
    {eSAKReqLocationKey, "LOCATIONKEY", "79", "LOCATION", "7A"},
    {eSAKReqRevision, "REVISION", "7B", "REVISION", "7B"},
    {eSAKReqReason, "REASON", "7C", "REASON", "7C"},
    {eSAKReqDiscussionKey, "DISCUSSIONKEY", "7D", "DISCUSSIONKEY", "7D"},
    {eSAKReqDiscussionStatus, "DISCUSSIONSTATUS", "7E", "DISCUSSIONSTATUS", "7E"},
    {eSAKReqKeyScalar, "KEYSCALAR", "7F", "KEYSCALAR", "7F"},
    {eSAKReqHierLevel, "HIERLEVEL", "80", "HIERLEVEL", "80"},
    {eSAKReqRevDateTime, "DATETIME", "81", "DATETIME", "81"},
    {eSAKReqBookmarkName, "BOOKMARKNAME", "82", "BOOKMARKNAME", "82"},
    {eSAKReqIsDocTextCurrent, "ISDOCTEXTCURRENT", "83", "ISDOCTEXTCURRENT", "83"},
    {eSAKReqName, "NAME", "84", "NAME", "84"},
    {eSAKReqDocPosition, "DOCPOSITION", "85", "DOCPOSITION", "85"},
    {eSAKReqPackageKey, "PACKAGEKEY", "90", "PACKAGEKEY", "90"},
    {eSAKReqPackageName, "PACKAGENAME", "91", "PACKAGENAME", "91"},
    {eSAKReqSuspectDateTime, "SUSPECTDATETIME", "92", "SUSPECTDATETIME", "92"},
}};

constexpr std::array<AttrWords, 4> kRelAttrs{{
    {eSAKRelTraceTo, "TRACED-TO", "86", "TRACED-TO", "86"},
    {eSAKRelTraceFrom, "TRACED-FROM", "87", "TRACED-FROM", "87"},
    {eSAKRelStatus, "STATUS", "88", "STATUS", "88"},
    {eSAKRelDirectOnly, "DIRECT-ONLY", "89", "DIRECT-ONLY", "89"},
}};

struct DiscWords {
  enumSystemAttrKey eKey;
  std::string_view sText;
};

constexpr std::array<DiscWords, 14> kDiscAttrs{{
    {eSAKDiscSubject, "SUBJECT"},
    {eSAKDiscReqKey, "REQUIREMENTKEY"},
    {eSAKDiscAuthor, "AUTHOR"},
    {eSAKDiscAuthorKey, "AUTHORKEY"},
    {eSAKDiscPriority, "PRIORITY"},
    {eSAKDiscStatus, "STATUS"},
    {eSAKDiscGroup, "GROUP"},
    {eSAKDiscGroupKey, "GROUPKEY"},
    {eSAKDiscDiscussionKey, "KEY"},
    {eSAKDiscSubmitDate, "SUBMITDATE"},
    {eSAKDiscResponses, "RESPONSES"},
    {eSAKDiscHasRead, "HASREAD"},
    {eSAKDiscUser, "USER"},
    {eSAKDiscUserKey, "USERKEY"},
}};

template <std::size_t N>
const AttrWords* Find(const std::array<AttrWords, N>& table, enumSystemAttrKey eKey) {
  for (const AttrWords& words : table) {
    if (words.eKey == eKey) return &words;
  }
  return nullptr;
}

const AttrWords* FindReqOrRel(enumSystemAttrKey eKey) {
  const AttrWords* words = Find(kReqAttrs, eKey);
  return words ? words : Find(kRelAttrs, eKey);
}

// The key that a numeric form of the attribute names; a text that isn't
// numeric is a failure of the conversion, reported and taken as no key.
std::optional<long> NumericForm(std::string_view sAttr) {
  std::optional<long> key = typed_values::TextToWhole(sAttr);
  if (!key) {
    CentralErrorHandler("modMain.SystemAttrEnumToString", {},
                        Failure(13, "modMain.SystemAttrEnumToString", "Type mismatch"));
  }
  return key;
}

bool InRange(long lKey, long lLow, long lHigh) { return lKey >= lLow && lKey <= lHigh; }

}  // namespace

std::string SystemAttrGUID(std::string_view sDigits) {
  return "{B9FA15" + std::string(sDigits) + "-4209-11D4-9A75-0010A4F40007}";
}

enumSystemAttrKey SystemAttrStringToEnum(enumQueryReturnTypes eBaseType, std::string_view sAttr,
                                         enumQueryLookupTypes eLookupType) {
  enumSystemAttrKey result = eSAKUnknown;
  HandleAndLeave("modMain.SystemAttrStringToEnum", [&] {
    const std::string sWord = text::Upper(text::TrimView(sAttr));
    if (eBaseType == eBTRequirements) {
      switch (eLookupType) {
        case eQLTByPrefix:
          for (const AttrWords& words : kReqAttrs) {
            if (text::EqualsNoCase(sWord, words.sTableText) || text::EqualsNoCase(sWord, words.sQueryText)) {
              result = words.eKey;
              return;
            }
          }
          return;
        case eQLTByKey: {
          const std::optional<long> key = NumericForm(sWord);
          if (key && (InRange(*key, -103, -100) || InRange(*key, -24, -12) || InRange(*key, -9, -1))) {
            result = static_cast<enumSystemAttrKey>(*key);
          }
          return;
        }
        case eQLTByGUID:
          for (const AttrWords& words : kReqAttrs) {
            if (text::EqualsNoCase(sWord, SystemAttrGUID(words.sTableDigits)) ||
                text::EqualsNoCase(sWord, SystemAttrGUID(words.sQueryDigits))) {
              result = words.eKey;
              return;
            }
          }
          return;
        default:
          return;
      }
    }
    if (eBaseType == eBTDiscussions) {
      if (eLookupType == eQLTByPrefix) {
        for (const DiscWords& words : kDiscAttrs) {
          if (text::EqualsNoCase(sWord, words.sText)) {
            result = words.eKey;
            return;
          }
        }
      } else if (eLookupType == eQLTByKey || eLookupType == eQLTByGUID) {
        const std::optional<long> key = NumericForm(sWord);
        if (key && InRange(*key, -214, -201)) result = static_cast<enumSystemAttrKey>(*key);
      }
    }
  });
  return result;
}

std::string SystemAttrEnumToString(enumSystemAttrKey eKey) {
  const AttrWords* words = Find(kReqAttrs, eKey);
  return words ? std::string(words->sQueryText) : std::string("0");
}

std::string SystemAttrEnumToGUID_(enumSystemAttrKey eKey) {
  const AttrWords* words = Find(kReqAttrs, eKey);
  return words ? SystemAttrGUID(words->sQueryDigits) : std::string("0");
}

std::string SysRelAttrEnumToString(enumSystemAttrKey eKey) {
  const AttrWords* words = Find(kRelAttrs, eKey);
  return words ? std::string(words->sQueryText) : std::string("0");
}

std::string SysRelAttrEnumToGUID_(enumSystemAttrKey eKey) {
  const AttrWords* words = Find(kRelAttrs, eKey);
  return words ? SystemAttrGUID(words->sQueryDigits) : std::string("0");
}

std::string SystemAttrTableText(enumSystemAttrKey eKey) {
  const AttrWords* words = FindReqOrRel(eKey);
  return words ? std::string(words->sTableText) : std::string();
}

std::string SystemAttrTableGUID(enumSystemAttrKey eKey) {
  const AttrWords* words = FindReqOrRel(eKey);
  return words ? SystemAttrGUID(words->sTableDigits) : std::string();
}

}  // namespace vlq::modMain
