#include "queue/queue_ppd.h"

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
#include "settings/ppd_values.h"

// libcups calls its PPD functions deprecated since PPD files are; our printers have nothing else.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace jobshaper {

namespace {

// Far more than our PPD files have, in eight languages: 140 KB in 3,400 lines, 200 of them of the
// kinds below.
constexpr off_t kLargestPpd = 2 * 1024 * 1024;
constexpr int kMostLines = 50000;
constexpr int kMostSlowLines = 4000;

// The lines for each of which libcups looks through all of the kind that came before.
constexpr std::string_view kSlowLines[] = {
    "*Open", "*JCLOpen", "*PaperDimension", "*ImageableArea", "*ParamCustom", "*Custom",
};

bool isSlow(const char* line) {
  for (const std::string_view start : kSlowLines) {
    if (strncasecmp(line, start.data(), start.size()) == 0) return true;
  }
  return false;
}

// Whether libcups will read the file in little time and memory. The position counts what a
// compressed file unfolds to.
bool isOfBearableSize(const Descriptor& file) {
  const std::unique_ptr<_cups_file_s, CupsFileCloser> lines(cupsFileOpenFd(::dup(file.get()), "r"));
  if (!lines) return false;
  char line[1024];  // a longer line comes in pieces, each taken as a line
  int count = 0;
  int slow = 0;
  while (cupsFileGets(lines.get(), line, sizeof line)) {
    if (isSlow(line)) ++slow;
    if (++count > kMostLines || slow > kMostSlowLines) return false;
    if (cupsFileTell(lines.get()) > kLargestPpd) return false;
  }
  return true;
}

Ppd refuse(const std::string& reason) {
  std::fprintf(stderr, "WARNING: The PPD file is not used: %s.\n", reason.c_str());
  return nullptr;
}

}  // namespace

void PpdCloser::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

Ppd openQueuePpd(const char* path) {
  if (!path) return nullptr;
  Descriptor file = openWithoutWaiting(path);
  if (!file.valid()) return refuse(std::strerror(errno));
  if (!isRegularFile(file) || !hasContent(file)) return refuse("it is no file with content");
  if (!isOfBearableSize(file)) return refuse("it is too large");
  if (::lseek(file.get(), 0, SEEK_SET) != 0) return refuse(std::strerror(errno));
  Ppd ppd(ppdOpenFd(file.release()));
  if (!ppd) {
    int line = 0;
    const ppd_status_t reason = ppdLastError(&line);
    return refuse(std::string(ppdErrorString(reason)) + ", line " + std::to_string(line));
  }
  if (!ppd->manufacturer || strcasecmp(ppd->manufacturer, "Quorvan") != 0) {
    return refuse("it is of another maker's printer");
  }
  return ppd;
}

}  // namespace jobshaper
