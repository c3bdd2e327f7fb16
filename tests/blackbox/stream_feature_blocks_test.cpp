// What is copied from the job's first page-size feature, and where the copy is repeated: after
// every paper-source feature that follows.
#include <string>

#include "tests/blackbox/stream_jobs.h"

namespace jobshaper::testing {
namespace {

const std::string kSfclSource = " InputSlot }efcl\n";

TEST(StreamFeatureBlocks, PageSizeIsRepeatedAfterEveryLaterPaperSource) {
  expectStreams({
      " %%EndFeature\n" + kSource + kSize + " cleartomark\n" + kSource + kRepeated + kSource +
          kRepeated + " b\n" + kSource + kRepeated,
      // Also if it began before the page size.
      " InputSlot\n" + kSize + " b\n cleartomark\n" + kRepeated + " cleartomark\n",
      // The first page size only.
      kSize + " *PageSize A5\n %%EndFeature\n" + kSource + kRepeated,
      // The first closing line replaces those that follow.
      kSize + " InputSlot\n first cleartomark\n" + kRepeated +
          " InputSlot\n-second cleartomark\n+first cleartomark\n" + kRepeated + " b\n",
  });
}

TEST(StreamFeatureBlocks, AnyOfThreeTextsStartsThePageSize) {
  for (const std::string line : {"*PageSize", "xPageRegiony", "/CustomPageSize 1 def"}) {
    expectStream(" " + line + "\n %%EndFeature\n" + kSource + "+[{\n+" + line +
                 "\n+%%EndFeature\n+} stopped cleartomark\n b\n");
  }
  expectStream(
      " << /PageSize [595 842] >> setpagedevice\n PageSize\n * PageSize\n *pagesize\n *Pagesize\n"
      " pageregion\n Pageregion\n customPageSize\n Custom PageSize\n *PageSiz\n" +
      bytes(" *PageSize\0\n") + " %%EndFeature\n" + kSource);
}

TEST(StreamFeatureBlocks, FirstLineWithEndFeatureEndsThePageSize) {
  expectStreams({
      " *PageSize \xff%d\n endfeature\n ENDFEATURE\n End Feature\n" +
          bytes(" EndFeature\0\n *PageSize\0\n") + " x%sEndFeaturex\n EndFeature\n" + kSource +
          "+[{\n+*PageSize \xff%d\n+endfeature\n+ENDFEATURE\n+End Feature\n+x%sEndFeaturex\n"
          "+} stopped cleartomark\n",
      // The same line may start and end it, and be that of the paper source.
      " *PageSize InputSlot EndFeature cleartomark\n+[{\n"
      "+*PageSize InputSlot EndFeature cleartomark\n+} stopped cleartomark\n b\n cleartomark\n",
      // Another start text begins it again.
      " *PageSize A4\n a\n PageRegion A5\n b\n %%EndFeature\n" + kSource +
          "+[{\n+PageRegion A5\n+b\n+%%EndFeature\n+} stopped cleartomark\n",
  });
}

TEST(StreamFeatureBlocks, OpenPageSizeIsRepeatedAsFarAsItGoesAndEndsThere) {
  expectStream(" *PageSize A4\n" + kSource + "+[{\n+*PageSize A4\n+InputSlot cleartomark\n c\n" +
               " %%EndFeature\n *PageSize A5\n %%EndFeature\n InputSlot\n-second cleartomark\n"
               "+InputSlot cleartomark\n+[{\n+*PageSize A4\n+InputSlot cleartomark\n d\n");
}

TEST(StreamFeatureBlocks, RepetitionFollowsTheClosingLineOfThePaperSource) {
  expectStreams({
      kSize + " xcleartomark InputSlotx %s\n" + kRepeated +
          " InputSlot\n InputSlot\n ClearToMark\n CLEARTOMARK\n clear tomark\n }efcl\n" +
          bytes(" cleartomark\0\n") + "-%%Page: 1 1 cleartomark\n" +
          "+xcleartomark InputSlotx %s\n" + kRepeated + " cleartomark\n",
      " sfcl{\n" + kSize +
          " InputSlot\n }EFCL\n } efcl\n efcl\n cleartomark\n }efcl\n+sfcl{\n"
          "+*PageSize A4\n+%%EndFeature\n+}efcl\n }efcl\n",
      kSize + " inputslot\n inputSlot\n Inputslot\n INPUTSLOT\n Input Slot\n" +
          bytes(" InputSlot\0\n") + " cleartomark\n InputSlot\n InputSlot",
  });
  expectBody("*PageSize EndFeature\nInputSlot\ncleartomark",
             "*PageSize EndFeature\nInputSlot\ncleartomark[{\n*PageSize EndFeature\n"
             "} stopped cleartomark\n");
}

TEST(StreamFeatureBlocks, FirstSfclLineSwitchesTheMarkersThatFollow) {
  const std::string repeated = "+sfcl{\n+*PageSize A4\n+%%EndFeature\n+}efcl\n";
  expectStreams({
      " x /sfcl{y\n" + kSize + kSfclSource + repeated,
      "-@PJL sfcl{\n" + kSize + kSfclSource + repeated,
      "-JobPatchFile sfcl{\nsone\nstwo\n" + kSize + kSfclSource + repeated,
      // Between the two markers of a page size, and in its first line.
      " *PageSize\n sfcl{\n EndFeature\n" + kSfclSource +
          "+[{\n+*PageSize\n+sfcl{\n+EndFeature\n+}efcl\n",
      " sfcl{ *PageSize\n EndFeature\n" + kSfclSource +
          "+sfcl{\n+sfcl{ *PageSize\n+EndFeature\n+}efcl\n",
      // A finished page size keeps its markers.
      kSize + " InputSlot\n sfcl{ cleartomark\n }efcl\n" + kRepeated,
      " SFCL{\n Sfcl{\n sfcl {\n sfcl\n {\n sfcl(\n }efcl\n efcl{\n sfc{\n" + bytes(" sfcl{\0\n") +
          "-JobPatchFile\nssfcl{\nssfcl{\n" + kSize + kSource + kRepeated,
  });
}

TEST(StreamFeatureBlocks, PageSizeKeepsTheLineEndsOfTheJob) {
  expectStreams({
      " *PageSize\r %%EndFeature\r InputSlot cleartomark\r+[{\n+*PageSize\r+%%EndFeature\r"
      "+} stopped cleartomark\n b\r",
      // The newline after the closing carriage return follows the repetition.
      " *PageSize\r \n %%EndFeature\r \n InputSlot cleartomark\r+[{\n+*PageSize\r+\n"
      "+%%EndFeature\r+} stopped cleartomark\n \n b\r \n",
  });
}

// ---- the closing line with the repetition meets the rules that follow

TEST(StreamFeatureBlocks, RepetitionAfterAPjlLineIsDroppedWithIt) {
  expectStreams({
      kSize + " InputSlot\n-@PJL cleartomark\n InputSlot\n-cleartomark\n b\n",
      kSize + " InputSlot\n 1 cleartomark\n" + kRepeated +
          " InputSlot\n-@PJL cleartomark\n+1 cleartomark\n" + kRepeated + " b\n",
  });
}

TEST(StreamFeatureBlocks, RepetitionAfterBeginPrologIsReplacedByTheMarkerFeature) {
  expectStreams({
      kSize + " InputSlot\n-%%BeginProlog cleartomark\n" + kMarkerFeature +
          " InputSlot\n-cleartomark\n+%%BeginProlog cleartomark\n" + kRepeated + " %%BeginProlog\n",
      kSize + " InputSlot\n cleartomark\n" + kRepeated +
          " InputSlot\n-%%BeginProlog cleartomark\n+cleartomark\n" + kRepeated +
          "-%%BeginProlog\n" + kMarkerFeature,
  });
}

TEST(StreamFeatureBlocks, RepetitionAfterACopiesLineComesAfterTheCollatedCopies) {
  const std::string line = "%RBINumCopies: cleartomark\n";
  expectStreams({kSize + " InputSlot\n" + collated("(null)") + " " + line + kRepeated +
                     " InputSlot\n-cleartomark\n" + collated("(null)") + "+" + line + kRepeated,
                 kSize + " InputSlot\n cleartomark\n" + kRepeated + " InputSlot\n-" + line +
                     "+cleartomark\n" + kRepeated},
                Job().options("PrintTo=JRPrinter"));
}

// ---- the copy meets the rules before it, but not those that follow

TEST(StreamFeatureBlocks, CopyHasTheLinesThatLaterRulesChangeOrDrop) {
  const std::string code = "%%BeginProlog\n", copies = "%RBINumCopies: 5\n";
  expectStream("-@PJL *PageSize A4\n-" + code + kMarkerFeature + collated("(null)") + " " + copies +
                   "-@PJL EndFeature\n-@PJL InputSlot\n cleartomark\n" +
                   "+[{\n+@PJL *PageSize A4\n+" + code + "+" + copies +
                   "+@PJL EndFeature\n+} stopped cleartomark\n b\n",
               Job().options("PrintTo=JRPrinter"));
  expectStream(" *PageSize A4\n-JobPatchFile EndFeature\nsone\nstwo\n %%EndFeature\n" + kSource +
               kRepeated);
}

}  // namespace
}  // namespace jobshaper::testing
