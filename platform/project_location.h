#pragma once
// Where a project lives. A location is either a project file (a path, by
// convention with the extension .vlp) or a schema of a database on a
// PostgreSQL server, named by a URI:
//
//   postgresql://[user@]host[:port]/database?schema=NAME[&other libpq parameters]
//   postgresql:///database?host=/run/dir&schema=NAME    (a server on a Unix socket)
//
// "postgres://" works as well. The parameter schema names the project's
// schema; without it the project lies in "public". Schema names are plain
// identifiers (letters, digits, "_", not starting with a digit nor with
// "pg_"); they are folded to lower case, as the server folds a name written
// without quotes, so that the engine can write them without quotes too.
// Every other part of the URI goes to libpq as it is (a password is better
// kept in ~/.pgpass or PGPASSWORD than in the URI).
//
// External project references (VLEXTERNALPROJECTS) name a location by PATH
// and FILENAME, read against the location of the referring project:
//
//   PATH                        FILENAME    names
//   a postgresql:// URI         a schema    that schema of the URI's database (empty: the URI's own schema)
//   an absolute directory       a file      the file in that directory
//   empty or relative           a file      in a project file: the file, relative to the file's directory
//   empty                       a schema    in a server project: that schema of the same database
//   any                         a URI       the URI itself
//
// So a reference between two files, or between two schemas of one database,
// needs no server name and survives moving the pair; `vlquery copy` writes
// references that way.

#include <string>
#include <string_view>

namespace vlq::platform {

// True for a postgresql:// or postgres:// URI (without regard to case).
bool IsServerLocation(std::string_view location);

// True for a schema name as above, before folding.
bool IsPlainSchemaName(std::string_view name);

struct ServerLocation {
  std::string ConnectionUri;  // the URI without the schema parameter: what libpq connects with
  std::string Schema;         // in lower case

  // The URI of the project: ConnectionUri with the schema parameter.
  std::string Uri() const;
  // The same database, another schema (folded to lower case).
  ServerLocation WithSchema(std::string_view schema) const;
  // What tells two names of one project apart without connecting: server,
  // port, database and schema, with libpq's defaults where the URI names
  // none. Throws Failure for a URI that libpq can't read.
  std::string Identity() const;
};

// Reads a server location. Throws Failure (kFailureBadLocation) for a URI
// whose schema parameter isn't a plain name or comes twice.
ServerLocation ParseServerLocation(std::string_view uri);

// The location that a reference names, from the location of the referring
// project and the reference's PATH and FILENAME, by the table above. Empty
// when the reference names nothing (no FILENAME, or a relative PATH in a
// server project).
std::string ReferencedLocation(std::string_view referringLocation, std::string_view path, std::string_view fileName);

// What tells two names of one project apart: the canonical path of a file, the
// Identity of a server location.
std::string LocationIdentity(std::string_view location);

// The failure number of a location that can't be read.
inline constexpr long kFailureBadLocation = 3044;

}  // namespace vlq::platform
