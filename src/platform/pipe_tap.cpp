#include "platform/pipe_tap.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace jobshaper {

ssize_t PipeTap::read(char* buffer, std::size_t size) {
  if (std::exchange(peekNext_, false)) inPipe_ = peek(buffer, size);
  const ssize_t n = inPipe_ > 0 ? static_cast<ssize_t>(inPipe_) : readSome(input_, buffer, size);
  lastReadWasLarge_ = n >= static_cast<ssize_t>(size / 16);
  return n;
}

void PipeTap::skip(char* scratch) { readFully(input_, scratch, std::exchange(inPipe_, 0)); }

#if defined(__linux__)

namespace {

// Whether one read returns all of these bytes.
bool readAtOnce(int descriptor, char* buffer, std::size_t size) {
  ssize_t n = 0;
  do {
    n = ::read(descriptor, buffer, size);
  } while (n < 0 && errno == EINTR);
  return n == static_cast<ssize_t>(size);
}

}  // namespace

bool PipeTap::open() {
  if (tried_) return copyOut_.valid();
  tried_ = true;
  const bool pipes = ::fcntl(input_, F_GETPIPE_SZ) > 0 && ::fcntl(output_, F_GETPIPE_SZ) > 0;
  int ends[2];
  if (!pipes || ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  copyOut_ = Descriptor(ends[0]);
  copyIn_ = Descriptor(ends[1]);
  // If the system grants only a small pipe, a plain read gets more at once.
  if (::fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(kPipeSize)) < 0) close();
  return copyOut_.valid();
}

void PipeTap::close() {
  copyIn_.reset();
  copyOut_.reset();
}

std::size_t PipeTap::peek(char* buffer, std::size_t size) {
  if (!open()) return 0;
  const ssize_t shown = ::tee(input_, copyIn_.get(), size, 0);
  if (shown <= 0) return 0;
  const auto count = static_cast<std::size_t>(shown);
  // If the writer keeps its writes apart (O_DIRECT), so would the output, and the backend would
  // lose what one read leaves of a write. Such a pipe shows in the same way here: the last byte is
  // gone.
  if (readAtOnce(copyOut_.get(), buffer, count - 1) &&
      readAtOnce(copyOut_.get(), buffer + count - 1, 1)) {
    return count;
  }
  close();
  return 0;
}

std::size_t PipeTap::forward(std::size_t size) {
  peekNext_ = lastReadWasLarge_;
  std::size_t sent = 0;
  while (sent < size) {
    const std::size_t n = moveSome(input_, output_, size - sent);
    if (n == 0) {
      close();
      break;
    }
    sent += n;
  }
  inPipe_ -= sent;
  return sent;
}

#else

std::size_t PipeTap::peek(char*, std::size_t) { return 0; }
std::size_t PipeTap::forward(std::size_t) { return 0; }

#endif

}  // namespace jobshaper
