// Names as text, the attribute table, the parsed form, name comparison, and
// the extension texts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

Certificate* load(const std::string& file) {
  Decoded d = decode(&Certificate_desc, read_file(file), 0x30);
  EXPECT_EQ(d.result, 1) << file;
  return static_cast<Certificate*>(d.record);
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

// Every name in the expectations file, in both forms and parsed back.
TEST(NameText, FixturesMatchIndependentExpectations) {
  int checked = 0;
  for (auto f : table("names/expected_names.txt", '\t')) {
    f.resize(6);
    SCOPED_TRACE(f[0] + " " + f[1]);
    const bool request = f[0].find("/req_") != std::string::npos;
    const TypeDesc* type = request ? &CertificationRequest_desc : &Certificate_desc;
    Decoded d = decode(type, read_file(f[0]), 0x30);
    const int32_t selector =
        request ? kDnameRequestSubject : f[1] == "issuer" ? kDnameIssuer : kDnameSubject;
    char *slash = nullptr, *ldap = nullptr;
    if (d.result == 1) {  // refused requests: the fixture table
      ASSERT_EQ(tc_extract_dname(&slash, d.record, selector), 0);
      ASSERT_EQ(tc_extract_dname_ldap(&ldap, d.record, selector), 0);
      EXPECT_EQ(std::string(slash), unescape(f[2]));
      EXPECT_EQ(std::string(ldap), unescape(f[3]));
      for (const auto& [form, n] : {std::pair{slash, f[4]}, std::pair{ldap, f[5]}}) {
        dName* dn = tc_create_dName(form);
        int count = 0;
        while (dn != nullptr && dn->entries[count] != nullptr) ++count;
        EXPECT_EQ(dn ? count : -1, std::stoi(n)) << form;
        tc_free_dName(dn);
      }
      ++checked;
    }
    std::free(slash), std::free(ldap);
    engine::drop(type, d.record);
  }
  EXPECT_GE(checked, 100);  // the name fixtures and the certificate fixtures
}

// tc_set_ava writes tag and DER length; tc_get_ava reads them back without
// leaving the block, cutting a declared length to what the block holds.
TEST(Ava, HeaderInsideTheBlockAndLabelByRowLength) {
  const struct {
    std::vector<uint8_t> block;  // empty: made by tc_set_ava with `length` bytes
    int32_t tag, length, offset;
  } cases[] = {
      {{}, 0x13, 0, 2}, {{}, 0x13, 127, 2}, {{}, 0x13, 128, 3},
      {{0x13, 0x05, 'a', 'b'}, 0x13, 2, 2},  // content shorter than declared
      {{0x13, 0x84, 0x00}, 0x13, 0, 3},      // long-form length octets missing
      {{0x0C}, 0x0C, 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(hex(c.block) + " " + std::to_string(c.length));
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
  // A row labels an OID that starts with the row's bytes, never a shorter one.
  for (const auto& [oid, label] : {std::pair{"55 04 03 01", "CN"}, {"2a 86 48 86 f7 0d 01 09", nullptr}}) {
    AttributeValueAssertion ava{};
    const Bytes b = B(oid);
    ASSERT_EQ(tc_set_ava(&ava, b.data(), static_cast<int32_t>(b.size()), 0x13, nullptr, 0), 0);
    EXPECT_STREQ(tc_attr_label(&ava), label) << oid;
    dip_AttributeValueAssertion(&ava);
  }
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
    tc_free_dName(dn);
  }
}

// Encoded names packed to DER; what does not fit is refused and nothing built.
TEST(EncodeName, PrintableStringRdnsOrRefusal) {
  std::string full = "/";
  for (int i = 0; i < 32; ++i) full += "O=" + std::to_string(i) + "/";
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
      {full + "O=32/", 2, ""},  // 33 entries
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
}

TEST(StrcpyX, FirstValueOfEachRdnOnly) {
  const struct {
    const char* file;
    int32_t use_issuer, row;
    const char* value;  // null: not found
  } cases[] = {
      {"multivalued", 0, 7, "Acme"},
      {"multivalued", 0, 8, nullptr},  // the second value of that RDN is not looked at
      {"case", 1, 0, "Root"},          {"zerobyte", 0, 0, "ab"},
      {"zerobyte", 0, 7, ""},          {"plain", 0, 15, nullptr},
      {"plain", 0, 16, nullptr},       // row number past the table
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.file) + " " + std::to_string(c.row));
    Certificate* cert = load(std::string("names/") + c.file + ".der");
    char* out = reinterpret_cast<char*>(&out);
    EXPECT_EQ(tc_strcpyX(cert, c.use_issuer, c.row, &out), c.value ? 0 : -1);
    EXPECT_EQ(take(out), c.value ? c.value : "<null>");
    drop_Certificate(cert);
  }
}

