// The same job through the built program, started as CUPS starts it.
#pragma once

#include "tests/judge/job_maker.h"
#include "tests/judge/product.h"

namespace jobshaper::judge {

Produced produceByProgram(const RandomJob& random);

}  // namespace jobshaper::judge
