// The command-line tool, run as a user runs it: exit statuses, what goes to
// standard output and error, the empty project, and the demo project with
// queries whose expected keys come from its data.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "pg_fixture.h"
#include "tool_process.h"

namespace vlq::testing {
namespace {

// ---- Reading a project file directly ------------------------------------------

class Db {
 public:
  explicit Db(const std::string& file) {
    if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << "cannot open " << file;
    }
  }
  ~Db() { sqlite3_close(db_); }
  Db(const Db&) = delete;
  Db& operator=(const Db&) = delete;

  // Every row of a statement, each cell as text ("<null>" for NULL).
  std::vector<std::vector<std::string>> Rows(const std::string& sql) const {
    std::vector<std::vector<std::string>> rows;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << sqlite3_errmsg(db_) << " in " << sql;
      return rows;
    }
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      std::vector<std::string> row;
      for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
        const auto* text = sqlite3_column_text(stmt, c);
        row.emplace_back(sqlite3_column_type(stmt, c) == SQLITE_NULL ? "<null>" : reinterpret_cast<const char*>(text));
      }
      rows.push_back(std::move(row));
    }
    sqlite3_finalize(stmt);
    return rows;
  }
  std::string Value(const std::string& sql) const {
    const auto rows = Rows(sql);
    return rows.empty() || rows[0].empty() ? std::string() : rows[0][0];
  }
  long Count(const std::string& sql) const { return std::stol(Value(sql)); }
  std::set<std::string> Column(const std::string& sql) const {
    std::set<std::string> values;
    for (const auto& row : Rows(sql)) values.insert(row.at(0));
    return values;
  }

 private:
  sqlite3* db_ = nullptr;
};

