#include "queue/imposition.h"

#include <unistd.h>

#include <string_view>
#include <utility>

#include "platform/files.h"
#include "queue/embedded_pages.h"

namespace jobshaper {

namespace {

// Comes before the procedures of the document, so that these bind our operators. While a page is
// drawn on a side, operators that would end the page, set up the device or affect the whole sheet
// do nothing or are limited to the page's half.
//
// A portrait sheet is turned so that its halves are side by side, as CUPS does it.
constexpr std::string_view kProcedures = R"(userdict/QvnBooklet 16 dict put
QvnBooklet begin
/onPage false def
/half matrix def
/side{QvnBooklet begin
initgraphics currentpagedevice/PageSize get aload pop/height exch def/width exch def
end}bind def
/open{QvnBooklet begin
gsave
width height le{90 rotate 0 width neg translate height width}{width height}ifelse
/high exch def 2 div/wide exch def
{wide 0 translate}if
0 0 wide high rectclip
wide width div high height div 2 copy gt{exch}if pop/scaling exch def
wide width scaling mul sub 2 div high height scaling mul sub 2 div translate
scaling dup scale
0 0 width height rectclip
half currentmatrix pop
/state save def
/operands count 1 sub def
/dictionaries countdictstack 1 sub def
/onPage true def
end}bind def
/close{
count QvnBooklet/operands get sub dup 0 gt{{pop}repeat}{pop}ifelse
countdictstack QvnBooklet/dictionaries get sub dup 0 gt{{end}repeat}{pop}ifelse
QvnBooklet/state get restore
grestore}bind def
/print{showpage}bind def
end
userdict begin
/showpage{QvnBooklet/onPage get not{showpage}if}bind def
/copypage{QvnBooklet/onPage get not{copypage}if}bind def
/erasepage{QvnBooklet/onPage get not{erasepage}if}bind def
/setpagedevice{QvnBooklet/onPage get{pop}{setpagedevice}ifelse}bind def
/initmatrix{QvnBooklet/onPage get{QvnBooklet/half get setmatrix}{initmatrix}ifelse}bind def
/defaultmatrix{QvnBooklet/onPage get{QvnBooklet/half get exch copy}{defaultmatrix}ifelse}bind def
/initclip{initclip
QvnBooklet/onPage get{matrix currentmatrix QvnBooklet/half get setmatrix
0 0 QvnBooklet/width get QvnBooklet/height get rectclip setmatrix}if}bind def
/initgraphics{initgraphics
QvnBooklet/onPage get{QvnBooklet/half get setmatrix
0 0 QvnBooklet/width get QvnBooklet/height get rectclip}if}bind def
end
)";

class JobWriter {
 public:
  explicit JobWriter(const std::string& directory) : file_(createNamelessFile(directory)) {}

  bool isOpen() const { return file_.valid(); }
  bool put(std::string_view bytes) {
    if (!bytes.empty()) inLine_ = bytes.back() != '\n';
    pending_.append(bytes);
    return pending_.size() < kBlock || flush();
  }
  bool endLine() { return !inLine_ || put("\n"); }

  // Returns the file, positioned at its start; none if it could not be written completely.
  Descriptor finish() {
    if (!flush() || ::lseek(file_.get(), 0, SEEK_SET) != 0) file_.reset();
    return std::move(file_);
  }

 private:
  static constexpr std::size_t kBlock = 64 * 1024;

  bool flush() {
    const bool written = writeAll(file_.get(), pending_);
    pending_.clear();
    return written;
  }

  Descriptor file_;
  std::string pending_;
  bool inLine_ = false;
};

// Copies the header of a job. If asked to, inserts the procedures after the line that begins the
// prolog, and sets the number of copies to 1, in the lines that CUPS writes for both.
class HeaderCopier {
 public:
  HeaderCopier(JobWriter& writer, bool addProcedures, bool oneCopy)
      : writer_(writer), addProcedures_(addProcedures), oneCopy_(oneCopy) {}

  bool take(std::string_view bytes) {
    while (!bytes.empty()) {
      const std::size_t end = bytes.find_first_of("\r\n");
      const bool whole = end != bytes.npos;
      line_.append(bytes.substr(0, whole ? end + 1 : end));
      bytes.remove_prefix(whole ? end + 1 : bytes.size());
      // The lines to change are shorter than this. What follows is not the start of a line.
      if ((whole || line_.size() > kLongestLine) && !putLine(whole)) return false;
    }
    return true;
  }
  bool finish() { return putLine(true); }

 private:
  static constexpr std::size_t kLongestLine = 1024;

