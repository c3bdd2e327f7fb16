#include "booklet/page_file.h"

namespace jobshaper {

namespace {
constexpr std::size_t kBlock = 64 * 1024;
}

bool PageFile::open(const std::string& path) {
  pending_.clear();
  failed_ = false;
  file_ = createFile(path);
  return file_.valid();
}

void PageFile::write(std::string_view bytes) {
  pending_.append(bytes);
  if (pending_.size() >= kBlock) static_cast<void>(flush());
}

bool PageFile::flush() {
  if (!pending_.empty() && !writeAll(file_.get(), pending_)) failed_ = true;
  pending_.clear();
  return !failed_;
}

bool PageFile::close() {
  const bool complete = flush();
  file_.reset();
  return complete;
}

}  // namespace jobshaper
