#include "booklet/manual_booklet.h"

#include <algorithm>
#include <cstdio>

#include "diag/log.h"
#include "platform/cancellation.h"
#include "platform/piece_reader.h"
#include "platform/system.h"

namespace jobshaper {

namespace {

constexpr std::string_view kFirstPass =
    "statusdict dup /setmanualduplexmode known {begin 1 setmanualduplexmode end}{pop}ifelse\n";
constexpr std::string_view kSecondPass =
    "statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse\n";
// A page without marks, made with the procedures that every job of the system brings.
constexpr std::string_view kBlankPage = "cg_md begin\nbp\nsdmtx\nep\nend\n";
// Undoes the save that old systems wrap every page in.
constexpr std::string_view kRestorePage = "userdict /ESPsave get restore\n";
// How many lines of page 1 set up the blank page.
constexpr int kPrefixLines = 4;

bool reportNoFile() {
  std::fputs("ERROR: Unable to create necessary file.\n", stderr);
  return false;
}

constexpr std::string_view kPage = "%%Page:";
constexpr std::string_view kTrailer = "%%Trailer";

// Where a text stands that begins a page or the trailer when it begins a line.
std::size_t findDivision(std::string_view lines) {
  std::size_t at = lines.find("%%");
  for (; at != lines.npos; at = lines.find("%%", at + 1)) {
    const std::string_view rest = lines.substr(at);
    if (rest.starts_with(kPage) || rest.starts_with(kTrailer)) break;
  }
  return std::min(lines.size(), at);
}

// One reordering, from the first line of the job to the finished output file.
class Reordering {
 public:
  Reordering(const std::string& outputPath, const std::string& jobId,
             std::optional<std::string_view> orientation, bool onlyInside);

  bool createFiles();
  // Whole lines, which lie side by side.
  bool takeLines(std::string_view lines);
  bool flush();
  bool finish();

 private:
  bool takeLine(std::string_view line);
  void takeText(std::string_view lines);
  bool beginPage();
  bool keepHeaderApart();
  bool gatherEvenPages();
  bool gatherOddPages();
  std::string blankPage() const;
  bool writeOutput();

  const std::string outputPath_;
  const bool safeName_;  // the job id names a file in the folder, not one elsewhere
  const bool up_;
  const bool down_;
  const bool onlyInside_;
  const std::string oddPath_, evenPath_, newEvenPath_, newOddPath_, headerPath_;

  PageFile odd_;      // header, first pass request and odd pages
  PageFile even_;     // the even page being read
  PageFile newEven_;  // even pages before that one, last first
  PageFile newOdd_;   // likewise for odd pages; "Up" only
  PageFile header_;   // "Up" only
  PageFile output_;

