#include "filter/trigger_search.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace jobshaper {

namespace {

// Only every fourth pair of neighbouring bytes is looked at. A text of five bytes covers one of
// them wherever it stands, as one of its own first four pairs.
constexpr std::size_t kStep = 4;
static_assert(std::ranges::all_of(kTriggerTexts,
                                  [](std::string_view text) { return text.size() > kStep; }));
static_assert(std::size(kTriggerTexts) <= 16);

// Small enough to stay in the nearest cache beside the job. Pairs that share an entry cost a
// comparison, no more.
constexpr std::size_t kEntries = 4096;

constexpr std::size_t entryOf(unsigned char first, unsigned char second) {
  return (first * 33U ^ second * 4U) % kEntries;
}

// For each entry the texts that have such a pair among their first four.
constexpr std::array<TriggerSet, kEntries> pairTable() {
  std::array<TriggerSet, kEntries> table{};
  for (const std::string_view text : kTriggerTexts) {
    for (std::size_t i = 0; i < kStep; ++i) {
      TriggerSet& entry = table[entryOf(static_cast<unsigned char>(text[i]),
                                        static_cast<unsigned char>(text[i + 1]))];
      entry = static_cast<TriggerSet>(entry | triggerSet(text));
    }
  }
  return table;
}

constexpr std::array<TriggerSet, kEntries> kPairTable = pairTable();

// The first place among the last four up to `at` where one of these texts stands.
std::size_t confirm(std::string_view bytes, std::size_t at, TriggerSet candidates) {
  const std::size_t first = at - std::min(at, kStep - 1);
  for (std::size_t begin = first; begin <= at; ++begin) {
    for (TriggerSet rest = candidates; rest != 0;
         rest = static_cast<TriggerSet>(rest & (rest - 1))) {
      const std::string_view text = kTriggerTexts[__builtin_ctz(rest)];
      if (bytes.substr(begin).starts_with(text)) return begin;
    }
  }
  return std::string_view::npos;
}

}  // namespace

std::size_t findTrigger(std::string_view bytes, TriggerSet watched) {
  const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (std::size_t at = 0; at + 1 < bytes.size(); at += kStep) {
    const TriggerSet candidates =
        static_cast<TriggerSet>(kPairTable[entryOf(data[at], data[at + 1])] & watched);
    if (candidates == 0) [[likely]]
      continue;
    const std::size_t found = confirm(bytes, at, candidates);
    if (found != bytes.npos) return found;
  }
  return bytes.npos;
}

}  // namespace jobshaper
