// Booklets on a printer without a duplex unit, as whole jobs: the two passes, the blank page
// between them, and the rules that the reordered job then goes through.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "tests/blackbox/manual_booklets.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kOnlyInside = " QVBookletCoverPage=true QVInsideFrontCover=true";

void expectNotReordered(Job& job, std::string_view input) {
  writeFile(job.tmpFile("pageEven42"), "of another program");
  job.input(std::string(input));
  expectOutcome(job.run(), join(plainHeader(), input, trailer()), tmpLines(job));
  EXPECT_EQ(readFile(job.tmpFile("pageEven42")), "of another program");
}

// ---- which jobs are reordered

class ManualBookletKeyword : public ::testing::TestWithParam<std::string_view> {};

TEST_P(ManualBookletKeyword, OfAnyValueReordersTheJob) {
  Job job = manualJob(join(kTop, kPage1, kPage2));
  expectPrinted(job.ppd(GetParam()),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
}

INSTANTIATE_TEST_SUITE_P(Lines, ManualBookletKeyword,
                         ::testing::Values("*QvnManualBooklet: True\n",
                                           "*QvnManualBooklet: False\n",
                                           "*QvnManualBooklet: \"True\"\n", "*qvnmanualbooklet:x",
                                           "*QvnManualBooklet: True\n*QvnManualBooklet: \n"));

class ManualBookletFold : public ::testing::TestWithParam<std::string_view> {};

TEST_P(ManualBookletFold, OfAnyKindReordersTheJob) {
  Job job = manualJob(join(kTop, kPage1, kPage2));
  expectPrinted(job.options(join("QVBookletFold=", GetParam())),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
}

INSTANTIATE_TEST_SUITE_P(Values, ManualBookletFold,
                         ::testing::Values("Booklet", "SaddleStitch", "BiFold",
                                           "DoNotFoldAndStaple", "TriFold", "False", "true"));

TEST(ManualBooklet, NeedsAFoldOption) {
  for (const char* options : {"", "QVBookletFold=false", "QVBookletFold=PrinterS"}) {
    Job job;
    expectNotReordered(job.ppd(kManualPpd).options(options), join(kTop, kPage1, kPage2, kTrailer));
  }
}

TEST(ManualBooklet, NeedsTheKeywordWithAValue) {
  for (const char* ppd : {"*QVManualBooklet: True\n", "*QvnManualBooklet: \n"}) {
    Job job;
    expectNotReordered(job.ppd(ppd).options("QVBookletFold=Booklet"),
                       join(kTop, kPage1, kPage2, kTrailer));
  }
}

TEST(ManualBooklet, IsMadeFromAFileTooAndTheFileStays) {
  Job job = manualJob("from standard input\n");
  job.fileWith(join(kTop, kPage1, kPage2));
  expectPrinted(job, join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
  EXPECT_EQ(readFile(job.argv().at(6)), join(kTop, kPage1, kPage2));
}

// ---- page order

struct Order {
  std::string_view in, odd, even;
};

void PrintTo(const Order& order, std::ostream* out) { *out << order.in; }

class ManualBookletOrder : public ::testing::TestWithParam<Order> {};

TEST_P(ManualBookletOrder, IsOddPagesThenABlankOneThenEvenPagesBackwards) {
  expectPrinted(manualJob(join(kTop, pages(GetParam().in), kTrailer)),
                join(kTop, kFirstPass, kInstruction, pages(GetParam().odd), kSecondPass, kBlank,
                     pages(GetParam().even)));
}

TEST_P(ManualBookletOrder, HasASecondBlankPageWhenOnlyTheCoversInsideIsPrinted) {
  expectPrinted(manualJob(join(kTop, pages(GetParam().in), kTrailer), kOnlyInside),
                join(kTop, kFirstPass, kInstruction, pages(GetParam().odd), kSecondPass, kBlank,
                     kBlank, pages(GetParam().even)));
}

INSTANTIATE_TEST_SUITE_P(Pages, ManualBookletOrder,
                         ::testing::Values(Order{"1", "1", ""}, Order{"12", "1", "2"},
                                           Order{"123", "13", "2"}, Order{"1234", "13", "42"},
                                           Order{"12345", "135", "42"},
                                           Order{"123456", "135", "642"},
                                           Order{"1234567", "1357", "642"},
                                           Order{"12345678", "1357", "8642"}));

TEST(ManualBookletOrderOf, JobWithoutPagesIsTheJobAndABlankPageWithoutPrefix) {
  expectPrintedWithoutPages(manualJob(join(kTop, kTrailer)), join(kTop, kSecondPass, kProcedures));
}

TEST(ManualBookletOrderOf, JobWithoutPagesCanHaveTwoBlankPages) {
  expectPrintedWithoutPages(manualJob(std::string(kTop), kOnlyInside),
                            join(kTop, kSecondPass, kProcedures, kProcedures));
}

TEST(ManualBookletOrderOf, EmptyJobIsABlankPage) {
  expectPrintedWithoutPages(manualJob(""), join(kSecondPass, kProcedures));
}

TEST(ManualBookletOrderOf, JobThatBeginsWithAPageHasNoHeader) {
  expectPrinted(manualJob(join(kPage1, kPage2)),
                join(kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
}

TEST(ManualBookletOrderOf, PagesIsTheirPlaceInTheJobNotTheirLabel) {
  expectPrinted(
      manualJob(join(kTop, kPage1, pages("4283"))),
      join(kTop, kFirstPass, kInstruction, kPage1, pages("23"), kSecondPass, kBlank, pages("84")));
}

TEST(ManualBookletOrderOf, LinesThatOnlyLookLikePagesStayWhereTheyAre) {
  const std::string_view others = "%%Pages: 2\n%%PageOrder: Ascend\n %%Page: 9 9\n%%page: 9 9\n";
  expectPrinted(manualJob(join(kTop, others, kPage1, others, "%%Page:2\nx\n", others)),
                join(kTop, others, kFirstPass, kInstruction, kPage1, others, kSecondPass, kBlank,
                     "%%Page:2\nx\n", others));
}

TEST(ManualBookletOrderOf, CoverPrintedOutsideHasOneBlankPage) {
  expectPrinted(manualJob(join(kTop, kPage1),
                          " QVBookletCoverPage=true QVInsideFrontCover=true "
                          "QVOutsideFrontCover=true"),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank));
}

// ---- blank page

class ManualBookletVersion
    : public ::testing::TestWithParam<std::pair<const char*, std::string_view>> {};

TEST_P(ManualBookletVersion, DecidesWhetherTheBlankPageRestores) {
  const auto& [version, restore] = GetParam();
  Job job = manualJob(std::string(kTop));
  job.version(version);
  expectPrintedWithoutPages(job, join(kTop, kSecondPass, kProcedures, restore));
}

TEST_P(ManualBookletVersion, DecidesWhetherBothBlankPagesRestore) {
  const auto& [version, restore] = GetParam();
  Job job = manualJob(std::string(kTop), kOnlyInside);
  job.version(version);
  expectPrintedWithoutPages(job,
                            join(kTop, kSecondPass, kProcedures, restore, kProcedures, restore));
}

INSTANTIATE_TEST_SUITE_P(Systems, ManualBookletVersion,
                         ::testing::Values(std::pair{"failed", kRestore},
                                           std::pair{"0x102f", kRestore},
                                           std::pair{"0x1049", kRestore},
                                           std::pair{"0x104f", kRestore},
                                           std::pair{"0x1050", std::string_view()},
                                           std::pair{"0x1051", std::string_view()},
                                           std::pair{"0x1450", std::string_view()}));

TEST(ManualBookletBlankPage, TakesLinesOfTheNextPageUntilThereAreFour) {
  expectPrinted(manualJob("%!PS\n%%Page: 1 1\na\n%%Page: 2 2\nb\nc\n"),
                join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1 1\na\n", kSecondPass,
                     "%%Page: 1 1\na\n%%Page: 2 2\nb\n", kProcedures, "%%Page: 2 2\nb\nc\n"));
}

TEST(ManualBookletBlankPage, TakesFourPagesOfOneLine) {
  expectPrinted(
      manualJob("%!PS\n%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n%%Page: 5\n"),
      join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1\n%%Page: 3\n%%Page: 5\n", kSecondPass,
           "%%Page: 1\n%%Page: 2\n%%Page: 3\n%%Page: 4\n", kProcedures, "%%Page: 4\n%%Page: 2\n"));
}

TEST(ManualBookletBlankPage, EndsWithTheJob) {
  expectPrinted(manualJob("%!PS\n%%Page: 1 1\na\nb\n"),
                join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1 1\na\nb\n", kSecondPass,
                     "%%Page: 1 1\na\nb\n", kProcedures));
}

TEST(ManualBookletBlankPage, TakesNoLineOfTheTrailer) {
  expectPrinted(manualJob("%!PS\n%%Page: 1 1\na\n%%Trailer\nb\nc\n"),
                join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1 1\na\n", kSecondPass,
                     "%%Page: 1 1\na\n", kProcedures));
}

