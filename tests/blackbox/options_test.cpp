// The option string of a job: what CUPS writes and what the filter reads. Values are visible in the
// header's USERNAME line, names and values in the debug file.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace {

using namespace jobshaper::testing;

constexpr std::string_view kPage = "showpage\n";

void expectFiltered(const Job& job, const std::string& header) {
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, header + std::string(kPage) + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
}

struct UserNameRow {
  std::string options;
  std::string userName;
};

// The whole output of each job, with the user name from its options.
void expectUserNames(const std::vector<UserNameRow>& rows) {
  for (const UserNameRow& row : rows) {
    SCOPED_TRACE("options: " + row.options);
    expectFiltered(Job().options(row.options).input(std::string(kPage)),
                   headerOf("ada", row.userName, ""));
  }
}

std::string logOf(Job job) {
  job.log(1).input(std::string(kPage));
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
  return readFile(job.tmpFile("debug.log"));
}

// The part of `log` that begins at the first `start` and is as long as `expected`.
std::string section(const std::string& log, std::string_view start, const std::string& expected) {
  const std::size_t begin = log.find(start);
  return begin == std::string::npos ? "" : log.substr(begin, expected.size());
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The job summary lists exactly these options: there is nothing else between the version and the
// separator.
void expectDump(const std::string& options, const Pairs& pairs) {
  SCOPED_TRACE("options: " + options);
  std::string expected = "Filter version = 3.9\n\n";
  for (const auto& [name, value] : pairs) {
    expected += "AI######\t[time]\tmain\tL#\t" + name + "\t" + value + "\n";
  }
  expected +=
      "AI######\t[time]\tmain\tL#\t\n"
      "========================================"
      "================================================\n"
      "AI######\t[time]\tmain\tL#\t     URI for printer = socket://printer\n";
  EXPECT_EQ(section(maskLog(logOf(Job().options(options))), "Filter version", expected), expected);
}

TEST(OptionString, WithoutOptionsTheHeaderIsPlain) {
  for (const char* options : {"", " ", "   ", " \t \n "}) {
    SCOPED_TRACE(options);
    expectFiltered(Job().options(options).input(std::string(kPage)), plainHeader());
    expectDump(options, {});
  }
}

TEST(OptionString, WithoutANameItHoldsNoOptions) {
  expectFiltered(Job().options("=bob").input(std::string(kPage)), plainHeader());
  expectDump("=bob", {});
}

TEST(OptionString, PairIsNameAndValue) {
  expectUserNames({{"JRUSERNAME=bob", "bob"},
                   {"  JRUSERNAME=bob  ", "bob"},
                   {"a=1 JRUSERNAME=bob c=2", "bob"},
                   {"JRUSERNAME=bob,carol;dave", "bob,carol;dave"}});
}

TEST(OptionString, BlanksTabsAndLineEndsSeparatePairs) {
  expectUserNames({{"a=1 JRUSERNAME=bob b=2", "bob"},
                   {"a=1    JRUSERNAME=bob    b=2", "bob"},
                   {"a=1\tJRUSERNAME=bob\tb=2", "bob"},
                   {"a=1\nJRUSERNAME=bob\nb=2", "bob"},
                   {"a=1\rJRUSERNAME=bob\rb=2", "bob"}});
}

TEST(OptionString, ValueMayHoldEqualSigns) {
  expectUserNames({{"JRUSERNAME=a=b", "a=b"}, {"JRUSERNAME==b", "=b"}, {"JRUSERNAME=a==", "a=="}});
}

TEST(OptionString, EmptyValueIsAValue) {
  expectUserNames({{"JRUSERNAME=", ""},
                   {"JRUSERNAME=\"\"", ""},
                   {"JRUSERNAME=''", ""},
                   {"JRUSERNAME= a=1", ""}});
  expectDump("b= a=1", {{"a", "1"}, {"b", ""}});
}

TEST(OptionString, QuotesKeepBlanks) {
  expectUserNames({{"JRUSERNAME='Ada Byron'", "Ada Byron"},
                   {"JRUSERNAME=\"Ada Byron\"", "Ada Byron"},
                   {"JRUSERNAME=\"  Ada  \"", "  Ada  "},
                   {"JRUSERNAME='Ada\tByron'", "Ada\tByron"},
                   {"JRUSERNAME='Ada\nByron'", "Ada\nByron"},
                   {"JRUSERNAME='Ada Byron' a=1", "Ada Byron"}});
}

TEST(OptionString, OneKindOfQuotesKeepsTheOther) {
  expectUserNames({{"JRUSERNAME=\"Ada's name\"", "Ada's name"},
                   {"JRUSERNAME='the \"Ada\" name'", "the \"Ada\" name"}});
}

TEST(OptionString, QuotesInsideAnUnquotedValueAreOrdinaryCharacters) {
  expectUserNames(
      {{"JRUSERNAME=O'Neil", "O'Neil"}, {"JRUSERNAME=a'b'c", "a'b'c"}, {"JRUSERNAME=5\"", "5\""}});
}

TEST(OptionString, TextAfterTheClosingQuoteBelongsToTheValue) {
  expectUserNames({{"JRUSERNAME='Ada'Byron", "AdaByron"}, {"JRUSERNAME=\"A B\"C", "A BC"}});
}

TEST(OptionString, UnterminatedQuoteRunsToTheEnd) {
  expectUserNames({{"JRUSERNAME='Ada Byron a=1", "Ada Byron a=1"},
                   {"JRUSERNAME=\"Ada Byron a=1", "Ada Byron a=1"}});
}

TEST(OptionString, BackslashTakesTheNextCharacterAsItIs) {
  expectUserNames({{"JRUSERNAME=Ada\\ Byron", "Ada Byron"},
                   {"JRUSERNAME=a\\\\b", "a\\b"},
                   {"JRUSERNAME=a\\\"b", "a\"b"},
                   {"JRUSERNAME=it\\'s", "it's"},
                   {"JRUSERNAME='it\\'s mine'", "it's mine"},
                   {"JRUSERNAME=\"say \\\"hi\\\"\"", "say \"hi\""},
                   {"JRUSERNAME=\"a\\\\b\"", "a\\b"},
                   {"JRUSERNAME=a\\nb", "anb"}});
}

TEST(OptionString, BracesKeepAWholeCollection) {
  expectUserNames({{"JRUSERNAME={a b=c d} e=1", "{a b=c d}"},
                   {"JRUSERNAME={a {b c} d} e=1", "{a {b c} d}"},
                   {"JRUSERNAME={}", "{}"}});
}

TEST(OptionString, BracesAroundTheWholeStringDoNotCount) {
  expectUserNames({{"{JRUSERNAME=bob a=1}", "bob"}});
  expectDump("{b=2 a=1}", {{"a", "1"}, {"b", "2"}});
}

TEST(OptionString, LastOfSeveralValuesCounts) {
  expectUserNames({{"JRUSERNAME=bob JRUSERNAME=carol", "carol"},
                   {"JRUSERNAME=bob a=1 JRUSERNAME=carol b=2 JRUSERNAME=dave", "dave"},
                   {"JRUSERNAME=bob JRUSERNAME=", ""},
                   {"JRUSERNAME=bob JRUSERNAME", "true"},
                   {"JRUSERNAME=bob noJRUSERNAME", "false"}});
  expectDump("a=1 a=2", {{"a", "2"}});
}

TEST(OptionString, NameAloneIsTrue) {
  expectUserNames({{"JRUSERNAME", "true"}, {"a JRUSERNAME b", "true"}});
  expectFiltered(Job().options("QvnBlankPage").input(std::string(kPage)),
                 headerWith("@PJL SET QBLANKPAGES = PRINT\n"));
  expectDump("duplex", {{"duplex", "true"}});
}

TEST(OptionString, NameAloneAfterNoIsFalse) {
  for (const char* options : {"noQvnBlankPage", "NoQvnBlankPage", "NOQvnBlankPage"}) {
    SCOPED_TRACE(options);
    expectFiltered(Job().options(options).input(std::string(kPage)),
                   headerWith("@PJL SET QBLANKPAGES = DONOTPRINT\n"));
  }
  expectDump("nocollate", {{"collate", "false"}});
  expectDump("notebook", {{"tebook", "false"}});
}

TEST(OptionString, NoBelongsToANameThatHasAValue) {
  expectFiltered(Job().options("noQvnBlankPage=true").input(std::string(kPage)), plainHeader());
  expectDump("nocollate=x collate=y", {{"collate", "y"}, {"nocollate", "x"}});
}

TEST(OptionString, NamesAreFoundInTheirExactLettersOnly) {
  expectFiltered(Job().options("jrusername=bob").input(std::string(kPage)), plainHeader());
  expectFiltered(Job().options("JRUserName=bob").input(std::string(kPage)), plainHeader());
  expectFiltered(Job().options("JRUSERNAME2=bob").input(std::string(kPage)), plainHeader());
  expectFiltered(Job().options("JRUSERNAM=bob").input(std::string(kPage)), plainHeader());
}

TEST(OptionString, EightBitBytesOfAValuePassUnchanged) {
  expectUserNames({{"JRUSERNAME=\xc3\xa4", "\xc3\xa4"},          // UTF-8
                   {"JRUSERNAME=\x8a\xff\xca", "\x8a\xff\xca"},  // Mac OS Roman
                   {"JRUSERNAME='\xa0 \x85'", "\xa0 \x85"},
                   {"JRUSERNAME=\xc3<20>\xff", "\xc3 \xff"},
                   {"JRUSERNAME=\xf0\x9f\x96\xa8", "\xf0\x9f\x96\xa8"}});
}

TEST(OptionString, EveryHighByteOfAValuePassesUnchanged) {
  std::string all;
  for (int byte = 0x80; byte <= 0xff; ++byte) all += static_cast<char>(byte);
  expectUserNames({{"JRUSERNAME=" + all, all}});
}

TEST(OptionString, ControlCharactersInQuotesPassUnchanged) {
  expectUserNames({{"JRUSERNAME='\x01\x02\x07\x1b\x7f'", "\x01\x02\x07\x1b\x7f"},
                   {"JRUSERNAME='a\r\nb\fc\vd'", "a\r\nb\fc\vd"}});
}

TEST(OptionString, LongValueIsKeptWhole) {
  const std::string name(100000, 'n');
  expectUserNames({{"JRUSERNAME=" + name, name}});
}

TEST(OptionString, ManyOptionsAreAllKept) {
  std::string options;
  Pairs pairs;
  for (int i = 1000; i < 2000; ++i) {
    options += "o" + std::to_string(i) + "=v" + std::to_string(i) + " ";
    pairs.emplace_back("o" + std::to_string(i), "v" + std::to_string(i));
  }
  expectDump(options, pairs);
}

TEST(ValueEscape, EachPlaceholderBecomesItsCharacter) {
  expectUserNames({{"JRUSERNAME=<27>", "'"},
                   {"JRUSERNAME=<3D>", "="},
                   {"JRUSERNAME=<20>", " "},
                   {"JRUSERNAME=<2C>", ","},
                   {"JRUSERNAME=<3C>", "<"},
                   {"JRUSERNAME=<3E>", ">"}});
}

TEST(ValueEscape, HexadecimalDigitsMayBeLowerCase) {
  expectUserNames({{"JRUSERNAME=<3d>", "="},
                   {"JRUSERNAME=<2c>", ","},
                   {"JRUSERNAME=<3c>", "<"},
                   {"JRUSERNAME=<3e>", ">"},
                   {"JRUSERNAME=a<20>b<2c>C<3D>d<3d>E", "a b,C=d=E"}});
}

TEST(ValueEscape, EveryOccurrenceIsDecoded) {
  expectUserNames({{"JRUSERNAME=a<20>b<2C>c", "a b,c"},
                   {"JRUSERNAME=<20><20><20>", "   "},
                   {"JRUSERNAME=<27>Ada<27>", "'Ada'"},
                   {"JRUSERNAME=<27><3D><20><2C><3C><3E>", "'= ,<>"},
                   {"JRUSERNAME=<3E><3C><2C><20><3D><27>", "><, ='"},
                   {"JRUSERNAME=x<3C>y<3E>z<27>", "x<y>z'"}});
}

TEST(ValueEscape, DecodedBracketDoesNotOpenAnEarlierPlaceholder) {
  expectUserNames({{"JRUSERNAME=<3C>27>", "<27>"},
                   {"JRUSERNAME=<3C>3D>", "<3D>"},
                   {"JRUSERNAME=<3C>20>", "<20>"},
                   {"JRUSERNAME=<3C>2C>", "<2C>"},
                   {"JRUSERNAME=<3c>2c>", "<2c>"}});
}

TEST(ValueEscape, DecodedBracketDoesNotOpenItsOwnPlaceholder) {
  expectUserNames({{"JRUSERNAME=<3C>3C>", "<3C>"},
                   {"JRUSERNAME=<3C>3C>3C>", "<3C>3C>"},
                   {"JRUSERNAME=<<3C>3C>", "<<3C>"}});
}

TEST(ValueEscape, DecodedOpeningBracketOpensTheLaterPlaceholder) {
  expectUserNames({{"JRUSERNAME=<3C>3E>", ">"},
                   {"JRUSERNAME=<3c>3e>", ">"},
                   {"JRUSERNAME=a<3C>3E>b<3C>3E>", "a>b>"}});
}

TEST(ValueEscape, DecodedClosingBracketClosesNothing) {
  expectUserNames({{"JRUSERNAME=<27<3E>", "<27>"},
                   {"JRUSERNAME=<3C<3E>", "<3C>"},
                   {"JRUSERNAME=<3E<3E>", "<3E>"},
                   {"JRUSERNAME=<20<3E>x", "<20>x"}});
}

TEST(ValueEscape, PlaceholderInsideBracketsIsDecoded) {
  expectUserNames({{"JRUSERNAME=<<27>>", "<'>"},
                   {"JRUSERNAME=<2<20>7>", "<2 7>"},
                   {"JRUSERNAME=<3<3E>E>", "<3>E>"}});
}

TEST(ValueEscape, OtherTextInBracketsStays) {
  expectUserNames({{"JRUSERNAME=<22>", "<22>"},
                   {"JRUSERNAME=<0A>", "<0A>"},
                   {"JRUSERNAME=<28><3B><3F>", "<28><3B><3F>"},
                   {"JRUSERNAME=<2A><2B><21>", "<2A><2B><21>"},
                   {"JRUSERNAME='< 27>'", "< 27>"},
                   {"JRUSERNAME=<027>", "<027>"},
                   {"JRUSERNAME=<27", "<27"},
                   {"JRUSERNAME=abc<27", "abc<27"},
                   {"JRUSERNAME=27>x", "27>x"},
                   {"JRUSERNAME=%20%27", "%20%27"},
                   {"JRUSERNAME=<>", "<>"}});
}

TEST(ValueEscape, ShortValuesStay) {
  expectUserNames({{"JRUSERNAME=<3>", "<3>"},
                   {"JRUSERNAME=<27", "<27"},
                   {"JRUSERNAME=20>", "20>"},
                   {"JRUSERNAME=<", "<"},
                   {"JRUSERNAME=abc", "abc"}});
}

TEST(ValueEscape, PlaceholderOfFourCharactersIsLongEnough) {
  expectUserNames({{"JRUSERNAME=<20>", " "}, {"JRUSERNAME='<20>'", " "}});
}

TEST(ValueEscape, PlaceholdersAreDecodedInEveryOption) {
  expectFiltered(Job()
                     .options("PrintTo=JRConf JRHOLDKEY=1<2C>2 JAUSERID=a<20>b JAACCTNUM=<27>x<27> "
                              "JADEPTNUM=<3C>d<3E>")
                     .input(std::string(kPage)),
                 headerWith("@PJL SET HOLD = ON\n"
                            "@PJL SET HOLDTYPE = PRIVATE\n"
                            "@PJL SET HOLDKEY = \"1,2\"\n"
                            "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
                            "@PJL SET QJOBCREDUSERNAME = \"a b\"\n"
                            "@PJL SET QJOBCREDACCOUNTID = \"'x'\"\n"
                            "@PJL SET QJOBCREDDEPTID = \"<d>\"\n"));
}

TEST(ValueEscape, ValueIsTestedAfterDecoding) {
  // A blank is not part of "1", and there are no placeholders for letters.
  expectFiltered(
      Job().options("com.apple.print.PrintSettings.PMCopies..n.=<20>1").input(std::string(kPage)),
      plainHeader());
  expectFiltered(Job().options("QvnBlankPage=<74>rue").input(std::string(kPage)), plainHeader());
}

TEST(ValueEscape, NamesAreNotDecoded) {
  expectDump("a<20>b=1 a<2C>c=2 <3C>=3", {{"<3C>", "3"}, {"a<20>b", "1"}, {"a<2C>c", "2"}});
}

TEST(OptionDump, ListsNamesInByteOrder) {
  expectDump("b=1 C=2 a=3 _x=4 \xc3\xa9=5 10=6 9=7", {{"10", "6"},
                                                      {"9", "7"},
                                                      {"C", "2"},
                                                      {"_x", "4"},
                                                      {"a", "3"},
                                                      {"b", "1"},
                                                      {"\xc3\xa9", "5"}});
}

TEST(OptionDump, ShowsDecodedValues) {
  expectDump("c='x y' b=a<20>b<2C>c a=<3C>27> d=<3>",
             {{"a", "<27>"}, {"b", "a b,c"}, {"c", "x y"}, {"d", "<3>"}});
}

TEST(OptionDump, ShowsValuesAsTheyAre) {
  expectDump("a='x\ty' b=%s%d%n c=\x8a\xff d='l\nm'",
             {{"a", "x\ty"}, {"b", "%s%d%n"}, {"c", "\x8a\xff"}, {"d", "l\nm"}});
}

TEST(OptionDump, KeepsTheLettersOfNames) {
  expectDump("QVPosterEnablePS=true collate=x JRHOLDKEY=1",
             {{"JRHOLDKEY", "1"}, {"QVPosterEnablePS", "true"}, {"collate", "x"}});
}

TEST(OptionDump, NeverReachesTheOutputs) {
  Job job;
  job.log(1).options("secret=value").input(std::string(kPage));
  expectFiltered(job, plainHeader());
}

TEST(OptionStoreTrace, IsBetweenTheArgumentsAndTheHeader) {
  const std::string expected =
      "AI######\t[time]\tmain\tL#\tARGV[5] = a=1\n\n"
      "AI######\t[time]\tmain\tL#\tARGV[6] = (null)\n\n"
      "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL#\t{\n"
      "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL#\t}\n"
      "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t{\n";
  const std::string log = maskLog(logOf(Job().options("a=1")));
  EXPECT_EQ(section(log, "AI######\t[time]\tmain\tL#\tARGV[5]", expected), expected);
}

TEST(OptionStoreTrace, CarriesItsFixedLineNumbers) {
  const std::string log = logOf(Job());
  EXPECT_NE(log.find("\t-[argumentStore initWithOptionString:]\tL38\t{\n"), std::string::npos);
  EXPECT_NE(log.find("\t-[argumentStore initWithOptionString:]\tL101\t}\n"), std::string::npos);
}

TEST(OptionStoreTrace, IsSilentWithoutTheInfoLevel) {
  for (int level : {2, 4, 6}) {
    SCOPED_TRACE(level);
    Job job;
    job.log(level).options("a=1").input(std::string(kPage));
    expectFiltered(job, plainHeader());
    EXPECT_EQ(readFile(job.tmpFile("debug.log")).find("argumentStore"), std::string::npos);
  }
}

}  // namespace
