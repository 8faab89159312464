// The value of each octet as a base64 alphabet character (standard
// alphabet), 0xFF for every octet outside it, "=" included.
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

}  // namespace qel::detail
