#include "store_commands.h"

#include <filesystem>
#include <ostream>

#include "platform/project_copy.h"
#include "query_commands.h"
#include "scratch_dir.h"
#include "services/failure.h"

namespace vlq::tools {
std::vector<std::string> MakeDemoOnServer(const std::string& location, const DemoOptions& options) {
  ScratchDir scratch;
  const DemoSummary summary = MakeDemoProject(scratch.Path() / "demo.vlp", options);
  const std::vector<platform::CopiedProject> copied = platform::CopyProject(summary.MainFile.string(), location);
  std::vector<std::string> lines{copied.front().To + ": " + std::to_string(summary.Requirements) + " requirements, " +
                                 std::to_string(summary.Traces) + " traces, " + std::to_string(summary.Discussions) +
                                 " discussions"};
  for (std::size_t i = 1; i < copied.size(); ++i) {
    lines.push_back(copied[i].To + ": " + std::to_string(summary.ExtRequirements) + " requirements (external project " +
                    copied[i].Prefix + ")");
  }
  return lines;
}

int RunCopy(const std::string& from, const std::string& to, bool bReplace, std::ostream& out) {
  platform::CopyOptions options;
  options.Replace = bReplace;
  for (const platform::CopiedProject& copy : platform::CopyProject(from, to, options)) {
    out << copy.From << " -> " << copy.To << '\n';
  }
  out.flush();
  return kExitSuccess;
}

}  // namespace vlq::tools
