// The table-driven engine behind every type of the catalogue.
//
// A type is described by a TypeDesc: its shape, its own tag, the size of its
// record and, per shape, its fields (sequence), its element (sequence-of,
// set-of) or its alternatives (choice). One generic implementation per shape
// carries out the seven operations from that table; each type's named
// operations (new_X, dip_X, drop_X, sizeof_X, _pack_X, uip_X, _unpack_X) are
// stamped from its descriptor by QEL_DECLARE_TYPE / QEL_STAMP_TYPE, which
// each family of types/ applies to its list of types (QEL_CRL_TYPES, ...).
// Primitives take part through descriptors that wrap their hand-written
// operations.
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
  void* (*make)(const TypeDesc*) = nullptr;
  void (*dip)(const TypeDesc*, void*) = nullptr;
  void (*drop)(const TypeDesc*, void*) = nullptr;
  int32_t (*size)(const TypeDesc*, void*, int32_t with_header) = nullptr;
  void (*pack)(const TypeDesc*, uint8_t** cursor, void*, int32_t tag, int32_t* err) = nullptr;
  // `outer` bounds the wrapper of a wrapped choice alternative (see choice_uip);
  // every other decoder reads against `limit` alone.
  int32_t (*uip)(const TypeDesc*, void*, const uint8_t** cursor, const uint8_t* limit,
                 const uint8_t* outer, int32_t tag, int32_t* err) = nullptr;
};

struct FieldDesc {
  const char* name;
  Form form;
  uint8_t tag;      // tag handed to the field's operations; 0: the type's own
  uint8_t wrapper;  // explicit wrapper tag, 0 for the implicit forms
  uint16_t flags;
  uint32_t offset;  // of the member in the record
  const TypeDesc* type;
};

struct AltDesc {
  uint8_t tag;        // tag octet on the wire that selects the alternative; 0: the type's own
  uint8_t inner_tag;  // for ALT_WRAPPED: tag handed to the inner element; 0: the type's own
  uint16_t flags;
  const char* name;
  const TypeDesc* type;
};

// What a sequence adds to its descriptor.
struct SequencePart {
  const FieldDesc* fields = nullptr;
  uint32_t count = 0;
  uint32_t trailing_from = 0;  // fields from here on are optional: end test first
};

// What a sequence-of or set-of adds.
struct ListPart {
  const TypeDesc* element = nullptr;
  uint8_t element_tag = 0;  // 0: the element type's own tag
  uint32_t capacity = 0;
  uint32_t items_offset = 0;
};

// What a choice adds.
struct ChoicePart {
  const AltDesc* alts = nullptr;
  uint32_t count = 0;
};

// A type: what every shape has, then the part of its own shape.
struct TypeDesc {
  const char* name;
  Shape shape;
  uint8_t tag = 0;  // own tag, meant wherever a table row names none
  uint16_t flags = 0;
  uint32_t record_size = 0;
  const TypeOps* ops = nullptr;
  SequencePart seq{};
  ListPart list{};
  ChoicePart choice{};
};

// A row's tag, or where it names none the own tag of the type it refers to.
inline constexpr int32_t tag_or_own(uint8_t tag, const TypeDesc* type) {
  return tag != 0 ? tag : type->tag;
}

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

// Own tags of the constructed shapes.
inline constexpr uint8_t kSequenceTag = 0x30;
inline constexpr uint8_t kSetTag = 0x31;

template <size_t N>
constexpr TypeDesc sequence(const char* name, uint32_t record_size,
                            const FieldDesc (&fields)[N], const TypeOps* ops = &sequence_ops) {
  uint32_t trailing = 0;  // one past the last required field
  for (size_t i = 0; i < N; ++i)
    if (!is_optional(fields[i])) trailing = static_cast<uint32_t>(i + 1);
  return TypeDesc{.name = name,
                  .shape = Shape::Sequence,
                  .tag = kSequenceTag,
                  .flags = static_cast<uint16_t>(trailing != 0 ? TYPE_HAS_REQUIRED : 0),
                  .record_size = record_size,
                  .ops = ops,
                  .seq = {.fields = fields, .count = N, .trailing_from = trailing}};
}

constexpr uint32_t kMaxSetOfCapacity = 256;

constexpr TypeDesc list(const char* name, Shape shape, uint32_t record_size, ListPart part,
                        const TypeOps* ops = &list_ops) {
  return TypeDesc{.name = name,
                  .shape = shape,
                  .tag = shape == Shape::SetOf ? kSetTag : kSequenceTag,
                  .record_size = record_size,
                  .ops = ops,
                  .list = part};
}

template <size_t N>
constexpr TypeDesc choice(const char* name, uint32_t record_size, const AltDesc (&alts)[N],
                          const TypeOps* ops = &choice_ops) {
  return TypeDesc{.name = name,
                  .shape = Shape::Choice,
                  .tag = TAG_CHOICE,
                  .flags = TYPE_ANY_TAG,
                  .record_size = record_size,
                  .ops = ops,
                  .choice = {.alts = alts, .count = N}};
}

// Offset of a member, checked against the type its descriptor describes.
template <class Member, class Expected>
constexpr uint32_t checked_offset(size_t offset) {
  static_assert(std::is_same_v<Member, Expected>, "member type does not match its descriptor");
  return static_cast<uint32_t>(offset);
}

}  // namespace engine
#pragma GCC visibility pop

