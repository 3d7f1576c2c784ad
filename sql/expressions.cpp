// The boolean part of a WHERE clause: how the criteria lists are joined, how a
// NOT reaches the leaves, and how a value becomes an SQL literal in each
// dialect. The text of one condition comes from SystemAttrExpressionToSQL or
// ReqTypeExpressionToSQL; both take their values from ExprValToSQL here.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

#include "engine/mod_main.h"
#include "model/date_serial.h"
#include "model/text_util.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/token.h"
#include "sql/query_sql.h"
#include "sql/sql_value_conversions.h"
#include "sql/sql_vocabulary.h"

namespace vlq {

using namespace sqlv;

namespace sqlconv {

bool IsNoEntry(const Variant& value) { return value.IsText() && text::EqualsNoCase(value.Text(), NO_ENTRY); }

std::optional<DateSerial> AsDate(const Variant& value) {
  if (value.IsDate()) return value.Date();
  if (value.IsNumber()) return DateSerial{value.Real()};
  if (value.IsText()) return modMain::Locale().TextToDate(value.Text());
  return std::nullopt;
}

DateSerial ToDate(const Variant& value, std::string_view sSource) {
  const auto date = AsDate(value);
  if (!date) throw Failure(13, std::string(sSource), "Type mismatch: '" + value.ToText() + "' is no date");
  return *date;
}

long ToLong(const Variant& value, std::string_view sSource) {
  double number = 0.0;
  if (value.IsNumber() || value.IsBoolean()) {
    number = value.IsBoolean() ? (value.Boolean() ? -1.0 : 0.0) : value.Real();
  } else if (value.IsText()) {
    const auto parsed = modMain::Locale().TextToNumber(value.Text());
    if (!parsed) throw Failure(13, std::string(sSource), "Type mismatch: '" + value.Text() + "' is no number");
    number = *parsed;
  } else if (value.IsEmpty()) {
    number = 0.0;
  } else {
    throw Failure(94, std::string(sSource), "Invalid use of Null");
  }
  // Halves go to the even neighbour, as the conversion of the query language does.
  const double rounded = std::nearbyint(number);
  if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) {
    throw Failure(6, std::string(sSource), "Overflow: " + value.ToText());
  }
  return static_cast<long>(rounded);
}

std::string JoinInTerms(const std::vector<std::string>& terms, std::string_view connector) {
  constexpr std::size_t kGroup = 64;
  std::vector<std::string> level = terms;
  while (level.size() > kGroup) {
    std::vector<std::string> groups;
    for (std::size_t i = 0; i < level.size(); i += kGroup) {
      std::string group = "(";
      for (std::size_t j = i; j < std::min(level.size(), i + kGroup); ++j) {
        if (j > i) group += connector;
        group += level[j];
      }
      groups.push_back(group + ")");
    }
    level = std::move(groups);
  }
  std::string joined;
  for (std::size_t i = 0; i < level.size(); ++i) {
    if (i > 0) joined += connector;
    joined += level[i];
  }
  return joined;
}

}  // namespace sqlconv

