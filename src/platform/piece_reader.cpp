#include "platform/piece_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/cancellation.h"
#include "platform/descriptor.h"

namespace jobshaper {

namespace {

// A build with a small one, for the tests, shows that nothing depends on where the reads end.
#if defined(JOBSHAPER_INPUT_BLOCK)
constexpr std::size_t kInputBlock = JOBSHAPER_INPUT_BLOCK;
#else
constexpr std::size_t kInputBlock = kPipeSize;
#endif

// Where the byte stands last; npos when it does not.
std::size_t lastOf(std::string_view bytes, char wanted) {
#if defined(__linux__)
  const void* const found = ::memrchr(bytes.data(), wanted, bytes.size());
  return found ? static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data())
               : bytes.npos;
#else
  return bytes.rfind(wanted);
#endif
}

// Where the line of the byte at `position` begins: behind the last line end before it. A line
// end at `position` itself belongs to its line.
std::size_t lineBegin(std::string_view bytes, std::size_t position) {
  if (position == 0) return 0;
  const std::size_t newline = lastOf(bytes.substr(0, position), '\n');
  std::size_t begin = newline == bytes.npos ? 0 : newline + 1;
  // Most jobs know one kind of line end: the other is looked for behind it only.
  const std::size_t carriageReturn = lastOf(bytes.substr(begin, position - begin), '\r');
  if (carriageReturn != bytes.npos) begin += carriageReturn + 1;
  return begin;
}

// Whether more bytes may belong to this piece, which has at least one.
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

PieceReader::PieceReader(int descriptor) : PieceReader(descriptor, kInputBlock) {}

PieceReader::PieceReader(int descriptor, std::size_t block)
    : descriptor_(descriptor), block_(block), buffer_(new char[kLongestPiece + block]) {
  struct stat status {};
  mayBlock_ = ::fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode);
  enlargePipe(descriptor);
}

bool PieceReader::read() {
  readFully(descriptor_, buffer_.get() + end_ - inPipe_, inPipe_);
  inPipe_ = 0;
  // What is left is the beginning of one piece, since all others have been handed out.
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const bool readable = mayBlock_ ? waitForInput(descriptor_) : !cancellationRequested();
  if (!readable) finishPiece();
  lastRead_ = readable ? readOn(buffer_.get() + end_) : 0;
  end_ += lastRead_;
  endOfInput_ = lastRead_ == 0;
  return !endOfInput_;
}

std::size_t PieceReader::readOn(char* place) {
  if (std::exchange(lookNext_, false)) inPipe_ = tap_->look(place, block_);
  return inPipe_ > 0 ? inPipe_ : readSome(descriptor_, place, block_);
}

void PieceReader::finishPiece() {
  while (end_ > 0 && isUnfinishedPiece({buffer_.get(), end_}) && inputWaits(descriptor_)) {
    const std::size_t n = readSome(descriptor_, buffer_.get() + end_, 1);
    if (n == 0) return;
    end_ += n;
  }
}

std::string_view PieceReader::pieces() {
  std::string_view bytes(buffer_.get() + begin_, end_ - begin_);
  if (!endOfInput_) {
    const std::size_t line = lineBegin(bytes, bytes.size());
    bytes = bytes.substr(0, line + (bytes.size() - line) / kLongestPiece * kLongestPiece);
  }
  begin_ += bytes.size();
  handedOut_ = bytes;
  return bytes;
}

std::size_t PieceReader::pass(int output, std::string_view bytes) {
  if (bytes.empty() || bytes.data() != handedOut_.data() || bytes.size() != handedOut_.size()) {
    return 0;
  }
  // A small block is copied as soon; sent on it would take a whole page of the output's room.
  lookNext_ = lastRead_ >= block_ / 16;
  if (!tap_) tap_.emplace(descriptor_, output);
  if (inPipe_ == 0) return 0;
  // The beginning of the first piece has been read with the block before.
  const std::size_t left = static_cast<std::size_t>(buffer_.get() + end_ - bytes.data());
  const std::size_t outOfPipe = left - inPipe_;
  writeAll(output, bytes.substr(0, outOfPipe));
  const std::size_t passed = tap_->pass(bytes.size() - outOfPipe);
  inPipe_ -= passed;
  return outOfPipe + passed;
}

}  // namespace jobshaper
