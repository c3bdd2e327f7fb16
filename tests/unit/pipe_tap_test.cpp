#include "platform/pipe_tap.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::Pipe;

// Returns what one read of at most `size` bytes returns.
std::string readFrom(PipeTap& tap, std::size_t size) {
  std::string bytes(size, '\0');
  bytes.resize(static_cast<std::size_t>(tap.read(bytes.data(), size)));
  return bytes;
}

void skip(PipeTap& tap) {
  std::string scratch(tap.inPipe(), '\0');
  tap.skip(scratch.data());
}

std::size_t openFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

// A tap between two pipes that has just forwarded a large block, so that its next read is a peek.
class PeekingTap : public ::testing::Test {
 protected:
  PeekingTap() {
    in_.put("x");
    forwardOne();
  }
  void forwardOne() {
    EXPECT_EQ(readFrom(tap_, 1), "x");
    EXPECT_EQ(tap_.forward(0), 0U);
  }

  Pipe in_{kPipeSize};
  Pipe out_{kPipeSize};
  PipeTap tap_{in_.reading(), out_.writing()};
};

TEST_F(PeekingTap, LeavesWhatItPeeksAtInThePipe) {
  in_.put("one two three");
  EXPECT_EQ(readFrom(tap_, 100), "one two three");
  EXPECT_EQ(tap_.inPipe(), 13U);
  EXPECT_EQ(in_.waiting(), 13U);
  EXPECT_EQ(out_.waiting(), 0U);
}

TEST_F(PeekingTap, PeeksAtNoMoreThanAsked) {
  in_.put("one two three");
  EXPECT_EQ(readFrom(tap_, 7), "one two");
  EXPECT_EQ(tap_.inPipe(), 7U);
  skip(tap_);
  EXPECT_EQ(tap_.inPipe(), 0U);
  EXPECT_EQ(in_.take(), " three");
}

TEST_F(PeekingTap, ForwardsFromTheFront) {
  in_.put("one two");
  EXPECT_EQ(readFrom(tap_, 100), "one two");
  EXPECT_EQ(tap_.forward(4), 4U);
  EXPECT_EQ(out_.take(), "one ");
  EXPECT_EQ(tap_.inPipe(), 3U);
  skip(tap_);
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(PeekingTap, ForwardsAWholeBlock) {
  std::string block;
  while (block.size() < kPipeSize) block += std::to_string(block.size()) + '\0';
  block.resize(kPipeSize);
  in_.put(block);
  EXPECT_TRUE(readFrom(tap_, kPipeSize) == block);
  EXPECT_EQ(tap_.forward(block.size()), block.size());
  EXPECT_TRUE(out_.take() == block);
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(PeekingTap, ReadsTheBlockAfterOneThatWasNotForwarded) {
  in_.put("two");
  EXPECT_EQ(readFrom(tap_, 16), "two");
  skip(tap_);
  in_.put("three");
  EXPECT_EQ(readFrom(tap_, 16), "three");
  EXPECT_EQ(tap_.inPipe(), 0U);
  EXPECT_EQ(in_.waiting(), 0U);
}

// Each small block would take a page of the output pipe, which would soon be full.
TEST_F(PeekingTap, ReadsTheBlockAfterASmallOne) {
  in_.put("five5");
  EXPECT_EQ(readFrom(tap_, 96), "five5");
  EXPECT_EQ(tap_.forward(5), 5U);
  in_.put("six666");
  EXPECT_EQ(readFrom(tap_, 96), "six666");
  EXPECT_EQ(tap_.inPipe(), 0U);
  EXPECT_EQ(tap_.forward(0), 0U);
  in_.put("next");
  EXPECT_EQ(readFrom(tap_, 96), "next");
  EXPECT_EQ(tap_.inPipe(), 4U);
}

// Forwarded packets would stay packets, of which the backend could lose bytes.
TEST_F(PeekingTap, ReadsPackets) {
  fcntl(in_.writing(), F_SETFL, O_DIRECT);
  in_.put("one");
  EXPECT_EQ(readFrom(tap_, 100), "one");
  EXPECT_EQ(tap_.inPipe(), 0U);
}

TEST_F(PeekingTap, ReadsAtTheEndOfInput) {
  in_.closeWriting();
  EXPECT_EQ(readFrom(tap_, 5), "");
  EXPECT_EQ(tap_.inPipe(), 0U);
}

TEST_F(PeekingTap, LeavesTheRestInThePipeWhenTheOutputIsClosed) {
  signal(SIGPIPE, SIG_IGN);
  const std::size_t before = openFiles();
  in_.put("one two");
  EXPECT_EQ(readFrom(tap_, 7), "one two");
  EXPECT_EQ(openFiles(), before + 2);
  out_.closeReading();
  EXPECT_EQ(tap_.forward(4), 0U);
  EXPECT_EQ(openFiles(), before - 1);
  EXPECT_EQ(tap_.inPipe(), 7U);
  skip(tap_);
  // From now on, every read is a plain one.
  in_.put("three");
  EXPECT_EQ(readFrom(tap_, 5), "three");
  EXPECT_EQ(tap_.inPipe(), 0U);
}

TEST_F(PeekingTap, ReadsWhereThereAreNoMoreDescriptors) {
  in_.put("bytes");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{static_cast<rlim_t>(out_.writing()) + 1, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_EQ(readFrom(tap_, 5), "bytes");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(tap_.inPipe(), 0U);
  in_.put("x");
  forwardOne();
  in_.put("more");
  EXPECT_EQ(readFrom(tap_, 5), "more");  // it tries to create the third pipe only once
  EXPECT_EQ(tap_.inPipe(), 0U);
}

TEST(PipeTap, ReadsAnythingButPipes) {
  const Pipe pipe;
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  PipeTap fromSocket(sockets[0], pipe.writing());
  PipeTap toSocket(pipe.reading(), sockets[0]);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(write(sockets[1], "bytes", 5), 5);
    EXPECT_EQ(readFrom(fromSocket, 5), "bytes");
    pipe.put("bytes");
    EXPECT_EQ(readFrom(toSocket, 5), "bytes");
    for (PipeTap* tap : {&fromSocket, &toSocket}) {
      EXPECT_EQ(tap->inPipe(), 0U);
      EXPECT_EQ(tap->forward(0), 0U);
    }
  }
  close(sockets[0]);
  close(sockets[1]);
}

}  // namespace
}  // namespace jobshaper
