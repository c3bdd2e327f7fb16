#include "settings/strings.h"
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

TEST(IntegerValue, ReadsWhiteSpaceSignAndDigits) {
  EXPECT_EQ(integerValue("16"), 16);
  EXPECT_EQ(integerValue(" \t\n\v\f\r7 pages"), 7);
  EXPECT_EQ(integerValue("-12"), -12);
  EXPECT_EQ(integerValue("+3"), 3);
  EXPECT_EQ(integerValue("007"), 7);
  EXPECT_EQ(integerValue("4.9"), 4);
  EXPECT_EQ(integerValue("1e3"), 1);
  EXPECT_EQ(integerValue("0x10"), 0);
}

TEST(IntegerValue, IsZeroWithoutDigits) {
  for (const char* text : {"", "  ", "x7", "- 7", "+-7", "-+7", "--7", "+", "-", ".", ".5"}) {
    EXPECT_EQ(integerValue(text), 0) << text;
  }
}

TEST(IntegerValue, IsClampedTo32Bits) {
  EXPECT_EQ(integerValue("2147483647"), 2147483647);
  EXPECT_EQ(integerValue("2147483648"), 2147483647);
  EXPECT_EQ(integerValue("4294967296"), 2147483647);
  EXPECT_EQ(integerValue("-2147483648"), -2147483647 - 1);
  EXPECT_EQ(integerValue("-2147483649"), -2147483647 - 1);
  EXPECT_EQ(integerValue("99999999999999999999999999"), 2147483647);
  EXPECT_EQ(integerValue("-99999999999999999999999999"), -2147483647 - 1);
}

TEST(IntegerValue, StopsAtTheEndOfTheView) {
  EXPECT_EQ(integerValue(std::string_view("1234", 2)), 12);
  EXPECT_EQ(integerValue(std::string_view("1\0002", 3)), 1);
}

TEST(FloatValue, ReadsDecimalsWithPointAndExponent) {
  EXPECT_EQ(floatValue("612"), 612.0f);
  EXPECT_EQ(floatValue("612.00"), 612.0f);
  EXPECT_EQ(floatValue("8.5in"), 8.5f);
  EXPECT_EQ(floatValue(".5"), 0.5f);
  EXPECT_EQ(floatValue("5."), 5.0f);
  EXPECT_EQ(floatValue("1e3"), 1000.0f);
  EXPECT_EQ(floatValue("1E+3"), 1000.0f);
  EXPECT_EQ(floatValue("15e-1"), 1.5f);
  EXPECT_EQ(floatValue("1e"), 1.0f);
  EXPECT_EQ(floatValue("1e+"), 1.0f);
  EXPECT_EQ(floatValue("1,5"), 1.0f);
  EXPECT_EQ(floatValue("1.5.5"), 1.5f);
}

TEST(FloatValue, TakesOneSignAfterWhiteSpace) {
  EXPECT_EQ(floatValue("+8.5"), 8.5f);
  EXPECT_EQ(floatValue("-8.5"), -8.5f);
  EXPECT_EQ(floatValue(" \t\n\v\f\r-.5"), -0.5f);
  EXPECT_EQ(floatValue("--8.5"), 0.0f);
  EXPECT_EQ(floatValue("+-8.5"), 0.0f);
  EXPECT_EQ(floatValue("- 8.5"), 0.0f);
}

TEST(FloatValue, TextWithoutNumberIsPlainZero) {
  for (const char* text : {"", " ", "+", "-", ".", "-.", "e5", "-e5", "inf", "-inf", "INFINITY",
                           "nan", "-nan", "nan(1)", "Foo", "-Foo"}) {
    EXPECT_EQ(floatValue(text), 0.0f) << text;
    EXPECT_FALSE(std::signbit(floatValue(text))) << text;
  }
}

TEST(FloatValue, KnowsNoHexadecimals) {
  EXPECT_EQ(floatValue("0x10"), 0.0f);
  EXPECT_EQ(floatValue("0x1p4"), 0.0f);
  EXPECT_EQ(floatValue("A"), 0.0f);
}

