// Booklets on a printer without a duplex unit, as whole jobs: the two passes, the blank page
// between them, the rules that the reordered job then goes through, messages and temporary files.
#include <string>
#include <string_view>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOnlyInside = " QVBookletCoverPage=true QVInsideFrontCover=true";
constexpr std::string_view kBlankStart = "%%Page: 1 1\n1a\n1b\n1c\n";

Job twoPages(std::string_view options = "") {
  return manualJob(join(kTop, kPage1, kPage2), options);
}
std::string twoPagesPrinted() { return printed(kTop, kPage1, kBlank, kPage2); }

// The pages of a job that begins with kTop, and what they become: the odd pages, the lines that the
// blank page begins with, and the even pages.
struct Row {
  std::string pages, odd, blankStart, even;
};
void expectPages(const std::vector<Row>& rows, Where where = Where::here()) {
  for (const auto& [in, odd, blankStart, even] : rows) {
    expectPrinted(manualJob(join(kTop, in)),
                  printed(kTop, odd, join(blankStart, kProcedures), even), kNoInstruction, where);
  }
}
Row afterPage1(std::string_view in, std::string_view odd, std::string_view even = "") {
  return {join(kPage1, in), join(kPage1, odd), std::string(kBlankStart), std::string(even)};
}

// ---- which jobs are reordered

TEST(ManualBooklet, KeywordOrFoldOfAnyValueReordersTheJob) {
  for (const char* ppd :
       {"*QvnManualBooklet: False\n", "*QvnManualBooklet: \"True\"\n", "*qvnmanualbooklet:x",
        "*QvnManualBooklet: True\n*QvnManualBooklet: \n"}) {
    expectPrinted(twoPages().ppd(ppd), twoPagesPrinted());
  }
  expectPrinted(twoPages().options("QVBookletFold=TriFold"), twoPagesPrinted());
}

TEST(ManualBooklet, NeedsAFoldOptionAndTheKeywordWithAValue) {
  for (const auto& [ppd, options] : {std::pair{kManualPpd, ""},
                                     {kManualPpd, "QVBookletFold=PrinterS"},
                                     {"*QVManualBooklet: True\n", "QVBookletFold=Booklet"},
                                     {"*QvnManualBooklet: \n", "QVBookletFold=Booklet"}}) {
    Job job = twoPages().ppd(ppd).options(options);
    writeFile(job.tmpFile("pageEven42"), "of another program");
    expectBody(job, job.input());
    EXPECT_EQ(readFile(job.tmpFile("pageEven42")), "of another program");
  }
}

TEST(ManualBooklet, IsMadeFromAFileTooAndTheFileStays) {
  Job job = manualJob("from standard input\n");
  expectPrinted(job.fileWith(twoPages().input()), twoPagesPrinted());
  EXPECT_EQ(readFile(job.argv().at(6)), twoPages().input());
}

// ---- page order

TEST(ManualBookletOrder, IsOddPagesThenABlankOneThenEvenPagesBackwards) {
  const std::string_view rows[][3] = {{"1", "1", ""},
                                      {"12", "1", "2"},
                                      {"1234", "13", "42"},
                                      {"1234567", "1357", "642"},
                                      {"12345678", "1357", "8642"},
                                      // The labels of the pages do not matter.
                                      {"14283", "123", "84"}};
  for (const auto& [in, odd, even] : rows) {
    expectPrinted(manualJob(join(kTop, pages(in), kTrailer)),
                  printed(kTop, pages(odd), kBlank, pages(even)));
  }
  expectPrinted(manualJob(join(kPage1, kPage2)), printed("", kPage1, kBlank, kPage2));
}

// The user puts in the cover sheet, so it is never requested.
TEST(ManualBookletOrder, SecondBlankPageFollowsIfOnlyTheInsideOfTheCoverIsPrinted) {
  Job job = twoPages();
  writeFile(job.tmpFile("count"), "2");
  job.options(join("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletCoverType=Card",
                   kOnlyInside, " QVBookletPageCountFilename='", job.tmpFile("count"), "'"));
  expectPrinted(job, printed(kTop, kPage1, join(kBlank, kBlank), kPage2));
}

