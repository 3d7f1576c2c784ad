// Filters and sorts end to end: queries are fetched from a real project, in a
// file and on the server, and the keys that come back, in their order, are
// the ones that the data calls for. Every attribute data type with every operator, NOT, no entry and
// the NULL rules; the system attributes; and the sorts on each.
//
// A requirement without a value behaves like a value below all others: it
// passes <>, < and <=, NOT = and NOT >, and no other comparison. A list
// attribute has no such term: only no entry and NOT IN take it in.
#include <gtest/gtest.h>

#include "engine/mod_main.h"
#include "model/date_serial.h"
#include "platform/locale_services.h"
#include "sql/query_sql.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

long DaysSince1901(int y, int m, int d) {
  return static_cast<long>(date_serial::DaysSince1901(*date_serial::FromCivil({y, m, d, 0, 0, 0})));
}

// Five requirements of type PR, in tag order 1 to 5; 4 has no value of any
// attribute. One requirement of type SR and one of another project must never
// appear.
//
// | Req | Priority | Desc     | Num | Tags        | Weight | Due        | At       |
// |  1  | High     | alpha    |   5 | Red, Blue   |  1.5   | 2003-01-01 | 08:00    |
// |  2  | Medium   | beta     |  10 | Green       |  2.25  | 2003-06-15 | 12:30    |
// |  3  | Low      | Alphabet |  -3 | Red         | 10     | 2002-12-31 | 23:59:59 |
// |  4  |          |          |     |             |        |            |          |
// |  5  | High     | gamma's  |   5 | Blue, Green |  0.5   | 2003-01-01 | 00:00    |
//
// Item ranks: Priority High 1, Medium 2, Low 3; Tags Blue 1, Red 2, Green 3.
//
// System attributes:
// | Req | Name    | Author | Location | Flags | DateTime            |
// |  1  | Delta   | Ann    | Manual   |   0   | 2003-04-05 13:07:09 |
// |  2  | alpha   | Bob    | database |   1   | 2003-04-05 08:00:00 |
// |  3  | Charlie | Ann    | Plan     |   4   | 2003-04-06 00:00:00 |
// |  4  | bravo   |        | (NULL)   |   2   | 2003-04-04 23:59:59 |
// |  5  | Echo    | Bob    | database |  16   | 2003-04-05 13:07:30 |
class SqlFetch : public ::testing::TestWithParam<test::StoreKind> {
 protected:
  void SetUp() override {
    VLQ_USE_STORE(store, GetParam());
    test::AddWorkedExampleAttributes(store);
    store.AddReqType(7, "SR");
    store.AddUser(3, "Ann");
    store.AddUser(4, "Bob");
    store.InsertRow("VLDOCUMENTS", {{"ID", 7}, {"NAME", "Manual"}, {"GUID", "{D7}"}});
    store.InsertRow("VLDOCUMENTS", {{"ID", 8}, {"NAME", "Plan"}, {"GUID", "{D8}"}});

    struct System {
      const char* name;
      long author;
      long document;
      long flags;
      const char* dateTime;
    };
    const System system[] = {{"Delta", 3, 7, 0, "2003-04-05 13:07:09"},
                             {"alpha", 4, 0, 1, "2003-04-05 08:00:00"},
                             {"Charlie", 3, 8, 4, "2003-04-06 00:00:00"},
                             {"bravo", 0, 0, 2, "2003-04-04 23:59:59"},
                             {"Echo", 4, 0, 16, "2003-04-05 13:07:30"}};
    for (long key = 1; key <= 5; ++key) {
      test::Requirement r = test::Req(key, 5, key);
      const System& s = system[key - 1];
      r.Name = s.name;
      r.AuthorKey = s.author;
      r.DocumentKey = s.document;
      r.Flags = s.flags;
      r.VersionDateTime = s.dateTime;
      store.AddRequirement(r);
    }
    store.Exec("UPDATE VLREQUIREMENTS SET BOOKMARKDOCUMENTID = NULL WHERE ID = 4");
    store.AddRequirement(test::Req(6, 7, 6));
    test::Requirement other = test::Req(7, 5, 7);
    other.ProjectKey = 2;
    store.AddRequirement(other);

    store.ChooseItem(1, 12, 34);
    store.ChooseItem(2, 12, 35);
    store.ChooseItem(3, 12, 36);
    store.ChooseItem(5, 12, 34);
    store.ChooseItem(7, 12, 34);
    store.SetValue(1, 13, "alpha");
    store.SetValue(2, 13, "beta");
    store.SetValue(3, 13, "Alphabet");
    store.SetValue(5, 13, "gamma's");
    store.SetValue(1, 14, 5);
    store.SetValue(2, 14, 10);
    store.SetValue(3, 14, -3);
    store.SetValue(5, 14, 5);
    store.SetValue(7, 14, 5);
    store.ChooseItem(1, 15, 34);
    store.ChooseItem(1, 15, 35);
    store.ChooseItem(2, 15, 36);
    store.ChooseItem(3, 15, 34);
    store.ChooseItem(5, 15, 35);
    store.ChooseItem(5, 15, 36);
    store.SetValue(1, 16, 1.5);
    store.SetValue(2, 16, 2.25);
    store.SetValue(3, 16, 10.0);
    store.SetValue(5, 16, 0.5);
    store.SetValue(1, 17, DaysSince1901(2003, 1, 1));
    store.SetValue(2, 17, DaysSince1901(2003, 6, 15));
    store.SetValue(3, 17, DaysSince1901(2002, 12, 31));
    store.SetValue(5, 17, DaysSince1901(2003, 1, 1));
    store.SetValue(1, 18, 8 * 3600);
    store.SetValue(2, 18, 12 * 3600 + 30 * 60);
    store.SetValue(3, 18, 86399);
    store.SetValue(5, 18, 0);
    project = store.Open();
  }

