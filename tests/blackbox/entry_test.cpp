// From the argument check to the first line of the job: what the filter takes from its
// arguments, its environment and the temporary directory, and what it says about it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/permissions.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUsage =
    "ERROR: Version = 3.9 \n\tjobshaper job-id user title copies options [file]\n"
    "ERROR: Printer filter did not launch.\n";
constexpr std::string_view kCannotRead = "ERROR: Cannot read the print job.\n";
constexpr std::string_view kNoCaptureIn =
    "ERROR: Cannot write incoming print data to a log file.\n";
constexpr std::string_view kNoCaptureOut =
    "ERROR: Cannot write outgoing print data to a log file.\n";
constexpr std::string_view kNoPpd = "ERROR: Unable to open PPD file\n";
constexpr std::string_view kNoDebugFile = "ERROR: Unable to open log file\n";
constexpr std::string_view kAppleTalk = "[tarvel] this is an Appletalk connection\n";

constexpr std::string_view kJobText = "%!PS-Adobe-3.0\nshowpage\n";

// Standard output of a job without options.
std::string plainJob(std::string_view body = kJobText) { return plainHeader() + body + trailer(); }

// The "tmp at" line as the diagnostic log and the job set-up write it, one each.
std::string tmpLine(std::string_view folder) { return std::string("tmp at ") + folder + " \n"; }

// True once the process has ended by itself, its input still open.
bool endsWithInputOpen(const Process& process) {
  for (int i = 0; i < 2000; ++i) {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(process.pid()), &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
      return false;
    }
    if (info.si_pid != 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// ---- argument check

class ArgumentCount : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(ArgumentCount, OtherThanSixOrSevenPrintsUsageAndEndsWithStatusOne) {
  Job job;
  job.arguments(GetParam()).input(std::string(kJobText));
  expectOutcome(job.run(), "", kUsage, 1);
}

TEST_P(ArgumentCount, OtherThanSixOrSevenLeavesNoFiles) {
  Job job;
  job.arguments(GetParam()).capture().log(1);
  expectOutcome(job.run(), "", kUsage, 1);
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps2")));
  EXPECT_FALSE(fs::exists(job.tmpFile("debug.log")));
}

INSTANTIATE_TEST_SUITE_P(
    Counts, ArgumentCount,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"42"},
                      std::vector<std::string>{"42", "ada"},
                      std::vector<std::string>{"42", "ada", "Title"},
                      std::vector<std::string>{"42", "ada", "Title", "1"},
                      std::vector<std::string>{"42", "ada", "Title", "1", "", "job.ps", ""},
                      std::vector<std::string>{"", "", "", "", "", "", "", ""}));

TEST(Arguments, UsageComesBeforeTheDeviceUriIsLookedAt) {
  Job job;
  job.arguments({"42"}).env("DEVICE_URI", std::string(200, 'u'));
  expectOutcome(job.run(), "", kUsage, 1);
}

TEST(Arguments, SixWithEmptyValuesAreEnough) {
  Job job;
  job.arguments({"", "", "", "", ""}).input(std::string(kJobText));
  expectOutcome(job.run(), plainHeader("") + kJobText + trailer(), tmpLines(job), 0);
}

TEST(Arguments, JobTitleIsNotUsed) {
  Job job;
  job.title("Quarterly \"report\" %s").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
}

TEST(Arguments, JobIdAndCopiesChangeNothingInAnOrdinaryJob) {
  Job job;
  job.jobId("../7 %n").copies("25").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
}

// ---- device URI

TEST(DeviceUri, AbsentOneIsNeitherUsbNorAppleTalk) {
  Job job;
  job.unsetEnv("DEVICE_URI").version("failed").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
}

TEST(DeviceUri, EmptyOneIsNeitherUsbNorAppleTalk) {
  Job job;
  job.env("DEVICE_URI", "").version("failed").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
}

// "pap://" and 93 more bytes.
constexpr std::string_view kUriOf99 =
    "pap://"
    "aaaaaaaaabbbbbbbbbbccccccccccddddddddddeeeeeeeeeeffffffffffgggggggggghhhhhhhhhhiiiiiiiiiijjjj";
static_assert(kUriOf99.size() == 99);

TEST(DeviceUri, NinetyNineBytesAreTaken) {
  Job job;
  job.env("DEVICE_URI", std::string(kUriOf99)).input(std::string(kJobText)).log(1);
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kAppleTalk, 0);
  EXPECT_NE(readFile(job.tmpFile("debug.log"))
                .find("\t     URI for printer = " + std::string(kUriOf99) + "\n"),
            std::string::npos);
}

