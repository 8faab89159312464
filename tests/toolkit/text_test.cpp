// Base64, MD5, time texts and spans of seconds in words.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

std::string base64(const std::string& data) {
  char* text = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(tc_encode_base64(&text, &length, reinterpret_cast<const uint8_t*>(data.data()),
                             static_cast<uint32_t>(data.size())), 0);
  std::string s(text, length);
  std::free(text);
  return s;
}

// Result, `length`, and the `length` bytes of the block.
std::tuple<int, uint32_t, std::string> unbase64(const std::string& text) {
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
  for (const auto& c : cases) EXPECT_EQ(base64(c[0]), c[1]);
  for (size_t n = 0; n <= 200; ++n) {
    std::string data(n, '\0');
    for (size_t i = 0; i < n; ++i) data[i] = static_cast<char>(i * 167 + n);
    ASSERT_EQ(unbase64(base64(data)), std::make_tuple(0, static_cast<uint32_t>(n), data)) << n;
  }
}

// The rows of tests/data/base64_decodes.txt.
TEST(Base64, DecoderLeniencies) {
  for (const auto& f : table("base64_decodes.txt")) {
    ASSERT_EQ(f.size(), 5u) << f[0];
    const auto [r, l, b] = unbase64(unescape(f[1]));
    const std::string bytes = unescape(f[4]);
    EXPECT_EQ(std::make_tuple(r, l, b.substr(0, bytes.size())),
              std::make_tuple(std::stoi(f[2]), static_cast<uint32_t>(std::stoul(f[3])), bytes))
        << f[0];
  }
  // Bytes from 0x80 up have no place in the table: they count as 0xFF too.
  std::string text = "T?Fu";
  for (int c = 0x80; c <= 0xFF; ++c) {
    text[1] = static_cast<char>(c);
    EXPECT_EQ(unbase64(text), std::make_tuple(0, 3u, std::string("\x4f\xf1\x6e"))) << c;
  }
}

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
  return hex(context.digest, 16);
}