  // The keys of a query of type PR with the given sections.
  Keys Fetch(const std::string& sections, enumQueryLookupTypes lookup = eQLTByPrefix) {
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    const std::string query = (lookup == eQLTByKey ? "ReqType.Key(5) " : "ReqType.Prefix(PR) ") + sections;
    const auto result = engine.Fetch(eBTRequirements, lookup, project, query, info, rows, def);
    EXPECT_EQ(result, eQEENone) << query << "\n" << info;
    return test::KeysOf(rows);
  }

  struct Row {
    const char* expression;
    Keys keys;
  };
  void CheckCriteria(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      EXPECT_EQ(Fetch(std::string("PR.Criteria(") + row.expression + ")"), row.keys) << row.expression;
    }
  }
  void CheckSorts(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      EXPECT_EQ(Fetch(std::string("PR.Sort(") + row.expression + ")"), row.keys) << row.expression;
    }
  }

  test::StoreFixture store;
  std::shared_ptr<Project> project;
  QueryEngine engine;
};

TEST_P(SqlFetch, ListAttribute) {
  CheckCriteria({
      {"Priority = High", {1, 5}},
      {"Priority <> High", {2, 3}},
      {"Not Priority = High", {2, 3}},
      {"Priority = \"<NO ENTRY>\"", {4}},
      {"Not Priority = \"<no entry>\"", {1, 2, 3, 5}},
      // "<>" no entry asks for a value.
      {"Priority <> \"<NO ENTRY>\"", {1, 2, 3, 5}},
      {"Priority In High, Medium", {1, 2, 5}},
      {"Priority In High, \"<NO ENTRY>\"", {1, 4, 5}},
      {"Not Priority In High, Medium", {3, 4}},
      {"Not Priority In High, \"<NO ENTRY>\"", {2, 3}},
  });
}

TEST_P(SqlFetch, MultiSelectListAttribute) {
  // A requirement passes if one of its items does; it comes back once.
  CheckCriteria({
      {"Tags = Red", {1, 3}},
      // "<>" an item: not holding it at all.
      {"Tags <> Red", {2, 4, 5}},
      {"Not Tags = Red", {2, 4, 5}},
      {"Tags = \"<NO ENTRY>\"", {4}},
      {"Tags In Red, Green", {1, 2, 3, 5}},
      {"Tags In Blue, \"<NO ENTRY>\"", {1, 4, 5}},
      // NOT IN: none of the items at all.
      {"Not Tags In Red, Green", {4}},
      {"Not Tags In Blue, \"<NO ENTRY>\"", {2, 3}},
      {"Tags = Blue And Tags = Green", {}},  // one row holds one item
      {"Tags = Blue And Priority = High", {1, 5}},
  });
}

