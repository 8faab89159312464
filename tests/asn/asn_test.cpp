// The DER layer: tag and length octets, the primitive values, and the
// table-driven engine on the test schema and the catalogue.
#include <gtest/gtest.h>

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

vbl_blk* octets(const std::string& text) {
  const Bytes b = B(text);
  vbl_blk* v = new_vbl_blk();
  EXPECT_EQ(put_str_val(v, b.data(), static_cast<uint32_t>(b.size())), 0);
  return v;
}

// ---------------------------------------------------------------------------
// Tag and length octets.

TEST(TagLen, WritersUseShortestForm) {
  const struct { uint32_t length; const char* out; } cases[] = {
      {0, "00"},       {0x7F, "7f"},          {0x80, "81 80"},          {0xFF, "81 ff"},
      {0x100, "82 01 00"}, {0xFFFF, "82 ff ff"}, {0x10000, "83 01 00 00"},
      {0xFFFFFF, "83 ff ff ff"}, {0x1000000, "84 01 00 00 00"}, {0xFFFFFFFF, "84 ff ff ff ff"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    Bytes buf(1 + static_cast<size_t>(length_size(c.length)));  // ASan checks the size
    uint8_t* pos = buf.data();
    put_tag(&pos, 0x1A0, c.length);  // only the low 8 bits of the tag count
    EXPECT_EQ(hex(buf), "a0 " + std::string(c.out));
    const uint8_t* in = buf.data() + 1;
    EXPECT_EQ(get_lth(&in, buf.data() + buf.size()), c.length);
  }
  EXPECT_EQ(tagged(0, 0x10000), 0);  // only the low 16 bits force a header
}

// The rows of tests/data/tag_length_reads.txt; a read at the limit is a heap
// overflow that ASan reports.
TEST(TagLen, ReadersStopAtLimit) {
  for (const auto& f : table("tag_length_reads.txt")) {
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
}

TEST(TagLen, FitsIsImmuneToAddressWrap) {
  // Addresses only compared, never dereferenced.
  const auto at = [](uintptr_t a) { return reinterpret_cast<const uint8_t*>(a); };
  const uintptr_t top = UINTPTR_MAX - 15;
  const struct { uintptr_t pos, limit; uint32_t length; bool fits; } cases[] = {
      {0x1000, 0x1000, 0, true},  {0x1000, 0x1004, 4, true}, {0x1000, 0x1004, 5, false},
      {0x1005, 0x1004, 0, false}, {top, top + 8, 0xFFFFFFF8u, false},
      {0x1000, 0x1000 + 0x80000000u, 0x7FFF0001u, false},
  };
  for (const auto& c : cases) EXPECT_EQ(fits(at(c.pos), c.length, at(c.limit)), c.fits) << c.length;
}

// ---------------------------------------------------------------------------
// Primitive values.

// A decoded BIT STRING's block starts one octet before its data; replacing
// and decoding again must free it from its start (ASan, LSan).
TEST(Primitives, BlocksAreReplacedWhole) {
  const Bytes in = B("03 02 00 11 03 03 01 22 33");
  const uint8_t* pos = in.data();
  BIT_STRING b{};
  int32_t err = 0;
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, in.data() + in.size(), 0x03, &err), 1);
  ASSERT_EQ(uip_BIT_STRING(&b, &pos, in.data() + in.size(), 0x03, &err), 1);
  EXPECT_EQ(hex(b.bytes, b.length), "22 33");
  ASSERT_EQ(put_bit_string(&b, B("f0 0f").data(), 2, 4), 0);
  EXPECT_EQ(hex(encode(&BIT_STRING_desc, &b, 0x81, &err)), "81 03 04 f0 0f");
  dip_BIT_STRING(&b);
  dip_BIT_STRING(&b);
}

