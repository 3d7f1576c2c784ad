#include "platform/reqif_importer.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <sqlite3.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>

#include "model/text_util.h"
#include "platform/reqif_common.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"

namespace vlq::platform {
namespace {

constexpr const char* kSource = "ReqifImporter";
constexpr long kProjectKey = 1;

// An expected failure while reading: the file can't be read as ReqIF. The
// text is complete ("<file>:<line>: ...").
struct ReadError {
  std::string Message;
};

// ---- Element names ---------------------------------------------------------------

enum class Tag : std::uint8_t {
  Other,
  ReqIf,
  ReqIfHeader,
  Title,
  DatatypeDefinition,
  EnumValue,
  ObjectType,
  OtherType,
  AttributeDefinition,
  DefaultValue,
  Type,
  AttributeValue,
  Definition,
  Values,
  TheValue,
  ReqObject,
  Relation,
  Source,
  Target,
  Document,
  Hierarchy,
  Object,
  ToolExtension,
  Ref,
};

// The data type of a definition or value element, from its name's ending.
enum class Kind : std::uint8_t { None, Boolean, Date, Enumeration, Integer, Real, String, Xhtml };

Kind KindOfSuffix(std::string_view suffix) {
  if (suffix == "BOOLEAN") return Kind::Boolean;
  if (suffix == "DATE") return Kind::Date;
  if (suffix == "ENUMERATION") return Kind::Enumeration;
  if (suffix == "INTEGER") return Kind::Integer;
  if (suffix == "REAL") return Kind::Real;
  if (suffix == "STRING") return Kind::String;
  if (suffix == "XHTML") return Kind::Xhtml;
  return Kind::None;
}

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::Boolean: return "BOOLEAN";
    case Kind::Date: return "DATE";
    case Kind::Enumeration: return "ENUMERATION";
    case Kind::Integer: return "INTEGER";
    case Kind::Real: return "REAL";
    case Kind::String: return "STRING";
    case Kind::Xhtml: return "XHTML";
    default: return "?";
  }
}

struct TagInfo {
  Tag tag = Tag::Other;
  Kind kind = Kind::None;
};

TagInfo ClassifyName(std::string_view name) {
  static const std::unordered_map<std::string_view, Tag> kPlain{
      {"REQ-IF", Tag::ReqIf},
      {"REQ-IF-HEADER", Tag::ReqIfHeader},
      {"TITLE", Tag::Title},
      {"ENUM-VALUE", Tag::EnumValue},
      {"SPEC-OBJECT-TYPE", Tag::ObjectType},
      {"SPECIFICATION-TYPE", Tag::OtherType},
      {"SPEC-RELATION-TYPE", Tag::OtherType},
      {"RELATION-GROUP-TYPE", Tag::OtherType},
      {"DEFAULT-VALUE", Tag::DefaultValue},
      {"TYPE", Tag::Type},
      {"DEFINITION", Tag::Definition},
      {"VALUES", Tag::Values},
      {"THE-VALUE", Tag::TheValue},
      {"SPEC-OBJECT", Tag::ReqObject},
      {"SPEC-RELATION", Tag::Relation},
      {"SOURCE", Tag::Source},
      {"TARGET", Tag::Target},
      {"SPECIFICATION", Tag::Document},
      {"SPEC-HIERARCHY", Tag::Hierarchy},
      {"OBJECT", Tag::Object},
      {"REQ-IF-TOOL-EXTENSION", Tag::ToolExtension},
  };
  if (auto it = kPlain.find(name); it != kPlain.end()) return {it->second, Kind::None};
  if (name.ends_with("-REF")) return {Tag::Ref, Kind::None};
  for (const auto& [head, tag] : {std::pair<std::string_view, Tag>{"DATATYPE-DEFINITION-", Tag::DatatypeDefinition},
                                  {"ATTRIBUTE-DEFINITION-", Tag::AttributeDefinition},
                                  {"ATTRIBUTE-VALUE-", Tag::AttributeValue}}) {
    if (name.starts_with(head)) {
      const Kind kind = KindOfSuffix(name.substr(head.size()));
      if (kind != Kind::None) return {tag, kind};
    }
  }
  return {};
}

// ---- XHTML to plain text -------------------------------------------------------------

bool IsBlockElement(std::string_view name) {
  static const std::set<std::string_view> kBlocks{
      "address", "blockquote", "br",  "caption", "dd", "div", "dl", "dt", "h1",  "h2",    "h3", "h4",
      "h5",      "h6",         "hr",  "li",      "ol", "p",   "pre", "table", "tbody", "thead", "tfoot", "tr",
      "ul"};
  return kBlocks.count(name) != 0;
}

// Collects the text of an XHTML value: blanks run together as a browser
// shows them, block elements break lines, table cells are parted by a tab.
class PlainText {
 public:
  void Clear() {
    text_.clear();
    pendingSpace_ = false;
    pendingBreaks_ = 0;
  }
  void Text(std::string_view s) {
    // Word by word: a run of blanks is one pending space.
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    const char* at = s.data();
    const char* const end = at + s.size();
    while (at < end) {
      if (blank(*at)) {
        pendingSpace_ = true;
        ++at;
        continue;
      }
      const char* const word = at;
      while (at < end && !blank(*at)) ++at;
      Flush();
      text_.append(word, static_cast<std::size_t>(at - word));
    }
  }
  void Break() {
    pendingSpace_ = false;
    if (!text_.empty()) pendingBreaks_ = 1;
  }
  void Cell() {
    if (!text_.empty() && pendingBreaks_ == 0) {
      pendingSpace_ = false;
      text_ += '\t';
    }
  }
  const std::string& Result() const { return text_; }

 private:
  void Flush() {
    if (pendingBreaks_ > 0) {
      text_ += '\n';
    } else if (pendingSpace_ && !text_.empty() && text_.back() != '\t') {
      text_ += ' ';
    }
    pendingBreaks_ = 0;
    pendingSpace_ = false;
  }
  std::string text_;
  bool pendingSpace_ = false;
  int pendingBreaks_ = 0;
};

// ---- What the file defines -------------------------------------------------------------

struct EnumItem {
  std::string Identifier;
  std::string Text;
};

struct Datatype {
  Kind kind = Kind::None;
  std::vector<EnumItem> Items;
};

enum class Role : std::uint8_t { User, Name, ChapterName, Text };

struct Value {
  Kind kind = Kind::None;
  int Attr = -1;            // index into attrs_, once the definition is known
  std::string DefinitionRef;
  std::string Text;         // THE-VALUE, or the plain text of XHTML
  bool HasText = false;
  std::vector<std::string> EnumRefs;
  int Line = 0;
};

struct AttrDef {
  std::string Identifier;
  std::string Label;
  Kind kind = Kind::None;
  bool Multi = false;
  std::string DatatypeRef;
  int Owner = -1;  // index into types_; -1 for the attributes of the other kinds of type
  Role role = Role::User;
  long Key = 0;    // VLATTRIBUTES.ID; 0 for a definition that fills a system field
  int DataType = 1;
  std::unordered_map<std::string, long> ItemKeys;  // ENUM-VALUE identifier -> ITEMID
  std::optional<Value> Default;
  int Line = 0;
};

struct ObjType {
  std::string Identifier;
  std::string Name;
  std::string Prefix;
  std::string PrefixWanted;  // from this system's tool extension
  std::string GUID;
  long Key = 0;
  std::vector<int> Attrs;
  long Requirements = 0;
  long Roots = 0;
};

struct ObjectInfo {
  long Key = 0;
  int Type = 0;
};

struct HierNode {
  int Parent = -1;
  int Document = 0;
  std::string ObjectRef;
  int Line = 0;
};

struct Relation {
  std::string Source;
  std::string Target;
};

struct DocumentDef {
  std::string Identifier;
  std::string Name;
  long Key = 0;
};

// The tool extension of this system, written by the exporter: the prefixes
// of requirement types and the attributes that hold a time of day.
constexpr std::string_view kExtensionNamespace = "urn:vlqueryengine:reqif";

// ---- Reading input: a file or the entries of a zip archive ----------------------------

struct InputStream {
  std::FILE* file = nullptr;
  zip_file_t* entry = nullptr;
  long long* consumed = nullptr;
  std::function<void()> tick;
};

int ReadInput(void* context, char* buffer, int length) {
  auto* in = static_cast<InputStream*>(context);
  long long got = 0;
  if (in->file) {
    got = static_cast<long long>(std::fread(buffer, 1, static_cast<std::size_t>(length), in->file));
    if (got == 0 && std::ferror(in->file)) return -1;
  } else if (in->entry) {
    got = zip_fread(in->entry, buffer, static_cast<zip_uint64_t>(length));
    if (got < 0) return -1;
  }
  *in->consumed += got;
  if (in->tick) in->tick();
  return static_cast<int>(got);
}

