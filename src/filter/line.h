// A line of the job on its way through the rules.
#pragma once

#include <string>
#include <string_view>

#include "filter/page_size_feature.h"

namespace jobshaper {

// Written in the order of its members. A rule that tests the line looks at `text`.
struct Line {
  std::string before{};
  // The line as it came, or what a rule has put in its place. Not owned: it holds until the line
  // has been written.
  std::string_view text{};
  // A page-size feature of which `text` is the beginning, and whose rest belongs to the line.
  const PageSizeFeature* feature = nullptr;
  std::string after{};
};

}  // namespace jobshaper
