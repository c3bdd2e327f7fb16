// Jobs that cannot be completed: manual booklets without space for their temporary
// files, and jobs of every kind that are canceled.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/permissions.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCannotRead = "ERROR: Cannot read the print job.\n";

// ---- files that cannot be created

void expectFailure(const Outcome& outcome, const Job& job) {
  expectOutcome(outcome, "", join(threeTmpLines(job), kNoFile, kFatal), 1);
}

class ManualBookletObstacle : public ::testing::TestWithParam<const char*> {};

TEST_P(ManualBookletObstacle, EndsTheJobBeforeItIsRead) {
  Job job = manualJob("");
  fs::create_directory(job.tmpFile(join(GetParam(), "42")));
  Process process(job.program(), job.argv(), job.environment());
  EXPECT_TRUE(endsByItself(process));
  expectFailure(process.finish(), job);
}

TEST_P(ManualBookletObstacle, LeavesTheFilesThatAreThere) {
  Job job = manualJob(join(kTop, pages("12345")));
  fs::create_directory(job.tmpFile(join(GetParam(), "42")));
  writeFile(job.tmpFile("headerPS42"), "of another run");
  expectFailure(job.run(), job);
  EXPECT_TRUE(fs::is_directory(job.tmpFile(join(GetParam(), "42"))));
  EXPECT_EQ(readFile(job.tmpFile("headerPS42")), "of another run");
}

INSTANTIATE_TEST_SUITE_P(Names, ManualBookletObstacle,
                         ::testing::Values("pageReOrdered", "pageEven", "newEvenOrder",
                                           "newOddOrder", "qvn_manualPS"));

TEST(ManualBookletFault, BlockedHeaderFileIsHarmless) {
  Job job = manualJob(join(kTop, pages("12345")));
  fs::create_directory(job.tmpFile("headerPS42"));
  expectOutcome(job.run(),
                join(plainHeader(), kTop, kFirstPass, kInstruction, pages("135"), kSecondPass,
                     kBlank, pages("42"), trailer()),
                join(threeTmpLines(job), kNoInstruction));
}

TEST(ManualBookletFault, TemporaryDirectoryIsMissing) {
  Job job = manualJob(join(kTop, pages("12345")));
  job.env("TMPDIR", job.tmpFile("no such directory"));
  expectFailure(job.run(), job);
  EXPECT_FALSE(fs::exists(job.tmpFile("no such directory")));
}

TEST(ManualBookletFault, TemporaryDirectoryIsAFile) {
  Job job = manualJob(join(kTop, pages("12345")));
  writeFile(job.tmpFile("file"), "");
  job.env("TMPDIR", job.tmpFile("file"));
  expectFailure(job.run(), job);
}

TEST(ManualBookletFault, TemporaryDirectoryIsReadOnly) {
  Job job = manualJob(join(kTop, pages("12345")));
  fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  expectFailure(job.run(obeyPermissions), job);
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

TEST(ManualBookletFault, JobIdHoldsASlash) {
  for (const char* id : {"a/b", "/b", "/../b", "a/../b"}) {
    Job job = manualJob(join(kTop, pages("12345")));
    job.jobId(id);
    // With these directories the names would lead to files.
    for (const char* name : kManualFiles) {
      fs::create_directory(job.tmpFile(join(name, "a")));
      fs::create_directory(job.tmpFile(name));
    }
    expectFailure(job.run(), job);
    for (const auto& entry : fs::recursive_directory_iterator(job.tmp())) {
      EXPECT_TRUE(entry.is_directory()) << entry.path();
    }
  }
}

TEST(ManualBookletFault, DoesNotAffectPlainJobsAndPrinterMadeBooklets) {
  for (const char* options : {"", "QVBookletFold=Booklet"}) {
    Job job;
    job.jobId("a/b").env("TMPDIR", job.tmpFile("no such directory"));
    job.options(options).input(std::string(kTop));
    expectOutcome(job.run(), join(plainHeader(), kTop, trailer()), tmpLines(job));
  }
}

TEST(ManualBookletFault, LeavesEmptyCaptures) {
  Job job = manualJob(join(kTop, pages("12345")));
  job.capture();
  fs::create_directory(job.tmpFile("pageEven42"));
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectOutcome(job.run(), "", join(line, line, kCaptureOn, line, kNoFile, kFatal), 1);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), "");
}

// ---- files that fail later