std::set<std::string> Lines(const std::string& text) {
  std::set<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    lines.insert(text.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}

// The columns that the demo writes, table by table: the dump that two runs
// with one seed must share. Columns that the store adds of its own are left
// out, since they are no part of the generated data.
const std::map<std::string, std::string> kDemoColumns{
    {"VLPROJECT", "ID, GUID, PREFIX, NAME"},
    {"VLREQUIREMENTTYPES", "ID, PREFIX, NAME, GUID"},
    {"VLATTRIBUTES", "ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE"},
    {"VLUSERDEFINEDLISTITEMS", "FIELDID, ITEMID, ITEMRANK, ITEMTEXT, GUID"},
    {"VLUSERDEFINEDLISTVALUES", "REQUIREMENTID, FIELDID, LISTITEMID"},
    {"VLUSERDEFINEDFIELDVALUES", "REQUIREMENTID, FIELDID, FIELDVALUE"},
    {"VLUSERS", "ID, FULLNAME, GUID, GROUPID, PRIVILEGED"},
    {"VLGROUPS", "ID, NAME"},
    {"VLDOCUMENTS", "ID, NAME, GUID"},
    {"VLPACKAGES", "ID, NAME"},
    {"VLPACKAGEELEMENTS", "PACKAGEID, REQUIREMENTID"},
    {"VLEXTERNALPROJECTS", "RELKEY, PREFIX, GUID, PATH, FILENAME, ISDELETED"},
    {"VLREQUIREMENTS",
     "ID, REQUIREMENTTYPEID, REQUIREMENTNAME, REQUIREMENTTEXT, REQUIREMENTPREFIX, LONGTAGNUMBER, VERSIONNUMBER, "
     "VERSIONDATETIME, VERSIONREASON, VERSIONUSERID, SUSPECTDATETIME, BOOKMARKDOCUMENTID, BOOKMARKNAME, "
     "DOCUMENTPOSITION, FLAGS"},
    {"VLPROJECTREQUIREMENTS", "PROJECTID, REQUIREMENTID"},
    {"VLTORELATIONSHIPS", "REQUIREMENTID, TOID, EXTERNALPROJECTID, EXTERNALPROJECTTOID, TYPE, STATE"},
    {"VLDISCUSSIONS", "ID, ROOTID, PARENTID, SUBJECT, AUTHORID, PRIORITY, STATUS, SUBMITDATETIME, RESTRICTED"},
    {"VLPROJECTDISCUSSIONS", "PROJECTID, DISCUSSIONID"},
    {"VLDISCUSSIONREQUIREMENTS", "DISCUSSIONID, REQUIREMENTID"},
    {"VLDISCUSSIONUSERS", "DISCUSSIONID, USERID"},
    {"VLDISCUSSIONGROUPS", "DISCUSSIONID, GROUPID"},
    {"VLDISCUSSIONSREAD", "DISCUSSIONID, USERID"},
};

// Per table: the row count and a checksum over all cells in a fixed order.
std::map<std::string, std::string> DumpDemoTables(const std::string& file) {
  Db db(file);
  std::map<std::string, std::string> dump;
  for (const auto& [table, columns] : kDemoColumns) {
    std::uint64_t hash = 1469598103934665603ull;  // FNV-1a
    const auto rows = db.Rows("SELECT " + columns + " FROM " + table + " ORDER BY " + columns);
    for (const auto& row : rows) {
      for (const auto& cell : row) {
        for (unsigned char c : cell) hash = (hash ^ c) * 1099511628211ull;
        hash = (hash ^ 0x1f) * 1099511628211ull;
      }
    }
    dump[table] = std::to_string(rows.size()) + " rows, " + std::to_string(hash);
  }
  return dump;
}

// ---- Usage ------------------------------------------------------------------------

TEST(ToolUsage, WrongUsageGivesStatus2AndAMessage) {
  const std::vector<std::vector<std::string>> cases{
      {},
      {"frobnicate"},
      {"fetch"},
      {"fetch", "p.vlp"},
      {"sql", "p.vlp", "", "--dialect", "mysql"},
      {"fetch", "p.vlp", "", "--discussions", "--documents"},
      {"demo", "d.vlp", "--requirements", "0"},
      {"fetch", "p.vlp", "", "--locale", "no-such-locale"},
      {"fetch", "p.vlp", "", "--locale", "de-US"},  // a tag, but no locale has data for it
  };
  for (const auto& args : cases) {
    std::string shown;
    for (const auto& arg : args) shown += "[" + arg + "] ";
    const ToolRun run = RunVlquery(args);
    EXPECT_EQ(run.status, 2) << shown << run.err;
    EXPECT_EQ(run.out, "") << shown;
    EXPECT_NE(run.err, "") << shown;
  }
}

TEST(ToolUsage, EveryCommandHasHelp) {
  for (const char* command : {"create", "demo", "fetch", "validate", "check", "build", "sql"}) {
    const ToolRun run = RunVlquery({command, "--help"});
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_NE(run.out.find(command), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "") << command;
  }
}

// ---- An empty project ---------------------------------------------------------------

TEST(ToolEmptyProject, CreateThenQuery) {
  TempDir dir;
  const std::string file = dir / "empty.vlp";
  const std::string guid = "{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}";
  ToolRun run = RunVlquery({"create", file, "--key", "7", "--prefix", "EMP", "--name", "Empty", "--guid", guid});
  ASSERT_EQ(run.status, 0) << run.err;

  // All requirements of a project without any: no keys, success.
  run = RunVlquery({"fetch", file, ""});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");

  // A project-wide query without leftover: the engine's message names the
  // project by its GUID, and that is success.
  run = RunVlquery({"validate", file, ""});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find(guid), std::string::npos) << run.out;
  ASSERT_FALSE(run.out.empty());
  EXPECT_EQ(run.out.back(), '\n');

  // The file is there now: a second create is a failure of the file.
  run = RunVlquery({"create", file});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err.rfind("failure ", 0), 0u) << run.err;
}

TEST(ToolEmptyProject, RefusedQueryGivesStatus1WithTheCode) {
  TempDir dir;
  const std::string file = dir / "empty.vlp";
  ASSERT_EQ(RunVlquery({"create", file}).status, 0);
  struct Case {
    const char* command;
    const char* query;
    const char* prefix;
  };
  for (const Case& c : {Case{"fetch", "ReqType.Prefix() PR.Criteria(a = 1)", "error 3: "},
                        Case{"validate", "xx", "error 42: "},
                        Case{"sql", "ReqType.Prefix(NOSUCH)", "error 8: "}}) {
    const ToolRun run = RunVlquery({c.command, file, c.query});
    EXPECT_EQ(run.status, 1) << c.query << ": " << run.err;
    EXPECT_EQ(run.err.rfind(c.prefix, 0), 0u) << c.query << ": " << run.err;
    EXPECT_EQ(run.out, "") << c.query;
  }
}

