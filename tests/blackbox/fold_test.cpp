// Booklets that the printer folds: which jobs are booklets, the fold command and the code of the
// feature that it replaces, and the copies of a booklet.
#include <string>
#include <string_view>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kCopies = " com.apple.print.PrintSettings.PMCopies..n.=";

Job bookletJob(const std::string& options) { return Job().options("QVBookletFold=" + options); }

// Replaces two names in a text: "{fold}" stands for the command of the saddle stitch with the empty
// line that ends the line before it.
std::string expanded(std::string text) {
  const auto replaceAll = [&text](std::string_view name, std::string_view with) {
    for (std::size_t at; (at = text.find(name)) != text.npos;) text.replace(at, name.size(), with);
  };
  replaceAll("{fold}", "\n<< /Fold 2 /Staple 4>> setpagedevice\n");
  replaceAll("{duplexer}", "statusdict /duplexer get exec");
  return text;
}

void expectStitched(const std::vector<JobRow>& rows, Where where = Where::here()) {
  for (const auto& [input, body] : rows) {
    expectBody(bookletJob("SaddleStitch").input(expanded(input)), expanded(body), where);
  }
}

// ---- which jobs are booklets

// A job with the PPD's feature, whose command becomes this one. Every job examines its line, which
// contains the trigger of another rule.
void expectFold(const std::string& options, const std::string& command,
                Where where = Where::here()) {
  const std::string start = "%!PS-Adobe-3.0\n[{\n%%BeginFeature: *QVBookletFold InputSlot\n";
  const std::string end =
      expanded("1 {duplexer}\n%%EndFeature\n} stopped cleartomark\n%%Page: 1 1\nshowpage\n");
  expectBody(Job().options(options).input(start + "<< /Fold 9 >> setpagedevice\n" + end),
             start + command + end, where);
}

TEST(Fold, EveryValueHasItsCommand) {
  expectFold("QVBookletFold=Booklet", "\n\n");
  expectFold("QVBookletFold=SaddleStitch", "\n<< /Fold 2 /Staple 4>> setpagedevice\n");
  expectFold("QVBookletFold=BiFold", "\n<< /Fold 1 >> setpagedevice\n");
  expectFold("QVBookletFold=DoNotFoldAndStaple", "\n<< /Fold 0 /Staple 0>> setpagedevice\n");
  // Any other value is a plain fold.
  for (const char* value : {"=BookletFold", "=False", "=PRINTERS", "=booklet", "=SaddleStitch1",
                            "=Saddle", "=false<20>", "=\"\"", ""}) {
    expectFold(std::string("QVBookletFold") + value, "\n<< /Fold 2 >> setpagedevice\n");
  }
}

TEST(Fold, FalsePrintersAndAbsentFoldMakeNoBooklet) {
  for (const char* options : {"", "QVBookletFold=false", "QVBookletFold=PrinterS",
                              "noQVBookletFold", "QVbookletFold=SaddleStitch"}) {
    expectFold(options, "<< /Fold 9 >> setpagedevice\n");
  }
}

// ---- the fold command

TEST(FoldCommand, FollowsTheLineWithItsLineEnd) {
  expectStitched({{"*QVBookletFold\n", "*QVBookletFold\n{fold}"},
                  {"*QVBookletFold\r", "*QVBookletFold\r{fold}"},
                  {"*QVBookletFold", "*QVBookletFold{fold}"},
                  // The newline of a pair is dropped with the feature.
                  {"*QVBookletFold\r\nx\r\n{duplexer}\r\ny\r\n",
                   "*QVBookletFold\r{fold}{duplexer}\r\ny\r\n"}});
}

TEST(FoldCommand, FollowsTheExactTextAnywhereInEveryLine) {
  std::string input, body;
  for (const std::string line :
       {"QVBookletFold", "  (x) QVBookletFold y", "%%IncludeFeature: *QVBookletFoldNot",
        "QVBookletFold QVBookletFold", "QVQVBookletFold", "%@ %d %n 100% QVBookletFold \\",
        "\x8a\xff QVBookletFold \xdb", "@PJL\tQVBookletFold"}) {
    input += "a\n" + line + "\nold\n1 {duplexer}\n";
    body += "a\n" + line + "\n{fold}1 {duplexer}\n";
  }
  const std::string others =
      "*qvbookletfold\n*QVBOOKLETFOLD\n*QVBooklet Fold\n*QVBookletFol\n*QVBooklet\nFold\n" +
      bytes("*QVBookletFold\0\n{duplexer}\n") + std::string(1020, 'x') + "QVBookletFold\n";
  expectStitched({{others + input, others + body}});
}

TEST(FoldCommand, FollowsTheFirstPieceOfAnOverlongLineAndDropsTheRest) {
  const std::string full = "QVBookletFold" + std::string(1011, 'x');
  const std::string shorter = full.substr(1) + "\n";
  expectStitched({{full + "rest of the line\n{duplexer}\n" + full + "\n",
                   full + "{fold}{duplexer}\n" + full + "{fold}"},
                  {"Q" + full.substr(0, 1022) + "\n", "Q" + full.substr(0, 1022) + "\n{fold}"}});
}