// A reordering that has taken this much of its job and waits for more.
class WaitingReordering {
 public:
  explicit WaitingReordering(std::string_view start) : WaitingReordering(manualJob(""), start) {}
  WaitingReordering(Job job, std::string_view start)
      : job_(std::move(job)), process_(job_.program(), job_.argv(), job_.environment()) {
    process_.write(start);
  }

  std::string file(std::string_view name) const { return job_.tmpFile(join(name, "42")); }
  const Job& job() const { return job_; }
  Process& process() { return process_; }

 private:
  Job job_;
  Process process_;
};

// Every line is in its file before the next one is waited for.
TEST(ManualBookletFiles, HoldEveryLineWhileTheJobWaits) {
  WaitingReordering run(kTop);
  const auto expectSideFiles = [&](std::string_view odd, std::string_view even) {
    EXPECT_TRUE(sleeps(run.process()));
    EXPECT_EQ(readFile(run.file("pageReOrdered")), odd);
    EXPECT_EQ(readFile(run.file("pageEven")), even);
  };
  expectSideFiles(kTop, "");
  run.process().write("%%Page: 1 1\nhalf a li");
  expectSideFiles(join(kTop, kFirstPass, "%%Page: 1 1\n"), "");
  run.process().write("ne\n%%Page: 2 2\n");
  expectSideFiles(join(kTop, kFirstPass, "%%Page: 1 1\nhalf a line\n"), "%%Page: 2 2\n");
  run.process().write("%%Page: 3 3\n%%Page: 4 4\nx\n");
  expectSideFiles(join(kTop, kFirstPass, "%%Page: 1 1\nhalf a line\n%%Page: 3 3\n"),
                  "%%Page: 4 4\nx\n");
  EXPECT_EQ(readFile(run.file("newEvenOrder")), "%%Page: 2 2\n");
  EXPECT_EQ(readFile(run.file("newOddOrder")), "");
  EXPECT_FALSE(fs::exists(run.file("headerPS")));
  EXPECT_EQ(run.process().finish().exitStatus, 0);
  expectNoManualFiles(run.job());
}

TEST(ManualBookletFault, SideFileCannotBeReopened) {
  WaitingReordering run(join(kTop, pages("123")));
  ASSERT_TRUE(sleeps(run.process()));
  fs::remove(run.file("pageEven"));
  fs::create_directory(run.file("pageEven"));
  run.process().write(pages("45"));
  expectOutcome(run.process().finish(), "",
                join(threeTmpLines(run.job()), kNoFile, kNoRearranging, kFatal), 1);
  EXPECT_EQ(readFile(run.file("pageReOrdered")), join(kTop, kFirstPass, pages("13")));
  for (const char* name : {"qvn_manualPS", "newEvenOrder", "newOddOrder"}) {
    EXPECT_TRUE(fs::is_regular_file(run.file(name))) << name;
  }
}

TEST(ManualBookletFault, ReversedFileCannotBeReopened) {
  WaitingReordering run(join(kTop, pages("12345")));
  ASSERT_TRUE(sleeps(run.process()));
  fs::remove(run.file("newEvenOrder"));
  fs::create_directory(run.file("newEvenOrder"));
  run.process().write(pages("67"));
  expectOutcome(run.process().finish(), "",
                join(threeTmpLines(run.job()), kNoFile, kNoRearranging, kFatal), 1);
  EXPECT_TRUE(fs::is_regular_file(run.file("pageReOrdered")));
  EXPECT_TRUE(fs::is_regular_file(run.file("pageEven")));
  EXPECT_TRUE(fs::is_regular_file(run.file("qvn_manualPS")));
}

TEST(ManualBookletFault, FilesCannotBeReadAtTheEnd) {
  for (const char* name : {"pageReOrdered", "pageEven"}) {
    WaitingReordering run(join(kTop, pages("12")));
    ASSERT_TRUE(sleeps(run.process()));
    fs::remove(run.file(name));
    fs::create_directory(run.file(name));
    expectFailure(run.process().finish(), run.job());
  }
}

TEST(ManualBookletFault, ReorderedFileCannotBeOpened) {
  WaitingReordering run(join(kTop, pages("12")));
  ASSERT_TRUE(sleeps(run.process()));
  fs::remove(run.file("qvn_manualPS"));
  expectOutcome(run.process().finish(), "", join(threeTmpLines(run.job()), kCannotRead), 1);
}

// ---- no space

Outcome runWithLimit(const Job& job, rlim_t size) {
  const FileSizeLimit limit(size);
  return job.run();
}

// A page of 400000 bytes.
std::string bigPage(std::string_view start) {
  return join(start, std::string(400000 - start.size() - 1, 'x'), "\n");
}