// put_int_val writes the shortest octets and get_int_val reads them back;
// norm_INTEGER drops redundant leading octets.
TEST(Integer, MachineValuesAndNormalising) {
  const struct { int32_t number; const char* octets; } put[] = {
      {0, "00"},    {-1, "ff"},      {127, "7f"},   {128, "00 80"},  {-128, "80"},
      {-129, "ff 7f"}, {511, "01 ff"}, {INT32_MIN, "80 00 00 00"}, {INT32_MAX, "7f ff ff ff"},
  };
  for (const auto& c : put) {
    vbl_blk v{};
    ASSERT_EQ(put_int_val(&v, c.number), 0);
    EXPECT_EQ(hex(v.bytes, v.length), c.octets);
    EXPECT_EQ(get_int_val(&v), c.number);
    dip_vbl_blk(&v);
  }
  Bytes five = B("00 00 00 00 01");
  vbl_blk too_long{5, five.data()}, empty{0, five.data()}, no_bytes{2, nullptr};
  for (vbl_blk* v : {&too_long, &empty, &no_bytes}) EXPECT_EQ(get_int_val(v), 0);
  const std::pair<const char*, const char*> norm[] = {
      {"00 7f", "7f"}, {"ff 80", "80"}, {"00 80", "00 80"}, {"ff 7f", "ff 7f"},
      {"00 00 01", "01"}, {"00", "00"}, {"ff ff ff", "ff"}, {"", ""}};
  for (const auto& [in, out] : norm) {
    vbl_blk* v = octets(in);
    norm_INTEGER(v);
    EXPECT_EQ(hex(v->bytes, v->length), out) << in;
    drop_vbl_blk(v);
  }
  vbl_blk stale{3, nullptr};
  norm_INTEGER(&stale);
  EXPECT_EQ(stale.length, 0);
}

TEST(Trace, DumpTable) {
  const struct { const char* bytes; int32_t count, indent; std::string out; } cases[] = {
      {"41 42 43 44 45 46 47 48 49 4a", 10, 1,
       "\n   41 42 43 44 45 46 47 48     ABCDEFGH\n   49 4a     " + std::string(18, ' ') + "IJ"},
      {"30 31 32 33 34 35 36 37", 8, 0, "\n30 31 32 33 34 35 36 37     01234567"},
      {"00 7f 80 ff 20", 5, -2, "\n00 7f 80 ff 20     " + std::string(9, ' ') + ".... "},
      {"41", 0, 1, ""},
      {"41", -3, 1, ""},
  };
  for (const auto& c : cases) {
    const Bytes bytes = B(c.bytes);
    testing::internal::CaptureStderr();
    EXPECT_EQ(trace_prim(bytes.data(), c.count, c.indent), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.out) << c.bytes;
  }
  // Decoders trace what they read when the debug level is set.
  const Bytes in = B("04 02 6f 6b");
  const uint8_t* pos = in.data();
  vbl_blk v{};
  int32_t err = 0;
  globalDebugLevel = trace_level = 1;
  testing::internal::CaptureStderr();
  EXPECT_EQ(uip_OCTET_STRING(&v, &pos, in.data() + in.size(), 0x04, &err), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "\n   6f 6b     " + std::string(18, ' ') + "ok");
  globalDebugLevel = trace_level = 0;
  dip_vbl_blk(&v);
}

// ---------------------------------------------------------------------------
// The engine.

std::vector<const TypeDesc*> all_types() {
  std::vector<const TypeDesc*> all(type_registry, type_registry + type_registry_size());
  all.insert(all.end(), std::begin(schema_types), std::end(schema_types));
  return all;
}

// The decodes of tests/data/decode_cases.txt, over the test schema and the
// catalogue: result, stored code, octets consumed, and what the record
// encodes to.
TEST(Engine, DecodeTableFile) {
  std::map<std::string, const TypeDesc*> types;
  for (const TypeDesc* d : all_types()) types[d->name] = d;
  const auto rows = table("decode_cases.txt");
  EXPECT_GE(rows.size(), 140u);
  for (const auto& f : rows) {
    ASSERT_TRUE(f.size() == 6 && types.count(f[1])) << f[0];
    SCOPED_TRACE(f[0]);
    const TypeDesc* d = types[f[1]];
    int32_t result = 0, code = 0;
    std::string consumed;
    std::istringstream(f[4]) >> result >> code >> consumed;
    const int32_t tag = f[2] == "choice" ? TAG_CHOICE : f[2] == "any" ? TAG_ANY : std::stoi(f[2], nullptr, 16);
    const Bytes in = B(f[3]);
    Decoded r = decode(d, in, tag);
    EXPECT_EQ(r.result, result);
    EXPECT_EQ(r.err, code);
    EXPECT_EQ(r.consumed, consumed == "all" ? in.size() : std::stoul(consumed));
    if (!f[5].empty()) {
      int32_t err = 0;
      EXPECT_EQ(hex(encode(d, r.record, tag, &err)), f[5] == "=" ? hex(in.data(), r.consumed) : f[5]);
      EXPECT_EQ(err, 0);
    }
    engine::drop(d, r.record);  // LSan: a failed record releases cleanly
  }
}

