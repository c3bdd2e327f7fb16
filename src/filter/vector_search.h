// The ways to search for triggers, for trigger_search.cpp to choose from. The contract of each is
// that of findTrigger().
#pragma once

#include <cstddef>
#include <string_view>

#include "filter/trigger_search.h"

namespace jobshaper {

std::size_t findTriggerPlain(std::string_view bytes, TriggerSet wanted);

#if defined(__x86_64__)
// To be called on processors with AVX2 only: on others it is an illegal instruction.
std::size_t findTriggerAvx2(std::string_view bytes, TriggerSet wanted);
#elif defined(__aarch64__)
std::size_t findTriggerNeon(std::string_view bytes, TriggerSet wanted);
#endif

}  // namespace jobshaper
