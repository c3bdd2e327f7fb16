// Compares the filter with the reference implementation on random jobs. JOBSHAPER_REFERENCE_JOBS is
// the number of jobs, and JOBSHAPER_REFERENCE_SEED the seed of the first; each further job has the
// next seed, so that a job that differs can be repeated alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/reference/comparison.h"
#include "tests/reference/program_under_test.h"
#include "tests/reference/reference_filter.h"
#include "tests/reference/reference_reordering.h"

namespace jobshaper::reference {
namespace {

std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
  const char* text = std::getenv(variable);
  return text && *text ? std::strtoull(text, nullptr, 10) : otherwise;
}

std::uint64_t jobs() { return numberFrom("JOBSHAPER_REFERENCE_JOBS", 3000); }
std::uint64_t firstSeed() { return numberFrom("JOBSHAPER_REFERENCE_SEED", 1); }

// A fraction of the jobs, at least one.
std::uint64_t shareOfJobs(std::uint64_t share) { return (jobs() + share - 1) / share; }

template <typename Job, typename Make>
void expectSame(std::uint64_t count, const Make& make, const Comparison<Job>& same) {
  for (std::uint64_t i = 0; i < count; ++i) {
    const Job job = make(firstSeed() + i);
    std::string report;
    if (same(job, report)) continue;
    std::string shortened;
    if (same(smallest(job, same), shortened)) shortened = report;
    FAIL() << "after " << i << " jobs that are the same\n" << shortened;
  }
}

TEST(ReferenceComparison, AgreesOnTheReordering) {
  const Comparison<ReorderingJob> same = [](const ReorderingJob& job, std::string& report) {
    return matchesReference(job, report);
  };
  expectSame<ReorderingJob>(shareOfJobs(10), randomReorderingJob, same);
}

TEST(ReferenceComparison, AgreesOnMovingAPage) {
  for (std::uint64_t i = 0; i < shareOfJobs(10); ++i) {
    std::string report;
    ASSERT_TRUE(rearrangesLikeReference(firstSeed() + i, report)) << report;
  }
}

TEST(ReferenceComparison, AgreesOnTheRewriting) {
  const Comparison<RandomJob> same = [](const RandomJob& job, std::string& report) {
    return matchesReference(job, report);
  };
  expectSame<RandomJob>(jobs(), randomJob, same);
}

TEST(ReferenceComparison, AgreesOnTheWholeProgram) {
  const Comparison<RandomJob> same = [](const RandomJob& job, std::string& report) {
    return matchesReference(job, runProgram(job), report);
  };
  expectSame<RandomJob>(shareOfJobs(50), randomJob, same);
}

TEST(ReferenceComparison, AgreesOnJobsFromBytes) {
  for (std::uint64_t i = 0; i < shareOfJobs(20); ++i) {
    RandomGenerator generator(firstSeed() + i);
    std::string bytes;
    for (std::size_t n = generator.below(kChoiceBytes + 4); n > 0; --n) {
      bytes += static_cast<char>(generator.below(256));
    }
    bytes += randomJob(firstSeed() + i).job.input;
    std::string report;
    ASSERT_TRUE(matchesReference(jobFromBytes(bytes), report)) << report;
    ASSERT_TRUE(matchesReference(reorderingJobFromBytes(bytes), report)) << report;
  }
}

// Tests the comparison itself: it reports every difference.
TEST(ReferenceComparison, ReportsEveryDifference) {
  RandomJob random;
  random.job.input = "%!PS\n@PJL JOB\n%%Page: 1 1\n";
  random.job.capture = true;
  std::string report;
  const FilterOutput good = runFilter(random);
  ASSERT_TRUE(matchesReference(random, good, report)) << report;
  const auto expectReported = [&](const FilterOutput& bad, const char* what) {
    std::string told;
    EXPECT_FALSE(matchesReference(random, bad, told)) << what;
    EXPECT_NE(told.find(what), told.npos) << told;
    EXPECT_NE(told.find("%%Page: 1 1"), told.npos) << told;
  };
  FilterOutput bad = good;
  bad.printed.pop_back();
  expectReported(bad, "standard output");
  bad = good;
  bad.captureIn += ' ';
  expectReported(bad, "the capture of the job");
  bad = good;
  bad.captureOut[0] = ' ';
  expectReported(bad, "the capture of the output");
  bad = good;
  bad.messages = "ERROR: something\n";
  expectReported(bad, "standard error");
  bad = good;
  bad.leftovers = "pageEven ";
  expectReported(bad, "temporary directory");
  bad = good;
  bad.status = 1;
  expectReported(bad, "exit status");
}

TEST(ReferenceComparison, MakesTheJobSmaller) {
  RandomJob random = randomJob(7);
  random.job.input = "one\ntwo @PJL three\nfour\n";
  const Comparison<RandomJob> same = [](const RandomJob& job, std::string&) {
    return job.job.input.find("@PJL ") == std::string::npos;
  };
  const RandomJob small = smallest(random, same);
  EXPECT_EQ(small.job.input, "@PJL ");
  EXPECT_TRUE(small.job.options.empty());
  EXPECT_FALSE(small.delivery.pipe);
}

TEST(ReferenceComparison, JobsAreTheSameForTheSameSeed) {
  EXPECT_EQ(describe(randomJob(5)), describe(randomJob(5)));
  EXPECT_NE(describe(randomJob(5)), describe(randomJob(6)));
  EXPECT_EQ(describe(randomReorderingJob(5)), describe(randomReorderingJob(5)));
  EXPECT_NE(describe(randomReorderingJob(5)), describe(randomReorderingJob(6)));
}

// Expected results that are written out, so that the reference implementation and the filter cannot
// be wrong together.
TEST(ReferenceComparison, ReordersPagesOfAShortJob) {
  const std::string first =
      "statusdict dup /setmanualduplexmode known {begin 1 setmanualduplexmode end}{pop}ifelse\n";
  const std::string second =
      "statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse\n";
  const std::string blank = "%%Page: 1\na\n%%Page: 2\nb\ncg_md begin\nbp\nsdmtx\nep\nend\n";
  const ReorderedJob job = reorder(
      "H\n%%Page: 1\na\n%%Page: 2\nb\n%%Page: 3\nc\n%%Page: 4\nd\n%%Page: 5\ne\n%%Trailer\nT\n",
      std::nullopt, false, 0x1050);
  EXPECT_EQ(job.output, "H\n" + first + "%%Page: 1\na\n%%Page: 3\nc\n%%Page: 5\ne\n" + second +
                            blank + "%%Page: 4\nd\n%%Page: 2\nb\n");
  const ReorderedJob up = reorder("H\n%%Page: 1\n%%Page: 2\n%%Page: 3\n\xdb\n", "Up", true, 0x1049);
  const std::string blankUp =
      "%%Page: 1\n%%Page: 2\n%%Page: 3\n\xdb\ncg_md begin\nbp\nsdmtx\nep\nend\n"
      "userdict /ESPsave get restore\n";
  EXPECT_EQ(up.output, "H\n" + first + "%%Page: 3\n\xe2\x82\xac\n%%Page: 1\n" + second + blankUp +
                           blankUp + "%%Page: 2\n");
}

TEST(ReferenceComparison, RepeatsThePageSizeAfterThePaperSource) {
  JobParameters job;
  job.deviceUri = "usb:x";
  job.version = 0x102f;
  job.input =
      "@PJL JOB\n*PageSize A\nEndFeature\nInputSlot 1\nx cleartomark\nJobPatchFile\n1\n2\n"
      "InputSlot 2\r\ncleartomark y\n%%BeginProlog\nend";
  const std::string block = "x cleartomark\n[{\n*PageSize A\nEndFeature\n} stopped cleartomark\n";
  EXPECT_EQ(runReference(job).printed, "*PageSize A\nEndFeature\nInputSlot 1\n" + block +
                                           "InputSlot 2\r\n" + block +
                                           "%%BeginProlog\n%%BeginFeature: *JobPatchFile 1\n"
                                           "%%Quorvan Macintosh PPD File 1\n%%EndFeature\nend");
}

}  // namespace
}  // namespace jobshaper::reference
