#include "demo_project.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "model/date_serial.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"

namespace vlq::tools {
namespace {

constexpr const char* kSource = "vlquery demo";

// ---- Random numbers that are the same everywhere -----------------------------
//
// std::mt19937 and std::seed_seq are fully specified by the standard; the
// standard distributions are not, so the draws below are our own. Each part
// of the project has its own stream, so that a change in one part leaves the
// others as they were.
class DemoRandom {
 public:
  DemoRandom(std::uint64_t seed, std::uint32_t stream) {
    std::seed_seq seq{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32), stream};
    engine_.seed(seq);
  }

  // Uniform in [0, n), by rejection so that no value is favoured.
  std::uint32_t Below(std::uint32_t n) {
    if (n <= 1) return 0;
    constexpr std::uint64_t kRange = std::uint64_t{1} << 32;
    const std::uint64_t limit = kRange - kRange % n;
    std::uint64_t r = engine_();
    while (r >= limit) r = engine_();
    return static_cast<std::uint32_t>(r % n);
  }
  // Uniform in [lo, hi].
  long Between(long lo, long hi) { return lo + static_cast<long>(Below(static_cast<std::uint32_t>(hi - lo + 1))); }
  // Uniform in [0, 1) with 32 bits.
  double Unit() { return static_cast<double>(engine_()) / 4294967296.0; }
  bool Chance(double p) { return Unit() < p; }
  template <class T>
  const T& Pick(const std::vector<T>& items) {
    return items[Below(static_cast<std::uint32_t>(items.size()))];
  }

  std::string Guid() {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string text = "{";
    for (int i = 0; i < 32; ++i) {
      if (i == 8 || i == 12 || i == 16 || i == 20) text += '-';
      text += kHex[Below(16)];
    }
    text += '}';
    return text;
  }

