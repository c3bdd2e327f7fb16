// The options that jobshaper-queue adds to a job.
#include "queue/option_string.h"

#include <cups/cups.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <set>

#include "diag/debug_log.h"
#include "platform/text_encoding.h"
#include "queue/header_text.h"
#include "settings/argument_store.h"
#include "settings/option_names.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// The log names its directory once per process. Marks that as done, so that the messages of a test
// do not depend on whether it runs alone.
[[maybe_unused]] const bool kLogIsSilent = logDoneSetup = true;

constexpr char kNoPpd[] = "";
const std::string kOneCopy = "com.apple.print.PrintSettings.PMCopies..n.=1";
const std::string kCollate = "com.apple.print.PrintSettings.PMCopyCollate..b.";
// What is added to every booklet.
const std::string kBooklet = kOneCopy + " " + kCollate + "=true";

std::string completed(const std::string& options, const std::string& ppd = kNoPpd,
                      const std::string& copies = "1") {
  std::optional<TemporaryDirectory> directory;
  std::string path;
  if (!ppd.empty()) {
    path = directory.emplace().file("printer.ppd");
    writeFile(path, ppd);
  }
  QueueJob job;
  job.options = options.c_str();
  job.copies = copies.c_str();
  job.ppdPath = ppd.empty() ? nullptr : path.c_str();
  job.countPages = [] { return 4; };
  return completedJob(job).options;
}

// Returns what follows the job's own options, which must be unchanged.
std::string added(const std::string& options, const std::string& ppd = kNoPpd,
                  const std::string& copies = "1") {
  const std::string all = completed(options, ppd, copies);
  if (!all.starts_with(options)) {
    ADD_FAILURE() << "changed: " << all;
    return "";
  }
  const std::string rest = all.substr(options.size());
  return !options.empty() && rest.starts_with(" ") ? rest.substr(1) : rest;
}

// The options that the filter parses from a string.
argumentStore::Options filterOptions(const std::string& text) {
  argumentStore store;
  store.initWithOptionString(text.c_str());
  return store.keyEnumerator();
}

const std::string kFoldPpd =
    ppdWith(ppdOption("QVBookletFold", "false Booklet BiFold SaddleStitch PrinterS", "BiFold"));

// ---- a default that has no effect

