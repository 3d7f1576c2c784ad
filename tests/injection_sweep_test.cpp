// Hostile values in every value position of the language, in every dialect:
// quotes, statement separators, comment marks, break-outs of a parenthesis,
// subqueries, line breaks. For each position the engine either refuses the
// query, or the statements it makes have the shape of those it makes for the
// same query with a harmless value there: the payload changed nothing but a
// literal or a checked number. What is accepted also runs on the store file
// without changing its data or leaving work rows, and (with the tests'
// server) on the project's copy there with the file's answer.

#include <gtest/gtest.h>

#include <algorithm>
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

const std::vector<std::string> kPayloads{
    "'",
    "''",
    ";",
    "--",
    "/*",
    "*/",
    ") OR (1=1",
    "OR 1=1",
    "\" OR \"\"=\"",
    "(SELECT ID FROM VLUSERS)",
    "1; DELETE FROM VLREQUIREMENTS",
    "a\r\nb",
    "|",
    "#",
    "\\",
    "1 OR 1=1",
    "1) OR (1=1",
    "1.1 OR 1=1",
    "1/2/2000# OR #1/2/2000",
    "10:30' OR '1'='1",
};

// A place for a value in a query: the text with @@ where the value goes and
// ## where a harmless value of the same kind stands (the other end of a
// Between), and the harmless values to try there, the first that the engine
// accepts being the one the payloads are compared with.
struct Position {
  std::string Where;
  enumQueryReturnTypes ReturnType = eBTRequirements;
  enumQueryLookupTypes Lookup = eQLTByPrefix;
  std::string Template;
  std::vector<std::string> Harmless;
};

std::string Fill(const std::string& text, const std::string& hole, const std::string& other) {
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    if (text.compare(i, 2, "@@") == 0) {
      out += hole;
      i += 2;
    } else if (text.compare(i, 2, "##") == 0) {
      out += other;
      i += 2;
    } else {
      out += text[i++];
    }
  }
  return out;
}

const std::vector<std::string> kHarmlessText{"zzz", "1"};

// Harmless values that fit an attribute of a data type.
std::vector<std::string> HarmlessFor(int dataType, const std::vector<ListItem>& items) {
  switch (dataType) {
    case eADTList:
    case eADTMultiSelectList:
      return {items.empty() ? "zzz" : items.front().Text, "zzz"};
    case eADTWholeNumber:
    case eADTRealNumber:
      return {"1"};
    case eADTDate:
      return {"1/2/2020"};
    case eADTTime:
      return {"10:30"};
    default:
      return kHarmlessText;
  }
}

// Every operator with the places of its values.
void AddOperators(std::vector<Position>& out, const Position& base, const std::string& attr) {
  for (const char* op : {"=", "<>", "<", "<=", ">", ">=", "Like", "ULike", "In"}) {
    Position p = base;
    p.Where = base.Where + " " + op;
    p.Template = Fill(base.Template, attr + " " + op + " @@", "");
    out.push_back(p);
  }
  Position in = base;
  in.Where = base.Where + " In, second item";
  in.Template = Fill(base.Template, attr + " In ##, @@", "");
  out.push_back(in);
  Position low = base;
  low.Where = base.Where + " Between, low";
  low.Template = Fill(base.Template, attr + " Between @@ And ##", "");
  out.push_back(low);
  Position high = base;
  high.Where = base.Where + " Between, high";
  high.Template = Fill(base.Template, attr + " Between ## And @@", "");
  out.push_back(high);
}

