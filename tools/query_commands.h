#pragma once
// The commands of `vlquery` that put a query to the engine: fetch, validate,
// check, build and sql. They write their results to `out` and the engine's
// refusals to `err`, and give the tool's exit status. Unexpected failures
// (database, file) leave as Failure for the caller to report.

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "engine/enums.h"
#include "model/variant.h"
#include "result_formats.h"

namespace vlq {
class Project;
class QueryDef;
}

namespace vlq::tools {

enum class QueryCommand { Fetch, Validate, Check, Build, Sql };

// Exit statuses of the tool.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitRefused = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFailure = 3;

struct QueryRequest {
  std::string File;
  std::string Query;
  enumQueryLookupTypes LookupType = eQLTByPrefix;
  enumQueryReturnTypes ReturnType = eBTRequirements;
  bool RetainHierarchy = false;
  std::string User;         // name or key; empty: the user with the lowest key
  std::string DialectCode;  // "dbmsnamecode"; empty: the project's own
  std::string Schema;       // "schema" with its closing dot; empty: the project's own
  bool SchemaGiven = false;
  ResultFormat Format = ResultFormat::Keys;  // fetch: how the rows are shown
  std::vector<std::string> Columns;          // fetch: attribute labels, "identifier"
};

int RunQueryCommand(QueryCommand command, const QueryRequest& request, std::ostream& out, std::ostream& err);

// Runs Fetch as `fetch` does; on success aResults holds what the engine gave
// and keysFile the location of the project that its keys belong to (an
// external project's for a query on one of its types).
enumQueryEngineError FetchForTool(const QueryRequest& request, std::string& sErrorInfo, Rows& aResults,
                                  std::filesystem::path& keysFile);

// Writes the rows of a fetch in the request's format, the readable ones
// from keysProject, in either store. A COUNT query prints its count as it is,
// in every format. Defined in fetch_results.cpp.
void WriteFetchResults(const QueryRequest& request, Project& keysProject, const Rows& aResults, std::ostream& out);

// The project whose keys a query returns: the queried project, or the
// external project that the query's base type belongs to.
std::shared_ptr<Project> KeysProjectOf(const std::shared_ptr<Project>& project, const QueryDef* oQueryDef);

// What `build` prints of a query definition: its text by prefix, by key and by
// GUID, one per line, then one line per expression that holds a build error.
std::vector<std::string> BuildReport(const QueryDef& oQueryDef);

// The build errors of the expressions of a query definition, one text per
// expression that has one: "<number>: <text>". Defined in build_errors.cpp.
std::vector<std::string> ExpressionBuildErrors(const QueryDef& oQueryDef);

}  // namespace vlq::tools