TEST(FoldCommand, IsDroppedWithAPjlLineButStillDropsTheFeature) {
  expectStitched(
      {{"a\n@PJL QVBookletFold\nb\n{duplexer}\n\x1b%-12345X QVBookletFold\nb\n{duplexer}",
        "a\n{duplexer}\n{duplexer}"}});
}

TEST(FoldCommand, IsCapturedAndTheDroppedLinesAreInTheCapturedInput) {
  const std::string start =
      expanded("*QVBookletFold\nx\n*JobPatchFile\n{duplexer}\r\n*JobPatchFile\n");
  const Job job = bookletJob("SaddleStitch").input(start + "1\n2\ny").capture();
  const std::string out =
      plainHeader() + expanded("*QVBookletFold\n{fold}{duplexer}\r\ny") + trailer();
  expectRun(job, out, kCaptureOn);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), start + "y");
}

// ---- the drop up to the duplexer line

TEST(FoldDrop, EndsBeforeTheFirstLineWithTheExactDuplexerText) {
  expectStitched(
      {{"*QVBookletFold\nstatusdict /duplexer  get exec\nstatusdict /Duplexer get exec\n"
        "statusdict\n/duplexer get exec\n" +
            std::string(1010, 'x') + "{duplexer}\nx {duplexer}utive\rb\n",
        "*QVBookletFold\n{fold}x {duplexer}utive\rb\n"},
       {"QVBookletFold {duplexer}\na\n%{duplexer}%\nb\n",
        "QVBookletFold {duplexer}\n{fold}%{duplexer}%\nb\n"},
       {"*QVBookletFold 1\n*QVBookletFold 2\n{duplexer}", "*QVBookletFold 1\n{fold}{duplexer}"},
       // The text of the fold in that line starts the next drop.
       {"*QVBookletFold\na\n{duplexer} QVBookletFold\nb\n{duplexer}\nc\n",
        "*QVBookletFold\n{fold}{duplexer} QVBookletFold\n{fold}{duplexer}\nc\n"},
       {"*QVBookletFold\na\n@PJL {duplexer}\nb\n", "*QVBookletFold\n{fold}b\n"}});
}

TEST(FoldDrop, PiecesWithAZeroByteAreKeptAndDoNotEndIt) {
  const std::string kept = bytes("b\0\n@PJL \0 {duplexer}\n\0\n");
  expectStitched({{"*QVBookletFold\na\n" + kept + "c\n{duplexer}\nd\n",
                   "*QVBookletFold\n{fold}" + kept + "{duplexer}\nd\n"}});
}

TEST(FoldDrop, DroppedLinesMeetOnlyTheRuleOfTheMarkers) {
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  const std::string slot = "*InputSlot Tray1\n} stopped cleartomark\n";
  const std::string open = size + "*InputSlot Tray1\n*QVBookletFold\n";
  expectStitched(
      {{"*QVBookletFold\n" + size + "%%BeginProlog\n{duplexer}\n" + slot + "%%BeginProlog\n",
        "*QVBookletFold\n{fold}{duplexer}\n" + slot +
            "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
            "%%EndFeature\n"},
       // An open paper source stays open.
       {open + "} stopped cleartomark 1\n{duplexer}\n} stopped cleartomark 2\na\n",
        open + "{fold}{duplexer}\n} stopped cleartomark 2\n[{\n" + size +
            "} stopped cleartomark\na\n"},
       {"*QVBookletFold\nsfcl{\n{duplexer}\n" + size + slot + "}efcl\na\n",
        "*QVBookletFold\n{fold}{duplexer}\n" + size + slot + "}efcl\nsfcl{\n" + size +
            "}efcl\na\n"}});
}

TEST(FoldDrop, JobPatchFileLineInsideItIsNotTheFeature) {
  expectStitched(
      {{"*QVBookletFold\n*JobPatchFile 1\n{duplexer}\na\n*JobPatchFile 2\nb\nc\nd\n"
        "*JobPatchFile 3\n",
        "*QVBookletFold\n{fold}{duplexer}\na\nd\n*JobPatchFile 3\n"},
       {"*QVBookletFold\na\nJobPatchFile {duplexer}\nb\nc\nd\n", "*QVBookletFold\n{fold}d\n"},
       {"a\n*JobPatchFile QVBookletFold\nb\nc\nd\n", "a\nd\n"},
       {"a\n*JobPatchFile 1\nb\n*QVBookletFold\nd\n", "a\nd\n"},
       {"JobPatchFile\n1\n2\n*QVBookletFold\na\nJobPatchFile {duplexer}\nb\n",
        "*QVBookletFold\n{fold}JobPatchFile {duplexer}\nb\n"}});
}

