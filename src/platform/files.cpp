#include "platform/files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
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

// A descriptor that can only be searched, where the system has such.
#if defined(O_PATH)
constexpr int kSearch = O_PATH;
#else
constexpr int kSearch = O_RDONLY;
#endif

Descriptor openFile(int directory, const char* name, int flags) {
  constexpr int kAlways = O_CLOEXEC | O_NOCTTY;
  return Descriptor(
      uninterrupted([&] { return ::openat(directory, name, flags | kAlways, 0600); }));
}

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool isFileWithContent(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_size > 0;
}

// Through a link or another user's file, the person who put it there could make the filter write a
// file that they cannot write themselves.
bool isOurs(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink == 1;
}

bool isTrusted(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 &&
         (status.st_uid == 0 || status.st_uid == ::geteuid()) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Whether the open file is ours and this is its only name. Looks at the name after the file was
// opened: the number of names alone does not tell whether this is still one of them.
bool isOurs(const Descriptor& file, int directory, const char* name) {
  struct stat opened {};
  struct stat named {};
  return file.valid() && ::fstat(file.get(), &opened) == 0 &&
         ::fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && isSame(opened, named) &&
         isOurs(named);
}

Descriptor openOurs(int directory, const char* name, int flags) {
  struct stat status {};
  if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !isOurs(status)) return {};
  Descriptor file = openFile(directory, name, flags | O_NOFOLLOW | O_NONBLOCK);
  if (!isOurs(file, directory, name)) file.reset();
  return file;
}

// Opens the directory that `name`, relative to `directory`, is in, and removes its path from
// `name`. Goes from one directory to the next, because no link may be followed.
Descriptor openParent(const std::string& directory, std::string_view& name, bool trusted) {
  Descriptor parent = openFile(AT_FDCWD, directory.c_str(), kSearch | O_DIRECTORY);
  for (std::size_t slash; parent.valid() && (slash = name.find('/')) != name.npos;) {
    const std::string next(name.substr(0, slash));
    name.remove_prefix(slash + 1);
    if (next.empty()) continue;
    if (next == "..") return {};
    parent = openFile(parent.get(), next.c_str(), kSearch | O_DIRECTORY | O_NOFOLLOW);
    if (trusted && !isTrusted(parent)) return {};
  }
  if (name == "..") return {};
  return parent;
}

// On the open file, because the umask limits the mode of a new file.
bool setPermissions(const Descriptor& file, mode_t mode) {
  return uninterrupted([&] { return ::fchmod(file.get(), mode); }) == 0;
}

bool isReadableByOthers(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && (status.st_mode & S_IROTH) != 0;
}

std::string contentOf(const Descriptor& file, std::size_t limit) {
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0) return {};
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return {};
  std::string bytes(size, '\0');
  if (readFully(file.get(), bytes.data(), size) < size) return {};
  return bytes;
}

}  // namespace

Descriptor openForReading(const std::string& path) {
  Descriptor file = openFile(AT_FDCWD, path.c_str(), O_RDONLY);
  struct stat status {};
  if (file.valid() && ::fstat(file.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    file.reset();
    errno = EISDIR;
  }
  return file;
}

Descriptor openRegularFile(const std::string& path) {
  struct stat before {};
  struct stat opened {};
  if (::stat(path.c_str(), &before) != 0) return {};
  Descriptor file;
  errno = 0;
  if (!isFileWithContent(before)) return file;
  file = openFile(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK);
  if (!file.valid()) return file;
  // Something else may have taken its place.
  if (::fstat(file.get(), &opened) != 0 || !isSame(before, opened) || !isFileWithContent(opened)) {
    file.reset();
    errno = 0;
  }
  return file;
}

Descriptor fileInMemory([[maybe_unused]] std::string_view bytes) {
  Descriptor file;
#if defined(__linux__)
  file = Descriptor(::memfd_create("jobshaper", MFD_CLOEXEC));
  if (!writeAll(file.get(), bytes) || ::lseek(file.get(), 0, SEEK_SET) != 0) file.reset();
#endif
  return file;
}

Descriptor createFile(const std::string& path) {
  // Another job may create its file of this name between the two calls.
  constexpr int kAttempts = 16;
  Descriptor file;
  for (int i = 0; i < kAttempts && !file.valid(); ++i) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) break;
    file = openFile(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW);
    if (!file.valid() && errno != EEXIST) break;
  }
  if (file.valid() && !setPermissions(file, 0600)) file.reset();
  return file;
}

Descriptor openOwnFile(const std::string& path) {
  return openOurs(AT_FDCWD, path.c_str(), O_RDONLY);
}

Descriptor openForUpdate(const std::string& path) {
  return openOurs(AT_FDCWD, path.c_str(), O_RDWR);
}

Descriptor openForAppending(const std::string& directory, std::string_view name) {
  const Descriptor parent = openParent(directory, name, false);
  if (!parent.valid()) return {};
  constexpr int kFlags = O_WRONLY | O_APPEND;
  const std::string last(name);
  Descriptor file = openFile(parent.get(), last.c_str(), kFlags | O_CREAT | O_EXCL | O_NOFOLLOW);
  const bool isNew = isOurs(file, parent.get(), last.c_str());
  if (!isNew) file = openOurs(parent.get(), last.c_str(), kFlags);
  // Another file of this user may have been given this name to make it readable.
  if (isNew || (file.valid() && isReadableByOthers(file))) setPermissions(file, 0666);
  return file;
}

Descriptor createNamelessFile(const std::string& directory) {
  std::string path = directory + "/qvn_XXXXXX";
  // A cancellation between the two calls would leave the file.
  sigset_t all, before;
  sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  Descriptor file(::mkostemp(path.data(), O_CLOEXEC));
  if (file.valid()) ::unlink(path.c_str());
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return file;
}

void allocateSpace([[maybe_unused]] int descriptor, [[maybe_unused]] off_t position,
                   [[maybe_unused]] off_t size) {
#if defined(__linux__)
  // If the disk is nearly full, leave the space to files that need it now.
  struct statvfs disk {};
  if (::fstatvfs(descriptor, &disk) != 0) return;
  const double free = static_cast<double>(disk.f_bavail) * static_cast<double>(disk.f_frsize);
  if (free < 16.0 * static_cast<double>(size)) return;
  uninterrupted([&] { return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, position, size); });
#endif
}

void releaseSpace(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return;
  uninterrupted([&] { return ::ftruncate(descriptor, status.st_size); });
}

std::string readWholeFile(const std::string& path, std::size_t limit) {
  return contentOf(openRegularFile(path), limit);
}

std::string readTrustedFile(const std::string& directory, std::string_view name,
                            std::size_t limit) {
  const Descriptor parent = openParent(directory, name, true);
  const std::string last(name);
  struct stat status {};
  if (!parent.valid() || ::fstatat(parent.get(), last.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !isFileWithContent(status)) {
    return {};
  }
  const Descriptor file = openFile(parent.get(), last.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  return file.valid() && isTrusted(file) ? contentOf(file, limit) : std::string();
}

}  // namespace jobshaper