// Decoding again into a used record reuses or releases what it held (LSan);
// releasing twice is safe.
TEST(Engine, DecodeAgainIntoAUsedRecord) {
  Items items{};
  int32_t err = 0;
  for (const char* text : {"30 06 05 00 05 00 05 00", "30 03 02 01 2a", "30 09 05 00"}) {
    const Bytes in = B(text);
    const uint8_t* pos = in.data();
    Item* first = items.items[0];
    uip_Items(&items, &pos, in.data() + in.size(), 0x30, &err);
    if (items.count == 1) {
      EXPECT_EQ(items.items[0], first);  // the element record is reused
    }
    for (int32_t i = 0; i < 32; ++i) EXPECT_EQ(items.items[i] != nullptr, i < items.count);
  }
  EXPECT_EQ(items.count, -1);  // the overrun released everything
  EXPECT_EQ(err, ASN_OVERRUN);
  dip_Items(&items);
  const std::string every = "30 27 02 01 05 a0 03 13 01 41 a1 02 05 00 01 01 ff a2 03 04 01 42 30 "
                            "04 05 00 05 00 a2 03 04 01 01 a3 02 30 00 a4 02 05 00";
  const std::string other = "30 23 02 01 06 a0 03 13 01 43 a1 02 05 00 01 01 00 80 01 44 30 02 "
                            "05 00 a2 03 04 01 02 a3 02 30 00 a4 02 05 00";
  Record r{};
  for (const std::string& text : {every, every, other}) {
    const Bytes in = B(text);
    const uint8_t* pos = in.data();
    err = 0;
    ASSERT_EQ(uip_Record(&r, &pos, in.data() + in.size(), 0x30, &err), 1);
    EXPECT_EQ(hex(encode(&Record_desc, &r, 0x30, &err)), hex(in));
    EXPECT_EQ(err, 0);
  }
  EXPECT_EQ(r.items.items[1], nullptr);
  dip_Record(&r);
  dip_Record(&r);
  EXPECT_EQ(r.pick.tag, 0);
  EXPECT_EQ(r.pick.value, nullptr);
}

// A set-of of raw elements: any octets at all, so that blocks of different
// lengths can share a prefix.
QEL_LIST_RECORD(Blobs, UNDECODED_ASN_BLOCK, 4);
QEL_SET_OF(Blobs, UNDECODED_ASN_BLOCK)

TEST(SetOf, EncodesInZeroPaddedOrder) {
  const std::string long_one = "04 81 80" + repeat(" 00", 128);
  const struct {
    const TypeDesc* type;
    std::vector<std::string> elements;  // content, or the whole element for Blobs
    int32_t before, code;
    std::string out;
  } cases[] = {
      {&Strings_desc, {"03", "02", "01"}, 0, 0, "31 09 04 01 01 04 01 02 04 01 03"},
      {&Strings_desc, {repeat("00 ", 128), "ff"}, 0, 0, "31 81 86 04 01 ff " + long_one},
      {&Blobs_desc, {"05 00 01", "05 00"}, 0, 0, "31 05 05 00 05 00 01"},
      {&Blobs_desc, {"05 01", "05 00 ff"}, 0, 0, "31 05 05 00 ff 05 01"},
      {&Strings_desc, {"01", "02", "01"}, 0, ASN_SETOF_DUPLICATE, "31 09"},
      {&Blobs_desc, {"05 00", "05 00 00"}, 0, ASN_SETOF_DUPLICATE, "31 05"},
      {&Strings_desc, {"02", "01"}, ASN_LEFTOVER, ASN_LEFTOVER, "31 06"},  // a code stored before
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.out);
    void* v = engine::make(c.type);
    auto** items = reinterpret_cast<vbl_blk**>(static_cast<char*>(v) + c.type->list.items_offset);
    int32_t& count = *static_cast<int32_t*>(v);
    for (const std::string& e : c.elements) items[count++] = octets(e);
    int32_t err = c.before;
    EXPECT_EQ(hex(encode(c.type, v, 0x31, &err)), hex(B(c.out)));  // LSan: no block left
    EXPECT_EQ(err, c.code);
    engine::drop(c.type, v);
  }
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

