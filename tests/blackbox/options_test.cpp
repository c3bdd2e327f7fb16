// The option string of a job: what CUPS writes and what the filter reads. Values are visible in the
// header's USERNAME line, names and values in the debug file.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The user name in the header of a job with the option JRUSERNAME of this value, or with these
// options if they contain the name of the option.
void expectUserNames(const Pairs& rows, Where where = Where::here()) {
  for (const auto& [text, userName] : rows) {
    const bool whole = text.find("JRUSERNAME") != std::string::npos;
    expectRun(Job().options(whole ? text : "JRUSERNAME=" + text).input("showpage\n"),
              headerOf("ada", userName, "") + "showpage\n" + trailer(), "", 0, where);
  }
}

// The header lines that these options add.
void expectLines(const std::string& options, std::string_view lines, Where where = Where::here()) {
  expectRun(Job().options(options), headerWith(lines) + trailer(), "", 0, where);
}

// The job summary lists exactly these options.
void expectListed(const std::string& options, const Pairs& pairs, Where where = Where::here()) {
  const std::string begin = "\n\nFilter version = 3.9\n\n";
  const std::string end = logRecord("main", "\n" + std::string(88, '='));
  std::string expected, log = maskedLogOf(Job().options(options));
  for (const auto& [name, value] : pairs) expected += logRecord("main", name + "\t" + value);
  log.erase(0, log.find(begin));
  expectSame(log.substr(0, log.find(end)), begin + expected, "log", options, where);
}

TEST(OptionString, HoldsNoOptionsWithoutANameAndIsNotPrinted) {
  for (const char* options : {"", " ", "   ", " \t \n ", "=bob"}) {
    expectLines(options, "");
    expectListed(options, {});
  }
}

TEST(OptionString, PairsAreSeparatedByWhiteSpace) {
  expectUserNames({{"bob", "bob"},
                   {"  JRUSERNAME=bob  ", "bob"},
                   {"a=1 JRUSERNAME=bob b=2", "bob"},
                   {"a=1    JRUSERNAME=bob    b=2", "bob"},
                   {"a=1\tJRUSERNAME=bob\tb=2", "bob"},
                   {"a=1\nJRUSERNAME=bob\nb=2", "bob"},
                   {"a=1\rJRUSERNAME=bob\rb=2", "bob"},
                   {"bob,carol;dave", "bob,carol;dave"},
                   {"a=b", "a=b"},
                   {"=b", "=b"},
                   {"a==", "a=="}});
}

TEST(OptionString, EmptyValueIsAValue) {
  expectUserNames({{"", ""}, {"\"\"", ""}, {"''", ""}, {" a=1", ""}});
  expectListed("b= a=1", {{"a", "1"}, {"b", ""}});
}

TEST(OptionString, QuotesAroundAValueKeepBlanksAndOtherQuotes) {
  expectUserNames({{"'Ada Byron'", "Ada Byron"},
                   {"\"Ada Byron\"", "Ada Byron"},
                   {"\"  Ada  \"", "  Ada  "},
                   {"'Ada\tByron'", "Ada\tByron"},
                   {"'Ada\nByron'", "Ada\nByron"},
                   {"'Ada Byron' a=1", "Ada Byron"},
                   {"\"Ada's name\"", "Ada's name"},
                   {"'the \"Ada\" name'", "the \"Ada\" name"},
                   {"'Ada'Byron", "AdaByron"},
                   {"\"A B\"C", "A BC"},
                   // Inside an unquoted value they are ordinary characters.
                   {"O'Neil", "O'Neil"},
                   {"a'b'c", "a'b'c"},
                   {"5\"", "5\""},
                   // Without an end they run to the end of the string.
                   {"'Ada Byron a=1", "Ada Byron a=1"},
                   {"\"Ada Byron a=1", "Ada Byron a=1"}});
}

TEST(OptionString, BackslashTakesTheNextCharacterAsItIs) {
  expectUserNames({{"Ada\\ Byron", "Ada Byron"},
                   {"a\\\\b", "a\\b"},
                   {"a\\\"b", "a\"b"},
                   {"it\\'s", "it's"},
                   {"'it\\'s mine'", "it's mine"},
                   {"\"say \\\"hi\\\"\"", "say \"hi\""},
                   {"\"a\\\\b\"", "a\\b"},
                   {"a\\nb", "anb"}});
}

