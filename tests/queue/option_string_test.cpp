// The options that jobshaper-queue adds to a job, and what else the filter gets with them.
#include "queue/option_string.h"

#include "diag/debug_log.h"
#include "platform/text_encoding.h"
#include "queue/header_text.h"
#include "settings/option_names.h"
#include "tests/queue/queue_job.h"

namespace jobshaper::testing {
namespace {

struct Row {
  std::string options;
  std::string completed;  // "+ NAME=VALUE": the options followed by that
  std::string messages = "";
  std::string features = "";  // whose code is replaced: "NAME CHOICE: CODE"
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// "PMCopies" and "PMCopyCollate" stand for the long names of macOS.
std::string inFull(const std::string& text) {
  const std::string copies = "com.apple.print.PrintSettings.PMCopies..n.=";
  const std::string collate = "com.apple.print.PrintSettings.PMCopyCollate..b.=";
  return replaced(replaced(text, "PMCopies=", copies), "PMCopyCollate=", collate);
}

void expectOptions(const std::vector<Row>& rows, const std::string& ppd = "",
                   const std::string& copies = "", Where where = Where::here()) {
  for (const auto& [options, completed, messages, features] : rows) {
    std::string expected = completed;
    if (completed.starts_with('+')) expected.replace(0, options.empty() ? 2 : 1, options);
    const Completion job = complete({inFull(options), ppd, copies});
    expectSame(job.options, inFull(expected), "the result", options, where);
    expectSame(job.messages, inFull(messages), "the messages", options, where);
    std::string found;
    for (const auto& [feature, code] : job.additions.replacedFeatures) {
      found += feature + ": " + code;
    }
    expectSame(found, features, "the features", options, where);
  }
}

// ---- copies and collation

TEST(Copies, ComeFromTheirArgumentUnlessTheJobHasTheirNumber) {
  const auto notCopies = [](const std::string& value, const std::string& instead) {
    return "\nWARNING: PMCopies=" + value + " is not a number of copies; " + outcome(instead) +
           ". lp -n sets it.\n";
  };
  expectOptions(
      {{"", "+ PMCopies=12"},
       {"copies=7", "+ PMCopies=12"},
       {"PMCopies=5", "+"},
       {"PMCopies=1\\ >>\\ setuserparams", "+ PMCopies=12", notCopies("1 >> setuserparams", "12")},
       // Also in a string that nothing can be appended to.
       {"PMCopies=x z={b", "PMCopies=12 z=\\{b", kDefaultsNotUsed + notCopies("x", "12")}},
      "", "12");
  for (const char* copies : {"x", "-1", "1\n"}) {
    expectOptions({{"media=A4", "+"}, {"a=1 PMCopies=x", "a=1", notCopies("x", "")}}, "", copies);
  }
}

// The filters of CUPS ignore a request for uncollated copies.
TEST(Collation, ComesFromTheJobOrThePpd) {
  const std::string handling = "multiple-document-handling=";
  expectOptions({{"", "+"},
                 {"collate", "+ PMCopyCollate=true"},
                 {"collate=maybe", "+ PMCopyCollate=false"},
                 {"collate PMCopyCollate=false", "+"},
                 {handling + "single-document", "+ PMCopyCollate=true"},
                 {"nocollate " + handling + "single-document", "+ PMCopyCollate=false"}});
  const std::string restored = "Collate True: two\n";
  expectOptions(
      {{"", "+ PMCopyCollate=true"},
       {"Collate=True", "+ PMCopyCollate=true"},
       {"collate=false", "+ PMCopyCollate=false", "", restored},
       {handling + "separate-documents-uncollated-copies", "+ PMCopyCollate=false", "", restored}},
      "Collate: *True{one} False{two}");
}

// ---- choices of the PPD file

const std::string kFolds = "QVBookletFold: false Booklet *BiFold SaddleStitch PrinterS";

TEST(PpdDefaults, AreAddedIfTheJobHasNoValue) {
  expectOptions({{"media=A4", "+ PMCopyCollate=true QVBookletFold=BiFold"},
                 {"QVBookletFold=Booklet", "+ PMCopyCollate=true"},
                 {"QVBookletFold=false", "+"},
                 {"noQVBookletFold", "+"},
                 {"QVBookletFold=PrinterS", "+"}},
                kFolds);
  // Those of switches as CUPS writes them, and none of options that the filter does not read.
  expectOptions({{"", "+ QVInsideFrontCover=true QvnBlankPage=false"}},
                "QVInsideFrontCover: *True False\nQvnBlankPage: True *False\n"
                "Duplex: None *DuplexTumble\nQVFoldX: A *B");
}

// It would collate the copies of jobs that ask for the opposite.
TEST(PrintNow, IsNotPassedToTheFilter) {
  expectOptions({{"", "+"},
                 {"PrintTo=JRPrinter", ""},
                 {"PrintTo=JRSoon a=1", "a=1", notAChoice("PrintTo=JRSoon", "JRPrinter")}},
                "PrintTo: *JRPrinter JRVerify");
  expectOptions({{"", "+ QvnBlankPage=JRPrinter"}}, "QvnBlankPage: *JRPrinter false");
}

TEST(MarkedChoices, ComeFromWhatTheJobAsksUnderOtherNames) {
  expectOptions({{"finishings=10", "+ PMCopyCollate=true QVBookletFold=BiFold"},
                 {"finishings=3", "+ QVBookletFold=false"}},
                "QVBookletFold: *false BiFold\n"
                "*cupsIPPFinishings 10/fold: \"*QVBookletFold BiFold\"");
}

TEST(MarkedChoices, AreThoseOfEveryOptionThatTheFilterReads) {
  std::string ppd;
  argumentStore::Options expected = {{"com.apple.print.PrintSettings.PMCopyCollate..b.", "true"}};
  for (const std::string_view name : kFilterOptions) {
    // A PIN that everyone knows is useless.
    if (name == "JRHOLDKEY" || name.starts_with("com.apple.")) continue;
    ppd += std::string(name) + ": One *Two\n";
    expected[std::string(name)] = "Two";
  }
  EXPECT_EQ(complete({"", ppd}).values, expected);
}

TEST(Choice, IsSpelledAsInThePpdOrReplacedByTheDefault) {
  const std::string fold = "PMCopyCollate=true QVBookletFold=SaddleStitch";
  const std::string added = "+ PMCopyCollate=true QVBookletFold=BiFold";
  expectOptions({{"QVBookletFold=saddlestitch", "+ " + fold},
                 {"a=1 qvbookletfold=SADDLESTITCH b=2", "a=1 b=2 " + fold},
                 {"QVBookletFold=", added, notAChoice("QVBookletFold=", "BiFold")},
                 {"QVBookletFold=<42>ook", added, notAChoice("QVBookletFold=<42>ook", "BiFold")},
                 // It cannot add a line to the log.
                 {"QVBookletFold=a\\\nERROR:\\ \\\"b", added,
                  notAChoice("QVBookletFold=a ERROR: 'b", "BiFold")},
                 // The PPD file does not have this option.
                 {"Color=Red QvnBlankPage=Maybe", added}},
                kFolds);
  expectOptions({{"QVBookletFold=TriFold", "+"}});
}

// ---- equipment

TEST(Equipment, ThatIsMissingMakesAFoldAPlainBookletAndLeavesOtherDefaults) {
  const std::string ppd =
      "QVBookletFold: *false Booklet BiFold{code}\nQVBookletCoverSource: *PrinterS Tray1 Tray5\n"
      "OptionFinisher: *True False\nOptionDuplexer: *True False\n"
      "*UIConstraints: *OptionFinisher False *QVBookletFold BiFold\n"
      "*UIConstraints: *OptionFinisher False *QVBookletCoverSource Tray5\n"
      "*UIConstraints: *QVBookletCoverSource Tray1 *QVBookletFold BiFold\n"
      "*UIConstraints: *OptionDuplexer False *QVBookletFold";
  const std::string fold = "QVBookletFold=BiFold";
  const std::string tray = "QVBookletCoverSource=Tray5";
  const std::string source = "QVBookletCoverSource=PrinterS";
  const std::string missing = "OptionFinisher=False";
  expectOptions(
      {{fold, "+ PMCopyCollate=true " + source},
       {fold + " " + missing, "+ PMCopyCollate=true " + source + " QVBookletFold=Booklet",
        notInstalled(fold, missing, "Booklet")},
       {tray + " " + missing, "+ " + source + " QVBookletFold=false",
        notInstalled(tray, missing, "PrinterS")},
       {"QVBookletFold=Booklet OptionDuplexer=False", "+ " + source + " QVBookletFold=false",
        notInstalled("QVBookletFold=Booklet", "OptionDuplexer=False", "false")}},
      ppd);
  // For the default, too.
  expectOptions({{missing, "+ QVBookletFold=false", notInstalled(tray, missing)}},
                replaced(ppd, "*PrinterS Tray1 Tray5", "PrinterS Tray1 *Tray5"));
}

// ---- settings

// The log names its directory once per process. Marks that as done.
[[maybe_unused]] const bool kLogIsSilent = logDoneSetup = true;

struct SettingRow {
  std::string options;
  std::string variables;  // that end the header, before the switch to PostScript
  std::string messages = "";
};

void expectSettings(const std::string& ppd, const std::vector<SettingRow>& rows,
                    Where where = Where::here()) {
  for (const auto& [options, variables, messages] : rows) {
    const Completion job = complete({options, ppd});
    argumentStore store;
    store.initWithOptionString(job.options.c_str());
    pjlCreation header;
    header.initFromArgsStore(store, "ada", "", job.additions.settings);
    std::string lines;
    for (const std::string& line : header.objectEnumerator()) lines += line;
    std::string expected = "USERNAME = \"ada\"\n";
    lines.erase(0, lines.find(expected));
    if (!variables.empty()) {
      expected += "@PJL SET " + replaced(variables, ", ", "\n@PJL SET ") + "\n";
    }
    expectSame(lines, expected + "@PJL ENTER LANGUAGE = POSTSCRIPT\n", "header", options, where);
    expectSame(job.messages, messages, "messages", options, where);
  }
}

TEST(Setting, IsSentForAChoiceOfTheJobOrTheDefault) {
  expectSettings(
      "OutputBin: PrinterS Bin1 *Bin2\nCyanBalance: *PrinterS -5 0",
      {{"", "OUTBIN = OPTIONALOUTBIN2"},
       {"OutputBin=bin1 CyanBalance=-5", "OUTBIN = OPTIONALOUTBIN1, QCOLORBALANCECYAN = -5"},
       {"OutputBin=PrinterS CyanBalance=9\\\n@PJL", "",
        notAChoice("CyanBalance=9 @PJL", "PrinterS")},
       {"TonerDarkness=7 Resolution=1200IQ OutputBin=PrinterS", ""}});  // not in the PPD file
}

TEST(Setting, OfThePrinterItselfIsCalledAutoWhereIppDoes) {
  expectSettings("OutputBin: *Auto Bin1\nInputSlot: *Auto\nMediaType: *Auto\nMediaColor: *Auto",
                 {{"", "QCOLORCORRECTION = AUTO"}});
}

TEST(Setting, OfColorFollowsTheColorModel) {
  const std::string color = "QCOLORMODEL = CMYK";
  const std::string gray = "QCOLORMODEL = BLACK";
  expectSettings("ColorModel: *CMYK Gray",
                 {{"", color},
                  {"ColorModel=gray", gray},
                  {"BLW=TrueM", gray},
                  {"ColorModel=Gray BLW=PrinterS", ""},
                  {"ColorModel=RGB", color, notAChoice("ColorModel=RGB", "CMYK")}});
  expectSettings("ColorModel: CMYK *Gray", {{"", gray},
                                            {"print-color-mode=color", color},
                                            {"print-color-mode=auto", gray},
                                            {"print-color-mode=color ColorModel=Gray", gray}});
  expectSettings("PrintTo: *JRPrinter", {{"BLW=TrueM", ""}});
}

TEST(Setting, WithCodeOrWithoutItsEquipmentIsNotSent) {
  expectSettings(
      "SepPages: *PrinterS None Jobs{code}\n"
      "OutputBin: *PrinterS FinisherBin1\nOptionFinisher: True *False\n"
      "*UIConstraints: *OptionFinisher False *OutputBin FinisherBin1",
      {{"SepPages=None", "QSEPARATORSHEETS = NONE"},
       {"SepPages=Jobs", ""},
       {"OutputBin=FinisherBin1", "",
        notInstalled("OutputBin=FinisherBin1", "OptionFinisher=False", "PrinterS")}});
}

TEST(Setting, OfImageQualityIsAnOptionOfItsOwn) {
  expectSettings("QvnImageQuality: *PrinterS 1200IQ 2400IQ\nResolution: 1200dpi *600dpi{code}",
                 {{"Resolution=600dpi QvnImageQuality=2400IQ",
                   "RESOLUTION = 600, QIMAGEENHANCE = ON, QIMAGEENHANCETYPE = 4, QSCREENING = IET"},
                  {"Resolution=600dpi", ""}});
}

TEST(Setting, ComesInTheOrderOfTheHeader) {
  std::istringstream choices(
      "MediaType=Plain InputSlot=Tray1 OutputBin=Bin1 TonerDarkness=6 PictureGrade=TrueM "
      "SepPages=Jobs SepSource=Tray1 Offset=Jobs CyanBalance=1 MagentaBalance=2 YellowBalance=3 "
      "BlackBalance=4 MediaColor=Auto GrayCorrection=FalseM ManualRGBImage=Off ManualRGBText=Off "
      "ManualRGBGraphics=Off ManualCMYK=Off ColorSaver=TrueM BLW=TrueM QvnBrightness=5 "
      "QvnContrast=-1 QvnSaturation=-2 ImageSmoothing=TrueF QvnLineDetail=TrueF Resolution=300dpi");
  std::string ppd;  // with the options in the other order
  for (std::string choice; choices >> choice;) {
    ppd = choice.replace(choice.find('='), 1, ": *") + "\n" + ppd;
  }
  expectSettings(
      ppd,
      {{"",
        "MEDIATYPE = \"PLAIN\", QPAPERSOURCE = TRAY1, OUTBIN = OPTIONALOUTBIN1, DENSITY = 1, "
        "QPICTUREGRADE = ON, QSEPARATORSHEETS = BETWEENJOBS, QSEPARATORSOURCE = TRAY1, "
        "JOBOFFSET = BETWEENJOBS, QCOLORBALANCECYAN = 1, QCOLORBALANCEMAGENTA = 2, "
        "QCOLORBALANCEYELLOW = 3, QCOLORBALANCEBLACK = 4, QCOLORCORRECTION = AUTO, "
        "QCOLORCORRECTION = OFF, QMANUALCOLORRGBIMAGE = OFF, QMANUALCOLORRGBTEXT = OFF, "
        "QMANUALCOLORRGBGRAPHICS = OFF, QMANUALCOLORCMYKIMAGE = OFF, QMANUALCOLORCMYKTEXT = OFF, "
        "QMANUALCOLORCMYKGRAPHICS = OFF, QCOLORSAVER = ON, QCOLORMODEL = BLACK, "
        "QIMAGEBRIGHTNESS = 5, QIMAGECONTRAST = -1, QIMAGESATURATION = -2, QIMAGESMOOTHING = ON, "
        "QLINEDETAIL = ON, RESOLUTION = 300"}});
}

// ---- texts for the header

TEST(HeaderText, HasNeitherQuotesNorControlCharacters) {
  EXPECT_EQ(headerText("a\"b'c\\ <20> \xC3\xAB \xE6\xBC\xA2"),
            "a'b'c\\ <20> \xC3\xAB \xE6\xBC\xA2");
  EXPECT_EQ(headerText("\xC2\x80 \xC2\x9F \xC2\xA0 \xC2"), "    \xC2\xA0 \xC2");
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(headerText(text), byte == '"' ? "'" : byte < 0x20 || byte == 0x7F ? " " : text);
  }
}

TEST(HeaderText, IsMadeOfEveryTextOfAUser) {
  for (const std::string name : {"JRUSERNAME", "JAUSERID", "JAACCTNUM", "JADEPTNUM"}) {
    const std::string evil = name + "=x\\\"\\\n@PJL\\ SET";
    const std::string clean = name + "=x\\'\\ @PJL\\ SET";
    // Also if libcups parses the string, but nothing can be appended to it.
    expectOptions({{evil, "+ " + clean}, {evil + " z={b", clean + " z=\\{b", kDefaultsNotUsed}});
  }
  expectOptions({{"job-name=a\\\"b Color='\"'", "+"}});
}

// Users find the jobs that the printer keeps by their names at its panel.
TEST(JobName, IsTheTitleOfAJobThatThePrinterKeeps) {
  const std::string ppd = "PrintTo: JRPrinter *JRVerify JRConf";
  for (const char* options : {"", "PrintTo=jrconf JRHOLDKEY=1234", "job-password=1234"}) {
    EXPECT_EQ(complete({options, ppd}).additions.jobName, "The 'first' draft ") << options;
  }
  for (const Request& request : {Request{"PrintTo=JRPrinter", ppd}, {"PrintTo=JRPrinter"}, {""}}) {
    EXPECT_EQ(complete(request).additions.jobName, "") << request.options;
  }
}

// ---- features in the job

// CUPS inserts the code of the default for "1200x1200dpi", and marks 1200dpi itself otherwise.
TEST(ResolutionOfIpp, ReplacesTheCodeOfTheDefault) {
  const std::string two = "Resolution 600dpi: two\n";
  expectOptions({{"printer-resolution=1200x1200dpi", "+ Resolution=1200dpi", "", two},
                 {"Resolution=1200x1200dpi", "+ Resolution=1200dpi", "", two},
                 {"Resolution=1200dpi", "+", "", two},
                 {"Resolution=600dpi printer-resolution=1200x1200dpi", "+"},
                 {"", "+"},
                 {"printer-resolution=1200x600dpi", "+"},
                 {"printer-resolution=1200x1200dpcm", "+"}},
                "Resolution: *600dpi{one} 1200dpi{two}");
}

// CUPS adds a blank page to two-sided collated copies with an odd number of pages.
TEST(Pages, AreCountedInSheetsWhereCupsWouldAddABlankPage) {
  const std::string ppd = "Duplex: *None DuplexTumble DuplexNoTumble\nCollate: True *False";
  for (const char* options :
       {"Duplex=DuplexTumble Collate=True", "sides=two-sided-long-edge collate=true"}) {
    EXPECT_TRUE(complete({options, ppd}).additions.wholeSheets) << options;
    EXPECT_FALSE(complete({options}).additions.wholeSheets) << options;
  }
  for (const char* options : {"Duplex=DuplexTumble", "Collate=True", "a=\"b"}) {
    EXPECT_FALSE(complete({options, ppd}).additions.wholeSheets) << options;
    EXPECT_TRUE(complete({options, ppd}).additions.countPages) << options;
  }
}

// ---- accounting

TEST(Accounting, ComesFromIppAttributesInMacOsRomanIfThatCanExpressIt) {
  expectOptions({{"job-account-id=12\\ a job-accounting-user-id=Zo\xC3\xAB",
                  "+ JAACCTNUM=12\\ a JAUSERID=Zo\x91"},
                 {"job-account-id=a\\\"b", "+ JAACCTNUM=a\\'b"},
                 {"job-account-id=1 job-accounting-user-id=2 JAACCTNUM=3 jauserid=4", "+"},
                 {"JAUSERID=Zo\xC3\xAB JAACCTNUM=\xE2\x82\xAC\\ 5 JADEPTNUM=\xC3\x9F",
                  "+ JAACCTNUM=\xDB\\ 5 JADEPTNUM=\xA7 JAUSERID=Zo\x91"}});
  for (const std::string value : {"ada", "", "12\\ 3", "Zo\x91", "\xC3", "\xC3\xA9\xD0\x9E"}) {
    expectOptions({{"JAUSERID=" + value, "+"}});
  }
}

TEST(Accounting, ReachesTheFilterWithEveryByte) {
  std::vector<std::string> values = {"\xDF", ""};
  for (int byte = 1; byte < 256; ++byte) values[1] += static_cast<char>(byte);
  // At the start and at the end, where they could open or end a value.
  for (const char* special : {"{", "}", "'", "\"", "\\", " ", "\n", "\xDF y}"}) {
    values.push_back(std::string(special) + "\xDF" + special);
  }
  for (const std::string& value : values) {
    std::string options = "a=1 JADEPTNUM=";
    for (const char c : utf8FromMacRoman(value)) options.append({'\\', c});
    const OptionList list(complete({options + " JAUSERID=\xC3\xA9 b"}).options.c_str());
    EXPECT_EQ(list.find("JADEPTNUM"_option), headerText(value));
    EXPECT_STREQ(list.find("JAUSERID"_option), "\x8E") << value;
  }
}

// ---- hostile strings

const std::string kBlankPage = "QvnBlankPage: *true false";

TEST(OptionString, KeepsEveryValue) {
  for (const std::string options : {
           "JRUSERNAME=a\\ b c=\"d e\" f='g \\' h' i=\\\\ j={k l}",
           "a=<20><27><3D><2C><3C><3E> b=<2",
           "media=\xC3\xA9\xFF job-name=%s%n",
           "a=1,2,3 b={c=1 d=2} e=",
           "noa",
       }) {
    expectOptions({{options, "+ QvnBlankPage=true"}}, kBlankPage);
    argumentStore store;
    store.initWithOptionString(options.c_str());
    argumentStore::Options expected = store.keyEnumerator();
    expected["QvnBlankPage"] = "true";
    EXPECT_EQ(complete({options, kBlankPage}).values, expected);
  }
}

TEST(OptionString, ThatDoesNotEndStaysAsItIs) {
  for (const char* options :
       {"a=\"b", "a='b", "a=\\", "a={b", "{a=1 b=2}", "=1", "Resolution=6x6dpi a={b"}) {
    expectOptions({{options, "+", kDefaultsNotUsed}}, kBlankPage);
  }
}

}  // namespace
}  // namespace jobshaper::testing
