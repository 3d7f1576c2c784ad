#pragma once
// The per-user settings store of the platform: one INI file per application,
// $XDG_CONFIG_HOME/<application>/settings.ini, or ~/.config/<application>/
// settings.ini when XDG_CONFIG_HOME is not set (or not an absolute path, as
// the XDG base directory rules say). The engine's application is
// "VlQueryEngine", so its file is ~/.config/VlQueryEngine/settings.ini:
//
//   [Output]
//   Mode=1
//
// Sections and keys compare without regard to case; blanks around them and
// around the value are dropped, and a value in double quotation marks loses
// them. Lines starting with ";" or "#" are comments. Where a key stands twice in
// a section, the first one counts. A missing or unreadable file, section or key
// gives the default.
//
// The file is read at each GetSetting, so a change shows at the next read (the
// engine reads its setting once per new QueryEngine). Thread safety: an object
// holds no state that changes; any thread may call it.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "services/settings_store.h"

namespace vlq::platform {

class IniSettingsStore : public SettingsStore {
 public:
  // The file of each application under the user's configuration directory.
  IniSettingsStore() = default;
  // One fixed file for every application (a host's own file, a test).
  explicit IniSettingsStore(std::filesystem::path fixedFile) : fixedFile_(std::move(fixedFile)) {}

  std::string GetSetting(std::string_view sApplication, std::string_view sSection, std::string_view sKey,
                         std::string_view sDefault) const override;

  // The file that holds the settings of sApplication; empty when the user's
  // configuration directory can't be told.
  std::filesystem::path SettingsFile(std::string_view sApplication) const;

  // The value of sSection/sKey in INI text, nullopt when it isn't there.
  static std::optional<std::string> FindValue(std::string_view sIniText, std::string_view sSection,
                                              std::string_view sKey);

 private:
  std::optional<std::filesystem::path> fixedFile_;
};

}  // namespace vlq::platform
