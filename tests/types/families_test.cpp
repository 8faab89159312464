// General names and distribution points, revocation lists, O/R addresses and
// PKCS#7 messages. Each fixture decodes, shows what is peculiar to its family,
// and encodes back byte for byte, or, where it holds sets out of DER order,
// to the sorted form kept beside it as X.sorted.der.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "qelcert.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

struct Fixture {
  const char* file;  // families/<file>.der
  const TypeDesc* type;
  std::function<void(void*)> check = {};  // of the record, or of the content
  const TypeDesc* content = nullptr;      // the type a ContentInfo carries
  int32_t refused = 0;                    // the code left where it must not decode
};

void run_fixtures(const std::vector<Fixture>& rows) {
  for (const Fixture& f : rows) {
    SCOPED_TRACE(f.file);
    const std::string path = std::string("families/") + f.file;
    const Bytes der = read_file(path + ".der"), sorted = read_file(path + ".sorted.der");
    ASSERT_FALSE(der.empty());
    Decoded d = decode(f.type, der, 0x30);
    if (f.refused != 0) {
      EXPECT_EQ(d.result, 0);
      EXPECT_EQ(d.err, f.refused);
    } else if (sorted.empty()) {
      EXPECT_EQ(round_trip(f.type, der), "");
    } else {
      int32_t err = 0;
      EXPECT_EQ(d.err, 0);
      EXPECT_EQ(hex(encode(f.type, d.record, 0x30, &err)), hex(sorted));
      EXPECT_EQ(err, 0);
      EXPECT_EQ(round_trip(f.type, sorted), "");
    }
    const vbl_blk* block = f.content ? static_cast<ContentInfo*>(d.record)->content : nullptr;
    if (block != nullptr) {
      const Bytes inner(block->bytes, block->bytes + block->length);
      EXPECT_EQ(round_trip(f.content, inner), "");
      Decoded c = decode(f.content, inner, 0x30);
      if (f.check) f.check(c.record);
      engine::drop(f.content, c.record);
    } else if (f.check) {
      EXPECT_EQ(f.content, nullptr);
      f.check(d.record);
    }
    engine::drop(f.type, d.record);
  }
}

// The tag octets of a list of choices, as hex text.
template <class List>
std::string tags(const List* list) {
  std::string out;
  for (int32_t i = 0; list != nullptr && i < held(*list); ++i)
    out += hex(&list->items[i]->tag, 1) + (i + 1 < held(*list) ? " " : "");
  return out;
}

template <class List>
int32_t count(const List* list) {
  return list != nullptr ? list->count : -1;
}

// ---------------------------------------------------------------------------

TEST(Families, GeneralNamesAndDistributionPoints) {
  const auto names = [](std::string want) {
    return on<GeneralNames>([want](GeneralNames& g) { EXPECT_EQ(tags(&g), want); });
  };
  const auto points = [](std::string want) {
    return on<CRLDistPointsSyntax>([want](CRLDistPointsSyntax& l) {
      std::string got;  // per point: the name's tag (or -), then r for reasons, i for cRLIssuer
      for (int32_t i = 0; i < held(l); ++i) {
        const DistributionPoint& p = *l.items[i];
        got += (p.distributionPoint ? hex(&p.distributionPoint->tag, 1) : "-") +
               (p.reasons ? "r" : "") + (p.cRLIssuer ? "i" : "") + " ";
      }
      EXPECT_EQ(got, want);
    });
  };
  run_fixtures({
      {"gn/san", &GeneralNames_desc, names("a0 81 82 a4 86 87 87 88")},
      {"gn/san_every_form", &GeneralNames_desc,
       on<GeneralNames>([](GeneralNames& g) {
         ASSERT_EQ(tags(&g), "a0 81 82 a3 a4 a5 a5 86 87 88");
         EXPECT_NE(static_cast<EDIPartyName*>(g.items[5]->value)->nameAssigner, nullptr);
         EXPECT_EQ(static_cast<EDIPartyName*>(g.items[6]->value)->nameAssigner, nullptr);
       })},
      {"gn/san_32", &GeneralNames_desc, names(repeat("82 ", 31) + "82")},
      {"gn/cdp", &CRLDistPointsSyntax_desc, points("a0 a1ri a0 ")},
      {"gn/cdp_partial", &CRLDistPointsSyntax_desc, points("- -r -i ")},
      {"gn/cdp_32", &CRLDistPointsSyntax_desc, points(repeat("a0 ", 32))},
  });
}

