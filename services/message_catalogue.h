#pragma once
// The message catalogue: the words that the engine gives a caller, by number.

#include <string>
#include <vector>

namespace vlq {

class MessageCatalogue {
 public:
  virtual ~MessageCatalogue() = default;
  // Load(path, component name): the catalogue file beside the component, which
  // may replace the compiled-in texts. A missing file is no failure.
  virtual void Load(const std::string& sPath, const std::string& sComponentName) = 0;
  virtual std::string Message(long lNumber) const = 0;
  // The text with the arguments put in at their marks.
  virtual std::string MessageWithArgs(long lNumber, const std::vector<std::string>& aArgs) const = 0;
};

}  // namespace vlq
