// The search for triggers in a block, the pieces around them, and which ones are searched for.
// Whole jobs are compared with the reference implementation in tests/reference/.
#include <fcntl.h>

#include <random>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "filter/stream_rewriter.h"
#include "platform/descriptor.h"
#include "platform/piece_reader.h"
#include "platform/system.h"
#include "settings/option_names.h"
#include "tests/support/program.h"

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

// ---- which triggers are searched for: all that can make a rule act, and no others, since every
// superfluous trigger sends lines through the rules that they do not change

using Texts = std::vector<std::string>;

// In the order of the table, as those of a job without options.
const Texts kOfEveryJob = {"\x1b%-12345X", "@PJL ",        "InputSlot",
                           "sfcl{",        "PageRegion",   "CustomPageSize",
                           "*PageSize",    "JobPatchFile", "%%BeginProlog"};

class WantedTriggers : public ::testing::Test {
 protected:
  WantedTriggers() {
    job_.uelString = kUniversalExitLanguage;
    version = 0x1050;
  }
  ~WantedTriggers() override { version = versionBefore_; }

  // No value if every line is wanted.
  std::optional<Texts> after(const Texts& pieces) {
    JobOutput output(nowhere_.get(), -1, -1);
    StreamRewriter rewriter(job_, output);
    for (const std::string& piece : pieces) rewriter.handle(piece);
    const std::optional<TriggerSet> wanted = rewriter.wantedTriggers();
    if (!wanted) return std::nullopt;
    Texts texts;
    for (std::size_t i = 0; i < kTriggers.size(); ++i) {
      if (*wanted >> i & 1U) texts.emplace_back(kTriggers[i].text);
    }
    return texts;
  }

  // After these pieces, those of every job without `fewer` and with `more`.
  void expectWanted(const Texts& pieces, const Texts& fewer, const Texts& more = {},
                    testing::Where where = testing::Where::here()) {
    Texts expected = kOfEveryJob;
    for (const std::string& text : fewer) std::erase(expected, text);
    expected.insert(expected.end(), more.begin(), more.end());
    const ::testing::ScopedTrace trace(where.file, where.line, ::testing::PrintToString(pieces));
    EXPECT_EQ(after(pieces), expected);
  }

  const std::int32_t versionBefore_ = version;
  const Descriptor nowhere_{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  JobState job_;
};

TEST_F(WantedTriggers, LoseThoseOfRulesThatActOnce) {
  expectWanted({"%!PS\n", "%%EndSetup\n", "%%Page: 1 1\n"}, {});
  expectWanted({"sfcl{\n"}, {"sfcl{"});
  expectWanted({"%%BeginProlog\n"}, {"%%BeginProlog"});
  expectWanted({"JobPatchFile\n", "1\n", "2\n"}, {"JobPatchFile"});
  const Texts pageSizes = {"PageRegion", "CustomPageSize", "*PageSize"};
  expectWanted({"*PageSize\n", "EndFeature\n"}, pageSizes);
  // A feature that is repeated while it is being collected is not collected any further.
  expectWanted({"*PageSize\n", "InputSlot cleartomark\n"}, pageSizes);
  expectWanted({"InputSlot\n", "cleartomark\n"}, {});
}

TEST_F(WantedTriggers, AreEveryLineInFeatures) {
  job_.bookletMode = true;
  job_.additions.replacedFeatures = {{"InputSlot Tray5", ""}};
  for (const Texts& pieces : {Texts{"JobPatchFile\n"},
                              {"JobPatchFile\n", "1\n"},
                              {"*PageSize\n", "code\n"},
                              {"InputSlot\n", "code\n"},
                              {"QVBookletFold\n", "code\n"},
                              {"%%BeginFeature: *InputSlot Tray5\n", "cleartomark\n"}}) {
    EXPECT_EQ(after(pieces), std::nullopt) << ::testing::PrintToString(pieces);
  }
}

TEST_F(WantedTriggers, OfABookletAreItsPagesAndFeature) {
  job_.bookletMode = true;
  const Texts more = {"%%Page:", "QVBookletFold"};
  expectWanted({"%%Page: 1 1\n"}, {}, more);
  expectWanted({"QVBookletFold\n", "statusdict /duplexer get exec\n"}, {}, more);
}

TEST_F(WantedTriggers, OfARetainedJobAreItsCopies) {
  job_.printTo = "jrverify";
  expectWanted({}, {});
  job_.printTo = "JRVerify";
  expectWanted({}, {}, {"%RBINumCopies: "});
}

TEST_F(WantedTriggers, OfAPosterOnAnOldSystemAreItsCollation) {
  version = 0x103F;
  job_.jobOptions.addOption("QVPosterEnablePS", "True");
  expectWanted({}, {});
  job_.jobOptions.addOption(kCollateOption, "true");
  expectWanted({}, {}, {"/Collate"});
}

TEST_F(WantedTriggers, OfAQueueAreTheFeaturesThatItReplacesButNotThePagesThatAreOnlyCounted) {
  job_.additions.countPages = true;
  job_.additions.replacedFeatures = {{"InputSlot Tray5", ""}};
  expectWanted({}, {}, {"%%BeginFeature: "});
}

}  // namespace
}  // namespace jobshaper
