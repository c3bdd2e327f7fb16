#include "queue/message.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/descriptor.h"

namespace jobshaper {

namespace {

// Not by vfprintf(): for a longer message it may call write() more than once.
[[gnu::format(printf, 2, 0)]] void tell(const char* level, const char* format, va_list values) {
  va_list again;
  va_copy(again, values);
  const int size = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(size < 0 ? 0 : static_cast<std::size_t>(size), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, values);
  writeAll(STDERR_FILENO, level + text + "\n");
}

}  // namespace

void warn(const char* format, ...) {
  va_list values;
  va_start(values, format);
  tell("\nWARNING: ", format, values);
  va_end(values);
}

void reportError(const char* format, ...) {
  va_list values;
  va_start(values, format);
  tell("\nERROR: ", format, values);
  va_end(values);
}

}  // namespace jobshaper
