// The diagnostic log of whole jobs: what the settings file turns on, what is then in the debug
// file, and that the log never disturbs the job.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

constexpr const char* kJob = "%!PS\nshowpage\n";

std::string printed() { return plainHeader() + kJob + trailer(); }

Job plainJob() { return Job().input(kJob); }

// Runs the job, and expects it to be printed with these messages on standard error.
void expectPrinted(const Job& job, const std::string& err) {
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, printed());
  EXPECT_EQ(outcome.err, err);
  EXPECT_EQ(outcome.exitStatus, 0);
}

void expectPrinted(const Job& job) { expectPrinted(job, tmpLines(job)); }

std::string tmpLine(const Job& job) { return "tmp at " + job.tmp() + " \n"; }

bool hasLog(const Job& job) { return std::filesystem::exists(job.tmpFile("debug.log")); }

std::string rawLog(const Job& job) { return readFile(job.tmpFile("debug.log")); }

// The masked debug file, without the two records of the cover query.
std::string logOf(const Job& job) {
  std::string result;
  std::string rest = maskLog(rawLog(job));
  for (std::size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1)) {
    const std::string line = rest.substr(0, end + 1);
    if (line.find("\tisOnlyPrintInside\t") == std::string::npos) result += line;
  }
  return result + rest;
}

void settings(const Job& job, std::string_view bytes) {
  writeFile(job.tmpFile("Debug/.DebugPlist/qvDebug.plist"), bytes);
}

// Settings with these lines in the entry of this program.
void entry(const Job& job, const std::string& lines) {
  settings(job,
           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n<key>Feiprion</key>\n<dict>\n" +
               lines + "\n</dict>\n</dict>\n</plist>\n");
}

// The notes of a run at a level that excludes all records of the job.
std::string quietNotes(const std::string& letter, int level, int module, const char* bits) {
  const std::string note = letter + "N######\t[time]\tlogger\tL#\t";
  std::string result = letter + "A######\t[time]\tlogger\tL#\tDEBUG GO\n" + note + "file OK\n" +
                       note + "bID   \"Feiprion\"\n" + note + "level " + std::to_string(level) +
                       "\n" + note + "mID   " + std::to_string(module) + "\n";
  for (; *bits; ++bits) result += note + *bits + " OK\n";
  return result + note + "setup OK\n";
}

const std::string kDumpedSettings =
    "AD######\t[time]\tsetupDebug\tL#\tsetupDebug L512: debugPlist\n"
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n"
    "<dict>\n"
    "\t<key>Feiprion</key>\n"
    "\t<dict>\n"
    "\t\t<key>debugFile</key>\n"
    "\t\t<string>debug.log</string>\n"
    "\t\t<key>debugLevel</key>\n"
    "\t\t<integer>LEVEL</integer>\n"
    "\t\t<key>moduleNumber</key>\n"
    "\t\t<integer>1</integer>\n"
    "\t</dict>\n"
    "</dict>\n"
    "</plist>\n\n";

std::string dumpedSettings(const std::string& level) {
  std::string result = kDumpedSettings;
  return result.replace(result.find("LEVEL"), 5, level);
}

// The records of plainJob() at level 1.
std::string jobRecords() {
  return "AI######\t[time]\tmain\tL#\t{\n"
         "AI######\t[time]\tmain\tL#\tARGV[0] = Quorvan_Office\n\n"
         "AI######\t[time]\tmain\tL#\tARGV[1] = 42\n\n"
         "AI######\t[time]\tmain\tL#\tARGV[2] = ada\n\n"
         "AI######\t[time]\tmain\tL#\tARGV[3] = Title\n\n"
         "AI######\t[time]\tmain\tL#\tARGV[4] = 1\n\n"
         "AI######\t[time]\tmain\tL#\tARGV[5] = \n\n"
         "AI######\t[time]\tmain\tL#\tARGV[6] = (null)\n\n"
         "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL#\t{\n"
         "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL#\t}\n"
         "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t{\n"
         "AI######\t[time]\t-[pjlCreation initFromArgsStore:userID:jobName:]\tL#\t}\n"
         "AI######\t[time]\tmain\tL#\t\n\nFilter version = 3.9\n\n"
         "AI######\t[time]\tmain\tL#\t\n"
         "============================================"
         "============================================\n"
         "AI######\t[time]\tmain\tL#\t     URI for printer = socket://printer\n"
         "AI######\t[time]\tmain\tL#\t\n"
         "============================================"
         "============================================\n"
         "AI######\t[time]\tmain\tL#\t\x1b%-12345X@PJL JOB\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL COMMENT Quorvan Macintosh driver\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL SET STRINGCODESET = UTF8\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL QJOBINFO USERID = \"ada\" HOSTID = \"" +
         hostName() +
         "\"\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL SET JOBNAME = \"\"\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL SET USERNAME = \"ada\"\n\n"
         "AI######\t[time]\tmain\tL#\t@PJL ENTER LANGUAGE = POSTSCRIPT\n\n"
         "AI######\t[time]\tmain\tL#\tInitialized begin and end markers.\n"
         "AI######\t[time]\tmain\tL#\t}\n";
}

