// Value blocks, the string family, raw elements, INTEGER, BOOLEAN, NULL,
// BIT STRING and the trace of primitive values.
#include <gtest/gtest.h>

#include <string>

#include "asn/asn.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

// Decoders' unusable arguments are covered for every type in engine_test.
TEST(Primitives, EncodersReportUnusableCursor) {
  vbl_blk v{};
  BIT_STRING bits{};
  uint8_t* null_out = nullptr;
  int32_t err = 0;
  _pack_OCTET_STRING(nullptr, &v, 0x04, &err);
  EXPECT_EQ(err, ASN_OUT_NO_CURSOR);
  _pack_BIT_STRING(nullptr, &bits, 0x03, &err);
  EXPECT_EQ(err, ASN_OUT_NO_CURSOR);
  _pack_INTEGER(&null_out, &v, 0x02, &err);
  EXPECT_EQ(err, ASN_OUT_NO_POSITION);
}

TEST(Primitives, FreeListsHandBackTheSameRecordZeroed) {
  vbl_blk* a = new_vbl_blk();
  ASSERT_EQ(put_str_val(a, B("78 79").data(), 2), 0);
  drop_vbl_blk(a);
  vbl_blk* b = new_vbl_blk();
  EXPECT_EQ(b, a);
  EXPECT_EQ(b->length, 0);
  EXPECT_EQ(b->bytes, nullptr);
  drop_vbl_blk(b);

  BIT_STRING* s = new_BIT_STRING();
  ASSERT_EQ(put_bit_string(s, B("61 62").data(), 2, 3), 0);
  drop_BIT_STRING(s);
  EXPECT_EQ(new_BIT_STRING(), s);
  EXPECT_EQ(s->bytes, nullptr);
  EXPECT_EQ(s->unused_bits, 0);
  drop_BIT_STRING(s);
}

TEST(Primitives, PutValuesReplaceContent) {
  vbl_blk v{};
  EXPECT_EQ(put_str_val(nullptr, nullptr, 0), -1);
  ASSERT_EQ(put_str_val(&v, B("61 62 63").data(), 3), 0);
  ASSERT_EQ(put_str_val(&v, B("7a").data(), 1), 0);  // LSan: the old block is freed
  EXPECT_EQ(hex(v.bytes, 1), "7a");
  ASSERT_EQ(put_str_val(&v, nullptr, 0), 0);
  EXPECT_EQ(v.length, 0);
  EXPECT_EQ(v.bytes, nullptr);

  // A decoded BIT STRING's block starts one octet before its data; replacing
  // and decoding again must free it from its start.
  const Bytes in = B("03 02 00 11 03 03 01 22 33");
  const uint8_t* pos = in.data();
  BIT_STRING b{};
  int32_t err = 0;
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, in.data() + in.size(), 0x03, &err), 1);
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, in.data() + in.size(), 0x03, &err), 1);
  EXPECT_EQ(hex(b.bytes, b.length), "22 33");
  ASSERT_EQ(put_bit_string(&b, B("f0 0f").data(), 2, 4), 0);
  EXPECT_EQ(b.offset, 0);
  Bytes out(5);
  uint8_t* w = out.data();
  _pack_BIT_STRING(&w, &b, 0x81, &err);
  EXPECT_EQ(hex(out), "81 03 04 f0 0f");
  EXPECT_EQ(put_bit_string(nullptr, nullptr, 0, 0), -1);
  dip_BIT_STRING(&b);
  dip_BIT_STRING(&b);
}

TEST(Integer, MachineValues) {
  const struct { int32_t number; const char* octets; } put[] = {
      {0, "00"},         {-1, "ff"},        {127, "7f"},         {128, "00 80"},
      {-128, "80"},      {-129, "ff 7f"},   {511, "01 ff"},      {INT32_MIN, "80 00 00 00"},
      {INT32_MAX, "7f ff ff ff"},
  };
  for (const auto& c : put) {
    vbl_blk v{};
    ASSERT_EQ(put_int_val(&v, c.number), 0);
    EXPECT_EQ(hex(v.bytes, v.length), c.octets);
    EXPECT_EQ(get_int_val(&v), c.number);
    dip_vbl_blk(&v);
  }
  EXPECT_EQ(put_int_val(nullptr, 1), -1);
  // Values get_int_val cannot give, read as 0.
  Bytes five = B("00 00 00 00 01");
  vbl_blk too_long{5, five.data()}, empty{0, five.data()}, no_bytes{2, nullptr};
  EXPECT_EQ(get_int_val(&too_long), 0);
  EXPECT_EQ(get_int_val(&empty), 0);
  EXPECT_EQ(get_int_val(&no_bytes), 0);
  EXPECT_EQ(get_int_val(nullptr), 0);
}

TEST(Integer, NormalisingTable) {
  const struct { const char* name; const char* in; const char* out; } cases[] = {
      {"redundant_zero", "00 7f", "7f"},       {"redundant_ff", "ff 80", "80"},
      {"zero_keeps_sign", "00 80", "00 80"},   {"ff_keeps_sign", "ff 7f", "ff 7f"},
      {"run_of_zeros", "00 00 01", "01"},      {"single_zero_stays", "00", "00"},
      {"all_ff", "ff ff ff", "ff"},            {"empty_stays", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    vbl_blk v{};
    const Bytes in = B(c.in);
    ASSERT_EQ(put_str_val(&v, in.data(), static_cast<uint32_t>(in.size())), 0);
    norm_INTEGER(&v);
    EXPECT_EQ(hex(v.bytes, v.length), c.out);
    dip_vbl_blk(&v);
  }
  vbl_blk stale{3, nullptr};
  norm_INTEGER(&stale);
  EXPECT_EQ(stale.length, 0);
}

TEST(Trace, DumpTable) {
  const struct { const char* name; const char* bytes; int32_t count, indent; std::string out; }
  cases[] = {
      {"full_and_partial_line", "41 42 43 44 45 46 47 48 49 4a", 10, 1,
       "\n   41 42 43 44 45 46 47 48     ABCDEFGH\n   49 4a     " + std::string(18, ' ') + "IJ"},
      {"exactly_one_line", "30 31 32 33 34 35 36 37", 8, 0,
       "\n30 31 32 33 34 35 36 37     01234567"},
      {"unprintables_as_dots", "00 7f 80 ff 20", 5, -2,
       "\n00 7f 80 ff 20     " + std::string(9, ' ') + ".... "},
      {"count_zero", "41", 0, 1, ""},
      {"count_negative", "41", -3, 1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = B(c.bytes);
    testing::internal::CaptureStderr();
    EXPECT_EQ(trace_prim(bytes.data(), c.count, c.indent), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.out);
  }
  // Decoders trace what they read when the debug level is set.
  const Bytes in = B("04 02 6f 6b");
  const uint8_t* pos = in.data();
  vbl_blk v{};
  int32_t err = 0;
  globalDebugLevel = 1;
  trace_level = 1;
  testing::internal::CaptureStderr();
  EXPECT_EQ(uip_OCTET_STRING(&v, &pos, in.data() + in.size(), 0x04, &err), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\n   6f 6b     " + std::string(18, ' ') + "ok");
  globalDebugLevel = 0;
  trace_level = 0;
  dip_vbl_blk(&v);
}

}  // namespace
}  // namespace qel::tst