 private:
  std::mt19937 engine_;
};

enum Stream : std::uint32_t {
  kStreamStructure = 1,
  kStreamTree,
  kStreamRequirements,
  kStreamTraces,
  kStreamDiscussions,
  kStreamExternal,
};

// ---- Dates as the store holds them --------------------------------------------

CivilDateTime CivilFromDays(std::int64_t days) {
  // Days since 1970-01-01 to the civil date of the proleptic Gregorian calendar.
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t doe = days - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  CivilDateTime civil;
  civil.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  civil.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  civil.year = static_cast<int>(yoe + era * 400 + (civil.month <= 2 ? 1 : 0));
  return civil;
}

// "YYYY-MM-DD HH:MM:SS" of a moment given in seconds since 1970-01-01.
std::string IsoDateTime(std::int64_t seconds) {
  const std::int64_t days = seconds / 86400;
  const std::int64_t rest = seconds % 86400;
  const CivilDateTime c = CivilFromDays(days);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", c.year, c.month, c.day,
                static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  return buffer;
}

// A working-hours moment between 2019 and the end of 2024.
std::int64_t RandomMoment(DemoRandom& rng) {
  static const std::int64_t kStart = date_serial::DaysFromCivil(2019, 1, 1);
  const std::int64_t day = kStart + rng.Below(6 * 365);
  return day * 86400 + rng.Between(7 * 3600, 19 * 3600);
}

// ---- The structure of the two projects ------------------------------------------

struct AttrDef {
  long Key;
  const char* Label;
  int DataType;
  std::vector<const char*> Items;  // list items; for text attributes the pool of values
  double Fill;                     // the share of requirements that have a value
  long Low = 0, High = 0;          // whole numbers: the range
};

struct TypeDef {
  long Key;
  const char* Prefix;
  const char* Name;
  int Weight;  // share of the requirements, in percent
  long Document;
  std::vector<AttrDef> Attrs;
};

const std::vector<const char*> kPriorities{"High", "Medium", "Low"};
const std::vector<const char*> kStates{"Proposed", "Approved", "Implemented", "Verified", "Rejected"};
const std::vector<const char*> kPlatforms{"Linux", "Windows", "macOS", "Android", "iOS"};
const std::vector<const char*> kComponents{"User interface", "Storage", "Reporting", "Networking", "Security"};

std::vector<TypeDef> MainTypes() {
  return {
      {1, "PR", "Product requirement", 15, 1,
       {{10, "Priority", 0, kPriorities, 0.9},
        {11, "Status", 0, kStates, 0.95},
        {12, "Difficulty", 2, {}, 0.7, 1, 5},
        {13, "Cost", 3, {}, 0.6},
        {14, "Due Date", 4, {}, 0.6},
        {15, "Platforms", 10, kPlatforms, 0.7},
        {16, "Source", 1, {"Customer workshop", "Market analysis", "Regulation", "Support ticket", "Competitor review"},
         0.5}}},
      {2, "FEAT", "Feature", 20, 2,
       {{20, "Priority", 0, kPriorities, 0.9},
        {21, "Status", 0, kStates, 0.95},
        {22, "Difficulty", 2, {}, 0.8, 1, 5},
        {23, "Release", 1, {"1.0", "1.1", "2.0", "2.1", "3.0"}, 0.7},
        {24, "Effort", 3, {}, 0.6},
        {25, "Components", 10, kComponents, 0.8},
        {26, "Review Time", 5, {}, 0.4}}},
      {3, "SR", "Software requirement", 40, 3,
       {{30, "Priority", 0, kPriorities, 0.85},
        {31, "Status", 0, kStates, 0.95},
        {32, "Stability", 0, {"Stable", "Volatile", "Unknown"}, 0.6},
        {33, "Due Date", 4, {}, 0.5},
        {34, "Components", 10, kComponents, 0.8},
        {35, "Risk", 2, {}, 0.6, 1, 10},
        {36, "Origin", 1,
         {"Architecture review", "Safety analysis", "Performance test", "Security audit", "Customer request"}, 0.5},
        {37, "Effort", 3, {}, 0.5}}},
      {4, "TC", "Test case", 25, 4,
       {{40, "Status", 0, {"Draft", "Ready", "Obsolete"}, 0.95},
        {41, "Result", 0, {"Passed", "Failed", "Blocked", "Not run"}, 0.8},
        {42, "Last Run", 4, {}, 0.6},
        {43, "Start Time", 5, {}, 0.6},
        {44, "Environments", 10, kPlatforms, 0.7},
        {45, "Steps", 2, {}, 0.8, 1, 40},
        {46, "Procedure", 1, {"Automated nightly", "Manual", "Exploratory", "Regression suite"}, 0.7}}},
  };
}

std::vector<TypeDef> ExtTypes() {
  return {
      {1, "PR", "Platform requirement", 60, 1,
       {{10, "Priority", 0, kPriorities, 0.9},
        {11, "Status", 0, {"Proposed", "Approved", "Released"}, 0.9},
        {12, "Vendor", 1, {"Northwind Systems", "Bluefield Labs", "Orbit Devices"}, 0.7}}},
      {2, "IF", "Interface requirement", 40, 1,
       {{20, "Priority", 0, kPriorities, 0.9},
        {21, "Protocol", 1, {"REST", "MQTT", "Serial", "CAN"}, 0.8},
        {22, "Version", 3, {}, 0.6}}},
  };
}

struct UserDef {
  long Key;
  const char* Name;
  long Group;
  bool Privileged;
};

// The user with the lowest key is the tool's default user: an ordinary one, so
// that discussion queries show the restrictions at work.
const std::vector<UserDef> kUsers{
    {1, "Ann Baker", 1, false},  {2, "Carl Diaz", 2, false}, {3, "Eva Fischer", 3, true},
    {4, "Gus Hall", 1, false},   {5, "Ida Jones", 2, false}, {6, "Kim Lee", 1, false},
    {7, "Max Novak", 4, false},  {8, "Olga Perez", 3, false},
};
const std::vector<std::pair<long, const char*>> kGroups{
    {1, "Engineering"}, {2, "Quality"}, {3, "Management"}, {4, "Customers"}};
const std::vector<std::pair<long, const char*>> kMainDocuments{
    {1, "Product Brief"}, {2, "Feature Catalogue"}, {3, "Software Design"},
    {4, "Test Plan"},             {5, "Release Notes"}};
const std::vector<std::pair<long, const char*>> kPackages{{1, "Release 1.0"},   {2, "Release 2.0"},
                                                          {3, "Release 3.0"},   {4, "Safety case"},
                                                          {5, "Security review"}, {6, "Backlog"}};

// ---- Words of the generated texts --------------------------------------------------

const std::vector<const char*> kNouns{
    "login",          "audit logging",  "report export",   "user profile",   "search",
    "backup",         "catalog import", "notification",    "session timeout", "password reset",
    "dashboard",      "data import",    "access control",  "printing",       "license check",
    "error log",      "configuration",  "synchronisation", "help system",    "installer"};
const std::vector<const char*> kQualifiers{"Secure",   "Fast",       "Offline",    "Configurable", "Automatic",
                                           "Multi-user", "Localised", "Accessible", "Scalable",     "Reliable"};
const std::vector<const char*> kVerbs{"support", "log", "validate", "display", "encrypt", "store", "export", "restore"};
const std::vector<const char*> kConditions{"within 2 seconds",          "for every user",
                                           "when the network is down",  "according to the style guide",
                                           "without loss of data",      "in all supported languages"};
const std::vector<const char*> kScenarios{"with valid input", "with invalid input", "under load",
                                          "after a restart",  "with an empty database"};
const std::vector<const char*> kReasons{"Initial version",    "Review comments",   "Customer change request",
                                        "Clarified wording",  "Split from parent", "Test feedback",
                                        "Regulatory update"};
const std::vector<const char*> kSubjects{"Question about",  "Clarify", "Conflict in",     "Proposal for",
                                         "Test failure in", "Wording of", "Estimate for"};
const std::vector<const char*> kReplies{"Agreed.", "See the updated text.", "Needs a decision in the next review.",
                                        "Checked with the customer.", "The log shows the same.",
                                        "Closed after the release."};

// ---- SQLite with failures as the platform reports them ------------------------------

struct SqlNull {};

class Statement {
 public:
  Statement(sqlite3* db, std::string sql) : db_(db), sql_(std::move(sql)) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql_.c_str(), -1, &stmt, nullptr) != SQLITE_OK) Fail();
    stmt_.reset(stmt);
  }

  template <class... Args>
  void Run(const Args&... args) {
    int index = 0;
    (Bind(++index, args), ...);
    if (sqlite3_step(stmt_.get()) != SQLITE_DONE) Fail();
    sqlite3_reset(stmt_.get());
  }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* stmt) const { sqlite3_finalize(stmt); }
  };

  template <class T>
    requires std::is_integral_v<T>
  void Bind(int index, T value) {
    sqlite3_bind_int64(stmt_.get(), index, static_cast<sqlite3_int64>(value));
  }
  void Bind(int index, double value) { sqlite3_bind_double(stmt_.get(), index, value); }
  void Bind(int index, std::string_view value) {
    sqlite3_bind_text(stmt_.get(), index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
  }
  void Bind(int index, const std::string& value) { Bind(index, std::string_view(value)); }
  void Bind(int index, const char* value) { Bind(index, std::string_view(value)); }
  void Bind(int index, SqlNull) { sqlite3_bind_null(stmt_.get(), index); }
  template <class T>
  void Bind(int index, const std::optional<T>& value) {
    if (value) Bind(index, *value);
    else Bind(index, SqlNull{});
  }

  [[noreturn]] void Fail() const {
    throw Failure(sqlite3_extended_errcode(db_), kSource, std::string(sqlite3_errmsg(db_)) + " in: " + sql_);
  }

  sqlite3* db_;
  std::string sql_;
  std::unique_ptr<sqlite3_stmt, Finalizer> stmt_;
};

