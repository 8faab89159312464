// Extension texts: the three handlers over handcrafted values, the retrieval
// into the table's slots, and the ways out of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qelcert.h"

using namespace qel;

namespace {

using Bytes = std::string;

Bytes tlv(uint8_t tag, const Bytes& content) {
  Bytes out(1, static_cast<char>(tag));
  const size_t n = content.size();
  if (n < 0x80) out += static_cast<char>(n);
  else if (n < 0x100) out += Bytes("\x81") + static_cast<char>(n);
  else out += Bytes("\x82") + static_cast<char>(n >> 8) + static_cast<char>(n & 0xFF);
  return out + content;
}
Bytes seq(const Bytes& content) { return tlv(0x30, content); }

const Bytes kSAN("\x55\x1d\x11", 3), kIAN("\x55\x1d\x12", 3), kCDP("\x55\x1d\x1f", 3);
const Bytes kCLN("\x55\x1d\x14", 3), kKeyUsage("\x55\x1d\x0f", 3);
const Bytes kRootName = seq(tlv(0x31, seq(tlv(0x06, "\x55\x04\x06") + tlv(0x13, "US"))) +
                            tlv(0x31, seq(tlv(0x06, "\x55\x04\x03") + tlv(0x13, "Root"))));

void put(vbl_blk* block, const Bytes& bytes) {
  put_str_val(block, reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
}

Extension* make_extension(const Bytes& oid, const Bytes& value) {
  Extension* e = new_Extension();
  put(&e->extnID, oid);
  put(&e->extnValue, value);
  return e;
}

// Runs a handler on a fresh extension; the text, or "<null>".
std::string run(tc_extension_handler handler, const Bytes& oid, const Bytes& value, int32_t* code) {
  Extension* e = make_extension(oid, value);
  char* text = reinterpret_cast<char*>(&text);  // must be cleared by the handler
  *code = handler(&text, e);
  std::string out = text != nullptr ? text : "<null>";
  std::free(text);
  drop_Extension(e);
  return out;
}

struct HandlerCase {
  const char* fault;
  Bytes oid, value;
  int32_t code;
  std::string text;
};

void check(tc_extension_handler handler, const std::vector<HandlerCase>& cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    int32_t code = -1000;
    EXPECT_EQ(run(handler, c.oid, c.value, &code), c.text);
    EXPECT_EQ(code, c.code);
  }
  char* text = nullptr;
  Extension* e = make_extension(cases[0].oid, cases[0].value);
  EXPECT_EQ(handler(nullptr, e), TC_INVALID_ARGUMENTS);
  EXPECT_EQ(handler(&text, nullptr), TC_INVALID_ARGUMENTS);
  EXPECT_EQ(text, nullptr);
  drop_Extension(e);
}

TEST(Extensions, SubjectAltNameText) {
  const Bytes ea = tlv(0x81, "ann"), dns = tlv(0x82, "host"), uri = tlv(0x86, "file:x");
  const Bytes ip = tlv(0x87, Bytes("\x0a\x00\x00\x01", 4));
  const Bytes dir = tlv(0xA4, kRootName);
  const Bytes name294 = tlv(0x82, Bytes(294, 'x'));  // "/DN=" + 294 + "/" = 299 characters
  check(tc_extract_SAN, {
      {"every form with a text", kSAN, seq(ea + dns + uri + ip), 0, "/EA=ann/DN=host/URI=file:x/IP=10.0.0.1/"},
      {"issuerAltName", kIAN, seq(dns), 0, "/DN=host/"},
      {"longer OID with the same three bytes", kSAN + "\x05", seq(dns), 0, "/DN=host/"},
      {"empty list", kSAN, seq(""), 0, "//"},
      {"16-byte address: its first four bytes", kSAN, seq(tlv(0x87, Bytes("\xc0\xa8\x01\xfe") + Bytes(12, '\x07'))), 0,
       "/IP=192.168.1.254/"},
      {"zero byte ends the content", kSAN, seq(tlv(0x82, Bytes("ab\0cd", 5))), 0, "/DN=ab/"},
      {"list stopped by a tag of no alternative is used so far", kSAN, seq(dns + tlv(0x80, "x")), 0, "/DN=host/"},
      {"text of 299 characters fits", kSAN, seq(name294), 0, "/DN=" + Bytes(294, 'x') + "/"},
      {"text of 300 characters does not", kSAN, seq(tlv(0x82, Bytes(295, 'x'))), TC_INVALID_EXTENSION, "<null>"},
      {"overflow by a later name", kSAN, seq(name294 + dns), TC_INVALID_EXTENSION, "<null>"},
      {"directoryName beside a dNSName", kSAN, seq(dns + dir), TC_INVALID_EXTENSION, "<null>"},
      {"registeredID", kSAN, seq(tlv(0x88, "\x2a\x03")), TC_INVALID_EXTENSION, "<null>"},
      {"otherName", kSAN, seq(tlv(0xA0, tlv(0x06, "\x2a\x03") + tlv(0xA0, tlv(0x0C, "o")))), TC_INVALID_EXTENSION,
       "<null>"},
      {"address of three bytes", kSAN, seq(tlv(0x87, Bytes("\x0a\x00\x01", 3))), TC_INVALID_EXTENSION, "<null>"},
      {"empty address", kSAN, seq(tlv(0x87, "")), TC_INVALID_EXTENSION, "<null>"},
      {"value is no GeneralNames", kSAN, tlv(0x04, "x"), TC_MEMORY, "<null>"},
      {"value runs past its end", kSAN, Bytes("\x30\x05\x82\x01", 4), TC_MEMORY, "<null>"},
      {"empty value", kSAN, "", TC_MEMORY, "<null>"},
      {"cRLNumber", kCLN, tlv(0x02, "\x05"), TC_INVALID_ARGUMENTS, "<null>"},
      {"OID of two bytes", Bytes("\x55\x1d", 2), seq(dns), TC_INVALID_ARGUMENTS, "<null>"},
  });
}

TEST(Extensions, DistributionPointText) {
  auto point = [](const Bytes& name) { return seq(tlv(0xA0, name)); };
  const Bytes uri = tlv(0xA0, tlv(0x86, "ldap:x"));
  const Bytes second = point(tlv(0xA0, tlv(0x86, "http:second")));
  check(tc_extract_CDP, {
      {"URI", kCDP, seq(point(uri) + second), 0, "/URI=ldap:x/"},
      {"directory name", kCDP, seq(point(tlv(0xA0, tlv(0xA4, kRootName)))), 0, "/C=US/CN=Root/"},
      {"OID is not looked at", kSAN, seq(point(uri)), 0, "/URI=ldap:x/"},
      {"only the first name counts", kCDP, seq(point(tlv(0xA0, tlv(0x82, "dns") + tlv(0x86, "u")))), 0, "<null>"},
      {"only the first point counts", kCDP, seq(point(tlv(0xA1, seq(tlv(0x06, "\x55\x04\x03") + tlv(0x13, "x")))) + second),
       0, "<null>"},
      {"no distribution point", kCDP, seq(""), 0, "<null>"},
      {"point of reasons alone", kCDP, seq(seq(tlv(0x81, "\x05\xa0"))), 0, "<null>"},
      {"full name without names", kCDP, seq(point(tlv(0xA0, ""))), 0, "<null>"},
      {"value runs past its end", kCDP, Bytes("\x30\x05\x30\x03", 4), ASN_OVERRUN, "<null>"},
      {"bytes behind the last point: decoder's complaint", kCDP, seq(point(uri) + tlv(0x04, "")), ASN_LEFTOVER,
       "/URI=ldap:x/"},
  });
}

TEST(Extensions, CRLNumberText) {
  check(tc_extract_CLN, {
      {"number", kCLN, tlv(0x02, "\x05"), 0, "5"},
      {"two bytes", kCLN, tlv(0x02, Bytes("\x01\x00", 2)), 0, "256"},
      {"negative number as unsigned", kCLN, tlv(0x02, "\xff"), 0, "4294967295"},
      {"longer OID with the same three bytes", kCLN + "\x01", tlv(0x02, "\x07"), 0, "7"},
      {"not an INTEGER", kCLN, tlv(0x04, "\x05"), TC_UNKNOWN, "<null>"},
      {"INTEGER runs past its end", kCLN, Bytes("\x02\x02\x05", 3), TC_UNKNOWN, "<null>"},
      {"empty value", kCLN, "", TC_UNKNOWN, "<null>"},
      {"subjectAltName", kSAN, tlv(0x02, "\x05"), TC_INVALID_ARGUMENTS, "<null>"},
  });
}

// A certificate holding the given extensions and nothing else.
Certificate* certificate_with(const std::vector<Extension*>& extensions, bool list = true) {
  Certificate* cert = new_Certificate();
  if (!list) return cert;
  Extensions* l = cert->tbsCertificate.extensions = new_Extensions();
  for (Extension* e : extensions) l->items[l->count++] = e;
  return cert;
}

std::string show(const char* text) { return text ? text : "<null>"; }

std::vector<std::string> results() {
  Extension_Results* r = Get_Extension_Results();
  std::vector<std::string> out{show(r->subjectAltName), show(r->issuerAltName), show(r->crlDistPoint),
                               show(r->crlNumber), show(r->keyUsage)};
  free_Extension_Results(r);
  return out;
}

const std::string N = "<null>";

TEST(Extensions, RetrievalFillsTheSlots) {
  const Bytes dns_a = seq(tlv(0x82, "a")), dns_b = seq(tlv(0x82, "b")), dir = seq(tlv(0xA4, kRootName));
  const Bytes cdp = seq(seq(tlv(0xA0, tlv(0xA0, tlv(0x86, "ldap:x")))));
  const struct {
    const char* fault;
    std::vector<std::pair<Bytes, Bytes>> extensions;
    std::vector<std::string> texts;
  } cases[] = {
      {"one of each", {{kSAN, dns_a}, {kIAN, dns_b}, {kCDP, cdp}, {kCLN, tlv(0x02, "\x09")}},
       {"/DN=a/", "/DN=b/", "/URI=ldap:x/", "9", N}},
      {"the last of two wins", {{kSAN, dns_a}, {kSAN, dns_b}}, {"/DN=b/", N, N, N, N}},
      {"a failing second keeps the first", {{kSAN, dns_a}, {kSAN, dir}}, {"/DN=a/", N, N, N, N}},
      {"a second without a text keeps the first", {{kCDP, cdp}, {kCDP, seq("")}}, {N, N, "/URI=ldap:x/", N, N}},
      {"a text the decoder complained about is dropped", {{kCDP, seq(seq(tlv(0xA0, tlv(0xA0, tlv(0x86, "u")))) + Bytes("\x04\x00", 2))}},
       {N, N, N, N, N}},
      {"keyUsage has no row", {{kKeyUsage, Bytes("\x03\x02\x05\xa0", 4)}}, {N, N, N, N, N}},
      {"longer OID matches over three bytes", {{kSAN + "\x05", dns_a}}, {"/DN=a/", N, N, N, N}},
      {"OID of two bytes matches nothing", {{Bytes("\x55\x1d", 2), dns_a}}, {N, N, N, N, N}},
      {"empty list", {}, {N, N, N, N, N}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    // Texts of an earlier retrieval must not survive into this one.
    Certificate* earlier = certificate_with({make_extension(kIAN, dns_a), make_extension(kCLN, tlv(0x02, "\x01"))});
    ASSERT_EQ(tc_retrieve_Extensions(earlier, kExtensionsOfCertificate), 0);
    drop_Certificate(earlier);
    std::vector<Extension*> list;
    for (const auto& [oid, value] : c.extensions) list.push_back(make_extension(oid, value));
    Certificate* cert = certificate_with(list);
    EXPECT_EQ(tc_retrieve_Extensions(cert, kExtensionsOfCertificate), 0);
    EXPECT_EQ(results(), c.texts);
    EXPECT_EQ(results(), std::vector<std::string>(5, N)) << "the slots are emptied";
    drop_Certificate(cert);
  }
}

TEST(Extensions, RetrievalKinds) {
  Certificate* cert = certificate_with({make_extension(kSAN, seq(tlv(0x82, "a")))});
  Certificate* bare = certificate_with({}, false);
  CertificateList* crl = new_CertificateList();
  crl->tbsCertList.crlExtensions = new_Extensions();
  crl->tbsCertList.crlExtensions->items[0] = make_extension(kCLN, tlv(0x02, "\x2a"));
  crl->tbsCertList.crlExtensions->count = 1;
  const struct {
    const char* fault;
    const void* record;
    int32_t kind, code;
    std::vector<std::string> texts;  // after a retrieval from `cert` first
  } cases[] = {
      {"certificate", cert, 0, 0, {"/DN=a/", N, N, N, N}},
      {"revocation list", crl, 1, 0, {N, N, N, "42", N}},
      {"certificate without extensions", bare, 0, 0, {N, N, N, N, N}},
      {"kind 2 names no list", cert, 2, 0, {N, N, N, N, N}},
      {"negative kind names no list", cert, -1, 0, {N, N, N, N, N}},
      {"kind 3: slots untouched", cert, 3, TC_INVALID_ARGUMENTS, {"/DN=a/", N, N, N, N}},
      {"no record: slots untouched", nullptr, 0, TC_INVALID_ARGUMENTS, {"/DN=a/", N, N, N, N}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    ASSERT_EQ(tc_retrieve_Extensions(cert, 0), 0);
    EXPECT_EQ(tc_retrieve_Extensions(c.record, c.kind), c.code);
    EXPECT_EQ(results(), c.texts);
  }
  free_Extension_Results(nullptr);
  drop_CertificateList(crl);
  drop_Certificate(bare);
  drop_Certificate(cert);
}

TEST(Extensions, DistributionPointOfACertificate) {
  const Bytes cdp = seq(seq(tlv(0xA0, tlv(0xA0, tlv(0x86, "ldap:x")))));
  const Bytes bad = Bytes("\x30\x05\x30\x03", 4), no_text = seq("");
  const struct {
    const char* fault;
    std::vector<std::pair<Bytes, Bytes>> extensions;
    int32_t found;
    std::string text, slot;  // slot: row 2's text afterwards
  } cases[] = {
      {"first with a text", {{kSAN, seq(tlv(0x82, "a"))}, {kCDP, cdp}}, 1, "/URI=ldap:x/", N},
      {"one without a text is passed over", {{kCDP, no_text}, {kCDP, cdp}}, 1, "/URI=ldap:x/", N},
      {"a failing one ends the search", {{kCDP, bad}, {kCDP, cdp}}, 0, "<untouched>", "/URI=ldap:x/"},
      {"none", {{kSAN, seq(tlv(0x82, "a"))}}, 0, "<untouched>", N},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    std::vector<Extension*> list;
    for (const auto& [oid, value] : c.extensions) list.push_back(make_extension(oid, value));
    Certificate* cert = certificate_with(list);
    ASSERT_EQ(tc_retrieve_Extensions(cert, 0), 0);
    char untouched[] = "<untouched>";
    char* text = untouched;
    EXPECT_EQ(Get_CRLDistPt(cert, &text), c.found);
    EXPECT_EQ(text, c.text);
    if (text != untouched) std::free(text);
    EXPECT_EQ(show(tc_extension_table[2].result), c.slot);
    results();
    drop_Certificate(cert);
  }
  Certificate* bare = certificate_with({}, false);
  char* text = nullptr;
  EXPECT_EQ(Get_CRLDistPt(bare, &text), 0);
  EXPECT_EQ(Get_CRLDistPt(nullptr, &text), 0);
  drop_Certificate(bare);
}

// Fails the nth allocation made by the extension code.
long fail_at = 0;
void* failing_malloc(size_t size) { return --fail_at == 0 ? nullptr : std::malloc(size); }

TEST(Extensions, NoMemoryLeavesNothingHalfBuilt) {
  const struct {
    const char* fault;
    tc_extension_handler handler;
    Bytes oid, value;
  } handlers[] = {
      {"names", tc_extract_SAN, kSAN, seq(tlv(0x82, "a"))},
      {"distribution point", tc_extract_CDP, kCDP, seq(seq(tlv(0xA0, tlv(0xA0, tlv(0x86, "u")))))},
      {"number", tc_extract_CLN, kCLN, tlv(0x02, "\x05")},
  };
  extensions_malloc = failing_malloc;
  for (const auto& h : handlers) {
    SCOPED_TRACE(h.fault);
    fail_at = 1;
    int32_t code = 0;
    EXPECT_EQ(run(h.handler, h.oid, h.value, &code), N);
    EXPECT_EQ(code, TC_MEMORY);
  }
  // A record that can't be made leaves the texts in their slots for later.
  Certificate* cert = certificate_with({make_extension(kSAN, seq(tlv(0x82, "a")))});
  fail_at = 0;
  ASSERT_EQ(tc_retrieve_Extensions(cert, 0), 0);
  fail_at = 1;
  EXPECT_EQ(Get_Extension_Results(), nullptr);
  extensions_malloc = std::malloc;
  EXPECT_EQ(results(), (std::vector<std::string>{"/DN=a/", N, N, N, N}));
  drop_Certificate(cert);
}

}  // namespace
