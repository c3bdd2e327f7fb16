#include "filter/vector_search.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

#if defined(__x86_64__) || defined(__aarch64__)

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace jobshaper {

namespace {

// The search with vectors compares the fingerprints at 64 positions at a time. A byte of a
// fingerprint is recognized by its two halves: each half looks up the set of triggers that have it
// there, and only triggers that all six sets have in common are left. These sets have one bit for
// each two neighbors in kTriggers.
constexpr std::size_t kBlock = 64;
constexpr std::size_t kFingerprint = 3;
static_assert(kTriggers.size() <= 2 * 8);

constexpr std::size_t fingerprintOffset(const Trigger& trigger) {
  return trigger.text.find(trigger.fingerprint);
}

static_assert(std::all_of(kTriggers.begin(), kTriggers.end(), [](const Trigger& trigger) {
  return trigger.fingerprint.size() == kFingerprint &&
         fingerprintOffset(trigger) != std::string_view::npos;
}));

// Where each trigger has its fingerprint.
constexpr auto kOffsets = [] {
  std::array<std::size_t, kTriggers.size()> offsets{};
  std::transform(kTriggers.begin(), kTriggers.end(), offsets.begin(), fingerprintOffset);
  return offsets;
}();

// The most bytes that a trigger has up to the end of its fingerprint.
constexpr std::size_t kLongestStart =
    *std::max_element(kOffsets.begin(), kOffsets.end()) + kFingerprint;

using HalfTable = std::array<std::uint8_t, 16>;

struct HalfTables {
  alignas(16) HalfTable low{};
  alignas(16) HalfTable high{};
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

// Which bits of the tables stand for wanted triggers. Those that are not wanted leave the first
// table, which takes them out of every result.
std::uint8_t tableBits(TriggerSet wanted) {
  unsigned bits = 0;
  for (unsigned i = 0; i < 8; ++i) bits |= (wanted >> 2 * i & 3U) != 0 ? 1U << i : 0;
  return static_cast<std::uint8_t>(bits);
}

// The result of looking up a block: for each position, the bits of the triggers that have their
// fingerprint there.
using Positions = std::array<std::uint8_t, kBlock>;
static_assert(std::endian::native == std::endian::little);  // eight of them are read as a number

// The start of the wanted trigger that has one of these bits and its fingerprint at `at`.
std::size_t confirmPosition(std::string_view bytes, std::size_t at, unsigned bits,
                            TriggerSet wanted) {
  for (; bits != 0; bits &= bits - 1) {
    const TriggerSet neighbors = TriggerSet{3} << 2 * std::countr_zero(bits);
    for (TriggerSet rest = neighbors & wanted & kEveryTrigger; rest != 0; rest &= rest - 1) {
      const auto trigger = static_cast<std::size_t>(std::countr_zero(rest));
      const std::size_t offset = kOffsets[trigger];
      if (at < offset) continue;
      if (bytes.substr(at - offset).starts_with(kTriggers[trigger].text)) return at - offset;
    }
  }
  return bytes.npos;
}

// The first wanted trigger with its fingerprint in the block that begins at `block`. Not inlined:
// the loop that calls it needs all registers.
[[gnu::noinline]] std::size_t confirmBlock(std::string_view bytes, std::size_t block,
                                           const Positions& positions, TriggerSet wanted) {
  for (std::size_t i = 0; i < kBlock; i += 8) {
    std::uint64_t eight;
    std::memcpy(&eight, &positions[i], sizeof eight);
    while (eight != 0) {
      const auto byte = static_cast<std::size_t>(std::countr_zero(eight)) / 8;
      const std::size_t found =
          confirmPosition(bytes, block + i + byte, positions[i + byte], wanted);
      if (found != bytes.npos) return found;
      eight &= ~(std::uint64_t{0xFF} << 8 * byte);
    }
  }
  return bytes.npos;
}

// At the end of the last block, a trigger may have begun whose fingerprint is not yet complete.
std::size_t findInRest(std::string_view bytes, std::size_t end, TriggerSet wanted) {
  const std::size_t rest = end - std::min(end, kLongestStart);
  const std::size_t found = findTriggerPlain(bytes.substr(rest), wanted);
  return found == bytes.npos ? found : rest + found;
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] __m256i twice(const HalfTable& table) {
  return _mm256_broadcastsi128_si256(
      _mm_load_si128(reinterpret_cast<const __m128i*>(table.data())));
}
#endif

}  // namespace

#if defined(__x86_64__)

[[gnu::target("avx2")]] std::size_t findTriggerAvx2(std::string_view bytes, TriggerSet wanted) {
  constexpr std::size_t kVector = 32;
  const __m256i bits = _mm256_set1_epi8(static_cast<char>(tableBits(wanted)));
  const __m256i half = _mm256_set1_epi8(0x0f);
  const __m256i low0 = _mm256_and_si256(twice(kHalfTables[0].low), bits);
  const __m256i low1 = twice(kHalfTables[1].low);
  const __m256i low2 = twice(kHalfTables[2].low);
  const __m256i high0 = twice(kHalfTables[0].high);
  const __m256i high1 = twice(kHalfTables[1].high);
  const __m256i high2 = twice(kHalfTables[2].high);
  // The lookup in a low table needs no mask: it takes the lower half of its index, and returns 0
  // when the highest bit is set, which no byte of a fingerprint has.
  const auto triggersAt = [&](const char* at) __attribute__((target("avx2"), always_inline)) {
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
  for (; at + kBlock + kFingerprint - 1 <= bytes.size(); at += kBlock) {
    const __m256i first = triggersAt(bytes.data() + at);
    const __m256i second = triggersAt(bytes.data() + at + kVector);
    const __m256i any = _mm256_or_si256(first, second);
    if (_mm256_testz_si256(any, any)) [[likely]]
      continue;
    Positions positions;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(positions.data()), first);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(positions.data() + kVector), second);
    const std::size_t found = confirmBlock(bytes, at, positions, wanted);
    if (found != bytes.npos) return found;
  }
  return findInRest(bytes, at, wanted);
}

#else

std::size_t findTriggerNeon(std::string_view bytes, TriggerSet wanted) {
  constexpr std::size_t kVector = 16;
  const uint8x16_t half = vdupq_n_u8(0x0f);
  const uint8x16_t bits = vdupq_n_u8(tableBits(wanted));
  const uint8x16_t low0 = vandq_u8(vld1q_u8(kHalfTables[0].low.data()), bits);
  const uint8x16_t low1 = vld1q_u8(kHalfTables[1].low.data());
  const uint8x16_t low2 = vld1q_u8(kHalfTables[2].low.data());
  const uint8x16_t high0 = vld1q_u8(kHalfTables[0].high.data());
  const uint8x16_t high1 = vld1q_u8(kHalfTables[1].high.data());
  const uint8x16_t high2 = vld1q_u8(kHalfTables[2].high.data());
  // Shifting the result of a lookup by one position costs one instruction here, and loading the
  // bytes again from the next position costs four. So each result belongs to the position where a
  // fingerprint ends, and the lookups of the bytes before it are kept from vector to vector.
  uint8x16_t before0 = vdupq_n_u8(0);
  uint8x16_t before01 = vdupq_n_u8(0);
  const auto triggersEndingAt = [&](const std::uint8_t* at) __attribute__((always_inline)) {
    const uint8x16_t byte = vld1q_u8(at);
    const uint8x16_t lower = vandq_u8(byte, half);
    const uint8x16_t upper = vshrq_n_u8(byte, 4);
    const uint8x16_t byte0 = vandq_u8(vqtbl1q_u8(low0, lower), vqtbl1q_u8(high0, upper));
    const uint8x16_t byte1 = vandq_u8(vqtbl1q_u8(low1, lower), vqtbl1q_u8(high1, upper));
    const uint8x16_t byte2 = vandq_u8(vqtbl1q_u8(low2, lower), vqtbl1q_u8(high2, upper));
    const uint8x16_t byte01 = vandq_u8(vextq_u8(before0, byte0, kVector - 1), byte1);
    const uint8x16_t all = vandq_u8(vextq_u8(before01, byte01, kVector - 1), byte2);
    before0 = byte0;
    before01 = byte01;
    return all;
  };

  const auto* const data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  std::size_t at = 0;
  for (; at + kBlock <= bytes.size(); at += kBlock) {
    const uint8x16_t first = triggersEndingAt(data + at);
    const uint8x16_t second = triggersEndingAt(data + at + kVector);
    const uint8x16_t third = triggersEndingAt(data + at + 2 * kVector);
    const uint8x16_t fourth = triggersEndingAt(data + at + 3 * kVector);
    const uint8x16_t any = vorrq_u8(vorrq_u8(first, second), vorrq_u8(third, fourth));
    if (vmaxvq_u32(vreinterpretq_u32_u8(any)) == 0) [[likely]]
      continue;
    Positions positions;
    vst1q_u8(positions.data(), first);
    vst1q_u8(positions.data() + kVector, second);
    vst1q_u8(positions.data() + 2 * kVector, third);
    vst1q_u8(positions.data() + 3 * kVector, fourth);
    // Converts the positions of ends to those of starts. The first two positions of all bytes are
    // never an end.
    const std::size_t found = confirmBlock(bytes, at - (kFingerprint - 1), positions, wanted);
    if (found != bytes.npos) return found;
  }
  return findInRest(bytes, at, wanted);
}

#endif

}  // namespace jobshaper

#endif