int CloseInput(void*) { return 0; }

// ---- Writing on a thread of its own -----------------------------------------------------
//
// The rows of the store are written by a second thread while the XML is read:
// the reader hands over batches of rows, the writer binds and runs them on
// prepared statements. Texts travel in the batch's own buffer.

class BulkWriter {
 public:
  enum Statement : std::uint8_t {
    kIdentifier,
    kField,
    kList,
    kAttr,
    kItem,
    kDocument,
    kStatementCount
  };

  explicit BulkWriter(::sqlite3* db) : db_(db) {
    static const char* const kSql[kStatementCount] = {
        "INSERT INTO VLREQIFIDENTIFIERS (REQUIREMENTID, IDENTIFIER) VALUES (?1, ?2)",
        "INSERT INTO VLUSERDEFINEDFIELDVALUES (REQUIREMENTID, FIELDID, FIELDVALUE) VALUES (?1, ?2, ?3)",
        "INSERT INTO VLUSERDEFINEDLISTVALUES (REQUIREMENTID, FIELDID, LISTITEMID) VALUES (?1, ?2, ?3)",
        "INSERT INTO VLATTRIBUTES (ID, REQUIREMENTTYPEID, LABEL, GUID, DATATYPE) VALUES (?1, ?2, ?3, ?4, ?5)",
        "INSERT INTO VLUSERDEFINEDLISTITEMS (FIELDID, ITEMID, ITEMRANK, ITEMTEXT, GUID) VALUES (?1, ?2, ?3, ?4, ?5)",
        "INSERT INTO VLDOCUMENTS (ID, NAME, GUID) VALUES (?1, ?2, ?3)",
    };
    for (int i = 0; i < kStatementCount; ++i) statements_[i] = std::make_unique<reqif::BulkStatement>(db_, kSql[i], kSource);
    current_ = std::make_unique<Batch>();
    thread_ = std::thread([this] { Work(); });
  }
  ~BulkWriter() { Stop(); }
  BulkWriter(const BulkWriter&) = delete;
  BulkWriter& operator=(const BulkWriter&) = delete;

  // A new row of a statement; its values follow in the order of the marks.
  BulkWriter& Row(Statement statement) {
    if (current_->ops.size() >= kBatchRows) HandOver();
    current_->ops.push_back(Op{});
    current_->ops.back().statement = statement;
    return *this;
  }
  BulkWriter& Int(std::int64_t value) { return Put(Kind::Int, value, 0); }
  BulkWriter& Real(double value) {
    std::int64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return Put(Kind::Real, bits, 0);
  }
  BulkWriter& Text(std::string_view value) {
    const auto at = static_cast<std::int64_t>(current_->text.size());
    current_->text.append(value);
    return Put(Kind::Text, at, static_cast<std::uint32_t>(value.size()));
  }
  BulkWriter& Null() { return Put(Kind::Null, 0, 0); }

  // Writes what is left and waits for the writer; throws what it threw.
  void Finish() {
    HandOver();
    Stop();
    if (error_) std::rethrow_exception(error_);
    for (auto& statement : statements_) statement.reset();
  }

 private:
  enum class Kind : std::uint8_t { Null, Int, Real, Text };
  struct Op {
    std::int64_t values[5] = {};
    std::uint32_t lengths[5] = {};
    Kind kinds[5] = {};
    std::uint8_t count = 0;
    std::uint8_t statement = 0;
  };
  struct Batch {
    std::vector<Op> ops;
    std::string text;
  };
  static constexpr std::size_t kBatchRows = 4096;
  static constexpr std::size_t kQueueBatches = 32;

  BulkWriter& Put(Kind kind, std::int64_t value, std::uint32_t length) {
    Op& op = current_->ops.back();
    op.kinds[op.count] = kind;
    op.values[op.count] = value;
    op.lengths[op.count] = length;
    ++op.count;
    return *this;
  }

  void HandOver() {
    if (current_->ops.empty()) return;
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return queue_.size() < kQueueBatches || failed_; });
    if (failed_) {
      lock.unlock();
      Stop();
      std::rethrow_exception(error_);
    }
    queue_.push_back(std::move(current_));
    changed_.notify_all();
    // A batch that the writer is done with is used again: fresh memory for
    // every batch would cost a page fault per page.
    if (!spare_.empty()) {
      current_ = std::move(spare_.back());
      spare_.pop_back();
    }
    lock.unlock();
    if (!current_) {
      current_ = std::make_unique<Batch>();
      current_->ops.reserve(kBatchRows);
    }
  }

  void Stop() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
      changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
  }

  void Work() {
    for (;;) {
      std::unique_ptr<Batch> batch;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return !queue_.empty() || done_; });
        if (queue_.empty()) return;
        batch = std::move(queue_.front());
        queue_.pop_front();
        changed_.notify_all();
      }
      try {
        Write(*batch);
      } catch (...) {
        std::lock_guard<std::mutex> lock(mutex_);
        error_ = std::current_exception();
        failed_ = true;
        queue_.clear();
        changed_.notify_all();
        return;
      }
      batch->ops.clear();
      batch->text.clear();
      std::lock_guard<std::mutex> lock(mutex_);
      spare_.push_back(std::move(batch));
    }
  }

  void Write(const Batch& batch) {
        for (const Op& op : batch.ops) {
          reqif::BulkStatement& statement = *statements_[op.statement];
          for (int i = 0; i < op.count; ++i) {
            switch (op.kinds[i]) {
              case Kind::Int: statement.Bind(i + 1, op.values[i]); break;
              case Kind::Real: {
                double value = 0;
                std::memcpy(&value, &op.values[i], sizeof value);
                statement.Bind(i + 1, value);
                break;
              }
              case Kind::Text:
                statement.BindInPlace(
                    i + 1, std::string_view(batch.text).substr(static_cast<std::size_t>(op.values[i]), op.lengths[i]));
                break;
              case Kind::Null: statement.BindNull(i + 1); break;
            }
          }
          statement.Run();
        }
  }

  ::sqlite3* db_;
  std::unique_ptr<reqif::BulkStatement> statements_[kStatementCount];
  std::unique_ptr<Batch> current_;
  std::deque<std::unique_ptr<Batch>> queue_;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  bool failed_ = false;
  std::exception_ptr error_;
  std::thread thread_;
};

// ---- The importer -----------------------------------------------------------------------

class ImportRun {
 public:
  ImportRun(std::filesystem::path source, const ReqifImportOptions& options)
      : source_(std::move(source)), options_(options) {}
  ~ImportRun() {
    writer_.reset();
    if (db_) sqlite3_close_v2(db_);
  }
  ImportRun(const ImportRun&) = delete;
  ImportRun& operator=(const ImportRun&) = delete;

  ReqifImportSummary Run(const std::filesystem::path& temporary);

 private:
  // Reading
  void ReadDocument(InputStream& in, const std::string& shownName);
  // The parser's callbacks. libxml2 is C: nothing may throw through it, so
  // each keeps the first failure, stops the parser and leaves ReadDocument
  // to throw it.
  static void OnStartElement(void* run, const xmlChar* localname, const xmlChar* prefix, const xmlChar* uri,
                             int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaulted,
                             const xmlChar** attributes);
  static void OnEndElement(void* run, const xmlChar* localname, const xmlChar* prefix, const xmlChar* uri);
  static void OnCharacters(void* run, const xmlChar* text, int length);
  static void OnDocumentType(void* run, const xmlChar* name, const xmlChar* externalId, const xmlChar* systemId);
  static void OnEntityReference(void* run, const xmlChar* name);
  static void OnError(void* run, xmlErrorPtr error);
  template <typename Step>
  void Guarded(Step&& step);
  void KeepFailure(std::exception_ptr failure);
  // `interned` is the parser's one copy of the name (the same pointer for the
  // same name), `name` its text; the element's attributes are in attributes_.
  void StartElement(const xmlChar* interned, std::string_view name, const xmlChar* uri);
  void EndElement();
  void OnText(std::string_view text);
  int Line() const;
  [[noreturn]] void Fail(const std::string& what) const;
  // A value that breaks its data type: an error, or left out and counted
  // when the options say so.
  void Invalid(int line, const std::string& what);
  std::string Attribute(const char* name) const;
  bool AttributeInto(const char* name, std::string& out) const;
  Tag Parent(std::size_t up = 1) const {
    return stack_.size() > up ? stack_[stack_.size() - 1 - up] : Tag::Other;
  }

  // The parts of the file
  void EndDatatype();
  void EndAttributeDefinition();
  void EndType();
  void EndValue();
  void EndObject();
  void EndDocument();
  void EndRef();
  void ToolDirective(std::string_view name, const xmlChar* uri);

