// What is copied from the job's first page-size feature, and where the copy is repeated: after
// every paper-source feature that follows.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// A feature as in the PPD of the print dialog, in the usual style and in the alternative one.
std::string usual(const std::string& name, const std::string& code) {
  return "[{\n%%BeginFeature: *" + name + "\n" + code +
         " setpagedevice\n%%EndFeature\n} stopped cleartomark\n";
}
std::string alternative(const std::string& name, const std::string& code) {
  return "sfcl{\n%%BeginFeature: *" + name + "\n" + code + " setpagedevice\n%%EndFeature\n}efcl\n";
}

const std::string kA4 = usual("PageSize A4", "<< /PageSize [595 842] >>");
const std::string kLetter = usual("PageSize Letter", "<< /PageSize [612 792] >>");
const std::string kTray1 = usual("InputSlot Tray1", "<< /MediaPosition 0 >>");
const std::string kTray2 = usual("InputSlot Tray2", "<< /MediaPosition 1 >>");
const std::string kDuplex = usual("Duplex None", "<< /Duplex false >>");
const std::string kSfclA4 = alternative("PageSize A4", "<< /PageSize [595 842] >>");
const std::string kSfclTray1 = alternative("InputSlot Tray1", "<< /MediaPosition 0 >>");
const std::string kSfclTray2 = alternative("InputSlot Tray2", "<< /MediaPosition 1 >>");

// Minimal features, for the tests of single texts.
const std::string kSize = "*PageSize A4\n%%EndFeature\n";
const std::string kSizeBlock = "[{\n" + kSize + "} stopped cleartomark\n";
const std::string kSlot = "InputSlot cleartomark\n";

// The page-size feature `size`, a paper source, and the repeated feature.
JobRow repeated(const std::string& size) {
  return {size + kSlot + "b\n", size + kSlot + "[{\n" + size + "} stopped cleartomark\nb\n"};
}

TEST(StreamFeatureBlocks, PageSizeIsRepeatedAfterEveryLaterPaperSource) {
  expectBodies({
      {kA4 + kTray1 + "showpage\n", kA4 + kTray1 + kA4 + "showpage\n"},
      {kA4 + kTray1 + "a\n" + kTray2 + "b\n" + kTray1 + kTray2,
       kA4 + kTray1 + kA4 + "a\n" + kTray2 + kA4 + "b\n" + kTray1 + kA4 + kTray2 + kA4},
      {kSfclA4 + kSfclTray1 + kSfclTray2 + kSfclTray1 + "showpage\n",
       kSfclA4 + kSfclTray1 + kSfclA4 + kSfclTray2 + kSfclA4 + kSfclTray1 + kSfclA4 + "showpage\n"},
      {kDuplex + kA4 + kDuplex + kTray1 + kDuplex,
       kDuplex + kA4 + kDuplex + kTray1 + kA4 + kDuplex},
      {kTray1 + kA4 + kTray2, kTray1 + kA4 + kTray2 + kA4},
      // A later page size is not collected.
      {kA4 + kLetter + kTray1 + kLetter + kTray2,
       kA4 + kLetter + kTray1 + kA4 + kLetter + kTray2 + kA4},
      // The first closing line is repeated before every block.
      {kSize + "InputSlot\nfirst cleartomark\nInputSlot\nsecond cleartomark\nb\nInputSlot\n"
               "third cleartomark\n",
       kSize + "InputSlot\nfirst cleartomark\n" + kSizeBlock + "InputSlot\nfirst cleartomark\n" +
           kSizeBlock + "b\nInputSlot\nfirst cleartomark\n" + kSizeBlock},
  });
  for (const std::string& input : {kA4 + kDuplex + kDuplex, kTray1 + kTray2 + kA4,
                                   kSfclTray1 + kSfclA4, kTray1, "%%EndFeature\n" + kSlot}) {
    expectUnchanged(input);
  }
}

