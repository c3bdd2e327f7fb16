#include "fuzz/sandbox.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support.h"

extern "C" {
int __real_openat(int directory, const char* path, int flags, ...);
FILE* __real_fopen(const char* path, const char* mode);
int __wrap_open(const char* path, int flags, ...);
int __wrap_openat(int directory, const char* path, int flags, ...);
FILE* __wrap_fopen(const char* path, const char* mode);
}

namespace jobshaper::fuzz {

namespace {

bool active = false;
std::vector<std::string> written;

// There is no ".." component, and the run does not create links.
bool isInDirectory(std::string_view path) {
  return path.starts_with(directory() + "/") && path.find("/../") == path.npos &&
         !path.ends_with("/..");
}

constexpr int kWriting = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;

// A file that the filter names after the job must be in the directory, whatever the job id is.
void noteOpen(const std::string& path, int flags) {
  if (!active || !(flags & kWriting) || path == "/dev/null") return;
  const bool isInside = isInDirectory(path);
  active = isInside;  // the fuzzer must be able to save an input that fails
  FUZZ_CHECK(isInside);
  written.push_back(path);
}

std::string pathOf(int directory, const char* path) {
  if (directory == AT_FDCWD || *path == '/') return path;
  char name[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(directory);
  const ssize_t length = readlink(link.c_str(), name, sizeof name);
  FUZZ_CHECK(length > 0);
  return std::string(name, static_cast<std::size_t>(length)) + "/" + path;
}

}  // namespace

Sandbox::Sandbox() {
  directory();
  active = true;
}

Sandbox::~Sandbox() {
  active = false;
  for (const std::string& path : written) unlink(path.c_str());
  written.clear();
}

extern "C" int __wrap_openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (active) noteOpen(pathOf(directory, path), flags);
  return __real_openat(directory, path, flags, mode);
}

extern "C" int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return __wrap_openat(AT_FDCWD, path, flags, mode);
}

// Only the debug file is opened this way; the settings may name any path for it.
extern "C" FILE* __wrap_fopen(const char* path, const char* mode) {
  if (active && std::strchr("wa", *mode)) {
    if (!isInDirectory(path)) {
      errno = EACCES;
      return nullptr;
    }
    written.emplace_back(path);
  }
  return __real_fopen(path, mode);
}

}  // namespace jobshaper::fuzz