class LongDeviceUri : public ::testing::TestWithParam<std::size_t> {};

TEST_P(LongDeviceUri, AbortsWithOneErrorLineAndNoOutput) {
  Job job;
  job.env("DEVICE_URI", "socket://" + std::string(GetParam() - 9, 'x'));
  job.input(std::string(kJobText));
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.signal, SIGABRT);
  const std::string before = tmpLine(job.tmp());
  ASSERT_EQ(outcome.err.substr(0, before.size()), before);
  const std::string line = outcome.err.substr(before.size());
  EXPECT_EQ(line.substr(0, 7), "ERROR: ");
  EXPECT_GT(line.size(), 8U);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
}

TEST_P(LongDeviceUri, EndsTheRunBeforeTheJobAndTheCaptureFilesAreOpened) {
  Job job;
  job.env("DEVICE_URI", std::string(GetParam(), 'u')).file(job.tmpFile("no such job")).capture();
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.signal, SIGABRT);
  EXPECT_EQ(outcome.err.find(kCannotRead), std::string::npos);
  EXPECT_EQ(outcome.err.find(kCaptureOn), std::string::npos);
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps2")));
}

INSTANTIATE_TEST_SUITE_P(Bytes, LongDeviceUri, ::testing::Values(100U, 101U, 4000U));

// ---- input source

TEST(InputSource, SixArgumentsReadStandardInputThoughFilesOfTheArgumentsNamesExist) {
  Job job;
  const std::string path = job.tmpFile("Title");
  writeFile(path, "from the file\n");
  job.arguments({path, path, path, path, path}).input("from standard input\n");
  expectOutcome(job.run(), plainHeader(path) + "from standard input\n" + trailer(), tmpLines(job),
                0);
}

TEST(InputSource, SevenArgumentsReadTheFileAlone) {
  Job job;
  job.fileWith("from the file\n").input("from standard input\n");
  expectOutcome(job.run(), plainJob("from the file\n"), tmpLines(job), 0);
}

TEST(InputSource, SevenArgumentsDoNotWaitForStandardInput) {
  Job job;
  job.fileWith(kJobText);
  Process process(job.program(), job.argv(), job.environment());
  EXPECT_TRUE(endsWithInputOpen(process));
  expectOutcome(process.finish(), plainJob(), tmpLines(job), 0);
}

TEST(InputSource, FileBytesPassAsTheyAre) {
  Job job;
  const std::string text = bytes("a\r\nb\x1a\xff\x80 \0\nlast");
  job.fileWith(text);
  expectOutcome(job.run(), plainJob(text), tmpLines(job), 0);
}

TEST(InputSource, FileNameMayHoldBlanksAndPercentSigns) {
  Job job;
  const std::string path = job.tmpFile("my job %s%n.ps");
  writeFile(path, kJobText);
  expectOutcome(job.file(path).run(), plainJob(), tmpLines(job), 0);
}

TEST(InputSource, LinkToAFileIsRead) {
  Job job;
  writeFile(job.tmpFile("real"), kJobText);
  fs::create_symlink(job.tmpFile("real"), job.tmpFile("link"));
  expectOutcome(job.file(job.tmpFile("link")).run(), plainJob(), tmpLines(job), 0);
}

TEST(InputSource, EmptyStandardInputGivesHeaderAndTrailer) {
  Job job;
  expectOutcome(job.run(), plainJob(""), tmpLines(job), 0);
}

TEST(InputSource, EmptyFileGivesHeaderAndTrailer) {
  Job job;
  job.fileWith("").input("from standard input\n");
  expectOutcome(job.run(), plainJob(""), tmpLines(job), 0);
}

// An unreadable job ends the run before the capture is switched on.
void expectCannotRead(Job& job) {
  job.capture().input(std::string(kJobText));
  expectOutcome(job.run(obeyPermissions), "", tmpLine(job.tmp()) + kCannotRead, 1);
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps2")));
}

TEST(UnreadableJob, MissingFile) {
  Job job;
  expectCannotRead(job.file(job.tmpFile("no such job")));
}

TEST(UnreadableJob, EmptyName) {
  Job job;
  expectCannotRead(job.file(""));
}

TEST(UnreadableJob, Directory) {
  Job job;
  fs::create_directory(job.tmpFile("folder"));
  expectCannotRead(job.file(job.tmpFile("folder")));
}

TEST(UnreadableJob, LinkToADirectory) {
  Job job;
  fs::create_directory(job.tmpFile("folder"));
  fs::create_symlink("folder", job.tmpFile("link"));
  expectCannotRead(job.file(job.tmpFile("link")));
}

