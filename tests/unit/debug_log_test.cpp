// The records of the diagnostic log in its debug file: their form, which level lets them
// through, and what the dumps show.
#include <sys/time.h>

#include <ctime>

#include "tests/unit/debug_log_fixture.h"

namespace jobshaper::testing {
namespace {

// The state before main, which the tests change.
const struct {
  bool doneSetup = logDoneSetup;
  std::int32_t pid = logCurrentPID;
  std::int32_t level = logDebugLevel;
  std::int32_t module = logModuleID;
  bool fileOpen = logDebugFilePtr != nullptr;
  std::int32_t client = logClientFD;
  sockaddr address = logSocketFile;
  std::uint32_t addressSize = logSocketFileSize;
} kAtStart;

TEST(DebugLogState, BeginsUnconfigured) {
  EXPECT_FALSE(kAtStart.doneSetup);
  EXPECT_EQ(kAtStart.pid, 0);
  EXPECT_EQ(kAtStart.level, 0);
  EXPECT_EQ(kAtStart.module, 0);
  EXPECT_FALSE(kAtStart.fileOpen);
  EXPECT_EQ(kAtStart.client, 0);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&kAtStart.address), 16),
            std::string(16, '\0'));
  EXPECT_EQ(kAtStart.addressSize, 16U);
}

using DebugLogRecord = DebugLog;
using DebugLogFileAccess = DebugLog;
using DebugLogDump = DebugLog;

// Milliseconds since local midnight.
int localMilliseconds() {
  timeval now;
  gettimeofday(&now, nullptr);
  const tm* local = std::localtime(&now.tv_sec);
  return ((local->tm_hour * 60 + local->tm_min) * 60 + local->tm_sec) * 1000 +
         static_cast<int>(now.tv_usec / 1000);
}

// ---- LogFormatAndSend ----

TEST_F(DebugLogRecord, HasModuleTypeProcessTimeFunctionLineAndMessage) {
  on(0);
  LogFormatAndSend("main", 302, RecordType::info, "{");
  const std::string record = readFile(file("debug.log"));
  EXPECT_EQ(record.substr(0, 10), "AI004242\t[");
  EXPECT_EQ(record.substr(22), "]\tmain\tL302\t{\n");
  EXPECT_EQ(masked(record), "AI######\t[time]\tmain\tL302\t{\n");
}

TEST_F(DebugLogRecord, CarriesTheLetterOfItsType) {
  on(0);
  LogFormatAndSend("f", 1, RecordType::start, "m");
  LogFormatAndSend("f", 2, RecordType::info, "m");
  LogFormatAndSend("f", 3, RecordType::error, "m");
  LogFormatAndSend("f", 4, RecordType::dump, "m");
  LogFormatAndSend("f", 5, RecordType::note, "m");
  LogFormatAndSend("f", 6, RecordType::end, "m");
  EXPECT_EQ(log(),
            "AA######\t[time]\tf\tL1\tm\n"
            "AI######\t[time]\tf\tL2\tm\n"
            "AE######\t[time]\tf\tL3\tm\n"
            "AD######\t[time]\tf\tL4\tm\n"
            "AN######\t[time]\tf\tL5\tm\n"
            "AZ######\t[time]\tf\tL6\tm\n");
}

TEST_F(DebugLogRecord, WritesTheProcessIdInSixDigitsOrMore) {
  on(0);
  for (const int pid : {0, 7, 99999, 100000, 999999, 4194304}) {
    logCurrentPID = pid;
    LogFormatAndSend("f", 1, RecordType::info, "m");
  }
  std::string heads;
  std::string rest = readFile(file("debug.log"));
  for (std::size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1))
    heads += rest.substr(0, rest.find('\t')) + " ";
  EXPECT_EQ(heads, "AI000000 AI000007 AI099999 AI100000 AI999999 AI4194304 ");
}

