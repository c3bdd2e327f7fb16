#include "booklet/page_file.h"

#include "tests/support/program.h"

namespace jobshaper {
namespace {

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
