#include "query_generator.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace vlq::test {

// ---- Draws ------------------------------------------------------------------------

Draw::Draw(std::uint64_t seed, std::uint64_t stream) {
  std::seed_seq seq{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                    static_cast<std::uint32_t>(stream), static_cast<std::uint32_t>(stream >> 32)};
  engine_.seed(seq);
}

std::uint64_t Draw::Below(std::uint64_t n) {
  if (n <= 1) return 0;
  const std::uint64_t limit = ~std::uint64_t{0} - (~std::uint64_t{0} % n);
  std::uint64_t r = engine_();
  while (r >= limit) r = engine_();
  return r % n;
}

long Draw::Between(long lo, long hi) { return lo + static_cast<long>(Below(static_cast<std::uint64_t>(hi - lo + 1))); }

bool Draw::Chance(double p) { return static_cast<double>(engine_() >> 11) / 9007199254740992.0 < p; }

// ---- Words ------------------------------------------------------------------------

namespace {

bool StartsWithNoCase(std::string_view text, std::string_view head) {
  if (text.size() < head.size()) return false;
  for (std::size_t i = 0; i < head.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(text[i])) != head[i]) return false;
  }
  return true;
}

}  // namespace

std::string QuotedWord(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

std::string QueryWord(std::string_view text) {
  // A bare word ends at a blank, a parenthesis, a comparison sign, a comma or
  // a quote; a word at the head of a list that begins with a connector or Not
  // would be read as one.
  bool quote = text.empty() || StartsWithNoCase(text, "AND") || StartsWithNoCase(text, "OR") ||
               StartsWithNoCase(text, "NOT") || StartsWithNoCase(text, "ALL") || StartsWithNoCase(text, "ANY");
  for (char c : text) {
    if (std::string_view(" ()=<>,\"").find(c) != std::string_view::npos || static_cast<unsigned char>(c) < 0x20) {
      quote = true;
    }
  }
  return quote ? QuotedWord(text) : std::string(text);
}

std::string SystemAttrGUID(std::string_view xx) {
  return "{B9FA15" + std::string(xx) + "-4209-11D4-9A75-0010A4F40007}";
}

std::string SpecifierText(const TypeWords& type, enumQueryLookupTypes lookup) {
  switch (lookup) {
    case eQLTByKey:
      return (type.External ? type.ProjRelKey + "." : "") + std::to_string(type.Type.Key);
    case eQLTByGUID:
      return (type.External ? type.ProjGUID + "." : "") + type.Type.GUID;
    default:
      return (type.External ? type.ProjPrefix + "." : "") + type.Type.Prefix;
  }
}

QueryVocabulary ReadVocabulary(const std::shared_ptr<Project>& project) {
  QueryVocabulary v;
  v.ProjectKey = project->Key();
  v.Users = project->Users();
  v.Groups = project->Groups();
  v.Documents = project->Documents();
  for (const ReqType& type : project->ReqTypes()) {
    TypeWords words;
    words.Type = type;
    words.ProjectKey = project->Key();
    v.Types.push_back(std::move(words));
  }
  const auto references = project->GetExtProjects();
  const long count = references ? references->Count() : 0;
  for (long position = 1; position <= count; ++position) {
    const auto reference = references->Item(std::to_string(position), eItemByPosition);
    if (!reference || reference->IsDeleted()) continue;
    auto other = reference->IsOpen() ? reference->GetProject() : reference->Open();
    if (!other) continue;
    for (const ReqType& type : other->ReqTypes()) {
      TypeWords words;
      words.Type = type;
      words.External = true;
      words.ProjectKey = other->Key();
      words.ProjPrefix = reference->Prefix();
      words.ProjRelKey = std::to_string(reference->RelKey());
      words.ProjGUID = reference->GUID();
      v.Types.push_back(std::move(words));
    }
  }
  return v;
}

// ---- The system attributes ------------------------------------------------------------

namespace {

enum class ValueKind {
  kReqKey,
  kText,
  kRootTag,
  kUser,
  kDocument,
  kRevision,
  kKey,
  kDiscussionStatus,
  kWhole,
  kHierLevel,
  kDateTime,
  kBoolean,
  kPackageName,
  kUserName,
  kUserKey,
  kGroupName,
  kGroupKey,
  kPriority,
};

// The operators an attribute takes: a list or lookup, any, all but In,
// "=" and Like, "=" alone.
enum class OpSet { kList, kAny, kNoIn, kEqLike, kEq };

struct SystemWords {
  const char* Name;
  int Key;
  const char* Xx;  // the two hex digits of its GUID; empty for discussion attributes
  ValueKind Kind;
  OpSet Ops;
};

const std::vector<SystemWords>& RequirementSystemAttrs() {
  static const std::vector<SystemWords> attrs{
      {"KEY", -1, "71", ValueKind::kReqKey, OpSet::kList},
      {"TAG", -2, "72", ValueKind::kText, OpSet::kAny},
      {"ROOTTAG#", -3, "73", ValueKind::kRootTag, OpSet::kAny},
      {"TEXT", -4, "74", ValueKind::kText, OpSet::kAny},
      {"AUTHORNAME", -5, "75", ValueKind::kUser, OpSet::kList},
      {"AUTHORKEY", -6, "76", ValueKind::kUser, OpSet::kList},
      {"AUTHOR", -6, "77", ValueKind::kUser, OpSet::kList},
      {"LOCATIONNAME", -7, "78", ValueKind::kDocument, OpSet::kList},
      {"LOCATIONKEY", -8, "79", ValueKind::kDocument, OpSet::kList},
      {"LOCATION", -8, "7A", ValueKind::kDocument, OpSet::kList},
      {"REVISION", -9, "7B", ValueKind::kRevision, OpSet::kAny},
      {"REASON", -12, "7C", ValueKind::kText, OpSet::kAny},
      {"DISCUSSIONKEY", -13, "7D", ValueKind::kKey, OpSet::kList},
      {"DISCUSSIONSTATUS", -14, "7E", ValueKind::kDiscussionStatus, OpSet::kList},
      {"KEYSCALAR", -15, "7F", ValueKind::kWhole, OpSet::kNoIn},
      {"HIERLEVEL", -16, "80", ValueKind::kHierLevel, OpSet::kNoIn},
      {"DATETIME", -17, "81", ValueKind::kDateTime, OpSet::kNoIn},
      {"BOOKMARKNAME", -18, "82", ValueKind::kText, OpSet::kAny},
      {"ISDOCTEXTCURRENT", -19, "83", ValueKind::kBoolean, OpSet::kAny},
      {"NAME", -20, "84", ValueKind::kText, OpSet::kAny},
      {"DOCPOSITION", -21, "85", ValueKind::kWhole, OpSet::kNoIn},
      {"PACKAGEKEY", -22, "90", ValueKind::kKey, OpSet::kList},
      {"PACKAGENAME", -23, "91", ValueKind::kPackageName, OpSet::kAny},
      {"SUSPECTDATETIME", -24, "92", ValueKind::kDateTime, OpSet::kNoIn},
  };
  return attrs;
}

const std::vector<SystemWords>& DiscussionSystemAttrs() {
  static const std::vector<SystemWords> attrs{
      {"SUBJECT", -201, "", ValueKind::kText, OpSet::kEqLike},
      {"REQUIREMENTKEY", -202, "", ValueKind::kReqKey, OpSet::kList},
      {"AUTHOR", -203, "", ValueKind::kUserName, OpSet::kList},
      {"AUTHORKEY", -204, "", ValueKind::kUserKey, OpSet::kList},
      {"PRIORITY", -205, "", ValueKind::kPriority, OpSet::kList},
      {"STATUS", -206, "", ValueKind::kDiscussionStatus, OpSet::kList},
      {"GROUP", -207, "", ValueKind::kGroupName, OpSet::kList},
      {"GROUPKEY", -208, "", ValueKind::kGroupKey, OpSet::kList},
      {"KEY", -209, "", ValueKind::kKey, OpSet::kList},
      {"SUBMITDATE", -210, "", ValueKind::kDateTime, OpSet::kNoIn},
      {"RESPONSES", -211, "", ValueKind::kBoolean, OpSet::kEq},
      {"HASREAD", -212, "", ValueKind::kBoolean, OpSet::kEq},
      {"USER", -213, "", ValueKind::kUserName, OpSet::kList},
      {"USERKEY", -214, "", ValueKind::kUserKey, OpSet::kList},
  };
  return attrs;
}

const std::vector<std::string> kAllOps{"=", "<>", "<", "<=", ">", ">=", "Like", "ULike", "In", "Between"};

std::vector<std::string> OpsOf(OpSet set) {
  switch (set) {
    case OpSet::kList:
      return {"=", "<>", "In"};
    case OpSet::kNoIn:
      return {"=", "<>", "<", "<=", ">", ">=", "Like", "ULike", "Between"};
    case OpSet::kEqLike:
      return {"=", "Like"};
    case OpSet::kEq:
      return {"="};
    default:
      return kAllOps;
  }
}

// ---- Values -------------------------------------------------------------------------

const std::vector<std::string> kTexts{"%log%", "log",   "Secure%", "%",      "_",    "%e%",  "a",     "Test",
                                      "1.0",   "%2.0%", "x_y",     "Review", "%ing", "REST", "Manual"};
const std::vector<std::string> kPackageNames{"Release 1.0", "Release 2.0", "Backlog", "Safety case", "%Release%"};
const std::vector<std::string> kDates{"1/2/2020",  "12/31/2021", "2020-01-02", "1/2/20",     "7/4/2019",
                                      "2/29/2024", "1/1/1900",   "12/31/9999", "2021-06-30", "3/15/2022"};
const std::vector<std::string> kTimes{"10:30", "23:59:59", "0:00", "7:05 PM", "12:00:01", "9:15 AM"};
const std::vector<std::string> kDateTimes{"1/2/2020",           "1/2/2020 10:30", "2020-01-02 10:30:00", "2020-01-02",
                                          "6/30/2021 23:59:59", "12/31/2019",     "2022-03-15 07:00"};
const std::vector<std::string> kBooleans{"True", "False", "true", "FALSE", "1", "0", "-1"};

// Values that fit no attribute well or anything at all: empty, quotes,
// no-entry words, edge numbers, fractions, dates in many forms, dotted
// numbers, text that would be SQL.
const std::vector<std::string> kOddValues{
    "",
    "\"",
    "<NO ENTRY>",
    "<no entry>",
    "<No Entry>",
    "0",
    "-1",
    "-0",
    "2147483647",
    "2147483648",
    "-2147483649",
    "99999999999999999999",
    "1e308",
    "1e400",
    "1.5",
    "1.0",
    "0.0001",
    ".5",
    "1,5",
    "1.2.3",
    "1..2",
    "1.",
    ".",
    "3.x",
    "abc",
    "NaN",
    "13/45/2020",
    "2/30/2020",
    "1.2.2000",
    "2000-01-02",
    "2000-01-02 25:61",
    "25:00",
    "10:61",
    "#1/2/2000#",
    "yesterday",
    "Jan 2, 2020",
    "Yes",
    "it's",
    "''",
    "say \"hi\"",
    "%",
    "a,b",
    "(x)",
    "x) OR (1=1",
    "1 OR 1=1",
    "' OR ''='",
    ";",
    "--",
    "/*",
    "*/",
    "(SELECT ID FROM VLUSERS)",
    "1; DELETE FROM VLREQUIREMENTS",
    "a\r\nb",
    "|",
    "#",
    "\\",
    "DATABASE",
    "SUSPECT",
    "REQUIREMENT",
};

const std::vector<std::string> kRootTags{"1", "2", "3", "1.1", "1.2", "2.1.1", "10", "4.2.1.1", "7"};
const std::vector<std::string> kOddRootTags{"0",          "-1",       "1.",          ".1",
                                            "1..2",       "1.x",      "abc",         "1.5e3",
                                            "1,2",        "00001",    "99999999999", "1.99999999999",
                                            "<NO ENTRY>", "1 OR 1=1", "1) OR (1=1",  ""};

// A destination as a relationship names it: a query whose base lies in an
// external project reads its destinations in that project, where they are
// written bare.
std::string DestinationText(const TypeWords& dest, const TypeWords& base, enumQueryLookupTypes lookup) {
  if (!base.External || !dest.External || dest.ProjectKey != base.ProjectKey) return SpecifierText(dest, lookup);
  TypeWords bare = dest;
  bare.External = false;
  return SpecifierText(bare, lookup);
}

// ---- The writer -------------------------------------------------------------------------

struct ListContext {
  bool Discussion = false;
  const TypeWords* Type = nullptr;  // user attributes of this type; none: system attributes only
  bool Sort = false;
  bool Destination = false;  // ALL and ANY belong here
};

// An attribute as one expression names it.
struct AttrPick {
  const SystemWords* System = nullptr;
  const Attr* User = nullptr;
  std::string Word;
};

class Writer {
 public:
  Writer(const QueryVocabulary& v, Draw& d, enumQueryLookupTypes lookup, double breakChance)
      : v_(v), d_(d), lookup_(lookup), break_(breakChance) {}

  std::string Connector() {
    static const std::vector<std::string> kAnd{"AND", "And", "and"};
    static const std::vector<std::string> kOr{"OR", "Or", "or"};
    return d_.Chance(0.65) ? d_.Pick(kAnd) : d_.Pick(kOr);
  }

  bool Break() { return d_.Chance(break_); }

  // An expression list: items joined by connectors, with groups, negated
  // groups and, now and then, a deep nest.
  std::string List(const ListContext& ctx, int depth) {
    std::string out;
    if (Break()) out += Connector() + " ";  // a list that begins with a connector
    const long items = d_.Chance(0.1) ? d_.Between(4, 7) : d_.Between(1, 3);
    for (long i = 0; i < items; ++i) {
      if (i > 0) out += Break() ? " " : " " + Connector() + " ";  // a missing connector
      out += Item(ctx, depth);
    }
    if (Break()) {
      static const std::vector<std::string> kTails{" AND", " OR", " Not", " AND ()", " NOT", " and Not"};
      out += d_.Pick(kTails);  // a dangling end
    }
    return out;
  }

  std::string Item(const ListContext& ctx, int depth) {
    if (Break()) {
      static const std::vector<std::string> kBroken{"()", "Not", "( )", "NOT ()", "(())"};
      return d_.Pick(kBroken);
    }
    if (!ctx.Sort && d_.Chance(0.012)) return DeepNest(ctx);
    // A group in a sort list is read as a list of criteria, not of sorts.
    if (ctx.Sort && !Break()) return SortExpression(ctx);
    if (depth < 4 && d_.Chance(0.14)) return "(" + List(ctx, depth + 1) + ")";
    if (depth < 4 && d_.Chance(0.06)) {
      // A negated group: the reader takes "NOT (a = 1)" for the expression
      // "(a" with Not, so the group's own text must begin with a parenthesis.
      if (Break()) return "NOT (" + List(ctx, depth + 1) + ")";
      return (d_.Chance(0.5) ? "NOT ((" : "Not ((") + List(ctx, depth + 1) + "))";
    }
    return ctx.Sort ? SortExpression(ctx) : Simple(ctx);
  }

  // One expression in many parentheses, now and then negated on the way: the
  // depth the statement's database must take.
  std::string DeepNest(const ListContext& ctx) {
    const long levels = d_.Chance(0.5) ? d_.Between(10, 60) : d_.Between(60, 140);
    std::string text = Simple(ctx);
    for (long i = 0; i < levels; ++i) {
      text = "(" + text + ")";
      if (d_.Chance(0.1)) text = "NOT (" + text + ")";
    }
    return text;
  }

  AttrPick PickAttr(const ListContext& ctx) {
    AttrPick pick;
    if (Break()) {
      static const std::vector<std::string> kUnknown{"Nosuch",          "\"No such\"", "-10",  "0",
                                                     "{00000000-0000}", "TRACED-TO",   "COUNT"};
      pick.Word = d_.Pick(kUnknown);
      return pick;
    }
    if (ctx.Type && !ctx.Type->Type.Attrs.empty() && d_.Chance(0.55)) {
      pick.User = &d_.Pick(ctx.Type->Type.Attrs);
      switch (lookup_) {
        case eQLTByKey:
          pick.Word = std::to_string(pick.User->Key);
          break;
        case eQLTByGUID:
          pick.Word = pick.User->GUID;
          break;
        default:
          pick.Word = d_.Chance(0.15) ? QuotedWord(pick.User->Label) : QueryWord(pick.User->Label);
      }
      return pick;
    }
    // A requirement attribute in a discussion query and the reverse, now and then.
    const bool discussion = ctx.Discussion != d_.Chance(0.02);
    pick.System = &d_.Pick(discussion ? DiscussionSystemAttrs() : RequirementSystemAttrs());
    if (discussion) {
      pick.Word = lookup_ == eQLTByPrefix ? Cased(pick.System->Name) : std::to_string(pick.System->Key);
    } else if (lookup_ == eQLTByKey) {
      pick.Word = std::to_string(pick.System->Key);
    } else if (lookup_ == eQLTByGUID) {
      pick.Word = SystemAttrGUID(pick.System->Xx);
    } else {
      pick.Word = Cased(pick.System->Name);
    }
    return pick;
  }

  // The word in its own case, in capitals or in small letters.
  std::string Cased(std::string_view word) {
    std::string out(word);
    const auto kind = d_.Below(4);
    for (std::size_t i = 0; i < out.size(); ++i) {
      const auto c = static_cast<unsigned char>(out[i]);
      if (kind == 1) out[i] = static_cast<char>(std::tolower(c));
      if (kind == 2 && i > 0) out[i] = static_cast<char>(std::tolower(c));
    }
    return out;
  }

  std::string Simple(const ListContext& ctx) {
    const AttrPick attr = PickAttr(ctx);
    std::string out;
    if (d_.Chance(0.12)) out += d_.Chance(0.5) ? "Not " : "NOT ";
    out += attr.Word;
    if (d_.Chance(ctx.Destination ? 0.2 : 0.02)) out += d_.Chance(0.6) ? " All" : " Any";

    std::vector<std::string> ops = kAllOps;
    if (attr.System) {
      ops = OpsOf(attr.System->Ops);
    } else if (attr.User && !attr.User->IsEdit) {
      ops = OpsOf(OpSet::kList);
    } else if (attr.User) {
      // In on a free value is accepted; it is kept rarer than the others.
      ops = {"=", "<>", "<", "<=", ">", ">=", "Like", "ULike", "Between", "=", "<>", "Between"};
      if (d_.Chance(0.06)) ops = {"In"};
    }
    std::string op = d_.Chance(0.95) ? d_.Pick(ops) : d_.Pick(kAllOps);
    if (d_.Chance(0.006)) op = d_.Chance(0.5) ? "Order" : "O";
    if (Break()) {
      // A missing operator or value.
      return d_.Chance(0.5) ? out + " " + Value(attr) : out + " " + op;
    }
    if (d_.Chance(0.2)) op = Cased(op);
    out += " " + op + " ";
    const std::string upper = [&] {
      std::string u = op;
      for (char& c : u) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      return u;
    }();
    if (upper == "BETWEEN") {
      out += Value(attr) + (Break() ? " " : (d_.Chance(0.8) ? " And " : " AND ")) + Value(attr);
    } else if (upper == "IN") {
      const long items = Break() ? 0 : d_.Between(1, 4);
      for (long i = 0; i < items; ++i) out += (i ? ", " : "") + Value(attr);
      if (items == 0) out += d_.Chance(0.5) ? "," : ", ,";
    } else if (upper == "ORDER" || upper == "O") {
      out += OrderWord();
    } else {
      out += Value(attr);
    }
    return out;
  }

  std::string SortExpression(const ListContext& ctx) {
    const AttrPick attr = PickAttr(ctx);
    std::string out;
    if (Break()) out += "Not ";
    out += attr.Word + " ";
    static const std::vector<std::string> kOrderOps{"Order", "O", "order", "ORDER", "o"};
    out += Break() ? d_.Pick(kAllOps) : d_.Pick(kOrderOps);
    return out + " " + OrderWord();
  }

  std::string OrderWord() {
    static const std::vector<std::string> kWords{"Asc", "Desc", "ASC", "desc", "Ascending", "DESCENDING", "+", "-"};
    static const std::vector<std::string> kOdd{"Sideways", "3", "0", "ASCEND", "\"\"", "Asc Desc"};
    if (Break() || d_.Chance(0.03)) return d_.Pick(kOdd);
    if (lookup_ == eQLTByKey && d_.Chance(0.7)) return d_.Chance(0.5) ? "1" : "2";
    return d_.Pick(kWords);
  }

  // A value for the attribute as a word of the query: mostly one that fits,
  // now and then an odd one or one written bare whatever it holds.
  std::string Value(const AttrPick& attr) {
    std::string raw;
    if (d_.Chance(0.04)) {
      raw = d_.Pick(kOddValues);
    } else if (attr.System) {
      raw = SystemValue(*attr.System);
    } else if (attr.User) {
      raw = UserValue(*attr.User);
    } else {
      raw = d_.Pick(kTexts);
    }
    if (d_.Chance(0.005) || Break()) return raw.empty() ? "x" : raw;  // bare, whatever it holds
    return d_.Chance(0.2) ? QuotedWord(raw) : QueryWord(raw);
  }

  std::string Number(long lo, long hi) { return std::to_string(d_.Between(lo, hi)); }

  std::string UserName() {
    if (v_.Users.empty()) return "Nobody";
    return d_.Pick(v_.Users).Name;
  }
  std::string UserKey() { return v_.Users.empty() ? "1" : std::to_string(d_.Pick(v_.Users).Key); }

  // A project object by the lookup type: name, key or GUID.
  template <class T>
  std::string ByLookup(const std::vector<T>& items, const std::string& (*name)(const T&)) {
    if (items.empty()) return "0";
    const T& item = d_.Pick(items);
    if (lookup_ == eQLTByKey) return std::to_string(item.Key);
    if (lookup_ == eQLTByGUID) return item.GUID;
    return name(item);
  }

  std::string SystemValue(const SystemWords& attr) {
    switch (attr.Kind) {
      case ValueKind::kReqKey:
        return Number(1, 140);
      case ValueKind::kKey:
        return Number(0, 70);
      case ValueKind::kDiscussionStatus:
        return Number(1, 2);
      case ValueKind::kRootTag:
        return d_.Chance(0.85) ? d_.Pick(kRootTags) : d_.Pick(kOddRootTags);
      case ValueKind::kUser:
        if (d_.Chance(0.05)) return "<NO ENTRY>";
        return ByLookup<User>(v_.Users, [](const User& u) -> const std::string& { return u.Name; });
      case ValueKind::kDocument:
        if (d_.Chance(0.08)) return d_.Chance(0.5) ? "DATABASE" : "0";
        return ByLookup<Document>(v_.Documents, [](const Document& doc) -> const std::string& { return doc.Name; });
      case ValueKind::kRevision:
        return Number(1, 5);
      case ValueKind::kWhole:
        return d_.Chance(0.9) ? Number(-2, 60) : "2147483647";
      case ValueKind::kHierLevel:
        hierLevel_ = true;
        return Number(0, 5);
      case ValueKind::kDateTime:
        return d_.Pick(kDateTimes);
      case ValueKind::kBoolean:
        return d_.Pick(kBooleans);
      case ValueKind::kPackageName:
        return d_.Pick(kPackageNames);
      case ValueKind::kUserName:
        return UserName();
      case ValueKind::kUserKey:
        return UserKey();
      case ValueKind::kGroupName:
        return v_.Groups.empty() ? "Nobody" : d_.Pick(v_.Groups).Name;
      case ValueKind::kGroupKey:
        return v_.Groups.empty() ? "1" : std::to_string(d_.Pick(v_.Groups).Key);
      case ValueKind::kPriority:
        return d_.Chance(0.9) ? Number(1, 3) : (d_.Chance(0.5) ? "2.5" : "2x");
      default:
        return d_.Pick(kTexts);
    }
  }

  std::string UserValue(const Attr& attr) {
    switch (attr.DataType) {
      case eADTList:
      case eADTMultiSelectList: {
        if (d_.Chance(0.06)) return d_.Chance(0.6) ? "<NO ENTRY>" : "0";
        if (attr.ListItems.empty()) return "Nothing";
        const ListItem& item = d_.Pick(attr.ListItems);
        if (lookup_ == eQLTByKey) return std::to_string(item.Key);
        if (lookup_ == eQLTByGUID) return item.GUID;
        return d_.Chance(0.1) ? Cased(item.Text) : item.Text;
      }
      case eADTWholeNumber:
        return d_.Chance(0.9) ? Number(-3, 45) : (d_.Chance(0.5) ? "2147483647" : "-2147483648");
      case eADTRealNumber: {
        static const std::vector<std::string> kReals{"1.5", "-2.25", "0", "1e3", "3.0", "12.75", "100", "0.1"};
        return d_.Pick(kReals);
      }
      case eADTDate:
        return d_.Pick(kDates);
      case eADTTime:
        return d_.Pick(kTimes);
      default:
        return d_.Pick(kTexts);
    }
  }

  // A relationship list: a trace expression with its destinations, status
  // and direct-only expressions, in any order. Gives the destinations named.
  std::string RelList(const TypeWords& base, std::vector<const TypeWords*>& dests) {
    std::vector<std::string> parts;
    const bool from = d_.Chance(0.4);
    std::string trace = d_.Chance(0.12) ? "Not " : "";
    if (lookup_ == eQLTByKey) {
      trace += from ? "-101" : "-100";
    } else if (lookup_ == eQLTByGUID) {
      trace += SystemAttrGUID(from ? "87" : "86");
    } else {
      trace += Cased(from ? "TRACED-FROM" : "TRACED-TO");
    }
    trace += Break() ? " = " : (d_.Chance(0.85) ? " In " : " in ");
    const long count = d_.Chance(0.7) ? 1 : d_.Between(2, 3);
    for (long i = 0; i < count; ++i) {
      const TypeWords* dest = &PickDestination(base);
      dests.push_back(dest);
      trace += (i ? ", " : "") + DestinationText(*dest, base, lookup_);
    }
    if (Break()) trace += d_.Chance(0.5) ? ", REQUIREMENT" : ", NOSUCH";
    if (!Break()) parts.push_back(trace);
    if (d_.Chance(0.35)) {
      std::string status = d_.Chance(0.25) ? "Not " : "";
      status += lookup_ == eQLTByKey ? "-102" : lookup_ == eQLTByGUID ? SystemAttrGUID("88") : Cased("STATUS");
      status += " = ";
      if (lookup_ == eQLTByKey) {
        status += Break() ? "\"SUSPECT\"" : Number(1, 2);
      } else {
        status += Break() ? "maybe" : (d_.Chance(0.7) ? "\"SUSPECT\"" : "suspect");
      }
      parts.push_back(status);
    }
    if (d_.Chance(0.35)) {
      std::string direct = d_.Chance(0.2) ? "Not " : "";
      direct += lookup_ == eQLTByKey ? "-103" : lookup_ == eQLTByGUID ? SystemAttrGUID("89") : Cased("DIRECT-ONLY");
      direct += " = ";
      direct += Break() ? "maybe" : (d_.Chance(0.75) ? "\"FALSE\"" : (d_.Chance(0.5) ? "TRUE" : "false"));
      parts.push_back(direct);
    }
    // The trace expression mostly first, the others in any order.
    if (parts.size() > 1 && d_.Chance(0.2)) std::swap(parts[0], parts[1 + d_.Below(parts.size() - 1)]);
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i)
      out += (i ? " " + (Break() ? Connector() : "AND") + " " : "") + parts[i];
    if (out.empty()) out = "STATUS = \"SUSPECT\"";
    return out;
  }

  const TypeWords& PickDestination(const TypeWords& base) {
    // Mostly types of the base's own project, sometimes an external one.
    std::vector<const TypeWords*> own;
    std::vector<const TypeWords*> other;
    for (const TypeWords& t : v_.Types) (t.ProjectKey == base.ProjectKey ? own : other).push_back(&t);
    // From an external project the project that references it isn't known.
    if (base.External) other.clear();
    if (!other.empty() && d_.Chance(0.2)) return *d_.Pick(other);
    return *d_.Pick(own);
  }

  std::string SectionKeyword(std::string_view word) {
    std::string out = d_.Chance(0.85) ? std::string(word) : Cased(word);
    if (Break()) {
      // A typo, a blank before the parenthesis, or a line end before the section.
      const auto kind = d_.Below(3);
      if (kind == 0 && out.size() > 3) out.erase(out.size() - 2, 1);
      if (kind == 1) out += " ";
    }
    return out;
  }

  std::string Section(const std::string& spec, std::string_view keyword, const std::string& body) {
    std::string out = spec + "." + SectionKeyword(keyword) + "(" + body;
    if (!Break()) out += ")";
    return out;
  }

  bool WroteHierLevel() const { return hierLevel_; }

 private:
  const QueryVocabulary& v_;
  Draw& d_;
  enumQueryLookupTypes lookup_;
  double break_;
  bool hierLevel_ = false;
};

}  // namespace

