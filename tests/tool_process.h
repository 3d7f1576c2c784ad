#pragma once
// Runs the built `vlquery` binary for the tool tests: arguments as given, no
// shell, standard input empty, standard output and error captured.

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace vlq::testing {

struct ToolRun {
  int status = -1;  // exit status; 128 + the signal for a crash
  std::string out;
  std::string err;
};

// A directory of its own for one test, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlq_tool_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs a program with the arguments given, no shell, standard input from
// `input` (a file; empty by default), and `environment` ("NAME=value") added
// to the program's environment.
inline ToolRun RunProgram(const std::string& program, const std::vector<std::string>& args,
                          const std::string& input = "/dev/null", const std::vector<std::string>& environment = {}) {
  TempDir capture;
  const std::string outFile = capture / "out";
  const std::string errFile = capture / "err";
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> pointers;
  for (std::string& arg : argv) pointers.push_back(arg.data());
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = 0;
  std::vector<std::string> variables(environment);
  for (char** at = environ; *at; ++at) variables.emplace_back(*at);
  std::vector<char*> envp;
  for (std::string& variable : variables) envp.push_back(variable.data());
  envp.push_back(nullptr);
  const int rc = ::posix_spawn(&pid, argv[0].c_str(), &actions, nullptr, pointers.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) throw std::runtime_error("cannot start " + argv[0]);
  int wstatus = 0;
  while (::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  ToolRun run;
  run.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  run.out = ReadFile(outFile);
  run.err = ReadFile(errFile);
  return run;
}

inline ToolRun RunVlquery(const std::vector<std::string>& args) { return RunProgram(VLQUERY_BINARY, args); }

inline ToolRun RunVlquery(const std::vector<std::string>& args, const std::string& input,
                          const std::vector<std::string>& environment = {}) {
  return RunProgram(VLQUERY_BINARY, args, input, environment);
}

}  // namespace vlq::testing
