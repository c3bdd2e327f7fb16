#include "platform/descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace jobshaper {

namespace {

// Whether a failed call should be repeated. Another process may have made the descriptor
// non-blocking; then wait until it is ready, since a print job must not lose bytes.
bool worthRepeating(int descriptor, short events) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
  pollfd waiting{descriptor, events, 0};
  return ::poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    reset();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

void Descriptor::reset() { static_cast<void>(close()); }

bool Descriptor::close() {
  const int descriptor = release();
  // An interrupted close() has closed the descriptor, so it is not repeated.
  return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

void openMissingStandardStreams() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) != -1) continue;
    // Takes the lowest number. A directory can be neither read nor written.
    if (::open("/dev/null", O_RDWR) < 0) ::open("/", O_RDONLY | O_DIRECTORY);
  }
}

void enlargePipe(int descriptor) {
#if defined(F_SETPIPE_SZ)
  const int size = ::fcntl(descriptor, F_GETPIPE_SZ);
  if (size > 0 && static_cast<std::size_t>(size) < kPipeSize) {
    ::fcntl(descriptor, F_SETPIPE_SZ, static_cast<int>(kPipeSize));
  }
#else
  static_cast<void>(descriptor);
#endif
}

bool inputWaits(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, 0) > 0;
}

ssize_t readSome(int descriptor, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t n = ::read(descriptor, buffer, size);
    if (n >= 0 || !worthRepeating(descriptor, POLLIN)) return n;
  }
}

std::size_t readFully(int descriptor, char* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t n = readSome(descriptor, buffer + filled, size - filled);
    if (n <= 0) break;
    filled += static_cast<std::size_t>(n);
  }
  return filled;
}

#if defined(__linux__)
std::size_t moveSome(int input, int output, std::size_t size) {
  for (;;) {
    const ssize_t n = ::splice(input, nullptr, output, nullptr, size, 0);
    if (n >= 0) return static_cast<std::size_t>(n);
    if (!worthRepeating(output, POLLOUT)) return 0;
  }
}
#endif

bool writeAll(int descriptor, iovec* spans, std::size_t count) {
  while (count > 0) {
    const int atOnce = static_cast<int>(std::min<std::size_t>(count, IOV_MAX));
    const ssize_t n = ::writev(descriptor, spans, atOnce);
    if (n < 0) {
      if (worthRepeating(descriptor, POLLOUT)) continue;
      return false;
    }
    std::size_t written = static_cast<std::size_t>(n);
    while (count > 0 && written >= spans->iov_len) {
      written -= spans->iov_len;
      ++spans;
      --count;
    }
    if (count > 0) {
      spans->iov_base = static_cast<char*>(spans->iov_base) + written;
      spans->iov_len -= written;
    }
  }
  return true;
}

bool writeAll(int descriptor, std::string_view bytes) {
  iovec span{const_cast<char*>(bytes.data()), bytes.size()};
  return writeAll(descriptor, &span, 1);
}

bool readAt(int descriptor, char* buffer, std::size_t size, off_t position) {
  while (size > 0) {
    const ssize_t n = ::pread(descriptor, buffer, size, position);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    buffer += n;
    size -= static_cast<std::size_t>(n);
    position += n;
  }
  return true;
}

bool writeAt(int descriptor, const char* bytes, std::size_t size, off_t position) {
  while (size > 0) {
    const ssize_t n = ::pwrite(descriptor, bytes, size, position);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    bytes += n;
    size -= static_cast<std::size_t>(n);
    position += n;
  }
  return true;
}

}  // namespace jobshaper
