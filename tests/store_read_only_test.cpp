// A project file that may be read but not written (a baseline on a read-only
// share) answers every query: closures, tree order and sort views included,
// and nothing in the file changes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "closure_test_support.h"
#include "engine/query_engine.h"
#include "model/query_def.h"
#include "sql_test_support.h"
#include "store_fixture.h"
#include "tool_process.h"

namespace vlq {
namespace {

using Keys = std::vector<long>;

// The queries of the test, each with a closure, a tree order, a sort view of
// a multi-select list, or none of these.
struct Query {
  std::string text;
  bool hierarchy = false;
};

const std::vector<Query>& Queries() {
  static const std::vector<Query> queries = {
      {"ReqType.Prefix(PR) PR.Criteria(Rank > 3)"},
      {"ReqType.Prefix(PR) PR.Sort(Tags Order Desc)"},
      {"ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\")"},
      {"ReqType.Prefix(PR) PR.Criteria(Rank > 3)", true},
      {"ReqType.Prefix(PR) PR.Criteria(Rank = 1) PR.Sort(Tags Order Asc)", true},
      {"COUNT ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\")", true},
  };
  return queries;
}

class ReadOnlyProject : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.Exec(test::ReadGolden("hierarchy_tree.sql"));
    // 111 -> 11 -> 70 (SR): 111 reaches an SR over one step.
    store_.AddTrace(11, 70);
    store_.AddTrace(111, 11);
    // Everything in the file itself, nothing in its log.
    store_.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
  }

  std::vector<Keys> Answers(const std::shared_ptr<Project>& project) {
    std::vector<Keys> answers;
    for (const Query& query : Queries()) {
      QueryEngine engine;
      std::string info;
      Rows rows;
      std::shared_ptr<QueryDef> def;
      EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, query.text, info, rows, def, query.hierarchy),
                eQEENone)
          << query.text << ": " << info;
      EXPECT_EQ(test::WorkTableRows(*project), 0) << query.text;
      answers.push_back(test::KeysOf(rows));
    }
    return answers;
  }

  test::StoreFixture store_;
};

TEST_F(ReadOnlyProject, AnswersAsTheWritableFileDoesAndChangesNothing) {
  const std::string before = testing::ReadFile(store_.File());
  auto manager = platform::SqliteProjectManager::Create();
  manager->OpenReadOnly(true);
  const std::vector<Keys> readOnly = Answers(manager->Open(store_.File()));
  EXPECT_EQ(testing::ReadFile(store_.File()), before);
  EXPECT_FALSE(std::filesystem::exists(store_.File().string() + "-journal"));

  const std::vector<Keys> writable = Answers(store_.Open());
  EXPECT_EQ(readOnly, writable);
}

// A file written by another tool, without the engine's work tables and
// attribute views, opened read-only: what it lacks lives in the connection.
TEST(ReadOnlyPlainFile, GetsWhatItLacksForTheConnection) {
  test::StoreFixture store;
  store.AddReqType(5, "PR");
  store.AddAttr(40, 5, "Rank", eADTWholeNumber);
  store.AddRequirement(1, 5, test::LongTag({1}));
  store.SetValue(1, 40, 7);
  store.Exec("DROP VIEW VLATTRVALUESVIEW_40; DROP TABLE VLHIERARCHYTABLETEMP; DROP TABLE VLDOCUMENTS");
  store.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
  auto manager = platform::SqliteProjectManager::Create();
  manager->OpenReadOnly(true);
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, manager->Open(store.File()),
                         "ReqType.Prefix(PR) PR.Criteria(Rank = 7)", info, rows, def, true),
            eQEENone)
      << info;
  EXPECT_EQ(test::KeysOf(rows), (Keys{1}));
  EXPECT_EQ(test::ScalarOf(store, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'VLATTRVALUESVIEW_40'"), 0);
}

// The real thing: a user without write rights on the file and its directory
// runs the tool on it. Only root can set that up here.
TEST(ReadOnlyShare, AUserWithoutWriteRightsGetsTheAnswers) {
  if (::geteuid() != 0 || ::access("/usr/sbin/runuser", X_OK) != 0) {
    GTEST_SKIP() << "needs root and runuser to act as a user without write rights";
  }
  testing::TempDir share;
  const std::filesystem::path file = share.path() / "baseline.vlp";
  {
    test::StoreFixture store;
    store.Exec(test::ReadGolden("hierarchy_tree.sql"));
    store.AddTrace(11, 70);
    store.Exec("PRAGMA wal_checkpoint(TRUNCATE)");
    std::filesystem::copy_file(store.File(), file);
  }
  ::chmod(file.c_str(), 0444);
  ::chmod(share.path().c_str(), 0555);
  const auto fetch = [&](std::vector<std::string> args) {
    std::vector<std::string> all{"-u", "nobody", "--", VLQUERY_BINARY, "fetch", file.string()};
    all.insert(all.end(), args.begin(), args.end());
    return testing::RunProgram("/usr/sbin/runuser", all);
  };
  const auto plain = fetch({"ReqType.Prefix(PR) PR.Sort(Tags Order Desc)"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  const auto tree = fetch({"--hierarchy", "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = "
                                          "\"FALSE\") PR.Criteria(Rank > 0)"});
  EXPECT_EQ(tree.status, 0) << tree.err;
  EXPECT_EQ(tree.out, "10\n11\n");
  ::chmod(share.path().c_str(), 0755);
}

}  // namespace
}  // namespace vlq
