#include "diag/debug_log.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "diag/property_list.h"
#include "diag/settings_file.h"
#include "platform/descriptor.h"
#include "platform/system.h"

namespace jobshaper {

bool logDoneSetup = false;
std::int32_t logCurrentPID = 0;
std::int32_t logDebugLevel = 0;
std::int32_t logModuleID = 0;
std::FILE* logDebugFilePtr = nullptr;
std::int32_t logClientFD = 0;
sockaddr logSocketFile = {};
std::uint32_t logSocketFileSize = sizeof logSocketFile;

namespace {

constexpr std::int32_t kInfoBit = 1;
constexpr std::int32_t kErrorBit = 2;
constexpr std::int32_t kDumpBit = 4;

constexpr char kSettingsPath[] = "/Debug/.DebugPlist/qvDebug.plist";
constexpr std::size_t kPathBuffer = 512;  // a longer debug file path is cut to one byte less

bool socketInUse() { return logClientFD >= 2; }

[[gnu::format(printf, 1, 0)]] std::string vformatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = vformatted(format, arguments);
  va_end(arguments);
  return text;
}

// Runs setup, and tells whether records of this level are wanted.
bool levelIsOn(std::int32_t bit) {
  setupDebug();
  return (logDebugLevel & bit) != 0;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Sends bytes to the debugging application: as a datagram when its address has a port
// (bytes 2-3), else on the connected socket. The result does not matter to the job.
void sendToSocket(const char* bytes, std::size_t length, socklen_t addressLength) {
  std::uint16_t port;
  std::memcpy(&port, reinterpret_cast<const char*>(&logSocketFile) + 2, sizeof port);
  if (port != 0) {
    ::sendto(logClientFD, bytes, length, 0, &logSocketFile, addressLength);
  } else {
    ::send(logClientFD, bytes, length, 0);
  }
}

// Asks the debugging application to add this program's entry to the settings file, and gives
// it about a second to do so.
void askForEntry(SettingsFile& settings, const std::string& path) {
  const std::string request = formatted("%c%s", 255, kLogIdentifier);
  sendToSocket(request.data(), request.size(), sizeof logSocketFile);
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (settings.read(path) && settings.hasEntry()) return;
    usleep(200000);
  }
}

// Whether one of the names between the slashes is "..".
bool leavesFolder(const std::string& name) { return ("/" + name + "/").find("/../") != name.npos; }

void openDebugFile(const std::string& name) {
  char path[kPathBuffer];
  const int length =
      std::snprintf(path, sizeof path, "%s/%s", temporaryDirectory().c_str(), name.c_str());
  // Only the low byte of the length is looked at: a path of a multiple of 256 opens nothing.
  if ((length & 0xFF) == 0 || logDebugLevel <= 0) return;
  // Whoever may write the settings must not reach files elsewhere through them.
  if (!leavesFolder(name)) {
    Descriptor file = openForAppending(path);
    logDebugFilePtr = ::fdopen(file.get(), "a");
    if (logDebugFilePtr) file.release();
  }
  if (!logDebugFilePtr) {
    std::fputs("ERROR: Unable to open log file\n", stderr);
  }
}

void applySettings(SettingsFile& settings, const std::string& path) {
  if (!settings.read(path)) return;
  if (settings.traceAll() && socketInUse() && !settings.hasEntry()) askForEntry(settings, path);
  if (!settings.hasEntry()) return;
  const std::optional<std::int32_t> level = settings.entryInteger("debugLevel");
  const std::optional<std::int32_t> module = settings.entryInteger("moduleNumber");
  logDebugLevel = level.value_or(logDebugLevel);
  logModuleID = module.value_or(logModuleID);
  // Wraps for a hostile number instead of overflowing.
  if (level && module) {
    logModuleID = static_cast<std::int32_t>(static_cast<std::uint32_t>(logModuleID) + 64);
  }
  if (!socketInUse()) {
    if (const auto name = settings.entryString("debugFile")) openDebugFile(*name);
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

// A text that is not ASCII is reported, and dumped all the same.
void sendDump(const char* function, int line, const std::string& text, const char* dumper,
              int dumperLine) {
  if (!isAscii(text)) LogErrorBody(dumper, dumperLine, "ERR cstr ERR");
  LogFormatAndSend(function, line, RecordType::dump, text.c_str());
}

}  // namespace

void setupDebug() {
  if (logDoneSetup) return;
  logDoneSetup = true;
  logCurrentPID = ::getpid();
  const std::string directory = temporaryDirectory();
  std::fprintf(stderr, "tmp at %s \n", directory.c_str());

  SettingsFile settings;
  applySettings(settings, directory + "/" + kSettingsPath);  // the doubled slash does no harm
  if (logDebugLevel != 0 && !socketInUse() && !logDebugFilePtr) logDebugLevel = 0;
  if (logDebugLevel == 0) return;
  announceSetup();
  dumpDictBody("setupDebug", 512, "debugPlist", settings.root());
}

void LogInfoBody(const char* function, int line, const char* format, ...) {
  if (!levelIsOn(kInfoBit)) return;
  va_list arguments;
  va_start(arguments, format);
  const std::string message = vformatted(format, arguments);
  va_end(arguments);
  LogFormatAndSend(function, line, RecordType::info, message.c_str());
}

void LogErrorBody(const char* function, int line, const char* format, ...) {
  if (!levelIsOn(kErrorBit)) return;
  va_list arguments;
  va_start(arguments, format);
  const std::string message = vformatted(format, arguments);
  va_end(arguments);
  LogFormatAndSend(function, line, RecordType::error, message.c_str());
}

void LogFileAccessBody(const char* /*function*/, int /*line*/, const char* path) {
  if (!levelIsOn(kInfoBit)) return;
  if (::access(path, F_OK) != 0) {
    LogErrorBody("LogFileAccessBody", 166, "%s\n\t!exist", path);
  } else if (::access(path, R_OK) == 0) {
    LogInfoBody("LogFileAccessBody", 159, "%s\n\texists\n\tread OK", path);
  } else {
    LogErrorBody("LogFileAccessBody", 162, "%s\n\texists\n\tread ERR", path);
  }
}

void dumpDataBody(const char* function, int line, const char* label, std::string_view data) {
  dumpBytesBody(function, line, label, data.data(), static_cast<std::uint32_t>(data.size()));
}

void dumpBytesBody(const char* function, int line, const char* label, const void* data,
                   std::uint32_t count) {
  if (!levelIsOn(kDumpBit)) return;
  std::string text = formatted("%s L%d: %s %ub\n{", function, line, label, count);
  const auto* const bytes = static_cast<const unsigned char*>(data);
  for (std::uint32_t i = 0; i < count; ++i) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  text += "}";
  sendDump(function, line, text, "dumpBytesBody", 217);
}

void dumpDictBody(const char* function, int line, const char* label, plist_t object) {
  if (!levelIsOn(kDumpBit)) return;
  char* xml = nullptr;
  std::uint32_t length = 0;
  const PropertyListLibrary* const list = object ? propertyListLibrary() : nullptr;
  if (list) list->to_xml(object, &xml, &length);
  const std::string text = formatted("%s L%d: %s\n%.*s", function, line, label,
                                     static_cast<int>(length), xml ? xml : "");
  if (xml) list->mem_free(xml);
  sendDump(function, line, text, "dumpDictBody", 237);
}

void logNote(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string message = vformatted(format, arguments);
  va_end(arguments);
  LogFormatAndSend("logger", 0, RecordType::note, message.c_str());
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

void LogFormatAndSend(const char* function, int line, RecordType type, const char* message) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  const auto milliseconds = static_cast<unsigned>(now.tv_usec / 1000);
  const int typeLetter = static_cast<unsigned char>(type);

  if (type == RecordType::dump && socketInUse()) {
    std::string record =
        formatted("%c%cXXXX%06d\t[%02d:%02d:%02d.%03u]\t%s\n", logModuleID, typeLetter,
                  logCurrentPID, local.tm_hour, local.tm_min, local.tm_sec, milliseconds, message);
    // In the place of the four X: how many bytes the reader takes, the text and 29 fixed ones.
    const auto length = static_cast<std::uint32_t>(std::strlen(message) + 29);
    for (std::size_t i = 0; i < 4; ++i) record[2 + i] = static_cast<char>(length >> (24 - 8 * i));
    sendToDebugApp(record.data(), length);
    return;
  }
  const std::string record = formatted(
      "%c%c%06d\t[%02d:%02d:%02d.%03u]\t%s\tL%d\t%s\n", logModuleID, typeLetter, logCurrentPID,
      local.tm_hour, local.tm_min, local.tm_sec, milliseconds, function, line, message);
  sendToDebugApp(record.c_str(), std::strlen(record.c_str()));
}

void sendToDebugApp(const char* record, std::size_t length) {
  if (socketInUse()) {
    sendToSocket(record, length, logSocketFileSize);
  } else if (logDebugFilePtr) {
    std::fputs(record, logDebugFilePtr);
    std::fflush(logDebugFilePtr);
  }
}

}  // namespace jobshaper
