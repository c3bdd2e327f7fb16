// The rules for the lines of a job, one by one and in the order in which they apply. The page-size
// and paper-source rules are in stream_feature_blocks_test.cpp.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

// What the rules log for a job with this input.
std::string messagesOf(const std::string& input) {
  Job job;
  job.log(1).input(input).run();
  return loopMessages(job);
}

// ---- the alternative feature-block markers

TEST(StreamMarkers, LineWithSfclPassesUnchanged) {
  expectUnchanged("sfcl{\nx\n}efcl\n");
  expectUnchanged("  x sfcl{ y\nsfcl{");
}

TEST(StreamMarkers, SwitchIsLoggedOnce) {
  EXPECT_EQ(messagesOf(""), kUsualMessages);
  EXPECT_EQ(messagesOf("sfcl{\n"), kSwitchMessages);
  EXPECT_EQ(messagesOf("x /sfcl{y\n"), kSwitchMessages);
  EXPECT_EQ(messagesOf("sfcl{"), kSwitchMessages);
  EXPECT_EQ(messagesOf("sfcl{\rsfcl{\nsfcl{ sfcl{\n"), kSwitchMessages);
}

TEST(StreamMarkers, OtherTextsDoNotSwitch) {
  EXPECT_EQ(messagesOf("SFCL{\nSfcl{\nsfcl {\nsfcl\n{\nsfcl(\n}efcl\nefcl{\nsfc{\n"),
            kUsualMessages);
}

TEST(StreamMarkers, LineThatIsDroppedLaterStillSwitches) {
  EXPECT_EQ(messagesOf("JobPatchFile sfcl{\n"), kSwitchMessages);
  EXPECT_EQ(messagesOf("@PJL sfcl{\n"), kSwitchMessages);
}

TEST(StreamMarkers, LinesThatMeetNoRuleDoNotSwitch) {
  EXPECT_EQ(messagesOf(bytes("sfcl{\0\n")), kUsualMessages);
  EXPECT_EQ(messagesOf("JobPatchFile\nsfcl{\nsfcl{\n"), kUsualMessages);
  EXPECT_EQ(messagesOf(std::string(1020, 'a') + "sfcl{\n"), kUsualMessages);
}

// ---- poster jobs

constexpr const char* kPoster =
    "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=true";

Job poster(const std::string& options = kPoster, const std::string& version = "0x103f") {
  Job job;
  job.options(options).version(version);
  return job;
}

const std::string kCollate = "<< /Collate false >> setpagedevice\n";
const std::string kCollateTrue = "<< /Collate true >> setpagedevice\n";

TEST(StreamPosterCollate, EveryCollateLineIsReplacedOnOldSystems) {
  const std::string input = "a\n" + kCollate + "b\n /Collate\n%%Page: 1 1 /Collated\n";
  const std::string body = "a\n" + kCollateTrue + "b\n" + kCollateTrue + kCollateTrue;
  for (const char* version : {"0x103f", "0x1030", "0x1029", "0x1", "failed"}) {
    SCOPED_TRACE(version);
    expectBody(poster(kPoster, version), input, body);
  }
}

TEST(StreamPosterCollate, NewerSystemsKeepTheLine) {
  for (const char* version : {"0x1040", "0x1049", "0x1050", "0x1060"}) {
    SCOPED_TRACE(version);
    expectBody(poster(kPoster, version), kCollate, kCollate);
  }
  Job job;
  expectBody(job.options(kPoster), kCollate, kCollate);
}

TEST(StreamPosterCollate, OptionValuesAreComparedIgnoringCase) {
  for (const char* options : {
           "QVPosterEnablePS=TRUE com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=True",
           "com.apple.print.PrintSettings.PMCopyCollate..b.=tRUE QVPosterEnablePS=tRue x=y",
       }) {
    SCOPED_TRACE(options);
    expectBody(poster(options), kCollate, kCollateTrue);
  }
}

