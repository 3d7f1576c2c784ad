// The Jet dialect on SQLite: each rewrite on its own, the functions, and the
// engine's forms of statements run on real project files, external databases
// among them.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "engine/query_engine.h"
#include "model/query_def.h"
#include "model/text_util.h"
#include "platform/jet_dialect.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "sql_test_support.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using platform::jet::Rewrite;
using test::LongTag;
using test::StoreFixture;

// The external-database resolver of the rewrite table: one known file that is
// attached elsewhere, and the file that runs the statement.
std::string TestResolver(std::string_view path) {
  if (text::EqualsNoCase(path, "C:\\X\\EXT.MdB") || text::EqualsNoCase(path, "C:\\X\\EXT.mdb")) return "VLEXT1";
  if (text::EqualsNoCase(path, "C:\\X\\SELF.mdb")) return "";
  throw Failure(14, "test", "unknown path");
}

TEST(JetRewrite, EachFormOutsideLiteralsAndOnlyThere) {
  struct Case {
    const char* in;
    const char* out;
  };
  const std::vector<Case> cases = {
      // Text concatenation, whole-number division, remainder.
      {"SELECT a & b FROM T", "SELECT a || b FROM T"},
      {"((COL\\1) MOD 2)=1 OR ((COL\\4) mod 2)=1", "((COL/1) % 2)=1 OR ((COL/4) % 2)=1"},
      // Literals, quoted names and comments keep every special character.
      {"SELECT 'it''s & \\ MOD #01-02-2003# Left(', \"a&b\", [c\\d] & e",
       "SELECT 'it''s & \\ MOD #01-02-2003# Left(', \"a&b\", [c\\d] || e"},
      {"SELECT 1 -- a & b MOD\r\n/* IsNull( \\ */ & 2", "SELECT 1 -- a & b MOD\r\n/* IsNull( \\ */ || 2"},
      // Date literals to the stored ISO text.
      {"WHERE D = #04-05-2003 13:07:09#", "WHERE D = '2003-04-05 13:07:09'"},
      {"D BETWEEN #1/2/2003# AND #2003-01-02 23:59#", "D BETWEEN '2003-01-02 00:00:00' AND '2003-01-02 23:59:00'"},
      {"#13:07#, #1/2/99 1:05 PM#", "'1899-12-30 13:07:00', '1999-01-02 13:05:00'"},
      // Jet function calls, case-blind; the same words as names stay.
      {"IIf(Not IsNull(V.F), IIf(IsNumeric(V.F), Clng(V.F), 0), Null)",
       "IIf(Not JET_ISNULL(V.F), IIf(JET_ISNUMERIC(V.F), JET_CLNG(V.F), 0), Null)"},
      {"Left(One.T, (2 * 10)) = left (x, 1)", "JET_LEFT(One.T, (2 * 10)) = JET_LEFT (x, 1)"},
      {"String(10 - Len(One.DATAORDER), '0') & One.DATAORDER",
       "JET_STRING(10 - JET_LEN(One.DATAORDER), '0') || One.DATAORDER"},
      {"INSTR(A, B)=1 AND CDbl(x) < CDate(y) AND CStr(z) = Val(Mid(w, 1, 2))",
       "JET_INSTR(A, B)=1 AND JET_CDBL(x) < JET_CDATE(y) AND JET_CSTR(z) = JET_VAL(JET_MID(w, 1, 2))"},
      {"FROM A LEFT JOIN B ON A.ID = B.Len WHERE T.MOD = 1 AND x ISNULL",
       "FROM A LEFT JOIN B ON A.ID = B.Len WHERE T.MOD = 1 AND x ISNULL"},
      // A disjunction of one column's equalities gets a companion term that
      // makes an outer join of that column's table an inner one; anything
      // else (another column, IS NULL, a single term) stays as written.
      {" ((V.L= 34 \r\nOR V.L= 35)) AND (W.F >= 8)", " (((V.L= 34 \r\nOR V.L= 35) AND V.L = V.L)) AND (W.F >= 8)"},
      {"NOT (\"V\".L = 'a' OR \"V\" . L = 'b' OR \"V\".L = 'c')",
       "NOT ((\"V\".L = 'a' OR \"V\" . L = 'b' OR \"V\".L = 'c') AND \"V\".L = \"V\".L)"},
      {"(V.L= 34 OR V.M= 35) (V.L= 34 OR V.L IS NULL) (V.L= 34) (V.L= 34 OR V.L= 35 OR 1=1) (V.L= 34 OR V.L= X)",
       "(V.L= 34 OR V.M= 35) (V.L= 34 OR V.L IS NULL) (V.L= 34) (V.L= 34 OR V.L= 35 OR 1=1) (V.L= 34 OR V.L= X)"},
      // External databases: the tables of that FROM clause, and no others.
      {"T.TOID IN (SELECT VLREQUIREMENTS.ID\r\nFROM ((VLREQUIREMENTS INNER JOIN VLPROJECTREQUIREMENTS \r\n"
       "ON VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID ) \r\nLEFT JOIN VLATTRVALUESVIEW_21 \r\n"
       "ON  VLREQUIREMENTS.ID = VLATTRVALUESVIEW_21.REQUIREMENTID)  IN 'C:\\X\\EXT.mdb' \r\n"
       "WHERE VLPROJECTREQUIREMENTS.PROJECTID=1)",
       "T.TOID IN (SELECT VLREQUIREMENTS.ID\r\nFROM ((VLEXT1.VLREQUIREMENTS INNER JOIN VLEXT1.VLPROJECTREQUIREMENTS "
       "\r\n"
       "ON VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID ) \r\nLEFT JOIN VLEXT1.VLATTRVALUESVIEW_21 \r\n"
       "ON  VLREQUIREMENTS.ID = VLATTRVALUESVIEW_21.REQUIREMENTID)    \r\n"
       "WHERE VLPROJECTREQUIREMENTS.PROJECTID=1)"},
      {"(VLREQUIREMENTS.ID NOT IN (SELECT VLREQUIREMENTS.ID\r\nFROM VLREQUIREMENTS\r\nLEFT JOIN VLATTRVALUESVIEW_15\r\n"
       "ON VLREQUIREMENTS.ID = VLATTRVALUESVIEW_15.REQUIREMENTID IN 'c:\\x\\ext.MdB' \r\nWHERE (V.L= 34)))",
       "(VLREQUIREMENTS.ID NOT IN (SELECT VLREQUIREMENTS.ID\r\nFROM VLEXT1.VLREQUIREMENTS\r\nLEFT JOIN "
       "VLEXT1.VLATTRVALUESVIEW_15\r\nON VLREQUIREMENTS.ID = VLATTRVALUESVIEW_15.REQUIREMENTID   \r\nWHERE (V.L= "
       "34)))"},
      {"FROM A rels, B reqs, S.C IN 'C:\\X\\EXT.mdb' WHERE x IN (1, 2)",
       "FROM VLEXT1.A rels, VLEXT1.B reqs, S.C   WHERE x IN (1, 2)"},
      {"FROM A INNER JOIN (SELECT ID FROM B) AS Q ON A.ID = IIf(Q.ID, Q.ID, 0) IN 'C:\\X\\EXT.mdb'",
       "FROM VLEXT1.A INNER JOIN (SELECT ID FROM B) AS Q ON A.ID = IIf(Q.ID, Q.ID, 0)  "},
      {"SELECT * FROM A IN 'C:\\X\\SELF.mdb' WHERE A.X IN ('a', 'b')", "SELECT * FROM A   WHERE A.X IN ('a', 'b')"},
      {"SELECT 'FROM A IN ''C:\\X\\NONE.mdb''' FROM A", "SELECT 'FROM A IN ''C:\\X\\NONE.mdb''' FROM A"},
  };
  for (const Case& c : cases) EXPECT_EQ(Rewrite(c.in, TestResolver), c.out) << c.in;

  for (const char* refused : {"SELECT A IN 'C:\\X\\EXT.mdb'", "SELECT * FROM A IN '' WHERE 1",
                              "SELECT * FROM A IN 'C:\\X\\NONE.mdb'"}) {
    EXPECT_THROW(Rewrite(refused, TestResolver), Failure) << refused;
  }
  EXPECT_THROW(Rewrite("SELECT * FROM A IN 'C:\\X\\EXT.mdb'"), Failure);  // no resolver
}

