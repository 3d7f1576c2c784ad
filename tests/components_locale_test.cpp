// The locale conversions decide which values a query accepts for number, date
// and boolean attributes: each table row is a form a user may write, and what
// the locale makes of it.

#include <gtest/gtest.h>

#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "engine/mod_main.h"
#include "model/typed_values.h"
#include "model/variant.h"
#include "platform/locale_services.h"

namespace vlq {
namespace {

using platform::MakeLocaleServices;
using platform::StandardLocaleServices;

std::shared_ptr<LocaleServices> Locale(const std::string& name) {
  auto locale = MakeLocaleServices(name);
  EXPECT_NE(locale, nullptr) << name;
  return locale;
}

// ---- Numbers ---------------------------------------------------------------------

struct NumberCase {
  const char* text;
  std::optional<double> enUS;
  std::optional<double> deDE;
};

TEST(ComponentsLocale, TextToNumberAcceptsOnlyPlainDecimalForms) {
  const NumberCase cases[] = {
      {"2147483647", 2147483647.0, 2147483647.0},
      {"2147483648", 2147483648.0, 2147483648.0},
      {"-2147483648", -2147483648.0, -2147483648.0},
      {"1.0", 1.0, std::nullopt},
      {"1,5", std::nullopt, 1.5},
      {"1.5", 1.5, std::nullopt},
      {"  -3  ", -3.0, -3.0},
      {"+7", 7.0, 7.0},
      {".5", 0.5, std::nullopt},
      {",5", std::nullopt, 0.5},
      {"5.", 5.0, std::nullopt},
      {"1e3", 1000.0, 1000.0},
      {"1.5E-2", 0.015, std::nullopt},
      {"1,5e2", std::nullopt, 150.0},
      {"2E+3", 2000.0, 2000.0},
      {"0", 0.0, 0.0},
      // Thousands separators, hexadecimal and other decoration are refused;
      // the other locale's separator is no separator.
      {"1,000", std::nullopt, 1.0},  // a decimal comma, not a thousands separator
      {"1.000", 1.0, std::nullopt},
      {"1.000.000", std::nullopt, std::nullopt},
      {"1 000", std::nullopt, std::nullopt},
      {"&H10", std::nullopt, std::nullopt},
      {"0x10", std::nullopt, std::nullopt},
      {"$5", std::nullopt, std::nullopt},
      {"(5)", std::nullopt, std::nullopt},
      {"5-", std::nullopt, std::nullopt},
      {"- 1", std::nullopt, std::nullopt},
      {"--1", std::nullopt, std::nullopt},
      {"1.2.3", std::nullopt, std::nullopt},
      {"1e", std::nullopt, std::nullopt},
      {"e5", std::nullopt, std::nullopt},
      {".", std::nullopt, std::nullopt},
      {"", std::nullopt, std::nullopt},
      {"   ", std::nullopt, std::nullopt},
      {"abc", std::nullopt, std::nullopt},
      {"12abc", std::nullopt, std::nullopt},
      {"inf", std::nullopt, std::nullopt},
      {"nan", std::nullopt, std::nullopt},
      {"1e400", std::nullopt, std::nullopt},
  };
  const auto enUS = Locale("en-US");
  const auto deDE = Locale("de-DE");
  for (const NumberCase& c : cases) {
    EXPECT_EQ(enUS->TextToNumber(c.text), c.enUS) << "en-US \"" << c.text << "\"";
    EXPECT_EQ(deDE->TextToNumber(c.text), c.deDE) << "de-DE \"" << c.text << "\"";
  }
}

TEST(ComponentsLocale, FormatNumberGivesPlainRoundTripTextWithADecimalPoint) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {1.5, "1.5"}, {0.25, "0.25"}, {-3.0, "-3"}, {0.0, "0"}, {-0.0, "0"}, {0.1, "0.1"}, {1e6, "1000000"},
      {123456789012.0, "123456789012"}, {2147483648.0, "2147483648"}, {1e21, "1e+21"}, {1e-8, "1e-08"},
      {0.000001, "0.000001"}};
  const auto deDE = Locale("de-DE");
  for (const auto& c : cases) {
    EXPECT_EQ(deDE->FormatNumber(c.value, 3, 1), c.text) << c.value;
  }
  // Whatever the value, the text reads back as the same double.
  const auto enUS = Locale("en-US");
  for (const double value : {1.0 / 3.0, -2.0 / 7.0, 1e300, 5e-324, 9007199254740993.0, 0.1 + 0.2}) {
    const std::string text = deDE->FormatNumber(value, 3, 1);
    EXPECT_EQ(text.find(','), std::string::npos) << text;
    EXPECT_EQ(enUS->TextToNumber(text), value) << text;
  }
  EXPECT_THROW(deDE->FormatNumber(std::nan(""), 3, 1), std::exception);
}

