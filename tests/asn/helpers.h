// Helpers shared by the runtime tests: octets from text, and decoding and
// encoding through a type's descriptor.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "asn/engine.h"

namespace qel::tst {

using Bytes = std::vector<uint8_t>;

// Octets from text such as "30 0c 06"; spaces are skipped.
inline Bytes B(const std::string& text) {
  Bytes out;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == ' ') continue;
    out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    ++i;
  }
  return out;
}

inline std::string hex(const uint8_t* data, size_t size) {
  std::string out;
  char two[4];
  for (size_t i = 0; i < size; ++i) {
    std::snprintf(two, sizeof two, i == 0 ? "%02x" : " %02x", data[i]);
    out += two;
  }
  return out;
}
inline std::string hex(const Bytes& b) { return hex(b.data(), b.size()); }

// A copy in a heap block of exactly its size (one octet when empty, so that an
// empty input has an address too): ASan reports any read past the end.
inline Bytes input(const Bytes& b) {
  Bytes out;
  out.reserve(b.empty() ? 1 : b.size());
  out.assign(b.begin(), b.end());
  return out;
}

struct Decoded {
  void* record;
  int32_t result, err;
  size_t consumed;
};

// Decodes into a fresh record of type `d`; the caller drops it.
inline Decoded decode(const TypeDesc* d, const Bytes& in, int32_t tag) {
  Bytes buf = input(in);
  const uint8_t* pos = buf.data();
  Decoded out{engine::make(d), 0, 0, 0};
  out.result = engine::uip(d, out.record, &pos, buf.data() + buf.size(), tag, &out.err);
  out.consumed = static_cast<size_t>(pos - buf.data());
  return out;
}

// Encodes into exactly sizeof(value, 1) octets and returns what was written.
inline Bytes encode(const TypeDesc* d, void* value, int32_t tag, int32_t* err) {
  Bytes out(static_cast<size_t>(engine::size(d, value, 1)));
  uint8_t* pos = out.data();
  engine::pack(d, &pos, value, tag, err);
  out.resize(static_cast<size_t>(pos - out.data()));
  return out;
}

// One decode: its result, the code left in the word, the octets consumed,
// and, unless `out` is empty, what the record encodes to ("=" for the octets
// consumed).
struct DecodeCase {
  const char* name;
  const TypeDesc* type;
  const char* in;
  int32_t tag, result, code;
  size_t consumed;
  const char* out;
};

inline void run_decode_cases(const DecodeCase* cases, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const DecodeCase& c = cases[i];
    SCOPED_TRACE(c.name);
    const Bytes in = B(c.in);
    Decoded d = decode(c.type, in, c.tag);
    EXPECT_EQ(d.result, c.result);
    EXPECT_EQ(d.err, c.code);
    EXPECT_EQ(d.consumed, c.consumed);
    if (c.out[0] != '\0') {
      int32_t err = 0;
      const std::string want =
          std::string(c.out) == "=" ? hex(in.data(), d.consumed) : hex(B(c.out));
      EXPECT_EQ(hex(encode(c.type, d.record, c.tag, &err)), want);
      EXPECT_EQ(err, 0);
    }
    engine::drop(c.type, d.record);  // LSan: a failed record releases cleanly
  }
}

}  // namespace qel::tst