class JetOnFile : public ::testing::Test {
 protected:
  void SetUp() override { data_ = store_.Open()->GetDataServices(""); }
  Rows Run(const std::string& sql) {
    long rows = 0;
    return data_->Execute(sql, rows)->GetRows();
  }
  Variant Value(const std::string& expression) { return Run("SELECT " + expression).at(0).at(0); }
  std::vector<long long> Keys(const std::string& sql) {
    std::vector<long long> out;
    const Rows rows = Run(sql);
    for (const Variant& v : rows.at(0)) out.push_back(v.Whole());
    return out;
  }
  StoreFixture store_;
  std::shared_ptr<DataServices> data_;
};

TEST_F(JetOnFile, FunctionsAndOperatorsGiveJetsValues) {
  struct Case {
    const char* expression;
    Variant value;
  };
  const Variant null = Variant::Null();
  const std::vector<Case> cases = {
      {"IsNull(NULL)", 1LL},
      {"IsNull(0)", 0LL},
      {"IsNumeric(' 12.5 ')", 1LL},
      {"IsNumeric('12a')", 0LL},
      {"IsNumeric(NULL)", 0LL},
      {"CLng('2.5')", 2LL},
      {"CLng(3.5)", 4LL},
      {"CLng('x')", null},
      {"CDbl('1e3')", 1000.0},
      {"CDate(37716.5)", "2003-04-05 12:00:00"},
      {"CDate('4/5/2003 1:07:09 PM')", "2003-04-05 13:07:09"},
      {"CDate('abc')", null},
      {"CStr(12)", "12"},
      {"CStr(NULL)", null},
      {"Val('  12 3abc')", 123LL},
      {"Val('1.5x')", 1.5},
      {"Val('abc')", 0LL},
      {"Mid('abcdef', 2, 3)", "bcd"},
      {"Mid('\xC3\xA4" "bc', 2)", "bc"},
      {"Len('\xC3\xA4" "bc')", 3LL},
      {"Len(NULL)", null},
      {"Left('abcdef', 2)", "ab"},
      {"String(3, '0')", "000"},
      {"InStr('abcabc', 'CA')", 3LL},
      {"InStr(4, 'abcabc', 'b')", 5LL},
      {"InStr(1, 'abc', 'B', 0)", 0LL},
      {"IIf(1 > 2, 'a', 'b')", "b"},
      {"7 \\ 2", 3LL},
      {"7 MOD 3", 1LL},
      {"'a' & 1", "a1"},
      {"#04-05-2003 13:07:09#", "2003-04-05 13:07:09"},
  };
  for (const Case& c : cases) EXPECT_EQ(Value(c.expression), c.value) << c.expression;
}