TEST(ToolEmptyProject, MissingFileIsAFailure) {
  TempDir dir;
  const ToolRun run = RunVlquery({"fetch", dir / "missing.vlp", ""});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err.rfind("failure ", 0), 0u) << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "missing.vlp"));
}

// ---- The demo project ---------------------------------------------------------------

class ToolDemo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    const ToolRun run = RunVlquery({"demo", *dir_ / "demo.vlp", "--requirements", "400", "--seed", "42"});
    ASSERT_EQ(run.status, 0) << run.err;
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }
  static std::string File() { return *dir_ / "demo.vlp"; }
  static std::string ExtFile() { return *dir_ / "demo-ext.vlp"; }

  static TempDir* dir_;
};
TempDir* ToolDemo::dir_ = nullptr;

TEST_F(ToolDemo, SameSeedGivesTheSameProject) {
  TempDir again;
  ASSERT_EQ(RunVlquery({"demo", again / "demo.vlp", "--requirements", "400", "--seed", "42"}).status, 0);
  EXPECT_EQ(DumpDemoTables(again / "demo.vlp"), DumpDemoTables(File()));
  EXPECT_EQ(DumpDemoTables(again / "demo-ext.vlp"), DumpDemoTables(ExtFile()));

  TempDir other;
  ASSERT_EQ(RunVlquery({"demo", other / "demo.vlp", "--requirements", "400", "--seed", "43"}).status, 0);
  EXPECT_NE(DumpDemoTables(other / "demo.vlp")["VLREQUIREMENTS"], DumpDemoTables(File())["VLREQUIREMENTS"]);

  // An existing file is never overwritten.
  const ToolRun run = RunVlquery({"demo", File()});
  EXPECT_EQ(run.status, 3);
}

