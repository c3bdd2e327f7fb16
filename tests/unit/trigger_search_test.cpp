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
#include "tests/support/pipe.h"

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

// Lines of any length, also around the longest piece, with any line ends.
std::string randomJob(Random& random) {
  static const char* const kEnds[] = {"\n", "\r", "\r\n", ""};
  std::string job;
  for (std::size_t lines = below(random, 60); lines > 0; --lines) {
    const std::size_t lengths[] = {below(random, 30), 1000 + below(random, 50),
                                   below(random, 3000)};
    job.append(lengths[below(random, 8) == 0 ? 1 + below(random, 2) : 0], 'x');
    job += kEnds[below(random, 4)];
  }
  return job;
}

TEST(Pieces, AreFoundAroundEveryByte) {
  Random random(1);
  for (int round = 0; round < 200; ++round) {
    const std::string job = randomJob(random);
    for (std::size_t begin = 0; begin < job.size();) {
      const std::string_view piece = firstPiece(std::string_view(job).substr(begin));
      for (std::size_t at = begin; at < begin + piece.size(); at += 1 + below(random, 50)) {
        const std::string_view found = pieceAround(job, at);
        ASSERT_EQ(found.data(), piece.data()) << at << "\n" << job;
        ASSERT_EQ(found.size(), piece.size()) << at << "\n" << job;
      }
      begin += piece.size();
    }
  }
}

TEST(Pieces, ComeAllAtOnceAsTheyComeOneByOne) {
  Random random(2);
  for (int round = 0; round < 300; ++round) {
    const std::string job = randomJob(random);
    testing::Pipe pipe;
    PipeTap tap(pipe.reading(), -1);
    PieceReader reader(tap, 4096);
    std::string received;
    std::size_t sent = 0, whole = 0;
    while (sent < job.size()) {
      const std::size_t n = std::min(job.size() - sent, 1 + below(random, 2500));
      pipe.put(std::string_view(job).substr(sent, n));
      sent += n;
      const auto block = reader.next();
      ASSERT_TRUE(block);
      received += block->pieces;
      while (whole < sent) {  // the end of the last piece that has come whole
        const std::string_view piece =
            firstPiece(std::string_view(job).substr(whole, sent - whole));
        if (piece.size() < kLongestPiece && !piece.ends_with('\n') && !piece.ends_with('\r')) break;
        whole += piece.size();
      }
      ASSERT_EQ(received.size(), whole);
    }
    pipe.closeWriting();
    while (const auto block = reader.next()) received += block->pieces;
    EXPECT_EQ(received, job);
  }
}

}  // namespace
}  // namespace jobshaper
