// The job's first page-size feature, which is repeated after every paper-source feature.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "filter/job_output.h"
#include "filter/spill_file.h"

namespace jobshaper {

// A real feature has some hundred bytes and stays in memory. One that never ends is as long as its
// job, so what exceeds 256 KiB goes to a spill file.
class PageSizeFeature {
 public:
  // The spill file is made in this directory.
  explicit PageSizeFeature(std::string directory) : rest_(std::move(directory)) {}

  // Begins a feature with this text and forgets the one before.
  void start(std::string_view text);

  // Adds to the end of the feature. Without room for the text, the feature ceases to exist: no
  // printer's feature is as long, and the job goes on without repeating it.
  void append(std::string_view text);

  // Adds to the front of the feature, in memory.
  void prepend(std::string_view text);

  bool exists() const { return exists_; }

  // The part that is in memory; holds until the next change.
  std::string_view beginning() const { return beginning_; }

  // Whether the name of the fold option ends in the part that is not in memory.
  bool restNamesFold() const { return restNamesFold_; }
  void putRest(JobOutput& output) const;

 private:
  bool exists_ = false;
  std::string beginning_;
  SpillFile rest_;
  std::string lastBytes_;  // of the feature, where a name may begin that goes on in the next text
  bool restNamesFold_ = false;
};

}  // namespace jobshaper
