// The setup of the diagnostic log: which settings file turns it on, its notes, and every way in
// which it stays off without disturbing the job.
#include <functional>
#include <iterator>
#include <ostream>

#include "tests/unit/debug_log_fixture.h"

namespace jobshaper::testing {
namespace {

using DebugLogSetup = DebugLog;

// ---- settings that leave the log off ----

struct Settings {
  const char* name;
  std::string text;
};

void PrintTo(const Settings& settings, std::ostream* out) { *out << settings.name; }

std::string nameOf(const ::testing::TestParamInfo<Settings>& info) { return info.param.name; }

class DebugLogOff : public DebugLog, public ::testing::WithParamInterface<Settings> {};

TEST_P(DebugLogOff, StaysOffSilently) {
  writeFile(settingsFile(), GetParam().text);
  setupDebug();
  expectOff();
  LogInfoBody("f", 1, "%s", "m");
  LogErrorBody("f", 1, "%s", "m");
  dumpBytesBody("f", 1, "l", "x", 1);
  logNote("%s", "n");
  EXPECT_FALSE(exists());
  EXPECT_EQ(err(), tmpLine());
}

const std::string kGood = propertyList(entry("<integer>7</integer>"));

INSTANTIATE_TEST_SUITE_P(
    Unparsable, DebugLogOff,
    ::testing::Values(
        Settings{"EmptyFile", ""}, Settings{"OneNewline", "\n"},
        Settings{"PlainWords", "level 7\n"},
        Settings{"OldStyleList", "{ Feiprion = { debugLevel = 7; moduleNumber = 1; }; }\n"},
        Settings{"Json", "{\"Feiprion\": {\"debugLevel\": 7}}\n"},
        Settings{"OtherXml", "<?xml version=\"1.0\"?>\n<html><body>7</body></html>\n"},
        Settings{"OnlyTheXmlLine", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"},
        Settings{"EmptyRoot", propertyList("")},
        Settings{"CutInTheMiddle", kGood.substr(0, kGood.size() / 2)},
        Settings{"CutBeforeTheEnd", kGood.substr(0, kGood.find("</plist>"))},
        Settings{"CutWithinATag", kGood.substr(0, kGood.find("debugLevel</key>") + 12)},
        Settings{"OnlyZeros", std::string(4096, '\0')},
        Settings{"ZerosInFront", std::string(4, '\0') + kGood},
        Settings{"BinaryNoise", bytes("\x8f\x01\xfe<plist\0\xff\xff<dict><key>\x80</key>\0\n")},
        Settings{"BinaryListHeaderOnly", "bplist00"},
        Settings{"BinaryListOfNoise", "bplist00" + std::string(100, '\xff')},
        Settings{"BinaryListOfZeros", "bplist00" + std::string(100, '\0')},
        Settings{"WronglyNested",
                 propertyList("<dict><key>Feiprion</key><dict></key></dict><string></dict>")},
        Settings{"CrossedTags", propertyList("<dict><key>Feiprion</dict></key>")}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    WithoutAnEntry, DebugLogOff,
    ::testing::Values(
        Settings{"EmptyDictionary", propertyList("<dict/>")},
        Settings{"OtherProgramOnly",
                 propertyList("<dict>\n<key>Other</key>\n<dict>\n<key>debugFile</key>\n"
                              "<string>debug.log</string>\n<key>debugLevel</key>\n"
                              "<integer>7</integer>\n<key>moduleNumber</key>\n"
                              "<integer>1</integer>\n</dict>\n</dict>")},
        Settings{"OtherLetterCase",
                 propertyList("<dict>\n<key>feiprion</key>\n<dict>\n<key>debugFile</key>\n"
                              "<string>debug.log</string>\n<key>debugLevel</key>\n"
                              "<integer>7</integer>\n<key>moduleNumber</key>\n"
                              "<integer>1</integer>\n</dict>\n</dict>")},
        Settings{"KeysOutsideTheEntry",
                 propertyList("<dict>\n<key>debugFile</key>\n<string>debug.log</string>\n"
                              "<key>debugLevel</key>\n<integer>7</integer>\n"
                              "<key>moduleNumber</key>\n<integer>1</integer>\n</dict>")},
        // Without a socket, there is no application to ask for an entry.
        Settings{"TraceAllOnly", propertyList("<dict>\n<key>traceAll</key>\n<true/>\n</dict>")},
        Settings{"RootIsAnArray", propertyList("<array>\n<string>Feiprion</string>\n</array>")},
        Settings{"RootIsAString", propertyList("<string>Feiprion</string>")},
        Settings{"RootIsAnInteger", propertyList("<integer>7</integer>")},
        Settings{"RootIsTrue", propertyList("<true/>")},
        Settings{"RootIsData", propertyList("<data>AAAA</data>")},
        Settings{"EntryIsAString",
                 propertyList("<dict>\n<key>Feiprion</key>\n<string>7</string>\n</dict>")},
        Settings{"EntryIsAnArray",
                 propertyList("<dict>\n<key>Feiprion</key>\n<array>\n<integer>7</integer>\n"
                              "</array>\n</dict>")},
        Settings{"EntryIsAnInteger",
                 propertyList("<dict>\n<key>Feiprion</key>\n<integer>7</integer>\n</dict>")}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    WithoutALevel, DebugLogOff,
    ::testing::Values(
        Settings{"EmptyEntry", propertyList("<dict>\n<key>Feiprion</key>\n<dict/>\n"
                                            "</dict>")},
        Settings{"LevelMissing", propertyList(entry(""))},
        Settings{"LevelZero", propertyList(entry("<integer>0</integer>"))},
        Settings{"LevelIsAString", propertyList(entry("<string>7</string>"))},
        Settings{"LevelIsTrue", propertyList(entry("<true/>"))},
        Settings{"LevelIsData", propertyList(entry("<data>Bw==</data>"))},
        Settings{"LevelIsADate", propertyList(entry("<date>2004-01-01T00:00:07Z</date>"))},
        Settings{"LevelIsAnArray", propertyList(entry("<array>\n<integer>7</integer>\n</array>"))},
        Settings{"LevelIsADictionary", propertyList(entry("<dict/>"))},
        // Without a socket a negative level opens no file.
        Settings{"LevelMinusOne", propertyList(entry("<integer>-1</integer>"))},
        Settings{"LevelSmallest", propertyList(entry("<integer>-2147483648</integer>"))},
        Settings{"LevelTooSmall", propertyList(entry("<integer>-2147483649</integer>"))},
        Settings{"LevelFarTooSmall", propertyList(entry("<integer>-4294967289</integer>"))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    WithoutAFileName, DebugLogOff,
    ::testing::Values(
        Settings{"FileMissing",
                 propertyList(entry("<integer>7</integer>", "<integer>1</integer>", ""))},
        Settings{"FileIsAnInteger",
                 propertyList(entry("<integer>7</integer>", "<integer>1</integer>",
                                    "<integer>7</integer>"))},
        Settings{"FileIsADictionary",
                 propertyList(entry("<integer>7</integer>", "<integer>1</integer>", "<dict/>"))}),
    nameOf);

TEST_F(DebugLogSetup, StaysOffWithoutASettingsFile) {
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffWhenTheSettingsAreADirectory) {
  std::filesystem::create_directories(settingsFile());
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffWhenALinkLeadsNowhere) {
  std::filesystem::create_directories(file("Debug/.DebugPlist"));
  std::filesystem::create_symlink(file("nothing"), settingsFile());
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffWhenALinkLeadsToItself) {
  std::filesystem::create_directories(file("Debug/.DebugPlist"));
  std::filesystem::create_symlink(settingsFile(), settingsFile());
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffWhenAFileStandsInTheWay) {
  writeFile(file("Debug"), "");
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffWhenTheSettingsMayNotBeRead) {
  settings(entry(integer(7)));
  ASSERT_EQ(::chmod(settingsFile().c_str(), 0), 0);
  inChildThatObeysPermissions([] {
    setupDebug();
    if (!logDoneSetup || logDebugLevel != 0 || logDebugFilePtr) ::_exit(3);
  });
  EXPECT_FALSE(exists());
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, StaysOffForEveryTruncatedFile) {
  for (std::size_t size = 0; size < kGood.find("</plist>") + 8; ++size) {
    reset();
    writeFile(settingsFile(), kGood.substr(0, size));
    setupDebug();
    expectOff();
    if (HasFailure()) FAIL() << "cut to " << size << " bytes";
  }
}

// With any byte of the settings damaged, the log is off or has a file.
TEST_F(DebugLogSetup, OutlivesEveryDamagedByte) {
  constexpr char kDamage[] = {'\0', '<', '\xff'};
  for (std::size_t at = 0; at < kGood.size(); ++at) {
    std::string text = kGood;
    text[at] = kDamage[at % std::size(kDamage)];
    writeFile(settingsFile(), text);
    inChild([] {
      setupDebug();
      LogInfoBody("f", 1, "%s", "m");
      if ((logDebugLevel != 0) != (logDebugFilePtr != nullptr)) ::_exit(3);
    });
    if (HasFailure()) FAIL() << "byte " << static_cast<int>(text[at]) << " at " << at;
  }
}

// ---- settings that turn it on ----

TEST_F(DebugLogSetup, WritesItsNotesAndDumpsTheSettings) {
  settings(entry(integer(7)));
  setupDebug();
  EXPECT_EQ(logCurrentPID, ::getpid());
  EXPECT_EQ(logDebugLevel, 7);
  EXPECT_EQ(logModuleID, 65);
  EXPECT_EQ(log(),
            "AA######\t[time]\tlogger\tL0\tDEBUG GO\n"
            "AN######\t[time]\tlogger\tL0\tfile OK\n"
            "AN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n"
            "AN######\t[time]\tlogger\tL0\tlevel 7\n"
            "AN######\t[time]\tlogger\tL0\tmID   65\n"
            "AN######\t[time]\tlogger\tL0\tI OK\n"
            "AN######\t[time]\tlogger\tL0\tE OK\n"
            "AN######\t[time]\tlogger\tL0\tD OK\n"
            "AN######\t[time]\tlogger\tL0\tsetup OK\n"
            "AD######\t[time]\tsetupDebug\tL512\tsetupDebug L512: debugPlist\n"
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "\t<key>Feiprion</key>\n"
            "\t<dict>\n"
            "\t\t<key>debugFile</key>\n"
            "\t\t<string>debug.log</string>\n"
            "\t\t<key>debugLevel</key>\n"
            "\t\t<integer>7</integer>\n"
            "\t\t<key>moduleNumber</key>\n"
            "\t\t<integer>1</integer>\n"
            "\t</dict>\n"
            "</dict>\n"
            "</plist>\n\n");
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetup, NotesTheBitsOfItsLevel) {
  const struct {
    std::int32_t level;
    const char* notes;
  } rows[] = {
      {1, "level 1|I OK|"},
      {2, "level 2|E OK|"},
      {3, "level 3|I OK|E OK|"},
      {4, "level 4|D OK|dump|"},
      {5, "level 5|I OK|D OK|dump|"},
      {6, "level 6|E OK|D OK|dump|"},
      {7, "level 7|I OK|E OK|D OK|dump|"},
      {8, "level 8|"},
      {11, "level 11|I OK|E OK|"},
      {2147483647, "level 2147483647|I OK|E OK|D OK|dump|"},
  };
  for (const auto& row : rows) {
    reset();
    std::filesystem::remove(file("debug.log"));
    settings(entry(integer(row.level)));
    setupDebug();
    EXPECT_EQ(logDebugLevel, row.level);
    const std::string text = log();
    std::string notes;
    for (const char* note : {"level ", "I OK\n", "E OK\n", "D OK\n"}) {
      const std::size_t at = text.find(std::string("AN######\t[time]\tlogger\tL0\t") + note);
      if (at != std::string::npos)
        notes += text.substr(at + 26, text.find('\n', at) - at - 26) + "|";
    }
    if (text.find("AD######\t[time]\tsetupDebug\tL512\t") != std::string::npos) notes += "dump|";
    EXPECT_EQ(notes, row.notes);
    EXPECT_TRUE(
        text.starts_with("AA######\t[time]\tlogger\tL0\tDEBUG GO\n"
                         "AN######\t[time]\tlogger\tL0\tfile OK\n"
                         "AN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n"
                         "AN######\t[time]\tlogger\tL0\tlevel "));
  }
}

TEST_F(DebugLogSetup, MakesTheModuleLetterOfTheModuleNumber) {
  const struct {
    std::int32_t number;
    const char* letter;
    const char* note;
  } rows[] = {{1, "A", "mID   65"},
              {2, "B", "mID   66"},
              {3, "C", "mID   67"},
              {26, "Z", "mID   90"},
              {0, "@", "mID   64"},
              {-31, "!", "mID   33"},
              {300, "l", "mID   364"},
              {-300, "\x14", "mID   -236"},
              {2147483583, "\xff", "mID   2147483647"}};
  for (const auto& row : rows) {
    reset();
    std::filesystem::remove(file("debug.log"));
    settings(entry(integer(8), integer(row.number)));
    setupDebug();
    const std::string letter = row.letter;
    EXPECT_EQ(log(), letter + "A######\t[time]\tlogger\tL0\tDEBUG GO\n" + letter +
                         "N######\t[time]\tlogger\tL0\tfile OK\n" + letter +
                         "N######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n" + letter +
                         "N######\t[time]\tlogger\tL0\tlevel 8\n" + letter +
                         "N######\t[time]\tlogger\tL0\t" + row.note + "\n" + letter +
                         "N######\t[time]\tlogger\tL0\tsetup OK\n");
    EXPECT_EQ(logModuleID, row.number + 64);
  }
}

TEST_F(DebugLogSetup, WrapsTheLargestModuleNumbers) {
  settings(entry(integer(8), integer(2147483647)));
  setupDebug();
  EXPECT_EQ(logModuleID, -2147483585);
  EXPECT_NE(log().find("?N######\t[time]\tlogger\tL0\tmID   -2147483585\n"), std::string::npos);
}

TEST_F(DebugLogSetup, ClampsIntegersToThirtyTwoBits) {
  const struct {
    const char* number;
    std::int32_t level;
    std::int32_t module;
  } rows[] = {
      {"2147483647", 2147483647, -2147483585},  {"2147483648", 2147483647, -2147483585},
      {"4294967295", 2147483647, -2147483585},  {"4294967297", 2147483647, -2147483585},
      {"-2147483648", 0, -2147483584},          {"-2147483649", 0, -2147483584},
      {"-4294967289", 0, -2147483584},          {"9223372036854775807", 2147483647, -2147483585},
      {"-9223372036854775808", 0, -2147483584},
  };
  for (const auto& row : rows) {
    reset();
    const std::string number = "<integer>" + std::string(row.number) + "</integer>";
    settings(entry(number, number));
    setupDebug();
    EXPECT_EQ(logDebugLevel, row.level) << row.number;
    EXPECT_EQ(logModuleID, row.module) << row.number;
  }
}

// A record that begins with a zero byte is an empty string for the file.
TEST_F(DebugLogSetup, WritesNothingForModuleCharacterZero) {
  for (const int number : {-64, 192}) {
    reset();
    settings(entry(integer(7), integer(number)));
    setupDebug();
    LogInfoBody("f", 1, "%s", "m");
    EXPECT_EQ(logDebugLevel, 7);
    EXPECT_EQ(log(), "");
  }
}

TEST_F(DebugLogSetup, AddsNothingToAModuleThatItCannotRead) {
  for (const char* module : {"", "<string>1</string>", "<true/>", "<array/>"}) {
    reset();
    settings(entry(integer(1), module));
    setupDebug();
    EXPECT_EQ(logDebugLevel, 1) << module;
    EXPECT_EQ(logModuleID, 0) << module;
    EXPECT_NE(logDebugFilePtr, nullptr) << module;
    EXPECT_EQ(log(), "") << module;
  }
}

TEST_F(DebugLogSetup, AddsNothingToTheModuleWhenTheLevelCannotBeRead) {
  settings(entry("<string>7</string>", integer(2)));
  setupDebug();
  EXPECT_EQ(logModuleID, 2);
  expectOff();
}

TEST_F(DebugLogSetup, ReadsTheEntryAmongManyOthers) {
  settings(
      "<!-- switched on for a customer -->\n<dict>\n"
      "\t<key>Other</key><dict><key>debugLevel</key><integer>4</integer></dict>\n"
      "\t<key>when</key><date>2004-01-01T00:00:00Z</date>\n"
      "\t<key>some</key><array><real>1.5</real><data>AAEC</data><false/></array>\n"
      "\t<key>Feiprion</key><dict>\n"
      "\t<key>moduleNumber</key><integer>2</integer>\n"
      "\t<key>more</key><string>x</string>\n"
      "\t<key>debugLevel</key><integer>1</integer>\n"
      "\t<key>debugFile</key><string>a&amp;b&lt;.log</string></dict>\n"
      "\t<key>traceAll</key><true/>\n</dict>");
  setupDebug();
  EXPECT_TRUE(masked(readFile(file("a&b<.log")))
                  .starts_with("BA######\t[time]\tlogger\tL0\tDEBUG GO\n"
                               "BN######\t[time]\tlogger\tL0\tfile OK\n"));
  EXPECT_EQ(logDebugLevel, 1);
}

TEST_F(DebugLogSetup, ReadsAFileOf64KiBAndNoLargerOne) {
  for (const std::size_t size : {65536U, 65537U}) {
    reset();
    settings("<!---->" + entry(integer(1)));
    const std::size_t left = size - std::filesystem::file_size(settingsFile());
    settings("<!--" + std::string(left, 'x') + "-->" + entry(integer(1)));
    setupDebug();
    EXPECT_EQ(logDebugLevel, size == 65536 ? 1 : 0);
  }
}

// Another user could otherwise turn the log on, and choose its file.
TEST_F(DebugLogSetup, StaysOffForSettingsThatOthersCanWrite) {
  settings(entry(integer(1)));
  for (const std::string& path :
       {file("Debug"), file("Debug/.DebugPlist"), file("Debug/.DebugPlist/qvDebug.plist")}) {
    for (const mode_t mode : {0755U, 0775U, 0757U, 0700U}) {
      reset();
      ASSERT_EQ(::chmod(path.c_str(), mode), 0);
      setupDebug();
      EXPECT_EQ(logDebugLevel, (mode & 022) == 0 ? 1 : 0) << path << " " << std::oct << mode;
    }
  }
}

TEST_F(DebugLogSetup, StaysOffForSettingsOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files to another user";
  settings(entry(integer(1)));
  for (const std::string& path :
       {file("Debug"), file("Debug/.DebugPlist"), file("Debug/.DebugPlist/qvDebug.plist")}) {
    reset();
    ASSERT_EQ(::chown(path.c_str(), 1, 1), 0);
    setupDebug();
    EXPECT_EQ(logDebugLevel, 0) << path;
    ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  }
}

// Not even for links in directories that only the user can write.
TEST_F(DebugLogSetup, StaysOffForLinkedSettings) {
  settings(entry(integer(1)));
  for (const char* name : {"Debug", "Debug/.DebugPlist", "Debug/.DebugPlist/qvDebug.plist"}) {
    reset();
    std::filesystem::rename(file(name), file("moved"));
    std::filesystem::create_symlink(file("moved"), file(name));
    setupDebug();
    EXPECT_EQ(logDebugLevel, 0) << name;
    std::filesystem::remove(file(name));
    std::filesystem::rename(file("moved"), file(name));
  }
}

TEST_F(DebugLogSetup, ReadsADeeplyNestedFile) {
  std::string deep;
  for (int i = 0; i < 200; ++i) deep += "<array>";
  deep += "<string>inmost</string>";
  for (int i = 0; i < 200; ++i) deep += "</array>";
  settings("<dict>\n<key>deep</key>" + deep + "\n" + entry(integer(4)).substr(7));
  setupDebug();
  EXPECT_EQ(logDebugLevel, 4);
  EXPECT_NE(log().find("<string>inmost</string>"), std::string::npos);
}

TEST_F(DebugLogSetup, StaysOffForAListThatOnlyNests) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<array>";
  for (int i = 0; i < 100000; ++i) deep += "</array>";
  settings("<dict>\n<key>deep</key>" + deep + "\n" + entry(integer(4)).substr(7));
  setupDebug();
  EXPECT_EQ(logDebugLevel, 0);
}

// ---- when and where it runs ----

TEST_F(DebugLogSetup, RunsOnceForEveryKindOfFirstCall) {
  plist_t value = plist_new_string("v");
  const std::function<void()> calls[] = {
      [] { LogInfoBody("f", 1, "%s", "m"); },
      [] { LogErrorBody("f", 1, "%s", "m"); },
      [] { LogFileAccessBody("f", 1, "/"); },
      [] { dumpDataBody("f", 1, "l", "x"); },
      [] { dumpBytesBody("f", 1, "l", "x", 1); },
      [&] { dumpDictBody("f", 1, "l", value); },
      [] { setupDebug(); },
  };
  std::string expected;
  for (const auto& call : calls) {
    reset();
    call();
    EXPECT_TRUE(logDoneSetup);
    EXPECT_EQ(logCurrentPID, ::getpid());
    for (const auto& later : calls) later();
    expected += tmpLine();
  }
  plist_free(value);
  EXPECT_EQ(err(), expected);
}

TEST_F(DebugLogSetup, ComesBeforeTheFirstRecord) {
  settings(entry(integer(2)));
  LogErrorBody("main", 302, "%s", "bad");
  EXPECT_EQ(log(),
            "AA######\t[time]\tlogger\tL0\tDEBUG GO\n"
            "AN######\t[time]\tlogger\tL0\tfile OK\n"
            "AN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n"
            "AN######\t[time]\tlogger\tL0\tlevel 2\n"
            "AN######\t[time]\tlogger\tL0\tmID   65\n"
            "AN######\t[time]\tlogger\tL0\tE OK\n"
            "AN######\t[time]\tlogger\tL0\tsetup OK\n"
            "AE######\t[time]\tmain\tL302\tbad\n");
}

TEST_F(DebugLogSetup, DoesNotSeeLaterSettings) {
  LogInfoBody("f", 1, "%s", "m");
  settings(entry(integer(7)));
  LogInfoBody("f", 1, "%s", "m");
  setupDebug();
  expectOff();

  reset();
  setupDebug();
  settings(entry(integer(2), integer(5)));
  LogInfoBody("f", 1, "%s", "kept");
  EXPECT_EQ(logDebugLevel, 7);
  EXPECT_TRUE(log().ends_with("AI######\t[time]\tf\tL1\tkept\n"));
}

TEST_F(DebugLogSetup, DoesNothingOnceItIsMarkedAsDone) {
  settings(entry(integer(7)));
  logDoneSetup = true;
  setupDebug();
  LogInfoBody("f", 1, "%s", "m");
  EXPECT_EQ(logCurrentPID, 0);
  expectOff();
  EXPECT_EQ(err(), "");
}

TEST_F(DebugLogSetup, NamesTheTemporaryDirectoryAsItStands) {
  const std::string directory = tmp();
  settings(entry(integer(8)));
  for (const char* ending : {"", "/", "//", "/."}) {
    reset();
    std::filesystem::remove(file("debug.log"));
    setenv("TMPDIR", (directory + ending).c_str(), 1);
    setupDebug();
    EXPECT_TRUE(exists()) << ending;
  }
  EXPECT_EQ(err(), "tmp at " + directory + " \ntmp at " + directory + "/ \ntmp at " + directory +
                       "// \ntmp at " + directory + "/. \n");
}

TEST_F(DebugLogSetup, UsesTmpWithoutTmpdir) {
  unsetenv("TMPDIR");
  setupDebug();
  reset();
  setenv("TMPDIR", "", 1);
  setupDebug();
  EXPECT_EQ(err(), "tmp at /tmp \ntmp at /tmp \n");
}

TEST_F(DebugLogSetup, StaysOffInADirectoryThatDoesNotExist) {
  setenv("TMPDIR", "/nowhere/at all", 1);
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), "tmp at /nowhere/at all \n");
}

TEST_F(DebugLogSetup, TakesAVeryLongDirectoryName) {
  const std::string directory = "/" + std::string(5000, 'd');
  setenv("TMPDIR", directory.c_str(), 1);
  setupDebug();
  expectOff();
  EXPECT_EQ(err(), "tmp at " + directory + " \n");
}

}  // namespace
}  // namespace jobshaper::testing