TEST(Families, RevocationLists) {
  // version present, nextUpdate's tag (0 when absent), entries and list
  // extensions (-1 for no list)
  const auto crl = [](bool v2, int next, int32_t revoked, int32_t extensions) {
    return on<CertificateList>([=](CertificateList& c) {
      const TBSCertList& t = c.tbsCertList;
      EXPECT_EQ(t.version != nullptr, v2);
      EXPECT_EQ(t.nextUpdate.value != nullptr ? t.nextUpdate.tag : 0, next);
      EXPECT_EQ(count(t.revokedCertificates), revoked);
      EXPECT_EQ(count(t.crlExtensions), extensions);
      if (revoked > 0 && extensions > 0) {  // the first two entries carry two extensions each
        EXPECT_EQ(count(t.revokedCertificates->items[0]->crlEntryExtensions), 2);
      }
    });
  };
  const TypeDesc* L = &CertificateList_desc;
  run_fixtures({
      {"crl/v2_utc", L, crl(true, 0x17, 3, 2)},
      {"crl/v2_generalized", L, crl(true, 0x18, 1, 2)},
      {"crl/v2_0_entries", L, crl(true, 0x17, -1, 2)},
      {"crl/v2_1_entry", L, crl(true, 0x17, 1, -1)},
      {"crl/v2_100_entries", L, crl(true, 0x17, 100, -1)},
      {"crl/v2_2048_entries", L, crl(true, 0x17, 2048, -1)},
      // The 2049th entry stays unread, where the signature algorithm should be.
      {"crl/v2_2049_entries", L, crl(true, 0x17, 2048, -1), nullptr, ASN_LEFTOVER},
      {"crl/v1_minimal", L, crl(false, 0, -1, -1)},
      {"crl/v1_no_next_update", L, crl(false, 0, 1, -1)},
      {"crl/empty_revoked", L, crl(false, 0x17, 0, -1)},
      {"crl/empty_extensions", L, crl(false, 0, 1, -1)},  // A0 00 is read and not written
  });
}

TEST(Families, ORAddresses) {
  // country and administration domain tags, personal names, units,
  // domain-defined and extension attributes
  const auto ora = [](std::string domains, int32_t persons, int32_t units, int32_t defined,
                      int32_t extensions) {
    return on<ORAddress>([=](ORAddress& a) {
      const BuiltInStandardAttributes& s = a.builtInStandardAttributes;
      std::string got = s.countryName ? hex(&s.countryName->tag, 1) : "-";
      got += s.administrationDomainName ? " " + hex(&s.administrationDomainName->tag, 1) : " -";
      EXPECT_EQ(got, domains);
      EXPECT_EQ(count(s.personalName), persons);
      EXPECT_EQ(count(s.organizationalUnitNames), units);
      EXPECT_EQ(count(a.builtInDomainDefinedAttributes), defined);
      EXPECT_EQ(count(a.extensionAttributes), extensions);
    });
  };
  const TypeDesc* A = &ORAddress_desc;
  run_fixtures({
      {"oraddress/every_attribute", A,
       on<ORAddress>([&](ORAddress& a) {
         ora("12 13", 2, 2, 1, 23)(&a);
         const BuiltInStandardAttributes& s = a.builtInStandardAttributes;
         EXPECT_EQ(s.privateDomainName->tag, 0x13);
         const PersonalNames& full = *s.personalName->items[1];  // wire order: the shorter first
         EXPECT_TRUE(full.givenName && full.initials && full.generationQualifier);
       })},
      {"oraddress/unsorted", A, ora("12 13", 2, 0, 1, 23)},
      {"oraddress/standard_only", A, ora("13 -", -1, -1, -1, -1)},
      {"oraddress/empty_standard", A, ora("- -", -1, -1, -1, -1)},
      {"oraddress/full", A, ora("12 13", 32, 32, 32, 256)},
  });
}

