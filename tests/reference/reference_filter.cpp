#include "tests/reference/reference_filter.h"

#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {
namespace {

using Value = std::optional<std::string>;

const std::string kUel = "\x1b%-12345X";
const char kCopies[] = "com.apple.print.PrintSettings.PMCopies..n.";
const char kCollate[] = "com.apple.print.PrintSettings.PMCopyCollate..b.";

bool beginsWith(const std::string& line, const std::string& text) {
  if (line.size() < text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (line[i] != text[i]) return false;
  }
  return true;
}

bool contains(const std::string& line, const std::string& text) {
  for (std::size_t at = 0; at + text.size() <= line.size(); ++at) {
    std::size_t same = 0;
    while (same < text.size() && line[at + same] == text[same]) ++same;
    if (same == text.size()) return true;
  }
  return false;
}

bool equalsInAnyCase(const Value& value, const std::string& lowerCase) {
  if (!value || value->size() != lowerCase.size()) return false;
  for (std::size_t i = 0; i < lowerCase.size(); ++i) {
    char c = (*value)[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lowerCase[i]) return false;
  }
  return true;
}

// Reads white space, a sign and digits; the result is clamped to 32 bits.
std::int32_t leadingInteger(const std::string& text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
    negative = text[at] == '-';
    ++at;
  }
  std::int64_t number = 0;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
    if (number < 100'000'000'000) number = number * 10 + (text[at] - '0');
    ++at;
  }
  if (negative) number = -number;
  if (number > INT32_MAX) return INT32_MAX;
  if (number < INT32_MIN) return INT32_MIN;
  return static_cast<std::int32_t>(number);
}

Value valueOf(const JobParameters& job, const std::string& option) {
  const auto found = job.options.find(option);
  if (found == job.options.end()) return std::nullopt;
  return found->second;
}

bool isOnlyPrintInside(const JobParameters& job) {
  const Value coverPage = valueOf(job, "QVBookletCoverPage");
  if (!coverPage) return false;
  if (!equalsInAnyCase(coverPage, "true")) return false;
  const Value outsideFront = valueOf(job, "QVOutsideFrontCover");
  const Value outsideBack = valueOf(job, "QVOutsideBackCover");
  const Value insideBack = valueOf(job, "QVInsideBackCover");
  const Value insideFront = valueOf(job, "QVInsideFrontCover");
  const auto countsAsFalse = [](const Value& value) {
    return equalsInAnyCase(value ? *value : "False", "false");
  };
  if (countsAsFalse(outsideFront) && countsAsFalse(outsideBack) && countsAsFalse(insideBack) &&
      countsAsFalse(insideFront)) {
    return false;
  }
  bool answer = true;
  if (outsideFront) answer = !(*outsideFront == "true");
  if (outsideBack && *outsideBack == "true") answer = false;
  if (insideBack && insideFront && *insideBack == "true" && *insideFront == "true") answer = false;
  return answer;
}

std::int32_t coverTray(const std::string& source) {
  if (source == "Tray1") return 0;
  if (source == "Tray2") return 1;
  if (source == "EnvDrawr2") return 1;
  if (source == "Tray3") return 3;
  if (source == "EnvDrawr3") return 3;
  if (source == "Tray4") return 5;
  if (source == "EnvDrawr4") return 5;
  if (source == "Tray5") return 6;
  if (source == "MultipurposeFeeder") return 4;
  if (source == "ManualPaper") return 7;
  return 8;
}

Value coverMedia(const std::string& type) {
  static const char* const rows[][2] = {
      {"Plain", "Plain"},
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
      {"Custom6", "Custom Type 6"},
  };
  for (const auto& row : rows) {
    if (type == row[0]) return row[1];
  }
  return std::nullopt;
}

// The job while it is rewritten, with all state that is kept between lines.
class Run {
 public:
  explicit Run(const JobParameters& job)
      : job_(job), version_(job.version.value_or(0)), uri_(job.deviceUri.value_or("(null)")) {}