TEST(ManualBookletOrder, JobWithoutPagesIsFollowedByABlankPageWithoutItsStart) {
  expectPrintedWithoutPages(manualJob(join(kTop, kTrailer, kPage1)),
                            join(kTop, kSecondPass, kProcedures));
  expectPrintedWithoutPages(manualJob(std::string(kTop), kOnlyInside),
                            join(kTop, kSecondPass, kProcedures, kProcedures));
  for (const char* input : {"", "%%Page: 1 1"}) {
    expectPrintedWithoutPages(manualJob(input), join(kSecondPass, kProcedures));
  }
}

TEST(ManualBookletOrder, LinesThatOnlyLookLikePagesStayWhereTheyAre) {
  const std::string others = "%%Pages: 2\n%%PageOrder: Ascend\n %%Page: 9 9\n%%page: 9 9\n";
  expectPrinted(
      manualJob(join(kTop, others, kPage1, others, "%%Page:2\nx\n", others)),
      printed(join(kTop, others), join(kPage1, others), kBlank, join("%%Page:2\nx\n", others)));
}

// ---- blank page, trailer and last line

TEST(ManualBookletBlankPage, BeginsWithTheFirstFourLinesFromTheFirstPageOn) {
  expectPages({{"%%Page: 1\na\n%%Page: 2\nb\nc\n", "%%Page: 1\na\n", "%%Page: 1\na\n%%Page: 2\nb\n",
                "%%Page: 2\nb\nc\n"},
               {"%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n%%Page: 5\n",
                "%%Page: 1\n%%Page: 3\n%%Page: 5\n", "%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n",
                "%%Page: 4\n%%Page: 2\n"},
               // The job may end before.
               {"%%Page: 1\na\nb\n", "%%Page: 1\na\nb\n", "%%Page: 1\na\nb\n", ""},
               {"%%Page: 1\na\n%%Trailer\nb\nc\n", "%%Page: 1\na\n", "%%Page: 1\na\n", ""}});
}

TEST(ManualBookletTrailer, IsLeftOutWithThePagesInIt) {
  const std::string others = "%%trailer\n %%Trailer\nx %%Trailer\n%Trailer\n";
  expectPages({afterPage1(join(kPage2, "%%Trailer\n%%Page: 3 3\nx\n%%EOF\n"), "", kPage2),
               afterPage1(others + "%%TrailerComments: x\nx\n", others)});
}

TEST(ManualBookletLastLine, WithoutALineEndIsLeftOutUpToItsFullPieces) {
  expectPages({afterPage1("showpage", ""), afterPage1("%%Page: 2 2", "")});
  for (const auto& [length, kept] :
       {std::pair{1023U, 0U}, {1024U, 1024U}, {1025U, 1024U}, {3000U, 2048U}}) {
    expectPages({afterPage1(std::string(length, 'x'), std::string(kept, 'x'))});
  }
}

// ---- lines

TEST(ManualBookletLine, MayEndWithACarriageReturnAndOneWithNewlineIsTwoLines) {
  expectPages({{"%%Page: 1 1\ra\rb\rc\rd\r%%Page: 2 2\re\r%%Trailer\r%%EOF\r",
                "%%Page: 1 1\ra\rb\rc\rd\r", "%%Page: 1 1\ra\rb\rc\r", "%%Page: 2 2\re\r"},
               {"%%Page: 1 1\r\na\r\nb\r\n%%Page: 2 2\r\nc\r\n%%Trailer\r\n%%EOF\r\n",
                "%%Page: 1 1\r\na\r\nb\r\n", "%%Page: 1 1\r\na\r\n", "%%Page: 2 2\r\nc\r\n"}});
}

TEST(ManualBookletLine, OfAnyLengthPassesWholeInHeaderAndPages) {
  std::string lines;
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 2047U, 2048U, 3000U, 70000U}) {
    lines += std::string(length, 'x') + "\n";
  }
  expectPrinted(manualJob(join(kTop, lines, kPage1, lines, kPage2, lines)),
                printed(join(kTop, lines), join(kPage1, lines), kBlank, join(kPage2, lines)));
}

TEST(ManualBookletLine, EveryPieceOfALineCountsForTheBlankPage) {
  for (const auto& [length, rest] :
       {std::pair{1023U, "a\nb\n"}, {1024U, "a\n"}, {2047U, "a\n"}, {2048U, ""}}) {
    const std::string start = "%%Page: 1 1\n" + std::string(length, 'x') + "\n";
    expectPages({{start + "a\nb\nc\n", start + "a\nb\nc\n", start + rest, ""}});
  }
  const std::string line = "%%Page: 1 1\n" + std::string(4000, 'x') + "\n";
  expectPages({{line, line, line.substr(0, 12 + 3 * 1024), ""}});
}