TEST_F(DebugLogRecord, BeginsWithTheLowByteOfTheModule) {
  on(0);
  for (const int module : {64, 67, 90, 33, 256 + 66, -256 + 68}) {
    logModuleID = module;
    LogFormatAndSend("f", 1, RecordType::info, "m");
  }
  EXPECT_EQ(log(),
            "@I######\t[time]\tf\tL1\tm\n"
            "CI######\t[time]\tf\tL1\tm\n"
            "ZI######\t[time]\tf\tL1\tm\n"
            "!I######\t[time]\tf\tL1\tm\n"
            "BI######\t[time]\tf\tL1\tm\n"
            "DI######\t[time]\tf\tL1\tm\n");
}

TEST_F(DebugLogRecord, OfModuleZeroIsAnEmptyStringForTheFile) {
  on(0);
  logModuleID = 0;
  LogFormatAndSend("f", 1, RecordType::info, "m");
  EXPECT_EQ(log(), "");
}

TEST_F(DebugLogRecord, TakesMessagesAndNamesAsTheyAre) {
  on(0);
  LogFormatAndSend("-[argumentStore initWithOptionString:]", 38, RecordType::info, "{");
  LogFormatAndSend("", 0, RecordType::info, "");
  LogFormatAndSend("f", -5, RecordType::info, "100%d %s%n %%");
  LogFormatAndSend("f", 2147483647, RecordType::info, "\n\ntwo\tlines\n");
  LogFormatAndSend("f", 1, RecordType::info, "\x8e\xff");
  EXPECT_EQ(log(),
            "AI######\t[time]\t-[argumentStore initWithOptionString:]\tL38\t{\n"
            "AI######\t[time]\t\tL0\t\n"
            "AI######\t[time]\tf\tL-5\t100%d %s%n %%\n"
            "AI######\t[time]\tf\tL2147483647\t\n\ntwo\tlines\n\n"
            "AI######\t[time]\tf\tL1\t\x8e\xff\n");
}

TEST_F(DebugLogRecord, ShowsTheTimeCutToMilliseconds) {
  on(0);
  for (int i = 0; i < 50; ++i) {
    std::filesystem::resize_file(file("debug.log"), 0);
    const int before = localMilliseconds();
    LogFormatAndSend("f", 1, RecordType::info, "m");
    const int after = localMilliseconds();
    int hour, minute, second, millisecond;
    ASSERT_EQ(std::sscanf(readFile(file("debug.log")).c_str(), "AI004242\t[%2d:%2d:%2d.%3d]", &hour,
                          &minute, &second, &millisecond),
              4);
    const int shown = ((hour * 60 + minute) * 60 + second) * 1000 + millisecond;
    if (before <= after) {  // not across midnight
      EXPECT_LE(before, shown);
      EXPECT_LE(shown, after);
    }
    usleep(300);
  }
}

TEST_F(DebugLogRecord, ShowsLocalTime) {
  const char* former = std::getenv("TZ");
  const std::string zone = former ? former : "";
  on(0);
  int shown[2];
  for (const int i : {0, 1}) {
    setenv("TZ", i == 0 ? "UTC0" : "IST-5:30", 1);
    tzset();
    std::filesystem::resize_file(file("debug.log"), 0);
    LogFormatAndSend("f", 1, RecordType::info, "m");
    int hour, minute;
    EXPECT_EQ(
        std::sscanf(readFile(file("debug.log")).c_str(), "AI004242\t[%2d:%2d:", &hour, &minute), 2);
    shown[i] = hour * 60 + minute;
  }
  former ? setenv("TZ", zone.c_str(), 1) : unsetenv("TZ");
  tzset();
  const int ahead = (shown[1] - shown[0] + 1440) % 1440;
  EXPECT_TRUE(ahead == 330 || ahead == 331) << ahead;  // a minute may have begun in between
}