QueryGenerator::QueryGenerator(QueryVocabulary vocabulary) : vocabulary_(std::move(vocabulary)) {}

GeneratedQuery QueryGenerator::Generate(std::uint64_t seed, std::uint64_t index) const {
  Draw d(seed, index);
  GeneratedQuery q;
  const auto lookupDraw = d.Below(100);
  q.LookupType = lookupDraw < 60 ? eQLTByPrefix : lookupDraw < 85 ? eQLTByKey : eQLTByGUID;
  // Most queries are meant to be read; the others carry a few mistakes.
  const double breakChance = d.Chance(0.22) ? 0.12 : 0.0;
  const auto scopeDraw = d.Below(100);
  q.Scope = scopeDraw < 70 || vocabulary_.Types.empty() ? QueryScope::kReqType
            : scopeDraw < 82                            ? QueryScope::kProjectWide
                                                        : QueryScope::kDiscussion;
  if (vocabulary_.Types.empty() && scopeDraw < 70) q.Scope = QueryScope::kProjectWide;
  q.ReturnType = q.Scope == QueryScope::kDiscussion ? eBTDiscussions : eBTRequirements;
  // Sections of these two kinds can't be named by GUID; a few such queries do.
  if (q.Scope != QueryScope::kReqType && q.LookupType == eQLTByGUID && d.Chance(0.7)) q.LookupType = eQLTByPrefix;
  q.BaseProjectKey = vocabulary_.ProjectKey;
  Writer w(vocabulary_, d, q.LookupType, breakChance);

  std::vector<std::string> sections;
  std::size_t sortSection = std::string::npos;
  bool baseFormKept = true;
  if (q.Scope == QueryScope::kReqType) {
    std::vector<const TypeWords*> own;
    std::vector<const TypeWords*> external;
    for (const TypeWords& t : vocabulary_.Types) (t.External ? external : own).push_back(&t);
    const TypeWords& base = (!external.empty() && (own.empty() || d.Chance(0.15))) ? *d.Pick(external) : *d.Pick(own);
    q.BaseTypeKey = base.Type.Key;
    q.BaseExternal = base.External;
    q.BaseProjectKey = base.ProjectKey;
    const std::string spec = SpecifierText(base, q.LookupType);

    static const char* const kForms[] = {"", "Prefix", "Key", "GUID"};
    std::string form = kForms[q.LookupType];
    std::string baseSpec = spec;
    if (w.Break()) {
      static const std::vector<std::string> kBadBases{
          "", "NOSUCH", "REQUIREMENT", "DISCUSSION", "NOEXT.PR", "0", "{00000000-0000-0000-0000-000000000000}", "\"\""};
      baseSpec = d.Pick(kBadBases);
    }
    if (w.Break()) form = kForms[1 + d.Below(3)];
    baseFormKept = form == kForms[q.LookupType];
    sections.push_back((d.Chance(0.9) ? "ReqType." : "REQTYPE.") + form + "(" + baseSpec + ")");

    ListContext criteria;
    criteria.Type = &base;
    const long criteriaSections = d.Chance(0.25) ? 0 : d.Chance(0.8) ? 1 : 2;
    for (long i = 0; i < criteriaSections; ++i) sections.push_back(w.Section(spec, "Criteria", w.List(criteria, 0)));

    const long relSections = d.Chance(0.55) ? 0 : d.Chance(0.8) ? 1 : 2;
    for (long i = 0; i < relSections; ++i) {
      std::vector<const TypeWords*> dests;
      sections.push_back(w.Section(spec, "RelCriteria", w.RelList(base, dests)));
      std::vector<const TypeWords*> done;
      for (const TypeWords* dest : dests) {
        if (!d.Chance(0.5) || std::find(done.begin(), done.end(), dest) != done.end()) continue;
        done.push_back(dest);
        ListContext destCtx;
        destCtx.Type = dest;
        destCtx.Destination = true;
        sections.push_back(w.Section(DestinationText(*dest, base, q.LookupType), "Criteria", w.List(destCtx, 0)));
      }
    }
    if (d.Chance(0.35)) {
      ListContext sort;
      sort.Type = &base;
      sort.Sort = true;
      sections.push_back(w.Section(spec, "Sort", w.List(sort, 1)));
      sortSection = sections.size() - 1;
    }
  } else {
    const bool discussion = q.Scope == QueryScope::kDiscussion;
    std::string word = discussion ? "DISCUSSION" : "REQUIREMENT";
    if (q.LookupType == eQLTByGUID && !d.Chance(0.3)) word.clear();
    if (d.Chance(0.05)) word = w.Cased(word);
    ListContext ctx;
    ctx.Discussion = discussion;
    const long criteriaSections = d.Chance(0.15) ? 0 : d.Chance(0.85) ? 1 : 2;
    for (long i = 0; i < criteriaSections; ++i) sections.push_back(w.Section(word, "Criteria", w.List(ctx, 0)));
    if (d.Chance(0.35) || criteriaSections == 0) {
      ctx.Sort = true;
      sections.push_back(w.Section(word, "Sort", w.List(ctx, 1)));
      sortSection = sections.size() - 1;
    }
  }

  if (w.Break()) {
    static const std::vector<std::string> kLeftovers{"xx", "PR.Critera(Name = x)", ")", "AND", "COUNT",
                                                     "\"", "ReqType.Prefix(SR)"};
    // A second base section is a leftover only behind a base section of the
    // lookup's own form; behind another form it is the one the engine reads.
    const std::string& leftover = d.Pick(kLeftovers);
    if (baseFormKept || leftover.rfind("ReqType.", 0) != 0) sections.push_back(leftover);
  }
  std::string body;
  std::string unsorted;
  for (std::size_t i = 0; i < sections.size(); ++i) {
    body += (body.empty() ? "" : " ") + sections[i];
    if (i != sortSection) unsorted += (unsorted.empty() ? "" : " ") + sections[i];
  }
  if (sortSection != std::string::npos) q.TextWithoutSort = unsorted;
  if (breakChance > 0 && d.Chance(0.1) && !body.empty()) {
    // One character dropped or doubled.
    const std::size_t at = d.Below(body.size());
    if (d.Chance(0.5))
      body.erase(at, 1);
    else
      body.insert(at, 1, body[at]);
    q.TextWithoutSort.clear();
  }

  q.HierarchyLevel = w.WroteHierLevel();
  q.Count = d.Chance(0.15);
  q.TextWithoutCount = body;
  q.Text = q.Count ? (d.Chance(0.7) ? "COUNT " : "count ") + body : body;
  return q;
}

}  // namespace vlq::test
