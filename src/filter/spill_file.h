// A buffer for more bytes than should be kept in memory, backed by an unnamed temporary file.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

class SpillFile {
 public:
  // The file is created in `directory` when it is first needed. If that fails or the disk is full,
  // up to 4 MiB are kept in memory.
  explicit SpillFile(std::string directory) : directory_(std::move(directory)) {}

  // Returns false if neither disk nor memory can hold the bytes; the content is then incomplete.
  [[nodiscard]] bool append(std::string_view bytes);
  void clear();
  bool empty() const { return inFile_ == 0 && pending_.empty(); }

  // Calls `take` with all bytes, in order and in parts. A part is valid only during the call.
  // Returns false, and leaves out the rest, if the file cannot be read back.
  [[nodiscard]] bool forEachPart(const std::function<void(std::string_view)>& take) const;

 private:
  bool flush();

  std::string directory_;
  Descriptor file_;
  std::size_t inFile_ = 0;  // bytes written to the file completely
  std::string pending_;     // the bytes that follow them
  bool failed_ = false;     // do not write to the file again
};

}  // namespace jobshaper
