// The reordering of manual booklets beyond what a job can show: other orientations, the temporary
// files, and the reversed run of pages.
#include "booklet/manual_booklet.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/system.h"
#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"

namespace jobshaper {
namespace {

namespace fs = std::filesystem;
using testing::join;
using testing::kBlank;
using testing::kFirstPass;
using testing::kNoFile;
using testing::kNoRearranging;
using testing::kPages;
using testing::kProcedures;
using testing::kRestore;
using testing::kSecondPass;
using testing::kTop;
using testing::pages;
using testing::readFile;
using testing::Where;
using testing::writeFile;
using Orientation = std::optional<std::string_view>;

// A private temporary directory, and the system version of the test.
class ManualBookletParts : public ::testing::Test {
 protected:
  ManualBookletParts() {
    if (const char* value = getenv("TMPDIR")) before_ = value;
    setenv("TMPDIR", directory_.path().c_str(), 1);
    version = 0x1050;
    // The first record of a process makes the log name the temporary directory.
    ::testing::internal::CaptureStderr();
    PageFile side;
    reArrangedPages(4, side, nullptr, path("none/side"), path("none/reversed"));
    ::testing::internal::GetCapturedStderr();
  }
  ~ManualBookletParts() override {
    version = versionBefore_;
    unsetenv("TMPDIR");
    if (before_) setenv("TMPDIR", before_->c_str(), 1);
  }

  std::string path(std::string_view name) const { return directory_.file(name); }
  std::string content(std::string_view name) const { return readFile(path(name)); }

  // Reorders the job and stores the messages after the line that names the directory in errors_.
  int order(std::string_view job, Orientation orientation = std::nullopt, bool onlyInside = false,
            const std::string& jobId = "42") {
    writeFile(path("job.ps"), job);
    const int input = open(path("job.ps").c_str(), O_RDONLY | O_CLOEXEC);
    ::testing::internal::CaptureStderr();
    const int result =
        manualBookletOrder(input, path("reordered.ps"), jobId, orientation, onlyInside);
    errors_ = ::testing::internal::GetCapturedStderr();
    const std::string line = join("tmp at ", directory_.path(), " \n");
    EXPECT_TRUE(errors_.starts_with(line)) << errors_;
    errors_.erase(0, line.size());
    readToTheEnd_ = lseek(input, 0, SEEK_CUR) == static_cast<off_t>(job.size());
    EXPECT_EQ(close(input), 0);  // still open
    return result;
  }

  // What the files of the job "42" hold. `header` is the header file, if there is one.
  struct Files {
    std::string reordered, odd, even, newEven = {}, newOdd = {}, header = {};
  };

  void expectOrdered(std::string_view job, Orientation orientation, bool onlyInside,
                     const Files& files, Where where = Where::here()) {
    const ::testing::ScopedTrace trace(where.file, where.line, orientation.value_or("none"));
    EXPECT_EQ(order(job, orientation, onlyInside), 1);
    EXPECT_EQ(errors_, "");
    EXPECT_TRUE(readToTheEnd_);
    EXPECT_EQ(content("reordered.ps"), files.reordered);
    EXPECT_EQ(content("pageReOrdered42"), files.odd);
    EXPECT_EQ(content("pageEven42"), files.even);
    EXPECT_EQ(content("newEvenOrder42"), files.newEven);
    EXPECT_EQ(content("newOddOrder42"), files.newOdd);
    EXPECT_EQ(fs::exists(path("headerPS42")) ? content("headerPS42") : "", files.header);
    fs::remove(path("headerPS42"));
  }

  testing::TemporaryDirectory directory_;
  std::string errors_;
  bool readToTheEnd_ = false;

