// Certificate types: round trips over fixture sets, and the decoding faults
// of the certificate types, each checked for record, result, stored code and
// position.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tool/decode.h"
#include "types/certificate.h"

namespace qel {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

// ---------------------------------------------------------------------------
// DER pieces

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

Bytes header(uint8_t tag, size_t length) {
  Bytes h{tag};
  if (length < 0x80) return h + Bytes{static_cast<uint8_t>(length)};
  Bytes n;
  for (; length > 0; length >>= 8) n.insert(n.begin(), static_cast<uint8_t>(length));
  return h + Bytes{static_cast<uint8_t>(0x80 | n.size())} + n;
}

Bytes tlv(uint8_t tag, const Bytes& content) { return header(tag, content.size()) + content; }

Bytes repeat(size_t n, const std::function<Bytes(size_t)>& item) {
  Bytes out;
  for (size_t i = 0; i < n; ++i) out = out + item(i);
  return out;
}

const Bytes kAlg = tlv(0x30, tlv(0x06, {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0B}) +
                                 Bytes{0x05, 0x00});
const Bytes kOid = tlv(0x06, {0x2B, 0x06, 0x01, 0x04, 0x01});
const Bytes kName = tlv(0x30, tlv(0x31, tlv(0x30, tlv(0x06, {0x55, 0x04, 0x03}) +
                                                      tlv(0x13, text("x")))));
const Bytes kUtc = tlv(0x17, text("240101000000Z"));
const Bytes kGen = tlv(0x18, text("20500101000000Z"));
const Bytes kValidity = tlv(0x30, kUtc + kUtc);
const Bytes kSpki = tlv(0x30, kAlg + tlv(0x03, {0x00, 0x01, 0x02}));
const Bytes kVersion3 = tlv(0xA0, tlv(0x02, {0x02}));
// TBSCertificate content from serialNumber to subjectPublicKeyInfo.
const Bytes kCore = tlv(0x02, {0x01}) + kAlg + kName + kValidity + kName + kSpki;
const Bytes kBoolean2 = {0x01, 0x02, 0x00, 0x00};

// An extension with its own OID and a one-octet value.
Bytes ext(size_t i) {
  return tlv(0x30, tlv(0x06, {0x2B, 0x06, 0x01, 0x04, 0x01, static_cast<uint8_t>(i)}) +
                       tlv(0x04, {static_cast<uint8_t>(i)}));
}
Bytes exts(size_t n) { return repeat(n, ext); }
const Bytes kBadCritical = tlv(0x30, kOid + kBoolean2 + tlv(0x04, {0x30, 0x00}));

Bytes read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::vector<fs::path> files_in(const fs::path& dir, const std::string& extension) {
  std::vector<fs::path> out;
  if (!fs::is_directory(dir)) return out;
  for (const auto& e : fs::directory_iterator(dir))
    if (e.is_regular_file() && e.path().extension() == extension) out.push_back(e.path());
  std::sort(out.begin(), out.end());
  return out;
}

// Every certificate of a PEM text, decoded from base64.
std::vector<Bytes> pem_certificates(const std::string& pem) {
  static const std::string kBegin = "-----BEGIN CERTIFICATE-----";
  static const std::string kEnd = "-----END CERTIFICATE-----";
  std::vector<Bytes> out;
  for (size_t at = pem.find(kBegin); at != std::string::npos; at = pem.find(kBegin, at)) {
    const size_t stop = pem.find(kEnd, at);
    if (stop == std::string::npos) break;
    Bytes der;
    uint32_t bits = 0;
    int count = 0;
    for (size_t i = at + kBegin.size(); i < stop; ++i) {
      const char c = pem[i];
      const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
      const char* p = c != '\0' ? std::strchr(alphabet, c) : nullptr;
      if (p == nullptr) continue;  // line breaks and padding
      bits = (bits << 6) | static_cast<uint32_t>(p - alphabet);
      if ((count += 6) >= 8) der.push_back(static_cast<uint8_t>(bits >> (count -= 8)));
    }
    out.push_back(der);
    at = stop;
  }
  return out;
}

// Decodes `der` and encodes the tree again into a buffer of the announced
// size. Fills `why` when the input does not come back byte for byte.
bool round_trips(const Bytes& der, std::string& why, int32_t* pack_code = nullptr) {
  const uint8_t* pos = der.data();
  int32_t err = 0;
  Certificate* tree = _unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
  if (tree == nullptr) return why = "does not decode", false;
  std::unique_ptr<Certificate, void (*)(Certificate*)> owner(tree, drop_Certificate);
  if (err != 0) return why = "decode stored " + std::to_string(err), false;
  if (pos != der.data() + der.size()) return why = "decode stopped early", false;
  const int32_t size = sizeof_Certificate(tree, 1);
  if (size != static_cast<int32_t>(der.size())) return why = "size " + std::to_string(size), false;
  Bytes out(der.size());
  uint8_t* at = out.data();
  int32_t code = 0;
  _pack_Certificate(&at, tree, 0x30, &code);
  if (pack_code != nullptr) *pack_code = code;
  if (code != 0) return why = "encode stored " + std::to_string(code), false;
  if (out != der) return why = "encoding differs", false;
  return true;
}

using Tree = std::unique_ptr<Certificate, void (*)(Certificate*)>;
Tree decode(const Bytes& der) { return Tree(tc_unpack_cert(der.data(), der.size()), drop_Certificate); }

// ---------------------------------------------------------------------------
// Round trips

TEST(CertificateFixtures, EveryFixtureRoundTrips) {
  const auto files = files_in(fs::path(QEL_TEST_DATA) / "certs", ".der");
  ASSERT_GE(files.size(), 40u);
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    std::string why;
    EXPECT_TRUE(round_trips(read_file(file), why)) << why;
  }
}

