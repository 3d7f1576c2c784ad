// The condition texts of single expressions, byte for byte: user attributes of
// every kind with their NULL terms, and the system attributes with forms of
// their own, in the dialects where they differ.
#include <gtest/gtest.h>

#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

struct ConditionRow {
  const char* dbmsnamecode;
  const char* schema;
  const char* criteria;
  const char* expected;
};

class GoldenConditions : public ::testing::Test {
 protected:
  void SetUp() override {
    test::AddWorkedExampleAttributes(store);
    store.InsertRow("VLDOCUMENTS", {{"ID", 7}, {"NAME", "Manual"}, {"GUID", "{D7}"}});
  }

  // The condition that the builder writes for the one expression of the
  // criteria, read through the engine's typing of the query.
  std::string Condition(const ConditionRow& row) {
    std::shared_ptr<platform::StoreProjectManager> manager;
    auto project = test::OpenAs(store, row.dbmsnamecode, row.schema, manager);
    QueryEngine engine;
    std::string info;
    std::shared_ptr<QueryDef> def;
    const std::string query = std::string("ReqType.Prefix(PR) PR.Criteria(") + row.criteria + ")";
    EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, query, info, def), eQEENone) << info;
    if (!def || def->ComplexExpressions().Empty()) return "<no typed expression>";
    std::vector<std::shared_ptr<TypedSimpleExpression>> simple;
    test::CollectSimple(**def->ComplexExpressions().Item(1), simple);
    if (simple.size() != 1) return "<not one expression>";
    QuerySql sql;
    sql.BaseProject(project);
    return simple[0]->IsSystemAttr() ? sql.SystemAttrExpressionToSQL(*simple[0], eContextBase)
                                     : sql.ReqTypeExpressionToSQL(*simple[0]);
  }

  void Check(const ConditionRow (&rows)[], std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(Condition(rows[i]), rows[i].expected) << rows[i].criteria << " on " << rows[i].dbmsnamecode;
    }
  }

  test::StoreFixture store;
};