TEST(ManualBookletSpace, MissingForTheOddPages) {
  const Job job = manualJob(join(kTop, bigPage("%%Page: 1 1\n"), bigPage("%%Page: 2 2\n")));
  expectFailure(runWithLimit(job, 200000), job);
  EXPECT_TRUE(fs::exists(job.tmpFile("pageReOrdered42")));
  EXPECT_TRUE(fs::exists(job.tmpFile("qvn_manualPS42")));
}

TEST(ManualBookletSpace, MissingForTheLastEvenPage) {
  const Job job = manualJob(join(kTop, kPage1, bigPage("%%Page: 2 2\n")));
  expectFailure(runWithLimit(job, 200000), job);
}

TEST(ManualBookletSpace, MissingForTheReversedPages) {
  const Job job =
      manualJob(join("%%Page: 1\n", bigPage("%%Page: 2\n"), "%%Page: 3\n", bigPage("%%Page: 4\n"),
                     "%%Page: 5\n", bigPage("%%Page: 6\n"), "%%Page: 7\n"));
  expectOutcome(runWithLimit(job, 500000), "",
                join(threeTmpLines(job), kNoFile, kNoRearranging, kFatal), 1);
}

TEST(ManualBookletSpace, MissingForAllEvenPages) {
  const Job job = manualJob(join("%%Page: 1\n", bigPage("%%Page: 2\n"), "%%Page: 3\n",
                                 bigPage("%%Page: 4\n"), "%%Page: 5\n"));
  expectFailure(runWithLimit(job, 500000), job);
}

TEST(ManualBookletSpace, MissingForTheReorderedJob) {
  const Job job = manualJob(join(bigPage("%%Page: 1\n"), bigPage("%%Page: 2\n")));
  expectFailure(runWithLimit(job, 500000), job);
  EXPECT_TRUE(fs::exists(job.tmpFile("qvn_manualPS42")));
}

TEST(ManualBookletSpace, ThatIsJustEnoughIsEnough) {
  // 400000 bytes and the first pass request, the second one, and a blank page of "%%Page: 1\n",
  // the first piece of 1024 bytes and the two that follow.
  const std::string page = bigPage("%%Page: 1\n");
  const std::string body =
      join(kFirstPass, page, kSecondPass, page.substr(0, 10 + 3 * 1024), kProcedures);
  const std::string out = join(plainHeader(), kFirstPass, kInstruction, page, kSecondPass,
                               page.substr(0, 10 + 3 * 1024), kProcedures, trailer());
  const Job job = manualJob(page);
  expectOutcome(runWithLimit(job, body.size()), out, join(threeTmpLines(job), kNoInstruction));
  expectFailure(runWithLimit(job, body.size() - 1), job);
}

TEST(ManualBookletSpace, MissingOnAFullDisk) {
  Job job = manualJob(join(kTop, bigPage("%%Page: 1 1\n"), std::string(500000, 'x'), "\n"));
  job.preload("small_disk").env("DISK_SIZE", "524288");
  expectFailure(job.run(), job);
}

// ---- canceled during the reordering

void expectCanceled(const Outcome& outcome, std::string_view out, std::string_view err) {
  EXPECT_EQ(outcome.out, out);
  EXPECT_EQ(outcome.err, err);
  EXPECT_EQ(outcome.signal, SIGTERM);
}

// Takes the start of a job and is canceled while it waits for more.
void expectNothingLeftAfter(std::string_view start) {
  WaitingReordering run(start);
  ASSERT_TRUE(sleeps(run.process()));
  run.process().kill(SIGTERM);
  EXPECT_TRUE(endsByItself(run.process()));
  expectCanceled(run.process().finish(), "", threeTmpLines(run.job()));
  EXPECT_TRUE(fs::is_empty(run.job().tmp()));
}

TEST(CanceledReordering, EndsAtOnceWithoutOutputAndFiles) {
  expectNothingLeftAfter(join(kTop, pages("1234"), "half a line"));
}

TEST(CanceledReordering, EndsAtOnceBeforeTheFirstByte) { expectNothingLeftAfter(""); }

TEST(CanceledReordering, EndsAtOnceInTheTrailer) {
  expectNothingLeftAfter(join(kTop, pages("12"), "%%Trailer\n"));
}

