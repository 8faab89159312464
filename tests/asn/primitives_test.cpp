// Value blocks, the string family, raw elements, INTEGER, BOOLEAN, NULL,
// BIT STRING and the trace of primitive values.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "asn/asn.h"
#include "tests/asn/helpers.h"

namespace qel::tst {
namespace {

using ValueUip = int32_t (*)(vbl_blk*, const uint8_t**, const uint8_t*, int32_t, int32_t*);

// ---------------------------------------------------------------------------
// Decoding the value family.

struct ValueCase {
  const char* name;
  ValueUip uip;
  Bytes in;
  int32_t tag;
  int32_t result;
  int32_t code;
  size_t consumed;
  Bytes content;  // checked when the result is 1 or a character check failed
};

TEST(ValueFamily, DecodeTable) {
  const ValueCase cases[] = {
      {"octets", uip_OCTET_STRING, {0x04, 0x02, 0xAB, 0xCD}, 0x04, 1, 0, 4, {0xAB, 0xCD}},
      {"oid", uip_OBJECT_ID, {0x06, 0x03, 0x55, 0x1D, 0x13}, 0x06, 1, 0, 5, {0x55, 0x1D, 0x13}},
      {"implicit_tag_given", uip_IA5String, {0x82, 0x01, 'a'}, 0x82, 1, 0, 3, {'a'}},
      {"universal_tag_given", uip_IA5String, {0x16, 0x01, 'a'}, 0x16, 1, 0, 3, {'a'}},
      {"other_tag_is_not_here", uip_IA5String, {0x16, 0x01, 'a'}, 0x82, 0, 0, 0, {}},
      {"at_limit_is_not_here", uip_OCTET_STRING, {}, 0x04, 0, 0, 0, {}},
      {"long_form_length", uip_OCTET_STRING, cat({{0x04, 0x81, 0x80}, Bytes(128, 0x11)}), 0x04,
       1, 0, 131, Bytes(128, 0x11)},
      {"content_past_limit", uip_OCTET_STRING, {0x04, 0x05, 0x01}, 0x04, 0, ASN_OVERRUN, 3, {}},
      {"length_field_past_limit", uip_OCTET_STRING, {0x04, 0x82, 0x01}, 0x04, 0, ASN_OVERRUN, 3,
       {}},
      {"length_wraps_address_space", uip_OCTET_STRING, {0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xF0, 0x00},
       0x04, 0, ASN_OVERRUN, 7, {}},
      {"empty_generalized_time", uip_GeneralizedTime, {0x18, 0x00}, 0x18, 1, 0, 2, {}},
      {"empty_utc_time", uip_UTCTime, {0x17, 0x00}, 0x17, 1, 0, 2, {}},
      {"empty_t61", uip_T61String, {0x14, 0x00}, 0x14, 1, 0, 2, {}},
      {"empty_integer", uip_INTEGER, {0x02, 0x00}, 0x02, 1, 0, 2, {}},
      {"empty_numeric_passes_check", uip_NumericString, {0x12, 0x00}, 0x12, 1, 0, 2, {}},
      {"empty_printable_passes_check", uip_PrintableString, {0x13, 0x00}, 0x13, 1, 0, 2, {}},
      {"numeric_digits_and_space", uip_NumericString, {0x12, 0x03, '1', ' ', '9'}, 0x12, 1, 0, 5,
       {'1', ' ', '9'}},
      {"numeric_hyphen", uip_NumericString, {0x12, 0x03, '1', '-', '9'}, 0x12, 0,
       ASN_BAD_NUMERIC, 5, {'1', '-', '9'}},
      {"numeric_letter", uip_NumericString, {0x12, 0x01, 'a'}, 0x12, 0, ASN_BAD_NUMERIC, 3,
       {'a'}},
      {"printable_full_set", uip_PrintableString,
       cat({{0x13, 17}, Bytes{'A', 'z', '0', '\'', '"', '(', ')', '+', ',', '-', '.', '/', ':',
                              '=', '?', ' ', 0x00}}),
       0x13, 1, 0, 19,
       {'A', 'z', '0', '\'', '"', '(', ')', '+', ',', '-', '.', '/', ':', '=', '?', ' ', 0x00}},
      {"printable_asterisk", uip_PrintableString, {0x13, 0x02, 'a', '*'}, 0x13, 0,
       ASN_BAD_PRINTABLE, 4, {'a', '*'}},
      {"printable_ampersand", uip_PrintableString, {0x13, 0x01, '&'}, 0x13, 0, ASN_BAD_PRINTABLE,
       3, {'&'}},
      {"printable_at_sign", uip_PrintableString, {0x13, 0x01, '@'}, 0x13, 0, ASN_BAD_PRINTABLE,
       3, {'@'}},
      {"printable_high_octet", uip_PrintableString, {0x13, 0x01, 0xE9}, 0x13, 0,
       ASN_BAD_PRINTABLE, 3, {0xE9}},
      {"integer_kept_as_read", uip_INTEGER, {0x02, 0x02, 0x00, 0x01}, 0x02, 1, 0, 4,
       {0x00, 0x01}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    vbl_blk* v = new_vbl_blk();
    int32_t err = 0;
    EXPECT_EQ(c.uip(v, &pos, in.data() + in.size(), c.tag, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
    if (c.result == 1 || c.code == ASN_BAD_NUMERIC || c.code == ASN_BAD_PRINTABLE) {
      ASSERT_EQ(v->length, static_cast<int32_t>(c.content.size()));
      EXPECT_EQ(hex(v->bytes, v->length), hex(c.content));
    }
    drop_vbl_blk(v);
  }
}

TEST(ValueFamily, DecodeIntoUsedRecordReplacesBlock) {
  Bytes in{0x04, 0x01, 0x01, 0x04, 0x02, 0x02, 0x03};
  const uint8_t* pos = in.data();
  const uint8_t* limit = in.data() + in.size();
  vbl_blk v{};
  int32_t err = 0;
  ASSERT_EQ(uip_OCTET_STRING(&v, &pos, limit, 0x04, &err), 1);
  ASSERT_EQ(uip_OCTET_STRING(&v, &pos, limit, 0x04, &err), 1);  // LSan: old block freed
  EXPECT_EQ(hex(v.bytes, v.length), "02 03");
  dip_vbl_blk(&v);
}

TEST(ValueFamily, OverrunKeepsTheOldValue) {
  Bytes in{0x04, 0x09, 0x01};
  const uint8_t* pos = in.data();
  vbl_blk v{};
  const uint8_t old[] = {0xEE};
  ASSERT_EQ(put_str_val(&v, old, 1), 0);
  int32_t err = 0;
  EXPECT_EQ(uip_OCTET_STRING(&v, &pos, in.data() + in.size(), 0x04, &err), 0);
  EXPECT_EQ(err, ASN_OVERRUN);
  EXPECT_EQ(hex(v.bytes, v.length), "ee");
  dip_vbl_blk(&v);
}

TEST(ValueFamily, UnpackMakesRecordOnlyForAGoodElement) {
  Bytes in{0x13, 0x01, '*', 0x13, 0x01, 'A'};
  const uint8_t* pos = in.data();
  const uint8_t* limit = in.data() + in.size();
  int32_t err = 0;
  EXPECT_EQ(_unpack_IA5String(&pos, limit, 0x16, &err), nullptr);
  EXPECT_EQ(pos, in.data());
  EXPECT_EQ(err, 0);
  EXPECT_EQ(_unpack_PrintableString(&pos, limit, 0x13, &err), nullptr);
  EXPECT_EQ(err, ASN_BAD_PRINTABLE);
  EXPECT_EQ(pos, in.data() + 3);
  vbl_blk* v = _unpack_PrintableString(&pos, limit, 0x13, &err);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(hex(v->bytes, v->length), "41");
  drop_vbl_blk(v);
}

// ---------------------------------------------------------------------------
// Arguments that cannot be used.

template <class R, R* (*New)(), void (*Drop)(R*),
          int32_t (*Uip)(R*, const uint8_t**, const uint8_t*, int32_t, int32_t*)>
int32_t uip_with(bool with_record, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                 int32_t* err) {
  R* record = with_record ? New() : nullptr;
  const int32_t result = Uip(record, cursor, limit, tag, err);
  Drop(record);
  return result;
}

template <class R, void (*Drop)(R*),
          R* (*Unpack)(const uint8_t**, const uint8_t*, int32_t, int32_t*)>
bool unpack_with(const uint8_t** cursor, const uint8_t* limit, int32_t tag, int32_t* err) {
  R* record = Unpack(cursor, limit, tag, err);
  Drop(record);
  return record != nullptr;
}

TEST(Primitives, UnusableArgumentsAreReported) {
  const struct {
    const char* name;
    int32_t (*uip)(bool, const uint8_t**, const uint8_t*, int32_t, int32_t*);
    bool (*unpack)(const uint8_t**, const uint8_t*, int32_t, int32_t*);
    Bytes good;
  } types[] = {
      {"octet_string", uip_with<vbl_blk, new_vbl_blk, drop_vbl_blk, uip_OCTET_STRING>,
       unpack_with<vbl_blk, drop_vbl_blk, _unpack_OCTET_STRING>, {0x04, 0x00}},
      {"printable", uip_with<vbl_blk, new_vbl_blk, drop_vbl_blk, uip_PrintableString>,
       unpack_with<vbl_blk, drop_vbl_blk, _unpack_PrintableString>, {0x13, 0x00}},
      {"integer", uip_with<vbl_blk, new_vbl_blk, drop_vbl_blk, uip_INTEGER>,
       unpack_with<vbl_blk, drop_vbl_blk, _unpack_INTEGER>, {0x02, 0x01, 0x00}},
      {"raw_block", uip_with<vbl_blk, new_vbl_blk, drop_vbl_blk, uip_UNDECODED_ASN_BLOCK>,
       unpack_with<vbl_blk, drop_vbl_blk, _unpack_UNDECODED_ASN_BLOCK>, {0x04, 0x00}},
      {"boolean", uip_with<BOOLEAN, new_BOOLEAN, drop_BOOLEAN, uip_BOOLEAN>,
       unpack_with<BOOLEAN, drop_BOOLEAN, _unpack_BOOLEAN>, {0x04, 0x01, 0x00}},
      {"null", uip_with<ASN_NULL, new_ASN_NULL, drop_ASN_NULL, uip_ASN_NULL>,
       unpack_with<ASN_NULL, drop_ASN_NULL, _unpack_ASN_NULL>, {0x04, 0x00}},
      {"bit_string", uip_with<BIT_STRING, new_BIT_STRING, drop_BIT_STRING, uip_BIT_STRING>,
       unpack_with<BIT_STRING, drop_BIT_STRING, _unpack_BIT_STRING>, {0x04, 0x02, 0x00, 0x00}},
  };
  for (const auto& t : types) {
    SCOPED_TRACE(t.name);
    Bytes in = t.good;
    in[0] = 0x80;  // each is called with this tag
    const uint8_t* limit = in.data() + in.size();
    const uint8_t* pos = in.data();
    const uint8_t* null_pos = nullptr;

    EXPECT_EQ(t.uip(true, &pos, limit, 0x80, nullptr), 0);
    EXPECT_EQ(pos, in.data());
    int32_t err = 0;
    EXPECT_EQ(t.uip(false, &pos, limit, 0x80, &err), 0);
    EXPECT_EQ(err, ASN_NO_RECORD);
    err = 0;
    EXPECT_EQ(t.uip(true, nullptr, limit, 0x80, &err), 0);
    EXPECT_EQ(err, ASN_IN_NO_CURSOR);
    err = 0;
    EXPECT_EQ(t.uip(true, &null_pos, limit, 0x80, &err), 0);
    EXPECT_EQ(err, ASN_IN_NO_POSITION);

    err = 0;
    EXPECT_FALSE(t.unpack(nullptr, limit, 0x80, &err));
    EXPECT_EQ(err, ASN_IN_NO_CURSOR);
    err = 0;
    EXPECT_FALSE(t.unpack(&null_pos, limit, 0x80, &err));
    EXPECT_EQ(err, ASN_IN_NO_POSITION);
    err = 0;
    EXPECT_FALSE(t.unpack(&pos, limit, 0x80, nullptr));
    EXPECT_EQ(pos, in.data());
    EXPECT_TRUE(t.unpack(&pos, limit, 0x80, &err));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(pos, limit);
  }
}

TEST(ValueFamily, EncoderReportsUnusableCursor) {
  vbl_blk v{};
  int32_t err = 0;
  _pack_OCTET_STRING(nullptr, &v, 0x04, &err);
  EXPECT_EQ(err, ASN_OUT_NO_CURSOR);
  uint8_t* null_pos = nullptr;
  err = 0;
  _pack_OCTET_STRING(&null_pos, &v, 0x04, &err);
  EXPECT_EQ(err, ASN_OUT_NO_POSITION);
  err = 0;
  _pack_OCTET_STRING(nullptr, nullptr, 0x04, &err);  // a null value is no fault
  EXPECT_EQ(err, 0);
  err = 0;
  BIT_STRING bits{};
  _pack_BIT_STRING(&null_pos, &bits, 0x03, &err);
  EXPECT_EQ(err, ASN_OUT_NO_POSITION);
}

// ---------------------------------------------------------------------------
// The record of the value family.

TEST(ValueBlock, SizeTable) {
  const struct {
    const char* name;
    int32_t length;
    int32_t with_header;
    int32_t size;
  } cases[] = {
      {"empty_with_header", 0, 1, 2},     {"empty_content", 0, 0, 0},
      {"short_form_edge", 127, 1, 129},   {"long_form_edge", 128, 1, 131},
      {"content_only", 128, 0, 128},      {"header_flag_low_16_bits", 5, 0x10000, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    vbl_blk v{c.length, nullptr};
    EXPECT_EQ(sizeof_vbl_blk(&v, c.with_header), c.size);
  }
  EXPECT_EQ(sizeof_vbl_blk(nullptr, 1), 0);
}

TEST(ValueBlock, FreeListHandsBackTheSameRecordZeroed) {
  vbl_blk* a = new_vbl_blk();
  ASSERT_NE(a, nullptr);
  ASSERT_EQ(put_str_val(a, reinterpret_cast<const uint8_t*>("xyz"), 3), 0);
  drop_vbl_blk(a);
  vbl_blk* b = new_vbl_blk();
  EXPECT_EQ(b, a);
  EXPECT_EQ(b->length, 0);
  EXPECT_EQ(b->bytes, nullptr);
  drop_vbl_blk(b);

  BOOLEAN* t = new_BOOLEAN();
  t->value = 1;
  drop_BOOLEAN(t);
  BOOLEAN* u = new_BOOLEAN();
  EXPECT_EQ(u, t);
  EXPECT_EQ(u->value, 0);
  drop_BOOLEAN(u);

  BIT_STRING* s = new_BIT_STRING();
  ASSERT_EQ(put_bit_string(s, reinterpret_cast<const uint8_t*>("ab"), 2, 3), 0);
  drop_BIT_STRING(s);
  BIT_STRING* r = new_BIT_STRING();
  EXPECT_EQ(r, s);
  EXPECT_EQ(r->bytes, nullptr);
  EXPECT_EQ(r->unused_bits, 0);
  drop_BIT_STRING(r);

  ASN_NULL* n = new_ASN_NULL();
  drop_ASN_NULL(n);
  EXPECT_EQ(new_ASN_NULL(), n);
  drop_ASN_NULL(n);
}

TEST(ValueBlock, PutStrValReplacesContent) {
  vbl_blk v{};
  EXPECT_EQ(put_str_val(nullptr, nullptr, 0), -1);
  ASSERT_EQ(put_str_val(&v, reinterpret_cast<const uint8_t*>("abcd"), 4), 0);
  ASSERT_EQ(put_str_val(&v, reinterpret_cast<const uint8_t*>("z"), 1), 0);  // LSan: no leak
  EXPECT_EQ(hex(v.bytes, v.length), "7a");
  ASSERT_EQ(put_str_val(&v, nullptr, 0), 0);
  EXPECT_EQ(v.length, 0);
  EXPECT_EQ(v.bytes, nullptr);
  dip_vbl_blk(&v);
  dip_vbl_blk(nullptr);
  drop_vbl_blk(nullptr);
}

TEST(ValueBlock, MissingBytesPackHeaderOnly) {
  vbl_blk v{3, nullptr};
  Bytes out(5, 0xEE);
  uint8_t* pos = out.data();
  int32_t err = 0;
  _pack_OCTET_STRING(&pos, &v, 0x04, &err);
  EXPECT_EQ(pos, out.data() + 2);
  EXPECT_EQ(hex(out.data(), 2), "04 03");
  EXPECT_EQ(err, 0);  // the enclosing length check reports the short write
}

// ---------------------------------------------------------------------------
// Raw elements.

TEST(RawBlock, DecodeTable) {
  const struct {
    const char* name;
    Bytes in;
    int32_t result, code;
    size_t consumed;
  } cases[] = {
      {"null_element", {0x05, 0x00}, 1, 0, 2},
      {"any_tag_taken", {0xC7, 0x01, 0x00}, 1, 0, 3},
      {"non_canonical_length_kept", {0x04, 0x81, 0x01, 0xAA}, 1, 0, 4},
      {"indefinite_counts_empty", {0x30, 0x80, 0x00, 0x00}, 1, 0, 2},
      {"content_past_limit", {0x04, 0x03, 0xAA}, 0, ASN_OVERRUN, 3},
      {"length_field_past_limit", {0x04, 0x84, 0x00}, 0, ASN_OVERRUN, 3},
      {"tag_only", {0x04}, 0, ASN_OVERRUN, 1},
      {"at_limit", {}, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    vbl_blk v{};
    int32_t err = 0;
    EXPECT_EQ(uip_UNDECODED_ASN_BLOCK(&v, &pos, in.data() + in.size(), 0x02, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
    if (c.result == 1) {
      EXPECT_EQ(hex(v.bytes, v.length), hex(in.data(), c.consumed));
      EXPECT_EQ(sizeof_UNDECODED_ASN_BLOCK(&v, 0), static_cast<int32_t>(c.consumed));
      EXPECT_EQ(sizeof_UNDECODED_ASN_BLOCK(&v, 1), static_cast<int32_t>(c.consumed));
      Bytes out(c.consumed);
      uint8_t* w = out.data();
      _pack_UNDECODED_ASN_BLOCK(&w, &v, 0x30, &err);
      EXPECT_EQ(hex(out), hex(in.data(), c.consumed));
    } else {
      EXPECT_EQ(v.bytes, nullptr);
    }
    dip_vbl_blk(&v);
  }
}

TEST(RawBlock, EmptyOrNullWritesNothing) {
  Bytes out(2, 0xEE);
  uint8_t* pos = out.data();
  int32_t err = 0;
  vbl_blk empty{};
  vbl_blk missing{4, nullptr};
  _pack_UNDECODED_ASN_BLOCK(&pos, &empty, 0x30, &err);
  _pack_UNDECODED_ASN_BLOCK(&pos, &missing, 0x30, &err);
  _pack_UNDECODED_ASN_BLOCK(&pos, nullptr, 0x30, &err);
  _pack_UNDECODED_ASN_BLOCK(nullptr, &missing, 0x30, &err);
  EXPECT_EQ(pos, out.data());
  EXPECT_EQ(err, 0);
  EXPECT_EQ(sizeof_UNDECODED_ASN_BLOCK(nullptr, 1), 0);
}

// ---------------------------------------------------------------------------
// INTEGER

TEST(Integer, PutIntValWritesShortestForm) {
  const struct { int32_t number; Bytes octets; } cases[] = {
      {0, {0x00}},          {-1, {0xFF}},          {127, {0x7F}},
      {128, {0x00, 0x80}},  {-128, {0x80}},        {-129, {0xFF, 0x7F}},
      {256, {0x01, 0x00}},  {INT32_MIN, {0x80, 0x00, 0x00, 0x00}},
      {INT32_MAX, {0x7F, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.number);
    vbl_blk v{};
    ASSERT_EQ(put_int_val(&v, c.number), 0);
    EXPECT_EQ(hex(v.bytes, v.length), hex(c.octets));
    EXPECT_EQ(get_int_val(&v), c.number);
    dip_vbl_blk(&v);
  }
  EXPECT_EQ(put_int_val(nullptr, 5), -1);
}

TEST(Integer, GetIntValTable) {
  const struct { const char* name; Bytes octets; int32_t value; } cases[] = {
      {"sign_extends", {0x80}, -128},
      {"leading_zero_keeps_positive", {0x00, 0x80}, 128},
      {"negative_two_octets", {0xFF, 0x7F}, -129},
      {"later_octets_unsigned", {0x01, 0xFF}, 511},
      {"four_octets", {0x12, 0x34, 0x56, 0x78}, 0x12345678},
      {"five_octets_is_zero", {0x00, 0x00, 0x00, 0x00, 0x01}, 0},
      {"empty_is_zero", {}, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes octets = c.octets;
    vbl_blk v{static_cast<int32_t>(octets.size()), octets.empty() ? nullptr : octets.data()};
    EXPECT_EQ(get_int_val(&v), c.value);
  }
  EXPECT_EQ(get_int_val(nullptr), 0);
  vbl_blk no_bytes{2, nullptr};
  EXPECT_EQ(get_int_val(&no_bytes), 0);
}

TEST(Integer, NormalisingTable) {
  const struct { const char* name; Bytes in; Bytes out; } cases[] = {
      {"redundant_zero", {0x00, 0x7F}, {0x7F}},
      {"redundant_ff", {0xFF, 0x80}, {0x80}},
      {"zero_keeps_sign", {0x00, 0x80}, {0x00, 0x80}},
      {"ff_keeps_sign", {0xFF, 0x7F}, {0xFF, 0x7F}},
      {"run_of_zeros", {0x00, 0x00, 0x01}, {0x01}},
      {"single_zero_stays", {0x00}, {0x00}},
      {"all_zero", {0x00, 0x00, 0x00}, {0x00}},
      {"all_ff", {0xFF, 0xFF}, {0xFF}},
      {"minimal_untouched", {0x01, 0x00}, {0x01, 0x00}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    vbl_blk v{};
    ASSERT_EQ(put_str_val(&v, c.in.data(), static_cast<uint32_t>(c.in.size())), 0);
    norm_INTEGER(&v);
    EXPECT_EQ(hex(v.bytes, v.length), hex(c.out));
    dip_vbl_blk(&v);
  }
  vbl_blk empty{};
  norm_INTEGER(&empty);
  EXPECT_EQ(empty.length, 0);
  vbl_blk stale{3, nullptr};
  norm_INTEGER(&stale);
  EXPECT_EQ(stale.length, 0);
  norm_INTEGER(nullptr);
}

TEST(Integer, SizingNormalisesTheRecord) {
  Bytes in{0x02, 0x02, 0x00, 0x01};
  const uint8_t* pos = in.data();
  int32_t err = 0;
  vbl_blk* v = _unpack_INTEGER(&pos, in.data() + in.size(), 0x02, &err);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->length, 2);
  EXPECT_EQ(sizeof_INTEGER(v, 1), 3);
  EXPECT_EQ(v->length, 1);
  Bytes out(3);
  uint8_t* w = out.data();
  _pack_INTEGER(&w, v, 0x02, &err);
  EXPECT_EQ(hex(out), "02 01 01");
  EXPECT_EQ(sizeof_INTEGER(nullptr, 1), 0);
  drop_vbl_blk(v);
}

// ---------------------------------------------------------------------------
// BOOLEAN and NULL

struct FixedCase {
  const char* name;
  Bytes in;
  int32_t result, code;
  size_t consumed;
  int16_t value;
};

TEST(Boolean, DecodeTable) {
  const FixedCase cases[] = {
      {"true", {0x01, 0x01, 0xFF}, 1, 0, 3, 1},
      {"false", {0x01, 0x01, 0x00}, 1, 0, 3, 0},
      {"any_nonzero_is_true", {0x01, 0x01, 0x01}, 1, 0, 3, 1},
      {"length_two_back_at_tag", {0x01, 0x02, 0xFF, 0xFF}, 0, ASN_BAD_BOOLEAN, 0, 0},
      {"length_zero_back_at_tag", {0x01, 0x00}, 0, ASN_BAD_BOOLEAN, 0, 0},
      {"content_past_limit", {0x01, 0x01}, 0, ASN_OVERRUN, 2, 0},
      {"length_field_past_limit", {0x01, 0x81}, 0, ASN_OVERRUN, 2, 0},
      {"other_tag", {0x02, 0x01, 0xFF}, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    BOOLEAN b{};
    int32_t err = 0;
    EXPECT_EQ(uip_BOOLEAN(&b, &pos, in.data() + in.size(), 0x01, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
    EXPECT_EQ(b.value, c.value);
  }
}

TEST(Boolean, EncodesCanonically) {
  BOOLEAN b{1};
  Bytes out(3);
  uint8_t* pos = out.data();
  _pack_BOOLEAN(&pos, &b, 0x81, nullptr);
  EXPECT_EQ(hex(out), "81 01 ff");
  b.value = 0;
  pos = out.data();
  _pack_BOOLEAN(&pos, &b, 0x01, nullptr);
  EXPECT_EQ(hex(out), "01 01 00");
  EXPECT_EQ(sizeof_BOOLEAN(&b, 1), 3);
  EXPECT_EQ(sizeof_BOOLEAN(&b, 0), 1);
  EXPECT_EQ(sizeof_BOOLEAN(nullptr, 1), 0);
}

TEST(Null, DecodeTable) {
  const FixedCase cases[] = {
      {"empty", {0x05, 0x00}, 1, 0, 2, 0},
      {"length_one_back_at_tag", {0x05, 0x01, 0x00}, 0, ASN_BAD_NULL, 0, 0},
      {"length_field_past_limit", {0x05, 0x82, 0x00}, 0, ASN_OVERRUN, 3, 0},
      {"other_tag", {0x04, 0x00}, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    ASN_NULL n{};
    int32_t err = 0;
    EXPECT_EQ(uip_ASN_NULL(&n, &pos, in.data() + in.size(), 0x05, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
  }
}

TEST(Null, SizesAndEncoding) {
  ASN_NULL n{};
  EXPECT_EQ(sizeof_ASN_NULL(&n, 1), 2);
  EXPECT_EQ(sizeof_ASN_NULL(&n, 0), 0);
  EXPECT_EQ(sizeof_ASN_NULL(nullptr, 1), 0);
  Bytes out(2);
  uint8_t* pos = out.data();
  _pack_ASN_NULL(&pos, &n, 0x85, nullptr);
  EXPECT_EQ(hex(out), "85 00");
}

// ---------------------------------------------------------------------------
// BIT STRING

TEST(BitString, DecodeTable) {
  const struct {
    const char* name;
    Bytes in;
    int32_t result, code;
    size_t consumed;
    int16_t unused;
    Bytes data;
  } cases[] = {
      {"one_data_octet", {0x03, 0x02, 0x05, 0xA0}, 1, 0, 4, 5, {0xA0}},
      {"initial_octet_only", {0x03, 0x01, 0x00}, 1, 0, 3, 0, {}},
      {"unused_bits_unchecked", {0x03, 0x02, 0xC8, 0xFF}, 1, 0, 4, 200, {0xFF}},
      {"empty_content_no_code", {0x03, 0x00}, 0, 0, 2, 0, {}},
      {"content_past_limit", {0x03, 0x03, 0x00}, 0, ASN_OVERRUN, 3, 0, {}},
      {"other_tag", {0x04, 0x01, 0x00}, 0, 0, 0, 0, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes in = input(c.in);
    const uint8_t* pos = in.data();
    BIT_STRING* b = new_BIT_STRING();
    int32_t err = 0;
    EXPECT_EQ(uip_BIT_STRING(b, &pos, in.data() + in.size(), 0x03, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - in.data()), c.consumed);
    if (c.result == 1) {
      EXPECT_EQ(b->unused_bits, c.unused);
      EXPECT_EQ(b->offset, 1);
      EXPECT_EQ(hex(b->bytes, b->length), hex(c.data));
      EXPECT_EQ(sizeof_BIT_STRING(b, 1), static_cast<int32_t>(c.consumed));
      Bytes out(c.consumed);
      uint8_t* w = out.data();
      _pack_BIT_STRING(&w, b, 0x03, &err);
      EXPECT_EQ(hex(out), hex(in));
    }
    drop_BIT_STRING(b);  // LSan: the block is freed from its true start
  }
}

TEST(BitString, DecodeIntoUsedRecordReleasesOldBlock) {
  Bytes in{0x03, 0x02, 0x00, 0x11, 0x03, 0x03, 0x01, 0x22, 0x33};
  const uint8_t* pos = in.data();
  const uint8_t* limit = in.data() + in.size();
  BIT_STRING b{};
  int32_t err = 0;
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, limit, 0x03, &err), 1);
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, limit, 0x03, &err), 1);
  EXPECT_EQ(hex(b.bytes, b.length), "22 33");
  EXPECT_EQ(b.unused_bits, 1);
  dip_BIT_STRING(&b);
  EXPECT_EQ(b.bytes, nullptr);
  EXPECT_EQ(b.offset, 0);
  dip_BIT_STRING(&b);
}

TEST(BitString, PutBitStringClearsOffset) {
  Bytes in{0x03, 0x02, 0x00, 0x11};
  const uint8_t* pos = in.data();
  BIT_STRING b{};
  int32_t err = 0;
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, in.data() + in.size(), 0x03, &err), 1);
  const uint8_t data[] = {0xF0, 0x0F};
  ASSERT_EQ(put_bit_string(&b, data, 2, 4), 0);
  EXPECT_EQ(b.offset, 0);
  EXPECT_EQ(b.unused_bits, 4);
  EXPECT_EQ(sizeof_BIT_STRING(&b, 0), 3);
  Bytes out(5);
  uint8_t* w = out.data();
  _pack_BIT_STRING(&w, &b, 0x81, &err);
  EXPECT_EQ(hex(out), "81 03 04 f0 0f");
  EXPECT_EQ(put_bit_string(nullptr, data, 2, 0), -1);
  dip_BIT_STRING(&b);
}

// ---------------------------------------------------------------------------
// Trace

TEST(Trace, DumpTable) {
  const std::string nine(9, ' ');
  const struct {
    const char* name;
    Bytes bytes;
    int32_t count, indent;
    std::string out;
  } cases[] = {
      {"full_and_partial_line", {'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J'}, 10, 1,
       "\n   41 42 43 44 45 46 47 48     ABCDEFGH\n   49 4a     " + std::string(18, ' ') + "IJ"},
      {"exactly_one_line", {'0', '1', '2', '3', '4', '5', '6', '7'}, 8, 0,
       "\n30 31 32 33 34 35 36 37     01234567"},
      {"unprintables_as_dots", {0x00, 0x7F, 0x80, 0xFF, 0x20}, 5, -2,
       "\n00 7f 80 ff 20     " + nine + ".... "},
      {"count_zero", {'A'}, 0, 1, ""},
      {"count_negative", {'A'}, -3, 1, ""},
      {"deep_indent", {'z'}, 1, 2, "\n      7a     " + std::string(21, ' ') + "z"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::internal::CaptureStderr();
    const int32_t result = trace_prim(c.bytes.data(), c.count, c.indent);
    const std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, c.out);
  }
}

TEST(Trace, DecodersTraceWhenDebugLevelIsSet) {
  Bytes in{0x04, 0x02, 'o', 'k'};
  const uint8_t* pos = in.data();
  vbl_blk v{};
  int32_t err = 0;
  globalDebugLevel = 1;
  testing::internal::CaptureStderr();
  const int32_t result = uip_OCTET_STRING(&v, &pos, in.data() + in.size(), 0x04, &err);
  const std::string out = testing::internal::GetCapturedStderr();
  globalDebugLevel = 0;
  EXPECT_EQ(result, 1);
  EXPECT_EQ(out, "\n6f 6b     " + std::string(18, ' ') + "ok");
  dip_vbl_blk(&v);
}

}  // namespace
}  // namespace qel::tst
