#pragma once
// The readable form of a fetch: one row per key that the engine returned,
// with the columns that the output formats show. The columns are read from
// the project by the keys (never by changing the engine's statement), through
// its DataServices, so that a project file and a project on a server give the
// same table:
//   requirements  key, tag (prefix and dotted number: PR2.1), type, name, and
//                 the attribute values asked for by label; "identifier" is the
//                 ReqIF identifier of an imported requirement
//   discussions   key, subject
//   documents     key, name

#include <optional>
#include <string>
#include <vector>

#include "engine/enums.h"
#include "model/variant.h"

namespace vlq {
class Project;
}

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

// Reads the rows for `keys` from `project`, the project that the keys belong
// to, in batches of keys. `columns` are attribute labels (without regard to
// case) and "identifier"; a requirement whose type has no attribute of that
// label gets no value there. Throws Failure when the store does.
ResultTable ReadResultTable(Project& project, const std::vector<Variant>& keys, enumQueryReturnTypes eReturnType,
                            const std::vector<std::string>& columns);

}  // namespace vlq::tools