// ---- Dates -------------------------------------------------------------------------

struct DateCase {
  const char* text;
  int year, month, day, hour, minute, second;
};

void CheckDates(const LocaleServices& locale, const char* name, std::initializer_list<DateCase> accepted,
                std::initializer_list<const char*> refused) {
  for (const char* text : refused) {
    const auto got = locale.TextToDate(text);
    EXPECT_FALSE(got.has_value()) << name << " \"" << text << "\" gave " << (got ? got->serial : 0.0);
  }
  for (const DateCase& c : accepted) {
    const auto got = locale.TextToDate(c.text);
    const auto want = date_serial::FromCivil({c.year, c.month, c.day, c.hour, c.minute, c.second});
    ASSERT_TRUE(want.has_value());
    ASSERT_TRUE(got.has_value()) << name << " \"" << c.text << "\"";
    EXPECT_NEAR(got->serial, want->serial, 1e-9) << name << " \"" << c.text << "\"";
  }
}

TEST(ComponentsLocale, TextToDateEnUS) {
  CheckDates(*Locale("en-US"), "en-US",
             {
                 {"1/2/2000", 2000, 1, 2, 0, 0, 0},
                 {"01/02/2000", 2000, 1, 2, 0, 0, 0},
                 {" 12/31/1999 ", 1999, 12, 31, 0, 0, 0},
                 {"2000-01-02", 2000, 1, 2, 0, 0, 0},
                 {"2/29/2000", 2000, 2, 29, 0, 0, 0},
                 {"1/2/05", 2005, 1, 2, 0, 0, 0},
                 {"1/2/30", 1930, 1, 2, 0, 0, 0},
                 {"12:30", 1899, 12, 30, 12, 30, 0},
                 {"12:30:15", 1899, 12, 30, 12, 30, 15},
                 {"0:00", 1899, 12, 30, 0, 0, 0},
                 {"1/2/2000 13:07", 2000, 1, 2, 13, 7, 0},
                 {"1/2/2000 1:07 PM", 2000, 1, 2, 13, 7, 0},
                 {"1/2/2000 1:07:09 pm", 2000, 1, 2, 13, 7, 9},
                 {"12:00 AM", 1899, 12, 30, 0, 0, 0},
                 {"12:00PM", 1899, 12, 30, 12, 0, 0},
                 {"2000-01-02 13:07:09", 2000, 1, 2, 13, 7, 9},
                 {"1/2/2000   23:59:59", 2000, 1, 2, 23, 59, 59},
             },
             // Impossible dates and times, other orders and forms.
             {"2/30/2000", "2/29/1900", "13/1/2000", "0/1/2000", "1/2", "1/2/200", "1/2/0099", "2000/01/02",
              "2.1.2000", "2000-13-01", "24:00", "12:60", "12:5", "12", "13:00 PM", "0:30 AM", "1/2/200013:07",
              "2000-01-02T13:07:09", "1/2/2000 13:07 extra", "Jan 2, 2000", "", "<NO ENTRY>"});
}

TEST(ComponentsLocale, TextToDateDeDE) {
  CheckDates(*Locale("de-DE"), "de-DE",
             {
                 {"2.1.2000", 2000, 1, 2, 0, 0, 0},
                 {"02.01.2000", 2000, 1, 2, 0, 0, 0},
                 {"2000-01-02", 2000, 1, 2, 0, 0, 0},
                 {"12:30", 1899, 12, 30, 12, 30, 0},
                 {"02.01.2000 13:07", 2000, 1, 2, 13, 7, 0},
                 {"2000-01-02 13:07:09", 2000, 1, 2, 13, 7, 9},
             },
             {"30.2.2000", "1/2/2000", "1:07 PM", "1,5"});
}

TEST(ComponentsLocale, TextToBooleanTakesTheWordsAndNumbers) {
  const struct {
    const char* text;
    std::optional<bool> enUS;
    std::optional<bool> deDE;
  } cases[] = {
      {"True", true, true},
      {"FALSE", false, false},
      {" true ", true, true},
      {"0", false, false},
      {"1", true, true},
      {"-1", true, true},
      {"0.5", true, std::nullopt},
      {"1,5", std::nullopt, true},
      {"0,0", std::nullopt, false},
      {"yes", std::nullopt, std::nullopt},
      {"T", std::nullopt, std::nullopt},
      {"", std::nullopt, std::nullopt},
  };
  const auto enUS = Locale("en-US");
  const auto deDE = Locale("de-DE");
  for (const auto& c : cases) {
    EXPECT_EQ(enUS->TextToBoolean(c.text), c.enUS) << "en-US \"" << c.text << "\"";
    EXPECT_EQ(deDE->TextToBoolean(c.text), c.deDE) << "de-DE \"" << c.text << "\"";
  }
}

