// Jobs, arguments and directories made to do harm, several at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/instrumented.h"
#include "tests/support/process_state.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// Limits the size of files that the started program writes, until it is told to "lift" the limit.
BeforeExec filesEndAt(rlim_t size) {
  return [size] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &limit);
  };
}

void lift(const Process& process) {
  rlimit limit{};
  ASSERT_EQ(prlimit(process.pid(), RLIMIT_FSIZE, nullptr, &limit), 0);
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(prlimit(process.pid(), RLIMIT_FSIZE, &limit, nullptr), 0);
}

std::string lines(std::string_view text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += join(text, " ", std::to_string(i), "\n");
  return result;
}

bool beginsWith(std::string_view whole, std::string_view part) {
  return whole.substr(0, part.size()) == part;
}

// The program with its job on a socket that returns one message per read.
Outcome runInMessages(const Job& job, std::string_view input, std::size_t size) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  Process process(job.program(), job.argv(), job.environment(), [&] { dup2(ends[1], 0); });
  close(ends[1]);
  for (std::size_t at = 0; at < input.size(); at += size) {
    const std::string_view message = input.substr(at, size);
    if (send(ends[0], message.data(), message.size(), MSG_NOSIGNAL) < 0) break;
  }
  close(ends[0]);
  return process.finish();
}

// A capture may be truncated, but it never has a gap.
TEST(HostileJob, CaptureOnADiskWithSpaceAgainHasNoGap) {
  Job job;
  job.capture();
  const std::string first = lines("first", 1000);
  const std::string second = lines("second", 100);
  Process process(job.program(), job.argv(), job.environment(), filesEndAt(3000));
  process.write(first);
  ASSERT_TRUE(sleeps(process));
  lift(process);
  process.write(second);
  const Outcome outcome = process.finish();
  const std::string out = join(plainHeader(), first, second, trailer());
  expectOutcome(outcome, out, join(tmpLines(job), kCaptureOn));
  EXPECT_TRUE(beginsWith(first + second, readFile(job.tmpFile("qvn_ps"))));
  EXPECT_TRUE(beginsWith(out, readFile(job.tmpFile("qvn_ps2"))));
}

// If neither disk nor memory can hold a feature without an end, it is not repeated, but the job is
// printed.
TEST(HostileJob, EndlessFeatureWithoutADirectoryInLittleMemoryIsPrinted) {
  Job job;
  job.env("TMPDIR", "/nonexistent");
  const std::string line = std::string(1000, 'x') + "\n";
  std::string input = "%%BeginFeature: *PageSize A4\n";
  for (int i = 0; i < 50000; ++i) input += line;
  Process process(job.program(), job.argv(), job.environment(), [] {
    const rlimit limit{64U << 20, 64U << 20};
    if (!kSanitized) setrlimit(RLIMIT_AS, &limit);
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
  });
  process.write(input);
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, 0);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_TRUE(outcome.out == join(plainHeader(), input, trailer()));
}

// One byte per read, with capture, a manual booklet and texts that are split.
TEST(HostileJob, CapturedBookletInMessagesOfAnySize) {
  const std::string input = join(kTop, kPages[1], kPages[2], kPages[3], kPages[4], kTrailer);
  const std::string body =
      join(kTop, kFirstPass, kInstruction, pages("13"), kSecondPass, kBlank, pages("42"));
  for (const std::size_t size : {1U, 2U, 7U, 64U}) {
    SCOPED_TRACE(size);
    Job job = manualJob("");
    job.capture();
    const Outcome outcome = runInMessages(job, input, size);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, join(plainHeader(), body, trailer()));
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), outcome.out);
    expectNoManualFiles(job);
  }
}

// An exit string at each position around the end of a piece of 1024 bytes.
TEST(HostileJob, ExitStringAtEveryPlaceOfACutLine) {
  for (std::size_t before = 0; before <= kUel.size(); ++before) {
    SCOPED_TRACE(before);
    const std::string filled(1024 - before, 'z');
    Job job;
    job.input(join(filled, kUel, "@PJL EOJ\n", "a\n"));
    std::string kept = join(kUel, "@PJL EOJ\n");
    if (before == 0) kept.clear();           // a separate line
    if (before == kUel.size()) kept = kUel;  // split after it: the rest is a PJL line of the job
    expectOutcome(job.run(), join(plainHeader(), filled, kept, "a\n", trailer()), tmpLines(job));
  }
}

