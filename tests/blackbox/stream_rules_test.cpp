// The rules for the lines of a job, one by one in the order in which they apply, and all together.
// The page-size and paper-source rules are in stream_feature_blocks_test.cpp.
#include <string>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

const std::string kUelText(kUel);

// ---- poster jobs

const std::string kCollateOption = " com.apple.print.PrintSettings.PMCopyCollate..b.=";
const std::string kPoster = "QVPosterEnablePS=true" + kCollateOption + "true";
const std::string kCollateLine = "/Collate false\n";
const std::string kCollateTrue = "+<< /Collate true >> setpagedevice\n";

Job poster(const std::string& options = kPoster, const std::string& version = "0x103f") {
  return Job().options(options).version(version);
}

TEST(StreamPosterCollate, EveryCollateLineIsReplacedBefore1040) {
  for (const char* version : {"0x103f", "0x1", "failed"}) {
    expectStream(
        " a\n-" + kCollateLine + kCollateTrue + " b\n-%%Page: 1 1 /Collated\n" + kCollateTrue,
        poster(kPoster, version));
  }
  expectStream(" " + kCollateLine, poster(kPoster, "0x1040"));
}

TEST(StreamPosterCollate, BothOptionsMustBeTrueInAnyCase) {
  expectStream("-" + kCollateLine + kCollateTrue,
               poster("QVPosterEnablePS=tRUE" + kCollateOption + "True"));
  for (const std::string& options : {std::string("QVPosterEnablePS=true"), kCollateOption + "true",
                                     "QVPosterEnablePS=false" + kCollateOption + "true",
                                     "QVPosterEnablePS=1" + kCollateOption + "true",
                                     "QVPosterEnablePS=true" + kCollateOption + "true<20>",
                                     "qvposterenableps=true" + kCollateOption + "true"}) {
    expectStream(" " + kCollateLine, poster(options));
  }
}

TEST(StreamPosterCollate, LineIsReplacedBeforeAllLaterRulesAndEndsInANewline) {
  expectStreams(
      {" /collate\n /COLLATE\n Collate\n / Collate\n /Colate\n *Collate\n" +
           bytes(" /Collate\0\n") + "-/Collate\r" + kCollateTrue + " b\r-/Collate\r" +
           kCollateTrue + " \n-JobPatchFile /Collate\n" + kCollateTrue + "-@PJL /Collate\n" +
           kCollateTrue + "-" + kUelText + "/Collate\n" + kCollateTrue +
           "-%%BeginProlog /Collate\n" + kCollateTrue + "-JobPatchFile\ns/Collate\ns/Collate\n",
       "-*PageSize A4 /Collate\n" + kCollateTrue + " %%EndFeature\n" + kSource,
       kSize + "-InputSlot /Collate\n" + kCollateTrue + " cleartomark\n",
       " *PageSize A4\n-EndFeature /Collate\n" + kCollateTrue + " %%EndFeature\n InputSlot\n" +
           "-cleartomark /Collate\n" + kCollateTrue + " cleartomark\n+[{\n+*PageSize A4\n" +
           kCollateTrue + "+%%EndFeature\n+} stopped cleartomark\n",
       // The switch of the markers comes first.
       "-sfcl{ /Collate\n" + kCollateTrue + kSize + " InputSlot }efcl\n" +
           "+sfcl{\n+*PageSize A4\n+%%EndFeature\n+}efcl\n"},
      poster());
  // The collated copies of the filter itself are kept.
  expectStream(
      "-%RBINumCopies: 2 /Collate\n" + kCollateTrue + collated("(null)") + " %RBINumCopies: 3\n",
      poster(kPoster + " PrintTo=JRPrinter"));
}

// ---- the job's own JobPatchFile feature

TEST(StreamJobPatchFile, FirstLineAndTheNextTwoAreRemoved) {
  expectStreams({
      " jobPatchFile\n JOBPATCHFILE\n JobPatchfile\n JobPatch File\n JobPatchFil\n e\n" +
          bytes(" JobPatchFile\0\n") +
          "-x JobPatchFiley\nsone\nstwo\n JobPatchFile\n three\n InputSlot JobPatchFile\n four\n",
      "-@PJL JobPatchFile\nsone\nstwo\n b\n",
  });
}

TEST(StreamJobPatchFile, LineMeetsNoFurtherRule) {
  expectStreams({
      "-%%BeginProlog JobPatchFile *PageSize EndFeature\nsone\nstwo\n" + kSource +
          "-%%BeginProlog\n" + kMarkerFeature,
      kSize + "-InputSlot JobPatchFile\nsone\nstwo\n cleartomark\n",
      kSize + " InputSlot\n-cleartomark JobPatchFile\nsone\nstwo\n cleartomark\n" + kRepeated,
  });
}

// ---- the filter's own marker feature

TEST(StreamProlog, FirstLineThatStartsWithBeginPrologBecomesTheMarkerFeature) {
  expectStream(
      "  %%BeginProlog\n x%%BeginProlog\n %%beginProlog\n %%BEGINPROLOG\n %%BeginProlo\n"
      " %BeginProlog\n %%Begin Prolog\n %%EndProlog\n %%%BeginProlog\n" +
      bytes(" %%BeginProlog\0\n") + "-%%BeginPrologue %d\r" + kMarkerFeature +
      " \n %%BeginProlog\n-%%BeginFeature: *JobPatchFile 1\nsone\nstwo\n b\n");
  expectBody("%%BeginProlog", streamJob(kMarkerFeature).body);
}

// ---- collated copies of retained jobs

const std::string kCopiesLine = " %RBINumCopies: 5\n";
const std::string kCopies = " com.apple.print.PrintSettings.PMCopies..n.=";

