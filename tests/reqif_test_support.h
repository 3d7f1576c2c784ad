#pragma once
// Test helpers for ReqIF: what a ReqIF file says, read with libxml2's tree
// parser independently of the importer; what a project file holds, as sorted
// text lines that two projects can be compared by; and the check of a file
// against the ReqIF 1.2 schema, offline.

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "store_fixture.h"

namespace vlq::testing {

inline std::filesystem::path ReqifData(const std::string& name) {
  return std::filesystem::path(VLQ_TEST_DATA_DIR) / "reqif" / name;
}

// ---- What a ReqIF file says -------------------------------------------------------------

struct ReqifFacts {
  std::map<std::string, long> ObjectsPerType;  // type identifier -> objects
  std::map<std::string, std::string> TypeOfObject;
  // Enumeration attribute identifier -> its ENUM-VALUE names in order.
  std::map<std::string, std::vector<std::string>> EnumValues;
  std::set<std::pair<std::string, std::string>> Relations;  // between defined objects
  // Per object type, its objects in document order (first place only).
  std::map<std::string, std::vector<std::string>> DocumentOrder;
  // Object -> its nearest ancestor of the same type in its first place ("" for none).
  std::map<std::string, std::string> SameTypeParent;
  // (object, STRING attribute definition) -> THE-VALUE, for user attributes.
  std::map<std::pair<std::string, std::string>, std::string> Strings;
};

namespace detail {

inline std::string Local(const xmlNode* node) { return node && node->name ? reinterpret_cast<const char*>(node->name) : ""; }

inline std::string Prop(const xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, BAD_CAST name);
  if (!value) return {};
  std::string text(reinterpret_cast<const char*>(value));
  xmlFree(value);
  return text;
}

inline std::vector<const xmlNode*> Children(const xmlNode* node, const std::string& name = {}) {
  std::vector<const xmlNode*> out;
  for (const xmlNode* child = node ? node->children : nullptr; child; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && (name.empty() || Local(child) == name)) out.push_back(child);
  }
  return out;
}

inline const xmlNode* Child(const xmlNode* node, const std::string& name) {
  const auto all = Children(node, name);
  return all.empty() ? nullptr : all.front();
}

inline std::string Text(const xmlNode* node) {
  if (!node) return {};
  xmlChar* content = xmlNodeGetContent(node);
  std::string text(content ? reinterpret_cast<const char*>(content) : "");
  xmlFree(content);
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The text of the first descendant element whose name ends with "-REF".
inline std::string RefIn(const xmlNode* node) {
  for (const xmlNode* child : Children(node)) {
    const std::string name = Local(child);
    if (name.size() > 4 && name.ends_with("-REF")) return Text(child);
  }
  return {};
}

}  // namespace detail

