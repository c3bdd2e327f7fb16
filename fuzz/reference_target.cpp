// Compares the filter with the reference implementation of its rules and of the reordering.
//
// Input: a setting, whose lowest bit selects one of the two; then the input from which the
// reference library makes a job: 16 bytes of choices, and the job.

#include <cstdio>

#include "fuzz/support.h"
#include "tests/reference/comparison.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  switchLogOff();
  Input input(data, size);
  const bool reordering = input.setting() & 1;
  std::string report;
  const bool same =
      reordering
          ? reference::matchesReference(reference::reorderingJobFromBytes(input.rest()), report)
          : reference::matchesReference(reference::jobFromBytes(input.rest()), report);
  if (!same) std::fputs(report.c_str(), stderr);
  FUZZ_CHECK(same);
  return 0;
}
