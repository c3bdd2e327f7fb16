// Data within a job, such as a picture, which may look like anything.
#pragma once

#include <string_view>

namespace jobshaper {

class DataSection {
 public:
  // Whether the line belongs to data: it is between "%%BeginData" or "%%BeginBinary" and its end,
  // or one of these two lines. To be called once for each line, in order; 16 bytes of it suffice.
  bool covers(std::string_view line) {
    if (inside_) {
      inside_ = !line.starts_with("%%EndData") && !line.starts_with("%%EndBinary");
      return true;
    }
    inside_ = line.starts_with("%%BeginData") || line.starts_with("%%BeginBinary");
    return inside_;
  }

 private:
  bool inside_ = false;
};

}  // namespace jobshaper
