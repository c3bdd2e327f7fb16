// Manual booklets, for printers without a duplex unit. The job is reordered into two passes: all
// odd pages, and then, after the user has put the stack back into the feeder, a blank page and the
// even pages in reverse order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "booklet/page_file.h"

namespace jobshaper {

// Before this system version, every page of a job is wrapped in a save named ESPsave.
inline constexpr std::int32_t kFirstVersionWithoutSave = 0x1050;

// Reads the job from the descriptor `input`, which it does not close, to its end and writes it,
// reordered, to `outputPath`. Uses the job's BookletFiles and does not delete them. Drops the job's
// trailer and an unterminated last line, and converts the text from Mac OS Roman to UTF-8.
// `orientation` is "Up" (odd pages last first), "Down" (blank page at the end) or none. With
// `onlyInside`, adds a second blank page for the cover. Returns 1 on success; 0 when a file cannot
// be written or read, which it reports on standard error, or when the job is canceled.
int manualBookletOrder(int input, const std::string& outputPath, const std::string& jobId,
                       std::optional<std::string_view> orientation, bool onlyInside);

// Moves the page in the side file to the front of the reversed file. To be called before page
// `pageNumber` is written to `sideStream`. Afterwards the reversed file holds all earlier pages of
// this parity, last first; the side file is empty and open on `sideStream`; and `reversedStream`,
// which may be null, is closed. Returns 1 on success; 0 after a failure, which it reports on
// standard error.
int reArrangedPages(std::int32_t pageNumber, PageFile& sideStream, PageFile* reversedStream,
                    const std::string& sidePath, const std::string& reversedPath);

}  // namespace jobshaper
