// The diagnostic log with the socket of a debugging application: both ways of sending, dumps with
// their length, the end of a session, and the request for an entry in the settings.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>

#include <cerrno>
#include <ctime>
#include <functional>
#include <map>
#include <vector>

#include "tests/unit/debug_log_fixture.h"

namespace {

// Called instead of waiting; if empty, the test waits.
std::function<void(useconds_t)> insteadOfWaiting;

}  // namespace

// Replaces the function of the C library.
extern "C" int usleep(useconds_t microseconds) {
  if (insteadOfWaiting) {
    insteadOfWaiting(microseconds);
    return 0;
  }
  const timespec time{static_cast<time_t>(microseconds / 1000000),
                      static_cast<long>(microseconds % 1000000 * 1000)};
  return nanosleep(&time, nullptr);
}

namespace jobshaper::testing {
namespace {

using DebugLogSocket = DebugLog;
using DebugLogEnd = DebugLog;

TEST_F(DebugLogSocket, GetsWholeRecordsByPlainSending) {
  const SocketPair sockets;
  onWithoutFile(3);
  logClientFD = sockets.log();
  LogInfoBody("main", 302, "%s", "{");
  LogErrorBody("main", 303, "%s", "bad");
  logNote("%s", "n");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AI######\t[time]\tmain\tL302\t{\n");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AE######\t[time]\tmain\tL303\tbad\n");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AN######\t[time]\tlogger\tL0\tn\n");
  EXPECT_EQ(receive(sockets.application(), 20), std::nullopt);
}

TEST_F(DebugLogSocket, GetsExactlyTheGivenBytes) {
  const SocketPair sockets;
  logClientFD = sockets.log();
  sendToDebugApp("abc\0def", 7);
  sendToDebugApp("abcdef", 3);
  EXPECT_EQ(receive(sockets.application()), bytes("abc\0def"));
  EXPECT_EQ(receive(sockets.application()), "abc");
}

TEST_F(DebugLogSocket, IsUsedInsteadOfTheFile) {
  const SocketPair sockets;
  on(1);
  logClientFD = sockets.log();
  LogInfoBody("f", 1, "%s", "m");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AI######\t[time]\tf\tL1\tm\n");
  EXPECT_EQ(log(), "");
}

TEST_F(DebugLogSocket, IsInUseFromDescriptorTwoOn) {
  on(0);
  for (const int descriptor : {-1, 0, 1}) {
    logClientFD = descriptor;
    sendToDebugApp("to the file\n", 12);
  }
  EXPECT_EQ(log(), "to the file\nto the file\nto the file\n");

  const SocketPair sockets;
  const int standardError = ::dup(2);
  ASSERT_EQ(::dup2(sockets.log(), 2), 2);
  logClientFD = 2;
  sendToDebugApp("to the socket\n", 14);
  ::dup2(standardError, 2);
  ::close(standardError);
  EXPECT_EQ(receive(sockets.application()), "to the socket\n");
}

TEST_F(DebugLogSocket, GetsDatagramsWhenThereIsAPort) {
  const DatagramSockets sockets;
  onWithoutFile(1);
  logClientFD = sockets.log();
  logSocketFile = sockets.address();
  LogInfoBody("f", 1, "%s", "m");
  sendToDebugApp("abc\0def", 7);
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AI######\t[time]\tf\tL1\tm\n");
  EXPECT_EQ(receive(sockets.application()), bytes("abc\0def"));
}

TEST_F(DebugLogSocket, GetsDatagramsWithTheGivenAddressLength) {
  const DatagramSockets sockets;
  logClientFD = sockets.log();
  logSocketFile = sockets.address();
  logSocketFileSize = 8;  // too short for an internet address
  sendToDebugApp("short", 5);
  logSocketFileSize = 16;
  sendToDebugApp("whole", 5);
  EXPECT_EQ(receive(sockets.application()), "whole");
}

// A connected stream socket refuses datagrams, so what arrives was sent without an address.
TEST_F(DebugLogSocket, TakesEitherByteOfThePortField) {
  const SocketPair sockets(SOCK_STREAM);
  logClientFD = sockets.log();
  char* const address = reinterpret_cast<char*>(&logSocketFile);
  address[2] = 1;
  sendToDebugApp("one", 3);
  address[2] = 0;
  address[3] = 1;
  sendToDebugApp("two", 3);
  address[3] = 0;
  address[0] = 2;
  address[4] = 127;
  sendToDebugApp("three", 5);
  EXPECT_EQ(receive(sockets.application()), "three");
}

TEST_F(DebugLogSocket, MayHaveLostItsReader) {
  const auto former = ::signal(SIGPIPE, SIG_IGN);
  SocketPair sockets(SOCK_STREAM);
  sockets.closeApplication();
  on(7);
  logClientFD = sockets.log();
  LogInfoBody("f", 1, "%s", "m");
  dumpBytesBody("f", 1, "l", "x", 1);
  ::signal(SIGPIPE, former);
  EXPECT_EQ(logDebugLevel, 7);
  EXPECT_EQ(log(), "");
  EXPECT_EQ(err(), "");
}

// "f L1: l 2b\n{DEAD}" has 17 characters; 17 + 29 = 46.
TEST_F(DebugLogSocket, GetsDumpsWithTheirLengthInFront) {
  const SocketPair sockets;
  onWithoutFile(4);
  logClientFD = sockets.log();
  dumpBytesBody("f", 1, "l", "\xde\xad", 2);
  const std::string record = receive(sockets.application()).value_or("nothing");
  EXPECT_EQ(record.size(), 46U);
  EXPECT_EQ(masked(record), bytes("AD\0\0\0\x2e######\t[time]\tf L1: l 2b\n{DEAD}\n"));
}

TEST_F(DebugLogSocket, GetsTheLengthInBigEndianOrder) {
  const SocketPair sockets;
  onWithoutFile(4);
  logClientFD = sockets.log();
  LogFormatAndSend("f", 1, RecordType::dump, "");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("AD\0\0\0\x1d######\t[time]\t\n"));
  LogFormatAndSend("f", 1, RecordType::dump, std::string(0x111 - 29, 'x').c_str());
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("AD\0\0\x01\x11######\t[time]\t") + std::string(0x111 - 29, 'x') + "\n");
  LogFormatAndSend("f", 1, RecordType::dump, std::string(0x10203 - 29, 'y').c_str());
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("AD\0\x01\x02\x03######\t[time]\t") + std::string(0x10203 - 29, 'y') + "\n");
}