TEST(PrintNow, IsNotPassedToTheFilter) {
  const std::string ppd = ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRPrinter"));
  EXPECT_EQ(added("", ppd), kOneCopy);
  EXPECT_EQ(completed("PrintTo=JRPrinter", ppd), kOneCopy);
  EXPECT_EQ(added("", ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRVerify"))),
            kOneCopy + " PrintTo=JRVerify");
  EXPECT_EQ(added("", ppdWith(ppdOption("QvnBlankPage", "JRPrinter false", "JRPrinter"))),
            kOneCopy + " QvnBlankPage=JRPrinter");
}

// ---- copies and collation

TEST(Copies, ComeFromTheirArgument) {
  EXPECT_EQ(added("", kNoPpd, "1"), kOneCopy);
  EXPECT_EQ(added("media=A4", kNoPpd, "1"), kOneCopy);
  EXPECT_EQ(added("copies=7", kNoPpd, "12"), "com.apple.print.PrintSettings.PMCopies..n.=12");
}

TEST(Copies, OfTheJobAreKept) {
  EXPECT_EQ(added("com.apple.print.PrintSettings.PMCopies..n.=5", kNoPpd, "2"), "");
}

TEST(Copies, ThatAreNotANumberAreLeftOut) {
  for (const char* copies : {"", "x", "-1", "1 ", " 1", "1)exec(", "1\n"}) {
    EXPECT_EQ(added("media=A4", kNoPpd, copies), "") << copies;
  }
}

TEST(Collation, ComesFromTheJob) {
  EXPECT_EQ(added("collate"), kOneCopy + " " + kCollate + "=true");
  EXPECT_EQ(added("collate=true"), kOneCopy + " " + kCollate + "=true");
  EXPECT_EQ(added("Collate=True"), kOneCopy + " " + kCollate + "=true");
  EXPECT_EQ(added("nocollate"), kOneCopy + " " + kCollate + "=false");
  EXPECT_EQ(added("collate=maybe"), kOneCopy + " " + kCollate + "=false");
}

TEST(Collation, ComesFromTheHandlingOfSeveralDocuments) {
  const std::map<std::string, std::string> values = {
      {"single-document", "true"},
      {"single-document-new-sheet", "true"},
      {"separate-documents-collated-copies", "true"},
      {"separate-documents-uncollated-copies", "false"},
  };
  for (const auto& [value, collate] : values) {
    EXPECT_EQ(added("multiple-document-handling=" + value),
              kOneCopy + " " + kCollate + "=" + collate);
  }
  EXPECT_EQ(added("nocollate multiple-document-handling=single-document"),
            kOneCopy + " " + kCollate + "=false");
}

TEST(Collation, ComesFromThePpd) {
  const std::string ppd = ppdWith(ppdOption("Collate", "True False", "True"));
  EXPECT_EQ(added("", ppd), kOneCopy + " " + kCollate + "=true");
  EXPECT_EQ(added("nocollate", ppd), kOneCopy + " " + kCollate + "=false");
}

TEST(Collation, OfTheJobIsKept) { EXPECT_EQ(added("collate " + kCollate + "=false"), kOneCopy); }

TEST(Collation, IsLeftOutIfNeitherJobNorPpdSays) { EXPECT_EQ(added("media=A4"), kOneCopy); }

// ---- defaults and marked choices of the PPD file

TEST(PpdDefaults, AreAddedIfTheJobHasNoValue) {
  EXPECT_EQ(added("media=A4", kFoldPpd), kBooklet + " QVBookletFold=BiFold");
}

TEST(PpdDefaults, NeverOverrideTheJob) {
  for (const char* options : {"QVBookletFold=false", "noQVBookletFold", "QVBookletFold=PrinterS"}) {
    EXPECT_EQ(added(options, kFoldPpd), kOneCopy) << options;
  }
  for (const char* options : {"QVBookletFold=SaddleStitch", "QVBookletFold=Booklet"}) {
    EXPECT_EQ(added(options, kFoldPpd), kBooklet) << options;
  }
}

TEST(PpdDefaults, OfSwitchesAreWrittenAsCupsWritesThem) {
  const std::string ppd = ppdWith(ppdOption("QVInsideFrontCover", "True False", "True") +
                                  ppdOption("QvnBlankPage", "True False", "False"));
  EXPECT_EQ(added("", ppd), kOneCopy + " QVInsideFrontCover=true QvnBlankPage=false");
}

TEST(PpdDefaults, OfOptionsThatTheFilterDoesNotReadStayOut) {
  const std::string ppd = ppdWith(ppdOption("Duplex", "None DuplexTumble", "DuplexTumble") +
                                  ppdOption("QVFoldX", "A B", "B"));
  EXPECT_EQ(added("", ppd), kOneCopy);
}

TEST(MarkedChoices, ComeFromWhatTheJobAsksUnderOtherNames) {
  const std::string ppd =
      ppdWith(ppdOption("QVBookletFold", "false BiFold SaddleStitch", "false") +
              "*cupsIPPFinishings 10/fold: \"*QVBookletFold BiFold\"\n"
              "*cupsIPPFinishings 13/booklet-maker: \"*QVBookletFold SaddleStitch\"\n");
  EXPECT_EQ(added("finishings=10", ppd), kBooklet + " QVBookletFold=BiFold");
  EXPECT_EQ(added("finishings=13", ppd), kBooklet + " QVBookletFold=SaddleStitch");
  EXPECT_EQ(added("finishings=3", ppd), kOneCopy + " QVBookletFold=false");
}

TEST(MarkedChoices, AreThoseOfEveryOptionThatTheFilterReads) {
  std::set<std::string> names(std::begin(kFilterOptions), std::end(kFilterOptions));
  std::erase_if(names, [](const std::string& name) { return name.starts_with("com.apple."); });
  ASSERT_EQ(names.erase("JRHOLDKEY"), 1U);  // a PIN that everyone knows is useless
  std::string text;
  for (const std::string& name : names) text += ppdOption(name, "One Two", "Two");
  const argumentStore::Options options = filterOptions(completed("", ppdWith(text)));
  for (const std::string& name : names) {
    const auto found = options.find(name);
    EXPECT_TRUE(found != options.end() && found->second == "Two") << name;
  }
  EXPECT_EQ(options.size(), names.size() + 2) << "and the copies, and their collation";
}

TEST(UnusablePpd, AddsNothing) {
  ::testing::internal::CaptureStderr();
  QueueJob job;
  job.ppdPath = "/no such file.ppd";
  EXPECT_EQ(completedJob(job).options, "");
  EXPECT_EQ(added("", "This is no PPD file.\n"), kOneCopy);
  const std::string messages = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(messages.starts_with(
      "\nWARNING: The PPD file /no such file.ppd is not used: No such file or directory. Set the "
      "driver of the queue again with lpadmin -m.\n"))
      << messages;
  EXPECT_NE(messages.find(".ppd is not used: Missing asterisk in column 1, line 1. Set"),
            std::string::npos)
      << messages;
}

// ---- choices that the printer has

// Returns what `work` writes to standard error.
template <typename Work>
std::string said(Work work) {
  ::testing::internal::CaptureStderr();
  work();
  return ::testing::internal::GetCapturedStderr();
}

TEST(Choice, IsSpelledAsInThePpd) {
  EXPECT_EQ(added("QVBookletFold=saddlestitch", kFoldPpd),
            kBooklet + " QVBookletFold=SaddleStitch");
  EXPECT_EQ(completed("a=1 qvbookletfold=SADDLESTITCH b=2", kFoldPpd),
            "a=1 b=2 " + kBooklet + " QVBookletFold=SaddleStitch");
}

TEST(Choice, ThatThePpdLacksIsReplacedByTheDefault) {
  for (const std::string choice : {"TriFold", "", "a\\ b", "<42>oo"}) {
    std::string shown = choice;
    std::erase(shown, '\\');
    EXPECT_EQ(said([&] {
                EXPECT_EQ(added("QVBookletFold=" + choice, kFoldPpd),
                          kBooklet + " QVBookletFold=BiFold");
              }),
              "\nWARNING: QVBookletFold=" + shown +
                  " is not a choice of this printer; BiFold is used instead. lpoptions -p QUEUE -l "
                  "lists them.\n");
  }
}

TEST(Choice, ThatThePpdLacksIsRemovedIfTheDefaultHasNoEffect) {
  const std::string ppd = ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify", "JRPrinter"));
  EXPECT_EQ(said([&] { EXPECT_EQ(completed("PrintTo=JRSoon a=1", ppd), "a=1 " + kOneCopy); }),
            "\nWARNING: PrintTo=JRSoon is not a choice of this printer; JRPrinter is used instead. "
            "lpoptions -p QUEUE -l lists them.\n");
}

TEST(Choice, ThatThePpdLacksCannotAddALineToTheLog) {
  EXPECT_EQ(said([] { completed("QVBookletFold=a\\\nERROR:\\ \\\"b", kFoldPpd); }),
            "\nWARNING: QVBookletFold=a ERROR: 'b is not a choice of this printer; BiFold is used "
            "instead. lpoptions -p QUEUE -l lists them.\n");
}

TEST(Choice, OfAnOptionThatThePpdLacksPasses) {
  EXPECT_EQ(said([] {
              EXPECT_EQ(added("Color=Red QVBookletFold=TriFold"), kOneCopy);
              EXPECT_EQ(added("Color=Red QvnBlankPage=Maybe", kFoldPpd),
                        kBooklet + " QVBookletFold=BiFold");
            }),
            "");
}

std::string ppdWithEquipment(const std::string& finisher) {
  return ppdWith(ppdOption("QVBookletFold", "false Booklet BiFold SaddleStitch", "false") +
                 ppdOption("QVBookletCoverSource", "PrinterS Tray1 Tray5", "PrinterS") +
                 "*OpenGroup: InstallableOptions/Options\n" +
                 ppdOption("OptionFinisher", "True False", finisher) +
                 ppdOption("OptionDuplexer", "True False", "True") +
                 "*CloseGroup: InstallableOptions\n"
                 "*UIConstraints: *OptionFinisher False *QVBookletFold SaddleStitch\n"
                 "*UIConstraints: *OptionFinisher False *QVBookletFold BiFold\n"
                 "*UIConstraints: *OptionFinisher False *QVBookletCoverSource Tray5\n"
                 "*UIConstraints: *QVBookletCoverSource Tray1 *QVBookletFold BiFold\n"
                 "*UIConstraints: *OptionDuplexer False *QVBookletFold\n");
}

TEST(Equipment, ThatIsInstalledRulesNothingOut) {
  EXPECT_EQ(said([] {
              EXPECT_EQ(added("QVBookletFold=BiFold", ppdWithEquipment("True")),
                        kBooklet + " QVBookletCoverSource=PrinterS");
            }),
            "");
}

TEST(Equipment, ThatIsMissingMakesAFoldAPlainBooklet) {
  for (const std::string fold : {"SaddleStitch", "BiFold"}) {
    EXPECT_EQ(said([&] {
                EXPECT_EQ(added("QVBookletFold=" + fold, ppdWithEquipment("False")),
                          kBooklet + " QVBookletCoverSource=PrinterS QVBookletFold=Booklet");
              }),
              "\nWARNING: QVBookletFold=" + fold +
                  " needs equipment that is not installed (OptionFinisher=False); Booklet is used "
                  "instead. If it is installed, tell the queue with lpadmin -p QUEUE -o.\n");
  }
}

TEST(Equipment, MayBeDeniedByTheJob) {
  EXPECT_NE(said([] {
              added("QVBookletFold=BiFold OptionFinisher=False", ppdWithEquipment("True"));
            }).find("OptionFinisher=False"),
            std::string::npos);
}

TEST(Equipment, ThatIsMissingLeavesTheDefault) {
  const std::string ppd = ppdWithEquipment("False");
  EXPECT_EQ(said([&] {
              EXPECT_EQ(added("QVBookletCoverSource=Tray5", ppd),
                        kOneCopy + " QVBookletCoverSource=PrinterS QVBookletFold=false");
            }),
            "\nWARNING: QVBookletCoverSource=Tray5 needs equipment that is not installed "
            "(OptionFinisher=False); PrinterS is used instead. If it is installed, tell the "
            "queue with lpadmin -p QUEUE -o.\n");
  EXPECT_EQ(
      said([&] {
        EXPECT_EQ(completed("QVBookletFold=Booklet OptionDuplexer=False", ppd),
                  "QVBookletFold=Booklet OptionDuplexer=False " + kOneCopy +
                      " QVBookletCoverSource=PrinterS QVBookletFold=false");
      }),
      "\nWARNING: QVBookletFold=Booklet needs equipment that is not installed "
      "(OptionDuplexer=False); false is used instead. If it is installed, tell the queue with "
      "lpadmin -p QUEUE -o.\n");
}

TEST(Equipment, ThatIsMissingForTheDefaultTooRemovesTheOption) {
  std::string ppd = ppdWithEquipment("False");
  const std::string line = "*DefaultQVBookletCoverSource: ";
  ppd.replace(ppd.find(line + "PrinterS"), line.size() + 8, line + "Tray5");
  EXPECT_EQ(said([&] { EXPECT_EQ(added("a=1", ppd), kOneCopy + " QVBookletFold=false"); }),
            "\nWARNING: QVBookletCoverSource=Tray5 needs equipment that is not installed "
            "(OptionFinisher=False); it is ignored. If it is installed, tell the queue with "
            "lpadmin -p QUEUE -o.\n");
}

// ---- settings

// An option with these choices, of which the last comes with code.
std::string ppdOptionWithCode(std::string_view name, std::string_view choices,
                              std::string_view defaultChoice) {
  std::string text = ppdOption(name, choices, defaultChoice);
  const std::size_t last = text.rfind(": \"\"\n");
  return text.replace(last, 5, ": \"<</Some true>>setpagedevice\"\n");
}

// The lines that a job has in its header before the switch to PostScript, beyond its copies.
std::string settingLines(const std::string& options, const std::string& ppd) {
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  writeFile(path, ppd);
  QueueJob job;
  job.options = options.c_str();
  job.copies = "2";
  job.ppdPath = path.c_str();
  const CompletedJob completed = completedJob(job);
  argumentStore store;
  store.initWithOptionString(completed.options.c_str());
  pjlCreation header;
  header.initFromArgsStore(store, "ada", "", completed.additions.settings);
  std::string text;
  for (const std::string& line : header.objectEnumerator()) text += line;
  const std::string_view end = "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
  EXPECT_TRUE(text.ends_with(end));
  const std::string before = "USERNAME = \"ada\"\n";
  const std::size_t from = text.find(before) + before.size();
  return text.substr(from, text.size() - end.size() - from);
}

TEST(Setting, IsSentForAChoiceOfTheJobOrTheDefault) {
  const std::string ppd = ppdWith(ppdOption("OutputBin", "PrinterS Bin1 Bin2", "Bin2") +
                                  ppdOption("CyanBalance", "PrinterS -5 0", "PrinterS"));
  EXPECT_EQ(settingLines("", ppd), "@PJL SET OUTBIN = OPTIONALOUTBIN2\n");
  EXPECT_EQ(settingLines("OutputBin=bin1 CyanBalance=-5", ppd),
            "@PJL SET OUTBIN = OPTIONALOUTBIN1\n@PJL SET QCOLORBALANCECYAN = -5\n");
  EXPECT_EQ(settingLines("OutputBin=PrinterS", ppd), "");
}

TEST(Setting, OfThePrinterItselfIsCalledAutoWhereIppDoes) {
  const std::string ppd =
      ppdWith(ppdOption("OutputBin", "Auto Bin1", "Auto") + ppdOption("InputSlot", "Auto", "Auto") +
              ppdOption("MediaType", "Auto", "Auto") + ppdOption("MediaColor", "Auto", "Auto"));
  EXPECT_EQ(settingLines("", ppd), "@PJL SET QCOLORCORRECTION = AUTO\n");
}

TEST(Setting, OfColorFollowsTheColorModel) {
  const std::string ppd = ppdWith(ppdOption("ColorModel", "CMYK Gray", "CMYK"));
  const std::string color = "@PJL SET QCOLORMODEL = CMYK\n";
  const std::string gray = "@PJL SET QCOLORMODEL = BLACK\n";
  const std::string grayPpd = ppdWith(ppdOption("ColorModel", "CMYK Gray", "Gray"));
  EXPECT_EQ(settingLines("", ppd), color);
  EXPECT_EQ(settingLines("ColorModel=gray", ppd), gray);
  EXPECT_EQ(settingLines("", grayPpd), gray);
  EXPECT_EQ(settingLines("BLW=TrueM", ppd), gray);
  EXPECT_EQ(settingLines("ColorModel=Gray BLW=PrinterS", ppd), "");
  EXPECT_EQ(settingLines("print-color-mode=color", grayPpd), color);
  EXPECT_EQ(settingLines("print-color-mode=auto", grayPpd), gray);
  EXPECT_EQ(settingLines("print-color-mode=color ColorModel=Gray", grayPpd), gray);
  EXPECT_EQ(settingLines("BLW=TrueM", kFoldPpd), "");
  EXPECT_EQ(said([&] { EXPECT_EQ(settingLines("ColorModel=RGB", ppd), color); }),
            "\nWARNING: ColorModel=RGB is not a choice of this printer; CMYK is used instead. "
            "lpoptions -p QUEUE -l lists them.\n");
}

TEST(Setting, OfAnOptionThatThePpdLacksIsNotSent) {
  EXPECT_EQ(settingLines("CyanBalance=-5 TonerDarkness=7 Resolution=1200IQ", kFoldPpd), "");
}

TEST(Setting, ThatThePpdHasCodeForIsNotSent) {
  const std::string ppd = ppdWith(ppdOptionWithCode("SepPages", "PrinterS None Jobs", "PrinterS"));
  EXPECT_EQ(settingLines("SepPages=Jobs", ppd), "");
  EXPECT_EQ(settingLines("SepPages=None", ppd), "@PJL SET QSEPARATORSHEETS = NONE\n");
}

TEST(Setting, WithAnUnknownValueIsNotSent) {
  const std::string ppd = ppdWith(ppdOption("CyanBalance", "PrinterS -5 0", "PrinterS") +
                                  ppdOption("TonerDarkness", "PrinterS 8", "8"));
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(settingLines("CyanBalance=9\\\n@PJL TonerDarkness=9", ppd), "@PJL SET DENSITY = 3\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nWARNING: TonerDarkness=9 is not a choice of this printer; 8 is used instead. "
            "lpoptions -p QUEUE -l "
            "lists them.\n"
            "\nWARNING: CyanBalance=9 @PJL is not a choice of this printer; PrinterS is used "
            "instead. lpoptions -p QUEUE -l lists them.\n");
}

TEST(Setting, WithoutItsEquipmentIsNotSent) {
  const std::string ppd =
      ppdWith(ppdOption("OutputBin", "PrinterS FinisherBin1", "FinisherBin1") +
              "*OpenGroup: InstallableOptions/Options\n" +
              ppdOption("OptionFinisher", "True False", "False") +
              "*CloseGroup: InstallableOptions\n"
              "*UIConstraints: *OptionFinisher False *OutputBin FinisherBin1\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(settingLines("", ppd), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nWARNING: OutputBin=FinisherBin1 needs equipment that is not installed "
            "(OptionFinisher=False); it is ignored. If it is installed, tell the queue with "
            "lpadmin -p QUEUE -o.\n");
}

TEST(Setting, OfImageQualityIsAnOptionOfItsOwn) {
  const std::string ppd =
      ppdWith(ppdOption("QvnImageQuality", "PrinterS 1200IQ 2400IQ", "PrinterS") +
              ppdOptionWithCode("Resolution", "1200dpi 600dpi", "600dpi"));
  EXPECT_EQ(settingLines("Resolution=600dpi QvnImageQuality=2400IQ", ppd),
            "@PJL SET RESOLUTION = 600\n@PJL SET QIMAGEENHANCE = ON\n"
            "@PJL SET QIMAGEENHANCETYPE = 4\n@PJL SET QSCREENING = IET\n");
  EXPECT_EQ(settingLines("Resolution=600dpi", ppd), "");
}

TEST(Setting, ComesInTheOrderOfTheHeader) {
  struct Row {
    const char* option;
    const char* choice;
    const char* line;
  };
  // clang-format off
  const Row rows[] = {
      {"MediaType", "Plain", "MEDIATYPE = \"PLAIN\""},
      {"InputSlot", "Tray1", "QPAPERSOURCE = TRAY1"},
      {"OutputBin", "Bin1", "OUTBIN = OPTIONALOUTBIN1"},
      {"TonerDarkness", "6", "DENSITY = 1"},
      {"PictureGrade", "TrueM", "QPICTUREGRADE = ON"},
      {"SepPages", "Jobs", "QSEPARATORSHEETS = BETWEENJOBS"},
      {"SepSource", "Tray1", "QSEPARATORSOURCE = TRAY1"},
      {"Offset", "Jobs", "JOBOFFSET = BETWEENJOBS"},
      {"CyanBalance", "1", "QCOLORBALANCECYAN = 1"},
      {"MagentaBalance", "2", "QCOLORBALANCEMAGENTA = 2"},
      {"YellowBalance", "3", "QCOLORBALANCEYELLOW = 3"},
      {"BlackBalance", "4", "QCOLORBALANCEBLACK = 4"},
      {"MediaColor", "Auto", "QCOLORCORRECTION = AUTO"},
      {"GrayCorrection", "FalseM", "QCOLORCORRECTION = OFF"},
      {"ManualRGBImage", "Off", "QMANUALCOLORRGBIMAGE = OFF"},
      {"ManualRGBText", "Off", "QMANUALCOLORRGBTEXT = OFF"},
      {"ManualRGBGraphics", "Off", "QMANUALCOLORRGBGRAPHICS = OFF"},
      {"ManualCMYK", "Off", "QMANUALCOLORCMYKIMAGE = OFF\n@PJL SET QMANUALCOLORCMYKTEXT = OFF\n"
                            "@PJL SET QMANUALCOLORCMYKGRAPHICS = OFF"},
      {"ColorSaver", "TrueM", "QCOLORSAVER = ON"},
      {"BLW", "TrueM", "QCOLORMODEL = BLACK"},
      {"QvnBrightness", "5", "QIMAGEBRIGHTNESS = 5"},
      {"QvnContrast", "-1", "QIMAGECONTRAST = -1"},
      {"QvnSaturation", "-2", "QIMAGESATURATION = -2"},
      {"ImageSmoothing", "TrueF", "QIMAGESMOOTHING = ON"},
      {"QvnLineDetail", "TrueF", "QLINEDETAIL = ON"},
      {"Resolution", "300dpi", "RESOLUTION = 300"},
  };
  // clang-format on
  std::string ppd;
  std::string lines;
  for (const Row& row : rows) {
    ppd = ppdOption(row.option, row.choice, row.choice) + ppd;  // in the other order
    lines.append("@PJL SET ").append(row.line).append("\n");
  }
  EXPECT_EQ(settingLines("", ppdWith(ppd)), lines);
}

// ---- texts for the header

TEST(HeaderText, HasNeitherQuotesNorControlCharacters) {
  EXPECT_EQ(headerText("a\"b'c\\ <20> \xC3\xAB \xE6\xBC\xA2"),
            "a'b'c\\ <20> \xC3\xAB \xE6\xBC\xA2");
  EXPECT_EQ(headerText("a\r\n@PJL\t\x1b%-\x7f|"), "a  @PJL  %- |");
  EXPECT_EQ(headerText("\xC2\x80 \xC2\x9F \xC2\xA0 \xC2"), "    \xC2\xA0 \xC2");
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text = headerText(std::string(1, static_cast<char>(byte)));
    const bool changed = byte < 0x20 || byte == 0x7F || byte == '"';
    EXPECT_EQ(text.size(), 1U);
    EXPECT_EQ(static_cast<unsigned char>(text[0]) != byte, changed) << byte;
  }
}

