#include "cli/json_writer.h"

#include <cstring>

namespace qel::cli {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

// Octets that go through unchanged: printable ASCII except '"' and '\'.
constexpr bool plain(unsigned char c) { return c >= 0x20 && c < 0x80 && c != '"' && c != '\\'; }

}  // namespace

size_t utf8_sequence_length(std::string_view text) {
  const auto at = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) return 1;
  size_t length;
  unsigned char low = 0x80, high = 0xBF;  // range of the second octet
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;        // no overlong forms
    else if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    else if (lead == 0xF4) high = 0x8F;  // at most U+10FFFF
  } else {
    return 0;
  }
  if (text.size() < length || at(1) < low || at(1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if ((at(i) & 0xC0) != 0x80) return 0;
  return length;
}

// Whether any of the eight octets in `x` is not plain: below 0x20, from
// 0x80 up, '"' or '\\'.
inline bool any_special(uint64_t x) {
  constexpr uint64_t kOnes = 0x0101010101010101, kHighs = 0x8080808080808080;
  const auto zero_octet = [](uint64_t v) { return (v - kOnes) & ~v & kHighs; };
  const uint64_t below_0x20 = ((x & ~kHighs) + 0x6060606060606060) ^ kHighs;  // high bit set where below
  return ((x | below_0x20) & kHighs) != 0 ||
         zero_octet(x ^ 0x2222222222222222) != 0 || zero_octet(x ^ 0x5c5c5c5c5c5c5c5c) != 0;
}

void append_json_string(std::string& out, std::string_view text) {
  out.push_back('"');
  size_t i = 0;
  while (i < text.size()) {
    size_t run = i;
    // Eight plain octets at a time, then one at a time.
    for (uint64_t x; text.size() - run >= 8 && (std::memcpy(&x, text.data() + run, 8), !any_special(x));) run += 8;
    while (run < text.size() && plain(static_cast<unsigned char>(text[run]))) ++run;
    out.append(text.data() + i, run - i);
    i = run;
    if (i == text.size()) break;
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) {
      const size_t length = utf8_sequence_length(text.substr(i));
      if (length == 0) {
        out.append("\xEF\xBF\xBD");
        ++i;
      } else {
        out.append(text.data() + i, length);
        i += length;
      }
      continue;
    }
    out.push_back('\\');
    switch (c) {
      case '"': out.push_back('"'); break;
      case '\\': out.push_back('\\'); break;
      case '\n': out.push_back('n'); break;
      case '\t': out.push_back('t'); break;
      case '\r': out.push_back('r'); break;
      case '\b': out.push_back('b'); break;
      case '\f': out.push_back('f'); break;
      default:
        out.append("u00");
        out.push_back(kHexDigits[c >> 4]);
        out.push_back(kHexDigits[c & 15]);
    }
    ++i;
  }
  out.push_back('"');
}

void append_uint(std::string& out, uint64_t value) {
  char digits[20];
  char* start = digits + sizeof digits;
  do {
    *--start = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  out.append(start, static_cast<size_t>(digits + sizeof digits - start));
}

void append_int(std::string& out, int64_t value) {
  if (value < 0) {
    out.push_back('-');
    append_uint(out, static_cast<uint64_t>(0) - static_cast<uint64_t>(value));
  } else {
    append_uint(out, static_cast<uint64_t>(value));
  }
}

void append_hex(std::string& out, std::span<const uint8_t> octets) {
  const size_t start = out.size();
  out.resize(start + 2 * octets.size());
  char* w = out.data() + start;
  for (uint8_t b : octets) {
    *w++ = kHexDigits[b >> 4];
    *w++ = kHexDigits[b & 15];
  }
}

}  // namespace qel::cli
