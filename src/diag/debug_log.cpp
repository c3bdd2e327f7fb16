#include "diag/debug_log.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "diag/debug_session.h"
#include "diag/plist_library.h"

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

// Runs setup if needed, and returns whether this level is on.
bool levelIsOn(std::int32_t bit) {
  setupDebug();
  return (logDebugLevel & bit) != 0;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Writes a dump record. If the text is not ASCII, writes an error record first.
void sendDump(const char* function, int line, const std::string& text, const char* dumper,
              int dumperLine) {
  if (!isAscii(text)) LogErrorBody(dumper, dumperLine, "ERR cstr ERR");
  LogFormatAndSend(function, line, RecordType::dump, text.c_str());
}

// Source lines of the log's own records: fixed, since tools that read the log expect them.
constexpr int kReadableLine = 159;
constexpr int kUnreadableLine = 162;
constexpr int kMissingLine = 166;
constexpr int kBytesErrorLine = 217;
constexpr int kDictErrorLine = 237;

}  // namespace

bool socketInUse() { return logClientFD >= 2; }

void sendToSocket(const char* bytes, std::size_t length, socklen_t addressLength) {
  std::uint16_t port;
  std::memcpy(&port, reinterpret_cast<const char*>(&logSocketFile) + 2, sizeof port);
  if (port != 0) {
    ::sendto(logClientFD, bytes, length, 0, &logSocketFile, addressLength);
  } else {
    ::send(logClientFD, bytes, length, 0);
  }
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
    LogErrorBody("LogFileAccessBody", kMissingLine, "%s\n\t!exist", path);
  } else if (::access(path, R_OK) == 0) {
    LogInfoBody("LogFileAccessBody", kReadableLine, "%s\n\texists\n\tread OK", path);
  } else {
    LogErrorBody("LogFileAccessBody", kUnreadableLine, "%s\n\texists\n\tread ERR", path);
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
  sendDump(function, line, text, "dumpBytesBody", kBytesErrorLine);
}

void dumpDictBody(const char* function, int line, const char* label, plist_t object) {
  if (!levelIsOn(kDumpBit)) return;
  char* xml = nullptr;
  std::uint32_t length = 0;
  const PlistLibrary* const list = object ? plistLibrary() : nullptr;
  if (list) list->to_xml(object, &xml, &length);
  const std::string text = formatted("%s L%d: %s\n%.*s", function, line, label,
                                     static_cast<int>(length), xml ? xml : "");
  if (xml) list->mem_free(xml);
  sendDump(function, line, text, "dumpDictBody", kDictErrorLine);
}

void logNote(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string message = vformatted(format, arguments);
  va_end(arguments);
  LogFormatAndSend("logger", 0, RecordType::note, message.c_str());
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
    // The four X become the length of the record, big-endian: the text and 29 fixed bytes.
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
