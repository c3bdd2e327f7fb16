// Shared by the tests of the diagnostic log: resets its global state before and after each test,
// creates a temporary directory, captures standard error, and has the sockets of a debugging
// application.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "diag/debug_log.h"
#include "diag/debug_session.h"
#include "tests/support/permissions.h"
#include "tests/support/program.h"

namespace jobshaper::testing {

// Masks process id and times of a debug file or a datagram like maskLog(), but keeps the source
// lines: "AI######\t[time]\tmain\tL302\t{". Leaves lines of another form or another process
// unchanged.
inline std::string masked(std::string_view log) {
  constexpr std::string_view form = "\t[dd:dd:dd.ddd]\t";
  char pid[16];
  std::snprintf(pid, sizeof pid, "%06d", logCurrentPID);
  const std::size_t pidLength = std::strlen(pid);
  const auto fits = [&](std::string_view rest) {
    if (rest.substr(0, pidLength) != pid || rest.size() < pidLength + form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
      const char c = rest[pidLength + i];
      if (form[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(c)) : c != form[i])
        return false;
    }
    return true;
  };
  std::string result;
  for (std::size_t i = 0; i < log.size();) {
    if (fits(log.substr(i))) {
      result += "######\t[time]\t";
      i += pidLength + form.size();
    } else {
      result += log[i++];
    }
  }
  return result;
}

// Returns the text of a settings file: `root` within what every XML property list has.
inline std::string propertyList(std::string_view root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         std::string(root) + "\n</plist>\n";
}

// The entry of this program. Each value is an XML element; an empty one omits the key.
inline std::string entry(std::string_view level, std::string_view module = "<integer>1</integer>",
                         std::string_view file = "<string>debug.log</string>") {
  const auto pair = [](std::string_view key, std::string_view value) {
    if (value.empty()) return std::string();
    return "\t\t<key>" + std::string(key) + "</key>\n\t\t" + std::string(value) + "\n";
  };
  return "<dict>\n\t<key>Feiprion</key>\n\t<dict>\n" + pair("debugFile", file) +
         pair("debugLevel", level) + pair("moduleNumber", module) + "\t</dict>\n</dict>";
}

inline std::string integer(long long value) {
  return "<integer>" + std::to_string(value) + "</integer>";
}

// Returns the next message on a socket, or nothing after a timeout.
inline std::optional<std::string> receive(int socket, int timeoutMs = 5000) {
  pollfd waiting{socket, POLLIN, 0};
  if (::poll(&waiting, 1, timeoutMs) <= 0) return std::nullopt;
  std::string message(300000, '\0');
  const ssize_t n = ::recv(socket, message.data(), message.size(), 0);
  if (n < 0) return std::nullopt;
  message.resize(static_cast<std::size_t>(n));
  return message;
}

// Two connected sockets: one for the log, one for the debugging application.
class SocketPair {
 public:
  explicit SocketPair(int type = SOCK_DGRAM) {
    int both[2];
    if (::socketpair(AF_UNIX, type, 0, both) != 0) {
      ADD_FAILURE() << "socketpair: " << strerror(errno);
      return;
    }
    log_ = both[0];
    application_ = both[1];
  }
  ~SocketPair() {
    closeLog();
    closeApplication();
  }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;

  int log() const { return log_; }
  int application() const { return application_; }
  void forgetLog() { log_ = -1; }  // because the log has closed it
  void closeLog() { close(log_); }
  void closeApplication() { close(application_); }

 private:
  static void close(int& descriptor) {
    if (descriptor >= 0) ::close(descriptor);
    descriptor = -1;
  }

  int log_ = -1;
  int application_ = -1;
};

// An unconnected datagram socket for the log, and the bound socket that it sends to.
class DatagramSockets {
 public:
  DatagramSockets() {
    log_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    application_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr generic;
    std::memcpy(&generic, &address_, sizeof generic);
    socklen_t size = sizeof generic;
    if (log_ < 0 || application_ < 0 || ::bind(application_, &generic, size) != 0 ||
        ::getsockname(application_, &generic, &size) != 0) {
      ADD_FAILURE() << "datagram sockets: " << strerror(errno);
    }
    std::memcpy(&address_, &generic, sizeof address_);
  }
  ~DatagramSockets() {
    ::close(log_);
    ::close(application_);
  }
  DatagramSockets(const DatagramSockets&) = delete;
  DatagramSockets& operator=(const DatagramSockets&) = delete;

  int log() const { return log_; }
  int application() const { return application_; }
  sockaddr address() const {
    sockaddr result;
    std::memcpy(&result, &address_, sizeof result);
    return result;
  }

 private:
  int log_ = -1;
  int application_ = -1;
  sockaddr_in address_{};
};

class DebugLog : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char* value = std::getenv("TMPDIR")) formerTmp_ = value;
    setenv("TMPDIR", directory_.path().c_str(), 1);
    reset();
    ::testing::internal::CaptureStderr();
    capturing_ = true;
  }

  void TearDown() override {
    if (capturing_) err();
    reset();
    formerTmp_ ? setenv("TMPDIR", formerTmp_->c_str(), 1) : unsetenv("TMPDIR");
  }

  // The state of a process that has logged nothing yet.
  static void reset() {
    if (logDebugFilePtr) std::fclose(logDebugFilePtr);
    logDoneSetup = false;
    logCurrentPID = 0;
    logDebugLevel = 0;
    logModuleID = 0;
    logDebugFilePtr = nullptr;
    logClientFD = 0;
    std::memset(&logSocketFile, 0, sizeof logSocketFile);
    logSocketFileSize = 16;
  }

  // Sets up the log: this level, module A, process 4242, "debug.log" open.
  void on(std::int32_t level) {
    onWithoutFile(level);
    logDebugFilePtr = std::fopen(file("debug.log").c_str(), "a");
    ASSERT_NE(logDebugFilePtr, nullptr);
  }
  static void onWithoutFile(std::int32_t level) {
    logDoneSetup = true;
    logCurrentPID = 4242;
    logDebugLevel = level;
    logModuleID = 65;
  }

  std::string tmp() const { return directory_.path(); }
  std::string file(std::string_view name) const { return directory_.file(name); }
  std::string settingsFile() const { return file("Debug/.DebugPlist/qvDebug.plist"); }
  void settings(std::string_view root) const { writeFile(settingsFile(), propertyList(root)); }

  bool exists(std::string_view name = "debug.log") const {
    return std::filesystem::exists(file(name));
  }
  std::string log() const { return masked(readFile(file("debug.log"))); }

  // What was written to standard error so far. To be called once in a test.
  std::string err() {
    capturing_ = false;
    return ::testing::internal::GetCapturedStderr();
  }
  std::string tmpLine() const { return "tmp at " + tmp() + " \n"; }

  void expectOff() const {
    EXPECT_TRUE(logDoneSetup);
    EXPECT_EQ(logDebugLevel, 0);
    EXPECT_EQ(logDebugFilePtr, nullptr);
    EXPECT_FALSE(exists());
  }

  // Runs `action` in a child process, which must exit with 0.
  template <typename Action>
  static void inChild(Action action) {
    const pid_t child = ::fork();
    if (child == 0) {
      action();
      ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    ASSERT_EQ(WEXITSTATUS(status), 0);
  }

  // The same with file permissions in effect, even if the tests run as root.
  template <typename Action>
  static void inChildThatObeysPermissions(Action action) {
    inChild([&] {
      obeyPermissions();
      action();
    });
  }

 private:
  TemporaryDirectory directory_;
  std::optional<std::string> formerTmp_;
  bool capturing_ = false;
};

}  // namespace jobshaper::testing
