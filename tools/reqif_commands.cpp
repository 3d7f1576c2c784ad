#include "reqif_commands.h"

#include <ostream>

#include "platform/reqif_importer.h"

namespace vlq::tools {

int RunImport(const ImportRequest& request, std::ostream& out, std::ostream& err) {
  platform::ReqifImportOptions options;
  options.Replace = request.Replace;
  options.SkipInvalidValues = request.SkipInvalidValues;
  options.Progress = request.Progress;
  const platform::ReqifImportResult result = platform::ReqifImporter::Import(request.Source, request.Project, options);
  if (!result.Imported) {
    err << "error: " << result.sErrorInfo << '\n';
    return kExitRefused;
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

}  // namespace vlq::tools
