// The trace call of every folder of the filter. It costs one bit test while the log is off.
#pragma once

namespace jobshaper {

// Writes one info record: the caller's function (a method as "-[class selector]"), its
// source line and a printf-style message. The first call of a process configures the log
// and writes "tmp at FOLDER \n" to standard error.
[[gnu::format(printf, 3, 4)]] void LogInfoBody(const char* function, int line, const char* format,
                                               ...);

}  // namespace jobshaper
