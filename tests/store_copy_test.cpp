// Copying projects between stores: every row comes back as it was after a
// journey through the server, external projects come along and are named
// anew, and a copy that can't be made leaves every target as it was.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "demo_project.h"
#include "pg_fixture.h"
#include "platform/project_copy.h"
#include "platform/project_schema.h"
#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "store_fixture.h"
#include "tool_process.h"

namespace vlq {
namespace {

using platform::CopyProject;
using test::PgSchema;
using test::TempDir;

// Every row of every table of a project file but the work tables, each cell
// with its type, the rows of a table sorted.
using Contents = std::map<std::string, std::vector<std::string>>;

Contents ReadContents(const std::filesystem::path& file) {
  Contents contents;
  auto connection = platform::SqliteConnection::Open(file, false);
  for (const platform::schema::TableDef& table : platform::schema::Tables()) {
    if (table.WorkTable) continue;
    std::string columns;
    for (const auto& column : table.Columns) columns += (columns.empty() ? "" : ", ") + std::string(column.Name);
    platform::SqliteStatement rows(connection->Handle(), "SELECT " + columns + " FROM " + std::string(table.Name),
                                   "test");
    auto& out = contents[std::string(table.Name)];
    while (rows.Step()) {
      std::string row;
      for (int c = 0; c < rows.ColumnCount(); ++c) {
        const Variant v = rows.Value(c);
        row += v.IsNull() ? "N" : v.IsWhole() ? "W" : v.IsReal() ? "R" : "T";
        row += ":" + v.ToText() + "|";
      }
      out.push_back(row);
    }
    std::sort(out.begin(), out.end());
  }
  return contents;
}

std::vector<std::string> ReferenceRows(const std::string& location) {
  auto manager = platform::StoreProjectManager::Create();
  auto project = manager->Open(location);
  long affected = 0;
  const Rows rows = project->GetDataServices("")
                        ->Execute("SELECT PREFIX, PATH, FILENAME FROM VLEXTERNALPROJECTS ORDER BY RELKEY", affected)
                        ->GetRows();
  std::vector<std::string> out;
  for (std::size_t r = 0; r < rows[0].size(); ++r) {
    out.push_back(rows[0][r].ToText() + " " + rows[1][r].ToText() + " " + rows[2][r].ToText());
  }
  return out;
}

// A project file through every kind of copy: file to server, server to
// server, server to file, file to file. The last file holds what the first
// one held, row for row and type for type, but for the references, which
// name the copies.
TEST(StoreCopy, AJourneyThroughEveryKindOfCopyKeepsEveryRow) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  TempDir dir;
  std::filesystem::create_directories(dir.Path() / "other");
  for (std::uint64_t seed : {1, 2, 3}) {
    const std::string n = std::to_string(seed);
    tools::DemoOptions options;
    options.Requirements = 40;
    options.Seed = seed;
    const std::filesystem::path first = dir.Path() / ("a" + n + ".vlp");
    tools::MakeDemoProject(first, options);
    const std::string s1 = schema.Name() + "_one" + n;
    const std::string s2 = schema.Name() + "_two" + n;
    const std::filesystem::path back = dir.Path() / ("b" + n + ".vlp");
    const std::filesystem::path last = dir.Path() / "other" / ("c" + n + ".vlp");

    const auto toServer = CopyProject(first.string(), PgSchema::UriOf(s1));
    ASSERT_EQ(toServer.size(), 2u);
    EXPECT_EQ(toServer[1].To, PgSchema::UriOf(s1 + "_ext"));
    EXPECT_EQ(ReferenceRows(PgSchema::UriOf(s1)),
              (std::vector<std::string>{"EXT  " + s1 + "_ext", "OLD . retired.vlp"}));
    CopyProject(PgSchema::UriOf(s1), PgSchema::UriOf(s2));
    CopyProject(PgSchema::UriOf(s2), back.string());
    const auto toLast = CopyProject(back.string(), last.string());
    ASSERT_EQ(toLast.size(), 2u);
    EXPECT_EQ(toLast[1].To, (dir.Path() / "other" / ("c" + n + "-ext.vlp")).string());

    Contents before = ReadContents(first);
    Contents after = ReadContents(last);
    EXPECT_EQ(ReadContents(dir.Path() / ("a" + n + "-ext.vlp")),
              ReadContents(dir.Path() / "other" / ("c" + n + "-ext.vlp")));
    before.erase("VLEXTERNALPROJECTS");
    after.erase("VLEXTERNALPROJECTS");
    EXPECT_EQ(before, after) << "seed " << seed;
    EXPECT_EQ(ReferenceRows(last.string()), (std::vector<std::string>{"EXT  c" + n + "-ext.vlp", "OLD . retired.vlp"}));
  }
}

TEST(StoreCopy, ExistingTargetsAreReplacedOnlyWhenAskedTo) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  TempDir dir;
  const std::filesystem::path demo = dir.Path() / "demo.vlp";
  tools::DemoOptions options;
  options.Requirements = 20;
  tools::MakeDemoProject(demo, options);
  const std::filesystem::path target = dir.Path() / "t.vlp";
  platform::CreateProjectFile(target, test::ProjectInfo(9, "KEEP"));
  platform::CreateProject(schema.Uri(), test::ProjectInfo(9, "KEEP"));
  const auto prefix = [](const std::string& location) {
    return platform::StoreProjectManager::Create()->Open(location)->Prefix();
  };

