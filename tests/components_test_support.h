#pragma once
// Helpers of the component tests: a temporary directory that goes away with
// the test, and an environment variable set for the length of a scope.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

namespace vlq::testing_support {

class TempDir {
 public:
  TempDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() / ("vlq-components-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return path_; }

  // Writes a file below the directory, making its folders.
  std::filesystem::path WriteFile(const std::filesystem::path& relative, const std::string& content) const {
    const std::filesystem::path file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  std::filesystem::path path_;
};

class ScopedEnv {
 public:
  // value nullopt unsets the variable.
  ScopedEnv(std::string name, std::optional<std::string> value) : name_(std::move(name)) {
    if (const char* old = std::getenv(name_.c_str())) old_ = old;
    Set(value);
  }
  ~ScopedEnv() { Set(old_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  void Set(const std::optional<std::string>& value) const {
    if (value) {
      ::setenv(name_.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> old_;
};

inline std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace vlq::testing_support
