// Compares the filter, run in this process, with the reference implementation.
#pragma once

#include <string>

#include "tests/reference/job_maker.h"

namespace jobshaper::reference {

// Runs the job with both. Returns the job and every difference, or "" if there is none.
std::string differences(const RandomJob& random);

// The same for the reordering of a manual booklet alone, for which `orientation` is "Up", "Down" or
// none.
std::string reorderingDifferences(const RandomJob& random,
                                  const std::optional<std::string>& orientation, bool onlyInside);

// Reduces a job that differs: removes options and bytes while it still does, for up to 20 seconds.
RandomJob smallest(RandomJob random);

}  // namespace jobshaper::reference
