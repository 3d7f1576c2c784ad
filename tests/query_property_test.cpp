// Random queries, valid and half-broken, over the demo project on real store
// files. For every query: the public operations never crash and answer with a
// known code; what Validate accepts, Fetch runs, with and without the
// hierarchy, and answers only with items of the queried type and project; no
// operation leaves work rows or changes data; every dialect agrees with the
// store's own on the result and writes statements of a sound form.
//
// VLQ_PROPERTY_SEED (default 1), VLQ_PROPERTY_FIRST (0) and
// VLQ_PROPERTY_QUERIES choose the queries; a failure prints what replays it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "demo_world.h"
#include "engine/query_engine.h"
#include "failure_book.h"
#include "query_generator.h"
#include "services/failure.h"
#include "sql_text_check.h"

namespace vlq::test {
namespace {

constexpr long kDefaultQueries = 2000;

std::uint64_t EnvNumber(const char* name, std::uint64_t fallback) {
  const char* text = std::getenv(name);
  if (!text || !*text) return fallback;
  return std::strtoull(text, nullptr, 10);
}

struct Budget {
  std::uint64_t Seed = EnvNumber("VLQ_PROPERTY_SEED", 1);
  std::uint64_t First = EnvNumber("VLQ_PROPERTY_FIRST", 0);
  std::uint64_t Queries = EnvNumber("VLQ_PROPERTY_QUERIES", kDefaultQueries);
};

const char* ReturnTypeName(enumQueryReturnTypes t) { return t == eBTDiscussions ? "discussions" : "requirements"; }
const char* ScopeName(QueryScope s) {
  return s == QueryScope::kDiscussion ? "discussions" : s == QueryScope::kProjectWide ? "project-wide" : "base type";
}
const char* LookupName(enumQueryLookupTypes t) {
  return t == eQLTByKey ? "key" : t == eQLTByGUID ? "guid" : "prefix";
}

bool IsKnownCode(enumQueryEngineError code) { return (code >= 0 && code <= 45) || code == 47; }

// What one call of a public operation gave.
struct Outcome {
  bool Threw = false;
  std::string Thrown;  // the failure's description, or what the exception said
  enumQueryEngineError Code = eQEENone;
  std::string Info;
  Rows Results;
};

Outcome Call(const std::function<enumQueryEngineError(std::string&, Rows&)>& operation) {
  Outcome out;
  try {
    out.Code = operation(out.Info, out.Results);
  } catch (const Failure& failure) {
    out.Threw = true;
    out.Thrown = failure.Source() + ": " + failure.Description();
  } catch (const std::exception& e) {
    out.Threw = true;
    out.Thrown = std::string("std::exception: ") + e.what();
  }
  return out;
}

std::vector<long> KeysOf(const Rows& rows, bool& nullKey) {
  std::vector<long> keys;
  if (rows.empty()) return keys;
  for (const Variant& cell : rows[0]) {
    if (cell.IsNull() || cell.IsEmpty()) {
      nullKey = true;
      continue;
    }
    keys.push_back(cell.IsWhole() ? static_cast<long>(cell.Whole()) : std::atol(cell.ToText().c_str()));
  }
  return keys;
}

class QueryProperty : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    world_ = new DemoWorld(120, 11);
    generator_ = new QueryGenerator(ReadVocabulary(world_->Own().Project));
  }
  static void TearDownTestSuite() {
    delete generator_;
    delete world_;
    generator_ = nullptr;
    world_ = nullptr;
  }

  // One query at a time, with what a failure report needs to replay it.
  struct Current {
    GeneratedQuery Query;
    std::string Replay;
    std::string Key;
  };

  Current Make(const Budget& run, std::uint64_t index) const {
    Current c;
    c.Query = generator_->Generate(run.Seed, index);
    c.Key = std::to_string(index);
    c.Replay = "VLQ_PROPERTY_SEED=" + std::to_string(run.Seed) + " VLQ_PROPERTY_FIRST=" + std::to_string(index) +
               " VLQ_PROPERTY_QUERIES=1 (" + ReturnTypeName(c.Query.ReturnType) + ", by " +
               LookupName(c.Query.LookupType) + "): " + c.Query.Text;
    return c;
  }

