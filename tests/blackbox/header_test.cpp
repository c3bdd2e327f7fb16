// The PJL header: each line, the options that cause it, and the order of the lines.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// The lines between USERNAME and ENTER LANGUAGE for these options.
void expectLines(const std::string& options, std::string_view lines, Where where = Where::here()) {
  expectRun(Job().options(options).input("showpage\n"),
            headerWith(lines) + "showpage\n" + trailer(), "", 0, where);
}

// The lines of one option, for any of these values.
void expectLines(const std::string& option, const std::vector<std::string>& values,
                 std::string_view lines, Where where = Where::here()) {
  for (const std::string& value : values) expectLines(option + value, lines, where);
}

const std::string kDuplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";
constexpr std::string_view kColor = "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";
constexpr std::string_view kMono =
    "@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n";

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
  expectRun(Job(), header + trailer());
  // Title, job id and copies are not in it, nor are other options.
  expectRun(
      Job()
          .jobId("77")
          .title("Secret \"title\"")
          .copies("9")
          .options("collate=true Duplex=DuplexTumble MediaType=Plain PageSize=A4 job-sheets=none"),
      header + trailer());
}

TEST(PjlHeader, OrderOfTheOptionsDoesNotMatter) {
  const std::string lines =
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
      "@PJL SET RENDERMODE  = COLOR\n";
  expectRun(Job().options("QVGeneric=Color JADEPTNUM=d1 JAACCTNUM=a1 JAUSERID=u1 JRHOLDKEY=1234 "
                          "PrintTo=JRConf com.apple.print.PrintSettings.PMCopies..n.=1 "
                          "QvnPixelBoost=Fonts QvnBlankPage=true JRUSERNAME=Augusta"),
            headerOf("ada", "Augusta", lines) + trailer());
  expectLines(
      "QvnBlankPage=true QvnPixelBoost=Fonts com.apple.print.PrintSettings.PMCopies..n.=1 "
      "PrintTo=JRConf JRHOLDKEY=1234 JAUSERID=u1 JAACCTNUM=a1 JADEPTNUM=d1 QVGeneric=Color",
      lines);
}

// ---- the user

TEST(PjlUser, NameOfTheUserIsInBothLinesUnchanged) {
  for (const std::string& user :
       {std::string("grace"), std::string(), std::string("Ada Byron"), std::string("the \"boss\""),
        std::string("two\nlines"), std::string("%s%d%@%n"), std::string("a\\b"),
        std::string("<20>"), std::string("\x1b%-12345X"), std::string("\xc3\xa4"),
        std::string("\x8a\xff\x80"), std::string("a\rb\tc"), std::string(100000, 'u')}) {
    expectRun(Job().user(user), headerOf(user, user, "") + trailer());
  }
}

TEST(PjlUser, OptionReplacesTheNameButNotTheId) {
  const std::pair<const char*, const char*> rows[] = {{"Augusta", "Augusta"},
                                                      {"'Grace H'", "Grace H"},
                                                      {"", ""},
                                                      {"'the \"boss\"'", "the \"boss\""},
                                                      {"'two\nlines'", "two\nlines"},
                                                      {"%s%@%d", "%s%@%d"},
                                                      {"\x8a\xff", "\x8a\xff"},
                                                      {"'\x1b%-12345X'", "\x1b%-12345X"}};
  for (const auto& [value, name] : rows) {
    expectRun(Job().user("grace").options(std::string("JRUSERNAME=") + value),
              headerOf("grace", name, "") + trailer());
  }
}

// ---- lines for one option

TEST(PjlBlankPages, AreDecidedByTrueOrFalseInAnyCase) {
  expectLines("QvnBlankPage=", {"true", "TRUE", "True", "tRuE"}, "@PJL SET QBLANKPAGES = PRINT\n");
  expectLines("QvnBlankPage=", {"false", "FALSE", "False", "fAlSe"},
              "@PJL SET QBLANKPAGES = DONOTPRINT\n");
  expectLines("QvnBlankPage=",
              {"yes", "no", "1", "0", "", "truee", "tru", "' true'", "'true '", "true<20>",
               "PrinterS", "Print"},
              "");
}

