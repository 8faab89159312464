// Runs both time decoders on arbitrary bytes. The bytes go into a heap block
// of exactly their length, with no terminator, so that a read past the
// block's length is an ASan finding. A decoded time before 2050 must also
// come back unchanged through the UTCTime encoder and decoder.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "toolkit/codes.h"
#include "toolkit/timeconv.h"

namespace {

void check_round_trip(uint32_t seconds) {
  if (seconds >= 2524608000u) return;  // 2050 on: two-digit years can't carry it
  qel::vbl_blk text{};
  if (qel::tc_encode_utctime(&text, static_cast<time_t>(seconds)) != qel::TC_SUCCESS) std::abort();
  if (qel::tc_decode_UTCTime(&text) != seconds) std::abort();
  std::free(text.bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return 0;
  auto bytes = std::make_unique<uint8_t[]>(size);
  if (size != 0) std::memcpy(bytes.get(), data, size);
  const qel::vbl_blk block{static_cast<int32_t>(size), bytes.get()};
  check_round_trip(qel::tc_decode_UTCTime(&block));
  check_round_trip(qel::tc_decode_GeneralizedTime(&block));
  return 0;
}