  void Note(const Current& c, const std::string& cls, const std::string& dialect, const std::string& detail) {
    book_.Add(cls, dialect, c.Key, c.Replay + (detail.empty() ? "" : "\n      " + FailureBook::OneLine(detail, 400)));
  }

  // Work tables empty after an operation, and the data as it was when the
  // operation wrote anything or now and then.
  void CheckAfter(const Current& c, const std::string& operation, const DemoWorld::Dialect& dialect, bool always) {
    std::string where;
    if (world_->WorkRows(&where) != 0) {
      Note(c, operation + " leaves rows in the work tables", dialect.Name(), where);
      CleanWorkTables();
    }
    bool wrote = always;
    for (const RecordedStatement& s : dialect.Project->Statements()) {
      const std::size_t at = s.sql.find_first_not_of(" \r\n\t");
      std::string head = at == std::string::npos ? "" : s.sql.substr(at, 6);
      for (char& ch : head) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
      if (head != "SELECT") wrote = true;
    }
    if (wrote) {
      const std::uint64_t now = world_->DataChecksum();
      if (now != checksum_) {
        Note(c, operation + " changes the data tables", dialect.Name(), "");
        checksum_ = now;
      }
    }
  }

  // Rows left by one query would be blamed on the next ones.
  void CleanWorkTables() { world_->ClearWorkTables(); }

  void CheckKeys(const Current& c, const std::string& operation, const Rows& rows) {
    bool nullKey = false;
    const std::vector<long> keys = KeysOf(rows, nullKey);
    if (nullKey) Note(c, operation + " answers with an empty key", "dbms 1", "");
    const GeneratedQuery& q = c.Query;
    for (long key : keys) {
      std::string wrong;
      if (q.Scope == QueryScope::kDiscussion) {
        if (!world_->IsDiscussionOf(q.BaseProjectKey, key)) wrong = "a discussion of another project";
      } else {
        const long type = world_->RequirementType(q.BaseExternal ? 1 : 0, q.BaseProjectKey, key);
        if (type == 0) {
          wrong = "a requirement of another project";
        } else if (q.Scope == QueryScope::kReqType && type != q.BaseTypeKey) {
          wrong = "a requirement of another type";
        }
      }
      if (!wrong.empty()) {
        Note(c, operation + " answers with " + wrong, "dbms 1", "key " + std::to_string(key));
        return;
      }
    }
  }

  void Report(const std::string& what, const Budget& run, long accepted) {
    std::cout << "[ property ] " << what << ": seed " << run.Seed << ", queries " << run.First << ".."
              << run.First + run.Queries - 1 << ", accepted by Validate " << accepted;
    if (!codes_.empty()) {
      std::cout << "; codes of Validate (code x queries):";
      for (const auto& [code, n] : codes_) std::cout << " " << code << "x" << n;
    }
    std::cout << "\n";
    if (!book_.Empty()) ADD_FAILURE() << what << "\n" << book_.Report(3);
  }

  static DemoWorld* world_;
  static QueryGenerator* generator_;
  FailureBook book_;
  std::map<int, long> codes_;
  std::uint64_t checksum_ = 0;
};

DemoWorld* QueryProperty::world_ = nullptr;
QueryGenerator* QueryProperty::generator_ = nullptr;

