// The diagnostic log of whole jobs: which settings turn it on, what is then in the debug file, and
// that the log never disturbs the job.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "tests/support/file_size_limit.h"
#include "tests/support/log_settings.h"
#include "tests/support/program.h"

namespace jobshaper::testing {
namespace {

namespace fs = std::filesystem;

const std::string kText = "%!PS\nshowpage\n";
constexpr std::string_view kNotOpened = "ERROR: Unable to open log file\n";

Job jobWith(std::string_view settings) {
  Job job;
  writeFile(job.tmpFile(kLogSettings), settings);
  return job.input(kText);
}

Job jobWithRoot(std::string_view root) { return jobWith(propertyList(root)); }

// Settings of level 2, which excludes all records of a job, for a debug file of this name.
std::string entryForFile(std::string_view name) {
  return logEntry(integer("2"), integer("1"), std::string("<string>") + name + "</string>");
}

std::string printed(std::string_view header = plainHeader()) {
  return std::string(header) + kText + trailer();
}

void expectLog(const Job& job, std::string_view log, std::string_view file = "debug.log",
               Where where = Where::here()) {
  const std::string settings = readFile(job.tmpFile(kLogSettings));
  expectOutcome(job.run(), printed(), tmpLines(job), 0, settings, where);
  expectSame(maskLog(readFile(job.tmpFile(file))), log, "debug file", settings, where);
}

void expectNoLog(const Job& job, std::string_view of, Where where = Where::here()) {
  expectOutcome(job.run(), printed(), tmpLines(job), 0, of, where);
  for (const auto& file : fs::directory_iterator(job.tmp())) {
    expectSame(file.path().filename().string(), "Debug", "a file", of, where);
  }
}

// What the log first writes about itself. `bits` has a letter for each bit that the level has.
std::string notes(std::string_view level, std::string_view module, std::string_view bits) {
  const std::string note = "AN######\t[time]\tlogger\tL#\t";
  std::string result = "AA######\t[time]\tlogger\tL#\tDEBUG GO\n" + note + "file OK\n" + note +
                       "bID   \"Feiprion\"\n" + note + "level " + level + "\n" + note + "mID   " +
                       module + "\n";
  for (const char bit : bits) result += note + bit + " OK\n";
  return result + note + "setup OK\n";
}

const std::string kQuiet = notes("2", "65", "E");

// The records of a whole run, with these options in the job summary.
std::string recordsOf(const Job& job, std::string_view options = "",
                      const std::string& header = plainHeader()) {
  std::string result = logRecord("main", "{");
  std::vector<std::string> arguments = job.argv();
  arguments.emplace_back("(null)");
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    result += logRecord("main", "ARGV[" + std::to_string(i) + "] = " + arguments[i] + "\n");
  }
  const std::string separator = logRecord("main", "\n" + std::string(88, '='));
  const auto& environment = job.environment();
  const auto uri = environment.find("DEVICE_URI");
  result += logBraces("-[argumentStore initWithOptionString:]") +
            logBraces("-[pjlCreation initFromArgsStore:userID:jobName:]") +
            logRecord("main", "\n\nFilter version = 3.9\n") + options + separator +
            logRecord("main", "     URI for printer = " +
                                  (uri != environment.end() ? uri->second : "(null)")) +
            separator;
  std::istringstream lines(header);
  for (std::string line; std::getline(lines, line);) result += logRecord("main", line + "\n");
  return result + logBraces("isOnlyPrintInside") +
         logRecord("main", "Initialized begin and end markers.") + logRecord("main", "}");
}

// ---- records

TEST(DebugLog, LevelSelectsItsRecordsAndModuleTheirFirstByte) {
  const struct {
    const char *level, *module, *levelNote, *moduleNote, *bits;
    char firstByte;
  } rows[] = {
      {"1", "1", "1", "65", "I", 'A'},
      {"2", "0", "2", "64", "E", '@'},
      {"4", "26", "4", "90", "D", 'Z'},
      {"8", "300", "8", "364", "", 'l'},
      {"2", "-300", "2", "-236", "E", '\x14'},
      {"2147483647", "2147483583", "2147483647", "2147483647", "IED", '\xff'},
      // Numbers that 32 bits cannot hold become the nearest ones that they can.
      {"2147483650", "4294967297", "2147483647", "-2147483585", "IED", '?'},
      {"7", "-4294967295", "7", "-2147483584", "IED", '@'},
  };
  for (const auto& row : rows) {
    const std::string root = logEntry(integer(row.level), integer(row.module));
    const std::string bits = row.bits;
    const Job job = jobWithRoot(root);
    std::string expected = notes(row.levelNote, row.moduleNote, bits);
    if (bits.find('D') != bits.npos) {
      expected += "AD######\t[time]\tsetupDebug\tL#\tsetupDebug L512: debugPlist\n" +
                  propertyList(root) + "\n";
    }
    if (bits.find('I') != bits.npos) expected += recordsOf(job);
    for (std::size_t at = 0; (at = expected.find("######", at)) != expected.npos; at += 6) {
      expected[at - 2] = row.firstByte;
    }
    expectLog(job, expected);
  }
}

// A record that begins with a zero byte is an empty string for the file.
TEST(DebugLog, IsEmptyWithoutAModuleCharacter) {
  for (const char* module :
       {"<integer>-64</integer>", "<integer>192</integer>", "<string>1</string>", "<true/>", ""}) {
    expectLog(jobWithRoot(logEntry(integer("7"), module)), "");
  }
}

TEST(DebugLog, HasEveryByteOfArgumentsOptionsPpdAndUri) {
  const std::string value = std::string(6000, 'v') + "\x8a\xff%n";
  Job job;
  job.log(1).capture().options("caf\x8e=\xdb<20>%s Comment=" + value).title("100%d \xff%n");
  job.ppd("*QVGeneric: Color\n").env("DEVICE_URI", "ipp://[fe80::1%25en0]/%s").fileWith(kText);
  const std::string header =
      headerWith("@PJL SET QCOLORMODEL = CMYK\n@PJL SET RENDERMODE  = COLOR\n");
  expectRun(job, printed(header), kCaptureOn);
  expectSame(maskLog(readFile(job.tmpFile("debug.log"))),
             notes("1", "65", "I") + recordsOf(job,
                                               logRecord("main", "Comment\t" + value) +
                                                   logRecord("main", "QVGeneric\tColor") +
                                                   logRecord("main", "caf\x8e\t\xdb %s"),
                                               header),
             "debug file", "the job");
}

TEST(DebugLog, HasOnlyTheFirstRecordOfARunThatCannotStart) {
  Job unreadable, longUri;
  unreadable.file("/nowhere/job.ps");
  longUri.env("DEVICE_URI", std::string(100, 'u'));
  for (const Job& job : {unreadable, longUri}) {
    EXPECT_EQ(maskedLogOf(job), notes("1", "65", "I") + logRecord("main", "{"));
  }
}

TEST(DebugLog, HoldsEveryRecordOfAKilledJob) {
  const Job job = Job().log(1).unsetEnv("DEVICE_URI");
  Process process(job);
  process.write("%!PS\n");
  EXPECT_TRUE(process.waitForOutputText("%!PS\n"));
  process.kill(SIGKILL);
  EXPECT_EQ(process.finish().signal, SIGKILL);
  EXPECT_EQ(maskLog(readFile(job.tmpFile("debug.log"))) + logRecord("main", "}"),
            notes("1", "65", "I") + recordsOf(job));
}

// ---- the debug file

TEST(DebugFile, IsReadableAndWritableByEveryone) {
  const Job job = jobWithRoot(logEntry(integer("2")));
  EXPECT_EQ(job.run([] { umask(0777); }).exitStatus, 0);
  EXPECT_EQ(fs::status(job.tmpFile("debug.log")).permissions(), fs::perms(0666));
}

TEST(DebugFile, MayBeInASubdirectoryAndHaveAnyName) {
  Job job = jobWithRoot(entryForFile("logs of mine/%s%n a&amp;b&lt;.log"));
  fs::create_directory(job.tmpFile("logs of mine"));
  expectLog(job.env("TMPDIR", job.tmp() + "/"), kQuiet, "logs of mine/%s%n a&b<.log");
}

TEST(DebugFile, ThatCannotBeOpenedIsReported) {
  for (const char* name : {"", "missing/debug.log"}) {
    const Job job = jobWithRoot(entryForFile(name));
    const std::string line = "tmp at " + job.tmp() + " \n";
    expectOutcome(job.run(), printed(), line + kNotOpened + line, 0, name);
  }
}

// A path of `length` characters in `directory`. Its directories end at 201 and 401 characters, so
// neither the whole path nor one cut to 511 characters has too long a name.
std::string pathOfLength(const std::string& directory, std::size_t length) {
  std::string path = directory + "/";
  path.append(200 - path.size(), 'd').append("/");
  if (length > 401) path.append(199, 'e').append("/");
  return path.append(length - path.size(), 'n');
}

TEST(DebugFile, PathIsCutTo511BytesAndOpensNothingIfTheLowByteOfItsLengthIsZero) {
  const struct {
    std::size_t length, opened;  // bytes of the path, and of the path that is opened
  } rows[] = {{255, 255}, {256, 0}, {257, 257}, {511, 511}, {512, 0}, {513, 511}};
  for (const auto& [length, opened] : rows) {
    Job job;
    const std::string path = pathOfLength(job.tmp(), length);
    const fs::path parent = fs::path(path).parent_path();
    fs::create_directories(parent);
    writeFile(job.tmpFile(kLogSettings),
              propertyList(entryForFile(path.substr(job.tmp().size() + 1))));
    expectRun(job, plainHeader() + trailer());
    EXPECT_EQ(fs::is_empty(parent), opened == 0) << length;
    EXPECT_EQ(fs::exists(path.substr(0, opened)), opened != 0) << length;
  }
}

TEST(DebugFile, IsNotOpenedInADirectoryThatWouldBeCut) {
  Job job = jobWithRoot(logEntry(integer("2")));
  const std::string directory = pathOfLength(job.tmp(), 512);
  fs::create_directories(directory);
  fs::rename(job.tmpFile("Debug"), directory + "/Debug");
  const std::string line = "tmp at " + directory + " \n";
  expectOutcome(job.env("TMPDIR", directory).run(), printed(), line + kNotOpened + line);
}

TEST(DebugFile, ThatIsFullDoesNotDisturbTheJob) {
  const Job job = jobWithRoot(logEntry(integer("7")));
  const FileSizeLimit limit(100);
  expectRun(job, printed());
  EXPECT_EQ(readFile(job.tmpFile("debug.log")).size(), 100U);
}

// ---- the settings file

TEST(DebugSettings, ThatCannotBeUsedLeaveTheLogOff) {
  const auto entry = [](std::string_view level, std::string_view file = "<string>x</string>") {
    return propertyList(logEntry(level, integer("1"), file));
  };
  const std::string good = entry(integer("7"));
  const struct {
    const char* what;
    std::string settings;
  } rows[] = {
      {"an empty file", ""},
      {"a list without its last byte", good.substr(0, good.size() - 2)},
      {"a list and more", good + "x"},
      {"a zero byte in the file name", propertyList(entryForFile(bytes("debug.log\0")))},
      {"crossed tags", propertyList("<dict><key>Feiprion</dict></key>")},
      {"no root", propertyList("")},
      {"a root that is an array", propertyList("<array><string>Feiprion</string></array>")},
      // There is no application to ask for an entry.
      {"traceAll alone", propertyList("<dict><key>traceAll</key><true/></dict>")},
      {"an entry that is a string",
       propertyList("<dict><key>Feiprion</key><string>7</string></dict>")},
      {"no level", entry("")},
      {"a level that is a string", entry("<string>7</string>")},
      {"level 0", entry(integer("0"))},
      {"level -1", entry(integer("-1"))},
      {"a level that becomes 7 if cut to 32 bits", entry(integer("-4294967289"))},
      {"no file name", entry(integer("7"), "")},
      {"a file name that is an integer", entry(integer("7"), integer("7"))},
  };
  for (const auto& row : rows) expectNoLog(jobWith(row.settings), row.what);
}

TEST(DebugSettings, MayHoldMoreThanTheEntryAndNoDocumentType) {
  expectLog(jobWith("<!-- on for a customer --><plist version=\"1.0\">" +
                    withMembers(logEntry(integer("2")),
                                "<key>Other</key><dict><key>debugLevel</key><integer>4</integer>"
                                "</dict><key>traceAll</key><true/>") +
                    "</plist>\t\r\n "),
            kQuiet);
}

// The library would need quadratic time for larger ones.
TEST(DebugSettings, LargerThan64KiBLeaveTheLogOff) {
  const std::string entry = logEntry(integer("2"));
  const std::size_t left = (1 << 16) - propertyList("<!---->" + entry).size();
  const auto padded = [&](std::size_t size) { return "<!--" + std::string(size, 'x') + "-->"; };
  expectLog(jobWithRoot(padded(left) + entry), kQuiet);
  expectNoLog(jobWithRoot(padded(left + 1) + entry), "64 KiB and a byte");
}

TEST(DebugSettings, OfMoreThan4096DictionariesAndArraysLeaveTheLogOff) {
  std::string some = "<key>some</key><array><array/>";
  for (int i = 0; i < 2046; ++i) some += "<array/><dict/>";
  const std::string entry = logEntry(integer("2"));
  expectLog(jobWithRoot(withMembers(entry, some + "</array>")), kQuiet);
  expectNoLog(jobWithRoot(withMembers(entry, some + "<dict/></array>")), "one more");
}

// Versions of the library differ in how deep a list they read.
TEST(DebugSettings, OfTheGreatestDepthLetTheJobThrough) {
  std::string deep = "<key>deep</key>";
  for (int i = 0; i < 4000; ++i) deep += "<array>";
  for (int i = 0; i < 4000; ++i) deep += "</array>";
  expectRun(jobWithRoot(withMembers(logEntry(integer("4")), deep)), printed());
}

// For the settings file and its two directories: nothing is logged after this change.
void expectUntrustedAfter(const std::function<void(const fs::path&)>& change,
                          Where where = Where::here()) {
  for (const char* name : {"Debug", "Debug/.DebugPlist", kLogSettings}) {
    const Job job = jobWithRoot(logEntry(integer("2")));
    change(job.tmpFile(name));
    expectNoLog(job, name, where);
  }
}

// Another user could otherwise turn the log on, and choose its file.
TEST(TrustedSettings, CannotBeWrittenByOthers) {
  expectUntrustedAfter([](const fs::path& path) { fs::permissions(path, fs::perms(0775)); });
  expectUntrustedAfter([](const fs::path& path) { fs::permissions(path, fs::perms(0757)); });
}

TEST(TrustedSettings, DoNotBelongToAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to another user";
  expectUntrustedAfter([](const fs::path& path) { ASSERT_EQ(chown(path.c_str(), 1, 1), 0); });
}

// Not even in directories that only the user can write.
TEST(TrustedSettings, AreNotLinked) {
  const TemporaryDirectory elsewhere;
  expectUntrustedAfter([&](const fs::path& path) {
    const fs::path moved = elsewhere.file(path.filename().string());
    fs::rename(path, moved);
    fs::create_symlink(moved, path);
  });
}

}  // namespace
}  // namespace jobshaper::testing
