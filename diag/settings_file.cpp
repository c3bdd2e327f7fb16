#include "diag/settings_file.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "platform/descriptor.h"

namespace jobshaper {

namespace {

// The property-list library recurses once a nesting level. This size allows every list that
// somebody writes and none that is deep enough to exhaust the stack.
constexpr std::size_t kLargestFile = 64 * 1024;

// The member `key` of `dictionary` when it has this type.
plist_t member(plist_t dictionary, const char* key, plist_type type) {
  const bool isDictionary = dictionary && plist_get_node_type(dictionary) == PLIST_DICT;
  plist_t const item = isDictionary ? plist_dict_get_item(dictionary, key) : nullptr;
  return item && plist_get_node_type(item) == type ? item : nullptr;
}

}  // namespace

bool SettingsFile::read(const std::string& path) {
  plist_free(root_);
  root_ = nullptr;
  const std::string bytes = readWholeFile(path, kLargestFile + 1);
  if (bytes.empty() || bytes.size() > kLargestFile) return false;
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root_);
  return root_ != nullptr;
}

plist_t SettingsFile::entry() const { return member(root_, kLogIdentifier, PLIST_DICT); }

bool SettingsFile::traceAll() const {
  std::uint8_t value = 0;
  if (plist_t const item = member(root_, "traceAll", PLIST_BOOLEAN)) {
    plist_get_bool_val(item, &value);
  }
  return value != 0;
}

std::optional<std::int32_t> SettingsFile::entryInteger(const char* key) const {
  plist_t const item = member(entry(), key, PLIST_UINT);
  if (!item) return std::nullopt;
  std::uint64_t bits = 0;  // the library hands negative numbers over as two's complement
  plist_get_uint_val(item, &bits);
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(static_cast<std::int64_t>(bits), Limits::min(), Limits::max()));
}

std::optional<std::string> SettingsFile::entryString(const char* key) const {
  plist_t const item = member(entry(), key, PLIST_STRING);
  if (!item) return std::nullopt;
  char* text = nullptr;
  plist_get_string_val(item, &text);
  std::optional<std::string> result;
  if (text) result = text;
  std::free(text);
  return result;
}

}  // namespace jobshaper
