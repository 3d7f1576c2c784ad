// ReqIF import: real files checked against what they say, generated files
// with dangling references, malformed and hostile files, and the naming rules
// (prefixes, GUIDs, labels, dates).

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/query_engine.h"
#include "platform/reqif_common.h"
#include "platform/reqif_importer.h"
#include "platform/store_project_manager.h"
#include "reqif_generator.h"
#include "reqif_test_support.h"

namespace vlq::testing {
namespace {

using platform::ReqifImporter;
using platform::ReqifImportOptions;
using platform::ReqifImportResult;
namespace reqif = platform::reqif;

long Count(const std::filesystem::path& file, const std::string& sql) {
  return std::stol(QueryLines(file, sql).at(0));
}

// Every file in the directory: an import that fails must leave none behind.
std::vector<std::string> FilesIn(const std::filesystem::path& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) names.push_back(entry.path().filename().string());
  return names;
}

// ---- The shared samples, checked against what each file says ----------------------------------

struct SampleCase {
  const char* file;
  bool skipInvalidValues;  // the commercial export has DATE values that aren't dates
};

class ReqifSampleTest : public ::testing::TestWithParam<SampleCase> {};

TEST_P(ReqifSampleTest, ImportsWhatTheFileSays) {
  test::TempDir dir;
  const auto source = ReqifData(GetParam().file);
  const auto project = dir.Path() / "p.vlp";
  ReqifImportOptions options;
  options.SkipInvalidValues = GetParam().skipInvalidValues;
  const ReqifImportResult result = ReqifImporter::Import(source, project, options);
  ASSERT_TRUE(result.Imported) << result.sErrorInfo;
  const ReqifFacts facts = ReadReqifFacts(source);

  // Requirements per type (types named by the GUID of their identifier).
  for (const auto& [type, objects] : facts.ObjectsPerType) {
    EXPECT_EQ(Count(project, "SELECT COUNT(*) FROM VLREQUIREMENTS R JOIN VLREQUIREMENTTYPES T ON T.ID = "
                             "R.REQUIREMENTTYPEID WHERE T.GUID = '" + reqif::GuidFromIdentifier(type) + "'"),
              objects)
        << type;
  }
  // Enumeration values, in their order.
  for (const auto& [attr, values] : facts.EnumValues) {
    EXPECT_EQ(QueryLines(project, "SELECT I.ITEMTEXT FROM VLUSERDEFINEDLISTITEMS I JOIN VLATTRIBUTES A ON A.ID = "
                                  "I.FIELDID WHERE A.GUID = '" + reqif::GuidFromIdentifier(attr) +
                                      "' ORDER BY I.ITEMRANK"),
              values)
        << attr;
  }
  // Traces.
  const std::vector<std::string> traces = QueryLines(
      project, "SELECT F.IDENTIFIER || '>' || T.IDENTIFIER FROM VLTORELATIONSHIPS R JOIN VLREQIFIDENTIFIERS F ON "
               "F.REQUIREMENTID = R.REQUIREMENTID JOIN VLREQIFIDENTIFIERS T ON T.REQUIREMENTID = R.TOID ORDER BY 1");
  std::vector<std::string> expectedTraces;
  for (const auto& [from, to] : facts.Relations) expectedTraces.push_back(from + ">" + to);
  EXPECT_EQ(traces, expectedTraces);
  // Hierarchy: within a type, tag order is document order, and the parent by
  // tag is the nearest ancestor of the same type.
  for (const auto& [type, order] : facts.DocumentOrder) {
    const std::string guid = reqif::GuidFromIdentifier(type);
    const std::vector<std::string> byTag = QueryLines(
        project, "SELECT I.IDENTIFIER FROM VLREQUIREMENTS R JOIN VLREQIFIDENTIFIERS I ON I.REQUIREMENTID = R.ID "
                 "JOIN VLREQUIREMENTTYPES T ON T.ID = R.REQUIREMENTTYPEID WHERE T.GUID = '" + guid +
                     "' AND R.DOCUMENTPOSITION IS NOT NULL ORDER BY R.LONGTAGNUMBER");
    EXPECT_EQ(byTag, order) << type;
  }
  const std::vector<std::string> parents = QueryLines(
      project, "SELECT C.IDENTIFIER, COALESCE(P.IDENTIFIER, '') FROM VLREQUIREMENTS R JOIN VLREQIFIDENTIFIERS C ON "
               "C.REQUIREMENTID = R.ID LEFT JOIN VLREQUIREMENTS Q ON Q.REQUIREMENTTYPEID = R.REQUIREMENTTYPEID AND "
               "Q.LONGTAGNUMBER = substr(R.LONGTAGNUMBER, 1, length(R.LONGTAGNUMBER) - 10) LEFT JOIN "
               "VLREQIFIDENTIFIERS P ON P.REQUIREMENTID = Q.ID");
  for (const std::string& line : parents) {
    const std::string child = line.substr(0, line.find('|'));
    if (facts.SameTypeParent.count(child)) {
      EXPECT_EQ(line, child + "|" + facts.SameTypeParent.at(child));
    }
  }
  // STRING values as written.
  for (const auto& [key, value] : facts.Strings) {
    EXPECT_EQ(QueryLines(project, "SELECT F.FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES F JOIN VLATTRIBUTES A ON "
                                  "A.ID = F.FIELDID JOIN VLREQIFIDENTIFIERS I ON I.REQUIREMENTID = F.REQUIREMENTID "
                                  "WHERE I.IDENTIFIER = '" + key.first + "' AND A.GUID = '" +
                                      reqif::GuidFromIdentifier(key.second) + "'"),
              std::vector<std::string>{value});
  }
  // The project opens and answers a query for each type.
  auto manager = platform::StoreProjectManager::Create();
  auto opened = manager->Open(project);
  for (const auto& type : result.Summary.Types) {
    QueryEngine engine;
    std::string sErrorInfo;
    Rows aResults;
    std::shared_ptr<QueryDef> oQueryDef;
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, opened, "ReqType.Prefix(" + type.Prefix + ")", sErrorInfo,
                           aResults, oQueryDef, true),
              eQEENone)
        << sErrorInfo;
    EXPECT_EQ(static_cast<long>(aResults.at(0).size()), type.Requirements) << type.Prefix;
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, ReqifSampleTest,
                         ::testing::Values(SampleCase{"reference-hierarchy.reqif", false},
                                           SampleCase{"reference-all-datatypes.reqif", false},
                                           SampleCase{"reference-dates.reqif", false},
                                           SampleCase{"export-c-docs-as-code.reqif", false},
                                           SampleCase{"export-b-five-types.reqif", true}));

