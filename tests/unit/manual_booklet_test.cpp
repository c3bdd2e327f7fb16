// The reordering of manual booklets beyond what a job can show: other orientations.
#include "booklet/manual_booklet.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "diag/debug_log.h"
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
    logDoneSetup = true;  // the log would name the directory, too, but once per process
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

  // These are all messages but the name of the directory.
  void expectFailure(std::string_view orientation, std::string_view messages) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(order(orientation), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              join("tmp at ", directory_.path(), " \n", messages));
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
  expectFailure("Up", kNoFile);
  EXPECT_EQ(order("Down"), 1) << "only \"Up\" has a header file";
  fs::remove(path("headerPS42"));

  const FileSizeLimit limit(300000);
  expectFailure("Up", join(kNoFile, kNoRearranging));
}

}  // namespace
}  // namespace jobshaper::testing