TEST(CanceledReordering, KeepsTheCaptureFiles) {
  Job job = manualJob("");
  job.capture();
  WaitingReordering run(job, join(kTop, pages("12")));
  ASSERT_TRUE(sleeps(run.process()));
  run.process().kill(SIGTERM);
  EXPECT_TRUE(endsByItself(run.process()));
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectCanceled(run.process().finish(), "", join(line, line, kCaptureOn, line));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), "");
  expectNoManualFiles(job);
}

// ---- canceled in the line loop, waiting for input

// Takes the start of a job, whose last piece holds a zero byte and is thus sent at once, and is
// then canceled.
void expectCanceledAfter(const Job& job, std::string_view start, std::string_view body) {
  Process process(job.program(), job.argv(), job.environment());
  process.write(start);
  EXPECT_TRUE(process.waitForOutput(plainHeader().size() + body.size()));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  expectCanceled(process.finish(), join(plainHeader(), body, trailer()), tmpLines(job));
}

TEST(CanceledJob, GetsItsTrailerAtOnce) {
  const std::string start = join(kTop, "@PJL EOJ\n", kPage1, bytes("%\0\n"));
  expectCanceledAfter(Job(), start, join(kTop, kPage1, bytes("%\0\n")));
}

TEST(CanceledJob, GetsItsTrailerBeforeTheFirstByte) { expectCanceledAfter(Job(), "", ""); }

TEST(CanceledJob, GetsItsTrailerAfterTheLineThatIsNotWhole) {
  Job job;
  Process process(job.program(), job.argv(), job.environment());
  process.write("%!PS\nhalf a li");
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  expectCanceled(process.finish(), join(plainHeader(), "%!PS\nhalf a li", trailer()),
                 tmpLines(job));
}

TEST(CanceledJob, GetsItsTrailerInAFoldedBooklet) {
  Job job;
  job.options("QVBookletFold=SaddleStitch");
  // Canceled while the code of the fold feature is dropped.
  expectCanceledAfter(
      job, join(kTop, bytes("*QVBookletFold\nold\n%\0\n")),
      join(kTop, "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n", bytes("%\0\n")));
}

TEST(CanceledJob, GetsItsTrailerInTheCaptureToo) {
  Job job;
  job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/C400").capture();
  Process process(job.program(), job.argv(), job.environment());
  process.write("%!PS\nshowpage\n");
  EXPECT_TRUE(becomesTrue([&] { return contentOf(job.tmpFile("qvn_ps")) == "%!PS\nshowpage\n"; }));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  expectCanceled(process.finish(), "%!PS\nshowpage\n", join(tmpLines(job), kCaptureOn));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), join("%!PS\nshowpage\n", trailer()));
}

TEST(CanceledJob, LeavesFilesOfPrinterMadeBookletsAlone) {
  Job job;
  job.options("QVBookletFold=Booklet");
  writeFile(job.tmpFile("pageEven42"), "of another program");
  expectCanceledAfter(job, kTop.substr(0, 0), "");
  EXPECT_EQ(readFile(job.tmpFile("pageEven42")), "of another program");
}

// ---- canceled in the line loop, waiting for the reader of its output

std::string manyLines() {
  std::string result;
  for (int i = 0; i < 40000; ++i) result += "0 0 moveto (some text of the page) show\n";
  return result;  // 1.6 million bytes, far more than all buffers
}

// Canceled while its output is blocked, the job ends early, after a whole line, and with the
// trailer.
void expectCutShort(Process& process, std::string_view body, std::string_view err) {
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  usleep(100000);
  EXPECT_FALSE(hasEnded(process));
  const Outcome outcome = process.finish();
  const std::string end = trailer();
  ASSERT_GE(outcome.out.size(), end.size());
  const std::string sent = outcome.out.substr(0, outcome.out.size() - end.size());
  EXPECT_LT(sent.size(), body.size());
  EXPECT_EQ(sent.back(), '\n');
  EXPECT_TRUE(sent == body.substr(0, sent.size()));
  EXPECT_EQ(outcome.out.substr(sent.size()), end);
  EXPECT_EQ(outcome.err, err);
  EXPECT_EQ(outcome.signal, SIGTERM);
}

TEST(CanceledOutput, OfAPlainJobEndsWithTheTrailer) {
  Job job;
  const std::string text = manyLines();
  job.fileWith(text);
  Process process(job.program(), job.argv(), job.environment());
  expectCutShort(process, join(plainHeader(), text), tmpLines(job));
}

