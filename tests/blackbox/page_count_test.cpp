// The page count of a booklet, which decides at which page the cover sheet is requested: the
// file that holds it and the number in it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// Six pages, the cover sheet from tray 1; the pages at which it is requested, 0 for none.
void expectCoverAt(Job job, int onlyInsidePage, int outsidePage, Where where = Where::here()) {
  const std::string options = job.argv().at(5);
  const auto at = [](int page) {
    const std::string number = std::to_string(page);
    return request("%%Page: " + number + " " + number + "\n",
                   "/ManualFeed false /MediaPosition 0 ");
  };
  expectFolded(job.input(pages(6)).options(options + kOutside),
               pages(6, outsidePage, at(outsidePage)), where);
  expectFolded(job.options(options + kOnlyInside),
               pages(6, onlyInsidePage, kSimplex + at(onlyInsidePage)), where);
}

// Page counts for which the cover is requested there.
void expectCoverAt(const std::vector<std::string>& counts, int onlyInsidePage, int outsidePage,
                   Where where = Where::here()) {
  for (const std::string& count : counts) {
    const ::testing::ScopedTrace trace(
        where.file, where.line, "page count " + ::testing::PrintToString(count.substr(0, 40)));
    expectCoverAt(coverJob(count, "QVBookletCoverSource=Tray1", ""), onlyInsidePage, outsidePage,
                  where);
  }
}

// A job whose page-count file has this name.
Job countFileJob(const std::string& name) {
  return Job().options(
      "QVBookletFold=BiFold QVBookletCoverSource=Tray1 QVBookletPageCountFilename='" + name + "'");
}

TEST(PageCount, IsHalvedWithoutItsRemainder) {
  expectCoverAt({"12"}, 6, 5);
  expectCoverAt({"8"}, 4, 3);
  expectCoverAt({"7"}, 3, 2);
  expectCoverAt({"5", "4"}, 2, 1);
  expectCoverAt({"3", "2"}, 1, 0);
  expectCoverAt({"14"}, 0, 6);
}

TEST(PageCount, TooSmallOrTooLargeANumberNeverRequestsTheCover) {
  expectCoverAt({"1", "0", "-0", "-1", "-2", "-7", "-12", "", "16", "2147483647"}, 0, 0);
  // 2^32 + 8 and similar numbers, of which the last bits alone would be a page count of 8.
  expectCoverAt(
      {"2147483648", "4294967304", "-4294967288", "18446744073709551624", "-18446744073709551608",
       "-2147483648", "-2147483649", "340282366920938463463374607431768211464"},
      0, 0);
}

TEST(PageCount, IsTheLeadingNumberOfTheText) {
  expectCoverAt({"8\n", "8\r\n", " 8", "\n8", "\r\n\t 8 \n", "+8", "  +8", "08", "0008", "8 pages",
                 "8pages", "8.9", "8,5", "8\n12\n", "8-2", "8\x8a", bytes("8\0\66"),
                 "8 " + std::string(2000000, '9'), "8\n" + std::string(100000, '7') + "\n"},
                4, 3);
  expectCoverAt({"pages 8", "x8", "- 8", "+ 8", "--8", "++8", "+-8", ".8", ",8", "(8)",
                 "\xef\xbb\xbf\x38", "\xff\xfe\x38", "eight", "\n\n", "+", "0x8", bytes("\0\70")},
                0, 0);
}

// Lengths around which the two digits of the number may fall into two reads.
TEST(PageCount, MayFollowAnyNumberOfBlanksOrZeros) {
  for (const std::size_t n : {1023U, 8191U, 65535U, 3000000U}) {
    expectCoverAt(
        {std::string(n, ' ') + "12", std::string(n, '\n') + "12", std::string(n, '0') + "12"}, 6,
        5);
  }
}

TEST(PageCount, OfAHugeFileIsReadWithoutHoldingTheFile) {
  const Job job;
  const std::string path = job.tmpFile("count");
  writeFile(path, "8\n");
  ASSERT_EQ(::truncate(path.c_str(), 6LL << 30), 0) << "cannot make a sparse file";
  expectCoverAt(countFileJob(path), 4, 3);
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  EXPECT_LT(children.ru_maxrss, 1L << 20) << "KiB";
}

TEST(PageCount, IsNoneWithoutARegularFile) {
  for (const char* name :
       {"/no/such/directory/count", "", "/", "/dev/zero", "/dev/null", "/dev/stdin"}) {
    expectCoverAt(countFileJob(name), 0, 0);
  }
  expectCoverAt(Job().options("QVBookletFold=BiFold QVBookletCoverSource=Tray1"), 0, 0);
  // A pipe, without and with a writer.
  const TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.file("count").c_str(), 0600), 0);
  expectCoverAt(countFileJob(directory.file("count")), 0, 0);
  const int pipe = ::open(directory.file("count").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  EXPECT_EQ(::write(pipe, "8\n", 2), 2);
  expectCoverAt(countFileJob(directory.file("count")), 0, 0);
  ::close(pipe);
}

TEST(PageCount, FileMayHaveAnyNameAndBeALinkAndIsLeftInPlace) {
  const TemporaryDirectory directory;
  writeFile(directory.file("a b,c='\x8e"), "8");
  fs::create_symlink(directory.file("a b,c='\x8e"), directory.file("link"));
  expectCoverAt(countFileJob(directory.file("a<20>b<2C>c<3D><27>\x8e")), 4, 3);
  expectCoverAt(countFileJob(directory.file("link")), 4, 3);
  EXPECT_EQ(readFile(directory.file("link")), "8");
}

}  // namespace
}  // namespace jobshaper::testing
