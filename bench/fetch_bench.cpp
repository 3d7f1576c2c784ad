// What the engine costs on top of the database: Validate of the query for all
// requirements of a demo project, and Fetch of it beside the same statement
// run straight on SQLite (prepare and step over every row). The project is
// made once, before any timing; its size comes from VLQ_BENCH_REQUIREMENTS
// (default 20000).

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "demo_project.h"
#include "engine/query_engine.h"
#include "platform/store_project_manager.h"

namespace {

class BenchProject {
 public:
  static BenchProject& Get() {
    static BenchProject project;
    return project;
  }

  const std::shared_ptr<vlq::Project>& Project() const { return project_; }
  sqlite3* Raw() const { return raw_; }
  long Requirements() const { return requirements_; }

  ~BenchProject() {
    if (raw_ != nullptr) sqlite3_close(raw_);
    project_.reset();
    manager_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  BenchProject(const BenchProject&) = delete;
  BenchProject& operator=(const BenchProject&) = delete;

 private:
  BenchProject() {
    if (const char* size = std::getenv("VLQ_BENCH_REQUIREMENTS")) requirements_ = std::max(1L, std::atol(size));
    std::string pattern = (std::filesystem::temp_directory_path() / "vlq_bench_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    dir_ = pattern;
    const auto file = dir_ / "bench.vlp";
    vlq::tools::DemoOptions options;
    options.Requirements = requirements_;
    options.Seed = 1;
    vlq::tools::MakeDemoProject(file, options);
    manager_ = vlq::platform::StoreProjectManager::Create();
    project_ = manager_->Open(file);
    sqlite3_open_v2(file.c_str(), &raw_, SQLITE_OPEN_READONLY, nullptr);
  }

  long requirements_ = 20000;
  std::filesystem::path dir_;
  std::shared_ptr<vlq::platform::StoreProjectManager> manager_;
  std::shared_ptr<vlq::Project> project_;
  sqlite3* raw_ = nullptr;
};

// The statement of the query for all requirements, as the engine writes it.
std::string EngineStatement(vlq::QueryEngine& engine) {
  std::string sErrorInfo;
  std::shared_ptr<vlq::QueryDef> oQueryDef;
  engine.Validate(vlq::eBTRequirements, vlq::eQLTByPrefix, BenchProject::Get().Project(), "", sErrorInfo, oQueryDef);
  return engine.LastSqlStatement();
}

// Runs a statement straight on SQLite and reads the key of every row; -1 when
// SQLite refuses it.
long RunDirect(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &stmt, nullptr) != SQLITE_OK) return -1;
  long rows = 0;
  while (sqlite3_step(stmt) == SQLITE_ROW) {
    benchmark::DoNotOptimize(sqlite3_column_int64(stmt, 0));
    ++rows;
  }
  sqlite3_finalize(stmt);
  return rows;
}

void BM_ValidateAllRequirements(benchmark::State& state) {
  const auto& project = BenchProject::Get().Project();
  vlq::QueryEngine engine;
  std::string sErrorInfo;
  std::shared_ptr<vlq::QueryDef> oQueryDef;
  for (auto _ : state) {
    const auto result = engine.Validate(vlq::eBTRequirements, vlq::eQLTByPrefix, project, "", sErrorInfo, oQueryDef);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(BM_ValidateAllRequirements);

// Fetch and the direct run in turn, each timed on its own within one
// iteration, so that both see the same cache and machine state. The
// iteration time is that of Fetch; "ratio" is Fetch's time over SQLite's.
void BM_FetchAgainstSqlite(benchmark::State& state) {
  BenchProject& bench = BenchProject::Get();
  vlq::QueryEngine engine;
  const std::string sql = EngineStatement(engine);
  if (RunDirect(bench.Raw(), sql) < 0) {
    state.SkipWithError("SQLite refuses the engine's statement as it stands");
    return;
  }
  std::string sErrorInfo;
  vlq::Rows aResults;
  std::shared_ptr<vlq::QueryDef> oQueryDef;
  double fetchSeconds = 0;
  double directSeconds = 0;
  std::size_t rows = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    engine.Fetch(vlq::eBTRequirements, vlq::eQLTByPrefix, bench.Project(), "", sErrorInfo, aResults, oQueryDef);
    const auto middle = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(RunDirect(bench.Raw(), sql));
    const auto end = std::chrono::steady_clock::now();
    const double fetch = std::chrono::duration<double>(middle - start).count();
    fetchSeconds += fetch;
    directSeconds += std::chrono::duration<double>(end - middle).count();
    rows = aResults.empty() ? 0 : aResults.front().size();
    state.SetIterationTime(fetch);
  }
  state.counters["rows"] = static_cast<double>(rows);
  state.counters["sqlite_ms"] =
      benchmark::Counter(directSeconds * 1000.0 / static_cast<double>(state.iterations()));
  state.counters["ratio"] = directSeconds > 0 ? fetchSeconds / directSeconds : 0.0;
}
BENCHMARK(BM_FetchAgainstSqlite)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
