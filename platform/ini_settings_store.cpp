#include "platform/ini_settings_store.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "model/text_util.h"

namespace vlq::platform {
namespace {

std::string_view TrimBlanks(std::string_view s) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!s.empty() && blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && blank(s.back())) s.remove_suffix(1);
  return s;
}

// An absolute directory from the environment, or nothing.
std::optional<std::filesystem::path> AbsoluteEnvDirectory(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  std::filesystem::path path(value);
  if (!path.is_absolute()) return std::nullopt;
  return path;
}

// The user's home directory: $HOME, else the password database.
std::optional<std::filesystem::path> HomeDirectory() {
  if (auto home = AbsoluteEnvDirectory("HOME")) return home;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry{};
  passwd* result = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result != nullptr &&
      result->pw_dir != nullptr && result->pw_dir[0] == '/') {
    return std::filesystem::path(result->pw_dir);
  }
  return std::nullopt;
}

}  // namespace

std::filesystem::path IniSettingsStore::SettingsFile(std::string_view sApplication) const {
  if (fixedFile_) return *fixedFile_;
  std::filesystem::path base;
  if (auto xdg = AbsoluteEnvDirectory("XDG_CONFIG_HOME")) {
    base = *xdg;
  } else if (auto home = HomeDirectory()) {
    base = *home / ".config";
  } else {
    return {};
  }
  return base / std::string(sApplication) / "settings.ini";
}

std::optional<std::string> IniSettingsStore::FindValue(std::string_view sIniText, std::string_view sSection,
                                                       std::string_view sKey) {
  if (sIniText.starts_with("\xEF\xBB\xBF")) sIniText.remove_prefix(3);  // UTF-8 byte order mark
  const std::string_view section = TrimBlanks(sSection);
  const std::string_view key = TrimBlanks(sKey);
  // Keys before the first section header belong to no section.
  bool inSection = section.empty();
  while (!sIniText.empty()) {
    const std::size_t eol = sIniText.find('\n');
    std::string_view line = TrimBlanks(sIniText.substr(0, eol));
    sIniText.remove_prefix(eol == std::string_view::npos ? sIniText.size() : eol + 1);
    if (line.empty() || line.front() == ';' || line.front() == '#') continue;
    if (line.front() == '[') {
      const std::size_t close = line.find(']');
      if (close == std::string_view::npos) continue;
      inSection = text::EqualsNoCase(TrimBlanks(line.substr(1, close - 1)), section);
      continue;
    }
    if (!inSection) continue;
    const std::size_t eq = line.find('=');
    if (eq == std::string_view::npos) continue;
    if (!text::EqualsNoCase(TrimBlanks(line.substr(0, eq)), key)) continue;
    std::string_view value = TrimBlanks(line.substr(eq + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return std::string(value);
  }
  return std::nullopt;
}

std::string IniSettingsStore::GetSetting(std::string_view sApplication, std::string_view sSection,
                                         std::string_view sKey, std::string_view sDefault) const {
  const std::filesystem::path file = SettingsFile(sApplication);
  if (file.empty()) return std::string(sDefault);
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::string(sDefault);
  std::ostringstream content;
  content << in.rdbuf();
  if (auto value = FindValue(content.str(), sSection, sKey)) return *value;
  return std::string(sDefault);
}

}  // namespace vlq::platform
