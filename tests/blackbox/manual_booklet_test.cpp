// Booklets on a printer without a duplex unit, as whole jobs: the two passes, the blank page
// between them, and the rules that the reordered job then goes through.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kOnlyInside = " QVBookletCoverPage=true QVInsideFrontCover=true";

// A job whose first page is `odd` and whose second pass, after the blank page, is `even`.
std::string printed(std::string_view top, std::string_view odd, std::string_view blank,
                    std::string_view even) {
  return join(top, kFirstPass, kInstruction, odd, kSecondPass, blank, even);
}

// Jobs that begin with kTop and whose blank page is that of kPage1.
struct PagesRow {
  std::string pages, odd, even;
};
void expectPages(const std::vector<PagesRow>& rows, Where where = Where::here()) {
  for (const auto& [in, odd, even] : rows) {
    expectPrinted(manualJob(join(kTop, in)), printed(kTop, odd, kBlank, even), where);
  }
}

// ---- which jobs are reordered

TEST(ManualBooklet, KeywordOrFoldOfAnyValueReordersTheJob) {
  const std::string body = printed(kTop, kPage1, kBlank, kPage2);
  for (const char* ppd :
       {"*QvnManualBooklet: True\n", "*QvnManualBooklet: False\n", "*QvnManualBooklet: \"True\"\n",
        "*qvnmanualbooklet:x", "*QvnManualBooklet: True\n*QvnManualBooklet: \n"}) {
    expectPrinted(manualJob(join(kTop, kPage1, kPage2)).ppd(ppd), body);
  }
  for (const char* fold :
       {"Booklet", "SaddleStitch", "BiFold", "DoNotFoldAndStaple", "TriFold", "False", "true"}) {
    expectPrinted(manualJob(join(kTop, kPage1, kPage2)).options(join("QVBookletFold=", fold)),
                  body);
  }
}

TEST(ManualBooklet, NeedsAFoldOptionAndTheKeywordWithAValue) {
  const std::pair<std::string_view, const char*> rows[] = {
      {kManualPpd, ""},
      {kManualPpd, "QVBookletFold=false"},
      {kManualPpd, "QVBookletFold=PrinterS"},
      {"*QVManualBooklet: True\n", "QVBookletFold=Booklet"},
      {"*QvnManualBooklet: \n", "QVBookletFold=Booklet"}};
  for (const auto& [ppd, options] : rows) {
    const std::string input = join(kTop, kPage1, kPage2, kTrailer);
    Job job;
    writeFile(job.tmpFile("pageEven42"), "of another program");
    expectBody(job.ppd(ppd).options(options).input(input), input);
    EXPECT_EQ(readFile(job.tmpFile("pageEven42")), "of another program");
  }
}

TEST(ManualBooklet, IsMadeFromAFileTooAndTheFileStays) {
  Job job = manualJob("from standard input\n");
  expectPrinted(job.fileWith(join(kTop, kPage1, kPage2)), printed(kTop, kPage1, kBlank, kPage2));
  EXPECT_EQ(readFile(job.argv().at(6)), join(kTop, kPage1, kPage2));
}

// ---- page order

TEST(ManualBookletOrder, IsOddPagesThenABlankOneThenEvenPagesBackwards) {
  const PagesRow rows[] = {{"1", "1", ""},
                           {"12", "1", "2"},
                           {"123", "13", "2"},
                           {"1234", "13", "42"},
                           {"12345", "135", "42"},
                           {"123456", "135", "642"},
                           {"1234567", "1357", "642"},
                           {"12345678", "1357", "8642"},
                           // The labels of the pages do not matter.
                           {"14283", "123", "84"}};
  for (const auto& [in, odd, even] : rows) {
    const std::string input = join(kTop, pages(in), kTrailer);
    expectPrinted(manualJob(input), printed(kTop, pages(odd), kBlank, pages(even)));
    // With print on the cover's inside only, there is a second blank page.
    expectPrinted(manualJob(input, kOnlyInside),
                  printed(kTop, pages(odd), join(kBlank, kBlank), pages(even)));
  }
  expectPrinted(manualJob(join(kTop, kPage1), join(kOnlyInside, " QVOutsideFrontCover=true")),
                printed(kTop, kPage1, kBlank, ""));
  expectPrinted(manualJob(join(kPage1, kPage2)), printed("", kPage1, kBlank, kPage2));
}

