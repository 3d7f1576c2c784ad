// The condition for one expression on a system attribute. Every attribute
// follows one shape: opening brackets, the column, the value, the operator, a
// rewrite for dates, closing brackets. Each attribute supplies a column and a
// few marks; the root tag number, the hierarchy level, the document flags and
// two discussion attributes have forms of their own.
#include <algorithm>
#include <cstdlib>

#include "engine/mod_main.h"
#include "model/date_serial.h"
#include "model/text_util.h"
#include "model/typed_simple_expression.h"
#include "model/typed_values.h"
#include "parser/simple_expression.h"
#include "sql/query_sql.h"
#include "sql/sql_value_conversions.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace {

// Where a system attribute's column stands and what it needs.
struct SystemColumn {
  std::string_view table;
  std::string_view column;
  bool caseBlind = false;  // compared in capitals on Oracle
  bool isDate = false;     // a date and time column with the day and minute rewrite
};

std::optional<SystemColumn> RequirementColumn(long key) {
  switch (key) {
    case eSAKReqKey:
    case eSAKReqKeyScalar:
      return SystemColumn{VLREQUIREMENTS, "ID"};
    case eSAKReqTag:
      return SystemColumn{VLREQUIREMENTS, "REQUIREMENTPREFIX"};
    case eSAKReqText:
      return SystemColumn{VLREQUIREMENTS, "REQUIREMENTTEXT", true};
    case eSAKReqAuthorName:
    case eSAKReqAuthorKey:
      return SystemColumn{VLREQUIREMENTS, "VERSIONUSERID"};
    case eSAKReqLocationName:
    case eSAKReqLocationKey:
      return SystemColumn{VLREQUIREMENTS, "BOOKMARKDOCUMENTID"};
    case eSAKReqRevision:
      return SystemColumn{VLREQUIREMENTS, "VERSIONNUMBER"};
    case eSAKReqReason:
      return SystemColumn{VLREQUIREMENTS, "VERSIONREASON", true};
    case eSAKReqDiscussionKey:
      return SystemColumn{VLDISCUSSIONREQUIREMENTS, "DISCUSSIONID"};
    case eSAKReqDiscussionStatus:
      return SystemColumn{VLDISCUSSIONS, "STATUS"};
    case eSAKReqRevDateTime:
      return SystemColumn{VLREQUIREMENTS, "VERSIONDATETIME", false, true};
    case eSAKReqBookmarkName:
      return SystemColumn{VLREQUIREMENTS, "BOOKMARKNAME"};
    case eSAKReqName:
      return SystemColumn{VLREQUIREMENTS, "REQUIREMENTNAME", true};
    case eSAKReqDocPosition:
      return SystemColumn{VLREQUIREMENTS, "DOCUMENTPOSITION"};
    case eSAKReqPackageKey:
      return SystemColumn{VLPACKAGEELEMENTS, "PACKAGEID"};
    case eSAKReqPackageName:
      return SystemColumn{VLPACKAGES, "NAME", true};
    case eSAKReqSuspectDateTime:
      return SystemColumn{VLREQUIREMENTS, "SUSPECTDATETIME", false, true};
    default:
      return std::nullopt;
  }
}

std::optional<SystemColumn> DiscussionColumn(long key) {
  switch (key) {
    case eSAKDiscSubject:
      return SystemColumn{VLDISCUSSIONS, "SUBJECT"};
    case eSAKDiscReqKey:
      return SystemColumn{VLDISCUSSIONREQUIREMENTS, "REQUIREMENTID"};
    case eSAKDiscAuthor:
    case eSAKDiscAuthorKey:
      return SystemColumn{VLDISCUSSIONS, "AUTHORID"};
    case eSAKDiscPriority:
      return SystemColumn{VLDISCUSSIONS, "PRIORITY"};
    case eSAKDiscStatus:
      return SystemColumn{VLDISCUSSIONS, "STATUS"};
    case eSAKDiscGroup:
    case eSAKDiscGroupKey:
      return SystemColumn{VLDISCUSSIONGROUPS, "GROUPID"};
    case eSAKDiscDiscussionKey:
      return SystemColumn{VLDISCUSSIONS, "ID"};
    case eSAKDiscSubmitDate:
      return SystemColumn{VLDISCUSSIONS, "SUBMITDATETIME"};
    case eSAKDiscUser:
    case eSAKDiscUserKey:
      return SystemColumn{VLDISCUSSIONUSERS, "USERID"};
    default:
      return std::nullopt;
  }
}

