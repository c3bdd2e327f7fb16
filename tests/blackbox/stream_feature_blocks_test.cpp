// What is copied from the job's first page-size feature, and where the copy is repeated: after
// every paper-source feature that follows.
#include <gtest/gtest.h>

#include <string>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

// Features as in the PPD of the print dialog, in both styles.
const std::string kA4 =
    "[{\n"
    "%%BeginFeature: *PageSize A4\n"
    "<< /PageSize [595 842] >> setpagedevice\n"
    "%%EndFeature\n"
    "} stopped cleartomark\n";
const std::string kTray1 =
    "[{\n"
    "%%BeginFeature: *InputSlot Tray1\n"
    "<< /MediaPosition 0 >> setpagedevice\n"
    "%%EndFeature\n"
    "} stopped cleartomark\n";
const std::string kTray2 =
    "[{\n"
    "%%BeginFeature: *InputSlot Tray2\n"
    "<< /MediaPosition 1 >> setpagedevice\n"
    "%%EndFeature\n"
    "} stopped cleartomark\n";
const std::string kDuplex =
    "[{\n"
    "%%BeginFeature: *Duplex None\n"
    "<< /Duplex false >> setpagedevice\n"
    "%%EndFeature\n"
    "} stopped cleartomark\n";
const std::string kSfclA4 =
    "sfcl{\n"
    "%%BeginFeature: *PageSize A4\n"
    "<< /PageSize [595 842] >> setpagedevice\n"
    "%%EndFeature\n"
    "}efcl\n";
const std::string kSfclTray1 =
    "sfcl{\n"
    "%%BeginFeature: *InputSlot Tray1\n"
    "<< /MediaPosition 0 >> setpagedevice\n"
    "%%EndFeature\n"
    "}efcl\n";
const std::string kSfclTray2 =
    "sfcl{\n"
    "%%BeginFeature: *InputSlot Tray2\n"
    "<< /MediaPosition 1 >> setpagedevice\n"
    "%%EndFeature\n"
    "}efcl\n";

// Minimal features, for the tests of single texts.
const std::string kSize = "*PageSize A4\n%%EndFeature\n";
const std::string kSizeBlock = "[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\n";

// ---- both styles

TEST(StreamFeatureBlocks, PageSizeIsRepeatedAfterThePaperSource) {
  expectBody(kA4 + kTray1 + "showpage\n", kA4 + kTray1 + kA4 + "showpage\n");
}

TEST(StreamFeatureBlocks, PageSizeIsRepeatedInTheAlternativeStyle) {
  expectBody(kSfclA4 + kSfclTray1 + "showpage\n", kSfclA4 + kSfclTray1 + kSfclA4 + "showpage\n");
}

TEST(StreamFeatureBlocks, PageSizeIsRepeatedAfterEveryPaperSource) {
  expectBody(kA4 + kTray1 + "a\n" + kTray2 + "b\n" + kTray1 + kTray2,
             kA4 + kTray1 + kA4 + "a\n" + kTray2 + kA4 + "b\n" + kTray1 + kA4 + kTray2 + kA4);
  expectBody(kSfclA4 + kSfclTray1 + kSfclTray2 + kSfclTray1,
             kSfclA4 + kSfclTray1 + kSfclA4 + kSfclTray2 + kSfclA4 + kSfclTray1 + kSfclA4);
}

TEST(StreamFeatureBlocks, OtherFeaturesRepeatNothing) {
  expectUnchanged(kA4 + kDuplex + kDuplex);
  expectBody(kDuplex + kA4 + kDuplex + kTray1 + kDuplex,
             kDuplex + kA4 + kDuplex + kTray1 + kA4 + kDuplex);
}

TEST(StreamFeatureBlocks, PaperSourceBeforeAnyPageSizeChangesNothing) {
  expectUnchanged(kTray1 + kTray2 + kA4);
  expectUnchanged(kSfclTray1 + kSfclA4);
  expectUnchanged(kTray1);
  expectBody(kTray1 + kA4 + kTray2, kTray1 + kA4 + kTray2 + kA4);
}

TEST(StreamFeatureBlocks, LaterPageSizeIsNotCollected) {
  const std::string letter =
      "[{\n%%BeginFeature: *PageSize Letter\n<< /PageSize [612 792] >> setpagedevice\n"
      "%%EndFeature\n} stopped cleartomark\n";
  expectBody(kA4 + letter + kTray1 + letter + kTray2,
             kA4 + letter + kTray1 + kA4 + letter + kTray2 + kA4);
}

