#pragma once
// ReqifImporter: makes a new project file from a ReqIF file (.reqif) or a
// ReqIF archive (.reqifz, a zip of .reqif files).
//
// The XML is read as a stream (libxml2's reader), never as a whole tree, with
// no network access, no document type declarations and libxml2's limits on
// the size of names, texts and attribute values. The project is written into a
// temporary file beside the target with the store's schema and renamed to the
// target at the end, so that an import either makes the whole project or
// leaves nothing behind.
//
// What comes in:
//  - each SPEC-OBJECT-TYPE a requirement type (NAME its LONG-NAME, a derived
//    PREFIX, a GUID from its IDENTIFIER); objects of a type that the file
//    doesn't define come in under a type of their own, one per missing type;
//  - each attribute definition an attribute: STRING and XHTML (as plain text)
//    as text, INTEGER whole numbers, REAL real numbers, DATE dates (the
//    calendar day as written; the time of day is dropped), BOOLEAN a list with
//    the items "false" and "true", ENUMERATION a list, or a multi-select list
//    when MULTI-VALUED, its ENUM-VALUEs the items in their order. ReqIF.Name
//    (or ReqIF.ChapterName) and ReqIF.Text fill the requirement's name and text
//    instead. A label that a system attribute word would hide, or that the
//    type has already, gets " (attribute)" or a number behind it;
//  - each SPEC-OBJECT a requirement: LAST-CHANGE its version date and time,
//    its IDENTIFIER kept in the table VLREQIFIDENTIFIERS; attribute defaults
//    apply where an object gives no value;
//  - each SPECIFICATION a document. Tag numbers come from the SPEC-HIERARCHY:
//    a requirement's parent is its nearest ancestor in the hierarchy of the
//    same requirement type, siblings and roots are numbered in document order,
//    so that each type forms a tree of its own in document order. Objects that
//    no hierarchy places are numbered as roots behind the others, in file
//    order. An object placed twice keeps its first place;
//  - each SPEC-RELATION between two objects a trace from SOURCE to TARGET.
//
// A file that can't be read as ReqIF (malformed or truncated XML, another
// format, a value that breaks its data type unless options.SkipInvalidValues)
// is an expected failure: the
// result says which file, which line and what is wrong. References to things
// the file doesn't define don't stop an import; the summary counts what was
// left out and why. Failures of the disk or the database are thrown as
// Failure, and leave nothing behind either.

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vlq::platform {

struct ReqifImportOptions {
  // Replace an existing project file; without it an existing file is refused.
  bool Replace = false;
  // Leave values that break their data type out (and count them) instead of
  // refusing the file.
  bool SkipInvalidValues = false;
  // Called now and then with the phase, the work done and the whole work (in
  // bytes while reading). May be empty.
  std::function<void(const std::string& phase, long long done, long long total)> Progress;
};

struct ReqifImportSummary {
  struct TypeInfo {
    std::string Name;
    std::string Prefix;
    std::string GUID;
    long Attributes = 0;
    long Requirements = 0;
  };
  std::string ProjectName;
  std::string ProjectPrefix;
  std::vector<TypeInfo> Types;
  long Attributes = 0;
  long ListItems = 0;
  long Requirements = 0;
  long Traces = 0;
  long Documents = 0;
  // Attribute labels that were changed: "type: old -> new (why)".
  std::vector<std::string> Renamed;
  // What was left out, by reason, with the count.
  std::map<std::string, long> Skipped;
  // Other things worth knowing (dropped times of day, placed twice...).
  std::map<std::string, long> Notes;
};

struct ReqifImportResult {
  bool Imported = false;
  // When not imported: "<file>:<line>: <what is wrong>".
  std::string sErrorInfo;
  ReqifImportSummary Summary;
};

class ReqifImporter {
 public:
  // Imports `source` (.reqif, or a zip archive: .reqifz) into the new project
  // file `project`. An existing project file is an expected failure unless
  // options.Replace.
  static ReqifImportResult Import(const std::filesystem::path& source, const std::filesystem::path& project,
                                  const ReqifImportOptions& options = {});
};

}  // namespace vlq::platform
