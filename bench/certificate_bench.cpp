// Decoding and encoding whole certificates, side by side with OpenSSL and
// with the floor of bench/floor.h. Two sets: the fixture certificates and, where present, the
// CA certificates of the system. Each benchmark reports the time per
// certificate ("per_cert") and, outside sanitizer builds, the heap
// allocations per certificate ("allocs").
#include <benchmark/benchmark.h>

#include "bench/alloc_count.h"
#include "bench/floor.h"
#include "bench/inputs.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tool/decode.h"
#include "types/certificate.h"

#ifdef QEL_HAVE_OPENSSL
#include <openssl/x509.h>
#endif

namespace {

using qel_bench::floor_pass;
using qel_bench::keep;

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The base64 body of the first PEM certificate of a text.
Bytes pem_to_der(const std::string& pem) {
  static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const size_t begin = pem.find("-----BEGIN CERTIFICATE-----");
  const size_t end = pem.find("-----END CERTIFICATE-----");
  Bytes der;
  if (begin == std::string::npos || end == std::string::npos) return der;
  uint32_t bits = 0;
  int count = 0;
  for (size_t i = pem.find('\n', begin); i < end; ++i) {
    const char* p = pem[i] != '\0' ? std::strchr(alphabet, pem[i]) : nullptr;
    if (p == nullptr) continue;
    bits = (bits << 6) | static_cast<uint32_t>(p - alphabet);
    if ((count += 6) >= 8) der.push_back(static_cast<uint8_t>(bits >> (count -= 8)));
  }
  return der;
}

bool openssl_parses(const Bytes& der) {
#ifdef QEL_HAVE_OPENSSL
  const unsigned char* p = der.data();
  X509* x = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
  X509_free(x);
  return x != nullptr;
#else
  (void)der;
  return true;
#endif
}

// Certificates that both decoders accept, so that every benchmark of a set
// runs over the same bytes.
std::vector<Bytes> load_set(int which) {
  std::vector<fs::path> paths;
  const fs::path dir = which == 0 ? fs::path(QEL_TEST_DATA) / "certs"
                                  : fs::path("/usr/share/ca-certificates/mozilla");
  if (fs::is_directory(dir))
    for (const auto& e : fs::directory_iterator(dir)) paths.push_back(e.path());
  std::sort(paths.begin(), paths.end());
  std::vector<Bytes> out;
  for (const auto& path : paths) {
    Bytes der;
    if (path.extension() == ".der") {
      der = read_file(path);
    } else if (path.extension() == ".crt") {
      const Bytes pem = read_file(path);
      der = pem_to_der(std::string(pem.begin(), pem.end()));
    }
    if (der.empty() || !openssl_parses(der)) continue;
    qel::Certificate* tree = qel::tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size()));
    if (tree == nullptr) continue;
    qel::drop_Certificate(tree);
    out.push_back(std::move(der));
  }
  return out;
}

const std::vector<Bytes>& certificate_set(int which) {
  static const std::vector<Bytes> sets[2] = {load_set(0), load_set(1)};
  return sets[which];
}

const char* set_name(int which) { return which == 0 ? "fixtures" : "debian-ca"; }

// Runs `pass` (one pass over all certificates of the set) in the timing loop
// and reports time and allocations per certificate.
template <class Pass>
void run(benchmark::State& state, const std::vector<Bytes>& certs, Pass pass) {
  if (certs.empty()) {
    state.SkipWithError("no certificates in this set");
    return;
  }
  state.SetLabel(std::string(set_name(static_cast<int>(state.range(0)))) + ", " +
                 std::to_string(certs.size()) + " certs");
  const uint64_t before = bench_allocations;
  pass();
  const uint64_t allocations = bench_allocations - before;
  for (auto _ : state) pass();
  const auto n = static_cast<double>(certs.size());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(certs.size()));
  state.counters["per_cert"] = benchmark::Counter(
      n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["allocs"] = static_cast<double>(allocations) / n;
}

// ---------------------------------------------------------------------------
// Benchmarks. The argument picks the set: 0 fixtures, 1 CA certificates.

void BM_QelDecode(benchmark::State& state) {
  const auto& certs = certificate_set(static_cast<int>(state.range(0)));
  run(state, certs, [&] {
    for (const Bytes& der : certs) {
      qel::Certificate* tree = qel::tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size()));
      keep(tree);
      qel::drop_Certificate(tree);
    }
  });
}

