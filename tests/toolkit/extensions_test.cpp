// Extension texts: the handlers over handcrafted values, retrieval into the
// table's slots, and the ways out of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

using namespace qel;

namespace {

using tst::tlv;
using Pair = std::pair<std::string, std::string>;  // extnID and extnValue, in hex
const std::string N = "<null>";

std::string seq(const std::string& c) { return tlv("30", c); }
const std::string kSAN = "55 1d 11", kIAN = "55 1d 12", kCDP = "55 1d 1f", kCLN = "55 1d 14";
const std::string kDnsA = seq("82 01 61"), kUri = seq(tlv("30", "a0 0a a0 08 86 06 6c 64 61 70 3a 78"));
const std::string kBroken = "30 05 30 03";  // runs past its end

Extension* extension(const std::string& oid, const std::string& value) {
  Extension* e = new_Extension();
  const tst::Bytes o = tst::B(oid), v = tst::B(value);
  put_str_val(&e->extnID, o.data(), uint32_t(o.size()));
  put_str_val(&e->extnValue, v.data(), uint32_t(v.size()));
  return e;
}

using tst::take;

// The handlers over the values of tests/data/extension_texts.txt.
TEST(Extensions, HandlerTexts) {
  const std::map<std::string, tc_extension_handler> handlers = {
      {"SAN", tc_extract_SAN}, {"CDP", tc_extract_CDP}, {"CLN", tc_extract_CLN}};
  const auto rows = tst::table("extension_texts.txt");
  EXPECT_GE(rows.size(), 29u);
  for (const auto& f : rows) {
    ASSERT_TRUE(f.size() == 6 && handlers.count(f[1])) << f[0];
    SCOPED_TRACE(f[0]);
    const tc_extension_handler handler = handlers.at(f[1]);
    Extension* e = extension(f[2], f[3]);
    char* text = reinterpret_cast<char*>(&text);  // each handler clears it first
    EXPECT_EQ(handler(&text, e), std::stoi(f[4]));
    EXPECT_EQ(take(text), f[5]);
    drop_Extension(e);
  }
  Extension* e = extension(kSAN, kDnsA);
  for (const auto& [name, handler] : handlers) {
    char* text = nullptr;
    EXPECT_EQ(handler(&text, nullptr), TC_INVALID_ARGUMENTS) << name;
    EXPECT_EQ(handler(nullptr, e), TC_INVALID_ARGUMENTS) << name;
  }
  drop_Extension(e);
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
      {"one of each", {{kSAN, kDnsA}, {kIAN, seq("81 01 62")}, {kCDP, kUri}, {kCLN, "02 01 09"}}, 0, 0,
       {"/DN=a/", "/EA=b/", "/URI=ldap:x/", "9", N}},
      {"the last of two wins", {{kSAN, seq("82 01 62")}, {kSAN, kDnsA}}, 0, 0, {"/DN=a/", N, N, N, N}},
      {"a failing second keeps the first", {{kSAN, kDnsA}, {kSAN, seq("88 01 01")}}, 0, 0, {"/DN=a/", N, N, N, N}},
      {"a second without text keeps the first", {{kCDP, kUri}, {kCDP, "30 00"}}, 0, 0, {N, N, "/URI=ldap:x/", N, N}},
      {"a text with the decoder's complaint is dropped", {{kCDP, "30 0b 30 07 a0 05 a0 03 86 01 75 04 00"}}, 0, 0,
       {N, N, N, N, N}},
      {"keyUsage has no row", {{"55 1d 0f", "03 02 05 a0"}}, 0, 0, {N, N, N, N, N}},
      {"no extensions", {}, 0, 0, {N, N, N, N, N}},
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
    std::swap(crl->tbsCertList.crlExtensions, cert->tbsCertificate.extensions);
    if (c.kind != 1) std::swap(crl->tbsCertList.crlExtensions, cert->tbsCertificate.extensions);
    EXPECT_EQ(tc_retrieve_Extensions(c.kind == 1 ? static_cast<void*>(crl) : cert, c.kind), c.code);
    EXPECT_EQ(results(), c.texts);
    EXPECT_EQ(results(), std::vector<std::string>(5, N)) << "moving the texts empties the slots";
    drop_CertificateList(crl), drop_Certificate(cert), drop_Certificate(earlier);
  }
  EXPECT_EQ(tc_retrieve_Extensions(nullptr, 0), TC_INVALID_ARGUMENTS);
  free_Extension_Results(nullptr);
}

TEST(Extensions, DistributionPointOfACertificate) {
  const struct {
    const char* fault;
    std::vector<Pair> list;
    int32_t found;
    std::string text, slot;  // slot: row 2 after a retrieval and the call
  } cases[] = {
      {"found behind another extension", {{kSAN, kDnsA}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},
      {"one without text is passed over", {{kCDP, "30 00"}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},
      {"a failing one ends the search", {{kCDP, kBroken}, {kCDP, kUri}}, 0, "<untouched>", "/URI=ldap:x/"},
      {"none", {{kSAN, kDnsA}}, 0, "<untouched>", N},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
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
    const char* fault;
    tc_extension_handler handler;
    std::string oid, value;
    int32_t code;
    std::string text;
  } handlers[] = {{"names", tc_extract_SAN, kSAN, kDnsA, 0, "/DN=a/"},
                                  {"distribution point", tc_extract_CDP, kCDP, kUri, 0, "/URI=ldap:x/"},
                                  {"number", tc_extract_CLN, kCLN, "02 01 05", 0, "5"}};
  for (const auto& c : handlers) {
    SCOPED_TRACE(c.fault);
    Extension* e = extension(c.oid, c.value);
    tst::each_allocation_failing([&] {
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