namespace {

// A decimal number as SQL writes one: a sign, digits with a point, an
// exponent; blanks around it.
bool IsPlainNumber(std::string_view sText) {
  const std::string_view t = text::TrimView(sText);
  std::size_t i = 0;
  if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
  if (i < t.size() && t[i] == '.') {
    ++i;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    std::size_t exponent = 0;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9' && exponent < 4) ++i, ++exponent;
    if (exponent == 0) return false;
  }
  return i == t.size();
}

std::string TwoDigits(int value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%02d", value);
  return buffer;
}

std::string FourDigits(int value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%04d", value);
  return buffer;
}

// The string literal: vertical bars become the character 26, single quotes are
// doubled where they stand alone, and the text is put in quotes.
std::string QuoteText(std::string_view sText) {
  std::string s;
  s.reserve(sText.size() + 2);
  for (char c : sText) s += c == '|' ? '\x1a' : c;

  std::string doubled;
  doubled.reserve(s.size() + 4);
  for (std::size_t i = 0; i < s.size(); ++i) {
    doubled += s[i];
    if (s[i] != '\'') continue;
    // A pair that is there already stands; a lone quote gets its partner.
    doubled += '\'';
    if (i + 1 < s.size() && s[i + 1] == '\'') ++i;
  }

  if (text::TrimView(doubled).empty()) return "''";
  const bool startsWithPair = doubled.size() >= 2 && doubled[0] == '\'' && doubled[1] == '\'';
  if (startsWithPair || doubled.front() != '\'') doubled.insert(doubled.begin(), '\'');
  const std::size_t n = doubled.size();
  const bool endsWithPair = n >= 2 && doubled[n - 1] == '\'' && doubled[n - 2] == '\'';
  if (endsWithPair || doubled.back() != '\'') doubled += '\'';
  return doubled;
}

// A comparison of the hierarchy level that can cut a finished tree.
bool IsTreeLevelComparison(const TypedSimpleExpression& oExpr) {
  if (!oExpr.IsSystemAttr() || oExpr.ExprNot() || oExpr.BaseType() != eBTRequirements) return false;
  if (oExpr.AttrKey() != std::to_string(static_cast<int>(eSAKReqHierLevel))) return false;
  switch (oExpr.Operator()) {
    case eEOEquals:
    case eEONotEquals:
    case eEOLessThan:
    case eEOLessThanOrEqual:
    case eEOGreaterThan:
    case eEOGreaterThanOrEqual:
    case eEOBetween:
      return true;
    default:
      return false;
  }
}

// The level comparisons that every hit of the list must meet: reached
// through AND alone, with no NOT on the way. Elsewhere (beside an OR, under
// a NOT) a level can only narrow the search, as it does without a tree.
void CollectTreeLevelExprs(const TypedComplexExpression& oExpr, std::set<const TypedSimpleExpression*>& found) {
  const auto* tokens = oExpr.Tokens();
  if (tokens == nullptr) return;
  for (const auto& oToken : *tokens) {
    if (oToken && oToken->TokenType() == eTTOrConnector) return;
  }
  bool notPending = false;
  for (const auto& oToken : *tokens) {
    if (!oToken) continue;
    switch (oToken->TokenType()) {
      case eTTNotOperator:
        notPending = true;
        break;
      case eTTTypedExpression:
        if (const auto oSimple = oToken->AsTypedSimpleExpression();
            oSimple && !notPending && IsTreeLevelComparison(*oSimple)) {
          found.insert(oSimple.get());
        }
        notPending = false;
        break;
      case eTTTypedCompExpression:
        if (const auto oInner = oToken->AsTypedComplexExpression(); oInner && !notPending) {
          CollectTreeLevelExprs(*oInner, found);
        }
        notPending = false;
        break;
      default:
        break;
    }
  }
}

}  // namespace

// The expressions of a collection are joined with AND.
enumQueryEngineError QuerySql::ExpressionsToSQL(const Collection<std::shared_ptr<TypedComplexExpression>>& cExprs,
                                                std::string& sSql, bool bNot, eExpressionContext eContext) {
  sSql.clear();
  modMain::HandleAndLeave("QuerySql.ExpressionsToSQL", [&] {
    if (eContext == eContextBase) {
      // The level terms are found anew for each statement of the search.
      HierLevelTerms.clear();
      treeLevelExprs_.clear();
      if (bRetainHierarchy_ && !bNot) {
        for (const auto& oExpr : cExprs) {
          if (oExpr) CollectTreeLevelExprs(*oExpr, treeLevelExprs_);
        }
      }
    }
    if (cExprs.Empty()) return;
    const bool several = cExprs.Count() > 1;
    if (several) sSql += "(";
    bool first = true;
    for (const auto& oExpr : cExprs) {
      if (!first) sSql += std::string(nlAND) + "(";
      sSql += " ";
      if (oExpr) sSql += ComplexExpressionToSQL(*oExpr, bNot, eContext);
      if (!first) sSql += ")";
      first = false;
    }
    if (several) sSql += ")";
  });
  return eQEENone;
}

