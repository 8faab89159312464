// Extension texts: the handlers over handcrafted values, retrieval into the
// table's slots, and the ways out of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

using namespace qel;

namespace {

using Bytes = std::string;
const std::string N = "<null>";

Bytes tlv(uint8_t tag, const Bytes& c) {
  const size_t n = c.size();
  const Bytes len = n < 0x80 ? Bytes(1, char(n)) : n < 0x100 ? Bytes("\x81") + char(n) : Bytes("\x82") + char(n >> 8) + char(n);
  return char(tag) + len + c;
}
Bytes seq(const Bytes& c) { return tlv(0x30, c); }
Bytes point(const Bytes& name) { return seq(tlv(0xA0, tlv(0xA0, name))); }

const Bytes kSAN("\x55\x1d\x11"), kIAN("\x55\x1d\x12"), kCDP("\x55\x1d\x1f"), kCLN("\x55\x1d\x14");
const Bytes kRoot = seq(tlv(0x31, seq(tlv(0x06, "\x55\x04\x06") + tlv(0x13, "US"))) +
                        tlv(0x31, seq(tlv(0x06, "\x55\x04\x03") + tlv(0x13, "Root"))));
const Bytes kDnsA = seq(tlv(0x82, "a")), kUri = seq(point(tlv(0x86, "ldap:x")));

Extension* extension(const Bytes& oid, const Bytes& value) {
  Extension* e = new_Extension();
  put_str_val(&e->extnID, reinterpret_cast<const uint8_t*>(oid.data()), uint32_t(oid.size()));
  put_str_val(&e->extnValue, reinterpret_cast<const uint8_t*>(value.data()), uint32_t(value.size()));
  return e;
}

std::string take(char* text) {
  std::string out = text != nullptr ? text : N;
  std::free(text);
  return out;
}

struct HandlerCase {
  const char* fault;
  tc_extension_handler handler;
  Bytes oid, value;
  int32_t code;
  std::string text;
};

TEST(Extensions, HandlerTexts) {
  const Bytes name294 = tlv(0x82, Bytes(294, 'x'));  // "/DN=" + 294 + "/": 299 characters
  const HandlerCase cases[] = {
      {"each form with a text", tc_extract_SAN, kSAN,
       seq(tlv(0x81, "ann") + tlv(0x82, "host") + tlv(0x86, "file:x") + tlv(0x87, Bytes("\x0a\0\0\x01", 4))), 0,
       "/EA=ann/DN=host/URI=file:x/IP=10.0.0.1/"},
      {"longer OID with the same three bytes", tc_extract_SAN, kSAN + "\x05", kDnsA, 0, "/DN=a/"},
      {"empty list", tc_extract_SAN, kSAN, seq(""), 0, "//"},
      {"16-byte address gives its first four", tc_extract_SAN, kSAN, seq(tlv(0x87, "\xc0\xa8\x01\xfe" + Bytes(12, 7))), 0,
       "/IP=192.168.1.254/"},
      {"empty names", tc_extract_SAN, kSAN, seq(tlv(0x81, "") + tlv(0x86, "")), 0, "/EA=/URI=/"},
      {"zero byte ends the content", tc_extract_SAN, kIAN, seq(tlv(0x82, Bytes("ab\0cd", 5))), 0, "/DN=ab/"},
      {"list stopped early is used so far", tc_extract_SAN, kSAN, seq(tlv(0x82, "a") + tlv(0x80, "x")), 0, "/DN=a/"},
      {"299 characters fit", tc_extract_SAN, kSAN, seq(name294), 0, "/DN=" + Bytes(294, 'x') + "/"},
      {"300 characters don't", tc_extract_SAN, kSAN, seq(tlv(0x82, Bytes(295, 'x'))), TC_INVALID_EXTENSION, N},
      {"directoryName beside a dNSName", tc_extract_SAN, kSAN, seq(tlv(0x82, "a") + tlv(0xA4, kRoot)), TC_INVALID_EXTENSION, N},
      {"registeredID", tc_extract_SAN, kSAN, seq(tlv(0x88, "\x2a\x03")), TC_INVALID_EXTENSION, N},
      {"address of three bytes", tc_extract_SAN, kSAN, seq(tlv(0x87, Bytes("\x0a\0\x01", 3))), TC_INVALID_EXTENSION, N},
      {"value is no GeneralNames", tc_extract_SAN, kSAN, tlv(0x04, "x"), TC_MEMORY, N},
      {"cRLNumber", tc_extract_SAN, kCLN, kDnsA, TC_INVALID_ARGUMENTS, N},
      {"OID of two bytes", tc_extract_SAN, "\x55\x1d", kDnsA, TC_INVALID_ARGUMENTS, N},
      {"URI", tc_extract_CDP, kCDP, kUri + point(tlv(0x86, "second")), 0, "/URI=ldap:x/"},
      {"directory name", tc_extract_CDP, kCDP, seq(point(tlv(0xA4, kRoot))), 0, "/C=US/CN=Root/"},
      {"OID not looked at", tc_extract_CDP, kSAN, kUri, 0, "/URI=ldap:x/"},
      {"first name neither URI nor directory", tc_extract_CDP, kCDP, seq(point(tlv(0x82, "d") + tlv(0x86, "u"))), 0, N},
      {"relative name", tc_extract_CDP, kCDP, seq(seq(tlv(0xA0, tlv(0xA1, seq(tlv(0x06, "\x55\x04\x03") + tlv(0x13, "x")))))),
       0, N},
      {"no distribution point", tc_extract_CDP, kCDP, seq(""), 0, N},
      {"point of reasons alone", tc_extract_CDP, kCDP, seq(seq(tlv(0x81, "\x05\xa0"))), 0, N},
      {"full name without names", tc_extract_CDP, kCDP, seq(seq(tlv(0xA0, tlv(0xA0, "")))), 0, N},
      {"runs past its end", tc_extract_CDP, kCDP, "\x30\x05\x30\x03", ASN_OVERRUN, N},
      {"text with the decoder's complaint", tc_extract_CDP, kCDP, seq(point(tlv(0x86, "u")) + tlv(0x04, "")), ASN_LEFTOVER, "/URI=u/"},
      {"number", tc_extract_CLN, kCLN, tlv(0x02, Bytes("\x01\0", 2)), 0, "256"},
      {"negative number as unsigned", tc_extract_CLN, kCLN, tlv(0x02, "\xff"), 0, "4294967295"},
      {"not an INTEGER", tc_extract_CLN, kCLN, tlv(0x04, "\x05"), TC_UNKNOWN, N},
      {"subjectAltName", tc_extract_CLN, kSAN, tlv(0x02, "\x05"), TC_INVALID_ARGUMENTS, N},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Extension* e = extension(c.oid, c.value);
    char* text = reinterpret_cast<char*>(&text);  // each handler clears it first
    EXPECT_EQ(c.handler(&text, e), c.code);
    EXPECT_EQ(take(text), c.text);
    text = nullptr;
    EXPECT_EQ(c.handler(&text, nullptr), TC_INVALID_ARGUMENTS);
    EXPECT_EQ(c.handler(nullptr, e), TC_INVALID_ARGUMENTS);
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

Certificate* certificate(const std::vector<std::pair<Bytes, Bytes>>& list) {
  Certificate* cert = new_Certificate();
  Extensions* l = cert->tbsCertificate.extensions = new_Extensions();
  for (const auto& [oid, value] : list) l->items[l->count++] = extension(oid, value);
  return cert;
}

TEST(Extensions, RetrievalFillsAndEmptiesTheSlots) {
  const struct {
    const char* fault;
    std::vector<std::pair<Bytes, Bytes>> list;
    int32_t kind, code;
    std::vector<std::string> texts;  // after an earlier retrieval left an issuerAltName
  } cases[] = {
      {"one of each", {{kSAN, kDnsA}, {kIAN, seq(tlv(0x81, "b"))}, {kCDP, kUri}, {kCLN, tlv(0x02, "\x09")}}, 0, 0,
       {"/DN=a/", "/EA=b/", "/URI=ldap:x/", "9", N}},
      {"the last of two wins", {{kSAN, seq(tlv(0x82, "b"))}, {kSAN, kDnsA}}, 0, 0, {"/DN=a/", N, N, N, N}},
      {"a failing second keeps the first", {{kSAN, kDnsA}, {kSAN, seq(tlv(0x88, "\x01"))}}, 0, 0, {"/DN=a/", N, N, N, N}},
      {"a second without text keeps the first", {{kCDP, kUri}, {kCDP, seq("")}}, 0, 0, {N, N, "/URI=ldap:x/", N, N}},
      {"a text with the decoder's complaint is dropped", {{kCDP, seq(point(tlv(0x86, "u")) + tlv(0x04, ""))}}, 0, 0,
       {N, N, N, N, N}},
      {"keyUsage has no row", {{"\x55\x1d\x0f", "\x03\x02\x05\xa0"}}, 0, 0, {N, N, N, N, N}},
      {"no extensions", {}, 0, 0, {N, N, N, N, N}},
      {"revocation list", {{kCLN, tlv(0x02, "\x2a")}}, 1, 0, {N, N, N, "42", N}},
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
    std::vector<std::pair<Bytes, Bytes>> list;
    int32_t found;
    std::string text, slot;  // slot: row 2 after a retrieval and the call
  } cases[] = {
      {"found behind another extension", {{kSAN, kDnsA}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},
      {"one without text is passed over", {{kCDP, seq("")}, {kCDP, kUri}}, 1, "/URI=ldap:x/", N},
      {"a failing one ends the search", {{kCDP, "\x30\x05\x30\x03"}, {kCDP, kUri}}, 0, "<untouched>", "/URI=ldap:x/"},
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
  const HandlerCase handlers[] = {{"names", tc_extract_SAN, kSAN, kDnsA, 0, "/DN=a/"},
                                  {"distribution point", tc_extract_CDP, kCDP, kUri, 0, "/URI=ldap:x/"},
                                  {"number", tc_extract_CLN, kCLN, tlv(0x02, "\x05"), 0, "5"}};
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