TEST(StreamFeatureBlocks, SwitchOfTheStyleChangesTheMarkersThatFollow) {
  expectBodies({
      // Not those of a finished block; its first closing line has the same text.
      {kA4 + kSfclTray1 + kSfclTray2, kA4 + kSfclTray1 + kA4 + kSfclTray2 + kA4},
      {"*PageSize A4\nsfcl{\n%%EndFeature\nInputSlot }efcl\n",
       "*PageSize A4\nsfcl{\n%%EndFeature\nInputSlot }efcl\n"
       "[{\n*PageSize A4\nsfcl{\n%%EndFeature\n}efcl\n"},
      {"sfcl{ *PageSize A4\n%%EndFeature\nInputSlot }efcl\n",
       "sfcl{ *PageSize A4\n%%EndFeature\nInputSlot }efcl\n"
       "sfcl{\nsfcl{ *PageSize A4\n%%EndFeature\n}efcl\n"},
      {"*PageSize A4\nsfcl{\n*PageSize A5\n%%EndFeature\nInputSlot }efcl\n",
       "*PageSize A4\nsfcl{\n*PageSize A5\n%%EndFeature\nInputSlot }efcl\n"
       "sfcl{\n*PageSize A5\n%%EndFeature\n}efcl\n"},
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
      // Lines that no rule sees do not switch.
      {"JobPatchFile\nsfcl{\nsfcl{\n" + kA4 + kTray1, kA4 + kTray1 + kA4},
      {bytes("sfcl{\0\n") + kA4 + kTray1, bytes("sfcl{\0\n") + kA4 + kTray1 + kA4},
  });
}

TEST(StreamFeatureBlocks, AnyOfThreeTextsStartsTheBlock) {
  for (const std::string line :
       {"%%BeginFeature: *PageSize A4", "*PageSize", "x *PageSizeX y",
        "%%BeginFeature: *PageRegion A4", "PageRegion", "xPageRegiony",
        "%%BeginFeature: *CustomPageSize True", "CustomPageSize", "/CustomPageSize 1 def"}) {
    expectBodies({repeated(line + "\n%%EndFeature\n")});
  }
  for (const std::string line : {"<< /PageSize [595 842] >> setpagedevice", "PageSize",
                                 "* PageSize", "*pagesize", "*PAGESIZE", "*Pagesize", "pageregion",
                                 "Pageregion", "customPageSize", "Custom PageSize", "*PageSiz"}) {
    expectUnchanged(line + "\n%%EndFeature\nInputSlot\ncleartomark\n");
  }
}

TEST(StreamFeatureBlocks, FirstLineWithEndFeatureEndsTheBlock) {
  const std::string longLine(5000, 'a');
  expectBodies({
      repeated("*PageSize\nxEndFeaturex\n"),
      repeated("*PageSize\nendfeature\nENDFEATURE\nEnd Feature\nEndFeature\n"),
      repeated("*PageSize A4 %%EndFeature\n"),
      repeated("*PageSize A4\n" + longLine + "\n%%EndFeature\n"),
      repeated("*PageSize \x80\xff%d\n%s%n%@%%EndFeature\n"),
      {"*PageSize\nEndFeature\nc\n" + kSlot,
       "*PageSize\nEndFeature\nc\n" + kSlot + "[{\n*PageSize\nEndFeature\n} stopped cleartomark\n"},
      {"%%EndFeature\n" + kSize + kSlot, "%%EndFeature\n" + kSize + kSlot + kSizeBlock},
      // Another start text begins the block again.
      {"*PageSize A4\na\n*PageRegion A5\nb\n%%EndFeature\n" + kSlot,
       "*PageSize A4\na\n*PageRegion A5\nb\n%%EndFeature\n" + kSlot +
           "[{\n*PageRegion A5\nb\n%%EndFeature\n} stopped cleartomark\n"},
      {"*PageSize A4\n*PageSize A5\n*PageSize A6\nCustomPageSize EndFeature\n*PageSize A7\n" +
           kSlot,
       "*PageSize A4\n*PageSize A5\n*PageSize A6\nCustomPageSize EndFeature\n*PageSize A7\n" +
           kSlot + "[{\nCustomPageSize EndFeature\n} stopped cleartomark\n"},
  });
}

// What follows the page-size feature, up to the repetition and after it.
struct SourceRow {
  std::string before, after;
};

