// Unexpected failures and logging through the engine: Fetch raises a failing
// statement with its own source, the other operations log what they handle and
// go on, and the output mode decides whether anything is written at all.
#include <gtest/gtest.h>

#include "components_test_support.h"
#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "engine_fixture.h"
#include "forwarding_project.h"
#include "model/query_def.h"
#include "platform/event_logs.h"

namespace vlq {
namespace {

// A database whose every statement fails, behind an otherwise sound project.
class FailingDataServices : public DataServices {
 public:
  explicit FailingDataServices(std::shared_ptr<DataServices> inner) : inner_(std::move(inner)) {}
  std::shared_ptr<ResultSet> Execute(std::string_view sql, long&) override {
    throw Failure(-2147217865, "DataServices.Execute", "no such table (" + std::string(sql.substr(0, 6)) + ")");
  }
  std::string ConnectionProperty(std::string_view name) override { return inner_->ConnectionProperty(name); }
  std::string ConnectionAttribute(std::string_view name) override { return inner_->ConnectionAttribute(name); }
  std::vector<SchemaColumn> OpenSchema(int) override { throw Failure(5, "DataServices.OpenSchema", "broken"); }

 private:
  std::shared_ptr<DataServices> inner_;
};

class FailingDatabaseProject : public test::ForwardingProject {
 public:
  using ForwardingProject::ForwardingProject;
  std::shared_ptr<DataServices> GetDataServices(std::string_view key) override {
    return std::make_shared<FailingDataServices>(Inner()->GetDataServices(key));
  }
};

class EngineLogging : public ::testing::Test {
 protected:
  void SetUp() override {
    ComponentFactories factories;
    factories.eventLog = [this] {
      return std::make_shared<platform::CallbackEventLog>(
          [this](std::string_view text, EventType type) { events.emplace_back(std::string(text), type); });
    };
    InstallComponentFactories(factories);
  }
  void TearDown() override { InstallComponentFactories(DefaultComponentFactories()); }

  // Writes the output mode to a settings file of a fresh configuration home.
  void SetMode(const std::optional<std::string>& mode) {
    if (mode) config.WriteFile("VlQueryEngine/settings.ini", "[Output]\nMode=" + *mode + "\n");
  }
  bool Logged(std::string_view start) const {
    for (const auto& event : events) {
      if (event.first.rfind(start, 0) == 0) return true;
    }
    return false;
  }

  testing_support::TempDir config;
  testing_support::ScopedEnv xdg{"XDG_CONFIG_HOME", config.Path().string()};
  testing_support::ScopedEnv logEnv{"VLQUERYENGINE_LOG", std::nullopt};
  test::TwoProjectWorld world;
  std::vector<std::pair<std::string, EventType>> events;
  std::string info;
  std::shared_ptr<QueryDef> def;
  Rows rows;
};

TEST_F(EngineLogging, FetchWritesTheQueryTheFlagAndTheStatementWhenModeBitZeroIsSet) {
  for (const char* mode : {"1", "3"}) {
    events.clear();
    SetMode(mode);
    QueryEngine engine;  // the mode is read at construction
    auto project = world.Open();
    ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR)", info, rows, def), eQEENone);
    EXPECT_TRUE(Logged("Velarit Query Language query submitted:  ReqType.Prefix(PR)")) << mode;
    EXPECT_TRUE(Logged("bRetainHierarchy flag = False")) << mode;
    EXPECT_TRUE(Logged("ANSI SQL query submitted:  " + engine.LastSqlStatement())) << mode;
    EXPECT_TRUE(Logged("QueryEngine::Class_Initialize")) << mode;
  }
}

TEST_F(EngineLogging, NothingIsWrittenWithModeTwoOrNoSettingEvenForHandledFailures) {
  for (std::optional<std::string> mode : {std::optional<std::string>("2"), std::optional<std::string>()}) {
    events.clear();
    std::filesystem::remove_all(config.Path() / "VlQueryEngine");
    SetMode(mode);
    QueryEngine engine;
    auto project = std::make_shared<FailingDatabaseProject>(world.Open());
    EXPECT_THROW(engine.Fetch(eBTRequirements, eQLTByPrefix, project, "", info, rows, def), Failure);
    EXPECT_TRUE(events.empty()) << (mode ? *mode : "none");
  }
}

TEST_F(EngineLogging, AFailingStatementInFetchReachesTheCallerWithTheSourceOfFetch) {
  QueryEngine engine;
  auto project = std::make_shared<FailingDatabaseProject>(world.Open());
  rows = Rows{{Variant(7)}};
  try {
    engine.Fetch(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR)", info, rows, def);
    FAIL() << "Fetch did not raise";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Source(), "QueryEngine.Fetch");
    EXPECT_EQ(failure.Number(), -2147217865);
    EXPECT_NE(failure.Description().find("no such table"), std::string::npos);
  }
  EXPECT_EQ(rows[0][0], Variant(7));  // aResults stays as it was
  // The engine goes on serving after the raise.
  auto sound = world.Open();
  EXPECT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, sound, "ReqType.Prefix(PR)", info, rows, def), eQEENone);
}

TEST_F(EngineLogging, AFailureInsideValidateIsLoggedAndTheRunGoesOn) {
  SetMode("1");
  QueryEngine engine;
  // The probe for the sort view and its creation both fail: the central error
  // handler logs them and Validate gives its statement all the same.
  auto project = std::make_shared<FailingDatabaseProject>(world.Open());
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project, "ReqType.Prefix(PR) PR.Sort(Platforms Order Asc)",
                            info, def),
            eQEENone)
      << info;
  EXPECT_NE(info.find("VLATTRVALUESSORTVIEW_15"), std::string::npos);
  EXPECT_TRUE(Logged("Central error handler handled error -2147217865 from DataServices.Execute:  no such table"));
  EXPECT_TRUE(Logged("Central error handler handled error 5 from DataServices.OpenSchema:  broken"));
}

}  // namespace
}  // namespace vlq
