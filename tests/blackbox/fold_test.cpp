// The fold command of a booklet that the printer folds: where it is in the job, and the code of the
// feature that it replaces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

const std::string kDuplexer = "statusdict /duplexer get exec\n";
const std::string kBiFold = "\n<< /Fold 1 >> setpagedevice\n";

// Saddle-stitched jobs. In the body, "@" stands for the fold command with the empty line that ends
// the line before it.
void expectStitched(const std::vector<JobRow>& rows, Where where = Where::here()) {
  for (const auto& [input, text] : rows) {
    std::string body = text;
    for (std::size_t at = 0; (at = body.find('@', at)) != body.npos; ++at) {
      if (!body.substr(at).starts_with("@PJL") && !body.substr(at).starts_with("@ %d")) {
        body.replace(at, 1, "\n<< /Fold 2 /Staple 4>> setpagedevice\n");
      }
    }
    expectFolded(bookletJob(input), body, where);
  }
}

// ---- the fold command

TEST(FoldCommand, FollowsTheLineWithItsLineEnd) {
  expectStitched({{"*QVBookletFold\n", "*QVBookletFold\n@"},
                  {"*QVBookletFold\r", "*QVBookletFold\r@"},
                  {"*QVBookletFold", "*QVBookletFold@"},
                  // The newline of a pair is dropped with the feature.
                  {"*QVBookletFold\r\nx\r\nstatusdict /duplexer get exec\r\ny\r\n",
                   "*QVBookletFold\r@statusdict /duplexer get exec\r\ny\r\n"}});
  for (const std::string line : {"*QVBookletFold\n", "*QVBookletFold\r", "*QVBookletFold"}) {
    expectFolded(bookletJob(line, "Booklet"), line + "\n\n");
  }
}

TEST(FoldCommand, FollowsTheExactTextAnywhereInTheLine) {
  for (const std::string line :
       {"QVBookletFold", "  (x) QVBookletFold y", "%%IncludeFeature: *QVBookletFoldNot",
        "noQVBookletFold", "QVBookletFold QVBookletFold", "QVQVBookletFold",
        "%@ %d %n 100% QVBookletFold \\", "\x8a\xff QVBookletFold \xdb", "@PJL\tQVBookletFold"}) {
    expectStitched({{"a\n" + line + "\nb\n", "a\n" + line + "\n@"}});
  }
  const std::string others =
      "*qvbookletfold\n*QVBOOKLETFOLD\n*QVBooklet Fold\n*QVBookletFol\n*QVBooklet\nFold\n" +
      bytes("*QVBookletFold\0\n") + kDuplexer + std::string(1020, 'x') + "QVBookletFold\n";
  expectStitched({{others, others}});
}

TEST(FoldCommand, FollowsTheFirstPieceOfAnOverlongLineAndDropsTheRest) {
  const std::string full = "QVBookletFold" + std::string(1011, 'x');
  const std::string shorter = "QVBookletFold" + std::string(1010, 'x');
  expectStitched({{full + "rest of the line\n" + kDuplexer, full + "@" + kDuplexer},
                  {full + "\n", full + "@"},
                  {shorter + "\n", shorter + "\n@"}});
}

// This many bytes of text in lines of 64, all of them terminated.
std::string filler(std::size_t size) {
  std::string text(size, 'x');
  for (std::size_t i = 63; i < size; i += 64) text[i] = '\n';
  text.back() = '\n';
  return text;
}

TEST(FoldCommand, IsFoundWhereverTheLineIsInALargeJob) {
  for (const std::size_t size : {4090U, 8185U, 16375U, 32760U, 65520U, 65526U, 65534U, 131060U}) {
    const std::string line = "%%Feature: *QVBookletFold\n";
    const std::string end = "dup " + kDuplexer + filler(size);
    const std::string input = filler(size) + line + filler(size - 27) + end;
    const std::string body = filler(size) + line + "\n<< /Fold 2 /Staple 4>> setpagedevice\n" + end;
    expectFolded(bookletJob(input), body);
    expectFolded(bookletJob("").fileWith(input), body);
  }
}

TEST(FoldCommand, EveryFoldLineHasIt) {
  expectStitched(
      {{"*QVBookletFold 1\na\n1 " + kDuplexer + "b\n*QVBookletFold 2\nc\n2 " + kDuplexer + "d\n",
        "*QVBookletFold 1\n@1 " + kDuplexer + "b\n*QVBookletFold 2\n@2 " + kDuplexer + "d\n"}});
}

