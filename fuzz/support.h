// What the fuzz targets share. A target is one function that takes any bytes at all; what it must
// not do is crash, leak, or fail a check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace jobshaper::fuzz {

// Says on the first standard error of the process what went wrong, and aborts: the fuzzer then
// keeps the input.
[[noreturn]] void fail(const char* what, const char* file, int line);

#define FUZZ_CHECK(condition) \
  ((condition) ? void() : ::jobshaper::fuzz::fail(#condition, __FILE__, __LINE__))

// The bytes of one run. Settings come first, a byte each, of which the low six bits count; so a
// seed can be typed. Texts follow, each up to a record separator; the rest is the job.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  unsigned setting();  // 0 to 63; 0 when nothing is left
  std::string text();
  std::string cText();  // likewise, and up to a zero byte
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A file in memory, used again by each run.
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

// One of the standard streams goes elsewhere for a while.
class Redirected {
 public:
  Redirected(int stream, int descriptor);
  ~Redirected();
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int stream_;
};

// A folder of this process in memory, made at the first call and empty then.
const std::string& folder();
std::string fileInFolder(std::string_view name);
void writeFile(const std::string& path, std::string_view bytes);
std::string readFile(const std::string& path);  // "" when there is none

// The lowest descriptor that is not in use: a run must not raise it.
int lowestFreeDescriptor();

// The diagnostic log as at process start, or off for good.
void resetLog();
void switchLogOff();

}  // namespace jobshaper::fuzz
