// Name and attribute types: decoding faults, each checked for record,
// result, stored code and position, and the DER order of set-of encoding.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "types/names.h"

namespace qel {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes tlv(uint8_t tag, const Bytes& content) {
  Bytes out{tag};
  const size_t n = content.size();
  if (n < 0x80) out.push_back(static_cast<uint8_t>(n));
  else if (n < 0x100) out = out + Bytes{0x81, static_cast<uint8_t>(n)};
  else out = out + Bytes{0x82, static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)};
  return out + content;
}

Bytes repeat(size_t n, const std::function<Bytes(size_t)>& item) {
  Bytes out;
  for (size_t i = 0; i < n; ++i) out = out + item(i);
  return out;
}

const Bytes kCN = tlv(0x06, {0x55, 0x04, 0x03});
// An assertion whose value is a one-letter PrintableString.
Bytes ava(size_t i) { return tlv(0x30, kCN + tlv(0x13, {static_cast<uint8_t>('a' + i % 26)})); }
Bytes rdn(size_t i) { return tlv(0x31, ava(i)); }

inline constexpr size_t kAtEnd = static_cast<size_t>(-1);

template <class T>
struct Case {
  Case(const char* f, Bytes in, int32_t r, int32_t c, size_t p, std::function<void(T&)> k = {})
      : fault(f), input(std::move(in)), result(r), code(c), position(p), check(std::move(k)) {}
  const char* fault;
  Bytes input;
  int32_t result;
  int32_t code;
  size_t position;  // offset left in the position word; kAtEnd for the input's end
  std::function<void(T&)> check;
};

template <class T>
void run_cases(const std::vector<Case<T>>& cases,
               int32_t (*uip)(T*, const uint8_t**, const uint8_t*, int32_t, int32_t*),
               void (*dip)(T*), int32_t tag) {
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    T record{};
    const uint8_t* pos = c.input.data();
    int32_t err = 0;
    EXPECT_EQ(uip(&record, &pos, c.input.data() + c.input.size(), tag, &err), c.result);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(static_cast<size_t>(pos - c.input.data()),
              c.position == kAtEnd ? c.input.size() : c.position);
    if (c.check) c.check(record);
    dip(&record);
  }
}

const RDNSequence& rdns_of(const Name& n) { return *static_cast<RDNSequence*>(n.value); }

TEST(NameFaults, Name) {
  const Bytes rdns33 = tlv(0x30, repeat(33, rdn));
  const Bytes avas33 = tlv(0x30, tlv(0x31, repeat(33, ava)));
  const Bytes cut_ava = tlv(0x30, tlv(0x31, ava(0) + tlv(0x30, kCN)));
  auto rdns_count = [](int32_t n) {
    return [n](Name& name) {
      EXPECT_EQ(name.tag, 0x30);
      ASSERT_NE(name.value, nullptr);
      EXPECT_EQ(rdns_of(name).count, n);
    };
  };
  run_cases<Name>(
      {
          {"empty name", {0x30, 0x00}, 1, 0, kAtEnd, rdns_count(0)},
          {"tag other than SEQUENCE", tlv(0x31, rdn(0)), 0, ASN_BAD_CHOICE, 0, [](Name& n) {
             EXPECT_EQ(n.tag, 0);
             EXPECT_EQ(n.value, nullptr);
           }},
          {"33rd RDN left unread", rdns33, 1, ASN_LEFTOVER, rdns33.size() - rdn(32).size(),
           rdns_count(32)},
          // The RDN stops at its capacity; the RDNSequence then meets an
          // assertion where it expects an RDN.
          {"33rd assertion of an RDN", avas33, 1, ASN_LEFTOVER, avas33.size() - ava(32).size(),
           [&](Name& n) {
             rdns_count(1)(n);
             EXPECT_EQ(rdns_of(n).items[0]->count, 32);
           }},
          {"assertion without its value", cut_ava, 1, ASN_FIELD_FAILED, kAtEnd, [&](Name& n) {
             rdns_count(1)(n);
             EXPECT_EQ(rdns_of(n).items[0]->count, 1);
           }},
          {"value of a type unknown to the catalogue",
           tlv(0x30, tlv(0x31, tlv(0x30, kCN + tlv(0xA5, {0x04, 0x00})))), 1, 0, kAtEnd,
           [](Name& n) {
             const AttributeValueAssertion* a = rdns_of(n).items[0]->items[0];
             EXPECT_EQ(a->attributeValue.length, 4);
             EXPECT_EQ(a->attributeValue.bytes[0], 0xA5);
           }},
          {"length running past the limit", Bytes{0x30, 0x82, 0x01, 0x00} + rdn(0), 0, ASN_OVERRUN,
           kAtEnd, rdns_count(-1)},
      },
      uip_Name, dip_Name, 0xFC);

  const uint8_t octet = 0x30;
  const uint8_t* pos = &octet;
  int32_t err = 0;
  Name at_limit{};
  EXPECT_EQ(uip_Name(&at_limit, &pos, &octet, 0xFC, &err), 0);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(at_limit.value, nullptr);
}