// Text 13, list 12, whole number 14, multi-select list 15, on Access.
TEST_F(GoldenConditions, UserAttributes) {
  const ConditionRow rows[] = {
      {"1", "", "Desc = abc", " (VLATTRVALUESVIEW_13.FIELDVALUE = 'abc')"},
      {"1", "", "Not Desc = \"<no entry>\"", " (( NOT  (VLATTRVALUESVIEW_13.FIELDVALUE  IS NULL)))"},
      {"1", "", "Priority = High", " (VLATTRVALUESVIEW_12.LISTITEMID = 34)"},
      {"1", "", "Priority = \"<NO ENTRY>\"", " (VLATTRVALUESVIEW_12.LISTITEMID  IS NULL)"},
      {"1", "", "Desc <> abc",
       " (VLATTRVALUESVIEW_13.FIELDVALUE <> 'abc'\r\nOR VLATTRVALUESVIEW_13.FIELDVALUE IS NULL)"},
      {"1", "", "Not Desc = abc",
       " (( NOT  (VLATTRVALUESVIEW_13.FIELDVALUE = 'abc'))\r\nOR VLATTRVALUESVIEW_13.FIELDVALUE IS NULL)"},
      {"1", "", "Num Between 1 And 5", " (VLATTRVALUESVIEW_14.FIELDVALUE  BETWEEN   1 \r\nAND  5)"},
      {"1", "", "Not Priority = High",
       " (( NOT  (VLATTRVALUESVIEW_12.LISTITEMID = 34 \r\nOR ( VLATTRVALUESVIEW_12.LISTITEMID IS NULL))))"},
      {"1", "", "Priority In High, Medium",
       " ((VLATTRVALUESVIEW_12.LISTITEMID= 34 \r\nOR VLATTRVALUESVIEW_12.LISTITEMID= 35))"},
      {"1", "", "Priority In High, \"<NO ENTRY>\"",
       " ((VLATTRVALUESVIEW_12.LISTITEMID= 34 \r\nOR VLATTRVALUESVIEW_12.LISTITEMID IS NULL))"},
      {"1", "", "Not Priority In High, Medium",
       " (( NOT  ((VLATTRVALUESVIEW_12.LISTITEMID= 34 \r\nOR VLATTRVALUESVIEW_12.LISTITEMID= 35)) \r\n"
       "OR ( VLATTRVALUESVIEW_12.LISTITEMID IS NULL)))"},
      {"1", "", "Not Tags In Red, Blue",
       " ((VLREQUIREMENTS.ID NOT IN (SELECT VLREQUIREMENTS.ID\r\nFROM VLREQUIREMENTS\r\n"
       "LEFT JOIN VLATTRVALUESVIEW_15\r\nON VLREQUIREMENTS.ID = VLATTRVALUESVIEW_15.REQUIREMENTID\r\n"
       "WHERE (VLATTRVALUESVIEW_15.LISTITEMID= 34 \r\nOR VLATTRVALUESVIEW_15.LISTITEMID= 35)) \r\n"
       "OR ( VLATTRVALUESVIEW_15.LISTITEMID IS NULL)))"},
      // Only no entry: an IS NULL test in brackets.
      {"1", "", "Priority In \"<NO ENTRY>\"", " ((VLATTRVALUESVIEW_12.LISTITEMID IS NULL))"},
      // NOT IN with no entry among the items: the negation excludes it, no NULL term.
      {"1", "", "Not Priority In High, \"<NO ENTRY>\"",
       " (( NOT  ((VLATTRVALUESVIEW_12.LISTITEMID= 34 \r\nOR VLATTRVALUESVIEW_12.LISTITEMID IS NULL))))"},
      // The NULL term after the negation, and none for a negated "<".
      {"1", "", "Not Num > 3",
       " (( NOT  (VLATTRVALUESVIEW_14.FIELDVALUE > 3))\r\nOR VLATTRVALUESVIEW_14.FIELDVALUE IS NULL)"},
      {"1", "", "Not Num < 3", " (( NOT  (VLATTRVALUESVIEW_14.FIELDVALUE < 3)))"},
      {"1", "", "Num <= 3", " (VLATTRVALUESVIEW_14.FIELDVALUE <= 3\r\nOR VLATTRVALUESVIEW_14.FIELDVALUE IS NULL)"},
      {"1", "", "Desc Like \"a%\"", " (VLATTRVALUESVIEW_13.FIELDVALUE  LIKE   'a%')"},
      // Dates and times compare as whole numbers; reals in plain decimals.
      {"1", "", "Due = 1/2/1901", " (VLATTRVALUESVIEW_17.FIELDVALUE = 1)"},
      {"1", "", "At >= 12:30", " (VLATTRVALUESVIEW_18.FIELDVALUE >= 45000)"},
      {"1", "", "Weight = 2.5", " (VLATTRVALUESVIEW_16.FIELDVALUE = 2.5)"},
      // Names of the view through the schema of the dialect.
      {"5", "PROJ1.", "Desc = abc", " (PROJ1.VLATTRVALUESVIEW_13.FIELDVALUE = 'abc')"},
  };
  Check(rows, std::size(rows));
}