TEST(ReqifImport, ValuesOfEveryKind) {
  test::TempDir dir;
  const auto project = dir.Path() / "p.vlp";
  ASSERT_TRUE(ReqifImporter::Import(ReqifData("reference-all-datatypes.reqif"), project).Imported);
  // Label, data type, stored value (list values as the chosen items).
  EXPECT_EQ(QueryLines(project,
                       "SELECT A.LABEL, A.DATATYPE, COALESCE(F.FIELDVALUE, (SELECT group_concat(I.ITEMTEXT, ',') FROM "
                       "(SELECT I.ITEMTEXT FROM VLUSERDEFINEDLISTVALUES L JOIN VLUSERDEFINEDLISTITEMS I ON "
                       "I.FIELDID = L.FIELDID AND I.ITEMID = L.LISTITEMID WHERE L.FIELDID = A.ID ORDER BY I.ITEMRANK) "
                       "AS I)) FROM VLATTRIBUTES A LEFT JOIN VLUSERDEFINEDFIELDVALUES F ON F.FIELDID = A.ID ORDER BY A.ID"),
            (std::vector<std::string>{
                "TC1000T|0|true", "TC1000F|0|false", "TC1000 Integer|2|5000", "TC1000 String|1|Plain",
                "TC1000 Real|3|1234.5",
                // 2002-05-30 as days from 1901-01-01; the time of day is dropped.
                "TC1000 Date|4|37039", "TC1000 Enum|0|TC1000 Yellow",
                "TC1000 Enum MultiValue|10|TC1000 Red,TC1000 Green,TC1000 Yellow"}));
}

