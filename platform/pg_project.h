#pragma once
// An open server project: the project of the store on PostgreSQL, in one schema
// of a database. What every store's project has in common is StoreProject's;
// this class connects, completes the schema, and looks after the work tables
// that the processes using the project share.
//
// Sessions. Every connection that opens a project holds a shared advisory lock
// on its schema for as long as it is open. The work tables are shared by all
// of them, their rows told apart by SESSIONID; rows of a process that died in
// the middle of a closure or a hierarchy stay behind. So whoever opens the
// project while nobody else holds the lock (it gets the lock exclusively for a
// moment) first deletes every work row: nobody can be using them.

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/pg_connection.h"
#include "platform/project_location.h"
#include "platform/store_project.h"

namespace vlq::platform {

class PgProject : public StoreProject {
  struct Token {};

 public:
  // Opens the project in the location's schema as a user (name or decimal key;
  // empty: the lowest key), after creating what is missing of its schema. A
  // schema that doesn't exist fails. overrides replace connection properties
  // over the project's own. Throws Failure.
  static std::shared_ptr<PgProject> Open(const ServerLocation& location, std::string_view user,
                                         std::weak_ptr<StoreProjectManager> manager,
                                         const std::map<std::string, std::string>& overrides);
  PgProject(Token, std::weak_ptr<StoreProjectManager> manager, const ServerLocation& location);

  const ServerLocation& Server() const { return server_; }
  const std::shared_ptr<PgConnection>& Connection() const { return connection_; }

 private:
  ServerLocation server_;
  std::shared_ptr<PgConnection> connection_;
};

}  // namespace vlq::platform
