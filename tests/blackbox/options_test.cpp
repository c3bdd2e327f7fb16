// The option string of a job: what CUPS writes and what the filter reads.
#include "tests/blackbox/value_tables.h"

namespace jobshaper::testing {
namespace {

// The debug file lists exactly these options: "NAME -> VALUE; NAME -> VALUE", or "" for none.
void expectListed(const std::string& options, const std::string& rows,
                  Where where = Where::here()) {
  const std::string begin = "\n\nFilter version = 3.9\n\n";
  const std::string end = logRecord("main", "\n" + std::string(88, '='));
  std::string expected = begin, log = maskedLogOf(Job().options(options));
  for (const std::string& row : split(rows, "; ")) {
    const std::vector<std::string> sides = split(row, " -> ");
    if (sides.size() > 1) expected += logRecord("main", sides[0] + "\t" + sides[1]);
  }
  log.erase(0, log.find(begin));
  expectSame(log.substr(0, log.find(end)), expected, "log", options, where);
}

// "TEXT -> VALUE; TEXT -> VALUE": what values are, as they are written. All are in one job.
void expectValues(const std::string& rows, Where where = Where::here()) {
  std::string options, listed;
  int number = 10;
  for (const std::string& row : split(rows, "; ")) {
    const std::string name = "option" + std::to_string(number++);
    options += name + "=" + row.substr(0, row.find(" -> ")) + " ";
    listed += name + row.substr(row.find(" -> ")) + "; ";
  }
  expectListed(options, listed, where);
}

TEST(OptionString, HoldsNoOptionsWithoutAName) {
  expectListed(" \t \n ", "");
  expectListed("=bob", "");
}

TEST(OptionString, PairsAreSeparatedByWhiteSpace) {
  expectListed("  a=1   b=2\tc=3\nd=4\re=5  ", "a -> 1; b -> 2; c -> 3; d -> 4; e -> 5");
  expectValues("bob,carol;dave -> bob,carol;dave; a=b -> a=b; =b -> =b; a== -> a==");
}

TEST(OptionString, EmptyValueIsAValue) { expectValues(" -> ; \"\" -> ; '' -> "); }

TEST(OptionString, QuotesAroundAValueKeepBlanksAndOtherQuotes) {
  expectValues(
      "'Ada Byron' -> Ada Byron; \"  a\tb\n\" ->   a\tb\n; \"Ada's name\" -> Ada's name; "
      "'the \"Ada\" name' -> the \"Ada\" name; 'Ada'Byron -> AdaByron; \"A B\"C -> A BC");
  // Inside an unquoted value they are ordinary characters.
  expectValues("a'b'c -> a'b'c; 5\" -> 5\"");
  // Without an end they run to the end of the string.
  expectListed("a='Ada Byron b=1", "a -> Ada Byron b=1");
  expectListed("a=\"Ada Byron b=1", "a -> Ada Byron b=1");
}

TEST(OptionString, BackslashTakesTheNextCharacterAsItIs) {
  expectValues(
      R"(Ada\ Byron -> Ada Byron; a\\b -> a\b; a\"b\n -> a"bn; it\'s -> it's; 'it\'s' -> it's; )"
      R"("say \"hi\" \\" -> say "hi" \)");
}

TEST(OptionString, BracesKeepACollectionButNotTheWholeString) {
  expectValues("{a b=c d} -> {a b=c d}; {a {b c} d} -> {a {b c} d}; {} -> {}");
  expectListed("{b=2 a=1}", "a -> 1; b -> 2");
}

TEST(OptionString, LastOfSeveralValuesWins) {
  expectListed("a=1 b=1 a=2 b= c=1 a=3 c d=1 nod", "a -> 3; b -> ; c -> true; d -> false");
}

TEST(OptionString, NameWithoutAValueIsTrueOrFalseAfterNo) {
  expectListed("duplex nocollate notebook Noscale NOfit nocopy=x",
               "collate -> false; duplex -> true; fit -> false; nocopy -> x; scale -> false; "
               "tebook -> false");
}

TEST(OptionString, NamesAreCaseSensitive) {
  expectRun(Job().options("jrusername=bob JRUSERNAME2=bob JRUSERNAM=bob"),
            plainHeader() + trailer());
}

TEST(OptionString, EveryByteOfAValuePassesUnchanged) {
  std::string high;
  for (int byte = 0x80; byte <= 0xff; ++byte) high += static_cast<char>(byte);
  expectValues(high + " -> " + high +
               "; '\x01\x02\x07\x1b\x7f\r\n\f\v%s%n' -> \x01\x02\x07\x1b\x7f\r\n\f\v%s%n");
}

TEST(OptionString, NamesAreListedInByteOrder) {
  expectListed("b=1 C=2 a=3 _x=4 \xc3\xa9=5 10=6 9=7",
               "10 -> 6; 9 -> 7; C -> 2; _x -> 4; a -> 3; b -> 1; \xc3\xa9 -> 5");
}

TEST(ValueEscape, EveryPlaceholderInEitherCaseBecomesItsCharacter) {
  expectValues(
      "<27> -> '; <3D> -> =; <3d> -> =; <20> ->  ; <2C> -> ,; <2c> -> ,; <3C> -> <; <3c> -> <; "
      "<3E> -> >; <3e> -> >; a<20>b<2C>C<3D>d<3d>E -> a b,C=d=E; '<20>'<20><20> ->    ; "
      "<27><3D><20><2C><3C><3E> -> '= ,<>; <3E><3C><2C><20><3D><27> -> ><, ='");
}

// The placeholders are decoded one after the other; only that of ">" comes after that of "<".
TEST(ValueEscape, DecodedBracketIsPartOfALaterPlaceholderOnly) {
  expectValues(
      "<3C>27> -> <27>; <3C>3D> -> <3D>; <3C>20> -> <20>; <3c>2c> -> <2c>; "
      "<3C>3C>3C> -> <3C>3C>; <<3C>3C> -> <<3C>; a<3C>3E>b<3c>3e> -> a>b>; <27<3E> -> <27>; "
      "<3C<3E> -> <3C>; <3E<3E> -> <3E>; <20<3E>x -> <20>x; <<27>> -> <'>; <2<20>7> -> <2 7>; "
      "<3<3E>E> -> <3>E>");
}

TEST(ValueEscape, OtherTextInBracketsStays) {
  expectValues(
      "'< 27>' -> < 27>; <22> -> <22>; <0A> -> <0A>; <28><3B> -> <28><3B>; <2A><2B> -> <2A><2B>; "
      "<027> -> <027>; <27 -> <27; abc<27 -> abc<27; 27>x -> 27>x; %20 -> %20; <> -> <>; "
      "<3> -> <3>; 20> -> 20>; < -> <; abc -> abc");
}

TEST(ValueEscape, ValuesOfAllOptionsAreDecodedBeforeTheyAreUsed) {
  expectRun(Job().options("JRUSERNAME=A<20>L PrintTo=JRConf JRHOLDKEY=1<2C>2 JAUSERID=a<20>b "
                          "JAACCTNUM=<27>x<27> JADEPTNUM=<3C>d<3E> QvnBlankPage=<74>rue"),
            headerOf("ada", "A L",
                     "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"1,2\"\n"
                     "@PJL SET QDUPLICATEHELDJOBS = SAVE\n" +
                         accountingLines("a b", "'x'", "<d>")) +
                trailer());
}

TEST(ValueEscape, NamesAreNotDecoded) {
  expectListed("a<20>b=1 a<2C>c=2 <3C>=3", "<3C> -> 3; a<20>b -> 1; a<2C>c -> 2");
}

}  // namespace
}  // namespace jobshaper::testing
