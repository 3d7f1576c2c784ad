#include "query_commands.h"

#include <filesystem>
#include <memory>
#include <ostream>

#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "model/query_def.h"
#include "platform/project_location.h"
#include "platform/store_project.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"

namespace vlq::tools {
namespace {

// The open project with the manager that holds it: a project knows its
// manager only as long as somebody keeps the manager.
struct OpenedProject {
  std::shared_ptr<platform::StoreProjectManager> Manager;
  std::shared_ptr<vlq::Project> Opened;
};

OpenedProject OpenProject(const QueryRequest& request) {
  // The store would make a new empty file for a path that isn't there; a
  // query on a misspelt file name must fail instead.
  if (!platform::IsServerLocation(request.File) && !std::filesystem::is_regular_file(request.File)) {
    throw Failure(kUnexpectedFailureNumber, "vlquery", "no such project file: " + request.File);
  }
  OpenedProject opened;
  opened.Manager = platform::StoreProjectManager::Create();
  if (!request.DialectCode.empty()) opened.Manager->OverrideConnectionProperty("dbmsnamecode", request.DialectCode);
  if (request.SchemaGiven) opened.Manager->OverrideConnectionProperty("schema", request.Schema);
  opened.Opened = opened.Manager->Open(request.File, request.User);
  return opened;
}

int Refused(std::ostream& err, enumQueryEngineError result, const std::string& sErrorInfo) {
  err << "error " << static_cast<int>(result) << ": " << sErrorInfo << '\n';
  return kExitRefused;
}

// Text of the query that no section read: a typo such as "PR.Critera(...)"
// would otherwise give the unfiltered answer without a word.
void WarnOfUnreadText(const QueryEngine& engine, std::ostream& err) {
  if (engine.LastUnreadText().empty()) return;
  err << "warning: " << modMain::MessageWithArg(14004, engine.LastUnreadText()) << '\n';
}

}  // namespace

std::vector<std::string> BuildReport(const QueryDef& oQueryDef) {
  std::vector<std::string> lines{oQueryDef.QueryString(eQLTByPrefix), oQueryDef.QueryString(eQLTByKey),
                                 oQueryDef.QueryString(eQLTByGUID)};
  for (std::string& error : ExpressionBuildErrors(oQueryDef)) lines.push_back(std::move(error));
  return lines;
}

enumQueryEngineError FetchForTool(const QueryRequest& request, std::string& sErrorInfo, Rows& aResults,
                                  std::filesystem::path& keysFile) {
  const OpenedProject opened = OpenProject(request);
  QueryEngine engine;
  std::shared_ptr<QueryDef> oQueryDef;
  const enumQueryEngineError result = engine.Fetch(request.ReturnType, request.LookupType, opened.Opened,
                                                   request.Query, sErrorInfo, aResults, oQueryDef,
                                                   request.RetainHierarchy);
  if (result == eQEENone) {
    const auto keysProject =
        std::dynamic_pointer_cast<platform::StoreProject>(KeysProjectOf(opened.Opened, oQueryDef.get()));
    keysFile = keysProject ? keysProject->Location() : request.File;
  }
  return result;
}

int RunQueryCommand(QueryCommand command, const QueryRequest& request, std::ostream& out, std::ostream& err) {
  const OpenedProject opened = OpenProject(request);
  const std::shared_ptr<Project>& project = opened.Opened;
  QueryEngine engine;
  std::string sErrorInfo;
  std::shared_ptr<QueryDef> oQueryDef;
  enumQueryEngineError result = eQEENone;

  switch (command) {
    case QueryCommand::Fetch: {
      Rows aResults;
      result = engine.Fetch(request.ReturnType, request.LookupType, project, request.Query, sErrorInfo, aResults,
                            oQueryDef, request.RetainHierarchy);
      if (result != eQEENone) return Refused(err, result, sErrorInfo);
      WarnOfUnreadText(engine, err);
      WriteFetchResults(request, *KeysProjectOf(project, oQueryDef.get()), aResults, out);
      break;
    }
    case QueryCommand::Validate:
      result = engine.Validate(request.ReturnType, request.LookupType, project, request.Query, sErrorInfo, oQueryDef);
      if (result != eQEENone) return Refused(err, result, sErrorInfo);
      out << sErrorInfo << '\n';
      break;
    case QueryCommand::Check:
      result = engine.Validate2(request.ReturnType, request.LookupType, project, request.Query, sErrorInfo, oQueryDef);
      if (result != eQEENone) return Refused(err, result, sErrorInfo);
      out << sErrorInfo << '\n';
      break;
    case QueryCommand::Build:
      result = engine.Build(request.ReturnType, request.LookupType, project, request.Query, sErrorInfo, oQueryDef);
      if (result != eQEENone) return Refused(err, result, sErrorInfo);
      WarnOfUnreadText(engine, err);
      if (oQueryDef) {
        for (const std::string& line : BuildReport(*oQueryDef)) out << line << '\n';
      }
      break;
    case QueryCommand::Sql: {
      result = engine.Validate(request.ReturnType, request.LookupType, project, request.Query, sErrorInfo, oQueryDef);
      if (result != eQEENone) return Refused(err, result, sErrorInfo);
      const std::string& statement = engine.LastSqlStatement();
      out << statement << '\n';
      // Text of the query that no section read comes behind the statement;
      // the statement is still the one the engine runs, so it is only noted.
      if (!statement.empty() && sErrorInfo.size() > statement.size() && sErrorInfo.starts_with(statement)) {
        std::string note = sErrorInfo.substr(statement.size());
        if (note.starts_with("\r\n")) note.erase(0, 2);
        err << "note: " << note << '\n';
      }
      break;
    }
  }
  out.flush();
  return kExitSuccess;
}

}  // namespace vlq::tools
