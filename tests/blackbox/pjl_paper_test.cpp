// Paper sizes, media types, sources and bins, and the PJL lines for them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/blackbox/pjl_vocabulary.h"

namespace {

using namespace jobshaper::testing;

const std::string kNoSize = "ERROR: Custom media size value is nil.\n";

std::string inches(const std::string& width, const std::string& height) {
  return "@PJL SET QCUSTOMPAPERUNITS = INCHES\n@PJL SET QCUSTOMPAPERWIDTH = " + width +
         "\n@PJL SET QCUSTOMPAPERHEIGHT = " + height + "\n";
}

TEST(PjlPaper, EverySizeHasItsName) {
  expectTable("setPaperSize", "media",
              {{"A3", "@PJL SET PAPER = A3\n"},
               {"A4", "@PJL SET PAPER = A4\n"},
               {"A5", "@PJL SET PAPER = A5\n"},
               {"A6", "@PJL SET PAPER = A6\n"},
               {"B4", "@PJL SET PAPER = JIS B4\n"},
               {"B5", "@PJL SET PAPER = JISB5\n"},
               {"Letter", "@PJL SET PAPER = LETTER\n"},
               {"Legal", "@PJL SET PAPER = LEGAL\n"},
               {"Executive", "@PJL SET PAPER = EXECUTIVE\n"},
               {"Folio", "@PJL SET PAPER = FOLIO\n"},
               {"Statement", "@PJL SET PAPER = STATEMENT\n"},
               {"Universal", "@PJL SET PAPER = CUSTOM\n"},
               {"OthEnv", "@PJL SET PAPER = OTHERENVELOPE\n"},
               {"Monarch", "@PJL SET PAPER = MONARCH\n"},
               {"Comm10", "@PJL SET PAPER = COM10\n"},
               {"DL", "@PJL SET PAPER = DL\n"},
               {"C4", "@PJL SET PAPER = COM9\n"},
               {"C5", "@PJL SET PAPER = C5\n"},
               {"ISOB5", "@PJL SET PAPER = B5\n"},
               {"11x17", "@PJL SET PAPER = LEDGER\n"},
               {"Tabloid", "@PJL SET PAPER = LEDGER\n"},
               {"Oficio", "@PJL SET PAPER = OFICIO\n"},
               {"a4", ""},
               {"LETTER", ""},
               {"A4Small", ""},
               {"'A4 '", ""},
               {"JIS<20>B4", ""},
               {"Foo", ""}});
}

TEST(PjlPaper, AnyOtherSizeIsReadInPoints) {
  expectTable("setPaperSize", "media",
              {{"Custom.612x792", inches("8.50", "11.00")},
               {"Custom.612.00x792.00", inches("8.50", "11.00")},
               {"612x792", inches("8.50", "11.00")},
               {"Any.Custom.612x792", inches("8.50", "11.00")},
               {"Custom.8.5x11in", inches("0.12", "0.15")},
               {"Custom.11x17", inches("0.15", "0.24")},
               {"11X17", ""},
               {"11x17in", inches("0.15", "0.24")},
               {"executive", inches("0.00", "0.00")},
               {"custom.612x792", inches("0.00", "11.00")},
               {"Custom612x792", inches("0.00", "11.00")},
               {"Custom.<20>612<20>x<20>792", inches("8.50", "11.00")},
               {"Custom.", ""},
               {"612x792Custom.", ""},
               {"Custom.A4", ""}});
}

TEST(PjlPaper, SecondCustomLeavesNoSize) {
  for (const std::string value :
       {"Custom.Custom.1x1", "Custom.72x72Custom.", "aCustom.bCustom.c", "Custom.Custom.Custom."}) {
    expectLines("media=" + value, {"setPaperSize"}, "", kNoSize);
  }
}

TEST(PjlPaper, MessageComesWithEveryCallAndTheOtherLinesGoOn) {
  expectLines("media=Custom.Custom.1x1 MediaType=Plain",
              {"setPaperSize", "setMediaType", "setPaperSize"}, "@PJL SET MEDIATYPE = \"PLAIN\"\n",
              kNoSize + kNoSize);
}

struct SizeRow {
  std::string size;
  std::string width;
  std::string height;
};

TEST(PjlPaper, CustomSizeIsReadAsNumbers) {
  const std::vector<SizeRow> rows{
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
      // Text after a second x is ignored.
      {"72x144x216", "1.00", "2.00"},
      {"72xx144", "1.00", "0.00"},
      {"x", "0.00", "0.00"},
      {"x72", "0.00", "1.00"},
      {"72x", "1.00", "0.00"},
      // An exact tie is rounded to the even digit.
      {"9x27", "0.12", "0.38"},
      {"45x63", "0.62", "0.88"},
      // Reading and division round to single precision, which changes 7.045, 14.495 and 138888.903.
      {"507.24x1043.64", "7.05", "14.49"},
      {"16777217x10000001", "233016.89", "138888.91"},
      {"1e99x-1e99", "4726143703312900830718113659507179520.00",
       "-4726143703312900830718113659507179520.00"},
      {"3.5e38x3.4e38", "4726143703312900830718113659507179520.00",
       "4722222226181094803064583608141348864.00"},
      {"1e2147483648x1e-2147483648", "4726143703312900830718113659507179520.00", "0.00"},
      {"0e99999x-0.0001e42", "0.00", "-1388888862090382289984523087026061312.00"}};
  for (const SizeRow& row : rows) {
    expectLines("", {"setCustomPaper=" + row.size}, inches(row.width, row.height));
  }
}

TEST(PjlPaper, CustomSizeWithoutSecondNumberAppendsNothing) {
  expectLines("",
              {"setCustomPaper=612", "setCustomPaper=", "setCustomPaper=612X792",
               "setCustomPaper=612*792", "setCustomPaper=A4"},
              "");
}

TEST(PjlPaper, EveryMediaTypeHasItsName) {
  expectTable("setMediaType", "MediaType",
              {{"Plain", "@PJL SET MEDIATYPE = \"PLAIN\"\n"},
               {"Bond", "@PJL SET MEDIATYPE = \"BOND\"\n"},
               {"Transparency", "@PJL SET MEDIATYPE = \"TRANSPARENCY\"\n"},
               {"Card", "@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"},
               {"Cardstock", "@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"},
               {"Labels", "@PJL SET MEDIATYPE = \"LABELS\"\n"},
               {"LabelsPaper", "@PJL SET MEDIATYPE = \"LABELS\"\n"},
               {"Letterhead", "@PJL SET MEDIATYPE = \"LETTERHEAD\"\n"},
               {"Preprint", "@PJL SET MEDIATYPE = \"PREPRINTED\"\n"},
               {"Colored", "@PJL SET MEDIATYPE = \"COLORED\"\n"},
               {"Envelope", "@PJL SET MEDIATYPE = \"ENVELOPE\"\n"},
               {"Light", "@PJL SET MEDIATYPE = \"LIGHT\"\n"},
               {"Heavy", "@PJL SET MEDIATYPE = \"HEAVY\"\n"},
               {"Rough", "@PJL SET MEDIATYPE = \"ROUGH\"\n"},
               {"RoughCotton", "@PJL SET MEDIATYPE = \"ROUGH\"\n"},
               {"Recycled", "@PJL SET MEDIATYPE = \"RECYCLED\"\n"},
               {"HeavyGlossy", "@PJL SET MEDIATYPE = \"HEAVYGLOSSY\"\n"},
               {"RoughEnvelope", "@PJL SET MEDIATYPE = \"ROUGHENVELOPE\"\n"},
               {"Custom1", "@PJL SET MEDIATYPE = \"CUSTOMTYPE1\"\n"},
               {"Custom2", "@PJL SET MEDIATYPE = \"CUSTOMTYPE2\"\n"},
               {"Custom3", "@PJL SET MEDIATYPE = \"CUSTOMTYPE3\"\n"},
               {"Custom4", "@PJL SET MEDIATYPE = \"CUSTOMTYPE4\"\n"},
               {"Custom5", "@PJL SET MEDIATYPE = \"CUSTOMTYPE5\"\n"},
               {"Custom6", "@PJL SET MEDIATYPE = \"CUSTOMTYPE6\"\n"},
               {"Vinyl", "@PJL SET MEDIATYPE = \"VINYL\"\n"},
               {"VinylPaper", "@PJL SET MEDIATYPE = \"VINYL\"\n"},
               {"Glossy", "@PJL SET MEDIATYPE = \"GLOSSY\"\n"},
               {"Transparent", "@PJL SET MEDIATYPE = \"Transparent\"\n"},
               {"Custom7", "@PJL SET MEDIATYPE = \"Custom7\"\n"},
               {"plain", "@PJL SET MEDIATYPE = \"plain\"\n"},
               {"PLAIN", "@PJL SET MEDIATYPE = \"PLAIN\"\n"},
               {"LightPaper", "@PJL SET MEDIATYPE = \"LightPaper\"\n"}});
}

TEST(PjlPaper, UnknownMediaTypePassesUnchanged) {
  expectTable("setMediaType", "MediaType",
              {{"'Thick \"A\" Paper'", "@PJL SET MEDIATYPE = \"Thick \"A\" Paper\"\n"},
               {"\"It's = that\"", "@PJL SET MEDIATYPE = \"It's = that\"\n"},
               {"Thick\\ Paper", "@PJL SET MEDIATYPE = \"Thick Paper\"\n"},
               {"a<20>b<2c>c<27>d<3D>e<3C>f<3e>g", "@PJL SET MEDIATYPE = \"a b,c'd=e<f>g\"\n"},
               {"<3C>27>", "@PJL SET MEDIATYPE = \"<27>\"\n"},
               {"<50>lain", "@PJL SET MEDIATYPE = \"<50>lain\"\n"},
               {"<3>", "@PJL SET MEDIATYPE = \"<3>\"\n"},
               {"%s%d%@%%", "@PJL SET MEDIATYPE = \"%s%d%@%%\"\n"},
               {"'two\nlines'", "@PJL SET MEDIATYPE = \"two\nlines\"\n"},
               {"K\x8ase\xdb", "@PJL SET MEDIATYPE = \"K\x8ase\xdb\"\n"}});
  expectLines("MediaType", {"setMediaType"}, "@PJL SET MEDIATYPE = \"true\"\n");
}

TEST(PjlPaper, EverySourceHasItsName) {
  const std::vector<Row> rows{{"Tray1", "@PJL SET QPAPERSOURCE = TRAY1\n"},
                              {"Tray2", "@PJL SET QPAPERSOURCE = TRAY2\n"},
                              {"Tray3", "@PJL SET QPAPERSOURCE = TRAY3\n"},
                              {"Tray4", "@PJL SET QPAPERSOURCE = TRAY4\n"},
                              {"Tray5", "@PJL SET QPAPERSOURCE = TRAY5\n"},
                              {"MultipurposeFeeder", "@PJL SET QPAPERSOURCE = MPFEEDER\n"},
                              {"ManualPaper", "@PJL SET QPAPERSOURCE = MANUALPAPER\n"},
                              {"ManualEnv", "@PJL SET QPAPERSOURCE = MANUALENVELOPE\n"},
                              {"EnvFeeder", "@PJL SET QPAPERSOURCE = FEEDER\n"},
                              {"EnvDrawr2", "@PJL SET QPAPERSOURCE = TRAY2\n"},
                              {"EnvDrawr3", "@PJL SET QPAPERSOURCE = TRAY3\n"},
                              {"EnvDrawr4", "@PJL SET QPAPERSOURCE = TRAY4\n"},
                              {"EnvDrawr1", ""},
                              {"EnvDrawr5", ""},
                              {"Tray6", ""},
                              {"tray1", ""},
                              {"TRAY1", ""},
                              {"manualpaper", ""},
                              {"AutoSelect", ""},
                              {"'Tray1 '", ""}};
  expectTable("setPaperSource", "InputSlot", rows);
  for (const Row& row : rows) {
    expectLines("AP_FIRSTPAGE_InputSlot=Other InputSlot=" + row.value, {"setPaperSource"},
                row.lines);
    expectLines("AP_D_InputSlot=" + row.value, {"setPaperSource"}, row.lines);
    expectLines(kFeed + row.value, {"setPaperSource"}, row.lines);
  }
}

TEST(PjlPaper, SourceIsChosenAmongFourOptions) {
  const std::string tray1 = "@PJL SET QPAPERSOURCE = TRAY1\n";
  const std::string tray2 = "@PJL SET QPAPERSOURCE = TRAY2\n";
  const std::string tray3 = "@PJL SET QPAPERSOURCE = TRAY3\n";
  const std::vector<Row> rows{
      {"AP_FIRSTPAGE_InputSlot=Tray1 InputSlot=Tray1", ""},
      {"AP_FIRSTPAGE_InputSlot=Tray1 InputSlot=Tray2", tray2},
      {"InputSlot=Tray2 AP_FIRSTPAGE_InputSlot=tray2", tray2},
      {"AP_FIRSTPAGE_InputSlot=PrinterS InputSlot=Tray3", tray3},
      {"AP_FIRSTPAGE_InputSlot= InputSlot=Tray3", tray3},
      {"AP_FIRSTPAGE_InputSlot=Tray1 InputSlot=PrinterS", ""},
      {"AP_FIRSTPAGE_InputSlot=Tray1", ""},
      {"AP_FIRSTPAGE_InputSlot=Tray1 AP_D_InputSlot=Tray2 " + kFeed + "Tray3", ""},
      {"AP_FIRSTPAGE_InputSlot=Tray1 AP_D_InputSlot=Tray2 InputSlot=Tray1", ""},
      {"AP_FIRSTPAGE_InputSlot=Tray1 AP_D_InputSlot=Tray2 InputSlot=Tray3", tray3},
      {"AP_D_InputSlot=Tray1 InputSlot=Tray2 " + kFeed + "Tray3", tray1},
      {"AP_D_InputSlot=Tray1 InputSlot=Tray1", tray1},
      {"AP_D_InputSlot=PrinterS InputSlot=Tray2", ""},
      {"AP_D_InputSlot=Bogus InputSlot=Tray2", ""},
      {"AP_D_InputSlot= InputSlot=Tray2", ""},
      {"InputSlot=Tray2 " + kFeed + "Tray3", tray2},
      {"InputSlot=PrinterS " + kFeed + "Tray3", ""},
      {"InputSlot= " + kFeed + "Tray3", ""},
      {kFeed + "Tray3", tray3},
      {kFeed + "PrinterS", ""}};
  for (const Row& row : rows) expectLines(row.value, {"setPaperSource"}, row.lines);
}

TEST(PjlPaper, EveryBinHasItsName) {
  expectTable("setOutputBin", "OutputBin",
              {{"Bin1", "@PJL SET OUTBIN = OPTIONALOUTBIN1\n"},
               {"FinisherBin1", "@PJL SET OUTBIN = OPTIONALOUTBIN1\n"},
               {"Bin2", "@PJL SET OUTBIN = OPTIONALOUTBIN2\n"},
               {"FinisherBin2", "@PJL SET OUTBIN = OPTIONALOUTBIN2\n"},
               {"Bin3", "@PJL SET OUTBIN = OPTIONALOUTBIN3\n"},
               {"Bin4", "@PJL SET OUTBIN = OPTIONALOUTBIN4\n"},
               {"Bin5", "@PJL SET OUTBIN = OPTIONALOUTBIN5\n"},
               {"Bin6", "@PJL SET OUTBIN = OPTIONALOUTBIN6\n"},
               {"Bin7", "@PJL SET OUTBIN = OPTIONALOUTBIN7\n"},
               {"Bin8", "@PJL SET OUTBIN = OPTIONALOUTBIN8\n"},
               {"Bin9", "@PJL SET OUTBIN = OPTIONALOUTBIN9\n"},
               {"Bin10", "@PJL SET OUTBIN = OPTIONALOUTBIN10\n"},
               {"StandardBin", "@PJL SET OUTBIN = UPPER\n"},
               {"2ndExitBin", "@PJL SET OUTBIN = UPPER\n"},
               {"Bin11", ""},
               {"Bin0", ""},
               {"FinisherBin3", ""},
               {"bin1", ""},
               {"BIN1", ""},
               {"standardbin", ""}});
}

}  // namespace
