// A manual booklet, apart from its pages: copies in the header, messages, capture, records of the
// log and temporary files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"
#include "tests/support/process_state.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

std::string onePage() { return join(kTop, kPage1); }
std::string onePagePrinted() {
  return join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank);
}
std::string tmpLine(const Job& job) { return "tmp at " + job.tmp() + " \n"; }

// ---- copies

const std::string kCopies = " com.apple.print.PrintSettings.PMCopies..n.=";
const std::string kProof =
    "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n@PJL SET QDUPLICATEHELDJOBS = SAVE\n";

TEST(ManualBookletCopies, AreInTheHeader) {
  struct {
    const char* argument;
    std::string options, before, after;  // the header lines around the switch to PostScript
  } const rows[] = {{"1", kCopies + "3", "", "3"},
                    {"1", kCopies + "+12", "", "12"},
                    {"1", kCopies + "4x", "", "4"},
                    {"1", kCopies + "99999999999", "", "2147483647"},
                    {" +1 copy", kCopies + "3", "", "3"},
                    {"01", kCopies + "3", "", "3"},
                    {"2", kCopies + "3", "", ""},
                    {"0", kCopies + "3", "", ""},
                    {"", kCopies + "3", "", ""},
                    {"one", kCopies + "3", "", ""},
                    {"11", kCopies + "3", "", ""},
                    {"1", kCopies + "1", "@PJL SET COPIES = 1\n", ""},
                    {"1", kCopies + "x", "", ""},
                    {"1", kCopies + "0", "", ""},
                    {"1", kCopies + "-3", "", ""},
                    {"1", "", "", ""},
                    {"1", kCopies + "3 PrintTo=JRPrinter", "", ""},
                    {"1", kCopies + "3 PrintTo=JRVerify", kProof, ""},
                    {"1", kCopies + "3 PrintTo=Other", "@PJL SET QDUPLICATEHELDJOBS = SAVE\n", ""}};
  for (const auto& [argument, options, before, after] : rows) {
    const Job job = manualJob(onePage(), options).copies(argument);
    const std::string copies = after.empty() ? "" : "@PJL SET COPIES = " + after + "\n";
    expectRun(job, join(headerWith(before), copies, onePagePrinted(), trailer()),
              join(tmpLine(job), kNoInstruction));
  }
}

TEST(ManualBookletCollation, OfARetainedJobIsSetInTheReorderedJob) {
  const Job job = manualJob(join("%RBINumCopies: 3\n", kPage1, "%RBINumCopies: 3\n"),
                            kCopies + "3 PrintTo=JRVerify");
  const std::string_view line =
      "%!\n%Set collate copies = copy:\n<< /CollatedCopies 3 >> setuserparams\n%EndUserSetup\n"
      "%RBINumCopies: 3\n";
  expectRun(job,
            join(headerWith(kProof), line, kFirstPass, kInstruction, kPage1, line, kSecondPass,
                 kBlank, trailer()),
            join(tmpLine(job), kNoInstruction));
}

// ---- wrapping and capture

TEST(ManualBookletWrapping, IsLeftOutForUsbOnOldSystemsButCaptured) {
  Job job = manualJob(join("@PJL SET COPIES = 2\n", onePage()));
  job.version("0x102f").env("DEVICE_URI", "usb://Quorvan/C400").capture();
  const std::string body = onOldSystem(onePagePrinted());
  expectRun(job, body, join(kCaptureOn, tmpLine(job), kNoInstruction));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), join(body, trailer()));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
            join("@PJL SET COPIES = 2\n", kTop, kFirstPass, kPage1, kSecondPass, kBlank, kRestore));
}

