// The table-driven engine behind every type of the catalogue.
//
// A type is described by a TypeDesc: its shape, the size of its record and,
// per shape, its fields (sequence), its element (sequence-of, set-of) or its
// alternatives (choice). One generic implementation per shape carries out the
// seven operations from that table; each type's named operations
// (new_X, dip_X, drop_X, sizeof_X, _pack_X, uip_X, _unpack_X) are stamped from
// its descriptor by QEL_DECLARE_TYPE / QEL_STAMP_TYPE. Primitives take part
// through descriptors that wrap their hand-written operations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "asn.h"

#pragma GCC visibility push(default)
namespace qel {

enum class Shape : uint8_t { Primitive, Sequence, SequenceOf, SetOf, Choice };

// How a sequence holds a field.
enum class Form : uint8_t {
  Inline,            // embedded record, required
  Optional,          // pointer to an owned heap record, null when absent
  ExplicitInline,    // embedded, inside an explicit wrapper tag
  ExplicitOptional,  // pointer, inside an explicit wrapper tag
};

// Peculiarities of a field.
enum : uint16_t {
  // The wrapper of an explicit optional field counts even around an empty
  // inner element: sized with tagged(inner, present) instead of tagged(inner, 0).
  FIELD_WRAPPER_FORCED = 1u << 0,
  // An embedded choice that may be absent: present when its `value` is set.
  // Its decoding leaves the result word as it was and does not enter the
  // sequence's result.
  FIELD_MAYBE_ABSENT = 1u << 1,
};

// Peculiarities of a choice alternative.
enum : uint16_t {
  // The alternative's element stands inside a wrapper with the alternative's
  // tag; the inner element is decoded against the wrapper's end.
  ALT_WRAPPED = 1u << 0,
};

// Peculiarities of a type.
enum : uint16_t {
  // _unpack_X takes whatever element is at the position (choices, raw blocks).
  TYPE_ANY_TAG = 1u << 0,
  // The sequence has at least one required field (closes with -13 on failure).
  TYPE_HAS_REQUIRED = 1u << 1,
};

struct TypeDesc;

// The seven operations over an untyped record.
struct TypeOps {
  void* (*make)(const TypeDesc*);
  void (*dip)(const TypeDesc*, void*);
  void (*drop)(const TypeDesc*, void*);
  int32_t (*size)(const TypeDesc*, void*, int32_t with_header);
  void (*pack)(const TypeDesc*, uint8_t** cursor, void*, int32_t tag, int32_t* err);
  int32_t (*uip)(const TypeDesc*, void*, const uint8_t** cursor, const uint8_t* limit,
                 int32_t tag, int32_t* err);
};

struct FieldDesc {
  const char* name;
  Form form;
  uint8_t tag;      // tag handed to the field's operations
  uint8_t wrapper;  // explicit wrapper tag, 0 for the implicit forms
  uint16_t flags;
  uint32_t offset;  // of the member in the record
  const TypeDesc* type;
};

struct AltDesc {
  uint8_t tag;        // tag octet on the wire that selects the alternative
  uint8_t inner_tag;  // for ALT_WRAPPED: tag handed to the inner element
  uint16_t flags;
  const char* name;
  const TypeDesc* type;
};

struct TypeDesc {
  const char* name;
  Shape shape;
  uint16_t flags;
  uint32_t record_size;
  const TypeOps* ops;
  // Sequence.
  const FieldDesc* fields;
  uint32_t field_count;
  uint32_t trailing_from;  // fields from here on are optional: end test first
  // Sequence-of and set-of.
  const TypeDesc* element;
  uint8_t element_tag;
  uint32_t capacity;
  uint32_t items_offset;
  // Choice.
  const AltDesc* alts;
  uint32_t alt_count;
};

// Record layout shared by every choice type.
#define QEL_CHOICE_RECORD(X) \
  struct X {                 \
    uint8_t tag;             \
    void* value;             \
  }

// Record layout of a list type with element type T and capacity N.
#define QEL_LIST_RECORD(X, T, N) \
  struct X {                     \
    int32_t count;               \
    T* items[N];                 \
  }

// Elements a list record holds: its count, clamped to 0..capacity.
template <class List>
constexpr int32_t held(const List& list) {
  constexpr auto capacity = static_cast<int32_t>(std::extent_v<decltype(List::items)>);
  return list.count <= 0 ? 0 : list.count > capacity ? capacity : list.count;
}

#pragma GCC visibility push(hidden)
namespace engine {

extern const TypeOps sequence_ops;
extern const TypeOps list_ops;
extern const TypeOps choice_ops;

// Generic entry points used by the stamped operations.
void* make(const TypeDesc* d);
void dip(const TypeDesc* d, void* value);
void drop(const TypeDesc* d, void* value);
int32_t size(const TypeDesc* d, void* value, int32_t with_header);
void pack(const TypeDesc* d, uint8_t** cursor, void* value, int32_t tag, int32_t* err);
int32_t uip(const TypeDesc* d, void* value, const uint8_t** cursor, const uint8_t* limit,
            int32_t tag, int32_t* err);
void* unpack(const TypeDesc* d, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
             int32_t* err);

inline constexpr bool is_optional(const FieldDesc& f) {
  return f.form == Form::Optional || f.form == Form::ExplicitOptional ||
         (f.flags & FIELD_MAYBE_ABSENT) != 0;
}

template <size_t N>
constexpr TypeDesc sequence(const char* name, uint32_t record_size,
                            const FieldDesc (&fields)[N]) {
  uint32_t trailing = 0;
  bool required = false;
  for (size_t i = 0; i < N; ++i) {
    if (!is_optional(fields[i])) {
      trailing = static_cast<uint32_t>(i + 1);
      required = true;
    }
  }
  return TypeDesc{name, Shape::Sequence, static_cast<uint16_t>(required ? TYPE_HAS_REQUIRED : 0),
                  record_size, &sequence_ops, fields, static_cast<uint32_t>(N), trailing,
                  nullptr, 0, 0, 0, nullptr, 0};
}

constexpr uint32_t kMaxSetOfCapacity = 256;

constexpr TypeDesc list(const char* name, Shape shape, uint32_t record_size,
                        const TypeDesc* element, uint8_t element_tag, uint32_t capacity,
                        uint32_t items_offset) {
  return TypeDesc{name, shape, 0, record_size, &list_ops, nullptr, 0, 0,
                  element, element_tag, capacity, items_offset, nullptr, 0};
}

template <size_t N>
constexpr TypeDesc choice(const char* name, uint32_t record_size,
                          const AltDesc (&alts)[N]) {
  return TypeDesc{name, Shape::Choice, TYPE_ANY_TAG, record_size, &choice_ops, nullptr, 0, 0,
                  nullptr, 0, 0, 0, alts, static_cast<uint32_t>(N)};
}

// Offset of a member, checked against the type its descriptor describes.
template <class Member, class Expected>
constexpr uint32_t checked_offset(size_t offset) {
  static_assert(std::is_same_v<Member, Expected>, "member type does not match its descriptor");
  return static_cast<uint32_t>(offset);
}

}  // namespace engine
#pragma GCC visibility pop

// Descriptors of the primitives, for use in tables.
extern const TypeDesc INTEGER_desc;
extern const TypeDesc BOOLEAN_desc;
extern const TypeDesc ASN_NULL_desc;
extern const TypeDesc BIT_STRING_desc;
extern const TypeDesc OBJECT_ID_desc;
extern const TypeDesc OCTET_STRING_desc;
extern const TypeDesc GeneralizedTime_desc;
extern const TypeDesc UTCTime_desc;
extern const TypeDesc IA5String_desc;
extern const TypeDesc NumericString_desc;
extern const TypeDesc PrintableString_desc;
extern const TypeDesc T61String_desc;
extern const TypeDesc UNDECODED_ASN_BLOCK_desc;

// Every descriptor of the library, primitives included, closed by null; for
// tests and fuzzers that walk all types.
extern const TypeDesc* const type_registry[];
size_t type_registry_size();

// Declares the seven operations of a catalogue type and its descriptor.
#define QEL_DECLARE_TYPE(X) \
  extern const TypeDesc X##_desc; \
  QEL_DECLARE_OPERATIONS(X)

// Defines the seven operations of a catalogue type from its descriptor.
#define QEL_STAMP_TYPE(X)                                                                        \
  static_assert(std::is_standard_layout_v<X>, #X " must be a plain record");                    \
  X* new_##X() { return static_cast<X*>(engine::make(&X##_desc)); }                              \
  void dip_##X(X* value) { engine::dip(&X##_desc, value); }                                      \
  void drop_##X(X* value) { engine::drop(&X##_desc, value); }                                    \
  int32_t sizeof_##X(X* value, int32_t with_header) {                                            \
    return engine::size(&X##_desc, value, with_header);                                          \
  }                                                                                              \
  void _pack_##X(uint8_t** cursor, X* value, int32_t tag, int32_t* err) {                        \
    engine::pack(&X##_desc, cursor, value, tag, err);                                            \
  }                                                                                              \
  int32_t uip_##X(X* value, const uint8_t** cursor, const uint8_t* limit, int32_t tag,           \
                  int32_t* err) {                                                                \
    return engine::uip(&X##_desc, value, cursor, limit, tag, err);                               \
  }                                                                                              \
  X* _unpack_##X(const uint8_t** cursor, const uint8_t* limit, int32_t tag, int32_t* err) {      \
    return static_cast<X*>(engine::unpack(&X##_desc, cursor, limit, tag, err));                  \
  }

// Table rows. R is the record type, m the member, T the field's type.
#define QEL_FIELD_(R, m, form, tag, wrapper, flags, T, M)                                        \
  FieldDesc {                                                                                    \
    #m, form, tag, wrapper, flags, engine::checked_offset<decltype(R::m), M>(offsetof(R, m)),     \
        &T##_desc                                                                                \
  }
#define QEL_INLINE(R, m, tag, T) QEL_FIELD_(R, m, Form::Inline, tag, 0, 0, T, T)
#define QEL_OPTIONAL(R, m, tag, T) QEL_FIELD_(R, m, Form::Optional, tag, 0, 0, T, T*)
#define QEL_EXPLICIT(R, m, wrapper, tag, T) \
  QEL_FIELD_(R, m, Form::ExplicitInline, tag, wrapper, 0, T, T)
#define QEL_EXPLICIT_OPTIONAL(R, m, wrapper, tag, T, flags) \
  QEL_FIELD_(R, m, Form::ExplicitOptional, tag, wrapper, flags, T, T*)
#define QEL_MAYBE_ABSENT(R, m, tag, T) \
  QEL_FIELD_(R, m, Form::Inline, tag, 0, FIELD_MAYBE_ABSENT, T, T)

#define QEL_ALT(tag, name, T) \
  AltDesc { tag, 0, 0, name, &T##_desc }
#define QEL_ALT_WRAPPED(tag, inner_tag, name, T) \
  AltDesc { tag, inner_tag, ALT_WRAPPED, name, &T##_desc }

// Descriptor definitions for the three shapes.
#define QEL_SEQUENCE(X, ...)                                 \
  static constexpr FieldDesc X##_fields[] = {__VA_ARGS__};   \
  constinit const TypeDesc X##_desc = engine::sequence(#X, sizeof(X), X##_fields);

#define QEL_LIST_(X, shape, T, element_tag)                                                    \
  constinit const TypeDesc X##_desc = engine::list(                                            \
      #X, shape, sizeof(X), &T##_desc, element_tag,                                            \
      static_cast<uint32_t>(sizeof(X::items) / sizeof(X::items[0])), offsetof(X, items));      \
  static_assert(std::is_same_v<decltype(X::count), int32_t> && offsetof(X, count) == 0);
#define QEL_SEQUENCE_OF(X, T, element_tag) QEL_LIST_(X, Shape::SequenceOf, T, element_tag)
#define QEL_SET_OF(X, T, element_tag)                                             \
  QEL_LIST_(X, Shape::SetOf, T, element_tag)                                      \
  static_assert(sizeof(X::items) / sizeof(X::items[0]) <= engine::kMaxSetOfCapacity);

#define QEL_CHOICE(X, ...)                                 \
  static constexpr AltDesc X##_alts[] = {__VA_ARGS__};     \
  constinit const TypeDesc X##_desc = engine::choice(#X, sizeof(X), X##_alts);

}  // namespace qel
#pragma GCC visibility pop
