#include "queue/booklet.h"

#include <strings.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string_view>

#include "queue/message.h"
#include "settings/option_names.h"

namespace jobshaper {

namespace {

constexpr const char* kFold = kFoldOption.data();
constexpr char kOff[] = "false";
constexpr char kUnfolded[] = "DoNotFoldAndStaple";
constexpr char kPages[] = "QvnBookletPages";
constexpr char kArranged[] = "Arranged";

// The fold of a booklet whose job does not choose one: the first of these that the printer has.
constexpr const char* kFolds[] = {"SaddleStitch", "Booklet"};

constexpr OptionName kPageCount = "QVBookletPageCountFilename"_option;
constexpr OptionName kCoverOptions[] = {
    "QVBookletCoverPage"_option, "QVOutsideFrontCover"_option, "QVInsideFrontCover"_option,
    "QVInsideBackCover"_option,  "QVOutsideBackCover"_option,
};

bool isOneOf(const char* value, std::initializer_list<const char*> words) {
  return value && std::any_of(words.begin(), words.end(),
                              [&](const char* word) { return strcasecmp(value, word) == 0; });
}

bool isTrue(const char* value) { return isOneOf(value, {"true", "on", "yes"}); }

// Whether the document has passed through pdftopdf, the filter of CUPS that obeys booklet=true.
bool goesThroughPdf(std::string_view contentType) {
  constexpr std::string_view kPastIt[] = {
      "application/postscript", "application/vnd.adobe-reader-postscript",
      "application/vnd.cups-postscript", "application/vnd.cups-pdf"};
  if (contentType == "image/urf" || contentType == "image/pwg-raster") return true;
  if (contentType.starts_with("image/")) return false;
  return std::find(std::begin(kPastIt), std::end(kPastIt), contentType) == std::end(kPastIt);
}

bool isReversed(const OptionList& jobOptions) {
  return isOneOf(jobOptions.find("outputorder"_option), {"reverse"}) ||
         isOneOf(jobOptions.find("output-order"_option), {"reverse"});
}

bool foldsNothing(const char* fold) {
  return !fold || isOneOf(fold, {kOff, "PrinterS", kUnfolded});
}

const char* ownFold(const QueuePpd& ppd) {
  for (const char* const fold : kFolds) {
    if (ppd.hasChoice(kFold, fold) && ppd.missingEquipment(kFold, fold).empty()) return fold;
  }
  return nullptr;
}

CoverFaces coverFaces(const OptionList& wanted) {
  const auto isPrinted = [&](OptionName name) { return isTrue(wanted.find(name)); };
  const CoverFaces faces = {
      .outsideFront = isPrinted("QVOutsideFrontCover"_option),
      .insideFront = isPrinted("QVInsideFrontCover"_option),
      .insideBack = isPrinted("QVInsideBackCover"_option),
      .outsideBack = isPrinted("QVOutsideBackCover"_option),
  };
  const bool any = faces.outsideFront || faces.insideFront || faces.insideBack || faces.outsideBack;
  return any && isPrinted("QVBookletCoverPage"_option) ? faces : CoverFaces{};
}

bool hasCoverPaper(const OptionList& wanted) {
  const char* const source = wanted.find("QVBookletCoverSource"_option);
  const char* const type = wanted.find("QVBookletCoverType"_option);
  return (source && !isOneOf(source, {"PrinterS"})) || (type && !isOneOf(type, {"Printers"}));
}

// For a job whose pages come from the last to the first: its sides must do the same.
void reverse(std::vector<Side>& sides, int pages) {
  const auto mirrored = [&](int page) { return page == kBlankPage ? page : pages + 1 - page; };
  for (Side& side : sides) side = {mirrored(side.left), mirrored(side.right)};
  std::reverse(sides.begin(), sides.end());
}

// The code of one choice in the job is replaced by that of another.
void replaceCode(JobAdditions& additions, const QueuePpd& ppd, const char* option,
                 const char* choice, const char* instead) {
  if (!ppd.hasCode(option, instead)) return;
  additions.replacedFeatures.push_back(
      {std::string(option) + " " + choice, ppd.code(option, instead) + "\n"});
}

void printAsItIs(OptionList& wanted, JobAdditions& additions, const QueuePpd& ppd) {
  const char* const marked = ppd.choice(kFold);
  if (!foldsNothing(marked)) replaceCode(additions, ppd, kFold, marked, kOff);
  if (!foldsNothing(wanted.find(kFoldOption))) wanted.put(kFold, kOff);
}

// Whether the pages are already arranged, or must be left as they are. A driver that names a file
// with the number of pages has arranged them, and booklet=false asks to leave them.
bool isArranged(const OptionList& wanted, const OptionList& jobOptions, const QueuePpd& ppd,
                const JobOrigin& origin) {
  const char* const asked = jobOptions.find("booklet"_option);
  if (asked && (!isTrue(asked) || goesThroughPdf(origin.contentType))) return true;
  return isOneOf(ppd.choice(kPages), {kArranged}) || wanted.find(kPageCount);
}

// Makes sure that the job has a fold. Returns false if the printer has none, which it reports.
bool settleFold(OptionList& wanted, const QueuePpd& ppd) {
  const char* const fold = wanted.find(kFoldOption);
  if (!foldsNothing(fold) || isOneOf(fold, {kUnfolded})) return true;
  if (const char* const own = ownFold(ppd)) {
    wanted.put(kFold, own);
    return true;
  }
  warn(
      "booklet=true needs equipment that is not installed (%s); it is ignored. "
      "If it is installed, tell the queue with lpadmin -p QUEUE -o.",
      ppd.missingEquipment(kFold, kFolds[1]).c_str());
  return false;
}

void settleSheets(OptionList& wanted, JobAdditions& additions, const QueuePpd& ppd) {
  for (const char* const choice : {"None", "DuplexNoTumble"}) {
    replaceCode(additions, ppd, "Duplex", choice, "DuplexTumble");
  }
  // A booklet needs its blank sides.
  constexpr OptionName kBlank = "QvnBlankPage"_option;
  if (isOneOf(wanted.find(kBlank), {"false"})) wanted.put(kBlank.data(), "true");
  wanted.put(kCollateOption.data(), "true");
  replaceCode(additions, ppd, "Collate", "False", "True");
}

}  // namespace

Booklet settleBooklet(OptionList& wanted, JobAdditions& additions, const OptionList& jobOptions,
                      const QueuePpd& ppd, const JobOrigin& origin, const CountPages& countPages) {
  const bool asked = isTrue(jobOptions.find("booklet"_option));
  if (!ppd.hasOption(kFold) || (!asked && foldsNothing(wanted.find(kFoldOption)))) return {};
  if (origin.isBanner) {
    printAsItIs(wanted, additions, ppd);
    return {};
  }
  if (!settleFold(wanted, ppd)) return {};

  const bool arranged = isArranged(wanted, jobOptions, ppd, origin);
  const bool reversed = isReversed(jobOptions);
  const bool knowsCover = wanted.find(kPageCount) == nullptr;
  const bool needsCover = knowsCover && hasCoverPaper(wanted);
  Booklet booklet;
  int sides = 0;
  if (!arranged || (needsCover && reversed)) {
    const std::optional<int> pages = countPages();
    if (!pages) {
      booklet.failed = true;
      return booklet;
    }
    sides = *pages;
    if (!arranged && *pages == 0) {
      warn(
          "The pages of this document cannot be arranged as a booklet, because it is PostScript "
          "without usable page comments; it is printed as it is. Convert it to PDF and print "
          "that.");
      printAsItIs(wanted, additions, ppd);
      return {};
    }
    if (!arranged) {
      booklet.sides = bookletSides(*pages, coverFaces(wanted));
      if (reversed) reverse(booklet.sides, *pages);
      sides = static_cast<int>(booklet.sides.size());
    }
  }
  booklet.isBooklet = true;
  booklet.isManual = ppd.hasKeyword("QvnManualBooklet");
  settleSheets(wanted, additions, ppd);
  if (needsCover) additions.coverSide = reversed ? std::max(sides - 1, 1) : 1;
  if (knowsCover) {
    // The filter's rule for these options is for jobs whose cover is the last sheet.
    for (const OptionName option : kCoverOptions) wanted.remove(option.data());
  }
  return booklet;
}

}  // namespace jobshaper