TEST_F(JetOnFile, TheEnginesSortAndFilterFormsRun) {
  store_.AddReqType(5, "PR");
  store_.AddAttr(14, 5, "Size", eADTWholeNumber);
  store_.AddAttr(16, 5, "Due", eADTDate);
  const std::vector<std::pair<long, long>> flags = {{1, 0}, {2, 1}, {3, 2}, {4, 4}, {5, 8}, {6, 16}};
  for (const auto& [key, flag] : flags) {
    test::Requirement r(key, 5, LongTag({key}));
    r.VersionDateTime = key < 4 ? "2003-04-05 13:07:09" : "2003-04-06 00:00:00";
    r.Flags = flag;
    store_.AddRequirement(r);
  }
  store_.SetValue(1, 14, 10);
  store_.SetValue(2, 14, "9");
  store_.SetValue(3, 14, "x");
  store_.SetValue(1, 16, 40000);
  store_.SetValue(2, 16, 100);
  store_.SetValue(3, 16, 20000);
  const std::string from =
      "SELECT VLREQUIREMENTS.ID\r\nFROM (((VLREQUIREMENTS INNER JOIN VLPROJECTREQUIREMENTS \r\n"
      "ON VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID )  \r\nLEFT JOIN VLATTRVALUESVIEW_14 \r\n"
      "ON  VLREQUIREMENTS.ID = VLATTRVALUESVIEW_14.REQUIREMENTID)  \r\nLEFT JOIN VLATTRVALUESVIEW_16 \r\n"
      "ON  VLREQUIREMENTS.ID = VLATTRVALUESVIEW_16.REQUIREMENTID) \r\nWHERE VLPROJECTREQUIREMENTS.PROJECTID=1 ";
  // A whole number sort over numbers, a number as text, a text and no value.
  EXPECT_EQ(Keys(from + "\r\nAND VLREQUIREMENTS.ID < 5 \r\nORDER BY IIf(Not IsNull(VLATTRVALUESVIEW_14.FIELDVALUE), "
                        "IIf(IsNumeric(VLATTRVALUESVIEW_14.FIELDVALUE), Clng(VLATTRVALUESVIEW_14.FIELDVALUE), 0), "
                        "Null)  DESC  ,  VLREQUIREMENTS.LONGTAGNUMBER "),
            (std::vector<long long>{1, 2, 3, 4}));
  // A date sort: days since 1901 through CDate.
  EXPECT_EQ(Keys(from + "\r\nAND VLREQUIREMENTS.ID < 4 \r\nORDER BY IIf(Not IsNull(VLATTRVALUESVIEW_16.FIELDVALUE), "
                        "IIf(IsNumeric(VLATTRVALUESVIEW_16.FIELDVALUE), CDate(VLATTRVALUESVIEW_16.FIELDVALUE), 0), "
                        "Null) "),
            (std::vector<long long>{2, 3, 1}));
  // The document-text flags 1, 4 and 16.
  EXPECT_EQ(Keys(from + "\r\nAND  (((VLREQUIREMENTS.FLAGS\\1) MOD 2)=1\r\nOR ((VLREQUIREMENTS.FLAGS\\4) MOD 2)=1\r\n"
                        "OR ((VLREQUIREMENTS.FLAGS\\16) MOD 2)=1) \r\nORDER BY  VLREQUIREMENTS.LONGTAGNUMBER "),
            (std::vector<long long>{2, 4, 6}));
  // A day of revision dates, and text of any case.
  EXPECT_EQ(Keys(from + "\r\nAND  VLREQUIREMENTS.VERSIONDATETIME  BETWEEN  #04-05-2003 00:00:00# \r\n"
                        "AND #04-05-2003 23:59:59# \r\nORDER BY  CSTR(VLREQUIREMENTS.REQUIREMENTTEXT & '') DESC "),
            (std::vector<long long>{1, 2, 3}));
}

