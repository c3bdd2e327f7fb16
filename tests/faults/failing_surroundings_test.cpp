// Disks, descriptors and readers that fail while a job is printed, cancellations at its start and
// its end, and many jobs at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNoCaptureIn =
    "ERROR: Cannot write incoming print data to a log file.\n";
constexpr std::string_view kNoCaptureOut =
    "ERROR: Cannot write outgoing print data to a log file.\n";

// More than all pipes and buffers hold.
std::string longText(std::string_view line = "0 0 moveto 100 100 lineto str\n") {
  std::string text;
  while (text.size() < 600000) text += line;
  return text;
}

std::string printed(std::string_view body) { return join(plainHeader(), body, trailer()); }

// ---- standard streams

// No file of the filter may get the number of a closed standard stream.
TEST(ClosedStream, OutputLosesTheJobButNotItsCapture) {
  Job job;
  job.capture().input(longText());
  expectOutcome(job.run([] { close(1); }), "", join(tmpLines(job), kCaptureOn));
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == longText());
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == printed(longText()));
}

TEST(ClosedStream, ErrorLosesTheMessagesAlone) {
  Job job;
  job.capture().log(7).input(longText());
  fs::create_directory(job.tmpFile("qvn_ps2"));
  const Outcome outcome = job.run([] { close(2); });
  EXPECT_TRUE(outcome.out == printed(longText()));
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == longText());
}

TEST(ClosedStream, InputIsAnEmptyJob) {
  Job job;
  job.capture();
  expectOutcome(job.run([] { close(0); }), printed(""), join(tmpLines(job), kCaptureOn));
}

// In a directory without devices, the next file would get the number of the stream.
TEST(ClosedStream, KeepsItsNumberWithoutANullDevice) {
  for (const int stream : {0, 1}) {
    Job job;
    job.capture().preload("refusing_calls").env("REFUSED_CALL", "null device").input("%!PS\n");
    const std::string_view text = stream == 0 ? "" : "%!PS\n";
    expectOutcome(job.run([stream] { close(stream); }), stream == 0 ? printed("") : "",
                  join(tmpLines(job), kCaptureOn));
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), text);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed(text));
  }
}

TEST(ClosedStream, AllOfThemLeaveTheCapture) {
  Job job;
  job.capture().fileWith("%!PS\nshowpage\n");
  const Outcome outcome = job.run([] {
    for (int stream = 0; stream <= 2; ++stream) close(stream);
  });
  expectOutcome(outcome, "", "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "%!PS\nshowpage\n");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed("%!PS\nshowpage\n"));
}

// A pipe whose reader is the test itself.
class OutputPipe {
 public:
  // As large as the filter makes its output pipe, so that the size does not change.
  OutputPipe() {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    fcntl(ends_[1], F_SETPIPE_SZ, 256 * 1024);
  }
  ~OutputPipe() { closeAll(); }
  OutputPipe(const OutputPipe&) = delete;
  OutputPipe& operator=(const OutputPipe&) = delete;

  int writeEnd() const { return ends_[1]; }
  BeforeExec as(int stream) const {
    return [this, stream] { dup2(ends_[1], stream); };
  }
  void closeWriteEnd() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  void closeAll() {
    closeWriteEnd();
    if (ends_[0] >= 0) close(ends_[0]);
    ends_[0] = -1;
  }
  // Reads this many bytes, or all to the end.
  std::string read(std::size_t most) const {
    std::string bytes(most, '\0');
    std::size_t filled = 0;
    for (ssize_t n; filled < most; filled += static_cast<std::size_t>(n)) {
      n = ::read(ends_[0], bytes.data() + filled, most - filled);
      if (n <= 0) break;
    }
    bytes.resize(filled);
    return bytes;
  }
  std::size_t waiting() const {
    int bytes = 0;
    EXPECT_EQ(ioctl(ends_[0], FIONREAD, &bytes), 0);
    return static_cast<std::size_t>(bytes);
  }
  // Fills the pipe until a writer would have to wait.
  void fill() const {
    fcntl(ends_[1], F_SETFL, O_NONBLOCK);
    const std::string block(4096, 'x');
    while (::write(ends_[1], block.data(), block.size()) > 0) {
    }
    fcntl(ends_[1], F_SETFL, 0);
  }

 private:
  int ends_[2] = {-1, -1};
};

// The process that starts the filter may have made shared descriptors non-blocking: no byte is
// lost.
TEST(NonBlockingStream, IsWaitedFor) {
  Job job;
  job.capture();
  Process process(job.program(), job.argv(), job.environment(), [] {
    for (int stream = 0; stream <= 1; ++stream) fcntl(stream, F_SETFL, O_NONBLOCK);
  });
  std::string text;
  while (text.size() < 2000000) text += longText();
  process.write("%!PS\n");
  ASSERT_TRUE(process.waitForOutput(join(plainHeader(), "%!PS\n").size()));
  process.write(text);
  const Outcome outcome = process.finish();
  EXPECT_TRUE(outcome.out == printed("%!PS\n" + text));
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == "%!PS\n" + text);
}

