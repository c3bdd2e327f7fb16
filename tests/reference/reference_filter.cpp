#include "tests/reference/reference_filter.h"

#include <algorithm>
#include <cstdlib>

#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {
namespace {

using Value = std::optional<std::string>;

const std::string kUel = "\x1b%-12345X";
const char kCopies[] = "com.apple.print.PrintSettings.PMCopies..n.";
const char kCollate[] = "com.apple.print.PrintSettings.PMCopyCollate..b.";

bool contains(const std::string& line, const std::string& text) {
  return line.find(text) != std::string::npos;
}

bool equalsInAnyCase(const Value& value, const std::string& lowerCase) {
  if (!value) return false;
  std::string text = *value;
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text == lowerCase;
}

// Reads white space, a sign and digits; the result is clamped to 32 bits.
std::int32_t leadingInteger(const std::string& text) {
  const long long number = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

Value valueOf(const JobParameters& job, const std::string& option) {
  return job.options.contains(option) ? Value(job.options.at(option)) : std::nullopt;
}

bool isOnlyPrintInside(const JobParameters& job) {
  if (!equalsInAnyCase(valueOf(job, "QVBookletCoverPage"), "true")) return false;
  const Value outsideFront = valueOf(job, "QVOutsideFrontCover");
  const Value outsideBack = valueOf(job, "QVOutsideBackCover");
  const Value insideBack = valueOf(job, "QVInsideBackCover");
  const Value insideFront = valueOf(job, "QVInsideFrontCover");
  bool anyFace = false;
  for (const Value& face : {outsideFront, outsideBack, insideBack, insideFront}) {
    if (face && !equalsInAnyCase(face, "false")) anyFace = true;
  }
  if (!anyFace) return false;
  if (outsideFront == "true" || outsideBack == "true") return false;
  return !(insideBack == "true" && insideFront == "true");
}

constexpr std::int32_t kAnyTray = 8;

std::int32_t coverTray(const std::string& source) {
  static const std::map<std::string, std::int32_t> trays = {
      {"Tray1", 0},      {"Tray2", 1},     {"Tray3", 3},
      {"Tray4", 5},      {"Tray5", 6},     {"EnvDrawr2", 1},
      {"EnvDrawr3", 3},  {"EnvDrawr4", 5}, {"MultipurposeFeeder", 4},
      {"ManualPaper", 7}};
  return trays.contains(source) ? trays.at(source) : kAnyTray;
}

Value coverMedia(const std::string& type) {
  static const std::map<std::string, std::string> media = {{"Plain", "Plain"},
                                                           {"Card", "Card Stock"},
                                                           {"Bond", "Bond"},
                                                           {"Letterhead", "Letterhead"},
                                                           {"Preprint", "Preprinted"},
                                                           {"Colored", "Colored Paper"},
                                                           {"Light", "Light"},
                                                           {"Glossy", "Glossy Paper"},
                                                           {"Heavy", "Heavy"},
                                                           {"HeavyGlossy", "Heavy Glossy"},
                                                           {"Labels", "Labels"},
                                                           {"Vinyl", "Vinyl Labels"},
                                                           {"Rough", "Rough"},
                                                           {"Recycled", "Recycled"},
                                                           {"Custom1", "Custom Type 1"},
                                                           {"Custom2", "Custom Type 2"},
                                                           {"Custom3", "Custom Type 3"},
                                                           {"Custom4", "Custom Type 4"},
                                                           {"Custom5", "Custom Type 5"},
                                                           {"Custom6", "Custom Type 6"}};
  return media.contains(type) ? Value(media.at(type)) : std::nullopt;
}

// The job while it is rewritten, with all state that is kept between lines.
class Run {
 public:
  explicit Run(const JobParameters& job)
      : job_(job), version_(job.version.value_or(0)), uri_(job.deviceUri.value_or("(null)")) {}

  ReferenceOutput result() {
    setUpBooklet();
    const bool usbPjlAllowed = job_.version.has_value() && version_ > 0x102f;
    result_.pjl = !(uri_.starts_with("usb:") && !usbPjlAllowed);
    if (uri_.starts_with("pap:")) {
      result_.messages += "[tarvel] this is an Appletalk connection\n";
    }
    if (bookletMode_ && job_.pageCountFile) {
      halfPageCount_ = leadingInteger(*job_.pageCountFile) / 2;
    }
    loop();
    const std::string trailer = kUel + kUel +
                                "@PJL RDYMSG DISPLAY = \"\"\n"
                                "@PJL EOJ\n"
                                "@PJL QPORTROTATE\n" +
                                kUel;
    if (result_.pjl) result_.printed += trailer;
    if (job_.capture) result_.captureOut += trailer;
    return result_;
  }

 private:
  void setUpBooklet() {
    input_ = job_.input;
    onlyInside_ = isOnlyPrintInside(job_);
    printTo_ = valueOf(job_, "PrintTo");
    const Value fold = valueOf(job_, "QVBookletFold");
    if (!fold || *fold == "false" || *fold == "PrinterS") return;
    bookletMode_ = true;
    static const std::map<std::string, std::string> commands = {
        {"Booklet", ""},
        {"SaddleStitch", "<< /Fold 2 /Staple 4>> setpagedevice"},
        {"BiFold", "<< /Fold 1 >> setpagedevice"},
        {"DoNotFoldAndStaple", "<< /Fold 0 /Staple 0>> setpagedevice"},
    };
    foldCommand_ = commands.contains(*fold) ? commands.at(*fold) : "<< /Fold 2 >> setpagedevice";
    manualBooklet_ = job_.manualPpd;
    if (!printTo_) {
      const Value copies = valueOf(job_, kCopies);
      const std::int32_t number = copies ? leadingInteger(*copies) : 0;
      if (leadingInteger(job_.copiesArgument) == 1 && number > 1) result_.copies = number;
    }
    if (!manualBooklet_) return;
    const std::string language = job_.language.value_or("en");
    languageCode_ = version_ >= 0x1050 ? language.substr(0, language.find('.')) : language;
    if (languageCode_ == "en_US") languageCode_ = "en";
    input_ = reorder(job_.input, std::nullopt, onlyInside_, version_);
  }

  void print(const std::string& bytes) {
    result_.printed += bytes;
    if (job_.capture) result_.captureOut += bytes;
  }

  void loop() {
    for (const std::string& piece : pieces(input_)) {
      if (skipCount_ > 0) {
        --skipCount_;
        continue;
      }
      if (job_.capture) result_.captureIn += piece;
      if (contains(piece, std::string(1, '\0'))) {
        print(piece);
      } else {
        rules(piece);
      }
    }
  }

  void rules(std::string line) {
    if (!sfclFound_ && contains(line, "sfcl{")) {
      beginMarker_ = "sfcl{\n";
      endMarker_ = "}efcl\n";
      sfclFound_ = true;
    }
    if (dropUntilDuplexer_ && !contains(line, "statusdict /duplexer get exec")) return;
    if (version_ <= 0x103f && equalsInAnyCase(valueOf(job_, "QVPosterEnablePS"), "true") &&
        equalsInAnyCase(valueOf(job_, kCollate), "true") && contains(line, "/Collate")) {
      line = "<< /Collate true >> setpagedevice\n";
    }
    if (!jobPatchHandled_ && contains(line, "JobPatchFile")) {
      jobPatchHandled_ = true;
      skipCount_ = 2;
      dropUntilDuplexer_ = false;
      return;
    }
    if (!pageSizeDone_) collectPageSize(line);
    if (contains(line, "InputSlot") || inputSlotPending_) paperSource(line);
    if (line.starts_with("%%Page:")) {
      ++pageNumber_;
      if (bookletMode_ && manualBooklet_ && pageNumber_ == 1) instructionPage();
      if (bookletMode_ && !manualBooklet_) coverSheet(line);
    }
    if (line.starts_with("%RBINumCopies: ") &&
        (printTo_ == "JRVerify" || printTo_ == "JRRepeat" || printTo_ == "JRConf" ||
         printTo_ == "JRReserve" || printTo_ == "JRPrinter")) {
      line = "%!\n%Set collate copies = copy:\n<< /CollatedCopies " +
             valueOf(job_, kCopies).value_or("(null)") + " >> setuserparams\n%EndUserSetup\n" +
             line;
    }
    if (!prologPatched_ && line.starts_with("%%BeginProlog")) {
      line =
          "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
          "%%EndFeature\n";
      prologPatched_ = true;
    }
    dropUntilDuplexer_ = false;
    if (bookletMode_ && contains(line, "QVBookletFold")) {
      line = line + "\n" + foldCommand_ + "\n";
      dropUntilDuplexer_ = true;
    }
    if (line.starts_with(kUel) || line.starts_with("@PJL ")) return;
    print(line);
  }

  void collectPageSize(const std::string& line) {
    if (contains(line, "PageRegion") || contains(line, "CustomPageSize") ||
        contains(line, "*PageSize")) {
      pageSizeBlock_ = beginMarker_;
      collectingPageSize_ = true;
    }
    if (collectingPageSize_) {
      *pageSizeBlock_ += line;
      if (contains(line, "EndFeature")) {
        *pageSizeBlock_ += endMarker_;
        collectingPageSize_ = false;
        pageSizeDone_ = true;
      }
    }
  }

  void paperSource(std::string& line) {
    if (contains(line, "InputSlot")) inputSlotPending_ = true;
    if (!contains(line, sfclFound_ ? "}efcl" : "cleartomark")) return;
    inputSlotPending_ = false;
    if (!pageSizeBlock_) return;
    if (blockUseCount_ == 1) pageSizeBlock_ = line + *pageSizeBlock_;
    line = *pageSizeBlock_;
    ++blockUseCount_;
    pageSizeDone_ = true;
  }

  void instructionPage() {
    std::string page;
    if (instructionPages().contains(languageCode_)) page = instructionPages().at(languageCode_);
    if (page.empty()) result_.messages += "instructionAsData is less than or equal to 0\n";
    print("%%Page: 0 0\n");
    if (version_ < 0x1050) print("userdict/ESPsave save put\n");
    print(page);
    if (version_ < 0x1050) print("\nuserdict /ESPsave get restore\n");
  }

  void coverSheet(std::string& line) {
    if (pageNumber_ != (onlyInside_ ? halfPageCount_ : halfPageCount_ - 1)) return;
    const std::int32_t tray = coverTray(valueOf(job_, "QVBookletCoverSource").value_or(""));
    const Value media = coverMedia(valueOf(job_, "QVBookletCoverType").value_or(""));
    if (onlyInside_) line = "1 dict dup /Duplex false put setpagedevice\n" + line;
    if (tray == kAnyTray && !media) {
      if (onlyInside_) line += "\n";
      return;
    }
    line += "[{\n<< /DeferredMediaSelection true ";
    if (tray == 7) {
      line += "/ManualFeed true ";
    } else if (tray != kAnyTray) {
      line += "/ManualFeed false /MediaPosition " + std::to_string(tray) + " ";
    }
    if (media) line += "/MediaType (" + *media + ")";
    line += " >> setpagedevice\n} stopped cleartomark\n";
  }

  const JobParameters& job_;
  const std::int32_t version_;
  const std::string uri_;
  ReferenceOutput result_;

  std::string input_;
  Value printTo_;
  bool onlyInside_ = false;
  bool bookletMode_ = false;
  bool manualBooklet_ = false;
  std::string foldCommand_;
  std::string languageCode_;
  std::int32_t halfPageCount_ = 0;

  std::string beginMarker_ = "[{\n";
  std::string endMarker_ = "} stopped cleartomark\n";
  bool sfclFound_ = false;
  int skipCount_ = 0;
  bool jobPatchHandled_ = false;
  bool dropUntilDuplexer_ = false;
  Value pageSizeBlock_;
  bool collectingPageSize_ = false;
  bool pageSizeDone_ = false;
  bool inputSlotPending_ = false;
  int blockUseCount_ = 1;
  bool prologPatched_ = false;
  int pageNumber_ = 0;
};

}  // namespace

const std::map<std::string, std::string>& instructionPages() {
  static const std::map<std::string, std::string> pages = {
      {"en", "%!PS\n(turn the stack) show\nshowpage\n"},
      {"de", ""},
      {"de_DE", std::string("erste\rSeite\0mit Null", 20)},
      {"fr_FR", "@PJL page fran\x8dois"},
      {"fr_FR.UTF-8", "%%Page: 9 9\nsous l'ancien syst\xe8me\n"},
      {"en_US.UTF-8", "whole locale name\n"},
      {"", "no language\n"}};
  return pages;
}

ReferenceOutput runReference(const JobParameters& job) { return Run(job).result(); }

}  // namespace jobshaper::reference
