// Per-thread caches of records and octet blocks; not part of the API.
//
// Records and octet blocks, each a heap block of its own, come from and go
// back to the calling thread's caches. A record comes zeroed; of a record
// given back only its first `dirty` octets may be non-zero. An octet block
// given back holds at least `length` octets. Taking from a cache and giving
// a record back are inline: they are the common case of every decode and
// every release. Everything else lives in asn/pool.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "asn/alloc.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define QEL_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_POOL_ASAN 1
#endif
#endif
#ifdef QEL_POOL_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace qel::detail {

inline constexpr size_t kGrain = 16;
inline constexpr size_t kSmallClasses = 32;  // 16, 32, ... 512 octets
inline constexpr size_t kSmallLimit = kGrain * kSmallClasses;

// Blocks of one kind kept by a thread, by size class: class k holds blocks
// of at least k grains, linked through their first word. A kept record is
// zero past its link.
struct SmallCache {
  void* heads[kSmallClasses + 1];
  // Octets that may still be kept. 0 until the thread's release at exit is
  // registered (the slow path does that) and again once the thread ends.
  size_t room;
};

struct HotCaches {
  SmallCache records;
  SmallCache octets;
};

extern constinit thread_local HotCaches hot_caches;

void* take_record_slow(size_t size);
void give_record_slow(void* record, size_t size, size_t dirty);
uint8_t* take_octets_slow(size_t size);
void give_octets_slow(void* block, size_t k);
// Hands everything the calling thread keeps back to the heap.
void release_caches();

inline size_t class_of(size_t size) { return (size + kGrain - 1) / kGrain; }

inline void pool_poison(void* block, size_t size) {
#ifdef QEL_POOL_ASAN
  // The link stays readable, so that leak checkers can follow the list.
  ASAN_POISON_MEMORY_REGION(static_cast<char*>(block) + sizeof(void*), size - sizeof(void*));
#else
  (void)block, (void)size;
#endif
}
inline void pool_unpoison(void* block, size_t size) {
#ifdef QEL_POOL_ASAN
  ASAN_UNPOISON_MEMORY_REGION(block, size);
#else
  (void)block, (void)size;
#endif
}

// The head block of class k, unlinked; null when the class is empty.
inline void* pop_small(SmallCache& c, size_t k) {
  void* block = c.heads[k];
  if (block == nullptr) return nullptr;
  pool_unpoison(block, k * kGrain);
  std::memcpy(&c.heads[k], block, sizeof(void*));
  c.room += k * kGrain;
  return block;
}

inline void* take_record(size_t size) {
  // A kept record counts as an allocation too, so that a test can fail it
  // whatever the cache holds.
  if (allocation_fails()) return nullptr;
  if (size - 1 < kSmallLimit) {
    if (void* record = pop_small(hot_caches.records, class_of(size))) {
      std::memset(record, 0, sizeof(void*));  // the link; the rest was zeroed when kept
      return record;
    }
  }
  return take_record_slow(size);
}

inline void give_record(void* record, size_t size, size_t dirty = SIZE_MAX) {
  if (record == nullptr) return;
  SmallCache& c = hot_caches.records;
  const size_t k = class_of(size);
  if (size - 1 < kSmallLimit && c.room >= k * kGrain) {
    // Whole grains, inline: the dirty part of a small record is a few
    // grains at most, too short to be worth a call.
    auto* bytes = static_cast<char*>(record);
    const size_t end = dirty < k * kGrain ? dirty : k * kGrain;
#pragma GCC unroll 8
    for (size_t at = 0; at < end; at += kGrain) std::memset(bytes + at, 0, kGrain);
    std::memcpy(record, &c.heads[k], sizeof(void*));
    pool_poison(record, k * kGrain);
    c.heads[k] = record;
    c.room -= k * kGrain;
    return;
  }
  give_record_slow(record, size, dirty);
}

inline uint8_t* take_octets(size_t size) {
  if (allocation_fails()) return nullptr;
  if (size - 1 < kSmallLimit)
    if (void* block = pop_small(hot_caches.octets, class_of(size)))
      return static_cast<uint8_t*>(block);
  return take_octets_slow(size);
}

// Gives an octet block back. A block holds at least `length` octets; it
// joins the largest class it covers whole. Where the heap tells a block's
// true size, ours count in full.
inline void give_octets(void* block, int32_t length) {
  if (block == nullptr) return;
#if defined(__GLIBC__)
  (void)length;
  const size_t k = malloc_usable_size(block) / kGrain;
#else
  const size_t k = length > 0 ? static_cast<size_t>(length) / kGrain : 0;
#endif
  SmallCache& c = hot_caches.octets;
  if (k - 1 < kSmallClasses && c.room >= k * kGrain) {
    std::memcpy(block, &c.heads[k], sizeof(void*));
    pool_poison(block, k * kGrain);
    c.heads[k] = block;
    c.room -= k * kGrain;
    return;
  }
  give_octets_slow(block, k);
}

}  // namespace qel::detail
