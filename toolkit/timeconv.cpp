// Time conversion between ASN.1 time texts and seconds since 1970, and spans
// of seconds in words.
#include "toolkit/timeconv.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/codes.h"
#include "toolkit/text.h"
#include "asn/alloc.h"

namespace qel {

namespace {

constexpr uint32_t SECONDS_PER_DAY = 86400u;
constexpr uint32_t SECONDS_PER_YEAR = 365u * SECONDS_PER_DAY;

// Days of the months of a common year.
constexpr uint8_t MONTH_DAYS[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool is_digit(uint8_t b) { return b >= '0' && b <= '9'; }

// Two bytes as a decimal number, without checking that they are digits: any
// byte pair gives a value in [-528, 2277].
int32_t two_digits(const uint8_t* p) { return (p[0] - 0x30) * 10 + (p[1] - 0x30); }

bool is_leap(int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

// Leap years in [1, year] for year >= 0.
int64_t leaps_through(int64_t year) { return year / 4 - year / 100 + year / 400; }

// A cleared calendar record with `years` since 1900 and the month, day, hour
// and minute of the four two-digit fields at `fields`.
struct tm calendar(int32_t years, const uint8_t* fields) {
  struct tm record;
  std::memset(&record, 0, sizeof record);
  record.tm_year = years;
  record.tm_mon = two_digits(fields) - 1;
  record.tm_mday = two_digits(fields + 2);
  record.tm_hour = two_digits(fields + 4);
  record.tm_min = two_digits(fields + 6);
  return record;
}

// Shared tail of both decoders: zone at `pos`, then the record's seconds less
// the zone offset, modulo 2^32.
uint32_t finish(const struct tm& record, const vbl_blk* time, int32_t pos) {
  const int32_t offset = zone_offset(time->bytes + pos, time->length - pos);
  if (offset == -1) return 0;
  return tm_to_seconds(&record) - static_cast<uint32_t>(offset);
}

}  // namespace

uint32_t tm_to_seconds(const struct tm* record) {
  uint32_t total = 0;
  // Whole years from 1970: the per-year sum of a year-by-year walk, taken in
  // closed form so that any year field costs the same. Products wrap
  // modulo 2^32 exactly as repeated additions would.
  const int64_t year = static_cast<int64_t>(record->tm_year) + 1900;
  if (year > 1970) {
    const int64_t years = year - 1970;
    const int64_t leaps = leaps_through(year - 1) - leaps_through(1969);
    total += static_cast<uint32_t>(years) * SECONDS_PER_YEAR;
    total += static_cast<uint32_t>(leaps) * SECONDS_PER_DAY;
  }
  // A month index above 11 counts the twelve months of the table and stops
  // there; a negative one counts none.
  const int month = record->tm_mon;
  const int months = month < 12 ? month : 12;
  for (int m = 0; m < months; ++m) total += MONTH_DAYS[m] * SECONDS_PER_DAY;
  if (month > 1 && is_leap(year)) total += SECONDS_PER_DAY;
  total += (static_cast<uint32_t>(record->tm_mday) - 1u) * SECONDS_PER_DAY;
  total += static_cast<uint32_t>(record->tm_hour) * 3600u;
  total += static_cast<uint32_t>(record->tm_min) * 60u;
  total += static_cast<uint32_t>(record->tm_sec);
  return total;
}

int32_t zone_offset(const uint8_t* text, int32_t length) {
  if (length >= 1 && text[0] == 'Z') return 0;
  if (length < 5) return -1;
  const int32_t sign = text[0] == '-' ? -1 : 1;
  // Always a multiple of 60, so never -1.
  return sign * (two_digits(text + 1) * 3600 + two_digits(text + 3) * 60);
}

uint32_t tc_decode_UTCTime(const vbl_blk* time) {
  if (time == nullptr || time->bytes == nullptr || time->length < 11) return 0;
  const uint8_t* b = time->bytes;
  const int32_t year = two_digits(b);
  struct tm record = calendar(year < 70 ? year + 100 : year, b + 2);
  int32_t pos = 10;
  if (is_digit(b[10])) {
    if (time->length < 13) return 0;
    record.tm_sec = two_digits(b + 10);
    pos = 12;
  }
  return finish(record, time, pos);
}

uint32_t tc_decode_GeneralizedTime(const vbl_blk* time) {
  if (time == nullptr || time->bytes == nullptr || time->length < 12) return 0;
  const uint8_t* b = time->bytes;
  const int32_t length = time->length;
  struct tm record = calendar(two_digits(b) * 100 + two_digits(b + 2) - 1900, b + 4);
  int32_t pos = 12;
  if (pos < length && is_digit(b[pos])) {
    if (length < 14) return 0;
    record.tm_sec = two_digits(b + 12);
    pos = 14;
    if (pos < length && b[pos] == '.') {
      ++pos;
      while (pos < length && is_digit(b[pos])) ++pos;
    }
  }
  return finish(record, time, pos);
}

int32_t tc_encode_utctime(vbl_blk* out, time_t seconds) {
  if (out == nullptr) return TC_INVALID_ARGUMENTS;
  // Convert before touching the block, so a time out of gmtime's range
  // leaves it as it was.
  struct tm parts;
  char text[14];
  if (gmtime_r(&seconds, &parts) == nullptr ||
      std::strftime(text, sizeof text, "%y%m%d%H%M%SZ", &parts) != 13)
    return TC_INVALID_ARGUMENTS;
  out->length = 13;
  out->bytes = static_cast<uint8_t*>(detail::allocate(sizeof text));
  if (out->bytes == nullptr) return TC_MEMORY;
  std::memcpy(out->bytes, text, sizeof text);
  return TC_SUCCESS;
}

void translate_time(int32_t seconds, smh_time* out) {
  if (out == nullptr) return;
  out->days = seconds / 86400;
  seconds %= 86400;
  out->hours = seconds / 3600;
  seconds %= 3600;
  out->minutes = seconds / 60;
  out->seconds = seconds % 60;
}

char* smh2str(const smh_time* record) {
  if (record == nullptr) return nullptr;
  TextBuilder text;
  const auto piece = [&](int32_t value, const char* unit, const char* tail) {
    if (value != 0) text.appendf("%d %s%s%s", value, unit, value == 1 ? "" : "s", tail);
  };
  piece(record->days, "day", " ");
  piece(record->hours, "hour", " ");
  piece(record->minutes, "minute", " ");
  piece(record->seconds, "second", "");
  return text.take();
}

}  // namespace qel
