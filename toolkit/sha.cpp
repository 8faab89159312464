// SHA-1 and SHA-256. Update and Final are shared by both digests and take the
// block function as a parameter; the block function is the portable one or,
// on x86 processors that have them, one on the SHA instructions, picked once.
#include "toolkit/sha.h"

#include <bit>
#include <cstring>
#include <utility>

#include "toolkit/sha_blocks.h"

#ifdef QEL_SHA_X86
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace qel::sha {
namespace {

const uint8_t kPadding[64] = {0x80};

alignas(16) const uint32_t kRound256[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

inline uint32_t load_be32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap32(v);
  return v;
}

inline void store_be32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

// Message word t of the block, for t >= 16 computed in place in the ring of
// the last sixteen words.
template <class Next>
inline uint32_t schedule(uint32_t (&w)[16], const uint8_t* p, int t, Next next) {
  if (t < 16) return w[t] = load_be32(p + 4 * t);
  return w[t & 15] = next(w, t);
}

// Takes in `length` bytes through the 64-byte block buffer of any context.
template <class Context>
void take(Context* context, const uint8_t* data, size_t length, Blocks blocks) {
  size_t offset = context->byteCount & 63;
  context->byteCount += length;
  if (length == 0) return;
  if (offset != 0) {
    const size_t room = 64 - offset;
    if (length < room) {
      std::memcpy(context->input + offset, data, length);
      return;
    }
    std::memcpy(context->input + offset, data, room);
    blocks(context->state, context->input, 1);
    data += room;
    length -= room;
  }
  if (length >= 64) blocks(context->state, data, length / 64);
  std::memcpy(context->input, data + (length & ~size_t{63}), length & 63);
}

// Pads with 0x80, zeros and the bit count big-endian, and writes the state
// big-endian as the digest.
template <class Context>
void finish(Context* context, Blocks blocks) {
  const uint64_t bits = context->byteCount << 3;
  const size_t offset = context->byteCount & 63;
  take(context, kPadding, offset < 56 ? 56 - offset : 120 - offset, blocks);
  for (int i = 0; i < 8; ++i) context->input[56 + i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
  blocks(context->state, context->input, 1);
  for (size_t i = 0; i < sizeof context->digest / 4; ++i)
    store_be32(context->digest + 4 * i, context->state[i]);
}

#ifdef QEL_SHA_X86
bool has_sha_instructions() {
  unsigned a, b, c, d;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
  const bool ssse3_sse41 = (c & bit_SSSE3) != 0 && (c & bit_SSE4_1) != 0;
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return false;
  return ssse3_sse41 && (b & (1u << 29)) != 0;  // leaf 7 EBX bit 29: SHA
}
#else
bool has_sha_instructions() { return false; }
#endif

}  // namespace

void sha1_portable(uint32_t* state, const uint8_t* p, size_t blocks) {
  for (; blocks != 0; --blocks, p += 64) {
    uint32_t w[16];
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
    for (int t = 0; t < 80; ++t) {
      const uint32_t word = schedule(w, p, t, [](uint32_t(&w)[16], int t) {
        return std::rotl(w[(t - 3) & 15] ^ w[(t - 8) & 15] ^ w[(t - 14) & 15] ^ w[t & 15], 1);
      });
      uint32_t f;
      if (t < 20) f = (d ^ (b & (c ^ d))) + 0x5a827999u;
      else if (t < 40) f = (b ^ c ^ d) + 0x6ed9eba1u;
      else if (t < 60) f = ((b & c) | (d & (b | c))) + 0x8f1bbcdcu;
      else f = (b ^ c ^ d) + 0xca62c1d6u;
      const uint32_t next = std::rotl(a, 5) + f + e + word;
      e = d;
      d = c;
      c = std::rotl(b, 30);
      b = a;
      a = next;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
  }
}

void sha256_portable(uint32_t* state, const uint8_t* p, size_t blocks) {
  for (; blocks != 0; --blocks, p += 64) {
    uint32_t w[16];
    uint32_t s[8];
    std::memcpy(s, state, sizeof s);
    // Instead of moving the eight working values along after every round,
    // round j names them from s[-j mod 8]: unrolled by eight, they stay in
    // registers.
    for (int t = 0; t < 64; t += 8) {
#pragma GCC unroll 8
      for (int j = 0; j < 8; ++j) {
        const auto v = [&s, j](int k) -> uint32_t& { return s[(k - j) & 7]; };
        const uint32_t word = schedule(w, p, t + j, [](uint32_t(&w)[16], int t) {
          const uint32_t w15 = w[(t - 15) & 15], w2 = w[(t - 2) & 15];
          const uint32_t s0 = std::rotr(w15, 7) ^ std::rotr(w15, 18) ^ (w15 >> 3);
          const uint32_t s1 = std::rotr(w2, 17) ^ std::rotr(w2, 19) ^ (w2 >> 10);
          return w[t & 15] + s0 + w[(t - 7) & 15] + s1;
        });
        const uint32_t a = v(0), e = v(4);
        const uint32_t t1 = v(7) + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                            (v(6) ^ (e & (v(5) ^ v(6)))) + kRound256[t + j] + word;
        v(3) += t1;
        v(7) = t1 + (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) +
               ((a & v(1)) | (v(2) & (a | v(1))));
      }
    }
    for (int i = 0; i < 8; ++i) state[i] += s[i];
  }
}

#ifdef QEL_SHA_X86
#define QEL_SHA_TARGET __attribute__((target("sha,sse4.1,ssse3")))
#define QEL_SHA_INLINE __attribute__((target("sha,sse4.1,ssse3"), always_inline)) inline
namespace {

// Four of the eighty SHA-1 rounds, on message group i (words 4i..4i+3) in
// m[i % 4], and the schedule work that group i makes possible: group i + 1
// completed, and groups i + 2 and i + 3 advanced. e[i % 2] holds E for these
// rounds, e[(i + 1) % 2] receives the next E.
template <int i>
QEL_SHA_INLINE void sha1_group(__m128i& abcd, __m128i (&e)[2],
                                                             __m128i (&m)[4], const uint8_t* p,
                                                             __m128i mask) {
  if constexpr (i < 4)
    m[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i)), mask);
  if constexpr (i == 0)
    e[0] = _mm_add_epi32(e[0], m[0]);
  else
    e[i % 2] = _mm_sha1nexte_epu32(e[i % 2], m[i % 4]);
  e[(i + 1) % 2] = abcd;
  if constexpr (i >= 3 && i <= 18) m[(i + 1) % 4] = _mm_sha1msg2_epu32(m[(i + 1) % 4], m[i % 4]);
  abcd = _mm_sha1rnds4_epu32(abcd, e[i % 2], i / 5);
  if constexpr (i >= 1 && i <= 16) m[(i + 3) % 4] = _mm_sha1msg1_epu32(m[(i + 3) % 4], m[i % 4]);
  if constexpr (i >= 2 && i <= 17) m[(i + 2) % 4] = _mm_xor_si128(m[(i + 2) % 4], m[i % 4]);
}

template <int... i>
QEL_SHA_INLINE void sha1_rounds(std::integer_sequence<int, i...>,
                                                              __m128i& abcd, __m128i (&e)[2],
                                                              const uint8_t* p, __m128i mask) {
  __m128i m[4];
  (sha1_group<i>(abcd, e, m, p, mask), ...);
}

// Four of the sixty-four SHA-256 rounds, on message group i in m[i % 4], with
// the schedule work it makes possible. The state is kept as ABEF and CDGH.
template <int i>
QEL_SHA_INLINE void sha256_group(__m128i& abef, __m128i& cdgh,
                                                               __m128i (&m)[4], const uint8_t* p,
                                                               __m128i mask) {
  if constexpr (i < 4)
    m[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i)), mask);
  __m128i words = _mm_add_epi32(
      m[i % 4], _mm_load_si128(reinterpret_cast<const __m128i*>(kRound256 + 4 * i)));
  cdgh = _mm_sha256rnds2_epu32(cdgh, abef, words);
  if constexpr (i >= 3 && i <= 14) {
    const __m128i shifted = _mm_alignr_epi8(m[i % 4], m[(i + 3) % 4], 4);
    m[(i + 1) % 4] = _mm_sha256msg2_epu32(_mm_add_epi32(m[(i + 1) % 4], shifted), m[i % 4]);
  }
  words = _mm_shuffle_epi32(words, 0x0e);
  abef = _mm_sha256rnds2_epu32(abef, cdgh, words);
  if constexpr (i >= 1 && i <= 12) m[(i + 3) % 4] = _mm_sha256msg1_epu32(m[(i + 3) % 4], m[i % 4]);
}

