// One level of the trace closure: one INSERT ... SELECT into VLTRACETABLETEMP
// that follows one trace step from all chains of the level before at once.
// The four dialects share the contract and differ only in the text.
#include "closure/closure_support.h"
#include "engine/mod_main.h"
#include "model/typed_comp_rel_expression.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// The three layouts of the level statements.
enum class LevelDialect { Access, Oracle, SQLServer };

// The statement of one level. Access writes "SELECT DISTINCT " on a line of
// its own and compares without blanks; Oracle (every level) and SQL Server or
// DB2 (above level 1) put the columns behind "SELECT DISTINCT ", set "="
// between blanks and follow each clause line with a blank and an empty line.
// Every dialect takes each row once: a repeated row would be followed again
// on every level below.
std::string LevelStatement(const QuerySql& oSql, LevelDialect eDialect, const TypedCompRelExpression& oRelExpr,
                           long lLevel, const std::string& S, const std::string& L, const std::string& M) {
  const bool bTraceTo = oRelExpr.RelType() == eRTTraceTo;
  const std::string TEMP = oSql.BaseTableAndSchema(VLTRACETABLETEMP);
  const std::string REL = oSql.BaseTableAndSchema(VLTORELATIONSHIPS);
  const bool bSpaced = eDialect == LevelDialect::Oracle || (eDialect == LevelDialect::SQLServer && lLevel > 1);

  std::vector<std::string> lines{"INSERT INTO " + TEMP + " (ROOTID, PROJECTID, ID, LVL, SESSIONID, STATUS) "};
  const auto eq = [bSpaced](const std::string& a, const std::string& b) {
    return bSpaced ? a + " = " + b : a + "=" + b;
  };
  const auto clause = [&](const std::string& sLine) {
    if (bSpaced) {
      lines.push_back(sLine + " ");
      lines.emplace_back();
    } else {
      lines.push_back(sLine);
    }
  };

  if (lLevel <= 1) {
    // The roots: requirements of the base type, in the base project, that
    // aren't direct hits already; the step's status is the chain's.
    const std::string sFrom = bTraceTo ? "rels.REQUIREMENTID" : "rels.TOID";
    const std::string sColumns =
        bTraceTo ? "rels.REQUIREMENTID, rels.EXTERNALPROJECTTOID, rels.TOID, " + L + ", " + S + ", rels.STATE"
                 : "rels.TOID, rels.EXTERNALPROJECTID, rels.REQUIREMENTID, " + L + ", " + S + ", rels.STATE";
    if (bSpaced) {
      clause("SELECT DISTINCT " + sColumns);
    } else {
      lines.emplace_back("SELECT DISTINCT ");
      lines.push_back(sColumns);
    }
    clause("FROM " + REL + " rels, " + oSql.BaseTableAndSchema(VLREQUIREMENTS) + " reqs");
    clause("WHERE " + eq(sFrom, "reqs.ID"));
    clause("AND " + eq("rels.TYPE", "0"));
    clause("AND " + eq(bTraceTo ? "rels.EXTERNALPROJECTID" : "rels.EXTERNALPROJECTTOID", "0"));
    clause("AND " + eq("reqs.REQUIREMENTTYPEID", oSql.BaseProjStruSpec().StructKey()));
    lines.push_back("AND " + sFrom + (eDialect == LevelDialect::Oracle ? " Not In " : " NOT IN "));
    lines.emplace_back("(SELECT ID");
    lines.push_back("FROM " + oSql.BaseTableAndSchema(VLTRACETABLEINDIR));
    lines.push_back("WHERE " + eq("SESSIONID", S) + ")");
    return closure::JoinLines(lines);
  }

  // A further step from the rows of the level before, in the project where
  // each of them ended. A suspect chain stays suspect.
  const std::string tmp = eDialect == LevelDialect::Access ? "tmp" : "temp";
  const std::string sReachedProject = bTraceTo ? "rels.EXTERNALPROJECTTOID" : "rels.EXTERNALPROJECTID";
  const std::string sReachedID = bTraceTo ? "rels.TOID" : "rels.REQUIREMENTID";
  const std::string sColumns = tmp + ".ROOTID, " + sReachedProject + ", " + sReachedID + ", " + L + ", " + S + ", ";
  std::string sStatus;
  switch (eDialect) {
    case LevelDialect::Access:
      sStatus = "IIF(tmp.STATUS= 1, tmp.STATUS, rels.STATE)";
      lines.emplace_back("SELECT DISTINCT ");
      lines.push_back(sColumns + sStatus);
      break;
    case LevelDialect::Oracle:
      sStatus = "DECODE(temp.STATUS, 1, temp.STATUS, rels.STATE)";
      clause("SELECT DISTINCT " + sColumns + sStatus);
      break;
    case LevelDialect::SQLServer:
      sStatus = "CASE temp.STATUS WHEN 1 THEN temp.STATUS ELSE rels.STATE END";
      lines.push_back("SELECT DISTINCT " + sColumns);
      clause(sStatus);
      break;
  }
  clause("FROM " + REL + " rels, " + TEMP + " " + tmp);
  if (bTraceTo) {
    clause("WHERE " + eq("rels.EXTERNALPROJECTID", tmp + ".PROJECTID"));
    clause("AND " + eq("rels.REQUIREMENTID", tmp + ".ID"));
  } else {
    clause("WHERE " + eq("rels.EXTERNALPROJECTTOID", tmp + ".PROJECTID"));
    clause("AND " + eq("rels.TOID", tmp + ".ID"));
  }
  clause("AND " + eq("rels.TYPE", "0"));
  clause("AND " + eq(tmp + ".LVL", M));
  clause("AND " + eq(tmp + ".SESSIONID", S));
  // Only chains into a state not reached before: the same root at the same
  // requirement with the same status goes on exactly as it did the first
  // time, so that a cycle ends the walk as soon as it closes.
  lines.emplace_back("AND NOT EXISTS (SELECT 1 FROM " + TEMP + " seen");
  lines.push_back("WHERE " + eq("seen.SESSIONID", S));
  lines.push_back("AND " + eq("seen.ROOTID", tmp + ".ROOTID"));
  lines.push_back("AND " + eq("seen.ID", sReachedID));
  lines.push_back("AND " + eq("seen.PROJECTID", sReachedProject));
  lines.push_back("AND " + eq("seen.STATUS", sStatus) + ")");
  return closure::JoinLines(lines);
}

