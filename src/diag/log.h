// The trace calls of every part of the filter. Each costs one bit test while the log is off.
#pragma once

namespace jobshaper {

// Writes one info record: the caller's function (a method as "-[class selector]"), its
// source line and a printf-style message. The first call of a process configures the log
// and writes "tmp at DIRECTORY \n" to standard error.
[[gnu::format(printf, 3, 4)]] void LogInfoBody(const char* function, int line, const char* format,
                                               ...);

// The info records "{" and "}" around a function. `function` is not copied. The lines are those of
// the declaration, unless readers of the log know the function by fixed ones.
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