  bool putLine(bool whole) {
    const std::string_view line = line_;
    const bool isProlog = atStart_ && line.starts_with("%%BeginProlog");
    bool done = true;
    if (atStart_ && oneCopy_ && line.starts_with("%RBINumCopies: ")) {
      done = writer_.put("%RBINumCopies: 1\n");
    } else if (atStart_ && oneCopy_ && copiesFollow_) {
      // The line begins with the number, which the operator that sets it follows.
      const std::size_t after = line.find_first_not_of("0123456789");
      done = writer_.put("1") && writer_.put(after == line.npos ? "\n" : line.substr(after));
    } else {
      done = writer_.put(line);
    }
    if (atStart_) copiesFollow_ = line.starts_with("%RBIBeginNonPPDFeature: *NumCopies ");
    if (isProlog && addProcedures_) {
      addProcedures_ = false;
      done = done && writer_.put(kProcedures);
    }
    atStart_ = whole;
    line_.clear();
    return done;
  }

  JobWriter& writer_;
  bool addProcedures_;
  const bool oneCopy_;
  bool atStart_ = true;  // of a line
  bool copiesFollow_ = false;
  std::string line_;
};

bool copyHeader(const HeldJob& job, const Rewriting& rewriting, JobWriter& writer) {
  HeaderCopier header(writer, !rewriting.sides.empty(), rewriting.oneCopy);
  const EmbeddedPages::Put put = [&](std::string_view bytes) { return header.take(bytes); };
  EmbeddedPages hidden(put);
  return job.forEachBlock(job.header(),
                          [&](std::string_view bytes) {
                            return rewriting.hidesEmbeddedPages ? hidden.take(bytes) : put(bytes);
                          }) &&
         hidden.finish() && header.finish();
}

// A side has a first line, "%%Page:", of its own.
bool copyPage(const HeldJob& job, const Part& page, const Rewriting& rewriting, JobWriter& writer) {
  const bool withFirstLine = rewriting.sides.empty();
  const EmbeddedPages::Put put = [&](std::string_view bytes) { return writer.put(bytes); };
  EmbeddedPages hidden(put);
  bool inFirstLine = true;
  return job.forEachBlock(page, [&](std::string_view bytes) {
    if (inFirstLine) {
      const std::size_t end = bytes.find_first_of("\r\n");
      const std::size_t size = end == bytes.npos ? bytes.size() : end + 1;
      if (withFirstLine && !put(bytes.substr(0, size))) return false;
      inFirstLine = end == bytes.npos;
      bytes.remove_prefix(size);
    }
    return rewriting.hidesEmbeddedPages ? hidden.take(bytes) : put(bytes);
  }) && hidden.finish();
}

bool writeHalf(const HeldJob& job, int page, bool right, const Rewriting& rewriting,
               JobWriter& writer) {
  if (page == kBlankPage) return true;
  return writer.put(right ? "true" : "false") && writer.put(" QvnBooklet/open get exec\n") &&
         copyPage(job, job.pages()[static_cast<std::size_t>(page) - 1], rewriting, writer) &&
         writer.endLine() && writer.put("QvnBooklet/close get exec\n");
}

// The first four lines must draw nothing: the blank page of a manual booklet begins with the first
// lines of the first page.
bool writeSide(const HeldJob& job, const Side& side, std::size_t number, const Rewriting& rewriting,
               JobWriter& writer) {
  const std::string label = std::to_string(number);
  return writer.put("%%Page: " + label + " " + label + "\n%%BeginPageSetup\n%%EndPageSetup\n") &&
         writer.put("% Pages " + std::to_string(side.left) + " and " + std::to_string(side.right) +
                    " of the document; 0 is a blank one.\n") &&
         writer.put("QvnBooklet/side get exec\n") &&
         writeHalf(job, side.left, false, rewriting, writer) &&
         writeHalf(job, side.right, true, rewriting, writer) &&
         writer.put("QvnBooklet/print get exec\n");
}

bool writeSides(const HeldJob& job, const Rewriting& rewriting, JobWriter& writer) {
  std::size_t number = 0;
  for (const Side& side : rewriting.sides) {
    if (!writeSide(job, side, ++number, rewriting, writer)) return false;
  }
  return true;
}

bool writePages(const HeldJob& job, const Rewriting& rewriting, JobWriter& writer) {
  for (const Part& page : job.pages()) {
    if (!copyPage(job, page, rewriting, writer)) return false;
  }
  return true;
}

bool copyTrailer(const HeldJob& job, JobWriter& writer) {
  return job.forEachBlock(job.trailer(), [&](std::string_view bytes) { return writer.put(bytes); });
}

}  // namespace

Descriptor rewrittenJob(const HeldJob& job, const Rewriting& rewriting,
                        const std::string& directory) {
  JobWriter writer(directory);
  const bool keepsPages = rewriting.sides.empty();
  const bool written =
      writer.isOpen() && copyHeader(job, rewriting, writer) &&
      (keepsPages ? writePages(job, rewriting, writer) : writeSides(job, rewriting, writer)) &&
      copyTrailer(job, writer);
  Descriptor file = written ? writer.finish() : Descriptor();
  if (!file.valid()) reportUnwritable(directory);
  return file;
}

}  // namespace jobshaper
