#pragma once
// The readable form of a fetch: one row per key that the engine returned,
// with the columns that the output formats show. The columns are read from
// the project file by the keys (never by changing the engine's statement):
//   requirements  key, tag (prefix and dotted number: PR2.1), type, name, and
//                 the attribute values asked for by label; "identifier" is the
//                 ReqIF identifier of an imported requirement
//   discussions   key, subject
//   documents     key, name

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "engine/enums.h"
#include "model/variant.h"

namespace vlq::tools {

struct ResultTable {
  std::vector<std::string> Headers;
  // One row per key; a cell without a value is nullopt.
  std::vector<std::vector<std::optional<std::string>>> Rows;
  // The column that holds the key (a number in JSON).
  std::size_t KeyColumn = 0;
  // Per row: the level in the tree (1 for a root), from the tag number;
  // 1 where there is no tag.
  std::vector<int> Levels;
};

// Reads the rows for `keys` from `projectFile`. `columns` are attribute
// labels (without regard to case) and "identifier"; a requirement whose type
// has no attribute of that label gets no value there.
ResultTable ReadResultTable(const std::filesystem::path& projectFile, const std::vector<Variant>& keys,
                            enumQueryReturnTypes eReturnType, const std::vector<std::string>& columns);

}  // namespace vlq::tools