TEST(NonBlockingStream, WithASlowReaderGetsTheWholeJob) {
  Job job;
  job.fileWith(longText());
  OutputPipe out;
  out.fill();
  Process process(job.program(), job.argv(), job.environment(), [&] {
    out.as(1)();
    fcntl(1, F_SETFL, O_NONBLOCK);
  });
  out.closeWriteEnd();
  ASSERT_TRUE(sleeps(process));
  const std::string all = out.read(2000000);
  EXPECT_TRUE(all.substr(all.find('\x1b')) == printed(longText()));
  EXPECT_EQ(process.finish().exitStatus, 0);
}

TEST(Reader, ThatLeavesAfterOneByteDoesNotEndTheRun) {
  Job job;
  job.capture();
  OutputPipe pipe;
  Process process(job.program(), job.argv(), job.environment(), pipe.as(1));
  EXPECT_EQ(pipe.read(1), "\x1b");
  pipe.closeAll();
  process.write(longText());
  expectOutcome(process.finish(), "", join(tmpLines(job), kCaptureOn));
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == longText());
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == printed(longText()));
}

TEST(Reader, ThatLeavesInTheMiddleOfAManualBookletLeavesNoFiles) {
  const Job job = manualJob(join(kTop, kPage1, longText()));
  OutputPipe pipe;
  Process process(job.program(), job.argv(), job.environment(), pipe.as(1));
  process.write(join(kTop, kPage1, longText()));
  process.closeInput();
  EXPECT_EQ(pipe.read(1), "\x1b");
  pipe.closeAll();
  expectOutcome(process.finish(), "", join(threeTmpLines(job), kNoInstruction));
  expectNoManualFiles(job);
}

// ---- captures without space

TEST(CaptureFault, FullDiskDoesNotEndTheJob) {
  Job job;
  job.capture().input(longText()).preload("small_disk").env("DISK_SIZE", "524288");
  expectOutcome(job.run(), printed(longText()), join(tmpLines(job), kCaptureOn));
  EXPECT_LT(fs::file_size(job.tmpFile("qvn_ps")), 524288U);
  EXPECT_TRUE(longText().starts_with(readFile(job.tmpFile("qvn_ps"))));
  EXPECT_TRUE(printed(longText()).starts_with(readFile(job.tmpFile("qvn_ps2"))));
}

// Each of the two files asks for space in advance; neither may take what the other needs.
TEST(CaptureFault, DiskWithJustEnoughSpaceHoldsBothFiles) {
  std::string text;
  while (text.size() < 9000000) text += "0 0 moveto 100 100 lineto stroke\n";
  Job job;
  job.capture().input(text).preload("small_disk").env("DISK_SIZE", "20000000");
  const Outcome outcome = job.run();
  EXPECT_TRUE(outcome.out == printed(text));
  EXPECT_EQ(outcome.err, join(tmpLines(job), kCaptureOn));
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == printed(text));
}

// Disk space that a file occupies in excess of its content, in bytes.
std::int64_t excess(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_blocks * 512 - status.st_size;
}

TEST(Capture, FreesTheSpaceThatItDidNotUse) {
  std::string text;
  while (text.size() < 3000000) text += "0 0 moveto 100 100 lineto stroke\n";
  for (const bool canceled : {false, true}) {
    Job job;
    job.capture();
    Process process(job.program(), job.argv(), job.environment());
    process.write(text);
    ASSERT_TRUE(process.waitForOutput(join(plainHeader(), text).size()));
    if (canceled) process.kill(SIGTERM);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.signal, canceled ? SIGTERM : 0);
    EXPECT_TRUE(outcome.out == printed(text));
    for (const char* const name : {"qvn_ps", "qvn_ps2"}) {
      EXPECT_LT(excess(job.tmpFile(name)), 1000000) << name << canceled;
    }
  }
}