std::vector<Position> Positions(const QueryVocabulary& v) {
  std::vector<Position> out;
  const TypeWords* base = nullptr;
  const TypeWords* external = nullptr;
  for (const TypeWords& t : v.Types) {
    if (!t.External && !base) base = &t;
    if (t.External && !external) external = &t;
  }
  if (!base) return out;
  const std::string spec = base->Type.Prefix;
  const std::string head = "ReqType.Prefix(" + spec + ") " + spec + ".Criteria(@@)";

  // System attributes of requirements, in the base type and project-wide.
  struct SysAttr {
    const char* Name;
    std::vector<std::string> Harmless;
  };
  const std::string user = v.Users.empty() ? "zzz" : v.Users.front().Name;
  const std::string document = v.Documents.empty() ? "DATABASE" : v.Documents.front().Name;
  const std::vector<SysAttr> requirementAttrs{
      {"KEY", {"1"}},
      {"TAG", kHarmlessText},
      {"ROOTTAG#", {"1", "1.1"}},
      {"TEXT", kHarmlessText},
      {"AUTHORNAME", {user}},
      {"AUTHORKEY", {user}},
      {"AUTHOR", {user}},
      {"LOCATIONNAME", {document}},
      {"LOCATIONKEY", {document}},
      {"LOCATION", {document}},
      {"REVISION", {"1", "zzz"}},
      {"REASON", kHarmlessText},
      {"DISCUSSIONKEY", {"1"}},
      {"DISCUSSIONSTATUS", {"1"}},
      {"KEYSCALAR", {"1"}},
      {"HIERLEVEL", {"1"}},
      {"DATETIME", {"1/2/2020"}},
      {"BOOKMARKNAME", kHarmlessText},
      {"ISDOCTEXTCURRENT", {"True"}},
      {"NAME", kHarmlessText},
      {"DOCPOSITION", {"1"}},
      {"PACKAGEKEY", {"1"}},
      {"PACKAGENAME", kHarmlessText},
      {"SUSPECTDATETIME", {"1/2/2020"}},
  };
  for (const SysAttr& a : requirementAttrs) {
    Position p;
    p.Where = std::string("requirement ") + a.Name;
    p.Template = head;
    p.Harmless = a.Harmless;
    AddOperators(out, p, a.Name);
  }
  for (const SysAttr& a : requirementAttrs) {
    const std::string name = a.Name;
    if (name != "TEXT" && name != "ROOTTAG#" && name != "NAME") continue;
    Position p;
    p.Where = "project-wide " + name + " =";
    p.Template = "REQUIREMENT.Criteria(" + name + " = @@)";
    p.Harmless = a.Harmless;
    out.push_back(p);
  }

  // An attribute of every data type.
  std::map<int, std::pair<const TypeWords*, const Attr*>> byType;
  for (const TypeWords& t : v.Types) {
    if (t.External) continue;
    for (const Attr& a : t.Type.Attrs) byType.emplace(a.DataType, std::make_pair(&t, &a));
  }
  for (const auto& [dataType, found] : byType) {
    const std::string typeSpec = found.first->Type.Prefix;
    Position p;
    p.Where = "user attribute of data type " + std::to_string(dataType);
    p.Template = "ReqType.Prefix(" + typeSpec + ") " + typeSpec + ".Criteria(@@)";
    p.Harmless = HarmlessFor(dataType, found.second->ListItems);
    AddOperators(out, p, QueryWord(found.second->Label));
  }

  // Discussion attributes.
  const std::string group = v.Groups.empty() ? "zzz" : v.Groups.front().Name;
  const std::vector<SysAttr> discussionAttrs{
      {"SUBJECT", kHarmlessText},
      {"REQUIREMENTKEY", {"1"}},
      {"AUTHOR", {user}},
      {"AUTHORKEY", {"1"}},
      {"PRIORITY", {"1"}},
      {"STATUS", {"1"}},
      {"GROUP", {group}},
      {"GROUPKEY", {"1"}},
      {"KEY", {"1"}},
      {"SUBMITDATE", {"1/2/2020"}},
      {"RESPONSES", {"True"}},
      {"HASREAD", {"True"}},
      {"USER", {user}},
      {"USERKEY", {"1"}},
  };
  for (const SysAttr& a : discussionAttrs) {
    Position p;
    p.Where = std::string("discussion ") + a.Name;
    p.ReturnType = eBTDiscussions;
    p.Template = "DISCUSSION.Criteria(@@)";
    p.Harmless = a.Harmless;
    AddOperators(out, p, a.Name);
  }

  // Relationships: status, direct-only, destinations and destination
  // criteria, direct and through the closure, into this project and the
  // external one.
  const std::string rel = "ReqType.Prefix(" + spec + ") " + spec + ".RelCriteria(";
  const auto add = [&](std::string where, std::string text, std::vector<std::string> harmless,
                       enumQueryLookupTypes lookup = eQLTByPrefix) {
    Position p;
    p.Where = std::move(where);
    p.Template = std::move(text);
    p.Harmless = std::move(harmless);
    p.Lookup = lookup;
    out.push_back(p);
  };
  add("relationship STATUS =", rel + "TRACED-TO In " + spec + " AND STATUS = @@)", {"SUSPECT"});
  add("relationship DIRECT-ONLY =", rel + "TRACED-TO In " + spec + " AND DIRECT-ONLY = @@)", {"FALSE", "TRUE"});
  add("relationship destination", rel + "TRACED-TO In @@)", {spec});
  add("relationship second destination", rel + "TRACED-FROM In " + spec + ", @@)", {spec});
  for (const char* directOnly : {"TRUE", "FALSE"}) {
    const std::string via = std::string(" through DIRECT-ONLY = ") + directOnly;
    const std::string relHead = rel + "TRACED-TO In " + spec + " AND DIRECT-ONLY = \"" + directOnly + "\") ";
    add("destination criteria NAME =" + via, relHead + spec + ".Criteria(NAME = @@)", kHarmlessText);
    add("destination criteria ROOTTAG# Between, high" + via, relHead + spec + ".Criteria(ROOTTAG# Between 1 And @@)",
        {"1", "2"});
    add("destination criteria NAME All Like" + via, relHead + spec + ".Criteria(NAME All Like @@)", kHarmlessText);
    if (external) {
      const std::string ext = external->ProjPrefix + "." + external->Type.Prefix;
      add("external destination criteria TEXT =" + via,
          rel + "TRACED-TO In " + ext + " AND DIRECT-ONLY = \"" + directOnly + "\") " + ext + ".Criteria(TEXT = @@)",
          kHarmlessText);
    }
  }

  // Sorts, specifiers and the attribute word itself.
  add("sort order word", "ReqType.Prefix(" + spec + ") " + spec + ".Sort(NAME Order @@)", {"Asc"});
  add("sort attribute", "ReqType.Prefix(" + spec + ") " + spec + ".Sort(@@ Order Asc)", {"NAME"});
  add("base specifier by prefix", "ReqType.Prefix(@@)", {spec});
  add("base specifier by key", "ReqType.Key(@@)", {std::to_string(base->Type.Key)}, eQLTByKey);
  add("base specifier by GUID", "ReqType.GUID(@@)", {base->Type.GUID}, eQLTByGUID);
  add("attribute word", "ReqType.Prefix(" + spec + ") " + spec + ".Criteria(@@ = 1)", {"KEY"});
  add("project-wide attribute word", "REQUIREMENT.Criteria(@@ = 1)", {"KEY"});
  add("system attribute by key, value",
      "ReqType.Key(" + std::to_string(base->Type.Key) + ") " + std::to_string(base->Type.Key) +
          ".Criteria(-3 Between 1 And @@)",
      {"1"}, eQLTByKey);
  return out;
}

