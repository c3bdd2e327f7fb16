// The filter against the judge, on one job at a time.
#pragma once

#include <functional>
#include <string>

#include "tests/judge/job_maker.h"
#include "tests/judge/product.h"
#include "tests/judge/stream_judge.h"

namespace jobshaper::judge {

// Whether the filter made of the job what the judge makes of it. If not, `report` says what
// differs, with the whole job; the job is as it came, not made smaller.
bool sameAsJudge(const RandomJob& random, std::string& report);
bool sameAsJudge(const ReorderingJob& random, std::string& report);

// The same for a run that the caller has made.
bool sameAsJudge(const RandomJob& random, const Produced& produced, std::string& report);

// One page moved by the filter and by the judge: side file, reversed file and page number from
// random numbers.
bool rearrangesAsJudge(std::uint64_t seed, std::string& report);

// The smallest job found that still differs: options, bytes and reads that do not matter are
// taken away. `same` compares.
template <typename Job>
using Comparison = std::function<bool(const Job&, std::string& report)>;
RandomJob smallest(RandomJob random, const Comparison<RandomJob>& same);
ReorderingJob smallest(ReorderingJob random, const Comparison<ReorderingJob>& same);

}  // namespace jobshaper::judge
