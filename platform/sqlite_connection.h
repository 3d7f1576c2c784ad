#pragma once
// One open SQLite connection of the project store, and the small pieces every
// part of the store uses on it: prepared statements that finalize themselves,
// and the translation of SQLite's failures into Failure.
//
// A connection runs in WAL mode with a busy timeout, so that several processes
// can use one project file at once: a writer waits for another writer instead
// of failing. The Jet functions of the dialect are registered on it.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "model/variant.h"
#include "services/failure.h"

struct sqlite3;
struct sqlite3_stmt;

namespace vlq::platform {

// Failure numbers where the engine reacts to the number rather than passing it
// on. Everything else carries SQLite's extended result code.
inline constexpr long kFailureObjectExists = -1303;          // CREATE of an object that is there
inline constexpr long kFailureNoPermission = -2147217911;    // 0x80040E09: a missing right
inline constexpr long kFailureItemNotFound = 3265;           // no such property, user or item
inline constexpr long kFailureNoCurrentRecord = 3021;        // a cursor before the first or behind the last row
inline constexpr long kFailureNotSupported = 3251;           // an operation the store doesn't offer

// How long a statement waits for another connection's write lock.
inline constexpr int kBusyTimeoutMs = 30000;

// The failure number for a failing SQLite call: "already exists" and the
// read-only and permission codes are mapped as above, every other failure
// keeps SQLite's extended result code.
long SqliteFailureNumber(int extendedCode, std::string_view message);

// Builds the Failure of the last failing call on db.
Failure SqliteFailure(::sqlite3* db, std::string_view source, std::string_view statement = {});

class SqliteConnection {
 public:
  // Opens a project file. With bCreate false the file must exist. Sets WAL,
  // the busy timeout and the Jet functions, and makes the work tables of the
  // closure and the tree order as temporary tables of this connection (see
  // CreateWorkTables). A file that may be read but not written (bReadOnly, or
  // write-protected, or on a read-only share) opens read-only: no journal
  // mode is set and nothing is written to it. Throws Failure.
  static std::shared_ptr<SqliteConnection> Open(const std::filesystem::path& file, bool bCreate,
                                                bool bReadOnly = false);
  ~SqliteConnection();
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  ::sqlite3* Handle() const { return db_; }
  const std::filesystem::path& File() const { return file_; }
  // The file can't be written through this connection.
  bool IsReadOnly() const { return bReadOnly_; }

  // Runs SQL that returns no rows (store-internal: schema work, pragmas).
  void Exec(std::string_view sql, std::string_view source);

  // The schema name under which another project file is attached to this
  // connection, attaching it on first use. The file is named by its canonical
  // path.
  std::string AttachedSchema(const std::filesystem::path& canonicalFile, std::string_view source);

 private:
  SqliteConnection(::sqlite3* db, std::filesystem::path file) : db_(db), file_(std::move(file)) {}
  ::sqlite3* db_;
  std::filesystem::path file_;
  bool bReadOnly_ = false;
  std::map<std::string, std::string> attached_;  // canonical path -> schema name
};

// Makes the work tables of the closure and the tree order (VLTRACETABLETEMP,
// VLTRACETABLEINDIR, VLHIERARCHY...TEMP), with their indexes, as temporary
// tables of the connection. Their names hide the file's own tables of the
// same names, so the engine's statements fill and read these: a session's rows
// never reach the file, a read-only file answers every query, processes never
// wait for each other's work rows, and rows of a process that ends, killed or
// not, go with its connection.
void CreateWorkTables(::sqlite3* db);

// The value of a column of the current row: INTEGER a whole number, REAL a
// real number, TEXT and BLOB text, NULL Variant::Null().
Variant ColumnValue(::sqlite3_stmt* stmt, int column);

// A prepared statement, finalized when it goes out of scope.
class SqliteStatement {
 public:
  // Prepares the first statement of sql; throws Failure with source. tail,
  // when given, receives the text behind the first statement.
  SqliteStatement(::sqlite3* db, std::string_view sql, std::string_view source, std::string* tail = nullptr);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  void Bind(int index, std::int64_t value);
  void Bind(int index, std::string_view value);
  // One step: true while there is a row. Throws Failure.
  bool Step();
  int ColumnCount() const;
  std::string ColumnName(int column) const;
  bool IsReadOnly() const;
  bool IsNull(int column) const;
  std::int64_t Int(int column) const;
  std::string Text(int column) const;  // NULL reads as ""
  Variant Value(int column) const;     // NULL reads as Variant::Null()

 private:
  ::sqlite3* db_;
  ::sqlite3_stmt* stmt_ = nullptr;
  std::string sql_;
  std::string source_;
};

}  // namespace vlq::platform
