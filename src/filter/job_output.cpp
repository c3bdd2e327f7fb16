#include "filter/job_output.h"

#include <cstring>

#include "platform/descriptor.h"

namespace jobshaper {

void JobOutput::add(Spans& spans, std::string_view bytes) {
  if (bytes.empty()) return;
  if (spans.count > 0) {
    iovec& last = spans.at[spans.count - 1];
    if (static_cast<char*>(last.iov_base) + last.iov_len == bytes.data()) {
      last.iov_len += bytes.size();  // untouched pieces lie side by side
      return;
    }
    if (spans.count == spans.at.size()) flush();
  }
  spans.at[spans.count++] = {const_cast<char*>(bytes.data()), bytes.size()};
}

void JobOutput::put(std::string_view bytes) {
  // Ahead of the copy: a flush behind it would give its place away while it waits.
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

void JobOutput::flush(PieceReader& source) {
  writeCaptures();
  if (outgoing_.count == 1) {
    iovec& span = outgoing_.at[0];
    const std::size_t passed =
        source.pass(output_, {static_cast<char*>(span.iov_base), span.iov_len});
    span.iov_base = static_cast<char*>(span.iov_base) + passed;
    span.iov_len -= passed;
    if (span.iov_len == 0) outgoing_.count = 0;  // nothing to call the system for
  }
  writeOut();
}

void JobOutput::writeCaptures() {
  if (incoming_.count > 0) captureIn_.write(incoming_.at.data(), incoming_.count);
  if (outgoing_.count > 0 && captureOut_.exists()) {
    Spans copy = outgoing_;  // writing uses spans up
    captureOut_.write(copy.at.data(), copy.count);
  }
}

void JobOutput::writeOut() {
  writeAll(output_, outgoing_.at.data(), outgoing_.count);
  incoming_.count = outgoing_.count = copied_ = 0;
}

}  // namespace jobshaper
