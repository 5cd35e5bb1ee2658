#pragma once

#include <functional>

/** Median time of a benchmark by its name, in the benchmark's unit. */
using Median = std::function<double(const char* name)>;

/**
 * Has all processes that are started from now on share one processor, so that the figures repeat: a
 * wake-up of another one may take longer than a call. With `--two-processors`, which is taken off
 * the command line, the scheduler chooses.
 */
void chooseProcessors(int* argc, char** argv);

/**
 * Runs the benchmarks of the program with the words of its command line, prints their medians and
 * a heading for what is made of them. Ends the program with status 2 if the command line is wrong.
 */
Median runForMedians(int argc, char** argv);