// The body that is printed of a job whose output is blocked when it is canceled.
std::string bodyOfCanceled(std::string_view text) {
  Job job;
  job.fileWith(text);
  Process process(job.program(), job.argv(), job.environment());
  EXPECT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  const std::string out = process.finish().out;
  const std::size_t around = plainHeader().size() + trailer().size();
  EXPECT_GT(out.size(), around);
  const std::string body = out.substr(plainHeader().size(), out.size() - around);
  EXPECT_TRUE(out == join(plainHeader(), body, trailer()));
  return body;
}

TEST(CanceledOutput, OfALongLineEndsAtAPiece) {
  const std::string body = bodyOfCanceled(join("%!PS\n", std::string(1600000, 'x')));
  EXPECT_EQ((body.size() - 5) % 1024, 0U);
}

// The filter reads as much at once as a pipe holds, and the line begins just before its end.
TEST(CanceledOutput, HasNoPartOfADroppedLine) {
  const std::string before = std::string(256 * 1024 - 4, '\n');
  const std::string body = bodyOfCanceled(join(before, "@PJL EOJ\n", manyLines()));
  EXPECT_TRUE(body == before.substr(0, body.size()));
}

TEST(CanceledOutput, OfAFoldedBookletEndsWithTheTrailer) {
  Job job;
  const std::string text = manyLines();
  job.options("QVBookletFold=BiFold");
  job.fileWith(join("*QVBookletFold\nstatusdict /duplexer get exec\n", text));
  Process process(job.program(), job.argv(), job.environment());
  expectCutShort(process,
                 join(plainHeader(), "*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n",
                      "statusdict /duplexer get exec\n", text),
                 tmpLines(job));
}

TEST(CanceledOutput, OfAManualBookletEndsWithTheTrailerAndRemovesItsFiles) {
  Job job = manualJob("");
  const std::string text = manyLines();
  job.fileWith(join(kTop, kPage1, text));
  Process process(job.program(), job.argv(), job.environment());
  expectCutShort(process, join(plainHeader(), kTop, kFirstPass, kInstruction, kPage1, text),
                 join(threeTmpLines(job), kNoInstruction));
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

TEST(CanceledOutput, WithoutAReaderEndsToo) {
  Job job = manualJob("");
  job.fileWith(join(kTop, kPage1, manyLines()));
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  process.closeOutput();
  EXPECT_TRUE(endsByItself(process));
  EXPECT_EQ(process.finish().signal, SIGTERM);
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

// ---- canceled twice

TEST(SecondCancellation, EndsTheJobThoughItsOutputIsBlocked) {
  Job job;
  job.fileWith(manyLines());
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  usleep(100000);
  EXPECT_FALSE(hasEnded(process));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, SIGTERM);
  EXPECT_EQ(outcome.out.find("@PJL EOJ"), std::string::npos);
}

TEST(SecondCancellation, EndsAManualBookletThoughItsOutputIsBlocked) {
  Job job = manualJob("");
  job.fileWith(join(kTop, kPage1, manyLines()));
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  usleep(100000);
  EXPECT_FALSE(hasEnded(process));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  EXPECT_EQ(process.finish().signal, SIGTERM);
}

// ---- cancellation ignored from the start

// Starts processes that ignore SIGTERM.
class IgnoredCancellation : public ::testing::Test {
 protected:
  IgnoredCancellation() : before_(signal(SIGTERM, SIG_IGN)) {}
  ~IgnoredCancellation() override { signal(SIGTERM, before_); }

 private:
  sighandler_t before_;
};

TEST_F(IgnoredCancellation, LetsAPlainJobBePrinted) {
  const Job job;
  Process process(job.program(), job.argv(), job.environment());
  process.write(bytes("%!PS\n\0\n"));
  EXPECT_TRUE(process.waitForOutput(plainHeader().size() + 7));
  process.kill(SIGTERM);
  process.kill(SIGTERM);
  process.write("showpage\n");
  expectOutcome(process.finish(), join(plainHeader(), bytes("%!PS\n\0\nshowpage\n"), trailer()),
                tmpLines(job));
}

TEST_F(IgnoredCancellation, LetsAManualBookletBePrinted) {
  WaitingReordering run(join(kTop, kPage1));
  ASSERT_TRUE(sleeps(run.process()));
  run.process().kill(SIGTERM);
  run.process().kill(SIGTERM);
  run.process().write(kPage2);
  expectOutcome(run.process().finish(),
                join(plainHeader(), kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank,
                     kPage2, trailer()),
                join(threeTmpLines(run.job()), kNoInstruction));
  expectNoManualFiles(run.job());
}

}  // namespace
}  // namespace jobshaper::testing
