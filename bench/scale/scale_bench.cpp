// The engine at scale, beside the statement an engineer would write for
// SQLite by hand: for each demo project size and query, the engine's Fetch
// and the hand-written statement (queries.h) run on the same file in the same
// run; the driver first checks that both give the same keys (in the same
// order where the query orders them), then prints a table of the best of a
// few runs of each, in wall-clock and in CPU time; the goal is judged on the
// CPU time, which a busy machine disturbs least.
//
//   vlq_scale_bench [--sizes 10000,100000] [--repeat 3] [--cache DIR]
//                   [--only TEXT,TEXT] [--skip TEXT,TEXT] [--no-analyze]
//                   [--store file|server] [--server URI] [--timeout SECONDS]
//
// The demo projects (vlquery demo, seed 1) are made once in the cache
// directory (--cache, else $VLQ_BENCH_CACHE, else ./bench-cache) and reused.
// Every query is measured without statistics, then the driver runs ANALYZE
// and measures the queries marked for it again, and drops the statistics so
// that the next run starts alike.
//
// --store server measures the same on a PostgreSQL server: the one --server
// names (a database the login may create schemas in), else a throw-away
// server that scripts/pg-test-server.sh starts in a temporary directory and
// stops at the end. Each demo project is copied once into the schema
// scale_<size> (its external project into scale_<size>_ext); a comment on the
// schema marks a finished copy, so that later runs on the same server reuse
// it. Autovacuum is off for the copied tables (not for the work tables), so
// that the server never gathers statistics on its own; "without statistics"
// there means no column statistics, the tables' sizes known as the copy's
// index builds left them. The driver deletes the column statistics before it
// measures and after ANALYZE (which takes a superuser; without one it copies
// the project anew). The server's CPU time can't be seen from here: the goal
// is judged on wall-clock time, the engine's CPU time in this process stands
// beside it. --timeout has the server end a statement that runs longer (both
// sides'); a query whose side runs out is measured once, its keys unchecked.
#include <sqlite3.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "demo_project.h"
#include "engine/query_engine.h"
#include "platform/pg_connection.h"
#include "platform/pg_schema.h"
#include "platform/project_copy.h"
#include "platform/project_location.h"
#include "platform/project_schema.h"
#include "platform/store_project_manager.h"
#include "queries.h"
#include "services/failure.h"

namespace {

using Keys = std::vector<long long>;

struct Options {
  std::vector<long> sizes{10000, 100000};
  int repeat = 3;
  std::filesystem::path cache;
  std::string only;
  std::string skip;
  bool analyze = true;
  bool server = false;    // --store server
  std::string serverUri;  // --server: a server of one's own, else a throw-away one
  int timeout = 0;        // --timeout: seconds a statement may run on the server; 0: no limit
};

Options Parse(int argc, char** argv) {
  Options o;
  const char* env = std::getenv("VLQ_BENCH_CACHE");
  o.cache = env && *env ? env : "bench-cache";
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw std::runtime_error(a + " needs a value");
      return argv[++i];
    };
    if (a == "--sizes") {
      o.sizes.clear();
      std::stringstream in(value());
      for (std::string n; std::getline(in, n, ',');) o.sizes.push_back(std::stol(n));
    } else if (a == "--repeat") {
      o.repeat = std::max(1, std::stoi(value()));
    } else if (a == "--cache") {
      o.cache = value();
    } else if (a == "--only") {
      o.only = value();
    } else if (a == "--skip") {
      o.skip = value();
    } else if (a == "--no-analyze") {
      o.analyze = false;
    } else if (a == "--store") {
      const std::string store = value();
      if (store != "file" && store != "server") throw std::runtime_error("--store takes file or server");
      o.server = store == "server";
    } else if (a == "--timeout") {
      o.timeout = std::max(0, std::stoi(value()));
    } else if (a == "--server") {
      o.serverUri = value();
      o.server = true;
    } else {
      throw std::runtime_error(
          "unknown option " + a +
          " (--sizes N,N --repeat N --cache DIR --only TEXT --skip TEXT --no-analyze --store file|server "
          "--server URI --timeout SECONDS)");
    }
  }
  return o;
}