TEST_F(JetOnFile, TheHierarchyOrderStatementsRun) {
  long rows = 0;
  data_->Execute(
      "INSERT INTO VLHIERARCHYORDEREDLEVELSTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER) VALUES "
      "(5, 1, '0000000002'), (5, 2, '0000000001'), (5, 3, '00000000010000000001')",
      rows);
  data_->Execute(
      "INSERT INTO VLHIERARCHYFINALORDERTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER, ORDERTAG)\r\n"
      " SELECT 5 AS SESSIONID, One.REQUIREMENTID, One.LONGTAGNUMBER, String(10 - Len(One.DATAORDER), '0') & "
      "One.DATAORDER AS ORDERTAG\r\n FROM VLHIERARCHYORDEREDLEVELSTEMP AS One\r\n"
      " Where One.SESSIONID = 5 AND Len(One.LONGTAGNUMBER) = (10)",
      rows);
  EXPECT_EQ(rows, 2);
  data_->Execute(
      "INSERT INTO VLHIERARCHYFINALORDERTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER, ORDERTAG)\r\n"
      "  SELECT 5 AS SESSIONID, One.REQUIREMENTID, One.LONGTAGNUMBER, Two.ORDERTAG & String(10 - "
      "Len(One.DATAORDER), '0') & One.DATAORDER AS ORDERTAG\r\n FROM VLHIERARCHYORDEREDLEVELSTEMP AS One, "
      "VLHIERARCHYFINALORDERTEMP AS Two\r\n Where One.SESSIONID = 5 AND Len(One.LONGTAGNUMBER) = (2 * 10) AND "
      "Left(One.LONGTAGNUMBER, (1 * 10)) = Two.LONGTAGNUMBER AND Two.SESSIONID = 5",
      rows);
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(Keys("SELECT VLHIERARCHYFINALORDERTEMP.REQUIREMENTID \r\nFROM VLHIERARCHYFINALORDERTEMP \r\n"
                 "WHERE VLHIERARCHYFINALORDERTEMP.SESSIONID=5 \r\nORDER BY VLHIERARCHYFINALORDERTEMP.ORDERTAG"),
            (std::vector<long long>{1, 2, 3}));
}

