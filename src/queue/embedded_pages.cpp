#include "queue/embedded_pages.h"

#include <algorithm>
#include <utility>

namespace jobshaper {

namespace {

constexpr std::size_t kLongestStart = 16;  // of a line, in bytes: enough to recognize it

}  // namespace

bool EmbeddedPages::take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find_first_of("\r\n");
    const std::size_t line = end == bytes.npos ? bytes.size() : end + 1;
    if (inStart_) {
      const std::size_t wanted = std::min(line, kLongestStart - start_.size());
      start_.append(bytes.substr(0, wanted));
      bytes.remove_prefix(wanted);
      const bool ended = wanted == line && end != bytes.npos;
      if (!ended && start_.size() < kLongestStart) return true;
      inStart_ = ended;
      if (!putStart()) return false;
    } else {
      if (!put_(bytes.substr(0, line))) return false;
      bytes.remove_prefix(line);
      inStart_ = end != bytes.npos;
    }
  }
  return true;
}

bool EmbeddedPages::finish() { return putStart(); }

bool EmbeddedPages::putStart() {
  const std::string start = std::exchange(start_, {});
  const bool dividesBooklet = start.starts_with("%%Page:") || start.starts_with("%%Trailer");
  if (!data_.covers(start) && dividesBooklet) return put_("% " + start.substr(1));
  return start.empty() || put_(start);
}

}  // namespace jobshaper
