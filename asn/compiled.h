// Decoders and releases compiled from the tables; not part of the API.
//
// QEL_SEQUENCE hands each sequence's table to CompiledSequence, which
// unrolls the generic sequence's steps over the fields at compile time:
// forms, tags, offsets and flags become constants and the loop, the switch
// over forms and the table reads are gone. QEL_SEQUENCE_OF, QEL_SET_OF and
// QEL_CHOICE do the same with CompiledList and CompiledChoice. The steps and
// their order are the generic engine's (asn/engine.cpp), which still serves
// sizing and encoding. Where a field's type is a primitive its operations
// are called directly; any other type is reached through its descriptor as
// before.
// Included by the files that hold the tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "asn/engine.h"
#include "asn/internal.h"

namespace qel {

// Adapts a primitive's typed operations to the engine's untyped ones. The
// decoder is the one below the entry checks: the engine made those already.
template <class R, R* (*New)(), void (*Dip)(R*), void (*Drop)(R*), int32_t (*Size)(R*, int32_t),
          void (*Pack)(uint8_t**, R*, int32_t, int32_t*),
          int32_t (*Uip)(R*, const uint8_t**, const uint8_t*, int32_t, int32_t*)>
struct Adapt {
  static void* make(const TypeDesc*) { return New(); }
  static void dip(const TypeDesc*, void* v) { Dip(static_cast<R*>(v)); }
  static void drop(const TypeDesc*, void* v) { Drop(static_cast<R*>(v)); }
  static int32_t size(const TypeDesc*, void* v, int32_t h) { return Size(static_cast<R*>(v), h); }
  static void pack(const TypeDesc*, uint8_t** c, void* v, int32_t tag, int32_t* err) {
    Pack(c, static_cast<R*>(v), tag, err);
  }
  static int32_t uip(const TypeDesc*, void* v, const uint8_t** c, const uint8_t* limit,
                     const uint8_t*, int32_t tag, int32_t* err) {
    return Uip(static_cast<R*>(v), c, limit, tag, err);
  }
  static constexpr TypeOps ops{
      .make = make, .dip = dip, .drop = drop, .size = size, .pack = pack, .uip = uip};
};

#define QEL_VALUE_OPS(X, SIZE, PACK) \
  Adapt<vbl_blk, make_value, release_value, drop_value, SIZE, PACK, decode_##X>::ops
#define QEL_RECORD_OPS(X) \
  Adapt<X, new_##X, dip_##X, drop_##X, sizeof_##X, _pack_##X, decode_##X>::ops

namespace engine {

// The operations of a type where they are known at compile time (the
// primitives'), else null.
// (A flag of its own: some compilers will not compare such an address with
// null at compile time.)
template <const TypeDesc* T>
inline constexpr const TypeOps* known_ops = nullptr;
template <const TypeDesc* T>
inline constexpr bool has_known_ops = false;

#define QEL_KNOWN_OPS(X, OPS)                                         \
  template <>                                                         \
  inline constexpr const TypeOps* known_ops<&X##_desc> = &(OPS);      \
  template <>                                                         \
  inline constexpr bool has_known_ops<&X##_desc> = true;
QEL_KNOWN_OPS(OBJECT_ID, QEL_VALUE_OPS(OBJECT_ID, value_size, value_pack))
QEL_KNOWN_OPS(OCTET_STRING, QEL_VALUE_OPS(OCTET_STRING, value_size, value_pack))
QEL_KNOWN_OPS(GeneralizedTime, QEL_VALUE_OPS(GeneralizedTime, value_size, value_pack))
QEL_KNOWN_OPS(UTCTime, QEL_VALUE_OPS(UTCTime, value_size, value_pack))
QEL_KNOWN_OPS(IA5String, QEL_VALUE_OPS(IA5String, value_size, value_pack))
QEL_KNOWN_OPS(NumericString, QEL_VALUE_OPS(NumericString, value_size, value_pack))
QEL_KNOWN_OPS(PrintableString, QEL_VALUE_OPS(PrintableString, value_size, value_pack))
QEL_KNOWN_OPS(T61String, QEL_VALUE_OPS(T61String, value_size, value_pack))
QEL_KNOWN_OPS(BOOLEAN, QEL_RECORD_OPS(BOOLEAN))
QEL_KNOWN_OPS(ASN_NULL, QEL_RECORD_OPS(ASN_NULL))
QEL_KNOWN_OPS(BIT_STRING, QEL_RECORD_OPS(BIT_STRING))
QEL_KNOWN_OPS(INTEGER, QEL_VALUE_OPS(INTEGER, sizeof_INTEGER, _pack_INTEGER))
QEL_KNOWN_OPS(UNDECODED_ASN_BLOCK, QEL_VALUE_OPS(UNDECODED_ASN_BLOCK, sizeof_UNDECODED_ASN_BLOCK,
                                              _pack_UNDECODED_ASN_BLOCK))
#undef QEL_KNOWN_OPS

// The primitives whose decoder is decode_octets and nothing more.
template <const TypeDesc* T>
inline constexpr bool plain_octets = false;
#define QEL_PLAIN_OCTETS(X) \
  template <>               \
  inline constexpr bool plain_octets<&X##_desc> = true;
QEL_PLAIN_OCTETS(INTEGER)
QEL_PLAIN_OCTETS(OBJECT_ID)
QEL_PLAIN_OCTETS(OCTET_STRING)
QEL_PLAIN_OCTETS(GeneralizedTime)
QEL_PLAIN_OCTETS(UTCTime)
QEL_PLAIN_OCTETS(IA5String)
QEL_PLAIN_OCTETS(T61String)
#undef QEL_PLAIN_OCTETS

// The common case of decode_octets, without a call: a record that holds no
// block, the tag asked for, a one-octet length field, 1 to 127 octets of
// content before `limit`, a kept block of their class, no trace and no
// failing allocation under test. It ends as decode_octets would; false, with
// nothing touched, for anything else.
inline __attribute__((always_inline)) bool decode_octets_inline(vbl_blk* value,
                                                                const uint8_t** cursor,
                                                                const uint8_t* limit,
                                                                int32_t tag) {
  const uint8_t* p = *cursor;
  if (p > limit || limit - p < 2 || p[0] != static_cast<uint8_t>(tag)) return false;
  const uint32_t n = p[1];
  if (n - 1 >= 0x7Fu || static_cast<uint64_t>(limit - p) - 2 < n) return false;
  if (value->bytes != nullptr || detail::test_hook_fail_nth_allocation != 0 ||
      globalDebugLevel > 0)
    return false;
  detail::SmallCache& c = detail::hot_caches.octets;
  const size_t k = detail::class_of(n);
  if (c.heads[k] == nullptr) return false;
  auto* bytes = static_cast<uint8_t*>(detail::pop_small(c, k));
  copy_octets(bytes, p + 2, n);
  value->bytes = bytes;
  value->length = static_cast<int32_t>(n);
  *cursor = p + 2 + n;
  return true;
}

// The generic pieces the compiled operations share (asn/engine.cpp).
int32_t seq_size(const TypeDesc* d, void* v, int32_t with_header);
void seq_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err);
void* unpack_at(const TypeDesc* d, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                int32_t* err);
int32_t list_size(const TypeDesc* d, void* v, int32_t with_header);
void list_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err);
int32_t choice_size(const TypeDesc* d, void* v, int32_t with_header);
void choice_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err);
void* constructed_make(const TypeDesc* d);
void constructed_drop(const TypeDesc* d, void* v);

