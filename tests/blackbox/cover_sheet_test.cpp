// The cover sheet of a booklet made by the printer: at which page it is requested, from
// which tray and on which media, and when the cover's outside stays blank.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

constexpr std::string_view kTray1 = "/ManualFeed false /MediaPosition 0 ";

// ---- which covers have print on the inside only

// Two pages, the cover sheet from tray 1: it is requested at page 1 or at page 2.
void expectOnlyInside(bool onlyInside, const std::string& start,
                      const std::vector<std::string>& rows, Where where = Where::here()) {
  const std::string body = onlyInside
                               ? "%%Page: 1 1\n" + kSimplex + request("%%Page: 2 2\n", kTray1)
                               : request("%%Page: 1 1\n", kTray1) + "%%Page: 2 2\n";
  for (const std::string& options : rows) {
    const ::testing::ScopedTrace trace(where.file, where.line, start + options);
    expectFolded(coverJob("4", "QVBookletCoverSource=Tray1 " + start + options,
                          "%%Page: 1 1\n%%Page: 2 2\n"),
                 body, where);
  }
}

TEST(OnlyInside, NeedsACoverPageThatIsTrueInAnyCase) {
  const std::string inside = "QVInsideFrontCover=true ";
  expectOnlyInside(true, inside + "QVBookletCoverPage",
                   {"=true", "=True", "=TRUE", "=tRuE", "=\"true\"", "='TRUE'", ""});
  expectOnlyInside(false, inside + "QVBookletCoverPage=",
                   {"false", "False", "yes", "1", "", "PrinterS", "tru", "true1", "true<20>",
                    "<20>true", "\"\""});
  expectOnlyInside(false, inside, {"", "qvBookletCoverPage=true"});
}

TEST(OnlyInside, IsDecidedByTheFourFacesOfTheCover) {
  const std::string cover = "QVBookletCoverPage=true ";
  const std::string no = "QVOutsideFrontCover=False QVOutsideBackCover=False ";
  expectOnlyInside(
      true, cover,
      {"QVInsideFrontCover=true", "QVInsideBackCover=true",
       no + "QVInsideBackCover=true QVInsideFrontCover=False",
       no + "QVInsideBackCover=False QVInsideFrontCover=true", "QVOutsideFrontCover=TRUE",
       // A face that is not exactly false is set.
       "QVInsideFrontCover=no", "QVInsideFrontCover=", "QVInsideBackCover=0",
       "QVOutsideBackCover=False<20>", "QVOutsideFrontCover=PrinterS",
       // It is printed only if it is exactly true.
       "QVOutsideFrontCover=True", "QVOutsideFrontCover=", "QVOutsideFrontCover=yes",
       "QVOutsideFrontCover=true<20>", "QVOutsideBackCover=True",
       "QVOutsideBackCover=TRUE QVOutsideFrontCover=TRUE",
       "QVInsideBackCover=true QVInsideFrontCover=True",
       "QVInsideBackCover=True QVInsideFrontCover=true",
       "QVInsideBackCover=TRUE QVInsideFrontCover=TRUE",
       "QVInsideBackCover=true QVInsideFrontCover="});
  expectOnlyInside(false, cover,
                   {"", "QVInsideBackCover=true QVInsideFrontCover=true",
                    no + "QVInsideBackCover=true QVInsideFrontCover=true",
                    "QVOutsideFrontCover=true QVInsideFrontCover=true",
                    "QVOutsideBackCover=true QVInsideBackCover=true", "QVOutsideFrontCover=true",
                    "QVOutsideBackCover=true", "QVOutsideFrontCover=true QVOutsideBackCover=true",
                    "QVOutsideFrontCover=False QVOutsideBackCover=true",
                    "QVOutsideFrontCover=true QVOutsideBackCover=False",
                    "QVOutsideFrontCover=true QVOutsideBackCover=true QVInsideBackCover=true "
                    "QVInsideFrontCover=true",
                    "QVOutsideFrontCover=true QVOutsideBackCover=False QVInsideBackCover=False "
                    "QVInsideFrontCover=True",
                    // All faces that are given are false, in any case.
                    "QVOutsideFrontCover=False", "noQVOutsideFrontCover noQVInsideBackCover",
                    "QVOutsideFrontCover=FALSE QVOutsideBackCover=false QVInsideBackCover=fAlSe "
                    "QVInsideFrontCover=False",
                    "QVInsideFrontCover=FALSE", "QVOutsideFrontCover",
                    "QVOutsideBackCover=true QVOutsideFrontCover=TRUE",
                    "QVOutsideBackCover=TRUE QVOutsideFrontCover=true",
                    "QVInsideBackCover=true QVInsideFrontCover=true QVOutsideFrontCover=TRUE"});
}