// ---- levels ----

TEST(DebugLog, WithoutSettingsOnlyNamesTheDirectory) {
  const Job job = plainJob();
  expectPrinted(job, "tmp at " + job.tmp() + " \ntmp at " + job.tmp() + " \n");
  EXPECT_TRUE(std::filesystem::is_empty(job.tmp()));
}

TEST(DebugLog, OfLevelOneTracesTheWholeRun) {
  const Job job = plainJob().log(1);
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("A", 1, 65, "I") + jobRecords());
}

TEST(DebugLog, OfLevelTwoHasOnlyTheNotesOfAGoodRun) {
  const Job job = plainJob().log(2);
  expectPrinted(job);
  EXPECT_EQ(logOf(job),
            "AA######\t[time]\tlogger\tL#\tDEBUG GO\n"
            "AN######\t[time]\tlogger\tL#\tfile OK\n"
            "AN######\t[time]\tlogger\tL#\tbID   \"Feiprion\"\n"
            "AN######\t[time]\tlogger\tL#\tlevel 2\n"
            "AN######\t[time]\tlogger\tL#\tmID   65\n"
            "AN######\t[time]\tlogger\tL#\tE OK\n"
            "AN######\t[time]\tlogger\tL#\tsetup OK\n");
}

TEST(DebugLog, OfLevelThreeTracesTheWholeRun) {
  const Job job = plainJob().log(3);
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("A", 3, 65, "IE") + jobRecords());
}

TEST(DebugLog, OfLevelFourDumpsTheSettings) {
  const Job job = plainJob().log(4);
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("A", 4, 65, "D") + dumpedSettings("4"));
}

TEST(DebugLog, OfLevelSevenDumpsTheSettingsAndTracesTheRun) {
  const Job job = plainJob().log(7);
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("A", 7, 65, "IED") + dumpedSettings("7") + jobRecords());
}

TEST(DebugLog, OfAnUnknownLevelBitHasOnlyTheNotes) {
  const Job job = plainJob().log(8);
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("A", 8, 65, ""));
}

TEST(DebugLog, OfLevelZeroOrLessDoesNotExist) {
  for (const int level : {0, -1, -8}) {
    const Job job = plainJob().log(level);
    expectPrinted(job);
    EXPECT_FALSE(hasLog(job)) << level;
  }
}

TEST(DebugLog, BeginsItsRecordsWithTheModuleLetter) {
  const struct {
    int number;
    const char* letter;
    int character;
  } rows[] = {{1, "A", 65}, {2, "B", 66}, {3, "C", 67}, {26, "Z", 90}, {0, "@", 64}, {33, "a", 97}};
  for (const auto& row : rows) {
    const Job job = plainJob().log(2, row.number);
    expectPrinted(job);
    EXPECT_EQ(logOf(job), quietNotes(row.letter, 2, row.character, "E"));
  }
}

TEST(DebugLog, BeginsTheRecordsOfTheJobWithTheModuleLetterToo) {
  const Job job = plainJob().log(1, 17);
  expectPrinted(job);
  std::string expected = quietNotes("A", 1, 81, "I") + jobRecords();
  for (std::size_t at = 0; (at = expected.find("######", at)) != std::string::npos; at += 6)
    expected[at - 2] = 'Q';
  EXPECT_EQ(logOf(job), expected);
}

// ---- the form of the records ----