TEST(HeaderText, IsMadeOfEveryTextOfAUser) {
  const std::string evil = "x\\\"\\\n@PJL\\ SET";
  const std::string clean = "=x\\'\\ @PJL\\ SET";
  for (const char* name : {"JRUSERNAME", "JAUSERID", "JAACCTNUM", "JADEPTNUM"}) {
    // Also if libcups parses the string, but nothing can be appended to it.
    for (const std::string rest : {"", " z={b"}) {
      argumentStore::Options options;
      const std::string warning =
          said([&] { options = filterOptions(completed(name + ("=" + evil) + rest)); });
      EXPECT_EQ(options[name], "x' @PJL SET") << name << rest;
      EXPECT_EQ(warning.empty(), rest.empty());
    }
    EXPECT_EQ(added(name + ("=" + evil)), kOneCopy + " " + name + clean);
  }
}

TEST(HeaderText, IsMadeOfTheUser) {
  QueueJob job;
  job.user = "o\"hara\n";
  EXPECT_EQ(completedJob(job).user, "o'hara ");
}

TEST(HeaderText, DoesNotChangeOtherOptions) {
  EXPECT_EQ(added("job-name=a\\\"b Color='\"'"), kOneCopy);
}

TEST(CopiesOfTheJob, ThatAreNotANumberAreReplaced) {
  const std::string name = "com.apple.print.PrintSettings.PMCopies..n.";
  EXPECT_EQ(
      said([&] { EXPECT_EQ(added(name + "=1\\ >>\\ setuserparams", kNoPpd, "3"), name + "=3"); }),
      "\nWARNING: " + name +
          "=1 >> setuserparams is not a number of copies; 3 is used instead. lp -n sets "
          "it.\n");
  EXPECT_EQ(said([&] { EXPECT_EQ(completed("a=1 " + name + "=x", kNoPpd, "x"), "a=1"); }),
            "\nWARNING: " + name + "=x is not a number of copies; it is ignored. lp -n sets it.\n");
  // Also in a string that nothing can be appended to.
  EXPECT_NE(said([&] {
              EXPECT_EQ(filterOptions(completed(name + "=x z={b", kNoPpd, "3"))[name], "3");
            }).find("is not a number of copies"),
            std::string::npos);
}