TEST(OptionString, BracesKeepACollectionButNotTheWholeString) {
  expectUserNames({{"{a b=c d} e=1", "{a b=c d}"},
                   {"{a {b c} d} e=1", "{a {b c} d}"},
                   {"{}", "{}"},
                   {"{JRUSERNAME=bob a=1}", "bob"}});
  expectListed("{b=2 a=1}", {{"a", "1"}, {"b", "2"}});
}

TEST(OptionString, LastOfSeveralValuesWins) {
  expectUserNames({{"JRUSERNAME=bob JRUSERNAME=carol", "carol"},
                   {"JRUSERNAME=bob a=1 JRUSERNAME=carol b=2 JRUSERNAME=dave", "dave"},
                   {"JRUSERNAME=bob JRUSERNAME=", ""},
                   {"JRUSERNAME=bob JRUSERNAME", "true"},
                   {"JRUSERNAME=bob noJRUSERNAME", "false"}});
  expectListed("a=1 a=2", {{"a", "2"}});
}

TEST(OptionString, NameWithoutAValueIsTrueOrFalseAfterNo) {
  expectUserNames({{"JRUSERNAME", "true"}, {"a JRUSERNAME b", "true"}});
  expectLines("QvnBlankPage", "@PJL SET QBLANKPAGES = PRINT\n");
  for (const char* options : {"noQvnBlankPage", "NoQvnBlankPage", "NOQvnBlankPage"}) {
    expectLines(options, "@PJL SET QBLANKPAGES = DONOTPRINT\n");
  }
  expectLines("noQvnBlankPage=true", "");
  expectListed("duplex nocollate notebook",
               {{"collate", "false"}, {"duplex", "true"}, {"tebook", "false"}});
  expectListed("nocollate=x collate=y", {{"collate", "y"}, {"nocollate", "x"}});
}

TEST(OptionString, NamesAreCaseSensitive) {
  for (const char* options :
       {"jrusername=bob", "JRUserName=bob", "JRUSERNAME2=bob", "JRUSERNAM=bob"}) {
    expectLines(options, "");
  }
}

TEST(OptionString, EveryByteOfAValuePassesUnchanged) {
  std::string high;
  for (int byte = 0x80; byte <= 0xff; ++byte) high += static_cast<char>(byte);
  const std::string longName(100000, 'n');
  expectUserNames({{high, high},
                   {longName, longName},
                   {"\xc3\xa4\xf0\x9f\x96\xa8", "\xc3\xa4\xf0\x9f\x96\xa8"},
                   {"'\xa0 \x85'", "\xa0 \x85"},
                   {"\xc3<20>\xff", "\xc3 \xff"},
                   {"'\x01\x02\x07\x1b\x7f'", "\x01\x02\x07\x1b\x7f"},
                   {"'a\r\nb\fc\vd'", "a\r\nb\fc\vd"}});
}

TEST(OptionString, ManyOptionsAreAllKept) {
  std::string options;
  Pairs pairs;
  for (int i = 1000; i < 2000; ++i) {
    pairs.emplace_back("o" + std::to_string(i), "v" + std::to_string(i));
    options += pairs.back().first + "=" + pairs.back().second + " ";
  }
  expectListed(options, pairs);
}

TEST(ValueEscape, EveryPlaceholderInEitherCaseBecomesItsCharacter) {
  expectUserNames({{"<27>", "'"},
                   {"<3D>", "="},
                   {"<3d>", "="},
                   {"<20>", " "},
                   {"<2C>", ","},
                   {"<2c>", ","},
                   {"<3C>", "<"},
                   {"<3c>", "<"},
                   {"<3E>", ">"},
                   {"<3e>", ">"},
                   {"a<20>b<2c>C<3D>d<3d>E", "a b,C=d=E"},
                   {"'<20>'", " "},
                   {"<20><20><20>", "   "},
                   {"<27>Ada<27>", "'Ada'"},
                   {"<27><3D><20><2C><3C><3E>", "'= ,<>"},
                   {"<3E><3C><2C><20><3D><27>", "><, ='"},
                   {"x<3C>y<3E>z<27>", "x<y>z'"}});
}

