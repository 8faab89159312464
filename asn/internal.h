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

// ---------------------------------------------------------------------------
// Writing, inline where the compiled operations size and encode: the bodies
// of length_size, tagged and put_tag.
inline int32_t length_octets(uint32_t length) {
  if (length < 0x80u) return 1;
  if (length < 0x100u) return 2;
  if (length < 0x10000u) return 3;
  if (length < 0x1000000u) return 4;
  return 5;
}
inline int32_t element_size(int32_t content_length, int32_t force) {
  if (content_length == 0 && (force & 0xFFFF) == 0) return 0;
  const uint32_t n = static_cast<uint32_t>(content_length);
  return static_cast<int32_t>(n + static_cast<uint32_t>(length_octets(n)) + 1u);
}
inline void write_header(uint8_t** cursor, int32_t tag, uint32_t length) {
  uint8_t* p = *cursor;
  *p++ = static_cast<uint8_t>(tag);
  if (length < 0x80u) {
    *p++ = static_cast<uint8_t>(length);
  } else {
    const int n = length_octets(length) - 1;
    *p++ = static_cast<uint8_t>(0x80 | n);
    for (int i = n - 1; i >= 0; --i) *p++ = static_cast<uint8_t>(length >> (8 * i));
  }
  *cursor = p;
}

// Value blocks, inline where the compiled operations reach them: new_vbl_blk,
// dip_vbl_blk and drop_vbl_blk.
inline vbl_blk* make_value() { return Pool<vbl_blk>::take(); }
inline void release_value(vbl_blk* value) {
  if (value == nullptr) return;
  detail::give_octets(value->bytes, value->length);
  value->bytes = nullptr;
}
inline void drop_value(vbl_blk* value) {
  if (value == nullptr) return;
  release_value(value);
  Pool<vbl_blk>::give(value);
}
inline int32_t value_size(vbl_blk* value, int32_t with_header) {
  if (value == nullptr) return 0;
  const int32_t length = value->length > 0 ? value->length : 0;
  if ((with_header & 0xFFFF) == 0) return length;
  return element_size(length, 1);
}
// _pack_vbl_blk without its extra octet: tag, length, content. A record
// whose bytes are missing writes its header only, which the enclosing length
// check reports.
inline void value_pack(uint8_t** cursor, vbl_blk* value, int32_t tag, int32_t* err) {
  if (value == nullptr) return;
  if (cursor == nullptr) return set_err(err, ASN_OUT_NO_CURSOR);
  if (*cursor == nullptr) return set_err(err, ASN_OUT_NO_POSITION);
  const uint32_t n = value->length > 0 ? static_cast<uint32_t>(value->length) : 0;
  write_header(cursor, tag, n);
  if (n > 0 && value->bytes != nullptr) {
    std::memcpy(*cursor, value->bytes, n);
    *cursor += n;
  }
}

// ---------------------------------------------------------------------------
// Reading. Every octet a decoder reads is reached through step or peek, and
// both ask fits whether it lies before the limit: that is the one bounds
// check of the codec.

// The position of `n` octets that lie before `limit`, `pos` moved past them;
// null, with `pos` unchanged, when they do not fit.
inline const uint8_t* step(const uint8_t*& pos, uint32_t n, const uint8_t* limit) {
  if (!fits(pos, n, limit)) return nullptr;
  const uint8_t* at = pos;
  pos += n;
  return at;
}

// The octet at `pos` without moving, or null at or beyond `limit`.
inline const uint8_t* peek(const uint8_t* pos, const uint8_t* limit) {
  return fits(pos, 1, limit) ? pos : nullptr;
}

// Long form of a length field whose first octet announced `count` octets.
// False, `pos` at `limit`, when they run past it.
bool read_long_length(uint32_t count, const uint8_t*& pos, const uint8_t* limit,
                      uint32_t& length);

// A length field at `pos`, `pos` moved past it. Short lengths, nearly all of
// them, are read here without a call. False when the field runs past `limit`.
inline bool read_length(const uint8_t*& pos, const uint8_t* limit, uint32_t& length) {
  const uint8_t* first = step(pos, 1, limit);
  if (first == nullptr) return false;
  if (*first < 0x80) {
    length = *first;
    return true;
  }
  return read_long_length(*first & 0x7Fu, pos, limit, length);
}

// Copies n > 0 octets. Most values are a few to sixteen octets: those are
// copied inline, in two overlapping words where they fill one.
inline __attribute__((always_inline)) void copy_octets(uint8_t* to, const uint8_t* from,
                                                      uint32_t n) {
  if (n - 1 < 3) {
    to[0] = from[0];
    to[n / 2] = from[n / 2];
    to[n - 1] = from[n - 1];
  } else if (n < 8) {
    uint32_t a, b;
    std::memcpy(&a, from, 4);
    std::memcpy(&b, from + n - 4, 4);
    std::memcpy(to, &a, 4);
    std::memcpy(to + n - 4, &b, 4);
  } else if (n <= 16) {
    uint64_t a, b;
    std::memcpy(&a, from, 8);
    std::memcpy(&b, from + n - 8, 8);
    std::memcpy(to, &a, 8);
    std::memcpy(to + n - 8, &b, 8);
  } else {
    std::memcpy(to, from, n);
  }
}

