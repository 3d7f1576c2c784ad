// The ORDER BY list of a query and the GROUP BY list that an aggregating
// statement needs with it. Sorting sets the join flags and view keys of the
// columns it names, so it runs before the FROM clause is written. Also here:
// the sort views of multi-select list attributes, the conversions that Access
// needs to sort a text column by number, and the SQL for one level of the tag
// number.
#include <cstdint>

#include "engine/mod_main.h"
#include "model/text_util.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"
#include "sql/query_sql.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

bool IsDescending(const Variant& value) {
  if (value.IsNumber()) return value.Real() == static_cast<double>(eOrdDesc);
  if (value.IsText()) return text::Trim(value.Text()) == "2";
  return false;
}

// Failure numbers of the database layers for a CREATE that finds the object
// there already, and for a missing right to create it.
bool IsObjectExists(long number) { return number == -1303 || number == -1314 || number == 955 || number == 2714; }
bool IsNoPermission(long number) {
  return number == 262 || number == static_cast<long>(static_cast<std::int32_t>(0x80040E09u)) ||
         number == static_cast<long>(0x80040E09u);
}

}  // namespace

enumQueryEngineError QuerySql::SortOrderToSQL(std::string& sOrderBy, std::string& sGroupBy, std::string& sErrInfo) {
  sOrderBy.clear();
  sGroupBy.clear();
  sErrInfo.clear();
  modMain::HandleAndLeave("QuerySql.SortOrderToSQL", [&] {
    const bool access = lDatabaseType_ == eDBTAccess || lDatabaseType_ == eDBTAccess2;
    const bool other = lDatabaseType_ == eDBTOracle || lDatabaseType_ == eDBTSQLServer || lDatabaseType_ == eDBTDB2 ||
                       lDatabaseType_ == eDBTPostgreSQL;
    const std::string REQ = BaseTableAndSchema(VLREQUIREMENTS);
    bool anyTerm = false;
    bool anyGroupTerm = false;
    bool tagSeen = false;
    // A column of what an item holds many of (packages, the requirements,
    // groups or users of a discussion) sorts by its lowest value, so that the
    // item stays one row: the statement aggregates, and the column stays out
    // of the GROUP BY.
    bool lowestOfMany = false;
    const auto lowest = [&](std::string column) {
      lowestOfMany = true;
      if (eQueryReturnType_ == eBTRequirements) NeedsMinAggregate = true;
      return std::string(MIN) + "(" + column + ")";
    };

    // The column of one sort expression; empty for none.
    const auto columnOf = [&](const TypedSimpleExpression& te) -> std::string {
      const std::string& sKey = te.AttrKey();
      if (!te.IsSystemAttr()) {
        const std::string view = BaseTableAndSchema(std::string(VLATTRVALUESVIEW_) + sKey);
        switch (te.AttrDataType()) {
          case eADTList:
            cAttrViewKeys_.Add(sKey);
            return view + ".ITEMRANK";
          case eADTWholeNumber:
          case eADTRealNumber:
          case eADTDate:
          case eADTTime:
            cAttrViewKeys_.Add(sKey);
            return GetDataTypeConversionFunctionString_(lDatabaseType_, te.AttrDataType(), view + ".FIELDVALUE");
          case eADTMultiSelectList:
            // One row per requirement: the lowest rank among its items.
            NeedsMinAggregate = true;
            cSortViewKeys_.Add(sKey);
            return BaseTableAndSchema(std::string(VLATTRVALUESSORTVIEW_) + sKey) + ".ITEMRANK";
          default:
            cAttrViewKeys_.Add(sKey);
            return view + ".FIELDVALUE";
        }
      }
      if (!access && !other) return {};
      const long K = text::IsDecimalWhole(sKey) ? std::stol(sKey) : 0;
      const auto col = [&](std::string_view table, std::string_view column) {
        return BaseTableAndSchema(table) + "." + std::string(column);
      };
      std::string prefix;
      if (const auto& simple = te.GetSimpleExpression()) prefix = text::Trim(simple->AttrPrefix());
      switch (K) {
        case eSAKReqKey:
        case eSAKReqKeyScalar:
          return col(VLREQUIREMENTS, "ID");
        case eSAKReqTag:
        case eSAKReqRootTagNbr:
          // Ascending is the default order, which closes every list anyway.
          if (!IsDescending(te.Value()) || tagSeen) return {};
          tagSeen = true;
          return col(VLREQUIREMENTS, "LONGTAGNUMBER");
        case eSAKReqText:
          return access ? " " + std::string(CSTR) + "(" + col(VLREQUIREMENTS, "REQUIREMENTTEXT") + " & ''" + ")"
                        : col(VLREQUIREMENTS, "REQUIREMENTTEXT");
        case eSAKReqAuthorName:
          JoinUsers = true;
          return col(VLUSERS, "FULLNAME");
        case eSAKReqAuthorKey:
          // The key form sorts by key; the plain form by what the query's
          // lookup type shows: the name, or the key.
          if (text::EqualsNoCase(prefix, "AUTHORKEY")) return col(VLREQUIREMENTS, "VERSIONUSERID");
          if (eLookupType_ == eQLTByPrefix) {
            JoinUsers = true;
            return col(VLUSERS, "FULLNAME");
          }
          if (eLookupType_ == eQLTByKey) return col(VLREQUIREMENTS, "VERSIONUSERID");
          return {};
        case eSAKReqLocationName:
          JoinDocuments = true;
          return col(VLDOCUMENTS, "NAME");
        case eSAKReqLocationKey:
          if (text::EqualsNoCase(prefix, "LOCATIONKEY")) return col(VLREQUIREMENTS, "BOOKMARKDOCUMENTID");
          if (eLookupType_ == eQLTByPrefix) {
            JoinDocuments = true;
            return col(VLDOCUMENTS, "NAME");
          }
          if (eLookupType_ == eQLTByKey) return col(VLREQUIREMENTS, "BOOKMARKDOCUMENTID");
          return {};
        case eSAKReqRevision:
          return col(VLREQUIREMENTS, "VERSIONNUMBER");
        case eSAKReqReason:
          return access ? " " + std::string(CSTR) + "(" + col(VLREQUIREMENTS, "VERSIONREASON") + ")"
                        : col(VLREQUIREMENTS, "VERSIONREASON");
        case eSAKReqRevDateTime:
          return col(VLREQUIREMENTS, "VERSIONDATETIME");
        case eSAKReqName:
          return col(VLREQUIREMENTS, "REQUIREMENTNAME");
        case eSAKReqDocPosition:
          return col(VLREQUIREMENTS, "DOCUMENTPOSITION");
        case eSAKReqPackageKey:
          JoinPackageElements = true;
          return lowest(col(VLPACKAGEELEMENTS, "PACKAGEID"));
        case eSAKReqPackageName:
          JoinPackageElements = true;
          JoinPackages = true;
          return lowest(col(VLPACKAGES, "NAME"));
        case eSAKReqSuspectDateTime:
          return col(VLREQUIREMENTS, "SUSPECTDATETIME");
        case eSAKDiscSubject:
          return col(VLDISCUSSIONS, "SUBJECT");
        case eSAKDiscReqKey:
          // Criteria on the requirement join it for their filter; a sort
          // alone keeps the discussions without one.
          if (!DiscJoinRequirements) DiscSortRequirements = true;
          return lowest(col(VLDISCUSSIONREQUIREMENTS, "REQUIREMENTID"));
        case eSAKDiscAuthor:
          DiscJoinAuthors = true;
          return col(VLUSERS, "FULLNAME");
        case eSAKDiscAuthorKey:
          return col(VLDISCUSSIONS, "AUTHORID");
        case eSAKDiscPriority:
          return col(VLDISCUSSIONS, "PRIORITY");
        case eSAKDiscStatus:
          return col(VLDISCUSSIONS, "STATUS");
        case eSAKDiscGroupKey:
          DiscJoinGroups = true;
          return lowest(col(VLDISCUSSIONGROUPS, "GROUPID"));
        case eSAKDiscDiscussionKey:
          return col(VLDISCUSSIONS, "ID");
        case eSAKDiscSubmitDate:
          return col(VLDISCUSSIONS, "SUBMITDATETIME");
        case eSAKDiscUserKey:
          DiscJoinUsers = true;
          return lowest(col(VLDISCUSSIONUSERS, "USERID"));
        default:
          return {};
      }
    };

    for (const auto& oSortExpr : cTypedSortExprs_) {
      const auto* tokens = oSortExpr ? oSortExpr->Tokens() : nullptr;
      if (tokens == nullptr) continue;
      for (const auto& oToken : *tokens) {
        if (!oToken || oToken->TokenType() != eTTTypedExpression) continue;
        const auto te = oToken->AsTypedSimpleExpression();
        if (!te) continue;
        lowestOfMany = false;
        const std::string col = columnOf(*te);
        if (text::TrimView(col).empty()) continue;
        if (anyTerm) sOrderBy += COMMA;
        if (anyGroupTerm && !lowestOfMany) sGroupBy += COMMA;
        const long K = te->IsSystemAttr() && text::IsDecimalWhole(te->AttrKey()) ? std::stol(te->AttrKey()) : 0;
        const bool dateColumn = K == eSAKReqRevDateTime || K == eSAKReqSuspectDateTime || K == eSAKDiscSubmitDate;
        // Oracle puts NULL last in ascending order; -1 brings a missing value
        // first, as the other databases have it.
        if (lDatabaseType_ == eDBTOracle && !dateColumn) sOrderBy += "NVL(" + col + ", -1)" + " ";
        else sOrderBy += col + " ";
        if (!lowestOfMany) {
          sGroupBy += col + " ";
          anyGroupTerm = true;
        }
        if (IsDescending(te->Value())) sOrderBy += " " + std::string(DESC) + " ";
        // PostgreSQL sorts NULL as the highest value; the other databases
        // (Oracle through NVL above) as the lowest.
        if (lDatabaseType_ == eDBTPostgreSQL) sOrderBy += IsDescending(te->Value()) ? "NULLS LAST " : "NULLS FIRST ";
        anyTerm = true;
      }
    }

    if (eQueryReturnType_ != eBTRequirements) return;
    // A requirement query ends its order in the tag; a whole-project query
    // starts it with the requirement type.
    if (eReqQueryScope_ == eVLSProject) {
      const std::string type = REQ + ".REQUIREMENTTYPEID";
      if (anyTerm) {
        sOrderBy = (NeedsMinAggregate ? " MIN(" + type + ")" + " , " : type + ", ") + sOrderBy;
      } else {
        sOrderBy = NeedsMinAggregate ? " MIN(" + type + ") " : type;
      }
      sGroupBy = anyGroupTerm ? type + ", " + sGroupBy : type;
      anyTerm = anyGroupTerm = true;
    }
    if (anyTerm) sOrderBy += COMMA;
    if (anyGroupTerm) sGroupBy += COMMA;
    if (!tagSeen) {
      sOrderBy += " " + REQ + ".LONGTAGNUMBER ";
      sGroupBy += " " + REQ + ".LONGTAGNUMBER ";
    } else if (anyTerm) {
      for (std::string* list : {&sOrderBy, &sGroupBy}) {
        if (list->size() >= 2 && list->compare(list->size() - 2, 2, COMMA) == 0) list->resize(list->size() - 2);
      }
    }
  });
  return eQEENone;
}

