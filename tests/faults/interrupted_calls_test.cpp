// System calls that a signal interrupts, or that read or write less than they could, do not lose or
// duplicate a byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

// Runs the job normally and with every call interrupted, and compares outcomes and captures. The
// named calls must be among those that were interrupted.
void expectTheSame(Job job, const std::vector<std::string>& calls) {
  const Outcome plain = job.run();
  EXPECT_EQ(plain.exitStatus, 0);
  const std::string in = readFile(job.tmpFile("qvn_ps"));
  const std::string out = readFile(job.tmpFile("qvn_ps2"));
  EXPECT_TRUE(out == plain.out);

  const TemporaryDirectory directory;
  job.preload("interrupting_calls").env("INTERRUPTED_CALLS", directory.file("calls"));
  const Outcome outcome = job.run();
  EXPECT_TRUE(outcome.out == plain.out);
  EXPECT_EQ(outcome.err, plain.err);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(outcome.signal, 0);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == in);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == out);

  std::istringstream report(readFile(directory.file("calls")));
  std::string name;
  unsigned count = 0;
  while (report >> name >> count) {
    const bool expected = std::find(calls.begin(), calls.end(), name) != calls.end();
    EXPECT_GE(count, expected ? 2U : 0U) << name;
  }
  EXPECT_EQ(name, "pselect");
}

std::string lines(int count) {
  std::string text = "%!PS\n@PJL EOJ\n";
  for (int i = 0; i < count; ++i) text += "0 0 moveto (" + std::to_string(i) + ") show\r\n";
  return text + bytes("zero\0byte\nlast");
}

TEST(InterruptedCalls, LoseNothingOfAPlainJob) {
  Job job;
  job.capture().log(7).ppd("*QVGeneric: Color\n").input(lines(300));
  expectTheSame(job, {"open", "read", "writev", "fchmod", "pselect"});
}

// Large blocks that no rule touches go from pipe to pipe.
TEST(InterruptedCalls, LoseNothingOfForwardedBlocks) {
  Job job;
  job.capture().env("FEW_BYTES", "9973").input(lines(50000));
  expectTheSame(job, {"read", "writev", "tee", "splice", "pselect"});
}

TEST(InterruptedCalls, LoseNothingOfALongCapture) {
  Job job;
  job.capture().env("FEW_BYTES", "97").input(lines(50000));
  expectTheSame(job, {"fallocate", "ftruncate"});
}

TEST(InterruptedCalls, LoseNothingOfAFoldedBooklet) {
  const TemporaryDirectory directory;
  writeFile(directory.file("count"), "          12\n");
  Job job;
  job.capture().options(
      "QVBookletFold=BiFold QVBookletCoverSource=Tray2 "
      "QVBookletPageCountFilename='" +
      directory.file("count") + "'");
  std::string text = "*QVBookletFold\nold\nstatusdict /duplexer get exec\n";
  for (int page = 1; page <= 12; ++page) text += "%%Page: " + std::to_string(page) + "\nx\n";
  expectTheSame(job.input(text), {"open", "read", "writev", "pselect"});
}

TEST(InterruptedCalls, LoseNothingOfAManualBooklet) {
  const TemporaryDirectory directory;
  writeFile(directory.file("en.lproj/instruction(null)"), lines(20));
  Job job = manualJob(join(kTop, pages("12345678"), kTrailer));
  job.version("0x1049").env("JOBSHAPER_INSTRUCTIONS", directory.path()).env("LANG", "en").capture();
  expectTheSame(job, {"open", "read", "pread", "pwrite", "writev", "fchmod", "pselect"});
}

TEST(InterruptedCalls, LoseNothingOfALongFeature) {
  std::string feature = "*PageSize A4\n";
  for (int i = 0; i < 30000; ++i) feature += "% line " + std::to_string(i) + "\n";
  Job job;
  job.capture()
      .env("FEW_BYTES", "29")
      .fileWith(feature + "*InputSlot\ncleartomark\n*InputSlot\ncleartomark\n");
  expectTheSame(job, {"pread"});
}

}  // namespace
}  // namespace jobshaper::testing