// Only zero bytes around texts that would be dropped or replaced.
TEST(HostileJob, TriggersWithAZeroBytePassUnchanged) {
  std::string input;
  for (const std::string_view text :
       {kUel, std::string_view("@PJL SET"), std::string_view("JobPatchFile"),
        std::string_view("%%BeginProlog"), std::string_view("%RBINumCopies: 1")}) {
    for (std::size_t at = 0; at <= text.size(); ++at) {
      input += join(text.substr(0, at), std::string(1, '\0'), text.substr(at), "\n");
    }
  }
  Job job;
  job.options("PrintTo=JRPrinter").input(input);
  expectOutcome(job.run(), join(plainHeader(), input, trailer()), tmpLines(job));
}

TEST(HostileJob, OnlyCarriageReturnsAsABooklet) {
  const std::string input(5000, '\r');
  expectPrintedWithoutPages(manualJob(input), join(input, kSecondPass, kProcedures));
}

TEST(HostileJob, OnlyPageLinesAsABooklet) {
  const std::string page = "%%Page:\n";
  std::string half;
  for (int i = 0; i < 50; ++i) half += page;
  const std::string body = join(kFirstPass, kInstruction, half, kSecondPass,
                                join(page, page, page, page), kProcedures, half);
  expectPrinted(manualJob(half + half), body);
}

// The printed bytes of a canceled job, whose reader sleeps, are the beginning of the job.
TEST(HostileJob, CanceledAtAFullPipeKeepsCaptureAndPrinterEqual) {
  Job job;
  job.capture();
  const std::string input = lines("a line of the job", 60000);
  const std::string path = job.tmpFile("job");
  writeFile(path, input);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  job.file(path);
  Process process(job.program(), job.argv(), job.environment(), [&] { dup2(ends[1], 1); });
  close(ends[1]);
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  std::string out;
  char block[65536];
  for (ssize_t n; (n = read(ends[0], block, sizeof block)) > 0;) {
    out.append(block, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, SIGTERM);
  const std::string before = plainHeader();
  const std::string after = trailer();
  ASSERT_GT(out.size(), before.size() + after.size());
  const std::string body = out.substr(before.size(), out.size() - before.size() - after.size());
  EXPECT_TRUE(out == join(before, body, after));
  EXPECT_TRUE(beginsWith(input, body));
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == out);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == body);
}

// Both ends are non-blocking, so the filter must wait itself.
TEST(HostileJob, InputThatDoesNotWaitIsReadToItsEnd) {
  Job job;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  Process process(job.program(), job.argv(), job.environment(), [&] { dup2(ends[0], 0); });
  close(ends[0]);
  for (const std::string_view part : {"%!\nfir", "st\n", "second\nthird"}) {
    ASSERT_TRUE(sleeps(process));
    EXPECT_EQ(write(ends[1], part.data(), part.size()), static_cast<ssize_t>(part.size()));
  }
  close(ends[1]);
  expectOutcome(process.finish(), join(plainHeader(), "%!\nfirst\nsecond\nthird", trailer()),
                tmpLines(job));
}

TEST(HostileJob, DirectoryWithOddNameHoldsCaptureAndBooklet) {
  const std::string input = join(kTop, kPage1, kPage2);
  const std::string body =
      join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2);
  for (const std::string& name : {std::string("%s%n%@%d"), std::string("\xff\xfe"),
                                  std::string(255, 'x'), std::string("a b'\"$(id)`id`;")}) {
    SCOPED_TRACE(name);
    Job job = manualJob(input);
    const std::string directory = job.tmpFile(name);
    ASSERT_TRUE(std::filesystem::create_directory(directory));
    job.env("TMPDIR", directory);
    writeFile(directory + "/qvn_log", "");
    const std::string out = join(plainHeader(), body, trailer());
    const std::string tmp = join("tmp at ", directory, " \n");
    expectOutcome(job.run(), out, join(tmp, tmp, kCaptureOn, tmp, kNoInstruction));
    EXPECT_EQ(readFile(directory + "/qvn_ps2"), out);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 3);
  }
}

}  // namespace
}  // namespace jobshaper::testing
