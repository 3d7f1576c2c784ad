// vlquery import, export and the readable forms of fetch, run as a user runs
// them: the built binary, its output and its exit status.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "engine/version.h"
#include "pg_fixture.h"
#include "reqif_test_support.h"
#include "tool_process.h"

namespace vlq::testing {
namespace {

std::vector<std::string> Lines(const std::string& text, const std::string& end = "\n") {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t next = text.find(end, at);
    lines.push_back(text.substr(at, next == std::string::npos ? std::string::npos : next - at));
    at = next == std::string::npos ? text.size() : next + end.size();
  }
  return lines;
}

// Characters on a terminal: UTF-8 code points.
std::size_t DisplayWidth(const std::string& text) {
  std::size_t count = 0;
  for (char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

// A small project whose names hold what the formats must take care of.
class ToolReqifTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string names[] = {"Plain", "Comma, and &quot;quotes&quot;", "Line&#10;break", "Größe – 大きさ",
                                 std::string(80, 'x')};
    std::ostringstream file;
    file << "<REQ-IF xmlns=\"http://www.omg.org/spec/ReqIF/20110401/reqif.xsd\"><CORE-CONTENT><REQ-IF-CONTENT>"
            "<DATATYPES><DATATYPE-DEFINITION-STRING IDENTIFIER=\"s\"/></DATATYPES><SPEC-TYPES>"
            "<SPEC-OBJECT-TYPE IDENTIFIER=\"t\" LONG-NAME=\"Software Requirement\"><SPEC-ATTRIBUTES>"
            "<ATTRIBUTE-DEFINITION-STRING IDENTIFIER=\"n\" LONG-NAME=\"ReqIF.Name\"><TYPE>"
            "<DATATYPE-DEFINITION-STRING-REF>s</DATATYPE-DEFINITION-STRING-REF></TYPE></ATTRIBUTE-DEFINITION-STRING>"
            "<ATTRIBUTE-DEFINITION-STRING IDENTIFIER=\"o\" LONG-NAME=\"Owner\"><TYPE>"
            "<DATATYPE-DEFINITION-STRING-REF>s</DATATYPE-DEFINITION-STRING-REF></TYPE></ATTRIBUTE-DEFINITION-STRING>"
            "</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE></SPEC-TYPES><SPEC-OBJECTS>";
    for (int i = 0; i < 5; ++i) {
      file << "<SPEC-OBJECT IDENTIFIER=\"o" << i << "\"><TYPE><SPEC-OBJECT-TYPE-REF>t</SPEC-OBJECT-TYPE-REF></TYPE>"
           << "<VALUES><ATTRIBUTE-VALUE-STRING THE-VALUE=\"" << names[i] << "\"><DEFINITION>"
           << "<ATTRIBUTE-DEFINITION-STRING-REF>n</ATTRIBUTE-DEFINITION-STRING-REF></DEFINITION>"
           << "</ATTRIBUTE-VALUE-STRING>";
      if (i == 0) {
        file << "<ATTRIBUTE-VALUE-STRING THE-VALUE=\"Ann\"><DEFINITION><ATTRIBUTE-DEFINITION-STRING-REF>o"
                "</ATTRIBUTE-DEFINITION-STRING-REF></DEFINITION></ATTRIBUTE-VALUE-STRING>";
      }
      file << "</VALUES></SPEC-OBJECT>";
    }
    // o0 holds o1 and o2; o3 under o2; o4 a root of its own.
    file << "</SPEC-OBJECTS><SPECIFICATIONS><SPECIFICATION IDENTIFIER=\"d\" LONG-NAME=\"Doc\"><CHILDREN>"
            "<SPEC-HIERARCHY IDENTIFIER=\"h0\"><OBJECT><SPEC-OBJECT-REF>o0</SPEC-OBJECT-REF></OBJECT><CHILDREN>"
            "<SPEC-HIERARCHY IDENTIFIER=\"h1\"><OBJECT><SPEC-OBJECT-REF>o1</SPEC-OBJECT-REF></OBJECT></SPEC-HIERARCHY>"
            "<SPEC-HIERARCHY IDENTIFIER=\"h2\"><OBJECT><SPEC-OBJECT-REF>o2</SPEC-OBJECT-REF></OBJECT><CHILDREN>"
            "<SPEC-HIERARCHY IDENTIFIER=\"h3\"><OBJECT><SPEC-OBJECT-REF>o3</SPEC-OBJECT-REF></OBJECT></SPEC-HIERARCHY>"
            "</CHILDREN></SPEC-HIERARCHY></CHILDREN></SPEC-HIERARCHY>"
            "<SPEC-HIERARCHY IDENTIFIER=\"h4\"><OBJECT><SPEC-OBJECT-REF>o4</SPEC-OBJECT-REF></OBJECT></SPEC-HIERARCHY>"
            "</CHILDREN></SPECIFICATION></SPECIFICATIONS></REQ-IF-CONTENT></CORE-CONTENT></REQ-IF>";
    std::ofstream(dir_ / "names.reqif") << file.str();
    const ToolRun run = RunVlquery({"import", dir_ / "names.reqif", project_});
    ASSERT_EQ(run.status, 0) << run.err;
  }

  ToolRun Fetch(std::vector<std::string> extra, const std::vector<std::string>& environment = {}) {
    std::vector<std::string> args{"fetch", project_};
    args.insert(args.end(), extra.begin(), extra.end());
    return RunVlquery(args, "/dev/null", environment);
  }

  TempDir dir_;
  std::string project_ = dir_ / "names.vlp";
};

enum class Store { File, Server };

// The readable formats give the same text for the project file and for its
// copy on the server.
class ToolFormatsTest : public ToolReqifTest, public ::testing::WithParamInterface<Store> {
 protected:
  void SetUp() override {
    ToolReqifTest::SetUp();
    if (HasFatalFailure() || GetParam() == Store::File) return;
    VLQ_REQUIRE_PG();
    server_ = std::make_unique<test::PgSchema>();
    // The same ReqIF file imported onto the server; a second import there is
    // refused, as onto a file.
    const ToolRun import = RunVlquery({"import", dir_ / "names.reqif", server_->Uri()});
    ASSERT_EQ(import.status, 0) << import.err;
    EXPECT_EQ(RunVlquery({"import", dir_ / "names.reqif", server_->Uri()}).status, 1);
    project_ = server_->Uri();
  }

