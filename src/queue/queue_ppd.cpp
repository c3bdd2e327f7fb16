#include "queue/queue_ppd.h"

#include <cups/cups.h>
#include <cups/file.h>
#include <cups/ppd.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/files.h"
#include "queue/header_text.h"
#include "settings/ppd_values.h"

// libcups marks its PPD functions as deprecated, but our printers have no other driver.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace jobshaper {

namespace {

// Far more than our PPD files have, in eight languages: 140 KB in 3,400 lines, 200 of them of the
// kinds below.
constexpr off_t kLargestPpd = 2 * 1024 * 1024;
constexpr int kMostLines = 50000;
constexpr int kMostSlowLines = 4000;

// For each of these lines, libcups searches all earlier lines of the same kind.
constexpr std::string_view kSlowLines[] = {
    "*Open",          "*JCLOpen",     "*PageSize", "*PaperDimension",
    "*ImageableArea", "*ParamCustom", "*Custom",
};

bool isSlow(const char* line) {
  // Nearly all lines return here; otherwise the comparisons would take most of the time.
  if (line[0] != '*' || !std::strchr("OoJjPpIiCc", line[1])) return false;
  for (const std::string_view start : kSlowLines) {
    if (strncasecmp(line, start.data(), start.size()) == 0) return true;
  }
  return false;
}

// Whether libcups will read the file in little time and memory. For a compressed file,
// cupsFileTell() counts uncompressed bytes.
bool isWithinLimits(const Descriptor& file) {
  const std::unique_ptr<_cups_file_s, CupsFileCloser> lines(cupsFileOpenFd(::dup(file.get()), "r"));
  if (!lines) return false;
  char line[1024];  // a longer line is split, and each part counts as a line
  int count = 0;
  int slow = 0;
  while (cupsFileGets(lines.get(), line, sizeof line)) {
    if (isSlow(line)) ++slow;
    if (++count > kMostLines || slow > kMostSlowLines) return false;
    if (cupsFileTell(lines.get()) > kLargestPpd) return false;
  }
  return true;
}

constexpr char kInstallable[] = "InstallableOptions";

void report(const char* path, const std::string& reason) {
  std::fprintf(stderr,
               "\nWARNING: The PPD file %s is not used: %s. Set the driver of the queue again with "
               "lpadmin -m.\n",
               headerText(path).c_str(), reason.c_str());
}

// Opens the file; returns none, after reporting the reason on standard error, if it cannot be used.
Descriptor openWithinLimits(const char* path) {
  Descriptor file = openRegularFile(path);
  if (!file.valid()) {
    report(path, errno == 0 ? "it is empty or not a regular file" : std::strerror(errno));
  } else if (!isWithinLimits(file)) {
    report(path, "it has more than 2 MiB, 50,000 lines or 4,000 definitions");
    file.reset();
  } else if (::lseek(file.get(), 0, SEEK_SET) != 0) {
    report(path, std::strerror(errno));
    file.reset();
  }
  return file;
}

// One half of a constraint.
struct Side {
  const char* option;
  const char* choice;  // "" for every choice except those that switch the option off
};

bool concerns(const Side& side, const char* option, const char* choice) {
  if (strcasecmp(side.option, option) != 0) return false;
  if (*side.choice) return strcasecmp(side.choice, choice) == 0;
  for (const char* const off : {"None", "False", "Off"}) {
    if (strcasecmp(choice, off) == 0) return false;
  }
  return true;
}

bool isInstallable(ppd_file_t* ppd, const char* option) {
  for (int i = 0; i < ppd->num_groups; ++i) {
    const ppd_group_t& group = ppd->groups[i];
    if (strcasecmp(group.name, kInstallable) != 0) continue;
    for (int k = 0; k < group.num_options; ++k) {
      if (strcasecmp(group.options[k].keyword, option) == 0) return true;
    }
  }
  return false;
}

}  // namespace

void QueuePpd::Closer::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

QueuePpd::Ppd QueuePpd::open(const char* path) {
  if (!path) return nullptr;
  Descriptor file = openWithinLimits(path);
  if (!file.valid()) return nullptr;
  Ppd ppd(ppdOpenFd(file.release()));
  if (!ppd) {
    int line = 0;
    const ppd_status_t reason = ppdLastError(&line);
    report(path, std::string(ppdErrorString(reason)) + ", line " + std::to_string(line));
  } else if (!ppd->manufacturer || strcasecmp(ppd->manufacturer, "Quorvan") != 0) {
    report(path, "its manufacturer is not Quorvan");
    ppd.reset();
  }
  return ppd;
}

QueuePpd::QueuePpd(const char* path, const OptionList& jobOptions) : ppd_(open(path)) {
  if (!ppd_) return;
  ppdMarkDefaults(ppd_.get());
  cupsMarkOptions(ppd_.get(), jobOptions.count(), jobOptions.options());
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
  if (!ppd_) return "";
  for (int i = 0; i < ppd_->num_consts; ++i) {
    const ppd_const_t& constraint = ppd_->consts[i];
    const Side sides[] = {{constraint.option1, constraint.choice1},
                          {constraint.option2, constraint.choice2}};
    for (int own = 0; own < 2; ++own) {
      const Side& other = sides[1 - own];
      if (!concerns(sides[own], option, choice) || !isInstallable(ppd_.get(), other.option))
        continue;
      const char* const installed = this->choice(other.option);
      if (installed && concerns(other, other.option, installed)) {
        return std::string(other.option) + "=" + installed;
      }
    }
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