// True when the shape has a token more often than the other shape has it:
// something of the value stands outside the literals.
bool HasTokensBeyond(const std::string& shape, const std::string& other) {
  std::map<std::string, long> count;
  const auto words = [](const std::string& text, const std::function<void(const std::string&)>& each) {
    std::size_t at = 0;
    while (at < text.size()) {
      const std::size_t end = std::min(text.find(' ', at), text.size());
      if (end > at) each(text.substr(at, end - at));
      at = end + 1;
    }
  };
  words(other, [&](const std::string& w) { ++count[w]; });
  bool beyond = false;
  words(shape, [&](const std::string& w) { beyond = beyond || --count[w] < 0; });
  return beyond;
}

// What the engine made of one query in one dialect.
struct Made {
  bool Accepted = false;
  std::string Shape;  // of the main statement and of every INSERT it sent
  std::string Text;
};

class InjectionSweep : public ::testing::Test {
 protected:
  Made Validate(DemoWorld::Dialect& d, const Position& p, const std::string& query) {
    Made made;
    d.Project->Statements().clear();
    std::string info;
    std::shared_ptr<QueryDef> def;
    enumQueryEngineError code = eQEENone;
    try {
      code = engine_.Validate(p.ReturnType, p.Lookup, d.Project, query, info, def);
    } catch (const std::exception& e) {
      book_.Add("Validate throws", d.Name(), p.Where, query + "\n      " + e.what());
      return made;
    }
    if (code != eQEENone) return made;
    made.Accepted = true;
    made.Text = engine_.LastSqlStatement();
    made.Shape = sqltext::Shape(made.Text);
    for (const RecordedStatement& s : d.Project->Statements()) {
      const std::size_t at = s.sql.find_first_not_of(" \r\n");
      if (at != std::string::npos && s.sql.compare(at, 6, "INSERT") == 0) made.Shape += " ;; " + sqltext::Shape(s.sql);
    }
    if (world_->WorkRows(&d) != 0) {
      book_.Add("Validate leaves rows in the work tables", d.Name(), p.Where, query);
      world_->ClearWorkTables(&d);
    }
    return made;
  }

