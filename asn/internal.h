// Pieces of the runtime shared between its own files; not part of the API.
#pragma once

#include <cstdlib>
#include <cstring>

#include "asn/asn.h"

namespace qel {

// Free list of released small records. The link of a free record lies in its
// own first word; records come from the heap and never go back to it.
template <class T>
struct Pool {
  static constexpr size_t kSize = sizeof(T) < sizeof(void*) ? sizeof(void*) : sizeof(T);
  static inline void* head = nullptr;

  static T* take() {
    void* record = head;
    if (record != nullptr) {
      std::memcpy(&head, record, sizeof(void*));
      std::memset(record, 0, kSize);
    } else {
      record = std::calloc(1, kSize);
    }
    return static_cast<T*>(record);
  }

  static void give(T* record) {
    std::memcpy(static_cast<void*>(record), &head, sizeof(void*));
    head = record;
  }
};

int32_t decode_octets(int32_t tag, int32_t& length, uint8_t*& bytes, const uint8_t** cursor,
                      const uint8_t* limit, int32_t* err);
void encode_octets(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   int32_t length, const uint8_t* bytes, int32_t* err);
// The common first step of _unpack_X: false when no element is to be made
// (null arguments reported as uip_X would, position at limit, other tag).
bool unpack_precheck(const uint8_t** cursor, const uint8_t* limit, int32_t tag, bool any_tag,
                     int32_t* err);

}  // namespace qel
