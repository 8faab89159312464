// The DER codec runtime: tags and lengths at a moving position, the value
// records of the primitive types, and the result codes every encoder and
// decoder stores.
//
// Conventions shared by every operation:
//  - A cursor is the address of the current position. Reads and writes move
//    the position forward. Decoders read through `const uint8_t**`, encoders
//    write through `uint8_t**`.
//  - `limit` is one past the last octet a decoder may read. No operation of
//    this runtime reads at or beyond it, whatever the input holds.
//  - `err` is the caller's result word: 0 for nothing wrong, one of the
//    negative codes below otherwise. Nothing resets it; the last code wins.
//  - A tag is one octet exactly as on the wire; only the low 8 bits of a tag
//    argument count.
#pragma once

#include <cstddef>
#include <cstdint>

// The library builds with hidden visibility; what its public headers declare
// between push(default) and pop is its exported interface.
#pragma GCC visibility push(default)
namespace qel {

// Result codes stored in the result word.
enum : int32_t {
  ASN_PACK_SHORT = -1,        // fewer octets written than sizeof computed
  ASN_PACK_LONG = -2,         // more octets written than sizeof computed
  ASN_SEQOF_FULL = -3,        // sequence-of count above capacity on encode
  ASN_OUT_NO_CURSOR = -4,     // encoder got a null cursor
  ASN_OUT_NO_POSITION = -5,   // encoder got a null position
  ASN_NO_RECORD = -6,         // decoder got a null record
  ASN_IN_NO_CURSOR = -7,      // decoder got a null cursor
  ASN_IN_NO_POSITION = -8,    // decoder got a null position
  ASN_OVERRUN = -9,           // element runs beyond its limit
  ASN_LEFTOVER = -10,         // octets left inside an element
  ASN_BAD_BOOLEAN = -11,      // BOOLEAN of length other than 1
  ASN_WRAPPER_END = -12,      // explicit wrapper not filled exactly
  ASN_FIELD_FAILED = -13,     // a required field failed
  ASN_BAD_NULL = -14,         // NULL of length other than 0
  ASN_SETOF_FULL = -15,       // set-of count above capacity on encode
  ASN_SETOF_DUPLICATE = -16,  // two set-of elements encode alike
  ASN_NO_MEMORY = -17,        // allocation failed
  ASN_BAD_CHOICE = -50,       // tag is no alternative of the choice
  ASN_BAD_NUMERIC = -60,      // character outside NumericString
  ASN_BAD_PRINTABLE = -61,    // character outside PrintableString
};

// Pseudo tags: passed where a tag argument has nothing to say; never written.
inline constexpr int32_t TAG_CHOICE = 0xFC;
inline constexpr int32_t TAG_DIRNAME = 0xFF;
inline constexpr int32_t TAG_ANY = 0xFE;

// ---------------------------------------------------------------------------
// Tag and length layer.

// Number of octets the DER length field of `length` takes: 1 to 5.
int32_t length_size(uint32_t length);
// Size of a whole element with a one-octet tag and `content_length` octets.
// 0 when the content is empty and the low 16 bits of `force` are 0.
int32_t tagged(int32_t content_length, int32_t force);

// Writers. None checks for room: the caller sized the buffer with sizeof_X.
void put_byte(uint8_t** cursor, int32_t octet);
void put_lth(uint8_t** cursor, uint32_t length);
void put_tag(uint8_t** cursor, int32_t tag, uint32_t length);

// Readers. Each is bounded by `limit`.
// get_byte returns the octet at the position and advances, or -1 (position
// unchanged) when the position is at or beyond `limit`.
int32_t get_byte(const uint8_t** cursor, const uint8_t* limit);
// get_lth reads a length field (short form, or any count of long-form octets
// of which the last four count; 0x80 reads as 0). A field that runs past
// `limit` leaves the position at `limit` and returns LENGTH_PAST_LIMIT,
// which no element can fit, so the caller reports the usual overrun.
inline constexpr uint32_t LENGTH_PAST_LIMIT = 0xFFFFFFFFu;
uint32_t get_lth(const uint8_t** cursor, const uint8_t* limit);
// take_tag: 0 without moving when `cursor` or the position is null, the
// position is at or beyond `limit`, or the octet there is not `tag`.
// Otherwise steps over the tag and returns get_lth of what follows.
uint32_t take_tag(const uint8_t** cursor, int32_t tag, const uint8_t* limit);

// True when `length` octets starting at `position` fit before `limit`;
// immune to address wrap. The one bounds check of the codec: every read
// asks it first.
inline bool fits(const uint8_t* position, uint32_t length, const uint8_t* limit) {
  return position <= limit && length <= static_cast<uint64_t>(limit - position) &&
         length <= 0x7FFF0000u;
}

// The single point every stored code passes through. Does nothing; a place to
// set a breakpoint.
void err_halt(int32_t code);

// Stores `code` in the result word and passes it through err_halt.
inline void set_err(int32_t* err, int32_t code) {
  *err = code;
  err_halt(code);
}

// ---------------------------------------------------------------------------
// Value blocks.

// Content octets of a primitive value, owned by the record.
struct vbl_blk {
  int32_t length;
  uint8_t* bytes;
};

struct BOOLEAN {
  int16_t value;
};

struct ASN_NULL {
  int32_t unused;
};

// Data octets of a BIT STRING. A decoded value keeps the whole content in one
// block with `bytes` one past its start (`offset` 1).
struct BIT_STRING {
  int32_t length;
  uint8_t* bytes;
  int16_t unused_bits;
  int16_t offset;
};

// The value types built on vbl_blk share one record; these aliases name them.
using INTEGER = vbl_blk;
using OBJECT_ID = vbl_blk;
using OCTET_STRING = vbl_blk;
using GeneralizedTime = vbl_blk;
using UTCTime = vbl_blk;
using IA5String = vbl_blk;
using NumericString = vbl_blk;
using PrintableString = vbl_blk;
using T61String = vbl_blk;
using UNDECODED_ASN_BLOCK = vbl_blk;

vbl_blk* new_vbl_blk();
void dip_vbl_blk(vbl_blk* value);
void drop_vbl_blk(vbl_blk* value);
int32_t sizeof_vbl_blk(vbl_blk* value, int32_t with_header);
// Replaces the content with a copy of `size` octets. 0, or -1 for a null
// record or no memory (the record is then empty).
int32_t put_str_val(vbl_blk* value, const uint8_t* data, uint32_t size);

// Shared decoder and encoder of the value types.
int32_t uip_vbl_blk(int32_t tag, const char* type_label, int32_t universal_number, vbl_blk* value,
                    const uint8_t** cursor, const uint8_t* limit, int32_t* err);
void _pack_vbl_blk(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   vbl_blk* value, int32_t* err);

#define QEL_DECLARE_VALUE_TYPE(X)                                                      \
  void _pack_##X(uint8_t** cursor, vbl_blk* value, int32_t tag, int32_t* err);         \
  int32_t uip_##X(vbl_blk* value, const uint8_t** cursor, const uint8_t* limit,        \
                  int32_t tag, int32_t* err);                                          \
  vbl_blk* _unpack_##X(const uint8_t** cursor, const uint8_t* limit, int32_t tag,      \
                       int32_t* err);

