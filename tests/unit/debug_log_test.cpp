// What no job shows of the diagnostic log, but other programs use: errors, access to files, dumps,
// the socket of a debugging application, and its part in the setup.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>
#include <tuple>
#include <utility>

#include "diag/debug_log.h"
#include "diag/debug_session.h"
#include "platform/descriptor.h"
#include "tests/support/log_settings.h"
#include "tests/support/permissions.h"
#include "tests/support/pipe.h"

namespace {

// Called instead of waiting.
std::function<void(useconds_t)> insteadOfWaiting;

}  // namespace

// These replace functions of the C library.
extern "C" int usleep(useconds_t microseconds) {
  insteadOfWaiting(microseconds);
  return 0;
}

extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept {
  *time = {1, 998600};
  return 0;
}

namespace jobshaper::testing {
namespace {

// A record of the time above, in India.
std::string record(std::string_view head, std::string_view rest, int process = 4242) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%06d", process);
  return std::string(head) + digits + "\t[05:30:01.998]\t" + rest + "\n";
}

// ---- the application

struct Sockets {
  Descriptor log, application;
};

Sockets connectedSockets(int type = SOCK_DGRAM) {
  int both[2];
  EXPECT_EQ(socketpair(AF_UNIX, type, 0, both), 0);
  return {Descriptor(both[0]), Descriptor(both[1])};
}

// The next message, or "nothing".
std::string received(const Sockets& sockets, int timeoutMs = 0) {
  pollfd waiting{sockets.application.get(), POLLIN, 0};
  if (poll(&waiting, 1, timeoutMs) != 1) return "nothing";
  std::string message(100000, '\0');
  message.resize(static_cast<std::size_t>(
      std::max<ssize_t>(recv(waiting.fd, message.data(), message.size(), 0), 0)));
  return message;
}

// ---- the log

// The state before main.
const std::tuple kAtStart(logDoneSetup, logCurrentPID, logDebugLevel, logModuleID, logDebugFilePtr,
                          logClientFD, logSocketFileSize);

// Calls that depend on the level.
void (*const kCalls[])(const char* text) = {
    [](const char* text) { LogInfoBody("f", 1, "%s", text); },
    [](const char* text) { LogErrorBody("f", 1, "%s", text); },
    [](const char*) { LogFileAccessBody("f", 1, "/"); },
    [](const char* text) { dumpBytesBody("f", 1, "l", text, 1); },
    [](const char*) { dumpDataBody("f", 1, "l", "x"); },
    [](const char*) { dumpDictBody("f", 1, "l", nullptr); },
};

class DebugLog : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("TZ", "IST-5:30", 1);
    tzset();
  }
  DebugLog() {
    setenv("TMPDIR", directory_.path().c_str(), 1);
    reset();
  }
  ~DebugLog() override {
    reset();
    unsetenv("TMPDIR");
  }

  // The state of a process that has logged nothing yet.
  static void reset() {
    if (logDebugFilePtr) std::fclose(logDebugFilePtr);
    std::tie(logDoneSetup, logCurrentPID, logDebugLevel, logModuleID, logDebugFilePtr, logClientFD,
             logSocketFileSize) = kAtStart;
    logSocketFile = {};
  }

  // The state after setup with this level, module A and a debug file.
  void on(std::int32_t level) {
    reset();
    logDoneSetup = true;
    logCurrentPID = 4242;
    logDebugLevel = level;
    logModuleID = 65;
    logDebugFilePtr = fdopen(dup(file_.writing()), "a");
  }

  // What was written to the file since the last call.
  std::string written() const { return file_.take(); }

  const TemporaryDirectory directory_;
  const Pipe file_;
  const Sockets sockets_ = connectedSockets();
};

// ---- records

using DebugLogRecord = DebugLog;

TEST_F(DebugLogRecord, IsDroppedBeforeTheSetup) {
  EXPECT_EQ(kAtStart, std::tuple(false, 0, 0, 0, nullptr, 0, 16U));
  sendToDebugApp("lost", 4);
  closeDebugSession();
}

// While the level is off, nothing is formatted.
TEST_F(DebugLogRecord, NeedsTheLevelBitOfItsKind) {
  // No readable page. NOLINTNEXTLINE(performance-no-int-to-ptr)
  const char* const wild = reinterpret_cast<const char*>(std::uintptr_t{1});
  const struct {
    std::int32_t level;
    std::string types;
  } rows[] = {{0, ""}, {1, "II"}, {2, "E"}, {4, "DDD"}, {8, ""}, {-8, ""}, {-1, "IEIDDD"}};
  for (const auto& row : rows) {
    on(row.level);
    std::string types;
    for (const auto& call : kCalls) {
      call(row.types.empty() ? wild : "x");
      const std::string text = written();
      if (!text.empty()) types += text[1];
    }
    EXPECT_EQ(types, row.types) << row.level;
  }
}

