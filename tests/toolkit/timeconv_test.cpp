#include "toolkit/timeconv.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <string>

#include "asn/alloc.h"
#include "tests/helpers.h"
#include "toolkit/codes.h"

namespace {

// Decodes `text` from a heap block of exactly its length, with no terminator,
// so a read past the length is an ASan finding.
uint32_t decode(uint32_t (*decoder)(const qel::vbl_blk*), const std::string& text) {
  auto bytes = std::make_unique<uint8_t[]>(text.size());
  std::memcpy(bytes.get(), text.data(), text.size());
  const qel::vbl_blk block{static_cast<int32_t>(text.size()), bytes.get()};
  return decoder(&block);
}
uint32_t utc(const std::string& t) { return decode(qel::tc_decode_UTCTime, t); }
uint32_t gen(const std::string& t) { return decode(qel::tc_decode_GeneralizedTime, t); }

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
  const auto rows = qel::tst::table("time_texts.txt");
  EXPECT_EQ(rows.size(), 21u);
  for (const auto& f : rows) {
    ASSERT_EQ(f.size(), 4u) << f[0];
    EXPECT_EQ((f[1] == "utc" ? utc : gen)(qel::tst::unescape(f[2])), std::stoul(f[3])) << f[0];
  }
  uint8_t text[] = "20000101000000Z";
  const qel::vbl_blk negative{-5, text};
  for (auto decoder : {qel::tc_decode_UTCTime, qel::tc_decode_GeneralizedTime}) {
    EXPECT_EQ(decoder(nullptr), 0u);
    EXPECT_EQ(decoder(&negative), 0u);
  }
}

// The closed-form year sum must equal the year-by-year walk modulo 2^32 for
// every year a decoder can produce, from bytes 0x00 to 0xFF in the fields.
TEST(TmToSeconds, YearsMatchYearByYearWalk) {
  uint32_t walk = 0;
  struct tm tm {};
  tm.tm_mday = 1;
  for (int64_t year = 1970; year <= 2277 * 101 + 1900; ++year) {
    tm.tm_year = static_cast<int>(year - 1900);
    ASSERT_EQ(qel::tm_to_seconds(&tm), walk) << year;
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    walk += leap ? 366u * 86400u : 365u * 86400u;
  }
  tm.tm_year = -528 * 101 - 1900;
  EXPECT_EQ(qel::tm_to_seconds(&tm), 0u);
}

TEST(TimeEncode, TextsAndFailures) {
  const struct { time_t seconds; const char* text; } cases[] = {
      {0, "700101000000Z"}, {951782400, "000229000000Z"}, {-1, "691231235959Z"},
      {4294967295, "060207062815Z"}};
  for (const auto& c : cases) {
    qel::vbl_blk out{};
    ASSERT_EQ(qel::tc_encode_utctime(&out, c.seconds), qel::TC_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out.bytes), out.length), c.text);
    std::free(out.bytes);
  }
  EXPECT_EQ(qel::tc_encode_utctime(nullptr, 0), qel::TC_INVALID_ARGUMENTS);
  // A time gmtime can't convert leaves the block alone. The earlier bytes are
  // never freed: here they are a stack array, which ASan would report.
  uint8_t earlier[4] = {};
  qel::vbl_blk out{4, earlier};
  EXPECT_EQ(qel::tc_encode_utctime(&out, std::numeric_limits<time_t>::max()),
            qel::TC_INVALID_ARGUMENTS);
  EXPECT_EQ(out.bytes, earlier);
  qel::detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(qel::tc_encode_utctime(&out, 0), qel::TC_MEMORY);
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
    SCOPED_TRACE(c.span);
    qel::smh_time smh{7, 7, 7, 7};
    qel::translate_time(c.span, &smh);
    char* text = qel::smh2str(&smh);
    EXPECT_STREQ(text, c.text);
    std::free(text);
  }
  const qel::smh_time widest{INT32_MIN, INT32_MIN, INT32_MIN, 1};  // minutes, seconds, hours, days
  char* text = qel::smh2str(&widest);
  EXPECT_STREQ(text, "1 day -2147483648 hours -2147483648 minutes -2147483648 seconds");
  std::free(text);
  EXPECT_EQ(qel::smh2str(nullptr), nullptr);
  qel::detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(qel::smh2str(&widest), nullptr);
}

}  // namespace