// The placeholders are decoded one after the other; only that of ">" comes after that of "<".
TEST(ValueEscape, DecodedBracketIsPartOfALaterPlaceholderOnly) {
  expectUserNames({{"<3C>27>", "<27>"},
                   {"<3C>3D>", "<3D>"},
                   {"<3C>20>", "<20>"},
                   {"<3C>2C>", "<2C>"},
                   {"<3c>2c>", "<2c>"},
                   {"<3C>3C>", "<3C>"},
                   {"<3C>3C>3C>", "<3C>3C>"},
                   {"<<3C>3C>", "<<3C>"},
                   {"<3C>3E>", ">"},
                   {"<3c>3e>", ">"},
                   {"a<3C>3E>b<3C>3E>", "a>b>"},
                   {"<27<3E>", "<27>"},
                   {"<3C<3E>", "<3C>"},
                   {"<3E<3E>", "<3E>"},
                   {"<20<3E>x", "<20>x"},
                   {"<<27>>", "<'>"},
                   {"<2<20>7>", "<2 7>"},
                   {"<3<3E>E>", "<3>E>"}});
}

TEST(ValueEscape, OtherTextInBracketsStays) {
  for (const std::string text : {"<22>", "<0A>", "<28><3B><3F>", "<2A><2B><21>", "<027>", "<27",
                                 "abc<27", "27>x", "%20%27", "<>", "<3>", "20>", "<", "abc"}) {
    expectUserNames({{text, text}});
  }
  expectUserNames({{"'< 27>'", "< 27>"}});
}

TEST(ValueEscape, ValuesOfAllOptionsAreDecodedBeforeTheyAreUsed) {
  expectLines(
      "PrintTo=JRConf JRHOLDKEY=1<2C>2 JAUSERID=a<20>b JAACCTNUM=<27>x<27> JADEPTNUM=<3C>d<3E>",
      "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"1,2\"\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n@PJL SET QJOBCREDUSERNAME = \"a b\"\n"
      "@PJL SET QJOBCREDACCOUNTID = \"'x'\"\n@PJL SET QJOBCREDDEPTID = \"<d>\"\n");
  expectLines("com.apple.print.PrintSettings.PMCopies..n.=<20>1", "");
  expectLines("QvnBlankPage=<74>rue", "");
}

TEST(ValueEscape, NamesAreNotDecoded) {
  expectListed("a<20>b=1 a<2C>c=2 <3C>=3", {{"<3C>", "3"}, {"a<20>b", "1"}, {"a<2C>c", "2"}});
}

TEST(OptionDump, ListsNamesInByteOrderWithTheirDecodedValues) {
  expectListed("b=1 C=2 a=3 _x=4 \xc3\xa9=5 10=6 9=7 QVPosterEnablePS=true",
               {{"10", "6"},
                {"9", "7"},
                {"C", "2"},
                {"QVPosterEnablePS", "true"},
                {"_x", "4"},
                {"a", "3"},
                {"b", "1"},
                {"\xc3\xa9", "5"}});
  expectListed("c='x y' b=a<20>b<2C>c a=<3C>27> d=<3>",
               {{"a", "<27>"}, {"b", "a b,c"}, {"c", "x y"}, {"d", "<3>"}});
  expectListed("a='x\ty' b=%s%d%n c=\x8a\xff d='l\nm'",
               {{"a", "x\ty"}, {"b", "%s%d%n"}, {"c", "\x8a\xff"}, {"d", "l\nm"}});
}

TEST(OptionStoreTrace, IsBetweenTheArgumentsAndTheHeader) {
  const std::string log = maskedLogOf(Job().options("a=1"));
  const std::string expected = logRecord("main", "ARGV[5] = a=1\n") +
                               logRecord("main", "ARGV[6] = (null)\n") +
                               logBraces("-[argumentStore initWithOptionString:]") +
                               logRecord("-[pjlCreation initFromArgsStore:userID:jobName:]", "{");
  EXPECT_NE(log.find(expected), std::string::npos) << log;
}

TEST(OptionStoreTrace, HasItsFixedLineNumbersAndNeedsTheInfoLevel) {
  for (const int level : {1, 2, 4, 6}) {
    Job job;
    expectRun(job.log(level).options("a=1"), plainHeader() + trailer());
    const std::string log = readFile(job.tmpFile("debug.log"));
    for (const char* record : {"\tL38\t{\n", "\tL101\t}\n"}) {
      EXPECT_EQ(log.find(std::string("\t-[argumentStore initWithOptionString:]") + record) !=
                    std::string::npos,
                level == 1)
          << log;
    }
  }
}

}  // namespace
}  // namespace jobshaper::testing
