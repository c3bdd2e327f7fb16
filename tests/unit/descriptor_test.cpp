#include "platform/descriptor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

#ifdef __linux__
// The folder may be the only place with room, or the only one where the user may write.
TEST(NamelessFile, LiesInTheFolderAndHasLostItsName) {
  const testing::TemporaryFolder folder;
  const Descriptor file = createNamelessFile(folder.path());
  ASSERT_TRUE(file.valid());
  const std::string link = "/proc/self/fd/" + std::to_string(file.get());
  const std::string name = std::filesystem::read_symlink(link);
  EXPECT_TRUE(name.starts_with(folder.path() + "/")) << name;
  EXPECT_TRUE(name.ends_with(" (deleted)")) << name;
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}
#endif

}  // namespace
}  // namespace jobshaper
