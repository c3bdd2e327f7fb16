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
extern std::int32_t logDebugLevel;  // bits: 1 info, 2 error, 4 dump; 0: all levelled records off
extern std::int32_t logModuleID;    // first byte of a record: 64 plus the settings' moduleNumber
extern std::FILE* logDebugFilePtr;  // the debug file, opened for appending, or none
extern std::int32_t logClientFD;    // socket of a debugging application; in use from 2 on
extern sockaddr logSocketFile;      // datagrams go here when bytes 2-3 (the port) are not zero
extern std::uint32_t logSocketFileSize;  // address length of the datagrams

// Second byte of every record.
enum class RecordType : char {
  start = 'A',
  dump = 'D',
  error = 'E',
  info = 'I',
  note = 'N',
  end = 'Z',
};

// Reads the settings file and opens the destination. Every levelled call begins with it.
void setupDebug();

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

// Ends the destinations with a record each. The state is not reset: nothing may be logged
// afterwards.
void closeDebugSession();

// Builds one record and hands it to sendToDebugApp.
void LogFormatAndSend(const char* function, int line, RecordType type, const char* message);

// Writes a record to the socket (length bytes) or else to the debug file (as a C string).
void sendToDebugApp(const char* record, std::size_t length);

}  // namespace jobshaper
