// Where the job goes: standard output and, when the user asked for it, the two capture files.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "platform/growing_file.h"
#include "platform/piece_reader.h"

namespace jobshaper {

// Gathers bytes and writes them in large pieces, in the order in which they came. Whoever
// waits or ends must flush first. The captures are written ahead of standard output, so that
// they hold at least what was printed, whatever ends the process. Write errors are ignored:
// the job goes on to its end.
class JobOutput {
 public:
  // Descriptors, not owned; -1 for a capture file that is not wanted or not open.
  JobOutput(int output, int captureIn, int captureOut)
      : output_(output), captureIn_(captureIn), captureOut_(captureOut) {}
  ~JobOutput() { flush(); }
  JobOutput(const JobOutput&) = delete;
  JobOutput& operator=(const JobOutput&) = delete;

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
  // The same; when all that waits are the source's last pieces, they may go from pipe to pipe.
  void flush(PieceReader& source);

 private:
  struct Spans {
    std::array<iovec, 256> at;
    std::size_t count = 0;
  };
  void add(Spans& spans, std::string_view bytes);
  void writeCaptures();
  void writeOut();

  int output_;
  GrowingFile captureIn_;
  GrowingFile captureOut_;
  Spans outgoing_;
  Spans incoming_;
  std::array<char, 16384> copies_;  // what put() keeps until the next flush
  std::size_t copied_ = 0;
};

}  // namespace jobshaper
