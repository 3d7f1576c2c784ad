// Locations of projects: server URIs with their schema, and what a reference's
// PATH and FILENAME name, seen from a file or from a server project.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/project_location.h"
#include "services/failure.h"

namespace vlq {
namespace {

using platform::ParseServerLocation;

TEST(StoreLocation, TheSchemaParameterIsTakenOutOfTheUri) {
  struct Case {
    std::string uri;
    std::string connection;
    std::string schema;
  };
  const std::vector<Case> cases{
      {"postgresql://ann@db1:5433/reqs?schema=Proj1", "postgresql://ann@db1:5433/reqs", "proj1"},
      {"postgres:///reqs?host=/run/pg&schema=a_b&sslmode=disable", "postgres:///reqs?host=/run/pg&sslmode=disable",
       "a_b"},
      {"postgresql:///reqs?SCHEMA=x%5Fy", "postgresql:///reqs", "x_y"},
      {"postgresql://db1/reqs", "postgresql://db1/reqs", "public"},
  };
  for (const Case& c : cases) {
    const platform::ServerLocation location = ParseServerLocation(c.uri);
    EXPECT_EQ(location.ConnectionUri, c.connection) << c.uri;
    EXPECT_EQ(location.Schema, c.schema) << c.uri;
    const platform::ServerLocation again = ParseServerLocation(location.Uri());
    EXPECT_EQ(again.ConnectionUri, location.ConnectionUri) << c.uri;
    EXPECT_EQ(again.Schema, location.Schema) << c.uri;
  }
  for (const char* bad :
       {"postgresql:///reqs?schema=pg_catalog", "postgresql:///reqs?schema=1st", "postgresql:///reqs?schema=a-b",
        "postgresql:///reqs?schema=", "postgresql:///r?schema=a&schema=b", "postgresql:///reqs?schema=a%22%3B"}) {
    try {
      ParseServerLocation(bad);
      ADD_FAILURE() << bad;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), platform::kFailureBadLocation) << bad;
    }
  }
}

TEST(StoreLocation, TwoSpellingsOfOneProjectHaveOneIdentity) {
  const std::string a = platform::LocationIdentity("postgresql:///reqs?host=/run/pg&schema=Main");
  EXPECT_EQ(a, platform::LocationIdentity("postgresql:///reqs?schema=main&host=/run/pg"));
  EXPECT_EQ(a, platform::LocationIdentity("postgres://%2Frun%2Fpg/reqs?schema=MAIN"));
  EXPECT_NE(a, platform::LocationIdentity("postgresql:///reqs?host=/run/pg&schema=other"));
  EXPECT_NE(a, platform::LocationIdentity("postgresql:///other?host=/run/pg&schema=main"));
  EXPECT_EQ(platform::LocationIdentity("/tmp/./x/../demo.vlp"), platform::LocationIdentity("/tmp/demo.vlp"));
}

TEST(StoreLocation, AReferenceIsReadAgainstTheReferringProject) {
  struct Case {
    std::string referring;
    std::string path;
    std::string fileName;
    std::string expected;
  };
  const std::string file = "/p/main.vlp";
  const std::string server = "postgresql://db1/reqs?schema=main";
  const std::vector<Case> cases{
      {file, "ext", "Ext.vlp", "/p/ext/Ext.vlp"},
      {file, "", "Ext.vlp", "/p/Ext.vlp"},
      {file, ".", "Ext.vlp", "/p/Ext.vlp"},
      {file, "/q", "Ext.vlp", "/q/Ext.vlp"},
      {file, "postgresql://db2/other", "Ext", "postgresql://db2/other?schema=ext"},
      {file, "postgresql://db2/other?schema=s1", "", "postgresql://db2/other?schema=s1"},
      {file, "", "postgresql://db2/other?schema=s2", "postgresql://db2/other?schema=s2"},
      {file, "ext", "", ""},
      {server, "", "main_ext", "postgresql://db1/reqs?schema=main_ext"},
      {server, "/q", "Ext.vlp", "/q/Ext.vlp"},
      {server, ".", "retired.vlp", ""},
      {server, "", "not-a-schema", ""},
      {server, "postgres://db2/x", "s", "postgres://db2/x?schema=s"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(platform::ReferencedLocation(c.referring, c.path, c.fileName), c.expected)
        << c.referring << " | " << c.path << " | " << c.fileName;
  }
}

}  // namespace
}  // namespace vlq
