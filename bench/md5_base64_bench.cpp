// MD5 and base64 encoding throughput, beside OpenSSL's libcrypto on the same
// inputs when it is available.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "toolkit/base64.h"
#include "toolkit/md5.h"

#ifdef QEL_HAVE_OPENSSL
#include <openssl/evp.h>
#include <openssl/md5.h>
#endif

namespace {

std::vector<uint8_t> input(size_t size) {
  std::vector<uint8_t> v(size);
  for (size_t i = 0; i < size; ++i) v[i] = static_cast<uint8_t>(i * 167 + (i >> 9));
  return v;
}

void BM_MD5(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    qel::MD5Context context;
    qel::MD5Init(&context);
    qel::MD5Update(&context, data.data(), static_cast<uint32_t>(data.size()));
    qel::MD5Final(&context);
    benchmark::DoNotOptimize(context.digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_MD5)->Arg(16 << 10)->Arg(1 << 20);

void BM_Base64Encode(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    char* text = nullptr;
    uint32_t length = 0;
    qel::tc_encode_base64(&text, &length, data.data(), static_cast<uint32_t>(data.size()));
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_Base64Encode)->Arg(1 << 20);

#ifdef QEL_HAVE_OPENSSL
void BM_OpenSSL_MD5(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  unsigned char digest[MD5_DIGEST_LENGTH];
  for (auto _ : state) {
    MD5(data.data(), data.size(), digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_OpenSSL_MD5)->Arg(16 << 10)->Arg(1 << 20);

// Allocates the text on every round, as tc_encode_base64 does, so both sides
// pay the same heap cost.
void BM_OpenSSL_EncodeBlock(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    auto* text = static_cast<unsigned char*>(std::malloc(4 * ((data.size() + 2) / 3) + 1));
    EVP_EncodeBlock(text, data.data(), static_cast<int>(data.size()));
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_OpenSSL_EncodeBlock)->Arg(1 << 20);

// The same into a buffer made once, as EVP_EncodeBlock is mostly used.
void BM_OpenSSL_EncodeBlockNoAlloc(benchmark::State& state) {
  const auto data = input(static_cast<size_t>(state.range(0)));
  std::vector<unsigned char> text(4 * ((data.size() + 2) / 3) + 1);
  for (auto _ : state) {
    EVP_EncodeBlock(text.data(), data.data(), static_cast<int>(data.size()));
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_OpenSSL_EncodeBlockNoAlloc)->Arg(1 << 20);
#endif

}  // namespace
