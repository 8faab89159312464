// MD5 (RFC 1321). The rounds are fully unrolled with their constants, and the
// boolean functions are written so that the part which does not depend on the
// newest chaining value can be computed ahead of it: the critical path of a
// step is then four or five single-cycle operations.
#include "toolkit/md5.h"

#include <bit>
#include <cstring>

namespace qel {
namespace {

const uint8_t kPadding[64] = {0x80};

inline uint32_t load_le32(const uint8_t* p) {
  if constexpr (std::endian::native == std::endian::little) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
  } else {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
  }
}

inline void store_le32(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}

// Keeps the compiler from moving the sum of the older operands behind the
// boolean function, where it would lengthen the dependency chain.
#if defined(__GNUC__)
#define QEL_MD5_EARLY(v) __asm__("" : "+r"(v))
#else
#define QEL_MD5_EARLY(v) (void)0
#endif

// F = (b & c) | (~b & d), as d ^ (b & (c ^ d)).
#define QEL_MD5_F(a, b, c, d, i, k, s)          \
  a += X(i) + (k);                             \
  QEL_MD5_EARLY(a);                            \
  a += (d) ^ ((b) & ((c) ^ (d)));              \
  a = std::rotl(a, s) + (b);
// G = (b & d) | (c & ~d); the two terms never share a bit, so they may be
// added, and c & ~d is ready before b.
#define QEL_MD5_G(a, b, c, d, i, k, s)          \
  a += X(i) + (k) + ((c) & ~(d));              \
  QEL_MD5_EARLY(a);                            \
  a += (b) & (d);                              \
  a = std::rotl(a, s) + (b);
#define QEL_MD5_H(a, b, c, d, i, k, s)          \
  a += X(i) + (k);                             \
  QEL_MD5_EARLY(a);                            \
  a += (b) ^ ((c) ^ (d));                      \
  a = std::rotl(a, s) + (b);
#define QEL_MD5_I(a, b, c, d, i, k, s)          \
  a += X(i) + (k);                             \
  QEL_MD5_EARLY(a);                            \
  a += (c) ^ ((b) | ~(d));                     \
  a = std::rotl(a, s) + (b);

// One compression over the words that X(i) yields, added into `state`.
template <class Words>
[[gnu::always_inline]] inline void compress(uint32_t* state, Words X) {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

  QEL_MD5_F(a, b, c, d, 0, 0xd76aa478u, 7)
  QEL_MD5_F(d, a, b, c, 1, 0xe8c7b756u, 12)
  QEL_MD5_F(c, d, a, b, 2, 0x242070dbu, 17)
  QEL_MD5_F(b, c, d, a, 3, 0xc1bdceeeu, 22)
  QEL_MD5_F(a, b, c, d, 4, 0xf57c0fafu, 7)
  QEL_MD5_F(d, a, b, c, 5, 0x4787c62au, 12)
  QEL_MD5_F(c, d, a, b, 6, 0xa8304613u, 17)
  QEL_MD5_F(b, c, d, a, 7, 0xfd469501u, 22)
  QEL_MD5_F(a, b, c, d, 8, 0x698098d8u, 7)
  QEL_MD5_F(d, a, b, c, 9, 0x8b44f7afu, 12)
  QEL_MD5_F(c, d, a, b, 10, 0xffff5bb1u, 17)
  QEL_MD5_F(b, c, d, a, 11, 0x895cd7beu, 22)
  QEL_MD5_F(a, b, c, d, 12, 0x6b901122u, 7)
  QEL_MD5_F(d, a, b, c, 13, 0xfd987193u, 12)
  QEL_MD5_F(c, d, a, b, 14, 0xa679438eu, 17)
  QEL_MD5_F(b, c, d, a, 15, 0x49b40821u, 22)

  QEL_MD5_G(a, b, c, d, 1, 0xf61e2562u, 5)
  QEL_MD5_G(d, a, b, c, 6, 0xc040b340u, 9)
  QEL_MD5_G(c, d, a, b, 11, 0x265e5a51u, 14)
  QEL_MD5_G(b, c, d, a, 0, 0xe9b6c7aau, 20)
  QEL_MD5_G(a, b, c, d, 5, 0xd62f105du, 5)
  QEL_MD5_G(d, a, b, c, 10, 0x02441453u, 9)
  QEL_MD5_G(c, d, a, b, 15, 0xd8a1e681u, 14)
  QEL_MD5_G(b, c, d, a, 4, 0xe7d3fbc8u, 20)
  QEL_MD5_G(a, b, c, d, 9, 0x21e1cde6u, 5)
  QEL_MD5_G(d, a, b, c, 14, 0xc33707d6u, 9)
  QEL_MD5_G(c, d, a, b, 3, 0xf4d50d87u, 14)
  QEL_MD5_G(b, c, d, a, 8, 0x455a14edu, 20)
  QEL_MD5_G(a, b, c, d, 13, 0xa9e3e905u, 5)
  QEL_MD5_G(d, a, b, c, 2, 0xfcefa3f8u, 9)
  QEL_MD5_G(c, d, a, b, 7, 0x676f02d9u, 14)
  QEL_MD5_G(b, c, d, a, 12, 0x8d2a4c8au, 20)

  QEL_MD5_H(a, b, c, d, 5, 0xfffa3942u, 4)
  QEL_MD5_H(d, a, b, c, 8, 0x8771f681u, 11)
  QEL_MD5_H(c, d, a, b, 11, 0x6d9d6122u, 16)
  QEL_MD5_H(b, c, d, a, 14, 0xfde5380cu, 23)
  QEL_MD5_H(a, b, c, d, 1, 0xa4beea44u, 4)
  QEL_MD5_H(d, a, b, c, 4, 0x4bdecfa9u, 11)
  QEL_MD5_H(c, d, a, b, 7, 0xf6bb4b60u, 16)
  QEL_MD5_H(b, c, d, a, 10, 0xbebfbc70u, 23)
  QEL_MD5_H(a, b, c, d, 13, 0x289b7ec6u, 4)
  QEL_MD5_H(d, a, b, c, 0, 0xeaa127fau, 11)
  QEL_MD5_H(c, d, a, b, 3, 0xd4ef3085u, 16)
  QEL_MD5_H(b, c, d, a, 6, 0x04881d05u, 23)
  QEL_MD5_H(a, b, c, d, 9, 0xd9d4d039u, 4)
  QEL_MD5_H(d, a, b, c, 12, 0xe6db99e5u, 11)
  QEL_MD5_H(c, d, a, b, 15, 0x1fa27cf8u, 16)
  QEL_MD5_H(b, c, d, a, 2, 0xc4ac5665u, 23)

  QEL_MD5_I(a, b, c, d, 0, 0xf4292244u, 6)
  QEL_MD5_I(d, a, b, c, 7, 0x432aff97u, 10)
  QEL_MD5_I(c, d, a, b, 14, 0xab9423a7u, 15)
  QEL_MD5_I(b, c, d, a, 5, 0xfc93a039u, 21)
  QEL_MD5_I(a, b, c, d, 12, 0x655b59c3u, 6)
  QEL_MD5_I(d, a, b, c, 3, 0x8f0ccc92u, 10)
  QEL_MD5_I(c, d, a, b, 10, 0xffeff47du, 15)
  QEL_MD5_I(b, c, d, a, 1, 0x85845dd1u, 21)
  QEL_MD5_I(a, b, c, d, 8, 0x6fa87e4fu, 6)
  QEL_MD5_I(d, a, b, c, 15, 0xfe2ce6e0u, 10)
  QEL_MD5_I(c, d, a, b, 6, 0xa3014314u, 15)
  QEL_MD5_I(b, c, d, a, 13, 0x4e0811a1u, 21)
  QEL_MD5_I(a, b, c, d, 4, 0xf7537e82u, 6)
  QEL_MD5_I(d, a, b, c, 11, 0xbd3af235u, 10)
  QEL_MD5_I(c, d, a, b, 2, 0x2ad7d2bbu, 15)
  QEL_MD5_I(b, c, d, a, 9, 0xeb86d391u, 21)

  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

#undef QEL_MD5_F
#undef QEL_MD5_G
#undef QEL_MD5_H
#undef QEL_MD5_I
#undef QEL_MD5_EARLY

// Compresses `blocks` consecutive 64-byte blocks read straight from `p`,
// keeping the chaining values in registers between blocks.
void compress_bytes(uint32_t state[4], const uint8_t* p, size_t blocks) {
  uint32_t s[4] = {state[0], state[1], state[2], state[3]};
  for (; blocks != 0; --blocks, p += 64)
    compress(s, [p](int i) { return load_le32(p + 4 * i); });
  state[0] = s[0];
  state[1] = s[1];
  state[2] = s[2];
  state[3] = s[3];
}

}  // namespace

void Transform(uint32_t state[4], const uint32_t block[16]) {
  compress(state, [block](int i) { return block[i]; });
}

void MD5Init(MD5Context* context) {
  context->bitCount[0] = 0;
  context->bitCount[1] = 0;
  context->state[0] = 0x67452301u;
  context->state[1] = 0xefcdab89u;
  context->state[2] = 0x98badcfeu;
  context->state[3] = 0x10325476u;
}

void MD5Update(MD5Context* context, const uint8_t* data, uint32_t length) {
  uint32_t offset = (context->bitCount[0] >> 3) & 63;
  const uint32_t bits = length << 3;
  context->bitCount[0] += bits;
  if (context->bitCount[0] < bits) ++context->bitCount[1];
  context->bitCount[1] += length >> 29;
  if (length == 0) return;

  // Complete a partly gathered block first.
  if (offset != 0) {
    const uint32_t room = 64 - offset;
    if (length < room) {
      std::memcpy(context->input + offset, data, length);
      return;
    }
    std::memcpy(context->input + offset, data, room);
    compress_bytes(context->state, context->input, 1);
    data += room;
    length -= room;
  }
  // Whole blocks straight from the caller's buffer; the rest waits in input.
  compress_bytes(context->state, data, length / 64);
  std::memcpy(context->input, data + (length & ~63u), length & 63);
}

void MD5Final(MD5Context* context) {
  const uint32_t low = context->bitCount[0];
  const uint32_t high = context->bitCount[1];
  const uint32_t offset = (low >> 3) & 63;
  MD5Update(context, kPadding, offset < 56 ? 56 - offset : 120 - offset);

  uint32_t block[16];
  for (int i = 0; i < 14; ++i) block[i] = load_le32(context->input + 4 * i);
  block[14] = low;
  block[15] = high;
  Transform(context->state, block);
  for (int i = 0; i < 4; ++i) store_le32(context->digest + 4 * i, context->state[i]);
}

}  // namespace qel
