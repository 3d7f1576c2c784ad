// One tree order for the rows of a hierarchy session. The rows of each level
// are copied into VLHIERARCHYORDEREDLEVELSTEMP in the query's sort order; the
// database numbers them there by itself (DATAORDER, rising with insertion).
// Then every row gets an ORDERTAG: the ten-character DATAORDER of its root,
// then that of each descendant down to the row, so that an ORDER BY on it
// puts each parent before its children and siblings in the query's order.
//
// Levels are handled in rising order, since a level's ORDERTAG is made from
// the rows of the level above it. A parent is of the row's own requirement
// type, so that in a whole-project query each type's tree stands under its
// own roots. A row whose parent doesn't exist (a gap in the tags) is a root of
// the tree: it is sorted among the roots and keeps its descendants, so that
// every hit comes back.
#include <cmath>
#include <string>
#include <string_view>

#include "engine/mod_main.h"
#include "hierarchy/hierarchy_statements.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

bool IsAccessLike(long lDatabaseType) { return lDatabaseType == eDBTAccess || lDatabaseType == eDBTAccess2; }

}  // namespace

namespace hierarchy {

namespace {

// The length of a text and its first n characters in the dialect; empty for a
// dialect without hierarchy statements.
std::string LengthOf(const QuerySql& sql, std::string_view sText) {
  switch (sql.DatabaseType()) {
    case eDBTAccess:
    case eDBTAccess2:
    case eDBTSQLServer:
      return "LEN(" + std::string(sText) + ")";
    case eDBTOracle:
    case eDBTDB2:
      return "LENGTH(" + std::string(sText) + ")";
    case eDBTPostgreSQL:
      return "CHAR_LENGTH(" + std::string(sText) + ")";
    default:
      return {};
  }
}

std::string LeftOf(const QuerySql& sql, std::string_view sText, std::string_view sCount) {
  if (sql.DatabaseType() == eDBTOracle) return "SUBSTR(" + std::string(sText) + ", 1, " + std::string(sCount) + ")";
  if (sql.DatabaseType() == eDBTPostgreSQL) {
    return "SUBSTRING(" + std::string(sText) + " FROM 1 FOR " + std::string(sCount) + ")";
  }
  return "LEFT(" + std::string(sText) + ", " + std::string(sCount) + ")";
}

}  // namespace

std::string ScopedType(const QuerySql& sql) {
  if (sql.ReqQueryScope() != eVLSReqType) return {};
  return sql.BaseProjStruSpec().StructKey();
}

std::string ParentPresentSQL(QuerySql& sql, long lSessionID, std::string_view sTable, std::string_view sKeyColumn,
                             std::string_view sTag, std::string_view sType) {
  const std::string sParent = " WHERE Par.SESSIONID = " + SessionText(lSessionID) +
                              " AND Par.LONGTAGNUMBER = " + LeftOf(sql, sTag, LengthOf(sql, sTag) + " - 10");
  if (!ScopedType(sql).empty()) return "EXISTS (SELECT 1 FROM " + std::string(sTable) + " Par" + sParent + ")";
  const std::string REQ = sql.BaseTableAndSchema(VLREQUIREMENTS);
  return "EXISTS (SELECT 1 FROM " + std::string(sTable) + " Par, " + REQ + " ParReq" + sParent + " AND ParReq.ID = Par." +
         std::string(sKeyColumn) + " AND ParReq.REQUIREMENTTYPEID = " + std::string(sType) + ")";
}

// The number of levels of a session: NULL (no rows) counts as 0.
long ReadLevelCount(QuerySql& sql, long lSessionID) {
  const std::string sSql = hierarchy::LevelCountSQL(sql, lSessionID);
  if (sSql.empty()) return 0;
  std::shared_ptr<ResultSet> rs;
  sql.ExecuteWorkStatement_(sSql, &rs);
  if (!rs) return 0;
  const Rows rows = rs->GetRows();
  if (rows.empty() || rows[0].empty()) return 0;
  const Variant& cell = rows[0][0];
  if (cell.IsWhole()) return static_cast<long>(cell.Whole());
  if (cell.IsReal()) return static_cast<long>(std::floor(cell.Real()));
  if (cell.IsText()) {
    const std::string digits = cell.Text();
    return digits.empty() ? 0 : static_cast<long>(std::floor(std::stod(digits)));
  }
  return 0;
}

std::string AncestorsSQL(QuerySql& sql, long lSessionID, long lLevel, std::string_view sProjectKey) {
  if (LengthOf(sql, "x").empty()) return {};
  const std::string S = SessionText(lSessionID);
  const std::string HT = sql.BaseTableAndSchema(VLHIERARCHYTABLETEMP);
  const std::string REQ = sql.BaseTableAndSchema(VLREQUIREMENTS);
  const std::string PREQ = sql.BaseTableAndSchema(VLPROJECTREQUIREMENTS);
  const std::string L = std::to_string(lLevel);
  const std::string M = std::to_string(lLevel - 1);
  return JoinLines({
      "INSERT INTO " + HT + " (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) ",
      "SELECT DISTINCT " + S + ", ParReq.ID, ParReq.LONGTAGNUMBER",
      // The parent's type is the child's, also in a query of one type: a
      // constant type would let a planner without statistics read every
      // requirement of the type for each row of the level.
      "FROM " + HT + " Child, " + REQ + " ChildReq, " + REQ + " ParReq",
      "WHERE Child.SESSIONID = " + S + " AND " + LengthOf(sql, "Child.LONGTAGNUMBER") + " = (" + L + " * 10)",
      "AND ChildReq.ID = Child.REQUIREMENTKEY",
      "AND ParReq.REQUIREMENTTYPEID = ChildReq.REQUIREMENTTYPEID AND ParReq.LONGTAGNUMBER = " +
          LeftOf(sql, "Child.LONGTAGNUMBER", "(" + M + " * 10)"),
      // The project is a test on the parent found, not a join: joined, it
      // would let a planner without statistics read the whole project for
      // every row.
      "AND EXISTS (SELECT 1 FROM " + PREQ + " ParProj WHERE ParProj.REQUIREMENTID = ParReq.ID AND ParProj.PROJECTID = " +
          std::string(sProjectKey) + ")",
      // A parent in the session already (a hit, or the parent of another
      // row) is looked up by key rather than listed with the whole session.
      "AND NOT EXISTS (SELECT 1 FROM " + HT + " Old WHERE Old.SESSIONID = " + S +
          " AND Old.REQUIREMENTKEY = ParReq.ID)",
  });
}

std::string LevelCountSQL(QuerySql& sql, long lSessionID) {
  std::string F;
  switch (sql.DatabaseType()) {
    case eDBTAccess:
    case eDBTAccess2:
    case eDBTSQLServer:
      F = "LEN";
      break;
    case eDBTOracle:
    case eDBTDB2:
      F = "LENGTH";
      break;
    case eDBTPostgreSQL:
      F = "CHAR_LENGTH";
      break;
    default:
      return {};
  }
  return "SELECT MAX(" + F + "(LONGTAGNUMBER)) / 10 AS Levels FROM " + sql.BaseTableAndSchema(VLHIERARCHYTABLETEMP) +
         " WHERE SESSIONID = " + SessionText(lSessionID);
}

bool LevelsReadWorkTableOnly(QuerySql& sql, std::string_view sOrderBy) {
  if (ScopedType(sql).empty()) return false;
  return sOrderBy == " " + sql.BaseTableAndSchema(VLREQUIREMENTS) + ".LONGTAGNUMBER ";
}

std::string LevelHeadSQL(QuerySql& sql, long lSessionID, bool bWorkTableOnly) {
  const std::string S = SessionText(lSessionID);
  const std::string HT = sql.BaseTableAndSchema(VLHIERARCHYTABLETEMP);
  const std::string nl(CRLF);
  // The columns; a requirement that stands in several joined rows is taken once.
  std::string sSelect;
  if (!IsAggregated(sql) || bWorkTableOnly) {
    sSelect = " SELECT " + S + " AS SESSIONID, " + HT + ".REQUIREMENTKEY AS REQUIREMENTID, " + nl + HT +
              ".LONGTAGNUMBER AS LONGTAGNUMBER " + nl;
  } else {
    sSelect = " SELECT " + S + " AS SESSIONID, MIN(" + HT + ".REQUIREMENTKEY) AS REQUIREMENTID, " + nl + "MIN(" + HT +
              ".LONGTAGNUMBER) AS LONGTAGNUMBER " + nl;
  }
  const long db = sql.DatabaseType();
  const std::string sWorkTable = nl + std::string(FROM) + HT + " ";
  if (IsAccessLike(db) || db == eDBTSQLServer || db == eDBTPostgreSQL) {
    return "INSERT INTO " + sql.BaseTableAndSchema(VLHIERARCHYORDEREDLEVELSTEMP) +
           " (SESSIONID, REQUIREMENTID, LONGTAGNUMBER)" + nl + sSelect +
           (bWorkTableOnly ? sWorkTable : sql.GenerateAccessFROMClauseForHierarchy_());
  }
  if (db == eDBTOracle) {
    return "CREATE TABLE " + sql.BaseTableAndSchema("TmpLvl_" + S) + " AS " + nl + sSelect +
           (bWorkTableOnly ? sWorkTable : sql.GenerateOracleFROMClauseForHierarchy_());
  }
  if (db == eDBTDB2) return sSelect + (bWorkTableOnly ? sWorkTable : sql.GenerateDB2FROMClauseForHierarchy_());
  return {};
}

std::string LevelSQL(QuerySql& sql, std::string_view sHead, long lSessionID, long lLevel, std::string_view sOrderBy,
                     std::string_view sGroupBy, bool bWorkTableOnly) {
  const std::string S = SessionText(lSessionID);
  const std::string L = std::to_string(lLevel);
  const std::string HT = sql.BaseTableAndSchema(VLHIERARCHYTABLETEMP);
  const std::string nl(CRLF);
  std::string sSql(sHead);
  const long db = sql.DatabaseType();
  // The rows of the level: the roots on level 1 (a row without its parent
  // counts as one, whatever its level), the rows under a parent on the
  // others.
  const std::string sParent = ParentPresentSQL(sql, lSessionID, HT, "REQUIREMENTKEY", HT + ".LONGTAGNUMBER",
                                               sql.BaseTableAndSchema(VLREQUIREMENTS) + ".REQUIREMENTTYPEID");
  const auto level = [&](const std::string& sLength) {
    const std::string sTest = sLength + "(" + HT + ".LONGTAGNUMBER) = (10 * (" + L + ")) ";
    if (lLevel <= 1) return "(" + sTest + "OR NOT " + sParent + ") ";
    return sTest + "AND " + sParent + " ";
  };
  if (IsAccessLike(db) || db == eDBTSQLServer) {
    sSql += nl + " WHERE " + level("LEN") + nl + "AND " + HT + ".SESSIONID=" + S;
  } else if (db == eDBTOracle && bWorkTableOnly) {
    sSql += nl + " WHERE " + level("LENGTH") + nl + "AND " + HT + ".SESSIONID=" + S;
  } else if (db == eDBTOracle) {
    sSql += sql.GenerateOracleWHEREClauseForHierarchy_();
    sSql += nl + " AND " + level("LENGTH") + nl + "AND " + HT + ".SESSIONID=" + S;
  } else if (db == eDBTDB2) {
    sSql += nl + " WHERE " + HT + ".SESSIONID=" + S + nl + "AND  " + level("LENGTH");
  } else if (db == eDBTPostgreSQL) {
    sSql += nl + " WHERE " + level("CHAR_LENGTH") + nl + "AND " + HT + ".SESSIONID=" + S;
  } else {
    return {};
  }
  if (bWorkTableOnly) return sSql + std::string(nlORDER_BY) + " " + HT + ".LONGTAGNUMBER ";
  if (IsAggregated(sql) && !sGroupBy.empty()) sSql += std::string(nlGROUP_BY) + std::string(sGroupBy);
  if (!sOrderBy.empty()) sSql += std::string(nlORDER_BY) + std::string(sOrderBy);
  return sSql;
}

std::string OracleLevelCopySQL(QuerySql& sql, long lSessionID) {
  return "INSERT INTO " + sql.BaseTableAndSchema(VLHIERARCHYORDEREDLEVELSTEMP) +
         " (SESSIONID, REQUIREMENTID, LONGTAGNUMBER) SELECT SESSIONID, REQUIREMENTID, LONGTAGNUMBER FROM " +
         sql.BaseTableAndSchema("TmpLvl_" + SessionText(lSessionID));
}

std::string OracleLevelDropSQL(QuerySql& sql, long lSessionID) {
  return "DROP TABLE " + sql.BaseTableAndSchema("TmpLvl_" + SessionText(lSessionID));
}

std::string DB2LevelRowSQL(QuerySql& sql, std::string_view sSessionID, std::string_view sRequirementID,
                           std::string_view sLongTagNumber) {
  return JoinLines({
      "INSERT INTO " + sql.BaseTableAndSchema(VLHIERARCHYORDEREDLEVELSTEMP) + " (SESSIONID, REQUIREMENTID, LONGTAGNUMBER)",
      " VALUES(" + std::string(sSessionID) + ", " + std::string(sRequirementID) + ", '" + std::string(sLongTagNumber) +
          "')",
  });
}

std::string FinalOrderSQL(QuerySql& sql, long lSessionID, long lLevel) {
  // D: the row's DATAORDER padded to ten characters; op: the dialect's text
  // concatenation; the length and leading-part functions; the alias form.
  std::string D, op, len, as, prefix;
  const std::string M = std::to_string(lLevel - 1);
  switch (sql.DatabaseType()) {
    case eDBTAccess:
    case eDBTAccess2:
      D = "String(10 - Len(One.DATAORDER), '0') & One.DATAORDER";
      op = " & ";
      len = "Len";
      as = " AS ";
      prefix = "Left(One.LONGTAGNUMBER, (" + M + " * 10))";
      break;
    case eDBTOracle:
      D = "LPad(One.DATAORDER, 10, '0')";
      op = " || ";
      len = "Length";
      as = " ";
      prefix = "Substr(One.LONGTAGNUMBER, 1, (" + M + " * 10))";
      break;
    case eDBTSQLServer:
      D = "Replicate('0', 10 - DataLength(One.DATAORDER)) + CAST(One.DATAORDER AS varchar(10))";
      op = " + ";
      len = "DataLength";
      as = " AS ";
      prefix = "Left(One.LONGTAGNUMBER, (" + M + " * 10))";
      break;
    case eDBTDB2:
      D = "CHAR(DEC(One.DATAORDER, 10))";
      op = " || ";
      len = "Length";
      as = " AS ";
      prefix = "Left(One.LONGTAGNUMBER, (" + M + " * 10))";
      break;
    case eDBTPostgreSQL:
      D = "LPAD(CAST(One.DATAORDER AS VARCHAR(10)), 10, '0')";
      op = " || ";
      len = "CHAR_LENGTH";
      as = " AS ";
      prefix = "SUBSTRING(One.LONGTAGNUMBER FROM 1 FOR (" + M + " * 10))";
      break;
    default:
      return {};
  }
  const std::string S = SessionText(lSessionID);
  const std::string OL = sql.BaseTableAndSchema(VLHIERARCHYORDEREDLEVELSTEMP);
  const std::string FO = sql.BaseTableAndSchema(VLHIERARCHYFINALORDERTEMP);
  const std::string REQ = sql.BaseTableAndSchema(VLREQUIREMENTS);
  const std::string sInsert = "INSERT INTO " + FO + " (SESSIONID, REQUIREMENTID, LONGTAGNUMBER, ORDERTAG)";
  // In a query of one type every row is of that type, and the types need no
  // test.
  const bool bScoped = !ScopedType(sql).empty();
  if (lLevel <= 1) {
    // The roots, and the rows whose parent doesn't exist: their own
    // DATAORDER is the whole tag.
    const std::string sRoot = len + "(One.LONGTAGNUMBER) = (10) OR NOT " +
                              ParentPresentSQL(sql, lSessionID, OL, "REQUIREMENTID", "One.LONGTAGNUMBER",
                                               "OneReq.REQUIREMENTTYPEID");
    return JoinLines({
        sInsert,
        " SELECT " + S + " AS SESSIONID, One.REQUIREMENTID, One.LONGTAGNUMBER, " + D + " AS ORDERTAG",
        " FROM " + OL + as + "One" + (bScoped ? "" : ", " + REQ + " OneReq"),
        " Where One.SESSIONID = " + S + (bScoped ? "" : " AND OneReq.ID = One.REQUIREMENTID") + " AND (" + sRoot +
            ")",
    });
  }
  // Deeper rows: the parent's ORDERTAG from the level above, then their own.
  // The parent is of the row's own type.
  std::vector<std::string> lines{
      sInsert,
      "  SELECT " + S + " AS SESSIONID, One.REQUIREMENTID, One.LONGTAGNUMBER, Two.ORDERTAG" + op + D + " AS ORDERTAG",
      " FROM " + OL + as + "One, " + FO + as + "Two" + (bScoped ? "" : ", " + REQ + " OneReq, " + REQ + " TwoReq"),
      " Where One.SESSIONID = " + S + " AND " + len + "(One.LONGTAGNUMBER) = (" + std::to_string(lLevel) +
          " * 10) AND " + prefix + " = Two.LONGTAGNUMBER AND Two.SESSIONID = " + S,
  };
  if (!bScoped) {
    lines.emplace_back(
        " AND OneReq.ID = One.REQUIREMENTID AND TwoReq.ID = Two.REQUIREMENTID AND TwoReq.REQUIREMENTTYPEID = "
        "OneReq.REQUIREMENTTYPEID");
  }
  return JoinLines(lines);
}

}  // namespace hierarchy