// ---- trailer and last line

TEST(ManualBookletTrailer, IsLeftOutWithThePagesInIt) {
  expectPrinted(
      manualJob(join(kTop, kPage1, kPage2, "%%Trailer\n%%Page: 3 3\nx\n%%Trailer\n%%EOF\n")),
      join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
}

TEST(ManualBookletTrailer, MayComeBeforeAnyPage) {
  expectPrintedWithoutPages(manualJob(join(kTop, "%%Trailer\n", kPage1, kPage2)),
                            join(kTop, kSecondPass, kProcedures));
}

TEST(ManualBookletTrailer, IsKnownByTheBeginningOfItsLine) {
  const std::string_view others = "%%trailer\n %%Trailer\nx %%Trailer\n%Trailer\n";
  expectPrinted(manualJob(join(kTop, kPage1, others, "%%TrailerComments: x\nx\n")),
                join(kTop, kFirstPass, kInstruction, kPage1, others, kSecondPass, kBlank));
}

TEST(ManualBookletLastLine, WithoutALineEndIsLeftOut) {
  expectPrinted(manualJob(join(kTop, kPage1, "showpage")),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank));
}

TEST(ManualBookletLastLine, WithoutALineEndIsNoPage) {
  expectPrinted(manualJob(join(kTop, kPage1, "%%Page: 2 2")),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank));
  expectPrintedWithoutPages(manualJob("%%Page: 1 1"), join(kSecondPass, kProcedures));
}

