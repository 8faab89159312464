#include "toolkit/md5.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace qel {
namespace {

// The content make_md5_expectations.py hashes.
std::vector<uint8_t> content(size_t length) {
  std::vector<uint8_t> v(length);
  for (size_t i = 0; i < length; ++i) v[i] = static_cast<uint8_t>(i * 167 + (i >> 9));
  return v;
}

std::string hex(const uint8_t* bytes, size_t n) {
  static const char kHex[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < n; ++i) s += {kHex[bytes[i] >> 4], kHex[bytes[i] & 15]};
  return s;
}

// Digest of `data` fed to MD5Update in pieces that end at the given offsets.
std::string md5_pieces(const std::vector<uint8_t>& data, const std::vector<size_t>& cuts) {
  MD5Context context;
  MD5Init(&context);
  size_t at = 0;
  for (size_t cut : cuts) {
    MD5Update(&context, data.data() + at, static_cast<uint32_t>(cut - at));
    at = cut;
  }
  MD5Update(&context, data.data() + at, static_cast<uint32_t>(data.size() - at));
  MD5Final(&context);
  return hex(context.digest, 16);
}

std::string md5(const std::vector<uint8_t>& data) { return md5_pieces(data, {}); }

TEST(MD5, Rfc1321Suite) {
  const struct {
    const char* message;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(md5(std::vector<uint8_t>(c.message, c.message + std::strlen(c.message))), c.digest);
  }
}

struct Expectation {
  size_t length;
  std::string digest;
};

std::vector<Expectation> stored_expectations() {
  std::ifstream in(QEL_TEST_DATA "/md5_lengths.txt");
  std::vector<Expectation> rows;
  Expectation row;
  while (in >> row.length >> row.digest) rows.push_back(row);
  return rows;
}

// Every length 0..200 and 1 MiB, in one call and split in two at every point;
// a few lengths around the block and padding boundaries also in three pieces.
TEST(MD5, MatchesStoredDigestsWhateverTheSplit) {
  const auto rows = stored_expectations();
  ASSERT_EQ(rows.size(), 202u);
  for (const auto& row : rows) {
    SCOPED_TRACE("length " + std::to_string(row.length));
    const auto data = content(row.length);
    EXPECT_EQ(md5(data), row.digest);
    if (row.length > 200) continue;
    for (size_t cut = 0; cut <= row.length; ++cut) {
      ASSERT_EQ(md5_pieces(data, {cut}), row.digest) << "cut at " << cut;
    }
    if (row.length != 55 && row.length != 56 && row.length != 64 && row.length != 129) continue;
    for (size_t a = 0; a <= row.length; ++a)
      for (size_t b = a; b <= row.length; ++b) ASSERT_EQ(md5_pieces(data, {a, b}), row.digest) << a << "," << b;
  }
}

TEST(MD5, LargeInputInUnevenPieces) {
  const auto rows = stored_expectations();
  ASSERT_FALSE(rows.empty());
  const auto data = content(rows.back().length);
  std::vector<size_t> cuts;
  const size_t steps[] = {1, 63, 64, 65, 4096, 127, 3};
  for (size_t at = 0, i = 0; at + steps[i % 7] < data.size(); ++i) cuts.push_back(at += steps[i % 7]);
  EXPECT_EQ(md5_pieces(data, cuts), rows.back().digest);
}

TEST(MD5, BitCountCarriesIntoHighWord) {
  MD5Context context;
  MD5Init(&context);
  context.bitCount[0] = 0xFFFFFE00u;  // a whole number of blocks
  const auto data = content(64);
  MD5Update(&context, data.data(), 64);
  EXPECT_EQ(context.bitCount[0], 0u);
  EXPECT_EQ(context.bitCount[1], 1u);
}

// Transform over words already in machine form: the padded block of "abc".
TEST(MD5, TransformTakesMachineWords) {
  uint32_t block[16] = {0x80636261u};
  block[14] = 24;
  uint32_t state[4] = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};
  Transform(state, block);
  uint8_t digest[16];
  for (int i = 0; i < 16; ++i) digest[i] = static_cast<uint8_t>(state[i / 4] >> (8 * (i % 4)));
  EXPECT_EQ(hex(digest, 16), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5, ContextIsReusableAfterInit) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, reinterpret_cast<const uint8_t*>("junk"), 4);
  MD5Final(&context);
  MD5Init(&context);
  MD5Update(&context, reinterpret_cast<const uint8_t*>("abc"), 3);
  MD5Final(&context);
  EXPECT_EQ(hex(context.digest, 16), "900150983cd24fb0d6963f7d28e17f72");
}

}  // namespace
}  // namespace qel
