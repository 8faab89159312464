// tc_decode_base64 on any text: it must stay inside its input and its block,
// keep its result codes and length bound, and invert tc_encode_base64.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "toolkit/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);  // zero-terminated copy

  uint8_t* bytes = nullptr;
  uint32_t length = 0;
  const int result = qel::tc_decode_base64(&bytes, &length, text.c_str());
  if (result != 0 && result != 3) std::abort();
  if (length > std::strlen(text.c_str()) * 3 / 4) std::abort();
  if (length != 0) {
    volatile uint8_t sink = bytes[0] ^ bytes[length - 1];  // the whole block is ours
    (void)sink;
  }
  std::free(bytes);

  // Any bytes survive encoding and decoding.
  char* encoded = nullptr;
  uint32_t encoded_length = 0;
  if (qel::tc_encode_base64(&encoded, &encoded_length, data, static_cast<uint32_t>(size)) != 0) std::abort();
  if (encoded_length != 4 * ((size + 2) / 3) || std::strlen(encoded) != encoded_length) std::abort();
  if (qel::tc_decode_base64(&bytes, &length, encoded) != 0 || length != size ||
      (size != 0 && std::memcmp(bytes, data, size) != 0))
    std::abort();
  std::free(bytes);
  std::free(encoded);
  return 0;
}
