// The cover sheet of a booklet that the printer folds: at which page it is requested, from which
// tray and on which media, and what changes if only its inside is printed.
#include <string>
#include <string_view>

#include "tests/blackbox/value_tables.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

const std::string kOnlyInside = " QVBookletCoverPage=true QVInsideFrontCover=true";
// Before the page line if only the inside of the cover is printed.
const std::string kSimplex = "1 dict dup /Duplex false put setpagedevice\n";
const std::string kTray1 = "/ManualFeed false /MediaPosition 0 ";

// The request for a cover sheet, after the page line.
std::string request(std::string_view parameters) {
  return "[{\n<< /DeferredMediaSelection true " + std::string(parameters) +
         " >> setpagedevice\n} stopped cleartomark\n";
}

// A folded booklet with these further options and this number of pages.
Job coverJob(std::string_view pageCount, const std::string& options) {
  Job job;
  writeFile(job.tmpFile("count"), pageCount);
  return job.options("QVBookletFold=BiFold QVBookletPageCountFilename='" + job.tmpFile("count") +
                     "' " + options);
}

std::string pageLine(int page) {
  const std::string number = std::to_string(page);
  return "%%Page: " + number + " " + number + "\n";
}

// Runs the job with six pages; page `at`, if there is one, has these lines before and after it.
void expectAtPage(Job job, int at, const std::string& before, const std::string& after,
                  Where where = Where::here()) {
  std::string input, body;
  for (int page = 1; page <= 6; ++page) {
    input += pageLine(page) + "showpage\n";
    body += (page == at ? before + pageLine(page) + after : pageLine(page)) + "showpage\n";
  }
  expectBody(job.input(input), body, where);
}

// ---- which covers have print on the inside only

void expectOnlyInside(bool onlyInside, const std::string& start,
                      const std::vector<std::string>& rows, Where where = Where::here()) {
  for (const std::string& options : rows) {
    const Job job = coverJob("8", "QVBookletCoverSource=Tray1 " + start + options);
    onlyInside ? expectAtPage(job, 4, kSimplex, request(kTray1), where)
               : expectAtPage(job, 3, "", request(kTray1), where);
  }
}

TEST(OnlyInside, NeedsACoverPageThatIsTrueInAnyCase) {
  const std::string inside = "QVInsideFrontCover=true ";
  expectOnlyInside(true, inside + "QVBookletCoverPage", {"=true", "=tRuE", "='TRUE'", ""});
  expectOnlyInside(false,
                   inside + "QVBookletCoverPage=", {"false", "tru", "true1", "true<20>", ""});
  expectOnlyInside(false, inside, {"", "qvBookletCoverPage=true"});
}

TEST(OnlyInside, IsDecidedByTheFourFacesOfTheCover) {
  const std::string cover = "QVBookletCoverPage=true ";
  expectOnlyInside(true, cover,
                   {"QVInsideFrontCover=true", "QVInsideBackCover=true",
                    "QVOutsideFrontCover=False QVOutsideBackCover=False QVInsideBackCover=False "
                    "QVInsideFrontCover=true",
                    // A face that is not exactly false, in any case, is set.
                    "QVInsideFrontCover=no", "QVInsideBackCover=", "QVOutsideBackCover=False<20>",
                    "QVOutsideFrontCover=PrinterS",
                    // It is printed only if it is exactly true.
                    "QVOutsideFrontCover=True", "QVOutsideBackCover=TRUE",
                    "QVInsideBackCover=true QVInsideFrontCover=True",
                    "QVInsideBackCover=True QVInsideFrontCover=true"});
  expectOnlyInside(false, cover,
                   {"", "QVInsideBackCover=true QVInsideFrontCover=true",
                    "QVOutsideFrontCover=true QVInsideFrontCover=true",
                    "QVOutsideBackCover=true QVInsideBackCover=true",
                    "noQVOutsideFrontCover QVOutsideBackCover=false QVInsideBackCover=fAlSe "
                    "QVInsideFrontCover=FALSE"});
}

// ---- tray and media

// Makes pairs of "VALUE: TEXT; VALUE: TEXT".
std::vector<std::pair<std::string, std::string>> table(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const std::string& row : split(text, "; ")) {
    const std::size_t colon = row.find(": ");
    rows.emplace_back(row.substr(0, colon), row.substr(colon + 2));
  }
  return rows;
}