// ---- features in the job

TEST(Collation, ThatCupsIgnoresIsRestored) {
  const std::string ppd = ppdWith(
      "*OpenUI *Collate/Collate: Boolean\n*OrderDependency: 15 AnySetup *Collate\n"
      "*DefaultCollate: True\n*Collate False/Off: \"no\"\n*Collate True/On: \"yes\"\n"
      "*CloseUI: *Collate\n");
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  writeFile(path, ppd);
  const auto replaced = [&](const char* options) {
    QueueJob job;
    job.options = options;
    job.ppdPath = path.c_str();
    std::string text;
    for (const auto& [feature, code] : completedJob(job).additions.replacedFeatures) {
      text += feature + ": " + code;
    }
    return text;
  };
  EXPECT_EQ(replaced("collate=false"), "Collate True: no\n");
  EXPECT_EQ(replaced("multiple-document-handling=separate-documents-uncollated-copies"),
            "Collate True: no\n");
  EXPECT_EQ(replaced(""), "");
  EXPECT_EQ(replaced("collate=true"), "");
}

// CUPS inserts the code of the default for "1200x1200dpi", and marks 1200dpi itself otherwise.
TEST(ResolutionOfIpp, ReplacesTheCodeOfTheDefault) {
  const std::string ppd = ppdWith(
      "*OpenUI *Resolution: PickOne\n*OrderDependency: 30 AnySetup *Resolution\n"
      "*DefaultResolution: 600dpi\n*Resolution 600dpi: \"six\"\n*Resolution 1200dpi: \"twelve\"\n"
      "*CloseUI: *Resolution\n");
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  writeFile(path, ppd);
  const auto resolution = [&](const char* options) {
    QueueJob job;
    job.options = options;
    job.ppdPath = path.c_str();
    const CompletedJob completed = completedJob(job);
    const OptionList list(completed.options.c_str());
    const char* const choice = list.find("Resolution"_option);
    std::string text = choice ? choice : "none";
    for (const auto& [feature, code] : completed.additions.replacedFeatures) {
      text += ", " + feature + ": " + code;
    }
    return text;
  };
  const std::string replaced = "1200dpi, Resolution 600dpi: twelve\n";
  EXPECT_EQ(resolution("printer-resolution=1200x1200dpi"), replaced);
  EXPECT_EQ(resolution("resolution=1200x1200dpi"), replaced);
  EXPECT_EQ(resolution("Resolution=1200dpi"), replaced);
  EXPECT_EQ(resolution("Resolution=600dpi printer-resolution=1200x1200dpi"), "600dpi");
  EXPECT_EQ(resolution("printer-resolution=600x600dpi"), "600dpi");
  for (const char* other :
       {"", "printer-resolution=1200x600dpi", "printer-resolution=1200x1200dpcm"}) {
    EXPECT_EQ(resolution(other), "none") << other;
  }
}

