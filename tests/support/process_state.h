// What a running filter is doing.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "tests/support/program.h"

namespace jobshaper::testing {

// Polls every 2 ms, for at most twenty seconds.
inline bool becomesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 10000; ++i) {
    if (condition()) return true;
    usleep(2000);
  }
  return false;
}

inline std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline bool hasEnded(const Process& process) {
  siginfo_t info{};
  const auto id = static_cast<id_t>(process.pid());
  return waitid(P_PID, id, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

// Returns true once the process has ended, though its input is open and nobody reads its output.
inline bool endsByItself(const Process& process) {
  return becomesTrue([&] { return hasEnded(process); });
}

// Returns true once the process sleeps: in a read without input, or a write without a reader.
inline bool sleeps(pid_t pid) {
  int seen = 0;
  return becomesTrue([&] {
    const std::string stat = contentOf("/proc/" + std::to_string(pid) + "/stat");
    const std::size_t name = stat.rfind(')');
    seen = name != std::string::npos && stat.compare(name, 3, ") S") == 0 ? seen + 1 : 0;
    return seen == 10;
  });
}
inline bool sleeps(const Process& process) { return sleeps(process.pid()); }

}  // namespace jobshaper::testing
