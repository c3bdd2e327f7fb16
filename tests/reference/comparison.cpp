#include "tests/reference/comparison.h"

#include <algorithm>
#include <chrono>

namespace jobshaper::reference {
namespace {

// Adds both texts to the report: all of them if they are short, else the part around the first
// difference.
void compare(std::string_view what, const std::string& expected, const std::string& actual,
             std::string& report) {
  if (expected == actual) return;
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  report.append(what).append(" differs at byte ").append(std::to_string(at));
  const std::size_t begin =
      std::max(expected.size(), actual.size()) < 6000 ? 0 : at - std::min<std::size_t>(at, 300);
  const std::size_t length = begin == 0 ? std::string::npos : 2000;
  report += begin == 0 ? "\n" : ", shown from byte " + std::to_string(begin) + "\n";
  report += "-- expected, " + std::to_string(expected.size()) + " bytes:\n" +
            literal(std::string_view(expected).substr(std::min(begin, expected.size()), length)) +
            "\n-- actual, " + std::to_string(actual.size()) + " bytes:\n" +
            literal(std::string_view(actual).substr(std::min(begin, actual.size()), length)) + "\n";
}

// Tries changes to a job for a few seconds, and keeps those with which the outputs still differ.
template <typename Job>
class Shrinker {
 public:
  Shrinker(Job job, const Comparison<Job>& same) : job_(std::move(job)), same_(same) {}

  template <typename Change>
  bool attempt(const Change& change) {
    if (Clock::now() > end_) return false;
    Job smaller = job_;
    change(smaller);
    std::string ignored;
    if (same_(smaller, ignored)) return false;
    job_ = std::move(smaller);
    return true;
  }

  // Tries to remove ranges of bytes, the largest first.
  void shrinkBytes(const std::function<std::string&(Job&)>& bytes) {
    bool again = true;
    while (again && Clock::now() < end_) {
      again = false;
      for (std::size_t size = std::max<std::size_t>(bytes(job_).size() / 2, 1); size > 0;
           size /= 2) {
        for (std::size_t at = 0; at < bytes(job_).size();) {
          const bool gone = attempt([&](Job& job) { bytes(job).erase(at, size); });
          if (gone)
            again = true;
          else
            at += size;
        }
      }
    }
  }

  const Job& job() const { return job_; }
  Job take() { return std::move(job_); }