// The encoder's size memo (asn/engine.cpp): content sizes of constructed
// records, remembered while an outermost encoder runs.
bool memo_find(const TypeDesc* d, const void* v, int32_t& size);
void memo_put(const TypeDesc* d, const void* v, int32_t size);

// Content size of a constructed record through the memo.
template <class Compute>
inline __attribute__((always_inline)) int32_t remembered(const TypeDesc* d, void* v,
                                                         Compute compute) {
  int32_t content = 0;
  if (memo_find(d, v, content)) return content;
  content = compute();
  memo_put(d, v, content);
  return content;
}

// Compares what an encoder wrote with what it announced.
inline void check_written(const uint8_t* start, const uint8_t* now, int32_t expected,
                          int32_t* err) {
  const int64_t written = now - start;
  if (written < expected) set_err(err, ASN_PACK_SHORT);
  else if (written > expected) set_err(err, ASN_PACK_LONG);
}

inline bool cursor_usable(uint8_t** cursor, int32_t* err) {
  if (cursor == nullptr) return set_err(err, ASN_OUT_NO_CURSOR), false;
  if (*cursor == nullptr) return set_err(err, ASN_OUT_NO_POSITION), false;
  return true;
}

#define QEL_ALWAYS_INLINE inline __attribute__((always_inline))

