// The PJL around the PostScript: header, trailer, the effect of the device URI, and which bytes
// have been written while the filter waits or when it is killed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process_state.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// A job with its own PJL, and what remains of it.
const std::string kJob =
    "\x1b%-12345X@PJL JOB\n@PJL ENTER LANGUAGE = POSTSCRIPT\n%!PS-Adobe-3.0\nshowpage\n"
    "\x1b%-12345X@PJL EOJ\n\x1b%-12345X";
const std::string kBody = "%!PS-Adobe-3.0\nshowpage\n";

// ---- header and trailer

TEST(Wrapping, JobIsBetweenHeaderAndTrailer) {
  for (const std::string body : {"%!PS-Adobe-3.0\nshowpage\n", "showpage"}) {
    expectRun(Job().user("100%s%n").input(body),
              "\x1b%-12345X@PJL JOB\n"
              "@PJL COMMENT Quorvan Macintosh driver\n"
              "@PJL SET STRINGCODESET = UTF8\n"
              "@PJL QJOBINFO USERID = \"100%s%n\" HOSTID = \"" +
                  hostName() +
                  "\"\n"
                  "@PJL SET JOBNAME = \"\"\n"
                  "@PJL SET USERNAME = \"100%s%n\"\n"
                  "@PJL ENTER LANGUAGE = POSTSCRIPT\n" +
                  body +
                  "\x1b%-12345X\x1b%-12345X@PJL RDYMSG DISPLAY = \"\"\n"
                  "@PJL EOJ\n"
                  "@PJL QPORTROTATE\n"
                  "\x1b%-12345X");
  }
}

// ---- the device URI

// Runs the job with this URI, without and with the capture. The captured output ends with the
// trailer even if the printer does not get it.
void expectUris(const std::vector<const char*>& versions, const std::vector<const char*>& uris,
                bool wrapped, std::string_view message = "", Where where = Where::here()) {
  const std::string header = wrapped ? plainHeader() : "";
  for (const char* version : versions) {
    for (const char* uri : uris) {
      Job job;
      if (*version) job.version(version);
      const std::string out = header + kBody + (wrapped ? trailer() : "");
      expectRun(job.env("DEVICE_URI", uri).input(kJob), out, message, 0, where);
      expectRun(job.capture(), out, std::string(kCaptureOn) + message, 0, where);
      expectSame(readFile(job.tmpFile("qvn_ps")), kJob, "qvn_ps", uri, where);
      expectSame(readFile(job.tmpFile("qvn_ps2")), header + kBody + trailer(), "qvn_ps2", uri,
                 where);
    }
  }
}

// "" is the system that the program runs on.
const std::vector<const char*> kOldSystems{"0x102f", "0x1000", "0", "failed"};
const std::vector<const char*> kNewSystems{"0x1030", "0x1049", "0x1050", ""};
const std::vector<const char*> kSystems{"0x102f", "0", "failed", "0x1030", "0x1050", ""};

TEST(UriScheme, UsbPrinterReceivesOnlyThePostScriptBefore1030) {
  const std::vector<const char*> uris{"usb:", "usb://Quorvan/Office?sn=1", "usb:/dev/usb/lp0"};
  expectUris(kOldSystems, uris, false);
  expectUris(kNewSystems, uris, true);
}

TEST(UriScheme, OtherPrintersReceiveThePjlOnEverySystem) {
  expectUris(kSystems, {"socket://printer", "ipp://printer/ipp", "lpd://printer/queue"}, true);
  expectUris({"0x102f"},
             {"usb", "USB://Quorvan/Office", "Usb://Quorvan/Office", "usb//Quorvan/Office",
              "usbs://Quorvan/Office", " usb://Quorvan/Office", "ipp://usb:/", ""},
             true);
}

TEST(UriScheme, AppleTalkPrinterIsReportedOnEverySystem) {
  expectUris(kSystems, {"pap:", "pap://*/Office/LaserWriter"}, true, kAppleTalk);
  expectUris({""},
             {"pap", "PAP://*/Office/LaserWriter", "pap//Office", " pap://Office", "socket://pap:"},
             true);
}

// ---- write errors

// 600,000 bytes of text, more than the capacity of any pipe or buffer.
std::string longText() {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "0 0 moveto 100 100 lineto str\n";
  return text;
}

// Runs the job with these descriptors as standard input and output.
Outcome runOn(const Job& job, int in, int out) {
  return job.run([in, out] {
    dup2(in, 0);
    dup2(out, 1);
  });
}

// The job is read to its end, although this descriptor takes nothing, and the captures are whole.
void expectReadToTheEnd(int out, Where where = Where::here()) {
  const std::string text = longText();
  const TemporaryDirectory directory;
  writeFile(directory.file("job"), text);
  Job job;
  for (const bool captured : {false, true}) {
    const int in = open(directory.file("job").c_str(), O_RDONLY | O_CLOEXEC);
    if (captured) job.capture();
    expectOutcome(runOn(job, in, out), "", tmpLines(job) + (captured ? kCaptureOn : ""), 0, "",
                  where);
    EXPECT_EQ(lseek(in, 0, SEEK_CUR), 600000);
    close(in);
  }
  expectSame(readFile(job.tmpFile("qvn_ps")), text, "qvn_ps", "the job", where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), plainHeader() + text + trailer(), "qvn_ps2",
             "the job", where);
  close(out);
}

