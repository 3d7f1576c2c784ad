// The query pipeline end to end on real project files: the statements of the
// empty query and of a base type in every dialect, fetching, the scope and
// leftover rules, and the argument checks of the public operations.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "engine_fixture.h"
#include "model/query_def.h"
#include "pg_fixture.h"
#include "platform/project_copy.h"
#include "sql_test_support.h"

namespace vlq {
namespace {

std::string Golden(const std::string& name) {
  std::ifstream in(std::string(VLQ_TEST_DATA_DIR) + "/" + name, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<long> Keys(const Rows& rows) {
  std::vector<long> keys;
  if (!rows.empty()) {
    for (const Variant& cell : rows[0]) keys.push_back(static_cast<long>(cell.Whole()));
  }
  return keys;
}

class EnginePipeline : public ::testing::Test {
 protected:
  test::TwoProjectWorld world;
  QueryEngine engine;
  std::string info;
  std::shared_ptr<QueryDef> def;
};

TEST_F(EnginePipeline, StatementsOfTheEmptyQueryInEveryDialect) {
  struct Row {
    const char* dbmsnamecode;
    const char* schema;
    const char* golden;
  };
  const Row rows[] = {
      {"1", "", "empty_query_access.sql"},
      {"4", "", "empty_query_access.sql"},
      {"5", "PROJ1.", "empty_query_sqlserver_proj1.sql"},
      {"7", "PROJ1.", "empty_query_sqlserver_proj1.sql"},
      {"3", "PROJ1.", "empty_query_oracle_proj1.sql"},
      {"1", "PROJ1.", "empty_query_access.sql"},
      {"8", "PROJ1.", "empty_query_postgresql_proj1.sql"},
  };
  for (const Row& row : rows) {
    auto project = world.Open(row.dbmsnamecode, row.schema);
    // A project-wide query hands back message 14006; the statement is the builder's.
    ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "", info, def), eQEENone);
    EXPECT_EQ(info, modMain::MessageWithArg(14006, test::kProjectGUID));
    EXPECT_TRUE(test::MatchesGolden(engine.LastSqlStatement(), row.golden)) << row.dbmsnamecode << " " << row.schema;
  }
}

TEST_F(EnginePipeline, BaseTypeStatementByPrefixKeyAndGUIDInAnyCase) {
  auto project = world.Open();
  const std::string expected = Golden("base_type_access.sql");
  const std::pair<enumQueryLookupTypes, const char*> queries[] = {
      {eQLTByPrefix, "ReqType.Prefix(PR)"},
      {eQLTByPrefix, "reqtype.PREFIX(pr)"},
      {eQLTByPrefix, "  REQTYPE.prefix(\"PR\")  "},
      {eQLTByKey, "ReqType.Key(5)"},
      {eQLTByGUID, "ReqType.GUID({a0000000-0000-0000-0000-000000000005})"},
  };
  for (const auto& [lookup, query] : queries) {
    ASSERT_EQ(engine.Validate(eBTRequirements, lookup, project, query, info, def), eQEENone) << query << info;
    EXPECT_EQ(info, expected) << query;
    ASSERT_TRUE(def);
    EXPECT_EQ(def->StructSpecifier(), "5");
  }
}

TEST_F(EnginePipeline, FetchOfTheEmptyQueryGivesTheProjectsKeysByTypeThenTag) {
  auto project = world.Open();
  Rows rows;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "", info, rows, def), eQEENone) << info;
  EXPECT_EQ(Keys(rows), (std::vector<long>{102, 103, 101, 201, 202}));
  EXPECT_EQ(info, test::kProjectGUID);  // the caller learns which project the keys belong to
}

TEST_F(EnginePipeline, FetchOfABaseTypeAndOfItsCount) {
  auto project = world.Open();
  Rows rows;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR)", info, rows, def), eQEENone);
  EXPECT_EQ(Keys(rows), (std::vector<long>{102, 103, 101}));
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "count ReqType.Prefix(SR)", info, rows, def),
            eQEENone);
  EXPECT_EQ(Keys(rows), (std::vector<long>{2}));
}

