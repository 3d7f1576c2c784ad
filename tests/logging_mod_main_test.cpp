// Logging of the engine under its setting, the central error handler and the
// three treatments of unexpected failures, seen through a host's sink.

#include <gtest/gtest.h>

#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "components_test_support.h"
#include "engine/mod_main.h"
#include "platform/event_logs.h"

namespace vlq {
namespace {

using platform::CallbackEventLog;

using testing_support::ScopedEnv;
using testing_support::TempDir;

class LoggingModMain : public ::testing::Test {
 protected:
  void SetUp() override {
    // The real INI store reads the file of this test's configuration folder;
    // the events go to a capturing sink.
    ComponentFactories factories = DefaultComponentFactories();
    factories.eventLog = [this] {
      return std::make_shared<CallbackEventLog>([this](std::string_view text, EventType type) {
        std::lock_guard lock(mutex_);
        events_.emplace_back(text, type);
      });
    };
    InstallComponentFactories(factories);
  }
  void TearDown() override { InstallComponentFactories(DefaultComponentFactories()); }

  // Writes the setting (nullopt: no file) and reads it as a new engine does.
  void ReadMode(std::optional<std::string> mode) {
    const auto file = config_.Path() / "VlQueryEngine" / "settings.ini";
    std::filesystem::remove(file);
    if (mode) config_.WriteFile("VlQueryEngine/settings.ini", "[Output]\nMode=" + *mode + "\n");
    modMain::ReadOutputMode();
  }

  std::vector<std::pair<std::string, EventType>> Events() {
    std::lock_guard lock(mutex_);
    return events_;
  }

  TempDir config_;
  ScopedEnv xdg_{"XDG_CONFIG_HOME", config_.Path().string()};
  std::mutex mutex_;
  std::vector<std::pair<std::string, EventType>> events_;
};

void LogSomething() {
  modMain::LogEvents({{"Velarit Query Language query submitted:  x", eEventInformation},
                      {"bRetainHierarchy flag = False", eEventInformation}});
  modMain::CentralErrorHandler("QueryEngine.Validate", "", Failure(5, "Src", "desc"));
}

TEST_F(LoggingModMain, OnlyBitZeroOfTheStoredModeTurnsLoggingOn) {
  const struct {
    std::optional<std::string> mode;
    bool on;
  } cases[] = {{"1", true}, {"3", true}, {" 1 ", true}, {"2", false}, {"0", false}, {std::nullopt, false}};
  for (const auto& c : cases) {
    ReadMode(c.mode);
    EXPECT_EQ(modMain::LoggingOn(), c.on) << c.mode.value_or("(no setting)");
    const std::size_t before = Events().size();
    LogSomething();
    EXPECT_EQ(Events().size() - before, c.on ? 3u : 0u) << c.mode.value_or("(no setting)");
  }
}

TEST_F(LoggingModMain, AModeThatIsNoNumberLeavesThePreviousOne) {
  ReadMode("x");
  EXPECT_EQ(modMain::OutputMode(), 0);
  ReadMode("1");
  ReadMode("x");
  EXPECT_EQ(modMain::OutputMode(), 1);
  ReadMode("99999999999999999999999");
  EXPECT_EQ(modMain::OutputMode(), 1);
}

TEST_F(LoggingModMain, EventsOfASessionComeInOrderWithTheirTypes) {
  ReadMode("1");
  LogSomething();
  const auto events = Events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0], std::make_pair(std::string("Velarit Query Language query submitted:  x"), eEventInformation));
  EXPECT_EQ(events[1], std::make_pair(std::string("bRetainHierarchy flag = False"), eEventInformation));
  EXPECT_EQ(events[2],
            std::make_pair(std::string("Central error handler handled error 5 from Src:  desc"), eEventError));
}

TEST_F(LoggingModMain, TreatmentsOfUnexpectedFailures) {
  ReadMode("1");

  // Handle and leave: logged, and the operation goes on with what it held.
  int result = 0;
  modMain::HandleAndLeave("TypedSimpleExpression.ResolveForType", [&] {
    result = 13;
    throw Failure(-2147217900, "DataServices.Execute", "no such table: VLX");
  });
  EXPECT_EQ(result, 13);
  modMain::HandleAndLeave("QuerySql.Reset", [] { throw std::runtime_error("bad"); });
  auto events = Events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].first,
            "Central error handler handled error -2147217900 from DataServices.Execute:  no such table: VLX");
  EXPECT_EQ(events[0].second, eEventError);
  EXPECT_EQ(events[1].first, "Central error handler handled error " + std::to_string(kUnexpectedFailureNumber) +
                                 " from QuerySql.Reset:  bad");

  // Ignore and go on: dropped, not logged.
  int reached = 0;
  modMain::IgnoreAndGoOn([&] {
    reached = 1;
    throw Failure(1, "x", "y");
  });
  EXPECT_EQ(reached, 1);
  EXPECT_EQ(Events().size(), 2u);

  // Raise: on to the caller with its number and description, and the given source.
  try {
    modMain::Raise("QueryEngine.Fetch", [] { throw Failure(3021, "DataServices.Execute", "no current record"); });
    ADD_FAILURE() << "Raise did not throw";
  } catch (const Failure& f) {
    EXPECT_EQ(f.Number(), 3021);
    EXPECT_EQ(f.Source(), "QueryEngine.Fetch");
    EXPECT_EQ(f.Description(), "no current record");
  }
  EXPECT_EQ(modMain::Raise("QueryEngine.Fetch", [] { return 42; }), 42);
  EXPECT_EQ(Events().size(), 2u);
}

TEST_F(LoggingModMain, OutputModeAndLookupTypeBelongToTheirThread) {
  ReadMode("1");
  modMain::SetModuleLookupType(eQLTByKey);

  long otherMode = -1;
  enumQueryLookupTypes otherLookup = eQLTByGUID;
  long otherModeAfterRead = -1;
  std::thread other([&] {
    // A new thread starts with its own values.
    otherMode = modMain::OutputMode();
    otherLookup = modMain::ModuleLookupType();
    modMain::SetModuleLookupType(eQLTByPrefix);
    modMain::LogEvents({{"from the other thread", eEventInformation}});
    ReadMode("2");
    otherModeAfterRead = modMain::OutputMode();
  });
  other.join();

  EXPECT_EQ(otherMode, 0);
  EXPECT_EQ(otherLookup, eQLTNone);
  EXPECT_EQ(otherModeAfterRead, 2);
  EXPECT_TRUE(Events().empty()) << "logging was off on the other thread";
  EXPECT_EQ(modMain::OutputMode(), 1);
  EXPECT_EQ(modMain::ModuleLookupType(), eQLTByKey);
}

}  // namespace
}  // namespace vlq