TEST(StreamCollatedCopies, EveryRetentionModeHasThem) {
  for (const char* mode : {"JRVerify", "JRRepeat", "JRConf", "JRReserve", "JRPrinter"}) {
    expectStream(" a\n" + collated("3") + kCopiesLine + " b\n",
                 Job().options(std::string("PrintTo=") + mode + kCopies + "3"));
  }
  for (const char* other : {"", "printto=JRPrinter", "PrintTo=jrverify", "PrintTo=JRVerifyX",
                            "PrintTo=JRVerif", "PrintTo=JRConf<20>"}) {
    expectStream(kCopiesLine, Job().options(other + kCopies + "3"));
  }
}

TEST(StreamCollatedCopies, ValueOfTheOptionIsInsertedUnchanged) {
  for (const std::string value : {"007", "PrinterS", "5%d%@%s%%n\x8a", ""}) {
    expectStream(collated(value) + kCopiesLine,
                 Job().options("PrintTo=JRPrinter" + kCopies + value));
  }
  expectStream(collated("1 > 2") + kCopiesLine,
               Job().options("PrintTo=JRPrinter" + kCopies + "1<20><3E><20>2"));
  // Nothing else sets it.
  expectStream(collated("(null)") + kCopiesLine,
               Job().options("PrintTo=JRPrinter Copies=3 copies=4").copies("7"));
}

TEST(StreamCollatedCopies, EveryLineThatStartsWithTheExactTextHasThem) {
  const std::string text = collated("(null)");
  expectStream(text + " %RBINumCopies: 1\n" + text + " %RBINumCopies: %d%n%@\r" + text +
                   " %RBINumCopies: \r \n"
                   " %RBINumCopies:5\n %RBINumCopies:\n %RBINumCopies:\t5\n  %RBINumCopies: 5\n"
                   " %%RBINumCopies: 5\n %rbinumcopies: 5\n %RBINUMCOPIES: 5\n RBINumCopies: 5\n"
                   " x%RBINumCopies: 5\n %RBINumCopies : 5\n" +
                   bytes(" %RBINumCopies: 5\0\n") + "-%RBINumCopies: JobPatchFile\nsone\nstwo\n" +
                   text + " %RBINumCopies: 2",
               Job().options("PrintTo=JRPrinter"));
}

// ---- unchanged lines, and the job's own PJL

TEST(StreamLines, EndSetupAndPageLinesPassUnchanged) {
  expectUnchanged(
      "%%EndSetup\n%%EndSetup x\r%%Page: 1 1\n%%Page: 2 2\r\n%%Page: (at end)\n%%PageTrailer\n"
      "statusdict /duplexer get exec\nQVBookletFold\n%%Page: 3");
}

TEST(StreamLines, LinesThatStartWithPjlOrUelAreDropped) {
  expectStream("-@PJL SET COPIES = 3\n-@PJL \n-@PJL  x\r b\n-" + kUelText + "@PJL JOB\n-" +
               kUelText + "%!PS-Adobe-3.0\n-" + kUelText + "\r \n-" + kUelText + kUelText + "\n" +
               bytes(" @PJL SET A\0B\n \x1b%-12345X\0\n") +
               " @PJL\n @PJLX\n @PJL\tSET\n @PJL\r @pjl SET\n @Pjl SET\n  @PJL SET\n x@PJL SET\n"
               " @@PJL SET\n @PJ L\n"
               " \x1b%-12345x\n \x1b%-12345\n \x1b\n %-12345X\n  \x1b%-12345X\n x\x1b%-12345X\n"
               " (\x1b%-12345X) x\n-" +
               kUelText);
}

// ---- all rules together

TEST(StreamWholeJob, HasItsOutputCapturesAndLog) {
  const StreamJob stream = streamJob(
      "-" + kUelText + "@PJL JOB\n-@PJL ENTER LANGUAGE = POSTSCRIPT\n %!PS-Adobe-3.0\n" +
      collated("3") + kCopiesLine + "-%%BeginProlog\n" + kMarkerFeature +
      "-%%BeginFeature: *JobPatchFile 1\ns%%Driver PPD File 1\ns%%EndFeature\n" + kSize + "-" +
      kCollateLine + kCollateTrue + kSource + kRepeated + " %%Page: 1 1\n" +
      bytes(" @PJL \0\1\2\xff\r %%BeginProlog\0\n \n \r JobPatchFile\0InputSlot\r }efcl\0\n ") +
      std::string(1024, '\0') + " sfcl{\n InputSlot\n-}efcl\n+InputSlot cleartomark\n" + kRepeated +
      " %%BeginFeature: *JobPatchFile 2\n sfcl{ (100%, caf\x8e) show }efcl\n-" + kUelText +
      "@PJL EOJ\n %%EOF");
  const std::string out = headerWith(
                              "@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n"
                              "@PJL SET QDUPLICATEHELDJOBS = SAVE\n") +
                          stream.body + trailer();
  Job job = poster(kPoster + " PrintTo=JRVerify" + kCopies + "3").capture();
  for (const bool named : {false, true}) {
    named ? job.fileWith(stream.input).input("") : job.input(stream.input);
    expectRun(job, out, kCaptureOn);
    expectSame(readFile(job.tmpFile("qvn_ps")), stream.captured, "qvn_ps", "the job");
    expectSame(readFile(job.tmpFile("qvn_ps2")), out, "qvn_ps2", "the job");
  }
  expectSame(logAfterHeader(job),
             logBraces("isOnlyPrintInside") +
                 logRecord("main", "Initialized begin and end markers.") +
                 logRecord("main", "Found sfcl{ marker. Resetting begin and end markers.") +
                 logRecord("main", "}"),
             "log", "the job");
}

}  // namespace
}  // namespace jobshaper::testing
