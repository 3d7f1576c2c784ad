// The per-user INI settings: where the file is found and how it is read.

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "components_test_support.h"
#include "platform/ini_settings_store.h"

namespace vlq {
namespace {

using platform::IniSettingsStore;

using testing_support::ScopedEnv;
using testing_support::TempDir;

TEST(ComponentsSettings, ModeIsReadFromTheApplicationsFileUnderXdgConfigHome) {
  TempDir dir;
  ScopedEnv xdg("XDG_CONFIG_HOME", dir.Path().string());
  dir.WriteFile("VlQueryEngine/settings.ini", "[output]\r\nmode = 3\r\n");
  dir.WriteFile("OtherApp/settings.ini", "[Output]\nMode=7\n");
  IniSettingsStore store;
  EXPECT_EQ(store.SettingsFile("VlQueryEngine"), dir.Path() / "VlQueryEngine" / "settings.ini");
  EXPECT_EQ(store.GetSetting("VlQueryEngine", "Output", "Mode", "0"), "3");
  EXPECT_EQ(store.GetSetting("OtherApp", "OUTPUT", "MODE", "0"), "7");
  EXPECT_EQ(store.GetSetting("VlQueryEngine", "Output", "Other", "dflt"), "dflt");
  EXPECT_EQ(store.GetSetting("MissingApp", "Output", "Mode", "0"), "0");
}

TEST(ComponentsSettings, WithoutXdgConfigHomeTheFileIsUnderHomeConfig) {
  TempDir dir;
  ScopedEnv home("HOME", dir.Path().string());
  for (const std::optional<std::string>& xdg :
       {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("relative/dir")}) {
    ScopedEnv xdgEnv("XDG_CONFIG_HOME", xdg);
    IniSettingsStore store;
    EXPECT_EQ(store.SettingsFile("VlQueryEngine"), dir.Path() / ".config" / "VlQueryEngine" / "settings.ini");
    EXPECT_EQ(store.GetSetting("VlQueryEngine", "Output", "Mode", "0"), "0");
    dir.WriteFile(".config/VlQueryEngine/settings.ini", "[Output]\nMode=1\n");
    EXPECT_EQ(store.GetSetting("VlQueryEngine", "Output", "Mode", "0"), "1");
    std::filesystem::remove(dir.Path() / ".config" / "VlQueryEngine" / "settings.ini");
  }
}

TEST(ComponentsSettings, IniTextIsReadCaseBlindFirstKeyWins) {
  const std::string ini =
      "Mode=top\n"
      "; comment\n"
      "# comment\n"
      "[Input]\n"
      "Mode=input\n"
      "[ Output ]\n"
      "  Mode  =  \"1\"  \n"
      "mode=2\n"
      "Empty=\n"
      "no equals sign\n"
      "[Output.Extra]\n"
      "Extra=x\n";
  const struct {
    const char* section;
    const char* key;
    std::optional<std::string> value;
  } cases[] = {
      {"Output", "Mode", "1"}, {"OUTPUT", "mode", "1"}, {"Input", "MODE", "input"}, {"", "Mode", "top"},
      {"Output", "Empty", ""}, {"Output", "Extra", std::nullopt}, {"Output.Extra", "Extra", "x"},
      {"Missing", "Mode", std::nullopt}, {"Output", "no equals sign", std::nullopt}};
  for (const auto& c : cases) {
    EXPECT_EQ(IniSettingsStore::FindValue(ini, c.section, c.key), c.value) << c.section << "/" << c.key;
  }
}

TEST(ComponentsSettings, FixedFileServesEveryApplication) {
  TempDir dir;
  const auto file = dir.WriteFile("host.ini", "[Output]\nMode=5\n");
  IniSettingsStore store(file);
  EXPECT_EQ(store.GetSetting("AnyApp", "Output", "Mode", "0"), "5");
  IniSettingsStore missing(dir.Path() / "none.ini");
  EXPECT_EQ(missing.GetSetting("AnyApp", "Output", "Mode", "0"), "0");
}

}  // namespace
}  // namespace vlq