TEST(StreamFeatureBlocks, RepetitionFollowsTheClosingLineOfThePaperSource) {
  for (const auto& [before, after] : std::vector<SourceRow>{
           {"InputSlot cleartomark\n", "b\n"},
           {"cleartomark InputSlot\n", "b\n"},
           {"InputSlot cleartomark 1\n", "InputSlot\n"},
           {"InputSlot\ncleartomark\n", "cleartomark\n"},
           {"InputSlot\nInputSlot\ncleartomark\n", "cleartomark\n"},
           {"xInputSlotx\nxcleartomarkx\n", "b\n"},
           {"InputSlot\nClearToMark\nCLEARTOMARK\nclear tomark\ncleartomark\n", ""},
           {"sfcl{\nInputSlot\n}EFCL\n} efcl\nefcl\n}efcl\n", ""},
           {"\xc5InputSlot %s cleartomark\n", ""},
           {"InputSlot\ncleartomark", ""},
           {"InputSlot\n%%Page: 1 1 cleartomark\n", "%%Page: 2 2\n"},
           {bytes("InputSlot\ncleartomark\0\ncleartomark\n"), "b\n"}}) {
    expectBody(kSize + before + after, kSize + before + kSizeBlock + after);
  }
  for (const std::string& rest :
       {std::string("inputslot\ninputSlot\nInputslot\nINPUTSLOT\nInput Slot\ncleartomark\n"),
        std::string("cleartomark\ncleartomark\n}efcl\n"), std::string("InputSlot\nb\n"),
        std::string("InputSlot\nInputSlot\nInputSlot"), bytes("InputSlot\0\ncleartomark\n")}) {
    expectUnchanged(kSize + rest);
  }
}

TEST(StreamFeatureBlocks, PaperSourceMayOpenBeforeThePageSize) {
  expectBodies({
      {"InputSlot cleartomark\n" + kSize + "cleartomark\n",
       "InputSlot cleartomark\n" + kSize + "cleartomark\n"},
      {"InputSlot\n" + kA4 + "b\n", "InputSlot\n" + kA4 + kA4 + "b\n"},
      {"InputSlot\n" + kSize + "b\ncleartomark\n",
       "InputSlot\n" + kSize + "b\ncleartomark\n" + kSizeBlock},
      {"*PageSize InputSlot EndFeature cleartomark\nb\n",
       "*PageSize InputSlot EndFeature cleartomark\n[{\n"
       "*PageSize InputSlot EndFeature cleartomark\n} stopped cleartomark\nb\n"},
      // The "InputSlot" in the repeated block does not open another paper source.
      {"*PageSize InputSlot A4\n%%EndFeature\ncleartomark\nb\ncleartomark\nc\n",
       "*PageSize InputSlot A4\n%%EndFeature\ncleartomark\n[{\n*PageSize InputSlot A4\n"
       "%%EndFeature\n} stopped cleartomark\nb\ncleartomark\nc\n"},
  });
}

TEST(StreamFeatureBlocks, OpenBlockIsRepeatedAsFarAsItIsCollectedAndNoFurther) {
  expectBodies({
      {"*PageSize A4\na\nInputSlot\nb\ncleartomark\nc\n%%EndFeature\nd\n",
       "*PageSize A4\na\nInputSlot\nb\ncleartomark\n[{\n*PageSize A4\na\nInputSlot\nb\n"
       "cleartomark\nc\n%%EndFeature\nd\n"},
      {"*PageSize A4\nInputSlot cleartomark\nc\n%%EndFeature\n*PageSize A5\n%%EndFeature\n"
       "InputSlot\nsecond cleartomark\n",
       "*PageSize A4\nInputSlot cleartomark\n[{\n*PageSize A4\nInputSlot cleartomark\n"
       "c\n%%EndFeature\n*PageSize A5\n%%EndFeature\nInputSlot\n"
       "InputSlot cleartomark\n[{\n*PageSize A4\nInputSlot cleartomark\n"},
      {"*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n",
       "*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n"
       "[{\n*PageSize A4\ncleartomark\nInputSlot\n}efcl cleartomark\n"},
      {"InputSlot\n*PageSize A4\nEndFeature cleartomark\nb\nInputSlot cleartomark\n",
       "InputSlot\n*PageSize A4\nEndFeature cleartomark\n"
       "[{\n*PageSize A4\nEndFeature cleartomark\n} stopped cleartomark\n"
       "b\nEndFeature cleartomark\n"
       "[{\n*PageSize A4\nEndFeature cleartomark\n} stopped cleartomark\n"},
      {"InputSlot\n*PageSize cleartomark\na\nEndFeature\nInputSlot cleartomark\n",
       "InputSlot\n*PageSize cleartomark\n[{\n*PageSize cleartomark\n"
       "a\nEndFeature\n*PageSize cleartomark\n[{\n*PageSize cleartomark\n"},
  });
}