TEST(StreamFeatureBlocks, FirstClosingLineIsRepeatedBeforeEveryBlock) {
  expectBody(kSize +
                 "InputSlot\nfirst cleartomark\nInputSlot\nsecond cleartomark\nb\nInputSlot\n"
                 "third cleartomark\n",
             kSize + "InputSlot\nfirst cleartomark\n" + kSizeBlock +
                 "InputSlot\nfirst cleartomark\n" + kSizeBlock +
                 "b\nInputSlot\nfirst cleartomark\n" + kSizeBlock);
}

// ---- the switch between the styles

TEST(StreamFeatureBlocks, BlockStartedBeforeTheSwitchKeepsItsMarkers) {
  expectBody(kA4 + kSfclTray1 + kSfclTray2, kA4 + kSfclTray1 + kA4 + kSfclTray2 +
                                                // the first closing line is the same text
                                                kA4);
}

TEST(StreamFeatureBlocks, SwitchInsideTheBlockChangesItsEndOnly) {
  expectBody("*PageSize A4\nsfcl{\n%%EndFeature\nInputSlot }efcl\n",
             "*PageSize A4\nsfcl{\n%%EndFeature\nInputSlot }efcl\n"
             "[{\n*PageSize A4\nsfcl{\n%%EndFeature\n}efcl\n");
}

TEST(StreamFeatureBlocks, SwitchOnTheLineOfThePageSizeComesFirst) {
  expectBody("sfcl{ *PageSize A4\n%%EndFeature\nInputSlot }efcl\n",
             "sfcl{ *PageSize A4\n%%EndFeature\nInputSlot }efcl\n"
             "sfcl{\nsfcl{ *PageSize A4\n%%EndFeature\n}efcl\n");
}

TEST(StreamFeatureBlocks, BlockStartedAgainAfterTheSwitchHasTheNewMarkers) {
  expectBody("*PageSize A4\nsfcl{\n*PageSize A5\n%%EndFeature\nInputSlot }efcl\n",
             "*PageSize A4\nsfcl{\n*PageSize A5\n%%EndFeature\nInputSlot }efcl\n"
             "sfcl{\n*PageSize A5\n%%EndFeature\n}efcl\n");
}

TEST(StreamFeatureBlocks, ClosingTextFollowsTheStyle) {
  expectRows({
      // "}efcl" does not close a feature before the switch, nor "cleartomark" after it.
      {kSize + "InputSlot\n}efcl\nb\ncleartomark\n",
       kSize + "InputSlot\n}efcl\nb\ncleartomark\n" + kSizeBlock},
      {kSize + "sfcl{\nInputSlot\ncleartomark\nb\n}efcl\n",
       kSize + "sfcl{\nInputSlot\ncleartomark\nb\n}efcl\n" + kSizeBlock},
      {kSize + "InputSlot\nsfcl{\ncleartomark\n}efcl\n",
       kSize + "InputSlot\nsfcl{\ncleartomark\n}efcl\n" + kSizeBlock},
      {kSize + "InputSlot\nsfcl{ cleartomark\n}efcl\n",
       kSize + "InputSlot\nsfcl{ cleartomark\n}efcl\n" + kSizeBlock},
      {kSize + "InputSlot\nsfcl{ }efcl\nb\n",
       kSize + "InputSlot\nsfcl{ }efcl\n" + kSizeBlock + "b\n"},
  });
}

TEST(StreamFeatureBlocks, MarkerInASkippedOrZeroByteLineDoesNotSwitch) {
  expectBody("JobPatchFile\nsfcl{\nsfcl{\n" + kA4 + kTray1, kA4 + kTray1 + kA4);
  expectBody(bytes("sfcl{\0\n") + kA4 + kTray1, bytes("sfcl{\0\n") + kA4 + kTray1 + kA4);
}

// ---- the texts

TEST(StreamFeatureBlocks, EachOfThreeTextsStartsTheBlock) {
  for (const char* line :
       {"%%BeginFeature: *PageSize A4", "*PageSize", "x *PageSizeX y",
        "%%BeginFeature: *PageRegion A4", "PageRegion", "xPageRegiony",
        "%%BeginFeature: *CustomPageSize True", "CustomPageSize", "/CustomPageSize 1 def"}) {
    SCOPED_TRACE(line);
    const std::string feature = std::string(line) + "\n%%EndFeature\n";
    expectBody(feature + "InputSlot\ncleartomark\n",
               feature + "InputSlot\ncleartomark\n[{\n" + feature + "} stopped cleartomark\n");
  }
}