TEST_F(DebugLogRecord, DoesNotRunSetup) {
  logModuleID = 65;
  logDebugFilePtr = std::fopen(file("debug.log").c_str(), "a");
  LogFormatAndSend("f", 1, RecordType::info, "m");
  logNote("%s", "n");
  sendToDebugApp("raw\n", 4);
  EXPECT_FALSE(logDoneSetup);
  EXPECT_EQ(log(),
            "AI######\t[time]\tf\tL1\tm\n"
            "AN######\t[time]\tlogger\tL0\tn\n"
            "raw\n");
  EXPECT_EQ(err(), "");
}

TEST_F(DebugLogRecord, IsInTheFileAtOnce) {
  on(1);
  LogInfoBody("f", 1, "%s", "first");
  EXPECT_EQ(log(), "AI######\t[time]\tf\tL1\tfirst\n");
  LogInfoBody("f", 2, "%s", "second");
  EXPECT_EQ(log(), "AI######\t[time]\tf\tL1\tfirst\nAI######\t[time]\tf\tL2\tsecond\n");
}

TEST_F(DebugLogRecord, GoesToTheFileAsACString) {
  on(0);
  sendToDebugApp("abc\0def", 7);
  sendToDebugApp("|whole", 2);
  EXPECT_EQ(log(), "abc|whole");
}

TEST_F(DebugLogRecord, IsDroppedWithoutADestination) {
  onWithoutFile(7);
  LogInfoBody("f", 1, "%s", "m");
  LogErrorBody("f", 1, "%s", "m");
  dumpBytesBody("f", 1, "l", "x", 1);
  logNote("%s", "n");
  sendToDebugApp("raw\n", 4);
  EXPECT_EQ(err(), "");
  EXPECT_FALSE(exists());
}

TEST_F(DebugLogRecord, IgnoresAFullDisk) {
  onWithoutFile(1);
  logDebugFilePtr = std::fopen("/dev/full", "a");
  ASSERT_NE(logDebugFilePtr, nullptr);
  for (int i = 0; i < 3; ++i) LogInfoBody("f", 1, "%s", std::string(10000, 'x').c_str());
  EXPECT_EQ(logDebugLevel, 1);
  EXPECT_EQ(err(), "");
}

// ---- levels ----

TEST_F(DebugLogRecord, IsLetThroughByTheBitOfItsKind) {
  const struct {
    std::int32_t level;
    const char* letters;
  } rows[] = {{0, ""},
              {1, "I"},
              {2, "E"},
              {3, "IE"},
              {4, "D"},
              {5, "ID"},
              {6, "ED"},
              {7, "IED"},
              {8, ""},
              {9, "I"},
              {-8, ""},
              {-6, "E"},
              {-4, "D"},
              {-2, "ED"},
              {-1, "IED"},
              {-2147483647 - 1, ""},
              {2147483647, "IED"}};
  for (const auto& row : rows) {
    reset();
    std::filesystem::remove(file("debug.log"));
    on(row.level);
    LogInfoBody("f", 1, "%s", "m");
    LogErrorBody("f", 1, "%s", "m");
    dumpBytesBody("f", 1, "l", "", 0);
    std::string letters;
    for (const char c : log()) {
      if (c == 'I' || c == 'E' || c == 'D') letters += c;
    }
    EXPECT_EQ(letters, row.letters) << row.level;
  }
}

TEST_F(DebugLogRecord, NeedsTheDumpBitInEveryDumpCall) {
  plist_t value = plist_new_string("v");
  for (const int level : {0, 1, 2, 3}) {
    on(level);
    dumpBytesBody("f", 1, "l", "x", 1);
    dumpDataBody("f", 1, "l", "x");
    dumpDictBody("f", 1, "l", value);
    EXPECT_EQ(log(), "") << level;
    reset();
  }
  plist_free(value);
}