TEST(StreamFeatureBlocks, BlockKeepsTheLineEndsOfTheJob) {
  expectBodies({
      {"[{\r*PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\r[{\r*InputSlot\r"
       "} stopped cleartomark\rb\r",
       "[{\r*PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\r[{\r*InputSlot\r"
       "} stopped cleartomark\r[{\n*PageSize A4\rx\r%%EndFeature\r} stopped cleartomark\nb\r"},
      // The newline after the closing carriage return follows the block.
      {"[{\r\n*PageSize A4\r\nx\r\n%%EndFeature\r\n} stopped cleartomark\r\n[{\r\n*InputSlot\r\n"
       "} stopped cleartomark\r\nb\r\n",
       "[{\r\n*PageSize A4\r\nx\r\n%%EndFeature\r\n} stopped cleartomark\r\n[{\r\n*InputSlot\r\n"
       "} stopped cleartomark\r[{\n*PageSize A4\r\nx\r\n%%EndFeature\r} stopped cleartomark\n"
       "\nb\r\n"},
  });
}

TEST(StreamFeatureBlocks, ZeroByteLinesAreNoPartOfThePageSize) {
  const std::string with =
      bytes("*PageSize A4\na\0b\nEndFeature\0\nb\n*PageSize A5\0\n%%EndFeature\n");
  expectBody(with + kSlot,
             with + kSlot + "[{\n*PageSize A4\nb\n%%EndFeature\n} stopped cleartomark\n");
  expectUnchanged(bytes("*PageSize\0\n%%EndFeature\n") + kSlot);
}

// ---- the repeated block meets the rules that follow

TEST(StreamFeatureBlocks, BlockAfterAPjlLineIsDroppedWithIt) {
  const std::string uel(kUel);
  expectBodies({
      {kSize + "InputSlot\n@PJL cleartomark\nb\n", kSize + "InputSlot\nb\n"},
      // The dropped line remains the start of the block, so every repetition is dropped.
      {kSize + "InputSlot\n@PJL cleartomark\nInputSlot\ncleartomark\nb\nInputSlot cleartomark\nc\n",
       kSize + "InputSlot\nInputSlot\nb\nc\n"},
      {kSize + "InputSlot\n" + uel + "cleartomark\nInputSlot\ncleartomark\nb\n",
       kSize + "InputSlot\nInputSlot\nb\n"},
      // Depends on the first closing line, not on the one that is replaced.
      {kSize + "InputSlot\n1 cleartomark\nInputSlot\n@PJL cleartomark\nb\n",
       kSize + "InputSlot\n1 cleartomark\n" + kSizeBlock + "InputSlot\n1 cleartomark\n" +
           kSizeBlock + "b\n"},
  });
}

TEST(StreamFeatureBlocks, BlockAfterBeginPrologIsReplacedByTheMarkerFeature) {
  const std::string marker =
      "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  expectBodies(
      {{kSize + "InputSlot\n%%BeginProlog cleartomark\nInputSlot\ncleartomark\n%%BeginProlog\n",
        kSize + "InputSlot\n" + marker + "InputSlot\n%%BeginProlog cleartomark\n" + kSizeBlock +
            "%%BeginProlog\n"},
       {kSize + "InputSlot\ncleartomark\nInputSlot\n%%BeginProlog cleartomark\n%%BeginProlog\n",
        kSize + "InputSlot\ncleartomark\n" + kSizeBlock + "InputSlot\ncleartomark\n" + kSizeBlock +
            marker}});
}

TEST(StreamFeatureBlocks, BlockAfterACopiesLineComesAfterTheCollatedCopies) {
  const std::string text =
      "%!\n%Set collate copies = copy:\n<< /CollatedCopies 4 >> setuserparams\n%EndUserSetup\n";
  const std::string line = "%RBINumCopies: 4 cleartomark\n";
  expectBodies(
      {{kSize + "InputSlot\n" + line + "InputSlot\ncleartomark\nb\n%RBINumCopies: 4\n",
        kSize + "InputSlot\n" + text + line + kSizeBlock + "InputSlot\n" + text + line +
            kSizeBlock + "b\n" + text + "%RBINumCopies: 4\n"},
       {kSize + "InputSlot\ncleartomark\nInputSlot\n" + line,
        kSize + "InputSlot\ncleartomark\n" + kSizeBlock + "InputSlot\ncleartomark\n" + kSizeBlock}},
      Job().options("PrintTo=JRPrinter com.apple.print.PrintSettings.PMCopies..n.=4"));
}

TEST(StreamFeatureBlocks, JobPatchFileIsRemovedFromTheBlock) {
  expectBody("*PageSize A4\nJobPatchFile\none\ntwo\nb\n%%EndFeature\n" + kSlot,
             "*PageSize A4\nb\n%%EndFeature\n" + kSlot +
                 "[{\n*PageSize A4\nb\n%%EndFeature\n} stopped cleartomark\n");
}

}  // namespace
}  // namespace jobshaper::testing
