// The PJL vocabulary of the printer: each setter, the options it reads, the lines it appends.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/blackbox/pjl_vocabulary.h"

namespace {

using namespace jobshaper::testing;

// Every setter, with its lines for a job that has all options set.
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

const std::string kEveryHeader =
    "\x1b%-12345X@PJL JOB\n"
    "@PJL COMMENT Quorvan Macintosh driver\n"
    "@PJL SET STRINGCODESET = UTF8\n"
    "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
    hostName() +
    "\"\n"
    "@PJL SET JOBNAME = \"\"\n"
    "@PJL SET USERNAME = \"ada\"\n"
    "@PJL SET QJOBCREDUSERNAME = \"user\"\n"
    "@PJL SET QJOBCREDACCOUNTID = \"acct\"\n"
    "@PJL SET QJOBCREDDEPTID = \"dept\"\n"
    "@PJL SET QCOLORMODEL = CMYK\n"
    "@PJL SET RENDERMODE  = COLOR\n"
    "@PJL ENTER LANGUAGE = POSTSCRIPT\n";

struct Call {
  std::string setter;
  std::string lines;
};

const std::vector<Call> kEverySetter{
    {"setCopies", "@PJL SET COPIES = 12\n"},
    {"setRotatePaper", "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n"},
    {"setPaperSize", "@PJL SET PAPER = COM9\n"},
    {"setCustomPaper=36x144",
     "@PJL SET QCUSTOMPAPERUNITS = INCHES\n"
     "@PJL SET QCUSTOMPAPERWIDTH = 0.50\n"
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
     "@PJL SET QMANUALCOLORCMYKIMAGE = EURO\n"
     "@PJL SET QMANUALCOLORCMYKTEXT = EURO\n"
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
     "@PJL SET RESOLUTION = 600\n"
     "@PJL SET QIMAGEENHANCE = ON\n"
     "@PJL SET QIMAGEENHANCETYPE = 4\n"
     "@PJL SET QSCREENING = IET\n"},
    {"addJobAcctgLines",
     "@PJL SET QJOBCREDUSERNAME = \"user\"\n"
     "@PJL SET QJOBCREDACCOUNTID = \"acct\"\n"
     "@PJL SET QJOBCREDDEPTID = \"dept\"\n"},
    {"addQvnGenericDrvCommands",
     "@PJL SET QCOLORMODEL = CMYK\n"
     "@PJL SET RENDERMODE  = COLOR\n"},
    {"setDuplicateHeldJobs", "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"},
    {"insertNumCopies=3", "@PJL SET COPIES = 3\n"},
};

Words allSetters() {
  Words names;
  for (const Call& call : kEverySetter) names.push_back(call.setter);
  return names;
}

TEST(PjlVocabulary, HeaderCallsNoSetter) { expectRun(kEveryOption, {}, kEveryHeader); }

TEST(PjlVocabulary, EachSetterReadsItsOwnOption) {
  for (const Call& call : kEverySetter) {
    expectRun(kEveryOption, {call.setter}, kEveryHeader + call.lines);
  }
}

TEST(PjlVocabulary, LinesFollowInTheOrderOfTheCalls) {
  std::string forward;
  std::string backward;
  std::string twice;
  Words reversed;
  Words doubled;
  for (const Call& call : kEverySetter) {
    forward += call.lines;
    backward.insert(0, call.lines);
    twice += call.lines + call.lines;
    reversed.insert(reversed.begin(), call.setter);
    doubled.insert(doubled.end(), {call.setter, call.setter});
  }
  expectRun(kEveryOption, allSetters(), kEveryHeader + forward);
  expectRun(kEveryOption, reversed, kEveryHeader + backward);
  expectRun(kEveryOption, doubled, kEveryHeader + twice);
}

TEST(PjlVocabulary, WithoutOptionsOnlyFixedLinesAppear) {
  expectLines("", allSetters(),
              "@PJL SET QCUSTOMPAPERUNITS = INCHES\n"
              "@PJL SET QCUSTOMPAPERWIDTH = 0.50\n"
              "@PJL SET QCUSTOMPAPERHEIGHT = 2.00\n"
              "@PJL SET QJOBCREDUSERNAME = \"\"\n"
              "@PJL SET QJOBCREDACCOUNTID = \"\"\n"
              "@PJL SET QJOBCREDDEPTID = \"\"\n"
              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
              "@PJL SET COPIES = 3\n");
}

// Every option, except those of the header, with the same value.
std::string everywhere(const std::string& value) {
  std::string options;
  for (const std::string& start : Words{"media=",          "MediaType=",      "InputSlot=",
                                        "OutputBin=",      "TonerDarkness=",  "PictureGrade=",
                                        "SepPages=",       "SepSource=",      "Offset=",
                                        "CyanBalance=",    "MagentaBalance=", "YellowBalance=",
                                        "BlackBalance=",   "MediaColor=",     "GrayCorrection=",
                                        "ManualRGBImage=", "ManualRGBText=",  "ManualRGBGraphics=",
                                        "ManualCMYK=",     "ColorSaver=",     "BLW=",
                                        "QvnBrightness=",  "QvnContrast=",    "QvnSaturation=",
                                        "ImageSmoothing=", "QvnLineDetail=",  "Resolution=",
                                        kCopies,           kOrientation,      kFeed,
                                        kCollate}) {
    options += start + value + " ";
  }
  return options;
}

const Words kOptionSetters{
    "setCopies",         "setRotatePaper",     "setPaperSize",      "setMediaType",
    "setPaperSource",    "setOutputBin",       "setTonerDarkness",  "setPictureGrade",
    "setSeparatorPage",  "setSeparatorSource", "setOffsetPage",     "setCyan",
    "setMagenta",        "setYellow",          "setBlack",          "setColorCorrection",
    "setGrayCorrection", "setManualRGBImage",  "setManualRGBText",  "setManualRGBGraphics",
    "setManualCMYK",     "setColorSaver",      "setBlackAndWhite",  "setBrightness",
    "setContrast",       "setSaturation",      "setImageSmoothing", "setLineDetail",
    "setCollation",      "setResolution"};

TEST(PjlVocabulary, PrintersOwnSettingAppendsOnlyCopiesAndCollation) {
  expectLines(everywhere("PrinterS"), kOptionSetters,
              "@PJL SET COPIES = 0\n@PJL SET QCOLLATION = OFF\n");
}

// The setters that send any value send these values too.
TEST(PjlVocabulary, ValuesOfNoTableAppendNothingOrThemselves) {
  for (const std::string value : {"", "Bogus", "printers", "PRINTERS", "PrinterS2", "Tray0"}) {
    expectLines(everywhere(value), kOptionSetters,
                "@PJL SET COPIES = 0\n"
                "@PJL SET MEDIATYPE = \"" +
                    value +
                    "\"\n"
                    "@PJL SET DENSITY = " +
                    value +
                    "\n"
                    "@PJL SET QCOLORBALANCECYAN = " +
                    value +
                    "\n"
                    "@PJL SET QCOLORBALANCEMAGENTA = " +
                    value +
                    "\n"
                    "@PJL SET QCOLORBALANCEYELLOW = " +
                    value +
                    "\n"
                    "@PJL SET QCOLORBALANCEBLACK = " +
                    value +
                    "\n"
                    "@PJL SET QIMAGEBRIGHTNESS = " +
                    value +
                    "\n"
                    "@PJL SET QIMAGECONTRAST = " +
                    value +
                    "\n"
                    "@PJL SET QIMAGESATURATION = " +
                    value +
                    "\n"
                    "@PJL SET QCOLLATION = OFF\n");
  }
}

TEST(PjlVocabulary, OptionNamesCountInTheirExactLetters) {
  expectLines(
      "Media=A4 mediatype=Bond inputslot=Tray1 ap_d_inputslot=Tray1 outputbin=Bin1 "
      "tonerdarkness=8 pictureGrade=TrueM sepPages=Jobs sepSource=Tray1 offset=Jobs "
      "cyanBalance=1 magentaBalance=1 yellowBalance=1 blackBalance=1 mediaColor=Auto "
      "grayCorrection=Auto manualRGBImage=Off manualRGBText=Off manualRGBGraphics=Off "
      "ManualCmyk=Off colorSaver=TrueM blw=TrueM QVNBrightness=1 QVNContrast=1 "
      "QVNSaturation=1 imageSmoothing=TrueF QVNLineDetail=TrueF resolution=600dpi "
      "copies=2 PMCopies..n.=2 PMOrientation..n.=2 collate=true",
      kOptionSetters, "");
}

TEST(PjlVocabulary, LastValueOfAnOptionCounts) {
  expectLines("media=A4 OutputBin=Bin1 media=Legal OutputBin=PrinterS",
              {"setPaperSize", "setOutputBin"}, "@PJL SET PAPER = LEGAL\n");
}

TEST(PjlVocabulary, CopiesAreWholeNumbersOf32Bits) {
  for (const auto& [value, number] :
       std::vector<std::pair<std::string, std::string>>{{"0", "0"},
                                                        {"2", "2"},
                                                        {"007", "7"},
                                                        {"01", "1"},
                                                        {"' \t5'", "5"},
                                                        {"+6", "6"},
                                                        {"-3", "-3"},
                                                        {"--3", "0"},
                                                        {"'- 3'", "0"},
                                                        {"12abc", "12"},
                                                        {"3.9", "3"},
                                                        {"1e3", "1"},
                                                        {"0x10", "0"},
                                                        {"PrinterS", "0"},
                                                        {"", "0"},
                                                        {"2147483647", "2147483647"},
                                                        {"2147483648", "2147483647"},
                                                        {"4294967297", "2147483647"},
                                                        {"99999999999999999999", "2147483647"},
                                                        {"-2147483648", "-2147483648"},
                                                        {"-2147483649", "-2147483648"},
                                                        {"-99999999999999999999", "-2147483648"}}) {
    expectLines(kCopies + value, {"setCopies"}, "@PJL SET COPIES = " + number + "\n");
  }
}

TEST(PjlVocabulary, SingleCopyIsAlsoInTheHeader) {
  expectRun(kCopies + "1", {"setCopies", "insertNumCopies=1"},
            "\x1b%-12345X@PJL JOB\n"
            "@PJL COMMENT Quorvan Macintosh driver\n"
            "@PJL SET STRINGCODESET = UTF8\n"
            "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
                hostName() +
                "\"\n"
                "@PJL SET JOBNAME = \"\"\n"
                "@PJL SET USERNAME = \"ada\"\n"
                "@PJL SET COPIES = 1\n"
                "@PJL ENTER LANGUAGE = POSTSCRIPT\n"
                "@PJL SET COPIES = 1\n"
                "@PJL SET COPIES = 1\n");
}

TEST(PjlVocabulary, InsertedCopiesAreSignedAndComeLast) {
  expectLines(kCopies + "5", {"insertNumCopies=-2147483648", "setCopies", "insertNumCopies=0"},
              "@PJL SET COPIES = -2147483648\n"
              "@PJL SET COPIES = 5\n"
              "@PJL SET COPIES = 0\n");
}

TEST(PjlVocabulary, OnlyLandscapeRotatesThePaper) {
  const std::string line = "@PJL SET QIMAGEORIENTATION = ROTATEPAPER\n";
  for (const Row& row : std::vector<Row>{
           {"2", line}, {"1", ""}, {"3", ""}, {"4", ""}, {"02", ""}, {"' 2'", ""}, {"22", ""}}) {
    expectLines(kOrientation + row.value, {"setRotatePaper"}, row.lines);
  }
}

TEST(PjlVocabulary, TonerDarknessAboveFiveIsFolded) {
  expectTable("setTonerDarkness", "TonerDarkness",
              {{"6", "@PJL SET DENSITY = 1\n"},
               {"7", "@PJL SET DENSITY = 2\n"},
               {"8", "@PJL SET DENSITY = 3\n"},
               {"9", "@PJL SET DENSITY = 4\n"},
               {"10", "@PJL SET DENSITY = 5\n"},
               {"1", "@PJL SET DENSITY = 1\n"},
               {"2", "@PJL SET DENSITY = 2\n"},
               {"3", "@PJL SET DENSITY = 3\n"},
               {"4", "@PJL SET DENSITY = 4\n"},
               {"5", "@PJL SET DENSITY = 5\n"},
               {"11", "@PJL SET DENSITY = 11\n"},
               {"06", "@PJL SET DENSITY = 06\n"},
               {"' 8'", "@PJL SET DENSITY =  8\n"},
               {"-7", "@PJL SET DENSITY = -7\n"},
               {"8%d", "@PJL SET DENSITY = 8%d\n"},
               {"a<20>b", "@PJL SET DENSITY = a b\n"}});
}

TEST(PjlVocabulary, SeparatorSheets) {
  expectTable("setSeparatorPage", "SepPages",
              {{"Jobs", "@PJL SET QSEPARATORSHEETS = BETWEENJOBS\n"},
               {"Copies", "@PJL SET QSEPARATORSHEETS = BETWEENCOPIES\n"},
               {"Pages", "@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n"},
               {"None", "@PJL SET QSEPARATORSHEETS = NONE\n"},
               {"NoneF", "@PJL SET QSEPARATORSHEETS = NONE\n"},
               {"NoneM", ""},
               {"jobs", ""},
               {"NONE", ""}});
}

TEST(PjlVocabulary, SeparatorSourceKnowsNoManualFeed) {
  expectTable("setSeparatorSource", "SepSource",
              {{"Tray1", "@PJL SET QSEPARATORSOURCE = TRAY1\n"},
               {"Tray2", "@PJL SET QSEPARATORSOURCE = TRAY2\n"},
               {"Tray3", "@PJL SET QSEPARATORSOURCE = TRAY3\n"},
               {"Tray4", "@PJL SET QSEPARATORSOURCE = TRAY4\n"},
               {"Tray5", "@PJL SET QSEPARATORSOURCE = TRAY5\n"},
               {"MultipurposeFeeder", "@PJL SET QSEPARATORSOURCE = MPFEEDER\n"},
               {"EnvFeeder", "@PJL SET QSEPARATORSOURCE = FEEDER\n"},
               {"EnvDrawr2", "@PJL SET QSEPARATORSOURCE = TRAY2\n"},
               {"EnvDrawr3", "@PJL SET QSEPARATORSOURCE = TRAY3\n"},
               {"EnvDrawr4", "@PJL SET QSEPARATORSOURCE = TRAY4\n"},
               {"ManualPaper", ""},
               {"ManualEnv", ""},
               {"Tray6", ""},
               {"EnvDrawr1", ""},
               {"tray1", ""}});
}

TEST(PjlVocabulary, OffsetKnowsNoPagesAndOneNone) {
  expectTable("setOffsetPage", "Offset",
              {{"Jobs", "@PJL SET JOBOFFSET = BETWEENJOBS\n"},
               {"Copies", "@PJL SET JOBOFFSET = BETWEENCOPIES\n"},
               {"None", "@PJL SET JOBOFFSET = NONE\n"},
               {"NoneF", ""},
               {"Pages", ""},
               {"none", ""}});
}

TEST(PjlVocabulary, BalanceAndImageValuesPassUnchanged) {
  const std::string value = "'-1.50 %d%@<20>\"x\" \x8a<3C>27>'";
  const std::string passed = "-1.50 %d%@ \"x\" \x8a<27>\n";
  expectLines("CyanBalance=" + value, {"setCyan"}, "@PJL SET QCOLORBALANCECYAN = " + passed);
  expectLines("MagentaBalance=" + value, {"setMagenta"},
              "@PJL SET QCOLORBALANCEMAGENTA = " + passed);
  expectLines("YellowBalance=" + value, {"setYellow"}, "@PJL SET QCOLORBALANCEYELLOW = " + passed);
  expectLines("BlackBalance=" + value, {"setBlack"}, "@PJL SET QCOLORBALANCEBLACK = " + passed);
  expectLines("QvnBrightness=" + value, {"setBrightness"}, "@PJL SET QIMAGEBRIGHTNESS = " + passed);
  expectLines("QvnContrast=" + value, {"setContrast"}, "@PJL SET QIMAGECONTRAST = " + passed);
  expectLines("QvnSaturation=" + value, {"setSaturation"}, "@PJL SET QIMAGESATURATION = " + passed);
}

TEST(PjlVocabulary, ColourAndGrayCorrectionSetOneVariable) {
  expectTable("setColorCorrection", "MediaColor",
              {{"Manual", "@PJL SET QCOLORCORRECTION = MANUAL\n"},
               {"FalseM", "@PJL SET QCOLORCORRECTION = OFF\n"},
               {"Auto", "@PJL SET QCOLORCORRECTION = AUTO\n"},
               {"FalseF", ""},
               {"Off", ""},
               {"auto", ""}});
  expectTable("setGrayCorrection", "GrayCorrection",
              {{"FalseM", "@PJL SET QCOLORCORRECTION = OFF\n"},
               {"Auto", "@PJL SET QCOLORCORRECTION = AUTO\n"},
               {"Manual", ""},
               {"FalseF", ""},
               {"auto", ""}});
  expectLines("MediaColor=Auto GrayCorrection=Auto", {"setGrayCorrection", "setColorCorrection"},
              "@PJL SET QCOLORCORRECTION = AUTO\n@PJL SET QCOLORCORRECTION = AUTO\n");
}

TEST(PjlVocabulary, RgbTables) {
  expectTable("setManualRGBImage", "ManualRGBImage",
              {{"Vivid", "@PJL SET QMANUALCOLORRGBIMAGE = VIVID\n"},
               {"sRGBVivid", "@PJL SET QMANUALCOLORRGBIMAGE = SRGBVIVID\n"},
               {"sRGBDisplay", "@PJL SET QMANUALCOLORRGBIMAGE = SRGBDISPLAY\n"},
               {"DisplayRealBlack", "@PJL SET QMANUALCOLORRGBIMAGE = DISPLAYREALBLACK\n"},
               {"Off", "@PJL SET QMANUALCOLORRGBIMAGE = OFF\n"}});
  expectTable("setManualRGBText", "ManualRGBText",
              {{"Vivid", "@PJL SET QMANUALCOLORRGBTEXT = VIVID\n"},
               {"sRGBVivid", "@PJL SET QMANUALCOLORRGBTEXT = SRGBVIVID\n"},
               {"sRGBDisplay", "@PJL SET QMANUALCOLORRGBTEXT = SRGBDISPLAY\n"},
               {"DisplayRealBlack", "@PJL SET QMANUALCOLORRGBTEXT = DISPLAYREALBLACK\n"},
               {"Off", "@PJL SET QMANUALCOLORRGBTEXT = OFF\n"}});
  expectTable("setManualRGBGraphics", "ManualRGBGraphics",
              {{"Vivid", "@PJL SET QMANUALCOLORRGBGRAPHICS = VIVID\n"},
               {"sRGBVivid", "@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBVIVID\n"},
               {"sRGBDisplay", "@PJL SET QMANUALCOLORRGBGRAPHICS = SRGBDISPLAY\n"},
               {"DisplayRealBlack", "@PJL SET QMANUALCOLORRGBGRAPHICS = DISPLAYREALBLACK\n"},
               {"Off", "@PJL SET QMANUALCOLORRGBGRAPHICS = OFF\n"}});
}

TEST(PjlVocabulary, RgbTablesKnowNoOtherSpelling) {
  for (const std::string value :
       {"vivid", "SRGBVivid", "srgbDisplay", "Display", "off", "OFF", "VividCMYK", "FalseM"}) {
    expectLines(
        "ManualRGBImage=" + value + " ManualRGBText=" + value + " ManualRGBGraphics=" + value,
        {"setManualRGBImage", "setManualRGBText", "setManualRGBGraphics"}, "");
  }
}

TEST(PjlVocabulary, CmykTableSetsThreeVariables) {
  expectTable("setManualCMYK", "ManualCMYK",
              {{"VividCMYK",
                "@PJL SET QMANUALCOLORCMYKIMAGE = VIVIDCMYK\n"
                "@PJL SET QMANUALCOLORCMYKTEXT = VIVIDCMYK\n"
                "@PJL SET QMANUALCOLORCMYKGRAPHICS = VIVIDCMYK\n"},
               {"EuroCMYK",
                "@PJL SET QMANUALCOLORCMYKIMAGE = EURO\n"
                "@PJL SET QMANUALCOLORCMYKTEXT = EURO\n"
                "@PJL SET QMANUALCOLORCMYKGRAPHICS = EURO\n"},
               {"USCMYK",
                "@PJL SET QMANUALCOLORCMYKIMAGE = SWOP\n"
                "@PJL SET QMANUALCOLORCMYKTEXT = SWOP\n"
                "@PJL SET QMANUALCOLORCMYKGRAPHICS = SWOP\n"},
               {"Off",
                "@PJL SET QMANUALCOLORCMYKIMAGE = OFF\n"
                "@PJL SET QMANUALCOLORCMYKTEXT = OFF\n"
                "@PJL SET QMANUALCOLORCMYKGRAPHICS = OFF\n"},
               {"Vivid", ""},
               {"vividcmyk", ""},
               {"SWOP", ""},
               {"off", ""}});
}

TEST(PjlVocabulary, TwoStateSettingsTakeTheirOwnLetter) {
  expectTable("setPictureGrade", "PictureGrade",
              {{"TrueM", "@PJL SET QPICTUREGRADE = ON\n"},
               {"FalseM", "@PJL SET QPICTUREGRADE = OFF\n"},
               {"TrueF", ""},
               {"FalseF", ""}});
  expectTable("setColorSaver", "ColorSaver",
              {{"TrueM", "@PJL SET QCOLORSAVER = ON\n"},
               {"FalseM", "@PJL SET QCOLORSAVER = OFF\n"},
               {"TrueF", ""},
               {"FalseF", ""}});
  expectTable("setBlackAndWhite", "BLW",
              {{"TrueM", "@PJL SET QCOLORMODEL = BLACK\n"},
               {"FalseM", "@PJL SET QCOLORMODEL = CMYK\n"},
               {"TrueF", ""},
               {"FalseF", ""}});
  expectTable("setImageSmoothing", "ImageSmoothing",
              {{"TrueF", "@PJL SET QIMAGESMOOTHING = ON\n"},
               {"FalseF", "@PJL SET QIMAGESMOOTHING = OFF\n"},
               {"TrueM", ""},
               {"FalseM", ""}});
  expectTable("setLineDetail", "QvnLineDetail",
              {{"TrueF", "@PJL SET QLINEDETAIL = ON\n"},
               {"FalseF", "@PJL SET QLINEDETAIL = OFF\n"},
               {"TrueM", ""},
               {"FalseM", ""}});
}

TEST(PjlVocabulary, TwoStateSettingsKnowNoOtherSpelling) {
  for (const std::string value : {"true", "false", "True", "False", "truem", "truef", "TRUEM",
                                  "falseM", "falseF", "On", "1"}) {
    expectLines("PictureGrade=" + value + " ColorSaver=" + value + " BLW=" + value +
                    " ImageSmoothing=" + value + " QvnLineDetail=" + value,
                {"setPictureGrade", "setColorSaver", "setBlackAndWhite", "setImageSmoothing",
                 "setLineDetail"},
                "");
  }
}

TEST(PjlVocabulary, AnythingButTrueSwitchesCollationOff) {
  expectLines(kCollate + "true", {"setCollation"}, "@PJL SET QCOLLATION = ON\n");
  for (const std::string value : {"false", "TRUE", "True", "'true '", "yes", "1", "PrinterS", ""}) {
    expectLines(kCollate + value, {"setCollation"}, "@PJL SET QCOLLATION = OFF\n");
  }
  // An option without a value is "true", or "false" if it begins with "no".
  expectLines("com.apple.print.PrintSettings.PMCopyCollate..b.", {"setCollation"},
              "@PJL SET QCOLLATION = ON\n");
  expectLines("nocom.apple.print.PrintSettings.PMCopyCollate..b.", {"setCollation"},
              "@PJL SET QCOLLATION = OFF\n");
}

TEST(PjlVocabulary, Resolutions) {
  expectTable("setResolution", "Resolution",
              {{"300dpi", "@PJL SET RESOLUTION = 300\n"},
               {"600dpi", "@PJL SET RESOLUTION = 600\n"},
               {"1200dpi", "@PJL SET RESOLUTION = 1200\n"},
               {"1200IQ",
                "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 2\n"
                "@PJL SET QSCREENING = IET\n"},
               {"2400IQ",
                "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 4\n"
                "@PJL SET QSCREENING = IET\n"},
               {"4800CQ",
                "@PJL SET RESOLUTION = 600\n"
                "@PJL SET QIMAGEENHANCE = ON\n"
                "@PJL SET QIMAGEENHANCETYPE = 2\n"
                "@PJL SET QSCREENING = IET\n"},
               {"2400dpi", ""},
               {"4800IQ", ""},
               {"2400CQ", ""},
               {"1200iq", ""},
               {"600DPI", ""},
               {"600", ""}});
}

TEST(PjlVocabulary, AccountingLinesAreFilledOneByOne) {
  const Words setter{"addJobAcctgLines"};
  expectLines("JAACCTNUM=a<20>1", setter,
              "@PJL SET QJOBCREDUSERNAME = \"\"\n"
              "@PJL SET QJOBCREDACCOUNTID = \"a 1\"\n"
              "@PJL SET QJOBCREDDEPTID = \"\"\n");
  expectLines("JADEPTNUM='\"50%s\"'", setter,
              "@PJL SET QJOBCREDUSERNAME = \"\"\n"
              "@PJL SET QJOBCREDACCOUNTID = \"\"\n"
              "@PJL SET QJOBCREDDEPTID = \"\"50%s\"\"\n");
  // These three are sent in UTF-8.
  expectLines("JAACCTNUM=\x8a\xdb JADEPTNUM=\xf0", setter,
              "@PJL SET QJOBCREDUSERNAME = \"\"\n"
              "@PJL SET QJOBCREDACCOUNTID = \"\xc3\xa4\xe2\x82\xac\"\n"
              "@PJL SET QJOBCREDDEPTID = \"\xef\xa3\xbf\"\n");
}

// Only the accounting setter writes records of its own, at each call.
TEST(PjlVocabulary, SettersButAccountingLeaveNoRecords) {
  Job job;
  job.log(1);
  Words argv{"pjlLines", "-u", "ada", kEveryOption};
  for (const Call& call : kEverySetter) argv.push_back(call.setter);
  argv.push_back("addJobAcctgLines");
  Process process(PJL_LINES_PROGRAM, argv, {{"TMPDIR", job.tmp()}});
  EXPECT_EQ(process.finish().exitStatus, 0);
  const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
  const std::string init =
      "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t";
  const std::string accounting = "AI######\t[time]\t-[pjlCreation addJobAcctgLines:]\tL#\t";
  const std::size_t begin = log.find(init + "{\n");
  ASSERT_NE(begin, std::string::npos) << log;
  EXPECT_EQ(log.substr(begin), init + "{\n" + accounting + "{\n" + accounting + "}\n" + init +
                                   "}\n" + accounting + "{\n" + accounting + "}\n" + accounting +
                                   "{\n" + accounting + "}\n");
}

}  // namespace
