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

using testing::bytes;
using testing::Pipe;
using testing::TemporaryFolder;
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

Pieces piecesOfFile(std::string_view content) {
  const TemporaryFolder directory;
  writeFile(directory.file("job"), content);
  const int descriptor = open(directory.file("job").c_str(), O_RDONLY);
  Pieces pieces = piecesOf(descriptor);
  close(descriptor);
  return pieces;
}

TEST(PieceReader, EndsAPieceAtEitherLineEnd) {
  EXPECT_EQ(piecesOfFile("a\nb\rc\r\n\n"), (Pieces{"a\n", "b\r", "c\r", "\n", "\n"}));
}

TEST(PieceReader, HandsTheUnterminatedRestOutOnce) {
  EXPECT_EQ(piecesOfFile(""), Pieces{});
  EXPECT_EQ(piecesOfFile("a\nrest"), (Pieces{"a\n", "rest"}));
}

TEST(PieceReader, CutsALineAt1024Bytes) {
  const std::string x1023(1023, 'x');
  EXPECT_EQ(piecesOfFile(x1023), (Pieces{x1023}));
  EXPECT_EQ(piecesOfFile(x1023 + "\n"), (Pieces{x1023 + "\n"}));
  EXPECT_EQ(piecesOfFile(x1023 + "x"), (Pieces{x1023 + "x"}));
  EXPECT_EQ(piecesOfFile(x1023 + "x\n"), (Pieces{x1023 + "x", "\n"}));
  EXPECT_EQ(piecesOfFile(x1023 + "xy\r"), (Pieces{x1023 + "x", "y\r"}));
}

TEST(PieceReader, KeepsZeroBytes) {
  EXPECT_EQ(piecesOfFile(bytes("\0\n\0a\0")), (Pieces{bytes("\0\n"), bytes("\0a\0")}));
}

TEST(PieceReader, JoinsPiecesAcrossItsBlocks) {
  std::string job;
  Pieces expected;
  for (std::size_t i = 0; job.size() < 700000; ++i) {
    expected.push_back(std::string(i % 1024, 'x') + (i % 2 ? "\n" : "\r"));
    job += expected.back();
  }
  EXPECT_EQ(piecesOfFile(job), expected);
}

TEST(PieceReader, HandsOutWhatHasComeBeforeItWaitsForMore) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  PipeTap tap(ends[0], -1);
  PieceReader reader(tap, 100);
  const auto expectNext = [&reader](std::string_view pieces, bool atEnd) {
    const auto block = reader.next();
    ASSERT_TRUE(block);
    EXPECT_EQ(block->pieces, pieces);
    EXPECT_EQ(block->atEnd, atEnd);
  };
  ASSERT_EQ(write(ends[1], "one\ntw", 6), 6);
  expectNext("one\n", false);
  ASSERT_EQ(write(ends[1], "o", 1), 1);
  expectNext("", false);
  ASSERT_EQ(write(ends[1], "\nend", 4), 4);
  expectNext("two\n", false);
  close(ends[1]);
  expectNext("end", true);
  EXPECT_FALSE(reader.next());
  close(ends[0]);
}

TEST(PieceReader, WaitsOnANonBlockingDescriptor) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const pid_t writer = fork();
  if (writer == 0) {
    usleep(100000);
    _exit(write(ends[1], "late\n", 5) == 5 ? 0 : 1);
  }
  close(ends[1]);
  EXPECT_EQ(piecesOf(ends[0]), Pieces{"late\n"});
  waitpid(writer, nullptr, 0);
  close(ends[0]);
}

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

TEST_F(ConnectedPieceReader, TellsWhatIsStillInThePipe) {
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

TEST(PieceReader, TakesAReadErrorForTheEnd) { EXPECT_EQ(piecesOf(-1), Pieces{}); }

}  // namespace
}  // namespace jobshaper
