// The fold command of a booklet that the printer folds: where it is in the job, and the code of the
// feature that it replaces.
#include <gtest/gtest.h>

#include <string>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kSaddle = "<< /Fold 2 /Staple 4>> setpagedevice\n";

// A saddle-stitched job with this input and this body of the output.
void expectStitched(std::string input, std::string_view body) {
  expectBody(bookletJob(std::move(input)), body);
}

// ---- the fold command

TEST(FoldCommand, FollowsTheLineWithItsTerminator) {
  expectStitched("*QVBookletFold\n", "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n");
  expectStitched("*QVBookletFold\r", "*QVBookletFold\r\n<< /Fold 2 /Staple 4>> setpagedevice\n");
  expectStitched("*QVBookletFold", "*QVBookletFold\n<< /Fold 2 /Staple 4>> setpagedevice\n");
}

TEST(FoldCommand, NewlineOfACrLfPairIsDroppedWithTheFeature) {
  expectStitched("*QVBookletFold\r\nx\r\nstatusdict /duplexer get exec\r\ny\r\n",
                 "*QVBookletFold\r\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                 "statusdict /duplexer get exec\r\ny\r\n");
}

TEST(FoldCommand, PlainBookletGetsAnEmptyLine) {
  expectBody(bookletJob("*QVBookletFold\n", "Booklet"), "*QVBookletFold\n\n\n");
  expectBody(bookletJob("*QVBookletFold\r", "Booklet"), "*QVBookletFold\r\n\n");
  expectBody(bookletJob("*QVBookletFold", "Booklet"), "*QVBookletFold\n\n");
}

TEST(FoldCommand, FollowsTheTextAnywhereInTheLine) {
  const char* const lines[] = {"QVBookletFold",
                               "  (x) QVBookletFold y",
                               "%%IncludeFeature: *QVBookletFoldNot",
                               "noQVBookletFold",
                               "QVBookletFold QVBookletFold",
                               "QVQVBookletFold",
                               "%@ %d %n 100% QVBookletFold \\",
                               "\x8a\xff QVBookletFold \xdb"};
  for (const char* line : lines) {
    SCOPED_TRACE(line);
    expectStitched(std::string("a\n") + line + "\nb\n",
                   std::string("a\n") + line + "\n\n" + kSaddle);
  }
}

TEST(FoldCommand, OtherSpellingsOfTheTextAreNotTheFoldOption) {
  constexpr std::string_view kOthers =
      "*qvbookletfold\n*QVBOOKLETFOLD\n*QVBooklet Fold\n*QVBookletFol\n*QVBooklet\nFold\n";
  expectStitched(std::string(kOthers), kOthers);
}

TEST(FoldCommand, TextThatACutSplitsIsNotSeen) {
  const std::string line = std::string(1020, 'x') + "QVBookletFold\n";
  expectStitched(line, line);
}

TEST(FoldCommand, FollowsTheFirstPieceOfAnOverlongLineAndDropsTheRest) {
  const std::string piece = "QVBookletFold" + std::string(1011, 'x');
  expectStitched(piece + "rest of the line\nstatusdict /duplexer get exec\n",
                 piece + "\n" + kSaddle + "statusdict /duplexer get exec\n");
}

TEST(FoldCommand, LineOfAFullPieceLosesItsNewlineToTheDrop) {
  const std::string full = "QVBookletFold" + std::string(1011, 'x');
  expectStitched(full + "\n", full + "\n" + kSaddle);
  const std::string shorter = "QVBookletFold" + std::string(1010, 'x');
  expectStitched(shorter + "\n", shorter + "\n\n" + kSaddle);
}

// This many bytes of text in lines of 64, all of them terminated.
std::string filler(std::size_t size) {
  std::string text(size, 'x');
  for (std::size_t i = 63; i < size; i += 64) text[i] = '\n';
  text.back() = '\n';
  return text;
}

TEST(FoldCommand, IsFoundWhereverTheLineLiesInALargeJob) {
  for (const std::size_t size : {4090u, 8185u, 16375u, 32760u, 65520u, 65526u, 65534u, 131060u}) {
    SCOPED_TRACE(size);
    const std::string input = filler(size) + "%%Feature: *QVBookletFold\n" + filler(size - 27) +
                              "dup statusdict /duplexer get exec\n" + filler(size);
    const std::string body = filler(size) +
                             "%%Feature: *QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                             "dup statusdict /duplexer get exec\n" +
                             filler(size);
    expectStitched(input, body);
    Job job;
    expectBody(job.options("QVBookletFold=SaddleStitch").fileWith(input), body);
  }
}

TEST(FoldCommand, EveryFoldLineGetsIt) {
  expectStitched(
      "*QVBookletFold 1\na\nstatusdict /duplexer get exec 1\nb\n"
      "*QVBookletFold 2\nc\nstatusdict /duplexer get exec 2\nd\n",
      "*QVBookletFold 1\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec 1\nb\n"
      "*QVBookletFold 2\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec 2\nd\n");
}

TEST(FoldCommand, LineWithAZeroByteGetsNone) {
  const std::string input = bytes("*QVBookletFold\0\nx\n");
  expectStitched(input, input);
}

TEST(FoldCommand, IsDroppedWithAPjlLineButStillDropsTheFeature) {
  expectStitched("a\n@PJL QVBookletFold\nb\nstatusdict /duplexer get exec\nc\n",
                 "a\nstatusdict /duplexer get exec\nc\n");
  expectStitched("a\n\x1b%-12345X QVBookletFold\nb\nstatusdict /duplexer get exec\nc\n",
                 "a\nstatusdict /duplexer get exec\nc\n");
  expectStitched("a\n@PJL\tQVBookletFold\nb\n",
                 "a\n@PJL\tQVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n");
}

TEST(FoldCommand, IsWrittenWithoutThePjlWrapping) {
  Job job = bookletJob("@PJL SET X\n*QVBookletFold\nx\n");
  job.version("0x102f").env("DEVICE_URI", "usb://printer");
  expectRun(job, "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n", tmpLines(job));
}

TEST(FoldCommand, IsWrittenToAppleTalkPrinters) {
  Job job = bookletJob("\x8e *QVBookletFold\nx\n");
  job.env("DEVICE_URI", "pap://printer");
  expectRun(
      job,
      plainHeader() + "\x8e *QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n" + trailer(),
      tmpLines(job) + "[tarvel] this is an Appletalk connection\n");
}

TEST(FoldCommand, IsCapturedWithTheOutgoingDataAndTheDroppedLinesWithTheIncoming) {
  const std::string input =
      "*QVBookletFold\nx\n*JobPatchFile\nstatusdict /duplexer get exec\r\n"
      "*JobPatchFile\n1\n2\ny";
  Job job = bookletJob(input);
  job.capture();
  const std::string out = plainHeader() +
                          "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                          "statusdict /duplexer get exec\r\ny" +
                          trailer();
  for (const char* version : {"0x1049", "0x1050"}) {
    SCOPED_TRACE(version);
    expectRun(job.version(version), out, tmpLines(job) + kCaptureOn);
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
              "*QVBookletFold\nx\n*JobPatchFile\nstatusdict /duplexer get exec\r\n"
              "*JobPatchFile\ny");
    EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
  }
}

