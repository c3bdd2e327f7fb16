// Standard streams that are closed, block, take little or are left by their reader, and jobs that
// are canceled then. Large blocks that no rule changes go from pipe to pipe without a copy, which
// must make no difference to sender or reader.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <csignal>
#include <optional>

#include "tests/faults/fault_jobs.h"
#include "tests/support/pipe.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kLarge = 1024 * 1024;  // as much as a pipe can hold
constexpr int kUsual = 256 * 1024;   // as much as the filter asks for

// No file of the filter may get the number of a closed standard stream.
TEST(ClosedStream, IsNotOneOfTheFilesOfTheJob) {
  for (const std::vector<int>& closed : {std::vector{0}, {1}, {2}, {1, 2}, {0, 1, 2}}) {
    const auto isOpen = [&](int stream) {
      return std::find(closed.begin(), closed.end(), stream) == closed.end();
    };
    const std::string text = isOpen(0) ? "%!PS\nshowpage\n" : "";
    const Job job = Job().capture().log(7).ppd("*QVGeneric: Color\n").input(text);
    const Outcome outcome = job.run([&] {
      for (const int stream : closed) close(stream);
    });
    const std::string out =
        headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") + text +
        trailer();
    expectOutcome(outcome, isOpen(1) ? out : "",
                  isOpen(2) ? join(tmpLines(job), kCaptureOn) : std::string(), 0,
                  ::testing::PrintToString(closed));
    expectCaptures(job, text, out);
  }
}

// ---- readers that leave

// The reader takes one byte of the job, which is longer than all pipes and buffers.
Outcome runForOneByte(Job& job, const std::string& text) {
  Pipe out;
  Process process(job.fileWith(text), [&] { dup2(out.writing(), 1); });
  out.closeWriting();
  EXPECT_EQ(out.take(1), "\x1b");
  out.closeReading();
  return process.finish();
}

TEST(Reader, ThatLeavesDoesNotEndTheRun) {
  const std::string text = lines(600000);
  Job job = Job().capture();
  expectOutcome(runForOneByte(job, text), "", join(tmpLines(job), kCaptureOn));
  expectCaptures(job, text, printed(text));
}

TEST(Reader, ThatLeavesAManualBookletLeavesNoFiles) {
  Job job = manualJob("");
  expectOutcome(runForOneByte(job, join(kTop, kPage1, lines(600000))), "",
                join(threeTmpLines(job), kNoInstruction));
  expectNoManualFiles(job);
}

// ---- pipes

// A filter between two pipes of the test.
class PipedJob : public ::testing::Test {
 protected:
  void start(Pipe& in, Pipe& out) {
    process_.emplace(job_, [&] {
      dup2(in.reading(), 0);
      dup2(out.writing(), 1);
    });
    in.closeReading();
    out.closeWriting();
  }
  void expectEnd() {
    const Outcome outcome = process_->finish();
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.signal, 0);
  }
  // Writes one part of the job, of which at once the filter must print so much that it has printed
  // all this.
  static void send(const Pipe& in, const Pipe& out, std::string_view part,
                   std::string_view expected, Where where = Where::here()) {
    in.put(part);
    if (becomesTrue([&] { return out.waiting() == expected.size(); })) return;
    ADD_FAILURE_AT(where.file, where.line) << out.waiting() << " bytes, not " << expected.size();
  }

  Job job_;
  std::optional<Process> process_;
};

// A pipe may keep writes apart (O_DIRECT). Its reader must read each write completely; the reader
// of the filter's output need not. The sender begins to keep them apart at once, or only when the
// filter forwards blocks without reading them.
TEST_F(PipedJob, OfPacketsIsReadInAnyParts) {
  for (const bool late : {false, true}) {
    Pipe in(kLarge), out(kLarge);
    start(in, out);
    std::string text = late ? lines(100000) : "";
    send(in, out, text, plainHeader() + text);
    fcntl(in.writing(), F_SETFL, O_DIRECT);
    for (int i = 0; i < 20; ++i) {
      const std::string packet = lines(late ? 3000 : 20);
      text += packet;
      send(in, out, packet, plainHeader() + text);
    }
    in.closeWriting();
    expectEnd();
    std::string all;
    for (std::string part; !(part = out.take(16)).empty();) all += part;
    EXPECT_TRUE(all == printed(text));
  }
}

// Each line is a block of its own, and would take a page of the pipe.
TEST_F(PipedJob, OfShortLinesDoesNotBlock) {
  Pipe in, out(kUsual);
  start(in, out);
  std::string expected = plainHeader();
  for (int i = 0; i < 100; ++i) {
    expected += "a line\n";
    send(in, out, "a line\n", expected);
  }
  in.closeWriting();
  expectEnd();
  EXPECT_EQ(out.takeAll(), expected + trailer());
}

// The filter holds back no output while it waits for input.
TEST_F(PipedJob, IsWrittenUpToTheLastCompleteLine) {
  Pipe in(kLarge), out(kLarge);
  start(in, out);
  const std::string text = lines(200000);
  std::string expected = plainHeader();
  for (int i = 0; i < 3; ++i) send(in, out, text, expected += text);
  send(in, out, bytes("A\0B\nunfinished"), expected += bytes("A\0B\n"));
  send(in, out, "@PJL x\n@PJL y\n", expected += "unfinished@PJL x\n");
  in.closeWriting();
  expectEnd();
  EXPECT_TRUE(out.takeAll() == expected + trailer());
}