// Unlike a full disk, the limit sends a signal.
TEST(CaptureFault, LimitOnTheSizeOfFilesDoesNotEndTheJob) {
  Job job;
  job.capture().input(longText());
  expectOutcome(job.run([] {
    signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
  }),
                printed(longText()), join(tmpLines(job), kCaptureOn));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), longText().substr(0, 1000));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed(longText()).substr(0, 1000));
}

TEST(CaptureFault, ReadOnlyDiskIsReportedAndDoesNotEndTheJob) {
  Job job;
  job.capture().input(longText()).preload("refusing_calls").env("REFUSED_CALL", "writing");
  expectOutcome(job.run(), printed(longText()),
                join(tmpLines(job), kCaptureOn, kNoCaptureIn, kNoCaptureOut));
}

TEST(CaptureFault, FilesRemovedWithTheirDirectoryDoNotEndTheJob) {
  Job job;
  job.capture();
  Process process(job.program(), job.argv(), job.environment());
  process.write("%!PS\n");
  ASSERT_TRUE(sleeps(process));
  fs::remove_all(job.tmp());
  process.write(longText());
  expectOutcome(process.finish(), printed(join("%!PS\n", longText())),
                join(tmpLines(job), kCaptureOn));
  EXPECT_FALSE(fs::exists(job.tmp()));
}

// ---- manual booklets whose files disappear

TEST(ManualBookletFault, FilesRemovedEndTheJob) {
  for (const char* name : {"pageReOrdered42", "pageEven42"}) {
    const Job job = manualJob("");
    Process process(job.program(), job.argv(), job.environment());
    process.write(join(kTop, pages("123")));
    ASSERT_TRUE(sleeps(process));
    fs::remove(job.tmpFile(name));
    process.write(kPages[4]);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.out, "") << name;
    EXPECT_TRUE(outcome.err.starts_with(join(threeTmpLines(job), kNoFile))) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
    EXPECT_EQ(outcome.exitStatus, 1) << name;
  }
}

TEST(ManualBookletFault, DirectoryRemovedEndsTheJob) {
  const Job job = manualJob("");
  Process process(job.program(), job.argv(), job.environment());
  process.write(join(kTop, pages("123")));
  ASSERT_TRUE(sleeps(process));
  fs::remove_all(job.tmp());
  process.write(kPages[4]);
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.out, "");
  EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
  EXPECT_EQ(outcome.exitStatus, 1);
}

TEST(ManualBookletFault, ReadOnlyDiskEndsTheJob) {
  Job job = manualJob(join(kTop, pages("123")));
  job.preload("refusing_calls").env("REFUSED_CALL", "writing");
  expectOutcome(job.run(), "", join(threeTmpLines(job), kNoFile, kFatal), 1);
}

// ---- few descriptors

