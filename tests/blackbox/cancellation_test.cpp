// Jobs of every kind that are canceled: while they wait for input or for the reader of their
// output.
#include <unistd.h>

#include <csignal>
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// Cancels a job, which ends though its input is open. Checks all that it produces.
void expectCanceled(Process& process, std::string_view out, std::string_view err,
                    Where where = Where::here()) {
  process.kill(SIGTERM);
  if (!endsByItself(process)) ADD_FAILURE_AT(where.file, where.line) << "does not end";
  const Outcome outcome = process.finish();
  expectSame(outcome.out, out, "standard output", "the job", where);
  expectSame(outcome.err, err, "standard error", "the job", where);
  if (outcome.signal != SIGTERM) ADD_FAILURE_AT(where.file, where.line) << outcome.signal;
}

// ---- during the reordering

TEST(CanceledReordering, EndsAtOnceWithoutOutputAndKeepsOnlyTheCaptures) {
  for (const std::string& start : {std::string(), join(kTop, pages("1234"), "half a line"),
                                   join(kTop, pages("12"), "%%Trailer\n")}) {
    const Job job = manualJob("").capture();
    Process process(job);
    process.write(start);
    ASSERT_TRUE(sleeps(process)) << start;
    expectCanceled(process, "", join(tmpLines(job), kCaptureOn, reorderingLine(job)));
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")) + readFile(job.tmpFile("qvn_ps2")), "");
    expectNoManualFiles(job);
  }
}

// ---- waiting for input

TEST(CanceledJob, GetsItsTrailerAtOnceAfterTheLineThatIsNotWhole) {
  const std::string fold = join(kTop, "*QVBookletFold\n");
  const std::string rows[][3] = {
      {"", "", ""},
      {"", join(kTop, "@PJL EOJ\n", kPage1, "half a li"), join(kTop, kPage1, "half a li")},
      // Canceled while the code of the fold feature is dropped.
      {"QVBookletFold=SaddleStitch", fold + "old\nold li",
       fold + "\n<< /Fold 2 /Staple 4>> setpagedevice\n"}};
  for (const auto& [options, start, body] : rows) {
    const Job job = Job().options(options).capture();
    Process process(job);
    process.write(start);
    ASSERT_TRUE(sleeps(process)) << start;
    const std::string out = join(plainHeader(), body, trailer());
    expectCanceled(process, out, join(tmpLines(job), kCaptureOn));
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
  }
}

// ---- waiting for the reader of its output

std::string manyLines() {
  std::string result;
  for (int i = 0; i < 40000; ++i) result += "0 0 moveto (some text of the page) show\n";
  return result;  // 1.6 million bytes, far more than all buffers
}

// Cancels a job whose output is blocked. Returns what is between header and trailer, the start of
// `body`.
std::string cutShort(const Job& job, std::string_view body, std::string_view err,
                     Where where = Where::here()) {
  Process process(job);
  EXPECT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  usleep(100000);
  EXPECT_FALSE(hasEnded(process)) << "the trailer must wait for the reader";
  const Outcome outcome = process.finish();
  expectSame(outcome.err, err, "standard error", "the job", where);
  EXPECT_EQ(outcome.signal, SIGTERM);
  const std::size_t around = plainHeader().size() + trailer().size();
  EXPECT_GT(outcome.out.size(), around);
  const std::size_t size = outcome.out.size() - around;
  EXPECT_LT(size, body.size());
  expectSame(outcome.out, join(plainHeader(), body.substr(0, size), trailer()), "standard output",
             "the job", where);
  return std::string(body.substr(0, size));
}

TEST(CanceledOutput, EndsWithAWholeLineAndTheTrailer) {
  const std::string text = manyLines();
  const Job job = Job().fileWith(text);
  EXPECT_EQ(cutShort(job, text, tmpLines(job)).back(), '\n');
}

TEST(CanceledOutput, OfALongLineEndsAtAPiece) {
  const std::string text = join("%!PS\n", std::string(1600000, 'x'));
  const Job job = Job().fileWith(text);
  EXPECT_EQ((cutShort(job, text, tmpLines(job)).size() - 5) % 1024, 0U);
}

// The filter reads as much at once as a pipe holds, and the line begins just before its end.
TEST(CanceledOutput, HasNoPartOfADroppedLine) {
  const std::string before = std::string(256 * 1024 - 4, '\n');
  const Job job = Job().fileWith(join(before, "@PJL EOJ\n", manyLines()));
  cutShort(job, before + "\n", tmpLines(job));
}

TEST(CanceledOutput, OfAManualBookletEndsWithTheTrailerAndRemovesItsFiles) {
  const std::string text = join(kTop, kPage1, manyLines());
  const Job job = manualJob("").fileWith(text);
  cutShort(job, printed(kTop, text.substr(kTop.size()), "", ""),
           join(threeTmpLines(job), kNoInstruction));
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

TEST(CanceledOutput, WithoutAReaderEndsToo) {
  const Job job = manualJob("").fileWith(join(kTop, kPage1, manyLines()));
  Process process(job);
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  process.closeOutput();
  EXPECT_TRUE(endsByItself(process));
  EXPECT_EQ(process.finish().signal, SIGTERM);
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

// ---- cancellation ignored from the start

TEST(IgnoredCancellation, LetsTheJobBePrinted) {
  const sighandler_t before = signal(SIGTERM, SIG_IGN);
  const Job job = manualJob("");
  Process process(job);
  signal(SIGTERM, before);
  process.write(join(kTop, kPage1));
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  process.kill(SIGTERM);
  process.write(kPage2);
  expectOutcome(process.finish(),
                join(plainHeader(), printed(kTop, kPage1, kBlank, kPage2), trailer()),
                join(threeTmpLines(job), kNoInstruction));
}

}  // namespace
}  // namespace jobshaper::testing
