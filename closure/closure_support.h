#pragma once
// What the relationship and closure operations share: joining the lines of a
// work-table statement. Internal to closure/.

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "engine/mod_main.h"
#include "services/data_services.h"
#include "sql/sql_vocabulary.h"

namespace vlq::closure {

// The work-table statements are written line by line; the lines are joined by
// CR LF and keep their blanks exactly, trailing ones too.
inline std::string JoinLines(const std::vector<std::string>& lines) {
  std::string s;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i != 0) s += sqlv::CRLF;
    s += lines[i];
  }
  return s;
}

}  // namespace vlq::closure