  std::unique_ptr<test::PgSchema> server_;
};

INSTANTIATE_TEST_SUITE_P(Stores, ToolFormatsTest, ::testing::Values(Store::File, Store::Server),
                         [](const auto& info) { return info.param == Store::File ? "File" : "Server"; });

TEST_F(ToolReqifTest, ImportSummaryAndErrors) {
  ToolRun run = RunVlquery({"import", ReqifData("reference-hierarchy.reqif").string(), dir_ / "h.vlp"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("  EST  Example SpecType"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("renamed: Example SpecType: \"Author\" -> \"Author (attribute)\""), std::string::npos);
  // Once more: the file is there.
  run = RunVlquery({"import", ReqifData("reference-hierarchy.reqif").string(), dir_ / "h.vlp"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("--replace"), std::string::npos);
  EXPECT_EQ(RunVlquery({"import", ReqifData("reference-dates.reqif").string(), dir_ / "h.vlp", "--replace"}).status, 0);
  // A value that isn't a date: the file and line, and no project.
  run = RunVlquery({"import", ReqifData("export-b-five-types.reqif").string(), dir_ / "b.vlp"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.err.starts_with("error: " + ReqifData("export-b-five-types.reqif").string() + ":187: the value \"aaa\""))
      << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir_ / "b.vlp"));
  run = RunVlquery({"import", ReqifData("export-b-five-types.reqif").string(), dir_ / "b.vlp", "--skip-invalid-values"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("101 values that break their data type"), std::string::npos) << run.out;
}

TEST_F(ToolReqifTest, ExportWritesValidReqif) {
  const std::string target = dir_ / "out.reqif";
  const ToolRun run = RunVlquery({"export", project_, "ReqType.Prefix(SR) SR.Criteria(Name Like \"%a%\")", target});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, target + ": 3 requirements, 1 requirement types, 1 attributes, 0 traces, 1 documents\n");
  EXPECT_EQ(ReqifSchema::Get().Validate(target), "");
  EXPECT_EQ(RunVlquery({"export", project_, "ReqType.Prefix(NOPE)", target}).status, 1);
  // The query from a file: FILE and TARGET stay in their places.
  std::ofstream(dir_ / "q.txt") << "ReqType.Prefix(SR)\n";
  const ToolRun fromFile = RunVlquery({"export", project_, "--query-file", dir_ / "q.txt", dir_ / "all.reqif"});
  EXPECT_EQ(fromFile.status, 0) << fromFile.err;
  EXPECT_NE(fromFile.out.find(": 5 requirements"), std::string::npos) << fromFile.out;
}

// An export writes the same document from either store, but for the times
// at which it was written.
TEST_P(ToolFormatsTest, ExportWritesTheDocumentOfTheFile) {
  const auto written = [&](const std::string& project, const std::string& name) {
    const ToolRun run = RunVlquery({"export", project, "ReqType.Prefix(SR)", dir_ / name});
    EXPECT_EQ(run.status, 0) << run.err;
    std::ostringstream text;
    text << std::ifstream(dir_ / name).rdbuf();
    static const std::regex kTimes(R"((CREATION-TIME>|LAST-CHANGE=")[0-9T:.Z+-]+)");
    return std::regex_replace(text.str(), kTimes, "$1");
  };
  const std::string fromFile = written(dir_ / "names.vlp", "file.reqif");
  EXPECT_NE(fromFile.find("o3"), std::string::npos);
  EXPECT_EQ(written(project_, "store.reqif"), fromFile);
}

TEST_P(ToolFormatsTest, KeysStayAsTheyWere) {
  const ToolRun plain = Fetch({"ReqType.Prefix(SR)"});
  EXPECT_EQ(plain.out, "1\n2\n3\n4\n5\n");
  EXPECT_EQ(Fetch({"--format", "keys", "ReqType.Prefix(SR)"}).out, plain.out);
  // A count stands as it is in every format.
  EXPECT_EQ(Fetch({"--format", "json", "COUNT ReqType.Prefix(SR)"}).out, "5\n");
}

TEST_P(ToolFormatsTest, CsvFollowsRfc4180) {
  const ToolRun run = Fetch({"--format", "csv", "--columns", "Owner,identifier", "ReqType.Prefix(SR)"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Lines(run.out, "\r\n"),
            (std::vector<std::string>{"key,tag,type,name,Owner,identifier",
                                      "1,SR1,Software Requirement,Plain,Ann,o0",
                                      "2,SR1.1,Software Requirement,\"Comma, and \"\"quotes\"\"\",,o1",
                                      "3,SR1.2,Software Requirement,\"Line\nbreak\",,o2",
                                      "4,SR1.2.1,Software Requirement,Größe – 大きさ,,o3",
                                      "5,SR2,Software Requirement," + std::string(80, 'x') + ",,o4"}));
}

TEST_P(ToolFormatsTest, JsonIsAnArrayOfObjects) {
  const ToolRun run = Fetch({"--format", "json", "--columns", "Owner", "ReqType.Prefix(SR) SR.Criteria(Key In 2, 3)"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "[\n"
            "  {\"key\": 2, \"tag\": \"SR1.1\", \"type\": \"Software Requirement\", \"name\": \"Comma, and \\\"quotes\\\"\", "
            "\"Owner\": null},\n"
            "  {\"key\": 3, \"tag\": \"SR1.2\", \"type\": \"Software Requirement\", \"name\": \"Line\\nbreak\", "
            "\"Owner\": null}\n"
            "]\n");
  EXPECT_EQ(Fetch({"--format", "json", "ReqType.Prefix(SR) SR.Criteria(Key = 99)"}).out, "[]\n");
}

TEST_P(ToolFormatsTest, TableFitsTheWidth) {
  for (int width : {40, 60, 200}) {
    const ToolRun run = Fetch({"--format", "table", "ReqType.Prefix(SR)"}, {"COLUMNS=" + std::to_string(width)});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<std::string> lines = Lines(run.out);
    ASSERT_EQ(lines.size(), 7u);  // header, rule, five rows
    EXPECT_TRUE(lines[0].starts_with("key  tag"));
    for (const std::string& line : lines) EXPECT_LE(DisplayWidth(line), static_cast<std::size_t>(width)) << line;
    // Cut names end in "…"; a wide table shows them whole.
    EXPECT_EQ(run.out.find(std::string(80, 'x')) != std::string::npos, width == 200);
  }
}

TEST_P(ToolFormatsTest, TreeIndentsInTreeOrder) {
  const ToolRun run = Fetch({"--format", "tree", "ReqType.Prefix(SR) SR.Criteria(Key = 4)"});
  ASSERT_EQ(run.status, 0) << run.err;
  // The hit with its ancestors (the tree format asks for the hierarchy).
  EXPECT_EQ(run.out, "SR1  Plain\n  SR1.2  Line break\n    SR1.2.1  Größe – 大きさ\n");
}

TEST_F(ToolReqifTest, QueryFromStandardInputOrFile) {
  const std::string query = "ReqType.Prefix(SR) SR.Criteria(Key In 1, 5)";
  std::ofstream(dir_ / "q.txt") << query << "\n";
  const ToolRun fromArgument = Fetch({query});
  EXPECT_EQ(fromArgument.out, "1\n5\n");
  EXPECT_EQ(RunVlquery({"fetch", project_, "-"}, dir_ / "q.txt").out, fromArgument.out);
  EXPECT_EQ(Fetch({"--query-file", dir_ / "q.txt"}).out, fromArgument.out);
  EXPECT_EQ(Fetch({"--query-file", dir_ / "q.txt", query}).status, 2);
  EXPECT_EQ(Fetch({"--query-file", dir_ / "missing.txt"}).status, 2);
  EXPECT_EQ(RunVlquery({"fetch", project_}).status, 2);
}

TEST(ToolVersion, PrintsTheBuildsVersion) {
  const ToolRun run = RunVlquery({"--version"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, std::string("vlquery ") + VLQ_VERSION_TEXT + "\n");
}

TEST(ToolDiscussions, ShowTheirSubject) {
  TempDir dir;
  ASSERT_EQ(RunVlquery({"demo", dir / "d.vlp"}).status, 0);
  const ToolRun run = RunVlquery({"fetch", dir / "d.vlp", "--discussions", "--user", "Eva Fischer", "--format", "csv",
                                  "DISCUSSION.Criteria(Subject Like \"%log%\")"});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<std::string> lines = Lines(run.out, "\r\n");
  ASSERT_GT(lines.size(), 1u);
  EXPECT_EQ(lines[0], "key,subject");
  for (std::size_t i = 1; i < lines.size(); ++i) EXPECT_NE(lines[i].find("log"), std::string::npos) << lines[i];
}

}  // namespace
}  // namespace vlq::testing
