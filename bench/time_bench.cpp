// Cost of one call of each time decoder on a typical validity date.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "toolkit/timeconv.h"

namespace {

struct Text {
  explicit Text(const char* s) : length(static_cast<int32_t>(std::strlen(s))) {
    bytes = std::make_unique<uint8_t[]>(static_cast<size_t>(length));
    std::memcpy(bytes.get(), s, static_cast<size_t>(length));
  }
  qel::vbl_blk block() const { return {length, bytes.get()}; }
  int32_t length;
  std::unique_ptr<uint8_t[]> bytes;
};

template <uint32_t (*Decode)(const qel::vbl_blk*)>
void decode(benchmark::State& state, const char* text) {
  const Text t(text);
  qel::vbl_blk block = t.block();
  for (auto _ : state) {
    benchmark::DoNotOptimize(&block);
    benchmark::DoNotOptimize(Decode(&block));
  }
}

void utctime(benchmark::State& state, const char* text) {
  decode<qel::tc_decode_UTCTime>(state, text);
}
void generalizedtime(benchmark::State& state, const char* text) {
  decode<qel::tc_decode_GeneralizedTime>(state, text);
}

BENCHMARK_CAPTURE(utctime, seconds_z, "250601120000Z");
BENCHMARK_CAPTURE(utctime, offset, "2506011200-0530");
BENCHMARK_CAPTURE(generalizedtime, seconds_z, "20500601120000Z");
BENCHMARK_CAPTURE(generalizedtime, fraction_offset, "20500601120000.123456+0100");

void encode(benchmark::State& state) {
  time_t t = 1700000000;
  for (auto _ : state) {
    qel::vbl_blk out{};
    benchmark::DoNotOptimize(qel::tc_encode_utctime(&out, t++));
    std::free(out.bytes);
  }
}
BENCHMARK(encode);

}  // namespace