  std::int32_t pageCounter_ = 0;
  bool trailerBegun_ = false;
  int firstPageLines_ = 0;       // counted from the first "%%Page:" line on
  std::string firstPagePrefix_;  // as it came, in Mac OS Roman
};

std::string pathOf(std::string_view name, const std::string& jobId) {
  std::string path = temporaryDirectory();
  return path.append(name).append(jobId);
}

Reordering::Reordering(const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside)
    : outputPath_(outputPath),
      safeName_(jobId.find('/') == jobId.npos),
      up_(orientation == "Up"),
      down_(orientation == "Down"),
      onlyInside_(onlyInside),
      oddPath_(pathOf(kReorderedName, jobId)),
      evenPath_(pathOf(kEvenName, jobId)),
      newEvenPath_(pathOf(kNewEvenName, jobId)),
      newOddPath_(pathOf(kNewOddName, jobId)),
      headerPath_(pathOf(kHeaderName, jobId)) {}

bool Reordering::createFiles() {
  return (safeName_ && odd_.open(oddPath_) && even_.open(evenPath_) &&
          newEven_.open(newEvenPath_) && newOdd_.open(newOddPath_) && output_.open(outputPath_)) ||
         reportNoFile();
}

bool Reordering::takeLines(std::string_view lines) {
  while (!lines.empty() && !trailerBegun_ && !cancellationRequested()) {
    // Nothing but text lies ahead of the next division, once the first page's prefix is complete.
    const bool inPrefix = pageCounter_ > 0 && firstPageLines_ < kPrefixLines;
    const std::size_t division = inPrefix ? 0 : findDivision(lines);
    if (division == lines.size()) {
      takeText(lines);
      return true;
    }
    const std::string_view line = pieceAround(lines, division);
    takeText({lines.data(), line.data()});
    if (!takeLine(line)) return false;
    lines = {line.data() + line.size(), lines.data() + lines.size()};
  }
  return true;
}

bool Reordering::takeLine(std::string_view line) {
  if (line.starts_with(kPage)) {
    ++pageCounter_;
    if (!beginPage()) return false;
  }
  if (line.starts_with(kTrailer)) {
    trailerBegun_ = true;
    return true;
  }
  if (pageCounter_ > 0 && firstPageLines_ < kPrefixLines) {
    ++firstPageLines_;
    firstPagePrefix_.append(line);
  }
  takeText(line);
  return true;
}

void Reordering::takeText(std::string_view lines) {
  const bool toOdd = pageCounter_ == 0 || pageCounter_ % 2 == 1;
  PageFile& page = toOdd ? odd_ : even_;
  while (!lines.empty()) {
    // A line goes out as a C string: its text ends at a zero byte.
    const std::size_t zero = lines.find('\0');
    page.writeMacRoman(lines.substr(0, zero));
    if (zero == lines.npos) return;
    const std::string_view cut = pieceAround(lines, zero);
    lines = {cut.data() + cut.size(), lines.data() + lines.size()};
  }
}

bool Reordering::flush() { return (odd_.flush() && even_.flush()) || reportNoFile(); }

bool Reordering::beginPage() {
  if (pageCounter_ == 1) {
    odd_.write(kFirstPass);
    return !up_ || keepHeaderApart();
  }
  bool moved = true;
  if (pageCounter_ % 2 == 1) {
    moved = !up_ || reArrangedPages(pageCounter_, odd_, &newOdd_, oddPath_, newOddPath_);
  } else if (pageCounter_ > 2) {
    moved = reArrangedPages(pageCounter_, even_, &newEven_, evenPath_, newEvenPath_);
  }
  if (!moved) std::fputs("ERROR: Critical error in rearranging pages.\n", stderr);
  return moved;
}

// With the odd pages reversed too, the header must not be reversed with them.
bool Reordering::keepHeaderApart() {
  return (header_.open(headerPath_) && odd_.close() && header_.append(oddPath_) &&
          header_.close() && odd_.open(oddPath_)) ||
         reportNoFile();
}

bool Reordering::finish() {
  const bool closed = even_.close() && odd_.close() && newEven_.close() && newOdd_.close();
  return (closed && gatherEvenPages() && (!up_ || gatherOddPages()) && writeOutput()) ||
         reportNoFile();
}

bool Reordering::gatherEvenPages() {
  return even_.openAgain(evenPath_) && even_.append(newEvenPath_) && even_.close();
}

bool Reordering::gatherOddPages() {
  if (!odd_.openAgain(oddPath_) || !odd_.append(newOddPath_)) return false;
  // A job without pages has no header apart.
  return (pageCounter_ == 0 || odd_.prepend(headerPath_)) && odd_.close();
}

std::string Reordering::blankPage() const {
  std::string page = firstPagePrefix_;
  page.append(kBlankPage);
  if (version < kFirstVersionWithoutSave) page.append(kRestorePage);
  return page;
}

bool Reordering::writeOutput() {
  if (!output_.append(oddPath_)) return false;
  output_.write(kSecondPass);
  const std::string blank = blankPage();
  if (!down_) output_.write(blank);
  if (onlyInside_) output_.write(blank);
  if (!output_.append(evenPath_)) return false;
  if (down_) output_.write(blank);
  return output_.close();
}

bool reorder(int input, Reordering& reordering) {
  if (!reordering.createFiles()) return false;
  PipeTap tap(input, -1);
  PieceReader reader(tap);
  for (;;) {
    if (!reordering.flush()) return false;  // the next read may wait
    const auto block = reader.next();
    if (!block || block->atEnd) break;  // a last line without an end is left out
    if (!reordering.takeLines(block->pieces)) return false;
  }
  return !cancellationRequested() && reordering.finish();
}

bool moveToReversed(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath) {
  if (!sideStream.close()) return false;
  if (reversedStream && !reversedStream->close()) return false;
  // Pages 3 and 4 are the first to find a page of their parity in the side file.
  const bool first = pageNumber == 3 || pageNumber == 4;
  PageFile reversed;
  return (first ? reversed.open(reversedPath) : reversed.openAgain(reversedPath)) &&
         reversed.prepend(sidePath) && reversed.close() && sideStream.open(sidePath);
}

}  // namespace

int manualBookletOrder(int input, const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside) {
  LogInfoBody("manualBookletOrder", __LINE__, "{");
  std::fprintf(stderr, "tmp at %s \n", temporaryDirectory().c_str());
  Reordering reordering(outputPath, jobId, orientation, onlyInside);
  const bool done = reorder(input, reordering);
  LogInfoBody("manualBookletOrder", __LINE__, "}");
  return done ? 1 : 0;
}

int reArrangedPages(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath) {
  LogInfoBody("reArrangedPages", __LINE__, "{");
  const bool done =
      moveToReversed(pageNumber, sideStream, reversedStream, sidePath, reversedPath) ||
      reportNoFile();
  LogInfoBody("reArrangedPages", __LINE__, "}");
  return done ? 1 : 0;
}

}  // namespace jobshaper
