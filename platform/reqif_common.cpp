#include "platform/reqif_common.h"

#include <sqlite3.h>
#include <uuid/uuid.h>

#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>

#include "engine/enums.h"
#include "engine/system_attr_tables.h"
#include "model/date_serial.h"
#include "model/text_util.h"
#include "services/failure.h"

namespace vlq::platform::reqif {
namespace {

// The namespace of the name-based GUIDs of this system.
constexpr const char* kGuidNamespace = "3c0b5a52-7e1d-4c6f-9b0a-5e2d8f41a7c3";

bool IsHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

// The 8-4-4-4-12 hex form, exactly.
bool IsUuidText(std::string_view s) {
  if (s.size() != 36) return false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? s[i] != '-' : !IsHex(s[i])) return false;
  }
  return true;
}

// Appended piece by piece: "{" + text trips a false warning of GCC 12.
std::string Braced(std::string_view uuid) {
  std::string out(1, '{');
  out += text::Upper(uuid);
  out += '}';
  return out;
}

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsAsciiDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAsciiLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsAsciiUpper(char c) { return c >= 'A' && c <= 'Z'; }

// The words of a name: runs of letters and digits, split where a lower case
// letter is followed by a capital ("ObjectTypeName" is three words).
std::vector<std::string> Words(std::string_view name) {
  std::vector<std::string> words;
  std::string word;
  char previous = 0;
  for (char c : name) {
    // Bytes of letters beyond ASCII belong to the word they stand in.
    const bool alnum = IsAsciiLetter(c) || IsAsciiDigit(c) || static_cast<unsigned char>(c) >= 0x80;
    if (!alnum || (IsAsciiUpper(c) && IsAsciiLower(previous))) {
      if (!word.empty()) words.push_back(std::move(word));
      word.clear();
    }
    if (alnum) word += c;
    previous = alnum ? c : 0;
  }
  if (!word.empty()) words.push_back(std::move(word));
  return words;
}

bool EndsWith(std::string_view s, std::string_view end) {
  return s.size() >= end.size() && s.substr(s.size() - end.size()) == end;
}

int Digits(std::string_view s, std::size_t at, std::size_t count, bool& ok) {
  int value = 0;
  if (at + count > s.size()) {
    ok = false;
    return 0;
  }
  for (std::size_t i = at; i < at + count; ++i) {
    if (!IsAsciiDigit(s[i])) {
      ok = false;
      return 0;
    }
    value = value * 10 + (s[i] - '0');
  }
  return value;
}

}  // namespace

// ---- GUIDs ----------------------------------------------------------------------

std::string NameBasedGuid(std::string_view name) {
  uuid_t ns;
  uuid_t out;
  uuid_parse(kGuidNamespace, ns);
  uuid_generate_sha1(out, ns, name.data(), name.size());
  char textForm[37];
  uuid_unparse_upper(out, textForm);
  return Braced(textForm);
}

std::string GuidFromIdentifier(std::string_view identifier) {
  std::string_view inner = identifier;
  if (inner.size() == 38 && inner.front() == '{' && inner.back() == '}') inner = inner.substr(1, 36);
  if (inner.size() == 37 && inner.front() == '_') inner.remove_prefix(1);
  if (IsUuidText(inner)) return Braced(inner);
  return NameBasedGuid(identifier);
}

std::string IdentifierFromGuid(std::string_view guid) {
  std::string_view inner = guid;
  if (inner.size() >= 2 && inner.front() == '{' && inner.back() == '}') inner = inner.substr(1, inner.size() - 2);
  std::string out(1, '_');
  out += text::Upper(inner);
  return out;
}

// ---- Prefixes and labels ----------------------------------------------------------

bool IsReservedWord(std::string_view word) {
  static constexpr std::array<std::string_view, 26> kWords{
      "REQUIREMENT", "DISCUSSION", "REQTYPE", "PREFIX",  "KEY",         "GUID",       "CRITERIA",
      "RELCRITERIA", "SORT",       "AND",     "OR",      "NOT",         "ALL",        "ANY",
      "IN",          "LIKE",       "ULIKE",   "BETWEEN", "ORDER",       "O",          "ASC",
      "DESC",        "STATUS",     "TRACED-TO", "TRACED-FROM", "DIRECT-ONLY"};
  const std::string upper = text::Upper(word);
  // The count keyword is found at the start of a query whatever follows it.
  if (upper.starts_with("COUNT")) return true;
  for (std::string_view reserved : kWords) {
    if (upper == reserved) return true;
  }
  return modMain::SystemAttrStringToEnum(eBTRequirements, upper, eQLTByPrefix) != eSAKUnknown ||
         modMain::SystemAttrStringToEnum(eBTDiscussions, upper, eQLTByPrefix) != eSAKUnknown;
}

