#ifndef QVTRACE_BENCH_ALLOCATION_COUNT_H
#define QVTRACE_BENCH_ALLOCATION_COUNT_H

#include <cstddef>

/// Number of heap allocations the process has made through operator new so far. The
/// benchmarks replace the global operator new to count them.
std::size_t allocationCount();

#endif  // QVTRACE_BENCH_ALLOCATION_COUNT_H