TEST(StreamPosterCollate, BothOptionsMustBeTrue) {
  for (const char* options : {
           "",
           "QVPosterEnablePS=true",
           "com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=false com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=false",
           "QVPosterEnablePS=1 com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=yes",
           "QVPosterEnablePS=true<20> com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=true<20>",
           "QVPosterEnablePS=tru com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=PrinterS",
           "qvposterenableps=true com.apple.print.PrintSettings.PMCopyCollate..b.=true",
           "QVPosterEnablePS=true com.apple.print.PrintSettings.pmcopycollate..b.=true",
           "QVPosterEnable=true com.apple.print.PrintSettings.PMCopyCollate..b.=true",
       }) {
    SCOPED_TRACE(options);
    expectBody(poster(options), kCollate, kCollate);
  }
}

TEST(StreamPosterCollate, TextIsCaseSensitiveAndNeedsItsSlash) {
  const std::string input = "/collate\n/COLLATE\nCollate\n/ Collate\n/Colate\n*Collate\n";
  expectBody(poster(), input, input);
}

TEST(StreamPosterCollate, ReplacementEndsInANewlineWhateverTheLineEnded) {
  expectBody(poster(), "/Collate\rb\r", kCollateTrue + "b\r");
  expectBody(poster(), "/Collate\r\nb\r\n", kCollateTrue + "\nb\r\n");
  expectBody(poster(), "b\n/Collate", "b\n" + kCollateTrue);
}

TEST(StreamPosterCollate, ReplacedLineIsTheOneThatLaterRulesMeet) {
  // All of these lines have been replaced when the later rules match against them.
  expectBody(poster(), "JobPatchFile /Collate\nb\nc\n", kCollateTrue + "b\nc\n");
  expectBody(poster(), "@PJL SET /Collate\n", kCollateTrue);
  expectBody(poster(), std::string(kUel) + "/Collate\n", kCollateTrue);
  expectBody(poster(), "%%BeginProlog /Collate\n%%BeginProlog\n",
             kCollateTrue +
                 "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
                 "%%EndFeature\n");
  expectBody(poster(std::string(kPoster) + " PrintTo=JRPrinter"),
             "%RBINumCopies: 2 /Collate\n%RBINumCopies: 3\n",
             kCollateTrue +
                 "%!\n%Set collate copies = copy:\n<< /CollatedCopies (null) >> setuserparams\n"
                 "%EndUserSetup\n%RBINumCopies: 3\n");
}

TEST(StreamPosterCollate, FeatureRulesMeetTheReplacedLine) {
  expectBody(poster(), "*PageSize A4 /Collate\n%%EndFeature\nInputSlot cleartomark\n",
             kCollateTrue + "%%EndFeature\nInputSlot cleartomark\n");
  expectBody(poster(), "*PageSize A4\n%%EndFeature\nInputSlot /Collate\ncleartomark\n",
             "*PageSize A4\n%%EndFeature\n" + kCollateTrue + "cleartomark\n");
  expectBody(poster(),
             "*PageSize A4\n/Collate\nEndFeature /Collate\nEndFeature\nInputSlot\n"
             "cleartomark /Collate\ncleartomark\n",
             "*PageSize A4\n" + kCollateTrue + kCollateTrue + "EndFeature\nInputSlot\n" +
                 kCollateTrue + "cleartomark\n[{\n*PageSize A4\n" + kCollateTrue + kCollateTrue +
                 "EndFeature\n} stopped cleartomark\n");
}

TEST(StreamPosterCollate, SwitchOfTheMarkersComesBeforeTheReplacement) {
  expectBody(poster(), "sfcl{ /Collate\n*PageSize A4\n%%EndFeature\nInputSlot }efcl\n",
             kCollateTrue +
                 "*PageSize A4\n%%EndFeature\nInputSlot }efcl\nsfcl{\n*PageSize A4\n%%EndFeature\n"
                 "}efcl\n");
}

