// What the operating system tells about itself and its user.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace jobshaper {

// The system version of this process, one hexadecimal digit a component: 0x1049 is 10.4.9;
// 0 when unknown. The job filter sets it once at its start.
extern std::int32_t version;

// What the filter asks its system for; tests pass their own.
struct System {
  std::optional<std::int32_t> version;  // none: the query failed
  // Where the instruction pages of manual booklets are installed, a folder a language.
  std::string instructionFolder = "/Library/Printers/Quorvan/filter/.resource";
};

// A product version such as "10.4.9" as 0x1049, "14.5" as 0x1450: the major number's two
// decimal digits read as hexadecimal, then a hexadecimal digit each for minor and patch
// number, at most F. None when it begins otherwise.
std::optional<std::int32_t> versionFromProduct(std::string_view product);

// The system that the filter runs on. Without a version of this kind it counts as 0x1050,
// the newest level that any rule tests for.
System thisSystem();

// TMPDIR as it stands; without it the user's temporary directory.
std::string temporaryDirectory();

// The host's own name, never resolved. "localhost" when the system has none.
std::string hostName();

}  // namespace jobshaper