TEST(StreamFeatureBlocks, OtherTextsStartNoBlock) {
  for (const char* line : {"<< /PageSize [595 842] >> setpagedevice", "PageSize", "* PageSize",
                           "*pagesize", "*PAGESIZE", "*Pagesize", "pageregion", "Pageregion",
                           "customPageSize", "Custom PageSize", "*PageSiz"}) {
    SCOPED_TRACE(line);
    expectUnchanged(std::string(line) + "\n%%EndFeature\nInputSlot\ncleartomark\n");
  }
}

TEST(StreamFeatureBlocks, BlockEndsWithTheFirstLineThatHoldsEndFeature) {
  expectRows({
      {"*PageSize\nxEndFeaturex\nb\nInputSlot cleartomark\n",
       "*PageSize\nxEndFeaturex\nb\nInputSlot cleartomark\n[{\n*PageSize\nxEndFeaturex\n"
       "} stopped cleartomark\n"},
      {"*PageSize\nendfeature\nENDFEATURE\nEnd Feature\nEndFeature\nb\nInputSlot cleartomark\n",
       "*PageSize\nendfeature\nENDFEATURE\nEnd Feature\nEndFeature\nb\nInputSlot cleartomark\n"
       "[{\n*PageSize\nendfeature\nENDFEATURE\nEnd Feature\nEndFeature\n} stopped cleartomark\n"},
  });
}

TEST(StreamFeatureBlocks, BlockMayBeASingleLine) {
  expectBody("*PageSize A4 %%EndFeature\nb\nInputSlot cleartomark\n",
             "*PageSize A4 %%EndFeature\nb\nInputSlot cleartomark\n[{\n*PageSize A4 %%EndFeature\n"
             "} stopped cleartomark\n");
}

TEST(StreamFeatureBlocks, EndFeatureWithoutAPageSizeEndsNothing) {
  expectBody("%%EndFeature\n" + kSize + "InputSlot cleartomark\n",
             "%%EndFeature\n" + kSize + "InputSlot cleartomark\n" + kSizeBlock);
}

TEST(StreamFeatureBlocks, AnotherStartTextBeginsTheBlockAgain) {
  expectRows({
      {"*PageSize A4\na\n*PageRegion A5\nb\n%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\na\n*PageRegion A5\nb\n%%EndFeature\nInputSlot cleartomark\n"
       "[{\n*PageRegion A5\nb\n%%EndFeature\n} stopped cleartomark\n"},
      {"*PageSize A4\n*PageSize A5\n*PageSize A6\nCustomPageSize EndFeature\n*PageSize A7\n"
       "InputSlot cleartomark\n",
       "*PageSize A4\n*PageSize A5\n*PageSize A6\nCustomPageSize EndFeature\n*PageSize A7\n"
       "InputSlot cleartomark\n[{\nCustomPageSize EndFeature\n} stopped cleartomark\n"},
  });
}

TEST(StreamFeatureBlocks, TextsOfThePaperSourceAreCaseSensitive) {
  expectUnchanged(kSize + "inputslot\ninputSlot\nInputslot\nINPUTSLOT\nInput Slot\ncleartomark\n");
  expectBody(
      kSize + "InputSlot\nClearToMark\nCLEARTOMARK\nclear tomark\ncleartomark\n",
      kSize + "InputSlot\nClearToMark\nCLEARTOMARK\nclear tomark\ncleartomark\n" + kSizeBlock);
  expectBody(kSize + "sfcl{\nInputSlot\n}EFCL\n} efcl\nefcl\n}efcl\n",
             kSize + "sfcl{\nInputSlot\n}EFCL\n} efcl\nefcl\n}efcl\n" + kSizeBlock);
}

TEST(StreamFeatureBlocks, TextsOfThePaperSourceMayBeAnywhereInTheLine) {
  expectBody(kSize + "xInputSlotx\nxcleartomarkx\nb\n",
             kSize + "xInputSlotx\nxcleartomarkx\n" + kSizeBlock + "b\n");
}

// ---- the paper source