QEL_DECLARE_VALUE_TYPE(GeneralizedTime)
QEL_DECLARE_VALUE_TYPE(IA5String)
QEL_DECLARE_VALUE_TYPE(NumericString)
QEL_DECLARE_VALUE_TYPE(OBJECT_ID)
QEL_DECLARE_VALUE_TYPE(OCTET_STRING)
QEL_DECLARE_VALUE_TYPE(PrintableString)
QEL_DECLARE_VALUE_TYPE(T61String)
QEL_DECLARE_VALUE_TYPE(UTCTime)
QEL_DECLARE_VALUE_TYPE(INTEGER)
QEL_DECLARE_VALUE_TYPE(UNDECODED_ASN_BLOCK)

int32_t sizeof_UNDECODED_ASN_BLOCK(vbl_blk* value, int32_t with_header);

// INTEGER: content octets, big-endian two's complement.
int32_t sizeof_INTEGER(vbl_blk* value, int32_t with_header);
void norm_INTEGER(vbl_blk* value);
int32_t get_int_val(const vbl_blk* value);
int32_t put_int_val(vbl_blk* value, int32_t number);

// The seven operations of type X over its record type X.
#define QEL_DECLARE_OPERATIONS(X)                                                        \
  X* new_##X();                                                                          \
  void dip_##X(X* value);                                                                \
  void drop_##X(X* value);                                                               \
  int32_t sizeof_##X(X* value, int32_t with_header);                                     \
  void _pack_##X(uint8_t** cursor, X* value, int32_t tag, int32_t* err);                 \
  int32_t uip_##X(X* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,   \
                  int32_t* err);                                                         \
  X* _unpack_##X(const uint8_t** cursor, const uint8_t* limit, int32_t tag, int32_t* err);

// BOOLEAN, ASN_NULL and BIT_STRING have record operations of their own.
QEL_DECLARE_OPERATIONS(BOOLEAN)
QEL_DECLARE_OPERATIONS(ASN_NULL)
QEL_DECLARE_OPERATIONS(BIT_STRING)

int32_t put_bit_string(BIT_STRING* value, const uint8_t* data, uint32_t size, int32_t unused);

// ---------------------------------------------------------------------------
// Trace of primitive values, to standard error. The two settings are the
// calling thread's own; each thread starts with both at 0.

extern thread_local constinit int32_t trace_level;
extern thread_local constinit int32_t globalDebugLevel;
int32_t trace_prim(const uint8_t* bytes, int32_t count, int32_t indent);

}  // namespace qel
#pragma GCC visibility pop
