// Value blocks, the string family, raw elements, INTEGER, BOOLEAN, NULL,
// BIT STRING and the trace of primitive values.
#include <gtest/gtest.h>

#include <string>

#include "asn/asn.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

TEST(Primitives, DecodeTable) {
  const TypeDesc *const kOct = &OCTET_STRING_desc, *const kIa5 = &IA5String_desc,
                 *const kNum = &NumericString_desc, *const kPrn = &PrintableString_desc,
                 *const kInt = &INTEGER_desc, *const kRaw = &UNDECODED_ASN_BLOCK_desc,
                 *const kBool = &BOOLEAN_desc, *const kNull = &ASN_NULL_desc,
                 *const kBits = &BIT_STRING_desc;
  run_decode_cases({
      {"octets", kOct, "04 02 ab cd", 0x04, 1, 0, 4, "="},
      {"implicit_tag_given", kIa5, "82 01 61", 0x82, 1, 0, 3, "="},
      {"other_tag_not_here", kIa5, "16 01 61", 0x82, 0, 0, 0, ""},
      {"at_limit_not_here", kOct, "", 0x04, 0, 0, 0, ""},
      {"content_past_limit", kOct, "04 05 01", 0x04, 0, ASN_OVERRUN, 3, ""},
      {"length_field_past_limit", kOct, "04 82 01", 0x04, 0, ASN_OVERRUN, 3, ""},
      {"length_wraps_address_space", kOct, "04 84 ff ff ff f0 00", 0x04, 0, ASN_OVERRUN, 7, ""},
      {"numeric_digits_and_space", kNum, "12 03 31 20 39", 0x12, 1, 0, 5, "="},
      {"numeric_hyphen", kNum, "12 03 31 2d 39", 0x12, 0, ASN_BAD_NUMERIC, 5, ""},
      {"printable_full_set", kPrn, "13 11 41 7a 30 27 22 28 29 2b 2c 2d 2e 2f 3a 3d 3f 20 00",
       0x13, 1, 0, 19, "="},
      {"printable_asterisk", kPrn, "13 02 61 2a", 0x13, 0, ASN_BAD_PRINTABLE, 4, ""},
      {"printable_high_octet", kPrn, "13 01 e9", 0x13, 0, ASN_BAD_PRINTABLE, 3, ""},
      {"integer_normalised_when_sized", kInt, "02 02 00 01", 0x02, 1, 0, 4, "02 01 01"},
      {"raw_any_tag", kRaw, "c7 01 00", 0x30, 1, 0, 3, "="},
      {"raw_non_canonical_kept", kRaw, "04 81 01 aa", TAG_ANY, 1, 0, 4, "="},
      {"raw_indefinite_is_empty", kRaw, "30 80 00 00", TAG_ANY, 1, 0, 2, "="},
      {"raw_content_past_limit", kRaw, "04 03 aa", TAG_ANY, 0, ASN_OVERRUN, 3, ""},
      {"raw_length_field_past_limit", kRaw, "04 84 00", TAG_ANY, 0, ASN_OVERRUN, 3, ""},
      {"raw_tag_only", kRaw, "04", TAG_ANY, 0, ASN_OVERRUN, 1, ""},
      {"raw_at_limit", kRaw, "", TAG_ANY, 0, 0, 0, ""},
      {"boolean_true", kBool, "01 01 ff", 0x01, 1, 0, 3, "="},
      {"boolean_any_nonzero_is_true", kBool, "01 01 01", 0x01, 1, 0, 3, "01 01 ff"},
      {"boolean_length_two_back_at_tag", kBool, "01 02 ff ff", 0x01, 0, ASN_BAD_BOOLEAN, 0, ""},
      {"boolean_length_zero_back_at_tag", kBool, "01 00", 0x01, 0, ASN_BAD_BOOLEAN, 0, ""},
      {"boolean_content_past_limit", kBool, "01 01", 0x01, 0, ASN_OVERRUN, 2, ""},
      {"boolean_implicit_tag", kBool, "81 01 ff", 0x81, 1, 0, 3, "="},
      {"null", kNull, "05 00", 0x05, 1, 0, 2, "="},
      {"null_length_one_back_at_tag", kNull, "05 01 00", 0x05, 0, ASN_BAD_NULL, 0, ""},
      {"null_length_field_past_limit", kNull, "05 82 00", 0x05, 0, ASN_OVERRUN, 3, ""},
      {"bits_one_data_octet", kBits, "03 02 05 a0", 0x03, 1, 0, 4, "="},
      {"bits_initial_octet_only", kBits, "03 01 00", 0x03, 1, 0, 3, "="},
      {"bits_unused_count_unchecked", kBits, "03 02 c8 ff", 0x03, 1, 0, 4, "="},
      {"bits_empty_content_no_code", kBits, "03 00", 0x03, 0, 0, 2, ""},
      {"bits_content_past_limit", kBits, "03 03 00", 0x03, 0, ASN_OVERRUN, 3, ""},
  });
  // An empty element is a good value for every type of the family.
  for (const TypeDesc* d : {&OBJECT_ID_desc, &GeneralizedTime_desc, &UTCTime_desc, &T61String_desc,
                            &IA5String_desc, &INTEGER_desc, &NumericString_desc,
                            &PrintableString_desc})
    run_decode_cases({{d->name, d, "80 00", 0x80, 1, 0, 2, "="}});
}

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

TEST(Primitives, Sizes) {
  vbl_blk v{128, nullptr};
  EXPECT_EQ(sizeof_vbl_blk(&v, 1), 131);
  EXPECT_EQ(sizeof_vbl_blk(&v, 0), 128);
  BOOLEAN t{};
  ASN_NULL n{};
  BIT_STRING s{};
  EXPECT_EQ(sizeof_BOOLEAN(&t, 0), 1);
  EXPECT_EQ(sizeof_ASN_NULL(&n, 1), 2);
  EXPECT_EQ(sizeof_BIT_STRING(&s, 0), 1);
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