// ---- Generated files: partial content, checked against the generator's counts --------------------

TEST(ReqifImport, GeneratedFilesWithDanglingReferencesImportWhatTheyCan) {
  for (std::uint32_t seed : {1u, 2u, 3u}) {
    test::TempDir dir;
    ReqifShape shape;
    shape.Objects = 600;
    shape.Seed = seed;
    shape.Dangling = true;
    const ReqifCounts counts = WriteReqif(dir.Path() / "g.reqif", shape);
    const auto project = dir.Path() / "g.vlp";
    const ReqifImportResult result = ReqifImporter::Import(dir.Path() / "g.reqif", project);
    ASSERT_TRUE(result.Imported) << result.sErrorInfo;
    const auto& s = result.Summary;
    EXPECT_EQ(s.Requirements, counts.Headings + counts.Requirements + counts.UndefinedTypeObjects);
    EXPECT_EQ(s.Traces, counts.Relations);
    EXPECT_EQ(s.Skipped.at("relations to or from objects the file doesn't define"), counts.DanglingRelations);
    EXPECT_EQ(s.Skipped.at("values of attributes the file doesn't define"), counts.DanglingValues);
    ASSERT_EQ(s.Types.size(), 3u);  // the two defined ones and one for the missing type
    EXPECT_EQ(s.Types[2].Requirements, counts.UndefinedTypeObjects);
    EXPECT_EQ(Count(project, "SELECT COUNT(*) FROM VLREQUIREMENTS WHERE REQUIREMENTPREFIX = 'SR' AND "
                             "length(LONGTAGNUMBER) > 10"),
              counts.NestedRequirements);

    // The engine finds the requirements by a list value.
    auto manager = platform::StoreProjectManager::Create();
    QueryEngine engine;
    std::string sErrorInfo;
    Rows aResults;
    std::shared_ptr<QueryDef> oQueryDef;
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, manager->Open(project),
                           "COUNT ReqType.Prefix(SR) SR.Criteria(Priority = High)", sErrorInfo, aResults, oQueryDef),
              eQEENone)
        << sErrorInfo;
    EXPECT_EQ(aResults.at(0).at(0).ToText(), std::to_string(counts.HighPriority));
  }
}

TEST(ReqifImport, ArchiveImportsLikeItsFile) {
  test::TempDir dir;
  const auto archive = dir.Path() / "a.reqifz";
  int error = 0;
  zip_t* zip = zip_open(archive.string().c_str(), ZIP_CREATE | ZIP_EXCL, &error);
  ASSERT_NE(zip, nullptr);
  zip_source_t* source = zip_source_file(zip, ReqifData("export-c-docs-as-code.reqif").string().c_str(), 0, -1);
  ASSERT_GE(zip_file_add(zip, "content/doc.reqif", source, ZIP_FL_ENC_UTF_8), 0);
  ASSERT_EQ(zip_close(zip), 0);
  ASSERT_TRUE(ReqifImporter::Import(archive, dir.Path() / "z.vlp").Imported);
  ASSERT_TRUE(ReqifImporter::Import(ReqifData("export-c-docs-as-code.reqif"), dir.Path() / "f.vlp").Imported);
  EXPECT_EQ(ProjectContent(dir.Path() / "z.vlp"), ProjectContent(dir.Path() / "f.vlp"));
}

// Indexes left out while the rows are loaded come back at the end: the
// project has every index of a new one.
TEST(ReqifImport, ProjectHasTheIndexesOfANewOne) {
  test::TempDir dir;
  ASSERT_TRUE(ReqifImporter::Import(ReqifData("reference-hierarchy.reqif"), dir.Path() / "p.vlp").Imported);
  platform::NewProjectInfo info;
  info.Key = 1;
  info.Prefix = "PRJ";
  info.Name = "Project";
  platform::CreateProjectFile(dir.Path() / "n.vlp", info);
  const std::string indexes = "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY name";
  const std::vector<std::string> imported = QueryLines(dir.Path() / "p.vlp", indexes);
  for (const std::string& index : QueryLines(dir.Path() / "n.vlp", indexes)) {
    EXPECT_TRUE(std::binary_search(imported.begin(), imported.end(), index)) << index;
  }
}

