// Decoding beside other libraries: the CA certificates of
// certificate_bench.cpp and the revocation lists of list_bench.cpp, each
// decoded and released by this library, OpenSSL, mbedTLS, NSS and GnuTLS
// (those the build found; bench/CMakeLists.txt says which are missing).
//
//   BM_CertDecode/<decoder>            "per_cert": time per certificate;
//                                      "rejected": certificates it refused
//   BM_CrlDecode/<decoder>/<entries>   "per_list" and "per_entry"
//
// Decoders: qel, openssl (d2i_X509, d2i_X509_CRL), mbedtls
// (mbedtls_x509_crt_parse_der, mbedtls_x509_crl_parse_der), mbedtls-nocopy
// (mbedtls_x509_crt_parse_der_nocopy: the certificate points into the
// caller's octets), nss (CERT_NewTempCertificate into the temporary store
// of NSS_NoDB_Init, CERT_DecodeDERCrl), nss-decode (the decode alone,
// without the store), gnutls (gnutls_x509_crt_import,
// gnutls_x509_crl_import). Every decoder but the no-copy ones keeps its own
// copy of what it needs. Run the table alone, on one core:
//
//   taskset -c 1 build/bench/qel_bench --benchmark_filter='BM_(Cert|Crl)Decode/'
//     --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include "bench/alloc_count.h"
#include "bench/floor.h"
#include "bench/inputs.h"

#include <cstdint>
#include <string>
#include <vector>

#include "tool/decode.h"
#include "types/certificate.h"
#include "types/crl.h"

#ifdef QEL_HAVE_OPENSSL
#include <openssl/x509.h>
#endif
#ifdef QEL_HAVE_MBEDTLS
#include <mbedtls/x509_crl.h>
#include <mbedtls/x509_crt.h>
#endif
#ifdef QEL_HAVE_NSS
#include <cert.h>
#include <certdb.h>
#include <nss.h>
// NSS exports its decoder without the store under this name only; the
// header's CERT_DecodeDERCertificate is not exported.
extern "C" CERTCertificate* __CERT_DecodeDERCertificate(SECItem* der, PRBool copy_der,
                                                        char* nickname);
#endif
#ifdef QEL_HAVE_GNUTLS
#include <gnutls/x509.h>
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using qel_bench::keep;

// Decodes and releases one object; false when the decoder refused it.
using Decode = bool (*)(const Bytes&);

struct Decoder {
  const char* name;
  Decode certificate;  // null where the decoder has none
  Decode list;
};

bool qel_certificate(const Bytes& der) {
  qel::Certificate* tree = qel::tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size()));
  keep(tree);
  qel::drop_Certificate(tree);
  return tree != nullptr;
}

bool qel_list(const Bytes& der) {
  const uint8_t* p = der.data();
  int32_t err = 0;
  qel::CertificateList* crl =
      qel::_unpack_CertificateList(&p, der.data() + der.size(), 0x30, &err);
  keep(crl);
  qel::drop_CertificateList(crl);
  return crl != nullptr && err == 0;
}

#ifdef QEL_HAVE_OPENSSL
bool openssl_certificate(const Bytes& der) {
  const unsigned char* p = der.data();
  X509* x = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
  keep(x);
  X509_free(x);
  return x != nullptr;
}

bool openssl_list(const Bytes& der) {
  const unsigned char* p = der.data();
  X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
  keep(crl);
  X509_CRL_free(crl);
  return crl != nullptr;
}
#endif

#ifdef QEL_HAVE_MBEDTLS
template <int (*parse)(mbedtls_x509_crt*, const unsigned char*, size_t)>
bool mbedtls_certificate(const Bytes& der) {
  mbedtls_x509_crt crt;
  mbedtls_x509_crt_init(&crt);
  const int status = parse(&crt, der.data(), der.size());
  keep(crt);
  mbedtls_x509_crt_free(&crt);
  return status == 0;
}

bool mbedtls_list(const Bytes& der) {
  mbedtls_x509_crl crl;
  mbedtls_x509_crl_init(&crl);
  const int status = mbedtls_x509_crl_parse_der(&crl, der.data(), der.size());
  keep(crl);
  mbedtls_x509_crl_free(&crl);
  return status == 0;
}
#endif

#ifdef QEL_HAVE_NSS
SECItem item_of(const Bytes& der) {
  return SECItem{siBuffer, const_cast<unsigned char*>(der.data()),
                 static_cast<unsigned int>(der.size())};
}

bool nss_ready() {
  static const bool ready = NSS_NoDB_Init(nullptr) == SECSuccess;
  return ready;
}

bool nss_certificate(const Bytes& der) {
  SECItem item = item_of(der);
  CERTCertificate* cert =
      CERT_NewTempCertificate(CERT_GetDefaultCertDB(), &item, nullptr, PR_FALSE, PR_TRUE);
  keep(cert);
  if (cert == nullptr) return false;
  CERT_DestroyCertificate(cert);
  return true;
}

bool nss_decode_certificate(const Bytes& der) {
  SECItem item = item_of(der);
  CERTCertificate* cert = __CERT_DecodeDERCertificate(&item, PR_TRUE, nullptr);
  keep(cert);
  if (cert == nullptr) return false;
  CERT_DestroyCertificate(cert);
  return true;
}