inline ReqifFacts ReadReqifFacts(const std::filesystem::path& file) {
  using namespace detail;
  std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> doc(
      xmlReadFile(file.string().c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOBLANKS), xmlFreeDoc);
  if (!doc) throw std::runtime_error("can't parse " + file.string());
  const xmlNode* content = Child(Child(xmlDocGetRootElement(doc.get()), "CORE-CONTENT"), "REQ-IF-CONTENT");
  ReqifFacts facts;
  std::map<std::string, std::vector<std::string>> datatypeValues;
  for (const xmlNode* type : Children(Child(content, "DATATYPES"), "DATATYPE-DEFINITION-ENUMERATION")) {
    auto& values = datatypeValues[Prop(type, "IDENTIFIER")];
    for (const xmlNode* value : Children(Child(type, "SPECIFIED-VALUES"), "ENUM-VALUE")) {
      values.push_back(Prop(value, "LONG-NAME"));
    }
  }
  std::set<std::string> stringAttrs;
  for (const xmlNode* type : Children(Child(content, "SPEC-TYPES"), "SPEC-OBJECT-TYPE")) {
    facts.ObjectsPerType[Prop(type, "IDENTIFIER")] = 0;
    for (const xmlNode* attr : Children(Child(type, "SPEC-ATTRIBUTES"))) {
      const std::string name = Local(attr);
      if (name == "ATTRIBUTE-DEFINITION-ENUMERATION") {
        facts.EnumValues[Prop(attr, "IDENTIFIER")] = datatypeValues[RefIn(Child(attr, "TYPE"))];
      } else if (name == "ATTRIBUTE-DEFINITION-STRING" && !Prop(attr, "LONG-NAME").starts_with("ReqIF.")) {
        stringAttrs.insert(Prop(attr, "IDENTIFIER"));
      }
    }
  }
  for (const xmlNode* object : Children(Child(content, "SPEC-OBJECTS"), "SPEC-OBJECT")) {
    const std::string id = Prop(object, "IDENTIFIER");
    const std::string type = RefIn(Child(object, "TYPE"));
    facts.TypeOfObject[id] = type;
    ++facts.ObjectsPerType[type];
    for (const xmlNode* value : Children(Child(object, "VALUES"), "ATTRIBUTE-VALUE-STRING")) {
      const std::string definition = RefIn(Child(value, "DEFINITION"));
      if (stringAttrs.count(definition)) facts.Strings[{id, definition}] = Prop(value, "THE-VALUE");
    }
  }
  for (const xmlNode* relation : Children(Child(content, "SPEC-RELATIONS"), "SPEC-RELATION")) {
    const std::string from = RefIn(Child(relation, "SOURCE"));
    const std::string to = RefIn(Child(relation, "TARGET"));
    if (facts.TypeOfObject.count(from) && facts.TypeOfObject.count(to)) facts.Relations.insert({from, to});
  }
  std::set<std::string> placed;
  std::vector<std::string> path;  // the objects of the open hierarchy entries
  std::function<void(const xmlNode*)> walk = [&](const xmlNode* node) {
    for (const xmlNode* entry : Children(Child(node, "CHILDREN"), "SPEC-HIERARCHY")) {
      const std::string object = RefIn(Child(entry, "OBJECT"));
      const auto type = facts.TypeOfObject.find(object);
      if (type != facts.TypeOfObject.end() && placed.insert(object).second) {
        facts.DocumentOrder[type->second].push_back(object);
        std::string parent;
        for (auto it = path.rbegin(); it != path.rend(); ++it) {
          if (facts.TypeOfObject[*it] == type->second) {
            parent = *it;
            break;
          }
        }
        facts.SameTypeParent[object] = parent;
      }
      path.push_back(type != facts.TypeOfObject.end() ? object : std::string());
      walk(entry);
      path.pop_back();
    }
  };
  for (const xmlNode* document : Children(Child(content, "SPECIFICATIONS"), "SPECIFICATION")) walk(document);
  return facts;
}

// ---- What a project holds -----------------------------------------------------------------

// Runs a query and gives each row as its columns joined by "|".
inline std::vector<std::string> QueryLines(const std::filesystem::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.string().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    throw std::runtime_error("can't open " + file.string());
  }
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
    const std::string message = sqlite3_errmsg(db);
    sqlite3_close(db);
    throw std::runtime_error(message + " in: " + sql);
  }
  std::vector<std::string> lines;
  while (sqlite3_step(stmt) == SQLITE_ROW) {
    std::string line;
    for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
      if (c > 0) line += '|';
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, c));
      line += text ? text : "<null>";
    }
    lines.push_back(std::move(line));
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return lines;
}

// The content of a project that an export and a new import must keep: types,
// attributes, list items, requirements (name, text, prefix, tag), values and
// traces, named by GUIDs and keys rather than by the order of rows. With
// withDates the requirements' version date and time too.
inline std::vector<std::string> ProjectContent(const std::filesystem::path& file, bool withDates = true) {
  const std::vector<std::string> queries = {
      "SELECT 'type', NAME, PREFIX, GUID FROM VLREQUIREMENTTYPES ORDER BY GUID",
      "SELECT 'attribute', T.GUID, A.LABEL, A.DATATYPE, A.GUID FROM VLATTRIBUTES A JOIN VLREQUIREMENTTYPES T "
      "ON T.ID = A.REQUIREMENTTYPEID ORDER BY A.GUID",
      "SELECT 'item', A.GUID, I.ITEMRANK, I.ITEMTEXT, I.GUID FROM VLUSERDEFINEDLISTITEMS I JOIN VLATTRIBUTES A "
      "ON A.ID = I.FIELDID ORDER BY A.GUID, I.ITEMRANK",
      std::string("SELECT 'requirement', R.ID, T.GUID, R.REQUIREMENTNAME, R.REQUIREMENTTEXT, R.REQUIREMENTPREFIX, "
                  "R.LONGTAGNUMBER") +
          (withDates ? ", R.VERSIONDATETIME" : "") +
          " FROM VLREQUIREMENTS R JOIN VLREQUIREMENTTYPES T ON T.ID = R.REQUIREMENTTYPEID ORDER BY R.ID",
      "SELECT 'value', F.REQUIREMENTID, A.GUID, typeof(F.FIELDVALUE), F.FIELDVALUE FROM VLUSERDEFINEDFIELDVALUES F "
      "JOIN VLATTRIBUTES A ON A.ID = F.FIELDID ORDER BY 2, 3, 5",
      "SELECT 'chosen', L.REQUIREMENTID, A.GUID, I.GUID FROM VLUSERDEFINEDLISTVALUES L JOIN VLATTRIBUTES A "
      "ON A.ID = L.FIELDID JOIN VLUSERDEFINEDLISTITEMS I ON I.FIELDID = L.FIELDID AND I.ITEMID = L.LISTITEMID "
      "ORDER BY 2, 3, 4",
      "SELECT 'trace', REQUIREMENTID, TOID FROM VLTORELATIONSHIPS WHERE EXTERNALPROJECTID = 0 "
      "AND EXTERNALPROJECTTOID = 0 ORDER BY 2, 3",
  };
  std::vector<std::string> lines;
  for (const std::string& sql : queries) {
    for (std::string& line : QueryLines(file, sql)) lines.push_back(std::move(line));
  }
  return lines;
}