// Allows the three standard streams and this many more descriptors.
BeforeExec descriptors(unsigned more) {
  return [more] {
    for (int inherited = 3; inherited < 1024; ++inherited) close(inherited);
    const rlimit limit{3 + more, 3 + more};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
}

constexpr std::string_view kColorLines =
    "@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n";

// One descriptor each for the log, the captures and the PPD. The log needs two until it is open.
TEST(FewDescriptors, CostOnlyWhatCannotBeOpened) {
  const struct {
    unsigned more;
    std::string_view err;
    bool color;
  } rows[] = {{1,
               "ERROR: Cannot write outgoing print data to a log file.\n"
               "ERROR: Unable to open PPD file\n",
               false},
              {2,
               "ERROR: Cannot write outgoing print data to a log file.\n"
               "ERROR: Unable to open PPD file\n",
               false},
              {3, "ERROR: Unable to open PPD file\n", false},
              {4, "", true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.more);
    Job job;
    job.capture().log(7).ppd("*QVGeneric: Color\n").input(longText());
    job.asanOption("detect_leaks=0");  // leak detection would open files
    const std::string out =
        headerWith(row.color ? kColorLines : std::string_view()) + longText() + trailer();
    expectOutcome(job.run(descriptors(row.more)), out, join(tmpLines(job), kCaptureOn, row.err));
  }
}

TEST(FewDescriptors, EndAManualBookletOrLetItBePrinted) {
  bool printedOnce = false;
  for (unsigned more = 1; more <= 12; ++more) {
    SCOPED_TRACE(more);
    Job job = manualJob(join(kTop, pages("123456")));
    job.asanOption("detect_leaks=0");
    const Outcome outcome = job.run(descriptors(more));
    if (outcome.exitStatus == 0) {
      printedOnce = true;
      expectOutcome(outcome,
                    printed(join(kTop, kFirstPass, kInstruction, pages("135"), kSecondPass, kBlank,
                                 pages("642"))),
                    join(threeTmpLines(job), kNoInstruction));
    } else {
      EXPECT_FALSE(printedOnce);
      EXPECT_EQ(outcome.out, "");
      EXPECT_TRUE(outcome.err.starts_with(join(threeTmpLines(job), kNoFile))) << outcome.err;
      EXPECT_TRUE(outcome.err.ends_with(kFatal)) << outcome.err;
      EXPECT_EQ(outcome.exitStatus, 1);
    }
  }
  EXPECT_TRUE(printedOnce);
}

// ---- many descriptors

// All descriptors that select() can handle are in use, so the job gets a higher one.
TEST(ManyDescriptors, LeaveTheJobCompleteAndDelayItsCancellation) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < FD_SETSIZE + 20)
    GTEST_SKIP() << "no more than " << limit.rlim_max << " descriptors";
  const TemporaryDirectory directory;
  Job job;
  job.file(directory.file("job"));
  ASSERT_EQ(mkfifo(directory.file("job").c_str(), 0600), 0);
  Process process(job.program(), job.argv(), job.environment(), [&] {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int taken = 3; taken < FD_SETSIZE; ++taken) dup2(2, taken);
  });
  const int writing = open(directory.file("job").c_str(), O_WRONLY | O_CLOEXEC);
  const std::string_view parts[] = {"%!PS\n", "one\n", "two\n"};
  for (const std::string_view part : parts) {
    ASSERT_TRUE(sleeps(process));
    if (part == "two\n") process.kill(SIGTERM);
    EXPECT_EQ(write(writing, part.data(), part.size()), static_cast<ssize_t>(part.size()));
  }
  EXPECT_TRUE(endsByItself(process));
  close(writing);
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.out, printed("%!PS\none\ntwo\n"));
  EXPECT_EQ(outcome.signal, SIGTERM);
}

// ---- canceled at the start and at the end

TEST(CanceledStart, LeavesNothing) {
  Job job;
  job.capture();
  OutputPipe full;  // standard error, so that the run waits at its first message
  full.fill();
  Process process(job.program(), job.argv(), job.environment(), full.as(2));
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  EXPECT_TRUE(endsByItself(process));
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, SIGTERM);
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
}

// A signal that was blocked when the filter was started stays blocked.
TEST(CanceledStart, WithABlockedSignalDoesNotEndTheJob) {
  Job job;
  job.input("%!PS\n");
  expectOutcome(job.run([] {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    raise(SIGTERM);
  }),
                printed("%!PS\n"), tmpLines(job));
}

TEST(CanceledHeader, IsFollowedByTheTrailer) {
  Job job;
  OutputPipe out;
  out.fill();
  Process process(job.program(), job.argv(), job.environment(), out.as(1));
  out.closeWriteEnd();
  process.write("%!PS\n");
  ASSERT_TRUE(sleeps(process));
  process.kill(SIGTERM);
  usleep(50000);
  EXPECT_FALSE(hasEnded(process));
  const std::string all = out.read(1 << 20);
  EXPECT_EQ(all.substr(all.find('\x1b')), printed(""));
  EXPECT_EQ(process.finish().signal, SIGTERM);
}

// A job that has been printed except for its trailer, for which the pipe has no space.
class BlockedTrailer {
 public:
  BlockedTrailer() {
    const auto capacity = static_cast<std::size_t>(fcntl(out_.writeEnd(), F_GETPIPE_SZ));
    while (text_.size() < capacity) text_ += std::string(1023, 'x') + "\n";  // whole pages
    job_.fileWith(text_);
    process_ =
        std::make_unique<Process>(job_.program(), job_.argv(), job_.environment(), out_.as(1));
    out_.closeWriteEnd();
    EXPECT_EQ(out_.read(plainHeader().size()), plainHeader());
    EXPECT_TRUE(becomesTrue([&] { return out_.waiting() == text_.size(); }));
    EXPECT_TRUE(sleeps(*process_));
  }