// The operations of type T: direct where known, else through its descriptor.
template <const TypeDesc* T>
struct Op {
  static constexpr const TypeOps* known = known_ops<T>;
  static constexpr bool is_known = has_known_ops<T>;
  static QEL_ALWAYS_INLINE void* make() {
    if constexpr (is_known) return known->make(T);
    else return T->ops->make(T);
  }
  static QEL_ALWAYS_INLINE void dip(void* v) {
    if constexpr (is_known) known->dip(T, v);
    else T->ops->dip(T, v);
  }
  static QEL_ALWAYS_INLINE void drop(void* v) {
    if constexpr (is_known) known->drop(T, v);
    else T->ops->drop(T, v);
  }
  static QEL_ALWAYS_INLINE int32_t uip(void* v, const uint8_t** c, const uint8_t* limit,
                                       const uint8_t* outer, int32_t tag, int32_t* err) {
    if constexpr (plain_octets<T>)
      if (decode_octets_inline(static_cast<vbl_blk*>(v), c, limit, tag)) return 1;
    if constexpr (is_known) return known->uip(T, v, c, limit, outer, tag, err);
    else return T->ops->uip(T, v, c, limit, outer, tag, err);
  }
  static QEL_ALWAYS_INLINE int32_t size(void* v, int32_t with_header) {
    if constexpr (is_known) return known->size(T, v, with_header);
    else return T->ops->size(T, v, with_header);
  }
  static QEL_ALWAYS_INLINE void pack(uint8_t** c, void* v, int32_t tag, int32_t* err) {
    if constexpr (is_known) known->pack(T, c, v, tag, err);
    else T->ops->pack(T, c, v, tag, err);
  }
  // unpack_at of engine.cpp for this type.
  static QEL_ALWAYS_INLINE void* unpack(const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                                        int32_t* err) {
    if constexpr (!is_known) {
      return unpack_at(T, cursor, limit, tag, err);
    } else {
      const uint8_t* at = peek(*cursor, limit);
      if (at == nullptr) return nullptr;
      if ((T->flags & TYPE_ANY_TAG) == 0 && *at != static_cast<uint8_t>(tag)) return nullptr;
      void* record = make();
      if (record == nullptr) return set_err(err, ASN_NO_RECORD), nullptr;
      if (uip(record, cursor, limit, limit, tag, err)) return record;
      drop(record);
      return nullptr;
    }
  }
};

template <class Table>
struct CompiledSequence {
  using R = typename Table::R;
  static constexpr const auto& fields = Table::fields;
  static constexpr uint32_t count = static_cast<uint32_t>(std::size(fields));
  // One past the last required field: from there on the end is tested first.
  static constexpr uint32_t trailing = [] {
    uint32_t t = 0;
    for (uint32_t i = 0; i < count; ++i)
      if (!is_optional(fields[i])) t = i + 1;
    return t;
  }();

  static QEL_ALWAYS_INLINE void* member(void* v, uint32_t offset) {
    return static_cast<char*>(v) + offset;
  }
  static QEL_ALWAYS_INLINE void*& pointer(void* v, uint32_t offset) {
    return *static_cast<void**>(member(v, offset));
  }

