// Name and attribute types: decoding faults, each checked for record, result,
// stored code and position, and an RDN written back in DER order.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/helpers.h"
#include "types/names.h"

namespace qel::tst {
namespace {

const std::string kCN = "06 03 55 04 03";
// An assertion whose value is a one-letter PrintableString; `n` of them,
// each alone in its RDN or all in one.
std::string ava(int i) {
  char letter[4];
  std::snprintf(letter, sizeof letter, "%02x", 'a' + i % 26);
  return tlv("30", kCN, "13 01", letter);
}
std::string avas(int n, bool own_rdn) {
  std::string out;
  for (int i = 0; i < n; ++i) out = cat(out, own_rdn ? tlv("31", ava(i)) : ava(i));
  return out;
}

const RDNSequence& rdns_of(const Name& n) { return *static_cast<RDNSequence*>(n.value); }

TEST(NameFaults, DecodeTable) {
  const auto counts = [](int32_t rdns, int32_t first = -1) {
    return on<Name>([rdns, first](Name& n) {
      EXPECT_EQ(n.tag, 0x30);
      ASSERT_NE(n.value, nullptr);
      EXPECT_EQ(rdns_of(n).count, rdns);
      if (first >= 0) {
        EXPECT_EQ(rdns_of(n).items[0]->count, first);
      }
    });
  };
  const auto values = [](int32_t n) {
    return on<Attribute>([n](Attribute& a) { EXPECT_EQ(a.values.count, n); });
  };
  const std::string rdns33 = tlv("30", avas(33, true));
  const std::string avas33 = tlv("30", tlv("31", avas(33, false)));
  const std::string two_values = tlv("30", kCN, tlv("31", "13 01 61 13 01 62"));
  const TypeDesc *const kName = &Name_desc, *const kAttr = &Attribute_desc,
                 *const kDir = &DirectoryString_desc;
  run_decode_cases({
      {"tag other than SEQUENCE", kName, tlv("31", tlv("31", ava(0))), TAG_CHOICE, 0,
       ASN_BAD_CHOICE, 0, "", on<Name>([](Name& n) { EXPECT_EQ(n.value, nullptr); })},
      {"33rd RDN left unread", kName, rdns33, TAG_CHOICE, 1, ASN_LEFTOVER,
       len(rdns33) - len(tlv("31", ava(32))), "", counts(32)},
      // The RDN stops at its capacity; the RDNSequence then meets an
      // assertion where it expects an RDN.
      {"33rd assertion of an RDN", kName, avas33, TAG_CHOICE, 1, ASN_LEFTOVER,
       len(avas33) - len(ava(32)), "", counts(1, 32)},
      {"assertion without its value", kName, tlv("30", tlv("31", ava(0), tlv("30", kCN))),
       TAG_CHOICE, 1, ASN_FIELD_FAILED, kAtEnd, "", counts(1, 1)},
      {"length running past the limit", kName, cat("30 82 01 00", tlv("31", ava(0))), TAG_CHOICE,
       0, ASN_OVERRUN, kAtEnd, "", counts(-1)},
      {"two attribute values", kAttr, two_values, 0x30, 1, ASN_LEFTOVER, len(two_values) - 3, "",
       values(1)},
      {"UTF8String is no alternative", kDir, "0c 01 75", TAG_CHOICE, 0, ASN_BAD_CHOICE, 0, "",
       on<DirectoryString>([](DirectoryString& d) { EXPECT_EQ(d.tag, 0); })},
  });
}

}  // namespace
}  // namespace qel::tst
