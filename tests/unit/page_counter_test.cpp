// The messages about the pages of a job that CUPS reads.
#include "filter/page_counter.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

constexpr const char* kPage = "%%Page: 1 1\n";
constexpr const char* kTwoCopies = "%RBINumCopies: 2\n";

// For a job of these lines, the number of pages and of their copies that CUPS is told.
void expectPages(const JobState& job, const std::vector<std::string>& lines, int pages, int copies,
                 Where where = Where::here()) {
  ::testing::internal::CaptureStderr();
  PageCounter counter(job);
  for (const std::string& line : lines) counter.see(line);
  counter.finish();
  std::string expected;
  for (int page = 1; page <= pages; ++page) {
    expected += "PAGE: " + std::to_string(page) + " " + std::to_string(copies) + "\n";
  }
  expectSame(::testing::internal::GetCapturedStderr(), expected, "messages",
             ::testing::PrintToString(lines), where);
}

JobState jobOf(const char* copies) {
  JobState job;
  job.copiesArgument = copies;
  return job;
}

// The messages of two reports, each after one page, and of what is left when the job is canceled.
std::string reports(std::chrono::hours interval) {
  ::testing::internal::CaptureStderr();
  {
    const JobState job;
    PageCounter counter(job, interval);
    for (int i = 0; i < 2; ++i) {
      counter.see(kPage);
      counter.report();
      counter.report();
      std::fputs("reported\n", stderr);
    }
    counter.see(kPage);
  }
  return ::testing::internal::GetCapturedStderr();
}

TEST(PageCounter, ReportsNotTooOftenAndAlsoWhenTheJobIsCanceled) {
  EXPECT_EQ(reports(std::chrono::hours(0)),
            "PAGE: 1 1\nreported\nPAGE: 2 1\nreported\nPAGE: 3 1\n");
  EXPECT_EQ(reports(std::chrono::hours(1)),
            "PAGE: 1 1\nreported\nreported\nPAGE: 2 1\nPAGE: 3 1\n");
}

TEST(PageCounter, CountsLinesThatBeginAPageOfTheJobItself) {
  const JobState job;
  expectPages(
      job,
      {"%!PS\n", kPage, "x %%Page: 1 1\n", "%%Page: (last) 2\n", "%%Pages: 2\n", "%%page: 3 3\n"},
      2, 1);
  const char* const begin = "%%BeginDocument: a.eps\n";
  const char* const end = "%%EndDocument\n";
  expectPages(job, {kPage, begin, kPage, begin, kPage, end, kPage, end, kPage}, 2, 1);
  expectPages(job, {end, kPage, begin, kPage, end, kPage}, 2, 1);
}

TEST(PageCounter, ReportsTheCopiesThatThePrinterMakes) {
  expectPages(jobOf("2"), {kTwoCopies, kPage, kPage}, 2, 2);
  // CUPS has repeated the pages, or there is only one copy.
  expectPages(jobOf("2"), {"%!PS\n", kPage}, 1, 1);
  expectPages(jobOf(""), {"%RBINumCopies: 0\n", kPage}, 1, 1);
  // The document cannot change them.
  expectPages(jobOf("2"), {kTwoCopies, "%RBINumCopies: 1\n", kPage, "%RBINumCopies: 9\n", kPage}, 2,
              2);
  expectPages(jobOf("1"), {"%RBINumCopies: 9\n", kPage}, 1, 1);
  expectPages(jobOf("2"), {kPage, kTwoCopies, kPage}, 2, 1);
}

TEST(PageCounter, CountsTheBackOfTheLastSheetOfACopy) {
  JobState job = jobOf("2");
  job.additions.wholeSheets = true;
  expectPages(job, {kTwoCopies, kPage, kPage, kPage}, 4, 2);
  expectPages(job, {kTwoCopies, kPage, kPage}, 2, 2);
  expectPages(job, {kPage, kPage, kPage}, 3, 1);
  // CUPS prints a single page on one side.
  expectPages(job, {kTwoCopies, kPage}, 1, 2);
}

TEST(PageCounter, CountsNoBlankPagesOfAManualBooklet) {
  JobState job = jobOf("2");
  job.manualBooklet = true;
  expectPages(job, {kTwoCopies, kPage, kPage, kPage}, 2, 2);
  expectPages(job, {}, 0, 1);
  job.onlyInside = true;
  expectPages(job, {kPage, kPage, kPage}, 1, 1);
}

}  // namespace
}  // namespace jobshaper::testing