  // seq_field of engine.cpp for field I.
  template <uint32_t I>
  static QEL_ALWAYS_INLINE void field(void* v, const uint8_t** cursor, const uint8_t* end,
                                      int32_t* err, int32_t& result) {
    constexpr const FieldDesc& f = fields[I];
    using T = Op<f.type>;
    const int32_t tag = tag_or_own(f.tag, f.type);
    if constexpr (f.form == Form::Inline) {
      if constexpr ((f.flags & FIELD_MAYBE_ABSENT) != 0) {
        const int32_t saved = *err;
        T::uip(member(v, f.offset), cursor, end, end, tag, err);
        *err = saved;
      } else {
        result &= T::uip(member(v, f.offset), cursor, end, end, tag, err);
      }
    } else if constexpr (f.form == Form::Optional) {
      void*& p = pointer(v, f.offset);
      if (p != nullptr) T::drop(p);
      p = T::unpack(cursor, end, tag, err);
    } else {
      const Header w = read_header(*cursor, end, f.wrapper, kUnbounded);
      if (w.outcome == Header::kNotHere) return;
      if (w.outcome == Header::kOverrun) return report_overrun(cursor, end, err);
      *cursor = w.content;
      if (w.length == 0) return;
      if constexpr (f.form == Form::ExplicitInline) {
        result &= T::uip(member(v, f.offset), cursor, end, end, tag, err);
      } else {
        void*& p = pointer(v, f.offset);
        T::drop(p);
        p = T::unpack(cursor, end, tag, err);
      }
      if (static_cast<uint64_t>(*cursor - w.content) != w.length) set_err(err, ASN_WRAPPER_END);
    }
  }

  // Fields I.. on; false when the end came before a trailing field.
  template <uint32_t I>
  static QEL_ALWAYS_INLINE bool fields_from(void* v, const uint8_t** cursor, const uint8_t* end,
                                            int32_t* err, int32_t& result) {
    if constexpr (I == count) {
      return true;
    } else {
      if constexpr (I >= trailing)
        if (peek(*cursor, end) == nullptr) return false;
      field<I>(v, cursor, end, err, result);
      return fields_from<I + 1>(v, cursor, end, err, result);
    }
  }

  static int32_t uip(const TypeDesc*, void* v, const uint8_t** cursor, const uint8_t* limit,
                     const uint8_t*, int32_t tag, int32_t* err) {
    const Header h = open_element(cursor, limit, tag, err);
    if (h.outcome != Header::kGood) return 0;
    const uint8_t* end = h.content + h.length;
    int32_t result = 1;
    if (!fields_from<0>(v, cursor, end, err, result)) return result;
    if (trailing != 0 && result == 0) set_err(err, ASN_FIELD_FAILED);
    check_end(*cursor, end, err);
    return result;
  }

  template <uint32_t I>
  static QEL_ALWAYS_INLINE void dip_field(void* v) {
    constexpr const FieldDesc& f = fields[I];
    if constexpr (f.form == Form::Inline || f.form == Form::ExplicitInline) {
      Op<f.type>::dip(member(v, f.offset));
    } else {
      void*& p = pointer(v, f.offset);
      Op<f.type>::drop(p);
      p = nullptr;
    }
  }