TEST_F(EnginePipeline, BaseTypeInAnExternalProjectRunsThere) {
  auto project = world.Open();
  Rows rows;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(EXT.PR)", info, rows, def),
            eQEENone)
      << info;
  EXPECT_EQ(Keys(rows), (std::vector<long>{901, 902}));
  EXPECT_EQ(info, test::kExtGUID);
  EXPECT_EQ(project->GUID(), test::kProjectGUID);  // the caller's reference is unchanged
  ASSERT_TRUE(def);
  EXPECT_EQ(def->QueryString(eQLTByPrefix), "ReqType.Prefix(EXT.PR) ");
  EXPECT_EQ(def->QueryString(eQLTByKey), "ReqType.Key(1.5) ");
}

// The same fetches on the world copied to the tests' server, the external
// project beside it in a schema of its own: the same keys, and the project
// that they belong to.
TEST_F(EnginePipeline, FetchesAnswerAlikeOnTheServer) {
  VLQ_REQUIRE_PG();
  test::PgSchema schema;
  platform::CopyProject(world.MainFile().string(), schema.Uri());
  auto manager = platform::StoreProjectManager::Create();
  auto onServer = manager->Open(schema.Uri());
  auto onFile = world.Open();
  for (const char* query : {"", "ReqType.Prefix(PR)", "count ReqType.Prefix(SR)", "ReqType.Prefix(EXT.PR)",
                            "ReqType.Prefix(PR) PR.Criteria(Platforms In Linux) PR.Sort(Key Order Desc)"}) {
    Rows fileRows;
    Rows serverRows;
    std::string fileInfo;
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, onFile, query, fileInfo, fileRows, def), eQEENone) << query;
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, onServer, query, info, serverRows, def), eQEENone)
        << query << ": " << info;
    EXPECT_EQ(Keys(serverRows), Keys(fileRows)) << query;
    EXPECT_EQ(info, fileInfo) << query;
  }
}

TEST_F(EnginePipeline, LeftoverTextAndTheProjectWideScope) {
  auto project = world.Open();
  // Behind a base section the leftover is reported and the statement is made.
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) xx", info, def), eQEENone);
  EXPECT_EQ(info, Golden("base_type_access.sql") + "\r\n" + modMain::MessageWithArg(14004, "xx"));
  EXPECT_TRUE(def);
  // In a project-wide query the same text is refused.
  def.reset();
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "xx", info, def), eQEEProjWideQueryExtraString);
  EXPECT_EQ(info, modMain::MessageWithArg(14005, "xx"));
  // COUNT only counts as the keyword at the very start.
  EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) COUNT", info, def),
            eQEENone);
  EXPECT_EQ(info, "\r\n" + modMain::MessageWithArg(14004, "COUNT"));
  // Validate2 makes no statement.
  EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR)", info, def), eQEENone);
  EXPECT_EQ(info, "");
}

