// A manual booklet, apart from its pages: copies in the header, messages, capture, records of the
// log and temporary files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCopiesOption = " com.apple.print.PrintSettings.PMCopies..n.=";
constexpr std::string_view kEnter = "@PJL ENTER LANGUAGE = POSTSCRIPT\n";

std::string onePage() { return join(kTop, kPage1); }
std::string onePagePrinted() {
  return join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank);
}

// The plain header, with lines before and after the language switch.
std::string headerWith(std::string_view before, std::string_view after) {
  const std::string header = plainHeader();
  return join(header.substr(0, header.size() - kEnter.size()), before, kEnter, after);
}

// ---- copies

struct Copies {
  const char* argument;
  std::string_view options;
  std::string_view before, after;  // header lines around the language switch
};

void PrintTo(const Copies& copies, std::ostream* out) {
  *out << copies.argument << " " << copies.options;
}

class ManualBookletCopies : public ::testing::TestWithParam<Copies> {};

TEST_P(ManualBookletCopies, MoveIntoTheHeader) {
  const auto& [argument, options, before, after] = GetParam();
  Job job = manualJob(onePage(), options);
  job.copies(argument);
  expectOutcome(job.run(), join(headerWith(before, after), onePagePrinted(), trailer()),
                join(threeTmpLines(job), kNoInstruction));
}

std::string copies(std::string_view value, std::string_view more = "") {
  return join(kCopiesOption, value, more);
}

const std::string kThree = copies("3");
const std::string kOne = copies("1");
const std::string kTwelve = copies("+12");
const std::string kNumberAndText = copies("4x");
const std::string kText = copies("x");
const std::string kZero = copies("0");
const std::string kNegative = copies("-3");
const std::string kHuge = copies("99999999999");
const std::string kThreeNow = copies("3", " PrintTo=JRPrinter");
const std::string kThreeVerified = copies("3", " PrintTo=JRVerify");
const std::string kThreeOther = copies("3", " PrintTo=Other");

INSTANTIATE_TEST_SUITE_P(
    Values, ManualBookletCopies,
    ::testing::Values(Copies{"1", kThree, "", "@PJL SET COPIES = 3\n"},
                      Copies{"1", kTwelve, "", "@PJL SET COPIES = 12\n"},
                      Copies{"1", kNumberAndText, "", "@PJL SET COPIES = 4\n"},
                      Copies{"1", kHuge, "", "@PJL SET COPIES = 2147483647\n"},
                      Copies{" +1 copy", kThree, "", "@PJL SET COPIES = 3\n"},
                      Copies{"01", kThree, "", "@PJL SET COPIES = 3\n"},
                      Copies{"2", kThree, "", ""}, Copies{"0", kThree, "", ""},
                      Copies{"", kThree, "", ""}, Copies{"one", kThree, "", ""},
                      Copies{"11", kThree, "", ""}, Copies{"1", kOne, "@PJL SET COPIES = 1\n", ""},
                      Copies{"1", kText, "", ""}, Copies{"1", kZero, "", ""},
                      Copies{"1", kNegative, "", ""}, Copies{"1", "", "", ""},
                      Copies{"1", kThreeNow, "", ""},
                      Copies{"1", kThreeVerified,
                             "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n"
                             "@PJL SET QDUPLICATEHELDJOBS = SAVE\n",
                             ""},
                      Copies{"1", kThreeOther, "@PJL SET QDUPLICATEHELDJOBS = SAVE\n", ""}));

TEST(ManualBookletCollation, OfARetainedJobIsSetInTheReorderedJob) {
  Job job = manualJob(join("%RBINumCopies: 3\n", kPage1, "%RBINumCopies: 3\n"), kThreeVerified);
  const std::string_view line =
      "%!\n%Set collate copies = copy:\n<< /CollatedCopies 3 >> setuserparams\n%EndUserSetup\n"
      "%RBINumCopies: 3\n";
  expectOutcome(job.run(),
                join(headerWith("@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n"
                                "@PJL SET QDUPLICATEHELDJOBS = SAVE\n",
                                ""),
                     line, kFirstPass, kInstruction, kPage1, line, kSecondPass, kBlank, trailer()),
                join(threeTmpLines(job), kNoInstruction));
}

