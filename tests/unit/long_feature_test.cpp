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

using testing::Where;
using Texts = std::vector<std::string>;

const std::string kBegin = "*PageSize A4\n";
const std::string kSource = "*InputSlot\n";
const std::string kClose = "cleartomark\n";
const std::string kDuplexer = "statusdict /duplexer get exec\n";
const std::string kFoldName = "QVBookletFold\n";
const std::string kFold = "\n<< /Fold 1 >> setpagedevice\n";

class LongFeature : public ::testing::Test {
 protected:
  LongFeature() {
    job_.uelString = kUniversalExitLanguage;
    job_.tempDirectory = directory_.path();
    job_.foldCommand = "<< /Fold 1 >> setpagedevice";
    version = 0x1050;
    const std::string line = "0 0 moveto (filler of the feature) show\n";
    filler_.assign(700000 / line.size(), line);
  }

  // Checks the output for these pieces. In both, "*" stands for all lines of the filler.
  void expectRewritten(const Texts& pieces, const Texts& expected, Where where = Where::here()) {
    const testing::TemporaryDirectory outside;
    const std::string path = outside.file("out");
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    {
      JobOutput output(descriptor, -1, -1);
      StreamRewriter rewriter(job_, output);
      for (const std::string& piece : pieces) {
        if (piece != "*") rewriter.handle(piece);  // must stay valid until the output is written
        for (std::size_t i = 0; piece == "*" && i < filler_.size(); ++i) {
          rewriter.handle(filler_[i]);
        }
      }
    }
    close(descriptor);
    std::string text;
    for (const std::string& part : expected) {
      for (const std::string& line : part == "*" ? filler_ : Texts{part}) text += line;
    }
    testing::expectSame(testing::readFile(path), text, "output", ::testing::PrintToString(pieces),
                        where);
  }

  testing::TemporaryDirectory directory_;
  JobState job_;
  Texts filler_;
};

TEST_F(LongFeature, ThatEndsIsRepeatedBetweenItsMarkers) {
  const std::string end = "%%EndFeature\n", marker = "} stopped cleartomark\n";
  expectRewritten({kBegin, "*", end, kSource, kClose, "x\n", kSource, "} cleartomark\n"},
                  {kBegin, "*", end, kSource, kClose, "[{\n", kBegin, "*", end, marker, "x\n",
                   kSource, kClose, "[{\n", kBegin, "*", end, marker});
}

TEST_F(LongFeature, IsCompleteWithoutADirectoryAndLeavesNoFile) {
  for (const char* name : {"", "missing"}) {
    job_.tempDirectory = directory_.file(name);
    expectRewritten({kBegin, "*", kSource, kClose},
                    {kBegin, "*", kSource, kClose, "[{\n", kBegin, "*", kSource, kClose});
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
  }
}

TEST_F(LongFeature, IsCompleteOnAFullDisk) {
  for (const rlim_t size : {0UL, 65536UL, 100000UL}) {
    const testing::FileSizeLimit limit(size);
    SpillFile file(directory_.path());
    std::string whole, read;
    for (const std::string& line : filler_) {
      EXPECT_TRUE(file.append(line));
      whole += line;
    }
    EXPECT_TRUE(file.forEachPart([&](std::string_view part) { read.append(part); }));
    EXPECT_TRUE(read == whole) << size;
  }
}

// 4 MiB, and not a byte more: a user who sends such a feature must not exhaust the memory.
TEST_F(LongFeature, IsDroppedWithoutSpaceInFileAndMemory) {
  const std::string part(65536, 'x');
  for (const std::size_t last : {65535U, 65536U, 65537U}) {
    SpillFile file(directory_.file("missing"));
    for (int i = 0; i < 63; ++i) EXPECT_TRUE(file.append(part));
    EXPECT_EQ(file.append(std::string(last, 'y')), last <= 65536) << last;
  }
  SpillFile file(directory_.path());
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(file.append(part));
}

TEST_F(LongFeature, WithoutSpaceIsNotRepeated) {
  job_.tempDirectory = directory_.file("missing");
  job_.bookletMode = true;
  filler_.assign(5000, std::string(1023, 'x') + "\n");
  expectRewritten({kBegin, "*", kSource, kClose, "x\n"}, {kBegin, "*", kSource, kClose, "x\n"});
  expectRewritten(
      {kBegin, "*", kFoldName, kDuplexer, "%%EndFeature\n", "*PageSize\n", kSource, kClose, "x\n"},
      {kBegin, "*", kFoldName, kFold, kDuplexer, "%%EndFeature\n", "*PageSize\n", kSource, kClose,
       "x\n"});
  // The next feature that begins while this one is open replaces it.
  expectRewritten({kBegin, "*", "*PageSize A5\n", kSource, kClose, "x\n"},
                  {kBegin, "*", "*PageSize A5\n", kSource, kClose, "[{\n", "*PageSize A5\n",
                   kSource, kClose, "x\n"});
}

