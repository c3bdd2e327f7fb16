#include "platform/descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace jobshaper {

namespace {

// Whether a failed call is worth repeating. A descriptor that somebody made non-blocking is
// waited for, since a print job must not lose bytes by it.
bool worthRepeating(int descriptor, short events) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
  pollfd waiting{descriptor, events, 0};
  return ::poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

// A call that a signal may interrupt before it has done anything.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

Descriptor openFile(const std::string& path, int flags) {
  constexpr int kAlways = O_CLOEXEC | O_NOCTTY;
  return Descriptor(uninterrupted([&] { return ::open(path.c_str(), flags | kAlways, 0600); }));
}

// Opens a file of ours. Links and other people's files might lead to a file that whoever put them
// there may not touch himself.
Descriptor openOurs(const std::string& path, int flags) {
  Descriptor file = openFile(path, flags | O_NOFOLLOW | O_NONBLOCK);
  struct stat status {};
  const bool ours = file.valid() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                    status.st_uid == ::geteuid() && status.st_nlink == 1;
  if (!ours) file.reset();
  return file;
}

bool hasContent(const Descriptor& file) {
  struct stat status {};
  return file.valid() && ::fstat(file.get(), &status) == 0 && status.st_size > 0;
}

// Whatever the umask and an earlier run have left.
bool setPermissions(const Descriptor& file, mode_t mode) {
  return uninterrupted([&] { return ::fchmod(file.get(), mode); }) == 0;
}

// Empty, and readable by its owner alone.
bool makeNew(const Descriptor& file) {
  return file.valid() && setPermissions(file, 0600) &&
         (!hasContent(file) || uninterrupted([&] { return ::ftruncate(file.get(), 0); }) == 0);
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    reset();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

void Descriptor::reset() {
  if (valid()) ::close(descriptor_);
  descriptor_ = -1;
}

Descriptor openForReading(const std::string& path) {
  Descriptor file = openFile(path, O_RDONLY);
  struct stat status {};
  if (file.valid() && ::fstat(file.get(), &status) == 0 && S_ISDIR(status.st_mode)) file.reset();
  return file;
}

Descriptor openWithoutWaiting(const std::string& path) {
  return openFile(path, O_RDONLY | O_NONBLOCK);
}

bool isRegularFile(const Descriptor& file) {
  struct stat status {};
  return file.valid() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

Descriptor openRegularFile(const std::string& path) {
  Descriptor file = openWithoutWaiting(path);
  if (!isRegularFile(file)) file.reset();
  return file;
}

Descriptor createFile(const std::string& path) {
  Descriptor file = openOurs(path, O_RDWR | O_CREAT);
  if (!makeNew(file)) file.reset();
  return file;
}

Descriptor replaceFile(const std::string& path) {
  Descriptor file = openOurs(path, O_RDWR | O_CREAT);
  if (hasContent(file) && ::unlink(path.c_str()) == 0) {
    file = openOurs(path, O_RDWR | O_CREAT | O_EXCL);
  }
  if (!makeNew(file)) file.reset();
  return file;
}

Descriptor openForAppending(const std::string& path) {
  Descriptor file = openOurs(path, O_WRONLY | O_CREAT | O_APPEND);
  if (file.valid()) setPermissions(file, 0666);
  return file;
}

Descriptor openOwnFile(const std::string& path) { return openOurs(path, O_RDONLY); }

Descriptor createNamelessFile(const std::string& folder) {
  std::string path = folder + "/qvn_XXXXXX";
  Descriptor file(::mkostemp(path.data(), O_CLOEXEC));
  if (file.valid()) ::unlink(path.c_str());
  return file;
}

Descriptor openForUpdate(const std::string& path) { return openOurs(path, O_RDWR); }

void openMissingStandardStreams() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) == -1) ::open("/dev/null", O_RDWR);  // takes the lowest number
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

std::size_t readSome(int descriptor, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t n = ::read(descriptor, buffer, size);
    if (n >= 0) return static_cast<std::size_t>(n);
    if (!worthRepeating(descriptor, POLLIN)) return 0;
  }
}

std::size_t readFully(int descriptor, char* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const std::size_t n = readSome(descriptor, buffer + filled, size - filled);
    if (n == 0) break;
    filled += n;
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

void reserveRoom([[maybe_unused]] int descriptor, [[maybe_unused]] off_t position,
                 [[maybe_unused]] off_t size) {
#if defined(__linux__)
  // What this file would hold in vain, another may need.
  struct statvfs disk {};
  if (::fstatvfs(descriptor, &disk) != 0) return;
  const double free = static_cast<double>(disk.f_bavail) * static_cast<double>(disk.f_frsize);
  if (free < 16.0 * static_cast<double>(size)) return;
  uninterrupted([&] { return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, position, size); });
#endif
}

void releaseRoom(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return;
  uninterrupted([&] { return ::ftruncate(descriptor, status.st_size); });
}

std::string readWholeFile(const std::string& path, std::size_t limit) {
  const Descriptor file = openRegularFile(path);
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0) return {};
  std::string bytes(std::min(limit, static_cast<std::size_t>(status.st_size)), '\0');
  bytes.resize(readFully(file.get(), bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace jobshaper
