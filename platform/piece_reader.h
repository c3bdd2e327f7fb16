// The job, read in large blocks and handed out in pieces, the unit of the rewriting rules.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

// A piece is at most this long; a longer line is cut.
inline constexpr std::size_t kLongestPiece = 1024;

// The piece that these bytes, which begin with a piece, begin with; all of them when it does not
// end among them.
std::string_view firstPiece(std::string_view bytes);

// The piece of these bytes, which begin with a piece, that holds the byte at `position`.
std::string_view pieceAround(std::string_view bytes, std::size_t position);

// How much is read at once. Any size from 1 byte on will do: a build with a small one shows that
// nothing depends on where the reads end.
#if defined(JOBSHAPER_INPUT_BLOCK)
inline constexpr std::size_t kInputBlock = JOBSHAPER_INPUT_BLOCK;
#else
inline constexpr std::size_t kInputBlock = kPipeSize;  // all that a pipe holds
#endif

class PieceReader {
 public:
  // Reads from the descriptor, which is not owned, `block` bytes at a time or fewer.
  explicit PieceReader(int descriptor, std::size_t block = kInputBlock);

  // Reads on, blocking until there is at least one byte. All pieces handed out before become
  // invalid. False at end of input, also after a read error and when the job is cancelled.
  bool read();

  // The next piece that has been read to its end: bytes up to and including '\n' or '\r', or
  // 1024 bytes without one. At end of input the unterminated rest, unless it is empty. None
  // when read() has to be called first or nothing is left.
  std::optional<std::string_view> nextPiece();

  // All pieces that nextPiece() would hand out until it has none, side by side.
  std::string_view allPieces();

 private:
  int descriptor_;
  std::size_t block_;
  bool mayBlock_;  // not a regular file
  bool endOfInput_ = false;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // of what has not been handed out
  std::size_t end_ = 0;
};

}  // namespace jobshaper