// Milliseconds of the day, in the time zone this many minutes east of UTC.
long dayMilliseconds(int minutesEast) {
  timeval now;
  gettimeofday(&now, nullptr);
  return ((now.tv_sec + minutesEast * 60L) % 86400) * 1000 + now.tv_usec / 1000;
}

void expectForm(const Job& job, int minutesEast) {
  constexpr long kDay = 86400000;
  const long begin = dayMilliseconds(minutesEast);
  Process process(job.program(), job.argv(), job.environment());
  process.write(kJob);
  const pid_t pid = process.pid();
  EXPECT_EQ(process.finish().exitStatus, 0);
  const long length = (dayMilliseconds(minutesEast) - begin + kDay) % kDay;

  char digits[16];
  std::snprintf(digits, sizeof digits, "%06d", pid);
  const std::regex form(
      "A([ANID])([0-9]+)\t\\[([0-2][0-9]):([0-5][0-9]):([0-5][0-9])\\.([0-9]{3})\\]\t"
      "(logger|setupDebug|main|-\\[[A-Za-z]+ [A-Za-z:]+\\]|isOnlyPrintInside)\tL([0-9]+)\t.*");
  std::string types;
  long last = 0;
  std::string rest = rawLog(job);
  for (std::size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1)) {
    const std::string line = rest.substr(0, end);
    std::smatch field;
    if (!std::regex_match(line, field, form)) {
      // Only the second and later lines of a message do not begin like a record.
      EXPECT_EQ(line.find("\t["), std::string::npos) << line;
      continue;
    }
    if (field[7] != "isOnlyPrintInside") types += field[1];
    EXPECT_EQ(field[2], digits);
    const long time =
        ((std::stol(field[3]) * 60 + std::stol(field[4])) * 60 + std::stol(field[5])) * 1000 +
        std::stol(field[6]);
    const long sinceBegin = (time - begin + kDay) % kDay;
    EXPECT_LE(last, sinceBegin) << line;
    EXPECT_LE(sinceBegin, length) << line;
    last = sinceBegin;
    if (field[7] == "logger") {
      EXPECT_EQ(field[8], "0");
    } else {
      EXPECT_NE(field[8], "0");
    }
  }
  EXPECT_EQ(types,
            "ANNNNNNNND"
            "IIIIIIIIIIIIIIIIIIIIIIIII");
}

TEST(DebugLogRecord, ShowsProcessTimeFunctionAndLine) {
  expectForm(plainJob().log(7).env("TZ", "UTC0"), 0);
}

TEST(DebugLogRecord, ShowsLocalTime) {
  expectForm(plainJob().log(7).env("TZ", "IST-5:30"), 330);
  expectForm(plainJob().log(7).env("TZ", "EST5"), -300);
}

TEST(DebugLogRecord, OfSetupAndOptionStoreHasItsFixedLine) {
  const Job job = plainJob().log(7);
  expectPrinted(job);
  const std::string log = rawLog(job);
  EXPECT_NE(log.find("\tsetupDebug\tL512\tsetupDebug L512: debugPlist\n"), std::string::npos);
  EXPECT_NE(log.find("\t-[argumentStore initWithOptionString:]\tL38\t{\n"), std::string::npos);
  EXPECT_NE(log.find("\t-[argumentStore initWithOptionString:]\tL101\t}\n"), std::string::npos);
  EXPECT_NE(log.find("\tlogger\tL0\tsetup OK\n"), std::string::npos);
}

TEST(DebugLogRecord, OfOptionsArgumentsAndUriKeepsTheirBytes) {
  const Job job = plainJob()
                      .options("caf\x8e=\xdb<20>%s")
                      .title("%n%d \xff")
                      .env("DEVICE_URI", "socket://a%20b%s/")
                      .log(1);
  expectPrinted(job);
  const std::string log = logOf(job);
  EXPECT_NE(log.find("AI######\t[time]\tmain\tL#\tARGV[3] = %n%d \xff\n\n"), std::string::npos);
  EXPECT_NE(log.find("AI######\t[time]\tmain\tL#\tARGV[5] = caf\x8e=\xdb<20>%s\n\n"),
            std::string::npos);
  EXPECT_NE(log.find("AI######\t[time]\tmain\tL#\tcaf\x8e\t\xdb %s\n"), std::string::npos);
  EXPECT_NE(log.find("AI######\t[time]\tmain\tL#\t     URI for printer = socket://a%20b%s/\n"),
            std::string::npos);
}

