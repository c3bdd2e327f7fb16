// Which jobs become booklets, and how the pages of a held job are found and arranged.
#include "queue/booklet.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fcntl.h>

#include <optional>
#include <ostream>
#include <set>

#include "queue/embedded_pages.h"
#include "queue/held_job.h"
#include "queue/imposition.h"
#include "queue/option_string.h"
#include "settings/argument_store.h"
#include "tests/queue/queue_ppd.h"
#include "tests/support/program.h"

namespace jobshaper {

// For messages of failed tests.
static void PrintTo(const Side& side, std::ostream* out) { *out << side.left << '|' << side.right; }

namespace testing {
namespace {

// ---- order

TEST(BookletOrder, HasEveryPageOnceAndTheFirstOneOutside) {
  for (int pages = 1; pages <= 64; ++pages) {
    const std::vector<Side> sides = bookletSides(pages, {});
    EXPECT_EQ(sides.size(), static_cast<std::size_t>((pages + 3) / 4 * 2));
    EXPECT_EQ(sides[0], (Side{pages % 4 == 0 ? pages : kBlankPage, 1})) << pages;
    std::multiset<int> found;
    for (std::size_t i = 0; i < sides.size(); ++i) {
      // The halves of a side, and the two sides of a leaf, belong together.
      const int last = static_cast<int>(sides.size()) * 2 + 1;
      const auto [left, right] = sides[i];
      if (left != kBlankPage && right != kBlankPage) {
        EXPECT_EQ(left + right, last) << pages;
      }
      found.insert(left);
      found.insert(right);
    }
    for (int page = 1; page <= pages; ++page) EXPECT_EQ(found.count(page), 1U) << page;
  }
}

TEST(BookletOrder, LeavesFacesOfTheCoverBlank) {
  struct Row {
    CoverFaces faces;  // outside front, inside front, inside back, outside back
    int pages;
    std::vector<Side> sides;
  };
  const Row rows[] = {
      {{false, true, true, false}, 1, {{0, 0}, {1, 0}}},
      {{false, true, true, false}, 2, {{0, 0}, {1, 2}}},
      {{false, true, true, false}, 3, {{0, 0}, {1, 3}, {0, 2}, {0, 0}}},
      {{true, false, false, true}, 2, {{2, 1}, {0, 0}}},
      {{true, false, false, false}, 5, {{0, 1}, {0, 0}, {5, 2}, {3, 4}}},
      {{false, false, true, true}, 3, {{3, 0}, {0, 2}, {0, 1}, {0, 0}}},
  };
  for (const Row& row : rows) EXPECT_EQ(bookletSides(row.pages, row.faces), row.sides);
}

// ---- held jobs

// A job as it is read back: header, pages and trailer.
std::vector<std::string> partsOf(const std::string& text) {
  TemporaryDirectory directory;
  writeFile(directory.file("job"), text);
  HeldJob job;
  std::vector<std::string> parts;
  const int file = ::open(directory.file("job").c_str(), O_RDONLY);
  EXPECT_TRUE(job.read(file, directory.path()));
  ::close(file);
  if (!job.hasPages()) return parts;
  const auto add = [&](const Part& part) {
    std::string bytes;
    EXPECT_TRUE(job.forEachBlock(part, [&](std::string_view block) {
      bytes += block;
      return true;
    }));
    parts.push_back(bytes);
  };
  add(job.header());
  for (const Part& page : job.pages()) add(page);
  add(job.trailer());
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
       "%%Page: 2 2\n%%EndDocument\n", "%%Trailer\n"},
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
  writeFile(directory.file("job"), text);
  HeldJob job;
  const int file = ::open(directory.file("job").c_str(), O_RDONLY);
  EXPECT_TRUE(job.read(file, directory.path()));
  ::close(file);
  const Descriptor result = rewrittenJob(job, rewriting, directory.path());
  std::string bytes(1000000, '\0');
  bytes.resize(readFully(result.get(), bytes.data(), bytes.size()));
  return bytes;
}

TEST(Imposition, PutsPagesOnSidesAfterTheProcedures) {
  const std::string header = "%!PS\n%%BeginProlog\n/p{}def\n%%BeginProlog\n";
  const std::string job = header + "%%Page: i 1\r\n1 p\n%%Page: ii 2\n2 p%%Trailer\n%%Page: 3\n3 p";
  const std::string text = rewritten(job, {.sides = {{2, 1}, {kBlankPage, 3}}});
  const std::size_t first = text.find("userdict/QvnBooklet");
  EXPECT_EQ(text.substr(0, first), "%!PS\n%%BeginProlog\n");
  const std::size_t rest = text.find("/p{}def\n");
  EXPECT_EQ(text.substr(rest - 4, 4), "end\n");
  EXPECT_EQ(text.substr(rest),
            "/p{}def\n%%BeginProlog\n"
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
    const std::string text =
        rewritten("%!PS" + end + "%%BeginProlog" + end + "x" + end + "%%Page: 1 1" + end,
                  {.sides = {{0, 1}}});
    EXPECT_EQ(text.find("userdict/QvnBooklet"), ("%!PS%%BeginProlog" + end).size() + 1);
    EXPECT_NE(text.find("end\n" + end.substr(1) + "x" + end), text.npos);
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
  const std::string document = "%%Page: 1 1\n(%%Trailer)show\n%%Trailer\n%%EndDocument\n";
  const std::string hidden = "% %Page: 1 1\n(%%Trailer)show\n% %Trailer\n%%EndDocument\n";
  const std::string begin = "%%BeginDocument: a.eps\n";
  const std::string header = "%!PS\n%%BeginProlog\n" + begin;
  const std::string page = "%%Page: 1 1\n" + begin;
  const std::string trailer = "%%Trailer\n%%Pages: 1\n%%EOF\n";
  const std::string job = header + document + page + document + trailer;
  EXPECT_EQ(rewritten(job, {.sides = {}, .hidesEmbeddedPages = true}),
            header + hidden + page + hidden + trailer);
  const std::string sides =
      rewritten(job, {.sides = {{kBlankPage, 1}}, .hidesEmbeddedPages = true});
  EXPECT_NE(sides.find("end\n" + begin + hidden + "%%Page: 1 1\n%%BeginPageSetup\n"), sides.npos);
  EXPECT_NE(sides.find("open get exec\n" + begin + hidden + "QvnBooklet/close"), sides.npos);
}

// ---- pages of embedded documents

// What becomes of a text that comes in pieces of this size.
std::string hidden(std::string_view text, std::size_t size) {
  std::string result;
  EmbeddedPages pages([&](std::string_view bytes) {
    result += bytes;
    return true;
  });
  for (std::size_t at = 0; at < text.size(); at += size) {
    EXPECT_TRUE(pages.take(text.substr(at, size)));
  }
  EXPECT_TRUE(pages.finish());
  return result;
}

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
    for (std::size_t size = 1; size <= 20; ++size) EXPECT_EQ(hidden(text, size), expected) << size;
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

struct Settled {
  CompletedJob job;
  std::string said;
  int counted = 0;
};

Settled settled(const std::string& options, std::optional<int> pages, const std::string& content,
                const std::string& more = "") {
  TemporaryDirectory directory;
  const std::string path = directory.file("printer.ppd");
  writeFile(path, ppdWith(ppdOption("QVBookletFold", "false Booklet SaddleStitch", "false") +
                          "*OpenGroup: InstallableOptions/Options\n" +
                          ppdOption("OptionDuplexer", "True False", "True") +
                          "*CloseGroup: InstallableOptions\n"
                          "*UIConstraints: *OptionDuplexer False *QVBookletFold\n" +
                          more));
  Settled result;
  QueueJob job;
  job.options = options.c_str();
  job.copies = "1";
  job.ppdPath = path.c_str();
  job.origin.contentType = content;
  job.countPages = [&] {
    ++result.counted;
    return pages;
  };
  ::testing::internal::CaptureStderr();
  result.job = completedJob(job);
  result.said = ::testing::internal::GetCapturedStderr();
  return result;
}

TEST(Booklet, ThatCannotBeHeldFails) {
  const Settled booklet = settled("booklet=true", std::nullopt, "application/postscript");
  EXPECT_TRUE(booklet.job.booklet.failed);
  EXPECT_EQ(booklet.counted, 1);
}

TEST(Booklet, IsHeldOnlyIfItHasTo) {
  struct Row {
    const char* options;
    const char* content;
    int counted;
    int coverSide;
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
      {"booklet=true QVBookletCoverSource=Tray2 output-order=reverse", "application/pdf", 1, 6},
      {"QVBookletFold=Booklet QVBookletCoverSource=PrinterS", "application/pdf", 1, 0},
      {"QVBookletFold=Booklet QVBookletCoverType=Card", "application/pdf", 1, 1},
      {"QVBookletFold=Booklet QVBookletPageCountFilename=/x QVBookletCoverType=Card",
       "application/pdf", 0, 0},
  };
  for (const Row& row : rows) {
    const Settled booklet = settled(row.options, 7, row.content);
    EXPECT_EQ(booklet.counted, row.counted) << row.options << row.content;
    EXPECT_EQ(booklet.job.additions.coverSide, row.coverSide) << row.options << row.content;
    EXPECT_EQ(booklet.said, "") << row.options;
  }
}

TEST(Booklet, PrintsItsBlankSides) {
  const std::string ppd = ppdOption("QvnBlankPage", "PrinterS true false", "PrinterS");
  const auto blank = [&](const char* options) {
    const Settled job = settled(options, 4, "application/postscript", ppd);
    argumentStore store;
    store.initWithOptionString(job.job.options.c_str());
    return std::string(store.getValue("QvnBlankPage"_option).value_or(""));
  };
  EXPECT_EQ(blank("booklet=true QvnBlankPage=false"), "true");
  EXPECT_EQ(blank("booklet=true"), "PrinterS");
  EXPECT_EQ(blank("QvnBlankPage=false"), "false");
}

TEST(Booklet, WithoutADuplexerIsIgnored) {
  const Settled booklet = settled("booklet=true OptionDuplexer=False", 4, "application/postscript");
  EXPECT_EQ(booklet.said,
            "\nWARNING: booklet=true needs equipment that is not installed (OptionDuplexer=False); "
            "it is ignored. If it is installed, tell the queue with lpadmin -p QUEUE -o.\n");
  EXPECT_FALSE(booklet.job.booklet.isBooklet);
  EXPECT_EQ(booklet.counted, 0);
}

TEST(Booklet, IsManualOnAPrinterWithTheKeyword) {
  EXPECT_FALSE(settled("booklet=true", 4, "").job.booklet.isManual);
  EXPECT_TRUE(settled("booklet=true", 4, "", "*QvnManualBooklet: True\n").job.booklet.isManual);
}

}  // namespace
}  // namespace testing
}  // namespace jobshaper
