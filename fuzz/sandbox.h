// While a run lasts, it creates and writes files in its folder only. The linker puts these
// functions in the place of the C library's (--wrap), for the targets that open files by names
// that come from their input.
#pragma once

namespace jobshaper::fuzz {

class Sandbox {
 public:
  Sandbox();
  ~Sandbox();  // removes the files that the run opened for writing
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;
};

}  // namespace jobshaper::fuzz
