#include "result_table.h"

#include <sqlite3.h>

#include <map>
#include <memory>
#include <utility>

#include "model/text_util.h"
#include "platform/reqif_common.h"
#include "platform/sqlite_connection.h"

namespace vlq::tools {
namespace {

constexpr const char* kSource = "vlquery fetch";
using platform::reqif::BulkStatement;

std::optional<long long> KeyOf(const Variant& cell) {
  if (cell.IsWhole()) return cell.Whole();
  if (cell.IsReal()) return static_cast<long long>(cell.Real());
  if (cell.IsText() && text::IsDecimalWhole(cell.Text())) return std::stoll(cell.Text());
  return std::nullopt;
}

// A stored free value as a person reads it, by the attribute's data type.
std::string ValueText(const BulkStatement& row, int column, int dataType) {
  const int type = row.ColumnType(column);
  if (dataType == 4 && (type == SQLITE_INTEGER || type == SQLITE_FLOAT)) {
    const auto date = platform::reqif::FromDaysSince1901(row.Int(column));
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", date.Year, date.Month, date.Day);
    return buffer;
  }
  if (dataType == 5 && (type == SQLITE_INTEGER || type == SQLITE_FLOAT)) {
    const long long seconds = row.Int(column);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return buffer;
  }
  if (type == SQLITE_FLOAT) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.15g", row.Real(column));
    return buffer;
  }
  return row.Text(column);
}

struct AttrRef {
  long Key = 0;
  int DataType = 1;
};

}  // namespace

ResultTable ReadResultTable(const std::filesystem::path& projectFile, const std::vector<Variant>& keys,
                            enumQueryReturnTypes eReturnType, const std::vector<std::string>& columns) {
  ResultTable table;
  auto conn = platform::SqliteConnection::Open(projectFile, false);
  ::sqlite3* db = conn->Handle();

  if (eReturnType == eBTDiscussions || eReturnType == eBTDocuments) {
    table.Headers = {"key", eReturnType == eBTDiscussions ? "subject" : "name"};
    BulkStatement row(db,
                      eReturnType == eBTDiscussions ? "SELECT SUBJECT FROM VLDISCUSSIONS WHERE ID = ?1"
                                                    : "SELECT NAME FROM VLDOCUMENTS WHERE ID = ?1",
                      kSource);
    for (const Variant& cell : keys) {
      std::vector<std::optional<std::string>> cells{cell.IsNull() ? std::nullopt : std::optional(cell.ToText()),
                                                    std::nullopt};
      if (const auto key = KeyOf(cell)) {
        row.Bind(1, static_cast<std::int64_t>(*key));
        if (row.Step() && !row.IsNull(0)) cells[1] = row.Text(0);
        row.Reset();
      }
      table.Rows.push_back(std::move(cells));
      table.Levels.push_back(1);
    }
    return table;
  }

  table.Headers = {"key", "tag", "type", "name"};
  for (const std::string& column : columns) table.Headers.push_back(column);
  bool hasIdentifiers = false;
  {
    BulkStatement probe(db, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'VLREQIFIDENTIFIERS'",
                        kSource);
    hasIdentifiers = probe.Step();
  }
  BulkStatement row(db,
                    "SELECT R.REQUIREMENTTYPEID, COALESCE(NULLIF(R.REQUIREMENTPREFIX, ''), T.PREFIX), "
                    "R.LONGTAGNUMBER, T.NAME, R.REQUIREMENTNAME FROM VLREQUIREMENTS AS R "
                    "LEFT JOIN VLREQUIREMENTTYPES AS T ON T.ID = R.REQUIREMENTTYPEID WHERE R.ID = ?1",
                    kSource);
  BulkStatement attr(db, "SELECT ID, DATATYPE FROM VLATTRIBUTES WHERE REQUIREMENTTYPEID = ?1 AND LABEL = ?2",
                     kSource);
  BulkStatement freeValues(
      db, "SELECT FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES WHERE REQUIREMENTID = ?1 AND FIELDID = ?2", kSource);
  BulkStatement listValues(db,
                           "SELECT I.ITEMTEXT FROM VLUSERDEFINEDLISTVALUES AS V JOIN VLUSERDEFINEDLISTITEMS AS I "
                           "ON I.FIELDID = V.FIELDID AND I.ITEMID = V.LISTITEMID "
                           "WHERE V.REQUIREMENTID = ?1 AND V.FIELDID = ?2 ORDER BY I.ITEMRANK",
                           kSource);
  std::unique_ptr<BulkStatement> identifier;
  if (hasIdentifiers) {
    identifier = std::make_unique<BulkStatement>(
        db, "SELECT IDENTIFIER FROM VLREQIFIDENTIFIERS WHERE REQUIREMENTID = ?1", kSource);
  }
  std::map<std::pair<long long, std::string>, std::optional<AttrRef>> attrs;

  for (const Variant& cell : keys) {
    std::vector<std::optional<std::string>> cells(table.Headers.size());
    int level = 1;
    if (!cell.IsNull()) cells[0] = cell.ToText();
    const auto key = KeyOf(cell);
    long long typeKey = 0;
    bool found = false;
    if (key) {
      row.Bind(1, static_cast<std::int64_t>(*key));
      if (row.Step()) {
        found = true;
        typeKey = row.Int(0);
        const std::string tag = row.Text(2);
        const std::string dotted = platform::reqif::DottedTag(tag);
        if (!dotted.empty()) {
          cells[1] = row.Text(1) + dotted;
          level = static_cast<int>(tag.size() / 10);
        }
        if (!row.IsNull(3)) cells[2] = row.Text(3);
        if (!row.IsNull(4)) cells[3] = row.Text(4);
      }
      row.Reset();
    }
    for (std::size_t c = 0; found && c < columns.size(); ++c) {
      std::optional<std::string>& out = cells[4 + c];
      if (text::EqualsNoCase(columns[c], "identifier")) {
        if (identifier) {
          identifier->Bind(1, static_cast<std::int64_t>(*key));
          if (identifier->Step()) out = identifier->Text(0);
          identifier->Reset();
        }
        continue;
      }
      auto [it, added] = attrs.try_emplace({typeKey, text::Upper(columns[c])});
      if (added) {
        attr.Bind(1, static_cast<std::int64_t>(typeKey)).Bind(2, std::string_view(columns[c]));
        if (attr.Step()) it->second = AttrRef{static_cast<long>(attr.Int(0)), static_cast<int>(attr.Int(1))};
        attr.Reset();
      }
      if (!it->second) continue;
      const AttrRef ref = *it->second;
      BulkStatement& values = ref.DataType == 0 || ref.DataType == 10 ? listValues : freeValues;
      values.Bind(1, static_cast<std::int64_t>(*key)).Bind(2, static_cast<std::int64_t>(ref.Key));
      while (values.Step()) {
        if (values.IsNull(0)) continue;
        const std::string text = ValueText(values, 0, ref.DataType);
        out = out ? *out + ", " + text : text;
      }
      values.Reset();
    }
    table.Rows.push_back(std::move(cells));
    table.Levels.push_back(level);
  }
  return table;
}

}  // namespace vlq::tools