TEST(FoldCommand, IsDroppedWithAPjlLineButStillDropsTheFeature) {
  expectStitched(
      {{"a\n@PJL QVBookletFold\nb\n" + kDuplexer + "c\n", "a\n" + kDuplexer + "c\n"},
       {"a\n\x1b%-12345X QVBookletFold\nb\n" + kDuplexer + "c\n", "a\n" + kDuplexer + "c\n"}});
}

TEST(FoldCommand, IsWrittenToEveryPrinter) {
  const std::string body = "\x8e *QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n";
  Job job = bookletJob("@PJL SET X\n\x8e *QVBookletFold\nx\n");
  expectRun(Job(job).version("0x102f").env("DEVICE_URI", "usb://printer"), body);
  expectRun(job.env("DEVICE_URI", "pap://printer"), plainHeader() + body + trailer(), kAppleTalk);
}

TEST(FoldCommand, IsInTheCapturedOutputAndTheDroppedLinesAreInTheCapturedInput) {
  const std::string start = "*QVBookletFold\nx\n*JobPatchFile\nstatusdict /duplexer get exec\r\n";
  const Job job = bookletJob(start + "*JobPatchFile\n1\n2\ny");
  expectFoldedEverywhere(job,
                         "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                         "statusdict /duplexer get exec\r\ny");
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), start + "*JobPatchFile\ny");
}

// ---- the drop up to the duplexer line

TEST(FoldDrop, EndsBeforeTheFirstLineWithTheExactDuplexerText) {
  expectStitched(
      {{"*QVBookletFold\nstatusdict /duplexer  get exec\nstatusdict /Duplexer get exec\n"
        "statusdict\n/duplexer get exec\n%%EOF",
        "*QVBookletFold\n@"},
       {"*QVBookletFold\n" + std::string(1010, 'x') + kDuplexer + "a\n", "*QVBookletFold\n@"},
       {"QVBookletFold " + kDuplexer + "a\n" + kDuplexer + "b\n",
        "QVBookletFold " + kDuplexer + "@" + kDuplexer + "b\n"},
       {"*QVBookletFold 1\n*QVBookletFold 2\n" + kDuplexer + "a\n",
        "*QVBookletFold 1\n@" + kDuplexer + "a\n"},
       // The text of the fold in that line starts the next drop.
       {"*QVBookletFold\na\nstatusdict /duplexer get exec QVBookletFold\nb\n" + kDuplexer + "c\n",
        "*QVBookletFold\n@statusdict /duplexer get exec QVBookletFold\n@" + kDuplexer + "c\n"}});
  for (const std::string line :
       {"statusdict /duplexer get exec", "x statusdict /duplexer get executive",
        "%statusdict /duplexer get exec%"}) {
    expectStitched(
        {{"*QVBookletFold\nx\n" + line + "\rb\n", "*QVBookletFold\n@" + line + "\rb\n"}});
  }
}

TEST(FoldDrop, PiecesWithAZeroByteAreKeptAndDoNotEndIt) {
  const std::string kept = bytes("b\0\n@PJL \0 statusdict /duplexer get exec\n\0\n");
  expectStitched({{"*QVBookletFold\na\n" + kept + "c\n" + kDuplexer + "d\n",
                   "*QVBookletFold\n@" + kept + kDuplexer + "d\n"}});
}

TEST(FoldDrop, PjlDuplexerLineEndsItUnwritten) {
  expectStitched({{"*QVBookletFold\na\n@PJL " + kDuplexer + "b\n", "*QVBookletFold\n@b\n"}});
}

TEST(FoldDrop, DroppedLinesMeetOnlyTheRuleOfTheMarkers) {
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  const std::string slot = "*InputSlot Tray1\n} stopped cleartomark\n";
  expectStitched(
      {{"*QVBookletFold\n" + size + kDuplexer + slot, "*QVBookletFold\n@" + kDuplexer + slot},
       // An open paper source stays open.
       {size + "*InputSlot Tray1\n*QVBookletFold\n} stopped cleartomark 1\n" + kDuplexer +
            "} stopped cleartomark 2\na\n",
        size + "*InputSlot Tray1\n*QVBookletFold\n@" + kDuplexer + "} stopped cleartomark 2\n[{\n" +
            size + "} stopped cleartomark\na\n"},
       {"*QVBookletFold\nsfcl{\n" + kDuplexer + size + slot + "}efcl\na\n",
        "*QVBookletFold\n@" + kDuplexer + size + slot + "}efcl\nsfcl{\n" + size + "}efcl\na\n"},
       {"*QVBookletFold\n%%BeginProlog\n" + kDuplexer + "%%BeginProlog\n",
        "*QVBookletFold\n@" + kDuplexer +
            "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
            "%%EndFeature\n"}});
}