TEST_F(GoldenConditions, SystemAttributes) {
  const ConditionRow rows[] = {
      // Case-blind on Oracle, with the NULL test of a negated comparison.
      {"3", "PROJ1.", "Reason = abc", " UPPER(PROJ1.VLREQUIREMENTS.VERSIONREASON)= 'ABC'"},
      {"3", "PROJ1.", "Reason <> abc",
       " ( UPPER(PROJ1.VLREQUIREMENTS.VERSIONREASON)<> 'ABC'\r\nOR UPPER(PROJ1.VLREQUIREMENTS.VERSIONREASON) IS NULL)"},
      {"1", "", "Reason <> abc", " ( VLREQUIREMENTS.VERSIONREASON<> 'abc'\r\nOR VLREQUIREMENTS.VERSIONREASON IS NULL)"},
      // The database as location is no document: no value, or the key 0.
      {"1", "", "Location = DATABASE",
       " (VLREQUIREMENTS.BOOKMARKDOCUMENTID IS NULL OR VLREQUIREMENTS.BOOKMARKDOCUMENTID= 0)"},
      {"1", "", "Location = Manual", " VLREQUIREMENTS.BOOKMARKDOCUMENTID= 7"},
      {"1", "", "Location In DATABASE, Manual",
       " ((VLREQUIREMENTS.BOOKMARKDOCUMENTID IS NULL OR VLREQUIREMENTS.BOOKMARKDOCUMENTID= 0) \r\n"
       "OR VLREQUIREMENTS.BOOKMARKDOCUMENTID= 7)"},
      // The complement takes a requirement without a document in, unless the
      // list names the database.
      {"1", "", "Not Location In Manual",
       " (NOT (VLREQUIREMENTS.BOOKMARKDOCUMENTID= 7) OR VLREQUIREMENTS.BOOKMARKDOCUMENTID IS NULL)"},
      {"1", "", "Location <> DATABASE",
       " (NOT (VLREQUIREMENTS.BOOKMARKDOCUMENTID IS NULL OR VLREQUIREMENTS.BOOKMARKDOCUMENTID= 0))"},
      // What a requirement holds many of is a membership test.
      {"1", "", "PackageKey In 1, 2",
       " (VLREQUIREMENTS.ID IN (SELECT VLPACKAGEELEMENTS.REQUIREMENTID FROM VLPACKAGEELEMENTS WHERE "
       "(VLPACKAGEELEMENTS.PACKAGEID= 1 OR VLPACKAGEELEMENTS.PACKAGEID= 2)))"},
      {"3", "PROJ1.", "Not PackageName Like \"a%\"",
       " (NOT (PROJ1.VLREQUIREMENTS.ID IN (SELECT PROJ1.VLPACKAGEELEMENTS.REQUIREMENTID FROM "
       "PROJ1.VLPACKAGEELEMENTS, PROJ1.VLPACKAGES WHERE PROJ1.VLPACKAGEELEMENTS.PACKAGEID=PROJ1.VLPACKAGES.ID AND "
       "(UPPER(PROJ1.VLPACKAGES.NAME) LIKE  'A%'))))"},
      {"1", "", "PackageKey = 0",
       " (VLREQUIREMENTS.ID NOT IN (SELECT VLPACKAGEELEMENTS.REQUIREMENTID FROM VLPACKAGEELEMENTS))"},
      // No entry on a name: NOT around an IS NULL test; on SQL Server the
      // empty text counts too, inside the same NOT.
      {"1", "", "Name <> \"<NO ENTRY>\"", " NOT  ( VLREQUIREMENTS.REQUIREMENTNAME IS  NULL)"},
      {"5", "", "Name <> \"<NO ENTRY>\"",
       "( NOT  ( VLREQUIREMENTS.REQUIREMENTNAME IS  NULL\r\nOR VLREQUIREMENTS.REQUIREMENTNAME = '' ))"},
      {"1", "", "Name = \"<NO ENTRY>\"", " VLREQUIREMENTS.REQUIREMENTNAME IS  NULL"},
      // A bare date is the whole day, a time without seconds the whole minute.
      {"1", "", "DateTime = 4/5/2003",
       " VLREQUIREMENTS.VERSIONDATETIME BETWEEN   #04-05-2003 00:00:00# \r\nAND  #04-05-2003 23:59:59#"},
      {"1", "", "DateTime = \"4/5/2003 13:07:09\"", " VLREQUIREMENTS.VERSIONDATETIME= #04-05-2003 13:07:09#"},
      {"1", "", "DateTime = \"4/5/2003 13:07\"",
       " VLREQUIREMENTS.VERSIONDATETIME BETWEEN   #04-05-2003 13:07:00# \r\nAND  #04-05-2003 13:07:59#"},
      {"1", "", "DateTime <= 4/5/2003", " VLREQUIREMENTS.VERSIONDATETIME<= #04-05-2003 23:59:59#"},
      {"1", "", "DateTime > \"4/5/2003 13:07\"", " VLREQUIREMENTS.VERSIONDATETIME> #04-05-2003 13:07:59#"},
      {"1", "", "DateTime >= 4/5/2003", " VLREQUIREMENTS.VERSIONDATETIME>= #04-05-2003 00:00:00#"},
      {"5", "", "DateTime = \"4/5/2003 13:07:09\"", " VLREQUIREMENTS.VERSIONDATETIME= { ts '2003-04-05 13:07:09'}"},
      {"7", "", "DateTime = \"4/5/2003 13:07:09\"", " VLREQUIREMENTS.VERSIONDATETIME= '2003-04-05-13.07.09'"},
      {"3", "", "DateTime = \"4/5/2003 13:07:09\"",
       " VLREQUIREMENTS.VERSIONDATETIME=  TO_DATE('04/05/2003 13:07:09', 'mm/dd/yyyy HH24:MI:SS')"},
      // No entry as a date is 1 January 1800, the whole of that day.
      {"1", "", "SuspectDateTime = \"<NO ENTRY>\"",
       " VLREQUIREMENTS.SUSPECTDATETIME BETWEEN   #01-01-1800 00:00:00# \r\nAND  #01-01-1800 00:00:00#"},
      // The root tag number: the leading levels by "=", the operator on the last.
      {"1", "", "RootTag# = 1.2",
       "   IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >9, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10)), -1)=1 AND "
       "  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >19, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 11, 10)), -1)= 2"},
      {"5", "", "RootTag# > 3", "   CONVERT(int, SUBSTRING(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10))> 3"},
      {"3", "", "RootTag# > 3", "   VL_STR_TO_NUMBER(SUBSTR(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10))> 3"},
      {"7", "", "RootTag# > 3", "   DECIMAL(SUBSTR(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10))> 3"},
      {"1", "", "HierLevel = 2", " ((LEN(VLREQUIREMENTS.LONGTAGNUMBER) / 10) - 1)= 2"},
      {"5", "", "HierLevel = 2", " ((DATALENGTH(VLREQUIREMENTS.LONGTAGNUMBER) / 10) - 1)= 2"},
      // PostgreSQL: standard forms, a pattern with its escape character.
      {"8", "", "DateTime = \"4/5/2003 13:07:09\"", " VLREQUIREMENTS.VERSIONDATETIME= TIMESTAMP '2003-04-05 13:07:09'"},
      {"8", "", "DateTime = 4/5/2003",
       " VLREQUIREMENTS.VERSIONDATETIME BETWEEN   TIMESTAMP '2003-04-05 00:00:00' \r\nAND  TIMESTAMP '2003-04-05 "
       "23:59:59'"},
      {"8", "", "RootTag# = 1.2",
       "   CASE WHEN CHAR_LENGTH(VLREQUIREMENTS.LONGTAGNUMBER) >9 THEN CAST(SUBSTRING(VLREQUIREMENTS.LONGTAGNUMBER "
       "FROM 1 "
       "FOR 10) AS BIGINT) ELSE -1 END=1 AND   CASE WHEN CHAR_LENGTH(VLREQUIREMENTS.LONGTAGNUMBER) >19 THEN "
       "CAST(SUBSTRING(VLREQUIREMENTS.LONGTAGNUMBER FROM 11 FOR 10) AS BIGINT) ELSE -1 END= 2"},
      {"8", "", "HierLevel = 2", " ((CHAR_LENGTH(VLREQUIREMENTS.LONGTAGNUMBER) / 10) - 1)= 2"},
      {"8", "", "IsDocTextCurrent = False",
       "(((VLREQUIREMENTS.FLAGS & 1)<>0\r\nOR (VLREQUIREMENTS.FLAGS & 4)<>0\r\nOR (VLREQUIREMENTS.FLAGS & 16)<>0))"},
      {"8", "", "IsDocTextCurrent <> True",
       " ( NOT  ((((VLREQUIREMENTS.FLAGS & 1)=0\r\nAND (VLREQUIREMENTS.FLAGS & 4)=0\r\nAND (VLREQUIREMENTS.FLAGS & "
       "16)=0)))"
       "\r\nOR VLREQUIREMENTS.FLAGS IS NULL)"},
      {"8", "PROJ1.", "Desc Like \"a\\b%\"", " (PROJ1.VLATTRVALUESVIEW_13.FIELDVALUE  LIKE   'a\\\\b%' ESCAPE '\\')"},
      {"8", "", "Name ULike \"a_%\"", " VLREQUIREMENTS.REQUIREMENTNAME LIKE   'A_%' ESCAPE '\\'"},
      {"8", "", "DocPosition Like 3",
       " CAST(VLREQUIREMENTS.DOCUMENTPOSITION AS VARCHAR(40)) LIKE   CAST(3 AS VARCHAR(40)) ESCAPE '\\'"},
      {"8", "", "Num Like 5", " (CAST(VLATTRVALUESVIEW_14.FIELDVALUE AS VARCHAR(40))  LIKE   '5' ESCAPE '\\')"},
      {"8", "", "PackageName Like \"a%\"",
       " (VLREQUIREMENTS.ID IN (SELECT VLPACKAGEELEMENTS.REQUIREMENTID FROM VLPACKAGEELEMENTS INNER JOIN VLPACKAGES ON "
       "VLPACKAGEELEMENTS.PACKAGEID=VLPACKAGES.ID WHERE (VLPACKAGES.NAME LIKE  'a%' ESCAPE '\\')))"},
      // The document flags 1, 4 and 16.
      {"1", "", "IsDocTextCurrent = False",
       "(((VLREQUIREMENTS.FLAGS\\1) MOD 2)=1\r\nOR ((VLREQUIREMENTS.FLAGS\\4) MOD 2)=1\r\n"
       "OR ((VLREQUIREMENTS.FLAGS\\16) MOD 2)=1)"},
      {"1", "", "IsDocTextCurrent = True",
       "(NOT ((VLREQUIREMENTS.FLAGS\\1) MOD 2)=1\r\nAND NOT ((VLREQUIREMENTS.FLAGS\\4) MOD 2)=1\r\n"
       "AND NOT ((VLREQUIREMENTS.FLAGS\\16) MOD 2)=1)"},
      {"3", "", "IsDocTextCurrent = True",
       "(((BITAND(VLREQUIREMENTS.FLAGS, 1)!=1) \r\nAND (BITAND(VLREQUIREMENTS.FLAGS, 4)!=4)\r\n"
       "AND (BITAND(VLREQUIREMENTS.FLAGS, 16)!=16)))"},
      {"5", "", "IsDocTextCurrent = False",
       "((VLREQUIREMENTS.FLAGS=VLREQUIREMENTS.FLAGS|1\r\nOR VLREQUIREMENTS.FLAGS=VLREQUIREMENTS.FLAGS|4\r\n"
       "OR VLREQUIREMENTS.FLAGS=VLREQUIREMENTS.FLAGS|16))"},
      // Access2 takes the Access form, DB2 a form of its own; "<>" negates.
      {"4", "", "IsDocTextCurrent = False",
       "(((VLREQUIREMENTS.FLAGS\\1) MOD 2)=1\r\nOR ((VLREQUIREMENTS.FLAGS\\4) MOD 2)=1\r\n"
       "OR ((VLREQUIREMENTS.FLAGS\\16) MOD 2)=1)"},
      {"7", "", "IsDocTextCurrent = True",
       "(((BITAND(VLREQUIREMENTS.FLAGS, 1)<>1) \r\nAND (BITAND(VLREQUIREMENTS.FLAGS, 4)<>4)\r\n"
       "AND (BITAND(VLREQUIREMENTS.FLAGS, 16)<>16)))"},
      {"1", "", "IsDocTextCurrent <> True",
       " ( NOT  ((NOT ((VLREQUIREMENTS.FLAGS\\1) MOD 2)=1\r\nAND NOT ((VLREQUIREMENTS.FLAGS\\4) MOD 2)=1\r\n"
       "AND NOT ((VLREQUIREMENTS.FLAGS\\16) MOD 2)=1))\r\nOR VLREQUIREMENTS.FLAGS IS NULL)"},
      // "<>" on a root tag number is the complement of "=": neither the place
      // nor anything below it.
      {"1", "", "RootTag# <> 1.2",
       " ( NOT  (   IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >9, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10)), -1)=1 AND "
       "  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >19, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 11, 10)), -1)= 2)\r\n"
       "OR   IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >9, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10)), -1)=1 AND "
       "  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >19, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 11, 10)), -1) IS NULL)"},
      {"1", "", "RootTag# In 1.2, 3",
       "(( (  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >9, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10)), -1)=1 AND "
       "  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >19, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 11, 10)), -1)= 2))"
       " \r\nOR ( (  IIF(LEN(VLREQUIREMENTS.LONGTAGNUMBER) >9, VAL(MID(VLREQUIREMENTS.LONGTAGNUMBER, 1, 10)), -1)= "
       "3)))"},
      {"1", "", "Name In a, \"<NO ENTRY>\"",
       "(( VLREQUIREMENTS.REQUIREMENTNAME= 'a') \r\nOR ( VLREQUIREMENTS.REQUIREMENTNAME IS   NULL))"},
      // The tag in capitals; an empty author is 0.
      {"1", "", "Tag = pr", " VLREQUIREMENTS.REQUIREMENTPREFIX= 'PR'"},
      {"1", "", "KeyScalar = \"<NO ENTRY>\"", " VLREQUIREMENTS.ID= 0"},
  };
  Check(rows, std::size(rows));
}

}  // namespace
}  // namespace vlq