// ---- line ends and overlong lines

TEST(ManualBookletLine, MayEndWithACarriageReturn) {
  expectPrinted(manualJob("%!PS\r%%Page: 1 1\ra\rb\rc\rd\r%%Page: 2 2\re\r%%Trailer\r%%EOF\r"),
                join("%!PS\r", kFirstPass, kInstruction, "%%Page: 1 1\ra\rb\rc\rd\r", kSecondPass,
                     "%%Page: 1 1\ra\rb\rc\r", kProcedures, "%%Page: 2 2\re\r"));
}

TEST(ManualBookletLine, WithCarriageReturnAndLineFeedCountsTwiceForTheBlankPage) {
  expectPrinted(
      manualJob("%!PS\r\n%%Page: 1 1\r\na\r\nb\r\n%%Page: 2 2\r\nc\r\n%%Trailer\r\n%%EOF\r\n"),
      join("%!PS\r\n", kFirstPass, kInstruction, "%%Page: 1 1\r\na\r\nb\r\n", kSecondPass,
           "%%Page: 1 1\r\na\r\n", kProcedures, "%%Page: 2 2\r\nc\r\n"));
}

class ManualBookletLongLine : public ::testing::TestWithParam<std::size_t> {};

TEST_P(ManualBookletLongLine, PassesWholeInHeaderAndPages) {
  const std::string line = std::string(GetParam(), 'x') + "\n";
  expectPrinted(
      manualJob(join(kTop, line, kPage1, line, kPage2, line)),
      join(kTop, line, kFirstPass, kInstruction, kPage1, line, kSecondPass, kBlank, kPage2, line));
}

INSTANTIATE_TEST_SUITE_P(Lengths, ManualBookletLongLine,
                         ::testing::Values(1022, 1023, 1024, 1025, 2047, 2048, 3000, 70000));

struct LongPrefix {
  std::size_t length;
  std::string_view rest;  // of the blank page's prefix, after the long line
};

void PrintTo(const LongPrefix& prefix, std::ostream* out) { *out << prefix.length; }

class ManualBookletLongPrefix : public ::testing::TestWithParam<LongPrefix> {};

TEST_P(ManualBookletLongPrefix, CountsEveryPieceOfALineAsOne) {
  const std::string start = "%%Page: 1 1\n" + std::string(GetParam().length, 'x') + "\n";
  expectPrinted(manualJob(join(kTop, start, "a\nb\nc\n")),
                join(kTop, kFirstPass, kInstruction, start, "a\nb\nc\n", kSecondPass, start,
                     GetParam().rest, kProcedures));
}

