// The library's one way to the heap. Every record, octet block and text it
// hands out comes from these functions, which call malloc, calloc, realloc
// and strdup underneath, so each stays a block of its own that free
// releases. Not installed and not part of the API.
#pragma once

#include <cstdlib>
#include <cstring>

namespace qel::detail {

// Test hook: set to n > 0, the nth allocation from then on fails (returns
// null) and the count stops at 0. Released builds never set it, so the check
// costs one well-predicted branch.
extern long test_hook_fail_nth_allocation;

inline bool allocation_fails() {
  return __builtin_expect(test_hook_fail_nth_allocation != 0, 0) &&
         --test_hook_fail_nth_allocation == 0;
}

inline void* allocate(size_t size) { return allocation_fails() ? nullptr : std::malloc(size); }
inline void* allocate_zeroed(size_t count, size_t size) {
  return allocation_fails() ? nullptr : std::calloc(count, size);
}
inline void* reallocate(void* block, size_t size) {
  return allocation_fails() ? nullptr : std::realloc(block, size);
}
inline char* duplicate(const char* text) { return allocation_fails() ? nullptr : strdup(text); }

}  // namespace qel::detail
