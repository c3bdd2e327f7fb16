// Reads the booklet options for the cover sheet.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "settings/argument_store.h"

namespace jobshaper {

// Whether the job has a cover sheet that is printed on its inside only.
bool isOnlyPrintInside(const argumentStore& jobOptions);

// Cover tray codes. 0 to 6 are the /MediaPosition numbers of trays.
inline constexpr std::int32_t kCoverManualFeed = 7;
inline constexpr std::int32_t kCoverPrintersChoice = 8;

// A value of QVBookletCoverSource.
struct TrayRow {
  std::string_view name;
  std::int32_t code;
};
extern const std::span<const TrayRow> kCoverTrays;

// Sets `code` to the tray code of the cover source `sourceName`, or to kCoverPrintersChoice if
// there is no tray of that name.
void setBookletSource(std::string_view sourceName, std::int32_t& code);

}  // namespace jobshaper