TEST_F(EnginePipeline, ArgumentChecksOfThePublicOperations) {
  auto project = world.Open();
  Rows rows{{Variant(1)}};
  // No project: 9 before anything else, and the definition is untouched.
  auto kept = std::make_shared<QueryDef>();
  def = kept;
  EXPECT_EQ(engine.Validate(static_cast<enumQueryReturnTypes>(9), eQLTNone, nullptr, "", info, def),
            eQEEProjectNothing);
  EXPECT_EQ(info, modMain::Message(14013));
  EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, nullptr, "", info, def), eQEEProjectNothing);
  EXPECT_EQ(engine.Build(eBTRequirements, eQLTByPrefix, nullptr, "", info, def), eQEEProjectNothing);
  EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, nullptr, "", info, rows, def), eQEEProjectNothing);
  EXPECT_EQ(def, kept);
  EXPECT_EQ(Keys(rows), (std::vector<long>{1}));

  EXPECT_EQ(engine.Validate(eBTNone, eQLTByPrefix, project, "", info, def), eQEEInvalidBaseQueryType);
  EXPECT_EQ(info, modMain::Message(14002));
  EXPECT_EQ(engine.Validate(static_cast<enumQueryReturnTypes>(4), eQLTByPrefix, project, "", info, def),
            eQEEInvalidBaseQueryType);
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTNone, project, "", info, def), eQEEInvalidLookupType);
  EXPECT_EQ(info, modMain::Message(14003));
  EXPECT_EQ(engine.Fetch(eBTRequirements, static_cast<enumQueryLookupTypes>(4), project, "", info, rows, def),
            eQEEInvalidLookupType);

  // Documents pass the check, read no section and get no statement.
  EXPECT_EQ(engine.Validate(eBTDocuments, eQLTByPrefix, project, "some text", info, def), eQEENone);
  EXPECT_EQ(info, "\r\n" + modMain::MessageWithArg(14004, "some text"));

  // A closed engine takes no more queries, and says so.
  engine.CloseQueryEngine();
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "", info, def), eQEENoQuery);
  EXPECT_EQ(info, modMain::Message(14135));
  EXPECT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, "", info, def), eQEENoQuery);
  EXPECT_EQ(engine.Build(eBTRequirements, eQLTByPrefix, project, "", info, def), eQEENoQuery);
  EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "", info, rows, def, true), eQEENoQuery);
  EXPECT_EQ(Keys(rows), (std::vector<long>{1}));
  engine.CloseQueryEngine();
}

TEST_F(EnginePipeline, ReadingFailuresOfTheBaseSection) {
  auto project = world.Open();
  struct Row {
    const char* query;
    enumQueryEngineError code;
    long message;  // 0: message not compared
  };
  const Row rows[] = {
      {"ReqType.Prefix() PR.Criteria(a = 1)", eQEEMissingBaseTypePrefix, 14011},
      {"ReqType.Prefix (PR)", eQEEMissingBaseTypePrefix, 14011},
      {"ReqType.Prefix(XX)", eQEEUnknownExprPrefix, 0},
      {"ReqType.Prefix(NOEXT.PR)", eQEEExtProjUnknown, 0},
      {"ReqType.Prefix(EXT.XX)", eQEEUnknownExprPrefix, 0},
  };
  for (const Row& row : rows) {
    def.reset();
    EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, row.query, info, def), row.code) << row.query;
    if (row.message != 0) {
      EXPECT_EQ(info, modMain::Message(row.message)) << row.query;
    }
    EXPECT_FALSE(def) << row.query;  // a failing section leaves no definition
  }
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(XX)", info, def),
            eQEEUnknownExprPrefix);
  EXPECT_EQ(info, modMain::MessageWithArg(14120, "XX"));
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(NOEXT.PR)", info, def),
            eQEEExtProjUnknown);
  EXPECT_EQ(info, modMain::MessageWithArg(14116, "NOEXT"));
}

TEST_F(EnginePipeline, DiscussionStatementsForARestrictedUser) {
  auto project = world.Open("", "", "Ann");
  ASSERT_EQ(engine.Validate(eBTDiscussions, eQLTByPrefix, project, "", info, def), eQEENone) << info;
  EXPECT_EQ(info, Golden("discussions_access_restricted.sql"));
  project = world.Open("3", "PROJ1.", "Ann");
  ASSERT_EQ(engine.Validate(eBTDiscussions, eQLTByPrefix, project, "", info, def), eQEENone) << info;
  EXPECT_EQ(info, Golden("discussions_oracle_restricted_proj1.sql"));
  project = world.Open("8", "PROJ1.", "Ann");
  ASSERT_EQ(engine.Validate(eBTDiscussions, eQLTByPrefix, project, "", info, def), eQEENone) << info;
  EXPECT_TRUE(test::MatchesGolden(info, "discussions_postgresql_restricted_proj1.sql"));
  // A privileged user sees every discussion: no restriction, no user tables.
  project = world.Open("", "", "Bob");
  ASSERT_EQ(engine.Validate(eBTDiscussions, eQLTByPrefix, project, "", info, def), eQEENone) << info;
  EXPECT_EQ(info.find("RESTRICTED"), std::string::npos);
  EXPECT_EQ(info.find("VLDISCUSSIONUSERS"), std::string::npos);
}

