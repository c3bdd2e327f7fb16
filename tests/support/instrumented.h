// Whether the programs under test are built with sanitizers, which need memory, time and system
// calls of their own.
#pragma once

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

}  // namespace jobshaper::testing
