// The triggers that are searched for: all that can make a rule act, and no others, since every
// superfluous trigger sends lines through the rules that they do not change.
#include <fcntl.h>

#include <string>
#include <string_view>

#include "filter/stream_rewriter.h"
#include "platform/descriptor.h"
#include "platform/system.h"
#include "settings/option_names.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using Texts = std::vector<std::string>;

// In the order of the table, as those of a job without options.
const Texts kOfEveryJob = {"\x1b%-12345X", "@PJL ",        "InputSlot",
                           "sfcl{",        "PageRegion",   "CustomPageSize",
                           "*PageSize",    "JobPatchFile", "%%BeginProlog"};

class WantedTriggers : public ::testing::Test {
 protected:
  WantedTriggers() {
    job_.uelString = kUniversalExitLanguage;
    version = 0x1050;
  }
  ~WantedTriggers() override { version = versionBefore_; }

  // No value if every line is wanted.
  std::optional<Texts> after(const Texts& pieces) {
    JobOutput output(nowhere_.get(), -1, -1);
    StreamRewriter rewriter(job_, output);
    for (const std::string& piece : pieces) rewriter.handle(piece);
    const std::optional<TriggerSet> wanted = rewriter.wantedTriggers();
    if (!wanted) return std::nullopt;
    Texts texts;
    for (std::size_t i = 0; i < kTriggers.size(); ++i) {
      if (*wanted >> i & 1U) texts.emplace_back(kTriggers[i].text);
    }
    return texts;
  }

  // After these pieces, those of every job without `fewer` and with `more`.
  void expectWanted(const Texts& pieces, const Texts& fewer, const Texts& more = {},
                    testing::Where where = testing::Where::here()) {
    Texts expected = kOfEveryJob;
    for (const std::string& text : fewer) std::erase(expected, text);
    expected.insert(expected.end(), more.begin(), more.end());
    const ::testing::ScopedTrace trace(where.file, where.line, ::testing::PrintToString(pieces));
    EXPECT_EQ(after(pieces), expected);
  }

  const std::int32_t versionBefore_ = version;
  const Descriptor nowhere_{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  JobState job_;
};

TEST_F(WantedTriggers, LoseThoseOfRulesThatActOnce) {
  expectWanted({"%!PS\n", "%%EndSetup\n", "%%Page: 1 1\n"}, {});
  expectWanted({"sfcl{\n"}, {"sfcl{"});
  expectWanted({"%%BeginProlog\n"}, {"%%BeginProlog"});
  expectWanted({"JobPatchFile\n", "1\n", "2\n"}, {"JobPatchFile"});
  const Texts pageSizes = {"PageRegion", "CustomPageSize", "*PageSize"};
  expectWanted({"*PageSize\n", "EndFeature\n"}, pageSizes);
  // A feature that is repeated while it is being collected is not collected any further.
  expectWanted({"*PageSize\n", "InputSlot cleartomark\n"}, pageSizes);
  expectWanted({"InputSlot\n", "cleartomark\n"}, {});
}

TEST_F(WantedTriggers, AreEveryLineInFeatures) {
  job_.bookletMode = true;
  job_.additions.replacedFeatures = {{"InputSlot Tray5", ""}};
  for (const Texts& pieces : {Texts{"JobPatchFile\n"},
                              {"JobPatchFile\n", "1\n"},
                              {"*PageSize\n", "code\n"},
                              {"InputSlot\n", "code\n"},
                              {"QVBookletFold\n", "code\n"},
                              {"%%BeginFeature: *InputSlot Tray5\n", "cleartomark\n"}}) {
    EXPECT_EQ(after(pieces), std::nullopt) << ::testing::PrintToString(pieces);
  }
}

TEST_F(WantedTriggers, OfABookletAreItsPagesAndFeature) {
  job_.bookletMode = true;
  const Texts more = {"%%Page:", "QVBookletFold"};
  expectWanted({"%%Page: 1 1\n"}, {}, more);
  expectWanted({"QVBookletFold\n", "statusdict /duplexer get exec\n"}, {}, more);
}

TEST_F(WantedTriggers, OfARetainedJobAreItsCopies) {
  job_.printTo = "jrverify";
  expectWanted({}, {});
  job_.printTo = "JRVerify";
  expectWanted({}, {}, {"%RBINumCopies: "});
}

TEST_F(WantedTriggers, OfAPosterOnAnOldSystemAreItsCollation) {
  version = 0x103F;
  job_.jobOptions.addOption("QVPosterEnablePS", "True");
  expectWanted({}, {});
  job_.jobOptions.addOption(kCollateOption, "true");
  expectWanted({}, {}, {"/Collate"});
}

TEST_F(WantedTriggers, OfAQueueAreTheFeaturesThatItReplacesButNotThePagesThatAreOnlyCounted) {
  job_.additions.countPages = true;
  job_.additions.replacedFeatures = {{"InputSlot Tray5", ""}};
  expectWanted({}, {}, {"%%BeginFeature: "});
}

}  // namespace
}  // namespace jobshaper
