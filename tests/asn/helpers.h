// Small helpers shared by the runtime tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace qel::tst {

using Bytes = std::vector<uint8_t>;

// A copy of `b` in a heap block of exactly its size (one octet when empty, so
// that even an empty input has a real address). Reads past the end are heap
// overflows that ASan reports.
inline Bytes input(const Bytes& b) {
  Bytes out;
  out.reserve(b.empty() ? 1 : b.size());
  out.assign(b.begin(), b.end());
  return out;
}

// Octets as "30 0c 06", for readable failure messages.
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

// Concatenation of octet runs.
inline Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// One element with a short or long length field, built the way DER writes it.
inline Bytes tlv(uint8_t tag, const Bytes& content) {
  Bytes out{tag};
  const size_t n = content.size();
  if (n < 0x80) {
    out.push_back(static_cast<uint8_t>(n));
  } else if (n < 0x100) {
    out.insert(out.end(), {0x81, static_cast<uint8_t>(n)});
  } else {
    out.insert(out.end(), {0x82, static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)});
  }
  out.insert(out.end(), content.begin(), content.end());
  return out;
}

}  // namespace qel::tst
