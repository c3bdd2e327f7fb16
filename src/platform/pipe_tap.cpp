#include "platform/pipe_tap.h"

#include <fcntl.h>
#include <unistd.h>

namespace jobshaper {

#if defined(__linux__)

bool PipeTap::open() {
  if (tried_) return copyOut_.valid();
  tried_ = true;
  const bool pipes = ::fcntl(input_, F_GETPIPE_SZ) > 0 && ::fcntl(output_, F_GETPIPE_SZ) > 0;
  int ends[2];
  if (!pipes || ::pipe2(ends, O_CLOEXEC) != 0) return false;
  copyOut_ = Descriptor(ends[0]);
  copyIn_ = Descriptor(ends[1]);
  // Where the system grants a small one only, a plain read gets more at once.
  if (::fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(kPipeSize)) < 0) close();
  return copyOut_.valid();
}

void PipeTap::close() {
  copyIn_.reset();
  copyOut_.reset();
}

std::size_t PipeTap::look(char* buffer, std::size_t size) {
  if (!open()) return 0;
  const ssize_t shown = ::tee(input_, copyIn_.get(), size, 0);
  if (shown <= 0) return 0;
  const std::size_t seen = readFully(copyOut_.get(), buffer, static_cast<std::size_t>(shown));
  if (seen < static_cast<std::size_t>(shown)) close();  // the next look would show the rest first
  return seen;
}

std::size_t PipeTap::pass(std::size_t size) {
  std::size_t passed = 0;
  while (passed < size) {
    const std::size_t n = moveSome(input_, output_, size - passed);
    if (n == 0) {
      close();
      break;
    }
    passed += n;
  }
  return passed;
}

#else

std::size_t PipeTap::look(char*, std::size_t) { return 0; }
std::size_t PipeTap::pass(std::size_t) { return 0; }

#endif

}  // namespace jobshaper
