// The event logs of the platform: the logging session (open, write, off), the
// file log chosen by VLQUERYENGINE_LOG, and the syslog datagrams.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "components_test_support.h"
#include "platform/event_logs.h"
#include "services/components.h"

namespace vlq {
namespace {

using platform::CallbackEventLog;
using platform::FileEventLog;
using platform::MakeDefaultEventLog;
using platform::SyslogEventLog;

using testing_support::ReadFile;
using testing_support::ScopedEnv;
using testing_support::TempDir;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Runs the same session on any log: a write before Open, two events in the
// session, a write after SetOff, and a session opened with the mode off.
void RunSession(EventLog& log) {
  log.Write("before open", eEventInformation);
  log.Open("", eLogAutomatic);
  log.Write("Velarit Query Language query submitted:  ReqType.Prefix(PR)", eEventInformation);
  log.Write("SELECT 1\r\nFROM T", eEventError);
  log.SetOff();
  log.Write("after off", eEventInformation);
  log.Open("", eLogOff);
  log.Write("while opened off", eEventError);
  log.SetOff();
}

TEST(LoggingEventLog, FileLogFromTheEnvironmentAppendsOneLinePerEvent) {
  TempDir dir;
  const auto file = dir.Path() / "events.log";
  ScopedEnv env("VLQUERYENGINE_LOG", file.string());
  // The default factory reads the variable when it makes the log.
  const auto log = DefaultComponentFactories().eventLog();
  ASSERT_NE(dynamic_cast<FileEventLog*>(log.get()), nullptr);
  RunSession(*log);
  RunSession(*MakeDefaultEventLog());  // a second writer appends

  const auto lines = Lines(ReadFile(file));
  ASSERT_EQ(lines.size(), 4u) << ReadFile(file);
  const std::regex stamp(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )");
  for (const std::string& line : lines) EXPECT_TRUE(std::regex_search(line, stamp)) << line;
  EXPECT_EQ(lines[0].substr(24), "Information Velarit Query Language query submitted:  ReqType.Prefix(PR)");
  EXPECT_EQ(lines[1].substr(24), "Error SELECT 1\\r\\nFROM T");
  EXPECT_EQ(lines[3].substr(24), lines[1].substr(24));
}

TEST(LoggingEventLog, DashSendsTheEventsToStandardError) {
  ScopedEnv env("VLQUERYENGINE_LOG", "-");
  const auto log = MakeDefaultEventLog();
  ::testing::internal::CaptureStderr();
  RunSession(*log);
  const std::string captured = ::testing::internal::GetCapturedStderr();
  const auto lines = Lines(captured);
  ASSERT_EQ(lines.size(), 2u) << captured;
  EXPECT_NE(lines[0].find(" Information Velarit Query Language"), std::string::npos);
  // Standard error stays open after the session.
  EXPECT_NE(::write(STDERR_FILENO, "", 0), -1);
}

TEST(LoggingEventLog, WithoutTheVariableTheSystemLogIsTheDefault) {
  for (const std::optional<std::string>& value : {std::optional<std::string>(), std::optional<std::string>("")}) {
    ScopedEnv env("VLQUERYENGINE_LOG", value);
    const auto log = DefaultComponentFactories().eventLog();
    EXPECT_NE(dynamic_cast<SyslogEventLog*>(log.get()), nullptr);
  }
}

TEST(LoggingEventLog, SyslogSendsOneDatagramPerEventWithIdentAndPriority) {
  TempDir dir;
  const std::string socketPath = (dir.Path() / "log.sock").string();
  const int receiver = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_GE(receiver, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(socketPath.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  ASSERT_EQ(::bind(receiver, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

  SyslogEventLog log(socketPath);
  RunSession(log);

  std::vector<std::string> datagrams;
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::recv(receiver, buffer, sizeof buffer, MSG_DONTWAIT);
    if (n <= 0) break;
    datagrams.emplace_back(buffer, static_cast<std::size_t>(n));
  }
  ::close(receiver);
  ASSERT_EQ(datagrams.size(), 2u);
  const std::string ident = " VlQueryEngine[" + std::to_string(::getpid()) + "]: ";
  // Facility user (8) with LOG_INFO (6) and LOG_ERR (3).
  const std::regex header(R"(^<14>[A-Z][a-z]{2} [ 1-3]\d \d{2}:\d{2}:\d{2} VlQueryEngine\[\d+\]: )");
  EXPECT_TRUE(std::regex_search(datagrams[0], header)) << datagrams[0];
  EXPECT_TRUE(datagrams[0].ends_with(ident + "Velarit Query Language query submitted:  ReqType.Prefix(PR)"))
      << datagrams[0];
  EXPECT_EQ(datagrams[1].substr(0, 4), "<11>");
  EXPECT_NE(datagrams[1].find(ident + "SELECT 1\\r\\nFROM T"), std::string::npos) << datagrams[1];
}

TEST(LoggingEventLog, SyslogWithoutASocketLosesEventsQuietly) {
  TempDir dir;
  SyslogEventLog log((dir.Path() / "no.sock").string());
  RunSession(log);  // nothing to assert but that nothing fails
}

TEST(LoggingEventLog, CallbackLogHandsOnlySessionEventsToTheHost) {
  std::vector<std::pair<std::string, EventType>> events;
  CallbackEventLog log([&events](std::string_view text, EventType type) { events.emplace_back(text, type); });
  RunSession(log);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0], std::make_pair(std::string("Velarit Query Language query submitted:  ReqType.Prefix(PR)"),
                                      eEventInformation));
  // The host's sink gets the text as it is, line breaks included.
  EXPECT_EQ(events[1], std::make_pair(std::string("SELECT 1\r\nFROM T"), eEventError));

  CallbackEventLog throwing([](std::string_view, EventType) { throw std::runtime_error("sink down"); });
  throwing.Open("", eLogAutomatic);
  EXPECT_NO_THROW(throwing.Write("x", eEventError));
}

// A query's text can't forge a second line or pass for an escape.
TEST(LoggingEventLog, OneLineTextEscapesEveryControlCharacterAndTheBackslash) {
  const struct {
    std::string text;
    std::string line;
  } rows[] = {
      {"a\r\nb", "a\\r\\nb"},
      {"tab\there", "tab\\there"},
      {std::string("nul\0bell\a", 9), "nul\\x00bell\\x07"},
      {"esc\x1b[31m", "esc\\x1B[31m"},
      {"del\x7f", "del\\x7F"},
      {"C:\\dir\\new", "C:\\\\dir\\\\new"},
      {"\\n is not a line feed", "\\\\n is not a line feed"},
      {"\xc3\xa4 stays", "\xc3\xa4 stays"},
  };
  for (const auto& row : rows) EXPECT_EQ(platform::OneLineText(row.text), row.line) << row.text;
}

}  // namespace
}  // namespace vlq
