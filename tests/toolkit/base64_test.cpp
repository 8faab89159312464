#include "toolkit/base64.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "tests/helpers.h"

namespace qel {
namespace {

std::string encode(const std::string& data) {
  char* text = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(tc_encode_base64(&text, &length, reinterpret_cast<const uint8_t*>(data.data()),
                             static_cast<uint32_t>(data.size())), 0);
  std::string s(text, length);
  std::free(text);
  return s;
}

// Result, `length`, and the `length` bytes of the block.
std::tuple<int, uint32_t, std::string> decode(const std::string& text) {
  uint8_t* bytes = nullptr;
  uint32_t length = 0;
  const int result = tc_decode_base64(&bytes, &length, text.c_str());
  std::string s(reinterpret_cast<char*>(bytes), length);
  std::free(bytes);
  return {result, length, s};
}

TEST(Base64, EncodesAndRoundTrips) {
  const std::string cases[][2] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"}, {std::string("\xfb\xff\xbf\0", 4), "+/+/AA=="},
      {"Many hands make light work.", "TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu"}};
  for (const auto& c : cases) EXPECT_EQ(encode(c[0]), c[1]);
  for (size_t n = 0; n <= 200; ++n) {
    std::string data(n, '\0');
    for (size_t i = 0; i < n; ++i) data[i] = static_cast<char>(i * 167 + n);
    ASSERT_EQ(decode(encode(data)), std::make_tuple(0, static_cast<uint32_t>(n), data)) << n;
  }
}

// The rows of tests/data/base64_decodes.txt.
TEST(Base64, DecoderLeniencies) {
  const auto rows = tst::table("base64_decodes.txt");
  EXPECT_EQ(rows.size(), 14u);
  for (const auto& f : rows) {
    ASSERT_EQ(f.size(), 5u) << f[0];
    const auto [r, l, b] = decode(tst::unescape(f[1]));
    const std::string bytes = tst::unescape(f[4]);
    EXPECT_EQ(std::make_tuple(r, l, b.substr(0, bytes.size())),
              std::make_tuple(std::stoi(f[2]), static_cast<uint32_t>(std::stoul(f[3])), bytes))
        << f[0];
  }
  const std::string kStar = "\x4f\xf1\x6e";
  // Bytes from 0x80 up have no place in the table: they count as 0xFF too.
  std::string text = "T?Fu";
  for (int c = 0x80; c <= 0xFF; ++c) {
    text[1] = static_cast<char>(c);
    EXPECT_EQ(decode(text), std::make_tuple(0, 3u, kStar)) << c;
  }
}

}  // namespace
}  // namespace qel