TEST(WriteError, IsIgnored) {
  expectReadToTheEnd(open("/dev/full", O_WRONLY | O_CLOEXEC));
  expectReadToTheEnd(open("/dev/null", O_RDONLY | O_CLOEXEC));
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  expectReadToTheEnd(ends[1]);
}

TEST(WriteError, ReaderThatLeavesAfterTheHeaderDoesNotEndTheRun) {
  Job job;
  Process process(job.capture());
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  process.closeOutput();
  const std::string text = longText() + bytes("zero\0byte\n") + longText();
  process.write(text);
  expectOutcome(process.finish(), plainHeader(), tmpLines(job) + kCaptureOn);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == plainHeader() + text + trailer());
}

// ---- what has been written while the filter waits for input

// Waits for exactly this output of a job whose input stays open.
void expectOut(Process& process, const std::string& expected, Where where = Where::here()) {
  EXPECT_TRUE(process.waitForOutput(expected.size()));
  expectSame(process.out(), expected, "standard output", "the waiting job", where);
}

TEST(Flush, HeaderAndMessagesAreWrittenBeforeAnyInput) {
  Job job;
  Process process(job.env("DEVICE_URI", "pap://*/Office"));
  expectOut(process, plainHeader());
  const std::string err = tmpLines(job) + kAppleTalk;
  EXPECT_TRUE(process.waitForError(err.size()));
  EXPECT_EQ(process.err(), err);
  process.write(kBody);
  expectOutcome(process.finish(), plainHeader() + kBody + trailer(), err);
}

// Each of these ends with a piece that contains a zero byte.
TEST(Flush, PieceWithAZeroByteAndAllBeforeItAreWrittenAtOnce) {
  const std::string starts[] = {bytes("one\ntwo\nthree\0\n"), bytes("\0\r"),
                                bytes("\0") + std::string(1023, 'x'), bytes("one\n\0\n")};
  for (const std::string& start : starts) {
    for (const bool wrapped : {true, false}) {
      Job job;
      if (!wrapped) job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/Office");
      const std::string header = wrapped ? plainHeader() : "";
      Process process(job);
      process.write("@PJL JOB\n" + start);
      expectOut(process, header + start);
      process.write(bytes("four\n\0\n"));
      expectOut(process, header + start + bytes("four\n\0\n"));
      process.write("\nfive\n");
      expectOutcome(process.finish(),
                    header + start + bytes("four\n\0\n\nfive\n") + (wrapped ? trailer() : ""),
                    tmpLines(job));
    }
  }
}

TEST(Flush, PieceWithAZeroByteIsWrittenThoughTheNextLineHasBegun) {
  const Job job;
  Process process(job);
  process.write(bytes("one\0\n@PJ"));
  const std::string start = plainHeader() + bytes("one\0\n");
  EXPECT_TRUE(process.waitForOutput(start.size()));
  EXPECT_TRUE(process.out().starts_with(start));
  process.write("L SET COPIES = 2\nshowpage\n");
  expectOutcome(process.finish(), start + "showpage\n" + trailer(), tmpLines(job));
}

TEST(Flush, CaptureFilesHoldEveryFinishedPieceWhileTheFilterWaits) {
  Job job;
  Process process(job.capture());
  const auto expectSoon = [&](const std::string& name, const std::string& expected) {
    EXPECT_TRUE(becomesTrue([&] { return contentOf(job.tmpFile(name)) == expected; }))
        << name << ": " << contentOf(job.tmpFile(name));
  };
  expectSoon("qvn_ps2", plainHeader());
  expectSoon("qvn_ps", "");
  process.write("@PJL JOB\none\n");
  expectSoon("qvn_ps", "@PJL JOB\none\n");
  expectSoon("qvn_ps2", plainHeader() + "one\n");
  process.write("two\rthr");
  expectSoon("qvn_ps", "@PJL JOB\none\ntwo\r");
  expectSoon("qvn_ps2", plainHeader() + "one\ntwo\r");
  process.write(bytes("ee\n\0\nrest"));
  expectSoon("qvn_ps", bytes("@PJL JOB\none\ntwo\rthree\n\0\n"));
  expectSoon("qvn_ps2", plainHeader() + bytes("one\ntwo\rthree\n\0\n"));
  const std::string out = plainHeader() + bytes("one\ntwo\rthree\n\0\nrest") + trailer();
  expectOutcome(process.finish(), out, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), bytes("@PJL JOB\none\ntwo\rthree\n\0\nrest"));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

// ---- what is left after a kill

TEST(Killed, CaptureFilesOfAWaitingJobAreComplete) {
  Job job;
  Process process(job.capture());
  const std::string text = longText() + bytes("@PJL EOJ\nlast\0\n");
  const std::string printed = plainHeader() + longText() + bytes("last\0\n");
  process.write(text);
  EXPECT_TRUE(process.waitForOutput(printed.size()));
  EXPECT_TRUE(becomesTrue(
      [&] { return std::filesystem::file_size(job.tmpFile("qvn_ps2")) == printed.size(); }));
  process.kill(SIGKILL);
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.signal, SIGKILL);
  EXPECT_TRUE(outcome.out == printed);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps")) == text);
  EXPECT_TRUE(readFile(job.tmpFile("qvn_ps2")) == printed);
}

// The capture files are written before standard output, so a kill does not lose what was printed.
TEST(Killed, CaptureFilesOfAWorkingJobReachUpToWhatWasPrinted) {
  Job job;
  Process process(job.capture());
  const std::string text = longText();
  const std::string whole = plainHeader() + text;
  process.write(text);
  process.kill(SIGKILL);
  const Outcome outcome = process.finish();
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
