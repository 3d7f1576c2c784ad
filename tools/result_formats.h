#pragma once
// The output formats of `vlquery fetch`:
//   keys   the key of each row, one per line (a NULL key is an empty line)
//   table  a header line and aligned columns, shortened with "…" to fit `width`
//   csv    RFC 4180: a header record, fields quoted where needed, CR LF
//   json   an array of objects, one per row; the key a number, missing values null
//   tree   one line per row, indented two blanks per level of the tree:
//          the tag and the name, then the further columns

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "result_table.h"

namespace vlq::tools {

enum class ResultFormat { Keys, Table, Csv, Json, Tree };

std::optional<ResultFormat> ParseResultFormat(std::string_view name);

void WriteResults(ResultFormat format, const ResultTable& table, std::ostream& out, int width);

// The width that a table may take: COLUMNS when it holds a number, else the
// terminal's width when standard output is one, else 120.
int OutputWidth();

// The number of characters a text takes on a terminal (UTF-8 code points).
std::size_t DisplayWidth(std::string_view text);

}  // namespace vlq::tools
