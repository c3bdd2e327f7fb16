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
  std::string content() const { return testing::readFile(directory_.file("file")); }

  // How many bytes of disk space the file occupies.
  std::int64_t allocated() const {
    struct stat status {};
    EXPECT_EQ(fstat(file_.get(), &status), 0);
    return status.st_blocks * 512;
  }

  // Whether the file system can allocate space in advance, and has enough of it.
  bool diskAllocates() const {
    struct statvfs disk {};
    const Descriptor other = createFile(directory_.file("other"));
    return fstatvfs(other.get(), &disk) == 0 &&
           disk.f_bavail * disk.f_frsize > 300 * static_cast<std::uint64_t>(kMegabyte) &&
           fallocate(other.get(), FALLOC_FL_KEEP_SIZE, 0, 4096) == 0;
  }

  testing::TemporaryDirectory directory_;
  Descriptor file_ = createFile(directory_.file("file"));
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

TEST_F(CaptureFileTest, AllocatesNothingForASmallFile) {
  CaptureFile file(file_.get());
  file.write(std::string(kMegabyte, 'x'));
  EXPECT_LT(allocated(), 2 * kMegabyte);
}

TEST_F(CaptureFileTest, AllocatesSpaceInStepsOfSixteenMegabytes) {
  CaptureFile file(file_.get());
  file.write(std::string(kMegabyte + 1, 'x'));
  const std::int64_t step = diskAllocates() ? 16 * kMegabyte : 0;
  EXPECT_GE(allocated(), step);
  EXPECT_LT(allocated(), step + 3 * kMegabyte);
  for (int i = 0; i < 15; ++i) file.write(std::string(kMegabyte, 'x'));
  EXPECT_GE(allocated(), 2 * step);
  EXPECT_EQ(content(), std::string(16 * kMegabyte + 1, 'x'));
}

TEST_F(CaptureFileTest, AllocatesEnoughForAWriteLargerThanAStep) {
  CaptureFile file(file_.get());
  file.write(std::string(40 * kMegabyte, 'x'));
  EXPECT_GE(allocated(), (diskAllocates() ? 48 : 40) * kMegabyte);
  EXPECT_LT(allocated(), 50 * kMegabyte);
}

TEST_F(CaptureFileTest, FreesWhatItDidNotUse) {
  const std::string bytes(3 * kMegabyte, 'x');
  { CaptureFile(file_.get()).write(bytes); }
  EXPECT_LT(allocated(), 4 * kMegabyte);
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

TEST_F(CaptureFileTest, ThatCannotBeWrittenAllocatesNothingMore) {
  const Descriptor reader(open(directory_.file("file").c_str(), O_RDONLY | O_CLOEXEC));
  CaptureFile file(reader.get());
  file.write(std::string(2 * kMegabyte, 'x'));
  EXPECT_EQ(allocated(), 0);
}

TEST(CaptureFile, ThatDoesNotExistTakesEverything) {
  CaptureFile file(-1);
  EXPECT_FALSE(file.exists());
  file.write(std::string(2 * kMegabyte, 'x'));
}

}  // namespace
}  // namespace jobshaper
