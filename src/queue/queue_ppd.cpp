#include "queue/queue_ppd.h"

#include <cups/cups.h>
#include <cups/ppd.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/files.h"
#include "queue/header_text.h"
#include "queue/message.h"
#include "queue/ppd_text.h"

// libcups marks its PPD functions as deprecated, but our printers have no other driver.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace jobshaper {

namespace {

constexpr char kInstallable[] = "InstallableOptions";
// libcups takes a read error for the end of the file; this keyword shows that it has read all.
constexpr char kEnd[] = "QueueEnd";

void report(const char* path, const std::string& reason) {
  warn(
      "The PPD file %s is not used: %s. Set the driver of the queue again with "
      "lpadmin -m.",
      headerText(path).c_str(), reason.c_str());
}

// Opens and reads the file; returns nothing, after reporting the reason on standard error, if it
// cannot be used.
std::optional<PpdText> readFile(Descriptor& file, const char* path) {
  file = openRegularFile(path);
  if (!file.valid()) {
    report(path, errno == 0 ? "it is empty or not a regular file" : std::strerror(errno));
    return std::nullopt;
  }
  std::optional<PpdText> text = readPpdText(file);
  if (!text) {
    report(path, errno == 0 ? "it has more than 2 MiB, 50,000 lines or 4,000 definitions"
                            : std::strerror(errno));
  }
  return text;
}

const ppd_group_t* installableOptions(const ppd_file_t& ppd) {
  for (int i = 0; i < ppd.num_groups; ++i) {
    if (strcasecmp(ppd.groups[i].name, kInstallable) == 0) return &ppd.groups[i];
  }
  return nullptr;
}

bool isIn(const ppd_group_t* group, const char* option) {
  for (int i = 0; group && i < group->num_options; ++i) {
    if (strcasecmp(group->options[i].keyword, option) == 0) return true;
  }
  return false;
}

}  // namespace

bool QueuePpd::Side::concerns(const char* someOption, const char* someChoice) const {
  if (strcasecmp(option, someOption) != 0) return false;
  if (*choice) return strcasecmp(choice, someChoice) == 0;
  for (const char* const off : {"None", "False", "Off"}) {
    if (strcasecmp(someChoice, off) == 0) return false;
  }
  return true;
}

void QueuePpd::Closer::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

bool QueuePpd::open(const char* path) {
  Descriptor file;
  std::optional<PpdText> text = readFile(file, path);
  if (!text) return false;
  bool isWhole = text->isComplete;
  text->lines += std::string("\n*") + kEnd + ": True\n";
  // libcups would uncompress once more what looks compressed.
  if (text->lines.starts_with('*')) ppd_.reset(ppdOpenFd(fileInMemory(text->lines).release()));
  isWhole = isWhole && (!ppd_ || hasKeyword(kEnd));
  // An error is reported with its line in the whole file.
  if (!ppd_ && ::lseek(file.get(), 0, SEEK_SET) == 0) ppd_.reset(ppdOpenFd(file.release()));
  if (!ppd_) {
    int line = 0;
    const ppd_status_t reason = ppdLastError(&line);
    report(path, std::string(ppdErrorString(reason)) + ", line " + std::to_string(line));
  } else if (!isWhole) {
    report(path, "its end is missing");
    ppd_.reset();
  } else if (!ppd_->manufacturer || strcasecmp(ppd_->manufacturer, "Quorvan") != 0) {
    report(path, "its manufacturer is not Quorvan");
    ppd_.reset();
  }
  keywords_ = std::move(text->keywords);
  return isUsable();
}

QueuePpd::QueuePpd(const char* path, const OptionList& jobOptions) {
  if (!path || !open(path)) return;
  ppdMarkDefaults(ppd_.get());
  cupsMarkOptions(ppd_.get(), jobOptions.count(), jobOptions.options());
  findMissingEquipment();
}

void QueuePpd::findMissingEquipment() {
  const ppd_group_t* const installable = installableOptions(*ppd_);
  for (int i = 0; i < ppd_->num_consts; ++i) {
    const ppd_const_t& constraint = ppd_->consts[i];
    const Side sides[] = {{constraint.option1, constraint.choice1},
                          {constraint.option2, constraint.choice2}};
    for (int own = 0; own < 2; ++own) {
      const Side& other = sides[1 - own];
      if (!isIn(installable, other.option)) continue;
      const char* const installed = choice(other.option);
      if (!installed || !other.concerns(other.option, installed)) continue;
      missing_.push_back({sides[own], std::string(other.option) + "=" + installed});
    }
  }
}

bool QueuePpd::hasKeyword(const char* keyword) const {
  return ppd_ && ppdFindAttr(ppd_.get(), keyword, nullptr);
}

bool QueuePpd::hasOption(const char* option) const {
  return ppd_ && ppdFindOption(ppd_.get(), option);
}

bool QueuePpd::hasChoice(const char* option, const char* choice) const {
  ppd_option_t* const found = ppd_ ? ppdFindOption(ppd_.get(), option) : nullptr;
  return found && ppdFindChoice(found, choice);
}

const char* QueuePpd::choice(const char* option) const {
  const ppd_choice_t* const choice = ppd_ ? ppdFindMarkedChoice(ppd_.get(), option) : nullptr;
  return choice ? choice->choice : nullptr;
}

const char* QueuePpd::defaultChoice(const char* option) const {
  ppd_option_t* const found = ppd_ ? ppdFindOption(ppd_.get(), option) : nullptr;
  const ppd_choice_t* const choice = found ? ppdFindChoice(found, found->defchoice) : nullptr;
  return choice ? choice->choice : nullptr;
}

std::string QueuePpd::code(const char* option, const char* choice) const {
  ppd_option_t* const found = ppd_ ? ppdFindOption(ppd_.get(), option) : nullptr;
  const ppd_choice_t* const foundChoice = found ? ppdFindChoice(found, choice) : nullptr;
  return foundChoice && foundChoice->code ? foundChoice->code : "";
}

std::string QueuePpd::missingEquipment(const char* option, const char* choice) const {
  for (const Missing& missing : missing_) {
    if (missing.ruledOut.concerns(option, choice)) return missing.equipment;
  }
  return "";
}

std::vector<const char*> QueuePpd::optionsWithoutEquipment() const {
  std::vector<const char*> found;
  for (int i = 0; ppd_ && i < ppd_->num_groups; ++i) {
    const ppd_group_t& group = ppd_->groups[i];
    if (strcasecmp(group.name, kInstallable) == 0) continue;
    for (int k = 0; k < group.num_options; ++k) {
      const char* const option = group.options[k].keyword;
      const char* const marked = choice(option);
      if (marked && hasCode(option, marked) && !missingEquipment(option, marked).empty()) {
        found.push_back(option);
      }
    }
  }
  return found;
}

}  // namespace jobshaper