// ---- the debug file ----

TEST(DebugFile, IsAppendedToByTheNextJob) {
  const Job job = plainJob().log(1);
  expectPrinted(job);
  const std::string first = rawLog(job);
  const std::string firstMasked = logOf(job);
  expectPrinted(job);
  EXPECT_EQ(rawLog(job).substr(0, first.size()), first);
  EXPECT_EQ(logOf(job), firstMasked + firstMasked);
}

TEST(DebugFile, IsReadableAndWritableByEveryone) {
  const Job job = plainJob().log(1);
  const mode_t former = ::umask(0777);
  const Outcome outcome = job.run();
  ::umask(former);
  EXPECT_EQ(outcome.exitStatus, 0);
  struct stat status;
  ASSERT_EQ(::stat(job.tmpFile("debug.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0666U);
}

TEST(DebugFile, IsCreatedInADirectoryThatEndsInASlash) {
  Job job = plainJob().log(2);
  job.env("TMPDIR", job.tmp() + "/");
  expectPrinted(job, "tmp at " + job.tmp() + "/ \ntmp at " + job.tmp() + "/ \n");
  EXPECT_EQ(logOf(job), quietNotes("A", 2, 65, "E"));
}

TEST(DebugFile, ThatCannotBeOpenedIsReportedBetweenTheDirectoryLines) {
  const Job job = plainJob().log(7);
  std::filesystem::create_directory(job.tmpFile("debug.log"));
  expectPrinted(job, tmpLine(job) + "ERROR: Unable to open log file\n" + tmpLine(job));
  EXPECT_TRUE(std::filesystem::is_empty(job.tmpFile("debug.log")));
}

TEST(DebugFile, ThatCannotBeOpenedIsReportedBeforeEverythingElse) {
  const Job job = plainJob().log(1).capture().env("PPD", "/nowhere/printer.ppd");
  std::filesystem::create_directory(job.tmpFile("debug.log"));
  expectPrinted(job, tmpLine(job) + "ERROR: Unable to open log file\n" + tmpLine(job) +
                         "INFO: Logging enabled by the user.\n"
                         "ERROR: Unable to open PPD file\n");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed());
}

TEST(DebugFile, ThatCannotBeOpenedIsReportedBeforeAnUnreadableJob) {
  const Job job = Job().file("/nowhere/job.ps").log(1);
  std::filesystem::create_directory(job.tmpFile("debug.log"));
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            tmpLine(job) + "ERROR: Unable to open log file\nERROR: Cannot read the print job.\n");
  EXPECT_EQ(outcome.exitStatus, 1);
}

TEST(DebugFile, InAMissingDirectoryIsReported) {
  const Job job = plainJob();
  entry(job,
        "<key>debugFile</key><string>logs/debug.log</string>\n"
        "<key>debugLevel</key><integer>1</integer>\n"
        "<key>moduleNumber</key><integer>1</integer>");
  expectPrinted(job, tmpLine(job) + "ERROR: Unable to open log file\n" + tmpLine(job));
}

TEST(DebugFile, OfALevelThatOpensNoneIsNotReported) {
  const Job job = plainJob().log(0);
  std::filesystem::create_directory(job.tmpFile("debug.log"));
  expectPrinted(job);
}

// 256 characters: the low byte of the length is zero.
TEST(DebugFile, WithAPathOfTwoHundredFiftySixCharactersIsNotOpened) {
  for (const std::size_t length : {255U, 256U, 257U}) {
    const Job job = plainJob();
    const std::string name(length - job.tmp().size() - 1, 'n');
    entry(job, "<key>debugFile</key><string>" + name +
                   "</string>\n"
                   "<key>debugLevel</key><integer>2</integer>\n"
                   "<key>moduleNumber</key><integer>1</integer>");
    expectPrinted(job);
    EXPECT_EQ(std::filesystem::exists(job.tmpFile(name)), length != 256) << length;
  }
}

TEST(DebugFile, ThatIsFullDoesNotDisturbTheJob) {
  const Job job = plainJob().log(7);
  const FileSizeLimit limit(100);
  expectPrinted(job);
  EXPECT_EQ(readFile(job.tmpFile("debug.log")).size(), 100U);
}

TEST(DebugFile, HoldsEveryRecordWhileTheJobWaits) {
  const Job job = Job().log(1);
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  const std::string last = "AI######\t[time]\tmain\tL#\tInitialized begin and end markers.\n";
  for (int i = 0; i < 500 && !logOf(job).ends_with(last); ++i) usleep(10000);
  std::string expected = quietNotes("A", 1, 65, "I") + jobRecords();
  expected.resize(expected.find(last) + last.size());
  EXPECT_EQ(logOf(job), expected);
  process.kill(SIGKILL);
  EXPECT_EQ(process.finish().signal, SIGKILL);
  EXPECT_EQ(logOf(job), expected);
}

// ---- runs that end early ----

TEST(DebugLog, IsNotTouchedByACallWithWrongArguments) {
  const Job job = Job().arguments({"42", "ada", "Title", "1"}).log(7);
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "ERROR: Version = 3.9 \n\tjobshaper job-id user title copies options [file]\n"
            "ERROR: Printer filter did not launch.\n");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_FALSE(hasLog(job));
}

