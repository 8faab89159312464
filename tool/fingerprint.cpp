// Fingerprints of the certificate file.
#include "tool/fingerprint.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/base64.h"
#include "toolkit/md5.h"
#include "asn/alloc.h"

namespace qel {

char* fingerPrintCert(const uint8_t* data, uint32_t size, int colons) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, data, size);
  MD5Final(&context);

  char* text = static_cast<char*>(detail::allocate_zeroed(colons ? 48 : 33, 1));
  if (text == nullptr) return nullptr;
  static const char kHex[] = "0123456789abcdef";
  char* w = text;
  for (int i = 0; i < 16; ++i) {
    *w++ = kHex[context.digest[i] >> 4];
    *w++ = kHex[context.digest[i] & 15];
    if (colons && i != 15) *w++ = ':';
  }
  return text;
}

char* pem_text(const uint8_t* data, uint32_t size, uint32_t* pem_size) {
  char* base64 = nullptr;
  uint32_t length = 0;
  if (tc_encode_base64(&base64, &length, data, size) != 0) return nullptr;

  // One line feed behind every full line of 64 and one behind the last,
  // short line; an empty text is a single line feed.
  const uint64_t total = static_cast<uint64_t>(length) + (length == 0 ? 1 : (length + 63) / 64);
  char* pem = total <= UINT32_MAX ? static_cast<char*>(detail::allocate(total)) : nullptr;
  if (pem != nullptr) {
    char* w = pem;
    for (uint32_t at = 0; at < length; at += 64) {
      const uint32_t n = length - at < 64 ? length - at : 64;
      std::memcpy(w, base64 + at, n);
      w += n;
      *w++ = '\n';
    }
    if (length == 0) *w++ = '\n';
    *pem_size = static_cast<uint32_t>(w - pem);
  }
  std::free(base64);
  return pem;
}

char* pemFingerprint(const uint8_t* data, uint32_t size, int colons) {
  uint32_t pem_size = 0;
  char* pem = pem_text(data, size, &pem_size);
  if (pem == nullptr) {
    std::printf("ERROR: Error PEM encoding root CA\n");
    return nullptr;
  }
  char* text = fingerPrintCert(reinterpret_cast<const uint8_t*>(pem), pem_size, colons);
  std::free(pem);
  return text;
}

}  // namespace qel
