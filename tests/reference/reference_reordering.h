// Reorders a manual booklet in the plainest way: whole strings instead of files, one byte after the
// other. Shares no code with the filter.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jobshaper::reference {

// The content of every file that the reordering leaves.
struct ReorderedJob {
  std::string oddSide;                // pageReOrdered
  std::string evenSide;               // pageEven
  std::string reversedEvens;          // newEvenOrder
  std::string reversedOdds;           // newOddOrder
  std::optional<std::string> header;  // headerPS: with orientation "Up" only
  std::string output;                 // the reordered job
};

// One side file and the reversed file that belongs to it.
struct PageFiles {
  std::string side;
  std::string reversed;
};

// Moves the page in the side file to the start of the reversed file, as before page `pageNumber`.
void rearrange(std::int32_t pageNumber, PageFiles& files);

// `orientation` is "Up", "Down" or none.
ReorderedJob reorder(const std::string& input, const std::optional<std::string>& orientation,
                     bool onlyInside, std::int32_t version);

// The UTF-8 form of one byte of Mac OS Roman text.
std::string utf8(unsigned char byte);

}  // namespace jobshaper::reference
