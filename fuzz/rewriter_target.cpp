// The rules of the line loop: with the search for triggers, the output and the messages must be the
// same as without it, however the reads divide the job.
//
// Input: four settings (options, booklet, page count, cuts), then the job.

#include <sys/ioctl.h>
#include <unistd.h>

#include <utility>

#include "filter/stream_rewriter.h"
#include "fuzz/process_file.h"
#include "fuzz/support.h"
#include "platform/descriptor.h"
#include "platform/piece_reader.h"
#include "platform/system.h"
#include "settings/option_names.h"

using namespace jobshaper;
using namespace jobshaper::fuzz;

namespace {

void setOptions(JobState& job, unsigned settings) {
  static constexpr std::int32_t kVersions[] = {0x1050, 0x103F};
  static constexpr const char* kModes[] = {"", "JRVerify", "JRPrinter", "jrverify"};
  job.uelString = kUniversalExitLanguage;
  version = kVersions[settings & 1];
  if (const unsigned mode = settings >> 1 & 3) job.printTo = kModes[mode];
  if (settings & 8) job.jobOptions.addOption("QVPosterEnablePS", "True");
  if (settings & 16) job.jobOptions.addOption(kCollateOption, "true");
  if (settings & 32) job.jobOptions.addOption(kCopiesOption, "3");
}

void setBooklet(JobState& job, unsigned settings, unsigned pageCount) {
  static constexpr std::string_view kFolds[] = {"", "<< /Fold 2 >> setpagedevice"};
  static constexpr std::string_view kSources[] = {"", "Tray2", "ManualPaper", "Other"};
  job.bookletMode = settings & 1;
  job.manualBooklet = (settings & 3) == 3;
  job.onlyInside = settings & 4;
  job.foldCommand = kFolds[settings >> 3 & 1];
  if (const unsigned source = settings >> 4 & 3) {
    job.jobOptions.addOption("QVBookletCoverSource", kSources[source]);
    job.jobOptions.addOption("QVBookletCoverType", pageCount & 1 ? "Card" : "Printers");
  }
  job.halfPageCount = static_cast<std::int32_t>(pageCount >> 1) - 1;
  job.instructionDirectory = "/nonexistent";
  job.languageCode = "en";
}

struct Destination {
  ProcessFile out, in, copy;
  JobOutput output(bool capture) {
    return {out.descriptor(), capture ? in.descriptor() : -1, capture ? copy.descriptor() : -1};
  }
};

// Returns a number from 1 to `limit`, a different one at each call.
std::size_t atMost(std::size_t limit, unsigned& random) {
  random = random * 1103515245U + 12345U;
  return 1 + (random >> 8) % limit;
}

// Compares all ways to search, for any set of triggers.
void compareSearches(std::string_view job, unsigned random) {
  const auto wanted = static_cast<TriggerSet>(atMost(0xFFFF, random));
  const auto searches = triggerSearches();
  const std::size_t reference = searches.back().find(job, wanted);
  for (const TriggerSearch& search : searches) FUZZ_CHECK(search.find(job, wanted) == reference);
}

void runPlain(StreamRewriter& rewriter, std::string_view job) {
  while (!job.empty()) {
    const std::string_view piece = firstPiece(job);
    rewriter.handle(piece);
    job.remove_prefix(piece.size());
  }
}

// A file that grows before each read.
void runReads(StreamRewriter& rewriter, JobOutput& output, std::string_view job, unsigned random) {
  static ProcessFile file;
  PipeTap tap(file.descriptor(), -1);
  PieceReader input(tap, atMost(2 * kLongestPiece, random));
  for (;;) {
    const std::size_t next = std::min(atMost(job.size() + 1, random), job.size());
    file.append(job.substr(0, next));
    job.remove_prefix(next);
    const auto block = input.next();
    if (!block) break;
    FUZZ_CHECK(rewriter.handleAll(block->pieces));
    output.flush(*block);
  }
  FUZZ_CHECK(job.empty());
  file.take();
}

// Pipes hold as much. Longer jobs are not sent through them.
constexpr std::size_t kMostPiped = 32 * 1024;

// Pipes, one of which grows before each read, while the other is emptied after each block.
std::string runPipes(const JobState& state, std::string_view job, unsigned random) {
  int in[2], out[2];
  FUZZ_CHECK(::pipe(in) == 0 && ::pipe(out) == 0);
  std::string written;
  char buffer[kMostPiped];
  {
    JobOutput output(out[1], -1, -1, in[0]);
    StreamRewriter rewriter(state, output);
    PieceReader input(output.tap(), atMost(2 * kLongestPiece, random));
    for (bool open = true;;) {
      const std::size_t next = std::min(atMost(job.size() + 1, random), job.size());
      if (next > 0) {
        FUZZ_CHECK(::write(in[1], job.data(), next) == static_cast<ssize_t>(next));
        job.remove_prefix(next);
      }
      if (job.empty() && std::exchange(open, false)) ::close(in[1]);
      const auto block = input.next();
      if (!block) break;
      FUZZ_CHECK(rewriter.handleAll(block->pieces));
      output.flush(*block);
      int waiting = 0;
      FUZZ_CHECK(::ioctl(out[0], FIONREAD, &waiting) == 0);
      if (waiting > 0)
        written.append(buffer, readFully(out[0], buffer, static_cast<std::size_t>(waiting)));
    }
  }
  FUZZ_CHECK(job.empty());
  ::close(in[0]);
  ::close(out[1]);
  written.append(buffer, readFully(out[0], buffer, sizeof buffer));
  ::close(out[0]);
  return written;
}

// What a read brings, in memory: any number of whole pieces.
void runRegions(StreamRewriter& rewriter, JobOutput& output, std::string_view job,
                unsigned random) {
  while (!job.empty()) {
    const std::size_t wanted = atMost(job.size(), random);
    std::size_t region = 0;
    while (region < wanted) region += firstPiece(job.substr(region)).size();
    FUZZ_CHECK(rewriter.handleAll(job.substr(0, region)));
    output.flush();
    job.remove_prefix(region);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Destination plain, fast;
  static MemoryFile messages;
  switchLogOff();
  Input input(data, size);
  JobState state;
  setOptions(state, input.setting());
  const unsigned booklet = input.setting();
  const unsigned pageCount = input.setting();
  setBooklet(state, booklet, pageCount & 15);
  const bool capture = (pageCount & 48) == 16;
  state.additions.countPages = pageCount & 32;
  const unsigned cuts = input.setting();
  const std::string_view job = input.rest();

  compareSearches(job, static_cast<unsigned>(size));

  // The pages of a job that counts them, and that a manual booklet has no instruction page here.
  std::optional<Redirected> redirected;
  if (state.manualBooklet || state.additions.countPages) {
    redirected.emplace(STDERR_FILENO, messages.descriptor());
  }
  {
    JobOutput output = plain.output(capture);
    StreamRewriter rewriter(state, output);
    runPlain(rewriter, job);
    rewriter.finish();
  }
  const std::string expected(messages.take());
  {
    JobOutput output = fast.output(capture);
    StreamRewriter rewriter(state, output);
    if (cuts == 0) {
      FUZZ_CHECK(rewriter.handleAll(job));
    } else if (cuts < 48) {
      runRegions(rewriter, output, job, cuts);
    } else {
      runReads(rewriter, output, job, cuts);
    }
    rewriter.finish();
  }
  FUZZ_CHECK(messages.take() == expected);
  const std::string printed = plain.out.take();
  FUZZ_CHECK(fast.out.take() == printed);
  if (capture) {
    FUZZ_CHECK(fast.in.take() == plain.in.take());
    FUZZ_CHECK(fast.copy.take() == plain.copy.take());
  }
  if (cuts >= 48 && cuts % 4 == 0 && std::max(job.size(), printed.size()) < kMostPiped) {
    FUZZ_CHECK(runPipes(state, job, cuts) == printed);
  }
  messages.take();
  return 0;
}