  // Writing
  void OpenStore(const std::filesystem::path& temporary);
  void WriteType(ObjType& type);
  void WriteAttribute(AttrDef& attr, ObjType& type);
  int UndefinedType(const std::string& typeRef);
  void WriteValue(long requirement, const AttrDef& attr, const Value& value);
  void Finish();
  void PlaceObjects(std::vector<std::string>& tags, std::vector<long>& documents, std::vector<long>& positions);
  void AssignPrefixes();
  void Skip(const std::string& reason, long count = 1) { summary_.Skipped[reason] += count; }
  void Note(const std::string& what, long count = 1) { summary_.Notes[what] += count; }

  std::filesystem::path source_;
  const ReqifImportOptions& options_;
  ReqifImportSummary summary_;

  // Reading state
  std::string shownName_;
  xmlParserCtxtPtr parser_ = nullptr;
  std::exception_ptr failure_;  // the first failure of a callback
  std::string xmlError_;        // or the first error of the parser, at xmlErrorLine_
  int xmlErrorLine_ = 0;
  bool sawRoot_ = false;
  // The attributes of the element being started: five pointers each (local
  // name, prefix, namespace, value, end of value), valid during the callback.
  const xmlChar** attributes_ = nullptr;
  int attributeCount_ = 0;
  std::vector<Tag> stack_;
  std::vector<Kind> kinds_;  // the kind of each open element, beside stack_
  bool collecting_ = false;
  std::string collected_;
  int xhtmlDepth_ = 0;  // > 0 inside the THE-VALUE of an XHTML value
  PlainText plain_;
  bool inTitle_ = false;
  // The meaning of each name the parser has given, by the pointer of the
  // parser's one copy of it: a small table looked into first, the map behind.
  struct TagSlot {
    const xmlChar* name = nullptr;
    TagInfo info;
  };
  std::array<TagSlot, 256> tagSlots_{};
  std::unordered_map<const xmlChar*, TagInfo> tagCache_;

  int curDatatype_ = -1;
  std::optional<EnumItem> curEnumValue_;
  bool inType_ = false;
  bool curTypeIsObjectType_ = false;
  ObjType curType_;
  std::vector<int> curTypeAttrs_;
  int curAttr_ = -1;
  Value curValue_;  // the value being read, when inValue_
  bool inValue_ = false;
  bool inObject_ = false;
  std::string objIdentifier_;
  std::string objLastChange_;
  std::string objTypeRef_;
  std::vector<Value> objValues_;  // the first objValueCount_ are the object's; the rest are kept for reuse
  std::size_t objValueCount_ = 0;
  int objLine_ = 0;
  bool inRelation_ = false;
  Relation curRelation_;
  int curDocument_ = -1;
  std::string documentName_;
  std::vector<int> hierStack_;

  // What was read
  std::string projectName_;
  std::string projectIdentifier_;
  std::vector<Datatype> datatypes_;
  std::unordered_map<std::string, int> datatypeById_;
  std::vector<AttrDef> attrs_;
  std::unordered_map<std::string, int> attrById_;
  // The definitions that the values of the last objects named: objects of one
  // type name them again and again, and a comparison is cheaper than a hash.
  std::vector<std::pair<std::string, std::unordered_map<std::string, int>::const_iterator>> recentAttrs_;
  std::unordered_map<std::string, int>::const_iterator FindAttr(const std::string& identifier) {
    for (const auto& [ref, it] : recentAttrs_) {
      if (ref == identifier) return it;
    }
    const auto it = attrById_.find(identifier);
    if (recentAttrs_.size() >= 32) recentAttrs_.erase(recentAttrs_.begin());
    recentAttrs_.emplace_back(identifier, it);
    return it;
  }
  std::string lastTypeRef_;
  int lastType_ = -1;
  std::vector<int> given_;
  std::vector<std::pair<int, const Value*>> userValues_;
  std::vector<ObjType> types_;
  std::unordered_map<std::string, int> typeById_;
  std::unordered_map<std::string, int> undefinedTypes_;
  std::unordered_map<std::string, ObjectInfo> objects_;
  std::vector<int> keyType_;  // the type index of each requirement, by key - 1
  struct PendingRequirement {
    std::string Name;
    std::string Text;
    std::string Changed;  // the store's form, or empty
  };
  std::vector<PendingRequirement> pending_;  // by key - 1
  std::vector<HierNode> nodes_;
  std::vector<Relation> relations_;
  std::vector<DocumentDef> documents_;
  std::vector<std::string> timeAttrs_;  // identifiers of INTEGER definitions holding times of day
  std::set<std::string> itemGuids_;

  // Store
  ::sqlite3* db_ = nullptr;
  std::unique_ptr<BulkWriter> writer_;
  long nextAttrKey_ = 1;
  long nextItemKey_ = 1;
  long nextRequirementKey_ = 1;
  long nextDocumentKey_ = 1;
};

// ---- Reading ------------------------------------------------------------------------------

// The line the parser has reached; while a start tag is handed over, the line
// where the tag ends.
int ImportRun::Line() const { return parser_ ? xmlSAX2GetLineNumber(parser_) : 0; }

void ImportRun::Fail(const std::string& what) const {
  throw ReadError{shownName_ + ":" + std::to_string(Line()) + ": " + what};
}

std::string ImportRun::Attribute(const char* name) const {
  std::string text;
  AttributeInto(name, text);
  return text;
}

bool ImportRun::AttributeInto(const char* name, std::string& out) const {
  out.clear();
  for (int i = 0; i < attributeCount_; ++i) {
    const xmlChar* const* attribute = attributes_ + 5 * static_cast<std::ptrdiff_t>(i);
    if (attribute[1] || std::strcmp(reinterpret_cast<const char*>(attribute[0]), name) != 0) continue;
    const auto* value = reinterpret_cast<const char*>(attribute[3]);
    std::string_view rest(value, static_cast<std::size_t>(attribute[4] - attribute[3]));
    // The parser decodes every reference in a value but the ampersand, which
    // it hands over as "&#38;" (for a tree builder to decode later).
    for (;;) {
      const std::size_t amp = rest.find('&');
      out.append(rest.substr(0, amp));
      if (amp == std::string_view::npos) break;
      out += '&';
      rest.remove_prefix(amp + (rest.substr(amp).starts_with("&#38;") ? 5 : 1));
    }
    return true;
  }
  return false;
}

void ImportRun::KeepFailure(std::exception_ptr failure) {
  failure_ = std::move(failure);
  xmlStopParser(parser_);
}

template <typename Step>
void ImportRun::Guarded(Step&& step) {
  if (failure_ || !xmlError_.empty()) return;
  try {
    step();
  } catch (...) {
    KeepFailure(std::current_exception());
  }
}

void ImportRun::OnStartElement(void* run, const xmlChar* localname, const xmlChar*, const xmlChar* uri, int,
                               const xmlChar**, int attributeCount, int, const xmlChar** attributes) {
  auto* self = static_cast<ImportRun*>(run);
  self->Guarded([&] {
    // The parser keeps one copy of each name, so the pointer finds the name's
    // meaning again without hashing it.
    const std::string_view name(reinterpret_cast<const char*>(localname));
    if (!self->sawRoot_) {
      if (name != "REQ-IF") {
        self->Fail("not a ReqIF file: the root element is <" + std::string(name) + ">, not <REQ-IF>");
      }
      self->sawRoot_ = true;
    }
    self->attributes_ = attributes;
    self->attributeCount_ = attributeCount;
    self->StartElement(localname, name, uri);
  });
  self->attributes_ = nullptr;
  self->attributeCount_ = 0;
}

void ImportRun::OnEndElement(void* run, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* self = static_cast<ImportRun*>(run);
  self->Guarded([self] { self->EndElement(); });
}

void ImportRun::OnCharacters(void* run, const xmlChar* text, int length) {
  auto* self = static_cast<ImportRun*>(run);
  if (self->xhtmlDepth_ == 0 && !self->collecting_ && !self->inTitle_) return;
  self->Guarded([&] { self->OnText({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)}); });
}

// ReqIF has no document type; one here could only declare entities, which are
// refused rather than expanded or fetched.
void ImportRun::OnDocumentType(void* run, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* self = static_cast<ImportRun*>(run);
  self->Guarded([self] { self->Fail("document type declarations (<!DOCTYPE ...>) are not accepted in ReqIF files"); });
}

void ImportRun::OnEntityReference(void* run, const xmlChar*) {
  auto* self = static_cast<ImportRun*>(run);
  self->Guarded([self] { self->Fail("entity references are not accepted in ReqIF files"); });
}

