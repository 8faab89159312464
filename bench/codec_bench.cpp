// Decoding and encoding of whole certificates, and the heap allocations one
// decode makes. Certificates come from the shared test certificates when
// present; a built-in self-signed certificate stands in otherwise.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qelcert.h"

#ifdef QEL_HAVE_OPENSSL
#include <openssl/x509.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define QEL_BENCH_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_BENCH_SANITIZED 1
#endif
#endif

// Counting allocator: every malloc, calloc and realloc of the process goes
// through these while `counting` is set. The codec allocates with these
// three only. Left out under the sanitizers, which own the allocator.
namespace {
size_t allocations = 0;
bool counting = false;
}  // namespace

#ifndef QEL_BENCH_SANITIZED
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) noexcept {
  if (counting) ++allocations;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  if (counting) ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) noexcept {
  if (counting) ++allocations;
  return __libc_realloc(block, size);
}
}
#endif

namespace {

// A self-signed P-256 certificate with a subject alternative name.
const uint8_t kBuiltIn[] = {
    0x30, 0x82, 0x01, 0xe1, 0x30, 0x82, 0x01, 0x87, 0xa0, 0x03, 0x02, 0x01, 0x02, 0x02, 0x14, 0x57,
    0x47, 0x36, 0xb6, 0x14, 0xc7, 0x4d, 0x8c, 0x4f, 0xc8, 0xd8, 0x65, 0x4e, 0x01, 0x85, 0x00, 0xdb,
    0x99, 0x5b, 0x11, 0x30, 0x0a, 0x06, 0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x02, 0x30,
    0x39, 0x31, 0x0b, 0x30, 0x09, 0x06, 0x03, 0x55, 0x04, 0x06, 0x13, 0x02, 0x44, 0x45, 0x31, 0x12,
    0x30, 0x10, 0x06, 0x03, 0x55, 0x04, 0x0a, 0x0c, 0x09, 0x51, 0x65, 0x6c, 0x20, 0x42, 0x65, 0x6e,
    0x63, 0x68, 0x31, 0x16, 0x30, 0x14, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0c, 0x0d, 0x62, 0x65, 0x6e,
    0x63, 0x68, 0x2e, 0x65, 0x78, 0x61, 0x6d, 0x70, 0x6c, 0x65, 0x30, 0x1e, 0x17, 0x0d, 0x32, 0x36,
    0x31, 0x31, 0x32, 0x33, 0x30, 0x31, 0x33, 0x38, 0x31, 0x38, 0x5a, 0x17, 0x0d, 0x33, 0x36, 0x31,
    0x31, 0x32, 0x30, 0x30, 0x31, 0x33, 0x38, 0x31, 0x38, 0x5a, 0x30, 0x39, 0x31, 0x0b, 0x30, 0x09,
    0x06, 0x03, 0x55, 0x04, 0x06, 0x13, 0x02, 0x44, 0x45, 0x31, 0x12, 0x30, 0x10, 0x06, 0x03, 0x55,
    0x04, 0x0a, 0x0c, 0x09, 0x51, 0x65, 0x6c, 0x20, 0x42, 0x65, 0x6e, 0x63, 0x68, 0x31, 0x16, 0x30,
    0x14, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0c, 0x0d, 0x62, 0x65, 0x6e, 0x63, 0x68, 0x2e, 0x65, 0x78,
    0x61, 0x6d, 0x70, 0x6c, 0x65, 0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86, 0x48, 0xce, 0x3d,
    0x02, 0x01, 0x06, 0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00, 0x04,
    0xb1, 0x40, 0xf5, 0x02, 0x9d, 0xf4, 0xb6, 0xcd, 0x7a, 0x9a, 0x25, 0xcc, 0x82, 0xdd, 0xbd, 0xa5,
    0xc9, 0xd7, 0xd1, 0x14, 0xdf, 0x72, 0x11, 0xf6, 0x47, 0x42, 0x16, 0xb3, 0x0c, 0x02, 0xf7, 0xe0,
    0xaf, 0x28, 0xbe, 0x1d, 0x82, 0xff, 0xc3, 0x89, 0x4c, 0x5a, 0x7e, 0x98, 0x68, 0x14, 0x9f, 0x93,
    0x1c, 0x9e, 0x2c, 0xf3, 0xe6, 0x76, 0xe1, 0xf1, 0xec, 0xb8, 0x02, 0x76, 0xa5, 0xc9, 0xbb, 0x83,
    0xa3, 0x6d, 0x30, 0x6b, 0x30, 0x1d, 0x06, 0x03, 0x55, 0x1d, 0x0e, 0x04, 0x16, 0x04, 0x14, 0x11,
    0x69, 0xcc, 0xfc, 0x44, 0x12, 0xbf, 0x34, 0xa6, 0x40, 0xab, 0x85, 0x47, 0xa5, 0x1d, 0x21, 0xf6,
    0x38, 0x10, 0x9f, 0x30, 0x1f, 0x06, 0x03, 0x55, 0x1d, 0x23, 0x04, 0x18, 0x30, 0x16, 0x80, 0x14,
    0x11, 0x69, 0xcc, 0xfc, 0x44, 0x12, 0xbf, 0x34, 0xa6, 0x40, 0xab, 0x85, 0x47, 0xa5, 0x1d, 0x21,
    0xf6, 0x38, 0x10, 0x9f, 0x30, 0x0f, 0x06, 0x03, 0x55, 0x1d, 0x13, 0x01, 0x01, 0xff, 0x04, 0x05,
    0x30, 0x03, 0x01, 0x01, 0xff, 0x30, 0x18, 0x06, 0x03, 0x55, 0x1d, 0x11, 0x04, 0x11, 0x30, 0x0f,
    0x82, 0x0d, 0x62, 0x65, 0x6e, 0x63, 0x68, 0x2e, 0x65, 0x78, 0x61, 0x6d, 0x70, 0x6c, 0x65, 0x30,
    0x0a, 0x06, 0x08, 0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x02, 0x03, 0x48, 0x00, 0x30, 0x45,
    0x02, 0x21, 0x00, 0xd4, 0x27, 0xa4, 0xa1, 0x37, 0xd9, 0x45, 0x8a, 0x38, 0x74, 0x2a, 0xda, 0x63,
    0x54, 0xad, 0x94, 0xdb, 0x24, 0x7c, 0xb1, 0xe5, 0x0b, 0xd9, 0x2b, 0x51, 0x57, 0x57, 0x60, 0xcc,
    0x21, 0x7d, 0x77, 0x02, 0x20, 0x43, 0xed, 0x29, 0xfb, 0xca, 0xef, 0x60, 0x8f, 0x99, 0xf5, 0x72,
    0x7d, 0xe4, 0x2b, 0xc2, 0xc6, 0x06, 0x3d, 0x26, 0x35, 0x03, 0x11, 0xf8, 0xf5, 0xce, 0xc3, 0x81,
    0x0c, 0xf2, 0x5b, 0x1b, 0x8e,
};

struct Sample {
  std::string name;
  std::vector<uint8_t> der;
};

std::vector<Sample> load_samples() {
  std::vector<Sample> samples;
  for (const char* name : {"ed25519_strict_cert_sign_ku.der", "RSASHA1Good.der",
                           "subCAWcrlDistCrit.der"}) {
    std::ifstream in(std::string(QEL_SHARED_DIR) + "/thirdparty/zlint/certs/" + name,
                     std::ios::binary);
    std::vector<uint8_t> der((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
    if (!der.empty()) samples.push_back({name, std::move(der)});
  }
  samples.push_back({"built-in", std::vector<uint8_t>(std::begin(kBuiltIn), std::end(kBuiltIn))});
  return samples;
}

const std::vector<Sample>& samples() {
  static const std::vector<Sample> all = load_samples();
  return all;
}

qel::Certificate* decode(const std::vector<uint8_t>& der) {
  const uint8_t* pos = der.data();
  int32_t err = 0;
  return qel::_unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
}

// Heap allocations of one decode, and of one size-and-encode.
void count_allocations(const Sample& s, benchmark::State& state) {
#ifndef QEL_BENCH_SANITIZED
  allocations = 0;
  counting = true;
  qel::Certificate* cert = decode(s.der);
  counting = false;
  state.counters["allocs_per_decode"] = static_cast<double>(allocations);
  std::vector<uint8_t> out(static_cast<size_t>(qel::sizeof_Certificate(cert, 1)));
  uint8_t* pos = out.data();
  int32_t err = 0;
  allocations = 0;
  counting = true;
  qel::_pack_Certificate(&pos, cert, 0x30, &err);
  counting = false;
  state.counters["allocs_per_encode"] = static_cast<double>(allocations);
  qel::drop_Certificate(cert);
#else
  (void)s;
  (void)state;
#endif
}

void BM_Decode(benchmark::State& state) {
  const Sample& s = samples()[static_cast<size_t>(state.range(0))];
  state.SetLabel(s.name);
  for (auto _ : state) {
    qel::Certificate* cert = decode(s.der);
    if (cert == nullptr) {
      state.SkipWithError("certificate does not decode");
      break;
    }
    qel::drop_Certificate(cert);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.der.size()));
  count_allocations(s, state);
}

void BM_Encode(benchmark::State& state) {
  const Sample& s = samples()[static_cast<size_t>(state.range(0))];
  state.SetLabel(s.name);
  qel::Certificate* cert = decode(s.der);
  std::vector<uint8_t> out(s.der.size() * 2);
  for (auto _ : state) {
    const int32_t size = qel::sizeof_Certificate(cert, 1);
    uint8_t* pos = out.data();
    int32_t err = 0;
    qel::_pack_Certificate(&pos, cert, 0x30, &err);
    benchmark::DoNotOptimize(size);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.der.size()));
  qel::drop_Certificate(cert);
}

// The TBS part of a certificate: the first element inside the outer one.
std::vector<uint8_t> tbs_of(const std::vector<uint8_t>& der) {
  const uint8_t* pos = der.data() + 1;
  const uint8_t* limit = der.data() + der.size();
  qel::get_lth(&pos, limit);
  const uint8_t* start = pos;
  ++pos;
  const uint32_t n = qel::get_lth(&pos, limit);
  return std::vector<uint8_t>(start, pos + n);
}

void BM_DecodeTbs(benchmark::State& state) {
  const Sample& s = samples()[static_cast<size_t>(state.range(0))];
  state.SetLabel(s.name);
  const std::vector<uint8_t> tbs = tbs_of(s.der);
  for (auto _ : state) {
    const uint8_t* pos = tbs.data();
    int32_t err = 0;
    qel::TBSCertificate* t = qel::_unpack_TBSCertificate(&pos, tbs.data() + tbs.size(), 0x30, &err);
    benchmark::DoNotOptimize(t);
    qel::drop_TBSCertificate(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * tbs.size()));
}

#ifdef QEL_HAVE_OPENSSL
// Peer: the TBS part through OpenSSL's template decoder alone, without the
// work d2i_X509 adds after decoding (extension caching, digests).
void BM_OpenSSLDecodeTbs(benchmark::State& state) {
  const Sample& s = samples()[static_cast<size_t>(state.range(0))];
  state.SetLabel(s.name);
  const std::vector<uint8_t> tbs = tbs_of(s.der);
  for (auto _ : state) {
    const unsigned char* pos = tbs.data();
    X509_CINF* t = d2i_X509_CINF(nullptr, &pos, static_cast<long>(tbs.size()));
    if (t == nullptr) {
      state.SkipWithError("OpenSSL does not decode it");
      break;
    }
    X509_CINF_free(t);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * tbs.size()));
}

// Peer: the same certificates through OpenSSL's X509 decoder.
void BM_OpenSSLDecode(benchmark::State& state) {
  const Sample& s = samples()[static_cast<size_t>(state.range(0))];
  state.SetLabel(s.name);
  for (auto _ : state) {
    const unsigned char* pos = s.der.data();
    X509* x = d2i_X509(nullptr, &pos, static_cast<long>(s.der.size()));
    if (x == nullptr) {
      state.SkipWithError("OpenSSL does not decode it");
      break;
    }
    X509_free(x);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.der.size()));
}
#endif

void all_samples(benchmark::internal::Benchmark* b) {
  for (size_t i = 0; i < samples().size(); ++i) b->Arg(static_cast<int64_t>(i));
}

BENCHMARK(BM_Decode)->Apply(all_samples);
BENCHMARK(BM_Encode)->Apply(all_samples);
BENCHMARK(BM_DecodeTbs)->Apply(all_samples);
#ifdef QEL_HAVE_OPENSSL
BENCHMARK(BM_OpenSSLDecodeTbs)->Apply(all_samples);
BENCHMARK(BM_OpenSSLDecode)->Apply(all_samples);
#endif

}  // namespace
