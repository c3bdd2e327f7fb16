#include "filter/job_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::Pipe;
using testing::readFile;
using testing::TemporaryDirectory;

class JobOutputTest : public ::testing::Test {
 protected:
  int create(const char* name) {
    return open(directory_.file(name).c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  }
  std::string content(const char* name) const { return readFile(directory_.file(name)); }

  TemporaryDirectory directory_;
  int out_ = create("out");
  int captureIn_ = create("in");
  int captureOut_ = create("copy");
};

TEST_F(JobOutputTest, KeepsTheOrderOfPassedAndCopiedBytes) {
  const std::string job = "one two three";
  const std::string_view view = job;
  JobOutput output(out_, -1, -1);
  output.pass(view.substr(0, 4));
  std::string passing = "1.5 ";
  output.put(passing);
  passing = "gone";
  output.pass(view.substr(4, 4));
  output.pass(view.substr(8));
  output.put("");
  output.pass("");
  output.flush();
  EXPECT_EQ(content("out"), "one 1.5 two three");
}

TEST_F(JobOutputTest, CopiesTheOutputAndOnlyTheOutputToItsCapture) {
  JobOutput output(out_, captureIn_, captureOut_);
  output.captureIncoming("incoming");
  output.pass("outgoing");
  output.flush();
  output.captureOutgoing(" and a trailer");
  EXPECT_EQ(content("out"), "outgoing");
  EXPECT_EQ(content("in"), "incoming");
  EXPECT_EQ(content("copy"), "outgoing and a trailer");
}

TEST_F(JobOutputTest, TakesAnyNumberOfPieces) {
  std::string job, expected;
  for (int i = 0; i < 5000; ++i) job += std::to_string(i) + "\n";
  JobOutput output(out_, captureIn_, captureOut_);
  for (std::size_t at = 0; at + 2 < job.size(); at += 3) {  // every third byte is skipped
    const std::string_view piece(job.data() + at, 2);
    output.captureIncoming(piece);
    output.pass(piece);
    output.put("+");
    expected.append(piece).append("+");
  }
  output.flush();
  EXPECT_EQ(content("out"), expected);
  EXPECT_EQ(content("copy"), expected);
  std::erase(expected, '+');
  EXPECT_EQ(content("in"), expected);
}

// However many pieces are pending, the next copy does not change an earlier one.
TEST_F(JobOutputTest, KeepsEachCopyAfterAnyNumberOfPieces) {
  const std::string job(1200, '.');
  for (std::size_t pieces = 250; pieces < 260; ++pieces) {
    std::string expected;
    const int out = create("out");
    JobOutput output(out, -1, -1);
    for (std::size_t i = 0; i < pieces; ++i) {
      output.pass(std::string_view(job).substr(2 * i, 1));
      expected += '.';
    }
    for (const char* copy : {"first\n", "second\n", "third\n"}) {
      output.put(copy);
      expected += copy;
    }
    output.flush();
    EXPECT_EQ(content("out"), expected) << pieces;
    close(out);
  }
}

TEST_F(JobOutputTest, CopiesBytesOfAnyLength) {
  std::string expected;
  JobOutput output(out_, -1, captureOut_);
  for (std::size_t size : {1U, 16383U, 16384U, 16385U, 100000U, 5U}) {
    std::string text(size, static_cast<char>('a' + size % 26));
    output.put(text);
    expected += text;
    text.assign(size, '?');
  }
  output.flush();
  EXPECT_EQ(content("out"), expected);
  EXPECT_EQ(content("copy"), expected);
}

// A job that is read from one pipe and written to another.
class PipedOutput {
 public:
  explicit PipedOutput(int captureOut = -1)
      : output_(out_.writing(), -1, captureOut, in_.reading()) {}

  Block read(std::string_view bytes) {
    in_.put(bytes);
    const auto block = reader_.next();
    EXPECT_TRUE(block);
    return block.value_or(Block{});
  }
  // Returns how much of an unchanged block was forwarded from pipe to pipe.
  std::size_t send(std::string_view bytes) {
    const Block block = read(bytes);
    const std::size_t before = output_.tap().inPipe();
    output_.pass(block.pieces);
    output_.flush(block);
    return before - output_.tap().inPipe();
  }
  JobOutput& output() { return output_; }
  std::string take() const { return out_.take(); }
  void closeReading() { out_.closeReading(); }

