// MD5 message digest (RFC 1321) with a caller-owned context that keeps the
// digest in itself.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace qel {

struct MD5Context {
  uint32_t bitCount[2];  // message bits taken in so far, low word first
  uint32_t state[4];     // chaining values A, B, C, D
  uint8_t input[64];     // the block being gathered
  uint8_t digest[16];    // the result, valid after MD5Final
};

// MD5Init starts a new message: clears bitCount and loads the initial chaining
// values. `input` and `digest` are left untouched.
void MD5Init(MD5Context* context);

// MD5Update takes in `length` bytes of the message. May be called any number
// of times between MD5Init and MD5Final.
void MD5Update(MD5Context* context, const uint8_t* data, uint32_t length);

// MD5Final pads the message and writes the 16 digest bytes to
// `context->digest`. The context needs MD5Init before it is used again.
void MD5Final(MD5Context* context);

// Transform runs the compression function once over `block`, sixteen words
// already in machine form, and adds the result into `state`.
void Transform(uint32_t state[4], const uint32_t block[16]);

}  // namespace qel
#pragma GCC visibility pop
