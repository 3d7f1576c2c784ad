// Random queries, valid and half-broken, over the demo project on real store
// files. For every query: the public operations never crash and answer with a
// known code; what Validate accepts, Fetch runs, with and without the
// hierarchy, and answers only with items of the queried type and project; no
// operation answers on a statement that failed, leaves work rows or changes
// data; every dialect agrees with the store's own on the result and writes
// statements of a sound form; COUNT counts the keys; the demo project's copy
// on the tests' server answers every query exactly as the file does.
//
// VLQ_PROPERTY_SEED (default 1), VLQ_PROPERTY_FIRST (0) and
// VLQ_PROPERTY_QUERIES choose the queries; a failure prints what replays it.
// VLQ_PROPERTY_SHRINK=1 adds to the first example of each class of failure
// the smallest query that still shows it; VLQ_PROPERTY_LOG=<file> appends
// every failure to the file, one line each, fields parted by tabs: class,
// dialect, number, return type, lookup type, query (line breaks as " | ").

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
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
#include "query_shrinker.h"
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
  bool Shrink = EnvNumber("VLQ_PROPERTY_SHRINK", 0) != 0;
  const char* Log = std::getenv("VLQ_PROPERTY_LOG");
};

const char* ReturnTypeName(enumQueryReturnTypes t) { return t == eBTDiscussions ? "discussions" : "requirements"; }
const char* ScopeName(QueryScope s) {
  return s == QueryScope::kDiscussion ? "discussions" : s == QueryScope::kProjectWide ? "project-wide" : "base type";
}
const char* LookupName(enumQueryLookupTypes t) { return t == eQLTByKey ? "key" : t == eQLTByGUID ? "guid" : "prefix"; }

bool IsKnownCode(enumQueryEngineError code) { return (code >= 0 && code <= 45) || code == 47; }

bool StartsWithSelect(const std::string& sql) {
  const std::size_t at = sql.find_first_not_of(" \r\n\t");
  if (at == std::string::npos) return false;
  std::string head = sql.substr(at, 6);
  for (char& c : head) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return head == "SELECT";
}