// Wall-clock and CPU milliseconds of one run. The machines this runs on are
// often shared: the CPU time of the process is what a run costs whatever else
// runs beside it (the files are in the system's cache, so there is no wait
// for a disk to hide).
struct Time {
  double wall = 1e300;
  double cpu = 1e300;
  void Best(const Time& t) {
    wall = std::min(wall, t.wall);
    cpu = std::min(cpu, t.cpu);
  }
};

// True when the name holds one of the comma-separated texts.
bool Names(const std::string& list, const std::string& name) {
  std::stringstream in(list);
  for (std::string part; std::getline(in, part, ',');) {
    if (!part.empty() && name.find(part) != std::string::npos) return true;
  }
  return false;
}

// --only: the queries whose name holds one of its texts, all without it;
// --skip: less those whose name holds one of its texts.
bool Chosen(const Options& o, const std::string& name) {
  return (o.only.empty() || Names(o.only, name)) && !Names(o.skip, name);
}

double CpuMillis() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

Time Measure(const std::function<void()>& run) {
  const double cpu0 = CpuMillis();
  const auto t0 = std::chrono::steady_clock::now();
  run();
  Time t;
  t.wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
  t.cpu = CpuMillis() - cpu0;
  return t;
}

// A connection of its own for the hand-written statements.
class RawStore {
 public:
  virtual ~RawStore() = default;
  // The first column of the statement's rows as whole numbers.
  virtual Keys Column(const std::string& sql) const = 0;
  virtual void Exec(const std::string& sql) const = 0;
};

class RawFile : public RawStore {
 public:
  explicit RawFile(const std::filesystem::path& file) {
    if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
      throw std::runtime_error("can't open " + file.string());
    }
    // The page cache and memory map that the project store sets on its own
    // connection, so that both sides read the file alike.
    Exec("PRAGMA mmap_size=1073741824; PRAGMA cache_size=-65536");
  }
  ~RawFile() override { sqlite3_close(db_); }
  RawFile(const RawFile&) = delete;
  RawFile& operator=(const RawFile&) = delete;

  Keys Column(const std::string& sql) const override {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
      throw std::runtime_error(std::string(sqlite3_errmsg(db_)) + " in:\n" + sql);
    }
    Keys keys;
    while (sqlite3_step(stmt) == SQLITE_ROW) keys.push_back(sqlite3_column_int64(stmt, 0));
    sqlite3_finalize(stmt);
    return keys;
  }
  void Exec(const std::string& sql) const override {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(std::string(sqlite3_errmsg(db_)) + " in: " + sql);
    }
  }

 private:
  sqlite3* db_ = nullptr;
};

// The same on the server, with the project's schema on the search path.
class RawServer : public RawStore {
 public:
  explicit RawServer(const vlq::platform::ServerLocation& at)
      : conn_(vlq::platform::PgConnection::Open(at.ConnectionUri, "vlq_scale_bench")) {}

  vlq::platform::PgConnection& Connection() const { return *conn_; }
  Keys Column(const std::string& sql) const override {
    const vlq::platform::PgResult result = conn_->Exec(sql, "vlq_scale_bench");
    Keys keys;
    keys.reserve(static_cast<std::size_t>(result.RowCount()));
    for (int r = 0; r < result.RowCount(); ++r) keys.push_back(result.Whole(r, 0));
    return keys;
  }
  void Exec(const std::string& sql) const override { conn_->Exec(sql, "vlq_scale_bench"); }

 private:
  std::shared_ptr<vlq::platform::PgConnection> conn_;
};

