#include "platform/message_catalogue.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>

#include "model/text_util.h"

namespace vlq::platform {
namespace {

struct CompiledEntry {
  long number;
  std::string_view text;
};

// The English texts, in ascending order of number (a binary search reads
// them). %1 is the argument that the engine passes with the message.
constexpr std::array kCompiledTexts{
    // The query as a whole.
    CompiledEntry{14002, "The query return type is not valid: use requirements, documents or discussions."},
    CompiledEntry{14003, "The lookup type is not valid: use by prefix, by key or by GUID."},
    CompiledEntry{14004, "This part of the query could not be read and was ignored: %1"},
    CompiledEntry{14005,
                  "A query of the whole project takes no further text, and this part of the query could not be "
                  "read: %1"},
    CompiledEntry{14006, "The query selects from the whole project %1."},
    CompiledEntry{14008, "The external project %1 is not open."},
    CompiledEntry{14011, "The ReqType.Prefix section names no requirement type."},
    CompiledEntry{14012, "The relationship criteria need a trace expression with In, such as TRACED-TO In PR."},
    CompiledEntry{14013, "No project was given to the query engine."},
    CompiledEntry{14016, "The external project %1 named in the relationship criteria is not open."},
    // Reading one expression.
    CompiledEntry{14017, "The attribute name is too long: an attribute has at most 255 characters: %1"},
    CompiledEntry{14018, "The expression names no attribute: %1"},
    CompiledEntry{14019, "The expression has no operator behind its attribute: %1"},
    // The engine passes the low value read so far, which is always empty,
    // so the text has no mark for it.
    CompiledEntry{14020, "Between needs a low value, AND and a high value, as in Between 1 AND 5."},
    CompiledEntry{14021, "The In operator is not followed by any items: %1"},
    CompiledEntry{14022, "The expression has no value behind its operator: %1"},
    // The project and its database.
    CompiledEntry{14024, "No project is set for building the SQL statement."},
    CompiledEntry{14026, "The connection information of the project's database is not available."},
    CompiledEntry{14027, "This operation does not serve the query return type that was given."},
    CompiledEntry{14029, "No project is set for adding the expression to the query."},
    CompiledEntry{14030, "No expression was given to add to the query."},
    CompiledEntry{14032, "The current user (key %1) is not a user of the project."},
    CompiledEntry{14041,
                  "The relationship criteria with ALL are too complex: expressions in parentheses are not "
                  "supported under ALL."},
    CompiledEntry{14052, "No database access is available for the project."},
    CompiledEntry{14053, "The expression names no requirement type or project to which it belongs."},
    CompiledEntry{14054, "No relationship expression was given to resolve."},
    CompiledEntry{14055, "The relationship expression has no source requirement type."},
    // The relationship section.
    CompiledEntry{14056, "A trace expression must use the In operator, as in TRACED-TO In PR: %1"},
    CompiledEntry{14057, "The trace status is not valid: use SUSPECT (by key: 1 or 2): %1"},
    CompiledEntry{14058, "The DIRECT-ONLY value must be True or False: %1"},
    CompiledEntry{14059,
                  "The relationship criteria accept only TRACED-TO, TRACED-FROM, STATUS and DIRECT-ONLY, not: %1"},
    CompiledEntry{14061, "There are criteria for %1, but the trace expression does not name it."},
    CompiledEntry{14062, "There is more than one set of criteria for %1."},
    // Typed expressions.
    CompiledEntry{14063, "No project was given to resolve the expression."},
    CompiledEntry{14064, "The attribute key is not a number: %1"},
    CompiledEntry{14065,
                  "A query of the whole project or of discussions can use only system attributes, and this is "
                  "none: %1"},
    CompiledEntry{14066, "The requirement type has no attribute %1."},
    CompiledEntry{14067, "A sort expression must use the Order operator, as in Name Order Asc."},
    CompiledEntry{14068, "The sort order is not valid: use Asc or Desc (by key: 1 or 2)."},
    CompiledEntry{14069, "The operator %1 cannot be used on a list attribute: use =, <> or In."},
    CompiledEntry{14070, "The list item key is not a number: %1"},
    CompiledEntry{14072, "An item of the In list is not in the attribute's list (the item, then the expression): %1"},
    CompiledEntry{14073, "The value is not in the attribute's list: %1"},
    CompiledEntry{14074, "The low value of Between is not valid for the attribute's data type: %1"},
    CompiledEntry{14075, "The high value of Between is not valid for the attribute's data type: %1"},
    CompiledEntry{14076, "An item of the In list is not valid for the attribute's data type: %1"},
    CompiledEntry{14077, "The value is not valid for the attribute's data type: %1"},
    CompiledEntry{14078, "Queries of documents are not supported."},
    CompiledEntry{14083, "The attribute of the expression was not found."},
    // Operators on system attributes.
    CompiledEntry{14084, "The author can be compared only with =, <> or In."},
    CompiledEntry{14085, "The location can be compared only with =, <> or In."},
    CompiledEntry{14086, "The requirement key can be compared only with =, <> or In."},
    CompiledEntry{14087, "The discussion key can be compared only with =, <> or In."},
    CompiledEntry{14088, "The discussion status can be compared only with =, <> or In."},
    CompiledEntry{14089, "This system attribute takes no In list: use a comparison or Between."},
    CompiledEntry{14090, "This discussion attribute can be compared only with =."},
    CompiledEntry{14091, "The submit date of a discussion takes no In list: use a comparison or Between."},
    CompiledEntry{14092, "This discussion attribute can be compared only with =, <> or In."},
    CompiledEntry{14093, "The subject of a discussion can be compared only with = or Like."},
    // Values of system attributes.
    CompiledEntry{14094, "The value is not valid for the system attribute's data type: %1"},
    CompiledEntry{14095, "No user of the project has the name %1."},
    CompiledEntry{14096, "No user of the project has the key %1."},
    CompiledEntry{14097, "No document of the project has the name %1."},
    CompiledEntry{14098, "No document of the project has the key %1."},
    CompiledEntry{14099, "The key is not a number: %1"},
    CompiledEntry{14103, "No user of the project has the name %1."},
    CompiledEntry{14104, "No user of the project has the key %1."},
    CompiledEntry{14105, "No group of the project has the name %1."},
    CompiledEntry{14106, "No group of the project has the key %1."},
    CompiledEntry{14107, "The discussion priority must be 1, 2 or 3: %1"},
    CompiledEntry{14108, "The discussion status must be 1 (open) or 2 (closed): %1"},
    CompiledEntry{14109, "The requirement key is not a number: %1"},
    CompiledEntry{14110, "RESPONSES must be True or False: %1"},
    CompiledEntry{14111, "HASREAD must be True or False: %1"},
    // Project structure specifiers.
    CompiledEntry{14114, "The lookup type of the requirement type is not valid: use by prefix, by key or by GUID."},
    CompiledEntry{14115, "The external project %1 could not be opened."},
    CompiledEntry{14116, "The project has no external project %1."},
    CompiledEntry{14120, "The project has no requirement type %1."},
    CompiledEntry{14121, "The external project has no requirement type %1."},
    // Token order of an expression list.
    CompiledEntry{14122, "The expression list is empty."},
    CompiledEntry{14123, "AND or OR must be followed by an expression, an expression in parentheses or NOT."},
    CompiledEntry{14124, "Two expressions must be joined by AND or OR."},
    CompiledEntry{14126, "NOT must be followed by an expression in parentheses."},
    CompiledEntry{14127, "An expression list cannot begin with AND or OR."},
    CompiledEntry{14128,
                  "The query refers to a project on another kind of database than its base project, which is "
                  "not allowed here."},
    CompiledEntry{14129, "The package key can be compared only with =, <> or In."},
    CompiledEntry{14130, "Parentheses in an expression list are nested more than %1 levels deep."},
    CompiledEntry{14131, "An expression list cannot end with AND or OR."},
    CompiledEntry{14132, "An expression list holds an empty pair of parentheses."},
    CompiledEntry{14133, "The Order operator belongs in a sort section, not in criteria: %1"},
    CompiledEntry{14134, "The root tag number must be a dotted whole number, such as 2.1: %1"},
    CompiledEntry{14135, "The query engine has been closed: make a new one to run queries."},
    CompiledEntry{14136,
                  "Relationship criteria are expressions joined by AND, without OR, NOT or parentheses, as in "
                  "TRACED-TO In SR AND STATUS = \"SUSPECT\"."},
    CompiledEntry{14137, "A sort section lists sort expressions joined by AND, without NOT or parentheses."},
    CompiledEntry{14138,
                  "The relationship criteria name both TRACED-TO and TRACED-FROM: write one relationship section "
                  "for each."},
    CompiledEntry{14139, "The relationship criteria name %1 more than once."},
    CompiledEntry{14140, "ISDOCTEXTCURRENT can be compared only with = or <>, with True or False."},
    CompiledEntry{14141, "The query has more than %1 expressions: split it into smaller queries."},
    CompiledEntry{14142,
                  "Between on the root tag number needs two numbers under the same parent, such as 2.1 And 2.5: "
                  "%1"},
    CompiledEntry{14143,
                  "The query names more than %1 attributes, more than one statement can join: split it into "
                  "smaller queries."},
    CompiledEntry{14144, "Discussions have no tree order: fetch them without retaining the hierarchy."},
    CompiledEntry{14145, "<NO ENTRY> can be compared only with = or <>, or be one of the items of In: %1"},
};

constexpr bool AscendingNumbers() {
  for (std::size_t i = 1; i < kCompiledTexts.size(); ++i) {
    if (kCompiledTexts[i - 1].number >= kCompiledTexts[i].number) return false;
  }
  return true;
}
static_assert(AscendingNumbers(), "message texts must stay in ascending order of number");

// "\n", "\r", "\t", "\\" of a catalogue file; any other backslash stays.
std::string Unescape(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      const char next = s[i + 1];
      const char replacement = next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : next == '\\' ? '\\' : 0;
      if (replacement != 0) {
        out += replacement;
        ++i;
        continue;
      }
    }
    out += s[i];
  }
  return out;
}

