// Names beyond ASCII, end to end on a project file: type prefixes, section
// keywords, attribute labels, list items, users, groups and documents compare
// without regard to case for all of Unicode, also where the case changes the
// length of a name in the query's text.
//
// The project:
//   type 5 ÄR:      12 Größe (whole number), 13 Farbe (list: 41 Grün, 42 Weiß)
//   type 6 STRAẞE:  22 Größe (whole number)
//   type 8 X\xFF    (a prefix that isn't UTF-8)
//   users 3 Élodie, 4 Søren; group 9 Prüfer; document 7 Spëcification
//
// | Req | Type   | Größe | Farbe | Author | Location      | traces to |
// | 101 | ÄR     |   4   | Grün  | Élodie | Spëcification |           |
// | 102 | ÄR     |   5   | Weiß  | Søren  |               |           |
// | 103 | ÄR     |       |       |        |               |           |
// | 201 | STRAẞE |   1   |       |        |               | 101       |
// | 202 | STRAẞE |   2   |       |        |               | 102       |
// | 203 | STRAẞE |   3   |       |        |               | 103       |
// | 301 | X\xFF  |       |       |        |               |           |
#include <gtest/gtest.h>

#include "sql_test_support.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

class UnicodeNames : public ::testing::Test {
 protected:
  void SetUp() override {
    store.AddReqType(5, "ÄR");
    store.AddReqType(6, "STRAẞE");
    store.AddReqType(8, "X\xFF");
    store.AddAttr(12, 5, "Größe", eADTWholeNumber);
    store.AddAttr(13, 5, "Farbe", eADTList);
    store.AddListItem(13, 41, 1, "Grün");
    store.AddListItem(13, 42, 2, "Weiß");
    store.AddAttr(22, 6, "Größe", eADTWholeNumber);
    store.AddUser(3, "Élodie", 9);
    store.AddUser(4, "Søren");
    store.AddGroup(9, "Prüfer");
    store.InsertRow("VLDOCUMENTS", {{"ID", 7}, {"NAME", "Spëcification"}, {"GUID", "{D7}"}});

    test::Requirement r101 = test::Req(101, 5, 1);
    r101.AuthorKey = 3;
    r101.DocumentKey = 7;
    store.AddRequirement(r101);
    test::Requirement r102 = test::Req(102, 5, 2);
    r102.AuthorKey = 4;
    store.AddRequirement(r102);
    store.AddRequirement(test::Req(103, 5, 3));
    for (long key : {201, 202, 203}) store.AddRequirement(test::Req(key, 6, key - 200));
    store.AddRequirement(test::Req(301, 8, 1));
    store.SetValue(101, 12, 4);
    store.SetValue(102, 12, 5);
    store.ChooseItem(101, 13, 41);
    store.ChooseItem(102, 13, 42);
    for (long key : {201, 202, 203}) {
      store.SetValue(key, 22, key - 200);
      store.AddTrace(key, key - 100);
    }
    project = store.Open();
  }

  Keys Fetch(const std::string& query, enumQueryEngineError expected = eQEENone) {
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, query, info, rows, def), expected)
        << query << "\n"
        << info;
    return test::KeysOf(rows);
  }

  test::StoreFixture store;
  std::shared_ptr<Project> project;
  QueryEngine engine;
};