  for (const std::string& to : {target.string(), schema.Uri()}) {
    try {
      CopyProject(demo.string(), to);
      ADD_FAILURE() << to;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), platform::kFailureObjectExists);
      EXPECT_NE(f.Description().find(to), std::string::npos) << f.Description();
    }
    EXPECT_EQ(prefix(to), "KEEP");
    platform::CopyOptions replace;
    replace.Replace = true;
    CopyProject(demo.string(), to, replace);
    EXPECT_EQ(prefix(to), "DEMO");
  }
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path())) {
    EXPECT_NE(entry.path().filename().string()[0], '.') << "left behind: " << entry.path();
  }
  EXPECT_EQ(prefix((dir.Path() / "t-ext.vlp").string()), "EXT");
  EXPECT_EQ(prefix(PgSchema::UriOf(schema.Name() + "_ext")), "EXT");
}

TEST(StoreCopy, ACopyThatCantBeMadeLeavesNothingBehind) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  TempDir dir;
  // A date the server can't read, in the second project of the copy: the
  // first one is gone again too.
  test::StoreFixture side(test::ProjectInfo(2, "SIDE"), "side.vlp");
  side.Exec("INSERT INTO VLDISCUSSIONS (ID, ROOTID, SUBJECT, SUBMITDATETIME) VALUES (1, 1, 'x', 'not a date')");
  test::StoreFixture bad(test::ProjectInfo(1, "BAD"));
  bad.AddReqType(1, "PR");
  bad.AddRequirement(1, 1, test::LongTag({1}));
  bad.AddExtProject(1, "SIDE", "{S}", side.Dir().string(), "side.vlp");
  EXPECT_THROW(CopyProject(bad.File().string(), schema.Uri()), Failure);
  EXPECT_EQ(schema.Exec("SELECT nspname FROM pg_namespace WHERE nspname LIKE $1", {schema.Name() + "%"}).RowCount(), 0);

  // A live reference to a project that isn't there.
  test::StoreFixture broken(test::ProjectInfo(1, "BRK"));
  broken.AddExtProject(1, "GONE", "{G}", "", "gone.vlp");
  for (const std::string& to : {(dir.Path() / "x.vlp").string(), schema.Uri()}) {
    try {
      CopyProject(broken.File().string(), to);
      ADD_FAILURE() << to;
    } catch (const Failure& f) {
      EXPECT_NE(f.Description().find("GONE"), std::string::npos) << f.Description();
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));

  // Onto itself.
  test::StoreFixture plain;
  EXPECT_THROW(CopyProject(plain.File().string(), (plain.Dir() / "." / "project.vlp").string()), Failure);
}

// The tool: a demo on the server, copied back to a file, answers as the demo
// file does, in base sections and trace filters of the external project too.
TEST(StoreCopy, TheToolCopiesAndTheCopyAnswersAsBefore) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  vlq::testing::TempDir dir;
  using vlq::testing::RunVlquery;
  ASSERT_EQ(RunVlquery({"demo", dir / "demo.vlp", "--requirements", "60", "--seed", "5"}).status, 0);
  const auto demo = RunVlquery({"demo", schema.Uri(), "--requirements", "60", "--seed", "5"});
  ASSERT_EQ(demo.status, 0) << demo.err;
  EXPECT_NE(demo.out.find(schema.Name() + "_ext"), std::string::npos) << demo.out;

  const auto copied = RunVlquery({"copy", schema.Uri(), dir / "back.vlp"});
  ASSERT_EQ(copied.status, 0) << copied.err;
  EXPECT_EQ(copied.out, schema.Uri() + " -> " + (dir / "back.vlp") + "\n" + PgSchema::UriOf(schema.Name() + "_ext") +
                            " -> " + (dir / "back-ext.vlp") + "\n");
  const auto again = RunVlquery({"copy", schema.Uri(), dir / "back.vlp"});
  EXPECT_EQ(again.status, 3);
  EXPECT_NE(again.err.find("--replace"), std::string::npos) << again.err;
  EXPECT_EQ(RunVlquery({"copy", "--replace", schema.Uri(), dir / "back.vlp"}).status, 0);

  for (const char* query : {"ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Name Order Asc)",
                            "ReqType.Prefix(EXT.PR) EXT.PR.Criteria(Priority = High)",
                            "ReqType.Prefix(SR) SR.RelCriteria(TRACED-TO In EXT.IF)",
                            "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In FEAT AND STATUS = \"SUSPECT\")"}) {
    const auto before = RunVlquery({"fetch", dir / "demo.vlp", query});
    const auto after = RunVlquery({"fetch", dir / "back.vlp", query});
    EXPECT_EQ(before.status, 0) << query << ": " << before.err;
    EXPECT_EQ(after.out, before.out) << query;
  }

  // Until the engine writes its own statements for the server, validate shows
  // that a server project opens.
  EXPECT_EQ(RunVlquery({"validate", schema.Uri(), "ReqType.Prefix(PR) PR.Criteria(Priority = High)"}).status, 0);
  EXPECT_EQ(RunVlquery({"create", PgSchema::UriOf(schema.Name() + "_new"), "--prefix", "NEW"}).status, 0);
  EXPECT_EQ(RunVlquery({"create", PgSchema::UriOf(schema.Name() + "_new")}).status, 3);
}

}  // namespace
}  // namespace vlq
