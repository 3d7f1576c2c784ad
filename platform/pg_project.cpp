#include "platform/pg_project.h"

#include <vector>

#include "platform/pg_data_services.h"
#include "platform/pg_schema.h"
#include "platform/sqlite_connection.h"

namespace vlq::platform {
namespace {

constexpr const char* kOpenSource = "StoreProjectManager.Open";

// The advisory lock of a project's sessions: a class number of the store in
// the high half, the schema's OID in the low half.
constexpr long long kSessionLockClass = 0x564C5153LL << 32;

// Joins the sessions of the project; the first one in clears the work rows
// that sessions of dead processes left.
void JoinSessions(PgConnection& connection, std::string_view schema, long schemaOid) {
  const std::string key = std::to_string(kSessionLockClass | (static_cast<long long>(schemaOid) & 0xFFFFFFFFLL));
  PgResult alone = connection.Exec("SELECT pg_try_advisory_lock($1::bigint)", kOpenSource, {key});
  if (alone.Text(0, 0) == "t") {
    ClearPgWorkTables(connection, schema);
    connection.Exec("SELECT pg_advisory_lock_shared($1::bigint)", kOpenSource, {key});
    connection.Exec("SELECT pg_advisory_unlock($1::bigint)", kOpenSource, {key});
  } else {
    connection.Exec("SELECT pg_advisory_lock_shared($1::bigint)", kOpenSource, {key});
  }
}

}  // namespace

PgProject::PgProject(Token, std::weak_ptr<StoreProjectManager> manager, const ServerLocation& location)
    : StoreProject(std::move(manager), location.Uri(), location.Identity()), server_(location) {}

std::shared_ptr<PgProject> PgProject::Open(const ServerLocation& location, std::string_view user,
                                           std::weak_ptr<StoreProjectManager> manager,
                                           const std::map<std::string, std::string>& overrides) {
  auto project = std::make_shared<PgProject>(Token{}, std::move(manager), location);
  auto connection = PgConnection::Open(location.ConnectionUri, kOpenSource);
  project->connection_ = connection;
  const long oid = PgSchemaOid(*connection, location.Schema);
  if (oid == 0) {
    throw Failure(kFailureItemNotFound, kOpenSource,
                  "The database " + connection->Database() + " has no schema " + location.Schema +
                      ", so there is no project " + location.Uri());
  }
  const std::string textSchema = EnsurePgSchema(*connection, location.Schema);
  UsePgSchema(*connection, location.Schema, textSchema);
  JoinSessions(*connection, location.Schema, oid);

  const auto read = [&connection](std::string_view sql, const std::function<void(const std::vector<Variant>&)>& onRow) {
    PgResult rows = connection->Exec(sql, kOpenSource);
    std::vector<Variant> cells(static_cast<std::size_t>(rows.ColumnCount()));
    for (int r = 0; r < rows.RowCount(); ++r) {
      for (std::size_t c = 0; c < cells.size(); ++c) cells[c] = rows.Value(r, static_cast<int>(c));
      onRow(cells);
    }
  };
  PgDataServices::Properties properties = project->LoadStructure(read, user,
                                                                 {{"dbmsnamecode", "8"},
                                                                  {"schema", location.Schema + "."},
                                                                  {"database", connection->Database()},
                                                                  {"server", connection->Host()}},
                                                                 overrides, kOpenSource);
  project->SetDataServices(std::make_shared<PgDataServices>(connection, std::move(properties), location.Schema));
  return project;
}

}  // namespace vlq::platform
