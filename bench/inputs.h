// Inputs shared between the bench's files, so that every decoder measured
// reads the same octets.
#pragma once

#include <cstdint>
#include <vector>

namespace qel_bench {

// The system's CA certificates that this library and OpenSSL both decode,
// in file name order; empty where the system has none
// (certificate_bench.cpp).
const std::vector<std::vector<uint8_t>>& ca_certificates();

#ifdef QEL_HAVE_OPENSSL
// The signed revocation list of 0, 100 or 2,048 entries that the list
// benchmarks decode, made once per run with OpenSSL (list_bench.cpp).
const std::vector<uint8_t>& revocation_list(int entries);
#endif

}  // namespace qel_bench