TEST(DebugLog, OfAnUnreadableJobHasTheEntryOnly) {
  const Job job = Job().file("/nowhere/job.ps").log(1);
  const Outcome outcome = job.run();
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, tmpLine(job) + "ERROR: Cannot read the print job.\n");
  EXPECT_EQ(outcome.exitStatus, 1);
  EXPECT_EQ(logOf(job), quietNotes("A", 1, 65, "I") + "AI######\t[time]\tmain\tL#\t{\n");
}

TEST(DebugLog, HasThePpdErrorAsAnInfoRecord) {
  const Job job = plainJob().env("PPD", "/nowhere/printer.ppd").log(1);
  expectPrinted(job, tmpLines(job) + "ERROR: Unable to open PPD file\n");
  EXPECT_NE(rawLog(job).find("\tinitPPDValues\tL1816\tERROR: Unable to open PPD file\n\n"),
            std::string::npos);
}

TEST(DebugLog, HasTheOtherMarkersAsTheyAreMet) {
  const Job job = Job().input("sfcl{\nx\n}efcl\nsfcl{\n").log(1);
  EXPECT_EQ(job.run().exitStatus, 0);
  EXPECT_TRUE(logOf(job).ends_with(
      "AI######\t[time]\tmain\tL#\tInitialized begin and end markers.\n"
      "AI######\t[time]\tmain\tL#\tFound sfcl{ marker. Resetting begin and end markers.\n"
      "AI######\t[time]\tmain\tL#\t}\n"));
}

TEST(DebugLog, GoesTogetherWithTheCapture) {
  const Job job = plainJob().log(1).capture();
  expectPrinted(job, tmpLines(job) + kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), kJob);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), printed());
  EXPECT_EQ(logOf(job), quietNotes("A", 1, 65, "I") + jobRecords());
}

// ---- the settings file ----

TEST(DebugSettings, ThatAreUnusableLeaveTheLogOff) {
  const std::string unusable[] = {
      "",
      "\n",
      "no property list\n",
      "<plist version=\"1.0\">\n<dict>\n<key>Feiprion</key>\n<dict>\n<key>debugLevel</key>\n",
      std::string(100000, '\0'),
      bytes("bplist00\0\xff\xff\xff\0\x01\x02"),
      "bplist00" + std::string(200, '\xff'),
      "<plist version=\"1.0\"><array><true/></array></plist>\n",
      "<plist version=\"1.0\"><string>Feiprion</string></plist>\n",
      "<plist version=\"1.0\"><dict/></plist>\n",
      "<plist version=\"1.0\"><dict><key>traceAll</key><true/></dict></plist>\n",
      "<plist version=\"1.0\"><dict><key>Feiprion</key><string>7</string></dict></plist>\n",
  };
  for (const std::string& text : unusable) {
    const Job job = plainJob();
    settings(job, text);
    expectPrinted(job);
    EXPECT_FALSE(hasLog(job));
  }
}