TEST(ComponentsLocale, LocaleNamesAreLanguageTagsOfLocalesWithData) {
  StandardLocaleServices byDefault;
  EXPECT_EQ(byDefault.LocaleInfo(14), ".");
  EXPECT_EQ(byDefault.LocaleInfo(30), ":");
  EXPECT_EQ(byDefault.LocaleInfo(92), "en-US");
  EXPECT_EQ(byDefault.LocaleInfo(1), "");
  const auto deDE = Locale("de_de");
  EXPECT_EQ(deDE->LocaleInfo(14), ",");
  EXPECT_EQ(deDE->LocaleInfo(30), ":");
  EXPECT_EQ(deDE->LocaleInfo(29), ".");
  EXPECT_EQ(deDE->LocaleInfo(92), "de-DE");
  for (const char* name : {"ja-JP", "pt-BR", "de-CH", "en", "zh-CN", "sr-Latn-RS", " EN_us "}) {
    EXPECT_NE(MakeLocaleServices(name), nullptr) << name;
  }
  // Not a tag, or a tag of a locale without data (German as written in the
  // United States has none).
  for (const char* name : {"xx-XX", "de-US", "", "root", "und", "x", "de-DE-!!", "12"}) {
    EXPECT_EQ(MakeLocaleServices(name), nullptr) << name;
  }
}

// ---- Locales beyond the first four ---------------------------------------------------

DateSerial At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return *date_serial::FromCivil({year, month, day, hour, minute, second});
}

TEST(ComponentsLocale, EachLocaleReadsItsOwnForms) {
  const struct {
    const char* name;
    const char* decimal;
    const char* timeSeparator;
    const char* number;     // -1.5 as the locale writes it
    const char* shortDate;  // 2 January 2000
    const char* dateTime;   // 2 January 2000, 13:07, in the locale's own form
    const char* refused;    // a date the locale doesn't write
  } rows[] = {
      {"en-US", ".", ":", "-1.5", "1/2/2000", "1/2/2000 1:07 pm", "2.1.2000"},
      // A 24-hour clock: no AM or PM.
      {"en-GB", ".", ":", "-1.5", "02/01/2000", "2/1/2000 13:07", "2/1/2000 1:07 PM"},
      {"de-DE", ",", ":", "-1,5", "02.01.2000", "02.01.2000 13:07", "1/2/2000"},
      {"de-CH", ".", ":", "-1.5", "02.01.2000", "2.1.2000 13:07", "2/1/2000"},
      {"fr-FR", ",", ":", "-1,5", "02/01/2000", "02/01/2000 13:07", "2000/01/02"},
      {"pt-BR", ",", ":", "-1,5", "02/01/2000", "02/01/2000 13:07", "2000/01/02"},
      {"ja-JP", ".", ":", "-1.5", "2000/01/02", "2000/1/2 13:07", "1/2/2000"},
      {"zh-Hant-TW", ".", ":", "-1.5", "2000/1/2", "2000/1/2 下午1:07", "2/1/2000"},
      // The text behind the year is written and may be left out.
      {"ko-KR", ".", ":", "-1.5", "2000. 1. 2.", "2000.1.2 오후 1:07", "1/2/2000"},
      {"bg-BG", ",", ":", "-1,5", "2.01.2000 г.", "2.01.2000 13:07", "2000/1/2"},
      // A minus sign of their own, and a time separator that dates hold too.
      {"sv-SE", ",", ":", "\u22121,5", "2000-01-02", "2000-01-02 13:07", "2.1.2000"},
      {"fi-FI", ",", ".", "\u22121,5", "2.1.2000", "2.1.2000 13.07", "2/1/2000"},
      // Direction marks in the text are no part of it.
      {"ar-EG", ".", ":", "\u200E-1.5", "2/1/2000", "2\u200F/1\u200F/2000 1:07 \u0645", "2000/1/2"},
  };
  for (const auto& row : rows) {
    const auto locale = Locale(row.name);
    ASSERT_NE(locale, nullptr);
    EXPECT_EQ(locale->LocaleInfo(14), row.decimal) << row.name;
    EXPECT_EQ(locale->LocaleInfo(30), row.timeSeparator) << row.name;
    EXPECT_EQ(locale->TextToNumber(row.number), -1.5) << row.name;
    EXPECT_EQ(locale->ShortDateText(At(2000, 1, 2)), row.shortDate) << row.name;
    EXPECT_EQ(locale->TextToDate(row.shortDate), At(2000, 1, 2)) << row.name;
    EXPECT_EQ(locale->TextToDate(row.dateTime), At(2000, 1, 2, 13, 7)) << row.name << " " << row.dateTime;
    EXPECT_EQ(locale->TextToDate(row.refused), std::nullopt) << row.name << " " << row.refused;
    // A date is not a time of day, even where it reads like one.
    EXPECT_EQ(locale->TextToTime(row.shortDate), std::nullopt) << row.name;
  }
}

