// From the argument check to the first line of the job: what the filter takes from its
// arguments, its environment and the temporary directory, and what it says about it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/permissions.h"
#include "tests/support/process_state.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUsage =
    "ERROR: Version = 3.9 \n\tjobshaper job-id user title copies options [file]\n"
    "ERROR: Printer filter did not launch.\n";
constexpr std::string_view kNoCaptureIn =
    "ERROR: Cannot write incoming print data to a log file.\n";
constexpr std::string_view kNoCaptureOut =
    "ERROR: Cannot write outgoing print data to a log file.\n";

const std::string kJobText = "%!PS-Adobe-3.0\nshowpage\n";

std::string plainJob(std::string_view body = kJobText) { return plainHeader() + body + trailer(); }

void expectNotCaptured(const Job& job) {
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps")));
  EXPECT_FALSE(fs::exists(job.tmpFile("qvn_ps2")));
}

// ---- argument check

TEST(Arguments, OtherCountsThanSixAndSevenPrintTheUsageAndOpenNoFiles) {
  for (const std::size_t count : {0U, 1U, 2U, 3U, 4U, 7U, 8U}) {
    // The usage also comes before the check of the device URI.
    for (const std::string& uri : {std::string("socket://printer"), std::string(200, 'u')}) {
      Job job;
      job.arguments(std::vector<std::string>(count, "42")).env("DEVICE_URI", uri);
      expectOutcome(job.capture().log(1).input(kJobText).run(), "", kUsage, 1);
      expectNotCaptured(job);
      EXPECT_FALSE(fs::exists(job.tmpFile("debug.log")));
    }
  }
}

TEST(Arguments, JobIdTitleAndCopiesAreNotUsedAndMayBeEmpty) {
  expectRun(Job().arguments({"", "", "", "", ""}).input(kJobText),
            plainHeader("") + kJobText + trailer());
  expectBody(Job().jobId("../7 %n").title("Quarterly \"report\" %s").copies("25").input(kJobText),
             kJobText);
}

// ---- device URI

TEST(DeviceUri, AbsentOrEmptyUriIsNeitherUsbNorAppleTalk) {
  expectBody(Job().unsetEnv("DEVICE_URI").version("failed").input(kJobText), kJobText);
  expectBody(Job().env("DEVICE_URI", "").version("failed").input(kJobText), kJobText);
}

TEST(DeviceUri, NinetyNineBytesAreUsedAndLoggedWhole) {
  const std::string uri = "pap://" + std::string(92, 'a') + "z";
  Job job;
  expectRun(job.env("DEVICE_URI", uri).input(kJobText).log(1), plainJob(), kAppleTalk);
  EXPECT_NE(readFile(job.tmpFile("debug.log")).find("\t     URI for printer = " + uri + "\n"),
            std::string::npos);
}

TEST(DeviceUri, HundredBytesAbortTheRunBeforeAnyFileIsOpened) {
  for (const std::size_t size : {100U, 101U, 4000U}) {
    Job job;
    job.env("DEVICE_URI", "socket://" + std::string(size - 9, 'x')).capture();
    const Outcome outcome = job.file(job.tmpFile("no such job")).run();
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.signal, SIGABRT);
    const std::string start = "tmp at " + job.tmp() + " \nERROR: ";
    EXPECT_TRUE(outcome.err.starts_with(start)) << outcome.err;
    EXPECT_GT(outcome.err.size(), start.size() + 1);
    EXPECT_EQ(outcome.err.find('\n', start.size()), outcome.err.size() - 1) << outcome.err;
    EXPECT_EQ(outcome.err.find("Cannot read"), std::string::npos) << outcome.err;
    expectNotCaptured(job);
  }
}

// ---- input source

TEST(InputSource, SixArgumentsReadStandardInputThoughFilesOfTheArgumentsNamesExist) {
  Job job;
  const std::string path = job.tmpFile("Title");
  writeFile(path, "from the file\n");
  expectRun(job.arguments({path, path, path, path, path}).input("from standard input\n"),
            plainHeader(path) + "from standard input\n" + trailer());
}