TEST(Families, MessagesAndRSAKey) {
  const auto signed_data = [](int32_t algs, int32_t certs, int32_t crls, int32_t signers,
                              std::string cert_tags = "") {
    return on<SignedData>([=](SignedData& s) {
      EXPECT_EQ(s.digestAlgorithms.count, algs);
      EXPECT_EQ(count(s.certificates), certs);
      EXPECT_EQ(count(s.crls), crls);
      EXPECT_EQ(s.signerInfos.count, signers);
      if (!cert_tags.empty()) {
        EXPECT_EQ(tags(s.certificates), cert_tags);
      }
    });
  };
  const TypeDesc* C = &ContentInfo_desc;
  run_fixtures({
      {"pkcs7/cms_signed", C, signed_data(1, 2, -1, 1), &SignedData_desc},
      {"pkcs7/smime_signed", C, signed_data(1, 1, -1, 1), &SignedData_desc},
      {"pkcs7/crl2pkcs7", C, signed_data(0, 1, 1, 0), &SignedData_desc},
      {"pkcs7/enveloped", C,
       on<EnvelopedData>([](EnvelopedData& e) {
         EXPECT_EQ(e.recipientInfos.count, 1);
         EXPECT_NE(e.encryptedContentInfo.encryptedContent, nullptr);
       }),
       &EnvelopedData_desc},
      {"pkcs7/digested", C, {}, &DigestedData_desc},
      {"pkcs7/encrypted", C, {}, &EncryptedData_desc},
      {"pkcs7/signed_and_enveloped", C,
       on<SignedAndEnvelopedData>([](SignedAndEnvelopedData& s) {
         EXPECT_EQ(tags(s.certificates), "30 a0");
         EXPECT_NE(s.signerInfos.items[0]->unauthenticatedAttributes, nullptr);
       }),
       &SignedAndEnvelopedData_desc},
      {"pkcs7/data", C},
      {"pkcs7/oid_only", C, on<ContentInfo>([](ContentInfo& c) { EXPECT_EQ(c.content, nullptr); })},
      {"pkcs7/signed_unsorted", &SignedData_desc, signed_data(2, 2, 2, 3, "a0 30")},
      {"pkcs7/signed_full", &SignedData_desc, signed_data(32, 32, 32, 32)},
      {"pkcs7/enveloped_full", &EnvelopedData_desc,
       on<EnvelopedData>([](EnvelopedData& e) {
         EXPECT_EQ(e.recipientInfos.count, 32);
         EXPECT_EQ(e.encryptedContentInfo.encryptedContent, nullptr);
       })},
      {"pkcs7/digest_info", &DigestInfo_desc},
      {"rsa_key", &RSAKey_desc,
       on<RSAKey>([](RSAKey& k) { EXPECT_EQ(get_int_val(&k.publicExponent), 65537); })},
  });
}

// ---------------------------------------------------------------------------
// Wrappers at the edge of their limit.

// The text a handler makes of an extension value, "(none)" for no text.
std::string text_of(tc_extension_handler handler, const Bytes& value, int32_t& result) {
  static constexpr uint8_t kCdp[3] = {0x55, 0x1D, 0x1F};
  Extension* extension = new_Extension();
  put_str_val(&extension->extnID, handler == tc_extract_SAN ? idce_17 : kCdp, 3);
  put_str_val(&extension->extnValue, value.data(), static_cast<uint32_t>(value.size()));
  char* text = nullptr;
  result = handler(&text, extension);
  const std::string out = text != nullptr ? text : "(none)";
  std::free(text);
  drop_Extension(extension);
  return out;
}

TEST(Families, TextsOfNamesAndPoints) {
  const struct {
    tc_extension_handler handler;
    Bytes value;
    const char* text;
    int32_t result;
  } cases[] = {
      {tc_extract_CDP, read_file("families/gn/cdp.der"), "/URI=http://crl.example.com/a.crl/", 0},
      {tc_extract_CDP, read_file("families/gn/cdp_partial.der"), "(none)", 0},
      {tc_extract_SAN, read_file("families/gn/san.der"), "(none)", 8},     // otherName first
      {tc_extract_SAN, read_file("families/gn/san_32.der"), "(none)", 8},  // text too long
      // A directoryName whose wrapper ends behind the list has no text form.
      {tc_extract_SAN, B("30 04 a4 04 30 02 31 00"), "(none)", 8},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    int32_t result = -1;
    EXPECT_EQ(text_of(c.handler, c.value, result), c.text);
    EXPECT_EQ(result, c.result);
  }
}

TEST(Families, WrappersAtTheEdgeOfTheirLimit) {
  const auto held_names = [](int32_t n) {
    return on<GeneralNames>([n](GeneralNames& g) { EXPECT_EQ(g.count, n); });
  };
  run_decode_cases({
      // A directoryName read against its wrapper's end, which lies behind the
      // list's end but inside what the list was given: the list overruns.
      {"dirname behind the list", &GeneralNames_desc, "30 04 a4 04 30 02 31 00", 0x30, 1,
       ASN_OVERRUN, kAtEnd, "", held_names(1)},
      {"dirname behind the input", &GeneralNames_desc, "30 04 a4 05 30 02 31 00", 0x30, 1,
       ASN_OVERRUN, 6, "", held_names(0)},
  });
}

}  // namespace
}  // namespace qel::tst
