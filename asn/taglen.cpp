// Tag and length layer: single octets, tag octets and DER length fields at a
// moving position.
#include "asn/asn.h"
#include "asn/internal.h"

namespace qel {

int32_t length_size(uint32_t length) { return length_octets(length); }

int32_t tagged(int32_t content_length, int32_t force) {
  return element_size(content_length, force);
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

void put_tag(uint8_t** cursor, int32_t tag, uint32_t length) { write_header(cursor, tag, length); }

int32_t get_byte(const uint8_t** cursor, const uint8_t* limit) {
  const uint8_t* at = step(*cursor, 1, limit);
  return at != nullptr ? *at : -1;
}

// The last four of `count` octets count: earlier ones fall off the top.
bool read_long_length(uint32_t count, const uint8_t*& pos, const uint8_t* limit,
                      uint32_t& length) {
  const uint8_t* octets = step(pos, count, limit);
  if (octets == nullptr) {
    pos = limit;
    return false;
  }
  length = 0;
  for (uint32_t i = 0; i < count; ++i) length = (length << 8) | octets[i];
  return true;
}

uint32_t get_lth(const uint8_t** cursor, const uint8_t* limit) {
  uint32_t length = 0;
  return read_length(*cursor, limit, length) ? length : LENGTH_PAST_LIMIT;
}

uint32_t take_tag(const uint8_t** cursor, int32_t tag, const uint8_t* limit) {
  if (cursor == nullptr || *cursor == nullptr) return 0;
  const Header h = read_header(*cursor, limit, tag, kUnbounded);
  if (h.outcome == Header::kNotHere) return 0;
  *cursor = h.content;
  return h.length;
}

void err_halt(int32_t code) {
  // Keep the call: a breakpoint here sees every stored code.
  asm volatile("" : : "r"(code) : "memory");
}

}  // namespace qel