// The system columns that hold text; the others hold numbers and dates.
bool IsTextColumn(std::string_view column) {
  for (std::string_view text : {"REQUIREMENTPREFIX", "REQUIREMENTTEXT", "VERSIONREASON", "BOOKMARKNAME",
                                "REQUIREMENTNAME", "NAME", "SUBJECT"}) {
    if (column == text) return true;
  }
  return false;
}

bool HoldsNullWord(std::string_view v) { return text::EqualsNoCase(text::TrimView(v), NULL_); }

std::string Digits2(int value) { return (value < 10 ? "0" : "") + std::to_string(value); }

}  // namespace

// A requirement holds any number of packages and discussions: a criterion on
// them asks whether it holds one that meets the criterion. It is written as
// membership of the requirement in a subquery, so that a requirement stands
// once whatever it holds, "<>" and a negation mean that it holds none that
// meets it, and "<NO ENTRY>" (or the key 0) that it holds none at all.
std::string QuerySql::MembershipExpressionToSQL_(const TypedSimpleExpression& oExpr, long K, bool N,
                                                 enumExpressionOperator O) {
  const ProjStructSpecifier& spec = oExpr.ProjStruSpec();
  const auto T = [&](std::string_view table) { return DatabaseSchemaAndTable(&spec, table); };
  const bool oracle = lDatabaseType_ == eDBTOracle;
  if (O == eEONotEquals) {
    O = eEOEquals;
    N = !N;
  }
  const bool packages = K == eSAKReqPackageKey || K == eSAKReqPackageName;
  const std::string LINK = T(packages ? VLPACKAGEELEMENTS : VLDISCUSSIONREQUIREMENTS);
  const std::string TARGET = T(packages ? VLPACKAGES : VLDISCUSSIONS);
  const std::string linkKey = LINK + (packages ? ".PACKAGEID" : ".DISCUSSIONID");
  const bool joinTarget = K == eSAKReqPackageName || K == eSAKReqDiscussionStatus;
  // The rows of what a requirement holds, narrowed by a condition.
  const auto subquery = [&](const std::string& condition) {
    std::string sub = std::string(SELECT) + LINK + ".REQUIREMENTID " + std::string(FROM) + LINK;
    if (joinTarget)
      sub += oracle ? ", " + TARGET
                    : " " + std::string(INNER) + std::string(JOIN) + TARGET + " " + std::string(ON) + linkKey +
                          std::string(EQ) + TARGET + ".ID";
    // Jet reads another project's tables from its file.
    if (spec.DBTypeValue() == eDBTAccess && spec.IsExtProj()) {
      sub += " " + std::string(IN) + " " + modMain::JetDatabasePathLiteral(spec.ExtProjFilePath(), ".MdB");
    }
    std::string where;
    if (joinTarget && oracle) where = linkKey + std::string(EQ) + TARGET + ".ID";
    if (!condition.empty()) where += (where.empty() ? "" : " " + std::string(AND)) + "(" + condition + ")";
    if (!where.empty()) sub += " " + std::string(WHERE) + where;
    return sub;
  };
  // The column a value is compared with, and the value as SQL.
  const std::string column = K == eSAKReqPackageKey         ? linkKey
                             : K == eSAKReqDiscussionKey    ? linkKey
                             : K == eSAKReqDiscussionStatus ? TARGET + ".STATUS"
                             : oracle                       ? std::string(UPPER) + "(" + TARGET + ".NAME)"
                                                            : TARGET + ".NAME";
  const auto literal = [&](const Variant& value) {
    std::string text = ExprValueToSQL_(oExpr, value);
    if (oracle && K == eSAKReqPackageName) text = text::Upper(text);
    return text;
  };
  const auto isNone = [&](const Variant& value) {
    return sqlconv::IsNoEntry(value) || (K != eSAKReqPackageName && value.IsWhole() && value.Whole() == 0);
  };

  // The terms: comparisons of what is held, and whether "none" is asked for.
  std::vector<std::string> terms;
  bool none = false;
  if (O == eEOIN) {
    if (oExpr.IsEdit()) {
      for (const Variant& value : oExpr.ListItemValues()) {
        if (isNone(value))
          none = true;
        else
          terms.push_back(column + std::string(EQ) + literal(value));
      }
    } else {
      for (long key : oExpr.ListItemKeys()) {
        if (key == 0)
          none = true;
        else
          terms.push_back(column + std::string(EQ) + " " + std::to_string(key));
      }
    }
  } else {
    const Variant value = oExpr.IsEdit() ? oExpr.Value() : Variant(oExpr.ListItemKey());
    if (isNone(value)) {
      none = true;
    } else if (O == eEOBetween) {
      terms.push_back(column + " " + std::string(BETWEEN) + literal(value) + " " + std::string(AND) +
                      literal(oExpr.HighValue()));
    } else {
      std::string op;
      switch (O) {
        case eEOLike:
        case eEOULike:
          op = " " + std::string(LIKE);
          break;
        case eEOLessThan:
          op = std::string(LT);
          break;
        case eEOLessThanOrEqual:
          op = std::string(LE);
          break;
        case eEOGreaterThan:
          op = std::string(GT);
          break;
        case eEOGreaterThanOrEqual:
          op = std::string(GE);
          break;
        default:
          op = std::string(EQ);
          break;
      }
      const bool like = O == eEOLike || O == eEOULike;
      terms.push_back(column + op + (like ? LikePatternToSQL_(literal(value)) : literal(value)));
    }
  }
  const std::string REQ = T(VLREQUIREMENTS) + ".ID ";
  std::vector<std::string> tests;
  if (!terms.empty()) {
    tests.push_back(REQ + std::string(IN) + "(" + subquery(sqlconv::JoinInTerms(terms, " " + std::string(OR))) + ")");
  }
  if (none) tests.push_back(REQ + std::string(NOT) + std::string(IN) + "(" + subquery({}) + ")");
  std::string positive = tests.size() == 1 ? tests[0] : "(" + tests[0] + " " + std::string(OR) + tests[1] + ")";
  return N ? " (" + std::string(NOT) + "(" + positive + "))" : " (" + positive + ")";
}

