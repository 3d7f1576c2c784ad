#include "platform/reqif_exporter.h"

#include <libxml/xmlwriter.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "platform/reqif_common.h"
#include "platform/sqlite_connection.h"
#include "services/failure.h"

namespace vlq::platform {
namespace {

constexpr const char* kSource = "ReqifExporter";
constexpr const char* kReqifNamespace = "http://www.omg.org/spec/ReqIF/20110401/reqif.xsd";
constexpr const char* kExtensionNamespace = "urn:vlqueryengine:reqif";

// Fixed identifiers of the data types that every attribute of a kind shares.
constexpr const char* kStringType = "vlq-datatype-string";
constexpr const char* kIntegerType = "vlq-datatype-integer";
constexpr const char* kRealType = "vlq-datatype-real";
constexpr const char* kDateType = "vlq-datatype-date";
constexpr const char* kTimeType = "vlq-datatype-time";
constexpr const char* kDocumentType = "vlq-document-type";
constexpr const char* kRelationType = "vlq-trace-type";

struct Item {
  long Key = 0;
  std::string Text;
  std::string Identifier;
};

struct Attr {
  long Key = 0;
  std::string Label;
  int DataType = 1;
  std::string Identifier;
  std::string DatatypeIdentifier;  // enumerations: their own
  std::vector<Item> Items;         // in rank order
  std::unordered_map<long, std::size_t> ItemIndex;
};

struct Type {
  long Key = 0;
  std::string Prefix;
  std::string Name;
  std::string Identifier;
  std::string NameIdentifier;  // ReqIF.Name
  std::string TextIdentifier;  // ReqIF.Text
  std::vector<Attr> Attrs;
  bool Used = true;  // every type of the project is written
};

struct Req {
  long Key = 0;
  long TypeKey = 0;
  std::size_t Type = 0;  // index into types
  std::string Name;
  std::string Text;
  std::string Tag;
  std::string Changed;
  long Document = 0;
  std::optional<long> Position;
  std::string Identifier;
  long Parent = -1;      // index of the nearest written ancestor by tag within the type
  std::size_t Tree = 0;  // index into trees_: the document tree it is written in
};

struct DocTree {
  long DocumentKey = 0;  // 0: the document tree of the requirements outside documents
  std::string Name;
  std::string Identifier;
  std::vector<std::size_t> Members;  // requirement indexes, in writing order
  std::size_t TreeEntry = 0;         // its top entry in children_, behind the requirements
};

// xsd:ID (an NCName): a letter or "_" first, then letters, digits, ".", "-"
// and "_"; bytes beyond ASCII count as letters.
bool IsNcName(std::string_view s) {
  if (s.empty()) return false;
  auto letter = [](unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 0x80; };
  if (!letter(static_cast<unsigned char>(s.front()))) return false;
  return std::all_of(s.begin(), s.end(), [&](char ch) {
    const auto c = static_cast<unsigned char>(ch);
    return letter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-';
  });
}

// Every identifier of the file once: a second use of one gets a derived one.
class Identifiers {
 public:
  std::string Claim(std::string wanted) {
    if (!IsNcName(wanted)) {
      std::string fixed = "_";
      for (char c : wanted) {
        const auto u = static_cast<unsigned char>(c);
        fixed += (u >= 0x80 || std::isalnum(u) || c == '.' || c == '-' || c == '_') ? c : '_';
      }
      wanted = fixed;
    }
    std::string candidate = wanted;
    for (int n = 2; !used_.insert(candidate).second; ++n) candidate = wanted + "-" + std::to_string(n);
    return candidate;
  }