void expectSheet(const std::string& tray, const std::string& type, const std::string& parameters,
                 Where where = Where::here()) {
  expectAtPage(coverJob("8", "QVBookletCoverSource=" + tray + " QVBookletCoverType=" + type), 3, "",
               request(parameters), where);
}

TEST(Cover, EveryTrayHasItsPositionAndEveryMediaTypeItsName) {
  const auto trays = table(
      "Tray1: 0; Tray2: 1; EnvDrawr2: 1; Tray3: 3; EnvDrawr3: 3; Tray4: 5; EnvDrawr4: 5; Tray5: 6; "
      "MultipurposeFeeder: 4");
  const auto types = table(
      "Plain: Plain; Card: Card Stock; Bond: Bond; Letterhead: Letterhead; Preprint: Preprinted; "
      "Colored: Colored Paper; Light: Light; Glossy: Glossy Paper; Heavy: Heavy; "
      "HeavyGlossy: Heavy Glossy; Labels: Labels; Vinyl: Vinyl Labels; Rough: Rough; "
      "Recycled: Recycled; Custom1: Custom Type 1; Custom2: Custom Type 2; Custom3: Custom Type 3; "
      "Custom4: Custom Type 4; Custom5: Custom Type 5; Custom6: Custom Type 6");
  // One job for each type, with the next tray.
  for (std::size_t i = 0; i < types.size(); ++i) {
    const auto& [tray, position] = trays[i % trays.size()];
    expectSheet(
        tray, types[i].first,
        "/ManualFeed false /MediaPosition " + position + " /MediaType (" + types[i].second + ")");
  }
  expectSheet("ManualPaper", "Plain", "/ManualFeed true /MediaType (Plain)");
  for (const char* other : {"PrinterS", "tray1", "Tray6", "Tray<20>1", "ManualEnv", ""}) {
    expectSheet(other, "Plain", "/MediaType (Plain)");
  }
  for (const char* other : {"Printers", "PrinterS", "plain", "CardStock", "Custom7", ""}) {
    expectSheet("Tray1", other, kTray1);
  }
}

TEST(Cover, IsRequestedIfTrayOrMediaIsKnown) {
  const std::string card = "/MediaType (Card Stock)";
  for (const std::string cover : {"", " QVBookletCoverPage=true QVOutsideFrontCover=true"}) {
    expectAtPage(coverJob("8", "QVBookletCoverType=Card" + cover), 3, "", request(card));
  }
  expectAtPage(coverJob("8", "QVBookletCoverType=Card" + kOnlyInside), 4, kSimplex, request(card));
  for (const std::string options :
       {"", "QVBookletCoverSource=PrinterS QVBookletCoverType=Printers"}) {
    expectAtPage(coverJob("8", options), 0, "", "");
    expectAtPage(coverJob("8", options + kOnlyInside), 4, kSimplex, "\n");
  }
  // Other jobs are not booklets.
  expectAtPage(coverJob("8", "QVBookletCoverType=Card QVBookletFold=PrinterS" + kOnlyInside), 0, "",
               "");
}

// ---- the page count, which decides at which page the sheet is requested

void expectRequestAt(int page, const std::vector<std::string>& counts,
                     Where where = Where::here()) {
  for (const std::string& count : counts) {
    const ::testing::ScopedTrace trace(
        where.file, where.line, "page count " + ::testing::PrintToString(count.substr(0, 40)));
    expectAtPage(coverJob(count, "QVBookletCoverSource=Tray1"), page, "", request(kTray1), where);
  }
}

TEST(PageCount, IsHalvedWithoutItsRemainder) {
  expectRequestAt(5, {"12"});
  expectRequestAt(2, {"6", "7"});
  expectRequestAt(1, {"4"});
  expectRequestAt(0, {"3", "2", "1", "0", "-1", "-7", "-12", "", "16", "2147483647"});
  expectAtPage(coverJob("3", "QVBookletCoverSource=Tray1" + kOnlyInside), 1, kSimplex,
               request(kTray1));
  expectAtPage(coverJob("1", "QVBookletCoverSource=Tray1" + kOnlyInside), 0, "", "");
  // 2^32 + 8 and similar numbers, of which the last bits alone would be a page count of 8.
  expectRequestAt(0, {"4294967304", "-4294967288", "18446744073709551624", "-18446744073709551608",
                      "340282366920938463463374607431768211464"});
}

