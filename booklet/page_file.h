// A temporary file that pages are written to, gathered into large writes.
#pragma once

#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

class PageFile {
 public:
  // Creates or empties the file. What was not flushed before is lost.
  [[nodiscard]] bool open(const std::string& path);

  // A failed write shows at the next flush or close.
  void write(std::string_view bytes);

  // Puts everything written into the file. False when any of it is missing there.
  [[nodiscard]] bool flush();

  // Flushes and closes; a file that is not open is closed already.
  [[nodiscard]] bool close();

 private:
  Descriptor file_;
  std::string pending_;
  bool failed_ = false;
};

}  // namespace jobshaper
