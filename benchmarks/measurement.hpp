// Time and memory of one call.
#ifndef TIOMIPRA_BENCHMARKS_MEASUREMENT_HPP
#define TIOMIPRA_BENCHMARKS_MEASUREMENT_HPP

#include <ctime>

#include "stages.hpp"

// Seconds on `clock` that a call of `run` takes, without the release of its result.
double measureSeconds(const std::function<Images()>& run, clockid_t clock);

// By how many megabytes (10^6 bytes) the process grows at most during a call of `run`, its result
// included. Throws std::runtime_error where the kernel doesn't tell.
double measurePeakMegabytes(const std::function<Images()>& run);

// Throws std::runtime_error when the stage claims to give the same images both ways but doesn't.
void checkResult(const Stage& stage);

#endif