TEST(PageCount, IsTheLeadingNumberOfTheText) {
  expectRequestAt(3, {"8\r\n", "\r\n\t 8 \n", "  +8", "0008", "8pages", "8.9", "8\n12\n", "8-2",
                      "8\x8a", bytes("8\0\66"), "8 " + std::string(2000000, '9')});
  expectRequestAt(
      0, {"x8", "- 8", "+-8", ".8", "(8)", "\xef\xbb\xbf\x38", "+", "0x8", bytes("\0\70"), "\n\n"});
  // The two digits of the number may fall into two reads.
  for (const std::size_t n : {4095U, 65535U}) {
    expectRequestAt(5, {std::string(n, ' ') + "12", std::string(n, '0') + "12"});
  }
}

TEST(PageCount, IsInARegularFileOfAnyNameWhichIsLeftInPlace) {
  const std::string options = "QVBookletFold=BiFold QVBookletCoverSource=Tray1";
  expectAtPage(Job().options(options), 0, "", "");
  const TemporaryDirectory directory;
  writeFile(directory.file("a b,c='\x8e"), "8");
  fs::create_symlink(directory.file("a b,c='\x8e"), directory.file("link"));
  writeFile(directory.file("huge"), "8");  // only the number is read
  fs::resize_file(directory.file("huge"), std::uintmax_t{1} << 32);
  for (const auto& [name, page] : {std::pair{directory.file("a<20>b<2C>c<3D><27>\x8e"), 3},
                                   {directory.file("link"), 3},
                                   {directory.file("huge"), 3},
                                   {directory.file("missing"), 0},
                                   {directory.path(), 0},
                                   {std::string("/dev/null"), 0},
                                   {std::string("/dev/stdin"), 0},
                                   {std::string(), 0}}) {
    expectAtPage(Job().options(options + " QVBookletPageCountFilename='" + name + "'"), page, "",
                 request(kTray1));
  }
  EXPECT_EQ(readFile(directory.file("link")), "8");
}

// ---- the page line

// Jobs with the sheet at page 2, on whose inside alone is print. In the body, "{page}" stands for
// the lines before that page and "{cover}" for the request after it.
void expectPages(const std::vector<JobRow>& rows, Where where = Where::here()) {
  for (auto [input, body] : rows) {
    body.replace(body.find("{page}"), 6, kSimplex);
    body.replace(body.find("{cover}"), 7, request(kTray1));
    expectBody(coverJob("4", "QVBookletCoverSource=Tray1" + kOnlyInside).input(input), body, where);
  }
}

TEST(CoverPageLine, KeepsItsLineEnd) {
  expectPages(
      {{"%%Page: 1 1\r%%Page: 2 2\rx\r", "%%Page: 1 1\r{page}%%Page: 2 2\r{cover}x\r"},
       {"%%Page: 1 1\r\n%%Page: 2 2\r\nx\r\n", "%%Page: 1 1\r\n{page}%%Page: 2 2\r{cover}\nx\r\n"},
       {"%%Page: 1 1\n%%Page: 2 2", "%%Page: 1 1\n{page}%%Page: 2 2{cover}"}});
  expectBody(coverJob("2", kOnlyInside).input("%%Page: 1 1\r\nx"), kSimplex + "%%Page: 1 1\r\n\nx");
}

TEST(CoverPageLine, IsCountedByItsFirstCharactersAlone) {
  const std::string others =
      "%%Page:\n %%Page: no\n%%page: no\n%%Pages: no\n%Page: no\n%%PageTrailer\n%%%Page: no\n";
  const std::string piece(1024, 'x');
  const std::string zeros = bytes("%%Page: \0\n%%Page: 1 1\n%%Page: 2\0\n");
  expectPages({{others + "%%Page:9 9 \x8a %@ %d %s %n\n%%Page: 3\n",
                others + "{page}%%Page:9 9 \x8a %@ %d %s %n\n{cover}%%Page: 3\n"},
               {"%%Page: 1\n" + piece + "%%Page: cut\n",
                "%%Page: 1\n" + piece + "{page}%%Page: cut\n{cover}"},
               {zeros + "%%Page: 2 2\n", zeros + "{page}%%Page: 2 2\n{cover}"},
               // The markers are the plain ones in every job.
               {"sfcl{\n}efcl\n%%Page: 1 1\n%%Page: 2 2\n",
                "sfcl{\n}efcl\n%%Page: 1 1\n{page}%%Page: 2 2\n{cover}"}});
}

