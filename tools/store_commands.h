#pragma once
// The commands of `vlquery` that write a project into a store other than a
// new file: `demo` on a server, and `copy` between any two stores.

#include <iosfwd>
#include <string>
#include <vector>

#include "demo_project.h"

namespace vlq::tools {

// Writes the sample project into a server project (a postgresql:// URI): the
// two files are made in a temporary directory and copied to the server, the
// external project into the schema "<schema>_ext". Gives the lines that
// `demo` prints. Throws Failure.
std::vector<std::string> MakeDemoOnServer(const std::string& location, const DemoOptions& options);

// `vlquery copy FROM TO`: copies the project and its external projects,
// printing "FROM -> TO" for each. Gives the exit status; failures leave as
// Failure.
int RunCopy(const std::string& from, const std::string& to, bool bReplace, std::ostream& out);

}  // namespace vlq::tools
