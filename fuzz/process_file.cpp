#include "fuzz/process_file.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

extern "C" {
ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
ssize_t __real_writev(int descriptor, const iovec* spans, int count);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size);
ssize_t __wrap_writev(int descriptor, const iovec* spans, int count);
}

namespace jobshaper::fuzz {

namespace {

std::array<ProcessFile*, 256> files{};

ProcessFile* fileOf(int descriptor) {
  const auto index = static_cast<std::size_t>(descriptor);
  return index < files.size() ? files[index] : nullptr;
}

}  // namespace

ProcessFile::ProcessFile() {
  FUZZ_CHECK(static_cast<std::size_t>(descriptor()) < files.size());
  files[static_cast<std::size_t>(descriptor())] = this;
}

ProcessFile::~ProcessFile() { files[static_cast<std::size_t>(descriptor())] = nullptr; }

std::string ProcessFile::take() {
  // Writes by other calls than these would be missed.
  if (++taken_ % 256 == 1) FUZZ_CHECK(lseek(descriptor(), 0, SEEK_END) == 0);
  read_ = 0;
  return std::exchange(bytes_, {});
}

std::size_t ProcessFile::readOn(char* buffer, std::size_t size) {
  const std::size_t n = bytes_.copy(buffer, size, read_);
  read_ += n;
  return n;
}

extern "C" ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
  if (ProcessFile* const file = fileOf(descriptor)) {
    return static_cast<ssize_t>(file->readOn(static_cast<char*>(buffer), size));
  }
  return __real_read(descriptor, buffer, size);
}

extern "C" ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  if (ProcessFile* const file = fileOf(descriptor)) {
    file->append({static_cast<const char*>(bytes), size});
    return static_cast<ssize_t>(size);
  }
  return __real_write(descriptor, bytes, size);
}

extern "C" ssize_t __wrap_writev(int descriptor, const iovec* spans, int count) {
  ProcessFile* const file = fileOf(descriptor);
  if (!file) return __real_writev(descriptor, spans, count);
  std::size_t written = 0;
  for (int i = 0; i < count; ++i) {
    file->append({static_cast<const char*>(spans[i].iov_base), spans[i].iov_len});
    written += spans[i].iov_len;
  }
  return static_cast<ssize_t>(written);
}

}  // namespace jobshaper::fuzz