TEST_F(QueryProperty, AcceptedQueriesRunAndAnswerTruly) {
  const Budget run;
  checksum_ = world_->DataChecksum();
  DemoWorld::Dialect& own = world_->Own();
  QueryEngine engine;  // one engine for all queries, as a host keeps it
  long accepted = 0;
  for (std::uint64_t i = run.First; i < run.First + run.Queries; ++i) {
    const Current c = Make(run, i);
    const GeneratedQuery& q = c.Query;
    const auto project = std::static_pointer_cast<Project>(own.Project);
    std::shared_ptr<QueryDef> def;
    const bool periodic = i % 25 == 0;

    const auto operation = [&](const std::string& name, bool retain, const std::string& text) {
      own.Project->Statements().clear();
      Outcome out = Call([&](std::string& info, Rows& rows) -> enumQueryEngineError {
        if (name == "Build") return engine.Build(q.ReturnType, q.LookupType, project, text, info, def);
        if (name == "Validate2") return engine.Validate2(q.ReturnType, q.LookupType, project, text, info, def);
        if (name == "Validate") return engine.Validate(q.ReturnType, q.LookupType, project, text, info, def);
        return engine.Fetch(q.ReturnType, q.LookupType, project, text, info, rows, def, retain);
      });
      if (out.Threw) {
        Note(c, name + " throws: " + FailureBook::ClassOf(out.Thrown), own.Name(), out.Thrown.substr(0, 300));
      } else if (!IsKnownCode(out.Code)) {
        Note(c, name + " gives an unknown code", own.Name(), std::to_string(out.Code));
      } else if (out.Code != eQEENone && out.Info.empty()) {
        Note(c, name + " refuses without a message", own.Name(), std::to_string(out.Code));
      }
      // A statement that failed inside an operation that answered: the
      // answer was built on it.
      if (!out.Threw) {
        for (const RecordedStatement& st : own.Project->Statements()) {
          if (!st.failed) continue;
          Note(c, name + " answers although a statement failed: " + FailureBook::ClassOf(st.error), own.Name(),
               st.error.substr(0, 300));
          break;
        }
      }
      CheckAfter(c, name, own, periodic);
      return out;
    };

    operation("Build", false, q.Text);
    operation("Validate2", false, q.Text);
    const Outcome validated = operation("Validate", false, q.Text);
    ++codes_[validated.Threw ? -1 : validated.Code];
    if (validated.Threw || validated.Code != eQEENone) continue;
    ++accepted;

    const Outcome plain = operation("Fetch", false, q.Text);
    if (!plain.Threw && plain.Code != eQEENone) {
      Note(c, "Fetch refuses what Validate accepts", own.Name(), std::to_string(plain.Code) + ": " + plain.Info);
    }
    const Outcome tree = operation("Fetch with hierarchy", true, q.Text);
    if (!tree.Threw && tree.Code != eQEENone) {
      Note(c, "Fetch with hierarchy refuses what Validate accepts", own.Name(),
           std::to_string(tree.Code) + ": " + tree.Info);
    }
    if (q.Count || plain.Threw || plain.Code != eQEENone) continue;
    CheckKeys(c, "Fetch", plain.Results);
    {
      bool ignoredNull = false;
      const std::vector<long> keys = KeysOf(plain.Results, ignoredNull);
      if (std::set<long>(keys.begin(), keys.end()).size() != keys.size()) {
        Note(c, std::string("Fetch answers a key more than once (") + ScopeName(q.Scope) + ")", own.Name(), "");
      }
    }
    if (tree.Threw || tree.Code != eQEENone) continue;
    CheckKeys(c, "Fetch with hierarchy", tree.Results);
    bool ignored = false;
    const std::vector<long> hits = KeysOf(plain.Results, ignored);
    const std::vector<long> inTree = KeysOf(tree.Results, ignored);
    const std::set<long> treeSet(inTree.begin(), inTree.end());
    long missing = 0;
    for (long key : hits) missing += treeSet.count(key) == 0 ? 1 : 0;
    if (missing > 0) {
      Note(c,
           std::string("Fetch with hierarchy loses hits of a query (") + ScopeName(q.Scope) + ")" +
               (inTree.empty() ? ", answers nothing" : ""),
           own.Name(),
           std::to_string(missing) + " of " + std::to_string(hits.size()) + " hits missing");
    }
  }
  if (world_->DataChecksum() != checksum_) book_.Add("the data tables changed", "dbms 1", "end", "at the end");
  Report("accepted queries run and answer truly", run, accepted);
}

