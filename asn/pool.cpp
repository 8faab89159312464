// Per-thread caches of released records and octet blocks.
//
// Every record and every octet block is a heap block of its own, so a caller
// may release any of them with free. Released ones are kept for reuse by the
// thread that releases them, sorted by size class, within a fixed budget per
// thread; what does not fit goes back to the heap at once, and a thread's
// caches go back to the heap when the thread ends. A record made on one
// thread and released on another simply joins the second thread's cache.
//
// The common cases, taking a kept block and keeping a small record, are
// inline in asn/pool.h; this file holds what they fall back on.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "asn/alloc.h"
#include "asn/pool.h"

namespace qel::detail {

constinit thread_local HotCaches hot_caches{};

namespace {

constexpr size_t kLargeSlots = 4;  // big records (long lists), by exact size
// Octets each cache may keep per thread: enough for a revocation list of
// 2,048 entries with an extension on every other one.
constexpr size_t kRecordBudget = 512 * 1024;
constexpr size_t kOctetBudget = 256 * 1024;

struct Large {
  void* block;
  size_t size;
  size_t dirty;  // leading octets that may be non-zero
};

struct ColdCaches {
  Large large[kLargeSlots];  // records only; they share the records' room
  bool armed;                // the thread's release at exit is registered
  bool closed;               // the thread is ending: no more caching
};

constinit thread_local ColdCaches cold{};

void release(SmallCache& c) {
  for (void*& head : c.heads) {
    while (head != nullptr) {
      void* block = head;
      pool_unpoison(block, sizeof(void*));
      std::memcpy(&head, block, sizeof(void*));
      std::free(block);
    }
  }
}

struct ReleaseAtExit {
  ~ReleaseAtExit() {
    cold.closed = true;
    release_caches();
  }
  void arm() {}
};
thread_local ReleaseAtExit release_at_exit;

// Called before a thread keeps its first block, so that its caches are
// emptied when it ends; opens the budgets. False once the thread is ending.
bool arm() {
  if (cold.closed) return false;
  if (cold.armed) return true;
  cold.armed = true;
  release_at_exit.arm();
  hot_caches.records.room = kRecordBudget;
  hot_caches.octets.room = kOctetBudget;
  return true;
}

// Keeps a block of class k; false when the budget is spent. The room is 0
// until the thread is armed, so the first block takes the slow way.
bool push(SmallCache& c, void* block, size_t k) {
  if (c.room < k * kGrain && (!arm() || c.room < k * kGrain)) return false;
  std::memcpy(block, &c.heads[k], sizeof(void*));
  pool_poison(block, k * kGrain);
  c.heads[k] = block;
  c.room -= k * kGrain;
  return true;
}

}  // namespace

void release_caches() {
  release(hot_caches.records);
  release(hot_caches.octets);
  for (Large& slot : cold.large) {
    std::free(slot.block);
    slot = Large{};
  }
  // Nothing is kept any more: the whole budget is free again, or none at
  // all once the thread is ending.
  const bool open = cold.armed && !cold.closed;
  hot_caches.records.room = open ? kRecordBudget : 0;
  hot_caches.octets.room = open ? kOctetBudget : 0;
}

void* take_record_slow(size_t size) {
  if (size <= kSmallLimit) return std::calloc(1, class_of(size > 0 ? size : 1) * kGrain);
  for (Large& slot : cold.large) {
    if (slot.block == nullptr || slot.size != size) continue;
    void* record = slot.block;
    pool_unpoison(record, size);
    std::memset(record, 0, slot.dirty);
    hot_caches.records.room += size;
    slot = Large{};
    return record;
  }
  return std::calloc(1, size);
}

void give_record_slow(void* record, size_t size, size_t dirty) {
  SmallCache& c = hot_caches.records;
  if (size <= kSmallLimit) {
    const size_t k = class_of(size > 0 ? size : 1);
    const size_t end = dirty < k * kGrain ? dirty : k * kGrain;
    if (arm() && c.room >= k * kGrain) {
      std::memset(record, 0, end);
      push(c, record, k);
    } else {
      std::free(record);
    }
    return;
  }
  if (arm() && c.room >= size) {
    for (Large& slot : cold.large) {
      if (slot.block != nullptr) continue;
      slot = Large{record, size, dirty < size ? dirty : size};
      pool_poison(record, size);
      c.room -= size;
      return;
    }
  }
  std::free(record);
}

uint8_t* take_octets_slow(size_t size) {
  if (size > kSmallLimit) return static_cast<uint8_t*>(std::malloc(size));
  return static_cast<uint8_t*>(std::malloc(class_of(size > 0 ? size : 1) * kGrain));
}

// A block of class k the inline path could not keep: the budget is spent or
// not yet opened, or the block is outside the small classes.
void give_octets_slow(void* block, size_t k) {
  if (k == 0 || k > kSmallClasses || !push(hot_caches.octets, block, k)) std::free(block);
}

}  // namespace qel::detail
