#pragma once
// The event log. A logging session opens the log with an empty target and the
// mode automatic, writes one or more events, and sets the log to off.

#include <string>
#include <string_view>

namespace vlq {

enum EventType : int { eEventError = 1, eEventInformation = 4 };
enum EventLogMode : int { eLogAutomatic = 0, eLogOff = 1 };

class EventLog {
 public:
  virtual ~EventLog() = default;
  virtual void Open(std::string_view sTarget, EventLogMode eMode) = 0;
  virtual void Write(std::string_view sText, EventType eType) = 0;
  virtual void SetOff() = 0;
};

}  // namespace vlq
