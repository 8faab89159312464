// Usage text and loading of the certificate file.
#include "tool/run.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "asn/alloc.h"

namespace qel {

void usage() {
  std::fputs(
      "Usage: qeldumpcert [-f [Certificate_File]] [-p].\n"
      "\t -p: \tindicate PEM Encoded Fingerprint.\n"
      "\t -f: \tindicate the input certificate file\n",
      stdout);
}

int read_cert(const char* path, uint8_t** buffer, uint32_t* size) {
  // On failure nothing is closed or released: the run is about to end.
  FILE* file = std::fopen(path, "r");
  if (file == nullptr) return -1;
  struct stat info;
  if (fstat(fileno(file), &info) != 0) return -1;
  // A directory or a device has no size that fread could honour.
  if (!S_ISREG(info.st_mode) || info.st_size < 0 || info.st_size > UINT32_MAX) return -1;
  *size = static_cast<uint32_t>(info.st_size);
  // At least one byte, so that an empty file still gets a block.
  *buffer = static_cast<uint8_t*>(detail::allocate(*size != 0 ? *size : 1));
  if (*buffer == nullptr) return -1;
  if (std::fread(*buffer, 1, *size, file) != *size) return -1;
  std::fclose(file);
  return 0;
}

}  // namespace qel