enumQueryEngineError QuerySql::OrderLevels_(long lSessionID) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.OrderLevels_", [&] {
    if (lDatabaseType_ == eDBTDB2) {
      result = OrderLevelsForDB2_(lSessionID);
      return;
    }
    if (!IsAccessLike(lDatabaseType_) && lDatabaseType_ != eDBTOracle && lDatabaseType_ != eDBTSQLServer &&
        lDatabaseType_ != eDBTPostgreSQL) {
      return;
    }
    const long lLevels = hierarchy::ReadLevelCount(*this, lSessionID);
    std::string sOrderBy, sGroupBy, sErrInfo;
    SortOrderToSQL(sOrderBy, sGroupBy, sErrInfo);
    const bool bWorkTableOnly = hierarchy::LevelsReadWorkTableOnly(*this, sOrderBy);
    const std::string sHead = hierarchy::LevelHeadSQL(*this, lSessionID, bWorkTableOnly);
    for (long lLevel = 1; lLevel <= lLevels; ++lLevel) {
      ExecuteWorkStatement_(hierarchy::LevelSQL(*this, sHead, lSessionID, lLevel, sOrderBy, sGroupBy, bWorkTableOnly));
      if (lDatabaseType_ == eDBTOracle) {
        // The level table keeps the sort order; the copy numbers the rows.
        ExecuteWorkStatement_(hierarchy::OracleLevelCopySQL(*this, lSessionID));
        ExecuteWorkStatement_(hierarchy::OracleLevelDropSQL(*this, lSessionID));
      }
    }
    result = FinalOrder_(lSessionID, lLevels);
  });
  return result;
}

