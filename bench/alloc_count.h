// Count of heap allocations made by the benchmark process: every malloc,
// calloc and realloc, through the bench binary's own versions of them. The
// codec allocates with these three only. Under the sanitizers, which own the
// allocator, nothing is counted and the count stays 0. Each thread counts
// its own.
#pragma once

#include <cstdint>

extern thread_local uint64_t bench_allocations;