TEST_F(DebugLogRecord, IsNotFormattedWhileItsLevelIsOff) {
  // No readable page. NOLINTNEXTLINE(performance-no-int-to-ptr)
  const char* const wild = reinterpret_cast<const char*>(std::uintptr_t{1});
  on(4);
  LogInfoBody("f", 1, "%s", wild);
  LogErrorBody("f", 1, "%s", wild);
  logDebugLevel = 3;
  dumpBytesBody("f", 1, "l", wild, 4096);
  dumpDataBody("f", 1, "l", std::string_view(wild, 4096));
  EXPECT_EQ(log(), "");
}

TEST_F(DebugLogRecord, FormatsMessagesOfAnyLength) {
  on(3);
  LogInfoBody("main", 7, "%s\t%s", "name", "value");
  LogInfoBody("main", 8, "ARGV[%d] = %s\n", 0, "Quorvan_Office");
  LogErrorBody("main", 9, "%05.1f|%-4d|%x|%c|%%", 2.25, 12, 255U, 'c');
  const std::string longText(200000, 'y');
  LogInfoBody("main", 10, "<%s>", longText.c_str());
  LogErrorBody("main", 11, "<%s>", longText.c_str());
  EXPECT_EQ(log(),
            "AI######\t[time]\tmain\tL7\tname\tvalue\n"
            "AI######\t[time]\tmain\tL8\tARGV[0] = Quorvan_Office\n\n"
            "AE######\t[time]\tmain\tL9\t002.2|12  |ff|c|%\n"
            "AI######\t[time]\tmain\tL10\t<" +
                longText + ">\nAE######\t[time]\tmain\tL11\t<" + longText + ">\n");
}

TEST_F(DebugLogRecord, DoesNotReadAMessageAsAFormatAgain) {
  on(3);
  LogInfoBody("%s%n", 1, "%s", "%s%n%d");
  LogErrorBody("%s%n", 2, "%s", "%s%n%d");
  logNote("%s", "%s%n%d");
  EXPECT_EQ(log(),
            "AI######\t[time]\t%s%n\tL1\t%s%n%d\n"
            "AE######\t[time]\t%s%n\tL2\t%s%n%d\n"
            "AN######\t[time]\tlogger\tL0\t%s%n%d\n");
}

TEST_F(DebugLogRecord, OfANoteNeedsNoLevel) {
  on(0);
  logNote("level %d, \"%s\"", -3, "q");
  const std::string longText(100000, 'z');
  logNote("%s", longText.c_str());
  EXPECT_EQ(log(), "AN######\t[time]\tlogger\tL0\tlevel -3, \"q\"\nAN######\t[time]\tlogger\tL0\t" +
                       longText + "\n");
}

// ---- LogFileAccessBody ----

TEST_F(DebugLogFileAccess, NamesAReadablePath) {
  const std::string path = file("here");
  writeFile(path, "x");
  const char* const expected[] = {"", "I", "", "I", "", "I", "", "I"};
  for (int level = 0; level < 8; ++level) {
    std::filesystem::remove(file("debug.log"));
    on(level);
    LogFileAccessBody("caller", 9, path.c_str());
    const std::string record =
        "AI######\t[time]\tLogFileAccessBody\tL159\t" + path + "\n\texists\n\tread OK\n";
    EXPECT_EQ(log(), *expected[level] ? record : "") << level;
    reset();
  }
}

TEST_F(DebugLogFileAccess, NamesAMissingPathWhenErrorsAreLoggedToo) {
  const char* const expected[] = {"", "", "", "E", "", "", "", "E"};
  for (int level = 0; level < 8; ++level) {
    std::filesystem::remove(file("debug.log"));
    on(level);
    LogFileAccessBody("caller", 9, "/nowhere/at/all");
    EXPECT_EQ(log(), *expected[level] ? "AE######\t[time]\tLogFileAccessBody\tL166\t"
                                        "/nowhere/at/all\n\t!exist\n"
                                      : "")
        << level;
    reset();
  }
}

