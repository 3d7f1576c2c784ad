#include "reqif_commands.h"

#include <optional>
#include <ostream>

#include "platform/project_copy.h"
#include "platform/project_location.h"
#include "platform/reqif_exporter.h"
#include "platform/reqif_importer.h"
#include "platform/sqlite_connection.h"
#include "scratch_dir.h"
#include "services/failure.h"

namespace vlq::tools {

int RunImport(const ImportRequest& request, std::ostream& out, std::ostream& err) {
  platform::ReqifImportOptions options;
  options.Replace = request.Replace;
  options.SkipInvalidValues = request.SkipInvalidValues;
  options.Progress = request.Progress;
  // The reader writes a project file: a project for a server is made in a
  // scratch file first and copied there whole (all or nothing).
  std::optional<ScratchDir> scratch;
  std::filesystem::path target = request.Project;
  const bool toServer = platform::IsServerLocation(request.Project);
  if (toServer) {
    scratch.emplace();
    target = scratch->Path() / "import.vlp";
  }
  const platform::ReqifImportResult result = platform::ReqifImporter::Import(request.Source, target, options);
  if (!result.Imported) {
    err << "error: " << result.sErrorInfo << '\n';
    return kExitRefused;
  }
  if (toServer) {
    platform::CopyOptions copy;
    copy.Replace = request.Replace;
    try {
      platform::CopyProject(target.string(), request.Project, copy);
    } catch (const Failure& failure) {
      // A project there already is a refusal, as for a file.
      if (failure.Number() != platform::kFailureObjectExists) throw;
      err << "error: " << failure.Description() << '\n';
      return kExitRefused;
    }
  }
  const platform::ReqifImportSummary& s = result.Summary;
  out << request.Project << ": project \"" << s.ProjectName << "\" (prefix " << s.ProjectPrefix << ")\n";
  out << "requirement types: " << s.Types.size() << '\n';
  for (const auto& type : s.Types) {
    out << "  " << type.Prefix << "  " << type.Name << "  " << type.GUID << "  (" << type.Attributes
        << (type.Attributes == 1 ? " attribute, " : " attributes, ") << type.Requirements
        << (type.Requirements == 1 ? " requirement)\n" : " requirements)\n");
  }
  out << "attributes: " << s.Attributes << " (list items: " << s.ListItems << ")\n";
  out << "requirements: " << s.Requirements << '\n';
  out << "traces: " << s.Traces << '\n';
  out << "documents: " << s.Documents << '\n';
  for (const std::string& renamed : s.Renamed) out << "renamed: " << renamed << '\n';
  for (const auto& [what, count] : s.Notes) out << "note: " << count << ' ' << what << '\n';
  long skipped = 0;
  for (const auto& entry : s.Skipped) skipped += entry.second;
  out << "skipped: " << skipped << '\n';
  for (const auto& [why, count] : s.Skipped) out << "  " << count << ' ' << why << '\n';
  return kExitSuccess;
}

int RunExport(const ExportRequest& request, std::ostream& out, std::ostream& err) {
  QueryRequest query = request.Query;
  query.RetainHierarchy = false;
  query.ReturnType = eBTRequirements;
  std::string sErrorInfo;
  Rows aResults;
  std::filesystem::path keysFile;
  const enumQueryEngineError result = FetchForTool(query, sErrorInfo, aResults, keysFile);
  if (result != eQEENone) {
    err << "error " << static_cast<int>(result) << ": " << sErrorInfo << '\n';
    return kExitRefused;
  }
  std::vector<long> keys;
  if (!aResults.empty()) {
    for (const Variant& cell : aResults.front()) {
      if (cell.IsWhole()) keys.push_back(static_cast<long>(cell.Whole()));
      else if (cell.IsReal()) keys.push_back(static_cast<long>(cell.Real()));
    }
  }
  platform::ReqifExportOptions options;
  options.Progress = request.Progress;
  // The writer reads a project file: a project on a server is written from a
  // copy of it in a file of its own, which keeps every key.
  std::optional<ScratchDir> scratch;
  if (platform::IsServerLocation(keysFile.string())) {
    scratch.emplace();
    const std::filesystem::path copy = scratch->Path() / "export.vlp";
    platform::CopyProject(keysFile.string(), copy.string());
    keysFile = copy;
  }
  const platform::ReqifExportSummary s = platform::ReqifExporter::Export(keysFile, keys, request.Target, options);
  out << request.Target << ": " << s.Requirements << " requirements, " << s.Types << " requirement types, "
      << s.Attributes << " attributes, " << s.Traces << " traces, " << s.Documents << " documents\n";
  if (s.TracesLeftOut > 0) {
    out << "left out: " << s.TracesLeftOut << " traces to or from requirements that are not written\n";
  }
  if (s.ValuesLeftOut > 0) out << "left out: " << s.ValuesLeftOut << " values that don't fit their attribute\n";
  return kExitSuccess;
}

}  // namespace vlq::tools
