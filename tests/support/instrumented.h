// Whether the programs under test are built with sanitizers, which need additional memory, time and
// system calls.
#pragma once

#include <cstddef>

namespace jobshaper::testing {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kSanitized = __has_feature(address_sanitizer);
#else
inline constexpr bool kSanitized = false;
#endif

// Set by a build that measures coverage, which writes files itself.
#if defined(COUNTS_LINES)
inline constexpr bool kCountsLines = true;
#else
inline constexpr bool kCountsLines = false;
#endif

// Reduces the size of a test that takes long, if the programs are instrumented.
constexpr std::size_t scaled(std::size_t bytes) {
  return kSanitized || kCountsLines ? bytes / 16 : bytes;
}

}  // namespace jobshaper::testing
