// Reads the job, and forwards unchanged blocks from the input pipe to the output pipe without
// copying them.
#pragma once

#include <cstddef>

#include "platform/descriptor.h"

namespace jobshaper {

// Linux can move the pages of one pipe to another. To peek at a block, the tap duplicates it into a
// third pipe, created at the first peek, and reads it from there. A block that the rules leave
// unchanged is then copied once instead of twice. On other systems, and if input or output is not a
// pipe, every read is a plain one.
//
// The tap peeks only at a block that follows a large, unchanged one: forwarding a small block takes
// a whole page of the output pipe, and a block that the rules change has to be read anyway.
class PipeTap {
 public:
  // The descriptors are not owned. -1 for `output` means that nothing is ever forwarded.
  PipeTap(int input, int output) : input_(input), output_(output) {}

  int input() const { return input_; }

  // Reads up to `size` bytes, as readSome() does. Some or all of them may be peeked at only: they
  // stay in the pipe, and the caller must forward() or skip() them before the next read().
  ssize_t read(char* buffer, std::size_t size);

  // How many of the bytes last read are still in the pipe: the last ones.
  std::size_t inPipe() const { return inPipe_; }

  // To be called when the block last read is to be sent unchanged, even with 0: the tap then peeks
  // at the next one. Moves the first `size` of the inPipe() bytes to the output and returns how
  // many it moved. Fewer than `size` means an error, after which the tap never peeks again.
  std::size_t forward(std::size_t size);

  // Removes the bytes that are still in the pipe. `scratch` must hold at least inPipe() bytes.
  void skip(char* scratch);

 private:
  std::size_t peek(char* buffer, std::size_t size);
  bool open();
  void close();

  int input_;
  int output_;
  bool lastReadWasLarge_ = false;
  bool peekNext_ = false;
  std::size_t inPipe_ = 0;
  bool tried_ = false;  // to create the third pipe
  Descriptor copyIn_;
  Descriptor copyOut_;
};

}  // namespace jobshaper