INSTANTIATE_TEST_SUITE_P(Lengths, ManualBookletLongPrefix,
                         ::testing::Values(LongPrefix{1022, "a\nb\n"}, LongPrefix{1023, "a\nb\n"},
                                           LongPrefix{1024, "a\n"}, LongPrefix{1025, "a\n"},
                                           LongPrefix{2047, "a\n"}, LongPrefix{2048, ""},
                                           LongPrefix{3000, ""}));

TEST(ManualBookletLine, IsCutInTheBlankPageAfterThreeFurtherPieces) {
  const std::string line(4000, 'x');
  expectPrinted(manualJob(join(kTop, "%%Page: 1 1\n", line, "\n")),
                join(kTop, kFirstPass, kInstruction, "%%Page: 1 1\n", line, "\n", kSecondPass,
                     "%%Page: 1 1\n", std::string(3072, 'x'), kProcedures));
}

TEST(ManualBookletLine, OfAPageMayBeginWhereAnOverlongLineIsCut) {
  const std::string line(1024, 'x');
  expectPrinted(manualJob(join(kTop, kPage1, line, kPage2)),
                join(kTop, kFirstPass, kInstruction, kPage1, line, kSecondPass, kBlank, kPage2));
}

TEST(ManualBookletLine, OfAPageIsNotSeenWithinAPiece) {
  const std::string line(1023, 'x');
  expectPrinted(manualJob(join(kTop, kPage1, line, kPage2)),
                join(kTop, kFirstPass, kInstruction, kPage1, line, kPage2, kSecondPass, kBlank));
}

struct LongLast {
  std::size_t length, kept;
};

void PrintTo(const LongLast& last, std::ostream* out) { *out << last.length; }

class ManualBookletLongLastLine : public ::testing::TestWithParam<LongLast> {};

TEST_P(ManualBookletLongLastLine, WithoutALineEndKeepsItsFullPieces) {
  expectPrinted(manualJob(join(kTop, kPage1, std::string(GetParam().length, 'x'))),
                join(kTop, kFirstPass, kInstruction, kPage1, std::string(GetParam().kept, 'x'),
                     kSecondPass, kBlank));
}

INSTANTIATE_TEST_SUITE_P(Lengths, ManualBookletLongLastLine,
                         ::testing::Values(LongLast{1023, 0}, LongLast{1024, 1024},
                                           LongLast{1025, 1024}, LongLast{2048, 2048},
                                           LongLast{3000, 2048}));

// ---- zero bytes

TEST(ManualBookletZeroByte, EndsTheTextOfItsLineInHeaderAndPages) {
  expectPrinted(manualJob(join(bytes("%!PS\0x\n%%EndSetup\n%%Page: 1 1\na\nb\nc\nd\0hidden\ne\n"),
                               bytes("%%Page: 2 2\n\0f\ng\0\0\nh\n"))),
                join("%!PS%%EndSetup\n", kFirstPass, kInstruction, "%%Page: 1 1\na\nb\nc\nde\n",
                     kSecondPass, "%%Page: 1 1\na\nb\nc\n", kProcedures, "%%Page: 2 2\ngh\n"));
}

TEST(ManualBookletZeroByte, IsKeptInTheBlankPage) {
  expectPrinted(manualJob(bytes("%!PS\n%%Page: 1 1\na\0b\n\0\nd\ne\n")),
                join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1 1\nad\ne\n", kSecondPass,
                     bytes("%%Page: 1 1\na\0b\n\0\nd\n"), kProcedures));
}

TEST(ManualBookletZeroByte, HidesNoPageOrTrailerBehindIt) {
  expectPrinted(manualJob(join(kTop, kPage1, bytes("\0%%Page: 9 9\n\0%%Trailer\n"), kPage2)),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kPage2));
}

TEST(ManualBookletZeroByte, MayFollowPageAndTrailer) {
  expectPrinted(manualJob(join(kTop, kPage1, bytes("%%Page:\0 2 2\nb\n%%Trailer\0\nx\n"))),
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, "%%Page:b\n"));
}

TEST(ManualBookletZeroByte, TakesTheLineEndBeforeThePassRequests) {
  expectPrinted(manualJob(bytes("%!PS\0\n%%Page: 1 1\na\nb\nc\nd\0\n")),
                join("%!PS", kFirstPass, kInstruction, "%%Page: 1 1\na\nb\nc\nd", kSecondPass,
                     "%%Page: 1 1\na\nb\nc\n", kProcedures));
}