// The statement with {T:PREFIX}, {A:PREFIX.Label} and {I:PREFIX.Label.Item}
// replaced by the keys of the file's types, attributes and list items, and {X}
// by the external project's schema.
std::string Resolve(const RawStore& raw, std::string sql, const std::string& extSchema) {
  for (std::size_t at; (at = sql.find('{')) != std::string::npos;) {
    const std::size_t end = sql.find('}', at);
    const std::string ref = sql.substr(at + 1, end - at - 1);
    if (ref == "X") {
      sql.replace(at, end - at + 1, extSchema);
      continue;
    }
    const char kind = ref[0];
    std::vector<std::string> part;
    std::stringstream in(ref.substr(2));
    for (std::string p; std::getline(in, p, '.');) part.push_back(p);
    std::string lookup;
    if (kind == 'T') {
      lookup = "SELECT ID FROM VLREQUIREMENTTYPES WHERE PREFIX = '" + part[0] + "'";
    } else if (kind == 'A') {
      lookup = "SELECT a.ID FROM VLATTRIBUTES a JOIN VLREQUIREMENTTYPES t ON t.ID = a.REQUIREMENTTYPEID WHERE "
               "t.PREFIX = '" + part[0] + "' AND a.LABEL = '" + part[1] + "'";
    } else {
      lookup = "SELECT i.ITEMID FROM VLUSERDEFINEDLISTITEMS i JOIN VLATTRIBUTES a ON a.ID = i.FIELDID JOIN "
               "VLREQUIREMENTTYPES t ON t.ID = a.REQUIREMENTTYPEID WHERE t.PREFIX = '" + part[0] +
               "' AND a.LABEL = '" + part[1] + "' AND i.ITEMTEXT = '" + part[2] + "'";
    }
    const Keys key = raw.Column(lookup);
    if (key.size() != 1) throw std::runtime_error("no single key for {" + ref + "}");
    sql.replace(at, end - at + 1, std::to_string(key[0]));
  }
  return sql;
}

std::filesystem::path DemoFile(const Options& o, long size) {
  std::filesystem::create_directories(o.cache);
  const std::filesystem::path file = o.cache / ("demo-" + std::to_string(size) + ".vlp");
  if (!std::filesystem::exists(file)) {
    std::cerr << "making " << file << " ..." << std::endl;
    vlq::tools::DemoOptions demo;
    demo.Requirements = size;
    demo.Seed = 1;
    vlq::tools::MakeDemoProject(file, demo);
  }
  return file;
}

struct Row {
  std::string name;
  long size;
  bool analyzed;
  Time engine, idiomatic;
  double limit;
  bool engineOut = false, idiomaticOut = false;  // ran out of --timeout
};

// Runs each chosen query through the engine and as the hand-written statement
// of the store, checks that both give the same keys, and adds to the table the
// best of a few runs of each, the two alternating so that a busy machine slows
// both alike. False when the keys differ.
bool MeasureQueries(const Options& o, long size, bool analyzed, const std::shared_ptr<vlq::Project>& project,
                    const RawStore& raw, bool server, const std::string& extSchema, std::vector<Row>& table) {
  vlq::QueryEngine engine;
  for (const bench::ScaleQuery& q : bench::ScaleQueries()) {
    if (!Chosen(o, q.name)) continue;
    if (analyzed && !q.withAnalyze) continue;
    const std::string sql = Resolve(raw, server && q.idiomaticPg ? q.idiomaticPg : q.idiomatic, extSchema);
    const auto fetch = [&] {
      std::string info;
      vlq::Rows rows;
      std::shared_ptr<vlq::QueryDef> def;
      const auto result = engine.Fetch(q.discussions ? vlq::eBTDiscussions : vlq::eBTRequirements, vlq::eQLTByPrefix,
                                       project, q.query, info, rows, def, q.hierarchy);
      if (result != vlq::eQEENone) throw std::runtime_error(std::string(q.name) + ": error " + info);
      Keys keys;
      if (!rows.empty()) {
        for (const vlq::Variant& v : rows[0]) keys.push_back(v.Whole());
      }
      return keys;
    };
    // A statement that the server ends at --timeout (SQLSTATE 57014) leaves
    // its side unmeasured; the other side's one run stands, its keys unchecked.
    Row row{q.name, size, analyzed, {}, {}, q.limit};
    const auto once = [&](const std::function<Keys()>& run, Keys& keys, Time& time) {
      try {
        time = Measure([&] { keys = run(); });
        return true;
      } catch (const std::exception& e) {
        if (!server || o.timeout == 0 || std::string(e.what()).find("57014") == std::string::npos) throw;
        return false;
      }
    };
    Keys mine, theirs;
    Time first, firstIdiomatic;
    row.engineOut = !once(fetch, mine, first);
    row.idiomaticOut = !once([&] { return raw.Column(sql); }, theirs, firstIdiomatic);
    if (row.engineOut || row.idiomaticOut) {
      row.engine = first;
      row.idiomatic = firstIdiomatic;
      table.push_back(row);
      std::fprintf(stderr, "%-34s %8ld %-3s %s\n", q.name, size, analyzed ? "yes" : "no",
                   row.engineOut ? "the engine ran out of time" : "the statement ran out of time");
      continue;
    }
    if (!q.ordered) {
      std::sort(mine.begin(), mine.end());
      std::sort(theirs.begin(), theirs.end());
    }
    if (mine != theirs) {
      std::cerr << q.name << " at " << size << ": the engine gives " << mine.size() << " keys, the statement "
                << theirs.size() << "; they differ\n";
      return false;
    }
    for (int i = 0; i < o.repeat; ++i) {
      row.engine.Best(Measure([&] { fetch(); }));
      row.idiomatic.Best(Measure([&] { raw.Column(sql); }));
    }
    table.push_back(row);
    std::fprintf(stderr, "%-34s %8ld %-3s %10.1f %10.1f  cpu %10.1f %10.1f  (%zu keys)\n", q.name, size,
                 analyzed ? "yes" : "no", row.engine.wall, row.idiomatic.wall, row.engine.cpu, row.idiomatic.cpu,
                 mine.size());
  }
  return true;
}

