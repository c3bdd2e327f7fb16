// What the sizes and copies in tests/blackbox/ do not show of the numbers.
#include "settings/numbers.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <tuple>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

constexpr float kLargest = std::numeric_limits<float>::max();
const std::string kZeros(400, '0');

TEST(IntegerValue, EndsWithTheViewOrAZeroByte) {
  EXPECT_EQ(integerValue(" \t\n\v\f\r7 pages"), 7);
  EXPECT_EQ(integerValue(std::string_view("1234", 2)), 12);
  EXPECT_EQ(integerValue(std::string_view("1\0002", 3)), 1);
}

TEST(IntegerReader, ReadsANumberInParts) {
  IntegerReader reader;
  EXPECT_TRUE(reader.take(" \n"));
  EXPECT_TRUE(reader.take(" -"));
  EXPECT_TRUE(reader.take(""));
  EXPECT_TRUE(reader.take("1"));
  EXPECT_FALSE(reader.take("2 3"));
  EXPECT_FALSE(reader.take("4"));
  EXPECT_EQ(reader.value(), -12);
}

TEST(FloatValue, IsReadInSinglePrecision) {
  EXPECT_EQ(floatValue("1E+3"), 1000.0f);
  EXPECT_EQ(floatValue("1e+"), 1.0f);
  EXPECT_EQ(floatValue(" \t\n\v\f\r-.5"), -0.5f);
  EXPECT_EQ(floatValue(std::string_view("12345", 2)), 12.0f);
  EXPECT_EQ(floatValue(std::string_view("1e39", 3)), 1000.0f);
  EXPECT_EQ(floatValue("16777217"), 16777216.0f);
  EXPECT_EQ(floatValue("0.1"), 0.1f);
  // Halfway between two floats except for the last digit. Reading it in double precision first
  // would lose that digit and round down.
  EXPECT_EQ(floatValue("1.00000005960464477540"), std::nextafter(1.0f, 2.0f));
  EXPECT_EQ(floatValue("3.4028235e38"), kLargest);
  EXPECT_EQ(floatValue("1e-40"), 1e-40f);
  EXPECT_GT(floatValue("1e-45"), 0.0f);
}

TEST(FloatValue, IsPositiveZeroWithoutADecimalNumber) {
  for (const char* text : {"",      " ",     "+",        "-",    ".",     "-.",     "e5",  "-e5",
                           "inf",   "-inf",  "INFINITY", "nan",  "-nan",  "nan(1)", "Foo", "-Foo",
                           "--8.5", "+-8.5", "- 8.5",    "0x10", "0x1p4", "A"}) {
    EXPECT_EQ(floatValue(text), 0.0f) << text;
    EXPECT_FALSE(std::signbit(floatValue(text))) << text;
  }
}

TEST(FloatValue, IsClampedToTheLargestAndSmallestNumber) {
  for (const std::string& text :
       {std::string("1e39"), std::string("3.5e38"), std::string("1e400"),
        std::string("1e99999999999999999999"), std::string("0.001e42"), std::string("000.1E+40"),
        std::string(".1e40"), std::string("12345678901234567890e30"), "1" + kZeros,
        "1" + kZeros + "e-100", "1" + kZeros + ".5x", "0." + kZeros + "1e500"}) {
    EXPECT_EQ(floatValue(text), kLargest) << text;
    EXPECT_EQ(floatValue("-" + text), -kLargest) << text;
  }
  for (const std::string& text :
       {std::string("1e-50"), std::string("1e-400"), std::string("1e-99999999999999999999"),
        std::string("1000e-60"), std::string("0.001e-50"), std::string("0e999"),
        "0." + kZeros + "1", "0." + kZeros + "1e100", "1" + std::string(100, '0') + "e-400"}) {
    EXPECT_EQ(floatValue(text), 0.0f) << text;
  }
}

// Makes a locale whose decimal point is a comma, so that the test does not depend on those
// installed.
TEST(FloatValue, HasItsPointInEveryLocale) {
  const testing::TemporaryDirectory directory;
  testing::writeFile(directory.file("source"),
                     "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3\n"
                     "END LC_NUMERIC\n");
  testing::writeFile(directory.file("characters"),
                     "<code_set_name> ASCII\nCHARMAP\n<U0000>..<U007F> /x00 NUL\nEND CHARMAP\n");
  const std::string make = "cd '" + directory.path() +
                           "' && localedef -c -i source -f ./characters ./comma > messages 2>&1";
  std::ignore = std::system(make.c_str());  // exits with 1, because other categories are missing
  setenv("LOCPATH", directory.path().c_str(), 1);
  const bool made = std::setlocale(LC_NUMERIC, "comma") != nullptr;
  const std::string point = std::localeconv()->decimal_point;
  const float fraction = floatValue("-8.25x");
  const float second = floatValue("1.234.5");
  const float whole = floatValue("8,25");
  std::setlocale(LC_NUMERIC, "C");
  unsetenv("LOCPATH");
  if (!made) GTEST_SKIP() << "no localedef that makes a locale";
  EXPECT_EQ(point, ",");
  EXPECT_EQ(fraction, -8.25f);
  EXPECT_EQ(second, 1.234f);
  EXPECT_EQ(whole, 8.0f);
}

}  // namespace
}  // namespace jobshaper
