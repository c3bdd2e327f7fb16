// The rules for the lines of a job, one by one and in the order in which they apply. The page-size
// and paper-source rules are in stream_feature_blocks_test.cpp.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

const std::string kSize = "*PageSize A4\n%%EndFeature\n";
const std::string kSizeBlock = "[{\n" + kSize + "} stopped cleartomark\n";
const std::string kMarker =
    "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
    "%%EndFeature\n";

// ---- the alternative feature-block markers

TEST(StreamMarkers, LineWithSfclPassesUnchanged) {
  expectUnchanged("sfcl{\nx\n}efcl\n  x sfcl{ y\nsfcl{");
}

void expectSwitches(bool switched, const std::vector<std::string>& inputs,
                    Where where = Where::here()) {
  for (const std::string& input : inputs) {
    const std::string found =
        logRecord("main", "Found sfcl{ marker. Resetting begin and end markers.");
    expectSame(logAfterHeader(Job().input(input)),
               logBraces("isOnlyPrintInside") +
                   logRecord("main", "Initialized begin and end markers.") +
                   (switched ? found : "") + logRecord("main", "}"),
               "log", ::testing::PrintToString(input), where);
  }
}

TEST(StreamMarkers, FirstSfclLineIsLoggedEvenIfItIsDroppedLater) {
  expectSwitches(true, {"sfcl{\n", "x /sfcl{y\n", "sfcl{", "sfcl{\rsfcl{\nsfcl{ sfcl{\n",
                        "JobPatchFile sfcl{\n", "@PJL sfcl{\n"});
}

TEST(StreamMarkers, OtherTextsAndLinesWithoutRulesDoNotSwitch) {
  expectSwitches(
      false, {"", "SFCL{\nSfcl{\nsfcl {\nsfcl\n{\nsfcl(\n}efcl\nefcl{\nsfc{\n", bytes("sfcl{\0\n"),
              "JobPatchFile\nsfcl{\nsfcl{\n", std::string(1020, 'a') + "sfcl{\n"});
}

// ---- poster jobs

constexpr const char* kCollateOption = "com.apple.print.PrintSettings.PMCopyCollate..b.=";
const std::string kPoster = std::string("QVPosterEnablePS=true ") + kCollateOption + "true";

Job poster(const std::string& options = kPoster, const std::string& version = "0x103f") {
  return Job().options(options).version(version);
}

const std::string kCollate = "<< /Collate false >> setpagedevice\n";
const std::string kCollateTrue = "<< /Collate true >> setpagedevice\n";

TEST(StreamPosterCollate, EveryCollateLineIsReplacedBefore1040) {
  for (const char* version : {"0x103f", "0x1030", "0x1029", "0x1", "failed"}) {
    expectBody(
        poster(kPoster, version).input("a\n" + kCollate + "b\n /Collate\n%%Page: 1 1 /Collated\n"),
        "a\n" + kCollateTrue + "b\n" + kCollateTrue + kCollateTrue);
  }
  for (const char* version : {"0x1040", "0x1049", "0x1050", "0x1060"}) {
    expectBody(poster(kPoster, version).input(kCollate), kCollate);
  }
  expectBody(Job().options(kPoster).input(kCollate), kCollate);
}

TEST(StreamPosterCollate, BothOptionsMustBeTrueInAnyCase) {
  const std::string enabled = "QVPosterEnablePS=";
  const std::string collated = std::string(" ") + kCollateOption;
  for (const std::string& options :
       {enabled + "TRUE" + collated + "true", enabled + "true" + collated + "True",
        collated + "tRUE " + enabled + "tRue x=y"}) {
    expectBody(poster(options).input(kCollate), kCollateTrue);
  }
  for (const std::string& options :
       {std::string(), enabled + "true", collated + "true", enabled + "false" + collated + "true",
        enabled + "true" + collated + "false", enabled + "1" + collated + "true",
        enabled + "true" + collated + "yes", enabled + "true<20>" + collated + "true",
        enabled + "true" + collated + "true<20>", enabled + "tru" + collated + "true",
        enabled + "true" + collated + "PrinterS", "qvposterenableps=true" + collated + "true",
        enabled + "true com.apple.print.PrintSettings.pmcopycollate..b.=true",
        "QVPosterEnable=true" + collated + "true"}) {
    expectBody(poster(options).input(kCollate), kCollate);
  }
}