TEST_F(DebugLogRecord, OfAnErrorOrANoteHasAnyTextAndArguments) {
  const std::string text = "%s%n\x8e" + std::string(40000, 'y');
  on(2);
  LogErrorBody("%s%n", -9, "%05.1f|%s", 2.25, text.c_str());
  EXPECT_EQ(written(), record("AE", "%s%n\tL-9\t002.2|" + text));
  // A note needs neither a level nor the setup.
  on(0);
  logDoneSetup = false;
  logNote("%d|%s", -3, text.c_str());
  EXPECT_EQ(written(), record("AN", "logger\tL0\t-3|" + text));
  EXPECT_FALSE(logDoneSetup);
}

TEST_F(DebugLogRecord, OfFileAccessSaysWhetherThePathCanBeRead) {
  const std::string readable = directory_.file("readable"), locked = directory_.file("locked");
  for (const std::string& path : {readable, locked}) writeFile(path, "x");
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  const struct {
    int level;
    std::string path, expected;
  } rows[] = {
      {3, readable, record("AI", "LogFileAccessBody\tL159\t" + readable + "\n\texists\n\tread OK")},
      {3, locked, record("AE", "LogFileAccessBody\tL162\t" + locked + "\n\texists\n\tread ERR")},
      {3, "/nowhere", record("AE", "LogFileAccessBody\tL166\t/nowhere\n\t!exist")},
      {1, "/nowhere", ""},
      {2, "/nowhere", ""},
  };
  for (const auto& row : rows) {
    on(row.level);
    std::thread([&] {
      obeyPermissions();
      LogFileAccessBody("caller", 9, row.path.c_str());
    }).join();
    EXPECT_EQ(written(), row.expected) << row.path;
  }
}

TEST_F(DebugLogRecord, OfADumpHasBytesInHexadecimalOrAListInXml) {
  on(4);
  dumpBytesBody("%s", 302, "%d", "\x00\xff\x41\x0a\xb5", 5);
  EXPECT_EQ(written(), record("AD", "%s\tL302\t%s L302: %d 5b\n{00FF410AB5}"));
  dumpBytesBody("f", 1, "none", nullptr, 0);
  EXPECT_EQ(written(), record("AD", "f\tL1\tf L1: none 0b\n{}"));
  dumpDataBody("f", 1, "data", std::string(20000, '\0'));
  EXPECT_EQ(written(), record("AD", "f\tL1\tf L1: data 20000b\n{" + std::string(40000, '0') + "}"));
  dumpDictBody("f", 1, "no list", nullptr);
  EXPECT_EQ(written(), record("AD", "f\tL1\tf L1: no list\n"));
}

TEST_F(DebugLogRecord, OfADumpComesAfterAnErrorIfItIsNotAscii) {
  on(6);
  dumpBytesBody("f", 1, "\x01\x7f\t~", "x", 1);
  EXPECT_EQ(written(), record("AD", "f\tL1\tf L1: \x01\x7f\t~ 1b\n{78}"));
  dumpDataBody("f", 1, "\x80", "x");
  EXPECT_EQ(written(), record("AE", "dumpBytesBody\tL217\tERR cstr ERR") +
                           record("AD", "f\tL1\tf L1: \x80 1b\n{78}"));
  plist_t value = plist_new_string("< \xc3\xa9");
  dumpDictBody("f", 1, "l", value);
  plist_free(value);
  EXPECT_EQ(written(),
            record("AE", "dumpDictBody\tL237\tERR cstr ERR") +
                record("AD", "f\tL1\tf L1: l\n" + propertyList("<string>&lt; \xc3\xa9</string>")));
}

// ---- the socket of a debugging application

using DebugLogSocket = DebugLog;

// From descriptor 2 on. The file takes C strings, the socket any bytes.
TEST_F(DebugLogSocket, GetsEachRecordInsteadOfTheFile) {
  on(0);
  for (const int descriptor : {-1, 0, 1}) {
    logClientFD = descriptor;
    sendToDebugApp("abc\0def", 7);
    sendToDebugApp("|whole|", 2);
  }
  EXPECT_EQ(written(), "abc|whole|abc|whole|abc|whole|");
  const Descriptor standardError(dup(2));
  ASSERT_EQ(dup2(sockets_.log.get(), 2), 2);
  logClientFD = 2;
  sendToDebugApp("abc\0def", 7);
  sendToDebugApp("|part", 3);
  dup2(standardError.get(), 2);
  EXPECT_EQ(received(sockets_), bytes("abc\0def"));
  EXPECT_EQ(received(sockets_), "|pa");
  EXPECT_EQ(written(), "");
}