inline constexpr int32_t kAnyTag = -1;
inline constexpr uint32_t kAnyLength = 0xFFFFFFFFu;
// As `outer`: the content is not held against any bound.
inline constexpr const uint8_t* kUnbounded = nullptr;

// The header of one element.
struct Header {
  enum Outcome : uint8_t {
    kNotHere,  // the position at `limit`, or another tag
    kRefused,  // a length other than the fixed one asked for
    kOverrun,  // the length field runs past `limit`, or the content past `outer`
    kGood,
  } outcome;
  uint8_t tag = 0;
  // Behind the length field (at `limit` when the field was cut off) and the
  // length read (LENGTH_PAST_LIMIT when cut off); set for every outcome but
  // kNotHere.
  const uint8_t* content = nullptr;
  uint32_t length = 0;
};

// Reads the header of the element at `pos`: its tag (`tag`, or with kAnyTag
// whatever stands there), then its length field, both before `limit`; then,
// unless `outer` is kUnbounded, whether the content ends at or before
// `outer`. Almost every caller passes `limit` as `outer`; a wrapped choice
// alternative in a list passes the bound the list itself was given. With
// `fixed_length` set, any other length is refused (a cut-off field is an
// overrun all the same). Nothing is stored and nothing moves.
inline Header read_header(const uint8_t* pos, const uint8_t* limit, int32_t tag,
                          const uint8_t* outer, uint32_t fixed_length = kAnyLength) {
  const uint8_t* at = step(pos, 1, limit);
  if (at == nullptr || (tag != kAnyTag && *at != static_cast<uint8_t>(tag)))
    return Header{.outcome = Header::kNotHere};
  uint32_t n = 0;
  if (!read_length(pos, limit, n))
    return Header{
        .outcome = Header::kOverrun, .tag = *at, .content = limit, .length = LENGTH_PAST_LIMIT};
  Header h{.outcome = Header::kGood, .tag = *at, .content = pos, .length = n};
  if (fixed_length != kAnyLength && n != fixed_length) h.outcome = Header::kRefused;
  else if (outer != kUnbounded && !fits(pos, n, outer)) h.outcome = Header::kOverrun;
  return h;
}

// Closing step of sequences and lists: where the position stands against end.
inline void check_end(const uint8_t* pos, const uint8_t* end, int32_t* err) {
  if (!fits(pos, 0, end)) set_err(err, ASN_OVERRUN);
  else if (pos != end) set_err(err, ASN_LEFTOVER);
}

// Stores -9 and moves the position to `limit`: what a decoder does when its
// element overruns.
inline void report_overrun(const uint8_t** cursor, const uint8_t* limit, int32_t* err) {
  set_err(err, ASN_OVERRUN);
  *cursor = limit;
}

// The first step of a decoder: reads the header at the position against
// `limit` and, when it is good, moves the position to the content. An
// overrun is reported; a refused length stores `bad_length` and leaves the
// position at the tag.
inline Header open_element(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                           int32_t* err, uint32_t fixed_length = kAnyLength,
                           int32_t bad_length = 0) {
  const Header h = read_header(*cursor, limit, tag, limit, fixed_length);
  if (h.outcome == Header::kGood) *cursor = h.content;
  else if (h.outcome == Header::kOverrun) report_overrun(cursor, limit, err);
  else if (h.outcome == Header::kRefused) set_err(err, bad_length);
  return h;
}

// The checks made once where a decoder is entered from outside. Below the
// entry neither the cursor, the position nor `err` can be null, and records
// made on the way are tested where they are made.
// position_usable: false, -7 or -8 stored, for a null cursor or position.
inline bool position_usable(const uint8_t** cursor, int32_t* err) {
  if (cursor == nullptr) return set_err(err, ASN_IN_NO_CURSOR), false;
  if (*cursor == nullptr) return set_err(err, ASN_IN_NO_POSITION), false;
  return true;
}
// decoder_entry: false when `err` is null; for a null record -6 comes first.
inline bool decoder_entry(const void* value, const uint8_t** cursor, int32_t* err) {
  if (err == nullptr) return false;
  if (value == nullptr) return set_err(err, ASN_NO_RECORD), false;
  return position_usable(cursor, err);
}

// The decoders of the primitives below the entry checks; their descriptors
// point here.
#define QEL_DECLARE_DECODER(X) \
  int32_t decode_##X(X* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag, \
                     int32_t* err);
QEL_PRIMITIVE_TYPES(QEL_DECLARE_DECODER)
#undef QEL_DECLARE_DECODER

int32_t decode_octets(int32_t tag, int32_t& length, uint8_t*& bytes, const uint8_t** cursor,
                      const uint8_t* limit, int32_t* err);
void encode_octets(int32_t tag, int16_t extra, int32_t extra_octet, uint8_t** cursor,
                   int32_t length, const uint8_t* bytes, int32_t* err);

}  // namespace qel
