// Time conversion: UTCTime and GeneralizedTime texts to seconds since
// 1970-01-01 00:00:00 UTC, seconds back to a UTCTime text, and a span of
// seconds in words.
//
// Seconds are an unsigned 32-bit count and all arithmetic on them wraps
// modulo 2^32. The decoders validate nothing but length and zone: field bytes
// go into the arithmetic as they are (a byte below '0' gives a negative
// field), and 0 is their one failure value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "../asn/asn.h"

#pragma GCC visibility push(default)
namespace qel {

// A span of seconds split into units; the field order is fixed.
struct smh_time {
  int32_t minutes;
  int32_t seconds;
  int32_t hours;
  int32_t days;
};

// YYMMDDhhmm[ss] followed by Z or +hhmm / -hhmm. Years 00-69 are 2000-2069,
// 70-99 are 1970-1999. 0 for a null record or null bytes, a text too short
// for its form or an unusable zone. Never reads at or behind time->length.
uint32_t tc_decode_UTCTime(const vbl_blk* time);

// YYYYMMDDhhmm[ss[.fff]] followed by Z or +hhmm / -hhmm; the fraction is
// skipped. Failure value and bounds as for tc_decode_UTCTime.
uint32_t tc_decode_GeneralizedTime(const vbl_blk* time);

// Fills `out` with a new 13-character UTCTime text of `seconds` (plus a
// terminator that the length doesn't count), owned by the caller.
// TC_INVALID_ARGUMENTS for a null `out` or a time gmtime can't convert (the
// block is then untouched). TC_MEMORY when the allocation fails: the length
// is then 13 and the pointer null. The block's earlier bytes are not freed:
// the block may be fresh or point at memory the caller owns otherwise, so
// releasing them is the caller's business.
int32_t tc_encode_utctime(vbl_blk* out, time_t seconds);

// Splits a signed span into days, hours, minutes and seconds, each truncated
// towards zero.
void translate_time(int32_t seconds, smh_time* out);

// "1 day 1 hour 1 minute 1 second": zero fields are left out, each other
// unit but the last keeps a trailing blank. A new heap text owned by the
// caller, or null when the record is null or the allocation fails.
char* smh2str(const smh_time* record);

// Seconds of a calendar record: years since 1900 (those before 1970 count
// nothing), month from 0, day from 1, hour, minute, second. Month indices
// above 11 count the whole year's months and no more, so the month table is
// never read beyond its end; the leap day counts for any index above 1.
uint32_t tm_to_seconds(const struct tm* record);

// Zone part of `length` bytes at `text`: 0 for a leading Z, otherwise the
// signed distance from UTC of [+-]hhmm in seconds, positive east of UTC, or
// -1 for fewer than 5 bytes. Reads at most min(length, 5) bytes.
int32_t zone_offset(const uint8_t* text, int32_t length);

}  // namespace qel
#pragma GCC visibility pop