// A connected stream socket refuses datagrams, so what arrives was sent without an address.
TEST_F(DebugLogSocket, HasAPortIfEitherByteIsSet) {
  const Sockets sockets = connectedSockets(SOCK_STREAM);
  logClientFD = sockets.log.get();
  for (const int at : {0, 1, 2, 3, 4}) {
    logSocketFile = {};
    reinterpret_cast<char*>(&logSocketFile)[at] = 1;
    sendToDebugApp(std::to_string(at).c_str(), 1);
  }
  EXPECT_EQ(received(sockets), "014");
}

TEST_F(DebugLogSocket, GetsDumpsWithTheirLengthInFront) {
  on(4);
  logClientFD = sockets_.log.get();
  const auto sent = [&](const std::string& text) {
    LogFormatAndSend("f", 1, RecordType::dump, text.c_str());
    return received(sockets_);
  };
  const std::string longText(0x10203 - 29, 'y');
  EXPECT_EQ(sent(""), record(bytes("AD\0\0\0\x1d"), ""));
  EXPECT_EQ(sent(longText), record(bytes("AD\0\x01\x02\x03"), longText));
  logModuleID = 0;
  EXPECT_EQ(sent("text"), record(bytes("\0D\0\0\0\x21"), "text"));
  // The length allows for a process ID of six digits; with a longer one, the line end is cut off.
  logCurrentPID = 1234567;
  EXPECT_EQ(sent("text") + "\n", record(bytes("\0D\0\0\0\x21"), "text", 1234567));
}

// The last record of the file goes to the socket, too, which is closed by then.
TEST_F(DebugLogSocket, IsClosedAfterALastRecordAndSoIsTheFile) {
  const auto isOpen = [](int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; };
  on(0);
  int file = fileno(logDebugFilePtr);
  closeDebugSession();
  EXPECT_EQ(written(), record("AZ", "logger\tL0\tDEBUG END file"));
  EXPECT_FALSE(isOpen(file));
  EXPECT_NE(std::exchange(logDebugFilePtr, nullptr), nullptr);  // not reset
  on(0);
  file = fileno(logDebugFilePtr);
  logClientFD = dup(sockets_.log.get());
  closeDebugSession();
  EXPECT_EQ(received(sockets_), record("AZ", "logger\tL0\tDEBUG END fd"));
  EXPECT_EQ(written(), "");
  EXPECT_FALSE(isOpen(logClientFD) || isOpen(file));
  logDebugFilePtr = nullptr;
}

// ---- setup with a socket

// The messages with which a setup ends, for the first byte of its records, its level and module.
// `bits` has a letter for each bit that the level has.
std::string announced(char module, std::string_view level, std::string_view number,
                      std::string_view bits) {
  std::string result;
  const auto send = [&](char type, std::string_view message) {
    result += "[" +
              record(std::string{module, type}, std::string("logger\tL0\t") + message, getpid()) +
              "]";
  };
  send('A', "DEBUG GO");
  send('N', "socket OK");
  send('N', "bID   \"Feiprion\"");
  send('N', std::string("level ") + level);
  send('N', std::string("mID   ") + number);
  for (const char bit : bits) send('N', std::string(1, bit) + " OK");
  send('N', "setup OK");
  return result;
}

const std::string kTraceAll = "\t<key>traceAll</key>\n\t<true/>\n";
const std::string kAsking = "<dict>\n" + kTraceAll + "</dict>";
const std::string kRequest =
    "[\xff"
    "Feiprion]";

class DebugLogSetup : public DebugLog {
 protected:
  // Replaces the settings; without new ones, removes them. A file that is emptied and written again
  // would be flushed to the disk, which takes ten times as long.
  void setSettings(const std::string& bytes) const {
    const std::string path = directory_.file(kLogSettings);
    std::filesystem::remove(path);
    if (!bytes.empty()) writeFile(path, bytes);
  }

  // Runs setup and returns what it sent: messages in brackets, and a dot for each wait. `changes`
  // are the settings that replace the first ones during these waits, counted from 1.
  std::string setUpLog(const std::string& root, const std::map<int, std::string>& changes = {}) {
    setSettings(propertyList(root));
    std::string sent;
    const auto take = [&] {
      for (std::string next; (next = received(sockets_)) != "nothing";) sent += "[" + next + "]";
    };
    int waits = 0;
    insteadOfWaiting = [&](useconds_t microseconds) {
      EXPECT_EQ(microseconds, 200000U);
      take();
      sent += ".";
      const auto change = changes.find(++waits);
      if (change != changes.end()) setSettings(change->second);
    };
    ::testing::internal::CaptureStderr();
    setupDebug();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "tmp at " + directory_.path() + " \n");
    take();
    return sent;
  }

  std::string setUpWithSocket(const std::string& root,
                              const std::map<int, std::string>& changes = {}) {
    reset();
    logClientFD = sockets_.log.get();
    return setUpLog(root, changes);
  }
};

