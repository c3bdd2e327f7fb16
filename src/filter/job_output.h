// Where the job goes: standard output and, when the user asked for it, the two capture files.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "filter/capture_file.h"
#include "platform/piece_reader.h"
#include "platform/pipe_tap.h"

namespace jobshaper {

// The only writer of the job. Gathers bytes and writes them in large pieces, in the order in which
// they came. The captures are written before standard output, so that they hold at least what was
// printed, whatever ends the process. Write errors are ignored: the job goes on to its end.
//
// Call flush() before anything that may wait; the destructor flushes too.
class JobOutput {
 public:
  // Descriptors, not owned. -1 for a capture file that is not wanted or not open, and for an input
  // that is read in another way than through tap().
  JobOutput(int output, int captureIn, int captureOut, int input = -1)
      : output_(output), tap_(input, output), captureIn_(captureIn), captureOut_(captureOut) {}
  ~JobOutput() { flush(); }
  JobOutput(const JobOutput&) = delete;
  JobOutput& operator=(const JobOutput&) = delete;

  // What the job's reader reads through, so that blocks can be forwarded.
  PipeTap& tap() { return tap_; }

  // Job bytes to print, and to the outgoing capture. Not copied: they must stay as they are
  // until the next flush().
  void pass(std::string_view bytes) { add(outgoing_, bytes); }
  // The same for bytes that do not last: they are copied.
  void put(std::string_view bytes);
  // Incoming bytes for the capture of the job. Not copied.
  void captureIncoming(std::string_view bytes) {
    if (captureIn_.exists()) add(incoming_, bytes);
  }

  // Bytes for the outgoing capture alone.
  void captureOutgoing(std::string_view bytes);

  void flush();
  // The same after the rules have seen a block that came through the tap. If they have left it as
  // it is, and nothing else waits, what is still in the pipe is forwarded.
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
  std::array<char, 16384> copies_;  // what put() keeps until the next flush
  std::size_t copied_ = 0;
};

}  // namespace jobshaper
