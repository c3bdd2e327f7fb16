// The debug file that the setup of the diagnostic log opens: its path, its permissions, and
// what happens when it cannot be opened.
#include "tests/unit/debug_log_fixture.h"

namespace jobshaper::testing {
namespace {

using DebugLogFile = DebugLog;

TEST_F(DebugLogFile, IsAppendedTo) {
  writeFile(file("debug.log"), "earlier\n");
  settings(entry(integer(8)));
  setupDebug();
  EXPECT_TRUE(log().starts_with("earlier\nAA######\t[time]\tlogger\tL0\tDEBUG GO\n"));
  reset();
  const std::string first = readFile(file("debug.log"));
  setupDebug();
  EXPECT_TRUE(readFile(file("debug.log")).starts_with(first + "AA"));
}

TEST_F(DebugLogFile, IsReadableAndWritableByEveryoneWhateverTheUmask) {
  settings(entry(integer(8)));
  for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
    reset();
    std::filesystem::remove(file("debug.log"));
    const mode_t former = ::umask(mask);
    setupDebug();
    ::umask(former);
    struct stat status;
    ASSERT_EQ(::stat(file("debug.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0666U) << mask;
  }
}

TEST_F(DebugLogFile, GetsItsPermissionsEvenWhenItWasThere) {
  writeFile(file("debug.log"), "");
  ASSERT_EQ(::chmod(file("debug.log").c_str(), 0644), 0);
  settings(entry(integer(8)));
  setupDebug();
  struct stat status;
  ASSERT_EQ(::stat(file("debug.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0666U);
}

TEST_F(DebugLogFile, MayBeInASubdirectory) {
  std::filesystem::create_directory(file("logs of mine"));
  settings(entry(integer(8), integer(1), "<string>logs of mine/a.log</string>"));
  setupDebug();
  EXPECT_EQ(logDebugLevel, 8);
  EXPECT_TRUE(exists("logs of mine/a.log"));
}

TEST_F(DebugLogFile, KeepsPercentSignsOfItsName) {
  settings(entry(integer(8), integer(1), "<string>%s%n%d.log</string>"));
  setupDebug();
  EXPECT_TRUE(exists("%s%n%d.log"));
}

TEST_F(DebugLogFile, ThatCannotBeOpenedIsReportedAndLeavesTheLogOff) {
  std::filesystem::create_directory(file("directory"));
  std::string expected;
  for (const char* name : {"<string>directory</string>", "<string>missing/debug.log</string>",
                           "<string></string>", "<string/>"}) {
    reset();
    settings(entry(integer(7), integer(1), name));
    setupDebug();
    LogInfoBody("f", 1, "%s", "m");
    LogErrorBody("f", 1, "%s", "m");
    expectOff();
    expected += tmpLine() + "ERROR: Unable to open log file\n";
  }
  EXPECT_EQ(err(), expected);
}

TEST_F(DebugLogFile, ThatMayNotBeWrittenIsReported) {
  writeFile(file("debug.log"), "earlier\n");
  ASSERT_EQ(::chmod(file("debug.log").c_str(), 0444), 0);
  settings(entry(integer(7)));
  inChildThatObeysPermissions([] {
    setupDebug();
    if (logDebugLevel != 0 || logDebugFilePtr) ::_exit(3);
  });
  EXPECT_EQ(log(), "earlier\n");
  EXPECT_EQ(err(), tmpLine() + "ERROR: Unable to open log file\n");
}

TEST_F(DebugLogFile, IsNotTriedAtLevelsThatAreNotPositive) {
  std::filesystem::create_directory(file("directory"));
  for (const int level : {0, -1}) {
    reset();
    settings(entry(integer(level), integer(1), "<string>directory</string>"));
    setupDebug();
    expectOff();
  }
  EXPECT_EQ(err(), tmpLine() + tmpLine());
}

// A path of `length` characters below `directory`. Its directories end at 201 and 401 characters,
// so neither the whole path nor one cut to 511 characters has too long a name.
std::string pathOfLength(const std::string& directory, std::size_t length) {
  std::string path = directory + "/";
  path.append(200 - path.size(), 'd').append("/");
  if (length > 401) path.append(199, 'e').append("/");
  return path.append(length - path.size(), 'n');
}

TEST_F(DebugLogFile, OpensPathsByTheLowByteOfTheirLength) {
  const struct {
    std::size_t length;
    std::size_t opened;  // characters of the path that is opened; 0: none
  } rows[] = {{255, 255}, {256, 0},   {257, 257}, {510, 510}, {511, 511}, {512, 0},
              {513, 511}, {600, 511}, {767, 511}, {768, 0},   {769, 511}, {1024, 0}};
  std::string expected;
  for (const auto& row : rows) {
    reset();
    for (const auto& left : std::filesystem::directory_iterator(tmp()))
      std::filesystem::remove_all(left);
    const std::string path = pathOfLength(tmp(), row.length);
    std::filesystem::create_directories(path.substr(0, path.rfind('/')));
    settings(
        entry(integer(8), integer(1), "<string>" + path.substr(tmp().size() + 1) + "</string>"));
    setupDebug();
    if (row.opened != 0) {
      EXPECT_EQ(logDebugLevel, 8) << row.length;
      EXPECT_TRUE(masked(readFile(path.substr(0, row.opened)))
                      .starts_with("AA######\t[time]\tlogger\tL0\tDEBUG GO\n"))
          << row.length;
      struct stat status;
      ASSERT_EQ(::stat(path.substr(0, row.opened).c_str(), &status), 0) << row.length;
      EXPECT_EQ(status.st_mode & 07777, 0666U) << row.length;
    } else {
      EXPECT_EQ(logDebugLevel, 0) << row.length;
      EXPECT_EQ(logDebugFilePtr, nullptr) << row.length;
      EXPECT_TRUE(std::filesystem::is_empty(path.substr(0, path.rfind('/')))) << row.length;
    }
    expected += tmpLine();
  }
  EXPECT_EQ(err(), expected);
}

TEST_F(DebugLogFile, CannotBeOpenedWhenItsPathIsCutAtADirectory) {
  std::string path = pathOfLength(tmp(), 510) + "/debug.log";
  std::filesystem::create_directories(path.substr(0, 510));
  settings(entry(integer(7), integer(1), "<string>" + path.substr(tmp().size() + 1) + "</string>"));
  setupDebug();
  expectOff();
  EXPECT_TRUE(std::filesystem::is_empty(path.substr(0, 510)));
  EXPECT_EQ(err(), tmpLine() + "ERROR: Unable to open log file\n");
}

}  // namespace
}  // namespace jobshaper::testing