TEST(ReqifImport, ExistingProjectNeedsReplace) {
  test::TempDir dir;
  const auto project = dir.Path() / "p.vlp";
  ASSERT_TRUE(ReqifImporter::Import(ReqifData("reference-hierarchy.reqif"), project).Imported);
  const ReqifImportResult refused = ReqifImporter::Import(ReqifData("reference-dates.reqif"), project);
  EXPECT_FALSE(refused.Imported);
  EXPECT_NE(refused.sErrorInfo.find("exists already"), std::string::npos);
  EXPECT_EQ(Count(project, "SELECT COUNT(*) FROM VLREQUIREMENTS"), 2);
  ReqifImportOptions replace;
  replace.Replace = true;
  ASSERT_TRUE(ReqifImporter::Import(ReqifData("reference-dates.reqif"), project, replace).Imported);
  EXPECT_EQ(Count(project, "SELECT COUNT(*) FROM VLREQUIREMENTS"), 5);
  for (const std::string& name : FilesIn(dir.Path())) EXPECT_TRUE(name.starts_with("p.vlp")) << name;
}

// ---- Files that can't be read: a clear message, nothing left behind ------------------------------

std::string Minimal(const std::string& objectValues, const std::string& prolog = {}) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + prolog +
         "<REQ-IF xmlns=\"http://www.omg.org/spec/ReqIF/20110401/reqif.xsd\">\n"
         "<CORE-CONTENT><REQ-IF-CONTENT>\n"
         "<DATATYPES><DATATYPE-DEFINITION-INTEGER IDENTIFIER=\"dt\" MIN=\"0\" MAX=\"9\"/></DATATYPES>\n"
         "<SPEC-TYPES><SPEC-OBJECT-TYPE IDENTIFIER=\"t\" LONG-NAME=\"Thing\"><SPEC-ATTRIBUTES>\n"
         "<ATTRIBUTE-DEFINITION-INTEGER IDENTIFIER=\"a\" LONG-NAME=\"Size\"><TYPE><DATATYPE-DEFINITION-INTEGER-REF>dt"
         "</DATATYPE-DEFINITION-INTEGER-REF></TYPE></ATTRIBUTE-DEFINITION-INTEGER>\n"
         "</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE></SPEC-TYPES>\n"
         "<SPEC-OBJECTS><SPEC-OBJECT IDENTIFIER=\"o\"><TYPE><SPEC-OBJECT-TYPE-REF>t</SPEC-OBJECT-TYPE-REF></TYPE>\n"
         "<VALUES>" +
         objectValues + "</VALUES></SPEC-OBJECT></SPEC-OBJECTS>\n</REQ-IF-CONTENT></CORE-CONTENT></REQ-IF>\n";
}

std::string IntegerValue(const std::string& value) {
  return "<ATTRIBUTE-VALUE-INTEGER THE-VALUE=\"" + value +
         "\"><DEFINITION><ATTRIBUTE-DEFINITION-INTEGER-REF>a</ATTRIBUTE-DEFINITION-INTEGER-REF></DEFINITION>"
         "</ATTRIBUTE-VALUE-INTEGER>";
}

struct BadFile {
  const char* name;
  std::string content;
  const char* line;     // ":<line>:" that the message names
  const char* message;  // a part of it
};

