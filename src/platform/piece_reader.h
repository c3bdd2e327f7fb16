// The job, read in large blocks and handed out in pieces, the unit of the rewriting rules.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/pipe_tap.h"

namespace jobshaper {

// A piece is at most this long; a longer line is cut.
inline constexpr std::size_t kLongestPiece = 1024;

// The piece that these bytes, which begin with a piece, begin with; all of them when it does not
// end among them.
std::string_view firstPiece(std::string_view bytes);

// The piece of these bytes, which begin with a piece, that holds the byte at `position`.
std::string_view pieceAround(std::string_view bytes, std::size_t position);

class PieceReader {
 public:
  // Reads from the descriptor, which is not owned, as much at once as a pipe holds.
  explicit PieceReader(int descriptor);
  // The same, but `block` bytes at once or fewer. Any size from 1 byte on will do.
  PieceReader(int descriptor, std::size_t block);

  // Reads on, blocking until there is at least one byte. All pieces handed out before become
  // invalid. False at end of input, also after a read error and when the job is cancelled; then a
  // piece that has begun is still read to its end if that is there.
  bool read();

  // The pieces that have been read to their end, side by side: each ends with '\n' or '\r', or
  // has 1024 bytes without one. At end of input they are the rest, one piece or none, which is
  // unterminated unless the job was cancelled. To be called once after each read(), which otherwise
  // lacks the room.
  std::string_view pieces();

  // Sends bytes to the output, always the same descriptor, the short way: without copying them, if
  // they are all that the last pieces() gave and both ends are pipes. How many of them went; the
  // others are still to be written. A block after which this is not called is followed by a plain
  // read.
  std::size_t pass(int output, std::string_view bytes);

 private:
  std::size_t readOn(char* place);
  void finishPiece();

  int descriptor_;
  std::size_t block_;
  bool mayBlock_ = true;  // not a regular file
  bool endOfInput_ = false;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // of what has not been handed out
  std::size_t end_ = 0;
  std::size_t lastRead_ = 0;
  std::string_view handedOut_;
  bool lookNext_ = false;       // the next block most likely goes on as it is
  std::optional<PipeTap> tap_;  // there when lookNext_ is set
  std::size_t inPipe_ = 0;      // bytes at the end of the buffer that have only been looked at
};

}  // namespace jobshaper