TEST(InputSource, SevenArgumentsReadTheFileAloneWithoutWaiting) {
  Job job;
  expectBody(job.fileWith("from the file\n").input("from standard input\n"), "from the file\n");
  expectBody(job.fileWith(""), "");
  const std::string text = bytes("a\r\nb\x1a\xff\x80 \0\nlast");
  expectBody(job.fileWith(text), text);
  Process process(job);
  EXPECT_TRUE(endsByItself(process));
  expectOutcome(process.finish(), plainJob(text), tmpLines(job));
}

TEST(InputSource, FileMayHaveAnyNameAndBeALink) {
  Job job;
  writeFile(job.tmpFile("my job %s%n.ps"), kJobText);
  fs::create_symlink("my job %s%n.ps", job.tmpFile("link"));
  expectBody(job.file(job.tmpFile("my job %s%n.ps")), kJobText);
  expectBody(job.file(job.tmpFile("link")), kJobText);
}

// It ends the run before the capture is switched on.
TEST(InputSource, UnreadableFileIsReported) {
  const Job files;
  fs::create_directory(files.tmpFile("directory"));
  fs::create_symlink("directory", files.tmpFile("link to a directory"));
  fs::create_symlink("nowhere", files.tmpFile("dangling link"));
  writeFile(files.tmpFile("unreadable"), kJobText);
  fs::permissions(files.tmpFile("unreadable"), fs::perms::none);
  ASSERT_EQ(mknod(files.tmpFile("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  for (const std::string& path :
       {files.tmpFile("no such job"), std::string(), files.tmpFile("directory"),
        files.tmpFile("link to a directory"), files.tmpFile("dangling link"),
        files.tmpFile("unreadable/page"), files.tmpFile("unreadable"), files.tmpFile("socket")}) {
    Job job;
    job.capture().input(kJobText).file(path);
    expectOutcome(job.run(obeyPermissions), "",
                  "tmp at " + job.tmp() + " \nERROR: Cannot read the print job.\n", 1, path);
    expectNotCaptured(job);
  }
}

// ---- temporary directory

TEST(TemporaryDirectory, IsTmpIfTheVariableIsUnsetOrEmpty) {
  Job job;
  job.input(kJobText).env("TMPDIR", "");
  expectOutcome(job.run(), plainJob(), "tmp at /tmp \ntmp at /tmp \n");
  expectOutcome(job.unsetEnv("TMPDIR").run(), plainJob(), "tmp at /tmp \ntmp at /tmp \n");
}

TEST(TemporaryDirectory, NameIsUsedAsItIs) {
  Job job;
  job.input(kJobText);
  for (const std::string& path : {job.tmp() + "/", job.tmpFile("100%s %n")}) {
    writeFile(path + "/qvn_log", "");
    expectRun(job.env("TMPDIR", path), plainJob(), kCaptureOn);
    EXPECT_EQ(readFile(path + "/qvn_ps"), kJobText);
  }
}

TEST(TemporaryDirectory, MissingDirectoryIsNotCreated) {
  Job job;
  expectBody(job.env("TMPDIR", job.tmpFile("missing")).input(kJobText), kJobText);
  EXPECT_FALSE(fs::exists(job.tmpFile("missing")));
}

// ---- capture

// Jobs with the filter's own PJL, which is only in the captured input.
const std::string kOwnPjl = "@PJL SET COPIES = 9\n";

void expectCaptured(const Job& job, const BeforeExec& beforeExec = nullptr,
                    Where where = Where::here()) {
  expectOutcome(job.run(beforeExec), plainJob(), tmpLines(job) + kCaptureOn, 0, "", where);
  expectSame(readFile(job.tmpFile("qvn_ps")), kOwnPjl + kJobText, "qvn_ps", "the job", where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), plainJob(), "qvn_ps2", "the job", where);
}

Job jobWithOwnPjl() { return Job().input(kOwnPjl + kJobText); }

TEST(Capture, AnyKindOfMarkerTurnsItOn) {
  const std::vector<std::function<void(const std::string& path)>> makers{
      [](const std::string& path) { writeFile(path, "off\nfalse\n"); },
      [](const std::string& path) { fs::create_directory(path); },
      [](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
      [](const std::string& path) { writeFile(path, ""), fs::permissions(path, fs::perms::none); },
      [](const std::string& path) { fs::create_symlink(".", path); }};
  for (const auto& make : makers) {
    const Job job = jobWithOwnPjl();
    make(job.tmpFile("qvn_log"));
    expectCaptured(job, obeyPermissions);
  }
}

TEST(Capture, MarkerIsLeftAsItIs) {
  const Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("qvn_log"), "off\n");
  expectCaptured(job);
  EXPECT_EQ(readFile(job.tmpFile("qvn_log")), "off\n");
}

TEST(Capture, IsOffWithoutAMarkerOfTheExactName) {
  const Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("QVN_LOG"), "");
  writeFile(job.tmpFile("qvn_log.txt"), "");
  fs::create_symlink("nowhere", job.tmpFile("qvn_log"));
  expectBody(job, kJobText);
  expectNotCaptured(job);
}