TEST_F(LongFeature, IsForgottenWhenAnotherBegins) {
  const std::string size = "*PageSize A5\n";
  expectRewritten({kBegin, "*", size, kSource, kClose},
                  {kBegin, "*", size, kSource, kClose, "[{\n", size, kSource, kClose});
  // So is the fold option in it.
  job_.bookletMode = true;
  expectRewritten({kBegin, "*", kFoldName, kDuplexer, size, kSource, kClose, "y\n"},
                  {kBegin, "*", kFoldName, kFold, kDuplexer, size, kSource, kClose, "[{\n", size,
                   kSource, kClose, "y\n"});
}

TEST_F(LongFeature, IsFoldedWhereverItContainsTheOption) {
  job_.bookletMode = true;
  const auto repeated = [](Texts text, const Texts& after) {
    const Texts once = text;
    text.emplace_back("[{\n");
    text.insert(text.end(), once.begin(), once.end());
    text.insert(text.end(), after.begin(), after.end());
    return text;
  };
  expectRewritten({kBegin, "*", kFoldName, kDuplexer, kSource, kClose, "dropped\n", kDuplexer},
                  {kBegin, "*", kFoldName, kFold, kDuplexer, kSource, kClose, "[{\n", kBegin, "*",
                   kFoldName, kDuplexer, kSource, kClose, kFold, kDuplexer});
  // Split between two pieces, as overlong lines are.
  for (const Texts& name :
       {Texts{"QVBook", "letFold\n"}, {"QVBookletF", "old\n"}, {"Q", "V", "BookletFol", "d\n"}}) {
    Texts text{kBegin, "*"};
    text.insert(text.end(), name.begin(), name.end());
    text.insert(text.end(), {kSource, kClose});
    Texts pieces = text;
    pieces.insert(pieces.end(), {"dropped\n", kDuplexer});
    expectRewritten(pieces, repeated(text, {kFold, kDuplexer}));
  }
  expectRewritten({kBegin, "*", "QVBookletFol\n", kSource, kClose, "kept\n"},
                  repeated({kBegin, "*", "QVBookletFol\n", kSource, kClose}, {"kept\n"}));
  // Two texts are not treated as one if there is something between them.
  filler_.assign(300, std::string(1000, 'x') + "Q" + std::string(12, 'z'));
  expectRewritten({kBegin, "*", "VBookletFold", "\n", kSource, kClose, "kept\n"},
                  repeated({kBegin, "*", "VBookletFold", "\n", kSource, kClose}, {"kept\n"}));
  // The name may also begin in memory and continue in the file, wherever the boundary is.
  for (std::size_t before = 250; before < 262; ++before) {
    filler_.assign(before, std::string(1024, 'x'));
    const Texts text{kBegin,
                     "*",
                     std::string(1018, 'x') + "QVBook",
                     "letFold" + std::string(1016, 'x') + "\n",
                     kSource,
                     kClose};
    Texts pieces = text;
    pieces.insert(pieces.end(), {"dropped\n", kDuplexer});
    expectRewritten(pieces, repeated(text, {kFold, kDuplexer}));
  }
}

// ---- the closing line that begins the repetition meets the other rules

TEST_F(LongFeature, IsReplacedByThePrologThatItsClosingLineBegins) {
  const std::string line = "%%BeginProlog cleartomark\n";
  expectRewritten({kBegin, "*", kSource, line, "x\n", kSource, kClose},
                  {kBegin, "*", kSource,
                   "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n"
                   "%%Quorvan Macintosh PPD File 1\n%%EndFeature\n",
                   "x\n", kSource, line, "[{\n", kBegin, "*", kSource, line});
}

TEST_F(LongFeature, IsDroppedWithAClosingLineOfPjl) {
  expectRewritten({kBegin, "*", kSource, "@PJL cleartomark\n", "x\n"},
                  {kBegin, "*", kSource, "x\n"});
}

TEST_F(LongFeature, ComesAfterTheCopiesThatItsClosingLineSets) {
  job_.printTo = "JRVerify";
  job_.jobOptions.addOption("com.apple.print.PrintSettings.PMCopies..n.", "3");
  const std::string line = "%RBINumCopies: cleartomark\n";
  expectRewritten({kBegin, "*", kSource, line},
                  {kBegin, "*", kSource,
                   "%!\n%Set collate copies = copy:\n<< /CollatedCopies 3 >> setuserparams\n"
                   "%EndUserSetup\n",
                   line, "[{\n", kBegin, "*", kSource, line});
}

TEST_F(LongFeature, ComesBetweenTheRequestsForTheCover) {
  job_.bookletMode = true;
  job_.onlyInside = true;
  job_.halfPageCount = 1;
  job_.jobOptions.addOption("QVBookletCoverSource", "Tray2");
  const std::string line = "%%Page: QVBookletFold cleartomark\n";
  expectRewritten({kBegin, "*", kSource, line},
                  {kBegin, "*", kSource, "1 dict dup /Duplex false put setpagedevice\n", line,
                   "[{\n", kBegin, "*", kSource, line,
                   "[{\n<< /DeferredMediaSelection true /ManualFeed false /MediaPosition 1  >> "
                   "setpagedevice\n} stopped cleartomark\n",
                   kFold});
}

}  // namespace
}  // namespace jobshaper
