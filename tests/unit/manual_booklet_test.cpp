// The reordering of manual booklets beyond what a job can show: other orientations, and the
// reversed run of pages.
#include "booklet/manual_booklet.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/system.h"
#include "tests/blackbox/manual_booklets.h"
#include "tests/support/file_size_limit.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

// A private temporary directory.
class ManualBookletParts : public ::testing::Test {
 protected:
  ManualBookletParts() {
    setenv("TMPDIR", directory_.path().c_str(), 1);
    version = kFirstVersionWithoutSave;
  }
  ~ManualBookletParts() override {
    version = versionBefore_;
    unsetenv("TMPDIR");
  }

  std::string path(std::string_view name) const { return directory_.file(name); }
  std::string content(std::string_view name) const { return readFile(path(name)); }

  void writeJob(std::string_view job) { writeFile(path("job.ps"), job); }

  // Reorders the job, whose id is "42".
  int order(std::string_view orientation, bool onlyInside = false) {
    const int input = open(path("job.ps").c_str(), O_RDONLY | O_CLOEXEC);
    const int result =
        manualBookletOrder(input, path("reordered.ps"), "42", orientation, onlyInside);
    EXPECT_EQ(close(input), 0) << "the input must stay open";
    return result;
  }

  // Apart from the name of the directory, these are all messages.
  void expectFailure(const std::function<int()>& run, std::string_view messages) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(run(), 0);
    std::string errors = ::testing::internal::GetCapturedStderr();
    const std::string line = join("tmp at ", directory_.path(), " \n");
    while (errors.starts_with(line)) errors.erase(0, line.size());
    EXPECT_EQ(errors, messages);
  }

  TemporaryDirectory directory_;

 private:
  std::int32_t versionBefore_ = version;
};

TEST_F(ManualBookletParts, HaveTheirOrderForEveryOrientation) {
  writeJob(join(kTop, pages("12345678"), "%%Trailer\n"));
  const std::string front = join(kTop, kFirstPass, pages("1357"));
  EXPECT_EQ(order("Down"), 1);
  EXPECT_EQ(content("reordered.ps"), join(front, kSecondPass, pages("8642"), kBlank));
  EXPECT_EQ(order("Down", true), 1);
  EXPECT_EQ(content("reordered.ps"), join(front, kSecondPass, kBlank, pages("8642"), kBlank));
  for (const char* other : {"", "up", "Upside", "down", "Left"}) {
    EXPECT_EQ(order(other), 1);
    EXPECT_EQ(content("reordered.ps"), join(front, kSecondPass, kBlank, pages("8642"))) << other;
  }
  EXPECT_FALSE(fs::exists(path("headerPS42")));

  const std::string frontUp = join(kTop, kFirstPass, pages("7531"));
  for (const char* name : {"headerPS42", "newOddOrder42"}) writeFile(path(name), "earlier run");
  EXPECT_EQ(order("Up", true), 1);
  EXPECT_EQ(content("reordered.ps"), join(frontUp, kSecondPass, kBlank, kBlank, pages("8642")));
  EXPECT_EQ(content("pageReOrdered42"), frontUp);
  EXPECT_EQ(content("newOddOrder42"), pages("531"));
  EXPECT_EQ(content("pageEven42"), pages("8642"));
  EXPECT_EQ(content("newEvenOrder42"), pages("642"));
  EXPECT_EQ(content("headerPS42"), join(kTop, kFirstPass));
}

TEST_F(ManualBookletParts, OfAJobWithoutPagesAreItsHeaderAndProceduresAlone) {
  writeJob(kTop);
  for (const char* orientation : {"Down", "Up"}) {
    EXPECT_EQ(order(orientation), 1);
    EXPECT_EQ(content("reordered.ps"), join(kTop, kSecondPass, kProcedures)) << orientation;
  }
}

TEST_F(ManualBookletParts, AreReportedIfTheyCannotBeCreatedOrDoNotFit) {
  fs::create_directory(path("headerPS42"));
  std::string job;
  for (const char page : {'1', '2', '3', '4', '5'}) {
    job += join("%%Page: \n", std::string(page % 2 * 200000U, 'x'), "\n");
  }
  writeJob(job);
  expectFailure([&] { return order("Up"); }, kNoFile);
  EXPECT_EQ(order("Down"), 1) << "only \"Up\" has a header file";
  fs::remove(path("headerPS42"));

  const FileSizeLimit limit(300000);
  expectFailure([&] { return order("Up"); }, join(kNoFile, kNoRearranging));
}

TEST_F(ManualBookletParts, ReportAReversedRunThatCannotBeOpenedOrWritten) {
  PageFile side;
  const auto moves = [&](std::int32_t pageNumber) {
    return reArrangedPages(pageNumber, side, nullptr, path("side"), path("reversed"));
  };
  for (const char* name : {"side", "reversed"}) {
    for (const std::int32_t number : {4, 5}) {
      writeFile(path("reversed"), "older pages");
      ASSERT_TRUE(side.open(path("side")));
      fs::remove(path(name));
      fs::create_directory(path(name));
      expectFailure([&] { return moves(number); }, kNoFile);
      fs::remove(path(name));
    }
  }
  ASSERT_TRUE(side.open(path("side")));
  const FileSizeLimit limit(1000);
  side.write(std::string(1001, 'x'));
  expectFailure([&] { return moves(4); }, kNoFile);
}

}  // namespace
}  // namespace jobshaper::testing
