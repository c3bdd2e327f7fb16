// What the functions of settings/ and pjl/ do beyond what a job can show.
#include <cups/file.h>

#include <cstdlib>

#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"
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

// Writes this PPD and reads its values. Returns what initPPDValues() returns.
bool readPpd(std::string_view text, PPDValues& values) {
  const testing::TemporaryDirectory directory;
  setenv("PPD", directory.file("ppd").c_str(), 1);
  testing::writeFile(directory.file("ppd"), text);
  const bool result = initPPDValues(values);
  unsetenv("PPD");
  return result;
}

TEST(PpdValues, AbsentKeywordLeavesTheValueUnchanged) {
  PPDValues values;
  EXPECT_TRUE(readPpd("*qvNmanualbooklet: True\n*QVGeneric: color\n", values));
  std::string value = "untouched";
  EXPECT_FALSE(getTheValue("*QVNMANUALBOOKLET", value, values));
  EXPECT_EQ(value, "untouched");
  EXPECT_TRUE(getTheValue("*QvnManualBooklet", value, values));
  EXPECT_EQ(value, "True");
  bool isColor = true;
  EXPECT_TRUE(isQvnGenericDriver(isColor, values));
  EXPECT_FALSE(isColor);
  isColor = true;
  EXPECT_FALSE(isQvnGenericDriver(isColor, PPDValues{}));
  EXPECT_FALSE(isColor);
}

TEST(PpdValues, ResultIsFalseIfNothingWasStored) {
  PPDValues values;
  EXPECT_FALSE(readPpd("*QvnManualBooklet:\n*Other: x\n", values));
  EXPECT_FALSE(initPPDValues(values));
}

// libcups decides how much of an overlong line fits into the buffer.
TEST(PpdValues, LinesAreReadIntoABufferOf1024Bytes) {
  const testing::TemporaryDirectory directory;
  testing::writeFile(directory.file("ppd"), std::string(3000, 'x') + "\n");
  char line[1024];
  cups_file_t* const file = cupsFileOpen(directory.file("ppd").c_str(), "r");
  ASSERT_TRUE(cupsFileGetLine(file, line, sizeof line));
  cupsFileClose(file);
  PPDValues values;
  EXPECT_TRUE(
      readPpd(std::string(std::string_view(line).size(), 'x') + "*QVGeneric: Color\n", values));
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