class Database {
 public:
  explicit Database(const std::filesystem::path& file) {
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    db_.reset(db);
    if (rc != SQLITE_OK) {
      throw Failure(rc, kSource, "cannot open " + file.string() + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
    }
    sqlite3_busy_timeout(db_.get(), 10000);
  }

  sqlite3* Handle() const { return db_.get(); }

  void Exec(const std::string& sql) {
    char* message = nullptr;
    if (sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
      std::string text = message ? message : sqlite3_errmsg(db_.get());
      sqlite3_free(message);
      throw Failure(sqlite3_extended_errcode(db_.get()), kSource, text + " in: " + sql);
    }
  }

  Statement Prepare(std::string sql) { return Statement(db_.get(), std::move(sql)); }

 private:
  struct Closer {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
  };
  std::unique_ptr<sqlite3, Closer> db_;
};

// ---- Progress --------------------------------------------------------------------

class Progress {
 public:
  Progress(const DemoOptions& options, std::string phase, long total)
      : report_(options.Progress), phase_(std::move(phase)), total_(total), step_(std::max(1L, total / 200)) {
    Tell(0);
  }
  void Step(long done) {
    if (done % step_ == 0) Tell(done);
  }
  ~Progress() { Tell(total_); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Tell(long done) {
    if (!report_ || done == told_) return;
    told_ = done;
    report_(phase_, done, total_);
  }
  const std::function<void(const std::string&, long, long)>& report_;
  std::string phase_;
  long total_;
  long step_;
  long told_ = -1;
};

// ---- The writer ----------------------------------------------------------------------

struct ListItemRow {
  long Key;
  long Rank;
};

struct Structure {
  std::vector<TypeDef> Types;
  // Per attribute key: its list items (key and rank) in rank order.
  std::vector<std::pair<long, std::vector<ListItemRow>>> Items;