void BM_FloorWalk(benchmark::State& state) {
  const auto& certs = certificate_set(static_cast<int>(state.range(0)));
  run(state, certs, [&] {
    for (const Bytes& der : certs) floor_pass(der.data(), der.size());
  });
}

// The CA set decoded on 1 and 2 threads at once, each thread over the whole
// set; items_per_second is the throughput of all threads together.
void BM_QelDecodeThreads(benchmark::State& state) {
  const auto& certs = certificate_set(1);
  for (auto _ : state) {
    for (const Bytes& der : certs) {
      qel::Certificate* tree = qel::tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size()));
      keep(tree);
      qel::drop_Certificate(tree);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * certs.size()));
}

// Trees made beforehand; the buffer is the caller's and reused.
void BM_QelEncode(benchmark::State& state) {
  const auto& certs = certificate_set(static_cast<int>(state.range(0)));
  std::vector<qel::Certificate*> trees;
  size_t longest = 0;
  for (const Bytes& der : certs) {
    trees.push_back(qel::tc_unpack_cert(der.data(), static_cast<uint32_t>(der.size())));
    longest = std::max(longest, der.size());
  }
  Bytes out(longest);
  int32_t err = 0;
  run(state, certs, [&] {
    for (qel::Certificate* tree : trees) {
      const int32_t size = qel::sizeof_Certificate(tree, 1);
      uint8_t* at = out.data();
      if (static_cast<size_t>(size) <= out.size()) qel::_pack_Certificate(&at, tree, 0x30, &err);
      keep(at);
    }
  });
  if (err != 0) state.SkipWithError("encoding stored a code");
  for (qel::Certificate* tree : trees) qel::drop_Certificate(tree);
}

#ifdef QEL_HAVE_OPENSSL
void BM_OpenSSLDecode(benchmark::State& state) {
  const auto& certs = certificate_set(static_cast<int>(state.range(0)));
  run(state, certs, [&] {
    for (const Bytes& der : certs) {
      const unsigned char* p = der.data();
      X509* x = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
      keep(x);
      X509_free(x);
    }
  });
}

std::vector<X509*> openssl_trees(const std::vector<Bytes>& certs, size_t& longest) {
  std::vector<X509*> out;
  for (const Bytes& der : certs) {
    const unsigned char* p = der.data();
    out.push_back(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
    longest = std::max(longest, der.size());
  }
  return out;
}

// OpenSSL's encoding of each tree. With `full`, i2d_re_X509_tbs first marks
// the TBS as modified, and the mark stays: every later i2d_X509 then encodes
// the TBS from its fields. Without it, i2d_X509 writes the octets it kept
// from decoding.
void openssl_encode(benchmark::State& state, bool full) {
  const auto& certs = certificate_set(static_cast<int>(state.range(0)));
  size_t longest = 0;
  std::vector<X509*> trees = openssl_trees(certs, longest);
  if (full)
    for (X509* x : trees) i2d_re_X509_tbs(x, nullptr);
  Bytes out(longest);
  run(state, certs, [&] {
    for (X509* x : trees) {
      unsigned char* p = out.data();
      keep(i2d_X509(x, &p));
    }
  });
  for (X509* x : trees) X509_free(x);
}

void BM_OpenSSLEncodeFull(benchmark::State& state) { openssl_encode(state, true); }
void BM_OpenSSLEncodeCached(benchmark::State& state) { openssl_encode(state, false); }
#endif

}  // namespace

const std::vector<std::vector<uint8_t>>& qel_bench::ca_certificates() { return certificate_set(1); }

BENCHMARK(BM_QelDecode)->Arg(0)->Arg(1);
BENCHMARK(BM_FloorWalk)->Arg(0)->Arg(1);
BENCHMARK(BM_QelDecodeThreads)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_QelEncode)->Arg(0)->Arg(1);
#ifdef QEL_HAVE_OPENSSL
BENCHMARK(BM_OpenSSLDecode)->Arg(0)->Arg(1);
BENCHMARK(BM_OpenSSLEncodeFull)->Arg(0)->Arg(1);
BENCHMARK(BM_OpenSSLEncodeCached)->Arg(0)->Arg(1);
#endif
