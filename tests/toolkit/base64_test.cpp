#include "toolkit/base64.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace qel {
namespace {

struct Decoded {
  int result;
  std::string bytes;  // the bytes written; on result 3 as many as `length` says
  uint32_t length;
};

Decoded decode(const std::string& text) {
  uint8_t* bytes = nullptr;
  uint32_t length = 0;
  Decoded d;
  d.result = tc_decode_base64(&bytes, &length, text.c_str());
  d.length = length;
  if (bytes != nullptr) d.bytes.assign(reinterpret_cast<char*>(bytes), length);
  std::free(bytes);
  return d;
}

std::string encode(const std::string& data) {
  char* text = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(tc_encode_base64(&text, &length, reinterpret_cast<const uint8_t*>(data.data()),
                             static_cast<uint32_t>(data.size())),
            0);
  std::string s(text, length);
  EXPECT_EQ(text[length], '\0');
  std::free(text);
  return s;
}

TEST(Base64, EncodesPublishedVectors) {
  const struct {
    std::string data, text;
  } cases[] = {
      {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"M", "TQ=="},
      {"Ma", "TWE="},   {"Man", "TWFu"},
      {std::string("\xfb\xff\xbf\x00", 4), "+/+/AA=="},
      {"Many hands make light work.", "TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(encode(c.data), c.text);
  }
}

TEST(Base64, RoundTripsEveryLengthTo200) {
  for (size_t n = 0; n <= 200; ++n) {
    SCOPED_TRACE(n);
    std::string data(n, '\0');
    for (size_t i = 0; i < n; ++i) data[i] = static_cast<char>(i * 167 + n);
    const std::string text = encode(data);
    ASSERT_EQ(text.size(), 4 * ((n + 2) / 3));
    const Decoded d = decode(text);
    ASSERT_EQ(d.result, 0);
    ASSERT_EQ(d.bytes, data);
  }
}

TEST(Base64, DecoderLeniencies) {
  const std::string kMan = "Man";
  const struct {
    const char* name;
    std::string text;
    int result;
    std::string bytes;
  } cases[] = {
      {"empty text", "", 0, ""},
      {"white space only", " \t\n\v\f\r", 0, ""},
      {"blanks between characters", " T W F u ", 0, kMan},
      {"line feeds between characters", "T\nW\r\nF\tu\n\n", 0, kMan},
      {"white space behind the last group", "TWFu \n", 0, kMan},
      {"two groups", "TWFuTWFu", 0, kMan + kMan},
      {"one byte", "TQ==", 0, "M"},
      {"two bytes", "TWE=", 0, "Ma"},
      {"nothing read behind the first =", "TWE=QUJD", 0, "Ma"},
      {"= in second place is a value", "T=E=", 0, "O\xf1"},
      // '*' counts as 0xFF: (19 << 2 | 0xFF >> 4), (0xFF << 4 | 5 >> 2), (5 << 6 | 46).
      {"outside the alphabet", "T*Fu", 0, "\x4f\xf1\x6e"},
      {"byte 0x80 like any outsider", "T\x80" "Fu", 0, "\x4f\xf1\x6e"},
      {"byte 0xFF like any outsider", "T\xff" "Fu", 0, "\x4f\xf1\x6e"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = decode(c.text);
    EXPECT_EQ(d.result, c.result);
    EXPECT_EQ(d.bytes, c.bytes);
  }
}

// Every byte outside the 7-bit table decodes as a non-alphabet character does.
TEST(Base64, HighBytesCountAsOutsideTheAlphabet) {
  const Decoded outsider = decode("**A*");
  for (int b = 0x80; b <= 0xFF; ++b) {
    SCOPED_TRACE(b);
    const std::string c(1, static_cast<char>(b));
    const Decoded d = decode(c + c + "A" + c);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.bytes, outsider.bytes);
  }
}

// A text ending inside a group: result 3, the bytes decoded so far in the
// block, and `length` left at the capacity of floor(3n / 4).
TEST(Base64, TruncatedGroups) {
  const struct {
    std::string text;
    uint32_t capacity;
    std::string first_bytes;
  } cases[] = {
      {"T", 0, ""},           {"TW", 1, ""},        {"TWF", 2, "M"},
      {"TQ=", 2, "M"},        {"TW F", 3, "M"},     {"TWFuT", 3, "Man"},
      {"TWFuTWF", 5, "ManM"}, {"TWFuTW\n", 5, "Man"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const Decoded d = decode(c.text);
    EXPECT_EQ(d.result, 3);
    EXPECT_EQ(d.length, c.capacity);
    EXPECT_EQ(d.bytes.substr(0, c.first_bytes.size()), c.first_bytes);
  }
}

}  // namespace
}  // namespace qel
