// The paper settings, row by row as in the printer's manual.
#include <gtest/gtest.h>

#include "tests/support/appended_lines.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kPrimaryFeed = "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1";

Lines customLines(const std::string& width, const std::string& height) {
  return {"@PJL SET QCUSTOMPAPERUNITS = INCHES\n", "@PJL SET QCUSTOMPAPERWIDTH = " + width + "\n",
          "@PJL SET QCUSTOMPAPERHEIGHT = " + height + "\n"};
}

// Calls setCustomPaper itself; the text that it writes to standard error goes to `message`.
Lines customPaper(std::optional<std::string_view> size, std::string* message = nullptr) {
  argumentStore store;
  pjlCreation builder;
  builder.initFromArgsStore(store, "ada", "");
  const auto before = static_cast<std::ptrdiff_t>(builder.count());
  ::testing::internal::CaptureStderr();
  builder.setCustomPaper(size);
  const std::string written = ::testing::internal::GetCapturedStderr();
  if (message) {
    *message = written;
  } else {
    EXPECT_EQ(written, "");
  }
  const Lines& all = builder.objectEnumerator();
  return Lines(all.begin() + before, all.end());
}

TEST(SetPaperSize, SendsTheNameOfEachSize) {
  expectRows(&pjlCreation::setPaperSize, "media",
             {
                 {"A3", {"@PJL SET PAPER = A3\n"}},
                 {"A4", {"@PJL SET PAPER = A4\n"}},
                 {"A5", {"@PJL SET PAPER = A5\n"}},
                 {"A6", {"@PJL SET PAPER = A6\n"}},
                 {"B4", {"@PJL SET PAPER = JIS B4\n"}},
                 {"B5", {"@PJL SET PAPER = JISB5\n"}},
                 {"Letter", {"@PJL SET PAPER = LETTER\n"}},
                 {"Legal", {"@PJL SET PAPER = LEGAL\n"}},
                 {"Executive", {"@PJL SET PAPER = EXECUTIVE\n"}},
                 {"Folio", {"@PJL SET PAPER = FOLIO\n"}},
                 {"Statement", {"@PJL SET PAPER = STATEMENT\n"}},
                 {"Universal", {"@PJL SET PAPER = CUSTOM\n"}},
                 {"OthEnv", {"@PJL SET PAPER = OTHERENVELOPE\n"}},
                 {"Monarch", {"@PJL SET PAPER = MONARCH\n"}},
                 {"Comm10", {"@PJL SET PAPER = COM10\n"}},
                 {"DL", {"@PJL SET PAPER = DL\n"}},
                 {"C4", {"@PJL SET PAPER = COM9\n"}},
                 {"C5", {"@PJL SET PAPER = C5\n"}},
                 {"ISOB5", {"@PJL SET PAPER = B5\n"}},
                 {"11x17", {"@PJL SET PAPER = LEDGER\n"}},
                 {"Tabloid", {"@PJL SET PAPER = LEDGER\n"}},
                 {"Oficio", {"@PJL SET PAPER = OFICIO\n"}},
             });
}

TEST(SetPaperSize, AppendsNothingForAnUnknownNameWithoutX) {
  expectNothing(&pjlCreation::setPaperSize, "media",
                {"", "a4", "A2", "letter", "LETTER", "JISB5", "Custom", "Ledger", " A4", "Foo",
                 "11X17", "printers", "Custom.", "Custom.A4", "Custom.612X792"});
}

TEST(SetPaperSize, SendsAnUnknownSizeAsACustomSize) {
  expectRows(&pjlCreation::setPaperSize, "media",
             {
                 {"Custom.612x792", customLines("8.50", "11.00")},
                 {"Custom.612.00x792.00", customLines("8.50", "11.00")},
                 {"612x792", customLines("8.50", "11.00")},
                 {"12x18", customLines("0.17", "0.25")},
                 {"11x17 ", customLines("0.15", "0.24")},
                 {"Custom.11x17", customLines("0.15", "0.24")},
                 {"executive", customLines("0.00", "0.00")},  // has an "x"
                 {"Legalx", customLines("0.00", "0.00")},
             });
}