enumQueryEngineError QuerySql::OrderLevelsForDB2_(long lSessionID) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.OrderLevelsForDB2_", [&] {
    const long lLevels = hierarchy::ReadLevelCount(*this, lSessionID);
    std::string sOrderBy, sGroupBy, sErrInfo;
    SortOrderToSQL(sOrderBy, sGroupBy, sErrInfo);
    const bool bWorkTableOnly = hierarchy::LevelsReadWorkTableOnly(*this, sOrderBy);
    const std::string sHead = hierarchy::LevelHeadSQL(*this, lSessionID, bWorkTableOnly);
    for (long lLevel = 1; lLevel <= lLevels; ++lLevel) {
      // The rows go through the engine one by one, so that DATAORDER follows
      // the order of the SELECT.
      std::shared_ptr<ResultSet> rs;
      ExecuteWorkStatement_(hierarchy::LevelSQL(*this, sHead, lSessionID, lLevel, sOrderBy, sGroupBy, bWorkTableOnly),
                            &rs);
      if (!rs) continue;
      while (!rs->AtEOF()) {
        ExecuteWorkStatement_(
            hierarchy::DB2LevelRowSQL(*this, rs->Field(0).ToText(), rs->Field(1).ToText(), rs->Field(2).ToText()));
        rs->MoveNext();
      }
    }
    result = FinalOrder_(lSessionID, lLevels);
  });
  return result;
}

