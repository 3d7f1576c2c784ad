// How `fetch` shows its rows, and where their keys belong.

#include <ostream>

#include "model/query_def.h"
#include "model/text_util.h"
#include "platform/project_location.h"
#include "platform/reqif_common.h"
#include "platform/sqlite_connection.h"
#include "query_commands.h"
#include "result_table.h"

namespace vlq::tools {

std::filesystem::path KeysFileOf(const QueryRequest& request, const QueryDef* oQueryDef) {
  const std::filesystem::path file = request.File;
  if (!oQueryDef || !oQueryDef->ProjStructSpec().IsExtProj()) return file;
  // A server project's references aren't in a file.
  if (platform::IsServerLocation(request.File)) return file;
  // The external project's file, as the project's references name it.
  auto conn = platform::SqliteConnection::Open(file, false);
  platform::reqif::BulkStatement reference(
      conn->Handle(), "SELECT PATH, FILENAME FROM VLEXTERNALPROJECTS WHERE PREFIX = ?1 AND ISDELETED = 0",
      "vlquery fetch");
  reference.Bind(1, std::string_view(oQueryDef->ProjStructSpec().ProjPrefix()));
  if (!reference.Step()) return file;
  std::filesystem::path directory = reference.Text(0);
  if (directory.is_relative()) directory = file.parent_path() / directory;
  return directory / reference.Text(1);
}

void WriteFetchResults(const QueryRequest& request, const std::filesystem::path& keysFile, const Rows& aResults,
                       std::ostream& out) {
  static const std::vector<Variant> kNoKeys;
  const std::vector<Variant>& keys = aResults.empty() ? kNoKeys : aResults.front();
  // A COUNT query gives one number, not keys: it stands as it is. A NULL cell
  // gives an empty line, so that the line count is always the row count.
  const bool count = text::Upper(text::TrimView(request.Query)).starts_with("COUNT");
  if (request.Format == ResultFormat::Keys || count) {
    for (const Variant& cell : keys) out << cell.ToText() << '\n';
    return;
  }
  const ResultTable table = ReadResultTable(keysFile, keys, request.ReturnType, request.Columns);
  WriteResults(request.Format, table, out, OutputWidth());
}

}  // namespace vlq::tools
