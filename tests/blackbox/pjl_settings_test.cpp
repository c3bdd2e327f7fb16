// The PJL vocabulary of the printer: each setter, the options it reads, the lines it appends.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/blackbox/pjl_lines.h"

namespace jobshaper::testing {
namespace {

const std::string kCopies = "com.apple.print.PrintSettings.PMCopies..n.=";
const std::string kOrientation = "com.apple.print.PrintSettings.PMOrientation..n.=";
const std::string kFeed = "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1=";
const std::string kCollate = "com.apple.print.PrintSettings.PMCopyCollate..b.=";

// One option's table: pairs "VALUE: SENT", separated by semicolons. The setter is to append `start`
// and the text that is sent for the value.
void expectTable(const std::string& setter, const std::string& option, const std::string& start,
                 const std::string& rows, Where where = Where::here()) {
  std::istringstream text(rows);
  for (std::string row; std::getline(text >> std::ws, row, ';');) {
    const std::size_t colon = row.find(": ");
    ASSERT_NE(colon, std::string::npos) << row;
    expectLines(option + row.substr(0, colon), {setter}, start + row.substr(colon + 2) + "\n", "",
                plainHeader(), where);
  }
}

// Values for which the setter is to append nothing.
void expectNothing(const std::string& setter, const std::string& option, const Words& values,
                   Where where = Where::here()) {
  for (const std::string& value : values) {
    expectLines(option + value, {setter}, "", "", plainHeader(), where);
  }
}

// ---- every setter

// The options of all setters, except for copies and the orientation in the order of the setters.
const std::string kEveryOption =
    "Resolution=2400IQ " + kCollate +
    "true QvnLineDetail=FalseF ImageSmoothing=TrueF QvnSaturation=3 QvnContrast=-2 "
    "QvnBrightness=1 BLW=FalseM ColorSaver=TrueM ManualCMYK=EuroCMYK "
    "ManualRGBGraphics=sRGBDisplay ManualRGBText=DisplayRealBlack ManualRGBImage=sRGBVivid "
    "GrayCorrection=FalseM MediaColor=Manual BlackBalance=4 YellowBalance=3 MagentaBalance=2 "
    "CyanBalance=1 Offset=Copies SepSource=Tray5 SepPages=Pages PictureGrade=TrueM "
    "TonerDarkness=9 OutputBin=Bin4 InputSlot=ManualEnv MediaType=Bond media=C4 " +
    kOrientation + "2 " + kCopies +
    "12 QVGeneric=Color JADEPTNUM=dept JAACCTNUM=acct JAUSERID=user";

const std::string kAccounting =
    "@PJL SET QJOBCREDUSERNAME = \"user\"\n@PJL SET QJOBCREDACCOUNTID = \"acct\"\n"
    "@PJL SET QJOBCREDDEPTID = \"dept\"\n";
const std::string kColor = "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";

// Each setter with its lines for a job that has all options set.
const std::vector<std::pair<std::string, std::string>> kEverySetter{
    {"setCopies", "@PJL SET COPIES = 12\n"},
    {"setRotatePaper", "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"},
    {"setPaperSize", "@PJL SET PAPER = COM9\n"},
    {"setCustomPaper=36x144",
     "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = 0.50\n"
     "@PJL SET QCUSTOMPAPERHEIGHT = 2.00\n"},
    {"setMediaType", "@PJL SET MEDIATYPE = \"BOND\"\n"},
    {"setPaperSource", "@PJL SET QPAPERSOURCE = MANUALENVELOPE\n"},
    {"setOutputBin", "@PJL SET OUTBIN = OPTIONALOUTBIN4\n"},
    {"setTonerDarkness", "@PJL SET DENSITY = 4\n"},
    {"setPictureGrade", "@PJL SET QPICTUREGRADE = ON\n"},
    {"setSeparatorPage", "@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n"},
    {"setSeparatorSource", "@PJL SET QSEPARATORSOURCE = TRAY5\n"},
    {"setOffsetPage", "@PJL SET JOBOFFSET = BETWEENCOPIES\n"},
    {"setCyan", "@PJL SET QCOLORBALANCECYAN = 1\n"},
    {"setMagenta", "@PJL SET QCOLORBALANCEMAGENTA = 2\n"},
    {"setYellow", "@PJL SET QCOLORBALANCEYELLOW = 3\n"},
    {"setBlack", "@PJL SET QCOLORBALANCEBLACK = 4\n"},
    {"setColorCorrection", "@PJL SET QCOLORCORRECTION = MANUAL\n"},
    {"setGrayCorrection", "@PJL SET QCOLORCORRECTION = OFF\n"},
    {"setManualRGBImage", "@PJL SET QMANUALCOLORRGBIMAGE = SRGBVIVID\n"},
    {"setManualRGBText", "@PJL SET QMANUALCOLORRGBTEXT = DISPLAYREALBLACK\n"},
    {"setManualRGBGraphics", "@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBDISPLAY\n"},
    {"setManualCMYK",
     "@PJL SET QMANUALCOLORCMYKIMAGE = EURO\n@PJL SET QMANUALCOLORCMYKTEXT = EURO\n"
     "@PJL SET QMANUALCOLORCMYKGRAPHICS = EURO\n"},
    {"setColorSaver", "@PJL SET QCOLORSAVER = ON\n"},
    {"setBlackAndWhite", "@PJL SET QCOLORMODEL = CMYK\n"},
    {"setBrightness", "@PJL SET QIMAGEBRIGHTNESS = 1\n"},
    {"setContrast", "@PJL SET QIMAGECONTRAST = -2\n"},
    {"setSaturation", "@PJL SET QIMAGESATURATION = 3\n"},
    {"setImageSmoothing", "@PJL SET QIMAGESMOOTHING = ON\n"},
    {"setLineDetail", "@PJL SET QLINEDETAIL = OFF\n"},
    {"setCollation", "@PJL SET QCOLLATION = ON\n"},
    {"setResolution",
     "@PJL SET RESOLUTION = 600\n@PJL SET QIMAGEENHANCE = ON\n"
     "@PJL SET QIMAGEENHANCETYPE = 4\n@PJL SET QSCREENING = IET\n"},
    {"addJobAcctgLines", kAccounting},
    {"addQvnGenericDrvCommands", kColor},
    {"setDuplicateHeldJobs", "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"},
    {"insertNumCopies=3", "@PJL SET COPIES = 3\n"},
};

Words everySetter() {
  Words names;
  for (const auto& [setter, lines] : kEverySetter) names.push_back(setter);
  return names;
}

TEST(PjlSettings, EverySetterReadsItsOwnOptionAndAppendsInTheOrderOfTheCalls) {
  const std::string header = headerWith(kAccounting + kColor);
  expectLines(kEveryOption, {}, "", "", header);
  Words reversed, doubled;
  std::string forward, backward, twice;
  for (const auto& [setter, lines] : kEverySetter) {
    expectLines(kEveryOption, {setter}, lines, "", header);
    reversed.insert(reversed.begin(), setter);
    doubled.insert(doubled.end(), {setter, setter});
    forward += lines;
    backward.insert(0, lines);
    twice += lines + lines;
  }
  expectLines(kEveryOption, everySetter(), forward, "", header);
  expectLines(kEveryOption, reversed, backward, "", header);
  expectLines(kEveryOption, doubled, twice, "", header);
}

// The lines of all setters for a job without their options.
const std::string kFixedLines =
    "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = 0.50\n"
    "@PJL SET QCUSTOMPAPERHEIGHT = 2.00\n@PJL SET QJOBCREDUSERNAME = \"\"\n"
    "@PJL SET QJOBCREDACCOUNTID = \"\"\n@PJL SET QJOBCREDDEPTID = \"\"\n"
    "@PJL SET QDUPLICATEHELDJOBS = SAVE\n@PJL SET COPIES = 3\n";

TEST(PjlSettings, WithoutTheirExactOptionsOnlyFixedLinesAreSent) {
  expectLines("", everySetter(), kFixedLines);
  expectLines(
      "Media=A4 mediatype=Bond inputslot=Tray1 ap_d_inputslot=Tray1 outputbin=Bin1 "
      "tonerdarkness=8 pictureGrade=TrueM sepPages=Jobs sepSource=Tray1 offset=Jobs "
      "cyanBalance=1 magentaBalance=1 yellowBalance=1 blackBalance=1 mediaColor=Auto "
      "grayCorrection=Auto manualRGBImage=Off manualRGBText=Off manualRGBGraphics=Off "
      "ManualCmyk=Off colorSaver=TrueM blw=TrueM QVNBrightness=1 QVNContrast=1 "
      "QVNSaturation=1 imageSmoothing=TrueF QVNLineDetail=TrueF resolution=600dpi "
      "copies=2 PMCopies..n.=2 PMOrientation..n.=2 collate=true LineDetail=TrueF Brightness=1",
      everySetter(), kFixedLines);
}

// All options of the setters with the same value, and the setters.
void expectEverywhere(const std::string& value, const std::string& lines) {
  std::string options;
  for (const std::string start : {"media",          "MediaType",      "InputSlot",
                                  "OutputBin",      "TonerDarkness",  "PictureGrade",
                                  "SepPages",       "SepSource",      "Offset",
                                  "CyanBalance",    "MagentaBalance", "YellowBalance",
                                  "BlackBalance",   "MediaColor",     "GrayCorrection",
                                  "ManualRGBImage", "ManualRGBText",  "ManualRGBGraphics",
                                  "ManualCMYK",     "ColorSaver",     "BLW",
                                  "QvnBrightness",  "QvnContrast",    "QvnSaturation",
                                  "ImageSmoothing", "QvnLineDetail",  "Resolution"}) {
    options += start + "=" + value + " ";
  }
  for (const std::string& start : {kCopies, kOrientation, kFeed, kCollate}) {
    options += start + value + " ";
  }
  Words setters;
  for (const auto& [setter, unused] : kEverySetter) {
    if (setter.starts_with("set") && setter.find("Custom") == setter.npos &&
        setter != "setDuplicateHeldJobs") {
      setters.push_back(setter);
    }
  }
  expectLines(options, setters, lines);
}

TEST(PjlSettings, PrintersSendsOnlyCopiesAndCollation) {
  expectEverywhere("PrinterS", "@PJL SET COPIES = 0\n@PJL SET QCOLLATION = OFF\n");
}

TEST(PjlSettings, UnknownValuesAreSentOnlyByTheSettersThatSendAnyValue) {
  for (const std::string value : {"", "Bogus", "printers", "PRINTERS", "PrinterS2", "Tray0"}) {
    std::string lines =
        "@PJL SET COPIES = 0\n@PJL SET MEDIATYPE = \"" + value + "\"\n@PJL SET DENSITY = " + value;
    for (const char* name :
         {"COLORBALANCECYAN", "COLORBALANCEMAGENTA", "COLORBALANCEYELLOW", "COLORBALANCEBLACK",
          "IMAGEBRIGHTNESS", "IMAGECONTRAST", "IMAGESATURATION"}) {
      lines += "\n@PJL SET Q" + std::string(name) + " = " + value;
    }
    expectEverywhere(value, lines + "\n@PJL SET QCOLLATION = OFF\n");
  }
}

TEST(PjlSettings, AnyValueIsSentUnchanged) {
  const std::string value = "'-1.50 %d%@<20>\"x\" \n\x8a<3C>27>'";
  const std::string sent = "-1.50 %d%@ \"x\" \n\x8a<27>";
  const std::string rows[][3] = {
      {"CyanBalance", "setCyan", "@PJL SET QCOLORBALANCECYAN = " + sent},
      {"MagentaBalance", "setMagenta", "@PJL SET QCOLORBALANCEMAGENTA = " + sent},
      {"YellowBalance", "setYellow", "@PJL SET QCOLORBALANCEYELLOW = " + sent},
      {"BlackBalance", "setBlack", "@PJL SET QCOLORBALANCEBLACK = " + sent},
      {"QvnBrightness", "setBrightness", "@PJL SET QIMAGEBRIGHTNESS = " + sent},
      {"QvnContrast", "setContrast", "@PJL SET QIMAGECONTRAST = " + sent},
      {"QvnSaturation", "setSaturation", "@PJL SET QIMAGESATURATION = " + sent},
      {"MediaType", "setMediaType", "@PJL SET MEDIATYPE = \"" + sent + "\""},
      {"TonerDarkness", "setTonerDarkness", "@PJL SET DENSITY = " + sent}};
  for (const auto& [option, setter, line] : rows) {
    expectLines(option + "=" + value, {setter}, line + "\n");
  }
}

// ---- paper

TEST(PjlPaper, EverySizeHasItsName) {
  expectTable("setPaperSize", "media=", "@PJL SET PAPER = ",
              "A3: A3; A4: A4; A5: A5; A6: A6; B4: JIS B4; B5: JISB5; Letter: LETTER; "
              "Legal: LEGAL; Executive: EXECUTIVE; Folio: FOLIO; Statement: STATEMENT; "
              "Universal: CUSTOM; OthEnv: OTHERENVELOPE; Monarch: MONARCH; Comm10: COM10; DL: DL; "
              "C4: COM9; C5: C5; ISOB5: B5; 11x17: LEDGER; Tabloid: LEDGER; Oficio: OFICIO");
  expectNothing("setPaperSize", "media=",
                {"a4", "A2", "LETTER", "letter", "A4Small", "'A4 '", "JIS<20>B4", "JISB5", "Ledger",
                 "Foo", "11X17", "Custom", "Custom.", "612x792Custom.", "Custom.A4"});
}

std::string inches(const std::string& width, const std::string& height) {
  return "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = " + width +
         "\n@PJL SET QCUSTOMPAPERHEIGHT = " + height + "\n";
}

struct SizeRow {
  std::string size, width, height;
};

TEST(PjlPaper, UnknownSizeIsReadInPointsAfterItsOneCustom) {
  for (const auto& [media, width, height] :
       std::vector<SizeRow>{{"Custom.612x792", "8.50", "11.00"},
                            {"Custom.612.00x792.00", "8.50", "11.00"},
                            {"612x792", "8.50", "11.00"},
                            {"Any.Custom.612x792", "8.50", "11.00"},
                            {"144x144Custom.72x72", "1.00", "1.00"},
                            {"Custom.8.5x11in", "0.12", "0.15"},
                            {"Custom.11x17", "0.15", "0.24"},
                            {"11x17in", "0.15", "0.24"},
                            {"executive", "0.00", "0.00"},
                            {"custom.612x792", "0.00", "11.00"},
                            {"Custom612x792", "0.00", "11.00"},
                            {"Custom.<20>612<20>x<20>792", "8.50", "11.00"}}) {
    expectLines("media=" + media, {"setPaperSize"}, inches(width, height));
  }
}

// The message comes with every call, and the other setters go on.
TEST(PjlPaper, SecondCustomLeavesNoSize) {
  const std::string message = "ERROR: Custom media size value is nil.\n";
  for (const std::string value :
       {"Custom.Custom.1x1", "Custom.72x72Custom.", "aCustom.bCustom.c", "Custom.Custom.Custom."}) {
    expectLines("media=" + value + " MediaType=Plain",
                {"setPaperSize", "setMediaType", "setPaperSize"},
                "@PJL SET MEDIATYPE = \"PLAIN\"\n", message + message);
  }
}

TEST(PjlPaper, CustomSizeIsReadAsTwoNumbers) {
  const std::string largest = "4726143703312900830718113659507179520.00";
  for (const auto& [size, width, height] : std::vector<SizeRow>{
           {"612x792", "8.50", "11.00"},
           {" \t\n612x\r 792", "8.50", "11.00"},
           {"+612x-792", "8.50", "-11.00"},
           {"612.x.72", "8.50", "0.01"},
           {"6.12e2x7.92E+2", "8.50", "11.00"},
           {"61200e-2x0.000792e6", "8.50", "11.00"},
           {"612ptx792 points", "8.50", "11.00"},
           {"72ex144e+", "1.00", "2.00"},
           {"72e 1x144e-z", "1.00", "2.00"},
           {"612,5x1,000", "8.50", "0.01"},
           {"--72x+-72", "0.00", "0.00"},
           {"+ 72x.", "0.00", "0.00"},
           {"wide x high", "0.00", "0.00"},
           {"infxINFINITY", "0.00", "0.00"},
           {"nanx-inf", "0.00", "0.00"},
           {"0X48x0b1", "0.00", "0.00"},
           {"0x48", "0.00", "0.67"},
           {"1e-50x1e-40", "0.00", "0.00"},
           {"-0.1x0.1", "-0.00", "0.00"},
           {"Custom.72x72", "0.00", "1.00"},
           {"612X9x792", "8.50", "11.00"},
           {"72=x72=3", "1.00", "1.00"},
           // Text after a second x is ignored.
           {"72x144x216", "1.00", "2.00"},
           {"72xx144", "1.00", "0.00"},
           {"x", "0.00", "0.00"},
           {"x72", "0.00", "1.00"},
           {"72x", "1.00", "0.00"},
           // An exact tie is rounded to the even digit.
           {"9x27", "0.12", "0.38"},
           {"45x63", "0.62", "0.88"},
           // Reading and division round to single precision: 7.045, 14.495 and 138888.903 change.
           {"507.24x1043.64", "7.05", "14.49"},
           {"16777217x10000001", "233016.89", "138888.91"},
           {"1e99x-1e99", largest, "-" + largest},
           {"3.5e38x3.4e38", largest, "4722222226181094803064583608141348864.00"},
           {"1e2147483648x1e-2147483648", largest, "0.00"},
           {"0e99999x-0.0001e42", "0.00", "-1388888862090382289984523087026061312.00"}}) {
    expectLines("", {"setCustomPaper=" + size}, inches(width, height));
  }
  expectLines("",
              {"setCustomPaper=612", "setCustomPaper=", "setCustomPaper=612X792",
               "setCustomPaper=612*792", "setCustomPaper=A4"},
              "");
}

TEST(PjlPaper, EveryMediaTypeHasItsName) {
  expectTable("setMediaType", "MediaType=", "@PJL SET MEDIATYPE = ",
              "Plain: \"PLAIN\"; Bond: \"BOND\"; Transparency: \"TRANSPARENCY\"; "
              "Card: \"CARDSTOCK\"; Cardstock: \"CARDSTOCK\"; Labels: \"LABELS\"; "
              "LabelsPaper: \"LABELS\"; Letterhead: \"LETTERHEAD\"; Preprint: \"PREPRINTED\"; "
              "Colored: \"COLORED\"; Envelope: \"ENVELOPE\"; Light: \"LIGHT\"; Heavy: \"HEAVY\"; "
              "Rough: \"ROUGH\"; RoughCotton: \"ROUGH\"; Recycled: \"RECYCLED\"; "
              "HeavyGlossy: \"HEAVYGLOSSY\"; RoughEnvelope: \"ROUGHENVELOPE\"; "
              "Custom1: \"CUSTOMTYPE1\"; Custom2: \"CUSTOMTYPE2\"; Custom3: \"CUSTOMTYPE3\"; "
              "Custom4: \"CUSTOMTYPE4\"; Custom5: \"CUSTOMTYPE5\"; Custom6: \"CUSTOMTYPE6\"; "
              "Vinyl: \"VINYL\"; VinylPaper: \"VINYL\"; Glossy: \"GLOSSY\"; "
              // Any other type is sent unchanged.
              "Transparent: \"Transparent\"; Custom7: \"Custom7\"; plain: \"plain\"; "
              "PLAIN: \"PLAIN\"; LightPaper: \"LightPaper\"; \"It's = that\": \"It's = that\"; "
              "<50>lain: \"<50>lain\"");
  expectLines("MediaType", {"setMediaType"}, "@PJL SET MEDIATYPE = \"true\"\n");
}

const std::string kTrays =
    "Tray1: TRAY1; Tray2: TRAY2; Tray3: TRAY3; Tray4: TRAY4; Tray5: TRAY5; "
    "MultipurposeFeeder: MPFEEDER; EnvFeeder: FEEDER; EnvDrawr2: TRAY2; EnvDrawr3: TRAY3; "
    "EnvDrawr4: TRAY4";

TEST(PjlPaper, EverySourceHasItsNameFromEachOption) {
  for (const std::string& option :
       {std::string("InputSlot="), std::string("AP_D_InputSlot="), kFeed,
        std::string("AP_FIRSTPAGE_InputSlot=Other InputSlot=")}) {
    expectTable("setPaperSource", option, "@PJL SET QPAPERSOURCE = ",
                kTrays + "; ManualPaper: MANUALPAPER; ManualEnv: MANUALENVELOPE");
    expectNothing("setPaperSource", option,
                  {"EnvDrawr1", "EnvDrawr5", "Tray6", "Tray", "tray1", "TRAY1", "envfeeder",
                   "manualpaper", "AutoSelect", "'Tray1 '"});
  }
}

TEST(PjlPaper, SourceIsChosenAmongFourOptions) {
  const std::string first = "AP_FIRSTPAGE_InputSlot=";
  const std::string preset = "AP_D_InputSlot=";
  const std::pair<std::string, char> rows[] = {
      // the tray, 0 for none
      {first + "Tray1 InputSlot=Tray1", 0},
      {first + "Tray1 InputSlot=Tray2", '2'},
      {"InputSlot=Tray2 " + first + "tray2", '2'},
      {first + "PrinterS InputSlot=Tray3", '3'},
      {first + " InputSlot=Tray3", '3'},
      {first + "Tray1 InputSlot=PrinterS", 0},
      {first + "Tray1", 0},
      {first + "Tray1 " + preset + "Tray2 " + kFeed + "Tray3", 0},
      {first + "Tray1 " + preset + "Tray2 InputSlot=Tray1", 0},
      {first + "Tray1 " + preset + "Tray2 InputSlot=Tray3", '3'},
      {preset + "Tray1 InputSlot=Tray2 " + kFeed + "Tray3", '1'},
      {preset + "Tray1 InputSlot=Tray1", '1'},
      {preset + "PrinterS InputSlot=Tray2", 0},
      {preset + "Bogus InputSlot=Tray2", 0},
      {preset + " InputSlot=Tray2", 0},
      {"InputSlot=Tray2 " + kFeed + "Tray3", '2'},
      {"InputSlot=PrinterS " + kFeed + "Tray3", 0},
      {"InputSlot= " + kFeed + "Tray3", 0},
      {kFeed + "Tray3", '3'},
      {kFeed + "PrinterS", 0}};
  for (const auto& [options, tray] : rows) {
    expectLines(options, {"setPaperSource"},
                tray ? std::string("@PJL SET QPAPERSOURCE = TRAY") + tray + "\n" : "");
  }
}

TEST(PjlPaper, EveryBinHasItsName) {
  expectTable("setOutputBin", "OutputBin=", "@PJL SET OUTBIN = ",
              "Bin1: OPTIONALOUTBIN1; FinisherBin1: OPTIONALOUTBIN1; Bin2: OPTIONALOUTBIN2; "
              "FinisherBin2: OPTIONALOUTBIN2; Bin3: OPTIONALOUTBIN3; Bin4: OPTIONALOUTBIN4; "
              "Bin5: OPTIONALOUTBIN5; Bin6: OPTIONALOUTBIN6; Bin7: OPTIONALOUTBIN7; "
              "Bin8: OPTIONALOUTBIN8; Bin9: OPTIONALOUTBIN9; Bin10: OPTIONALOUTBIN10; "
              "StandardBin: UPPER; 2ndExitBin: UPPER");
  expectNothing("setOutputBin", "OutputBin=",
                {"Bin11", "Bin0", "FinisherBin3", "bin1", "BIN1", "Upper", "standardbin",
                 "finisherbin1", "2ndexitbin"});
}

TEST(PjlPaper, SeparatorSheetsAndJobOffsetHaveTheirNames) {
  expectTable("setSeparatorPage", "SepPages=", "@PJL SET QSEPARATORSHEETS = ",
              "Jobs: BETWEENJOBS; Copies: BETWEENCOPIES; Pages: BETWEENPAGES; None: NONE; "
              "NoneF: NONE");
  expectNothing("setSeparatorPage",
                "SepPages=", {"NoneM", "Nonef", "jobs", "COPIES", "pages", "none", "NONE"});
  // Separator sheets are not fed manually.
  expectTable("setSeparatorSource", "SepSource=", "@PJL SET QSEPARATORSOURCE = ", kTrays);
  expectNothing(
      "setSeparatorSource", "SepSource=",
      {"ManualPaper", "ManualEnv", "Tray6", "EnvDrawr1", "tray1", "TRAY1", "multipurposefeeder"});
  expectTable("setOffsetPage", "Offset=", "@PJL SET JOBOFFSET = ",
              "Jobs: BETWEENJOBS; Copies: BETWEENCOPIES; None: NONE");
  expectNothing("setOffsetPage", "Offset=", {"NoneF", "Pages", "jobs", "COPIES", "none"});
}

// ---- copies and quality

TEST(PjlQuality, LastValueOfAnOptionWins) {
  expectLines("media=A4 OutputBin=Bin1 media=Legal OutputBin=PrinterS",
              {"setPaperSize", "setOutputBin"}, "@PJL SET PAPER = LEGAL\n");
}

TEST(PjlQuality, CopiesAreWholeNumbersOf32Bits) {
  expectTable("setCopies", kCopies, "@PJL SET COPIES = ",
              "0: 0; 2: 2; 007: 7; 01: 1; ' \t5': 5; +6: 6; -3: -3; --3: 0; '- 3': 0; 12abc: 12; "
              "3.9: 3; 1e3: 1; 0x10: 0; many: 0; 2147483647: 2147483647; 2147483648: 2147483647; "
              "4294967297: 2147483647; 99999999999999999999: 2147483647; "
              "-2147483648: -2147483648; -2147483649: -2147483648; "
              "-99999999999999999999: -2147483648");
}

TEST(PjlQuality, CopiesAreAppendedAlsoIfTheHeaderHasASingleCopy) {
  expectLines(kCopies + "1", {"setCopies", "insertNumCopies=-2147483648", "insertNumCopies=0"},
              "@PJL SET COPIES = 1\n@PJL SET COPIES = -2147483648\n@PJL SET COPIES = 0\n", "",
              headerWith("@PJL SET COPIES = 1\n"));
}

TEST(PjlQuality, OnlyLandscapeRotatesThePaper) {
  expectTable("setRotatePaper", kOrientation, "@PJL SET QIMAGEORIENTATION = ", "2: ROTATEPAPER");
  expectNothing("setRotatePaper", kOrientation,
                {"1", "3", "4", "02", "' 2'", "'2 '", "22", "landscape"});
}

TEST(PjlQuality, TonerDarknessFrom6To10IsMappedTo1To5) {
  expectTable("setTonerDarkness", "TonerDarkness=", "@PJL SET DENSITY = ",
              "6: 1; 7: 2; 8: 3; 9: 4; 10: 5; 0: 0; 1: 1; 2: 2; 3: 3; 4: 4; 5: 5; 11: 11; 06: 06; "
              "' 8':  8; -7: -7; 8%d: 8%d; a<20>b: a b");
}

TEST(PjlQuality, ColorAndGrayCorrectionSetOneVariable) {
  const std::string start = "@PJL SET QCOLORCORRECTION = ";
  expectTable("setColorCorrection", "MediaColor=", start,
              "Manual: MANUAL; FalseM: OFF; Auto: AUTO");
  expectNothing("setColorCorrection", "MediaColor=",
                {"FalseF", "falsem", "False", "TrueM", "Off", "auto", "manual", "MANUAL"});
  expectTable("setGrayCorrection", "GrayCorrection=", start, "FalseM: OFF; Auto: AUTO");
  expectNothing("setGrayCorrection", "GrayCorrection=",
                {"Manual", "FalseF", "falsem", "False", "TrueM", "Off", "auto", "AUTO"});
}

TEST(PjlQuality, ManualRgbTablesHaveTheirNames) {
  for (const std::string object : {"Image", "Text", "Graphics"}) {
    std::string upper = object;
    for (char& c : upper) c = static_cast<char>(toupper(c));
    const std::string option = "ManualRGB" + object + "=";
    expectTable("setManualRGB" + object, option, "@PJL SET QMANUALCOLORRGB" + upper + " = ",
                "Vivid: VIVID; sRGBVivid: SRGBVIVID; sRGBDisplay: SRGBDISPLAY; "
                "DisplayRealBlack: DISPLAYREALBLACK; Off: OFF");
    expectNothing("setManualRGB" + object, option,
                  {"vivid", "SRGBVivid", "sRGBvivid", "srgbDisplay", "Display", "displayRealBlack",
                   "off", "OFF", "VividCMYK", "FalseM", "'Off '"});
  }
}

TEST(PjlQuality, ManualCmykTableSetsThreeVariables) {
  const std::string rows[][2] = {
      {"VividCMYK", "VIVIDCMYK"}, {"EuroCMYK", "EURO"}, {"USCMYK", "SWOP"}, {"Off", "OFF"}};
  for (const auto& [value, sent] : rows) {
    expectLines("ManualCMYK=" + value, {"setManualCMYK"},
                "@PJL SET QMANUALCOLORCMYKIMAGE = " + sent + "\n@PJL SET QMANUALCOLORCMYKTEXT = " +
                    sent + "\n@PJL SET QMANUALCOLORCMYKGRAPHICS = " + sent + "\n");
  }
  expectNothing("setManualCMYK", "ManualCMYK=",
                {"Vivid", "vividcmyk", "EUROCMYK", "Euro", "UScmyk", "SWOP", "off", "OFF"});
}

TEST(PjlQuality, SettingsOfTwoStatesKnowTrueAndFalseWithTheirOwnLetter) {
  struct {
    std::string setter, option, start, on, off, letter;
  } const rows[] = {
      {"setPictureGrade", "PictureGrade=", "@PJL SET QPICTUREGRADE = ", "ON", "OFF", "M"},
      {"setColorSaver", "ColorSaver=", "@PJL SET QCOLORSAVER = ", "ON", "OFF", "M"},
      {"setBlackAndWhite", "BLW=", "@PJL SET QCOLORMODEL = ", "BLACK", "CMYK", "M"},
      {"setImageSmoothing", "ImageSmoothing=", "@PJL SET QIMAGESMOOTHING = ", "ON", "OFF", "F"},
      {"setLineDetail", "QvnLineDetail=", "@PJL SET QLINEDETAIL = ", "ON", "OFF", "F"}};
  for (const auto& [setter, option, start, on, off, letter] : rows) {
    expectTable(setter, option, start,
                "True" + letter + ": " + on + ";False" + letter + ": " + off);
    const std::string other = letter == "M" ? "F" : "M";
    expectNothing(setter, option,
                  {"True" + other, "False" + other, "true", "false", "True", "False", "truem",
                   "truef", "TRUEM", "TRUEF", "falseM", "falseF", "On", "1"});
  }
}

TEST(PjlQuality, AnythingButTrueTurnsCollationOff) {
  expectTable("setCollation", kCollate, "@PJL SET QCOLLATION = ",
              "true: ON; false: OFF; TRUE: OFF; True: OFF; 'true ': OFF; yes: OFF; 1: OFF");
  // An option without a value is "true", or "false" if it begins with "no".
  const std::string name = kCollate.substr(0, kCollate.size() - 1);
  expectLines(name, {"setCollation"}, "@PJL SET QCOLLATION = ON\n");
  expectLines("no" + name, {"setCollation"}, "@PJL SET QCOLLATION = OFF\n");
}

TEST(PjlQuality, EveryResolutionHasItsLines) {
  const auto enhanced = [](const std::string& type) {
    return "600\n@PJL SET QIMAGEENHANCE = ON\n@PJL SET QIMAGEENHANCETYPE = " + type +
           "\n@PJL SET QSCREENING = IET";
  };
  expectTable("setResolution", "Resolution=", "@PJL SET RESOLUTION = ",
              "300dpi: 300; 600dpi: 600; 1200dpi: 1200; 1200IQ: " + enhanced("2") +
                  "; 2400IQ: " + enhanced("4") + "; 4800CQ: " + enhanced("2"));
  expectNothing("setResolution", "Resolution=",
                {"2400dpi", "4800IQ", "2400CQ", "4800cq", "1200iq", "600DPI", "600", "300"});
}

// ---- accounting

TEST(PjlAccountingSetter, FillsItsThreeLinesOneByOneInUtf8) {
  const auto lines = [](const std::string& account, const std::string& department) {
    return "@PJL SET QJOBCREDUSERNAME = \"\"\n@PJL SET QJOBCREDACCOUNTID = \"" + account +
           "\"\n@PJL SET QJOBCREDDEPTID = \"" + department + "\"\n";
  };
  expectLines("JAACCTNUM=a<20>1", {"addJobAcctgLines"}, lines("a 1", ""));
  expectLines("JADEPTNUM='\"50%s\"'", {"addJobAcctgLines"}, lines("", "\"50%s\""));
  expectLines("JAACCTNUM=\x8a\xdb JADEPTNUM=\xf0", {"addJobAcctgLines"},
              lines("\xc3\xa4\xe2\x82\xac", "\xef\xa3\xbf"));
}

TEST(PjlAccountingSetter, IsTheOnlySetterWithRecordsInTheLog) {
  Job job;
  job.log(1);
  Words arguments = everySetter();
  arguments.insert(arguments.begin(), {"-u", "ada", kEveryOption});
  arguments.emplace_back("addJobAcctgLines");
  EXPECT_EQ(runPjlLines(arguments, job).exitStatus, 0);
  const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
  const std::string init = "-[pjlCreation initFromArgsStore:userID:jobName:]";
  const std::string accounting = logBraces("-[pjlCreation addJobAcctgLines:]");
  const std::string expected =
      logRecord(init, "{") + accounting + logRecord(init, "}") + accounting + accounting;
  expectSame(log.substr(std::min(log.size(), log.find(logRecord(init, "{")))), expected, "log",
             "all setters");
}

}  // namespace
}  // namespace jobshaper::testing
