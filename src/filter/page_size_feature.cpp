#include "filter/page_size_feature.h"

#include "settings/option_names.h"

namespace jobshaper {

namespace {

constexpr std::size_t kLongestBeginning = 256 * 1024;

}  // namespace

void PageSizeFeature::start(std::string_view text) {
  exists_ = true;
  beginning_ = text;
  rest_.clear();
  restNamesFold_ = false;
}

void PageSizeFeature::append(std::string_view text) {
  if (!exists_) return;
  if (rest_.empty()) {
    if (beginning_.size() + text.size() <= kLongestBeginning) {
      beginning_.append(text);
      return;
    }
    lastBytes_ = beginning_.substr(beginning_.size() - kFoldOption.size());
  }
  if (!rest_.append(text)) {
    forget();
    return;
  }
  lastBytes_.append(text);
  restNamesFold_ |= lastBytes_.find(kFoldOption) != lastBytes_.npos;
  lastBytes_.erase(0, lastBytes_.size() - kFoldOption.size());
}

void PageSizeFeature::forget() {
  rest_.clear();
  exists_ = false;
}

void PageSizeFeature::prepend(std::string_view text) { beginning_.insert(0, text); }

bool PageSizeFeature::putRest(JobOutput& output) const {
  return rest_.forEachPart([&output](std::string_view part) { output.put(part); });
}

}  // namespace jobshaper
