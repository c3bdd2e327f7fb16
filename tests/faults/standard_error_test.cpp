// The scheduler treats lines on standard error that begin with "PPD:", "ATTR:" or "STATE:" as
// commands. Whatever job, options and arguments contain, the filter writes only fixed messages and
// the name of the temporary directory.
#include "tests/faults/fault_jobs.h"

namespace jobshaper::testing {
namespace {

// Every command on a separate line, for any kind of line end, between other bytes.
std::string hostile() {
  std::string text = "x";
  for (const std::string_view command : {"STATE: +cover-open", "ATTR: marker-levels=0",
                                         "PPD: DefaultPageSize=A4", "ALERT: fire", "PAGE: 1 9999"})
    text += join("\n", command, "\n%s%n\r", command, "\r\n\x1b[2J");
  return text;
}

// The same for text in which blanks and quotes have a meaning.
std::string hostileOptions() {
  std::string text;
  for (const char* name : {"JRUSERNAME", "PrintTo", "JRHOLDKEY", "JAUSERID", "QVBookletCoverSource",
                           "QVBookletCoverType", "QVBookletPageCountFilename", "QvnBlankPage",
                           "unknown", "com.apple.print.PrintSettings.PMCopies..n."})
    text += join(name, "='", hostile(), "' ");
  return text + "\nSTATE: +paused=\nSTATE:=1 {ATTR: x} ";
}

void expectMessages(const Job& job, std::string_view err, int status = 0,
                    Where where = Where::here()) {
  const Outcome outcome = job.run();
  expectSame(outcome.err, err, "standard error", "the job", where);
  EXPECT_EQ(outcome.exitStatus, status);
}

TEST(StandardErrorBytes, ContainNothingOfAJobItsArgumentsAndItsPpd) {
  const std::string text = hostile();
  for (const char* fold : {"", "QVBookletFold=Booklet ", "QVBookletFold='\nSTATE: x\n' "}) {
    Job job = Job().capture().log(7).input("%%Page: 1 1\n" + text + bytes("\0\n") + text);
    job.arguments({text, text, text, text, fold + hostileOptions()}).env("LANG", text);
    job.env("DEVICE_URI", "socket:\nSTATE: +paused\n");
    job.ppd("*QVGeneric: \"\nSTATE: +paused\n\"\n" + text);
    expectMessages(job, join(tmpLines(job), kCaptureOn));
  }
}

TEST(StandardErrorBytes, ContainNothingOfAJobThatFails) {
  const std::string text = hostile();
  const std::string usage =
      "ERROR: Version = 3.9 \n\tjobshaper job-id user title copies options [file]\n"
      "ERROR: Printer filter did not launch.\n";
  expectMessages(Job().arguments({text, text, text}), usage, 1);
  expectMessages(Job().arguments({text, text, text, text, text, text, text}), usage, 1);
  Job job;
  expectMessages(Job(job).env("PPD", job.tmp() + "/\nSTATE: +paused\n"),
                 join(tmpLines(job), "ERROR: Unable to open PPD file\n"));
  expectMessages(Job(job).env("DEVICE_URI", std::string(100, 'x') + "\nSTATE: +paused\n"),
                 tmpLine(job) + "ERROR: DEVICE_URI is longer than 99 bytes.\n", -1);
  expectMessages(job.file(job.tmp() + "/\nSTATE: +paused\n"), join(tmpLine(job), kCannotRead), 1);
}

TEST(StandardErrorBytes, ContainNothingOfAManualBooklet) {
  const std::string text = join("%%Page: 1 1\n", hostile(), "\n%%Page: 2 2\n", hostile());
  Job job = instructedJob(text, hostile());
  job.user(hostile()).title(hostile()).jobId("\nSTATE: +paused\n");
  expectMessages(job, threeTmpLines(job));
  expectMessages(Job(job).env("LANG", hostile()), join(threeTmpLines(job), kNoInstruction));
  expectMessages(job.jobId("a/b\nSTATE: +paused\n"), join(threeTmpLines(job), kNoFile, kFatal), 1);
}

TEST(StandardErrorBytes, ContainNothingOfTheLogsSettings) {
  const Job job = loggedJob("no/\nSTATE: x\n.log");
  expectMessages(job, join(tmpLine(job), "ERROR: Unable to open log file\n", tmpLine(job)));
  for (const std::string_view text :
       {"<plist version=\"1.0\"><dict><key>\nSTATE: x\n</key></plist>",
        "<plist version=\"1.0\"><dict><key>Feiprion</key><dict><key>debugLevel</key>"
        "<integer>\nSTATE: x\n</integer></dict></dict></plist>",
        "<!DOCTYPE \nSTATE: x\n><plist><\nSTATE: x\n></plist>",
        "<plist><date>\nSTATE: x\n</date><data>\nSTATE: x\n</data>&\nSTATE;\n</plist>"}) {
    writeFile(job.tmpFile(kLogSettings), text);
    expectMessages(job, tmpLines(job));
  }
}

}  // namespace
}  // namespace jobshaper::testing