 private:
  std::optional<std::string> before_;
  std::int32_t versionBefore_ = version;
};

// The numbers of the pages in the job and in the files.
TEST_F(ManualBookletParts, ArePutTogetherForEveryOrientation) {
  const struct {
    std::string_view in, odd, even, newEven, oddUp, newOddUp;
  } rows[] = {{"1", "1", "", "", "1", ""},
              {"12", "1", "2", "", "1", ""},
              {"123", "13", "2", "", "31", "1"},
              {"1234", "13", "42", "2", "31", "1"},
              {"12345", "135", "42", "2", "531", "31"},
              {"123456", "135", "642", "42", "531", "31"},
              {"1234567", "1357", "642", "42", "7531", "531"},
              {"12345678", "1357", "8642", "642", "7531", "531"}};
  for (const auto& [in, odd, even, newEven, oddUp, newOddUp] : rows) {
    const std::string job = join(kTop, pages(in), "%%Trailer\n%%EOF\n");
    for (const bool onlyInside : {false, true}) {
      const std::string front = join(kTop, kFirstPass, pages(odd));
      const std::string_view second = onlyInside ? kBlank : "";
      const std::string first = join(front, kSecondPass, kBlank, second, pages(even));
      for (const Orientation any : {Orientation(), Orientation(""), Orientation("up"),
                                    Orientation("UP"), Orientation("Upside"), Orientation("down"),
                                    Orientation("Left"), Orientation(" Down")}) {
        expectOrdered(job, any, onlyInside, {first, front, pages(even), pages(newEven)});
      }
      const std::string last = join(front, kSecondPass, second, pages(even), kBlank);
      expectOrdered(job, "Down", onlyInside, {last, front, pages(even), pages(newEven)});
      const std::string frontUp = join(kTop, kFirstPass, pages(oddUp));
      expectOrdered(job, "Up", onlyInside,
                    {join(frontUp, kSecondPass, kBlank, second, pages(even)), frontUp, pages(even),
                     pages(newEven), pages(newOddUp), join(kTop, kFirstPass)});
    }
  }
}

TEST_F(ManualBookletParts, OfAJobWithoutPagesAreItsHeaderAndProceduresAlone) {
  const std::string top(kTop);
  for (const Orientation orientation : {Orientation(), Orientation("Down"), Orientation("Up")}) {
    expectOrdered(join(kTop, "%%Trailer\n", kPages[1]), orientation, false,
                  {join(kTop, kSecondPass, kProcedures), top, ""});
    expectOrdered(kTop, orientation, true,
                  {join(kTop, kSecondPass, kProcedures, kProcedures), top, ""});
    expectOrdered("", orientation, false, {join(kSecondPass, kProcedures), "", ""});
  }
}

TEST_F(ManualBookletParts, HaveUtf8AlsoInTheHeaderFileAndNoUnterminatedLastLine) {
  const std::string start = testing::bytes("%%Page: 1 1\n% \xdb\0x\na\xf0\nb\n");
  const std::string page1 = "%%Page: 1 1\n% \u20aca\uf8ff\nb\n";
  const std::string page2 = "%%Page: 2 2\n\u02c7";
  const std::string header = join("% \u00e4\n", kFirstPass);
  expectOrdered(join("% \x8a\n", start, testing::bytes("%%Page: 2 2\n\xff\0\n%%Page: 3 3")), "Up",
                false,
                {join(header, page1, kSecondPass, start, kProcedures, page2), header + page1, page2,
                 "", "", header});
}

TEST_F(ManualBookletParts, RestoreInBothBlankPagesBefore1050) {
  const std::string front = join(kTop, kFirstPass, pages("1"));
  for (const std::int32_t number : {0, 0x1030, 0x1049, 0x104f, 0x1050, 0x1051, 0x1450}) {
    version = number;
    const std::string blank = join(kBlank, number < 0x1050 ? kRestore : "");
    expectOrdered(join(kTop, pages("12")), "Down", true,
                  {join(front, kSecondPass, blank, pages("2"), blank), front, pages("2")});
  }
}

// ---- files

TEST_F(ManualBookletParts, ReplaceThoseOfAnEarlierRun) {
  for (const char* name : {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42",
                           "headerPS42", "reordered.ps"}) {
    writeFile(path(name), std::string(5000, 'o'));
  }
  const std::string front = join(kTop, kFirstPass, pages("531"));
  expectOrdered(join(kTop, pages("12345")), "Up", false,
                {join(front, kSecondPass, kBlank, pages("42")), front, pages("42"), pages("2"),
                 pages("31"), join(kTop, kFirstPass)});
}

TEST_F(ManualBookletParts, HaveTheJobIdInTheirNames) {
  EXPECT_EQ(order(join(kTop, pages("123")), "Up", false, "%s 7"), 1);
  for (const char* name : {"pageReOrdered%s 7", "pageEven%s 7", "newEvenOrder%s 7",
                           "newOddOrder%s 7", "headerPS%s 7"}) {
    EXPECT_TRUE(fs::exists(path(name))) << name;
  }
  // One with a slash would be in another directory.
  fs::create_directory(path("pageReOrdered"));
  EXPECT_EQ(order(join(kTop, pages("12")), std::nullopt, false, "/7"), 0);
  EXPECT_EQ(errors_, kNoFile);
  EXPECT_TRUE(fs::is_empty(path("pageReOrdered")));
}

TEST_F(ManualBookletParts, AreReportedIfTheyCannotBeCreated) {
  for (const char* name : {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42",
                           "reordered.ps", "headerPS42"}) {
    fs::remove(path(name));
    fs::create_directory(path(name));
    EXPECT_EQ(order(join(kTop, pages("12345")), "Up"), 0) << name;
    EXPECT_EQ(errors_, kNoFile) << name;
    // Only "Up" has a header file.
    const int result = name == std::string_view("headerPS42") ? 1 : 0;
    EXPECT_EQ(order(join(kTop, pages("12345"))), result) << name;
    EXPECT_EQ(order(join(kTop, pages("12345")), "Down"), result) << name;
    fs::remove(path(name));
  }
}

TEST_F(ManualBookletParts, WithoutSpaceForTheReversedPagesAreReportedTwice) {
  const std::string text(400000, 'x');
  const std::string evens = join("%%Page: 1\n%%Page: 2\n", text, "\n%%Page: 3\n%%Page: 4\n", text,
                                 "\n%%Page: 5\n%%Page: 6\n", text, "\n%%Page: 7\n");
  const std::string odds = join("%%Page: 1\n", text, "\n%%Page: 2\n%%Page: 3\n", text,
                                "\n%%Page: 4\n%%Page: 5\n", text, "\n");
  for (const auto& [job, orientation] :
       {std::pair{evens, Orientation()}, std::pair{evens, Orientation("Down")},
        std::pair{odds, Orientation("Up")}}) {
    writeFile(path("job.ps"), job);
    const int input = open(path("job.ps").c_str(), O_RDONLY | O_CLOEXEC);
    const testing::FileSizeLimit limit(500000);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(manualBookletOrder(input, path("reordered.ps"), "42", orientation, false), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              join("tmp at ", directory_.path(), " \n", kNoFile, kNoRearranging));
    close(input);
  }
}

// ---- the reversed run of pages

class ReArrangedPages : public ManualBookletParts {
 protected:
  // Writes a page to the side file, as the caller does before the next page of the same parity.
  void fill(std::string_view page) {
    ASSERT_TRUE(side_.open(path("side")));
    side_.write(page);
    ASSERT_TRUE(side_.flush());
  }

