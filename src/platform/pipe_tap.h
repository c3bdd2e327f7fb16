// The job's way in, and its short way out: from one pipe to another without a copy.
#pragma once

#include <cstddef>

#include "platform/descriptor.h"

namespace jobshaper {

// Linux can move the pages of one pipe to another. A third pipe, made at the first peek, shows what
// they hold, so that a block which leaves unchanged is copied once instead of twice. Elsewhere, and
// with anything but pipes, every read is a plain one.
//
// Only the block after a large one that was forwarded is peeked at: a small block would take a
// whole page of the output pipe, and a block that the rules change has to be read anyway.
class PipeTap {
 public:
  // Descriptors, not owned. -1 for an output to which nothing is forwarded.
  PipeTap(int input, int output) : input_(input), output_(output) {}

  int input() const { return input_; }

  // Up to `size` bytes of the input, as readSome() reads them. Some or all of them may be peeked
  // at: they stay in the pipe until forward() sends them or skip() takes them out.
  std::size_t read(char* buffer, std::size_t size);

  // How many of the bytes last read are still in the pipe. Those read last stay longest.
  std::size_t inPipe() const { return inPipe_; }

  // The block last read leaves unchanged: sends the first `size` bytes of the inPipe() ones to the
  // output. Returns how many were sent; fewer after an error, and then nothing is peeked at again.
  std::size_t forward(std::size_t size);

  // Takes the bytes that are still in the pipe out of it. `scratch` has room for inPipe() bytes.
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
  bool tried_ = false;  // to make the third pipe
  Descriptor copyIn_;
  Descriptor copyOut_;
};

}  // namespace jobshaper
