// Runs pjlLines.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/program.h"

// Set by the build: the path of the program.
#ifndef PJL_LINES_PROGRAM
#error "PJL_LINES_PROGRAM is not set"
#endif

namespace jobshaper::testing {

using Words = std::vector<std::string>;

// One run with these arguments, with TMPDIR and the variables of the job as environment.
inline Outcome runPjlLines(Words arguments, const Job& job,
                           const BeforeExec& beforeExec = nullptr) {
  arguments.insert(arguments.begin(), "pjlLines");
  return Process(PJL_LINES_PROGRAM, arguments, job.environment(), beforeExec).finish();
}

// Checks a run for the header of ada's job with these options and for what the setters append.
inline void expectLines(const std::string& options, const Words& setters, const std::string& lines,
                        const std::string& messages = "", const std::string& header = plainHeader(),
                        Where where = Where::here()) {
  const Job job;
  Words arguments{"-u", "ada", options};
  arguments.insert(arguments.end(), setters.begin(), setters.end());
  expectOutcome(runPjlLines(arguments, job), header + lines,
                "tmp at " + job.tmp() + " \n" + messages, 0, ::testing::PrintToString(arguments),
                where);
}

}  // namespace jobshaper::testing
