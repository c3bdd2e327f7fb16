#include "settings/ppd_values.h"

#include <cups/file.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "diag/log.h"
#include "platform/files.h"
#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

constexpr off_t kLargestPpd = 64 * 1024 * 1024;  // bytes; those of real printers have a few MiB

// Unicode's line ends and blanks, in UTF-8.
constexpr std::string_view kLineEnds[] = {
    "\n", "\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9",
};
constexpr std::string_view kBlanks[] = {
    " ",
    "\t",
    "\xC2\xA0",
    "\xE1\x9A\x80",
    "\xE2\x80\x80",
    "\xE2\x80\x81",
    "\xE2\x80\x82",
    "\xE2\x80\x83",
    "\xE2\x80\x84",
    "\xE2\x80\x85",
    "\xE2\x80\x86",
    "\xE2\x80\x87",
    "\xE2\x80\x88",
    "\xE2\x80\x89",
    "\xE2\x80\x8A",
    "\xE2\x80\xAF",
    "\xE2\x81\x9F",
    "\xE3\x80\x80",
};

// The length of the table entry that `text` begins with; 0 if it begins with none.
template <std::size_t n>
std::size_t startsWithOneOf(std::string_view text, const std::string_view (&table)[n]) {
  for (const std::string_view entry : table) {
    if (text.starts_with(entry)) return entry.size();
  }
  return 0;
}

bool beginsWithKeyword(std::string_view line, std::string_view keyword) {
  return line.size() >= keyword.size() &&
         strncasecmp(line.data(), keyword.data(), keyword.size()) == 0;
}

}  // namespace

void CupsFileCloser::operator()(_cups_file_s* file) const { cupsFileClose(file); }

std::optional<std::string> ppdLineValue(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == line.npos || !isValidUtf8(line)) return std::nullopt;
  std::string_view rest = line.substr(colon + 1);
  for (std::size_t n;
       (n = std::max(startsWithOneOf(rest, kBlanks), startsWithOneOf(rest, kLineEnds))) != 0;) {
    rest.remove_prefix(n);
  }
  std::size_t end = 0;
  while (end < rest.size() && startsWithOneOf(rest.substr(end), kLineEnds) == 0) ++end;
  std::string value(rest.substr(0, end));
  std::erase(value, '"');
  return value;
}

bool storeKeyword(std::string_view line, PpdKeywords& values) {
  // Nearly all lines return here; otherwise the comparisons would take most of the time.
  if (line.size() < 2 || (line[1] != 'Q' && line[1] != 'q')) return false;
  bool isStored = false;
  for (const std::string_view keyword : kPpdKeywords) {
    // This is a prefix test, so a longer keyword matches too; the last matching line wins.
    if (!beginsWithKeyword(line, keyword)) continue;
    std::optional<std::string> value = ppdLineValue(line.substr(0, line.find('\0')));
    if (!value || value->empty()) continue;
    values.insert_or_assign(std::string(keyword), std::move(*value));
    isStored = true;
  }
  return isStored;
}

bool initPPDValues(PPDValues& ppdValues) {
  const char* const path = std::getenv("PPD");
  if (!path) return false;
  Descriptor file = openRegularFile(path);
  if (!file.valid() && errno == 0) return false;  // as good as an empty file
  if (file.valid()) ppdValues.file.reset(cupsFileOpenFd(file.release(), "r"));
  if (!ppdValues.file) {
    constexpr int kTraceLine = 1816;  // fixed: tools that read the log expect it
    constexpr char kMessage[] = "ERROR: Unable to open PPD file\n";
    std::fputs(kMessage, stderr);
    LogInfoBody("initPPDValues", kTraceLine, "%s", kMessage);
    return false;
  }
  bool anyStored = false;
  char line[1024];  // a longer line is split, and each part treated as a line
  std::size_t length = 0;
  // For a compressed file, cupsFileTell() counts uncompressed bytes.
  while (cupsFileTell(ppdValues.file.get()) < kLargestPpd &&
         (length = cupsFileGetLine(ppdValues.file.get(), line, sizeof line)) > 0) {
    if (storeKeyword({line, length}, ppdValues.values)) anyStored = true;
  }
  return anyStored;
}

bool getTheValue(std::string_view keyword, std::string& value, const PPDValues& ppdValues) {
  const auto found = ppdValues.values.find(keyword);
  if (found == ppdValues.values.end()) return false;
  value = found->second;
  return true;
}

bool isQvnGenericDriver(bool& isColor, const PPDValues& ppdValues) {
  isColor = false;
  std::string value;
  if (!getTheValue(kGenericKeyword, value, ppdValues)) return false;
  isColor = value == "Color";
  return true;
}

}  // namespace jobshaper
