#include "platform/descriptor.h"
#include "platform/files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace jobshaper {
namespace {

// The directory may be the only place with space, or the only one where the user can write.
TEST(NamelessFile, IsInTheDirectoryWithoutAName) {
  const testing::TemporaryDirectory directory;
  const Descriptor file = createNamelessFile(directory.path());
  ASSERT_TRUE(file.valid());
  const std::string link = "/proc/self/fd/" + std::to_string(file.get());
  const std::string name = std::filesystem::read_symlink(link);
  EXPECT_TRUE(name.starts_with(directory.path() + "/")) << name;
  EXPECT_TRUE(name.ends_with(" (deleted)")) << name;
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(EnlargePipe, LetsAPipeHoldABlock) {
  const testing::Pipe pipe, large(2 * static_cast<int>(kPipeSize));
  enlargePipe(pipe.reading());
  EXPECT_EQ(fcntl(pipe.writing(), F_GETPIPE_SZ), static_cast<int>(kPipeSize));
  enlargePipe(large.writing());
  EXPECT_EQ(fcntl(large.reading(), F_GETPIPE_SZ), 2 * static_cast<int>(kPipeSize));
}

// Whatever an earlier call has left in errno.
TEST(MoveSome, EndsWhereThereIsNothingMoreToMove) {
  testing::Pipe from;
  const testing::Pipe to;
  from.put("123");
  from.closeWriting();
  EXPECT_EQ(moveSome(from.reading(), to.writing(), 4), 3U);
  errno = EINTR;
  EXPECT_EQ(moveSome(from.reading(), to.writing(), 4), 0U);
}

// Whatever an earlier call has left in errno.
TEST(ReadAt, EndsAtTheEndOfTheFile) {
  const testing::TemporaryDirectory directory;
  const Descriptor file = createFile(directory.file("file"));
  ASSERT_TRUE(writeAt(file.get(), "123", 3, 0));
  char buffer[4] = "";
  errno = EINTR;
  EXPECT_FALSE(readAt(file.get(), buffer, sizeof buffer, 0));
  EXPECT_TRUE(readAt(file.get(), buffer, 2, 1));
  EXPECT_EQ(std::string(buffer, 2), "23");
}

}  // namespace
}  // namespace jobshaper