TEST_P(SqlFetch, TextAttribute) {
  CheckCriteria({
      {"Desc = alpha", {1}},
      {"Desc = ALPHA", {1}},  // text compares without regard to case
      {"Desc <> alpha", {2, 3, 4, 5}},
      {"Not Desc = alpha", {2, 3, 4, 5}},
      {"Desc < beta", {1, 3, 4}},
      {"Desc > beta", {5}},
      {"Not Desc > beta", {1, 2, 3, 4}},
      {"Desc Like \"alpha%\"", {1, 3}},
      {"Desc ULike \"ALPHA%\"", {1, 3}},
      {"Not Desc Like \"alpha%\"", {2, 5}},
      {"Desc Like \"%'%\"", {5}},
      {"Desc Between a And c", {1, 2, 3}},
      {"Not Desc Between a And c", {5}},
      {"Desc = \"<NO ENTRY>\"", {4}},
  });
}

TEST_P(SqlFetch, WholeNumberAttribute) {
  CheckCriteria({
      {"Num = 5", {1, 5}},
      {"Num <> 5", {2, 3, 4}},
      {"Not Num = 5", {2, 3, 4}},
      {"Num < 5", {3, 4}},
      {"Num <= 5", {1, 3, 4, 5}},
      {"Num > 5", {2}},
      {"Num >= 5", {1, 2, 5}},
      {"Not Num > 5", {1, 3, 4, 5}},
      {"Not Num < 5", {1, 2, 5}},
      {"Num Between 0 And 7", {1, 5}},
      {"Not Num Between 0 And 7", {2, 3}},
      {"Num = \"<NO ENTRY>\"", {4}},
  });
}

TEST_P(SqlFetch, RealNumberAttribute) {
  CheckCriteria({
      {"Weight = 2.25", {2}},
      {"Weight > 1.5", {2, 3}},
      {"Weight < 1", {4, 5}},
      {"Weight <> 0.5", {1, 2, 3, 4}},
      {"Weight Between 0.5 And 1.5", {1, 5}},
      {"Not Weight > 1.5", {1, 4, 5}},
  });
}

TEST_P(SqlFetch, DateAttribute) {
  CheckCriteria({
      {"Due = 1/1/2003", {1, 5}},
      {"Due <> 1/1/2003", {2, 3, 4}},
      {"Due < 1/1/2003", {3, 4}},
      {"Due > 1/1/2003", {2}},
      {"Due Between 12/1/2002 And 1/31/2003", {1, 3, 5}},
      {"Not Due < 1/1/2003", {1, 2, 5}},
      {"Due = \"<NO ENTRY>\"", {4}},
  });
}

TEST_P(SqlFetch, TimeAttribute) {
  CheckCriteria({
      {"At = 12:30", {2}},
      {"At < 12:00", {1, 4, 5}},
      {"At >= 12:30", {2, 3}},
      {"At Between 00:00 And 08:00", {1, 5}},
      {"At = \"12:30 PM\"", {2}},
      {"Not At < 8:00", {1, 2, 3}},
  });
}

TEST_P(SqlFetch, NotBeforeASubListAndConnectors) {
  CheckCriteria({
      {"Num = 10 Or Priority = Low", {2, 3}},
      // The list is written as it stands: the database binds AND before OR.
      {"Desc = alpha Or Desc = beta And Num = 10", {1, 2}},
      {"Num = 5 And (Desc = alpha Or Desc = \"gamma's\")", {1, 5}},
      {"Not (\"Num\" = 5 And Priority = High)", {2, 3, 4}},
      // NOT LIKE takes no requirement without a value, so 4 stays out.
      {"Not (\"Desc\" Like \"alpha%\" Or (Num > 5 And Priority = Medium))", {5}},
      // The NOT reaches its sub-list only.
      {"Not (\"Num\" = 5) And Priority = Medium", {2}},
      {"Priority = Medium Or Not (\"Num\" = 5) And Num = -3", {2, 3}},
  });
  // A second section is not negated by a NOT in the first.
  EXPECT_EQ(Fetch("PR.Criteria(Not (\"Num\" = 5)) PR.Criteria(Priority = Low)"), (Keys{3}));
}