// ---- The ReqIF 1.2 schema, offline --------------------------------------------------------------

// The schema of tests/data/reqif/schema, compiled once. Its imports of the XML
// namespace name no file (schemaLocation=""): a temporary copy of the tree
// points them at xml-namespace.xsd. libxml2 loads nothing from the network.
class ReqifSchema {
 public:
  static ReqifSchema& Get() {
    static ReqifSchema schema;
    return schema;
  }
  // The validator's messages; empty when the file is valid.
  std::string Validate(const std::filesystem::path& file) {
    std::string messages;
    xmlSchemaValidCtxtPtr context = xmlSchemaNewValidCtxt(schema_);
    xmlSchemaSetValidStructuredErrors(context, Collect, &messages);
    std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> doc(xmlReadFile(file.string().c_str(), nullptr, XML_PARSE_NONET),
                                                     xmlFreeDoc);
    if (!doc) messages = "not well-formed";
    else if (xmlSchemaValidateDoc(context, doc.get()) != 0 && messages.empty()) messages = "not valid";
    xmlSchemaFreeValidCtxt(context);
    return messages;
  }
  ~ReqifSchema() {
    if (schema_) xmlSchemaFree(schema_);
  }
  ReqifSchema(const ReqifSchema&) = delete;
  ReqifSchema& operator=(const ReqifSchema&) = delete;

 private:
  ReqifSchema() {
    const std::filesystem::path copy = dir_.Path() / "schema";
    std::filesystem::copy(ReqifData("schema"), copy, std::filesystem::copy_options::recursive);
    std::filesystem::copy_file(ReqifData("xml-namespace.xsd"), copy / "xml-namespace.xsd");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(copy)) {
      if (entry.path().extension() != ".xsd") continue;
      std::ifstream in(entry.path());
      std::stringstream buffer;
      buffer << in.rdbuf();
      std::string text = buffer.str();
      const std::string relative =
          std::filesystem::relative(copy / "xml-namespace.xsd", entry.path().parent_path()).string();
      for (std::size_t at = text.find("schemaLocation=\"\""); at != std::string::npos;
           at = text.find("schemaLocation=\"\"", at)) {
        text.replace(at, 17, "schemaLocation=\"" + relative + "\"");
      }
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_write,
                                   std::filesystem::perm_options::add);
      std::ofstream(entry.path(), std::ios::trunc) << text;
    }
    xmlSchemaParserCtxtPtr parser = xmlSchemaNewParserCtxt((copy / "reqif.xsd").string().c_str());
    schema_ = xmlSchemaParse(parser);
    xmlSchemaFreeParserCtxt(parser);
    if (!schema_) throw std::runtime_error("the ReqIF schema doesn't compile");
  }
  static void Collect(void* context, xmlErrorPtr error) {
    auto* messages = static_cast<std::string*>(context);
    if (error && error->message && messages->size() < 4000) {
      *messages += "line " + std::to_string(error->line) + ": " + error->message;
    }
  }
  test::TempDir dir_;
  xmlSchemaPtr schema_ = nullptr;
};

}  // namespace vlq::testing
