// How unchanged blocks go from the input pipe to the output pipe without being copied: PieceReader,
// PipeTap and JobOutput together. What a piece is, is in tests/blackbox/stream_pieces_test.cpp.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "filter/job_output.h"
#include "platform/files.h"
#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

std::size_t openFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

class Forwarding : public ::testing::Test {
 protected:
  // The block that is read after these bytes have come.
  Block read(std::string_view bytes) {
    in_.put(bytes);
    const auto block = reader_.next();
    EXPECT_TRUE(block);
    return block.value_or(Block{});
  }
  // Sends that block unchanged. Returns how many bytes of it went from pipe to pipe.
  std::size_t send(std::string_view bytes) {
    const Block block = read(bytes);
    const std::size_t before = output_.tap().inPipe();
    output_.pass(block.pieces);
    output_.flush(block);
    return before - output_.tap().inPipe();
  }
  std::string captured() const { return testing::readFile(directory_.file("capture")); }

  testing::TemporaryDirectory directory_;
  Descriptor capture_ = createFile(directory_.file("capture"));
  testing::Pipe in_, out_;
  JobOutput output_{out_.writing(), -1, capture_.get(), in_.reading()};
  PieceReader reader_{output_.tap(), 96};  // six bytes already are a large block
};

TEST_F(Forwarding, BlockAfterALargeUnchangedOneStaysInThePipe) {
  EXPECT_EQ(send("first\n"), 0U);
  const Block block = read("second\nthird\n");
  EXPECT_EQ(block.pieces, "second\nthird\n");
  EXPECT_EQ(block.inPipe, 13U);
  EXPECT_EQ(in_.waiting(), 13U);
  output_.pass(block.pieces);
  output_.flush(block);
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(send("fourth\n"), 7U);
  EXPECT_EQ(out_.take(), "first\nsecond\nthird\nfourth\n");
  EXPECT_EQ(captured(), "first\nsecond\nthird\nfourth\n");
  in_.closeWriting();
  EXPECT_FALSE(reader_.next());
}

TEST_F(Forwarding, BlockIsNoLargerThanAsked) {
  send("first\n");
  EXPECT_EQ(send(std::string(95, 'x') + "\nmore\n"), 96U);
  EXPECT_EQ(in_.waiting(), 5U);
}

TEST_F(Forwarding, PieceThatComesInPartsIsJoined) {
  send("first\n");
  EXPECT_EQ(send("second\nthi"), 7U);
  EXPECT_EQ(in_.waiting(), 3U);
  const Block none = read("r");
  EXPECT_EQ(none.pieces, "");
  EXPECT_EQ(none.inPipe, 0U);
  EXPECT_FALSE(none.atEnd);
  EXPECT_EQ(send("d\nlarge\n"), 0U);
  EXPECT_EQ(send("fourth\nfif"), 7U);
  EXPECT_EQ(send("th\nsixth\nen"), 9U);  // "fif" has been read
  EXPECT_EQ(in_.waiting(), 2U);
  in_.closeWriting();
  const auto last = reader_.next();
  ASSERT_TRUE(last);
  EXPECT_EQ(last->pieces, "en");
  EXPECT_EQ(last->inPipe, 0U);
  EXPECT_TRUE(last->atEnd);
  EXPECT_FALSE(reader_.next());
  EXPECT_EQ(out_.take(), "first\nsecond\nthird\nlarge\nfourth\nfifth\nsixth\n");
}

TEST_F(Forwarding, NotOfABlockThatARuleChangedNorOfTheNext) {
  struct Change {
    const char* before;
    std::size_t from;
    const char *after, *expected;
  };
  for (const auto& [before, from, after, expected] :
       {Change{"", 1, "", "first\necond\nthird\n"}, Change{"<", 0, "", "first\n<second\nthird\n"},
        Change{"", 0, ">\n", "first\nsecond\n>\nthird\n"}}) {
    send("first\n");
    const Block block = read("second\n");
    EXPECT_EQ(block.inPipe, 7U);
    output_.put(before);
    output_.pass(block.pieces.substr(from));
    output_.put(after);
    output_.flush(block);
    EXPECT_EQ(in_.waiting(), 7U);
    EXPECT_EQ(read("third\n").inPipe, 0U);
    EXPECT_EQ(in_.waiting(), 0U);
    output_.put("third\n");
    output_.flush();
    EXPECT_EQ(out_.take(), expected);
  }
}

// Each small block would take a page of the output pipe, which would soon be full.
TEST_F(Forwarding, NotOfTheBlockAfterASmallOne) {
  send("first\n");
  EXPECT_EQ(send("four\n"), 5U);
  EXPECT_EQ(send("fifth\n"), 0U);
  EXPECT_EQ(send("sixth\n"), 6U);
}

// Forwarded packets would stay packets, of which the backend could lose bytes.
TEST_F(Forwarding, NotOfPackets) {
  send("first\n");
  fcntl(in_.writing(), F_SETFL, O_DIRECT);
  EXPECT_EQ(send("second\n"), 0U);
  EXPECT_EQ(out_.take(), "first\nsecond\n");
}

TEST_F(Forwarding, EndsWhenTheOutputIsClosed) {
  signal(SIGPIPE, SIG_IGN);
  send("first\n");
  const std::size_t before = openFiles();
  EXPECT_EQ(send("second\n"), 7U);
  EXPECT_EQ(openFiles(), before + 2);  // the third pipe
  out_.closeReading();
  EXPECT_EQ(send("third\n"), 0U);
  EXPECT_EQ(openFiles(), before - 1);
  EXPECT_EQ(read("fourth\n").inPipe, 0U);
  EXPECT_EQ(captured(), "first\nsecond\nthird\n");
}

TEST_F(Forwarding, IsTriedOnceWhereThereAreNoMoreDescriptors) {
  send("first\n");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{static_cast<rlim_t>(out_.writing()) + 1, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  EXPECT_EQ(send("second\n"), 0U);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(send("third\n"), 0U);
  EXPECT_EQ(out_.take(), "first\nsecond\nthird\n");
}

TEST(PipeTap, ReadsWhereTheOutputIsNotAPipe) {
  const testing::Pipe in;
  const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
  PipeTap tap(in.reading(), nowhere.get());
  char buffer[5];
  for (int i = 0; i < 2; ++i) {
    in.put("bytes");
    EXPECT_EQ(tap.read(buffer, 5), 5);
    EXPECT_EQ(tap.inPipe(), 0U);
    EXPECT_EQ(tap.forward(0), 0U);
  }
}

}  // namespace
}  // namespace jobshaper
