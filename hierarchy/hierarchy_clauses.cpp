// The joins of a level statement. To sort the rows of one level of the tree
// by the query's sort order, the work table VLHIERARCHYTABLETEMP is joined to
// every table that the main statement joined, since the ORDER BY names their
// columns. Beyond the base join everything is an outer join: an ancestor that
// the query didn't find may have no row in a joined table and must stay.
#include <string>

#include "engine/mod_main.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// The views of the attribute and sort keys, in the order of their sets.
std::vector<std::string> JoinedViews(QuerySql& sql) {
  std::vector<std::string> views;
  for (const std::string& key : sql.AttrViewKeys()) views.push_back(std::string(VLATTRVALUESVIEW_) + key);
  for (const std::string& key : sql.SortViewKeys()) views.push_back(std::string(VLATTRVALUESSORTVIEW_) + key);
  return views;
}

// The nested ANSI joins of Access, SQL Server and DB2. bBlankLineBeforePackages:
// the package groups stand behind an empty line as the discussion group does
// (all but DB2).
std::string AnsiFromClause(QuerySql& sql, bool bBlankLineBeforePackages) {
  const auto T = [&](std::string_view table) { return sql.BaseTableAndSchema(table); };
  const std::string HT = T(VLHIERARCHYTABLETEMP);
  const std::string REQ = T(VLREQUIREMENTS);
  const std::string PREQ = T(VLPROJECTREQUIREMENTS);
  const std::vector<std::string> views = JoinedViews(sql);
  const std::string nl(CRLF);

  // Every opening parenthesis comes before the first table; each ON line
  // closes one.
  std::string s = nl + std::string(FROM);
  if (sql.JoinDiscussions) s += "((";
  for (bool flag : {sql.JoinPackageElements, sql.JoinPackages, sql.JoinUsers, sql.JoinDocuments}) {
    if (flag) s += "(";
  }
  s += std::string(views.size(), '(');
  s += "((" + HT + " ";

  s += nl + "INNER JOIN " + REQ + " ";
  s += nl + "ON " + HT + ".REQUIREMENTKEY=" + REQ + ".ID) ";
  s += nl + "INNER JOIN " + PREQ + " ";
  s += nl + "ON " + REQ + ".ID=" + PREQ + ".REQUIREMENTID) ";

  const auto leftJoin = [&](bool bBlankLine, std::string_view table, const std::string& sOn) {
    if (bBlankLine) s += nl;
    s += nl + "LEFT JOIN " + T(table) + " ";
    s += nl + "ON " + sOn + ") ";
  };
  if (sql.JoinDiscussions) {
    leftJoin(true, VLDISCUSSIONREQUIREMENTS, REQ + ".ID=" + T(VLDISCUSSIONREQUIREMENTS) + ".REQUIREMENTID");
    leftJoin(false, VLDISCUSSIONS, T(VLDISCUSSIONREQUIREMENTS) + ".DISCUSSIONID=" + T(VLDISCUSSIONS) + ".ID");
  }
  if (sql.JoinPackageElements) {
    leftJoin(bBlankLineBeforePackages, VLPACKAGEELEMENTS, REQ + ".ID=" + T(VLPACKAGEELEMENTS) + ".REQUIREMENTID");
  }
  if (sql.JoinPackages) {
    leftJoin(bBlankLineBeforePackages, VLPACKAGES, T(VLPACKAGEELEMENTS) + ".PACKAGEID=" + T(VLPACKAGES) + ".ID");
  }
  if (sql.JoinUsers) leftJoin(false, VLUSERS, REQ + ".VERSIONUSERID=" + T(VLUSERS) + ".ID");
  if (sql.JoinDocuments) leftJoin(false, VLDOCUMENTS, REQ + ".BOOKMARKDOCUMENTID=" + T(VLDOCUMENTS) + ".ID");
  for (const std::string& view : views) leftJoin(false, view, REQ + ".ID=" + T(view) + ".REQUIREMENTID");
  return s;
}

}  // namespace

std::string QuerySql::GenerateAccessFROMClauseForHierarchy_() {
  std::string s;
  modMain::HandleAndLeave("QuerySql.GenerateAccessFROMClauseForHierarchy_",
                          [&] { s = AnsiFromClause(*this, true); });
  return s;
}

std::string QuerySql::GenerateDB2FROMClauseForHierarchy_() {
  std::string s;
  modMain::HandleAndLeave("QuerySql.GenerateDB2FROMClauseForHierarchy_", [&] { s = AnsiFromClause(*this, false); });
  return s;
}

std::string QuerySql::GenerateOracleFROMClauseForHierarchy_() {
  std::string s;
  modMain::HandleAndLeave("QuerySql.GenerateOracleFROMClauseForHierarchy_", [&] {
    const std::string nl(CRLF);
    s = nl + std::string(FROM) + BaseTableAndSchema(VLHIERARCHYTABLETEMP) + ", ";
    s += nl + BaseTableAndSchema(VLREQUIREMENTS) + ", ";
    s += nl + BaseTableAndSchema(VLPROJECTREQUIREMENTS);
    if (JoinDiscussions) {
      s += ", " + nl + BaseTableAndSchema(VLDISCUSSIONREQUIREMENTS);
      s += nl + ", " + BaseTableAndSchema(VLDISCUSSIONS);
    }
    const auto add = [&](std::string_view table) { s += ", " + nl + BaseTableAndSchema(table); };
    if (JoinPackageElements) add(VLPACKAGEELEMENTS);
    if (JoinPackages) add(VLPACKAGES);
    if (JoinUsers) add(VLUSERS);
    if (JoinDocuments) add(VLDOCUMENTS);
    for (const std::string& view : JoinedViews(*this)) add(view);
  });
  return s;
}

std::string QuerySql::GenerateOracleWHEREClauseForHierarchy_() {
  std::string s;
  modMain::HandleAndLeave("QuerySql.GenerateOracleWHEREClauseForHierarchy_", [&] {
    const auto T = [&](std::string_view table) { return BaseTableAndSchema(table); };
    const std::string REQ = T(VLREQUIREMENTS);
    const std::string nl(CRLF);
    s = nl + std::string(WHERE) + T(VLHIERARCHYTABLETEMP) + ".REQUIREMENTKEY=" + REQ + ".ID ";
    s += nl + std::string(AND) + REQ + ".ID=" + T(VLPROJECTREQUIREMENTS) + ".REQUIREMENTID ";
    // The outer side of each join carries the mark.
    const auto outer = [&](const std::string& sJoin) { s += nl + std::string(AND) + sJoin + " (+) "; };
    if (JoinDiscussions) {
      outer(REQ + ".ID=" + T(VLDISCUSSIONREQUIREMENTS) + ".REQUIREMENTID");
      outer(T(VLDISCUSSIONREQUIREMENTS) + ".DISCUSSIONID=" + T(VLDISCUSSIONS) + ".ID");
    }
    if (JoinPackageElements) outer(REQ + ".ID=" + T(VLPACKAGEELEMENTS) + ".REQUIREMENTID");
    if (JoinPackages) outer(T(VLPACKAGEELEMENTS) + ".PACKAGEID=" + T(VLPACKAGES) + ".ID");
    if (JoinUsers) outer(REQ + ".VERSIONUSERID=" + T(VLUSERS) + ".ID");
    if (JoinDocuments) outer(REQ + ".BOOKMARKDOCUMENTID=" + T(VLDOCUMENTS) + ".ID");
    for (const std::string& view : JoinedViews(*this)) outer(REQ + ".ID=" + T(view) + ".REQUIREMENTID");
  });
  return s;
}

}  // namespace vlq
