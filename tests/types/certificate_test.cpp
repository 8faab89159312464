// Certificate types: round trips over fixtures and corpora, tc_unpack_cert,
// and the decoding faults of the certificate types, each checked for record,
// result, stored code and position.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
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

// Under CI (QEL_CI set) missing test data is a failure, elsewhere a skip.
void skip_unless_ci(const std::string& why) {
  if (std::getenv("QEL_CI") != nullptr) FAIL() << why;
  GTEST_SKIP() << why;
}

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
  EXPECT_EQ(unpack(B("30")), nullptr);
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
}

// Every allocation of a decode failing in turn: whatever comes back
// releases cleanly (ASan, LSan).
TEST(UnpackCert, EveryAllocationFailing) {
  const Bytes der = read_file("certs/ext_many_kinds.der");
  EXPECT_GT(each_allocation_failing([&] { unpack(der); }), 100);
}

// Released records are reused, so decoding the same certificate again and
// again holds no more memory.
TEST(UnpackCert, RepeatedDecodingHoldsNoMoreMemory) {
  const Bytes der = read_file("certs/v1_rsa.der");
  const auto cycle = [&] { unpack(der); };
  for (int i = 0; i < 100; ++i) cycle();
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 10000; ++i) cycle();
  EXPECT_LT(mallinfo2().uordblks - before, 4096u);
}

// DER pieces.
const std::string kAlg = "30 0d 06 09 2a 86 48 86 f7 0d 01 01 0b 05 00";
const std::string kOid = "06 05 2b 06 01 04 01";
const std::string kName = "30 0c 31 0a 30 08 06 03 55 04 03 13 01 78";
const std::string kUtc = "17 0d 32 34 30 31 30 31 30 30 30 30 30 30 5a";       // 240101000000Z
// TBSCertificate content from serialNumber to subjectPublicKeyInfo.
const std::string kCore =
    cat("02 01 01", kAlg, kName, tlv("30", kUtc, kUtc), kName, tlv("30", kAlg, "03 03 00 01 02"));

// The length of a SEQUENCE header around `content`.
size_t hdr(const std::string& content) { return len(tlv("30", content)) - len(content); }

TEST(CertificateFaults, DecodeTable) {
  const TypeDesc *const kTbs = &TBSCertificate_desc,
                 *const kVal = &Validity_desc, *const kExt = &Extension_desc;
  const auto tbs = [](auto f) { return on<TBSCertificate>(f); };
  const auto no_critical = on<Extension>([](Extension& e) { EXPECT_EQ(e.critical, nullptr); });
  const std::string boolean_wrapper = cat("a0 03 01 01 ff", kCore);
  run_decode_cases({
      // Decoding goes on behind the wrapper's header, where every field fails.
      {"version wrapper holding a BOOLEAN", kTbs, tlv("30", boolean_wrapper), 0x30, 0,
       ASN_LEFTOVER, hdr(boolean_wrapper) + 2, "",
       tbs([](TBSCertificate& t) { EXPECT_EQ(t.version, nullptr); })},
      {"critical of length 2", kExt, tlv("30", kOid, "01 02 00 00 04 02 30 00"), 0x30, 0,
       ASN_LEFTOVER, 2 + len(kOid), "", no_critical},
      {"critical of length 0", kExt, tlv("30", kOid, "01 00 04 02 30 00"), 0x30, 0, ASN_LEFTOVER,
       2 + len(kOid), "", no_critical},
      // Neither date moves the position, so notAfter meets the same tag.
      {"notBefore of another tag", kVal, tlv("30", "04 01 00", kUtc), 0x30, 0, ASN_LEFTOVER, 2, "",
       on<Validity>([](Validity& v) {
         EXPECT_EQ(v.notBefore.tag, 0);
         EXPECT_EQ(v.notBefore.value, nullptr);
         EXPECT_EQ(v.notAfter.tag, 0);
       })},
  });
}

// Fixtures and whole faulty certificates of tests/data, made by make_certs.py;
// the faults themselves are placed by the decode table above.
TEST(CertificateFiles, TreesHoldWhatTheWireHolds) {
  // Both identifiers are of one type: only the tree tells which one was read.
  const Decoded uid = decode(&Certificate_desc, read_file("certs/v2_issuer_uid_only.der"), 0x30);
  const TBSCertificate& t = static_cast<Certificate*>(uid.record)->tbsCertificate;
  EXPECT_NE(t.issuerUniqueID, nullptr);
  EXPECT_EQ(t.subjectUniqueID, nullptr);
  engine::drop(&Certificate_desc, uid.record);
  for (const char* file : {"ext_33", "critical_length_2", "validity_other_tag",
                           "version_wrapper_boolean", "name_33_rdns", "rdn_33_values"}) {
    const Bytes in = read_file(std::string("bad/") + file + ".der");
    const Decoded d = decode(&Certificate_desc, in, 0x30);
    EXPECT_EQ(d.result, 0) << file;
    EXPECT_EQ(d.err, ASN_LEFTOVER) << file;
    engine::drop(&Certificate_desc, d.record);
  }
}

}  // namespace
}  // namespace qel::tst