TEST(StreamPosterCollate, LineIsReplacedBeforeAllLaterRulesAndEndsInANewline) {
  const std::string others = "/collate\n/COLLATE\nCollate\n/ Collate\n/Colate\n*Collate\n";
  expectBodies(
      {{others, others},
       {"/Collate\rb\r", kCollateTrue + "b\r"},
       {"/Collate\r\nb\r\n", kCollateTrue + "\nb\r\n"},
       {"b\n/Collate", "b\n" + kCollateTrue},
       {"JobPatchFile /Collate\nb\nc\n", kCollateTrue + "b\nc\n"},
       {"@PJL SET /Collate\n", kCollateTrue},
       {std::string(kUel) + "/Collate\n", kCollateTrue},
       {"%%BeginProlog /Collate\n%%BeginProlog\n", kCollateTrue + kMarker},
       {"*PageSize A4 /Collate\n%%EndFeature\nInputSlot cleartomark\n",
        kCollateTrue + "%%EndFeature\nInputSlot cleartomark\n"},
       {kSize + "InputSlot /Collate\ncleartomark\n", kSize + kCollateTrue + "cleartomark\n"},
       {"*PageSize A4\n/Collate\nEndFeature /Collate\nEndFeature\nInputSlot\n"
        "cleartomark /Collate\ncleartomark\n",
        "*PageSize A4\n" + kCollateTrue + kCollateTrue + "EndFeature\nInputSlot\n" + kCollateTrue +
            "cleartomark\n[{\n*PageSize A4\n" + kCollateTrue + kCollateTrue +
            "EndFeature\n} stopped cleartomark\n"},
       // The switch of the markers comes first.
       {"sfcl{ /Collate\n" + kSize + "InputSlot }efcl\n",
        kCollateTrue + kSize + "InputSlot }efcl\nsfcl{\n" + kSize + "}efcl\n"},
       {"JobPatchFile\n/Collate\n/Collate\n/Collate\n", kCollateTrue},
       {bytes("/Collate\0\n"), bytes("/Collate\0\n")}},
      poster());
}

TEST(StreamPosterCollate, CollatedCopiesOfTheFilterItselfAreKept) {
  const std::string retained = kPoster + " PrintTo=JRPrinter";
  expectBody(poster(retained).input("%RBINumCopies: 2 /Collate\n%RBINumCopies: 3\n"),
             kCollateTrue +
                 "%!\n%Set collate copies = copy:\n<< /CollatedCopies (null) >> setuserparams\n"
                 "%EndUserSetup\n%RBINumCopies: 3\n");
  expectBody(poster(retained + " com.apple.print.PrintSettings.PMCopies..n.=2")
                 .input("%RBINumCopies: 2\n"),
             "%!\n%Set collate copies = copy:\n<< /CollatedCopies 2 >> setuserparams\n"
             "%EndUserSetup\n%RBINumCopies: 2\n");
}

// ---- the job's own JobPatchFile feature

TEST(StreamJobPatchFile, FirstLineAndTheNextTwoAreRemoved) {
  expectBodies({
      {"a\n[{\n%%BeginFeature: *JobPatchFile 1\n%%File\n%%EndFeature\n} stopped cleartomark\nb\n",
       "a\n[{\n} stopped cleartomark\nb\n"},
      {"x JobPatchFiley\none\ntwo\nthree\n", "three\n"},
      {"xJobPatchFile\none\ntwo\nthree\n", "three\n"},
      {"JobPatchFile\none\ntwo\nJobPatchFile\nthree\nfour\n", "JobPatchFile\nthree\nfour\n"},
      {"JobPatchFile\none\ntwo\nx\nJobPatchFile\nJobPatchFile\ny\n",
       "x\nJobPatchFile\nJobPatchFile\ny\n"},
      {"@PJL JobPatchFile\none\ntwo\nJobPatchFile\nb\n", "JobPatchFile\nb\n"},
      {bytes("JobPatchFile\0\nb\nJobPatchFile\none\ntwo\nc\n"), bytes("JobPatchFile\0\nb\nc\n")},
  });
  expectUnchanged("jobPatchFile\nJOBPATCHFILE\nJobPatchfile\nJobPatch File\nJobPatchFil\ne\n");
}

