// Paper settings: size and type, paper source, separator sheets, output bin and job offset.
#include "pjl/pjl_creation.h"

#include <cstdio>

#include "settings/numbers.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

// clang-format off
constexpr OptionRow kPaperSizeRows[] = {
    {"A3",        "@PJL SET PAPER = A3\n"},
    {"A4",        "@PJL SET PAPER = A4\n"},
    {"A5",        "@PJL SET PAPER = A5\n"},
    {"A6",        "@PJL SET PAPER = A6\n"},
    {"B4",        "@PJL SET PAPER = JIS B4\n"},  // the printers expect this one with a blank
    {"B5",        "@PJL SET PAPER = JISB5\n"},   // and this one without; the ISO size is "ISOB5"
    {"Letter",    "@PJL SET PAPER = LETTER\n"},
    {"Legal",     "@PJL SET PAPER = LEGAL\n"},
    {"Executive", "@PJL SET PAPER = EXECUTIVE\n"},
    {"Folio",     "@PJL SET PAPER = FOLIO\n"},
    {"Statement", "@PJL SET PAPER = STATEMENT\n"},
    {"Universal", "@PJL SET PAPER = CUSTOM\n"},  // no dimensions follow
    {"OthEnv",    "@PJL SET PAPER = OTHERENVELOPE\n"},
    {"Monarch",   "@PJL SET PAPER = MONARCH\n"},
    {"Comm10",    "@PJL SET PAPER = COM10\n"},
    {"DL",        "@PJL SET PAPER = DL\n"},
    {"C4",        "@PJL SET PAPER = COM9\n"},    // intentional: the printers' name for C4
    {"C5",        "@PJL SET PAPER = C5\n"},
    {"ISOB5",     "@PJL SET PAPER = B5\n"},      // for the printers, plain B5 is the ISO size
    {"11x17",     "@PJL SET PAPER = LEDGER\n"},  // a name, in spite of the "x" of custom sizes
    {"Tabloid",   "@PJL SET PAPER = LEDGER\n"},
    {"Oficio",    "@PJL SET PAPER = OFICIO\n"},
};

constexpr OptionRow kMediaTypeRows[] = {
    {"Plain",         "@PJL SET MEDIATYPE = \"PLAIN\"\n"},
    {"Bond",          "@PJL SET MEDIATYPE = \"BOND\"\n"},
    {"Transparency",  "@PJL SET MEDIATYPE = \"TRANSPARENCY\"\n"},
    {"Card",          "@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"},
    {"Cardstock",     "@PJL SET MEDIATYPE = \"CARDSTOCK\"\n"},
    {"Labels",        "@PJL SET MEDIATYPE = \"LABELS\"\n"},
    {"LabelsPaper",   "@PJL SET MEDIATYPE = \"LABELS\"\n"},
    {"Letterhead",    "@PJL SET MEDIATYPE = \"LETTERHEAD\"\n"},
    {"Preprint",      "@PJL SET MEDIATYPE = \"PREPRINTED\"\n"},
    {"Colored",       "@PJL SET MEDIATYPE = \"COLORED\"\n"},
    {"Envelope",      "@PJL SET MEDIATYPE = \"ENVELOPE\"\n"},
    {"Light",         "@PJL SET MEDIATYPE = \"LIGHT\"\n"},
    {"Heavy",         "@PJL SET MEDIATYPE = \"HEAVY\"\n"},
    {"Rough",         "@PJL SET MEDIATYPE = \"ROUGH\"\n"},
    {"RoughCotton",   "@PJL SET MEDIATYPE = \"ROUGH\"\n"},
    {"Recycled",      "@PJL SET MEDIATYPE = \"RECYCLED\"\n"},
    {"HeavyGlossy",   "@PJL SET MEDIATYPE = \"HEAVYGLOSSY\"\n"},
    {"RoughEnvelope", "@PJL SET MEDIATYPE = \"ROUGHENVELOPE\"\n"},
    {"Custom1",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE1\"\n"},
    {"Custom2",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE2\"\n"},
    {"Custom3",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE3\"\n"},
    {"Custom4",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE4\"\n"},
    {"Custom5",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE5\"\n"},
    {"Custom6",       "@PJL SET MEDIATYPE = \"CUSTOMTYPE6\"\n"},
    {"Vinyl",         "@PJL SET MEDIATYPE = \"VINYL\"\n"},
    {"VinylPaper",    "@PJL SET MEDIATYPE = \"VINYL\"\n"},
    {"Glossy",        "@PJL SET MEDIATYPE = \"GLOSSY\"\n"},
};

