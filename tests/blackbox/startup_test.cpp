// The filter does not load libraries or open files that the job does not need.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

// The files that are mapped into the process while it waits for the job.
std::string mappedFiles(const Job& job) {
  Process process(job.program(), job.argv(), job.environment());
  process.write("%!PS\n");
  EXPECT_TRUE(process.waitForOutputText("%!PS\n"));
  std::string maps = readFile("/proc/" + std::to_string(process.pid()) + "/maps");
  process.finish();
  return maps;
}

TEST(StartUp, LoadsThePropertyListLibraryOnlyToReadSettings) {
  const Job plain;
  EXPECT_EQ(mappedFiles(plain).find("libplist"), std::string::npos);
  EXPECT_NE(mappedFiles(plain).find("libcups"), std::string::npos);
  Job traced;
  traced.log(1);
  EXPECT_NE(mappedFiles(traced).find("libplist"), std::string::npos);
}

}  // namespace
}  // namespace jobshaper::testing
