// The PJL header: each line, the options that cause it, and the order of the lines.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/program.h"

namespace {

using namespace jobshaper::testing;

constexpr std::string_view kPage = "%!PS-Adobe-3.0\nshowpage\n";

void expectHeader(Job job, const std::string& header) {
  const Outcome outcome = job.input(std::string(kPage)).run();
  EXPECT_EQ(outcome.out, header + std::string(kPage) + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
}

// The lines between USERNAME and ENTER LANGUAGE for these options.
void expectLines(const std::string& options, std::string_view lines) {
  SCOPED_TRACE("options: " + options);
  expectHeader(Job().options(options), headerOf("ada", "ada", lines));
}

std::string maskedLogOf(Job job) {
  job.log(1).input(std::string(kPage)).run();
  return maskLog(readFile(job.tmpFile("debug.log")));
}

// The part of `log` from the first `begin` up to the first `end` after it.
std::string between(const std::string& log, std::string_view begin, std::string_view end) {
  const std::size_t from = log.find(begin);
  const std::size_t to = from == std::string::npos ? from : log.find(end, from);
  return to == std::string::npos ? "incomplete log:\n" + log : log.substr(from, to - from);
}

constexpr std::string_view kBlankPrint = "@PJL SET QBLANKPAGES = PRINT\n";
constexpr std::string_view kBlankSkip = "@PJL SET QBLANKPAGES = DONOTPRINT\n";
constexpr std::string_view kSmallOff = "@PJL SET QSMALLFONTENHANCER = OFF\n";
constexpr std::string_view kSmallOn = "@PJL SET QSMALLFONTENHANCER = ON\n";
constexpr std::string_view kSmallFull = "@PJL SET QSMALLFONTENHANCER = FULLPAGE\n";
constexpr std::string_view kSmallFull2 = "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n";
constexpr std::string_view kDuplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";
constexpr std::string_view kColour =
    "@PJL SET QCOLORMODEL = CMYK\n"
    "@PJL SET RENDERMODE  = COLOR\n";
constexpr std::string_view kMono =
    "@PJL SET QCOLORMODEL = BLACK\n"
    "@PJL SET RENDERMODE  = GRAYSCALE\n";
constexpr std::string_view kNothing = "";

TEST(PjlHeader, WithoutOptionsHasSevenLines) {
  const std::string header =
      "\x1b%-12345X@PJL JOB\n"
      "@PJL COMMENT Quorvan Macintosh driver\n"
      "@PJL SET STRINGCODESET = UTF8\n"
      "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
      hostName() +
      "\"\n"
      "@PJL SET JOBNAME = \"\"\n"
      "@PJL SET USERNAME = \"ada\"\n"
      "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
  expectHeader(Job(), header);
  EXPECT_EQ(header, plainHeader());
}

TEST(PjlHeader, OptionsItDoesNotKnowAddNothing) {
  expectLines("collate=true Duplex=DuplexTumble MediaType=Plain PageSize=A4 job-sheets=none",
              kNothing);
}

TEST(PjlHeader, TitleAndJobIdAndCopiesStayOut) {
  expectHeader(Job().jobId("77").title("Secret \"title\"").copies("9"), plainHeader());
}

TEST(PjlHeader, EveryConditionMetGivesEveryLineInOrder) {
  expectHeader(Job().options("QVGeneric=Color JADEPTNUM=d1 JAACCTNUM=a1 JAUSERID=u1 JRHOLDKEY=1234 "
                             "PrintTo=JRConf com.apple.print.PrintSettings.PMCopies..n.=1 "
                             "QvnPixelBoost=Fonts QvnBlankPage=true JRUSERNAME=Augusta"),
               "\x1b%-12345X@PJL JOB\n"
               "@PJL COMMENT Quorvan Macintosh driver\n"
               "@PJL SET STRINGCODESET = UTF8\n"
               "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
                   hostName() +
                   "\"\n"
                   "@PJL SET JOBNAME = \"\"\n"
                   "@PJL SET USERNAME = \"Augusta\"\n"
                   "@PJL SET QBLANKPAGES = PRINT\n"
                   "@PJL SET QSMALLFONTENHANCER = ON\n"
                   "@PJL SET COPIES = 1\n"
                   "@PJL SET HOLD = ON\n"
                   "@PJL SET HOLDTYPE = PRIVATE\n"
                   "@PJL SET HOLDKEY = \"1234\"\n"
                   "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
                   "@PJL SET QJOBCREDUSERNAME = \"u1\"\n"
                   "@PJL SET QJOBCREDACCOUNTID = \"a1\"\n"
                   "@PJL SET QJOBCREDDEPTID = \"d1\"\n"
                   "@PJL SET QCOLORMODEL = CMYK\n"
                   "@PJL SET RENDERMODE  = COLOR\n"
                   "@PJL ENTER LANGUAGE = POSTSCRIPT\n");
}

TEST(PjlHeader, OrderOfTheOptionsDoesNotMatter) {
  const std::string lines =
      "@PJL SET QBLANKPAGES = DONOTPRINT\n"
      "@PJL SET QSMALLFONTENHANCER = FULLPAGE2\n"
      "@PJL SET HOLD = STORE\n"
      "@PJL SET HOLDTYPE = PUBLIC\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
      "@PJL SET QCOLORMODEL = BLACK\n"
      "@PJL SET RENDERMODE  = GRAYSCALE\n";
  expectLines("QvnBlankPage=false QvnDoubleStomp=Vertically PrintTo=JRReserve QVGeneric=Mono",
              lines);
  expectLines("QVGeneric=Mono PrintTo=JRReserve QvnDoubleStomp=Vertically QvnBlankPage=false",
              lines);
}

TEST(PjlUser, UserNameOfTheJobIsInBothLines) {
  expectHeader(Job().user("grace"), headerOf("grace", "grace", ""));
  expectHeader(Job().user(""), headerOf("", "", ""));
  expectHeader(Job().user("Ada Byron"), headerOf("Ada Byron", "Ada Byron", ""));
}

TEST(PjlUser, UserNameIsInsertedVerbatim) {
  for (const char* user : {"the \"boss\"", "two\nlines", "%s%d%@%n", "a\\b", "<20>", "\x1b%-12345X",
                           "\xc3\xa4", "\x8a\xff\x80", "a\rb\tc"}) {
    SCOPED_TRACE(user);
    expectHeader(Job().user(user), headerOf(user, user, ""));
  }
}

TEST(PjlUser, UserNameMayBeLong) {
  const std::string user(100000, 'u');
  expectHeader(Job().user(user), headerOf(user, user, ""));
}

TEST(PjlUser, OptionReplacesTheNameButNotTheId) {
  expectHeader(Job().options("JRUSERNAME=Augusta"), headerOf("ada", "Augusta", ""));
  expectHeader(Job().user("grace").options("JRUSERNAME='Grace H'"),
               headerOf("grace", "Grace H", ""));
}

TEST(PjlUser, EmptyOptionGivesAnEmptyName) {
  expectHeader(Job().options("JRUSERNAME="), headerOf("ada", "", ""));
}

TEST(PjlUser, OptionIsInsertedVerbatim) {
  expectHeader(Job().options("JRUSERNAME='the \"boss\"'"), headerOf("ada", "the \"boss\"", ""));
  expectHeader(Job().options("JRUSERNAME='two\nlines'"), headerOf("ada", "two\nlines", ""));
  expectHeader(Job().options("JRUSERNAME=%s%@%d"), headerOf("ada", "%s%@%d", ""));
  expectHeader(Job().options("JRUSERNAME=\x8a\xff"), headerOf("ada", "\x8a\xff", ""));
  expectHeader(Job().options("JRUSERNAME='\x1b%-12345X'"), headerOf("ada", "\x1b%-12345X", ""));
}

TEST(PjlBlankPages, TrueInAnyLettersPrintsThem) {
  for (const char* value : {"true", "TRUE", "True", "tRuE"}) {
    expectLines(std::string("QvnBlankPage=") + value, kBlankPrint);
  }
}

TEST(PjlBlankPages, FalseInAnyLettersSkipsThem) {
  for (const char* value : {"false", "FALSE", "False", "fAlSe"}) {
    expectLines(std::string("QvnBlankPage=") + value, kBlankSkip);
  }
}

TEST(PjlBlankPages, AnyOtherValueAddsNothing) {
  for (const char* value : {"yes", "no", "1", "0", "", "truee", "tru", "' true'", "'true '",
                            "true<20>", "PrinterS", "Print"}) {
    expectLines(std::string("QvnBlankPage=") + value, kNothing);
  }
}

struct ValueRow {
  const char* value;
  std::string_view lines;
};

constexpr std::array<ValueRow, 25> kSmallFontRows = {{
    {"PrinterS", kNothing},
    {"false", kSmallOff},
    {"False", kSmallOff},
    {"FALSE", kSmallOff},
    {"fAlSe", kSmallOff},
    {"Fonts", kSmallOn},
    {"QvnPixelBoostFonts", kSmallOn},
    {"Horizontally", kSmallFull},
    {"FontsAndImages", kSmallFull},
    {"Vertically", kSmallFull2},
    {"FontsAndImages2", kSmallFull2},
    {"true", kNothing},
    {"printers", kNothing},
    {"Printers", kNothing},
    {"fonts", kNothing},
    {"FONTS", kNothing},
    {"qvnpixelboostfonts", kNothing},
    {"horizontally", kNothing},
    {"fontsandimages", kNothing},
    {"vertically", kNothing},
    {"fontsandimages2", kNothing},
    {"FontsAndImages3", kNothing},
    {"Font", kNothing},
    {"'Fonts '", kNothing},
    {"", kNothing},
}};

TEST(PjlSmallFonts, EachValueOfDoubleStomp) {
  for (const ValueRow& row : kSmallFontRows) {
    expectLines(std::string("QvnDoubleStomp=") + row.value, row.lines);
  }
}

TEST(PjlSmallFonts, EachValueOfPixelBoost) {
  for (const ValueRow& row : kSmallFontRows) {
    expectLines(std::string("QvnPixelBoost=") + row.value, row.lines);
  }
}

TEST(PjlSmallFonts, DoubleStompWinsOverPixelBoost) {
  expectLines("QvnDoubleStomp=Horizontally QvnPixelBoost=Fonts", kSmallFull);
  expectLines("QvnPixelBoost=Fonts QvnDoubleStomp=Vertically", kSmallFull2);
  expectLines("QvnDoubleStomp=false QvnPixelBoost=Fonts", kSmallOff);
  expectLines("noQvnDoubleStomp QvnPixelBoost=Fonts", kSmallOff);
}

TEST(PjlSmallFonts, DoubleStompWithoutALineStillWins) {
  expectLines("QvnDoubleStomp=PrinterS QvnPixelBoost=Fonts", kNothing);
  expectLines("QvnDoubleStomp=fonts QvnPixelBoost=Fonts", kNothing);
  expectLines("QvnDoubleStomp= QvnPixelBoost=Fonts", kNothing);
  expectLines("QvnDoubleStomp QvnPixelBoost=Fonts", kNothing);
}

TEST(PjlCopies, OneCopyIsSaid) {
  expectLines("com.apple.print.PrintSettings.PMCopies..n.=1", "@PJL SET COPIES = 1\n");
  expectLines("com.apple.print.PrintSettings.PMCopies..n.='1'", "@PJL SET COPIES = 1\n");
}

TEST(PjlCopies, OnlyTheExactOneCounts) {
  for (const char* value :
       {"01", "' 1'", "<20>1", "'1 '", "+1", "1.0", "1x", "2", "10", "0", "-1", "", "one"}) {
    expectLines(std::string("com.apple.print.PrintSettings.PMCopies..n.=") + value, kNothing);
  }
  expectLines("com.apple.print.PrintSettings.PMCopies..n.", kNothing);
  expectLines("copies=1 PMCopies=1 com.apple.print.PrintSettings.PMCopies..n=1", kNothing);
}

TEST(PjlHold, EachRetentionMode) {
  expectLines("PrintTo=JRConf JRHOLDKEY=0042",
              "@PJL SET HOLD = ON\n"
              "@PJL SET HOLDTYPE = PRIVATE\n"
              "@PJL SET HOLDKEY = \"0042\"\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectLines("PrintTo=JRRepeat",
              "@PJL SET HOLD = ON\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectLines("PrintTo=JRReserve",
              "@PJL SET HOLD = STORE\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectLines("PrintTo=JRVerify",
              "@PJL SET HOLD = PROOF\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
}

TEST(PjlHold, PrintingNowAddsNothing) {
  expectLines("PrintTo=JRPrinter", kNothing);
  expectLines("PrintTo=JRPrinter JRHOLDKEY=1234", kNothing);
  expectLines("JRHOLDKEY=1234", kNothing);
}

TEST(PjlHold, AnyOtherModeKeepsDuplicatesOnly) {
  for (const char* value : {"Other", "jrconf", "JRCONF", "jrprinter", "JRPRINTER", "'JRPrinter '",
                            "JRConf2", "PrinterS", "true", ""}) {
    expectLines(std::string("PrintTo=") + value + " JRHOLDKEY=1234", kDuplicates);
  }
  expectLines("PrintTo", kDuplicates);
  expectLines("noPrintTo", kDuplicates);
}

TEST(PjlHold, OnlyThePrivateModeShowsTheKey) {
  expectLines("PrintTo=JRVerify JRHOLDKEY=1234",
              "@PJL SET HOLD = PROOF\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectLines("PrintTo=JRRepeat JRHOLDKEY=1234",
              "@PJL SET HOLD = ON\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectLines("PrintTo=JRReserve JRHOLDKEY=1234",
              "@PJL SET HOLD = STORE\n"
              "@PJL SET HOLDTYPE = PUBLIC\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
}

void expectHoldKey(const std::string& options, const std::string& key) {
  expectLines("PrintTo=JRConf " + options,
              "@PJL SET HOLD = ON\n"
              "@PJL SET HOLDTYPE = PRIVATE\n"
              "@PJL SET HOLDKEY = \"" +
                  key + "\"\n@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
}

TEST(PjlHold, MissingKeyReadsNull) { expectHoldKey("", "(null)"); }

TEST(PjlHold, KeyIsInsertedVerbatim) {
  expectHoldKey("JRHOLDKEY=", "");
  expectHoldKey("JRHOLDKEY", "true");
  expectHoldKey("JRHOLDKEY=12345678901234567890", "12345678901234567890");
  expectHoldKey("JRHOLDKEY=letters", "letters");
  expectHoldKey("JRHOLDKEY='1 2'", "1 2");
  expectHoldKey("JRHOLDKEY='\"\"'", "\"\"");
  expectHoldKey("JRHOLDKEY='1\n2'", "1\n2");
  expectHoldKey("JRHOLDKEY=%@%s%d", "%@%s%d");
  expectHoldKey("JRHOLDKEY=\xc3\xa4\x8a", "\xc3\xa4\x8a");
  expectHoldKey("JRHOLDKEY=<3C>0<3E>", "<0>");
  expectHoldKey("JRHOLDKEY=" + std::string(100000, '7'), std::string(100000, '7'));
}

std::string accounting(const std::string& user, const std::string& account,
                       const std::string& department) {
  return "@PJL SET QJOBCREDUSERNAME = \"" + user + "\"\n@PJL SET QJOBCREDACCOUNTID = \"" + account +
         "\"\n@PJL SET QJOBCREDDEPTID = \"" + department + "\"\n";
}

TEST(PjlAccounting, UserIdBringsAllThreeLines) {
  expectLines("JAUSERID=u JAACCTNUM=a JADEPTNUM=d", accounting("u", "a", "d"));
  expectLines("JAUSERID=u", accounting("u", "", ""));
  expectLines("JAUSERID=u JAACCTNUM=a", accounting("u", "a", ""));
  expectLines("JAUSERID=u JADEPTNUM=d", accounting("u", "", "d"));
}

TEST(PjlAccounting, WithoutUserIdThereIsNone) {
  expectLines("JAACCTNUM=a JADEPTNUM=d", kNothing);
  expectLines("JAACCTNUM=a", kNothing);
  expectLines("JADEPTNUM=d", kNothing);
  expectLines("jauserid=u JAACCTNUM=a", kNothing);
}

TEST(PjlAccounting, EmptyUserIdIsAUserId) {
  expectLines("JAUSERID= JAACCTNUM=a JADEPTNUM=d", accounting("", "a", "d"));
  expectLines("JAUSERID=", accounting("", "", ""));
  expectLines("JAUSERID=u JAACCTNUM= JADEPTNUM=", accounting("u", "", ""));
}

TEST(PjlAccounting, PlainTextIsInsertedVerbatim) {
  expectLines("JAUSERID='the \"boss\"' JAACCTNUM='1\n2' JADEPTNUM=%s%@",
              accounting("the \"boss\"", "1\n2", "%s%@"));
  expectLines("JAUSERID=a<20>b JAACCTNUM=<27>x<27> JADEPTNUM=noName",
              accounting("a b", "'x'", "noName"));
  expectLines("JAUSERID='\x01\x1b\x7f~' JAACCTNUM='!#$&()*+,-./:;?@[]^_`|' JADEPTNUM=PrinterS",
              accounting("\x01\x1b\x7f~", "!#$&()*+,-./:;?@[]^_`|", "PrinterS"));
  const std::string longText(30000, 'l');
  expectLines("JAUSERID=" + longText + " JAACCTNUM=" + longText + " JADEPTNUM=" + longText,
              accounting(longText, longText, longText));
}

// The characters of Mac OS Roman above ASCII, 0x80 first.
constexpr std::array<const char*, 128> kMacRoman = {
    // clang-format off
    "Ä", "Å", "Ç", "É", "Ñ", "Ö", "Ü", "á", "à", "â", "ä", "ã", "å", "ç", "é", "è",
    "ê", "ë", "í", "ì", "î", "ï", "ñ", "ó", "ò", "ô", "ö", "õ", "ú", "ù", "û", "ü",
    "†", "°", "¢", "£", "§", "•", "¶", "ß", "®", "©", "™", "´", "¨", "≠", "Æ", "Ø",
    "∞", "±", "≤", "≥", "¥", "\u00b5", "∂", "\u2211", "\u220f", "π", "∫", "ª", "º", "\u03a9", "æ", "ø",
    "¿", "¡", "¬", "√", "ƒ", "≈", "\u2206", "«", "»", "…", "\u00a0", "À", "Ã", "Õ", "Œ", "œ",
    "\u2013", "\u2014", "“", "”", "‘", "’", "÷", "◊", "ÿ", "Ÿ", "\u2044", "€", "‹", "›", "ﬁ", "ﬂ",
    "‡", "·", "‚", "„", "‰", "Â", "Ê", "Á", "Ë", "È", "Í", "Î", "Ï", "Ì", "Ó", "Ô",
    "\uf8ff", "Ò", "Ú", "Û", "Ù", "ı", "ˆ", "˜", "¯", "˘", "˙", "˚", "¸", "˝", "˛", "ˇ",
    // clang-format on
};

TEST(PjlAccounting, EveryHighByteBecomesItsCharacter) {
  for (std::size_t i = 0; i < kMacRoman.size(); ++i) {
    const std::string byte(1, static_cast<char>(0x80 + i));
    const std::string character = kMacRoman[i];
    expectLines("JAUSERID=" + byte + " JAACCTNUM=x" + byte + byte + " JADEPTNUM=" + byte + "y",
                accounting(character, "x" + character + character, character + "y"));
  }
}

TEST(PjlAccounting, TextInUtf8IsConvertedByteForByte) {
  expectLines("JAUSERID=\xc3\xa4 JAACCTNUM=\xe2\x82\xac", accounting("√§", "‚Ç¨", ""));
}

TEST(PjlAccounting, OtherLinesKeepTheirBytes) {
  expectHeader(Job().user("\x8a").options("JRUSERNAME=\xdb PrintTo=JRConf JRHOLDKEY=\x80 "
                                          "JAUSERID=\x8a\xdb\xf0 JADEPTNUM=\x80"),
               headerOf("\x8a", "\xdb",
                        "@PJL SET HOLD = ON\n"
                        "@PJL SET HOLDTYPE = PRIVATE\n"
                        "@PJL SET HOLDKEY = \"\x80\"\n"
                        "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
                        "@PJL SET QJOBCREDUSERNAME = \"\xc3\xa4\xe2\x82\xac\xef\xa3\xbf\"\n"
                        "@PJL SET QJOBCREDACCOUNTID = \"\"\n"
                        "@PJL SET QJOBCREDDEPTID = \"\xc3\x84\"\n"));
}

TEST(PjlAccounting, AppleTalkPrinterGetsTheSameLines) {
  Job job;
  job.env("DEVICE_URI", "pap://printer").options("JRUSERNAME=\x8a JAUSERID=\x8a").input("page\n");
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out,
            headerOf("ada", "\x8a", accounting("\xc3\xa4", "", "")) + "page\n" + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job) + "[tarvel] this is an Appletalk connection\n");
  EXPECT_EQ(outcome.exitStatus, 0);
}

TEST(PjlGenericDriver, ColorGivesColour) { expectLines("QVGeneric=Color", kColour); }

TEST(PjlGenericDriver, AnyOtherValueGivesBlack) {
  for (const char* value : {"Mono", "color", "COLOR", "", "'Color '", "Colors", "false"}) {
    expectLines(std::string("QVGeneric=") + value, kMono);
  }
  expectLines("QVGeneric", kMono);
  expectLines("noQVGeneric", kMono);
}

TEST(PjlGenericDriver, WithoutTheOptionThereAreNoLines) {
  expectLines("qvgeneric=Color", kNothing);
  expectLines("*QVGeneric=Color", kNothing);
}

constexpr std::string_view kBuilderEntry =
    "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t{\n";
constexpr std::string_view kBuilderExit =
    "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t}\n";
constexpr std::string_view kStoreExit =
    "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL#\t}\n";
constexpr std::string_view kSummary = "AI######\t[time]\tmain\tL#\t\n\nFilter version = 3.9\n\n";

TEST(PjlTrace, BuilderRecordsAreBetweenTheOptionStoreAndTheSummary) {
  EXPECT_EQ(between(maskedLogOf(Job()), kStoreExit, kSummary),
            std::string(kStoreExit) + std::string(kBuilderEntry) + std::string(kBuilderExit));
}

TEST(PjlTrace, AccountingRecordsAreInsideTheBuildersRecords) {
  const std::string expected = std::string(kStoreExit) + std::string(kBuilderEntry) +
                               "AI######\t[time]\t-[pjlCreation addJobAcctgLines:]\tL#\t{\n"
                               "AI######\t[time]\t-[pjlCreation addJobAcctgLines:]\tL#\t}\n" +
                               std::string(kBuilderExit);
  for (const char* options :
       {"JAUSERID=u", "JAUSERID= JAACCTNUM=a", "JAUSERID=u QVGeneric=Color"}) {
    SCOPED_TRACE(options);
    EXPECT_EQ(between(maskedLogOf(Job().options(options)), kStoreExit, kSummary), expected);
  }
}

TEST(PjlTrace, HoldAndColourLinesHaveNoRecords) {
  EXPECT_EQ(between(maskedLogOf(Job().options("PrintTo=JRConf QVGeneric=Color JADEPTNUM=d")),
                    kStoreExit, kSummary),
            std::string(kStoreExit) + std::string(kBuilderEntry) + std::string(kBuilderExit));
}

TEST(PjlTrace, SummaryEndsWithTheHeaderLines) {
  const std::string separator =
      "AI######\t[time]\tmain\tL#\t\n"
      "========================================"
      "================================================\n";
  const std::string expected =
      std::string(kSummary) +
      "AI######\t[time]\tmain\tL#\tJAUSERID\t\x8a%s\n"
      "AI######\t[time]\tmain\tL#\tPrintTo\tJRConf\n" +
      separator + "AI######\t[time]\tmain\tL#\t     URI for printer = socket://printer\n" +
      separator +
      "AI######\t[time]\tmain\tL#\t\x1b%-12345X@PJL JOB\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL COMMENT Quorvan Macintosh driver\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET STRINGCODESET = UTF8\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
      hostName() +
      "\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET JOBNAME = \"\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET USERNAME = \"ada\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET HOLD = ON\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET HOLDTYPE = PRIVATE\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET HOLDKEY = \"(null)\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET QDUPLICATEHELDJOBS = SAVE\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET QJOBCREDUSERNAME = \"\xc3\xa4%s\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET QJOBCREDACCOUNTID = \"\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL SET QJOBCREDDEPTID = \"\"\n\n"
      "AI######\t[time]\tmain\tL#\t@PJL ENTER LANGUAGE = POSTSCRIPT\n\n";
  const std::string log = maskedLogOf(Job().options("PrintTo=JRConf JAUSERID=\x8a%s"));
  const std::size_t begin = log.find(kSummary);
  ASSERT_NE(begin, std::string::npos) << log;
  EXPECT_EQ(log.substr(begin, expected.size()), expected);
  // Only trace records follow, no header line.
  EXPECT_EQ(log.find("@PJL", begin + expected.size()), std::string::npos);
}

TEST(PjlTrace, LeavesTheHeaderAlone) {
  Job job;
  job.log(7).options("JAUSERID=u");
  expectHeader(job, headerOf("ada", "ada", accounting("u", "", "")));
}

}  // namespace
