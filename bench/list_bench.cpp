// Revocation lists of 0, 100 and 2,048 entries and a PKCS#7 SignedData of
// three certificates, made here with OpenSSL, decoded and encoded beside
// OpenSSL and the floor of bench/floor.h; and certificate decoding on 1 and 2
// threads at once. "per_entry" is the time of one list divided by its
// entries.
#ifdef QEL_HAVE_OPENSSL
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/floor.h"
#include "bench/inputs.h"
#include "types/crl.h"
#include "types/messages.h"

namespace {

using Bytes = std::vector<uint8_t>;
using qel_bench::floor_pass;
using qel_bench::keep;

constexpr time_t kNow = 1700000000;

EVP_PKEY* key() {
  static EVP_PKEY* k = EVP_EC_gen("P-256");
  return k;
}

X509_NAME* name(const char* common_name) {
  X509_NAME* n = X509_NAME_new();
  X509_NAME_add_entry_by_txt(n, "C", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("US"),
                             -1, -1, 0);
  X509_NAME_add_entry_by_txt(n, "O", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("Example Trust"), -1, -1, 0);
  X509_NAME_add_entry_by_txt(n, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(common_name), -1, -1, 0);
  return n;
}

template <class T>
Bytes der_of(T* object, int (*i2d)(const T*, unsigned char**)) {
  unsigned char* der = nullptr;
  const int size = i2d(object, &der);
  Bytes out(der, der + (size > 0 ? size : 0));
  OPENSSL_free(der);
  return out;
}

// A signed list of `entries` revoked serials of 16 random octets, every
// other one with a reason code, and a CRL number.
Bytes make_crl(int entries) {
  X509_CRL* crl = X509_CRL_new();
  X509_CRL_set_version(crl, 1);
  X509_NAME* issuer = name("Example CA");
  X509_CRL_set_issuer_name(crl, issuer);
  X509_NAME_free(issuer);
  ASN1_TIME* now = ASN1_TIME_set(nullptr, kNow);
  ASN1_TIME* next = ASN1_TIME_set(nullptr, kNow + 7 * 86400);
  X509_CRL_set1_lastUpdate(crl, now);
  X509_CRL_set1_nextUpdate(crl, next);
  for (int i = 0; i < entries; ++i) {
    X509_REVOKED* r = X509_REVOKED_new();
    BIGNUM* bn = BN_new();
    BN_rand(bn, 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY);
    ASN1_INTEGER* serial = BN_to_ASN1_INTEGER(bn, nullptr);
    X509_REVOKED_set_serialNumber(r, serial);
    X509_REVOKED_set_revocationDate(r, now);
    if (i % 2 == 0) {
      ASN1_ENUMERATED* reason = ASN1_ENUMERATED_new();
      ASN1_ENUMERATED_set(reason, 1);
      X509_REVOKED_add1_ext_i2d(r, NID_crl_reason, reason, 0, 0);
      ASN1_ENUMERATED_free(reason);
    }
    X509_CRL_add0_revoked(crl, r);
    ASN1_INTEGER_free(serial);
    BN_free(bn);
  }
  ASN1_INTEGER* number = ASN1_INTEGER_new();
  ASN1_INTEGER_set(number, 42);
  X509_CRL_add1_ext_i2d(crl, NID_crl_number, number, 0, 0);
  ASN1_INTEGER_free(number);
  X509_CRL_sort(crl);
  X509_CRL_sign(crl, key(), EVP_sha256());
  Bytes out = der_of(crl, i2d_X509_CRL);
  ASN1_TIME_free(now);
  ASN1_TIME_free(next);
  X509_CRL_free(crl);
  return out;
}

const Bytes& crl_of(int entries) {
  static const Bytes lists[3] = {make_crl(0), make_crl(100), make_crl(2048)};
  return lists[entries == 0 ? 0 : entries == 100 ? 1 : 2];
}

// Time per list, and per entry where there are entries.
void per_list(benchmark::State& state, int entries, size_t size) {
  state.SetLabel(std::to_string(entries) + " entries, " + std::to_string(size) + " octets");
  state.counters["per_list"] = benchmark::Counter(
      1, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  if (entries > 0)
    state.counters["per_entry"] = benchmark::Counter(
        entries, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

qel::CertificateList* qel_crl(const Bytes& der, int32_t& err) {
  const uint8_t* p = der.data();
  return qel::_unpack_CertificateList(&p, der.data() + der.size(), 0x30, &err);
}

void BM_CrlQelDecode(benchmark::State& state) {
  const Bytes& der = crl_of(static_cast<int>(state.range(0)));
  int32_t err = 0;
  qel::CertificateList* check = qel_crl(der, err);
  if (check == nullptr || err != 0) return state.SkipWithError("list not decoded");
  qel::drop_CertificateList(check);
  for (auto _ : state) {
    qel::CertificateList* crl = qel_crl(der, err);
    keep(crl);
    qel::drop_CertificateList(crl);
  }
  per_list(state, static_cast<int>(state.range(0)), der.size());
}

void BM_CrlFloor(benchmark::State& state) {
  const Bytes& der = crl_of(static_cast<int>(state.range(0)));
  for (auto _ : state) floor_pass(der.data(), der.size());
  per_list(state, static_cast<int>(state.range(0)), der.size());
}

void BM_CrlOpenSSLDecode(benchmark::State& state) {
  const Bytes& der = crl_of(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const unsigned char* p = der.data();
    X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
    keep(crl);
    X509_CRL_free(crl);
  }
  per_list(state, static_cast<int>(state.range(0)), der.size());
}

void BM_CrlQelEncode(benchmark::State& state) {
  const Bytes& der = crl_of(static_cast<int>(state.range(0)));
  int32_t err = 0;
  qel::CertificateList* crl = qel_crl(der, err);
  Bytes out(der.size());
  for (auto _ : state) {
    uint8_t* at = out.data();
    if (static_cast<size_t>(qel::sizeof_CertificateList(crl, 1)) <= out.size())
      qel::_pack_CertificateList(&at, crl, 0x30, &err);
    keep(at);
  }
  if (err != 0 || Bytes(out) != der) state.SkipWithError("list not encoded as it came");
  qel::drop_CertificateList(crl);
  per_list(state, static_cast<int>(state.range(0)), der.size());
}

// OpenSSL encodes the list from its fields: the list is marked modified
// before each encode, or it would write the octets it kept from decoding.
void BM_CrlOpenSSLEncode(benchmark::State& state) {
  const Bytes& der = crl_of(static_cast<int>(state.range(0)));
  const unsigned char* p = der.data();
  X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
  Bytes out(der.size());
  for (auto _ : state) {
    i2d_re_X509_CRL_tbs(crl, nullptr);
    unsigned char* at = out.data();
    keep(i2d_X509_CRL(crl, &at));
  }
  X509_CRL_free(crl);
  per_list(state, static_cast<int>(state.range(0)), der.size());
}

// ---------------------------------------------------------------------------
// PKCS#7 SignedData with three certificates and one signer.

X509* make_cert(const char* common_name, int serial) {
  X509* x = X509_new();
  X509_set_version(x, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x), serial);
  X509_NAME* n = name(common_name);
  X509_set_subject_name(x, n);
  X509_set_issuer_name(x, n);
  X509_NAME_free(n);
  ASN1_TIME_set(X509_getm_notBefore(x), kNow);
  ASN1_TIME_set(X509_getm_notAfter(x), kNow + 365 * 86400);
  X509_set_pubkey(x, key());
  X509_sign(x, key(), EVP_sha256());
  return x;
}

Bytes make_signed_data() {
  X509* signer = make_cert("Signer", 1);
  STACK_OF(X509)* others = sk_X509_new_null();
  sk_X509_push(others, make_cert("Intermediate", 2));
  sk_X509_push(others, make_cert("Root", 3));
  BIO* data = BIO_new_mem_buf("signed content", -1);
  PKCS7* p7 = PKCS7_sign(signer, key(), others, data, PKCS7_BINARY);
  Bytes out = der_of(p7, i2d_PKCS7);
  PKCS7_free(p7);
  BIO_free(data);
  sk_X509_pop_free(others, X509_free);
  X509_free(signer);
  return out;
}

const Bytes& signed_data() {
  static const Bytes der = make_signed_data();
  return der;
}

// The SignedData element inside the ContentInfo: behind the outer header,
// the content type and the [0] header.
const uint8_t* after_header(const uint8_t* p) {
  const uint8_t length = p[1];
  return p + 2 + ((length & 0x80) ? (length & 0x7F) : 0);
}

void BM_Pkcs7QelDecode(benchmark::State& state) {
  const Bytes& der = signed_data();
  const uint8_t* type = after_header(der.data());
  const uint8_t* inner = after_header(type + 2 + type[1]);
  int32_t err = 0;
  for (auto _ : state) {
    const uint8_t* p = inner;
    qel::SignedData* sd = qel::_unpack_SignedData(&p, der.data() + der.size(), 0x30, &err);
    keep(sd);
    qel::drop_SignedData(sd);
  }
  if (err != 0) state.SkipWithError("SignedData not decoded");
  state.SetLabel(std::to_string(der.size()) + " octets");
}

void BM_Pkcs7Floor(benchmark::State& state) {
  const Bytes& der = signed_data();
  for (auto _ : state) floor_pass(der.data(), der.size());
}

void BM_Pkcs7OpenSSLDecode(benchmark::State& state) {
  const Bytes& der = signed_data();
  for (auto _ : state) {
    const unsigned char* p = der.data();
    PKCS7* p7 = d2i_PKCS7(nullptr, &p, static_cast<long>(der.size()));
    keep(p7);
    PKCS7_free(p7);
  }
}

}  // namespace

const std::vector<uint8_t>& qel_bench::revocation_list(int entries) { return crl_of(entries); }

BENCHMARK(BM_CrlQelDecode)->Arg(0)->Arg(100)->Arg(2048);
BENCHMARK(BM_CrlFloor)->Arg(0)->Arg(100)->Arg(2048);
BENCHMARK(BM_CrlOpenSSLDecode)->Arg(0)->Arg(100)->Arg(2048);
BENCHMARK(BM_CrlQelEncode)->Arg(0)->Arg(100)->Arg(2048);
BENCHMARK(BM_CrlOpenSSLEncode)->Arg(0)->Arg(100)->Arg(2048);
BENCHMARK(BM_Pkcs7QelDecode);
BENCHMARK(BM_Pkcs7Floor);
BENCHMARK(BM_Pkcs7OpenSSLDecode);
#endif