TEST(ManualBookletOrder, JobWithoutPagesIsFollowedByABlankPageWithoutItsStart) {
  expectPrintedWithoutPages(manualJob(join(kTop, kTrailer)), join(kTop, kSecondPass, kProcedures));
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

// ---- blank page

TEST(ManualBookletBlankPage, RestoresBefore1050) {
  for (const char* version :
       {"failed", "0x102f", "0x1049", "0x104f", "0x1050", "0x1051", "0x1450"}) {
    const bool restores = std::string_view(version) < "0x1050" || version[0] == 'f';
    const std::string blank = join(kProcedures, restores ? kRestore : "");
    expectPrintedWithoutPages(manualJob(std::string(kTop)).version(version),
                              join(kTop, kSecondPass, blank));
    expectPrintedWithoutPages(manualJob(std::string(kTop), kOnlyInside).version(version),
                              join(kTop, kSecondPass, blank, blank));
  }
}

TEST(ManualBookletBlankPage, BeginsWithTheFirstFourLinesFromTheFirstPageOn) {
  const auto expectStart = [](const std::string& job, const std::string& odd,
                              const std::string& start, const std::string& even,
                              Where where = Where::here()) {
    expectPrinted(manualJob("%!PS\n" + job), printed("%!PS\n", odd, join(start, kProcedures), even),
                  where);
  };
  const std::string page1 = "%%Page: 1 1\na\n";
  const std::string page2 = "%%Page: 2 2\nb\nc\n";
  expectStart(page1 + page2, page1, page1 + "%%Page: 2 2\nb\n", page2);
  expectStart("%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n%%Page: 5\n",
              "%%Page: 1\n%%Page: 3\n%%Page: 5\n", "%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n",
              "%%Page: 4\n%%Page: 2\n");
  // It may end with the job, and contains nothing of the trailer.
  expectStart(page1 + "b\n", page1 + "b\n", page1 + "b\n", "");
  expectStart(page1 + "%%Trailer\nb\nc\n", page1, page1, "");
}

// ---- trailer and last line

TEST(ManualBookletTrailer, IsLeftOutWithThePagesInIt) {
  const std::string others = "%%trailer\n %%Trailer\nx %%Trailer\n%Trailer\n";
  expectPages({{join(kPage1, kPage2, "%%Trailer\n%%Page: 3 3\nx\n%%Trailer\n%%EOF\n"),
                std::string(kPage1), std::string(kPage2)},
               {join(kPage1, others, "%%TrailerComments: x\nx\n"), join(kPage1, others), ""}});
  expectPrintedWithoutPages(manualJob(join(kTop, "%%Trailer\n", kPage1, kPage2)),
                            join(kTop, kSecondPass, kProcedures));
}

TEST(ManualBookletLastLine, WithoutALineEndIsLeftOutUpToItsFullPieces) {
  const std::string page(kPage1);
  expectPages({{page + "showpage", page, ""}, {page + "%%Page: 2 2", page, ""}});
  const std::size_t rows[][2] = {{1023, 0}, {1024, 1024}, {1025, 1024}, {2048, 2048}, {3000, 2048}};
  for (const auto& [length, kept] : rows) {
    expectPages({{page + std::string(length, 'x'), page + std::string(kept, 'x'), ""}});
  }
}

// ---- line ends and overlong lines

TEST(ManualBookletLine, MayEndWithACarriageReturnAndOneWithNewlineIsTwoLines) {
  expectPrinted(manualJob("%!PS\r%%Page: 1 1\ra\rb\rc\rd\r%%Page: 2 2\re\r%%Trailer\r%%EOF\r"),
                printed("%!PS\r", "%%Page: 1 1\ra\rb\rc\rd\r",
                        join("%%Page: 1 1\ra\rb\rc\r", kProcedures), "%%Page: 2 2\re\r"));
  expectPrinted(
      manualJob("%!PS\r\n%%Page: 1 1\r\na\r\nb\r\n%%Page: 2 2\r\nc\r\n%%Trailer\r\n%%EOF\r\n"),
      printed("%!PS\r\n", "%%Page: 1 1\r\na\r\nb\r\n", join("%%Page: 1 1\r\na\r\n", kProcedures),
              "%%Page: 2 2\r\nc\r\n"));
}

TEST(ManualBookletLongLine, PassesWholeInHeaderAndPages) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 2047U, 2048U, 3000U, 70000U}) {
    const std::string line = std::string(length, 'x') + "\n";
    expectPrinted(manualJob(join(kTop, line, kPage1, line, kPage2, line)),
                  printed(join(kTop, line), join(kPage1, line), kBlank, join(kPage2, line)));
  }
}

TEST(ManualBookletLine, EveryPieceOfALineCountsForTheBlankPage) {
  const std::pair<std::size_t, std::string> rows[] = {
      {1022, "a\nb\n"}, {1023, "a\nb\n"}, {1024, "a\n"}, {1025, "a\n"},
      {2047, "a\n"},    {2048, ""},       {3000, ""}};
  for (const auto& [length, rest] : rows) {
    const std::string start = "%%Page: 1 1\n" + std::string(length, 'x') + "\n";
    expectPrinted(manualJob(join(kTop, start, "a\nb\nc\n")),
                  printed(kTop, start + "a\nb\nc\n", join(start, rest, kProcedures), ""));
  }
  const std::string line(4000, 'x');
  expectPrinted(manualJob(join(kTop, "%%Page: 1 1\n", line, "\n")),
                printed(kTop, "%%Page: 1 1\n" + line + "\n",
                        join("%%Page: 1 1\n", std::string(3072, 'x'), kProcedures), ""));
}