void ImportRun::OnError(void* run, xmlErrorPtr error) {
  auto* self = static_cast<ImportRun*>(run);
  if (!error || error->level < XML_ERR_ERROR || self->failure_ || !self->xmlError_.empty()) return;
  std::string message = error->message ? error->message : "unreadable XML";
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  self->xmlError_ = message.empty() ? "the file is not well-formed XML" : message;
  self->xmlErrorLine_ = error->line;
  xmlStopParser(self->parser_);
}

void ImportRun::ReadDocument(InputStream& in, const std::string& shownName) {
  shownName_ = shownName;
  stack_.clear();
  kinds_.clear();
  // The name pointers belong to this parser: another one may use them again.
  tagCache_.clear();
  tagSlots_.fill({});
  failure_ = nullptr;
  xmlError_.clear();
  xmlErrorLine_ = 0;
  sawRoot_ = false;

  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = OnStartElement;
  sax.endElementNs = OnEndElement;
  sax.characters = OnCharacters;
  sax.ignorableWhitespace = OnCharacters;
  sax.cdataBlock = OnCharacters;
  sax.internalSubset = OnDocumentType;
  sax.reference = OnEntityReference;
  sax.serror = OnError;
  parser_ = xmlCreateIOParserCtxt(&sax, this, ReadInput, CloseInput, &in, XML_CHAR_ENCODING_NONE);
  if (!parser_) throw Failure(kUnexpectedFailureNumber, kSource, "libxml2 can't make a parser");
  struct ParserGuard {
    ImportRun& run;
    ~ParserGuard() {
      xmlFreeParserCtxt(run.parser_);
      run.parser_ = nullptr;
    }
  } guard{*this};
  xmlCtxtUseOptions(parser_, XML_PARSE_NONET | XML_PARSE_COMPACT | XML_PARSE_BIG_LINES);
  const int rc = xmlParseDocument(parser_);
  if (failure_) std::rethrow_exception(failure_);
  if (!xmlError_.empty() || rc != 0 || !parser_->wellFormed) {
    const std::string what = xmlError_.empty() ? "the file is not well-formed XML" : xmlError_;
    throw ReadError{shownName_ + ":" + std::to_string(xmlErrorLine_ > 0 ? xmlErrorLine_ : Line()) + ": " + what};
  }
  if (!sawRoot_) Fail("the file holds no XML element");
}

void ImportRun::OnText(std::string_view text) {
  if (xhtmlDepth_ > 0) {
    plain_.Text(text);
  } else if (collecting_ || inTitle_) {
    collected_ += text;
  }
}

void ImportRun::StartElement(const xmlChar* interned, std::string_view name, const xmlChar* uri) {
  if (xhtmlDepth_ > 0) {
    // Inside an XHTML value: every element is markup of the text.
    ++xhtmlDepth_;
    const bool block = IsBlockElement(name);
    stack_.push_back(Tag::Other);
    // The kind slot of markup tells a block element (which ends a line) from
    // an inline one.
    kinds_.push_back(block ? Kind::String : Kind::None);
    if (name == "td" || name == "th") plain_.Cell();
    else if (block) plain_.Break();
    return;
  }
  // The parser keeps one copy of every name: the pointer finds it again.
  TagSlot& slot = tagSlots_[(reinterpret_cast<std::uintptr_t>(interned) >> 3) & 255];
  if (slot.name != interned) {
    auto cached = tagCache_.find(interned);
    if (cached == tagCache_.end()) cached = tagCache_.emplace(interned, ClassifyName(name)).first;
    slot = {interned, cached->second};
  }
  const TagInfo info = slot.info;
  const Tag parent = stack_.empty() ? Tag::Other : stack_.back();
  stack_.push_back(info.tag);
  kinds_.push_back(info.kind);

  switch (info.tag) {
    case Tag::ReqIfHeader:
      projectIdentifier_ = Attribute("IDENTIFIER");
      break;
    case Tag::Title:
      if (parent == Tag::ReqIfHeader) {
        inTitle_ = true;
        collected_.clear();
      }
      break;
    case Tag::DatatypeDefinition: {
      const std::string id = Attribute("IDENTIFIER");
      curDatatype_ = static_cast<int>(datatypes_.size());
      datatypes_.push_back({info.kind, {}});
      if (!id.empty()) datatypeById_.emplace(id, curDatatype_);
      break;
    }
    case Tag::EnumValue:
      if (curDatatype_ >= 0) {
        curEnumValue_ = EnumItem{Attribute("IDENTIFIER"), Attribute("LONG-NAME")};
        if (curEnumValue_->Text.empty()) curEnumValue_->Text = curEnumValue_->Identifier;
      }
      break;
    case Tag::ObjectType:
    case Tag::OtherType:
      inType_ = true;
      curTypeIsObjectType_ = info.tag == Tag::ObjectType;
      curType_ = ObjType{};
      curType_.Identifier = Attribute("IDENTIFIER");
      curType_.Name = text::Trim(Attribute("LONG-NAME"));
      if (curType_.Name.empty()) curType_.Name = curType_.Identifier;
      curTypeAttrs_.clear();
      break;
    case Tag::AttributeDefinition: {
      if (!inType_) break;
      AttrDef attr;
      attr.Identifier = Attribute("IDENTIFIER");
      attr.Label = text::Trim(Attribute("LONG-NAME"));
      if (attr.Label.empty()) attr.Label = attr.Identifier;
      attr.kind = info.kind;
      attr.Multi = Attribute("MULTI-VALUED") == "true";
      attr.Line = Line();
      curAttr_ = static_cast<int>(attrs_.size());
      attrs_.push_back(std::move(attr));
      break;
    }
    case Tag::AttributeValue: {
      Value& value = curValue_;
      inValue_ = true;
      value.kind = info.kind;
      value.Attr = -1;
      value.DefinitionRef.clear();
      value.EnumRefs.clear();
      value.Line = Line();
      value.HasText =
          info.kind != Kind::Xhtml && info.kind != Kind::Enumeration && AttributeInto("THE-VALUE", value.Text);
      if (!value.HasText) value.Text.clear();
      break;
    }
    case Tag::TheValue:
      if (parent == Tag::AttributeValue && inValue_ && curValue_.kind == Kind::Xhtml) {
        xhtmlDepth_ = 1;
        plain_.Clear();
      }
      break;
    case Tag::ReqObject:
      inObject_ = true;
      AttributeInto("IDENTIFIER", objIdentifier_);
      AttributeInto("LAST-CHANGE", objLastChange_);
      objTypeRef_.clear();
      objValueCount_ = 0;
      objLine_ = Line();
      break;
    case Tag::Relation:
      inRelation_ = true;
      curRelation_ = {};
      break;
    case Tag::Document:
      curDocument_ = static_cast<int>(documents_.size());
      documents_.push_back({Attribute("IDENTIFIER"), text::Trim(Attribute("LONG-NAME")), 0});
      documentName_.clear();
      hierStack_.clear();
      break;
    case Tag::Hierarchy:
      if (curDocument_ >= 0) {
        nodes_.push_back({hierStack_.empty() ? -1 : hierStack_.back(), curDocument_, {}, Line()});
        hierStack_.push_back(static_cast<int>(nodes_.size()) - 1);
      }
      break;
    case Tag::Ref:
      collecting_ = true;
      collected_.clear();
      break;
    case Tag::Other:
      if (parent == Tag::ToolExtension || (stack_.size() > 2 && stack_[stack_.size() - 3] == Tag::ToolExtension)) {
        ToolDirective(name, uri);
      }
      break;
    default:
      break;
  }
}

void ImportRun::ToolDirective(std::string_view name, const xmlChar* uri) {
  const auto* ns = reinterpret_cast<const char*>(uri);
  if (!ns || std::string_view(ns) != kExtensionNamespace) return;
  if (name == "REQUIREMENT-TYPE") {
    const std::string typeRef = Attribute("SPEC-OBJECT-TYPE");
    if (auto it = typeById_.find(typeRef); it != typeById_.end()) {
      types_[static_cast<std::size_t>(it->second)].PrefixWanted = text::Upper(Attribute("PREFIX"));
    }
  } else if (name == "TIME-OF-DAY") {
    timeAttrs_.push_back(Attribute("ATTRIBUTE-DEFINITION"));
  }
}