template <int... i>
QEL_SHA_INLINE void sha256_rounds(std::integer_sequence<int, i...>,
                                                                __m128i& abef, __m128i& cdgh,
                                                                const uint8_t* p, __m128i mask) {
  __m128i m[4];
  (sha256_group<i>(abef, cdgh, m, p, mask), ...);
}

}  // namespace

QEL_SHA_TARGET void sha1_x86(uint32_t* state, const uint8_t* p, size_t blocks) {
  const __m128i mask = _mm_set_epi64x(0x0001020304050607ll, 0x08090a0b0c0d0e0fll);
  __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state)), 0x1b);
  __m128i e[2] = {_mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0), _mm_setzero_si128()};
  for (; blocks != 0; --blocks, p += 64) {
    const __m128i abcd_before = abcd, e_before = e[0];
    sha1_rounds(std::make_integer_sequence<int, 20>(), abcd, e, p, mask);
    e[0] = _mm_sha1nexte_epu32(e[0], e_before);
    abcd = _mm_add_epi32(abcd, abcd_before);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1b));
  state[4] = static_cast<uint32_t>(_mm_extract_epi32(e[0], 3));
}

QEL_SHA_TARGET void sha256_x86(uint32_t* state, const uint8_t* p, size_t blocks) {
  const __m128i mask = _mm_set_epi64x(0x0c0d0e0f08090a0bll, 0x0405060700010203ll);
  const __m128i dcba = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state)), 0xb1);
  const __m128i hgfe = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state + 4)), 0x1b);
  __m128i abef = _mm_alignr_epi8(dcba, hgfe, 8);
  __m128i cdgh = _mm_blend_epi16(hgfe, dcba, 0xf0);
  for (; blocks != 0; --blocks, p += 64) {
    const __m128i abef_before = abef, cdgh_before = cdgh;
    sha256_rounds(std::make_integer_sequence<int, 16>(), abef, cdgh, p, mask);
    abef = _mm_add_epi32(abef, abef_before);
    cdgh = _mm_add_epi32(cdgh, cdgh_before);
  }
  const __m128i feba = _mm_shuffle_epi32(abef, 0x1b);
  const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xb1);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_blend_epi16(feba, dchg, 0xf0));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), _mm_alignr_epi8(dchg, feba, 8));
}
#undef QEL_SHA_TARGET
#undef QEL_SHA_INLINE
#endif

