// The bench binary's malloc family: forwards to glibc's and counts.
#include "bench/alloc_count.h"

#include <cstddef>

thread_local uint64_t bench_allocations = 0;

#if defined(__SANITIZE_ADDRESS__)
#define QEL_BENCH_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_BENCH_SANITIZED 1
#endif
#endif

#ifndef QEL_BENCH_SANITIZED
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) noexcept {
  ++bench_allocations;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  ++bench_allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) noexcept {
  ++bench_allocations;
  return __libc_realloc(block, size);
}
}
#endif