TEST(StreamJobPatchFile, LineMeetsNoFurtherRule) {
  expectBodies(
      {{"JobPatchFile *PageSize A4\none\ntwo\n%%EndFeature\nInputSlot cleartomark\n",
        "%%EndFeature\nInputSlot cleartomark\n"},
       {"*PageSize A4\nEndFeature JobPatchFile\none\ntwo\nb\n%%EndFeature\nInputSlot cleartomark\n",
        "*PageSize A4\nb\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\nb\n%%EndFeature\n"
        "} stopped cleartomark\n"},
       {kSize + "InputSlot JobPatchFile\none\ntwo\ncleartomark\n", kSize + "cleartomark\n"},
       {kSize + "InputSlot\ncleartomark JobPatchFile\none\ntwo\ncleartomark\n",
        kSize + "InputSlot\ncleartomark\n" + kSizeBlock},
       {"%RBINumCopies: JobPatchFile\none\ntwo\nb\n", "b\n"}},
      Job().options("PrintTo=JRPrinter"));
}

// ---- the filter's own marker feature

TEST(StreamProlog, FirstLineThatStartsWithBeginPrologBecomesTheMarkerFeature) {
  expectBodies({
      {"a\n%%BeginProlog\nb\n", "a\n" + kMarker + "b\n"},
      {"%%BeginProlog\n%%BeginProlog\nb\n%%BeginProlog\n",
       kMarker + "%%BeginProlog\nb\n%%BeginProlog\n"},
      {"%%BeginProlog: with more text %d\nb\n", kMarker + "b\n"},
      {"%%BeginPrologue\n", kMarker},
      {"%%BeginProlog", kMarker},
      {"%%BeginProlog\rb\r", kMarker + "b\r"},
      {"%%BeginProlog\r\nb\r\n", kMarker + "\nb\r\n"},
      // The marker feature is not taken for the job's own feature, nor that for a prolog.
      {"%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\none\ntwo\nb\n", kMarker + "b\n"},
      {"%%BeginProlog JobPatchFile\none\ntwo\nb\n%%BeginProlog\n", "b\n" + kMarker},
      {"%%BeginProlog JobPatchFile\n%%BeginProlog\n%%BeginProlog\n%%BeginProlog\n", kMarker},
      {"JobPatchFile\none\ntwo\n%%BeginProlog JobPatchFile\nb\n", kMarker + "b\n"},
      {bytes("%%BeginProlog\0\n%%BeginProlog\n"), bytes("%%BeginProlog\0\n") + kMarker},
      // It is only in its place, not in the page-size feature that is repeated.
      {"*PageSize A4\n%%BeginProlog\n%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\n" + kMarker +
           "%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n%%BeginProlog\n"
           "%%EndFeature\n} stopped cleartomark\n"},
  });
  expectUnchanged(
      " %%BeginProlog\nx%%BeginProlog\n%%beginProlog\n%%BEGINPROLOG\n%%BeginProlo\n%BeginProlog\n"
      "%%Begin Prolog\n%%EndProlog\n%%%BeginProlog\n");
}

// ---- collated copies of retained jobs

const std::string kCopiesLine = "%RBINumCopies: 5\n";
const std::string kNow = "PrintTo=JRPrinter";
const std::string kCopies = " com.apple.print.PrintSettings.PMCopies..n.=";
const std::string kDuplicates = "@PJL SET QDUPLICATEHELDJOBS = SAVE\n";