TEST_F(DebugLogSocket, GetsDumpsAsDatagramsToo) {
  const DatagramSockets sockets;
  onWithoutFile(4);
  logClientFD = sockets.log();
  logSocketFile = sockets.address();
  plist_t value = plist_new_bool(0);
  dumpDictBody("f", 1, "l", value);
  plist_free(value);
  // 190 characters of text and 29 around them make 219.
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("AD\0\0\0\xdb######\t[time]\tf L1: l\n"
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                  "<plist version=\"1.0\">\n<false/>\n</plist>\n\n"));
}

// The length allows for a process ID of six digits; with a longer one, the line end is cut off.
TEST_F(DebugLogSocket, GetsTheCountedBytesOfADumpWhateverTheProcessId) {
  const SocketPair sockets;
  onWithoutFile(4);
  logClientFD = sockets.log();
  logCurrentPID = 1234567;
  LogFormatAndSend("f", 1, RecordType::dump, "text");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("AD\0\0\0\x21######\t[time]\ttext"));
}

TEST_F(DebugLogSocket, GetsDumpsOfModuleZero) {
  const SocketPair sockets;
  onWithoutFile(4);
  logClientFD = sockets.log();
  logModuleID = 0;
  LogFormatAndSend("f", 1, RecordType::dump, "text");
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            bytes("\0D\0\0\0\x21######\t[time]\ttext\n"));
}

