// Makes random jobs that are difficult for the rewriting rules: triggers, texts that nearly match,
// whole features, every kind of line end, truncation, zero bytes, and matching options.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "tests/reference/reference_filter.h"

namespace jobshaper::reference {

// Random numbers: the same ones for the same seed on every machine, or those that a fuzzer chose.
class RandomGenerator {
 public:
  explicit RandomGenerator(std::uint64_t seed) : state_(seed) {}
  explicit RandomGenerator(std::string_view chosen) : chosen_(chosen) {}  // a byte each, then zeros
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
  std::uint64_t state_ = 0;
  std::optional<std::string_view> chosen_;
};

struct RandomJob {
  std::uint64_t seed = 0;  // 0 for a job from bytes
  JobParameters job;
  bool pipe = false;            // standard input is a pipe, otherwise a file
  std::size_t largestRead = 0;  // the most bytes that one read returns; 0: all that fit
};

RandomJob randomJob(std::uint64_t seed);

// The same from a fuzzer's bytes: each of the first kChoiceBytes chooses an option or how the job
// is read; the rest is the job.
inline constexpr std::size_t kChoiceBytes = 24;
RandomJob jobFromBytes(std::string_view bytes);

// For reports: one line per setting, and the bytes as a C literal with one line per line of the
// job.
std::string describe(const RandomJob& random);
std::string literal(std::string_view bytes);

}  // namespace jobshaper::reference