std::string collated(const std::string& copies) {
  return "%!\n%Set collate copies = copy:\n<< /CollatedCopies " + copies +
         " >> setuserparams\n%EndUserSetup\n";
}

TEST(StreamCollatedCopies, EveryRetentionModeHasThem) {
  const std::string hold = "@PJL SET HOLD = ";
  const std::string isPublic = "\n@PJL SET HOLDTYPE = PUBLIC\n" + kDuplicates;
  const std::string rows[][2] = {{"JRVerify", hold + "PROOF" + isPublic},
                                 {"JRRepeat", hold + "ON" + isPublic},
                                 {"JRConf JRHOLDKEY=12", hold +
                                                             "ON\n@PJL SET HOLDTYPE = PRIVATE\n"
                                                             "@PJL SET HOLDKEY = \"12\"\n" +
                                                             kDuplicates},
                                 {"JRReserve", hold + "STORE" + isPublic},
                                 {"JRPrinter", ""}};
  for (const auto& [mode, header] : rows) {
    expectRun(Job().options("PrintTo=" + mode + kCopies + "3").input("a\n" + kCopiesLine + "b\n"),
              headerWith(header) + "a\n" + collated("3") + kCopiesLine + "b\n" + trailer());
  }
}

TEST(StreamCollatedCopies, OtherModesAndNoModeHaveNone) {
  expectBody(Job().options(kCopies + "3").input(kCopiesLine), kCopiesLine);
  expectBody(Job().options("printto=JRPrinter" + kCopies + "3").input(kCopiesLine), kCopiesLine);
  for (const char* mode :
       {"jrverify", "JRVERIFY", "JRverify", "jrrepeat", "JRconf", "JRRESERVE", "JRVerifyX",
        "JRVerif", "JRVerify<20>", "<20>JRConf", "JR", "Other", "jrprinter", "JRPrinters"}) {
    expectRun(Job().options(std::string("PrintTo=") + mode + kCopies + "3").input(kCopiesLine),
              headerWith(kDuplicates) + kCopiesLine + trailer());
  }
}

TEST(StreamCollatedCopies, ValueOfTheOptionIsInsertedUnchanged) {
  const std::string rows[][2] = {{"0", "0"},
                                 {"-2", "-2"},
                                 {"007", "007"},
                                 {"2.5", "2.5"},
                                 {"many", "many"},
                                 {"PrinterS", "PrinterS"},
                                 {"5%d%@%s%%n", "5%d%@%s%%n"},
                                 {"\x8a\xdb", "\x8a\xdb"},
                                 {"1<20><3E><20>2", "1 > 2"},
                                 {"", ""}};
  for (const auto& [value, text] : rows) {
    expectBody(Job().options(kNow + kCopies + value).input(kCopiesLine),
               collated(text) + kCopiesLine);
  }
  expectRun(Job().options(kNow + kCopies + "1").input(kCopiesLine),
            headerWith("@PJL SET COPIES = 1\n") + collated("1") + kCopiesLine + trailer());
}

TEST(StreamCollatedCopies, CopiesArgumentIsIgnoredAndAnAbsentOptionIsNull) {
  expectBody(Job().options(kNow + " Copies=3 copies=4").copies("7").input(kCopiesLine),
             collated("(null)") + kCopiesLine);
}