// ---- wrapping and capture

TEST(ManualBookletWrapping, IsLeftOutForUsbOnOldSystemsButCaptured) {
  Job job = manualJob(join("@PJL SET COPIES = 2\n", onePage()));
  job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/C400").env("LANG", "en").capture();
  job.env("JOBSHAPER_INSTRUCTIONS", job.tmpFile("no such directory"));
  const std::string body = join(kTop, kFirstPass, "%%Page: 0 0\nuserdict/ESPsave save put\n\n",
                                kRestore, kPage1, kSecondPass, kBlank, kRestore);
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectOutcome(job.run(), body, join(line, line, kCaptureOn, line, kNoInstruction));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), join(body, trailer()));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
            join("@PJL SET COPIES = 2\n", kTop, kFirstPass, kPage1, kSecondPass, kBlank, kRestore));
}

TEST(ManualBookletCapture, HoldsTheReorderedJobAndTheOutput) {
  Job job = manualJob(join("@PJL SET COPIES = 2\n", onePage(), kPage2, "%%Trailer\n%%EOF\n"));
  job.capture();
  const std::string out = join(plainHeader(), onePagePrinted(), kPage2, trailer());
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectOutcome(job.run(), out, join(line, line, kCaptureOn, line, kNoInstruction));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
            join("@PJL SET COPIES = 2\n", kTop, kFirstPass, kPage1, kSecondPass, kBlank, kPage2));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

// ---- standard error

TEST(ManualBookletMessages, ComeInTheOrderOfTheRun) {
  Job job = manualJob(onePage());
  job.capture().log(1).env("DEVICE_URI", "pap://*/Office/LaserWriter");
  for (const char* name : {"qvn_ps", "qvn_ps2", "debug.log"}) {
    fs::create_directory(job.tmpFile(name));
  }
  const std::string line = "tmp at " + job.tmp() + " \n";
  expectOutcome(job.run(), join(plainHeader(), onePagePrinted(), trailer()),
                join(line, "ERROR: Unable to open log file\n", line, kCaptureOn,
                     "ERROR: Cannot write incoming print data to a log file.\n",
                     "ERROR: Cannot write outgoing print data to a log file.\n", line,
                     "[tarvel] this is an Appletalk connection\n", kNoInstruction));
}

TEST(ManualBookletMessages, NameTheTemporaryDirectoryAsItIsWritten) {
  Job job = manualJob(onePage());
  job.env("TMPDIR", job.tmp() + "/");
  expectPrinted(job, onePagePrinted());
}

TEST(ManualBookletMessages, NameTmpWithoutATemporaryDirectory) {
  const std::string id = "jobshaper-test-" + std::to_string(getpid());
  for (const bool empty : {true, false}) {
    Job job = manualJob(onePage());
    job.unsetEnv("TMPDIR");
    if (empty) job.env("TMPDIR", "");
    expectOutcome(job.jobId(id).run(), join(plainHeader(), onePagePrinted(), trailer()),
                  join("tmp at /tmp \ntmp at /tmp \ntmp at /tmp \n", kNoInstruction));
    for (const char* name : kManualFiles) {
      EXPECT_FALSE(fs::exists(join("/tmp/", name, id))) << name;
    }
  }
}

// ---- records

std::string record(std::string_view function, std::string_view message) {
  return join("AI######\t[time]\t", function, "\tL#\t", message, "\n");
}

// The records beginning with the cover query.
std::string recordsFromCoverQuery(const Job& job) {
  const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
  const std::size_t start = log.find(record("isOnlyPrintInside", "{"));
  return start == std::string::npos ? log : log.substr(start);
}

