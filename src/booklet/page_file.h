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

  // Opens a file that exists, to go on behind what it holds.
  [[nodiscard]] bool openAgain(const std::string& path);

  // A failed write shows at the next flush or close.
  void write(std::string_view bytes);
  // The same for Mac OS Roman text, which the file holds as UTF-8.
  void writeMacRoman(std::string_view text);

  // Puts the whole of another file behind, or in front of, everything written. False when it
  // cannot be read or there is no room. However long both are, little of them is in memory.
  [[nodiscard]] bool append(const std::string& path);
  [[nodiscard]] bool prepend(const std::string& path);

  // Puts everything written into the file. False when any of it is missing there.
  [[nodiscard]] bool flush();

  // Flushes and closes; a file that is not open is closed already.
  [[nodiscard]] bool close();

 private:
  void flushFullBlocks();

  Descriptor file_;
  std::string pending_;
  bool failed_ = false;
};

}  // namespace jobshaper