TEST(PjlSmallFonts, EveryValueOfBothOptionsHasItsLine) {
  const std::string start = "@PJL SET QSMALLFONTENHANCER = ";
  for (const std::string option : {"QvnDoubleStomp=", "QvnPixelBoost="}) {
    expectLines(option, {"false", "False", "FALSE", "fAlSe"}, start + "OFF\n");
    expectLines(option, {"Fonts", "QvnPixelBoostFonts"}, start + "ON\n");
    expectLines(option, {"Horizontally", "FontsAndImages"}, start + "FULLPAGE\n");
    expectLines(option, {"Vertically", "FontsAndImages2"}, start + "FULLPAGE2\n");
    expectLines(option,
                {"PrinterS", "true", "printers", "Printers", "fonts", "FONTS", "qvnpixelboostfonts",
                 "horizontally", "fontsandimages", "vertically", "fontsandimages2",
                 "FontsAndImages3", "Font", "'Fonts '", ""},
                "");
  }
}

TEST(PjlSmallFonts, DoubleStompTakesPrecedenceEvenWithoutALine) {
  const std::string boost = " QvnPixelBoost=Fonts";
  const std::string start = "@PJL SET QSMALLFONTENHANCER = ";
  expectLines("QvnDoubleStomp=Horizontally" + boost, start + "FULLPAGE\n");
  expectLines("QvnPixelBoost=Fonts QvnDoubleStomp=Vertically", start + "FULLPAGE2\n");
  expectLines("QvnDoubleStomp=false" + boost, start + "OFF\n");
  expectLines("noQvnDoubleStomp" + boost, start + "OFF\n");
  expectLines("QvnDoubleStomp", {"=PrinterS" + boost, "=fonts" + boost, "=" + boost, boost}, "");
}

TEST(PjlCopies, OnlyTheExactValue1IsSent) {
  const std::string option = "com.apple.print.PrintSettings.PMCopies..n.";
  expectLines(option + "=", {"1", "'1'"}, "@PJL SET COPIES = 1\n");
  expectLines(option,
              {"=01", "=' 1'", "=<20>1", "='1 '", "=+1", "=1.0", "=1x", "=2", "=10", "=0", "=-1",
               "=", "=one", ""},
              "");
  expectLines("copies=1 PMCopies=1 com.apple.print.PrintSettings.PMCopies..n=1", "");
}

// ---- job retention

TEST(PjlHold, EveryRetentionModeHasItsLines) {
  const std::string hold = "@PJL SET HOLD = ";
  const std::string isPublic = "\n@PJL SET HOLDTYPE = PUBLIC\n" + kDuplicates;
  // Only the private mode sends the key.
  for (const std::string key : {"", " JRHOLDKEY=1234"}) {
    expectLines("PrintTo=JRRepeat" + key, hold + "ON" + isPublic);
    expectLines("PrintTo=JRReserve" + key, hold + "STORE" + isPublic);
    expectLines("PrintTo=JRVerify" + key, hold + "PROOF" + isPublic);
    expectLines("PrintTo=JRPrinter" + key, "");
    expectLines(
        "PrintTo",
        {"=Other" + key, "=jrconf" + key, "=JRCONF" + key, "=jrprinter" + key, "=JRPRINTER" + key,
         "='JRPrinter '" + key, "=JRConf2" + key, "=PrinterS" + key, "=true" + key, "=" + key, key},
        kDuplicates);
  }
  expectLines("noPrintTo", kDuplicates);
  expectLines("JRHOLDKEY=1234", "");
}

