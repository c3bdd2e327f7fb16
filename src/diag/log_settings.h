// The settings file of the diagnostic log: an XML property list in the temporary directory,
// whose root dictionary holds an entry for each program that can be traced.
#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <optional>
#include <string>

namespace jobshaper {

// This program's identifier: the key of its entry.
inline constexpr char kLogIdentifier[] = "Feiprion";

class LogSettings {
 public:
  LogSettings() = default;
  LogSettings(const LogSettings&) = delete;
  LogSettings& operator=(const LogSettings&) = delete;
  ~LogSettings() { clear(); }

  // Reads and parses the file anew, dropping what was read before. False when it is missing,
  // not a regular file or no XML property list; then nothing below has a value.
  bool read(const std::string& path);

  plist_t root() const { return root_; }  // the whole list; owned here
  bool hasEntry() const { return entry() != nullptr; }
  bool traceAll() const;  // false when absent

  // Members of this program's entry; none when absent or of another type.
  std::optional<std::int32_t> entryInteger(const char* key) const;  // clamped to 32 bits
  std::optional<std::string> entryString(const char* key) const;    // UTF-8

 private:
  void clear();
  plist_t entry() const;

  plist_t root_ = nullptr;
};

}  // namespace jobshaper
