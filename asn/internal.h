// Pieces of the runtime shared between its own files; not part of the API.
#pragma once

#include <cstdlib>
#include <cstring>

#include "asn/asn.h"
#include "asn/engine.h"
#include "asn/pool.h"

#if defined(__SANITIZE_ADDRESS__)
#define QEL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_ASAN 1
#endif
#endif
#ifdef QEL_ASAN
#include <sanitizer/asan_interface.h>
#define QEL_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define QEL_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define QEL_POISON(p, n) ((void)(p), (void)(n))
#define QEL_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace qel {


// The records of one primitive.
template <class T>
struct Pool {
  static T* take() { return static_cast<T*>(detail::take_record(sizeof(T))); }
  static void give(T* record) { detail::give_record(record, sizeof(T)); }
};

// The tag and length of the element at the position: the first step of every
// decoder. Nothing moves unless the element overruns `limit`.
struct ElementHeader {
  enum Outcome {
    kAbsent,   // position at `limit`, or another tag: nothing stored
    kRefused,  // a code was stored (-7, -8, or the wrong fixed length)
    kOverrun,  // -9 was stored and the position set to `limit`
    kGood,     // `content` and `length` describe content inside `limit`
  } outcome;
  const uint8_t* content;
  uint32_t length;
};
inline constexpr int32_t kAnyTag = -1;
inline constexpr uint32_t kAnyLength = 0xFFFFFFFFu;
// With `fixed_length` set, any other length stores `bad_length` (checked
// before the limit, the position left at the tag); a length field cut off
// by the limit is an overrun all the same.
ElementHeader read_element(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                           int32_t* err, uint32_t fixed_length = kAnyLength,
                           int32_t bad_length = 0);

int32_t decode_octets(int32_t tag, int32_t& length, uint8_t*& bytes, const uint8_t** cursor,
                      const uint8_t* limit, int32_t* err);
void encode_octets(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   int32_t length, const uint8_t* bytes, int32_t* err);

}  // namespace qel
