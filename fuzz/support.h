// Shared by the fuzz targets. A target is a function that accepts any bytes. It must not crash,
// leak memory or fail a check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace jobshaper::fuzz {

// Reports the failure on the original standard error of the process and aborts, so that the fuzzer
// saves the input.
[[noreturn]] void fail(const char* what, const char* file, int line);

#define FUZZ_CHECK(condition) \
  ((condition) ? void() : ::jobshaper::fuzz::fail(#condition, __FILE__, __LINE__))

// The bytes of one run. Settings come first, one byte each, of which the low six bits are used, so
// that seeds can be typed. Then come texts, each up to a record separator. The rest is the job.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  unsigned setting();  // 0 to 63; 0 at the end of the bytes
  std::string text();
  std::string cText();  // the same, but ends at a zero byte
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A file in memory, reused by each run.
class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int descriptor() const { return descriptor_; }
  // What has been written since the last call.
  std::string_view take();
  // Makes these bytes the whole file, to be read from its start.
  void fill(std::string_view bytes);

 private:
  int descriptor_;
  std::string taken_;
};

// Redirects one of the standard streams while this object exists.
class Redirected {
 public:
  Redirected(int stream, int descriptor);
  ~Redirected();
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int stream_;
};

// Standard input as a file, or as a pipe that holds the whole job if it is small enough.
class StandardInput {
 public:
  StandardInput(std::string_view job, bool pipe);

 private:
  std::optional<Redirected> redirected_;
};

// Sets an environment variable, or removes it.
void setVariable(const char* name, const std::optional<std::string>& value);

// The strings as a program's arguments, with the null pointer at their end.
std::vector<char*> argvOf(std::vector<std::string>& arguments);

// An in-memory directory for this process, created empty by the first call.
const std::string& directory();
std::string fileInDirectory(std::string_view name);
void writeFile(const std::string& path, std::string_view bytes);
std::string readFile(const std::string& path);  // "" if there is no such file

// The lowest descriptor that is not in use; a run must not increase it.
int lowestFreeDescriptor();

// Resets the diagnostic log to its state at process start, or turns it off.
void resetLog();
void switchLogOff();

}  // namespace jobshaper::fuzz