  static void dip(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    [v]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
      (dip_field<I>(v), ...);
    }(std::make_integer_sequence<uint32_t, count>{});
  }

  static void* make(const TypeDesc*) { return detail::take_record(sizeof(R)); }

  static void drop(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    dip(nullptr, v);
    detail::give_record(v, sizeof(R), sizeof(R));
  }

  // The member a field's operations work on: the embedded record, or the
  // pointer held (null when absent).
  template <uint32_t I>
  static QEL_ALWAYS_INLINE void* value_of(void* v) {
    constexpr const FieldDesc& f = fields[I];
    if constexpr (f.form == Form::Inline || f.form == Form::ExplicitInline) return member(v, f.offset);
    else return pointer(v, f.offset);
  }

  // Whether field I takes part in sizing and packing.
  template <uint32_t I>
  static QEL_ALWAYS_INLINE bool present(void* m) {
    if (m == nullptr) return false;
    if constexpr ((fields[I].flags & FIELD_MAYBE_ABSENT) != 0)
      return static_cast<void**>(m)[1] != nullptr;  // the choice's value
    else return true;
  }

  static constexpr bool is_explicit(const FieldDesc& f) {
    return f.form == Form::ExplicitInline || f.form == Form::ExplicitOptional;
  }

  template <uint32_t I>
  static QEL_ALWAYS_INLINE uint32_t field_size(void* v) {
    constexpr const FieldDesc& f = fields[I];
    void* m = value_of<I>(v);
    if (!present<I>(m)) return 0;
    const int32_t inner = Op<f.type>::size(m, 1);
    if constexpr (!is_explicit(f)) return static_cast<uint32_t>(inner);
    else return static_cast<uint32_t>(element_size(inner, (f.flags & FIELD_WRAPPER_FORCED) ? 1 : 0));
  }

  static int32_t size(const TypeDesc* d, void* v, int32_t with_header) {
    if (v == nullptr) return 0;
    const int32_t content = remembered(d, v, [v] {
      return [v]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
        return static_cast<int32_t>((0u + ... + field_size<I>(v)));
      }(std::make_integer_sequence<uint32_t, count>{});
    });
    return (with_header & 0xFFFF) != 0 ? element_size(content, 1) : content;
  }

  template <uint32_t I>
  static QEL_ALWAYS_INLINE void pack_field(uint8_t** cursor, void* v, int32_t* err) {
    constexpr const FieldDesc& f = fields[I];
    using T = Op<f.type>;
    void* m = value_of<I>(v);
    if (!present<I>(m)) return;
    if constexpr (is_explicit(f)) {
      // The wrapper goes out exactly when sizing counted it.
      const int32_t inner = T::size(m, 1);
      if (element_size(inner, (f.flags & FIELD_WRAPPER_FORCED) ? 1 : 0) == 0) return;
      write_header(cursor, f.wrapper, static_cast<uint32_t>(inner));
    }
    T::pack(cursor, m, tag_or_own(f.tag, f.type), err);
  }

  static void pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err) {
    if (v == nullptr || !cursor_usable(cursor, err)) return;
    const int32_t content = size(d, v, 0);
    write_header(cursor, tag, static_cast<uint32_t>(content));
    const uint8_t* start = *cursor;
    [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
      (pack_field<I>(cursor, v, err), ...);
    }(std::make_integer_sequence<uint32_t, count>{});
    check_written(start, *cursor, content, err);
  }

  static constexpr TypeOps ops{
      .make = make, .dip = dip, .drop = drop, .size = size, .pack = pack, .uip = uip};
};

// The generic list's steps over a list record X of element type E.
template <class X, const TypeDesc* E, uint8_t ElementTag>
struct CompiledList {
  static constexpr uint32_t capacity = static_cast<uint32_t>(std::extent_v<decltype(X::items)>);
  using Element = Op<E>;

  static QEL_ALWAYS_INLINE X& list(void* v) { return *static_cast<X*>(v); }
  static QEL_ALWAYS_INLINE void** items(void* v) {
    return reinterpret_cast<void**>(list(v).items);
  }

  // Releases the element records in slots from `first` on. Slots are filled
  // from the front, so the first empty slot ends the scan.
  static QEL_ALWAYS_INLINE void release_from(void* v, int32_t first) {
    void** at = items(v);
    for (uint32_t i = static_cast<uint32_t>(first); i < capacity && at[i] != nullptr; ++i) {
      Element::drop(at[i]);
      at[i] = nullptr;
    }
  }

