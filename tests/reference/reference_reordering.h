// Reorders a manual booklet in the plainest way, as whole strings. Shares no code with the filter.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jobshaper::reference {

// The lines of a job with their ends, LF or CR; one of more than 1024 bytes is cut. Only the last
// may have no end.
std::vector<std::string> pieces(const std::string& job);

// The reordered job. `orientation` is "Up", "Down" or none.
std::string reorder(const std::string& job, std::optional<std::string_view> orientation,
                    bool onlyInside, std::int32_t version);

}  // namespace jobshaper::reference
