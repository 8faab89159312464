// Per-thread caches of records and octet blocks; not part of the API.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel::detail {

// Records and octet blocks, each a heap block of its own, from and back to
// the calling thread's caches (asn/pool.cpp). A record comes zeroed; of a
// record given back only its first `dirty` octets may be non-zero. An octet
// block given back holds at least `length` octets.
void* take_record(size_t size);
void give_record(void* record, size_t size, size_t dirty = SIZE_MAX);
uint8_t* take_octets(size_t size);
void give_octets(void* block, int32_t length);
// Hands everything the calling thread keeps back to the heap.
void release_caches();

}  // namespace qel::detail