// The contract of the four level operations. A failing statement is logged by
// the central error handler; the more-rows flag then keeps its value, so that
// the driver goes on with the next level.
enumQueryEngineError RunLevel(QuerySql& oSql, const char* sSource, LevelDialect eDialect,
                              const TypedCompRelExpression& oRelExpr, long lLevel, bool& bMoreRows,
                              std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave(sSource, [&] {
    const std::shared_ptr<DataServices>& oDataServices = oSql.GetDataServices();
    if (!oDataServices) {
      sErrInfo = modMain::Message(14026);
      result = eQEEDataServicesNothing;
      return;
    }
    const std::string sSql =
        LevelStatement(oSql, eDialect, oRelExpr, lLevel, oSql.ValueToSQL(Variant(oRelExpr.SessionID())),
                       oSql.ValueToSQL(Variant(lLevel)), oSql.ValueToSQL(Variant(lLevel - 1)));
    bMoreRows = oSql.ExecuteWorkStatement_(sSql) > 0;
  });
  return result;
}

}  // namespace

enumQueryEngineError QuerySql::BuildAccessTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                            bool& bMoreRows, std::string& sErrInfo) {
  return RunLevel(*this, "QuerySql.BuildAccessTransClosureLevel", LevelDialect::Access, oRelExpr, lLevel, bMoreRows,
                  sErrInfo);
}

enumQueryEngineError QuerySql::BuildOracleTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                            bool& bMoreRows, std::string& sErrInfo) {
  return RunLevel(*this, "QuerySql.BuildOracleTransClosureLevel", LevelDialect::Oracle, oRelExpr, lLevel, bMoreRows,
                  sErrInfo);
}

enumQueryEngineError QuerySql::BuildSQLServerTransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                               bool& bMoreRows, std::string& sErrInfo) {
  return RunLevel(*this, "QuerySql.BuildSQLServerTransClosureLevel", LevelDialect::SQLServer, oRelExpr, lLevel,
                  bMoreRows, sErrInfo);
}

// DB2 takes the SQL Server text.
enumQueryEngineError QuerySql::BuildDB2TransClosureLevel(const TypedCompRelExpression& oRelExpr, long& lLevel,
                                                         bool& bMoreRows, std::string& sErrInfo) {
  return RunLevel(*this, "QuerySql.BuildDB2TransClosureLevel", LevelDialect::SQLServer, oRelExpr, lLevel, bMoreRows,
                  sErrInfo);
}

}  // namespace vlq
