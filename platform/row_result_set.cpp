#include "platform/row_result_set.h"

#include <string>

#include "platform/sqlite_connection.h"
#include "services/failure.h"

namespace vlq::platform {

Rows RowResultSet::GetRows() {
  Rows out(rows_.size());
  for (std::size_t c = 0; c < rows_.size(); ++c) {
    out[c].assign(rows_[c].begin() + static_cast<std::ptrdiff_t>(pos_), rows_[c].end());
  }
  pos_ = count_;
  return out;
}

void RowResultSet::MoveNext() {
  if (AtEOF()) throw Failure(kFailureNoCurrentRecord, "ResultSet.MoveNext", "The cursor is behind the last row");
  ++pos_;
}

Variant RowResultSet::Field(int index) const {
  if (AtEOF()) throw Failure(kFailureNoCurrentRecord, "ResultSet.Field", "There is no current row");
  if (index < 0 || static_cast<std::size_t>(index) >= rows_.size()) {
    throw Failure(kFailureItemNotFound, "ResultSet.Field", "No column at position " + std::to_string(index));
  }
  return rows_[static_cast<std::size_t>(index)][pos_];
}

}  // namespace vlq::platform
