#include "platform/event_logs.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vlq::platform {
namespace {

constexpr std::string_view kIdent = "VlQueryEngine";

// Writes all of sData to fd in one write where the system allows it, so that
// lines of several writers don't interleave; a failed write loses the rest.
void WriteAll(int fd, std::string_view sData) {
  while (!sData.empty()) {
    const ssize_t n = ::write(fd, sData.data(), sData.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return;
    }
    sData.remove_prefix(static_cast<std::size_t>(n));
  }
}

std::tm LocalTime(std::time_t seconds) {
  std::tm local{};
  localtime_r(&seconds, &local);
  return local;
}

// "2024-05-01 13:07:09.123", local time.
std::string FileTimestamp() {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::tm t = LocalTime(std::chrono::system_clock::to_time_t(now));
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                t.tm_hour, t.tm_min, t.tm_sec, static_cast<int>(ms));
  return buffer;
}

// "May  1 13:07:09", the timestamp of a syslog datagram (local time, English
// month names whatever the process's locale).
std::string SyslogTimestamp() {
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::tm t = LocalTime(std::time(nullptr));
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%s %2d %02d:%02d:%02d", kMonths[t.tm_mon % 12], t.tm_mday, t.tm_hour, t.tm_min,
                t.tm_sec);
  return buffer;
}

}  // namespace

std::string_view EventTypeWord(EventType eType) {
  return eType == eEventError ? std::string_view("Error") : std::string_view("Information");
}

std::string OneLineText(std::string_view sText) {
  // Every control character is written as an escape, and so is the
  // backslash itself, so that a line of the log can't be forged by the text
  // of a query and reads back to the text it stands for.
  std::string out;
  out.reserve(sText.size() + 8);
  for (const char c : sText) {
    switch (c) {
      case '\r':
        out += "\\r";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\\':
        out += "\\\\";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\x%02X", static_cast<unsigned char>(c));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  return out;
}

// ---- SyslogEventLog -----------------------------------------------------------

SyslogEventLog::SyslogEventLog(std::string sSocketPath) : socketPath_(std::move(sSocketPath)) {}

SyslogEventLog::~SyslogEventLog() { CloseSocket(); }

void SyslogEventLog::CloseSocket() {
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
}

void SyslogEventLog::Open(std::string_view /*sTarget*/, EventLogMode eMode) {
  CloseSocket();
  on_ = eMode == eLogAutomatic;
  if (!on_) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath_.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socketPath_.c_str(), socketPath_.size() + 1);
  socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket_ < 0) return;
  if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) CloseSocket();
}

void SyslogEventLog::Write(std::string_view sText, EventType eType) {
  if (!on_ || socket_ < 0) return;
  const int priority = LOG_USER | (eType == eEventError ? LOG_ERR : LOG_INFO);
  std::string datagram = "<" + std::to_string(priority) + ">" + SyslogTimestamp() + " " + std::string(kIdent) + "[" +
                         std::to_string(::getpid()) + "]: " + OneLineText(sText);
  // A full log drops the event rather than hold up the engine.
  (void)::send(socket_, datagram.data(), datagram.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void SyslogEventLog::SetOff() {
  on_ = false;
  CloseSocket();
}

// ---- FileEventLog -------------------------------------------------------------

FileEventLog::FileEventLog(std::string sPath) : path_(std::move(sPath)) {}

FileEventLog::~FileEventLog() { CloseFile(); }

void FileEventLog::CloseFile() {
  if (fd_ >= 0 && fd_ != STDERR_FILENO) ::close(fd_);
  fd_ = -1;
}

void FileEventLog::Open(std::string_view /*sTarget*/, EventLogMode eMode) {
  CloseFile();
  on_ = eMode == eLogAutomatic;
  if (!on_) return;
  if (path_ == "-") {
    fd_ = STDERR_FILENO;
    return;
  }
  // O_APPEND makes each line land at the end even with several writers.
  fd_ = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

void FileEventLog::Write(std::string_view sText, EventType eType) {
  if (!on_ || fd_ < 0) return;
  std::string line = FileTimestamp();
  line += ' ';
  line += EventTypeWord(eType);
  line += ' ';
  line += OneLineText(sText);
  line += '\n';
  WriteAll(fd_, line);
}

void FileEventLog::SetOff() {
  on_ = false;
  CloseFile();
}

// ---- CallbackEventLog ---------------------------------------------------------

void CallbackEventLog::Open(std::string_view /*sTarget*/, EventLogMode eMode) { on_ = eMode == eLogAutomatic; }

void CallbackEventLog::Write(std::string_view sText, EventType eType) {
  if (!on_ || !sink_) return;
  try {
    sink_(sText, eType);
  } catch (...) {
    // The host's sink failing is no failure of the engine's operation.
  }
}

void CallbackEventLog::SetOff() { on_ = false; }

// ---- The default --------------------------------------------------------------

std::shared_ptr<EventLog> MakeDefaultEventLog() {
  const char* target = std::getenv("VLQUERYENGINE_LOG");
  if (target != nullptr && *target != '\0') return std::make_shared<FileEventLog>(target);
  return std::make_shared<SyslogEventLog>();
}

}  // namespace vlq::platform
