#pragma once
// The message catalogue of the platform: an English text for every message
// number the engine uses, compiled in, and a catalogue file that may replace
// texts (a translation, or wording a host prefers).
//
// Arguments are marked in a text as %1, %2, ... (the first argument, the
// second, ...); %% stands for a percent sign. A mark whose argument wasn't
// given becomes empty, and arguments that no mark asks for are left out.
//
// The engine loads the catalogue file vlqueryengine.messages from the folder
// of its shared library. The file is UTF-8 text, one entry per line:
//
//   # a comment (also ";")
//   14004=Dieser Teil der Abfrage wurde nicht gelesen: %1
//   [VlQueryEngine]
//   14013=...
//
// A line "<number>=<text>" replaces the compiled-in text of that number; the
// text runs to the end of the line, blanks around the "=" and at the line's
// ends are dropped, and "\n", "\r", "\t" and "\\" in it stand for a line feed,
// a carriage return, a tab and a backslash. Entries before any "[Name]" line
// apply to every component; entries under "[Name]" only to the component of
// that name (compared without regard to case). Blank lines, comments and lines
// of any other form are passed over. A missing or unreadable file leaves the
// compiled-in texts as they are.
//
// Thread safety: the engine makes one catalogue per thread; an object is not
// meant to be loaded and read by two threads at once.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "services/message_catalogue.h"

namespace vlq::platform {

class CompiledMessageCatalogue : public MessageCatalogue {
 public:
  CompiledMessageCatalogue() = default;

  void Load(const std::string& sPath, const std::string& sComponentName) override;
  std::string Message(long lNumber) const override;
  std::string MessageWithArgs(long lNumber, const std::vector<std::string>& aArgs) const override;

  // The compiled-in English text of a number; empty when there is none.
  static std::string_view CompiledText(long lNumber);

  // Puts the arguments in at the marks of sTemplate (see above).
  static std::string SubstituteArgs(std::string_view sTemplate, const std::vector<std::string>& aArgs);

 private:
  // The text of a number: a loaded one first, then the compiled-in one; a
  // text naming the number when there is neither.
  std::string Template(long lNumber, bool& bKnown) const;

  std::map<long, std::string> loaded_;
};

}  // namespace vlq::platform