  const std::vector<ListItemRow>& ItemsOf(long attrKey) const {
    for (const auto& [key, items] : Items)
      if (key == attrKey) return items;
    static const std::vector<ListItemRow> kNone;
    return kNone;
  }
};

// Requirement types, attributes with their list items, users, groups and
// documents of one project.
Structure WriteStructure(Database& db, DemoRandom& rng, std::vector<TypeDef> types,
                         const std::vector<std::pair<long, const char*>>& documents) {
  Structure structure;
  structure.Types = std::move(types);
  auto typeRow = db.Prepare("INSERT INTO VLREQUIREMENTTYPES (ID, PREFIX, NAME, GUID) VALUES (?, ?, ?, ?)");
  auto attrRow =
      db.Prepare("INSERT INTO VLATTRIBUTES (ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE) VALUES (?, ?, ?, ?, ?)");
  auto itemRow = db.Prepare(
      "INSERT INTO VLUSERDEFINEDLISTITEMS (FIELDID, ITEMID, ITEMRANK, ITEMTEXT, GUID) VALUES (?, ?, ?, ?, ?)");
  long nextItem = 100;
  for (const TypeDef& type : structure.Types) {
    typeRow.Run(type.Key, type.Prefix, type.Name, rng.Guid());
    for (const AttrDef& attr : type.Attrs) {
      attrRow.Run(attr.Key, type.Key, attr.Label, rng.Guid(), attr.DataType);
      if (attr.DataType != 0 && attr.DataType != 10) continue;
      std::vector<ListItemRow> items;
      long rank = 1;
      for (const char* text : attr.Items) {
        itemRow.Run(attr.Key, nextItem, rank, text, rng.Guid());
        items.push_back({nextItem++, rank++});
      }
      structure.Items.emplace_back(attr.Key, std::move(items));
    }
  }

  auto groupRow = db.Prepare("INSERT INTO VLGROUPS (ID, NAME) VALUES (?, ?)");
  for (const auto& [key, name] : kGroups) groupRow.Run(key, name);
  auto userRow = db.Prepare("INSERT INTO VLUSERS (ID, FULLNAME, GUID, GROUPID, PRIVILEGED) VALUES (?, ?, ?, ?, ?)");
  for (const UserDef& user : kUsers) userRow.Run(user.Key, user.Name, rng.Guid(), user.Group, user.Privileged ? 1 : 0);
  auto documentRow = db.Prepare("INSERT INTO VLDOCUMENTS (ID, NAME, GUID) VALUES (?, ?, ?)");
  for (const auto& [key, name] : documents) documentRow.Run(key, name, rng.Guid());
  return structure;
}

// One requirement's place: its type and its position in its type's tree.
struct Node {
  std::int32_t Parent = -1;  // index of the parent node, -1 for a root
  std::int32_t Number = 0;   // its number among its siblings (roots: among the roots)
  std::uint8_t Type = 0;
  std::uint8_t Depth = 1;
};

// The requirements of a project, numbered 1..count in the order of creation,
// each of a type drawn by weight and placed under an earlier requirement of
// the same type (or as a new root), up to four levels deep.
std::vector<Node> MakeTree(DemoRandom& rng, const std::vector<TypeDef>& types, long count) {
  constexpr std::uint8_t kMaxDepth = 4;
  int weights = 0;
  for (const TypeDef& type : types) weights += type.Weight;
  std::vector<Node> nodes;
  nodes.reserve(static_cast<std::size_t>(count));
  std::vector<std::int32_t> childCount;
  childCount.reserve(static_cast<std::size_t>(count));
  std::vector<std::vector<std::int32_t>> eligible(types.size());  // nodes that may take children
  std::vector<std::int32_t> roots(types.size(), 0);
  for (long i = 0; i < count; ++i) {
    // Every type gets its first requirement early, so that small projects
    // have all of them.
    std::size_t type = 0;
    if (static_cast<std::size_t>(i) < types.size()) {
      type = static_cast<std::size_t>(i);
    } else {
      long draw = rng.Below(static_cast<std::uint32_t>(weights));
      while (draw >= types[type].Weight) draw -= types[type].Weight, ++type;
    }
    Node node;
    node.Type = static_cast<std::uint8_t>(type);
    if (eligible[type].empty() || rng.Chance(0.15)) {
      node.Number = ++roots[type];
    } else {
      const std::int32_t parent = rng.Pick(eligible[type]);
      node.Parent = parent;
      node.Number = ++childCount[static_cast<std::size_t>(parent)];
      node.Depth = static_cast<std::uint8_t>(nodes[static_cast<std::size_t>(parent)].Depth + 1);
    }
    const auto index = static_cast<std::int32_t>(nodes.size());
    nodes.push_back(node);
    childCount.push_back(0);
    if (node.Depth < kMaxDepth) eligible[type].push_back(index);
  }
  return nodes;
}

// LONGTAGNUMBER: ten zero-padded digits per level, root first.
std::string LongTag(const std::vector<Node>& nodes, std::int32_t index) {
  std::array<std::int32_t, 8> path{};
  int depth = 0;
  for (std::int32_t at = index; at >= 0; at = nodes[static_cast<std::size_t>(at)].Parent)
    path[static_cast<std::size_t>(depth++)] = nodes[static_cast<std::size_t>(at)].Number;
  std::string tag;
  char group[16];
  while (depth > 0) {
    std::snprintf(group, sizeof group, "%010d", static_cast<int>(path[static_cast<std::size_t>(--depth)]));
    tag += group;
  }
  return tag;
}

std::string RequirementName(DemoRandom& rng, const TypeDef& type) {
  const std::string noun = rng.Pick(kNouns);
  if (std::string_view(type.Prefix) == "TC") return "Check " + noun + " " + rng.Pick(kScenarios);
  return std::string(rng.Pick(kQualifiers)) + " " + noun;
}

std::string RequirementText(DemoRandom& rng, const TypeDef& type) {
  const std::string noun = rng.Pick(kNouns);
  if (std::string_view(type.Prefix) == "TC") {
    return "Run the " + noun + " " + rng.Pick(kScenarios) + " and compare the result with the log of the last run.";
  }
  // One draw per statement: the operands of a call or an operator may be
  // evaluated in any order, and the project must not depend on the compiler.
  const std::string verb = rng.Pick(kVerbs);
  const std::string condition = rng.Pick(kConditions);
  return "The system shall " + verb + " the " + noun + " " + condition + ".";
}

// Writes the requirements, their attribute values, project membership and
// package elements. suspectSince holds, per requirement, the moment from which
// one of its incoming traces is suspect (0: none).
void WriteRequirements(Database& db, DemoRandom& rng, const Structure& structure, const std::vector<Node>& nodes,
                       long projectKey, const std::vector<std::int64_t>& suspectSince, bool withPackages,
                       const DemoOptions& options, const std::string& phase) {
  auto reqRow = db.Prepare(
      "INSERT INTO VLREQUIREMENTS (ID, REQUIREMENTTYPEID, REQUIREMENTNAME, REQUIREMENTTEXT, REQUIREMENTPREFIX, "
      "LONGTAGNUMBER, VERSIONNUMBER, VERSIONDATETIME, VERSIONREASON, VERSIONUSERID, SUSPECTDATETIME, "
      "BOOKMARKDOCUMENTID, BOOKMARKNAME, DOCUMENTPOSITION, FLAGS) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  auto memberRow = db.Prepare("INSERT INTO VLPROJECTREQUIREMENTS (PROJECTID, REQUIREMENTID) VALUES (?, ?)");
  auto listRow =
      db.Prepare("INSERT INTO VLUSERDEFINEDLISTVALUES (REQUIREMENTID, FIELDID, LISTITEMID) VALUES (?, ?, ?)");
  auto valueRow =
      db.Prepare("INSERT INTO VLUSERDEFINEDFIELDVALUES (REQUIREMENTID, FIELDID, FIELDVALUE) VALUES (?, ?, ?)");
  auto packageRow = db.Prepare("INSERT INTO VLPACKAGEELEMENTS (PACKAGEID, REQUIREMENTID) VALUES (?, ?)");

  static const std::int64_t kDueStart = date_serial::DaysFromCivil(2020, 1, 1) - date_serial::DaysFromCivil(1901, 1, 1);
  std::vector<long> documentPosition(16, 0);
  Progress progress(options, phase, static_cast<long>(nodes.size()));
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const long id = static_cast<long>(i) + 1;
    const TypeDef& type = structure.Types[nodes[i].Type];
    const std::int64_t versionAt = RandomMoment(rng);
    const long author = rng.Pick(kUsers).Key;
    const bool inDocument = rng.Chance(0.7);
    long flags = 0;
    if (inDocument && rng.Chance(0.2)) flags = std::array<long, 4>{1, 4, 16, 5}[rng.Below(4)];
    if (!inDocument && rng.Chance(0.05)) flags = 2;
    const std::string name = RequirementName(rng, type);
    const std::string text = RequirementText(rng, type);
    const long revision = rng.Between(1, 12);
    const char* reason = rng.Chance(0.9) ? rng.Pick(kReasons) : nullptr;

    const std::int64_t suspect = suspectSince[i];
    const long position = inDocument ? ++documentPosition[static_cast<std::size_t>(type.Document)] : 0;
    using Text = std::optional<std::string>;
    using Whole = std::optional<long>;
    reqRow.Run(id, type.Key, name, text, type.Prefix, LongTag(nodes, static_cast<std::int32_t>(i)), revision,
               IsoDateTime(versionAt), reason ? Text(reason) : Text(),
               author, suspect > 0 ? Text(IsoDateTime(std::max(suspect, versionAt + 3600))) : Text(),
               inDocument ? type.Document : 0L,
               inDocument ? Text(std::string("VL") + type.Prefix + std::to_string(id)) : Text(),
               inDocument ? Whole(position) : Whole(), flags);
    memberRow.Run(projectKey, id);

    for (const AttrDef& attr : type.Attrs) {
      if (!rng.Chance(attr.Fill)) continue;
      switch (attr.DataType) {
        case 0: {
          const auto& items = structure.ItemsOf(attr.Key);
          // Lower ranks are the more common choice, as in real projects.
          const std::size_t pick = std::min(rng.Below(static_cast<std::uint32_t>(items.size())),
                                            rng.Below(static_cast<std::uint32_t>(items.size())));
          listRow.Run(id, attr.Key, items[pick].Key);
          break;
        }
        case 10: {
          const auto& items = structure.ItemsOf(attr.Key);
          const long chosen = rng.Between(1, 3);
          std::uint32_t mask = 0;
          for (long c = 0; c < chosen; ++c) mask |= 1u << rng.Below(static_cast<std::uint32_t>(items.size()));
          for (std::size_t k = 0; k < items.size(); ++k)
            if (mask & (1u << k)) listRow.Run(id, attr.Key, items[k].Key);
          break;
        }
        case 1:
          valueRow.Run(id, attr.Key, rng.Pick(attr.Items));
          break;
        case 2:
          valueRow.Run(id, attr.Key, rng.Between(attr.Low, attr.High));
          break;
        case 3:
          valueRow.Run(id, attr.Key, static_cast<double>(rng.Between(5, 25000)) / 100.0);
          break;
        case 4:
          valueRow.Run(id, attr.Key, kDueStart + rng.Below(7 * 365));
          break;
        case 5:
          valueRow.Run(id, attr.Key, 8 * 3600 + 300 * rng.Below(10 * 12));
          break;
        default:
          break;
      }
    }

    if (withPackages && rng.Chance(0.3)) {
      const long first = rng.Pick(kPackages).first;
      packageRow.Run(first, id);
      if (rng.Chance(0.15)) {
        const long second = rng.Pick(kPackages).first;
        if (second != first) packageRow.Run(second, id);
      }
    }
    progress.Step(id);
  }
}

struct Trace {
  long From;
  long To;
  long ToProject;  // 0: this project, else the RelKey of an external project
  int State;
};

// The traces of the main project: chains from product requirements through
// features and software requirements to test cases, some lateral traces, a
// few cycles among software requirements, and traces into the external
// project. Marks the requirements that a suspect trace leads to.
std::vector<Trace> MakeTraces(DemoRandom& rng, const std::vector<Node>& nodes, long extRequirements, long extRelKey,
                              std::vector<std::int64_t>& suspectSince) {
  std::vector<std::vector<long>> byType(4);
  for (std::size_t i = 0; i < nodes.size(); ++i) byType[nodes[i].Type].push_back(static_cast<long>(i) + 1);
  std::vector<Trace> traces;
  std::set<std::pair<long, long>> sameType;  // traces between requirements of one type, kept unique

  auto add = [&](long from, long to, long toProject) {
    const int state = rng.Chance(0.08) ? 1 : 0;
    traces.push_back({from, to, toProject, state});
    if (state == 1 && toProject == 0) {
      auto& since = suspectSince[static_cast<std::size_t>(to - 1)];
      since = std::max<std::int64_t>(since, RandomMoment(rng));
    }
  };
  // Each requirement of a lower level is traced from one or two of the level
  // above: PR -> FEAT -> SR -> TC.
  for (std::size_t level = 1; level < byType.size(); ++level) {
    const auto& upper = byType[level - 1];
    if (upper.empty()) continue;
    const double share = level == 3 ? 0.95 : 0.9;
    for (long to : byType[level]) {
      if (!rng.Chance(share)) continue;
      const long first = rng.Pick(upper);
      add(first, to, 0);
      if (rng.Chance(0.3)) {
        const long second = rng.Pick(upper);
        if (second != first) add(second, to, 0);
      }
    }
  }
  // Product requirements derived from one another.
  const auto& products = byType[0];
  if (products.size() > 1) {
    for (long from : products) {
      if (!rng.Chance(0.05)) continue;
      const long to = rng.Pick(products);
      if (to != from && sameType.insert({from, to}).second) add(from, to, 0);
    }
  }
  // A few cycles of two or three software requirements.
  const auto& software = byType[2];
  if (software.size() >= 3) {
    const long cycles = 1 + static_cast<long>(nodes.size()) / 250;
    for (long c = 0; c < cycles; ++c) {
      std::vector<long> ring{rng.Pick(software)};
      const long length = rng.Between(2, 3);
      while (static_cast<long>(ring.size()) < length) {
        const long next = rng.Pick(software);
        if (std::find(ring.begin(), ring.end(), next) == ring.end()) ring.push_back(next);
      }
      for (std::size_t k = 0; k < ring.size(); ++k) {
        const long from = ring[k];
        const long to = ring[(k + 1) % ring.size()];
        if (sameType.insert({from, to}).second) add(from, to, 0);
      }
    }
  }
  // Software requirements that rest on requirements of the external project.
  if (extRequirements > 0 && !software.empty()) {
    const long wanted = std::max(3L, static_cast<long>(software.size()) / 33);
    std::set<std::pair<long, long>> seen;
    for (long k = 0; k < wanted; ++k) {
      const long from = rng.Pick(software);
      const long to = rng.Between(1, extRequirements);
      if (seen.insert({from, to}).second) add(from, to, extRelKey);
    }
  }
  return traces;
}

void WriteTraces(Database& db, const std::vector<Trace>& traces, const DemoOptions& options) {
  auto row = db.Prepare(
      "INSERT INTO VLTORELATIONSHIPS (REQUIREMENTID, TOID, EXTERNALPROJECTID, EXTERNALPROJECTTOID, TYPE, STATE) "
      "VALUES (?, ?, 0, ?, 0, ?)");
  Progress progress(options, "traces", static_cast<long>(traces.size()));
  long done = 0;
  for (const Trace& trace : traces) {
    row.Run(trace.From, trace.To, trace.ToProject, trace.State);
    progress.Step(++done);
  }
}

// Discussion threads on requirements: a head and a few responses each, some
// threads restricted to listed users and groups, and read marks.
long WriteDiscussions(Database& db, DemoRandom& rng, long projectKey, long requirements, const DemoOptions& options) {
  auto discussionRow = db.Prepare(
      "INSERT INTO VLDISCUSSIONS (ID, ROOTID, PARENTID, SUBJECT, AUTHORID, PRIORITY, STATUS, SUBMITDATETIME, "
      "RESTRICTED) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  auto projectRow = db.Prepare("INSERT INTO VLPROJECTDISCUSSIONS (PROJECTID, DISCUSSIONID) VALUES (?, ?)");
  auto requirementRow =
      db.Prepare("INSERT INTO VLDISCUSSIONREQUIREMENTS (DISCUSSIONID, REQUIREMENTID) VALUES (?, ?)");
  auto userRow = db.Prepare("INSERT INTO VLDISCUSSIONUSERS (DISCUSSIONID, USERID) VALUES (?, ?)");
  auto groupRow = db.Prepare("INSERT INTO VLDISCUSSIONGROUPS (DISCUSSIONID, GROUPID) VALUES (?, ?)");
  auto readRow = db.Prepare("INSERT INTO VLDISCUSSIONSREAD (DISCUSSIONID, USERID) VALUES (?, ?)");

  const long threads = std::max(5L, requirements / 5);
  long nextId = 1;
  Progress progress(options, "discussions", threads);
  for (long t = 1; t <= threads; ++t) {
    const long head = nextId++;
    // RESTRICTED above 0 opens a thread to everybody; 0 limits it to the
    // listed users and groups and the author.
    const int restricted = rng.Chance(0.2) ? 0 : 1;
    const long author = rng.Pick(kUsers).Key;
    std::int64_t at = RandomMoment(rng);
    const std::string topic = rng.Pick(kNouns);
    const long priority = rng.Between(1, 3);
    const long status = rng.Between(1, 2);
    discussionRow.Run(head, head, 0, std::string(rng.Pick(kSubjects)) + " " + topic, author, priority, status,
                      IsoDateTime(at), restricted);
    projectRow.Run(projectKey, head);
    const long requirement = rng.Between(1, requirements);
    requirementRow.Run(head, requirement);
    if (rng.Chance(0.2)) {
      const long other = rng.Between(1, requirements);
      if (other != requirement) requirementRow.Run(head, other);
    }
    if (restricted == 0) {
      const long firstUser = rng.Pick(kUsers).Key;
      userRow.Run(head, firstUser);
      if (rng.Chance(0.4)) {
        const long secondUser = rng.Pick(kUsers).Key;
        if (secondUser != firstUser) userRow.Run(head, secondUser);
      }
      if (rng.Chance(0.5)) groupRow.Run(head, rng.Pick(kGroups).first);
    }
    std::vector<long> messages{head};
    const long responses = rng.Between(0, 3);
    for (long r = 0; r < responses; ++r) {
      const long id = nextId++;
      const long parent = rng.Chance(0.7) ? messages.back() : head;
      at += rng.Between(600, 5 * 86400);
      const std::string reply = std::string("RE: ") + rng.Pick(kReplies);
      const long replyAuthor = rng.Pick(kUsers).Key;
      const long replyPriority = rng.Between(1, 3);
      const long replyStatus = rng.Between(1, 2);
      discussionRow.Run(id, head, parent, reply, replyAuthor, replyPriority, replyStatus, IsoDateTime(at),
                        restricted);
      messages.push_back(id);
    }
    for (long message : messages) {
      std::uint32_t readers = 0;
      const long marks = rng.Between(0, 3);
      for (long m = 0; m < marks; ++m) readers |= 1u << rng.Below(static_cast<std::uint32_t>(kUsers.size()));
      for (std::size_t u = 0; u < kUsers.size(); ++u)
        if (readers & (1u << u)) readRow.Run(message, kUsers[u].Key);
    }
    progress.Step(t);
  }
  return nextId - 1;
}

// Removes the files of a project that could not be finished.
class FileGuard {
 public:
  explicit FileGuard(std::filesystem::path file) : file_(std::move(file)) {}
  ~FileGuard() {
    if (keep_) return;
    std::error_code ignored;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
      std::filesystem::remove(std::filesystem::path(file_.string() + suffix), ignored);
  }
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  void Keep() { keep_ = true; }

 private:
  std::filesystem::path file_;
  bool keep_ = false;
};

void BeginBulkLoad(Database& db) {
  // One transaction per file; a demo file that fails is removed anyway, so the
  // load needs no syncs of its own.
  db.Exec("PRAGMA synchronous=OFF");
  db.Exec("PRAGMA cache_size=-65536");
  db.Exec("BEGIN IMMEDIATE");
  // The store's indexes go for the load and come back in one sorted pass
  // each when the schema is completed: far faster than keeping them up to
  // date row by row in a large project.
  std::vector<std::string> indexes;
  {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db.Handle(), "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL",
                           -1, &stmt, nullptr) == SQLITE_OK) {
      while (sqlite3_step(stmt) == SQLITE_ROW)
        indexes.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    }
    sqlite3_finalize(stmt);
  }
  for (const std::string& index : indexes) db.Exec("DROP INDEX \"" + index + "\"");
}

void EndBulkLoad(Database& db) {
  db.Exec("COMMIT");
  // Opening a project makes whatever of the schema is missing: the indexes
  // dropped for the load and the attribute views of the new attributes.
  platform::EnsureSchema(db.Handle());
}

}  // namespace

