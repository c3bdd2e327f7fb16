// Preloaded into the filter: the files in TMPDIR share a disk of DISK_SIZE bytes. Space that is
// allocated in advance is no longer free.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

off_t allocated = 0;

off_t freeSpace() {
  off_t space = strtol(getenv("DISK_SIZE"), nullptr, 10) - allocated;
  DIR* const directory = opendir(getenv("TMPDIR"));
  struct stat status {};
  while (const dirent* const entry = readdir(directory)) {
    if (fstatat(dirfd(directory), entry->d_name, &status, 0) == 0 && S_ISREG(status.st_mode))
      space -= status.st_size;
  }
  closedir(directory);
  return space < 0 ? 0 : space;
}

// How many bytes can be written to a file from this position on; all of them to a pipe. 0 if none.
size_t fitting(int descriptor, off_t position, size_t size) {
  errno = ENOSPC;
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return size;
  const off_t end = status.st_size + freeSpace();
  const size_t most = position < end ? static_cast<size_t>(end - position) : 0;
  return size < most ? size : most;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED ssize_t pwrite(int descriptor, const void* buffer, size_t size, off_t position) {
  const size_t most = fitting(descriptor, position, size);
  return most == 0 ? -1 : syscall(SYS_pwrite64, descriptor, buffer, most, position);
}

EXPORTED ssize_t writev(int descriptor, const iovec* spans, int count) {
  while (count > 1 && spans->iov_len == 0) ++spans, --count;
  const size_t most = fitting(descriptor, lseek(descriptor, 0, SEEK_CUR), spans->iov_len);
  return most == 0 ? -1 : syscall(SYS_write, descriptor, spans->iov_base, most);
}

EXPORTED int fallocate(int, int, off_t, off_t size) {
  errno = ENOSPC;
  if (size > freeSpace()) return -1;
  allocated += size;
  return 0;
}

EXPORTED int fstatvfs(int, struct statvfs* disk) noexcept {
  *disk = {};
  disk->f_bsize = disk->f_frsize = 1;
  disk->f_bfree = disk->f_bavail = static_cast<fsblkcnt_t>(freeSpace());
  return 0;
}