// What one call of a public operation gave.
struct Outcome {
  bool Threw = false;
  std::string Thrown;  // the failure's source and description
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

std::vector<long> KeysOf(const Rows& rows, bool* nullKey = nullptr) {
  std::vector<long> keys;
  if (rows.empty()) return keys;
  for (const Variant& cell : rows[0]) {
    if (cell.IsNull() || cell.IsEmpty()) {
      if (nullKey) *nullKey = true;
      continue;
    }
    keys.push_back(cell.IsWhole() ? static_cast<long>(cell.Whole()) : std::atol(cell.ToText().c_str()));
  }
  return keys;
}

// One failure of one query.
struct Finding {
  std::string Class;
  std::string Dialect;
  std::string Detail;
};
using Findings = std::vector<Finding>;

// The text without its sort sections: from the blank in front of each
// "<specifier>.Sort(" to its closing parenthesis (or the end), parentheses in
// double quotes not counted.
std::string WithoutSortSections(const std::string& text) {
  std::string upper = text;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string out = text;
  std::size_t at = upper.rfind(".SORT(");
  while (at != std::string::npos) {
    std::size_t start = out.rfind(' ', at);
    start = start == std::string::npos ? 0 : start;
    std::size_t end = at + 6;
    long depth = 1;
    bool quoted = false;
    for (; end < out.size() && depth > 0; ++end) {
      if (out[end] == '"') quoted = !quoted;
      if (!quoted && out[end] == '(') ++depth;
      if (!quoted && out[end] == ')') --depth;
    }
    out.erase(start, end - start);
    upper.erase(start, end - start);
    at = start == 0 ? std::string::npos : upper.rfind(".SORT(", start - 1);
  }
  return out;
}

// The query with another text, as the shrinker tries it: COUNT and the text
// without sort sections are read from the text again.
GeneratedQuery WithText(GeneratedQuery q, const std::string& text) {
  q.Text = text;
  std::string head = text.substr(0, 5);
  for (char& c : head) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  q.Count = head == "COUNT";
  q.TextWithoutCount = q.Count ? text.substr(5) : text;
  const std::string unsorted = WithoutSortSections(q.TextWithoutCount);
  q.TextWithoutSort = unsorted == q.TextWithoutCount ? std::string() : unsorted;
  return q;
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

  // Runs `check` over the budget's queries and reports the failures by class.
  // `check` gets each query with tally true, the shrinker's tries with false.
  void Sweep(const std::string& what, const std::function<Findings(const GeneratedQuery&, bool tally)>& check) {
    const Budget budget;
    checksum_ = world_->DataChecksum();
    FailureBook book;
    std::ofstream log;
    if (budget.Log) log.open(budget.Log, std::ios::app);
    for (std::uint64_t i = budget.First; i < budget.First + budget.Queries; ++i) {
      const GeneratedQuery q = generator_->Generate(budget.Seed, i);
      const std::string replay = "VLQ_PROPERTY_SEED=" + std::to_string(budget.Seed) +
                                 " VLQ_PROPERTY_FIRST=" + std::to_string(i) + " VLQ_PROPERTY_QUERIES=1 (" +
                                 ReturnTypeName(q.ReturnType) + ", by " + LookupName(q.LookupType) + "): " + q.Text;
      for (const Finding& f : check(q, true)) {
        std::string example = replay;
        if (!f.Detail.empty()) example += "\n      " + FailureBook::OneLine(f.Detail, 400);
        if (budget.Shrink && book.Count(f.Class) == 0) {
          const std::string small = ShrinkQuery(q.Text, [&](const std::string& text) {
            for (const Finding& again : check(WithText(q, text), false)) {
              if (again.Class == f.Class) return true;
            }
            return false;
          });
          example += "\n      smallest: " + (small.empty() ? std::string("(the empty query)") : small);
        }
        book.Add(f.Class, f.Dialect, std::to_string(i), example);
        if (log.is_open()) {
          log << f.Class << '\t' << f.Dialect << '\t' << i << '\t' << ReturnTypeName(q.ReturnType) << '\t'
              << LookupName(q.LookupType) << '\t' << FailureBook::OneLine(q.Text, q.Text.size()) << '\n';
        }
      }
    }
    if (world_->DataChecksum() != checksum_) book.Add("the data tables changed", "dbms 1", "end", "at the end");
    std::cout << "[ property ] " << what << ": seed " << budget.Seed << ", queries " << budget.First << ".."
              << budget.First + budget.Queries - 1;
    if (!codes_.empty()) std::cout << ", accepted by Validate " << accepted_;
    if (!codes_.empty()) {
      std::cout << "; codes of Validate (code x queries):";
      for (const auto& [code, n] : codes_) std::cout << " " << code << "x" << n;
    }
    std::cout << "\n";
    if (!book.Empty()) ADD_FAILURE() << what << "\n" << book.Report(3);
  }

  // Work tables empty after an operation, and the data as it was when the
  // operation wrote anything or now and then.
  void CheckAfter(Findings& out, const std::string& operation, const DemoWorld::Dialect& dialect, bool always) {
    std::string where;
    if (world_->WorkRows(&dialect, &where) != 0) {
      out.push_back({operation + " leaves rows in the work tables", dialect.Name(), where});
      // Rows left by one query would be blamed on the next ones.
      world_->ClearWorkTables(&dialect);
    }
    bool wrote = always;
    for (const RecordedStatement& s : dialect.Project->Statements()) wrote = wrote || !StartsWithSelect(s.sql);
    if (wrote) {
      const std::uint64_t now = world_->DataChecksum();
      if (now != checksum_) {
        out.push_back({operation + " changes the data tables", dialect.Name(), ""});
        checksum_ = now;
      }
    }
  }

  void CheckKeys(Findings& out, const GeneratedQuery& q, const std::string& operation, const Rows& rows) {
    bool nullKey = false;
    const std::vector<long> keys = KeysOf(rows, &nullKey);
    if (nullKey) out.push_back({operation + " answers with an empty key", "dbms 1", ""});
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
        out.push_back({operation + " answers with " + wrong, "dbms 1", "key " + std::to_string(key)});
        return;
      }
    }
  }

  // Build, Validate2, Validate; what Validate accepts, Fetch with and
  // without the hierarchy.
  Findings CheckRuns(const GeneratedQuery& q, bool tally) {
    Findings out;
    DemoWorld::Dialect& own = world_->Own();
    const auto project = std::static_pointer_cast<Project>(own.Project);
    std::shared_ptr<QueryDef> def;
    const bool periodic = ++calls_ % 25 == 0;

    const auto operation = [&](const std::string& name, bool retain) {
      own.Project->Statements().clear();
      Outcome result = Call([&](std::string& info, Rows& rows) -> enumQueryEngineError {
        if (name == "Build") return engine_.Build(q.ReturnType, q.LookupType, project, q.Text, info, def);
        if (name == "Validate2") return engine_.Validate2(q.ReturnType, q.LookupType, project, q.Text, info, def);
        if (name == "Validate") return engine_.Validate(q.ReturnType, q.LookupType, project, q.Text, info, def);
        return engine_.Fetch(q.ReturnType, q.LookupType, project, q.Text, info, rows, def, retain);
      });
      if (result.Threw) {
        out.push_back({name + " throws: " + FailureBook::ClassOf(result.Thrown), own.Name(), result.Thrown});
      } else if (!IsKnownCode(result.Code)) {
        out.push_back({name + " gives an unknown code", own.Name(), std::to_string(result.Code)});
      } else if (result.Code != eQEENone && result.Info.empty()) {
        out.push_back({name + " refuses without a message", own.Name(), std::to_string(result.Code)});
      } else {
        // An operation that answers on a statement that failed.
        for (const RecordedStatement& st : own.Project->Statements()) {
          if (!st.failed) continue;
          out.push_back(
              {name + " answers although a statement failed: " + FailureBook::ClassOf(st.error), own.Name(), st.error});
          break;
        }
      }
      CheckAfter(out, name, own, periodic);
      return result;
    };

    operation("Build", false);
    operation("Validate2", false);
    const Outcome validated = operation("Validate", false);
    if (tally) ++codes_[validated.Threw ? -1 : validated.Code];
    if (validated.Threw || validated.Code != eQEENone) return out;
    if (tally) ++accepted_;

    const Outcome plain = operation("Fetch", false);
    if (!plain.Threw && plain.Code != eQEENone) {
      out.push_back(
          {"Fetch refuses what Validate accepts", own.Name(), std::to_string(plain.Code) + ": " + plain.Info});
    }
    const Outcome tree = operation("Fetch with hierarchy", true);
    // Discussions have no tree: refusing the tree order for them is an
    // answer, not a failure.
    const bool treeRefused = q.Scope == QueryScope::kDiscussion && !tree.Threw && tree.Code != eQEENone;
    if (!tree.Threw && tree.Code != eQEENone && !treeRefused) {
      out.push_back({"Fetch with hierarchy refuses what Validate accepts", own.Name(),
                     std::to_string(tree.Code) + ": " + tree.Info});
    }
    if (q.Count || plain.Threw || plain.Code != eQEENone) return out;
    CheckKeys(out, q, "Fetch", plain.Results);
    const std::vector<long> hits = KeysOf(plain.Results);
    if (std::set<long>(hits.begin(), hits.end()).size() != hits.size()) {
      out.push_back({std::string("Fetch answers a key more than once (") + ScopeName(q.Scope) + ")", own.Name(), ""});
    }
    if (!q.TextWithoutSort.empty()) {
      // A sort orders the answer; it takes nothing away and adds nothing.
      std::shared_ptr<QueryDef> unsortedDef;
      const Outcome unsorted = Call([&](std::string& info, Rows& rows) {
        return engine_.Fetch(q.ReturnType, q.LookupType, project, q.TextWithoutSort, info, rows, unsortedDef);
      });
      if (world_->WorkRows(&world_->Own()) != 0) world_->ClearWorkTables(&world_->Own());
      const std::vector<long> all = KeysOf(unsorted.Results);
      if (!unsorted.Threw && unsorted.Code == eQEENone &&
          std::set<long>(all.begin(), all.end()) != std::set<long>(hits.begin(), hits.end())) {
        out.push_back({std::string("the sort section changes the set of keys (") + ScopeName(q.Scope) + ")", own.Name(),
                       std::to_string(std::set<long>(hits.begin(), hits.end()).size()) + " keys sorted, " +
                           std::to_string(std::set<long>(all.begin(), all.end()).size()) + " without the sort"});
      }
    }
    if (tree.Threw || tree.Code != eQEENone) return out;
    CheckKeys(out, q, "Fetch with hierarchy", tree.Results);
    const std::vector<long> inTree = KeysOf(tree.Results);
    const std::set<long> treeSet(inTree.begin(), inTree.end());
    const std::set<long> hitSet(hits.begin(), hits.end());
    long missing = 0;
    for (long key : hits) missing += treeSet.count(key) == 0 ? 1 : 0;
    if (missing > 0) {
      out.push_back({std::string("Fetch with hierarchy loses hits of a query (") + ScopeName(q.Scope) + ")" +
                         (inTree.empty() ? ", answers nothing" : ""),
                     own.Name(), std::to_string(missing) + " of " + std::to_string(hits.size()) + " hits missing"});
    }
    if (treeSet.size() != inTree.size()) {
      out.push_back({std::string("Fetch with hierarchy answers a key more than once (") + ScopeName(q.Scope) + ")",
                     own.Name(), ""});
    }
    // Beside the hits, a tree holds their ancestors and nothing else. A
    // level that every hit must meet cuts the tree after the ancestors are
    // added; the search beneath it has more hits than the query without a
    // tree, so their ancestors may stand too.
    const int file = q.BaseExternal ? 1 : 0;
    for (long key : q.HierarchyLevel ? std::set<long>{} : treeSet) {
      if (hitSet.count(key) > 0) continue;
      const bool above =
          std::any_of(hitSet.begin(), hitSet.end(), [&](long hit) { return world_->IsAncestor(file, key, hit); });
      if (!above) {
        out.push_back({std::string("Fetch with hierarchy answers more than the hits and their ancestors (") +
                           ScopeName(q.Scope) + ")",
                       own.Name(), "key " + std::to_string(key)});
        break;
      }
    }
    return out;
  }

  // A COUNT query against the keys of the same query without COUNT, plain
  // and in tree order.
  Findings CheckCount(const GeneratedQuery& q) {
    Findings out;
    if (!q.Count) return out;
    const auto project = std::static_pointer_cast<Project>(world_->Own().Project);
    std::shared_ptr<QueryDef> def;
    const auto fetch = [&](const std::string& text, bool retain) {
      return Call([&](std::string& info, Rows& rows) {
        return engine_.Fetch(q.ReturnType, q.LookupType, project, text, info, rows, def, retain);
      });
    };
    const auto countOf = [](const Outcome& o) {
      const Variant cell = o.Results.empty() || o.Results[0].empty() ? Variant() : o.Results[0][0];
      return cell.IsWhole() ? static_cast<long>(cell.Whole()) : cell.IsReal() ? static_cast<long>(cell.Real()) : -1;
    };
    const auto compare = [&](bool retain, const std::string& what) {
      const Outcome counted = fetch(q.Text, retain);
      const Outcome listed = fetch(q.TextWithoutCount, retain);
      if (world_->WorkRows(&world_->Own()) != 0) world_->ClearWorkTables(&world_->Own());
      if (counted.Threw || listed.Threw || counted.Code != eQEENone || listed.Code != eQEENone) return;
      const std::vector<long> keys = KeysOf(listed.Results);
      const std::set<long> distinct(keys.begin(), keys.end());
      const long count = countOf(counted);
      if (count != static_cast<long>(distinct.size())) {
        out.push_back({what + " differs from the number of distinct keys (" + ScopeName(q.Scope) + ")", "dbms 1",
                       "COUNT " + std::to_string(count) + ", keys " + std::to_string(keys.size()) + ", distinct " +
                           std::to_string(distinct.size())});
      }
    };
    compare(false, "COUNT");
    compare(true, "COUNT with hierarchy");
    return out;
  }

  // Validate in every dialect: the store's result, and statements of a
  // sound form.
  Findings CheckDialects(const GeneratedQuery& q, bool tally) {
    Findings out;
    std::vector<DemoWorld::Dialect*> dialects{&world_->Own()};
    for (DemoWorld::Dialect& d : world_->Foreign()) dialects.push_back(&d);
    enumQueryEngineError ownCode = eQEENone;
    for (DemoWorld::Dialect* dialect : dialects) {
      const auto project = std::static_pointer_cast<Project>(dialect->Project);
      std::shared_ptr<QueryDef> def;
      dialect->Project->Statements().clear();
      const Outcome result = Call([&](std::string& info, Rows&) {
        return engine_.Validate(q.ReturnType, q.LookupType, project, q.Text, info, def);
      });
      if (result.Threw) {
        out.push_back({"Validate throws: " + FailureBook::ClassOf(result.Thrown), dialect->Name(), result.Thrown});
        continue;
      }
      if (dialect == dialects.front()) {
        ownCode = result.Code;
        if (tally) ++codes_[result.Code];
        if (tally && result.Code == eQEENone) ++accepted_;
      } else if (result.Code != ownCode) {
        out.push_back({"Validate gives another code than in the store's dialect", dialect->Name(),
                       std::to_string(result.Code) + " against " + std::to_string(ownCode) + ": " + result.Info});
      }
      std::vector<std::string> statements;
      if (result.Code == eQEENone) statements.push_back(engine_.LastSqlStatement());
      for (const RecordedStatement& s : dialect->Project->Statements()) statements.push_back(s.sql);
      for (const std::string& sql : statements) {
        const std::vector<std::string> problems = sqltext::FormProblems(sql);
        if (problems.empty()) continue;
        out.push_back({"malformed statement: " + FailureBook::ClassOf(problems.front()), dialect->Name(),
                       problems.front() + " in: " + sql});
        break;
      }
      std::string where;
      if (world_->WorkRows(dialect, &where) != 0) {
        out.push_back({"Validate leaves rows in the work tables", dialect->Name(), where});
        world_->ClearWorkTables(dialect);
      }
    }
    return out;
  }

  // Fetch, plain and in tree order, on the file and on its copy on the
  // server: the same code and the same keys in the same order; on the server
  // no statement fails and no work rows stay.
  Findings CheckServer(const GeneratedQuery& q) {
    Findings out;
    DemoWorld::Dialect& server = world_->Server();
    const auto onFileProject = std::static_pointer_cast<Project>(world_->Own().Project);
    const auto onServerProject = std::static_pointer_cast<Project>(server.Project);
    for (bool retain : {false, true}) {
      const std::string name = retain ? "Fetch with hierarchy" : "Fetch";
      const auto fetch = [&](const std::shared_ptr<Project>& project) {
        std::shared_ptr<QueryDef> def;
        return Call([&](std::string& info, Rows& rows) {
          return engine_.Fetch(q.ReturnType, q.LookupType, project, q.Text, info, rows, def, retain);
        });
      };
      const Outcome onFile = fetch(onFileProject);
      if (world_->WorkRows(&world_->Own()) != 0) world_->ClearWorkTables(&world_->Own());
      server.Project->Statements().clear();
      const Outcome onServer = fetch(onServerProject);
      std::string where;
      if (world_->WorkRows(&server, &where) != 0) {
        out.push_back({name + " leaves rows in the work tables", server.Name(), where});
        world_->ClearWorkTables(&server);
      }
      if (onServer.Threw != onFile.Threw || onServer.Code != onFile.Code) {
        out.push_back({name + " ends otherwise on the server", server.Name(),
                       (onServer.Threw ? onServer.Thrown : std::to_string(onServer.Code)) + " against " +
                           (onFile.Threw ? onFile.Thrown : std::to_string(onFile.Code))});
        continue;
      }
      if (onServer.Threw || onServer.Code != eQEENone) continue;
      for (const RecordedStatement& st : server.Project->Statements()) {
        if (!st.failed) continue;
        out.push_back({name + " answers although a statement failed: " + FailureBook::ClassOf(st.error), server.Name(),
                       st.error});
        break;
      }
      const std::vector<long> fileKeys = KeysOf(onFile.Results);
      const std::vector<long> serverKeys = KeysOf(onServer.Results);
      const bool sameSet = std::multiset<long>(fileKeys.begin(), fileKeys.end()) ==
                           std::multiset<long>(serverKeys.begin(), serverKeys.end());
      // Discussions that a sort finds equal stand in the database's order.
      if (fileKeys != serverKeys && !(sameSet && q.Scope == QueryScope::kDiscussion)) {
        out.push_back({name + " answers otherwise on the server" + (sameSet ? ", in another order" : "") + " (" +
                           ScopeName(q.Scope) + ")",
                       server.Name(),
                       std::to_string(serverKeys.size()) + " keys against " + std::to_string(fileKeys.size())});
      }
    }
    return out;
  }

  // The three texts of a query that Validate2 accepts, each read back by its
  // own lookup type, write the same three texts again. A project-wide query
  // has no GUID form to read (its base word has none); discussion queries
  // write no text.
  Findings CheckReadBack(const GeneratedQuery& q) {
    Findings out;
    if (q.Scope == QueryScope::kDiscussion) return out;
    const auto project = std::static_pointer_cast<Project>(world_->Own().Project);
    const auto read = [&](enumQueryLookupTypes lookup, const std::string& text, std::shared_ptr<QueryDef>& def) {
      return Call(
          [&](std::string& info, Rows&) { return engine_.Validate2(q.ReturnType, lookup, project, text, info, def); });
    };
    std::shared_ptr<QueryDef> first;
    const Outcome accepted = read(q.LookupType, q.Text, first);
    if (accepted.Threw || accepted.Code != eQEENone || !first) return out;
    const bool projectWide = first->Scope() == eVLSProject;
    const auto texts = [&](const QueryDef& def) {
      std::vector<std::string> all;
      for (enumQueryLookupTypes form : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
        all.push_back(projectWide && form == eQLTByGUID ? std::string() : def.QueryString(form));
      }
      return all;
    };
    const std::vector<std::string> written = texts(*first);
    for (enumQueryLookupTypes form : {eQLTByPrefix, eQLTByKey, eQLTByGUID}) {
      if (projectWide && form == eQLTByGUID) continue;
      const std::string& text = written[form - 1];
      std::shared_ptr<QueryDef> again;
      const Outcome back = read(form, text, again);
      const std::string name = std::string("the text by ") + LookupName(form);
      if (back.Threw || back.Code != eQEENone || !again) {
        out.push_back({name + " is refused when read back", "dbms 1",
                       text + " -> " + (back.Threw ? back.Thrown : std::to_string(back.Code) + ": " + back.Info)});
        continue;
      }
      const std::vector<std::string> rewritten = texts(*again);
      for (std::size_t i = 0; i < written.size(); ++i) {
        if (rewritten[i] == written[i]) continue;
        out.push_back({name + " reads back to another query", "dbms 1",
                       text + "\n      writes " + rewritten[i] + "\n      not    " + written[i]});
        break;
      }
    }
    return out;
  }

  static DemoWorld* world_;
  static QueryGenerator* generator_;
  QueryEngine engine_;  // one engine for all queries, as a host keeps it
  std::uint64_t checksum_ = 0;
  long calls_ = 0;
  long accepted_ = 0;
  std::map<int, long> codes_;
};

DemoWorld* QueryProperty::world_ = nullptr;
QueryGenerator* QueryProperty::generator_ = nullptr;

TEST_F(QueryProperty, AcceptedQueriesRunAndAnswerTruly) {
  Sweep("accepted queries run and answer truly",
        [&](const GeneratedQuery& q, bool tally) { return CheckRuns(q, tally); });
}

TEST_F(QueryProperty, CountIsTheNumberOfKeys) {
  Sweep("COUNT is the number of distinct keys", [&](const GeneratedQuery& q, bool) { return CheckCount(q); });
}

TEST_F(QueryProperty, TheServerAnswersAsTheFile) {
  VLQ_REQUIRE_PG();
  Sweep("the server answers as the file", [&](const GeneratedQuery& q, bool) { return CheckServer(q); });
}

TEST_F(QueryProperty, StoredTextsReadBack) {
  Sweep("stored texts read back", [&](const GeneratedQuery& q, bool) { return CheckReadBack(q); });
}

TEST_F(QueryProperty, EveryDialectAgreesAndWritesSoundStatements) {
  Sweep("every dialect agrees and writes sound statements",
        [&](const GeneratedQuery& q, bool tally) { return CheckDialects(q, tally); });
}

}  // namespace
}  // namespace vlq::test
