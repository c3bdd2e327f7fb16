#include "filter/job_output.h"

#include <cstring>

#include "platform/descriptor.h"

namespace jobshaper {

void JobOutput::add(Spans& spans, std::string_view bytes) {
  if (bytes.empty()) return;
  if (spans.count > 0) {
    iovec& last = spans.at[spans.count - 1];
    if (static_cast<char*>(last.iov_base) + last.iov_len == bytes.data()) {
      last.iov_len += bytes.size();  // unchanged pieces of a block are contiguous
      return;
    }
    if (spans.count == spans.at.size()) flush();
  }
  spans.at[spans.count++] = {const_cast<char*>(bytes.data()), bytes.size()};
}

void JobOutput::put(std::string_view bytes) {
  // Flush first: a flush further down resets copied_, and the next put() would overwrite these
  // bytes before they are written.
  const bool full = outgoing_.count == outgoing_.at.size();
  if (full || bytes.size() > copies_.size() - copied_) flush();
  if (bytes.size() > copies_.size()) {
    pass(bytes);
    flush();
    return;
  }
  char* const copy = copies_.data() + copied_;
  std::memcpy(copy, bytes.data(), bytes.size());
  copied_ += bytes.size();
  pass({copy, bytes.size()});
}

void JobOutput::captureOutgoing(std::string_view bytes) {
  flush();
  captureOut_.write(bytes);
}

void JobOutput::flush() {
  writeCaptures();
  writeOut();
}

void JobOutput::flush(const Block& block) {
  writeCaptures();
  const bool unchanged = !block.pieces.empty() && outgoing_.count == 1 &&
                         outgoing_.at[0].iov_base == block.pieces.data() &&
                         outgoing_.at[0].iov_len == block.pieces.size();
  if (unchanged) forward(block);
  writeOut();
}

// Calls the tap for every unchanged block, even one that is no longer in the pipe: this is how it
// knows that the next block is worth peeking at.
void JobOutput::forward(const Block& block) {
  std::size_t written = 0;
  if (block.inPipe > 0) {
    written = block.pieces.size() - block.inPipe;
    writeAll(output_, block.pieces.substr(0, written));
  }
  written += tap_.forward(block.inPipe);
  outgoing_.count = 0;  // replace the span by what is left of it
  pass(block.pieces.substr(written));
}

void JobOutput::writeCaptures() {
  if (incoming_.count > 0) captureIn_.write(incoming_.at.data(), incoming_.count);
  if (outgoing_.count > 0 && captureOut_.exists()) {
    Spans copy = outgoing_;  // write() modifies the spans, and standard output still needs them
    captureOut_.write(copy.at.data(), copy.count);
  }
}

void JobOutput::writeOut() {
  writeAll(output_, outgoing_.at.data(), outgoing_.count);
  incoming_.count = outgoing_.count = copied_ = 0;
}

}  // namespace jobshaper
