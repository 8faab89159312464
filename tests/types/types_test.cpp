// The catalogue on real DER: certificates from the fixtures, zlint and the
// trust store; requests, general names and distribution points, revocation
// lists, O/R addresses and PKCS#7 messages. Each fixture decodes, shows what
// is peculiar to its family, and encodes back byte for byte, or, where it
// holds sets out of DER order, to the sorted form kept beside it as
// X.sorted.der.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"
#include "tool/decode.h"

namespace qel::tst {
namespace {

namespace fs = std::filesystem;

TEST(CertificateRoundTrip, EveryFixture) {
  const auto files = der_files(fs::path(QEL_TEST_DATA) / "certs");
  ASSERT_GE(files.size(), 40u);
  for (const auto& file : files)
    EXPECT_EQ(round_trip(&Certificate_desc, read_file(file)), "") << file;
}

// The zlint certificates all decode. A few hold SETs that are unsorted or
// hold duplicates: the first come back sorted, the second stop their set-of
// after the header, which the enclosing length check reports as short.
TEST(CertificateRoundTrip, ZlintCertificates) {
  const auto files = der_files(fs::path(QEL_SHARED_DIR) / "thirdparty/zlint/certs");
  if (files.empty()) return skip_unless_ci("zlint certificates absent");
  size_t same = 0;
  for (const auto& file : files) {
    int32_t pack_code = 0;
    const std::string why = round_trip(&Certificate_desc, read_file(file), &pack_code);
    same += why.empty();
    EXPECT_TRUE(why.empty() || why == "encoding differs" || pack_code == ASN_PACK_SHORT)
        << file << ": " << why;
  }
  EXPECT_GE(same, 1290u) << "of " << files.size();
}

// Every certificate of the PEM files in the folder `openssl version -d` names.
TEST(CertificateRoundTrip, TrustStore) {
  std::string dir = "/usr/lib/ssl";
  if (FILE* p = popen("openssl version -d 2>/dev/null", "r")) {
    char line[512] = {};
    const std::string s = std::fgets(line, sizeof line, p) ? line : "";
    const size_t a = s.find('"'), b = s.rfind('"');
    if (a < b) dir = s.substr(a + 1, b - a - 1);
    pclose(p);
  }
  const std::string begin = "-----BEGIN CERTIFICATE-----", end = "-----END CERTIFICATE-----";
  std::vector<Bytes> certs;
  if (fs::is_directory(dir + "/certs"))
    for (const auto& e : fs::directory_iterator(dir + "/certs")) {
      if (e.is_symlink() || !e.is_regular_file()) continue;  // links repeat the bundle
      const Bytes file = read_file(e.path().string());
      const std::string pem(file.begin(), file.end());
      for (size_t at = pem.find(begin), stop; at != std::string::npos &&
                                              (stop = pem.find(end, at)) != std::string::npos;
           at = pem.find(begin, stop)) {
        uint8_t* der = nullptr;
        uint32_t size = 0;
        const std::string body = pem.substr(at + begin.size(), stop - at - begin.size());
        if (tc_decode_base64(&der, &size, body.c_str()) == 0) certs.emplace_back(der, der + size);
        std::free(der);
      }
    }
  if (certs.empty()) return skip_unless_ci("no trust store at " + dir);
  for (const Bytes& der : certs) EXPECT_EQ(round_trip(&Certificate_desc, der), "") << der.size();
  std::printf("[          ] %zu certificates of the trust store\n", certs.size());
}

using Tree = std::unique_ptr<Certificate, void (*)(Certificate*)>;
Tree unpack(const Bytes& der) {
  return Tree(tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size())), drop_Certificate);
}

TEST(UnpackCert, RefusesWhatIsNoCertificateAndIgnoresWhatFollows) {
  const Bytes good = read_file("certs/v1_rsa.der");
  ASSERT_FALSE(good.empty());
  Bytes other_tag = good;
  other_tag[0] = 0x31;
  EXPECT_EQ(unpack(other_tag), nullptr);
  for (size_t n = 0; n < good.size(); ++n)  // every prefix, the empty one too
    ASSERT_EQ(unpack(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(n))), nullptr) << n;
  Bytes more = good;
  more.insert(more.end(), {0x00, 0xFF, 0x30});
  const Tree tree = unpack(more);
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(sizeof_Certificate(tree.get(), 1), static_cast<int32_t>(good.size()));
  // Released records are reused, so decoding again and again holds no more
  // memory.
  for (int i = 0; i < 100; ++i) unpack(good);
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 10000; ++i) unpack(good);
  EXPECT_LT(mallinfo2().uordblks - before, 4096u);
}

