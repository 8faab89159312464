// C++ conveniences over the library's plain API, which they call and never
// replace: owners that release records and texts by themselves, decoding from
// a span and encoding into a vector, MD5, SHA-1 and SHA-256 of a span, and a
// text for each negative code of the result word.
//
//   auto [cert, err, used] = qel::decode<qel::Certificate>(bytes);
//   qel::text subject;
//   if (cert && qel::tc_extract_dname(qel::out(subject), cert.get(), 0) == qel::TC_SUCCESS)
//     puts(subject.get());
//   std::vector<uint8_t> der = qel::encode(*cert);
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <span>
#include <vector>

#include "qelcert.h"

namespace qel {

// The operations of record type T, for the catalogue types and the three
// primitives with records of their own.
template <class T>
struct ops;
#define QEL_CXX_OPS_(X)                                                \
  template <>                                                          \
  struct ops<X> {                                                      \
    static constexpr auto drop = drop_##X;                             \
    static constexpr auto size = sizeof_##X;                           \
    static constexpr auto pack = _pack_##X;                            \
    static constexpr auto unpack = _unpack_##X;                        \
    static const TypeDesc& desc() { return X##_desc; }                 \
  };
QEL_CATALOGUE(QEL_CXX_OPS_)
QEL_CXX_OPS_(BOOLEAN)
QEL_CXX_OPS_(ASN_NULL)
QEL_CXX_OPS_(BIT_STRING)
#undef QEL_CXX_OPS_

// Releases whatever the library handed over by its own release operation.
struct dropper {
  template <class T>
  void operator()(T* value) const { ops<T>::drop(value); }
  void operator()(vbl_blk* value) const { drop_vbl_blk(value); }
  void operator()(dName* value) const { tc_free_dName(value); }
  void operator()(Extension_Results* value) const { free_Extension_Results(value); }
};
template <class T>
using owner = std::unique_ptr<T, dropper>;

// Texts and byte blocks that a function hands over to be released with free.
struct freer {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using malloced = std::unique_ptr<T, freer>;
using text = malloced<char>;

// Lets an owner receive through an out-parameter `T**`:
// tc_extract_dname(qel::out(subject), ...). The owner takes the pointer at
// the end of the full expression.
template <class Owner>
class out_param {
 public:
  explicit out_param(Owner& owner) : owner_(owner) {}
  out_param(const out_param&) = delete;
  ~out_param() { owner_.reset(raw_); }
  operator typename Owner::pointer*() { return &raw_; }

 private:
  Owner& owner_;
  typename Owner::pointer raw_ = nullptr;
};
template <class Owner>
out_param<Owner> out(Owner& owner) { return out_param<Owner>(owner); }

// The tag a standalone value of T carries: a choice takes whatever
// alternative stands there, a SET OF is 0x31 and any other type 0x30. Pass
// the tag explicitly for implicitly tagged values and for SET types.
template <class T>
int32_t default_tag() {
  const Shape shape = ops<T>::desc().shape;
  return shape == Shape::Choice ? TAG_CHOICE : shape == Shape::SetOf ? 0x31 : 0x30;
}

template <class T>
struct decoded {
  owner<T> value;    // null when the octets do not decode
  int32_t err = 0;   // the result word: 0, or the last negative code stored
  size_t used = 0;   // octets the element took from the front of the input
};

// Decodes the DER element at the front of `der` as a T. The result word may
// hold a code even where a value came back.
template <class T>
decoded<T> decode(std::span<const uint8_t> der, int32_t tag = default_tag<T>()) {
  const uint8_t* position = der.data();
  decoded<T> result;
  result.value.reset(ops<T>::unpack(&position, der.data() + der.size(), tag, &result.err));
  result.used = static_cast<size_t>(position - der.data());
  return result;
}

// Encodes `value` as DER. Empty when the encoder stores a code; the code then
// goes to `err` where one is given. The value is only read.
template <class T>
std::vector<uint8_t> encode(const T& value, int32_t tag = default_tag<T>(), int32_t* err = nullptr) {
  auto* record = const_cast<T*>(&value);
  std::vector<uint8_t> out(static_cast<size_t>(ops<T>::size(record, 1)));
  uint8_t* position = out.data();
  int32_t code = 0;
  ops<T>::pack(&position, record, tag, &code);
  if (err != nullptr) *err = code;
  if (code != 0) out.clear();
  return out;
}

// The digest of any number of bytes through a context's Init, Update and
// Final, fed in pieces that fit Update's 32-bit length.
template <class Context, size_t N>
std::array<uint8_t, N> digest_of(std::span<const uint8_t> data, void (*init)(Context*),
                                 void (*update)(Context*, const uint8_t*, uint32_t),
                                 void (*final)(Context*)) {
  Context context;
  init(&context);
  for (size_t done = 0; done < data.size();) {
    const size_t piece = std::min<size_t>(data.size() - done, 0x40000000u);
    update(&context, data.data() + done, static_cast<uint32_t>(piece));
    done += piece;
  }
  final(&context);
  std::array<uint8_t, N> digest;
  std::copy(std::begin(context.digest), std::end(context.digest), digest.begin());
  return digest;
}

// MD5 digest of any number of bytes.
inline std::array<uint8_t, 16> md5(std::span<const uint8_t> data) {
  return digest_of<MD5Context, 16>(data, MD5Init, MD5Update, MD5Final);
}

// SHA-1 digest of any number of bytes.
inline std::array<uint8_t, 20> sha1(std::span<const uint8_t> data) {
  return digest_of<SHA1Context, 20>(data, SHA1Init, SHA1Update, SHA1Final);
}

// SHA-256 digest of any number of bytes.
inline std::array<uint8_t, 32> sha256(std::span<const uint8_t> data) {
  return digest_of<SHA256Context, 32>(data, SHA256Init, SHA256Update, SHA256Final);
}

// What a negative code of the result word means.
inline const char* codec_error_text(int32_t code) {
  switch (code) {
    case 0: return "no error";
    case ASN_PACK_SHORT: return "fewer octets written than computed";
    case ASN_PACK_LONG: return "more octets written than computed";
    case ASN_SEQOF_FULL: return "sequence-of count above capacity";
    case ASN_OUT_NO_CURSOR: return "encoder given no cursor";
    case ASN_OUT_NO_POSITION: return "encoder given no position";
    case ASN_NO_RECORD: return "decoder given no record";
    case ASN_IN_NO_CURSOR: return "decoder given no cursor";
    case ASN_IN_NO_POSITION: return "decoder given no position";
    case ASN_OVERRUN: return "element runs beyond its limit";
    case ASN_LEFTOVER: return "octets left over inside an element";
    case ASN_BAD_BOOLEAN: return "BOOLEAN of a length other than 1";
    case ASN_WRAPPER_END: return "explicit tag not filled exactly";
    case ASN_FIELD_FAILED: return "a required field failed";
    case ASN_BAD_NULL: return "NULL of a length other than 0";
    case ASN_SETOF_FULL: return "set-of count above capacity";
    case ASN_SETOF_DUPLICATE: return "two set-of elements encode alike";
    case ASN_NO_MEMORY: return "out of memory";
    case ASN_BAD_CHOICE: return "tag is no alternative of the choice";
    case ASN_BAD_NUMERIC: return "character outside NumericString";
    case ASN_BAD_PRINTABLE: return "character outside PrintableString";
    default: return "unknown code";
  }
}

}  // namespace qel
