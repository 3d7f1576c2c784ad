// The shared value types: the ordered collection, the keyed set, date serials.
#include <gtest/gtest.h>

#include "model/collection.h"
#include "model/date_serial.h"
#include "model/variant.h"

namespace vlq {
namespace {

TEST(Collection, RefusesARepeatedKeyWithoutRegardToCase) {
  Collection<std::string> c;
  EXPECT_TRUE(c.Add("High", "High"));
  EXPECT_FALSE(c.Add("HIGH", "HIGH"));  // the duplicate is dropped
  EXPECT_TRUE(c.Add("Low", "low"));
  EXPECT_TRUE(c.Add("no key"));
  ASSERT_EQ(c.Count(), 3u);
  EXPECT_EQ(*c.Item(1), "High");  // positions count from 1, first written wins
  EXPECT_EQ(*c.Item("LOW"), "Low");
  EXPECT_EQ(c.Item(0), nullptr);
  EXPECT_EQ(c.Item(4), nullptr);
  c.Remove(1);
  EXPECT_EQ(*c.Item("low"), "Low");  // keys follow their items after a removal
  EXPECT_FALSE(c.Contains("high"));
  EXPECT_TRUE(c.Add("High again", "high"));
}

TEST(KeyedSet, AddsSilentlyAndKeepsFirstInsertionOrder) {
  KeyedSet s;
  for (const char* key : {"12", "13", "12", "14", "13"}) s.Add(key);
  std::vector<std::string> order(s.begin(), s.end());
  EXPECT_EQ(order, (std::vector<std::string>{"12", "13", "14"}));
}

TEST(DateSerial, KnownSerialsAndStoredForms) {
  struct Row {
    CivilDateTime civil;
    double serial;
    std::int64_t daysSince1901;
  };
  const Row rows[] = {
      {{1899, 12, 30, 0, 0, 0}, 0.0, -367},
      {{1901, 1, 1, 0, 0, 0}, 367.0, 0},
      {{1800, 1, 1, 0, 0, 0}, -36522.0, -36889},
      {{2000, 1, 2, 0, 0, 0}, 36527.0, 36160},
      {{2003, 4, 5, 12, 0, 0}, 37716.5, 37349},
  };
  for (const Row& row : rows) {
    auto serial = date_serial::FromCivil(row.civil);
    ASSERT_TRUE(serial.has_value());
    EXPECT_DOUBLE_EQ(serial->serial, row.serial) << row.civil.year;
    EXPECT_EQ(date_serial::DaysSince1901(*serial), row.daysSince1901) << row.civil.year;
    const CivilDateTime back = date_serial::ToCivil(*serial);
    EXPECT_EQ(back.year, row.civil.year);
    EXPECT_EQ(back.month, row.civil.month);
    EXPECT_EQ(back.day, row.civil.day);
    EXPECT_EQ(back.hour, row.civil.hour);
  }
  // A negative serial keeps its time of day as a positive fraction.
  auto before = date_serial::FromCivil({1899, 12, 29, 6, 0, 0});
  ASSERT_TRUE(before.has_value());
  EXPECT_DOUBLE_EQ(before->serial, -1.25);
  EXPECT_EQ(date_serial::SecondsSinceMidnight(*before), 6 * 3600);
  EXPECT_FALSE(date_serial::FromCivil({2000, 2, 30, 0, 0, 0}).has_value());
  EXPECT_TRUE(date_serial::FromCivil({2000, 2, 29, 0, 0, 0}).has_value());
  EXPECT_FALSE(date_serial::FromCivil({1900, 2, 29, 0, 0, 0}).has_value());
}

TEST(Variant, TextOfEachKindAndNullToldFromEmpty) {
  EXPECT_EQ(Variant(12).ToText(), "12");
  EXPECT_EQ(Variant(1.5).ToText(), "1.5");
  EXPECT_EQ(Variant(2.0).ToText(), "2");
  EXPECT_EQ(Variant(true).ToText(), "True");
  EXPECT_EQ(Variant("abc").ToText(), "abc");
  EXPECT_EQ(Variant(DateSerial{36527.0}).ToText(), "1/2/2000");
  EXPECT_EQ(Variant(DateSerial{37716.5}).ToText(), "4/5/2003 12:00:00");
  EXPECT_TRUE(Variant::Null().IsNull());
  EXPECT_FALSE(Variant().IsNull());
  EXPECT_NE(Variant::Null(), Variant());
  EXPECT_EQ(Variant(7).Real(), 7.0);
}

}  // namespace
}  // namespace vlq