void ImportRun::EndElement() {
  if (stack_.empty()) return;
  const Tag tag = stack_.back();
  if (xhtmlDepth_ > 0) {
    --xhtmlDepth_;
    if (xhtmlDepth_ == 0) {
      // The end of THE-VALUE itself.
      if (inValue_) {
        curValue_.Text = plain_.Result();
        curValue_.HasText = true;
      }
    } else {
      if (kinds_.back() == Kind::String) plain_.Break();
      stack_.pop_back();
      kinds_.pop_back();
      return;
    }
  }
  switch (tag) {
    case Tag::Title:
      if (inTitle_) {
        projectName_ = text::Trim(collected_);
        inTitle_ = false;
      }
      break;
    case Tag::DatatypeDefinition:
      EndDatatype();
      break;
    case Tag::EnumValue:
      if (curEnumValue_ && curDatatype_ >= 0) {
        datatypes_[static_cast<std::size_t>(curDatatype_)].Items.push_back(std::move(*curEnumValue_));
      }
      curEnumValue_.reset();
      break;
    case Tag::AttributeDefinition:
      EndAttributeDefinition();
      break;
    case Tag::ObjectType:
    case Tag::OtherType:
      EndType();
      break;
    case Tag::AttributeValue:
      EndValue();
      break;
    case Tag::ReqObject:
      EndObject();
      break;
    case Tag::Relation:
      if (inRelation_) relations_.push_back(std::move(curRelation_));
      inRelation_ = false;
      break;
    case Tag::Document:
      EndDocument();
      break;
    case Tag::Hierarchy:
      if (!hierStack_.empty()) hierStack_.pop_back();
      break;
    case Tag::Ref:
      EndRef();
      break;
    default:
      break;
  }
  stack_.pop_back();
  kinds_.pop_back();
}

// A reference's text, handed to what holds it. stack_ still holds the ref.
void ImportRun::EndRef() {
  collecting_ = false;
  // Blanks, line breaks and tabs around an identifier are no part of it.
  std::string_view view(collected_);
  const std::size_t first = view.find_first_not_of(" \t\r\n");
  view = first == std::string_view::npos ? std::string_view() : view.substr(first, view.find_last_not_of(" \t\r\n") - first + 1);
  const Tag parent = Parent(1);
  const Tag grand = Parent(2);
  if (parent == Tag::Type && grand == Tag::AttributeDefinition && curAttr_ >= 0) {
    attrs_[static_cast<std::size_t>(curAttr_)].DatatypeRef.assign(view);
  } else if (parent == Tag::Definition && grand == Tag::AttributeValue && inValue_) {
    curValue_.DefinitionRef.assign(view);
  } else if (parent == Tag::Values && grand == Tag::AttributeValue && inValue_) {
    curValue_.EnumRefs.emplace_back(view);
  } else if (parent == Tag::Type && grand == Tag::ReqObject && inObject_) {
    objTypeRef_.assign(view);
  } else if (parent == Tag::Source && inRelation_) {
    curRelation_.Source.assign(view);
  } else if (parent == Tag::Target && inRelation_) {
    curRelation_.Target.assign(view);
  } else if (parent == Tag::Object && grand == Tag::Hierarchy && !hierStack_.empty()) {
    nodes_[static_cast<std::size_t>(hierStack_.back())].ObjectRef.assign(view);
  }
}

void ImportRun::EndDatatype() { curDatatype_ = -1; }

void ImportRun::EndAttributeDefinition() {
  if (curAttr_ < 0) return;
  if (inType_) curTypeAttrs_.push_back(curAttr_);
  curAttr_ = -1;
}

void ImportRun::EndType() {
  inType_ = false;
  recentAttrs_.clear();  // its iterators may not survive new definitions
  const int typeIndex = curTypeIsObjectType_ ? static_cast<int>(types_.size()) : -1;
  for (int a : curTypeAttrs_) {
    AttrDef& attr = attrs_[static_cast<std::size_t>(a)];
    attr.Owner = typeIndex;
    if (attr.Label == "ReqIF.Name") attr.role = Role::Name;
    else if (attr.Label == "ReqIF.ChapterName") attr.role = Role::ChapterName;
    else if (attr.Label == "ReqIF.Text") attr.role = Role::Text;
    if (!attr.Identifier.empty() && !attrById_.emplace(attr.Identifier, a).second) {
      Skip("attribute definitions whose identifier is defined twice");
      attr.Owner = -1;
      attr.role = Role::User;
    }
  }
  if (!curTypeIsObjectType_) return;
  if (!curType_.Identifier.empty() && typeById_.count(curType_.Identifier)) {
    Skip("requirement types whose identifier is defined twice");
    for (int a : curTypeAttrs_) attrs_[static_cast<std::size_t>(a)].Owner = -1;
    return;
  }
  curType_.Attrs = curTypeAttrs_;
  types_.push_back(std::move(curType_));
  ObjType& type = types_.back();
  if (!type.Identifier.empty()) typeById_.emplace(type.Identifier, typeIndex);
  WriteType(type);
}

void ImportRun::EndValue() {
  if (!inValue_) return;
  inValue_ = false;
  Value& value = curValue_;
  xhtmlDepth_ = 0;
  const Tag parent = Parent(1);
  if (parent == Tag::DefaultValue && curAttr_ >= 0) {
    attrs_[static_cast<std::size_t>(curAttr_)].Default = value;
  } else if (parent == Tag::Values && Parent(2) == Tag::ReqObject && inObject_) {
    // The value moves into the object's list; what was there comes back to
    // be filled next, with the room its texts had.
    if (objValueCount_ == objValues_.size()) objValues_.emplace_back();
    std::swap(objValues_[objValueCount_++], value);
  } else if (parent == Tag::Values && Parent(2) == Tag::Document && curDocument_ >= 0) {
    auto it = attrById_.find(value.DefinitionRef);
    if (it != attrById_.end()) {
      const std::string& label = attrs_[static_cast<std::size_t>(it->second)].Label;
      if ((label == "ReqIF.Name" || (label == "ReqIF.ChapterName" && documentName_.empty())) && value.HasText) {
        documentName_ = text::Trim(value.Text);
      }
    }
  }
}

void ImportRun::EndDocument() {
  if (curDocument_ < 0) return;
  DocumentDef& document = documents_[static_cast<std::size_t>(curDocument_)];
  if (document.Name.empty()) document.Name = documentName_;
  if (document.Name.empty()) document.Name = document.Identifier;
  if (document.Name.empty()) document.Name = "Document " + std::to_string(curDocument_ + 1);
  document.Key = nextDocumentKey_++;
  const std::string guid = document.Identifier.empty() ? reqif::NameBasedGuid(document.Name) : reqif::GuidFromIdentifier(document.Identifier);
  writer_->Row(BulkWriter::kDocument).Int(document.Key).Text(document.Name).Text(guid);
  ++summary_.Documents;
  curDocument_ = -1;
  hierStack_.clear();
}

// ---- Values ---------------------------------------------------------------------------------

