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
  PieceReader reader(descriptor);
  bool more = true;
  while (more) {
    more = reader.read();
    for (std::string_view rest = reader.pieces(); !rest.empty();) {
      pieces.emplace_back(firstPiece(rest));
      rest.remove_prefix(pieces.back().size());
    }
  }
  EXPECT_EQ(reader.pieces(), "");
  return pieces;
}

Pieces piecesOfFile(std::string_view content) {
  const TemporaryFolder folder;
  writeFile(folder.file("job"), content);
  const int descriptor = open(folder.file("job").c_str(), O_RDONLY);
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
  PieceReader reader(ends[0], 100);
  ASSERT_EQ(write(ends[1], "one\ntw", 6), 6);
  ASSERT_TRUE(reader.read());
  EXPECT_EQ(reader.pieces(), "one\n");
  EXPECT_EQ(reader.pieces(), "");
  ASSERT_EQ(write(ends[1], "o\nend", 5), 5);
  ASSERT_TRUE(reader.read());
  EXPECT_EQ(reader.pieces(), "two\n");
  EXPECT_EQ(reader.pieces(), "");
  close(ends[1]);
  EXPECT_FALSE(reader.read());
  EXPECT_EQ(reader.pieces(), "end");
  EXPECT_EQ(reader.pieces(), "");
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

// Two pipes and what the reader reads from one.
class ConnectedPieceReader : public ::testing::Test {
 protected:
  std::string_view read(std::string_view bytes) {
    in_.put(bytes);
    EXPECT_TRUE(reader_.read());
    return reader_.pieces();
  }
  std::size_t pass(std::string_view bytes) { return reader_.pass(out_.writing(), bytes); }
  // A block that went on as it was: the next one is only looked at.
  void readOneUntouched() { EXPECT_EQ(pass(read("first\n")), 0U); }

  Pipe in_, out_;
  PieceReader reader_{in_.reading(), 96};  // six bytes are not a small block
};

TEST_F(ConnectedPieceReader, PassesAllPiecesFromPipeToPipe) {
  readOneUntouched();
  const std::string_view pieces = read("second\nthird\n");
  EXPECT_EQ(pieces, "second\nthird\n");
  EXPECT_EQ(in_.waiting(), 13U);
  EXPECT_EQ(pass(pieces), 13U);
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(out_.take(), "second\nthird\n");
}

TEST_F(ConnectedPieceReader, JoinsAPieceThatCameInParts) {
  readOneUntouched();
  const std::string_view pieces = read("second\nthi");
  EXPECT_EQ(pieces, "second\n");
  EXPECT_EQ(pass(pieces), 7U);
  EXPECT_EQ(in_.waiting(), 3U);
  const std::string_view more = read("rd\nfourth\nfi");
  EXPECT_EQ(more, "third\nfourth\n");
  EXPECT_EQ(in_.waiting(), 12U);
  EXPECT_EQ(pass(more), 13U);
  EXPECT_EQ(out_.take(), "second\nthird\nfourth\n");
  in_.closeWriting();
  EXPECT_FALSE(reader_.read());
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(reader_.pieces(), "fi");
  EXPECT_EQ(out_.waiting(), 0U);
}

TEST_F(ConnectedPieceReader, PassesNothingButAllPieces) {
  readOneUntouched();
  const std::string_view pieces = read("second\nthird\n");
  EXPECT_EQ(pass(pieces.substr(7)), 0U);
  EXPECT_EQ(pass(pieces.substr(0, 7)), 0U);
  EXPECT_EQ(pass("second\nthird\n"), 0U);
  EXPECT_EQ(out_.waiting(), 0U);
  // They are read out of the pipe, and a block that something was done to is followed by a plain
  // read.
  EXPECT_EQ(read("fourth\n"), "fourth\n");
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(ConnectedPieceReader, ReadsPlainlyAgainBehindABlockThatChanged) {
  readOneUntouched();
  EXPECT_EQ(read("second\n"), "second\n");
  EXPECT_EQ(in_.waiting(), 7U);
  EXPECT_EQ(read("third\n"), "third\n");
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(ConnectedPieceReader, GoesOnWhenTheOutputHasClosed) {
  signal(SIGPIPE, SIG_IGN);
  readOneUntouched();
  const std::string_view pieces = read("second\n");
  out_.closeReading();
  EXPECT_EQ(pass(pieces), 0U);
  const std::string_view more = read("third\n");
  EXPECT_EQ(more, "third\n");
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(pass(more), 0U);
}

// Sent on, each would take a page of the output's room, and soon all of it.
TEST_F(ConnectedPieceReader, ReadsPlainlyBehindASmallBlock) {
  EXPECT_EQ(pass(read("four\n")), 0U);
  EXPECT_EQ(pass(read("first\n")), 0U);
  EXPECT_EQ(in_.waiting(), 0U);
  EXPECT_EQ(pass(read("two\n")), 4U);
  EXPECT_EQ(pass(read("second\n")), 0U);
  EXPECT_EQ(in_.waiting(), 0U);
}

TEST_F(ConnectedPieceReader, PassesNothingOfAPieceThatHasNotEnded) {
  readOneUntouched();
  EXPECT_EQ(pass(read("second\nthi")), 7U);
  EXPECT_EQ(out_.take(), "second\n");
  const std::string_view none = read("rd");
  EXPECT_EQ(none, "");
  EXPECT_EQ(pass(none), 0U);
  EXPECT_EQ(out_.waiting(), 0U);
  EXPECT_EQ(read("\n"), "third\n");
}

TEST(PieceReader, ReadsPlainlyWhenNothingIsPassed) {
  const Pipe in;
  PieceReader reader(in.reading(), 96);
  for (const std::string_view line : {"first\n", "second\n", "third\n"}) {
    in.put(line);
    ASSERT_TRUE(reader.read());
    EXPECT_EQ(in.waiting(), 0U);
    EXPECT_EQ(reader.pieces(), line);
  }
}

TEST(PieceReader, TakesAReadErrorForTheEnd) { EXPECT_EQ(piecesOf(-1), Pieces{}); }

}  // namespace
}  // namespace jobshaper
