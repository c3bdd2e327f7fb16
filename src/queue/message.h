// What jobshaper-queue tells the scheduler about a job.
//
// All filters of a job write to the same pipe, and some write a line in pieces. So a message is
// written at once, and begins with a line end: it is a line of its own whatever was written before.
#pragma once

namespace jobshaper {

// Write a message of this level to standard error and ignore errors. `format` is that of printf(),
// without a line end.
[[gnu::format(printf, 1, 2)]] void warn(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void reportError(const char* format, ...);

}  // namespace jobshaper
