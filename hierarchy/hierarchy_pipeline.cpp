// Results in tree order. Fetch with bRetainHierarchy doesn't send the main
// statement as it is: the statement is rewritten into an INSERT of its hits
// into the work table VLHIERARCHYTABLETEMP, the ancestors of the hits are
// added, the level ordering (level_ordering.cpp) numbers every row so that an
// ORDER BY gives parents before children and siblings in the query's order,
// and Fetch runs a plain SELECT on the last work table instead.
//
// The rewrite works on the finished statement as text: it relies on the clause
// starters CR LF "FROM " and CR LF "ORDER BY " and on "MIN(" in the select
// part of an aggregated statement, exactly as the statement assemblers write
// them.
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
    result = ExtendHierarchySQL_(sCopy, lSessionID);
    if (result != eQEENone) return;
    ExecuteWorkStatement_(sCopy);
    // The ancestors, level by level from the deepest: each step adds the
    // parents of a level, which the next step finds as rows of their own.
    const std::string sProjectKey = oBaseProject_ ? ValueToSQL(Variant(oBaseProject_->Key())) : "0";
    for (long lLevel = hierarchy::ReadLevelCount(*this, lSessionID); lLevel >= 2; --lLevel) {
      const std::string sAncestors = hierarchy::AncestorsSQL(*this, lSessionID, lLevel, sProjectKey);
      if (sAncestors.empty()) break;
      ExecuteWorkStatement_(sAncestors);
    }
    result = OrderLevels_(lSessionID);
  });
  return result;
}

long QuerySql::GetNextHierarchySessionID_() { return MakeSessionID(); }

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
    // The order of the hits is made later, level by level: the statement's
    // own ORDER BY would only cost a sort, and some databases refuse it in an
    // INSERT ... SELECT.
    const std::size_t order = sRest.find(nlORDER_BY);
    if (order != std::string::npos) sRest.resize(order);
    const std::string S = hierarchy::SessionText(lSessionID);
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    std::string sNew = "INSERT INTO " + BaseTableAndSchema(VLHIERARCHYTABLETEMP) +
                       " (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) " + std::string(CRLF);
    if (!bAggregated) {
      // A requirement that a join repeats is one hit.
      sNew += "SELECT DISTINCT " + S + " AS SESSIONID, " + REQ + ".ID AS REQUIREMENTKEY, " + REQ + ".LONGTAGNUMBER";
    } else {
      sNew += "SELECT  MIN(" + S + ") AS SESSIONID, MIN(" + REQ + ".ID) AS REQUIREMENTKEY, MIN(" + REQ +
              ".LONGTAGNUMBER) AS LONGTAGNUMBER";
    }
    sSql = sNew + sRest;
  });
  return eQEENone;
}

}  // namespace vlq
