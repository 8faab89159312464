// Descriptors of the primitives, so that catalogue tables can name them as
// field and element types.
#include "asn/engine.h"
#include "asn/internal.h"

namespace qel {
namespace {

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
                     int32_t tag, int32_t* err) {
    return Uip(static_cast<R*>(v), c, limit, tag, err);
  }
  static constexpr TypeOps ops{make, dip, drop, size, pack, uip};
};

constexpr uint32_t record_size(uint32_t size) {
  return size < sizeof(void*) ? static_cast<uint32_t>(sizeof(void*)) : size;
}

constexpr TypeDesc primitive(const char* name, uint32_t size, const TypeOps* ops,
                             uint16_t flags = 0) {
  return TypeDesc{name, Shape::Primitive, flags, record_size(size), ops, nullptr, 0, 0,
                  nullptr, 0, 0, 0, nullptr, 0};
}

#define QEL_VALUE_OPS(X, SIZE)                                                              \
  Adapt<vbl_blk, new_vbl_blk, dip_vbl_blk, drop_vbl_blk, SIZE, _pack_##X, decode_##X>::ops
#define QEL_RECORD_OPS(X) \
  Adapt<X, new_##X, dip_##X, drop_##X, sizeof_##X, _pack_##X, decode_##X>::ops

}  // namespace

#define QEL_VALUE_DESC(X) \
  constinit const TypeDesc X##_desc = primitive(#X, sizeof(vbl_blk), &QEL_VALUE_OPS(X, sizeof_vbl_blk));

QEL_VALUE_DESC(OBJECT_ID)
QEL_VALUE_DESC(OCTET_STRING)
QEL_VALUE_DESC(GeneralizedTime)
QEL_VALUE_DESC(UTCTime)
QEL_VALUE_DESC(IA5String)
QEL_VALUE_DESC(NumericString)
QEL_VALUE_DESC(PrintableString)
QEL_VALUE_DESC(T61String)
constinit const TypeDesc INTEGER_desc =
    primitive("INTEGER", sizeof(vbl_blk), &QEL_VALUE_OPS(INTEGER, sizeof_INTEGER));
constinit const TypeDesc UNDECODED_ASN_BLOCK_desc =
    primitive("UNDECODED_ASN_BLOCK", sizeof(vbl_blk),
              &QEL_VALUE_OPS(UNDECODED_ASN_BLOCK, sizeof_UNDECODED_ASN_BLOCK), TYPE_ANY_TAG);
constinit const TypeDesc BOOLEAN_desc = primitive("BOOLEAN", sizeof(BOOLEAN), &QEL_RECORD_OPS(BOOLEAN));
constinit const TypeDesc ASN_NULL_desc = primitive("ASN_NULL", sizeof(ASN_NULL), &QEL_RECORD_OPS(ASN_NULL));
constinit const TypeDesc BIT_STRING_desc =
    primitive("BIT_STRING", sizeof(BIT_STRING), &QEL_RECORD_OPS(BIT_STRING));

}  // namespace qel
