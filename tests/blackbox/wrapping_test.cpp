// The PJL around the PostScript: header, trailer, the effect of the device URI, and which bytes
// have been written while the filter waits or when it is killed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kAppleTalk = "[tarvel] this is an Appletalk connection\n";

// A job with its own PJL, and what remains of it.
constexpr std::string_view kJob =
    "\x1b%-12345X@PJL JOB\n"
    "@PJL ENTER LANGUAGE = POSTSCRIPT\n"
    "%!PS-Adobe-3.0\n"
    "showpage\n"
    "\x1b%-12345X@PJL EOJ\n"
    "\x1b%-12345X";
constexpr std::string_view kBody = "%!PS-Adobe-3.0\nshowpage\n";

bool soon(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// Waits until the file contains exactly these bytes, while the filter waits for input.
void expectSoonInFile(const std::string& path, std::string_view expected) {
  std::string held;
  soon([&] {
    std::ifstream in(path, std::ios::binary);
    held.assign(std::istreambuf_iterator<char>(in), {});
    return held == expected;
  });
  EXPECT_EQ(held, expected) << path;
}

// ---- header and trailer

TEST(Wrapping, JobIsBetweenHeaderAndTrailer) {
  Job job;
  job.user("Grace H").input(std::string(kBody));
  expectOutcome(job.run(),
                "\x1b%-12345X@PJL JOB\n"
                "@PJL COMMENT Quorvan Macintosh driver\n"
                "@PJL SET STRINGCODESET = UTF8\n"
                "@PJL QJOBINFO USERID = \"Grace H\" HOSTID = \"" +
                    hostName() +
                    "\"\n"
                    "@PJL SET JOBNAME = \"\"\n"
                    "@PJL SET USERNAME = \"Grace H\"\n"
                    "@PJL ENTER LANGUAGE = POSTSCRIPT\n"
                    "%!PS-Adobe-3.0\n"
                    "showpage\n"
                    "\x1b%-12345X\x1b%-12345X@PJL RDYMSG DISPLAY = \"\"\n"
                    "@PJL EOJ\n"
                    "@PJL QPORTROTATE\n"
                    "\x1b%-12345X",
                tmpLines(job));
}

TEST(Wrapping, TrailerFollowsALastLineWithoutNewlineDirectly) {
  Job job;
  job.input("showpage");
  expectOutcome(job.run(),
                plainHeader() +
                    "showpage\x1b%-12345X\x1b%-12345X@PJL RDYMSG DISPLAY = \"\"\n"
                    "@PJL EOJ\n@PJL QPORTROTATE\n\x1b%-12345X",
                tmpLines(job));
}

TEST(Wrapping, EveryHeaderLineIsWrittenOnceInTheBuildersOrder) {
  Job job;
  job.options("PrintTo=JRVerify QvnBlankPage=false JRUSERNAME=Bea").input(std::string(kBody));
  job.capture();
  const std::string out =
      "\x1b%-12345X@PJL JOB\n"
      "@PJL COMMENT Quorvan Macintosh driver\n"
      "@PJL SET STRINGCODESET = UTF8\n"
      "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
      hostName() +
      "\"\n"
      "@PJL SET JOBNAME = \"\"\n"
      "@PJL SET USERNAME = \"Bea\"\n"
      "@PJL SET QBLANKPAGES = DONOTPRINT\n"
      "@PJL SET HOLD = PROOF\n"
      "@PJL SET HOLDTYPE = PUBLIC\n"
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n"
      "@PJL ENTER LANGUAGE = POSTSCRIPT\n" +
      kBody + trailer();
  expectOutcome(job.run(), out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

TEST(Wrapping, PercentSignsInHeaderValuesAreText) {
  Job job;
  job.user("100%s%n").input(std::string(kBody));
  expectOutcome(job.run(), plainHeader("100%s%n") + kBody + trailer(), tmpLines(job));
}

// ---- the device URI

struct UriRow {
  const char* version;  // nullptr: the program itself
  const char* uri;
  bool wrapped;
  bool appleTalk;
};

void PrintTo(const UriRow& row, std::ostream* out) {
  *out << (row.version ? row.version : "this system") << " \"" << row.uri << '"';
}

class UriScheme : public ::testing::TestWithParam<UriRow> {};

Job jobOf(const UriRow& row) {
  Job job;
  if (row.version) job.version(row.version);
  job.env("DEVICE_URI", row.uri).input(std::string(kJob));
  return job;
}

std::string outOf(const UriRow& row) {
  return row.wrapped ? plainHeader() + kBody + trailer() : std::string(kBody);
}

TEST_P(UriScheme, DecidesOnTheWrapping) {
  const Job job = jobOf(GetParam());
  const std::string_view message = GetParam().appleTalk ? kAppleTalk : std::string_view();
  expectOutcome(job.run(), outOf(GetParam()), tmpLines(job) + message);
}

// The captured output ends with the trailer even if the printer does not get it.
TEST_P(UriScheme, DecidesOnTheCapturedHeader) {
  Job job = jobOf(GetParam());
  job.capture();
  const std::string_view message = GetParam().appleTalk ? kAppleTalk : std::string_view();
  expectOutcome(job.run(), outOf(GetParam()), tmpLines(job) + kCaptureOn + message);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kJob);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")),
            (GetParam().wrapped ? plainHeader() : std::string()) + kBody + trailer());
}

// clang-format off
constexpr UriRow kUriRows[] = {
    // Systems up to 10.2 send only the PostScript to a USB printer.
    {"0x102f",     "usb:",                        false, false},
    {"0x102f",     "usb://Quorvan/Office?sn=1",   false, false},
    {"0x102f",     "usb:/dev/usb/lp0",            false, false},
    {"0x1000",     "usb://Quorvan/Office",        false, false},
    {"0",          "usb://Quorvan/Office",        false, false},
    {"failed",     "usb://Quorvan/Office",        false, false},
    {"0x1030",     "usb://Quorvan/Office",        true,  false},
    {"0x1030",     "usb:",                        true,  false},
    {"0x1049",     "usb://Quorvan/Office",        true,  false},
    {"0x1050",     "usb://Quorvan/Office",        true,  false},
    {nullptr,      "usb://Quorvan/Office",        true,  false},
    // Only a URI that begins with these four characters is a USB printer.
    {"0x102f",     "usb",                         true,  false},
    {"0x102f",     "USB://Quorvan/Office",        true,  false},
    {"0x102f",     "Usb://Quorvan/Office",        true,  false},
    {"0x102f",     "usb//Quorvan/Office",         true,  false},
    {"0x102f",     "usbs://Quorvan/Office",       true,  false},
    {"0x102f",     " usb://Quorvan/Office",       true,  false},
    {"0x102f",     "ipp://usb:/",                 true,  false},
    {"0x102f",     "",                            true,  false},
    // The system version matters only for USB printers.
    {"0x102f",     "socket://printer",            true,  false},
    {"0",          "socket://printer",            true,  false},
    {"failed",     "ipp://printer/ipp",           true,  false},
    {"0x1030",     "lpd://printer/queue",         true,  false},
    {"0x1050",     "socket://printer",            true,  false},
    {nullptr,      "socket://printer",            true,  false},
    // AppleTalk.
    {"0x102f",     "pap://*/Office/LaserWriter",  true,  true},
    {"0x1030",     "pap://*/Office/LaserWriter",  true,  true},
    {"0x1050",     "pap:",                        true,  true},
    {"0",          "pap://*/Office/LaserWriter",  true,  true},
    {"failed",     "pap://*/Office/LaserWriter",  true,  true},
    {nullptr,      "pap://*/Office/LaserWriter",  true,  true},
    {nullptr,      "pap",                         true,  false},
    {nullptr,      "PAP://*/Office/LaserWriter",  true,  false},
    {nullptr,      "pap//Office",                 true,  false},
    {nullptr,      " pap://Office",               true,  false},
    {nullptr,      "socket://pap:",               true,  false},
};
// clang-format on
INSTANTIATE_TEST_SUITE_P(Table, UriScheme, ::testing::ValuesIn(kUriRows));

TEST(Wrapping, EightBitTextPassesUnchangedToEveryPrinter) {
  std::string text;
  for (int byte = 1; byte < 256; ++byte) text += static_cast<char>(byte);
  for (const char* uri : {"socket://printer", "pap://*/Office", "usb://Quorvan/Office"}) {
    Job job;
    job.env("DEVICE_URI", uri).input(text);
    EXPECT_EQ(job.run().out, plainHeader() + text + trailer()) << uri;
  }
}

// ---- the job's own PJL

constexpr std::string_view kMixed =
    "@PJL \n"
    "@PJL SET RESOLUTION = 1200\n"
    "@PJL\n"
    "@PJLX SET\n"
    "@PJL\tSET\n"
    "@pjl SET\n"
    " @PJL SET\n"
    "x@PJL SET\n"
    "@PJL COMMENT %%Page: 1 1\r\n"
    "\x1b%-12345X\n"
    "\x1b%-12345Xshowpage\n"
    "\x1b%-12345\n"
    "\x1b%-12345x\n"
    "%-12345X\n"
    "(\x1b%-12345X) print\n"
    "@PJL EOJ";
constexpr std::string_view kMixedKept =
    "@PJL\n"
    "@PJLX SET\n"
    "@PJL\tSET\n"
    "@pjl SET\n"
    " @PJL SET\n"
    "x@PJL SET\n"
    "\n"  // the newline after a carriage return is a separate line
    "\x1b%-12345\n"
    "\x1b%-12345x\n"
    "%-12345X\n"
    "(\x1b%-12345X) print\n";

TEST(OwnPjl, LinesThatBeginWithItAreDropped) {
  Job job;
  job.input(std::string(kMixed)).capture();
  const std::string out = plainHeader() + kMixedKept + trailer();
  expectOutcome(job.run(), out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kMixed);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

TEST(OwnPjl, IsDroppedAlsoWhereNoWrappingReplacesIt) {
  Job job;
  job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/Office").input(std::string(kMixed));
  expectOutcome(job.run(), kMixedKept, tmpLines(job));
}

TEST(OwnPjl, JobOfNothingElseLeavesNothingWithoutWrapping) {
  Job job;
  job.version("failed").env("DEVICE_URI", "usb:").input("\x1b%-12345X@PJL JOB\n@PJL EOJ\n");
  expectOutcome(job.run(), "", tmpLines(job));
}

TEST(OwnPjl, LineWithAZeroByteIsKept) {
  Job job;
  job.input(bytes("@PJL SET A\0B\n\x1b%-12345X\0\nshowpage\n"));
  expectOutcome(job.run(),
                plainHeader() + bytes("@PJL SET A\0B\n\x1b%-12345X\0\nshowpage\n") + trailer(),
                tmpLines(job));
}

TEST(OwnPjl, OverlongLineLosesItsFirst1024Bytes) {
  Job job;
  job.input("@PJL " + std::string(1019, 'x') + "@PJX " + std::string(30, 'y') + "\nshowpage\n");
  expectOutcome(job.run(),
                plainHeader() + "@PJX " + std::string(30, 'y') + "\nshowpage\n" + trailer(),
                tmpLines(job));
}

// ---- write errors

struct Ending {
  int exitStatus = -1;
  int signal = 0;
  std::string err;
};

// Runs the job with the descriptors that the caller passes. Kills it after 60 s.
Ending runOn(const Job& job, int in, int out) {
  const TemporaryFolder directory;
  const std::string errPath = directory.file("stderr");
  const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  std::vector<std::string> argv = job.argv();
  std::vector<std::string> environment;
  environment.reserve(job.environment().size());
  for (const auto& [name, value] : job.environment()) environment.push_back(name + "=" + value);
  const auto pointers = [](std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (std::string& s : strings) result.push_back(s.data());
    result.push_back(nullptr);
    return result;
  };
  const std::vector<char*> argvPointers = pointers(argv);
  const std::vector<char*> envPointers = pointers(environment);
  const std::string& program = job.program();
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGPIPE, SIG_DFL);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    execve(program.c_str(), argvPointers.data(), envPointers.data());
    _exit(127);
  }
  close(err);
  int status = 0;
  pid_t ended = 0;
  for (int i = 0; i < 6000 && ended == 0; ++i) {
    ended = waitpid(child, &status, WNOHANG);
    if (ended == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (ended == 0) {
    ADD_FAILURE() << "the program does not end";
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  Ending ending;
  if (WIFEXITED(status)) ending.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) ending.signal = WTERMSIG(status);
  ending.err = readFile(errPath);
  return ending;
}

// 600,000 bytes of text, more than the capacity of any pipe or buffer.
std::string longText() {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "0 0 moveto 100 100 lineto str\n";
  return text;
}

// An open file with this text, whose position shows how much was read.
class InputFile {
 public:
  explicit InputFile(std::string_view text) {
    writeFile(folder_.file("job"), text);
    descriptor_ = open(folder_.file("job").c_str(), O_RDONLY | O_CLOEXEC);
  }
  ~InputFile() { close(descriptor_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  int descriptor() const { return descriptor_; }
  off_t position() const { return lseek(descriptor_, 0, SEEK_CUR); }

 private:
  TemporaryFolder folder_;
  int descriptor_ = -1;
};

void expectRunsToTheEnd(int out) {
  const std::string text = longText();
  Job job;
  job.capture();
  const InputFile input(text);
  const Ending ending = runOn(job, input.descriptor(), out);
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.signal, 0);
  EXPECT_EQ(ending.err, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(input.position(), 600000);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == plainHeader() + text + trailer());
}

TEST(WriteError, FullDeviceIsIgnored) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  expectRunsToTheEnd(full);
  close(full);
}

TEST(WriteError, DescriptorThatTakesNoWritesIsIgnored) {
  const int readOnly = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(readOnly, 0);
  expectRunsToTheEnd(readOnly);
  close(readOnly);
}

TEST(WriteError, ReaderGoneBeforeTheStartIsIgnored) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  expectRunsToTheEnd(ends[1]);
  close(ends[1]);
}

TEST(WriteError, FullDeviceIsIgnoredWithoutCaptureToo) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  Job job;
  const InputFile input(longText());
  const Ending ending = runOn(job, input.descriptor(), full);
  close(full);
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.signal, 0);
  EXPECT_EQ(ending.err, tmpLines(job));
  EXPECT_EQ(input.position(), 600000);
}