// Writers check what they wrote against what they sized.
TEST(Encode, FaultsLeaveTheirCodes) {
  const struct { Fib fib; int32_t code; size_t written; } lengths[] = {
      {{3, 3}, 0, 5}, {{3, 1}, ASN_PACK_SHORT, 3}, {{1, 3}, ASN_PACK_LONG, 5}};
  for (const auto& c : lengths) {
    Holder h{c.fib};
    uint8_t out[8];
    uint8_t* pos = out;
    int32_t err = 0;
    engine::pack(&Holder_desc, &pos, &h, 0x30, &err);
    EXPECT_EQ(static_cast<size_t>(pos - out), c.written);
    EXPECT_EQ(err, c.code);
  }
  // A list over its capacity writes nothing (-3, -4); in a record, the
  // record's own check then overwrites the code.
  for (const TypeDesc* d : {&Items_desc, &Strings_desc}) {
    void* v = engine::make(d);
    *static_cast<int32_t*>(v) = 33;
    int32_t err = 0;
    EXPECT_EQ(hex(encode(d, v, 0x30, &err)), "");
    EXPECT_EQ(err, d == &Items_desc ? ASN_SEQOF_FULL : ASN_SETOF_FULL);
    engine::drop(d, v);
  }
  Record* r = new_Record();
  ASSERT_EQ(put_int_val(&r->id, 1), 0);
  r->items.count = 33;
  int32_t err = 0;
  EXPECT_EQ(hex(encode(&Record_desc, r, 0x30, &err)), "30 05 02 01 01");
  EXPECT_EQ(err, ASN_PACK_SHORT);
  // A forced wrapper goes around an empty value too.
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
  EXPECT_EQ(hex(encode(&Extension_desc, &e, 0x30, &err)), "30 08 06 01 55 04 03");
  EXPECT_EQ(err, ASN_PACK_SHORT);
  dip_Extension(&e);
  // A choice of an unknown tag writes nothing and releases nothing.
  Item item{0x30, new_vbl_blk()};
  EXPECT_EQ(sizeof_Item(&item, 1), 2);
  EXPECT_EQ(sizeof_Item(&item, 0), 0);
  uint8_t out[2] = {};
  uint8_t* pos = out;
  err = 0;
  _pack_Item(&pos, &item, TAG_CHOICE, &err);
  EXPECT_EQ(err, ASN_PACK_SHORT);  // -50 was stored first, then the length check
  EXPECT_EQ(pos, out);
  dip_Item(&item);
  drop_vbl_blk(static_cast<vbl_blk*>(item.value));
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

// A fresh record of every type never writes past its size (ASan); a null
// record is absent, and a decode without a record stores its code.
TEST(EveryType, FreshAndNullRecords) {
  const Bytes in = B("30 00");
  for (const TypeDesc* d : all_types()) {
    SCOPED_TRACE(d->name);
    EXPECT_EQ(engine::size(d, nullptr, 1), 0);
    void* v = engine::make(d);
    int32_t err = 0;
    encode(d, v, 0x30, &err);
    const uint8_t* pos = in.data();
    EXPECT_EQ(engine::uip(d, nullptr, &pos, in.data() + 2, 0x30, &err), 0);
    EXPECT_EQ(err, ASN_NO_RECORD);
    EXPECT_EQ(pos, in.data());
    engine::drop(d, v);
    engine::dip(d, nullptr);
  }
  // Null cursors and positions, once per shape.
  for (const TypeDesc* d : {&Record_desc, &Strings_desc, &Items_desc, &Item_desc, &OCTET_STRING_desc}) {
    SCOPED_TRACE(d->name);
    void* v = engine::make(d);
    const uint8_t* null_in = nullptr;
    uint8_t* null_out = nullptr;
    std::vector<int32_t> codes(4);
    engine::uip(d, v, nullptr, in.data() + 2, 0x30, &codes[0]);
    engine::uip(d, v, &null_in, in.data() + 2, 0x30, &codes[1]);
    engine::pack(d, nullptr, v, 0x30, &codes[2]);
    engine::pack(d, &null_out, v, 0x30, &codes[3]);
    EXPECT_EQ(codes, (std::vector<int32_t>{ASN_IN_NO_CURSOR, ASN_IN_NO_POSITION, ASN_OUT_NO_CURSOR,
                                           ASN_OUT_NO_POSITION}));
    engine::drop(d, v);
  }
}

}  // namespace
}  // namespace qel::tst
