// The output of the job: standard output and, if the user capture is on, the two capture files.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "filter/capture_file.h"
#include "platform/piece_reader.h"
#include "platform/pipe_tap.h"

namespace jobshaper {

// All output of the job goes through this class. It gathers bytes and writes them in order, many at
// a time. It writes to the captures before standard output, so that they hold at least what was
// printed, however the process ends. It ignores write errors, so that the job is read to its end.
//
// Call flush() before anything that may block; the destructor flushes too.
class JobOutput {
 public:
  // The descriptors are not owned and must stay open while this object lives. -1 for a capture
  // means none, -1 for `input` that the job is not read through tap().
  JobOutput(int output, int captureIn, int captureOut, int input = -1)
      : output_(output), tap_(input, output), captureIn_(captureIn), captureOut_(captureOut) {}
  ~JobOutput() { flush(); }
  JobOutput(const JobOutput&) = delete;
  JobOutput& operator=(const JobOutput&) = delete;

  // The job's reader must read through this tap for blocks to be forwarded.
  PipeTap& tap() { return tap_; }

  // Adds bytes to standard output and the outgoing capture. Does not copy them: they must stay
  // valid and unchanged until the next flush().
  void pass(std::string_view bytes) { add(outgoing_, bytes); }
  // The same, but copies the bytes.
  void put(std::string_view bytes);
  // Adds bytes to the incoming capture. Does not copy them, as pass().
  void captureIncoming(std::string_view bytes) {
    if (captureIn_.exists()) add(incoming_, bytes);
  }

  // Adds bytes to the outgoing capture only.
  void captureOutgoing(std::string_view bytes);

  void flush();
  // The same, at the end of a block that was read through the tap. If the rules left the block
  // unchanged and nothing else is pending, forwards the part of it that is still in the pipe.
  void flush(const Block& block);

 private:
  struct Spans {
    std::array<iovec, 256> at;
    std::size_t count = 0;
  };
  void add(Spans& spans, std::string_view bytes);
  void forward(const Block& block);
  void writeCaptures();
  void writeOut();

  int output_;
  PipeTap tap_;
  CaptureFile captureIn_;
  CaptureFile captureOut_;
  Spans outgoing_;
  Spans incoming_;
  std::array<char, 16384> copies_;  // the bytes that put() has copied since the last flush
  std::size_t copied_ = 0;
};

}  // namespace jobshaper