// ---- pages

TEST(Pages, AreCountedInSheetsWhereCupsWouldAddABlankPage) {
  const std::string ppd = ppdWith(ppdOption("Duplex", "None DuplexTumble DuplexNoTumble", "None") +
                                  ppdOption("Collate", "True False", "False"));
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  writeFile(path, ppd);
  const auto additions = [&](const char* options, bool hasPpd = true) {
    QueueJob job;
    job.options = options;
    if (hasPpd) job.ppdPath = path.c_str();
    return completedJob(job).additions;
  };
  EXPECT_TRUE(additions("Duplex=DuplexTumble Collate=True").wholeSheets);
  EXPECT_TRUE(additions("sides=two-sided-long-edge collate=true").wholeSheets);
  EXPECT_FALSE(additions("Duplex=DuplexTumble").wholeSheets);
  EXPECT_FALSE(additions("Collate=True").wholeSheets);
  EXPECT_FALSE(additions("Duplex=DuplexTumble Collate=True", false).wholeSheets);
  for (const char* options : {"", "a=\"b"}) EXPECT_TRUE(additions(options).countPages) << options;
}

// ---- the name at the printer's panel

TEST(JobName, IsTheTitleOfAJobThatThePrinterKeeps) {
  const std::string ppd =
      ppdWith(ppdOption("PrintTo", "JRPrinter JRVerify JRRepeat JRReserve JRConf", "JRVerify"));
  TemporaryDirectory directory;
  writeFile(directory.file("printer.ppd"), ppd);
  const auto nameOf = [&](const char* options) {
    QueueJob job;
    const std::string path = directory.file("printer.ppd");
    job.ppdPath = path.c_str();
    job.title = "The \"first\" draft\n";
    job.options = options;
    return completedJob(job).additions.jobName;
  };
  for (const char* options : {"", "PrintTo=JRVerify", "PrintTo=jrconf JRHOLDKEY=1234",
                              "job-password=1234", "PrintTo=JRRepeat", "PrintTo=JRReserve"}) {
    EXPECT_EQ(nameOf(options), "The 'first' draft ") << options;
  }
  EXPECT_EQ(nameOf("PrintTo=JRPrinter"), "");
  QueueJob job;
  job.title = "Title";
  EXPECT_EQ(completedJob(job).additions.jobName, "");
}

