// The ORDER BY and GROUP BY lists: the default terms, the tag, the columns of
// user and system attributes with their flags, the conversions of Access, and
// the sort view of a multi-select list with its failure reactions.
#include <gtest/gtest.h>

#include "parser/complex_expression.h"
#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

using namespace std::string_literals;

class SqlSortOrder : public ::testing::Test {
 protected:
  void SetUp() override { test::AddWorkedExampleAttributes(store); }

  // A builder on the project in the given dialect, with the sorts added as
  // the engine adds the sections of a query of type PR.
  std::unique_ptr<QuerySql> Builder(const std::vector<std::string>& sorts, const std::string& dbmsnamecode = "1",
                                    enumQueryLookupTypes lookup = eQLTByPrefix, const std::string& schema = "") {
    project = test::OpenAs(store, dbmsnamecode, schema, manager);
    auto sql = std::make_unique<QuerySql>();
    sql->BaseProject(project);
    sql->QueryReturnType(eBTRequirements);
    sql->LookupType(lookup);
    sql->ReqQueryScope(eVLSReqType);
    std::string info;
    EXPECT_EQ(sql->ResolveBaseProjStructSpecifier(lookup == eQLTByKey ? "5" : "PR", info), eQEENone) << info;
    for (const std::string& text : sorts) {
      auto sort = std::make_shared<ComplexExpression>();
      EXPECT_TRUE(sort->Tokenize(text, true)) << text;
      bool stopOnErr = true;
      EXPECT_EQ(sql->AddTypedSortExpression(stopOnErr, sort, sql->BaseProjStruSpec(), info), eQEENone)
          << text << ": " << info;
    }
    return sql;
  }

  static std::pair<std::string, std::string> Lists(QuerySql& sql) {
    std::string orderBy;
    std::string groupBy;
    std::string info;
    EXPECT_EQ(sql.SortOrderToSQL(orderBy, groupBy, info), eQEENone);
    return {orderBy, groupBy};
  }

  test::StoreFixture store;
  std::shared_ptr<platform::StoreProjectManager> manager;
  std::shared_ptr<Project> project;
};

const std::string TAG = " VLREQUIREMENTS.LONGTAGNUMBER ";
// The default tag behind earlier terms.
const std::string END = ", " + TAG;

TEST_F(SqlSortOrder, WithoutSortAQueryOfOneTypeOrdersByTheTag) {
  auto sql = Builder({});
  EXPECT_EQ(Lists(*sql), std::make_pair(TAG, TAG));
  // A discussion query gets no default term.
  sql->QueryReturnType(eBTDiscussions);
  EXPECT_EQ(Lists(*sql), std::make_pair(std::string(), std::string()));
}

TEST_F(SqlSortOrder, TheTagTerm) {
  // Descending: the tag term is the sort itself, the list ends without a comma.
  auto sql = Builder({"Tag Order Desc"});
  EXPECT_EQ(Lists(*sql), std::make_pair(std::string("VLREQUIREMENTS.LONGTAGNUMBER  DESC  "),
                                        std::string("VLREQUIREMENTS.LONGTAGNUMBER ")));
  // Ascending in the middle of other sorts: the tag moves to the end.
  sql = Builder({"Name Order Asc AND Tag Order Asc AND Revision Order Desc"});
  EXPECT_EQ(Lists(*sql).first,
            "VLREQUIREMENTS.REQUIREMENTNAME , VLREQUIREMENTS.VERSIONNUMBER  DESC  " + END);
  // A second descending tag adds nothing.
  sql = Builder({"Tag Order Desc", "RootTag# Order Desc"});
  EXPECT_EQ(Lists(*sql).first, "VLREQUIREMENTS.LONGTAGNUMBER  DESC  ");
}

