// Checks that a run creates and writes files in its directory only. The linker replaces the
// functions of the C library by these (--wrap), for targets that open files whose names come from
// the input.
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
