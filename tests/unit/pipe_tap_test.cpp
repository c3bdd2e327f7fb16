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

std::string look(PipeTap& tap, std::size_t size) {
  std::string seen(size, '\0');
  seen.resize(tap.look(seen.data(), size));
  return seen;
}

std::size_t openFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(PipeTap, LeavesWhatItShowsInThePipe) {
  const Pipe in, out;
  PipeTap tap(in.reading(), out.writing());
  in.put("one two three");
  EXPECT_EQ(look(tap, 100), "one two three");
  EXPECT_EQ(in.waiting(), 13U);
  EXPECT_EQ(look(tap, 7), "one two");
  EXPECT_EQ(in.waiting(), 13U);
  EXPECT_EQ(out.waiting(), 0U);
}

TEST(PipeTap, PassesFromTheFront) {
  const Pipe in, out;
  PipeTap tap(in.reading(), out.writing());
  in.put("one two three");
  EXPECT_EQ(look(tap, 100), "one two three");
  EXPECT_EQ(tap.pass(4), 4U);
  EXPECT_EQ(out.take(), "one ");
  EXPECT_EQ(in.take(4), "two ");
  EXPECT_EQ(tap.pass(5), 5U);
  EXPECT_EQ(out.take(), "three");
  EXPECT_EQ(in.waiting(), 0U);
  in.put("four");
  EXPECT_EQ(look(tap, 100), "four");
  EXPECT_EQ(tap.pass(0), 0U);
  EXPECT_EQ(in.take(), "four");
}

TEST(PipeTap, ShowsAWholeBlock) {
  const Pipe in(kPipeSize), out(kPipeSize);
  std::string block;
  while (block.size() < kPipeSize) block += std::to_string(block.size()) + '\0';
  block.resize(kPipeSize);
  in.put(block);
  PipeTap tap(in.reading(), out.writing());
  EXPECT_EQ(look(tap, kPipeSize), block);
  EXPECT_EQ(tap.pass(block.size()), block.size());
  EXPECT_EQ(out.take(), block);
  EXPECT_EQ(in.waiting(), 0U);
}

TEST(PipeTap, HasNothingToShowOfAnythingButPipes) {
  const Pipe pipe;
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  pipe.put("bytes");
  ASSERT_EQ(write(sockets[1], "bytes", 5), 5);
  PipeTap fromSocket(sockets[0], pipe.writing());
  EXPECT_EQ(look(fromSocket, 5), "");
  PipeTap toSocket(pipe.reading(), sockets[0]);
  EXPECT_EQ(look(toSocket, 5), "");
  PipeTap none(-1, -1);
  EXPECT_EQ(look(none, 5), "");
  EXPECT_EQ(pipe.take(), "bytes");
  close(sockets[0]);
  close(sockets[1]);
}

TEST(PipeTap, HasNothingToShowOfAnEmptyPipe) {
  Pipe in;
  const Pipe out;
  in.closeWriting();
  PipeTap tap(in.reading(), out.writing());
  EXPECT_EQ(look(tap, 5), "");
}

TEST(PipeTap, LeavesTheRestWhereItIsWhenNobodyTakesIt) {
  signal(SIGPIPE, SIG_IGN);
  const Pipe in;
  Pipe out;
  PipeTap tap(in.reading(), out.writing());
  const std::size_t before = openFiles();
  in.put("one two");
  EXPECT_EQ(look(tap, 7), "one two");
  EXPECT_EQ(openFiles(), before + 2);
  out.closeReading();
  EXPECT_EQ(tap.pass(4), 0U);
  EXPECT_EQ(openFiles(), before - 1);
  EXPECT_EQ(in.waiting(), 7U);
  // From here on it is of no use.
  EXPECT_EQ(look(tap, 7), "");
  EXPECT_EQ(in.take(), "one two");
}

TEST(PipeTap, DoesWithoutWhereThereAreNoMoreDescriptors) {
  const Pipe in, out;
  in.put("bytes");
  PipeTap tap(in.reading(), out.writing());
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{static_cast<rlim_t>(out.writing()) + 1, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_EQ(look(tap, 5), "");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(look(tap, 5), "");  // it asks only once
  EXPECT_EQ(in.take(), "bytes");
}

}  // namespace
}  // namespace jobshaper