// Access keeps free values as text: a number, date or time column sorts by
// value only through a conversion. The other databases sort the column as it is.
std::string QuerySql::GetDataTypeConversionFunctionString_(long lDatabaseType, long lDataType,
                                                           const std::string& sColumn) {
  if (lDatabaseType != eDBTAccess) return sColumn;
  const std::string& c = sColumn;
  switch (lDataType) {
    case eADTWholeNumber:
      return "IIf(Not IsNull(" + c + "), IIf(IsNumeric(" + c + "), Clng(" + c + "), 0), Null)";
    case eADTRealNumber:
      return "IIf(Not IsNull(" + c + "), IIf(IsNumeric(" + c + "), CDbl(" + c + "), 0), Null)";
    case eADTDate:
    case eADTTime:
      return "IIf(Not IsNull(" + c + "), IIf(IsNumeric(" + c + "), CDate(" + c + "), 0), Null)";
    default:
      return sColumn;
  }
}

// The sort view of a multi-select list attribute: one row per requirement,
// with the lowest rank among its chosen items.
enumQueryEngineError QuerySql::CreateSortView_(const std::string& sViewName, long lAttrKey) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QuerySql.CreateSortView_", [&] {
    const std::string V = BaseTableAndSchema(VLUSERDEFINEDLISTVALUES);
    const std::string I = BaseTableAndSchema(VLUSERDEFINEDLISTITEMS);
    std::string sql;
    sql += std::string(CREATE) + "VIEW " + BaseTableAndSchema(sViewName) + " " + std::string(AS) +
           std::string(SELECT) + V + ".REQUIREMENTID" + std::string(COMMA) + std::string(MIN) + "(" + V +
           ".LISTITEMID" + ") " + std::string(AS) + "LISTITEMID" + std::string(COMMA) + std::string(MIN) + "(" + I +
           ".ITEMRANK" + ") " + std::string(AS) + "ITEMRANK";
    sql += std::string(nlFROM) + V + std::string(COMMA) + I;
    sql += std::string(nlWHERE) + V + ".FIELDID" + std::string(EQ) + I + ".FIELDID";
    sql += std::string(nlAND) + V + ".LISTITEMID" + std::string(EQ) + I + ".ITEMID";
    sql += std::string(nlAND) + V + ".FIELDID" + std::string(EQ) + std::to_string(lAttrKey);
    sql += std::string(nlGROUP_BY) + V + ".REQUIREMENTID";
    try {
      ExecuteSQLStatement_(sql);
    } catch (const Failure& failure) {
      if (IsNoPermission(failure.Number())) {
        result = eQEENoCreatePermissions;
      } else if (!IsObjectExists(failure.Number())) {
        modMain::CentralErrorHandler("QuerySql.CreateSortView_", {}, failure);
      }
    }
  });
  return result;
}