TEST(FloatValue, IsReadInSinglePrecision) {
  EXPECT_EQ(floatValue("16777217"), 16777216.0f);
  EXPECT_EQ(floatValue("0.1"), 0.1f);
  // Halfway between two floats except for the last digit. Reading it in double precision first
  // would lose that digit and round down.
  EXPECT_EQ(floatValue("1.00000005960464477540"), std::nextafter(1.0f, 2.0f));
}

TEST(FloatValue, ClampsWhatIsTooLarge) {
  EXPECT_EQ(floatValue("3.4028235e38"), kLargest);
  for (const char* text : {"1e39", "3.5e38", "1e400", "1e99999999999999999999", "0.001e42",
                           "000.1E+40", ".1e40", "12345678901234567890e30"}) {
    EXPECT_EQ(floatValue(text), kLargest) << text;
    EXPECT_EQ(floatValue(std::string("-") + text), -kLargest) << text;
  }
  EXPECT_EQ(floatValue("1" + std::string(400, '0')), kLargest);
  EXPECT_EQ(floatValue("1" + std::string(400, '0') + "e-100"), kLargest);
  EXPECT_EQ(floatValue("1" + std::string(400, '0') + ".5x"), kLargest);
  EXPECT_EQ(floatValue("0." + std::string(400, '0') + "1e500"), kLargest);
}

TEST(FloatValue, WhatIsTooSmallIsZero) {
  EXPECT_EQ(floatValue("1e-40"), 1e-40f);
  EXPECT_GT(floatValue("1e-45"), 0.0f);
  for (const char* text :
       {"1e-50", "1e-400", "1e-99999999999999999999", "1000e-60", "0.001e-50", "0e999"}) {
    EXPECT_EQ(floatValue(text), 0.0f) << text;
  }
  EXPECT_EQ(floatValue("0." + std::string(400, '0') + "1"), 0.0f);
  EXPECT_EQ(floatValue("0." + std::string(400, '0') + "1e100"), 0.0f);
  EXPECT_EQ(floatValue("1" + std::string(100, '0') + "e-400"), 0.0f);
}

// Makes a locale whose decimal point is a comma, so that the test does not depend on those
// installed.
TEST(FloatValue, HasItsPointInEveryLocale) {
  const testing::TemporaryFolder directory;
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

TEST(FloatValue, StopsAtTheEndOfTheView) {
  EXPECT_EQ(floatValue(std::string_view("12345", 2)), 12.0f);
  EXPECT_EQ(floatValue(std::string_view("1e39", 3)), 1000.0f);
}

TEST(IntegerReader, TakesANumberInParts) {
  IntegerReader reader;
  EXPECT_TRUE(reader.take(" \n"));
  EXPECT_TRUE(reader.take(" -"));
  EXPECT_TRUE(reader.take(""));
  EXPECT_TRUE(reader.take("1"));
  EXPECT_FALSE(reader.take("2 3"));
  EXPECT_FALSE(reader.take("4"));
  EXPECT_EQ(reader.value(), -12);
}

TEST(ReplaceString, ReplacesEveryOccurrenceFromTheLeft) {
  EXPECT_EQ(replaceString("a-b-c", "-", "+"), "a+b+c");
  EXPECT_EQ(replaceString("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replaceString("aXbxc", "x", ""), "aXbc");
  EXPECT_EQ(replaceString("--", "-", "--"), "----");
  EXPECT_EQ(replaceString("none", "-", "+"), "none");
  EXPECT_EQ(replaceString("", "-", "+"), "");
  EXPECT_EQ(replaceString("text", "", "+"), "text");
}

TEST(LetterCase, IsIgnoredForAsciiLettersOnly) {
  EXPECT_TRUE(equalsIgnoringCase("TrUe", "true"));
  EXPECT_TRUE(equalsIgnoringCase("", ""));
  EXPECT_FALSE(equalsIgnoringCase("true ", "true"));
  EXPECT_FALSE(equalsIgnoringCase("tru", "true"));
  EXPECT_FALSE(equalsIgnoringCase("[", "{"));        // 32 apart, like the two cases of a letter
  EXPECT_FALSE(equalsIgnoringCase("\x80", "\x8a"));  // A and a with dieresis
}

}  // namespace
}  // namespace jobshaper
