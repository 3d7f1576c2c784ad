// Values as SQL: the literals of every kind and dialect, the quoting of text,
// the stored forms of date and time attributes, the treatment of each system
// attribute's value, and the time separator tests of date criteria.
#include <gtest/gtest.h>

#include <memory>

#include "engine/mod_main.h"
#include "model/typed_simple_expression.h"
#include "parser/simple_expression.h"
#include "platform/locale_services.h"
#include "sql/query_sql.h"

namespace vlq {
namespace {

DateSerial At(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  return *date_serial::FromCivil({y, mo, d, h, mi, s});
}

TEST(SqlValues, LiteralsOfEveryKind) {
  struct Row {
    Variant value;
    const char* expected;
  };
  const Row rows[] = {
      {Variant(42), "42"},
      {Variant(-7L), "-7"},
      {Variant(2.5), "2.5"},
      {Variant(0.1), "0.1"},
      {Variant(true), "True"},
      {Variant(false), "False"},
      {Variant(), "NULL"},
      {Variant::Null(), "NULL"},
      {Variant("abc"), "'abc'"},
      {Variant("it's"), "'it''s'"},
      {Variant("it''s"), "'it''s'"},  // doubled already: left as it is
      {Variant("'abc'"), "'''abc'''"},
      {Variant("'"), "''''"},
      {Variant("x'"), "'x'''"},
      {Variant(""), "''"},
      {Variant("   "), "''"},
      {Variant("a|b"), "'a\x1a" "b'"},
      {Variant("c:\\dir %_"), "'c:\\dir %_'"},  // LIKE wildcards and backslashes pass
  };
  QuerySql sql;
  for (const Row& row : rows) EXPECT_EQ(sql.ValueToSQL(row.value), row.expected) << row.value.ToText();
}

TEST(SqlValues, DateLiteralsOfEachDialect) {
  const Variant date(At(2003, 4, 5, 13, 7, 9));
  const std::pair<long, const char*> rows[] = {
      {eDBTAccess, "#04-05-2003 13:07:09#"},
      {eDBTAccess2, "#04-05-2003 13:07:09#"},
      {eDBTOracle, " TO_DATE('04/05/2003 13:07:09', 'mm/dd/yyyy HH24:MI:SS')"},
      {eDBTSQLServer, "{ ts '2003-04-05 13:07:09'}"},
      {eDBTDB2, "'2003-04-05-13.07.09'"},
  };
  QuerySql sql;
  for (const auto& [dialect, expected] : rows) {
    sql.DatabaseType(dialect);
    EXPECT_EQ(sql.ValueToSQL(date), expected) << dialect;
  }
  // Midnight and a morning hour keep two digits on the 24-hour clock.
  sql.DatabaseType(eDBTSQLServer);
  EXPECT_EQ(sql.ValueToSQL(Variant(At(1800, 1, 1))), "{ ts '1800-01-01 00:00:00'}");
  EXPECT_EQ(sql.ValueToSQL(Variant(At(1999, 12, 31, 8, 5, 0))), "{ ts '1999-12-31 08:05:00'}");
}

TEST(SqlValues, RealNumbersKeepTheDecimalPointInEveryLocale) {
  modMain::SetLocale(platform::MakeLocaleServices("de-DE"));
  QuerySql sql;
  EXPECT_EQ(sql.ValueToSQL(Variant(1234.5)), "1234.5");
  EXPECT_EQ(sql.ValueToSQL(Variant(-0.25)), "-0.25");
  modMain::SetLocale(platform::MakeLocaleServices("en-US"));
}

// A typed expression as the SQL generation reads it.
std::shared_ptr<TypedSimpleExpression> Expr(const std::string& key, bool system, long dataType,
                                            enumExpressionOperator op, Variant value, long listItemKey = 0) {
  auto e = std::make_shared<TypedSimpleExpression>();
  e->SetSimpleExpression(std::make_shared<SimpleExpression>());
  e->SetAttrKey(key);
  e->SetIsSystemAttr(system);
  e->SetAttrDataType(dataType);
  e->SetOperator(op);
  e->SetValue(std::move(value));
  e->SetListItemKey(listItemKey);
  return e;
}

TEST(SqlValues, ExpressionValuesOfUserAttributes) {
  struct Row {
    std::shared_ptr<TypedSimpleExpression> expr;
    const char* expected;
  };
  const Row rows[] = {
      // Dates as days since 1 January 1901, times as seconds since midnight.
      {Expr("17", false, eADTDate, eEOEquals, "1/1/1901"), " 0"},
      {Expr("17", false, eADTDate, eEOEquals, "1/1/1902"), " 365"},
      {Expr("17", false, eADTDate, eEOEquals, "3/1/1904"), " 1155"},
      {Expr("17", false, eADTDate, eEOEquals, "12/31/1900"), " -1"},
      {Expr("17", false, eADTDate, eEOEquals, Variant(At(1901, 1, 11))), " 10"},
      {Expr("18", false, eADTTime, eEOEquals, "00:00"), " 0"},
      {Expr("18", false, eADTTime, eEOEquals, "12:30"), " 45000"},
      {Expr("18", false, eADTTime, eEOEquals, "23:59:59"), " 86399"},
      {Expr("18", false, eADTTime, eEOEquals, "1:05 PM"), " 47100"},
      {Expr("13", false, eADTText, eEOEquals, "abc"), " 'abc'"},
      {Expr("14", false, eADTWholeNumber, eEOEquals, Variant(7)), " 7"},
      {Expr("16", false, eADTRealNumber, eEOEquals, Variant(0.5)), " 0.5"},
      // A list compares item keys: the single item, or the item of the IN list.
      {Expr("12", false, eADTList, eEOEquals, "High", 34), " 34"},
      {Expr("15", false, eADTMultiSelectList, eEONotEquals, "Red", 34), " 34"},
  };
  QuerySql sql;
  for (const Row& row : rows) {
    EXPECT_EQ(sql.ExprValToSQL(*row.expr, false, 0), row.expected) << row.expr->Value().ToText();
  }
  const auto in = Expr("12", false, eADTList, eEOIN, Variant());
  EXPECT_EQ(sql.ExprValToSQL(*in, false, 35), " 35");
  const auto between = Expr("14", false, eADTWholeNumber, eEOBetween, Variant(1));
  between->SetHighValue(Variant(5));
  EXPECT_EQ(sql.ExprValToSQL(*between, true, 0), " 5");
  const auto dates = Expr("17", false, eADTDate, eEOBetween, "1/1/1901");
  dates->SetHighValue("1/3/1901");
  EXPECT_EQ(sql.ExprValToSQL(*dates, true, 0), " 2");
}

TEST(SqlValues, ExpressionValuesOfSystemAttributes) {
  struct Row {
    long dialect;
    std::shared_ptr<TypedSimpleExpression> expr;
    const char* expected;
  };
  const Row rows[] = {
      // Author: the key, an empty key as 0.
      {eDBTAccess, Expr("-6", true, eADTList, eEOEquals, "Ann", 3), " 3"},
      {eDBTAccess, Expr("-5", true, eADTList, eEOEquals, "<NO ENTRY>", 0), " 0"},
      // Location: a document's key; the database is NULL, -1 is 0.
      {eDBTAccess, Expr("-8", true, eADTList, eEOEquals, "Manual", 7), " 7"},
      {eDBTAccess, Expr("-8", true, eADTList, eEOEquals, "DATABASE", 0), " NULL"},
      {eDBTAccess, Expr("-7", true, eADTList, eEOEquals, "x", -1), " 0"},
      // Revision and suspect date: no entry and no date are 1 January 1800.
      {eDBTAccess, Expr("-17", true, eADTDateTime, eEOLessThan, Variant(At(2003, 4, 5, 13, 7, 9))),
       " #04-05-2003 13:07:09#"},
      {eDBTAccess, Expr("-24", true, eADTDateTime, eEOEquals, "<no entry>"), " #01-01-1800 00:00:00#"},
      {eDBTSQLServer, Expr("-17", true, eADTDateTime, eEOEquals, "nonsense"), " { ts '1800-01-01 00:00:00'}"},
      {eDBTOracle, Expr("-210", true, eADTDateTime, eEOEquals, Variant(At(2003, 4, 5))),
       "  TO_DATE('04/05/2003 00:00:00', 'mm/dd/yyyy HH24:MI:SS')"},
      // The tag in capitals; key scalar: no entry is 0.
      {eDBTAccess, Expr("-2", true, eADTText, eEOEquals, "pr-1"), " 'PR-1'"},
      {eDBTAccess, Expr("-15", true, eADTWholeNumber, eEOEquals, "<No Entry>"), " 0"},
      {eDBTAccess, Expr("-15", true, eADTWholeNumber, eEOEquals, Variant(5)), " 5"},
      // Every other attribute: its value as a literal.
      {eDBTAccess, Expr("-20", true, eADTText, eEOEquals, "it's"), " 'it''s'"},
      {eDBTAccess, Expr("-9", true, eADTText, eEOEquals, "3"), " '3'"},
  };
  QuerySql sql;
  for (const Row& row : rows) {
    sql.DatabaseType(row.dialect);
    EXPECT_EQ(sql.ExprValToSQL(*row.expr, false, 0), row.expected)
        << row.expr->AttrKey() << " " << row.expr->Value().ToText();
  }
  // The items of an IN list on a location.
  sql.DatabaseType(eDBTAccess);
  const auto in = Expr("-8", true, eADTList, eEOIN, Variant());
  EXPECT_EQ(sql.ExprValToSQL(*in, false, 7), " 7");
  EXPECT_EQ(sql.ExprValToSQL(*in, false, 0), " NULL");
}

TEST(SqlValues, TimeAndSecondsOfADateValue) {
  const std::tuple<const char*, bool, bool> rows[] = {
      {"4/5/2003", false, false},
      {"4/5/2003 13:07", true, false},
      {"\"4/5/2003 13:07:09\" AND", true, true},
      {"13:07:", true, true},
      {"", false, false},
  };
  QuerySql sql;
  EXPECT_EQ(sql.GetTimeSeparator_(), ":");
  for (const auto& [value, time, seconds] : rows) {
    EXPECT_EQ(sql.IsTimeSpecified_(value), time) << value;
    EXPECT_EQ(sql.AreSecondsSpecified_(value), seconds) << value;
  }
}

}  // namespace
}  // namespace vlq
