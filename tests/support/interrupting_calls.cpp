// Loaded into the filter before the C library. Every call that a signal can interrupt is
// interrupted before it does anything, and reads or writes only a few bytes when it is repeated.
// The counts of all calls are written to the file that INTERRUPTED_CALLS names. FEW_BYTES is the
// unit of the small reads and writes.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

enum Call {
  kOpen,
  kRead,
  kPread,
  kPwrite,
  kWritev,
  kFchmod,
  kFtruncate,
  kFallocate,
  kTee,
  kSplice,
  kPselect,
  kCalls
};
constexpr const char* kNames[kCalls] = {"open",   "read",   "pread",     "pwrite",
                                        "writev", "fchmod", "ftruncate", "fallocate",
                                        "tee",    "splice", "pselect"};
unsigned counts[kCalls];

// Every other call.
bool interrupts(Call call) {
  if (counts[call]++ % 2 == 1) return false;
  errno = EINTR;
  return true;
}

size_t bytesInOne() {
  const char* const text = getenv("FEW_BYTES");
  return text ? strtoul(text, nullptr, 10) : 1;
}

// 1 to 7 bytes, multiplied by FEW_BYTES.
size_t few(Call call, size_t size) {
  const size_t most = (1 + counts[call] / 2 % 7) * bytesInOne();
  return size < most ? size : most;
}

struct Report {
  ~Report() {
    const char* const path = getenv("INTERRUPTED_CALLS");
    if (!path) return;
    FILE* const file = fopen(path, "w");
    if (!file) return;
    for (int call = 0; call < kCalls; ++call) fprintf(file, "%s %u\n", kNames[call], counts[call]);
    fclose(file);
  }
} report;

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (interrupts(kOpen)) return -1;
  return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

EXPORTED ssize_t read(int descriptor, void* buffer, size_t size) {
  if (interrupts(kRead)) return -1;
  // The one pipe that must not block belongs to the filter, which has filled it.
  const bool all = (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
  return syscall(SYS_read, descriptor, buffer, all ? size : few(kRead, size));
}

EXPORTED ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
  if (interrupts(kPread)) return -1;
  return syscall(SYS_pread64, descriptor, buffer, few(kPread, size), offset);
}

EXPORTED ssize_t pwrite(int descriptor, const void* buffer, size_t size, off_t offset) {
  if (interrupts(kPwrite)) return -1;
  return syscall(SYS_pwrite64, descriptor, buffer, few(kPwrite, size), offset);
}

EXPORTED ssize_t writev(int descriptor, const iovec* spans, int count) {
  if (interrupts(kWritev)) return -1;
  while (count > 1 && spans->iov_len == 0) ++spans, --count;
  return syscall(SYS_write, descriptor, spans->iov_base, few(kWritev, spans->iov_len));
}

EXPORTED int fchmod(int descriptor, mode_t mode) noexcept {
  if (interrupts(kFchmod)) return -1;
  return static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}

EXPORTED int ftruncate(int descriptor, off_t size) noexcept {
  if (interrupts(kFtruncate)) return -1;
  return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

EXPORTED int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  if (interrupts(kFallocate)) return -1;
  return static_cast<int>(syscall(SYS_fallocate, descriptor, mode, offset, size));
}

EXPORTED ssize_t tee(int from, int to, size_t size, unsigned flags) {
  if (interrupts(kTee)) return -1;
  return syscall(SYS_tee, from, to, few(kTee, size), flags);
}

EXPORTED ssize_t splice(int from, off_t*, int to, off_t*, size_t size, unsigned flags) {
  if (interrupts(kSplice)) return -1;
  return syscall(SYS_splice, from, nullptr, to, nullptr, few(kSplice, size), flags);
}

EXPORTED int pselect(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                     const timespec* timeout, const sigset_t* signals) {
  if (interrupts(kPselect)) return -1;
  const struct {
    const sigset_t* set;
    size_t size;
  } mask{signals, sizeof(unsigned long)};
  return static_cast<int>(
      syscall(SYS_pselect6, count, readable, writable, exceptional, timeout, &mask));
}
