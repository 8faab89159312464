// Per-thread caches of released records and octet blocks.
//
// Every record and every octet block is a heap block of its own, so a caller
// may release any of them with free. Released ones are kept for reuse by the
// thread that releases them, sorted by size class, within a fixed budget per
// thread; what does not fit goes back to the heap at once, and a thread's
// caches go back to the heap when the thread ends. A record made on one
// thread and released on another simply joins the second thread's cache.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "asn/alloc.h"
#include "asn/internal.h"
#include "asn/pool.h"

namespace qel::detail {
namespace {

constexpr size_t kGrain = 16;
constexpr size_t kSmallClasses = 32;  // 16, 32, ... 512 octets
constexpr size_t kSmallLimit = kGrain * kSmallClasses;
constexpr size_t kLargeSlots = 4;     // big records (long lists), by exact size
// Octets each cache may keep per thread: enough for a revocation list of
// 2,048 entries with an extension on every other one.
constexpr size_t kRecordBudget = 512 * 1024;
constexpr size_t kOctetBudget = 256 * 1024;

// A kept record holds the link in its first word and, in its second, how
// many of its leading octets may be non-zero.
struct Cache {
  size_t budget;
  void* heads[kSmallClasses + 1];  // by class; the link lies in a block's first word
  struct Large {
    void* block;
    size_t size;
    size_t dirty;  // leading octets that may be non-zero
  } large[kLargeSlots];
  size_t kept;
};

struct Caches {
  Cache records;
  Cache octets;
  bool armed;   // the thread's release at exit is registered
  bool closed;  // the thread is ending: no more caching
};

constinit thread_local Caches caches{{kRecordBudget, {}, {}, 0}, {kOctetBudget, {}, {}, 0}, false, false};

void release(Cache& c) {
  for (void*& head : c.heads) {
    while (head != nullptr) {
      void* block = head;
      QEL_UNPOISON(block, sizeof(void*));
      std::memcpy(&head, block, sizeof(void*));
      std::free(block);
    }
  }
  for (Cache::Large& slot : c.large) {
    std::free(slot.block);
    slot = Cache::Large{};
  }
  c.kept = 0;
}

struct ReleaseAtExit {
  ~ReleaseAtExit() {
    caches.closed = true;
    release_caches();
  }
  void arm() {}
};
thread_local ReleaseAtExit release_at_exit;

// Called before a thread keeps its first block, so that its caches are
// emptied when it ends.
inline void arm() {
  if (caches.armed) return;
  caches.armed = true;
  release_at_exit.arm();
}

inline size_t class_of(size_t size) { return (size + kGrain - 1) / kGrain; }

void* pop(Cache& c, size_t k) {
  void* block = c.heads[k];
  if (block == nullptr) return nullptr;
  QEL_UNPOISON(block, k * kGrain);
  std::memcpy(&c.heads[k], block, sizeof(void*));
  c.kept -= k * kGrain;
  return block;
}

// Keeps a block of class k; false when the budget is spent.
bool push(Cache& c, void* block, size_t k) {
  if (caches.closed || c.kept + k * kGrain > c.budget) return false;
  arm();
  std::memcpy(block, &c.heads[k], sizeof(void*));
  // The link stays readable, so that leak checkers can follow the list.
  QEL_POISON(static_cast<char*>(block) + sizeof(void*), k * kGrain - sizeof(void*));
  c.heads[k] = block;
  c.kept += k * kGrain;
  return true;
}

constexpr size_t kHead = 2 * sizeof(size_t);  // link and dirty count of a kept record

}  // namespace

void release_caches() {
  release(caches.records);
  release(caches.octets);
}

void* take_record(size_t size) {
  // A kept record counts as an allocation too, so that a test can fail it
  // whatever the cache holds.
  if (allocation_fails()) return nullptr;
  Cache& c = caches.records;
  if (size <= kSmallLimit) {
    const size_t k = class_of(size > 0 ? size : 1);
    if (void* record = pop(c, k)) {
      size_t dirty;
      std::memcpy(&dirty, static_cast<char*>(record) + sizeof(void*), sizeof dirty);
      // Whole grains, inline: the dirty part of a small record is a few
      // grains at most, too short to be worth a call.
      auto* bytes = static_cast<char*>(record);
      for (size_t at = 0; at < dirty; at += kGrain) std::memset(bytes + at, 0, kGrain);
      return record;
    }
    return std::calloc(1, k * kGrain);
  }
  for (Cache::Large& slot : c.large) {
    if (slot.block == nullptr || slot.size != size) continue;
    void* record = slot.block;
    QEL_UNPOISON(record, size);
    std::memset(record, 0, slot.dirty);
    c.kept -= size;
    slot = Cache::Large{};
    return record;
  }
  return std::calloc(1, size);
}

void give_record(void* record, size_t size, size_t dirty) {
  if (record == nullptr) return;
  Cache& c = caches.records;
  if (size <= kSmallLimit) {
    const size_t k = class_of(size > 0 ? size : 1);
    dirty = dirty < kHead ? kHead : dirty > k * kGrain ? k * kGrain : dirty;
    std::memcpy(static_cast<char*>(record) + sizeof(void*), &dirty, sizeof dirty);
    if (!push(c, record, k)) std::free(record);
    return;
  }
  if (!caches.closed && c.kept + size <= c.budget) {
    for (Cache::Large& slot : c.large) {
      if (slot.block != nullptr) continue;
      arm();
      slot = Cache::Large{record, size, dirty < size ? dirty : size};
      QEL_POISON(record, size);
      c.kept += size;
      return;
    }
  }
  std::free(record);
}

uint8_t* take_octets(size_t size) {
  if (allocation_fails()) return nullptr;
  if (size > kSmallLimit) return static_cast<uint8_t*>(std::malloc(size));
  const size_t k = class_of(size > 0 ? size : 1);
  if (void* block = pop(caches.octets, k)) return static_cast<uint8_t*>(block);
  return static_cast<uint8_t*>(std::malloc(k * kGrain));
}

void give_octets(void* block, int32_t length) {
  if (block == nullptr) return;
  // A block holds at least `length` octets; it joins the largest class it
  // covers whole. Where the heap tells a block's true size, ours count in
  // full.
#if defined(__GLIBC__)
  const size_t usable = malloc_usable_size(block);
#else
  const size_t usable = length > 0 ? static_cast<size_t>(length) : 0;
#endif
  (void)length;
  const size_t k = usable / kGrain;
  if (k == 0 || k > kSmallClasses || !push(caches.octets, block, k)) std::free(block);
}

}  // namespace qel::detail
