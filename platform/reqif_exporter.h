#pragma once
// ReqifExporter: writes requirements of a project file as a ReqIF 1.2 file.
//
// The file holds the requirements given by key, their requirement types with
// every attribute (list attributes as enumerations with their items in rank
// order, multi-select lists as MULTI-VALUED ones), the name and text as the
// standard attributes ReqIF.Name and ReqIF.Text, their attribute values, the
// traces between them (traces that leave the set or the project are left out
// and counted) and the hierarchy among them: one SPECIFICATION per document,
// in which each requirement stands under its nearest ancestor by tag within
// its type, and the requirements of other types in document order beside
// them. A requirement outside any document goes into the SPECIFICATION of
// the tree it belongs to; trees with no document at all into one last
// SPECIFICATION named after the project.
//
// Importing the file again (ReqifImporter) gives back the same requirement
// types (names, prefixes and GUIDs: the prefixes and the attributes that hold
// a time of day travel in a tool extension of this system), attributes, list
// items, values, requirements, traces and tag numbers (renumbered without
// gaps when only a part of a tree is written).
//
// The file is written as a stream (libxml2's writer) into a temporary file
// beside the target and renamed at the end. Failures of the disk or the
// database are thrown as Failure and leave nothing behind.

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vlq::platform {

struct ReqifExportOptions {
  // Called now and then with the phase, the work done and the whole work. May
  // be empty.
  std::function<void(const std::string& phase, long long done, long long total)> Progress;
};

struct ReqifExportSummary {
  long Types = 0;
  long Attributes = 0;
  long Requirements = 0;
  long Traces = 0;
  long Documents = 0;
  // Traces from or to requirements that are not written (another project,
  // or not selected).
  long TracesLeftOut = 0;
  // Stored values that don't fit their attribute's data type.
  long ValuesLeftOut = 0;
};

class ReqifExporter {
 public:
  // Writes the requirements of `project` whose keys are given (in any order;
  // keys that the project doesn't hold are ignored) to `target`, replacing it.
  static ReqifExportSummary Export(const std::filesystem::path& project, const std::vector<long>& requirementKeys,
                                   const std::filesystem::path& target, const ReqifExportOptions& options = {});
};

}  // namespace vlq::platform