TEST(ManualBookletLine, PageMayBeginWhereAnOverlongLineIsSplit) {
  const std::string piece(1024, 'x');
  const std::string within = join(piece.substr(1), kPage2);
  expectPages({afterPage1(join(piece, kPage2), piece, kPage2), afterPage1(within, within)});
}

TEST(ManualBookletZeroByte, EndsTheTextOfItsLineExceptInTheBlankPage) {
  expectPages(
      {{bytes("%%Page: 1 1\na\0b\n\0\nd\0hidden\ne\n%%Page: 2 2\n\0f\ng\0\0\nh\n"),
        "%%Page: 1 1\nade\n", bytes("%%Page: 1 1\na\0b\n\0\nd\0hidden\n"), "%%Page: 2 2\ngh\n"},
       afterPage1(bytes("\0%%Page: 9 9\n\0%%Trailer\n"), ""),
       afterPage1(bytes("%%Page:\0 2 2\nb\n%%Trailer\0\nx\n"), "", "%%Page:b\n")});
  // The line end before the requests of the passes is lost too.
  expectPrinted(
      manualJob(bytes("%!PS\0\n%%Page: 1 1\na\nb\nc\nd\0\n")),
      printed("%!PS", "%%Page: 1 1\na\nb\nc\nd", join("%%Page: 1 1\na\nb\nc\n", kProcedures), ""));
}

// ---- eight-bit text

// The upper half of the job's character set.
constexpr std::string_view kHighText =
    "ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥\u00b5∂\u2211\u220fπ∫ªº\u03a9æø"
    "¿¡¬√ƒ≈\u2206«»…\u00a0ÀÃÕŒœ\u2013\u2014“”‘’÷◊ÿŸ\u2044€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uf8ffÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ"
    "\n";

TEST(ManualBookletText, IsUtf8InHeaderAndPagesAndUnchangedInTheBlankPage) {
  std::string bytes, out;
  for (int byte = 0x80; byte < 0x100; ++byte) bytes += static_cast<char>(byte);
  bytes += "\n";
  expectPrinted(
      manualJob(join(kTop, bytes, "%%Page: 1\n", bytes, "a\nb\n%%Page: 2\n", bytes)),
      printed(join(kTop, kHighText), join("%%Page: 1\n", kHighText, "a\nb\n"),
              join("%%Page: 1\n", bytes, "a\nb\n", kProcedures), join("%%Page: 2\n", kHighText)));
  for (int i = 0; i < 1100; ++i) out += "\u20ac";
  expectPages({// Text in UTF-8 is converted byte by byte.
               afterPage1("% \u00e4\u20ac\n", "% √§‚Ç¨\n"),
               // An overlong line becomes longer.
               afterPage1(std::string(1100, '\xdb') + "\n", out + "\n")});
}

// ---- rules

// The first paper source of the reordered job is that of page 3; its closing line becomes part of
// the page size that is repeated after that of page 2.
TEST(ManualBookletRules, ApplyToTheReorderedJob) {
  const std::string top = "%%BeginSetup\n";
  const std::string size = "*PageSize Letter\n%%EndFeature\n";
  const std::string fold = "*QVBookletFold SaddleStitch\n";
  const std::string duplexer = "1 statusdict /duplexer get exec\n";
  const std::string repeated = "} stopped cleartomark % 3\n[{\n" + size + "} stopped cleartomark\n";
  Job job = manualJob(top + "@PJL SET COPIES = 2\n" + size + fold +
                      "<< /Fold 9 >> setpagedevice\n" + duplexer +
                      "%%Page: 1 1\n@PJL COMMENT\n1a\n1b\n1c\n"
                      "%%Page: 2 2\n*InputSlot Tray2\n} stopped cleartomark % 2\n"
                      "%%Page: 3 3\n*InputSlot Tray3\n} stopped cleartomark % 3\n");
  expectPrinted(job.options("QVBookletFold=SaddleStitch"),
                printed(top + size + fold + "\n<< /Fold 2 /Staple 4>> setpagedevice\n" + duplexer,
                        "%%Page: 1 1\n1a\n1b\n1c\n%%Page: 3 3\n*InputSlot Tray3\n" + repeated,
                        join("%%Page: 1 1\n1a\n1b\n", kProcedures),
                        "%%Page: 2 2\n*InputSlot Tray2\n" + repeated));
}

