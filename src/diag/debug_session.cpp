#include "diag/debug_session.h"

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>

#include "diag/debug_log.h"
#include "diag/log_settings.h"
#include "platform/files.h"
#include "platform/system.h"

namespace jobshaper {

namespace {

constexpr std::size_t kPathBuffer = 512;  // a longer path is truncated to 511 bytes
constexpr int kSettingsDumpLine = 512;    // fixed: tools that read the log expect it

// Asks the debugging application to add an entry for this program to the settings file, and waits
// for it for about a second.
void askForEntry(LogSettings& settings, const std::string& directory) {
  const std::string request = std::string("\xff") + kLogIdentifier;
  sendToSocket(request.data(), request.size(), sizeof logSocketFile);
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (settings.read(directory) && settings.hasEntry()) return;
    usleep(200000);
  }
}

void openDebugFile(const std::string& directory, const std::string& name) {
  char path[kPathBuffer];
  const int length = std::snprintf(path, sizeof path, "%s/%s", directory.c_str(), name.c_str());
  // Intentional: only the low byte of the length is tested, so a path whose length is a multiple of
  // 256 opens nothing.
  if ((length & 0xFF) == 0 || logDebugLevel <= 0) return;
  // The filter creates files in the temporary directory only, so the directory must not be
  // truncated.
  if (directory.size() < sizeof path) {
    Descriptor file = openForAppending(directory, path + directory.size());
    logDebugFilePtr = ::fdopen(file.get(), "a");
    if (logDebugFilePtr) file.release();
  }
  if (!logDebugFilePtr) {
    std::fputs("ERROR: Unable to open log file\n", stderr);
  }
}

void applySettings(LogSettings& settings, const std::string& directory) {
  if (!settings.read(directory)) return;
  if (settings.traceAll() && socketInUse() && !settings.hasEntry())
    askForEntry(settings, directory);
  if (!settings.hasEntry()) return;
  const std::optional<std::int32_t> level = settings.entryInteger("debugLevel");
  const std::optional<std::int32_t> module = settings.entryInteger("moduleNumber");
  logDebugLevel = level.value_or(logDebugLevel);
  logModuleID = module.value_or(logModuleID);
  // Unsigned, because signed arithmetic could overflow on a hostile number.
  if (level && module) {
    logModuleID = static_cast<std::int32_t>(static_cast<std::uint32_t>(logModuleID) + 64);
  }
  if (!socketInUse()) {
    if (const auto name = settings.entryString("debugFile")) openDebugFile(directory, *name);
  }
}

void announceSetup() {
  LogFormatAndSend("logger", 0, RecordType::start, "DEBUG GO");
  logNote(socketInUse() ? "socket OK" : "file OK");
  logNote("bID   \"%s\"", kLogIdentifier);
  logNote("level %d", logDebugLevel);
  logNote("mID   %d", logModuleID);
  if (logDebugLevel & kInfoBit) logNote("I OK");
  if (logDebugLevel & kErrorBit) logNote("E OK");
  if (logDebugLevel & kDumpBit) logNote("D OK");
  logNote("setup OK");
}

}  // namespace

void setupDebug() {
  if (logDoneSetup) return;
  logDoneSetup = true;
  logCurrentPID = ::getpid();
  const std::string directory = temporaryDirectory();
  std::fprintf(stderr, "tmp at %s \n", directory.c_str());

  LogSettings settings;
  applySettings(settings, directory);
  if (logDebugLevel != 0 && !socketInUse() && !logDebugFilePtr) logDebugLevel = 0;
  if (logDebugLevel == 0) return;
  announceSetup();
  dumpDictBody("setupDebug", kSettingsDumpLine, "debugPlist", settings.root());
}

void closeDebugSession() {
  if (socketInUse()) {
    LogFormatAndSend("logger", 0, RecordType::end, "DEBUG END fd");
    ::close(logClientFD);
  }
  if (logDebugFilePtr) {
    LogFormatAndSend("logger", 0, RecordType::end, "DEBUG END file");
    std::fclose(logDebugFilePtr);
  }
}

}  // namespace jobshaper
