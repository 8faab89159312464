// The table-driven engine on the test schema and the catalogue: decoding,
// sizing, encoding and release for every form and shape.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "qelcert.h"
#include "tests/asn/helpers.h"
#include "tests/asn/test_schema.h"

#if defined(__SANITIZE_ADDRESS__)
#define QEL_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_TEST_ASAN 1
#endif
#endif

#ifdef QEL_TEST_ASAN
// The allocation failure tests need null from a failed allocation, which the
// sanitizer's allocator otherwise turns into an abort.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace qel::tst {
namespace {

// ---------------------------------------------------------------------------
// Helpers

struct Decoded {
  void* record;
  int32_t result;
  int32_t err;
  size_t consumed;
};

// Decodes `in` into a fresh record of type `d`; the input buffer is exactly
// `in`, so any read past it is caught by ASan. The caller drops the record.
Decoded decode(const TypeDesc* d, const Bytes& in, int32_t tag) {
  Bytes buf = input(in);
  const uint8_t* pos = buf.data();
  Decoded out{engine::make(d), 0, 0, 0};
  out.result = engine::uip(d, out.record, &pos, buf.data() + buf.size(), tag, &out.err);
  out.consumed = static_cast<size_t>(pos - buf.data());
  return out;
}

// Encodes into a buffer of exactly sizeof(value, 1) octets and returns what
// was written.
Bytes encode(const TypeDesc* d, void* value, int32_t tag, int32_t* err) {
  Bytes out(static_cast<size_t>(engine::size(d, value, 1)));
  uint8_t* pos = out.data();
  engine::pack(d, &pos, value, tag, err);
  out.resize(static_cast<size_t>(pos - out.data()));
  return out;
}

vbl_blk* octets(const Bytes& b) {
  vbl_blk* v = new_vbl_blk();
  EXPECT_EQ(put_str_val(v, b.data(), static_cast<uint32_t>(b.size())), 0);
  return v;
}

// ---------------------------------------------------------------------------
// The Extension example

TEST(Extension, DecodeSizeEncode) {
  const Bytes in{0x30, 0x0C, 0x06, 0x03, 0x55, 0x1D, 0x13, 0x01, 0x01,
                 0xFF, 0x04, 0x02, 0x30, 0x00};
  const uint8_t* pos = in.data();
  int32_t err = 0;
  Extension* e = _unpack_Extension(&pos, in.data() + in.size(), 0x30, &err);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(pos, in.data() + in.size());
  EXPECT_EQ(hex(e->extnID.bytes, e->extnID.length), "55 1d 13");
  ASSERT_NE(e->critical, nullptr);
  EXPECT_EQ(e->critical->value, 1);
  EXPECT_EQ(hex(e->extnValue.bytes, e->extnValue.length), "30 00");
  EXPECT_EQ(sizeof_Extension(e, 0), 12);
  EXPECT_EQ(sizeof_Extension(e, 1), 14);
  Bytes out(14);
  uint8_t* w = out.data();
  _pack_Extension(&w, e, 0x30, &err);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(hex(out), hex(in));
  drop_Extension(e);
}

TEST(Extension, CriticalAbsentOrFalseSurvivesRoundTrip) {
  const struct { const char* name; Bytes in; bool has_critical; } cases[] = {
      {"absent", {0x30, 0x09, 0x06, 0x03, 0x55, 0x1D, 0x13, 0x04, 0x02, 0x30, 0x00}, false},
      {"present_false",
       {0x30, 0x0C, 0x06, 0x03, 0x55, 0x1D, 0x13, 0x01, 0x01, 0x00, 0x04, 0x02, 0x30, 0x00},
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Decoded d = decode(&Extension_desc, c.in, 0x30);
    auto* e = static_cast<Extension*>(d.record);
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.err, 0);
    EXPECT_EQ(e->critical != nullptr, c.has_critical);
    int32_t err = 0;
    EXPECT_EQ(hex(encode(&Extension_desc, e, 0x30, &err)), hex(c.in));
    EXPECT_EQ(err, 0);
    drop_Extension(e);
  }
}

// ---------------------------------------------------------------------------
// Valid encodings of the test schema decode cleanly and encode back exactly.

const Bytes kId = {0x02, 0x01, 0x05};
const Bytes kNoItems = {0x30, 0x00};

TEST(Schema, CanonicalEncodingsRoundTrip) {
  const struct { const char* name; Bytes content; } cases[] = {
      {"required_only", cat({kId, kNoItems})},
      {"explicit_optional_present", cat({kId, {0xA0, 0x03, 0x13, 0x01, 'A'}, kNoItems})},
      {"explicit_inline_present", cat({kId, {0xA1, 0x04, 0x0C, 0x02, 'h', 'i'}, kNoItems})},
      {"optional_present", cat({kId, {0x01, 0x01, 0xFF}, kNoItems})},
      {"choice_integer", cat({kId, {0x02, 0x01, 0x07}, kNoItems})},
      {"choice_null", cat({kId, {0x05, 0x00}, kNoItems})},
      {"choice_implicit_string", cat({kId, {0x80, 0x02, 'h', 'i'}, kNoItems})},
      {"choice_bit_string", cat({kId, {0x81, 0x02, 0x04, 0xF0}, kNoItems})},
      {"choice_wrapped", cat({kId, {0xA2, 0x03, 0x04, 0x01, 'A'}, kNoItems})},
      {"choice_sequence",
       cat({kId, {0xA3, 0x08, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x02, 0x01, 0x02}, kNoItems})},
      {"choice_empty_all_optional", cat({kId, {0xA4, 0x00}, kNoItems})},
      {"choice_all_optional",
       cat({kId, {0xA4, 0x08, 0xA0, 0x03, 0x02, 0x01, 0x05, 0x01, 0x01, 0x00}, kNoItems})},
      {"choice_set_of", cat({kId, {0xA5, 0x06, 0x04, 0x01, 0x01, 0x04, 0x01, 0x02}, kNoItems})},
      {"list_of_choices",
       cat({kId, {0x30, 0x0A, 0x02, 0x01, 0x01, 0x05, 0x00, 0x01, 0x01, 0xFF, 0x80, 0x00}})},
      {"trailing_set_of", cat({kId, kNoItems, {0xA2, 0x06, 0x04, 0x01, 0x01, 0x04, 0x01, 0x02}})},
      {"trailing_explicit_list", cat({kId, kNoItems, {0xA3, 0x04, 0x30, 0x02, 0x05, 0x00}})},
      {"trailing_explicit_raw", cat({kId, kNoItems, {0xA4, 0x03, 0x04, 0x81, 0x00}})},
      {"long_form_lengths", cat({kId, tlv(0xA1, tlv(0x04, Bytes(200, 'x'))), kNoItems})},
      {"everything",
       cat({kId, {0xA0, 0x03, 0x13, 0x01, 'A'}, {0xA1, 0x02, 0x05, 0x00}, {0x01, 0x01, 0x00},
            {0x80, 0x01, 'p'}, {0x30, 0x03, 0x02, 0x01, 0x09},
            {0xA2, 0x03, 0x04, 0x01, 0x01}, {0xA3, 0x02, 0x30, 0x00}, {0xA4, 0x02, 0x05, 0x00}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes in = tlv(0x30, c.content);
    Decoded d = decode(&Record_desc, in, 0x30);
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.err, 0);
    EXPECT_EQ(d.consumed, in.size());
    EXPECT_EQ(sizeof_Record(static_cast<Record*>(d.record), 1), static_cast<int32_t>(in.size()));
    int32_t err = 0;
    EXPECT_EQ(hex(encode(&Record_desc, d.record, 0x30, &err)), hex(in));
    EXPECT_EQ(err, 0);
    drop_Record(static_cast<Record*>(d.record));
  }
}

TEST(Schema, DecodedFieldsLandInTheirMembers) {
  const Bytes in = tlv(0x30, cat({kId, {0xA0, 0x03, 0x13, 0x01, 'A'}, {0x01, 0x01, 0x00},
                                  {0xA2, 0x03, 0x04, 0x01, 'B'}, kNoItems,
                                  {0xA3, 0x02, 0x30, 0x00}}));
  Decoded d = decode(&Record_desc, in, 0x30);
  ASSERT_EQ(d.result, 1);
  auto* r = static_cast<Record*>(d.record);
  EXPECT_EQ(get_int_val(&r->id), 5);
  ASSERT_NE(r->label, nullptr);
  EXPECT_EQ(hex(r->label->bytes, r->label->length), "41");
  EXPECT_EQ(r->body.bytes, nullptr);  // absent wrapper: the field is not missed
  ASSERT_NE(r->flag, nullptr);
  EXPECT_EQ(r->flag->value, 0);
  EXPECT_EQ(r->pick.tag, 0xA2);
  auto* boxed = static_cast<vbl_blk*>(r->pick.value);
  EXPECT_EQ(hex(boxed->bytes, boxed->length), "42");
  EXPECT_EQ(r->items.count, 0);
  EXPECT_EQ(r->strings, nullptr);
  ASSERT_NE(r->extra, nullptr);
  EXPECT_EQ(r->extra->count, 0);
  EXPECT_EQ(r->raw, nullptr);
  drop_Record(r);
}

// ---------------------------------------------------------------------------
// Decoding faults: result, stored code and where the position stands.

struct DecodeCase {
  const char* name;
  const TypeDesc* type;
  Bytes in;
  int32_t result, code;
  size_t consumed;
};

void run_decode_cases(const DecodeCase* cases, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const DecodeCase& c = cases[i];
    SCOPED_TRACE(c.name);
    const int32_t tag = c.type->shape == Shape::Choice ? TAG_CHOICE : 0x30;
    Decoded d = decode(c.type, c.in, tag);
    EXPECT_EQ(d.result, c.result);
    EXPECT_EQ(d.err, c.code);
    EXPECT_EQ(d.consumed, c.consumed);
    engine::drop(c.type, d.record);  // LSan: a failed record releases cleanly
  }
}

TEST(Sequence, DecodeFaultTable) {
  const DecodeCase cases[] = {
      {"tag_differs_touches_nothing", &Pair_desc, {0x31, 0x00}, 0, 0, 0},
      {"at_limit_touches_nothing", &Pair_desc, {}, 0, 0, 0},
      {"header_past_limit", &Pair_desc, {0x30, 0x05, 0x02, 0x01}, 0, ASN_OVERRUN, 4},
      {"length_field_past_limit", &Pair_desc, {0x30, 0x82, 0x01}, 0, ASN_OVERRUN, 3},
      {"length_wraps_address_space", &Pair_desc, {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFE, 0x00}, 0,
       ASN_OVERRUN, 7},
      {"first_fails_on_tag_second_read_there", &Pair_desc,
       {0x30, 0x05, 0xA0, 0x03, 0x02, 0x01, 0x07}, 0, ASN_FIELD_FAILED, 7},
      {"required_field_overruns_sequence", &Pair_desc,
       {0x30, 0x05, 0x02, 0x05, 0x01, 0xA0, 0x00, 0x02, 0x01}, 0, ASN_FIELD_FAILED, 7},
      {"failed_field_then_leftover", &Pair_desc, {0x30, 0x03, 0x04, 0x01, 0x05}, 0,
       ASN_LEFTOVER, 2},
      {"leftover_keeps_result", &Pair_desc,
       {0x30, 0x0A, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x02, 0x01, 0x02, 0x05, 0x00}, 1, ASN_LEFTOVER,
       10},
      {"inner_runs_past_wrapper", &Pair_desc,
       {0x30, 0x08, 0x02, 0x01, 0x01, 0xA0, 0x02, 0x02, 0x01, 0x02}, 1, ASN_WRAPPER_END, 10},
      {"inner_short_of_wrapper", &Pair_desc,
       {0x30, 0x09, 0x02, 0x01, 0x01, 0xA0, 0x04, 0x02, 0x01, 0x02, 0x00}, 1, ASN_LEFTOVER, 10},
      {"empty_wrapper_not_missed", &Pair_desc, {0x30, 0x05, 0x02, 0x01, 0x01, 0xA0, 0x00}, 1, 0,
       7},
      {"missing_wrapper_not_missed", &Pair_desc, {0x30, 0x03, 0x02, 0x01, 0x01}, 1, 0, 5},
      {"explicit_wrapper_beyond_end_is_absent", &Pair_desc,
       {0x30, 0x03, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x02, 0x01, 0x09}, 1, 0, 5},
      {"all_optional_empty", &Opts_desc, {0x30, 0x00}, 1, 0, 2},
      {"trailing_optional_at_end", &Opts_desc, {0x30, 0x03, 0x01, 0x01, 0xFF}, 1, 0, 5},
      {"failed_optional_does_not_fail", &Opts_desc, {0x30, 0x04, 0x01, 0x02, 0xFF, 0xFF}, 1,
       ASN_LEFTOVER, 2},
      {"explicit_optional_inner_overruns", &Opts_desc, {0x30, 0x04, 0xA0, 0x02, 0x02, 0x05}, 1,
       ASN_OVERRUN, 6},
      {"required_after_failed_optional", &Record_desc,
       {0x30, 0x0A, 0x02, 0x01, 0x05, 0xA0, 0x03, 0x13, 0x01, '*', 0x30, 0x00}, 1,
       ASN_BAD_PRINTABLE, 12},
      {"absent_choice_member_leaves_word", &Record_desc, {0x30, 0x05, 0x02, 0x01, 0x05, 0x30, 0x00},
       1, 0, 7},
      {"list_element_fault_leaves_record_usable", &Record_desc,
       {0x30, 0x07, 0x02, 0x01, 0x05, 0x30, 0x02, 0x05, 0x01}, 1, ASN_LEFTOVER, 7},
      {"end_before_trailing_optionals_skips_closing", &Record_desc, {0x30, 0x02, 0x30, 0x00}, 0,
       0, 4},
  };
  run_decode_cases(cases, std::size(cases));
}

TEST(Sequence, FailedSecondFieldReadWhereFirstStopped) {
  Decoded d = decode(&Pair_desc, {0x30, 0x05, 0xA0, 0x03, 0x02, 0x01, 0x07}, 0x30);
  auto* p = static_cast<Pair*>(d.record);
  EXPECT_EQ(p->first.length, 0);
  EXPECT_EQ(get_int_val(&p->second), 7);
  drop_Pair(p);
}

TEST(Sequence, LeftoverIsMetByTheParentAsItsNextElement) {
  // A pair with two octets (a NULL) left inside it, then nothing: the list
  // takes the NULL as its second element.
  const Bytes in{0x30, 0x0C, 0xA3, 0x0A, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x02,
                 0x01, 0x02, 0x05, 0x00};
  Decoded d = decode(&Items_desc, in, 0x30);
  auto* items = static_cast<Items*>(d.record);
  EXPECT_EQ(d.result, 1);
  EXPECT_EQ(d.err, ASN_LEFTOVER);
  EXPECT_EQ(d.consumed, in.size());
  ASSERT_EQ(items->count, 2);
  EXPECT_EQ(items->items[0]->tag, 0xA3);
  EXPECT_EQ(items->items[1]->tag, 0x05);
  drop_Items(items);
}

// ---------------------------------------------------------------------------
// Lists

Bytes nulls(size_t n) {
  Bytes content;
  for (size_t i = 0; i < n; ++i) content.insert(content.end(), {0x05, 0x00});
  return tlv(0x30, content);
}

TEST(List, DecodeFaultTable) {
  const DecodeCase cases[] = {
      {"empty_list", &Items_desc, {0x30, 0x00}, 1, 0, 2},
      {"capacity_exactly", &Items_desc, nulls(32), 1, 0, 66},
      {"one_beyond_capacity", &Items_desc, nulls(33), 1, ASN_LEFTOVER, 66},
      {"third_element_fails", &Items_desc,
       {0x30, 0x08, 0x02, 0x01, 0x01, 0x05, 0x00, 0x30, 0x00, 0x05}, 1, ASN_LEFTOVER, 7},
      {"element_overruns_list", &Items_desc, {0x30, 0x03, 0x05, 0x00, 0x80, 0x05, 0x00}, 1,
       ASN_OVERRUN, 5},
      {"length_past_limit", &Items_desc, {0x30, 0x05, 0x05, 0x00}, 0, ASN_OVERRUN, 4},
      {"set_of_order_not_checked", &Strings_desc, {0x30, 0x06, 0x04, 0x01, 0x02, 0x04, 0x01, 0x01},
       1, 0, 8},
      {"set_of_duplicates_not_checked", &Strings_desc,
       {0x30, 0x06, 0x04, 0x01, 0x02, 0x04, 0x01, 0x02}, 1, 0, 8},
  };
  run_decode_cases(cases, std::size(cases));
}

TEST(List, CountsGoodElementsAndHoldsNoOthers) {
  const struct {
    const char* name;
    Bytes in;
    int32_t count;
  } cases[] = {
      {"one_beyond_capacity", nulls(33), 32},
      {"third_element_fails", {0x30, 0x06, 0x05, 0x00, 0x05, 0x00, 0x01, 0x00}, 2},
      {"length_past_limit", {0x30, 0x05, 0x05, 0x00}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Decoded d = decode(&Items_desc, c.in, 0x30);
    auto* items = static_cast<Items*>(d.record);
    EXPECT_EQ(items->count, c.count);
    for (int32_t i = c.count < 0 ? 0 : c.count; i < 32; ++i) EXPECT_EQ(items->items[i], nullptr);
    drop_Items(items);
  }
}

TEST(List, OverrunReleasesElementsOfAnEarlierDecode) {
  Items items{};
  int32_t err = 0;
  Bytes good = nulls(3);
  const uint8_t* pos = good.data();
  ASSERT_EQ(uip_Items(&items, &pos, good.data() + good.size(), 0x30, &err), 1);
  ASSERT_EQ(items.count, 3);
  Bytes bad{0x30, 0x09, 0x05, 0x00};
  pos = bad.data();
  EXPECT_EQ(uip_Items(&items, &pos, bad.data() + bad.size(), 0x30, &err), 0);
  EXPECT_EQ(items.count, -1);
  EXPECT_EQ(pos, bad.data() + bad.size());
  EXPECT_EQ(items.items[0], nullptr);  // LSan: nothing left behind
  dip_Items(&items);
}

TEST(List, DecodeAgainReusesAndReleasesSlots) {
  Items items{};
  int32_t err = 0;
  Bytes three = nulls(3);
  const uint8_t* pos = three.data();
  ASSERT_EQ(uip_Items(&items, &pos, three.data() + three.size(), 0x30, &err), 1);
  Item* first = items.items[0];
  Bytes one{0x30, 0x03, 0x02, 0x01, 0x2A};
  pos = one.data();
  ASSERT_EQ(uip_Items(&items, &pos, one.data() + one.size(), 0x30, &err), 1);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(items.count, 1);
  EXPECT_EQ(items.items[0], first);
  EXPECT_EQ(items.items[0]->tag, 0x02);
  EXPECT_EQ(items.items[1], nullptr);
  EXPECT_EQ(items.items[2], nullptr);
  dip_Items(&items);
}

TEST(List, EmptyListsEncodeAsHeaderOnly) {
  for (const TypeDesc* d : {&Items_desc, &Strings_desc}) {
    SCOPED_TRACE(d->name);
    void* v = engine::make(d);
    EXPECT_EQ(engine::size(d, v, 1), 2);
    EXPECT_EQ(engine::size(d, v, 0), 0);
    int32_t err = 0;
    EXPECT_EQ(hex(encode(d, v, 0x31, &err)), "31 00");
    EXPECT_EQ(err, 0);
    engine::drop(d, v);
  }
}

TEST(List, CountBeyondCapacityWritesNothing) {
  const struct { const char* name; const TypeDesc* type; int32_t code; } cases[] = {
      {"sequence_of", &Items_desc, ASN_SEQOF_FULL},
      {"set_of", &Strings_desc, ASN_SETOF_FULL},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    void* v = engine::make(c.type);
    *static_cast<int32_t*>(v) = 33;
    EXPECT_EQ(engine::size(c.type, v, 1), 2);  // sizing clamps; every slot is empty
    Bytes out(4, 0xEE);
    uint8_t* pos = out.data();
    int32_t err = 0;
    engine::pack(c.type, &pos, v, 0x30, &err);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(pos, out.data());
    EXPECT_EQ(hex(out), "ee ee ee ee");
    engine::dip(c.type, v);  // clamps to the capacity
    engine::drop(c.type, v);
  }
}

// A set-of of raw elements: any octets at all, so that blocks of different
// lengths can share a prefix.
QEL_LIST_RECORD(Blobs, UNDECODED_ASN_BLOCK, 4);
QEL_SET_OF(Blobs, UNDECODED_ASN_BLOCK, TAG_ANY)

TEST(SetOf, EncodesInZeroPaddedOrder) {
  const struct {
    const char* name;
    const TypeDesc* type;
    std::vector<Bytes> elements;  // stored as given
    Bytes out;
  } cases[] = {
      {"single_element", &Strings_desc, {{0x09}}, {0x31, 0x03, 0x04, 0x01, 0x09}},
      {"descending_given", &Strings_desc, {{0x03}, {0x02}, {0x01}},
       {0x31, 0x09, 0x04, 0x01, 0x01, 0x04, 0x01, 0x02, 0x04, 0x01, 0x03}},
      {"length_octet_decides", &Strings_desc, {{0x00, 0x00}, {0xFF}},
       {0x31, 0x07, 0x04, 0x01, 0xFF, 0x04, 0x02, 0x00, 0x00}},
      {"long_form_after_short", &Strings_desc, {Bytes(128, 0x00), {0xFF}},
       cat({{0x31, 0x81, 0x86, 0x04, 0x01, 0xFF, 0x04, 0x81, 0x80}, Bytes(128, 0x00)})},
      {"shorter_sorts_by_its_zero_padding", &Blobs_desc, {{0x05, 0x00, 0x01}, {0x05, 0x00}},
       {0x31, 0x05, 0x05, 0x00, 0x05, 0x00, 0x01}},
      {"longer_first_when_it_is_smaller", &Blobs_desc, {{0x05, 0x01}, {0x05, 0x00, 0xFF}},
       {0x31, 0x05, 0x05, 0x00, 0xFF, 0x05, 0x01}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    void* v = engine::make(c.type);
    auto** items = reinterpret_cast<vbl_blk**>(static_cast<char*>(v) + c.type->items_offset);
    for (const Bytes& e : c.elements) items[(*static_cast<int32_t*>(v))++] = octets(e);
    int32_t err = 0;
    EXPECT_EQ(hex(encode(c.type, v, 0x31, &err)), hex(c.out));
    EXPECT_EQ(err, 0);
    engine::drop(c.type, v);
  }
}

TEST(SetOf, DuplicatesStopAfterTheHeader) {
  const struct { const char* name; const TypeDesc* type; std::vector<Bytes> elements; } cases[] = {
      {"equal_strings", &Strings_desc, {{0x01}, {0x02}, {0x01}}},
      {"equal_after_zero_padding", &Blobs_desc, {{0x05, 0x00}, {0x05, 0x00, 0x00}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    void* v = engine::make(c.type);
    auto** items = reinterpret_cast<vbl_blk**>(static_cast<char*>(v) + c.type->items_offset);
    for (const Bytes& e : c.elements) items[(*static_cast<int32_t*>(v))++] = octets(e);
    Bytes out(static_cast<size_t>(engine::size(c.type, v, 1)));
    uint8_t* pos = out.data();
    int32_t err = 0;
    engine::pack(c.type, &pos, v, 0x31, &err);
    EXPECT_EQ(err, ASN_SETOF_DUPLICATE);
    EXPECT_EQ(pos, out.data() + 2);  // LSan: every block released
    engine::drop(c.type, v);
  }
}

TEST(SetOf, StopsOnACodeStoredBeforeIt) {
  Strings* s = new_Strings();
  s->items[0] = octets({0x02});
  s->items[1] = octets({0x01});
  s->count = 2;
  Bytes out(static_cast<size_t>(sizeof_Strings(s, 1)));
  uint8_t* pos = out.data();
  int32_t err = ASN_LEFTOVER;
  _pack_Strings(&pos, s, 0x31, &err);
  EXPECT_EQ(err, ASN_LEFTOVER);  // no length check overwrote it
  EXPECT_EQ(pos, out.data() + 2);
  drop_Strings(s);
}

// ---------------------------------------------------------------------------
// Choices

TEST(Choice, DecodeFaultTable) {
  const DecodeCase cases[] = {
      {"unknown_tag_stays_put", &Item_desc, {0x30, 0x00}, 0, ASN_BAD_CHOICE, 0},
      {"at_limit", &Item_desc, {}, 0, 0, 0},
      {"alternative_fails", &Item_desc, {0x01, 0x02, 0xFF, 0xFF}, 0, ASN_BAD_BOOLEAN, 0},
      {"wrapped_good", &Item_desc, {0xA2, 0x03, 0x04, 0x01, 'A'}, 1, 0, 5},
      {"wrapped_past_limit", &Item_desc, {0xA2, 0x05, 0x04, 0x01, 'A'}, 0, ASN_OVERRUN, 5},
      {"wrapped_length_field_past_limit", &Item_desc, {0xA2, 0x82, 0x01}, 0, ASN_OVERRUN, 3},
      {"wrapped_inner_short_of_wrapper", &Item_desc, {0xA2, 0x04, 0x04, 0x01, 'A', 0x00}, 0,
       ASN_WRAPPER_END, 5},
      {"wrapped_inner_bounded_by_wrapper", &Item_desc, {0xA2, 0x02, 0x04, 0x02, 'A', 'B'}, 0,
       ASN_OVERRUN, 4},
      {"wrapped_inner_other_tag", &Item_desc, {0xA2, 0x02, 0x05, 0x00}, 0, 0, 2},
      {"alternative_overruns_limit", &Item_desc, {0x80, 0x03, 'a'}, 0, ASN_OVERRUN, 3},
  };
  run_decode_cases(cases, std::size(cases));
}

TEST(Choice, UnknownTagOnEncodeLeavesShortWrite) {
  Item item{0x30, new_vbl_blk()};
  EXPECT_EQ(sizeof_Item(&item, 1), 2);
  EXPECT_EQ(sizeof_Item(&item, 0), 0);
  Bytes out(2, 0xEE);
  uint8_t* pos = out.data();
  int32_t err = 0;
  _pack_Item(&pos, &item, TAG_CHOICE, &err);
  EXPECT_EQ(err, ASN_PACK_SHORT);  // -50 was stored first, then the length check
  EXPECT_EQ(pos, out.data());
  dip_Item(&item);  // an unknown tag releases nothing
  drop_vbl_blk(static_cast<vbl_blk*>(item.value));
}

TEST(Choice, DipTwiceAndDecodeAgainAreSafe) {
  Item item{};
  int32_t err = 0;
  Bytes first{0xA3, 0x05, 0x02, 0x01, 0x01, 0xA0, 0x00, 0x80, 0x01, 'x'};
  const uint8_t* pos = first.data();
  const uint8_t* limit = first.data() + first.size();
  ASSERT_EQ(uip_Item(&item, &pos, limit, TAG_CHOICE, &err), 1);
  EXPECT_EQ(item.tag, 0xA3);
  ASSERT_EQ(uip_Item(&item, &pos, limit, TAG_CHOICE, &err), 1);  // LSan: the pair is released
  EXPECT_EQ(item.tag, 0x80);
  dip_Item(&item);
  EXPECT_EQ(item.tag, 0);
  EXPECT_EQ(item.value, nullptr);
  dip_Item(&item);
  EXPECT_EQ(err, 0);
}

// An alternative whose record cannot be allocated, and a way to make the
// allocation fail: the address space is capped just above what is in use.
const TypeDesc Huge_desc{"Huge", Shape::Primitive, 0, 0xFFFFFFF0u, OCTET_STRING_desc.ops,
                         nullptr, 0, 0, nullptr, 0, 0, 0, nullptr, 0};
QEL_CHOICE_RECORD(Hungry);
QEL_CHOICE(Hungry, QEL_ALT(0x04, "huge", Huge))

class AddressSpaceCap {
 public:
  AddressSpaceCap() {
    getrlimit(RLIMIT_AS, &saved_);
    long pages = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(f, "%ld", &pages) != 1) pages = 0;
      std::fclose(f);
    }
    rlimit cap = saved_;
    cap.rlim_cur = static_cast<rlim_t>(pages) * 4096 + (256u << 20);
    ok_ = pages > 0 && setrlimit(RLIMIT_AS, &cap) == 0;
  }
  ~AddressSpaceCap() { setrlimit(RLIMIT_AS, &saved_); }
  bool ok() const { return ok_; }

 private:
  rlimit saved_{};
  bool ok_ = false;
};

TEST(NoMemory, AllocationFailuresAreReported) {
  // A record too large to be had.
  TypeDesc huge_pair = Pair_desc;
  huge_pair.record_size = 0xFFFFFFF0u;
  const Bytes pair{0x30, 0x03, 0x02, 0x01, 0x01};
  const uint8_t* pair_pos = pair.data();
  // An alternative too large to be had.
  const Bytes in{0x04, 0x01, 0x00};
  const uint8_t* pos = in.data();
  Hungry choice{};
  // Two set-of elements, the larger claiming almost 2 GiB: its sorting block
  // cannot be had.
  auto* blobs = static_cast<Blobs*>(engine::make(&Blobs_desc));
  blobs->items[0] = octets({0x05, 0x00});
  blobs->items[1] = new_vbl_blk();
  blobs->items[1]->length = 0x7FFF0000;
  blobs->count = 2;
  Bytes out(16);
  uint8_t* w = out.data();

  int32_t record_err = 0, choice_err = 0, setof_err = 0;
  void* record = nullptr;
  {
    AddressSpaceCap cap;
    ASSERT_TRUE(cap.ok());
    record = engine::unpack(&huge_pair, &pair_pos, pair.data() + pair.size(), 0x30, &record_err);
    EXPECT_EQ(engine::uip(&Hungry_desc, &choice, &pos, in.data() + in.size(), TAG_CHOICE,
                          &choice_err),
              0);
    engine::pack(&Blobs_desc, &w, blobs, 0x31, &setof_err);
  }
  EXPECT_EQ(record, nullptr);
  EXPECT_EQ(record_err, ASN_NO_RECORD);
  EXPECT_EQ(pair_pos, pair.data());
  EXPECT_EQ(choice_err, ASN_NO_MEMORY);
  EXPECT_EQ(choice.value, nullptr);
  EXPECT_EQ(pos, in.data());
  EXPECT_EQ(setof_err, ASN_NO_MEMORY);
  EXPECT_EQ(w, out.data() + 6);  // the header, then nothing; LSan: no block left
  engine::drop(&Blobs_desc, blobs);
}

// ---------------------------------------------------------------------------
// Encoding: the length check and the explicit wrapper.

// A field type whose sizing and writing disagree by a set amount.
struct Fib {
  int32_t claims;
  int32_t writes;
};
void* fib_make(const TypeDesc*) { return std::calloc(1, sizeof(Fib)); }
void fib_dip(const TypeDesc*, void*) {}
void fib_drop(const TypeDesc*, void* v) { std::free(v); }
int32_t fib_size(const TypeDesc*, void* v, int32_t) {
  return v == nullptr ? 0 : static_cast<Fib*>(v)->claims;
}
void fib_pack(const TypeDesc*, uint8_t** cursor, void* v, int32_t, int32_t*) {
  for (int32_t i = 0; i < static_cast<Fib*>(v)->writes; ++i) put_byte(cursor, 0);
}
int32_t fib_uip(const TypeDesc*, void*, const uint8_t**, const uint8_t*, int32_t, int32_t*) {
  return 0;
}
const TypeOps fib_ops{fib_make, fib_dip, fib_drop, fib_size, fib_pack, fib_uip};
const TypeDesc Fib_desc{"Fib", Shape::Primitive, 0, sizeof(Fib), &fib_ops,
                        nullptr, 0, 0, nullptr, 0, 0, 0, nullptr, 0};
struct Holder {
  Fib fib;
};
QEL_SEQUENCE(Holder, QEL_INLINE(Holder, fib, 0x04, Fib))

TEST(Encode, LengthCheckTable) {
  const struct { const char* name; Fib fib; int32_t code; size_t written; } cases[] = {
      {"agree", {3, 3}, 0, 5},
      {"short_write", {3, 1}, ASN_PACK_SHORT, 3},
      {"long_write", {1, 3}, ASN_PACK_LONG, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Holder h{c.fib};
    Bytes out(8);
    uint8_t* pos = out.data();
    int32_t err = 0;
    engine::pack(&Holder_desc, &pos, &h, 0x30, &err);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - out.data()), c.written);
  }
}

TEST(Encode, FieldFaultsEndAsShortWriteOfTheParent) {
  // A required list over its capacity writes nothing: -3, then the record's
  // own check overwrites it.
  Record* r = new_Record();
  ASSERT_EQ(put_int_val(&r->id, 1), 0);
  r->items.count = 33;
  int32_t err = 0;
  const Bytes out = encode(&Record_desc, r, 0x30, &err);
  EXPECT_EQ(err, ASN_PACK_SHORT);
  EXPECT_EQ(hex(out), "30 05 02 01 01");
  drop_Record(r);

  // An octet string whose block is missing writes its header only.
  Extension e{};
  ASSERT_EQ(put_str_val(&e.extnID, reinterpret_cast<const uint8_t*>("U"), 1), 0);
  e.extnValue.length = 3;
  err = 0;
  EXPECT_EQ(hex(encode(&Extension_desc, &e, 0x30, &err)), "30 08 06 01 55 04 03");
  EXPECT_EQ(err, ASN_PACK_SHORT);
  dip_Extension(&e);
}

TEST(Encode, ExplicitWrapperOnlyAroundSomething) {
  const struct {
    const char* name;
    bool body;      // embedded raw block holds an element
    bool raw;       // forced wrapper, pointer set
    bool raw_full;  // ... and its block holds an element
    Bytes out;
  } cases[] = {
      {"empty_inline_writes_no_wrapper", false, false, false,
       {0x30, 0x05, 0x02, 0x01, 0x01, 0x30, 0x00}},
      {"inline_with_content", true, false, false,
       {0x30, 0x09, 0x02, 0x01, 0x01, 0xA1, 0x02, 0x05, 0x00, 0x30, 0x00}},
      {"forced_wrapper_around_empty", false, true, false,
       {0x30, 0x07, 0x02, 0x01, 0x01, 0x30, 0x00, 0xA4, 0x00}},
      {"forced_wrapper_around_content", false, true, true,
       {0x30, 0x09, 0x02, 0x01, 0x01, 0x30, 0x00, 0xA4, 0x02, 0x05, 0x00}},
  };
  const uint8_t null_element[] = {0x05, 0x00};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Record* r = new_Record();
    ASSERT_EQ(put_int_val(&r->id, 1), 0);
    if (c.body) {
      ASSERT_EQ(put_str_val(&r->body, null_element, 2), 0);
    }
    if (c.raw) r->raw = new_vbl_blk();
    if (c.raw_full) {
      ASSERT_EQ(put_str_val(r->raw, null_element, 2), 0);
    }
    int32_t err = 0;
    EXPECT_EQ(hex(encode(&Record_desc, r, 0x30, &err)), hex(c.out));
    EXPECT_EQ(err, 0);
    drop_Record(r);
  }
}

// ---------------------------------------------------------------------------
// Lifecycle

TEST(Lifecycle, DecodeAgainIntoAUsedRecord) {
  const Bytes full = tlv(0x30, cat({kId, {0xA0, 0x03, 0x13, 0x01, 'A'}, {0xA1, 0x02, 0x05, 0x00},
                                    {0x01, 0x01, 0xFF}, {0xA2, 0x03, 0x04, 0x01, 'B'},
                                    {0x30, 0x04, 0x05, 0x00, 0x05, 0x00},
                                    {0xA2, 0x03, 0x04, 0x01, 0x01}, {0xA3, 0x02, 0x30, 0x00},
                                    {0xA4, 0x02, 0x05, 0x00}}));
  const Bytes other = tlv(0x30, cat({{0x02, 0x01, 0x06}, {0xA0, 0x03, 0x13, 0x01, 'C'},
                                     {0xA1, 0x02, 0x05, 0x00}, {0x01, 0x01, 0x00},
                                     {0x80, 0x01, 'D'}, {0x30, 0x02, 0x05, 0x00},
                                     {0xA2, 0x03, 0x04, 0x01, 0x02}, {0xA3, 0x02, 0x30, 0x00},
                                     {0xA4, 0x02, 0x05, 0x00}}));
  Record r{};
  for (const Bytes* in : {&full, &full, &other}) {
    const uint8_t* pos = in->data();
    int32_t err = 0;
    ASSERT_EQ(uip_Record(&r, &pos, in->data() + in->size(), 0x30, &err), 1);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(hex(encode(&Record_desc, &r, 0x30, &err)), hex(*in));
  }
  EXPECT_EQ(r.items.count, 1);
  EXPECT_EQ(r.items.items[1], nullptr);
  dip_Record(&r);  // LSan: every record of all three decodes released
  EXPECT_EQ(r.label, nullptr);
  EXPECT_EQ(r.pick.value, nullptr);
}

TEST(Lifecycle, FailedUnpackReleasesThePartialRecord) {
  // The wrapper and the list decode, the required id does not: the record is
  // dropped by _unpack and nothing leaks. The end is reached before the
  // trailing optionals, so the closing -13 is never stored.
  const Bytes in{0x30, 0x09, 0xA0, 0x03, 0x13, 0x01, 'A', 0x30, 0x02, 0x05, 0x00};
  const uint8_t* pos = in.data();
  int32_t err = 0;
  EXPECT_EQ(_unpack_Record(&pos, in.data() + in.size(), 0x30, &err), nullptr);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(pos, in.data() + in.size());
}

// ---------------------------------------------------------------------------
// Every type of the library and of the test schema.

std::vector<const TypeDesc*> all_types() {
  std::vector<const TypeDesc*> all(type_registry, type_registry + type_registry_size());
  all.insert(all.end(), std::begin(schema_types), std::end(schema_types));
  return all;
}

TEST(EveryType, NullValueIsAbsent) {
  for (const TypeDesc* d : all_types()) {
    SCOPED_TRACE(d->name);
    EXPECT_EQ(engine::size(d, nullptr, 1), 0);
    EXPECT_EQ(engine::size(d, nullptr, 0), 0);
    uint8_t out[1] = {0xEE};
    uint8_t* pos = out;
    int32_t err = 0;
    engine::pack(d, &pos, nullptr, 0x30, &err);
    EXPECT_EQ(pos, out);
    EXPECT_EQ(err, 0);
    engine::dip(d, nullptr);
    engine::drop(d, nullptr);
  }
}

TEST(EveryType, UnusableArgumentsAreReported) {
  const Bytes in{0x30, 0x00};
  const uint8_t* limit = in.data() + in.size();
  for (const TypeDesc* d : all_types()) {
    SCOPED_TRACE(d->name);
    void* v = engine::make(d);
    ASSERT_NE(v, nullptr);
    const uint8_t* pos = in.data();
    const uint8_t* null_pos = nullptr;
    int32_t err = 0;
    EXPECT_EQ(engine::uip(d, v, &pos, limit, 0x30, nullptr), 0);
    EXPECT_EQ(engine::uip(d, nullptr, &pos, limit, 0x30, &err), 0);
    EXPECT_EQ(err, ASN_NO_RECORD);
    EXPECT_EQ(engine::uip(d, v, nullptr, limit, 0x30, &err), 0);
    EXPECT_EQ(err, ASN_IN_NO_CURSOR);
    EXPECT_EQ(engine::uip(d, v, &null_pos, limit, 0x30, &err), 0);
    EXPECT_EQ(err, ASN_IN_NO_POSITION);
    EXPECT_EQ(engine::unpack(d, nullptr, limit, 0x30, &err), nullptr);
    EXPECT_EQ(err, ASN_IN_NO_CURSOR);
    EXPECT_EQ(engine::unpack(d, &null_pos, limit, 0x30, &err), nullptr);
    EXPECT_EQ(err, ASN_IN_NO_POSITION);
    err = 0;
    EXPECT_EQ(engine::unpack(d, &pos, in.data(), 0x30, &err), nullptr);  // at limit
    EXPECT_EQ(err, 0);
    EXPECT_EQ(pos, in.data());
    if (d->shape != Shape::Primitive) {
      engine::pack(d, nullptr, v, 0x30, &err);
      EXPECT_EQ(err, ASN_OUT_NO_CURSOR);
      uint8_t* null_out = nullptr;
      engine::pack(d, &null_out, v, 0x30, &err);
      EXPECT_EQ(err, ASN_OUT_NO_POSITION);
    }
    engine::drop(d, v);
  }
}

TEST(EveryType, FreshRecordEncodesWithinItsSize) {
  for (const TypeDesc* d : all_types()) {
    SCOPED_TRACE(d->name);
    void* v = engine::make(d);
    int32_t err = 0;
    const Bytes out = encode(d, v, 0x30, &err);  // ASan: never past sizeof
    EXPECT_LE(out.size(), static_cast<size_t>(engine::size(d, v, 1)));
    engine::drop(d, v);
  }
}

}  // namespace
}  // namespace qel::tst
