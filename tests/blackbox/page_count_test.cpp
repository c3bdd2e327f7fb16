// The page count of a booklet, which says at which page the cover sheet is asked for: the
// file that holds it and the number in it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/blackbox/booklet_jobs.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// Six pages, the cover sheet from tray 1; the pages at which it is asked for, 0 for none.
void expectCoverAt(Job job, int onlyInsidePage, int outsidePage) {
  const std::string options = job.argv().at(5);
  const auto at = [](int page) {
    const std::string number = std::to_string(page);
    return request("%%Page: " + number + " " + number + "\n",
                   "/ManualFeed false /MediaPosition 0 ");
  };
  expectBody(job.input(pages(6)).options(options + kOutside),
             pages(6, outsidePage, at(outsidePage)));
  expectBody(job.options(options + kOnlyInside),
             pages(6, onlyInsidePage,
                   "1 dict dup /Duplex false put setpagedevice\n" + at(onlyInsidePage)));
}

void expectCoverAt(std::string_view pageCount, int onlyInsidePage, int outsidePage) {
  SCOPED_TRACE(::testing::PrintToString(pageCount.substr(0, 40)));
  expectCoverAt(coverJob(pageCount, "QVBookletCoverSource=Tray1", ""), onlyInsidePage, outsidePage);
}

// A job whose page-count file is named so.
Job countFileJob(const std::string& name) {
  Job job;
  return job.options(
      "QVBookletFold=BiFold QVBookletCoverSource=Tray1 "
      "QVBookletPageCountFilename='" +
      name + "'");
}

TEST(PageCount, IsHalvedWithoutItsRemainder) {
  expectCoverAt("12", 6, 5);
  expectCoverAt("8", 4, 3);
  expectCoverAt("7", 3, 2);
  expectCoverAt("5", 2, 1);
  expectCoverAt("4", 2, 1);
  expectCoverAt("3", 1, 0);
  expectCoverAt("2", 1, 0);
}

TEST(PageCount, TooSmallANumberNeverAsksForTheCover) {
  for (const char* count : {"1", "0", "-0", "-1", "-2", "-7", "-12", ""})
    expectCoverAt(count, 0, 0);
}

TEST(PageCount, BeyondTheLastPageNeverAsksForTheCover) {
  expectCoverAt("14", 0, 6);
  expectCoverAt("16", 0, 0);
  expectCoverAt("2147483647", 0, 0);
}

TEST(PageCount, HugeNumbersDoNotWrapAround) {
  // 2^32 + 8 and its like, of which the last bits alone would be a page count of 8.
  for (const char* count :
       {"2147483648", "4294967304", "-4294967288", "18446744073709551624", "-18446744073709551608",
        "-2147483648", "-2147483649", "340282366920938463463374607431768211464"}) {
    expectCoverAt(count, 0, 0);
  }
}

TEST(PageCount, IsTheLeadingNumberOfTheText) {
  for (const char* count : {"8\n", "8\r\n", " 8", "\n8", "\r\n\t 8 \n", "+8", "  +8", "08", "0008",
                            "8 pages", "8pages", "8.9", "8,5", "8\n12\n", "8-2", "8\x8a"}) {
    expectCoverAt(count, 4, 3);
  }
  expectCoverAt(bytes("8\0"
                      "6"),
                4, 3);
}

TEST(PageCount, TextWithoutALeadingNumberCountsAsNone) {
  for (const char* count : {"pages 8", "x8", "- 8", "+ 8", "--8", "++8", "+-8", ".8", ",8", "(8)",
                            "\xef\xbb\xbf\x38", "\xff\xfe\x38", "eight", "\n\n", "+"}) {
    expectCoverAt(count, 0, 0);
  }
  expectCoverAt("0x8", 0, 0);
  expectCoverAt(bytes("\0"
                      "8"),
                0, 0);
}

// Lengths around which the two digits of the number may fall into two reads.
constexpr std::size_t kLengths[] = {1023, 4095, 8191, 16383, 65535, 1048575, 3000000};

TEST(PageCount, MayStandBehindAnyNumberOfBlanks) {
  for (const std::size_t n : kLengths) {
    SCOPED_TRACE(n);
    expectCoverAt(std::string(n, ' ') + "12", 6, 5);
    expectCoverAt(std::string(n, '\n') + "12", 6, 5);
  }
}

TEST(PageCount, MayStandBehindAnyNumberOfZeros) {
  for (const std::size_t n : kLengths) {
    SCOPED_TRACE(n);
    expectCoverAt(std::string(n, '0') + "12", 6, 5);
  }
}

TEST(PageCount, MayBeFollowedByALongText) {
  expectCoverAt("8 " + std::string(2000000, '9'), 4, 3);
  expectCoverAt("8\n" + std::string(100000, '7') + "\n", 4, 3);
}

TEST(PageCount, OfAHugeFileIsReadWithoutHoldingTheFile) {
  const Job job = countFileJob("");
  const std::string path = job.tmpFile("count");
  writeFile(path, "8\n");
  if (::truncate(path.c_str(), 6LL << 30) != 0) GTEST_FAIL() << "cannot make a sparse file";
  expectCoverAt(Job(job).options("QVBookletFold=BiFold QVBookletCoverSource=Tray1 "
                                 "QVBookletPageCountFilename='" +
                                 path + "'"),
                4, 3);
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  EXPECT_LT(children.ru_maxrss, 1L << 20) << "KiB";
}

TEST(PageCount, OfAMissingFileIsNone) {
  expectCoverAt(countFileJob("/no/such/folder/count"), 0, 0);
  expectCoverAt(countFileJob(""), 0, 0);
  expectCoverAt(Job().options("QVBookletFold=BiFold QVBookletCoverSource=Tray1"), 0, 0);
}

TEST(PageCount, OfAFolderOrADeviceIsNone) {
  expectCoverAt(countFileJob("/"), 0, 0);
  expectCoverAt(countFileJob("/dev/zero"), 0, 0);
  expectCoverAt(countFileJob("/dev/null"), 0, 0);
  expectCoverAt(countFileJob("/dev/stdin"), 0, 0);
}

TEST(PageCount, OfAPipeWithoutAWriterIsNoneAndDoesNotBlock) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.file("count").c_str(), 0600), 0);
  expectCoverAt(countFileJob(folder.file("count")), 0, 0);
}

TEST(PageCount, OfAPipeWithAWriterIsNone) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.file("count").c_str(), 0600), 0);
  const int pipe = ::open(folder.file("count").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  EXPECT_EQ(::write(pipe, "8\n", 2), 2);
  expectCoverAt(countFileJob(folder.file("count")), 0, 0);
  ::close(pipe);
}

TEST(PageCount, FileNameIsTakenAsItsBytes) {
  const TemporaryFolder folder;
  writeFile(folder.file("a b,c='\x8e"), "8");
  expectCoverAt(countFileJob(folder.file("a<20>b<2C>c<3D><27>\x8e")), 4, 3);
}

TEST(PageCount, FileMayBeALinkAndIsLeftInPlace) {
  const TemporaryFolder folder;
  writeFile(folder.file("real"), "8");
  fs::create_symlink(folder.file("real"), folder.file("count"));
  expectCoverAt(countFileJob(folder.file("count")), 4, 3);
  EXPECT_EQ(readFile(folder.file("real")), "8");
}

}  // namespace
}  // namespace jobshaper::testing
