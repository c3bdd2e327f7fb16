#include "filter/booklet_rules.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "booklet/booklet_files.h"
#include "booklet/cover_queries.h"
#include "booklet/manual_booklet.h"
#include "diag/log.h"
#include "platform/cancellation.h"
#include "platform/files.h"
#include "settings/numbers.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

constexpr std::int32_t kFirstVersionWithEncoding = 0x1050;  // LANG is "fr_FR.UTF-8", not "fr_FR"

// clang-format off
constexpr FoldRow kFoldRows[] = {
    {"Booklet",            "PlainBooklet",       ""},
    {"SaddleStitch",       "SaddleStitch",       "<< /Fold 2 /Staple 4>> setpagedevice"},
    {"BiFold",             "BiFold",             "<< /Fold 1 >> setpagedevice"},
    {"DoNotFoldAndStaple", "DoNotFoldAndStaple", "<< /Fold 0 /Staple 0>> setpagedevice"},
};
// A fold choice added to the PPD later still gives a folded booklet.
constexpr FoldRow kOtherFold =
    {"",                   "BookletFold",        "<< /Fold 2 >> setpagedevice"};

constexpr OptionRow kCoverMediaRows[] = {
    {"Plain",       "Plain"},
    {"Card",        "Card Stock"},
    {"Bond",        "Bond"},
    {"Letterhead",  "Letterhead"},
    {"Preprint",    "Preprinted"},
    {"Colored",     "Colored Paper"},
    {"Light",       "Light"},
    {"Glossy",      "Glossy Paper"},
    {"Heavy",       "Heavy"},
    {"HeavyGlossy", "Heavy Glossy"},
    {"Labels",      "Labels"},
    {"Vinyl",       "Vinyl Labels"},
    {"Rough",       "Rough"},
    {"Recycled",    "Recycled"},
    {"Custom1",     "Custom Type 1"},
    {"Custom2",     "Custom Type 2"},
    {"Custom3",     "Custom Type 3"},
    {"Custom4",     "Custom Type 4"},
    {"Custom5",     "Custom Type 5"},
    {"Custom6",     "Custom Type 6"},
    // "Printers", the printer's own choice, is not a media type. Other options spell it "PrinterS";
    // both spellings are those of the PPD.
};
// clang-format on

// What the request for a cover sheet changes.
constexpr std::string_view kKeepPaper = R"([{
userdict/QvnPaper 4 dict put
[/DeferredMediaSelection/ManualFeed/MediaPosition/MediaType]{
currentpagedevice 1 index known{currentpagedevice 1 index get}
{dup/MediaPosition eq 1 index/MediaType eq or{null}{false}ifelse}ifelse
QvnPaper 3 1 roll put}forall
} stopped cleartomark
)";
constexpr std::string_view kPaperAgain = "[{\nQvnPaper setpagedevice\n} stopped cleartomark\n";

// The row for the value of the fold option; null if the job is not a booklet.
const FoldRow* foldOf(std::optional<std::string_view> option) {
  if (!option || *option == "false" || *option == "PrinterS") return nullptr;
  for (const FoldRow& row : kFoldRows) {
    if (*option == row.option) return &row;
  }
  return &kOtherFold;
}

// The name, without its suffix, of the directory that holds the instruction page for this LANG.
std::string languageCode(std::string_view lang) {
  if (version >= kFirstVersionWithEncoding) lang = lang.substr(0, lang.find('.'));
  return std::string(lang == "en_US" ? "en" : lang);
}

// The printer must repeat the booklet as a whole, not page by page, so ask it for the copies.
void moveCopiesToHeader(JobState& job) {
  if (job.printTo) return;  // the copies of a retained job are set in its PostScript
  const std::int32_t copies = integerValue(job.jobOptions.getValue(kCopiesOption).value_or(""));
  if (integerValue(job.copiesArgument) == 1 && copies > 1) job.pjlHeader.insertNumCopies(copies);
}

bool openReorderedJob(JobState& job) {
  job.inputFile = openOwnFile(job.manualJobPath);
  job.inputStream = job.inputFile.get();
  if (!job.inputFile.valid()) std::fputs("ERROR: Cannot read the print job.\n", stderr);
  return job.inputFile.valid();
}

std::int32_t halfOfPageCount(const JobState& job) {
  const auto path = job.jobOptions.getValue("QVBookletPageCountFilename"_option);
  if (!path) return 0;
  const Descriptor file = openRegularFile(std::string(*path));
  if (!file.valid()) return 0;
  IntegerReader number;
  char buffer[4096];
  for (ssize_t n; (n = readSome(file.get(), buffer, sizeof buffer)) > 0;) {
    if (!number.take({buffer, static_cast<std::size_t>(n)})) break;
  }
  return number.value() / 2;
}

constexpr std::size_t kLargestInstructionPage = 16 * 1024 * 1024;  // bytes; ours have a few KiB

// The whole page, since half of one must not be printed; "" if it cannot be read. The installed
// files are literally named "instruction(null)".
std::string readInstructionPage(const JobState& job) {
  if (job.languageCode.find('/') != std::string::npos) return {};
  return readWholeFile(
      job.instructionDirectory + "/" + job.languageCode + ".lproj/instruction(null)",
      kLargestInstructionPage);
}

