#include "filter/capture_file.h"

#include "platform/files.h"

namespace jobshaper {

namespace {

// Most jobs are smaller than this; for them allocating would only cost system calls.
constexpr std::size_t kSmallFile = 1024 * 1024;
// At most this much stays allocated but unused while the job runs.
constexpr std::size_t kStep = 16 * 1024 * 1024;

}  // namespace

CaptureFile::~CaptureFile() {
  if (allocated_ > 0) releaseSpace(descriptor_);
}

void CaptureFile::write(iovec* spans, std::size_t count) {
  if (!exists() || failed_) return;
  for (std::size_t i = 0; i < count; ++i) size_ += spans[i].iov_len;
  allocate();
  failed_ = !writeAll(descriptor_, spans, count);
}

void CaptureFile::write(std::string_view bytes) {
  iovec span{const_cast<char*>(bytes.data()), bytes.size()};
  write(&span, 1);
}

void CaptureFile::allocate() {
  if (size_ <= kSmallFile) return;
  for (; size_ > allocated_; allocated_ += kStep) {
    allocateSpace(descriptor_, static_cast<off_t>(allocated_), kStep);
  }
}

}  // namespace jobshaper