TEST(SetPaperSize, TakesUnitsForPoints) {
  expectRows(&pjlCreation::setPaperSize, "media",
             {{"Custom.8.5x11in", customLines("0.12", "0.15")},
              {"Custom.210x297mm", customLines("2.92", "4.12")}});
}

TEST(SetPaperSize, SplitsAtCustomWhereverItIs) {
  expectRows(&pjlCreation::setPaperSize, "media",
             {
                 {"144x144Custom.72x72", customLines("1.00", "1.00")},  // only what follows
                 {"custom.72x72", customLines("0.00", "1.00")},         // no "Custom." in it
                 {"Custom72x72", customLines("0.00", "1.00")},
                 {"Custom:72x72", customLines("0.00", "1.00")},
             });
}

TEST(SetPaperSize, ReportsASizeWithSeveralCustom) {
  for (const std::string_view media :
       {"Custom.Custom.1x1", "Custom.1x1Custom.", "Custom.72x72Custom.72x72Custom.72x72"}) {
    argumentStore store;
    store.addOption("media", media);
    pjlCreation builder;
    builder.initFromArgsStore(store, "ada", "");
    const std::size_t before = builder.count();
    ::testing::internal::CaptureStderr();
    builder.setPaperSize();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "ERROR: Custom media size value is nil.\n")
        << media;
    EXPECT_EQ(builder.count(), before) << media;
  }
}

TEST(SetCustomPaper, SendsPointsAsInches) {
  EXPECT_EQ(customPaper("612x792"), customLines("8.50", "11.00"));
  EXPECT_EQ(customPaper("72x144"), customLines("1.00", "2.00"));
  EXPECT_EQ(customPaper("1x2"), customLines("0.01", "0.03"));
  EXPECT_EQ(customPaper("595.276x841.89"), customLines("8.27", "11.69"));
}

TEST(SetCustomPaper, ReportsAnAbsentSize) {
  std::string message;
  EXPECT_EQ(customPaper(std::nullopt, &message), Lines());
  EXPECT_EQ(message, "ERROR: Custom media size value is nil.\n");
}

TEST(SetCustomPaper, AppendsNothingWithoutX) {
  for (const std::string_view size : {"", "612", "612X792", "Foo", "PrinterS", "612,792"}) {
    EXPECT_EQ(customPaper(size), Lines()) << size;
  }
}

TEST(SetCustomPaper, IgnoresAThirdPart) {
  EXPECT_EQ(customPaper("72x144x216"), customLines("1.00", "2.00"));
  EXPECT_EQ(customPaper("72x144x"), customLines("1.00", "2.00"));
  EXPECT_EQ(customPaper("72xx144"), customLines("1.00", "0.00"));
}

TEST(SetCustomPaper, ReadsAMissingNumberAsZero) {
  EXPECT_EQ(customPaper("x"), customLines("0.00", "0.00"));
  EXPECT_EQ(customPaper("72x"), customLines("1.00", "0.00"));
  EXPECT_EQ(customPaper("x72"), customLines("0.00", "1.00"));
  EXPECT_EQ(customPaper("widexhigh"), customLines("0.00", "0.00"));
}

TEST(SetCustomPaper, ReadsSignsExponentsAndWhiteSpace) {
  EXPECT_EQ(customPaper("-72x+72"), customLines("-1.00", "1.00"));
  EXPECT_EQ(customPaper(" 72 x\t144 "), customLines("1.00", "2.00"));
  EXPECT_EQ(customPaper("7.2e1x1440E-1"), customLines("1.00", "2.00"));
  EXPECT_EQ(customPaper("7.2e+2x.72e2"), customLines("10.00", "1.00"));
  EXPECT_EQ(customPaper("--72x- 72"), customLines("0.00", "0.00"));
}

TEST(SetCustomPaper, TakesInfNanAndHexadecimalsForText) {
  EXPECT_EQ(customPaper("infxinfinity"), customLines("0.00", "0.00"));
  EXPECT_EQ(customPaper("nanx-nan"), customLines("0.00", "0.00"));
  EXPECT_EQ(customPaper("-infx-INF"), customLines("0.00", "0.00"));
  EXPECT_EQ(customPaper("0x10"), customLines("0.00", "0.14"));  // not a hexadecimal number
  EXPECT_EQ(customPaper("0x10x72"), customLines("0.00", "0.14"));
}

