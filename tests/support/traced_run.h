// A run of the filter under ptrace, in which a test acts at every system call: it can change the
// call, let it fail, and, as a second process, change files or send a signal at that moment.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "tests/support/program.h"

namespace jobshaper::testing {

struct SystemCall {
  int index = 0;  // of the calls since the start of main(), from 0
  long number = 0;
  unsigned long long arguments[6] = {};
  long long result = 0;  // after the call: -ERROR if it has failed
};

class TracedRun {
 public:
  explicit TracedRun(Job job);

  // Called before each call, whose number and arguments it may change. The call fails with the
  // error that this returns, unless it is 0.
  std::function<int(SystemCall&)> before = [](const SystemCall&) { return 0; };
  // Called after each call.
  std::function<void(const SystemCall&)> after = [](const SystemCall&) {};
  // The calls after this one are no longer stopped, nor counted.
  int lastIndex = std::numeric_limits<int>::max();

  // A run that hangs ends by SIGALRM. The first MiB of the input is in the pipe from the start.
  Outcome run(const BeforeExec& beforeExec = nullptr);

  // Bytes of the memory of the filter, or fewer if there are no more.
  std::string memory(unsigned long long address, std::size_t size) const;
  // The path of the file that the call opens; "" for any other call.
  std::string opens(const SystemCall& call) const;
  // The file that is open under the number that is the first argument of the call.
  std::string fileOf(const SystemCall& call) const;
  pid_t pid() const { return pid_; }
  int calls() const { return calls_; }

 private:
  void trace();

  Job job_;
  pid_t pid_ = -1;
  int calls_ = 0;
};

// Skips its tests where processes cannot be traced.
class TracedTest : public ::testing::Test {
 protected:
  void SetUp() override;
};

}  // namespace jobshaper::testing