TEST_F(SqlSortOrder, UserAttributesByDataTypeInAccessAndElsewhere) {
  auto sql = Builder({"Priority Order Asc", "Desc Order Desc", "Num Order Asc", "Weight Order Asc", "Due Order Asc",
                      "At Order Asc"});
  const std::string c14 = "VLATTRVALUESVIEW_14.FIELDVALUE";
  const std::string c16 = "VLATTRVALUESVIEW_16.FIELDVALUE";
  const std::string c17 = "VLATTRVALUESVIEW_17.FIELDVALUE";
  const std::string c18 = "VLATTRVALUESVIEW_18.FIELDVALUE";
  const auto iif = [](const std::string& c, const std::string& fn) {
    return "IIf(Not IsNull(" + c + "), IIf(IsNumeric(" + c + "), " + fn + "(" + c + "), 0), Null)";
  };
  const std::string columns = "VLATTRVALUESVIEW_12.ITEMRANK , VLATTRVALUESVIEW_13.FIELDVALUE  DESC  , " +
                              iif(c14, "Clng") + " , " + iif(c16, "CDbl") + " , " + iif(c17, "CDate") + " , " +
                              iif(c18, "CDate") + " " + END;
  EXPECT_EQ(Lists(*sql).first, columns);
  EXPECT_EQ(std::vector<std::string>(sql->AttrViewKeys().begin(), sql->AttrViewKeys().end()),
            (std::vector<std::string>{"12", "13", "14", "16", "17", "18"}));
  EXPECT_FALSE(sql->NeedsMinAggregate);

  // The second Access form and the other databases sort the column as it is;
  // Oracle brings missing values first with NVL.
  sql = Builder({"Num Order Asc"}, "4");
  EXPECT_EQ(Lists(*sql).first, c14 + " " + END);
  sql = Builder({"Num Order Asc", "DateTime Order Desc"}, "3", eQLTByPrefix, "P.");
  EXPECT_EQ(Lists(*sql), std::make_pair("NVL(P.VLATTRVALUESVIEW_14.FIELDVALUE, -1) , P.VLREQUIREMENTS.VERSIONDATETIME "
                                        " DESC  ,  P.VLREQUIREMENTS.LONGTAGNUMBER "s,
                                        "P.VLATTRVALUESVIEW_14.FIELDVALUE , P.VLREQUIREMENTS.VERSIONDATETIME ,  "
                                        "P.VLREQUIREMENTS.LONGTAGNUMBER "s));
}

TEST_F(SqlSortOrder, AMultiSelectListSortsByItsSortViewAndAggregates) {
  auto sql = Builder({"Tags Order Desc"});
  EXPECT_EQ(Lists(*sql), std::make_pair("VLATTRVALUESSORTVIEW_15.ITEMRANK  DESC  " + END,
                                        "VLATTRVALUESSORTVIEW_15.ITEMRANK " + END));
  EXPECT_TRUE(sql->NeedsMinAggregate);
  EXPECT_TRUE(sql->SortViewKeys().Contains("15"));
  EXPECT_TRUE(sql->AttrViewKeys().Empty());

  // The statement of one type groups and joins the sort view.
  std::string statement;
  std::string info;
  ASSERT_EQ(sql->CurrSQLStatement(statement, info), eQEENone);
  EXPECT_NE(statement.find("SELECT  MIN(VLREQUIREMENTS.ID) "), std::string::npos) << statement;
  EXPECT_NE(statement.find("LEFT JOIN VLATTRVALUESSORTVIEW_15 \r\n"), std::string::npos) << statement;
  EXPECT_NE(statement.find("\r\nGROUP BY  VLATTRVALUESSORTVIEW_15.ITEMRANK ,"), std::string::npos) << statement;
}