TEST(ManualBookletRules, InstructionPageWaitsIfTheFoldFeatureDropsTheFirstPageLine) {
  expectPrinted(manualJob("*QVBookletFold\n%%Page: 1\na\nb\nc\nd\nstatusdict /duplexer get exec\n"),
                join("*QVBookletFold\n\n\nstatusdict /duplexer get exec\n", kSecondPass,
                     kInstruction, "%%Page: 1\na\nb\nc\n", kProcedures));
}

TEST(ManualBookletRules, CopiesAreInTheHeader) {
  expectPrinted(twoPages(" com.apple.print.PrintSettings.PMCopies..n.=3"),
                join("@PJL SET COPIES = 3\n", twoPagesPrinted()));
}

// ---- captures, messages and records

TEST(ManualBookletCapture, HoldsTheReorderedJobAndTheOutput) {
  Job job = manualJob(join("@PJL SET COPIES = 2\n", kTop, kPage1, kPage2, "%%Trailer\n%%EOF\n"));
  const std::string out = join(plainHeader(), twoPagesPrinted(), trailer());
  expectRun(job.capture(), out, join(kCaptureOn, reorderingLine(job), kNoInstruction));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")),
            join("@PJL SET COPIES = 2\n", kTop, kFirstPass, kPage1, kSecondPass, kBlank, kPage2));
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps2")), out);
}

TEST(ManualBookletMessages, ComeInTheOrderOfTheRun) {
  Job job = twoPages();
  job.capture().log(1).env("DEVICE_URI", "pap://*/Office/LaserWriter");
  for (const char* name : {"qvn_ps", "qvn_ps2", "debug.log"}) {
    fs::create_directory(job.tmpFile(name));
  }
  const std::string line = reorderingLine(job);
  expectOutcome(job.run(), join(plainHeader(), twoPagesPrinted(), trailer()),
                join(line, "ERROR: Unable to open log file\n", line, kCaptureOn,
                     "ERROR: Cannot write incoming print data to a log file.\n",
                     "ERROR: Cannot write outgoing print data to a log file.\n", line, kAppleTalk,
                     kNoInstruction));
}

TEST(ManualBookletRecords, ShowEveryRearrangingAndEndWithAFailure) {
  const auto expectRecords = [](const Job& job, const std::string& rearranged,
                                const std::string& end, Where where = Where::here()) {
    expectSame(logAfterHeader(job),
               logBraces("isOnlyPrintInside") + logRecord("main", "Job is Booklet") +
                   logRecord("main", "value of verPrint (null)") +
                   logRecord("manualBookletOrder", "{") + rearranged +
                   logRecord("manualBookletOrder", "}") + end,
               "log", "the job", where);
  };
  const std::string rearranging = logBraces("reArrangedPages");
  const std::string loop =
      logRecord("main", "Initialized begin and end markers.") + logRecord("main", "}");
  expectRecords(manualJob(pages("123")), "", loop);
  expectRecords(manualJob(pages("123456")), rearranging + rearranging, loop);
  const Job job = twoPages();
  fs::create_directory(job.tmpFile("pageEven42"));
  expectRecords(job, "", "");
}

// ---- temporary files

TEST(ManualBookletFiles, OfAnEarlierRunAreReplacedAndOfOtherJobsLeftAlone) {
  const Job job = manualJob(join(kTop, pages("1234")));
  for (const char* name : kManualFiles) {
    writeFile(job.tmpFile(join(name, "42")), std::string(5000, 'o') + "\n");
    writeFile(job.tmpFile(join(name, "421")), name);
    writeFile(job.tmpFile(name), name);
  }
  expectPrinted(job, printed(kTop, pages("13"), kBlank, pages("42")));
  for (const char* name : kManualFiles) {
    EXPECT_EQ(readFile(job.tmpFile(join(name, "421"))), name);
    EXPECT_EQ(readFile(job.tmpFile(name)), name);
  }
}

}  // namespace
}  // namespace jobshaper::testing
