// Results in tree order. Fetch with bRetainHierarchy doesn't send the main
// statement as it is: the statement is rewritten into an INSERT of its hits
// into the work table VLHIERARCHYTABLETEMP, the ancestors of the hits are
// added, the level ordering (level_ordering.cpp) numbers every row so that an
// ORDER BY gives parents before children and siblings in the query's order,
// and Fetch runs a plain SELECT on the last work table instead.
//
// The rewrite works on the finished statement as text: it relies on the clause
// starters CR LF "FROM " and CR LF "ORDER BY ", on "MIN(" in the select part of
// an aggregated statement and on the requirement type term of the WHERE
// clause, exactly as the statement assemblers write them.
//
// Sessions of different users and runs share the work tables and stay apart by
// SESSIONID alone; every statement here reads and deletes only its session.
#include <string>
#include <string_view>

#include "engine/mod_main.h"
#include "hierarchy/hierarchy_statements.h"
#include "model/text_util.h"
#include "model/typed_comp_rel_expression.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace hierarchy {

std::string JoinLines(const std::vector<std::string>& lines) {
  std::string s;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i != 0) s += CRLF;
    s += lines[i];
  }
  return s;
}

std::string SessionText(long lSessionID) { return std::to_string(lSessionID); }

bool IsAggregated(const QuerySql& sql) { return sql.NeedsMinAggregate || sql.JoinDiscussions; }

}  // namespace hierarchy

enumQueryEngineError QuerySql::ChangeSQLToRetainHierarchy(std::string& sSql, long& lSessionID) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.ChangeSQLToRetainHierarchy", [&] {
    result = PopulateHierarchyTable_(sSql, lSessionID);
    // Even when a statement of the run failed, the final statement is made:
    // it then finds no rows, or fails itself when the tables are missing.
    if (result == eQEENone) sSql = FinalHierarchySQL_(lSessionID);
  });
  return result;
}

enumQueryEngineError QuerySql::DumpHierarchyRecords(long lSessionID, std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.DumpHierarchyRecords", [&] {
    if (!oDataServices_) {
      sErrInfo = modMain::Message(14052);
      result = eQEEDataServicesNothing;
      return;
    }
    const std::string S = hierarchy::SessionText(lSessionID);
    for (std::string_view table : {VLHIERARCHYTABLETEMP, VLHIERARCHYORDEREDLEVELSTEMP, VLHIERARCHYFINALORDERTEMP}) {
      const std::string sSql = hierarchy::JoinLines({
          std::string(DELETE_),
          std::string(FROM) + BaseTableAndSchema(table),
          std::string(WHERE) + "SESSIONID=" + S,
      });
      long lRowsAffected = 0;
      oDataServices_->Execute(sSql, lRowsAffected);
    }
  });
  return result;
}

enumQueryEngineError QuerySql::PopulateHierarchyTable_(const std::string& sSql, long& lSessionID) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.PopulateHierarchyTable_", [&] {
    // The caller gets the session before anything can fail, so that whatever
    // was written can be deleted under it.
    std::string sCopy = sSql;
    lSessionID = GetNextHierarchySessionID_();
    const long lReqTypeKey = ParseReqTypeKeyFromSQL_(sCopy);
    result = ExtendHierarchySQL_(sCopy, lSessionID);
    if (result != eQEENone) return;
    ExecuteWorkStatement_(sCopy);
    ExecuteWorkStatement_(SecondPassHierarchySQL_(lSessionID, lReqTypeKey));
    result = OrderLevels_(lSessionID);
  });
  return result;
}

long QuerySql::GetNextHierarchySessionID_() { return MakeSessionID(); }

long QuerySql::ParseReqTypeKeyFromSQL_(std::string_view sSql) {
  long lKey = 0;
  modMain::HandleAndLeave("QuerySql.ParseReqTypeKeyFromSQL_", [&] {
    // The first type term of the text wins, wherever it stands; each form is
    // looked for only when the one before isn't there at all.
    std::size_t at = std::string_view::npos;
    std::size_t length = 0;
    for (std::string_view form : {"REQUIREMENTTYPEID=", "REQUIREMENTTYPEID =", "REQUIREMENTTYPEID  ="}) {
      at = sSql.find(form);
      if (at != std::string_view::npos) {
        length = form.size();
        break;
      }
    }
    if (at == std::string_view::npos) return;
    std::size_t pos = at + length;
    while (pos < sSql.size() && sSql[pos] == ' ') ++pos;
    if (pos >= sSql.size()) return;
    // The character found there (a sign, say) and the digits behind it.
    std::size_t end = pos + 1;
    while (end < sSql.size() && sSql[end] >= '0' && sSql[end] <= '9') ++end;
    const std::string_view taken = sSql.substr(pos, end - pos);
    if (text::IsDecimalWhole(taken)) lKey = std::stol(std::string(taken));
  });
  return lKey;
}

