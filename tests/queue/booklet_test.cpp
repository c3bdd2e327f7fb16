// Which jobs become booklets, and how the pages of a held job are found and arranged.
#include "queue/booklet.h"

#include <fcntl.h>
#include <unistd.h>

#include <ostream>

#include "queue/embedded_pages.h"
#include "queue/held_job.h"
#include "queue/imposition.h"
#include "tests/queue/queue_job.h"

namespace jobshaper {

// For messages of failed tests.
static void PrintTo(const Side& side, std::ostream* out) { *out << side.left << '|' << side.right; }

namespace testing {
namespace {

TEST(BookletOrder, HasTheFirstPageOutsideAndLeavesFacesOfTheCoverBlank) {
  struct Row {
    CoverFaces faces;  // outside front, inside front, inside back, outside back
    int pages;
    std::vector<Side> sides;
  };
  const Row rows[] = {
      {{}, 1, {{0, 1}, {0, 0}}},
      {{}, 3, {{0, 1}, {2, 3}}},
      {{}, 4, {{4, 1}, {2, 3}}},
      {{}, 5, {{0, 1}, {2, 0}, {0, 3}, {4, 5}}},
      {{}, 12, {{12, 1}, {2, 11}, {10, 3}, {4, 9}, {8, 5}, {6, 7}}},
      {{false, true, true, false}, 1, {{0, 0}, {1, 0}}},
      {{false, true, true, false}, 2, {{0, 0}, {1, 2}}},
      {{false, true, true, false}, 3, {{0, 0}, {1, 3}, {0, 2}, {0, 0}}},
      {{true, false, false, true}, 2, {{2, 1}, {0, 0}}},
      {{true, false, false, false}, 5, {{0, 1}, {0, 0}, {5, 2}, {3, 4}}},
      {{false, false, true, true}, 3, {{3, 0}, {0, 2}, {0, 1}, {0, 0}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(bookletSides(row.pages, row.faces), row.sides) << row.pages << " pages";
  }
}

// ---- held jobs

// Reads the job from a file; nameless files are made in `directory`.
HeldJob held(const std::string& text, const TemporaryDirectory& directory) {
  writeFile(directory.file("job"), text);
  HeldJob job;
  const int file = ::open(directory.file("job").c_str(), O_RDONLY);
  EXPECT_TRUE(job.read(file, directory.path()));
  ::close(file);
  return job;
}

// A job as it is read back: header, pages and trailer; nothing if it has no pages.
std::vector<std::string> partsOf(const std::string& text) {
  TemporaryDirectory directory;
  const HeldJob job = held(text, directory);
  if (!job.hasPages()) return {};
  std::vector<Part> all = {job.header()};
  all.insert(all.end(), job.pages().begin(), job.pages().end());
  all.push_back(job.trailer());
  std::vector<std::string> parts;
  for (const Part& part : all) {
    std::string& bytes = parts.emplace_back();
    EXPECT_TRUE(job.forEachBlock(part, [&](std::string_view block) {
      bytes += block;
      return true;
    }));
  }
  return parts;
}

TEST(HeldJob, HasPages) {
  const std::string top = "%!PS\n%%BeginProlog\n";
  const std::string large(200000, 'x');
  const std::vector<std::vector<std::string>> jobs = {
      {top, "%%Page: 1 1\na\n", "%%Page: 2 2\nb\n", "%%Trailer\nc\n%%EOF\n"},
      {top, "%%Page: 1 1\n%%Trailer\n%%EOF\na\n", "%%Page: 2 2\n", "%%Trailer\n"},
      {top, "%%Page: 1 1\n", "\033%-12345X\n%%Page: 2 2\n%%EOF\n"},
      {top, "%%Page: 1 1\ra\r", "%%Page: 2 2\r\nb\r\n", "%%EOF\n"},
      {top, "%%Page: 1 1\na\n", "%%Page: 2 2\nb", ""},
      {top, "%%Page: 1 1\na\n", "\033%-12345X@PJL EOJ\n"},
      {top, "%%Page: 1 1\n" + large + "%%Page: 5\n" + large + "\n", "%%Page: 2 2\n", "%%Trailer"},
      {top,
       "%%Page: 1 1\n%%BeginDocument: x\n%%Page: 1 1\n%%BeginDocument: "
       "y\n%%EndDocument\n%%Trailer\n"
       "%%EndDocument\n",
       "%%Page: 2 2\n%%EndDocument\n%%BeginDocument: z\n%%Page: 3 3\n%%EndDocument\n",
       "%%Trailer\n"},
      {top, "%%Page: 1 1\n%%BeginData: 9 Binary Bytes\n%%Trailer\n%%Page: 2 2\n%%EndData\n",
       "%%Page: 2 2\n%%BeginBinary: 9\n%%Page: 3 3\n%%BeginDocument\n%%EndBinary\n",
       "%%Page: 3 3\n", "%%EOF\n"},
      {top + "%%Trailer\n", "%%Page: 1 1\n", ""},
      {top, "%%Page: 1 1\n%%BeginDocument: nondsc.eps\n%%EndDocument\n", ""},
  };
  for (const auto& job : jobs) {
    std::string text;
    for (const std::string& part : job) text += part;
    EXPECT_EQ(partsOf(text), job);
  }
}

TEST(HeldJob, HasNoPagesWithoutCommentsOrProlog) {
  for (const char* text :
       {"", "%!PS\n%%BeginProlog\nshowpage\n", "%!PS\n%%Page: 1 1\nshowpage\n",
        "%!PS\n%%Page: 1 1\n%%BeginProlog\nshowpage\n", "%%BeginProlog\n %%Page: 1 1\n",
        "%%BeginProlog\n%%Page: 1 1\n%%BeginDocument: nondsc\nshowpage showpage\n"}) {
    EXPECT_EQ(partsOf(text), std::vector<std::string>()) << text;
  }
}

// ---- sides

std::string rewritten(const std::string& text, const Rewriting& rewriting) {
  TemporaryDirectory directory;
  const Descriptor result = rewrittenJob(held(text, directory), rewriting, directory.path());
  std::string bytes(1000000, '\0');
  bytes.resize(readFully(result.get(), bytes.data(), bytes.size()));
  return bytes;
}

// Replaces our procedures, which end a line of their own.
std::string withoutProcedures(std::string text) {
  const std::size_t from = text.find("userdict/QvnBooklet");
  const std::string last = "rectclip}if}bind def\nend\n";
  const std::size_t end = text.find(last);
  if (from == text.npos || end == text.npos) return text;
  return text.replace(from, end + last.size() - from, "PROCEDURES\n");
}

TEST(Imposition, PutsPagesOnSidesAfterTheProcedures) {
  const std::string text = rewritten(
      "%!PS\n%%BeginProlog\n/p{}def\n%%BeginProlog\n%%Page: i 1\r\n1 p\n%%Page: ii 2\n"
      "2 p%%Trailer\n%%Page: 3\n3 p",
      {.sides = {{2, 1}, {kBlankPage, 3}}});
  EXPECT_EQ(withoutProcedures(text),
            "%!PS\n%%BeginProlog\nPROCEDURES\n/p{}def\n%%BeginProlog\n"
            "%%Page: 1 1\n%%BeginPageSetup\n%%EndPageSetup\n"
            "% Pages 2 and 1 of the document; 0 is a blank one.\nQvnBooklet/side get exec\n"
            "false QvnBooklet/open get exec\n2 p%%Trailer\nQvnBooklet/close get exec\n"
            "true QvnBooklet/open get exec\n\n1 p\nQvnBooklet/close get exec\n"
            "QvnBooklet/print get exec\n"
            "%%Page: 2 2\n%%BeginPageSetup\n%%EndPageSetup\n"
            "% Pages 0 and 3 of the document; 0 is a blank one.\nQvnBooklet/side get exec\n"
            "true QvnBooklet/open get exec\n3 p\nQvnBooklet/close get exec\n"
            "QvnBooklet/print get exec\n");
}

TEST(Imposition, AddsTheProceduresWhateverEndsTheLines) {
  for (const std::string end : {"\r", "\r\n", "\n"}) {
    const std::string top = "%!PS" + end + "%%BeginProlog";
    const std::string text =
        rewritten(top + end + "x" + end + "%%Page: 1 1" + end, {.sides = {{0, 1}}});
    const std::string expected = top + end[0] + "PROCEDURES\n" + end.substr(1) + "x" + end;
    EXPECT_EQ(withoutProcedures(text).substr(0, expected.size()), expected);
  }
}

TEST(Imposition, MakesOneCopyOfMany) {
  const std::string long_line(3000, '9');
  const std::string header = "%!PS\n%RBINumCopies: 12\n%%BeginProlog\n" + long_line + "\n";
  const std::string feature = "%RBIBeginNonPPDFeature: *NumCopies 12\n";
  const std::string set = "/languagelevel where{pop}if\n";
  const std::string pages = "%%Page: 1 1\n%RBINumCopies: 12\n%%Trailer\n";
  const std::string job = header + feature + "12" + set + feature + "12\n" + pages;
  EXPECT_EQ(rewritten(job, {}), job);
  EXPECT_EQ(rewritten(job, {.sides = {}, .oneCopy = true}),
            "%!PS\n%RBINumCopies: 1\n%%BeginProlog\n" + long_line + "\n" + feature + "1" + set +
                feature + "1\n" + pages);
}

TEST(Imposition, HidesThePagesOfEmbeddedDocuments) {
  const std::string begin = "%%BeginDocument: a.eps\n";
  const std::string document = begin + "%%Page: 1 1\n(%%Trailer)show\n%%Trailer\n%%EndDocument\n";
  const std::string hidden = begin + "% %Page: 1 1\n(%%Trailer)show\n% %Trailer\n%%EndDocument\n";
  const std::string top = "%!PS\n%%BeginProlog\n";
  const std::string page = "%%Page: 1 1\n";
  const std::string job = top + document + page + document + "%%Trailer\n%%Pages: 1\n%%EOF\n";
  EXPECT_EQ(rewritten(job, {.sides = {}, .hidesEmbeddedPages = true}),
            top + hidden + page + hidden + "%%Trailer\n%%Pages: 1\n%%EOF\n");
  const std::string sides =
      withoutProcedures(rewritten(job, {.sides = {{kBlankPage, 1}}, .hidesEmbeddedPages = true}));
  EXPECT_TRUE(sides.starts_with(top + "PROCEDURES\n" + hidden + page)) << sides;
  EXPECT_NE(sides.find("open get exec\n" + hidden + "QvnBooklet/close"), sides.npos) << sides;
}

// ---- pages of embedded documents

TEST(EmbeddedPages, AreHiddenInWholeLinesOutsideOfData) {
  const std::string long_line(100, 'x');
  const std::string rows[][2] = {
      {"", ""},
      {"%%Trailer", "% %Trailer"},
      {"%%Page: 1 1\r%%Trailer\r\n%%Page:", "% %Page: 1 1\r% %Trailer\r\n% %Page:"},
      {"%%Page: " + long_line + "%%Page: 2\n", "% %Page: " + long_line + "%%Page: 2\n"},
      {long_line + "\n\n%%Trailer\n", long_line + "\n\n% %Trailer\n"},
      {"%%Pages: 1\n %%Page: 1\n%%PageTrailer\nx%%Trailer\n",
       "%%Pages: 1\n %%Page: 1\n%%PageTrailer\nx%%Trailer\n"},
      {"%%BeginData: 9 Binary Bytes\n%%Page: 1\n%%EndData\n%%Trailer\n",
       "%%BeginData: 9 Binary Bytes\n%%Page: 1\n%%EndData\n% %Trailer\n"},
      {"%%BeginBinary: 9\n%%Trailer\n%%EndBinary\n%%Trailer\n",
       "%%BeginBinary: 9\n%%Trailer\n%%EndBinary\n% %Trailer\n"},
  };
  for (const auto& [text, expected] : rows) {
    for (std::size_t size = 1; size <= 20; ++size) {
      std::string hidden;
      EmbeddedPages pages([&](std::string_view bytes) {
        hidden += bytes;
        return true;
      });
      for (std::size_t at = 0; at < text.size(); at += size) {
        EXPECT_TRUE(pages.take(std::string_view(text).substr(at, size)));
      }
      EXPECT_TRUE(pages.finish());
      EXPECT_EQ(hidden, expected) << "in pieces of " << size << " bytes";
    }
  }
}

TEST(EmbeddedPages, StopWhenTheirReceiverDoes) {
  EmbeddedPages pages([](std::string_view) { return false; });
  EXPECT_TRUE(pages.take("%%Tra"));
  EXPECT_FALSE(pages.take("iler\nx"));
  EmbeddedPages last([](std::string_view) { return false; });
  EXPECT_TRUE(last.take("x"));
  EXPECT_FALSE(last.finish());
}

// ---- which jobs

Request bookletRequest(const std::string& options, const std::string& contentType,
                       const std::string& more = "") {
  return {.options = options,
          .ppd = ppdWith(ppdOption("QVBookletFold", "false Booklet SaddleStitch", "false") +
                         ppdEquipment(ppdOption("OptionDuplexer", "True False", "True")) +
                         "*UIConstraints: *OptionDuplexer False *QVBookletFold\n" + more),
          .contentType = contentType,
          .pages = 6};
}

TEST(Booklet, IsHeldOnlyIfItHasTo) {
  struct Row {
    const char* options;
    const char* contentType;
    int counted;    // how often the pages are, which holds the job
    int coverSide;  // 0: the cover has no paper of its own
  };
  const Row rows[] = {
      {"", "application/postscript", 0, 0},
      {"QVBookletCoverSource=Tray2", "application/postscript", 0, 0},
      {"booklet=true", "application/pdf", 0, 0},
      {"booklet=Yes", "", 0, 0},
      {"booklet=shuffle-only QVBookletFold=Booklet", "application/pdf", 0, 0},
      {"booklet=true", "application/vnd.cups-pdf", 1, 0},
      {"booklet=true", "image/jpeg", 1, 0},
      {"booklet=true QVBookletCoverSource=Tray2", "image/urf", 0, 1},
      {"booklet=true QVBookletCoverSource=Tray2 output-order=reverse", "application/pdf", 1, 5},
      {"QVBookletFold=Booklet QVBookletCoverSource=PrinterS", "application/pdf", 1, 0},
      {"QVBookletFold=Booklet QVBookletCoverType=Card", "application/pdf", 1, 1},
      {"QVBookletFold=Booklet QVBookletPageCountFilename=/x QVBookletCoverType=Card",
       "application/pdf", 0, 0},
  };
  for (const Row& row : rows) {
    const Completion job = complete(bookletRequest(row.options, row.contentType));
    EXPECT_EQ(job.counted, row.counted) << row.options << row.contentType;
    EXPECT_EQ(job.additions.coverSide, row.coverSide) << row.options << row.contentType;
    EXPECT_EQ(job.messages, "") << row.options;
  }
}

TEST(Booklet, HasItsPagesArrangedUnlessTheyAre) {
  const std::vector<Side> usual = {{0, 1}, {2, 0}, {6, 3}, {4, 5}};
  const std::pair<std::string, std::vector<Side>> rows[] = {
      {"", {}},
      {"booklet=true", usual},
      {"QVBookletFold=SaddleStitch", usual},
      {"booklet=false QVBookletFold=SaddleStitch", {}},
      {"booklet=true QvnBookletPages=Arranged", {}},
      {"booklet=true outputorder=reverse", {{3, 2}, {1, 4}, {5, 0}, {0, 6}}},
      {"booklet=true QVBookletCoverPage=true", usual},
      {"booklet=true QVBookletCoverPage=false QVInsideFrontCover=true", usual},
      {"booklet=true QVBookletCoverPage=true QVInsideFrontCover=true QVInsideBackCover=true",
       {{0, 0}, {1, 6}, {5, 2}, {3, 4}}},
      {"booklet=true QVBookletCoverPage=true QVOutsideFrontCover=true QVOutsideBackCover=true",
       {{6, 1}, {0, 0}, {5, 2}, {3, 4}}},
  };
  for (const auto& [options, sides] : rows) {
    const Completion job =
        complete(bookletRequest(options, "application/postscript",
                                ppdOption("QvnBookletPages", "Arrange Arranged", "Arrange")));
    EXPECT_EQ(job.booklet.sides, sides) << options;
  }
}

TEST(Booklet, IsNotMadeOfABannerOrWithoutPages) {
  Request request = bookletRequest("booklet=true QVBookletFold=Booklet", "application/postscript");
  request.pages = 0;
  Completion job = complete(request);
  EXPECT_EQ(
      job.messages,
      "\nWARNING: The pages of this document cannot be arranged as a booklet, because it is "
      "PostScript without usable page comments; it is printed as it is. Convert it to PDF and "
      "print that.\n");
  EXPECT_FALSE(job.booklet.isBooklet);
  EXPECT_EQ(job.values["QVBookletFold"], "false");
  request.isBanner = true;
  job = complete(request);
  EXPECT_EQ(job.messages, "");
  EXPECT_FALSE(job.booklet.isBooklet);
  EXPECT_EQ(job.values["QVBookletFold"], "false");
}

TEST(Booklet, ThatCannotBeHeldFails) {
  Request request = bookletRequest("booklet=true", "application/postscript");
  request.pages = {};
  EXPECT_TRUE(complete(request).booklet.failed);
}

TEST(Booklet, PrintsItsBlankSides) {
  const auto blank = [&](const char* options) {
    return complete(bookletRequest(options, "application/postscript",
                                   ppdOption("QvnBlankPage", "PrinterS true false", "PrinterS")))
        .values["QvnBlankPage"];
  };
  EXPECT_EQ(blank("booklet=true QvnBlankPage=false"), "true");
  EXPECT_EQ(blank("booklet=true"), "PrinterS");
  EXPECT_EQ(blank("QvnBlankPage=false"), "false");
}

TEST(Booklet, WithoutADuplexerIsIgnored) {
  const Completion job =
      complete(bookletRequest("booklet=true OptionDuplexer=False", "application/postscript"));
  EXPECT_EQ(job.messages, notInstalled("booklet=true", "OptionDuplexer=False", "it is ignored"));
  EXPECT_FALSE(job.booklet.isBooklet);
  EXPECT_EQ(job.counted, 0);
}

TEST(Booklet, IsManualOnAPrinterWithTheKeyword) {
  const std::string keyword = "*QvnManualBooklet: True\n";
  EXPECT_FALSE(complete(bookletRequest("booklet=true", "")).booklet.isManual);
  EXPECT_TRUE(complete(bookletRequest("booklet=true", "", keyword)).booklet.isManual);
}

}  // namespace
}  // namespace testing
}  // namespace jobshaper
