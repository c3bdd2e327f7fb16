// Which jobs become booklets, and how the pages of a held job are found and arranged.
#include "queue/booklet.h"

#include <fcntl.h>
#include <unistd.h>

#include "queue/embedded_pages.h"
#include "queue/held_job.h"
#include "queue/imposition.h"
#include "tests/queue/queue_job.h"

namespace jobshaper::testing {
namespace {

// The pages on each side: " 0|1 2|3", in which 0 is a blank one.
std::string shown(const std::vector<Side>& sides) {
  std::string text;
  for (const auto [left, right] : sides) {
    text += " " + std::to_string(left) + "|" + std::to_string(right);
  }
  return text;
}

TEST(BookletOrder, HasTheFirstPageOutsideAndLeavesFacesOfTheCoverBlank) {
  struct Row {
    CoverFaces faces;  // outside front, inside front, inside back, outside back
    int pages;
    const char* sides;
  };
  const Row rows[] = {
      {{}, 1, " 0|1 0|0"},
      {{}, 3, " 0|1 2|3"},
      {{}, 4, " 4|1 2|3"},
      {{}, 5, " 0|1 2|0 0|3 4|5"},
      {{}, 12, " 12|1 2|11 10|3 4|9 8|5 6|7"},
      {{false, true, true, false}, 1, " 0|0 1|0"},
      {{false, true, true, false}, 2, " 0|0 1|2"},
      {{false, true, true, false}, 3, " 0|0 1|3 0|2 0|0"},
      {{true, false, false, true}, 2, " 2|1 0|0"},
      {{true, false, false, false}, 5, " 0|1 0|0 5|2 3|4"},
      {{false, false, true, true}, 3, " 3|0 0|2 0|1 0|0"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(shown(bookletSides(row.pages, row.faces)), row.sides) << row.pages << " pages";
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

// A job as it is read back: header, pages and trailer; or in one part if it has no pages.
std::vector<std::string> partsOf(const std::string& text) {
  TemporaryDirectory directory;
  const HeldJob job = held(text, directory);
  if (!job.hasPages()) return {text};
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

TEST(HeldJob, HasPagesAfterItsProlog) {
  const std::string top = "%!PS\n%%BeginProlog\n";
  const std::string large(200000, 'x');
  const std::vector<std::string> jobs[] = {
      {top, "%%Page: 1 1\na\n", "%%Page: 2 2\nb\n", "%%Trailer\nc\n%%EOF\n"},
      {top, "%%Page: 1 1\n%%Trailer\n%%EOF\na\n", "%%Page: 2 2\n", "%%Trailer\n"},
      {top, "%%Page: 1 1\n", "\033%-12345X\n%%Page: 2 2\n%%EOF\n"},
      {top, "%%Page: 1 1\ra\r", "%%Page: 2 2\r\nb\r\n", "%%EOF\n"},
      {top, "%%Page: 1 1\na\n", "%%Page: 2 2\nb", ""},
      {top, "%%Page: 1 1\n" + large + "%%Page: 5\n" + large + "\n", "%%Page: 2 2\n", "%%Trailer"},
      {top,
       "%%Page: 1 1\n%%BeginDocument: x\n%%Page: 1 1\n%%BeginDocument: y\n%%EndDocument\n"
       "%%Trailer\n%%EndDocument\n",
       "%%Page: 2 2\n%%EndDocument\n%%BeginDocument: z\n%%Page: 3 3\n%%EndDocument\n",
       "%%Trailer\n"},
      {top, "%%Page: 1 1\n%%BeginData: 9 Binary Bytes\n%%Trailer\n%%Page: 2 2\n%%EndData\n",
       "%%Page: 2 2\n%%BeginBinary: 9\n%%Page: 3 3\n%%BeginDocument\n%%EndBinary\n",
       "%%Page: 3 3\n", "%%EOF\n"},
      {top + "%%Trailer\n", "%%Page: 1 1\n", ""},
      {top, "%%Page: 1 1\n%%BeginDocument: nondsc.eps\n%%EndDocument\n", ""},
      // without pages
      {""},
      {top + "showpage\n"},
      {"%!PS\n%%Page: 1 1\nshowpage\n"},
      {"%!PS\n%%Page: 1 1\n%%BeginProlog\nshowpage\n"},
      {top + " %%Page: 1 1\n"},
      {top + "%%Page: 1 1\n%%BeginDocument: nondsc\nshowpage showpage\n"},
  };
  for (const auto& job : jobs) {
    std::string text;
    for (const std::string& part : job) text += part;
    EXPECT_EQ(partsOf(text), job);
  }
}

// ---- sides

// The job, with our procedures, which end a line of their own, replaced.
std::string rewritten(const std::string& text, const Rewriting& rewriting) {
  TemporaryDirectory directory;
  const Descriptor result = rewrittenJob(held(text, directory), rewriting, directory.path());
  std::string bytes(1000000, '\0');
  bytes.resize(readFully(result.get(), bytes.data(), bytes.size()));
  const std::size_t from = bytes.find("userdict/QvnBooklet");
  const std::string last = "rectclip}if}bind def\nend\n";
  const std::size_t end = bytes.find(last);
  if (from == bytes.npos || end == bytes.npos) return bytes;
  return bytes.replace(from, end + last.size() - from, "PROCEDURES\n");
}

TEST(Imposition, PutsPagesOnSidesAfterTheProcedures) {
  const std::string side = "\n%%BeginPageSetup\n%%EndPageSetup\n% Pages ";
  const std::string begin = " of the document; 0 is a blank one.\nQvnBooklet/side get exec\n";
  const std::string left = "false QvnBooklet/open get exec\n";
  const std::string right = "true QvnBooklet/open get exec\n";
  const std::string close = "QvnBooklet/close get exec\n";
  const std::string print = "QvnBooklet/print get exec\n";
  EXPECT_EQ(rewritten("%!PS\n%%BeginProlog\n/p{}def\n%%BeginProlog\n%%Page: i 1\r\n1 p\n"
                      "%%Page: ii 2\n2 p%%Trailer\n%%Page: 3\n3 p",
                      {.sides = {{2, 1}, {kBlankPage, 3}}}),
            "%!PS\n%%BeginProlog\nPROCEDURES\n/p{}def\n%%BeginProlog\n%%Page: 1 1" + side +
                "2 and 1" + begin + left + "2 p%%Trailer\n" + close + right + "\n1 p\n" + close +
                print + "%%Page: 2 2" + side + "0 and 3" + begin + right + "3 p\n" + close + print);
}

TEST(Imposition, AddsTheProceduresWhateverEndsTheLines) {
  for (const std::string end : {"\r", "\r\n", "\n"}) {
    const std::string top = "%!PS" + end + "%%BeginProlog";
    const std::string text =
        rewritten(top + end + "x" + end + "%%Page: 1 1" + end, {.sides = {{0, 1}}});
    EXPECT_TRUE(text.starts_with(top + end[0] + "PROCEDURES\n" + end.substr(1) + "x" + end))
        << text;
  }
}

TEST(Imposition, MakesOneCopyOfMany) {
  const auto job = [](const std::string& copies, const std::string& feature) {
    const std::string begin = "%RBIBeginNonPPDFeature: *NumCopies 12\n";
    return "%!PS\n%RBINumCopies: " + copies + "\n%%BeginProlog\n" + std::string(3000, '9') + "\n" +
           begin + feature + "/languagelevel where{pop}if\n" + begin + feature +
           "\n%%Page: 1 1\n%RBINumCopies: 12\n%%Trailer\n";
  };
  EXPECT_EQ(rewritten(job("12", "12"), {}), job("12", "12"));
  EXPECT_EQ(rewritten(job("12", "12"), {.sides = {}, .oneCopy = true}), job("1", "1"));
}

TEST(Imposition, HidesThePagesOfEmbeddedDocuments) {
  const auto document = [](const std::string& percent) {
    return "%%BeginDocument: a.eps\n" + percent + "%Page: 1 1\n(%%Trailer)show\n" + percent +
           "%Trailer\n%%EndDocument\n";
  };
  const auto job = [&](const std::string& percent) {
    return "%!PS\n%%BeginProlog\n" + document(percent) + "%%Page: 1 1\n" + document(percent) +
           "%%Trailer\n%%Pages: 1\n%%EOF\n";
  };
  EXPECT_EQ(rewritten(job("%"), {.sides = {}, .hidesEmbeddedPages = true}), job("% "));
  const std::string sides =
      rewritten(job("%"), {.sides = {{kBlankPage, 1}}, .hidesEmbeddedPages = true});
  EXPECT_NE(sides.find("PROCEDURES\n" + document("% ") + "%%Page: 1 1\n"), sides.npos) << sides;
  EXPECT_NE(sides.find("open get exec\n" + document("% ") + "QvnBooklet/close"), sides.npos)
      << sides;
}

// ---- pages of embedded documents

TEST(EmbeddedPages, AreHiddenInWholeLinesOutsideOfData) {
  const auto document = [](const std::string& percent) {
    const std::string page = percent + "%Page:";
    const std::string trailer = percent + "%Trailer";
    const std::string rest(100, 'x');
    return page + " 1 1\r" + trailer + "\r\n" + page + rest + "%%Page: 2\n" + rest + "\n\n" +
           trailer + "\n%%Pages: 1\n %%Page: 1\n%%PageTrailer\nx%%Trailer\n" +
           "%%BeginData: 9 Binary Bytes\n%%Page: 1\n%%EndData\n" + trailer +
           "\n%%BeginBinary: 9\n%%Trailer\n%%EndBinary\n" + page;
  };
  const std::string text = document("%");
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
    EXPECT_EQ(hidden, document("% ")) << "in pieces of " << size << " bytes";
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

const char kPostScript[] = "application/postscript";
const char kPdf[] = "application/pdf";

Request document(const std::string& options, const char* contentType = kPostScript) {
  return {.options = options,
          .ppd =
              "QVBookletFold: *false Booklet SaddleStitch\nQvnBookletPages: *Arrange Arranged\n"
              "QvnBlankPage: *PrinterS true false\nOptionDuplexer: *True False\n"
              "*UIConstraints: *OptionDuplexer False *QVBookletFold\n",
          .contentType = contentType,
          .pages = 6};
}

TEST(Booklet, IsHeldAndArrangedOnlyIfItHasTo) {
  struct Row {
    const char* options;
    const char* contentType;
    std::string booklet;
    std::string messages = "";
  };
  const std::string usual = "held 0|1 2|0 6|3 4|5";
  const Row rows[] = {
      {"", kPostScript, "none"},
      {"QVBookletCoverSource=Tray2", kPostScript, "none"},
      {"booklet=true OptionDuplexer=False", kPostScript, "none",
       notInstalled("booklet=true", "OptionDuplexer=False")},
      {"booklet=true", kPostScript, usual},
      {"QVBookletFold=SaddleStitch", kPostScript, usual},
      // arranged already
      {"booklet=false QVBookletFold=SaddleStitch", kPostScript, "booklet"},
      {"booklet=true QvnBookletPages=Arranged", kPostScript, "booklet"},
      {"booklet=true", kPdf, "booklet"},
      {"booklet=Yes", "", "booklet"},
      {"booklet=shuffle-only QVBookletFold=Booklet", kPdf, "booklet"},
      {"booklet=true", "application/vnd.cups-pdf", usual},
      {"booklet=true", "image/jpeg", usual},
      // the last page first
      {"booklet=true outputorder=reverse", kPostScript, "held 3|2 1|4 5|0 0|6"},
      // paper for the cover
      {"booklet=true QVBookletCoverSource=Tray2", "image/urf", "booklet, cover 1"},
      {"booklet=true QVBookletCoverSource=Tray2 output-order=reverse", kPdf, "held, cover 5"},
      {"QVBookletFold=Booklet QVBookletCoverSource=PrinterS", kPdf, usual},
      {"QVBookletFold=Booklet QVBookletCoverType=Card", kPdf, usual + ", cover 1"},
      {"QVBookletFold=Booklet QVBookletPageCountFilename=/x QVBookletCoverType=Card", kPdf,
       "booklet"},
      // blank faces of the cover
      {"booklet=true QVBookletCoverPage=true", kPostScript, usual},
      {"booklet=true QVBookletCoverPage=false QVInsideFrontCover=true", kPostScript, usual},
      {"booklet=true QVBookletCoverPage=true QVInsideFrontCover=true QVInsideBackCover=true",
       kPostScript, "held 0|0 1|6 5|2 3|4"},
      {"booklet=true QVBookletCoverPage=true QVOutsideFrontCover=true QVOutsideBackCover=true",
       kPostScript, "held 6|1 0|0 5|2 3|4"},
  };
  for (const auto& [options, contentType, booklet, messages] : rows) {
    const Completion job = complete(document(options, contentType));
    std::string found = job.counted == 1 ? "held" : job.booklet.isBooklet ? "booklet" : "none";
    found += shown(job.booklet.sides);
    if (const int side = job.additions.coverSide) found += ", cover " + std::to_string(side);
    EXPECT_EQ(found, booklet) << options << " " << contentType;
    EXPECT_EQ(job.messages, messages) << options;
  }
}

TEST(Booklet, IsNotMadeOfABannerOrWithoutPages) {
  const auto expect = [](const Request& request, const std::string& messages) {
    Completion job = complete(request);
    EXPECT_EQ(job.messages, messages);
    EXPECT_FALSE(job.booklet.isBooklet);
    EXPECT_EQ(job.values["QVBookletFold"], "false");
  };
  Request request = document("booklet=true QVBookletFold=Booklet");
  request.pages = 0;
  expect(request,
         "\nWARNING: The pages of this document cannot be arranged as a booklet, because it is "
         "PostScript without usable page comments; it is printed as it is. Convert it to PDF and "
         "print that.\n");
  request.isBanner = true;
  expect(request, "");
}

TEST(Booklet, ThatCannotBeHeldFails) {
  Request request = document("booklet=true");
  request.pages = {};
  EXPECT_TRUE(complete(request).booklet.failed);
}

TEST(Booklet, PrintsItsBlankSides) {
  const auto blank = [](const char* options) {
    return complete(document(options)).values["QvnBlankPage"];
  };
  EXPECT_EQ(blank("booklet=true QvnBlankPage=false"), "true");
  EXPECT_EQ(blank("booklet=true"), "PrinterS");
  EXPECT_EQ(blank("QvnBlankPage=false"), "false");
}

TEST(Booklet, IsManualOnAPrinterWithTheKeyword) {
  Request request = document("booklet=true");
  EXPECT_FALSE(complete(request).booklet.isManual);
  request.ppd += "*QvnManualBooklet: True";
  EXPECT_TRUE(complete(request).booklet.isManual);
}

}  // namespace
}  // namespace jobshaper::testing
