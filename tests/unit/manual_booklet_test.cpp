// The reordering of manual booklets in files: every orientation, the temporary files, and the
// reversed run of pages.
#include "booklet/manual_booklet.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "platform/system.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::writeFile;

constexpr std::string_view kFirstPass =
    "statusdict dup /setmanualduplexmode known {begin 1 setmanualduplexmode end}{pop}ifelse\n";
constexpr std::string_view kSecondPass =
    "statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse\n";
constexpr std::string_view kNoFile = "ERROR: Unable to create necessary file.\n";
constexpr std::string_view kNoRearranging = "ERROR: Critical error in rearranging pages.\n";

constexpr std::string_view kTop = "%!PS\n%%EndSetup\n";
constexpr std::string_view kPages[] = {"",
                                       "%%Page: 1 1\n1a\n1b\n1c\n1d\n",
                                       "%%Page: 2 2\n2a\n2b\n2c\n2d\n",
                                       "%%Page: 3 3\n3a\n3b\n3c\n3d\n",
                                       "%%Page: 4 4\n4a\n4b\n4c\n4d\n",
                                       "%%Page: 5 5\n5a\n5b\n5c\n5d\n",
                                       "%%Page: 6 6\n6a\n6b\n6c\n6d\n",
                                       "%%Page: 7 7\n7a\n7b\n7c\n7d\n",
                                       "%%Page: 8 8\n8a\n8b\n8c\n8d\n"};
constexpr std::string_view kBlank = "%%Page: 1 1\n1a\n1b\n1c\ncg_md begin\nbp\nsdmtx\nep\nend\n";

template <typename... Parts>
std::string join(const Parts&... parts) {
  std::string result;
  (result.append(std::string_view(parts)), ...);
  return result;
}

// "31": page 3, then page 1.
std::string pages(std::string_view numbers) {
  std::string result;
  for (const char number : numbers) result += kPages[number - '0'];
  return result;
}