bool IsUsablePrefix(std::string_view prefix, const std::vector<std::string>& taken) {
  if (prefix.empty() || IsReservedWord(prefix)) return false;
  for (const std::string& other : taken) {
    if (EndsWith(other, prefix) || EndsWith(prefix, other)) return false;
  }
  return true;
}

std::string DerivePrefix(std::string_view name, const std::vector<std::string>& taken) {
  const std::vector<std::string> words = Words(name);
  std::string base;
  for (const std::string& word : words) {
    if (IsAsciiLetter(word.front()) && base.size() < 4) base += text::UpperAscii(word.front());
  }
  // Initials stand for a name of several words; one word gives its start.
  if (base.size() < 2) {
    // One word: its first three letters.
    base.clear();
    for (const std::string& word : words) {
      for (char c : word) {
        if (IsAsciiLetter(c) && base.size() < 3) base += text::UpperAscii(c);
      }
      if (!base.empty()) break;
    }
  }
  if (base.empty()) base = "RT";
  if (IsUsablePrefix(base, taken)) return base;
  for (char a = 'A'; a <= 'Z'; ++a) {
    const std::string candidate = base + a;
    if (IsUsablePrefix(candidate, taken)) return candidate;
  }
  for (char a = 'A'; a <= 'Z'; ++a) {
    for (char b = 'A'; b <= 'Z'; ++b) {
      const std::string candidate = base + a + b;
      if (IsUsablePrefix(candidate, taken)) return candidate;
    }
  }
  // More than 700 types of one name: count on.
  for (long n = 1;; ++n) {
    std::string candidate = base;
    for (long rest = n; rest > 0; rest /= 26) candidate += static_cast<char>('A' + rest % 26);
    candidate += "ZZ";
    if (IsUsablePrefix(candidate, taken)) return candidate;
  }
}

bool IsShadowedLabel(std::string_view label) {
  return modMain::SystemAttrStringToEnum(eBTRequirements, label, eQLTByPrefix) != eSAKUnknown;
}

// ---- Dates ----------------------------------------------------------------------

std::optional<DateTime> ParseDateTime(std::string_view s) {
  bool ok = true;
  DateTime value;
  // The year: four digits or more, no sign (the store has no years before 1).
  std::size_t at = 0;
  while (at < s.size() && IsAsciiDigit(s[at])) ++at;
  if (at < 4 || at > 4 || at >= s.size() || s[at] != '-') return std::nullopt;
  value.Year = Digits(s, 0, 4, ok);
  if (s.size() < 10 || s[7] != '-') return std::nullopt;
  value.Month = Digits(s, 5, 2, ok);
  value.Day = Digits(s, 8, 2, ok);
  at = 10;
  if (at < s.size() && s[at] == 'T') {
    if (s.size() < 19 || s[13] != ':' || s[16] != ':') return std::nullopt;
    value.Hour = Digits(s, 11, 2, ok);
    value.Minute = Digits(s, 14, 2, ok);
    value.Second = Digits(s, 17, 2, ok);
    at = 19;
    if (at < s.size() && s[at] == '.') {
      ++at;
      const std::size_t first = at;
      while (at < s.size() && IsAsciiDigit(s[at])) ++at;
      if (at == first) return std::nullopt;
    }
  }
  // The offset is checked and dropped: the day and time are the writer's.
  if (at < s.size()) {
    if (s[at] == 'Z') {
      ++at;
    } else if (s[at] == '+' || s[at] == '-') {
      if (s.size() != at + 6 || s[at + 3] != ':') return std::nullopt;
      const int hours = Digits(s, at + 1, 2, ok);
      const int minutes = Digits(s, at + 4, 2, ok);
      if (hours > 14 || minutes > 59) return std::nullopt;
      at += 6;
    }
  }
  if (!ok || at != s.size() || value.Year < 1) return std::nullopt;
  if (!date_serial::IsValidCivilDate(value.Year, value.Month, value.Day)) return std::nullopt;
  if (value.Hour == 24 && value.Minute == 0 && value.Second == 0) {
    // The end of a day is the start of the next one.
    const DateTime next = FromDaysSince1901(DaysSince1901(value) + 1);
    if (next.Year > 9999) return std::nullopt;
    return next;
  }
  if (value.Hour > 23 || value.Minute > 59 || value.Second > 59) return std::nullopt;
  return value;
}

std::int64_t DaysSince1901(const DateTime& value) {
  return date_serial::DaysFromCivil(value.Year, value.Month, value.Day) - date_serial::DaysFromCivil(1901, 1, 1);
}

