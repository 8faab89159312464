// Fingerprints of the certificate file: the MD5 digest in hexadecimal, of the
// file's bytes or of their PEM text.
#pragma once

#include <cstdint>

namespace qel {

// fingerPrintCert returns the MD5 digest of `size` bytes at `data` as a new
// heap text of lower-case hex digit pairs, with ":" between pairs when
// `colons` is non-zero (47 characters, else 32). Null when the text can't be
// allocated. The caller releases it with free.
char* fingerPrintCert(const uint8_t* data, uint32_t size, int colons);

// pemFingerprint returns fingerPrintCert of the PEM text of the data: its
// base64 text in lines of 64 characters, each ended by a line feed. When the
// PEM text can't be made it writes "ERROR: Error PEM encoding root CA" on
// standard output and returns null.
char* pemFingerprint(const uint8_t* data, uint32_t size, int colons);

// pem_text builds the PEM text of the data into a new heap block and stores
// its size through `pem_size`; null when it can't be made. The caller
// releases it with free.
char* pem_text(const uint8_t* data, uint32_t size, uint32_t* pem_size);

}  // namespace qel
