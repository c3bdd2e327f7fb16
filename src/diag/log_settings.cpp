#include "diag/log_settings.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "diag/plist_library.h"
#include "platform/files.h"

namespace jobshaper {

namespace {

constexpr char kName[] = "Debug/.DebugPlist/qvDebug.plist";
// In bytes. A real file has less than one KiB, and the library takes quadratic time.
constexpr std::size_t kLargestFile = 64 * 1024;
// The property-list library recurses for each nesting level. A file with so many dictionaries and
// arrays that they could exhaust the stack is not a real settings file.
constexpr std::size_t kMostContainers = 4096;

std::size_t occurrences(std::string_view text, std::string_view word) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(word, at)) != text.npos; at += word.size()) ++count;
  return count;
}

// The library accepts more than well-formed lists. Reject a list that is truncated, contains a byte
// not allowed in XML or might be nested too deeply.
bool isWholeList(std::string_view xml) {
  const std::size_t last = xml.find_last_not_of(" \t\r\n");
  return last != xml.npos && xml.substr(0, last + 1).ends_with("</plist>") &&
         xml.find('\0') == xml.npos &&
         occurrences(xml, "<dict") + occurrences(xml, "<array") <= kMostContainers;
}

// The member `key` of `dictionary` if it has this type, else null. `dictionary` may be null; if it
// is not, the library is loaded, since it has created the dictionary.
plist_t member(plist_t dictionary, const char* key, plist_type type) {
  if (!dictionary) return nullptr;
  const PlistLibrary& list = *plistLibrary();
  const bool isDictionary = list.get_node_type(dictionary) == PLIST_DICT;
  plist_t const item = isDictionary ? list.dict_get_item(dictionary, key) : nullptr;
  return item && list.get_node_type(item) == type ? item : nullptr;
}

}  // namespace

void LogSettings::clear() {
  if (root_) plistLibrary()->free(root_);
  root_ = nullptr;
}

bool LogSettings::read(const std::string& directory) {
  clear();
  const std::string bytes = readTrustedFile(directory, kName, kLargestFile);
  if (!isWholeList(bytes)) return false;
  const PlistLibrary* const list = plistLibrary();
  if (!list) return false;
  list->from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root_);
  return root_ != nullptr;
}

plist_t LogSettings::entry() const { return member(root_, kLogIdentifier, PLIST_DICT); }

bool LogSettings::traceAll() const {
  std::uint8_t value = 0;
  if (plist_t const item = member(root_, "traceAll", PLIST_BOOLEAN)) {
    plistLibrary()->get_bool_val(item, &value);
  }
  return value != 0;
}

std::optional<std::int32_t> LogSettings::entryInteger(const char* key) const {
  plist_t const item = member(entry(), key, PLIST_UINT);
  if (!item) return std::nullopt;
  std::uint64_t bits = 0;  // the library returns negative numbers in two's complement
  plistLibrary()->get_uint_val(item, &bits);
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(static_cast<std::int64_t>(bits), Limits::min(), Limits::max()));
}

std::optional<std::string> LogSettings::entryString(const char* key) const {
  plist_t const item = member(entry(), key, PLIST_STRING);
  if (!item) return std::nullopt;
  std::uint64_t length = 0;
  const char* const text = plistLibrary()->get_string_ptr(item, &length);
  if (!text) return std::nullopt;
  return std::string(text, length);
}

}  // namespace jobshaper
