// Name comparison at both strengths and the self-signed test.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

using namespace qel;

namespace {

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
      auto* rdn = new_RelativeDistinguishedName();
      for (const Value& v : r) {
        auto* ava = new_AttributeValueAssertion();
        const uint8_t oid[] = {0x55, 0x04, v.oid_last};
        tc_set_ava(ava, oid, 3, v.tag, reinterpret_cast<const uint8_t*>(v.text.data()),
                   static_cast<int32_t>(v.text.size()));
        rdn->items[rdn->count++] = ava;
      }
      seq->items[seq->count++] = rdn;
    }
    name.tag = 0x30;
    name.value = seq;
  }
  ~OwnedName() { dip_Name(&name); }
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
  Name* none = nullptr;
  for (const Name* other : {none, &hollow}) {
    EXPECT_EQ(tc_compare_Name(&a.name, other), 2);
    EXPECT_EQ(tc_compare_dname(other, &a.name), 2);
  }
}

TEST(CompareRdn, OneDirectional) {
  // `a` holds one value twice, `b` that value and another: every value of a
  // is found in b, not the other way round.
  OwnedName a({{{kCN, P, "x"}, {kCN, P, "x"}}}), b({{{kCN, P, "x"}, {kO, P, "y"}}});
  OwnedName c({{{kCN, P, "x"}}});
  auto rdn = [](OwnedName& n) { return static_cast<RDNSequence*>(n.name.value)->items[0]; };
  EXPECT_EQ(tc_compare_RDN(rdn(a), rdn(b)), 1);
  EXPECT_EQ(tc_compare_RDN(rdn(b), rdn(a)), 0);
  EXPECT_EQ(tc_compare_RDN(rdn(c), rdn(b)), 0);  // counts differ
  // A value block that lost its bytes matches nothing.
  OwnedName d({{{kCN, P, "x"}}});
  AttributeValueAssertion* ava = rdn(d)->items[0];
  std::free(ava->attributeValue.bytes);
  ava->attributeValue.bytes = nullptr;
  EXPECT_EQ(tc_compare_RDN(rdn(d), rdn(d)), 0);
}

// The rows of tests/data/dname_comparisons.txt.
TEST(CompareDName, EntriesInOrderIgnoringCase) {
  const auto rows = tst::table("dname_comparisons.txt");
  EXPECT_EQ(rows.size(), 11u);
  for (const auto& f : rows) {
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
  EXPECT_EQ(tc_compare_dName(nullptr, a), 1);
  EXPECT_EQ(tc_compare_dName(nullptr, nullptr), 0);
  tc_free_dName(a);
}

// Issuer against subject of fixtures: exact for the self-signed test, by
// text for tc_compare_dname.
TEST(SelfSigned, ExactIssuerAgainstSubject) {
  for (const auto& [file, exact, by_text] : {std::tuple{"plain", 1, 1}, {"empty", 1, 1},
                                             {"case", 0, 1}, {"multivalued", 0, 0}}) {
    SCOPED_TRACE(file);
    const std::string path = std::string("names/") + file + ".der";
    const auto d = tst::decode(&Certificate_desc, tst::read_file(path), 0x30);
    auto* cert = static_cast<Certificate*>(d.record);
    ASSERT_EQ(d.result, 1);
    EXPECT_EQ(tc_isSelfSigned(cert), exact);
    const TBSCertificate& tbs = cert->tbsCertificate;
    EXPECT_EQ(tc_compare_dname(&tbs.issuer, &tbs.subject), by_text);
    drop_Certificate(cert);
  }
  EXPECT_EQ(tc_isSelfSigned(nullptr), 0);
}

}  // namespace
