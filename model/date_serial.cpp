#include "model/date_serial.h"

#include <cmath>

namespace vlq::date_serial {
namespace {

// 1899-12-30 counted from 1970-01-01.
constexpr std::int64_t kSerialEpochDays = -25569;
constexpr std::int64_t kSecondsPerDay = 86400;

// Splits a serial into whole days and seconds of the day. Negative serials
// carry the time of day as a positive fraction behind the day (-1.25 is
// 29 December 1899, 06:00), which is how the serial numbers of dates are kept.
void Split(DateSerial date, std::int64_t& days, std::int64_t& seconds) {
  double whole = std::trunc(date.serial);
  double fraction = std::fabs(date.serial - whole);
  days = static_cast<std::int64_t>(whole);
  seconds = static_cast<std::int64_t>(std::llround(fraction * kSecondsPerDay));
  if (seconds >= kSecondsPerDay) {
    seconds -= kSecondsPerDay;
    days += date.serial < 0 ? -1 : 1;
  }
}

}  // namespace

std::int64_t DaysFromCivil(int year, int month, int day) {
  // Howard Hinnant's days_from_civil.
  const std::int64_t y = static_cast<std::int64_t>(year) - (month <= 2 ? 1 : 0);
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yoe = y - era * 400;
  const std::int64_t mp = (month + 9) % 12;
  const std::int64_t doy = (153 * mp + 2) / 5 + day - 1;
  const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

bool IsValidCivilDate(int year, int month, int day) {
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int limit = kDays[month - 1];
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (month == 2 && leap) limit = 29;
  return day <= limit;
}

std::optional<DateSerial> FromCivil(const CivilDateTime& c) {
  if (!IsValidCivilDate(c.year, c.month, c.day)) return std::nullopt;
  if (c.hour < 0 || c.hour > 23 || c.minute < 0 || c.minute > 59 || c.second < 0 || c.second > 59)
    return std::nullopt;
  const double days = static_cast<double>(DaysFromCivil(c.year, c.month, c.day) - kSerialEpochDays);
  const double fraction = (c.hour * 3600.0 + c.minute * 60.0 + c.second) / kSecondsPerDay;
  return DateSerial{days < 0 ? days - fraction : days + fraction};
}

CivilDateTime ToCivil(DateSerial date) {
  std::int64_t days = 0;
  std::int64_t seconds = 0;
  Split(date, days, seconds);
  // Howard Hinnant's civil_from_days.
  std::int64_t z = days + kSerialEpochDays + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  CivilDateTime c;
  c.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  c.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  c.year = static_cast<int>(yoe + era * 400 + (c.month <= 2 ? 1 : 0));
  c.hour = static_cast<int>(seconds / 3600);
  c.minute = static_cast<int>((seconds / 60) % 60);
  c.second = static_cast<int>(seconds % 60);
  return c;
}

std::int64_t DaysSince1901(DateSerial date) {
  std::int64_t days = 0;
  std::int64_t seconds = 0;
  Split(date, days, seconds);
  return days - 367;
}

std::int64_t SecondsSinceMidnight(DateSerial date) {
  std::int64_t days = 0;
  std::int64_t seconds = 0;
  Split(date, days, seconds);
  return seconds;
}

bool HasTimeOfDay(DateSerial date) { return SecondsSinceMidnight(date) != 0; }

}  // namespace vlq::date_serial