TEST(ManualBookletLine, PageMayBeginWhereAnOverlongLineIsSplit) {
  const std::string split = join(kPage1, std::string(1024, 'x'));
  const std::string within = join(kPage1, std::string(1023, 'x'), kPage2);
  expectPages({{join(split, kPage2), split, std::string(kPage2)}, {within, within, ""}});
}

// ---- zero bytes

TEST(ManualBookletZeroByte, EndsTheTextOfItsLineExceptInTheBlankPage) {
  expectPrinted(manualJob(bytes("%!PS\0x\n%%EndSetup\n%%Page: 1 1\na\nb\nc\nd\0hidden\ne\n"
                                "%%Page: 2 2\n\0f\ng\0\0\nh\n")),
                printed("%!PS%%EndSetup\n", "%%Page: 1 1\na\nb\nc\nde\n",
                        join("%%Page: 1 1\na\nb\nc\n", kProcedures), "%%Page: 2 2\ngh\n"));
  expectPrinted(manualJob(bytes("%!PS\n%%Page: 1 1\na\0b\n\0\nd\ne\n")),
                printed("%!PS\n", "%%Page: 1 1\nad\ne\n",
                        join(bytes("%%Page: 1 1\na\0b\n\0\nd\n"), kProcedures), ""));
  expectPages({{join(kPage1, bytes("\0%%Page: 9 9\n\0%%Trailer\n"), kPage2), std::string(kPage1),
                std::string(kPage2)},
               {join(kPage1, bytes("%%Page:\0 2 2\nb\n%%Trailer\0\nx\n")), std::string(kPage1),
                "%%Page:b\n"}});
  // The line end before the requests of the passes is lost too.
  expectPrinted(
      manualJob(bytes("%!PS\0\n%%Page: 1 1\na\nb\nc\nd\0\n")),
      printed("%!PS", "%%Page: 1 1\na\nb\nc\nd", join("%%Page: 1 1\na\nb\nc\n", kProcedures), ""));
}

// ---- eight-bit text

// The upper half of the job's character set, and what it is in the pages.
constexpr std::string_view kHighBytes =
    "\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8a\x8b\x8c\x8d\x8e\x8f"
    "\x90\x91\x92\x93\x94\x95\x96\x97\x98\x99\x9a\x9b\x9c\x9d\x9e\x9f"
    "\xa0\xa1\xa2\xa3\xa4\xa5\xa6\xa7\xa8\xa9\xaa\xab\xac\xad\xae\xaf"
    "\xb0\xb1\xb2\xb3\xb4\xb5\xb6\xb7\xb8\xb9\xba\xbb\xbc\xbd\xbe\xbf"
    "\xc0\xc1\xc2\xc3\xc4\xc5\xc6\xc7\xc8\xc9\xca\xcb\xcc\xcd\xce\xcf"
    "\xd0\xd1\xd2\xd3\xd4\xd5\xd6\xd7\xd8\xd9\xda\xdb\xdc\xdd\xde\xdf"
    "\xe0\xe1\xe2\xe3\xe4\xe5\xe6\xe7\xe8\xe9\xea\xeb\xec\xed\xee\xef"
    "\xf0\xf1\xf2\xf3\xf4\xf5\xf6\xf7\xf8\xf9\xfa\xfb\xfc\xfd\xfe\xff\n";
constexpr std::string_view kHighText =
    "ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥\u00b5∂\u2211\u220fπ∫ªº\u03a9æø"
    "¿¡¬√ƒ≈\u2206«»…\u00a0ÀÃÕŒœ\u2013\u2014“”‘’÷◊ÿŸ\u2044€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uf8ffÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ"
    "\n";

TEST(ManualBookletText, IsUtf8InHeaderAndPagesAndUnchangedInTheBlankPage) {
  expectPrinted(manualJob(join(kTop, kHighBytes, "%%Page: 1 1\n", kHighBytes, "a\nb\n",
                               "%%Page: 2 2\n", kHighBytes)),
                printed(join(kTop, kHighText), join("%%Page: 1 1\n", kHighText, "a\nb\n"),
                        join("%%Page: 1 1\n", kHighBytes, "a\nb\n", kProcedures),
                        join("%%Page: 2 2\n", kHighText)));
  // Text in UTF-8 is converted byte by byte.
  expectPrinted(manualJob(join(kTop, "% \u00e4\u20ac\n", kPage1)),
                printed(join(kTop, "% √§‚Ç¨\n"), kPage1, kBlank, ""));
  // An overlong line becomes longer.
  std::string in, out;
  for (int i = 0; i < 1100; ++i) {
    in += "\xdb";
    out += "\xe2\x82\xac";
  }
  expectPages({{join(kPage1, in, "\n"), join(kPage1, out, "\n"), ""}});
}

