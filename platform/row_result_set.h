#pragma once
// The rows of one executed statement, read whole, with an ADO-like cursor: on
// the first row after Execute, BOF only for an empty result, EOF behind the
// last row. Every store's DataServices hands its rows out in one of these.

#include <cstddef>
#include <utility>

#include "services/data_services.h"

namespace vlq::platform {

class RowResultSet : public ResultSet {
 public:
  RowResultSet(Rows rows, std::size_t rowCount) : rows_(std::move(rows)), count_(rowCount) {}
  // The rows from the current one to the last; the cursor is then behind the
  // last row.
  Rows GetRows() override;
  bool AtBOF() const override { return count_ == 0; }
  bool AtEOF() const override { return pos_ >= count_; }
  // Throws Failure (kFailureNoCurrentRecord) behind the last row.
  void MoveNext() override;
  // Throws Failure with no current row or a column that isn't there.
  Variant Field(int index) const override;

 private:
  Rows rows_;
  std::size_t count_;
  std::size_t pos_ = 0;
};

}  // namespace vlq::platform
