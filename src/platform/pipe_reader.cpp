#include "platform/pipe_reader.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace jobshaper {

void waitUntilRead(int descriptor) {
  constexpr int kTries = 500;
  constexpr int kMilliseconds = 10;
  struct stat status;
  if (::fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) return;
  int waiting = 0;
  for (int i = 0; i < kTries; ++i) {
    if (::ioctl(descriptor, FIONREAD, &waiting) != 0 || waiting == 0) return;
    ::poll(nullptr, 0, kMilliseconds);
  }
}

}  // namespace jobshaper
