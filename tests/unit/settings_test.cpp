#include <cups/file.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "pjl/pjl_creation.h"
#include "settings/argument_store.h"
#include "settings/ppd_values.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

TEST(ArgumentStore, TellsAbsentFromEmpty) {
  argumentStore store;
  store.initWithOptionString("empty= flag nocolor");
  EXPECT_EQ(store.count(), 3U);
  EXPECT_EQ(store.getValue("empty"), "");
  EXPECT_EQ(store.getValue("flag"), "true");
  EXPECT_EQ(store.getValue("color"), "false");
  EXPECT_EQ(store.getValue("Flag"), std::nullopt);
  EXPECT_EQ(store.getValue(""), std::nullopt);
}

TEST(ArgumentStore, DecodesPlaceholdersInTheOrderOfItsTable) {
  argumentStore store;
  store.initWithOptionString(
      "a=a<20>b<2C>c b=<3c> c=<3> d=<3C>27> e=<27><3D><3E> f=<3C<20>> <20>=x");
  EXPECT_EQ(store.getValue("a"), "a b,c");
  EXPECT_EQ(store.getValue("b"), "<");
  EXPECT_EQ(store.getValue("c"), "<3>");
  EXPECT_EQ(store.getValue("d"), "<27>");
  EXPECT_EQ(store.getValue("e"), "'=>");
  EXPECT_EQ(store.getValue("f"), "<3C >");
  EXPECT_EQ(store.getValue("<20>"), "x");
}

TEST(ArgumentStore, AddsOnlyWholePairs) {
  argumentStore store;
  store.initWithOptionString("name=old");
  store.addOption("name", std::nullopt);
  store.addOption(std::nullopt, "value");
  EXPECT_EQ(store.count(), 1U);
  EXPECT_EQ(store.getValue("name"), "old");
  store.addOption("name", "<20>");
  EXPECT_EQ(store.getValue("name"), "<20>");
}

TEST(ArgumentStore, ListsItsOptionsByName) {
  argumentStore store;
  store.initWithOptionString("b=2 a=1 C=3");
  std::string listed;
  for (const auto& [name, value] : store.keyEnumerator()) listed += name + value + " ";
  EXPECT_EQ(listed, "C3 a1 b2 ");
}

TEST(PpdLine, GivesWhatFollowsTheColon) {
  EXPECT_EQ(ppdLineValue("*QVGeneric: \"Color\""), "Color");
  EXPECT_EQ(ppdLineValue("*QVGeneric:Mono \t"), "Mono \t");
  EXPECT_EQ(ppdLineValue("*K/a: b: \"c\"d\""), "b: cd");
  EXPECT_EQ(ppdLineValue("*K: \t \v\f\xC2\xA0\xE3\x80\x80x\vy"), "x");
  EXPECT_EQ(ppdLineValue("*K: x\xE2\x80\xA8y"), "x");
  EXPECT_EQ(ppdLineValue("*K:x\r\n"), "x");
  EXPECT_EQ(ppdLineValue("*K: \t"), "");
  EXPECT_EQ(ppdLineValue("*K:\"\""), "");
  EXPECT_EQ(ppdLineValue("*K Color"), std::nullopt);
  EXPECT_EQ(ppdLineValue("*K: \xFF"), std::nullopt);
  EXPECT_EQ(ppdLineValue("*K\xC3: x"), std::nullopt);
}

TEST(PpdLine, KnowsTheBlanksAndLineEndsOfUnicode) {
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
}

TEST(PpdValues, AnswersOnlyWhatThePpdHolds) {
  const testing::TemporaryFolder directory;
  setenv("PPD", directory.file("ppd").c_str(), 1);
  testing::writeFile(directory.file("ppd"), "*qvNmanualbooklet: True\n*QVGeneric: color\n");
  PPDValues values;
  EXPECT_TRUE(initPPDValues(values));
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

TEST(PpdValues, TellWhenNothingWasStored) {
  const testing::TemporaryFolder directory;
  setenv("PPD", directory.file("ppd").c_str(), 1);
  testing::writeFile(directory.file("ppd"), "*QvnManualBooklet:\n*Other: x\n");
  PPDValues values;
  EXPECT_FALSE(initPPDValues(values));
  setenv("PPD", directory.file("missing").c_str(), 1);
  PPDValues none;
  EXPECT_FALSE(initPPDValues(none));
  setenv("PPD", "/dev/null", 1);
  EXPECT_FALSE(initPPDValues(none));
  unsetenv("PPD");
  EXPECT_FALSE(initPPDValues(values));
}

TEST(PpdValues, AreReadInLinesOfA1024ByteBuffer) {
  const testing::TemporaryFolder directory;
  setenv("PPD", directory.file("ppd").c_str(), 1);
  // libcups decides how much of an overlong line fits the buffer.
  testing::writeFile(directory.file("ppd"), std::string(3000, 'x') + "\n");
  char line[1024];
  cups_file_t* const file = cupsFileOpen(directory.file("ppd").c_str(), "r");
  ASSERT_TRUE(cupsFileGetLine(file, line, sizeof line));
  cupsFileClose(file);
  testing::writeFile(directory.file("ppd"),
                     std::string(std::string_view(line).size(), 'x') + "*QVGeneric: Color\n");
  PPDValues values;
  EXPECT_TRUE(initPPDValues(values));
  unsetenv("PPD");
}

TEST(PjlCreation, HasAnEmptyFormForEveryAccountingLine) {
  argumentStore store;
  pjlCreation header;
  header.addJobAcctgLines(store);
  ASSERT_EQ(header.count(), 3U);
  EXPECT_EQ(header.itemAtIndex(0), "@PJL SET QJOBCREDUSERNAME = \"\"\n");
  EXPECT_EQ(header.itemAtIndex(1), "@PJL SET QJOBCREDACCOUNTID = \"\"\n");
  EXPECT_EQ(header.itemAtIndex(2), "@PJL SET QJOBCREDDEPTID = \"\"\n");
}

TEST(PjlCreation, NamesTheJobWhenItIsGivenAName) {
  argumentStore store;
  pjlCreation header;
  header.initFromArgsStore(store, "ada", "Caf\xC3\xA9");
  EXPECT_EQ(header.itemAtIndex(4), "@PJL SET JOBNAME = \"Caf\xC3\xA9\"\n");
}

TEST(PjlCreation, AppendsCopiesAfterTheLanguageSwitch) {
  argumentStore store;
  pjlCreation header;
  header.initFromArgsStore(store, "ada", "");
  header.insertNumCopies(-3);
  EXPECT_EQ(header.itemAtIndex(6), "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
  EXPECT_EQ(header.itemAtIndex(7), "@PJL SET COPIES = -3\n");
  EXPECT_EQ(header.objectEnumerator().size(), header.count());
}

}  // namespace
}  // namespace jobshaper
