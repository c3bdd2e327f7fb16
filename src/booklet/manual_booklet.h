// Booklets on a printer without a duplex unit: the job is reordered into two passes, all odd
// pages and then, on the turned stack, a blank page and the even pages in reverse order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "booklet/page_file.h"

namespace jobshaper {

// Before this system version every page is wrapped in a save named ESPsave.
inline constexpr std::int32_t kFirstVersionWithoutSave = 0x1050;

// Reads the job from the descriptor `input` to its end and writes it, reordered, to
// `outputPath`, by way of the job's BookletFiles, all of which stay. The job's trailer and a
// last line without a line end are left out; text is turned from Mac OS Roman into UTF-8.
// `orientation` is "Up" (odd pages last first), "Down" (blank page at the end) or none; with
// `onlyInside` the cover needs one blank page more. 1 on success. 0 when a file cannot be
// written or read, which is then reported on standard error, and when the job is cancelled.
int manualBookletOrder(int input, const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside);

// Moves the page in the side file to the front of the reversed file, before page `pageNumber`
// is written: the reversed file then holds all pages of this parity so far, last first, and the
// side file is empty and open on `sideStream`. `reversedStream` may be absent and is closed. 1
// on success; 0 after a failure, which has been reported on standard error.
int reArrangedPages(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath);

}  // namespace jobshaper