TEST_F(DebugLogSetup, RunsBeforeTheFirstCallOfEveryKind) {
  for (const auto& call : kCalls) {
    reset();
    ::testing::internal::CaptureStderr();
    call("x");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "tmp at " + directory_.path() + " \n");
  }
}

TEST_F(DebugLogSetup, AnnouncesItselfToTheApplicationWithoutAFile) {
  EXPECT_EQ(setUpWithSocket(logEntry(integer("3"))), announced('A', "3", "65", "IE"));
  EXPECT_EQ(setUpWithSocket(logEntry(integer("8"), integer("2"), "")),
            announced('B', "8", "66", ""));
  EXPECT_EQ(setUpWithSocket(logEntry(integer("-5"))), announced('A', "-5", "65", "IE"));
  EXPECT_EQ(setUpWithSocket(logEntry(integer("0"))), "");
  EXPECT_FALSE(std::filesystem::exists(directory_.file("debug.log")));
}

TEST_F(DebugLogSetup, LeavesAllLevelsOffWithoutADestination) {
  EXPECT_EQ(setUpLog(logEntry(integer("7"), integer("1"), "")), "");
  EXPECT_EQ(logDebugLevel, 0);
}

TEST_F(DebugLogSetup, KeepsTheLevelOrModuleThatTheEntryLacks) {
  logClientFD = sockets_.log.get();
  logDebugLevel = 8;
  EXPECT_EQ(setUpLog(logEntry("", integer("2"))), announced('\x02', "8", "2", ""));
  logDoneSetup = false;
  EXPECT_EQ(setUpLog(logEntry(integer("1"), "")), announced('\x02', "1", "2", "I"));
}

TEST_F(DebugLogSetup, AsksForAnEntryAndWaitsForItFiveTimes) {
  const std::string entry = logEntry(integer("2"), integer("3")), with = propertyList(entry);
  const std::string found = announced('C', "2", "67", "E");
  EXPECT_EQ(setUpWithSocket(kAsking, {{4, propertyList(withMembers(entry, kTraceAll))}}),
            kRequest + "...." + found);
  EXPECT_EQ(setUpWithSocket(kAsking, {{5, with}}), kRequest + ".....");
  EXPECT_EQ(setUpWithSocket(kAsking, {{1, ""}, {2, "<plist>"}, {3, with}}),
            kRequest + "..." + found);
}

TEST_F(DebugLogSetup, DumpsTheSettingsThatItFoundLast) {
  const std::string settings = propertyList(logEntry(integer("4")));
  const std::string sent = setUpWithSocket(kAsking, {{1, settings}});
  EXPECT_TRUE(sent.starts_with(kRequest + "." + announced('A', "4", "65", "D") + "[AD")) << sent;
  EXPECT_NE(sent.find(settings), sent.npos) << sent;
}

TEST_F(DebugLogSetup, DoesNotAskUnlessTraceAllIsTrueAndTheEntryMissing) {
  for (const char* root : {"<dict/>", "<dict><key>traceAll</key><false/></dict>",
                           "<dict><key>traceAll</key><string>true</string></dict>",
                           "<dict><key>TraceAll</key><true/></dict>"}) {
    EXPECT_EQ(setUpWithSocket(root), "") << root;
  }
  EXPECT_EQ(setUpWithSocket(withMembers(logEntry(integer("8")), kTraceAll)),
            announced('A', "8", "65", ""));
  reset();
  logClientFD = 1;
  EXPECT_EQ(setUpLog(kAsking), "") << "without a socket";
}

// The request has the whole address, whatever its length is set to.
TEST_F(DebugLogSetup, SendsDatagramsIfThereIsAPort) {
  const Sockets datagrams{Descriptor(socket(AF_INET, SOCK_DGRAM, 0)),
                          Descriptor(socket(AF_INET, SOCK_DGRAM, 0))};
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof logSocketFile;
  std::memcpy(&logSocketFile, &loopback, size);
  ASSERT_EQ(bind(datagrams.application.get(), &logSocketFile, size), 0);
  ASSERT_EQ(getsockname(datagrams.application.get(), &logSocketFile, &size), 0);
  logClientFD = datagrams.log.get();
  logSocketFileSize = 8;  // too short for an internet address
  EXPECT_EQ(setUpLog(kAsking), ".....");
  sendToDebugApp("short", 5);
  logSocketFileSize = 16;
  sendToDebugApp("whole", 5);
  EXPECT_EQ("[" + received(datagrams, 5000) + "]", kRequest);
  EXPECT_EQ(received(datagrams, 5000), "whole");
}

}  // namespace
}  // namespace jobshaper::testing