TEST(StreamFeatureBlocks, PaperSourceMayOpenAndCloseOnOneLine) {
  expectRows({
      {kSize + "InputSlot cleartomark\nb\n",
       kSize + "InputSlot cleartomark\n" + kSizeBlock + "b\n"},
      {kSize + "cleartomark InputSlot\nb\n",
       kSize + "cleartomark InputSlot\n" + kSizeBlock + "b\n"},
      {kSize + "InputSlot cleartomark 1\nInputSlot cleartomark 2\n",
       kSize + "InputSlot cleartomark 1\n" + kSizeBlock + "InputSlot cleartomark 1\n" + kSizeBlock},
      {"InputSlot cleartomark\n" + kSize + "cleartomark\n",
       "InputSlot cleartomark\n" + kSize + "cleartomark\n"},
  });
}

TEST(StreamFeatureBlocks, ClosingTextWithoutAPaperSourceRepeatsNothing) {
  expectUnchanged(kSize + "cleartomark\ncleartomark\n}efcl\n");
  expectBody(kSize + "InputSlot\ncleartomark\ncleartomark\n",
             kSize + "InputSlot\ncleartomark\n" + kSizeBlock + "cleartomark\n");
}

TEST(StreamFeatureBlocks, PaperSourceThatIsNeverClosedRepeatsNothing) {
  expectUnchanged(kSize + "InputSlot\nb\n");
  expectUnchanged(kSize + "InputSlot\nInputSlot\nInputSlot");
}

TEST(StreamFeatureBlocks, PaperSourceNamedTwiceRepeatsOnce) {
  expectBody(kSize + "InputSlot\nInputSlot\ncleartomark\ncleartomark\n",
             kSize + "InputSlot\nInputSlot\ncleartomark\n" + kSizeBlock + "cleartomark\n");
}

TEST(StreamFeatureBlocks, PaperSourceClosedBeforeThePageSizeIsForgotten) {
  expectUnchanged("InputSlot\ncleartomark\n" + kSize + "cleartomark\n");
}

TEST(StreamFeatureBlocks, PaperSourceOpenAroundThePageSizeIsClosedByIt) {
  expectBody("InputSlot\n" + kA4 + "b\n", "InputSlot\n" + kA4 + kA4 + "b\n");
  expectBody("InputSlot\n" + kSize + "b\ncleartomark\n",
             "InputSlot\n" + kSize + "b\ncleartomark\n" + kSizeBlock);
}

TEST(StreamFeatureBlocks, PageSizeAndPaperSourceOnOneLine) {
  expectBody("*PageSize InputSlot EndFeature cleartomark\nb\n",
             "*PageSize InputSlot EndFeature cleartomark\n[{\n"
             "*PageSize InputSlot EndFeature cleartomark\n} stopped cleartomark\nb\n");
}

// ---- a collection that is still open

TEST(StreamFeatureBlocks, OpenBlockIsRepeatedAsFarAsItIsCollected) {
  expectBody("*PageSize A4\na\nInputSlot\nb\ncleartomark\nc\n%%EndFeature\nd\n",
             "*PageSize A4\na\nInputSlot\nb\ncleartomark\n"
             "[{\n*PageSize A4\na\nInputSlot\nb\ncleartomark\n"
             "c\n%%EndFeature\nd\n");
}

TEST(StreamFeatureBlocks, OpenBlockIsNotCollectedFurtherAfterItsRepetition) {
  expectBody(
      "*PageSize A4\nInputSlot cleartomark\nc\n%%EndFeature\n*PageSize A5\n%%EndFeature\n"
      "InputSlot\nsecond cleartomark\n",
      "*PageSize A4\nInputSlot cleartomark\n[{\n*PageSize A4\nInputSlot cleartomark\n"
      "c\n%%EndFeature\n*PageSize A5\n%%EndFeature\nInputSlot\n"
      "InputSlot cleartomark\n[{\n*PageSize A4\nInputSlot cleartomark\n");
}

TEST(StreamFeatureBlocks, OpenBlockHoldsAnEarlierClosingLine) {
  // The closing line of another feature is added to the open block like any other line.
  expectBody("*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n",
             "*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n"
             "[{\n*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n");
}

TEST(StreamFeatureBlocks, RepetitionOnTheLineThatEndsTheBlock) {
  expectBody("InputSlot\n*PageSize A4\nEndFeature cleartomark\nb\nInputSlot cleartomark\n",
             "InputSlot\n*PageSize A4\nEndFeature cleartomark\n"
             "[{\n*PageSize A4\nEndFeature cleartomark\n} stopped cleartomark\n"
             "b\nEndFeature cleartomark\n"
             "[{\n*PageSize A4\nEndFeature cleartomark\n} stopped cleartomark\n");
}