TEST(DebugSettings, MayLeaveOutTheDocumentType) {
  const Job job = plainJob();
  settings(job,
           "<plist version=\"1.0\"><dict><key>Feiprion</key><dict>"
           "<key>moduleNumber</key><integer>3</integer><key>debugLevel</key><integer>2</integer>"
           "<key>debugFile</key><string>debug.log</string></dict></dict></plist>");
  expectPrinted(job);
  EXPECT_EQ(logOf(job), quietNotes("C", 2, 67, "E"));
}

TEST(DebugSettings, ThatAreADirectoryLeaveTheLogOff) {
  const Job job = plainJob();
  std::filesystem::create_directories(job.tmpFile("Debug/.DebugPlist/qvDebug.plist"));
  expectPrinted(job);
  EXPECT_FALSE(hasLog(job));
}

// However deeply nested, the settings never end the job.
TEST(DebugSettings, OfAnyDepthLetTheJobThrough) {
  for (const int depth : {1000, 4000, 100000, 1000000}) {
    const Job job = plainJob();
    std::string deep = "<plist version=\"1.0\"><dict><key>deep</key>";
    for (int i = 0; i < depth; ++i) deep += "<array>";
    for (int i = 0; i < depth; ++i) deep += "</array>";
    settings(job, deep + "</dict></plist>\n");
    expectPrinted(job);
    EXPECT_FALSE(hasLog(job));
  }
}

TEST(DebugSettings, OfAnyDepthAreDumpedOrLeftAlone) {
  const Job job = plainJob();
  std::string deep = "<key>deep</key>";
  for (int i = 0; i < 4000; ++i) deep += "<array>";
  for (int i = 0; i < 4000; ++i) deep += "</array>";
  entry(job, deep +
                 "<key>debugFile</key><string>debug.log</string>"
                 "<key>debugLevel</key><integer>4</integer>"
                 "<key>moduleNumber</key><integer>1</integer>");
  expectPrinted(job);
}

TEST(DebugSettings, OfAnyDepthAndNoEndLetTheJobThrough) {
  for (const int depth : {3000, 300000}) {
    const Job job = plainJob();
    std::string text = "<plist version=\"1.0\">";
    for (int i = 0; i < depth; ++i) text += "<dict><key>k</key>";
    settings(job, text);
    expectPrinted(job);
  }
}

// The library would need quadratic time for some of them.
TEST(DebugSettings, LargerThan64KiBLeaveTheLogOff) {
  const Job job = plainJob();
  entry(job, "<key>padding</key><string>" + std::string(1 << 16, 'p') +
                 "</string>\n"
                 "<key>debugFile</key><string>debug.log</string>\n"
                 "<key>debugLevel</key><integer>2</integer>\n"
                 "<key>moduleNumber</key><integer>1</integer>");
  expectPrinted(job);
  EXPECT_FALSE(hasLog(job));
}

TEST(DebugSettings, WithAZeroByteInTheFileNameLetTheJobThrough) {
  for (const std::string& name : {bytes("de\0bug.log"), bytes("\0"), bytes("debug.log\0")}) {
    const Job job = plainJob();
    entry(job, "<key>debugFile</key><string>" + name +
                   "</string>\n"
                   "<key>debugLevel</key><integer>2</integer>\n"
                   "<key>moduleNumber</key><integer>1</integer>");
    expectPrinted(job);
  }
}

TEST(DebugSettings, CreatedDuringTheJobAreIgnored) {
  Job job;
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  job.log(7);
  process.write("sfcl{\n");
  const Outcome outcome = process.finish();
  EXPECT_EQ(outcome.out, plainHeader() + "sfcl{\n" + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_FALSE(hasLog(job));
}

TEST(DebugSettings, ThatGoAwayDuringTheJobStayInForce) {
  const Job job = Job().log(1);
  Process process(job.program(), job.argv(), job.environment());
  ASSERT_TRUE(process.waitForOutput(plainHeader().size()));
  std::filesystem::remove_all(job.tmpFile("Debug"));
  process.write("sfcl{\n");
  EXPECT_EQ(process.finish().exitStatus, 0);
  EXPECT_TRUE(logOf(job).ends_with(
      "AI######\t[time]\tmain\tL#\tFound sfcl{ marker. Resetting begin and end markers.\n"
      "AI######\t[time]\tmain\tL#\t}\n"));
}

}  // namespace
}  // namespace jobshaper::testing