TEST(FoldDrop, JobPatchFileLineInsideItIsNotTheFeature) {
  expectStitched(
      {{"*QVBookletFold\n*JobPatchFile 1\n" + kDuplexer +
            "a\n*JobPatchFile 2\nb\nc\nd\n"
            "*JobPatchFile 3\n",
        "*QVBookletFold\n@" + kDuplexer + "a\nd\n*JobPatchFile 3\n"},
       {"*QVBookletFold\na\nJobPatchFile " + kDuplexer + "b\nc\nd\n", "*QVBookletFold\n@d\n"},
       {"a\n*JobPatchFile QVBookletFold\nb\nc\nd\n", "a\nd\n"},
       {"a\n*JobPatchFile 1\nb\n*QVBookletFold\nd\n", "a\nd\n"},
       {"JobPatchFile\n1\n2\n*QVBookletFold\na\nJobPatchFile " + kDuplexer + "b\n",
        "*QVBookletFold\n@JobPatchFile " + kDuplexer + "b\n"}});
}

// ---- together with the other rules

TEST(FoldCommand, IsLostWithTheTextIfThePrologIsReplaced) {
  expectStitched(
      {{"%%BeginProlog QVBookletFold\na\n%%BeginProlog QVBookletFold\nb\n",
        "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
        "%%EndFeature\na\n%%BeginProlog QVBookletFold\n@"}});
}

TEST(FoldCommand, FollowsTheCollatedCopiesEvenIfTheyBringTheText) {
  const std::string copies = " com.apple.print.PrintSettings.PMCopies..n.=";
  const auto collated = [](const std::string& value) {
    return "%!\n%Set collate copies = copy:\n<< /CollatedCopies " + value +
           " >> setuserparams\n%EndUserSetup\n";
  };
  expectOut(
      bookletJob("%RBINumCopies: QVBookletFold\na\n", "BiFold PrintTo=JRVerify" + copies + "3"),
      headerWith("@PJL SET HOLD = PROOF\n@PJL SET HOLDTYPE = PUBLIC\n"
                 "@PJL SET QDUPLICATEHELDJOBS = SAVE\n") +
          collated("3") + "%RBINumCopies: QVBookletFold\n" + kBiFold + trailer());
  expectFolded(
      bookletJob("%RBINumCopies: 2\na\n", "BiFold PrintTo=JRPrinter" + copies + "QVBookletFold"),
      collated("QVBookletFold") + "%RBINumCopies: 2\n" + kBiFold);
}

TEST(FoldCommand, FollowsARepeatedPageSizeThatContainsTheText) {
  const std::string size = "%%BeginFeature: *PageSize A4 QVBookletFold\n";
  const std::string end = "1 " + kDuplexer + "%%EndFeature\n} stopped cleartomark\n";
  const std::string slot = "[{\n%%BeginFeature: *InputSlot Tray1\n%%EndFeature\n";
  expectStitched(
      {{"[{\n" + size + "<< /PageSize [595 842] >> setpagedevice\n" + end + slot +
            "} stopped cleartomark\ndropped\n2 " + kDuplexer +
            "*InputSlot Tray2\ncleartomark 2\n"
            "dropped\n",
        "[{\n" + size + "@" + end + slot + "} stopped cleartomark\n[{\n" + size + end + "@2 " +
            kDuplexer + "*InputSlot Tray2\n} stopped cleartomark\n[{\n" + size + end + "@"},
       // The closing line becomes part of the repeated page size.
       {"*PageSize A4\n%%EndFeature\n*InputSlot Tray1\ncleartomark QVBookletFold\na\n" + kDuplexer,
        "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\ncleartomark QVBookletFold\n[{\n"
        "*PageSize A4\n%%EndFeature\n} stopped cleartomark\n@" +
            kDuplexer}});
}

TEST(FoldCommand, IsLostWithTheTextIfPosterCollationReplacesTheLine) {
  const std::string options =
      "BiFold QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=true";
  Job job = bookletJob("/Collate QVBookletFold\na\n", options);
  expectBody(job.version("0x103f"), "<< /Collate true >> setpagedevice\na\n");
  expectBody(job.version("0x1040"), "/Collate QVBookletFold\n" + kBiFold);
  // But the replaced line can end the drop.
  expectBody(bookletJob("*QVBookletFold\n/Collate\n/Collate " + kDuplexer + "a\n", options)
                 .version("failed"),
             "*QVBookletFold\n" + kBiFold + "<< /Collate true >> setpagedevice\na\n");
}

}  // namespace
}  // namespace jobshaper::testing