// Every allocation of a decode failing in turn: whatever comes back
// releases cleanly (ASan, LSan).
TEST(UnpackCert, EveryAllocationFailing) {
  const Bytes der = read_file("certs/ext_many_kinds.der");
  EXPECT_GT(each_allocation_failing([&] { unpack(der); }), 100);
}

// ---------------------------------------------------------------------------

struct Fixture {
  const char* file;  // under tests/data
  const TypeDesc* type;
  std::function<void(void*)> check = {};  // of the record, or of the content
  const TypeDesc* content = nullptr;      // the type a ContentInfo carries
  int32_t refused = 0;                    // the code left where it must not decode
};

void run_fixtures(const std::vector<Fixture>& rows) {
  for (const Fixture& f : rows) {
    SCOPED_TRACE(f.file);
    const std::string path = f.file;
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

// Whole certificates and requests with faults; the faults themselves are
// placed by the decode table.
TEST(Fixtures, CertificatesAndRequests) {
  const TypeDesc *const C = &Certificate_desc, *const R = &CertificationRequest_desc;
  // The request info's attributes and the values of each.
  const auto attributes = [](int32_t n) {
    return on<CertificationRequest>([n](CertificationRequest& r) {
      const Attributes& a = r.certificationRequestInfo.attributes;
      EXPECT_EQ(get_int_val(&r.certificationRequestInfo.version), 0);
      ASSERT_EQ(a.count, n);
      for (int32_t i = 0; i < n; ++i) EXPECT_EQ(a.items[i]->values.count, 1);
    });
  };
  run_fixtures({
      // Both identifiers are of one type: only the tree tells which one was read.
      {"certs/v2_issuer_uid_only", C, on<Certificate>([](Certificate& c) {
         EXPECT_NE(c.tbsCertificate.issuerUniqueID, nullptr);
         EXPECT_EQ(c.tbsCertificate.subjectUniqueID, nullptr);
       })},
      {"bad/ext_33", C, {}, nullptr, ASN_LEFTOVER},
      {"bad/critical_length_2", C, {}, nullptr, ASN_LEFTOVER},
      {"bad/validity_other_tag", C, {}, nullptr, ASN_LEFTOVER},
      {"bad/version_wrapper_boolean", C, {}, nullptr, ASN_LEFTOVER},
      {"bad/name_33_rdns", C, {}, nullptr, ASN_LEFTOVER},
      {"bad/rdn_33_values", C, {}, nullptr, ASN_LEFTOVER},
      {"names/req_empty_attrs", R, attributes(0)},  // A0 00 decodes and encodes again
      {"names/req_attrs", R, attributes(2)},
      {"names/req_no_attrs_element", R, {}, nullptr, ASN_FIELD_FAILED},
      // The second value of an attribute ends the list with one attribute;
      // the request then meets it where its signature algorithm should be.
      {"names/req_two_values", R, attributes(1), nullptr, ASN_LEFTOVER},
      {"names/req_33_attrs", R, attributes(32), nullptr, ASN_LEFTOVER},  // the 33rd unread
  });
}

TEST(Fixtures, GeneralNamesAndDistributionPoints) {
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
  const TypeDesc *const G = &GeneralNames_desc, *const P = &CRLDistPointsSyntax_desc;
  run_fixtures({
      {"families/gn/san", G, names("a0 81 82 a4 86 87 87 88")},
      {"families/gn/san_every_form", G, on<GeneralNames>([](GeneralNames& g) {
         ASSERT_EQ(tags(&g), "a0 81 82 a3 a4 a5 a5 86 87 88");
         EXPECT_NE(static_cast<EDIPartyName*>(g.items[5]->value)->nameAssigner, nullptr);
         EXPECT_EQ(static_cast<EDIPartyName*>(g.items[6]->value)->nameAssigner, nullptr);
       })},
      {"families/gn/san_32", G, names(repeat("82 ", 31) + "82")},
      {"families/gn/cdp", P, points("a0 a1ri a0 ")},
      {"families/gn/cdp_partial", P, points("- -r -i ")},
      {"families/gn/cdp_32", P, points(repeat("a0 ", 32))},
  });
}

TEST(Fixtures, RevocationLists) {
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
      {"families/crl/v2_utc", L, crl(true, 0x17, 3, 2)},
      {"families/crl/v2_generalized", L, crl(true, 0x18, 1, 2)},
      {"families/crl/v2_0_entries", L, crl(true, 0x17, -1, 2)},
      {"families/crl/v2_1_entry", L, crl(true, 0x17, 1, -1)},
      {"families/crl/v2_100_entries", L, crl(true, 0x17, 100, -1)},
      {"families/crl/v2_2048_entries", L, crl(true, 0x17, 2048, -1)},
      // The 2049th entry stays unread, where the signature algorithm should be.
      {"families/crl/v2_2049_entries", L, crl(true, 0x17, 2048, -1), nullptr, ASN_LEFTOVER},
      {"families/crl/v1_minimal", L, crl(false, 0, -1, -1)},
      {"families/crl/v1_no_next_update", L, crl(false, 0, 1, -1)},
      {"families/crl/empty_revoked", L, crl(false, 0x17, 0, -1)},
      {"families/crl/empty_extensions", L, crl(false, 0, 1, -1)},  // A0 00 is read and not written
  });
}

