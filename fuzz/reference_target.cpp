// Compares the filter with the reference implementation.
//
// Input: 24 bytes, each of which chooses an option or how the job is read; then the job.

#include <cstdio>

#include "fuzz/support.h"
#include "tests/reference/comparison.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  switchLogOff();
  const std::string report =
      reference::differences(reference::jobFromBytes({reinterpret_cast<const char*>(data), size}));
  std::fputs(report.c_str(), stderr);
  FUZZ_CHECK(report.empty());
  return 0;
}