TEST(WriteError, ReaderThatLeavesAfterTheHeaderDoesNotEndTheRun) {
  Job job;
  job.capture();
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  process.closeOutput();
  const std::string text = longText() + bytes("zero\0byte\n") + longText();
  process.write(text);
  expectOutcome(process.finish(), plainHeader(), tmpLines(job) + kCaptureOn);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == plainHeader() + text + trailer());
}

TEST(ReadError, EndsTheJobLikeTheEndOfInput) {
  Job job;
  const TemporaryFolder directory;
  const int input = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const int out = open(directory.file("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(input, 0);
  ASSERT_GE(out, 0);
  const Ending ending = runOn(job, input, out);
  close(input);
  close(out);
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.err, tmpLines(job));
  EXPECT_EQ(readFile(directory.file("out")), plainHeader() + trailer());
}

// ---- what has been written while the filter waits for input

// A started job whose input stays open.
struct Held {
  explicit Held(const Job& job) : process(job.program(), job.argv(), job.environment()) {}
  // Waits for exactly this output.
  void expectOut(std::string_view expected) {
    EXPECT_TRUE(process.waitForOutput(expected.size()));
    EXPECT_EQ(process.out(), expected);
  }
  Process process;
};

TEST(Flush, HeaderIsOutBeforeAnyInput) {
  const Job job;
  Held held(job);
  held.expectOut(plainHeader());
  EXPECT_EQ(held.process.err(), tmpLines(job));
  held.process.write(kBody);
  expectOutcome(held.process.finish(), plainHeader() + kBody + trailer(), tmpLines(job));
}

TEST(Flush, AppleTalkMessageIsOutBeforeAnyInput) {
  Job job;
  job.env("DEVICE_URI", "pap://*/Office");
  Held held(job);
  held.expectOut(plainHeader());
  const std::string err = tmpLines(job) + kAppleTalk;
  EXPECT_TRUE(held.process.waitForError(err.size()));
  EXPECT_EQ(held.process.err(), err);
}

TEST(Flush, ZeroBytePieceAndAllBeforeItAreOutBeforeTheNextInput) {
  const Job job;
  Held held(job);
  held.process.write(bytes("one\ntwo\nthree\0\n"));
  held.expectOut(plainHeader() + bytes("one\ntwo\nthree\0\n"));
  held.process.write(bytes("four\n\0\n"));
  held.expectOut(plainHeader() + bytes("one\ntwo\nthree\0\nfour\n\0\n"));
  expectOutcome(held.process.finish(),
                plainHeader() + bytes("one\ntwo\nthree\0\nfour\n\0\n") + trailer(), tmpLines(job));
}

TEST(Flush, ZeroBytePieceIsOutThoughTheNextLineHasBegun) {
  const Job job;
  Held held(job);
  held.process.write(bytes("one\0\n@PJ"));
  EXPECT_TRUE(held.process.waitForOutput(plainHeader().size() + 5));
  EXPECT_EQ(held.process.out().substr(0, plainHeader().size() + 5),
            plainHeader() + bytes("one\0\n"));
  held.process.write("L SET COPIES = 2\nshowpage\n");
  expectOutcome(held.process.finish(), plainHeader() + bytes("one\0\nshowpage\n") + trailer(),
                tmpLines(job));
}

TEST(Flush, ZeroBytePieceEndedByACarriageReturnIsOutAtOnce) {
  const Job job;
  Held held(job);
  held.process.write(bytes("\0\r"));
  held.expectOut(plainHeader() + bytes("\0\r"));
  held.process.write("\nshowpage\n");
  expectOutcome(held.process.finish(), plainHeader() + bytes("\0\r\nshowpage\n") + trailer(),
                tmpLines(job));
}

TEST(Flush, ZeroBytePieceCutAt1024BytesIsOutAtOnce) {
  const Job job;
  Held held(job);
  const std::string piece = bytes("\0") + std::string(1023, 'x');
  held.process.write(piece);
  held.expectOut(plainHeader() + piece);
  held.process.write("\n");
  expectOutcome(held.process.finish(), plainHeader() + piece + "\n" + trailer(), tmpLines(job));
}

TEST(Flush, ZeroBytePieceIsOutAtOnceWithoutWrapping) {
  Job job;
  job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/Office");
  Held held(job);
  held.process.write(bytes("@PJL JOB\none\n\0\n"));
  held.expectOut(bytes("one\n\0\n"));
  expectOutcome(held.process.finish(), bytes("one\n\0\n"), tmpLines(job));
}

TEST(Flush, CaptureFilesHoldEveryFinishedLineWhileTheFilterWaits) {
  Job job;
  job.capture();
  Held held(job);
  expectSoonInFile(job.tmpFile("qvn_ps2"), plainHeader());
  expectSoonInFile(job.tmpFile("qvn_ps"), "");
  held.process.write("@PJL JOB\none\n");
  expectSoonInFile(job.tmpFile("qvn_ps"), "@PJL JOB\none\n");
  expectSoonInFile(job.tmpFile("qvn_ps2"), plainHeader() + "one\n");
  held.process.write("two\rthr");
  expectSoonInFile(job.tmpFile("qvn_ps"), "@PJL JOB\none\ntwo\r");
  expectSoonInFile(job.tmpFile("qvn_ps2"), plainHeader() + "one\ntwo\r");
  held.process.write(bytes("ee\n\0\n"));
  expectSoonInFile(job.tmpFile("qvn_ps"), bytes("@PJL JOB\none\ntwo\rthree\n\0\n"));
  expectSoonInFile(job.tmpFile("qvn_ps2"), plainHeader() + bytes("one\ntwo\rthree\n\0\n"));
  const std::string out = plainHeader() + bytes("one\ntwo\rthree\n\0\n") + trailer();
  expectOutcome(held.process.finish(), out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

// ---- what is left after a kill

TEST(Killed, CaptureFilesOfAWaitingJobAreComplete) {
  Job job;
  job.capture();
  Held held(job);
  const std::string text = longText() + bytes("@PJL EOJ\nlast\0\n");
  const std::string printed = plainHeader() + longText() + bytes("last\0\n");
  held.process.write(text);
  EXPECT_TRUE(held.process.waitForOutput(printed.size()));
  EXPECT_TRUE(soon([&] { return fs::file_size(job.tmpFile("qvn_ps2")) == printed.size(); }));
  held.process.kill(SIGKILL);
  const Outcome outcome = held.process.finish();
  EXPECT_EQ(outcome.signal, SIGKILL);
  EXPECT_TRUE(outcome.out == printed);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == printed);
}

// The capture files are written before standard output, so a kill does not lose what was printed.
TEST(Killed, CaptureFilesOfAWorkingJobReachUpToWhatWasPrinted) {
  Job job;
  job.capture();
  Held held(job);
  const std::string text = longText();
  const std::string whole = plainHeader() + text;
  held.process.write(text);
  held.process.kill(SIGKILL);
  const Outcome outcome = held.process.finish();
  EXPECT_EQ(outcome.signal, SIGKILL);
  const std::string in = readFile(job.tmpFile("qvn_ps"));
  const std::string out = readFile(job.tmpFile("qvn_ps2"));
  EXPECT_TRUE(text.starts_with(in));
  EXPECT_TRUE(whole.starts_with(out));
  EXPECT_TRUE(whole.starts_with(outcome.out));
  EXPECT_GT(outcome.out.size(), plainHeader().size());
  EXPECT_GE(plainHeader().size() + in.size(), outcome.out.size());
  EXPECT_GE(out.size() + 30, outcome.out.size());
}

}  // namespace
}  // namespace jobshaper::testing