TEST(CoverPageLine, IsNotCountedIfAnotherRuleRemovesIt) {
  expectPages({{"%%Page: 1 1\n*QVBookletFold\n%%Page: gone\n%%Page: gone\n"
                "statusdict /duplexer get exec\n%%Page: 2 2\n",
                "%%Page: 1 1\n*QVBookletFold\n\n<< /Fold 1 >> setpagedevice\n"
                "statusdict /duplexer get exec\n{page}%%Page: 2 2\n{cover}"},
               {"%%Page: 1 JobPatchFile\n%%Page: 2\n%%Page: 3\n%%Page: 4\n%%Page: 5 JobPatchFile\n"
                "%%Page: 6\n",
                "%%Page: 4\n{page}%%Page: 5 JobPatchFile\n{cover}%%Page: 6\n"}});
}

TEST(CoverPageLine, MayBelongToOtherRules) {
  const std::string size = "*PageSize A4\n%%EndFeature\n";
  const std::string block = "%%Page: cleartomark\n[{\n" + size + "} stopped cleartomark\n";
  expectPages({// The end of the fold feature.
               {"%%Page: 1 1\r*QVBookletFold\rx\r%%Page: 2 statusdict /duplexer get exec\ry\r"
                "%%Page: 3 3\r",
                "%%Page: 1 1\r*QVBookletFold\r\n<< /Fold 1 >> setpagedevice\n"
                "{page}%%Page: 2 statusdict /duplexer get exec\r{cover}y\r%%Page: 3 3\r"},
               // Its start, whose command follows the request.
               {"%%Page: 1 1\n%%Page: QVBookletFold\nx\nstatusdict /duplexer get exec\ny\n",
                "%%Page: 1 1\n{page}%%Page: QVBookletFold\n{cover}"
                "\n<< /Fold 1 >> setpagedevice\nstatusdict /duplexer get exec\ny\n"},
               // The repeated page size.
               {size + "*InputSlot 1\n%%Page: cleartomark\n*InputSlot 2\ncleartomark\nx\n",
                size + "*InputSlot 1\n" + block + "*InputSlot 2\n{page}" + block + "{cover}x\n"}});
}

// ---- what the debug file holds

TEST(BookletRecords, HaveThePrintToValueAndATrayQueryForEveryCountedPageIfThereIsATrayOption) {
  const auto expectRecords = [](const std::string& options, const std::string& printTo,
                                int pageQueries) {
    std::string queries;
    for (int i = 0; i < pageQueries; ++i) queries += logBraces("setBookletSource");
    const Job job =
        coverJob("4", options)
            .input(bytes("%%Page: \0\n%%Page: 1 1\n%%Page: 2 2\n*QVBookletFold\n%%Page: gone\n"));
    expectSame(logAfterHeader(job),
               logBraces("isOnlyPrintInside") +
                   (printTo.empty() ? ""
                                    : logRecord("main", "Job is Booklet") +
                                          logRecord("main", "value of verPrint " + printTo)) +
                   logRecord("main", "Initialized begin and end markers.") + queries +
                   logRecord("main", "}"),
               "log", options);
  };
  expectRecords("QVBookletCoverSource=Tray1", "(null)", 2);
  expectRecords("QVBookletCoverSource=nonsense PrintTo=100%d%s%n\x8a", "100%d%s%n\x8a", 2);
  expectRecords("QVBookletCoverType=Card PrintTo=JRVerify" + kOnlyInside, "JRVerify", 0);
  expectRecords("QVBookletCoverSource=Tray1 QVBookletFold=PrinterS", "", 0);
}

}  // namespace
}  // namespace jobshaper::testing
