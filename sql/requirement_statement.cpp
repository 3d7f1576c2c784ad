// The one SELECT statement of a requirement query, in each dialect. Criteria
// and sort text are written first: they set the join flags and fill the view
// keys that the FROM clause reads afterwards.
#include "engine/mod_main.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {
// Dialect families of the requirement statement.
enum class ReqDialect { Ansi, Oracle };
}  // namespace

enumQueryEngineError QuerySql::CurrAccessSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrReqSQLStatement_(eDBTAccess, sSqlStatement, sErrInfo);
}

enumQueryEngineError QuerySql::CurrSQLServerReqSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrReqSQLStatement_(eDBTSQLServer, sSqlStatement, sErrInfo);
}

enumQueryEngineError QuerySql::CurrOracleSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrReqSQLStatement_(eDBTOracle, sSqlStatement, sErrInfo);
}

// lDialect: eDBTAccess writes bare names, eDBTSQLServer (also for DB2) the
// names through BaseTableAndSchema; the two share the nested-join shape.
// eDBTOracle lists the tables and joins in the WHERE clause.
enumQueryEngineError QuerySql::CurrReqSQLStatement_(long lDialect, std::string& sSqlStatement,
                                                    std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  std::string sSql;
  const char* source = lDialect == eDBTAccess   ? "QuerySql.CurrAccessSQLStatement"
                       : lDialect == eDBTOracle ? "QuerySql.CurrOracleSQLStatement"
                                                : "QuerySql.CurrSQLServerReqSQLStatement";
  modMain::HandleAndLeave(source, [&] {
    const bool oracle = lDialect == eDBTOracle;
    const auto T = [&](std::string_view table) {
      return lDialect == eDBTAccess ? std::string(table) : BaseTableAndSchema(table);
    };
    const std::string REQ = T(VLREQUIREMENTS);
    const std::string PREQ = T(VLPROJECTREQUIREMENTS);

    std::string sCrit;
    if (!cTypedCompExprs_.Empty()) ExpressionsToSQL(cTypedCompExprs_, sCrit, false, eContextBase);
    std::string sOrderBy;
    std::string sGroupBy;
    std::string sSortErr;
    SortOrderToSQL(sOrderBy, sGroupBy, sSortErr);

    const bool aggregate = NeedsMinAggregate || JoinDiscussions;
    // A count counts the requirements, each once, whatever the joins repeat.
    // In tree order the count comes from the tree, and the statement only
    // gives the hits.
    const bool countDistinct = bCountOnly_ && !bRetainHierarchy_;
    sSql += SELECT;
    if (countDistinct) {
      sSql += " " + std::string(COUNT) + "(*) " + std::string(FROM) + "(" + std::string(SELECT) + std::string(DISTINCT);
    } else if (bCountOnly_) {
      sSql += std::string(" ") + std::string(COUNT) + "(";
    } else if (aggregate) {
      sSql += std::string(" ") + std::string(MIN) + "(";
    }
    sSql += REQ + ".ID";
    if ((bCountOnly_ && !countDistinct) || (!bCountOnly_ && aggregate)) sSql += ") ";
    sSql += nlFROM;

    // The sort views must exist before the statement names them.
    std::vector<std::string> sortViews;
    for (const std::string& key : cSortViewKeys_) {
      const std::string name = std::string(VLATTRVALUESSORTVIEW_) + key;
      if (!IsDBViewPresent_(name)) CreateSortView_(name, std::stol(key));
      sortViews.push_back(BaseTableAndSchema(name));
    }

    if (!oracle) {
      if (JoinDiscussions) sSql += "((";
      for (bool flag : {JoinPackageElements, JoinPackages, JoinUsers, JoinDocuments}) {
        if (flag) sSql += "(";
      }
      sSql.append(cAttrViewKeys_.Count() + cSortViewKeys_.Count() + 1, '(');
      sSql += REQ + " " + std::string(INNER) + std::string(JOIN) + PREQ + " " + std::string(nlON) + REQ + ".ID=" +
              PREQ + ".REQUIREMENTID " + ") ";
      if (JoinDiscussions) {
        const std::string DR = T(VLDISCUSSIONREQUIREMENTS);
        const std::string D = T(VLDISCUSSIONS);
        sSql += std::string(INNER) + std::string(JOIN) + DR + " " + std::string(nlON) + REQ + ".ID=" + DR +
                ".REQUIREMENTID" + ") ";
        sSql += std::string(INNER) + std::string(JOIN) + D + " " + std::string(nlON) + DR + ".DISCUSSIONID=" + D +
                ".ID" + ") ";
      }
      // The packages are joined for a sort alone: by an outer join, so that
      // a requirement without a package stays.
      if (JoinPackageElements) {
        const std::string PE = T(VLPACKAGEELEMENTS);
        sSql += std::string(nlLEFT) + std::string(JOIN) + PE + " " + std::string(nlON) + REQ + ".ID=" + PE +
                ".REQUIREMENTID" + ") ";
      }
      if (JoinPackages) {
        const std::string PE = T(VLPACKAGEELEMENTS);
        const std::string P = T(VLPACKAGES);
        sSql += std::string(nlLEFT) + std::string(JOIN) + P + " " + std::string(nlON) + PE + ".PACKAGEID=" + P + ".ID" +
                ") ";
      }
      if (JoinUsers) {
        const std::string U = T(VLUSERS);
        sSql += std::string(nlLEFT) + std::string(JOIN) + U + " " + std::string(nlON) + REQ + ".VERSIONUSERID=" + U +
                ".ID" + ") ";
      }
      if (JoinDocuments) {
        const std::string DOC = T(VLDOCUMENTS);
        sSql += std::string(nlLEFT) + std::string(JOIN) + DOC + " " + std::string(nlON) + REQ +
                ".BOOKMARKDOCUMENTID=" + DOC + ".ID" + ") ";
      }
      const auto viewJoin = [&](const std::string& view) {
        sSql += " " + std::string(nlLEFT) + std::string(JOIN) + view + " " + std::string(nlON) + " " + REQ + ".ID" +
                " =" + " " + view + ".REQUIREMENTID" + ") ";
      };
      for (const std::string& key : cAttrViewKeys_) viewJoin(T(std::string(VLATTRVALUESVIEW_) + key));
      for (const std::string& view : sortViews) viewJoin(view);
      sSql += nlWHERE;
    } else {
      sSql += REQ + ", " + PREQ;
      if (JoinDiscussions) sSql += ", " + T(VLDISCUSSIONREQUIREMENTS) + ", " + T(VLDISCUSSIONS);
      if (JoinPackageElements) sSql += ", " + T(VLPACKAGEELEMENTS);
      if (JoinPackages) sSql += ", " + T(VLPACKAGES);
      if (JoinUsers) sSql += ", " + T(VLUSERS);
      if (JoinDocuments) sSql += ", " + T(VLDOCUMENTS);
      for (const std::string& key : cAttrViewKeys_) sSql += ", " + T(std::string(VLATTRVALUESVIEW_) + key);
      for (const std::string& view : sortViews) sSql += ", " + view;
      sSql += " " + std::string(nlWHERE);
    }

    if (eReqQueryScope_ == eVLSReqType) {
      sSql += REQ + ".REQUIREMENTTYPEID=" + oBaseProjStruSpec_.StructKey() + " ";
      if (oracle) sSql += " ";
      sSql += nlAND;
    }
    if (oracle) sSql += REQ + ".ID=" + PREQ + ".REQUIREMENTID " + " " + std::string(nlAND);
    sSql += PREQ + ".PROJECTID=" + ValueToSQL(Variant(oBaseProject_ ? oBaseProject_->Key() : 0L));

    if (oracle) {
      const auto term = [&](const std::string& text) { sSql += " " + std::string(nlAND) + text; };
      if (JoinDiscussions) {
        const std::string DR = T(VLDISCUSSIONREQUIREMENTS);
        const std::string D = T(VLDISCUSSIONS);
        term(REQ + ".ID=" + DR + ".REQUIREMENTID" + " " + std::string(nlAND) + DR + ".DISCUSSIONID=" + D + ".ID" +
             " " + std::string(nlAND) + D + ".STATUS " + std::string(NE) + "2");
      }
      if (JoinPackageElements) {
        term(REQ + ".ID=" + T(VLPACKAGEELEMENTS) + ".REQUIREMENTID" + " " + std::string(ORACLE_OUTER));
      }
      if (JoinPackages) {
        term(T(VLPACKAGEELEMENTS) + ".PACKAGEID=" + T(VLPACKAGES) + ".ID" + " " + std::string(ORACLE_OUTER));
      }
      if (JoinUsers) term(REQ + ".VERSIONUSERID=" + T(VLUSERS) + ".ID");
      if (JoinDocuments) term(REQ + ".BOOKMARKDOCUMENTID=" + T(VLDOCUMENTS) + ".ID" + " " + std::string(ORACLE_OUTER));
      const auto viewTerm = [&](const std::string& view) {
        term(" " + REQ + ".ID=" + " " + view + ".REQUIREMENTID" + " " + std::string(ORACLE_OUTER));
      };
      for (const std::string& key : cAttrViewKeys_) viewTerm(T(std::string(VLATTRVALUESVIEW_) + key));
      for (const std::string& view : sortViews) viewTerm(view);
    }

    if (!sCrit.empty()) sSql += " " + std::string(nlAND) + sCrit;

    // The relationship filters stand by themselves in subqueries and need no
    // join in this statement. A failure leaves the statement as far as built.
    std::string sRel;
    result = RelationshipsToSQL(sRel, sErrInfo);
    if (result != eQEENone) return;
    if (!sRel.empty()) sSql += " " + std::string(nlAND) + sRel;

    if (countDistinct) {
      sSql += ")" + std::string(oracle ? " " : " AS ") + "VLCOUNTEDITEMS";
    } else if (!bCountOnly_) {
      if (aggregate) {
        sSql += " " + std::string(nlGROUP_BY);
        if (eReqQueryScope_ == eVLSProject) sSql += REQ + ".REQUIREMENTTYPEID" + ", ";
        sSql += " " + sGroupBy;
      }
      if (!sOrderBy.empty()) sSql += " " + std::string(nlORDER_BY) + sOrderBy;
    }
  });
  sSqlStatement = std::move(sSql);
  (void)sErrInfo;
  return result;
}

}  // namespace vlq
