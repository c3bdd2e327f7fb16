// Files that can be opened but not read to their end, or not closed without an error. No job is
// printed in part with status 0, except that a read error counts as the end of an ordinary job.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/traced_run.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCannotRead = "ERROR: Cannot read the print job.\n";

class ReadFault : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string obstacle = TracedRun::obstacle(); !obstacle.empty())
      GTEST_SKIP() << obstacle;
  }
};

// Makes the nth read of a file fail that was opened under this name with these flags.
void failRead(TracedRun& run, std::string_view name, unsigned mode, int nth) {
  const auto file = std::make_shared<long long>(-1);
  run.before = [file, nth, reads = 0](const SystemCall& call) mutable {
    if (*file < 0 || static_cast<long long>(call.arguments[0]) != *file) return 0;
    if (call.number == SYS_close) *file = -1;
    const bool isRead = call.number == SYS_read || call.number == SYS_pread64;
    return isRead && ++reads == nth ? EIO : 0;
  };
  run.after = [file, &run, name, mode](const SystemCall& call) {
    if (call.number != SYS_openat || (call.arguments[2] & O_ACCMODE) != mode) return;
    if (fs::path(run.pathOf(call)).filename().string().starts_with(name)) *file = call.result;
  };
}

// The first byte of this file cannot be read.
TEST(ManualBookletReadFault, OfTheJobFailsIt) {
  Job job = manualJob("");
  job.file("/proc/self/mem");
  expectOutcome(job.run(), "", join(threeTmpLines(job), kCannotRead, kFatal), 1);
}

TEST_F(ReadFault, OfTheReorderedJobFailsTheBooklet) {
  const Job job = manualJob("");
  TracedRun run(job);
  failRead(run, "qvn_manualPS", O_RDONLY, 1);
  expectOutcome(run.run(join(kTop, pages("1234"))), join(plainHeader(), trailer()),
                join(threeTmpLines(job), kCannotRead), 1);
  expectNoManualFiles(job);
}

// A quota or a file server may report only at close() that there was no space.
TEST_F(ReadFault, OfAClosingFileFailsTheBooklet) {
  const std::string text = join(kTop, pages("123456"));
  int closed = 0;
  for (int nth = 1; nth == 1 || closed >= nth; ++nth) {
    const Job job = manualJob("");
    TracedRun run(job);
    std::set<long long> written;
    closed = 0;
    run.before = [&](const SystemCall& call) {
      const auto file = static_cast<long long>(call.arguments[0]);
      if (call.number != SYS_close || written.erase(file) == 0) return 0;
      return ++closed == nth ? EDQUOT : 0;
    };
    run.after = [&](const SystemCall& call) {
      if (call.number == SYS_openat && (call.arguments[2] & O_ACCMODE) == O_RDWR &&
          call.result >= 0)
        written.insert(call.result);
    };
    const Outcome outcome = run.run(text);
    if (closed < nth) {
      EXPECT_EQ(outcome.exitStatus, 0);
      break;
    }
    EXPECT_EQ(outcome.out, "") << nth;
    EXPECT_TRUE(outcome.err.starts_with(join(threeTmpLines(job), kNoFile))) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
    EXPECT_EQ(outcome.exitStatus, 1) << nth;
  }
  EXPECT_GT(closed, 6);
}

TEST_F(ReadFault, OfAnInstructionPageOmitsThePage) {
  const TemporaryDirectory pages;
  std::string page;
  while (page.size() < 10000) page += "0 0 moveto (turn the stack over) show\n";
  writeFile(pages.file("en.lproj/instruction(null)"), page);
  Job job = manualJob("");
  job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", pages.path()).env("LANG", "en");
  const auto printed = [&](std::string_view instruction) {
    return join(plainHeader(), kTop, kFirstPass, kInstruction, instruction, kPage1, kSecondPass,
                kBlank, trailer());
  };
  for (int nth = 1; nth <= 3; ++nth) {
    TracedRun run(job);
    failRead(run, "instruction(null)", O_RDONLY, nth);
    const Outcome outcome = run.run(join(kTop, kPage1));
    if (outcome.err == threeTmpLines(job)) {
      EXPECT_GT(nth, 1);
      expectOutcome(outcome, printed(page), threeTmpLines(job));
    } else {
      expectOutcome(outcome, printed(""), join(threeTmpLines(job), kNoInstruction));
    }
  }
}

// The rest of the feature is in a file, which is read in parts of 64 KiB.
TEST_F(ReadFault, OfARepeatedFeatureClosesItAndIsReported) {
  std::string feature = "*PageSize A4\n";
  while (feature.size() < 450000) feature += "% line " + std::to_string(feature.size()) + "\n";
  Job job;
  job.fileWith(feature + "*InputSlot\ncleartomark\nx\n*InputSlot\ncleartomark\n");
  TracedRun run(job);
  failRead(run, "qvn_", O_RDWR, 2);
  const Outcome outcome = run.run("");
  const std::string start = join(plainHeader(), feature, "*InputSlot\ncleartomark\n", "[{\n");
  ASSERT_TRUE(outcome.out.starts_with(start));
  const std::string repeated = outcome.out.substr(start.size());
  const std::string end =
      join("\n} stopped cleartomark\n", "x\n*InputSlot\ncleartomark\n", trailer());
  ASSERT_TRUE(repeated.ends_with(end));
  const std::string part = repeated.substr(0, repeated.size() - end.size());
  EXPECT_GT(part.size(), 300000U);
  EXPECT_LT(part.size(), feature.size());
  EXPECT_TRUE(feature.starts_with(part));
  EXPECT_EQ(outcome.err,
            join(tmpLines(job), "ERROR: Cannot read back the page size; it is not repeated.\n"));
  EXPECT_EQ(outcome.exitStatus, 0);
}

}  // namespace
}  // namespace jobshaper::testing