// ---- together with the other rules

TEST(FoldCommand, FollowsTheCollatedCopiesEvenIfTheyBringTheText) {
  for (const auto& [value, line] : {std::pair{"3", "%RBINumCopies: QVBookletFold\n"},
                                    {"QVBookletFold", "%RBINumCopies: 2\n"}}) {
    expectBody(bookletJob("SaddleStitch PrintTo=JRPrinter" + kCopies + value)
                   .input(line + std::string("a\n")),
               "%!\n%Set collate copies = copy:\n<< /CollatedCopies " + std::string(value) +
                   " >> setuserparams\n%EndUserSetup\n" + line + expanded("{fold}"));
  }
}

TEST(FoldCommand, FollowsTheLineThatAnotherRuleMakesIfItStillHasTheText) {
  const std::string size = "*PageSize A4 QVBookletFold\n1 {duplexer}\n%%EndFeature\n";
  const std::string end = "} stopped cleartomark\n";
  expectStitched(
      {{"%%BeginProlog QVBookletFold\na\n%%BeginProlog QVBookletFold\nb\n",
        "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n%%Quorvan Macintosh PPD File 1\n"
        "%%EndFeature\na\n%%BeginProlog QVBookletFold\n{fold}"},
       // The page size is repeated, the first time after the line that ends the paper source.
       {size + "*InputSlot Tray1\n" + end +
            "dropped\n2 {duplexer}\n*InputSlot Tray2\ncleartomark\n",
        "*PageSize A4 QVBookletFold\n{fold}1 {duplexer}\n%%EndFeature\n*InputSlot Tray1\n" + end +
            "[{\n" + size + end + "{fold}2 {duplexer}\n*InputSlot Tray2\n" + end + "[{\n" + size +
            end + "{fold}"},
       {"*PageSize A4\n%%EndFeature\n*InputSlot Tray1\ncleartomark QVBookletFold\na\n{duplexer}",
        "*PageSize A4\n%%EndFeature\n*InputSlot Tray1\ncleartomark QVBookletFold\n[{\n"
        "*PageSize A4\n%%EndFeature\n} stopped cleartomark\n{fold}{duplexer}"}});
}

TEST(FoldCommand, IsLostWithTheTextIfPosterCollationReplacesTheLine) {
  Job job = bookletJob(
      "SaddleStitch QVPosterEnablePS=true com.apple.print.PrintSettings.PMCopyCollate..b.=true");
  job.version("0x103f");
  expectBody(job.input("/Collate QVBookletFold\na\n"), "<< /Collate true >> setpagedevice\na\n");
  // But the replaced line can end the drop.
  expectBody(job.input(expanded("*QVBookletFold\n/Collate\n/Collate {duplexer}\na\n")),
             expanded("*QVBookletFold\n{fold}<< /Collate true >> setpagedevice\na\n"));
}

// ---- copies of a booklet

// A booklet with this copies argument, and the copies option and others.
void expectCopies(const char* argument, const std::string& options, const std::string& out,
                  Where where = Where::here()) {
  Job job = bookletJob("BiFold" + kCopies + options).copies(argument).input("a\n");
  expectRun(job, out + "a\n" + trailer(), "", 0, where);
}

TEST(BookletCopies, AreAfterTheSwitchToPostScriptIfTheArgumentIs1AndTheOptionMore) {
  const std::string rows[][3] = {{"1", "2", "2"},
                                 {"1", "2147483648", "2147483647"},
                                 {"1", "4294967299", "2147483647"},
                                 {" \t\n\r+01x", "\" \t\n\r+03.9\"", "3"}};
  for (const auto& [argument, option, copies] : rows) {
    expectCopies(argument.c_str(), option, plainHeader() + "@PJL SET COPIES = " + copies + "\n");
  }
  // They belong to the header, which USB printers do not get from old systems.
  expectRun(bookletJob("BiFold" + kCopies + "3").version("0x102f").env("DEVICE_URI", "usb://x"),
            "");
}

TEST(BookletCopies, AreNotSentOtherwise) {
  for (const char* argument : {"2", "0", "-1", "", "x1", "11", "+-1", "4294967297"}) {
    expectCopies(argument, "3", plainHeader());
  }
  for (const char* option : {"0", "-3", "x3", "01", "1.9", "-4294967293"}) {
    expectCopies("1", option, plainHeader());
  }
  expectCopies("1", "1", headerWith("@PJL SET COPIES = 1\n"));
  expectCopies("1", "3 QVBookletFold=false", plainHeader());
  // The PostScript of a retained job sets them.
  expectCopies("1", "3 PrintTo=JRPrinter", plainHeader());
  expectCopies("1", "3 PrintTo=\"\"", headerWith("@PJL SET QDUPLICATEHELDJOBS = SAVE\n"));
}

}  // namespace
}  // namespace jobshaper::testing
