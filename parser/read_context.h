#pragma once
// ReadContext: what the readers of one expression list share while they read
// it. The text is held once, shared, and every reader works on a window of it
// (an offset and an end) instead of a blanked copy of its own, so that reading
// a list costs time in proportion to its length. Two searches that would look
// again and again at the same stretch of a long text remember their answers:
// where a parenthesised group closes, and where the next " AND " stands.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vlq::parser {

class ReadContext {
 public:
  explicit ReadContext(std::shared_ptr<const std::string> oText) : oText_(std::move(oText)) {}

  const std::shared_ptr<const std::string>& Text() const { return oText_; }
  std::string_view View() const { return *oText_; }

  // The index of the ")" that closes the group opening at nStart, within the
  // window that ends at nEnd; npos when the window ends first.
  std::size_t GroupClose(std::size_t nStart, std::size_t nEnd);

  // The index of the first " AND " (any case) at or after nFrom in the whole
  // text; npos when there is none. Callers check that it lies in their window:
  // if the first one doesn't, no later one does.
  std::size_t FindBetweenAnd(std::size_t nFrom);

 private:
  std::shared_ptr<const std::string> oText_;
  std::unordered_map<std::size_t, std::size_t> closes_;
  std::vector<std::pair<std::size_t, std::size_t>> nested_;
  std::size_t nAndFrom_ = std::string_view::npos;
  std::size_t nAndFound_ = std::string_view::npos;
};

}  // namespace vlq::parser