int RunOnFiles(const Options& o) {
  std::vector<Row> table;
  for (long size : o.sizes) {
    const std::filesystem::path file = DemoFile(o, size);
    auto manager = vlq::platform::StoreProjectManager::Create();
    std::shared_ptr<vlq::Project> project = manager->Open(file.string(), "");
    RawFile raw(file);
    raw.Exec("ATTACH DATABASE '" + vlq::tools::DemoExtFile(file).string() + "' AS ext");
    raw.Exec("DROP TABLE IF EXISTS sqlite_stat1; DROP TABLE IF EXISTS sqlite_stat4");
    for (bool analyzed : {false, true}) {
      if (analyzed) {
        if (!o.analyze) break;
        raw.Exec("ANALYZE");
        // The project's connection reads the statistics when it opens.
        project.reset();
        project = manager->Open(file.string(), "");
      }
      if (!MeasureQueries(o, size, analyzed, project, raw, false, "ext", table)) return 1;
    }
    project.reset();
    raw.Exec("DROP TABLE IF EXISTS sqlite_stat1; DROP TABLE IF EXISTS sqlite_stat4");
  }
  // The goal is judged on CPU time; the wall-clock times stand beside it.
  std::printf("| Query | N | ANALYZE | engine ms | idiomatic SQLite ms | ratio | engine CPU ms | idiomatic CPU ms "
              "| CPU ratio | goal |\n");
  std::printf("|---|---:|---|---:|---:|---:|---:|---:|---:|---:|\n");
  for (const Row& r : table) {
    const double ratio = r.engine.wall / std::max(r.idiomatic.wall, 0.01);
    const double cpuRatio = r.engine.cpu / std::max(r.idiomatic.cpu, 0.01);
    std::printf("| %s | %ld | %s | %.1f | %.1f | %.2f | %.1f | %.1f | %.2f | %s%.1f |\n", r.name.c_str(), r.size,
                r.analyzed ? "yes" : "no", r.engine.wall, r.idiomatic.wall, ratio, r.engine.cpu, r.idiomatic.cpu,
                cpuRatio, cpuRatio <= r.limit ? "" : "**over** ", r.limit);
  }
  return 0;
}