 private:
  std::unordered_set<std::string> used_;
};

std::string RealText(double value) {
  if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
  char buffer[64];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, end) : std::to_string(value);
}

// The libxml2 writer, with every call checked.
class Writer {
 public:
  explicit Writer(const std::filesystem::path& file) {
    writer_ = xmlNewTextWriterFilename(file.string().c_str(), 0);
    if (!writer_) throw Failure(kUnexpectedFailureNumber, kSource, "Can't write " + file.string());
    xmlTextWriterSetIndent(writer_, 1);
    xmlTextWriterSetIndentString(writer_, BAD_CAST "  ");
    Check(xmlTextWriterStartDocument(writer_, "1.0", "UTF-8", nullptr));
  }
  ~Writer() {
    if (writer_) xmlFreeTextWriter(writer_);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  Writer& Start(const char* name) {
    Check(xmlTextWriterStartElement(writer_, BAD_CAST name));
    return *this;
  }
  Writer& StartNs(const char* prefix, const char* name, const char* uri) {
    Check(xmlTextWriterStartElementNS(writer_, BAD_CAST prefix, BAD_CAST name, BAD_CAST uri));
    return *this;
  }
  Writer& Attribute(const char* name, std::string_view value) {
    const std::string text(value);
    Check(xmlTextWriterWriteAttribute(writer_, BAD_CAST name, BAD_CAST text.c_str()));
    return *this;
  }
  Writer& End() {
    Check(xmlTextWriterEndElement(writer_));
    return *this;
  }
  // An element with text only.
  Writer& Element(const char* name, std::string_view content) {
    const std::string text(content);
    Check(xmlTextWriterWriteElement(writer_, BAD_CAST name, BAD_CAST text.c_str()));
    return *this;
  }
  // <OUTER><NAME>ref</NAME></OUTER>
  Writer& Ref(const char* outer, const char* name, std::string_view ref) {
    Start(outer);
    Element(name, ref);
    return End();
  }
  void Finish() {
    Check(xmlTextWriterEndDocument(writer_));
    xmlFreeTextWriter(writer_);
    writer_ = nullptr;
  }

 private:
  static void Check(int rc) {
    if (rc < 0) throw Failure(kUnexpectedFailureNumber, kSource, "Writing the ReqIF file failed");
  }
  xmlTextWriterPtr writer_ = nullptr;
};

const char* KindOf(int dataType) {
  switch (dataType) {
    case 0:
    case 10:
      return "ENUMERATION";
    case 2:
    case 5:
      return "INTEGER";
    case 3:
      return "REAL";
    case 4:
      return "DATE";
    default:
      return "STRING";
  }
}

const char* SharedDatatype(int dataType) {
  switch (dataType) {
    case 2: return kIntegerType;
    case 3: return kRealType;
    case 4: return kDateType;
    case 5: return kTimeType;
    default: return kStringType;
  }
}

class ExportRun {
 public:
  ExportRun(const std::filesystem::path& project, const ReqifExportOptions& options)
      : conn_(SqliteConnection::Open(project, false)), db_(conn_->Handle()), options_(options) {}

  ReqifExportSummary Run(const std::vector<long>& keys, const std::filesystem::path& temporary);

 private:
  void ReadStructure();
  void ReadRequirements(const std::vector<long>& keys);
  void PlaceRequirements();
  bool BuildTrees(bool documentOrder);
  void WriteFile(const std::filesystem::path& temporary);
  void WriteValues(Writer& w, const Req& req);
  void Tell(const std::string& phase, long long done, long long total) const {
    if (options_.Progress) options_.Progress(phase, done, total);
  }

