// The search for triggers in a block, and the pieces around them. Whole jobs are compared with the
// reference implementation in tests/reference/.
#include <random>
#include <string>
#include <vector>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "filter/trigger_search.h"
#include "platform/piece_reader.h"

namespace jobshaper {
namespace {

using Random = std::mt19937;

std::size_t below(Random& random, std::size_t limit) { return random() % limit; }

std::size_t firstTrigger(std::string_view bytes, TriggerSet wanted) {
  std::size_t first = std::string_view::npos;
  for (std::size_t i = 0; i < kTriggers.size(); ++i) {
    if (wanted >> i & 1U) first = std::min(first, bytes.find(kTriggers[i].text));
  }
  return first;
}

TEST(TriggerSearch, FindsTheFirstWantedTriggerAmongPartsOfOthers) {
  Random random(3);
  for (int round = 0; round < 20000; ++round) {
    std::string job(below(random, 40), '.');
    for (std::size_t n = below(random, 20); n > 0; --n) {
      const auto& [text, fingerprint] = kTriggers[below(random, kTriggers.size())];
      const std::string_view parts[] = {text, fingerprint, text.substr(1),
                                        text.substr(0, below(random, text.size()))};
      const std::size_t part = below(random, std::size(parts) + 1);
      if (part < std::size(parts)) {
        job += parts[part];
      } else {
        job += static_cast<char>(below(random, 256));
        job.append(below(random, 80), static_cast<char>(0x80 | text[0]));
      }
    }
    const auto wanted = static_cast<TriggerSet>(random() & random());
    for (const auto& [name, find] : triggerSearches()) {
      ASSERT_EQ(find(job, wanted), firstTrigger(job, wanted)) << name << ": " << job;
    }
  }
}

// What the processor says of itself, read in another way than the compiler's.
bool processorHasAvx2() {
#if defined(__x86_64__)
  unsigned a = 0, b = 0, c = 0, d = 0;
  const bool systemSavesVectors = __get_cpuid(1, &a, &b, &c, &d) && (c & bit_OSXSAVE) != 0;
  return systemSavesVectors && __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_AVX2) != 0;
#else
  return false;
#endif
}

TEST(TriggerSearch, IsTheFastestThatTheProcessorCanRun) {
  std::vector<std::string> expected = {"plain"};
  if (processorHasAvx2()) expected.insert(expected.begin(), "AVX2");
#if defined(__aarch64__)
  expected.insert(expected.begin(), "NEON");
#endif
  std::vector<std::string> names;
  for (const auto& [name, find] : triggerSearches()) names.emplace_back(name);
  EXPECT_EQ(names, expected);
}

TEST(Pieces, AreFoundAroundEveryByte) {
  const std::string job =
      "one\r\ntwo\n\n" + std::string(2500, 'x') + "\r" + std::string(1024, 'y') + "\nlast";
  for (std::size_t begin = 0; begin < job.size();) {
    const std::string_view piece = firstPiece(std::string_view(job).substr(begin));
    for (std::size_t at = begin; at < begin + piece.size(); ++at) {
      const std::string_view found = pieceAround(job, at);
      EXPECT_EQ(found.data() - job.data(), begin) << at;
      EXPECT_EQ(found, piece) << at;
    }
    begin += piece.size();
  }
}

}  // namespace
}  // namespace jobshaper
