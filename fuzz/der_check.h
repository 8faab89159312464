// The invariant both DER fuzz targets check on one input.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "asn/engine.h"

namespace qel::fuzz {

// Encodes `value` into a heap block of exactly sizeof_X(value, 1) octets, so
// that ASan reports any write past the announced size. Returns the block
// (the caller frees it) with the octets written in `written`.
inline uint8_t* encode_exact(const TypeDesc* d, void* value, int32_t tag, int32_t* err,
                             int32_t& size, int64_t& written) {
  size = engine::size(d, value, 1);
  if (size < 0) std::abort();
  auto* block = static_cast<uint8_t*>(std::malloc(size > 0 ? static_cast<size_t>(size) : 1));
  uint8_t* pos = block;
  engine::pack(d, &pos, value, tag, err);
  written = pos - block;
  return block;
}

// Decodes the octets as type `d`, with the element's own first octet as the
// tag so that any element is taken. Where a record comes back it is sized and
// encoded into exactly that room; where the encoding stored no code it must
// have filled the room, and decoding and encoding it again must give the same
// octets. Aborts otherwise.
inline void check_round_trip(const TypeDesc* d, const uint8_t* data, size_t size) {
  if (size == 0) return;
  const int32_t tag = data[0];
  const uint8_t* pos = data;
  int32_t err = 0;
  void* first = engine::unpack(d, &pos, data + size, tag, &err);
  if (first == nullptr) return;
  if (pos < data || pos > data + size) std::abort();

  int32_t size1 = 0;
  int64_t written1 = 0;
  int32_t pack_err = 0;
  uint8_t* out1 = encode_exact(d, first, tag, &pack_err, size1, written1);
  if (written1 > size1) std::abort();
  if (pack_err == 0) {
    if (written1 != size1) std::abort();
    const uint8_t* again = out1;
    int32_t err2 = 0;
    void* second = engine::unpack(d, &again, out1 + size1, tag, &err2);
    if (second == nullptr) std::abort();
    int32_t size2 = 0;
    int64_t written2 = 0;
    int32_t pack_err2 = 0;
    uint8_t* out2 = encode_exact(d, second, tag, &pack_err2, size2, written2);
    if (pack_err2 != 0 || size2 != size1 || written2 != written1 ||
        std::memcmp(out1, out2, static_cast<size_t>(size1)) != 0)
      std::abort();
    std::free(out2);
    engine::drop(d, second);
  }
  std::free(out1);
  engine::drop(d, first);
}

}  // namespace qel::fuzz
