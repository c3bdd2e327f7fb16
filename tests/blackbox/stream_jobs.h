// Jobs written down as their pieces, each after a mark that says what the filter does with it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {

struct StreamJob {
  std::string input, captured, body;
};

// A piece ends with a '\n' or '\r', or after 1024 bytes. Before each is its mark:
//   ' ' passes      '-' is dropped      's' is skipped, and not captured      '+' is inserted
inline StreamJob streamJob(std::string_view marked) {
  StreamJob job;
  while (!marked.empty()) {
    const char mark = marked.front();
    const std::string_view rest = marked.substr(1, 1024);
    const std::string_view piece =
        rest.substr(0, std::min(rest.find_first_of("\r\n"), rest.size() - 1) + 1);
    if (std::string_view(" -s+").find(mark) == std::string_view::npos) {
      ADD_FAILURE() << "no mark before " << piece;
    }
    if (mark != '+') job.input += piece;
    if (mark == ' ' || mark == '-') job.captured += piece;
    if (mark == ' ' || mark == '+') job.body += piece;
    marked.remove_prefix(1 + piece.size());
  }
  return job;
}

// Runs each of these jobs with the options of `job`. The header is not checked.
inline void expectStreams(const std::vector<std::string>& marked, Job job = {},
                          Where where = Where::here()) {
  for (const std::string& text : marked) {
    const auto [input, captured, body] = streamJob(text);
    Outcome outcome = job.input(input).run();
    constexpr std::string_view kHeaderEnd = "@PJL ENTER LANGUAGE = POSTSCRIPT\n";
    const std::size_t header = outcome.out.find(kHeaderEnd);
    if (header != std::string::npos) outcome.out.erase(0, header + kHeaderEnd.size());
    expectOutcome(outcome, body + trailer(), tmpLines(job), 0,
                  job.argv()[5] + " " + ::testing::PrintToString(input.substr(0, 500)), where);
  }
}

inline void expectStream(const std::string& marked, const Job& job = {},
                         Where where = Where::here()) {
  expectStreams({marked}, job, where);
}

// A page-size feature, a paper source, and the feature when it is repeated after the paper source.
inline const std::string kSize = " *PageSize A4\n %%EndFeature\n";
inline const std::string kSource = " InputSlot cleartomark\n";
inline const std::string kRepeated = "+[{\n+*PageSize A4\n+%%EndFeature\n+} stopped cleartomark\n";

// What the filter writes into the prolog.
inline const std::string kMarkerFeature =
    "+%%BeginProlog\n+%%BeginFeature: *JobPatchFile 1\n+%%Quorvan Macintosh PPD File 1\n"
    "+%%EndFeature\n";

// What the filter writes before the copies of a retained job.
inline std::string collated(const std::string& copies) {
  return "+%!\n+%Set collate copies = copy:\n+<< /CollatedCopies " + copies +
         " >> setuserparams\n+%EndUserSetup\n";
}

}  // namespace jobshaper::testing
