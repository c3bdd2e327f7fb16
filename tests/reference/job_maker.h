// Makes random jobs that are difficult for the rewriting rules: triggers, texts that nearly match,
// whole features, every kind of line end, truncation, zero bytes, and matching options.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/reference/reference_filter.h"

namespace jobshaper::reference {

// Returns the same numbers for the same seed on every machine.
class RandomGenerator {
 public:
  explicit RandomGenerator(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next();
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  std::size_t between(std::size_t least, std::size_t most) {
    return least + below(most - least + 1);
  }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  template <typename Rows>
  const auto& from(const Rows& rows) {
    return rows[below(std::size(rows))];
  }

 private:
  std::uint64_t state_;
};

// How the job reaches the filter.
struct Delivery {
  bool pipe = false;            // otherwise a file
  std::size_t largestRead = 0;  // the most bytes that one read returns; 0: all that fit
  std::uint64_t seed = 0;       // for the sizes of the reads
  bool byPiece = false;         // pass each piece to the rules separately, without the search
};

struct RandomJob {
  std::uint64_t seed = 0;  // of the generator; 0 for a job from bytes
  JobParameters job;
  Delivery delivery;
};

RandomJob randomJob(std::uint64_t seed);

// A job for the reordering alone.
struct ReorderingJob {
  std::uint64_t seed = 0;
  std::string input;
  std::optional<std::string> orientation;
  bool onlyInside = false;
  std::int32_t version = 0x1050;
  Delivery delivery;
};

ReorderingJob randomReorderingJob(std::uint64_t seed);

// The same from a fuzzer's bytes: each of the first kChoiceBytes chooses one option or one property
// of the delivery; the rest is the job.
inline constexpr std::size_t kChoiceBytes = 16;
RandomJob jobFromBytes(std::string_view bytes);
ReorderingJob reorderingJobFromBytes(std::string_view bytes);

// For reports: one line per setting, and the bytes as a C literal with one line per line of the
// job.
std::string describe(const RandomJob& random);
std::string describe(const ReorderingJob& random);
std::string literal(std::string_view bytes);

}  // namespace jobshaper::reference
