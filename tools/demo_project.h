#pragma once
// The sample project of `vlquery demo`: a realistic requirements project with
// several requirement types in a hierarchy, attributes of every data type,
// users and groups, documents, packages, discussions with responses and
// restrictions, traces (suspect ones, chains, a few cycles) and an external
// project beside it that the main project references and traces into.
//
// The data is written with plain SQL into the schema that CreateProjectFile
// makes, in one transaction per file. The same seed gives the same project on
// every machine and with every standard library: the generator draws from a
// seeded std::mt19937 through its own distributions.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace vlq::tools {

struct DemoOptions {
  long Requirements = 200;  // requirements of the main project
  std::uint64_t Seed = 1;
  // Called now and then with a phase name, the work done and the work of the
  // phase; the tool shows it on a terminal. May be empty.
  std::function<void(const std::string& phase, long done, long total)> Progress;
};

struct DemoSummary {
  std::filesystem::path MainFile;
  std::filesystem::path ExtFile;
  long Requirements = 0;
  long ExtRequirements = 0;
  long Traces = 0;
  long Discussions = 0;
};

// The external project's file beside the main one: "<stem>-ext.vlp".
std::filesystem::path DemoExtFile(const std::filesystem::path& mainFile);

// Writes the main project file and its external project. Fails with Failure
// when one of the two files exists already or when the database refuses a
// statement; files it began are removed again then.
DemoSummary MakeDemoProject(const std::filesystem::path& file, const DemoOptions& options);

}  // namespace vlq::tools
