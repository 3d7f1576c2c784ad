// The closure of indirect traces, worked out in the database with plain
// statements on the shared work tables, no recursive query: the direct hits go
// to VLTRACETABLEINDIR, the trace graph is walked level by level into
// VLTRACETABLETEMP, and the roots of the chains that reach a direct hit are
// added to VLTRACETABLEINDIR. The main statement then tests membership there.
// Sessions of different users and filters stay apart by SESSIONID alone.
#include "closure/closure_support.h"
#include "engine/mod_main.h"
#include "model/typed_comp_rel_expression.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// The walk follows chains of at most this many traces. A level adds only the
// (root, requirement, status) states not reached before, so that a cycle
// ends the walk when it closes; the limit ends a long chain.
constexpr long kMaxClosureLevels = 50;

}  // namespace

enumQueryEngineError QuerySql::BuildTransClosure(TypedCompRelExpression& oRelExpr, std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.BuildTransClosure", [&] {
    // Rows an earlier build of this filter left behind would count twice.
    const long lSessionID = oRelExpr.SessionID();
    result = DumpSessionIndirTraceRecords(lSessionID, sErrInfo);
    if (result != eQEENone) return;

    const bool bOracle = lDatabaseType_ == eDBTOracle;
    const std::string S = ValueToSQL(Variant(lSessionID));
    const std::string P = oBaseProjStruSpec_.ProjKey();
    const std::string R = oBaseProjStruSpec_.StructKey();
    const std::string INDIR = BaseTableAndSchema(VLTRACETABLEINDIR);
    const std::string TEMP = BaseTableAndSchema(VLTRACETABLETEMP);
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    const std::string PREQ = BaseTableAndSchema(VLPROJECTREQUIREMENTS);

    // The criterion of a direct trace with the filter's destination criteria,
    // appended to a statement as " " CR LF "AND (criterion)". The filter is
    // made direct-only for the call; on a failure it stays so.
    const auto appendDirectCriterion = [&](std::string& sSql, bool bWithStatus) {
      std::string sCriterion;
      oRelExpr.SetDirectOnly(true);
      result = RelationshipToSql(oRelExpr, false, sCriterion, sErrInfo, bWithStatus);
      if (result != eQEENone) return false;
      oRelExpr.SetDirectOnly(false);
      if (!sCriterion.empty()) sSql += " " + std::string(nlAND) + "(" + sCriterion + ")";
      return true;
    };
    const auto send = [&](const std::string& sSql) { ExecuteWorkStatement_(sSql); };

    // 1. The direct hits: requirements of the base type in the base project
    // with a direct trace that meets the filter, status included.
    std::string sFirst;
    if (!bOracle) {
      sFirst = closure::JoinLines({
          "INSERT INTO  " + INDIR + " (ID, SESSIONID) SELECT DISTINCT " + REQ + ".ID, " + S + " ",
          "FROM " + REQ + " INNER JOIN " + PREQ + " ",
          "ON " + REQ + ".ID=" + PREQ + ".REQUIREMENTID ",
          "WHERE " + PREQ + ".PROJECTID=" + P + " ",
          "AND " + REQ + ".REQUIREMENTTYPEID=" + R,
      });
    } else {
      sFirst = closure::JoinLines({
          "INSERT INTO  " + INDIR + " (ID, SESSIONID) SELECT DISTINCT " + REQ + ".ID, " + S + " ",
          "FROM " + REQ + ", " + PREQ + " ",
          "WHERE " + REQ + ".ID=" + PREQ + ".REQUIREMENTID ",
          "AND " + PREQ + ".PROJECTID=" + P + " ",
          "AND " + REQ + ".REQUIREMENTTYPEID=" + R,
      });
    }
    if (!appendDirectCriterion(sFirst, true)) return;
    send(sFirst);
    IndirTraceRecordsWritten = true;

    // 2. The chains, one level per statement, until a level adds no row.
    long lLevel = 0;
    bool bMoreRows = true;
    enumQueryEngineError eLevelResult = eQEENone;
    // A level that failed ends the walk: the answer can't be had any more,
    // and Fetch raises the failure.
    while (eLevelResult == eQEENone && lLevel < kMaxClosureLevels && bMoreRows && !WorkFailure) {
      ++lLevel;
      switch (lDatabaseType_) {
        case eDBTAccess:
        case eDBTAccess2:
          eLevelResult = BuildAccessTransClosureLevel(oRelExpr, lLevel, bMoreRows, sErrInfo);
          break;
        case eDBTOracle:
          eLevelResult = BuildOracleTransClosureLevel(oRelExpr, lLevel, bMoreRows, sErrInfo);
          break;
        case eDBTSQLServer:
        case eDBTPostgreSQL:  // the standard text of SQL Server
          eLevelResult = BuildSQLServerTransClosureLevel(oRelExpr, lLevel, bMoreRows, sErrInfo);
          break;
        case eDBTDB2:
          eLevelResult = BuildDB2TransClosureLevel(oRelExpr, lLevel, bMoreRows, sErrInfo);
          break;
        default:
          bMoreRows = false;
          break;
      }
    }

    if (WorkFailure) return;

    // 3. The roots of the chains that end, in the base project, at a
    // requirement with a direct hit on the destination (whatever its status);
    // the status is the chain's own.
    std::string sLast;
    if (!bOracle) {
      sLast = closure::JoinLines({
          "INSERT INTO " + INDIR + " (ID, SESSIONID) SELECT DISTINCT " + TEMP + ".ROOTID, " + S + " ",
          "FROM (" + TEMP + " INNER JOIN " + REQ + " ",
          "ON " + TEMP + ".ID=" + REQ + ".ID) INNER JOIN " + PREQ + " ",
          "ON " + REQ + ".ID=" + PREQ + ".REQUIREMENTID ",
          "WHERE " + PREQ + ".PROJECTID=" + P + " ",
          "AND " + TEMP + ".SESSIONID=" + S + " ",
          "AND " + TEMP + ".PROJECTID= 0",
      });
    } else {
      sLast = closure::JoinLines({
          "INSERT INTO " + INDIR + " (ID, SESSIONID) SELECT DISTINCT " + TEMP + ".ROOTID, " + S + " ",
          "FROM " + TEMP + ", " + REQ + ", " + PREQ + " ",
          "WHERE " + TEMP + ".ID=" + REQ + ".ID ",
          "AND " + REQ + ".ID=" + PREQ + ".REQUIREMENTID ",
          "AND " + PREQ + ".PROJECTID=" + P + " ",
          "AND " + TEMP + ".SESSIONID=" + S + " ",
          "AND " + TEMP + ".PROJECTID= 0",
      });
    }
    if (oRelExpr.StatusType() == eSTSuspect) {
      sLast += " " + std::string(nlAND) + " " + TEMP + ".STATUS = 1";
    } else if (oRelExpr.StatusType() == eSTNotSuspect) {
      sLast += " " + std::string(nlAND) + " " + TEMP + (bOracle ? ".STATUS = 0" : ".STATUS= 0");
    }
    if (!appendDirectCriterion(sLast, false)) return;
    send(sLast);
  });
  return result;
}

enumQueryEngineError QuerySql::DumpSessionIndirTraceRecords(long lSessionID, std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.DumpSessionIndirTraceRecords", [&] {
    if (!IndirTraceRecordsWritten) return;
    if (!oBaseProject_) {
      sErrInfo = modMain::Message(14024);
      result = eQEEProjectNothing;
      return;
    }
    if (!oDataServices_) {
      sErrInfo = modMain::Message(14026);
      result = eQEEDataServicesNothing;
      return;
    }
    const std::string S = ValueToSQL(Variant(lSessionID));
    for (std::string_view table : {VLTRACETABLEINDIR, VLTRACETABLETEMP}) {
      const std::string sSql = closure::JoinLines({
          std::string(DELETE_),
          std::string(FROM) + BaseTableAndSchema(table) + " ",
          std::string(WHERE) + "SESSIONID" + std::string(EQ) + S,
      });
      long lRowsAffected = 0;
      oDataServices_->Execute(sSql, lRowsAffected);
    }
  });
  return result;
}

}  // namespace vlq
