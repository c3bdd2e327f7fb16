#include "platform/system.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

#ifdef __APPLE__
#include <sys/sysctl.h>
#endif

namespace jobshaper {

std::int32_t version = 0;

std::optional<std::int32_t> versionFromProduct(std::string_view product) {
  std::uint32_t parts[3] = {0, 0, 0};
  const char* at = product.data();
  const char* const end = at + product.size();
  for (std::uint32_t& part : parts) {
    const auto [next, error] = std::from_chars(at, end, part);
    if (error != std::errc()) return std::nullopt;
    if (next == end) break;
    if (*next != '.') return std::nullopt;
    at = next + 1;
  }
  if (parts[0] > 99) return std::nullopt;
  const std::uint32_t major = parts[0] / 10 * 16 + parts[0] % 10;
  return static_cast<std::int32_t>(major << 8 | std::min(parts[1], 15U) << 4 |
                                   std::min(parts[2], 15U));
}

System thisSystem() {
  System system;
#ifdef __APPLE__
  char product[32] = {};
  std::size_t size = sizeof product - 1;
  if (sysctlbyname("kern.osproductversion", product, &size, nullptr, 0) == 0) {
    system.version = versionFromProduct(product);
  }
#else
  system.version = 0x1050;
#endif
  return system;
}

std::string temporaryDirectory() {
  if (const char* directory = std::getenv("TMPDIR"); directory && *directory) return directory;
#ifdef __APPLE__
  char directory[1024];
  const std::size_t size = confstr(_CS_DARWIN_USER_TEMP_DIR, directory, sizeof directory);
  if (size > 0 && size <= sizeof directory) return directory;
#endif
  return "/tmp";
}

std::string hostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0 || !*name) return "localhost";
  return name;
}

}  // namespace jobshaper
