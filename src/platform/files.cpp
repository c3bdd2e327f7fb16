#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace jobshaper {

namespace {

// Repeats a call that a signal interrupted before it did anything.
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

// Opens one of the filter's own files. A link or another user's file could direct the filter's
// rights at a file that the person who put it there cannot write.
Descriptor openOurs(const std::string& path, int flags) {
  Descriptor file = openFile(path, flags | O_NOFOLLOW | O_NONBLOCK);
  struct stat status {};
  const bool ours = file.valid() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                    status.st_uid == ::geteuid() && status.st_nlink == 1;
  if (!ours) file.reset();
  return file;
}

// On the open file, because the umask limits the mode of a new file, and a file left by an earlier
// run may have another mode.
bool setPermissions(const Descriptor& file, mode_t mode) {
  return uninterrupted([&] { return ::fchmod(file.get(), mode); }) == 0;
}

// Empties the file and makes it readable by its owner only.
bool makeNew(const Descriptor& file) {
  return file.valid() && setPermissions(file, 0600) &&
         (!hasContent(file) || uninterrupted([&] { return ::ftruncate(file.get(), 0); }) == 0);
}

}  // namespace

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

bool hasContent(const Descriptor& file) {
  struct stat status {};
  return file.valid() && ::fstat(file.get(), &status) == 0 && status.st_size > 0;
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

Descriptor createNamelessFile(const std::string& directory) {
  std::string path = directory + "/qvn_XXXXXX";
  Descriptor file(::mkostemp(path.data(), O_CLOEXEC));
  if (file.valid()) ::unlink(path.c_str());
  return file;
}

Descriptor openForUpdate(const std::string& path) { return openOurs(path, O_RDWR); }

void reserveRoom([[maybe_unused]] int descriptor, [[maybe_unused]] off_t position,
                 [[maybe_unused]] off_t size) {
#if defined(__linux__)
  // When space is short, do not take it away from files that need it now.
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