 private:
  using Clock = std::chrono::steady_clock;
  Job job_;
  const Comparison<Job>& same_;
  Clock::time_point end_ = Clock::now() + std::chrono::seconds(20);
};

template <typename Job>
void shrinkDelivery(Shrinker<Job>& shrinker) {
  shrinker.attempt([](Job& job) { job.delivery = {}; });
  shrinker.attempt([](Job& job) { job.delivery.pipe = false; });
  shrinker.attempt([](Job& job) { job.delivery.largestRead = 0; });
  shrinker.attempt([](Job& job) { job.delivery.byPiece = false; });
}

}  // namespace

bool matchesReference(const RandomJob& random, const FilterOutput& actual, std::string& report) {
  const ReferenceOutput expected = runReference(random.job);
  const std::string header = expected.pjl ? headerLines(random.job, expected.copies) : "";
  std::string differences;
  compare("standard output", header + expected.printed, actual.printed, differences);
  compare("the capture of the job", expected.captureIn, actual.captureIn, differences);
  compare("the capture of the output", random.job.capture ? header + expected.captureOut : "",
          actual.captureOut, differences);
  compare("standard error", expected.messages, actual.messages, differences);
  compare("what is left in the temporary directory", "", actual.leftovers, differences);
  compare("the exit status", "0", std::to_string(actual.status), differences);
  if (differences.empty()) return true;
  report = describe(random) + differences;
  return false;
}

bool matchesReference(const RandomJob& random, std::string& report) {
  return matchesReference(random, runFilter(random), report);
}

bool matchesReference(const ReorderingJob& random, std::string& report) {
  const ReorderedJob expected =
      reorder(random.input, random.orientation, random.onlyInside, random.version);
  const std::optional<ReorderedJob> actual = reorderByFilter(random);
  std::string differences;
  if (!actual) {
    differences = "the reordering failed\n";
  } else {
    compare("the reordered job", expected.output, actual->output, differences);
    compare("pageReOrdered", expected.oddSide, actual->oddSide, differences);
    compare("pageEven", expected.evenSide, actual->evenSide, differences);
    compare("newEvenOrder", expected.reversedEvens, actual->reversedEvens, differences);
    compare("newOddOrder", expected.reversedOdds, actual->reversedOdds, differences);
    compare("headerPS", expected.header.value_or("(no file)"), actual->header.value_or("(no file)"),
            differences);
  }
  if (differences.empty()) return true;
  report = describe(random) + differences;
  return false;
}

bool rearrangesLikeReference(std::uint64_t seed, std::string& report) {
  RandomGenerator generator(seed);
  const auto pageNumber = static_cast<std::int32_t>(generator.below(12)) - 1;
  PageFiles files;
  for (std::string* bytes : {&files.side, &files.reversed}) {
    for (std::size_t i = generator.below(generator.oneIn(8) ? 70000 : 40); i > 0; --i) {
      *bytes += static_cast<char>(generator.below(256));
    }
  }
  const std::string later = generator.oneIn(2) ? "the next page" : "";
  const bool withReversedStream = !generator.oneIn(4);
  const std::optional<PageFiles> actual =
      rearrangeByFilter(pageNumber, files, withReversedStream, later);
  const PageFiles before = files;
  rearrange(pageNumber, files);
  files.side += later;
  std::string differences;
  if (!actual) {
    differences = "the rearranging failed\n";
  } else {
    compare("the side file", files.side, actual->side, differences);
    compare("the reversed file", files.reversed, actual->reversed, differences);
  }
  if (differences.empty()) return true;
  report = "seed " + std::to_string(seed) + "\n  page number = " + std::to_string(pageNumber) +
           "\n  reversed stream = " + (withReversedStream ? "open" : "absent") +
           "\nthe side file:\n" + literal(before.side) + "\nthe reversed file:\n" +
           literal(before.reversed) + "\n" + differences;
  return false;
}

RandomJob smallest(RandomJob random, const Comparison<RandomJob>& same) {
  Shrinker<RandomJob> shrinker(std::move(random), same);
  shrinkDelivery(shrinker);
  const auto options = shrinker.job().job.options;
  for (const auto& option : options) {
    shrinker.attempt([&](RandomJob& job) { job.job.options.erase(option.first); });
  }
  shrinker.attempt([](RandomJob& job) { job.job.pageCountFile.reset(); });
  shrinker.attempt([](RandomJob& job) { job.job.language.reset(); });
  shrinker.attempt([](RandomJob& job) { job.job.copiesArgument = "1"; });
  shrinker.attempt([](RandomJob& job) { job.job.version = 0x1050; });
  shrinker.attempt([](RandomJob& job) { job.job.deviceUri = "socket://printer"; });
  shrinker.attempt([](RandomJob& job) { job.job.capture = false; });
  shrinker.attempt([](RandomJob& job) { job.job.manualPpd = false; });
  shrinker.shrinkBytes([](RandomJob& job) -> std::string& { return job.job.input; });
  return shrinker.take();
}

ReorderingJob smallest(ReorderingJob random, const Comparison<ReorderingJob>& same) {
  Shrinker<ReorderingJob> shrinker(std::move(random), same);
  shrinkDelivery(shrinker);
  shrinker.attempt([](ReorderingJob& job) { job.orientation.reset(); });
  shrinker.attempt([](ReorderingJob& job) { job.onlyInside = false; });
  shrinker.attempt([](ReorderingJob& job) { job.version = 0x1050; });
  shrinker.shrinkBytes([](ReorderingJob& job) -> std::string& { return job.input; });
  return shrinker.take();
}

}  // namespace jobshaper::reference
