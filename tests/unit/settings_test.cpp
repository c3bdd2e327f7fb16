// What the functions of settings/ and pjl/ do beyond what a job can show.
#include <cups/file.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"
#include "settings/numbers.h"
#include "settings/ppd_values.h"
#include "settings/strings.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

TEST(ReplaceString, ReplacesEveryOccurrenceFromTheLeft) {
  EXPECT_EQ(replaceString("a-b-c", "-", "+"), "a+b+c");
  EXPECT_EQ(replaceString("aaaX", "aa", "x"), "xaX");
  EXPECT_EQ(replaceString("--", "-", "--"), "----");
  EXPECT_EQ(replaceString("text", "", "+"), "text");
}

TEST(LetterCase, IsIgnoredForAsciiLettersOnly) {
  EXPECT_TRUE(equalsIgnoringCase("TrUe", "true"));
  for (const char* text : {"true ", "tru", "\xd4rue"}) {
    EXPECT_FALSE(equalsIgnoringCase(text, "true")) << text;
  }
}

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

TEST(ArgumentStore, AddsOnlyWholePairsWithoutDecodingThem) {
  argumentStore store;
  store.initWithOptionString("PrintTo=old media=");
  store.addOption("PrintTo", std::nullopt);
  store.addOption(std::nullopt, "value");
  EXPECT_EQ(store.count(), 2U);
  EXPECT_EQ(store.getValue("PrintTo"_option), "old");
  EXPECT_EQ(store.getValue("media"_option), "");
  EXPECT_EQ(store.getValue("Offset"_option), std::nullopt);
  store.addOption("PrintTo", "<20>");
  EXPECT_EQ(store.getValue("PrintTo"_option), "<20>");
}

TEST(PpdLine, BlanksAndLineEndsAreThoseOfUnicode) {
  for (const char* const blank :
       {" ", "\t", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
        "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(ppdLineValue(std::string("*K:") + blank + "x" + blank), std::string("x") + blank);
  }
  for (const char* const end : {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"}) {
    EXPECT_EQ(ppdLineValue(std::string("*K:") + end + "x" + end + "y"), "x");
  }
  for (const char* const neither : {"\u200B", "\u180E", "\u00AD", "\b", "\x1c"}) {
    const std::string value = std::string(neither) + "x" + neither + "y";
    EXPECT_EQ(ppdLineValue("*K:" + value), value);
  }
  EXPECT_EQ(ppdLineValue("*K: \t \v\f\u00A0\u3000x"), "x");
}

// libcups decides how much of an overlong line fits into the buffer.
TEST(PpdValues, AreStoredFromPartsOfLinesThatFillABufferOf1024Bytes) {
  const testing::TemporaryDirectory directory;
  const std::string path = directory.file("ppd");
  setenv("PPD", path.c_str(), 1);
  testing::writeFile(path, std::string(3000, 'x') + "\n*QvnManualBooklet:\n");
  PPDValues values;
  EXPECT_FALSE(initPPDValues(values)) << "nothing was stored";
  char line[1024];
  cups_file_t* const file = cupsFileOpen(path.c_str(), "r");
  ASSERT_TRUE(cupsFileGetLine(file, line, sizeof line));
  cupsFileClose(file);
  testing::writeFile(path, std::string(strlen(line), 'x') + "*QVGeneric: Mono\n");
  EXPECT_TRUE(initPPDValues(values));
  unsetenv("PPD");

  std::string value = "untouched";
  EXPECT_FALSE(getTheValue("*QvnManualBooklet", value, values));
  EXPECT_EQ(value, "untouched");
  EXPECT_TRUE(getTheValue("*QVGeneric", value, values));
  EXPECT_EQ(value, "Mono");
  bool isColor = true;
  EXPECT_TRUE(isQvnGenericDriver(isColor, values));
  EXPECT_FALSE(isColor);
  isColor = true;
  EXPECT_FALSE(isQvnGenericDriver(isColor, PPDValues{}));
  EXPECT_FALSE(isColor);
}

TEST(PjlCreation, NamesTheJobAndGivesItsLinesByIndex) {
  argumentStore store;
  pjlCreation header;
  header.initFromArgsStore(store, "ada", "Caf\xC3\xA9");
  header.insertNumCopies(-3);
  EXPECT_EQ(header.itemAtIndex(4), "@PJL SET JOBNAME = \"Caf\xC3\xA9\"\n");
  EXPECT_EQ(header.itemAtIndex(6), "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  EXPECT_EQ(header.itemAtIndex(7), "@PJL SET COPIES = -3\n");
  EXPECT_EQ(header.count(), 8U);
  EXPECT_EQ(header.objectEnumerator().size(), header.count());
}

}  // namespace
}  // namespace jobshaper
