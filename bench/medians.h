#pragma once

#include <functional>

/** Median time of a benchmark by its name, in the benchmark's unit. */
using Median = std::function<double(const char* name)>;

/**
 * Runs the benchmarks of the program with the words of its command line, prints their medians and
 * a heading for what is made of them. Ends the program with status 2 if the command line is wrong.
 *
 * All processes share one processor, so that the figures repeat: a wake-up of another one may take
 * longer than a call. With `--two-processors` the scheduler chooses.
 */
Median runForMedians(int argc, char** argv);
