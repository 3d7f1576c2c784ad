#pragma once
// Test helper: the PostgreSQL server of the tests, and a schema of its own on
// it for one test.
//
//   VLQ_REQUIRE_PG();                      // skips the test when there is no server
//   vlq::test::PgSchema schema;            // a new schema vlqt_<random>, dropped at the end
//   schema.Uri()                           // the URI of a project in it
//   schema.UriOf(schema.Name() + "_ext")   // another schema of the same database
//   schema.Db().Exec("...", "test")        // SQL on a connection of the fixture's own
//
// The server's URI comes from VLQ_TEST_PG. ctest starts a server of its own
// before the first test and sets it (tests/CMakeLists.txt); by hand, start one
// with scripts/pg-test-server.sh start DIR and set VLQ_TEST_PG to the URI it
// prints. At the end the fixture drops its schema and every schema whose name
// begins with it (the copies of external projects), with all they hold.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "platform/pg_connection.h"
#include "platform/project_location.h"
#include "services/failure.h"

namespace vlq::test {

// The URI of the tests' server; empty when there is none.
inline std::string PgTestServer() {
  const char* uri = ::getenv("VLQ_TEST_PG");
  return uri ? uri : "";
}

#define VLQ_REQUIRE_PG()                                                                                \
  if (::vlq::test::PgTestServer().empty())                                                              \
  GTEST_SKIP() << "No PostgreSQL server for the tests: run them under ctest, which starts one, or run " \
                  "scripts/pg-test-server.sh start DIR and set VLQ_TEST_PG to the URI it prints"

class PgSchema {
 public:
  PgSchema() {
    std::random_device random;
    char name[32];
    std::snprintf(name, sizeof name, "vlqt_%08x%04x", random(), random() & 0xFFFF);
    name_ = name;
    db_ = platform::PgConnection::Open(platform::ParseServerLocation(PgTestServer()).ConnectionUri, "PgSchema");
  }
  ~PgSchema() {
    try {
      platform::PgResult schemas =
          db_->Exec("SELECT nspname FROM pg_namespace WHERE nspname LIKE $1", "PgSchema", {name_ + "%"});
      for (int r = 0; r < schemas.RowCount(); ++r) {
        db_->Exec("DROP SCHEMA " + platform::PgQuoted(schemas.Text(r, 0)) + " CASCADE", "PgSchema");
      }
    } catch (const Failure& f) {
      ADD_FAILURE() << "can't drop the test schema " << name_ << ": " << f.Description();
    }
  }
  PgSchema(const PgSchema&) = delete;
  PgSchema& operator=(const PgSchema&) = delete;

  const std::string& Name() const { return name_; }
  std::string Uri() const { return UriOf(name_); }
  static std::string UriOf(std::string_view schema) {
    return platform::ParseServerLocation(PgTestServer()).WithSchema(schema).Uri();
  }
  platform::PgConnection& Db() const { return *db_; }
  // Runs one statement on the fixture's connection.
  platform::PgResult Exec(const std::string& sql, const platform::PgConnection::Params& params = {}) const {
    return db_->Exec(sql, "PgSchema", params);
  }

 private:
  std::string name_;
  std::shared_ptr<platform::PgConnection> db_;
};

}  // namespace vlq::test
