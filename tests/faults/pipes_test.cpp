// Jobs from one pipe to another: large blocks that no rule changes are forwarded without a copy,
// which must make no difference to sender or reader.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/pipe.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

constexpr int kLarge = 1024 * 1024;  // as much as a pipe can hold
constexpr int kUsual = 256 * 1024;   // as much as the filter asks for

std::string printed(std::string_view body) { return join(plainHeader(), body, trailer()); }

std::string lines(std::size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "0 0 moveto (" + std::to_string(i) + ") show\n";
  return text;
}

// A filter between two pipes of the test.
class PipedJob : public ::testing::Test {
 protected:
  void start(Pipe& in, Pipe& out) {
    process_.emplace(job_.program(), job_.argv(), job_.environment(), [&] {
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

  Job job_;
  std::optional<Process> process_;
};

// Reads everything to the end.
std::string readAll(const Pipe& pipe, std::size_t atOnce = 65536) {
  std::string all, part(atOnce, '\0');
  for (ssize_t n; (n = read(pipe.reading(), part.data(), part.size())) > 0;) {
    all.append(part, 0, static_cast<std::size_t>(n));
  }
  return all;
}

// A pipe may keep writes apart (O_DIRECT). Its reader must read each write completely; the reader
// of the filter's output need not.
TEST_F(PipedJob, OfPacketsIsReadInAnyParts) {
  Pipe in(kLarge, O_DIRECT), out(kLarge);
  std::string text;
  for (int i = 0; i < 200; ++i) {
    const std::string line = "line " + std::to_string(i) + " of the job\n";
    in.put(line);
    text += line;
  }
  in.closeWriting();
  start(in, out);
  expectEnd();
  EXPECT_EQ(readAll(out, 16), printed(text));
}

// The sender begins to keep writes apart only after a large block of lines, when the filter
// forwards blocks without reading them. The output must not be kept apart, since its reader could
// lose bytes.
TEST_F(PipedJob, OfPacketsAfterALargeBlockIsReadInAnyParts) {
  Pipe in(kLarge), out(kLarge);
  start(in, out);
  std::string text = lines(100000);
  in.put(text);
  ASSERT_TRUE(becomesTrue([&] { return out.waiting() == plainHeader().size() + text.size(); }));
  fcntl(in.writing(), F_SETFL, O_DIRECT);
  for (int i = 0; i < 100; ++i) {
    const std::string more = lines(3000);
    in.put(more);
    text += more;
  }
  in.closeWriting();
  expectEnd();
  EXPECT_TRUE(readAll(out, 16) == printed(text));
}

// Each line is a block of its own.
TEST_F(PipedJob, OfShortLinesDoesNotBlock) {
  Pipe in, out(kUsual);
  start(in, out);
  std::string text;
  for (int i = 0; i < 100; ++i) {
    const std::string line = "line " + std::to_string(i) + " of the job\n";
    in.put(line);
    text += line;
    ASSERT_TRUE(becomesTrue([&] { return out.waiting() == plainHeader().size() + text.size(); }));
  }
  in.closeWriting();
  expectEnd();
  EXPECT_EQ(readAll(out), printed(text));
}

TEST_F(PipedJob, WaitsForAFullNonBlockingPipe) {
  Pipe in(kLarge), out(kUsual);
  const std::string text = lines(900000);
  in.put(text);
  in.closeWriting();
  for (const int end : {in.reading(), out.writing()}) fcntl(end, F_SETFL, O_NONBLOCK);
  start(in, out);
  std::string all;
  while (all.size() < text.size() / 2) {
    ASSERT_TRUE(sleeps(*process_));
    all += out.take();
  }
  ASSERT_TRUE(sleeps(*process_));
  all += readAll(out);
  EXPECT_TRUE(all == printed(text));
  expectEnd();
}

TEST_F(PipedJob, EndsWithAWholeLineWhenCanceled) {
  Pipe in(kLarge), out(kUsual);
  const std::string text = lines(900000);
  ASSERT_NE(text[kUsual - 1], '\n');
  in.put(text);
  start(in, out);
  ASSERT_TRUE(sleeps(*process_));
  process_->kill(SIGTERM);
  const std::string all = readAll(out);
  EXPECT_EQ(process_->finish().signal, SIGTERM);
  const std::string end = "\n" + trailer();
  ASSERT_GT(all.size(), end.size());
  EXPECT_EQ(all.substr(all.size() - end.size()), end);
}

// The filter holds back no output while it waits for input.
TEST_F(PipedJob, IsWrittenUpToTheLastCompleteLine) {
  Pipe in(kLarge), out(kLarge);
  start(in, out);
  std::string expected = plainHeader();
  const auto send = [&](std::string_view part, std::string_view more) {
    in.put(part);
    expected += more;
    EXPECT_TRUE(becomesTrue([&] { return out.waiting() == expected.size(); }))
        << part.substr(0, 20);
  };
  const std::string text = lines(200000);
  for (int i = 0; i < 3; ++i) send(text, text);
  send(bytes("A\0B\nunfinished"), bytes("A\0B\n"));
  send("@PJL x\n@PJL y\n", "unfinished@PJL x\n");
  in.closeWriting();
  expectEnd();
  EXPECT_TRUE(readAll(out) == expected + trailer());
}

class PipedJobOnASystemThatRefuses : public PipedJob,
                                     public ::testing::WithParamInterface<const char*> {};

TEST_P(PipedJobOnASystemThatRefuses, IsPrinted) {
  // A rule acts in one block of several.
  const std::string text = lines(600000) + "@PJL INFO\n" + lines(300000);
  const std::string expected = lines(600000) + lines(300000);
  Pipe in(kLarge), out(kUsual);
  in.put(text);
  in.closeWriting();
  job_.preload("refusing_calls").env("REFUSED_CALL", GetParam());
  start(in, out);
  EXPECT_TRUE(readAll(out) == printed(expected));
  expectEnd();
}

INSTANTIATE_TEST_SUITE_P(Calls, PipedJobOnASystemThatRefuses,
                         ::testing::Values("tee", "splice", "pipe size", "copy"));

}  // namespace
}  // namespace jobshaper::testing