  static int32_t uip(const TypeDesc*, void* v, const uint8_t** cursor, const uint8_t* limit,
                     const uint8_t*, int32_t tag, int32_t* err) {
    const Header h = open_element(cursor, limit, tag, err);
    if (h.outcome != Header::kGood) {
      if (h.outcome == Header::kOverrun) {
        release_from(v, 0);
        list(v).count = -1;
      }
      return 0;
    }
    const uint8_t* end = h.content + h.length;
    void** at = items(v);
    int32_t& count = list(v).count;
    const int32_t element_tag = tag_or_own(ElementTag, E);
    count = 0;
    for (uint32_t i = 0; i < capacity && peek(*cursor, end) != nullptr; ++i) {
      if (at[i] == nullptr) at[i] = Element::make();
      if (at[i] == nullptr) {
        set_err(err, ASN_NO_RECORD);
        break;
      }
      // Every element is handed the list's own limit as its outer bound.
      if (!Element::uip(at[i], cursor, end, limit, element_tag, err)) break;
      count = static_cast<int32_t>(i + 1);
    }
    // A failed element and records left from an earlier decode are released
    // now, so that every record held lies below count.
    release_from(v, count);
    check_end(*cursor, end, err);
    return 1;
  }

  static void dip(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    void** at = items(v);
    const int32_t n = held(list(v));
    for (int32_t i = 0; i < n; ++i) {
      Element::drop(at[i]);
      at[i] = nullptr;
    }
  }

  static void* make(const TypeDesc*) { return detail::take_record(sizeof(X)); }

  // After its release a list record holds nothing but its count: every slot
  // below the count was emptied, and none above it was ever filled.
  static void drop(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    dip(nullptr, v);
    detail::give_record(v, sizeof(X), offsetof(X, items));
  }

  static QEL_ALWAYS_INLINE int32_t clamped(void* v) {
    const int32_t n = list(v).count;
    return n <= 0 ? 0 : static_cast<uint32_t>(n) > capacity ? static_cast<int32_t>(capacity) : n;
  }

  static int32_t size(const TypeDesc* d, void* v, int32_t with_header) {
    if (v == nullptr) return 0;
    const int32_t content = remembered(d, v, [v] {
      void** at = items(v);
      const int32_t n = clamped(v);
      uint32_t sum = 0;
      for (int32_t i = 0; i < n; ++i) sum += static_cast<uint32_t>(Element::size(at[i], 1));
      return static_cast<int32_t>(sum);
    });
    return (with_header & 0xFFFF) != 0 ? element_size(content, 1) : content;
  }

  // A set of two or more elements is sorted by the generic encoder.
  static void pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err) {
    if (d->shape == Shape::SetOf && v != nullptr && list(v).count > 1)
      return list_pack(d, cursor, v, tag, err);
    if (v == nullptr || !cursor_usable(cursor, err)) return;
    if (list(v).count > static_cast<int32_t>(capacity)) {
      set_err(err, d->shape == Shape::SetOf ? ASN_SETOF_FULL : ASN_SEQOF_FULL);
      return;
    }
    const int32_t content = size(d, v, 0);
    write_header(cursor, tag, static_cast<uint32_t>(content));
    const uint8_t* start = *cursor;
    void** at = items(v);
    const int32_t n = clamped(v);
    const int32_t element_tag = tag_or_own(ElementTag, E);
    for (int32_t i = 0; i < n; ++i) Element::pack(cursor, at[i], element_tag, err);
    check_written(start, *cursor, content, err);
  }

  static constexpr TypeOps ops{
      .make = make, .dip = dip, .drop = drop, .size = size, .pack = pack, .uip = uip};
};

// The generic choice's steps over a choice record X with alternatives Alts.
template <class X, const auto& Alts>
struct CompiledChoice {
  static constexpr uint32_t count = static_cast<uint32_t>(std::size(Alts));

  struct Head {
    uint8_t tag;
    void* value;
  };
  static QEL_ALWAYS_INLINE Head& head(void* v) { return *static_cast<Head*>(v); }

  template <uint32_t I>
  static QEL_ALWAYS_INLINE bool is(uint8_t tag) {
    return tag_or_own(Alts[I].tag, Alts[I].type) == tag;
  }

  // Releases the alternative held and leaves the record as new.
  template <uint32_t I>
  static QEL_ALWAYS_INLINE void dip_alt(Head& c) {
    Op<Alts[I].type>::drop(c.value);
    c.value = nullptr;
    c.tag = 0;
  }

