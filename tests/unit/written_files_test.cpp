// How the files that a job is kept in grow: a capture, a feature that is too large for memory, and
// the pages of a manual booklet.
#include <fcntl.h>
#include <sys/stat.h>

#include "booklet/page_file.h"
#include "filter/capture_file.h"
#include "filter/spill_file.h"
#include "platform/files.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

TEST(CaptureFile, AllocatesStepsOfSixteenMegabytesAfterTheFirstAndFreesTheRest) {
  constexpr std::int64_t kMegabyte = 1024 * 1024;
  const testing::TemporaryDirectory directory;
  const Descriptor disk = createFile(directory.file("disk")),
                   file = createFile(directory.file("file"));
  if (std::filesystem::space(directory.path()).available < 300 * kMegabyte ||
      fallocate(disk.get(), FALLOC_FL_KEEP_SIZE, 0, 4096) != 0) {
    GTEST_SKIP() << "The disk does not allocate space in advance.";
  }
  const auto allocated = [&] {
    struct stat status {};
    EXPECT_EQ(fstat(file.get(), &status), 0);
    return status.st_blocks * 512 / kMegabyte;
  };
  // The sizes of the writes in bytes, and what is allocated in megabytes, rounded down.
  const std::pair<std::int64_t, std::int64_t> rows[] = {
      {kMegabyte, 1}, {1, 16}, {15 * kMegabyte - 1, 16}, {1, 32}, {20 * kMegabyte, 48}};
  {
    CaptureFile capture(file.get());
    for (const auto& [bytes, expected] : rows) {
      capture.write(std::string(static_cast<std::size_t>(bytes), 'x'));
      EXPECT_EQ(allocated(), expected) << bytes << " bytes more";
    }
  }
  EXPECT_EQ(std::filesystem::file_size(directory.file("file")), 36 * kMegabyte + 1);
  EXPECT_EQ(allocated(), 36);
}

TEST(CaptureFile, StaysABeginningOnceItCouldNotBeWritten) {
  const testing::TemporaryDirectory directory;
  const std::string path = directory.file("file");
  const Descriptor file = createFile(path);
  CaptureFile capture(file.get());
  capture.write("one ");
  {
    const testing::FileSizeLimit limit(6);
    capture.write("two ");
  }
  capture.write("three");
  EXPECT_EQ(testing::readFile(path), "one tw");
}

TEST(SpillFile, HoldsEverythingInOrderAlsoOnAFullDisk) {
  for (const rlim_t size : {0UL, 65536UL, 100000UL, 1UL << 20}) {
    const testing::TemporaryDirectory directory;
    auto limit = std::make_unique<testing::FileSizeLimit>(size);
    SpillFile file(directory.path());
    std::string whole, read;
    for (int line = 0; whole.size() < 300000; ++line) {
      const std::string text = std::to_string(line) + std::string(1000, 'x');
      EXPECT_TRUE(file.append(text));
      whole += text;
      if (whole.size() > 200000) limit.reset();  // a write that failed is not tried again
    }
    EXPECT_TRUE(file.forEachPart([&](std::string_view part) { read.append(part); }));
    EXPECT_TRUE(read == whole) << size;
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
  }
}

// A user who sends a feature without an end must not exhaust the memory.
TEST(SpillFile, HoldsFourMebibytesInMemoryAndNotAByteMore) {
  const testing::TemporaryDirectory directory;
  for (const std::size_t last : {65536U, 65537U}) {
    SpillFile inMemory("/nonexistent"), onDisk(directory.path());
    for (SpillFile* file : {&inMemory, &onDisk}) {
      for (int i = 0; i < 63; ++i) EXPECT_TRUE(file->append(std::string(65536, 'x')));
    }
    EXPECT_EQ(inMemory.append(std::string(last, 'y')), last == 65536) << last;
    EXPECT_TRUE(onDisk.append(std::string(last, 'y')));
  }
}

TEST(PageFile, GathersLinesIntoLargeWrites) {
  const testing::TemporaryDirectory directory;
  const std::string path = directory.file("pages"), line(64, 'x');
  for (const auto write : {&PageFile::write, &PageFile::writeMacRoman}) {
    PageFile file;
    ASSERT_TRUE(file.open(path));
    const auto sizeAfter = [&](int lines) {
      for (int i = 0; i < lines; ++i) (file.*write)(line);
      return std::filesystem::file_size(path);
    };
    EXPECT_EQ(sizeAfter(1023), 0U);
    EXPECT_EQ(sizeAfter(1), 65536U);
    EXPECT_EQ(sizeAfter(1), 65536U);
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(sizeAfter(0), 65600U);
  }
}

}  // namespace
}  // namespace jobshaper
