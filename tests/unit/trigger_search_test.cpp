// The search for triggers in a block, and the pieces around them. Whole jobs are compared with the
// reference implementation in tests/reference/.
#include <gtest/gtest.h>

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

TEST(TriggerSearch, FindsEveryTriggerAtEveryPlace) {
  for (const auto& [name, find] : triggerSearches()) {
    for (std::size_t i = 0; i < kTriggers.size(); ++i) {
      const std::string_view text = kTriggers[i].text;
      const TriggerSet set = TriggerSet{1} << i;
      for (std::size_t before = 0; before < 140; ++before) {
        for (const std::size_t after : {0U, 1U, 2U, 3U, 4U, 70U, 140U}) {
          const std::string job =
              std::string(before, '.') + std::string(text) + std::string(after, '.');
          EXPECT_EQ(find(job, set), before) << name << ": " << job;
          EXPECT_EQ(find(job, kEveryTrigger), before) << name << ": " << job;
          EXPECT_EQ(find(job, ~set), std::string::npos) << name << ": " << job;
          EXPECT_EQ(find(job.substr(0, before + text.size() - 1), set), std::string::npos)
              << name << ": " << job;
        }
      }
    }
  }
}

TEST(TriggerSearch, FindsTheFirstOfSeveralAndOnlyWantedOnes) {
  const std::string job = "xx InputSlot sfcl{ @PJL ";
  for (const auto& [name, find] : triggerSearches()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(find(job, kEveryTrigger), 3U);
    EXPECT_EQ(find(job, triggerSet(triggers::kSfcl) | triggerSet(triggers::kPjl)), 13U);
    EXPECT_EQ(find(job, triggerSet(triggers::kPjl)), 19U);
    EXPECT_EQ(find(job, triggerSet(triggers::kJobPatch)), std::string::npos);
    EXPECT_EQ(find(job, 0), std::string::npos);
    EXPECT_EQ(find("", kEveryTrigger), std::string::npos);
  }
}

TEST(TriggerSearch, IsNotMisledByPartsOfTriggers) {
  Random random(3);
  for (int round = 0; round < 20000; ++round) {
    std::string job(below(random, 40), '.');
    for (std::size_t n = below(random, 20); n > 0; --n) {
      const auto& [text, fingerprint] = kTriggers[below(random, kTriggers.size())];
      switch (below(random, 5)) {
        case 0:
          job += text;
          break;
        case 1:
          job += fingerprint;
          break;
        case 2:
          job += text.substr(0, below(random, text.size()));
          break;
        case 3:
          job += text.substr(1);
          break;
        default:
          job += static_cast<char>(below(random, 256));
          job.append(below(random, 80), static_cast<char>(0x80 | text[0]));
      }
    }
    const auto wanted = static_cast<TriggerSet>(random());
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

// Every text that a rule knows, what comes close to one, and what lies between.
std::string randomJob(Random& random) {
  static const std::vector<std::string> parts = [] {
    std::vector<std::string> all;
    all.reserve(2 * kTriggers.size());
    for (const Trigger& trigger : kTriggers) all.emplace_back(trigger.text);
    for (const char* text :
         {"cleartomark", "} stopped cleartomark", "}efcl", "EndFeature", "%%EndFeature",
          "statusdict /duplexer get exec", "%%EndSetup", "[{", "@PJL", "sfcl", "%%BeginProlo",
          "*PageSiz", "nputSlot", " ", "x", "moveto 12 34", "\x1b%-1234"}) {
      all.emplace_back(text);
    }
    return all;
  }();
  static const std::string ends[] = {"\n", "\r", "\r\n"};
  std::string job;
  const std::size_t style = below(random, 4);
  // A few jobs are longer than a block.
  const std::size_t longest = below(random, 500) == 0 ? 5000 : 60;
  for (std::size_t lines = below(random, longest); lines > 0; --lines) {
    for (std::size_t n = below(random, 4); n > 0; --n) job += parts[below(random, parts.size())];
    const std::size_t odd = below(random, 24);
    if (odd == 0) job += '\0';
    if (odd == 1) job.append(1000 + below(random, 50), 'y');
    if (odd == 2) job.append(below(random, 3000), 'z');
    if (odd == 3) job += parts[below(random, parts.size())];
    job += ends[style < 3 ? style : below(random, 3)];
  }
  if (below(random, 2)) job += parts[below(random, parts.size())];
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
