// A second process changes what is at a path at the moment at which the filter uses it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/traced_run.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kText = "%!PS\nshowpage\n";
constexpr std::string_view kPrivate = "somebody else's\n";

class Race : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string obstacle = TracedRun::obstacle(); !obstacle.empty())
      GTEST_SKIP() << obstacle;
  }
};

// Whether the call opens a file of this name.
bool opens(const TracedRun& run, const SystemCall& call, std::string_view name) {
  return call.number == SYS_openat && fs::path(run.pathOf(call)).filename() == name;
}

// Only while the filter opens the file, its name is that of a private file.
TEST_F(Race, OfASecondNameDoesNotReachAnotherFile) {
  const struct {
    const char* name;
    Job job;
  } rows[] = {{"qvn_ps", Job().capture()},        {"qvn_ps2", Job().capture()},
              {"debug.log", Job().log(7)},        {"qvn_manualPS42", manualJob("")},
              {"pageReOrdered42", manualJob("")}, {"pageEven42", manualJob("")},
              {"newEvenOrder42", manualJob("")},  {"newOddOrder42", manualJob("")}};
  for (const auto& row : rows) {
    const char* const name = row.name;
    const Job& job = row.job;
    SCOPED_TRACE(name);
    const TemporaryDirectory outside;
    const std::string other = outside.file("private");
    writeFile(other, kPrivate);
    fs::permissions(other, fs::perms(0600));
    const std::string path = job.tmpFile(name);
    if (job.tmpFile("debug.log") == path) writeFile(path, "");
    TracedRun run(job);
    bool swapped = false;
    run.before = [&](const SystemCall& call) {
      if (opens(run, call, name)) {
        fs::remove(path);
        fs::create_hard_link(other, path);
        swapped = true;
      }
      return 0;
    };
    run.after = [&](const SystemCall& call) {
      if (opens(run, call, name)) fs::remove(path);
    };
    const Outcome outcome = run.run(join(kTop, pages("123456")));
    EXPECT_TRUE(swapped);
    EXPECT_FALSE(run.hung());
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(readFile(other), kPrivate);
    struct stat status {};
    EXPECT_EQ(stat(other.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
  }
}

// Between the check and the opening of the file, another file takes its place.
TEST_F(Race, AfterTheExaminationOfAPageCountIsLost) {
  const TemporaryDirectory outside;
  const std::string path = outside.file("count");
  writeFile(path, "4");
  writeFile(outside.file("other"), "4");
  Job job;
  job.options("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletPageCountFilename='" +
              path + "'");
  TracedRun run(job);
  run.before = [&](const SystemCall& call) {
    if (opens(run, call, "count")) fs::rename(outside.file("other"), path);
    return 0;
  };
  expectOutcome(run.run("%%Page: 1 1\n"), join(plainHeader(), "%%Page: 1 1\n", trailer()),
                tmpLines(job));
}

// A cancellation at any time before the process has ended must end it by the signal.
TEST_F(Race, OfACancellationWithTheEndIsNeverSuccess) {
  Job job;
  job.log(1);
  const std::string out = join(plainHeader(), kText, trailer());
  int lastWrite = 0;
  TracedRun plain(job);
  plain.before = [&](const SystemCall& call) {
    if (call.number == SYS_writev && call.arguments[0] == 1) lastWrite = call.index;
    return 0;
  };
  expectOutcome(plain.run(kText), out, tmpLines(job));
  ASSERT_GT(plain.calls(), lastWrite + 3);
  for (int index = lastWrite + 1; index < plain.calls() - 1; ++index) {  // the last one is exit
    TracedRun run(job);
    run.before = [&](const SystemCall& call) {
      if (call.index == index) kill(run.pid(), SIGTERM);
      return 0;
    };
    const Outcome outcome = run.run(kText);
    EXPECT_EQ(outcome.signal, SIGTERM) << index;
    EXPECT_EQ(outcome.out, out);
  }
}

}  // namespace
}  // namespace jobshaper::testing
