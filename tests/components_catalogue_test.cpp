// The message catalogue: a text for every number the engine reports, the
// argument put in where the engine passes one, and texts replaced by a file.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "components_test_support.h"
#include "platform/message_catalogue.h"

namespace vlq {
namespace {

using platform::CompiledMessageCatalogue;

using testing_support::TempDir;

// Every number the engine uses, by what it reports.
const std::vector<long>& EngineMessageNumbers() {
  static const std::vector<long> numbers = [] {
    std::vector<long> n = {14002, 14003, 14004, 14005, 14006, 14008, 14016, 14115, 14011, 14012, 14013, 14024,
                           14029, 14063, 14026, 14052, 14027, 14030, 14054, 14032, 14041, 14053, 14055, 14061,
                           14062, 14083, 14114, 14116, 14120, 14121, 14126, 14127, 14128, 14129};
    const auto range = [&n](long from, long to) {
      for (long i = from; i <= to; ++i) n.push_back(i);
    };
    range(14017, 14022);
    range(14056, 14059);
    range(14064, 14070);
    range(14072, 14078);
    range(14084, 14093);
    range(14094, 14099);
    range(14103, 14111);
    range(14122, 14124);
    return n;
  }();
  return numbers;
}

// The numbers that come with an argument, which the text must show.
const std::vector<long> kNumbersWithArgument = {
    14004, 14005, 14006, 14008, 14016, 14017, 14018, 14019, 14021, 14022, 14032, 14056, 14057, 14058, 14059, 14061,
    14062, 14064, 14065, 14066, 14069, 14070, 14072, 14073, 14074, 14075, 14076, 14077, 14094, 14095, 14096, 14097,
    14098, 14099, 14103, 14104, 14105, 14106, 14107, 14108, 14109, 14110, 14111, 14115, 14116, 14120, 14121};

TEST(ComponentsCatalogue, EveryEngineNumberHasItsOwnText) {
  CompiledMessageCatalogue catalogue;
  const std::string unknown = catalogue.Message(99999);
  const std::string unknownShape = unknown.substr(unknown.find("99999") + 5);
  for (const long number : EngineMessageNumbers()) {
    const std::string text = catalogue.Message(number);
    EXPECT_FALSE(CompiledMessageCatalogue::CompiledText(number).empty()) << number;
    EXPECT_EQ(text.find(unknownShape), std::string::npos) << number << ": " << text;
  }
}

TEST(ComponentsCatalogue, ArgumentsArePutInAtTheirMarks) {
  CompiledMessageCatalogue catalogue;
  for (const long number : kNumbersWithArgument) {
    const std::string text = catalogue.MessageWithArgs(number, {"QQ.ARG"});
    EXPECT_NE(text.find("QQ.ARG"), std::string::npos) << number << ": " << text;
  }
  EXPECT_EQ(catalogue.MessageWithArgs(14006, {"{0A1B}"}), "The query selects from the whole project {0A1B}.");

  const struct {
    const char* templ;
    std::vector<std::string> args;
    const char* text;
  } cases[] = {
      {"a %1 b %2", {"x", "y"}, "a x b y"}, {"%2%1", {"x", "y"}, "yx"}, {"only %1", {}, "only "},
      {"%1", {"%1 %2"}, "%1 %2"},  // an argument is put in as it stands
      {"100%% of %1", {"x"}, "100% of x"}, {"50% off", {"x"}, "50% off"}, {"end %", {}, "end %"}};
  for (const auto& c : cases) {
    EXPECT_EQ(CompiledMessageCatalogue::SubstituteArgs(c.templ, c.args), c.text) << c.templ;
  }
}

TEST(ComponentsCatalogue, UnknownNumberNamesTheNumberAndItsArguments) {
  CompiledMessageCatalogue catalogue;
  EXPECT_NE(catalogue.Message(14001).find("14001"), std::string::npos);
  const std::string withArgs = catalogue.MessageWithArgs(-5, {"first", "second"});
  EXPECT_NE(withArgs.find("-5"), std::string::npos);
  EXPECT_NE(withArgs.find("first"), std::string::npos);
  EXPECT_NE(withArgs.find("second"), std::string::npos);
}

TEST(ComponentsCatalogue, FileReplacesTextsOfItsComponent) {
  TempDir dir;
  const auto file = dir.WriteFile("vlqueryengine.messages",
                                  "\xEF\xBB\xBF# translation\r\n"
                                  "14004 = Nicht gelesen: %1\r\n"
                                  "\n"
                                  "; another comment\n"
                                  "not a line of the catalogue\n"
                                  "14x=ignored\n"
                                  "99999=Neu %1\n"
                                  "[OtherComponent]\n"
                                  "14013=not for us\n"
                                  "[vlqueryengine]\n"
                                  "14002=Typ\\nfalsch\\\\\n");
  CompiledMessageCatalogue catalogue;
  catalogue.Load(file.string(), "VlQueryEngine");
  EXPECT_EQ(catalogue.MessageWithArgs(14004, {"xx"}), "Nicht gelesen: xx");
  EXPECT_EQ(catalogue.Message(14002), "Typ\nfalsch\\");
  EXPECT_EQ(catalogue.MessageWithArgs(99999, {"x"}), "Neu x");
  EXPECT_EQ(catalogue.Message(14013), CompiledMessageCatalogue::CompiledText(14013));

  CompiledMessageCatalogue untouched;
  untouched.Load((dir.Path() / "missing.messages").string(), "VlQueryEngine");
  untouched.Load(dir.Path().string(), "VlQueryEngine");  // a directory, not a file
  EXPECT_EQ(untouched.Message(14004),
            CompiledMessageCatalogue::SubstituteArgs(CompiledMessageCatalogue::CompiledText(14004), {}));
}

}  // namespace
}  // namespace vlq