std::vector<BadFile> BadFiles() {
  const std::string good = Minimal(IntegerValue("7"));
  const std::string laughs =
      "<!DOCTYPE REQ-IF [<!ENTITY a \"aaaaaaaaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
      "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\"><!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]>\n";
  return {
      {"truncated", good.substr(0, good.size() / 2), ":", ""},
      {"not ReqIF", "<?xml version=\"1.0\"?>\n<html><body/></html>\n", ":2:", "not a ReqIF file"},
      {"not XML", "requirement 1: the system shall log\n", ":1:", ""},
      {"empty", "", ":", ""},
      {"value breaks its type", Minimal(IntegerValue("seven")), ":9:", "is not a whole number"},
      {"entity expansion", Minimal("<ATTRIBUTE-VALUE-INTEGER THE-VALUE=\"&f;\"/>", laughs), ":", "document type"},
      {"huge attribute", Minimal(IntegerValue(std::string(11'000'000, '7'))), ":", ""},
  };
}

TEST(ReqifImport, UnreadableFilesLeaveNothingBehind) {
  for (const BadFile& bad : BadFiles()) {
    SCOPED_TRACE(bad.name);
    test::TempDir dir;
    const auto source = dir.Path() / "bad.reqif";
    std::ofstream(source, std::ios::binary) << bad.content;
    const ReqifImportResult result = ReqifImporter::Import(source, dir.Path() / "p.vlp");
    EXPECT_FALSE(result.Imported);
    EXPECT_TRUE(result.sErrorInfo.starts_with(source.string() + ":")) << result.sErrorInfo;
    EXPECT_NE(result.sErrorInfo.find(bad.line), std::string::npos) << result.sErrorInfo;
    EXPECT_NE(result.sErrorInfo.find(bad.message), std::string::npos) << result.sErrorInfo;
    EXPECT_EQ(FilesIn(dir.Path()), std::vector<std::string>{"bad.reqif"});
  }
}

TEST(ReqifImport, InvalidValuesCanBeLeftOut) {
  test::TempDir dir;
  const auto source = dir.Path() / "v.reqif";
  std::ofstream(source) << Minimal(IntegerValue("seven"));
  ReqifImportOptions options;
  options.SkipInvalidValues = true;
  const ReqifImportResult result = ReqifImporter::Import(source, dir.Path() / "p.vlp", options);
  ASSERT_TRUE(result.Imported) << result.sErrorInfo;
  EXPECT_EQ(result.Summary.Requirements, 1);
  EXPECT_EQ(result.Summary.Skipped.at("values that break their data type"), 1);
}

// A document type that names an entity on the network: refused before anything
// is fetched, and nothing connects to the address.
TEST(ReqifImport, NoNetworkAccessForExternalEntities) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener, 4), 0);
  socklen_t length = sizeof address;
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x";

  test::TempDir dir;
  for (const std::string& prolog : {"<!DOCTYPE REQ-IF SYSTEM \"" + url + "\">\n",
                                    "<!DOCTYPE REQ-IF [<!ENTITY x SYSTEM \"" + url + "\">]>\n"}) {
    const auto source = dir.Path() / "net.reqif";
    std::ofstream(source) << Minimal(IntegerValue("7"), prolog);
    const ReqifImportResult result = ReqifImporter::Import(source, dir.Path() / "p.vlp");
    EXPECT_FALSE(result.Imported);
    EXPECT_NE(result.sErrorInfo.find("document type"), std::string::npos) << result.sErrorInfo;
  }
  EXPECT_LT(::accept(listener, nullptr, nullptr), 0);  // nobody came
  ::close(listener);
}

// ---- Names, GUIDs, labels and texts --------------------------------------------------------------

TEST(ReqifNames, Prefixes) {
  struct Case {
    const char* name;
    std::vector<std::string> taken;
    const char* prefix;
  };
  const Case cases[] = {
      {"Software Requirement", {}, "SR"},
      {"Heading", {}, "HEA"},
      {"TC1000 SpecObjectType", {}, "TSOT"},
      {"Süßes Gebäck", {}, "SG"},
      {"要件", {}, "RT"},
      {"Software Requirement", {"SR"}, "SRA"},
      {"Key", {}, "KEYA"},             // a system attribute word
      {"Requirement", {}, "REQ"},
      {"Discussion", {}, "DIS"},
      {"Counter Measure", {}, "CM"},
      {"Countermeasure", {}, "COU"},  // no: COUNT starts a COUNT query
      {"Risk", {"PR"}, "RIS"},
      {"Requirement", {"PREQ"}, "REQA"},  // REQ would be the end of PREQ
  };
  for (const Case& c : cases) {
    const std::string prefix = reqif::DerivePrefix(c.name, c.taken);
    if (std::string_view(c.name) == "Countermeasure") {
      EXPECT_FALSE(prefix.starts_with("COUNT"));
      continue;
    }
    EXPECT_EQ(prefix, c.prefix) << c.name;
    EXPECT_TRUE(reqif::IsUsablePrefix(prefix, c.taken));
  }
  for (const char* word : {"KEY", "TAG", "NAME", "TEXT", "AUTHOR", "REQUIREMENT", "DISCUSSION", "COUNT", "AND",
                           "SUBJECT"}) {
    EXPECT_TRUE(reqif::IsReservedWord(word)) << word;
  }
}

