// Shared by the tests of the rules: what happens to the lines of a job, and what is logged.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {

inline void expectBody(Job job, const std::string& input, const std::string& body,
                       const std::string& header = plainHeader()) {
  const Outcome outcome = job.input(input).run();
  EXPECT_EQ(outcome.out, header + body + trailer());
  EXPECT_EQ(outcome.err, tmpLines(job));
  EXPECT_EQ(outcome.exitStatus, 0);
}

inline void expectBody(const std::string& input, const std::string& body) {
  expectBody(Job(), input, body);
}

inline void expectUnchanged(const std::string& input) { expectBody(input, input); }

// A job and its output.
struct JobRow {
  std::string input;
  std::string body;
};

inline void expectRows(const std::vector<JobRow>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE("row " + std::to_string(i));
    expectBody(rows[i].input, rows[i].body);
  }
}

// The messages of the rules: what main logs after the last header line.
inline std::string loopMessages(const Job& job) {
  const std::string log = maskLog(readFile(job.tmpFile("debug.log")));
  const std::string lead = "AI######\t[time]\tmain\tL#\t";
  std::string result;
  bool headerSeen = false;
  for (std::size_t at = 0; at < log.size();) {
    const std::size_t end = log.find('\n', at);
    const std::string line = log.substr(at, end - at);
    at = end + 1;
    if (line.compare(0, lead.size(), lead) != 0) continue;
    const std::string message = line.substr(lead.size());
    if (headerSeen) result += message + "\n";
    if (message == "@PJL ENTER LANGUAGE = POSTSCRIPT") headerSeen = true;
  }
  return result;
}

inline const std::string kUsualMessages = "Initialized begin and end markers.\n}\n";
inline const std::string kSwitchMessages =
    "Initialized begin and end markers.\n"
    "Found sfcl{ marker. Resetting begin and end markers.\n}\n";

}  // namespace jobshaper::testing