// ---- accounting

TEST(Accounting, ComesFromIppAttributes) {
  EXPECT_EQ(added("job-account-id=12\\ a job-accounting-user-id=Zo\xC3\xAB"),
            kOneCopy + " JAACCTNUM=12\\ a JAUSERID=Zo\x91");
  EXPECT_EQ(added("job-account-id=1 job-accounting-user-id=2 JAACCTNUM=3 jauserid=4"), kOneCopy);
  EXPECT_EQ(added("job-account-id=a\\\"b"), kOneCopy + " JAACCTNUM=a\\'b");
}

TEST(Accounting, IsConvertedToMacOsRoman) {
  const std::string utf8 =
      "JAUSERID=Zo\xC3\xAB JAACCTNUM=\xE2\x82\xAC\\ 5 JADEPTNUM=Stra\xC3\x9F"
      "e";
  EXPECT_EQ(added(utf8), kOneCopy +
                             " JAACCTNUM=\xDB\\ 5 JADEPTNUM=Stra\xA7"
                             "e JAUSERID=Zo\x91");
}

TEST(Accounting, ThatMacOsRomanCannotExpressStaysAsItIs) {
  for (const char* value : {"\xD0\x9E\xD0\xBB\xD1\x8F", "\xE6\xBC\xA2", "\xF0\x9F\x98\x80",
                            "e\xCC\x81", "\xC3\xA9\xD0\x9E"}) {
    EXPECT_EQ(added("JAUSERID=" + std::string(value)), kOneCopy) << value;
  }
}

