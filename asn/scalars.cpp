// INTEGER, BOOLEAN, NULL and BIT STRING: the primitives whose value has a
// little structure of its own.
#include <cstdlib>
#include <cstring>

#include "asn/asn.h"
#include "asn/internal.h"
#include "asn/alloc.h"

namespace qel {

// ---------------------------------------------------------------------------
// INTEGER

void norm_INTEGER(vbl_blk* value) {
  if (value == nullptr) return;
  if (value->bytes == nullptr) {
    value->length = 0;
    return;
  }
  // Count the redundant leading octets first and move once, so that a long
  // run of them costs linear time.
  const uint8_t* b = value->bytes;
  int32_t drop = 0;
  while (value->length - drop > 1 && (b[drop] == 0x00 || b[drop] == 0xFF) &&
         (b[drop] & 0x80) == (b[drop + 1] & 0x80)) {
    ++drop;
  }
  if (drop > 0) {
    std::memmove(value->bytes, value->bytes + drop, static_cast<size_t>(value->length - drop));
    value->length -= drop;
  }
}

int32_t sizeof_INTEGER(vbl_blk* value, int32_t with_header) {
  if (value == nullptr) return 0;
  norm_INTEGER(value);
  return sizeof_vbl_blk(value, with_header);
}

void _pack_INTEGER(uint8_t** cursor, vbl_blk* value, int32_t tag, int32_t* err) {
  if (value == nullptr) return;
  norm_INTEGER(value);
  _pack_vbl_blk(tag, 0, 0, cursor, value, err);
}

int32_t decode_INTEGER(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                       int32_t* err) {
  return decode_octets(tag, value->length, value->bytes, cursor, limit, err);
}

int32_t uip_INTEGER(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                    int32_t* err) {
  return uip_vbl_blk(tag, "INTEGER", 2, value, cursor, limit, err);
}

vbl_blk* _unpack_INTEGER(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                         int32_t* err) {
  return static_cast<vbl_blk*>(engine::unpack(&INTEGER_desc, cursor, limit, tag, err));
}

int32_t get_int_val(const vbl_blk* value) {
  if (value == nullptr || value->length > 4 || value->bytes == nullptr || value->length <= 0)
    return 0;
  int64_t result = static_cast<int8_t>(value->bytes[0]);
  for (int32_t i = 1; i < value->length; ++i) result = result * 256 + value->bytes[i];
  return static_cast<int32_t>(result);
}

int32_t put_int_val(vbl_blk* value, int32_t number) {
  if (value == nullptr) return -1;
  dip_vbl_blk(value);
  value->length = 0;
  auto* bytes = detail::take_octets(4);
  if (bytes == nullptr) return -1;
  for (int i = 3; i >= 0; --i) {
    bytes[i] = static_cast<uint8_t>(number & 0xFF);
    number >>= 8;
  }
  value->bytes = bytes;
  value->length = 4;
  norm_INTEGER(value);
  return 0;
}

// ---------------------------------------------------------------------------
// BOOLEAN and NULL: fixed encodings, records from their own free lists.

namespace {

// Header of a BOOLEAN or NULL element with its fixed length. Returns the
// content position, or null when the element is not here, overruns, or has
// another length (`bad_length` stored, the position left at the tag).
const uint8_t* fixed_header(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                            uint32_t want, int32_t bad_length, int32_t* err) {
  const Header h = open_element(cursor, limit, tag, err, want, bad_length);
  return h.outcome == Header::kGood ? h.content : nullptr;
}

}  // namespace

BOOLEAN* new_BOOLEAN() { return Pool<BOOLEAN>::take(); }
void dip_BOOLEAN(BOOLEAN* value) { (void)value; }
void drop_BOOLEAN(BOOLEAN* value) {
  if (value != nullptr) Pool<BOOLEAN>::give(value);
}

int32_t sizeof_BOOLEAN(BOOLEAN* value, int32_t with_header) {
  if (value == nullptr) return 0;
  return (with_header & 0xFFFF) != 0 ? 3 : 1;
}

void _pack_BOOLEAN(uint8_t** cursor, BOOLEAN* value, int32_t tag, int32_t* err) {
  (void)err;
  if (value == nullptr || cursor == nullptr || *cursor == nullptr) return;
  put_byte(cursor, tag);
  put_byte(cursor, 0x01);
  put_byte(cursor, value->value != 0 ? 0xFF : 0x00);
}

int32_t decode_BOOLEAN(BOOLEAN* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                       int32_t* err) {
  const uint8_t* pos = fixed_header(cursor, limit, tag, 1, ASN_BAD_BOOLEAN, err);
  if (pos == nullptr) return 0;
  value->value = *pos != 0 ? 1 : 0;
  *cursor = pos + 1;
  return 1;
}

int32_t uip_BOOLEAN(BOOLEAN* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                    int32_t* err) {
  return decoder_entry(value, cursor, err) && decode_BOOLEAN(value, cursor, limit, tag, err);
}

BOOLEAN* _unpack_BOOLEAN(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                         int32_t* err) {
  return static_cast<BOOLEAN*>(engine::unpack(&BOOLEAN_desc, cursor, limit, tag, err));
}

ASN_NULL* new_ASN_NULL() { return Pool<ASN_NULL>::take(); }
void dip_ASN_NULL(ASN_NULL* value) { (void)value; }
void drop_ASN_NULL(ASN_NULL* value) {
  if (value != nullptr) Pool<ASN_NULL>::give(value);
}

int32_t sizeof_ASN_NULL(ASN_NULL* value, int32_t with_header) {
  return value != nullptr && (with_header & 0xFFFF) != 0 ? 2 : 0;
}

void _pack_ASN_NULL(uint8_t** cursor, ASN_NULL* value, int32_t tag, int32_t* err) {
  (void)err;
  if (value == nullptr || cursor == nullptr || *cursor == nullptr) return;
  put_byte(cursor, tag);
  put_byte(cursor, 0x00);
}

int32_t decode_ASN_NULL(ASN_NULL* value, const uint8_t** cursor, const uint8_t* limit,
                        int32_t tag, int32_t* err) {
  (void)value;
  return fixed_header(cursor, limit, tag, 0, ASN_BAD_NULL, err) != nullptr;
}

int32_t uip_ASN_NULL(ASN_NULL* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                     int32_t* err) {
  return decoder_entry(value, cursor, err) && decode_ASN_NULL(value, cursor, limit, tag, err);
}

ASN_NULL* _unpack_ASN_NULL(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                           int32_t* err) {
  return static_cast<ASN_NULL*>(engine::unpack(&ASN_NULL_desc, cursor, limit, tag, err));
}

// ---------------------------------------------------------------------------
// BIT STRING

BIT_STRING* new_BIT_STRING() { return Pool<BIT_STRING>::take(); }

void dip_BIT_STRING(BIT_STRING* value) {
  if (value == nullptr) return;
  if (value->bytes != nullptr) {
    int32_t held = value->length;
    if (value->offset != 0) {
      value->bytes -= 1;
      held += 1;
      value->offset = 0;
    }
    detail::give_octets(value->bytes, held);
  }
  value->bytes = nullptr;
}

void drop_BIT_STRING(BIT_STRING* value) {
  if (value == nullptr) return;
  dip_BIT_STRING(value);
  Pool<BIT_STRING>::give(value);
}

int32_t sizeof_BIT_STRING(BIT_STRING* value, int32_t with_header) {
  if (value == nullptr) return 0;
  const int32_t content = (value->length > 0 ? value->length : 0) + 1;
  return (with_header & 0xFFFF) != 0 ? tagged(content, 0) : content;
}

void _pack_BIT_STRING(uint8_t** cursor, BIT_STRING* value, int32_t tag, int32_t* err) {
  if (value == nullptr) return;
  encode_octets(tag, 1, value->unused_bits, cursor, value->length, value->bytes, err);
}

int32_t decode_BIT_STRING(BIT_STRING* value, const uint8_t** cursor, const uint8_t* limit,
                          int32_t tag, int32_t* err) {
  if (value->bytes != nullptr) dip_BIT_STRING(value);
  if (!decode_octets(tag, value->length, value->bytes, cursor, limit, err)) return 0;
  if (value->bytes == nullptr || value->length <= 0) return 0;
  value->unused_bits = value->bytes[0];
  value->bytes += 1;
  value->length -= 1;
  value->offset = 1;
  return 1;
}

int32_t uip_BIT_STRING(BIT_STRING* value, const uint8_t** cursor, const uint8_t* limit,
                       int32_t tag, int32_t* err) {
  // A value held is released even when the cursor is refused.
  if (err != nullptr && value != nullptr && value->bytes != nullptr) dip_BIT_STRING(value);
  return decoder_entry(value, cursor, err) && decode_BIT_STRING(value, cursor, limit, tag, err);
}

BIT_STRING* _unpack_BIT_STRING(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                               int32_t* err) {
  return static_cast<BIT_STRING*>(engine::unpack(&BIT_STRING_desc, cursor, limit, tag, err));
}

int32_t put_bit_string(BIT_STRING* value, const uint8_t* data, uint32_t size, int32_t unused) {
  if (value == nullptr) return -1;
  dip_BIT_STRING(value);
  *value = BIT_STRING{};
  if (size > 0) {
    if (data == nullptr || size > 0x7FFFFFFEu) return -1;
    auto* bytes = detail::take_octets(size);
    if (bytes == nullptr) return -1;
    std::memcpy(bytes, data, size);
    value->bytes = bytes;
    value->length = static_cast<int32_t>(size);
  }
  value->unused_bits = static_cast<int16_t>(unused);
  return 0;
}

}  // namespace qel