  // Everything that is printed after the text.
  std::string rest() {
    const std::string all = out_.read(1 << 20);
    EXPECT_TRUE(all.starts_with(text_));
    return all.substr(std::min(all.size(), text_.size()));
  }
  Process& process() { return *process_; }

 private:
  Job job_;
  OutputPipe out_;
  std::string text_;
  std::unique_ptr<Process> process_;
};

TEST(CanceledTrailer, IsWrittenWholeAndOnce) {
  BlockedTrailer run;
  run.process().kill(SIGTERM);
  usleep(50000);
  EXPECT_FALSE(hasEnded(run.process()));
  EXPECT_EQ(run.rest(), trailer());
  EXPECT_EQ(run.process().finish().signal, SIGTERM);
}

TEST(CanceledTrailer, IsLeftAtTheSecondSignal) {
  BlockedTrailer run;
  run.process().kill(SIGTERM);
  usleep(50000);
  EXPECT_FALSE(hasEnded(run.process()));
  run.process().kill(SIGTERM);
  EXPECT_TRUE(endsByItself(run.process()));
  EXPECT_EQ(run.process().finish().signal, SIGTERM);
  EXPECT_EQ(run.rest(), "");
}

// ---- many jobs at once

// A job whose number chooses its kind, and is in each of its lines.
Job numberedJob(int number) {
  const std::string name = std::to_string(number);
  Job job = number % 5 == 2 ? manualJob("") : Job();
  job.jobId(name).user("user " + name);
  switch (number % 5) {
    case 1:
      job.options("QVBookletFold=SaddleStitch");
      break;
    case 3:
      job.options("PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=" + name);
      break;
    case 4:
      job.version("0x1030").options(
          "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=true");
      break;
  }
  return job;
}

std::string numberedText(int number) {
  const std::string name = std::to_string(number);
  const std::string line = "(" + name + ") show\n";
  std::string text = "%!PS\n%RBINumCopies: " + name + "\n/Collate " + name + "\n*QVBookletFold " +
                     name + "\nstatusdict /duplexer get exec\n";
  for (int page = 1; page <= 8; ++page) {
    text += "%%Page: " + std::to_string(page) + " " + name + "\n";
    for (int i = 0; i < 1000; ++i) text += line;
  }
  return text;
}

TEST(ManyJobs, PrintTheSameAsEachAlone) {
  constexpr int kJobs = 50;
  const TemporaryDirectory shared;
  writeFile(shared.file("qvn_log"), "");
  std::vector<std::string> texts, alone;
  for (int number = 0; number < kJobs; ++number) {
    texts.push_back(numberedText(number));
    alone.push_back(numberedJob(number).input(texts.back()).run().out);
  }
  std::vector<Job> jobs;
  std::vector<std::unique_ptr<Process>> processes;
  for (int number = 0; number < kJobs; ++number) {
    jobs.push_back(numberedJob(number).env("TMPDIR", shared.path()));
    const Job& job = jobs.back();
    processes.push_back(std::make_unique<Process>(job.program(), job.argv(), job.environment()));
  }
  for (std::size_t part = 0; part < 4; ++part) {
    for (std::size_t i = 0; i < kJobs; ++i) {
      const std::size_t size = texts[i].size() / 4 + 1;
      processes[i]->write(std::string_view(texts[i]).substr(part * size, size));
    }
  }
  for (std::size_t i = 0; i < kJobs; ++i) {
    SCOPED_TRACE(i);
    const Outcome outcome = processes[i]->finish();
    EXPECT_GT(outcome.out.size(), texts[i].size());
    EXPECT_TRUE(outcome.out == alone[i]);
    EXPECT_EQ(outcome.exitStatus, 0);
    const std::string line = "tmp at " + shared.path() + " \n";
    const bool manual = i % 5 == 2;
    EXPECT_EQ(outcome.err, join(line, line, kCaptureOn, manual ? line : "",
                                manual ? kNoInstruction : std::string_view()));
  }
}

}  // namespace
}  // namespace jobshaper::testing
