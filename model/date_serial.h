#pragma once
// Date arithmetic of the engine. A date is a serial number of days counted from
// 30 December 1899, the fraction being the time of day: 1 January 1901 is 367,
// 1 January 1800 is -36522. Day counts and the calendar conversions are exact
// for the proleptic Gregorian calendar.

#include <cstdint>
#include <optional>
#include <string>

namespace vlq {

struct DateSerial {
  double serial = 0.0;
  friend bool operator==(const DateSerial&, const DateSerial&) = default;
  friend auto operator<=>(const DateSerial&, const DateSerial&) = default;
};

struct CivilDateTime {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

namespace date_serial {

// Days from 1970-01-01 to the given civil date (negative before it).
std::int64_t DaysFromCivil(int year, int month, int day);
bool IsValidCivilDate(int year, int month, int day);

// A civil date and time to its serial; nullopt for an impossible date or time.
std::optional<DateSerial> FromCivil(const CivilDateTime& civil);
// The serial to civil date and time, rounded to the nearest second.
CivilDateTime ToCivil(DateSerial date);

// Whole days from 1 January 1901 to the date (the stored form of a date
// attribute), and whole seconds from midnight to its time of day (the stored
// form of a time attribute).
std::int64_t DaysSince1901(DateSerial date);
std::int64_t SecondsSinceMidnight(DateSerial date);
bool HasTimeOfDay(DateSerial date);

}  // namespace date_serial
}  // namespace vlq