// ---- tray and media

// Both kinds of cover request the sheet with these parameters.
void expectParameters(const std::string& options, const std::string& parameters,
                      Where where = Where::here()) {
  expectFolded(coverJob("4", options, pages(2)), pages(2, 1, request("%%Page: 1 1\n", parameters)),
               where);
}

TEST(CoverSource, EveryTrayHasItsPosition) {
  const std::string position = "/ManualFeed false /MediaPosition ";
  const std::string rows[][2] = {{"Tray1", position + "0 "},
                                 {"Tray2", position + "1 "},
                                 {"EnvDrawr2", position + "1 "},
                                 {"Tray3", position + "3 "},
                                 {"EnvDrawr3", position + "3 "},
                                 {"Tray4", position + "5 "},
                                 {"EnvDrawr4", position + "5 "},
                                 {"Tray5", position + "6 "},
                                 {"PrinterS", ""},
                                 {"MultipurposeFeeder", position + "4 "},
                                 {"ManualPaper", "/ManualFeed true "}};
  for (const auto& [source, parameters] : rows) {
    expectParameters("QVBookletCoverType=Plain QVBookletCoverSource=" + source,
                     parameters + "/MediaType (Plain)");
  }
  // The printer chooses any other.
  expectParameters("QVBookletCoverType=Plain", "/MediaType (Plain)");
  for (const std::string source :
       {"tray1", "TRAY1", "Tray", "Tray6", "Tray10", "Tray0", "Tray<20>1", "0", "7", "", "Printers",
        "ManualEnv", "EnvFeeder", "EnvDrawr1", "EnvDrawr5", "Tray1<20>", "manualpaper", "false"}) {
    expectParameters("QVBookletCoverType=Plain QVBookletCoverSource=" + source,
                     "/MediaType (Plain)");
  }
}

TEST(CoverMedia, EveryTypeHasItsName) {
  const std::string rows[][2] = {{"Plain", "Plain"},
                                 {"Card", "Card Stock"},
                                 {"Bond", "Bond"},
                                 {"Letterhead", "Letterhead"},
                                 {"Preprint", "Preprinted"},
                                 {"Colored", "Colored Paper"},
                                 {"Light", "Light"},
                                 {"Glossy", "Glossy Paper"},
                                 {"Heavy", "Heavy"},
                                 {"HeavyGlossy", "Heavy Glossy"},
                                 {"Labels", "Labels"},
                                 {"Vinyl", "Vinyl Labels"},
                                 {"Rough", "Rough"},
                                 {"Recycled", "Recycled"},
                                 {"Custom1", "Custom Type 1"},
                                 {"Custom2", "Custom Type 2"},
                                 {"Custom3", "Custom Type 3"},
                                 {"Custom4", "Custom Type 4"},
                                 {"Custom5", "Custom Type 5"},
                                 {"Custom6", "Custom Type 6"}};
  for (const auto& [type, name] : rows) {
    expectParameters("QVBookletCoverType=" + type, "/MediaType (" + name + ")");
  }
  // With any other value, the tray does not change.
  const std::string tray3 = "/ManualFeed false /MediaPosition 3 ";
  expectParameters("QVBookletCoverSource=Tray3", tray3);
  for (const std::string type :
       {"Printers", "PrinterS", "printers", "plain", "PLAIN", "Card<20>Stock", "CardStock",
        "Preprinted", "", "Custom", "Custom0", "Custom7", "Transparency", "Plain<20>", "VinylPaper",
        "false"}) {
    expectParameters("QVBookletCoverSource=Tray3 QVBookletCoverType=" + type, tray3);
  }
}