TEST(ReqifNames, GuidsFromIdentifiers) {
  // A GUID stays itself, however it is written; anything else gets a stable
  // name-based one.
  const std::string guid = "{8D8F0777-B329-442E-A2BF-8FA725EC20CC}";
  for (const char* form : {"8d8f0777-b329-442e-a2bf-8fa725ec20cc", "_8d8f0777-b329-442e-a2bf-8fa725ec20cc",
                           "{8D8F0777-B329-442E-A2BF-8FA725EC20CC}"}) {
    EXPECT_EQ(reqif::GuidFromIdentifier(form), guid) << form;
  }
  EXPECT_EQ(reqif::GuidFromIdentifier(reqif::IdentifierFromGuid(guid)), guid);
  const std::string a = reqif::GuidFromIdentifier("ID_TC1000_SpecObjectType");
  EXPECT_EQ(a, reqif::GuidFromIdentifier("ID_TC1000_SpecObjectType"));
  EXPECT_NE(a, reqif::GuidFromIdentifier("ID_TC1000_SpecObjectTypf"));
  EXPECT_EQ(a.size(), 38u);
  EXPECT_EQ(a[15], '5');  // a name-based GUID of version 5
}

TEST(ReqifNames, DatesAsWritten) {
  struct Case {
    const char* text;
    const char* stored;  // empty: not a date
  };
  const Case cases[] = {
      {"2002-05-30T09:30:10.000+06:00", "2002-05-30 09:30:10"},
      {"2012-04-07T01:51:37.112+02:00", "2012-04-07 01:51:37"},
      {"2021-01-22T12:56:38Z", "2021-01-22 12:56:38"},
      {"2021-01-22", "2021-01-22 00:00:00"},
      {"2020-02-29T00:00:00", "2020-02-29 00:00:00"},
      {"2020-12-31T24:00:00", "2021-01-01 00:00:00"},
      {"2021-02-29T00:00:00", ""},
      {"2021-13-01", ""},
      {"2021-01-01T25:00:00", ""},
      {"2021-01-01T10:00:00+99:00", ""},
      {"aaa", ""},
      {"", ""},
  };
  for (const Case& c : cases) {
    const auto parsed = reqif::ParseDateTime(c.text);
    EXPECT_EQ(parsed ? reqif::StoreDateTime(*parsed) : std::string(), c.stored) << c.text;
  }
  for (std::int64_t days : {0L, 1L, 36524L, 37038L, 45000L}) {
    EXPECT_EQ(reqif::DaysSince1901(reqif::FromDaysSince1901(days)), days);
  }
}

