// The tag and length layer: sizes, writers, and readers that never pass their
// limit.
#include <gtest/gtest.h>

#include "asn/asn.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

TEST(TagLen, Sizes) {
  const struct { const char* name; int32_t content, force, size; } cases[] = {
      {"empty_unforced_is_no_element", 0, 0, 0}, {"empty_forced_is_two_octets", 0, 1, 2},
      {"force_counts_low_16_bits", 0, 0x10000, 0}, {"content_needs_no_force", 5, 0, 7},
      {"last_short_form", 127, 1, 129},           {"first_long_form", 128, 1, 131},
  };
  for (const auto& c : cases) EXPECT_EQ(tagged(c.content, c.force), c.size) << c.name;
}

// The buffer is sized by length_size, so its bounds are checked too.
TEST(TagLen, WritersUseShortestForm) {
  const struct { uint32_t length; const char* out; } cases[] = {
      {0, "00"},       {0x7F, "7f"},          {0x80, "81 80"},          {0xFF, "81 ff"},
      {0x100, "82 01 00"}, {0xFFFF, "82 ff ff"}, {0x10000, "83 01 00 00"},
      {0xFFFFFF, "83 ff ff ff"}, {0x1000000, "84 01 00 00 00"}, {0xFFFFFFFF, "84 ff ff ff ff"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    Bytes buf(1 + static_cast<size_t>(length_size(c.length)));
    uint8_t* pos = buf.data();
    put_tag(&pos, 0x1A0, c.length);  // only the low 8 bits of the tag count
    EXPECT_EQ(hex(buf), "a0 " + std::string(c.out));
    EXPECT_EQ(pos, buf.data() + buf.size());
    const uint8_t* in = buf.data() + 1;
    EXPECT_EQ(get_lth(&in, buf.data() + buf.size()), c.length);
  }
}

// The rows of tests/data/tag_length_reads.txt; a read at the limit is a heap
// overflow that ASan reports.
TEST(TagLen, ReadersStopAtLimit) {
  const auto rows = table("tag_length_reads.txt");
  EXPECT_EQ(rows.size(), 13u);
  for (const auto& f : rows) {
    ASSERT_EQ(f.size(), 5u) << f[0];
    SCOPED_TRACE(f[0]);
    const Bytes in = input(B(f[2]));
    const uint8_t* pos = in.data();
    const uint8_t* limit = in.data() + in.size();
    const uint32_t tag = f[1] == "-" ? 0 : std::stoul(f[1], nullptr, 16);
    EXPECT_EQ(tag == 0 ? get_lth(&pos, limit) : take_tag(&pos, tag, limit),
              std::stoul(f[3], nullptr, 16));
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), std::stoul(f[4]));
  }
  const Bytes one = B("ab");
  const uint8_t* pos = one.data();
  EXPECT_EQ(get_byte(&pos, one.data() + 1), 0xAB);
  EXPECT_EQ(get_byte(&pos, one.data() + 1), -1);
  EXPECT_EQ(pos, one.data() + 1);
  const uint8_t* null_pos = nullptr;
  EXPECT_EQ(take_tag(nullptr, 0xA0, pos), 0u);
  EXPECT_EQ(take_tag(&null_pos, 0xA0, pos), 0u);
}

TEST(TagLen, FitsIsImmuneToAddressWrap) {
  // Addresses only compared, never dereferenced.
  const auto at = [](uintptr_t a) { return reinterpret_cast<const uint8_t*>(a); };
  const uintptr_t top = UINTPTR_MAX - 15;
  const struct { const char* name; uintptr_t pos, limit; uint32_t length; bool fits; } cases[] = {
      {"empty_at_limit", 0x1000, 0x1000, 0, true},
      {"exactly_to_limit", 0x1000, 0x1004, 4, true},
      {"one_past_limit", 0x1000, 0x1004, 5, false},
      {"position_beyond_limit", 0x1005, 0x1004, 0, false},
      {"sum_wraps_address_space", top, top + 8, 0xFFFFFFF8u, false},
      {"beyond_int32_range", 0x1000, 0x1000 + 0x80000000u, 0x7FFF0001u, false},
  };
  for (const auto& c : cases) EXPECT_EQ(fits(at(c.pos), c.length, at(c.limit)), c.fits) << c.name;
}

}  // namespace
}  // namespace qel::tst