// A main project whose requirements trace into an external project. Both
// files hold requirements 101 to 103 with different values, so a result
// shows which file a subquery read.
class JetExternalDatabase : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(main_.Dir() / "ext");
    for (StoreFixture* s : {&main_, &ext_}) {
      s->AddReqType(7, "EX");
      s->AddAttr(21, 7, "Status", eADTList);
      s->AddAttr(15, 7, "Platforms", eADTMultiSelectList);
      for (long key : {101, 102, 103}) s->AddRequirement(key, 7, LongTag({key}));
    }
    ext_.ChooseItem(101, 21, 8);
    ext_.ChooseItem(102, 21, 9);
    ext_.ChooseItem(101, 15, 50);
    ext_.ChooseItem(101, 15, 51);
    ext_.ChooseItem(102, 15, 51);
    main_.ChooseItem(102, 21, 8);
    main_.ChooseItem(102, 15, 50);
    main_.AddReqType(5, "PR");
    for (long key : {1, 2, 3}) {
      main_.AddRequirement(key, 5, LongTag({key}));
      main_.AddTrace(key, 100 + key, false, 0, 1);
    }
    ext_.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
    std::filesystem::copy_file(ext_.File(), main_.Dir() / "ext" / "Ext.vlp");
    main_.AddExtProject(1, "EXT", "{E}", "ext", "Ext.vlp");
    project_ = main_.Open();
    data_ = project_->GetDataServices("");
    auto ref = project_->GetExtProjects()->Item("EXT", eItemByPrefix);
    std::string path = ref->Path() + ref->FileName();
    path_ = text::Upper(path.substr(0, path.rfind('.')));
  }
  std::vector<long long> Keys(const std::string& sql) {
    long rows = 0;
    std::vector<long long> out;
    const Rows cells = data_->Execute(sql, rows)->GetRows();
    for (const Variant& v : cells.at(0)) out.push_back(v.Whole());
    return out;
  }
  StoreFixture main_{test::ProjectInfo(1, "MAIN")};
  StoreFixture ext_{test::ProjectInfo(2, "EXT"), "Ext.vlp"};
  std::shared_ptr<Project> project_;
  std::shared_ptr<DataServices> data_;
  std::string path_;  // as the engine writes it, without ".mdb"
};

TEST_F(JetExternalDatabase, TheRelationshipSubqueryReadsTheReferencedFile) {
  const std::string sql =
      "SELECT VLTORELATIONSHIPS.REQUIREMENTID FROM VLTORELATIONSHIPS \r\nWHERE VLTORELATIONSHIPS.EXTERNALPROJECTTOID=1 "
      "\r\nAND VLTORELATIONSHIPS.TOID IN (SELECT VLREQUIREMENTS.ID\r\nFROM ((VLREQUIREMENTS INNER JOIN "
      "VLPROJECTREQUIREMENTS \r\nON VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID ) \r\nLEFT JOIN "
      "VLATTRVALUESVIEW_21 \r\nON  VLREQUIREMENTS.ID = VLATTRVALUESVIEW_21.REQUIREMENTID)  IN '" +
      path_ +
      ".mdb' \r\nWHERE VLPROJECTREQUIREMENTS.PROJECTID=2 \r\nAND VLREQUIREMENTS.REQUIREMENTTYPEID=7 \r\nAND   "
      "(VLATTRVALUESVIEW_21.LISTITEMID = 8)) ORDER BY 1";
  EXPECT_EQ(Keys(sql), (std::vector<long long>{1}));
  // The file was opened through the manager and stays open.
  EXPECT_TRUE(project_->GetExtProjects()->Item("EXT", eItemByPrefix)->IsOpen());
  EXPECT_EQ(Keys(sql), (std::vector<long long>{1}));
}