Blocks sha1_blocks() {
#ifdef QEL_SHA_X86
  if (sha_hardware()) return sha1_x86;
#endif
  return sha1_portable;
}

Blocks sha256_blocks() {
#ifdef QEL_SHA_X86
  if (sha_hardware()) return sha256_x86;
#endif
  return sha256_portable;
}

void update(SHA1Context* context, const uint8_t* data, size_t length, Blocks blocks) {
  take(context, data, length, blocks);
}
void final(SHA1Context* context, Blocks blocks) { finish(context, blocks); }
void update(SHA256Context* context, const uint8_t* data, size_t length, Blocks blocks) {
  take(context, data, length, blocks);
}
void final(SHA256Context* context, Blocks blocks) { finish(context, blocks); }

}  // namespace qel::sha

namespace qel {

bool sha_hardware() {
  static const bool present = sha::has_sha_instructions();
  return present;
}

void SHA1Init(SHA1Context* context) {
  static constexpr uint32_t kInitial[5] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476,
                                           0xc3d2e1f0};
  context->byteCount = 0;
  std::memcpy(context->state, kInitial, sizeof kInitial);
}

void SHA1Update(SHA1Context* context, const uint8_t* data, uint32_t length) {
  static const sha::Blocks blocks = sha::sha1_blocks();
  sha::update(context, data, length, blocks);
}

void SHA1Final(SHA1Context* context) {
  static const sha::Blocks blocks = sha::sha1_blocks();
  sha::final(context, blocks);
}

void SHA256Init(SHA256Context* context) {
  static constexpr uint32_t kInitial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  context->byteCount = 0;
  std::memcpy(context->state, kInitial, sizeof kInitial);
}

void SHA256Update(SHA256Context* context, const uint8_t* data, uint32_t length) {
  static const sha::Blocks blocks = sha::sha256_blocks();
  sha::update(context, data, length, blocks);
}

void SHA256Final(SHA256Context* context) {
  static const sha::Blocks blocks = sha::sha256_blocks();
  sha::final(context, blocks);
}

}  // namespace qel
