// What the operating system reports: its version, the host name and the temporary directory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace jobshaper {

// The system version, one hexadecimal digit per component after the two of the major number:
// 0x1049 is 10.4.9. 0 when unknown. setUpJob() sets it; global because the whole process reads it.
extern std::int32_t version;

// What differs between systems. Tests pass their own.
struct System {
  std::optional<std::int32_t> version;  // no value: the query failed
  // Where the instruction pages of manual booklets are installed, one directory per language.
  std::string instructionDirectory = "/Library/Printers/Quorvan/filter/.resource";
};

// Converts a product version: "10.4.9" to 0x1049, "14.5" to 0x1450. The two decimal digits of the
// major number become hexadecimal ones; minor and patch number get one hexadecimal digit each and
// are capped at F. Returns no value for a text that does not begin like that.
std::optional<std::int32_t> versionFromProduct(std::string_view product);

// The system that the filter runs on. Outside macOS the version is 0x1050, the newest one that any
// rule tests for.
System thisSystem();

// The value of TMPDIR, unchanged; if it is unset or empty, the user's temporary directory.
std::string temporaryDirectory();

// The host name as configured, without a DNS query; "localhost" when there is none.
std::string hostName();

}  // namespace jobshaper
