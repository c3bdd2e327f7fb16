// Bytes that are looked at on their way from one pipe to another.
#pragma once

#include <cstddef>

#include "platform/descriptor.h"

namespace jobshaper {

// Linux hands the pages of one pipe to another without copying them. A third pipe, which is made at
// the first look, shows what they hold: so what is only looked at is copied once instead of twice.
// Elsewhere, and with anything but pipes, there is never anything to see.
class PipeTap {
 public:
  // Descriptors, not owned.
  PipeTap(int input, int output) : input_(input), output_(output) {}

  // Up to `size` bytes, as readSome() would read them, but they stay in the input until pass() or a
  // read. Only when the input has something to read: it waits otherwise. 0 when there is no way to
  // look.
  std::size_t look(char* buffer, std::size_t size);

  // Sends the next bytes that were looked at to the output. The number of those sent; less than
  // `size` after an error, and from then on there is no way to look.
  std::size_t pass(std::size_t size);

 private:
  bool open();
  void close();

  int input_;
  int output_;
  bool tried_ = false;
  Descriptor copyIn_;
  Descriptor copyOut_;
};

}  // namespace jobshaper