// ---- the kinds of cover

// At the middle page with print on the inside only, and otherwise one page earlier.
TEST(Cover, IsRequestedWithTrayAndMediaIfEitherIsKnown) {
  const std::string rows[][2] = {
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Card",
       "/ManualFeed false /MediaPosition 1 /MediaType (Card Stock)"},
      {"QVBookletCoverSource=ManualPaper QVBookletCoverType=Card",
       "/ManualFeed true /MediaType (Card Stock)"},
      {"QVBookletCoverSource=PrinterS QVBookletCoverType=Card", "/MediaType (Card Stock)"},
      {"QVBookletCoverSource=Tray2 QVBookletCoverType=Printers",
       "/ManualFeed false /MediaPosition 1 "},
      {"QVBookletCoverSource=ManualPaper", "/ManualFeed true "}};
  for (const auto& [options, parameters] : rows) {
    expectFolded(coverJob("16", options + kOnlyInside, pages(10)),
                 pages(10, 8, kSimplex + request("%%Page: 8 8\n", parameters)));
    expectFolded(coverJob("16", options, pages(10)),
                 pages(10, 7, request("%%Page: 7 7\n", parameters)));
    expectFolded(coverJob("16", options + kOutside, pages(10)),
                 pages(10, 7, request("%%Page: 7 7\n", parameters)));
  }
  for (const std::string options :
       {"", "QVBookletCoverSource=PrinterS QVBookletCoverType=Printers"}) {
    expectFolded(coverJob("16", options + kOnlyInside, pages(10)),
                 pages(10, 8, kSimplex + "%%Page: 8 8\n\n"));
    expectFolded(coverJob("16", options, pages(10)), pages(10));
    expectFolded(coverJob("16", options + kOutside, pages(10)), pages(10));
  }
}

TEST(Cover, IsRequestedOnlyInBookletsOfThePrinter) {
  for (const std::string fold :
       {"Booklet", "SaddleStitch", "DoNotFoldAndStaple", "TriFold", "False"}) {
    expectFoldedEverywhere(
        coverJob("4", "QVBookletCoverSource=Tray5 QVBookletFold=" + fold, "%%Page: 1 1\n"),
        request("%%Page: 1 1\n", "/ManualFeed false /MediaPosition 6 "));
  }
  for (const std::string fold : {"false", "PrinterS"}) {
    for (const std::string& cover : {kOnlyInside, kOutside}) {
      expectFolded(
          coverJob("4", "QVBookletCoverSource=Tray5 QVBookletFold=" + fold + cover, pages(3)),
          pages(3));
    }
  }
}

// ---- the page line

// The cover sheet from tray 1 at page 2 (only inside).
Job loopJob(std::string input, const std::string& more = "") {
  return coverJob("4", "QVBookletCoverSource=Tray1" + kOnlyInside + more, std::move(input));
}

const std::string kRequest = request("", kTray1);

void expectPages(const std::vector<JobRow>& rows, Where where = Where::here()) {
  for (const auto& [input, body] : rows) expectFolded(loopJob(input), body, where);
}

TEST(CoverPageLine, KeepsItsLineEnd) {
  expectPages(
      {{"%%Page: 1 1\r%%Page: 2 2\rx\r",
        "%%Page: 1 1\r" + kSimplex + "%%Page: 2 2\r" + kRequest + "x\r"},
       {"%%Page: 1 1\r\n%%Page: 2 2\r\nx\r\n",
        "%%Page: 1 1\r\n" + kSimplex + "%%Page: 2 2\r" + kRequest + "\nx\r\n"},
       {"%%Page: 1 1\n%%Page: 2 2", "%%Page: 1 1\n" + kSimplex + "%%Page: 2 2" + kRequest}});
  for (const std::string rest : {"\rx", "\r\nx", ""}) {
    const std::string end = rest.substr(0, 1);
    const std::string after = rest.empty() ? "" : rest.substr(1);
    expectFolded(coverJob("2", kOnlyInside, "%%Page: 1 1" + rest),
                 kSimplex + "%%Page: 1 1" + end + "\n" + after);
    expectFolded(coverJob("4", "QVBookletCoverSource=Tray1", "%%Page: 1 1" + rest),
                 "%%Page: 1 1" + end + kRequest + after);
  }
}

