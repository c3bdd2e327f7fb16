// Bytes that are too many to be kept in memory: they go to a file without a name.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

class SpillFile {
 public:
  // The file is made in this folder once it is needed. Where that fails, and where the disk is
  // full, up to 4 MiB more stay in memory.
  explicit SpillFile(std::string folder) : folder_(std::move(folder)) {}

  // False when neither has room for them: what has been taken before is then incomplete.
  [[nodiscard]] bool append(std::string_view bytes);
  void clear();
  bool empty() const { return inFile_ == 0 && pending_.empty(); }

  // Hands out everything, in order. A part lasts until `take` returns.
  void forEachPart(const std::function<void(std::string_view)>& take) const;

 private:
  bool flush();

  std::string folder_;
  Descriptor file_;
  std::size_t inFile_ = 0;  // bytes of the file that count
  std::string pending_;     // what comes behind them
  bool failed_ = false;     // nothing more goes to the file
};

}  // namespace jobshaper