// A throw-away server (scripts/pg-test-server.sh) in a temporary directory,
// stopped and removed when this goes, also when the run fails.
class ThrowAwayServer {
 public:
  ThrowAwayServer() {
    char dir[] = "/tmp/vlqsb.XXXXXX";
    if (!mkdtemp(dir)) throw std::runtime_error("can't make a temporary directory");
    dir_ = dir;
    std::cerr << "starting a server in " << dir_ << " ..." << std::endl;
    const std::string out = Script("start");
    const std::size_t from = out.rfind("postgresql://");
    if (from == std::string::npos) {
      Script("stop");
      throw std::runtime_error("the server didn't start: " + out);
    }
    uri_ = out.substr(from, out.find_first_of("\r\n", from) - from);
  }
  ~ThrowAwayServer() {
    try {
      Script("stop");
    } catch (const std::exception& e) {
      std::cerr << "vlq_scale_bench: " << e.what() << " (the server in " << dir_ << " may still run)\n";
    }
  }
  ThrowAwayServer(const ThrowAwayServer&) = delete;
  ThrowAwayServer& operator=(const ThrowAwayServer&) = delete;

  const std::string& Uri() const { return uri_; }

 private:
  // The script's output (its messages on failure too).
  std::string Script(const std::string& command) const {
    const std::string line = "bash '" VLQ_SOURCE_DIR "/scripts/pg-test-server.sh' " + command + " '" + dir_ + "' 2>&1";
    FILE* pipe = popen(line.c_str(), "r");
    if (!pipe) throw std::runtime_error("can't run " + line);
    std::string out;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    if (pclose(pipe) != 0) throw std::runtime_error(line + " failed: " + out);
    return out;
  }

  std::string dir_;
  std::string uri_;
};

// What the comment on a schema says when it holds a finished copy.
std::string CopyMark(long size) { return "vlq_scale_bench: demo-" + std::to_string(size) + ", seed 1"; }

// Deletes the column statistics of the tables in the schemas. False when the
// login may not (it takes a superuser).
bool DropStatistics(vlq::platform::PgConnection& conn, const std::vector<std::string>& schemas) {
  try {
    for (const std::string& schema : schemas) {
      conn.Exec(
          "DELETE FROM pg_statistic WHERE starelid IN (SELECT c.oid FROM pg_class c JOIN pg_namespace n "
          "ON n.oid = c.relnamespace WHERE n.nspname = $1)",
          "vlq_scale_bench", {schema});
    }
    return true;
  } catch (const vlq::Failure&) {
    return false;
  }
}

bool HasStatistics(vlq::platform::PgConnection& conn, const std::vector<std::string>& schemas) {
  for (const std::string& schema : schemas) {
    if (conn.Exec("SELECT 1 FROM pg_stats WHERE schemaname = $1 LIMIT 1", "vlq_scale_bench", {schema}).RowCount() > 0) {
      return true;
    }
  }
  return false;
}

// Copies the demo project of the size and its external project into the
// schemas, with autovacuum off for every table but the work tables, and marks
// the copy finished.
void CopyDemo(const Options& o, long size, const vlq::platform::ServerLocation& at, const std::string& extSchema,
              vlq::platform::PgConnection& conn) {
  const std::filesystem::path file = DemoFile(o, size);
  std::cerr << "copying " << file << " to the schema " << at.Schema << " ..." << std::endl;
  const auto copied = vlq::platform::CopyProject(file.string(), at.Uri(), {.Replace = true});
  if (copied.size() != 2 || vlq::platform::ParseServerLocation(copied[1].To).Schema != extSchema) {
    throw std::runtime_error("the external project didn't go to the schema " + extSchema);
  }
  for (const std::string& schema : {at.Schema, extSchema}) {
    for (const auto& table : vlq::platform::schema::Tables()) {
      if (table.WorkTable) continue;
      conn.Exec("ALTER TABLE " + vlq::platform::PgQuoted(schema) + "." + std::string(table.Name) +
                    " SET (autovacuum_enabled = off, toast.autovacuum_enabled = off)",
                "vlq_scale_bench");
    }
  }
  conn.Exec("COMMENT ON SCHEMA " + vlq::platform::PgQuoted(at.Schema) + " IS '" + CopyMark(size) + "'",
            "vlq_scale_bench");
}

