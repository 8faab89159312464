#include "toolkit/timeconv.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <string>

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

// Every valid date 1970-2105 on a few days of each month, in every accepted
// form, against timegm.
TEST(TimeDecode, SweepAgainstTimegm) {
  const char* zones[] = {"Z", "+0000", "-0000", "+0100", "-0500", "+0530", "-0930", "+1400", "-1200"};
  const int zone_seconds[] = {0, 0, 0, 3600, -18000, 19800, -34200, 50400, -43200};
  int checked = 0;
  for (int year = 1970; year <= 2105; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day : {1, 13, 28, 29, 30, 31}) {
        struct tm tm {};
        tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
        tm.tm_hour = (year * 7 + day) % 24, tm.tm_min = (year + month * 11) % 60;
        tm.tm_sec = (year * 13 + day) % 60;
        const int64_t with_sec = timegm(&tm);
        if (tm.tm_mday != day) continue;  // timegm moved it: no such day
        const int64_t no_sec = with_sec - tm.tm_sec;
        const int z = (year + month + day) % 9;
        char ymd[32], hm[8], ss[4];
        std::snprintf(ymd, sizeof ymd, "%04d%02d%02d", year, month, day);
        std::snprintf(hm, sizeof hm, "%02d%02d", tm.tm_hour, tm.tm_min);
        std::snprintf(ss, sizeof ss, "%02d", tm.tm_sec);
        const std::string g = std::string(ymd) + hm, zone = zones[z];
        const auto want = [&](int64_t t, int offset) { return static_cast<uint32_t>(t - offset); };
        EXPECT_EQ(gen(g + ss + "Z"), want(with_sec, 0)) << g;
        EXPECT_EQ(gen(g + "Z"), want(no_sec, 0)) << g;
        EXPECT_EQ(gen(g + ss + zone), want(with_sec, zone_seconds[z])) << g << zone;
        EXPECT_EQ(gen(g + zone), want(no_sec, zone_seconds[z])) << g << zone;
        EXPECT_EQ(gen(g + ss + ".123456" + zone), want(with_sec, zone_seconds[z])) << g << zone;
        if (year < 2070) {
          const std::string u = g.substr(2);
          EXPECT_EQ(utc(u + ss + "Z"), want(with_sec, 0)) << u;
          EXPECT_EQ(utc(u + "Z"), want(no_sec, 0)) << u;
          EXPECT_EQ(utc(u + ss + zone), want(with_sec, zone_seconds[z])) << u << zone;
          EXPECT_EQ(utc(u + zone), want(no_sec, zone_seconds[z])) << u << zone;
        }
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, 136 * (12 * 3 + 11 + 11 + 7) + 33);  // days that exist, Feb 29 in leap years
}

struct DecodeCase {
  const char* what;
  uint32_t (*decoder)(const std::string&);
  std::string text;
  uint32_t want;
};

TEST(TimeDecode, EdgeCasesAndFailures) {
  const DecodeCase cases[] = {
      {"epoch", utc, "700101000000Z", 0},
      {"last second of 1999", utc, "991231235959Z", 946684799},
      {"leap day 2000", utc, "000229000000Z", 951782400},
      {"day after", utc, "000301000000Z", 951868800},
      {"no seconds", utc, "0001010000Z", 946684800},
      {"69 is 2069", utc, "6901010000Z", 3124224000u},
      {"70 is 1970", utc, "7001010000Z", 0},
      {"east offset", utc, "0001011200+0100", 946684800 + 11 * 3600},
      {"west offset", utc, "0001011200-0100", 946684800 + 13 * 3600},
      {"only the minus is a sign", utc, "0001011200 0100", 946684800 + 11 * 3600},
      {"bytes behind Z ignored", utc, "0001010000Zjunk", 946684800},
      {"west of epoch wraps", utc, "7001010000+0100", 0u - 3600u},
      {"10 bytes", utc, "0001010000", 0},
      {"12 digits, no zone", utc, "000101000000", 0},
      {"seconds cut off", utc, "00010100000", 0},
      {"zone of 4 bytes", utc, "0001010000+010", 0},
      {"zone neither Z nor offset", utc, "0001010000X", 0},
      {"2050", gen, "20500101000000Z", 2524608000u},
      {"fraction skipped", gen, "20000101000000.123Z", 946684800},
      {"empty fraction", gen, "20000101000000.Z", 946684800},
      {"no seconds", gen, "200001010000Z", 946684800},
      {"no zone", gen, "20000101000000", 0},
      {"12 bytes, zone empty", gen, "200001010000", 0},
      {"13 bytes, digit at 12", gen, "2000010100001", 0},
      {"fraction to the end", gen, "20000101000000.123", 0},
      {"fraction needs seconds", gen, "200001010000.5Z", 0},
      {"11 bytes", gen, "20000101000", 0},
      // Fields are not validated: out-of-range values go into the arithmetic.
      {"day 99", utc, "0001990000Z", 946684800 + 98 * 86400},
      {"hour 99", utc, "0001019900Z", 946684800 + 99 * 3600},
      {"month 00 counts no months", utc, "0000010000Z", 946684800},
      // A month above 12 counts the whole year (leap day included) and no more.
      {"month 13", utc, "0013010000Z", 978307200},
      {"month 99 clamps to 13", utc, "0099010000Z", 978307200},
      {"month from non-digits", gen, "2000\x7f\x7f""010000Z", 978307200},
      {"year before 1970 counts 0", gen, "19000102000000Z", 86400},
      {"negative month counts no months", utc, std::string("00\0\0" "010000Z", 11), 946684800},
      {"negative day", utc, std::string("0001\0\0" "0000Z", 11), 946684800u - 529u * 86400u},
  };
  for (const DecodeCase& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.decoder(c.text), c.want) << c.text;
  }
  const qel::vbl_blk negative{-5, reinterpret_cast<uint8_t*>(const_cast<char*>("0001010000Z"))};
  EXPECT_EQ(qel::tc_decode_UTCTime(nullptr), 0u);
  EXPECT_EQ(qel::tc_decode_GeneralizedTime(nullptr), 0u);
  EXPECT_EQ(qel::tc_decode_UTCTime(&negative), 0u);
  EXPECT_EQ(qel::tc_decode_GeneralizedTime(&negative), 0u);
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

