#include "filter/capture_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "platform/files.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

constexpr std::int64_t kMegabyte = 1024 * 1024;

class CaptureFileTest : public ::testing::Test {
 protected:
  std::string content() const { return testing::readFile(folder_.file("file")); }

  // How many bytes of disk space the file occupies.
  std::int64_t room() const {
    struct stat status {};
    EXPECT_EQ(fstat(file_.get(), &status), 0);
    return status.st_blocks * 512;
  }

  // Whether the file system can allocate space ahead, and has enough of it.
  bool diskReserves() const {
    struct statvfs disk {};
    const Descriptor other = createFile(folder_.file("other"));
    return fstatvfs(other.get(), &disk) == 0 &&
           disk.f_bavail * disk.f_frsize > 300 * static_cast<std::uint64_t>(kMegabyte) &&
           fallocate(other.get(), FALLOC_FL_KEEP_SIZE, 0, 4096) == 0;
  }

  testing::TemporaryFolder folder_;
  Descriptor file_ = createFile(folder_.file("file"));
};

TEST_F(CaptureFileTest, TakesSpansAndTextsInOrder) {
  CaptureFile file(file_.get());
  EXPECT_TRUE(file.exists());
  char first[] = "one ";
  char second[] = "two ";
  iovec spans[] = {{first, 4}, {second, 4}};
  file.write(spans, 2);
  file.write("three");
  EXPECT_EQ(content(), "one two three");
}

TEST_F(CaptureFileTest, ReservesNothingForASmallFile) {
  CaptureFile file(file_.get());
  file.write(std::string(kMegabyte, 'x'));
  EXPECT_LT(room(), 2 * kMegabyte);
}

TEST_F(CaptureFileTest, ReservesSpaceInStepsOfSixteenMegabytes) {
  CaptureFile file(file_.get());
  file.write(std::string(kMegabyte + 1, 'x'));
  const std::int64_t reserved = diskReserves() ? 16 * kMegabyte : 0;
  EXPECT_GE(room(), reserved);
  EXPECT_LT(room(), reserved + 3 * kMegabyte);
  for (int i = 0; i < 15; ++i) file.write(std::string(kMegabyte, 'x'));
  EXPECT_GE(room(), 2 * reserved);
  EXPECT_EQ(content(), std::string(16 * kMegabyte + 1, 'x'));
}

TEST_F(CaptureFileTest, ReservesForAWriteLargerThanAStep) {
  CaptureFile file(file_.get());
  file.write(std::string(40 * kMegabyte, 'x'));
  EXPECT_GE(room(), (diskReserves() ? 48 : 40) * kMegabyte);
  EXPECT_LT(room(), 50 * kMegabyte);
}

TEST_F(CaptureFileTest, GivesBackWhatItDidNotUse) {
  const std::string bytes(3 * kMegabyte, 'x');
  { CaptureFile(file_.get()).write(bytes); }
  EXPECT_LT(room(), 4 * kMegabyte);
  EXPECT_TRUE(content() == bytes);
}

TEST_F(CaptureFileTest, StaysABeginningOnceItCouldNotBeWritten) {
  CaptureFile file(file_.get());
  file.write("one ");
  {
    const testing::FileSizeLimit limit(6);
    file.write("two ");
  }
  file.write("three");
  EXPECT_EQ(content(), "one tw");
}

TEST_F(CaptureFileTest, ThatCannotBeWrittenReservesNothingMore) {
  const Descriptor reader(open(folder_.file("file").c_str(), O_RDONLY | O_CLOEXEC));
  CaptureFile file(reader.get());
  file.write(std::string(2 * kMegabyte, 'x'));
  EXPECT_EQ(room(), 0);
}

TEST(CaptureFile, ThatDoesNotExistTakesEverything) {
  CaptureFile file(-1);
  EXPECT_FALSE(file.exists());
  file.write(std::string(2 * kMegabyte, 'x'));
}

}  // namespace
}  // namespace jobshaper