TEST_F(DebugLogFileAccess, NamesAnUnreadablePathWhenErrorsAreLoggedToo) {
  const std::string path = file("locked");
  writeFile(path, "x");
  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  const char* const expected[] = {"", "", "", "E", "", "", "", "E"};
  for (int level = 0; level < 8; ++level) {
    std::filesystem::remove(file("debug.log"));
    on(level);
    inChildThatObeysPermissions([&] { LogFileAccessBody("caller", 9, path.c_str()); });
    const std::string record =
        "AE######\t[time]\tLogFileAccessBody\tL162\t" + path + "\n\texists\n\tread ERR\n";
    EXPECT_EQ(log(), *expected[level] ? record : "") << level;
    reset();
  }
}

TEST_F(DebugLogFileAccess, TreatsDirectoriesLinksAndEmptyPathsAlike) {
  on(3);
  std::filesystem::create_symlink(file("nothing"), file("dangling"));
  LogFileAccessBody("", 0, tmp().c_str());
  LogFileAccessBody("", 0, file("dangling").c_str());
  LogFileAccessBody("", 0, "");
  EXPECT_EQ(log(), "AI######\t[time]\tLogFileAccessBody\tL159\t" + tmp() +
                       "\n\texists\n\tread OK\n"
                       "AE######\t[time]\tLogFileAccessBody\tL166\t" +
                       file("dangling") +
                       "\n\t!exist\n"
                       "AE######\t[time]\tLogFileAccessBody\tL166\t\n\t!exist\n");
}

// ---- dumps ----

TEST_F(DebugLogDump, ShowsBytesAsHexadecimalDigits) {
  on(4);
  dumpBytesBody("main", 302, "piece", "\x00\xff\x41\x0a\xb5", 5);
  EXPECT_EQ(log(), "AD######\t[time]\tmain\tL302\tmain L302: piece 5b\n{00FF410AB5}\n");
}

TEST_F(DebugLogDump, OfNoBytesHasEmptyBraces) {
  on(4);
  dumpBytesBody("main", 1, "empty", "", 0);
  dumpBytesBody("main", 2, "none", nullptr, 0);
  dumpDataBody("main", 3, "data", {});
  EXPECT_EQ(log(),
            "AD######\t[time]\tmain\tL1\tmain L1: empty 0b\n{}\n"
            "AD######\t[time]\tmain\tL2\tmain L2: none 0b\n{}\n"
            "AD######\t[time]\tmain\tL3\tmain L3: data 0b\n{}\n");
}

TEST_F(DebugLogDump, NeverBreaksALongBuffer) {
  on(4);
  std::string buffer;
  std::string digits;
  for (int i = 0; i < 20000; ++i) {
    buffer += "\x01\xab\xcd\xef";
    digits += "01ABCDEF";
  }
  dumpBytesBody("f", 1, "l", buffer.data(), 80000);
  EXPECT_EQ(log(), "AD######\t[time]\tf\tL1\tf L1: l 80000b\n{" + digits + "}\n");
}

TEST_F(DebugLogDump, ShowsADataObjectWithItsZeros) {
  on(4);
  dumpDataBody("f", 12, "the data", bytes("a\0b\0"));
  EXPECT_EQ(log(), "AD######\t[time]\tf\tL12\tf L12: the data 4b\n{61006200}\n");
}

TEST_F(DebugLogDump, KeepsPercentSignsOfTheLabel) {
  on(4);
  dumpBytesBody("%s%n", 1, "%d%s", "x", 1);
  EXPECT_EQ(log(), "AD######\t[time]\t%s%n\tL1\t%s%n L1: %d%s 1b\n{78}\n");
}

TEST_F(DebugLogDump, ShowsAPropertyListAsXml) {
  on(4);
  plist_t dictionary = plist_new_dict();
  plist_dict_set_item(dictionary, "a", plist_new_bool(1));
  plist_dict_set_item(dictionary, "b", plist_new_uint(12));
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_string("x < y & z"));
  plist_dict_set_item(dictionary, "c", array);
  dumpDictBody("main", 5, "some list", dictionary);
  plist_free(dictionary);
  EXPECT_EQ(log(),
            "AD######\t[time]\tmain\tL5\tmain L5: some list\n"
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "\t<key>a</key>\n\t<true/>\n"
            "\t<key>b</key>\n\t<integer>12</integer>\n"
            "\t<key>c</key>\n\t<array>\n\t\t<string>x &lt; y &amp; z</string>\n\t</array>\n"
            "</dict>\n"
            "</plist>\n\n");
}

