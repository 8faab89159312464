// Base64 encoding through a table of character pairs: each 12 bits of input
// select two output characters at once, so three input bytes cost two table
// loads and two 16-bit stores.
#include "toolkit/codes.h"
#include "toolkit/base64.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include "asn/alloc.h"
#include "toolkit/base64_values.h"

namespace qel {
namespace {

constexpr const char* kAlphabet = detail::kBase64Alphabet;

// kPairs[v] holds the characters of the high and low six bits of the 12-bit v.
constexpr auto kPairs = [] {
  std::array<std::array<char, 2>, 4096> t{};
  for (unsigned v = 0; v < 4096; ++v) t[v] = {kAlphabet[v >> 6], kAlphabet[v & 63]};
  return t;
}();

// Inverse of the alphabet; 0xFF everywhere else, "=" too.
constexpr const auto& kDecode256 = detail::kBase64Values;

// Value of one character; 0xFF outside the alphabet.
inline uint32_t value_of(unsigned char c) { return kDecode256[c]; }

// The white space of the default locale's space class.
inline bool is_space(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline uint32_t load_be32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}

inline void put_pair(char* out, uint32_t v12) { std::memcpy(out, kPairs[v12].data(), 2); }

}  // namespace

int tc_encode_base64(char** text, uint32_t* length, const uint8_t* data, uint32_t size) {
  const uint64_t chars = 4 * ((static_cast<uint64_t>(size) + 2) / 3);
  char* out = chars < UINT32_MAX ? static_cast<char*>(detail::allocate(chars + 1)) : nullptr;
  *text = out;
  if (out == nullptr) return TC_MEMORY;

  const uint8_t* p = data;
  const uint8_t* const whole_end = p + (size - size % 3);
  // Four groups per iteration from three big-endian words.
  for (; whole_end - p >= 12; p += 12, out += 16) {
    const uint32_t w0 = load_be32(p), w1 = load_be32(p + 4), w2 = load_be32(p + 8);
    const uint32_t g0 = w0 >> 8;
    const uint32_t g1 = (w0 << 16 | w1 >> 16) & 0xFFFFFF;
    const uint32_t g2 = (w1 << 8 | w2 >> 24) & 0xFFFFFF;
    const uint32_t g3 = w2 & 0xFFFFFF;
    put_pair(out, g0 >> 12);
    put_pair(out + 2, g0 & 0xFFF);
    put_pair(out + 4, g1 >> 12);
    put_pair(out + 6, g1 & 0xFFF);
    put_pair(out + 8, g2 >> 12);
    put_pair(out + 10, g2 & 0xFFF);
    put_pair(out + 12, g3 >> 12);
    put_pair(out + 14, g3 & 0xFFF);
  }
  for (; p != whole_end; p += 3, out += 4) {
    const uint32_t v = static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 8 | p[2];
    put_pair(out, v >> 12);
    put_pair(out + 2, v & 0xFFF);
  }
  switch (size % 3) {
    case 1: {
      put_pair(out, static_cast<uint32_t>(p[0]) << 4);
      out[2] = '=';
      out[3] = '=';
      out += 4;
      break;
    }
    case 2: {
      const uint32_t v = static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 8;
      put_pair(out, v >> 12);
      out[2] = kAlphabet[(v >> 6) & 63];
      out[3] = '=';
      out += 4;
      break;
    }
  }
  *out = '\0';
  *length = static_cast<uint32_t>(chars);
  return TC_SUCCESS;
}

int tc_decode_base64(uint8_t** bytes, uint32_t* length, const char* text) {
  const size_t n = std::strlen(text);
  const uint64_t capacity = static_cast<uint64_t>(n) * 3 >> 2;
  if (capacity > UINT32_MAX) {
    *bytes = nullptr;
    return TC_MEMORY;
  }
  *length = static_cast<uint32_t>(capacity);
  // At least one byte, so that an empty result is still a block to free.
  uint8_t* out = static_cast<uint8_t*>(detail::allocate(capacity != 0 ? capacity : 1));
  *bytes = out;
  if (out == nullptr) return TC_MEMORY;

  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  auto skip_space = [&s] {
    while (is_space(*s)) ++s;
  };
  // Reads one character and the white space behind it.
  auto next = [&s, &skip_space] {
    const unsigned char c = *s++;
    skip_space();
    return c;
  };

  uint8_t* w = out;
  skip_space();
  while (*s != '\0') {
    // Four alphabet characters in a row, the common case, at once; the test
    // stops at the first that is not one, a terminator included.
    uint32_t a = kDecode256[s[0]], b = 0xFF, c = 0xFF, d = 0xFF;
    if (a < 64 && (b = kDecode256[s[1]]) < 64 && (c = kDecode256[s[2]]) < 64 && (d = kDecode256[s[3]]) < 64) {
      detail::store_group(w, a << 18 | b << 12 | c << 6 | d);
      w += 3;
      s += 4;
      skip_space();
      continue;
    }
    const uint32_t v1 = value_of(next());
    if (*s == '\0') return TC_PARSE_ITEM;
    const uint32_t v2 = value_of(next());
    if (*s == '\0') return TC_PARSE_ITEM;
    *w++ = static_cast<uint8_t>(v1 << 2 | v2 >> 4);
    const unsigned char c3 = next();
    if (*s == '\0') return TC_PARSE_ITEM;
    if (c3 == '=') break;
    const uint32_t v3 = value_of(c3);
    *w++ = static_cast<uint8_t>(v2 << 4 | v3 >> 2);
    const unsigned char c4 = next();
    if (c4 == '=') break;
    *w++ = static_cast<uint8_t>(v3 << 6 | value_of(c4));
  }
  *length = static_cast<uint32_t>(w - out);
  return TC_SUCCESS;
}

}  // namespace qel
