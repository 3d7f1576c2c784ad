#include "platform/pg_connection.h"

#include <libpq-fe.h>

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "model/date_serial.h"
#include "model/text_util.h"
#include "platform/sqlite_connection.h"

namespace vlq::platform {
namespace {

// Type numbers of the server's built-in types; they never change.
constexpr Oid kBool = 16;
constexpr Oid kInt8 = 20;
constexpr Oid kInt2 = 21;
constexpr Oid kInt4 = 23;
constexpr Oid kOid = 26;
constexpr Oid kFloat4 = 700;
constexpr Oid kFloat8 = 701;
constexpr Oid kDate = 1082;
constexpr Oid kTime = 1083;
constexpr Oid kTimestamp = 1114;
constexpr Oid kTimestampTz = 1184;
constexpr Oid kNumeric = 1700;

// A whole number of the exact text, or nothing.
std::optional<std::int64_t> ParseWhole(std::string_view text) {
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (ec != std::errc() || ptr != end || text.empty()) return std::nullopt;
  return value;
}

Variant RealOf(std::string_view text) {
  const std::string copy(text);
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  if (end == copy.c_str()) return Variant(copy);
  return Variant(value);
}

// "YYYY-MM-DD", "HH:MM:SS[.ffffff]" or both with a blank between, a time zone
// offset behind it ignored (the connection's zone is UTC). Nothing for
// "infinity", dates before the common era and other forms.
std::optional<DateSerial> ParseDateTime(std::string_view text, bool bDate, bool bTime) {
  auto number = [&text](std::size_t at, std::size_t length) -> std::optional<int> {
    if (at + length > text.size()) return std::nullopt;
    int value = 0;
    for (std::size_t i = at; i < at + length; ++i) {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      value = value * 10 + (text[i] - '0');
    }
    return value;
  };
  CivilDateTime civil;
  std::size_t at = 0;
  if (bDate) {
    const auto year = number(0, 4);
    const auto month = number(5, 2);
    const auto day = number(8, 2);
    if (!year || !month || !day || text.size() < 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
    civil.year = *year;
    civil.month = *month;
    civil.day = *day;
    at = 10;
    if (bTime) {
      if (at >= text.size() || text[at] != ' ') return std::nullopt;
      ++at;
    }
  }
  double fraction = 0.0;
  if (bTime) {
    const auto hour = number(at, 2);
    const auto minute = number(at + 3, 2);
    const auto second = number(at + 6, 2);
    if (!hour || !minute || !second || text[at + 2] != ':' || text[at + 5] != ':') return std::nullopt;
    civil.hour = *hour;
    civil.minute = *minute;
    civil.second = *second;
    at += 8;
    if (at < text.size() && text[at] == '.') {
      std::size_t end = at + 1;
      while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
      fraction = std::strtod(std::string(text.substr(at, end - at)).c_str(), nullptr);
      at = end;
    }
  }
  if (at < text.size() && text[at] != '+' && text[at] != '-') return std::nullopt;
  if (!bDate) {
    // A time of day alone lies on day 0, as a date serial holds it.
    if (civil.hour > 24 || civil.minute > 59 || civil.second > 60) return std::nullopt;
    return DateSerial{(civil.hour * 3600.0 + civil.minute * 60.0 + civil.second + fraction) / 86400.0};
  }
  const auto serial = date_serial::FromCivil(civil);
  if (!serial) return std::nullopt;
  const double seconds = fraction / 86400.0;
  return DateSerial{serial->serial + (serial->serial < 0 ? -seconds : seconds)};
}

void IgnoreNotice(void*, const char*) {}

std::string TrimmedMessage(const char* message) {
  std::string out = message ? message : "";
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

}  // namespace

long PgFailureNumber(std::string_view sqlstate) {
  if (sqlstate == "42P07" || sqlstate == "42710" || sqlstate == "42P06" || sqlstate == "42723" || sqlstate == "42P04") {
    return kFailureObjectExists;
  }
  if (sqlstate == "42501" || sqlstate == "25006") return kFailureNoPermission;
  long number = 0;
  for (std::size_t i = 0; i < sqlstate.size() && i < 5; ++i) {
    number += static_cast<long>((sqlstate[i] - '0') & 0x3F) << (6 * i);
  }
  return number;
}

Variant PgCellValue(unsigned int typeOid, std::string_view text) {
  switch (typeOid) {
    case kInt2:
    case kInt4:
    case kInt8:
    case kOid:
      if (auto whole = ParseWhole(text)) return Variant(static_cast<long long>(*whole));
      return Variant(std::string(text));
    case kFloat4:
    case kFloat8:
      return RealOf(text);
    case kNumeric:
      if (auto whole = ParseWhole(text)) return Variant(static_cast<long long>(*whole));
      return RealOf(text);
    case kBool:
      return Variant(text == "t");
    case kTimestamp:
    case kTimestampTz:
    case kDate:
    case kTime:
      if (auto date = ParseDateTime(text, typeOid != kTime, typeOid != kDate)) return Variant(*date);
      return Variant(std::string(text));
    default:
      return Variant(std::string(text));
  }
}

std::string PgQuoted(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

Failure PgFailure(const ::pg_result* result, const ::pg_conn* conn, std::string_view source,
                  std::string_view statement) {
  std::string sqlstate;
  std::string description;
  long number = 0;
  if (result) {
    const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    if (state) sqlstate = state;
    // Two sessions creating an object of one name at once: the one that waited
    // for the other finds the name taken in the catalogue's unique index, not
    // as an object that exists. It is the same case for whoever created it.
    const char* constraint = PQresultErrorField(result, PG_DIAG_CONSTRAINT_NAME);
    if (sqlstate == "23505" && constraint &&
        (std::string_view(constraint) == "pg_type_typname_nsp_index" ||
         std::string_view(constraint) == "pg_class_relname_nsp_index")) {
      number = kFailureObjectExists;
    }
    const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    description = primary ? primary : TrimmedMessage(PQresultErrorMessage(result));
    for (const int field : {PG_DIAG_MESSAGE_DETAIL, PG_DIAG_MESSAGE_HINT}) {
      if (const char* extra = PQresultErrorField(result, field)) description += "\n" + std::string(extra);
    }
  }
  if (description.empty()) description = TrimmedMessage(conn ? PQerrorMessage(conn) : "out of memory");
  // A connection lost in the middle of a statement carries no state of its own.
  if (sqlstate.empty()) sqlstate = conn && PQstatus(conn) == CONNECTION_BAD ? "08006" : "XX000";
  description += " (SQLSTATE " + sqlstate + ")";
  if (!statement.empty()) {
    description += "\nStatement: ";
    description += statement;
  }
  return Failure(number ? number : PgFailureNumber(sqlstate), std::string(source), std::move(description));
}

// ---- PgResult -----------------------------------------------------------------------

PgResult::~PgResult() { PQclear(result_); }

PgResult& PgResult::operator=(PgResult&& other) noexcept {
  if (this != &other) {
    PQclear(result_);
    result_ = other.result_;
    other.result_ = nullptr;
  }
  return *this;
}

int PgResult::RowCount() const { return result_ ? PQntuples(result_) : 0; }
int PgResult::ColumnCount() const { return result_ ? PQnfields(result_) : 0; }
bool PgResult::IsNull(int row, int column) const { return PQgetisnull(result_, row, column) != 0; }

std::string PgResult::Text(int row, int column) const {
  if (IsNull(row, column)) return {};
  return std::string(PQgetvalue(result_, row, column), static_cast<std::size_t>(PQgetlength(result_, row, column)));
}

std::int64_t PgResult::Whole(int row, int column) const { return ParseWhole(Text(row, column)).value_or(0); }

Variant PgResult::Value(int row, int column) const {
  if (IsNull(row, column)) return Variant::Null();
  return PgCellValue(
      PQftype(result_, column),
      std::string_view(PQgetvalue(result_, row, column), static_cast<std::size_t>(PQgetlength(result_, row, column))));
}

// ---- PgConnection -------------------------------------------------------------------

std::shared_ptr<PgConnection> PgConnection::Open(const std::string& connectionUri, std::string_view source) {
  // The URI may name its own application; the encoding is always ours.
  const char* keywords[] = {"fallback_application_name", "dbname", "client_encoding", nullptr};
  const char* values[] = {"VlQueryEngine", connectionUri.c_str(), "UTF8", nullptr};
  ::pg_conn* conn = PQconnectdbParams(keywords, values, 1);
  if (!conn || PQstatus(conn) != CONNECTION_OK) {
    Failure f(PgFailureNumber(kPgCantConnect), std::string(source),
              "Can't connect to the server of " + connectionUri + ": " +
                  TrimmedMessage(conn ? PQerrorMessage(conn) : "out of memory") + " (SQLSTATE " + kPgCantConnect + ")");
    PQfinish(conn);
    throw f;
  }
  // Notices (an object dropped that wasn't there, say) are no concern of the
  // user's; libpq would print them on standard error.
  PQsetNoticeProcessor(conn, IgnoreNotice, nullptr);
  std::shared_ptr<PgConnection> connection(new PgConnection(conn));
  // The engine's string literals double their quotes and nothing else: a
  // backslash in them must stand for itself, whatever the server's default.
  connection->Exec(
      "SELECT set_config('DateStyle', 'ISO, YMD', false), set_config('TimeZone', 'UTC', false), "
      "set_config('IntervalStyle', 'postgres', false), set_config('standard_conforming_strings', 'on', false)",
      source);
  return connection;
}

PgConnection::~PgConnection() { PQfinish(conn_); }

void PgConnection::ThrowLast(std::string_view source, std::string_view statement) {
  throw PgFailure(nullptr, conn_, source, statement);
}

PgResult PgConnection::Exec(std::string_view sql, std::string_view source, const Params& params) {
  const std::string text(sql);
  std::vector<const char*> values;
  values.reserve(params.size());
  for (const auto& p : params) values.push_back(p ? p->c_str() : nullptr);
  PgResult result(
      PQexecParams(conn_, text.c_str(), static_cast<int>(values.size()), nullptr, values.data(), nullptr, nullptr, 0));
  if (!result.Handle()) ThrowLast(source, text);
  const ExecStatusType status = PQresultStatus(result.Handle());
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return result;
  if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) {
    // A COPY needs the data channel, which this call doesn't offer: end it
    // without data, so that the connection can go on.
    if (status == PGRES_COPY_IN || status == PGRES_COPY_BOTH) PQputCopyEnd(conn_, "not offered here");
    if (status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) {
      char* buffer = nullptr;
      while (PQgetCopyData(conn_, &buffer, 0) > 0) PQfreemem(buffer);
    }
    while (::pg_result* rest = PQgetResult(conn_)) PQclear(rest);
    throw Failure(kFailureNotSupported, std::string(source),
                  "COPY with the client's data is not offered here\nStatement: " + text);
  }
  if (status == PGRES_EMPTY_QUERY) {
    throw Failure(PgFailureNumber("42601"), std::string(source), "There is no statement to run in: \"" + text + "\"");
  }
  throw PgFailure(result.Handle(), conn_, source, text);
}

void PgConnection::ForEachRow(std::string_view sql, std::string_view source, const Params& params,
                              const std::function<void(const PgResult& row)>& onRow) {
  const std::string text(sql);
  std::vector<const char*> values;
  for (const auto& p : params) values.push_back(p ? p->c_str() : nullptr);
  if (!PQsendQueryParams(conn_, text.c_str(), static_cast<int>(values.size()), nullptr, values.data(), nullptr, nullptr,
                         0) ||
      !PQsetSingleRowMode(conn_)) {
    ThrowLast(source, text);
  }
  std::optional<Failure> failure;
  std::exception_ptr thrown;
  while (::pg_result* raw = PQgetResult(conn_)) {
    PgResult result(raw);
    const ExecStatusType status = PQresultStatus(raw);
    if (status == PGRES_SINGLE_TUPLE && !failure && !thrown) {
      try {
        onRow(result);
      } catch (...) {
        // The rest of the rows must still be read before the connection
        // serves the next statement.
        thrown = std::current_exception();
        PGcancel* cancel = PQgetCancel(conn_);
        if (cancel) {
          char error[256];
          PQcancel(cancel, error, sizeof error);
          PQfreeCancel(cancel);
        }
      }
    } else if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK && !failure) {
      failure = PgFailure(raw, conn_, source, text);
    }
  }
  if (thrown) std::rethrow_exception(thrown);
  if (failure) throw *failure;
}

void PgConnection::CopyWriter::Row(const std::vector<std::optional<std::string>>& cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) buffer_ += '\t';
    if (!cells[i]) {
      buffer_ += "\\N";
      continue;
    }
    for (char c : *cells[i]) {
      switch (c) {
        case '\\':
          buffer_ += "\\\\";
          break;
        case '\t':
          buffer_ += "\\t";
          break;
        case '\n':
          buffer_ += "\\n";
          break;
        case '\r':
          buffer_ += "\\r";
          break;
        default:
          buffer_ += c;
      }
    }
  }
  buffer_ += '\n';
  if (buffer_.size() >= 1 << 16) Flush();
}