// ---- eight-bit text

// The upper half of the job's character set, a row of sixteen codes a line, and what it is in
// the pages.
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
    "\u00c4\u00c5\u00c7\u00c9\u00d1\u00d6\u00dc\u00e1\u00e0\u00e2\u00e4\u00e3\u00e5\u00e7\u00e9"
    "\u00e8"
    "\u00ea\u00eb\u00ed\u00ec\u00ee\u00ef\u00f1\u00f3\u00f2\u00f4\u00f6\u00f5\u00fa\u00f9\u00fb"
    "\u00fc"
    "\u2020\u00b0\u00a2\u00a3\u00a7\u2022\u00b6\u00df\u00ae\u00a9\u2122\u00b4\u00a8\u2260\u00c6"
    "\u00d8"
    "\u221e\u00b1\u2264\u2265\u00a5\u00b5\u2202\u2211\u220f\u03c0\u222b\u00aa\u00ba\u03a9\u00e6"
    "\u00f8"
    "\u00bf\u00a1\u00ac\u221a\u0192\u2248\u2206\u00ab\u00bb\u2026\u00a0\u00c0\u00c3\u00d5\u0152"
    "\u0153"
    "\u2013\u2014\u201c\u201d\u2018\u2019\u00f7\u25ca\u00ff\u0178\u2044\u20ac\u2039\u203a\ufb01"
    "\ufb02"
    "\u2021\u00b7\u201a\u201e\u2030\u00c2\u00ca\u00c1\u00cb\u00c8\u00cd\u00ce\u00cf\u00cc\u00d3"
    "\u00d4"
    "\uf8ff\u00d2\u00da\u00db\u00d9\u0131\u02c6\u02dc\u00af\u02d8\u02d9\u02da\u00b8\u02dd\u02db"
    "\u02c7\n";

TEST(ManualBookletText, IsUtf8InHeaderAndPagesAndAsItCameInTheBlankPage) {
  expectPrinted(manualJob(join(kTop, kHighBytes, "%%Page: 1 1\n", kHighBytes, "a\nb\n",
                               "%%Page: 2 2\n", kHighBytes)),
                join(kTop, kHighText, kFirstPass, kInstruction, "%%Page: 1 1\n", kHighText,
                     "a\nb\n", kSecondPass, "%%Page: 1 1\n", kHighBytes, "a\nb\n", kProcedures,
                     "%%Page: 2 2\n", kHighText));
}

TEST(ManualBookletText, ThatIsUtf8AlreadyIsTakenByteByByte) {
  expectPrinted(manualJob(join(kTop, "% \u00e4\u20ac\n", kPage1)),
                join(kTop, "% \u221a\u00a7\u201a\u00c7\u00a8\n", kFirstPass, kInstruction, kPage1,
                     kSecondPass, kBlank));
}

TEST(ManualBookletText, OfAnOverlongLineGrowsInItsPieces) {
  std::string in, out;
  for (int i = 0; i < 1100; ++i) {
    in += "\xdb";
    out += "\xe2\x82\xac";
  }
  expectPrinted(manualJob(join(kTop, kPage1, in, "\n")),
                join(kTop, kFirstPass, kInstruction, kPage1, out, "\n", kSecondPass, kBlank));
}

// ---- rules of the line loop

