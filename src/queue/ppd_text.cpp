#include "queue/ppd_text.h"

#include <cups/file.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "settings/strings.h"

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

// 1 for a line that opens a group or an option, -1 for one that closes it, otherwise 0.
int nesting(std::string_view line) {
  if (line.starts_with("*JCL")) line.remove_prefix(3);
  line.remove_prefix(std::min<std::size_t>(line.size(), 1));
  if (line.starts_with("Open")) return 1;
  return line.starts_with("Close") ? -1 : 0;
}

bool isLowerCase(char c) { return c >= 'a' && c <= 'z'; }

// A line such as "*de.InputSlot Tray1/Fach 1: """.
bool isTranslation(std::string_view line) {
  return line.size() > 4 && line[0] == '*' && isLowerCase(line[1]) && isLowerCase(line[2]) &&
         line[3] == '.' && line.ends_with(": \"\"\n");
}

// Whether a job may need the line. Fonts are listed for applications, and the order of options for
// the filter that writes their code.
bool isNeeded(std::string_view line) {
  return !isTranslation(line) && !line.starts_with("*Font ") &&
         !line.starts_with("*OrderDependency: ");
}

bool endsName(char c) {
  return c == ' ' || c == ':' || c == '/' || c == '\t' || c == '\r' || c == '\n';
}

// The option at the start, such as "*OptionTray5" in " *OptionTray5/Tray 5: Boolean".
std::string_view firstName(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  return text.substr(
      0, static_cast<std::size_t>(std::find_if(text.begin(), text.end(), endsName) - text.begin()));
}

// Collects the constraints of equipment that may be installed. Most others are about choices that
// exclude each other, of which only dialogs tell; libcups would check them all for each job.
class EquipmentConstraints {
 public:
  // Whether the line is a constraint. To be called with each line.
  bool take(std::string_view line) {
    constexpr std::string_view kConstraint = "*UIConstraints:";
    constexpr std::string_view kGroup = "*OpenGroup:";
    constexpr std::string_view kOption = "*OpenUI ";
    if (line.starts_with(kConstraint)) {
      constraints_.emplace_back(line);
      return true;
    }
    if (line.starts_with(kGroup)) {
      inEquipment_ =
          equalsIgnoringCase(firstName(line.substr(kGroup.size())), "InstallableOptions");
    } else if (inEquipment_ && line.starts_with(kOption)) {
      equipment_.emplace_back(firstName(line.substr(kOption.size())));
    }
    return false;
  }

  // Appends those that name such equipment to `lines`, of which the last may have no end.
  void appendTo(std::string& lines) const {
    lines += '\n';
    for (const std::string& line : constraints_) {
      if (namesEquipment(line)) lines += line;
    }
  }

 private:
  bool namesEquipment(std::string_view line) const {
    for (std::size_t at = 1; (at = line.find('*', at)) != line.npos; ++at) {
      const std::string_view rest = line.substr(at);
      for (const std::string& option : equipment_) {
        if (rest.size() <= option.size() || !endsName(rest[option.size()])) continue;
        if (equalsIgnoringCase(rest.substr(0, option.size()), option)) return true;
      }
    }
    return false;
  }

  std::vector<std::string> constraints_;
  std::vector<std::string> equipment_;  // options with their asterisks
  bool inEquipment_ = false;            // within the group of such options
};

std::nullopt_t tooLarge() {
  errno = 0;
  return std::nullopt;
}

// Reads a file, which may be compressed, line by line.
class LineReader {
 public:
  explicit LineReader(const Descriptor& file) : file_(cupsFileOpenFd(::dup(file.get()), "r")) {
    if (!file_) error_ = errno;
  }

  // The next line, with its end: LF or CR. A line that is longer than libcups allows is split.
  // Returns "" at the end of the file or after an error, see error(). Valid until the next call.
  std::string_view next() {
    if (rest_.size() < kLongestLine && file_) fill();
    std::string_view line = rest_.substr(0, kLongestLine);
    for (const char end : {'\n', '\r'}) {
      if (const std::size_t at = line.find(end); at != line.npos) line = line.substr(0, at + 1);
    }
    rest_.remove_prefix(line.size());
    return line;
  }

  // The reason why the file cannot be read to its end, as in errno; 0 if it could.
  int error() const { return error_; }

 private:
  void fill() {
    errno = 0;
    std::memmove(buffer_, rest_.data(), rest_.size());
    const ssize_t n =
        cupsFileRead(file_.get(), buffer_ + rest_.size(), sizeof buffer_ - rest_.size());
    // The call that fails returns the bytes before the error; only errno shows it.
    if (errno != 0) error_ = errno;
    if (n <= 0) file_.reset();
    rest_ = {buffer_, rest_.size() + static_cast<std::size_t>(std::max(n, ssize_t{0}))};
  }

  std::unique_ptr<_cups_file_s, CupsFileCloser> file_;
  int error_ = 0;
  char buffer_[16384] = {};
  std::string_view rest_ = "";  // what is not yet returned
};

}  // namespace

std::optional<PpdText> readPpdText(const Descriptor& file) {
  LineReader reader(file);
  PpdText text;
  EquipmentConstraints constraints;
  std::size_t size = 0;
  int count = 0;
  int slow = 0;
  int depth = 0;
  for (std::string_view line; !(line = reader.next()).empty();) {
    size += line.size();
    if (size > kLargestPpd || ++count > kMostLines) return tooLarge();
    if (!isNeeded(line)) continue;
    if (isSlow(line) && ++slow > kMostSlowLines) return tooLarge();
    if (constraints.take(line)) continue;
    depth += nesting(line);
    storeKeyword(line, text.keywords);
    text.lines += line;
  }
  constraints.appendTo(text.lines);
  text.isComplete = depth == 0;
  errno = reader.error();
  if (errno != 0) return std::nullopt;
  return text;
}

}  // namespace jobshaper