TEST(ReqifImport, LabelsAndTexts) {
  test::TempDir dir;
  const auto source = dir.Path() / "l.reqif";
  auto attr = [](const std::string& id, const std::string& label, const std::string& kind) {
    return "<ATTRIBUTE-DEFINITION-" + kind + " IDENTIFIER=\"" + id + "\" LONG-NAME=\"" + label +
           "\"><TYPE><DATATYPE-DEFINITION-" + kind + "-REF>dt-" + kind + "</DATATYPE-DEFINITION-" + kind +
           "-REF></TYPE></ATTRIBUTE-DEFINITION-" + kind + ">";
  };
  std::ofstream(source)
      << "<REQ-IF xmlns=\"http://www.omg.org/spec/ReqIF/20110401/reqif.xsd\" "
         "xmlns:xhtml=\"http://www.w3.org/1999/xhtml\"><CORE-CONTENT><REQ-IF-CONTENT><DATATYPES>"
         "<DATATYPE-DEFINITION-STRING IDENTIFIER=\"dt-STRING\"/><DATATYPE-DEFINITION-XHTML IDENTIFIER=\"dt-XHTML\"/>"
         "</DATATYPES><SPEC-TYPES><SPEC-OBJECT-TYPE IDENTIFIER=\"t\" LONG-NAME=\"Thing\"><SPEC-ATTRIBUTES>"
      << attr("n", "Name", "STRING") << attr("s1", "Status", "STRING") << attr("s2", "status", "STRING")
      << attr("x", "ReqIF.Text", "XHTML")
      << "</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE></SPEC-TYPES><SPEC-OBJECTS><SPEC-OBJECT IDENTIFIER=\"o\"><TYPE>"
         "<SPEC-OBJECT-TYPE-REF>t</SPEC-OBJECT-TYPE-REF></TYPE><VALUES><ATTRIBUTE-VALUE-XHTML><DEFINITION>"
         "<ATTRIBUTE-DEFINITION-XHTML-REF>x</ATTRIBUTE-DEFINITION-XHTML-REF></DEFINITION><THE-VALUE><xhtml:div>"
         "<xhtml:p>The  system\n shall <xhtml:b>log</xhtml:b> every</xhtml:p><xhtml:ul><xhtml:li>login</xhtml:li>"
         "<xhtml:li>logout<xhtml:br/>too</xhtml:li></xhtml:ul><xhtml:table><xhtml:tr><xhtml:td>a</xhtml:td>"
         "<xhtml:td>b</xhtml:td></xhtml:tr></xhtml:table></xhtml:div></THE-VALUE></ATTRIBUTE-VALUE-XHTML>"
         "</VALUES></SPEC-OBJECT></SPEC-OBJECTS></REQ-IF-CONTENT></CORE-CONTENT></REQ-IF>";
  const auto project = dir.Path() / "p.vlp";
  const ReqifImportResult result = ReqifImporter::Import(source, project);
  ASSERT_TRUE(result.Imported) << result.sErrorInfo;
  EXPECT_EQ(QueryLines(project, "SELECT LABEL FROM VLATTRIBUTES ORDER BY ID"),
            (std::vector<std::string>{"Name (attribute)", "Status", "status (2)"}));
  EXPECT_EQ(result.Summary.Renamed.size(), 2u);
  EXPECT_EQ(QueryLines(project, "SELECT REQUIREMENTTEXT FROM VLREQUIREMENTS"),
            std::vector<std::string>{"The system shall log every\nlogin\nlogout\ntoo\na\tb"});
}

