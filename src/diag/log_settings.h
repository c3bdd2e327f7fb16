// The settings file of the diagnostic log: an XML property list in the temporary directory. Its
// root dictionary has an entry for each program that can be traced.
#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <optional>
#include <string>

namespace jobshaper {

// The identifier of this program, which is the key of its entry.
inline constexpr char kLogIdentifier[] = "Feiprion";

class LogSettings {
 public:
  LogSettings() = default;
  LogSettings(const LogSettings&) = delete;
  LogSettings& operator=(const LogSettings&) = delete;
  ~LogSettings() { clear(); }

  // Reads and parses the file in this temporary directory, replacing what was read before. Returns
  // false if it is missing, not an XML property list, larger than 64 KiB or not trusted (see
  // readTrustedFile()); there are then no settings.
  bool read(const std::string& directory);

  // The whole list, owned by this object and valid until the next read(). Null if there is none.
  plist_t root() const { return root_; }
  bool hasEntry() const { return entry() != nullptr; }
  bool traceAll() const;  // false when absent

  // Members of this program's entry; no value if absent or of another type.
  std::optional<std::int32_t> entryInteger(const char* key) const;  // clamped to 32 bits
  std::optional<std::string> entryString(const char* key) const;    // UTF-8

 private:
  void clear();
  plist_t entry() const;

  plist_t root_ = nullptr;
};

}  // namespace jobshaper
