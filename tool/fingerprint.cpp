// Fingerprints of the certificate file.
#include "tool/fingerprint.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/base64.h"
#include "toolkit/md5.h"
#include "toolkit/text.h"

namespace qel {

char* fingerPrintCert(const uint8_t* data, uint32_t size, int colons) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, data, size);
  MD5Final(&context);

  TextBuilder text;
  for (int i = 0; i < 16; ++i)
    text.appendf("%02x%s", context.digest[i], colons && i != 15 ? ":" : "");
  return text.take();
}

char* pem_text(const uint8_t* data, uint32_t size, uint32_t* pem_size) {
  char* base64 = nullptr;
  uint32_t length = 0;
  if (tc_encode_base64(&base64, &length, data, size) != 0) return nullptr;

  // One line feed behind every full line of 64 and one behind the last,
  // short line; an empty text is a single line feed.
  const uint64_t total = static_cast<uint64_t>(length) + (length == 0 ? 1 : (length + 63) / 64);
  char* pem = nullptr;
  if (total < UINT32_MAX) {
    TextBuilder text(total + 1);
    for (uint32_t at = 0; at < length; at += 64) {
      text.append(base64 + at, length - at < 64 ? length - at : 64);
      text.append('\n');
    }
    if (length == 0) text.append('\n');
    pem = text.take();
    if (pem != nullptr) *pem_size = static_cast<uint32_t>(total);
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