// Every allocation of each call failing in turn: a documented failure and
// nothing half built, or the whole result.
TEST(AllocationFailure, NothingHalfBuiltIsLeft) {
  Certificate* cert = load("names/allrows.der");
  dName* dn = tc_create_dName("/C=US/O=Acme/CN=Root/");
  char* text = reinterpret_cast<char*>(&text);
  const std::string whole = take((tc_extract_dname(&text, cert, 0), text));
  EXPECT_GT(each_allocation_failing([&] {
              const int32_t r = tc_extract_dname(&text, cert, 0);
              EXPECT_TRUE(r == 0 ? text == whole : r == 4 && text == nullptr);
              std::free(text);
            }), 1);
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

// ---------------------------------------------------------------------------
// Comparison.

struct Value {
  uint8_t oid_last, tag;  // attribute 55 04 xx, string tag
  std::string text;
};
using Rdn = std::vector<Value>;
constexpr uint8_t P = 0x13, T61 = 0x14;
constexpr uint8_t kCN = 0x03, kO = 0x0A, kDesc = 0x0D;  // description has no row

// A Name record with the given RDNs, built as a decoder would leave it.
struct OwnedName {
  Name name{};
  explicit OwnedName(const std::vector<Rdn>& rdns) {
    auto* seq = new_RDNSequence();
    for (const Rdn& r : rdns) {
      auto* rdn = seq->items[seq->count++] = new_RelativeDistinguishedName();
      for (const Value& v : r) {
        auto* ava = rdn->items[rdn->count++] = new_AttributeValueAssertion();
        const uint8_t oid[] = {0x55, 0x04, v.oid_last};
        tc_set_ava(ava, oid, 3, v.tag, reinterpret_cast<const uint8_t*>(v.text.data()),
                   static_cast<int32_t>(v.text.size()));
      }
    }
    name = {0x30, seq};
  }
  ~OwnedName() { dip_Name(&name); }
  RelativeDistinguishedName* rdn() { return static_cast<RDNSequence*>(name.value)->items[0]; }
};

TEST(CompareName, BothStrengths) {
  const Rdn root{{kCN, P, "Root"}}, acme{{kO, P, "Acme"}};
  const struct {
    const char* fault;
    std::vector<Rdn> a, b;
    int32_t exact;  // tc_compare_Name: 0 equal, 1 differ
    int32_t text;   // tc_compare_dname: 1 equal, 0 differ, 2 cannot tell
  } cases[] = {
      {"same names", {acme, root}, {acme, root}, 0, 1},
      {"values of one RDN in another order", {{{kO, P, "Acme"}, {kCN, P, "Root"}}},
       {{{kCN, P, "Root"}, {kO, P, "Acme"}}}, 0, 0},
      {"RDNs in another order", {acme, root}, {root, acme}, 1, 0},
      {"letter case", {root}, {{{kCN, P, "root"}}}, 1, 1},
      {"PrintableString against T61String", {root}, {{{kCN, T61, "Root"}}}, 1, 1},
      {"attribute without a row in one name only", {acme, root}, {acme, {{kDesc, P, "x"}}, root},
       1, 1},
      {"white space", {root}, {{{kCN, P, "Root "}}}, 1, 0},
      {"different value", {root}, {{{kCN, P, "Leaf"}}}, 1, 0},
      {"one RDN more", {acme}, {acme, root}, 1, 0},
      {"no RDN in either", {}, {}, 0, 1},
      {"value with a slash does not parse back", {{{kCN, P, "a/b"}}}, {{{kCN, P, "a/b"}}}, 0, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    OwnedName a(c.a), b(c.b);
    EXPECT_EQ(tc_compare_Name(&a.name, &b.name), c.exact);
    EXPECT_EQ(tc_compare_Name(&b.name, &a.name), c.exact);
    EXPECT_EQ(tc_compare_dname(&a.name, &b.name), c.text);
  }
  OwnedName a({root});
  Name hollow{0x30, nullptr};  // a Name without its value
  EXPECT_EQ(tc_compare_Name(&a.name, &hollow), 2);
  EXPECT_EQ(tc_compare_dname(&hollow, &a.name), 2);
  // `x` holds one value twice, `y` that value and another: every value of x
  // is found in y, not the other way round.
  OwnedName x({{{kCN, P, "x"}, {kCN, P, "x"}}}), y({{{kCN, P, "x"}, {kO, P, "y"}}});
  OwnedName z({{{kCN, P, "x"}}});
  EXPECT_EQ(tc_compare_RDN(x.rdn(), y.rdn()), 1);
  EXPECT_EQ(tc_compare_RDN(y.rdn(), x.rdn()), 0);
  EXPECT_EQ(tc_compare_RDN(z.rdn(), y.rdn()), 0);  // counts differ
  // A value block that lost its bytes matches nothing.
  AttributeValueAssertion* ava = z.rdn()->items[0];
  std::free(ava->attributeValue.bytes);
  ava->attributeValue.bytes = nullptr;
  EXPECT_EQ(tc_compare_RDN(z.rdn(), z.rdn()), 0);
}

// The rows of tests/data/dname_comparisons.txt.
TEST(CompareDName, EntriesInOrderIgnoringCase) {
  for (const auto& f : table("dname_comparisons.txt")) {
    ASSERT_EQ(f.size(), 4u) << f[0];
    SCOPED_TRACE(f[0]);
    dName *a = tc_create_dName(f[1].c_str()), *b = tc_create_dName(f[2].c_str());
    ASSERT_TRUE(a && b);
    EXPECT_EQ(tc_compare_dName(a, b), std::stoi(f[3]));
    EXPECT_EQ(tc_compare_dName(b, a), std::stoi(f[3]));
    tc_free_dName(a);
    tc_free_dName(b);
  }
  dName* a = tc_create_dName("/CN=Root/");
  EXPECT_EQ(tc_compare_dName(a, nullptr), 1);  // exactly one null
  EXPECT_EQ(tc_compare_dName(nullptr, nullptr), 0);
  tc_free_dName(a);
}

// Issuer against subject of fixtures: exact for the self-signed test, by
// text for tc_compare_dname.
TEST(SelfSigned, ExactIssuerAgainstSubject) {
  for (const auto& [file, exact, by_text] : {std::tuple{"plain", 1, 1}, {"empty", 1, 1},
                                             {"case", 0, 1}, {"multivalued", 0, 0}}) {
    SCOPED_TRACE(file);
    Certificate* cert = load(std::string("names/") + file + ".der");
    EXPECT_EQ(tc_isSelfSigned(cert), exact);
    EXPECT_EQ(tc_compare_dname(&cert->tbsCertificate.issuer, &cert->tbsCertificate.subject), by_text);
    drop_Certificate(cert);
  }
}

// ---------------------------------------------------------------------------
// Extension texts.

using Pair = std::pair<std::string, std::string>;  // extnID and extnValue, in hex
const std::string N = "<null>";
const std::string kSAN = "55 1d 11", kIAN = "55 1d 12", kCDP = "55 1d 1f", kCLN = "55 1d 14";
const std::string kDnsA = "30 03 82 01 61", kUri = "30 0e 30 0c a0 0a a0 08 86 06 6c 64 61 70 3a 78";

Extension* extension(const std::string& oid, const Bytes& v) {
  Extension* e = new_Extension();
  const Bytes o = B(oid);
  put_str_val(&e->extnID, o.data(), uint32_t(o.size()));
  put_str_val(&e->extnValue, v.data(), uint32_t(v.size()));
  return e;
}
Extension* extension(const std::string& oid, const std::string& value) {
  return extension(oid, value[0] == '@' ? read_file(value.substr(1)) : B(value));
}

// The handlers over the values of tests/data/extension_texts.txt.
TEST(Extensions, HandlerTexts) {
  const std::map<std::string, tc_extension_handler> handlers = {
      {"SAN", tc_extract_SAN}, {"CDP", tc_extract_CDP}, {"CLN", tc_extract_CLN}};
  const auto rows = table("extension_texts.txt");
  EXPECT_GE(rows.size(), 34u);
  for (const auto& f : rows) {
    ASSERT_TRUE(f.size() == 6 && handlers.count(f[1])) << f[0];
    SCOPED_TRACE(f[0]);
    Extension* e = extension(f[2], f[3]);
    char* text = reinterpret_cast<char*>(&text);  // each handler clears it first
    EXPECT_EQ(handlers.at(f[1])(&text, e), std::stoi(f[4]));
    EXPECT_EQ(take(text), f[5]);
    drop_Extension(e);
  }
}

std::vector<std::string> results() {
  Extension_Results* r = Get_Extension_Results();
  std::vector<std::string> out;
  for (char* t : {r->subjectAltName, r->issuerAltName, r->crlDistPoint, r->crlNumber, r->keyUsage})
    out.push_back(t != nullptr ? t : N);
  free_Extension_Results(r);
  return out;
}

Certificate* certificate(const std::vector<Pair>& list) {
  Certificate* cert = new_Certificate();
  Extensions* l = cert->tbsCertificate.extensions = new_Extensions();
  for (const auto& [oid, value] : list) l->items[l->count++] = extension(oid, value);
  return cert;
}

TEST(Extensions, RetrievalFillsAndEmptiesTheSlots) {
  const struct {
    const char* fault;
    std::vector<Pair> list;
    int32_t kind, code;
    std::vector<std::string> texts;  // after an earlier retrieval left an issuerAltName
  } cases[] = {
      {"one of each", {{kSAN, kDnsA}, {kIAN, "30 03 81 01 62"}, {kCDP, kUri}, {kCLN, "02 01 09"}},
       0, 0, {"/DN=a/", "/EA=b/", "/URI=ldap:x/", "9", N}},
      {"the last of two wins", {{kSAN, "30 03 82 01 62"}, {kSAN, kDnsA}}, 0, 0, {"/DN=a/", N, N, N, N}},
      {"a failing second keeps the first", {{kSAN, kDnsA}, {kSAN, "30 03 88 01 01"}}, 0, 0,
       {"/DN=a/", N, N, N, N}},
      {"a second without text keeps the first", {{kCDP, kUri}, {kCDP, "30 00"}}, 0, 0, {N, N, "/URI=ldap:x/", N, N}},
      {"a text with the decoder's complaint is dropped", {{kCDP, "30 0b 30 07 a0 05 a0 03 86 01 75 04 00"}}, 0, 0,
       {N, N, N, N, N}},
      {"keyUsage has no row", {{"55 1d 0f", "03 02 05 a0"}}, 0, 0, {N, N, N, N, N}},
      {"revocation list", {{kCLN, "02 01 2a"}}, 1, 0, {N, N, N, "42", N}},
      {"kind 2 names no list", {{kSAN, kDnsA}}, 2, 0, {N, N, N, N, N}},
      {"negative kind names no list", {{kSAN, kDnsA}}, -1, 0, {N, N, N, N, N}},
      {"kind 3 leaves the slots", {{kSAN, kDnsA}}, 3, TC_INVALID_ARGUMENTS, {N, "/DN=a/", N, N, N}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Certificate* earlier = certificate({{kIAN, kDnsA}});
    ASSERT_EQ(tc_retrieve_Extensions(earlier, 0), 0);
    Certificate* cert = certificate(c.list);
    CertificateList* crl = new_CertificateList();
    if (c.kind == 1) std::swap(crl->tbsCertList.crlExtensions, cert->tbsCertificate.extensions);
    EXPECT_EQ(tc_retrieve_Extensions(c.kind == 1 ? static_cast<void*>(crl) : cert, c.kind), c.code);
    EXPECT_EQ(results(), c.texts);
    EXPECT_EQ(results(), std::vector<std::string>(5, N)) << "moving the texts empties the slots";
    drop_CertificateList(crl), drop_Certificate(cert), drop_Certificate(earlier);
  }
  // Get_CRLDistPt: the text of the first distribution point that has one.
  const struct {
    std::vector<Pair> list;
    int32_t found;
    std::string text, slot;  // slot: row 2 after a retrieval and the call
  } points[] = {
      {{{kSAN, kDnsA}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},
      {{{kCDP, "30 00"}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},  // one without text is passed over
      {{{kCDP, "30 05 30 03"}, {kCDP, kUri}}, 0, "<untouched>", "/URI=ldap:x/"},  // a failing one ends it
      {{{kSAN, kDnsA}}, 0, "<untouched>", N},
  };
  for (const auto& c : points) {
    SCOPED_TRACE(c.list[0].second);
    Certificate* cert = certificate(c.list);
    ASSERT_EQ(tc_retrieve_Extensions(cert, 0), 0);
    char untouched[] = "<untouched>";
    char* text = untouched;
    EXPECT_EQ(Get_CRLDistPt(cert, &text), c.found);
    EXPECT_EQ(c.found ? take(text) : std::string(text), c.text);
    EXPECT_EQ(results()[2], c.slot);
    drop_Certificate(cert);
  }
}

// Every allocation failing in turn: "internal memory error" comes without a
// text; a decode cut short may give a shorter one.
TEST(Extensions, NoMemoryLeavesNothingHalfBuilt) {
  const struct {
    tc_extension_handler handler;
    std::string oid, value, text;
  } handlers[] = {{tc_extract_SAN, kSAN, kDnsA, "/DN=a/"},
                  {tc_extract_CDP, kCDP, kUri, "/URI=ldap:x/"},
                  {tc_extract_CLN, kCLN, "02 01 05", "5"}};
  for (const auto& c : handlers) {
    SCOPED_TRACE(c.text);
    Extension* e = extension(c.oid, c.value);
    each_allocation_failing([&] {
      char* text = nullptr;
      const int32_t r = c.handler(&text, e);
      const std::string t = take(text);
      const bool none_failed = detail::test_hook_fail_nth_allocation != 0;
      EXPECT_TRUE(none_failed ? t == c.text : r != TC_MEMORY || t == N) << r << t;
    });
    drop_Extension(e);
  }
  Certificate* cert = certificate({{kSAN, kDnsA}});
  ASSERT_EQ(tc_retrieve_Extensions(cert, 0), 0);
  detail::test_hook_fail_nth_allocation = 1;
  EXPECT_EQ(Get_Extension_Results(), nullptr);
  EXPECT_EQ(results()[0], "/DN=a/") << "the texts wait in their slots";
  drop_Certificate(cert);
}

}  // namespace
}  // namespace qel::tst