  std::shared_ptr<SqliteConnection> conn_;
  ::sqlite3* db_;
  const ReqifExportOptions& options_;
  ReqifExportSummary summary_;
  Identifiers ids_;
  std::string projectGuid_;
  std::string projectName_;
  std::vector<Type> types_;
  std::unordered_map<long, std::size_t> typeIndex_;
  std::vector<Req> reqs_;
  std::unordered_map<long, std::size_t> reqIndex_;
  std::vector<DocTree> trees_;
  // Each document tree: children by parent (requirement index;
  // the top of a document tree is its own entry behind the requirements).
  std::vector<std::vector<std::size_t>> children_;
  std::vector<std::pair<std::size_t, std::size_t>> traces_;
  std::unordered_map<long, std::pair<std::size_t, std::size_t>> attrByKey_;  // type and attribute index
  std::string now_;
  std::unique_ptr<reqif::BulkStatement> fields_;
  std::unique_ptr<reqif::BulkStatement> lists_;
};

void ExportRun::ReadStructure() {
  {
    reqif::BulkStatement project(db_, "SELECT GUID, NAME FROM VLPROJECT LIMIT 1", kSource);
    if (project.Step()) {
      projectGuid_ = project.Text(0);
      projectName_ = project.Text(1);
    }
  }
  reqif::BulkStatement types(db_, "SELECT ID, PREFIX, NAME, GUID FROM VLREQUIREMENTTYPES ORDER BY ID", kSource);
  while (types.Step()) {
    Type type;
    type.Key = types.Int(0);
    type.Prefix = types.Text(1);
    type.Name = types.Text(2);
    const std::string guid = types.Text(3);
    type.Identifier = ids_.Claim(reqif::IdentifierFromGuid(guid.empty() ? reqif::NameBasedGuid(type.Name) : guid));
    type.NameIdentifier = ids_.Claim(reqif::IdentifierFromGuid(reqif::NameBasedGuid(type.Identifier + "/ReqIF.Name")));
    type.TextIdentifier = ids_.Claim(reqif::IdentifierFromGuid(reqif::NameBasedGuid(type.Identifier + "/ReqIF.Text")));
    typeIndex_.emplace(type.Key, types_.size());
    types_.push_back(std::move(type));
  }
  reqif::BulkStatement attrs(
      db_, "SELECT ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE FROM VLATTRIBUTES ORDER BY REQUIREMENTTYPEID, ID",
      kSource);
  reqif::BulkStatement items(
      db_, "SELECT ITEMID, ITEMTEXT, GUID FROM VLUSERDEFINEDLISTITEMS WHERE FIELDID = ?1 ORDER BY ITEMRANK, ITEMID",
      kSource);
  while (attrs.Step()) {
    auto type = typeIndex_.find(attrs.Int(1));
    if (type == typeIndex_.end()) continue;
    Attr attr;
    attr.Key = attrs.Int(0);
    attr.Label = attrs.Text(2);
    const std::string guid = attrs.Text(3);
    attr.DataType = static_cast<int>(attrs.Int(4));
    attr.Identifier =
        ids_.Claim(reqif::IdentifierFromGuid(guid.empty() ? reqif::NameBasedGuid(types_[type->second].Identifier + "/" + attr.Label) : guid));
    if (attr.DataType == 0 || attr.DataType == 10) {
      attr.DatatypeIdentifier =
          ids_.Claim(reqif::IdentifierFromGuid(reqif::NameBasedGuid(attr.Identifier + "/datatype")));
      items.Bind(1, static_cast<std::int64_t>(attr.Key));
      while (items.Step()) {
        Item item;
        item.Key = items.Int(0);
        item.Text = items.Text(1);
        const std::string itemGuid = items.Text(2);
        item.Identifier = ids_.Claim(reqif::IdentifierFromGuid(
            itemGuid.empty() ? reqif::NameBasedGuid(attr.Identifier + "/" + item.Text) : itemGuid));
        attr.ItemIndex.emplace(item.Key, attr.Items.size());
        attr.Items.push_back(std::move(item));
      }
      items.Reset();
    } else {
      attr.DatatypeIdentifier = SharedDatatype(attr.DataType);
    }
    attrByKey_.emplace(attr.Key, std::make_pair(type->second, types_[type->second].Attrs.size()));
    types_[type->second].Attrs.push_back(std::move(attr));
  }
}

void ExportRun::ReadRequirements(const std::vector<long>& keys) {
  std::vector<long> sorted = keys;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  bool hasIdentifiers = false;
  {
    reqif::BulkStatement probe(db_, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'VLREQIFIDENTIFIERS'",
                               kSource);
    hasIdentifiers = probe.Step();
  }
  reqif::BulkStatement row(db_,
                           "SELECT REQUIREMENTTYPEID, REQUIREMENTNAME, REQUIREMENTTEXT, LONGTAGNUMBER, "
                           "VERSIONDATETIME, BOOKMARKDOCUMENTID, DOCUMENTPOSITION FROM VLREQUIREMENTS WHERE ID = ?1",
                           kSource);
  std::unique_ptr<reqif::BulkStatement> identifier;
  if (hasIdentifiers) {
    identifier = std::make_unique<reqif::BulkStatement>(
        db_, "SELECT IDENTIFIER FROM VLREQIFIDENTIFIERS WHERE REQUIREMENTID = ?1", kSource);
  }
  const std::string projectIdentifier = reqif::IdentifierFromGuid(projectGuid_);
  for (long key : sorted) {
    row.Bind(1, static_cast<std::int64_t>(key));
    if (!row.Step()) {
      row.Reset();
      continue;
    }
    auto type = typeIndex_.find(row.Int(0));
    if (type == typeIndex_.end()) {
      row.Reset();
      continue;
    }
    Req req;
    req.Key = key;
    req.TypeKey = row.Int(0);
    req.Type = type->second;
    req.Name = row.Text(1);
    req.Text = row.Text(2);
    req.Tag = row.Text(3);
    req.Changed = row.Text(4);
    req.Document = row.IsNull(5) ? 0 : row.Int(5);
    if (!row.IsNull(6)) req.Position = row.Int(6);
    row.Reset();
    std::string wanted;
    if (identifier) {
      identifier->Bind(1, static_cast<std::int64_t>(key));
      if (identifier->Step()) wanted = identifier->Text(0);
      identifier->Reset();
    }
    if (wanted.empty()) wanted = projectIdentifier + "-R" + std::to_string(key);
    req.Identifier = ids_.Claim(wanted);
    types_[req.Type].Used = true;
    reqIndex_.emplace(key, reqs_.size());
    reqs_.push_back(std::move(req));
  }
}

// Tag parents, and the document tree of every requirement.
void ExportRun::PlaceRequirements() {
  std::map<std::pair<long, std::string>, std::size_t> byTag;
  for (std::size_t i = 0; i < reqs_.size(); ++i) {
    if (!reqs_[i].Tag.empty()) byTag.emplace(std::make_pair(reqs_[i].TypeKey, reqs_[i].Tag), i);
  }
  for (Req& req : reqs_) {
    // The nearest written ancestor: the tag cut by whole levels.
    for (std::size_t length = req.Tag.size() / 10 * 10; length >= 20; length -= 10) {
      auto parent = byTag.find({req.TypeKey, req.Tag.substr(0, length - 10)});
      if (parent != byTag.end()) {
        req.Parent = static_cast<long>(parent->second);
        break;
      }
    }
  }
  // Document trees: the documents by key, then one for the rest.
  std::map<long, std::size_t> treeOfDocument;
  {
    reqif::BulkStatement documents(db_, "SELECT ID, NAME, GUID FROM VLDOCUMENTS ORDER BY ID", kSource);
    std::set<long> used;
    for (const Req& req : reqs_) {
      if (req.Document != 0) used.insert(req.Document);
    }
    while (documents.Step()) {
      const long key = documents.Int(0);
      if (!used.count(key)) continue;
      DocTree tree;
      tree.DocumentKey = key;
      tree.Name = documents.Text(1);
      const std::string guid = documents.Text(2);
      tree.Identifier = ids_.Claim(reqif::IdentifierFromGuid(guid.empty() ? reqif::NameBasedGuid(tree.Name) : guid));
      treeOfDocument.emplace(key, trees_.size());
      trees_.push_back(std::move(tree));
    }
  }
  const std::size_t rest = trees_.size();
  {
    DocTree tree;
    tree.Name = projectName_.empty() ? "Requirements" : projectName_;
    tree.Identifier = ids_.Claim(reqif::IdentifierFromGuid(reqif::NameBasedGuid(projectGuid_ + "/requirements")));
    trees_.push_back(std::move(tree));
  }
  auto ownTree = [&](const Req& req) -> std::optional<std::size_t> {
    auto it = treeOfDocument.find(req.Document);
    if (it == treeOfDocument.end()) return std::nullopt;
    return it->second;
  };
  // The roots of each type go to the document trees in tag order, so that a
  // new import numbers them as they are numbered now: a root never goes to an
  // earlier document tree than the root before it, and one without a
  // document joins its neighbour.
  std::map<long, std::vector<std::size_t>> rootsOfType;
  for (std::size_t i = 0; i < reqs_.size(); ++i) {
    if (reqs_[i].Parent < 0) rootsOfType[reqs_[i].TypeKey].push_back(i);
  }
  for (auto& [typeKey, roots] : rootsOfType) {
    std::sort(roots.begin(), roots.end(), [&](std::size_t a, std::size_t b) { return reqs_[a].Tag < reqs_[b].Tag; });
    std::vector<std::optional<std::size_t>> next(roots.size() + 1);
    for (std::size_t k = roots.size(); k-- > 0;) {
      const auto own = ownTree(reqs_[roots[k]]);
      next[k] = own ? own : next[k + 1];
    }
    std::size_t floor = 0;
    for (std::size_t k = 0; k < roots.size(); ++k) {
      const auto own = ownTree(reqs_[roots[k]]);
      std::size_t tree = own ? *own : (k > 0 ? floor : next[k].value_or(rest));
      tree = std::max(tree, floor);
      reqs_[roots[k]].Tree = tree;
      floor = tree;
    }
  }
  // Everything else stands in the document tree of its root.
  for (std::size_t i = 0; i < reqs_.size(); ++i) {
    std::size_t root = i;
    while (reqs_[root].Parent >= 0) root = static_cast<std::size_t>(reqs_[root].Parent);
    reqs_[i].Tree = reqs_[root].Tree;
  }
  if (!BuildTrees(true)) BuildTrees(false);
  // Document trees without requirements are left out.
  std::vector<DocTree> kept;
  for (std::size_t s = 0; s < trees_.size(); ++s) {
    if (trees_[s].Members.empty()) continue;
    trees_[s].TreeEntry = s;
    kept.push_back(std::move(trees_[s]));
  }
  summary_.Documents = static_cast<long>(kept.size());
  trees_ = std::move(kept);
}

// Builds each document tree. With documentOrder the members stand
// in the order of their document positions and the requirements of other
// types nest under the one before them; the result is checked against the
// tag numbers that an import would give, and false means: not kept. Without,
// each type's tree stands in tag order, which always numbers right.
bool ExportRun::BuildTrees(bool documentOrder) {
  const std::size_t top = reqs_.size();
  children_.assign(reqs_.size() + trees_.size(), {});
  std::vector<long> treeParent(reqs_.size(), -1);
  for (std::size_t s = 0; s < trees_.size(); ++s) {
    DocTree& tree = trees_[s];
    tree.Members.clear();
    for (std::size_t i = 0; i < reqs_.size(); ++i) {
      if (reqs_[i].Tree == s) tree.Members.push_back(i);
    }
    auto positionKey = [&](std::size_t i) {
      const Req& r = reqs_[i];
      const bool placed = documentOrder && r.Position && r.Document == tree.DocumentKey && tree.DocumentKey != 0;
      return std::make_pair(placed ? 0 : 1, placed ? *r.Position : 0L);
    };
    std::stable_sort(tree.Members.begin(), tree.Members.end(), [&](std::size_t a, std::size_t b) {
      const auto ka = positionKey(a);
      const auto kb = positionKey(b);
      if (ka != kb) return ka < kb;
      if (reqs_[a].TypeKey != reqs_[b].TypeKey) return reqs_[a].TypeKey < reqs_[b].TypeKey;
      return reqs_[a].Tag < reqs_[b].Tag;
    });
    std::vector<std::size_t> path;
    for (std::size_t i : tree.Members) {
      const Req& req = reqs_[i];
      long parent = -1;
      if (req.Parent >= 0) {
        parent = req.Parent;
      } else if (documentOrder) {
        // Under the deepest open requirement with no ancestor of its type.
        std::size_t depth = 0;
        while (depth < path.size() && reqs_[path[depth]].TypeKey != req.TypeKey) ++depth;
        if (depth > 0) parent = static_cast<long>(path[depth - 1]);
      }
      treeParent[i] = parent;
      children_[parent >= 0 ? static_cast<std::size_t>(parent) : top + s].push_back(i);
      path.clear();
      for (long at = static_cast<long>(i); at >= 0; at = treeParent[static_cast<std::size_t>(at)]) {
        path.push_back(static_cast<std::size_t>(at));
      }
      std::reverse(path.begin(), path.end());
    }
  }
  if (!documentOrder) return true;
  // What an import of this tree numbers: each requirement's parent is its
  // nearest ancestor of its type; siblings and roots count in document order.
  // That must keep the order of the tags as they are.
  std::map<long, std::string> lastRoot;
  std::vector<std::string> lastChild(reqs_.size());
  bool ok = true;
  std::function<void(std::size_t)> visit = [&](std::size_t node) {
    for (std::size_t child : children_[node]) {
      if (!ok) return;
      const Req& req = reqs_[child];
      long ancestor = treeParent[child];
      while (ancestor >= 0 && reqs_[static_cast<std::size_t>(ancestor)].TypeKey != req.TypeKey) {
        ancestor = treeParent[static_cast<std::size_t>(ancestor)];
      }
      if (ancestor != req.Parent) ok = false;
      std::string& last = req.Parent >= 0 ? lastChild[static_cast<std::size_t>(req.Parent)] : lastRoot[req.TypeKey];
      if (!last.empty() && !(last < req.Tag)) ok = false;
      last = req.Tag;
      visit(child);
    }
  };
  for (std::size_t s = 0; s < trees_.size() && ok; ++s) visit(top + s);
  return ok;
}

void ExportRun::WriteValues(Writer& w, const Req& req) {
  const Type& type = types_[req.Type];
  // The stored values of the requirement, by attribute.
  std::map<std::size_t, std::string> freeValues;    // attribute index -> THE-VALUE
  std::map<std::size_t, std::vector<std::size_t>> chosen;  // attribute index -> item indexes
  fields_->Bind(1, static_cast<std::int64_t>(req.Key));
  while (fields_->Step()) {
    auto found = attrByKey_.find(fields_->Int(0));
    if (found == attrByKey_.end() || found->second.first != req.Type || fields_->IsNull(1)) continue;
    const Attr& attr = type.Attrs[found->second.second];
    const int column = fields_->ColumnType(1);
    std::optional<std::string> text;
    switch (attr.DataType) {
      case 2:
      case 5:
        if (column == SQLITE_INTEGER) {
          text = std::to_string(fields_->Int(1));
        } else if (column == SQLITE_FLOAT && std::floor(fields_->Real(1)) == fields_->Real(1) &&
                   std::fabs(fields_->Real(1)) < 9.2e18) {
          text = std::to_string(static_cast<std::int64_t>(fields_->Real(1)));
        }
        break;
      case 3:
        if (column == SQLITE_INTEGER || column == SQLITE_FLOAT) text = RealText(fields_->Real(1));
        break;
      case 4:
        if (column == SQLITE_INTEGER || column == SQLITE_FLOAT) {
          const auto days = static_cast<std::int64_t>(std::floor(fields_->Real(1)));
          const reqif::DateTime date = reqif::FromDaysSince1901(days);
          if (date.Year >= 1 && date.Year <= 9999) text = reqif::XsdDateTime(date);
        }
        break;
      case 0:
      case 10:
        break;
      default:
        text = fields_->Text(1);
        break;
    }
    if (!text || freeValues.count(found->second.second)) {
      ++summary_.ValuesLeftOut;
      continue;
    }
    freeValues.emplace(found->second.second, std::move(*text));
  }
  fields_->Reset();
  lists_->Bind(1, static_cast<std::int64_t>(req.Key));
  while (lists_->Step()) {
    auto found = attrByKey_.find(lists_->Int(0));
    if (found == attrByKey_.end() || found->second.first != req.Type) continue;
    const Attr& attr = type.Attrs[found->second.second];
    auto item = attr.ItemIndex.find(lists_->Int(1));
    if (item == attr.ItemIndex.end()) {
      ++summary_.ValuesLeftOut;
      continue;
    }
    chosen[found->second.second].push_back(item->second);
  }
  lists_->Reset();

  w.Start("VALUES");
  if (!req.Name.empty()) {
    w.Start("ATTRIBUTE-VALUE-STRING").Attribute("THE-VALUE", req.Name);
    w.Ref("DEFINITION", "ATTRIBUTE-DEFINITION-STRING-REF", type.NameIdentifier).End();
  }
  if (!req.Text.empty()) {
    w.Start("ATTRIBUTE-VALUE-STRING").Attribute("THE-VALUE", req.Text);
    w.Ref("DEFINITION", "ATTRIBUTE-DEFINITION-STRING-REF", type.TextIdentifier).End();
  }
  for (const auto& [index, value] : freeValues) {
    const Attr& attr = type.Attrs[index];
    const std::string kind = KindOf(attr.DataType);
    w.Start(("ATTRIBUTE-VALUE-" + kind).c_str()).Attribute("THE-VALUE", value);
    w.Ref("DEFINITION", ("ATTRIBUTE-DEFINITION-" + kind + "-REF").c_str(), attr.Identifier).End();
  }
  for (auto& [index, items] : chosen) {
    const Attr& attr = type.Attrs[index];
    std::sort(items.begin(), items.end());
    items.erase(std::unique(items.begin(), items.end()), items.end());
    if (attr.DataType == 0 && items.size() > 1) {
      summary_.ValuesLeftOut += static_cast<long>(items.size() - 1);
      items.erase(items.begin() + 1, items.end());
    }
    w.Start("ATTRIBUTE-VALUE-ENUMERATION");
    w.Ref("DEFINITION", "ATTRIBUTE-DEFINITION-ENUMERATION-REF", attr.Identifier);
    w.Start("VALUES");
    for (std::size_t item : items) w.Element("ENUM-VALUE-REF", attr.Items[item].Identifier);
    w.End().End();
  }
  w.End();
}

void ExportRun::WriteFile(const std::filesystem::path& temporary) {
  Writer w(temporary);
  w.Start("REQ-IF").Attribute("xmlns", kReqifNamespace).Attribute("xmlns:vlq", kExtensionNamespace);
  w.Start("THE-HEADER").Start("REQ-IF-HEADER");
  w.Attribute("IDENTIFIER", ids_.Claim(reqif::IdentifierFromGuid(projectGuid_.empty() ? reqif::NameBasedGuid(projectName_)
                                                                                       : projectGuid_)));
  w.Element("COMMENT", "Written by vlquery export");
  w.Element("CREATION-TIME", now_);
  w.Element("REQ-IF-TOOL-ID", "VlQueryEngine");
  w.Element("REQ-IF-VERSION", "1.0");
  w.Element("SOURCE-TOOL-ID", "VlQueryEngine");
  w.Element("TITLE", projectName_.empty() ? "Requirements" : projectName_);
  w.End().End();

  w.Start("CORE-CONTENT").Start("REQ-IF-CONTENT");
  // Data types: one per kind, and one enumeration per list attribute.
  w.Start("DATATYPES");
  w.Start("DATATYPE-DEFINITION-STRING").Attribute("IDENTIFIER", kStringType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Text").Attribute("MAX-LENGTH", "2147483647").End();
  w.Start("DATATYPE-DEFINITION-INTEGER").Attribute("IDENTIFIER", kIntegerType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Whole number").Attribute("MAX", "9223372036854775807");
  w.Attribute("MIN", "-9223372036854775808").End();
  w.Start("DATATYPE-DEFINITION-INTEGER").Attribute("IDENTIFIER", kTimeType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Time of day (seconds since midnight)").Attribute("MAX", "86399").Attribute("MIN", "0").End();
  w.Start("DATATYPE-DEFINITION-REAL").Attribute("ACCURACY", "17").Attribute("IDENTIFIER", kRealType);
  w.Attribute("LAST-CHANGE", now_).Attribute("LONG-NAME", "Real number");
  w.Attribute("MAX", "1.7976931348623157E308").Attribute("MIN", "-1.7976931348623157E308").End();
  w.Start("DATATYPE-DEFINITION-DATE").Attribute("IDENTIFIER", kDateType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Date").End();
  for (const Type& type : types_) {
    if (!type.Used) continue;
    for (const Attr& attr : type.Attrs) {
      if (attr.DataType != 0 && attr.DataType != 10) continue;
      w.Start("DATATYPE-DEFINITION-ENUMERATION").Attribute("IDENTIFIER", attr.DatatypeIdentifier);
      w.Attribute("LAST-CHANGE", now_).Attribute("LONG-NAME", type.Name + ": " + attr.Label);
      w.Start("SPECIFIED-VALUES");
      long rank = 0;
      for (const Item& item : attr.Items) {
        w.Start("ENUM-VALUE").Attribute("IDENTIFIER", item.Identifier).Attribute("LAST-CHANGE", now_);
        w.Attribute("LONG-NAME", item.Text);
        w.Start("PROPERTIES").Start("EMBEDDED-VALUE").Attribute("KEY", std::to_string(rank++));
        w.Attribute("OTHER-CONTENT", "").End().End();
        w.End();
      }
      w.End().End();
    }
  }
  w.End();

  w.Start("SPEC-TYPES");
  for (const Type& type : types_) {
    if (!type.Used) continue;
    ++summary_.Types;
    w.Start("SPEC-OBJECT-TYPE").Attribute("IDENTIFIER", type.Identifier).Attribute("LAST-CHANGE", now_);
    w.Attribute("LONG-NAME", type.Name);
    w.Start("SPEC-ATTRIBUTES");
    for (const auto& [identifier, label] : {std::pair{type.NameIdentifier, "ReqIF.Name"},
                                            std::pair{type.TextIdentifier, "ReqIF.Text"}}) {
      w.Start("ATTRIBUTE-DEFINITION-STRING").Attribute("IDENTIFIER", identifier).Attribute("LAST-CHANGE", now_);
      w.Attribute("LONG-NAME", label);
      w.Ref("TYPE", "DATATYPE-DEFINITION-STRING-REF", kStringType).End();
    }
    for (const Attr& attr : type.Attrs) {
      ++summary_.Attributes;
      const std::string kind = KindOf(attr.DataType);
      w.Start(("ATTRIBUTE-DEFINITION-" + kind).c_str()).Attribute("IDENTIFIER", attr.Identifier);
      w.Attribute("LAST-CHANGE", now_).Attribute("LONG-NAME", attr.Label);
      if (kind == "ENUMERATION") w.Attribute("MULTI-VALUED", attr.DataType == 10 ? "true" : "false");
      w.Ref("TYPE", ("DATATYPE-DEFINITION-" + kind + "-REF").c_str(), attr.DatatypeIdentifier).End();
    }
    w.End().End();
  }
  w.Start("SPEC-RELATION-TYPE").Attribute("IDENTIFIER", kRelationType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Trace").End();
  w.Start("SPECIFICATION-TYPE").Attribute("IDENTIFIER", kDocumentType).Attribute("LAST-CHANGE", now_);
  w.Attribute("LONG-NAME", "Document").End();
  w.End();

  w.Start("SPEC-OBJECTS");
  long long done = 0;
  for (const Req& req : reqs_) {
    const Type& type = types_[req.Type];
    std::string changed = now_;
    if (const auto stored = reqif::ParseStoreDateTime(req.Changed)) changed = reqif::XsdDateTime(*stored);
    w.Start("SPEC-OBJECT").Attribute("IDENTIFIER", req.Identifier).Attribute("LAST-CHANGE", changed);
    w.Ref("TYPE", "SPEC-OBJECT-TYPE-REF", type.Identifier);
    WriteValues(w, req);
    w.End();
    ++summary_.Requirements;
    if (++done % 1000 == 0) Tell("writing", done, static_cast<long long>(reqs_.size()));
  }
  w.End();

  w.Start("SPEC-RELATIONS");
  for (const auto& [from, to] : traces_) {
    w.Start("SPEC-RELATION");
    w.Attribute("IDENTIFIER", ids_.Claim(reqif::IdentifierFromGuid(
                                  reqif::NameBasedGuid(reqs_[from].Identifier + ">" + reqs_[to].Identifier))));
    w.Attribute("LAST-CHANGE", now_);
    w.Ref("SOURCE", "SPEC-OBJECT-REF", reqs_[from].Identifier);
    w.Ref("TARGET", "SPEC-OBJECT-REF", reqs_[to].Identifier);
    w.Ref("TYPE", "SPEC-RELATION-TYPE-REF", kRelationType);
    w.End();
    ++summary_.Traces;
  }
  w.End();

  w.Start("SPECIFICATIONS");
  const std::size_t top = reqs_.size();
  std::function<void(std::size_t)> writeChildren = [&](std::size_t node) {
    if (children_[node].empty()) return;
    w.Start("CHILDREN");
    for (std::size_t child : children_[node]) {
      w.Start("SPEC-HIERARCHY");
      w.Attribute("IDENTIFIER",
                  ids_.Claim(reqif::IdentifierFromGuid(reqif::NameBasedGuid(reqs_[child].Identifier + "/place"))));
      w.Attribute("LAST-CHANGE", now_);
      w.Ref("OBJECT", "SPEC-OBJECT-REF", reqs_[child].Identifier);
      writeChildren(child);
      w.End();
    }
    w.End();
  };
  // children_ was built with the document trees before the empty ones were
  // dropped: find each one's entry by its place among all of them.
  for (const DocTree& tree : trees_) {
    w.Start("SPECIFICATION").Attribute("IDENTIFIER", tree.Identifier).Attribute("LAST-CHANGE", now_);
    w.Attribute("LONG-NAME", tree.Name);
    w.Ref("TYPE", "SPECIFICATION-TYPE-REF", kDocumentType);
    writeChildren(top + tree.TreeEntry);
    w.End();
  }
  w.End();
  w.End().End();

  w.Start("TOOL-EXTENSIONS").Start("REQ-IF-TOOL-EXTENSION");
  for (const Type& type : types_) {
    if (!type.Used) continue;
    w.Start("vlq:REQUIREMENT-TYPE").Attribute("SPEC-OBJECT-TYPE", type.Identifier).Attribute("PREFIX", type.Prefix).End();
    for (const Attr& attr : type.Attrs) {
      if (attr.DataType == 5) w.Start("vlq:TIME-OF-DAY").Attribute("ATTRIBUTE-DEFINITION", attr.Identifier).End();
    }
  }
  w.End().End();
  w.End();
  w.Finish();
}

ReqifExportSummary ExportRun::Run(const std::vector<long>& keys, const std::filesystem::path& temporary) {
  const std::time_t clock = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&clock, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
  now_ = stamp;

  Tell("reading", 0, 1);
  ReadStructure();
  ReadRequirements(keys);
  PlaceRequirements();
  {
    reqif::BulkStatement traces(db_,
                                "SELECT REQUIREMENTID, TOID, EXTERNALPROJECTID, EXTERNALPROJECTTOID "
                                "FROM VLTORELATIONSHIPS ORDER BY REQUIREMENTID, TOID",
                                kSource);
    std::set<std::pair<std::size_t, std::size_t>> seen;
    while (traces.Step()) {
      const bool local = traces.Int(2) == 0 && traces.Int(3) == 0;
      const auto from = traces.Int(2) == 0 ? reqIndex_.find(traces.Int(0)) : reqIndex_.end();
      const auto to = traces.Int(3) == 0 ? reqIndex_.find(traces.Int(1)) : reqIndex_.end();
      if (local && from != reqIndex_.end() && to != reqIndex_.end()) {
        if (seen.insert({from->second, to->second}).second) traces_.emplace_back(from->second, to->second);
      } else if (from != reqIndex_.end() || to != reqIndex_.end()) {
        ++summary_.TracesLeftOut;
      }
    }
  }
  fields_ = std::make_unique<reqif::BulkStatement>(
      db_, "SELECT FIELDID, FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES WHERE REQUIREMENTID = ?1", kSource);
  lists_ = std::make_unique<reqif::BulkStatement>(
      db_, "SELECT FIELDID, LISTITEMID FROM VLUSERDEFINEDLISTVALUES WHERE REQUIREMENTID = ?1", kSource);
  WriteFile(temporary);
  fields_.reset();
  lists_.reset();
  Tell("writing", 1, 1);
  return summary_;
}

}  // namespace

ReqifExportSummary ReqifExporter::Export(const std::filesystem::path& project, const std::vector<long>& requirementKeys,
                                         const std::filesystem::path& target, const ReqifExportOptions& options) {
  if (!std::filesystem::is_regular_file(project)) {
    throw Failure(kUnexpectedFailureNumber, kSource, "no such project file: " + project.string());
  }
  const std::filesystem::path directory = target.has_parent_path() ? target.parent_path() : ".";
  const std::filesystem::path temporary =
      directory / ("." + target.filename().string() + ".export-" + std::to_string(::getpid()));
  std::error_code ec;
  ReqifExportSummary summary;
  try {
    ExportRun run(project, options);
    summary = run.Run(requirementKeys, temporary);
  } catch (...) {
    std::filesystem::remove(temporary, ec);
    throw;
  }
  std::filesystem::rename(temporary, target, ec);
  if (ec) {
    std::filesystem::remove(temporary, ec);
    throw Failure(kUnexpectedFailureNumber, kSource, "Can't write " + target.string() + ": " + ec.message());
  }
  return summary;
}

}  // namespace vlq::platform