bool nss_list(const Bytes& der) {
  SECItem item = item_of(der);
  CERTSignedCrl* crl = CERT_DecodeDERCrl(nullptr, &item, SEC_CRL_TYPE);
  keep(crl);
  if (crl == nullptr) return false;
  SEC_DestroyCrl(crl);
  return true;
}
#endif

#ifdef QEL_HAVE_GNUTLS
gnutls_datum_t datum_of(const Bytes& der) {
  return gnutls_datum_t{const_cast<unsigned char*>(der.data()),
                        static_cast<unsigned int>(der.size())};
}

bool gnutls_certificate(const Bytes& der) {
  gnutls_x509_crt_t crt = nullptr;
  if (gnutls_x509_crt_init(&crt) < 0) return false;
  const gnutls_datum_t datum = datum_of(der);
  const int status = gnutls_x509_crt_import(crt, &datum, GNUTLS_X509_FMT_DER);
  keep(crt);
  gnutls_x509_crt_deinit(crt);
  return status >= 0;
}

bool gnutls_list(const Bytes& der) {
  gnutls_x509_crl_t crl = nullptr;
  if (gnutls_x509_crl_init(&crl) < 0) return false;
  const gnutls_datum_t datum = datum_of(der);
  const int status = gnutls_x509_crl_import(crl, &datum, GNUTLS_X509_FMT_DER);
  keep(crl);
  gnutls_x509_crl_deinit(crl);
  return status >= 0;
}
#endif

const std::vector<Decoder>& decoders() {
  static const std::vector<Decoder> all = {
      {"qel", qel_certificate, qel_list},
#ifdef QEL_HAVE_OPENSSL
      {"openssl", openssl_certificate, openssl_list},
#endif
#ifdef QEL_HAVE_MBEDTLS
      {"mbedtls", mbedtls_certificate<mbedtls_x509_crt_parse_der>, mbedtls_list},
      {"mbedtls-nocopy", mbedtls_certificate<mbedtls_x509_crt_parse_der_nocopy>, nullptr},
#endif
#ifdef QEL_HAVE_NSS
      {"nss", nss_certificate, nss_list},
      {"nss-decode", nss_decode_certificate, nullptr},
#endif
#ifdef QEL_HAVE_GNUTLS
      {"gnutls", gnutls_certificate, gnutls_list},
#endif
  };
  return all;
}

bool ready(benchmark::State& state, const Decoder& decoder) {
#ifdef QEL_HAVE_NSS
  if (std::string(decoder.name).starts_with("nss") && !nss_ready()) {
    state.SkipWithError("NSS_NoDB_Init failed");
    return false;
  }
#endif
  (void)state;
  (void)decoder;
  return true;
}

void cert_decode(benchmark::State& state, const Decoder& decoder) {
  const auto& certs = qel_bench::ca_certificates();
  if (certs.empty()) return state.SkipWithError("no CA certificates on this system");
  if (!ready(state, decoder)) return;
  int rejected = 0;
  const uint64_t before = bench_allocations;
  for (const Bytes& der : certs) rejected += decoder.certificate(der) ? 0 : 1;
  const uint64_t allocations = bench_allocations - before;
  for (auto _ : state)
    for (const Bytes& der : certs) decoder.certificate(der);
  const auto n = static_cast<double>(certs.size());
  state.SetLabel(std::to_string(certs.size()) + " certs");
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(certs.size()));
  state.counters["per_cert"] = benchmark::Counter(
      n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["allocs"] = static_cast<double>(allocations) / n;
  state.counters["rejected"] = rejected;
}

void crl_decode(benchmark::State& state, const Decoder& decoder, int entries) {
#ifdef QEL_HAVE_OPENSSL
  const Bytes& der = qel_bench::revocation_list(entries);
  if (!ready(state, decoder)) return;
  const uint64_t before = bench_allocations;
  if (!decoder.list(der)) return state.SkipWithError("list refused");
  const uint64_t allocations = bench_allocations - before;
  for (auto _ : state) decoder.list(der);
  state.SetLabel(std::to_string(entries) + " entries, " + std::to_string(der.size()) + " octets");
  state.counters["per_list"] = benchmark::Counter(
      1, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  if (entries > 0)
    state.counters["per_entry"] = benchmark::Counter(
        entries, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["allocs"] = static_cast<double>(allocations);
#else
  (void)decoder;
  (void)entries;
  state.SkipWithError("the lists are made with OpenSSL, which this build lacks");
#endif
}

bool register_all() {
  for (const Decoder& d : decoders())
    if (d.certificate != nullptr)
      benchmark::RegisterBenchmark((std::string("BM_CertDecode/") + d.name).c_str(),
                                   [&d](benchmark::State& state) { cert_decode(state, d); });
  for (const Decoder& d : decoders())
    if (d.list != nullptr)
      for (int entries : {0, 100, 2048})
        benchmark::RegisterBenchmark(
            (std::string("BM_CrlDecode/") + d.name + "/" + std::to_string(entries)).c_str(),
            [&d, entries](benchmark::State& state) { crl_decode(state, d, entries); });
  return true;
}

[[maybe_unused]] const bool registered = register_all();

}  // namespace