enumQueryEngineError QuerySql::ExtendHierarchySQL_(std::string& sSql, long lSessionID) {
  modMain::HandleAndLeave("QuerySql.ExtendHierarchySQL_", [&] {
    // The select part is replaced; the rest begins at the line feed of the
    // break in front of FROM.
    const std::size_t at = sSql.find(nlFROM);
    const std::string sSelect = at == std::string::npos ? sSql : sSql.substr(0, at);
    std::string sRest = at == std::string::npos ? std::string() : sSql.substr(at + 1);
    // An aggregated statement ends in a GROUP BY, which the INSERT keeps, so
    // that its columns must be aggregated too.
    const bool bAggregated = sSelect.find("MIN(") != std::string::npos;
    // Oracle and DB2 take no ORDER BY in an INSERT ... SELECT.
    if (lDatabaseType_ == eDBTOracle || lDatabaseType_ == eDBTDB2) {
      const std::size_t order = sRest.find(nlORDER_BY);
      if (order != std::string::npos) sRest.resize(order);
    }
    const std::string S = hierarchy::SessionText(lSessionID);
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    std::string sNew = "INSERT INTO " + BaseTableAndSchema(VLHIERARCHYTABLETEMP) +
                       " (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) " + std::string(CRLF);
    if (!bAggregated) {
      sNew += "SELECT  " + S + " AS SESSIONID, " + REQ + ".ID AS REQUIREMENTKEY, " + REQ + ".LONGTAGNUMBER";
    } else {
      sNew += "SELECT  MIN(" + S + ") AS SESSIONID, MIN(" + REQ + ".ID) AS REQUIREMENTKEY, MIN(" + REQ +
              ".LONGTAGNUMBER) AS LONGTAGNUMBER";
    }
    sSql = sNew + sRest;
  });
  return eQEENone;
}

std::string QuerySql::SecondPassHierarchySQL_(long lSessionID, long lReqTypeKey) {
  std::string sSql;
  modMain::HandleAndLeave("QuerySql.SecondPassHierarchySQL_", [&] {
    const std::string S = hierarchy::SessionText(lSessionID);
    const std::string K = std::to_string(lReqTypeKey);
    const std::string HT = BaseTableAndSchema(VLHIERARCHYTABLETEMP);
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    // An ancestor's tag is a leading part of the tag of a row of the session.
    // One pass finds the ancestors of every level, since the whole tag is
    // compared.
    std::string sPrefixTest;
    switch (lDatabaseType_) {
      case eDBTAccess:
      case eDBTAccess2:
      case eDBTOracle:
        sPrefixTest = "WHERE INSTR(" + HT + ".LONGTAGNUMBER, " + REQ + ".LONGTAGNUMBER)=1 ";
        break;
      case eDBTSQLServer:
        sPrefixTest = "WHERE CHARINDEX(" + REQ + ".LONGTAGNUMBER, " + HT + ".LONGTAGNUMBER)=1 ";
        break;
      case eDBTDB2:
        sPrefixTest = "WHERE LOCATE(" + REQ + ".LONGTAGNUMBER, " + HT + ".LONGTAGNUMBER)=1 ";
        break;
      default:
        break;
    }
    sSql = hierarchy::JoinLines({
        "INSERT INTO " + HT + " (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER)  ",
        "SELECT MIN(" + S + ") AS SESSIONID, MIN(" + REQ + ".ID) AS REQUIREMENTKEY, " + REQ + ".LONGTAGNUMBER",
        "FROM " + REQ + ", " + HT + " ",
        sPrefixTest,
        "AND " + HT + ".SESSIONID=" + S,
        // A hit that is also an ancestor of another hit stands once.
        "AND " + REQ + ".ID NOT IN  ",
        "(SELECT " + HT + ".REQUIREMENTKEY ",
        "FROM " + HT + " ",
        "WHERE " + HT + ".SESSIONID=" + S + ")",
        "AND " + REQ + ".REQUIREMENTTYPEID=" + K + " ",
        "GROUP BY " + REQ + ".LONGTAGNUMBER",
    });
  });
  return sSql;
}

}  // namespace vlq