TEST(PjlHold, KeyIsInsertedUnchangedAndNullIfItIsMissing) {
  const std::string longKey(100000, '7');
  for (const auto& [option, key] :
       std::vector<std::pair<std::string, std::string>>{{"", "(null)"},
                                                        {"JRHOLDKEY=0042", "0042"},
                                                        {"JRHOLDKEY=", ""},
                                                        {"JRHOLDKEY", "true"},
                                                        {"JRHOLDKEY=letters", "letters"},
                                                        {"JRHOLDKEY='1 2'", "1 2"},
                                                        {"JRHOLDKEY='\"\"'", "\"\""},
                                                        {"JRHOLDKEY='1\n2'", "1\n2"},
                                                        {"JRHOLDKEY=%@%s%d", "%@%s%d"},
                                                        {"JRHOLDKEY=\xc3\xa4\x8a", "\xc3\xa4\x8a"},
                                                        {"JRHOLDKEY=<3C>0<3E>", "<0>"},
                                                        {"JRHOLDKEY=" + longKey, longKey}}) {
    expectLines("PrintTo=JRConf " + option,
                "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"" + key +
                    "\"\n" + kDuplicates);
  }
}

// ---- accounting

std::string accounting(const std::string& user, const std::string& account,
                       const std::string& department) {
  return "@PJL SET QJOBCREDUSERNAME = \"" + user + "\"\n@PJL SET QJOBCREDACCOUNTID = \"" + account +
         "\"\n@PJL SET QJOBCREDDEPTID = \"" + department + "\"\n";
}

TEST(PjlAccounting, UserIdBringsAllThreeLines) {
  expectLines("JAUSERID=u JAACCTNUM=a JADEPTNUM=d", accounting("u", "a", "d"));
  expectLines("JAUSERID=u JAACCTNUM= JADEPTNUM=", accounting("u", "", ""));
  expectLines("JAUSERID=u JAACCTNUM=a", accounting("u", "a", ""));
  expectLines("JAUSERID=u JADEPTNUM=d", accounting("u", "", "d"));
  expectLines("JAUSERID= JAACCTNUM=a JADEPTNUM=d", accounting("", "a", "d"));
  expectLines("JAUSERID=", accounting("", "", ""));
  expectLines(
      "", {"JAACCTNUM=a JADEPTNUM=d", "JAACCTNUM=a", "JADEPTNUM=d", "jauserid=u JAACCTNUM=a"}, "");
}

TEST(PjlAccounting, AsciiTextIsInsertedUnchanged) {
  expectLines("JAUSERID='the \"boss\"' JAACCTNUM='1\n2' JADEPTNUM=%s%@",
              accounting("the \"boss\"", "1\n2", "%s%@"));
  expectLines("JAUSERID='\x01\x1b\x7f~' JAACCTNUM='!#$&()*+,-./:;?@[]^_`|' JADEPTNUM=PrinterS",
              accounting("\x01\x1b\x7f~", "!#$&()*+,-./:;?@[]^_`|", "PrinterS"));
  const std::string longText(30000, 'l');
  expectLines("JAUSERID=" + longText + " JAACCTNUM=" + longText + " JADEPTNUM=" + longText,
              accounting(longText, longText, longText));
}

