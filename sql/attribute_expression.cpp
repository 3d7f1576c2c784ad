// The condition for one expression on a user-defined attribute. It reads the
// attribute view of the attribute, which the statement joins by LEFT JOIN, so a
// requirement without a value shows NULL columns there. Most of the work is
// deciding which comparison also accepts such a requirement: an absent value
// behaves like a value below all others.
#include "engine/mod_main.h"
#include "model/text_util.h"
#include "model/typed_simple_expression.h"
#include "sql/query_sql.h"
#include "sql/sql_value_conversions.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// The operator word with its blanks; IN has none, it is written as an OR list.
std::string OperatorText(enumExpressionOperator eOp) {
  switch (eOp) {
    case eEOBetween:
      return " " + std::string(BETWEEN) + " ";
    case eEOULike:
    case eEOLike:
      return " " + std::string(LIKE) + " ";
    case eEONotEquals:
      return std::string(NE);
    case eEOLessThanOrEqual:
      return std::string(LE);
    case eEOGreaterThanOrEqual:
      return std::string(GE);
    case eEOLessThan:
      return std::string(LT);
    case eEOGreaterThan:
      return std::string(GT);
    case eEOEquals:
      return std::string(EQ);
    default:
      return {};
  }
}

// Where the NULL term of a free value comparison goes.
enum class NullTerm { None, AtOnce, AfterNegation };

NullTerm NullTermOf(enumExpressionOperator eOp, bool bNot) {
  switch (eOp) {
    case eEONotEquals:
    case eEOLessThan:
    case eEOLessThanOrEqual:
      return bNot ? NullTerm::None : NullTerm::AtOnce;
    case eEOEquals:
    case eEOGreaterThan:
    case eEOGreaterThanOrEqual:
      return bNot ? NullTerm::AfterNegation : NullTerm::None;
    default:
      return NullTerm::None;
  }
}

}  // namespace

std::string QuerySql::ReqTypeExpressionToSQL(const TypedSimpleExpression& oExpr) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.ReqTypeExpressionToSQL", [&] {
    const ProjStructSpecifier& spec = oExpr.ProjStruSpec();
    const long type = oExpr.AttrDataType();
    const bool isList = type == eADTList || type == eADTMultiSelectList;
    const bool isMulti = type == eADTMultiSelectList;
    bool bNot = oExpr.ExprNot();
    enumExpressionOperator eOp = oExpr.Operator();
    const bool noEntry =
        (eOp == eEOEquals || eOp == eEONotEquals) &&
        (oExpr.IsEdit() ? text::EqualsNoCase(oExpr.Value().ToText(), NO_ENTRY) : oExpr.ListItemKey() <= 0);
    // "<>" with no entry asks for a value, and on a multi-select list for a
    // requirement that doesn't hold the item: both the complement of "=".
    if (eOp == eEONotEquals && (noEntry || isMulti)) {
      eOp = eEOEquals;
      bNot = !bNot;
    }
    // A negated item of a multi-select list is the negated In list of that
    // one item: the requirements that don't hold it at all.
    std::vector<long> keys;
    if (eOp == eEOIN) {
      for (long key : oExpr.ListItemKeys()) keys.push_back(key);
    } else if (isMulti && bNot && !noEntry) {
      eOp = eEOIN;
      keys.push_back(oExpr.ListItemKey());
    }
    const std::string view = DatabaseSchemaAndTable(&spec, std::string(VLATTRVALUESVIEW_) + oExpr.AttrKey());
    const std::string col = view + "." + (isList ? "LISTITEMID" : "FIELDVALUE");
    const std::string op = OperatorText(eOp);
    const std::string isNull = " " + std::string(IS) + std::string(NULL_);
    // The test that lets a requirement without a value pass a negated list.
    const std::string listNullTerm = std::string(nlOR) + "(" + " " + col + isNull;
    std::string deferredTerm;

    s = " (";
    if (bNot) {
      if (eOp == eEOIN && isMulti) {
        // A requirement with several items is in several rows: NOT IN asks for
        // the requirements that have none of the items at all.
        const std::string req = DatabaseSchemaAndTable(&spec, VLREQUIREMENTS);
        s += "(" + req + ".ID" + " " + "NOT IN (SELECT " + req + ".ID" + std::string(CRLF) + std::string(FROM) + req +
             std::string(CRLF) + std::string(LEFT) + std::string(JOIN) + view + std::string(CRLF) + std::string(ON) +
             req + ".ID" + " = " + view + ".REQUIREMENTID";
        if (spec.DBTypeValue() == eDBTAccess && spec.IsExtProj()) {
          s += " " + std::string(IN) + " " + modMain::JetDatabasePathLiteral(spec.ExtProjFilePath(), ".MdB") + " ";
        }
        s += nlWHERE;
      } else {
        s += "( " + std::string(NOT) + " (";
      }
    }

    // A pattern on a number, date or time matches its digits; PostgreSQL
    // matches text only, so there the value is read as text.
    const bool like = eOp == eEOLike || eOp == eEOULike;
    const bool likeOnNumber = like && lDatabaseType_ == eDBTPostgreSQL && !isList && type != eADTText;
    if (eOp != eEOIN) s += (likeOnNumber ? "CAST(" + col + " AS VARCHAR(40))" : col) + " ";

    if (eOp == eEOBetween) {
      s += op + ExprValToSQL(oExpr, false, 0) + " " + std::string(nlAND) + ExprValToSQL(oExpr, true, 0);
    } else if (eOp == eEOIN) {
      std::vector<std::string> terms;
      bool hasNoEntry = false;
      if (isList) {
        for (long key : keys) {
          // The key 0 only marks that no entry is among the items.
          if (key != 0)
            terms.push_back(col + std::string(EQ) + ExprValueToSQL_(oExpr, Variant(key)));
          else
            hasNoEntry = true;
        }
      } else {
        // A free value: the attribute equals one of the items.
        for (const Variant& item : oExpr.ListItemValues()) {
          if (text::EqualsNoCase(item.ToText(), NO_ENTRY)) {
            hasNoEntry = true;
          } else {
            terms.push_back(col + std::string(EQ) + ExprValueToSQL_(oExpr, item));
          }
        }
      }
      if (hasNoEntry) terms.push_back(col + " " + std::string(IS) + std::string(NULL_));
      s += "(" + sqlconv::JoinInTerms(terms, " " + std::string(nlOR));
      if (!bNot || hasNoEntry) {
        // With no entry among the items the negation itself excludes a
        // requirement without a value.
        s += ")";
      } else {
        s += ")" + std::string(")") + " " + listNullTerm;
      }
    } else if (oExpr.IsEdit()) {
      if (noEntry) {
        s += isNull;
      } else {
        std::string value = ExprValToSQL(oExpr, false, 0);
        if (likeOnNumber && value.find('\'') == std::string::npos) value = " '" + text::Trim(value) + "'";
        s += op + (like ? LikePatternToSQL_(value) : value);
        const std::string term = std::string(nlOR) + col + " " + std::string(IS) + std::string(NULL_);
        switch (NullTermOf(eOp, bNot)) {
          case NullTerm::AtOnce:
            s += term;
            break;
          case NullTerm::AfterNegation:
            deferredTerm = term;
            break;
          case NullTerm::None:
            break;
        }
      }
    } else if (oExpr.ListItemKey() > 0) {
      s += op + ExprValToSQL(oExpr, false, 0);
      if (bNot) s += " " + listNullTerm + ")";
    } else {
      s += isNull;
    }

    if (bNot) s += "))";
    s += deferredTerm;
    s += ")";
  });
  return s;
}

}  // namespace vlq