enumQueryEngineError QuerySql::FinalOrder_(long lSessionID, long lLevels) {
  modMain::HandleAndLeave("QuerySql.FinalOrder_", [&] {
    for (long lLevel = 1; lLevel <= lLevels; ++lLevel) {
      const std::string sSql = hierarchy::FinalOrderSQL(*this, lSessionID, lLevel);
      if (sSql.empty()) return;
      ExecuteWorkStatement_(sSql);
    }
  });
  return eQEENone;
}

std::string QuerySql::FinalHierarchySQL_(long lSessionID) {
  std::string sSql;
  modMain::HandleAndLeave("QuerySql.FinalHierarchySQL_", [&] {
    const std::string FO = BaseTableAndSchema(VLHIERARCHYFINALORDERTEMP);
    std::vector<std::string> lines;
    lines.push_back(bCountOnly_ ? "SELECT  COUNT(" + FO + ".REQUIREMENTID) " : "SELECT " + FO + ".REQUIREMENTID ");
    lines.push_back("FROM " + FO + " ");
    lines.push_back("WHERE " + FO + ".SESSIONID=" + hierarchy::SessionText(lSessionID) + " ");
    // The level criterion of the query applies here, to the finished tree,
    // not to the search.
    for (const std::string& term : HierLevelTerms) lines.push_back("AND " + term);
    if (!bCountOnly_) lines.push_back("ORDER BY " + FO + ".ORDERTAG");
    sSql = hierarchy::JoinLines(lines);
  });
  return sSql;
}

}  // namespace vlq
