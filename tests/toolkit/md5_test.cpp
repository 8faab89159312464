#include "toolkit/md5.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace qel {
namespace {

// Digest in hex of `data` fed to MD5Update in pieces ending at `cuts`.
std::string md5(const std::vector<uint8_t>& data, const std::vector<size_t>& cuts = {}) {
  MD5Context context;
  MD5Init(&context);
  size_t at = 0;
  for (size_t cut : cuts) {
    MD5Update(&context, data.data() + at, static_cast<uint32_t>(cut - at));
    at = cut;
  }
  MD5Update(&context, data.data() + at, static_cast<uint32_t>(data.size() - at));
  MD5Final(&context);
  char hex[33];
  for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", context.digest[i]);
  return hex;
}

// Stored digests (hashlib) of every length 0..200 and of 1 MiB: in one call,
// split in two at every point, for lengths at the padding and block edges
// split in three at every pair of points, and 1 MiB in uneven pieces.
TEST(MD5, MatchesStoredDigestsWhateverTheSplit) {
  std::ifstream in(QEL_TEST_DATA "/md5_lengths.txt");
  size_t rows = 0;
  for (std::string length, digest; in >> length >> digest; ++rows) {
    SCOPED_TRACE("length " + length);
    std::vector<uint8_t> data(std::stoul(length));
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 167 + (i >> 9));
    EXPECT_EQ(md5(data), digest);
    if (data.size() > 200) {
      const size_t steps[] = {1, 63, 64, 65, 4095};
      std::vector<size_t> cuts;
      for (size_t at = 0, i = 0; at + 4096 < data.size(); ++i) cuts.push_back(at += steps[i % 5]);
      EXPECT_EQ(md5(data, cuts), digest);
      continue;
    }
    const bool edge = data.size() == 55 || data.size() == 56 || data.size() == 129;
    for (size_t a = 0; a <= data.size(); ++a) {
      ASSERT_EQ(md5(data, {a}), digest) << "cut at " << a;
      for (size_t b = a; edge && b <= data.size(); ++b) ASSERT_EQ(md5(data, {a, b}), digest) << a << "," << b;
    }
  }
  EXPECT_EQ(rows, 202u);
}

TEST(MD5, BitCountCarriesIntoHighWord) {
  MD5Context context;
  MD5Init(&context);
  context.bitCount[0] = 0xFFFFFE00u;  // a whole number of blocks
  const uint8_t block[64] = {};
  MD5Update(&context, block, 64);
  EXPECT_EQ(context.bitCount[0], 0u);
  EXPECT_EQ(context.bitCount[1], 1u);
}

}  // namespace
}  // namespace qel
