// Runs the same job with the program, started as CUPS starts it.
#pragma once

#include "tests/reference/filter_under_test.h"
#include "tests/reference/job_maker.h"

namespace jobshaper::reference {

FilterOutput runProgram(const RandomJob& random);

}  // namespace jobshaper::reference
