#include "platform/piece_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::bytes;
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

TEST(PieceReader, TakesAReadErrorForTheEnd) { EXPECT_EQ(piecesOf(-1), Pieces{}); }

}  // namespace
}  // namespace jobshaper
