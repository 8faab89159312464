#include "tool/fingerprint.h"
#include "tool/run.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/helpers.h"

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

// Out of memory the file is not loaded, and the PEM fingerprint reports its
// failure on standard output.
TEST(Fingerprint, NoMemory) {
  uint8_t* buffer = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(tst::each_allocation_failing([&] {
              const int r = read_cert(QEL_TEST_DATA "/sample.der", &buffer, &size);
              EXPECT_EQ(r == 0, buffer != nullptr);
              if (r != 0) return;
              EXPECT_GT(size, 100u);
              std::free(buffer);
              buffer = nullptr;
            }), 1);
  const std::vector<uint8_t> data(100, 'x');
  const char* kError = "ERROR: Error PEM encoding root CA\n";
  EXPECT_EQ(tst::each_allocation_failing([&] {
              testing::internal::CaptureStdout();
              char* text = pemFingerprint(data.data(), 100, 1);
              const std::string out = testing::internal::GetCapturedStdout();
              EXPECT_EQ(text ? std::strlen(text) : 47u, 47u);
              EXPECT_EQ(out, text || out.empty() ? "" : kError);
              std::free(text);
            }), 3);
}

}  // namespace
}  // namespace qel
