#include "platform/project_schema.h"

#include <cstdio>
#include <random>

#include "model/text_util.h"

namespace vlq::platform::schema {
namespace {

constexpr ColumnKind kKey = ColumnKind::Key;
constexpr ColumnKind kInt = ColumnKind::Whole;
constexpr ColumnKind kZero = ColumnKind::WholeZero;
constexpr ColumnKind kText = ColumnKind::Text;
constexpr ColumnKind kExact = ColumnKind::ExactText;
constexpr ColumnKind kDate = ColumnKind::DateTime;

}  // namespace

const std::vector<TableDef>& Tables() {
  static const std::vector<TableDef> tables = {
      // The project service's structure.
      {"VLPROJECT", {{"ID", kKey}, {"GUID", kText}, {"PREFIX", kText}, {"NAME", kText}}},
      {"VLREQUIREMENTTYPES", {{"ID", kKey}, {"PREFIX", kText}, {"NAME", kText}, {"GUID", kText}}},
      {"VLATTRIBUTES",
       {{"ID", kKey}, {"REQUIREMENTTYPEID", kInt}, {"LABEL", kText}, {"GUID", kText}, {"DATATYPE", kInt}}},
      {"VLUSERDEFINEDLISTITEMS",
       {{"FIELDID", kInt}, {"ITEMID", kInt}, {"ITEMRANK", kInt}, {"ITEMTEXT", kText}, {"GUID", kText}}},
      {"VLUSERDEFINEDLISTVALUES", {{"REQUIREMENTID", kInt}, {"FIELDID", kInt}, {"LISTITEMID", kInt}}},
      {"VLUSERDEFINEDFIELDVALUES", {{"REQUIREMENTID", kInt}, {"FIELDID", kInt}, {"FIELDVALUE", ColumnKind::Value}}},
      {"VLUSERS", {{"ID", kKey}, {"FULLNAME", kText}, {"GUID", kText}, {"GROUPID", kInt}, {"PRIVILEGED", kZero}}},
      {"VLGROUPS", {{"ID", kKey}, {"NAME", kText}}},
      {"VLDOCUMENTS", {{"ID", kKey}, {"NAME", kText}, {"GUID", kText}}},
      {"VLEXTERNALPROJECTS",
       {{"RELKEY", kInt},
        {"PREFIX", kText},
        {"GUID", kText},
        {"PATH", kExact},
        {"FILENAME", kExact},
        {"ISDELETED", kZero}}},
      {"VLCONNECTIONPROPERTIES", {{"NAME", kText}, {"VALUE", kExact}}},
      // Requirements.
      {"VLREQUIREMENTS",
       {{"ID", kKey},
        {"REQUIREMENTTYPEID", kInt},
        {"REQUIREMENTNAME", kText},
        {"REQUIREMENTTEXT", kText},
        {"REQUIREMENTPREFIX", kText},
        // Tag numbers are digits: compared exactly, so that a server's
        // index serves a parent found by a leading part of a child's tag.
        {"LONGTAGNUMBER", kExact},
        {"VERSIONNUMBER", kInt},
        {"VERSIONDATETIME", kDate},
        {"VERSIONREASON", kText},
        {"VERSIONUSERID", kInt},
        {"SUSPECTDATETIME", kDate},
        {"BOOKMARKDOCUMENTID", kInt},
        {"BOOKMARKNAME", kText},
        {"DOCUMENTPOSITION", kInt},
        {"FLAGS", kZero}}},
      {"VLPROJECTREQUIREMENTS", {{"PROJECTID", kInt}, {"REQUIREMENTID", kInt}}},
      {"VLTORELATIONSHIPS",
       {{"REQUIREMENTID", kInt},
        {"TOID", kInt},
        {"EXTERNALPROJECTID", kZero},
        {"EXTERNALPROJECTTOID", kZero},
        {"TYPE", kZero},
        {"STATE", kZero}}},
      {"VLPACKAGES", {{"ID", kKey}, {"NAME", kText}}},
      {"VLPACKAGEELEMENTS", {{"PACKAGEID", kInt}, {"REQUIREMENTID", kInt}}},
      // The ReqIF IDENTIFIER of an imported requirement: shown beside the
      // answers, written again on export, and carried along by a copy.
      {"VLREQIFIDENTIFIERS", {{"REQUIREMENTID", kKey}, {"IDENTIFIER", kExact}}},
      // Discussions.
      {"VLDISCUSSIONS",
       {{"ID", kKey},
        {"ROOTID", kInt},
        {"PARENTID", kZero},
        {"SUBJECT", kText},
        {"AUTHORID", kInt},
        {"PRIORITY", kInt},
        {"STATUS", kInt},
        {"SUBMITDATETIME", kDate},
        {"RESTRICTED", kZero}}},
      {"VLPROJECTDISCUSSIONS", {{"PROJECTID", kInt}, {"DISCUSSIONID", kInt}}},
      {"VLDISCUSSIONREQUIREMENTS", {{"DISCUSSIONID", kInt}, {"REQUIREMENTID", kInt}}},
      {"VLDISCUSSIONUSERS", {{"DISCUSSIONID", kInt}, {"USERID", kInt}}},
      {"VLDISCUSSIONGROUPS", {{"DISCUSSIONID", kInt}, {"GROUPID", kInt}}},
      {"VLDISCUSSIONSREAD", {{"DISCUSSIONID", kInt}, {"USERID", kInt}}},
      // Work tables, shared by all sessions and told apart by SESSIONID.
      {"VLTRACETABLETEMP",
       {{"ROOTID", kInt}, {"PROJECTID", kInt}, {"ID", kInt}, {"LVL", kInt}, {"SESSIONID", kInt}, {"STATUS", kInt}},
       true},
      {"VLTRACETABLEINDIR", {{"ID", kInt}, {"SESSIONID", kInt}}, true},
      {"VLHIERARCHYTABLETEMP", {{"SESSIONID", kInt}, {"REQUIREMENTKEY", kInt}, {"LONGTAGNUMBER", kExact}}, true},
      // DATAORDER numbers the rows in the order of insertion, also for an
      // INSERT ... SELECT ... ORDER BY: the tree order of a hierarchy rests on it.
      {"VLHIERARCHYORDEREDLEVELSTEMP",
       {{"DATAORDER", ColumnKind::InsertionOrder},
        {"SESSIONID", kInt},
        {"REQUIREMENTID", kInt},
        {"LONGTAGNUMBER", kExact}},
       true},
      {"VLHIERARCHYFINALORDERTEMP",
       {{"SESSIONID", kInt}, {"REQUIREMENTID", kInt}, {"LONGTAGNUMBER", kExact}, {"ORDERTAG", kExact}},
       true},
  };
  return tables;
}

const std::vector<IndexDef>& Indexes() {
  // What the engine's statements look up: traces from both ends, project
  // membership, values by attribute and requirement, work rows by session.
  static const std::vector<IndexDef> indexes = {
      // The type of a requirement known by key, read from the index alone
      // (the tree order asks it for every row).
      {"VLIX_REQUIREMENTS_TYPE", "VLREQUIREMENTS", "REQUIREMENTTYPEID"},
      // A type's requirements in tag order, and a parent found by its tag
      // within the type: the planner needs no statistics to take it.
      {"VLIX_REQUIREMENTS_TYPE_TAG", "VLREQUIREMENTS", "REQUIREMENTTYPEID, LONGTAGNUMBER"},
      {"VLIX_REQUIREMENTS_TAG", "VLREQUIREMENTS", "LONGTAGNUMBER"},
      // A requirement's membership, by requirement first: a planner without
      // statistics takes an index that starts with the project for a
      // selective one and reads every member of the project, where a file
      // holds one project and the requirement's type selects far better.
      {"VLIX_PROJECTREQUIREMENTS_MEMBER", "VLPROJECTREQUIREMENTS", "REQUIREMENTID, PROJECTID"},
      {"VLIX_TORELATIONSHIPS_FROM", "VLTORELATIONSHIPS", "REQUIREMENTID, EXTERNALPROJECTID"},
      {"VLIX_TORELATIONSHIPS_TO", "VLTORELATIONSHIPS", "TOID, EXTERNALPROJECTTOID"},
      {"VLIX_PACKAGEELEMENTS_REQ", "VLPACKAGEELEMENTS", "REQUIREMENTID"},
      {"VLIX_PACKAGEELEMENTS_PACKAGE", "VLPACKAGEELEMENTS", "PACKAGEID"},
      // The chosen items of an attribute, read from the index alone.
      {"VLIX_LISTVALUES_FIELD_ITEM", "VLUSERDEFINEDLISTVALUES", "FIELDID, REQUIREMENTID, LISTITEMID"},
      {"VLIX_LISTVALUES_REQ", "VLUSERDEFINEDLISTVALUES", "REQUIREMENTID"},
      // A list item's rank, which the attribute views look up for every
      // chosen item, read from the index alone.
      {"VLIX_LISTITEMS_FIELD_RANK", "VLUSERDEFINEDLISTITEMS", "FIELDID, ITEMID, ITEMRANK"},
      {"VLIX_FIELDVALUES_FIELD", "VLUSERDEFINEDFIELDVALUES", "FIELDID, REQUIREMENTID"},
      {"VLIX_FIELDVALUES_REQ", "VLUSERDEFINEDFIELDVALUES", "REQUIREMENTID"},
      {"VLIX_ATTRIBUTES_TYPE", "VLATTRIBUTES", "REQUIREMENTTYPEID"},
      {"VLIX_DISCUSSIONS_ROOT", "VLDISCUSSIONS", "ROOTID"},
      // The first messages of the threads, in key order: a discussion query
      // reads them from here rather than every thread's messages through
      // the project's list of threads, with or without statistics.
      {"VLIX_DISCUSSIONS_PARENT", "VLDISCUSSIONS", "PARENTID"},
      {"VLIX_PROJECTDISCUSSIONS_PROJECT", "VLPROJECTDISCUSSIONS", "PROJECTID, DISCUSSIONID"},
      {"VLIX_PROJECTDISCUSSIONS_DISC", "VLPROJECTDISCUSSIONS", "DISCUSSIONID"},
      {"VLIX_DISCREQ_DISC", "VLDISCUSSIONREQUIREMENTS", "DISCUSSIONID"},
      {"VLIX_DISCREQ_REQ", "VLDISCUSSIONREQUIREMENTS", "REQUIREMENTID"},
      {"VLIX_DISCUSERS_DISC", "VLDISCUSSIONUSERS", "DISCUSSIONID, USERID"},
      {"VLIX_DISCGROUPS_DISC", "VLDISCUSSIONGROUPS", "DISCUSSIONID, GROUPID"},
      {"VLIX_DISCREAD_DISC", "VLDISCUSSIONSREAD", "DISCUSSIONID, USERID"},
      {"VLIX_DISCREAD_USER", "VLDISCUSSIONSREAD", "USERID"},
      {"VLIX_TRACETEMP_LEVEL", "VLTRACETABLETEMP", "SESSIONID, LVL"},
      {"VLIX_TRACETEMP_ID", "VLTRACETABLETEMP", "SESSIONID, ID"},
      // A closure level's test whether a chain reached a state before. The
      // session comes last, so that a planner without statistics doesn't
      // take it to read a level's rows instead of VLIX_TRACETEMP_LEVEL.
      {"VLIX_TRACETEMP_STATE", "VLTRACETABLETEMP", "ROOTID, ID, PROJECTID, STATUS, SESSIONID"},
      {"VLIX_TRACEINDIR_SESSION", "VLTRACETABLEINDIR", "SESSIONID, ID"},
      {"VLIX_HIERTEMP_SESSION", "VLHIERARCHYTABLETEMP", "SESSIONID, REQUIREMENTKEY"},
      {"VLIX_HIERTEMP_TAG", "VLHIERARCHYTABLETEMP", "SESSIONID, LONGTAGNUMBER, REQUIREMENTKEY"},
      // A row's parent is found by its tag in each table of the tree order;
      // the indexes hold what the level statements read of a row, so that
      // each level's pass over the session reads no table row.
      {"VLIX_HIERLEVELS_TAG", "VLHIERARCHYORDEREDLEVELSTEMP", "SESSIONID, LONGTAGNUMBER, REQUIREMENTID"},
      {"VLIX_HIERFINAL_TAG", "VLHIERARCHYFINALORDERTEMP", "SESSIONID, LONGTAGNUMBER, REQUIREMENTID, ORDERTAG"},
      {"VLIX_HIERFINAL_ORDER", "VLHIERARCHYFINALORDERTEMP", "SESSIONID, ORDERTAG, REQUIREMENTID"},
  };
  return indexes;
}

const std::vector<std::string_view>& RetiredIndexes() {
  static const std::vector<std::string_view> retired = {"VLIX_PROJECTREQUIREMENTS_PROJECT",
                                                        "VLIX_PROJECTREQUIREMENTS_REQ"};
  return retired;
}

const TableDef* FindTable(std::string_view name) {
  for (const TableDef& table : Tables()) {
    if (text::EqualsNoCase(table.Name, name)) return &table;
  }
  return nullptr;
}

std::string AttrViewName(long attrKey) { return "VLATTRVALUESVIEW_" + std::to_string(attrKey); }

bool IsNumericDataType(int dataType) { return dataType >= 2 && dataType <= 5; }

bool IsListDataType(int dataType) { return dataType == 0 || dataType == 10; }

std::string NewGuid() {
  static thread_local std::mt19937_64 rng{std::random_device{}()};
  const std::uint64_t a = rng();
  const std::uint64_t b = rng();
  char buf[48];
  std::snprintf(buf, sizeof buf, "{%08X-%04X-4%03X-%04X-%012llX}", static_cast<unsigned>(a >> 32),
                static_cast<unsigned>((a >> 16) & 0xFFFF), static_cast<unsigned>(a & 0xFFF),
                static_cast<unsigned>(0x8000 | ((b >> 48) & 0x3FFF)),
                static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFull));
  return buf;
}

}  // namespace vlq::platform::schema