// A private temporary directory, and the system version of the test.
class ManualBookletParts : public ::testing::Test {
 protected:
  ManualBookletParts() {
    if (const char* value = getenv("TMPDIR")) before_ = value;
    setenv("TMPDIR", folder_.path().c_str(), 1);
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

  std::string path(std::string_view name) const { return folder_.file(name); }
  std::string content(std::string_view name) const { return readFile(path(name)); }
  std::string tmpLine() const { return join("tmp at ", folder_.path(), " \n"); }

  // Reorders the job and stores the messages in errors_.
  int order(std::string_view job, std::optional<std::string_view> orientation = std::nullopt,
            bool onlyInside = false, const std::string& jobId = "42") {
    writeFile(path("job.ps"), job);
    const int input = open(path("job.ps").c_str(), O_RDONLY | O_CLOEXEC);
    ::testing::internal::CaptureStderr();
    const int result =
        manualBookletOrder(input, path("reordered.ps"), jobId, orientation, onlyInside);
    errors_ = ::testing::internal::GetCapturedStderr();
    char byte;
    inputStaysOpen_ = read(input, &byte, 1) >= 0;
    inputIsReadToItsEnd_ =
        inputStaysOpen_ && lseek(input, 0, SEEK_CUR) == static_cast<off_t>(job.size());
    close(input);
    return result;
  }

  void expectOrdered(std::string_view job, std::optional<std::string_view> orientation,
                     bool onlyInside, std::string_view output) {
    EXPECT_EQ(order(job, orientation, onlyInside), 1);
    EXPECT_EQ(errors_, tmpLine());
    EXPECT_EQ(content("reordered.ps"), output);
    EXPECT_TRUE(inputStaysOpen_);
    EXPECT_TRUE(inputIsReadToItsEnd_);
  }

  void expectFiles(std::string_view odd, std::string_view even, std::string_view newEven,
                   std::string_view newOdd) const {
    EXPECT_EQ(content("pageReOrdered42"), odd);
    EXPECT_EQ(content("pageEven42"), even);
    EXPECT_EQ(content("newEvenOrder42"), newEven);
    EXPECT_EQ(content("newOddOrder42"), newOdd);
  }

  testing::TemporaryFolder folder_;
  std::string errors_;
  bool inputStaysOpen_ = false;
  bool inputIsReadToItsEnd_ = false;

 private:
  std::optional<std::string> before_;
  std::int32_t versionBefore_ = version;
};

// ---- pages in input order

struct Forwards {
  std::string_view in, odd, even, newEven;  // page numbers in the files
};

void PrintTo(const Forwards& forwards, std::ostream* out) { *out << forwards.in; }

class ManualBookletForwards : public ManualBookletParts,
                              public ::testing::WithParamInterface<Forwards> {
 protected:
  void expectBlankFirst(std::optional<std::string_view> orientation, bool onlyInside) {
    const auto& [in, odd, even, newEven] = GetParam();
    const std::string front = join(kTop, kFirstPass, pages(odd));
    expectOrdered(join(kTop, pages(in), "%%Trailer\n%%EOF\n"), orientation, onlyInside,
                  join(front, kSecondPass, kBlank, onlyInside ? kBlank : "", pages(even)));
    expectFiles(front, pages(even), pages(newEven), "");
    EXPECT_FALSE(fs::exists(path("headerPS42")));
  }

  void expectBlankLast(bool onlyInside) {
    const auto& [in, odd, even, newEven] = GetParam();
    const std::string front = join(kTop, kFirstPass, pages(odd));
    expectOrdered(join(kTop, pages(in), "%%Trailer\n%%EOF\n"), "Down", onlyInside,
                  join(front, kSecondPass, onlyInside ? kBlank : "", pages(even), kBlank));
    expectFiles(front, pages(even), pages(newEven), "");
    EXPECT_FALSE(fs::exists(path("headerPS42")));
  }
};

TEST_P(ManualBookletForwards, WithoutOrientationThereIsABlankPageFirst) {
  expectBlankFirst(std::nullopt, false);
}

TEST_P(ManualBookletForwards, WithoutOrientationThereAreTwoBlankPagesForTheInside) {
  expectBlankFirst(std::nullopt, true);
}

TEST_P(ManualBookletForwards, AnyOtherOrientationIsLikeNone) {
  for (const char* orientation : {"", "up", "UP", "Upside", "down", "Left", " Down"}) {
    expectBlankFirst(orientation, false);
    expectBlankFirst(orientation, true);
  }
}

TEST_P(ManualBookletForwards, DownHasTheBlankPageLast) { expectBlankLast(false); }

TEST_P(ManualBookletForwards, DownHasABlankPageOnBothEndsForTheInside) { expectBlankLast(true); }

INSTANTIATE_TEST_SUITE_P(Pages, ManualBookletForwards,
                         ::testing::Values(Forwards{"1", "1", "", ""}, Forwards{"12", "1", "2", ""},
                                           Forwards{"123", "13", "2", ""},
                                           Forwards{"1234", "13", "42", "2"},
                                           Forwards{"12345", "135", "42", "2"},
                                           Forwards{"123456", "135", "642", "42"},
                                           Forwards{"1234567", "1357", "642", "42"},
                                           Forwards{"12345678", "1357", "8642", "642"}));

// ---- odd pages last first

struct Backwards {
  std::string_view in, odd, newOdd, even, newEven;
};

void PrintTo(const Backwards& backwards, std::ostream* out) { *out << backwards.in; }

class ManualBookletUp : public ManualBookletParts, public ::testing::WithParamInterface<Backwards> {
 protected:
  void expectBackwards(bool onlyInside) {
    const auto& [in, odd, newOdd, even, newEven] = GetParam();
    const std::string front = join(kTop, kFirstPass, pages(odd));
    expectOrdered(join(kTop, pages(in), "%%Trailer\n%%EOF\n"), "Up", onlyInside,
                  join(front, kSecondPass, kBlank, onlyInside ? kBlank : "", pages(even)));
    expectFiles(front, pages(even), pages(newEven), pages(newOdd));
    EXPECT_EQ(content("headerPS42"), join(kTop, kFirstPass));
  }
};

TEST_P(ManualBookletUp, HasOddAndEvenPagesLastFirst) { expectBackwards(false); }

TEST_P(ManualBookletUp, HasTwoBlankPagesForTheInside) { expectBackwards(true); }

INSTANTIATE_TEST_SUITE_P(Pages, ManualBookletUp,
                         ::testing::Values(Backwards{"1", "1", "", "", ""},
                                           Backwards{"12", "1", "", "2", ""},
                                           Backwards{"123", "31", "1", "2", ""},
                                           Backwards{"1234", "31", "1", "42", "2"},
                                           Backwards{"12345", "531", "31", "42", "2"},
                                           Backwards{"123456", "531", "31", "642", "42"},
                                           Backwards{"1234567", "7531", "531", "642", "42"},
                                           Backwards{"12345678", "7531", "531", "8642", "642"}));

// ---- jobs without pages

TEST_F(ManualBookletParts, OfAJobWithoutPagesAreItsHeaderAndProceduresAlone) {
  const std::string_view blank = "cg_md begin\nbp\nsdmtx\nep\nend\n";
  for (const std::optional<std::string_view> orientation :
       {std::optional<std::string_view>(), std::optional<std::string_view>("Down"),
        std::optional<std::string_view>("Up")}) {
    expectOrdered(join(kTop, "%%Trailer\n", kPages[1]), orientation, false,
                  join(kTop, kSecondPass, blank));
    expectFiles(kTop, "", "", "");
    EXPECT_FALSE(fs::exists(path("headerPS42")));
    expectOrdered(kTop, orientation, true, join(kTop, kSecondPass, blank, blank));
  }
}

TEST_F(ManualBookletParts, OfAnEmptyJobAreABlankPage) {
  expectOrdered("", std::nullopt, false, join(kSecondPass, "cg_md begin\nbp\nsdmtx\nep\nend\n"));
  expectFiles("", "", "", "");
}

// ---- text

TEST_F(ManualBookletParts, AreUtf8ButForTheBlankPage) {
  const std::string job =
      testing::bytes("% \x8a\n%%Page: 1 1\n% \xdb\0x\na\xf0\nb\n%%Page: 2 2\n\xff\0\n");
  const std::string blank = join(testing::bytes("%%Page: 1 1\n% \xdb\0x\na\xf0\nb\n"),
                                 "cg_md begin\nbp\nsdmtx\nep\nend\n");
  const std::string page1 = "%%Page: 1 1\n% \u20aca\uf8ff\nb\n";
  const std::string page2 = "%%Page: 2 2\n\u02c7";
  const std::string front = join("% \u00e4\n", kFirstPass, page1);
  expectOrdered(job, std::nullopt, true, join(front, kSecondPass, blank, blank, page2));
  expectFiles(front, page2, "", "");
  expectOrdered(job, "Up", false, join(front, kSecondPass, blank, page2));
  EXPECT_EQ(content("headerPS42"), join("% \u00e4\n", kFirstPass));
}

TEST_F(ManualBookletParts, HaveNoUnterminatedLastLine) {
  expectOrdered(join(kTop, kPages[1], kPages[2], "%%Page: 3 3"), "Up", false,
                join(kTop, kFirstPass, kPages[1], kSecondPass, kBlank, kPages[2]));
  expectFiles(join(kTop, kFirstPass, kPages[1]), kPages[2], "", "");
}

// ---- system version

TEST_F(ManualBookletParts, RestoreInTheBlankPageBefore1050) {
  const std::string blank = join(kBlank, "userdict /ESPsave get restore\n");
  for (const std::int32_t old : {0, 0x1030, 0x1049, 0x104f}) {
    version = old;
    expectOrdered(join(kTop, pages("12")), std::nullopt, true,
                  join(kTop, kFirstPass, pages("1"), kSecondPass, blank, blank, pages("2")));
    expectOrdered(join(kTop, pages("12")), "Down", true,
                  join(kTop, kFirstPass, pages("1"), kSecondPass, blank, pages("2"), blank));
  }
}

TEST_F(ManualBookletParts, DoNotRestoreFrom1050On) {
  for (const std::int32_t current : {0x1050, 0x1051, 0x1450}) {
    version = current;
    expectOrdered(join(kTop, pages("12")), std::nullopt, false,
                  join(kTop, kFirstPass, pages("1"), kSecondPass, kBlank, pages("2")));
  }
}

// ---- files

TEST_F(ManualBookletParts, ReplaceThoseOfAnEarlierRun) {
  for (const char* name : {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42",
                           "headerPS42", "reordered.ps"}) {
    writeFile(path(name), std::string(5000, 'o'));
  }
  expectOrdered(join(kTop, pages("12345")), "Up", false,
                join(kTop, kFirstPass, pages("531"), kSecondPass, kBlank, pages("42")));
  expectFiles(join(kTop, kFirstPass, pages("531")), pages("42"), pages("2"), pages("31"));
  EXPECT_EQ(content("headerPS42"), join(kTop, kFirstPass));
}

TEST_F(ManualBookletParts, BearTheJobIdAsItIs) {
  EXPECT_EQ(order(join(kTop, pages("123")), "Up", false, "%s 7"), 1);
  for (const char* name : {"pageReOrdered%s 7", "pageEven%s 7", "newEvenOrder%s 7",
                           "newOddOrder%s 7", "headerPS%s 7"}) {
    EXPECT_TRUE(fs::exists(path(name))) << name;
  }
}

TEST_F(ManualBookletParts, ThatCannotBeCreatedAreReported) {
  for (const char* name :
       {"pageReOrdered42", "pageEven42", "newEvenOrder42", "newOddOrder42", "reordered.ps"}) {
    fs::remove(path(name));
    fs::create_directory(path(name));
    EXPECT_EQ(order(join(kTop, pages("12345"))), 0) << name;
    EXPECT_EQ(errors_, join(tmpLine(), kNoFile)) << name;
    fs::remove(path(name));
  }
}

TEST_F(ManualBookletParts, OfAJobIdWithASlashCannotBeCreated) {
  fs::create_directory(path("pageReOrdered"));
  EXPECT_EQ(order(join(kTop, pages("12")), std::nullopt, false, "/7"), 0);
  EXPECT_EQ(errors_, join(tmpLine(), kNoFile));
  EXPECT_TRUE(fs::is_empty(path("pageReOrdered")));
}

TEST_F(ManualBookletParts, IncludeAHeaderFileForUpAlone) {
  fs::create_directory(path("headerPS42"));
  EXPECT_EQ(order(join(kTop, pages("12345")), "Up"), 0);
  EXPECT_EQ(errors_, join(tmpLine(), kNoFile));
  EXPECT_EQ(order(join(kTop, pages("12345"))), 1);
  EXPECT_EQ(order(join(kTop, pages("12345")), "Down"), 1);
}

TEST_F(ManualBookletParts, WithoutSpaceForTheReversedPagesReportItTwice) {
  const std::string text(400000, 'x');
  const std::string evens = join("%%Page: 1\n%%Page: 2\n", text, "\n%%Page: 3\n%%Page: 4\n", text,
                                 "\n%%Page: 5\n%%Page: 6\n", text, "\n%%Page: 7\n");
  const std::string odds = join("%%Page: 1\n", text, "\n%%Page: 2\n%%Page: 3\n", text,
                                "\n%%Page: 4\n%%Page: 5\n", text, "\n");
  for (const auto& [job, orientation] : {std::pair{evens, std::optional<std::string_view>()},
                                         std::pair{evens, std::optional<std::string_view>("Down")},
                                         std::pair{odds, std::optional<std::string_view>("Up")}}) {
    writeFile(path("job.ps"), job);
    const int input = open(path("job.ps").c_str(), O_RDONLY | O_CLOEXEC);
    const testing::FileSizeLimit limit(500000);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(manualBookletOrder(input, path("reordered.ps"), "42", orientation, false), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), join(tmpLine(), kNoFile, kNoRearranging));
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

  int rearrange(std::int32_t pageNumber, PageFile* reversed) {
    ::testing::internal::CaptureStderr();
    const int result = reArrangedPages(pageNumber, side_, reversed, path("side"), path("reversed"));
    errors_ = ::testing::internal::GetCapturedStderr();
    return result;
  }

  // The side file is empty, and the caller can continue to write to it.
  void expectSideGoesOn() {
    EXPECT_EQ(content("side"), "");
    side_.write("next");
    EXPECT_TRUE(side_.flush());
    EXPECT_EQ(content("side"), "next");
  }

  PageFile side_;
};

// If a page did not fit on the disk, the move must fail.
TEST_F(ReArrangedPages, FailWhenThePageCannotBeWritten) {
  ASSERT_TRUE(side_.open(path("side")));
  const testing::FileSizeLimit limit(1000);
  side_.write(std::string(1001, 'x'));
  EXPECT_EQ(rearrange(4, nullptr), 0);
  EXPECT_EQ(errors_, kNoFile);
}

class ReArrangedFirstPage : public ReArrangedPages,
                            public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(ReArrangedFirstPage, ReplacesTheReversedFile) {
  writeFile(path("reversed"), "old content");
  fill("page");
  EXPECT_EQ(rearrange(GetParam(), nullptr), 1);
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(content("reversed"), "page");
  expectSideGoesOn();
}

TEST_P(ReArrangedFirstPage, WorksWithAReversedStream) {
  PageFile reversed;
  ASSERT_TRUE(reversed.open(path("reversed")));
  fill("page");
  EXPECT_EQ(rearrange(GetParam(), &reversed), 1);
  EXPECT_EQ(content("reversed"), "page");
  expectSideGoesOn();
}

TEST_P(ReArrangedFirstPage, NeedsNoReversedFile) {
  fill("page");
  EXPECT_EQ(rearrange(GetParam(), nullptr), 1);
  EXPECT_EQ(content("reversed"), "page");
}

INSTANTIATE_TEST_SUITE_P(Numbers, ReArrangedFirstPage, ::testing::Values(3, 4));

class ReArrangedLaterPage : public ReArrangedPages,
                            public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(ReArrangedLaterPage, IsPutInFrontOfTheReversedPages) {
  writeFile(path("reversed"), "older pages");
  fill("page, ");
  EXPECT_EQ(rearrange(GetParam(), nullptr), 1);
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(content("reversed"), "page, older pages");
  expectSideGoesOn();
}

TEST_P(ReArrangedLaterPage, WorksWithAReversedStream) {
  PageFile reversed;
  ASSERT_TRUE(reversed.open(path("reversed")));
  reversed.write("older pages");
  ASSERT_TRUE(reversed.flush());
  fill("page, ");
  EXPECT_EQ(rearrange(GetParam(), &reversed), 1);
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(content("reversed"), "page, older pages");
  expectSideGoesOn();
}

TEST_P(ReArrangedLaterPage, KeepsEveryByte) {
  const std::string page = testing::bytes("\0\r\n\x80\xff");
  writeFile(path("reversed"), page);
  fill(page);
  EXPECT_EQ(rearrange(GetParam(), nullptr), 1);
  EXPECT_EQ(content("reversed"), page + page);
}

INSTANTIATE_TEST_SUITE_P(Numbers, ReArrangedLaterPage, ::testing::Values(2, 5, 6, 7, 2147483647));

TEST_F(ReArrangedPages, BuildTheReversedRunCallByCall) {
  fill("2");
  EXPECT_EQ(rearrange(4, nullptr), 1);
  side_.write("4");
  EXPECT_TRUE(side_.flush());
  EXPECT_EQ(rearrange(6, nullptr), 1);
  side_.write("6");
  EXPECT_TRUE(side_.flush());
  EXPECT_EQ(rearrange(8, nullptr), 1);
  EXPECT_EQ(content("reversed"), "642");
  EXPECT_EQ(content("side"), "");
}

TEST_F(ReArrangedPages, ReportASideFileThatCannotBeReopened) {
  for (const std::int32_t pageNumber : {3, 4, 5, 6}) {
    writeFile(path("reversed"), "older pages");
    fill("page");
    fs::remove(path("side"));
    fs::create_directory(path("side"));
    EXPECT_EQ(rearrange(pageNumber, nullptr), 0) << pageNumber;
    EXPECT_EQ(errors_, kNoFile) << pageNumber;
    fs::remove(path("side"));
  }
}

TEST_F(ReArrangedPages, ReportAReversedFileThatCannotBeWritten) {
  fs::create_directory(path("reversed"));
  for (const std::int32_t pageNumber : {3, 4, 5, 6}) {
    fill("page");
    EXPECT_EQ(rearrange(pageNumber, nullptr), 0) << pageNumber;
    EXPECT_EQ(errors_, kNoFile) << pageNumber;
  }
}

}  // namespace
}  // namespace jobshaper
