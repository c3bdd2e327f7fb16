// The filter against the reference implementation, on one job at a time.
#pragma once

#include <functional>
#include <string>

#include "tests/reference/filter_under_test.h"
#include "tests/reference/job_maker.h"
#include "tests/reference/reference_filter.h"

namespace jobshaper::reference {

// Whether the filter made of the job what the reference implementation makes of it. If not,
// `report` says what differs, with the whole job; the job is as it came, not made smaller.
bool matchesReference(const RandomJob& random, std::string& report);
bool matchesReference(const ReorderingJob& random, std::string& report);

// The same for a run that the caller has made.
bool matchesReference(const RandomJob& random, const FilterOutput& actual, std::string& report);

// One page moved by the filter and by the reference implementation: side file, reversed file and
// page number from random numbers.
bool rearrangesLikeReference(std::uint64_t seed, std::string& report);

// The smallest job found that still differs: options, bytes and reads that do not matter are
// taken away. `same` compares.
template <typename Job>
using Comparison = std::function<bool(const Job&, std::string& report)>;
RandomJob smallest(RandomJob random, const Comparison<RandomJob>& same);
ReorderingJob smallest(ReorderingJob random, const Comparison<ReorderingJob>& same);

}  // namespace jobshaper::reference