constexpr OptionRow kTrayRows[] = {
    {"Tray1",              "TRAY1\n"},
    {"Tray2",              "TRAY2\n"},
    {"Tray3",              "TRAY3\n"},
    {"Tray4",              "TRAY4\n"},
    {"Tray5",              "TRAY5\n"},
    {"MultipurposeFeeder", "MPFEEDER\n"},
    {"EnvFeeder",          "FEEDER\n"},
    {"EnvDrawr2",          "TRAY2\n"},  // an envelope drawer replaces a tray
    {"EnvDrawr3",          "TRAY3\n"},
    {"EnvDrawr4",          "TRAY4\n"},
};

// For the paper source only: separator sheets are not fed manually, by design.
constexpr OptionRow kManualFeedRows[] = {
    {"ManualPaper", "@PJL SET QPAPERSOURCE = MANUALPAPER\n"},
    {"ManualEnv",   "@PJL SET QPAPERSOURCE = MANUALENVELOPE\n"},
};
static_assert(!findRow(kTrayRows, "ManualPaper") && !findRow(kTrayRows, "ManualEnv"));

constexpr OptionRow kOutputBinRows[] = {
    {"Bin1",         "@PJL SET OUTBIN = OPTIONALOUTBIN1\n"},
    {"FinisherBin1", "@PJL SET OUTBIN = OPTIONALOUTBIN1\n"},
    {"Bin2",         "@PJL SET OUTBIN = OPTIONALOUTBIN2\n"},
    {"FinisherBin2", "@PJL SET OUTBIN = OPTIONALOUTBIN2\n"},
    {"Bin3",         "@PJL SET OUTBIN = OPTIONALOUTBIN3\n"},
    {"Bin4",         "@PJL SET OUTBIN = OPTIONALOUTBIN4\n"},
    {"Bin5",         "@PJL SET OUTBIN = OPTIONALOUTBIN5\n"},
    {"Bin6",         "@PJL SET OUTBIN = OPTIONALOUTBIN6\n"},
    {"Bin7",         "@PJL SET OUTBIN = OPTIONALOUTBIN7\n"},
    {"Bin8",         "@PJL SET OUTBIN = OPTIONALOUTBIN8\n"},
    {"Bin9",         "@PJL SET OUTBIN = OPTIONALOUTBIN9\n"},
    {"Bin10",        "@PJL SET OUTBIN = OPTIONALOUTBIN10\n"},
    {"StandardBin",  "@PJL SET OUTBIN = UPPER\n"},
    {"2ndExitBin",   "@PJL SET OUTBIN = UPPER\n"},  // intentional: the same bin as "StandardBin"
};

constexpr OptionRow kSeparatorPageRows[] = {
    {"Jobs",   "@PJL SET QSEPARATORSHEETS = BETWEENJOBS\n"},
    {"Copies", "@PJL SET QSEPARATORSHEETS = BETWEENCOPIES\n"},
    {"Pages",  "@PJL SET QSEPARATORSHEETS = BETWEENPAGES\n"},
    {"None",   "@PJL SET QSEPARATORSHEETS = NONE\n"},
    {"NoneF",  "@PJL SET QSEPARATORSHEETS = NONE\n"},
};

