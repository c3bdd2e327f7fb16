// The rules treat a page-size feature that is too long for memory like a short one: the output
// depends only on its text and the rules.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "filter/stream_rewriter.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

using testing::operator+;  // NOLINT(misc-unused-using-decls)

constexpr std::string_view kFold = "\n<< /Fold 1 >> setpagedevice\n";

class LongFeature : public ::testing::Test {
 protected:
  LongFeature() {
    job_.uelString = kUniversalExitLanguage;
    job_.tempDirectory = folder_.path();
    job_.foldCommand = "<< /Fold 1 >> setpagedevice";
    version = 0x1050;
    for (std::size_t size = 0; size < 700000; size += kLine.size()) filler_.emplace_back(kLine);
  }

  // The output for these pieces. Each is a line; "*" stands for all lines of the filler.
  std::string rewritten(const std::vector<std::string>& pieces) {
    const testing::TemporaryFolder outside;
    const std::string path = outside.file("out");
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    {
      JobOutput output(descriptor, -1, -1);
      StreamRewriter rewriter(job_, output);
      for (const std::string& piece : pieces) {
        if (piece != "*") {
          rewriter.handle(piece);
          continue;
        }
        for (const std::string& line : filler_) rewriter.handle(line);
      }
    }
    close(descriptor);
    return testing::readFile(path);
  }

  std::string filler() const {
    std::string text;
    for (const std::string& line : filler_) text += line;
    return text;
  }

  static constexpr std::string_view kLine = "0 0 moveto (filler of the feature) show\n";
  testing::TemporaryFolder folder_;
  JobState job_;
  std::vector<std::string> filler_;
};

const std::string kBegin = "*PageSize A4\n";
const std::string kSource = "*InputSlot\n";
const std::string kClose = "cleartomark\n";
const std::string kDuplexer = "statusdict /duplexer get exec\n";

TEST_F(LongFeature, ThatEndsIsRepeatedBetweenItsMarkers) {
  const std::string block = "[{\n" + kBegin + filler() + "%%EndFeature\n} stopped cleartomark\n";
  EXPECT_TRUE(rewritten({kBegin, "*", "%%EndFeature\n", kSource, kClose, "x\n", kSource,
                         "} cleartomark\n"}) == kBegin + filler() + "%%EndFeature\n" + kSource +
                                                    kClose + block + "x\n" + kSource + kClose +
                                                    block);
}