void PgConnection::CopyWriter::Flush() {
  if (buffer_.empty()) return;
  if (PQputCopyData(connection_.conn_, buffer_.data(), static_cast<int>(buffer_.size())) != 1) {
    throw PgFailure(nullptr, connection_.conn_, "PgConnection.CopyIn", {});
  }
  buffer_.clear();
}

void PgConnection::CopyIn(std::string_view copySql, std::string_view source,
                          const std::function<void(CopyWriter&)>& write) {
  const std::string text(copySql);
  PgResult started(PQexec(conn_, text.c_str()));
  if (!started.Handle()) ThrowLast(source, text);
  if (PQresultStatus(started.Handle()) != PGRES_COPY_IN) throw PgFailure(started.Handle(), conn_, source, text);
  CopyWriter writer(*this);
  std::exception_ptr thrown;
  try {
    write(writer);
    writer.Flush();
  } catch (...) {
    thrown = std::current_exception();
  }
  const int ended = PQputCopyEnd(conn_, thrown ? "cancelled by the client" : nullptr);
  std::optional<Failure> failure;
  while (::pg_result* raw = PQgetResult(conn_)) {
    PgResult result(raw);
    if (PQresultStatus(raw) != PGRES_COMMAND_OK && !failure) failure = PgFailure(raw, conn_, source, text);
  }
  if (thrown) std::rethrow_exception(thrown);
  if (ended != 1 && !failure) ThrowLast(source, text);
  if (failure) throw *failure;
}

bool PgConnection::InTransaction() const { return PQtransactionStatus(conn_) != PQTRANS_IDLE; }

std::string PgConnection::Database() const { return PQdb(conn_) ? PQdb(conn_) : ""; }
std::string PgConnection::Host() const { return PQhost(conn_) ? PQhost(conn_) : ""; }
std::string PgConnection::User() const { return PQuser(conn_) ? PQuser(conn_) : ""; }

}  // namespace vlq::platform