// The process that starts the filter may have made shared descriptors non-blocking.
TEST_F(PipedJob, WaitsForNonBlockingPipes) {
  const std::string text = lines(900000);
  for (const bool fromFile : {false, true}) {
    Pipe in(kLarge), out(kUsual);
    for (const int end : {in.reading(), out.writing()}) fcntl(end, F_SETFL, O_NONBLOCK);
    if (fromFile) job_.fileWith(text);
    start(in, out);
    if (!fromFile) {
      for (std::size_t at = 0; at < text.size(); at += 450000) {
        ASSERT_TRUE(sleeps(*process_));
        in.put(std::string_view(text).substr(at, 450000));
      }
    }
    in.closeWriting();
    ASSERT_TRUE(sleeps(*process_));
    std::string all = out.take();
    ASSERT_TRUE(sleeps(*process_));
    all += out.takeAll();
    EXPECT_TRUE(all == printed(text));
    expectEnd();
  }
}

// ---- cancellations

// Printed is a beginning of the job, and the captures are of the same part.
TEST_F(PipedJob, EndsWithAWholeLineWhenCanceled) {
  const std::string text = lines(900000);
  ASSERT_NE(text[kUsual - 1], '\n');
  for (const bool fromFile : {false, true}) {
    Pipe in(kLarge), out(kUsual);
    job_.capture();
    if (fromFile) job_.fileWith(text);
    in.put(text);
    start(in, out);
    ASSERT_TRUE(sleeps(*process_));
    process_->kill(SIGTERM);
    const std::string all = out.takeAll();
    EXPECT_EQ(process_->finish().signal, SIGTERM);
    ASSERT_GT(all.size(), printed("").size());
    const std::string body = all.substr(plainHeader().size(), all.size() - printed("").size());
    EXPECT_TRUE(all == printed(body));
    EXPECT_TRUE(text.starts_with(body));
    EXPECT_TRUE(body.ends_with('\n'));
    expectCaptures(job_, body, all);
  }
}

TEST(CanceledStart, LeavesNothing) {
  const Job job = Job().capture();
  const Pipe full;  // standard error, so that the run waits at its first message
  full.fill();
  Process process(job, [&] { dup2(full.writing(), 2); });
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, SIGTERM);
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
}

// A signal that was blocked when the filter was started stays blocked.
TEST(CanceledStart, WithABlockedSignalDoesNotEndTheJob) {
  const Job job = Job().input("%!PS\n");
  const Outcome outcome = job.run([] {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    raise(SIGTERM);
  });
  expectOutcome(outcome, printed("%!PS\n"), tmpLines(job));
}

// Its output has no space for the header, or for the trailer after a job of this size.
void expectBlocked(std::size_t size, int signals, std::string_view rest,
                   Where where = Where::here()) {
  Pipe out(kUsual);
  if (size == 0) out.fill();
  const std::string text(size, '\n');  // whole pages of the pipe
  const Job job = Job().fileWith(text);
  Process process(job, [&] { dup2(out.writing(), 1); });
  out.closeWriting();
  const std::string before = size == 0 ? std::string(kUsual, 'x') : text;
  if (size > 0) {
    EXPECT_EQ(out.take(plainHeader().size()), plainHeader());
  }
  EXPECT_TRUE(becomesTrue([&] { return out.waiting() == before.size(); }));
  for (int i = 0; i < signals; ++i) {
    EXPECT_TRUE(sleeps(process));
    EXPECT_FALSE(hasEnded(process));
    process.kill(SIGTERM);
  }
  if (signals == 2) {
    EXPECT_TRUE(endsByItself(process));
  } else {
    EXPECT_TRUE(sleeps(process));
  }
  expectSame(out.takeAll(), join(before, rest), "the output", "the canceled job", where);
  EXPECT_EQ(process.finish().signal, SIGTERM);
}

TEST(CanceledHeader, IsFollowedByTheTrailer) { expectBlocked(0, 1, printed("")); }

TEST(CanceledTrailer, IsWrittenWholeAndOnceUnlessThereIsASecondSignal) {
  expectBlocked(kUsual, 1, trailer());
  expectBlocked(kUsual, 2, "");
}

// All descriptors that select() can handle are in use, so the job gets a higher one.
TEST(ManyDescriptors, LeaveTheJobCompleteAndDelayItsCancellation) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < FD_SETSIZE + 20)
    GTEST_SKIP() << "no more than " << limit.rlim_max << " descriptors";
  const Job job = Job().file("/dev/stdin");
  Process process(job, [&] {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int taken = 3; taken < FD_SETSIZE; ++taken) dup2(0, taken);
  });
  for (const std::string_view part : {"%!PS\n", "one\n", "two\n"}) {
    ASSERT_TRUE(sleeps(process));
    if (part == "two\n") process.kill(SIGTERM);
    process.write(part);
  }
  EXPECT_TRUE(endsByItself(process));
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.out, printed("%!PS\none\ntwo\n"));
  EXPECT_EQ(outcome.signal, SIGTERM);
}

}  // namespace
}  // namespace jobshaper::testing
