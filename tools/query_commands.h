#pragma once
// The commands of `vlquery` that put a query to the engine: fetch, validate,
// check, build and sql. They write their results to `out` and the engine's
// refusals to `err`, and give the tool's exit status. Unexpected failures
// (database, file) leave as Failure for the caller to report.

#include <iosfwd>
#include <string>
#include <vector>

#include "engine/enums.h"

namespace vlq {
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
};

int RunQueryCommand(QueryCommand command, const QueryRequest& request, std::ostream& out, std::ostream& err);

// What `build` prints of a query definition: its text by prefix, by key and by
// GUID, one per line, then one line per expression that holds a build error.
std::vector<std::string> BuildReport(const QueryDef& oQueryDef);

// The build errors of the expressions of a query definition, one text per
// expression that has one: "<number>: <text>". Defined in build_errors.cpp.
std::vector<std::string> ExpressionBuildErrors(const QueryDef& oQueryDef);

}  // namespace vlq::tools
