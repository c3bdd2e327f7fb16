// The diagnostic log: one text record a call, to a debug file in the temporary directory or
// to a debugging application's socket. Silent unless the settings file asks for it; a failure
// only leaves it off. One state a process; one thread.
#pragma once

#include <plist/plist.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "diag/log.h"

namespace jobshaper {

extern bool logDoneSetup;           // setupDebug has begun; it runs once
extern std::int32_t logCurrentPID;  // taken at setup
extern std::int32_t logDebugLevel;  // bits: 1 info, 2 error, 4 dump; 0: all leveled records off
extern std::int32_t logModuleID;    // first byte of a record: 64 plus the settings' moduleNumber
extern std::FILE* logDebugFilePtr;  // the debug file, opened for appending, or none
extern std::int32_t logClientFD;    // socket of a debugging application; in use from 2 on
extern sockaddr logSocketFile;      // datagrams go here when bytes 2-3 (the port) are not zero
extern std::uint32_t logSocketFileSize;  // address length of the datagrams

// Bits of logDebugLevel.
inline constexpr std::int32_t kInfoBit = 1;
inline constexpr std::int32_t kErrorBit = 2;
inline constexpr std::int32_t kDumpBit = 4;

// Second byte of every record.
enum class RecordType : char {
  start = 'A',
  dump = 'D',
  error = 'E',
  info = 'I',
  note = 'N',
  end = 'Z',
};

// The filter itself writes info records (see diag/log.h). What follows serves the log's own
// reports and, as LogFileAccessBody() and the dumps of bytes, other programs that use this log.

// An error record, written when level bit 2 is set.
[[gnu::format(printf, 3, 4)]] void LogErrorBody(const char* function, int line, const char* format,
                                                ...);

// Reports under its own name whether `path` exists and can be read; the caller's function
// and line are ignored. Needs level bit 1, and bit 2 too for a path that fails.
void LogFileAccessBody(const char* function, int line, const char* path);

// Dump records, written when level bit 4 is set. Bytes appear as upper-case hexadecimal
// digits without separators, a property list as XML.
void dumpDataBody(const char* function, int line, const char* label, std::string_view data);
void dumpBytesBody(const char* function, int line, const char* label, const void* data,
                   std::uint32_t count);
void dumpDictBody(const char* function, int line, const char* label, plist_t object);

// A note, written at every level and without setup.
[[gnu::format(printf, 1, 2)]] void logNote(const char* format, ...);

// Builds one record and hands it to sendToDebugApp.
void LogFormatAndSend(const char* function, int line, RecordType type, const char* message);

// Writes a record to the socket (length bytes) or else to the debug file (as a C string).
void sendToDebugApp(const char* record, std::size_t length);

// Whether records go to a debugging application. Nothing in this filter connects one: logClientFD
// is set by a program that has the log in common with others.
bool socketInUse();

// Sends bytes to the debugging application: as a datagram when its address has a port
// (bytes 2-3), else on the connected socket. The result does not matter to the job.
void sendToSocket(const char* bytes, std::size_t length, socklen_t addressLength);

}  // namespace jobshaper
