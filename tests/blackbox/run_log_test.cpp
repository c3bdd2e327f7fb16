// The records of a run in the debug file, from the entry record to the exit record.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kJobText = "%!PS-Adobe-3.0\nshowpage\n";

// Standard output of a job without options.
std::string plainJob(std::string_view body = kJobText) { return plainHeader() + body + trailer(); }

const std::string kSeparator = "\n" + std::string(88, '=');

std::string record(std::string_view function, std::string_view message) {
  return std::string("AI######\t[time]\t") + function + "\tL#\t" + message + "\n";
}

std::string mainRecord(std::string_view message) { return record("main", message); }

std::string note(std::string_view message) {
  return std::string("AN######\t[time]\tlogger\tL#\t") + message + "\n";
}

std::string openingRecords() {
  return std::string("AA######\t[time]\tlogger\tL#\tDEBUG GO\n") + note("file OK") +
         note("bID   \"Feiprion\"") + note("level 1") + note("mID   65") + note("I OK") +
         note("setup OK");
}

std::string storeRecords() {
  return record("-[argumentStore initWithOptionString:]", "{") +
         record("-[argumentStore initWithOptionString:]", "}");
}

constexpr std::string_view kBuilder = "-[pjlCreation initFromArgsStore:userID:jobName:]";

std::string builderRecords() { return record(kBuilder, "{") + record(kBuilder, "}"); }

// Job summary: version, options, URI, header lines.
std::string summary(const std::vector<std::string>& options, std::string_view uri,
                    const std::vector<std::string>& header) {
  std::string result = mainRecord("\n\nFilter version = 3.9\n");
  for (const std::string& option : options) result += mainRecord(option);
  result += mainRecord(kSeparator);
  result += mainRecord(std::string("     URI for printer = ") + uri);
  result += mainRecord(kSeparator);
  for (const std::string& line : header) result += mainRecord(line);
  return result;
}

std::string closingRecords() {
  return record("isOnlyPrintInside", "{") + record("isOnlyPrintInside", "}") +
         mainRecord("Initialized begin and end markers.") + mainRecord("}");
}

std::vector<std::string> plainHeaderLines() {
  return {std::string(kUel) + "@PJL JOB\n",
          "@PJL COMMENT Quorvan Macintosh driver\n",
          "@PJL SET STRINGCODESET = UTF8\n",
          "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" + hostName() + "\"\n",
          "@PJL SET JOBNAME = \"\"\n",
          "@PJL SET USERNAME = \"ada\"\n",
          "@PJL ENTER LANGUAGE = POSTSCRIPT\n"};
}

std::string debugFile(const Job& job) { return maskLog(readFile(job.tmpFile("debug.log"))); }

TEST(RunLog, HoldsTheWholeRunOfAPlainJob) {
  Job job;
  job.log(1).input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  EXPECT_EQ(debugFile(job),
            openingRecords() + mainRecord("{") + mainRecord("ARGV[0] = Quorvan_Office\n") +
                mainRecord("ARGV[1] = 42\n") + mainRecord("ARGV[2] = ada\n") +
                mainRecord("ARGV[3] = Title\n") + mainRecord("ARGV[4] = 1\n") +
                mainRecord("ARGV[5] = \n") + mainRecord("ARGV[6] = (null)\n") + storeRecords() +
                builderRecords() + summary({}, "socket://printer", plainHeaderLines()) +
                closingRecords());
}