// ---- rules of the line loop

// The first paper source of the reordered job is that of page 3; its closing line stays with the
// page size.
TEST(ManualBookletRules, ApplyToTheReorderedJob) {
  const std::string size =
      "[{\n%%BeginFeature: *PageSize Letter\n<< /PageSize [612 792] >> setpagedevice\n"
      "%%EndFeature\n} stopped cleartomark\n";
  const std::string setup =
      "1 statusdict /duplexer get exec\n%%EndFeature\n} stopped cleartomark\n%%EndSetup\n";
  const std::string fold = "[{\n%%BeginFeature: *QVBookletFold SaddleStitch\n";
  const std::string slot2 = "%%Page: 2 2\n%%BeginFeature: *InputSlot Tray2\n";
  const std::string slot3 = "%%Page: 3 3\n%%BeginFeature: *InputSlot Tray3\n";
  Job job = manualJob(
      "\x1b%-12345X@PJL JOB\n@PJL SET RESOLUTION = 600\n%!PS-Adobe-3.0\n%%BeginProlog\n"
      "%%EndProlog\n%%BeginSetup\n[{\n%%BeginFeature: *JobPatchFile 1\nfirst line of the patch\n"
      "second line of the patch\n} stopped cleartomark\n" +
      size + fold + "<< /Fold 9 >> setpagedevice\n" + setup +
      "%%Page: 1 1\n@PJL COMMENT in page 1\n1a\n1b\n1c\n" + slot2 + "} stopped cleartomark % 2\n" +
      slot3 + "} stopped cleartomark % 3\n%%Trailer\n%%EOF\n");
  expectPrinted(
      job.options("QVBookletFold=SaddleStitch"),
      printed("%!PS-Adobe-3.0\n%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n"
              "%%Quorvan Macintosh PPD File 1\n%%EndFeature\n%%EndProlog\n%%BeginSetup\n[{\n"
              "} stopped cleartomark\n" +
                  size + fold + "\n<< /Fold 2 /Staple 4>> setpagedevice\n" + setup,
              "%%Page: 1 1\n1a\n1b\n1c\n" + slot3 + "} stopped cleartomark % 3\n" + size,
              join("%%Page: 1 1\n1a\n1b\n", kProcedures),
              slot2 + "} stopped cleartomark % 3\n" + size));
}

TEST(ManualBookletRules, RemoveTheTwoLinesAfterAPatchAfterTheReordering) {
  expectPrinted(
      manualJob("%!PS\n%%Page: 1 1\na\nb\nc\n*JobPatchFile\n%%Page: 2 2\nd\n%%Page: 3 3\ne\nf\n"),
      printed("%!PS\n", "%%Page: 1 1\na\nb\nc\nf\n", join("%%Page: 1 1\na\nb\nc\n", kProcedures),
              "%%Page: 2 2\nd\n"));
}

TEST(ManualBookletRules, FoldCommandIsInTheBlankPageToo) {
  const std::string folded =
      "%%Page: 1 1\n*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\nstatusdict /duplexer get exec\n";
  Job job = manualJob("%%Page: 1 1\n*QVBookletFold\nold\nstatusdict /duplexer get exec\nrest\n");
  // The fourth line of the blank page ends the fold feature.
  expectPrinted(job.options("QVBookletFold=BiFold"),
                printed("", folded + "rest\n", join(folded, kProcedures), ""));
}

TEST(ManualBookletRules, InstructionPageWaitsIfTheFoldFeatureDropsTheFirstPageLine) {
  expectPrinted(manualJob("*QVBookletFold\n%%Page: 1\na\nb\nc\nd\nstatusdict /duplexer get exec\n"),
                join("*QVBookletFold\n\n\nstatusdict /duplexer get exec\n", kSecondPass,
                     kInstruction, "%%Page: 1\na\nb\nc\n", kProcedures));
}

TEST(ManualBookletRules, CoverSheetIsNeverRequested) {
  Job job = manualJob(join(kTop, kPage1, kPage2));
  writeFile(job.tmpFile("pages"), "2");
  job.options(join("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletCoverType=Card",
                   kOnlyInside, " QVBookletPageCountFilename='", job.tmpFile("pages"), "'"));
  expectPrinted(job, printed(kTop, kPage1, join(kBlank, kBlank), kPage2));
}

}  // namespace
}  // namespace jobshaper::testing
