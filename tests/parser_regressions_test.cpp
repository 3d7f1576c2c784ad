// The kept findings of the reader fuzzer (fuzz/regressions) and its seeds
// (fuzz/seeds), replayed: each input must read the same in the engine's
// readers as in the plain reference reader, without a sanitizer finding.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/reader_check.h"

namespace vlq {
namespace {

std::vector<std::filesystem::path> Inputs(const char* sFolder) {
  const auto dir = std::filesystem::path(VLQ_TEST_DATA_DIR).parent_path().parent_path() / "fuzz" / sFolder;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.is_regular_file() && entry.path().filename() != "README.md") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class ParserRegressionsTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ParserRegressionsTest, InputsReadAsTheReferenceDoes) {
  const auto files = Inputs(GetParam());
  EXPECT_FALSE(files.empty());
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string sInput((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(reference::CheckReaderInput(sInput), "") << file.filename();
  }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, ParserRegressionsTest, ::testing::Values("regressions", "seeds"));

// The same comparison over hand-picked texts, under each switch: sort list,
// keyed lookup type, decimal comma.
TEST(ParserReferenceTest, HandPickedTextsReadAsTheReferenceDoes) {
  const char* texts[] = {
      "a = 1 AND (b = 2 OR c In x, \"y\", \"z z\") AND NOT (\"d\" = 3)",
      "a Between 1 And 2 AND b Between \"x and y\" And \"z\"",
      "Size = 1,5 OR Size In 1,5 OR \"\"\"q\"\"\" = \"\"",
      "NOT NOT (a = 1) Origin = 1 (a = 1",
      "a In \"12\", \"13\" AND b In \"ab cd\", x AND c In \"",
      "((a = 1) AND (b = \"x)\" OR (c = 2))) OR () d = 1",
      "Name Order Asc AND Key O 2 AND a All > 2 AND a Any < 3 AND Notes ULike \"%a%\"",
  };
  for (const char* sText : texts) {
    for (char flags : {'\0', '\1', '\2', '\4', '\7'}) {
      EXPECT_EQ(reference::CheckReaderInput(std::string(1, flags) + sText), "") << sText << " / " << int(flags);
    }
  }
}

}  // namespace
}  // namespace vlq
