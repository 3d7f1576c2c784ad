#include "platform/sqlite_connection.h"

#include <sqlite3.h>

#include <cstdio>

#include "model/text_util.h"
#include "platform/jet_dialect.h"
#include "platform/sqlite_schema.h"

namespace vlq::platform {

long SqliteFailureNumber(int extendedCode, std::string_view message) {
  const int primary = extendedCode & 0xFF;
  if (primary == SQLITE_READONLY || primary == SQLITE_PERM || primary == SQLITE_AUTH) return kFailureNoPermission;
  if (primary == SQLITE_ERROR && text::FindNoCase(message, "already exists") != std::string_view::npos) {
    return kFailureObjectExists;
  }
  return extendedCode;
}

Failure SqliteFailure(::sqlite3* db, std::string_view source, std::string_view statement) {
  const int code = db ? sqlite3_extended_errcode(db) : SQLITE_NOMEM;
  std::string message = db ? sqlite3_errmsg(db) : "out of memory";
  std::string description = message;
  if (!statement.empty()) {
    description += "\nStatement: ";
    description += statement;
  }
  return Failure(SqliteFailureNumber(code, message), std::string(source), std::move(description));
}

// ---- SqliteConnection ----------------------------------------------------------------

namespace {

constexpr long long kMmapBytes = 1LL << 30;
constexpr long kCacheKiB = 64 * 1024;

// file:<path>?immutable=1 with the characters a URI reserves escaped.
std::string ImmutableUri(const std::filesystem::path& file) {
  std::string uri = "file:";
  for (unsigned char c : std::filesystem::absolute(file).string()) {
    if (c == '%' || c == '?' || c == '#' || c < 0x20 || c >= 0x7F) {
      char buffer[4];
      std::snprintf(buffer, sizeof buffer, "%%%02X", c);
      uri += buffer;
    } else {
      uri += static_cast<char>(c);
    }
  }
  return uri + "?immutable=1";
}

::sqlite3* OpenHandle(const std::string& name, int flags, const std::filesystem::path& file) {
  ::sqlite3* db = nullptr;
  const int rc = sqlite3_open_v2(name.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    Failure f(rc, "SqliteConnection.Open",
              "Can't open the project file " + file.string() + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
    sqlite3_close(db);
    throw f;
  }
  sqlite3_extended_result_codes(db, 1);
  return db;
}

// A first read: a file that isn't a database, or one in WAL mode whose shared
// memory can't be made beside it, fails here.
int FirstRead(::sqlite3* db) {
  return sqlite3_exec(db, "SELECT COUNT(*) FROM sqlite_master", nullptr, nullptr, nullptr);
}

}  // namespace

std::shared_ptr<SqliteConnection> SqliteConnection::Open(const std::filesystem::path& file, bool bCreate,
                                                         bool bReadOnly) {
  constexpr const char* kSource = "SqliteConnection.Open";
  // SQLITE_OPEN_READWRITE opens a write-protected file for reading only.
  const int flags = bReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | (bCreate ? SQLITE_OPEN_CREATE : 0);
  ::sqlite3* db = OpenHandle(file.string(), flags, file);
  bReadOnly = bReadOnly || sqlite3_db_readonly(db, "main") == 1;
  if (bReadOnly && FirstRead(db) != SQLITE_OK) {
    // A file in WAL mode on a share that can't be written: read it as it
    // stands.
    sqlite3_close(db);
    db = OpenHandle(ImmutableUri(file), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, file);
  }
  std::shared_ptr<SqliteConnection> conn(new SqliteConnection(db, file));
  conn->bReadOnly_ = bReadOnly;
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  if (!bReadOnly) {
    // A file that isn't a database shows here, at its first read.
    conn->Exec("PRAGMA journal_mode=WAL", kSource);
    conn->Exec("PRAGMA synchronous=NORMAL", kSource);
  } else if (FirstRead(db) != SQLITE_OK) {
    throw SqliteFailure(db, kSource, "SELECT COUNT(*) FROM sqlite_master");
  }
  // SQLite's default page cache is 2 MB: a query over a large project then
  // spends half its time in system calls. The file is read through a
  // memory map, and the main file and the work tables keep 64 MB of pages
  // each (a size, not a reservation: pages are taken as they are read).
  conn->Exec("PRAGMA mmap_size=" + std::to_string(kMmapBytes), kSource);
  conn->Exec("PRAGMA main.cache_size=-" + std::to_string(kCacheKiB), kSource);
  conn->Exec("PRAGMA temp.cache_size=-" + std::to_string(kCacheKiB), kSource);
  // The work tables live in memory: their rows are a session's scratch,
  // written and read again within one query, and never worth a file.
  conn->Exec("PRAGMA temp_store=MEMORY", kSource);
  jet::RegisterFunctions(db);
  CreateWorkTables(db);
  return conn;
}

SqliteConnection::~SqliteConnection() { sqlite3_close_v2(db_); }

void SqliteConnection::Exec(std::string_view sql, std::string_view source) {
  const std::string text(sql);
  char* error = nullptr;
  const int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error);
  sqlite3_free(error);
  if (rc != SQLITE_OK) throw SqliteFailure(db_, source, text);
}

std::string SqliteConnection::AttachedSchema(const std::filesystem::path& canonicalFile, std::string_view source) {
  const std::string key = canonicalFile.string();
  if (auto it = attached_.find(key); it != attached_.end()) return it->second;
  const std::string schema = "VLEXT" + std::to_string(attached_.size() + 1);
  SqliteStatement attach(db_, "ATTACH DATABASE ?1 AS " + schema, source);
  attach.Bind(1, key);
  attach.Step();
  attached_.emplace(key, schema);
  return schema;
}

// ---- SqliteStatement -----------------------------------------------------------------

SqliteStatement::SqliteStatement(::sqlite3* db, std::string_view sql, std::string_view source, std::string* tail)
    : db_(db), sql_(sql), source_(source) {
  const char* rest = nullptr;
  if (sqlite3_prepare_v2(db_, sql_.data(), static_cast<int>(sql_.size()), &stmt_, &rest) != SQLITE_OK) {
    throw SqliteFailure(db_, source_, sql_);
  }
  if (!stmt_) throw Failure(SQLITE_MISUSE, source_, "No statement to run in: \"" + sql_ + "\"");
  if (tail) *tail = rest ? std::string(rest, static_cast<std::size_t>(sql_.data() + sql_.size() - rest)) : "";
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(stmt_); }

void SqliteStatement::Bind(int index, std::int64_t value) { sqlite3_bind_int64(stmt_, index, value); }

void SqliteStatement::Bind(int index, std::string_view value) {
  sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
}

bool SqliteStatement::Step() {
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  throw SqliteFailure(db_, source_, sql_);
}

int SqliteStatement::ColumnCount() const { return sqlite3_column_count(stmt_); }

std::string SqliteStatement::ColumnName(int column) const {
  const char* name = sqlite3_column_name(stmt_, column);
  return name ? name : "";
}

bool SqliteStatement::IsReadOnly() const { return sqlite3_stmt_readonly(stmt_) != 0; }

bool SqliteStatement::IsNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }

std::int64_t SqliteStatement::Int(int column) const { return sqlite3_column_int64(stmt_, column); }

std::string SqliteStatement::Text(int column) const {
  const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
  return p ? std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column))) : std::string();
}

Variant SqliteStatement::Value(int column) const { return ColumnValue(stmt_, column); }

Variant ColumnValue(::sqlite3_stmt* stmt, int column) {
  switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_INTEGER:
      return Variant(static_cast<long long>(sqlite3_column_int64(stmt, column)));
    case SQLITE_FLOAT:
      return Variant(sqlite3_column_double(stmt, column));
    case SQLITE_TEXT: {
      const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
      return Variant(std::string(p ? p : "", static_cast<std::size_t>(sqlite3_column_bytes(stmt, column))));
    }
    case SQLITE_BLOB: {
      const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt, column));
      return Variant(std::string(p ? p : "", static_cast<std::size_t>(sqlite3_column_bytes(stmt, column))));
    }
    default:
      return Variant::Null();
  }
}

}  // namespace vlq::platform