TEST_F(EnginePipeline, MakingTheStatementLeavesTheCallersDefinitionAsItWasRead) {
  auto project = world.Open();
  const std::string query = "ReqType.Prefix(PR) PR.Criteria(NOT (\"Platforms\" = Linux OR \"Platforms\" = Windows))";
  ASSERT_EQ(engine.Validate2(eBTRequirements, eQLTByPrefix, project, query, info, def), eQEENone) << info;
  const std::string asRead = def->QueryString(eQLTByPrefix);
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, query, info, def), eQEENone) << info;
  const std::string statement = info;
  EXPECT_EQ(def->QueryString(eQLTByPrefix), asRead);
  // Pushing the NOT down writes each leaf negated, joined by AND.
  EXPECT_NE(statement.find(" NOT "), std::string::npos);
  EXPECT_NE(statement.find("\r\nAND "), std::string::npos);
  // The same definition read back makes the same statement again.
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, asRead, info, def), eQEENone) << info;
  EXPECT_EQ(info, statement);
}

}  // namespace
}  // namespace vlq

namespace vlq {
namespace {

// How a bad query shows, section by section: the code, and the message.
TEST_F(EnginePipeline, EveryReadingFailureGivesItsCodeAndMessage) {
  auto project = world.Open();
  struct Row {
    const char* query;
    enumQueryEngineError code;
    std::string message;
  };
  const Row rows[] = {
      {"ReqType.Prefix(PR) PR.Criteria()", eQEEMissingExprPrefix, modMain::Message(14122)},
      {"ReqType.Prefix(PR) PR.Criteria (a = 1)", eQEEMissingExprPrefix, modMain::Message(14122)},
      {"ReqType.Prefix(PR) PR.Criteria(AND a = 1)", eQEEExprStartErr, modMain::Message(14127)},
      {"ReqType.Prefix(PR) PR.Criteria(a = 1 b = 2)", eQEEExprConnErr, modMain::Message(14124)},
      {"ReqType.Prefix(PR) PR.Criteria(Priority)", eQEEMissingExprOperator,
       modMain::MessageWithArg(14019, "Priority")},
      {"ReqType.Prefix(PR) PR.Criteria(a =)", eQEEMissingExprValue, modMain::MessageWithArg(14022, "a =")},
      {"ReqType.Prefix(PR) PR.Criteria(a Between 1)", eQEEBetweenMissingAnd, modMain::MessageWithArg(14020, "")},
      {"ReqType.Prefix(PR) PR.RelCriteria(STATUS = \"SUSPECT\")", eQEESystemAttrOp, modMain::Message(14012)},
      {"ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO = SR)", eQEEExpressionNothing,
       modMain::MessageWithArg(14056, "TRACED-TO = SR")},
      {"ReqType.Prefix(PR) PR.Sort(Platforms Order Sideways)", eQEEUnknownSortConstant, modMain::Message(14068)},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, row.query, info, def), row.code) << row.query;
    EXPECT_EQ(info, row.message) << row.query;
  }
  // Text that no section claims: kept behind the statement, or refused project-wide.
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "XPR.Criteria(a = 1)", info, def),
            eQEEProjWideQueryExtraString);
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) XPR.Criteria(a = 1)", info,
                            def),
            eQEENone);
  EXPECT_NE(info.find(modMain::MessageWithArg(14004, "XPR.Criteria(a = 1)")), std::string::npos);
  // A relationship section in a project-wide query is never read.
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "REQUIREMENT.RelCriteria(TRACED-TO In SR)", info,
                            def),
            eQEEProjWideQueryExtraString);
}

}  // namespace
}  // namespace vlq
