// How `fetch` shows its rows, and where their keys belong.

#include <ostream>

#include "model/query_def.h"
#include "model/text_util.h"
#include "query_commands.h"
#include "result_table.h"
#include "services/project.h"

namespace vlq::tools {

std::shared_ptr<Project> KeysProjectOf(const std::shared_ptr<Project>& project, const QueryDef* oQueryDef) {
  if (!oQueryDef || !oQueryDef->ProjStructSpec().IsExtProj()) return project;
  // The external project as the project's references name it; the query has
  // opened it already.
  const std::shared_ptr<ExtProjects> references = project->GetExtProjects();
  const std::string& prefix = oQueryDef->ProjStructSpec().ProjPrefix();
  for (long at = 1; references && at <= references->Count(); ++at) {
    const auto reference = references->Item(std::to_string(at), eItemByPosition);
    if (!reference || reference->IsDeleted() || !text::EqualsNoCase(reference->Prefix(), prefix)) continue;
    if (auto opened = reference->GetProject()) return opened;
    if (auto opened = reference->Open()) return opened;
  }
  return project;
}

void WriteFetchResults(const QueryRequest& request, Project& keysProject, const Rows& aResults, std::ostream& out) {
  static const std::vector<Variant> kNoKeys;
  const std::vector<Variant>& keys = aResults.empty() ? kNoKeys : aResults.front();
  // A COUNT query gives one number, not keys: it stands as it is. A NULL cell
  // gives an empty line, so that the line count is always the row count.
  const bool count = text::Upper(text::TrimView(request.Query)).starts_with("COUNT");
  if (request.Format == ResultFormat::Keys || count) {
    for (const Variant& cell : keys) out << cell.ToText() << '\n';
    return;
  }
  const ResultTable table = ReadResultTable(keysProject, keys, request.ReturnType, request.Columns);
  WriteResults(request.Format, table, out, OutputWidth());
}

}  // namespace vlq::tools