// A NOT is not written: it is pushed down to the leaves by De Morgan's rule,
// flipping the connectors of the sub-list it stands before and the ExprNot of
// each expression in it while that expression's text is written.
//
// bNot is the negation that reaches this whole list from outside. A NOT token
// negates the one sub-list behind it and nothing after that sub-list: NOT (a)
// AND b is (not a) AND b. Under a negation a nested NOT doesn't negate again.
std::string QuerySql::ComplexExpressionToSQL(const TypedComplexExpression& oExpr, bool& bNot,
                                             eExpressionContext eContext) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.ComplexExpressionToSQL", [&] {
    const auto* tokens = oExpr.Tokens();
    if (tokens == nullptr) return;
    const bool outerNot = bNot;
    bool notPending = false;
    const bool several = tokens->Count() > 1;
    if (several) s += "(";
    for (const auto& oToken : *tokens) {
      if (!oToken) continue;
      switch (oToken->TokenType()) {
        case eTTNotOperator:
          notPending = true;
          break;
        case eTTAndConnector:
          s += " ";
          s += outerNot ? nlOR : nlAND;
          break;
        case eTTOrConnector:
          s += " ";
          s += outerNot ? nlAND : nlOR;
          break;
        case eTTTypedExpression:
          if (auto oSimple = oToken->AsTypedSimpleExpression()) {
            const bool flip = outerNot || notPending;
            notPending = false;
            if (flip) oSimple->SetExprNot(!oSimple->ExprNot());
            s += SimpleExpressionToSQL(*oSimple, eContext);
            // The negation belongs to this statement: the expression that the
            // caller's query definition holds keeps its own NOT, so the query
            // writes back as it was read and a second build gives the same text.
            if (flip) oSimple->SetExprNot(!oSimple->ExprNot());
          }
          break;
        case eTTTypedCompExpression:
          if (auto oInner = oToken->AsTypedComplexExpression()) {
            bool innerNot = outerNot || notPending;
            notPending = false;
            s += "(";
            s += ComplexExpressionToSQL(*oInner, innerNot, eContext);
            s += ")";
          }
          break;
        default:
          break;
      }
    }
    if (several) s += ")";
  });
  return s;
}

std::string QuerySql::SimpleExpressionToSQL(TypedSimpleExpression& oExpr, eExpressionContext eContext) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.SimpleExpressionToSQL", [&] {
    if (oExpr.IsSystemAttr()) {
      s = SystemAttrExpressionToSQL(oExpr, eContext);
      return;
    }
    s = ReqTypeExpressionToSQL(oExpr);
    // The base statement and the tree order's level statements join the
    // views of the base criteria; a destination's criteria stand in a
    // subquery with joins of its own.
    if (eContext == eContextBase) cAttrViewKeys_.Add(oExpr.AttrKey());
    // A multi-select list of the base type can put a requirement into several
    // rows: the statement then selects the minimum and groups. Destination
    // criteria of a relationship and other projects stand in subqueries.
    if (eContext == eContextBase && oExpr.AttrDataType() == eADTMultiSelectList && !NeedsMinAggregate &&
        oExpr.ProjStruSpec().IsBaseProjStruSpec()) {
      NeedsMinAggregate = true;
    }
  });
  return s;
}

// The value of an expression as SQL, behind one blank.
std::string QuerySql::ExprValToSQL(const TypedSimpleExpression& oExpr, bool bHighValue, long lListItemKey) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.ExprValToSQL", [&] {
    const long type = oExpr.AttrDataType();
    Variant value;
    if (bHighValue)
      value = oExpr.HighValue();
    else if (type != eADTList && type != eADTMultiSelectList)
      value = oExpr.Value();
    else
      value = oExpr.Operator() == eEOIN ? Variant(lListItemKey) : Variant(oExpr.ListItemKey());
    s = ExprValueToSQL_(oExpr, value);
  });
  return s;
}

