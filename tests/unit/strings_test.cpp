#include "settings/strings.h"

#include <gtest/gtest.h>

namespace jobshaper {
namespace {

TEST(IntegerValue, ReadsWhiteSpaceSignAndDigits) {
  EXPECT_EQ(integerValue("16"), 16);
  EXPECT_EQ(integerValue(" \t\n\v\f\r7 pages"), 7);
  EXPECT_EQ(integerValue("-12"), -12);
  EXPECT_EQ(integerValue("+3"), 3);
  EXPECT_EQ(integerValue("007"), 7);
  EXPECT_EQ(integerValue("4.9"), 4);
}

TEST(IntegerValue, IsZeroWithoutDigits) {
  for (const char* text : {"", "  ", "x7", "- 7", "+-7", "--7", "."}) {
    EXPECT_EQ(integerValue(text), 0) << text;
  }
}

TEST(IntegerValue, IsClampedTo32Bits) {
  EXPECT_EQ(integerValue("2147483647"), 2147483647);
  EXPECT_EQ(integerValue("2147483648"), 2147483647);
  EXPECT_EQ(integerValue("-2147483648"), -2147483647 - 1);
  EXPECT_EQ(integerValue("-2147483649"), -2147483647 - 1);
  EXPECT_EQ(integerValue("99999999999999999999999999"), 2147483647);
  EXPECT_EQ(integerValue("-99999999999999999999999999"), -2147483647 - 1);
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

}  // namespace
}  // namespace jobshaper
