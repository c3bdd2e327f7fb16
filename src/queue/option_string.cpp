#include "queue/option_string.h"

#include <cups/cups.h>
#include <cups/ppd.h>
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/text_encoding.h"
#include "queue/queue_ppd.h"
#include "settings/option_names.h"

// libcups calls its PPD functions deprecated since PPD files are; our printers have nothing else.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace jobshaper {

namespace {

// Every option that the filter reads and a PPD file may have. A test compares it with the
// filter's sources.
constexpr const char* kFilterOptions[] = {
    "JAACCTNUM",
    "JADEPTNUM",
    "JAUSERID",
    "JRHOLDKEY",
    "JRUSERNAME",
    "PrintTo",
    "QVBookletCoverPage",
    "QVBookletCoverSource",
    "QVBookletCoverType",
    "QVBookletFold",
    "QVBookletPageCountFilename",
    "QVGeneric",
    "QVInsideBackCover",
    "QVInsideFrontCover",
    "QVOutsideBackCover",
    "QVOutsideFrontCover",
    "QVPosterEnablePS",
    "QvnBlankPage",
    "QvnDoubleStomp",
    "QvnPixelBoost",
};

// The filter takes these for Mac OS Roman; CUPS passes UTF-8.
constexpr const char* kAccountingOptions[] = {"JAUSERID", "JAACCTNUM", "JADEPTNUM"};

// A list of options as libcups keeps it: names differ in more than letter case.
class OptionList {
 public:
  OptionList() = default;
  explicit OptionList(const char* text) : count_(cupsParseOptions(text, 0, &options_)) {}
  ~OptionList() { cupsFreeOptions(count_, options_); }
  OptionList(const OptionList&) = delete;
  OptionList& operator=(const OptionList&) = delete;

  const char* find(const char* name) const { return cupsGetOption(name, count_, options_); }
  void put(const char* name, const char* value) {
    count_ = cupsAddOption(name, value, count_, &options_);
  }
  bool operator==(const OptionList& other) const {
    if (count_ != other.count_) return false;
    for (int i = 0; i < count_; ++i) {
      if (std::strcmp(options_[i].name, other.options_[i].name) != 0) return false;
      if (std::strcmp(options_[i].value, other.options_[i].value) != 0) return false;
    }
    return true;
  }
  void markIn(ppd_file_t* ppd) const { cupsMarkOptions(ppd, count_, options_); }

 private:
  cups_option_t* options_ = nullptr;
  int count_ = 0;
};

// The PPD file with the choices of the job, and the defaults of all other options, marked.
class MarkedPpd {
 public:
  MarkedPpd(const char* path, const OptionList& jobOptions) : ppd_(openQueuePpd(path)) {
    if (!ppd_) return;
    ppdMarkDefaults(ppd_.get());
    jobOptions.markIn(ppd_.get());
  }

  const char* choice(const char* option) const {
    const ppd_choice_t* const choice = ppd_ ? ppdFindMarkedChoice(ppd_.get(), option) : nullptr;
    return choice ? choice->choice : nullptr;
  }

 private:
  const Ppd ppd_;
};

// CUPS writes the two values of a switch in small letters, whatever the PPD file calls its
// choices, and the filter compares with those.
const char* asJobOption(const char* choice) {
  for (const char* value : {"true", "false"}) {
    if (strcasecmp(choice, value) == 0) return value;
  }
  return choice;
}

// Whether a default is no more than what happens to a job without the option. Named in every
// job, it would make the filter collate the copies of all of them.
bool saysNothing(std::string_view option, std::string_view choice) {
  return option == "PrintTo" && choice == "JRPrinter";
}

// The number of copies; nothing when it is none.
const char* copyCount(const char* copies) {
  const std::string_view digits = copies;
  const bool isNumber = digits.find_first_not_of("0123456789") == digits.npos;
  return isNumber && !digits.empty() ? copies : nullptr;
}

// Whether copies are collated; nothing when neither the job nor the PPD file says it.
const char* collation(const OptionList& jobOptions, const MarkedPpd& ppd) {
  const char* collate = jobOptions.find("collate");
  if (!collate) {
    // The three other values all ask for collated copies.
    const char* const handling = jobOptions.find("multiple-document-handling");
    if (handling) {
      return strcasecmp(handling, "separate-documents-uncollated-copies") == 0 ? "false" : "true";
    }
    collate = ppd.choice("Collate");
  }
  if (!collate) return nullptr;
  return strcasecmp(collate, "true") == 0 ? "true" : "false";
}

void appendOption(std::string& text, std::string_view name, std::string_view value) {
  if (!text.empty()) text += ' ';
  text.append(name).append("=");
  for (const char c : value) {
    if (std::strchr(" \t\n\v\f\r'\"\\{}", c)) text += '\\';
    text += c;
  }
}

}  // namespace

std::string completedOptions(const QueueJob& job) {
  const OptionList jobOptions(job.options);
  const MarkedPpd ppd(job.ppdPath, jobOptions);
  OptionList wanted(job.options);
  std::string text = job.options;
  const auto append = [&](const char* name, const char* value) {
    wanted.put(name, value);
    appendOption(text, name, value);
  };
  const auto appendMissing = [&](const char* name, const char* value) {
    if (value && !jobOptions.find(name)) append(name, value);
  };

  appendMissing(kCopiesOption.data(), copyCount(job.copies));
  appendMissing(kCollateOption.data(), collation(jobOptions, ppd));
  for (const char* const name : kFilterOptions) {
    const char* const choice = ppd.choice(name);
    if (choice && !saysNothing(name, choice)) appendMissing(name, asJobOption(choice));
  }
  for (const char* const name : kAccountingOptions) {
    const char* const value = jobOptions.find(name);
    const std::optional<std::string> inMacRoman = value ? macRomanFromUtf8(value) : std::nullopt;
    if (inMacRoman && *inMacRoman != value) append(name, inMacRoman->c_str());
  }

  if (OptionList(text.c_str()) == wanted) return text;
  std::fputs("WARNING: The job's options cannot be completed.\n", stderr);
  return job.options;
}

}  // namespace jobshaper
