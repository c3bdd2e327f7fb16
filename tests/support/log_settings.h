// The settings file of the diagnostic log.
#pragma once

#include <string>
#include <string_view>

#include "tests/support/program.h"

namespace jobshaper::testing {

inline constexpr char kLogSettings[] = "Debug/.DebugPlist/qvDebug.plist";  // in TMPDIR

// A property list with this root element. If the elements in it are indented with tabs, it is what
// the log shows of it.
inline std::string propertyList(std::string_view root) {
  return std::string(
             "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
             "<plist version=\"1.0\">\n") +
         root + "\n</plist>\n";
}

inline std::string integer(std::string_view digits) {
  return std::string("<integer>") + digits + "</integer>";
}

// A root element with the entry of this program. The members of the entry are XML elements; an
// empty one is left out.
inline std::string logEntry(std::string_view level,
                            std::string_view module = "<integer>1</integer>",
                            std::string_view file = "<string>debug.log</string>") {
  const auto member = [](std::string_view key, std::string_view value) {
    return value.empty() ? "" : std::string("\t\t<key>") + key + "</key>\n\t\t" + value + "\n";
  };
  return "<dict>\n\t<key>Feiprion</key>\n\t<dict>\n" + member("debugFile", file) +
         member("debugLevel", level) + member("moduleNumber", module) + "\t</dict>\n</dict>";
}

// This root element, with something before its first key.
inline std::string withMembers(std::string root, std::string_view members) {
  return root.insert(std::string_view("<dict>").size(), members);
}

}  // namespace jobshaper::testing