TEST(SetCustomPaper, ClampsToTheLargestSingleNumber) {
  const std::string largest = "4726143703312900830718113659507179520.00";  // inches
  EXPECT_EQ(customPaper("1e39x-1e39"), customLines(largest, "-" + largest));
  EXPECT_EQ(customPaper("1e-50x1e-40"), customLines("0.00", "0.00"));
}

TEST(SetCustomPaper, DividesInSinglePrecision) {
  EXPECT_EQ(customPaper("16777217x999999.99"), customLines("233016.89", "13888.89"));
  EXPECT_EQ(customPaper("123456789x72"), customLines("1714677.62", "1.00"));
}

TEST(SetMediaType, SendsTheNameOfEachType) {
  expectRows(&pjlCreation::setMediaType, "MediaType",
             {
                 {"Plain", {"@PJL SET MEDIATYPE = \"PLAIN\"\n"}},
                 {"Bond", {"@PJL SET MEDIATYPE = \"BOND\"\n"}},
                 {"Transparency", {"@PJL SET MEDIATYPE = \"TRANSPARENCY\"\n"}},
                 {"Card", {"@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"}},
                 {"Cardstock", {"@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"}},
                 {"Labels", {"@PJL SET MEDIATYPE = \"LABELS\"\n"}},
                 {"LabelsPaper", {"@PJL SET MEDIATYPE = \"LABELS\"\n"}},
                 {"Letterhead", {"@PJL SET MEDIATYPE = \"LETTERHEAD\"\n"}},
                 {"Preprint", {"@PJL SET MEDIATYPE = \"PREPRINTED\"\n"}},
                 {"Colored", {"@PJL SET MEDIATYPE = \"COLORED\"\n"}},
                 {"Envelope", {"@PJL SET MEDIATYPE = \"ENVELOPE\"\n"}},
                 {"Light", {"@PJL SET MEDIATYPE = \"LIGHT\"\n"}},
                 {"Heavy", {"@PJL SET MEDIATYPE = \"HEAVY\"\n"}},
                 {"Rough", {"@PJL SET MEDIATYPE = \"ROUGH\"\n"}},
                 {"RoughCotton", {"@PJL SET MEDIATYPE = \"ROUGH\"\n"}},
                 {"Recycled", {"@PJL SET MEDIATYPE = \"RECYCLED\"\n"}},
                 {"HeavyGlossy", {"@PJL SET MEDIATYPE = \"HEAVYGLOSSY\"\n"}},
                 {"RoughEnvelope", {"@PJL SET MEDIATYPE = \"ROUGHENVELOPE\"\n"}},
                 {"Custom1", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE1\"\n"}},
                 {"Custom2", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE2\"\n"}},
                 {"Custom3", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE3\"\n"}},
                 {"Custom4", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE4\"\n"}},
                 {"Custom5", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE5\"\n"}},
                 {"Custom6", {"@PJL SET MEDIATYPE = \"CUSTOMTYPE6\"\n"}},
                 {"Vinyl", {"@PJL SET MEDIATYPE = \"VINYL\"\n"}},
                 {"VinylPaper", {"@PJL SET MEDIATYPE = \"VINYL\"\n"}},
                 {"Glossy", {"@PJL SET MEDIATYPE = \"GLOSSY\"\n"}},
             });
}

TEST(SetMediaType, PassesAnUnknownTypeOnByName) {
  expectRows(&pjlCreation::setMediaType, "MediaType",
             {
                 {"Transparent", {"@PJL SET MEDIATYPE = \"Transparent\"\n"}},
                 {"plain", {"@PJL SET MEDIATYPE = \"plain\"\n"}},
                 {"PLAIN", {"@PJL SET MEDIATYPE = \"PLAIN\"\n"}},
                 {"Custom7", {"@PJL SET MEDIATYPE = \"Custom7\"\n"}},
                 {"printers", {"@PJL SET MEDIATYPE = \"printers\"\n"}},
                 {"", {"@PJL SET MEDIATYPE = \"\"\n"}},
                 {"B\x9ftten", {"@PJL SET MEDIATYPE = \"B\x9ftten\"\n"}},
                 {"a\"b\nc", {"@PJL SET MEDIATYPE = \"a\"b\nc\"\n"}},  // one element of the list
             });
  expectNothing(&pjlCreation::setMediaType, "MediaType", {});
}

