// The import of a large ReqIF file beside independent readers of the same
// file: libxml2's xmllint with --stream, which reads the XML as a stream and
// does nothing with it, and xmllint building the whole tree. The counters
// `ratio` and `ratio_tree` of BM_ReqifImport are its time over theirs;
// `peak_rss_mb` the process's peak memory after the import and `file_mb` the
// file's size. The file is generated once, before any
// timing: VLQ_BENCH_REQIF_OBJECTS objects (default 100000, about 120 MB).

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/reqif_importer.h"
#include "reqif_generator.h"

extern char** environ;

namespace {

class BenchFile {
 public:
  static BenchFile& Get() {
    static BenchFile file;
    return file;
  }
  const std::filesystem::path& Reqif() const { return reqif_; }
  std::filesystem::path Project() const { return dir_ / "bench.vlp"; }
  double XmllintSeconds = 0;
  double XmllintTreeSeconds = 0;
  ~BenchFile() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  BenchFile(const BenchFile&) = delete;
  BenchFile& operator=(const BenchFile&) = delete;

 private:
  BenchFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlq_reqif_bench_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
    reqif_ = dir_ / "bench.reqif";
    vlq::testing::ReqifShape shape;
    shape.Objects = 100000;
    if (const char* size = std::getenv("VLQ_BENCH_REQIF_OBJECTS")) shape.Objects = std::max(1L, std::atol(size));
    vlq::testing::WriteReqif(reqif_, shape);
  }
  std::filesystem::path dir_;
  std::filesystem::path reqif_;
};

// Runs xmllint --noout on the file, with --stream or building the tree;
// false when it can't be run.
bool RunXmllint(const std::filesystem::path& file, bool stream = true) {
  std::vector<std::string> args{"xmllint", "--noout", "--nonet", file.string()};
  if (stream) args.insert(args.begin() + 1, "--stream");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int rc = ::posix_spawnp(&pid, "xmllint", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) return false;
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void BM_XmllintStream(benchmark::State& state) {
  BenchFile& file = BenchFile::Get();
  double total = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    if (!RunXmllint(file.Reqif())) {
      state.SkipWithError("xmllint (libxml2-utils) can't be run");
      return;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count());
    total += took.count();
  }
  file.XmllintSeconds = total / static_cast<double>(state.iterations());
  state.counters["file_mb"] = static_cast<double>(std::filesystem::file_size(file.Reqif())) / 1e6;
}
BENCHMARK(BM_XmllintStream)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_XmllintTree(benchmark::State& state) {
  BenchFile& file = BenchFile::Get();
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    if (!RunXmllint(file.Reqif(), false)) {
      state.SkipWithError("xmllint (libxml2-utils) can't be run");
      return;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count());
    file.XmllintTreeSeconds = took.count();
  }
}
BENCHMARK(BM_XmllintTree)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_ReqifImport(benchmark::State& state) {
  BenchFile& file = BenchFile::Get();
  double total = 0;
  vlq::platform::ReqifImportOptions options;
  options.Replace = true;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const auto result = vlq::platform::ReqifImporter::Import(file.Reqif(), file.Project(), options);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (!result.Imported) {
      state.SkipWithError(result.sErrorInfo.c_str());
      return;
    }
    state.SetIterationTime(took.count());
    total += took.count();
  }
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_mb"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
  state.counters["file_mb"] = static_cast<double>(std::filesystem::file_size(file.Reqif())) / 1e6;
  const double mean = total / static_cast<double>(state.iterations());
  if (file.XmllintSeconds > 0) state.counters["ratio"] = mean / file.XmllintSeconds;
  if (file.XmllintTreeSeconds > 0) state.counters["ratio_tree"] = mean / file.XmllintTreeSeconds;
}
BENCHMARK(BM_ReqifImport)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