// The characters of Mac OS Roman above ASCII, 0x80 first.
constexpr const char* kMacRoman[128] = {
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

TEST(PjlAccounting, EveryMacRomanByteIsSentInUtf8) {
  for (std::size_t i = 0; i < std::size(kMacRoman);) {
    std::string bytes, characters;
    for (const std::size_t end = i + 16; i < end; ++i) {
      bytes += static_cast<char>(0x80 + i);
      characters += kMacRoman[i];
    }
    expectLines("JAUSERID=" + bytes + " JAACCTNUM=x" + bytes + bytes + " JADEPTNUM=" + bytes + "y",
                accounting(characters, "x" + characters + characters, characters + "y"));
  }
  // Text in UTF-8 is converted byte by byte.
  expectLines("JAUSERID=\xc3\xa4 JAACCTNUM=\xe2\x82\xac", accounting("√§", "‚Ç¨", ""));
}

TEST(PjlAccounting, OtherLinesKeepTheirBytes) {
  expectRun(
      Job().user("\x8a").options("JRUSERNAME=\xdb PrintTo=JRConf JRHOLDKEY=\x80 "
                                 "JAUSERID=\x8a\xdb\xf0 JADEPTNUM=\x80"),
      headerOf("\x8a", "\xdb",
               "@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PRIVATE\n"
               "@PJL SET HOLDKEY = \"\x80\"\n" +
                   kDuplicates + accounting("\xc3\xa4\xe2\x82\xac\xef\xa3\xbf", "", "\xc3\x84")) +
          trailer());
}

TEST(PjlAccounting, AppleTalkPrinterReceivesTheSameLines) {
  expectRun(Job().env("DEVICE_URI", "pap://printer").options("JRUSERNAME=\x8a JAUSERID=\x8a"),
            headerOf("ada", "\x8a", accounting("\xc3\xa4", "", "")) + trailer(), kAppleTalk);
}

// ---- the generic driver

TEST(PjlGenericDriver, ColorIsTheOnlyValueForColor) {
  expectLines("QVGeneric=Color", kColor);
  expectLines(
      "",
      {"QVGeneric=Mono", "QVGeneric=color", "QVGeneric=COLOR", "QVGeneric=", "QVGeneric='Color '",
       "QVGeneric=Colors", "QVGeneric=false", "QVGeneric", "noQVGeneric"},
      kMono);
  expectLines("", {"qvgeneric=Color", "*QVGeneric=Color"}, "");
}

// ---- the log

TEST(PjlTrace, HeaderHasItsRecordsAndAccountingItsOwnInsideThem) {
  const std::string init = "-[pjlCreation initFromArgsStore:userID:jobName:]";
  const std::string start = logRecord("-[argumentStore initWithOptionString:]", "}");
  const std::pair<const char*, bool> rows[] = {
      {"", false},
      {"PrintTo=JRConf QVGeneric=Color JADEPTNUM=d", false},
      {"JAUSERID=u", true},
      {"JAUSERID= JAACCTNUM=a", true},
      {"JAUSERID=u QVGeneric=Color", true}};
  for (const auto& [options, accounted] : rows) {
    const std::string log = maskedLogOf(Job().options(options));
    const std::string expected = start + logRecord(init, "{") +
                                 (accounted ? logBraces("-[pjlCreation addJobAcctgLines:]") : "") +
                                 logRecord(init, "}") +
                                 logRecord("main", "\n\nFilter version = 3.9\n");
    expectSame(log.substr(std::min(log.size(), log.find(start)), expected.size()), expected, "log",
               options);
  }
}

TEST(PjlTrace, SummaryEndsWithTheHeaderLines) {
  const std::string separator = logRecord("main", "\n" + std::string(88, '='));
  std::string expected = logRecord("main", "\n\nFilter version = 3.9\n") +
                         logRecord("main", "JAUSERID\t\x8a%s") +
                         logRecord("main", "PrintTo\tJRConf") + separator +
                         logRecord("main", "     URI for printer = socket://printer") + separator;
  for (const std::string& line :
       {std::string("\x1b%-12345X@PJL JOB"), std::string("@PJL COMMENT Quorvan Macintosh driver"),
        std::string("@PJL SET STRINGCODESET = UTF8"),
        "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" + hostName() + "\"",
        std::string("@PJL SET JOBNAME = \"\""), std::string("@PJL SET USERNAME = \"ada\""),
        std::string("@PJL SET HOLD = ON"), std::string("@PJL SET HOLDTYPE = PRIVATE"),
        std::string("@PJL SET HOLDKEY = \"(null)\""),
        std::string("@PJL SET QDUPLICATEHELDJOBS = SAVE"),
        std::string("@PJL SET QJOBCREDUSERNAME = \"\xc3\xa4%s\""),
        std::string("@PJL SET QJOBCREDACCOUNTID = \"\""),
        std::string("@PJL SET QJOBCREDDEPTID = \"\""),
        std::string("@PJL ENTER LANGUAGE = POSTSCRIPT")}) {
    expected += logRecord("main", line + "\n");
  }
  const std::string log = maskedLogOf(Job().options("PrintTo=JRConf JAUSERID=\x8a%s"));
  const std::size_t at = log.find(expected);
  ASSERT_NE(at, std::string::npos) << log;
  EXPECT_EQ(log.find("@PJL", at + expected.size()), std::string::npos);
}

}  // namespace
}  // namespace jobshaper::testing
