// ReqIF export: valid ReqIF 1.2 by the published schema, and an import of an
// export gives the project back.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demo_project.h"
#include "engine/query_engine.h"
#include "platform/reqif_exporter.h"
#include "platform/reqif_importer.h"
#include "platform/store_project_manager.h"
#include "reqif_test_support.h"

namespace vlq::testing {
namespace {

using platform::ReqifExporter;
using platform::ReqifImporter;

std::vector<long> AllKeys(const std::filesystem::path& project) {
  std::vector<long> keys;
  for (const std::string& key : QueryLines(project, "SELECT ID FROM VLREQUIREMENTS")) keys.push_back(std::stol(key));
  return keys;
}

// The lines of `all` without those of requirements that had no version date
// (an export must write one: it writes the time of the export).
std::vector<std::string> WithoutUndatedVersions(std::vector<std::string> lines) {
  std::erase_if(lines, [](const std::string& line) { return line.starts_with("requirement|") && line.ends_with("|<null>"); });
  return lines;
}

void ExpectRoundTrip(const std::filesystem::path& project, const test::TempDir& dir) {
  const auto exported = dir.Path() / "out.reqif";
  const auto summary = ReqifExporter::Export(project, AllKeys(project), exported);
  EXPECT_EQ(ReqifSchema::Get().Validate(exported), "");
  const auto again = dir.Path() / "again.vlp";
  const auto result = ReqifImporter::Import(exported, again);
  ASSERT_TRUE(result.Imported) << result.sErrorInfo;
  EXPECT_TRUE(result.Summary.Skipped.empty());
  EXPECT_EQ(result.Summary.Requirements, summary.Requirements);
  const std::vector<std::string> before = WithoutUndatedVersions(ProjectContent(project));
  std::vector<std::string> after = ProjectContent(again);
  // Requirements that had no date have one now; the rest is the same.
  std::erase_if(after, [&](const std::string& line) {
    if (!line.starts_with("requirement|")) return false;
    const std::string head = line.substr(0, line.rfind('|'));
    return std::none_of(before.begin(), before.end(), [&](const std::string& b) { return b.starts_with(head + "|"); });
  });
  EXPECT_EQ(after, before);
}

TEST(ReqifSchemaCheck, RefusesWhatIsInvalid) {
  // The sample's identifiers begin with a digit, which an xsd:ID can't.
  EXPECT_NE(ReqifSchema::Get().Validate(ReqifData("reference-hierarchy.reqif")), "");
  EXPECT_EQ(ReqifSchema::Get().Validate(ReqifData("reference-dates.reqif")), "");
}

class ReqifSampleRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST_P(ReqifSampleRoundTrip, ExportIsValidAndImportsBack) {
  test::TempDir dir;
  const auto project = dir.Path() / "p.vlp";
  platform::ReqifImportOptions options;
  options.SkipInvalidValues = true;
  ASSERT_TRUE(ReqifImporter::Import(ReqifData(GetParam()), project, options).Imported);
  ExpectRoundTrip(project, dir);
}

INSTANTIATE_TEST_SUITE_P(Samples, ReqifSampleRoundTrip,
                         ::testing::Values("reference-hierarchy.reqif", "reference-all-datatypes.reqif",
                                           "reference-dates.reqif", "export-c-docs-as-code.reqif",
                                           "export-b-five-types.reqif"));

// The demo project: every data type (times of day too), list and
// multi-select lists, trees of four levels, traces and cycles, requirements
// outside any document; traces into its external project are left out.
TEST(ReqifExport, DemoProjectRoundTrips) {
  for (long size : {200L, 3000L}) {
    test::TempDir dir;
    const auto project = dir.Path() / "demo.vlp";
    tools::DemoOptions options;
    options.Requirements = size;
    options.Seed = static_cast<std::uint64_t>(size);
    tools::MakeDemoProject(project, options);
    ExpectRoundTrip(project, dir);
  }
}

// A part of a project: the hierarchy among what is written, and only the
// traces within it.
TEST(ReqifExport, SelectionKeepsItsOwnHierarchyAndTraces) {
  test::TempDir dir;
  const auto project = dir.Path() / "demo.vlp";
  tools::DemoOptions options;
  options.Requirements = 400;
  tools::MakeDemoProject(project, options);
  // The product requirements and features of the first trees.
  std::vector<long> keys;
  for (const std::string& key : QueryLines(project, "SELECT ID FROM VLREQUIREMENTS WHERE REQUIREMENTTYPEID IN (1, 2) "
                                                    "AND substr(LONGTAGNUMBER, 1, 10) <= '0000000003'")) {
    keys.push_back(std::stol(key));
  }
  const auto exported = dir.Path() / "part.reqif";
  const auto summary = ReqifExporter::Export(project, keys, exported);
  EXPECT_EQ(ReqifSchema::Get().Validate(exported), "");
  EXPECT_EQ(summary.Requirements, static_cast<long>(keys.size()));
  const auto part = dir.Path() / "part.vlp";
  ASSERT_TRUE(ReqifImporter::Import(exported, part).Imported);
  // Whole trees were chosen: the tags come back as they were.
  const std::string inPart = "SELECT T.PREFIX, R.LONGTAGNUMBER, R.REQUIREMENTNAME FROM VLREQUIREMENTS R JOIN "
                             "VLREQUIREMENTTYPES T ON T.ID = R.REQUIREMENTTYPEID";
  EXPECT_EQ(QueryLines(part, inPart + " ORDER BY 1, 2"),
            QueryLines(project, inPart + " WHERE R.REQUIREMENTTYPEID IN (1, 2) AND substr(R.LONGTAGNUMBER, 1, 10) <= "
                                         "'0000000003' ORDER BY 1, 2"));
  const long within = std::stol(QueryLines(project, "SELECT COUNT(*) FROM VLTORELATIONSHIPS WHERE REQUIREMENTID IN (" +
                                                        [&] {
                                                          std::string list;
                                                          for (long k : keys) list += (list.empty() ? "" : ",") + std::to_string(k);
                                                          return list + ") AND TOID IN (" + list + ") AND EXTERNALPROJECTTOID = 0";
                                                        }())
                                    .at(0));
  EXPECT_EQ(summary.Traces, within);
  EXPECT_GT(summary.TracesLeftOut, 0);
}

}  // namespace
}  // namespace vlq::testing