TEST_F(ToolDemo, HoldsWhatTheQueryLanguageReaches) {
  Db db(File());
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLREQUIREMENTS"), 400);
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLPROJECTREQUIREMENTS WHERE PROJECTID = 1"), 400);
  EXPECT_EQ(db.Column("SELECT DISTINCT DATATYPE FROM VLATTRIBUTES"),
            (std::set<std::string>{"0", "1", "10", "2", "3", "4", "5"}));
  // Tag numbers: whole ten-digit groups, several levels, every parent present.
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLREQUIREMENTS WHERE LENGTH(LONGTAGNUMBER) % 10 <> 0 "
                     "OR LENGTH(LONGTAGNUMBER) = 0"),
            0);
  EXPECT_GE(db.Count("SELECT MAX(LENGTH(LONGTAGNUMBER)) / 10 FROM VLREQUIREMENTS"), 3);
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLREQUIREMENTS c WHERE LENGTH(c.LONGTAGNUMBER) > 10 AND NOT EXISTS "
                     "(SELECT 1 FROM VLREQUIREMENTS p WHERE p.REQUIREMENTTYPEID = c.REQUIREMENTTYPEID AND "
                     "p.LONGTAGNUMBER = SUBSTR(c.LONGTAGNUMBER, 1, LENGTH(c.LONGTAGNUMBER) - 10))"),
            0);
  // Traces: suspect ones, chains of three steps, cycles, and traces into the
  // external project that lead to requirements there.
  EXPECT_GT(db.Count("SELECT COUNT(*) FROM VLTORELATIONSHIPS WHERE STATE = 1"), 0);
  EXPECT_GT(db.Count("SELECT COUNT(*) FROM VLTORELATIONSHIPS a JOIN VLTORELATIONSHIPS b ON b.REQUIREMENTID = a.TOID "
                     "JOIN VLTORELATIONSHIPS c ON c.REQUIREMENTID = b.TOID WHERE a.EXTERNALPROJECTTOID = 0 "
                     "AND b.EXTERNALPROJECTTOID = 0"),
            0);
  EXPECT_GT(db.Count("SELECT COUNT(*) FROM VLTORELATIONSHIPS a JOIN VLTORELATIONSHIPS b ON b.REQUIREMENTID = a.TOID "
                     "AND b.EXTERNALPROJECTTOID = 0 AND a.EXTERNALPROJECTTOID = 0 LEFT JOIN VLTORELATIONSHIPS c "
                     "ON c.REQUIREMENTID = b.TOID AND c.EXTERNALPROJECTTOID = 0 "
                     "WHERE b.TOID = a.REQUIREMENTID OR c.TOID = a.REQUIREMENTID"),
            0);
  const auto extTargets = db.Column("SELECT TOID FROM VLTORELATIONSHIPS WHERE EXTERNALPROJECTTOID = 1");
  EXPECT_FALSE(extTargets.empty());
  EXPECT_EQ(db.Value("SELECT FILENAME FROM VLEXTERNALPROJECTS WHERE RELKEY = 1"), "demo-ext.vlp");
  Db ext(ExtFile());
  const auto extIds = ext.Column("SELECT ID FROM VLREQUIREMENTS");
  for (const auto& id : extTargets) EXPECT_TRUE(extIds.count(id)) << "trace into the external project to " << id;
  EXPECT_EQ(ext.Value("SELECT PREFIX FROM VLPROJECT"), "EXT");
  // Discussions: responses belong to a thread head of the project, and every
  // restricted thread admits someone.
  EXPECT_GT(db.Count("SELECT COUNT(*) FROM VLDISCUSSIONS WHERE PARENTID <> 0"), 0);
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLDISCUSSIONS d WHERE d.ROOTID NOT IN "
                     "(SELECT DISCUSSIONID FROM VLPROJECTDISCUSSIONS)"),
            0);
  EXPECT_GT(db.Count("SELECT COUNT(*) FROM VLDISCUSSIONS WHERE RESTRICTED = 0 AND PARENTID = 0"), 0);
  EXPECT_EQ(db.Count("SELECT COUNT(*) FROM VLDISCUSSIONS d WHERE d.RESTRICTED = 0 AND d.PARENTID = 0 AND NOT EXISTS "
                     "(SELECT 1 FROM VLDISCUSSIONUSERS u WHERE u.DISCUSSIONID = d.ID) AND NOT EXISTS "
                     "(SELECT 1 FROM VLDISCUSSIONGROUPS g WHERE g.DISCUSSIONID = d.ID)"),
            0);
}

