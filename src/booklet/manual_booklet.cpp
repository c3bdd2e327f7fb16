#include "booklet/manual_booklet.h"

#include <algorithm>
#include <cstdio>

#include "booklet/booklet_files.h"
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
// An empty page, drawn with the procedure set that every job of the system contains.
constexpr std::string_view kBlankPage = "cg_md begin\nbp\nsdmtx\nep\nend\n";
// The end of the save that old systems wrap every page in.
constexpr std::string_view kRestorePage = "userdict /ESPsave get restore\n";
// How many lines of page 1 the blank page begins with.
constexpr int kPrefixLines = 4;

bool reportNoFile() {
  std::fputs("ERROR: Unable to create necessary file.\n", stderr);
  return false;
}

constexpr std::string_view kPage = "%%Page:";
constexpr std::string_view kTrailer = "%%Trailer";

// The position of the first "%%Page:" or "%%Trailer", at the start of a line or not; the size of
// `lines` if there is none.
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
  // Takes whole, contiguous lines.
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
  const bool up_;
  const bool down_;
  const bool onlyInside_;
  const BookletFiles files_;

  PageFile odd_;      // header, request for the first pass and odd pages
  PageFile even_;     // the even page being read
  PageFile newEven_;  // even pages before that one, last first
  PageFile newOdd_;   // the same for odd pages; used with orientation "Up" only
  PageFile header_;   // used with orientation "Up" only
  PageFile output_;

  std::int32_t pageCounter_ = 0;
  bool trailerBegun_ = false;
  int firstPageLines_ = 0;       // lines in firstPagePrefix_
  std::string firstPagePrefix_;  // the first lines of page 1, in Mac OS Roman
};

Reordering::Reordering(const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside)
    : outputPath_(outputPath),
      up_(orientation == "Up"),
      down_(orientation == "Down"),
      onlyInside_(onlyInside),
      files_(temporaryDirectory(), jobId) {}

bool Reordering::createFiles() {
  return (files_.areInDirectory() && odd_.open(files_.reordered) && even_.open(files_.even) &&
          newEven_.open(files_.newEven) && newOdd_.open(files_.newOdd) &&
          output_.open(outputPath_)) ||
         reportNoFile();
}

bool Reordering::takeLines(std::string_view lines) {
  while (!lines.empty() && !trailerBegun_ && !cancellationRequested()) {
    // Everything before the next division is text, unless lines of the prefix are still to come.
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
    // A line is written as a C string, so a zero byte ends its text.
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
    moved = !up_ || reArrangedPages(pageCounter_, odd_, &newOdd_, files_.reordered, files_.newOdd);
  } else if (pageCounter_ > 2) {
    moved = reArrangedPages(pageCounter_, even_, &newEven_, files_.even, files_.newEven);
  }
  if (!moved) std::fputs("ERROR: Critical error in rearranging pages.\n", stderr);
  return moved;
}

// When the odd pages are reversed too, the header must stay out of their file.
bool Reordering::keepHeaderApart() {
  return (header_.open(files_.header) && odd_.close() && header_.append(files_.reordered) &&
          header_.close() && odd_.open(files_.reordered)) ||
         reportNoFile();
}

bool Reordering::finish() {
  const bool closed = even_.close() && odd_.close() && newEven_.close() && newOdd_.close();
  return (closed && gatherEvenPages() && (!up_ || gatherOddPages()) && writeOutput()) ||
         reportNoFile();
}

bool Reordering::gatherEvenPages() {
  return even_.openAgain(files_.even) && even_.append(files_.newEven) && even_.close();
}

bool Reordering::gatherOddPages() {
  if (!odd_.openAgain(files_.reordered) || !odd_.append(files_.newOdd)) return false;
  // In a job without pages, the header was never separated.
  return (pageCounter_ == 0 || odd_.prepend(files_.header)) && odd_.close();
}

std::string Reordering::blankPage() const {
  std::string page = firstPagePrefix_;
  page.append(kBlankPage);
  if (version < kFirstVersionWithoutSave) page.append(kRestorePage);
  return page;
}

bool Reordering::writeOutput() {
  if (!output_.append(files_.reordered)) return false;
  output_.write(kSecondPass);
  const std::string blank = blankPage();
  if (!down_) output_.write(blank);
  if (onlyInside_) output_.write(blank);
  if (!output_.append(files_.even)) return false;
  if (down_) output_.write(blank);
  return output_.close();
}

bool reorder(int input, Reordering& reordering) {
  if (!reordering.createFiles()) return false;
  PipeTap tap(input, -1);
  PieceReader reader(tap);
  for (;;) {
    if (!reordering.flush()) return false;  // the next read may block
    const auto block = reader.next();
    if (!block || block->atEnd) break;  // drops an unterminated last line
    if (!reordering.takeLines(block->pieces)) return false;
  }
  if (reader.failed()) {
    std::fputs("ERROR: Cannot read the print job.\n", stderr);
    return false;
  }
  return !cancellationRequested() && reordering.finish();
}

bool moveToReversed(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath) {
  if (!sideStream.close()) return false;
  if (reversedStream && !reversedStream->close()) return false;
  // At pages 3 and 4, the first page of their parity is in the side file, and the reversed file is
  // created.
  const bool first = pageNumber == 3 || pageNumber == 4;
  PageFile reversed;
  return (first ? reversed.open(reversedPath) : reversed.openAgain(reversedPath)) &&
         reversed.prepend(sidePath) && reversed.close() && sideStream.open(sidePath);
}

}  // namespace

int manualBookletOrder(int input, const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside) {
  const TraceScope trace("manualBookletOrder");
  std::fprintf(stderr, "tmp at %s \n", temporaryDirectory().c_str());
  Reordering reordering(outputPath, jobId, orientation, onlyInside);
  return reorder(input, reordering) ? 1 : 0;
}

int reArrangedPages(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath) {
  const TraceScope trace("reArrangedPages");
  const bool moved =
      moveToReversed(pageNumber, sideStream, reversedStream, sidePath, reversedPath) ||
      reportNoFile();
  return moved ? 1 : 0;
}

}  // namespace jobshaper
