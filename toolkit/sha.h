// SHA-1 and SHA-256 (FIPS 180-4) with caller-owned contexts that keep the
// digest in themselves, like MD5's. SHA-256 and SHA-1 use the CPU's SHA
// instructions where the processor has them, chosen once at run time.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace qel {

struct SHA1Context {
  uint64_t byteCount;  // message bytes taken in so far
  uint32_t state[5];
  uint8_t input[64];   // the block being gathered
  uint8_t digest[20];  // the result, valid after SHA1Final
};

struct SHA256Context {
  uint64_t byteCount;
  uint32_t state[8];
  uint8_t input[64];
  uint8_t digest[32];  // the result, valid after SHA256Final
};

// Init starts a new message, Update takes in `length` bytes (any number of
// calls), Final pads and writes the digest into `context->digest`; the
// context needs Init before it is used again.
void SHA1Init(SHA1Context* context);
void SHA1Update(SHA1Context* context, const uint8_t* data, uint32_t length);
void SHA1Final(SHA1Context* context);

void SHA256Init(SHA256Context* context);
void SHA256Update(SHA256Context* context, const uint8_t* data, uint32_t length);
void SHA256Final(SHA256Context* context);

// Whether this processor's SHA instructions are in use (for benchmarks and
// diagnostics).
bool sha_hardware();

}  // namespace qel
#pragma GCC visibility pop