TEST_F(DebugLogSocket, GetsTheErrorOfADumpAsAPlainRecord) {
  const SocketPair sockets;
  onWithoutFile(6);
  logClientFD = sockets.log();
  dumpBytesBody("f", 1, "caf\x8e", "x", 1);
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AE######\t[time]\tdumpBytesBody\tL217\tERR cstr ERR\n");
  const std::string dump = receive(sockets.application()).value_or("nothing");
  ASSERT_GE(dump.size(), 29U);
  EXPECT_EQ(dump.substr(0, 2), "AD");
  std::uint32_t length;
  std::memcpy(&length, dump.data() + 2, 4);
  EXPECT_EQ(ntohl(length), dump.size());
}

// ---- closeDebugSession ----

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

TEST_F(DebugLogEnd, WritesALastRecordAndClosesTheFile) {
  on(0);
  const int descriptor = fileno(logDebugFilePtr);
  closeDebugSession();
  EXPECT_EQ(log(), "AZ######\t[time]\tlogger\tL0\tDEBUG END file\n");
  EXPECT_FALSE(isOpen(descriptor));
  EXPECT_NE(logDebugFilePtr, nullptr);  // the state is not reset
  logDebugFilePtr = nullptr;
}

TEST_F(DebugLogEnd, SendsALastRecordAndClosesTheSocket) {
  SocketPair sockets(SOCK_STREAM);
  onWithoutFile(0);
  logClientFD = sockets.log();
  closeDebugSession();
  EXPECT_FALSE(isOpen(logClientFD));
  EXPECT_EQ(logClientFD, sockets.log());  // the state is not reset
  sockets.forgetLog();
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AZ######\t[time]\tlogger\tL0\tDEBUG END fd\n");
  EXPECT_EQ(receive(sockets.application()), "");  // end of stream
}

// The last record of the file goes to the socket too, which is closed by then.
TEST_F(DebugLogEnd, ClosesSocketAndFile) {
  const auto former = ::signal(SIGPIPE, SIG_IGN);
  SocketPair sockets(SOCK_STREAM);
  on(0);
  const int descriptor = fileno(logDebugFilePtr);
  logClientFD = sockets.log();
  closeDebugSession();
  ::signal(SIGPIPE, former);
  EXPECT_FALSE(isOpen(descriptor));
  EXPECT_FALSE(isOpen(logClientFD));
  logDebugFilePtr = nullptr;
  sockets.forgetLog();
  EXPECT_EQ(masked(receive(sockets.application()).value_or("nothing")),
            "AZ######\t[time]\tlogger\tL0\tDEBUG END fd\n");
  EXPECT_EQ(receive(sockets.application()), "");
  EXPECT_EQ(log(), "");
}

TEST_F(DebugLogEnd, DoesNothingWithoutADestination) {
  closeDebugSession();
  EXPECT_FALSE(logDoneSetup);
  EXPECT_EQ(err(), "");
  EXPECT_FALSE(exists());
}

// ---- setup with a socket in use ----

constexpr std::string_view kAskOnly = "<dict>\n\t<key>traceAll</key>\n\t<true/>\n</dict>";

std::string withTraceAll(std::string_view value, std::string text) {
  return text.insert(7, "\t<key>traceAll</key>\n\t" + std::string(value) + "\n");
}

// What one setup sent, and how long it took.
class DebugLogSetupWithSocket : public DebugLog {
 protected:
  void SetUp() override {
    DebugLog::SetUp();
    logClientFD = sockets_.log();
  }

  std::string next() {
    const std::optional<std::string> message = receive(sockets_.application());
    return message ? masked(*message) : "nothing";
  }
  // Everything sent so far, with each message in brackets.
  std::string all() {
    std::string result;
    while (const auto message = receive(sockets_.application(), 20))
      result += "[" + masked(*message) + "]";
    return result;
  }
  // Replaces the settings file by renaming a new one, as an application that saves safely does.
  void replaceSettings(std::string_view text) const {
    writeFile(file("new.plist"), text);
    std::filesystem::rename(file("new.plist"), settingsFile());
  }
  // Runs setup, which waits this many times. The settings file changes during these waits, counted
  // from 1; without a text it is removed.
  unsigned waitsOfSetup(const std::map<unsigned, std::string>& changes = {}) {
    unsigned waits = 0;
    insteadOfWaiting = [&](useconds_t microseconds) {
      EXPECT_EQ(microseconds, 200000U);
      const auto change = changes.find(++waits);
      if (change == changes.end()) return;
      change->second.empty() ? static_cast<void>(std::filesystem::remove(settingsFile()))
                             : replaceSettings(change->second);
    };
    setupDebug();
    insteadOfWaiting = nullptr;
    return waits;
  }

