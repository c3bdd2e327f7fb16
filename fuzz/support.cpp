#include "fuzz/support.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "diag/debug_log.h"

// Exists only in sanitizer builds.
extern "C" [[gnu::weak]] void __sanitizer_set_report_fd(void* descriptor);

namespace jobshaper::fuzz {

namespace {

// The original standard streams of the process.
const std::array<int, 3>& originalStreams() {
  static const std::array<int, 3> streams = [] {
    std::array<int, 3> copies{};
    for (int stream = 0; stream < 3; ++stream) {
      copies[static_cast<std::size_t>(stream)] = fcntl(stream, F_DUPFD_CLOEXEC, 100);
    }
    if (__sanitizer_set_report_fd) {
      // The function takes a number in a pointer.
      // NOLINTNEXTLINE(performance-no-int-to-ptr)
      __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(copies[2])));
    }
    return copies;
  }();
  return streams;
}

}  // namespace

void fail(const char* what, const char* file, int line) {
  dprintf(originalStreams()[2], "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

unsigned Input::setting() {
  if (rest_.empty()) return 0;
  const auto value = static_cast<unsigned char>(rest_.front());
  rest_.remove_prefix(1);
  return value & 63U;
}

std::string Input::text() {
  const std::string_view text = rest_.substr(0, rest_.find('\x1e'));
  rest_.remove_prefix(std::min(text.size() + 1, rest_.size()));
  return std::string(text);
}

std::string Input::cText() { return text().c_str(); }

// Above the descriptors that a run opens, so that their numbers are always the same.
MemoryFile::MemoryFile() {
  const int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
  descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, 100);
  close(descriptor);
  FUZZ_CHECK(descriptor_ >= 0);
}

MemoryFile::~MemoryFile() { close(descriptor_); }

std::string_view MemoryFile::take() {
  taken_.resize(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_CUR)));
  FUZZ_CHECK(pread(descriptor_, taken_.data(), taken_.size(), 0) ==
             static_cast<ssize_t>(taken_.size()));
  lseek(descriptor_, 0, SEEK_SET);
  return taken_;
}

void MemoryFile::fill(std::string_view bytes) {
  FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
  FUZZ_CHECK(pwrite(descriptor_, bytes.data(), bytes.size(), 0) ==
             static_cast<ssize_t>(bytes.size()));
  lseek(descriptor_, 0, SEEK_SET);
}

Redirected::Redirected(int stream, int descriptor) : stream_(stream) {
  originalStreams();
  dup2(descriptor, stream);
}

Redirected::~Redirected() { dup2(originalStreams()[static_cast<std::size_t>(stream_)], stream_); }

StandardInput::StandardInput(std::string_view job, bool pipe) {
  static MemoryFile file;
  int ends[2];
  // A pipe holds this much without a reader.
  if (pipe && job.size() <= 65536 && pipe2(ends, O_CLOEXEC) == 0) {
    FUZZ_CHECK(write(ends[1], job.data(), job.size()) == static_cast<ssize_t>(job.size()));
    close(ends[1]);
    redirected_.emplace(STDIN_FILENO, ends[0]);
    close(ends[0]);
  } else {
    file.fill(job);
    redirected_.emplace(STDIN_FILENO, file.descriptor());
  }
}

void setVariable(const char* name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name, value->c_str(), 1);
  } else {
    unsetenv(name);
  }
}

std::vector<char*> argvOf(std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return argv;
}

const std::string& directory() {
  // Never destroyed, because the handler below runs after all static destructors.
  static const std::string& path = *[] {
    const char* const wanted = std::getenv("TMPDIR");
    std::string pattern = wanted ? wanted : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    pattern += "/jobshaper-fuzz-XXXXXX";
    FUZZ_CHECK(mkdtemp(pattern.data()));
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(directory(), ignored);
    });
    return new std::string(pattern);
  }();
  return path;
}

std::string fileInDirectory(std::string_view name) {
  return std::string(directory()).append("/").append(name);
}

void writeFile(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  FUZZ_CHECK(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  close(file);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

int lowestFreeDescriptor() {
  const int descriptor = fcntl(0, F_DUPFD, 0);
  close(descriptor);
  return descriptor;
}

void resetLog() {
  if (logDebugFilePtr) std::fclose(logDebugFilePtr);
  logDebugFilePtr = nullptr;
  logDoneSetup = false;
  logDebugLevel = logModuleID = 0;
}

void switchLogOff() { logDoneSetup = true; }

}  // namespace jobshaper::fuzz