TEST_P(SqlFetch, SystemAttributes) {
  CheckCriteria({
      {"Key = 3", {3}},
      {"Key In 1, 4", {1, 4}},
      {"Name = ALPHA", {2}},
      {"Name Like \"%a%\"", {1, 2, 3, 4}},
      {"Name <> \"<NO ENTRY>\"", {1, 2, 3, 4, 5}},
      {"Name = \"<NO ENTRY>\"", {}},
      {"Name < c", {2, 4}},
      {"Author = Ann", {1, 3}},
      {"AuthorName = Bob", {2, 5}},
      {"Author In Ann, Bob", {1, 2, 3, 5}},
      {"Author <> Ann", {2, 4, 5}},
      {"Not Author In Ann", {2, 4, 5}},
      {"Location = Manual", {1}},
      // The database is no document: the key 0 or no value at all.
      {"Location = DATABASE", {2, 4, 5}},
      {"Location <> DATABASE", {1, 3}},
      {"Location In DATABASE, Plan", {2, 3, 4, 5}},
      {"Not Location In Manual, Plan", {2, 4, 5}},
      {"DateTime = 4/5/2003", {1, 2, 5}},
      {"DateTime = \"4/5/2003 13:07\"", {1, 5}},
      {"DateTime = \"4/5/2003 13:07:09\"", {1}},
      {"DateTime <= 4/5/2003", {1, 2, 4, 5}},
      {"DateTime > 4/5/2003", {3}},
      {"DateTime < 4/5/2003", {4}},
      {"Not DateTime = 4/5/2003", {3, 4}},
      {"IsDocTextCurrent = True", {1, 4}},
      {"IsDocTextCurrent = False", {2, 3, 5}},
      {"RootTag# = 3", {3}},
      {"HierLevel = 0", {1, 2, 3, 4, 5}},
  });
}

// A date value in a locale whose time separator stands in its dates too
// (fi-FI writes 5.4.2003 13.07) still names a day, a minute or a second.
TEST_P(SqlFetch, DateTimeInALocaleThatWritesTimesWithDots) {
  struct LocaleForThisTest {
    LocaleForThisTest() { modMain::SetLocale(platform::MakeLocaleServices("fi-FI")); }
    ~LocaleForThisTest() { modMain::SetLocale(platform::MakeLocaleServices("en-US")); }
  } locale;
  CheckCriteria({
      {"DateTime = 5.4.2003", {1, 2, 5}},
      {"DateTime = \"5.4.2003 13.07\"", {1, 5}},
      {"DateTime = \"5.4.2003 13.07.09\"", {1}},
      {"DateTime > 5.4.2003", {3}},
  });
}

TEST_P(SqlFetch, SortsOnEachDataType) {
  // No value sorts first in ascending order, last in descending order; ties
  // keep the tag order.
  CheckSorts({
      {"Priority Order Asc", {4, 1, 5, 2, 3}},
      {"Priority Order Desc", {3, 2, 1, 5, 4}},
      {"Tags Order Asc", {4, 1, 5, 3, 2}},
      {"Tags Order Desc", {2, 3, 1, 5, 4}},
      {"Desc Order Asc", {4, 1, 3, 2, 5}},
      {"Num Order Asc", {4, 3, 1, 5, 2}},
      {"Weight Order Asc", {4, 5, 1, 2, 3}},
      {"Due Order Asc", {4, 3, 1, 5, 2}},
      {"At Order Asc", {4, 5, 1, 2, 3}},
      {"At O Desc", {3, 2, 1, 5, 4}},
      {"Num Order Asc AND Weight Order Asc", {4, 3, 5, 1, 2}},
      {"Tag Order Desc", {5, 4, 3, 2, 1}},
      {"Name Order Asc", {2, 4, 3, 1, 5}},
      {"Author Order Desc", {2, 5, 1, 3, 4}},
      {"AuthorKey Order Asc", {4, 1, 3, 2, 5}},
      {"Location Order Asc", {2, 4, 5, 1, 3}},
      {"DateTime Order Desc", {3, 5, 1, 2, 4}},
  });
  // Two sort sections keep their order.
  EXPECT_EQ(Fetch("PR.Sort(Priority Order Asc) PR.Sort(Num Order Desc)"), (Keys{4, 1, 5, 2, 3}));
  EXPECT_EQ(Fetch("PR.Sort(Author Order Asc) PR.Sort(Key Order Desc)"), (Keys{4, 3, 1, 5, 2}));
}

TEST_P(SqlFetch, FiltersAndSortsTogether) {
  EXPECT_EQ(Fetch("PR.Criteria(Tags In Red, Blue) PR.Sort(Num Order Desc)"), (Keys{1, 5, 3}));
  EXPECT_EQ(Fetch("PR.Criteria(Num >= 5) PR.Sort(Tags Order Desc)"), (Keys{2, 1, 5}));
  // The same by key.
  EXPECT_EQ(Fetch("5.Criteria(14 >= 5) 5.Sort(15 Order 2)", eQLTByKey), (Keys{2, 1, 5}));
}

