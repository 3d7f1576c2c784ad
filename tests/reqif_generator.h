#pragma once
// Test and benchmark helper: writes a ReqIF file of any size, the same for the
// same seed. Two object types (headings and requirements) with attributes of
// every kind, XHTML texts, a document whose headings hold requirements (some
// nested under others), traces between requirements, and - when asked - the
// faults of real exports: values of undefined attributes, objects of an
// undefined type and relations to objects the file doesn't have.
//
//   vlq::testing::ReqifShape shape;
//   shape.Objects = 1000;
//   const auto counts = vlq::testing::WriteReqif(path, shape);

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace vlq::testing {

struct ReqifShape {
  long Objects = 1000;
  std::uint32_t Seed = 1;
  bool Dangling = false;  // add references to things the file doesn't define
};

// What a generated file holds, for the checks of a test.
struct ReqifCounts {
  long Headings = 0;
  long Requirements = 0;
  long Relations = 0;           // SPEC-RELATIONs between defined objects
  long DanglingRelations = 0;   // to an undefined object
  long DanglingValues = 0;      // of an undefined attribute definition
  long UndefinedTypeObjects = 0;
  long HighPriority = 0;        // requirements whose Priority is High
  long NestedRequirements = 0;  // requirements under another requirement
};

namespace detail {

class Draw {
 public:
  explicit Draw(std::uint32_t seed) : engine_(seed) {}
  std::uint32_t Below(std::uint32_t n) { return n <= 1 ? 0 : static_cast<std::uint32_t>(engine_() % n); }
  bool Chance(std::uint32_t percent) { return Below(100) < percent; }

 private:
  std::mt19937 engine_;
};

inline const char* const kWords[] = {"system", "shall", "log",     "every",  "user",    "request", "within",
                                     "two",    "seconds", "store", "audit",  "records", "export",  "report",
                                     "secure", "backup", "restore", "screen", "network", "offline"};

inline std::string Sentence(Draw& draw, int words) {
  std::string text = "The";
  for (int i = 0; i < words; ++i) {
    text += ' ';
    text += kWords[draw.Below(20)];
  }
  return text + '.';
}

}  // namespace detail

inline ReqifCounts WriteReqif(const std::filesystem::path& file, const ReqifShape& shape) {
  std::FILE* out = std::fopen(file.string().c_str(), "wb");
  if (!out) throw std::runtime_error("can't write " + file.string());
  detail::Draw draw(shape.Seed);
  ReqifCounts counts;
  auto put = [&](const std::string& text) { std::fwrite(text.data(), 1, text.size(), out); };
  const std::string stamp = "2023-04-05T06:07:08+02:00";

  put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<REQ-IF xmlns=\"http://www.omg.org/spec/ReqIF/20110401/reqif.xsd\" "
      "xmlns:xhtml=\"http://www.w3.org/1999/xhtml\">\n"
      "<THE-HEADER><REQ-IF-HEADER IDENTIFIER=\"gen-header\"><CREATION-TIME>" + stamp +
      "</CREATION-TIME><REQ-IF-TOOL-ID>generator</REQ-IF-TOOL-ID><REQ-IF-VERSION>1.0</REQ-IF-VERSION>"
      "<SOURCE-TOOL-ID>generator</SOURCE-TOOL-ID><TITLE>Generated requirements</TITLE></REQ-IF-HEADER></THE-HEADER>\n"
      "<CORE-CONTENT><REQ-IF-CONTENT>\n<DATATYPES>\n");
  put("<DATATYPE-DEFINITION-STRING IDENTIFIER=\"dt-string\" LAST-CHANGE=\"" + stamp + "\" MAX-LENGTH=\"1000\"/>\n");
  put("<DATATYPE-DEFINITION-XHTML IDENTIFIER=\"dt-xhtml\" LAST-CHANGE=\"" + stamp + "\"/>\n");
  put("<DATATYPE-DEFINITION-INTEGER IDENTIFIER=\"dt-int\" LAST-CHANGE=\"" + stamp + "\" MIN=\"0\" MAX=\"1000\"/>\n");
  put("<DATATYPE-DEFINITION-REAL IDENTIFIER=\"dt-real\" LAST-CHANGE=\"" + stamp +
      "\" ACCURACY=\"2\" MIN=\"0\" MAX=\"1000\"/>\n");
  put("<DATATYPE-DEFINITION-DATE IDENTIFIER=\"dt-date\" LAST-CHANGE=\"" + stamp + "\"/>\n");
  put("<DATATYPE-DEFINITION-BOOLEAN IDENTIFIER=\"dt-bool\" LAST-CHANGE=\"" + stamp + "\"/>\n");
  put("<DATATYPE-DEFINITION-ENUMERATION IDENTIFIER=\"dt-priority\" LAST-CHANGE=\"" + stamp +
      "\"><SPECIFIED-VALUES>");
  const char* const priorities[] = {"High", "Medium", "Low"};
  for (int i = 0; i < 3; ++i) {
    put("<ENUM-VALUE IDENTIFIER=\"ev-" + std::string(priorities[i]) + "\" LAST-CHANGE=\"" + stamp + "\" LONG-NAME=\"" +
        priorities[i] + "\"><PROPERTIES><EMBEDDED-VALUE KEY=\"" + std::to_string(i) +
        "\" OTHER-CONTENT=\"\"/></PROPERTIES></ENUM-VALUE>");
  }
  put("</SPECIFIED-VALUES></DATATYPE-DEFINITION-ENUMERATION>\n</DATATYPES>\n<SPEC-TYPES>\n");
  auto attrDef = [&](const std::string& kind, const std::string& id, const std::string& label, const std::string& dt,
                     const std::string& extra = {}) {
    put("<ATTRIBUTE-DEFINITION-" + kind + " IDENTIFIER=\"" + id + "\" LAST-CHANGE=\"" + stamp + "\" LONG-NAME=\"" +
        label + "\"" + extra + "><TYPE><DATATYPE-DEFINITION-" + kind + "-REF>" + dt + "</DATATYPE-DEFINITION-" + kind +
        "-REF></TYPE></ATTRIBUTE-DEFINITION-" + kind + ">\n");
  };
  put("<SPEC-OBJECT-TYPE IDENTIFIER=\"type-heading\" LAST-CHANGE=\"" + stamp +
      "\" LONG-NAME=\"Heading\"><SPEC-ATTRIBUTES>\n");
  attrDef("STRING", "ad-chapter", "ReqIF.ChapterName", "dt-string");
  put("</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE>\n");
  put("<SPEC-OBJECT-TYPE IDENTIFIER=\"type-req\" LAST-CHANGE=\"" + stamp +
      "\" LONG-NAME=\"System Requirement\"><SPEC-ATTRIBUTES>\n");
  attrDef("STRING", "ad-name", "ReqIF.Name", "dt-string");
  attrDef("XHTML", "ad-text", "ReqIF.Text", "dt-xhtml");
  attrDef("ENUMERATION", "ad-priority", "Priority", "dt-priority", " MULTI-VALUED=\"false\"");
  attrDef("INTEGER", "ad-effort", "Effort", "dt-int");
  attrDef("REAL", "ad-cost", "Cost", "dt-real");
  attrDef("DATE", "ad-due", "Due", "dt-date");
  attrDef("BOOLEAN", "ad-safety", "Safety", "dt-bool");
  put("</SPEC-ATTRIBUTES></SPEC-OBJECT-TYPE>\n");
  put("<SPEC-RELATION-TYPE IDENTIFIER=\"type-trace\" LAST-CHANGE=\"" + stamp + "\" LONG-NAME=\"Trace\"/>\n");
  put("<SPECIFICATION-TYPE IDENTIFIER=\"type-doc\" LAST-CHANGE=\"" + stamp + "\" LONG-NAME=\"Document\"/>\n");
  put("</SPEC-TYPES>\n<SPEC-OBJECTS>\n");

  // Objects: a heading now and then, the rest requirements; the document
  // puts each requirement under the last heading, and some requirements
  // under the requirement before them.
  struct Placed {
    long Index;
    int Depth;  // 1 heading, 2 requirement under it, 3 under a requirement
  };
  std::vector<Placed> order;
  auto value = [&](const std::string& kind, const std::string& def, const std::string& theValue) {
    put("<ATTRIBUTE-VALUE-" + kind + " THE-VALUE=\"" + theValue + "\"><DEFINITION><ATTRIBUTE-DEFINITION-" + kind +
        "-REF>" + def + "</ATTRIBUTE-DEFINITION-" + kind + "-REF></DEFINITION></ATTRIBUTE-VALUE-" + kind + ">\n");
  };
  int lastDepth = 1;
  for (long i = 0; i < shape.Objects; ++i) {
    const std::string id = "obj-" + std::to_string(i);
    const bool heading = i == 0 || draw.Chance(8);
    const bool undefinedType = shape.Dangling && !heading && draw.Chance(1);
    put("<SPEC-OBJECT IDENTIFIER=\"" + id + "\" LAST-CHANGE=\"2022-0" + std::to_string(1 + draw.Below(9)) + "-1" +
        std::to_string(draw.Below(10)) + "T10:20:30Z\">\n<TYPE><SPEC-OBJECT-TYPE-REF>" +
        (undefinedType ? std::string("type-missing") : heading ? "type-heading" : "type-req") +
        "</SPEC-OBJECT-TYPE-REF></TYPE>\n<VALUES>\n");
    if (heading) {
      value("STRING", "ad-chapter", "Chapter " + std::to_string(counts.Headings + 1));
      ++counts.Headings;
      order.push_back({i, 1});
      lastDepth = 1;
    } else {
      value("STRING", "ad-name", "Requirement " + std::to_string(i));
      put("<ATTRIBUTE-VALUE-XHTML><DEFINITION><ATTRIBUTE-DEFINITION-XHTML-REF>ad-text</ATTRIBUTE-DEFINITION-XHTML-REF>"
          "</DEFINITION><THE-VALUE><xhtml:div><xhtml:p>" +
          detail::Sentence(draw, 7) + "</xhtml:p><xhtml:p>" + detail::Sentence(draw, 3) +
          "</xhtml:p></xhtml:div></THE-VALUE></ATTRIBUTE-VALUE-XHTML>\n");
      const std::uint32_t priority = draw.Below(3);
      put("<ATTRIBUTE-VALUE-ENUMERATION><DEFINITION><ATTRIBUTE-DEFINITION-ENUMERATION-REF>ad-priority"
          "</ATTRIBUTE-DEFINITION-ENUMERATION-REF></DEFINITION><VALUES><ENUM-VALUE-REF>ev-" +
          std::string(priorities[priority]) + "</ENUM-VALUE-REF></VALUES></ATTRIBUTE-VALUE-ENUMERATION>\n");
      if (i % 2 == 1) value("INTEGER", "ad-effort", std::to_string(draw.Below(1000)));
      if (i % 2 == 0) {
        value("DATE", "ad-due", "2024-0" + std::to_string(1 + draw.Below(9)) + "-2" + std::to_string(draw.Below(8)) +
                                    "T00:00:00Z");
      }
      // Cost and safety are filled in for one requirement in four; effort
      // and due dates for every second one.
      if (i % 4 == 0) {
        value("REAL", "ad-cost", std::to_string(draw.Below(100000) / 100) + "." + std::to_string(10 + draw.Below(90)));
        value("BOOLEAN", "ad-safety", draw.Chance(20) ? "true" : "false");
      }
      if (shape.Dangling && draw.Chance(2)) {
        value("STRING", "ad-missing", "lost");
        ++counts.DanglingValues;
      }
      if (undefinedType) {
        ++counts.UndefinedTypeObjects;
        order.push_back({i, 2});
        lastDepth = 1;  // nothing nests under an object of another type
      } else {
        ++counts.Requirements;
        if (priority == 0) ++counts.HighPriority;
        const int depth = lastDepth >= 2 && draw.Chance(15) ? 3 : 2;
        if (depth == 3) ++counts.NestedRequirements;
        order.push_back({i, depth});
        lastDepth = 2;  // a nested one closes again at the next
      }
    }
    put("</VALUES>\n</SPEC-OBJECT>\n");
  }
  put("</SPEC-OBJECTS>\n<SPEC-RELATIONS>\n");
  for (long i = 1; i < shape.Objects; ++i) {
    if (!draw.Chance(40)) continue;
    const long target = static_cast<long>(draw.Below(static_cast<std::uint32_t>(i)));
    const bool dangling = shape.Dangling && draw.Chance(5);
    put("<SPEC-RELATION IDENTIFIER=\"rel-" + std::to_string(i) + "\" LAST-CHANGE=\"" + stamp +
        "\"><TYPE><SPEC-RELATION-TYPE-REF>type-trace</SPEC-RELATION-TYPE-REF></TYPE><SOURCE><SPEC-OBJECT-REF>obj-" +
        std::to_string(i) + "</SPEC-OBJECT-REF></SOURCE><TARGET><SPEC-OBJECT-REF>" +
        (dangling ? "elsewhere-" : "obj-") + std::to_string(target) + "</SPEC-OBJECT-REF></TARGET></SPEC-RELATION>\n");
    if (dangling) ++counts.DanglingRelations;
    else ++counts.Relations;
  }
  put("</SPEC-RELATIONS>\n<SPECIFICATIONS>\n<SPECIFICATION IDENTIFIER=\"doc-1\" LAST-CHANGE=\"" + stamp +
      "\" LONG-NAME=\"System specification\"><TYPE><SPECIFICATION-TYPE-REF>type-doc</SPECIFICATION-TYPE-REF></TYPE>"
      "<CHILDREN>\n");
  int open = 0;
  for (const Placed& placed : order) {
    while (open >= placed.Depth) {
      put(open > 0 ? "</CHILDREN></SPEC-HIERARCHY>\n" : "");
      --open;
    }
    // An element that takes children opens its CHILDREN at once; an empty
    // CHILDREN element is valid ReqIF.
    put("<SPEC-HIERARCHY IDENTIFIER=\"h-" + std::to_string(placed.Index) + "\" LAST-CHANGE=\"" + stamp +
        "\"><OBJECT><SPEC-OBJECT-REF>obj-" + std::to_string(placed.Index) + "</SPEC-OBJECT-REF></OBJECT><CHILDREN>\n");
    open = placed.Depth;
  }
  while (open > 0) {
    put("</CHILDREN></SPEC-HIERARCHY>\n");
    --open;
  }
  put("</CHILDREN></SPECIFICATION>\n</SPECIFICATIONS>\n</REQ-IF-CONTENT></CORE-CONTENT>\n</REQ-IF>\n");
  if (std::fclose(out) != 0) throw std::runtime_error("can't write " + file.string());
  return counts;
}

}  // namespace vlq::testing
