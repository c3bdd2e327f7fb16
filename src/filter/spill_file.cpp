#include "filter/spill_file.h"

#include <unistd.h>

#include <algorithm>

#include "platform/files.h"

namespace jobshaper {

namespace {

constexpr std::size_t kBlock = 64 * 1024;
constexpr std::size_t kMostInMemory = 4 * 1024 * 1024;

}  // namespace

bool SpillFile::append(std::string_view bytes) {
  if (bytes.size() > kMostInMemory - pending_.size()) return false;
  pending_.append(bytes);
  if (pending_.size() >= kBlock && !failed_) failed_ = !flush();
  return true;
}

void SpillFile::clear() {
  file_.reset();
  inFile_ = 0;
  pending_.clear();
  failed_ = false;
}

bool SpillFile::flush() {
  if (!file_.valid()) file_ = createNamelessFile(directory_);
  if (!file_.valid() || !writeAll(file_.get(), pending_)) return false;
  inFile_ += pending_.size();
  pending_.clear();
  return true;
}

bool SpillFile::forEachPart(const std::function<void(std::string_view)>& take) const {
  std::string part(std::min(inFile_, kBlock), '\0');
  for (std::size_t at = 0; at < inFile_;) {
    const std::size_t n = std::min(kBlock, inFile_ - at);
    if (!readAt(file_.get(), part.data(), n, static_cast<off_t>(at))) return false;
    take({part.data(), n});
    at += n;
  }
  if (!pending_.empty()) take(pending_);
  return true;
}

}  // namespace jobshaper