TEST(CoverPageLine, IsCountedByItsFirstCharactersAlone) {
  const std::string others =
      "%%Page:\n %%Page: no\n%%page: no\n%%Pages: no\n%Page: no\n%%PageTrailer\n%%%Page: no\n";
  const std::string piece(1024, 'x');
  const std::string zeros = bytes("%%Page: \0\n%%Page: 1 1\n%%Page: 2\0\n");
  expectPages({{others + "%%Page:9 9 \x8a %@ %d %s %n\n%%Page: 3\n",
                others + kSimplex + "%%Page:9 9 \x8a %@ %d %s %n\n" + kRequest + "%%Page: 3\n"},
               {"%%Page: 1\n" + piece + "%%Page: cut\n%%Page: 3\n",
                "%%Page: 1\n" + piece + kSimplex + "%%Page: cut\n" + kRequest + "%%Page: 3\n"},
               {zeros + "%%Page: 2 2\n", zeros + kSimplex + "%%Page: 2 2\n" + kRequest},
               // The markers are the plain ones in every job.
               {"sfcl{\n}efcl\n%%Page: 1 1\n%%Page: 2 2\n",
                "sfcl{\n}efcl\n%%Page: 1 1\n" + kSimplex + "%%Page: 2 2\n" + kRequest}});
}

TEST(CoverPageLine, IsNotCountedIfAnotherRuleRemovesIt) {
  expectPages({{"%%Page: 1 1\n*QVBookletFold\n%%Page: gone\n%%Page: gone\n"
                "statusdict /duplexer get exec\n%%Page: 2 2\n",
                "%%Page: 1 1\n*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n"
                "statusdict /duplexer get exec\n" +
                    kSimplex + "%%Page: 2 2\n" + kRequest},
               {"%%Page: 1 JobPatchFile\n%%Page: 2\n%%Page: 3\n%%Page: 4\n%%Page: 5 JobPatchFile\n"
                "%%Page: 6\n",
                "%%Page: 4\n" + kSimplex + "%%Page: 5 JobPatchFile\n" + kRequest + "%%Page: 6\n"}});
}

TEST(CoverPageLine, MayBelongToOtherRules) {
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  const std::string block = "%%Page: cleartomark\n[{\n" + size + "} stopped cleartomark\n";
  expectPages(
      {// The end of the fold feature.
       {"%%Page: 1 1\r*QVBookletFold\rx\r%%Page: 2 statusdict /duplexer get exec\ry\r"
        "%%Page: 3 3\r",
        "%%Page: 1 1\r*QVBookletFold\r\n<< /Fold 1 >> setpagedevice\n" + kSimplex +
            "%%Page: 2 statusdict /duplexer get exec\r" + kRequest + "y\r%%Page: 3 3\r"},
       // Its start, whose command follows the request.
       {"%%Page: 1 1\n%%Page: QVBookletFold\nx\nstatusdict /duplexer get exec\ny\n",
        "%%Page: 1 1\n" + kSimplex + "%%Page: QVBookletFold\n" + kRequest +
            "\n<< /Fold 1 >> setpagedevice\nstatusdict /duplexer get exec\ny\n"},
       // The repeated page size.
       {size + "*InputSlot 1\n%%Page: cleartomark\n*InputSlot 2\ncleartomark\nx\n",
        size + "*InputSlot 1\n" + block + "*InputSlot 2\n" + kSimplex + block + kRequest + "x\n"}});
}