TEST(StreamCollatedCopies, EveryLineThatStartsWithTheExactTextHasThem) {
  const std::string others =
      "%RBINumCopies:5\n%RBINumCopies:\n%RBINumCopies:\t5\n %RBINumCopies: 5\n%%RBINumCopies: 5\n"
      "%rbinumcopies: 5\n%RBINUMCOPIES: 5\nRBINumCopies: 5\nx%RBINumCopies: 5\n%RBINumCopies : 5\n";
  const std::string text = collated("(null)");
  expectBodies({{"%RBINumCopies: 1\n%RBINumCopies: %d%n%@\r%RBINumCopies: \r\nx\n%RBINumCopies: 2",
                 text + "%RBINumCopies: 1\n" + text + "%RBINumCopies: %d%n%@\r" + text +
                     "%RBINumCopies: \r\nx\n" + text + "%RBINumCopies: 2"},
                {others, others},
                {bytes("%RBINumCopies: 5\0\n"), bytes("%RBINumCopies: 5\0\n")},
                // They are only in their place, not in the page-size feature that is repeated.
                {"*PageSize A4\n%RBINumCopies: 5\n%%EndFeature\nInputSlot cleartomark\n",
                 "*PageSize A4\n" + text +
                     "%RBINumCopies: 5\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n"
                     "%RBINumCopies: 5\n%%EndFeature\n} stopped cleartomark\n"}},
               Job().options(kNow));
}

// ---- unchanged lines, and the job's own PJL

TEST(StreamLines, EndSetupAndPageLinesPassUnchanged) {
  expectUnchanged(
      "%%EndSetup\n%%EndSetup x\r%%Page: 1 1\n%%Page: 2 2\r\n%%Page: (at end)\n%%PageTrailer\n"
      "statusdict /duplexer get exec\nQVBookletFold\n%%Page: 3");
}

TEST(StreamLines, LinesThatStartWithPjlOrUelAreDropped) {
  const std::string uel(kUel);
  expectBodies({
      {"@PJL SET COPIES = 3\nb\n", "b\n"},
      {"@PJL \nb\n", "b\n"},
      {"@PJL  x\rb\n@PJL y", "b\n"},
      {uel + "@PJL JOB\nb\n" + uel, "b\n"},
      {uel + "%!PS-Adobe-3.0\nb\n", "b\n"},
      {uel + "\n" + uel + uel + "\nb\n", "b\n"},
      {uel + "@PJL JOB\r\n@PJL EOJ\r\nb\r\n", "\n\nb\r\n"},
      {bytes("@PJL SET A\0B\n\x1b%-12345X\0\nb\n"), bytes("@PJL SET A\0B\n\x1b%-12345X\0\nb\n")},
      {"@PJL " + std::string(1019, 'x') + "@PJX y\nb\n", "@PJX y\nb\n"},
  });
  expectUnchanged(
      "@PJL\n@PJLX\n@PJL\tSET\n@PJL\r@pjl SET\n@Pjl SET\n @PJL SET\nx@PJL SET\n@@PJL SET\n@PJ L\n");
  expectUnchanged(
      "\x1b%-12345x\n\x1b%-12345\n\x1b\n%-12345X\n \x1b%-12345X\nx\x1b%-12345X\n(\x1b%-12345X) "
      "x\n");
}

TEST(StreamLines, PjlOfTheJobIsDroppedAlsoWithoutWrapping) {
  Job job = Job().env("DEVICE_URI", "usb://Quorvan/Office").version("0x102f");
  expectRun(job.input(std::string(kUel) + "@PJL JOB\n@PJL X\n%!PS\n%%BeginProlog\n@PJL Y"),
            "%!PS\n" + kMarker);
  expectRun(job.input(std::string(kUel) + "@PJL JOB\n@PJL EOJ\n"), "");
}

// The repeated page-size feature has the line that was dropped in its place.
TEST(StreamLines, DroppedPjlLineStillBelongsToTheFeatures) {
  expectBodies({
      {"*PageSize A4\n@PJL X\n@PJL EndFeature\nb\nInputSlot cleartomark\n",
       "*PageSize A4\nb\nInputSlot cleartomark\n[{\n*PageSize A4\n@PJL X\n@PJL EndFeature\n"
       "} stopped cleartomark\n"},
      {"@PJL *PageSize A4\n%%EndFeature\n@PJL InputSlot\ncleartomark\n",
       "%%EndFeature\ncleartomark\n[{\n@PJL *PageSize A4\n%%EndFeature\n} stopped cleartomark\n"},
  });
}

}  // namespace
}  // namespace jobshaper::testing
