// Random jobs that are hard on the rewriting rules: the texts that rules look for, what is nearly
// such a text, whole features, every line ending, cuts, zero bytes, and options to go with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/reference/reference_filter.h"

namespace jobshaper::reference {

// The same numbers everywhere for the same seed.
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
  std::size_t largestRead = 0;  // most bytes that a read gives; 0: as many as fit
  std::uint64_t seed = 0;       // of the sizes of the reads
  bool byPiece = false;         // each piece goes through the rules on its own, not in one search
};

struct RandomJob {
  std::uint64_t seed = 0;  // that made the job; 0 for one from bytes
  JobParameters job;
  Delivery delivery;
};

RandomJob randomJob(std::uint64_t seed);

// A job for the reordering alone: pages, and whether they face up.
struct ReorderingJob {
  std::uint64_t seed = 0;
  std::string input;
  std::optional<std::string> orientation;
  bool onlyInside = false;
  std::int32_t version = 0x1050;
  Delivery delivery;
};

ReorderingJob randomReorderingJob(std::uint64_t seed);

// The same from a fuzzer's bytes: the first kChoiceBytes, as far as there are so many, choose
// options and delivery, each byte a fixed one of them; the rest is the job as it is.
inline constexpr std::size_t kChoiceBytes = 16;
RandomJob jobFromBytes(std::string_view bytes);
ReorderingJob reorderingJobFromBytes(std::string_view bytes);

// For reports: every setting a line, and the bytes as a C literal, a line of theirs a line.
std::string describe(const RandomJob& random);
std::string describe(const ReorderingJob& random);
std::string literal(std::string_view bytes);

}  // namespace jobshaper::reference