const std::vector<ExpectedRow> kPaperSources = {
    {"Tray1", {"@PJL SET QPAPERSOURCE = TRAY1\n"}},
    {"Tray2", {"@PJL SET QPAPERSOURCE = TRAY2\n"}},
    {"Tray3", {"@PJL SET QPAPERSOURCE = TRAY3\n"}},
    {"Tray4", {"@PJL SET QPAPERSOURCE = TRAY4\n"}},
    {"Tray5", {"@PJL SET QPAPERSOURCE = TRAY5\n"}},
    {"MultipurposeFeeder", {"@PJL SET QPAPERSOURCE = MPFEEDER\n"}},
    {"ManualPaper", {"@PJL SET QPAPERSOURCE = MANUALPAPER\n"}},
    {"ManualEnv", {"@PJL SET QPAPERSOURCE = MANUALENVELOPE\n"}},
    {"EnvFeeder", {"@PJL SET QPAPERSOURCE = FEEDER\n"}},
    {"EnvDrawr2", {"@PJL SET QPAPERSOURCE = TRAY2\n"}},
    {"EnvDrawr3", {"@PJL SET QPAPERSOURCE = TRAY3\n"}},
    {"EnvDrawr4", {"@PJL SET QPAPERSOURCE = TRAY4\n"}},
};

TEST(SetPaperSource, SendsTheNameOfEachSlotFromEachOption) {
  expectRows(&pjlCreation::setPaperSource, "InputSlot", kPaperSources);
  expectRows(&pjlCreation::setPaperSource, "AP_D_InputSlot", kPaperSources);
  expectRows(&pjlCreation::setPaperSource, kPrimaryFeed, kPaperSources);
}

TEST(SetPaperSource, AppendsNothingForAnUnknownSlot) {
  for (const std::string_view option :
       {std::string_view("InputSlot"), std::string_view("AP_D_InputSlot"), kPrimaryFeed}) {
    expectNothing(&pjlCreation::setPaperSource, option,
                  {"", "tray1", "TRAY1", "Tray6", "Tray", "EnvDrawr1", "EnvDrawr5", "envfeeder",
                   "manualpaper", "Auto"});
  }
}

TEST(SetPaperSource, FirstPageWithItsOwnSlotLeavesTheOthers) {
  const auto source = [](std::string_view firstPage, std::string_view slot) {
    return appended({{"AP_FIRSTPAGE_InputSlot", firstPage}, {"InputSlot", slot}},
                    {&pjlCreation::setPaperSource});
  };
  EXPECT_EQ(source("Tray1", "Tray2"), Lines{"@PJL SET QPAPERSOURCE = TRAY2\n"});
  EXPECT_EQ(source("Tray1", "tray1"), Lines());
  EXPECT_EQ(source("tray2", "Tray2"), Lines{"@PJL SET QPAPERSOURCE = TRAY2\n"});
  EXPECT_EQ(source("Tray1", "Tray1"), Lines());
  EXPECT_EQ(source("Tray1", "PrinterS"), Lines());
  EXPECT_EQ(source("PrinterS", "Tray3"), Lines{"@PJL SET QPAPERSOURCE = TRAY3\n"});
  EXPECT_EQ(source("", "ManualEnv"), Lines{"@PJL SET QPAPERSOURCE = MANUALENVELOPE\n"});
}

TEST(SetPaperSource, FirstPageAloneChoosesNothing) {
  EXPECT_EQ(appended({{"AP_FIRSTPAGE_InputSlot", "Tray1"}}, {&pjlCreation::setPaperSource}),
            Lines());
  EXPECT_EQ(appended({{"AP_FIRSTPAGE_InputSlot", "Tray1"},
                      {"AP_D_InputSlot", "Tray2"},
                      {kPrimaryFeed, "Tray3"}},
                     {&pjlCreation::setPaperSource}),
            Lines());
  EXPECT_EQ(appended({{"AP_FIRSTPAGE_InputSlot", "Tray1"},
                      {"InputSlot", "Tray1"},
                      {"AP_D_InputSlot", "Tray2"},
                      {kPrimaryFeed, "Tray3"}},
                     {&pjlCreation::setPaperSource}),
            Lines());
}