std::string_view TrimBlanks(std::string_view s) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!s.empty() && blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && blank(s.back())) s.remove_suffix(1);
  return s;
}

}  // namespace

std::string_view CompiledMessageCatalogue::CompiledText(long lNumber) {
  const auto it = std::lower_bound(kCompiledTexts.begin(), kCompiledTexts.end(), lNumber,
                                   [](const CompiledEntry& e, long n) { return e.number < n; });
  if (it == kCompiledTexts.end() || it->number != lNumber) return {};
  return it->text;
}

void CompiledMessageCatalogue::Load(const std::string& sPath, const std::string& sComponentName) {
  std::ifstream in(sPath, std::ios::binary);
  if (!in) return;
  bool inOurSection = true;
  std::string line;
  bool first = true;
  while (std::getline(in, line)) {
    std::string_view view(line);
    if (first && view.starts_with("\xEF\xBB\xBF")) view.remove_prefix(3);  // UTF-8 byte order mark
    first = false;
    view = TrimBlanks(view);
    if (view.empty() || view.front() == '#' || view.front() == ';') continue;
    if (view.front() == '[') {
      if (view.back() != ']') continue;
      inOurSection = text::EqualsNoCase(TrimBlanks(view.substr(1, view.size() - 2)), sComponentName);
      continue;
    }
    if (!inOurSection) continue;
    const std::size_t eq = view.find('=');
    if (eq == std::string_view::npos) continue;
    const std::string_view key = TrimBlanks(view.substr(0, eq));
    long number = 0;
    const auto [end, ec] = std::from_chars(key.data(), key.data() + key.size(), number);
    if (ec != std::errc() || end != key.data() + key.size()) continue;
    loaded_[number] = Unescape(TrimBlanks(view.substr(eq + 1)));
  }
}

