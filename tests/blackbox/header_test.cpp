// The PJL header: each line, the options that cause it, and the order of the lines.
#include "tests/blackbox/value_tables.h"

namespace jobshaper::testing {
namespace {

// Each job takes a row of every table. The options are in the reverse order of their lines.
void expectHeaders(const std::vector<ValueTable>& tables, Where where = Where::here()) {
  for (const auto& rows : combined(tables)) {
    std::string options, lines;
    for (const ValueTable::Row& row : rows) {
      options.insert(0, row.options + " ");
      lines += row.lines;
    }
    expectRun(Job().options(options), headerWith(lines) + trailer(), "", 0, where);
  }
}

// Quotes, blanks, line ends, conversions of printf, escapes and bytes above ASCII.
const std::string kAnyText = "the \"boss\"\n\r%s%d%@%n \t\x1b%-12345X\xc3\xa4\x8a\xff";

TEST(PjlUser, NameOfTheUserIsInBothLinesUnchanged) {
  for (const std::string& user : {std::string(), kAnyText + "\\<20>", std::string(100000, 'u')}) {
    expectRun(Job().user(user), headerOf(user, user, "") + trailer());
  }
}

TEST(PjlUser, OptionReplacesTheNameButNotTheId) {
  for (const std::string& name : {std::string(), kAnyText}) {
    expectRun(Job().user("grace").options("JRUSERNAME='" + name + "'"),
              headerOf("grace", name, "") + trailer());
  }
}

// ---- lines for options

ValueTable blankPages() {
  return {"QvnBlankPage", "", "QBLANKPAGES",
          "true, TRUE, tRuE: PRINT; false, FALSE, fAlSe: DONOTPRINT",
          "yes, 1, 0, '', truee, tru, ' true', 'true ', PrinterS, Print"};
}

ValueTable smallFonts(const std::string& option) {
  return {option, "", "QSMALLFONTENHANCER",
          "false, FALSE, fAlSe: OFF; Fonts, QvnPixelBoostFonts: ON; "
          "Horizontally, FontsAndImages: FULLPAGE; Vertically, FontsAndImages2: FULLPAGE2",
          "PrinterS, true, fonts, qvnpixelboostfonts, horizontally, fontsandimages, vertically, "
          "fontsandimages2, FontsAndImages3, Font, 'Fonts ', ''"};
}

// Only the exact value 1 is sent.
ValueTable copies() {
  const std::string option = "com.apple.print.PrintSettings.PMCopies..n.";
  return ValueTable(option, "", "COPIES", "1, '1': 1",
                    "01, ' 1', <20>1, '1 ', +1, 1.0, 1x, 2, 10, 0, -1, '', one")
      .given(option, "")
      .given("copies=1 PMCopies=1 com.apple.print.PrintSettings.PMCopies..n=1", "");
}

const std::string kDuplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";

std::string hold(const std::string& mode, const std::string& type, const std::string& key = "") {
  return "@PJL SET HOLD = " + mode + "\n@PJL SET HOLDTYPE = " + type + "\n" + key + kDuplicates;
}

std::string privateHold(const std::string& key) {
  return hold("ON", "PRIVATE", "@PJL SET HOLDKEY = \"" + key + "\"\n");
}

// Only the private mode sends the key.
ValueTable retention() {
  return ValueTable("JRHOLDKEY=1234 PrintTo")
      .sends("JRConf", privateHold("1234"))
      .sends("JRRepeat", hold("ON", "PUBLIC"))
      .sends("JRReserve", hold("STORE", "PUBLIC"))
      .sends("JRVerify", hold("PROOF", "PUBLIC"))
      .sends("Other, jrconf, JRCONF, jrprinter, JRPRINTER, 'JRPrinter ', JRConf2, PrinterS, ''",
             kDuplicates)
      .sends("JRPrinter", "")
      .given("PrintTo", kDuplicates)
      .given("noPrintTo", kDuplicates)
      .given("JRHOLDKEY=1234", "")
      .given("PrintTo=JRConf", privateHold("(null)"))
      .given("PrintTo=JRConf JRHOLDKEY=", privateHold(""))
      .given("PrintTo=JRConf JRHOLDKEY", privateHold("true"))
      .given("PrintTo=JRConf JRHOLDKEY='1\n\"2\" %@%s\xc3\xa4\x8a'",
             privateHold("1\n\"2\" %@%s\xc3\xa4\x8a"));
}

// The user's id brings all three lines.
ValueTable accounting() {
  return ValueTable("JAUSERID")
      .given("JAUSERID=u JAACCTNUM=a JADEPTNUM=d", accountingLines("u", "a", "d"))
      .given("JAUSERID=u JAACCTNUM= JADEPTNUM=", accountingLines("u", "", ""))
      .given("JAUSERID=u JAACCTNUM=a", accountingLines("u", "a", ""))
      .given("JAUSERID=u JADEPTNUM=d", accountingLines("u", "", "d"))
      .given("JAUSERID= JAACCTNUM=a", accountingLines("", "a", ""))
      .given("JAUSERID=", accountingLines("", "", ""))
      .given("JAACCTNUM=a JADEPTNUM=d", "")
      .given("jauserid=u JAACCTNUM=a", "")
      .given("JAUSERID='the \"boss\"' JAACCTNUM='1\n2' JADEPTNUM=%s%@",
             accountingLines("the \"boss\"", "1\n2", "%s%@"))
      .given("JAUSERID='\x01\x1b\x7f~' JAACCTNUM='!#$&()*+,-./:;?@[]^_`|' JADEPTNUM=PrinterS",
             accountingLines("\x01\x1b\x7f~", "!#$&()*+,-./:;?@[]^_`|", "PrinterS"))
      // Text in UTF-8 is converted byte by byte.
      .given("JAUSERID=\xc3\xa4 JAACCTNUM=\xe2\x82\xac", accountingLines("√§", "‚Ç¨", ""));
}

ValueTable genericDriver() {
  return ValueTable("QVGeneric")
      .sends("Color", kColorLines)
      .sends("Mono, color, COLOR, '', 'Color ', Colors, false", kBlackLines)
      .given("QVGeneric", kBlackLines)
      .given("noQVGeneric", kBlackLines)
      .given("qvgeneric=Color", "")
      .given("*QVGeneric=Color", "");
}

TEST(PjlHeader, EveryOptionHasItsLinesInOneOrder) {
  expectHeaders({blankPages(), smallFonts("QvnPixelBoost"), copies(), retention(), accounting(),
                 genericDriver()});
}

TEST(PjlHeader, DoubleStompTakesPrecedenceOverPixelBoostEvenWithoutALine) {
  expectHeaders(
      {smallFonts("QvnPixelBoost=Fonts QvnDoubleStomp")
           .given("QvnPixelBoost=Fonts QvnDoubleStomp", "")
           .given("QvnPixelBoost=Fonts noQvnDoubleStomp", "@PJL SET QSMALLFONTENHANCER = OFF\n")});
}

TEST(PjlHeader, LongValuesAreInsertedWhole) {
  const std::string text(30000, 'l');
  expectRun(Job().options("PrintTo=JRConf JRHOLDKEY=" + text + " JAUSERID=" + text),
            headerWith(privateHold(text) + accountingLines(text, "", "")) + trailer());
}

// The characters of Mac OS Roman above ASCII, 0x80 first.
constexpr const char* kMacRoman[] = {
    "ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü",
    "†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥\u00b5∂\u2211\u220fπ∫ªº\u03a9æø",
    "¿¡¬√ƒ≈\u2206«»…\u00a0ÀÃÕŒœ\u2013\u2014“”‘’÷◊ÿŸ\u2044€‹›ﬁﬂ",
    "‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uf8ffÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ",
};

TEST(PjlAccounting, EveryMacRomanByteIsSentInUtf8) {
  for (std::size_t i = 0; i < std::size(kMacRoman); ++i) {
    std::string bytes;
    for (std::size_t k = 0; k < 32; ++k) bytes += static_cast<char>(0x80 + 32 * i + k);
    const std::string text = kMacRoman[i];
    expectRun(
        Job().options("JAUSERID=" + bytes + " JAACCTNUM=x" + bytes + " JADEPTNUM=" + bytes + "y"),
        headerWith(accountingLines(text, "x" + text, text + "y")) + trailer());
  }
}

}  // namespace
}  // namespace jobshaper::testing