TEST(SetPaperSource, OptionsCountInTheirOrder) {
  const Options all = {{"AP_FIRSTPAGE_InputSlot", "Tray1"},
                       {"AP_D_InputSlot", "Tray2"},
                       {"InputSlot", "Tray3"},
                       {kPrimaryFeed, "Tray4"}};
  const auto from = [&all](std::ptrdiff_t first) {
    return appended(Options(all.begin() + first, all.end()), {&pjlCreation::setPaperSource});
  };
  EXPECT_EQ(from(0), Lines{"@PJL SET QPAPERSOURCE = TRAY3\n"});
  EXPECT_EQ(from(1), Lines{"@PJL SET QPAPERSOURCE = TRAY2\n"});
  EXPECT_EQ(from(2), Lines{"@PJL SET QPAPERSOURCE = TRAY3\n"});
  EXPECT_EQ(from(3), Lines{"@PJL SET QPAPERSOURCE = TRAY4\n"});
}

TEST(SetPaperSource, PrinterSettingHidesTheOptionsAfterIt) {
  EXPECT_EQ(appended({{"AP_D_InputSlot", "PrinterS"}, {"InputSlot", "Tray3"}},
                     {&pjlCreation::setPaperSource}),
            Lines());
  EXPECT_EQ(appended({{"InputSlot", "PrinterS"}, {kPrimaryFeed, "Tray4"}},
                     {&pjlCreation::setPaperSource}),
            Lines());
}

TEST(SetOutputBin, SendsTheNameOfEachBin) {
  expectRows(&pjlCreation::setOutputBin, "OutputBin",
             {
                 {"Bin1", {"@PJL SET OUTBIN = OPTIONALOUTBIN1\n"}},
                 {"FinisherBin1", {"@PJL SET OUTBIN = OPTIONALOUTBIN1\n"}},
                 {"Bin2", {"@PJL SET OUTBIN = OPTIONALOUTBIN2\n"}},
                 {"FinisherBin2", {"@PJL SET OUTBIN = OPTIONALOUTBIN2\n"}},
                 {"Bin3", {"@PJL SET OUTBIN = OPTIONALOUTBIN3\n"}},
                 {"Bin4", {"@PJL SET OUTBIN = OPTIONALOUTBIN4\n"}},
                 {"Bin5", {"@PJL SET OUTBIN = OPTIONALOUTBIN5\n"}},
                 {"Bin6", {"@PJL SET OUTBIN = OPTIONALOUTBIN6\n"}},
                 {"Bin7", {"@PJL SET OUTBIN = OPTIONALOUTBIN7\n"}},
                 {"Bin8", {"@PJL SET OUTBIN = OPTIONALOUTBIN8\n"}},
                 {"Bin9", {"@PJL SET OUTBIN = OPTIONALOUTBIN9\n"}},
                 {"Bin10", {"@PJL SET OUTBIN = OPTIONALOUTBIN10\n"}},
                 {"StandardBin", {"@PJL SET OUTBIN = UPPER\n"}},
                 {"2ndExitBin", {"@PJL SET OUTBIN = UPPER\n"}},
             });
  expectNothing(&pjlCreation::setOutputBin, "OutputBin",
                {"", "bin1", "BIN1", "Bin0", "Bin11", "FinisherBin3", "finisherbin1", "Upper",
                 "standardbin", "2ndexitbin"});
}

TEST(SetSeparatorPage, SendsWhereSheetsComeBetween) {
  expectRows(&pjlCreation::setSeparatorPage, "SepPages",
             {
                 {"Jobs", {"@PJL SET QSEPARATORSHEETS = BETWEENJOBS\n"}},
                 {"Copies", {"@PJL SET QSEPARATORSHEETS = BETWEENCOPIES\n"}},
                 {"Pages", {"@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n"}},
                 {"None", {"@PJL SET QSEPARATORSHEETS = NONE\n"}},
                 {"NoneF", {"@PJL SET QSEPARATORSHEETS = NONE\n"}},
             });
  expectNothing(&pjlCreation::setSeparatorPage, "SepPages",
                {"", "jobs", "COPIES", "pages", "none", "NoneM", "Nonef"});
}