TEST_F(UnicodeNames, EveryKindOfNameComparesWithoutCase) {
  const struct {
    const char* query;
    Keys keys;
  } rows[] = {
      {"ReqType.Prefix(är) är.Criteria(GRÖSSE = 4)", {101}},
      {"ReqType.Prefix(ÄR) Är.Criteria(größe > 4)", {102}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(Farbe = \"GRÜN\")", {101}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(FARBE In grün, \"WEISS\")", {101, 102}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(Not Farbe In weiß)", {101, 103}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(Author = \"ÉLODIE\")", {101}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(Author In élodie, SØREN)", {101, 102}},
      {"ReqType.Prefix(ÄR) ÄR.Criteria(Location = \"SPËCIFICATION\")", {101}},
      // System attribute words fold too: the first letter is the Kelvin sign.
      {"ReqType.Prefix(ÄR) ÄR.Criteria(\u212Aey = 102)", {102}},
      {"COUNT ReqType.Prefix(ÄR) ÄR.Criteria(Größe > 0)", {2}},
  };
  for (const auto& row : rows) EXPECT_EQ(Fetch(row.query), row.keys) << row.query;
}

TEST_F(UnicodeNames, SectionsWhereTheCaseChangesTheLengthOfThePrefix) {
  // The type is STRAẞE (8 bytes); the query writes it in 7 ("strasse") and in
  // 10 bytes ("ſtraſſe"), in several sections of one query, so each section
  // must be cut where its own keyword ends.
  const struct {
    const char* query;
    Keys keys;
  } rows[] = {
      {"ReqType.Prefix(strasse) strasse.Criteria(Größe > 1)", {202, 203}},
      {"ReqType.Prefix(STRASSE) ſtraſſe.Criteria(Größe < 3) Strasse.Sort(Größe Order Desc)", {202, 201}},
      {"ReqType.Prefix(strasse) ſtraſſe.Criteria(Größe > 0) STRASSE.RelCriteria(TRACED-TO In är) "
       "är.Criteria(GRÖẞE > 3) Straße.Sort(Größe Order Desc)",
       {202, 201}},
      {"ReqType.Prefix(ſtraſſe) STRASSE.RelCriteria(Not TRACED-TO In ÄR) strasse.Sort(GRÖSSE Order Asc)", {}},
  };
  for (const auto& row : rows) EXPECT_EQ(Fetch(row.query), row.keys) << row.query;
}

TEST_F(UnicodeNames, BytesOfNoCharacterEqualOnlyThemselves) {
  EXPECT_EQ(Fetch("ReqType.Prefix(x\xFF) X\xFF.Sort(Key Order Asc)"), Keys{301});
  for (const char* query : {"ReqType.Prefix(x\xFE)", "ReqType.Prefix(\xC3R)", "ReqType.Prefix(X\xC3\xBF)"}) {
    EXPECT_EQ(Fetch(query, eQEEUnknownExprPrefix), Keys{}) << query;
  }
  EXPECT_EQ(Fetch("ReqType.Prefix(ÄR) ÄR.Criteria(Farbe = \"Gr\xFCn\")", eQEEUnknownOperandListItemPrefix), Keys{});
  // Cut anywhere, a query with names beyond ASCII is refused or answered,
  // never more.
  const std::string query =
      "ReqType.Prefix(strasse) ſtraſſe.Criteria(Größe > 0) STRASSE.RelCriteria(TRACED-TO In är) är.Criteria(GRÖẞE > 3)";
  for (std::size_t cut = 0; cut <= query.size(); ++cut) {
    std::string info;
    Rows rows;
    std::shared_ptr<QueryDef> def;
    engine.Validate(eBTRequirements, eQLTByPrefix, project, query.substr(0, cut), info, def);
    engine.Fetch(eBTRequirements, eQLTByPrefix, project, query.substr(0, cut) + "\xA4", info, rows, def);
  }
}

TEST_F(UnicodeNames, UsersAndGroupsOfTheStore) {
  EXPECT_EQ(store.Manager()->Open(store.File(), "ÉLODIE")->CurrentUserKey(), 3);
  std::string info;
  std::shared_ptr<QueryDef> def;
  EXPECT_EQ(
      engine.Validate(eBTDiscussions, eQLTByPrefix, project, "DISCUSSION.Criteria(Group = \"PRÜFER\")", info, def),
      eQEENone)
      << info;
  EXPECT_NE(
      engine.Validate(eBTDiscussions, eQLTByPrefix, project, "DISCUSSION.Criteria(Group = \"PRUFER\")", info, def),
      eQEENone);
}

}  // namespace
}  // namespace vlq
