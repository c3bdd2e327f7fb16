// The diagnostic log. Each call writes one text record, to a debug file in the temporary directory
// or to the socket of a debugging application. The log is off unless its settings file turns it on;
// every failure only leaves it off. The state is global and not thread-safe.
#pragma once

#include <plist/plist.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "diag/log.h"

namespace jobshaper {

extern bool logDoneSetup;           // setupDebug() has started; it runs only once
extern std::int32_t logCurrentPID;  // set by setupDebug()
extern std::int32_t logDebugLevel;  // bits: 1 info, 2 error, 4 dump; 0 turns all of them off
extern std::int32_t logModuleID;    // first byte of a record: 64 plus moduleNumber of the settings
extern std::FILE* logDebugFilePtr;  // the debug file, open for appending, or null
extern std::int32_t logClientFD;    // socket of a debugging application; in use if 2 or more
extern sockaddr logSocketFile;      // address for datagrams, used if bytes 2-3 (the port) are not 0
extern std::uint32_t logSocketFileSize;  // length of that address, in bytes

// Bits of logDebugLevel.
inline constexpr std::int32_t kInfoBit = 1;
inline constexpr std::int32_t kErrorBit = 2;
inline constexpr std::int32_t kDumpBit = 4;

// The second byte of every record.
enum class RecordType : char {
  start = 'A',
  dump = 'D',
  error = 'E',
  info = 'I',
  note = 'N',
  end = 'Z',
};

// The filter itself writes only info records (see diag/log.h). The functions below are for the
// log's own records and, like LogFileAccessBody() and the dumps of bytes, for other programs that
// use this log. They do not keep their arguments.

// Writes an error record if level bit 2 is set.
[[gnu::format(printf, 3, 4)]] void LogErrorBody(const char* function, int line, const char* format,
                                                ...);

// Records whether `path` exists and can be read, under the name of this function: the caller's
// function and line are ignored. Needs level bit 1; for a path that fails, bit 2 too.
void LogFileAccessBody(const char* function, int line, const char* path);

// Write a dump record if level bit 4 is set: bytes as upper-case hexadecimal digits without
// separators, a property list as XML. `object` is not freed and may be null.
void dumpDataBody(const char* function, int line, const char* label, std::string_view data);
void dumpBytesBody(const char* function, int line, const char* label, const void* data,
                   std::uint32_t count);
void dumpDictBody(const char* function, int line, const char* label, plist_t object);

// Writes a note at every level, and without running setupDebug().
[[gnu::format(printf, 1, 2)]] void logNote(const char* format, ...);

// Builds one record and passes it to sendToDebugApp().
void LogFormatAndSend(const char* function, int line, RecordType type, const char* message);

// Writes `length` bytes to the socket if one is in use, else a C string to the debug file if it is
// open. Ignores errors.
void sendToDebugApp(const char* record, std::size_t length);

// Whether records go to a debugging application. This filter never connects one; another program
// that uses this log may set logClientFD.
bool socketInUse();

// Sends bytes to the debugging application: as a datagram if logSocketFile has a port, else on the
// connected socket. Ignores errors.
void sendToSocket(const char* bytes, std::size_t length, socklen_t addressLength);

}  // namespace jobshaper
