#pragma once
// The per-user settings store.

#include <string>
#include <string_view>

namespace vlq {

class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  // The stored text of application/section/key, or sDefault when there is none.
  virtual std::string GetSetting(std::string_view sApplication, std::string_view sSection,
                                 std::string_view sKey, std::string_view sDefault) const = 0;
};

}  // namespace vlq