std::string Fixed(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

int RunOnServer(const Options& o) {
  std::unique_ptr<ThrowAwayServer> own;
  if (o.serverUri.empty()) own = std::make_unique<ThrowAwayServer>();
  if (o.timeout > 0) {
    // libpq hands these to every connection of this process, the engine's too.
    const char* options = std::getenv("PGOPTIONS");
    const std::string all =
        std::string(options ? options : "") + " -c statement_timeout=" + std::to_string(o.timeout * 1000);
    setenv("PGOPTIONS", all.c_str(), 1);
  }
  const vlq::platform::ServerLocation server = vlq::platform::ParseServerLocation(own ? own->Uri() : o.serverUri);
  std::vector<Row> table;
  for (long size : o.sizes) {
    const vlq::platform::ServerLocation at = server.WithSchema("scale_" + std::to_string(size));
    const std::string extSchema = at.Schema + "_ext";
    const std::vector<std::string> schemas{at.Schema, extSchema};
    RawServer raw(at);
    vlq::platform::PgConnection& conn = raw.Connection();
    const vlq::platform::PgResult mark =
        conn.Exec("SELECT obj_description(oid, 'pg_namespace') FROM pg_namespace WHERE nspname = $1", "vlq_scale_bench",
                  {at.Schema});
    if (mark.RowCount() != 1 || mark.Text(0, 0) != CopyMark(size)) {
      CopyDemo(o, size, at, extSchema, conn);
    } else if (!DropStatistics(conn, schemas) && HasStatistics(conn, schemas)) {
      // Statistics of an earlier run that this login can't delete.
      CopyDemo(o, size, at, extSchema, conn);
    }
    const vlq::platform::PgResult textSchema = conn.Exec(
        "SELECT n.nspname FROM pg_extension e JOIN pg_namespace n ON n.oid = e.extnamespace "
        "WHERE e.extname = 'citext'",
        "vlq_scale_bench");
    vlq::platform::UsePgSchema(conn, at.Schema, textSchema.Text(0, 0));

    auto manager = vlq::platform::StoreProjectManager::Create();
    const std::shared_ptr<vlq::Project> project = manager->Open(at.Uri(), "");
    for (bool analyzed : {false, true}) {
      if (analyzed) {
        if (!o.analyze) break;
        // The server plans each statement anew: the engine's open project
        // sees the statistics without reopening.
        for (const std::string& schema : schemas) {
          for (const auto& t : vlq::platform::schema::Tables()) {
            conn.Exec("ANALYZE " + vlq::platform::PgQuoted(schema) + "." + std::string(t.Name), "vlq_scale_bench");
          }
        }
      }
      if (!MeasureQueries(o, size, analyzed, project, raw, true, extSchema, table)) return 1;
    }
    DropStatistics(conn, schemas);
  }
  // The server's CPU time is out of sight: the goal is judged on wall-clock time.
  std::printf("| Query | N | ANALYZE | engine ms | idiomatic PostgreSQL ms | ratio | engine client CPU ms | goal |\n");
  std::printf("|---|---:|---|---:|---:|---:|---:|---:|\n");
  // A side that ran out of time counts as the limit: the ratio is a bound.
  const double limitMs = o.timeout * 1000.0;
  for (const Row& r : table) {
    const double engineMs = r.engineOut ? limitMs : r.engine.wall;
    const double idiomaticMs = r.idiomaticOut ? limitMs : r.idiomatic.wall;
    const double ratio = engineMs / std::max(idiomaticMs, 0.01);
    const auto ms = [](bool out, double t) { return (out ? "> " : "") + Fixed(t, 1); };
    const char* bound = r.engineOut ? "> " : r.idiomaticOut ? "< " : "";
    std::printf("| %s | %ld | %s | %s | %s | %s%.2f | %s | %s%.1f |\n", r.name.c_str(), r.size,
                r.analyzed ? "yes" : "no", ms(r.engineOut, engineMs).c_str(), ms(r.idiomaticOut, idiomaticMs).c_str(),
                bound, ratio, r.engineOut ? "" : Fixed(r.engine.cpu, 1).c_str(),
                ratio <= r.limit && !r.engineOut ? "" : "**over** ", r.limit);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  const Options o = Parse(argc, argv);
  return o.server ? RunOnServer(o) : RunOnFiles(o);
} catch (const std::exception& e) {
  std::cerr << "vlq_scale_bench: " << e.what() << '\n';
  return 2;
}