TEST(StreamFeatureBlocks, RepetitionOnTheLineThatStartsTheBlock) {
  expectBody("InputSlot\n*PageSize cleartomark\na\nEndFeature\nInputSlot cleartomark\n",
             "InputSlot\n*PageSize cleartomark\n[{\n*PageSize cleartomark\n"
             "a\nEndFeature\n*PageSize cleartomark\n[{\n*PageSize cleartomark\n");
}

// ---- line ends and zero bytes

TEST(StreamFeatureBlocks, BlockKeepsTheLineEndsOfTheJob) {
  expectBody(
      "[{\r%%BeginFeature: *PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\r"
      "[{\r*InputSlot\r} stopped cleartomark\rb\r",
      "[{\r%%BeginFeature: *PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\r"
      "[{\r*InputSlot\r} stopped cleartomark\r"
      "[{\n%%BeginFeature: *PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\nb\r");
}

TEST(StreamFeatureBlocks, NewlineAfterTheClosingCarriageReturnFollowsTheBlock) {
  expectBody(
      "[{\r\n*PageSize A4\r\nx\r\n%%EndFeature\r\n} stopped cleartomark\r\n"
      "[{\r\n*InputSlot\r\n} stopped cleartomark\r\nb\r\n",
      "[{\r\n*PageSize A4\r\nx\r\n%%EndFeature\r\n} stopped cleartomark\r\n"
      "[{\r\n*InputSlot\r\n} stopped cleartomark\r"
      "[{\n*PageSize A4\r\nx\r\n%%EndFeature\r} stopped cleartomark\n\nb\r\n");
}

TEST(StreamFeatureBlocks, ClosingLineWithoutNewlineAtTheEndOfTheJob) {
  expectBody(kSize + "InputSlot\ncleartomark", kSize + "InputSlot\ncleartomark" + kSizeBlock);
}

TEST(StreamFeatureBlocks, LongLinesOfTheFeatureComeBackWhole) {
  const std::string longLine(5000, 'a');
  expectBody("*PageSize A4\n" + longLine + "\n%%EndFeature\nInputSlot cleartomark\n",
             "*PageSize A4\n" + longLine +
                 "\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\n" + longLine +
                 "\n%%EndFeature\n} stopped cleartomark\n");
}

TEST(StreamFeatureBlocks, BytesAndPercentSignsOfTheFeatureComeBackUnchanged) {
  expectBody("*PageSize \x80\xff%d\n%s%n%@%%EndFeature\n\xc5InputSlot %s cleartomark\n",
             "*PageSize \x80\xff%d\n%s%n%@%%EndFeature\n\xc5InputSlot %s cleartomark\n"
             "[{\n*PageSize \x80\xff%d\n%s%n%@%%EndFeature\n} stopped cleartomark\n");
}

TEST(StreamFeatureBlocks, ZeroByteLinesTakeNoPartInTheFeatures) {
  expectRows({
      {bytes("*PageSize\0\n%%EndFeature\nInputSlot cleartomark\n"),
       bytes("*PageSize\0\n%%EndFeature\nInputSlot cleartomark\n")},
      // Not copied, and not the end of the block.
      {bytes("*PageSize A4\na\0b\nEndFeature\0\nb\n%%EndFeature\nInputSlot cleartomark\n"),
       bytes("*PageSize A4\na\0b\nEndFeature\0\nb\n%%EndFeature\nInputSlot cleartomark\n"
             "[{\n*PageSize A4\nb\n%%EndFeature\n} stopped cleartomark\n")},
      {"*PageSize A4\n" + bytes("*PageSize A5\0\n") + "%%EndFeature\nInputSlot cleartomark\n",
       "*PageSize A4\n" + bytes("*PageSize A5\0\n") + "%%EndFeature\nInputSlot cleartomark\n" +
           kSizeBlock},
      // Neither opens nor closes a paper source.
      {kSize + bytes("InputSlot\0\n") + "cleartomark\n",
       kSize + bytes("InputSlot\0\n") + "cleartomark\n"},
      {kSize + "InputSlot\n" + bytes("cleartomark\0\n") + "cleartomark\nb\n",
       kSize + "InputSlot\n" + bytes("cleartomark\0\n") + "cleartomark\n" + kSizeBlock + "b\n"},
  });
}

// ---- the repeated block meets the rules that follow