TEST(Accounting, ThatIsPlainOrNotUtf8StaysAsItIs) {
  for (const char* value : {"ada", "", "12\\ 3", "Zo\x91", "\xC3", "a<20>b"}) {
    EXPECT_EQ(added("JAUSERID=" + std::string(value)), kOneCopy) << value;
  }
}

TEST(Accounting, ReachesTheFilterAsItWasGiven) {
  // A value with everything that an option string treats specially.
  const std::string value = "\xC3\xA9 'a' \"b\" \\c {d} \t e\n=,<20>\x7f";
  cups_option_t* options = nullptr;
  std::string quoted = "JAUSERID=";
  for (const char c : value) quoted.append({'\\', c});
  const std::string mac = "\x8E" + headerText(value.substr(2));
  const int n = cupsParseOptions(completed(quoted).c_str(), 0, &options);
  EXPECT_STREQ(cupsGetOption("JAUSERID", n, options), mac.c_str());
  cupsFreeOptions(n, options);
}

TEST(Accounting, OfOneValueDoesNotChangeTheNext) {
  for (const char* value : {"{\xDF", "{\xDF y}", "'\xDF", "\"\xDF", "\xDF\\", "\xDF ", "\xDF\n"}) {
    std::string quoted;
    for (const char c : utf8FromMacRoman(value)) quoted.append({'\\', c});
    cups_option_t* options = nullptr;
    const std::string all = completed("JAUSERID=" + quoted + " JADEPTNUM=\xC3\xA9");
    const int n = cupsParseOptions(all.c_str(), 0, &options);
    EXPECT_STREQ(cupsGetOption("JAUSERID", n, options), headerText(value).c_str());
    EXPECT_STREQ(cupsGetOption("JADEPTNUM", n, options), "\x8E") << value;
    cupsFreeOptions(n, options);
  }
}

