// SHA-1 and SHA-256 of any input, fed to Update in pieces whose sizes come
// from the input's first bytes, through every block function this processor
// can run: each digest must equal OpenSSL's one-shot digest of the message.
#include <openssl/sha.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "toolkit/sha_blocks.h"

namespace {

// Feeds `message` in pieces of sizes[0] + 1, sizes[1] + 1, ... (cycling),
// each after an empty one, and compares the digest with `expected`.
template <class Context>
void check(void (*init)(Context*), qel::sha::Blocks blocks, const uint8_t* sizes, size_t count,
           const uint8_t* message, size_t size, const uint8_t* expected) {
  Context context;
  init(&context);
  for (size_t at = 0, i = 0; at < size; ++i) {
    qel::sha::update(&context, message + at, 0, blocks);  // must change nothing
    const size_t piece = std::min<size_t>(size - at, count != 0 ? sizes[i % count] + 1u : size);
    qel::sha::update(&context, message + at, piece, blocks);
    at += piece;
  }
  qel::sha::final(&context, blocks);
  if (std::memcmp(context.digest, expected, sizeof context.digest) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t count = std::min<size_t>(data[0] & 7, size - 1);  // piece sizes that follow
  const uint8_t* message = data + 1 + count;
  const size_t length = size - 1 - count;
  uint8_t one[SHA_DIGEST_LENGTH], two[SHA256_DIGEST_LENGTH];
  SHA1(message, length, one);
  SHA256(message, length, two);

  std::vector<std::pair<qel::sha::Blocks, qel::sha::Blocks>> paths = {
      {qel::sha::sha1_portable, qel::sha::sha256_portable}};
#ifdef QEL_SHA_X86
  if (qel::sha_hardware()) paths.push_back({qel::sha::sha1_x86, qel::sha::sha256_x86});
#endif
  for (const auto& [sha1, sha256] : paths) {
    check(qel::SHA1Init, sha1, data + 1, count, message, length, one);
    check(qel::SHA256Init, sha256, data + 1, count, message, length, two);
  }
  return 0;
}
