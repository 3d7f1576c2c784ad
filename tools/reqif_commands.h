#pragma once
// The commands of `vlquery` that move requirement sets in and out as ReqIF:
// import (a .reqif or .reqifz file into a new project) and export (the
// requirements a query selects into a .reqif file).

#include <functional>
#include <iosfwd>
#include <string>

#include "query_commands.h"

namespace vlq::tools {

using ProgressReport = std::function<void(const std::string& phase, long long done, long long total)>;

struct ImportRequest {
  std::string Source;
  std::string Project;
  bool Replace = false;
  bool SkipInvalidValues = false;
  ProgressReport Progress;  // may be empty
};

// Imports and prints the summary to `out`. A file that can't be read as
// ReqIF, or a project file that exists, is reported on `err` with status 1.
int RunImport(const ImportRequest& request, std::ostream& out, std::ostream& err);

struct ExportRequest {
  QueryRequest Query;  // the project and the query that selects the requirements
  std::string Target;
  ProgressReport Progress;
};

// Runs the query and writes what it selects to the target file; a line of
// counts to `out`. A refused query gives status 1 as for fetch.
int RunExport(const ExportRequest& request, std::ostream& out, std::ostream& err);

}  // namespace vlq::tools
