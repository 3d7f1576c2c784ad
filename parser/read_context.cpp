#include "parser/read_context.h"

#include "engine/mod_main_words.h"
#include "model/text_util.h"

namespace vlq::parser {

std::size_t ReadContext::GroupClose(std::size_t nStart, std::size_t nEnd) {
  if (auto it = closes_.find(nStart); it != closes_.end()) return it->second;
  // The groups nested in this one are met on the way; their closes are the
  // ones a scan of their own would find, so a deep nesting is scanned once.
  nested_.clear();
  const modMain::ParenGroup group = modMain::ScanParenGroup(View().substr(0, nEnd), nStart, &nested_);
  for (const auto& [nOpen, nClose] : nested_) closes_.emplace(nOpen, nClose);
  nested_.clear();
  return group.nClose;
}

std::size_t ReadContext::FindBetweenAnd(std::size_t nFrom) {
  // Reading moves forward through the text, so the answer to the previous
  // question holds as long as nFrom hasn't passed it.
  if (nAndFrom_ != std::string_view::npos && nFrom >= nAndFrom_ &&
      (nAndFound_ == std::string_view::npos || nFrom <= nAndFound_)) {
    return nAndFound_;
  }
  nAndFrom_ = nFrom;
  nAndFound_ = text::FindNoCase(View(), " AND ", nFrom);
  return nAndFound_;
}

}  // namespace vlq::parser