TEST(ManualBookletCapture, HoldsTheReorderedJobAndTheOutput) {
  Job job = manualJob(join("@PJL SET COPIES = 2\n", onePage(), kPage2, "%%Trailer\n%%EOF\n"));
  const std::string out = join(plainHeader(), onePagePrinted(), kPage2, trailer());
  expectRun(job.capture(), out, join(kCaptureOn, tmpLine(job), kNoInstruction));
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
  const std::string line = tmpLine(job);
  expectOutcome(job.run(), join(plainHeader(), onePagePrinted(), trailer()),
                join(line, "ERROR: Unable to open log file\n", line, kCaptureOn,
                     "ERROR: Cannot write incoming print data to a log file.\n",
                     "ERROR: Cannot write outgoing print data to a log file.\n", line, kAppleTalk,
                     kNoInstruction));
}

TEST(ManualBookletMessages, NameTheTemporaryDirectoryAsItIsOrTmp) {
  Job job = manualJob(onePage());
  expectPrinted(job.env("TMPDIR", job.tmp() + "/"), onePagePrinted());
  const std::string id = "jobshaper-test-" + std::to_string(getpid());
  for (const bool empty : {true, false}) {
    empty ? job.env("TMPDIR", "") : job.unsetEnv("TMPDIR");
    expectOutcome(job.jobId(id).run(), join(plainHeader(), onePagePrinted(), trailer()),
                  join("tmp at /tmp \ntmp at /tmp \ntmp at /tmp \n", kNoInstruction));
    for (const char* name : kManualFiles) {
      EXPECT_FALSE(fs::exists(join("/tmp/", name, id))) << name;
    }
  }
}

// ---- records

TEST(ManualBookletRecords, ShowEveryRearrangingAndEndWithAFailure) {
  const auto expectRecords = [](const Job& job, const std::string& printTo,
                                const std::string& rearranged, bool succeeds = true) {
    const std::string loop =
        logRecord("main", "Initialized begin and end markers.") + logRecord("main", "}");
    EXPECT_EQ(logAfterHeader(job),
              logBraces("isOnlyPrintInside") + logRecord("main", "Job is Booklet") +
                  logRecord("main", "value of verPrint " + printTo) +
                  logRecord("manualBookletOrder", "{") + rearranged +
                  logRecord("manualBookletOrder", "}") + (succeeds ? loop : ""));
  };
  const std::string rearranging = logBraces("reArrangedPages");
  expectRecords(manualJob(join(kTop, pages("123456"), kTrailer)), "(null)",
                rearranging + rearranging);
  expectRecords(manualJob(join(kTop, pages("123")), " PrintTo=JRPrinter"), "JRPrinter", "");
  const Job job = manualJob(onePage());
  fs::create_directory(job.tmpFile("pageEven42"));
  expectRecords(job, "(null)", "", false);
}

// ---- temporary files

TEST(ManualBookletFiles, OfAnEarlierRunAreReplacedAndOfOtherJobsLeftAlone) {
  const Job job = manualJob(join(kTop, pages("1234")));
  for (const char* name : kManualFiles) {
    writeFile(job.tmpFile(join(name, "42")), std::string(5000, 'o') + "\n");
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

TEST(ManualBookletJobId, IsTheEndOfTheFileNames) {
  for (const std::string id : {"42", "", "0", "job 7", "..", "%s%@%n", "\xc3\xa9"}) {
    const Job job = manualJob("").jobId(id);
    Process process(job);
    for (const char* name :
         {"qvn_manualPS", "pageReOrdered", "pageEven", "newEvenOrder", "newOddOrder"}) {
      EXPECT_TRUE(becomesTrue([&] { return fs::exists(job.tmpFile(name + id)); })) << name << id;
    }
    EXPECT_FALSE(fs::exists(job.tmpFile("headerPS" + id)));
    process.write(onePage());
    expectOutcome(process.finish(), join(plainHeader(), onePagePrinted(), trailer()),
                  join(threeTmpLines(job), kNoInstruction), 0, id);
    expectNoManualFiles(job, id);
  }
}

}  // namespace
}  // namespace jobshaper::testing
