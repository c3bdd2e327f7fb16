// A run of the filter under ptrace, in which a test acts at every system call: it can let the call
// fail, and, as a second process, change files or send a signal at exactly that moment.
#pragma once

#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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
  // Why this system cannot trace processes; "" if it can.
  static std::string obstacle();

  TracedRun(std::string program, std::vector<std::string> argv,
            std::map<std::string, std::string> environment);
  explicit TracedRun(const Job& job) : TracedRun(job.program(), job.argv(), job.environment()) {}

  // Called before each call. The call fails with the error that this returns, unless it is 0.
  std::function<int(const SystemCall&)> before = [](const SystemCall&) { return 0; };
  // The calls after this one are no longer stopped, nor counted.
  int lastIndex = std::numeric_limits<int>::max();
  // Called after each call.
  std::function<void(const SystemCall&)> after = [](const SystemCall&) {};

  // Input and output must fit into a pipe of 1 MiB.
  Outcome run(std::string_view input);

  // The path among the arguments of a call: "" if it has none.
  std::string pathOf(const SystemCall& call) const;
  pid_t pid() const { return pid_; }
  int calls() const { return calls_; }  // the number of calls
  bool hung() const { return hung_; }   // it was killed because it did not end

 private:
  void trace();
  void atCall(SystemCall& call, int& error);

  std::string program_;
  std::vector<std::string> argv_;
  std::map<std::string, std::string> environment_;
  pid_t pid_ = -1;
  int status_ = 0;
  int calls_ = 0;
  bool hung_ = false;
};

}  // namespace jobshaper::testing