TEST(ManualBookletRules, ApplyToTheReorderedJob) {
  const std::string input =
      "\x1b%-12345X@PJL JOB\n"
      "@PJL SET RESOLUTION = 600\n"
      "%!PS-Adobe-3.0\n"
      "%%BeginProlog\n"
      "%%EndProlog\n"
      "%%BeginSetup\n"
      "[{\n"
      "%%BeginFeature: *JobPatchFile 1\n"
      "first line of the patch\n"
      "second line of the patch\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "<< /PageSize [612 792] >> setpagedevice\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "[{\n"
      "%%BeginFeature: *QVBookletFold SaddleStitch\n"
      "<< /Fold 9 >> setpagedevice\n"
      "1 statusdict /duplexer get exec\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n"
      "%%EndSetup\n"
      "%%Page: 1 1\n"
      "@PJL COMMENT in page 1\n"
      "1a\n"
      "1b\n"
      "1c\n"
      "%%Page: 2 2\n"
      "%%BeginFeature: *InputSlot Tray2\n"
      "} stopped cleartomark % 2\n"
      "%%Page: 3 3\n"
      "%%BeginFeature: *InputSlot Tray3\n"
      "} stopped cleartomark % 3\n"
      "%%Trailer\n"
      "%%EOF\n";
  // The first paper source of the reordered job is that of page 3; its closing line stays with
  // the page size.
  const std::string size =
      "} stopped cleartomark % 3\n"
      "[{\n"
      "%%BeginFeature: *PageSize Letter\n"
      "<< /PageSize [612 792] >> setpagedevice\n"
      "%%EndFeature\n"
      "} stopped cleartomark\n";
  Job job = manualJob(input);
  expectPrinted(
      job.options("QVBookletFold=SaddleStitch"),
      join("%!PS-Adobe-3.0\n"
           "%%BeginProlog\n"
           "%%BeginFeature: *JobPatchFile 1\n"
           "%%Quorvan Macintosh PPD File 1\n"
           "%%EndFeature\n"
           "%%EndProlog\n"
           "%%BeginSetup\n"
           "[{\n"
           "} stopped cleartomark\n"
           "[{\n"
           "%%BeginFeature: *PageSize Letter\n"
           "<< /PageSize [612 792] >> setpagedevice\n"
           "%%EndFeature\n"
           "} stopped cleartomark\n"
           "[{\n"
           "%%BeginFeature: *QVBookletFold SaddleStitch\n"
           "\n"
           "<< /Fold 2 /Staple 4>> setpagedevice\n"
           "1 statusdict /duplexer get exec\n"
           "%%EndFeature\n"
           "} stopped cleartomark\n"
           "%%EndSetup\n",
           kFirstPass, kInstruction, "%%Page: 1 1\n1a\n1b\n1c\n%%Page: 3 3\n",
           "%%BeginFeature: *InputSlot Tray3\n", size, kSecondPass, "%%Page: 1 1\n1a\n1b\n",
           kProcedures, "%%Page: 2 2\n%%BeginFeature: *InputSlot Tray2\n", size));
}

TEST(ManualBookletRules, RemoveTheLinesThatFollowAPatchAfterTheReordering) {
  expectPrinted(
      manualJob("%!PS\n%%Page: 1 1\na\nb\nc\n*JobPatchFile\n%%Page: 2 2\nd\n%%Page: 3 3\ne\nf\n"),
      join("%!PS\n", kFirstPass, kInstruction, "%%Page: 1 1\na\nb\nc\nf\n", kSecondPass,
           "%%Page: 1 1\na\nb\nc\n", kProcedures, "%%Page: 2 2\nd\n"));
}

TEST(ManualBookletRules, FoldInTheBlankPageToo) {
  const std::string_view folded =
      "%%Page: 1 1\n*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\nstatusdict /duplexer get exec\n";
  Job job = manualJob("%%Page: 1 1\n*QVBookletFold\nold\nstatusdict /duplexer get exec\nrest\n");
  // The fourth line of the blank page's prefix ends the fold feature.
  expectPrinted(job.options("QVBookletFold=BiFold"),
                join(kFirstPass, kInstruction, folded, "rest\n", kSecondPass, folded, kProcedures));
}

TEST(ManualBookletRules, DropTheFirstPagesLineInAFoldFeatureAndTheInstructionPageWaits) {
  Job job = manualJob("*QVBookletFold\n%%Page: 1\na\nb\nc\nd\nstatusdict /duplexer get exec\n");
  expectPrinted(job, join("*QVBookletFold\n\n\nstatusdict /duplexer get exec\n", kSecondPass,
                          kInstruction, "%%Page: 1\na\nb\nc\n", kProcedures));
}

TEST(ManualBookletRules, NeverAskForACoverSheet) {
  Job job = manualJob(join(kTop, kPage1, kPage2));
  writeFile(job.tmpFile("pages"), "2");
  job.options(join("QVBookletFold=Booklet QVBookletCoverSource=Tray1 QVBookletCoverType=Card",
                   kOnlyInside, " QVBookletPageCountFilename='", job.tmpFile("pages"), "'"));
  expectPrinted(job,
                join(kTop, kFirstPass, kInstruction, kPage1, kSecondPass, kBlank, kBlank, kPage2));
}

}  // namespace
}  // namespace jobshaper::testing
