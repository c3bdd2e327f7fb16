#include "filter/spill_file.h"

#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/file_size_limit.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

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

}  // namespace
}  // namespace jobshaper
