// Decodes the input as a Certificate. Every tree that comes out is sized and
// encoded into a buffer of exactly that size, and the encoding is decoded
// again. When encoding stored no code, the second tree must encode to the
// same bytes; any difference aborts.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "types/certificate.h"

namespace {

struct Encoded {
  std::unique_ptr<uint8_t[]> bytes;
  int32_t size = 0;
  int32_t err = 0;
};

// Sizes and encodes `tree` into a heap block of exactly the announced size,
// so that ASan reports an encoder writing past what sizeof promised.
Encoded encode(qel::Certificate* tree) {
  Encoded out;
  out.size = qel::sizeof_Certificate(tree, 1);
  if (out.size <= 0) std::abort();
  out.bytes.reset(new uint8_t[static_cast<size_t>(out.size)]);
  uint8_t* position = out.bytes.get();
  qel::_pack_Certificate(&position, tree, 0x30, &out.err);
  if (out.err == 0 && position != out.bytes.get() + out.size) std::abort();
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const uint8_t* position = data;
  int32_t err = 0;
  qel::Certificate* tree = qel::_unpack_Certificate(&position, data + size, 0x30, &err);
  if (tree == nullptr) return 0;
  if (position < data || position > data + size) std::abort();

  const Encoded first = encode(tree);
  const uint8_t* again_position = first.bytes.get();
  int32_t again_err = 0;
  qel::Certificate* again = qel::_unpack_Certificate(
      &again_position, first.bytes.get() + first.size, 0x30, &again_err);
  if (first.err == 0) {
    // A clean encoding is canonical DER, which decodes and encodes unchanged.
    if (again == nullptr) std::abort();
    const Encoded second = encode(again);
    if (second.err != 0 || second.size != first.size ||
        std::memcmp(second.bytes.get(), first.bytes.get(), static_cast<size_t>(first.size)) != 0)
      std::abort();
  }
  qel::drop_Certificate(again);
  qel::drop_Certificate(tree);
  return 0;
}