TEST(UnreadableJob, DanglingLink) {
  Job job;
  fs::create_symlink("nowhere", job.tmpFile("link"));
  expectCannotRead(job.file(job.tmpFile("link")));
}

TEST(UnreadableJob, PathThroughAFile) {
  Job job;
  writeFile(job.tmpFile("job.ps"), kJobText);
  expectCannotRead(job.file(job.tmpFile("job.ps/page")));
}

TEST(UnreadableJob, FileWithoutReadPermission) {
  Job job;
  writeFile(job.tmpFile("job.ps"), kJobText);
  fs::permissions(job.tmpFile("job.ps"), fs::perms::none);
  expectCannotRead(job.file(job.tmpFile("job.ps")));
}

TEST(UnreadableJob, Socket) {
  Job job;
  ASSERT_EQ(mknod(job.tmpFile("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  expectCannotRead(job.file(job.tmpFile("socket")));
}

// ---- temporary directory

TEST(TemporaryDirectory, UnsetMeansTmp) {
  Job job;
  job.unsetEnv("TMPDIR").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), "tmp at /tmp \ntmp at /tmp \n", 0);
}

TEST(TemporaryDirectory, EmptyMeansTmp) {
  Job job;
  job.env("TMPDIR", "").input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), "tmp at /tmp \ntmp at /tmp \n", 0);
}

TEST(TemporaryDirectory, TrailingSlashIsKept) {
  Job job;
  job.env("TMPDIR", job.tmp() + "/").capture().input(std::string(kJobText));
  const std::string line = "tmp at " + job.tmp() + "/ \n";
  expectOutcome(job.run(), plainJob(), line + line + kCaptureOn, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kJobText);
}

TEST(TemporaryDirectory, MissingOneIsNamedAndSwitchesNothingOn) {
  Job job;
  job.env("TMPDIR", job.tmpFile("no such folder")).input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  EXPECT_FALSE(fs::exists(job.tmpFile("no such folder")));
}

TEST(TemporaryDirectory, PercentSignsInItsNameAreText) {
  Job job;
  fs::create_directory(job.tmpFile("100%s %n"));
  job.env("TMPDIR", job.tmpFile("100%s %n")).input(std::string(kJobText));
  writeFile(job.tmpFile("100%s %n/qvn_log"), "");
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  EXPECT_EQ(readFile(job.tmpFile("100%s %n/qvn_ps2")), plainJob());
}

// ---- capture

constexpr std::string_view kOwnPjl = "@PJL SET COPIES = 9\n";

void expectCaptured(const Job& job) {
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), std::string(kOwnPjl) + kJobText);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainJob());
}

void expectNotCaptured(const Job& job) {
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps2")));
}

Job jobWithOwnPjl() {
  Job job;
  job.input(std::string(kOwnPjl) + kJobText);
  return job;
}

TEST(Capture, IsOffWithoutTheMarker) {
  const Job job = jobWithOwnPjl();
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  expectNotCaptured(job);
}

TEST(Capture, EmptyMarkerSwitchesItOn) {
  Job job = jobWithOwnPjl();
  job.capture();
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, FileJobIsCapturedToo) {
  Job job;
  job.capture().fileWith(std::string(kOwnPjl) + kJobText).input("from standard input\n");
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, MarkerIsNeitherReadNorChanged) {
  Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("qvn_log"), "off\nfalse\n");
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
  EXPECT_EQ(readFile(job.tmpFile("qvn_log")), "off\nfalse\n");
}

TEST(Capture, MarkerMayBeADirectory) {
  const Job job = jobWithOwnPjl();
  fs::create_directory(job.tmpFile("qvn_log"));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, MarkerMayBeAPipeNobodyWrites) {
  const Job job = jobWithOwnPjl();
  ASSERT_EQ(mkfifo(job.tmpFile("qvn_log").c_str(), 0600), 0);
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, MarkerMayBeUnreadable) {
  Job job = jobWithOwnPjl();
  job.capture();
  fs::permissions(job.tmpFile("qvn_log"), fs::perms::none);
  expectOutcome(job.run(obeyPermissions), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, MarkerMayBeALinkToAFile) {
  const Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("elsewhere"), "");
  fs::create_symlink("elsewhere", job.tmpFile("qvn_log"));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, DanglingLinkIsNoMarker) {
  const Job job = jobWithOwnPjl();
  fs::create_symlink("nowhere", job.tmpFile("qvn_log"));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  expectNotCaptured(job);
}

TEST(Capture, MarkersNameIsExact) {
  const Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("QVN_LOG"), "");
  writeFile(job.tmpFile("qvn_log.txt"), "");
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  expectNotCaptured(job);
}