TEST(StreamPosterCollate, SkippedAndZeroByteLinesAreNotReplaced) {
  expectBody(poster(), "JobPatchFile\n/Collate\n/Collate\n/Collate\n", kCollateTrue);
  expectBody(poster(), bytes("/Collate\0\n"), bytes("/Collate\0\n"));
}

TEST(StreamPosterCollate, CollatedCopiesOfTheFilterItselfAreKept) {
  expectBody(poster(std::string(kPoster) +
                    " PrintTo=JRPrinter com.apple.print.PrintSettings.PMCopies..n.=2"),
             "%RBINumCopies: 2\n",
             "%!\n%Set collate copies = copy:\n<< /CollatedCopies 2 >> setuserparams\n"
             "%EndUserSetup\n%RBINumCopies: 2\n");
}

// ---- the job's own JobPatchFile feature

TEST(StreamJobPatchFile, FirstLineAndTheNextTwoAreRemoved) {
  expectRows({
      {"a\n[{\n%%BeginFeature: *JobPatchFile 1\n%%File\n%%EndFeature\n} stopped cleartomark\nb\n",
       "a\n[{\n} stopped cleartomark\nb\n"},
      {"x JobPatchFiley\none\ntwo\nthree\n", "three\n"},
      {"xJobPatchFile\none\ntwo\nthree\n", "three\n"},
  });
}

TEST(StreamJobPatchFile, LaterLinesPass) {
  expectRows({
      {"JobPatchFile\none\ntwo\nJobPatchFile\nthree\nfour\n", "JobPatchFile\nthree\nfour\n"},
      {"JobPatchFile\none\ntwo\nx\nJobPatchFile\nJobPatchFile\ny\n",
       "x\nJobPatchFile\nJobPatchFile\ny\n"},
  });
}

TEST(StreamJobPatchFile, TextIsCaseSensitive) {
  expectUnchanged("jobPatchFile\nJOBPATCHFILE\nJobPatchfile\nJobPatch File\nJobPatchFil\ne\n");
}

TEST(StreamJobPatchFile, LineMeetsNoFurtherRule) {
  const std::string copies = "%RBINumCopies: ";
  expectRows({
      {"JobPatchFile *PageSize A4\none\ntwo\n%%EndFeature\nInputSlot cleartomark\n",
       "%%EndFeature\nInputSlot cleartomark\n"},
      {"*PageSize A4\nEndFeature JobPatchFile\none\ntwo\nb\n%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\nb\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\nb\n%%EndFeature\n"
       "} stopped cleartomark\n"},
      {"*PageSize A4\n%%EndFeature\nInputSlot JobPatchFile\none\ntwo\ncleartomark\n",
       "*PageSize A4\n%%EndFeature\ncleartomark\n"},
      {"*PageSize A4\n%%EndFeature\nInputSlot\ncleartomark JobPatchFile\none\ntwo\ncleartomark\n",
       "*PageSize A4\n%%EndFeature\nInputSlot\ncleartomark\n[{\n*PageSize A4\n%%EndFeature\n"
       "} stopped cleartomark\n"},
  });
  Job job;
  expectBody(job.options("PrintTo=JRPrinter"), copies + "JobPatchFile\none\ntwo\nb\n", "b\n");
}

TEST(StreamJobPatchFile, PjlLineWithTheTextIsTheFeatureToo) {
  expectBody("@PJL JobPatchFile\none\ntwo\nJobPatchFile\nb\n", "JobPatchFile\nb\n");
}

TEST(StreamJobPatchFile, ZeroByteLineWithTheTextIsNot) {
  expectBody(bytes("JobPatchFile\0\nb\nJobPatchFile\none\ntwo\nc\n"),
             bytes("JobPatchFile\0\nb\nc\n"));
}

// ---- the filter's own marker feature

const std::string kMarker =
    "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
    "%%EndFeature\n";