TEST(StreamFeatureBlocks, BlockAfterAPjlLineIsDroppedWithIt) {
  expectRows({
      {kSize + "InputSlot\n@PJL cleartomark\nb\n", kSize + "InputSlot\nb\n"},
      // The dropped line remains the start of the block, so every repetition is dropped.
      {kSize + "InputSlot\n@PJL cleartomark\nInputSlot\ncleartomark\nb\nInputSlot cleartomark\nc\n",
       kSize + "InputSlot\nInputSlot\nb\nc\n"},
      {kSize + "InputSlot\n" + std::string(kUel) + "cleartomark\nInputSlot\ncleartomark\nb\n",
       kSize + "InputSlot\nInputSlot\nb\n"},
      // Depends on the first closing line, not on the one that is replaced.
      {kSize + "InputSlot\n1 cleartomark\nInputSlot\n@PJL cleartomark\nb\n",
       kSize + "InputSlot\n1 cleartomark\n" + kSizeBlock + "InputSlot\n1 cleartomark\n" +
           kSizeBlock + "b\n"},
  });
}

TEST(StreamFeatureBlocks, BlockAfterAPageLineIsWritten) {
  expectBody(kSize + "InputSlot\n%%Page: 1 1 cleartomark\n%%Page: 2 2\n",
             kSize + "InputSlot\n%%Page: 1 1 cleartomark\n" + kSizeBlock + "%%Page: 2 2\n");
}

TEST(StreamFeatureBlocks, BlockAfterBeginPrologIsReplacedByTheMarkerFeature) {
  const std::string marker =
      "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  expectBody(
      kSize + "InputSlot\n%%BeginProlog cleartomark\nInputSlot\ncleartomark\n%%BeginProlog\n",
      kSize + "InputSlot\n" + marker + "InputSlot\n%%BeginProlog cleartomark\n" + kSizeBlock +
          "%%BeginProlog\n");
  expectBody(
      kSize + "InputSlot\ncleartomark\nInputSlot\n%%BeginProlog cleartomark\n%%BeginProlog\n",
      kSize + "InputSlot\ncleartomark\n" + kSizeBlock + "InputSlot\ncleartomark\n" + kSizeBlock +
          marker);
}

TEST(StreamFeatureBlocks, BlockAfterACopiesLineGetsTheCollatedCopies) {
  Job job;
  job.options("PrintTo=JRPrinter com.apple.print.PrintSettings.PMCopies..n.=4");
  const std::string text =
      "%!\n%Set collate copies = copy:\n<< /CollatedCopies 4 >> setuserparams\n%EndUserSetup\n";
  expectBody(job,
             kSize +
                 "InputSlot\n%RBINumCopies: 4 cleartomark\nInputSlot\ncleartomark\nb\n"
                 "%RBINumCopies: 4\n",
             kSize + "InputSlot\n" + text + "%RBINumCopies: 4 cleartomark\n" + kSizeBlock +
                 "InputSlot\n" + text + "%RBINumCopies: 4 cleartomark\n" + kSizeBlock + "b\n" +
                 text + "%RBINumCopies: 4\n");
  expectBody(
      job, kSize + "InputSlot\ncleartomark\nInputSlot\n%RBINumCopies: 4 cleartomark\n",
      kSize + "InputSlot\ncleartomark\n" + kSizeBlock + "InputSlot\ncleartomark\n" + kSizeBlock);
}

TEST(StreamFeatureBlocks, TextsInsideTheRepeatedBlockTriggerNothing) {
  // The repeated block contains "InputSlot", which must not open another paper-source feature.
  expectBody("*PageSize InputSlot A4\n%%EndFeature\ncleartomark\nb\ncleartomark\nc\n",
             "*PageSize InputSlot A4\n%%EndFeature\ncleartomark\n[{\n*PageSize InputSlot A4\n"
             "%%EndFeature\n} stopped cleartomark\nb\ncleartomark\nc\n");
}

TEST(StreamFeatureBlocks, JobPatchFileInsideTheFeaturesIsRemovedFromTheBlock) {
  expectBody("*PageSize A4\nJobPatchFile\none\ntwo\nb\n%%EndFeature\nInputSlot cleartomark\n",
             "*PageSize A4\nb\n%%EndFeature\nInputSlot cleartomark\n[{\n*PageSize A4\nb\n"
             "%%EndFeature\n} stopped cleartomark\n");
}

}  // namespace
}  // namespace jobshaper::testing
