// Several processes on one server project at once: the work tables are
// shared and every session keeps to its own rows, and the first process to
// open a project that nobody uses clears the rows that dead processes left;
// the engine's closures and trees in processes of the tool at once answer as
// in a lone run.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <latch>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "demo_project.h"
#include "pg_fixture.h"
#include "platform/project_copy.h"
#include "platform/store_project_manager.h"
#include "store_fixture.h"
#include "tool_process.h"

namespace vlq {
namespace {

using test::PgSchema;

// Runs body in a child process; its result is the child's exit status. The
// child leaves by _exit: nothing of the parent's is torn down twice.
pid_t Spawn(const std::function<int()>& body) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    int status = 1;
    try {
      status = body();
    } catch (...) {
      status = 2;
    }
    ::_exit(status);
  }
  return pid;
}

int ExitStatus(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

long Count(const PgSchema& schema, const std::string& table) {
  return static_cast<long>(schema.Exec("SELECT count(*) FROM " + schema.Name() + "." + table).Whole(0, 0));
}

TEST(ServerSessions, RowsOfADeadProcessGoWhenNobodyUsesTheProject) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  platform::CreateProject(schema.Uri(), test::ProjectInfo(1, "PRJ"));
  auto first = platform::StoreProjectManager::Create();
  first->Open(schema.Uri());

  // A process writes work rows and dies without a word; the server ends its
  // session when it notices.
  int channel[2];
  ASSERT_EQ(::pipe(channel), 0);
  const pid_t child = Spawn([&] {
    auto data = platform::StoreProjectManager::Create()->Open(schema.Uri())->GetDataServices("");
    long affected = 0;
    data->Execute("INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (1, 77)", affected);
    data->Execute("INSERT INTO VLHIERARCHYTABLETEMP (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) VALUES (77, 1, '1')",
                  affected);
    const std::string pid = data->Execute("SELECT pg_backend_pid()", affected)->GetRows()[0][0].ToText() + "\n";
    return ::write(channel[1], pid.data(), pid.size()) == static_cast<ssize_t>(pid.size()) ? 0 : 1;
  });
  char buffer[32] = {};
  ASSERT_GT(::read(channel[0], buffer, sizeof buffer - 1), 0);
  ::close(channel[0]);
  ::close(channel[1]);
  ASSERT_EQ(ExitStatus(child), 0);
  const std::string backend = std::string(buffer).substr(0, std::string(buffer).find('\n'));
  for (int i = 0; i < 3000 && schema.Exec("SELECT 1 FROM pg_stat_activity WHERE pid = $1", {backend}).RowCount(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  // The project is still in use here: its rows stay.
  platform::StoreProjectManager::Create()->Open(schema.Uri());
  EXPECT_EQ(Count(schema, "VLTRACETABLEINDIR"), 1);
  EXPECT_EQ(Count(schema, "VLHIERARCHYTABLETEMP"), 1);
  // Nobody uses it any more: the next one in clears them.
  first.reset();
  platform::StoreProjectManager::Create()->Open(schema.Uri());
  EXPECT_EQ(Count(schema, "VLTRACETABLEINDIR"), 0);
  EXPECT_EQ(Count(schema, "VLHIERARCHYTABLETEMP"), 0);
}

// What a closure and a hierarchy do with the work tables, by several
// processes at once, released together: each session's rows come back in the
// order it inserted them and in the number it wrote, and it deletes exactly
// those. An attribute view is missing at the start, so that all of them race
// to complete the schema.
TEST(ServerSessions, ProcessesAtOnceKeepToTheirOwnSessions) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  test::TempDir dir;
  tools::DemoOptions options;
  options.Requirements = 150;
  tools::MakeDemoProject(dir.Path() / "demo.vlp", options);
  platform::CopyProject((dir.Path() / "demo.vlp").string(), schema.Uri());
  schema.Exec("DROP VIEW " + schema.Name() + ".VLATTRVALUESVIEW_10");

  int start[2];
  ASSERT_EQ(::pipe(start), 0);
  std::vector<pid_t> children;
  for (int n = 1; n <= 4; ++n) {
    children.push_back(Spawn([&, n] {
      ::close(start[1]);
      char go = 0;
      if (::read(start[0], &go, 1) < 0) return 3;
      auto data = platform::StoreProjectManager::Create()->Open(schema.Uri())->GetDataServices("");
      const auto column = [&](const std::string& sql) {
        long affected = 0;
        std::vector<std::string> out;
        const Rows rows = data->Execute(sql, affected)->GetRows();
        for (const Variant& cell : rows[0]) out.push_back(cell.ToText());
        return out;
      };
      for (int round = 0; round < 5; ++round) {
        const std::string sid = std::to_string(n * 1000 + round);
        const std::string type = std::to_string(1 + (n + round) % 4);
        const std::vector<std::string> expected =
            column("SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTTYPEID = " + type + " ORDER BY LONGTAGNUMBER, ID");
        long inserted = 0;
        data->Execute("INSERT INTO VLHIERARCHYORDEREDLEVELSTEMP (SESSIONID, REQUIREMENTID, LONGTAGNUMBER) SELECT " +
                          sid + ", ID, LONGTAGNUMBER FROM VLREQUIREMENTS WHERE REQUIREMENTTYPEID = " + type +
                          " ORDER BY LONGTAGNUMBER, ID",
                      inserted);
        long traced = 0;
        data->Execute(
            "INSERT INTO VLTRACETABLETEMP (ROOTID, PROJECTID, ID, LVL, SESSIONID, STATUS) SELECT "
            "T.REQUIREMENTID, 0, T.TOID, 1, " +
                sid +
                ", T.STATE FROM VLTORELATIONSHIPS AS T INNER JOIN "
                "VLHIERARCHYORDEREDLEVELSTEMP AS L ON L.REQUIREMENTID = T.REQUIREMENTID WHERE L.SESSIONID = " +
                sid,
            traced);
        if (inserted != static_cast<long>(expected.size())) return 10;
        if (column("SELECT REQUIREMENTID FROM VLHIERARCHYORDEREDLEVELSTEMP WHERE SESSIONID = " + sid +
                   " ORDER BY DATAORDER") != expected) {
          return 11;
        }
        if (column("SELECT COUNT(*) FROM VLTRACETABLETEMP WHERE SESSIONID = " + sid) !=
            std::vector<std::string>{std::to_string(traced)}) {
          return 12;
        }
        long deleted = 0;
        data->Execute("DELETE FROM VLTRACETABLETEMP WHERE SESSIONID = " + sid, deleted);
        if (deleted != traced) return 13;
        data->Execute("DELETE FROM VLHIERARCHYORDEREDLEVELSTEMP WHERE SESSIONID = " + sid, deleted);
        if (deleted != inserted) return 14;
      }
      return 0;
    }));
  }
  ::close(start[0]);
  ::close(start[1]);
  for (pid_t child : children) EXPECT_EQ(ExitStatus(child), 0);
  EXPECT_EQ(Count(schema, "VLHIERARCHYORDEREDLEVELSTEMP"), 0);
  EXPECT_EQ(Count(schema, "VLTRACETABLETEMP"), 0);
  EXPECT_EQ(Count(schema, "VLATTRVALUESVIEW_10"), Count(schema, "VLUSERDEFINEDLISTVALUES WHERE FIELDID = 10"));
}

// Four workers at once, each running `vlquery fetch` on the same server
// project again and again: indirect trace filters (the closure's work
// tables), tree order (the hierarchy's) and a sort view that none is there
// for. Every answer is that of a lone
// run, which is that of the project file; no work rows stay.
TEST(ServerSessions, ClosuresAndTreesOfProcessesAtOnceAnswerAsALoneRun) {
  VLQ_REQUIRE_PG();
  PgSchema schema;
  test::TempDir dir;
  tools::DemoOptions options;
  options.Requirements = 150;
  const std::string file = (dir.Path() / "demo.vlp").string();
  tools::MakeDemoProject(file, options);
  platform::CopyProject(file, schema.Uri());

  const std::string indirect = " AND DIRECT-ONLY = \"FALSE\")";
  const std::vector<std::vector<std::string>> queries = {
      {"ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR" + indirect},
      {"ReqType.Prefix(SR) SR.RelCriteria(TRACED-FROM In PR" + indirect + " SR.Sort(Name Order Asc)", "--hierarchy"},
      {"ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In TC AND STATUS = \"SUSPECT\"" + indirect, "--hierarchy"},
      {"ReqType.Prefix(SR) SR.Criteria(Components In Security, Storage)", "--hierarchy"},
      {"ReqType.Prefix(FEAT) FEAT.RelCriteria(TRACED-TO In SR" + indirect + " FEAT.Sort(Name Order Desc)"},
      {"COUNT ReqType.Prefix(TC) TC.RelCriteria(TRACED-FROM In SR" + indirect, "--hierarchy"},
      // A multi-select list sorts through a view that the first query makes.
      {"ReqType.Prefix(SR) SR.Sort(Components Order Asc)", "--hierarchy"},
  };
  const auto fetch = [](const std::string& project, const std::vector<std::string>& query) {
    std::vector<std::string> args{"fetch", project};
    args.insert(args.end(), query.begin(), query.end());
    return testing::RunVlquery(args);
  };
  std::map<std::size_t, std::string> lone;
  for (std::size_t q = 0; q < queries.size(); ++q) {
    const testing::ToolRun onFile = fetch(file, queries[q]);
    const testing::ToolRun onServer = fetch(schema.Uri(), queries[q]);
    ASSERT_EQ(onServer.status, 0) << queries[q][0] << "\n" << onServer.err;
    EXPECT_EQ(onServer.out, onFile.out) << queries[q][0];
    EXPECT_FALSE(onServer.out.empty()) << queries[q][0];
    lone[q] = onServer.out;
  }

  // The workers race to make the sort view anew.
  platform::PgResult views = schema.Exec(
      "SELECT table_name FROM information_schema.views WHERE table_schema = $1 AND table_name LIKE "
      "'vlattrvaluessortview%'",
      {schema.Name()});
  ASSERT_GT(views.RowCount(), 0);
  for (int r = 0; r < views.RowCount(); ++r) schema.Exec("DROP VIEW " + schema.Name() + "." + views.Text(r, 0));

  constexpr int kWorkers = 4;
  constexpr int kRounds = 3;
  std::latch start(kWorkers);
  std::vector<std::vector<std::string>> failures(kWorkers);
  std::vector<std::thread> workers;
  for (int w = 0; w < kWorkers; ++w) {
    workers.emplace_back([&, w] {
      start.arrive_and_wait();
      // Each worker starts at another query, so that different statements
      // meet on the tables.
      for (std::size_t n = 0; n < kRounds * queries.size(); ++n) {
        const std::size_t q = (n + static_cast<std::size_t>(w)) % queries.size();
        const testing::ToolRun run = fetch(schema.Uri(), queries[q]);
        if (run.status != 0 || run.out != lone[q]) {
          failures[w].push_back(queries[q][0] + " (status " + std::to_string(run.status) + ") " + run.err);
        }
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  for (int w = 0; w < kWorkers; ++w) EXPECT_TRUE(failures[w].empty()) << "worker " << w << ": " << failures[w].front();
  for (const char* table : {"VLTRACETABLEINDIR", "VLTRACETABLETEMP", "VLHIERARCHYTABLETEMP",
                            "VLHIERARCHYORDEREDLEVELSTEMP", "VLHIERARCHYFINALORDERTEMP"}) {
    EXPECT_EQ(Count(schema, table), 0) << table;
  }

  // A run alone leaves the work tables without pages, and their SESSIONID
  // without statistics: an ANALYZE in between can't have the planner count a
  // session's rows as none.
  ASSERT_EQ(fetch(schema.Uri(), queries[2]).out, lone[2]);
  ASSERT_EQ(fetch(schema.Uri(), queries[0]).out, lone[0]);
  for (const char* table :
       {"VLTRACETABLETEMP", "VLHIERARCHYTABLETEMP", "VLHIERARCHYORDEREDLEVELSTEMP", "VLHIERARCHYFINALORDERTEMP"}) {
    const std::string name = schema.Name() + "." + table;
    EXPECT_EQ(schema.Exec("SELECT pg_relation_size('" + name + "')").Whole(0, 0), 0) << table;
    EXPECT_EQ(schema
                  .Exec("SELECT attstattarget FROM pg_attribute WHERE attrelid = '" + name +
                        "'::regclass AND attname = 'sessionid'")
                  .Whole(0, 0),
              0)
        << table;
  }
}

}  // namespace
}  // namespace vlq