TEST(StreamProlog, FirstBeginPrologGetsTheMarkerFeature) {
  expectRows({
      {"a\n%%BeginProlog\nb\n", "a\n" + kMarker + "b\n"},
      {"%%BeginProlog\n%%BeginProlog\nb\n%%BeginProlog\n",
       kMarker + "%%BeginProlog\nb\n%%BeginProlog\n"},
      {"%%BeginProlog: with more text %d\nb\n", kMarker + "b\n"},
      {"%%BeginPrologue\n", kMarker},
  });
}

TEST(StreamProlog, ReplacementEndsInANewlineWhateverTheLineEnded) {
  expectRows({
      {"%%BeginProlog", kMarker},
      {"%%BeginProlog\rb\r", kMarker + "b\r"},
      {"%%BeginProlog\r\nb\r\n", kMarker + "\nb\r\n"},
  });
}

TEST(StreamProlog, OnlyTheExactStartOfTheLineCounts) {
  expectUnchanged(
      " %%BeginProlog\nx%%BeginProlog\n%%beginProlog\n%%BEGINPROLOG\n%%BeginProlo\n%BeginProlog\n"
      "%%Begin Prolog\n%%EndProlog\n%%%BeginProlog\n");
}

TEST(StreamProlog, MarkerFeatureIsNotTakenForTheJobsOwn) {
  expectBody("%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\none\ntwo\nb\n", kMarker + "b\n");
}

TEST(StreamProlog, BeginPrologInTheRemovedFeatureDoesNotCount) {
  expectRows({
      {"%%BeginProlog JobPatchFile\none\ntwo\nb\n%%BeginProlog\n", "b\n" + kMarker},
      {"%%BeginProlog JobPatchFile\n%%BeginProlog\n%%BeginProlog\n%%BeginProlog\n", kMarker},
      {"JobPatchFile\none\ntwo\n%%BeginProlog JobPatchFile\nb\n", kMarker + "b\n"},
  });
}

TEST(StreamProlog, ZeroByteLineIsNotReplaced) {
  expectBody(bytes("%%BeginProlog\0\n%%BeginProlog\n"), bytes("%%BeginProlog\0\n") + kMarker);
}

// ---- collated copies of retained jobs

const std::string kCopiesLine = "%RBINumCopies: 5\n";

std::string collated(const std::string& copies) {
  return "%!\n%Set collate copies = copy:\n<< /CollatedCopies " + copies +
         " >> setuserparams\n%EndUserSetup\n";
}

Job retained(const std::string& options) {
  Job job;
  job.options(options);
  return job;
}

constexpr const char* kDuplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";

TEST(StreamCollatedCopies, EveryRetentionModeGetsThem) {
  const std::string copies = " com.apple.print.PrintSettings.PMCopies..n.=3";
  const std::string hold = "@PJL SET HOLD = ";
  const std::string isPublic = "\n@PJL SET HOLDTYPE = PUBLIC\n";
  const std::string body = "a\n" + collated("3") + kCopiesLine + "b\n";
  const std::string input = "a\n" + kCopiesLine + "b\n";
  expectBody(retained("PrintTo=JRVerify" + copies), input, body,
             headerWith(hold + "PROOF" + isPublic + kDuplicates));
  expectBody(retained("PrintTo=JRRepeat" + copies), input, body,
             headerWith(hold + "ON" + isPublic + kDuplicates));
  expectBody(retained("PrintTo=JRConf JRHOLDKEY=1234" + copies), input, body,
             headerWith(hold + "ON\n@PJL SET HOLDTYPE = PRIVATE\n@PJL SET HOLDKEY = \"1234\"\n" +
                        kDuplicates));
  expectBody(retained("PrintTo=JRReserve" + copies), input, body,
             headerWith(hold + "STORE" + isPublic + kDuplicates));
  expectBody(retained("PrintTo=JRPrinter" + copies), input, body);
}

