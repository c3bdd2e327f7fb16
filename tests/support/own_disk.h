// A small disk of a test's own, where the system allows one.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <functional>
#include <string>
#include <thread>

namespace jobshaper::testing {

// Calls `run` in a thread of its own, with true when a disk of this size (a number of KiB) is
// mounted on the folder for it and for the processes that it starts. Only root may mount one.
inline void withOwnDisk(const std::string& folder, const std::function<void(bool)>& run,
                        unsigned size = 512) {
  const std::string options = "size=" + std::to_string(size) + "k,mode=0700";
  std::thread([&] {
    run(unshare(CLONE_NEWNS) == 0 &&
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount("none", folder.c_str(), "tmpfs", 0, options.c_str()) == 0);
  }).join();
}

// The same disk, from now on for reading only.
inline bool makeReadOnly(const std::string& folder) {
  return mount("none", folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

}  // namespace jobshaper::testing