// Allocation failures are reached through the replaceable allocators.
struct FailingAllocators {
  FailingAllocators() {
    qel::timeconv_malloc = [](size_t) -> void* { return nullptr; };
    qel::timeconv_calloc = [](size_t, size_t) -> void* { return nullptr; };
  }
  ~FailingAllocators() {
    qel::timeconv_malloc = std::malloc;
    qel::timeconv_calloc = std::calloc;
  }
};

TEST(TimeEncode, Texts) {
  const struct {
    time_t seconds;
    const char* text;
  } cases[] = {
      {0, "700101000000Z"},           {946684799, "991231235959Z"},
      {951782400, "000229000000Z"},   {2524608000, "500101000000Z"},
      {-1, "691231235959Z"},          {4294967295, "060207062815Z"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    qel::vbl_blk out{};
    ASSERT_EQ(qel::tc_encode_utctime(&out, c.seconds), qel::TC_SUCCESS);
    ASSERT_EQ(out.length, 13);
    EXPECT_STREQ(reinterpret_cast<char*>(out.bytes), c.text);
    std::free(out.bytes);
  }
  // Round trip through the decoder over 1970-2038.
  for (time_t t = 0; t < 0x7FFFFFFF; t += 999983) {
    qel::vbl_blk out{};
    ASSERT_EQ(qel::tc_encode_utctime(&out, t), qel::TC_SUCCESS);
    EXPECT_EQ(qel::tc_decode_UTCTime(&out), static_cast<uint32_t>(t)) << out.bytes;
    std::free(out.bytes);
  }
}

TEST(TimeEncode, Failures) {
  EXPECT_EQ(qel::tc_encode_utctime(nullptr, 0), qel::TC_INVALID_ARGUMENTS);
  // The earlier bytes are not the encoder's to free: here they are a stack array.
  uint8_t earlier[4] = {1, 2, 3, 4};
  qel::vbl_blk out{4, earlier};
  EXPECT_EQ(qel::tc_encode_utctime(&out, std::numeric_limits<time_t>::max()),
            qel::TC_INVALID_ARGUMENTS);
  EXPECT_EQ(out.length, 4);
  EXPECT_EQ(out.bytes, earlier);
  {
    FailingAllocators failing;
    EXPECT_EQ(qel::tc_encode_utctime(&out, 0), qel::TC_MEMORY);
  }
  EXPECT_EQ(out.length, 13);
  EXPECT_EQ(out.bytes, nullptr);
  EXPECT_EQ(earlier[0] + earlier[3], 5);
}

TEST(Span, TranslateAndText) {
  const struct {
    int32_t span;
    int32_t days, hours, minutes, seconds;
    const char* text;
  } cases[] = {
      {90061, 1, 1, 1, 1, "1 day 1 hour 1 minute 1 second"},
      {3600, 0, 1, 0, 0, "1 hour "},
      {2 * 86400, 2, 0, 0, 0, "2 days "},
      {2 * 86400 + 120, 2, 0, 2, 0, "2 days 2 minutes "},
      {59, 0, 0, 0, 59, "59 seconds"},
      {0, 0, 0, 0, 0, ""},
      {-90061, -1, -1, -1, -1, "-1 days -1 hours -1 minutes -1 seconds"},
      {INT32_MAX, 24855, 3, 14, 7, "24855 days 3 hours 14 minutes 7 seconds"},
      {INT32_MIN, -24855, -3, -14, -8, "-24855 days -3 hours -14 minutes -8 seconds"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.span);
    qel::smh_time smh{7, 7, 7, 7};
    qel::translate_time(c.span, &smh);
    EXPECT_EQ(smh.days, c.days);
    EXPECT_EQ(smh.hours, c.hours);
    EXPECT_EQ(smh.minutes, c.minutes);
    EXPECT_EQ(smh.seconds, c.seconds);
    char* text = qel::smh2str(&smh);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, c.text);
    std::free(text);
  }
  // Widest text; field order of the record is minutes, seconds, hours, days.
  const qel::smh_time widest{INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN};
  char* text = qel::smh2str(&widest);
  EXPECT_STREQ(text, "-2147483648 days -2147483648 hours -2147483648 minutes -2147483648 seconds");
  std::free(text);
  static_assert(offsetof(qel::smh_time, seconds) == 4 && offsetof(qel::smh_time, days) == 12);
  EXPECT_EQ(qel::smh2str(nullptr), nullptr);
  FailingAllocators failing;
  EXPECT_EQ(qel::smh2str(&widest), nullptr);
}

}  // namespace