  static void dip(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    Head& c = head(v);
    const uint8_t tag = c.tag;
    // The first alternative of the tag, as find_alt.
    [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
      (void)((is<I>(tag) && (dip_alt<I>(c), true)) || ...);
    }(std::make_integer_sequence<uint32_t, count>{});
  }

  template <uint32_t I>
  static QEL_ALWAYS_INLINE int32_t uip_alt(void* v, uint8_t octet, const uint8_t** cursor,
                                           const uint8_t* limit, const uint8_t* outer,
                                           int32_t* err) {
    constexpr const AltDesc& alt = Alts[I];
    using T = Op<alt.type>;
    Head& c = head(v);
    if (c.value != nullptr) dip(nullptr, v);  // a fresh record holds nothing to release
    c.tag = octet;
    if constexpr ((alt.flags & ALT_WRAPPED) != 0) {
      const Header w = read_header(*cursor, limit, octet, outer);
      if (w.outcome == Header::kOverrun) return report_overrun(cursor, limit, err), 0;
      *cursor = w.content;
      if (w.length == 0) return 0;
      const uint8_t* wrapper_end = w.content + w.length;
      c.value = T::unpack(cursor, wrapper_end, tag_or_own(alt.inner_tag, alt.type), err);
      if (c.value == nullptr) return 0;
      if (*cursor != wrapper_end) return set_err(err, ASN_WRAPPER_END), 0;
      return 1;
    } else {
      c.value = T::make();
      if (c.value == nullptr) return set_err(err, ASN_NO_MEMORY), 0;
      return T::uip(c.value, cursor, limit, limit, octet, err);
    }
  }

  static int32_t uip(const TypeDesc*, void* v, const uint8_t** cursor, const uint8_t* limit,
                     const uint8_t* outer, int32_t, int32_t* err) {
    const uint8_t* at = peek(*cursor, limit);
    if (at == nullptr) return 0;
    const uint8_t octet = *at;
    int32_t result = 0;
    const bool found = [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
      return ((is<I>(octet) && (result = uip_alt<I>(v, octet, cursor, limit, outer, err), true)) ||
              ...);
    }(std::make_integer_sequence<uint32_t, count>{});
    if (!found) return set_err(err, ASN_BAD_CHOICE), 0;
    return result;
  }

  static void* make(const TypeDesc*) { return detail::take_record(sizeof(X)); }

  static void drop(const TypeDesc*, void* v) {
    if (v == nullptr) return;
    dip(nullptr, v);
    detail::give_record(v, sizeof(X), sizeof(X));
  }

  // Calls `f` with the index of the first alternative of `tag`, as
  // find_alt; false when there is none.
  template <class F>
  static QEL_ALWAYS_INLINE bool with_alt(uint8_t tag, F f) {
    return [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) {
      return ((is<I>(tag) && (f(std::integral_constant<uint32_t, I>{}), true)) || ...);
    }(std::make_integer_sequence<uint32_t, count>{});
  }

  static int32_t size(const TypeDesc* d, void* v, int32_t with_header) {
    if (v == nullptr) return 0;
    const int32_t content = remembered(d, v, [v] {
      Head& c = head(v);
      int32_t inner = 0;
      with_alt(c.tag, [&](auto i) {
        constexpr const AltDesc& alt = Alts[decltype(i)::value];
        inner = Op<alt.type>::size(c.value, (alt.flags & ALT_WRAPPED) ? 1 : 0);
      });
      return inner;
    });
    return (with_header & 0xFFFF) != 0 ? element_size(content, 1) : content;
  }

