#pragma once
// Copying a project from one store to another: file to server, server to file,
// file to file, server to server.
//
// The projects that the project references (VLEXTERNALPROJECTS), and those
// that they reference in turn, come along into the same store as the copy:
// beside the target file as "<target stem>-<prefix>.vlp", or beside the
// target schema as "<target schema>_<prefix>" (the prefix in lower case,
// other characters than letters and digits as "_", a number behind where two
// would get the same name). The references in the copies name the copies, in
// the relative form of project_location.h (a file in the same directory, a
// schema of the same database), so that base sections and trace filters into
// external projects find the same data as before. A reference marked deleted
// whose project can't be opened is copied as it is; any other reference that
// can't be opened fails the copy.
//
// Every table and column of project_schema.h is copied with its rows, but the
// work tables, whose rows belong to the sessions of the source; other tables
// and columns of the source are left behind, and the attribute views are made
// anew. A free attribute value keeps its type (text, whole or real number) as
// far as its attribute's data type tells it: a server keeps those values as
// text.
//
// All or nothing: when a target exists already (a file, or a schema that holds
// a project), nothing is written unless Replace is set; a failure leaves every
// target as it was. On a server everything is written in one transaction; files
// are written beside their targets and take their places at the end.

#include <functional>
#include <string>
#include <vector>

namespace vlq::platform {

struct CopyOptions {
  bool Replace = false;  // overwrite targets that exist
};

struct CopiedProject {
  std::string From;  // the source's location
  std::string To;    // the copy's location
  std::string Prefix;
};

// Copies the project at from, with its external projects, to the location to.
// Gives the projects copied, the project itself first. Throws Failure.
std::vector<CopiedProject> CopyProject(const std::string& from, const std::string& to, const CopyOptions& options = {});

}  // namespace vlq::platform