TEST(NameFaults, AttributeHoldsOneValue) {
  const Bytes type = tlv(0x06, {0x55, 0x04, 0x03});
  const Bytes a = tlv(0x13, {'a'}), b = tlv(0x13, {'b'});
  const Bytes two = tlv(0x30, type + tlv(0x31, a + b));
  auto values_are = [](int32_t n) { return [n](Attribute& at) { EXPECT_EQ(at.values.count, n); }; };
  run_cases<Attribute>(
      {
          {"one value", tlv(0x30, type + tlv(0x31, a)), 1, 0, kAtEnd, values_are(1)},
          {"two values", two, 1, ASN_LEFTOVER, two.size() - b.size(), values_are(1)},
          {"empty set of values", tlv(0x30, type + Bytes{0x31, 0x00}), 1, 0, kAtEnd, values_are(0)},
          {"values missing", tlv(0x30, type), 0, ASN_FIELD_FAILED, kAtEnd},
      },
      uip_Attribute, dip_Attribute, 0x30);
}

TEST(NameFaults, DirectoryString) {
  auto tag_is = [](uint8_t t) { return [t](DirectoryString& d) { EXPECT_EQ(d.tag, t); }; };
  run_cases<DirectoryString>(
      {
          {"PrintableString", tlv(0x13, {'p'}), 1, 0, kAtEnd, tag_is(0x13)},
          {"T61String", tlv(0x14, {'t'}), 1, 0, kAtEnd, tag_is(0x14)},
          {"UTF8String is no alternative", tlv(0x0C, {'u'}), 0, ASN_BAD_CHOICE, 0, tag_is(0)},
      },
      uip_DirectoryString, dip_DirectoryString, 0xFC);
}

// Decodes `der` as a RelativeDistinguishedName and encodes it again.
Bytes reencode_rdn(const Bytes& der, int32_t& err) {
  const uint8_t* pos = der.data();
  err = 0;
  RelativeDistinguishedName* r =
      _unpack_RelativeDistinguishedName(&pos, der.data() + der.size(), 0x31, &err);
  if (r == nullptr) return {};
  Bytes out(static_cast<size_t>(sizeof_RelativeDistinguishedName(r, 1)));
  uint8_t* at = out.data();
  _pack_RelativeDistinguishedName(&at, r, 0x31, &err);
  out.resize(static_cast<size_t>(at - out.data()));
  drop_RelativeDistinguishedName(r);
  return out;
}

TEST(NameEncoding, SetOfWritesDerOrder) {
  const Bytes longer = tlv(0x30, kCN + tlv(0x13, {'a', 'a'}));
  const struct {
    const char* fault;
    Bytes input;
    Bytes output;
    int32_t code;
  } cases[] = {
      {"descending elements", tlv(0x31, ava(2) + ava(1) + ava(0)),
       tlv(0x31, ava(0) + ava(1) + ava(2)), 0},
      // The shorter element compares as if padded with zeros, so its smaller
      // length octet puts it first.
      {"longer element first", tlv(0x31, longer + ava(25)), tlv(0x31, ava(25) + longer), 0},
      // The header goes out before the duplicate is found.
      {"equal elements", tlv(0x31, ava(3) + ava(3)),
       Bytes{0x31, static_cast<uint8_t>(2 * ava(3).size())}, ASN_SETOF_DUPLICATE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    int32_t err = 0;
    EXPECT_EQ(reencode_rdn(c.input, err), c.output);
    EXPECT_EQ(err, c.code);
  }
}

TEST(NameEncoding, RefusesCountsAboveCapacity) {
  uint8_t out[8] = {};
  const struct {
    const char* fault;
    std::function<void(uint8_t**, int32_t*)> pack;
    int32_t code;
  } cases[] = {
      {"two attribute values", [](uint8_t** at, int32_t* err) {
         AttributeValues v{};
         v.count = 2;
         _pack_AttributeValues(at, &v, 0x31, err);
       }, ASN_SETOF_FULL},
      {"33 assertions in an RDN", [](uint8_t** at, int32_t* err) {
         RelativeDistinguishedName r{};
         r.count = 33;
         _pack_RelativeDistinguishedName(at, &r, 0x31, err);
       }, ASN_SETOF_FULL},
      {"33 RDNs", [](uint8_t** at, int32_t* err) {
         RDNSequence s{};
         s.count = 33;
         _pack_RDNSequence(at, &s, 0x30, err);
       }, ASN_SEQOF_FULL},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    uint8_t* at = out;
    int32_t err = 0;
    c.pack(&at, &err);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(at, out) << "nothing written";
  }
}

}  // namespace
}  // namespace qel
