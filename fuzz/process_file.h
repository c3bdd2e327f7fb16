// Files without system calls: the linker replaces the functions with which the filter reads and
// writes (--wrap), so that millions of runs take minutes.
#pragma once

#include <string>
#include <string_view>

#include "fuzz/support.h"

namespace jobshaper::fuzz {

class ProcessFile {
 public:
  ProcessFile();
  ~ProcessFile();
  ProcessFile(const ProcessFile&) = delete;
  ProcessFile& operator=(const ProcessFile&) = delete;

  int descriptor() const { return file_.descriptor(); }
  std::string take();  // what has been written since the last call
  void append(std::string_view bytes) { bytes_.append(bytes); }
  std::size_t readOn(char* buffer, std::size_t size);

 private:
  MemoryFile file_;  // stays empty; makes fstat() report a regular file
  std::string bytes_;
  std::size_t read_ = 0;
  unsigned taken_ = 0;
};

}  // namespace jobshaper::fuzz
