#include "filter/trigger_search.h"

#include <algorithm>
#include <array>
#include <bit>

#include "filter/vector_search.h"

namespace jobshaper {

namespace {

// The plain search. It looks at every fourth pair of adjacent bytes only: a text of five bytes
// covers one of them wherever it is, as one of its own first four pairs.
constexpr std::size_t kStep = 4;
static_assert(std::all_of(kTriggers.begin(), kTriggers.end(),
                          [](const Trigger& trigger) { return trigger.text.size() > kStep; }));

// Small enough to stay in the first-level cache together with the job. If pairs share an entry,
// that costs only a comparison.
constexpr std::size_t kEntries = 4096;

constexpr std::size_t entryOf(unsigned char first, unsigned char second) {
  return (first * 33U ^ second * 4U) % kEntries;
}

// For each entry the triggers that have such a pair among their first four.
using PairTable = std::array<std::uint16_t, kEntries>;
static_assert(kEveryTrigger <= 0xFFFF);

constexpr PairTable pairTable() {
  PairTable table{};
  for (std::size_t t = 0; t < kTriggers.size(); ++t) {
    const std::string_view text = kTriggers[t].text;
    for (std::size_t i = 0; i < kStep; ++i) {
      std::uint16_t& entry = table[entryOf(static_cast<unsigned char>(text[i]),
                                           static_cast<unsigned char>(text[i + 1]))];
      entry = static_cast<std::uint16_t>(entry | 1U << t);
    }
  }
  return table;
}

constexpr PairTable kPairTable = pairTable();

// The first place among the last four up to `at` where one of these triggers begins.
std::size_t confirmPair(std::string_view bytes, std::size_t at, TriggerSet candidates) {
  const std::size_t first = at - std::min(at, kStep - 1);
  for (std::size_t begin = first; begin <= at; ++begin) {
    for (TriggerSet rest = candidates; rest != 0; rest &= rest - 1) {
      const Trigger& trigger = kTriggers[static_cast<std::size_t>(std::countr_zero(rest))];
      if (bytes.substr(begin).starts_with(trigger.text)) return begin;
    }
  }
  return std::string_view::npos;
}

}  // namespace

std::size_t findTriggerPlain(std::string_view bytes, TriggerSet wanted) {
  const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (std::size_t at = 0; at + 1 < bytes.size(); at += kStep) {
    const TriggerSet candidates = kPairTable[entryOf(data[at], data[at + 1])] & wanted;
    if (candidates == 0) [[likely]]
      continue;
    const std::size_t found = confirmPair(bytes, at, candidates);
    if (found != bytes.npos) return found;
  }
  return bytes.npos;
}

namespace {

constexpr TriggerSearch kSearches[] = {
#if defined(__x86_64__)
    {"AVX2", findTriggerAvx2},
#elif defined(__aarch64__)
    {"NEON", findTriggerNeon},
#endif
    {"plain", findTriggerPlain},
};

}  // namespace

std::span<const TriggerSearch> triggerSearches() {
#if defined(__x86_64__)
  return std::span(kSearches).subspan(__builtin_cpu_supports("avx2") ? 0 : 1);
#else
  return kSearches;
#endif
}

std::size_t findTrigger(std::string_view bytes, TriggerSet wanted) {
  return triggerSearches().front().find(bytes, wanted);
}

}  // namespace jobshaper