TEST_F(DebugLogDump, ShowsAListThatIsNotADictionary) {
  on(4);
  plist_t text = plist_new_string("only");
  dumpDictBody("f", 1, "l", text);
  plist_free(text);
  EXPECT_EQ(log(),
            "AD######\t[time]\tf\tL1\tf L1: l\n"
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n<string>only</string>\n</plist>\n\n");
}

// How text that is not ASCII is shown is not specified, but there must be a record.
void expectErrorThenDump(const std::string& log, const std::string& error,
                         const std::string& dumpHead) {
  EXPECT_EQ(log.substr(0, error.size() + dumpHead.size()), error + dumpHead);
  EXPECT_EQ(log.back(), '\n');
  EXPECT_EQ(log.find("######", error.size() + dumpHead.size()), std::string::npos);
}

TEST_F(DebugLogDump, ReportsANonAsciiLabelAndGoesOn) {
  on(6);
  dumpBytesBody("f", 1, "caf\x8e", "x", 1);
  expectErrorThenDump(log(), "AE######\t[time]\tdumpBytesBody\tL217\tERR cstr ERR\n",
                      "AD######\t[time]\tf\tL1\t");
}

TEST_F(DebugLogDump, ReportsANonAsciiFunctionAndGoesOn) {
  on(6);
  dumpBytesBody("f\x80", 1, "l", "x", 1);
  expectErrorThenDump(log(), "AE######\t[time]\tdumpBytesBody\tL217\tERR cstr ERR\n",
                      "AD######\t[time]\tf\x80\tL1\t");
}

TEST_F(DebugLogDump, ReportsANonAsciiLabelOfDataUnderTheBytesDump) {
  on(7);
  dumpDataBody("f", 2, "\xff", "x");
  expectErrorThenDump(log(), "AE######\t[time]\tdumpBytesBody\tL217\tERR cstr ERR\n",
                      "AD######\t[time]\tf\tL2\t");
}

TEST_F(DebugLogDump, ReportsANonAsciiLabelOfAPropertyListAndGoesOn) {
  on(6);
  plist_t text = plist_new_string("only");
  dumpDictBody("f", 3, "caf\x8e", text);
  plist_free(text);
  expectErrorThenDump(log(), "AE######\t[time]\tdumpDictBody\tL237\tERR cstr ERR\n",
                      "AD######\t[time]\tf\tL3\t");
}

TEST_F(DebugLogDump, StillComesWhenItsErrorIsNotLogged) {
  on(4);
  dumpBytesBody("f", 1, "caf\x8e", "x", 1);
  expectErrorThenDump(log(), "", "AD######\t[time]\tf\tL1\t");
}

TEST_F(DebugLogDump, TakesEveryAsciiCharacterOfALabel) {
  on(6);
  dumpBytesBody("f", 1, "\x01\x7f\t~", "x", 1);
  EXPECT_EQ(log(), "AD######\t[time]\tf\tL1\tf L1: \x01\x7f\t~ 1b\n{78}\n");
}

TEST_F(DebugLogDump, ReportsANonAsciiPropertyListAndGoesOn) {
  on(6);
  plist_t text = plist_new_string("caf\xc3\xa9");
  dumpDictBody("f", 3, "l", text);
  plist_free(text);
  expectErrorThenDump(log(), "AE######\t[time]\tdumpDictBody\tL237\tERR cstr ERR\n",
                      "AD######\t[time]\tf\tL3\t");
}

}  // namespace
}  // namespace jobshaper::testing
