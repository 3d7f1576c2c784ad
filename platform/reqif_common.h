#pragma once
// What the ReqIF importer and exporter share: how a ReqIF identifier becomes a
// GUID of the store and back, how a requirement type gets its prefix, which
// attribute labels a system attribute would hide, the date forms of both
// sides, tag numbers, and a reusable prepared statement for bulk writing.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vlq::platform::reqif {

// ---- GUIDs ----------------------------------------------------------------------

// The braced, upper-case GUID of a ReqIF identifier. An identifier that is a
// GUID already ("8d8f0777-b329-...", optionally in braces or behind one "_",
// as many tools write them) keeps it; any other gives a name-based GUID
// (SHA-1, a namespace of this system), so that the same identifier gives the
// same GUID on every import.
std::string GuidFromIdentifier(std::string_view identifier);

// The name-based GUID of a text, in braces and capitals.
std::string NameBasedGuid(std::string_view name);

// The ReqIF identifier that a GUID of the store is written as: "_" and the
// GUID without braces. GuidFromIdentifier reads it back to the same GUID.
std::string IdentifierFromGuid(std::string_view guid);

// ---- Prefixes and labels ----------------------------------------------------------

// A word that the query language gives a meaning of its own, so that it can't
// be the prefix of a requirement type: REQUIREMENT, DISCUSSION, REQTYPE,
// COUNT, the connectors and operators, and every system attribute word.
bool IsReservedWord(std::string_view word);

// A prefix for a requirement type named `name`: the initials of its words
// (camel case counts as words), or the first three letters of a one-word
// name, in capitals, A-Z only; then letters are added until it is not
// reserved and neither equal to, nor the ending of, a prefix in `taken` (the
// query reader finds "R.Criteria" inside "SR.Criteria"), nor the other way
// round. Letters only, so that a tag (prefix and number) reads unambiguously.
std::string DerivePrefix(std::string_view name, const std::vector<std::string>& taken);

// Whether `prefix` may stand beside `taken` as DerivePrefix's results do.
bool IsUsablePrefix(std::string_view prefix, const std::vector<std::string>& taken);

// True when a query naming `label` would reach a system attribute of a
// requirement instead (Name, Text, Key, Tag, Author...).
bool IsShadowedLabel(std::string_view label);

// ---- Dates ----------------------------------------------------------------------

struct DateTime {
  int Year = 1901;
  int Month = 1;
  int Day = 1;
  int Hour = 0;
  int Minute = 0;
  int Second = 0;
};

// An xsd:dateTime ("2002-05-30T09:30:10.000+06:00") or a plain date, read
// as written: the calendar day and wall-clock time of the writer's own offset,
// which is dropped. Fractions of a second are dropped. nullopt when it isn't
// a valid date and time.
std::optional<DateTime> ParseDateTime(std::string_view text);

// Days from 1901-01-01 (the stored form of a date attribute) and back.
std::int64_t DaysSince1901(const DateTime& value);
DateTime FromDaysSince1901(std::int64_t days);

// "YYYY-MM-DD HH:MM:SS", the store's form of a date and time column.
std::string StoreDateTime(const DateTime& value);
// The store's form read back; nullopt when it isn't one.
std::optional<DateTime> ParseStoreDateTime(std::string_view text);
// "YYYY-MM-DDTHH:MM:SS", an xsd:dateTime without an offset.
std::string XsdDateTime(const DateTime& value);

// ---- Tags -----------------------------------------------------------------------

// One level of a LONGTAGNUMBER: the number as ten zero-padded digits.
std::string TagLevel(long number);
// The dotted form of a LONGTAGNUMBER: "00000000020000000001" is "2.1".
// Empty for an empty or malformed tag.
std::string DottedTag(std::string_view longTag);

// ---- Bulk writing -----------------------------------------------------------------

// A prepared statement that is run many times: bind, Run, and it is ready
// for the next row. Throws Failure (SQLite's code and message, `source`).
class BulkStatement {
 public:
  BulkStatement(::sqlite3* db, std::string_view sql, std::string_view source);
  ~BulkStatement();
  BulkStatement(const BulkStatement&) = delete;
  BulkStatement& operator=(const BulkStatement&) = delete;

  BulkStatement& Bind(int index, std::int64_t value);
  BulkStatement& Bind(int index, double value);
  BulkStatement& Bind(int index, std::string_view value);
  // A text that stays where it is until Run: SQLite reads it in place
  // instead of copying it.
  BulkStatement& BindInPlace(int index, std::string_view value);
  BulkStatement& BindNull(int index);
  // Runs a statement that returns no rows, then resets it.
  void Run();
  // For a query: one step, true while there is a row; Reset starts over.
  bool Step();
  void Reset();
  std::int64_t Int(int column) const;
  double Real(int column) const;
  std::string Text(int column) const;
  bool IsNull(int column) const;
  int ColumnType(int column) const;  // SQLITE_INTEGER, SQLITE_FLOAT, ...

 private:
  [[noreturn]] void Fail() const;
  ::sqlite3* db_;
  ::sqlite3_stmt* stmt_ = nullptr;
  std::string sql_;
  std::string source_;
};

}  // namespace vlq::platform::reqif
