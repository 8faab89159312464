// Pieces of base64 decoding shared by the decoders: the value of each octet
// as a character of the standard alphabet, 0xFF for every octet outside it
// ("=" included), and the three octets of a group of four.
#pragma once

#include <array>
#include <cstdint>

namespace qel::detail {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr auto kBase64Values = [] {
  std::array<uint8_t, 256> t{};
  t.fill(0xFF);
  for (unsigned i = 0; i < 64; ++i) t[static_cast<unsigned char>(kBase64Alphabet[i])] = static_cast<uint8_t>(i);
  return t;
}();

// Writes the 24 bits of a group of four characters as three octets.
inline void store_group(uint8_t* w, uint32_t bits) {
  w[0] = static_cast<uint8_t>(bits >> 16);
  w[1] = static_cast<uint8_t>(bits >> 8);
  w[2] = static_cast<uint8_t>(bits);
}

}  // namespace qel::detail
