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
                     const uint8_t*, int32_t tag, int32_t* err) {
    return Uip(static_cast<R*>(v), c, limit, tag, err);
  }
  static constexpr TypeOps ops{
      .make = make, .dip = dip, .drop = drop, .size = size, .pack = pack, .uip = uip};
};

constexpr uint32_t record_size(uint32_t size) {
  return size < sizeof(void*) ? static_cast<uint32_t>(sizeof(void*)) : size;
}

constexpr TypeDesc primitive(const char* name, int32_t tag, uint32_t size, const TypeOps* ops,
                             uint16_t flags = 0) {
  return TypeDesc{.name = name,
                  .shape = Shape::Primitive,
                  .tag = static_cast<uint8_t>(tag),
                  .flags = flags,
                  .record_size = record_size(size),
                  .ops = ops};
}

#define QEL_VALUE_OPS(X, SIZE)                                                              \
  Adapt<vbl_blk, new_vbl_blk, dip_vbl_blk, drop_vbl_blk, SIZE, _pack_##X, decode_##X>::ops
#define QEL_RECORD_OPS(X) \
  Adapt<X, new_##X, dip_##X, drop_##X, sizeof_##X, _pack_##X, decode_##X>::ops

}  // namespace

#define QEL_VALUE_DESC(X, tag)                                   \
  constinit const TypeDesc X##_desc =                            \
      primitive(#X, tag, sizeof(vbl_blk), &QEL_VALUE_OPS(X, sizeof_vbl_blk));
#define QEL_RECORD_DESC(X, tag) \
  constinit const TypeDesc X##_desc = primitive(#X, tag, sizeof(X), &QEL_RECORD_OPS(X));

// Each with its own tag.
QEL_VALUE_DESC(OBJECT_ID, 0x06)
QEL_VALUE_DESC(OCTET_STRING, 0x04)
QEL_VALUE_DESC(GeneralizedTime, 0x18)
QEL_VALUE_DESC(UTCTime, 0x17)
QEL_VALUE_DESC(IA5String, 0x16)
QEL_VALUE_DESC(NumericString, 0x12)
QEL_VALUE_DESC(PrintableString, 0x13)
QEL_VALUE_DESC(T61String, 0x14)
QEL_RECORD_DESC(BOOLEAN, 0x01)
QEL_RECORD_DESC(ASN_NULL, 0x05)
QEL_RECORD_DESC(BIT_STRING, 0x03)
constinit const TypeDesc INTEGER_desc =
    primitive("INTEGER", 0x02, sizeof(vbl_blk), &QEL_VALUE_OPS(INTEGER, sizeof_INTEGER));
constinit const TypeDesc UNDECODED_ASN_BLOCK_desc =
    primitive("UNDECODED_ASN_BLOCK", TAG_ANY, sizeof(vbl_blk),
              &QEL_VALUE_OPS(UNDECODED_ASN_BLOCK, sizeof_UNDECODED_ASN_BLOCK), TYPE_ANY_TAG);

}  // namespace qel