  static void pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t, int32_t* err) {
    if (v == nullptr || !cursor_usable(cursor, err)) return;
    Head& c = head(v);
    const int32_t expected = size(d, v, 1);
    const uint8_t* start = *cursor;
    const bool found = with_alt(c.tag, [&](auto i) {
      constexpr const AltDesc& alt = Alts[decltype(i)::value];
      using T = Op<alt.type>;
      if constexpr ((alt.flags & ALT_WRAPPED) != 0) {
        write_header(cursor, alt.tag, static_cast<uint32_t>(T::size(c.value, 1)));
        T::pack(cursor, c.value, tag_or_own(alt.inner_tag, alt.type), err);
      } else {
        T::pack(cursor, c.value, c.tag, err);
      }
    });
    if (!found) set_err(err, ASN_BAD_CHOICE);
    check_written(start, *cursor, expected, err);
  }

  static constexpr TypeOps ops{
      .make = make, .dip = dip, .drop = drop, .size = size, .pack = pack, .uip = uip};
};

}  // namespace engine
}  // namespace qel

// The catalogue's tables, in the files that include this one, get the
// compiled operations.
#undef QEL_SEQUENCE_OPS_
#undef QEL_LIST_OPS_
#undef QEL_CHOICE_OPS_
#define QEL_SEQUENCE_OPS_(table) (&engine::CompiledSequence<table>::ops)
#define QEL_LIST_OPS_(X, T, element_tag) (&engine::CompiledList<X, &T##_desc, element_tag>::ops)
#define QEL_CHOICE_OPS_(X) (&engine::CompiledChoice<X, X##_alts>::ops)

// Tables whose compiled operations other files' tables call directly. Such a
// table stands in its family's tables header (types/*_tables.h), written
// with the macros below instead of QEL_SEQUENCE, QEL_SEQUENCE_OF and
// QEL_CHOICE; the family's .cpp defines its descriptor with
// QEL_SHARED_DESC(X). Every file whose tables use one of these types
// includes that header, so that all of them reach the type the same way.
#define QEL_KNOWN_COMPILED_(X, ...)                                           \
  namespace engine {                                                          \
  template <>                                                                 \
  inline constexpr const TypeOps* known_ops<&X##_desc> = &__VA_ARGS__::ops;   \
  template <>                                                                 \
  inline constexpr bool has_known_ops<&X##_desc> = true;                      \
  }
#define QEL_SHARED_SEQUENCE(X, ...)                                                     \
  struct X##_table {                                                                    \
    using R = X;                                                                        \
    static constexpr FieldDesc fields[] = {__VA_ARGS__};                                \
    static constexpr TypeDesc describe() {                                              \
      return engine::sequence(#X, sizeof(X), fields,                                    \
                              &engine::CompiledSequence<X##_table>::ops);               \
    }                                                                                   \
  };                                                                                    \
  QEL_KNOWN_COMPILED_(X, engine::CompiledSequence<X##_table>)
#define QEL_SHARED_SEQUENCE_OF(X, T, ...)                                                   \
  struct X##_table {                                                                        \
    static constexpr TypeDesc describe() {                                                  \
      return engine::list(                                                                  \
          #X, Shape::SequenceOf, sizeof(X),                                                 \
          ListPart{.element = &T##_desc,                                                    \
                   .element_tag = QEL_TAG_(__VA_ARGS__),                                    \
                   .capacity = static_cast<uint32_t>(std::extent_v<decltype(X::items)>),   \
                   .items_offset = offsetof(X, items)},                                     \
          &engine::CompiledList<X, &T##_desc, QEL_TAG_(__VA_ARGS__)>::ops);                \
    }                                                                                       \
  };                                                                                        \
  static_assert(std::is_same_v<decltype(X::count), int32_t> && offsetof(X, count) == 0);   \
  QEL_KNOWN_COMPILED_(X, engine::CompiledList<X, &T##_desc, QEL_TAG_(__VA_ARGS__)>)
#define QEL_SHARED_CHOICE(X, ...)                                                      \
  struct X##_table {                                                                   \
    static constexpr AltDesc alts[] = {__VA_ARGS__};                                   \
    static constexpr TypeDesc describe() {                                             \
      return engine::choice(#X, sizeof(X), alts, &engine::CompiledChoice<X, alts>::ops); \
    }                                                                                  \
  };                                                                                   \
  QEL_KNOWN_COMPILED_(X, engine::CompiledChoice<X, X##_table::alts>)
#define QEL_SHARED_DESC(X) constinit const TypeDesc X##_desc = X##_table::describe();
