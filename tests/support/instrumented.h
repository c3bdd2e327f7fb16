// Whether the programs under test are built with sanitizers, which need additional memory, time and
// system calls.
#pragma once

#include <cstddef>

namespace jobshaper::testing {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

// Reduces the size of a test that takes long, if the programs are instrumented.
constexpr std::size_t scaled(std::size_t bytes) {
#if defined(COUNTS_LINES)
  return bytes / 16;
#else
  return kSanitized ? bytes / 16 : bytes;
#endif
}

}  // namespace jobshaper::testing
