#pragma once

#include <cstdint>

/** How often this program has allocated memory with `new` since it started. */
uint64_t countAllocations();
