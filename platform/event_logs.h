#pragma once
// The event logs of the platform. Each follows the logging session of the
// engine: Open with an empty target and the mode automatic turns the log on,
// Write sends one event, SetOff turns it off again. A write while the log is
// off (before the first Open, after SetOff, or after Open with the mode off) is
// dropped. Where events go is fixed when the log is made, so the target of Open
// is not used. No operation throws: a log that can't be written loses the event,
// since logging must never make an operation of the engine fail.
//
// Thread safety: the engine keeps one log per thread; one object is not meant
// for two threads at once. Several objects, in one process or in several, may
// write to the same file or system log at once: each event is one write.
//
//  - SyslogEventLog: the system log, ident "VlQueryEngine", facility user;
//    information events at LOG_INFO, errors at LOG_ERR. It speaks the syslog
//    datagram protocol to /dev/log itself instead of through openlog(3), so
//    that the process-wide ident of a host that logs on its own is left alone.
//  - FileEventLog: appends one line per event to a file, or to standard error
//    for the path "-": "2024-05-01 13:07:09.123 Information <text>". Line
//    breaks inside an event's text are written as \r and \n, so that every
//    event stays on one line.
//  - CallbackEventLog: hands every event to a function of the host.
//
// MakeDefaultEventLog() is what the engine uses unless a host installs its own
// factory (services/components.h): a FileEventLog when the environment variable
// VLQUERYENGINE_LOG names a file (or "-"), else a SyslogEventLog. A host plugs in
// its own sink like this:
//
//   vlq::ComponentFactories f;
//   f.eventLog = [] { return std::make_shared<vlq::platform::CallbackEventLog>(
//       [](std::string_view text, vlq::EventType type) { MyLog(text, type); }); };
//   vlq::InstallComponentFactories(f);

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "services/event_log.h"

namespace vlq::platform {

// The word of an event type in a log line: "Information" or "Error".
std::string_view EventTypeWord(EventType eType);

// The text of an event on one line: CR, LF and tab written as \r, \n and \t,
// every other control character as \xHH and the backslash as \\.
std::string OneLineText(std::string_view sText);

class SyslogEventLog : public EventLog {
 public:
  // sSocketPath: the system log's socket (a test may give its own).
  explicit SyslogEventLog(std::string sSocketPath = "/dev/log");
  ~SyslogEventLog() override;
  SyslogEventLog(const SyslogEventLog&) = delete;
  SyslogEventLog& operator=(const SyslogEventLog&) = delete;

  void Open(std::string_view sTarget, EventLogMode eMode) override;
  void Write(std::string_view sText, EventType eType) override;
  void SetOff() override;

 private:
  void CloseSocket();

  std::string socketPath_;
  int socket_ = -1;
  bool on_ = false;
};

class FileEventLog : public EventLog {
 public:
  // sPath: the file to append to, created when missing; "-" for standard error.
  explicit FileEventLog(std::string sPath);
  ~FileEventLog() override;
  FileEventLog(const FileEventLog&) = delete;
  FileEventLog& operator=(const FileEventLog&) = delete;

  void Open(std::string_view sTarget, EventLogMode eMode) override;
  void Write(std::string_view sText, EventType eType) override;
  void SetOff() override;

 private:
  void CloseFile();

  std::string path_;
  int fd_ = -1;  // open only during a session; standard error is never closed
  bool on_ = false;
};

class CallbackEventLog : public EventLog {
 public:
  using Sink = std::function<void(std::string_view sText, EventType eType)>;
  explicit CallbackEventLog(Sink sink) : sink_(std::move(sink)) {}

  void Open(std::string_view sTarget, EventLogMode eMode) override;
  void Write(std::string_view sText, EventType eType) override;
  void SetOff() override;

 private:
  Sink sink_;
  bool on_ = false;
};

// The log of the environment: VLQUERYENGINE_LOG's file (or "-") when it is
// set and not empty, else the system log. Read when called.
std::shared_ptr<EventLog> MakeDefaultEventLog();

}  // namespace vlq::platform