constexpr OptionRow kOffsetRows[] = {
    {"Jobs",   "@PJL SET JOBOFFSET = BETWEENJOBS\n"},
    {"Copies", "@PJL SET JOBOFFSET = BETWEENCOPIES\n"},
    {"None",   "@PJL SET JOBOFFSET = NONE\n"},  // no "NoneF", unlike separator sheets
};
static_assert(!findRow(kOffsetRows, "NoneF") && !findRow(kOffsetRows, "Pages"));

constexpr OptionTable kTables[] = {
    {"media"_option,     kPaperSizeRows},
    {"MediaType"_option, kMediaTypeRows},
    {"InputSlot"_option, kTrayRows, "@PJL SET QPAPERSOURCE = "},
    {"InputSlot"_option, kManualFeedRows},
    {"OutputBin"_option, kOutputBinRows},
    {"SepPages"_option,  kSeparatorPageRows},
    {"SepSource"_option, kTrayRows, "@PJL SET QSEPARATORSOURCE = "},
    {"Offset"_option,    kOffsetRows},
};
// clang-format on

// The dimensions in a custom size: the text after "Custom.", or the whole value if there is no
// "Custom.". No value if it occurs more than once.
std::optional<std::string_view> customSize(std::string_view media) {
  constexpr std::string_view kMark = "Custom.";
  const std::size_t mark = media.find(kMark);
  if (mark == media.npos) return media;
  const std::string_view size = media.substr(mark + kMark.size());
  if (size.find(kMark) != size.npos) return std::nullopt;
  return size;
}

// Converts points to inches, with two decimal places.
std::string inches(std::string_view points) {
  char text[64];  // the largest number has 37 digits before the point
  std::snprintf(text, sizeof text, "%.2f", static_cast<double>(floatValue(points) / 72.0f));
  return text;
}

// The paper source of the job; no value if there is nothing to set. If the first page has a source
// of its own, the source of the other pages is used, and only if it is different. Otherwise the
// order of precedence is AP_D_InputSlot, InputSlot, and the print dialog's primary feed.
std::optional<std::string_view> chosenSlot(const argumentStore& options) {
  const auto slot = options.getValue("InputSlot"_option);
  if (const auto firstPage = options.getValue("AP_FIRSTPAGE_InputSlot"_option)) {
    return slot == firstPage ? std::nullopt : slot;
  }
  if (const auto preset = options.getValue("AP_D_InputSlot"_option)) return preset;
  return slot ? slot
              : options.getValue("com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1"_option);
}

}  // namespace

constexpr std::span<const OptionTable> kPaperTables = kTables;

void pjlCreation::setPaperSize() {
  const Value media = requested("media"_option);
  if (media && !appendRow("media"_option, *media)) setCustomPaper(customSize(*media));
}

void pjlCreation::setCustomPaper(std::optional<std::string_view> size) {
  if (!size) {
    std::fputs("ERROR: Custom media size value is nil.\n", stderr);
    return;
  }
  const std::size_t x = size->find('x');
  if (x == size->npos) return;
  append("@PJL SET QCUSTOMPAPERUNITS = INCHES\n");
  appendJoined({"@PJL SET QCUSTOMPAPERWIDTH = ", inches(size->substr(0, x)), "\n"});
  appendJoined({"@PJL SET QCUSTOMPAPERHEIGHT = ", inches(size->substr(x + 1)), "\n"});
}

void pjlCreation::setMediaType() {
  const Value type = requested("MediaType"_option);
  if (type && !appendRow("MediaType"_option, *type)) {
    appendJoined({"@PJL SET MEDIATYPE = \"", *type, "\"\n"});
  }
}

void pjlCreation::setPaperSource() {
  if (const Value slot = chosenSlot(*ticketData_)) appendRow("InputSlot"_option, *slot);
}

void pjlCreation::setOutputBin() { appendFromTable("OutputBin"_option); }
void pjlCreation::setSeparatorPage() { appendFromTable("SepPages"_option); }
void pjlCreation::setSeparatorSource() { appendFromTable("SepSource"_option); }
void pjlCreation::setOffsetPage() { appendFromTable("Offset"_option); }

}  // namespace jobshaper