std::optional<std::int64_t> ParseWhole(std::string_view text) {
  text = text::TrimView(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  std::int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

std::optional<double> ParseReal(std::string_view text) {
  text = text::TrimView(text);
  if (text == "INF") return HUGE_VAL;
  if (text == "-INF") return -HUGE_VAL;
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty() || std::isnan(value)) return std::nullopt;
  return value;
}

std::optional<bool> ParseBoolean(std::string_view text) {
  text = text::TrimView(text);
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return std::nullopt;
}

// The text a value gives a requirement's name or text.
std::string ValueText(const Value& value) { return value.kind == Kind::Xhtml ? value.Text : text::Trim(value.Text); }

void ImportRun::Invalid(int line, const std::string& what) {
  if (options_.SkipInvalidValues) {
    Skip("values that break their data type");
    return;
  }
  throw ReadError{shownName_ + ":" + std::to_string(line) + ": " + what +
                  " (--skip-invalid-values imports the file without such values)"};
}

void ImportRun::WriteValue(long requirement, const AttrDef& attr, const Value& value) {
  auto breaks = [&](const std::string& what) {
    Invalid(value.Line, "the value \"" + (value.Text.size() > 60 ? value.Text.substr(0, 60) + "..." : value.Text) +
                            "\" of the attribute \"" + attr.Label + "\" " + what);
  };
  auto field = [&]() -> BulkWriter& { return writer_->Row(BulkWriter::kField).Int(requirement).Int(attr.Key); };
  auto choose = [&](long item) { writer_->Row(BulkWriter::kList).Int(requirement).Int(attr.Key).Int(item); };
  switch (attr.kind) {
    case Kind::String:
    case Kind::Xhtml:
      field().Text(value.Text);
      break;
    case Kind::Integer: {
      const auto whole = ParseWhole(value.Text);
      if (!whole) return breaks("is not a whole number (INTEGER)");
      field().Int(*whole);
      break;
    }
    case Kind::Real: {
      const auto real = ParseReal(value.Text);
      if (!real) return breaks("is not a number (REAL)");
      field().Real(*real);
      break;
    }
    case Kind::Date: {
      const auto date = reqif::ParseDateTime(text::TrimView(value.Text));
      if (!date) return breaks("is not a date and time (DATE)");
      if (date->Hour != 0 || date->Minute != 0 || date->Second != 0) Note("times of day dropped from DATE values");
      field().Int(reqif::DaysSince1901(*date));
      break;
    }
    case Kind::Boolean: {
      const auto flag = ParseBoolean(value.Text);
      if (!flag) return breaks("is neither true nor false (BOOLEAN)");
      choose(attr.ItemKeys.at(*flag ? "true" : "false"));
      break;
    }
    case Kind::Enumeration: {
      if (!attr.Multi && value.EnumRefs.size() > 1) {
        return Invalid(value.Line, "the attribute \"" + attr.Label + "\" takes one value, but " +
                                       std::to_string(value.EnumRefs.size()) + " are given");
      }
      std::set<long> chosen;
      for (const std::string& ref : value.EnumRefs) {
        const auto item = attr.ItemKeys.find(ref);
        if (item == attr.ItemKeys.end()) {
          Skip("enumeration values that the data type doesn't define");
          continue;
        }
        if (chosen.insert(item->second).second) choose(item->second);
      }
      break;
    }
    default:
      break;
  }
}

int ImportRun::UndefinedType(const std::string& typeRef) {
  if (auto it = undefinedTypes_.find(typeRef); it != undefinedTypes_.end()) return it->second;
  ObjType type;
  type.Identifier = typeRef;
  type.Name = typeRef.empty() ? "Objects without a type" : "Undefined type " + typeRef;
  const int index = static_cast<int>(types_.size());
  types_.push_back(std::move(type));
  undefinedTypes_.emplace(typeRef, index);
  WriteType(types_.back());
  return index;
}

void ImportRun::EndObject() {
  inObject_ = false;
  if (objIdentifier_.empty()) {
    Skip("objects without an identifier");
    return;
  }
  const auto [slot, added] = objects_.try_emplace(objIdentifier_);
  if (!added) {
    Skip("objects whose identifier is defined twice");
    return;
  }
  int typeIndex = -1;
  if (!lastTypeRef_.empty() && objTypeRef_ == lastTypeRef_) {
    typeIndex = lastType_;
  } else if (auto it = typeById_.find(objTypeRef_); it != typeById_.end()) {
    typeIndex = it->second;
    lastTypeRef_ = objTypeRef_;
    lastType_ = typeIndex;
  } else {
    typeIndex = UndefinedType(objTypeRef_);
    Note("objects of a type the file doesn't define (imported under a type of their own)");
  }
  ObjType& type = types_[static_cast<std::size_t>(typeIndex)];

  // The attribute of each value; the name and text fields.
  std::string name;
  std::string chapterName;
  std::string textValue;
  std::vector<std::pair<int, const Value*>>& userValues = userValues_;
  userValues.clear();
  std::vector<int>& given = given_;
  given.clear();
  auto isGiven = [&](int a) { return std::find(given.begin(), given.end(), a) != given.end(); };
  for (std::size_t v = 0; v < objValueCount_; ++v) {
    const Value& value = objValues_[v];
    const auto it = FindAttr(value.DefinitionRef);
    if (it == attrById_.end()) {
      Skip("values of attributes the file doesn't define");
      continue;
    }
    const AttrDef& attr = attrs_[static_cast<std::size_t>(it->second)];
    if (attr.kind != value.kind) {
      Invalid(value.Line, std::string("a value of kind ") + KindName(value.kind) + " is given for the attribute \"" +
                              attr.Label + "\" of kind " + KindName(attr.kind));
      continue;
    }
    if (attr.role != Role::User) {
      if (attr.role == Role::Name) name = ValueText(value);
      else if (attr.role == Role::ChapterName) chapterName = ValueText(value);
      else textValue = ValueText(value);
      continue;
    }
    if (attr.Owner != typeIndex || attr.Key == 0) {
      Skip("values of attributes that the object's type doesn't have");
      continue;
    }
    if (isGiven(it->second)) {
      Skip("second values of one attribute in one object");
      continue;
    }
    given.push_back(it->second);
    if (!value.HasText && value.kind != Kind::Enumeration) {
      Skip("values without THE-VALUE");
      continue;
    }
    userValues.emplace_back(it->second, &value);
  }
  if (name.empty()) name = chapterName;

  const long key = nextRequirementKey_++;
  std::optional<reqif::DateTime> changed;
  if (!objLastChange_.empty()) {
    changed = reqif::ParseDateTime(text::TrimView(objLastChange_));
    if (!changed) {
      Invalid(objLine_, "LAST-CHANGE \"" + objLastChange_ + "\" of the object " + objIdentifier_ +
                            " is not a date and time");
    }
  }
  // The requirement's row waits for its tag number, which the hierarchy at
  // the end of the file gives: written then in one pass, it needs no update.
  pending_.push_back({std::move(name), std::move(textValue),
                      changed ? reqif::StoreDateTime(*changed) : std::string()});
  writer_->Row(BulkWriter::kIdentifier).Int(key).Text(objIdentifier_);

  for (const auto& [a, value] : userValues) WriteValue(key, attrs_[static_cast<std::size_t>(a)], *value);
  // Defaults stand for the values an object doesn't give.
  for (int a : type.Attrs) {
    const AttrDef& attr = attrs_[static_cast<std::size_t>(a)];
    if (attr.Key == 0 || !attr.Default || isGiven(a)) continue;
    if (attr.Default->kind != attr.kind) continue;
    if (!attr.Default->HasText && attr.kind != Kind::Enumeration) continue;
    WriteValue(key, attr, *attr.Default);
  }
  slot->second = ObjectInfo{key, typeIndex};
  keyType_.push_back(typeIndex);
  ++type.Requirements;
  ++summary_.Requirements;
}

// ---- The store --------------------------------------------------------------------------------

void ImportRun::OpenStore(const std::filesystem::path& temporary) {
  NewProjectInfo info;
  info.Key = kProjectKey;
  info.Prefix = "PRJ";
  info.Name = "Project";
  CreateProjectFile(temporary, info);
  // One thread at a time uses the connection: no locking on every call.
  if (sqlite3_open_v2(temporary.string().c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    throw Failure(sqlite3_errcode(db_), kSource, "Can't open " + temporary.string() + ": " + sqlite3_errmsg(db_));
  }
  sqlite3_extended_result_codes(db_, 1);
  auto exec = [&](const std::string& sql) {
    char* message = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
      std::string text = message ? message : sqlite3_errmsg(db_);
      sqlite3_free(message);
      throw Failure(sqlite3_extended_errcode(db_), kSource, text + "\nStatement: " + sql);
    }
  };
  // The file is new and only renamed into place when it is complete: it needs
  // neither a journal nor syncs while it is written.
  exec("PRAGMA journal_mode=OFF");
  exec("PRAGMA synchronous=OFF");
  // A small cache spills pages to the file while the XML is read, instead of
  // writing them all at the end.
  exec("PRAGMA cache_size=-16384");
  exec("PRAGMA locking_mode=EXCLUSIVE");
  exec("CREATE TABLE IF NOT EXISTS VLREQIFIDENTIFIERS (REQUIREMENTID INTEGER PRIMARY KEY, IDENTIFIER TEXT)");
  // The indexes dropped here come back in one sorted pass each at the end,
  // far faster than keeping them up to date row by row.
  std::vector<std::string> indexes;
  {
    // Indexes whose keys come in rising order (by requirement, or by
    // attribute and requirement) grow at a few ends and cost little during
    // the load; the tag numbers and traces come at the end, in no order.
    reqif::BulkStatement list(db_,
                              "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL AND "
                              "name IN ('VLIX_REQUIREMENTS_TAG', 'VLIX_REQUIREMENTS_TYPE_TAG', "
                              "'VLIX_TORELATIONSHIPS_FROM', 'VLIX_TORELATIONSHIPS_TO')",
                              kSource);
    while (list.Step()) indexes.push_back(list.Text(0));
  }
  for (const std::string& index : indexes) exec("DROP INDEX \"" + index + "\"");
  exec("BEGIN");

  writer_ = std::make_unique<BulkWriter>(db_);
}

void ImportRun::WriteType(ObjType& type) {
  type.Key = static_cast<long>(types_.size());
  type.GUID = type.Identifier.empty() ? reqif::NameBasedGuid(type.Name) : reqif::GuidFromIdentifier(type.Identifier);
  // The prefix is settled at the end, when the tool extension has been read.
  for (int a : type.Attrs) WriteAttribute(attrs_[static_cast<std::size_t>(a)], type);
}

void ImportRun::WriteAttribute(AttrDef& attr, ObjType& type) {
  if (attr.role != Role::User) return;
  // A label that a system attribute word would hide, or that the type has
  // already, is changed so that a query can name the attribute.
  std::string label = attr.Label;
  std::string why;
  if (reqif::IsShadowedLabel(label)) {
    label += " (attribute)";
    why = "a system attribute has that name";
  }
  auto taken = [&](const std::string& candidate) {
    for (int other : type.Attrs) {
      const AttrDef& o = attrs_[static_cast<std::size_t>(other)];
      if (&o != &attr && o.Key != 0 && text::EqualsNoCase(o.Label, candidate)) return true;
    }
    return false;
  };
  if (taken(label)) {
    const std::string base = label;
    for (int n = 2; taken(label); ++n) label = base + " (" + std::to_string(n) + ")";
    if (why.empty()) why = "the type has that label twice";
  }
  if (label != attr.Label) {
    summary_.Renamed.push_back(type.Name + ": \"" + attr.Label + "\" -> \"" + label + "\" (" + why + ")");
    attr.Label = label;
  }

  attr.Key = nextAttrKey_++;
  const Datatype* datatype = nullptr;
  if (auto it = datatypeById_.find(attr.DatatypeRef); it != datatypeById_.end()) {
    datatype = &datatypes_[static_cast<std::size_t>(it->second)];
  } else {
    Note("attribute definitions whose data type the file doesn't define");
  }
  switch (attr.kind) {
    case Kind::String:
    case Kind::Xhtml: attr.DataType = 1; break;
    case Kind::Integer: attr.DataType = 2; break;
    case Kind::Real: attr.DataType = 3; break;
    case Kind::Date: attr.DataType = 4; break;
    case Kind::Boolean: attr.DataType = 0; break;
    case Kind::Enumeration: attr.DataType = attr.Multi ? 10 : 0; break;
    default: break;
  }
  const std::string guid =
      attr.Identifier.empty() ? reqif::NameBasedGuid(type.GUID + attr.Label) : reqif::GuidFromIdentifier(attr.Identifier);
  writer_->Row(BulkWriter::kAttr).Int(attr.Key).Int(type.Key).Text(attr.Label).Text(guid).Int(attr.DataType);
  ++summary_.Attributes;

  auto addItem = [&](const std::string& identifier, const std::string& itemText, long rank, const std::string& itemGuid) {
    const long itemKey = nextItemKey_++;
    writer_->Row(BulkWriter::kItem).Int(attr.Key).Int(itemKey).Int(rank).Text(itemText).Text(itemGuid);
    attr.ItemKeys.emplace(identifier, itemKey);
    ++summary_.ListItems;
  };
  if (attr.kind == Kind::Boolean) {
    addItem("false", "false", 1, reqif::NameBasedGuid(guid + "false"));
    addItem("true", "true", 2, reqif::NameBasedGuid(guid + "true"));
  } else if (attr.kind == Kind::Enumeration && datatype) {
    // The items of a data type belong to each attribute of it: the first
    // attribute takes the GUIDs of the ENUM-VALUEs, later ones their own.
    long rank = 1;
    for (const EnumItem& item : datatype->Items) {
      if (attr.ItemKeys.count(item.Identifier)) continue;
      std::string itemGuid = reqif::GuidFromIdentifier(item.Identifier);
      if (!itemGuids_.insert(itemGuid).second) itemGuid = reqif::NameBasedGuid(guid + item.Identifier);
      addItem(item.Identifier, item.Text, rank++, itemGuid);
    }
  }
}


// ---- The end: places, prefixes, traces --------------------------------------------------------

void ImportRun::PlaceObjects(std::vector<std::string>& tags, std::vector<long>& documents, std::vector<long>& positions) {
  const std::size_t count = keyType_.size() + 1;
  tags.assign(count, {});
  documents.assign(count, 0);
  positions.assign(count, 0);
  std::vector<long> children(count, 0);
  std::vector<long> documentPositions(documents_.size(), 0);
  std::vector<long> nodeKey(nodes_.size(), 0);
  // The hierarchy nodes stand in document order, parents before children.
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    const HierNode& node = nodes_[i];
    if (node.ObjectRef.empty()) {
      Skip("hierarchy entries without an object");
      continue;
    }
    const auto found = objects_.find(node.ObjectRef);
    if (found == objects_.end()) {
      Skip("hierarchy entries for objects the file doesn't define");
      continue;
    }
    const long key = found->second.Key;
    const int type = found->second.Type;
    nodeKey[i] = key;
    if (!tags[static_cast<std::size_t>(key)].empty()) {
      Note("objects placed in a hierarchy more than once (the first place counts)");
      continue;
    }
    // The parent is the nearest ancestor of the same requirement type.
    long parentKey = 0;
    for (int p = node.Parent; p >= 0; p = nodes_[static_cast<std::size_t>(p)].Parent) {
      const long candidate = nodeKey[static_cast<std::size_t>(p)];
      if (candidate != 0 && keyType_[static_cast<std::size_t>(candidate - 1)] == type) {
        parentKey = candidate;
        break;
      }
    }
    std::string& tag = tags[static_cast<std::size_t>(key)];
    if (parentKey != 0) {
      tag = tags[static_cast<std::size_t>(parentKey)] + reqif::TagLevel(++children[static_cast<std::size_t>(parentKey)]);
    } else {
      tag = reqif::TagLevel(++types_[static_cast<std::size_t>(type)].Roots);
    }
    const auto document = static_cast<std::size_t>(node.Document);
    documents[static_cast<std::size_t>(key)] = documents_[document].Key;
    positions[static_cast<std::size_t>(key)] = ++documentPositions[document];
  }
  // What no hierarchy places comes behind, in file order.
  long unplaced = 0;
  for (std::size_t key = 1; key < count; ++key) {
    if (!tags[key].empty()) continue;
    tags[key] = reqif::TagLevel(++types_[static_cast<std::size_t>(keyType_[key - 1])].Roots);
    ++unplaced;
  }
  if (unplaced > 0 && !nodes_.empty()) Note("objects that no hierarchy places (numbered behind the others)", unplaced);
}