// ---- the drop up to the duplexer line

TEST(FoldDrop, LastsToTheEndWithoutADuplexerLine) {
  expectStitched(
      "*QVBookletFold\nstatusdict /duplexer  get exec\nstatusdict /Duplexer get exec\n"
      "statusdict\n/duplexer get exec\n%%EOF",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n");
}

TEST(FoldDrop, DuplexerTextEndsItAnywhereInTheLine) {
  const char* const lines[] = {"statusdict /duplexer get exec",
                               "x statusdict /duplexer get executive",
                               "%statusdict /duplexer get exec%"};
  for (const char* line : lines) {
    SCOPED_TRACE(line);
    expectStitched(std::string("*QVBookletFold\nx\n") + line + "\rb\n",
                   std::string("*QVBookletFold\n\n") + kSaddle + line + "\rb\n");
  }
}

TEST(FoldDrop, DuplexerTextThatACutSplitsDoesNotEndIt) {
  expectStitched("*QVBookletFold\n" + std::string(1010, 'x') + "statusdict /duplexer get exec\na\n",
                 std::string("*QVBookletFold\n\n") + kSaddle);
}

TEST(FoldDrop, DuplexerLineWithoutADropPasses) {
  expectStitched("statusdict /duplexer get exec\na\n", "statusdict /duplexer get exec\na\n");
}

TEST(FoldDrop, DuplexerTextInTheFoldLineItselfDoesNotEndIt) {
  expectStitched(
      "QVBookletFold statusdict /duplexer get exec\na\nstatusdict /duplexer get exec\nb\n",
      "QVBookletFold statusdict /duplexer get exec\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\nb\n");
}

TEST(FoldDrop, FoldTextInADroppedLineIsDropped) {
  expectStitched("*QVBookletFold 1\n*QVBookletFold 2\nstatusdict /duplexer get exec\na\n",
                 "*QVBookletFold 1\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                 "statusdict /duplexer get exec\na\n");
}

TEST(FoldDrop, FoldTextInTheDuplexerLineStartsItAgain) {
  expectStitched(
      "*QVBookletFold\na\nstatusdict /duplexer get exec QVBookletFold\nb\n"
      "statusdict /duplexer get exec\nc\n",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\nc\n");
}

TEST(FoldDrop, ZeroBytePiecesPassAndDoNotEndIt) {
  const std::string kept = bytes("b\0\n@PJL \0 statusdict /duplexer get exec\n\0\n");
  expectStitched(
      "*QVBookletFold\na\n" + kept + "c\nstatusdict /duplexer get exec\nd\n",
      std::string("*QVBookletFold\n\n") + kSaddle + kept + "statusdict /duplexer get exec\nd\n");
}

TEST(FoldDrop, PjlDuplexerLineEndsItUnwritten) {
  expectStitched("*QVBookletFold\na\n@PJL statusdict /duplexer get exec\nb\n",
                 std::string("*QVBookletFold\n\n") + kSaddle + "b\n");
}

TEST(FoldDrop, JobPatchInsideItIsDroppedWithoutCounting) {
  expectStitched(
      "*QVBookletFold\n*JobPatchFile 1\nstatusdict /duplexer get exec\na\n"
      "*JobPatchFile 2\nb\nc\nd\n*JobPatchFile 3\n",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\na\nd\n*JobPatchFile 3\n");
}

TEST(FoldDrop, JobPatchInTheDuplexerLineEndsItAndTakesTwoMoreLines) {
  expectStitched("*QVBookletFold\na\nJobPatchFile statusdict /duplexer get exec\nb\nc\nd\n",
                 "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\nd\n");
}

TEST(FoldDrop, JobPatchTakesTheFoldTextWithIt) {
  expectStitched("a\n*JobPatchFile QVBookletFold\nb\nc\nd\n", "a\nd\n");
  expectStitched("a\n*JobPatchFile 1\nb\n*QVBookletFold\nd\n", "a\nd\n");
}

TEST(FoldDrop, HandledJobPatchPassesAsADuplexerLine) {
  expectStitched(
      "JobPatchFile\n1\n2\n*QVBookletFold\na\nJobPatchFile statusdict /duplexer get exec\nb\n",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "JobPatchFile statusdict /duplexer get exec\nb\n");
}

TEST(FoldDrop, DroppedPageSizeIsNotRepeatedAfterThePaperSource) {
  expectStitched(
      "*QVBookletFold\n*PageSize A4\n%%EndFeature\nstatusdict /duplexer get exec\n"
      "*InputSlot Tray1\n} stopped cleartomark\n",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\n*InputSlot Tray1\n} stopped cleartomark\n");
}

TEST(FoldDrop, PaperSourceStaysOpenAcrossIt) {
  expectStitched(
      "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\n*QVBookletFold\n} stopped cleartomark 1\n"
      "statusdict /duplexer get exec\n} stopped cleartomark 2\na\n",
      "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\n"
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\n"
      "} stopped cleartomark 2\n[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\na\n");
}

TEST(FoldDrop, OpeningOfASfclBlockIsNoticedInside) {
  expectStitched(
      "*QVBookletFold\nsfcl{\nstatusdict /duplexer get exec\n*PageSize A4\n%%EndFeature\n"
      "*InputSlot Tray1\n} stopped cleartomark\n}efcl\na\n",
      "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\n*PageSize A4\n%%EndFeature\n"
      "*InputSlot Tray1\n} stopped cleartomark\n"
      "}efcl\nsfcl{\n*PageSize A4\n%%EndFeature\n}efcl\na\n");
}

TEST(FoldDrop, PrologInsideItIsNotTheJobsProlog) {
  expectStitched("*QVBookletFold\n%%BeginProlog\nstatusdict /duplexer get exec\n%%BeginProlog\n",
                 "*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
                 "statusdict /duplexer get exec\n"
                 "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
                 "%%EndFeature\n");
}

// ---- together with the other rules

TEST(FoldCommand, IsLostWithTheTextWhenThePrologIsReplaced) {
  expectStitched("%%BeginProlog QVBookletFold\na\n%%BeginProlog QVBookletFold\nb\n",
                 "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
                 "%%EndFeature\na\n"
                 "%%BeginProlog QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n");
}

TEST(FoldCommand, FollowsTheCollatedCopiesOfARetainedJob) {
  Job job = bookletJob("%RBINumCopies: QVBookletFold\na\n",
                       "BiFold PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=3");
  std::string header = plainHeader();
  header.insert(header.find("@PJL ENTER LANGUAGE"),
                "@PJL SET HOLD = PROOF\n"
                "@PJL SET HOLDTYPE = PUBLIC\n"
                "@PJL SET QDUPLICATEHELDJOBS = SAVE\n");
  expectOut(job, header +
                     "%!\n%Set collate copies = copy:\n"
                     "<< /CollatedCopies 3 >> setuserparams\n%EndUserSetup\n"
                     "%RBINumCopies: QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n" +
                     trailer());
}

TEST(FoldCommand, FollowsCollatedCopiesThatBringTheText) {
  Job job = bookletJob("%RBINumCopies: 2\na\n",
                       "BiFold PrintTo=JRPrinter "
                       "com.apple.print.PrintSettings.PMCopies..n.=QVBookletFold");
  expectBody(job,
             "%!\n%Set collate copies = copy:\n"
             "<< /CollatedCopies QVBookletFold >> setuserparams\n%EndUserSetup\n"
             "%RBINumCopies: 2\n\n<< /Fold 1 >> setpagedevice\n");
}

TEST(FoldCommand, FollowsARepeatedPageSizeThatHoldsTheText) {
  expectStitched(
      "[{\n"
      "%%BeginFeature: *PageSize A4 QVBookletFold\n"
      "<< /PageSize [595 842] >> setpagedevice\n"
      "1 statusdict /duplexer get exec\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "dropped\n"
      "2 statusdict /duplexer get exec\n"
      "*InputSlot Tray2\n"
      "cleartomark 2\n"
      "dropped\n",
      "[{\n"
      "%%BeginFeature: *PageSize A4 QVBookletFold\n"
      "\n"
      "<< /Fold 2 /Staple 4>> setpagedevice\n"
      "1 statusdict /duplexer get exec\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *InputSlot Tray1\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize A4 QVBookletFold\n"
      "1 statusdict /duplexer get exec\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "\n"
      "<< /Fold 2 /Staple 4>> setpagedevice\n"
      "2 statusdict /duplexer get exec\n"
      "*InputSlot Tray2\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize A4 QVBookletFold\n"
      "1 statusdict /duplexer get exec\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "\n"
      "<< /Fold 2 /Staple 4>> setpagedevice\n");
}

TEST(FoldCommand, ClosingLineThatNamesTheFoldBecomesPartOfTheRepeatedPageSize) {
  expectStitched(
      "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\ncleartomark QVBookletFold\na\n"
      "statusdict /duplexer get exec\n",
      "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\n"
      "cleartomark QVBookletFold\n[{\n*PageSize A4\n%%EndFeature\n} stopped cleartomark\n"
      "\n<< /Fold 2 /Staple 4>> setpagedevice\n"
      "statusdict /duplexer get exec\n");
}

TEST(FoldCommand, IsLostWhenPosterCollationReplacesTheLine) {
  Job job = bookletJob("/Collate QVBookletFold\na\n",
                       "BiFold QVPosterEnablePS=true "
                       "com.apple.print.PrintSettings.PMCopyCollate..b.=true");
  job.version("0x103f");
  expectRun(job, plainHeader() + "<< /Collate true >> setpagedevice\na\n" + trailer(),
            tmpLines(job));
  job.version("0x1040");
  expectRun(job,
            plainHeader() + "/Collate QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n" + trailer(),
            tmpLines(job));
}

TEST(FoldDrop, EndsAtADuplexerLineThatPosterCollationReplaces) {
  Job job = bookletJob("*QVBookletFold\n/Collate\n/Collate statusdict /duplexer get exec\na\n",
                       "BiFold QVPosterEnablePS=true "
                       "com.apple.print.PrintSettings.PMCopyCollate..b.=true");
  job.version("failed");
  expectRun(job,
            plainHeader() +
                "*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n"
                "<< /Collate true >> setpagedevice\na\n" +
                trailer(),
            tmpLines(job));
}

TEST(FoldCommand, ManualBookletGetsItToo) {
  Job job;
  job.ppd("*QvnManualBooklet: True\n").options("QVBookletFold=SaddleStitch").version("0x1050");
  job.env("JOBSHAPER_INSTRUCTIONS", job.tmpFile("none"));
  job.input(
      "%!PS-Adobe-3.0\n*QVBookletFold\nx\nstatusdict /duplexer get exec\n"
      "%%Page: 1 1\na\nb\nc\nd\n%%Page: 2 2\ne\n%%Trailer\n%%EOF\n");
  expectRun(
      job,
      plainHeader() +
          "%!PS-Adobe-3.0\n*QVBookletFold\n\n<< /Fold 2 /Staple 4>> setpagedevice\n"
          "statusdict /duplexer get exec\n"
          "statusdict dup /setmanualduplexmode known "
          "{begin 1 setmanualduplexmode end}{pop}ifelse\n"
          "%%Page: 0 0\n"
          "%%Page: 1 1\na\nb\nc\nd\n"
          "statusdict dup /setmanualduplexmode known "
          "{begin 2 setmanualduplexmode end}{pop}ifelse\n"
          "%%Page: 1 1\na\nb\nc\ncg_md begin\nbp\nsdmtx\nep\nend\n"
          "%%Page: 2 2\ne\n" +
          trailer(),
      tmpLines(job) + "tmp at " + job.tmp() + " \ninstructionAsData is less than or equal to 0\n");
}

}  // namespace
}  // namespace jobshaper::testing