TEST_P(SqlFetch, AWholeProjectQuerySortsByTypeThenBySystemAttribute) {
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project,
                         "REQUIREMENT.Criteria(Key <> 2) REQUIREMENT.Sort(Name Order Desc)", info, rows, def),
            eQEENone)
      << info;
  // Type 5 first, by name descending (Echo, Delta, Charlie, bravo), then type 7.
  EXPECT_EQ(test::KeysOf(rows), (Keys{5, 1, 3, 4, 6}));
}

// Levels of the tag number: 21 (1), 22 (1.1), 23 (1.2), 24 (2), 25 (2.1).
class SqlFetchLevels : public ::testing::TestWithParam<test::StoreKind> {};

TEST_P(SqlFetchLevels, RootTagNumberAndHierarchyLevel) {
  test::StoreFixture store;
  VLQ_USE_STORE(store, GetParam());
  store.AddReqType(5, "PR");
  const std::pair<long, std::string> tags[] = {{21, test::LongTag({1})},
                                               {22, test::LongTag({1, 1})},
                                               {23, test::LongTag({1, 2})},
                                               {24, test::LongTag({2})},
                                               {25, test::LongTag({2, 1})}};
  for (const auto& [key, tag] : tags) store.AddRequirement(test::Requirement(key, 5, tag));
  auto project = store.Open();
  QueryEngine engine;
  const auto fetch = [&](const std::string& criteria, bool retainHierarchy = false) {
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) PR.Criteria(" + criteria + ")",
                           info, rows, def, retainHierarchy),
              eQEENone)
        << criteria << "\n" << info;
    return test::KeysOf(rows);
  };
  EXPECT_EQ(fetch("HierLevel = 0"), (Keys{21, 24}));
  EXPECT_EQ(fetch("HierLevel = 1"), (Keys{22, 23, 25}));
  EXPECT_EQ(fetch("RootTag# = 2"), (Keys{24, 25}));
  EXPECT_EQ(fetch("RootTag# = 1.2"), (Keys{23}));
  EXPECT_EQ(fetch("RootTag# > 1.1"), (Keys{23}));  // a tag too short for the group has -1
  EXPECT_EQ(fetch("RootTag# Between 1 And 1"), (Keys{21, 22, 23}));
  // Kept in tree order, the level is tested on the work table: the roots.
  EXPECT_EQ(fetch("HierLevel = 0", true), (Keys{21, 24}));
}

// A keyed query and its prefix form make the same statement.
TEST_P(SqlFetch, TheKeyedFormOfAQueryMakesTheSameStatement) {
  const char* queries[] = {
      "PR.Criteria(Priority = High AND Desc Like \"abc%\") PR.Sort(Num Order Desc)",
      "PR.Criteria(Not Priority In High, \"<NO ENTRY>\") PR.Sort(Tags Order Asc)",
      "PR.Criteria(Not (\"Num\" = 5 And Desc = \"it's\")) PR.Criteria(Weight Between 0.5 And 1.5)",
      "PR.Criteria(Author In Ann, Bob And Location = Manual) PR.Sort(Name Order Asc)",
      "PR.Criteria(DateTime = 4/5/2003 And Not IsDocTextCurrent = True And RootTag# = 1)",
      "PR.Criteria(Key In 1, 4 Or Name = \"<NO ENTRY>\") PR.Sort(Tag Order Desc)",
  };
  for (const char* sections : queries) {
    const std::string query = std::string("ReqType.Prefix(PR) ") + sections;
    // The keyed text comes from a definition that no statement was built
    // from: building pushes a NOT down into the expressions themselves.
    std::string info;
    std::shared_ptr<QueryDef> def;
    ASSERT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, query, info, def), eQEENone) << info;
    ASSERT_TRUE(def);
    const std::string keyedQuery = def->QueryString(eQLTByKey);

    std::string byPrefix;
    std::string keyed;
    ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, query, byPrefix, def), eQEENone) << byPrefix;
    ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByKey, project, keyedQuery, keyed, def), eQEENone)
        << keyedQuery << "\n" << keyed;
    EXPECT_EQ(keyed, byPrefix) << sections << "\nkeyed: " << keyedQuery;
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, SqlFetch, test::kBothStores, test::StoreKindName);
INSTANTIATE_TEST_SUITE_P(Stores, SqlFetchLevels, test::kBothStores, test::StoreKindName);

}  // namespace
}  // namespace vlq
