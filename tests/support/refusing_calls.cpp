// Loaded into the filter before the C library. REFUSED_CALL names what fails as it does on a
// system that lacks or forbids it:
//   tee, splice    always
//   fchmod         always, as on a disk without permissions
//   pipe size      a pipe cannot be enlarged; peeking at a small one then ends the process
//   copy           only half of what the first tee has duplicated can be read at once
//   writing        as on a read-only disk
//   ownership      a file that everyone can write to belongs to another user
//   null device    /dev/null is missing
// A run in which nothing was refused ends with status 97.

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

bool refused = false;

bool isRefused(const char* call) {
  const char* const name = getenv("REFUSED_CALL");
  return name && strcmp(name, call) == 0;
}

bool refuse(const char* call, int error) {
  if (!isRefused(call)) return false;
  refused = true;
  errno = error;
  return true;
}

// The read that follows a tee is short.
bool shortensRead = false;

struct Check {
  ~Check() {
    if (getenv("REFUSED_CALL") && !refused) _exit(97);
  }
} check;

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  if (command == F_SETPIPE_SZ && refuse("pipe size", EPERM)) return -1;
  return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
}
// The same under its name for large files.
EXPORTED int fcntl64(int descriptor, int command, ...) __attribute__((alias("fcntl")));

EXPORTED ssize_t tee(int from, int to, size_t size, unsigned flags) {
  if (isRefused("pipe size")) abort();
  if (refuse("tee", ENOSYS)) return -1;
  if (!refused && refuse("copy", 0)) shortensRead = true;
  return syscall(SYS_tee, from, to, size, flags);
}

EXPORTED ssize_t splice(int from, off_t*, int to, off_t*, size_t size, unsigned flags) {
  if (refuse("splice", ENOSYS)) return -1;
  return syscall(SYS_splice, from, nullptr, to, nullptr, size, flags);
}

EXPORTED int fchmod(int descriptor, mode_t mode) {
  if (refuse("fchmod", EPERM)) return -1;
  return static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}

EXPORTED int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  if (writes && refuse("writing", EROFS)) return -1;
  return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

EXPORTED int open(const char* path, int flags, ...) {
  if (strcmp(path, "/dev/null") == 0 && refuse("null device", ENOENT)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, 0));
}

EXPORTED int unlink(const char* path) {
  if (refuse("writing", EROFS)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

EXPORTED int fstatat(int directory, const char* path, struct stat* status, int flags) {
  const int result = static_cast<int>(syscall(SYS_newfstatat, directory, path, status, flags));
  if (result == 0 && S_ISREG(status->st_mode) && status->st_mode & S_IWOTH &&
      refuse("ownership", 0)) {
    ++status->st_uid;
  }
  return result;
}

EXPORTED ssize_t read(int descriptor, void* buffer, size_t size) {
  if (shortensRead) size = size / 2;
  shortensRead = false;
  return syscall(SYS_read, descriptor, buffer, size);
}
