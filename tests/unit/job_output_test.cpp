// What is written where, and in which order. How blocks go from pipe to pipe is in
// forwarding_test.cpp.
#include "filter/job_output.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "platform/files.h"
#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

class JobOutputTest : public ::testing::Test {
 protected:
  void expectFiles(std::string_view out, std::string_view in, std::string_view copy,
                   testing::Where where = testing::Where::here()) const {
    const std::string_view contents[] = {out, in, copy};
    for (int i = 0; i < 3; ++i) {
      testing::expectSame(testing::readFile(directory_.file(kNames[i])), contents[i], kNames[i],
                          "the job", where);
    }
  }

  static constexpr const char* kNames[] = {"out", "in", "copy"};
  testing::TemporaryDirectory directory_;
  Descriptor out_ = createFile(directory_.file("out"));
  Descriptor in_ = createFile(directory_.file("in"));
  Descriptor copy_ = createFile(directory_.file("copy"));
  JobOutput output_{out_.get(), in_.get(), copy_.get()};
};

// However many pieces are pending, the next copy does not change an earlier one.
TEST_F(JobOutputTest, KeepsEachCopyAfterAnyNumberOfPieces) {
  const std::string job(600, '.');
  std::string expected;
  for (std::size_t pieces = 250; pieces < 260; ++pieces) {
    for (std::size_t i = 0; i < pieces; ++i) output_.pass(std::string_view(job).substr(2 * i, 1));
    for (const char* copy : {"first\n", "second\n", "third\n"}) output_.put(copy);
    output_.flush();
    expected += std::string(pieces, '.') + "first\nsecond\nthird\n";
  }
  expectFiles(expected, "", expected);
}

TEST_F(JobOutputTest, CopiesBytesOfAnyLength) {
  std::string expected;
  for (const std::size_t size : {2U, 16383U, 16384U, 16385U, 100000U, 5U}) {
    std::string text(size, static_cast<char>('a' + size % 26));
    output_.put(text);
    expected += text;
    text.assign(size, '?');
  }
  output_.flush();
  expectFiles(expected, "", expected);
}

TEST_F(JobOutputTest, WritesTheCapturesBeforeTheOutput) {
  const testing::Pipe pipe;
  const std::string job(300000, 'x');  // more than the pipe holds
  const pid_t child = fork();
  if (child == 0) {
    JobOutput output(pipe.writing(), in_.get(), copy_.get());
    output.captureIncoming(job);
    output.pass(job);
    output.flush();  // blocks: nobody reads
    _exit(0);
  }
  EXPECT_EQ(pipe.take(1), "x");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  expectFiles("", job, job);
}

}  // namespace
}  // namespace jobshaper