TEST(ManualBookletRecords, ShowEveryRearranging) {
  Job job = manualJob(join(kTop, pages("123456"), kTrailer));
  job.log(1).run();
  EXPECT_EQ(recordsFromCoverQuery(job),
            join(record("isOnlyPrintInside", "{"), record("isOnlyPrintInside", "}"),
                 record("main", "Job is Booklet"), record("main", "value of verPrint (null)"),
                 record("manualBookletOrder", "{"), record("reArrangedPages", "{"),
                 record("reArrangedPages", "}"), record("reArrangedPages", "{"),
                 record("reArrangedPages", "}"), record("manualBookletOrder", "}"),
                 record("main", "Initialized begin and end markers."), record("main", "}")));
}

TEST(ManualBookletRecords, ShowNoRearrangingOfThreePages) {
  Job job = manualJob(join(kTop, pages("123")), " PrintTo=JRPrinter");
  job.log(1).run();
  EXPECT_EQ(recordsFromCoverQuery(job),
            join(record("isOnlyPrintInside", "{"), record("isOnlyPrintInside", "}"),
                 record("main", "Job is Booklet"), record("main", "value of verPrint JRPrinter"),
                 record("manualBookletOrder", "{"), record("manualBookletOrder", "}"),
                 record("main", "Initialized begin and end markers."), record("main", "}")));
}

TEST(ManualBookletRecords, EndWithTheFailure) {
  Job job = manualJob(onePage());
  fs::create_directory(job.tmpFile("pageEven42"));
  EXPECT_EQ(job.log(1).run().exitStatus, 1);
  EXPECT_EQ(recordsFromCoverQuery(job),
            join(record("isOnlyPrintInside", "{"), record("isOnlyPrintInside", "}"),
                 record("main", "Job is Booklet"), record("main", "value of verPrint (null)"),
                 record("manualBookletOrder", "{"), record("manualBookletOrder", "}")));
}

// ---- temporary files

TEST(ManualBookletFiles, OfAnEarlierRunAreReplaced) {
  Job job = manualJob(join(kTop, pages("1234")));
  for (const char* name : kManualFiles) {
    writeFile(job.tmpFile(join(name, "42")), std::string(5000, 'o') + "\n");
  }
  expectPrinted(
      job, join(kTop, kFirstPass, kInstruction, pages("13"), kSecondPass, kBlank, pages("42")));
}

TEST(ManualBookletFiles, OfOtherJobsAreLeftAlone) {
  Job job = manualJob(join(kTop, pages("1234")));
  for (const char* name : kManualFiles) {
    writeFile(job.tmpFile(join(name, "421")), name);
    writeFile(job.tmpFile(name), name);
  }
  expectPrinted(
      job, join(kTop, kFirstPass, kInstruction, pages("13"), kSecondPass, kBlank, pages("42")));
  for (const char* name : kManualFiles) {
    EXPECT_EQ(readFile(job.tmpFile(join(name, "421"))), name);
    EXPECT_EQ(readFile(job.tmpFile(name)), name);
  }
}

// Waits for the file for at most ten seconds.
bool appears(const std::string& path) {
  for (int i = 0; i < 1000 && !fs::exists(path); ++i) usleep(10000);
  return fs::exists(path);
}

class ManualBookletJobId : public ::testing::TestWithParam<std::string> {};

TEST_P(ManualBookletJobId, IsTheEndOfTheFileNames) {
  const std::string id = GetParam();
  Job job = manualJob("");
  job.jobId(id);
  Process process(job.program(), job.argv(), job.environment());
  for (const char* name :
       {"qvn_manualPS", "pageReOrdered", "pageEven", "newEvenOrder", "newOddOrder"}) {
    EXPECT_TRUE(appears(job.tmpFile(name + id))) << name;
  }
  EXPECT_FALSE(fs::exists(job.tmpFile("headerPS" + id)));
  process.write(onePage());
  expectOutcome(process.finish(), join(plainHeader(), onePagePrinted(), trailer()),
                join(threeTmpLines(job), kNoInstruction));
  expectNoManualFiles(job, id);
}

INSTANTIATE_TEST_SUITE_P(Ids, ManualBookletJobId,
                         ::testing::Values("42", "", "0", "job 7", "..", "%s%@%n", "\xc3\xa9"));

}  // namespace
}  // namespace jobshaper::testing
