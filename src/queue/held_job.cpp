#include "queue/held_job.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/files.h"
#include "queue/header_text.h"
#include "queue/message.h"

namespace jobshaper {

namespace {

constexpr std::size_t kBlock = 64 * 1024;
constexpr std::size_t kLongestStart = 24;  // of a line, in bytes: enough to recognize it

// In PostScript without comments, CUPS makes one page of all pages.
constexpr std::string_view kWithoutComments = "%%BeginDocument: nondsc";

}  // namespace

void reportUnwritable(const std::string& directory) {
  reportError(
      "The job cannot be kept in %s: %s. Free space there or make it writable, "
      "and restart the job.",
      headerText(directory).c_str(), std::strerror(errno));
}

void reportUnreadable() {
  reportError("Cannot read the print job: %s. Print it again.", std::strerror(errno));
}

bool HeldJob::read(int input, const std::string& directory) {
  file_ = createNamelessFile(directory);
  if (!file_.valid()) {
    reportUnwritable(directory);
    return false;
  }
  std::string block(kBlock, '\0');
  ssize_t n = 0;
  while ((n = readSome(input, block.data(), block.size())) > 0) {
    const std::string_view bytes(block.data(), static_cast<std::size_t>(n));
    if (!writeAll(file_.get(), bytes)) {
      reportUnwritable(directory);
      return false;
    }
    scan(bytes);
  }
  if (n < 0) {
    reportUnreadable();
    return false;
  }
  finish();
  return true;
}

void HeldJob::scan(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = std::min(bytes.find_first_of("\r\n", at), bytes.size());
    const std::size_t wanted = std::min(end - at, kLongestStart - line_.size());
    line_.append(bytes.substr(at, wanted));
    if (end == bytes.size()) break;
    scanLine(lineFrom_);
    line_.clear();
    at = end + 1;
    lineFrom_ = size_ + static_cast<off_t>(at);
  }
  size_ += static_cast<off_t>(bytes.size());
}

void HeldJob::scanLine(off_t from) {
  if (ended_) return;
  const std::string_view line = line_;
  if (data_.covers(line)) return;
  if (line.starts_with("%%BeginDocument")) {
    if (documents_++ == 0 && line == kWithoutComments) hasComments_ = false;
  } else if (line.starts_with("%%EndDocument")) {
    documents_ = std::max(documents_ - 1, 0);
  } else if (documents_ > 0) {
    return;
  } else if (line.starts_with("%%Page:")) {
    trailer_.from = 0;  // it was that of an embedded document without comments of its own
    pages_.push_back({.from = from, .size = 0});
  } else if (line.starts_with("%%BeginProlog")) {
    hasProlog_ = hasProlog_ || pages_.empty();
  } else if (!pages_.empty()) {
    ended_ = line.starts_with("\033%-12345X");
    const bool mayEnd = ended_ || line.starts_with("%%Trailer") || line.starts_with("%%EOF");
    if (mayEnd && trailer_.from == 0) trailer_.from = from;
  }
}

void HeldJob::finish() {
  scanLine(lineFrom_);
  if (trailer_.from == 0) trailer_.from = size_;
  trailer_.size = size_ - trailer_.from;
  header_.size = pages_.empty() ? trailer_.from : pages_.front().from;
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    const off_t end = i + 1 < pages_.size() ? pages_[i + 1].from : trailer_.from;
    pages_[i].size = end - pages_[i].from;
  }
}

bool HeldJob::forEachBlock(const Part& part,
                           const std::function<bool(std::string_view)>& take) const {
  std::string block(std::min(static_cast<std::size_t>(part.size), kBlock), '\0');
  for (off_t at = 0; at < part.size;) {
    const std::size_t n = std::min(static_cast<std::size_t>(part.size - at), block.size());
    if (!readAt(file_.get(), block.data(), n, part.from + at)) return false;
    if (!take({block.data(), n})) return false;
    at += static_cast<off_t>(n);
  }
  return true;
}

}  // namespace jobshaper
