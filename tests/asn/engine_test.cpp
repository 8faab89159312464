// The table-driven engine on the test schema and the catalogue: decoding,
// sizing, encoding and release for every form and shape.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"
#include "tests/asn/test_schema.h"

namespace qel::tst {
namespace {

const std::string k32Nulls = "30 40" + repeat(" 05 00", 32);
const std::string k33Nulls = "30 42" + repeat(" 05 00", 33);

vbl_blk* octets(const char* text) {
  const Bytes b = B(text);
  vbl_blk* v = new_vbl_blk();
  EXPECT_EQ(put_str_val(v, b.data(), static_cast<uint32_t>(b.size())), 0);
  return v;
}

std::vector<const TypeDesc*> all_types() {
  std::vector<const TypeDesc*> all(type_registry, type_registry + type_registry_size());
  all.insert(all.end(), std::begin(schema_types), std::end(schema_types));
  return all;
}

// The decodes of tests/data/decode_cases.txt, over the test schema and the
// catalogue.
TEST(Engine, DecodeTableFile) {
  std::map<std::string, const TypeDesc*> types;
  for (const TypeDesc* d : all_types()) types[d->name] = d;
  std::vector<DecodeCase> cases;
  for (const auto& f : table("decode_cases.txt")) {
    ASSERT_TRUE(f.size() == 6 && types.count(f[1])) << f[0];
    int32_t result = 0, code = 0;
    std::string consumed;
    std::istringstream(f[4]) >> result >> code >> consumed;
    const int32_t tag = f[2] == "choice" ? TAG_CHOICE : f[2] == "any" ? TAG_ANY : std::stoi(f[2], nullptr, 16);
    cases.push_back({f[0], types[f[1]], f[3], tag, result, code,
                     consumed == "all" ? kAtEnd : std::stoul(consumed), f[5]});
  }
  EXPECT_GE(cases.size(), 90u);
  run_decode_cases(cases);
}

TEST(Engine, DecodeTable) {
  const TypeDesc *const kItems = &Items_desc;
  const auto count_is = [](int32_t n) {
    return on<Items>([n](Items& l) {
      EXPECT_EQ(l.count, n);
      for (int32_t i = 0; i < 32; ++i) EXPECT_EQ(l.items[i] != nullptr, i < n) << i;
    });
  };
  run_decode_cases({
      // The worked extension also shows its sizes and fields.
      {"extension_critical_true", &Extension_desc, "30 0c 06 03 55 1d 13 01 01 ff 04 02 30 00", 0x30, 1, 0,
       14, "=", on<Extension>([](Extension& e) {
         EXPECT_EQ(sizeof_Extension(&e, 0), 12);
         EXPECT_EQ(sizeof_Extension(&e, 1), 14);
         EXPECT_EQ(hex(e.extnID.bytes, e.extnID.length), "55 1d 13");
         ASSERT_NE(e.critical, nullptr);
         EXPECT_EQ(e.critical->value, 1);
         EXPECT_EQ(hex(e.extnValue.bytes, e.extnValue.length), "30 00");
       })},
      // Lists count their good elements and hold no others.
      {"list_empty", kItems, "30 00", 0x30, 1, 0, 2, "", count_is(0)},
      {"list_capacity_exactly", kItems, k32Nulls, 0x30, 1, 0, 66, "=", count_is(32)},
      {"list_beyond_capacity_stops_at_it", kItems, k33Nulls, 0x30, 1, ASN_LEFTOVER, 66, "",
       count_is(32)},
      {"list_third_element_fails", kItems, "30 08 02 01 01 05 00 30 00 05", 0x30, 1, ASN_LEFTOVER,
       7, "", count_is(2)},
      {"list_element_overruns_list", kItems, "30 03 05 00 80 05 00", 0x30, 1, ASN_OVERRUN, 5, "",
       count_is(1)},
      {"list_length_past_limit", kItems, "30 05 05 00", 0x30, 0, ASN_OVERRUN, 4, "", count_is(-1)},
      {"list_leftover_met_as_next_element", kItems, "30 0c a3 0a 02 01 01 a0 03 02 01 02 05 00",
       0x30, 1, ASN_LEFTOVER, 14, "", count_is(2)},
  });
}

TEST(List, DecodeAgainReusesAndReleasesSlots) {
  Items items{};
  int32_t err = 0;
  for (const char* text : {"30 06 05 00 05 00 05 00", "30 03 02 01 2a", "30 09 05 00"}) {
    const Bytes in = B(text);
    const uint8_t* pos = in.data();
    Item* first = items.items[0];
    const int32_t result = uip_Items(&items, &pos, in.data() + in.size(), 0x30, &err);
    if (items.count == 1) {
      EXPECT_EQ(result, 1);
      EXPECT_EQ(items.items[0], first);  // the element record is reused
      EXPECT_EQ(items.items[0]->tag, 0x02);
    }
    for (int32_t i = 0; i < 32; ++i) EXPECT_EQ(items.items[i] != nullptr, i < items.count);
  }
  EXPECT_EQ(items.count, -1);  // the overrun released everything: LSan
  EXPECT_EQ(err, ASN_OVERRUN);
  dip_Items(&items);
}

// A count above the capacity writes nothing; sizing and release clamp to it.
TEST(List, CountBeyondCapacityWritesNothing) {
  const struct { const TypeDesc* type; int32_t count, code; } cases[] = {
      {&Items_desc, 33, ASN_SEQOF_FULL},           {&Strings_desc, 33, ASN_SETOF_FULL},
      {&Extensions_desc, 33, ASN_SEQOF_FULL},      {&RDNSequence_desc, 33, ASN_SEQOF_FULL},
      {&RelativeDistinguishedName_desc, 33, ASN_SETOF_FULL},
      {&AttributeValues_desc, 2, ASN_SETOF_FULL},  // one value only
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type->name);
    void* v = engine::make(c.type);
    *static_cast<int32_t*>(v) = c.count;
    EXPECT_EQ(engine::size(c.type, v, 1), 2);  // every slot is empty
    uint8_t out[4] = {};
    uint8_t* pos = out;
    int32_t err = 0;
    engine::pack(c.type, &pos, v, 0x30, &err);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(pos, out);
    engine::drop(c.type, v);
  }
}

// A set-of of raw elements: any octets at all, so that blocks of different
// lengths can share a prefix.
QEL_LIST_RECORD(Blobs, UNDECODED_ASN_BLOCK, 4);
QEL_SET_OF(Blobs, UNDECODED_ASN_BLOCK)

TEST(SetOf, EncodesInZeroPaddedOrder) {
  const std::string long_one = "04 81 80" + repeat(" 00", 128);
  const struct {
    const char* name;
    const TypeDesc* type;
    std::vector<std::string> elements;  // content, or the whole element for Blobs
    int32_t before, code;
    std::string out;
  } cases[] = {
      {"descending_given", &Strings_desc, {"03", "02", "01"}, 0, 0,
       "31 09 04 01 01 04 01 02 04 01 03"},
      {"long_form_after_short", &Strings_desc, {repeat("00 ", 128), "ff"}, 0, 0,
       "31 81 86 04 01 ff " + long_one},
      {"shorter_sorts_by_its_zero_padding", &Blobs_desc, {"05 00 01", "05 00"}, 0, 0,
       "31 05 05 00 05 00 01"},
      {"longer_first_when_smaller", &Blobs_desc, {"05 01", "05 00 ff"}, 0, 0,
       "31 05 05 00 ff 05 01"},
      {"duplicate_stops_after_header", &Strings_desc, {"01", "02", "01"}, 0, ASN_SETOF_DUPLICATE,
       "31 09"},
      {"equal_after_zero_padding", &Blobs_desc, {"05 00", "05 00 00"}, 0, ASN_SETOF_DUPLICATE,
       "31 05"},
      {"stops_on_a_code_stored_before", &Strings_desc, {"02", "01"}, ASN_LEFTOVER, ASN_LEFTOVER,
       "31 06"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    void* v = engine::make(c.type);
    auto** items = reinterpret_cast<vbl_blk**>(static_cast<char*>(v) + c.type->list.items_offset);
    int32_t& count = *static_cast<int32_t*>(v);
    for (const std::string& e : c.elements) items[count++] = octets(e.c_str());
    int32_t err = c.before;
    EXPECT_EQ(hex(encode(c.type, v, 0x31, &err)), hex(B(c.out)));  // LSan: no block left
    EXPECT_EQ(err, c.code);
    engine::drop(c.type, v);
  }
}

TEST(Choice, UnknownTagOnEncodeLeavesShortWrite) {
  Item item{0x30, new_vbl_blk()};
  EXPECT_EQ(sizeof_Item(&item, 1), 2);
  EXPECT_EQ(sizeof_Item(&item, 0), 0);
  uint8_t out[2] = {};
  uint8_t* pos = out;
  int32_t err = 0;
  _pack_Item(&pos, &item, TAG_CHOICE, &err);
  EXPECT_EQ(err, ASN_PACK_SHORT);  // -50 was stored first, then the length check
  EXPECT_EQ(pos, out);
  dip_Item(&item);  // an unknown tag releases nothing
  drop_vbl_blk(static_cast<vbl_blk*>(item.value));
}

TEST(Choice, DipTwiceAndDecodeAgainAreSafe) {
  Item item{};
  int32_t err = 0;
  const Bytes in = B("a3 05 02 01 01 a0 00 80 01 78");
  const uint8_t* pos = in.data();
  ASSERT_EQ(uip_Item(&item, &pos, in.data() + in.size(), TAG_CHOICE, &err), 1);
  EXPECT_EQ(item.tag, 0xA3);
  ASSERT_EQ(uip_Item(&item, &pos, in.data() + in.size(), TAG_CHOICE, &err), 1);  // LSan
  EXPECT_EQ(item.tag, 0x80);
  dip_Item(&item);
  EXPECT_EQ(item.tag, 0);
  EXPECT_EQ(item.value, nullptr);
  dip_Item(&item);
  EXPECT_EQ(err, 0);
}

TEST(NoMemory, AllocationFailuresAreReported) {
  // Every allocation of a decode failing in turn: whatever the decoder
  // reports, the record releases cleanly (LSan, ASan).
  const Bytes every = B(
      "30 24 02 01 05 a0 03 13 01 41 a1 02 05 00 01 01 00 80 01 70 30 03 02 01 09 a2 03 04 01 01 "
      "a3 02 30 00 a4 02 05 00");
  EXPECT_GT(each_allocation_failing([&] {
              int32_t err = 0;
              const uint8_t* pos = every.data();
              void* r = engine::unpack(&Record_desc, &pos, every.data() + every.size(), 0x30, &err);
              EXPECT_TRUE(r != nullptr || err != 0);
              engine::drop(&Record_desc, r);
            }), 8);
  Item choice{};
  const Bytes in = B("80 01 41");
  const uint8_t* pos = in.data();
  int32_t err = 0;
  detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(uip_Item(&choice, &pos, in.data() + in.size(), TAG_CHOICE, &err), 0);
  EXPECT_EQ(err, ASN_NO_MEMORY);
  EXPECT_EQ(choice.tag, 0x80);
  EXPECT_EQ(choice.value, nullptr);
  EXPECT_EQ(pos, in.data());
  // The set-of's second sorting block cannot be had: the header, then nothing.
  auto* blobs = static_cast<Blobs*>(engine::make(&Blobs_desc));
  blobs->items[blobs->count++] = octets("05 00");
  blobs->items[blobs->count++] = octets("05 01 00");
  err = 0;
  detail::test_hook_fail_nth_allocation = 2;
  EXPECT_EQ(hex(encode(&Blobs_desc, blobs, 0x31, &err)), "31 05");
  EXPECT_EQ(err, ASN_NO_MEMORY);
  engine::drop(&Blobs_desc, blobs);
}

// A field type whose sizing and writing disagree by a set amount.
struct Fib {
  int32_t claims, writes;
};
int32_t fib_size(const TypeDesc*, void* v, int32_t) { return static_cast<Fib*>(v)->claims; }
void fib_pack(const TypeDesc*, uint8_t** cursor, void* v, int32_t, int32_t*) {
  for (int32_t i = 0; i < static_cast<Fib*>(v)->writes; ++i) put_byte(cursor, 0);
}
const TypeOps fib_ops{.dip = [](const TypeDesc*, void*) {}, .size = fib_size, .pack = fib_pack};
const TypeDesc Fib_desc{.name = "Fib", .shape = Shape::Primitive, .record_size = sizeof(Fib),
                        .ops = &fib_ops};
struct Holder {
  Fib fib;
};
QEL_SEQUENCE(Holder, QEL_INLINE(fib, Fib, 0x04))

TEST(Encode, LengthCheckTable) {
  const struct { const char* name; Fib fib; int32_t code; size_t written; } cases[] = {
      {"agree", {3, 3}, 0, 5},
      {"short_write", {3, 1}, ASN_PACK_SHORT, 3},
      {"long_write", {1, 3}, ASN_PACK_LONG, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Holder h{c.fib};
    uint8_t out[8];
    uint8_t* pos = out;
    int32_t err = 0;
    engine::pack(&Holder_desc, &pos, &h, 0x30, &err);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - out), c.written);
  }
}

TEST(Encode, FieldFaultsAndForcedWrapper) {
  // A required list over its capacity writes nothing (-3); the record's own
  // check then overwrites the code.
  Record* r = new_Record();
  ASSERT_EQ(put_int_val(&r->id, 1), 0);
  r->items.count = 33;
  int32_t err = 0;
  EXPECT_EQ(hex(encode(&Record_desc, r, 0x30, &err)), "30 05 02 01 01");
  EXPECT_EQ(err, ASN_PACK_SHORT);
  // The decode table shows a wrapper written around content only; a forced
  // wrapper goes around an empty value too.
  r->items.count = 0;
  r->raw = new_vbl_blk();
  err = 0;
  EXPECT_EQ(hex(encode(&Record_desc, r, 0x30, &err)), "30 07 02 01 01 30 00 a4 00");
  EXPECT_EQ(err, 0);
  drop_Record(r);
  // An octet string whose block is missing writes its header only.
  Extension e{};
  ASSERT_EQ(put_str_val(&e.extnID, B("55").data(), 1), 0);
  e.extnValue.length = 3;
  err = 0;
  EXPECT_EQ(hex(encode(&Extension_desc, &e, 0x30, &err)), "30 08 06 01 55 04 03");
  EXPECT_EQ(err, ASN_PACK_SHORT);
  dip_Extension(&e);
}

// Every field filled, then again with other values: LSan sees that the first
// decode's records are released or reused.
TEST(Lifecycle, DecodeAgainIntoAUsedRecord) {
  const std::string every = "30 27 02 01 05 a0 03 13 01 41 a1 02 05 00 01 01 ff a2 03 04 01 42 30 "
                            "04 05 00 05 00 a2 03 04 01 01 a3 02 30 00 a4 02 05 00";
  const std::string other = "30 23 02 01 06 a0 03 13 01 43 a1 02 05 00 01 01 00 80 01 44 30 02 "
                            "05 00 a2 03 04 01 02 a3 02 30 00 a4 02 05 00";
  Record r{};
  for (const std::string& text : {every, every, other}) {
    const Bytes in = B(text);
    const uint8_t* pos = in.data();
    int32_t err = 0;
    ASSERT_EQ(uip_Record(&r, &pos, in.data() + in.size(), 0x30, &err), 1);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(hex(encode(&Record_desc, &r, 0x30, &err)), hex(in));
  }
  EXPECT_EQ(r.items.items[1], nullptr);
  dip_Record(&r);
}

TEST(EveryType, NullAndUnusableArguments) {
  const std::vector<const TypeDesc*> all = all_types();
  const Bytes in = B("30 00");
  const uint8_t* limit = in.data() + in.size();
  for (const TypeDesc* d : all) {
    SCOPED_TRACE(d->name);
    // A null record is absent: no size, no octets, no code.
    EXPECT_EQ(engine::size(d, nullptr, 1), 0);
    uint8_t out[1];
    uint8_t* w = out;
    int32_t err = 0;
    engine::pack(d, &w, nullptr, 0x30, &err);
    EXPECT_EQ(w, out);
    EXPECT_EQ(err, 0);
    engine::dip(d, nullptr);
    engine::drop(d, nullptr);
    // Unusable arguments to the decoders.
    void* v = engine::make(d);
    const uint8_t* pos = in.data();
    const uint8_t* null_pos = nullptr;
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
    EXPECT_EQ(pos, in.data());
    // A fresh record never writes past its size (ASan).
    encode(d, v, 0x30, &err);
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

}  // namespace
}  // namespace qel::tst