std::filesystem::path DemoExtFile(const std::filesystem::path& mainFile) {
  std::filesystem::path ext = mainFile;
  ext.replace_filename(mainFile.stem().string() + "-ext.vlp");
  return ext;
}

DemoSummary MakeDemoProject(const std::filesystem::path& file, const DemoOptions& options) {
  if (options.Requirements < 1) throw Failure(kUnexpectedFailureNumber, kSource, "a demo needs one requirement at least");
  DemoSummary summary;
  summary.MainFile = file;
  summary.ExtFile = DemoExtFile(file);
  for (const auto& path : {summary.MainFile, summary.ExtFile}) {
    if (std::filesystem::exists(path)) throw Failure(kUnexpectedFailureNumber, kSource, "file exists: " + path.string());
  }

  DemoRandom structureRng(options.Seed, kStreamStructure);
  const long mainKey = 1;
  const long extKey = 2;
  const long extRelKey = 1;
  const std::string mainGuid = structureRng.Guid();
  const std::string extGuid = structureRng.Guid();
  summary.Requirements = options.Requirements;
  summary.ExtRequirements = std::max(12L, options.Requirements / 20);

  // The external project first: the main project refers to it.
  FileGuard extGuard(summary.ExtFile);
  platform::CreateProjectFile(summary.ExtFile, {extKey, "EXT", "External components", extGuid});
  {
    DemoRandom rng(options.Seed, kStreamExternal);
    Database db(summary.ExtFile);
    BeginBulkLoad(db);
    const Structure structure = WriteStructure(db, rng, ExtTypes(), {{1, "Interface Control Document"}});
    const std::vector<Node> nodes = MakeTree(rng, structure.Types, summary.ExtRequirements);
    std::vector<std::int64_t> suspect(nodes.size(), 0);
    // Interface requirements rest on platform requirements.
    std::vector<Trace> traces;
    std::vector<long> platformReqs;
    for (std::size_t i = 0; i < nodes.size(); ++i)
      if (nodes[i].Type == 0) platformReqs.push_back(static_cast<long>(i) + 1);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (nodes[i].Type != 1 || platformReqs.empty() || !rng.Chance(0.8)) continue;
      const long id = static_cast<long>(i) + 1;
      const int state = rng.Chance(0.1) ? 1 : 0;
      traces.push_back({rng.Pick(platformReqs), id, 0, state});
      if (state == 1) suspect[i] = RandomMoment(rng);
    }
    WriteRequirements(db, rng, structure, nodes, extKey, suspect, false, options, "external requirements");
    WriteTraces(db, traces, options);
    EndBulkLoad(db);
  }

  FileGuard mainGuard(summary.MainFile);
  platform::CreateProjectFile(summary.MainFile, {mainKey, "DEMO", "Demo project", mainGuid});
  {
    Database db(summary.MainFile);
    BeginBulkLoad(db);
    DemoRandom rng(options.Seed, kStreamStructure);
    const Structure structure = WriteStructure(db, rng, MainTypes(), kMainDocuments);
    auto packageRow = db.Prepare("INSERT INTO VLPACKAGES (ID, NAME) VALUES (?, ?)");
    for (const auto& [key, name] : kPackages) packageRow.Run(key, name);
    auto extRow = db.Prepare(
        "INSERT INTO VLEXTERNALPROJECTS (RELKEY, PREFIX, GUID, PATH, FILENAME, ISDELETED) VALUES (?, ?, ?, ?, ?, ?)");
    extRow.Run(extRelKey, "EXT", extGuid, ".", summary.ExtFile.filename().string(), 0);
    // A reference to a project that was taken out of use long ago.
    extRow.Run(extRelKey + 1, "OLD", rng.Guid(), ".", "retired.vlp", 1);

    DemoRandom treeRng(options.Seed, kStreamTree);
    const std::vector<Node> nodes = MakeTree(treeRng, structure.Types, options.Requirements);
    std::vector<std::int64_t> suspect(nodes.size(), 0);
    DemoRandom traceRng(options.Seed, kStreamTraces);
    const std::vector<Trace> traces = MakeTraces(traceRng, nodes, summary.ExtRequirements, extRelKey, suspect);
    DemoRandom reqRng(options.Seed, kStreamRequirements);
    WriteRequirements(db, reqRng, structure, nodes, mainKey, suspect, true, options, "requirements");
    WriteTraces(db, traces, options);
    DemoRandom discussionRng(options.Seed, kStreamDiscussions);
    summary.Discussions = WriteDiscussions(db, discussionRng, mainKey, options.Requirements, options);
    summary.Traces = static_cast<long>(traces.size());
    EndBulkLoad(db);
  }
  mainGuard.Keep();
  extGuard.Keep();
  return summary;
}

}  // namespace vlq::tools
