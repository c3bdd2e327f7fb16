#include "queue/ppd_text.h"

#include <cups/file.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace jobshaper {

namespace {

// Far more than our PPD files have, in eight languages: 140 KB in 3,400 lines, 200 of them of the
// kinds below.
constexpr std::size_t kLargestPpd = 2 * 1024 * 1024;
constexpr int kMostLines = 50000;
constexpr int kMostSlowLines = 4000;

// With its end. libcups rejects a PPD file with a longer line.
constexpr std::size_t kLongestLine = 256;

// For each of these lines, libcups searches all earlier lines of the same kind.
constexpr std::string_view kSlowLines[] = {
    "*Open",          "*JCLOpen",     "*PageSize", "*PaperDimension",
    "*ImageableArea", "*ParamCustom", "*Custom",
};

bool isSlow(std::string_view line) {
  // Nearly all lines return here; otherwise the comparisons would take most of the time.
  if (line.size() < 2 || line[0] != '*' || !std::strchr("OoJjPpIiCc", line[1])) return false;
  for (const std::string_view start : kSlowLines) {
    if (line.size() < start.size()) continue;
    if (strncasecmp(line.data(), start.data(), start.size()) == 0) return true;
  }
  return false;
}

bool isLowerCase(char c) { return c >= 'a' && c <= 'z'; }

// A line such as "*de.InputSlot Tray1/Fach 1: """.
bool isTranslation(std::string_view line) {
  return line.size() > 4 && line[0] == '*' && isLowerCase(line[1]) && isLowerCase(line[2]) &&
         line[3] == '.' && line.ends_with(": \"\"\n");
}

// The uncompressed content of the file; nothing if it is too large.
std::optional<std::string> contentOf(const Descriptor& file) {
  const std::unique_ptr<_cups_file_s, CupsFileCloser> input(cupsFileOpenFd(::dup(file.get()), "r"));
  if (!input) return std::nullopt;
  std::string content;
  char block[16384];
  for (ssize_t n; (n = cupsFileRead(input.get(), block, sizeof block)) > 0;) {
    content.append(block, static_cast<std::size_t>(n));
    if (content.size() > kLargestPpd) return std::nullopt;
  }
  return content;
}

// Removes a line from the beginning of `rest` and returns it, with its end: LF or CR. A line that
// is longer than libcups allows is split.
std::string_view takeLine(std::string_view& rest) {
  std::string_view line = rest.substr(0, kLongestLine);
  for (const char end : {'\n', '\r'}) {
    line = line.substr(0, std::min(line.find(end), line.size() - 1) + 1);
  }
  rest.remove_prefix(line.size());
  return line;
}

}  // namespace

std::optional<PpdText> readPpdText(const Descriptor& file) {
  const std::optional<std::string> content = contentOf(file);
  if (!content) return std::nullopt;
  PpdText text;
  int count = 0;
  int slow = 0;
  for (std::string_view rest = *content; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    if (isSlow(line)) ++slow;
    if (++count > kMostLines || slow > kMostSlowLines) return std::nullopt;
    storeKeyword(line, text.keywords);
    if (!isTranslation(line)) text.lines += line;
  }
  return text;
}

}  // namespace jobshaper
