// qeldumpcert: decodes one DER certificate file, reports it and prints its MD5
// fingerprint.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tool/decode.h"
#include "tool/fingerprint.h"
#include "tool/report.h"
#include "tool/run.h"

int main(int argc, char** argv) {
  using namespace qel;

  if (argc < 3) {
    usage();
    return 0;
  }

  const char* path = nullptr;
  int pem_mode = 0;
  const int colons = 1;
  for (int option; (option = getopt(argc, argv, kOptions)) != -1;) {
    switch (option) {
      case 'f':
        path = optarg;  // the last -f holds
        break;
      case 'p':
        pem_mode = 1;
        break;
      case 'v':
        break;
      default:  // '?', and 'q', which the tool doesn't offer
        usage();
        break;
    }
  }
  if (path == nullptr) return 0;

  uint8_t* buffer = nullptr;
  uint32_t size = 0;
  if (read_cert(path, &buffer, &size) != 0) {
    std::puts("Unable to parse certificate.");
    return 1;
  }

  Certificate* certificate = tc_unpack_cert(buffer, size);
  if (certificate == nullptr) {
    std::puts("Unable to parse certificate.");
    return 1;
  }

  std::fputs("-----BEGIN CERTIFICATE-----\n", stdout);
  dump_cert(certificate);
  drop_Certificate(certificate);
  certificate = nullptr;

  char* fingerprint = pem_mode ? pemFingerprint(buffer, size, colons) : fingerPrintCert(buffer, size, colons);
  // Without a text (no memory, or no PEM text) the line shows "(null)".
  std::printf("FINGERPRINT: %s\n", fingerprint != nullptr ? fingerprint : "(null)");
  std::fputs("-----END CERTIFICATE-----\n", stdout);

  std::free(fingerprint);
  std::free(buffer);
  return 0;
}
