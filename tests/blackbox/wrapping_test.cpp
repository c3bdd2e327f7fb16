// The PJL around the PostScript: header, trailer, the effect of the device URI, and which bytes
// have been written while the filter waits.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// A job with its own PJL, and what remains of it.
const std::string kJob =
    "\x1b%-12345X@PJL JOB\n@PJL ENTER LANGUAGE = POSTSCRIPT\n%!PS-Adobe-3.0\nshowpage\n"
    "\x1b%-12345X@PJL EOJ\n\x1b%-12345X";
const std::string kBody = "%!PS-Adobe-3.0\nshowpage\n";

// ---- header and trailer

// Job id, title, copies and unknown options are not in the header.
TEST(Wrapping, JobIsBetweenHeaderAndTrailer) {
  Job job;
  job.jobId("../77 %n").user("100%s%n").title("Secret \"title\" %s").copies("9");
  job.options("collate=true Duplex=DuplexTumble MediaType=Plain PageSize=A4 job-sheets=none");
  for (const std::string body : {"%!PS-Adobe-3.0\nshowpage\n", "showpage"}) {
    expectRun(job.input(body),
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

// Runs the job for each URI. The capture ends with the trailer even if the printer does not get it.
void expectUris(const std::string& version, const std::vector<const char*>& uris, bool wrapped,
                std::string_view message = "", Where where = Where::here()) {
  const std::string header = wrapped ? plainHeader() : "";
  for (const char* uri : uris) {
    Job job;
    if (!version.empty()) job.version(version);
    expectRun(job.capture().env("DEVICE_URI", uri).input(kJob),
              header + kBody + (wrapped ? trailer() : ""), std::string(kCaptureOn) + message, 0,
              where);
    expectSame(readFile(job.tmpFile("qvn_ps")), kJob, "qvn_ps", uri, where);
    expectSame(readFile(job.tmpFile("qvn_ps2")), header + kBody + trailer(), "qvn_ps2", uri, where);
  }
}

constexpr char kOldSystem[] = "0x102f", kThisSystem[] = "";

TEST(UriScheme, UsbPrinterReceivesOnlyThePostScriptBefore1030) {
  expectUris(kOldSystem, {"usb:", "usb://Quorvan/Office?sn=1"}, false);
  expectUris("failed", {"usb:/dev/usb/lp0"}, false);
  expectUris("0x1030", {"usb://Quorvan/Office"}, true);
  expectUris(kThisSystem, {"usb://Quorvan/Office"}, true);
}

TEST(UriScheme, OtherPrintersReceiveThePjlOnEverySystem) {
  expectUris(kOldSystem,
             {"socket://printer", "usb", "USB://Quorvan/Office", "usb//Quorvan/Office",
              "usbs://Quorvan/Office", " usb://Quorvan/Office", "ipp://usb:/", ""},
             true);
  expectUris("failed", {"socket://printer"}, true);
  expectBody(Job().unsetEnv("DEVICE_URI").version("failed").input(kJob), kBody);
}

TEST(UriScheme, AppleTalkPrinterIsReportedOnEverySystem) {
  for (const char* version : {"failed", kOldSystem, kThisSystem}) {
    expectUris(version, {"pap:", "pap://*/Office/LaserWriter"}, true, kAppleTalk);
  }
  const std::string longest = "pap://" + std::string(93, 'a');
  expectUris(kThisSystem, {longest.c_str()}, true, kAppleTalk);
  expectUris(kThisSystem,
             {"pap", "PAP://*/Office/LaserWriter", "pap//Office", " pap://Office", "socket://pap:"},
             true);
}

// ---- write errors

// 600,000 bytes of text, more than the capacity of any pipe or buffer.
const std::string kLongText = [] {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "0 0 moveto 100 100 lineto str\n";
  return text;
}();

// The job is read to its end, although this descriptor takes nothing, and the captures are whole.
void expectReadToTheEnd(int out, Where where = Where::here()) {
  Job job;
  writeFile(job.tmpFile("job"), kLongText);
  for (const bool captured : {false, true}) {
    const int in = open(job.tmpFile("job").c_str(), O_RDONLY | O_CLOEXEC);
    if (captured) job.capture();
    const Outcome outcome = job.run([in, out] {
      dup2(in, 0);
      dup2(out, 1);
    });
    expectOutcome(outcome, "", tmpLines(job) + (captured ? kCaptureOn : ""), 0, "", where);
    EXPECT_EQ(lseek(in, 0, SEEK_CUR), kLongText.size());
    close(in);
  }
  expectSame(readFile(job.tmpFile("qvn_ps")), kLongText, "qvn_ps", "the job", where);
  expectSame(readFile(job.tmpFile("qvn_ps2")), plainHeader() + kLongText + trailer(), "qvn_ps2",
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

// ---- what has been written while the filter waits for input

// What a kill leaves, too: the captures are written before standard output.
TEST(Flush, HeaderMessagesAndEveryFinishedPieceAreWrittenBeforeTheJobWaits) {
  Job job;
  Process process(job.capture().env("DEVICE_URI", "pap://*/Office"));
  const std::string err = tmpLines(job) + kCaptureOn + kAppleTalk;
  EXPECT_TRUE(process.waitForError(err.size()));
  EXPECT_EQ(process.err(), err);
  std::string in, out = plainHeader();
  const auto expectWritten = [&](const std::string& pieces, const std::string& pjl = "",
                                 Where where = Where::here()) {
    in += pjl + pieces;
    out += pieces;
    EXPECT_TRUE(process.waitForOutput(out.size()));
    expectSame(process.out(), out, "standard output", "the waiting job", where);
    expectSame(readFile(job.tmpFile("qvn_ps")), in, "qvn_ps", "the waiting job", where);
    expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the waiting job", where);
  };
  expectWritten("");
  process.write("@PJL JOB\none\n");
  expectWritten("one\n", "@PJL JOB\n");
  process.write("two\rthr");
  expectWritten("two\r");
  process.write("ee\n" + kLongText + bytes("four\0\n"));
  expectWritten("three\n" + kLongText + bytes("four\0\n"));
  process.write("not finished");
  process.kill(SIGKILL);
  EXPECT_EQ(process.finish().signal, SIGKILL);
  expectWritten("");
}

}  // namespace
}  // namespace jobshaper::testing
