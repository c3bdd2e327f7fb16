// How blocks of pieces are read. What a piece is, is in tests/blackbox/stream_pieces_test.cpp.
#include "platform/piece_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::Pipe;
using testing::TemporaryDirectory;
using testing::writeFile;

using Pieces = std::vector<std::string>;

Pieces piecesOf(int descriptor) {
  Pieces pieces;
  PipeTap tap(descriptor, -1);
  PieceReader reader(tap);
  while (const auto block = reader.next()) {
    for (std::string_view rest = block->pieces; !rest.empty();) {
      pieces.emplace_back(firstPiece(rest));
      rest.remove_prefix(pieces.back().size());
    }
  }
  EXPECT_FALSE(reader.next());
  return pieces;
}

TEST(PieceReader, JoinsPiecesAcrossItsBlocks) {
  std::string job;
  Pieces expected;
  for (std::size_t i = 0; job.size() < 700000; ++i) {
    expected.push_back(std::string(i % 1024, 'x') + (i % 2 ? "\n" : "\r"));
    job += expected.back();
  }
  const TemporaryDirectory directory;
  writeFile(directory.file("job"), job);
  const int descriptor = open(directory.file("job").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(piecesOf(descriptor), expected);
  close(descriptor);
}

TEST(PieceReader, ReturnsWhatHasArrivedBeforeItWaits) {
  Pipe pipe;
  PipeTap tap(pipe.reading(), -1);
  PieceReader reader(tap, 100);
  const auto expectNext = [&reader](std::string_view pieces, bool atEnd) {
    const auto block = reader.next();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->pieces, pieces);
    EXPECT_EQ(block->atEnd, atEnd);
  };
  pipe.put("one\ntw");
  expectNext("one\n", false);
  pipe.put("o");
  expectNext("", false);
  pipe.put("\nend");
  expectNext("two\n", false);
  pipe.closeWriting();
  expectNext("end", true);
  EXPECT_FALSE(reader.next());
}

TEST(PieceReader, WaitsOnANonBlockingDescriptor) {
  Pipe pipe(0, O_NONBLOCK);
  const pid_t writer = fork();
  if (writer == 0) {
    usleep(100000);
    pipe.put("late\n");
    _exit(0);
  }
  pipe.closeWriting();
  EXPECT_EQ(piecesOf(pipe.reading()), Pieces{"late\n"});
  waitpid(writer, nullptr, 0);
}

TEST(PieceReader, TreatsAReadErrorAsTheEnd) { EXPECT_EQ(piecesOf(-1), Pieces{}); }

// Reads from one pipe, with another one as the output.
class ConnectedPieceReader : public ::testing::Test {
 protected:
  Block read(std::string_view bytes) {
    in_.put(bytes);
    const auto block = reader_.next();
    EXPECT_TRUE(block);
    return block.value_or(Block{});
  }
  std::size_t forward(const Block& block) { return tap_.forward(block.inPipe); }
  // Forwards a large block, so that the reader only peeks at the next one.
  void forwardOne() { EXPECT_EQ(forward(read("first\n")), 0U); }

  Pipe in_, out_;
  PipeTap tap_{in_.reading(), out_.writing()};
  PieceReader reader_{tap_, 96};  // six bytes already count as a large block
};

TEST_F(ConnectedPieceReader, KnowsWhatIsStillInThePipe) {
  forwardOne();
  const Block block = read("second\nthird\n");
  EXPECT_EQ(block.pieces, "second\nthird\n");
  EXPECT_EQ(block.inPipe, 13U);
  EXPECT_EQ(forward(block), 13U);
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(out_.take(), "second\nthird\n");
}

TEST_F(ConnectedPieceReader, JoinsAPieceThatCameInParts) {
  forwardOne();
  const Block block = read("second\nthi");
  EXPECT_EQ(block.pieces, "second\n");
  EXPECT_EQ(block.inPipe, 7U);
  EXPECT_EQ(forward(block), 7U);
  EXPECT_EQ(in_.waiting(), 3U);
  const Block more = read("rd\nfourth\nfi");
  EXPECT_EQ(more.pieces, "third\nfourth\n");
  EXPECT_EQ(more.inPipe, 10U);  // "thi" has been read
  EXPECT_EQ(in_.waiting(), 12U);
  in_.closeWriting();
  const auto last = reader_.next();
  ASSERT_TRUE(last);
  EXPECT_EQ(last->pieces, "fi");
  EXPECT_EQ(last->inPipe, 0U);
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(ConnectedPieceReader, HasNothingInThePipeOfAPieceThatHasNotEnded) {
  forwardOne();
  EXPECT_EQ(forward(read("second\nthi")), 7U);
  EXPECT_EQ(out_.take(), "second\n");
  const Block none = read("rd");
  EXPECT_EQ(none.pieces, "");
  EXPECT_EQ(none.inPipe, 0U);
  EXPECT_EQ(read("\n").pieces, "third\n");
}

TEST_F(ConnectedPieceReader, TakesWhatIsNotForwardedOutOfThePipe) {
  forwardOne();
  EXPECT_EQ(read("second\n").inPipe, 7U);
  EXPECT_EQ(in_.waiting(), 7U);
  EXPECT_EQ(read("third\n").pieces, "third\n");
  EXPECT_EQ(in_.waiting(), 0U);
}

}  // namespace
}  // namespace jobshaper