TEST(CoverPageLine, RequestIsWrittenToEveryPrinterAndCaptured) {
  const std::string body = "%%Page: \x8e 1\n" + kSimplex + "%%Page: \x8e 2\n" + kRequest;
  const std::string input = "@PJL X\n%%Page: \x8e 1\n%%Page: \x8e 2\n";
  Job job = loopJob(input);
  expectRun(Job(job).version("0x102f").env("DEVICE_URI", "usb://printer"), body);
  expectRun(Job(job).env("DEVICE_URI", "pap://printer"), plainHeader() + body + trailer(),
            kAppleTalk);
  expectFoldedEverywhere(job, body);
  EXPECT_EQ(readFile(job.tmpFile("qvn_ps")), input);
}

TEST(Cover, IsRequestedInJobsOfSeveralCopies) {
  const std::string copies = " com.apple.print.PrintSettings.PMCopies..n.=3";
  expectRun(loopJob("%%Page: 1 1\n%RBINumCopies: 3\n%%Page: 2 2\n", " PrintTo=JRRepeat" + copies),
            headerWith("@PJL SET HOLD = ON\n@PJL SET HOLDTYPE = PUBLIC\n"
                       "@PJL SET QDUPLICATEHELDJOBS = SAVE\n") +
                "%%Page: 1 1\n%!\n%Set collate copies = copy:\n"
                "<< /CollatedCopies 3 >> setuserparams\n%EndUserSetup\n%RBINumCopies: 3\n" +
                kSimplex + "%%Page: 2 2\n" + kRequest + trailer());
  expectFolded(loopJob("%%Page: 1 1\n%%Page: 2 2\n", copies),
               "@PJL SET COPIES = 3\n%%Page: 1 1\n" + kSimplex + "%%Page: 2 2\n" + kRequest);
}

// ---- what the debug file holds

// The records of a booklet after the job summary, with those of its pages.
std::string records(const std::string& pageRecords) {
  return logBraces("isOnlyPrintInside") + logRecord("main", "Job is Booklet") +
         logRecord("main", "value of verPrint (null)") +
         logRecord("main", "Initialized begin and end markers.") + pageRecords +
         logRecord("main", "}");
}

TEST(CoverTrace, EveryCountedPageHasItsTrayQuery) {
  const std::string query = logBraces("setBookletSource");
  expectLogAfterHeader(
      coverJob("4", "QVBookletCoverSource=Tray1", "x\n%%Page: 1 1\n%%Page: 2 2\n%%Page: 3"),
      records(query + query + query));
  for (const std::string source : {"PrinterS", "nonsense", ""}) {
    expectLogAfterHeader(coverJob("no", "QVBookletCoverSource=" + source, "%%Page: 1 1\n"),
                         records(query));
  }
  expectLogAfterHeader(coverJob("4", "QVBookletCoverSource=Tray1",
                                bytes("%%Page: \0\n*QVBookletFold\n%%Page: gone\n"
                                      "statusdict /duplexer get exec\n%%Page: 1 1\n")),
                       records(query));
}

TEST(CoverTrace, WithoutATrayOptionOnlyTheCoverQueryIsRecorded) {
  for (const std::string& cover :
       {std::string(), std::string(" QVBookletCoverPage=false"),
        std::string(" QVBookletCoverPage=true"), kOnlyInside, kOutside}) {
    expectLogAfterHeader(
        coverJob("4", "QVBookletCoverType=Card" + cover, "%%Page: 1 1\n%%Page: 2 2\n"),
        records(""));
  }
}

TEST(CoverTrace, NoTrayQueryInOtherJobs) {
  const std::string page = "%%Page: 1 1\n%%Page: 2 2\n%%Page: 3 3\n";
  expectLogAfterHeader(coverJob("4", "QVBookletCoverSource=Tray1 QVBookletFold=PrinterS", page),
                       logBraces("isOnlyPrintInside") +
                           logRecord("main", "Initialized begin and end markers.") +
                           logRecord("main", "}"));
  Job job = coverJob("4", "QVBookletCoverSource=Tray1", page);
  const std::string log = maskedLogOf(job.ppd("*QvnManualBooklet: True\n"));
  EXPECT_EQ(log.find("setBookletSource"), std::string::npos) << log;
}

}  // namespace
}  // namespace jobshaper::testing