// A value of an expression's attribute as SQL, behind one blank: the stored
// form of the attribute's data type, as a literal of the dialect.
std::string QuerySql::ExprValueToSQL_(const TypedSimpleExpression& oExpr, Variant value) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.ExprValToSQL", [&] {
    constexpr std::string_view source = "QuerySql.ExprValToSQL";
    const long type = oExpr.AttrDataType();
    if (!oExpr.IsSystemAttr()) {
      // Date and time attributes hold whole numbers: days since 1 January 1901
      // and seconds since midnight.
      if (type == eADTDate) {
        value = Variant(static_cast<long long>(date_serial::DaysSince1901(sqlconv::ToDate(value, source))));
      } else if (type == eADTTime) {
        value = Variant(static_cast<long long>(date_serial::SecondsSinceMidnight(sqlconv::ToDate(value, source))));
      }
      s = " " + ValueToSQL(value);
      return;
    }

    long key = 0;
    const std::string& sKey = oExpr.AttrKey();
    if (text::IsDecimalWhole(sKey)) key = std::stol(sKey);
    switch (key) {
      case eSAKReqAuthorName:
      case eSAKReqAuthorKey:
        // An empty value reads as 0.
        s = " " + ValueToSQL(Variant(sqlconv::ToLong(Variant("0" + value.ToText()), source)));
        break;
      case eSAKReqLocationName:
      case eSAKReqLocationKey: {
        // 0 is the database itself, which the store records as no document.
        std::optional<double> number;
        if (value.IsNumber())
          number = value.Real();
        else if (value.IsText())
          number = modMain::Locale().TextToNumber(value.Text());
        if (number && *number > 0) {
          s = " " + ValueToSQL(Variant(sqlconv::ToLong(Variant("0" + value.ToText()), source)));
        } else if (number && *number == -1) {
          s = " 0";
        } else {
          s = " NULL";
        }
        break;
      }
      case eSAKReqRevDateTime:
      case eSAKReqSuspectDateTime: {
        // The columns hold 1 January 1800 where there is no date.
        const auto date = sqlconv::IsNoEntry(value) ? std::nullopt : sqlconv::AsDate(value);
        s = " " + ValueToSQL(Variant(date ? *date : DateSerial{-36522.0}));
        break;
      }
      case eSAKDiscSubmitDate:
        s = " " + ValueToSQL(Variant(sqlconv::ToDate(value, source)));
        break;
      case eSAKReqTag:
        s = " " + ValueToSQL(Variant(text::Upper(value.ToText())));
        break;
      case eSAKReqKeyScalar:
        s = sqlconv::IsNoEntry(value) ? " 0" : " " + ValueToSQL(value);
        break;
      case eSAKReqRevision: {
        // The revision is a number that the query writes as text. A text that
        // reads as a number compares as that number; any other text stands
        // above every number, as the databases that compare mixed values
        // order them. PostgreSQL compares a number with a number only, so
        // there the value is written as one: the text's number, or one above
        // every revision. A pattern stays text.
        const std::string written = value.ToText();
        const bool pattern = oExpr.Operator() == eEOLike || oExpr.Operator() == eEOULike;
        if (lDatabaseType_ != eDBTPostgreSQL || pattern || !value.IsText()) {
          s = " " + ValueToSQL(value);
        } else {
          s = IsPlainNumber(written) ? " " + std::string(text::TrimView(written)) : " 9300000000000000000";
        }
        break;
      }
      default:
        s = " " + ValueToSQL(value);
        break;
    }
  });
  return s;
}