TEST(Capture, FilesOfTheJobBeforeAreReplaced) {
  Job job = jobWithOwnPjl();
  job.capture();
  writeFile(job.tmpFile("qvn_ps"), std::string(5000, 'o'));
  writeFile(job.tmpFile("qvn_ps2"), std::string(5000, 'o'));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn, 0);
  expectCaptured(job);
}

TEST(Capture, EmptyJobLeavesAnEmptyIncomingFile) {
  Job job;
  job.capture();
  expectOutcome(job.run(), plainJob(""), tmpLines(job) + kCaptureOn, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainJob(""));
}

TEST(Capture, UnwritableIncomingFileLeavesTheOutgoingOne) {
  Job job = jobWithOwnPjl();
  job.capture();
  fs::create_directory(job.tmpFile("qvn_ps"));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn + kNoCaptureIn, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainJob());
}

TEST(Capture, UnwritableOutgoingFileLeavesTheIncomingOne) {
  Job job = jobWithOwnPjl();
  job.capture();
  fs::create_directory(job.tmpFile("qvn_ps2"));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kCaptureOn + kNoCaptureOut, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), std::string(kOwnPjl) + kJobText);
}

TEST(Capture, UnwritableFolderIsReportedTwiceAndTheJobStillPrinted) {
  Job job;
  const std::string text = bytes("@PJL SET COPIES = 9\nzero\0byte\nlast");
  job.capture().input(text);
  fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  expectOutcome(job.run(obeyPermissions), plainJob(bytes("zero\0byte\nlast")),
                tmpLines(job) + kCaptureOn + kNoCaptureIn + kNoCaptureOut, 0);
  expectNotCaptured(job);
}

// ---- the generic driver's PPD keyword

std::string colorJob() {
  return headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n") + kJobText +
         trailer();
}

std::string monoJob() {
  return headerWith("@PJL SET QCOLORMODEL = BLACK\n@PJL SET RENDERMODE  = GRAYSCALE\n") + kJobText +
         trailer();
}

void expectWithPpd(std::string_view ppd, std::string_view options, const std::string& out) {
  Job job;
  job.ppd(ppd).options(std::string(options)).input(std::string(kJobText));
  expectOutcome(job.run(), out, tmpLines(job), 0);
}

TEST(GenericDriver, ColorInThePpdSelectsTheColorLines) {
  expectWithPpd("*PPD-Adobe: \"4.3\"\n*QVGeneric: \"Color\"\n", "", colorJob());
}

TEST(GenericDriver, MonoInThePpdSelectsTheGrayLines) {
  expectWithPpd("*PPD-Adobe: \"4.3\"\n*QVGeneric: \"Mono\"\n", "", monoJob());
}

TEST(GenericDriver, AnyOtherValueCountsAsMono) {
  expectWithPpd("*QVGeneric: color\n", "", monoJob());
}

TEST(GenericDriver, PpdReplacesTheValueOfTheJob) {
  expectWithPpd("*QVGeneric: Mono\n", "QVGeneric=Color", monoJob());
}

TEST(GenericDriver, ValueOfTheJobStandsWhenThePpdHasNone) {
  expectWithPpd("*QvnManualBooklet: True\n", "QVGeneric=Color", colorJob());
}

TEST(GenericDriver, PpdWithoutTheKeywordAddsNothing) {
  expectWithPpd("*PPD-Adobe: \"4.3\"\n*ColorDevice: True\n", "", plainJob());
}

TEST(GenericDriver, ManualBookletKeywordAloneAddsNothing) {
  expectWithPpd("*QvnManualBooklet: True\n", "", plainJob());
}

TEST(GenericDriver, UnreadablePpdAddsNothing) {
  Job job;
  job.env("PPD", job.tmpFile("no such printer.ppd")).input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job) + kNoPpd, 0);
}

// ---- order of standard error

TEST(StandardError, MessagesComeInTheOrderOfTheRun) {
  Job job = jobWithOwnPjl();
  job.capture().log(1).env("DEVICE_URI", "pap://*/Office/LaserWriter");
  job.env("PPD", job.tmpFile("no such printer.ppd"));
  for (const char* name : {"qvn_ps", "qvn_ps2", "debug.log"}) {
    fs::create_directory(job.tmpFile(name));
  }
  expectOutcome(job.run(), plainJob(),
                tmpLine(job.tmp()) + kNoDebugFile + tmpLine(job.tmp()) + kCaptureOn + kNoCaptureIn +
                    kNoCaptureOut + kNoPpd + kAppleTalk,
                0);
}

}  // namespace
}  // namespace jobshaper::testing
