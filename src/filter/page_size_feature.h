// A copy of the job's first page-size feature, which is repeated after paper-source features.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "filter/job_output.h"
#include "filter/spill_file.h"

namespace jobshaper {

// A real feature has a few hundred bytes and stays in memory. A feature without an end would grow
// to the size of the job, so everything after the first 256 KiB goes to a temporary file.
class PageSizeFeature {
 public:
  // `directory` is where the temporary file is created if it is needed.
  explicit PageSizeFeature(std::string directory) : rest_(std::move(directory)) {}

  // Replaces the feature by `text`.
  void start(std::string_view text);

  // Appends to the feature. If neither disk nor memory can hold the text, the feature ceases to
  // exist: no printer has one that long, and the job is printed without repeating it.
  void append(std::string_view text);

  // Inserts at the start of the feature, in memory.
  void prepend(std::string_view text);

  // There is none any more.
  void forget();

  bool exists() const { return exists_; }

  // The part that is in memory. Valid until the feature changes.
  std::string_view beginning() const { return beginning_; }

  // Whether the name of the fold option occurs in the rest, including where the rest begins.
  bool restNamesFold() const { return restNamesFold_; }
  // Writes the rest, which follows beginning(). Returns false if it cannot be read back to its end.
  [[nodiscard]] bool putRest(JobOutput& output) const;

 private:
  bool exists_ = false;
  std::string beginning_;
  SpillFile rest_;
  std::string lastBytes_;  // of the feature: the option's name may continue in the next text
  bool restNamesFold_ = false;
};

}  // namespace jobshaper
