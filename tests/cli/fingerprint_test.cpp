#include "tool/fingerprint.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace qel {
namespace {

// The PEM text is the base64 text in lines of 64, each ended by one line
// feed, and one line feed alone for no data. "xxx" encodes as eHh4.
TEST(Fingerprint, PemText) {
  const std::pair<uint32_t, std::string> cases[] = {
      {0, "\n"}, {1, "eA==\n"}, {3, "eHh4\n"}, {47, std::string(60, 'x') + "eHg=\n"},
      {48, std::string(64, 'x') + "\n"}, {49, std::string(64, 'x') + "\neA==\n"},
      {97, std::string(64, 'x') + "\n" + std::string(64, 'x') + "\n" + "eA==\n"}};
  for (auto [size, expected] : cases) {
    SCOPED_TRACE(size);
    for (size_t at; (at = expected.find(std::string(4, 'x'))) != std::string::npos;) expected.replace(at, 4, "eHh4");
    const std::vector<uint8_t> data(size, 'x');
    uint32_t pem_size = 0;
    char* pem = pem_text(data.data(), size, &pem_size);
    EXPECT_EQ(std::string(pem, pem_size), expected);
    std::free(pem);
  }
}

TEST(Fingerprint, WithoutSeparators) {
  char* text = fingerPrintCert(nullptr, 0, 0);
  EXPECT_STREQ(text, "d41d8cd98f00b204e9800998ecf8427e");
  std::free(text);
}

}  // namespace
}  // namespace qel
