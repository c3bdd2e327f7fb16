// Shared by the tests of the setters: pjlLines with options and setters, and the expected output.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/program.h"

namespace jobshaper::testing {

using Words = std::vector<std::string>;

struct Row {
  std::string value;
  std::string lines;
};

inline const std::string kCopies = "com.apple.print.PrintSettings.PMCopies..n.=";
inline const std::string kOrientation = "com.apple.print.PrintSettings.PMOrientation..n.=";
inline const std::string kFeed = "com.apple.print.PrintSettings.PMPrimaryPaperFeed..a.1=";
inline const std::string kCollate = "com.apple.print.PrintSettings.PMCopyCollate..b.=";

// Runs the setters for ada's job and compares the whole standard output with `out`.
inline void expectRun(const std::string& options, const Words& setters, const std::string& out,
                      const std::string& messages = "") {
  const TemporaryFolder tmp;
  Words argv{"pjlLines", "-u", "ada", options};
  argv.insert(argv.end(), setters.begin(), setters.end());
  Process process(PJL_LINES_PROGRAM, argv, {{"TMPDIR", tmp.path()}});
  const Outcome outcome = process.finish();
  SCOPED_TRACE("options: " + options + (setters.empty() ? "" : "; setters: " + setters.front()));
  EXPECT_EQ(outcome.out, out);
  EXPECT_EQ(outcome.err, "tmp at " + tmp.path() + " \n" + messages);
  EXPECT_EQ(outcome.exitStatus, 0);
}

// The lines after a header that has only the lines of every job.
inline void expectLines(const std::string& options, const Words& setters, const std::string& lines,
                        const std::string& messages = "") {
  expectRun(options, setters, plainHeader() + lines, messages);
}

// One option's table: the setter's lines for each value.
inline void expectTable(const std::string& setter, const std::string& option,
                        const std::vector<Row>& rows) {
  for (const Row& row : rows) expectLines(option + "=" + row.value, {setter}, row.lines);
}

}  // namespace jobshaper::testing
