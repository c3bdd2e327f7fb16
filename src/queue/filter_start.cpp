#include "queue/filter_start.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace jobshaper {

namespace {

constexpr std::size_t kLongestDeviceUri = 99;
constexpr int kOptionsArgument = 5;
constexpr char kFilterName[] = "/jobshaper";

// Where the filter may be, the first place first; "" for a place that is not known.
std::string filterOfCups() {
  const char* const serverBin = std::getenv("CUPS_SERVERBIN");
  return serverBin && *serverBin ? std::string(serverBin) + "/filter" + kFilterName : "";
}

std::string filterBeside() {
  char own[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", own, sizeof own);
  if (length <= 0) return "";
  const std::string path(own, static_cast<std::size_t>(length));
  return path.substr(0, path.rfind('/')) + kFilterName;
}

}  // namespace

void shortenDeviceUri() {
  const char* const uri = std::getenv("DEVICE_URI");
  if (!uri || std::strlen(uri) <= kLongestDeviceUri) return;
  setenv("DEVICE_URI", std::string(uri, kLongestDeviceUri).c_str(), 1);
}

void startFilter(char* argv[], std::string* options) {
  std::string tried = "jobshaper";
  int reason = ENOENT;
  for (const std::string& path : {filterOfCups(), filterBeside()}) {
    if (path.empty()) continue;
    char* const original = options ? argv[kOptionsArgument] : nullptr;
    if (options) argv[kOptionsArgument] = options->data();
    ::execv(path.c_str(), argv);
    if (options) {
      argv[kOptionsArgument] = original;
      if (errno == E2BIG) ::execv(path.c_str(), argv);
    }
    tried = path;
    reason = errno;
  }
  std::fprintf(stderr, "ERROR: Cannot start %s: %s\n", tried.c_str(), std::strerror(reason));
}

}  // namespace jobshaper
