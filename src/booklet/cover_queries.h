// What the booklet options say about the cover sheet.
#pragma once

#include <cstdint>
#include <string_view>

#include "settings/argument_store.h"

namespace jobshaper {

// Whether the booklet's cover sheet carries print on its inside faces only.
bool isOnlyPrintInside(const argumentStore& jobOptions);

// Cover tray codes: 0 to 6 is the tray's /MediaPosition.
inline constexpr std::int32_t kCoverManualFeed = 7;
inline constexpr std::int32_t kCoverPrintersChoice = 8;

// Sets `code` to the tray code of this cover source, or to the printer's choice for a name
// that is none of the printer's trays.
void setBookletSource(std::string_view sourceName, std::int32_t& code);

}  // namespace jobshaper