std::string_view mediaName(std::optional<std::string_view> option, std::string_view previous) {
  const OptionRow* const row = option ? findRow(kCoverMediaRows, *option) : nullptr;
  return row ? row->sent : previous;
}

}  // namespace

constexpr std::span<const FoldRow> kBookletFolds = kFoldRows;
constexpr std::span<const OptionRow> kCoverMediaTypes = kCoverMediaRows;

BookletSetup setUpBooklet(JobState& job, const System& system) {
  const FoldRow* const row = foldOf(job.jobOptions.getValue(kFoldOption));
  if (!row) return BookletSetup::done;
  job.bookletMode = true;
  job.bookletName = row->name;
  job.foldCommand = row->command;
  LogInfoBody("main", __LINE__, "Job is Booklet");
  std::string ignored;
  job.manualBooklet = getTheValue(kManualBookletKeyword, ignored, job.ppdValues);
  LogInfoBody("main", __LINE__, "value of verPrint %s", job.printTo.value_or("(null)").c_str());
  moveCopiesToHeader(job);
  if (job.manualBooklet) {
    const char* const lang = std::getenv("LANG");
    job.languageCode = languageCode(lang ? lang : "en");
    job.instructionDirectory = system.instructionDirectory;
    job.manualJobPath = BookletFiles(job.tempDirectory, job.jobIdString).job;
    if (!manualBookletOrder(job.inputStream, job.manualJobPath, job.jobIdString, std::nullopt,
                            job.onlyInside)) {
      if (cancellationRequested()) return BookletSetup::canceled;
      std::fputs("ERROR: Fatal error in manual booklet!\n", stderr);
      return BookletSetup::failed;
    }
    if (!openReorderedJob(job)) return BookletSetup::failed;
  }
  job.halfPageCount = halfOfPageCount(job);
  return BookletSetup::done;
}

void removeManualBookletFiles(const JobState& job) {
  if (job.manualBooklet) BookletFiles(job.tempDirectory, job.jobIdString).remove();
}

void BookletRules::atPage(int pageNumber, Line& line) {
  if (!job_.manualBooklet) {
    requestCover(pageNumber, line);
  } else if (pageNumber == 1) {
    writeInstructionPage();
  }
}

void BookletRules::writeInstructionPage() {
  const std::string page = readInstructionPage(job_);
  if (page.empty()) std::fputs("instructionAsData is less than or equal to 0\n", stderr);
  const bool needsSave = version < kFirstVersionWithoutSave;
  output_.put("%%Page: 0 0\n");
  if (needsSave) output_.put("userdict/ESPsave save put\n");
  output_.put(page);
  if (needsSave) output_.put("\nuserdict /ESPsave get restore\n");
}

void BookletRules::noteCoverSheet() {
  if (const auto source = job_.jobOptions.getValue("QVBookletCoverSource"_option)) {
    setBookletSource(*source, coverSource_);
  } else {
    coverSource_ = kCoverPrintersChoice;
  }
  coverMediaType_ =
      mediaName(job_.jobOptions.getValue("QVBookletCoverType"_option), coverMediaType_);
}

int BookletRules::coverPage() const {
  if (job_.additions.coverSide > 0) return job_.additions.coverSide;
  return job_.onlyInside ? job_.halfPageCount : job_.halfPageCount - 1;
}

// The cover of a queue's job may be its first sheet. The other sheets then need the paper that was
// requested before it.
void BookletRules::keepPaper(int pageNumber, Line& line) const {
  const int cover = job_.additions.coverSide;
  if (cover == 0) return;
  if (pageNumber == cover) line.before = kKeepPaper;
  if (pageNumber == cover + 2) line.after += kPaperAgain;
}

// Tray and media of the cover must be requested at the page for which the printer feeds that sheet.
void BookletRules::requestCover(int pageNumber, Line& line) {
  noteCoverSheet();
  keepPaper(pageNumber, line);
  if (pageNumber != coverPage()) return;
  const bool anySheet = coverMediaType_.empty() && coverSource_ == kCoverPrintersChoice;
  if (anySheet && !job_.onlyInside) return;

  if (job_.onlyInside) line.before = "1 dict dup /Duplex false put setpagedevice\n";
  if (anySheet) {
    line.after += "\n";
    return;
  }
  line.after += "[{\n<< /DeferredMediaSelection true ";
  if (coverSource_ == kCoverManualFeed) {
    line.after += "/ManualFeed true ";
  } else if (coverSource_ != kCoverPrintersChoice) {
    line.after += "/ManualFeed false /MediaPosition " + std::to_string(coverSource_) + " ";
  }
  if (!coverMediaType_.empty())
    line.after.append("/MediaType (").append(coverMediaType_).append(")");
  line.after += " >> setpagedevice\n} stopped cleartomark\n";
}

void BookletRules::fold(Line& line) const {
  line.after.append("\n").append(job_.foldCommand).append("\n");
}

}  // namespace jobshaper