// The document of a requirement, where the database itself (the key 0, or no
// value at all) stands for no document. "<>" and a negation are the complement
// of what the list names, a requirement without a document included.
std::string QuerySql::LocationExpressionToSQL_(const TypedSimpleExpression& oExpr, bool N, enumExpressionOperator O) {
  const std::string COL = DatabaseSchemaAndTable(&oExpr.ProjStruSpec(), VLREQUIREMENTS) + ".BOOKMARKDOCUMENTID";
  if (O == eEONotEquals) {
    O = eEOEquals;
    N = !N;
  }
  std::vector<long> keys;
  if (O == eEOIN) {
    for (long key : oExpr.ListItemKeys()) keys.push_back(key);
  } else {
    keys.push_back(oExpr.ListItemKey());
  }
  std::vector<std::string> terms;
  bool database = false;
  for (long key : keys) {
    if (key > 0) {
      terms.push_back(COL + std::string(EQ) + " " + std::to_string(key));
    } else {
      database = true;
      terms.push_back("(" + COL + " " + std::string(IS) + std::string(NULL_) + " " + std::string(OR) + COL +
                      std::string(EQ) + " 0)");
    }
  }
  const std::string positive =
      terms.size() == 1 ? terms[0] : "(" + sqlconv::JoinInTerms(terms, " " + std::string(nlOR)) + ")";
  if (!N) return " " + positive;
  // A comparison with a document is unknown where there is none; the
  // complement takes such a requirement in unless the list names the database.
  const std::string negated = std::string(NOT) + (positive.front() == '(' ? positive : "(" + positive + ")");
  if (database) return " (" + negated + ")";
  return " (" + negated + " " + std::string(OR) + COL + " " + std::string(IS) + std::string(NULL_) + ")";
}