TEST(SetSeparatorSource, SendsTheTraysWithoutManualFeed) {
  expectRows(&pjlCreation::setSeparatorSource, "SepSource",
             {
                 {"Tray1", {"@PJL SET QSEPARATORSOURCE = TRAY1\n"}},
                 {"Tray2", {"@PJL SET QSEPARATORSOURCE = TRAY2\n"}},
                 {"Tray3", {"@PJL SET QSEPARATORSOURCE = TRAY3\n"}},
                 {"Tray4", {"@PJL SET QSEPARATORSOURCE = TRAY4\n"}},
                 {"Tray5", {"@PJL SET QSEPARATORSOURCE = TRAY5\n"}},
                 {"MultipurposeFeeder", {"@PJL SET QSEPARATORSOURCE = MPFEEDER\n"}},
                 {"EnvFeeder", {"@PJL SET QSEPARATORSOURCE = FEEDER\n"}},
                 {"EnvDrawr2", {"@PJL SET QSEPARATORSOURCE = TRAY2\n"}},
                 {"EnvDrawr3", {"@PJL SET QSEPARATORSOURCE = TRAY3\n"}},
                 {"EnvDrawr4", {"@PJL SET QSEPARATORSOURCE = TRAY4\n"}},
             });
  expectNothing(&pjlCreation::setSeparatorSource, "SepSource",
                {"", "ManualPaper", "ManualEnv", "tray1", "TRAY1", "Tray6", "EnvDrawr1",
                 "multipurposefeeder"});
}

TEST(SetOffsetPage, KnowsNeitherPagesNorNoneF) {
  expectRows(&pjlCreation::setOffsetPage, "Offset",
             {
                 {"Jobs", {"@PJL SET JOBOFFSET = BETWEENJOBS\n"}},
                 {"Copies", {"@PJL SET JOBOFFSET = BETWEENCOPIES\n"}},
                 {"None", {"@PJL SET JOBOFFSET = NONE\n"}},
             });
  expectNothing(&pjlCreation::setOffsetPage, "Offset",
                {"", "NoneF", "Pages", "jobs", "COPIES", "none"});
}

TEST(PaperSettings, LinesComeInTheOrderOfTheCalls) {
  const Options options = {{"media", "Custom.72x144"}, {"MediaType", "Bond"},
                           {"InputSlot", "ManualEnv"}, {"OutputBin", "Bin3"},
                           {"SepPages", "Pages"},      {"SepSource", "EnvDrawr4"},
                           {"Offset", "Jobs"}};
  EXPECT_EQ(appended(options, {&pjlCreation::setOffsetPage, &pjlCreation::setOutputBin,
                               &pjlCreation::setPaperSize, &pjlCreation::setSeparatorSource,
                               &pjlCreation::setPaperSource, &pjlCreation::setSeparatorPage,
                               &pjlCreation::setMediaType, &pjlCreation::setOutputBin}),
            (Lines{"@PJL SET JOBOFFSET = BETWEENJOBS\n", "@PJL SET OUTBIN = OPTIONALOUTBIN3\n",
                   "@PJL SET QCUSTOMPAPERUNITS = INCHES\n", "@PJL SET QCUSTOMPAPERWIDTH = 1.00\n",
                   "@PJL SET QCUSTOMPAPERHEIGHT = 2.00\n", "@PJL SET QSEPARATORSOURCE = TRAY4\n",
                   "@PJL SET QPAPERSOURCE = MANUALENVELOPE\n",
                   "@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n", "@PJL SET MEDIATYPE = \"BOND\"\n",
                   "@PJL SET OUTBIN = OPTIONALOUTBIN3\n"}));
}

TEST(PaperSettings, HeaderHasNoneOfThem) {
  EXPECT_EQ(appended({{"media", "A4"}, {"MediaType", "Bond"}, {"InputSlot", "Tray1"}}, {}),
            Lines());
}

}  // namespace
}  // namespace jobshaper::testing