// What the tree of particular fixtures must hold.
TEST(CertificateFixtures, TreesHoldWhatTheWireHolds) {
  auto params = [](const AlgorithmIdentifier& a) {
    return a.parameters ? Bytes(a.parameters->bytes, a.parameters->bytes + a.parameters->length)
                        : Bytes{};
  };
  const struct {
    const char* file;
    std::function<void(const Certificate&)> check;
  } cases[] = {
      {"v1_rsa", [&](const Certificate& c) {
         EXPECT_EQ(c.tbsCertificate.version, nullptr);
         EXPECT_EQ(c.tbsCertificate.extensions, nullptr);
         EXPECT_EQ(params(c.signatureAlgorithm), (Bytes{0x05, 0x00}));
       }},
      {"v3_no_extensions", [](const Certificate& c) {
         EXPECT_EQ(get_int_val(c.tbsCertificate.version), 2);
         EXPECT_EQ(c.tbsCertificate.extensions, nullptr);
       }},
      {"v3_empty_extensions", [](const Certificate& c) {
         ASSERT_NE(c.tbsCertificate.extensions, nullptr);
         EXPECT_EQ(c.tbsCertificate.extensions->count, 0);
       }},
      {"v2_unique_ids", [](const Certificate& c) {
         ASSERT_NE(c.tbsCertificate.issuerUniqueID, nullptr);
         ASSERT_NE(c.tbsCertificate.subjectUniqueID, nullptr);
         EXPECT_EQ(c.tbsCertificate.issuerUniqueID->length, 16);
         EXPECT_EQ(c.tbsCertificate.subjectUniqueID->unused_bits, 7);
       }},
      {"v2_issuer_uid_only", [](const Certificate& c) {
         EXPECT_NE(c.tbsCertificate.issuerUniqueID, nullptr);
         EXPECT_EQ(c.tbsCertificate.subjectUniqueID, nullptr);
       }},
      {"serial_20", [](const Certificate& c) { EXPECT_EQ(c.tbsCertificate.serialNumber.length, 20); }},
      {"serial_negative", [](const Certificate& c) {
         EXPECT_EQ(get_int_val(&c.tbsCertificate.serialNumber), -129);
       }},
      {"ec_p384", [&](const Certificate& c) { EXPECT_EQ(c.signatureAlgorithm.parameters, nullptr); }},
      {"rsa_pss_params", [&](const Certificate& c) {
         const Bytes p = params(c.signatureAlgorithm);
         ASSERT_FALSE(p.empty());
         EXPECT_EQ(p[0], 0x30);
         EXPECT_EQ(params(c.tbsCertificate.signature), p);
       }},
      {"gen_not_after_2050", [](const Certificate& c) {
         EXPECT_EQ(c.tbsCertificate.validity.notBefore.tag, 0x17);
         EXPECT_EQ(c.tbsCertificate.validity.notAfter.tag, 0x18);
       }},
      {"subject_empty_san_critical", [](const Certificate& c) {
         EXPECT_EQ(c.tbsCertificate.subject.tag, 0x30);
         ASSERT_NE(c.tbsCertificate.subject.value, nullptr);
         EXPECT_EQ(static_cast<RDNSequence*>(c.tbsCertificate.subject.value)->count, 0);
       }},
      {"ext_one_bc_false", [](const Certificate& c) {
         const Extension* e = c.tbsCertificate.extensions->items[0];
         ASSERT_NE(e->critical, nullptr);
         EXPECT_EQ(e->critical->value, 0);
       }},
      {"ext_critical_true_false_absent", [](const Certificate& c) {
         Extension* const* items = c.tbsCertificate.extensions->items;
         EXPECT_EQ(items[0]->critical->value, 1);
         EXPECT_EQ(items[1]->critical->value, 0);
         EXPECT_EQ(items[2]->critical, nullptr);
       }},
      {"ext_32", [](const Certificate& c) { EXPECT_EQ(c.tbsCertificate.extensions->count, 32); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const Tree tree = decode(read_file(fs::path(QEL_TEST_DATA) / "certs" / (std::string(c.file) + ".der")));
    ASSERT_NE(tree, nullptr);
    c.check(*tree);
  }
}

// The zlint certificates all decode. A few hold SETs that are unsorted or
// hold duplicates; those can't come back byte for byte.
TEST(CertificateCorpora, ZlintCertificatesDecodeAndMostRoundTrip) {
  const auto files = files_in(fs::path(QEL_SHARED_DIR) / "thirdparty/zlint/certs", ".der");
  if (files.empty()) GTEST_SKIP() << "zlint certificates absent";
  size_t same = 0;
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    const Bytes der = read_file(file);
    EXPECT_NE(decode(der), nullptr);
    std::string why;
    int32_t pack_code = 0;
    if (round_trips(der, why, &pack_code)) {
      ++same;
    } else {
      // Unsorted SETs come back sorted; a duplicate stops its set-of after the
      // header, which the enclosing length check then reports as short.
      EXPECT_TRUE(why == "encoding differs" || pack_code == ASN_PACK_SHORT) << why;
    }
  }
  EXPECT_GE(same, 1290u) << "of " << files.size();
  std::printf("[          ] %zu of %zu zlint certificates round trip\n", same, files.size());
}

std::string trust_store_dir() {
  std::string dir = "/usr/lib/ssl";
  if (FILE* p = popen("openssl version -d 2>/dev/null", "r")) {
    char line[512] = {};
    if (std::fgets(line, sizeof line, p) != nullptr) {
      const std::string s(line);
      const size_t a = s.find('"'), b = s.rfind('"');
      if (a != std::string::npos && b > a) dir = s.substr(a + 1, b - a - 1);
    }
    pclose(p);
  }
  return dir + "/certs";
}

TEST(CertificateCorpora, TrustStoreRoundTrips) {
  std::set<Bytes> certs;
  const fs::path dir = trust_store_dir();
  if (fs::is_directory(dir)) {
    for (const auto& e : fs::directory_iterator(dir)) {
      if (!fs::is_regular_file(e.path())) continue;
      std::ifstream in(e.path());
      const std::string pem((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      for (auto& der : pem_certificates(pem)) certs.insert(std::move(der));
    }
  }
  if (certs.empty()) GTEST_SKIP() << "no trust store at " << dir;
  for (const Bytes& der : certs) {
    std::string why;
    EXPECT_TRUE(round_trips(der, why)) << why << " (certificate of " << der.size() << " octets)";
  }
  std::printf("[          ] %zu certificates of the trust store\n", certs.size());
}

// ---------------------------------------------------------------------------
// tc_unpack_cert

TEST(UnpackCert, RefusesWhatIsNoCertificate) {
  const Bytes good = read_file(fs::path(QEL_TEST_DATA) / "certs" / "v1_rsa.der");
  ASSERT_FALSE(good.empty());
  const uint8_t one = 0x30;
  EXPECT_EQ(decode(Bytes{}), nullptr);
  EXPECT_EQ(tc_unpack_cert(&one, 0), nullptr);
  EXPECT_EQ(tc_unpack_cert(&one, 1), nullptr);
  Bytes other_tag = good;
  other_tag[0] = 0x31;
  EXPECT_EQ(decode(other_tag), nullptr);
  for (size_t n = 0; n < good.size(); ++n) {
    const Bytes prefix(good.begin(), good.begin() + static_cast<ptrdiff_t>(n));
    ASSERT_EQ(decode(prefix), nullptr) << "prefix of " << n << " octets";
  }
}

TEST(UnpackCert, IgnoresBytesBehindTheCertificate) {
  const Bytes good = read_file(fs::path(QEL_TEST_DATA) / "certs" / "ext_many_kinds.der");
  const Tree tree = decode(good + Bytes{0x00, 0xFF, 0x30});
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(sizeof_Certificate(tree.get(), 1), static_cast<int32_t>(good.size()));
}

// Released records are reused, so decoding the same certificate again and
// again holds no more memory.
TEST(UnpackCert, RepeatedDecodingHoldsNoMoreMemory) {
  const Bytes der = read_file(fs::path(QEL_TEST_DATA) / "certs" / "v1_rsa.der");
  const auto cycle = [&] { drop_Certificate(tc_unpack_cert(der.data(), der.size())); };
  for (int i = 0; i < 100; ++i) cycle();
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 10000; ++i) cycle();
  EXPECT_LT(mallinfo2().uordblks - before, 4096u);
}

// ---------------------------------------------------------------------------
// Decoding faults

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

// Decodes each case into a fresh record with `uip` and checks the result,
// the code left in the word, the position and the record.
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

size_t header_size(size_t content) { return header(0x30, content).size(); }

TEST(CertificateFaults, TBSCertificate) {
  const Bytes list33 = tlv(0x30, exts(33));
  const Bytes v3 = kVersion3 + kCore;
  const Bytes no_spki = tlv(0x02, {0x01}) + kAlg + kName + kValidity + kName;
  const Bytes boolean_wrapper = tlv(0xA0, {0x01, 0x01, 0xFF}) + kCore;
  const Bytes tail_element = v3 + Bytes{0xA3, 0x02, 0x30, 0x00, 0x05, 0x00};
  run_cases<TBSCertificate>(
      {
          {"no version wrapper", tlv(0x30, kCore), 1, 0, kAtEnd, [](TBSCertificate& t) {
             EXPECT_EQ(t.version, nullptr);
             EXPECT_EQ(t.issuerUniqueID, nullptr);
             EXPECT_EQ(t.subjectUniqueID, nullptr);
             EXPECT_EQ(t.extensions, nullptr);
           }},
          {"version wrapper of length 0", tlv(0x30, Bytes{0xA0, 0x00} + kCore), 1, 0, kAtEnd,
           [](TBSCertificate& t) { EXPECT_EQ(t.version, nullptr); }},
          // Decoding goes on behind the wrapper's header, where every field fails.
          {"version wrapper holding a BOOLEAN", tlv(0x30, boolean_wrapper), 0, ASN_LEFTOVER,
           header_size(boolean_wrapper.size()) + 2,
           [](TBSCertificate& t) { EXPECT_EQ(t.version, nullptr); }},
          {"version INTEGER running past its wrapper",
           tlv(0x30, Bytes{0xA0, 0x02} + tlv(0x02, {0x02}) + kCore), 1, ASN_WRAPPER_END, kAtEnd,
           [](TBSCertificate& t) { EXPECT_EQ(get_int_val(t.version), 2); }},
          {"extensions wrapper of length 0", tlv(0x30, v3 + Bytes{0xA3, 0x00}), 1, 0, kAtEnd,
           [](TBSCertificate& t) { EXPECT_EQ(t.extensions, nullptr); }},
          {"empty extensions list", tlv(0x30, v3 + Bytes{0xA3, 0x02, 0x30, 0x00}), 1, 0, kAtEnd,
           [](TBSCertificate& t) {
             ASSERT_NE(t.extensions, nullptr);
             EXPECT_EQ(t.extensions->count, 0);
           }},
          {"33rd extension", tlv(0x30, v3 + tlv(0xA3, list33)), 1, ASN_LEFTOVER,
           tlv(0x30, v3 + tlv(0xA3, list33)).size() - ext(32).size(),
           [](TBSCertificate& t) { EXPECT_EQ(t.extensions->count, 32); }},
          // The list is read against the sequence's end, not the wrapper's.
          {"extensions running past their wrapper",
           tlv(0x30, v3 + Bytes{0xA3, 0x02} + tlv(0x30, ext(0))), 1, ASN_WRAPPER_END, kAtEnd,
           [](TBSCertificate& t) { EXPECT_EQ(t.extensions->count, 1); }},
          {"unique identifiers", tlv(0x30, kCore + tlv(0x81, {0x00, 0xAA}) + tlv(0x82, {0x04, 0xF0})),
           1, 0, kAtEnd, [](TBSCertificate& t) {
             ASSERT_NE(t.issuerUniqueID, nullptr);
             ASSERT_NE(t.subjectUniqueID, nullptr);
             EXPECT_EQ(t.issuerUniqueID->bytes[0], 0xAA);
             EXPECT_EQ(t.subjectUniqueID->unused_bits, 4);
           }},
          {"element behind the extensions", tlv(0x30, tail_element), 1, ASN_LEFTOVER,
           tlv(0x30, tail_element).size() - 2},
          {"length running past the limit", Bytes{0x30, 0x82, 0x10, 0x00} + kCore, 0, ASN_OVERRUN,
           kAtEnd},
          {"header tag other than SEQUENCE", tlv(0x31, kCore), 0, 0, 0},
          // The end test before issuerUniqueID returns before the close.
          {"subjectPublicKeyInfo missing", tlv(0x30, kVersion3 + no_spki), 0, 0, kAtEnd},
      },
      uip_TBSCertificate, dip_TBSCertificate, 0x30);
}

TEST(CertificateFaults, Certificate) {
  const Bytes tail = kAlg + tlv(0x03, {0x00, 0x01});
  const Bytes tbs33 = tlv(0x30, kVersion3 + kCore + tlv(0xA3, tlv(0x30, exts(33))));
  const Bytes tbs_bad = tlv(0x30, kVersion3 + kCore + tlv(0xA3, tlv(0x30, kBadCritical)));
  const size_t critical_at = tbs_bad.size() - kBoolean2.size() - 4;
  run_cases<Certificate>(
      {
          {"well formed", tlv(0x30, tlv(0x30, kVersion3 + kCore) + tail), 1, 0, kAtEnd},
          // The 33rd extension is read as signatureAlgorithm, and signatureValue
          // meets the real signatureAlgorithm.
          {"33rd extension", tlv(0x30, tbs33 + tail), 0, ASN_LEFTOVER,
           header_size(tbs33.size() + tail.size()) + tbs33.size()},
          // Extension fails on the BOOLEAN's tag, and so does everything behind it.
          {"critical of length 2", tlv(0x30, tbs_bad + tail), 0, ASN_LEFTOVER,
           header_size(tbs_bad.size() + tail.size()) + critical_at},
      },
      uip_Certificate, dip_Certificate, 0x30);
}

TEST(CertificateFaults, Validity) {
  run_cases<Validity>(
      {
          {"UTCTime then GeneralizedTime", tlv(0x30, kUtc + kGen), 1, 0, kAtEnd, [](Validity& v) {
             EXPECT_EQ(v.notBefore.tag, 0x17);
             EXPECT_EQ(v.notAfter.tag, 0x18);
           }},
          // Neither date moves the position, so notAfter meets the same tag.
          {"notBefore of another tag", tlv(0x30, tlv(0x04, text("240101000000Z")) + kUtc), 0,
           ASN_LEFTOVER, 2, [](Validity& v) {
             EXPECT_EQ(v.notBefore.tag, 0);
             EXPECT_EQ(v.notAfter.tag, 0);
             EXPECT_EQ(v.notBefore.value, nullptr);
           }},
          {"notAfter missing", tlv(0x30, kUtc), 0, ASN_FIELD_FAILED, kAtEnd},
      },
      uip_Validity, dip_Validity, 0x30);

  const uint8_t utc = 0x17;
  const uint8_t* pos = &utc;
  int32_t err = 0;
  EXPECT_EQ(_unpack_CertificateValidityDate(&pos, &utc, 0xFC, &err), nullptr);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(pos, &utc);
}

TEST(CertificateFaults, AlgorithmIdentifier) {
  auto parameters_are = [](Bytes want) {
    return [want](AlgorithmIdentifier& a) {
      ASSERT_NE(a.parameters, nullptr);
      EXPECT_EQ(Bytes(a.parameters->bytes, a.parameters->bytes + a.parameters->length), want);
    };
  };
  const Bytes seq_params = tlv(0x30, {0x02, 0x01, 0x07});
  run_cases<AlgorithmIdentifier>(
      {
          {"OID alone", tlv(0x30, kOid), 1, 0, kAtEnd,
           [](AlgorithmIdentifier& a) { EXPECT_EQ(a.parameters, nullptr); }},
          {"NULL parameters", tlv(0x30, kOid + Bytes{0x05, 0x00}), 1, 0, kAtEnd,
           parameters_are({0x05, 0x00})},
          {"SEQUENCE parameters", tlv(0x30, kOid + seq_params), 1, 0, kAtEnd,
           parameters_are(seq_params)},
          {"two parameter elements", tlv(0x30, kOid + Bytes{0x05, 0x00, 0x05, 0x00}), 1,
           ASN_LEFTOVER, 2 + kOid.size() + 2, parameters_are({0x05, 0x00})},
          {"parameters running past the sequence", tlv(0x30, kOid + Bytes{0x30, 0x05, 0x01}), 1,
           ASN_OVERRUN, kAtEnd, [](AlgorithmIdentifier& a) { EXPECT_EQ(a.parameters, nullptr); }},
          {"algorithm missing", tlv(0x30, {0x05, 0x00}), 0, ASN_FIELD_FAILED, kAtEnd},
      },
      uip_AlgorithmIdentifier, dip_AlgorithmIdentifier, 0x30);
}

TEST(CertificateFaults, Extension) {
  auto critical_is = [](int value) {
    return [value](Extension& e) {
      if (value < 0) {
        EXPECT_EQ(e.critical, nullptr);
        return;
      }
      ASSERT_NE(e.critical, nullptr);
      EXPECT_EQ(e.critical->value, value);
    };
  };
  const Bytes value = tlv(0x04, {0x30, 0x00});
  run_cases<Extension>(
      {
          {"critical absent", tlv(0x30, kOid + value), 1, 0, kAtEnd, critical_is(-1)},
          {"critical FALSE", tlv(0x30, kOid + Bytes{0x01, 0x01, 0x00} + value), 1, 0, kAtEnd,
           critical_is(0)},
          {"critical TRUE", tlv(0x30, kOid + Bytes{0x01, 0x01, 0xFF} + value), 1, 0, kAtEnd,
           critical_is(1)},
          {"critical of length 2", kBadCritical, 0, ASN_LEFTOVER, 2 + kOid.size(), critical_is(-1)},
          {"critical of length 0", tlv(0x30, kOid + Bytes{0x01, 0x00} + value), 0, ASN_LEFTOVER,
           2 + kOid.size(), critical_is(-1)},
          {"extnValue missing", tlv(0x30, kOid + Bytes{0x01, 0x01, 0xFF}), 0, ASN_FIELD_FAILED,
           kAtEnd},
      },
      uip_Extension, dip_Extension, 0x30);
}

TEST(CertificateFaults, Extensions) {
  const Bytes list33 = tlv(0x30, exts(33));
  auto count_is = [](int32_t n) { return [n](Extensions& e) { EXPECT_EQ(e.count, n); }; };
  run_cases<Extensions>(
      {
          {"32 extensions", tlv(0x30, exts(32)), 1, 0, kAtEnd, count_is(32)},
          {"33rd extension left unread", list33, 1, ASN_LEFTOVER, list33.size() - ext(32).size(),
           count_is(32)},
          {"third extension failing", tlv(0x30, exts(2) + kBadCritical), 1, ASN_LEFTOVER,
           header_size(exts(2).size() + kBadCritical.size()) + exts(2).size() + 2 + kOid.size(),
           count_is(2)},
          {"length running past the limit", Bytes{0x30, 0x7F} + ext(0), 0, ASN_OVERRUN, kAtEnd,
           count_is(-1)},
      },
      uip_Extensions, dip_Extensions, 0x30);
}

// Whole certificates of tests/data/bad, made by make_certs.py.
TEST(CertificateFaults, FaultyCertificateFiles) {
  const struct {
    const char* file;
    int32_t code;
    std::function<void(const Bytes&, Certificate&)> check;  // null: no tree expected
  } cases[] = {
      {"ext_33", ASN_LEFTOVER, nullptr},
      {"critical_length_2", ASN_LEFTOVER, nullptr},
      {"validity_other_tag", ASN_LEFTOVER, nullptr},
      {"version_wrapper_boolean", ASN_LEFTOVER, nullptr},
      {"name_33_rdns", ASN_LEFTOVER, nullptr},
      {"rdn_33_values", ASN_LEFTOVER, nullptr},
      // Wrappers of length 0 are consumed and not written again.
      {"version_wrapper_empty", 0, [](const Bytes& in, Certificate& c) {
         EXPECT_EQ(c.tbsCertificate.version, nullptr);
         EXPECT_EQ(sizeof_Certificate(&c, 1), static_cast<int32_t>(in.size()) - 2);
       }},
      {"extensions_wrapper_empty", 0, [](const Bytes& in, Certificate& c) {
         EXPECT_EQ(c.tbsCertificate.extensions, nullptr);
         EXPECT_EQ(sizeof_Certificate(&c, 1), static_cast<int32_t>(in.size()) - 2);
       }},
      // An RDN that came unsorted is written sorted.
      {"rdn_unsorted", 0, [](const Bytes& in, Certificate& c) {
         Bytes out(in.size());
         uint8_t* at = out.data();
         int32_t err = 0;
         _pack_Certificate(&at, &c, 0x30, &err);
         EXPECT_EQ(err, 0);
         EXPECT_EQ(at, out.data() + out.size());
         EXPECT_NE(out, in);
         const Tree again = decode(out);
         ASSERT_NE(again, nullptr);
         const auto* rdns = static_cast<RDNSequence*>(again->tbsCertificate.subject.value);
         EXPECT_EQ(rdns->items[0]->items[0]->attributeType.bytes[2], 0x0A);  // O's shorter element first
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const Bytes in = read_file(fs::path(QEL_TEST_DATA) / "bad" / (std::string(c.file) + ".der"));
    ASSERT_FALSE(in.empty());
    const uint8_t* pos = in.data();
    int32_t err = 0;
    const Tree tree(_unpack_Certificate(&pos, in.data() + in.size(), 0x30, &err), drop_Certificate);
    EXPECT_EQ(err, c.code);
    EXPECT_EQ(tree != nullptr, c.check != nullptr);
    if (tree != nullptr && c.check) c.check(in, *tree);
  }
}

TEST(CertificateEncoding, RefusesWhatItCannotWrite) {
  uint8_t out[16] = {};
  uint8_t* at = out;
  int32_t err = 0;
  Extensions full{};
  full.count = 33;
  _pack_Extensions(&at, &full, 0x30, &err);
  EXPECT_EQ(err, ASN_SEQOF_FULL);
  EXPECT_EQ(at, out);

  // An unknown alternative writes nothing: -50, then the length check's -1.
  CertificateValidityDate date{0x04, nullptr};
  err = 0;
  _pack_CertificateValidityDate(&at, &date, 0xFC, &err);
  EXPECT_EQ(err, ASN_PACK_SHORT);
  EXPECT_EQ(at, out);
}

}  // namespace
}  // namespace qel