bool IsPrefixText(std::string_view prefix) {
  if (prefix.empty() || prefix.size() > 32 || prefix.front() < 'A' || prefix.front() > 'Z') return false;
  return std::all_of(prefix.begin(), prefix.end(),
                     [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

void ImportRun::AssignPrefixes() {
  std::vector<std::string> taken;
  for (ObjType& type : types_) {
    if (type.PrefixWanted.empty()) continue;
    if (IsPrefixText(type.PrefixWanted) && reqif::IsUsablePrefix(type.PrefixWanted, taken)) {
      type.Prefix = type.PrefixWanted;
      taken.push_back(type.Prefix);
    } else {
      Note("prefixes in the tool extension that can't be used (derived ones instead)");
    }
  }
  for (ObjType& type : types_) {
    if (!type.Prefix.empty()) continue;
    type.Prefix = reqif::DerivePrefix(type.Name, taken);
    taken.push_back(type.Prefix);
  }
}

void ImportRun::Finish() {
  writer_->Finish();
  if (options_.Progress) options_.Progress("writing", 0, 1);
  std::vector<std::string> tags;
  std::vector<long> documents;
  std::vector<long> positions;
  PlaceObjects(tags, documents, positions);
  AssignPrefixes();

  {
    reqif::BulkStatement insType(db_, "INSERT INTO VLREQUIREMENTTYPES (ID, PREFIX, NAME, GUID) VALUES (?1, ?2, ?3, ?4)",
                                 kSource);
    for (const ObjType& type : types_) {
      insType.Bind(1, static_cast<std::int64_t>(type.Key)).Bind(2, std::string_view(type.Prefix));
      insType.Bind(3, std::string_view(type.Name)).Bind(4, std::string_view(type.GUID)).Run();
    }
  }
  {
    reqif::BulkStatement toTime(db_, "UPDATE VLATTRIBUTES SET DATATYPE = 5 WHERE ID = ?1", kSource);
    for (const std::string& identifier : timeAttrs_) {
      auto it = attrById_.find(identifier);
      if (it == attrById_.end()) continue;
      const AttrDef& attr = attrs_[static_cast<std::size_t>(it->second)];
      if (attr.kind == Kind::Integer && attr.Key != 0) toTime.Bind(1, static_cast<std::int64_t>(attr.Key)).Run();
    }
  }
  {
    reqif::BulkStatement row(db_,
                             "INSERT INTO VLREQUIREMENTS (ID, REQUIREMENTTYPEID, REQUIREMENTNAME, REQUIREMENTTEXT, "
                             "VERSIONDATETIME, REQUIREMENTPREFIX, LONGTAGNUMBER, BOOKMARKDOCUMENTID, DOCUMENTPOSITION, "
                             "VERSIONNUMBER, VERSIONUSERID, FLAGS) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, 1, 0, 0)",
                             kSource);
    for (std::size_t key = 1; key < tags.size(); ++key) {
      PendingRequirement& pending = pending_[key - 1];
      const ObjType& type = types_[static_cast<std::size_t>(keyType_[key - 1])];
      row.Bind(1, static_cast<std::int64_t>(key)).Bind(2, static_cast<std::int64_t>(type.Key));
      // The texts stay put until the row is written: SQLite needn't copy them.
      row.BindInPlace(3, pending.Name).BindInPlace(4, pending.Text);
      if (pending.Changed.empty()) row.BindNull(5);
      else
        row.BindInPlace(5, pending.Changed);
      row.BindInPlace(6, type.Prefix).BindInPlace(7, tags[key]);
      row.Bind(8, static_cast<std::int64_t>(documents[key]));
      if (positions[key] > 0) row.Bind(9, static_cast<std::int64_t>(positions[key]));
      else row.BindNull(9);
      row.Run();
      pending = {};
    }
  }
  {
    reqif::BulkStatement trace(db_,
                               "INSERT INTO VLTORELATIONSHIPS (REQUIREMENTID, TOID, EXTERNALPROJECTID, "
                               "EXTERNALPROJECTTOID, TYPE, STATE) VALUES (?1, ?2, 0, 0, 0, 0)",
                               kSource);
    std::set<std::pair<long, long>> seen;
    for (const Relation& relation : relations_) {
      const auto from = objects_.find(relation.Source);
      const auto to = objects_.find(relation.Target);
      if (from == objects_.end() || to == objects_.end()) {
        Skip("relations to or from objects the file doesn't define");
        continue;
      }
      if (!seen.insert({from->second.Key, to->second.Key}).second) {
        Skip("relations that repeat a trace between the same two objects");
        continue;
      }
      trace.Bind(1, static_cast<std::int64_t>(from->second.Key)).Bind(2, static_cast<std::int64_t>(to->second.Key)).Run();
      ++summary_.Traces;
    }
  }

  std::vector<std::string> prefixes;
  for (const ObjType& type : types_) prefixes.push_back(type.Prefix);
  summary_.ProjectName = projectName_.empty() ? source_.stem().string() : projectName_;
  summary_.ProjectPrefix = reqif::DerivePrefix(summary_.ProjectName, prefixes);
  {
    reqif::BulkStatement project(db_, "UPDATE VLPROJECT SET GUID = ?1, PREFIX = ?2, NAME = ?3", kSource);
    project.Bind(1, projectIdentifier_.empty() ? reqif::NameBasedGuid(summary_.ProjectName)
                                               : reqif::GuidFromIdentifier(projectIdentifier_));
    project.Bind(2, std::string_view(summary_.ProjectPrefix)).Bind(3, std::string_view(summary_.ProjectName)).Run();
  }
  for (const ObjType& type : types_) {
    ReqifImportSummary::TypeInfo info;
    info.Name = type.Name;
    info.Prefix = type.Prefix;
    info.GUID = type.GUID;
    info.Requirements = type.Requirements;
    for (int a : type.Attrs) {
      if (attrs_[static_cast<std::size_t>(a)].Key != 0) ++info.Attributes;
    }
    summary_.Types.push_back(std::move(info));
  }

  {
    // Every requirement belongs to the one project of the file.
    reqif::BulkStatement members(db_,
                                 "INSERT INTO VLPROJECTREQUIREMENTS (PROJECTID, REQUIREMENTID) "
                                 "SELECT ?1, ID FROM VLREQUIREMENTS ORDER BY ID",
                                 kSource);
    members.Bind(1, static_cast<std::int64_t>(kProjectKey)).Run();
  }
  char* message = nullptr;
  if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, &message) != SQLITE_OK) {
    std::string text = message ? message : "COMMIT failed";
    sqlite3_free(message);
    throw Failure(sqlite3_extended_errcode(db_), kSource, text);
  }
  if (options_.Progress) options_.Progress("indexing", 0, 1);
  // The indexes dropped for the load and the attribute views.
  EnsureSchema(db_);
  sqlite3_exec(db_, "PRAGMA locking_mode=NORMAL", nullptr, nullptr, nullptr);
  if (sqlite3_exec(db_, "PRAGMA journal_mode=WAL", nullptr, nullptr, &message) != SQLITE_OK) {
    std::string text = message ? message : "journal mode";
    sqlite3_free(message);
    throw Failure(sqlite3_extended_errcode(db_), kSource, text);
  }
  if (options_.Progress) options_.Progress("indexing", 1, 1);
}

ReqifImportSummary ImportRun::Run(const std::filesystem::path& temporary) {
  OpenStore(temporary);
  std::FILE* file = std::fopen(source_.string().c_str(), "rb");
  if (!file) throw ReadError{source_.string() + ":0: can't be opened: " + std::strerror(errno)};
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(file, std::fclose);
  std::setvbuf(file, nullptr, _IOFBF, 1 << 20);
  char magic[4] = {};
  const std::size_t got = std::fread(magic, 1, sizeof magic, file);
  std::rewind(file);
  const bool isZip = got == 4 && std::memcmp(magic, "PK\x03\x04", 4) == 0;

  long long consumed = 0;
  long long total = 0;
  long long shownStep = -1;
  auto tick = [&] {
    if (!options_.Progress || total <= 0) return;
    const long long step = consumed * 100 / total;
    if (step == shownStep) return;
    shownStep = step;
    options_.Progress("reading", consumed, total);
  };

  if (!isZip) {
    std::error_code ec;
    total = static_cast<long long>(std::filesystem::file_size(source_, ec));
    InputStream in{file, nullptr, &consumed, tick};
    ReadDocument(in, source_.string());
  } else {
    closer.reset();
    int zipError = 0;
    zip_t* archive = zip_open(source_.string().c_str(), ZIP_RDONLY, &zipError);
    if (!archive) {
      zip_error_t error;
      zip_error_init_with_code(&error, zipError);
      const std::string what = zip_error_strerror(&error);
      zip_error_fini(&error);
      throw ReadError{source_.string() + ":0: not a readable ReqIF archive: " + what};
    }
    std::unique_ptr<zip_t, void (*)(zip_t*)> archiveGuard(archive, [](zip_t* a) { zip_discard(a); });
    std::vector<std::pair<zip_uint64_t, std::string>> entries;
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
      zip_stat_t stat;
      if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat) != 0 || !stat.name) continue;
      const std::string name = stat.name;
      if (name.size() > 6 && text::EqualsNoCase(name.substr(name.size() - 6), ".reqif")) {
        entries.emplace_back(static_cast<zip_uint64_t>(i), name);
        if (stat.valid & ZIP_STAT_SIZE) total += static_cast<long long>(stat.size);
      }
    }
    if (entries.empty()) throw ReadError{source_.string() + ":0: the archive holds no .reqif file"};
    for (const auto& [index, name] : entries) {
      zip_file_t* entry = zip_fopen_index(archive, index, 0);
      if (!entry) {
        throw ReadError{source_.string() + ":" + name + ":0: can't be read from the archive: " +
                        zip_strerror(archive)};
      }
      std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> entryGuard(entry, zip_fclose);
      InputStream in{nullptr, entry, &consumed, tick};
      ReadDocument(in, source_.string() + ":" + name);
    }
  }
  Finish();
  return summary_;
}

