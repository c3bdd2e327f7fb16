// Compares the filter with the reference implementation, on one job at a time.
#pragma once

#include <functional>
#include <string>

#include "tests/reference/filter_under_test.h"
#include "tests/reference/job_maker.h"
#include "tests/reference/reference_filter.h"

namespace jobshaper::reference {

// Whether filter and reference implementation have the same output for the job. If not, `report`
// gets the differences and the whole job, which is not reduced.
bool matchesReference(const RandomJob& random, std::string& report);
bool matchesReference(const ReorderingJob& random, std::string& report);

// The same for the output of a run that the caller made.
bool matchesReference(const RandomJob& random, const FilterOutput& actual, std::string& report);

// Compares how both move one page, with a random side file, reversed file and page number.
bool rearrangesLikeReference(std::uint64_t seed, std::string& report);

// Reduces a job for which `same` returns false: removes options, bytes and reads while it still
// returns false. Returns the smallest job found.
template <typename Job>
using Comparison = std::function<bool(const Job&, std::string& report)>;
RandomJob smallest(RandomJob random, const Comparison<RandomJob>& same);
ReorderingJob smallest(ReorderingJob random, const Comparison<ReorderingJob>& same);

}  // namespace jobshaper::reference