TEST(StreamCollatedCopies, OtherModesAndNoModeGetNone) {
  const std::string copies = " com.apple.print.PrintSettings.PMCopies..n.=3";
  expectBody(retained(copies), kCopiesLine, kCopiesLine);
  for (const char* mode : {"jrverify", "JRVERIFY", "JRverify", "jrrepeat", "JRconf", "JRRESERVE",
                           "JRVerifyX", "JRVerif", "JRVerify<20>", "<20>JRConf", "JR", "Other"}) {
    SCOPED_TRACE(mode);
    expectBody(retained(std::string("PrintTo=") + mode + copies), kCopiesLine, kCopiesLine,
               headerWith(kDuplicates));
  }
  for (const char* mode : {"jrprinter", "JRprinter", "JRPrinters"}) {
    SCOPED_TRACE(mode);
    expectBody(retained(std::string("PrintTo=") + mode + copies), kCopiesLine, kCopiesLine,
               headerWith(kDuplicates));
  }
  expectBody(retained("printto=JRPrinter" + copies), kCopiesLine, kCopiesLine);
}

TEST(StreamCollatedCopies, AbsentCopiesAreWrittenAsNull) {
  const std::string body = collated("(null)") + kCopiesLine;
  expectBody(retained("PrintTo=JRPrinter"), kCopiesLine, body);
  expectBody(
      retained("PrintTo=JRVerify"), kCopiesLine, body,
      headerWith("@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n" + std::string(kDuplicates)));
  expectBody(retained("PrintTo=JRPrinter Copies=3 copies=4"), kCopiesLine, body);
}

TEST(StreamCollatedCopies, OptionValueIsInsertedUnchanged) {
  const auto with = [](const std::string& value) {
    return retained("PrintTo=JRPrinter com.apple.print.PrintSettings.PMCopies..n.=" + value);
  };
  for (const char* value :
       {"0", "-2", "007", "2.5", "many", "PrinterS", "5%d%@%s%%n", "\x8a\xdb"}) {
    SCOPED_TRACE(value);
    expectBody(with(value), kCopiesLine, collated(value) + kCopiesLine);
  }
  expectBody(with("1<20><3E><20>2"), kCopiesLine, collated("1 > 2") + kCopiesLine);
  expectBody(with(""), kCopiesLine, collated("") + kCopiesLine);
  expectBody(with("1"), kCopiesLine, collated("1") + kCopiesLine,
             headerWith("@PJL SET COPIES = 1\n"));
}

TEST(StreamCollatedCopies, CopiesArgumentPlaysNoPart) {
  expectBody(retained("PrintTo=JRPrinter").copies("7"), kCopiesLine,
             collated("(null)") + kCopiesLine);
}

TEST(StreamCollatedCopies, EverySuchLineGetsThem) {
  const std::string text = collated("(null)");
  expectBody(retained("PrintTo=JRPrinter"),
             "%RBINumCopies: 1\n%RBINumCopies: %d%n%@\r%RBINumCopies: \r\nx\n%RBINumCopies: 2",
             text + "%RBINumCopies: 1\n" + text + "%RBINumCopies: %d%n%@\r" + text +
                 "%RBINumCopies: \r\nx\n" + text + "%RBINumCopies: 2");
}

TEST(StreamCollatedCopies, OnlyTheExactStartOfTheLineCounts) {
  const std::string input =
      "%RBINumCopies:5\n%RBINumCopies:\n%RBINumCopies:\t5\n %RBINumCopies: 5\n%%RBINumCopies: 5\n"
      "%rbinumcopies: 5\n%RBINUMCOPIES: 5\nRBINumCopies: 5\nx%RBINumCopies: 5\n%RBINumCopies : 5\n";
  expectBody(retained("PrintTo=JRPrinter"), input, input);
}