TEST_F(QueryProperty, CountIsTheNumberOfKeys) {
  const Budget run;
  DemoWorld::Dialect& own = world_->Own();
  QueryEngine engine;
  long accepted = 0;
  for (std::uint64_t i = run.First; i < run.First + run.Queries; ++i) {
    const Current c = Make(run, i);
    const GeneratedQuery& q = c.Query;
    if (!q.Count) continue;
    const auto project = std::static_pointer_cast<Project>(own.Project);
    std::shared_ptr<QueryDef> def;
    const auto fetch = [&](const std::string& text, bool retain) {
      return Call([&](std::string& info, Rows& rows) {
        return engine.Fetch(q.ReturnType, q.LookupType, project, text, info, rows, def, retain);
      });
    };
    const Outcome counted = fetch(q.Text, false);
    const Outcome listed = fetch(q.TextWithoutCount, false);
    if (world_->WorkRows() != 0) CleanWorkTables();
    if (counted.Threw || listed.Threw || counted.Code != eQEENone || listed.Code != eQEENone) continue;
    ++accepted;
    bool ignored = false;
    const std::vector<long> keys = KeysOf(listed.Results, ignored);
    const std::set<long> distinct(keys.begin(), keys.end());
    const long count = counted.Results.empty() || counted.Results[0].empty()
                           ? -1
                           : static_cast<long>(counted.Results[0][0].IsWhole() ? counted.Results[0][0].Whole()
                                                                               : counted.Results[0][0].Real());
    if (count != static_cast<long>(distinct.size())) {
      Note(c, "COUNT differs from the number of distinct keys", own.Name(),
           "COUNT " + std::to_string(count) + ", keys " + std::to_string(keys.size()) + ", distinct " +
               std::to_string(distinct.size()));
    }
  }
  Report("COUNT is the number of distinct keys", run, accepted);
}

TEST_F(QueryProperty, EveryDialectAgreesAndWritesSoundStatements) {
  const Budget run;
  DemoWorld::Dialect& own = world_->Own();
  std::vector<DemoWorld::Dialect*> dialects{&own};
  for (DemoWorld::Dialect& d : world_->Foreign()) dialects.push_back(&d);
  QueryEngine engine;
  long accepted = 0;
  for (std::uint64_t i = run.First; i < run.First + run.Queries; ++i) {
    const Current c = Make(run, i);
    const GeneratedQuery& q = c.Query;
    enumQueryEngineError ownCode = eQEENone;
    for (DemoWorld::Dialect* dialect : dialects) {
      const auto project = std::static_pointer_cast<Project>(dialect->Project);
      std::shared_ptr<QueryDef> def;
      dialect->Project->Statements().clear();
      const Outcome out = Call([&](std::string& info, Rows&) {
        return engine.Validate(q.ReturnType, q.LookupType, project, q.Text, info, def);
      });
      if (out.Threw) {
        Note(c, "Validate throws: " + FailureBook::ClassOf(out.Thrown), dialect->Name(), out.Thrown.substr(0, 300));
        continue;
      }
      if (dialect == &own) {
        ownCode = out.Code;
        accepted += out.Code == eQEENone ? 1 : 0;
      } else if (out.Code != ownCode) {
        Note(c, "Validate gives another code than in the store's dialect", dialect->Name(),
             std::to_string(out.Code) + " against " + std::to_string(ownCode) + ": " + out.Info.substr(0, 200));
      }
      std::vector<std::string> statements;
      if (out.Code == eQEENone) statements.push_back(engine.LastSqlStatement());
      for (const RecordedStatement& s : dialect->Project->Statements()) statements.push_back(s.sql);
      for (const std::string& sql : statements) {
        const std::vector<std::string> problems = sqltext::FormProblems(sql);
        if (problems.empty()) continue;
        Note(c, "malformed statement: " + FailureBook::ClassOf(problems.front()), dialect->Name(),
             problems.front() + " in: " + sql.substr(0, 400));
        break;
      }
      std::string where;
      if (world_->WorkRows(&where) != 0) {
        Note(c, "Validate leaves rows in the work tables", dialect->Name(), where);
        CleanWorkTables();
      }
    }
  }
  Report("every dialect agrees and writes sound statements", run, accepted);
}

}  // namespace
}  // namespace vlq::test