  int rearrange(std::int32_t pageNumber, PageFile* reversed = nullptr) {
    ::testing::internal::CaptureStderr();
    const int result = reArrangedPages(pageNumber, side_, reversed, path("side"), path("reversed"));
    errors_ = ::testing::internal::GetCapturedStderr();
    return result;
  }

  // After page `pageNumber`, the reversed file has this content, and the side file, which is empty,
  // can be written.
  void expectReversed(std::int32_t pageNumber, PageFile* reversed, std::string_view expected) {
    EXPECT_EQ(rearrange(pageNumber, reversed), 1) << pageNumber;
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(content("reversed"), expected) << pageNumber;
    EXPECT_EQ(content("side"), "");
    side_.write("next");
    EXPECT_TRUE(side_.flush());
    EXPECT_EQ(content("side"), "next");
  }

  PageFile side_;
};

TEST_F(ReArrangedPages, FirstPageReplacesTheReversedFileAndLaterPagesComeBeforeItsContent) {
  const std::string page = testing::bytes("\0\r\n\x80\xff page, ");
  for (const std::int32_t number : {3, 4, 2, 5, 6, 7, 2147483647}) {
    const bool first = number == 3 || number == 4;
    const std::string expected = page + (first ? "" : "older pages");
    writeFile(path("reversed"), "older pages");
    fill(page);
    expectReversed(number, nullptr, expected);
    PageFile reversed;
    ASSERT_TRUE(reversed.open(path("reversed")));
    reversed.write("older pages");
    ASSERT_TRUE(reversed.flush());
    fill(page);
    expectReversed(number, &reversed, expected);
    if (!first) continue;
    fs::remove(path("reversed"));
    fill(page);
    expectReversed(number, nullptr, expected);
  }
}

TEST_F(ReArrangedPages, BuildTheReversedRunCallByCall) {
  fill("2");
  EXPECT_EQ(rearrange(4), 1);
  for (const auto& [number, page] : {std::pair{6, "4"}, std::pair{8, "6"}}) {
    side_.write(page);
    EXPECT_TRUE(side_.flush());
    EXPECT_EQ(rearrange(number), 1);
  }
  EXPECT_EQ(content("reversed"), "642");
  EXPECT_EQ(content("side"), "");
}

TEST_F(ReArrangedPages, ReportEitherFileThatCannotBeOpened) {
  for (const char* name : {"side", "reversed"}) {
    for (const std::int32_t number : {3, 4, 5, 6}) {
      writeFile(path("reversed"), "older pages");
      fill("page");
      fs::remove(path(name));
      fs::create_directory(path(name));
      EXPECT_EQ(rearrange(number), 0) << name << number;
      EXPECT_EQ(errors_, kNoFile) << name << number;
      fs::remove(path(name));
    }
  }
}

TEST_F(ReArrangedPages, FailIfThePageDoesNotFitOnTheDisk) {
  ASSERT_TRUE(side_.open(path("side")));
  const testing::FileSizeLimit limit(1000);
  side_.write(std::string(1001, 'x'));
  EXPECT_EQ(rearrange(4), 0);
  EXPECT_EQ(errors_, kNoFile);
}

}  // namespace
}  // namespace jobshaper