DateTime FromDaysSince1901(std::int64_t days) {
  const std::int64_t since1970 = days + date_serial::DaysFromCivil(1901, 1, 1);
  // Civil date of a day count (proleptic Gregorian calendar).
  std::int64_t z = since1970 + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  DateTime value;
  value.Day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  value.Month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  value.Year = static_cast<int>(yoe + era * 400 + (value.Month <= 2 ? 1 : 0));
  return value;
}

namespace {

// Two or four digits, zero-padded, without the cost of a format string: a
// large import writes one date and time per requirement.
void PutDigits(std::string& out, int value, int width) {
  char digits[4];
  for (int i = width - 1; i >= 0; --i) {
    digits[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  out.append(digits, static_cast<std::size_t>(width));
}

std::string FormatDateTime(const DateTime& v, char between) {
  std::string out;
  out.reserve(19);
  PutDigits(out, v.Year, 4);
  out += '-';
  PutDigits(out, v.Month, 2);
  out += '-';
  PutDigits(out, v.Day, 2);
  out += between;
  PutDigits(out, v.Hour, 2);
  out += ':';
  PutDigits(out, v.Minute, 2);
  out += ':';
  PutDigits(out, v.Second, 2);
  return out;
}

}  // namespace

std::string StoreDateTime(const DateTime& v) { return FormatDateTime(v, ' '); }

std::optional<DateTime> ParseStoreDateTime(std::string_view text) {
  std::string iso(text::TrimView(text));
  if (iso.size() == 19 && iso[10] == ' ') iso[10] = 'T';
  if (iso.size() != 10 && iso.size() != 19) return std::nullopt;
  return ParseDateTime(iso);
}

std::string XsdDateTime(const DateTime& v) { return FormatDateTime(v, 'T'); }

// ---- Tags -----------------------------------------------------------------------

std::string TagLevel(long number) {
  char buffer[24];
  std::snprintf(buffer, sizeof buffer, "%010ld", number);
  return buffer;
}

std::string DottedTag(std::string_view longTag) {
  if (longTag.empty() || longTag.size() % 10 != 0) return {};
  std::string dotted;
  for (std::size_t at = 0; at < longTag.size(); at += 10) {
    long number = 0;
    const auto [end, ec] = std::from_chars(longTag.data() + at, longTag.data() + at + 10, number);
    if (ec != std::errc() || end != longTag.data() + at + 10) return {};
    if (!dotted.empty()) dotted += '.';
    dotted += std::to_string(number);
  }
  return dotted;
}

// ---- Bulk writing -----------------------------------------------------------------

BulkStatement::BulkStatement(::sqlite3* db, std::string_view sql, std::string_view source)
    : db_(db), sql_(sql), source_(source) {
  if (sqlite3_prepare_v2(db_, sql_.c_str(), static_cast<int>(sql_.size()), &stmt_, nullptr) != SQLITE_OK) Fail();
}

BulkStatement::~BulkStatement() { sqlite3_finalize(stmt_); }

BulkStatement& BulkStatement::Bind(int index, std::int64_t value) {
  sqlite3_bind_int64(stmt_, index, value);
  return *this;
}

BulkStatement& BulkStatement::Bind(int index, double value) {
  sqlite3_bind_double(stmt_, index, value);
  return *this;
}

BulkStatement& BulkStatement::Bind(int index, std::string_view value) {
  sqlite3_bind_text64(stmt_, index, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  return *this;
}

BulkStatement& BulkStatement::BindInPlace(int index, std::string_view value) {
  sqlite3_bind_text64(stmt_, index, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
  return *this;
}

BulkStatement& BulkStatement::BindNull(int index) {
  sqlite3_bind_null(stmt_, index);
  return *this;
}

void BulkStatement::Run() {
  const int rc = sqlite3_step(stmt_);
  if (rc != SQLITE_DONE && rc != SQLITE_ROW) Fail();
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

bool BulkStatement::Step() {
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  Fail();
}

void BulkStatement::Reset() {
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

std::int64_t BulkStatement::Int(int column) const { return sqlite3_column_int64(stmt_, column); }
double BulkStatement::Real(int column) const { return sqlite3_column_double(stmt_, column); }
bool BulkStatement::IsNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
int BulkStatement::ColumnType(int column) const { return sqlite3_column_type(stmt_, column); }

std::string BulkStatement::Text(int column) const {
  const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
  return p ? std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column))) : std::string();
}

void BulkStatement::Fail() const {
  const int code = sqlite3_extended_errcode(db_);
  std::string message = sqlite3_errmsg(db_);
  sqlite3_reset(stmt_);
  throw Failure(code, source_, message + "\nStatement: " + sql_);
}

}  // namespace vlq::platform::reqif
