// SHA-1 and SHA-256 of 64 B, 1.5 KB (a certificate) and 16 KB: the block
// functions chosen at run time, the portable ones alone, and OpenSSL's
// one-shot digests when libcrypto is available.
#include <benchmark/benchmark.h>

#include <vector>

#include "toolkit/sha_blocks.h"

#ifdef QEL_HAVE_OPENSSL
#include <openssl/evp.h>
#include <openssl/sha.h>
#endif

namespace {

std::vector<uint8_t> input(size_t size) {
  std::vector<uint8_t> v(size);
  for (size_t i = 0; i < size; ++i) v[i] = static_cast<uint8_t>(i * 167 + (i >> 9));
  return v;
}

template <class Context>
void digest(benchmark::State& state, void (*init)(Context*), qel::sha::Blocks blocks) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    Context context;
    init(&context);
    qel::sha::update(&context, data.data(), data.size(), blocks);
    qel::sha::final(&context, blocks);
    benchmark::DoNotOptimize(context.digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

#define QEL_DIGEST_SIZES ->Arg(64)->Arg(1536)->Arg(16 << 10)

void BM_SHA256(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    qel::SHA256Context context;
    qel::SHA256Init(&context);
    qel::SHA256Update(&context, data.data(), static_cast<uint32_t>(data.size()));
    qel::SHA256Final(&context);
    benchmark::DoNotOptimize(context.digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_SHA256) QEL_DIGEST_SIZES;

void BM_SHA1(benchmark::State& state) { digest(state, qel::SHA1Init, qel::sha::sha1_blocks()); }
BENCHMARK(BM_SHA1) QEL_DIGEST_SIZES;

void BM_SHA256Portable(benchmark::State& state) {
  digest(state, qel::SHA256Init, qel::sha::sha256_portable);
}
BENCHMARK(BM_SHA256Portable) QEL_DIGEST_SIZES;

void BM_SHA1Portable(benchmark::State& state) {
  digest(state, qel::SHA1Init, qel::sha::sha1_portable);
}
BENCHMARK(BM_SHA1Portable) QEL_DIGEST_SIZES;

#ifdef QEL_HAVE_OPENSSL
template <class Digest>
void openssl(benchmark::State& state, Digest one_shot) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  unsigned char digest[EVP_MAX_MD_SIZE];
  for (auto _ : state) {
    one_shot(data.data(), data.size(), digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_OpenSSL_SHA256(benchmark::State& state) { openssl(state, SHA256); }
BENCHMARK(BM_OpenSSL_SHA256) QEL_DIGEST_SIZES;

void BM_OpenSSL_SHA1(benchmark::State& state) { openssl(state, SHA1); }
BENCHMARK(BM_OpenSSL_SHA1) QEL_DIGEST_SIZES;

void BM_OpenSSL_EVP_SHA256(benchmark::State& state) {
  openssl(state, [](const uint8_t* p, size_t n, unsigned char* out) {
    EVP_Digest(p, n, out, nullptr, EVP_sha256(), nullptr);
  });
}
BENCHMARK(BM_OpenSSL_EVP_SHA256) QEL_DIGEST_SIZES;
#endif

}  // namespace
