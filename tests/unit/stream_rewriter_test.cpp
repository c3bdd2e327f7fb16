#include "filter/stream_rewriter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::bytes;

// The rules, on pieces passed one by one.
class StreamRewriterTest : public ::testing::Test {
 protected:
  StreamRewriterTest() {
    job_.uelString = kUniversalExitLanguage;
    version = 0x1050;
  }

  // Returns the output for these pieces.
  std::string rewritten(std::initializer_list<std::string_view> pieces) {
    const std::string path = folder_.file("out");
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    JobOutput output(descriptor, -1, -1);
    StreamRewriter rewriter(job_, output);
    for (const std::string_view piece : pieces) rewriter.handle(piece);
    output.flush();
    close(descriptor);
    state_ = rewriter.state();
    return testing::readFile(path);
  }

  testing::TemporaryFolder folder_;
  JobState job_;
  RewriteState state_;
};

TEST_F(StreamRewriterTest, StartsWithTheOldBlockStyle) {
  EXPECT_EQ(rewritten({"plain\n"}), "plain\n");
  EXPECT_EQ(state_.beginMarker, "[{\n");
  EXPECT_EQ(state_.endMarker, "} stopped cleartomark\n");
  EXPECT_EQ(state_.blockUseCount, 1);
}

TEST_F(StreamRewriterTest, SwitchesTheBlockStyleOnceForTheWholeJob) {
  EXPECT_EQ(rewritten({"x sfcl{\n", "sfcl{\n"}), "x sfcl{\nsfcl{\n");
  EXPECT_TRUE(state_.sfclFound);
  EXPECT_EQ(state_.beginMarker, "sfcl{\n");
  EXPECT_EQ(state_.endMarker, "}efcl\n");
}

TEST_F(StreamRewriterTest, CollectsOnlyTheFirstPageSizeFeature) {
  const std::string block = "*PageSize A4\ncode\n%%EndFeature\n";
  const std::string source = "InputSlot cleartomark\n";
  EXPECT_EQ(rewritten({"*PageSize A4\n", "code\n", "%%EndFeature\n", "*PageSize A5\n", source}),
            block + "*PageSize A5\n" + source + "[{\n" + block + "} stopped cleartomark\n");
  EXPECT_TRUE(state_.pageSizeDone);
  EXPECT_FALSE(state_.collectingPageSize);
}

TEST_F(StreamRewriterTest, RestartsACollectionThatIsStillOpen) {
  const std::string source = "InputSlot cleartomark\n";
  EXPECT_EQ(rewritten({"*PageSize A4\n", "PageRegion A5\n", source}),
            "*PageSize A4\nPageRegion A5\n" + source + "[{\nPageRegion A5\n" + source);
  EXPECT_TRUE(state_.collectingPageSize);
}

TEST_F(StreamRewriterTest, CountsRepetitionsOfThePageSize) {
  EXPECT_EQ(rewritten({"*PageSize EndFeature\n", "InputSlot\n", "cleartomark 1\n", "InputSlot\n",
                       "cleartomark 2\n"}),
            "*PageSize EndFeature\nInputSlot\n"
            "cleartomark 1\n[{\n*PageSize EndFeature\n} stopped cleartomark\nInputSlot\n"
            "cleartomark 1\n[{\n*PageSize EndFeature\n} stopped cleartomark\n");
  EXPECT_EQ(state_.blockUseCount, 3);
  EXPECT_FALSE(state_.inputSlotPending);
}

TEST_F(StreamRewriterTest, WaitsForTheClosingLineWithoutAPageSize) {
  rewritten({"InputSlot\n", "code\n"});
  EXPECT_TRUE(state_.inputSlotPending);
  EXPECT_EQ(rewritten({"InputSlot\n", "cleartomark\n"}), "InputSlot\ncleartomark\n");
  EXPECT_FALSE(state_.inputSlotPending);
}

TEST_F(StreamRewriterTest, SkipsTwoPiecesAfterTheJobPatchLine) {
  EXPECT_EQ(rewritten({"a JobPatchFile\n", "1\n"}), "");
  EXPECT_EQ(state_.skipCount, 1);
  EXPECT_EQ(rewritten({"a JobPatchFile\n", bytes("\0\n"), "2\n", "3 JobPatchFile\n"}),
            "3 JobPatchFile\n");
  EXPECT_EQ(state_.skipCount, 0);
}

TEST_F(StreamRewriterTest, LeavesBinaryPiecesAndItsStateAlone) {
  const std::string binary = bytes("@PJL \0 sfcl{ JobPatchFile *PageSize InputSlot\n");
  EXPECT_EQ(rewritten({binary}), binary);
  EXPECT_FALSE(state_.sfclFound || state_.jobPatchHandled || state_.collectingPageSize ||
               state_.inputSlotPending);
}

TEST_F(StreamRewriterTest, DropsAReplacedFeatureUpToTheDuplexerLine) {
  job_.bookletMode = true;
  job_.foldCommand = "fold";
  EXPECT_EQ(
      rewritten({"QVBookletFold\n", "gone\n", bytes("kept\0\n"),
                 "x statusdict /duplexer get exec y\n", "after\n"}),
      "QVBookletFold\n\nfold\n" + bytes("kept\0\n") + "x statusdict /duplexer get exec y\nafter\n");
  rewritten({"QVBookletFold\n"});
  EXPECT_TRUE(state_.dropUntilDuplexer);
}

TEST_F(StreamRewriterTest, CountsPagesInEveryJob) {
  rewritten({"%%Page: 1 1\n", " %%Page: no\n", "%%Page:\n", "%%Pages: no\n"});
  EXPECT_EQ(state_.pageNumber, 2);
}

TEST_F(StreamRewriterTest, ForcesPosterCollationOnlyForPostersOnOldSystems) {
  const auto outcome = [this] { return rewritten({"<< /Collate false >>\n"}); };
  job_.jobOptions.addOption("QVPosterEnablePS", "TRUE");
  job_.jobOptions.addOption("com.apple.print.PrintSettings.PMCopyCollate..b.", "True");
  EXPECT_EQ(outcome(), "<< /Collate false >>\n");
  version = 0x103F;
  EXPECT_EQ(outcome(), "<< /Collate true >> setpagedevice\n");
  job_.jobOptions.addOption("QVPosterEnablePS", "yes");
  EXPECT_EQ(outcome(), "<< /Collate false >>\n");
}

}  // namespace
}  // namespace jobshaper
