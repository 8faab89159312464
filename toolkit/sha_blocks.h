// The block functions behind SHA-1 and SHA-256, and Update/Final over a
// chosen block function, so that tests can run each path on its own. Not
// installed: only the library and its tests include this.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toolkit/sha.h"

namespace qel::sha {

// Compresses `blocks` consecutive 64-byte blocks at `p` into `state`.
using Blocks = void (*)(uint32_t* state, const uint8_t* p, size_t blocks);

void sha1_portable(uint32_t* state, const uint8_t* p, size_t blocks);
void sha256_portable(uint32_t* state, const uint8_t* p, size_t blocks);

#if defined(__x86_64__) || defined(__i386__)
#define QEL_SHA_X86 1
// The versions on the x86 SHA instructions; callable only where sha_hardware()
// is true.
void sha1_x86(uint32_t* state, const uint8_t* p, size_t blocks);
void sha256_x86(uint32_t* state, const uint8_t* p, size_t blocks);
#endif

// The block functions in use, chosen once from what the processor has.
Blocks sha1_blocks();
Blocks sha256_blocks();

// SHA1Update/SHA1Final and SHA256Update/SHA256Final with `blocks` in place of
// the block function chosen at run time.
void update(SHA1Context* context, const uint8_t* data, size_t length, Blocks blocks);
void final(SHA1Context* context, Blocks blocks);
void update(SHA256Context* context, const uint8_t* data, size_t length, Blocks blocks);
void final(SHA256Context* context, Blocks blocks);

}  // namespace qel::sha