// A value as an SQL literal of the dialect.
std::string QuerySql::ValueToSQL(const Variant& value) {
  std::string s;
  modMain::HandleAndLeave("QuerySql.ValueToSQL", [&] {
    switch (value.kind()) {
      case Variant::Kind::Whole:
        s = std::to_string(value.Whole());
        break;
      case Variant::Kind::Real:
        s = modMain::Locale().FormatNumber(value.Real(), 3, 1);
        break;
      case Variant::Kind::Boolean:
        s = std::string(value.Boolean() ? TRUE_ : FALSE_);
        break;
      case Variant::Kind::Text:
        s = QuoteText(value.Text());
        break;
      case Variant::Kind::Date: {
        const CivilDateTime c = date_serial::ToCivil(value.Date());
        const std::string time = TwoDigits(c.hour) + ":" + TwoDigits(c.minute) + ":" + TwoDigits(c.second);
        switch (lDatabaseType_) {
          case eDBTAccess:
          case eDBTAccess2:
            s = "#" + TwoDigits(c.month) + "-" + TwoDigits(c.day) + "-" + FourDigits(c.year) + " " + time + "#";
            break;
          case eDBTOracle:
            s = " " + std::string(TO_DATE) + "('" + TwoDigits(c.month) + "/" + TwoDigits(c.day) + "/" +
                FourDigits(c.year) + " " + time + "', 'mm/dd/yyyy HH24:MI:SS')";
            break;
          case eDBTSQLServer:
            s = "{ ts '" + FourDigits(c.year) + "-" + TwoDigits(c.month) + "-" + TwoDigits(c.day) + " " + time + "'}";
            break;
          case eDBTDB2:
            s = "'" + FourDigits(c.year) + "-" + TwoDigits(c.month) + "-" + TwoDigits(c.day) + "-" +
                TwoDigits(c.hour) + "." + TwoDigits(c.minute) + "." + TwoDigits(c.second) + "'";
            break;
          case eDBTPostgreSQL:
            s = "TIMESTAMP '" + FourDigits(c.year) + "-" + TwoDigits(c.month) + "-" + TwoDigits(c.day) + " " + time +
                "'";
            break;
          default:
            break;
        }
        break;
      }
      default:
        s = std::string(NULL_);
        break;
    }
  });
  return s;
}

std::string QuerySql::LikePatternToSQL_(const std::string& sLiteral) const {
  if (lDatabaseType_ != eDBTPostgreSQL) return sLiteral;
  std::string s;
  s.reserve(sLiteral.size() + 12);
  for (char c : sLiteral) {
    s += c;
    if (c == '\\') s += c;
  }
  return s + " ESCAPE '\\'";
}

// The time separator of the locale, read once. Where the locale gives none the
// separator is 25 blanks, which no value holds.
std::string QuerySql::GetTimeSeparator_() {
  if (!bTimeSeparatorRead_) {
    std::string separator(25, ' ');
    modMain::HandleAndLeave("QuerySql.GetTimeSeparator_", [&] {
      const std::string info = modMain::Locale().LocaleInfo(30);
      if (!info.empty() && info.size() < 25) separator = info;
    });
    sTimeSeparator_ = separator;
    bTimeSeparatorRead_ = true;
  }
  return sTimeSeparator_;
}

namespace {

// The parts of a time of day that a date value writes, the value as the query
// wrote it (bare or quoted). The locale reads the text: its time separator
// may stand in its dates too (fi-FI writes 1.2.2000 13.07).
int TimePartsWritten(std::string_view sWritten) {
  std::string value(text::TrimView(sWritten));
  if (!value.empty() && value.front() == '"') {
    long consumed = 0;
    value = modMain::ExtractQueryBaseCriteria(value, consumed, false);
  }
  return modMain::Locale().TimePartsWritten(value);
}

}  // namespace

bool QuerySql::IsTimeSpecified_(std::string_view sValue) { return TimePartsWritten(sValue) >= 2; }

bool QuerySql::AreSecondsSpecified_(std::string_view sValue) { return TimePartsWritten(sValue) >= 3; }

}  // namespace vlq
