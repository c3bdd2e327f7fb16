// A temporary file for pages, written through a buffer.
#pragma once

#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

class PageFile {
 public:
  // Creates the file, replacing an existing one. Discards bytes that have not been flushed.
  [[nodiscard]] bool open(const std::string& path);

  // Opens an existing file for writing at its end. Discards bytes that have not been flushed.
  [[nodiscard]] bool openAgain(const std::string& path);

  // Errors are reported by the next flush() or close().
  void write(std::string_view bytes);
  // The same for Mac OS Roman text, which is converted to UTF-8.
  void writeMacRoman(std::string_view text);

  // Inserts the content of another file at the end, or at the start, of this one. Returns false if
  // it cannot be read or the disk is full. Needs little memory, however large the files are.
  [[nodiscard]] bool append(const std::string& path);
  [[nodiscard]] bool prepend(const std::string& path);

  // Writes out the buffer. Returns false if any write since the file was opened has failed.
  [[nodiscard]] bool flush();

  // Flushes and closes the file. Returns false if it may be incomplete. Does nothing if it is not
  // open.
  [[nodiscard]] bool close();

 private:
  void flushFullBlocks();

  Descriptor file_;
  std::string pending_;
  bool failed_ = false;
};

}  // namespace jobshaper