// The number in the ten-digit group of LONGTAGNUMBER behind nOffset characters.
// Access and PostgreSQL give -1 for a tag too short for the group.
std::string QuerySql::BuildRootTagNbrSQL(int nOffset, const TypedSimpleExpression& oExpr) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.BuildRootTagNbrSQL", [&] {
    const std::string c = DatabaseSchemaAndTable(&oExpr.ProjStruSpec(), VLREQUIREMENTS) + ".LONGTAGNUMBER";
    const std::string n = std::to_string(nOffset + 1);
    const std::string m = std::to_string(nOffset + 9);
    switch (lDatabaseType_) {
      case eDBTAccess:
      case eDBTAccess2:
        s = " " + std::string(IIF) + "(" + std::string(LEN) + "(" + c + ") >" + m + ", " + std::string(VAL) + "(" +
            std::string(MID) + "(" + c + ", " + n + ", 10)), -1)";
        break;
      case eDBTOracle:
        s = " " + std::string(VL_STR_TO_NUMBER) + "(" + std::string(SUBSTR) + "(" + c + ", " + n + ", 10))";
        break;
      case eDBTSQLServer:
        s = " " + std::string(CONVERT_INT) + std::string(SUBSTRING) + "(" + c + ", " + n + ", 10))";
        break;
      case eDBTDB2:
        s = " " + std::string(DECIMAL) + "(" + std::string(SUBSTR) + "(" + c + ", " + n + ", 10))";
        break;
      case eDBTPostgreSQL:
        // -1 for a tag too short for the group, as on Access.
        s = " CASE WHEN " + std::string(CHAR_LENGTH) + "(" + c + ") >" + m + " THEN CAST(" + std::string(SUBSTRING) +
            "(" + c + " FROM " + n + " FOR 10) AS BIGINT) ELSE -1 END";
        break;
      default:
        break;
    }
  });
  return s;
}

}  // namespace vlq
