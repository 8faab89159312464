// Value blocks: the shared record of every octet-carrying primitive, its free
// list, the shared decoder and encoder, the string family and raw elements.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "asn/asn.h"
#include "asn/internal.h"
#include "asn/alloc.h"

namespace qel {

vbl_blk* new_vbl_blk() { return make_value(); }
void dip_vbl_blk(vbl_blk* value) { release_value(value); }
void drop_vbl_blk(vbl_blk* value) { drop_value(value); }

int32_t sizeof_vbl_blk(vbl_blk* value, int32_t with_header) {
  if (value == nullptr) return 0;
  const int32_t length = value->length > 0 ? value->length : 0;
  if ((with_header & 0xFFFF) == 0) return length;
  return tagged(length, 1);
}

int32_t put_str_val(vbl_blk* value, const uint8_t* data, uint32_t size) {
  if (value == nullptr) return -1;
  dip_vbl_blk(value);
  value->length = 0;
  if (size == 0) return 0;
  if (data == nullptr || size > 0x7FFFFFFFu) return -1;
  auto* bytes = detail::take_octets(size);
  if (bytes == nullptr) return -1;
  std::memcpy(bytes, data, size);
  value->bytes = bytes;
  value->length = static_cast<int32_t>(size);
  return 0;
}

// Reads one element of the given tag into (length, bytes). The common body of
// every octet-carrying decoder. A zero-length value holds no block.
int32_t decode_octets(int32_t tag, int32_t& length, uint8_t*& bytes, const uint8_t** cursor,
                      const uint8_t* limit, int32_t* err) {
  const Header h = open_element(cursor, limit, tag, err);
  if (h.outcome != Header::kGood) return 0;
  const uint32_t n = h.length;
  if (bytes != nullptr) detail::give_octets(bytes, length);
  bytes = nullptr;
  length = static_cast<int32_t>(n);
  if (n > 0) {
    bytes = detail::take_octets(n);
    if (bytes == nullptr) return 0;  // the position stays behind the length field
    copy_octets(bytes, h.content, n);
  }
  *cursor = h.content + n;
  if (globalDebugLevel > 0) trace_prim(bytes, length, trace_level);
  return 1;
}

// Writes tag, length (+extra), the extra octet and the content. A record
// whose bytes are missing writes its header only, which the enclosing
// length check reports.
void encode_octets(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   int32_t length, const uint8_t* bytes, int32_t* err) {
  if (cursor == nullptr) return set_err(err, ASN_OUT_NO_CURSOR);
  if (*cursor == nullptr) return set_err(err, ASN_OUT_NO_POSITION);
  const uint32_t n = length > 0 ? static_cast<uint32_t>(length) : 0;
  put_byte(cursor, tag);
  put_lth(cursor, n + static_cast<uint32_t>(extra));
  if (extra != 0) put_byte(cursor, extra_octet);
  if (n > 0 && bytes != nullptr) {
    std::memcpy(*cursor, bytes, n);
    *cursor += n;
  }
}

int32_t uip_vbl_blk(int32_t tag, const char* type_label, int32_t universal_number,
                    vbl_blk* value, const uint8_t** cursor, const uint8_t* limit,
                    int32_t* err) {
  (void)type_label;
  (void)universal_number;
  if (!decoder_entry(value, cursor, err)) return 0;
  return decode_octets(tag, value->length, value->bytes, cursor, limit, err);
}

void _pack_vbl_blk(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   vbl_blk* value, int32_t* err) {
  if (value == nullptr) return;
  encode_octets(tag, extra, extra_octet, cursor, value->length, value->bytes, err);
}

namespace {

bool numeric_char(uint8_t c) { return (c >= '0' && c <= '9') || c == ' '; }

bool printable_char(uint8_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return true;
  return c == 0 || std::strchr("'\"()+,-./:=? ", c) != nullptr;
}

// Runs a character check over a decoded value.
int32_t check_chars(const vbl_blk* value, bool (*allowed)(uint8_t), int32_t code, int32_t* err) {
  for (int32_t i = 0; i < value->length; ++i) {
    if (!allowed(value->bytes[i])) return set_err(err, code), 0;
  }
  return 1;
}

}  // namespace

// The value family: one decoder, one encoder, an optional character check.
// The value family: one decoder, one encoder, an optional character check.
#define QEL_VALUE_TYPE(X, label, number, check)                                              \
  void _pack_##X(uint8_t** cursor, vbl_blk* value, int32_t tag, int32_t* err) {              \
    _pack_vbl_blk(tag, 0, 0, cursor, value, err);                                            \
  }                                                                                          \
  int32_t decode_##X(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit,           \
                     int32_t tag, int32_t* err) {                                            \
    if (!decode_octets(tag, value->length, value->bytes, cursor, limit, err)) return 0;      \
    return check;                                                                            \
  }                                                                                          \
  int32_t uip_##X(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag, \
                  int32_t* err) {                                                            \
    return uip_vbl_blk(tag, label, number, value, cursor, limit, err) && (check);            \
  }                                                                                          \
  vbl_blk* _unpack_##X(const uint8_t** cursor, const uint8_t* limit, int32_t tag,            \
                       int32_t* err) {                                                       \
    return static_cast<vbl_blk*>(engine::unpack(&X##_desc, cursor, limit, tag, err));        \
  }

QEL_VALUE_TYPE(GeneralizedTime, "GeneralizedTime", 24, 1)
QEL_VALUE_TYPE(IA5String, "IA5String", 22, 1)
QEL_VALUE_TYPE(NumericString, "NumericString", 18,
               check_chars(value, numeric_char, ASN_BAD_NUMERIC, err))
QEL_VALUE_TYPE(OBJECT_ID, "OBJECT IDENTIFIER", 6, 1)
QEL_VALUE_TYPE(OCTET_STRING, "OCTET_STRING", 4, 1)
QEL_VALUE_TYPE(PrintableString, "PrintableString", 19,
               check_chars(value, printable_char, ASN_BAD_PRINTABLE, err))
QEL_VALUE_TYPE(T61String, "T61String", 20, 1)
QEL_VALUE_TYPE(UTCTime, "UTCTime", 23, 1)

// Raw elements: the whole element, tag and length included.

int32_t sizeof_UNDECODED_ASN_BLOCK(vbl_blk* value, int32_t with_header) {
  (void)with_header;
  if (value == nullptr || value->length < 0) return 0;
  return value->length;
}

void _pack_UNDECODED_ASN_BLOCK(uint8_t** cursor, vbl_blk* value, int32_t tag, int32_t* err) {
  (void)tag;
  (void)err;
  if (value == nullptr || cursor == nullptr || *cursor == nullptr) return;
  if (value->length <= 0 || value->bytes == nullptr) return;
  std::memcpy(*cursor, value->bytes, static_cast<size_t>(value->length));
  *cursor += value->length;
}

int32_t decode_UNDECODED_ASN_BLOCK(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit,
                                   int32_t tag, int32_t* err) {
  (void)tag;
  const uint8_t* start = *cursor;
  const Header h = open_element(cursor, limit, kAnyTag, err);
  if (h.outcome != Header::kGood) return 0;
  detail::give_octets(value->bytes, value->length);
  const size_t total = static_cast<size_t>(h.content - start) + h.length;
  value->bytes = detail::take_octets(total);
  if (value->bytes != nullptr) std::memcpy(value->bytes, start, total);
  value->length = static_cast<int32_t>(total);
  *cursor = h.content + h.length;
  return 1;
}

int32_t uip_UNDECODED_ASN_BLOCK(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit,
                                int32_t tag, int32_t* err) {
  return decoder_entry(value, cursor, err) &&
         decode_UNDECODED_ASN_BLOCK(value, cursor, limit, tag, err);
}

vbl_blk* _unpack_UNDECODED_ASN_BLOCK(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                                     int32_t* err) {
  return static_cast<vbl_blk*>(engine::unpack(&UNDECODED_ASN_BLOCK_desc, cursor, limit, tag, err));
}

}  // namespace qel
