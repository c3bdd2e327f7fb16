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
  if (reserved_ > 0) releaseRoom(descriptor_);
}

void CaptureFile::write(iovec* spans, std::size_t count) {
  if (!exists() || failed_) return;
  for (std::size_t i = 0; i < count; ++i) size_ += spans[i].iov_len;
  reserve();
  failed_ = !writeAll(descriptor_, spans, count);
}

void CaptureFile::write(std::string_view bytes) {
  iovec span{const_cast<char*>(bytes.data()), bytes.size()};
  write(&span, 1);
}

void CaptureFile::reserve() {
  if (size_ <= kSmallFile) return;
  for (; size_ > reserved_; reserved_ += kStep) {
    reserveRoom(descriptor_, static_cast<off_t>(reserved_), kStep);
  }
}

}  // namespace jobshaper
