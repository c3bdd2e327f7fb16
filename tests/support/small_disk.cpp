// Preloaded into the filter: all files that it writes share a disk of DISK_SIZE bytes. A file
// occupies what was written to it or allocated for it.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

struct File {
  ino_t number;
  off_t occupied;
};
File files[16];

off_t diskSize() {
  const char* const text = getenv("DISK_SIZE");
  return text ? strtol(text, nullptr, 10) : LONG_MAX;
}

off_t occupied() {
  off_t sum = 0;
  for (const File& file : files) sum += file.occupied;
  return sum;
}

File& fileOf(ino_t number) {
  for (File& file : files) {
    if (file.occupied > 0 && file.number == number) return file;
  }
  for (File& file : files) {
    if (file.occupied > 0) continue;
    file.number = number;
    return file;
  }
  abort();
}

// Returns null for a pipe, which is not on the disk.
File* find(int descriptor) {
  struct stat status {};
  const bool regular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return regular ? &fileOf(status.st_ino) : nullptr;
}

// The size to which this file can grow.
off_t longest(const File& file) { return diskSize() - occupied() + file.occupied; }

void occupy(File& file, off_t end) {
  if (end > file.occupied) file.occupied = end;
}

// How many of the bytes fit; -1 if none.
ssize_t fitting(const File& file, off_t position, size_t size) {
  const off_t left = longest(file) - position;
  if (left > 0) return left < static_cast<off_t>(size) ? left : static_cast<ssize_t>(size);
  errno = ENOSPC;
  return -1;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED ssize_t pwrite(int descriptor, const void* buffer, size_t size, off_t position) {
  File* const file = find(descriptor);
  const ssize_t most = file ? fitting(*file, position, size) : static_cast<ssize_t>(size);
  if (most < 0) return -1;
  const ssize_t n = syscall(SYS_pwrite64, descriptor, buffer, most, position);
  if (file && n > 0) occupy(*file, position + n);
  return n;
}

EXPORTED ssize_t writev(int descriptor, const iovec* spans, int count) {
  File* const file = find(descriptor);
  if (!file) return syscall(SYS_writev, descriptor, spans, count);
  while (count > 1 && spans->iov_len == 0) ++spans, --count;
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  const ssize_t most = fitting(*file, position, spans->iov_len);
  if (most < 0) return -1;
  const ssize_t n = syscall(SYS_write, descriptor, spans->iov_base, most);
  if (n > 0) occupy(*file, position + n);
  return n;
}

EXPORTED int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  File* const file = find(descriptor);
  if (!file || mode != FALLOC_FL_KEEP_SIZE) abort();
  if (offset + size > longest(*file)) {
    errno = ENOSPC;
    return -1;
  }
  occupy(*file, offset + size);
  return 0;
}

EXPORTED int ftruncate(int descriptor, off_t size) noexcept {
  File* const file = find(descriptor);
  const int result = static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
  if (file && result == 0) file->occupied = size;
  return result;
}

EXPORTED int unlink(const char* path) noexcept {
  struct stat status {};
  const bool known = lstat(path, &status) == 0;
  const int result = static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
  if (known && result == 0) fileOf(status.st_ino).occupied = 0;
  return result;
}

EXPORTED int fstatvfs(int descriptor, struct statvfs* disk) noexcept {
  if (!find(descriptor)) abort();
  *disk = {};
  disk->f_bsize = disk->f_frsize = 1;
  disk->f_blocks = static_cast<fsblkcnt_t>(diskSize());
  disk->f_bfree = disk->f_bavail = static_cast<fsblkcnt_t>(diskSize() - occupied());
  return 0;
}
