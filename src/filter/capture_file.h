// A file that is written from its beginning to its end, and may become large.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <string_view>

namespace jobshaper {

// From its first megabyte on, the file's room on disk is asked for in large steps: the system then
// does less for each write, and the file lies in fewer places. What was asked for and not used is
// given back at the end.
class CaptureFile {
 public:
  // The descriptor of an empty file, not owned; -1 for none, which takes everything and keeps
  // nothing.
  explicit CaptureFile(int descriptor) : descriptor_(descriptor) {}
  ~CaptureFile();
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;

  bool exists() const { return descriptor_ >= 0; }

  // All bytes of all spans, in order; the spans are used up. After a write error the file stays as
  // it is: a beginning, never something with a gap.
  void write(iovec* spans, std::size_t count);
  void write(std::string_view bytes);

 private:
  void reserve();

  int descriptor_;
  bool failed_ = false;
  std::size_t size_ = 0;      // with what is being written
  std::size_t reserved_ = 0;  // or asked for, from the beginning
};

}  // namespace jobshaper
