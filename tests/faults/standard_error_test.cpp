// The scheduler treats lines on standard error that begin with "PPD:", "ATTR:" or "STATE:" as
// commands. Whatever job, options and arguments contain, the filter writes only fixed messages and
// the name of the temporary directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kCommands[] = {
    "STATE: +cover-open", "ATTR: marker-levels=0", "PPD: DefaultPageSize=A4",
    "ALERT: fire",        "PAGE: 1 9999",
};

// Every command on a separate line, for any kind of line end, between other bytes.
std::string hostile() {
  std::string text = "x";
  for (const std::string_view command : kCommands) {
    text.append("\n").append(command).append("\n%s%n\r").append(command).append("\r\n\x1b[2J");
  }
  return text;
}

// The same for text in which blanks and quotes have a meaning.
std::string hostileOptions() {
  std::string text;
  for (const char* name : {"JRUSERNAME", "PrintTo", "JRHOLDKEY", "JAUSERID", "QVBookletCoverSource",
                           "QVBookletCoverType", "QVBookletPageCountFilename", "QvnBlankPage",
                           "unknown", "com.apple.print.PrintSettings.PMCopies..n."}) {
    text.append(name).append("='").append(hostile()).append("' ");
  }
  return text + "\nSTATE: +paused=\nSTATE:=1 {ATTR: x} ";
}

void expectSilence(const Job& job, std::string_view err, int status = 0) {
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.err, err);
  EXPECT_EQ(outcome.exitStatus, status);
}

TEST(StandardErrorBytes, ContainNothingOfAJob) {
  Job job;
  job.input(hostile() + bytes("\0\n") + hostile());
  expectSilence(job, tmpLines(job));
}

TEST(StandardErrorBytes, ContainNothingOfArgumentsAndOptions) {
  const std::string text = hostile();
  for (const char* fold : {"", "QVBookletFold=Booklet ", "QVBookletFold='\nSTATE: x\n' "}) {
    Job job;
    job.arguments({text, text, text, text, fold + hostileOptions()}).input("%%Page: 1 1\n");
    job.env("DEVICE_URI", "socket:\nSTATE: +paused\n").env("LANG", text);
    expectSilence(job, tmpLines(job));
  }
}

TEST(StandardErrorBytes, ContainNothingOfArgumentsOfAWrongCall) {
  const std::string text = hostile();
  const std::string usage =
      "ERROR: Version = 3.9 \n\tjobshaper job-id user title copies options [file]\n"
      "ERROR: Printer filter did not launch.\n";
  expectSilence(Job().arguments({text, text, text}), usage, 1);
  expectSilence(Job().arguments({text, text, text, text, text, text, text}), usage, 1);
}

TEST(StandardErrorBytes, ContainNothingOfAMissingJobFile) {
  Job job;
  job.file(job.tmp() + "/\nSTATE: +paused\n");
  expectSilence(job, "tmp at " + job.tmp() + " \nERROR: Cannot read the print job.\n", 1);
}

TEST(StandardErrorBytes, ContainNothingOfADeviceUriThatIsTooLong) {
  Job job;
  job.env("DEVICE_URI", std::string(100, 'x') + "\nSTATE: +paused\n");
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.err, "tmp at " + job.tmp() + " \nERROR: DEVICE_URI is longer than 99 bytes.\n");
}

TEST(StandardErrorBytes, ContainNothingOfAMissingPpd) {
  Job job;
  job.env("PPD", job.tmp() + "/\nSTATE: +paused\n");
  expectSilence(job, join(tmpLines(job), "ERROR: Unable to open PPD file\n"));
}

TEST(StandardErrorBytes, ContainNothingOfAPpd) {
  Job job;
  job.ppd("*QVGeneric: \"\nSTATE: +paused\n\"\n" + hostile());
  expectSilence(job, tmpLines(job));
}

TEST(StandardErrorBytes, ContainNothingOfAManualBooklet) {
  Job job = manualJob(join("%%Page: 1 1\n", hostile(), "\n%%Page: 2 2\n", hostile()));
  job.jobId("\nSTATE: +paused\n").user(hostile()).title(hostile()).env("LANG", hostile());
  expectSilence(job, join(threeTmpLines(job), kNoInstruction));
}

TEST(StandardErrorBytes, ContainNothingOfAManualBookletThatFails) {
  Job job = manualJob(join("%%Page: 1 1\n", hostile()));
  job.jobId("a/b\nSTATE: +paused\n");
  expectSilence(job, join(threeTmpLines(job), kNoFile, kFatal), 1);
}

TEST(StandardErrorBytes, ContainNothingOfALog) {
  Job job;
  job.log(7).capture().user(hostile()).options(hostileOptions()).input(hostile());
  expectSilence(job, join(tmpLines(job), kCaptureOn));
}

TEST(StandardErrorBytes, ContainNothingOfTheLogsSettings) {
  Job job;
  for (const std::string_view text :
       {"<plist version=\"1.0\"><dict><key>\nSTATE: x\n</key></plist>",
        "<plist version=\"1.0\"><dict><key>Feiprion</key><dict><key>debugLevel</key>"
        "<integer>\nSTATE: x\n</integer></dict></dict></plist>",
        "<!DOCTYPE \nSTATE: x\n><plist><\nSTATE: x\n></plist>",
        "<plist><date>\nSTATE: x\n</date><data>\nSTATE: x\n</data>&\nSTATE;\n</plist>"}) {
    writeFile(job.tmpFile("Debug/.DebugPlist/qvDebug.plist"), text);
    expectSilence(job, tmpLines(job));
  }
  job.log(7);
  const std::string settings = job.tmpFile("Debug/.DebugPlist/qvDebug.plist");
  std::string list = readFile(settings);
  list.replace(list.find("debug.log"), 9, "no/\nSTATE: x\n.log");
  writeFile(settings, list);
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectSilence(job, join(line, "ERROR: Unable to open log file\n", line));
}

TEST(StandardErrorBytes, ContainNothingOfAnInstructionPage) {
  const TemporaryDirectory pages;
  writeFile(pages.file("en.lproj/instruction(null)"), hostile());
  Job job = manualJob("%%Page: 1 1\n");
  job.version("0x1050").env("JOBSHAPER_INSTRUCTIONS", pages.path()).env("LANG", "en");
  expectSilence(job, threeTmpLines(job));
}

}  // namespace
}  // namespace jobshaper::testing