TEST(RunLog, HoldsTheWholeRunOfAJobWithFileOptionsPpdAndCapture) {
  Job job;
  const std::string options =
      "QvnBlankPage=TRUE JRUSERNAME=Ada<20>L collate PrintTo=JRConf JRHOLDKEY=1234 JAUSERID=u1 "
      "JADEPTNUM=d<2c>3";
  job.log(1).capture().options(options).ppd("*QVGeneric: \"Color\"\n");
  job.title("100%d Title").env("DEVICE_URI", "ipp://[fe80::1%25en0]/ipp").fileWith(kJobText);

  const std::vector<std::string> header = {
      "\x1b%-12345X@PJL JOB\n",
      "@PJL COMMENT Quorvan Macintosh driver\n",
      "@PJL SET STRINGCODESET = UTF8\n",
      "@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" + hostName() + "\"\n",
      "@PJL SET JOBNAME = \"\"\n",
      "@PJL SET USERNAME = \"Ada L\"\n",
      "@PJL SET QBLANKPAGES = PRINT\n",
      "@PJL SET HOLD = ON\n",
      "@PJL SET HOLDTYPE = PRIVATE\n",
      "@PJL SET HOLDKEY = \"1234\"\n",
      "@PJL SET QDUPLICATEHELDJOBS = SAVE\n",
      "@PJL SET QJOBCREDUSERNAME = \"u1\"\n",
      "@PJL SET QJOBCREDACCOUNTID = \"\"\n",
      "@PJL SET QJOBCREDDEPTID = \"d,3\"\n",
      "@PJL SET QCOLORMODEL = CMYK\n",
      "@PJL SET RENDERMODE  = COLOR\n",
      "@PJL ENTER LANGUAGE = POSTSCRIPT\n"};
  std::string out;
  for (const std::string& line : header) out += line;
  out = out + kJobText + trailer();
  expectOutcome(job.run(), out, tmpLines(job) + kCaptureOn, 0);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kJobText);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);

  const std::string accounting = "-[pjlCreation addJobAcctgLines:]";
  EXPECT_EQ(
      debugFile(job),
      openingRecords() + mainRecord("{") + mainRecord("ARGV[0] = Quorvan_Office\n") +
          mainRecord("ARGV[1] = 42\n") + mainRecord("ARGV[2] = ada\n") +
          mainRecord("ARGV[3] = 100%d Title\n") + mainRecord("ARGV[4] = 1\n") +
          mainRecord("ARGV[5] = " + options + "\n") +
          mainRecord("ARGV[6] = " + job.argv().at(6) + "\n") + mainRecord("ARGV[7] = (null)\n") +
          storeRecords() + record(kBuilder, "{") + record(accounting, "{") +
          record(accounting, "}") + record(kBuilder, "}") +
          summary({"JADEPTNUM\td,3", "JAUSERID\tu1", "JRHOLDKEY\t1234", "JRUSERNAME\tAda L",
                   "PrintTo\tJRConf", "QVGeneric\tColor", "QvnBlankPage\tTRUE", "collate\ttrue"},
                  "ipp://[fe80::1%25en0]/ipp", header) +
          closingRecords());
}

TEST(RunLog, UnreadablePpdIsRecordedBetweenStoreAndBuilder) {
  Job job;
  job.log(1).env("PPD", job.tmpFile("no such printer.ppd"));
  expectOutcome(job.run(), plainJob(""), tmpLines(job) + "ERROR: Unable to open PPD file\n", 0);
  EXPECT_NE(debugFile(job).find(storeRecords() +
                                record("initPPDValues", "ERROR: Unable to open PPD file\n") +
                                builderRecords()),
            std::string::npos);
  const std::string raw = readFile(job.tmpFile("debug.log"));
  EXPECT_NE(raw.find("\tinitPPDValues\tL1816\t"), std::string::npos);
  EXPECT_NE(raw.find("\t-[argumentStore initWithOptionString:]\tL38\t{\n"), std::string::npos);
  EXPECT_NE(raw.find("\t-[argumentStore initWithOptionString:]\tL101\t}\n"), std::string::npos);
}

TEST(RunLog, UnreadableJobStopsAfterTheEntryRecord) {
  Job job;
  job.log(1).file(job.tmpFile("no such job"));
  expectOutcome(job.run(), "", "tmp at " + job.tmp() + " \nERROR: Cannot read the print job.\n", 1);
  EXPECT_EQ(debugFile(job), openingRecords() + mainRecord("{"));
}

TEST(RunLog, LongDeviceUriStopsAfterTheEntryRecord) {
  Job job;
  job.log(1).env("DEVICE_URI", std::string(100, 'u'));
  EXPECT_EQ(job.run().signal, SIGABRT);
  EXPECT_EQ(debugFile(job), openingRecords() + mainRecord("{"));
}

TEST(RunLog, AbsentDeviceUriIsShownAsNull) {
  Job job;
  job.log(1).unsetEnv("DEVICE_URI");
  job.run();
  EXPECT_NE(debugFile(job).find(mainRecord("     URI for printer = (null)")), std::string::npos);
}

TEST(RunLog, LongAndEightBitValuesAreShownWhole) {
  Job job;
  const std::string value = std::string(6000, 'v') + "\x8a\xdb\xff";
  job.log(1).options("Comment=" + value);
  expectOutcome(job.run(), plainJob(""), tmpLines(job), 0);
  const std::string log = debugFile(job);
  EXPECT_NE(log.find(mainRecord("ARGV[5] = Comment=" + value + "\n")), std::string::npos);
  EXPECT_NE(log.find(mainRecord("Comment\t" + value)), std::string::npos);
}

TEST(RunLog, LevelWithoutInfoBitHoldsNoRecordOfTheRun) {
  Job job;
  job.log(2).input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  EXPECT_EQ(debugFile(job), std::string("AA######\t[time]\tlogger\tL#\tDEBUG GO\n") +
                                note("file OK") + note("bID   \"Feiprion\"") + note("level 2") +
                                note("mID   65") + note("E OK") + note("setup OK"));
}

TEST(RunLog, IsNotCreatedWithoutASettingsFile) {
  Job job;
  job.input(std::string(kJobText));
  expectOutcome(job.run(), plainJob(), tmpLines(job), 0);
  EXPECT_TRUE(fs::is_empty(job.tmp()));
}

}  // namespace
}  // namespace jobshaper::testing
