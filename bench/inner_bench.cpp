// Measures only the search for triggers and the rules, on jobs in memory, for use while working on
// them. There is no startup and no reading, and the output goes to /dev/null.
//
//   inner_bench [Google Benchmark's options] JOB ...

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "filter/job_output.h"
#include "filter/job_state.h"
#include "filter/stream_rewriter.h"
#include "filter/trigger_search.h"
#include "pjl/pjl_creation.h"
#include "platform/files.h"
#include "platform/piece_reader.h"
#include "platform/system.h"

namespace jobshaper {

namespace {

// Large regions of whole pieces, as the filter passes them to the rules.
std::vector<std::string_view> regionsOf(std::string_view job) {
  constexpr std::size_t kRegion = 65536;
  std::vector<std::string_view> regions;
  while (job.size() > kRegion) {
    std::size_t size = kRegion;
    while (size < job.size() && size < 2 * kRegion && job[size - 1] != '\n') ++size;
    regions.push_back(job.substr(0, size));
    job.remove_prefix(size);
  }
  if (!job.empty()) regions.push_back(job);
  return regions;
}

constexpr TriggerSet kPlainJob = triggerSet(triggers::kExitString) | triggerSet(triggers::kPjl) |
                                 triggerSet(triggers::kInputSlot) | triggerSet(triggers::kSfcl);

// The state in the body of a job, where the rules that fire once have fired.
void search(benchmark::State& state, const TriggerSearch& search, const std::string& job) {
  const auto regions = regionsOf(job);
  for (auto _ : state) {
    for (std::string_view region : regions) {
      for (std::size_t at; (at = search.find(region, kPlainJob)) != region.npos;) {
        region.remove_prefix(at + 1);
      }
      benchmark::DoNotOptimize(region.data());
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(job.size()));
}

void rules(benchmark::State& state, const std::string& job) {
  const auto regions = regionsOf(job);
  const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  for (auto _ : state) {
    JobState jobState;
    jobState.uelString = kUniversalExitLanguage;
    JobOutput output(nowhere.get(), -1, -1);
    StreamRewriter rewriter(jobState, output);
    for (const std::string_view region : regions) {
      rewriter.handleAll(region);
      output.flush();
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(job.size()));
}

// A loop over all pieces without the search, to show what the search saves.
void pieces(benchmark::State& state, const std::string& job) {
  const auto regions = regionsOf(job);
  const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  for (auto _ : state) {
    JobState jobState;
    jobState.uelString = kUniversalExitLanguage;
    JobOutput output(nowhere.get(), -1, -1);
    StreamRewriter rewriter(jobState, output);
    for (std::string_view region : regions) {
      while (!region.empty()) {
        const std::string_view piece = firstPiece(region);
        rewriter.handle(piece);
        region.remove_prefix(piece.size());
      }
      output.flush();
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(job.size()));
}

}  // namespace

}  // namespace jobshaper

int main(int argc, char* argv[]) {
  benchmark::Initialize(&argc, argv);
  jobshaper::version = 0x1050;
  std::vector<std::string> jobs(static_cast<std::size_t>(argc > 1 ? argc - 1 : 0));
  for (int i = 1; i < argc; ++i) {
    std::string& job = jobs[static_cast<std::size_t>(i) - 1];
    job = jobshaper::readWholeFile(argv[i], std::size_t{1} << 30);
    if (job.empty()) {
      std::fprintf(stderr, "inner_bench: %s cannot be read\n", argv[i]);
      return 2;
    }
    std::string name = argv[i];
    name = name.substr(name.rfind('/') + 1);
    name = name.substr(0, name.rfind('.'));
    const auto add = [&](const std::string& what, auto function) {
      benchmark::RegisterBenchmark((what + "/" + name).c_str(), [&job, function](
                                                                    benchmark::State& state) {
        function(state, job);
      })->Unit(benchmark::kMillisecond);
    };
    for (const jobshaper::TriggerSearch& search : jobshaper::triggerSearches()) {
      add(std::string(search.name) + " search",
          [&search](benchmark::State& state, const std::string& bytes) {
            jobshaper::search(state, search, bytes);
          });
    }
    add("rules", jobshaper::rules);
    add("pieces", jobshaper::pieces);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