void RemoveProjectFiles(const std::filesystem::path& file) {
  std::error_code ignored;
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::remove(std::filesystem::path(file.string() + suffix), ignored);
  }
}

}  // namespace

ReqifImportResult ReqifImporter::Import(const std::filesystem::path& source, const std::filesystem::path& project,
                                        const ReqifImportOptions& options) {
  ReqifImportResult result;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(source, ec)) {
    result.sErrorInfo = source.string() + ":0: no such file";
    return result;
  }
  if (std::filesystem::exists(project, ec) && !options.Replace) {
    result.sErrorInfo = project.string() + ": the project file exists already (--replace overwrites it)";
    return result;
  }
  // The project is written beside the target and renamed into place when it
  // is complete.
  const std::filesystem::path directory = project.has_parent_path() ? project.parent_path() : ".";
  const std::filesystem::path temporary =
      directory / ("." + project.filename().string() + ".import-" + std::to_string(::getpid()));
  RemoveProjectFiles(temporary);
  try {
    ImportRun run(source, options);
    result.Summary = run.Run(temporary);
  } catch (const ReadError& error) {
    RemoveProjectFiles(temporary);
    result.sErrorInfo = error.Message;
    return result;
  } catch (...) {
    RemoveProjectFiles(temporary);
    throw;
  }
  if (options.Replace) {
    // A journal left beside the old file must not meet the new one.
    std::filesystem::remove(std::filesystem::path(project.string() + "-wal"), ec);
    std::filesystem::remove(std::filesystem::path(project.string() + "-shm"), ec);
  }
  std::filesystem::rename(temporary, project, ec);
  if (ec) {
    RemoveProjectFiles(temporary);
    throw Failure(ec.value(), "ReqifImporter", "Can't move the new project to " + project.string() + ": " + ec.message());
  }
  result.Imported = true;
  return result;
}

}  // namespace vlq::platform
