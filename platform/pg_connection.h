#pragma once
// One open connection of the server store to a PostgreSQL server (libpq), and
// the pieces every part of that store uses on it: results that free
// themselves, result cells read as variants, bulk loading with COPY, and the
// translation of the server's failures into Failure.
//
// A connection talks ISO dates, UTF-8 and the UTC time zone, whatever the
// server's defaults are, so that dates and text read back as they were
// written.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/variant.h"
#include "services/failure.h"

struct pg_conn;
struct pg_result;

namespace vlq::platform {

// The failure number of an SQLSTATE. Creation of an object that is there and a
// missing right (also a write in a read-only transaction) give the numbers the
// engine reacts to (kFailureObjectExists, kFailureNoPermission of
// sqlite_connection.h); every other state is packed six bits a character, the
// first character lowest, as the server numbers its states itself.
long PgFailureNumber(std::string_view sqlstate);

// The SQLSTATE of a connection that can't be made: 08001.
inline constexpr const char* kPgCantConnect = "08001";

// A cell of the server's text form as a variant, by the column's type:
// smallint, integer, bigint and oid a whole number; real and double precision
// a real number; numeric a whole number when it has no fraction and fits,
// else a real number; boolean a boolean; timestamp, timestamp with time zone,
// date and time a date (a time lies on day 0); every other type text.
Variant PgCellValue(unsigned int typeOid, std::string_view text);

class PgResult {
 public:
  explicit PgResult(::pg_result* result = nullptr) : result_(result) {}
  ~PgResult();
  PgResult(PgResult&& other) noexcept : result_(other.result_) { other.result_ = nullptr; }
  PgResult& operator=(PgResult&& other) noexcept;
  PgResult(const PgResult&) = delete;
  PgResult& operator=(const PgResult&) = delete;

  ::pg_result* Handle() const { return result_; }
  int RowCount() const;
  int ColumnCount() const;
  bool IsNull(int row, int column) const;
  std::string Text(int row, int column) const;    // NULL reads as ""
  std::int64_t Whole(int row, int column) const;  // NULL and text that is no number read as 0
  Variant Value(int row, int column) const;       // NULL reads as Variant::Null(); see PgCellValue

 private:
  ::pg_result* result_;
};

class PgConnection {
 public:
  // Text parameters $1, $2, ...; nullopt is NULL.
  using Params = std::vector<std::optional<std::string>>;

  // Connects with a URI or connection string as libpq takes it. Throws Failure
  // (the number of kPgCantConnect) with libpq's message.
  static std::shared_ptr<PgConnection> Open(const std::string& connectionUri, std::string_view source);
  ~PgConnection();
  PgConnection(const PgConnection&) = delete;
  PgConnection& operator=(const PgConnection&) = delete;

  ::pg_conn* Handle() const { return conn_; }

  // Runs one statement (the server refuses a second one behind it) and gives
  // its result. Throws Failure with source, the server's message and the
  // statement.
  PgResult Exec(std::string_view sql, std::string_view source, const Params& params = {});

  // Runs a query and hands its rows to onRow one at a time, each as a result
  // of one row, so that a large table never lies in memory whole. Throws
  // Failure; a failure thrown by onRow ends the query and passes on.
  void ForEachRow(std::string_view sql, std::string_view source, const Params& params,
                  const std::function<void(const PgResult& row)>& onRow);

  // Rows for COPY ... FROM STDIN in the text format.
  class CopyWriter {
   public:
    void Row(const std::vector<std::optional<std::string>>& cells);

   private:
    friend class PgConnection;
    explicit CopyWriter(PgConnection& connection) : connection_(connection) {}
    void Flush();
    PgConnection& connection_;
    std::string buffer_;
  };
  // Runs a COPY ... FROM STDIN statement and sends it the rows that write
  // gives. Throws Failure; a failure thrown by write cancels the COPY.
  void CopyIn(std::string_view copySql, std::string_view source, const std::function<void(CopyWriter&)>& write);

  // True while a transaction is open on the connection.
  bool InTransaction() const;
  // The database, the server (host name or socket directory) and the login.
  std::string Database() const;
  std::string Host() const;
  std::string User() const;

 private:
  explicit PgConnection(::pg_conn* conn) : conn_(conn) {}
  [[noreturn]] void ThrowLast(std::string_view source, std::string_view statement);
  ::pg_conn* conn_;
};

// The Failure of a failed result (or, without one, of the connection's last
// error): the number of its SQLSTATE, the source, and the server's message
// with its detail and hint, the state, and the statement. A name taken in the
// catalogue's unique index (two sessions creating one view at once) is an
// object that exists, too.
Failure PgFailure(const ::pg_result* result, const ::pg_conn* conn, std::string_view source,
                  std::string_view statement);

// A name quoted as an identifier: "name", with inner quotes doubled.
std::string PgQuoted(std::string_view name);

}  // namespace vlq::platform
