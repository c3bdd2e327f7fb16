// What the sizes and copies in tests/blackbox/ do not show of the numbers.
#include "settings/numbers.h"

#include <clocale>
#include <cstdlib>
#include <tuple>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

TEST(IntegerReader, ReadsANumberInParts) {
  IntegerReader reader;
  for (const char* part : {" \n", " -", "", "1"}) EXPECT_TRUE(reader.take(part)) << part;
  EXPECT_FALSE(reader.take("2 3"));
  EXPECT_FALSE(reader.take("4"));
  EXPECT_EQ(reader.value(), -12);
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
  const float values[] = {floatValue("-8.25x"), floatValue("1.234.5"), floatValue("8,25")};
  std::setlocale(LC_NUMERIC, "C");
  unsetenv("LOCPATH");
  if (!made) GTEST_SKIP() << "no localedef that makes a locale";
  EXPECT_EQ(point, ",");
  EXPECT_EQ(values[0], -8.25f);
  EXPECT_EQ(values[1], 1.234f);
  EXPECT_EQ(values[2], 8.0f);
}

}  // namespace
}  // namespace jobshaper
