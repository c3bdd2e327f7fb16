// Reads the job in large blocks and splits it into pieces, the unit that the rewriting rules see. A
// piece ends at a '\n' or '\r', which belongs to it, or after 1024 bytes.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/pipe_tap.h"

namespace jobshaper {

// Length of the longest piece, in bytes; a longer line is split.
inline constexpr std::size_t kLongestPiece = 1024;

// The first piece of `bytes`, which must begin at the start of a piece. Returns all of them when
// the piece does not end among them. Both functions return a view of `bytes`.
std::string_view firstPiece(std::string_view bytes);

// The piece that holds the byte at `position`. `bytes` must begin at the start of a piece.
std::string_view pieceAround(std::string_view bytes, std::size_t position);

// The result of one read.
struct Block {
  // Whole pieces, contiguous; empty when the bytes read so far do not complete a piece. Valid until
  // the next call of PieceReader::next().
  std::string_view pieces;
  // How many of these bytes, counted from their end, are still in the tap's pipe.
  std::size_t inPipe = 0;
  // This is the last block. It holds what was left at end of input as a single piece, which is
  // unterminated unless the job was canceled and the rest of its line was already there.
  bool atEnd = false;
};

class PieceReader {
 public:
  // Reads through `tap`, which must outlive the reader, at most `block` bytes at a time; 0 means
  // the capacity of a pipe. Enlarges the input pipe.
  explicit PieceReader(PipeTap& tap, std::size_t block = 0);

  // Waits for at least one byte and returns the next block. At end of input, after a read error and
  // when the job has been canceled, returns the unfinished piece, if any, as the last block (see
  // Block::atEnd), and after that no value. Takes bytes that are still in the tap's pipe out of it,
  // so forward them before.
  std::optional<Block> next();

  // Whether a read error has ended the input.
  bool failed() const { return failed_; }

 private:
  ssize_t readOn(char* place);
  void finishPiece();

  PipeTap& tap_;
  std::size_t block_;
  bool mayBlock_ = true;  // not a regular file
  bool ended_ = false;
  bool failed_ = false;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // of the bytes that have not been returned yet
  std::size_t end_ = 0;
};

}  // namespace jobshaper