TEST(ComponentsLocale, DateValuesTellHowMuchOfATimeTheyWrite) {
  const struct {
    const char* locale;
    const char* text;
    int parts;
  } rows[] = {
      {"fi-FI", "2.1.2000", 0},     {"fi-FI", "2.1.2000 13.07", 2}, {"fi-FI", "2.1.2000 13.07.09", 3},
      {"fi-FI", "13.07", 2},        {"fi-FI", "12.10.20", 0},       {"en-US", "1/2/2000 1:07 PM", 2},
      {"en-US", "13:07:09", 3},     {"ko-KR", "2000. 1. 2.", 0},    {"en-US", "1/2/2000", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Locale(row.locale)->TimePartsWritten(row.text), row.parts) << row.locale << " " << row.text;
  }
  const auto fiFI = Locale("fi-FI");
  EXPECT_EQ(fiFI->TextToTime("13.07"), At(1899, 12, 30, 13, 7));
  EXPECT_EQ(fiFI->TextToTime("12.10.20"), std::nullopt);  // 12 October 2020
  EXPECT_EQ(fiFI->TextToDate("12.10.20"), At(2020, 10, 12));
}

// Across a seeded sample of ICU's locales: the short date and the text of a
// date value that a stored query writes read back as the same date, and a
// number as ICU writes it for the locale (in Latin digits, without grouping)
// reads back as the same number.
TEST(ComponentsLocale, DatesAndNumbersReadBackInICUsLocales) {
  int32_t count = 0;
  const icu::Locale* available = icu::Locale::getAvailableLocales(count);
  std::vector<std::string> names;
  for (int32_t i = 0; i < count; ++i) {
    UErrorCode status = U_ZERO_ERROR;
    names.push_back(available[i].toLanguageTag<std::string>(status));
  }
  std::mt19937 random(4711);
  std::shuffle(names.begin(), names.end(), random);
  names.resize(std::min<std::size_t>(names.size(), 150));
  names.insert(names.end(), {"en-US", "fi-FI", "ko-KR", "ar-EG", "fa-IR", "sv-SE", "dz-BT", "fr-CA"});

  std::uniform_int_distribution<int> year(1900, 2100), month(1, 12), day(1, 28), hour(0, 23), minute(0, 59);
  std::uniform_int_distribution<long> digits(-99999999, 99999999);
  std::uniform_int_distribution<int> scale(0, 6);
  for (const std::string& name : names) {
    const auto locale = MakeLocaleServices(name);
    ASSERT_NE(locale, nullptr) << name;
    modMain::SetLocale(locale);

    UErrorCode status = U_ZERO_ERROR;
    icu::Locale latin = icu::Locale::forLanguageTag(name, status);
    latin.setKeywordValue("numbers", "latn", status);
    const auto format = icu::number::NumberFormatter::withLocale(latin)
                            .grouping(UNUM_GROUPING_OFF)
                            .precision(icu::number::Precision::maxFraction(6));
    for (int round = 0; round < 20; ++round) {
      const DateSerial date = At(year(random), month(random), day(random), hour(random), minute(random));
      const std::string shortDate = locale->ShortDateText(date);
      const auto back = locale->TextToDate(shortDate);
      ASSERT_TRUE(back) << name << " " << shortDate;
      EXPECT_EQ(date_serial::DaysSince1901(*back), date_serial::DaysSince1901(date)) << name << " " << shortDate;
      const std::string valueText = typed_values::ValueText(Variant(date));
      EXPECT_EQ(locale->TextToDate(valueText), date) << name << " " << valueText;
      EXPECT_EQ(locale->TextToTime(shortDate), std::nullopt) << name << " " << shortDate;

      // n / 10^k: the decimal text and the double agree exactly.
      const double number = static_cast<double>(digits(random)) / std::pow(10.0, scale(random));
      std::string numberText;
      format.formatDouble(number, status).toString(status).toUTF8String(numberText);
      ASSERT_TRUE(U_SUCCESS(status)) << name;
      EXPECT_EQ(locale->TextToNumber(numberText), number) << name << " " << numberText;
      EXPECT_EQ(locale->TextToNumber(typed_values::ValueText(Variant(number))), number) << name;
    }
  }
  modMain::SetLocale(MakeLocaleServices("en-US"));
}

}  // namespace
}  // namespace vlq
