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

// What one read brings.
struct Block {
  // Whole pieces, side by side: each ends with '\n' or '\r', or has 1024 bytes without one. Empty
  // when the bytes read so far end no piece. They are valid until the reader's next next().
  std::string_view pieces;
  // How many of these bytes, at their end, are still in the tap's pipe.
  std::size_t inPipe = 0;
  // At the end of input the rest comes as one piece. It is unterminated, unless the job was
  // cancelled and the rest of its line was there. No block follows.
  bool atEnd = false;
};

class PieceReader {
 public:
  // Reads through the tap, which must outlive the reader, at most `block` bytes at once; 0 for as
  // many as a pipe holds.
  explicit PieceReader(PipeTap& tap, std::size_t block = 0);

  // The next block; waits until there is at least one byte. No value after the end of input, a read
  // error, and when the job has been cancelled; a piece that has begun comes first (see Block).
  std::optional<Block> next();

 private:
  std::size_t readOn(char* place);
  void finishPiece();

  PipeTap& tap_;
  std::size_t block_;
  bool mayBlock_ = true;  // not a regular file
  bool ended_ = false;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // of what has not been handed out
  std::size_t end_ = 0;
};

}  // namespace jobshaper
