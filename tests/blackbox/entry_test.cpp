// From the argument check to the first line of the job: what the filter takes from its
// arguments, its environment and the temporary directory, and what it says about it.
#include <sys/stat.h>

#include <csignal>

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
  for (const std::size_t count : {0U, 4U, 7U}) {
    Job job;
    // The usage also comes before the check of the device URI.
    job.arguments(std::vector<std::string>(count, "42")).env("DEVICE_URI", std::string(200, 'u'));
    expectOutcome(job.capture().log(1).input(kJobText).run(), "", kUsage, 1);
    expectNotCaptured(job);
    EXPECT_FALSE(fs::exists(job.tmpFile("debug.log")));
  }
}

TEST(Arguments, MayBeEmpty) {
  expectRun(Job().arguments({"", "", "", "", ""}).input(kJobText),
            plainHeader("") + kJobText + trailer());
}

// ---- device URI

TEST(DeviceUri, HundredBytesAbortTheRunBeforeAnyFileIsOpened) {
  Job job;
  job.env("DEVICE_URI", std::string(100, 'x')).capture();
  const Outcome outcome = job.file(job.tmpFile("no such job")).run();
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "tmp at " + job.tmp() + " \nERROR: DEVICE_URI is longer than 99 bytes.\n");
  EXPECT_EQ(outcome.signal, SIGABRT);
  expectNotCaptured(job);
}

// ---- input source

TEST(InputSource, SevenArgumentsReadTheFileAloneWithoutWaiting) {
  Job job;
  const std::string text = bytes("a\r\nb\x1a\xff\x80 \0\nlast");
  writeFile(job.tmpFile("my job %s%n.ps"), text);
  fs::create_symlink("my job %s%n.ps", job.tmpFile("link"));
  Process process(job.file(job.tmpFile("link")));
  EXPECT_TRUE(endsByItself(process));
  expectOutcome(process.finish(), plainJob(text), tmpLines(job));
}

// It ends the run before the capture is switched on.
TEST(InputSource, UnreadableFileIsReported) {
  const Job files;
  writeFile(files.tmpFile("unreadable"), kJobText);
  fs::permissions(files.tmpFile("unreadable"), fs::perms::none);
  ASSERT_EQ(mknod(files.tmpFile("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  for (const std::string& path : {files.tmpFile("no such job"), std::string(), files.tmp(),
                                  files.tmpFile("unreadable"), files.tmpFile("socket")}) {
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

TEST(TemporaryDirectory, MissingDirectoryIsNotCreated) {
  Job job;
  expectBody(job.env("TMPDIR", job.tmpFile("100%s %n")).input(kJobText), kJobText);
  EXPECT_TRUE(fs::is_empty(job.tmp()));
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
  Job directory = jobWithOwnPjl(), pipe = jobWithOwnPjl(), unreadable = jobWithOwnPjl().capture();
  fs::create_directory(directory.tmpFile("qvn_log"));
  ASSERT_EQ(mkfifo(pipe.tmpFile("qvn_log").c_str(), 0600), 0);
  fs::permissions(unreadable.tmpFile("qvn_log"), fs::perms::none);
  for (const Job& job : {directory, pipe, unreadable}) expectCaptured(job, obeyPermissions);
}

TEST(Capture, IsOffWithoutAMarkerOfTheExactName) {
  const Job job = jobWithOwnPjl();
  writeFile(job.tmpFile("QVN_LOG"), "");
  writeFile(job.tmpFile("qvn_log.txt"), "");
  fs::create_symlink("nowhere", job.tmpFile("qvn_log"));
  expectBody(job, kJobText);
  expectNotCaptured(job);
}

TEST(Capture, ReplacesTheFilesOfTheJobBeforeAndLeavesTheMarker) {
  Job job = jobWithOwnPjl();
  job.env("TMPDIR", job.tmp() + "/");  // used as it is
  writeFile(job.tmpFile("qvn_log"), "off\n");
  for (const char* name : {"qvn_ps", "qvn_ps2"}) {
    writeFile(job.tmpFile(name), std::string(5000, 'o'));
  }
  expectCaptured(job);
  EXPECT_EQ(readFile(job.tmpFile("qvn_log")), "off\n");
  // The job may come from a file, and may be empty.
  expectCaptured(job.fileWith(kOwnPjl + kJobText).input("from standard input\n"));
  expectRun(job.fileWith(""), plainJob(""), kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), "");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), plainJob(""));
}

TEST(Capture, UnwritableFileLeavesTheOtherOne) {
  for (const std::string name : {"qvn_ps", "qvn_ps2"}) {
    const bool in = name == "qvn_ps";
    Job job = jobWithOwnPjl().capture();
    fs::create_directory(job.tmpFile(name));
    expectRun(job, plainJob(), std::string(kCaptureOn) + (in ? kNoCaptureIn : kNoCaptureOut));
    EXPECT_EQ(readFile(job.tmpFile(in ? "qvn_ps2" : "qvn_ps")),
              in ? plainJob() : kOwnPjl + kJobText);
  }
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

// ---- the log

TEST(SetUpLog, HasTheRecordsOfOptionsPpdAndAccountingInThisOrder) {
  Job job;
  job.log(1).options("JAUSERID=u").env("PPD", "/nonexistent/printer.ppd");
  const std::string options = "-[argumentStore initWithOptionString:]";
  const std::string header = "-[pjlCreation initFromArgsStore:userID:jobName:]";
  const std::string expected =
      logBraces(options) + logRecord("initPPDValues", "ERROR: Unable to open PPD file\n") +
      logRecord(header, "{") + logBraces("-[pjlCreation addJobAcctgLines:]") +
      logRecord(header, "}") + logRecord("main", "\n\nFilter version = 3.9\n");
  EXPECT_NE(maskedLogOf(job).find(expected), std::string::npos);
  // Some have fixed line numbers.
  const std::string log = readFile(job.tmpFile("debug.log"));
  for (const std::string& record :
       {options + "\tL38\t{\n", options + "\tL101\t}\n",
        std::string("\tinitPPDValues\tL1816\tERROR: Unable to open PPD file\n\n")}) {
    EXPECT_NE(log.find(record), std::string::npos) << record << log;
  }
}

// ---- libraries

// The files that are mapped into the process while it waits for the job.
std::string mappedFiles(const Job& job) {
  Process process(job.program(), job.argv(), job.environment());
  process.write("%!PS\n");
  EXPECT_TRUE(process.waitForOutputText("%!PS\n"));
  return readFile("/proc/" + std::to_string(process.pid()) + "/maps");
}

TEST(StartUp, LoadsThePropertyListLibraryOnlyToReadSettings) {
  const std::string maps = mappedFiles(Job());
  EXPECT_EQ(maps.find("libplist"), std::string::npos);
  EXPECT_NE(maps.find("libcups"), std::string::npos);
  EXPECT_NE(mappedFiles(Job().log(1)).find("libplist"), std::string::npos);
}

}  // namespace
}  // namespace jobshaper::testing
