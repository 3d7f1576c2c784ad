#include "result_table.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model/text_util.h"
#include "platform/project_schema.h"
#include "platform/reqif_common.h"
#include "platform/store_project.h"
#include "services/data_services.h"
#include "services/project.h"

namespace vlq::tools {
namespace {

// Keys per statement: a million keys take a thousand statements, and the
// text of each stays a few kilobytes.
constexpr std::size_t kBatchSize = 1000;

using Cells = std::vector<Variant>;

std::optional<long long> KeyOf(const Variant& cell) {
  if (cell.IsWhole()) return cell.Whole();
  if (cell.IsReal()) return static_cast<long long>(cell.Real());
  if (cell.IsText() && text::IsDecimalWhole(cell.Text())) return std::stoll(cell.Text());
  return std::nullopt;
}

// The distinct keys that are numbers, in the order of their first row.
std::vector<long long> DistinctKeys(const std::vector<Variant>& keys) {
  std::vector<long long> out;
  std::unordered_set<long long> seen;
  for (const Variant& cell : keys) {
    if (const auto key = KeyOf(cell); key && seen.insert(*key).second) out.push_back(*key);
  }
  return out;
}

// Calls read with the list of each batch of keys, as "IN (...)" takes it.
// The keys are numbers written by us, so the statement holds nothing else.
void ForEachBatch(const std::vector<long long>& keys, const std::function<void(const std::string&)>& read) {
  for (std::size_t from = 0; from < keys.size(); from += kBatchSize) {
    std::string list;
    for (std::size_t at = from; at < keys.size() && at < from + kBatchSize; ++at) {
      if (at > from) list += ", ";
      list += std::to_string(keys[at]);
    }
    read(list);
  }
}

// Runs a SELECT on the project's store and calls onRow with each row's cells.
void ForEachRow(DataServices& data, const std::string& sql, const std::function<void(const Cells&)>& onRow) {
  long affected = 0;
  const Rows columns = data.Execute(sql, affected)->GetRows();
  const std::size_t count = columns.empty() ? 0 : columns.front().size();
  Cells cells(columns.size());
  for (std::size_t r = 0; r < count; ++r) {
    for (std::size_t c = 0; c < columns.size(); ++c) cells[c] = columns[c][r];
    onRow(cells);
  }
}

// A number of a numeric attribute as text: a server keeps every free value
// as text. The same reading as the copy between stores makes.
Variant NumberOfText(const std::string& text) {
  const char* end = text.data() + text.size();
  long long whole = 0;
  if (auto [ptr, ec] = std::from_chars(text.data(), end, whole); ec == std::errc() && ptr == end && !text.empty()) {
    return Variant(whole);
  }
  double real = 0;
  if (auto [ptr, ec] = std::from_chars(text.data(), end, real);
      ec == std::errc() && ptr == end && !text.empty() && std::isfinite(real)) {
    return Variant(real);
  }
  return Variant(text);
}

// A stored free value as a person reads it, by the attribute's data type.
std::string ValueText(const Variant& stored, int dataType) {
  const Variant cell =
      stored.IsText() && platform::schema::IsNumericDataType(dataType) ? NumberOfText(stored.Text()) : stored;
  char buffer[64];
  if (cell.IsNumber() && (dataType == 4 || dataType == 5)) {
    const long long whole = cell.IsWhole() ? cell.Whole() : static_cast<long long>(cell.Real());
    if (dataType == 4) {
      const auto date = platform::reqif::FromDaysSince1901(whole);
      std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", date.Year, date.Month, date.Day);
    } else {
      std::snprintf(buffer, sizeof buffer, "%02lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    }
    return buffer;
  }
  if (cell.IsReal()) {
    std::snprintf(buffer, sizeof buffer, "%.15g", cell.Real());
    return buffer;
  }
  return platform::CellText(cell);
}

std::optional<std::string> TextOrNull(const Variant& cell) {
  if (cell.IsNull()) return std::nullopt;
  return platform::CellText(cell);
}

// Discussions and documents: the key and one column by key.
ResultTable ReadNamed(DataServices& data, const std::vector<Variant>& keys, enumQueryReturnTypes eReturnType) {
  ResultTable table;
  const bool discussions = eReturnType == eBTDiscussions;
  table.Headers = {"key", discussions ? "subject" : "name"};
  std::unordered_map<long long, std::optional<std::string>> found;
  ForEachBatch(DistinctKeys(keys), [&](const std::string& list) {
    ForEachRow(data,
               discussions ? "SELECT ID, SUBJECT FROM VLDISCUSSIONS WHERE ID IN (" + list + ")"
                           : "SELECT ID, NAME FROM VLDOCUMENTS WHERE ID IN (" + list + ")",
               [&](const Cells& row) {
                 if (const auto key = KeyOf(row[0])) found.try_emplace(*key, TextOrNull(row[1]));
               });
  });
  for (const Variant& cell : keys) {
    std::vector<std::optional<std::string>> cells{cell.IsNull() ? std::nullopt : std::optional(cell.ToText()),
                                                  std::nullopt};
    if (const auto key = KeyOf(cell)) {
      if (auto it = found.find(*key); it != found.end()) cells[1] = it->second;
    }
    table.Rows.push_back(std::move(cells));
    table.Levels.push_back(1);
  }
  return table;
}

struct Requirement {
  long long TypeKey = 0;
  std::optional<std::string> Tag;
  std::optional<std::string> Type;
  std::optional<std::string> Name;
  int Level = 1;
};

// The attribute of each (requirement type, asked column); absent where the
// type has none of that label.
using AttrsByColumn = std::map<std::pair<long long, std::size_t>, const Attr*>;

bool HasTable(DataServices& data, std::string_view name) {
  for (const SchemaColumn& column : data.OpenSchema(4)) {
    if (text::EqualsNoCase(column.TABLE_NAME, name)) return true;
  }
  return false;
}

}  // namespace

ResultTable ReadResultTable(Project& project, const std::vector<Variant>& keys, enumQueryReturnTypes eReturnType,
                            const std::vector<std::string>& columns) {
  const std::shared_ptr<DataServices> services = project.GetDataServices("");
  DataServices& data = *services;
  if (eReturnType == eBTDiscussions || eReturnType == eBTDocuments) return ReadNamed(data, keys, eReturnType);

  ResultTable table;
  table.Headers = {"key", "tag", "type", "name"};
  for (const std::string& column : columns) table.Headers.push_back(column);

  // The attributes asked for, from the project's structure; the first of a
  // label in a type counts.
  AttrsByColumn attrs;
  std::string listFields;
  std::string freeFields;
  bool wantsIdentifier = false;
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (text::EqualsNoCase(columns[c], "identifier")) {
      wantsIdentifier = true;
      continue;
    }
    for (const ReqType& type : project.ReqTypes()) {
      for (const Attr& attr : type.Attrs) {
        if (!text::EqualsNoCase(attr.Label, columns[c])) continue;
        if (attrs.try_emplace({type.Key, c}, &attr).second) {
          std::string& fields = platform::schema::IsListDataType(attr.DataType) ? listFields : freeFields;
          fields += (fields.empty() ? "" : ", ") + std::to_string(attr.Key);
        }
        break;
      }
    }
  }
  const bool readIdentifiers = wantsIdentifier && HasTable(data, "VLREQIFIDENTIFIERS");

  std::unordered_map<long long, Requirement> found;
  // Values by requirement and attribute key, several of one joined by ", ".
  std::map<std::pair<long long, long long>, std::string> values;
  std::unordered_map<long long, std::string> identifiers;
  std::unordered_map<long long, int> dataTypes;
  for (const auto& [at, attr] : attrs) dataTypes[attr->Key] = attr->DataType;
  const auto addValue = [&](const Cells& row) {
    const auto key = KeyOf(row[0]);
    const auto field = KeyOf(row[1]);
    if (!key || !field || row[2].IsNull()) return;
    const auto type = dataTypes.find(*field);
    const std::string text = ValueText(row[2], type == dataTypes.end() ? 1 : type->second);
    auto [it, added] = values.try_emplace({*key, *field}, text);
    if (!added) it->second += ", " + text;
  };

  ForEachBatch(DistinctKeys(keys), [&](const std::string& list) {
    ForEachRow(data,
               "SELECT R.ID, R.REQUIREMENTTYPEID, COALESCE(NULLIF(R.REQUIREMENTPREFIX, ''), T.PREFIX), "
               "R.LONGTAGNUMBER, T.NAME, R.REQUIREMENTNAME FROM VLREQUIREMENTS AS R "
               "LEFT JOIN VLREQUIREMENTTYPES AS T ON T.ID = R.REQUIREMENTTYPEID WHERE R.ID IN (" +
                   list + ")",
               [&](const Cells& row) {
                 const auto key = KeyOf(row[0]);
                 if (!key) return;
                 Requirement r;
                 r.TypeKey = platform::CellWhole(row[1]);
                 const std::string tag = platform::CellText(row[3]);
                 const std::string dotted = platform::reqif::DottedTag(tag);
                 if (!dotted.empty()) {
                   r.Tag = platform::CellText(row[2]) + dotted;
                   r.Level = static_cast<int>(tag.size() / 10);
                 }
                 r.Type = TextOrNull(row[4]);
                 r.Name = TextOrNull(row[5]);
                 found.try_emplace(*key, std::move(r));
               });
    if (!freeFields.empty()) {
      ForEachRow(data,
                 "SELECT REQUIREMENTID, FIELDID, FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES WHERE FIELDID IN (" +
                     freeFields + ") AND REQUIREMENTID IN (" + list + ") ORDER BY REQUIREMENTID, FIELDID",
                 addValue);
    }
    if (!listFields.empty()) {
      ForEachRow(data,
                 "SELECT V.REQUIREMENTID, V.FIELDID, I.ITEMTEXT FROM VLUSERDEFINEDLISTVALUES AS V "
                 "JOIN VLUSERDEFINEDLISTITEMS AS I ON I.FIELDID = V.FIELDID AND I.ITEMID = V.LISTITEMID "
                 "WHERE V.FIELDID IN (" +
                     listFields + ") AND V.REQUIREMENTID IN (" + list +
                     ") ORDER BY V.REQUIREMENTID, V.FIELDID, I.ITEMRANK, I.ITEMID",
                 addValue);
    }
    if (readIdentifiers) {
      ForEachRow(data, "SELECT REQUIREMENTID, IDENTIFIER FROM VLREQIFIDENTIFIERS WHERE REQUIREMENTID IN (" + list + ")",
                 [&](const Cells& row) {
                   const auto key = KeyOf(row[0]);
                   if (key && !row[1].IsNull()) identifiers.try_emplace(*key, platform::CellText(row[1]));
                 });
    }
  });

  for (const Variant& cell : keys) {
    std::vector<std::optional<std::string>> cells(table.Headers.size());
    if (!cell.IsNull()) cells[0] = cell.ToText();
    const auto key = KeyOf(cell);
    const auto it = key ? found.find(*key) : found.end();
    if (it == found.end()) {
      table.Rows.push_back(std::move(cells));
      table.Levels.push_back(1);
      continue;
    }
    const Requirement& r = it->second;
    cells[1] = r.Tag;
    cells[2] = r.Type;
    cells[3] = r.Name;
    for (std::size_t c = 0; c < columns.size(); ++c) {
      std::optional<std::string>& out = cells[4 + c];
      if (text::EqualsNoCase(columns[c], "identifier")) {
        if (auto id = identifiers.find(*key); id != identifiers.end()) out = id->second;
        continue;
      }
      const auto attr = attrs.find({r.TypeKey, c});
      if (attr == attrs.end()) continue;
      if (auto value = values.find({*key, attr->second->Key}); value != values.end()) out = value->second;
    }
    table.Rows.push_back(std::move(cells));
    table.Levels.push_back(r.Level);
  }
  return table;
}

}  // namespace vlq::tools
