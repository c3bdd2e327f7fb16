#include "filter/capture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

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

  struct stat status() const {
    struct stat status {};
    EXPECT_EQ(fstat(file_.get(), &status), 0);
    return status;
  }
  // How many megabytes of disk space the file occupies.
  std::int64_t allocated() const { return status().st_blocks * 512 / kMegabyte; }

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

TEST_F(CaptureFileTest, AllocatesStepsOfSixteenMegabytesAfterTheFirstAndFreesTheRest) {
  if (!diskAllocates()) GTEST_SKIP() << "The disk does not allocate space in advance.";
  // The sizes of the writes in bytes, and what is allocated in megabytes, rounded down.
  struct Row {
    std::int64_t bytes, allocated;
  };
  {
    CaptureFile file(file_.get());
    for (const auto& [bytes, expected] :
         {Row{kMegabyte, 1}, Row{1, 16}, Row{15 * kMegabyte - 1, 16}, Row{1, 32},
          Row{20 * kMegabyte, 48}}) {
      file.write(std::string(static_cast<std::size_t>(bytes), 'x'));
      EXPECT_EQ(allocated(), expected) << bytes << " bytes more";
    }
  }
  EXPECT_EQ(status().st_size, 36 * kMegabyte + 1);
  EXPECT_EQ(allocated(), 36);
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
  file.write(std::string(2 * kMegabyte, 'x'));
  EXPECT_EQ(allocated(), 0);
}

}  // namespace
}  // namespace jobshaper