 private:
  Pipe in_{kPipeSize};
  Pipe out_{kPipeSize};
  JobOutput output_;
  PieceReader reader_{output_.tap()};
};

const std::string kLargeBlock = std::string(19999, 'x') + "\n";

TEST_F(JobOutputTest, SendsLargeBlocksFromPipeToPipe) {
  PipedOutput job;
  EXPECT_EQ(job.send(kLargeBlock), 0U);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(job.send(kLargeBlock), kLargeBlock.size());
  EXPECT_TRUE(job.take() == kLargeBlock + kLargeBlock + kLargeBlock + kLargeBlock);
}

TEST_F(JobOutputTest, CapturesWhatItSendsFromPipeToPipe) {
  PipedOutput job(captureOut_);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(job.send(kLargeBlock), i > 0 ? kLargeBlock.size() : 0U);
  const std::string all = kLargeBlock + kLargeBlock + kLargeBlock;
  EXPECT_TRUE(job.take() == all);
  EXPECT_TRUE(content("copy") == all);
}

TEST_F(JobOutputTest, WritesWhatHasLeftThePipeBeforeTheRest) {
  PipedOutput job;
  job.send(kLargeBlock);
  EXPECT_EQ(job.send(kLargeBlock + "begun"), kLargeBlock.size());
  EXPECT_EQ(job.send(" and ended\n" + kLargeBlock), kLargeBlock.size() + 11);
  EXPECT_TRUE(job.take() == kLargeBlock + kLargeBlock + "begun and ended\n" + kLargeBlock);
}

TEST_F(JobOutputTest, WritesABlockThatARuleChanged) {
  PipedOutput job;
  job.send(kLargeBlock);
  // Only a part of it, something before it, something after it.
  Block block = job.read(kLargeBlock);
  EXPECT_EQ(block.inPipe, kLargeBlock.size());
  job.output().pass(block.pieces.substr(1));
  job.output().flush(block);
  EXPECT_EQ(job.send(kLargeBlock), 0U);  // the block after it is read
  block = job.read(kLargeBlock);
  job.output().put("before");
  job.output().pass(block.pieces);
  job.output().flush(block);
  job.send(kLargeBlock);
  block = job.read(kLargeBlock);
  job.output().pass(block.pieces);
  job.output().put("after");
  job.output().flush(block);
  EXPECT_TRUE(job.take() == kLargeBlock + kLargeBlock.substr(1) + kLargeBlock + "before" +
                                kLargeBlock + kLargeBlock + kLargeBlock + "after");
}

TEST_F(JobOutputTest, GoesOnWhenTheReaderHasLeft) {
  signal(SIGPIPE, SIG_IGN);
  PipedOutput job(captureOut_);
  job.send(kLargeBlock);
  job.closeReading();
  EXPECT_EQ(job.send(kLargeBlock), 0U);
  EXPECT_EQ(job.send(kLargeBlock), 0U);
  EXPECT_TRUE(content("copy") == kLargeBlock + kLargeBlock + kLargeBlock);
}

// A job that comes line by line must not block after as many lines as the output pipe has pages.
TEST_F(JobOutputTest, FillsThePagesOfAPipeWithSmallBlocks) {
  alarm(60);
  PipedOutput job;
  std::string all;
  for (int i = 0; i < 1000; ++i) {
    const std::string line = "line " + std::to_string(i) + "\n";
    job.send(line);
    all += line;
  }
  EXPECT_EQ(job.take(), all);
  alarm(0);
}

TEST_F(JobOutputTest, WritesTheCapturesBeforeTheOutput) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string job(1 << 20, 'x');
  const pid_t child = fork();
  if (child == 0) {
    JobOutput output(ends[1], captureIn_, captureOut_);
    output.captureIncoming(job);
    output.pass(job);
    output.flush();  // blocks: nobody reads
    _exit(0);
  }
  char first;
  ASSERT_EQ(read(ends[0], &first, 1), 1);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(content("in").size(), job.size());
  EXPECT_EQ(content("copy").size(), job.size());
  close(ends[0]);
  close(ends[1]);
}

TEST_F(JobOutputTest, GoesOnAfterAWriteError) {
  JobOutput output(open("/dev/full", O_WRONLY), -1, captureOut_);
  output.pass("first");
  output.flush();
  output.pass(" second");
  output.flush();
  EXPECT_EQ(content("copy"), "first second");
}

extern "C" void ignoreAlarm(int) {}

TEST_F(JobOutputTest, LosesNothingToInterruptedAndShortWrites) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::string job;
  for (int i = 0; i < 200000; ++i) job += std::to_string(i) + ",";
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    struct sigaction action {};
    action.sa_handler = ignoreAlarm;  // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    ualarm(2000, 2000);
    JobOutput output(ends[1], -1, -1);
    const std::string_view view = job;
    for (std::size_t at = 0; at < view.size(); at += 70000) {
      output.put("#");
      output.pass(view.substr(at, 70000));
    }
    output.flush();
    _exit(0);
  }
  close(ends[1]);
  std::string received;
  char buffer[3000];
  for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0; usleep(50)) {
    received.append(buffer, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  waitpid(child, nullptr, 0);
  std::erase(received, '#');
  EXPECT_EQ(received, job);
}

}  // namespace
}  // namespace jobshaper
