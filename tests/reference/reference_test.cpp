// Compares the filter with the reference implementation on random jobs. JOBSHAPER_REFERENCE_JOBS is
// the number of jobs, and JOBSHAPER_REFERENCE_SEED the seed of the first; each further job has the
// next seed, so that a job that differs can be repeated alone.
#include <cstdlib>

#include "tests/reference/comparison.h"

namespace jobshaper::reference {
namespace {

std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text && *text ? std::strtoull(text, nullptr, 10) : otherwise;
}

const std::uint64_t kJobs = numberFrom("JOBSHAPER_REFERENCE_JOBS", 3000);
const std::uint64_t kFirstSeed = numberFrom("JOBSHAPER_REFERENCE_SEED", 1);

TEST(ReferenceComparison, AgreesOnTheWholeFilter) {
  for (std::uint64_t seed = kFirstSeed; seed < kFirstSeed + kJobs; ++seed) {
    const RandomJob job = randomJob(seed);
    if (!differences(job).empty()) {
      FAIL() << "after " << seed - kFirstSeed << " jobs that are the same\n"
             << differences(smallest(job));
    }
  }
}

// The filter uses no orientation, but its library has two.
TEST(ReferenceComparison, AgreesOnTheReorderingForEveryOrientation) {
  const std::optional<std::string> orientations[] = {std::nullopt, "Up", "Down", "up"};
  for (std::uint64_t seed = kFirstSeed; seed < kFirstSeed + (kJobs + 9) / 10; ++seed) {
    RandomGenerator random(seed);
    const auto& orientation = random.from(orientations);
    ASSERT_EQ(reorderingDifferences(randomJob(seed), orientation, random.oneIn(2)), "")
        << "for orientation " << orientation.value_or("none");
  }
}

}  // namespace
}  // namespace jobshaper::reference
