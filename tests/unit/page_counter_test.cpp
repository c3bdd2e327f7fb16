// The messages about the pages of a job that CUPS reads.
#include "filter/page_counter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <initializer_list>

namespace jobshaper::testing {
namespace {

using Lines = std::initializer_list<const char*>;

// What is written to standard error for a job of these lines.
std::string messages(const JobState& job, Lines lines) {
  ::testing::internal::CaptureStderr();
  PageCounter counter(job);
  for (const char* const line : lines) counter.see(line);
  counter.finish();
  return ::testing::internal::GetCapturedStderr();
}

std::string messages(Lines lines) { return messages(JobState(), lines); }

JobState jobOf(const char* copies) {
  JobState job;
  job.copiesArgument = copies;
  return job;
}

TEST(PageCounter, ReportsEachPage) {
  EXPECT_EQ(messages({"%!PS\n", "%%Page: 1 1\n", "x %%Page: 1 1\n", "%%Page: (last) 2\n",
                      "%%Pages: 2\n", "%%page: 3 3\n"}),
            "PAGE: 1 1\nPAGE: 2 1\n");
}

// The messages of two reports, each after one page, and of what is left when the job is canceled.
std::string reports(std::chrono::hours interval) {
  ::testing::internal::CaptureStderr();
  {
    const JobState job;
    PageCounter counter(job, interval);
    for (const char* const page : {"%%Page: 1 1\n", "%%Page: 2 2\n"}) {
      counter.see(page);
      counter.report();
      counter.report();
      std::fputs("reported\n", stderr);
    }
    counter.see("%%Page: 3 3\n");
  }
  return ::testing::internal::GetCapturedStderr();
}

TEST(PageCounter, ReportsOnceAndAlsoWhenTheJobIsCanceled) {
  EXPECT_EQ(reports(std::chrono::hours(0)),
            "PAGE: 1 1\nreported\nPAGE: 2 1\nreported\nPAGE: 3 1\n");
}

TEST(PageCounter, DoesNotReportEachPageOfAFastJob) {
  EXPECT_EQ(reports(std::chrono::hours(1)),
            "PAGE: 1 1\nreported\nreported\nPAGE: 2 1\nPAGE: 3 1\n");
}

TEST(PageCounter, ReportsTheCopiesThatThePrinterMakes) {
  EXPECT_EQ(messages(jobOf("3"), {"%RBINumCopies: 3\n", "%%Page: 1 1\n", "%%Page: 2 2\n"}),
            "PAGE: 1 3\nPAGE: 2 3\n");
  // CUPS has repeated the pages, or there is only one copy.
  EXPECT_EQ(messages(jobOf("3"), {"%!PS\n", "%%Page: 1 1\n"}), "PAGE: 1 1\n");
  EXPECT_EQ(messages(jobOf(""), {"%RBINumCopies: 0\n", "%%Page: 1 1\n"}), "PAGE: 1 1\n");
}

TEST(PageCounter, TakesNoCopiesFromTheDocument) {
  EXPECT_EQ(messages(jobOf("3"), {"%RBINumCopies: 3\n", "%RBINumCopies: 1\n", "%%Page: 1 1\n",
                                  "%RBINumCopies: 900\n", "%%Page: 2 2\n"}),
            "PAGE: 1 3\nPAGE: 2 3\n");
  EXPECT_EQ(messages(jobOf("1"), {"%RBINumCopies: 900\n", "%%Page: 1 1\n"}), "PAGE: 1 1\n");
  EXPECT_EQ(messages(jobOf("3"), {"%%Page: 1 1\n", "%RBINumCopies: 3\n", "%%Page: 2 2\n"}),
            "PAGE: 1 1\nPAGE: 2 1\n");
}

TEST(PageCounter, CountsNoPagesOfDocumentsWithinTheJob) {
  EXPECT_EQ(messages({"%%Page: 1 1\n", "%%BeginDocument: a.eps\n", "%%Page: 1 1\n",
                      "%%BeginDocument: b.eps\n", "%%Page: 1 1\n", "%%EndDocument\n",
                      "%%Page: 2 2\n", "%%EndDocument\n", "%%Page: 2 2\n"}),
            "PAGE: 1 1\nPAGE: 2 1\n");
}

TEST(PageCounter, GoesOnAfterAnEndThatHasNoBeginning) {
  EXPECT_EQ(messages({"%%EndDocument\n", "%%Page: 1 1\n", "%%BeginDocument: a\n", "%%Page: 1 1\n",
                      "%%EndDocument\n", "%%Page: 2 2\n"}),
            "PAGE: 1 1\nPAGE: 2 1\n");
}

TEST(PageCounter, CountsTheBackOfTheLastSheetOfACopy) {
  JobState job = jobOf("2");
  job.additions.wholeSheets = true;
  const char* const copies = "%RBINumCopies: 2\n";
  const char* const page = "%%Page: 1 1\n";
  EXPECT_EQ(messages(job, {copies, page, page, page}),
            "PAGE: 1 2\nPAGE: 2 2\nPAGE: 3 2\nPAGE: 4 2\n");
  EXPECT_EQ(messages(job, {copies, page, page}), "PAGE: 1 2\nPAGE: 2 2\n");
  EXPECT_EQ(messages(job, {page, page, page}), "PAGE: 1 1\nPAGE: 2 1\nPAGE: 3 1\n");
  // CUPS prints a single page on one side.
  EXPECT_EQ(messages(job, {copies, page}), "PAGE: 1 2\n");
}

TEST(PageCounter, CountsNoBlankPagesOfAManualBooklet) {
  JobState job = jobOf("2");
  job.manualBooklet = true;
  const char* const page = "%%Page: 1 1\n";
  EXPECT_EQ(messages(job, {"%RBINumCopies: 2\n", page, page, page}), "PAGE: 1 2\nPAGE: 2 2\n");
  EXPECT_EQ(messages(job, {}), "");
  job.onlyInside = true;
  EXPECT_EQ(messages(job, {page, page, page}), "PAGE: 1 1\n");
}

}  // namespace
}  // namespace jobshaper::testing
