// The tag and length layer: sizes, writers, and readers that never pass their
// limit.
#include <gtest/gtest.h>

#include <cstdint>

#include "asn/asn.h"
#include "tests/asn/helpers.h"

namespace qel::tst {
namespace {

TEST(TagLen, LengthSizeAtEveryBoundary) {
  const struct { uint32_t length; int32_t size; } cases[] = {
      {0, 1},       {0x7F, 1},     {0x80, 2},      {0xFF, 2},         {0x100, 3},
      {0xFFFF, 3},  {0x10000, 4},  {0xFFFFFF, 4},  {0x1000000, 5},    {0xFFFFFFFF, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    EXPECT_EQ(length_size(c.length), c.size);
  }
}

TEST(TagLen, TaggedCountsHeaderUnlessEmptyAndUnforced) {
  const struct { const char* name; int32_t content, force, size; } cases[] = {
      {"empty_unforced_is_no_element", 0, 0, 0},
      {"empty_forced_is_two_octets", 0, 1, 2},
      {"force_counts_low_16_bits_only", 0, 0x10000, 0},
      {"content_needs_no_force", 5, 0, 7},
      {"last_short_form", 127, 1, 129},
      {"first_long_form", 128, 1, 131},
      {"two_length_octets", 0x100, 0, 0x100 + 3 + 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(tagged(c.content, c.force), c.size);
  }
}

TEST(TagLen, PutLthWritesShortestForm) {
  const struct { uint32_t length; Bytes out; } cases[] = {
      {0, {0x00}},
      {0x7F, {0x7F}},
      {0x80, {0x81, 0x80}},
      {0xFF, {0x81, 0xFF}},
      {0x100, {0x82, 0x01, 0x00}},
      {0x10000, {0x83, 0x01, 0x00, 0x00}},
      {0x1000000, {0x84, 0x01, 0x00, 0x00, 0x00}},
      {0xFFFFFFFF, {0x84, 0xFF, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    Bytes buf(c.out.size());
    uint8_t* pos = buf.data();
    put_lth(&pos, c.length);
    EXPECT_EQ(hex(buf), hex(c.out));
    EXPECT_EQ(pos, buf.data() + buf.size());
  }
}

TEST(TagLen, PutTagUsesLowEightBitsOfTheTag) {
  Bytes buf(3);
  uint8_t* pos = buf.data();
  put_tag(&pos, 0x1A0, 0x80);
  EXPECT_EQ(hex(buf), "a0 81 80");
  EXPECT_EQ(pos, buf.data() + 3);
}

// Every reader is given exactly its input, so a read at the limit is a
// heap overflow that ASan reports.
TEST(TagLen, GetLthReadsLeniently) {
  const struct {
    const char* name;
    Bytes in;
    uint32_t length;
    size_t consumed;
  } cases[] = {
      {"short_form", {0x05}, 5, 1},
      {"indefinite_reads_as_empty", {0x80, 0xAA}, 0, 1},
      {"non_minimal_one_octet", {0x81, 0x05}, 5, 2},
      {"non_minimal_leading_zero", {0x82, 0x00, 0x05}, 5, 3},
      {"four_octets", {0x84, 0x12, 0x34, 0x56, 0x78}, 0x12345678, 5},
      {"five_octets_keep_last_four", {0x85, 0x01, 0x02, 0x03, 0x04, 0x05}, 0x02030405, 6},
      {"long_field_exactly_at_limit", {0x82, 0x01, 0x00}, 0x100, 3},
      {"truncated_long_field", {0x82, 0x01}, LENGTH_PAST_LIMIT, 2},
      {"count_127_past_limit", {0xFF, 0x00, 0x00}, LENGTH_PAST_LIMIT, 3},
      {"nothing_at_all", {}, LENGTH_PAST_LIMIT, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    EXPECT_EQ(get_lth(&pos, in.data() + in.size()), c.length);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
  }
}

TEST(TagLen, GetByteStopsAtLimit) {
  Bytes in{0xAB};
  const uint8_t* pos = in.data();
  const uint8_t* limit = in.data() + in.size();
  EXPECT_EQ(get_byte(&pos, limit), 0xAB);
  EXPECT_EQ(pos, limit);
  EXPECT_EQ(get_byte(&pos, limit), -1);
  EXPECT_EQ(pos, limit);
}

TEST(TagLen, TakeTagMatchesOrLeavesPosition) {
  const struct {
    const char* name;
    Bytes in;
    int32_t tag;
    uint32_t length;
    size_t consumed;
  } cases[] = {
      {"match", {0xA0, 0x03}, 0xA0, 3, 2},
      {"tag_word_high_bits_ignored", {0xA0, 0x03}, 0x1A0, 3, 2},
      {"other_tag", {0xA1, 0x03}, 0xA0, 0, 0},
      {"empty_wrapper", {0xA0, 0x00}, 0xA0, 0, 2},
      {"at_limit_reads_nothing", {}, 0xA0, 0, 0},
      {"length_field_past_limit", {0xA0, 0x81}, 0xA0, LENGTH_PAST_LIMIT, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    EXPECT_EQ(take_tag(&pos, c.tag, in.data() + in.size()), c.length);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
  }
}

TEST(TagLen, TakeTagRefusesNullCursorAndPosition) {
  Bytes in{0xA0, 0x00};
  EXPECT_EQ(take_tag(nullptr, 0xA0, in.data() + 2), 0u);
  const uint8_t* pos = nullptr;
  EXPECT_EQ(take_tag(&pos, 0xA0, in.data() + 2), 0u);
  EXPECT_EQ(pos, nullptr);
}

TEST(TagLen, FitsIsImmuneToAddressWrap) {
  // Addresses near the top of the address space, never dereferenced.
  const auto at = [](uintptr_t a) { return reinterpret_cast<const uint8_t*>(a); };
  const uintptr_t top = UINTPTR_MAX - 15;
  const struct {
    const char* name;
    uintptr_t pos, limit;
    uint32_t length;
    bool fits;
  } cases[] = {
      {"empty_at_limit", 0x1000, 0x1000, 0, true},
      {"exactly_to_limit", 0x1000, 0x1004, 4, true},
      {"one_past_limit", 0x1000, 0x1004, 5, false},
      {"position_beyond_limit", 0x1005, 0x1004, 0, false},
      {"sum_wraps_address_space", top, top + 8, 0xFFFFFFF8u, false},
      {"beyond_int32_range", 0x1000, 0x1000 + 0x80000000u, 0x7FFF0001u, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(fits(at(c.pos), c.length, at(c.limit)), c.fits);
  }
}

TEST(TagLen, WrittenLengthsReadBack) {
  for (uint32_t length : {0u, 1u, 0x7Fu, 0x80u, 0xFFu, 0x100u, 0xFFFFu, 0x10000u, 0xFFFFFFu,
                          0x1000000u, 0x7FFF0000u}) {
    SCOPED_TRACE(length);
    Bytes buf(static_cast<size_t>(length_size(length)));
    uint8_t* out = buf.data();
    put_lth(&out, length);
    const uint8_t* in = buf.data();
    EXPECT_EQ(get_lth(&in, buf.data() + buf.size()), length);
    EXPECT_EQ(in, buf.data() + buf.size());
  }
}

}  // namespace
}  // namespace qel::tst
