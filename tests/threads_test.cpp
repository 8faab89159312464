// Many threads at once over every certificate at hand: each must see exactly
// what one thread alone sees. Run under ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "qelcert.h"
#include "tests/helpers.h"

namespace qel::tst {
namespace {

namespace fs = std::filesystem;

std::string text_of(int32_t code, char* text) { return std::to_string(code) + take(text) + "|"; }

uint32_t seconds(const CertificateValidityDate& date) {
  const auto decoder = date.tag == 0x17 ? tc_decode_UTCTime : tc_decode_GeneralizedTime;
  return date.tag == 0x17 || date.tag == 0x18 ? decoder(static_cast<vbl_blk*>(date.value)) : 0;
}

// Everything a caller reads from one certificate, as one text. The tree is
// left in `trees` for another thread to release.
std::string answer(const Bytes& der, std::vector<Certificate*>& trees) {
  const uint8_t* pos = der.data();
  int32_t err = 0;
  Certificate* cert = _unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
  if (cert == nullptr) return "undecodable " + std::to_string(err);
  std::string out = std::to_string(err) + " " + hex(encode(&Certificate_desc, cert, 0x30, &err));
  for (int32_t which : {0, 1}) {
    char* text = nullptr;
    const int32_t code = tc_extract_dname(&text, cert, which);
    dName* parsed = text != nullptr ? tc_create_dName(text) : nullptr;
    Name name{};
    out += std::to_string(parsed != nullptr ? tc_encode_Name(&name, parsed) : -1);
    out += std::to_string(sizeof_Name(&name, 1));
    dip_Name(&name);
    tc_free_dName(parsed);
    out += text_of(code, text);
  }
  char* ldap = nullptr;
  const int32_t ldap_code = tc_extract_dname_ldap(&ldap, cert, 1);
  out += text_of(ldap_code, ldap);
  out += std::to_string(tc_retrieve_Extensions(cert, kExtensionsOfCertificate));
  Extension_Results* r = Get_Extension_Results();
  for (char* t : {r->subjectAltName, r->issuerAltName, r->crlDistPoint, r->crlNumber})
    out += std::string(t != nullptr ? t : "-") + "|";
  free_Extension_Results(r);
  const Validity& v = cert->tbsCertificate.validity;
  out += std::to_string(seconds(v.notBefore)) + " " + std::to_string(seconds(v.notAfter));
  trees.push_back(cert);
  return out;
}

TEST(Threads, EveryThreadSeesWhatOneThreadSees) {
  std::vector<Bytes> inputs;
  for (const char* dir : {"certs", "names", "bad"})
    for (const auto& file : der_files(fs::path(QEL_TEST_DATA) / dir))
      inputs.push_back(read_file(file));
  for (const auto& file : der_files(fs::path(QEL_SHARED_DIR) / "thirdparty/zlint/certs"))
    inputs.push_back(read_file(file));
  ASSERT_GE(inputs.size(), 40u);

  std::vector<Certificate*> alone_trees;
  std::vector<std::string> expected;
  for (const auto& der : inputs) expected.push_back(answer(der, alone_trees));

  constexpr size_t kThreads = 4;
  std::vector<std::vector<Certificate*>> trees(kThreads);
  std::vector<std::vector<size_t>> wrong(kThreads);
  const auto in_threads = [&](auto work) {
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
    for (auto& thread : threads) thread.join();
  };
  in_threads([&](size_t t) {
    // Each thread starts at another place, so that different work overlaps.
    for (size_t k = 0; k < inputs.size(); ++k) {
      const size_t i = (k + t * inputs.size() / kThreads) % inputs.size();
      if (answer(inputs[i], trees[t]) != expected[i]) wrong[t].push_back(i);
    }
  });
  // Each thread releases the trees another one made.
  in_threads([&](size_t t) {
    for (Certificate* cert : trees[(t + 1) % kThreads]) drop_Certificate(cert);
  });
  for (Certificate* cert : alone_trees) drop_Certificate(cert);
  for (size_t t = 0; t < kThreads; ++t) EXPECT_TRUE(wrong[t].empty()) << "thread " << t;
}

}  // namespace
}  // namespace qel::tst