  ReferenceOutput result() {
    setUpBooklet();
    const bool usbPjlAllowed = job_.version.has_value() && version_ > 0x102f;
    result_.pjl = !(beginsWith(uri_, "usb:") && !usbPjlAllowed);
    if (beginsWith(uri_, "pap:")) {
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
    if (*fold == "Booklet") {
      foldCommand_ = "";
    } else if (*fold == "SaddleStitch") {
      foldCommand_ = "<< /Fold 2 /Staple 4>> setpagedevice";
    } else if (*fold == "BiFold") {
      foldCommand_ = "<< /Fold 1 >> setpagedevice";
    } else if (*fold == "DoNotFoldAndStaple") {
      foldCommand_ = "<< /Fold 0 /Staple 0>> setpagedevice";
    } else {
      foldCommand_ = "<< /Fold 2 >> setpagedevice";
    }
    manualBooklet_ = job_.manualPpd;
    if (!printTo_) {
      const Value copies = valueOf(job_, kCopies);
      const std::int32_t number = copies ? leadingInteger(*copies) : 0;
      if (leadingInteger(job_.copiesArgument) == 1 && number > 1) result_.copies = number;
    }
    if (!manualBooklet_) return;
    const std::string language = job_.language.value_or("en");
    languageCode_ = "";
    for (const char c : language) {
      if (version_ >= 0x1050 && c == '.') break;
      languageCode_ += c;
    }
    if (languageCode_ == "en_US") languageCode_ = "en";
    input_ = reorder(job_.input, std::nullopt, onlyInside_, version_).output;
  }

  void print(const std::string& bytes) {
    result_.printed += bytes;
    if (job_.capture) result_.captureOut += bytes;
  }

  void loop() {
    std::size_t at = 0;
    bool endOfInput = false;
    while (!endOfInput) {
      std::string piece;
      bool atEnd = false;
      char ending = 0;
      for (;;) {
        piece = "";
        atEnd = false;
        for (;;) {
          if (at == input_.size()) {
            atEnd = true;
            break;
          }
          ending = input_[at++];
          if (ending == '\n' || ending == '\r' || piece.size() == 1023) break;
          piece += ending;
        }
        if (skipCount_ == 0) break;
        --skipCount_;
      }
      if (atEnd) {
        endOfInput = true;
      } else {
        piece += ending;
      }
      if (job_.capture) result_.captureIn += piece;
      bool zeroByte = false;
      for (const char c : piece) {
        if (c == '\0') zeroByte = true;
      }
      if (zeroByte) {
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
    if (beginsWith(line, "%%Page:")) {
      ++pageNumber_;
      if (bookletMode_ && manualBooklet_ && pageNumber_ == 1) instructionPage();
      if (bookletMode_ && !manualBooklet_) coverSheet(line);
    }
    if (beginsWith(line, "%RBINumCopies: ") &&
        (printTo_ == "JRVerify" || printTo_ == "JRRepeat" || printTo_ == "JRConf" ||
         printTo_ == "JRReserve" || printTo_ == "JRPrinter")) {
      line = "%!\n%Set collate copies = copy:\n<< /CollatedCopies " +
             valueOf(job_, kCopies).value_or("(null)") + " >> setuserparams\n%EndUserSetup\n" +
             line;
    }
    if (!prologPatched_ && beginsWith(line, "%%BeginProlog")) {
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
    if (beginsWith(line, kUel) || beginsWith(line, "@PJL ")) return;
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
    const auto installed = job_.instructionPages.find(languageCode_);
    if (installed != job_.instructionPages.end()) page = installed->second;
    if (page.empty()) result_.messages += "instructionAsData is less than or equal to 0\n";
    print("%%Page: 0 0\n");
    if (version_ < 0x1050) print("userdict/ESPsave save put\n");
    print(page);
    if (version_ < 0x1050) print("\nuserdict /ESPsave get restore\n");
  }

  void extendCoverParams() {
    if (coverSource_ == 7) {
      coverParams_ += "/ManualFeed true ";
    } else if (coverSource_ != 8) {
      coverParams_ += "/ManualFeed false /MediaPosition " + std::to_string(coverSource_) + " ";
    }
  }

  void coverSheet(std::string& line) {
    const Value source = valueOf(job_, "QVBookletCoverSource");
    coverSource_ = source ? coverTray(*source) : 8;
    const Value type = valueOf(job_, "QVBookletCoverType");
    Value media = coverMediaType_;
    if (type && *type != "Printers") {
      if (const Value name = coverMedia(*type)) media = name;
    }
    const std::string duplexOff = "1 dict dup /Duplex false put setpagedevice\n";
    if (onlyInside_ && pageNumber_ == halfPageCount_) {
      extendCoverParams();
      if (media) coverParams_ += "/MediaType (" + *media + ")";
      if (!media && coverSource_ == 8) {
        line = duplexOff + line + "\n";
        coverMediaType_.reset();
        return;
      }
      line = duplexOff + line + "[{\n<< /DeferredMediaSelection true " + coverParams_ +
             " >> setpagedevice\n} stopped cleartomark\n";
    } else if (!onlyInside_ && pageNumber_ == halfPageCount_ - 1) {
      extendCoverParams();
      if (media) {
        coverParams_ += "/MediaType (" + *media + ")";
      } else {
        coverMediaType_.reset();
        if (coverSource_ == 8) return;
      }
      line = line + "[{\n<< /DeferredMediaSelection true " + coverParams_ +
             " >> setpagedevice\n} stopped cleartomark\n";
    }
    coverMediaType_ = media;
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

  std::int32_t coverSource_ = 0;
  Value coverMediaType_;
  std::string coverParams_;
};

}  // namespace

ReferenceOutput runReference(const JobParameters& job) { return Run(job).result(); }

}  // namespace jobshaper::reference
