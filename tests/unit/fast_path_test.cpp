// The search ahead of the rules against the plain loop, piece by piece, on random jobs made of
// the texts that the rules look for. JOBSHAPER_RANDOM_JOBS sets how many.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

#include "filter/stream_rewriter.h"
#include "filter/trigger_search.h"
#include "platform/piece_reader.h"
#include "platform/system.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::bytes;
using Random = std::mt19937;

std::size_t below(Random& random, std::size_t limit) { return random() % limit; }

TEST(TriggerSearch, FindsEveryTextAtEveryPlace) {
  for (const std::string_view text : kTriggerTexts) {
    for (std::size_t before = 0; before < 9; ++before) {
      for (std::size_t after = 0; after < 5; ++after) {
        const std::string job =
            std::string(before, '.') + std::string(text) + std::string(after, '.');
        EXPECT_EQ(findTrigger(job, triggerSet(text)), before) << job;
        EXPECT_EQ(findTrigger(job.substr(0, before + text.size() - 1), triggerSet(text)),
                  std::string::npos)
            << job;
      }
    }
  }
}

TEST(TriggerSearch, FindsTheFirstOfSeveralAndOnlyWatchedOnes) {
  const std::string job = "xx InputSlot sfcl{ @PJL ";
  const TriggerSet all = 0xFFFF;
  EXPECT_EQ(findTrigger(job, all), 3U);
  EXPECT_EQ(findTrigger(job, triggerSet("sfcl{") | triggerSet("@PJL ")), 13U);
  EXPECT_EQ(findTrigger(job, triggerSet("@PJL ")), 19U);
  EXPECT_EQ(findTrigger(job, triggerSet("JobPatchFile")), std::string::npos);
  EXPECT_EQ(findTrigger(job, 0), std::string::npos);
  EXPECT_EQ(findTrigger("", all), std::string::npos);
}

TEST(TriggerSearch, GivesEveryTextABitOfItsOwn) {
  TriggerSet seen = 0;
  for (const std::string_view text : kTriggerTexts) {
    EXPECT_EQ(seen & triggerSet(text), 0) << text;
    EXPECT_NE(triggerSet(text), 0) << text;
    seen = static_cast<TriggerSet>(seen | triggerSet(text));
  }
  EXPECT_EQ(triggerSet("no trigger"), 0);
}

// What a run wrote, and captured.
struct Written {
  std::string out, in, copy;
  bool operator==(const Written&) const = default;
};

// A file in memory that is emptied for each run.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("written", 0)) {}
  ~MemoryFile() { close(descriptor_); }
  int descriptor() const { return descriptor_; }
  std::string take() {
    std::string text(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(descriptor_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    EXPECT_EQ(ftruncate(descriptor_, 0), 0);
    lseek(descriptor_, 0, SEEK_SET);
    return text;
  }

 private:
  int descriptor_;
};

// Every text that a rule knows, what comes close to one, and what lies between.
std::string randomJob(Random& random) {
  static const std::vector<std::string> parts = [] {
    std::vector<std::string> all(std::begin(kTriggerTexts), std::end(kTriggerTexts));
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
  for (std::size_t lines = below(random, 60); lines > 0; --lines) {
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

void randomOptions(Random& random, JobState& job) {
  static const char* const modes[] = {"JRVerify", "JRPrinter", "jrverify"};
  job.uelString = kUniversalExitLanguage;
  version = below(random, 2) ? 0x103F : 0x1050;
  if (below(random, 2)) job.printTo = modes[below(random, 3)];
  if (below(random, 2)) {
    job.jobOptions.addOption("QVPosterEnablePS", "true");
    job.jobOptions.addOption("com.apple.print.PrintSettings.PMCopyCollate..b.", "true");
  }
  if (below(random, 2)) {
    job.bookletMode = true;
    job.foldCommand = "<< /Fold 2 >> setpagedevice";
    job.halfPageCount = 2;
    job.onlyInside = below(random, 2);
  }
}

TEST(FastPath, WritesWhatThePlainLoopWrites) {
  const char* const wanted = std::getenv("JOBSHAPER_RANDOM_JOBS");
  const unsigned count = wanted ? static_cast<unsigned>(std::atoi(wanted)) : 5000;
  const std::int32_t versionBefore = version;
  MemoryFile out, in, copy;
  for (unsigned seed = 0; seed < count; ++seed) {
    Random random(seed);
    JobState state;
    randomOptions(random, state);
    const std::string job = randomJob(random);
    const auto run = [&](const auto& rewrite) {
      {
        JobOutput output(out.descriptor(), in.descriptor(), copy.descriptor());
        StreamRewriter rewriter(state, output);
        rewrite(rewriter, output);
      }
      return Written{out.take(), in.take(), copy.take()};
    };

    const Written plain = run([&](StreamRewriter& rewriter, JobOutput&) {
      for (std::string_view rest = job; !rest.empty();) {
        const std::string_view piece = firstPiece(rest);
        rewriter.handle(piece);
        rest.remove_prefix(piece.size());
      }
    });
    const Written fast = run([&](StreamRewriter& rewriter, JobOutput& output) {
      for (std::string_view rest = job; !rest.empty();) {
        std::size_t region = 0;  // what one read brings: any number of whole pieces
        for (std::size_t n = 1 + below(random, 40); n > 0 && region < rest.size(); --n) {
          region += firstPiece(rest.substr(region)).size();
        }
        EXPECT_TRUE(rewriter.handleAll(rest.substr(0, region)));
        output.flush();
        rest.remove_prefix(region);
      }
    });
    ASSERT_TRUE(fast == plain) << "seed " << seed << "\n" << job;
  }
  version = versionBefore;
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
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    PieceReader reader(ends[0]);
    std::string received;
    std::size_t sent = 0, whole = 0;
    while (sent < job.size()) {
      const std::size_t n = std::min(job.size() - sent, 1 + below(random, 2500));
      ASSERT_EQ(write(ends[1], job.data() + sent, n), static_cast<ssize_t>(n));
      sent += n;
      ASSERT_TRUE(reader.read());
      received += reader.allPieces();
      while (whole < sent) {  // the end of the last piece that has come whole
        const std::string_view piece =
            firstPiece(std::string_view(job).substr(whole, sent - whole));
        if (piece.size() < kLongestPiece && !piece.ends_with('\n') && !piece.ends_with('\r')) break;
        whole += piece.size();
      }
      ASSERT_EQ(received.size(), whole);
    }
    close(ends[1]);
    EXPECT_FALSE(reader.read());
    received += reader.allPieces();
    EXPECT_EQ(received, job);
    close(ends[0]);
  }
}

}  // namespace
}  // namespace jobshaper