TEST(Fixtures, ORAddresses) {
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
      {"families/oraddress/every_attribute", A, on<ORAddress>([&](ORAddress& a) {
         ora("12 13", 2, 2, 1, 23)(&a);
         const BuiltInStandardAttributes& s = a.builtInStandardAttributes;
         EXPECT_EQ(s.privateDomainName->tag, 0x13);
         const PersonalNames& full = *s.personalName->items[1];  // wire order: the shorter first
         EXPECT_TRUE(full.givenName && full.initials && full.generationQualifier);
       })},
      {"families/oraddress/unsorted", A, ora("12 13", 2, 0, 1, 23)},
      {"families/oraddress/standard_only", A, ora("13 -", -1, -1, -1, -1)},
      {"families/oraddress/empty_standard", A, ora("- -", -1, -1, -1, -1)},
      {"families/oraddress/full", A, ora("12 13", 32, 32, 32, 256)},
  });
}

TEST(Fixtures, MessagesAndRSAKey) {
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
  const TypeDesc *const C = &ContentInfo_desc, *const S = &SignedData_desc;
  run_fixtures({
      {"families/pkcs7/cms_signed", C, signed_data(1, 2, -1, 1), S},
      {"families/pkcs7/smime_signed", C, signed_data(1, 1, -1, 1), S},
      {"families/pkcs7/crl2pkcs7", C, signed_data(0, 1, 1, 0), S},
      {"families/pkcs7/enveloped", C, on<EnvelopedData>([](EnvelopedData& e) {
         EXPECT_EQ(e.recipientInfos.count, 1);
         EXPECT_NE(e.encryptedContentInfo.encryptedContent, nullptr);
       }), &EnvelopedData_desc},
      {"families/pkcs7/digested", C, {}, &DigestedData_desc},
      {"families/pkcs7/encrypted", C, {}, &EncryptedData_desc},
      {"families/pkcs7/signed_and_enveloped", C,
       on<SignedAndEnvelopedData>([](SignedAndEnvelopedData& s) {
         EXPECT_EQ(tags(s.certificates), "30 a0");
         EXPECT_NE(s.signerInfos.items[0]->unauthenticatedAttributes, nullptr);
       }), &SignedAndEnvelopedData_desc},
      {"families/pkcs7/data", C},
      {"families/pkcs7/oid_only", C,
       on<ContentInfo>([](ContentInfo& c) { EXPECT_EQ(c.content, nullptr); })},
      {"families/pkcs7/signed_unsorted", S, signed_data(2, 2, 2, 3, "a0 30")},
      {"families/pkcs7/signed_full", S, signed_data(32, 32, 32, 32)},
      {"families/pkcs7/enveloped_full", &EnvelopedData_desc, on<EnvelopedData>([](EnvelopedData& e) {
         EXPECT_EQ(e.recipientInfos.count, 32);
         EXPECT_EQ(e.encryptedContentInfo.encryptedContent, nullptr);
       })},
      {"families/pkcs7/digest_info", &DigestInfo_desc},
      {"families/rsa_key", &RSAKey_desc,
       on<RSAKey>([](RSAKey& k) { EXPECT_EQ(get_int_val(&k.publicExponent), 65537); })},
  });
}

}  // namespace
}  // namespace qel::tst

namespace qel::tst {
namespace {

// Extension values and key parameters as another encoder writes them, the
// lists at their full capacity: each decodes and encodes back to its bytes.
TEST(Families, ExtensionValues) {
  const auto rows = table("extension_values.txt");
  EXPECT_GE(rows.size(), 14u);
  for (const auto& f : rows) {
    const auto type = std::find_if(type_registry, type_registry + type_registry_size(),
                                   [&](const TypeDesc* d) { return f[0] == d->name; });
    ASSERT_NE(type, type_registry + type_registry_size()) << f[0];
    EXPECT_EQ(round_trip(*type, B(f[1])), "") << f[0] << " " << f[1];
  }
}

}  // namespace
}  // namespace qel::tst