// Every primitive, in the registry's order; their descriptors are for use in
// tables.
#define QEL_PRIMITIVE_TYPES(F)                                                              \
  F(INTEGER) F(BOOLEAN) F(ASN_NULL) F(BIT_STRING) F(OBJECT_ID) F(OCTET_STRING)                \
  F(GeneralizedTime) F(UTCTime) F(IA5String) F(NumericString) F(PrintableString) F(T61String) \
  F(UNDECODED_ASN_BLOCK)
#define QEL_DECLARE_DESC(X) extern const TypeDesc X##_desc;
QEL_PRIMITIVE_TYPES(QEL_DECLARE_DESC)
#undef QEL_DECLARE_DESC

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

// Table rows, written inside QEL_SEQUENCE and QEL_CHOICE: m is the member
// (or alternative) and T its type. A row names a tag only where it differs
// from the type's own: a context tag as the optional last argument; an
// explicit wrapper's tag always.
#define QEL_TAG_(...) uint8_t{__VA_OPT__(__VA_ARGS__)}
#define QEL_FIELD_(m, form_, tag_, wrapper_, flags_, T, M)                                    \
  FieldDesc {                                                                                 \
    .name = #m, .form = form_, .tag = tag_, .wrapper = wrapper_, .flags = flags_,            \
    .offset = engine::checked_offset<decltype(R::m), M>(offsetof(R, m)), .type = &T##_desc   \
  }
#define QEL_INLINE(m, T, ...) QEL_FIELD_(m, Form::Inline, QEL_TAG_(__VA_ARGS__), 0, 0, T, T)
#define QEL_OPTIONAL(m, T, ...) QEL_FIELD_(m, Form::Optional, QEL_TAG_(__VA_ARGS__), 0, 0, T, T*)
#define QEL_MAYBE_ABSENT(m, T, ...) \
  QEL_FIELD_(m, Form::Inline, QEL_TAG_(__VA_ARGS__), 0, FIELD_MAYBE_ABSENT, T, T)
#define QEL_EXPLICIT(m, T, wrapper) QEL_FIELD_(m, Form::ExplicitInline, 0, wrapper, 0, T, T)
// The optional last argument holds FIELD_ flags.
#define QEL_EXPLICIT_OPTIONAL(m, T, wrapper, ...) \
  QEL_FIELD_(m, Form::ExplicitOptional, 0, wrapper, uint16_t{__VA_OPT__(__VA_ARGS__)}, T, T*)

#define QEL_ALT(m, T, ...)                                                                \
  AltDesc {                                                                               \
    .tag = QEL_TAG_(__VA_ARGS__), .inner_tag = 0, .flags = 0, .name = #m, .type = &T##_desc \
  }
// The optional last argument is the tag handed to the inner element.
#define QEL_ALT_WRAPPED(m, T, wrapper, ...)                                          \
  AltDesc {                                                                          \
    .tag = wrapper, .inner_tag = QEL_TAG_(__VA_ARGS__), .flags = ALT_WRAPPED, .name = #m, \
    .type = &T##_desc                                                                \
  }

// The operations a table's descriptor gets: the generic engine's, unless
// the file holding the table includes asn/compiled.h, which compiles the
// decoders and releases from the tables.
#define QEL_SEQUENCE_OPS_(table) (&engine::sequence_ops)
#define QEL_LIST_OPS_(X, T, element_tag) (&engine::list_ops)
#define QEL_CHOICE_OPS_(X) (&engine::choice_ops)

// Descriptor definitions for the three shapes. Inside the table, R names the
// record type.
#define QEL_SEQUENCE(X, ...)                                                           \
  namespace {                                                                          \
  struct X##_table {                                                                   \
    using R = X;                                                                       \
    static constexpr FieldDesc fields[] = {__VA_ARGS__};                               \
  };                                                                                   \
  }                                                                                    \
  constinit const TypeDesc X##_desc = engine::sequence(                                \
      #X, sizeof(X), X##_table::fields, QEL_SEQUENCE_OPS_(X##_table));

// An element tag, where it differs from the element type's own, is the
// optional last argument.
#define QEL_LIST_(X, shape, T, ...)                                                          \
  constinit const TypeDesc X##_desc = engine::list(                                          \
      #X, shape, sizeof(X),                                                                  \
      ListPart{.element = &T##_desc,                                                         \
               .element_tag = QEL_TAG_(__VA_ARGS__),                                         \
               .capacity = static_cast<uint32_t>(std::extent_v<decltype(X::items)>),        \
               .items_offset = offsetof(X, items)},                                          \
      QEL_LIST_OPS_(X, T, QEL_TAG_(__VA_ARGS__)));                      \
  static_assert(std::is_same_v<decltype(X::count), int32_t> && offsetof(X, count) == 0);
#define QEL_SEQUENCE_OF(X, T, ...) QEL_LIST_(X, Shape::SequenceOf, T, __VA_ARGS__)
#define QEL_SET_OF(X, T, ...)                                                       \
  QEL_LIST_(X, Shape::SetOf, T, __VA_ARGS__)                                        \
  static_assert(std::extent_v<decltype(X::items)> <= engine::kMaxSetOfCapacity);

#define QEL_CHOICE(X, ...)                                 \
  static constexpr AltDesc X##_alts[] = {__VA_ARGS__};     \
  constinit const TypeDesc X##_desc =                      \
      engine::choice(#X, sizeof(X), X##_alts, QEL_CHOICE_OPS_(X));

}  // namespace qel
#pragma GCC visibility pop
