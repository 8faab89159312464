// Descriptors of the primitives, so that catalogue tables can name them as
// field and element types.
#include "asn/compiled.h"
#include "asn/engine.h"
#include "asn/internal.h"

namespace qel {
namespace {

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

}  // namespace

#define QEL_VALUE_DESC(X, tag)                                   \
  constinit const TypeDesc X##_desc =                            \
      primitive(#X, tag, sizeof(vbl_blk), &QEL_VALUE_OPS(X, value_size, value_pack));
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
    primitive("INTEGER", 0x02, sizeof(vbl_blk), &QEL_VALUE_OPS(INTEGER, sizeof_INTEGER, _pack_INTEGER));
constinit const TypeDesc UNDECODED_ASN_BLOCK_desc =
    primitive("UNDECODED_ASN_BLOCK", TAG_ANY, sizeof(vbl_blk),
              &QEL_VALUE_OPS(UNDECODED_ASN_BLOCK, sizeof_UNDECODED_ASN_BLOCK,
                             _pack_UNDECODED_ASN_BLOCK),
              TYPE_ANY_TAG);

}  // namespace qel