TEST_F(ToolDemo, FetchFindsWhatTheDataHolds) {
  Db db(File());
  struct Case {
    std::vector<std::string> args;
    std::string expected;  // the keys, by direct SQL on the file
  };
  const std::vector<Case> cases{
      {{"ReqType.Prefix(PR)"}, "SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTTYPEID = 1"},
      {{"ReqType.Prefix(SR) SR.Criteria(Priority = High)"},
       "SELECT v.REQUIREMENTID FROM VLUSERDEFINEDLISTVALUES v JOIN VLUSERDEFINEDLISTITEMS i "
       "ON i.FIELDID = v.FIELDID AND i.ITEMID = v.LISTITEMID JOIN VLATTRIBUTES a ON a.ID = v.FIELDID "
       "WHERE a.REQUIREMENTTYPEID = 3 AND a.LABEL = 'Priority' AND i.ITEMTEXT = 'High'"},
      {{"ReqType.Key(3) 3.Criteria(35 >= 8)", "--by", "key"},
       "SELECT REQUIREMENTID FROM VLUSERDEFINEDFIELDVALUES WHERE FIELDID = 35 AND FIELDVALUE >= 8"},
      // A decimal comma under a locale that writes one.
      {{"ReqType.Prefix(PR) PR.Criteria(Cost > 100,5)", "--locale", "de-DE"},
       "SELECT REQUIREMENTID FROM VLUSERDEFINEDFIELDVALUES WHERE FIELDID = 13 AND FIELDVALUE > 100.5"},
      {{"ReqType.Prefix(PR) PR.Criteria(Cost > 100,5)", "--locale", "pt_BR"},
       "SELECT REQUIREMENTID FROM VLUSERDEFINEDFIELDVALUES WHERE FIELDID = 13 AND FIELDVALUE > 100.5"},
      // The privileged user sees every thread; the default user (the lowest
      // key, an ordinary one) the open threads and those that admit him.
      {{"", "--discussions", "--user", "Eva Fischer"}, "SELECT ID FROM VLDISCUSSIONS WHERE PARENTID = 0"},
      {{"", "--discussions"},
       "SELECT d.ID FROM VLDISCUSSIONS d WHERE d.PARENTID = 0 AND (d.RESTRICTED > 0 OR d.AUTHORID = 1 "
       "OR EXISTS (SELECT 1 FROM VLDISCUSSIONUSERS u WHERE u.DISCUSSIONID = d.ID AND u.USERID = 1) "
       "OR EXISTS (SELECT 1 FROM VLDISCUSSIONGROUPS g WHERE g.DISCUSSIONID = d.ID AND g.GROUPID = 1))"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args{"fetch", File()};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const ToolRun run = RunVlquery(args);
    ASSERT_EQ(run.status, 0) << c.args[0] << ": " << run.err;
    const auto expected = db.Column(c.expected);
    EXPECT_FALSE(expected.empty()) << c.args[0];
    EXPECT_EQ(Lines(run.out), expected) << c.args[0];
  }
}

// The readable formats read the server copy of a project as they read the
// file: the same rows in the same order, and the same cells for NULLs, whole
// and real numbers, dates, times and lists of several items.
TEST_F(ToolDemo, ReadableFormatsReadAServerProjectAsTheFile) {
  VLQ_REQUIRE_PG();
  test::PgSchema server;
  const ToolRun copy = RunVlquery({"copy", File(), server.Uri()});
  ASSERT_EQ(copy.status, 0) << copy.err;
  const std::string columns =
      "Priority,Difficulty,Cost,Due Date,Last Run,Review Time,Start "
      "Time,Platforms,Components,Source,Vendor,Version,identifier";
  const std::vector<std::vector<std::string>> cases{
      {"--format", "csv", "--columns", columns, "ReqType.Prefix(FEAT)"},
      {"--format", "json", "--columns", columns, "ReqType.Prefix(TC) TC.Criteria(Steps > 10)"},
      {"--format", "table", "--columns", columns, "ReqType.Prefix(PR)"},
      {"--format", "tree", "ReqType.Prefix(SR) SR.Criteria(Risk > 8)"},
      {"--format", "csv", "--columns", columns, "ReqType.Prefix(EXT.IF)"},  // keys of the external project
      {"--format", "csv", "--discussions", "--user", "Eva Fischer", ""},
      {"--format", "json", "--documents", ""},
  };
  std::string allFileOutput;
  for (const auto& extra : cases) {
    std::vector<std::string> onFile{"fetch", File()};
    onFile.insert(onFile.end(), extra.begin(), extra.end());
    std::vector<std::string> onServer{"fetch", server.Uri()};
    onServer.insert(onServer.end(), extra.begin(), extra.end());
    const ToolRun file = RunVlquery(onFile, "/dev/null", {"COLUMNS=400"});
    const ToolRun served = RunVlquery(onServer, "/dev/null", {"COLUMNS=400"});
    ASSERT_EQ(file.status, 0) << extra.back() << ": " << file.err;
    EXPECT_EQ(served.status, 0) << extra.back() << ": " << served.err;
    EXPECT_EQ(served.out, file.out) << extra.back();
    allFileOutput += file.out;
  }
  // The comparison holds the kinds of cells it is meant to: a date, a time,
  // a real number and a list of several items.
  for (const char* pattern : {"\"20[0-9][0-9]-[01][0-9]-[0-3][0-9]\"", ",[0-9][0-9]:[0-5][0-9]:[0-5][0-9],",
                              ",[0-9]+\\.[0-9]+,", "\"[A-Za-z ]+, [A-Za-z ]+\""}) {
    EXPECT_TRUE(std::regex_search(allFileOutput, std::regex(pattern))) << pattern;
  }
}

TEST_F(ToolDemo, LocaleAndLogApplyToTheRun) {
  // Under the default locale the comma ends the number, and the rest of the
  // expression is refused.
  const ToolRun enUs = RunVlquery({"fetch", File(), "ReqType.Prefix(PR) PR.Criteria(Cost > 100,5)"});
  EXPECT_EQ(enUs.status, 1);
  EXPECT_EQ(enUs.err.rfind("error ", 0), 0u) << enUs.err;

  // --log writes the events of this run to the file, and nothing of them to
  // standard output.
  TempDir logDir;
  const std::string log = logDir / "events.log";
  const std::string query = "ReqType.Prefix(TC) TC.Criteria(Steps > 30)";
  const ToolRun plain = RunVlquery({"fetch", File(), query});
  const ToolRun logged = RunVlquery({"fetch", File(), query, "--log", log});
  ASSERT_EQ(logged.status, 0) << logged.err;
  EXPECT_EQ(logged.out, plain.out);
  EXPECT_NE(ReadFile(log).find(query), std::string::npos) << ReadFile(log);
}

TEST_F(ToolDemo, SqlPrintsTheStatementThatValidateReports) {
  const std::string query = "ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Name Order Asc)";
  const ToolRun sql = RunVlquery({"sql", File(), query});
  const ToolRun validate = RunVlquery({"validate", File(), query});
  ASSERT_EQ(sql.status, 0) << sql.err;
  ASSERT_EQ(validate.status, 0) << validate.err;
  EXPECT_EQ(sql.out, validate.out);
  EXPECT_NE(sql.out.find("\r\n"), std::string::npos) << "the engine's line breaks are kept";
  ASSERT_GE(sql.out.size(), 2u);
  EXPECT_EQ(sql.out.back(), '\n');
  EXPECT_NE(sql.out[sql.out.size() - 2], '\n');

  // Another dialect and a schema, for the text alone.
  const ToolRun oracle = RunVlquery({"sql", File(), query, "--dialect", "oracle", "--schema", "PROJ1"});
  ASSERT_EQ(oracle.status, 0) << oracle.err;
  EXPECT_NE(oracle.out.find("PROJ1.VLREQUIREMENTS"), std::string::npos) << oracle.out;
  const ToolRun server = RunVlquery({"sql", File(), query, "--dialect", "PostgreSQL", "--schema", "proj1"});
  ASSERT_EQ(server.status, 0) << server.err;
  EXPECT_NE(server.out.find("NULLS FIRST"), std::string::npos) << server.out;
}

TEST_F(ToolDemo, BuildPrintsTheQueryByPrefixKeyAndGuid) {
  Db db(File());
  const std::string typeGuid = db.Value("SELECT GUID FROM VLREQUIREMENTTYPES WHERE PREFIX = 'PR'");
  const ToolRun run = RunVlquery({"build", File(), "ReqType.Prefix(PR) PR.Criteria(Priority = High)"});
  ASSERT_EQ(run.status, 0) << run.err;
  std::vector<std::string> lines;
  for (std::size_t start = 0, end; (end = run.out.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(run.out.substr(start, end - start));
  ASSERT_GE(lines.size(), 3u) << run.out;
  EXPECT_EQ(lines[0].rfind("ReqType.Prefix(PR)", 0), 0u) << lines[0];
  EXPECT_EQ(lines[1].rfind("ReqType.Key(1)", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2].rfind("ReqType.GUID(" + typeGuid + ")", 0), 0u) << lines[2];
}

// A misspelt section keyword leaves its section unread; fetch and build say
// so on standard error instead of answering as if there were no filter.
TEST_F(ToolDemo, FetchAndBuildWarnOfTextThatWasNotRead) {
  const std::string query = "ReqType.Prefix(PR) PR.Critera(Priority = High)";
  for (const char* command : {"fetch", "build"}) {
    const ToolRun run = RunVlquery({command, File(), query});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.rfind("warning: ", 0), 0u) << command << ": " << run.err;
    EXPECT_NE(run.err.find("PR.Critera(Priority = High)"), std::string::npos) << run.err;
  }
  const ToolRun clean = RunVlquery({"fetch", File(), "ReqType.Prefix(PR) PR.Criteria(Priority = High)"});
  EXPECT_EQ(clean.status, 0) << clean.err;
  EXPECT_EQ(clean.err, "");
}

}  // namespace
}  // namespace vlq::testing