TEST_F(JetExternalDatabase, TheMultiSelectNotInSubqueryReadsTheReferencedFile) {
  const std::string sql =
      "SELECT VLTORELATIONSHIPS.REQUIREMENTID FROM VLTORELATIONSHIPS \r\nWHERE VLTORELATIONSHIPS.TOID IN (SELECT "
      "VLREQUIREMENTS.ID\r\nFROM ((VLREQUIREMENTS INNER JOIN VLPROJECTREQUIREMENTS \r\nON "
      "VLREQUIREMENTS.ID=VLPROJECTREQUIREMENTS.REQUIREMENTID ) \r\nLEFT JOIN VLATTRVALUESVIEW_15 \r\nON  "
      "VLREQUIREMENTS.ID = VLATTRVALUESVIEW_15.REQUIREMENTID)  IN '" +
      path_ +
      ".mdb' \r\nWHERE VLPROJECTREQUIREMENTS.PROJECTID=2 \r\nAND VLREQUIREMENTS.REQUIREMENTTYPEID=7 \r\nAND   "
      "((VLREQUIREMENTS.ID NOT IN (SELECT VLREQUIREMENTS.ID\r\nFROM VLREQUIREMENTS\r\nLEFT JOIN "
      "VLATTRVALUESVIEW_15\r\nON VLREQUIREMENTS.ID = VLATTRVALUESVIEW_15.REQUIREMENTID IN '" +
      text::Upper(path_) +
      ".MdB' \r\nWHERE (VLATTRVALUESVIEW_15.LISTITEMID= 50)) \r\nOR ( VLATTRVALUESVIEW_15.LISTITEMID IS NULL))))"
      " ORDER BY 1";
  EXPECT_EQ(Keys(sql), (std::vector<long long>{2, 3}));
}

TEST_F(JetExternalDatabase, ThePathIsMatchedWithoutCaseAndUnknownPathsFail) {
  std::string lower = path_;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  EXPECT_EQ(Keys("SELECT COUNT(*) FROM VLUSERDEFINEDLISTVALUES IN '" + lower + ".MDB' WHERE LISTITEMID = 9"),
            (std::vector<long long>{1}));
  // The file that runs the statement is read as it is.
  std::string self = std::filesystem::absolute(main_.File()).string();
  self = text::Upper(self.substr(0, self.rfind('.')));
  EXPECT_EQ(Keys("SELECT COUNT(*) FROM VLUSERDEFINEDLISTVALUES IN '" + self + ".mdb' WHERE LISTITEMID = 9"),
            (std::vector<long long>{0}));
  long rows = 0;
  try {
    data_->Execute("SELECT * FROM VLREQUIREMENTS IN '/NOWHERE/X.mdb'", rows);
    ADD_FAILURE();
  } catch (const Failure& f) {
    EXPECT_EQ(f.Source(), "DataServices.Execute");
    EXPECT_NE(f.Description().find("/NOWHERE/X.mdb"), std::string::npos);
  }
}

// A quote in the directory of an external project stays inside the literal
// of the external-database clause, and the subqueries read that file.
TEST(JetExternalDatabasePath, AQuoteInThePathIsDoubled) {
  StoreFixture main{test::ProjectInfo(1, "MAIN")};
  StoreFixture ext{test::ProjectInfo(2, "EXT"), "Ext.vlp"};
  const std::filesystem::path dir = main.Dir() / "o'brien";
  std::filesystem::create_directories(dir);
  ext.AddReqType(7, "EX");
  ext.AddAttr(15, 7, "Platforms", eADTMultiSelectList);
  ext.AddListItem(15, 50, 1, "Linux");
  ext.AddRequirement(101, 7, LongTag({1}));
  ext.AddRequirement(102, 7, LongTag({2}));
  ext.ChooseItem(101, 15, 50);
  ext.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
  std::filesystem::copy_file(ext.File(), dir / "Ext.vlp");
  main.AddReqType(5, "PR");
  main.AddRequirement(1, 5, LongTag({1}));
  main.AddRequirement(2, 5, LongTag({2}));
  main.AddTrace(1, 101, false, 0, 1);
  main.AddTrace(2, 102, false, 0, 1);
  main.AddExtProject(1, "EXT", "{E}", "o'brien", "Ext.vlp");
  const auto fetch = [&](const std::string& criteria) {
    QueryEngine engine;
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, main.Open(),
                           "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In EXT.EX) EXT.EX.Criteria(" + criteria + ")",
                           info, rows, def),
              eQEENone)
        << info;
    return test::KeysOf(rows);
  };
  EXPECT_EQ(fetch("Platforms In Linux"), (std::vector<long>{1}));
  EXPECT_EQ(fetch("NOT Platforms In Linux"), (std::vector<long>{2}));
}

}  // namespace
}  // namespace vlq
