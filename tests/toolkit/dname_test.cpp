// Name texts, the attribute table and the parsed form.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn/pool.h"
#include "qelcert.h"
#include "tests/helpers.h"

using namespace qel;
using namespace qel::tst;

namespace {

const TypeDesc* record_type(bool request) {
  return request ? &CertificationRequest_desc : &Certificate_desc;
}
void* load(const std::string& file, bool request = false) {
  Decoded d = decode(record_type(request), read_file(file), 0x30);
  if (d.result == 0) engine::drop(record_type(request), d.record);
  return d.result != 0 ? d.record : nullptr;
}

int entry_count(const dName* dn) {  // -1 for no dName
  int n = 0;
  while (dn != nullptr && dn->entries[n] != nullptr) ++n;
  return dn ? n : -1;
}

// Every name in the expectations file, in both forms and parsed back.
TEST(NameText, FixturesMatchIndependentExpectations) {
  int checked = 0;
  for (auto f : table("names/expected_names.txt", '\t')) {
    f.resize(6);
    SCOPED_TRACE(f[0] + " " + f[1]);
    const bool request = f[0].find("/req_") != std::string::npos;
    void* record = load(f[0], request);
    if (record == nullptr) continue;  // refused requests: request_test
    const int32_t selector =
        request ? kDnameRequestSubject : f[1] == "issuer" ? kDnameIssuer : kDnameSubject;
    char* text = nullptr;
    ASSERT_EQ(tc_extract_dname(&text, record, selector), 0);
    const std::string slash = take(text);
    ASSERT_EQ(tc_extract_dname_ldap(&text, record, selector), 0);
    const std::string ldap = take(text);
    EXPECT_EQ(slash, unescape(f[2]));
    EXPECT_EQ(ldap, unescape(f[3]));
    for (const auto& [form, count] : {std::pair{slash, f[4]}, std::pair{ldap, f[5]}}) {
      dName* dn = tc_create_dName(form.c_str());
      EXPECT_EQ(entry_count(dn), std::stoi(count)) << form;
      tc_free_dName(dn);
    }
    engine::drop(record_type(request), record);
    ++checked;
  }
  EXPECT_GE(checked, 100);  // the name fixtures and the certificate fixtures
  Certificate hollow{};  // subject without its value
  char* text = nullptr;
  EXPECT_EQ(tc_extract_dname(&text, &hollow, 7), 1);
  EXPECT_EQ(tc_extract_dname_ldap(nullptr, &hollow, 0), 2);
  EXPECT_EQ(tc_decode_dname(&text, nullptr), 2);
  EXPECT_EQ(text, nullptr);
}

// A row matches an OID that starts with the row's bytes, over the row's length.
TEST(AttrTable, LookupsMatchByRowLength) {
  const struct {
    const char* fault;
    std::vector<uint8_t> oid;  // padded to a row's 12 bytes for tc_attr_oid_length
    const char* label;
    int32_t length;
  } cases[] = {
      {"gap between T and PA", {0x55, 0x04, 0x0D}, nullptr, 3},
      {"longer OID matches its prefix row", {0x55, 0x04, 0x03, 0x01}, "CN", 3},
      {"email row", {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01}, "emailAddress", 9},
      {"email OID cut short", {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09}, nullptr, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    AttributeValueAssertion ava{};
    const auto size = static_cast<int32_t>(c.oid.size());
    ASSERT_EQ(tc_set_ava(&ava, c.oid.data(), size, 0x13, nullptr, 0), 0);
    EXPECT_STREQ(tc_attr_label(&ava), c.label);
    std::vector<uint8_t> padded = c.oid;
    padded.resize(12);
    EXPECT_EQ(tc_attr_oid_length(padded.data()), c.length);
    dip_AttributeValueAssertion(&ava);
  }
}

// tc_set_ava writes tag and DER length; tc_get_ava reads them back without
// leaving the block, cutting a declared length to what the block holds.
TEST(Ava, HeaderWrittenAndReadInsideTheBlock) {
  const struct {
    const char* fault;
    std::vector<uint8_t> block;  // empty: made by tc_set_ava with `length` bytes
    int32_t tag, length, offset;
  } cases[] = {
      {"empty value", {}, 0x13, 0, 2},
      {"127 bytes, short form", {}, 0x13, 127, 2},
      {"128 bytes, long form", {}, 0x13, 128, 3},
      {"content shorter than declared", {0x13, 0x05, 'a', 'b'}, 0x13, 2, 2},
      {"long-form length octets missing", {0x13, 0x84, 0x00}, 0x13, 0, 3},
      {"tag only", {0x0C}, 0x0C, 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    AttributeValueAssertion ava{};
    const std::vector<uint8_t> value(static_cast<size_t>(c.length) + 1, 'a');
    ASSERT_EQ(tc_set_ava(&ava, value.data(), 1, 0x113, value.data(), c.length), 0);
    vbl_blk& block = ava.attributeValue;
    if (c.block.empty()) {
      EXPECT_EQ(block.length, c.length + c.offset);
    } else {  // an exact-size heap copy, so ASan sees overreads
      block.length = static_cast<int32_t>(c.block.size());
      block.bytes = static_cast<uint8_t*>(std::realloc(block.bytes, c.block.size()));
      std::memcpy(block.bytes, c.block.data(), c.block.size());
    }
    int32_t tag = 0, length = -1;
    const uint8_t* content = nullptr;
    ASSERT_EQ(tc_get_ava(&tag, &content, &length, &block), 0);
    EXPECT_EQ(tag, c.tag);
    EXPECT_EQ(length, c.length);
    EXPECT_EQ(content, block.bytes + c.offset);
    dip_AttributeValueAssertion(&ava);
  }
  int32_t tag = 0, length = 0;
  const uint8_t* content = nullptr;
  const vbl_blk lost{5, nullptr};  // a failed allocation leaves a length without bytes
  EXPECT_EQ(tc_get_ava(&tag, &content, &length, &lost), 2);
}

// A parsed name as "label=value" entries joined by "|": "?" for an entry
// without a row, "!" when label and OID disagree on that; "<null>" for none.
std::string entries(const dName* dn) {
  if (dn == nullptr) return "<null>";
  std::string out;
  for (int i = 0; dn->entries[i] != nullptr; ++i) {
    const dNameEntry& e = *dn->entries[i];
    out += std::string(i ? "|" : "") + ((e.oid == nullptr) != (e.label == nullptr) ? "!" : "") +
           (e.label ? e.label : "?") + "=" + e.value;
  }
  return out;
}

TEST(CreateDName, TextsOfBothForms) {
  const struct { const char *text, *entries; } cases[] = {
      {"//", ""}, {"/", ""}, {",", ""}, {"", "<null>"}, {"CN=Root", "<null>"},
      {"/CN=Root", "CN=Root"}, {"CN=Root,", "CN=Root"}, {"/C=US//O=Acme/", "C=US|O=Acme"},
      {"CN=Root,O=Acme,C=US", "C=US|O=Acme|CN=Root"}, {"/CN=Root/Acme/", "<null>"},
      {"/CN=a=b/", "CN=a=b"}, {"/CN=/", "CN="}, {"/cn=Root/", "CN=Root"},
      {"/EMAILADDRESS=a/", "emailAddress=a"}, {"/XX=1/", "?=1"}, {"/=1/", "?=1"},
      {"/ CN=Root/", "?=Root"}, {"CN=R, O=A", "?=A|CN=R"},
  };
  for (const auto& c : cases) {
    dName* dn = tc_create_dName(c.text);
    EXPECT_EQ(entries(dn), c.entries) << c.text;
    EXPECT_EQ(tc_free_dName(dn), 0);
  }
  EXPECT_EQ(tc_create_dName(nullptr), nullptr);
}

// Encoded names packed to DER; what does not fit is refused and nothing built.
TEST(EncodeName, PrintableStringRdnsOrRefusal) {
  std::string full = "/", many;
  for (int i = 0; i < 32; ++i) full += "O=" + std::to_string(i) + "/";
  many = full + "O=32/";
  const struct {
    std::string text;
    int32_t result;
    std::string der;  // empty: not checked
  } cases[] = {
      {"/C=US/CN=Root/", 0, "30 1c 31 0b 30 09 06 03 55 04 06 13 02 55 53 31 0d 30 0b 06 03 55 04 "
                            "03 13 04 52 6f 6f 74"},
      {"CN=x,emailAddress=a@b", 0, "30 20 31 12 30 10 06 09 2a 86 48 86 f7 0d 01 09 01 13 03 61 "
                                   "40 62 31 0a 30 08 06 03 55 04 03 13 01 78"},
      {"/", 0, "30 00"},
      {full, 0, ""},
      {"/CN=a/XX=b/", 2, ""},  // entry without a row
      {many, 2, ""},           // 33 entries
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    dName* dn = tc_create_dName(c.text.c_str());
    Name name{0x30, &name};  // stale contents are overwritten, never followed
    ASSERT_EQ(tc_encode_Name(&name, dn), c.result);
    EXPECT_EQ(name.tag, c.result == 0 ? 0x30 : 0);
    EXPECT_EQ(name.value == nullptr, c.result != 0);
    if (!c.der.empty()) {
      int32_t err = 0;
      EXPECT_EQ(hex(encode(&Name_desc, &name, TAG_CHOICE, &err)), c.der);
    }
    dip_Name(&name);
    tc_free_dName(dn);
  }
  Name name{};
  EXPECT_EQ(tc_encode_Name(&name, nullptr), 2);
}

TEST(StrcpyX, FirstValueOfEachRdnOnly) {
  const struct {
    const char *fault, *file;
    int32_t use_issuer, row;
    const char* value;  // null: not found
  } cases[] = {
      {"first value of a multi-valued RDN", "multivalued", 0, 7, "Acme"},
      {"second value of that RDN is not looked at", "multivalued", 0, 8, nullptr},
      {"issuer", "case", 1, 0, "Root"},
      {"zero byte ends the copy", "zerobyte", 0, 0, "ab"},
      {"zero byte first", "zerobyte", 0, 7, ""},
      {"absent attribute", "plain", 0, 15, nullptr},
      {"row number past the table", "plain", 0, 16, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    auto* cert = static_cast<Certificate*>(load(std::string("names/") + c.file + ".der"));
    char* out = reinterpret_cast<char*>(&out);
    EXPECT_EQ(tc_strcpyX(cert, c.use_issuer, c.row, &out), c.value ? 0 : -1);
    EXPECT_EQ(take(out), c.value ? c.value : "<null>");
    drop_Certificate(cert);
  }
  char* texts[32] = {strdup("a"), nullptr, strdup("b")};
  tc_free_dname(texts);
  EXPECT_EQ(texts[2], nullptr);
}

// Every allocation of each call failing in turn: a documented failure and
// nothing half built, or the whole result.
TEST(AllocationFailure, NothingHalfBuiltIsLeft) {
  auto* cert = static_cast<Certificate*>(load("names/allrows.der"));
  dName* dn = tc_create_dName("/C=US/O=Acme/CN=Root/");
  char* text = reinterpret_cast<char*>(&text);
  const std::string whole = take((tc_extract_dname(&text, cert, 0), text));
  EXPECT_GT(each_allocation_failing([&] {
              const int32_t r = tc_extract_dname(&text, cert, 0);
              EXPECT_TRUE(r == 0 ? text == whole : r == 4 && text == nullptr);
              std::free(text);
            }), 1);
  each_allocation_failing([&] {
    const int32_t r = tc_strcpyX(cert, 0, 0, &text);
    EXPECT_EQ(r == 0, text != nullptr);
    std::free(text);
  });
  EXPECT_GT(each_allocation_failing([] {
              dName* made = tc_create_dName("CN=a,O=b,XX=c,C=d,");
              EXPECT_EQ(made ? entries(made) : "C=d|?=c|O=b|CN=a", "C=d|?=c|O=b|CN=a");
              tc_free_dName(made);
            }), 4);
  each_allocation_failing([&] {
    Name name{};
    const int32_t r = tc_encode_Name(&name, dn);
    EXPECT_TRUE(r == 0 || (r == 4 && name.value == nullptr && name.tag == 0));
    dip_Name(&name);
  });
  each_allocation_failing([&] {
    AttributeValueAssertion ava{};
    const int32_t r = tc_set_ava(&ava, dn->entries[0]->oid, 3, 0x13, dn->entries[0]->oid, 3);
    EXPECT_TRUE(r == 0 || (r == 4 && !ava.attributeType.bytes && !ava.attributeType.length &&
                           !ava.attributeValue.bytes && !ava.attributeValue.length));
    dip_AttributeValueAssertion(&ava);
  });
  tc_free_dName(dn);
  drop_Certificate(cert);
}

}  // namespace
