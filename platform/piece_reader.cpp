#include "platform/piece_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "platform/cancellation.h"
#include "platform/descriptor.h"

namespace jobshaper {

namespace {

constexpr std::size_t kBlock = 128 * 1024;

// The length of the piece that these bytes begin with; none when its end is not among them.
std::optional<std::size_t> pieceLength(std::string_view bytes) {
  const std::string_view window = bytes.substr(0, kLongestPiece);
  const std::size_t newline = window.find('\n');
  const std::size_t carriageReturn = window.substr(0, newline).find('\r');
  const std::size_t last = std::min(newline, carriageReturn);
  if (last != window.npos) return last + 1;
  if (window.size() == kLongestPiece) return kLongestPiece;
  return std::nullopt;
}

}  // namespace

PieceReader::PieceReader(int descriptor)
    : descriptor_(descriptor), buffer_(new char[kLongestPiece + kBlock]) {
  struct stat status {};
  mayBlock_ = ::fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode);
}

bool PieceReader::read() {
  // What is left is the beginning of one piece, since all others have been handed out.
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const bool readable = mayBlock_ ? waitForInput(descriptor_) : !cancellationRequested();
  const std::size_t n = readable ? readSome(descriptor_, buffer_.get() + end_, kBlock) : 0;
  end_ += n;
  endOfInput_ = n == 0;
  return !endOfInput_;
}

std::optional<std::string_view> PieceReader::nextPiece() {
  const std::string_view bytes(buffer_.get() + begin_, end_ - begin_);
  std::optional<std::size_t> length = pieceLength(bytes);
  if (!length && endOfInput_ && !bytes.empty()) length = bytes.size();
  if (!length) return std::nullopt;
  begin_ += *length;
  return bytes.substr(0, *length);
}

}  // namespace jobshaper
