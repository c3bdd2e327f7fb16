// A line of the job while the rules rewrite it.
#pragma once

#include <string>
#include <string_view>

#include "filter/page_size_feature.h"

namespace jobshaper {

// The members are written in this order. Rules match against `text`.
struct Line {
  std::string before{};
  // The line as read, or its replacement. Not owned; must stay valid until the line is written.
  std::string_view text{};
  // If not null, `text` is the beginning of this feature, and the rest of the feature follows it.
  const PageSizeFeature* feature = nullptr;
  std::string after{};
};

}  // namespace jobshaper