std::string CompiledMessageCatalogue::Template(long lNumber, bool& bKnown) const {
  bKnown = true;
  if (const auto it = loaded_.find(lNumber); it != loaded_.end()) return it->second;
  if (const std::string_view text = CompiledText(lNumber); !text.empty()) return std::string(text);
  bKnown = false;
  return "Message " + std::to_string(lNumber) + " has no text in the message catalogue.";
}

std::string CompiledMessageCatalogue::Message(long lNumber) const { return MessageWithArgs(lNumber, {}); }

std::string CompiledMessageCatalogue::MessageWithArgs(long lNumber, const std::vector<std::string>& aArgs) const {
  bool known = false;
  std::string text = Template(lNumber, known);
  if (known) return SubstituteArgs(text, aArgs);
  // A number without a text still shows what was passed with it.
  if (!aArgs.empty()) {
    text += " Arguments:";
    for (const std::string& arg : aArgs) text += " \"" + arg + "\"";
  }
  return text;
}

std::string CompiledMessageCatalogue::SubstituteArgs(std::string_view sTemplate,
                                                     const std::vector<std::string>& aArgs) {
  std::string out;
  out.reserve(sTemplate.size() + 32);
  for (std::size_t i = 0; i < sTemplate.size(); ++i) {
    const char c = sTemplate[i];
    if (c != '%' || i + 1 >= sTemplate.size()) {
      out += c;
      continue;
    }
    const char next = sTemplate[i + 1];
    if (next == '%') {
      out += '%';
      ++i;
    } else if (next >= '1' && next <= '9') {
      // One pass over the template, so that an argument holding "%1" is put
      // in as it stands.
      const std::size_t index = static_cast<std::size_t>(next - '1');
      if (index < aArgs.size()) out += aArgs[index];
      ++i;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace vlq::platform
