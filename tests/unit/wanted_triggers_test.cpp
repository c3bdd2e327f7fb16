// The triggers that are searched for: all that can make a rule act, and no others, since every
// superfluous trigger sends lines through the rules that they do not change.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "filter/stream_rewriter.h"
#include "platform/descriptor.h"
#include "platform/system.h"
#include "settings/option_names.h"

namespace jobshaper {
namespace {

using Texts = std::vector<std::string_view>;

const Texts kOfEveryJob = {kUniversalExitLanguage, "@PJL ",          "InputSlot", "sfcl{",
                           "PageRegion",           "CustomPageSize", "*PageSize", "JobPatchFile",
                           "%%BeginProlog"};
const Texts kEveryLine = {"every line"};

Texts with(Texts texts, const Texts& more) {
  texts.insert(texts.end(), more.begin(), more.end());
  return texts;
}

Texts without(Texts texts, const Texts& fewer) {
  for (const std::string_view text : fewer) std::erase(texts, text);
  return texts;
}

class WantedTriggers : public ::testing::Test {
 protected:
  WantedTriggers() {
    job_.uelString = kUniversalExitLanguage;
    version = 0x1050;
  }
  ~WantedTriggers() override { version = versionBefore_; }

  // The triggers searched for after these pieces, in the order of the table.
  Texts after(std::initializer_list<std::string_view> pieces) {
    JobOutput output(nowhere_.get(), -1, -1);
    StreamRewriter rewriter(job_, output);
    for (const std::string_view piece : pieces) rewriter.handle(piece);
    const std::optional<TriggerSet> wanted = rewriter.wantedTriggers();
    if (!wanted) return kEveryLine;
    Texts texts;
    for (std::size_t i = 0; i < kTriggers.size(); ++i) {
      if (*wanted >> i & 1U) texts.push_back(kTriggers[i].text);
    }
    return texts;
  }

  const std::int32_t versionBefore_ = version;
  const Descriptor nowhere_{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  JobState job_;
};

TEST_F(WantedTriggers, AreThoseOfTheRulesOfEveryJob) {
  EXPECT_EQ(after({}), kOfEveryJob);
  EXPECT_EQ(after({"%!PS\n", "%%EndSetup\n", "%%Page: 1 1\n"}), kOfEveryJob);
}

TEST_F(WantedTriggers, AreNotThoseOfThePagesThatAreOnlyCounted) {
  job_.additions.countPages = true;
  EXPECT_EQ(after({}), kOfEveryJob);
}

TEST_F(WantedTriggers, AreThoseOfFeaturesThatAQueueReplaces) {
  job_.additions.replacedFeatures = {{"InputSlot Tray5", ""}};
  EXPECT_EQ(after({}), with(kOfEveryJob, {"%%BeginFeature: "}));
}

TEST_F(WantedTriggers, LoseThoseOfRulesThatActOnce) {
  EXPECT_EQ(after({"sfcl{\n"}), without(kOfEveryJob, {"sfcl{"}));
  EXPECT_EQ(after({"%%BeginProlog\n"}), without(kOfEveryJob, {"%%BeginProlog"}));
  EXPECT_EQ(after({"JobPatchFile\n", "1\n", "2\n"}), without(kOfEveryJob, {"JobPatchFile"}));
  const Texts pageSizes = {"PageRegion", "CustomPageSize", "*PageSize"};
  EXPECT_EQ(after({"*PageSize\n", "EndFeature\n"}), without(kOfEveryJob, pageSizes));
  EXPECT_EQ(after({"%%BeginProlog\n", "sfcl{\n", "PageRegion EndFeature\n", "JobPatchFile\n", "1\n",
                   "2\n"}),
            (Texts{kUniversalExitLanguage, "@PJL ", "InputSlot"}));
}

TEST_F(WantedTriggers, AreEveryLineAfterARemovedFeature) {
  EXPECT_EQ(after({"JobPatchFile\n"}), kEveryLine);
  EXPECT_EQ(after({"JobPatchFile\n", "1\n"}), kEveryLine);
}

TEST_F(WantedTriggers, AreEveryLineOfAPageSizeFeature) {
  EXPECT_EQ(after({"*PageSize\n"}), kEveryLine);
  EXPECT_EQ(after({"*PageSize\n", "code\n"}), kEveryLine);
}

// A page-size feature that is repeated while it is being collected is not collected any further.
TEST_F(WantedTriggers, AreNotEveryLineOfAPageSizeFeatureThatIsDone) {
  EXPECT_EQ(after({"*PageSize\n", "InputSlot cleartomark\n"}),
            without(kOfEveryJob, {"PageRegion", "CustomPageSize", "*PageSize"}));
}

TEST_F(WantedTriggers, AreEveryLineOfAPaperSourceFeature) {
  EXPECT_EQ(after({"InputSlot\n"}), kEveryLine);
  EXPECT_EQ(after({"InputSlot\n", "code\n"}), kEveryLine);
  EXPECT_EQ(after({"InputSlot\n", "cleartomark\n"}), kOfEveryJob);
}

TEST_F(WantedTriggers, OfABookletAreItsPagesAndFeature) {
  job_.bookletMode = true;
  EXPECT_EQ(after({}), with(kOfEveryJob, {"%%Page:", "QVBookletFold"}));
  EXPECT_EQ(after({"%%Page: 1 1\n"}), with(kOfEveryJob, {"%%Page:", "QVBookletFold"}));
  EXPECT_EQ(after({"QVBookletFold\n"}), kEveryLine);
  EXPECT_EQ(after({"QVBookletFold\n", "statusdict /duplexer get exec\n"}),
            with(kOfEveryJob, {"%%Page:", "QVBookletFold"}));
}

TEST_F(WantedTriggers, OfARetainedJobAreItsCopies) {
  for (const char* const mode : {"JRVerify", "JRRepeat", "JRConf", "JRReserve", "JRPrinter"}) {
    job_.printTo = mode;
    EXPECT_EQ(after({}), with(kOfEveryJob, {"%RBINumCopies: "})) << mode;
  }
  job_.printTo = "jrverify";
  EXPECT_EQ(after({}), kOfEveryJob);
}

TEST_F(WantedTriggers, OfAPosterOnAnOldSystemAreItsCollation) {
  job_.jobOptions.addOption("QVPosterEnablePS", "True");
  version = 0x103F;
  EXPECT_EQ(after({}), kOfEveryJob);
  job_.jobOptions.addOption(kCollateOption, "true");
  EXPECT_EQ(after({}), with(kOfEveryJob, {"/Collate"}));
  version = 0x1040;
  EXPECT_EQ(after({}), kOfEveryJob);
}

}  // namespace
}  // namespace jobshaper
