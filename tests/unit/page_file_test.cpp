#include "booklet/page_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/program.h"

namespace jobshaper {
namespace {

class PageFileTest : public ::testing::Test {
 protected:
  PageFileTest() { EXPECT_TRUE(file_.open(path_)); }
  std::uintmax_t size() const { return std::filesystem::file_size(path_); }

  testing::TemporaryDirectory directory_;
  const std::string path_ = directory_.file("pages");
  PageFile file_;
};

TEST_F(PageFileTest, GathersLinesIntoLargeWrites) {
  const std::string line(64, 'x');
  for (int i = 0; i < 1023; ++i) file_.write(line);
  EXPECT_EQ(size(), 0U);
  file_.write(line);
  EXPECT_EQ(size(), 65536U);
  file_.write(line);
  EXPECT_EQ(size(), 65536U);
  EXPECT_TRUE(file_.flush());
  EXPECT_EQ(size(), 65600U);
}

TEST_F(PageFileTest, GathersConvertedLinesToo) {
  const std::string line(64, 'x');
  for (int i = 0; i < 1023; ++i) file_.writeMacRoman(line);
  EXPECT_EQ(size(), 0U);
  file_.writeMacRoman(line);
  EXPECT_EQ(size(), 65536U);
}

}  // namespace
}  // namespace jobshaper
