#include "filter/trigger_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace jobshaper {

namespace {

bool standsAt(std::string_view bytes, std::size_t position, std::string_view text) {
  return bytes.substr(position).starts_with(text);
}

// The plain search. It looks at every fourth pair of adjacent bytes only: a text of five bytes
// covers one of them wherever it is, as one of its own first four pairs.
constexpr std::size_t kStep = 4;
static_assert(std::all_of(kTriggers.begin(), kTriggers.end(),
                          [](const Trigger& trigger) { return trigger.text.size() > kStep; }));

// Small enough to stay in the nearest cache beside the job. Pairs that share an entry cost a
// comparison, no more.
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
      if (standsAt(bytes, begin, kTriggers[static_cast<std::size_t>(std::countr_zero(rest))].text))
        return begin;
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

#if defined(__x86_64__)

namespace {

// The search with vectors looks for the fingerprints at 64 places at once. A byte of a fingerprint
// is recognized by its two halves: each half looks up the set of triggers that have it there, and
// only triggers that all six sets have in common are left. These sets have one bit for each two
// neighbors in kTriggers.
constexpr std::size_t kFingerprint = 3;
static_assert(kTriggers.size() <= 2 * 8);
constexpr std::size_t kVector = 32;
constexpr std::size_t kLongestText =
    std::max_element(kTriggers.begin(), kTriggers.end(), [](const Trigger& a, const Trigger& b) {
      return a.text.size() < b.text.size();
    })->text.size();

constexpr std::size_t fingerprintOffset(const Trigger& trigger) {
  return trigger.text.find(trigger.fingerprint);
}

static_assert(std::all_of(kTriggers.begin(), kTriggers.end(), [](const Trigger& trigger) {
  return trigger.fingerprint.size() == kFingerprint &&
         fingerprintOffset(trigger) != std::string_view::npos;
}));

struct HalfTables {
  alignas(16) std::array<std::uint8_t, 16> low{};
  alignas(16) std::array<std::uint8_t, 16> high{};
};

constexpr std::array<HalfTables, kFingerprint> halfTables() {
  std::array<HalfTables, kFingerprint> tables{};
  for (std::size_t i = 0; i < kTriggers.size(); ++i) {
    const auto bit = static_cast<std::uint8_t>(1U << i / 2);
    for (std::size_t k = 0; k < kFingerprint; ++k) {
      const auto byte = static_cast<unsigned char>(kTriggers[i].fingerprint[k]);
      tables[k].low[byte % 16] |= bit;
      tables[k].high[byte / 16] |= bit;
    }
  }
  return tables;
}

constexpr std::array<HalfTables, kFingerprint> kHalfTables = halfTables();

// Which bits of the tables stand for wanted triggers.
std::uint8_t tableBits(TriggerSet wanted) {
  unsigned bits = 0;
  for (unsigned i = 0; i < 8; ++i) bits |= (wanted >> 2 * i & 3U) != 0 ? 1U << i : 0;
  return static_cast<std::uint8_t>(bits);
}

// Where the wanted trigger begins that has its fingerprint at `at`. Not inlined: the loop that
// calls it needs all registers.
[[gnu::noinline]] std::size_t confirmFingerprint(std::string_view bytes, std::size_t at,
                                                 TriggerSet wanted) {
  for (TriggerSet rest = wanted; rest != 0; rest &= rest - 1) {
    const Trigger& trigger = kTriggers[static_cast<std::size_t>(std::countr_zero(rest))];
    const std::size_t offset = fingerprintOffset(trigger);
    if (at >= offset && standsAt(bytes, at - offset, trigger.text)) return at - offset;
  }
  return std::string_view::npos;
}

[[gnu::target("avx2")]] __m256i twice(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(
      _mm_load_si128(reinterpret_cast<const __m128i*>(table.data())));
}

// Bit i for byte i that is not 0.
[[gnu::target("avx2")]] std::uint64_t placesOf(__m256i texts) {
  const __m256i none = _mm256_cmpeq_epi8(texts, _mm256_setzero_si256());
  return ~static_cast<unsigned>(_mm256_movemask_epi8(none));
}

}  // namespace

[[gnu::target("avx2")]] std::size_t findTriggerAvx2(std::string_view bytes, TriggerSet wanted) {
  wanted &= kEveryTrigger;
  const __m256i bits = _mm256_set1_epi8(static_cast<char>(tableBits(wanted)));
  const __m256i half = _mm256_set1_epi8(0x0f);
  // Triggers that are not wanted leave the first table, which takes them out of every result.
  const __m256i low0 = _mm256_and_si256(twice(kHalfTables[0].low), bits);
  const __m256i low1 = twice(kHalfTables[1].low);
  const __m256i low2 = twice(kHalfTables[2].low);
  const __m256i high0 = twice(kHalfTables[0].high);
  const __m256i high1 = twice(kHalfTables[1].high);
  const __m256i high2 = twice(kHalfTables[2].high);
  // A byte of 0x80 or more, which no fingerprint has, finds nothing in a low table: the shuffle
  // answers 0 when the highest bit is set.
  const auto textsAt = [&](const char* at) __attribute__((target("avx2"), always_inline)) {
    const __m256i byte0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    const __m256i byte1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 1));
    const __m256i byte2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 2));
    const auto look = [&](__m256i low, __m256i high, __m256i byte)
        __attribute__((target("avx2"), always_inline)) {
      const __m256i upper = _mm256_and_si256(_mm256_srli_epi16(byte, 4), half);
      return _mm256_and_si256(_mm256_shuffle_epi8(low, byte), _mm256_shuffle_epi8(high, upper));
    };
    return _mm256_and_si256(look(low0, high0, byte0),
                            _mm256_and_si256(look(low1, high1, byte1), look(low2, high2, byte2)));
  };

  std::size_t at = 0;
  for (; at + 2 * kVector + kFingerprint - 1 <= bytes.size(); at += 2 * kVector) {
    const __m256i first = textsAt(bytes.data() + at);
    const __m256i second = textsAt(bytes.data() + at + kVector);
    const __m256i any = _mm256_or_si256(first, second);
    if (_mm256_testz_si256(any, any)) [[likely]]
      continue;
    for (std::uint64_t places = placesOf(first) | placesOf(second) << kVector; places != 0;
         places &= places - 1) {
      const auto place = static_cast<std::size_t>(__builtin_ctzll(places));
      const std::size_t found = confirmFingerprint(bytes, at + place, wanted);
      if (found != bytes.npos) return found;
    }
  }
  // A trigger in the rest may begin before the fingerprints that have been looked at.
  const std::size_t rest = at - std::min(at, kLongestText);
  const std::size_t found = findTriggerPlain(bytes.substr(rest), wanted);
  return found == bytes.npos ? found : rest + found;
}

bool hasAvx2() { return __builtin_cpu_supports("avx2"); }

#endif

std::size_t findTrigger(std::string_view bytes, TriggerSet wanted) {
#if defined(__x86_64__)
  if (hasAvx2()) return findTriggerAvx2(bytes, wanted);
#endif
  return findTriggerPlain(bytes, wanted);
}

}  // namespace jobshaper