TEST_F(LongFeature, LeavesNoFile) {
  rewritten({kBegin, "*", kSource, kClose});
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(LongFeature, IsCompleteWithoutADirectory) {
  job_.tempDirectory = folder_.file("missing");
  EXPECT_TRUE(rewritten({kBegin, "*", kSource, kClose}) ==
              kBegin + filler() + kSource + kClose + "[{\n" + kBegin + filler() + kSource + kClose);
}

TEST_F(LongFeature, IsCompleteOnAFullDisk) {
  for (const rlim_t room : {0UL, 65536UL, 100000UL}) {
    const testing::FileSizeLimit limit(room);
    SpillFile file(folder_.path());
    std::string whole, read;
    for (const std::string& line : filler_) {
      EXPECT_TRUE(file.append(line));
      whole += line;
    }
    file.forEachPart([&](std::string_view part) { read.append(part); });
    EXPECT_TRUE(read == whole) << room;
  }
}

// 4 MiB, and not a byte more: a user who sends such a feature must not exhaust the memory.
TEST_F(LongFeature, IsDroppedWithoutSpaceInFileAndMemory) {
  const std::string part(65536, 'x');
  for (const std::size_t last : {65535U, 65536U, 65537U}) {
    SpillFile file(folder_.file("missing"));
    for (int i = 0; i < 63; ++i) EXPECT_TRUE(file.append(part));
    EXPECT_EQ(file.append(std::string(last, 'y')), last <= 65536) << last;
  }
  SpillFile file(folder_.path());
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(file.append(part));
}

TEST_F(LongFeature, WithoutSpaceIsNotRepeated) {
  job_.tempDirectory = folder_.file("missing");
  job_.bookletMode = true;
  filler_.assign(5000, std::string(1023, 'x') + "\n");
  const std::string closed = kSource + kClose + "x\n";
  EXPECT_TRUE(rewritten({kBegin, "*", kSource, kClose, "x\n"}) == kBegin + filler() + closed);
  EXPECT_TRUE(rewritten({kBegin, "*", "QVBookletFold\n", kDuplexer, "%%EndFeature\n", "*PageSize\n",
                         kSource, kClose, "x\n"}) == kBegin + filler() + "QVBookletFold\n" + kFold +
                                                         kDuplexer + "%%EndFeature\n*PageSize\n" +
                                                         closed);
  // The next feature that begins while this one is open replaces it.
  EXPECT_TRUE(rewritten({kBegin, "*", "*PageSize A5\n", kSource, kClose, "x\n"}) ==
              kBegin + filler() + "*PageSize A5\n" + kSource + kClose + "[{\n*PageSize A5\n" +
                  closed);
}

// Two texts are not treated as one if there is something between them.
TEST_F(LongFeature, IsNotFoldedByTheTwoHalvesOfTheOption) {
  job_.bookletMode = true;
  filler_.assign(300, std::string(1000, 'x') + "Q" + std::string(12, 'z'));
  EXPECT_TRUE(rewritten({kBegin, "*", "VBookletFold", "\n", kSource, kClose, "kept\n"}) ==
              kBegin + filler() + "VBookletFold\n" + kSource + kClose + "[{\n" + kBegin + filler() +
                  "VBookletFold\n" + kSource + kClose + "kept\n");
}

TEST_F(LongFeature, IsForgottenWhenAnotherBegins) {
  EXPECT_TRUE(rewritten({kBegin, "*", "*PageSize A5\n", kSource, kClose}) ==
              kBegin + filler() + "*PageSize A5\n" + kSource + kClose + "[{\n*PageSize A5\n" +
                  kSource + kClose);
  job_.bookletMode = true;
  // The fold option is in the feature that is replaced.
  EXPECT_TRUE(rewritten({kBegin, "*", "QVBookletFold\n", kDuplexer, "*PageSize A5\n", kSource,
                         kClose, "y\n"}) == kBegin + filler() + "QVBookletFold\n" + kFold +
                                                kDuplexer + "*PageSize A5\n" + kSource + kClose +
                                                "[{\n*PageSize A5\n" + kSource + kClose + "y\n");
}

TEST_F(LongFeature, IsFoldedWhereverItNamesTheOption) {
  job_.bookletMode = true;
  // Cut between two pieces, as overlong lines are.
  for (const std::vector<std::string>& name : {std::vector<std::string>{"QVBookletFold\n"},
                                               {"QVBook", "letFold\n"},
                                               {"QVBookletF", "old\n"},
                                               {"Q", "V", "BookletFol", "d\n"}}) {
    std::vector<std::string> pieces{kBegin, "*"};
    std::string named;
    for (const std::string& part : name) {
      pieces.push_back(part);
      named += part;
    }
    const bool whole = name.size() == 1;
    pieces.insert(pieces.end(), {kDuplexer, kSource, kClose, "dropped\n", kDuplexer});
    EXPECT_TRUE(rewritten(pieces) == kBegin + filler() + named + (whole ? kFold : "") + kDuplexer +
                                         kSource + kClose + "[{\n" + kBegin + filler() + named +
                                         kDuplexer + kSource + kClose + kFold + kDuplexer);
  }
  EXPECT_TRUE(rewritten({kBegin, "*", "QVBookletFol\n", kSource, kClose, "kept\n"}) ==
              kBegin + filler() + "QVBookletFol\n" + kSource + kClose + "[{\n" + kBegin + filler() +
                  "QVBookletFol\n" + kSource + kClose + "kept\n");
}

// The name may also begin in memory and continue in the file, wherever the boundary is.
TEST_F(LongFeature, IsFoldedWhereItsNameLeavesMemory) {
  job_.bookletMode = true;
  for (int before = 250; before < 262; ++before) {
    filler_.assign(static_cast<std::size_t>(before), std::string(1024, 'x'));
    const std::string named =
        std::string(1018, 'x') + "QVBook" + "letFold" + std::string(1016, 'x') + "\n";
    EXPECT_TRUE(rewritten({kBegin, "*", named.substr(0, 1024), named.substr(1024), kSource, kClose,
                           "dropped\n", kDuplexer}) ==
                kBegin + filler() + named + kSource + kClose + "[{\n" + kBegin + filler() + named +
                    kSource + kClose + kFold + kDuplexer)
        << before;
  }
}

TEST_F(LongFeature, IsReplacedByThePrologThatItsClosingLineBegins) {
  const std::string prolog =
      "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
      "%%EndFeature\n";
  const std::string line = "%%BeginProlog cleartomark\n";
  EXPECT_TRUE(rewritten({kBegin, "*", kSource, line, "x\n", kSource, kClose}) ==
              kBegin + filler() + kSource + prolog + "x\n" + kSource + line + "[{\n" + kBegin +
                  filler() + kSource + line);
}

TEST_F(LongFeature, IsDroppedWithAClosingLineOfPjl) {
  EXPECT_EQ(rewritten({kBegin, "*", kSource, "@PJL cleartomark\n", "x\n"}),
            kBegin + filler() + kSource + "x\n");
}

TEST_F(LongFeature, ComesAfterTheCopiesThatItsClosingLineSets) {
  job_.printTo = "JRVerify";
  job_.jobOptions.addOption("com.apple.print.PrintSettings.PMCopies..n.", "3");
  const std::string line = "%RBINumCopies: cleartomark\n";
  EXPECT_TRUE(rewritten({kBegin, "*", kSource, line}) ==
              kBegin + filler() + kSource +
                  "%!\n%Set collate copies = copy:\n<< /CollatedCopies 3 >> setuserparams\n"
                  "%EndUserSetup\n" +
                  line + "[{\n" + kBegin + filler() + kSource + line);
}

TEST_F(LongFeature, ComesBetweenTheRequestsForTheCover) {
  job_.bookletMode = true;
  job_.onlyInside = true;
  job_.halfPageCount = 1;
  job_.jobOptions.addOption("QVBookletCoverSource", "Tray2");
  const std::string line = "%%Page: QVBookletFold cleartomark\n";
  EXPECT_TRUE(rewritten({kBegin, "*", kSource, line}) ==
              kBegin + filler() + kSource + "1 dict dup /Duplex false put setpagedevice\n" + line +
                  "[{\n" + kBegin + filler() + kSource + line +
                  "[{\n<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1  >> "
                  "setpagedevice\n} stopped cleartomark\n" +
                  kFold);
}

}  // namespace
}  // namespace jobshaper
