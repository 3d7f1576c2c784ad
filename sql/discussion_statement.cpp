// The statement of a discussion query, in each dialect. The project is reached
// through the head of the thread, a user without the privilege sees only what
// a discussion's restriction admits, and responses are left out unless the
// query speaks of them.
#include "engine/mod_main.h"
#include "model/text_util.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

enumQueryEngineError QuerySql::CurrAccessDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrDiscSQLStatement_(eDBTAccess, sSqlStatement, sErrInfo);
}

enumQueryEngineError QuerySql::CurrSQLServerDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrDiscSQLStatement_(eDBTSQLServer, sSqlStatement, sErrInfo);
}

enumQueryEngineError QuerySql::CurrOracleDiscSQLStatement(std::string& sSqlStatement, std::string& sErrInfo) {
  return CurrDiscSQLStatement_(eDBTOracle, sSqlStatement, sErrInfo);
}

enumQueryEngineError QuerySql::CurrDiscSQLStatement_(long lDialect, std::string& sSqlStatement,
                                                     std::string& sErrInfo) {
  enumQueryEngineError result = eQEENone;
  std::string sSql;
  const char* source = lDialect == eDBTAccess   ? "QuerySql.CurrAccessDiscSQLStatement"
                       : lDialect == eDBTOracle ? "QuerySql.CurrOracleDiscSQLStatement"
                                                : "QuerySql.CurrSQLServerDiscSQLStatement";
  modMain::HandleAndLeave(source, [&] {
    if (!oBaseProject_) {
      sErrInfo = modMain::Message(14013);
      result = eQEEProjectNothing;
      return;
    }
    const bool bPriv = oBaseProject_->CurrentUserIsPrivileged();
    const long lUser = oBaseProject_->CurrentUserKey();
    const User* user = nullptr;
    modMain::IgnoreAndGoOn([&] {
      for (const User& candidate : oBaseProject_->Users()) {
        if (candidate.Key == lUser) {
          user = &candidate;
          break;
        }
      }
    });
    if (user == nullptr) {
      sErrInfo = modMain::MessageWithArg(14032, std::to_string(lUser));
      result = eQEEUnknownUserKey;
      return;
    }
    const long lGroup = user->GroupKey;
    const bool bRestrict = !bPriv;

    std::string sCrit;
    if (!cTypedCompExprs_.Empty()) ExpressionsToSQL(cTypedCompExprs_, sCrit, false, eContextBase);
    std::string sOrderBy;
    std::string sGroupBy;
    std::string sSortErr;
    SortOrderToSQL(sOrderBy, sGroupBy, sSortErr);

    const bool oracle = lDialect == eDBTOracle;
    const auto T = [&](std::string_view table) {
      return lDialect == eDBTAccess ? std::string(table) : BaseTableAndSchema(table);
    };
    const std::string D = T(VLDISCUSSIONS);
    const std::string PD = T(VLPROJECTDISCUSSIONS);
    const std::string DR = T(VLDISCUSSIONREQUIREMENTS);
    const std::string READ = T(VLDISCUSSIONSREAD);
    const std::string DU = T(VLDISCUSSIONUSERS);
    const std::string DG = T(VLDISCUSSIONGROUPS);
    const std::string U = T(VLUSERS);
    const bool joinUsers = bRestrict || DiscJoinUsers;
    const bool joinGroups = bRestrict || DiscJoinGroups;
    const std::string projectKey = ValueToSQL(Variant(oBaseProject_->Key()));

    // A count counts the discussions, each once, whatever the joins repeat.
    if (bCountOnly_) {
      sSql += std::string(SELECT) + " " + std::string(COUNT) + "(*) " + std::string(FROM) + "(" + std::string(SELECT) +
              std::string(DISTINCT);
    } else {
      sSql += SELECT;
    }
    sSql += D + ".ID";
    sSql += nlFROM;

    // The requirements of a discussion joined for a sort alone, by an outer
    // join: a discussion without one stays.
    const bool sortRequirements = DiscSortRequirements && !DiscJoinRequirements;
    if (!oracle) {
      if (joinUsers) sSql += " (";
      if (joinGroups) sSql += " (";
      for (bool flag : {DiscJoinRequirements || sortRequirements, DiscJoinRead, DiscJoinAuthors}) {
        if (flag) sSql += "(";
      }
      sSql += " (" + D + " " + std::string(INNER) + std::string(JOIN) + PD + " " + std::string(nlON) + D +
              ".ROOTID=" + PD + ".DISCUSSIONID" + ") ";
      if (DiscJoinRequirements) {
        sSql += " " + std::string(INNER) + std::string(JOIN) + DR + " " + std::string(nlON) + D + ".ID=" + DR +
                ".DISCUSSIONID" + ") ";
      }
      const auto leftJoin = [&](const std::string& table, const std::string& on) {
        sSql += " " + std::string(nlLEFT) + std::string(JOIN) + table + " " + std::string(nlON) + on + ") ";
      };
      if (sortRequirements) leftJoin(DR, D + ".ID=" + DR + ".DISCUSSIONID");
      if (DiscJoinRead) leftJoin(READ, D + ".ID=" + READ + ".DISCUSSIONID");
      if (joinUsers) leftJoin(DU, D + ".ROOTID=" + DU + ".DISCUSSIONID");
      if (joinGroups) leftJoin(DG, D + ".ROOTID=" + DG + ".DISCUSSIONID");
      if (DiscJoinAuthors) leftJoin(U, D + ".AUTHORID=" + U + ".ID");

      std::vector<std::string> terms;
      if (!sCrit.empty()) terms.push_back(" (" + sCrit + ") ");
      if (DiscJoinRequirements) terms.push_back(" " + DR + ".DISCUSSIONID=" + D + ".ID");
      terms.push_back(" " + D + ".ROOTID=" + PD + ".DISCUSSIONID" + " " + std::string(nlAND) + PD +
                      ".PROJECTID=" + projectKey + " ");
      for (std::size_t i = 0; i < terms.size(); ++i) {
        sSql += " " + std::string(i == 0 ? nlWHERE : nlAND) + terms[i];
      }
    } else {
      sSql += D + ", " + PD;
      if (joinUsers) sSql += ", " + DU;
      if (joinGroups) sSql += ", " + DG;
      if (DiscJoinAuthors) sSql += ", " + U;
      if (DiscJoinRequirements || sortRequirements) sSql += ", " + DR;
      if (DiscJoinRead) sSql += ", " + READ;
      sSql += " " + std::string(nlWHERE) + D + ".ROOTID=" + PD + ".DISCUSSIONID";
      const std::string outer = " " + std::string(ORACLE_OUTER);
      const auto term = [&](const std::string& text) { sSql += " " + std::string(nlAND) + text; };
      if (!sCrit.empty()) term(" (" + sCrit + ") ");
      if (DiscJoinRequirements) term(D + ".ID=" + DR + ".DISCUSSIONID");
      if (sortRequirements) term(D + ".ID=" + DR + ".DISCUSSIONID" + outer);
      if (DiscJoinRead) term(D + ".ID=" + READ + ".DISCUSSIONID" + outer);
      if (joinUsers) term(D + ".ROOTID=" + DU + ".DISCUSSIONID" + outer);
      if (joinGroups) term(D + ".ROOTID=" + DG + ".DISCUSSIONID" + outer);
      if (DiscJoinAuthors) term(D + ".AUTHORID=" + U + ".ID" + outer);
      if (DiscJoinRequirements) term(DR + ".DISCUSSIONID=" + D + ".ID");
      term(PD + ".PROJECTID=" + projectKey + " ");
    }

    if (bRestrict) {
      sSql += " " + std::string(nlAND) + " " + "(" + D + ".RESTRICTED" + ">" + " 0 " + " " + std::string(nlOR) + "(" +
              D + ".RESTRICTED" + "=" + " 0 " + " " + std::string(nlAND) + " " + "(" + DU +
              ".USERID=" + ValueToSQL(Variant(lUser)) + " " + " " + std::string(nlOR) + DG +
              ".GROUPID=" + ValueToSQL(Variant(lGroup)) + " " + " " + std::string(nlOR) + D +
              ".AUTHORID=" + ValueToSQL(Variant(lUser)) + " " + ")))";
    }
    if (!DiscIncludeResponses) sSql += " " + std::string(nlAND) + D + ".PARENTID" + "=0";

    if (bCountOnly_) {
      sSql += ")" + std::string(oracle ? " " : " AS ") + "VLCOUNTEDITEMS";
    } else if (sOrderBy.empty()) {
      sSql += " " + std::string(nlGROUP_BY) + D + ".ID" + " " + std::string(nlORDER_BY) + D + ".ID";
    } else {
      std::string groupList = sGroupBy;
      // Oracle groups by the NVL forms of the order: its list without DESC.
      // The lowest value of what a discussion holds many of is no group.
      if (oracle && sOrderBy.find(MIN) == std::string::npos) {
        groupList = sOrderBy;
        for (std::size_t at = groupList.find("DESC"); at != std::string::npos; at = groupList.find("DESC", at))
          groupList.replace(at, 4, "    ");
      }
      sSql += " " + std::string(nlGROUP_BY) + D + ".ID" + (text::TrimView(groupList).empty() ? "" : ", " + groupList) +
              " " + std::string(nlORDER_BY) + sOrderBy;
    }
  });
  sSqlStatement = result == eQEENone ? std::move(sSql) : std::string();
  return result;
}

}  // namespace vlq
