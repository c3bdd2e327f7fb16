#include "platform/system.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/program.h"

namespace {

// Which name gethostname() returns; kUnknown makes it fail.
enum class Name { kOwn, kEmpty, kUnknown } machineName = Name::kOwn;

}  // namespace

// Replaces the function of the C library.
extern "C" int gethostname(char* name, size_t size) noexcept {
  if (machineName == Name::kUnknown) return -1;
  utsname machine{};
  if (machineName == Name::kOwn && uname(&machine) != 0) return -1;
  strncpy(name, machine.nodename, size);
  return 0;
}

namespace jobshaper {
namespace {

TEST(Version, HasAHexadecimalDigitAComponent) {
  EXPECT_EQ(versionFromProduct("10.4.9"), 0x1049);
  EXPECT_EQ(versionFromProduct("10.3"), 0x1030);
  EXPECT_EQ(versionFromProduct("14.5"), 0x1450);
  EXPECT_EQ(versionFromProduct("9.2.2"), 0x0922);
  EXPECT_EQ(versionFromProduct("11"), 0x1100);
  EXPECT_EQ(versionFromProduct("99.0"), 0x9900);
}

TEST(Version, HoldsAtMostFInAComponent) {
  EXPECT_EQ(versionFromProduct("10.15.7"), 0x10F7);
  EXPECT_EQ(versionFromProduct("10.16.99"), 0x10FF);
}

TEST(Version, IsUnknownForAnythingElse) {
  EXPECT_EQ(versionFromProduct(""), std::nullopt);
  EXPECT_EQ(versionFromProduct("sonoma"), std::nullopt);
  EXPECT_EQ(versionFromProduct("10."), std::nullopt);
  EXPECT_EQ(versionFromProduct("10-4"), std::nullopt);
  EXPECT_EQ(versionFromProduct("100.1"), std::nullopt);
}

TEST(Version, CountsAsTheNewestKnownLevelElsewhere) { EXPECT_EQ(thisSystem().version, 0x1050); }

TEST(ThisSystem, ReadsInstructionPagesFromTheirOneInstalledPlace) {
  EXPECT_EQ(thisSystem().instructionDirectory, "/Library/Printers/Quorvan/filter/.resource");
}

TEST(TemporaryDirectory, IsThatOfTheEnvironmentUnchanged) {
  setenv("TMPDIR", "/some//where/", 1);
  EXPECT_EQ(temporaryDirectory(), "/some//where/");
}

TEST(TemporaryDirectory, FallsBackWhenUnsetOrEmpty) {
  setenv("TMPDIR", "", 1);
  EXPECT_EQ(temporaryDirectory(), "/tmp");
  unsetenv("TMPDIR");
  EXPECT_EQ(temporaryDirectory(), "/tmp");
}

TEST(HostName, IsThatOfTheMachine) { EXPECT_EQ(hostName(), testing::hostName()); }

TEST(HostName, IsLocalhostWithoutAName) {
  for (const Name name : {Name::kEmpty, Name::kUnknown}) {
    machineName = name;
    EXPECT_EQ(hostName(), "localhost");
  }
  machineName = Name::kOwn;
}

}  // namespace
}  // namespace jobshaper
