// Decoding of the certificate file loaded by the tool.
#pragma once

#include <cstdint>

#include "types/certificate.h"

namespace qel {

// Decodes the DER certificate at the start of `buffer`. Returns a new tree,
// released with drop_Certificate, or null when the bytes do not decode.
// Bytes behind the certificate's outer SEQUENCE are not looked at, and the
// reason for a failure is not kept.
Certificate* tc_unpack_cert(const uint8_t* buffer, uint32_t size);

}  // namespace qel