TEST(StreamCollatedCopies, ZeroByteLineGetsNone) {
  expectBody(retained("PrintTo=JRPrinter"), bytes("%RBINumCopies: 5\0\n"),
             bytes("%RBINumCopies: 5\0\n"));
}

// ---- unchanged lines, and the job's own PJL

TEST(StreamLines, EndSetupAndPageLinesPassUnchanged) {
  expectUnchanged(
      "%%EndSetup\n%%EndSetup x\r%%Page: 1 1\n%%Page: 2 2\r\n%%Page: (at end)\n%%PageTrailer\n"
      "statusdict /duplexer get exec\nQVBookletFold\n%%Page: 3");
}

TEST(StreamLines, PjlLinesOfTheJobAreDropped) {
  const std::string uel(kUel);
  expectRows({
      {"@PJL SET COPIES = 3\nb\n", "b\n"},
      {"@PJL \nb\n", "b\n"},
      {"@PJL  x\rb\n@PJL y", "b\n"},
      {uel + "@PJL JOB\nb\n" + uel, "b\n"},
      {uel + "%!PS-Adobe-3.0\nb\n", "b\n"},
      {uel + "\n" + uel + uel + "\nb\n", "b\n"},
      {uel + "@PJL JOB\r\n@PJL EOJ\r\nb\r\n", "\n\nb\r\n"},
  });
}

TEST(StreamLines, OtherLinesThatLookLikePjlPass) {
  expectUnchanged(
      "@PJL\n@PJLX\n@PJL\tSET\n@PJL\r@pjl SET\n@Pjl SET\n @PJL SET\nx@PJL SET\n@@PJL SET\n@PJ L\n");
  expectUnchanged("\x1b%-12345x\n\x1b%-12345\n\x1b\n%-12345X\n \x1b%-12345X\nx\x1b%-12345X\n");
}

TEST(StreamLines, PjlOfTheJobIsDroppedAlsoWithoutWrapping) {
  Job job;
  job.env("DEVICE_URI", "usb://Quorvan/Office").version("0x102f");
  const Outcome outcome =
      job.input(std::string(kUel) + "@PJL JOB\n@PJL X\n%!PS\n%%BeginProlog\n@PJL Y").run();
  EXPECT_EQ(outcome.out, "%!PS\n" + kMarker);
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
}

TEST(StreamLines, PjlLineStillCountsForTheFeatureRules) {
  // The page-size block contains the line that was dropped at its original place.
  expectBody("*PageSize A4\n@PJL X\n@PJL EndFeature\nb\nInputSlot cleartomark\n",
             "*PageSize A4\nb\nInputSlot cleartomark\n[{\n*PageSize A4\n@PJL X\n@PJL EndFeature\n"
             "} stopped cleartomark\n");
  expectBody("@PJL *PageSize A4\n%%EndFeature\n@PJL InputSlot\ncleartomark\n",
             "%%EndFeature\ncleartomark\n[{\n@PJL *PageSize A4\n%%EndFeature\n"
             "} stopped cleartomark\n");
}

TEST(StreamLines, PrologInThePageSizeFeatureIsPatchedOnlyInPlace) {
  expectBody("*PageSize A4\n%%BeginProlog\n%%EndFeature\nInputSlot cleartomark\n",
             "*PageSize A4\n" + kMarker +
                 "%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n%%BeginProlog\n"
                 "%%EndFeature\n} stopped cleartomark\n");
}

TEST(StreamLines, CopiesLineInThePageSizeFeatureIsExtendedOnlyInPlace) {
  expectBody(retained("PrintTo=JRPrinter"),
             "*PageSize A4\n%RBINumCopies: 5\n%%EndFeature\nInputSlot cleartomark\n",
             "*PageSize A4\n" + collated("(null)") +
                 "%RBINumCopies: 5\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n"
                 "%RBINumCopies: 5\n%%EndFeature\n} stopped cleartomark\n");
}

}  // namespace
}  // namespace jobshaper::testing
