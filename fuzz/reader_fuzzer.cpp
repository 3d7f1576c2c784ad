// libFuzzer target for the readers of the query language: arbitrary bytes go
// to the word reader, the group reader, the expression reader and the list
// tokenizer, and each result must be the reference reader's.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "fuzz/reader_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string sDiff =
      vlq::reference::CheckReaderInput(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!sDiff.empty()) {
    std::fprintf(stderr, "reader mismatch: %s\n", sDiff.c_str());
    std::abort();
  }
  return 0;
}