std::string QuerySql::SystemAttrExpressionToSQL(TypedSimpleExpression& oExpr, eExpressionContext /*eContext*/) {
  std::string S;
  modMain::HandleAndLeave("QuerySql.SystemAttrExpressionToSQL", [&] {
    constexpr std::string_view source = "QuerySql.SystemAttrExpressionToSQL";
    const ProjStructSpecifier& spec = oExpr.ProjStruSpec();
    const auto T = [&](std::string_view table) { return DatabaseSchemaAndTable(&spec, table); };
    bool N = oExpr.ExprNot();
    enumExpressionOperator O = oExpr.Operator();
    const long K = text::IsDecimalWhole(oExpr.AttrKey()) ? std::stol(oExpr.AttrKey()) : 0;
    // A root tag number names a place in the tree and what lies below it, a
    // document flag test is true or false: "<>" is the complement of "=".
    if ((K == eSAKReqRootTagNbr || K == eSAKReqIsDocTextCurrent) && O == eEONotEquals) {
      O = eEOEquals;
      N = !N;
    }
    if (oExpr.BaseType() == eBTRequirements) {
      switch (K) {
        case eSAKReqDiscussionKey:
        case eSAKReqDiscussionStatus:
        case eSAKReqPackageKey:
        case eSAKReqPackageName:
          S = MembershipExpressionToSQL_(oExpr, K, N, O);
          return;
        case eSAKReqLocationName:
        case eSAKReqLocationKey:
          S = LocationExpressionToSQL_(oExpr, N, O);
          return;
        default:
          break;
      }
    }
    // The root tag number's column for a dotted number: the leading levels
    // compare by "=", the column of the last level is left for the operator.
    // The levels are checked whole numbers; lastLevel receives the last.
    const auto rootTagColumn = [&](const Variant& value, std::string& lastLevel) {
      const auto levels = typed_values::DottedWholeNumber(typed_values::ValueText(value));
      if (!levels)
        throw Failure(kUnexpectedFailureNumber, std::string(source), "a root tag number that isn't a dotted number");
      std::string col;
      int offset = 0;
      for (std::size_t i = 0; i + 1 < levels->size(); ++i, offset += 10) {
        col += " " + BuildRootTagNbrSQL(offset, oExpr) + std::string(EQ) + std::to_string((*levels)[i]) + " " + "AND" +
               " ";
      }
      lastLevel = " " + std::to_string(levels->back());
      return col + " " + BuildRootTagNbrSQL(offset, oExpr);
    };
    const bool E = sqlconv::IsNoEntry(oExpr.Value());
    const bool oracle = lDatabaseType_ == eDBTOracle;
    const std::string isWord = " " + std::string(IS) + " ";

    // The level of a requirement: its tag number has ten characters a level.
    const auto level = [&](std::string_view table) {
      std::string L;
      switch (lDatabaseType_) {
        case eDBTAccess:
        case eDBTAccess2:
          L = std::string(LEN);
          break;
        case eDBTOracle:
        case eDBTDB2:
          L = std::string(LENGTH);
          break;
        case eDBTSQLServer:
          L = std::string(DATALENGTH);
          break;
        case eDBTPostgreSQL:
          L = std::string(CHAR_LENGTH);
          break;
        default:
          break;
      }
      return "((" + L + "(" + T(table) + ".LONGTAGNUMBER" + ")" + " / 10) - 1)";
    };
    if (K == eSAKReqHierLevel && treeLevelExprs_.count(&oExpr) > 0) {
      // A level that every hit must meet cuts the finished tree, ancestors
      // included: the term goes to the final statement, and here the value
      // is compared with itself.
      const std::string column = level(VLHIERARCHYFINALORDERTEMP);
      const std::string W = ExprValToSQL(oExpr, false, 0);
      if (O == eEOBetween) {
        HierLevelTerms.push_back(column + " " + std::string(BETWEEN) + W + " " + std::string(AND) +
                                 ExprValToSQL(oExpr, true, 0));
      } else {
        HierLevelTerms.push_back(column + " " + modMain::OpEnumToString(O) + " " + W);
      }
      S = " " + W + std::string(EQ) + W;
      return;
    }

    // 1. Openers.
    bool nullCloser = false;
    bool zeroCloser = false;
    bool bracketCloser = false;
    bool emptyCloser = false;
    if (oExpr.IsEdit() && !E && ((O == eEONotEquals && !N) || (O == eEOEquals && N))) {
      // A negated comparison on a free value lets rows without a value pass.
      S += " (";
      nullCloser = true;
    }
    if (O == eEOIN && K == eSAKReqLocationKey && oExpr.ListItemKeys().Contains("0")) {
      // The database as location is stored as 0 as well as NULL.
      S += " (";
      zeroCloser = true;
    }
    if ((O == eEONotEquals && E && !N) || (N && !(O == eEONotEquals && E) && !(O == eEOIN && !E))) {
      S += " " + std::string(NOT) + " " + "(";
      bracketCloser = true;
    }

    // 2. Column.
    std::string COL;
    std::string rootTagLast;
    bool isDate = false;
    bool caseBlind = false;
    const enumQueryReturnTypes baseType = oExpr.BaseType();
    if (baseType == eBTRequirements) {
      switch (K) {
        case eSAKReqRootTagNbr:
          // An In list writes the column of each item in step 7.
          if (O != eEOIN) {
            COL = rootTagColumn(oExpr.Value(), rootTagLast);
            S += " " + COL;
          }
          break;
        case eSAKReqHierLevel:
          COL = level(VLREQUIREMENTS);
          S += " " + COL;
          break;
        case eSAKReqIsDocTextCurrent: {
          // The document text is out of date when one of the flags 1, 4, 16 is set.
          COL = T(VLREQUIREMENTS) + ".FLAGS";
          const bool current = oExpr.Value().IsBoolean() ? oExpr.Value().Boolean()
                                                         : sqlconv::ToLong(oExpr.Value(), source) != 0;
          const std::string nl(CRLF);
          const std::string& c = COL;
          switch (lDatabaseType_) {
            case eDBTAccess:
            case eDBTAccess2:
              S += current ? "(NOT ((" + c + "\\1) MOD 2)=1" + nl + "AND NOT ((" + c + "\\4) MOD 2)=1" + nl +
                                 "AND NOT ((" + c + "\\16) MOD 2)=1)"
                           : "(((" + c + "\\1) MOD 2)=1" + nl + "OR ((" + c + "\\4) MOD 2)=1" + nl + "OR ((" + c +
                                 "\\16) MOD 2)=1)";
              break;
            case eDBTDB2:
              // BITAND as on Oracle, with the standard word for "not equal".
              S += current ? "(((BITAND(" + c + ", 1)<>1) " + nl + "AND (BITAND(" + c + ", 4)<>4)" + nl +
                                 "AND (BITAND(" + c + ", 16)<>16)))"
                           : "(((BITAND(" + c + ", 1)=1) " + nl + "OR (BITAND(" + c + ", 4)=4)" + nl + "OR (BITAND(" +
                                 c + ", 16)=16)))";
              break;
            case eDBTOracle:
              S += current ? "(((BITAND(" + c + ", 1)!=1) " + nl + "AND (BITAND(" + c + ", 4)!=4)" + nl +
                                 "AND (BITAND(" + c + ", 16)!=16)))"
                           : "(((BITAND(" + c + ", 1)=1) " + nl + "OR (BITAND(" + c + ", 4)=4)" + nl + "OR (BITAND(" +
                                 c + ", 16)=16)))";
              break;
            case eDBTSQLServer:
              S += current ? "((" + c + "!=" + c + "|1" + nl + "AND " + c + "!=" + c + "|4" + nl + "AND " + c +
                                 "!=" + c + "|16))"
                           : "((" + c + "=" + c + "|1" + nl + "OR " + c + "=" + c + "|4" + nl + "OR " + c + "=" + c +
                                 "|16))";
              break;
            case eDBTPostgreSQL:
              S += current ? "(((" + c + " & 1)=0" + nl + "AND (" + c + " & 4)=0" + nl + "AND (" + c + " & 16)=0))"
                           : "(((" + c + " & 1)<>0" + nl + "OR (" + c + " & 4)<>0" + nl + "OR (" + c + " & 16)<>0))";
              break;
            default:
              break;
          }
          break;
        }
        default:
          if (const auto column = RequirementColumn(K)) {
            const bool locationColumn = K == eSAKReqLocationName || K == eSAKReqLocationKey;
            const bool knownDialect = lDatabaseType_ == eDBTAccess || lDatabaseType_ == eDBTOracle ||
                                      lDatabaseType_ == eDBTAccess2 || lDatabaseType_ == eDBTSQLServer ||
                                      lDatabaseType_ == eDBTDB2 || lDatabaseType_ == eDBTPostgreSQL;
            if (!locationColumn || knownDialect) COL = T(column->table) + "." + std::string(column->column);
            if (column->caseBlind && oracle) COL = std::string(UPPER) + "(" + COL + ")";
            caseBlind = column->caseBlind;
            isDate = column->isDate;
            if (O != eEOIN) S += " " + COL;
          }
          break;
      }
    } else if (baseType == eBTDiscussions) {
      if (K == eSAKDiscResponses) {
        // Responses: keep the response discussions, or ask for them alone.
        DiscIncludeResponses = true;
        const bool value = oExpr.Value().IsBoolean() ? oExpr.Value().Boolean()
                                                     : sqlconv::ToLong(oExpr.Value(), source) != 0;
        S += T(VLDISCUSSIONS) + ".PARENTID" + (value ? ">=0" : "=0");
        if (O != eEOIN && N) S += "))";
        return;
      }
      if (K == eSAKDiscHasRead) {
        // The user's key, negative for "not read".
        DiscJoinRead = true;
        const long R = sqlconv::ToLong(oExpr.Value(), source);
        const std::string read = T(VLDISCUSSIONSREAD);
        S += "(";
        if (R < 0) S += " " + std::string(NOT) + " ";
        S += T(VLDISCUSSIONS) + ".ID" + " " + std::string(IN) + "(" + std::string(SELECT) + read + ".DISCUSSIONID" +
             " " + std::string(nlFROM) + read + " " + std::string(nlWHERE) + read + ".USERID" + std::string(EQ) +
             ValueToSQL(Variant(std::labs(R))) + ")" + ")";
        if (O != eEOIN && N) S += "))";
        return;
      }
      if (const auto column = DiscussionColumn(K)) {
        COL = T(column->table) + "." + std::string(column->column);
        if (O != eEOIN) S += " " + COL;
        switch (K) {
          case eSAKDiscReqKey:
            DiscJoinRequirements = true;
            break;
          case eSAKDiscGroup:
          case eSAKDiscGroupKey:
            DiscJoinGroups = true;
            break;
          case eSAKDiscUser:
          case eSAKDiscUserKey:
            DiscJoinUsers = true;
            break;
          default:
            break;
        }
      }
    }

    // 3. Value.
    std::string V;
    if ((K == eSAKReqText || K == eSAKReqName) && E && (O == eEONotEquals || O == eEOEquals)) {
      V = std::string(NULL_);
      // SQL Server keeps an empty text where the others have none.
      if (lDatabaseType_ == eDBTSQLServer) emptyCloser = true;
    } else if (K == eSAKReqRootTagNbr) {
      V = rootTagLast;
    } else {
      V = ExprValToSQL(oExpr, false, 0);
    }
    if (caseBlind && oracle) V = text::Upper(V);

    // 4. Whether a date value was written with a time and with seconds. The
    // value as the query wrote it is the word behind the operator.
    bool T_ = false;
    bool C_ = false;
    std::string X;
    std::string sOrg;
    if (isDate) {
      if (const auto& simple = oExpr.GetSimpleExpression()) sOrg = simple->OrgExprString();
      const std::string opText = modMain::OpEnumToString(O);
      const std::size_t at = opText.empty() ? std::string::npos : text::FindNoCase(sOrg, opText);
      if (at != std::string::npos) {
        const std::string_view behind = std::string_view(sOrg).substr(at + opText.size());
        long consumed = 0;
        X = text::Trim(modMain::ExtractQueryBaseCriteria(behind, consumed, false));
        const std::string_view D =
            behind.substr(0, std::min<std::size_t>(behind.size(), static_cast<std::size_t>(std::max(0L, consumed))));
        T_ = IsTimeSpecified_(D);
        C_ = AreSecondsSpecified_(D);
      }
    }

    // 5. Operator.
    switch (O) {
      case eEOBetween:
        S += " " + std::string(BETWEEN) + " ";
        break;
      case eEOULike:
      case eEOLike: {
        // A pattern on a number or a date matches its text; PostgreSQL
        // matches text only.
        const std::size_t dot = COL.rfind('.');
        const bool textColumn = dot != std::string::npos && IsTextColumn(std::string_view(COL).substr(dot + 1));
        if (lDatabaseType_ == eDBTPostgreSQL && !textColumn && !COL.empty() && S.ends_with(COL)) {
          // Of a dotted root tag number only the last level is matched.
          const std::size_t last = K == eSAKReqRootTagNbr ? COL.rfind(" AND ") : std::string::npos;
          const std::string matched = last == std::string::npos ? COL : COL.substr(last + 5);
          S.resize(S.size() - matched.size());
          S += "CAST(" + matched + " AS VARCHAR(40))";
        }
        S += " " + std::string(LIKE) + " ";
        break;
      }
      case eEONotEquals:
        S += text::EqualsNoCase(V, NULL_) ? isWord : std::string(NE);
        break;
      case eEOLessThanOrEqual:
        S += LE;
        break;
      case eEOGreaterThanOrEqual:
        S += GE;
        break;
      case eEOLessThan:
        S += LT;
        break;
      case eEOGreaterThan:
        S += GT;
        break;
      case eEOEquals:
        if (HoldsNullWord(V)) {
          S += isWord;
          if (lDatabaseType_ == eDBTSQLServer) emptyCloser = true;
        } else if (!isDate) {
          if (K != eSAKReqIsDocTextCurrent) S += EQ;
        } else if (T_ && C_) {
          S += EQ;
        } else {
          // A day or a minute: the whole of it.
          S += " " + std::string(BETWEEN) + " ";
        }
        break;
      default:
        break;
    }

    // 6. Value text, with the date rewrite.
    const std::size_t valueAt = S.size();
    const auto dateText = [&](const std::string& sDate) {
      return " " + ValueToSQL(Variant(sqlconv::ToDate(Variant(sDate), source)));
    };
    const std::string Z = GetTimeSeparator_();
    // X at the given seconds of its minute, in the locale's short date form.
    const auto atSeconds = [&](const char* seconds) {
      const CivilDateTime c = date_serial::ToCivil(sqlconv::ToDate(Variant(X), source));
      return modMain::Locale().ShortDateText(sqlconv::ToDate(Variant(X), source)) + " " + std::to_string(c.hour) +
             Z + Digits2(c.minute) + Z + seconds;
    };
    const std::string endOfDay = " 23" + Z + "59" + Z + "59";
    if (O == eEOBetween) {
      std::string high;
      if (K == eSAKReqRootTagNbr)
        rootTagColumn(oExpr.HighValue(), high);
      else if (caseBlind && oracle) high = text::Upper(ExprValToSQL(oExpr, true, 0));
      else high = ExprValToSQL(oExpr, true, 0);
      S += V + " " + std::string(nlAND) + high;
    } else if (isDate && O != eEOIN) {
      if (T_ && C_) {
        S += V;
      } else if (T_) {
        if (O == eEOEquals) S += dateText(atSeconds("00")) + " " + std::string(nlAND) + dateText(atSeconds("59"));
        else if (O == eEOLessThanOrEqual || O == eEOGreaterThan) S += dateText(atSeconds("59"));
        else S += " " + ValueToSQL(Variant(sqlconv::ToDate(oExpr.Value(), source)));
      } else if (E) {
        S += O == eEOEquals ? V + " " + std::string(nlAND) + V : V;
      } else if (O == eEOEquals) {
        S += dateText(X + " 00" + Z + "00" + Z + "00") + " " + std::string(nlAND) + dateText(X + endOfDay);
      } else if (O == eEOLessThanOrEqual || O == eEOGreaterThan) {
        S += dateText(X + endOfDay);
      } else {
        S += " " + ValueToSQL(Variant(sqlconv::ToDate(oExpr.Value(), source)));
      }
    } else if (O == eEOIN) {
      // 7. The IN list: the column for each item, each negated under NOT.
      // Keys of project objects stand in ListItemKeys, free values in
      // ListItemValues.
      std::vector<std::string> terms;
      const auto item = [&](const std::string& comparison) {
        terms.push_back("(" + (N ? " " + std::string(NOT) : std::string()) + " " + comparison + ")");
      };
      const auto compare = [&](const std::string& column, const std::string& W) {
        return column + (text::FindNoCase(W, NULL_) != std::string::npos ? isWord : std::string(EQ)) + W;
      };
      if (!oExpr.IsEdit()) {
        for (long key : oExpr.ListItemKeys()) item(compare(COL, ExprValToSQL(oExpr, false, key)));
      } else if (K == eSAKReqRootTagNbr) {
        for (const Variant& value : oExpr.ListItemValues()) {
          std::string last;
          const std::string column = rootTagColumn(value, last);
          item("(" + column + std::string(EQ) + last + ")");
        }
      } else {
        for (const Variant& value : oExpr.ListItemValues()) {
          std::string W = ExprValueToSQL_(oExpr, value);
          if (caseBlind && oracle) W = text::Upper(W);
          // "<NO ENTRY>" among free values: the column has no value.
          if (sqlconv::IsNoEntry(value)) W = " " + std::string(NULL_);
          item(compare(COL, W));
        }
      }
      S += "(" + sqlconv::JoinInTerms(terms, " " + std::string(N ? nlAND : nlOR)) + ")";
    } else if (K != eSAKReqIsDocTextCurrent) {
      S += V;
    }
    if (O == eEOLike || O == eEOULike) {
      // A pattern that is no text, a number or a date, is matched as text.
      std::string pattern = S.substr(valueAt);
      if (lDatabaseType_ == eDBTPostgreSQL && text::TrimView(pattern).substr(0, 1) != "'")
        pattern = " CAST(" + text::Trim(pattern) + " AS VARCHAR(40))";
      S = S.substr(0, valueAt) + LikePatternToSQL_(pattern);
    }

    // 8. Closers.
    if (emptyCloser) S = "(" + S + std::string(nlOR) + COL + " " + std::string(EQ) + " '' " + ")";
    if (bracketCloser) S += ")";
    if (nullCloser) S += std::string(nlOR) + COL + " " + std::string(IS) + std::string(NULL_) + ")";
    if (zeroCloser) S += std::string(nlOR) + COL + " " + std::string(EQ) + " 0 " + ")";
  });
  return S;
}

}  // namespace vlq
