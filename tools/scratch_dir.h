#pragma once
// A directory of its own under the system's temporary directory, removed with
// its contents at the end.

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "services/failure.h"

namespace vlq::tools {

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlquery_XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
      throw Failure(kUnexpectedFailureNumber, "vlquery", "can't make a temporary directory");
    path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace vlq::tools
