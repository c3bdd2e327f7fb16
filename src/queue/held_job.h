// A job that is read to its end before it is printed, because its pages come in another order or
// several times.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/descriptor.h"
#include "queue/data_section.h"

namespace jobshaper {

// A range of the job.
struct Part {
  off_t from = 0;  // in bytes from the start of the job
  off_t size = 0;  // in bytes
};

// Report on standard error, with the reason from errno, that no file of the job can be written in
// this directory, and that the job cannot be read.
void reportUnwritable(const std::string& directory);
void reportUnreadable();

// Keeps the job in a file without a name, which is freed with this object. Call read() first, once;
// if it fails, call nothing else.
class HeldJob {
 public:
  // Reads the job from the descriptor `input`, which it does not close, to its end and finds its
  // pages: they begin with "%%Page:" at the start of a line outside of documents and data within
  // the job, and end at the first "%%Trailer" or "%%EOF" after the last of them, or at the PJL
  // after the PostScript. `directory` is where the file is created. Returns false if the job cannot
  // be read or the file not be written, after reporting it on standard error.
  [[nodiscard]] bool read(int input, const std::string& directory);

  // Whether the job has pages and the prolog that CUPS puts before pages. Returns false for one
  // that CUPS has made of PostScript without comments, whose pages are not known.
  bool hasPages() const { return hasComments_ && hasProlog_ && !pages_.empty(); }

  const Part& header() const { return header_; }  // all before the first page
  const std::vector<Part>& pages() const { return pages_; }
  const Part& trailer() const { return trailer_; }  // all after the last page

  // Calls `take` with the bytes of the part, which must be in the job, in order and in blocks. A
  // block is valid only during the call. Returns false if the bytes cannot be read back, with the
  // reason in errno, or as soon as `take` returns false.
  [[nodiscard]] bool forEachBlock(const Part& part,
                                  const std::function<bool(std::string_view)>& take) const;

 private:
  void scan(std::string_view bytes);
  void scanLine(off_t from);
  void finish();

  Descriptor file_;
  Part header_;
  std::vector<Part> pages_;
  Part trailer_;
  bool hasProlog_ = false;
  bool hasComments_ = true;

  // While the job is being read.
  off_t size_ = 0;      // bytes read so far
  off_t lineFrom_ = 0;  // where the line begins
  std::string line_;    // its beginning
  int documents_ = 0;   // how many documents the line is within
  DataSection data_;
  bool ended_ = false;  // the PJL after the PostScript has begun
};

}  // namespace jobshaper