TEST(Accounting, OfEveryByteReachesTheFilter) {
  for (int byte = 1; byte < 256; ++byte) {
    for (const char* around : {"", "x", "{", "}", "'", "\"", "\\", " "}) {
      // At the start, in the middle and at the end of a value that has to be converted.
      const std::string mac = around + std::string(1, static_cast<char>(byte)) + "\xDF" + around;
      const std::string utf8 = utf8FromMacRoman(mac);
      std::string quoted;
      for (const char c : utf8) quoted.append({'\\', c});
      cups_option_t* options = nullptr;
      const std::string all = completed("a=1 JADEPTNUM=" + quoted + " b");
      const int n = cupsParseOptions(all.c_str(), 0, &options);
      EXPECT_EQ(cupsGetOption("JADEPTNUM", n, options), headerText(mac)) << byte << around;
      EXPECT_STREQ(cupsGetOption("b", n, options), "true");
      cupsFreeOptions(n, options);
    }
  }
}

// ---- hostile strings

TEST(OptionString, KeepsEveryValue) {
  for (const char* options : {
           "JRUSERNAME=a\\ b c=\"d e\" f='g \\' h' i=\\\\ j={k l}",
           "a=<20><27><3D><2C><3C><3E> b=<2",
           "media=\xC3\xA9\xFF job-name=%s%n",
           "a=1,2,3 b={c=1 d=2} e=",
           "PrintTo=JRConf JRHOLDKEY=\"1234\"",
           "  a=1  ",
           "a",
           "noa",
       }) {
    const argumentStore::Options before = filterOptions(options);
    argumentStore::Options after = filterOptions(completed(options, kFoldPpd));
    EXPECT_EQ(after["QVBookletFold"], "BiFold") << options;
    EXPECT_EQ(after["com.apple.print.PrintSettings.PMCopies..n."], "1") << options;
    after.erase("QVBookletFold");
    after.erase("com.apple.print.PrintSettings.PMCopies..n.");
    after.erase(kCollate);
    EXPECT_EQ(after, before) << options;
    added(options, kFoldPpd);
  }
}

TEST(OptionString, ThatDoesNotEndStaysAsItIs) {
  for (const char* options : {"a=\"b", "a='b", "a=\\", "a={b", "{a=1 b=2}", "=1", "a=b\\"}) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(completed(options, kFoldPpd), options);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nWARNING: The defaults of the queue are not used, because the job's options cannot "
              "be read to their end. Remove open quotes and braces, for example from the file "
              "name.\n")
        << options;
  }
}

}  // namespace
}  // namespace jobshaper::testing
