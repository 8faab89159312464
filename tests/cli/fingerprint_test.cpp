#include "tool/fingerprint.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace qel {
namespace {

std::string take(char* text) {
  std::string s = text != nullptr ? text : "(null)";
  std::free(text);
  return s;
}

std::vector<uint8_t> content(size_t n) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(i * 167);
  return v;
}

TEST(Fingerprint, HexPairsWithAndWithoutSeparators) {
  // MD5 of no bytes, d41d8cd98f00b204e9800998ecf8427e, has bytes below 16.
  EXPECT_EQ(take(fingerPrintCert(nullptr, 0, 1)), "d4:1d:8c:d9:8f:00:b2:04:e9:80:09:98:ec:f8:42:7e");
  EXPECT_EQ(take(fingerPrintCert(nullptr, 0, 0)), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(take(fingerPrintCert(reinterpret_cast<const uint8_t*>("abc"), 3, 7)),
            "90:01:50:98:3c:d2:4f:b0:d6:96:3f:7d:28:e1:7f:72");
}

// The PEM text: base64 in lines of 64, each ended by one line feed; one line
// feed alone for no data.
TEST(Fingerprint, PemTextSizesAndLines) {
  const struct {
    uint32_t data_size, pem_size;
  } cases[] = {{0, 1}, {1, 5}, {3, 5}, {47, 65}, {48, 65}, {49, 70}, {96, 130}, {97, 135}, {450, 610}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.data_size);
    const auto data = content(c.data_size);
    uint32_t size = 0;
    char* pem = pem_text(data.data(), c.data_size, &size);
    ASSERT_NE(pem, nullptr);
    const std::string text(pem, size);
    std::free(pem);
    EXPECT_EQ(size, c.pem_size);
    EXPECT_EQ(text.back(), '\n');
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
      end = text.find('\n', start);
      EXPECT_TRUE(end - start == 64 || end + 1 == text.size()) << "line at " << start;
      EXPECT_FALSE(end == start && c.data_size != 0) << "empty line at " << start;
    }
  }
}

// pemFingerprint hashes exactly the PEM text, nothing behind its last line feed.
TEST(Fingerprint, PemFingerprintIsThatOfThePemText) {
  const struct {
    std::string data, pem;
  } cases[] = {
      {"", "\n"},
      {"Man", "TWFu\n"},
      {std::string(49, 'x'),
       "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4\neA==\n"},
      {std::string(48, 'x'), "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pem);
    const auto* data = reinterpret_cast<const uint8_t*>(c.data.data());
    const auto* pem = reinterpret_cast<const uint8_t*>(c.pem.data());
    EXPECT_EQ(take(pemFingerprint(data, static_cast<uint32_t>(c.data.size()), 1)),
              take(fingerPrintCert(pem, static_cast<uint32_t>(c.pem.size()), 1)));
  }
}

}  // namespace
}  // namespace qel
