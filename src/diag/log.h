// The log calls of the filter. While the log is off, each costs two tests and formats nothing.
#pragma once

namespace jobshaper {

// Writes one info record with the name of the calling function (for a method, "-[class selector]"),
// its source line and a printf-style message; does not keep the arguments. The first call in a
// process configures the log and writes "tmp at DIRECTORY \n" to standard error.
[[gnu::format(printf, 3, 4)]] void LogInfoBody(const char* function, int line, const char* format,
                                               ...);

// Writes the info record "{" when it is constructed and "}" when it is destroyed. `function` is not
// copied. The records have the source line of the declaration, or the fixed lines that are passed.
class TraceScope {
 public:
  explicit TraceScope(const char* function, int line = __builtin_LINE())
      : TraceScope(function, line, line) {}
  TraceScope(const char* function, int beginLine, int endLine)
      : function_(function), endLine_(endLine) {
    LogInfoBody(function, beginLine, "{");
  }
  ~TraceScope() { LogInfoBody(function_, endLine_, "}"); }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

 private:
  const char* function_;
  int endLine_;
};

}  // namespace jobshaper
