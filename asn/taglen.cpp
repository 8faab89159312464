// Tag and length layer: single octets, tag octets and DER length fields at a
// moving position.
#include "asn/asn.h"

namespace qel {

int32_t length_size(uint32_t length) {
  if (length < 0x80u) return 1;
  if (length < 0x100u) return 2;
  if (length < 0x10000u) return 3;
  if (length < 0x1000000u) return 4;
  return 5;
}

int32_t tagged(int32_t content_length, int32_t force) {
  if (content_length == 0 && (force & 0xFFFF) == 0) return 0;
  const uint32_t n = static_cast<uint32_t>(content_length);
  return static_cast<int32_t>(n + static_cast<uint32_t>(length_size(n)) + 1u);
}

void put_byte(uint8_t** cursor, int32_t octet) {
  **cursor = static_cast<uint8_t>(octet);
  ++*cursor;
}

void put_lth(uint8_t** cursor, uint32_t length) {
  const int n = length_size(length) - 1;
  uint8_t* p = *cursor;
  if (n == 0) {
    *p++ = static_cast<uint8_t>(length & 0x7F);
  } else {
    *p++ = static_cast<uint8_t>(0x80 | n);
    for (int i = n - 1; i >= 0; --i) *p++ = static_cast<uint8_t>(length >> (8 * i));
  }
  *cursor = p;
}

void put_tag(uint8_t** cursor, int32_t tag, uint32_t length) {
  put_byte(cursor, tag);
  put_lth(cursor, length);
}

int32_t get_byte(const uint8_t** cursor, const uint8_t* limit) {
  if (*cursor >= limit) return -1;
  return *(*cursor)++;
}

uint32_t get_lth(const uint8_t** cursor, const uint8_t* limit) {
  const uint8_t* p = *cursor;
  if (p >= limit) return LENGTH_PAST_LIMIT;
  const uint8_t first = *p++;
  if ((first & 0x80) == 0) {
    *cursor = p;
    return first;
  }
  const uint32_t count = first & 0x7Fu;
  if (count > static_cast<uint64_t>(limit - p)) {
    *cursor = limit;
    return LENGTH_PAST_LIMIT;
  }
  uint32_t length = 0;
  for (uint32_t i = 0; i < count; ++i) length = (length << 8) | *p++;
  *cursor = p;
  return length;
}

uint32_t take_tag(const uint8_t** cursor, int32_t tag, const uint8_t* limit) {
  if (cursor == nullptr || *cursor == nullptr || *cursor >= limit) return 0;
  if (**cursor != static_cast<uint8_t>(tag)) return 0;
  ++*cursor;
  return get_lth(cursor, limit);
}

void err_halt(int32_t code) {
  // Keep the call: a breakpoint here sees every stored code.
  asm volatile("" : : "r"(code) : "memory");
}

}  // namespace qel
