// A file that is written once from start to end, and may become large.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <string_view>

namespace jobshaper {

// After the first megabyte, disk space is allocated in large steps: each write then costs less, and
// the file is less fragmented. The destructor frees what was not used.
class CaptureFile {
 public:
  // `descriptor` is that of an empty file. It is not owned and must stay open while this object
  // lives. With -1, everything written is discarded.
  explicit CaptureFile(int descriptor) : descriptor_(descriptor) {}
  ~CaptureFile();
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;

  bool exists() const { return descriptor_ >= 0; }

  // Writes all bytes of all spans, in order. Modifies the spans. After a write error nothing more
  // is written, so that the file is truncated but never has a gap.
  void write(iovec* spans, std::size_t count);
  void write(std::string_view bytes);

 private:
  void allocate();

  int descriptor_;
  bool failed_ = false;
  std::size_t size_ = 0;       // bytes, including those being written
  std::size_t allocated_ = 0;  // bytes of disk space asked for, from the start of the file
};

}  // namespace jobshaper