  SocketPair sockets_;
};

TEST_F(DebugLogSetupWithSocket, SendsItsNotesThere) {
  settings(entry(integer(3)));
  setupDebug();
  EXPECT_EQ(all(),
            "[AA######\t[time]\tlogger\tL0\tDEBUG GO\n]"
            "[AN######\t[time]\tlogger\tL0\tsocket OK\n]"
            "[AN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n]"
            "[AN######\t[time]\tlogger\tL0\tlevel 3\n]"
            "[AN######\t[time]\tlogger\tL0\tmID   65\n]"
            "[AN######\t[time]\tlogger\tL0\tI OK\n]"
            "[AN######\t[time]\tlogger\tL0\tE OK\n]"
            "[AN######\t[time]\tlogger\tL0\tsetup OK\n]");
  EXPECT_EQ(logDebugFilePtr, nullptr);
  EXPECT_FALSE(exists());
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetupWithSocket, NeedsNoDebugFile) {
  settings(entry(integer(8), integer(2), ""));
  setupDebug();
  EXPECT_EQ(all(),
            "[BA######\t[time]\tlogger\tL0\tDEBUG GO\n]"
            "[BN######\t[time]\tlogger\tL0\tsocket OK\n]"
            "[BN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n]"
            "[BN######\t[time]\tlogger\tL0\tlevel 8\n]"
            "[BN######\t[time]\tlogger\tL0\tmID   66\n]"
            "[BN######\t[time]\tlogger\tL0\tsetup OK\n]");
  EXPECT_EQ(logDebugLevel, 8);
}

TEST_F(DebugLogSetupWithSocket, KeepsANegativeLevelAndDumpsTheSettings) {
  settings(entry(integer(-1)));
  setupDebug();
  EXPECT_EQ(logDebugLevel, -1);
  EXPECT_EQ(next(), "AA######\t[time]\tlogger\tL0\tDEBUG GO\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tsocket OK\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tlevel -1\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tmID   65\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tI OK\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tE OK\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tD OK\n");
  EXPECT_EQ(next(), "AN######\t[time]\tlogger\tL0\tsetup OK\n");
  // 403 characters of text and 29 around them make 432.
  EXPECT_EQ(next(), bytes("AD\0\0\x01\xb0######\t[time]\tsetupDebug L512: debugPlist\n") +
                        propertyList("<dict>\n"
                                     "\t<key>Feiprion</key>\n"
                                     "\t<dict>\n"
                                     "\t\t<key>debugFile</key>\n"
                                     "\t\t<string>debug.log</string>\n"
                                     "\t\t<key>debugLevel</key>\n"
                                     "\t\t<integer>-1</integer>\n"
                                     "\t\t<key>moduleNumber</key>\n"
                                     "\t\t<integer>1</integer>\n"
                                     "\t</dict>\n"
                                     "</dict>") +
                        "\n");
  EXPECT_EQ(all(), "");
}

TEST_F(DebugLogSetupWithSocket, StaysSilentAtLevelZero) {
  settings(entry(integer(0)));
  setupDebug();
  EXPECT_EQ(all(), "");
  expectOff();
}

TEST_F(DebugLogSetupWithSocket, DoesNotAskForAnEntryUnlessToldTo) {
  const std::string settingsThatDoNotAsk[] = {
      "<dict/>",
      "<dict>\n\t<key>traceAll</key>\n\t<false/>\n</dict>",
      "<dict>\n\t<key>traceAll</key>\n\t<string>true</string>\n</dict>",
      "<dict>\n\t<key>TraceAll</key>\n\t<true/>\n</dict>",
      "<array>\n\t<string>traceAll</string>\n\t<true/>\n</array>",
  };
  for (const std::string& text : settingsThatDoNotAsk) {
    reset();
    logClientFD = sockets_.log();
    settings(text);
    EXPECT_EQ(waitsOfSetup(), 0U) << text;
    EXPECT_EQ(all(), "") << text;
    expectOff();
  }
}