TEST(Capture, FilesOfTheJobBeforeAreReplaced) {
  Job job = jobWithOwnPjl();
  for (const char* name : {"qvn_ps", "qvn_ps2"}) {
    writeFile(job.tmpFile(name), std::string(5000, 'o'));
  }
  expectCaptured(job.capture());
  // The job may come from a file, and may be empty.
  expectCaptured(job.fileWith(kOwnPjl + kJobText).input("from standard input\n"));
  expectRun(job.fileWith(""), plainJob(""), kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainJob(""));
}

TEST(Capture, UnwritableFileLeavesTheOtherOne) {
  Job in = jobWithOwnPjl().capture();
  fs::create_directory(in.tmpFile("qvn_ps"));
  expectRun(in, plainJob(), std::string(kCaptureOn) + kNoCaptureIn);
  EXPECT_EQ(readFile(in.tmpFile("qvn_ps2")), plainJob());
  Job out = jobWithOwnPjl().capture();
  fs::create_directory(out.tmpFile("qvn_ps2"));
  expectRun(out, plainJob(), std::string(kCaptureOn) + kNoCaptureOut);
  EXPECT_EQ(readFile(out.tmpFile("qvn_ps")), kOwnPjl + kJobText);
}

TEST(Capture, UnwritableDirectoryIsReportedTwiceAndTheJobStillPrinted) {
  Job job;
  job.capture().input(bytes("@PJL SET COPIES = 9\nzero\0byte\nlast"));
  fs::permissions(job.tmp(), fs::perms::owner_read | fs::perms::owner_exec);
  expectOutcome(job.run(obeyPermissions), plainJob(bytes("zero\0byte\nlast")),
                tmpLines(job) + kCaptureOn + kNoCaptureIn + kNoCaptureOut);
  expectNotCaptured(job);
}

// ---- order of standard error

TEST(StandardError, MessagesComeInTheOrderOfTheRun) {
  Job job = jobWithOwnPjl();
  job.capture().log(1).env("DEVICE_URI", "pap://*/Office/LaserWriter");
  job.env("PPD", job.tmpFile("missing.ppd"));
  for (const char* name : {"qvn_ps", "qvn_ps2", "debug.log"}) {
    fs::create_directory(job.tmpFile(name));
  }
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectOutcome(job.run(), plainJob(),
                line + "ERROR: Unable to open log file\n" + line + kCaptureOn + kNoCaptureIn +
                    kNoCaptureOut + "ERROR: Unable to open PPD file\n" + kAppleTalk);
}

}  // namespace
}  // namespace jobshaper::testing
