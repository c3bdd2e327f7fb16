// The options that jobshaper-queue adds to a job, and what else the filter gets with them.
#include "queue/option_string.h"

#include <optional>

#include "diag/debug_log.h"
#include "platform/text_encoding.h"
#include "queue/header_text.h"
#include "settings/option_names.h"
#include "tests/queue/queue_job.h"

namespace jobshaper::testing {
namespace {

const std::string kCopies = "com.apple.print.PrintSettings.PMCopies..n.=";
const std::string kCollated = "com.apple.print.PrintSettings.PMCopyCollate..b.=true";
const std::string kUncollated = "com.apple.print.PrintSettings.PMCopyCollate..b.=false";
const std::string kFoldPpd =
    ppdWith(ppdOption("QVBookletFold", "false Booklet BiFold SaddleStitch PrinterS", "BiFold"));

const std::string kBlankPpd = ppdWith(ppdOption("QvnBlankPage", "true false", "true"));

// An option with these choices, of which the last comes with code.
std::string ppdOptionWithCode(std::string_view name, std::string_view choices,
                              std::string_view defaultChoice) {
  std::string text = ppdOption(name, choices, defaultChoice);
  const std::size_t last = text.rfind(": \"\"\n");
  return text.replace(last, 5, ": \"<</Some true>>setpagedevice\"\n");
}

struct Row {
  std::string options;
  std::string completed;  // "+ NAME=VALUE": the options followed by that
  std::string messages = "";
};

void expectOptions(const std::vector<Row>& rows, const std::string& ppd = "",
                   const std::string& copies = "", Where where = Where::here()) {
  for (const auto& [options, completed, messages] : rows) {
    std::string expected = completed;
    if (completed.starts_with('+')) expected.replace(0, options.empty() ? 2 : 1, options);
    const Completion job = complete({options, ppd, copies});
    expectSame(job.options, expected, "the result", options, where);
    expectSame(job.messages, messages, "the messages", options, where);
  }
}

// ---- copies and collation

TEST(Copies, ComeFromTheirArgumentUnlessTheJobHasTheirNumber) {
  const auto notCopies = [](const std::string& value, const std::string& outcome) {
    return "\nWARNING: " + kCopies + value + " is not a number of copies; " + outcome +
           ". lp -n sets it.\n";
  };
  const std::string instead = "12 is used instead";
  expectOptions({{"", "+ " + kCopies + "12"},
                 {"copies=7", "+ " + kCopies + "12"},
                 {kCopies + "5", "+"},
                 {kCopies + "1\\ >>\\ setuserparams", "+ " + kCopies + "12",
                  notCopies("1 >> setuserparams", instead)}},
                "", "12");
  // Also in a string that nothing can be appended to.
  const Completion open = complete({kCopies + "x z={b", "", "12"});
  EXPECT_EQ(open.values.at("com.apple.print.PrintSettings.PMCopies..n."), "12");
  EXPECT_TRUE(open.messages.ends_with(notCopies("x", instead))) << open.messages;
  for (const char* copies : {"x", "-1", "1\n"}) {
    expectOptions(
        {{"media=A4", "+"}, {"a=1 " + kCopies + "x", "a=1", notCopies("x", "it is ignored")}}, "",
        copies);
  }
}

TEST(Collation, ComesFromTheJobOrThePpd) {
  const std::string handling = "multiple-document-handling=";
  expectOptions({{"", "+"},
                 {"collate", "+ " + kCollated},
                 {"Collate=True", "+ " + kCollated},
                 {"nocollate", "+ " + kUncollated},
                 {"collate=maybe", "+ " + kUncollated},
                 {"collate " + kUncollated, "+"},
                 {handling + "single-document", "+ " + kCollated},
                 {handling + "separate-documents-uncollated-copies", "+ " + kUncollated},
                 {"nocollate " + handling + "single-document", "+ " + kUncollated}});
  expectOptions({{"", "+ " + kCollated}, {"nocollate", "+ " + kUncollated}},
                ppdWith(ppdOption("Collate", "True False", "True")));
}

// ---- choices of the PPD file

TEST(PpdDefaults, AreAddedIfTheJobHasNoValue) {
  expectOptions({{"media=A4", "+ " + kCollated + " QVBookletFold=BiFold"},
                 {"QVBookletFold=Booklet", "+ " + kCollated},
                 {"QVBookletFold=false", "+"},
                 {"noQVBookletFold", "+"},
                 {"QVBookletFold=PrinterS", "+"}},
                kFoldPpd);
  // Those of switches as CUPS writes them, and none of options that the filter does not read.
  expectOptions({{"", "+ QVInsideFrontCover=true QvnBlankPage=false"}},
                ppdWith(ppdOption("QVInsideFrontCover", "True False", "True") +
                        ppdOption("QvnBlankPage", "True False", "False") +
                        ppdOption("Duplex", "None DuplexTumble", "DuplexTumble") +
                        ppdOption("QVFoldX", "A B", "B")));
}

// It would collate the copies of jobs that ask for the opposite.
TEST(PrintNow, IsNotPassedToTheFilter) {
  const std::string instead = notAChoice("PrintTo=JRSoon", "JRPrinter is used instead");
  expectOptions({{"", "+"}, {"PrintTo=JRPrinter", ""}, {"PrintTo=JRSoon a=1", "a=1", instead}},
                ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRPrinter")));
  expectOptions({{"", "+ QvnBlankPage=JRPrinter"}},
                ppdWith(ppdOption("QvnBlankPage", "JRPrinter false", "JRPrinter")));
}

TEST(MarkedChoices, ComeFromWhatTheJobAsksUnderOtherNames) {
  expectOptions({{"finishings=10", "+ " + kCollated + " QVBookletFold=BiFold"},
                 {"finishings=3", "+ QVBookletFold=false"}},
                ppdWith(ppdOption("QVBookletFold", "false BiFold", "false") +
                        "*cupsIPPFinishings 10/fold: \"*QVBookletFold BiFold\"\n"));
}

TEST(MarkedChoices, AreThoseOfEveryOptionThatTheFilterReads) {
  std::string text;
  argumentStore::Options expected = {{"com.apple.print.PrintSettings.PMCopyCollate..b.", "true"}};
  for (const std::string_view name : kFilterOptions) {
    // A PIN that everyone knows is useless.
    if (name == "JRHOLDKEY" || name.starts_with("com.apple.")) continue;
    text += ppdOption(name, "One Two", "Two");
    expected[std::string(name)] = "Two";
  }
  EXPECT_EQ(complete({"", ppdWith(text)}).values, expected);
}

TEST(Choice, IsSpelledAsInThePpd) {
  const std::string fold = kCollated + " QVBookletFold=SaddleStitch";
  expectOptions({{"QVBookletFold=saddlestitch", "+ " + fold},
                 {"a=1 qvbookletfold=SADDLESTITCH b=2", "a=1 b=2 " + fold}},
                kFoldPpd);
}

TEST(Choice, ThatThePpdLacksIsReplacedByTheDefault) {
  const std::string added = "+ " + kCollated + " QVBookletFold=BiFold";
  const auto warning = [](const std::string& shown) {
    return notAChoice("QVBookletFold=" + shown, "BiFold is used instead");
  };
  expectOptions({{"QVBookletFold=TriFold", added, warning("TriFold")},
                 {"QVBookletFold=", added, warning("")},
                 {"QVBookletFold=<42>ooklet", added, warning("<42>ooklet")},
                 // It cannot add a line to the log.
                 {"QVBookletFold=a\\\nERROR:\\ \\\"b", added, warning("a ERROR: 'b")},
                 // The PPD file does not have this option.
                 {"Color=Red QvnBlankPage=Maybe", added}},
                kFoldPpd);
  expectOptions({{"QVBookletFold=TriFold", "+"}});
}

// ---- equipment

std::string ppdWithFinisher(const std::string& finisher, const std::string& coverSource) {
  return ppdWith(ppdOptionWithCode("QVBookletFold", "false Booklet BiFold", "false") +
                 ppdOption("QVBookletCoverSource", "PrinterS Tray1 Tray5", coverSource) +
                 ppdEquipment(ppdOption("OptionFinisher", "True False", finisher) +
                              ppdOption("OptionDuplexer", "True False", "True")) +
                 "*UIConstraints: *OptionFinisher False *QVBookletFold BiFold\n"
                 "*UIConstraints: *OptionFinisher False *QVBookletCoverSource Tray5\n"
                 "*UIConstraints: *QVBookletCoverSource Tray1 *QVBookletFold BiFold\n"
                 "*UIConstraints: *OptionDuplexer False *QVBookletFold\n");
}

TEST(Equipment, ThatIsMissingMakesAFoldAPlainBookletAndLeavesOtherDefaults) {
  const std::string fold = "QVBookletFold=BiFold";
  const std::string tray = "QVBookletCoverSource=Tray5";
  const std::string source = "QVBookletCoverSource=PrinterS";
  const std::string missing = "OptionFinisher=False";
  const std::string instead = notInstalled(fold, missing, "Booklet is used instead");
  const std::string booklet = "+ " + kCollated + " " + source + " QVBookletFold=Booklet";
  expectOptions({{fold, "+ " + kCollated + " " + source}, {fold + " " + missing, booklet, instead}},
                ppdWithFinisher("True", "PrinterS"));
  expectOptions(
      {{fold, booklet, instead},
       {tray, "+ " + source + " QVBookletFold=false",
        notInstalled(tray, missing, "PrinterS is used instead")},
       {"QVBookletFold=Booklet OptionDuplexer=False", "+ " + source + " QVBookletFold=false",
        notInstalled("QVBookletFold=Booklet", "OptionDuplexer=False", "false is used instead")}},
      ppdWithFinisher("False", "PrinterS"));
  // For the default, too.
  expectOptions({{"", "+ QVBookletFold=false", notInstalled(tray, missing, "it is ignored")}},
                ppdWithFinisher("False", "Tray5"));
}

// ---- settings

struct SettingRow {
  std::string options;
  std::vector<std::string> variables;  // "DENSITY = 3"
  std::string messages = "";
};

// The log names its directory once per process. Marks that as done.
[[maybe_unused]] const bool kLogIsSilent = logDoneSetup = true;

// Checks which lines end the header, before the switch to PostScript.
void expectSettings(const std::string& ppdOptions, const std::vector<SettingRow>& rows,
                    Where where = Where::here()) {
  for (const auto& [options, variables, messages] : rows) {
    const Completion job = complete({options, ppdWith(ppdOptions)});
    argumentStore store;
    store.initWithOptionString(job.options.c_str());
    pjlCreation header;
    header.initFromArgsStore(store, "ada", "", job.additions.settings);
    std::string lines;
    for (const std::string& line : header.objectEnumerator()) lines += line;
    std::string expected;
    for (const std::string& variable : variables) expected += "@PJL SET " + variable + "\n";
    expected += "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
    const std::string before = "USERNAME = \"ada\"\n";
    expectSame(lines.substr(lines.find(before) + before.size()), expected, "header", options,
               where);
    expectSame(job.messages, messages, "messages", options, where);
  }
}

TEST(Setting, IsSentForAChoiceOfTheJobOrTheDefault) {
  expectSettings(
      ppdOption("OutputBin", "PrinterS Bin1 Bin2", "Bin2") +
          ppdOption("CyanBalance", "PrinterS -5 0", "PrinterS"),
      {{"", {"OUTBIN = OPTIONALOUTBIN2"}},
       {"OutputBin=bin1 CyanBalance=-5", {"OUTBIN = OPTIONALOUTBIN1", "QCOLORBALANCECYAN = -5"}},
       {"OutputBin=PrinterS", {}},
       {"OutputBin=PrinterS CyanBalance=9\\\n@PJL",
        {},
        notAChoice("CyanBalance=9 @PJL", "PrinterS is used instead")},
       {"TonerDarkness=7 Resolution=1200IQ OutputBin=PrinterS", {}}});  // not in the PPD file
}

TEST(Setting, OfThePrinterItselfIsCalledAutoWhereIppDoes) {
  expectSettings(
      ppdOption("OutputBin", "Auto Bin1", "Auto") + ppdOption("InputSlot", "Auto", "Auto") +
          ppdOption("MediaType", "Auto", "Auto") + ppdOption("MediaColor", "Auto", "Auto"),
      {{"", {"QCOLORCORRECTION = AUTO"}}});
}

TEST(Setting, OfColorFollowsTheColorModel) {
  const std::string color = "QCOLORMODEL = CMYK";
  const std::string gray = "QCOLORMODEL = BLACK";
  expectSettings(
      ppdOption("ColorModel", "CMYK Gray", "CMYK"),
      {{"", {color}},
       {"ColorModel=gray", {gray}},
       {"BLW=TrueM", {gray}},
       {"ColorModel=Gray BLW=PrinterS", {}},
       {"ColorModel=RGB", {color}, notAChoice("ColorModel=RGB", "CMYK is used instead")}});
  expectSettings(ppdOption("ColorModel", "CMYK Gray", "Gray"),
                 {{"", {gray}},
                  {"print-color-mode=color", {color}},
                  {"print-color-mode=auto", {gray}},
                  {"print-color-mode=color ColorModel=Gray", {gray}}});
  expectSettings("", {{"BLW=TrueM", {}}});
}

TEST(Setting, ThatThePpdHasCodeForIsNotSent) {
  expectSettings(ppdOptionWithCode("SepPages", "PrinterS None Jobs", "PrinterS"),
                 {{"SepPages=Jobs", {}}, {"SepPages=None", {"QSEPARATORSHEETS = NONE"}}});
}

TEST(Setting, WithoutItsEquipmentIsNotSent) {
  expectSettings(
      ppdOption("OutputBin", "PrinterS FinisherBin1", "FinisherBin1") +
          ppdEquipment(ppdOption("OptionFinisher", "True False", "False")) +
          "*UIConstraints: *OptionFinisher False *OutputBin FinisherBin1\n",
      {{"", {}, notInstalled("OutputBin=FinisherBin1", "OptionFinisher=False", "it is ignored")}});
}

TEST(Setting, OfImageQualityIsAnOptionOfItsOwn) {
  expectSettings(
      ppdOption("QvnImageQuality", "PrinterS 1200IQ 2400IQ", "PrinterS") +
          ppdOptionWithCode("Resolution", "1200dpi 600dpi", "600dpi"),
      {{"Resolution=600dpi QvnImageQuality=2400IQ",
        {"RESOLUTION = 600", "QIMAGEENHANCE = ON", "QIMAGEENHANCETYPE = 4", "QSCREENING = IET"}},
       {"Resolution=600dpi", {}}});
}

TEST(Setting, ComesInTheOrderOfTheHeader) {
  struct OneSetting {
    const char* option;
    const char* choice;
    std::vector<std::string> variables;
  };
  const OneSetting rows[] = {
      {"MediaType", "Plain", {"MEDIATYPE = \"PLAIN\""}},
      {"InputSlot", "Tray1", {"QPAPERSOURCE = TRAY1"}},
      {"OutputBin", "Bin1", {"OUTBIN = OPTIONALOUTBIN1"}},
      {"TonerDarkness", "6", {"DENSITY = 1"}},
      {"PictureGrade", "TrueM", {"QPICTUREGRADE = ON"}},
      {"SepPages", "Jobs", {"QSEPARATORSHEETS = BETWEENJOBS"}},
      {"SepSource", "Tray1", {"QSEPARATORSOURCE = TRAY1"}},
      {"Offset", "Jobs", {"JOBOFFSET = BETWEENJOBS"}},
      {"CyanBalance", "1", {"QCOLORBALANCECYAN = 1"}},
      {"MagentaBalance", "2", {"QCOLORBALANCEMAGENTA = 2"}},
      {"YellowBalance", "3", {"QCOLORBALANCEYELLOW = 3"}},
      {"BlackBalance", "4", {"QCOLORBALANCEBLACK = 4"}},
      {"MediaColor", "Auto", {"QCOLORCORRECTION = AUTO"}},
      {"GrayCorrection", "FalseM", {"QCOLORCORRECTION = OFF"}},
      {"ManualRGBImage", "Off", {"QMANUALCOLORRGBIMAGE = OFF"}},
      {"ManualRGBText", "Off", {"QMANUALCOLORRGBTEXT = OFF"}},
      {"ManualRGBGraphics", "Off", {"QMANUALCOLORRGBGRAPHICS = OFF"}},
      {"ManualCMYK",
       "Off",
       {"QMANUALCOLORCMYKIMAGE = OFF", "QMANUALCOLORCMYKTEXT = OFF",
        "QMANUALCOLORCMYKGRAPHICS = OFF"}},
      {"ColorSaver", "TrueM", {"QCOLORSAVER = ON"}},
      {"BLW", "TrueM", {"QCOLORMODEL = BLACK"}},
      {"QvnBrightness", "5", {"QIMAGEBRIGHTNESS = 5"}},
      {"QvnContrast", "-1", {"QIMAGECONTRAST = -1"}},
      {"QvnSaturation", "-2", {"QIMAGESATURATION = -2"}},
      {"ImageSmoothing", "TrueF", {"QIMAGESMOOTHING = ON"}},
      {"QvnLineDetail", "TrueF", {"QLINEDETAIL = ON"}},
      {"Resolution", "300dpi", {"RESOLUTION = 300"}},
  };
  std::string ppd;
  std::vector<std::string> all;
  for (const auto& [option, choice, variables] : rows) {
    ppd = ppdOption(option, choice, choice) + ppd;  // in the other order
    all.insert(all.end(), variables.begin(), variables.end());
  }
  expectSettings(ppd, {{"", all}});
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
    expectOptions({{evil, "+ " + name + "=x\\'\\ @PJL\\ SET"}});
    // Also if libcups parses the string, but nothing can be appended to it.
    EXPECT_EQ(complete({evil + " z={b"}).values[name], "x' @PJL SET");
  }
  expectOptions({{"job-name=a\\\"b Color='\"'", "+"}});
}

// Users find the jobs that the printer keeps by their names at its panel.
TEST(JobName, IsTheTitleOfAJobThatThePrinterKeeps) {
  const std::string ppd = ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify JRConf", "JRVerify"));
  for (const char* options : {"", "PrintTo=jrconf JRHOLDKEY=1234", "job-password=1234"}) {
    EXPECT_EQ(complete({options, ppd}).additions.jobName, "The 'first' draft ") << options;
  }
  EXPECT_EQ(complete({"PrintTo=JRPrinter", ppd}).additions.jobName, "");
  EXPECT_EQ(complete({"PrintTo=JRPrinter"}).additions.jobName, "");
  EXPECT_EQ(complete({""}).additions.jobName, "");
}

// ---- features in the job

std::string replacedFeatures(const std::string& options, const std::string& ppd) {
  std::string text;
  for (const auto& [feature, code] : complete({options, ppd}).additions.replacedFeatures) {
    text += feature + ": " + code;
  }
  return text;
}

// An option with two choices, the first of which is the default.
std::string ppdFeature(const std::string& name, const std::string& first,
                       const std::string& second) {
  return ppdWith("*OpenUI *" + name + ": PickOne\n*OrderDependency: 15 AnySetup *" + name +
                 "\n*Default" + name + ": " + first + "\n*" + name + " " + first + ": \"one\"\n*" +
                 name + " " + second + ": \"two\"\n*CloseUI: *" + name + "\n");
}

TEST(Collation, ThatCupsIgnoresIsRestored) {
  const std::string ppd = ppdFeature("Collate", "True", "False");
  const std::string handling = "multiple-document-handling=separate-documents-uncollated-copies";
  EXPECT_EQ(replacedFeatures("collate=false", ppd), "Collate True: two\n");
  EXPECT_EQ(replacedFeatures(handling, ppd), "Collate True: two\n");
  EXPECT_EQ(replacedFeatures("", ppd) + replacedFeatures("collate=true", ppd), "");
}

// CUPS inserts the code of the default for "1200x1200dpi", and marks 1200dpi itself otherwise.
TEST(ResolutionOfIpp, ReplacesTheCodeOfTheDefault) {
  const std::string ppd = ppdFeature("Resolution", "600dpi", "1200dpi");
  const auto expect = [&](const std::string& options, const std::string& resolution,
                          const std::string& features) {
    EXPECT_EQ(complete({options, ppd}).values["Resolution"], resolution) << options;
    EXPECT_EQ(replacedFeatures(options, ppd), features) << options;
  };
  const std::string two = "Resolution 600dpi: two\n";
  expect("printer-resolution=1200x1200dpi", "1200dpi", two);
  expect("Resolution=1200x1200dpi", "1200dpi", two);
  expect("Resolution=1200dpi", "1200dpi", two);
  expect("Resolution=600dpi printer-resolution=1200x1200dpi", "600dpi", "");
  for (const char* other :
       {"", "printer-resolution=1200x600dpi", "printer-resolution=1200x1200dpcm"}) {
    expect(other, "", "");
  }
}

// CUPS adds a blank page to two-sided collated copies with an odd number of pages.
TEST(Pages, AreCountedInSheetsWhereCupsWouldAddABlankPage) {
  const std::string ppd = ppdWith(ppdOption("Duplex", "None DuplexTumble DuplexNoTumble", "None") +
                                  ppdOption("Collate", "True False", "False"));
  for (const auto& [options, wholeSheets] :
       std::vector<std::pair<std::string, bool>>{{"Duplex=DuplexTumble Collate=True", true},
                                                 {"sides=two-sided-long-edge collate=true", true},
                                                 {"Duplex=DuplexTumble", false},
                                                 {"Collate=True", false}}) {
    EXPECT_EQ(complete({options, ppd}).additions.wholeSheets, wholeSheets) << options;
    EXPECT_FALSE(complete({options}).additions.wholeSheets) << options;
  }
  for (const char* options : {"", "a=\"b"}) {
    EXPECT_TRUE(complete({options}).additions.countPages) << options;
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

TEST(OptionString, KeepsEveryValue) {
  for (const std::string options : {
           "JRUSERNAME=a\\ b c=\"d e\" f='g \\' h' i=\\\\ j={k l}",
           "a=<20><27><3D><2C><3C><3E> b=<2",
           "media=\xC3\xA9\xFF job-name=%s%n",
           "a=1,2,3 b={c=1 d=2} e=",
           "noa",
       }) {
    expectOptions({{options, "+ QvnBlankPage=true"}}, kBlankPpd);
    argumentStore::Options after = complete({options, kBlankPpd}).values;
    EXPECT_EQ(after.erase("QvnBlankPage"), 1U);
    argumentStore before;
    before.initWithOptionString(options.c_str());
    EXPECT_EQ(after, before.keyEnumerator());
  }
}

TEST(OptionString, ThatDoesNotEndStaysAsItIs) {
  for (const std::string options : {"a=\"b", "a='b", "a=\\", "a={b", "{a=1 b=2}", "=1"}) {
    expectOptions({{options, "+",
                    "\nWARNING: The defaults of the queue are not used, because the job's options "
                    "cannot be read to their end. Remove open quotes and braces, for example from "
                    "the file name.\n"}},
                  kBlankPpd);
  }
}

}  // namespace
}  // namespace jobshaper::testing
