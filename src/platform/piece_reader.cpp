#include "platform/piece_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "platform/cancellation.h"
#include "platform/descriptor.h"

namespace jobshaper {

namespace {

// The tests are also built with a small block, to show that nothing depends on where reads end.
#if defined(JOBSHAPER_INPUT_BLOCK)
constexpr std::size_t kInputBlock = JOBSHAPER_INPUT_BLOCK;
#else
constexpr std::size_t kInputBlock = kPipeSize;
#endif

// The position of the last occurrence of the byte; npos if there is none.
std::size_t lastOf(std::string_view bytes, char wanted) {
#if defined(__linux__)
  const void* const found = ::memrchr(bytes.data(), wanted, bytes.size());
  return found ? static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data())
               : bytes.npos;
#else
  return bytes.rfind(wanted);
#endif
}

// The start of the line that holds the byte at `position`: the byte after the last line end before
// it. A line end at `position` itself belongs to the line that it ends.
std::size_t lineBegin(std::string_view bytes, std::size_t position) {
  if (position == 0) return 0;
  const std::size_t newline = lastOf(bytes.substr(0, position), '\n');
  std::size_t begin = newline == bytes.npos ? 0 : newline + 1;
  // Most jobs use one kind of line end, so search for the other only after the newline found.
  const std::size_t carriageReturn = lastOf(bytes.substr(begin, position - begin), '\r');
  if (carriageReturn != bytes.npos) begin += carriageReturn + 1;
  return begin;
}

// The pieces among these bytes that are complete: they have a line end, or the full length.
std::string_view wholePieces(std::string_view bytes) {
  const std::size_t line = lineBegin(bytes, bytes.size());
  return bytes.substr(0, line + (bytes.size() - line) / kLongestPiece * kLongestPiece);
}

// Whether more bytes may belong to this piece, which must not be empty.
bool isUnfinishedPiece(std::string_view piece) {
  return piece.size() < kLongestPiece && piece.back() != '\n' && piece.back() != '\r';
}

}  // namespace

std::string_view firstPiece(std::string_view bytes) {
  const std::string_view window = bytes.substr(0, kLongestPiece);
  const std::size_t newline = window.find('\n');
  const std::size_t carriageReturn = window.substr(0, newline).find('\r');
  const std::size_t last = std::min(newline, carriageReturn);
  return last == window.npos ? window : window.substr(0, last + 1);
}

std::string_view pieceAround(std::string_view bytes, std::size_t position) {
  const std::size_t line = lineBegin(bytes, position);
  const std::size_t begin = line + (position - line) / kLongestPiece * kLongestPiece;
  return firstPiece(bytes.substr(begin));
}

PieceReader::PieceReader(PipeTap& tap, std::size_t block)
    : tap_(tap),
      block_(block > 0 ? block : kInputBlock),
      buffer_(new char[kLongestPiece + block_]) {
  struct stat status {};
  mayBlock_ = ::fstat(tap.input(), &status) == 0 && !S_ISREG(status.st_mode);
  enlargePipe(tap.input());
}

std::optional<Block> PieceReader::next() {
  if (ended_) return std::nullopt;
  tap_.skip(buffer_.get() + end_ - tap_.inPipe());
  // What is left is the beginning of one piece, since all complete ones have been returned.
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const ssize_t n = readOn(buffer_.get() + end_);
  if (n > 0) end_ += static_cast<std::size_t>(n);
  const std::string_view bytes(buffer_.get(), end_);
  if (n <= 0) {
    ended_ = true;
    failed_ = n < 0;
    if (bytes.empty()) return std::nullopt;
    return Block{.pieces = bytes, .atEnd = true};
  }
  const std::string_view pieces = wholePieces(bytes);
  begin_ = pieces.size();
  const std::size_t unfinished = bytes.size() - pieces.size();
  return Block{.pieces = pieces, .inPipe = tap_.inPipe() - std::min(tap_.inPipe(), unfinished)};
}

// Returns 0 at end of input and when the job has been canceled, -1 after a read error.
ssize_t PieceReader::readOn(char* place) {
  const bool readable = mayBlock_ ? waitForInput(tap_.input()) : !cancellationRequested();
  if (readable) return tap_.read(place, block_);
  finishPiece();
  return 0;
}

void PieceReader::finishPiece() {
  while (end_ > 0 && isUnfinishedPiece({buffer_.get(), end_}) && inputWaits(tap_.input())) {
    // Reads as much as possible: a pipe that keeps writes apart (O_DIRECT) drops what one read
    // leaves of a write.
    const ssize_t n = readSome(tap_.input(), buffer_.get() + end_, block_);
    if (n <= 0) return;
    end_ = firstPiece({buffer_.get(), end_ + static_cast<std::size_t>(n)}).size();
  }
}

}  // namespace jobshaper