  static DemoWorld* world_;
  QueryEngine engine_;
  FailureBook book_;
};

DemoWorld* InjectionSweep::world_ = nullptr;

TEST_F(InjectionSweep, PayloadsChangeNothingButLiterals) {
  DemoWorld world(60, 5);
  world_ = &world;
  const std::vector<Position> positions = Positions(ReadVocabulary(world.Own().Project));
  ASSERT_GT(positions.size(), 300u);
  std::vector<DemoWorld::Dialect*> dialects{&world.Own()};
  for (DemoWorld::Dialect& d : world.Foreign()) dialects.push_back(&d);
  const std::uint64_t checksum = world.DataChecksum();
  long tried = 0;
  long accepted = 0;
  bool ownAccepted = false;
  long fetched = 0;
  const bool everyDialect = std::getenv("VLQ_SWEEP_EVERY_DIALECT") != nullptr;
  DemoWorld::Dialect* server = PgTestServer().empty() ? nullptr : &world.Server();
  long position = 0;

  for (const Position& p : positions) {
    ++position;
    for (bool quoted : {true, false}) {
      const auto form = [quoted](const std::string& value) { return quoted ? QuotedWord(value) : value; };
      // The harmless value of the position, as the store's dialect takes it.
      std::string harmless = p.Harmless.front();
      for (const std::string& candidate : p.Harmless) {
        if (Validate(world.Own(), p, Fill(p.Template, form(candidate), form(candidate))).Accepted) {
          harmless = candidate;
          break;
        }
      }
      // What each harmless value that the engine takes makes in a dialect:
      // a payload must make one of these.
      std::map<DemoWorld::Dialect*, std::vector<Made>> baseline;
      const auto baselineOf = [&](DemoWorld::Dialect* d) -> const std::vector<Made>& {
        auto found = baseline.find(d);
        if (found == baseline.end()) {
          std::vector<Made> made;
          for (const std::string& candidate : p.Harmless) {
            Made one = Validate(*d, p, Fill(p.Template, form(candidate), form(harmless)));
            if (one.Accepted) made.push_back(std::move(one));
          }
          found = baseline.emplace(d, std::move(made)).first;
        }
        return found->second;
      };
      for (std::size_t k = 0; k < kPayloads.size(); ++k) {
        const std::string& payload = kPayloads[k];
        const std::string query = Fill(p.Template, form(payload), form(harmless));
        const std::string example = p.Where + (quoted ? ", quoted: " : ", bare: ") + query;
        ++tried;
        for (std::size_t j = 0; j < dialects.size(); ++j) {
          DemoWorld::Dialect* d = dialects[j];
          // Another dialect is asked what the store's own accepts (the
          // property test holds the dialects to one result), each payload
          // in a third of them in turn unless every dialect is asked for.
          if (j > 0 && (!ownAccepted || (!everyDialect && (j + k) % 3 != 0))) continue;
          const Made made = Validate(*d, p, query);
          if (j == 0) ownAccepted = made.Accepted;
          if (!made.Accepted) continue;
          if (j == 0) ++accepted;
          const std::vector<Made>& before = baselineOf(d);
          if (before.empty()) {
            book_.Add("accepted with the payload, refused with every harmless value: " + p.Where, d->Name(), example,
                      example);
          } else if (std::none_of(before.begin(), before.end(), [&](const Made& b) { return b.Shape == made.Shape; })) {
            const bool added = HasTokensBeyond(made.Shape, before.front().Shape);
            book_.Add((added ? "the payload reaches the statement outside a literal: "
                             : "the value is lost from the statement: ") +
                          p.Where,
                      d->Name(), example, example + "\n      " + FailureBook::OneLine(made.Text, 500));
          }
          if (j > 0) continue;
          // What is accepted runs on the store and changes nothing.
          std::string info;
          Rows rows;
          std::shared_ptr<QueryDef> def;
          d->Project->Statements().clear();
          bool threw = false;
          try {
            engine_.Fetch(p.ReturnType, p.Lookup, d->Project, query, info, rows, def);
          } catch (const std::exception&) {
            // A failing statement is the property test's business; the
            // data and the work tables are this test's.
            threw = true;
          }
          // The server, each payload at a third of the positions: the same
          // answer as the file (as a set: equals of a sort may stand in
          // either order), no work rows left.
          if (server != nullptr && (position + static_cast<long>(k)) % 3 == 0) {
            Rows onServer;
            bool serverThrew = false;
            try {
              engine_.Fetch(p.ReturnType, p.Lookup, server->Project, query, info, onServer, def);
            } catch (const std::exception& e) {
              serverThrew = true;
              if (!threw) book_.Add("Fetch fails on the server only", server->Name(), example, example + ": " + e.what());
            }
            const auto keys = [](const Rows& r) {
              std::multiset<std::string> out;
              if (!r.empty()) {
                for (const Variant& cell : r[0]) out.insert(cell.ToText());
              }
              return out;
            };
            if (!threw && !serverThrew && keys(rows) != keys(onServer)) {
              book_.Add("the server answers otherwise than the file", server->Name(), example, example);
            }
            std::string left;
            if (world.WorkRows(server, &left) != 0) {
              book_.Add("Fetch leaves rows in the work tables", server->Name(), example, example + "\n      " + left);
              world.ClearWorkTables(server);
            }
          }
          std::string where;
          if (world.WorkRows(d, &where) != 0) {
            book_.Add("Fetch leaves rows in the work tables", d->Name(), example, example + "\n      " + where);
            world.ClearWorkTables(d);
          }
          bool wrote = ++fetched % 50 == 0;
          for (const RecordedStatement& st : d->Project->Statements()) {
            const std::size_t at = st.sql.find_first_not_of(" \r\n");
            wrote = wrote || at == std::string::npos || st.sql.compare(at, 6, "SELECT") != 0;
          }
          if (wrote && world.DataChecksum() != checksum) {
            book_.Add("the data tables changed", d->Name(), example, example);
            ADD_FAILURE() << "the data tables changed after " << example;
            return;
          }
        }
      }
    }
  }
  if (world.DataChecksum() != checksum) ADD_FAILURE() << "the data tables changed during the sweep";
  std::cout << "[ property ] injection sweep: " << positions.size() << " positions, " << tried
            << " payload queries, accepted in the store's dialect " << accepted << "\n";
  if (!book_.Empty()) ADD_FAILURE() << book_.Report(3);
}

}  // namespace
}  // namespace vlq::test