// References in attribute values and texts: names, identifiers and values read
// as they were meant, whichever way a character was escaped. Identifiers are
// given in attributes and in the text of references, and must meet.
TEST(ReqifImport, ReferencesInValuesAndTexts) {
  struct Case {
    const char* written;
    const char* read;
  };
  const Case cases[] = {
      {"R&amp;D", "R&D"},
      {"&lt;b&gt; &quot;q&quot; &apos;s&apos;", "<b> \"q\" 's'"},
      {"a&#38;&amp;b&#x26;", "a&&b&"},
      {"&amp;#38; &amp;amp;", "&#38; &amp;"},  // escaped references stay text
      {"&#x41;&#169;&#x5927;&#10;x", "A\u00a9\u5927\nx"},
      {"&amp;", "&"},
  };
  std::ostringstream defs;
  std::ostringstream objects;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const std::string n = std::to_string(i);
    defs << "<ATTRIBUTE-DEFINITION-STRING IDENTIFIER=\"a&amp;" << n << "\" LONG-NAME=\"" << n << " " << cases[i].written
         << "\"><TYPE><DATATYPE-DEFINITION-STRING-REF>s</DATATYPE-DEFINITION-STRING-REF></TYPE>"
         << "</ATTRIBUTE-DEFINITION-STRING>";
    objects << "<SPEC-OBJECT IDENTIFIER=\"o&#38;" << n << "\"><TYPE><SPEC-OBJECT-TYPE-REF>t&amp;1"
            << "</SPEC-OBJECT-TYPE-REF></TYPE><VALUES><ATTRIBUTE-VALUE-STRING THE-VALUE=\"" << cases[i].written
            << "\"><DEFINITION><ATTRIBUTE-DEFINITION-STRING-REF>a&amp;" << n
            << "</ATTRIBUTE-DEFINITION-STRING-REF></DEFINITION></ATTRIBUTE-VALUE-STRING>";
    // A text that the parser hands over in pieces, around each reference.
    if (i == 0) {
      objects << "<ATTRIBUTE-VALUE-XHTML><DEFINITION><ATTRIBUTE-DEFINITION-XHTML-REF>x</ATTRIBUTE-DEFINITION-XHTML-REF>"
                 "</DEFINITION><THE-VALUE><xhtml:p>R&amp;D  &lt;b&gt;&#38;<![CDATA[<i> & ]]>co\n &#x41;</xhtml:p>"
                 "</THE-VALUE></ATTRIBUTE-VALUE-XHTML>";
    }
    objects << "</VALUES></SPEC-OBJECT>";
  }
  test::TempDir dir;
  const auto source = dir.Path() / "r.reqif";
  std::ofstream(source)
      << "<REQ-IF xmlns=\"http://www.omg.org/spec/ReqIF/20110401/reqif.xsd\" "
         "xmlns:xhtml=\"http://www.w3.org/1999/xhtml\"><CORE-CONTENT><REQ-IF-CONTENT><DATATYPES>"
         "<DATATYPE-DEFINITION-STRING IDENTIFIER=\"s\"/><DATATYPE-DEFINITION-XHTML IDENTIFIER=\"h\"/>"
         "</DATATYPES><SPEC-TYPES><SPEC-OBJECT-TYPE IDENTIFIER=\"t&amp;1\" LONG-NAME=\"Q&amp;A\">"
         "<SPEC-ATTRIBUTES><ATTRIBUTE-DEFINITION-XHTML IDENTIFIER=\"x\" LONG-NAME=\"ReqIF.Text\"><TYPE>"
         "<DATATYPE-DEFINITION-XHTML-REF>h</DATATYPE-DEFINITION-XHTML-REF></TYPE>"
         "</ATTRIBUTE-DEFINITION-XHTML>"
      << defs.str() << "</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE></SPEC-TYPES><SPEC-OBJECTS>" << objects.str()
      << "</SPEC-OBJECTS></REQ-IF-CONTENT></CORE-CONTENT></REQ-IF>";
  const auto project = dir.Path() / "p.vlp";
  const ReqifImportResult result = ReqifImporter::Import(source, project);
  ASSERT_TRUE(result.Imported) << result.sErrorInfo;
  EXPECT_TRUE(result.Summary.Skipped.empty());
  EXPECT_EQ(QueryLines(project, "SELECT NAME FROM VLREQUIREMENTTYPES"), std::vector<std::string>{"Q&A"});
  EXPECT_EQ(QueryLines(project, "SELECT REQUIREMENTTEXT FROM VLREQUIREMENTS WHERE REQUIREMENTTEXT <> ''"),
            std::vector<std::string>{"R&D <b>&<i> & co A"});
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    expected.push_back("o&" + std::to_string(i) + "|" + std::to_string(i) + " " + cases[i].read + "|" + cases[i].read);
  }
  EXPECT_EQ(QueryLines(project,
                       "SELECT I.IDENTIFIER, A.LABEL, F.FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES F JOIN "
                       "VLATTRIBUTES A ON A.ID = F.FIELDID JOIN VLREQIFIDENTIFIERS I ON I.REQUIREMENTID = "
                       "F.REQUIREMENTID ORDER BY A.ID"),
            expected);
}

}  // namespace
}  // namespace vlq::testing