TEST_F(SqlSortOrder, SystemAttributeColumnsAndTheirJoins) {
  struct Row {
    const char* sort;
    const char* access;
    const char* other;  // SQL Server
  };
  const Row rows[] = {
      {"Key Order Asc", "VLREQUIREMENTS.ID", "VLREQUIREMENTS.ID"},
      {"KeyScalar Order Asc", "VLREQUIREMENTS.ID", "VLREQUIREMENTS.ID"},
      {"Text Order Asc", " CSTR(VLREQUIREMENTS.REQUIREMENTTEXT & '')", "VLREQUIREMENTS.REQUIREMENTTEXT"},
      {"Reason Order Asc", " CSTR(VLREQUIREMENTS.VERSIONREASON)", "VLREQUIREMENTS.VERSIONREASON"},
      {"AuthorName Order Asc", "VLUSERS.FULLNAME", "VLUSERS.FULLNAME"},
      {"AuthorKey Order Asc", "VLREQUIREMENTS.VERSIONUSERID", "VLREQUIREMENTS.VERSIONUSERID"},
      {"Author Order Asc", "VLUSERS.FULLNAME", "VLUSERS.FULLNAME"},
      {"LocationName Order Asc", "VLDOCUMENTS.NAME", "VLDOCUMENTS.NAME"},
      {"LocationKey Order Asc", "VLREQUIREMENTS.BOOKMARKDOCUMENTID", "VLREQUIREMENTS.BOOKMARKDOCUMENTID"},
      {"Location Order Asc", "VLDOCUMENTS.NAME", "VLDOCUMENTS.NAME"},
      {"DocPosition Order Asc", "VLREQUIREMENTS.DOCUMENTPOSITION", "VLREQUIREMENTS.DOCUMENTPOSITION"},
      // A requirement holds many packages: it sorts by the lowest.
      {"PackageKey Order Asc", "MIN(VLPACKAGEELEMENTS.PACKAGEID)", "MIN(VLPACKAGEELEMENTS.PACKAGEID)"},
      {"PackageName Order Asc", "MIN(VLPACKAGES.NAME)", "MIN(VLPACKAGES.NAME)"},
      {"SuspectDateTime Order Asc", "VLREQUIREMENTS.SUSPECTDATETIME", "VLREQUIREMENTS.SUSPECTDATETIME"},
  };
  for (const Row& row : rows) {
    auto sql = Builder({row.sort});
    EXPECT_EQ(Lists(*sql).first, std::string(row.access) + " " + END) << row.sort;
    sql = Builder({row.sort}, "5");
    EXPECT_EQ(Lists(*sql).first, std::string(row.other) + " " + END) << row.sort;
  }
  auto sql = Builder({"AuthorName Order Asc", "Location Order Asc", "PackageName Order Asc"});
  Lists(*sql);
  EXPECT_TRUE(sql->JoinUsers);
  EXPECT_TRUE(sql->JoinDocuments);
  EXPECT_TRUE(sql->JoinPackageElements);
  EXPECT_TRUE(sql->JoinPackages);
  sql = Builder({"AuthorKey Order Asc", "LocationKey Order Asc", "PackageKey Order Asc"});
  Lists(*sql);
  EXPECT_FALSE(sql->JoinUsers);
  EXPECT_FALSE(sql->JoinDocuments);
  EXPECT_TRUE(sql->JoinPackageElements);
  EXPECT_FALSE(sql->JoinPackages);
  // A query by key names the author by key, and sorts by it.
  sql = Builder({"-6 O 1"}, "1", eQLTByKey);
  EXPECT_EQ(Lists(*sql).first, "VLREQUIREMENTS.VERSIONUSERID " + END);
  // Keys that stand for no column give no term and no failure.
  sql = Builder({"HierLevel Order Desc", "BookmarkName Order Asc", "IsDocTextCurrent Order Asc"});
  EXPECT_EQ(Lists(*sql), std::make_pair(TAG, TAG));
}

TEST_F(SqlSortOrder, AWholeProjectQueryStartsWithTheType) {
  auto sql = Builder({"Name Order Desc"});
  sql->ReqQueryScope(eVLSProject);
  EXPECT_EQ(Lists(*sql),
            std::make_pair("VLREQUIREMENTS.REQUIREMENTTYPEID, VLREQUIREMENTS.REQUIREMENTNAME  DESC  " + END,
                           "VLREQUIREMENTS.REQUIREMENTTYPEID, VLREQUIREMENTS.REQUIREMENTNAME " + END));
  sql = Builder({});
  sql->ReqQueryScope(eVLSProject);
  EXPECT_EQ(Lists(*sql).first, "VLREQUIREMENTS.REQUIREMENTTYPEID" + END);
}

TEST_F(SqlSortOrder, SortViewCreationAndItsFailures) {
  // The second Access form doesn't probe: the second creation finds the view
  // and that is no failure.
  auto sql = Builder({}, "4");
  EXPECT_FALSE(sql->IsDBViewPresent_("VLATTRVALUESSORTVIEW_15"));
  EXPECT_EQ(sql->CreateSortView_("VLATTRVALUESSORTVIEW_15", 15), eQEENone);
  EXPECT_EQ(sql->CreateSortView_("VLATTRVALUESSORTVIEW_15", 15), eQEENone);
  EXPECT_FALSE(sql->IsDBViewPresent_("VLATTRVALUESSORTVIEW_15"));
  sql = Builder({}, "1");
  EXPECT_TRUE(sql->IsDBViewPresent_("VLATTRVALUESSORTVIEW_15"));

  // A failure of another kind is handled, and the result is 0: a schema that
  // the database doesn't know.
  sql = Builder({}, "5", eQLTByPrefix, "NOSUCHSCHEMA.");
  EXPECT_EQ(sql->CreateSortView_("VLATTRVALUESSORTVIEW_16", 16), eQEENone);

  // A connection that may only read: the caller learns that it may not
  // create views.
  sql = Builder({}, "1");
  sql->ExecuteSQLStatement_("PRAGMA query_only = ON");
  EXPECT_EQ(sql->CreateSortView_("VLATTRVALUESSORTVIEW_12", 12), eQEENoCreatePermissions);
  EXPECT_FALSE(sql->IsDBViewPresent_("VLATTRVALUESSORTVIEW_12"));
}

}  // namespace
}  // namespace vlq
