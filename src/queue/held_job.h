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

namespace jobshaper {

// Bytes of the held job.
struct Part {
  off_t from = 0;
  off_t size = 0;
};

// Report on standard error, with the reason from errno, that no file of the job can be written in
// this directory, and that the job cannot be read.
void reportUnwritable(const std::string& directory);
void reportUnreadable();

// Keeps the job in a file without a name, which is freed with this object.
class HeldJob {
 public:
  // Reads the job to its end and finds its pages: they begin with "%%Page:" at the start of a line
  // outside of documents and data within the job, and end at "%%Trailer" or the PJL after the
  // PostScript. Returns false if the input cannot be read or the file not be written, and reports
  // it on standard error. `directory` is where the file is created.
  [[nodiscard]] bool read(int input, const std::string& directory);

  // Whether the job has pages, and the prolog with which CUPS begins what it has divided into
  // pages.
  bool hasPages() const { return hasProlog_ && !pages_.empty(); }

  const Part& header() const { return header_; }  // all before the first page
  const std::vector<Part>& pages() const { return pages_; }
  const Part& trailer() const { return trailer_; }  // all after the last page

  // Calls `take` with the bytes of the part in order, in blocks. A block is valid only during the
  // call. Returns false if they cannot be read back, or as soon as `take` does.
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

  // While the job is being read.
  off_t size_ = 0;       // bytes read so far
  off_t lineFrom_ = 0;   // where the line begins
  std::string line_;     // its beginning
  int documents_ = 0;    // how many documents the line is within
  bool inData_ = false;  // the line is within data, which may look like anything
  bool ended_ = false;   // the trailer has begun
};

}  // namespace jobshaper
