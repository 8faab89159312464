// Decoding of the certificate file loaded by the tool.
#include "tool/decode.h"

namespace qel {

Certificate* tc_unpack_cert(const uint8_t* buffer, uint32_t size) {
  const uint8_t* position = buffer;
  int32_t err = 0;
  // Success is the null test alone; the result word is not read afterwards.
  return _unpack_Certificate(&position, buffer + size, 0x30, &err);
}

}  // namespace qel