TEST_F(DebugLogSetupWithSocket, DoesNotAskWithoutAReadableSettingsFile) {
  EXPECT_EQ(waitsOfSetup(), 0U);
  EXPECT_EQ(all(), "");
  expectOff();
}

TEST_F(DebugLogSetupWithSocket, DoesNotAskWhenTheEntryIsThere) {
  settings(withTraceAll("<true/>", entry(integer(8))));
  EXPECT_EQ(waitsOfSetup(), 0U);
  EXPECT_EQ(next(), "AA######\t[time]\tlogger\tL0\tDEBUG GO\n");
}

TEST_F(DebugLogSetupWithSocket, NeverAsksWithoutASocket) {
  logClientFD = 1;
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup(), 0U);
  EXPECT_EQ(all(), "");
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetupWithSocket, AsksAndGivesUpAfterFiveLooks) {
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup(), 5U);
  EXPECT_EQ(all(),
            "[\xff"
            "Feiprion]");
  expectOff();
  EXPECT_EQ(err(), tmpLine());
}

TEST_F(DebugLogSetupWithSocket, AsksAndFindsTheEntryThatIsAdded) {
  settings(kAskOnly);
  EXPECT_EQ(
      waitsOfSetup({{2, propertyList(withTraceAll("<true/>", entry(integer(2), integer(3))))}}),
      2U);
  EXPECT_EQ(all(),
            "[\xff"
            "Feiprion]"
            "[CA######\t[time]\tlogger\tL0\tDEBUG GO\n]"
            "[CN######\t[time]\tlogger\tL0\tsocket OK\n]"
            "[CN######\t[time]\tlogger\tL0\tbID   \"Feiprion\"\n]"
            "[CN######\t[time]\tlogger\tL0\tlevel 2\n]"
            "[CN######\t[time]\tlogger\tL0\tmID   67\n]"
            "[CN######\t[time]\tlogger\tL0\tE OK\n]"
            "[CN######\t[time]\tlogger\tL0\tsetup OK\n]");
}

TEST_F(DebugLogSetupWithSocket, DumpsTheSettingsThatItFoundLast) {
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup({{2, propertyList(entry(integer(4)))}}), 2U);
  std::string last;
  for (std::string message; (message = next()) != "nothing";) {
    last = message;
    if (last.starts_with("AD")) break;
  }
  EXPECT_NE(last.find("<key>Feiprion</key>"), std::string::npos);
  EXPECT_EQ(last.find("traceAll"), std::string::npos);
}

TEST_F(DebugLogSetupWithSocket, LooksAgainAfterAMissingOrBrokenFile) {
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup({{1, ""}, {2, "<plist><dict>"}, {3, propertyList(entry(integer(8)))}}),
            3U);
  EXPECT_EQ(next(),
            "\xff"
            "Feiprion");
  EXPECT_EQ(next(), "AA######\t[time]\tlogger\tL0\tDEBUG GO\n");
  EXPECT_EQ(logDebugLevel, 8);
}

TEST_F(DebugLogSetupWithSocket, GivesUpWhenTheFileGoesAway) {
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup({{2, ""}}), 5U);
  EXPECT_EQ(all(),
            "[\xff"
            "Feiprion]");
  expectOff();
}

TEST_F(DebugLogSetupWithSocket, AsksByDatagramWhenThereIsAPort) {
  const DatagramSockets datagrams;
  logClientFD = datagrams.log();
  logSocketFile = datagrams.address();
  logSocketFileSize = 8;  // for the records only; the request always has a full address
  settings(kAskOnly);
  EXPECT_EQ(waitsOfSetup(), 5U);
  EXPECT_EQ(receive(datagrams.application()),
            "\xff"
            "Feiprion");
  EXPECT_EQ(receive(datagrams.application(), 20), std::nullopt);
  EXPECT_EQ(all(), "");
  expectOff();
}

}  // namespace
}  // namespace jobshaper::testing