// Stored digests (hashlib) of every length 0..200 and of 1 MiB: in one call,
// split in two at every point, for lengths at the padding and block edges
// split in three at every pair of points, and 1 MiB in uneven pieces.
TEST(MD5, MatchesStoredDigestsWhateverTheSplit) {
  std::ifstream in(QEL_TEST_DATA "/md5_lengths.txt");
  size_t rows = 0;
  for (std::string length, digest; in >> length >> digest; ++rows) {
    SCOPED_TRACE("length " + length);
    std::string spaced;  // "9e 10 7d ..." as the digest helper writes it
    for (size_t i = 0; i < digest.size(); ++i) {
      if (i > 0 && i % 2 == 0) spaced.push_back(' ');
      spaced.push_back(digest[i]);
    }
    digest = spaced;
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
  MD5Context context;  // the bit count carries into its high word
  MD5Init(&context);
  context.bitCount[0] = 0xFFFFFE00u;  // a whole number of blocks
  const uint8_t block[64] = {};
  MD5Update(&context, block, 64);
  EXPECT_EQ(context.bitCount[0], 0u);
  EXPECT_EQ(context.bitCount[1], 1u);
}

// Decodes `text` from a heap block of exactly its length, with no terminator,
// so a read past the length is an ASan finding.
uint32_t decode_time(uint32_t (*decoder)(const vbl_blk*), const std::string& text) {
  auto bytes = std::make_unique<uint8_t[]>(text.size());
  std::memcpy(bytes.get(), text.data(), text.size());
  const vbl_blk block{static_cast<int32_t>(text.size()), bytes.get()};
  return decoder(&block);
}
uint32_t utc(const std::string& t) { return decode_time(tc_decode_UTCTime, t); }
uint32_t gen(const std::string& t) { return decode_time(tc_decode_GeneralizedTime, t); }

// Valid dates 1970-2105, a few days of each month, with and without seconds,
// with a fraction, and in Z or a zone offset that varies with the date.
TEST(TimeDecode, SweepAgainstTimegm) {
  const std::pair<const char*, int> zones[] = {
      {"+0000", 0},     {"-0000", 0},       {"+0100", 3600},  {"-0500", -18000},
      {"+0530", 19800}, {"-0930", -34200},  {"+1400", 50400}, {"-1200", -43200}};
  int days = 0;
  for (int year = 1970; year <= 2105; ++year)
    for (int month = 1; month <= 12; ++month)
      for (int day : {1, 13, 28, 29, 30, 31}) {
        struct tm tm {};
        tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
        tm.tm_hour = (year + day) % 24, tm.tm_min = (year + month * 11) % 60, tm.tm_sec = day + 28;
        const int64_t t = timegm(&tm) - tm.tm_sec;
        if (tm.tm_mday != day) continue;  // no such day
        ++days;
        char head[16];
        std::snprintf(head, sizeof head, "%04d%02d%02d%02d%02d", year, month, day, tm.tm_hour,
                      tm.tm_min);
        const std::string ss = std::to_string(tm.tm_sec);
        for (const auto& [z, offset] : {std::pair{"Z", 0}, zones[(year + month + day) % 8]})
          for (const std::string& tail : {std::string(), ss, ss + ".1"}) {
            const auto want = static_cast<uint32_t>(t + (tail.empty() ? 0 : tm.tm_sec) - offset);
            const std::string g = head + tail + z;
            EXPECT_EQ(gen(g), want) << g;
            if (year < 2070 && tail.size() < 3) {
              EXPECT_EQ(utc(g.substr(2)), want) << g;
            }
          }
      }
  EXPECT_EQ(days, 136 * (12 * 3 + 11 + 11 + 7) + 33);  // Feb 29 in 33 leap years
}

// The rows of tests/data/time_texts.txt: edges and refusals.
TEST(TimeDecode, EdgeCasesAndFailures) {
  for (const auto& f : table("time_texts.txt")) {
    ASSERT_EQ(f.size(), 4u) << f[0];
    EXPECT_EQ((f[1] == "utc" ? utc : gen)(unescape(f[2])), std::stoul(f[3])) << f[0];
  }
  uint8_t text[] = "20000101000000Z";
  const vbl_blk negative{-5, text};
  for (auto decoder : {tc_decode_UTCTime, tc_decode_GeneralizedTime}) EXPECT_EQ(decoder(&negative), 0u);
}

// The closed-form year sum must equal the year-by-year walk modulo 2^32 for
// every year a decoder can produce, from bytes 0x00 to 0xFF in the fields.
TEST(TmToSeconds, YearsMatchYearByYearWalk) {
  uint32_t walk = 0;
  struct tm tm {};
  tm.tm_mday = 1;
  for (int64_t year = 1970; year <= 2277 * 101 + 1900; ++year) {
    tm.tm_year = static_cast<int>(year - 1900);
    ASSERT_EQ(tm_to_seconds(&tm), walk) << year;
    walk += (year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 366u : 365u) * 86400u;
  }
  tm.tm_year = -528 * 101 - 1900;
  EXPECT_EQ(tm_to_seconds(&tm), 0u);
}

TEST(TimeEncode, TextsAndFailures) {
  const struct { time_t seconds; const char* text; } cases[] = {
      {0, "700101000000Z"}, {951782400, "000229000000Z"}, {-1, "691231235959Z"},
      {4294967295, "060207062815Z"}};
  for (const auto& c : cases) {
    vbl_blk out{};
    ASSERT_EQ(tc_encode_utctime(&out, c.seconds), TC_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out.bytes), out.length), c.text);
    std::free(out.bytes);
  }
  // A time gmtime can't convert leaves the block alone. The earlier bytes are
  // never freed: here they are a stack array, which ASan would report.
  uint8_t earlier[4] = {};
  vbl_blk out{4, earlier};
  EXPECT_EQ(tc_encode_utctime(&out, std::numeric_limits<time_t>::max()), TC_INVALID_ARGUMENTS);
  EXPECT_EQ(out.bytes, earlier);
  detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(tc_encode_utctime(&out, 0), TC_MEMORY);
  EXPECT_EQ(out.length, 13);
  EXPECT_EQ(out.bytes, nullptr);
}

// translate_time followed by smh2str; the text shows all four fields.
TEST(Span, InWords) {
  const struct { int32_t span; const char* text; } cases[] = {
      {90061, "1 day 1 hour 1 minute 1 second"},
      {3600, "1 hour "},
      {2 * 86400 + 120, "2 days 2 minutes "},
      {0, ""},
      {-90061, "-1 days -1 hours -1 minutes -1 seconds"},
      {INT32_MIN, "-24855 days -3 hours -14 minutes -8 seconds"},
  };
  for (const auto& c : cases) {
    smh_time smh{7, 7, 7, 7};
    translate_time(c.span, &smh);
    EXPECT_EQ(take(smh2str(&smh)), c.text) << c.span;
  }
  const smh_time widest{INT32_MIN, INT32_MIN, INT32_MIN, 1};  // minutes, seconds, hours, days
  EXPECT_EQ(take(smh2str(&widest)), "1 day -2147483648 hours -2147483648 minutes -2147483648 seconds");
  detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(smh2str(&widest), nullptr);
}

}  // namespace
}  // namespace qel::tst
